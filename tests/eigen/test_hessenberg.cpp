// The Hessenberg reduction (gehrd) and its Q (orghr / unghr): results against the host LAPACK on
// the host-only and the hybrid paths with ilo and ihi inside the matrix, A = Q H Q^H, argument
// checks, failure sweeps and what crosses the bus.
#include "solvers/solver_support.h"

#include "runtime/tuning.h"

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

template <typename T>
zuliStatus gehrd(Api api, int n, int ilo, int ihi, T* a, int lda, T* tau) {
    return ENTRY(api, gehrd)(n, ilo, ihi, pub(a), lda, pub(tau));
}
template <typename T>
zuliStatus orghr(Api api, int n, int ilo, int ihi, T* a, int lda, const T* tau) {
    return (api == Api::Host ? pick<T>(zuliSorghr, zuliDorghr, zuliCunghr, zuliZunghr)
                             : pick<T>(zuliDeviceSorghr, zuliDeviceDorghr, zuliDeviceCunghr,
                                       zuliDeviceZunghr))(n, ilo, ihi, pub(a), lda, pub(tau));
}

template <typename T, typename Call>
int withWork(Call call) {
    std::vector<T> work = lapack::workArray<T>(lapack::workSize<T>(call));
    return call(work.data(), int(work.size()));
}

// A random n x n matrix (leading dimension ld) that is upper triangular outside rows and columns
// ilo ... ihi (1-based), as a balancing leaves it.
template <typename T>
Matrix<T> balancedForm(int n, int ilo, int ihi, int ld, std::mt19937& rng) {
    Matrix<T> a(n, n, ld, rng);
    for (int j = 0; j < n; ++j)
        for (int i = j + 1; i < n; ++i)
            if (j < ilo - 1 || i > ihi - 1) a(i, j) = T(0);
    return a;
}

// C = op(A) op(B) on the host BLAS (n x n).
template <typename T>
Matrix<T> product(const Matrix<T>& a, char ta, const Matrix<T>& b, char tb) {
    const int n = a.n;
    Matrix<T> c(n, n, n);
    const T one(1), zero(0);
    pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
        CblasColMajor, blas_test::Cblas::trans(ta), blas_test::Cblas::trans(tb), n, n, n,
        blas_test::byBlas(one), a.data.data(), a.ld, b.data.data(), b.ld, blas_test::byBlas(zero),
        c.ptr(), c.ld);
    return c;
}

// ||A - Q H Q^H|| / (n ||A|| eps) and ||I - Q^H Q|| / (n eps), max norm, H the upper Hessenberg
// part of the reduced matrix r.
template <typename T>
std::pair<double, double> hessenbergRatios(const Matrix<T>& a, const Matrix<T>& r,
                                           const Matrix<T>& q) {
    const int n = a.n;
    Matrix<T> h(n, n, n);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i <= std::min(j + 1, n - 1); ++i) h(i, j) = r(i, j);
    Matrix<T> back = product(product(q, 'N', h, 'N'), 'N', q, 'C'), qq = product(q, 'C', q, 'N');
    double d = 0, o = 0;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            d = std::max(d, magnitude(back(i, j) - a(i, j)));
            o = std::max(o, magnitude(qq(i, j) - T(i == j ? 1 : 0)));
        }
    return {d / (n * maxAbs(a) * epsilon<T>()), o / (n * epsilon<T>())};
}

template <typename T>
class HessenbergTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(HessenbergTyped, AllPrecisions);

// gehrd and orghr against the host LAPACK's on the same matrix: the host-only path (at most
// kHessenbergHostColumns + 1 active columns), one and several panels with a partial one, ilo and
// ihi inside the matrix (columns beyond ihi updated from the left only), a padded array; through
// both interfaces. The results are LAPACK's within rounding, and A = Q H Q^H with Q orthogonal.
TYPED_TEST(HessenbergTyped, ReductionAndQMatchLapackOnEveryPath) {
    using T = TypeParam;
    const int nx = zuli::kHessenbergHostColumns, nb = zuli::kHessenbergBlockSize;
    struct Case {
        int n, ilo, ihi, pad;
    } cases[] = {{1, 1, 1, 0},
                 {2, 1, 2, 1},
                 {17, 3, 12, 0},
                 {nx + 1, 1, nx + 1, 2},
                 {nx + nb + 6, 1, nx + nb + 6, 0},
                 {nx + 2 * nb + 30, 5, nx + 2 * nb + 21, 3},
                 {9, 4, 4, 0}};
    for (const Case& c : cases)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << "n " << c.n << " ilo " << c.ilo << " ihi " << c.ihi
                                              << " " << blas_test::apiName(api));
            const int ld = c.n + c.pad;
            const Matrix<T> a = balancedForm<T>(c.n, c.ilo, c.ihi, ld, this->rng);
            Matrix<T> want = a, got = a;
            std::vector<T> wantTau(size_t(std::max(1, c.n - 1))), gotTau(wantTau.size(), T(7));
            ASSERT_EQ(withWork<T>([&](T* w, int l) {
                          return lapack::gehrd(c.n, c.ilo, c.ihi, want.ptr(), ld, wantTau.data(), w,
                                               l);
                      }),
                      0);
            {
                DeviceArrays dev(api);
                ASSERT_EQ(gehrd(api, c.n, c.ilo, c.ihi, dev(got), ld, dev(gotTau)), zuliNoError);
                dev.download();
            }
            EXPECT_LT(relativeError(got, want), 60);
            Matrix<T> tw(1, int(wantTau.size()), 1), tg = tw;
            tw.data = wantTau;
            tg.data = gotTau;
            if (c.n > 1) {
                EXPECT_LT(relativeError(tg, tw), 60);
            }

            Matrix<T> q = got;
            ASSERT_EQ(withWork<T>([&](T* w, int l) {
                          return lapack::orghr(c.n, c.ilo, c.ihi, want.ptr(), ld, wantTau.data(), w,
                                               l);
                      }),
                      0);
            {
                DeviceArrays dev(api);
                ASSERT_EQ(orghr(api, c.n, c.ilo, c.ihi, dev(q), ld, dev(gotTau)), zuliNoError);
                dev.download();
            }
            EXPECT_LT(relativeError(q, want), 60);
            const auto [backward, orthogonal] = hessenbergRatios(a, got, q);
            EXPECT_LT(backward, 30);
            EXPECT_LT(orthogonal, 30);
        }
}

