// The emulated GPU's memory: out of the host's reach, guarded, poisoned, sparse, pitched,
// attributed, and checked by every copy against the allocation it touches.
#include "emu_test_support.h"

#include <cuda_runtime.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace emutest {
namespace {

using MemoryTest = EmuTest;

// The address cudaMalloc hands out faults on a host access. In the emulator's own mapping the
// bytes past an allocation's end, the guard page before it, and the whole of it once freed fault.
TEST_F(MemoryTest, DeviceMemoryIsOutOfTheHostsReachAndGuarded) {
    float* d = deviceAlloc(64);
    EXPECT_DEATH(
        {
            volatile float x = static_cast<volatile float*>(d)[0];
            (void)x;
        },
        "");
    EXPECT_DEATH({ static_cast<volatile float*>(d)[3] = 1.0f; }, "");
    // Two page-sized neighbours: only the guard separates the end of one from the other.
    char *a = deviceAlloc<char>(8192), *b = deviceAlloc<char>(8192);
    auto* first = static_cast<volatile char*>(emu::deviceRange(a, 8192, "test"));
    auto* second = static_cast<volatile char*>(emu::deviceRange(b, 8192, "test"));
    first[8191] = 1;
    second[0] = 1;
    EXPECT_DEATH({ second[-1] = 1; }, "");
    for (size_t size : {size_t(1000), size_t(70000)}) {
        char* c = deviceAlloc<char>(size);
        auto* mine = static_cast<volatile char*>(emu::deviceRange(c, size, "test"));
        mine[0] = 1;
        mine[size - 1] = 1;
        EXPECT_DEATH({ mine[size + 256] = 1; }, "") << size;
        cudaFree(c);
        EXPECT_DEATH({ mine[0] = 1; }, "") << size;
    }
    cudaFree(a), cudaFree(b), cudaFree(d);
}

// Fresh device memory reads as NaN at both ends (beyond 64 MiB only the edges are poisoned);
// device allocations are 256-byte aligned; fresh page-locked memory is poisoned too.
TEST_F(MemoryTest, FreshAllocationsArePoisonedAndAligned) {
    for (size_t n : {size_t(1), size_t(4099), size_t(20) << 20}) {
        float* d = deviceAlloc(n);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(d) % 256, 0u);
        EXPECT_TRUE(std::isnan(readDevice(d)) && std::isnan(readDevice(d + n - 1))) << n;
        cudaFree(d);
    }
    float* pinned = nullptr;
    ASSERT_EQ(cudaMallocHost(&pinned, 100 * sizeof(float)), cudaSuccess);
    EXPECT_TRUE(std::isnan(pinned[0]) && std::isnan(pinned[99]));
    cudaFreeHost(pinned);
}

long residentKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    return -1;
}

// 20 GiB of floats: only the touched pages exist, offsets past 2^31 elements work, and one
// element past the end is outside. A user's program frees it right after a copy from pageable
// memory, whose device write is still pending: the free waits for it.
TEST_F(MemoryTest, HugeAllocationIsSparseAndAddressablePastTwoToThe31Elements) {
    const size_t elements = size_t(5) << 30;
    const long before = residentKiB();
    float* d = deviceAlloc(elements);
    const float values[4] = {1.5f, -2.0f, 3.25f, 4.0f};
    for (float* p : {d + (size_t(1) << 31) + 12345, d + elements - 4}) {
        float back[4] = {};
        ASSERT_EQ(cudaMemcpy(p, values, sizeof values, cudaMemcpyHostToDevice), cudaSuccess);
        ASSERT_EQ(cudaMemcpy(back, p, sizeof back, cudaMemcpyDeviceToHost), cudaSuccess);
        EXPECT_EQ(std::memcmp(back, values, sizeof back), 0);
    }
    EXPECT_LT(residentKiB() - before, 64 * 1024) << "the allocation must not be materialised";
    float back[4];
    EXPECT_DEATH(cudaMemcpy(back, d + elements - 3, sizeof back, cudaMemcpyDeviceToHost),
                 "extent of 16 bytes at offset 21474836468 overruns");
    ASSERT_EQ(cudaMemcpy(d + 12345, values, 1, cudaMemcpyHostToDevice), cudaSuccess);
    const unsigned long long syncs = counters().syncs;
    EXPECT_EQ(cudaFree(d), cudaSuccess);
    EXPECT_EQ(counters().syncs, syncs + 1) << "the free waited for the copy";
    size_t freeBytes = 0, total = 0;
    ASSERT_EQ(cudaMemGetInfo(&freeBytes, &total), cudaSuccess);
    EXPECT_EQ(freeBytes, total);
}

