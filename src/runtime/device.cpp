// device.cpp - device discovery, the capability and property caches, the device and version
// functions, and the device report.
#include "runtime/device.h"

#include "runtime/context.h"
#include "runtime/frame.h"
#include "runtime/status.h"

#include <cublas_api.h>
#include <cuda_runtime_api.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <optional>

namespace zuli {

namespace {

void checkDeviceIndex(int device) {
    if (device < 0 || device >= kMaxDevices)
        throw cudalib::CudaRuntimeException(cudaErrorInvalidDevice,
                                            "device index outside the library's device table");
}

// ---- capability cache: filled without a lock; concurrent fills store the same values ----------

struct CapabilityEntry {
    std::atomic<uint8_t> filled{0};
    std::atomic<uint8_t> doublePrecision{0};
    std::atomic<int32_t> code{0};
};
std::array<CapabilityEntry, kMaxDevices>& capabilityCache() {
    static auto* cache = new std::array<CapabilityEntry, kMaxDevices>;
    return *cache;
}

// ---- property cache --------------------------------------------------------------------------

struct PropertyCache {
    std::mutex mutex;
    std::array<std::optional<DeviceProperties>, kMaxDevices> entries;
};
PropertyCache& propertyCache() {
    static auto* cache = new PropertyCache;
    return *cache;
}

DeviceProperties readDeviceProperties(int device) {
    cudaDeviceProp prop{};
    cudalib::checkCuda(cudaGetDeviceProperties(&prop, device));
    DeviceProperties out;
    out.name = prop.name;
    out.major = prop.major;
    out.minor = prop.minor;
    out.capabilityCode = 10 * prop.major + prop.minor;
    out.totalMemory = prop.totalGlobalMem;
    out.multiProcessorCount = prop.multiProcessorCount;
    out.asyncEngineCount = prop.asyncEngineCount;
    cudalib::checkCuda(cudaDeviceGetAttribute(&out.clockRateKHz, cudaDevAttrClockRate, device));
    return out;
}

// The CUDA version getters answer 0 when the runtime cannot say; the failed query must not
// linger as the runtime's last error.
int versionOrZero(cudaError_t (*query)(int*)) {
    int version = 0;
    if (query(&version) != cudaSuccess) {
        cudaGetLastError();
        return 0;
    }
    return version;
}

// printf into a std::string.
void appendf(std::string& out, const char* format, ...) __attribute__((format(printf, 2, 3)));
void appendf(std::string& out, const char* format, ...) {
    char line[512];
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (n > 0) out.append(line, std::min<size_t>(static_cast<size_t>(n), sizeof line - 1));
}

}  // namespace

Capability refreshDeviceCapability(int device) {
    checkDeviceIndex(device);
    int major = 0, minor = 0;
    cudalib::checkCuda(cudaDeviceGetAttribute(&major, cudaDevAttrComputeCapabilityMajor, device));
    cudalib::checkCuda(cudaDeviceGetAttribute(&minor, cudaDevAttrComputeCapabilityMinor, device));
    Capability cap{10 * major + minor, 10 * major + minor > 12};
    CapabilityEntry& entry = capabilityCache()[device];
    entry.code.store(cap.code, std::memory_order_relaxed);
    entry.doublePrecision.store(cap.doublePrecision ? 1 : 0, std::memory_order_relaxed);
    entry.filled.store(1, std::memory_order_release);
    return cap;
}

Capability deviceCapability(int device) {
    checkDeviceIndex(device);
    CapabilityEntry& entry = capabilityCache()[device];
    if (!entry.filled.load(std::memory_order_acquire)) return refreshDeviceCapability(device);
    return {entry.code.load(std::memory_order_relaxed),
            entry.doublePrecision.load(std::memory_order_relaxed) != 0};
}

DeviceProperties deviceProperties(int device) {
    checkDeviceIndex(device);
    PropertyCache& cache = propertyCache();
    {
        std::scoped_lock lock(cache.mutex);
        if (cache.entries[device]) return *cache.entries[device];
    }
    DeviceProperties props = readDeviceProperties(device);
    std::scoped_lock lock(cache.mutex);
    cache.entries[device] = props;
    return props;
}

void refreshDeviceProperties(int device) {
    checkDeviceIndex(device);
    DeviceProperties props = readDeviceProperties(device);
    PropertyCache& cache = propertyCache();
    std::scoped_lock lock(cache.mutex);
    cache.entries[device] = std::move(props);
}

void clearDeviceCaches() noexcept {
    for (CapabilityEntry& entry : capabilityCache()) entry.filled.store(0, std::memory_order_release);
    PropertyCache& cache = propertyCache();
    std::scoped_lock lock(cache.mutex);
    for (auto& entry : cache.entries) entry.reset();
}

int usableDeviceCount() {
    int n = 0;
    cudaError_t e = cudaGetDeviceCount(&n);
    if (e == cudaErrorNoDevice || e == cudaErrorInsufficientDriver) {
        cudaGetLastError();  // no GPU is an answer here, not a failure of the call
        return 0;
    }
    cudalib::checkCuda(e);
    if (n != 1) return n;
    // A lone device may be the runtime's emulation device or something below capability 1.0.
    // The name is not consulted: current GPUs carry names outside the historical families.
    cudaDeviceProp prop{};
    cudalib::checkCuda(cudaGetDeviceProperties(&prop, 0));
    if (prop.major < 1 || (prop.major == 9999 && prop.minor == 9999)) return 0;
    return 1;
}

int currentDevice() {
    int device = -1;
    cudalib::checkCuda(cudaGetDevice(&device));
    return device;
}

unsigned long long usableMemory(unsigned long long total) { return total - (total / 100) * 15; }

ScaledValue scaleToUnitPrefix(double value, double base) {
    static const char kPrefixes[] = " munpfae KMGTPEH";
    constexpr int kNone = 8;
    if (value == 0.0) return {0.0, kPrefixes[kNone]};
    double magnitude = value < 0 ? -value : value;
    int up = 0;
    while (magnitude >= base && up < 15 - kNone) {
        magnitude /= base;
        value /= base;
        ++up;
    }
    if (up > 0) return {value, kPrefixes[kNone + up]};
    // Below 1: milli, micro, ... are the characters after the leading blank, one per step.
    int down = 0;
    while (magnitude < 1.0 && down < kNone - 1) {
        magnitude *= base;
        value *= base;
        ++down;
    }
    return {value, kPrefixes[down == 0 ? kNone : down]};
}

std::string deviceReport() {
    int count = usableDeviceCount();
    std::string out;
    out.reserve(1024);
    appendf(out, "Found %d supported GPU%s\n", count, count < 2 ? "" : "s");
    double totalMemory = 0;
    for (int d = 0; d < count; ++d) {
        DeviceProperties props;
        try {
            props = deviceProperties(d);
        } catch (const std::exception&) {
            throw std::runtime_error("Failure analyzing device memory");
        }
        if (count > 1) appendf(out, "Device %d\n", d);
        appendf(out, "\tName: %s\n", props.name.c_str());
        ScaledValue mem = scaleToUnitPrefix(static_cast<double>(props.totalMemory), 1024.0);
        ScaledValue usable = scaleToUnitPrefix(static_cast<double>(usableMemory(props.totalMemory)),
                                               1024.0);
        appendf(out, "\tMemory: %.0f %cB", mem.value, mem.prefix);
        appendf(out, "  (%2.0f %cB Usable)", usable.value, usable.prefix);
        appendf(out, "\n");
        if (props.clockRateKHz <= 0) throw std::runtime_error("Failure analyzing device performance");
        ScaledValue clock = scaleToUnitPrefix(props.clockRateKHz * 1000.0, 1000.0);
        appendf(out, "\tClock: %2.2f %cHz", clock.value, clock.prefix);
        appendf(out, "\n");
        totalMemory += static_cast<double>(props.totalMemory);
    }
    if (count >= 2) {
        ScaledValue total = scaleToUnitPrefix(totalMemory, 1024.0);
        appendf(out, "Totals for %d devices:\n", count);
        appendf(out, "\tMemory: %2.0f %cB\n", total.value, total.prefix);
    }
    return out;
}

}  // namespace zuli

