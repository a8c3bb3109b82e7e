// What getrf promises beyond its results: only panels cross the bus while cuBLAS does the
// updates, element offsets beyond 2^31 work, and every injected failure gives its status without
// leaking device memory or overwriting the caller's host arrays.
#include "solvers/solver_support.h"

#include "runtime/host_call.h"

namespace {

using namespace solver_test;

// LU flops (multiplications and additions) of an m x n matrix, m >= n: m n^2 - n^3 / 3.
double luFlops(double m, double n) {
    return m * n * n - n * n * n / 3;
}

// A device getrf in D of 2048 x 2048 (transposed path) and 2048 x 2040 (row path): the bytes on
// the bus are one download and one upload of each panel (within 10 %), and cuBLAS does at least
// all the flops but those of the panels.
TEST_F(SolverTest, DeviceGetrfMovesOnlyPanelsAndLeavesTheUpdatesToCublas) {
    SKIP_ON_A_REAL_GPU();
    const int nb = 2 * zuli::baseBlockSize<double>(90);
    for (int n : {2048, 2040}) {
        const int m = 2048;
        SCOPED_TRACE(n);
        Matrix<double> a(m, n, rng);
        std::vector<int> piv(static_cast<size_t>(n));
        DeviceArrays dev(Api::Device);
        double* da = dev(a);
        int* dp = dev(piv);
        zuliEmuResetCounters();
        ASSERT_EQ(zuliDeviceDgetrf(m, n, da, m, dp), zuliNoError);
        const auto c = counters();

        double panelBytes = 0, panelFlops = 0;
        for (int j = 0; j < n; j += nb) {
            const int jb = std::min(nb, n - j);
            panelBytes += 2.0 * (m - j) * jb * sizeof(double);
            panelFlops += luFlops(m - j, jb);
        }
        const double bus = double(c.h2dBytes + c.d2hBytes);
        EXPECT_LT(std::abs(bus - panelBytes), 0.1 * panelBytes) << bus << " bytes on the bus";
        EXPECT_GE(c.blasFlops, 0.9999 * (luFlops(m, n) - panelFlops));
        EXPECT_EQ(c.d2dBytes, 0u);
    }
}

// A device matrix whose lda * n passes 2^31 elements (pages are materialised only where
// touched): both blocked paths give the factors of the same matrix stored compactly (one without
// near ties, so that the pivots are LAPACK's).
TEST_F(SolverTest, GetrfAddressesElementsBeyondTwoToThe31) {
    const int lda = (1 << 22) + 16;  // lda * 8 bytes stays below the device's pitch limit
    // The emulated GPU materialises only the pages touched; a real one needs the whole 20 GB.
    size_t freeBytes = 0, totalBytes = 0;
    ASSERT_EQ(cudaMemGetInfo(&freeBytes, &totalBytes), cudaSuccess);
    if (freeBytes < size_t(lda) * 600 * sizeof(double) + (size_t(1) << 30)) {
        GTEST_SKIP() << "needs " << size_t(lda) * 600 * sizeof(double) / (1 << 20)
                     << " MiB of free device memory";
    }
    for (int m : {600, 560}) {
        const int n = 600;
        ASSERT_GT(int64_t(lda) * n, int64_t(1) << 31);
        SCOPED_TRACE(m);
        const Matrix<double> a = clearPivots<double>(m, n, m, rng);
        double* d = nullptr;
        ASSERT_EQ(cudaMalloc(reinterpret_cast<void**>(&d), size_t(lda) * n * sizeof(double)),
                  cudaSuccess);
        int* dp = nullptr;
        ASSERT_EQ(cudaMalloc(reinterpret_cast<void**>(&dp), n * sizeof(int)), cudaSuccess);
        ASSERT_EQ(cudaMemcpy2D(d, lda * sizeof(double), a.data.data(), m * sizeof(double),
                               m * sizeof(double), n, cudaMemcpyHostToDevice),
                  cudaSuccess);
        EXPECT_EQ(zuliDeviceDgetrf(m, n, d, lda, dp), zuliNoError);
        Matrix<double> f(m, n, m);
        std::vector<int> piv(size_t(std::min(m, n)));
        ASSERT_EQ(cudaMemcpy2D(f.data.data(), m * sizeof(double), d, lda * sizeof(double),
                               m * sizeof(double), n, cudaMemcpyDeviceToHost),
                  cudaSuccess);
        ASSERT_EQ(cudaMemcpy(piv.data(), dp, piv.size() * sizeof(int), cudaMemcpyDeviceToHost),
                  cudaSuccess);
        cudaFree(d);
        cudaFree(dp);

        Matrix<double> want = a;
        std::vector<int> wantPiv(piv.size());
        ASSERT_EQ(zuli::lapack::getrf(m, n, want.ptr(), m, wantPiv.data()), 0);
        EXPECT_EQ(piv, wantPiv);
        EXPECT_LT(relativeError(f, want), 40);
    }
}

// Every allocation, cuBLAS call and CUDA call that getrf reaches, failing in turn, on the
// unblocked, row and transposed paths and through both interfaces.
TEST_F(SolverTest, GetrfFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    struct Shape {
        int m, n;
    } shapes[] = {{40, 30}, {200, 150}, {520, 520}};
    for (const Shape& s : shapes) {
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << s.m << " x " << s.n << " " << blas_test::apiName(api));
            const Matrix<double> original(s.m, s.n, s.m + 1, rng);
            // The complete result, as a call without faults leaves it.
            Matrix<double> factors = original;
            std::vector<int> pivots(size_t(s.n), -7);
            {
                DeviceArrays dev(api);
                ASSERT_EQ((api == Api::Host ? zuliDgetrf : zuliDeviceDgetrf)(
                              s.m, s.n, dev(factors), factors.ld, dev(pivots)),
                          zuliNoError);
                dev.download();
            }
            Matrix<double> a = original;
            std::vector<int> piv;
            std::unique_ptr<DeviceArrays> dev;
            double* pa = nullptr;
            int* pp = nullptr;
            const int failures = sweepFailures(
                [&] {
                    a = original;
                    piv.assign(size_t(s.n), -7);
                    dev = std::make_unique<DeviceArrays>(api);
                    pa = (*dev)(a);
                    pp = (*dev)(piv);
                },
                [&] {
                    return api == Api::Host ? zuliDgetrf(s.m, s.n, pa, a.ld, pp)
                                            : zuliDeviceDgetrf(s.m, s.n, pa, a.ld, pp);
                },
                [&](const Fault&) {
                    if (api != Api::Host) return;
                    // Each host array holds what it held or, when the failure came after the
                    // results were copied out, the complete result: never anything else.
                    EXPECT_TRUE(a.data == original.data || a.data == factors.data);
                    EXPECT_TRUE(piv == std::vector<int>(size_t(s.n), -7) || piv == pivots);
                });
            dev.reset();
            EXPECT_GT(failures, 3);
        }
    }
}

}  // namespace