TEST_F(MemoryTest, AllocationLimitAndFree) {
    zuliEmuSetTotalMemory(0, 1 << 20);
    void *a = nullptr, *b = &a;
    ASSERT_EQ(cudaMalloc(&a, 600 << 10), cudaSuccess);
    size_t freeBytes = 0, total = 0;
    ASSERT_EQ(cudaMemGetInfo(&freeBytes, &total), cudaSuccess);
    EXPECT_EQ(std::pair(freeBytes, total), std::pair(size_t(424) << 10, size_t(1) << 20));
    EXPECT_EQ(cudaMalloc(&b, 500 << 10), cudaErrorMemoryAllocation);
    EXPECT_EQ(b, nullptr);
    EXPECT_EQ(cudaMalloc(&b, 0), cudaSuccess);
    EXPECT_EQ(b, nullptr) << "zero bytes allocate nothing";
    EXPECT_EQ(cudaMalloc(&b, 400 << 10), cudaSuccess);
    // Only the start of a live device allocation can be freed (null is fine).
    int host = 0;
    EXPECT_EQ(cudaFree(nullptr), cudaSuccess);
    EXPECT_EQ(cudaFree(static_cast<char*>(a) + 256), cudaErrorInvalidValue);
    EXPECT_EQ(cudaFree(&host), cudaErrorInvalidValue);
    EXPECT_EQ(cudaFreeHost(&host), cudaErrorInvalidValue);
    EXPECT_EQ(cudaFree(a), cudaSuccess);
    EXPECT_EQ(cudaFree(a), cudaErrorInvalidValue);
    cudaFree(b);
}

TEST_F(MemoryTest, MallocPitchRoundsToThePitchAlignment) {
    const struct {
        size_t alignment, width, pitch;
    } rows[] = {
        {512, 1, 512},     {512, 512, 512},   {512, 513, 1024},
        {512, 4000, 4096}, {256, 1000, 1024}, {32, 33, 64},
    };
    zuliEmuDeviceConfig cfg;
    zuliEmuGetDeviceConfig(0, &cfg);
    void* d = nullptr;
    size_t pitch = 0;
    for (const auto& row : rows) {
        cfg.texturePitchAlignment = row.alignment;
        zuliEmuConfigureDevice(0, &cfg);
        ASSERT_EQ(cudaMallocPitch(&d, &pitch, row.width, 3), cudaSuccess);
        EXPECT_EQ(pitch, row.pitch) << row.alignment << " " << row.width;
        EXPECT_NE(emu::deviceRange(d, 3 * pitch, "test"), nullptr) << "the last row is whole";
        cudaFree(d);
    }
    cfg.memPitch = 8192;
    zuliEmuConfigureDevice(0, &cfg);
    EXPECT_EQ(cudaMallocPitch(&d, &pitch, 8193, 2), cudaErrorInvalidValue);
    EXPECT_EQ(cudaMallocPitch(&d, &pitch, 8000, 2), cudaSuccess);
    cudaFree(d);
}