extern "C" {

ZULI_API zuliStatus zuliGetDeviceCount(int* dev) {
    return zuli::uninitializedRoutine([&](const zuli::CallContext&) {
        if (dev == nullptr) zuli::raiseArgumentError(-1);
        *dev = zuli::usableDeviceCount();
    });
}

ZULI_API zuliStatus zuliSelectDevice(int dev) {
    return zuli::uninitializedRoutine([&](const zuli::CallContext&) {
        if (dev < 0 || dev >= zuli::usableDeviceCount()) zuli::raiseArgumentError(-1);
        cudaError_t e = cudaSetDevice(dev);
        if (e != cudaSuccess)
            throw cudalib::CudaRuntimeException(e, "cudaSetDevice failed");
    });
}

ZULI_API zuliStatus zuliGetExecutingDevice(int* dev) {
    return zuli::utilityRoutine([&](const zuli::CallContext&) {
        if (dev == nullptr) zuli::raiseArgumentError(-1);
        *dev = zuli::currentDevice();
    });
}

ZULI_API zuliStatus zuliGetDeviceInfo(int dev, char* buf, int bufsize) {
    return zuli::uninitializedRoutine([&](const zuli::CallContext&) {
        if (dev < 0 || dev >= zuli::usableDeviceCount()) zuli::raiseArgumentError(-1);
        if (buf == nullptr) zuli::raiseArgumentError(-2);
        if (bufsize < 1) zuli::raiseArgumentError(-3);
        zuli::DeviceProperties props = zuli::deviceProperties(dev);
        zuli::ScaledValue mem = zuli::scaleToUnitPrefix(static_cast<double>(props.totalMemory), 1024.0);
        char memory[64];
        std::snprintf(memory, sizeof memory, "%.0f %cB", mem.value, mem.prefix);
        std::string text = props.name + " (" + memory + ")";
        std::strncpy(buf, text.c_str(), static_cast<size_t>(bufsize));
        buf[bufsize - 1] = '\0';
    });
}

ZULI_API int zuliGetVersion(void) { return 18000; }

ZULI_API int zuliGetCudaMinimumVersion(void) { return 6000; }

ZULI_API int zuliGetCublasMinimumVersion(void) { return 6000; }

ZULI_API int zuliGetCudaRuntimeVersion(void) { return zuli::versionOrZero(cudaRuntimeGetVersion); }

ZULI_API int zuliGetCudaDriverVersion(void) { return zuli::versionOrZero(cudaDriverGetVersion); }

ZULI_API int zuliGetCublasRuntimeVersion(void) {
    int version = 0;
    cublasGetVersion_v2(nullptr, &version);  // the version needs no handle; status not checked
    return version;
}

}  // extern "C"
