// The emulated launch path: configuration checks, pointer arguments, streams, counters,
// atomics, and the library's fill kernel.
#include "test_kernel_kernels.h"

#include "kernels/fill.h"
#include "runtime/complex.h"
#include "zuli_emu.h"

#include <cuda_runtime.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace {

class KernelLaunch : public ::testing::Test {
protected:
    void SetUp() override { zuliEmuReset(); }
    void TearDown() override { zuliEmuReset(); }

    static unsigned long long launches() {
        zuliEmuCounters c;
        zuliEmuGetCounters(&c);
        return c.launches;
    }
};

// Reads one int of device memory.
int readDeviceInt(const int* p) {
    int value = -1;
    EXPECT_EQ(cudaMemcpy(&value, p, sizeof value, cudaMemcpyDeviceToHost), cudaSuccess);
    return value;
}

TEST_F(KernelLaunch, InvalidConfigurationsRunNothing) {
    ASSERT_EQ(zuliEmuSetMaxGridSize(0, 100, 10, 5), 0);
    const struct {
        dim3 grid, block;
        const char* why;
    } cases[] = {
        {dim3(1), dim3(0), "block x = 0"},
        {dim3(1), dim3(4, 0), "block y = 0"},
        {dim3(1), dim3(4, 1, 0), "block z = 0"},
        {dim3(0), dim3(32), "grid x = 0"},
        {dim3(1, 0), dim3(32), "grid y = 0"},
        {dim3(1, 1, 0), dim3(32), "grid z = 0"},
        {dim3(1), dim3(1025), "1025 threads in x"},
        {dim3(1), dim3(32, 33), "1056 threads per block"},
        {dim3(1), dim3(1, 1, 65), "block z beyond 64"},
        {dim3(1), dim3(1, 1025), "block y beyond 1024"},
        {dim3(101), dim3(32), "grid x beyond the configured 100"},
        {dim3(1, 11), dim3(32), "grid y beyond the configured 10"},
        {dim3(1, 1, 6), dim3(32), "grid z beyond the configured 5"},
    };
    int* flag = nullptr;
    ASSERT_EQ(cudaMalloc(&flag, sizeof(int)), cudaSuccess);
    ASSERT_EQ(cudaMemset(flag, 0, sizeof(int)), cudaSuccess);
    for (const auto& c : cases) {
        kernel_tests::launchSetFlag(flag, c.grid, c.block, nullptr);
        EXPECT_EQ(cudaPeekAtLastError(), cudaErrorInvalidConfiguration) << c.why;
        EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidConfiguration) << c.why;
        EXPECT_EQ(cudaGetLastError(), cudaSuccess) << c.why << ": the error is not sticky";
        EXPECT_EQ(launches(), 0u) << c.why;
        EXPECT_EQ(readDeviceInt(flag), 0) << c.why << ": the kernel ran";
    }
    // The limits themselves are valid.
    kernel_tests::launchSetFlag(flag, dim3(100, 10, 5), dim3(1024), nullptr);
    kernel_tests::launchSetFlag(flag, dim3(1), dim3(1, 1, 64), nullptr);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(readDeviceInt(flag), 1);
    EXPECT_EQ(launches(), 2u);
    cudaFree(flag);
}

// An injected launch failure and a destroyed stream run nothing; a pointer to the last element
// of an allocation is a valid argument.
TEST_F(KernelLaunch, FailedLaunchesRunNothingEdgePointersRun) {
    int* block = nullptr;
    ASSERT_EQ(cudaMalloc(&block, 4 * sizeof(int)), cudaSuccess);
    ASSERT_EQ(cudaMemset(block, 0, 4 * sizeof(int)), cudaSuccess);
    zuliEmuFailCudaCall("cudaLaunchKernel", 1, cudaErrorLaunchOutOfResources);
    kernel_tests::launchSetFlag(block + 3, dim3(1), dim3(1), nullptr);
    EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchOutOfResources);
    EXPECT_EQ(readDeviceInt(block + 3), 0);
    kernel_tests::launchSetFlag(block + 3, dim3(1), dim3(1), nullptr);  // the fault fired once
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(readDeviceInt(block + 3), 1);
    EXPECT_EQ(zuliEmuViolationCount(), 0u);
    cudaFree(block);

    kernel_tests::resetCountedThreads();
    cudaStream_t stream = nullptr;
    ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    ASSERT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    kernel_tests::launchCountThreads(1, 1, stream);
    EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidResourceHandle);
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(kernel_tests::countedThreads(), 0);
    EXPECT_EQ(launches(), 1u);
}

