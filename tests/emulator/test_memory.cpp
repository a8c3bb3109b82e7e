// Tests of the emulated GPU's memory: device memory that the host cannot touch, guard gaps,
// poison, huge sparse allocations, pitched allocations, pointer attributes, copy checks.
#include <cuda_runtime.h>
#include <gtest/gtest.h>

#include "emu.h"
#include "zuli_emu.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

class MemoryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        zuliEmuReset();
        zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, 0x5eed);
    }
    void TearDown() override { zuliEmuReset(); }
};

// Resident set size of this process in KiB.
long residentKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    return -1;
}

TEST_F(MemoryTest, HostDereferenceOfDevicePointerFaults) {
    float* d = nullptr;
    ASSERT_EQ(cudaMalloc(&d, 64 * sizeof(float)), cudaSuccess);
    EXPECT_DEATH(
        {
            volatile float* p = d;
            float x = p[0];
            (void)x;
        },
        "");
    EXPECT_DEATH({ static_cast<volatile float*>(d)[3] = 1.0f; }, "");
    cudaFree(d);
}

TEST_F(MemoryTest, OverrunPastAnAllocationFaultsInTheEmulatorsMapping) {
    for (size_t size : {size_t(1000), size_t(70000)}) {
        char* d = nullptr;
        ASSERT_EQ(cudaMalloc(&d, size), cudaSuccess);
        auto* mine = static_cast<volatile char*>(emu::deviceRange(d, size, "test"));
        ASSERT_NE(mine, nullptr);
        mine[0] = 1;  // inside: fine
        mine[size - 1] = 1;
        EXPECT_DEATH({ mine[size + 256] = 1; }, "") << size;
        cudaFree(d);
        // Freed memory is inaccessible again.
        EXPECT_DEATH({ mine[0] = 1; }, "") << size;
    }
    // An allocation of whole pages starts at a page, right after its guard.
    char* d = nullptr;
    ASSERT_EQ(cudaMalloc(&d, 8192), cudaSuccess);
    auto* mine = static_cast<volatile char*>(emu::deviceRange(d, 8192, "test"));
    EXPECT_DEATH({ mine[-1] = 1; }, "");
    cudaFree(d);
}

TEST_F(MemoryTest, FreshAllocationsArePoisonedAndAligned) {
    // Small, medium, and large enough (over 64 MiB) that only the edges may be poisoned.
    for (size_t n : {size_t(1), size_t(4099), size_t(20) << 20}) {
        float* d = nullptr;
        ASSERT_EQ(cudaMalloc(&d, n * sizeof(float)), cudaSuccess);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(d) % 256, 0u);
        float front = 0, back = 0;
        ASSERT_EQ(cudaMemcpy(&front, d, sizeof front, cudaMemcpyDeviceToHost), cudaSuccess);
        ASSERT_EQ(cudaMemcpy(&back, d + n - 1, sizeof back, cudaMemcpyDeviceToHost), cudaSuccess);
        EXPECT_TRUE(std::isnan(front) && std::isnan(back)) << n;
        cudaFree(d);
    }
    float* pinned = nullptr;
    ASSERT_EQ(cudaMallocHost(&pinned, 100 * sizeof(float)), cudaSuccess);
    EXPECT_TRUE(std::isnan(pinned[0]) && std::isnan(pinned[99]));
    cudaFreeHost(pinned);
}

