// Device memory: buffers and allocators, the work-space pools (block sizes, best fit, trimming,
// ordering between streams), the scalar pool, zuliFreeBuffers and zuliGetOptimalPitch.
#include "runtime_fixture.h"

#include <numeric>
#include <vector>

namespace runtime_test {
namespace {

class Memory : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        ASSERT_EQ(zuliInitialize(), zuliNoError);
        zuliEmuResetCounters();
    }
    // Runs body inside a device-interface frame and returns its status.
    template <typename Body>
    zuliStatus framed(Body body) {
        return zuli::deviceRoutine<float>(body);
    }
    // Takes a work-space block of n elements of T in a frame of its own.
    template <typename T>
    zuli::DeviceBuffer<T> take(int64_t n) {
        zuli::DeviceBuffer<T> b;
        EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                      b = zuli::acquireWorkspace<T>(ctx, n);
                  }),
                  zuliNoError);
        return b;
    }
    static std::vector<unsigned long long> allocationLog() {
        std::vector<unsigned long long> sizes(zuliEmuDeviceAllocationLog(nullptr, 0));
        zuliEmuDeviceAllocationLog(sizes.data(), sizes.size());
        return sizes;
    }
    template <typename T>
    static std::vector<size_t> capacities() {
        std::vector<size_t> out;
        for (const auto& b : zuli::workspacePoolBlocks<T>(0)) out.push_back(b.capacity);
        return out;
    }
};

constexpr size_t kLarge = 2097152, kSmall = 1048576, kMinimum = 262144;

TEST_F(Memory, BuffersAreFreedWithTheirLastHandleAndViewsKeepTheirOwnerAlive) {
    zuli::DeviceBuffer<double> copy, view;
    {
        zuli::DeviceBuffer<double> buffer(10, 20, 3);
        EXPECT_EQ(buffer.size(), 600u);
        EXPECT_EQ(counters().liveDeviceBytes, 600 * sizeof(double));
        copy = buffer;
        view = zuli::DeviceBuffer<double>::view(buffer.get() + 8, 1, buffer.keepAlive());
        EXPECT_FALSE(view.owning());
    }
    copy.reset();
    EXPECT_EQ(counters().deviceFrees, 0u);
    view.reset();
    EXPECT_EQ(counters().deviceFrees, 1u);
    EXPECT_EQ(counters().liveDeviceBytes, 0u);
    EXPECT_TRUE(zuli::DeviceBuffer<float>(0).empty());

    cudalib::ManagedMemory<zuli::Complex<float>, cudalib::CudaPitchAllocator<zuli::Complex<float>>>
        m(100, 7, 2);
    EXPECT_EQ(m.size(), 1400u);
    EXPECT_EQ(m.pitchBytes() % 512, 0u) << "the emulated device's pitch alignment";
    EXPECT_EQ(m.ld(), m.pitchBytes() / sizeof(zuli::Complex<float>));
    // The whole pitched extent is writable device memory.
    EXPECT_EQ(cudaMemset2D(m.get(), m.pitchBytes(), 0, 100 * 8, 14), cudaSuccess);
}

TEST_F(Memory, WarmUpPerTypeThenBestFitOfTheSmallestAndEarliestBlock) {
    EXPECT_TRUE(take<int>(0).empty());
    EXPECT_EQ(allocationLog().size(), 0u) << "a request of nothing allocates nothing";
    EXPECT_EQ(framed([](const zuli::CallContext& ctx) { zuli::acquireWorkspace<int>(ctx, -1); }),
              zuliRuntimeError);
    EXPECT_EQ(zuliGetErrorInfo(), -1);

    std::vector<zuli::DeviceBuffer<float>> held = {take<float>(500)};
    EXPECT_EQ(allocationLog(), (std::vector<unsigned long long>{kLarge * 4, kSmall * 4, kSmall * 4,
                                                                 kSmall * 4, kSmall * 4}));
    EXPECT_GE(held[0].size(), kMinimum);
    std::vector<zuli::PoolBlockInfo> pool = zuli::workspacePoolBlocks<float>(0);
    EXPECT_TRUE(pool[1].inUse && !pool[0].inUse) << "the first of the equal small blocks";
    held.push_back(take<float>(kMinimum + 1));  // the next small block
    held.push_back(take<float>(kSmall + 1));    // only the large block fits
    float* large = held.back().get();
    pool = zuli::workspacePoolBlocks<float>(0);
    EXPECT_TRUE(pool[0].inUse && pool[2].inUse && !pool[3].inUse);
    held.push_back(take<float>(3000000));  // nothing fits: a new block of exactly the request
    EXPECT_EQ(allocationLog().back(), 3000000ull * 4);
    EXPECT_EQ(capacities<float>().back(), 3000000u);

    // Released blocks are found again: the large one for a large request, and of the two free
    // small blocks the earlier one.
    held.erase(held.begin() + 1, held.begin() + 3);
    held.push_back(take<float>(kLarge));
    EXPECT_EQ(held.back().get(), large);
    held.push_back(take<float>(1));
    pool = zuli::workspacePoolBlocks<float>(0);
    EXPECT_TRUE(pool[2].inUse && !pool[3].inUse);
    EXPECT_EQ(allocationLog().size(), 6u) << "no allocation beyond warm-up and the 3M block";

    // Each element type has its own pool.
    take<zuli::Complex<double>>(5);
    EXPECT_EQ(allocationLog().size(), 11u);
    EXPECT_EQ(allocationLog()[6], kLarge * 16);
}

