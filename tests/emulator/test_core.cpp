// Tests of the emulated GPU's devices, versions, modes, errors, fault injection and counters.
#include <cuda_runtime_api.h>
#include <gtest/gtest.h>

#include "emu.h"
#include "zuli_emu.h"

#include <cstring>
#include <thread>
#include <string>
#include <vector>

namespace {

class CoreTest : public ::testing::Test {
  protected:
    void SetUp() override { zuliEmuReset(); }
    void TearDown() override { zuliEmuReset(); }
};

TEST_F(CoreTest, DefaultDeviceAndVersions) {
    int count = -1, runtime = 0, driver = 0;
    ASSERT_EQ(cudaGetDeviceCount(&count), cudaSuccess);
    EXPECT_EQ(count, 1);
    zuliEmuSetVersions(12040, 12080, 120401);
    ASSERT_EQ(cudaRuntimeGetVersion(&runtime), cudaSuccess);
    ASSERT_EQ(cudaDriverGetVersion(&driver), cudaSuccess);
    EXPECT_EQ(runtime * 100000 + driver, 1204012080);
    EXPECT_EQ(emu::cublasVersion(), 120401);
}

TEST_F(CoreTest, ConfiguredDevicesShowInPropertiesAndAttributes) {
    ASSERT_EQ(zuliEmuSetDeviceCount(3), 0);
    zuliEmuDeviceConfig cfg;
    zuliEmuDefaultDeviceConfig(&cfg);
    std::strcpy(cfg.name, "small test device");
    cfg.major = 7, cfg.minor = 5;
    cfg.totalMem = 1ull << 30;
    cfg.multiProcessorCount = 40;
    cfg.clockRateKHz = 1500000;
    cfg.memoryClockRateKHz = 5001000;
    cfg.memoryBusWidth = 256;
    cfg.maxGridSize[0] = 1000;
    cfg.memPitch = 1 << 20;
    cfg.texturePitchAlignment = 32;
    cfg.asyncEngineCount = 1;
    ASSERT_EQ(zuliEmuConfigureDevice(2, &cfg), 0);
    EXPECT_EQ(zuliEmuConfigureDevice(3, &cfg), -1);
    EXPECT_EQ(zuliEmuSetDeviceCount(17), -1);

    int count = 0;
    ASSERT_EQ(cudaGetDeviceCount(&count), cudaSuccess);
    EXPECT_EQ(count, 3);
    cudaDeviceProp prop;
    ASSERT_EQ(cudaGetDeviceProperties(&prop, 2), cudaSuccess);
    EXPECT_STREQ(prop.name, "small test device");
    EXPECT_EQ(prop.major * 10 + prop.minor, 75);
    EXPECT_EQ(prop.totalGlobalMem, 1ull << 30);
    EXPECT_EQ(prop.maxGridSize[0] + prop.memPitch + prop.texturePitchAlignment, 1000u + (1 << 20) + 32);
    ASSERT_EQ(cudaGetDeviceProperties(&prop, 0), cudaSuccess);
    EXPECT_EQ(prop.major, 9);
    EXPECT_EQ(cudaGetDeviceProperties(&prop, 3), cudaErrorInvalidDevice);
    EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidDevice);

    struct {
        cudaDeviceAttr attr;
        int expected;
    } const rows[] = {
        {cudaDevAttrClockRate, 1500000},       {cudaDevAttrMemoryClockRate, 5001000},
        {cudaDevAttrGlobalMemoryBusWidth, 256}, {cudaDevAttrComputeCapabilityMajor, 7},
        {cudaDevAttrComputeCapabilityMinor, 5}, {cudaDevAttrMultiProcessorCount, 40},
        {cudaDevAttrMaxBlockDimZ, 64},         {cudaDevAttrMaxGridDimX, 1000},
        {cudaDevAttrMaxGridDimY, 65535},       {cudaDevAttrAsyncEngineCount, 1},
        {cudaDevAttrMaxPitch, 1 << 20},        {cudaDevAttrTexturePitchAlignment, 32},
        {cudaDevAttrWarpSize, 32},             {cudaDevAttrMaxSharedMemoryPerBlock, 49152},
        {cudaDevAttrUnifiedAddressing, 1},
    };
    for (const auto& row : rows) {
        int value = -1;
        EXPECT_EQ(cudaDeviceGetAttribute(&value, row.attr, 2), cudaSuccess) << row.attr;
        EXPECT_EQ(value, row.expected) << row.attr;
    }
    int value = 0;
    EXPECT_EQ(cudaDeviceGetAttribute(&value, cudaDevAttrCooperativeLaunch, 0),
              cudaErrorInvalidValue);
    EXPECT_EQ(cudaDeviceGetAttribute(&value, cudaDevAttrWarpSize, 5), cudaErrorInvalidDevice);

