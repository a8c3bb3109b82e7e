// The emulated GPU's streams, events and scheduler: deferred work, the legacy default stream's
// ordering, events, copy semantics of pageable and page-locked memory, queries, the seeded
// order, failing work and many host threads.
#include "emu_test_support.h"

#include <cuda_runtime.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace emutest {
namespace {

class StreamTest : public EmuTest {
  protected:
    // Reads one float through a stream of its own that orders against no other: only work that
    // has already run is visible.
    void TearDown() override {
        if (side_) cudaStreamDestroy(side_), cudaFreeHost(out_);
        EmuTest::TearDown();
    }
    float readAround(const float* d) {
        if (!side_) {
            side_ = newStream(cudaStreamNonBlocking);
            out_ = pinnedAlloc(1, -1.0f);
        }
        EXPECT_EQ(cudaMemcpyAsync(out_, d, sizeof(float), cudaMemcpyDeviceToHost, side_), 0);
        EXPECT_EQ(cudaStreamSynchronize(side_), cudaSuccess);
        return *out_;
    }

  private:
    cudaStream_t side_ = nullptr;
    float* out_ = nullptr;
};

// Work runs only when waited for, and then only what the wait needs. Legacy-stream work waits for
// earlier work of blocking streams (per-thread default streams included), not of non-blocking
// ones; blocking-stream work waits for earlier legacy work.
TEST_F(StreamTest, LegacyStreamOrdersAgainstBlockingStreamsOnly) {
    cudaStream_t blocking = newStream(cudaStreamDefault);
    cudaStream_t nonBlocking = newStream(cudaStreamNonBlocking);
    Probes p;
    p.on(nonBlocking, 'n'), p.on(blocking, 'b'), p.on(nonBlocking, 'N');
    EXPECT_EQ(p.log, "");
    ASSERT_EQ(emu::waitStream(nonBlocking), cudaSuccess);
    EXPECT_EQ(p.log, "nN");
    std::thread([&] { p.on(cudaStreamPerThread, 'o'); }).join();
    p.on(cudaStreamPerThread, 't'), p.on(nonBlocking, 'm');
    ASSERT_EQ(cudaStreamSynchronize(cudaStreamPerThread), cudaSuccess);
    EXPECT_EQ(p.log, "nNt") << "each host thread has its own per-thread stream";
    p.on(nullptr, 'L');
    ASSERT_EQ(cudaStreamSynchronize(cudaStreamLegacy), cudaSuccess);
    EXPECT_TRUE(p.log == "nNtboL" || p.log == "nNtobL") << p.log;

    p.log.clear();
    p.on(nullptr, 'l'), p.on(nonBlocking, 'x');
    ASSERT_EQ(cudaStreamSynchronize(nonBlocking), cudaSuccess);
    EXPECT_EQ(p.log, "mx");
    p.on(blocking, 'c');
    ASSERT_EQ(cudaStreamSynchronize(blocking), cudaSuccess);
    EXPECT_EQ(p.log, "mxlc");
    cudaStreamDestroy(blocking), cudaStreamDestroy(nonBlocking);
}

TEST_F(StreamTest, EventWaitOrdersTwoStreams) {
    for (bool wait : {false, true}) {
        cudaStream_t producer = newStream(cudaStreamNonBlocking);
        cudaStream_t consumer = newStream(cudaStreamNonBlocking);
        cudaEvent_t done;
        ASSERT_EQ(cudaEventCreateWithFlags(&done, cudaEventDisableTiming), cudaSuccess);
        Probes p;
        p.on(producer, 'p');
        ASSERT_EQ(cudaEventRecord(done, producer), cudaSuccess);
        EXPECT_EQ(wait ? cudaStreamWaitEvent(consumer, done, 0) : cudaSuccess, cudaSuccess);
        p.on(consumer, 'c');
        ASSERT_EQ(cudaStreamSynchronize(consumer), cudaSuccess);
        EXPECT_EQ(p.log, wait ? "pc" : "c");
        cudaDeviceSynchronize();
        cudaEventDestroy(done), cudaStreamDestroy(producer), cudaStreamDestroy(consumer);
    }
}

// Async copies of page-locked host memory read or write it when they run; a pageable source is
// staged at the call (the device write still waits for the stream); a pageable destination is
// complete on return, after the stream's earlier work.
TEST_F(StreamTest, AsyncCopiesDeferPageLockedMemoryAndStagePageableMemory) {
    cudaStream_t s = newStream(cudaStreamNonBlocking);
    float* pinned = pinnedAlloc(1, 1.0f);
    float pageable = 1.0f;
    float *fromPinned = deviceAlloc(1), *fromPageable = deviceAlloc(1);
    cudaMemcpyAsync(fromPinned, pinned, sizeof(float), cudaMemcpyHostToDevice, s);
    cudaMemcpyAsync(fromPageable, &pageable, sizeof(float), cudaMemcpyHostToDevice, s);
    *pinned = 2.0f, pageable = 2.0f;
    EXPECT_TRUE(std::isnan(readAround(fromPageable)));
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(readDevice(fromPinned), 2.0f);
    EXPECT_EQ(readDevice(fromPageable), 1.0f);

    cudaMemsetAsync(fromPinned, 0, sizeof(float), s);
    float pageableOut = -1.0f;
    *pinned = -1.0f;
    cudaMemcpyAsync(pinned, fromPinned, sizeof(float), cudaMemcpyDeviceToHost, s);
    EXPECT_EQ(*pinned, -1.0f);
    cudaMemcpyAsync(&pageableOut, fromPinned, sizeof(float), cudaMemcpyDeviceToHost, s);
    EXPECT_EQ(pageableOut, 0.0f);
    EXPECT_EQ(*pinned, 0.0f) << "earlier work of the stream ran first";
    cudaFree(fromPinned), cudaFree(fromPageable), cudaFreeHost(pinned), cudaStreamDestroy(s);
}

// Synchronous copies synchronise with the host no more than the runtime documents: a pageable
// H2D copy returns once staged (the device write is legacy work), D2D copies and memsets do not
// wait, D2H and H2H copies complete before returning, after earlier legacy and blocking work.
TEST_F(StreamTest, SynchronousCopiesFollowTheRuntimesHostSynchronisation) {
    float *d = deviceAlloc(1), *d2 = deviceAlloc(1);
    float one = 1.0f, copied = 0.0f;
    ASSERT_EQ(cudaMemcpy(d, &one, sizeof one, cudaMemcpyHostToDevice), cudaSuccess);
    EXPECT_TRUE(std::isnan(readAround(d)));
    cudaDeviceSynchronize();
    ASSERT_EQ(cudaMemcpy(d2, d, sizeof(float), cudaMemcpyDeviceToDevice), cudaSuccess);
    EXPECT_TRUE(std::isnan(readAround(d2)));
    ASSERT_EQ(cudaMemset(d, 0, sizeof(float)), cudaSuccess);
    EXPECT_EQ(readAround(d), 1.0f);
    EXPECT_EQ(readDevice(d2), 1.0f);
    EXPECT_EQ(readDevice(d), 0.0f);
    ASSERT_EQ(cudaMemcpy(&copied, &one, sizeof one, cudaMemcpyHostToHost), cudaSuccess);
    EXPECT_EQ(copied, 1.0f);
    cudaStream_t blocking = newStream(cudaStreamDefault);
    float* two = pinnedAlloc(1, 2.0f);
    ASSERT_EQ(cudaMemcpyAsync(d, two, sizeof(float), cudaMemcpyHostToDevice, blocking), 0);
    EXPECT_EQ(readDevice(d), 2.0f);
    cudaFree(d), cudaFree(d2), cudaFreeHost(two), cudaStreamDestroy(blocking);
}

// A query of pending work answers NotReady once (a status, not an error), then runs the work.
TEST_F(StreamTest, QueryReportsNotReadyOnceThenRunsTheWork) {
    cudaStream_t s = newStream(cudaStreamNonBlocking);
    cudaEvent_t ev;
    cudaEventCreate(&ev);
    Probes p;
    p.on(s, 'a');
    cudaEventRecord(ev, s);
    EXPECT_EQ(cudaStreamQuery(s), cudaErrorNotReady);
    EXPECT_EQ(cudaEventQuery(ev), cudaErrorNotReady);
    EXPECT_EQ(p.log, "");
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(cudaEventQuery(ev), cudaSuccess);
    EXPECT_EQ(p.log, "a");
    EXPECT_EQ(cudaStreamQuery(s), cudaSuccess);
    p.on(s, 'b');
    int polls = 0;
    while (cudaStreamQuery(s) == cudaErrorNotReady) ++polls;
    EXPECT_EQ(polls, 1);
    EXPECT_EQ(p.log, "ab");
    cudaEventDestroy(ev), cudaStreamDestroy(s);
}

// Under the eager schedule, chosen by the call or by the environment for the reset to restore,
// work has run when its submission returns.
TEST_F(StreamTest, EagerScheduleRunsWorkWhenSubmitted) {
    const char* saved = std::getenv("ZULI_EMU_SCHEDULE");
    const std::string savedValue = saved ? saved : "";
    for (const char* value : {"", "eager", "adversarial"}) {
        if (*value) {
            setenv("ZULI_EMU_SCHEDULE", value, 1);
            zuliEmuReset();
        } else {
            zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_EAGER, 1);
        }
        Probes p;
        p.on(nullptr, 'a');
        EXPECT_EQ(p.log, std::string(value) == "adversarial" ? "" : "a") << value;
        cudaDeviceSynchronize();
    }
    saved ? setenv("ZULI_EMU_SCHEDULE", savedValue.c_str(), 1) : unsetenv("ZULI_EMU_SCHEDULE");
}

