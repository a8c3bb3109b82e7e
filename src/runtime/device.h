// device.h - device discovery, the per-device caches and the text formatting of device facts.
//
// Two caches, both indexed by device index (0..kMaxDevices-1):
//   capability cache  the compute-capability code (10 * major + minor) and whether double
//                     precision is usable (code > 12); filled on the first lookup of a device,
//                     refreshed by zuliInitialize, consulted by every framed call;
//   property cache    name, capability, memory, copy engines and clock of a device; filled on
//                     first use.
// Both are emptied at the last zuliShutdown, so that a process that initialises again sees the
// devices as they are then.
#pragma once

#include <cstdint>
#include <string>

namespace zuli {

struct Capability {
    int32_t code = 0;          // 10 * major + minor
    bool doublePrecision = false;  // code > 12: capability 1.3 or higher
};

// The capability of `device`, from the cache (filled on first lookup, without a lock: concurrent
// first lookups store the same values). Refuses indices outside 0..15 with
// CudaRuntimeException(cudaErrorInvalidDevice).
Capability deviceCapability(int device);
// Re-reads the capability of `device` into the cache.
Capability refreshDeviceCapability(int device);

struct DeviceProperties {
    std::string name;
    int major = 0, minor = 0;
    int32_t capabilityCode = 0;
    unsigned long long totalMemory = 0;
    int multiProcessorCount = 0;
    int clockRateKHz = 0;      // from cudaDevAttrClockRate (no longer in cudaDeviceProp)
    int asyncEngineCount = 0;  // 0: copies cannot overlap kernels
};

// The properties of `device` from the property cache (filled on first use).
DeviceProperties deviceProperties(int device);
// Re-reads the properties of `device` into the cache.
void refreshDeviceProperties(int device);

// Forgets both caches (all devices).
void clearDeviceCaches() noexcept;

// The number of GPUs the library can use. A runtime that answers "no driver" or "no device"
// counts as 0 devices (and its error is cleared from the runtime's last error); a single device
// whose capability reads below 1.0 or 9999.9999 (an emulation device) counts as 0.
int usableDeviceCount();

// The calling thread's current device (cudaGetDevice, checked).
int currentDevice();

// Usable memory of a device of `total` bytes: total - (total / 100) * 15.
unsigned long long usableMemory(unsigned long long total);

// Scales a value to a unit prefix: repeatedly divides by `base` (1024 for memory, 1000 for
// frequencies) while the value is at least `base`, or multiplies while it is below 1, and picks
// the prefix from " munpfae KMGTPEH" (index 8, a blank, is no prefix).
struct ScaledValue {
    double value;
    char prefix;
};
ScaledValue scaleToUnitPrefix(double value, double base);

// The diagnostic device report: "Found %d supported GPU%s", then name, memory (with the usable
// part), clock of each device, and totals when there are several.
std::string deviceReport();

}  // namespace zuli
