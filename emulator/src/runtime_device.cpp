// runtime_device.cpp - CUDA runtime: devices, versions, device-wide synchronisation and errors.
#include "core_state.h"

#include <algorithm>
#include <cstring>

namespace emu {

int deviceCount() {
    Guard g(lock());
    return config().mode == ZULI_EMU_MODE_NORMAL ? static_cast<int>(config().devices.size()) : 0;
}

DeviceLimits limits(int device) {
    Guard g(lock());
    const auto& devices = config().devices;
    zuliEmuDeviceConfig fallback;
    zuliEmuDefaultDeviceConfig(&fallback);
    const zuliEmuDeviceConfig& c =
        device >= 0 && device < static_cast<int>(devices.size()) ? devices[device] : fallback;
    DeviceLimits l;
    l.maxThreadsPerBlock = c.maxThreadsPerBlock;
    std::copy(c.maxThreadsDim, c.maxThreadsDim + 3, l.maxThreadsDim);
    std::copy(c.maxGridSize, c.maxGridSize + 3, l.maxGridSize);
    l.sharedMemPerBlock = c.sharedMemPerBlock;
    l.memPitch = c.memPitch;
    l.asyncEngineCount = c.asyncEngineCount;
    return l;
}

namespace {

bool validDevice(int device) {
    return device >= 0 && device < deviceCount();
}

struct ErrorText {
    cudaError_t code;
    const char* name;
    const char* text;
};

#define EMU_ERROR(code, text) \
    { code, #code, text }
const ErrorText kErrorTexts[] = {
    EMU_ERROR(cudaSuccess, "no error"),
    EMU_ERROR(cudaErrorInvalidValue, "invalid argument"),
    EMU_ERROR(cudaErrorMemoryAllocation, "out of memory"),
    EMU_ERROR(cudaErrorInitializationError, "initialization error"),
    EMU_ERROR(cudaErrorCudartUnloading, "driver shutting down"),
    EMU_ERROR(cudaErrorProfilerDisabled, "profiler disabled while using external profiling tool"),
    EMU_ERROR(cudaErrorProfilerNotInitialized,
              "profiler not initialized: call cudaProfilerInitialize()"),
    EMU_ERROR(cudaErrorProfilerAlreadyStarted, "profiler already started"),
    EMU_ERROR(cudaErrorProfilerAlreadyStopped, "profiler already stopped"),
    EMU_ERROR(cudaErrorInvalidConfiguration, "invalid configuration argument"),
    EMU_ERROR(cudaErrorInvalidPitchValue, "invalid pitch argument"),
    EMU_ERROR(cudaErrorInvalidSymbol, "invalid device symbol"),
    EMU_ERROR(cudaErrorInvalidHostPointer, "invalid host pointer"),
    EMU_ERROR(cudaErrorInvalidDevicePointer, "invalid device pointer"),
    EMU_ERROR(cudaErrorInvalidTexture, "invalid texture reference"),
    EMU_ERROR(cudaErrorInvalidTextureBinding, "texture is not bound to a pointer"),
    EMU_ERROR(cudaErrorInvalidChannelDescriptor, "invalid channel descriptor"),
    EMU_ERROR(cudaErrorInvalidMemcpyDirection, "invalid copy direction for memcpy"),
    EMU_ERROR(cudaErrorAddressOfConstant, "invalid address of constant"),
    EMU_ERROR(cudaErrorTextureFetchFailed, "fetch from texture failed"),
    EMU_ERROR(cudaErrorTextureNotBound, "cannot fetch from a texture that is not bound"),
    EMU_ERROR(cudaErrorSynchronizationError, "incorrect use of __syncthreads()"),
    EMU_ERROR(cudaErrorInvalidFilterSetting, "linear filtering not supported for non-float type"),
    EMU_ERROR(cudaErrorInvalidNormSetting, "read as normalized float not supported for data type"),
    EMU_ERROR(cudaErrorMixedDeviceExecution,
              "device emulation mode and device execution mode cannot be mixed"),
    EMU_ERROR(cudaErrorNotYetImplemented, "feature not yet implemented"),
    EMU_ERROR(cudaErrorMemoryValueTooLarge,
              "memory size or pointer value too large to fit in 32 bit"),
    EMU_ERROR(cudaErrorStubLibrary, "CUDA driver is a stub library"),
    EMU_ERROR(cudaErrorInsufficientDriver,
              "CUDA driver version is insufficient for CUDA runtime version"),
    EMU_ERROR(cudaErrorCallRequiresNewerDriver,
              "API call is not supported in the installed CUDA driver"),
    EMU_ERROR(cudaErrorInvalidSurface, "invalid surface reference"),
    EMU_ERROR(cudaErrorDuplicateVariableName, "duplicate global variable looked up by string name"),
    EMU_ERROR(cudaErrorDuplicateTextureName, "duplicate texture looked up by string name"),
    EMU_ERROR(cudaErrorDuplicateSurfaceName, "duplicate surface looked up by string name"),
    EMU_ERROR(cudaErrorDevicesUnavailable, "CUDA-capable device(s) is/are busy or unavailable"),
    EMU_ERROR(cudaErrorIncompatibleDriverContext, "incompatible driver context"),
    EMU_ERROR(cudaErrorMissingConfiguration, "__global__ function call is not configured"),
    EMU_ERROR(cudaErrorPriorLaunchFailure, "unspecified launch failure in prior launch"),
    EMU_ERROR(cudaErrorLaunchMaxDepthExceeded,
              "launch would exceed maximum depth of nested launches"),
    EMU_ERROR(cudaErrorLaunchFileScopedTex,
              "launch failed because kernel uses unsupported, file-scoped textures (texture "
              "objects are supported)"),
    EMU_ERROR(cudaErrorLaunchFileScopedSurf,
              "launch failed because kernel uses unsupported, file-scoped surfaces (surface "
              "objects are supported)"),
    EMU_ERROR(cudaErrorSyncDepthExceeded,
              "cudaDeviceSynchronize failed because caller's grid depth exceeds "
              "cudaLimitDevRuntimeSyncDepth"),
    EMU_ERROR(cudaErrorLaunchPendingCountExceeded,
              "launch failed because launch would exceed cudaLimitDevRuntimePendingLaunchCount"),
    EMU_ERROR(cudaErrorInvalidDeviceFunction, "invalid device function"),
    EMU_ERROR(cudaErrorNoDevice, "no CUDA-capable device is detected"),
    EMU_ERROR(cudaErrorInvalidDevice, "invalid device ordinal"),
    EMU_ERROR(cudaErrorDeviceNotLicensed, "device doesn't have valid Grid license"),
    EMU_ERROR(cudaErrorSoftwareValidityNotEstablished, "integrity checks failed"),
    EMU_ERROR(cudaErrorStartupFailure, "startup failure in cuda runtime"),
    EMU_ERROR(cudaErrorInvalidKernelImage, "device kernel image is invalid"),
    EMU_ERROR(cudaErrorDeviceUninitialized, "invalid device context"),
    EMU_ERROR(cudaErrorMapBufferObjectFailed, "mapping of buffer object failed"),
    EMU_ERROR(cudaErrorUnmapBufferObjectFailed, "unmapping of buffer object failed"),
    EMU_ERROR(cudaErrorArrayIsMapped, "array is mapped"),
    EMU_ERROR(cudaErrorAlreadyMapped, "resource already mapped"),
    EMU_ERROR(cudaErrorNoKernelImageForDevice,
              "no kernel image is available for execution on the device"),
    EMU_ERROR(cudaErrorAlreadyAcquired, "resource already acquired"),
    EMU_ERROR(cudaErrorNotMapped, "resource not mapped"),
    EMU_ERROR(cudaErrorNotMappedAsArray, "resource not mapped as array"),
    EMU_ERROR(cudaErrorNotMappedAsPointer, "resource not mapped as pointer"),
    EMU_ERROR(cudaErrorECCUncorrectable, "uncorrectable ECC error encountered"),
    EMU_ERROR(cudaErrorUnsupportedLimit, "limit is not supported on this architecture"),
    EMU_ERROR(cudaErrorDeviceAlreadyInUse,
              "exclusive-thread device already in use by a different thread"),
    EMU_ERROR(cudaErrorPeerAccessUnsupported,
              "peer access is not supported between these two devices"),
    EMU_ERROR(cudaErrorInvalidPtx, "a PTX JIT compilation failed"),
    EMU_ERROR(cudaErrorInvalidGraphicsContext, "invalid OpenGL or DirectX context"),
    EMU_ERROR(cudaErrorNvlinkUncorrectable,
              "uncorrectable NVLink error detected during the execution"),
    EMU_ERROR(cudaErrorJitCompilerNotFound, "PTX JIT compiler library not found"),
    EMU_ERROR(cudaErrorUnsupportedPtxVersion,
              "the provided PTX was compiled with an unsupported toolchain."),
    EMU_ERROR(cudaErrorJitCompilationDisabled, "PTX JIT compilation was disabled"),
    EMU_ERROR(cudaErrorUnsupportedExecAffinity, "the provided execution affinity is not supported"),
    EMU_ERROR(cudaErrorUnsupportedDevSideSync,
              "the provided PTX contains unsupported call to cudaDeviceSynchronize"),
    EMU_ERROR(cudaErrorContained,
              "Invalid access of peer GPU memory over nvlink or a hardware error"),
    EMU_ERROR(cudaErrorInvalidSource, "device kernel image is invalid"),
    EMU_ERROR(cudaErrorFileNotFound, "file not found"),
    EMU_ERROR(cudaErrorSharedObjectSymbolNotFound, "shared object symbol not found"),
    EMU_ERROR(cudaErrorSharedObjectInitFailed, "shared object initialization failed"),
    EMU_ERROR(cudaErrorOperatingSystem, "OS call failed or operation not supported on this OS"),
    EMU_ERROR(cudaErrorInvalidResourceHandle, "invalid resource handle"),
    EMU_ERROR(cudaErrorIllegalState, "the operation cannot be performed in the present state"),
    EMU_ERROR(cudaErrorLossyQuery, "attempted introspection would be semantically lossy"),
    EMU_ERROR(cudaErrorSymbolNotFound, "named symbol not found"),
    EMU_ERROR(cudaErrorNotReady, "device not ready"),
    EMU_ERROR(cudaErrorIllegalAddress, "an illegal memory access was encountered"),
    EMU_ERROR(cudaErrorLaunchOutOfResources, "too many resources requested for launch"),
    EMU_ERROR(cudaErrorLaunchTimeout, "the launch timed out and was terminated"),
    EMU_ERROR(cudaErrorLaunchIncompatibleTexturing, "launch uses incompatible texturing mode"),
    EMU_ERROR(cudaErrorPeerAccessAlreadyEnabled, "peer access is already enabled"),
    EMU_ERROR(cudaErrorPeerAccessNotEnabled, "peer access has not been enabled"),
    EMU_ERROR(cudaErrorSetOnActiveProcess, "cannot set while device is active in this process"),
    EMU_ERROR(cudaErrorContextIsDestroyed, "context is destroyed"),
    EMU_ERROR(cudaErrorAssert, "device-side assert triggered"),
    EMU_ERROR(cudaErrorTooManyPeers, "peer mapping resources exhausted"),
    EMU_ERROR(cudaErrorHostMemoryAlreadyRegistered,
              "part or all of the requested memory range is already mapped"),
    EMU_ERROR(cudaErrorHostMemoryNotRegistered,
              "pointer does not correspond to a registered memory region"),
    EMU_ERROR(cudaErrorHardwareStackError, "hardware stack error"),
    EMU_ERROR(cudaErrorIllegalInstruction, "an illegal instruction was encountered"),
    EMU_ERROR(cudaErrorMisalignedAddress, "misaligned address"),
    EMU_ERROR(cudaErrorInvalidAddressSpace,
              "operation not supported on global/shared address space"),
    EMU_ERROR(cudaErrorInvalidPc, "invalid program counter"),
    EMU_ERROR(cudaErrorLaunchFailure, "unspecified launch failure"),
    EMU_ERROR(cudaErrorCooperativeLaunchTooLarge, "too many blocks in cooperative launch"),
    EMU_ERROR(cudaErrorTensorMemoryLeak, "tensor memory not completely freed"),
    EMU_ERROR(cudaErrorNotPermitted, "operation not permitted"),
    EMU_ERROR(cudaErrorNotSupported, "operation not supported"),
    EMU_ERROR(cudaErrorSystemNotReady, "system not yet initialized"),
    EMU_ERROR(cudaErrorSystemDriverMismatch,
              "system has unsupported display driver / cuda driver combination"),
    EMU_ERROR(cudaErrorCompatNotSupportedOnDevice,
              "forward compatibility was attempted on non supported HW"),
    EMU_ERROR(cudaErrorMpsConnectionFailed,
              "MPS client failed to connect to the MPS control daemon or the MPS server"),
    EMU_ERROR(cudaErrorMpsRpcFailure,
              "the remote procedural call between the MPS server and the MPS client failed"),
    EMU_ERROR(cudaErrorMpsServerNotReady,
              "MPS server is not ready to accept new MPS client requests"),
    EMU_ERROR(cudaErrorMpsMaxClientsReached,
              "the hardware resources required to create MPS client have been exhausted"),
    EMU_ERROR(cudaErrorMpsMaxConnectionsReached,
              "the hardware resources required to support device connections have been exhausted"),
    EMU_ERROR(cudaErrorMpsClientTerminated, "the MPS client has been terminated by the server"),
    EMU_ERROR(cudaErrorCdpNotSupported,
              "is using CUDA Dynamic Parallelism, but the current configuration, like MPS, does "
              "not support it"),
    EMU_ERROR(cudaErrorCdpVersionMismatch,
              "unsupported interaction between different versions of CUDA Dynamic Parallelism"),
    EMU_ERROR(cudaErrorStreamCaptureUnsupported,
              "operation not permitted when stream is capturing"),
    EMU_ERROR(cudaErrorStreamCaptureInvalidated,
              "operation failed due to a previous error during capture"),
    EMU_ERROR(cudaErrorStreamCaptureMerge,
              "operation would result in a merge of separate capture sequences"),
    EMU_ERROR(cudaErrorStreamCaptureUnmatched,
              "capture was not ended in the same stream as it began"),
    EMU_ERROR(cudaErrorStreamCaptureUnjoined, "capturing stream has unjoined work"),
    EMU_ERROR(cudaErrorStreamCaptureIsolation,
              "dependency created on uncaptured work in another stream"),
    EMU_ERROR(cudaErrorStreamCaptureImplicit,
              "operation would make the legacy stream depend on a capturing blocking stream"),
    EMU_ERROR(cudaErrorCapturedEvent,
              "operation not permitted on an event last recorded in a capturing stream"),
    EMU_ERROR(cudaErrorStreamCaptureWrongThread,
              "attempt to terminate a thread-local capture sequence from another thread"),
    EMU_ERROR(cudaErrorTimeout, "wait operation timed out"),
    EMU_ERROR(cudaErrorGraphExecUpdateFailure,
              "the graph update was not performed because it included changes which violated "
              "constraints specific to instantiated graph update"),
    EMU_ERROR(cudaErrorExternalDevice,
              "an async error has occured in external entity outside of CUDA"),
    EMU_ERROR(cudaErrorInvalidClusterSize,
              "a kernel launch error has occurred due to cluster misconfiguration"),
    EMU_ERROR(
        cudaErrorFunctionNotLoaded,
        "the function handle is not loaded when calling an API that requires a loaded function"),
    EMU_ERROR(cudaErrorInvalidResourceType,
              "one or more resources passed in are not valid resource types for the operation"),
    EMU_ERROR(cudaErrorInvalidResourceConfiguration,
              "one or more resources are insufficient or non-applicable for the operation"),
    EMU_ERROR(cudaErrorUnknown, "unknown error"),
};
#undef EMU_ERROR

const ErrorText* findError(cudaError_t e) {
    for (const ErrorText& t : kErrorTexts)
        if (t.code == e) return &t;
    return nullptr;
}

// Entry of the version queries: only fault injection, they answer in every mode.
cudaError_t versionEntry(const char* name) {
    Guard g(lock());
    cudaError_t err;
    if (cudaFault(name, &err)) return setError(err);
    return cudaSuccess;
}

}  // namespace
}  // namespace emu

using emu::Guard;
using emu::lock;
using emu::setError;

extern "C" {

cudaError_t cudaGetDeviceCount(int* count) {
    EMU_ENTRY("cudaGetDeviceCount");  // on failure *count is left as it was
    if (!count) return setError(cudaErrorInvalidValue);
    *count = emu::deviceCount();
    return cudaSuccess;
}

cudaError_t cudaSetDevice(int device) {
    EMU_ENTRY("cudaSetDevice");
    if (!emu::validDevice(device)) return setError(cudaErrorInvalidDevice);
    emu::setCurrentDevice(device);
    return cudaSuccess;
}

cudaError_t cudaGetDevice(int* device) {
    EMU_ENTRY("cudaGetDevice");
    if (!device) return setError(cudaErrorInvalidValue);
    *device = emu::currentDevice();
    return cudaSuccess;
}

cudaError_t cudaSetDeviceFlags(unsigned int flags) {
    EMU_ENTRY("cudaSetDeviceFlags");
    if (flags & ~unsigned(cudaDeviceScheduleMask | cudaDeviceMapHost | cudaDeviceLmemResizeToMax))
        return setError(cudaErrorInvalidValue);
    return cudaSuccess;
}

cudaError_t cudaGetDeviceProperties(cudaDeviceProp* prop, int device) {
    EMU_ENTRY("cudaGetDeviceProperties");
    if (!prop) return setError(cudaErrorInvalidValue);
    if (!emu::validDevice(device)) return setError(cudaErrorInvalidDevice);
    Guard g(lock());
    const zuliEmuDeviceConfig& c = emu::config().devices[device];
    cudaDeviceProp p;
    std::memset(&p, 0, sizeof p);
    std::memcpy(p.name, c.name, sizeof p.name);
    p.name[sizeof p.name - 1] = '\0';
    for (int i = 0; i < 16; ++i) p.uuid.bytes[i] = static_cast<char>(0x5a ^ (device * 16 + i));
    p.totalGlobalMem = c.totalMem;
    p.sharedMemPerBlock = c.sharedMemPerBlock;
    p.regsPerBlock = 65536;
    p.warpSize = c.warpSize;
    p.memPitch = c.memPitch;
    p.maxThreadsPerBlock = c.maxThreadsPerBlock;
    std::copy(c.maxThreadsDim, c.maxThreadsDim + 3, p.maxThreadsDim);
    std::copy(c.maxGridSize, c.maxGridSize + 3, p.maxGridSize);
    p.totalConstMem = 65536;
    p.major = c.major;
    p.minor = c.minor;
    p.textureAlignment = c.textureAlignment;
    p.texturePitchAlignment = c.texturePitchAlignment;
    p.multiProcessorCount = c.multiProcessorCount;
    p.integrated = 0;
    p.canMapHostMemory = 1;
    p.maxTexture1D = 131072;
    p.maxTexture2D[0] = 131072, p.maxTexture2D[1] = 65536;
    p.maxTexture3D[0] = p.maxTexture3D[1] = p.maxTexture3D[2] = 16384;
    p.surfaceAlignment = 512;
    p.concurrentKernels = c.concurrentKernels;
    p.ECCEnabled = 1;
    p.pciBusID = device + 1;
    p.asyncEngineCount = c.asyncEngineCount;
    p.unifiedAddressing = 1;
    p.memoryBusWidth = c.memoryBusWidth;
    p.l2CacheSize = 50 << 20;
    p.maxThreadsPerMultiProcessor = 2048;
    p.streamPrioritiesSupported = 1;
    p.globalL1CacheSupported = 1;
    p.localL1CacheSupported = 1;
    p.sharedMemPerMultiprocessor = 233472;
    p.regsPerMultiprocessor = 65536;
    p.managedMemory = 1;
    p.hostNativeAtomicSupported = 0;
    p.computePreemptionSupported = 1;
    p.cooperativeLaunch = 1;
    p.sharedMemPerBlockOptin = std::max<size_t>(c.sharedMemPerBlock, 232448);
    p.maxBlocksPerMultiProcessor = 32;
    p.reservedSharedMemPerBlock = 1024;
    p.hostRegisterSupported = 1;
    p.memoryPoolsSupported = 1;
    p.deviceNumaId = -1;
    p.hostNumaId = -1;
    *prop = p;
    return cudaSuccess;
}

cudaError_t cudaDeviceGetAttribute(int* value, cudaDeviceAttr attr, int device) {
    EMU_ENTRY("cudaDeviceGetAttribute");
    if (!value) return setError(cudaErrorInvalidValue);
    if (!emu::validDevice(device)) return setError(cudaErrorInvalidDevice);
    Guard g(lock());
    const zuliEmuDeviceConfig& c = emu::config().devices[device];
    auto clampInt = [](size_t v) { return static_cast<int>(std::min<size_t>(v, 2147483647)); };
    switch (attr) {
        case cudaDevAttrMaxThreadsPerBlock:
            *value = c.maxThreadsPerBlock;
            break;
        case cudaDevAttrMaxBlockDimX:
            *value = c.maxThreadsDim[0];
            break;
        case cudaDevAttrMaxBlockDimY:
            *value = c.maxThreadsDim[1];
            break;
        case cudaDevAttrMaxBlockDimZ:
            *value = c.maxThreadsDim[2];
            break;
        case cudaDevAttrMaxGridDimX:
            *value = c.maxGridSize[0];
            break;
        case cudaDevAttrMaxGridDimY:
            *value = c.maxGridSize[1];
            break;
        case cudaDevAttrMaxGridDimZ:
            *value = c.maxGridSize[2];
            break;
        case cudaDevAttrMaxSharedMemoryPerBlock:
            *value = clampInt(c.sharedMemPerBlock);
            break;
        case cudaDevAttrTotalConstantMemory:
            *value = 65536;
            break;
        case cudaDevAttrWarpSize:
            *value = c.warpSize;
            break;
        case cudaDevAttrMaxPitch:
            *value = clampInt(c.memPitch);
            break;
        case cudaDevAttrMaxRegistersPerBlock:
            *value = 65536;
            break;
        case cudaDevAttrClockRate:
            *value = c.clockRateKHz;
            break;
        case cudaDevAttrTextureAlignment:
            *value = clampInt(c.textureAlignment);
            break;
        case cudaDevAttrGpuOverlap:
            *value = c.asyncEngineCount > 0;
            break;
        case cudaDevAttrMultiProcessorCount:
            *value = c.multiProcessorCount;
            break;
        case cudaDevAttrKernelExecTimeout:
            *value = 0;
            break;
        case cudaDevAttrIntegrated:
            *value = 0;
            break;
        case cudaDevAttrCanMapHostMemory:
            *value = 1;
            break;
        case cudaDevAttrComputeMode:
            *value = cudaComputeModeDefault;
            break;
        case cudaDevAttrConcurrentKernels:
            *value = c.concurrentKernels;
            break;
        case cudaDevAttrEccEnabled:
            *value = 1;
            break;
        case cudaDevAttrPciBusId:
            *value = device + 1;
            break;
        case cudaDevAttrMemoryClockRate:
            *value = c.memoryClockRateKHz;
            break;
        case cudaDevAttrGlobalMemoryBusWidth:
            *value = c.memoryBusWidth;
            break;
        case cudaDevAttrL2CacheSize:
            *value = 50 << 20;
            break;
        case cudaDevAttrMaxThreadsPerMultiProcessor:
            *value = 2048;
            break;
        case cudaDevAttrAsyncEngineCount:
            *value = c.asyncEngineCount;
            break;
        case cudaDevAttrUnifiedAddressing:
            *value = 1;
            break;
        case cudaDevAttrTexturePitchAlignment:
            *value = clampInt(c.texturePitchAlignment);
            break;
        case cudaDevAttrComputeCapabilityMajor:
            *value = c.major;
            break;
        case cudaDevAttrComputeCapabilityMinor:
            *value = c.minor;
            break;
        case cudaDevAttrMaxSharedMemoryPerMultiprocessor:
            *value = 233472;
            break;
        default:
            return setError(cudaErrorInvalidValue);
    }
    return cudaSuccess;
}

cudaError_t cudaRuntimeGetVersion(int* runtimeVersion) {
    cudaError_t err = emu::versionEntry("cudaRuntimeGetVersion");
    if (err != cudaSuccess) return err;
    if (!runtimeVersion) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    *runtimeVersion = emu::config().runtimeVersion;
    return cudaSuccess;
}

// Without a driver the runtime reports driver version 0, successfully.
cudaError_t cudaDriverGetVersion(int* driverVersion) {
    cudaError_t err = emu::versionEntry("cudaDriverGetVersion");
    if (err != cudaSuccess) return err;
    if (!driverVersion) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    *driverVersion =
        emu::config().mode == ZULI_EMU_MODE_NO_DRIVER ? 0 : emu::config().driverVersion;
    return cudaSuccess;
}

cudaError_t cudaDeviceSynchronize(void) {
    EMU_DEVICE_ENTRY("cudaDeviceSynchronize");
    Guard g(lock());
    int dev = emu::currentDevice();
    emu::countSync();
    emu::runAll(dev);
    return setError(emu::deviceStickyError(dev));
}

// Drops the device's pending work, streams and events, frees its allocations and clears its
// sticky error.
cudaError_t cudaDeviceReset(void) {
    EMU_ENTRY("cudaDeviceReset");
    Guard g(lock());
    int dev = emu::currentDevice();
    emu::resetDeviceStreams(dev);
    emu::freeAllOn(dev);
    emu::clearStickyError(dev);
    emu::lastError(true);
    return cudaSuccess;
}

cudaError_t cudaGetLastError(void) {
    return emu::lastError(true);
}

cudaError_t cudaPeekAtLastError(void) {
    return emu::lastError(false);
}

const char* cudaGetErrorString(cudaError_t error) {
    const emu::ErrorText* t = emu::findError(error);
    return t ? t->text : "unrecognized error code";
}

const char* cudaGetErrorName(cudaError_t error) {
    const emu::ErrorText* t = emu::findError(error);
    return t ? t->name : "unrecognized error code";
}

}  // extern "C"
