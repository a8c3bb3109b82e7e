# Installation: both flavors, the emulated GPU, headers, a CMake package and pkg-config files.
#   find_package(zuli_lapack) gives zuli::lapack (GPU flavor) and zuli::lapack_emu (emulated
#   flavor, which brings the emulated CUDA runtime and cuBLAS with it: a program that calls
#   cudaMalloc itself links them through this target as well).

set(ZULI_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/zuli_lapack)

set_target_properties(zuli_lapack_emu PROPERTIES EXPORT_NAME lapack_emu)
set_target_properties(zuli_emu PROPERTIES EXPORT_NAME emu)
set(ZULI_INSTALL_TARGETS zuli_lapack_emu zuli_emu)
if(TARGET zuli_lapack)
  set_target_properties(zuli_lapack PROPERTIES EXPORT_NAME lapack)
  list(APPEND ZULI_INSTALL_TARGETS zuli_lapack)
endif()
# The drop-in LAPACK of each flavor (dropin/), beside the library it runs on.
set_target_properties(zuli_dropin_emu PROPERTIES EXPORT_NAME dropin_emu)
list(APPEND ZULI_INSTALL_TARGETS zuli_dropin_emu)
if(TARGET zuli_dropin)
  set_target_properties(zuli_dropin PROPERTIES EXPORT_NAME dropin)
  list(APPEND ZULI_INSTALL_TARGETS zuli_dropin)
endif()

# Installed, each library looks for its own dependencies beside itself first: the emulated flavor
# finds libzuli_emu.so (and each drop-in library its flavor of the library) wherever the prefix is, with no run path or LD_LIBRARY_PATH in the program.
# The GPU flavor gets the same for consistency; libcudart and libcublas are left to the system's
# search (the toolkit's ld.so configuration or the program's own run path). The build tree keeps
# its run paths to the build directories, except for the emulated GPU, which needs none: it has
# $ORIGIN there too, so that installing need not rewrite it (CMake pads a run path it will
# rewrite with empty entries, which the loader reads as the current directory).
set_target_properties(${ZULI_INSTALL_TARGETS} PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(zuli_emu PROPERTIES BUILD_WITH_INSTALL_RPATH ON)

install(TARGETS ${ZULI_INSTALL_TARGETS} EXPORT zuli_lapackTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
file(GLOB ZULI_PUBLIC_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/zuli_lapack*.h)
install(FILES ${ZULI_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/emulator/include/zuli_emu.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zuli)

install(EXPORT zuli_lapackTargets NAMESPACE zuli:: DESTINATION ${ZULI_INSTALL_CMAKEDIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zuli_lapackConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/zuli_lapackConfig.cmake INSTALL_DESTINATION ${ZULI_INSTALL_CMAKEDIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zuli_lapackConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zuli_lapackConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/zuli_lapackConfigVersion.cmake
        DESTINATION ${ZULI_INSTALL_CMAKEDIR})

# pkg-config: zuli_lapack (GPU flavor) and zuli_lapack_emu (emulated flavor). The prefix is
# found relative to the .pc file, so that an installation can be moved (or installed with
# --prefix) and still describe itself.
set(ZULI_PC_PREFIX "\${pcfiledir}")
string(REPLACE "/" ";" _zuli_libdir_parts "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
foreach(_part IN LISTS _zuli_libdir_parts)
  string(APPEND ZULI_PC_PREFIX "/..")
endforeach()
set(ZULI_PC_CUDA_INCLUDE "${CUDAToolkit_INCLUDE_DIRS}")
list(GET ZULI_PC_CUDA_INCLUDE 0 ZULI_PC_CUDA_INCLUDE)
set(ZULI_PC_CUDA_LIBDIR "${CUDAToolkit_LIBRARY_DIR}")
foreach(pc zuli_lapack zuli_lapack_emu)
  if(pc STREQUAL "zuli_lapack" AND NOT TARGET zuli_lapack)
    continue()
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
