// zuli_emu_kernel.h - the CUDA kernel dialect compiled as host C++ for the emulated GPU.
//
// Forced in first (-include) into every .cu file built for the emulator, before any CUDA header.
// It gives the CUDA keywords their emulated meaning, provides the built-in variables that the
// toolkit's host headers leave out, __syncthreads, and the launch machinery that
// cudalib::launch (src/kernels/launch.cuh) uses.
//
// How kernels run: a launch checks its configuration, translates every pointer argument into
// the emulator's private mapping of device memory and queues the grid on the stream. When the
// stream executes it, the blocks run one after another on one host thread; the threads of a
// block are cooperative fibers, so __syncthreads and __shared__ arrays behave as on hardware.
//
// What the dialect supports: built-in indices, __syncthreads reached by every thread of the
// block, fixed-size __shared__ arrays, the math and atomics of src/kernels/device_math.cuh.
// Dynamic shared memory, managed memory, warp intrinsics and everything else a GPU offers but
// the emulator does not fail to compile here instead of misbehaving at run time.
#ifndef ZULI_EMU_KERNEL_H
#define ZULI_EMU_KERNEL_H

#if defined(__CUDACC__)
#error "zuli_emu_kernel.h is for the emulated build; nvcc compiles kernels for the GPU"
#endif

#ifdef __cplusplus

// ---- keywords ---------------------------------------------------------------------------------
// Defined before the toolkit's host_defines.h, which then keeps them (it only defines what is
// missing when __CUDACC__ is absent).
#define __global__
#define __device__
#define __host__
#define __forceinline__ __inline__ __attribute__((always_inline))
#define __launch_bounds__(...)
// All threads of a block run on one host thread and blocks run one after another, so a
// thread-local static is exactly one array per block in flight. __thread (rather than
// thread_local) refuses initializers that need code, as a GPU refuses initialized __shared__.
#define __shared__ static __thread
// Unsupported storage: a use is a compile error.
#define __managed__ __managed_memory_is_not_supported_by_the_emulated_gpu__
// The built-in variables are provided below; keep the toolkit's declarations of them out.
#define __DEVICE_LAUNCH_PARAMETERS_H__

#include <cuda_runtime_api.h>
#include <vector_types.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#define ZULI_EMU_EXPORT __attribute__((visibility("default")))
// Initial-exec TLS: one instruction per access instead of a call. The variables live in
// libzuli_emu, which is small enough for the static TLS reserve even when loaded by dlopen.
#define ZULI_EMU_TLS __attribute__((tls_model("initial-exec")))

namespace zuli_emu {

// ---- built-in variables ---------------------------------------------------------------------
// Per host thread; the fiber scheduler sets them before it runs or resumes a thread. They are
// not const so that the compiler re-reads them after every __syncthreads (a call it cannot see
// into); kernels assigning to them are rejected by nvcc in the GPU build.
extern __thread uint3 threadIdx ZULI_EMU_EXPORT ZULI_EMU_TLS;
extern __thread uint3 blockIdx ZULI_EMU_EXPORT ZULI_EMU_TLS;
extern __thread dim3 blockDim ZULI_EMU_EXPORT ZULI_EMU_TLS;
extern __thread dim3 gridDim ZULI_EMU_EXPORT ZULI_EMU_TLS;
inline constexpr int warpSize = 32;

// Barrier of the current block (see __syncthreads). Called through the GOT rather than a PLT
// stub: one indirect jump fewer on the hottest call of kernels with barriers.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
ZULI_EMU_EXPORT __attribute__((noplt)) void syncThreads();
#else
ZULI_EMU_EXPORT void syncThreads();
#endif

// ---- launch interface (implemented in libzuli_emu) ---------------------------------------------

// A kernel with its (translated) arguments, ready to run any number of threads.
struct GridBody {
    std::shared_ptr<void> closure;
    void (*runThread)(void* closure);
};

// First step of a launch: fault injection and the configuration check against the current
// device's limits. On failure records the error as the runtime's last error and returns false:
// the launch must then do nothing more.
ZULI_EMU_EXPORT bool beginLaunch(const char* op, dim3 grid, dim3 block);

// Translates kernel argument `index` (a non-null pointer) into the emulator's mapping of device
// memory. A pointer that is not inside (or at the end of) a live device allocation is reported
// as a violation; the result is then nullptr and the kernel must not run.
ZULI_EMU_EXPORT void* translateKernelArg(const void* p, const char* op, std::size_t index);

// Last step: queues the grid on `stream` (uses: the untranslated device pointers) and counts
// the launch. Errors surface through cudaGetLastError, as for a real launch.
ZULI_EMU_EXPORT void submitGrid(const char* op, dim3 grid, dim3 block, cudaStream_t stream,
                                GridBody body, std::vector<const void*> uses);

// Runs a grid at once on the calling thread, without the configuration check, pointer
// translation or stream: the execution engine alone, for its own tests on host memory.
// Returns false when a divergent __syncthreads was found (and reported).
ZULI_EMU_EXPORT bool runGridDirect(const char* op, dim3 grid, dim3 block, const GridBody& body);

namespace detail {

template <typename... Params>
struct KernelClosure {
    void (*kernel)(Params...);
    std::tuple<std::remove_cv_t<Params>...> params;