TEST_F(StreamTest, ReadyWorkOfIndependentStreamsRunsInASeededOrder) {
    std::vector<cudaStream_t> streams(4);
    for (auto& s : streams) s = newStream(cudaStreamNonBlocking);
    auto runOnce = [&](unsigned long long seed) {
        zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, seed);
        Probes p;
        for (int i = 0; i < 4; ++i) p.on(streams[i], char('0' + i));
        cudaDeviceSynchronize();
        return p.log;
    };
    std::set<std::string> orders;
    for (unsigned long long seed = 1; seed <= 24; ++seed) {
        const std::string order = runOnce(seed);
        EXPECT_EQ(order.size(), 4u);
        EXPECT_EQ(runOnce(seed), order) << "the same seed gives the same order";
        orders.insert(order);
    }
    EXPECT_GE(orders.size(), 3u) << "different seeds must give different orders";
    for (auto s : streams) cudaStreamDestroy(s);
}

TEST_F(StreamTest, DestroyedStreamsPendingWorkStillCompletes) {
    cudaStream_t s = newStream(cudaStreamNonBlocking);
    Probes p;
    p.on(s, 'a');
    ASSERT_EQ(cudaStreamDestroy(s), cudaSuccess);
    EXPECT_EQ(p.log, "");
    EXPECT_EQ(cudaStreamSynchronize(s), cudaErrorInvalidResourceHandle);
    EXPECT_EQ(p.on(s, 'b'), cudaErrorInvalidResourceHandle);
    EXPECT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(p.log, "a");
}

