// Initialisation and shutdown: version checks, devices, registration of threads, tear-down, and
// the library under many threads at once.
#include "runtime_fixture.h"

#include <atomic>
#include <cstdlib>
#include <memory>
#include <vector>

namespace runtime_test {
namespace {

using Lifecycle = RuntimeTest;

TEST_F(Lifecycle, ShutdownWithoutInitialiseDoesNothing) {
    zuliShutdown();
    zuliShutdown();
    zuliFreeBuffers();
    EXPECT_FALSE(zuli::isInitialized());
    EXPECT_EQ(zuliInitialize(), zuliNoError);
}

TEST_F(Lifecycle, InitialiseRaisesTheFlagAndSetsTheOpenMpVariable) {
    ASSERT_EQ(setenv("KMP_DUPLICATE_LIB_OK", "FALSE", 1), 0);
    zuli::setLastInfo(12);
    EXPECT_EQ(zuliInitialize(), zuliNoError);
    EXPECT_TRUE(zuli::isInitialized());
    EXPECT_EQ(zuliGetErrorInfo(), 0);
    EXPECT_EQ(zuli::lastStatus(), zuliNoError);
    const char* value = std::getenv("KMP_DUPLICATE_LIB_OK");
    ASSERT_NE(value, nullptr);
    EXPECT_STREQ(value, "TRUE");
    EXPECT_TRUE(zuli::threadHasCublasHandle(0));
    zuliShutdown();
    EXPECT_FALSE(zuli::isInitialized());
    EXPECT_FALSE(zuli::threadHasCublasHandle(0));
}

TEST_F(Lifecycle, VersionChecks) {
    struct Row {
        int runtime, driver, cublas;
        zuliStatus expected;
    };
    const Row rows[] = {
        {6000, 5050, 130000, zuliInsufficientRuntime},   // driver too old
        {5050, 6000, 130000, zuliInsufficientRuntime},   // runtime too old
        {12000, 11080, 130000, zuliInsufficientRuntime}, // driver older than runtime
        {6000, 6000, 5999, zuliInsufficientRuntime},     // cuBLAS too old
        {6000, 6000, 6000, zuliNoError},                 // every minimum exactly
        {12080, 13000, 120800, zuliNoError},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.runtime << " " << row.driver << " " << row.cublas);
        zuliEmuSetVersions(row.runtime, row.driver, row.cublas);
        EXPECT_EQ(zuliInitialize(), row.expected);
        EXPECT_EQ(zuli::lastStatus(), row.expected);
        EXPECT_EQ(zuli::isInitialized(), row.expected == zuliNoError);
        EXPECT_EQ(zuli::lifecycleSnapshot().registeredThreads, row.expected == zuliNoError ? 1u : 0u)
            << "a failed initialisation leaves no registration behind";
        zuliShutdown();
    }
}

TEST_F(Lifecycle, ASecondInitialisationPerformsNoVersionCheck) {
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    zuliEmuSetVersions(5000, 5000, 5000);
    Worker other;
    EXPECT_EQ(other.run([] { return zuliInitialize(); }), zuliNoError);
    other.run([] { zuliShutdown(); });
    EXPECT_TRUE(zuli::isInitialized());
}

TEST_F(Lifecycle, NoUsableDeviceGivesNoHardware) {
    struct Row {
        const char* what;
        std::function<void()> configure;
    };
    const Row rows[] = {
        {"no device", [] { zuliEmuSetMode(ZULI_EMU_MODE_NO_DEVICE); }},
        {"no driver", [] { zuliEmuSetMode(ZULI_EMU_MODE_NO_DRIVER); }},
        {"emulation device", [] { zuliEmuSetComputeCapability(0, 9999, 9999); }},
        {"capability below 1.0", [] { zuliEmuSetComputeCapability(0, 0, 5); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        zuliEmuReset();
        row.configure();
        int count = -1;
        EXPECT_EQ(zuliGetDeviceCount(&count), zuliNoError);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(zuliInitialize(), zuliNoHardware);
        EXPECT_FALSE(zuli::isInitialized());
        EXPECT_EQ(zuli::lifecycleSnapshot().registeredThreads, 0u);
        EXPECT_EQ(zuliGetExecutingDevice(&count), zuliNotInitialized);
        EXPECT_EQ(cudaGetLastError(), cudaSuccess) << "the 'no GPU' answer is not left pending";
    }
}

TEST_F(Lifecycle, AFailedInitialisationDoesNotHoldTheLibrary) {
    {
        Worker failing;
        zuliEmuSetVersions(6000, 5050, 130000);
        EXPECT_EQ(failing.run([] { return zuliInitialize(); }), zuliInsufficientRuntime);
    }
    zuliEmuSetVersions(13000, 13000, 130000);
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    Worker failing;
    zuliEmuFailBlasCall("cublasCreate_v2", 1, CUBLAS_STATUS_NOT_INITIALIZED);
    EXPECT_EQ(failing.run([] { return zuliInitialize(); }), zuliBlasError);
    zuliShutdown();
    EXPECT_FALSE(zuli::isInitialized());
}

TEST_F(Lifecycle, AThreadIsRegisteredOnce) {
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    EXPECT_EQ(zuli::lifecycleSnapshot().registeredThreads, 1u);
    zuliShutdown();
    EXPECT_FALSE(zuli::isInitialized());
    int device = -1;
    EXPECT_EQ(zuliGetExecutingDevice(&device), zuliNotInitialized);
}

TEST_F(Lifecycle, TheLastRegisteredThreadEndsTheLibrary) {
    Worker first, second;
    ASSERT_EQ(first.run([] { return zuliInitialize(); }), zuliNoError);
    ASSERT_EQ(second.run([] { return zuliInitialize(); }), zuliNoError);
    EXPECT_EQ(zuli::lifecycleSnapshot().registeredThreads, 2u);

    first.run([] { zuliShutdown(); });
    EXPECT_TRUE(zuli::isInitialized());
    EXPECT_FALSE(first.run([] { return zuli::threadHasCublasHandle(0); }))
        << "a leaving thread releases its handles";
    auto work = [] {
        int device = -1;
        zuliStatus st = zuliGetExecutingDevice(&device);
        auto block = zuli::runDeviceRoutine<double>([](const zuli::CallContext& ctx) {
            zuli::DeviceBuffer<double> b = zuli::acquireWorkspace<double>(ctx, 100);
            cudalib::checkCuda(cudaMemset(b.get(), 0, 100 * sizeof(double)));
        });
        return st == zuliNoError && device == 0 && block.ok();
    };
    EXPECT_TRUE(second.run(work));

    second.run([] { zuliShutdown(); });
    EXPECT_FALSE(zuli::isInitialized());
    EXPECT_EQ(zuli::lifecycleSnapshot().registeredThreads, 0u);
    EXPECT_EQ(counters().liveDeviceBytes, 0u) << "the last shutdown empties the pools";
}

TEST_F(Lifecycle, InitialiseCreatesTheHandleOfTheCurrentDevice) {
    ASSERT_EQ(zuliEmuSetDeviceCount(3), 0);
    Worker worker;
    worker.run([] { ASSERT_EQ(cudaSetDevice(2), cudaSuccess); });
    EXPECT_EQ(worker.run([] { return zuliInitialize(); }), zuliNoError);
    EXPECT_TRUE(worker.run([] { return zuli::threadHasCublasHandle(2); }));
    EXPECT_FALSE(worker.run([] { return zuli::threadHasCublasHandle(0); }));
    worker.run([] { zuliShutdown(); });
}

// Threads that initialise and shut down while others call framed routines: no crash, no
// deadlock, only the statuses the state allows, and nothing left allocated at the end.
TEST_F(Lifecycle, ManyThreadsAtOnce) {
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, 7);
    const unsigned long long liveBefore = counters().liveDeviceBytes;
    constexpr int kCycling = 3, kCalling = 3, kRounds = 25;
    std::atomic<int> unexpected{0};
    std::atomic<bool> cyclingDone{false};

    auto framedWork = [&](int round) {
        return zuli::runDeviceRoutine<float>([&](const zuli::CallContext& ctx) {
            const int n = 1000 + round;
            cudalib::Stream stream(ctx);
            zuli::DeviceBuffer<float> block = zuli::acquireWorkspace<float>(ctx, n, stream);
            std::vector<float> in(n, float(round)), out(n, -1.f);
            stream.copy(block.get(), in.data(), n * sizeof(float), cudaMemcpyHostToDevice);
            float two = 2.f;
            cudalib::checkCublas(cublasSetStream_v2(ctx.handle, stream.get()));
            cudalib::checkCublas(cublasSscal_v2(ctx.handle, n, &two, block.get(), 1));
            cudalib::checkCublas(cublasSetStream_v2(ctx.handle, nullptr));
            stream.copy(out.data(), block.get(), n * sizeof(float), cudaMemcpyDeviceToHost);
            stream.synchronize();
            for (float v : out)
                if (v != 2.f * round) {
                    ++unexpected;
                    break;
                }
        });
    };

    std::vector<std::thread> threads;
    for (int t = 0; t < kCycling; ++t)
        threads.emplace_back([&, t] {
            for (int r = 0; r < kRounds; ++r) {
                if (zuliInitialize() != zuliNoError) ++unexpected;
                if (r % 2) zuliSelectDevice((t + r) % 2);
                if (!framedWork(r).ok()) ++unexpected;
                if (r % 5 == 0) zuliFreeBuffers();
                zuliShutdown();
            }
        });
    std::atomic<int> calls{0};
    for (int t = 0; t < kCalling; ++t)
        threads.emplace_back([&] {
            // Never initialise: these calls succeed while some thread holds the library, and are
            // refused with status 1 otherwise.
            for (int r = 0; !cyclingDone.load() || r < 5; ++r) {
                zuli::CallResult result = framedWork(r);
                if (result.status != zuliNoError && result.status != zuliNotInitialized)
                    ++unexpected;
                ++calls;
            }
        });
    for (int t = 0; t < kCycling; ++t) threads[t].join();
    cyclingDone = true;
    for (size_t t = kCycling; t < threads.size(); ++t) threads[t].join();

    EXPECT_EQ(unexpected.load(), 0);
    EXPECT_GT(calls.load(), 0);
    EXPECT_FALSE(zuli::isInitialized());
    // Blocks that calling threads still held during the last shutdown went back to the pools;
    // the next initialise-free-shutdown returns them.
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    zuliFreeBuffers();
    zuliShutdown();
    EXPECT_EQ(counters().liveDeviceBytes, liveBefore);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
}

}  // namespace
}  // namespace runtime_test
