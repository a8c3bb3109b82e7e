// The emulated GPU's devices, versions, modes, errors, fault injection, counters and reset.
#include "emu_test_support.h"

#include <cublas_v2.h>
#include <dlfcn.h>

#include <cstring>
#include <thread>
#include <tuple>
#include <type_traits>
#include <vector>

namespace emutest {
namespace {

using CoreTest = EmuTest;

// A device configured whole (2) or through the convenience setters (1) shows in the properties
// and attributes; the default device (0) keeps its values; bad indices are refused.
TEST_F(CoreTest, ConfiguredDevicesAndVersions) {
    int count = -1, runtime = 0, driver = 0;
    ASSERT_EQ(cudaGetDeviceCount(&count), cudaSuccess);
    EXPECT_EQ(count, 1);
    zuliEmuSetVersions(12040, 12080, 120401);
    ASSERT_EQ(cudaRuntimeGetVersion(&runtime) + cudaDriverGetVersion(&driver), cudaSuccess);
    EXPECT_EQ(runtime * 100000 + driver, 1204012080);

    ASSERT_EQ(zuliEmuSetDeviceCount(3), 0);
    zuliEmuDeviceConfig cfg;
    zuliEmuDefaultDeviceConfig(&cfg);
    std::strcpy(cfg.name, "small test device");
    cfg.major = 7, cfg.minor = 5, cfg.totalMem = 1ull << 30, cfg.multiProcessorCount = 40;
    cfg.clockRateKHz = 1500000, cfg.memoryClockRateKHz = 5001000, cfg.memoryBusWidth = 256;
    cfg.memPitch = 1 << 20, cfg.texturePitchAlignment = 32;
    ASSERT_EQ(zuliEmuConfigureDevice(2, &cfg), 0);
    EXPECT_EQ(zuliEmuSetComputeCapability(1, 1, 2) + zuliEmuSetTotalMemory(1, 12345678) +
                  zuliEmuSetMaxGridSize(1, 10, 20, 30) + zuliEmuSetAsyncEngineCount(1, 0),
              0);
    EXPECT_EQ(zuliEmuConfigureDevice(3, &cfg) + zuliEmuSetComputeCapability(3, 1, 2) +
                  zuliEmuGetDeviceConfig(3, &cfg) + zuliEmuSetDeviceCount(17),
              -4);
    ASSERT_EQ(cudaGetDeviceCount(&count), cudaSuccess);
    EXPECT_EQ(count, 3);

    cudaDeviceProp prop;
    ASSERT_EQ(cudaGetDeviceProperties(&prop, 2), cudaSuccess);
    EXPECT_STREQ(prop.name, "small test device");
    EXPECT_EQ(std::tuple(prop.totalGlobalMem, prop.memPitch, prop.sharedMemPerBlock, prop.warpSize),
              std::tuple(size_t(1) << 30, size_t(1) << 20, size_t(49152), 32));
    ASSERT_EQ(cudaGetDeviceProperties(&prop, 1), cudaSuccess);
    EXPECT_EQ(prop.totalGlobalMem, 12345678u);
    EXPECT_EQ(cudaGetDeviceProperties(&prop, 3), cudaErrorInvalidDevice);
    EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidDevice);

