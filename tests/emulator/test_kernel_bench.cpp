// Speed of kernel execution on the emulated GPU, through the full launch path. Prints one line
// per kernel kind; asserts the minimum rates in optimised builds without sanitizers (debug and
// sanitizer builds are slower by design and only report).
//
// A rate is only meaningful with the machine to itself: ctest runs this test as its own serial
// entry (emulator.kernel_rates), and the copy found among the parallel suite's tests skips.
#include "test_kernel_kernels.h"

#include "zuli_emu.h"

#include <cuda_runtime.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

// Other architectures switch fibers with swapcontext, which is far slower: they only report.
#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__) && defined(__x86_64__) && \
    !defined(ZULI_EMU_FIBER_UCONTEXT)
constexpr bool kAssertRates = true;
#else
constexpr bool kAssertRates = false;
#endif

double threadCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// Best of three runs of launch + device synchronisation, in threads per second of the calling
// thread's CPU time (the grid runs on that thread; other load on the machine does not count).
double threadsPerSecond(double threads, const std::function<void()>& launch) {
    double best = 0;
    for (int run = 0; run < 3; ++run) {
        const double start = threadCpuSeconds();
        launch();
        EXPECT_EQ(cudaDeviceSynchronize(), cudaSuccess);
        best = std::max(best, threads / (threadCpuSeconds() - start));
    }
    return best;
}

TEST(KernelBenchmark, ThreadsPerSecond) {
    if (std::getenv("ZULI_PARALLEL_TESTS") != nullptr) {
        GTEST_SKIP() << "measured alone, as emulator.kernel_rates";
    }
    zuliEmuReset();
    // Unchecked builds measure a smaller grid: they only report, and must not slow the suite.
    const int n = kAssertRates ? 1 << 24 : 1 << 20;
    float* x = nullptr;
    float* y = nullptr;
    ASSERT_EQ(cudaMalloc(&x, n * sizeof(float)), cudaSuccess);
    ASSERT_EQ(cudaMalloc(&y, n * sizeof(float)), cudaSuccess);
    std::vector<float> ones(n, 1.0f);
    ASSERT_EQ(cudaMemcpy(x, ones.data(), n * sizeof(float), cudaMemcpyHostToDevice), cudaSuccess);
    ASSERT_EQ(cudaMemcpy(y, ones.data(), n * sizeof(float), cudaMemcpyHostToDevice), cudaSuccess);

    const double plain = threadsPerSecond(n, [&] { kernel_tests::launchAxpy(2.0f, x, y, n, nullptr); });

    const unsigned threads = 256;  // 9 barriers per thread
    const unsigned blocks = (kAssertRates ? 1u << 22 : 1u << 18) / threads;
    const double barriers = threadsPerSecond(double(blocks) * threads, [&] {
        kernel_tests::launchBlockSum(x, y, blocks, threads, nullptr);
    });

    // The results are right (a fast wrong kernel proves nothing): y = 1 + 3 * 2 in the tail,
    // block sums of 256 ones at the head.
    float tail = 0;
    float head = 0;
    ASSERT_EQ(cudaMemcpy(&tail, y + n - 1, sizeof tail, cudaMemcpyDeviceToHost), cudaSuccess);
    ASSERT_EQ(cudaMemcpy(&head, y, sizeof head, cudaMemcpyDeviceToHost), cudaSuccess);
    EXPECT_EQ(tail, 7.0f);
    EXPECT_EQ(head, 256.0f);

    std::printf("kernel without barriers  %10.1f M threads/s  (%d threads, blocks of 256)  %s\n",
                plain / 1e6, n, !kAssertRates ? "not checked" : plain >= 100e6 ? "ok" : "failed");
    std::printf("kernel with barriers     %10.1f M threads/s  (%u threads, 9 barriers each)  %s\n",
                barriers / 1e6, blocks * threads,
                !kAssertRates ? "not checked" : barriers >= 5e6 ? "ok" : "failed");
    RecordProperty("plain_threads_per_second", std::to_string(plain));
    RecordProperty("barrier_threads_per_second", std::to_string(barriers));
    if (kAssertRates) {
        EXPECT_GE(plain, 100e6);
        EXPECT_GE(barriers, 5e6);
    }
    cudaFree(x);
    cudaFree(y);
}

}  // namespace