    emu::DeviceLimits lim = emu::limits(2);
    EXPECT_EQ(lim.maxGridSize[0], 1000);
    EXPECT_EQ(lim.memPitch, size_t(1) << 20);
}

TEST_F(CoreTest, CurrentDeviceIsPerHostThread) {
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    int mine = -1, other = -1;
    std::thread([&] { cudaGetDevice(&other); }).join();
    cudaGetDevice(&mine);
    EXPECT_EQ(mine, 1);
    EXPECT_EQ(other, 0);
    EXPECT_EQ(cudaSetDevice(2), cudaErrorInvalidDevice);
    EXPECT_EQ(cudaSetDevice(-1), cudaErrorInvalidDevice);
    EXPECT_EQ(emu::currentDevice(), 1);
    // The device count cannot drop a device that holds memory.
    void* p = nullptr;
    ASSERT_EQ(cudaMalloc(&p, 8), cudaSuccess);
    EXPECT_EQ(zuliEmuSetDeviceCount(1), -1);
    cudaFree(p);
    EXPECT_EQ(zuliEmuSetDeviceCount(1), 0);
}

TEST_F(CoreTest, ConvenienceSettersChangeOneDevice) {
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    EXPECT_EQ(zuliEmuSetComputeCapability(1, 1, 2) + zuliEmuSetTotalMemory(1, 12345678) +
                  zuliEmuSetMaxGridSize(1, 10, 20, 30) + zuliEmuSetAsyncEngineCount(1, 0), 0);
    EXPECT_EQ(zuliEmuSetComputeCapability(2, 1, 2), -1);
    zuliEmuDeviceConfig cfg, first;
    ASSERT_EQ(zuliEmuGetDeviceConfig(1, &cfg), 0);
    ASSERT_EQ(zuliEmuGetDeviceConfig(0, &first), 0);
    EXPECT_EQ(cfg.major * 10 + cfg.minor, 12);
    EXPECT_EQ(cfg.totalMem, 12345678u);
    EXPECT_EQ(cfg.maxGridSize[2] + cfg.asyncEngineCount + first.major, 30 + 0 + 9);
    // The reset restores one default device.
    zuliEmuReset();
    EXPECT_EQ(zuliEmuGetDeviceConfig(1, &cfg), -1);
}

TEST_F(CoreTest, NoDeviceAndNoDriverModes) {
    struct {
        zuliEmuMode mode;
        cudaError_t error;
        int driverVersion;
    } const rows[] = {
        {ZULI_EMU_MODE_NO_DEVICE, cudaErrorNoDevice, 13000},
        {ZULI_EMU_MODE_NO_DRIVER, cudaErrorInsufficientDriver, 0},
    };
    for (const auto& row : rows) {
        zuliEmuSetMode(row.mode);
        int count = 7;
        EXPECT_EQ(cudaGetDeviceCount(&count), row.error);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(cudaGetLastError(), row.error);
        EXPECT_EQ(cudaGetLastError(), cudaSuccess);
        void* p = nullptr;
        EXPECT_EQ(cudaMalloc(&p, 16), row.error);
        EXPECT_EQ(cudaSetDevice(0), row.error);
        cudaStream_t s;
        EXPECT_EQ(cudaStreamCreate(&s), row.error);
        int version = -1;
        EXPECT_EQ(cudaDriverGetVersion(&version), cudaSuccess);
        EXPECT_EQ(version, row.driverVersion);
        zuliEmuSetMode(ZULI_EMU_MODE_NORMAL);
        EXPECT_EQ(cudaGetDeviceCount(&count), cudaSuccess);
        EXPECT_EQ(count, 1);
        cudaGetLastError();
    }
    // Zero configured devices look like a machine without a GPU.
    ASSERT_EQ(zuliEmuSetDeviceCount(0), 0);
    int count = 3;
    EXPECT_EQ(cudaGetDeviceCount(&count), cudaErrorNoDevice);
    EXPECT_EQ(count, 0);
    void* p = nullptr;
    EXPECT_EQ(cudaMalloc(&p, 8), cudaErrorNoDevice);
}