TEST_F(Memory, AFailedAllocationTrimsTheFreeBlocksAndRetries) {
    take<double>(1);
    const unsigned long long freesBefore = counters().deviceFrees;
    zuliEmuFailDeviceAlloc(1);
    zuli::DeviceBuffer<double> big = take<double>(3000000);  // recovered: not reported
    EXPECT_EQ(counters().deviceFrees - freesBefore, 5u);
    EXPECT_EQ(capacities<double>(), std::vector<size_t>{3000000});
    // With every block in use nothing can be dropped: the failure reaches the caller.
    zuliEmuFailDeviceAlloc(1);
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                  zuli::acquireWorkspace<double>(ctx, 3000000);
              }),
              zuliInsufficientMemory);
    EXPECT_EQ(zuliGetErrorInfo(), 0);
    // A device too small for the whole warm-up still serves requests.
    zuliEmuFailDeviceAlloc(2);
    EXPECT_EQ(take<int>(10).size(), kLarge);
    EXPECT_EQ(capacities<int>(), std::vector<size_t>{kLarge});
}

TEST_F(Memory, FreeBuffersReleasesOnlyUnusedBlocks) {
    zuli::DeviceBuffer<float> held;
    zuli::PinnedBuffer<double> pinned;
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                  held = zuli::acquireWorkspace<float>(ctx, 10);
                  pinned = zuli::acquirePinnedWorkspace<double>(ctx, 10);
                  zuli::acquireWorkspace<unsigned int>(ctx, 10);
                  zuli::acquireScalar(ctx);
              }),
              zuliNoError);
    zuliFreeBuffers();
    EXPECT_EQ(counters().liveDeviceBytes, held.size() * sizeof(float));
    EXPECT_EQ(counters().livePinnedBytes, pinned.size() * sizeof(double));
    EXPECT_EQ(zuli::scalarPoolEntries(0), 0u);
    held.reset();
    pinned.reset();
    zuliFreeBuffers();
    EXPECT_EQ(counters().liveDeviceBytes, 0u);
    EXPECT_EQ(counters().livePinnedBytes, 0u);
}

// A block handed from one stream to another is ordered after the old stream's pending work: a
// device block is not read by the new stream before the old write lands, and a page-locked block
// (written by the host as soon as it is handed out) not before the old copy out of it completes.
TEST_F(Memory, ABlockChangingStreamsIsOrderedAfterItsPreviousWork) {
    constexpr size_t n = 4096;
    for (unsigned long long seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, seed);
        zuli::PinnedBuffer<float> source(n), result(n);
        std::iota(source.get(), source.get() + n, float(seed));
        std::vector<float> seen(n, -1.f);
        EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                      cudalib::Stream first(ctx), second(ctx);
                      float* previous;
                      {
                          auto block = zuli::acquireWorkspace<float>(ctx, n, first);
                          previous = block.get();
                          first.copy(block.get(), source.get(), n * sizeof(float),
                                     cudaMemcpyHostToDevice);
                      }
                      auto block = zuli::acquireWorkspace<float>(ctx, n, second);
                      ASSERT_EQ(block.get(), previous);
                      second.copy(result.get(), block.get(), n * sizeof(float),
                                  cudaMemcpyDeviceToHost);
                      second.synchronize();
                      {
                          auto staging = zuli::acquirePinnedWorkspace<float>(ctx, n, first);
                          std::fill(staging.get(), staging.get() + n, 1.f);
                          first.copy(block.get(), staging.get(), n * sizeof(float),
                                     cudaMemcpyHostToDevice);
                      }
                      auto staging = zuli::acquirePinnedWorkspace<float>(ctx, n, second);
                      std::fill(staging.get(), staging.get() + n, 2.f);
                      first.synchronize();
                      cudalib::checkCuda(cudaMemcpy(seen.data(), block.get(), n * sizeof(float),
                                                    cudaMemcpyDeviceToHost));
                  }),
                  zuliNoError);
        EXPECT_EQ(std::vector<float>(result.get(), result.get() + n),
                  std::vector<float>(source.get(), source.get() + n));
        EXPECT_EQ(seen, std::vector<float>(n, 1.f));
    }
}

