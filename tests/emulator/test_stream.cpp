// Tests of the emulated GPU's streams, events and scheduler: deferred work, the legacy default
// stream's ordering, events, copy semantics of pageable and page-locked memory, queries, seeded
// order, failing work and many host threads.
#include <cuda_runtime.h>
#include <gtest/gtest.h>

#include "emu.h"
#include "zuli_emu.h"

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

class StreamTest : public ::testing::Test {
  protected:
    // These tests are about the deferred schedule itself: pin it whatever the environment says.
    void SetUp() override {
        zuliEmuReset();
        zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, 0x5eed);
    }
    void TearDown() override { zuliEmuReset(); }

    cudaStream_t stream(unsigned flags) {
        cudaStream_t s = nullptr;
        EXPECT_EQ(cudaStreamCreateWithFlags(&s, flags), cudaSuccess);
        return s;
    }
    float* deviceFloats(size_t n) {
        float* d = nullptr;
        EXPECT_EQ(cudaMalloc(&d, n * sizeof(float)), cudaSuccess);
        return d;
    }
    float* pinnedFloats(size_t n, float value) {
        float* h = nullptr;
        EXPECT_EQ(cudaMallocHost(&h, n * sizeof(float)), cudaSuccess);
        for (size_t i = 0; i < n; ++i) h[i] = value;
        return h;
    }
    // Reads one float of device memory with a synchronous copy on the legacy stream.
    float readLegacy(const float* d) {
        float x = 0;
        EXPECT_EQ(cudaMemcpy(&x, d, sizeof x, cudaMemcpyDeviceToHost), cudaSuccess);
        return x;
    }
};

TEST_F(StreamTest, LegacyStreamOrdersAgainstBlockingStreamsOnly) {
    cudaStream_t blocking = stream(cudaStreamDefault);
    cudaStream_t nonBlocking = stream(cudaStreamNonBlocking);
    float* h = pinnedFloats(1, 2.0f);
    float* a = deviceFloats(1);
    float* b = deviceFloats(1);
    ASSERT_EQ(cudaMemcpyAsync(a, h, sizeof(float), cudaMemcpyHostToDevice, blocking), cudaSuccess);
    ASSERT_EQ(cudaMemcpyAsync(b, h, sizeof(float), cudaMemcpyHostToDevice, nonBlocking),
              cudaSuccess);
    EXPECT_EQ(readLegacy(a), 2.0f) << "legacy work waits for earlier blocking-stream work";
    EXPECT_TRUE(std::isnan(readLegacy(b))) << "but not for non-blocking streams: stale data";
    ASSERT_EQ(cudaStreamSynchronize(nonBlocking), cudaSuccess);
    EXPECT_EQ(readLegacy(b), 2.0f);

    // The other direction: blocking-stream work waits for earlier legacy work.
    float* c = deviceFloats(1);
    float* e = deviceFloats(1);
    ASSERT_EQ(cudaMemsetAsync(c, 0, sizeof(float), nullptr), cudaSuccess);
    ASSERT_EQ(cudaMemsetAsync(e, 0, sizeof(float), nullptr), cudaSuccess);
    float* outBlocking = pinnedFloats(1, -1.0f);
    float* outNonBlocking = pinnedFloats(1, -1.0f);
    cudaMemcpyAsync(outNonBlocking, e, sizeof(float), cudaMemcpyDeviceToHost, nonBlocking);
    cudaMemcpyAsync(outBlocking, c, sizeof(float), cudaMemcpyDeviceToHost, blocking);
    ASSERT_EQ(cudaStreamSynchronize(nonBlocking), cudaSuccess);
    ASSERT_EQ(cudaStreamSynchronize(blocking), cudaSuccess);
    EXPECT_EQ(*outBlocking, 0.0f);
    EXPECT_TRUE(std::isnan(*outNonBlocking)) << "the memset on the legacy stream had not run";

    cudaDeviceSynchronize();
    for (void* p : {a, b, c, e}) cudaFree(p);
    for (float* p : {h, outBlocking, outNonBlocking}) cudaFreeHost(p);
    cudaStreamDestroy(blocking);
    cudaStreamDestroy(nonBlocking);
}