TEST_F(MemoryTest, PointerAttributesTellWhereMemoryLives) {
    zuliEmuSetDeviceCount(2);
    cudaSetDevice(1);
    char *d = deviceAlloc<char>(100), *h = nullptr, *refused = nullptr;
    ASSERT_EQ(cudaHostAlloc(&h, 100, cudaHostAllocPortable), cudaSuccess);
    EXPECT_EQ(cudaHostAlloc(&refused, 16, 0x100), cudaErrorInvalidValue);
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
    // With unified addressing every device reaches cudaHostAlloc memory through its host address
    // (a write-combined block has a distinct device address).
    ASSERT_EQ(cudaMemsetAsync(h, 5, 100, nullptr), cudaSuccess);
    ASSERT_EQ(cudaStreamSynchronize(nullptr), cudaSuccess);
    EXPECT_TRUE(h[0] == 5 && h[99] == 5);
    EXPECT_EQ(emu::deviceRange(h + 10, 90, "op", 0), h + 10);
    EXPECT_DEATH(emu::deviceRange(h + 10, 91, "op"),
                 "extent of 91 bytes at offset 10 overruns the page-locked block of 100 bytes");
    ASSERT_EQ(cudaHostAlloc(&refused, 16, cudaHostAllocWriteCombined), cudaSuccess);
    EXPECT_DEATH(emu::deviceRange(refused, 16, "op"), "write-combined page-locked memory used as");
    cudaFreeHost(refused);

    // Registered host memory is page-locked until unregistered, and not the runtime's to free.
    std::vector<char> buffer(10000);
    ASSERT_EQ(cudaHostRegister(buffer.data(), buffer.size(), cudaHostRegisterDefault), cudaSuccess);
    EXPECT_EQ(emu::classify(buffer.data() + 9999), emu::MemKind::Pinned);
    EXPECT_DEATH(emu::deviceRange(buffer.data(), 8, "op"),
                 "registered host memory used as device memory through its host address");
    ASSERT_EQ(cudaPointerGetAttributes(&a, buffer.data() + 5), cudaSuccess);
    EXPECT_EQ(a.type, cudaMemoryTypeHost);
    EXPECT_EQ(cudaHostRegister(buffer.data() + 100, 10, 0), cudaErrorHostMemoryAlreadyRegistered);
    EXPECT_EQ(cudaFreeHost(buffer.data()), cudaErrorInvalidValue);
    EXPECT_EQ(cudaHostRegister(d, 10, 0), cudaErrorInvalidValue);
    EXPECT_EQ(cudaHostUnregister(buffer.data()), cudaSuccess);
    EXPECT_EQ(cudaHostUnregister(buffer.data()), cudaErrorHostMemoryNotRegistered);
    EXPECT_EQ(emu::classify(buffer.data()), emu::MemKind::Pageable);
    cudaFree(d), cudaFreeHost(h);
    EXPECT_EQ(emu::classify(d), emu::MemKind::Pageable);
}

TEST_F(MemoryTest, DeviceRangeAndMatrixCheckTheExtent) {
    double* d = deviceAlloc<double>(100);
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
    EXPECT_TRUE(oneViolation("op: address is not inside"));
    EXPECT_EQ(cudaGetLastError(), cudaErrorIllegalAddress);
}

TEST_F(MemoryTest, CopiesCheckDirectionPitchAndExtent) {
    char* d = deviceAlloc<char>(4096);
    std::vector<char> host(8192, 3);
    // The device side's extent, 1-D and 2-D: (height - 1) * pitch + width bytes.
    EXPECT_DEATH(cudaMemcpy(d, host.data(), 4097, cudaMemcpyHostToDevice),
                 "cudaMemcpy: extent of 4097 bytes");
    EXPECT_DEATH(cudaMemcpy2D(d, 1024, host.data(), 1024, 1000, 5, cudaMemcpyHostToDevice),
                 "cudaMemcpy2D: extent of 5096 bytes");
    // A kind that contradicts where the pointers live.
    EXPECT_DEATH(cudaMemcpy(host.data(), host.data() + 100, 8, cudaMemcpyHostToDevice),
                 "destination is host memory, used as device memory");
    EXPECT_DEATH(cudaMemcpy(host.data(), d, 8, cudaMemcpyHostToHost), "source is device memory");

    const struct {
        size_t dpitch, spitch, width, height;
        int kind;
        cudaError_t expected;
    } rows[] = {
        {1024, 1024, 1000, 4, cudaMemcpyHostToDevice, cudaSuccess},
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
    }
    // Only a device-side pitch is held to the device's limit.
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
    EXPECT_TRUE(oneViolation("cudaMemcpyAsync: extent of 100 bytes at offset 4000"));
    cudaDeviceReset();
}