TEST_F(CoreTest, ErrorNamesAndStrings) {
    struct {
        cudaError_t code;
        const char* name;
        const char* text;
    } const rows[] = {
        {cudaSuccess, "cudaSuccess", "no error"},
        {cudaErrorInvalidValue, "cudaErrorInvalidValue", "invalid argument"},
        {cudaErrorMemoryAllocation, "cudaErrorMemoryAllocation", "out of memory"},
        {cudaErrorInsufficientDriver, "cudaErrorInsufficientDriver",
         "CUDA driver version is insufficient for CUDA runtime version"},
        {cudaErrorNoDevice, "cudaErrorNoDevice", "no CUDA-capable device is detected"},
        {cudaErrorInvalidDevice, "cudaErrorInvalidDevice", "invalid device ordinal"},
        {cudaErrorIllegalAddress, "cudaErrorIllegalAddress",
         "an illegal memory access was encountered"},
        {cudaErrorLaunchFailure, "cudaErrorLaunchFailure", "unspecified launch failure"},
    };
    for (const auto& row : rows) {
        EXPECT_STREQ(cudaGetErrorName(row.code), row.name);
        EXPECT_STREQ(cudaGetErrorString(row.code), row.text);
    }
    EXPECT_EQ(static_cast<int>(cudaErrorMemoryValueTooLarge), 32);
    EXPECT_STRNE(cudaGetErrorName(cudaErrorMemoryValueTooLarge), "unrecognized error code");
    EXPECT_STREQ(cudaGetErrorString(static_cast<cudaError_t>(12345)), "unrecognized error code");
    EXPECT_STREQ(cudaGetErrorName(static_cast<cudaError_t>(12345)), "unrecognized error code");
}

TEST_F(CoreTest, NonStickyErrorIsClearedStickyErrorPersists) {
    // Non-sticky: reported once by cudaGetLastError, peeked without clearing.
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

    // Sticky: an illegal address reported by a copy poisons every later call of the device.
    zuliEmuSetStrict(0);
    std::vector<char> host(128);
    EXPECT_EQ(cudaMemcpy(p, host.data(), 128, cudaMemcpyHostToDevice), cudaErrorIllegalAddress);
    EXPECT_EQ(zuliEmuViolationCount(), 1u);
    EXPECT_NE(std::string(zuliEmuLastViolation()).find("cudaMemcpy"), std::string::npos);
    EXPECT_EQ(cudaGetLastError(), cudaErrorIllegalAddress);
    EXPECT_EQ(cudaGetLastError(), cudaErrorIllegalAddress);
    void* q = nullptr;
    EXPECT_EQ(cudaMalloc(&q, 64), cudaErrorIllegalAddress);
    EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorIllegalAddress);
    cudaError_t otherThread = cudaSuccess;
    std::thread([&] { otherThread = cudaStreamSynchronize(nullptr); }).join();
    EXPECT_EQ(otherThread, cudaErrorIllegalAddress);
    // Only a device reset clears it (and frees the device's memory).
    EXPECT_EQ(cudaDeviceReset(), cudaSuccess);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(cudaMalloc(&q, 64), cudaSuccess);
    cudaPointerAttributes attr;
    ASSERT_EQ(cudaPointerGetAttributes(&attr, p), cudaSuccess);
    EXPECT_NE(attr.type, cudaMemoryTypeDevice);
    cudaFree(q);
}