// The argument checks in LAPACK's order through both interfaces and both routines; empty
// problems return before the pointers are checked and do nothing.
TYPED_TEST(HessenbergTyped, ArgumentTables) {
    using T = TypeParam;
    std::vector<T> a(64), tau(8);
    T *pa = a.data(), *pt = tau.data();
    struct Row {
        int n, ilo, ihi, lda;
        T *a, *tau;
        int info;
    } rows[] = {
        {-1, 1, 1, 1, pa, pt, -1},          {4, 0, 4, 4, pa, pt, -2},
        {4, 5, 4, 4, pa, pt, -2},           {0, 2, 0, 1, pa, pt, -2},
        {4, 3, 2, 4, pa, pt, -3},           {4, 1, 5, 4, pa, pt, -3},
        {4, 1, 4, 3, nullptr, nullptr, -5}, {0, 1, 0, 1, nullptr, nullptr, 0},
        {4, 1, 4, 4, nullptr, pt, -4},      {4, 1, 4, 4, pa, nullptr, -6},
    };
    for (const Row& r : rows)
        for (bool generate : {false, true})
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message()
                             << (generate ? "orghr " : "gehrd ") << r.n << " " << r.ilo << " "
                             << r.ihi << " " << r.lda << " " << blas_test::apiName(api));
                zuliEmuResetCounters();
                EXPECT_EQ(generate ? orghr(api, r.n, r.ilo, r.ihi, r.a, r.lda, r.tau)
                                   : gehrd(api, r.n, r.ilo, r.ihi, r.a, r.lda, r.tau),
                          r.info == 0 ? zuliNoError : zuliArgumentError);
                EXPECT_EQ(zuliGetErrorInfo(), r.info);
                if (r.n == 0) blas_test::expectNoWork();
            }
}

// The hybrid contract of a device gehrd in D of n = 2048: per panel its columns down and up, per
// column the reflector up and its product with the trailing matrix down, T up; the last
// kHessenbergHostColumns columns down and up once, tau up. Nothing else crosses the bus, and
// cuBLAS does nearly all of the 10/3 n^3 operations.
TEST_F(SolverTest, DeviceGehrdMovesOnlyPanelsAndLeavesTheUpdatesToCublas) {
    SKIP_ON_A_REAL_GPU();
    const int n = 2048, nb = zuli::kHessenbergBlockSize, nx = zuli::kHessenbergHostColumns;
    const double e = sizeof(double);
    Matrix<double> a(n, n, n, rng);
    std::vector<double> tau(static_cast<size_t>(n - 1));
    DeviceArrays dev(Api::Device);
    double *da = dev(a), *dt = dev(tau);
    zuliEmuResetCounters();
    ASSERT_EQ(zuliDeviceDgehrd(n, 1, n, da, n, dt), zuliNoError);
    double want = (n - 1) * e + 2.0 * n * nx * e;
    int p = 0;
    for (; p < n - 1 - nx; p += nb) {
        const double m = n - 1 - p;
        want += (2 * m * nb + nb * nb) * e;
        for (int j = 0; j < nb; ++j) want += (2 * m - j) * e;
    }
    EXPECT_EQ(p, n - nx);
    const auto c = counters();
    const double bus = double(c.h2dBytes + c.d2hBytes);
    EXPECT_LT(std::abs(bus - want), 0.05 * want) << bus << " bytes on the bus";
    EXPECT_EQ(c.d2dBytes, 0u);
    const double flops = 10.0 / 3 * double(n) * n * n;
    EXPECT_GT(c.blasFlops, 0.97 * flops) << "cuBLAS share " << c.blasFlops / flops;
    EXPECT_LT(c.blasFlops, 1.1 * flops);
}

// Every allocation, cuBLAS call and CUDA call that gehrd reaches on the hybrid path (one panel,
// then the host's columns), failing in turn: the status of the fault, no device memory left
// behind, and the caller's matrix either as it was or the complete result.
TEST_F(SolverTest, GehrdFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    const int n = zuli::kHessenbergHostColumns + 8;
    const Matrix<double> original(n, n, n, rng);
    Matrix<double> a = original, result = original;
    std::vector<double> tau(static_cast<size_t>(n - 1));
    ASSERT_EQ(zuliDgehrd(n, 1, n, result.ptr(), n, tau.data()), zuliNoError);
    const int failures = sweepFailures(
        [&] { a = original; }, [&] { return zuliDgehrd(n, 1, n, a.ptr(), n, tau.data()); },
        [&](const Fault&) { EXPECT_TRUE(a.data == original.data || a.data == result.data); });
    EXPECT_GT(failures, 8);
}

}  // namespace