TEST_F(StreamTest, StreamAndEventArgumentChecks) {
    cudaStream_t s = newStream(cudaStreamNonBlocking), urgent = nullptr;
    cudaEvent_t e = nullptr;
    unsigned flags = 99;
    int least = 1, greatest = 1, priority = 1;
    ASSERT_EQ(cudaStreamGetFlags(s, &flags), cudaSuccess);
    EXPECT_EQ(flags, unsigned(cudaStreamNonBlocking));
    ASSERT_EQ(cudaDeviceGetStreamPriorityRange(&least, &greatest), cudaSuccess);
    ASSERT_EQ(cudaStreamCreateWithPriority(&urgent, 0, -100), cudaSuccess);
    ASSERT_EQ(cudaStreamGetPriority(urgent, &priority), cudaSuccess);
    EXPECT_EQ(priority, greatest) << "a priority beyond the range is clamped";

    auto bogusStream = reinterpret_cast<cudaStream_t>(0x1234);
    auto bogusEvent = reinterpret_cast<cudaEvent_t>(0x1234);
    const cudaError_t invalid = cudaErrorInvalidValue, handle = cudaErrorInvalidResourceHandle;
    const struct {
        const char* what;
        cudaError_t got, expected;
    } rows[] = {
        {"stream bad flags", cudaStreamCreateWithFlags(&s, 2), invalid},
        {"stream no result", cudaStreamCreateWithFlags(nullptr, 0), invalid},
        {"sync bogus stream", cudaStreamSynchronize(bogusStream), handle},
        {"query bogus stream", cudaStreamQuery(bogusStream), handle},
        {"destroy legacy", cudaStreamDestroy(nullptr), handle},
        {"flags bogus stream", cudaStreamGetFlags(bogusStream, &flags), handle},
        {"event bad flags", cudaEventCreateWithFlags(&e, 0x40), invalid},
        {"interprocess needs no timing", cudaEventCreateWithFlags(&e, cudaEventInterprocess),
         invalid},
        {"record bogus event", cudaEventRecord(bogusEvent, s), handle},
        {"wait bogus event", cudaStreamWaitEvent(s, bogusEvent, 0), handle},
        {"sync bogus event", cudaEventSynchronize(bogusEvent), handle},
        {"destroy bogus event", cudaEventDestroy(bogusEvent), handle},
    };
    for (const auto& row : rows) EXPECT_EQ(row.got, row.expected) << row.what;

    // Elapsed time needs two recorded, completed, timed events; an event never recorded is
    // complete.
    cudaEvent_t start, stop, untimed, fresh;
    cudaEventCreate(&start), cudaEventCreate(&stop), cudaEventCreate(&fresh);
    cudaEventCreateWithFlags(&untimed, cudaEventDisableTiming);
    float ms = -1;
    EXPECT_EQ(cudaEventElapsedTime(&ms, start, stop), handle);
    cudaEventRecord(start, s);
    Probes p;
    p.on(s, 'w');
    cudaEventRecord(stop, s), cudaEventRecord(untimed, s);
    EXPECT_EQ(cudaEventElapsedTime(&ms, start, stop), cudaErrorNotReady);
    ASSERT_EQ(cudaEventSynchronize(stop), cudaSuccess);
    ASSERT_EQ(cudaEventElapsedTime(&ms, start, stop), cudaSuccess);
    EXPECT_GE(ms, 0.0f);
    cudaEventSynchronize(untimed);
    EXPECT_EQ(cudaEventElapsedTime(&ms, start, untimed), handle);
    EXPECT_EQ(cudaEventQuery(fresh), cudaSuccess);
    EXPECT_EQ(cudaEventSynchronize(fresh), cudaSuccess);
    for (cudaEvent_t ev : {start, stop, untimed, fresh}) cudaEventDestroy(ev);
    cudaStreamDestroy(s), cudaStreamDestroy(urgent);
}

