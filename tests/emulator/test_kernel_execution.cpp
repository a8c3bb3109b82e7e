// Execution of kernels on the emulated GPU: barriers, __shared__ arrays, built-in variables,
// divergent barriers. Most cases run the execution engine directly on host memory.
#include "test_kernel_kernels.h"

#include "fiber.h"
#include "zuli_emu.h"

#include <cuda_runtime.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

using kernel_tests::Divergence;

class KernelExecution : public ::testing::Test {
protected:
    void SetUp() override { zuliEmuReset(); }
    void TearDown() override { zuliEmuReset(); }
};

TEST_F(KernelExecution, SharedArrayReversalNeedsTheBarrier) {
    const unsigned blocks = 3;
    const unsigned threads = 128;
    std::vector<int> first(blocks * threads), second(blocks * threads);
    std::iota(first.begin(), first.end(), 0);
    std::iota(second.begin(), second.end(), 100000);
    std::vector<int> out(blocks * threads, -1);

    // Counts the elements of out that are not block-wise reversals of in.
    auto misplaced = [&](const std::vector<int>& in) {
        int wrong = 0;
        for (unsigned b = 0; b < blocks; ++b)
            for (unsigned t = 0; t < threads; ++t)
                wrong += out[b * threads + t] != in[b * threads + threads - 1 - t];
        return wrong;
    };
    kernel_tests::directReverse(first.data(), out.data(), blocks, threads, true);
    EXPECT_EQ(misplaced(first), 0);
    // Without the barrier thread 0 reads its partner's slot before the partner wrote it: it
    // sees what the previous block left there, not this block's value.
    kernel_tests::directReverse(second.data(), out.data(), blocks, threads, false);
    EXPECT_GT(misplaced(second), 0);
}

TEST_F(KernelExecution, BlocksKeepTheirOwnSharedArrays) {
    for (unsigned threads : {1u, 7u, 64u, 1024u}) {
        const unsigned blocks = 5;
        std::vector<int> out(blocks * threads, -1);
        kernel_tests::directNeighbourInBlock(out.data(), blocks, threads);
        for (unsigned b = 0; b < blocks; ++b) {
            for (unsigned t = 0; t < threads; ++t) {
                ASSERT_EQ(out[b * threads + t], int(1000 * b + (t + 1) % threads))
                    << "threads " << threads << " block " << b << " thread " << t;
            }
        }
    }
    EXPECT_GE(emu::fiberPoolSize(), 1024u);  // one fiber per thread of the largest block
}

// Every (thread, block) pair of the configuration appears exactly once with the right
// dimensions, and the launch path passes the configuration through unchanged.
TEST_F(KernelExecution, BuiltinVariablesCoverEveryThreadOnce) {
    const std::vector<std::pair<dim3, dim3>> configurations = {
        {dim3(1), dim3(1)},           {dim3(3), dim3(5)},          {dim3(2, 3), dim3(4, 2)},
        {dim3(2, 2, 3), dim3(3, 2, 4)}, {dim3(1, 1, 2), dim3(1, 1, 64)}, {dim3(4), dim3(1024)},
    };
    for (const auto& [grid, block] : configurations) {
        const size_t threads = size_t(grid.x) * grid.y * grid.z * block.x * block.y * block.z;
        unsigned* device = nullptr;
        ASSERT_EQ(cudaMalloc(&device, threads * 12 * sizeof(unsigned)), cudaSuccess);
        kernel_tests::launchRecordBuiltins(device, grid, block, nullptr);
        ASSERT_EQ(cudaGetLastError(), cudaSuccess);
        std::vector<unsigned> out(threads * 12);
        ASSERT_EQ(cudaMemcpy(out.data(), device, out.size() * sizeof(unsigned),
                             cudaMemcpyDeviceToHost),
                  cudaSuccess);
        ASSERT_EQ(cudaFree(device), cudaSuccess);

        std::set<std::tuple<unsigned, unsigned, unsigned, unsigned, unsigned, unsigned>> seen;
        const unsigned dims[6] = {block.x, block.y, block.z, grid.x, grid.y, grid.z};
        for (size_t id = 0; id < threads; ++id) {
            const unsigned* v = &out[12 * id];
            for (int k = 0; k < 6; ++k) {
                ASSERT_LT(v[k], dims[k]) << "index " << k << " of thread " << id;
                ASSERT_EQ(v[6 + k], dims[k]) << "dimension " << k << " of thread " << id;
            }
            seen.insert({v[0], v[1], v[2], v[3], v[4], v[5]});
        }
        EXPECT_EQ(seen.size(), threads)
            << "grid " << grid.x << "x" << grid.y << "x" << grid.z << " block " << block.x << "x"
            << block.y << "x" << block.z;
    }
}