TEST_F(StreamTest, EventWaitOrdersTwoStreams) {
    for (bool wait : {false, true}) {
        cudaStream_t producer = stream(cudaStreamNonBlocking);
        cudaStream_t consumer = stream(cudaStreamNonBlocking);
        cudaEvent_t done;
        ASSERT_EQ(cudaEventCreateWithFlags(&done, cudaEventDisableTiming), cudaSuccess);
        float* h = pinnedFloats(1, 7.0f);
        float* out = pinnedFloats(1, 0.0f);
        float* d = deviceFloats(1);
        float* d2 = deviceFloats(1);
        cudaMemcpyAsync(d, h, sizeof(float), cudaMemcpyHostToDevice, producer);
        ASSERT_EQ(cudaEventRecord(done, producer), cudaSuccess);
        if (wait) {
            ASSERT_EQ(cudaStreamWaitEvent(consumer, done, 0), cudaSuccess);
        }
        cudaMemcpyAsync(d2, d, sizeof(float), cudaMemcpyDeviceToDevice, consumer);
        cudaMemcpyAsync(out, d2, sizeof(float), cudaMemcpyDeviceToHost, consumer);
        ASSERT_EQ(cudaStreamSynchronize(consumer), cudaSuccess);
        if (wait) {
            EXPECT_EQ(*out, 7.0f);
        } else {
            EXPECT_TRUE(std::isnan(*out));
        }
        cudaDeviceSynchronize();
        cudaEventDestroy(done);
        cudaFree(d), cudaFree(d2), cudaFreeHost(h), cudaFreeHost(out);
        cudaStreamDestroy(producer), cudaStreamDestroy(consumer);
    }
}

TEST_F(StreamTest, AsyncCopiesFromPinnedMemoryAreDeferredFromPageableStaged) {
    cudaStream_t s = stream(cudaStreamNonBlocking);
    float* pinned = pinnedFloats(1, 1.0f);
    std::vector<float> pageable(1, 1.0f);
    float* fromPinned = deviceFloats(1);
    float* fromPageable = deviceFloats(1);
    cudaMemcpyAsync(fromPinned, pinned, sizeof(float), cudaMemcpyHostToDevice, s);
    cudaMemcpyAsync(fromPageable, pageable.data(), sizeof(float), cudaMemcpyHostToDevice, s);
    *pinned = 2.0f;
    pageable[0] = 2.0f;
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(readLegacy(fromPinned), 2.0f) << "the pinned buffer is read when the copy runs";
    EXPECT_EQ(readLegacy(fromPageable), 1.0f) << "the pageable buffer was staged at the call";

    // D2H: into pinned memory deferred, into pageable memory complete on return.
    cudaMemsetAsync(fromPinned, 0, sizeof(float), s);
    float pageableOut = -1.0f;
    *pinned = -1.0f;
    cudaMemcpyAsync(pinned, fromPinned, sizeof(float), cudaMemcpyDeviceToHost, s);
    EXPECT_EQ(*pinned, -1.0f);
    cudaMemcpyAsync(&pageableOut, fromPinned, sizeof(float), cudaMemcpyDeviceToHost, s);
    EXPECT_EQ(pageableOut, 0.0f);
    EXPECT_EQ(*pinned, 0.0f) << "earlier work of the stream ran first";

    cudaFree(fromPinned), cudaFree(fromPageable), cudaFreeHost(pinned);
    cudaStreamDestroy(s);
}

