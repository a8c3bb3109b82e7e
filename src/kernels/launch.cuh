// launch.cuh - cudalib::launch, the one way the library's launchers start a kernel.
//
//     cudalib::launch(KERNEL_k<T>, grid, block, stream, arg1, arg2, ...);
//     cudalib::launchOver(map, KERNEL_k<Map, T>, stream, arg1, arg2, ...);
//
// is kernel<<<grid, block, 0, stream>>>(args...) on a GPU; launchOver takes the grid and block of
// an index map (kernels/maps/maps.h) and launches nothing when the map's grid is empty. In the
// emulated build it runs the same grid on the emulated GPU: the configuration is checked against
// the current device's limits, every pointer argument must point into (or to the end of) live
// device memory, and the grid is queued on the stream. As on a GPU, the launch itself reports
// nothing: a bad configuration is cudaErrorInvalidConfiguration from cudaGetLastError /
// cudaPeekAtLastError, and nothing runs.
//
// Device pointers are passed as direct kernel arguments, never inside structures.
//
// Kernel names end in _k: a kernel that does the work of a LAPACK routine carries its name in
// capitals (LASWP_k, LANGE_M_k, GBTRF_SWAP_k), any other is named in CamelCase after what it
// does (CopyMatrix_k, Transpose_k). The lacpy and lascl kernels keep their established names
// with the _Kernel suffix (LACPY_G_Kernel, LASCL_G_Kernel), as do the reductions findMaxValue_k,
// findSum_k and lamch_k. The index map and the element type are template arguments.
#pragma once

#include "kernels/maps/maps.h"

#include <cuda_runtime_api.h>

#include <utility>

#if defined(__CUDACC__)

namespace cudalib {

template <typename... Params, typename... Args>
inline void launch(void (*kernel)(Params...), dim3 grid, dim3 block, cudaStream_t stream,
                   Args&&... args) {
    static_assert(sizeof...(Params) == sizeof...(Args), "wrong number of kernel arguments");
    kernel<<<grid, block, 0, stream>>>(std::forward<Args>(args)...);
}

template <typename Map, typename... Params, typename... Args>
inline void launchOver(const Map& map, void (*kernel)(Params...), cudaStream_t stream,
                       Args&&... args) {
    if (emptyGrid(map)) return;
    launch(kernel, map.grid(), map.block(), stream, std::forward<Args>(args)...);
}

}  // namespace cudalib

#elif defined(ZULI_EMULATED)

#ifndef ZULI_EMU_KERNEL_H
#error "emulated kernels are compiled with zuli_emu_kernel.h forced in (see cmake/ZuliCuda.cmake)"
#endif

#include <source_location>

namespace cudalib {

// A class so that the call site's source location can follow the kernel arguments; violation
// reports name the launching function.
template <typename... Args>
struct launch {
    template <typename... Params>
    launch(void (*kernel)(Params...), dim3 grid, dim3 block, cudaStream_t stream, Args&&... args,
           std::source_location site = std::source_location::current()) {
        zuli_emu::launchKernel(site.function_name(), kernel, grid, block, stream,
                               std::forward<Args>(args)...);
    }
};

template <typename Kernel, typename... Args>
launch(Kernel, dim3, dim3, cudaStream_t, Args&&...) -> launch<Args...>;

template <typename... Args>
struct launchOver {
    template <typename Map, typename... Params>
    launchOver(const Map& map, void (*kernel)(Params...), cudaStream_t stream, Args&&... args,
               std::source_location site = std::source_location::current()) {
        if (emptyGrid(map)) return;
        zuli_emu::launchKernel(site.function_name(), kernel, map.grid(), map.block(), stream,
                               std::forward<Args>(args)...);
    }
};

template <typename Map, typename Kernel, typename... Args>
launchOver(const Map&, Kernel, cudaStream_t, Args&&...) -> launchOver<Args...>;

}  // namespace cudalib

#else
#error "launch.cuh is for .cu files (compiled by nvcc, or for the emulated GPU)"
#endif