TEST_F(CoreTest, InjectedCudaFaultsFireOnceAtTheKthCall) {
    void* d = nullptr;
    ASSERT_EQ(cudaMalloc(&d, 64), cudaSuccess);
    std::vector<int> host(16, 7);

    zuliEmuFailCudaCall("cudaMemcpy", 2, cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(d, host.data(), 64, cudaMemcpyHostToDevice), cudaSuccess);
    host.assign(16, 9);
    EXPECT_EQ(cudaMemcpy(d, host.data(), 64, cudaMemcpyHostToDevice), cudaErrorInvalidValue);
    EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidValue);
    std::vector<int> back(16, 0);
    EXPECT_EQ(cudaMemcpy(back.data(), d, 64, cudaMemcpyDeviceToHost), cudaSuccess);
    EXPECT_EQ(back[3], 7) << "the failed call must not have copied";

    // Any runtime call, and a sticky error stays.
    zuliEmuFailCudaCall(nullptr, 1, cudaErrorLaunchFailure);
    int count = 0;
    EXPECT_EQ(cudaGetDeviceCount(&count), cudaErrorLaunchFailure);
    EXPECT_EQ(cudaStreamSynchronize(nullptr), cudaErrorLaunchFailure);
    EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure);
    cudaDeviceReset();

    // k = 0 disarms.
    zuliEmuFailCudaCall("cudaFree", 1, cudaErrorInvalidValue);
    zuliEmuFailCudaCall("cudaFree", 0, cudaErrorInvalidValue);
    ASSERT_EQ(cudaMalloc(&d, 64), cudaSuccess);
    EXPECT_EQ(cudaFree(d), cudaSuccess);
}

TEST_F(CoreTest, InjectedAllocationAndBlasFaults) {
    zuliEmuFailDeviceAlloc(2);
    void *a = nullptr, *b = nullptr, *c = nullptr;
    size_t pitch = 0;
    EXPECT_EQ(cudaMalloc(&a, 100), cudaSuccess);
    EXPECT_EQ(cudaMallocPitch(&b, &pitch, 100, 4), cudaErrorMemoryAllocation);
    EXPECT_EQ(b, nullptr);
    EXPECT_EQ(cudaMallocPitch(&b, &pitch, 100, 4), cudaSuccess);
    EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);

    zuliEmuFailPinnedAlloc(1);
    EXPECT_EQ(cudaMallocHost(&c, 100), cudaErrorMemoryAllocation);
    EXPECT_EQ(cudaHostAlloc(&c, 100, cudaHostAllocDefault), cudaSuccess);
    cudaFreeHost(c);
    cudaFree(a);
    cudaFree(b);

    cublasStatus_t st = CUBLAS_STATUS_SUCCESS;
    zuliEmuFailBlasCall("cublasDgemm_v2", 2, CUBLAS_STATUS_EXECUTION_FAILED);
    EXPECT_FALSE(emu::blasFault("cublasDgemm_v2", &st));
    EXPECT_FALSE(emu::blasFault("cublasSgemm_v2", &st));
    EXPECT_TRUE(emu::blasFault("cublasDgemm_v2", &st));
    EXPECT_EQ(st, CUBLAS_STATUS_EXECUTION_FAILED);
    EXPECT_FALSE(emu::blasFault("cublasDgemm_v2", &st));
    zuliEmuFailBlasCall(nullptr, 1, CUBLAS_STATUS_ALLOC_FAILED);
    EXPECT_TRUE(emu::blasFault("cublasDtrsm_v2", &st));
    EXPECT_EQ(st, CUBLAS_STATUS_ALLOC_FAILED);
}