TEST_F(StreamTest, SynchronousCopiesFollowTheRuntimesHostSynchronisation) {
    // Reads go through a non-blocking stream, which does not order against the legacy stream:
    // only work that completed before the call returned is visible there.
    cudaStream_t s = stream(cudaStreamNonBlocking);
    float* d = deviceFloats(1);
    float* d2 = deviceFloats(1);
    float* out = pinnedFloats(1, -1.0f);
    auto readNonBlocking = [&](float* p) {
        cudaMemcpyAsync(out, p, sizeof(float), cudaMemcpyDeviceToHost, s);
        cudaStreamSynchronize(s);
        return *out;
    };
    // Pageable H2D returns once staged; the device write is legacy-stream work.
    float one = 1.0f;
    ASSERT_EQ(cudaMemcpy(d, &one, sizeof one, cudaMemcpyHostToDevice), cudaSuccess);
    EXPECT_TRUE(std::isnan(readNonBlocking(d)));
    cudaDeviceSynchronize();
    // D2D and memset have no host synchronisation either.
    ASSERT_EQ(cudaMemcpy(d2, d, sizeof(float), cudaMemcpyDeviceToDevice), cudaSuccess);
    EXPECT_TRUE(std::isnan(readNonBlocking(d2)));
    ASSERT_EQ(cudaMemset(d, 0, sizeof(float)), cudaSuccess);
    EXPECT_EQ(readNonBlocking(d), 1.0f);
    // D2H completes before returning, after the legacy work before it.
    EXPECT_EQ(readLegacy(d2), 1.0f);
    EXPECT_EQ(readLegacy(d), 0.0f);
    // A synchronous copy waits for earlier blocking-stream work (legacy-stream ordering).
    cudaStream_t blocking = stream(cudaStreamDefault);
    ASSERT_EQ(cudaMemsetAsync(d, 0, sizeof(float), blocking), cudaSuccess);
    float two = 2.0f;
    ASSERT_EQ(cudaMemcpy(d2, &two, sizeof two, cudaMemcpyHostToDevice), cudaSuccess);
    ASSERT_EQ(cudaMemcpy(d2, d, sizeof(float), cudaMemcpyDeviceToDevice), cudaSuccess);
    EXPECT_EQ(readLegacy(d2), 0.0f);
    cudaDeviceSynchronize();
    cudaFree(d), cudaFree(d2), cudaFreeHost(out);
    cudaStreamDestroy(s), cudaStreamDestroy(blocking);
}

TEST_F(StreamTest, QueryReportsNotReadyOnceThenRunsTheWork) {
    cudaStream_t s = stream(cudaStreamNonBlocking);
    bool ran = false;
    ASSERT_EQ(emu::submit(s, "probe", [&] { ran = true; }), cudaSuccess);
    cudaEvent_t ev;
    cudaEventCreate(&ev);
    cudaEventRecord(ev, s);
    EXPECT_EQ(cudaStreamQuery(s), cudaErrorNotReady);
    EXPECT_EQ(cudaEventQuery(ev), cudaErrorNotReady);
    EXPECT_FALSE(ran);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess) << "not ready is a status, not an error";
    EXPECT_EQ(cudaEventQuery(ev), cudaSuccess);
    EXPECT_TRUE(ran);
    EXPECT_EQ(cudaStreamQuery(s), cudaSuccess);

    // A polling loop terminates.
    ran = false;
    emu::submit(s, "probe", [&] { ran = true; });
    int polls = 0;
    while (cudaStreamQuery(s) == cudaErrorNotReady) ++polls;
    EXPECT_EQ(polls, 1);
    EXPECT_TRUE(ran);
    cudaEventDestroy(ev);
    cudaStreamDestroy(s);
}

TEST_F(StreamTest, LazyScheduleRunsOnlyWhatIsWaitedFor) {
    cudaStream_t a = stream(cudaStreamNonBlocking);
    cudaStream_t b = stream(cudaStreamDefault);
    std::vector<std::string> order;
    emu::submit(a, "a1", [&] { order.push_back("a1"); });
    emu::submit(b, "b1", [&] { order.push_back("b1"); });
    emu::submit(a, "a2", [&] { order.push_back("a2"); });
    EXPECT_TRUE(order.empty());
    ASSERT_EQ(emu::waitStream(a), cudaSuccess);
    EXPECT_EQ(order, (std::vector<std::string>{"a1", "a2"}));
    // Legacy work waits for the blocking stream b, not for the non-blocking a.
    emu::submit(a, "a3", [&] { order.push_back("a3"); });
    emu::submit(nullptr, "legacy", [&] { order.push_back("legacy"); });
    ASSERT_EQ(cudaStreamSynchronize(cudaStreamLegacy), cudaSuccess);
    EXPECT_EQ(order, (std::vector<std::string>{"a1", "a2", "b1", "legacy"}));
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(order.back(), "a3");
    cudaStreamDestroy(a), cudaStreamDestroy(b);
}

