// control.cpp - the control API of the emulated GPU (zuli_emu.h).
#include "core_state.h"

#include <cstring>

namespace {

using emu::Guard;
using emu::lock;

constexpr int kMaxDevices = 16;

bool validIndex(int dev) {
    return dev >= 0 && dev < static_cast<int>(emu::config().devices.size());
}

}  // namespace

extern "C" {

void zuliEmuDefaultDeviceConfig(zuliEmuDeviceConfig* cfg) {
    if (!cfg) return;
    std::memset(cfg, 0, sizeof *cfg);
    std::strncpy(cfg->name, "Zuli Emulated GPU (sm_90)", sizeof cfg->name - 1);
    cfg->major = 9;
    cfg->minor = 0;
    cfg->totalMem = 80ull << 30;
    cfg->multiProcessorCount = 132;
    cfg->clockRateKHz = 1980000;
    cfg->memoryClockRateKHz = 2619000;
    cfg->memoryBusWidth = 5120;
    cfg->maxThreadsPerBlock = 1024;
    cfg->maxThreadsDim[0] = 1024, cfg->maxThreadsDim[1] = 1024, cfg->maxThreadsDim[2] = 64;
    cfg->maxGridSize[0] = 2147483647, cfg->maxGridSize[1] = 65535, cfg->maxGridSize[2] = 65535;
    cfg->sharedMemPerBlock = 49152;
    cfg->warpSize = 32;
    cfg->memPitch = 2147483647;
    cfg->textureAlignment = 512;
    cfg->texturePitchAlignment = 512;
    cfg->asyncEngineCount = 2;
    cfg->concurrentKernels = 1;
}

int zuliEmuSetDeviceCount(int n) {
    Guard g(lock());
    if (n < 0 || n > kMaxDevices) return -1;
    auto& devices = emu::config().devices;
    for (int d = n; d < static_cast<int>(devices.size()); ++d)
        if (emu::hasAllocationsOn(d)) return -1;
    zuliEmuDeviceConfig dflt;
    zuliEmuDefaultDeviceConfig(&dflt);
    devices.assign(n, dflt);
    return 0;
}

int zuliEmuConfigureDevice(int dev, const zuliEmuDeviceConfig* cfg) {
    Guard g(lock());
    if (!cfg || !validIndex(dev)) return -1;
    emu::config().devices[dev] = *cfg;
    emu::config().devices[dev].name[sizeof cfg->name - 1] = '\0';
    return 0;
}

int zuliEmuGetDeviceConfig(int dev, zuliEmuDeviceConfig* cfg) {
    Guard g(lock());
    if (!cfg || !validIndex(dev)) return -1;
    *cfg = emu::config().devices[dev];
    return 0;
}

int zuliEmuSetComputeCapability(int dev, int major, int minor) {
    Guard g(lock());
    if (!validIndex(dev)) return -1;
    emu::config().devices[dev].major = major;
    emu::config().devices[dev].minor = minor;
    return 0;
}

int zuliEmuSetTotalMemory(int dev, unsigned long long bytes) {
    Guard g(lock());
    if (!validIndex(dev)) return -1;
    emu::config().devices[dev].totalMem = bytes;
    return 0;
}

int zuliEmuSetMaxGridSize(int dev, int x, int y, int z) {
    Guard g(lock());
    if (!validIndex(dev)) return -1;
    int* grid = emu::config().devices[dev].maxGridSize;
    grid[0] = x, grid[1] = y, grid[2] = z;
    return 0;
}

int zuliEmuSetAsyncEngineCount(int dev, int count) {
    Guard g(lock());
    if (!validIndex(dev)) return -1;
    emu::config().devices[dev].asyncEngineCount = count;
    return 0;
}

void zuliEmuSetVersions(int runtimeVersion, int driverVersion, int cublasVersion) {
    Guard g(lock());
    emu::config().runtimeVersion = runtimeVersion;
    emu::config().driverVersion = driverVersion;
    emu::config().cublasVersion = cublasVersion;
}

void zuliEmuSetMode(zuliEmuMode mode) {
    Guard g(lock());
    emu::config().mode = mode;
}

void zuliEmuSetSchedule(zuliEmuSchedule schedule, unsigned long long seed) {
    emu::setSchedule(schedule == ZULI_EMU_SCHEDULE_EAGER, seed);
}

void zuliEmuSetStrict(int strict) {
    Guard g(lock());
    emu::config().strict = strict != 0;
}

void zuliEmuSetPedantic(int pedantic) {
    Guard g(lock());
    emu::config().pedantic = pedantic != 0;
}

unsigned long long zuliEmuViolationCount(void) {
    return emu::violationCount();
}

const char* zuliEmuLastViolation(void) {
    return emu::lastViolationText();
}

void zuliEmuFailDeviceAlloc(int k) {
    emu::armAllocFaults(k, -1);
}

void zuliEmuFailPinnedAlloc(int k) {
    emu::armAllocFaults(-1, k);
}

void zuliEmuFailBlasCall(const char* name, int k, int status) {
    emu::armBlasFault(name, k, static_cast<cublasStatus_t>(status));
}

void zuliEmuFailCudaCall(const char* name, int k, int error) {
    emu::armCudaFault(name, k, static_cast<cudaError_t>(error));
}

int zuliEmuArmedFaults(void) {
    return emu::armedFaults();
}

const char* zuliEmuLastFiredFault(void) {
    thread_local std::string text;
    text = emu::lastFiredFault();
    return text.c_str();
}

void zuliEmuGetCounters(zuliEmuCounters* out) {
    if (out) emu::readCounters(out);
}

void zuliEmuResetCounters(void) {
    emu::resetCounters();
}

unsigned long long zuliEmuBlasOpCalls(const char* op) {
    return emu::opCalls(op);
}

double zuliEmuBlasOpFlops(const char* op) {
    return emu::opFlops(op);
}

size_t zuliEmuDeviceAllocationLog(unsigned long long* sizes, size_t max) {
    return emu::allocationLog(sizes, max);
}

void zuliEmuReset(void) {
    Guard g(lock());
    emu::runAll(-1);
    emu::Config& cfg = emu::config();
    zuliEmuDeviceConfig dflt;
    zuliEmuDefaultDeviceConfig(&dflt);
    cfg.devices.assign(1, dflt);
    const emu::Config defaults;
    cfg.runtimeVersion = defaults.runtimeVersion;
    cfg.driverVersion = defaults.driverVersion;
    cfg.cublasVersion = defaults.cublasVersion;
    cfg.mode = ZULI_EMU_MODE_NORMAL;
    cfg.strict = true;
    cfg.pedantic = defaults.pedantic;
    emu::resetSchedule();
    emu::resetErrorsAndFaults();
    emu::resetCounters();
}

}  // extern "C"
