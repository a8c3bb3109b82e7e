// emu.h - the emulated GPU's internal interface, shared by its three parts:
//   core.cpp & friends  devices, errors, memory, copies, streams, events, scheduler, control API
//   blas*.cpp           the cuBLAS v2 subset
//   launch.cpp, fiber*  kernel execution (the launch path of emulator/include/zuli_emu_kernel.h)
//
// Rules every part keeps:
//   * A device address handed out by cudaMalloc is never dereferenced. Every access goes through
//     deviceRange()/deviceMatrix(), which check the extent against a live allocation and return the
//     address of the same bytes in the emulator's private (accessible) mapping.
//   * Work that a stream executes is submitted with submit(); it runs later, when CUDA's rules force
//     it (or at once under the eager schedule). Work reads host scalars at call time (capture by
//     value) and device data when it runs.
//   * Every public entry point starts with EMU_ENTRY("cudaXxx") (runtime) or checks
//     blasFault("cublasXxx_v2") (cuBLAS), so that fault injection and call counting see it.
#pragma once

#include <cuda_runtime_api.h>
#include <cublas_api.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace emu {

// ---- errors -------------------------------------------------------------------------------------

// Records `e` as the runtime's last error of the calling thread (and as the device's sticky error
// when `e` is a sticky error) and returns it, so that an entry point can `return setError(e);`.
cudaError_t setError(cudaError_t e);

// True when the calling thread's current device carries a sticky error; entry points then return it.
cudaError_t stickyError();

// Reports a fidelity violation: in strict mode prints "zuli_emu: <op>: <what> (pointer %p)" and
// aborts; otherwise counts it, remembers its text, and makes `asError` the sticky error of the
// current device. Returns `asError`.
cudaError_t violation(const char* op, const void* ptr, const std::string& what,
                      cudaError_t asError = cudaErrorIllegalAddress);

// Fault injection for the runtime: true when this call of `name` must fail; *err receives the code.
bool cudaFault(const char* name, cudaError_t* err);
// Fault injection for cuBLAS: true when this call of `name` must fail; *st receives the status.
bool blasFault(const char* name, cublasStatus_t* st);

// ---- devices --------------------------------------------------------------------------------------

int deviceCount();        // number of emulated devices in normal mode
int currentDevice();      // the calling host thread's current device
// The error every device-using call fails with in the current mode: cudaErrorNoDevice,
// cudaErrorInsufficientDriver, or cudaSuccess in normal mode (cublasCreate fails unless success).
cudaError_t modeError();
// The cuBLAS version configured with zuliEmuSetVersions (major * 10000 + minor * 100 + patch).
int cublasVersion();
struct DeviceLimits {
    int maxThreadsPerBlock;
    int maxThreadsDim[3];
    int maxGridSize[3];
    size_t sharedMemPerBlock;
    size_t memPitch;
    int asyncEngineCount;
};
DeviceLimits limits(int device);

// ---- memory ---------------------------------------------------------------------------------------

enum class MemKind { Device, Pinned, Pageable };

// Where a host-visible address lives. A pointer into (or one past) a live device allocation is
// Device; into a live page-locked block, Pinned; anything else, Pageable.
MemKind classify(const void* p);

// The host side of a copy, [p, p + bytes): Pinned when it starts in a live page-locked block,
// else Pageable. A range that starts in a page-locked block must also end in it: a transfer that
// runs past the block would read or write whatever host memory follows, so that is reported as a
// violation naming `op`, and *fits is set to false.
MemKind hostRange(const void* p, size_t bytes, const char* op, bool* fits);

// Checks that [p, p + bytes) lies inside one live device allocation (bytes == 0 only needs p to lie
// inside or at the end of one) and returns the corresponding address in the private mapping.
// With `device` >= 0 the work runs on that device, whose kernels cannot reach the memory of
// another device (peer access is not emulated): the allocation must be that device's too.
// On failure reports a violation naming `op` and returns nullptr. A null p with bytes == 0 gives
// nullptr without a violation.
constexpr int kAnyDevice = -1;
void* deviceRange(const void* p, size_t bytes, const char* op, int device = kAnyDevice);

// The same for a column-major matrix of rows x cols elements of `esize` bytes with leading
// dimension ld (in elements): the extent checked is (cols - 1) * ld + rows elements.
// Empty matrices (rows or cols 0) check nothing and return the translated p (or nullptr).
void* deviceMatrix(const void* p, size_t rows, size_t cols, size_t ld, size_t esize, const char* op,
                   int device = kAnyDevice);

// The id of the live device or page-locked allocation that contains p (0 if none). Work records
// the allocations it uses so that freeing one of them while that work is pending is reported.
uint64_t allocationOf(const void* p);

// ---- streams and work ---------------------------------------------------------------------------

// Submits `work` to stream s (0 and cudaStreamLegacy: the legacy default stream of the current
// device; cudaStreamPerThread is accepted as the per-thread default stream). `uses` lists device
// or page-locked pointers the work touches (their allocations are looked up with allocationOf).
// Returns cudaSuccess, or the error (invalid stream handle, sticky error) without queuing.
// Under the eager schedule the work has run when submit returns.
cudaError_t submit(cudaStream_t s, const char* name, std::function<void()> work,
                   std::initializer_list<const void*> uses = {});
cudaError_t submit(cudaStream_t s, const char* name, std::function<void()> work,
                   const std::vector<const void*>& uses);

// Blocks (runs deferred work) until everything submitted to s so far has completed.
// Counts a synchronisation when `countSync`.
cudaError_t waitStream(cudaStream_t s, bool countSync = true);

// The device a stream belongs to (0/legacy: the current device); -1 for an invalid handle.
int streamDevice(cudaStream_t s);

// Runs every pending work item of a device (all devices when device < 0) to completion, as
// cudaDeviceSynchronize does, without its entry checks (cublasDestroy synchronises this way).
void runAll(int device);

// ---- counters -------------------------------------------------------------------------------------

enum class CopyDir { H2D, D2H, D2D, H2H };
void countCopy(CopyDir dir, size_t bytes);
void countLaunch();
void countBlas(const char* op, double flops); // op without precision: "gemm"

}  // namespace emu
