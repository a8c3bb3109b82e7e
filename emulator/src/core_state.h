// core_state.h - private state of the emulated GPU's core (devices, errors, memory, streams).
//
// Everything here is guarded by one process-wide recursive mutex, lock(): the state is small, the
// work items run under it as well, and the recursion lets work items call deviceRange() and
// friends while the scheduler runs them.
#pragma once

#include "emu.h"
#include "zuli_emu.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace emu {

std::recursive_mutex& lock();
using Guard = std::scoped_lock<std::recursive_mutex>;

// ---- configuration and mode
// ----------------------------------------------------------------------

// True when the environment variable ZULI_EMU_PEDANTIC asks for pedantic mode (set, not "0").
bool pedanticFromEnvironment();

// A fresh emulator reports the versions of the toolkit it is built with (its headers): a runtime
// and a driver of CUDART_VERSION, and the cuBLAS of CUBLAS_VERSION.
struct Config {
    std::vector<zuliEmuDeviceConfig> devices;  // size == device count
    int runtimeVersion = CUDART_VERSION;
    int driverVersion = CUDART_VERSION;
    int cublasVersion = CUBLAS_VERSION;
    zuliEmuMode mode = ZULI_EMU_MODE_NORMAL;
    bool strict = true;
    bool pedantic = pedanticFromEnvironment();
};
Config& config();

// The cuBLAS version the emulator reports (for the cuBLAS part).
int cublasVersion();

// The error every device-using entry point returns before doing anything in the current mode:
// cudaErrorNoDevice, cudaErrorInsufficientDriver, or cudaSuccess in normal mode.
cudaError_t modeError();

// True for errors that corrupt the device context on a GPU and are reported by every later call.
bool isSticky(cudaError_t e);

// Sticky error of a device (cudaSuccess when none); clearStickyError for cudaDeviceReset.
cudaError_t deviceStickyError(int device);
void clearStickyError(int device);

// The device whose work the calling thread is executing, or -1 outside a work item; errors raised
// while running a work item belong to that work's device, not to the thread's current device.
int executingDevice();
void setExecutingDevice(int device);

// Resets the calling thread's view (last error, current device) when zuliEmuReset ran since.
void resetThreadState();
void setCurrentDevice(int device);

// Common entry of a runtime function: fault injection, then the mode check.
// Returns cudaSuccess when the call may proceed; otherwise the error, already recorded.
cudaError_t entry(const char* name);
// As entry(), plus the sticky error of the current device (for calls that use the device).
cudaError_t deviceEntry(const char* name);

#define EMU_ENTRY(name)                                     \
    do {                                                    \
        cudaError_t entryError_ = ::emu::entry(name);       \
        if (entryError_ != cudaSuccess) return entryError_; \
    } while (0)
#define EMU_DEVICE_ENTRY(name)                              \
    do {                                                    \
        cudaError_t entryError_ = ::emu::deviceEntry(name); \
        if (entryError_ != cudaSuccess) return entryError_; \
    } while (0)

// ---- counters (core-internal)
// ---------------------------------------------------------------------

void countSync();
void countMemset(size_t bytes);
// A device allocation of `bytes` bytes (log, counters, live and peak) and its release.
void countDeviceAlloc(size_t bytes);
void countDeviceFree(size_t bytes);
void countPinnedAlloc(size_t bytes);
void countPinnedFree(size_t bytes);
// True when the armed device / pinned allocation fault fires for this allocation.
bool deviceAllocFault();
bool pinnedAllocFault();

// setError() for an error that belongs to `device` (a stream's device, not the current one).
cudaError_t setErrorOn(int device, cudaError_t e);

// The calling thread's last error (or the device's sticky error); `clear` resets the non-sticky
// one.
cudaError_t lastError(bool clear);

// Control hooks (core.cpp), used by the control API.
void armCudaFault(const char* name, int k, cudaError_t error);
void armBlasFault(const char* name, int k, cublasStatus_t status);
void armAllocFaults(int device, int pinned);  // a negative value leaves that fault alone
int armedFaults();  // armed faults that have not fired
std::string lastFiredFault();
void readCounters(zuliEmuCounters* out);
void resetCounters();
unsigned long long opCalls(const char* op);
double opFlops(const char* op);
size_t allocationLog(unsigned long long* sizes, size_t max);
unsigned long long violationCount();
const char* lastViolationText();
void resetErrorsAndFaults();

// ---- memory (memory.cpp)
// --------------------------------------------------------------------------

// Bytes allocated on a device (what cudaMemGetInfo subtracts from the total).
size_t liveBytesOn(int device);
// Frees every device allocation of a device (cudaDeviceReset).
void freeAllOn(int device);
bool hasAllocationsOn(int device);
// True for any address of the device arena, live or not (a freed device pointer is not host
// memory).
bool inDeviceArena(const void* p);
// The device of the device or page-locked allocation containing p, -1 if none.
int allocationDevice(const void* p);

// ---- scheduler (stream.cpp)
// -----------------------------------------------------------------------

// Runs every pending work item (and what it depends on); device < 0 means all devices.
void runAll(int device);
// True when a pending (not yet executed) work item uses allocation `id`; *name receives its name.
bool allocationInUse(uint64_t id, std::string* name);
// The implicit synchronisation of a free, as the runtime does it: runs every pending work item of
// the calling thread's current device and of each device whose pending work uses allocation
// `id` (with what it depends on). Returns false when there was nothing to run; *error receives
// the sticky error of such a device whose work ran (recorded as the last error), cudaSuccess
// when there is none.
bool runForFree(uint64_t id, cudaError_t* error);
// Drops the pending work, streams and events of a device (cudaDeviceReset).
void resetDeviceStreams(int device);
// Restores the scheduling policy from the environment defaults (zuliEmuReset).
void resetSchedule();
void setSchedule(bool eager, unsigned long long seed);
// Submits `work` to the stream and waits for it (synchronous runtime calls).
cudaError_t submitAndWait(cudaStream_t s, const char* name, std::function<void()> work,
                          const std::vector<const void*>& uses);

}  // namespace emu