TEST_F(MemoryTest, HugeAllocationIsSparseAndAddressablePastTwoToThe31Elements) {
    const size_t elements = size_t(5) << 30;  // 20 GiB of floats
    long before = residentKiB();
    float* d = nullptr;
    ASSERT_EQ(cudaMalloc(&d, elements * sizeof(float)), cudaSuccess);
    const size_t offset = (size_t(1) << 31) + 12345;
    const float values[4] = {1.5f, -2.0f, 3.25f, 4.0f};
    ASSERT_EQ(cudaMemcpy(d + offset, values, sizeof values, cudaMemcpyHostToDevice), cudaSuccess);
    ASSERT_EQ(cudaMemcpy(d + elements - 4, values, sizeof values, cudaMemcpyHostToDevice),
              cudaSuccess);
    float back[4] = {};
    ASSERT_EQ(cudaMemcpy(back, d + offset, sizeof back, cudaMemcpyDeviceToHost), cudaSuccess);
    EXPECT_EQ(std::memcmp(back, values, sizeof back), 0);
    ASSERT_EQ(cudaMemcpy(back, d + elements - 4, sizeof back, cudaMemcpyDeviceToHost), cudaSuccess);
    EXPECT_EQ(std::memcmp(back, values, sizeof back), 0);
    // One element past the end is outside.
    zuliEmuSetStrict(0);
    EXPECT_EQ(cudaMemcpy(back, d + elements - 3, sizeof back, cudaMemcpyDeviceToHost),
              cudaErrorIllegalAddress);
    long after = residentKiB();
    EXPECT_LT(after - before, 64 * 1024) << "the allocation must not be materialised";
    size_t freeBytes = 0, total = 0;
    cudaDeviceReset();
    ASSERT_EQ(cudaMemGetInfo(&freeBytes, &total), cudaSuccess);
    EXPECT_EQ(freeBytes, total);
}

TEST_F(MemoryTest, DeviceMemoryIsCappedByTheConfiguredTotal) {
    zuliEmuSetTotalMemory(0, 1 << 20);
    void *a = nullptr, *b = nullptr;
    ASSERT_EQ(cudaMalloc(&a, 600 << 10), cudaSuccess);
    size_t freeBytes = 0, total = 0;
    ASSERT_EQ(cudaMemGetInfo(&freeBytes, &total), cudaSuccess);
    EXPECT_EQ(total, size_t(1) << 20);
    EXPECT_EQ(freeBytes, size_t(424) << 10);
    EXPECT_EQ(cudaMalloc(&b, 500 << 10), cudaErrorMemoryAllocation);
    EXPECT_EQ(b, nullptr);
    EXPECT_EQ(cudaMalloc(&b, 400 << 10), cudaSuccess);
    cudaFree(a);
    cudaFree(b);
    // Zero bytes allocate nothing; freeing null is fine.
    ASSERT_EQ(cudaMalloc(&a, 0), cudaSuccess);
    EXPECT_EQ(a, nullptr);
    EXPECT_EQ(cudaFree(nullptr), cudaSuccess);
}

TEST_F(MemoryTest, FreeAcceptsOnlyTheStartOfALiveAllocation) {
    char* d = nullptr;
    ASSERT_EQ(cudaMalloc(&d, 1024), cudaSuccess);
    int host = 0;
    EXPECT_EQ(cudaFree(d + 256), cudaErrorInvalidValue);
    EXPECT_EQ(cudaFree(&host), cudaErrorInvalidValue);
    EXPECT_EQ(cudaFree(d), cudaSuccess);
    EXPECT_EQ(cudaFree(d), cudaErrorInvalidValue);
    EXPECT_EQ(cudaFreeHost(&host), cudaErrorInvalidValue);
}

TEST_F(MemoryTest, MallocPitchRoundsToThePitchAlignment) {
    struct {
        size_t alignment, width, pitch;
    } const rows[] = {
        {512, 1, 512},     {512, 512, 512},   {512, 513, 1024},
        {512, 4000, 4096}, {256, 1000, 1024}, {32, 33, 64},
    };
    zuliEmuDeviceConfig cfg;
    zuliEmuGetDeviceConfig(0, &cfg);
    for (const auto& row : rows) {
        cfg.texturePitchAlignment = row.alignment;
        zuliEmuConfigureDevice(0, &cfg);
        void* d = nullptr;
        size_t pitch = 0;
        ASSERT_EQ(cudaMallocPitch(&d, &pitch, row.width, 3), cudaSuccess);
        EXPECT_EQ(pitch, row.pitch) << row.alignment << " " << row.width;
        // All of the last row up to the pitch is inside the allocation.
        EXPECT_NE(emu::deviceRange(d, 3 * pitch, "test"), nullptr);
        cudaFree(d);
    }
    cfg.memPitch = 8192;
    zuliEmuConfigureDevice(0, &cfg);
    void* d = nullptr;
    size_t pitch = 0;
    EXPECT_EQ(cudaMallocPitch(&d, &pitch, 8193, 2), cudaErrorInvalidValue);
    EXPECT_EQ(cudaMallocPitch(&d, &pitch, 8000, 2), cudaSuccess);
    cudaFree(d);
}