TEST_F(CoreTest, CountersTrackCopiesSyncsAllocationsAndBlas) {
    void *d = nullptr, *e = nullptr;
    ASSERT_EQ(cudaMalloc(&d, 1000), cudaSuccess);
    ASSERT_EQ(cudaMalloc(&e, 3000), cudaSuccess);
    cudaFree(e);
    std::vector<char> host(1000, 1);
    cudaMemcpy(d, host.data(), 1000, cudaMemcpyHostToDevice);
    cudaMemcpy(host.data(), d, 600, cudaMemcpyDeviceToHost);
    cudaMemcpy2D(d, 100, d, 100, 50, 4, cudaMemcpyDeviceToDevice);
    std::vector<char> other(1000);
    cudaMemcpy(other.data(), host.data(), 10, cudaMemcpyDefault);
    cudaMemset(d, 0, 256);
    cudaDeviceSynchronize();
    emu::countBlas("gemm", 200.0);
    emu::countBlas("gemm", 100.0);
    emu::countBlas("trsm", 5.0);
    emu::countLaunch();

    zuliEmuCounters c;
    zuliEmuGetCounters(&c);
    using Counts = std::vector<unsigned long long>;
    EXPECT_EQ((Counts{c.h2dCopies, c.d2hCopies, c.d2dCopies, c.h2hCopies, c.memsets}),
              (Counts{1, 1, 1, 1, 1}));
    EXPECT_EQ((Counts{c.h2dBytes, c.d2hBytes, c.d2dBytes, c.h2hBytes, c.memsetBytes}),
              (Counts{1000, 600, 200, 10, 256}));
    EXPECT_GE(c.syncs, 3u);  // the synchronous D2H and H2H copies and the device synchronisation
    EXPECT_EQ(c.launches, 1u);
    EXPECT_EQ(c.blasCalls, 3u);
    EXPECT_DOUBLE_EQ(c.blasFlops, 305.0);
    EXPECT_EQ(zuliEmuBlasOpCalls("gemm"), 2u);
    EXPECT_DOUBLE_EQ(zuliEmuBlasOpFlops("gemm"), 300.0);
    EXPECT_EQ(zuliEmuBlasOpCalls("syrk"), 0u);
    EXPECT_EQ((Counts{c.deviceAllocs, c.deviceFrees, c.liveDeviceBytes, c.peakDeviceBytes}),
              (Counts{2, 1, 1000, 4000}));

    unsigned long long sizes[4] = {};
    EXPECT_EQ(zuliEmuDeviceAllocationLog(nullptr, 0), 2u);
    EXPECT_EQ(zuliEmuDeviceAllocationLog(sizes, 1), 2u);
    EXPECT_EQ(sizes[0], 1000u);
    EXPECT_EQ(sizes[1], 0u);

    // Resetting the counters keeps the live bytes; the peak restarts from them.
    zuliEmuResetCounters();
    zuliEmuGetCounters(&c);
    EXPECT_EQ(c.h2dCopies, 0u);
    EXPECT_EQ(c.liveDeviceBytes, 1000u);
    EXPECT_EQ(c.peakDeviceBytes, 1000u);
    EXPECT_EQ(zuliEmuDeviceAllocationLog(nullptr, 0), 0u);
    cudaFree(d);
    zuliEmuGetCounters(&c);
    EXPECT_EQ(c.liveDeviceBytes, 0u);
}

TEST_F(CoreTest, ResetRestoresDefaultsButKeepsAllocations) {
    void* d = nullptr;
    ASSERT_EQ(cudaMalloc(&d, 64), cudaSuccess);
    zuliEmuSetStrict(0);
    zuliEmuSetVersions(1, 2, 3);
    zuliEmuSetMode(ZULI_EMU_MODE_NO_DEVICE);
    zuliEmuFailDeviceAlloc(1);
    cudaSetDevice(0);
    zuliEmuReset();
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    int version = 0;
    cudaRuntimeGetVersion(&version);
    EXPECT_EQ(version, 13000);
    void* e = nullptr;
    EXPECT_EQ(cudaMalloc(&e, 64), cudaSuccess) << "the allocation fault must be disarmed";
    cudaPointerAttributes attr;
    ASSERT_EQ(cudaPointerGetAttributes(&attr, d), cudaSuccess);
    EXPECT_EQ(attr.type, cudaMemoryTypeDevice);
    EXPECT_EQ(cudaFree(d), cudaSuccess);
    EXPECT_EQ(cudaFree(e), cudaSuccess);
    // Strict mode is back: a violation aborts.
    EXPECT_DEATH(emu::deviceRange(&version, 4, "probe"), "zuli_emu: probe: host pointer");
}

}  // namespace