    const struct {
        int device;
        cudaDeviceAttr attr;
        int expected;
    } rows[] = {
        {2, cudaDevAttrClockRate, 1500000},        {2, cudaDevAttrMemoryClockRate, 5001000},
        {2, cudaDevAttrGlobalMemoryBusWidth, 256}, {2, cudaDevAttrComputeCapabilityMajor, 7},
        {2, cudaDevAttrComputeCapabilityMinor, 5}, {2, cudaDevAttrMultiProcessorCount, 40},
        {2, cudaDevAttrMaxPitch, 1 << 20},         {2, cudaDevAttrTexturePitchAlignment, 32},
        {1, cudaDevAttrComputeCapabilityMajor, 1}, {1, cudaDevAttrComputeCapabilityMinor, 2},
        {1, cudaDevAttrMaxGridDimX, 10},           {1, cudaDevAttrMaxGridDimZ, 30},
        {1, cudaDevAttrAsyncEngineCount, 0},       {0, cudaDevAttrComputeCapabilityMajor, 9},
        {0, cudaDevAttrMaxGridDimY, 65535},        {0, cudaDevAttrMaxBlockDimZ, 64},
        {0, cudaDevAttrMaxThreadsPerBlock, 1024},  {0, cudaDevAttrUnifiedAddressing, 1},
    };
    for (const auto& row : rows) {
        int value = -1;
        EXPECT_EQ(cudaDeviceGetAttribute(&value, row.attr, row.device), cudaSuccess) << row.attr;
        EXPECT_EQ(value, row.expected) << "device " << row.device << " attribute " << row.attr;
    }
    int value = 0;
    EXPECT_EQ(cudaDeviceGetAttribute(&value, cudaDevAttrCooperativeLaunch, 0),
              cudaErrorInvalidValue);
    EXPECT_EQ(cudaDeviceGetAttribute(&value, cudaDevAttrWarpSize, 5), cudaErrorInvalidDevice);
    zuliEmuReset();
    EXPECT_EQ(zuliEmuGetDeviceConfig(1, &cfg), -1) << "the reset leaves one default device";
}

TEST_F(CoreTest, CurrentDeviceIsPerHostThread) {
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    int mine = -1, other = -1;
    std::thread([&] { cudaGetDevice(&other); }).join();
    cudaGetDevice(&mine);
    EXPECT_EQ(std::pair(mine, other), std::pair(1, 0));
    EXPECT_EQ(cudaSetDevice(2), cudaErrorInvalidDevice);
    EXPECT_EQ(cudaSetDevice(-1), cudaErrorInvalidDevice);
    // The device count cannot drop a device that holds memory.
    void* p = deviceAlloc(2);
    EXPECT_EQ(zuliEmuSetDeviceCount(1), -1);
    cudaFree(p);
    EXPECT_EQ(zuliEmuSetDeviceCount(1), 0);
}

// Without a device or a driver every call that needs one fails, the count is not written, and
// the runtime's last error stays the reason, from the start and however often it is read.
TEST_F(CoreTest, NoDeviceAndNoDriverModes) {
    const struct {
        zuliEmuMode mode;
        int devices;
        cudaError_t error;
        int driverVersion;
    } rows[] = {
        {ZULI_EMU_MODE_NO_DEVICE, 1, cudaErrorNoDevice, CUDART_VERSION},
        {ZULI_EMU_MODE_NO_DRIVER, 1, cudaErrorInsufficientDriver, 0},
        {ZULI_EMU_MODE_NORMAL, 0, cudaErrorNoDevice, CUDART_VERSION},  // zero configured devices
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        zuliEmuSetMode(row.mode);
        ASSERT_EQ(zuliEmuSetDeviceCount(row.devices), 0);
        int count = 7, version = -1;
        void* p = nullptr;
        cudaStream_t s;
        EXPECT_EQ(cudaPeekAtLastError(), row.error) << "before any call";
        EXPECT_EQ(cudaGetDeviceCount(&count), row.error);
        EXPECT_EQ(count, 7) << "left as it was";
        EXPECT_EQ(cudaGetLastError(), row.error);
        EXPECT_EQ(cudaGetLastError(), row.error) << "for good";
        EXPECT_EQ(cudaMalloc(&p, 16), row.error);
        EXPECT_EQ(cudaSetDevice(0), row.error);
        EXPECT_EQ(cudaStreamCreate(&s), row.error);
        EXPECT_EQ(cudaDriverGetVersion(&version), cudaSuccess);
        EXPECT_EQ(version, row.driverVersion);
        zuliEmuReset();
        EXPECT_EQ(cudaGetDeviceCount(&count), cudaSuccess);
        EXPECT_EQ(count, 1);
    }
}

// The toolkit's own runtime and cuBLAS, loaded beside the emulator (their symbols kept to
// themselves), give every name and text a program may print: each code, known or not, must read
// the same on the emulated GPU.
template <typename Function>
Function toolkitFunction(const char* library, const char* name) {
    void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(handle, nullptr) << library << ": " << dlerror();
    void* symbol = handle ? dlsym(handle, name) : nullptr;
    EXPECT_NE(symbol, nullptr) << name;
    return reinterpret_cast<Function>(symbol);
}

TEST_F(CoreTest, ErrorNamesAndStringsAreTheToolkits) {
    using Text = const char* (*)(int);
    const auto name = toolkitFunction<Text>(ZULI_TOOLKIT_CUDART, "cudaGetErrorName");
    const auto text = toolkitFunction<Text>(ZULI_TOOLKIT_CUDART, "cudaGetErrorString");
    ASSERT_TRUE(name && text);
    for (int code = -2; code <= 1100; ++code) {
        const auto e = static_cast<cudaError_t>(code);
        EXPECT_STREQ(cudaGetErrorName(e), name(code)) << code;
        EXPECT_STREQ(cudaGetErrorString(e), text(code)) << code;
    }
    const auto statusName = toolkitFunction<Text>(ZULI_TOOLKIT_CUBLAS, "cublasGetStatusName");
    const auto statusText = toolkitFunction<Text>(ZULI_TOOLKIT_CUBLAS, "cublasGetStatusString");
    ASSERT_TRUE(statusName && statusText);
    for (int status = -2; status <= 40; ++status) {
        const auto s = static_cast<cublasStatus_t>(status);
        EXPECT_STREQ(cublasGetStatusName(s), statusName(status)) << status;
        EXPECT_STREQ(cublasGetStatusString(s), statusText(status)) << status;
    }
}

// The runtime calls a program makes first, as function pointers: the toolkit's or the emulator's.
struct Runtime {
    cudaError_t (*peekAtLastError)();
    cudaError_t (*getLastError)();
    cudaError_t (*getDeviceCount)(int*);
    cudaError_t (*getDevice)(int*);
    cudaError_t (*setDevice)(int);
    cudaError_t (*malloc)(void**, size_t);
    cudaError_t (*free)(void*);
    cudaError_t (*mallocHost)(void**, size_t);
    cudaError_t (*deviceSynchronize)();
    cudaError_t (*streamCreate)(cudaStream_t*);
    cudaError_t (*memGetInfo)(size_t*, size_t*);
    cudaError_t (*driverGetVersion)(int*);
};

// What a program sees when it starts on a machine like this one: every status and every value
// written back, in order.
std::vector<long long> firstCalls(const Runtime& r) {
    std::vector<long long> seen;
    int count = 7, device = -7;
    void* p = nullptr;
    cudaStream_t stream = nullptr;
    size_t freeBytes = 1, totalBytes = 1;
    seen.push_back(r.peekAtLastError());
    seen.push_back(r.getDeviceCount(&count));
    seen.push_back(count);
    seen.push_back(r.getLastError());
    seen.push_back(r.getLastError());
    seen.push_back(r.getDevice(&device));
    seen.push_back(device);
    seen.push_back(r.setDevice(0));
    seen.push_back(r.malloc(&p, 16));
    seen.push_back(r.free(nullptr));
    seen.push_back(r.mallocHost(&p, 16));
    seen.push_back(r.deviceSynchronize());
    seen.push_back(r.streamCreate(&stream));
    seen.push_back(r.memGetInfo(&freeBytes, &totalBytes));
    seen.push_back(static_cast<long long>(freeBytes + totalBytes));
    seen.push_back(r.peekAtLastError());
    return seen;
}

// On a machine without a GPU driver (as where these tests run), the toolkit's own runtime shows
// what the emulator's no-driver mode must do; elsewhere there is nothing to compare with.
TEST_F(CoreTest, NoDriverModeIsTheToolkitsRuntimeWithoutADriver) {
    const auto load = [](auto& function, const char* name) {
        function =
            toolkitFunction<std::remove_reference_t<decltype(function)>>(ZULI_TOOLKIT_CUDART, name);
        return function != nullptr;
    };
    Runtime toolkit;
    ASSERT_TRUE(load(toolkit.driverGetVersion, "cudaDriverGetVersion"));
    int driver = -1;
    ASSERT_EQ(toolkit.driverGetVersion(&driver), cudaSuccess);
    if (driver != 0) GTEST_SKIP() << "this machine has a GPU driver (version " << driver << ")";
    ASSERT_TRUE(load(toolkit.peekAtLastError, "cudaPeekAtLastError") &&
                load(toolkit.getLastError, "cudaGetLastError") &&
                load(toolkit.getDeviceCount, "cudaGetDeviceCount") &&
                load(toolkit.getDevice, "cudaGetDevice") &&
                load(toolkit.setDevice, "cudaSetDevice") && load(toolkit.malloc, "cudaMalloc") &&
                load(toolkit.free, "cudaFree") && load(toolkit.mallocHost, "cudaMallocHost") &&
                load(toolkit.deviceSynchronize, "cudaDeviceSynchronize") &&
                load(toolkit.streamCreate, "cudaStreamCreate") &&
                load(toolkit.memGetInfo, "cudaMemGetInfo"));
    const Runtime emulated{
        cudaPeekAtLastError,   cudaGetLastError, cudaGetDeviceCount, cudaGetDevice,
        cudaSetDevice,         cudaMalloc,       cudaFree,           cudaMallocHost,
        cudaDeviceSynchronize, cudaStreamCreate, cudaMemGetInfo,     cudaDriverGetVersion};
    zuliEmuSetMode(ZULI_EMU_MODE_NO_DRIVER);
    EXPECT_EQ(firstCalls(emulated), firstCalls(toolkit));
    int emulatedDriver = -1;
    EXPECT_EQ(cudaDriverGetVersion(&emulatedDriver), cudaSuccess);
    EXPECT_EQ(emulatedDriver, 0);
}

TEST_F(CoreTest, NonStickyErrorIsClearedStickyErrorPersists) {
    // Non-sticky: peeked without clearing, reported once, the device stays usable.
    void* p = nullptr;
    EXPECT_EQ(cudaMalloc(&p, size_t(1) << 62), cudaErrorMemoryAllocation);
    EXPECT_EQ(cudaPeekAtLastError(), cudaErrorMemoryAllocation);
    EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(cudaMalloc(&p, 64), cudaSuccess);

    // The last error belongs to the calling thread.
    cudaSetDevice(5);
    cudaError_t seenByOther = cudaSuccess;
    std::thread([&] { seenByOther = cudaGetLastError(); }).join();
    EXPECT_EQ(seenByOther, cudaSuccess);
    EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidDevice);