// In reporting mode a pointer that is not live device memory is one violation, the sticky
// illegal-address error, and the kernel does not run.
TEST_F(KernelLaunch, NonDevicePointerArgumentsAreViolations) {
    int* freed = nullptr;
    ASSERT_EQ(cudaMalloc(&freed, sizeof(int)), cudaSuccess);
    ASSERT_EQ(cudaFree(freed), cudaSuccess);
    int* pinned = nullptr;
    ASSERT_EQ(cudaMallocHost(&pinned, sizeof(int)), cudaSuccess);
    int onStack = 0;
    std::vector<int> onHeap(1, 0);
    const struct {
        int* pointer;
        int* observe;  // host-visible memory the kernel would have written, or null
        const char* what;
    } cases[] = {
        {&onStack, &onStack, "stack memory"},
        {onHeap.data(), onHeap.data(), "heap memory"},
        {pinned, pinned, "page-locked host memory"},
        {freed, nullptr, "a freed device allocation"},
    };
    for (const auto& c : cases) {
        zuliEmuReset();
        zuliEmuSetStrict(0);
        if (c.observe) {
            *c.observe = 0;
        }
        kernel_tests::launchSetFlag(c.pointer, dim3(1), dim3(1), nullptr);
        EXPECT_EQ(zuliEmuViolationCount(), 1u) << c.what;
        EXPECT_NE(std::string(zuliEmuLastViolation()).find("kernel argument 1"), std::string::npos)
            << c.what << ": " << zuliEmuLastViolation();
        EXPECT_EQ(cudaGetLastError(), cudaErrorIllegalAddress) << c.what;
        EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorIllegalAddress) << c.what << " (sticky)";
        EXPECT_EQ(launches(), 0u) << c.what;
        if (c.observe) {
            EXPECT_EQ(*c.observe, 0) << c.what << ": the kernel ran";
        }
    }
    zuliEmuReset();
    cudaFreeHost(pinned);
}

TEST(KernelLaunchDeathTest, HostPointerArgumentAbortsInStrictMode) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    int host = 0;
    EXPECT_DEATH(
        {
            zuliEmuReset();
            kernel_tests::launchSetFlag(&host, dim3(1), dim3(1), nullptr);
        },
        "launchSetFlag.*kernel argument 1");
}

TEST_F(KernelLaunch, LaunchIsDeferredUntilTheStreamIsSynchronised) {
    zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, 7);
    cudaStream_t stream = nullptr;
    ASSERT_EQ(cudaStreamCreateWithFlags(&stream, cudaStreamNonBlocking), cudaSuccess);
    kernel_tests::resetCountedThreads();
    kernel_tests::launchCountThreads(3, 64, stream);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(launches(), 1u);  // counted when queued
    EXPECT_EQ(kernel_tests::countedThreads(), 0) << "ran before any synchronisation";
    ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
    EXPECT_EQ(kernel_tests::countedThreads(), 3 * 64);

    // Under the eager schedule it has run when the launch returns.
    zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_EAGER, 0);
    kernel_tests::launchCountThreads(2, 5, stream);
    EXPECT_EQ(kernel_tests::countedThreads(), 3 * 64 + 10);
    EXPECT_EQ(launches(), 2u);
    cudaStreamDestroy(stream);
}

