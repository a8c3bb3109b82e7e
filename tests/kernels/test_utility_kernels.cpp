// The building-block kernels: fills, copies, scaling, conjugation, the general matrix norms
// against the host LAPACK (also with a NaN and with grids of many blocks), machine parameters
// against LAPACK's lamch, and the typed memset.
#include "kernels/utility_kernels.h"
#include "kernel_test_support.h"
#include "runtime/host_lapack.h"

#include <cmath>
#include <limits>
#include <vector>

namespace {

using zuli::Complex;
using namespace kernel_tests;

template <typename T>
class UtilityKernels : public runtime_test::RuntimeTest {};
using AllTypes = ::testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(UtilityKernels, AllTypes);

// LAPACK's norm of a general matrix (uplo 0) or its one-norm of a Hermitian (symmetric) one.
#define ZULI_REF_NORM(T, l, he)                                                       \
    zuli::ToRealT<T> refNorm(char norm, char uplo, int m, int n, const T* a, int lda, \
                             zuli::ToRealT<T>* w) {                                   \
        return uplo ? LAPACK_##l##he(&norm, &uplo, &n, a, &lda, w)                    \
                    : LAPACK_##l##lange(&norm, &m, &n, a, &lda, w);                   \
    }
ZULI_REF_NORM(float, s, lansy)
ZULI_REF_NORM(double, d, lansy)
ZULI_REF_NORM(Complex<float>, c, lanhe)
ZULI_REF_NORM(Complex<double>, z, lanhe)
#undef ZULI_REF_NORM

// The general norms (uplo 0) and the Hermitian one-norm, also with a NaN and with grids of many
// blocks.
TYPED_TEST(UtilityKernels, NormsMatchLapack) {
    using T = TypeParam;
    using R = zuli::ToRealT<T>;
    struct Case {
        char uplo;
        int m, n, lda;
    } cases[] = {{0, 1, 1, 1},   {0, 17, 5, 20},       {0, 300, 40, 301},
                 {0, 3, 700, 3}, {0, 0, 4, 1},         {'U', 1, 1, 3},
                 {'L', 7, 7, 9}, {'U', 300, 300, 302}, {'L', 300, 300, 302}};
    for (const Case& c : cases)
        for (const char* norm = c.uplo ? "O" : "M1OIFE"; *norm; ++norm)
            for (bool withNaN : {false, true}) {
                if (withNaN && (c.m == 0 || c.uplo)) continue;
                SCOPED_TRACE(testing::Message() << *norm << " " << (c.uplo ? c.uplo : '-') << " "
                                                << c.m << "x" << c.n << (withNaN ? " NaN" : ""));
                std::vector<T> a = randomValues<T>(size_t(c.lda) * c.n, 3);
                if (withNaN) a[size_t(c.m) / 2 + size_t(c.n - 1) * c.lda] = T(std::nan(""));
                std::vector<R> w(std::max(c.m, 1));
                const R want = refNorm(*norm, c.uplo, c.m, c.n, a.data(), c.lda, w.data());
                DeviceArray<T> d(a);
                const int64_t workSize = c.uplo ? c.n : zuli::langeWorkspace(*norm, c.m, c.n);
                DeviceArray<R> work(std::vector<R>(std::max<int64_t>(1, workSize)));
                DeviceArray<R> result(std::vector<R>(1, R(-1)));
                if (c.uplo)
                    zuli::launchLanheOne<T>(c.uplo == 'U', c.n, d.get(), c.lda, work.get(),
                                            result.get());
                else
                    zuli::launchLange<T>(*norm, c.m, c.n, d.get(), c.lda, work.get(), result.get());
                ASSERT_EQ(cudaGetLastError(), cudaSuccess);
                const R got = result.download()[0];
                if (withNaN) {
                    EXPECT_TRUE(std::isnan(got));
                } else {
                    // The sums are formed in another order than LAPACK's.
                    EXPECT_NEAR(got, want, 64 * std::numeric_limits<R>::epsilon() * want);
                }
            }
}

// The leading m x n block of `base` (leading dimension ld) with f(i, j, old) at each (i, j).
template <typename T, typename F>
std::vector<T> withBlock(std::vector<T> base, int m, int n, int ld, F f) {
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) base[i + size_t(j) * ld] = f(i, j, base[i + size_t(j) * ld]);
    return base;
}