TEST_F(KernelExecution, BlockReductionThroughTheLaunchPath) {
    for (unsigned threads : {1u, 2u, 32u, 256u, 1024u}) {
        const unsigned blocks = 6;
        std::vector<float> in(blocks * threads);
        for (size_t i = 0; i < in.size(); ++i) {
            in[i] = float(i % 17) - 3.0f;  // small integers: every order of summation is exact
        }
        float* dIn = nullptr;
        float* dOut = nullptr;
        ASSERT_EQ(cudaMalloc(&dIn, in.size() * sizeof(float)), cudaSuccess);
        ASSERT_EQ(cudaMalloc(&dOut, blocks * sizeof(float)), cudaSuccess);
        ASSERT_EQ(cudaMemcpy(dIn, in.data(), in.size() * sizeof(float), cudaMemcpyHostToDevice),
                  cudaSuccess);
        kernel_tests::launchBlockSum(dIn, dOut, blocks, threads, nullptr);
        std::vector<float> out(blocks);
        ASSERT_EQ(cudaMemcpy(out.data(), dOut, blocks * sizeof(float), cudaMemcpyDeviceToHost),
                  cudaSuccess);
        for (unsigned b = 0; b < blocks; ++b) {
            const float expected =
                std::accumulate(in.begin() + b * threads, in.begin() + (b + 1) * threads, 0.0f);
            EXPECT_EQ(out[b], expected) << "threads " << threads << " block " << b;
        }
        cudaFree(dIn);
        cudaFree(dOut);
    }
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
}

// In reporting mode a divergent barrier is one violation per grid, the sticky launch failure,
// and the grid still runs to its end.
TEST_F(KernelExecution, DivergentBarriersAreReported) {
    const struct {
        Divergence kind;
        unsigned threads;
        const char* name;
    } cases[] = {
        {Divergence::OnlyThreadZeroWaits, 1024, "thread 0 waits, 1023 others finish"},
        {Divergence::AllButThreadZeroWait, 4, "thread 0 finishes, the others wait"},
        {Divergence::UnequalBarrierCounts, 8, "odd threads wait twice, even ones once"},
    };
    for (const auto& c : cases) {
        zuliEmuReset();
        zuliEmuSetStrict(0);
        EXPECT_FALSE(kernel_tests::directDivergent(c.kind, c.threads)) << c.name;
        EXPECT_EQ(zuliEmuViolationCount(), 1u) << c.name;
        EXPECT_NE(std::string(zuliEmuLastViolation()).find("divergent __syncthreads"),
                  std::string::npos)
            << c.name << ": " << zuliEmuLastViolation();
        EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure) << c.name;
        EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorLaunchFailure) << c.name << " (sticky)";
    }
    // A barrier outside any kernel is a violation too.
    zuliEmuReset();
    zuliEmuSetStrict(0);
    kernel_tests::syncThreadsOutsideKernel();
    EXPECT_EQ(zuliEmuViolationCount(), 1u);
    EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure);
}

TEST(KernelExecutionDeathTest, DivergentBarrierAbortsInStrictMode) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            zuliEmuReset();
            kernel_tests::directDivergent(Divergence::AllButThreadZeroWait, 32);
        },
        "divergent __syncthreads");
}

// The engine's complex math against the standard library.
TEST_F(KernelExecution, ComplexSquareRootAndModulusInKernels) {
    const double big = 1e300;
    const double tiny = 1e-310;  // subnormal
    const std::vector<zuli::Complex<double>> z = {
        {4, 0},     {-4, 0},    {0, 2},      {0, -2},      {3, 4},     {-3, 4},
        {-3, -4},   {-4, -0.0}, {big, big},  {-big, big},  {tiny, tiny}, {-tiny, 0},
        {1e-5, 1},  {-1, 1e-9}, {2.5, -1e3}, {1e-200, 1e200},
    };
    std::vector<zuli::Complex<double>> roots(z.size());
    std::vector<double> moduli(z.size());
    kernel_tests::directComplexMath(z.data(), roots.data(), moduli.data(), int(z.size()));
    for (size_t i = 0; i < z.size(); ++i) {
        const std::complex<double> s(z[i].re, z[i].im);
        const std::complex<double> expected = std::sqrt(s);
        EXPECT_NEAR(roots[i].re, expected.real(), 4e-16 * std::abs(expected)) << i;
        EXPECT_NEAR(roots[i].im, expected.imag(), 4e-16 * std::abs(expected)) << i;
        EXPECT_EQ(std::signbit(roots[i].im), std::signbit(expected.imag())) << i;
        EXPECT_NEAR(moduli[i], std::abs(s), 4e-16 * std::abs(s)) << i;
    }

    // Subnormal results carry fewer digits: allow one unit of the subnormal spacing.
    std::vector<zuli::Complex<float>> zf = {{4, 0}, {-4, 0}, {2e38f, 2e38f}, {1e-40f, 1e-40f},
                                            {-1, 1e-7f}};
    std::vector<zuli::Complex<float>> rootsF(zf.size());
    std::vector<float> moduliF(zf.size());
    kernel_tests::directComplexMathFloat(zf.data(), rootsF.data(), moduliF.data(), int(zf.size()));
    for (size_t i = 0; i < zf.size(); ++i) {
        const std::complex<double> s(zf[i].re, zf[i].im);
        const std::complex<double> expected = std::sqrt(s);
        EXPECT_NEAR(rootsF[i].re, expected.real(), 3e-7 * std::abs(expected)) << i;
        EXPECT_NEAR(rootsF[i].im, expected.imag(), 3e-7 * std::abs(expected)) << i;
        EXPECT_NEAR(moduliF[i], std::abs(s), std::max(3e-7 * std::abs(s), 1.5e-45)) << i;
    }
}

}  // namespace