TEST_F(Memory, ScalarsAreConsecutiveViewsOfOneBoundedArray) {
    std::vector<zuli::DeviceBuffer<unsigned int>> held;
    auto acquire = [&] {
        return framed(
            [&](const zuli::CallContext& ctx) { held.push_back(zuli::acquireScalar(ctx)); });
    };
    for (int i = 0; i < 3; ++i) EXPECT_EQ(acquire(), zuliNoError);
    EXPECT_EQ(held[1].get(), held[0].get() + 1);
    EXPECT_EQ(held[2].get(), held[0].get() + 2);
    EXPECT_EQ(held[0].size(), 1u);
    unsigned int* second = held[1].get();
    held.erase(held.begin() + 1);
    EXPECT_EQ(acquire(), zuliNoError);
    EXPECT_EQ(held.back().get(), second) << "the first free entry is reused";
    while (held.size() < zuli::kScalarPoolCapacity) ASSERT_EQ(acquire(), zuliNoError);
    EXPECT_EQ(allocationLog().size(), 1u) << "one array serves every scalar";
    EXPECT_EQ(acquire(), zuliRuntimeError);
    EXPECT_EQ(zuliGetErrorInfo(), -1);
    // Releasing the registry while views are held keeps their memory valid.
    zuliFreeBuffers();
    EXPECT_EQ(cudaMemset(held.back().get(), 0, sizeof(unsigned int)), cudaSuccess);
}

TEST_F(Memory, AStreamExistsOnlyWhereCopiesCanOverlapKernels) {
    for (int engines : {1, 0}) {
        SCOPED_TRACE(engines);
        zuliShutdown();
        ASSERT_EQ(zuliEmuSetAsyncEngineCount(0, engines), 0);
        ASSERT_EQ(zuliInitialize(), zuliNoError);
        EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                      cudalib::Stream s(ctx);
                      EXPECT_EQ(s.isAsync(), engines > 0);
                      EXPECT_EQ(s.get() != nullptr, engines > 0);
                      // Without a stream, copies are complete when they return.
                      zuli::DeviceBuffer<int> d(4);
                      int in[4] = {1, 2, 3, 4}, out[4] = {};
                      s.copy(d.get(), in, sizeof in, cudaMemcpyHostToDevice);
                      s.copy(out, d.get(), sizeof out, cudaMemcpyDeviceToHost);
                      if (!engines) {
                          EXPECT_EQ(out[3], 4);
                      }
                  }),
                  zuliNoError);
    }
}

TEST_F(RuntimeTest, OptimalPitchChecksItsArgumentsAndAvoidsMultiplesOfTheStride) {
    int pitch = 0;
    EXPECT_EQ(zuliGetOptimalPitch(&pitch, 10, 10, 4), zuliNotInitialized);
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    struct Check {
        int* pitch;
        int rows, cols, elesize;
        zuliInfo info;
    };
    const Check checks[] = {
        {nullptr, 1, 1, 4, -1},  {&pitch, -1, 1, 4, -2},  {&pitch, 1, -1, 4, -3},
        {&pitch, 10, 10, 2, -4}, {&pitch, 10, 10, 12, -4}, {&pitch, 10, 10, 0, -4},
        {&pitch, -1, -1, 2, -2},
    };
    for (const Check& c : checks) {
        SCOPED_TRACE(testing::Message() << c.rows << " " << c.cols << " " << c.elesize);
        EXPECT_EQ(zuliGetOptimalPitch(c.pitch, c.rows, c.cols, c.elesize), zuliArgumentError);
        EXPECT_EQ(zuliGetErrorInfo(), c.info);
    }
    zuliShutdown();
    struct Row {
        int major, minor, rows, elesize, pitch;
    };
    const Row rows[] = {
        {3, 5, 0, 4, 96},      {3, 5, 500, 4, 576},  {3, 5, 1000, 4, 1056}, {3, 5, 512, 4, 576},
        {3, 5, 1536, 4, 1632}, {3, 5, 100, 8, 128},  {3, 5, 256, 8, 320},   {3, 5, 1, 16, 32},
        {3, 5, 128, 16, 160},  {1, 3, 1, 4, 32},     {1, 3, 384, 4, 416},   {1, 3, 192, 8, 240},
        {1, 3, 0, 16, 48},     {1, 3, 96, 16, 144},  {1, 2, 384, 4, 416},   {2, 0, 0, 4, 96},
        {9, 0, 1000, 8, 1088},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.major << "." << row.minor << " rows " << row.rows
                                        << " elesize " << row.elesize);
        ASSERT_EQ(zuliEmuSetComputeCapability(0, row.major, row.minor), 0);
        ASSERT_EQ(zuliInitialize(), zuliNoError);  // refreshes the capability cache
        EXPECT_EQ(zuliGetOptimalPitch(&pitch, row.rows, 77, row.elesize), zuliNoError);
        EXPECT_EQ(pitch, row.pitch);
        zuliShutdown();
    }
}

}  // namespace
}  // namespace runtime_test