// Each device has its own legacy stream, and failing work poisons only its own device, whichever
// thread forced it.
TEST_F(StreamTest, EachDeviceHasItsOwnLegacyStreamAndStickyError) {
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    cudaStream_t onZero = newStream(cudaStreamDefault);
    Probes p;
    p.on(onZero, '0');
    cudaSetDevice(1);
    EXPECT_EQ(emu::streamDevice(nullptr) * 10 + emu::streamDevice(onZero), 10);
    p.on(nullptr, '1');
    ASSERT_EQ(cudaStreamSynchronize(nullptr), cudaSuccess);
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(p.log, "1") << "device 1's synchronisations leave device 0 alone";

    zuliEmuSetStrict(0);
    emu::submit(onZero, "failing", [] { throw std::runtime_error("boom"); });
    EXPECT_EQ(cudaStreamSynchronize(onZero), cudaErrorLaunchFailure);
    EXPECT_EQ(cudaDeviceSynchronize(), cudaSuccess) << "device 1 is fine";
    cudaSetDevice(0);
    EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorLaunchFailure);
    cudaDeviceReset();
}

// Work that fails aborts in strict mode; in reporting mode it is a sticky launch failure after
// which the device runs and accepts no more work until it is reset.
TEST_F(StreamTest, FailingWorkBecomesAStickyLaunchFailure) {
    cudaStream_t s = newStream(cudaStreamNonBlocking);
    emu::submit(s, "throwing work", [] { throw std::runtime_error("boom"); });
    EXPECT_DEATH(cudaStreamSynchronize(s), "zuli_emu: throwing work: work failed: boom");
    zuliEmuSetStrict(0);
    Probes p;
    p.on(s, 'a');
    EXPECT_EQ(cudaStreamSynchronize(s), cudaErrorLaunchFailure);
    EXPECT_EQ(p.log, "") << "a failed context runs no more work";
    EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure);
    EXPECT_EQ(p.on(s, 'b'), cudaErrorLaunchFailure);
    EXPECT_TRUE(oneViolation("work failed: boom"));
    ASSERT_EQ(cudaDeviceReset(), cudaSuccess);
    p.on(nullptr, 'c');
    EXPECT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(p.log, "c");
}

TEST_F(StreamTest, ManyHostThreadsAllocateCopyAndSynchronise) {
    constexpr int kThreads = 8, kRounds = 40, kCount = 1000;
    constexpr size_t bytes = kCount * sizeof(float);
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            cudaStream_t s;
            if (cudaStreamCreateWithFlags(&s, t % 2 ? cudaStreamNonBlocking : 0)) ++failures;
            for (int r = 0; r < kRounds; ++r) {
                float *d = nullptr, *h = nullptr;
                std::vector<float> in(kCount), out(kCount);
                for (int i = 0; i < kCount; ++i) in[i] = float(t * 100000 + r * 1000 + i);
                bool ok = !cudaMalloc(&d, bytes) && !cudaMallocHost(&h, bytes) &&
                          !cudaMemcpyAsync(d, in.data(), bytes, cudaMemcpyHostToDevice, s) &&
                          !cudaMemcpyAsync(h, d, bytes, cudaMemcpyDeviceToHost, s) &&
                          !cudaStreamSynchronize(s) && std::equal(in.begin(), in.end(), h) &&
                          !cudaMemcpy(out.data(), d, bytes, cudaMemcpyDeviceToHost) && out == in &&
                          !cudaFree(d) && !cudaFreeHost(h);
                if (!ok) ++failures;
            }
            cudaStreamDestroy(s);
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(counters().h2dCopies, unsigned(kThreads * kRounds));
    EXPECT_EQ(counters().liveDeviceBytes, 0u);
}

}  // namespace
}  // namespace emutest