// Every atomic from 64 blocks x 128 threads, from two host threads at once.
TEST_F(KernelLaunch, AtomicsFromManyThreads) {
    const unsigned blocks = 64;
    const unsigned threads = 128;
    const int total = int(blocks * threads);
    const int rounds = 2;  // host threads
    int* ints = nullptr;
    unsigned* minmax = nullptr;
    float* floats = nullptr;
    double* doubles = nullptr;
    ASSERT_EQ(cudaMalloc(&ints, 7 * sizeof(int)), cudaSuccess);
    ASSERT_EQ(cudaMalloc(&minmax, 2 * sizeof(unsigned)), cudaSuccess);
    ASSERT_EQ(cudaMalloc(&floats, 2 * sizeof(float)), cudaSuccess);
    ASSERT_EQ(cudaMalloc(&doubles, 2 * sizeof(double)), cudaSuccess);
    const int intsInit[7] = {0, -1, 1 << 30, 0, 0, 0, 0};
    const unsigned minmaxInit[2] = {0, 0xffffffffu};
    ASSERT_EQ(cudaMemcpy(ints, intsInit, sizeof intsInit, cudaMemcpyHostToDevice), cudaSuccess);
    ASSERT_EQ(cudaMemcpy(minmax, minmaxInit, sizeof minmaxInit, cudaMemcpyHostToDevice),
              cudaSuccess);
    ASSERT_EQ(cudaMemset(floats, 0, 2 * sizeof(float)), cudaSuccess);
    ASSERT_EQ(cudaMemset(doubles, 0, 2 * sizeof(double)), cudaSuccess);
    // The uploads and memsets are legacy-stream work that the non-blocking streams below do not
    // wait for: finish them first.
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);

    std::vector<std::thread> hostThreads;
    for (int r = 0; r < rounds; ++r) {
        hostThreads.emplace_back([&] {
            cudaStream_t stream = nullptr;
            ASSERT_EQ(cudaStreamCreateWithFlags(&stream, cudaStreamNonBlocking), cudaSuccess);
            kernel_tests::launchAtomics(ints, minmax, floats, doubles, blocks, threads, stream);
            EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
            cudaStreamDestroy(stream);
        });
    }
    for (auto& t : hostThreads) {
        t.join();
    }

    int i[7];
    unsigned u[2];
    float f[2];
    double d[2];
    ASSERT_EQ(cudaMemcpy(i, ints, sizeof i, cudaMemcpyDeviceToHost), cudaSuccess);
    ASSERT_EQ(cudaMemcpy(u, minmax, sizeof u, cudaMemcpyDeviceToHost), cudaSuccess);
    ASSERT_EQ(cudaMemcpy(f, floats, sizeof f, cudaMemcpyDeviceToHost), cudaSuccess);
    ASSERT_EQ(cudaMemcpy(d, doubles, sizeof d, cudaMemcpyDeviceToHost), cudaSuccess);
    const int sum = rounds * total;
    EXPECT_EQ(std::vector<int>({i[0], i[1], i[2], i[3], i[6]}),
              std::vector<int>({sum, total - 1, 0, 1, sum}))
        << "add, max, min, one winning CAS, unsigned add";
    EXPECT_TRUE(i[4] >= 1 && i[4] <= total && i[5] >= 1 && i[5] <= total) << i[4] << " " << i[5];
    EXPECT_TRUE(u[0] == unsigned(total - 1) && u[1] == 0u) << u[0] << " " << u[1];
    // Exact: integers below 2^24.
    EXPECT_TRUE(f[0] == float(sum) && f[1] == 0.5f * float(sum)) << f[0] << " " << f[1];
    EXPECT_TRUE(d[0] == double(sum) && d[1] == 0.5 * double(sum)) << d[0] << " " << d[1];
    EXPECT_EQ(launches(), unsigned(rounds));
    cudaFree(ints);
    cudaFree(minmax);
    cudaFree(floats);
    cudaFree(doubles);
}

// ---- fill -------------------------------------------------------------------------------------

template <typename T>
T valueFor(double x) {
    if constexpr (zuli::IsComplexV<T>) {
        using R = typename zuli::ToReal<T>::type;
        return T(R(x), R(-2 * x));
    } else {
        return T(x);
    }
}

