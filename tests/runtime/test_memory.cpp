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

    static std::vector<unsigned long long> allocationLog() {
        std::vector<unsigned long long> sizes(zuliEmuDeviceAllocationLog(nullptr, 0));
        zuliEmuDeviceAllocationLog(sizes.data(), sizes.size());
        return sizes;
    }

    static std::vector<size_t> capacities(const std::vector<zuli::PoolBlockInfo>& blocks) {
        std::vector<size_t> out;
        for (const auto& b : blocks) out.push_back(b.capacity);
        return out;
    }
};

constexpr size_t kLarge = 2097152, kSmall = 1048576, kMinimum = 262144;

// ---- buffers ----------------------------------------------------------------------------------------

TEST_F(Memory, BuffersAreFreedWithTheirLastHandle) {
    zuli::DeviceBuffer<double> copy;
    {
        zuli::DeviceBuffer<double> buffer(10, 20, 3);
        EXPECT_EQ(buffer.size(), 600u);
        EXPECT_EQ(counters().liveDeviceBytes, 600 * sizeof(double));
        copy = buffer;
        EXPECT_EQ(copy.get(), buffer.get());
        EXPECT_EQ(buffer.useCount(), 2);
    }
    EXPECT_EQ(counters().deviceFrees, 0u);
    copy.reset();
    EXPECT_EQ(counters().deviceFrees, 1u);
    EXPECT_EQ(counters().liveDeviceBytes, 0u);

    // A view neither owns nor frees, but keeps what it views alive.
    zuli::DeviceBuffer<double> view;
    {
        zuli::DeviceBuffer<double> owner(64);
        view = zuli::DeviceBuffer<double>::view(owner.get() + 8, 1, owner.keepAlive());
        EXPECT_FALSE(view.owning());
    }
    EXPECT_EQ(counters().deviceFrees, 1u);
    view.reset();
    EXPECT_EQ(counters().deviceFrees, 2u);

    EXPECT_TRUE(zuli::DeviceBuffer<float>(0).empty());
}

TEST_F(Memory, PitchedBuffersHaveAnAlignedPitch) {
    cudalib::ManagedMemory<zuli::Complex<float>, cudalib::CudaPitchAllocator<zuli::Complex<float>>>
        m(100, 7, 2);
    EXPECT_EQ(m.size(), 1400u);
    EXPECT_GE(m.pitchBytes(), 100 * sizeof(zuli::Complex<float>));
    EXPECT_EQ(m.pitchBytes() % 512, 0u) << "the emulated device's pitch alignment";
    EXPECT_EQ(m.ld(), m.pitchBytes() / sizeof(zuli::Complex<float>));
    // The whole pitched extent is writable device memory.
    EXPECT_EQ(cudaMemset2D(m.get(), m.pitchBytes(), 0, 100 * 8, 14), cudaSuccess);
}

// ---- work-space pools ----------------------------------------------------------------------------

TEST_F(Memory, FirstRequestWarmsThePoolUpAndIsRoundedToTheMinimumBlock) {
    zuli::DeviceBuffer<float> block;
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                  block = zuli::acquireWorkspace<float>(ctx, 1);
              }),
              zuliNoError);
    const std::vector<unsigned long long> expected = {kLarge * 4, kSmall * 4, kSmall * 4,
                                                      kSmall * 4, kSmall * 4};
    EXPECT_EQ(allocationLog(), expected);
    EXPECT_GE(block.size(), kMinimum);

    // Each element type has its own pool.
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                  zuli::acquireWorkspace<zuli::Complex<double>>(ctx, 5);
              }),
              zuliNoError);
    EXPECT_EQ(allocationLog().size(), 10u);
    EXPECT_EQ(allocationLog()[5], kLarge * 16);
}