TEST_F(MemoryTest, PointerAttributesTellWhereMemoryLives) {
    zuliEmuSetDeviceCount(2);
    cudaSetDevice(1);
    char *d = nullptr, *h = nullptr;
    ASSERT_EQ(cudaMalloc(&d, 100), cudaSuccess);
    ASSERT_EQ(cudaHostAlloc(&h, 100, cudaHostAllocPortable), cudaSuccess);
    int pageable = 0;
    cudaPointerAttributes a;
    ASSERT_EQ(cudaPointerGetAttributes(&a, d + 50), cudaSuccess);
    EXPECT_TRUE(a.type == cudaMemoryTypeDevice && a.device == 1 && a.devicePointer == d + 50 &&
                a.hostPointer == nullptr);
    ASSERT_EQ(cudaPointerGetAttributes(&a, h), cudaSuccess);
    EXPECT_TRUE(a.type == cudaMemoryTypeHost && a.hostPointer == h && a.device == 1);
    ASSERT_EQ(cudaPointerGetAttributes(&a, &pageable), cudaSuccess);
    EXPECT_EQ(a.type, cudaMemoryTypeUnregistered);
    EXPECT_EQ(emu::classify(d + 100), emu::MemKind::Device);
    EXPECT_EQ(emu::classify(h + 10), emu::MemKind::Pinned);
    EXPECT_NE(emu::allocationOf(h), emu::allocationOf(d + 10));
    EXPECT_EQ(emu::allocationOf(&pageable), 0u);
    EXPECT_EQ(cudaHostAlloc(reinterpret_cast<void**>(&h), 16, 0x100), cudaErrorInvalidValue);

    // Registered host memory is page-locked until unregistered.
    std::vector<char> buffer(10000);
    ASSERT_EQ(cudaHostRegister(buffer.data(), buffer.size(), cudaHostRegisterDefault), cudaSuccess);
    EXPECT_EQ(emu::classify(buffer.data() + 9999), emu::MemKind::Pinned);
    ASSERT_EQ(cudaPointerGetAttributes(&a, buffer.data() + 5), cudaSuccess);
    EXPECT_EQ(a.type, cudaMemoryTypeHost);
    EXPECT_EQ(cudaHostRegister(buffer.data() + 100, 10, 0), cudaErrorHostMemoryAlreadyRegistered);
    EXPECT_EQ(cudaFreeHost(buffer.data()), cudaErrorInvalidValue);
    EXPECT_EQ(cudaHostRegister(d, 10, 0), cudaErrorInvalidValue);
    EXPECT_EQ(cudaHostUnregister(buffer.data()), cudaSuccess);
    EXPECT_EQ(cudaHostUnregister(buffer.data()), cudaErrorHostMemoryNotRegistered);
    EXPECT_EQ(emu::classify(buffer.data()), emu::MemKind::Pageable);
    cudaGetLastError();
    cudaFree(d);
    cudaFreeHost(h);
    EXPECT_EQ(emu::classify(d), emu::MemKind::Pageable);
}