TYPED_TEST(UtilityKernels, FillsAndCopies) {
    using T = TypeParam;
    const int m = 37, n = 21, lda = 40;
    const std::vector<T> a = randomValues<T>(size_t(lda) * n, 5);
    const std::vector<T> b = randomValues<T>(size_t(lda) * n, 6);
    for (int value : {0, 1}) {
        DeviceArray<T> d(a), v(a);
        zuli::launchSetMatrix<T>(value, m, n, d.get(), lda);
        const auto fill = [&](int, int, T) { return T(value); };
        EXPECT_TRUE(identical(d.download(), withBlock(a, m, n, lda, fill)));
        zuli::launchSetVector<T>(value, 300, v.get(), 2);  // every other element
        zuli::launchSetSingle<T>(value, v.get() + 3);
        std::vector<T> want = a;
        for (int k = 0; k < 300; ++k) want[2 * k] = T(value);
        want[3] = T(value);
        EXPECT_TRUE(identical(v.download(), want));
    }
    for (bool upper : {true, false})
        for (bool diagonal : {true, false}) {
            DeviceArray<T> d(a);
            zuli::launchSetTriangularMatrix<T>(upper, diagonal, m, n, d.get(), lda, T(7));
            const auto fill = [&](int i, int j, T old) {
                return (i == j ? diagonal : (upper ? i < j : i > j)) ? T(7) : old;
            };
            EXPECT_TRUE(identical(d.download(), withBlock(a, m, n, lda, fill)));
        }

    DeviceArray<T> src(a), dst(b), vdst(b);
    zuli::launchCopyMatrix<T>(m, n, src.get(), lda, dst.get(), lda);
    const auto copy = [&](int i, int j, T) { return a[i + size_t(j) * lda]; };
    EXPECT_TRUE(identical(dst.download(), withBlock(b, m, n, lda, copy)));
    zuli::launchCopyVector<T>(200, src.get(), 3, vdst.get(), 2);
    zuli::launchCopySingle<T>(src.get() + 5, vdst.get() + 1);
    std::vector<T> want = b;
    for (int k = 0; k < 200; ++k) want[2 * k] = a[3 * k];
    want[1] = a[5];
    EXPECT_TRUE(identical(vdst.download(), want));
}

TYPED_TEST(UtilityKernels, ScaleByADeviceScalarAndTypedMemset) {
    using T = TypeParam;
    const std::vector<T> x = randomValues<T>(999, 8);
    const std::vector<T> alpha = randomValues<T>(1, 9);
    for (bool multiply : {true, false}) {
        DeviceArray<T> dx(x), da(alpha);
        zuli::launchScale<T>(multiply, 333, da.get(), dx.get(), 3);
        std::vector<T> want = x;
        for (int k = 0; k < 333; ++k)
            want[3 * k] = multiply ? x[3 * k] * alpha[0] : x[3 * k] / alpha[0];
        EXPECT_TRUE(identical(dx.download(), want));
    }
    DeviceArray<T> dx(x);
    const T value = alpha[0];
    zuli::launchTypedMemset<T>(500, value, dx.get() + 1);
    std::vector<T> want = x;
    for (int k = 1; k <= 500; ++k) want[k] = value;
    EXPECT_TRUE(identical(dx.download(), want));
}