TEST_F(Memory, BestFitPrefersTheSmallestSufficientAndTheEarlierBlock) {
    std::vector<zuli::DeviceBuffer<float>> held;
    auto take = [&](int64_t n) {
        zuli::DeviceBuffer<float> b;
        EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                      b = zuli::acquireWorkspace<float>(ctx, n);
                  }),
                  zuliNoError);
        held.push_back(b);
        return b.get();
    };
    take(500);
    std::vector<zuli::PoolBlockInfo> pool = zuli::workspacePoolBlocks<float>(0);
    ASSERT_EQ(capacities(pool), (std::vector<size_t>{kLarge, kSmall, kSmall, kSmall, kSmall}));
    EXPECT_TRUE(pool[1].inUse) << "the first of the equal small blocks";
    EXPECT_FALSE(pool[0].inUse);

    take(kMinimum + 1);      // the next small block
    float* large = take(kSmall + 1);  // only the large block fits
    pool = zuli::workspacePoolBlocks<float>(0);
    EXPECT_TRUE(pool[0].inUse && pool[2].inUse && !pool[3].inUse);

    take(3000000);  // nothing fits: a new block of exactly the request
    EXPECT_EQ(allocationLog().back(), 3000000ull * 4);
    EXPECT_EQ(zuli::workspacePoolBlocks<float>(0).back().capacity, 3000000u);

    // Released blocks are found again: the large one for a large request, and of the two free
    // small blocks the earlier one.
    held.erase(held.begin() + 1);  // the block at pool position 2
    held.erase(held.begin() + 1);  // the large block
    EXPECT_EQ(take(kLarge), large);
    take(1);
    pool = zuli::workspacePoolBlocks<float>(0);
    EXPECT_TRUE(pool[2].inUse);
    EXPECT_FALSE(pool[3].inUse);
    EXPECT_EQ(allocationLog().size(), 6u) << "no allocation beyond warm-up and the 3M block";
}

TEST_F(Memory, RequestsOfNothingOrLessThanNothing) {
    EXPECT_EQ(framed([](const zuli::CallContext& ctx) {
                  EXPECT_TRUE(zuli::acquireWorkspace<int>(ctx, 0).empty());
              }),
              zuliNoError);
    EXPECT_EQ(allocationLog().size(), 0u);
    EXPECT_EQ(framed([](const zuli::CallContext& ctx) { zuli::acquireWorkspace<int>(ctx, -1); }),
              zuliRuntimeError);
    EXPECT_EQ(zuliGetErrorInfo(), -1);
}

TEST_F(Memory, AFailedAllocationTrimsTheFreeBlocksAndRetries) {
    EXPECT_EQ(framed([](const zuli::CallContext& ctx) { zuli::acquireWorkspace<double>(ctx, 1); }),
              zuliNoError);
    const unsigned long long freesBefore = counters().deviceFrees;
    zuliEmuFailDeviceAlloc(1);
    zuli::DeviceBuffer<double> big;
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                  big = zuli::acquireWorkspace<double>(ctx, 3000000);
              }),
              zuliNoError)
        << "a failure the pool recovered from is not reported";
    EXPECT_EQ(counters().deviceFrees - freesBefore, 5u);
    EXPECT_EQ(capacities(zuli::workspacePoolBlocks<double>(0)), std::vector<size_t>{3000000});

    // With every block in use nothing can be dropped: the failure reaches the caller.
    zuliEmuFailDeviceAlloc(1);
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                  zuli::acquireWorkspace<double>(ctx, 3000000);
              }),
              zuliInsufficientMemory);
    EXPECT_EQ(zuliGetErrorInfo(), 0);
    EXPECT_EQ(framed([](const zuli::CallContext&) {}), zuliNoError);
}

TEST_F(Memory, ADeviceTooSmallForTheWarmUpStillServesRequests) {
    zuliEmuFailDeviceAlloc(2);  // the second warm-up block cannot be had
    zuli::DeviceBuffer<int> block;
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                  block = zuli::acquireWorkspace<int>(ctx, 10);
              }),
              zuliNoError);
    EXPECT_EQ(capacities(zuli::workspacePoolBlocks<int>(0)), std::vector<size_t>{kLarge});
    EXPECT_EQ(block.size(), kLarge);
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