// The host side of a transfer that starts in a page-locked block must end in it, in both
// directions, 1-D and 2-D, sync and async (the block is page-rounded: an overrun of a few bytes
// would otherwise go unnoticed). The copy is refused and moves nothing.
TEST_F(MemoryTest, CopiesCheckThePageLockedExtent) {
    char* d = deviceAlloc<char>(4096);
    char* pinned = nullptr;
    ASSERT_EQ(cudaMallocHost(&pinned, 1000), cudaSuccess);
    std::memset(pinned, 7, 1000);
    ASSERT_EQ(cudaMemcpy(d, pinned, 1000, cudaMemcpyHostToDevice), cudaSuccess);
    ASSERT_EQ(cudaMemcpy(pinned + 500, d, 500, cudaMemcpyDeviceToHost), cudaSuccess);
    EXPECT_DEATH(cudaMemcpy(d, pinned + 1, 1000, cudaMemcpyHostToDevice),
                 "cudaMemcpy: host extent of 1000 bytes at offset 1 overruns the page-locked "
                 "block of 1000 bytes by 1 bytes");
    const struct {
        const char* what;
        std::function<cudaError_t()> copy;
    } overruns[] = {
        {"to the device, async",
         [&] { return cudaMemcpyAsync(d, pinned + 999, 2, cudaMemcpyHostToDevice, nullptr); }},
        {"to the host", [&] { return cudaMemcpy(pinned + 990, d, 11, cudaMemcpyDeviceToHost); }},
        {"to the host, 2-D: (height - 1) * pitch + width",
         [&] { return cudaMemcpy2D(pinned, 300, d, 300, 101, 4, cudaMemcpyDeviceToHost); }},
        {"kind inferred",
         [&] { return cudaMemcpyAsync(pinned + 1, d, 1000, cudaMemcpyDefault, nullptr); }},
    };
    for (const auto& row : overruns) {
        zuliEmuReset();  // clears the violations counted so far
        zuliEmuSetStrict(0);
        EXPECT_EQ(row.copy(), cudaErrorInvalidValue) << row.what;
        EXPECT_TRUE(oneViolation("overruns the page-locked block of 1000 bytes")) << row.what;
        EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidValue) << row.what;
    }
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(pinned[i], 7) << i;
    // A registered range may be part of a larger array: a copy running past it is a copy of
    // pageable memory, whose data is staged by the call.
    std::vector<char> array(2000, 9);
    ASSERT_EQ(cudaHostRegister(array.data(), 1000, cudaHostRegisterDefault), cudaSuccess);
    ASSERT_EQ(cudaMemcpyAsync(d, array.data(), 2000, cudaMemcpyHostToDevice, nullptr), cudaSuccess);
    array[1500] = 1;
    EXPECT_EQ(readDevice(d + 1500), 9);
    EXPECT_EQ(cudaHostUnregister(array.data()), cudaSuccess);
    cudaFreeHost(pinned);
    cudaFree(d);
}

// A 3-D copy into pitched memory, read back densely: row r of slice z is source row 4 z + r.
// Memset2D writes only the width of each row.
TEST_F(MemoryTest, PitchedCopiesAndMemsetsMoveTheRightBytes) {
    const size_t width = 5, height = 3, depth = 2;
    std::vector<unsigned char> src(8 * 4 * depth), back(width * height * depth, 0);
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
    auto readBack = [&](size_t rows) {
        ASSERT_EQ(cudaMemcpy2D(back.data(), width, d, pitch, width, rows, cudaMemcpyDeviceToHost),
                  cudaSuccess);
    };
    readBack(height * depth);
    for (size_t z = 0; z < depth; ++z)
        for (size_t r = 0; r < height; ++r)
            for (size_t c = 0; c < width; ++c)
                EXPECT_EQ(back[(z * height + r) * width + c], src[(z * 4 + r) * 8 + c]);

    ASSERT_EQ(cudaMemset2D(d, pitch, 0xAB, 2, 2), cudaSuccess);
    readBack(2);
    EXPECT_TRUE(back[0] == 0xAB && back[1] == 0xAB && back[width + 1] == 0xAB);
    EXPECT_TRUE(back[2] == src[2] && back[width + 2] == src[8 + 2]);
    EXPECT_DEATH(cudaMemset2D(d, pitch, 0, pitch, height * depth + 1), "cudaMemset2D: extent");
    EXPECT_EQ(cudaMemset2D(d, 4, 0, 5, 2), cudaErrorInvalidValue);
    cudaFree(d);
}