TEST_F(StreamTest, EagerScheduleFromTheCallOrTheEnvironmentRunsWorkWhenSubmitted) {
    zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_EAGER, 1);
    cudaStream_t s = stream(cudaStreamNonBlocking);
    float* h = pinnedFloats(1, 3.0f);
    float* d = deviceFloats(1);
    cudaMemcpyAsync(d, h, sizeof(float), cudaMemcpyHostToDevice, s);
    EXPECT_EQ(readLegacy(d), 3.0f);
    EXPECT_EQ(cudaStreamQuery(s), cudaSuccess);
    cudaFree(d), cudaFreeHost(h);
    cudaStreamDestroy(s);

    // The environment chooses the schedule that a reset restores.
    const char* saved = std::getenv("ZULI_EMU_SCHEDULE");
    std::string savedValue = saved ? saved : "";
    for (const char* value : {"eager", "adversarial"}) {
        setenv("ZULI_EMU_SCHEDULE", value, 1);
        zuliEmuReset();
        bool ran = false;
        emu::submit(nullptr, "probe", [&] { ran = true; });
        EXPECT_EQ(ran, std::string(value) == "eager") << value;
        cudaDeviceSynchronize();
    }
    saved ? setenv("ZULI_EMU_SCHEDULE", savedValue.c_str(), 1) : unsetenv("ZULI_EMU_SCHEDULE");
}

TEST_F(StreamTest, ReadyWorkOfIndependentStreamsRunsInASeededOrder) {
    auto runOnce = [&](unsigned long long seed) {
        zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, seed);
        std::vector<cudaStream_t> streams(4);
        for (auto& s : streams) s = stream(cudaStreamNonBlocking);
        std::string order;
        for (int i = 0; i < 4; ++i)
            emu::submit(streams[i], "probe", [&order, i] { order += char('0' + i); });
        cudaDeviceSynchronize();
        for (auto s : streams) cudaStreamDestroy(s);
        return order;
    };
    std::set<std::string> orders;
    for (unsigned long long seed = 1; seed <= 24; ++seed) {
        std::string order = runOnce(seed);
        EXPECT_EQ(order.size(), 4u);
        EXPECT_EQ(runOnce(seed), order) << "the same seed gives the same order";
        orders.insert(order);
    }
    EXPECT_GE(orders.size(), 3u) << "different seeds must give different orders";
}

TEST_F(StreamTest, DestroyedStreamsPendingWorkStillCompletes) {
    cudaStream_t s = stream(cudaStreamNonBlocking);
    bool ran = false;
    emu::submit(s, "probe", [&] { ran = true; });
    ASSERT_EQ(cudaStreamDestroy(s), cudaSuccess);
    EXPECT_FALSE(ran);
    EXPECT_EQ(cudaStreamSynchronize(s), cudaErrorInvalidResourceHandle);
    EXPECT_EQ(emu::submit(s, "late", [] {}), cudaErrorInvalidResourceHandle);
    EXPECT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_TRUE(ran);
}