TEST_F(MemoryTest, DeviceRangeAndMatrixCheckTheExtent) {
    double* d = nullptr;
    ASSERT_EQ(cudaMalloc(&d, 100 * sizeof(double)), cudaSuccess);
    EXPECT_NE(emu::deviceRange(d, 800, "op"), nullptr);
    EXPECT_NE(emu::deviceRange(d + 100, 0, "op"), nullptr);
    EXPECT_EQ(emu::deviceRange(nullptr, 0, "op"), nullptr);
    // 10 x 10 with ld 10 fits exactly; ld 11 needs 9 * 11 + 10 = 109 elements.
    EXPECT_NE(emu::deviceMatrix(d, 10, 10, 10, 8, "op"), nullptr);
    EXPECT_NE(emu::deviceMatrix(d, 10, 9, 11, 8, "op"), nullptr);
    EXPECT_NE(emu::deviceMatrix(d, 0, 1000, 1000, 8, "op"), nullptr);
    EXPECT_DEATH(emu::deviceMatrix(d, 10, 10, 11, 8, "cublasDgemm_v2"),
                 "zuli_emu: cublasDgemm_v2: extent of 872 bytes at offset 0 overruns the device "
                 "allocation of 800 bytes by 72 bytes \\(pointer 0x");
    EXPECT_DEATH(emu::deviceRange(d + 1, 800, "op"), "overruns");
    std::vector<double> host(10);
    EXPECT_DEATH(emu::deviceRange(host.data(), 8, "op"), "host pointer used as device memory");
    EXPECT_DEATH(emu::deviceRange(nullptr, 8, "op"), "null device pointer \\(pointer 0x0\\)");
    cudaFree(d);
    EXPECT_DEATH(emu::deviceRange(d, 8, "op"), "not inside a live device allocation");

    zuliEmuSetStrict(0);
    EXPECT_EQ(emu::deviceMatrix(d, 2, 2, 2, 8, "op"), nullptr);
    EXPECT_EQ(zuliEmuViolationCount(), 1u);
    EXPECT_EQ(cudaGetLastError(), cudaErrorIllegalAddress);
}

TEST_F(MemoryTest, CopiesCheckDirectionPitchAndExtent) {
    char* d = nullptr;
    ASSERT_EQ(cudaMalloc(&d, 4096), cudaSuccess);
    std::vector<char> host(8192, 3);

    // Extent of the device side, 1-D and 2-D: (height - 1) * pitch + width bytes.
    EXPECT_DEATH(cudaMemcpy(d, host.data(), 4097, cudaMemcpyHostToDevice),
                 "cudaMemcpy: extent of 4097 bytes");
    EXPECT_DEATH(cudaMemcpy2D(d, 1024, host.data(), 1024, 1000, 5, cudaMemcpyHostToDevice),
                 "cudaMemcpy2D: extent of 5096 bytes");
    EXPECT_EQ(cudaMemcpy2D(d, 1024, host.data(), 1024, 1000, 4, cudaMemcpyHostToDevice),
              cudaSuccess);
    // A kind that contradicts where the pointers live.
    EXPECT_DEATH(cudaMemcpy(host.data(), host.data() + 100, 8, cudaMemcpyHostToDevice),
                 "destination is host memory, used as device memory");
    EXPECT_DEATH(cudaMemcpy(host.data(), d, 8, cudaMemcpyHostToHost), "source is device memory");

    struct {
        size_t dpitch, spitch, width, height;
        int kind;
        cudaError_t expected;
    } const rows[] = {
        {1024, 1024, 1025, 2, cudaMemcpyHostToDevice, cudaErrorInvalidPitchValue},
        {1024, 1000, 1001, 2, cudaMemcpyHostToDevice, cudaErrorInvalidPitchValue},
        {1024, 1024, 0, 3, cudaMemcpyHostToDevice, cudaSuccess},
        {2048, 512, 512, 2, cudaMemcpyHostToDevice, cudaSuccess},
        {1024, 1024, 16, 2, 7, cudaErrorInvalidMemcpyDirection},
        {1024, 1024, 16, 2, cudaMemcpyDefault, cudaSuccess},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(cudaMemcpy2D(d, row.dpitch, host.data(), row.spitch, row.width, row.height,
                               static_cast<cudaMemcpyKind>(row.kind)),
                  row.expected)
            << row.dpitch << " " << row.spitch << " " << row.width << " " << row.height;
        cudaGetLastError();
    }
    // A device-side pitch beyond the device's limit.
    zuliEmuDeviceConfig cfg;
    zuliEmuGetDeviceConfig(0, &cfg);
    cfg.memPitch = 1024;
    zuliEmuConfigureDevice(0, &cfg);
    EXPECT_EQ(cudaMemcpy2D(d, 2048, host.data(), 2048, 16, 2, cudaMemcpyHostToDevice),
              cudaErrorInvalidPitchValue);
    EXPECT_EQ(cudaMemcpy2D(host.data(), 2048, d, 1024, 16, 2, cudaMemcpyDeviceToHost), cudaSuccess);

    // Reporting mode: the copy fails with the sticky illegal address.
    zuliEmuSetStrict(0);
    EXPECT_EQ(cudaMemcpyAsync(d + 4000, host.data(), 100, cudaMemcpyHostToDevice, nullptr),
              cudaErrorIllegalAddress);
    EXPECT_EQ(zuliEmuViolationCount(), 1u);
    cudaDeviceReset();
}

