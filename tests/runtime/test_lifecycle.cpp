// Initialisation and shutdown: version checks, devices, registration of threads, tear-down, and
// the library under many threads at once.
#include "runtime_fixture.h"

#include <atomic>
#include <cstdlib>
#include <string>
#include <vector>

namespace runtime_test {
namespace {

using Lifecycle = RuntimeTest;

TEST_F(Lifecycle, InitialiseRegistersTheThreadOnceAndShutdownUndoesIt) {
    zuliShutdown();  // shutting down what was never initialised does nothing
    zuliFreeBuffers();
    EXPECT_FALSE(zuli::isInitialized());
    ASSERT_EQ(setenv("KMP_DUPLICATE_LIB_OK", "FALSE", 1), 0);
    zuli::setLastInfo(12);
    EXPECT_EQ(zuliInitialize(), zuliNoError);
    EXPECT_EQ(zuliInitialize(), zuliNoError);
    EXPECT_TRUE(zuli::isInitialized());
    EXPECT_EQ(zuli::lifecycleSnapshot().registeredThreads, 1u);
    EXPECT_EQ(zuliGetErrorInfo(), 0);
    EXPECT_EQ(zuli::lastStatus(), zuliNoError);
    const char* value = std::getenv("KMP_DUPLICATE_LIB_OK");
    ASSERT_NE(value, nullptr);
    EXPECT_STREQ(value, "TRUE");
    EXPECT_TRUE(zuli::threadHasCublasHandle(0));
    zuliShutdown();
    EXPECT_FALSE(zuli::isInitialized());
    EXPECT_FALSE(zuli::threadHasCublasHandle(0));
    int device = -1;
    EXPECT_EQ(zuliGetExecutingDevice(&device), zuliNotInitialized);
}

TEST_F(Lifecycle, VersionChecksAndMissingDevicesFailWithoutRegistering) {
    struct Row {
        const char* what;
        int runtime, driver, cublas;
        std::function<void()> configure;
        zuliStatus expected;
    };
    const auto none = [] {};
    const Row rows[] = {
        {"driver too old", 6000, 5050, 130000, none, zuliInsufficientRuntime},
        {"runtime too old", 5050, 6000, 130000, none, zuliInsufficientRuntime},
        {"driver older than runtime", 12000, 11080, 130000, none, zuliInsufficientRuntime},
        {"cuBLAS too old", 6000, 6000, 5999, none, zuliInsufficientRuntime},
        {"every minimum exactly", 6000, 6000, 6000, none, zuliNoError},
        {"current", 12080, 13000, 120800, none, zuliNoError},
        {"no device", 13000, 13000, 130000, [] { zuliEmuSetMode(ZULI_EMU_MODE_NO_DEVICE); },
         zuliNoHardware},
        {"no driver", 13000, 13000, 130000, [] { zuliEmuSetMode(ZULI_EMU_MODE_NO_DRIVER); },
         zuliNoHardware},
        {"emulation device", 13000, 13000, 130000,
         [] { zuliEmuSetComputeCapability(0, 9999, 9999); }, zuliNoHardware},
        {"capability below 1.0", 13000, 13000, 130000, [] { zuliEmuSetComputeCapability(0, 0, 5); },
         zuliNoHardware},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        zuliEmuReset();
        zuliEmuSetVersions(row.runtime, row.driver, row.cublas);
        row.configure();
        const bool ok = row.expected == zuliNoError;
        if (row.expected == zuliNoHardware) {
            int count = -1;
            EXPECT_EQ(zuliGetDeviceCount(&count), zuliNoError);
            EXPECT_EQ(count, 0);
        }
        EXPECT_EQ(zuliInitialize(), row.expected);
        EXPECT_EQ(zuli::lastStatus(), row.expected);
        EXPECT_EQ(zuli::isInitialized(), ok);
        EXPECT_EQ(zuli::lifecycleSnapshot().registeredThreads, ok ? 1u : 0u);
        // Nothing is left pending; a runtime without a driver or device reports that for good.
        const std::string what = row.what;
        EXPECT_EQ(cudaGetLastError(), what == "no device"   ? cudaErrorNoDevice
                                      : what == "no driver" ? cudaErrorInsufficientDriver
                                                            : cudaSuccess);
        zuliShutdown();
    }
}

TEST_F(Lifecycle, OnlyTheFirstInitialisationChecksAndFailuresDoNotHoldTheLibrary) {
    {
        Worker failing;
        zuliEmuSetVersions(6000, 5050, 130000);
        EXPECT_EQ(failing.run([] { return zuliInitialize(); }), zuliInsufficientRuntime);
    }
    zuliEmuSetVersions(13000, 13000, 130000);
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    zuliEmuSetVersions(5000, 5000, 5000);
    Worker other;
    EXPECT_EQ(other.run([] { return zuliInitialize(); }), zuliNoError);
    other.run([] { zuliShutdown(); });
    Worker failing;
    zuliEmuFailBlasCall("cublasCreate_v2", 1, CUBLAS_STATUS_NOT_INITIALIZED);
    EXPECT_EQ(failing.run([] { return zuliInitialize(); }), zuliBlasError);
    EXPECT_TRUE(zuli::isInitialized());
    zuliShutdown();
    EXPECT_FALSE(zuli::isInitialized());
}

TEST_F(Lifecycle, TheLastRegisteredThreadEndsTheLibrary) {
    ASSERT_EQ(zuliEmuSetDeviceCount(3), 0);
    Worker first, second;
    first.run([] { ASSERT_EQ(cudaSetDevice(2), cudaSuccess); });
    ASSERT_EQ(first.run([] { return zuliInitialize(); }), zuliNoError);
    ASSERT_EQ(second.run([] { return zuliInitialize(); }), zuliNoError);
    EXPECT_EQ(zuli::lifecycleSnapshot().registeredThreads, 2u);
    EXPECT_TRUE(first.run([] { return zuli::threadHasCublasHandle(2); }))
        << "initialise creates the handle of the current device";
    EXPECT_FALSE(first.run([] { return zuli::threadHasCublasHandle(0); }));

    first.run([] { zuliShutdown(); });
    EXPECT_TRUE(zuli::isInitialized());
    EXPECT_FALSE(first.run([] { return zuli::threadHasCublasHandle(2); }))
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

// Threads that initialise and shut down while others call framed routines: no crash, no
// deadlock, only the statuses the state allows, and nothing left allocated at the end.
TEST_F(Lifecycle, ManyThreadsAtOnce) {
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, 7);
    const unsigned long long liveBefore = counters().liveDeviceBytes;
    constexpr int kCycling = 3, kCalling = 3, kRounds = 20;
    std::atomic<int> unexpected{0}, calls{0};
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
            if (out != std::vector<float>(n, 2.f * round)) ++unexpected;
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