TEST_F(StreamTest, StreamAndEventArgumentChecks) {
    cudaStream_t s = nullptr;
    cudaEvent_t e = nullptr;
    unsigned flags = 99;
    auto bogusStream = reinterpret_cast<cudaStream_t>(0x1234);
    auto bogusEvent = reinterpret_cast<cudaEvent_t>(0x1234);
    EXPECT_EQ(cudaStreamCreateWithFlags(&s, 2), cudaErrorInvalidValue);
    EXPECT_EQ(cudaStreamCreateWithFlags(nullptr, 0), cudaErrorInvalidValue);
    ASSERT_EQ(cudaStreamCreateWithFlags(&s, cudaStreamNonBlocking), cudaSuccess);
    ASSERT_EQ(cudaStreamGetFlags(s, &flags), cudaSuccess);
    EXPECT_EQ(flags, unsigned(cudaStreamNonBlocking));
    int least = 1, greatest = 1, priority = 1;
    cudaStream_t urgent = nullptr;
    ASSERT_EQ(cudaDeviceGetStreamPriorityRange(&least, &greatest), cudaSuccess);
    ASSERT_EQ(cudaStreamCreateWithPriority(&urgent, 0, -100), cudaSuccess);
    ASSERT_EQ(cudaStreamGetPriority(urgent, &priority), cudaSuccess);
    EXPECT_EQ(priority, greatest) << "a priority beyond the range is clamped";

    struct {
        const char* what;
        cudaError_t got, expected;
    } const rows[] = {
        {"sync bogus stream", cudaStreamSynchronize(bogusStream), cudaErrorInvalidResourceHandle},
        {"query bogus stream", cudaStreamQuery(bogusStream), cudaErrorInvalidResourceHandle},
        {"destroy legacy", cudaStreamDestroy(nullptr), cudaErrorInvalidResourceHandle},
        {"flags bogus stream", cudaStreamGetFlags(bogusStream, &flags),
         cudaErrorInvalidResourceHandle},
        {"event bad flags", cudaEventCreateWithFlags(&e, 0x40), cudaErrorInvalidValue},
        {"interprocess needs no timing", cudaEventCreateWithFlags(&e, cudaEventInterprocess),
         cudaErrorInvalidValue},
        {"record bogus event", cudaEventRecord(bogusEvent, s), cudaErrorInvalidResourceHandle},
        {"wait bogus event", cudaStreamWaitEvent(s, bogusEvent, 0), cudaErrorInvalidResourceHandle},
        {"sync bogus event", cudaEventSynchronize(bogusEvent), cudaErrorInvalidResourceHandle},
        {"destroy bogus event", cudaEventDestroy(bogusEvent), cudaErrorInvalidResourceHandle},
    };
    for (const auto& row : rows) EXPECT_EQ(row.got, row.expected) << row.what;
    cudaGetLastError();

    // Elapsed time needs two recorded, completed, timed events.
    cudaEvent_t start, stop, untimed;
    cudaEventCreate(&start), cudaEventCreate(&stop);
    cudaEventCreateWithFlags(&untimed, cudaEventDisableTiming);
    float ms = -1;
    EXPECT_EQ(cudaEventElapsedTime(&ms, start, stop), cudaErrorInvalidResourceHandle);
    cudaEventRecord(start, s);
    emu::submit(s, "work", [] {});
    cudaEventRecord(stop, s);
    cudaEventRecord(untimed, s);
    EXPECT_EQ(cudaEventElapsedTime(&ms, start, stop), cudaErrorNotReady);
    ASSERT_EQ(cudaEventSynchronize(stop), cudaSuccess);
    ASSERT_EQ(cudaEventElapsedTime(&ms, start, stop), cudaSuccess);
    EXPECT_GE(ms, 0.0f);
    cudaEventSynchronize(untimed);
    EXPECT_EQ(cudaEventElapsedTime(&ms, start, untimed), cudaErrorInvalidResourceHandle);
    // An event never recorded is complete.
    cudaEvent_t fresh;
    cudaEventCreate(&fresh);
    EXPECT_EQ(cudaEventQuery(fresh), cudaSuccess);
    EXPECT_EQ(cudaEventSynchronize(fresh), cudaSuccess);
    for (cudaEvent_t ev : {start, stop, untimed, fresh}) cudaEventDestroy(ev);
    cudaStreamDestroy(s), cudaStreamDestroy(urgent);
}

TEST_F(StreamTest, PerThreadDefaultStreamsAreDistinctAndBlocking) {
    std::vector<std::string> order;
    std::thread([&] {
        emu::submit(cudaStreamPerThread, "other thread", [&] { order.push_back("other"); });
    }).join();
    emu::submit(cudaStreamPerThread, "this thread", [&] { order.push_back("this"); });
    ASSERT_EQ(cudaStreamSynchronize(cudaStreamPerThread), cudaSuccess);
    EXPECT_EQ(order, (std::vector<std::string>{"this"}));
    // Legacy work waits for both (they are blocking streams).
    emu::submit(nullptr, "legacy", [&] { order.push_back("legacy"); });
    cudaStreamSynchronize(nullptr);
    EXPECT_EQ(order, (std::vector<std::string>{"this", "other", "legacy"}));
}

