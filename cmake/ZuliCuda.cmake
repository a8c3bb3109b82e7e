# zuli_emulated_cuda_sources(<target> <file.cu>...)
# Compiles CUDA sources as host C++ for the emulated GPU: each .cu gets a generated .cpp that
# includes it, compiled with ZULI_EMULATED defined and the kernel dialect header forced in first,
# so that __global__, __shared__, threadIdx and friends mean what the emulator gives them.
function(zuli_emulated_cuda_sources target)
  foreach(src IN LISTS ARGN)
    get_filename_component(abs "${src}" ABSOLUTE)
    file(RELATIVE_PATH rel "${PROJECT_SOURCE_DIR}" "${abs}")
    string(REPLACE "/" "_" flat "${rel}")
    set(out "${CMAKE_CURRENT_BINARY_DIR}/emulated/${flat}.cpp")
    file(GENERATE OUTPUT "${out}" CONTENT "// generated: ${rel} compiled for the emulated GPU\n#include \"${abs}\"\n")
    target_sources(${target} PRIVATE "${out}")
    set_source_files_properties("${out}" TARGET_DIRECTORY ${target} PROPERTIES
      COMPILE_OPTIONS "-include;${PROJECT_SOURCE_DIR}/emulator/include/zuli_emu_kernel.h"
      OBJECT_DEPENDS "${abs}")
  endforeach()
  target_compile_definitions(${target} PRIVATE ZULI_EMULATED=1)
endfunction()
