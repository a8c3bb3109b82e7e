// runtime_fixture.h - the fixture of the runtime tests.
//
// Every test starts from the emulator's defaults (one sm_90 device, current versions) and from an
// uninitialised library, and leaves the library uninitialised with its pools emptied, so that the
// next test is not affected by what this one cached or held.
#pragma once

#include "runtime/context.h"
#include "runtime/device.h"
#include "runtime/frame.h"
#include "runtime/memory.h"
#include "runtime/status.h"

#include "zuli_emu.h"
#include "zuli_lapack.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

namespace runtime_test {

// Where the tests run. Normally on the emulated GPU, which the tests steer and observe through
// its control API (device configuration, fault injection, counters). Built with
// ZULI_TESTS_ON_GPU, the same sources run on a real GPU, where only the results can be checked:
// zuliEmuReset and zuliEmuResetCounters do nothing there and every other control aborts, so a
// test or a check that needs them asks kEmulated first (tests/emulator_controls_on_gpu.cpp).
#ifdef ZULI_TESTS_ON_GPU
inline constexpr bool kEmulated = false;
#else
inline constexpr bool kEmulated = true;
#endif

// Skips the rest of a test that observes or steers the GPU where the GPU is a real one.
#define SKIP_ON_A_REAL_GPU()                                                                   \
    do {                                                                                       \
        if (!::runtime_test::kEmulated)                                                        \
            GTEST_SKIP() << "needs the emulated GPU's counters, faults or device settings";    \
    } while (0)

class RuntimeTest : public ::testing::Test {
protected:
    void SetUp() override {
        zuliEmuReset();
        zuli::clearDeviceCaches();
        ASSERT_FALSE(zuli::isInitialized()) << "a previous test left the library initialised";
    }
    void TearDown() override {
        // Leave the library as found: pools emptied, uninitialised, caches forgotten.
        if (zuli::isInitialized()) zuliFreeBuffers();
        for (int i = 0; i < 4 && zuli::isInitialized(); ++i) zuliShutdown();
        EXPECT_FALSE(zuli::isInitialized()) << "the test left other threads registered";
        zuli::releaseThreadContext();
        zuli::clearDeviceCaches();
        zuliEmuReset();
    }

    static zuliEmuCounters counters() {
        zuliEmuCounters c{};
        zuliEmuGetCounters(&c);
        return c;
    }
};

// A host thread that runs the tasks given to it, one at a time, until destroyed: lets a test
// interleave steps of several live threads (each keeps its kernel thread id throughout).
class Worker {
public:
    ~Worker() {
        post(nullptr);  // an empty task ends the loop
        thread_.join();
    }
    // Runs f on the worker and returns its result.
    template <typename F>
    auto run(F f) -> decltype(f()) {
        std::packaged_task<decltype(f())()> task(std::move(f));
        auto result = task.get_future();
        post([&task] { task(); });
        return result.get();
    }

private:
    void post(std::function<void()> task) {
        {
            std::scoped_lock lock(mutex_);
            tasks_.push_back(std::move(task));
        }
        ready_.notify_one();
    }
    void loop() {
        for (;;) {
            std::function<void()> task;
            {
                std::unique_lock lock(mutex_);
                ready_.wait(lock, [this] { return !tasks_.empty(); });
                task = std::move(tasks_.front());
                tasks_.pop_front();
            }
            if (!task) return;
            task();
        }
    }

    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::function<void()>> tasks_;
    std::thread thread_{[this] { loop(); }};  // last: starts once the queue exists
};

}  // namespace runtime_test
