// core.cpp - the emulated GPU's shared state: configuration, errors (last and sticky), violations,
// fault injection and counters.
#include "core_state.h"

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace emu {

std::recursive_mutex& lock() {
    static std::recursive_mutex mutex;
    return mutex;
}

bool pedanticFromEnvironment() {
    const char* s = std::getenv("ZULI_EMU_PEDANTIC");
    return s && *s && std::strcmp(s, "0") != 0;
}

Config& config() {
    static Config cfg = [] {
        Config c;
        zuliEmuDeviceConfig dev;
        zuliEmuDefaultDeviceConfig(&dev);
        c.devices.assign(1, dev);
        return c;
    }();
    return cfg;
}

int cublasVersion() {
    Guard g(lock());
    return config().cublasVersion;
}

cudaError_t modeError() {
    Guard g(lock());
    switch (config().mode) {
        case ZULI_EMU_MODE_NO_DEVICE:
            return cudaErrorNoDevice;
        case ZULI_EMU_MODE_NO_DRIVER:
            return cudaErrorInsufficientDriver;
        default:
            return config().devices.empty() ? cudaErrorNoDevice : cudaSuccess;
    }
}

bool isSticky(cudaError_t e) {
    switch (e) {
        case cudaErrorIllegalAddress:
        case cudaErrorLaunchFailure:
        case cudaErrorLaunchTimeout:
        case cudaErrorAssert:
        case cudaErrorHardwareStackError:
        case cudaErrorIllegalInstruction:
        case cudaErrorMisalignedAddress:
        case cudaErrorInvalidAddressSpace:
        case cudaErrorInvalidPc:
        case cudaErrorECCUncorrectable:
        case cudaErrorNvlinkUncorrectable:
        case cudaErrorTensorMemoryLeak:
            return true;
        default:
            return false;
    }
}

// ---- per-thread state ---------------------------------------------------------------------------

namespace {

constexpr int kMaxDevices = 16;

// Bumped by zuliEmuReset: a thread whose state carries an older epoch starts afresh.
std::atomic<uint64_t> g_epoch{1};

struct ThreadState {
    uint64_t epoch = 0;
    cudaError_t lastError = cudaSuccess;
    int device = 0;
    int executingDevice = -1;
};
thread_local ThreadState t_state;

cudaError_t g_sticky[kMaxDevices] = {};

struct CudaFaultRule {
    std::string name;  // empty: any runtime call
    int remaining;
    cudaError_t error;
};
struct BlasFaultRule {
    std::string name;
    int remaining;
    cublasStatus_t status;
};
std::vector<CudaFaultRule> g_cudaFaults;
std::vector<BlasFaultRule> g_blasFaults;
int g_deviceAllocFault = 0;  // countdown, 0: disarmed
int g_pinnedAllocFault = 0;
std::string g_lastFiredFault;  // the call the most recent fault fired in

zuliEmuCounters g_counters = {};
struct OpCount {
    unsigned long long calls = 0;
    double flops = 0;
};
std::map<std::string, OpCount> g_opCounts;
std::vector<unsigned long long> g_allocLog;

unsigned long long g_violations = 0;
std::string g_lastViolation;

// Counts the rule down when it matches `name`; true when it fires now.
template <class Rule>
bool fire(std::vector<Rule>& rules, const char* name, Rule* fired) {
    bool any = false;
    for (auto it = rules.begin(); it != rules.end();) {
        if (it->name.empty() || (name && it->name == name)) {
            if (--it->remaining == 0) {
                if (!any) *fired = *it;
                any = true;
                it = rules.erase(it);
                continue;
            }
        }
        ++it;
    }
    return any;
}

}  // namespace

void resetThreadState() {
    uint64_t epoch = g_epoch.load();
    if (t_state.epoch != epoch) {
        t_state.epoch = epoch;
        t_state.lastError = cudaSuccess;
        t_state.device = 0;
    }
}

int currentDevice() {
    resetThreadState();
    Guard g(lock());
    // A device that disappeared (zuliEmuSetDeviceCount) leaves the thread on device 0.
    if (t_state.device >= static_cast<int>(config().devices.size())) t_state.device = 0;
    return t_state.device;
}

void setCurrentDevice(int device) {
    resetThreadState();
    t_state.device = device;
}

int executingDevice() {
    return t_state.executingDevice;
}
void setExecutingDevice(int device) {
    t_state.executingDevice = device;
}

static int errorDevice() {
    int dev = t_state.executingDevice >= 0 ? t_state.executingDevice : currentDevice();
    return std::clamp(dev, 0, kMaxDevices - 1);
}

cudaError_t setErrorOn(int device, cudaError_t e) {
    resetThreadState();
    if (e == cudaSuccess) return e;
    t_state.lastError = e;
    if (isSticky(e)) {
        Guard g(lock());
        int dev = std::clamp(device, 0, kMaxDevices - 1);
        if (g_sticky[dev] == cudaSuccess) g_sticky[dev] = e;
    }
    return e;
}

cudaError_t setError(cudaError_t e) { return setErrorOn(errorDevice(), e); }

cudaError_t stickyError() {
    Guard g(lock());
    return g_sticky[errorDevice()];
}

cudaError_t deviceStickyError(int device) {
    Guard g(lock());
    return device >= 0 && device < kMaxDevices ? g_sticky[device] : cudaSuccess;
}

void clearStickyError(int device) {
    Guard g(lock());
    if (device >= 0 && device < kMaxDevices) g_sticky[device] = cudaSuccess;
}

// The calling thread's last error; `clear` resets it (a sticky error keeps being reported).
// Without a driver or a device the runtime cannot initialise, and says so every time it is
// asked, before any other call too, as the toolkit's runtime does on a machine without a driver.
cudaError_t lastError(bool clear) {
    if (const cudaError_t unusable = modeError(); unusable != cudaSuccess) return unusable;
    resetThreadState();
    cudaError_t e = t_state.lastError;
    if (clear) t_state.lastError = cudaSuccess;
    cudaError_t sticky = stickyError();
    return sticky != cudaSuccess ? sticky : e;
}

cudaError_t violation(const char* op, const void* ptr, const std::string& what,
                      cudaError_t asError) {
    char text[1024];
    std::snprintf(text, sizeof text, "zuli_emu: %s: %s (pointer 0x%" PRIxPTR ")", op ? op : "?",
                  what.c_str(), reinterpret_cast<uintptr_t>(ptr));
    bool strict;
    {
        Guard g(lock());
        strict = config().strict;
        if (!strict) {
            ++g_violations;
            g_lastViolation = text;
        }
    }
    if (strict) {
        std::fprintf(stderr, "%s\n", text);
        std::fflush(stderr);
        std::abort();
    }
    return setError(asError);
}

bool cudaFault(const char* name, cudaError_t* err) {
    Guard g(lock());
    CudaFaultRule rule;
    if (!fire(g_cudaFaults, name, &rule)) return false;
    g_lastFiredFault = name ? name : "";
    *err = rule.error;
    return true;
}

bool blasFault(const char* name, cublasStatus_t* st) {
    Guard g(lock());
    BlasFaultRule rule;
    if (!fire(g_blasFaults, name, &rule)) return false;
    g_lastFiredFault = name ? name : "";
    *st = rule.status;
    return true;
}

cudaError_t entry(const char* name) {
    Guard g(lock());
    resetThreadState();
    cudaError_t err;
    if (cudaFault(name, &err)) return setError(err);
    return setError(modeError());
}

cudaError_t deviceEntry(const char* name) {
    Guard g(lock());
    cudaError_t err = entry(name);
    if (err != cudaSuccess) return err;
    return setError(stickyError());
}

// ---- counters
// ---------------------------------------------------------------------------------------

void countCopy(CopyDir dir, size_t bytes) {
    Guard g(lock());
    switch (dir) {
        case CopyDir::H2D:
            ++g_counters.h2dCopies, g_counters.h2dBytes += bytes;
            break;
        case CopyDir::D2H:
            ++g_counters.d2hCopies, g_counters.d2hBytes += bytes;
            break;
        case CopyDir::D2D:
            ++g_counters.d2dCopies, g_counters.d2dBytes += bytes;
            break;
        case CopyDir::H2H:
            ++g_counters.h2hCopies, g_counters.h2hBytes += bytes;
            break;
    }
}

void countLaunch() {
    Guard g(lock());
    ++g_counters.launches;
}

void countBlas(const char* op, double flops) {
    Guard g(lock());
    ++g_counters.blasCalls;
    g_counters.blasFlops += flops;
    OpCount& c = g_opCounts[op ? op : ""];
    ++c.calls;
    c.flops += flops;
}

void countSync() {
    Guard g(lock());
    ++g_counters.syncs;
}

void countMemset(size_t bytes) {
    Guard g(lock());
    ++g_counters.memsets;
    g_counters.memsetBytes += bytes;
}

void countDeviceAlloc(size_t bytes) {
    Guard g(lock());
    ++g_counters.deviceAllocs;
    g_counters.liveDeviceBytes += bytes;
    g_counters.peakDeviceBytes = std::max(g_counters.peakDeviceBytes, g_counters.liveDeviceBytes);
    g_allocLog.push_back(bytes);
}

void countDeviceFree(size_t bytes) {
    Guard g(lock());
    ++g_counters.deviceFrees;
    g_counters.liveDeviceBytes -= bytes;
}

void countPinnedAlloc(size_t bytes) {
    Guard g(lock());
    ++g_counters.pinnedAllocs;
    g_counters.livePinnedBytes += bytes;
}

void countPinnedFree(size_t bytes) {
    Guard g(lock());
    ++g_counters.pinnedFrees;
    g_counters.livePinnedBytes -= bytes;
}

bool deviceAllocFault() {
    Guard g(lock());
    if (!(g_deviceAllocFault > 0 && --g_deviceAllocFault == 0)) return false;
    g_lastFiredFault = "device allocation";
    return true;
}

bool pinnedAllocFault() {
    Guard g(lock());
    if (!(g_pinnedAllocFault > 0 && --g_pinnedAllocFault == 0)) return false;
    g_lastFiredFault = "page-locked allocation";
    return true;
}

// ---- hooks for the control API (control.cpp)
// ------------------------------------------------------

void armCudaFault(const char* name, int k, cudaError_t error) {
    Guard g(lock());
    std::string key = name ? name : "";
    std::erase_if(g_cudaFaults, [&](const CudaFaultRule& r) { return r.name == key; });
    if (k > 0) g_cudaFaults.push_back({key, k, error});
}

void armBlasFault(const char* name, int k, cublasStatus_t status) {
    Guard g(lock());
    std::string key = name ? name : "";
    std::erase_if(g_blasFaults, [&](const BlasFaultRule& r) { return r.name == key; });
    if (k > 0) g_blasFaults.push_back({key, k, status});
}

void armAllocFaults(int device, int pinned) {
    Guard g(lock());
    if (device >= 0) g_deviceAllocFault = device;
    if (pinned >= 0) g_pinnedAllocFault = pinned;
}

std::string lastFiredFault() {
    Guard g(lock());
    return g_lastFiredFault;
}

int armedFaults() {
    Guard g(lock());
    return int(g_cudaFaults.size() + g_blasFaults.size()) + (g_deviceAllocFault > 0) +
           (g_pinnedAllocFault > 0);
}

void readCounters(zuliEmuCounters* out) {
    Guard g(lock());
    *out = g_counters;
}

void resetCounters() {
    Guard g(lock());
    unsigned long long live = g_counters.liveDeviceBytes;
    unsigned long long pinned = g_counters.livePinnedBytes;
    g_counters = {};
    g_counters.liveDeviceBytes = live;
    g_counters.peakDeviceBytes = live;
    g_counters.livePinnedBytes = pinned;
    g_opCounts.clear();
    g_allocLog.clear();
}

unsigned long long opCalls(const char* op) {
    Guard g(lock());
    auto it = g_opCounts.find(op ? op : "");
    return it == g_opCounts.end() ? 0 : it->second.calls;
}

double opFlops(const char* op) {
    Guard g(lock());
    auto it = g_opCounts.find(op ? op : "");
    return it == g_opCounts.end() ? 0.0 : it->second.flops;
}

size_t allocationLog(unsigned long long* sizes, size_t max) {
    Guard g(lock());
    size_t n = std::min(max, g_allocLog.size());
    if (sizes && n) std::copy_n(g_allocLog.begin(), n, sizes);
    return g_allocLog.size();
}

unsigned long long violationCount() {
    Guard g(lock());
    return g_violations;
}

const char* lastViolationText() {
    Guard g(lock());
    return g_lastViolation.c_str();
}

// Clears faults, violations, sticky errors and every thread's last error and current device.
void resetErrorsAndFaults() {
    Guard g(lock());
    g_cudaFaults.clear();
    g_blasFaults.clear();
    g_deviceAllocFault = g_pinnedAllocFault = 0;
    g_lastFiredFault.clear();
    g_violations = 0;
    g_lastViolation.clear();
    std::fill(std::begin(g_sticky), std::end(g_sticky), cudaSuccess);
    ++g_epoch;
}

}  // namespace emu