    // Sticky: an illegal address (a device copy of a host pointer) fails every later call of the
    // device, on every thread, until the device is reset (which frees its memory).
    zuliEmuSetStrict(0);
    std::vector<char> host(128);
    EXPECT_EQ(cudaMemcpy(p, host.data(), 128, cudaMemcpyHostToDevice), cudaErrorIllegalAddress);
    EXPECT_TRUE(oneViolation("cudaMemcpy"));
    EXPECT_EQ(cudaGetLastError(), cudaErrorIllegalAddress);
    EXPECT_EQ(cudaGetLastError(), cudaErrorIllegalAddress);
    void* q = nullptr;
    EXPECT_EQ(cudaMalloc(&q, 64), cudaErrorIllegalAddress);
    cudaError_t otherThread = cudaSuccess;
    std::thread([&] { otherThread = cudaStreamSynchronize(nullptr); }).join();
    EXPECT_EQ(otherThread, cudaErrorIllegalAddress);
    EXPECT_EQ(cudaDeviceReset(), cudaSuccess);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(cudaMalloc(&q, 64), cudaSuccess);
    EXPECT_NE(emu::classify(p), emu::MemKind::Device);
    cudaFree(q);
}

TEST_F(CoreTest, InjectedFaultsFireOnceAtTheKthCall) {
    int* d = deviceAlloc<int>(16);
    std::vector<int> host(16, 7), back(16, 0);
    zuliEmuFailCudaCall("cudaMemcpy", 2, cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(d, host.data(), 64, cudaMemcpyHostToDevice), cudaSuccess);
    EXPECT_EQ(zuliEmuArmedFaults(), 1);
    host.assign(16, 9);
    EXPECT_EQ(cudaMemcpy(d, host.data(), 64, cudaMemcpyHostToDevice), cudaErrorInvalidValue);
    EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidValue);
    EXPECT_STREQ(zuliEmuLastFiredFault(), "cudaMemcpy");
    EXPECT_EQ(cudaMemcpy(back.data(), d, 64, cudaMemcpyDeviceToHost), cudaSuccess);
    EXPECT_EQ(back[3], 7) << "the failed call must not have copied";

    // k = 0 disarms.
    zuliEmuFailCudaCall("cudaFree", 1, cudaErrorInvalidValue);
    zuliEmuFailCudaCall("cudaFree", 0, cudaErrorInvalidValue);
    EXPECT_EQ(zuliEmuArmedFaults(), 0);
    EXPECT_EQ(cudaFree(d), cudaSuccess);

    // Allocations: the k-th device allocation (cudaMallocPitch counts), the k-th page-locked one.
    zuliEmuFailDeviceAlloc(2);
    zuliEmuFailPinnedAlloc(1);
    void *a = nullptr, *b = nullptr, *c = nullptr;
    size_t pitch = 0;
    EXPECT_EQ(cudaMalloc(&a, 100), cudaSuccess);
    EXPECT_EQ(cudaMallocPitch(&b, &pitch, 100, 4), cudaErrorMemoryAllocation);
    EXPECT_EQ(b, nullptr);
    EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);
    EXPECT_EQ(cudaMallocPitch(&b, &pitch, 100, 4), cudaSuccess);
    EXPECT_EQ(cudaMallocHost(&c, 100), cudaErrorMemoryAllocation);
    EXPECT_EQ(cudaHostAlloc(&c, 100, cudaHostAllocDefault), cudaSuccess);
    cudaFreeHost(c), cudaFree(a), cudaFree(b);

    // Any runtime call, with a sticky error that stays.
    zuliEmuFailCudaCall(nullptr, 1, cudaErrorLaunchFailure);
    int count = 0;
    EXPECT_EQ(cudaGetDeviceCount(&count), cudaErrorLaunchFailure);
    EXPECT_EQ(cudaStreamSynchronize(nullptr), cudaErrorLaunchFailure);
    EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure);
    cudaDeviceReset();
}

