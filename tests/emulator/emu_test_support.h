// emu_test_support.h - what the emulated GPU's tests share: a fixture that restores the defaults
// around each test and pins the deferred schedule, allocation helpers, and probes of the counters,
// the violation record and the order in which queued work runs.
#pragma once

#include <cuda_runtime_api.h>
#include <gtest/gtest.h>

#include "emu.h"
#include "zuli_emu.h"

#include <string>

namespace emutest {

// A fresh emulator in strict mode, whose work is deferred in the adversarial order of a fixed
// seed, and not pedantic, whatever the environment asks for (the emulator's tests check what
// every program gets; the library's tests run pedantic).
class EmuTest : public ::testing::Test {
  protected:
    void SetUp() override { reset(); }
    void TearDown() override { zuliEmuReset(); }
    static void reset() {
        zuliEmuReset();
        zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, 0x5eed);
        zuliEmuSetPedantic(0);
    }
    // Reporting mode with a clean record: the next violation becomes a sticky error.
    static void reporting() {
        reset();
        zuliEmuSetStrict(0);
    }
};

inline zuliEmuCounters counters() {
    zuliEmuCounters c;
    zuliEmuGetCounters(&c);
    return c;
}

template <typename T = float>
T* deviceAlloc(size_t n) {
    T* d = nullptr;
    EXPECT_EQ(cudaMalloc(reinterpret_cast<void**>(&d), n * sizeof(T)), cudaSuccess);
    return d;
}

template <typename T = float>
T* pinnedAlloc(size_t n, T value) {
    T* h = nullptr;
    EXPECT_EQ(cudaMallocHost(reinterpret_cast<void**>(&h), n * sizeof(T)), cudaSuccess);
    for (size_t i = 0; i < n; ++i) h[i] = value;
    return h;
}

inline cudaStream_t newStream(unsigned flags) {
    cudaStream_t s = nullptr;
    EXPECT_EQ(cudaStreamCreateWithFlags(&s, flags), cudaSuccess);
    return s;
}

// One element of device memory through a synchronous copy (after the legacy stream's work).
template <typename T>
T readDevice(const T* d) {
    T x{};
    EXPECT_EQ(cudaMemcpy(&x, d, sizeof x, cudaMemcpyDeviceToHost), cudaSuccess);
    return x;
}

// Exactly one violation was recorded, and its text contains `what`.
inline ::testing::AssertionResult oneViolation(const std::string& what) {
    const std::string last = zuliEmuLastViolation();
    if (zuliEmuViolationCount() == 1 && last.find(what) != std::string::npos)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << zuliEmuViolationCount() << " violations, last \""
                                         << last << "\", expected one about \"" << what << "\"";
}

// Queues probes that append their name to `log` when they run.
struct Probes {
    std::string log;
    cudaError_t on(cudaStream_t s, char name) {
        return emu::submit(s, "probe", [this, name] { log += name; });
    }
};

}  // namespace emutest