// A block released by one stream's call and handed to another stream must not be read by the
// new stream before the old stream's pending write lands.
TEST_F(Memory, ABlockChangingStreamsIsOrderedAfterItsPreviousWork) {
    constexpr size_t n = 4096;
    for (unsigned long long seed = 1; seed <= 8; ++seed) {
        SCOPED_TRACE(seed);
        zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, seed);
        zuli::PinnedBuffer<float> source(n), result(n);
        std::iota(source.get(), source.get() + n, float(seed));
        std::fill(result.get(), result.get() + n, -1.f);
        EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                      cudalib::Stream writer(ctx), reader(ctx);
                      float* first;
                      {
                          auto block = zuli::acquireWorkspace<float>(ctx, n, writer);
                          first = block.get();
                          writer.copy(block.get(), source.get(), n * sizeof(float),
                                      cudaMemcpyHostToDevice);
                      }
                      auto block = zuli::acquireWorkspace<float>(ctx, n, reader);
                      ASSERT_EQ(block.get(), first);
                      reader.copy(result.get(), block.get(), n * sizeof(float),
                                  cudaMemcpyDeviceToHost);
                      reader.synchronize();
                  }),
                  zuliNoError);
        EXPECT_EQ(std::vector<float>(result.get(), result.get() + n),
                  std::vector<float>(source.get(), source.get() + n));
    }
}

// A page-locked block is written by the host as soon as it is handed out: its previous stream's
// pending copy out of it must be complete by then.
TEST_F(Memory, APageLockedBlockIsHandedOutOnlyAfterItsPreviousWork) {
    constexpr size_t n = 4096;
    for (unsigned long long seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE(seed);
        zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, seed);
        std::vector<float> seen(n, -1.f);
        EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                      cudalib::Stream first(ctx), second(ctx);
                      zuli::DeviceBuffer<float> device(n);
                      {
                          auto staging = zuli::acquirePinnedWorkspace<float>(ctx, n, first);
                          std::fill(staging.get(), staging.get() + n, 1.f);
                          first.copy(device.get(), staging.get(), n * sizeof(float),
                                     cudaMemcpyHostToDevice);
                      }
                      auto staging = zuli::acquirePinnedWorkspace<float>(ctx, n, second);
                      std::fill(staging.get(), staging.get() + n, 2.f);
                      first.synchronize();
                      cudalib::checkCuda(cudaMemcpy(seen.data(), device.get(), n * sizeof(float),
                                                    cudaMemcpyDeviceToHost));
                  }),
                  zuliNoError);
        EXPECT_EQ(seen, std::vector<float>(n, 1.f));
    }
}

// ---- scalar pool ----------------------------------------------------------------------------------

TEST_F(Memory, ScalarsAreConsecutiveViewsOfOneArray) {
    std::vector<zuli::DeviceBuffer<unsigned int>> held;
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                  for (int i = 0; i < 3; ++i) held.push_back(zuli::acquireScalar(ctx));
              }),
              zuliNoError);
    ASSERT_EQ(held.size(), 3u);
    EXPECT_EQ(held[1].get(), held[0].get() + 1);
    EXPECT_EQ(held[2].get(), held[0].get() + 2);
    EXPECT_EQ(held[0].size(), 1u);
    unsigned int* second = held[1].get();
    held.erase(held.begin() + 1);
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) { held.push_back(zuli::acquireScalar(ctx)); }),
              zuliNoError);
    EXPECT_EQ(held.back().get(), second) << "the first free entry is reused";
    EXPECT_EQ(allocationLog().size(), 1u) << "one array serves every scalar";
}

TEST_F(Memory, AnExhaustedScalarPoolIsARuntimeError) {
    std::vector<zuli::DeviceBuffer<unsigned int>> held;
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) {
                  for (size_t i = 0; i < zuli::kScalarPoolCapacity; ++i)
                      held.push_back(zuli::acquireScalar(ctx));
              }),
              zuliNoError);
    EXPECT_EQ(framed([&](const zuli::CallContext& ctx) { zuli::acquireScalar(ctx); }),
              zuliRuntimeError);
    EXPECT_EQ(zuliGetErrorInfo(), -1);
    // Releasing the registry while views are held keeps their memory valid.
    zuliFreeBuffers();
    EXPECT_EQ(cudaMemset(held.back().get(), 0, sizeof(unsigned int)), cudaSuccess);
}