TEST_F(MemoryTest, TwoDimensionalAndThreeDimensionalCopiesMoveTheRightBytes) {
    const size_t width = 5, height = 3, depth = 2;
    std::vector<unsigned char> src(8 * 4 * depth);
    for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<unsigned char>(i);
    void* d = nullptr;
    size_t pitch = 0;
    ASSERT_EQ(cudaMallocPitch(&d, &pitch, width, height * depth), cudaSuccess);

    cudaMemcpy3DParms p = {};
    p.srcPtr = make_cudaPitchedPtr(src.data(), 8, 8, 4);
    p.dstPtr = make_cudaPitchedPtr(d, pitch, width, height);
    p.extent = make_cudaExtent(width, height, depth);
    p.kind = cudaMemcpyHostToDevice;
    ASSERT_EQ(cudaMemcpy3D(&p), cudaSuccess);

    // Read it back densely with a 2-D copy: row r of slice z is source row z * 4 + r.
    std::vector<unsigned char> back(width * height * depth, 0);
    ASSERT_EQ(
        cudaMemcpy2D(back.data(), width, d, pitch, width, height * depth, cudaMemcpyDeviceToHost),
        cudaSuccess);
    for (size_t z = 0; z < depth; ++z)
        for (size_t r = 0; r < height; ++r)
            for (size_t c = 0; c < width; ++c)
                EXPECT_EQ(back[(z * height + r) * width + c], src[(z * 4 + r) * 8 + c]);

    // Memset2D touches only the width of each row.
    ASSERT_EQ(cudaMemset2D(d, pitch, 0xAB, 2, 2), cudaSuccess);
    ASSERT_EQ(cudaMemcpy2D(back.data(), width, d, pitch, width, 2, cudaMemcpyDeviceToHost),
              cudaSuccess);
    EXPECT_TRUE(back[0] == 0xAB && back[1] == 0xAB && back[width + 1] == 0xAB);
    EXPECT_TRUE(back[2] == src[2] && back[width + 2] == src[8 + 2]);
    EXPECT_DEATH(cudaMemset2D(d, pitch, 0, pitch, height * depth + 1), "cudaMemset2D: extent");
    EXPECT_EQ(cudaMemset2D(d, 4, 0, 5, 2), cudaErrorInvalidValue);
    cudaFree(d);
}

TEST_F(MemoryTest, FreeingMemoryThatPendingWorkUsesIsReported) {
    cudaStream_t s;
    ASSERT_EQ(cudaStreamCreateWithFlags(&s, cudaStreamNonBlocking), cudaSuccess);
    float *d = nullptr, *h = nullptr;
    ASSERT_EQ(cudaMalloc(&d, 256), cudaSuccess);
    ASSERT_EQ(cudaMallocHost(&h, 256), cudaSuccess);
    ASSERT_EQ(cudaMemcpyAsync(h, d, 256, cudaMemcpyDeviceToHost, s), cudaSuccess);
    EXPECT_DEATH(cudaFree(d), "cudaFree: device memory freed while pending work uses it");
    EXPECT_DEATH(cudaFreeHost(h), "cudaFreeHost: page-locked memory freed while pending work");

    zuliEmuSetStrict(0);
    EXPECT_EQ(cudaFree(d), cudaErrorIllegalAddress);
    EXPECT_EQ(zuliEmuViolationCount(), 1u);
    cudaDeviceReset();
    cudaFreeHost(h);

    // After the work ran, freeing is fine.
    zuliEmuReset();
    ASSERT_EQ(cudaStreamCreate(&s), cudaSuccess);
    ASSERT_EQ(cudaMalloc(&d, 256), cudaSuccess);
    ASSERT_EQ(cudaMemsetAsync(d, 0, 256, s), cudaSuccess);
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(cudaFree(d), cudaSuccess);
    cudaStreamDestroy(s);
}

}  // namespace