    // One thread: the kernel gets its own copy of every argument, as each GPU thread does.
    static void runThread(void* self) {
        auto* c = static_cast<KernelClosure*>(self);
        std::apply(c->kernel, c->params);
    }
};

// Copy-initialisation: only the implicit conversions a launch allows.
template <typename Param, typename Arg>
Param convertArgument(Arg&& arg) {
    return std::forward<Arg>(arg);
}

template <typename P>
inline constexpr bool isDataPointer = std::is_pointer_v<P> && std::is_object_v<std::remove_pointer_t<P>>;

template <typename P>
void checkParameterType() {
    static_assert(!std::is_reference_v<P>, "kernel parameters are passed by value");
    static_assert(!std::is_pointer_v<P> || isDataPointer<P> || std::is_void_v<std::remove_pointer_t<P>>,
                  "a host function pointer cannot be called on the GPU");
    static_assert(std::is_trivially_copyable_v<P>, "kernel parameters must be trivially copyable");
}

template <typename... Params>
GridBody makeGridBody(void (*kernel)(Params...), std::tuple<std::remove_cv_t<Params>...> params) {
    using Closure = KernelClosure<Params...>;
    auto closure = std::make_shared<Closure>(Closure{kernel, std::move(params)});
    return GridBody{std::move(closure), &Closure::runThread};
}

}  // namespace detail

// The emulated launch: kernel<<<grid, block, 0, stream>>>(args...).
template <typename... Params, typename... Args>
void launchKernel(const char* op, void (*kernel)(Params...), dim3 grid, dim3 block,
                  cudaStream_t stream, Args&&... args) {
    static_assert(sizeof...(Params) == sizeof...(Args), "wrong number of kernel arguments");
    (detail::checkParameterType<Params>(), ...);
    if (!beginLaunch(op, grid, block)) {
        return;
    }
    std::tuple<std::remove_cv_t<Params>...> params(
        detail::convertArgument<std::remove_cv_t<Params>>(std::forward<Args>(args))...);

    // Device pointers travel only as direct arguments: translate each pointer parameter.
    std::vector<const void*> uses;
    bool translated = true;
    [&]<std::size_t... I>(std::index_sequence<I...>) {
        auto translateOne = [&](auto& p, std::size_t index) {
            using P = std::remove_reference_t<decltype(p)>;
            if constexpr (std::is_pointer_v<P>) {
                if (p == nullptr || !translated) {
                    return;  // null stays null
                }
                const void* raw = const_cast<const void*>(static_cast<const volatile void*>(p));
                void* mapped = translateKernelArg(raw, op, index);
                if (mapped == nullptr) {
                    translated = false;
                    return;
                }
                uses.push_back(raw);
                p = static_cast<P>(mapped);
            }
        };
        (translateOne(std::get<I>(params), I), ...);
        (void)translateOne;  // kernels without parameters
    }(std::index_sequence_for<Params...>{});
    if (!translated) {
        return;
    }
    submitGrid(op, grid, block, stream, detail::makeGridBody(kernel, std::move(params)),
               std::move(uses));
}

// The execution engine alone (see runGridDirect): arguments are used as they are.
template <typename... Params, typename... Args>
bool runKernelDirect(const char* op, void (*kernel)(Params...), dim3 grid, dim3 block,
                     Args&&... args) {
    static_assert(sizeof...(Params) == sizeof...(Args), "wrong number of kernel arguments");
    std::tuple<std::remove_cv_t<Params>...> params(
        detail::convertArgument<std::remove_cv_t<Params>>(std::forward<Args>(args))...);
    return runGridDirect(op, grid, block, detail::makeGridBody(kernel, std::move(params)));
}

}  // namespace zuli_emu

using zuli_emu::blockDim;
using zuli_emu::blockIdx;
using zuli_emu::gridDim;
using zuli_emu::threadIdx;
using zuli_emu::warpSize;

// Waits until every thread of the block has reached it. Reaching it from only some threads of
// a block is a divergent barrier: reported as a violation (cudaErrorLaunchFailure).
inline void __syncthreads() { zuli_emu::syncThreads(); }

// Blocks never run concurrently within a grid, but grids of different host threads may.
inline void __threadfence() { std::atomic_thread_fence(std::memory_order_seq_cst); }
inline void __threadfence_block() { std::atomic_signal_fence(std::memory_order_seq_cst); }

#endif  // __cplusplus
#endif  // ZULI_EMU_KERNEL_H