template <typename T>
class FillTest : public KernelLaunch {};
using FillTypes = ::testing::Types<float, double, zuli::Complex<float>, zuli::Complex<double>, int>;
TYPED_TEST_SUITE(FillTest, FillTypes);

// Fills a submatrix inside a larger one and checks every element of the allocation: inside
// the submatrix the value, everywhere else (including the rows between ld and the submatrix)
// the background.
TYPED_TEST(FillTest, WritesExactlyTheSubmatrix) {
    using T = TypeParam;
    const struct {
        int m, n, ld, rowOffset, colOffset, rows, cols;
    } cases[] = {
        {1, 1, 1, 0, 0, 1, 1},          {5, 4, 7, 1, 1, 3, 2},     {40, 3, 40, 0, 0, 40, 3},
        {70, 20, 75, 3, 2, 65, 17},     {33, 1, 33, 32, 0, 1, 1},  {9, 600, 9, 2, 5, 4, 590},
        {8, 8, 8, 2, 2, 0, 5},          {8, 8, 8, 2, 2, 5, 0},  // empty: nothing launched
    };
    const T background = valueFor<T>(-7);
    const T value = valueFor<T>(3.5);
    for (const auto& c : cases) {
        zuliEmuResetCounters();
        const size_t elements = size_t(c.ld) * c.n;
        T* a = nullptr;
        ASSERT_EQ(cudaMalloc(&a, elements * sizeof(T)), cudaSuccess);
        cudalib::fill(a, c.ld, c.ld, c.n, background, nullptr);
        cudalib::fill(a + c.rowOffset + int64_t(c.colOffset) * c.ld, c.ld, c.rows, c.cols, value,
                      nullptr);
        EXPECT_EQ(KernelLaunch::launches(), c.rows > 0 && c.cols > 0 ? 2u : 1u);
        std::vector<T> host(elements);
        ASSERT_EQ(cudaMemcpy(host.data(), a, elements * sizeof(T), cudaMemcpyDeviceToHost),
                  cudaSuccess);
        for (int j = 0; j < c.n; ++j) {
            for (int i = 0; i < c.ld; ++i) {
                const bool inside = i >= c.rowOffset && i < c.rowOffset + c.rows &&
                                    j >= c.colOffset && j < c.colOffset + c.cols;
                ASSERT_TRUE(host[i + size_t(j) * c.ld] == (inside ? value : background))
                    << c.m << "x" << c.n << " ld " << c.ld << ": element (" << i << "," << j
                    << ")";
            }
        }
        cudaFree(a);
    }
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
}

// Element offsets beyond 2^31: three columns of a matrix whose leading dimension is 2^30 + 7
// (an 8 GiB allocation, of which only the touched pages exist).
TEST_F(KernelLaunch, FillUsesSixtyFourBitOffsets) {
    const int64_t ld = (int64_t(1) << 30) + 7;
    const int rows = 3;
    const int cols = 3;
    const size_t elements = size_t((cols - 1) * ld + rows);
    float* a = nullptr;
    ASSERT_EQ(cudaMalloc(&a, elements * sizeof(float)), cudaSuccess);
    for (int j = 0; j < cols; ++j) {
        ASSERT_EQ(cudaMemset(a + j * ld, 0, rows * sizeof(float)), cudaSuccess);
    }
    cudalib::fill(a, ld, rows - 1, cols, 2.5f, nullptr);
    for (int j = 0; j < cols; ++j) {
        float column[rows];
        ASSERT_EQ(cudaMemcpy(column, a + j * ld, sizeof column, cudaMemcpyDeviceToHost),
                  cudaSuccess);
        EXPECT_EQ(column[0], 2.5f) << "column " << j;
        EXPECT_EQ(column[1], 2.5f) << "column " << j;
        EXPECT_EQ(column[2], 0.0f) << "column " << j << ": beyond the rows";
    }
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    cudaFree(a);
}

}  // namespace
