// context.h - process-wide lifecycle state and the per-thread state of the library.
//
// Process-wide: the initialised flag (read without a lock by every framed call), the global
// mutex that serialises zuliInitialize, zuliShutdown and zuliFreeBuffers, the set of registered
// kernel thread ids, and the four call hooks. A thread is registered by a successful
// zuliInitialize (a failed one takes its registration back) and unregistered by zuliShutdown; the
// shutdown of the last registered thread releases the pools and hooks and lowers the flag.
//
// Per thread, both created lazily and held in thread_local owners:
//   ThreadState  nesting depth of framed calls, failure flag, device index; lives from the entry
//                of the outermost framed call to its return;
//   Ctx          the thread's cuBLAS handles, one slot per device index (16 slots); lives until
//                the thread exits or calls zuliShutdown.
#pragma once

#include "zuli_lapack.h"

#include <cublas_api.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>

namespace zuli {

// Device indices the library serves: the handle table and the per-device caches have this many
// slots, and a current device of this index or more is refused (cudaErrorInvalidDevice).
inline constexpr int kMaxDevices = 16;

// ---- process-wide state ----------------------------------------------------------------------

bool isInitialized();  // the flag, read without the lock

// The global mutex of the library (initialise, shutdown, free buffers).
std::mutex& globalMutex();

// What the lifecycle currently holds (for diagnostics and tests): the flag, and the registered
// thread count. Takes the global mutex.
struct LifecycleSnapshot {
    bool initialized;
    uint32_t registeredThreads;
};
LifecycleSnapshot lifecycleSnapshot();

// The calling thread's kernel thread id (gettid). Raises std::runtime_error("Failed to get thread
// id") when the system call fails.
int32_t kernelThreadId();

// ---- call hooks ------------------------------------------------------------------------------

// The four optional hooks called by the frame around every routine. A snapshot is immutable;
// installing new hooks swaps the whole snapshot atomically, so a call in flight keeps using the
// hooks it started with.
struct CallHooks {
    zuliCallHook hostEntry = nullptr;
    zuliCallHook hostExit = nullptr;
    zuliCallHook deviceEntry = nullptr;
    zuliCallHook deviceExit = nullptr;
    void* userData = nullptr;
};
std::shared_ptr<const CallHooks> currentCallHooks();  // null when none are installed
void setCallHooks(std::shared_ptr<const CallHooks> hooks);

// ---- per-thread state ------------------------------------------------------------------------

struct ThreadState {
    uint32_t depth = 0;    // framed calls active on this thread (nested calls count)
    uint8_t failed = 0;    // a call on this thread failed with something other than InfoException
    int32_t device = -1;   // the thread's current device, recorded at each framed entry
};

// Gets or creates the thread's ThreadState, increments its depth and records the current device
// (cudaGetDevice). On a machine without driver or device the device stays -1.
void enterScope();
// Decrements the depth; at 0 the ThreadState is deleted (the failure flag is forgotten).
void leaveScope() noexcept;
// Sets / reads the failure flag of the existing ThreadState (no effect / false when none).
void markThreadFailed() noexcept;
bool threadFailed() noexcept;
// The existing ThreadState of this thread, or null.
const ThreadState* currentThreadState() noexcept;

// This thread's cuBLAS handle for the device recorded in its ThreadState (creating the
// ThreadState if needed), created on first use with host pointer mode. A failure of creation or
// of the pointer mode goes through the cuBLAS check (CublasException, or CudaMemoryException for
// an allocation failure); a device index outside 0..15 raises
// CudaRuntimeException(cudaErrorInvalidDevice).
cublasHandle_t threadCublasHandle();

// Destroys this thread's cuBLAS handles (each on its own device) and frees its Ctx.
void releaseThreadContext() noexcept;

// Whether the calling thread currently holds a handle for device index `device` (for tests).
bool threadHasCublasHandle(int device) noexcept;

// ---- the call context ------------------------------------------------------------------------

// What a routine's body receives from the frame: where it runs and with which cuBLAS handle.
struct CallContext {
    int32_t device = -1;            // the thread's current device
    int32_t threadId = 0;           // the caller's kernel thread id
    cublasHandle_t handle = nullptr;  // the thread's cuBLAS handle for `device`
    bool filled = false;            // false for an empty context

    // Builds the context of the calling thread: its recorded device, its thread id and its
    // cuBLAS handle for that device (created on first use).
    static CallContext build();
    // A context with only the `filled` flag clear (for routines that need no device).
    static CallContext empty() { return CallContext{}; }
};

}  // namespace zuli