TEST_F(CoreTest, CountersTrackCopiesSyncsAndAllocations) {
    char* d = deviceAlloc<char>(1000);
    cudaFree(deviceAlloc<char>(3000));
    std::vector<char> host(1000, 1), other(1000);
    cudaMemcpy(d, host.data(), 1000, cudaMemcpyHostToDevice);
    cudaMemcpy(host.data(), d, 600, cudaMemcpyDeviceToHost);
    cudaMemcpy2D(d, 100, d, 100, 50, 4, cudaMemcpyDeviceToDevice);
    cudaMemcpy(other.data(), host.data(), 10, cudaMemcpyDefault);
    cudaMemset(d, 0, 256);
    cudaDeviceSynchronize();

    zuliEmuCounters c = counters();
    using Counts = std::vector<unsigned long long>;
    EXPECT_EQ((Counts{c.h2dCopies, c.d2hCopies, c.d2dCopies, c.h2hCopies, c.memsets}),
              (Counts{1, 1, 1, 1, 1}));
    EXPECT_EQ((Counts{c.h2dBytes, c.d2hBytes, c.d2dBytes, c.h2hBytes, c.memsetBytes}),
              (Counts{1000, 600, 200, 10, 256}));
    EXPECT_GE(c.syncs, 3u);  // the synchronous D2H and H2H copies and the device synchronisation
    EXPECT_EQ((Counts{c.deviceAllocs, c.deviceFrees, c.liveDeviceBytes, c.peakDeviceBytes}),
              (Counts{2, 1, 1000, 4000}));
    unsigned long long sizes[4] = {};
    EXPECT_EQ(zuliEmuDeviceAllocationLog(nullptr, 0), 2u);
    EXPECT_EQ(zuliEmuDeviceAllocationLog(sizes, 1), 2u);
    EXPECT_EQ((Counts{sizes[0], sizes[1]}), (Counts{1000, 0}));

    // Resetting the counters keeps the live bytes; the peak restarts from them.
    zuliEmuResetCounters();
    c = counters();
    EXPECT_EQ((Counts{c.h2dCopies, c.liveDeviceBytes, c.peakDeviceBytes}), (Counts{0, 1000, 1000}));
    EXPECT_EQ(zuliEmuDeviceAllocationLog(nullptr, 0), 0u);
    cudaFree(d);
    EXPECT_EQ(counters().liveDeviceBytes, 0u);
}

TEST_F(CoreTest, ResetRestoresDefaultsButKeepsAllocations) {
    void* d = deviceAlloc(16);
    zuliEmuSetStrict(0);
    zuliEmuSetVersions(1, 2, 3);
    zuliEmuSetMode(ZULI_EMU_MODE_NO_DEVICE);
    zuliEmuFailDeviceAlloc(1);
    cudaSetDevice(0);
    zuliEmuReset();
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    int version = 0;
    cudaRuntimeGetVersion(&version);
    EXPECT_EQ(version, CUDART_VERSION);
    void* e = nullptr;
    EXPECT_EQ(cudaMalloc(&e, 64), cudaSuccess) << "the allocation fault must be disarmed";
    EXPECT_EQ(emu::classify(d), emu::MemKind::Device);
    EXPECT_EQ(cudaFree(d) + cudaFree(e), cudaSuccess);
    EXPECT_DEATH(emu::deviceRange(&version, 4, "probe"), "zuli_emu: probe: host pointer");
}

}  // namespace
}  // namespace emutest