TEST_F(StreamTest, EachDeviceHasItsOwnLegacyStreamAndStickyError) {
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    cudaStream_t onZero = stream(cudaStreamDefault);
    std::vector<std::string> order;
    emu::submit(onZero, "device 0", [&] { order.push_back("device 0"); });
    cudaSetDevice(1);
    EXPECT_EQ(emu::streamDevice(nullptr), 1);
    EXPECT_EQ(emu::streamDevice(onZero), 0);
    emu::submit(nullptr, "legacy 1", [&] { order.push_back("legacy 1"); });
    ASSERT_EQ(cudaStreamSynchronize(nullptr), cudaSuccess);
    EXPECT_EQ(order, (std::vector<std::string>{"legacy 1"}));
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(order.size(), 1u) << "device 1's synchronisation leaves device 0 alone";

    // A failure of work on device 0 poisons device 0 only, whichever thread forced it.
    zuliEmuSetStrict(0);
    emu::submit(onZero, "failing", [] { throw std::runtime_error("boom"); });
    EXPECT_EQ(cudaStreamSynchronize(onZero), cudaErrorLaunchFailure);
    EXPECT_EQ(cudaDeviceSynchronize(), cudaSuccess) << "device 1 is fine";
    cudaSetDevice(0);
    EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorLaunchFailure);
    cudaDeviceReset();
}

TEST_F(StreamTest, FailingWorkBecomesAStickyLaunchFailure) {
    cudaStream_t s = stream(cudaStreamNonBlocking);
    emu::submit(s, "throwing work", [] { throw std::runtime_error("boom"); });
    EXPECT_DEATH(cudaStreamSynchronize(s), "zuli_emu: throwing work: work failed: boom");

    zuliEmuSetStrict(0);
    bool later = false;
    emu::submit(s, "later", [&] { later = true; });
    EXPECT_EQ(cudaStreamSynchronize(s), cudaErrorLaunchFailure);
    EXPECT_FALSE(later) << "a failed context runs no more work";
    EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure);
    EXPECT_EQ(emu::submit(s, "rejected", [] {}), cudaErrorLaunchFailure);
    EXPECT_EQ(zuliEmuViolationCount(), 1u);
    // The scheduler is intact after a device reset.
    ASSERT_EQ(cudaDeviceReset(), cudaSuccess);
    bool ran = false;
    emu::submit(nullptr, "after", [&] { ran = true; });
    EXPECT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_TRUE(ran);
}

TEST_F(StreamTest, ManyHostThreadsAllocateCopyAndSynchronise) {
    constexpr int kThreads = 8, kRounds = 40, kCount = 1000;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            cudaStream_t s;
            if (cudaStreamCreateWithFlags(&s, t % 2 ? cudaStreamNonBlocking : 0) != cudaSuccess)
                ++failures;
            for (int r = 0; r < kRounds; ++r) {
                const size_t bytes = kCount * sizeof(float);
                float *d = nullptr, *h = nullptr;
                std::vector<float> in(kCount), out(kCount);
                for (int i = 0; i < kCount; ++i) in[i] = float(t * 100000 + r * 1000 + i);
                bool ok = cudaMalloc(&d, bytes) == cudaSuccess &&
                          cudaMallocHost(&h, bytes) == cudaSuccess &&
                          cudaMemcpyAsync(d, in.data(), bytes, cudaMemcpyHostToDevice, s) == 0 &&
                          cudaMemcpyAsync(h, d, bytes, cudaMemcpyDeviceToHost, s) == 0 &&
                          cudaStreamSynchronize(s) == cudaSuccess &&
                          std::equal(in.begin(), in.end(), h) &&
                          cudaMemcpy(out.data(), d, bytes, cudaMemcpyDeviceToHost) == 0 &&
                          out == in && cudaFree(d) == cudaSuccess && cudaFreeHost(h) == 0;
                if (!ok) ++failures;
            }
            cudaStreamDestroy(s);
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);
    zuliEmuCounters c;
    zuliEmuGetCounters(&c);
    EXPECT_EQ(c.h2dCopies, unsigned(kThreads * kRounds));
    EXPECT_EQ(c.liveDeviceBytes, 0u);
}

}  // namespace