TEST(UtilityKernelsReal, RealComplexCopiesConjugationAndLamch) {
    zuliEmuReset();
    using Z = Complex<double>;
    const int m = 20, n = 9, ld = 22;
    const std::vector<double> r = randomValues<double>(size_t(ld) * n, 10);
    const std::vector<Z> c = randomValues<Z>(size_t(ld) * n, 11);
    {
        DeviceArray<double> dr(r);
        DeviceArray<Z> dc(c);
        zuli::launchCopyRealToComplex<double>(m, n, dr.get(), ld, dc.get(), ld);
        zuli::launchConjugateVector<Z>(50, dc.get(), 2);
        zuli::launchMakeRealSingle<Z>(dc.get() + 1);
        std::vector<Z> want =
            withBlock(c, m, n, ld, [&](int i, int j, Z) { return Z(r[i + size_t(j) * ld], 0.0); });
        for (int k = 0; k < 50; ++k) want[2 * k] = zuli::conj(want[2 * k]);
        want[1].im = 0.0;
        EXPECT_TRUE(identical(dc.download(), want));

        // From complex (dc now holds `want`) back to real, then a strided vector to complex.
        zuli::launchCopyComplexToReal<double>(m, n, dc.get(), ld, dr.get(), ld);
        const std::vector<double> realWant = withBlock(
            r, m, n, ld, [&](int i, int j, double) { return want[i + size_t(j) * ld].re; });
        EXPECT_TRUE(identical(dr.download(), realWant));
        zuli::launchCopyVectorRealToComplex<double>(30, dr.get(), 1, dc.get(), 3);
        for (int k = 0; k < 30; ++k) want[3 * k] = Z(realWant[k], 0.0);
        EXPECT_TRUE(identical(dc.download(), want));
    }
    for (char cmach : {'E', 'S', 'B', 'P', 'N', 'R', 'M', 'U', 'L', 'O'}) {
        SCOPED_TRACE(cmach);
        DeviceArray<double> d(std::vector<double>(1));
        DeviceArray<float> f(std::vector<float>(1));
        zuli::launchLamch<double>(cmach, d.get());
        zuli::launchLamch<float>(cmach, f.get());
        EXPECT_EQ(d.download()[0], LAPACK_dlamch(&cmach));
        EXPECT_EQ(f.download()[0], LAPACK_slamch(&cmach));
    }
    zuliEmuReset();
}

// op_B(B) becomes op_A(A) -/+ op_B(B), B keeping its own layout.
TYPED_TEST(UtilityKernels, SumsDifferencesAndComplements) {
    using T = TypeParam;
    const int m = 19, n = 23, ld = 25;  // ld covers both m and n rows
    const std::vector<T> a = randomValues<T>(size_t(ld) * ld, 13);
    const std::vector<T> b = randomValues<T>(size_t(ld) * ld, 14);
    auto op = [&](const std::vector<T>& x, bool t, int i, int j) -> T {
        return t ? x[j + size_t(i) * ld] : x[i + size_t(j) * ld];
    };
    for (bool subtract : {true, false})
        for (bool ta : {false, true})
            for (bool tb : {false, true}) {
                SCOPED_TRACE(testing::Message() << (subtract ? "-" : "+") << ta << tb);
                DeviceArray<T> da(a), db(b);
                const char opA = ta ? 'T' : 'N', opB = tb ? 'T' : 'N';
                if (subtract)
                    zuli::launchSubtractMatrix<T>(opA, opB, m, n, da.get(), ld, db.get(), ld);
                else
                    zuli::launchAddMatrix<T>(opA, opB, m, n, da.get(), ld, db.get(), ld);
                std::vector<T> want = b;
                for (int j = 0; j < n; ++j)
                    for (int i = 0; i < m; ++i) {
                        const T r = subtract ? op(a, ta, i, j) - op(b, tb, i, j)
                                             : op(a, ta, i, j) + op(b, tb, i, j);
                        (tb ? want[j + size_t(i) * ld] : want[i + size_t(j) * ld]) = r;
                    }
                EXPECT_TRUE(identical(db.download(), want));
            }
    DeviceArray<T> dx(a);
    zuli::launchComplementVector<T>(100, dx.get(), 2);
    zuli::launchComplementSingle<T>(dx.get() + 1);
    std::vector<T> want = a;
    for (int k = 0; k < 100; ++k) want[2 * k] = T(1) - a[2 * k];
    want[1] = T(1) - a[1];
    EXPECT_TRUE(identical(dx.download(), want));
}

}  // namespace