// ---- streams --------------------------------------------------------------------------------------

TEST_F(Memory, AStreamExistsOnlyWhereCopiesCanOverlapKernels) {
    EXPECT_EQ(framed([](const zuli::CallContext& ctx) {
                  cudalib::Stream s(ctx);
                  EXPECT_TRUE(s.isAsync());
                  EXPECT_NE(s.get(), nullptr);
              }),
              zuliNoError);
    zuliShutdown();
    ASSERT_EQ(zuliEmuSetAsyncEngineCount(0, 0), 0);
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    EXPECT_EQ(framed([](const zuli::CallContext& ctx) {
                  cudalib::Stream s(ctx);
                  EXPECT_FALSE(s.isAsync());
                  EXPECT_EQ(s.get(), nullptr);
                  // Copies through handle 0 are complete when they return.
                  zuli::DeviceBuffer<int> d(4);
                  int in[4] = {1, 2, 3, 4}, out[4] = {};
                  s.copy(d.get(), in, sizeof in, cudaMemcpyHostToDevice);
                  s.copy(out, d.get(), sizeof out, cudaMemcpyDeviceToHost);
                  EXPECT_EQ(out[3], 4);
              }),
              zuliNoError);
}

// ---- optimal pitch --------------------------------------------------------------------------------

TEST_F(RuntimeTest, OptimalPitchArgumentChecks) {
    int pitch = 0;
    EXPECT_EQ(zuliGetOptimalPitch(&pitch, 10, 10, 4), zuliNotInitialized);
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    struct Row {
        int* pitch;
        int rows, cols, elesize;
        zuliInfo info;
    };
    const Row rows[] = {
        {nullptr, 1, 1, 4, -1}, {&pitch, -1, 1, 4, -2}, {&pitch, 1, -1, 4, -3},
        {&pitch, 10, 10, 2, -4}, {&pitch, 10, 10, 12, -4}, {&pitch, 10, 10, 0, -4},
        {&pitch, -1, -1, 2, -2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.rows << " " << row.cols << " " << row.elesize);
        EXPECT_EQ(zuliGetOptimalPitch(row.pitch, row.rows, row.cols, row.elesize),
                  zuliArgumentError);
        EXPECT_EQ(zuliGetErrorInfo(), row.info);
    }
}

TEST_F(RuntimeTest, OptimalPitchAvoidsMultiplesOfTheStride) {
    struct Row {
        int major, minor;
        int rows, elesize;
        int pitch;
    };
    const Row rows[] = {
        {3, 5, 0, 4, 96},     {3, 5, 500, 4, 576},  {3, 5, 1000, 4, 1056}, {3, 5, 512, 4, 576},
        {3, 5, 1536, 4, 1632}, {3, 5, 100, 8, 128}, {3, 5, 256, 8, 320},   {3, 5, 1, 16, 32},
        {3, 5, 128, 16, 160},  {1, 3, 1, 4, 32},    {1, 3, 384, 4, 416},   {1, 3, 192, 8, 240},
        {1, 3, 0, 16, 48},     {1, 3, 96, 16, 144}, {1, 2, 384, 4, 416},   {2, 0, 0, 4, 96},
        {9, 0, 1000, 8, 1088},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.major << "." << row.minor << " rows " << row.rows
                                        << " elesize " << row.elesize);
        ASSERT_EQ(zuliEmuSetComputeCapability(0, row.major, row.minor), 0);
        ASSERT_EQ(zuliInitialize(), zuliNoError);  // refreshes the capability cache
        int pitch = -1;
        EXPECT_EQ(zuliGetOptimalPitch(&pitch, row.rows, 77, row.elesize), zuliNoError);
        EXPECT_EQ(pitch, row.pitch);
        zuliShutdown();
    }
}

}  // namespace
}  // namespace runtime_test