// Frees synchronise as the runtime's do: the pending work that uses the memory runs first, after
// what it waits for, and the free succeeds.
TEST_F(MemoryTest, FreesWaitForThePendingWorkThatUsesTheMemory) {
    // b -> a on s2 waits through an event for a memset of a on s1 (work that does not use b):
    // freeing b runs both, the memset first, so a ends as a copy of b.
    cudaStream_t s1 = newStream(cudaStreamNonBlocking), s2 = newStream(cudaStreamNonBlocking);
    cudaEvent_t memsetDone;
    ASSERT_EQ(cudaEventCreate(&memsetDone), cudaSuccess);
    float *a = deviceAlloc(64), *b = deviceAlloc(64), *pinned = pinnedAlloc(64, 2.0f);
    ASSERT_EQ(cudaMemcpy(b, pinned, 256, cudaMemcpyHostToDevice), cudaSuccess);
    ASSERT_EQ(cudaMemsetAsync(a, 0, 256, s1), cudaSuccess);
    ASSERT_EQ(cudaEventRecord(memsetDone, s1), cudaSuccess);
    ASSERT_EQ(cudaStreamWaitEvent(s2, memsetDone, 0), cudaSuccess);
    ASSERT_EQ(cudaMemcpyAsync(a, b, 256, cudaMemcpyDeviceToDevice, s2), cudaSuccess);
    EXPECT_EQ(cudaFree(b), cudaSuccess);
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(readDevice(a + 63), 2.0f);

    // Page-locked memory that a pending copy reads: the copy runs before the free or the
    // unregistration (the legacy stream's read-back does not wait for s2).
    std::vector<float> registered(64, 3.0f);
    ASSERT_EQ(cudaHostRegister(registered.data(), 256, cudaHostRegisterDefault), cudaSuccess);
    ASSERT_EQ(cudaMemcpyAsync(a, pinned, 256, cudaMemcpyHostToDevice, s2), cudaSuccess);
    ASSERT_EQ(cudaMemcpyAsync(a + 32, registered.data(), 128, cudaMemcpyHostToDevice, s2),
              cudaSuccess);
    EXPECT_EQ(cudaFreeHost(pinned), cudaSuccess);
    EXPECT_EQ(cudaHostUnregister(registered.data()), cudaSuccess);
    EXPECT_TRUE(readDevice(a) == 2.0f && readDevice(a + 32) == 3.0f);

    // An error raised by the work a free waits for is the free's result, and sticky: the
    // memory stays allocated until the device is reset.
    reporting();
    float* failing = deviceAlloc(64);
    ASSERT_EQ(emu::submit(s2, "failing work", [] { throw std::runtime_error("lost"); }, {failing}),
              cudaSuccess);
    EXPECT_EQ(cudaFree(failing), cudaErrorLaunchFailure);
    EXPECT_TRUE(oneViolation("failing work: work failed: lost"));
    EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure);
    EXPECT_EQ(cudaFree(failing), cudaErrorLaunchFailure);
    EXPECT_GT(counters().liveDeviceBytes, 0u);
    ASSERT_EQ(cudaDeviceReset(), cudaSuccess);
    EXPECT_EQ(counters().liveDeviceBytes, 0u);
}

// Pedantic mode (set here through the environment, as the library's tests set it) reports what
// its description in zuli_emu.h lists: frees of memory in use, zero-copy access to page-locked
// memory, and copies running past a registered range.
TEST_F(MemoryTest, PedanticModeReportsWhatCodeWrittenForSpeedAvoids) {
    const char* outer = std::getenv("ZULI_EMU_PEDANTIC");
    const std::string saved = outer ? outer : "";
    setenv("ZULI_EMU_PEDANTIC", "1", 1);
    zuliEmuReset();
    outer ? setenv("ZULI_EMU_PEDANTIC", saved.c_str(), 1) : unsetenv("ZULI_EMU_PEDANTIC");

    cudaStream_t s = newStream(cudaStreamNonBlocking);
    char *d = deviceAlloc<char>(4096), *h = pinnedAlloc<char>(4096, 1);
    ASSERT_EQ(cudaMemcpyAsync(d, h, 4096, cudaMemcpyHostToDevice, s), cudaSuccess);
    EXPECT_DEATH(cudaFree(d),
                 "cudaFree: device memory freed while pending work uses it \\(cudaMemcpyAsync\\)");
    EXPECT_DEATH(cudaFreeHost(h), "cudaFreeHost: page-locked memory freed while pending work");
    EXPECT_DEATH(cudaMemsetAsync(h, 0, 16, s),
                 "cudaMemsetAsync: page-locked host memory used as device memory");
    std::vector<char> array(8192);
    ASSERT_EQ(cudaHostRegister(array.data(), 4096, cudaHostRegisterDefault), cudaSuccess);
    EXPECT_DEATH(cudaMemcpy(d, array.data() + 1, 4096, cudaMemcpyHostToDevice),
                 "host extent of 4096 bytes at offset 1 overruns the page-locked block");
    ASSERT_EQ(cudaMemcpyAsync(array.data(), d, 16, cudaMemcpyDeviceToHost, s), cudaSuccess);
    EXPECT_DEATH(cudaHostUnregister(array.data()),
                 "cudaHostUnregister: host memory unregistered while pending work uses it");

    zuliEmuSetStrict(0);
    EXPECT_EQ(cudaFree(d), cudaErrorIllegalAddress);
    EXPECT_TRUE(oneViolation("(cudaMemcpyAsync)"));
    cudaDeviceReset();
    cudaHostUnregister(array.data());
    cudaFreeHost(h);
}

}  // namespace
}  // namespace emutest
