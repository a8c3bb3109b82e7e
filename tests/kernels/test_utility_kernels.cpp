// The building-block kernels: fills, copies, scaling, conjugation, the general matrix norms
// against the host LAPACK (also with a NaN and with grids of many blocks), machine parameters
// against LAPACK's lamch, and the typed memset.
#include "kernels/utility_kernels.h"
#include "runtime/host_lapack.h"
#include "runtime/runtime_fixture.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

using zuli::Complex;

template <typename T>
std::vector<T> randomValues(size_t count, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(-2.0, 2.0);
    std::vector<T> v(count);
    for (T& x : v) {
        if constexpr (zuli::IsComplexV<T>) {
            using R = typename T::value_type;
            x = T(R(u(rng)), R(u(rng)));
        } else {
            x = T(u(rng));
        }
    }
    return v;
}

template <typename T>
class Device {
  public:
    explicit Device(const std::vector<T>& host) : count_(host.size()) {
        EXPECT_EQ(cudaMalloc(reinterpret_cast<void**>(&p_), count_ * sizeof(T)), cudaSuccess);
        EXPECT_EQ(cudaMemcpy(p_, host.data(), count_ * sizeof(T), cudaMemcpyHostToDevice),
                  cudaSuccess);
    }
    ~Device() { cudaFree(p_); }
    T* get() const { return p_; }
    std::vector<T> host() const {
        std::vector<T> h(count_);
        EXPECT_EQ(cudaMemcpy(h.data(), p_, count_ * sizeof(T), cudaMemcpyDeviceToHost),
                  cudaSuccess);
        return h;
    }

  private:
    size_t count_;
    T* p_ = nullptr;
};

template <typename T>
bool same(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

template <typename T>
void expectSame(const std::vector<T>& got, const std::vector<T>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (size_t k = 0; k < got.size(); ++k) ASSERT_TRUE(same(got[k], want[k])) << "element " << k;
}

template <typename T>
class UtilityKernels : public runtime_test::RuntimeTest {};
using AllTypes = ::testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(UtilityKernels, AllTypes);

float refLange(char norm, int m, int n, const float* a, int lda, float* w) {
    return LAPACK_slange(&norm, &m, &n, a, &lda, w);
}
double refLange(char norm, int m, int n, const double* a, int lda, double* w) {
    return LAPACK_dlange(&norm, &m, &n, a, &lda, w);
}
float refLange(char norm, int m, int n, const Complex<float>* a, int lda, float* w) {
    return LAPACK_clange(&norm, &m, &n, a, &lda, w);
}
double refLange(char norm, int m, int n, const Complex<double>* a, int lda, double* w) {
    return LAPACK_zlange(&norm, &m, &n, a, &lda, w);
}

TYPED_TEST(UtilityKernels, LangeMatchesLapack) {
    using T = TypeParam;
    using R = zuli::ToRealT<T>;
    struct Shape {
        int m, n, lda;
    } shapes[] = {{1, 1, 1}, {17, 5, 20}, {300, 40, 301}, {3, 700, 3}, {0, 4, 1}};
    for (const Shape& s : shapes)
        for (char norm : {'M', '1', 'O', 'I', 'F', 'E'})
            for (bool withNaN : {false, true}) {
                if (withNaN && s.m == 0) continue;
                SCOPED_TRACE(testing::Message()
                             << norm << " " << s.m << "x" << s.n << (withNaN ? " NaN" : ""));
                std::vector<T> a = randomValues<T>(size_t(s.lda) * s.n, 3);
                if (withNaN) a[size_t(s.m) / 2 + size_t(s.n - 1) * s.lda] = T(std::nan(""));
                std::vector<R> w(std::max(s.m, 1));
                const R want = refLange(norm, s.m, s.n, a.data(), s.lda, w.data());
                Device<T> d(a);
                Device<R> work(
                    std::vector<R>(std::max<int64_t>(1, zuli::langeWorkspace(norm, s.m, s.n))));
                Device<R> result(std::vector<R>(1, R(-1)));
                zuli::launchLange<T>(norm, s.m, s.n, d.get(), s.lda, work.get(), result.get());
                ASSERT_EQ(cudaGetLastError(), cudaSuccess);
                const R got = result.host()[0];
                if (withNaN) {
                    EXPECT_TRUE(std::isnan(got));
                } else {
                    // The sums are formed in another order than LAPACK's.
                    EXPECT_NEAR(got, want, 64 * std::numeric_limits<R>::epsilon() * want);
                }
            }
}

TYPED_TEST(UtilityKernels, FillsAndCopies) {
    using T = TypeParam;
    const int m = 37, n = 21, lda = 40;
    const std::vector<T> a = randomValues<T>(size_t(lda) * n, 5);
    for (int value : {0, 1}) {
        Device<T> d(a);
        zuli::launchSetMatrix<T>(value, m, n, d.get(), lda);
        std::vector<T> want = a;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < m; ++i) want[i + size_t(j) * lda] = T(value);
        expectSame(d.host(), want);

        Device<T> v(a);
        zuli::launchSetVector<T>(value, 300, v.get(), 2);  // every other element
        want = a;
        for (int k = 0; k < 300; ++k) want[2 * k] = T(value);
        expectSame(v.host(), want);

        Device<T> single(a);
        zuli::launchSetSingle<T>(value, single.get() + 3);
        want = a;
        want[3] = T(value);
        expectSame(single.host(), want);
    }
    for (bool upper : {true, false})
        for (bool diagonal : {true, false}) {
            Device<T> d(a);
            const T value = T(7);
            zuli::launchSetTriangularMatrix<T>(upper, diagonal, m, n, d.get(), lda, value);
            std::vector<T> want = a;
            for (int j = 0; j < n; ++j)
                for (int i = 0; i < m; ++i)
                    if (i == j ? diagonal : (upper ? i < j : i > j))
                        want[i + size_t(j) * lda] = value;
            expectSame(d.host(), want);
        }

    const std::vector<T> b = randomValues<T>(size_t(lda) * n, 6);
    Device<T> src(a), dst(b);
    zuli::launchCopyMatrix<T>(m, n, src.get(), lda, dst.get(), lda);
    std::vector<T> want = b;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) want[i + size_t(j) * lda] = a[i + size_t(j) * lda];
    expectSame(dst.host(), want);

    Device<T> vdst(b);
    zuli::launchCopyVector<T>(200, src.get(), 3, vdst.get(), 2);
    want = b;
    for (int k = 0; k < 200; ++k) want[2 * k] = a[3 * k];
    expectSame(vdst.host(), want);
    zuli::launchCopySingle<T>(src.get() + 5, vdst.get());
    want[0] = a[5];
    expectSame(vdst.host(), want);
}

TYPED_TEST(UtilityKernels, ScaleByADeviceScalarAndTypedMemset) {
    using T = TypeParam;
    const std::vector<T> x = randomValues<T>(999, 8);
    const std::vector<T> alpha = randomValues<T>(1, 9);
    for (bool multiply : {true, false}) {
        Device<T> dx(x), da(alpha);
        zuli::launchScale<T>(multiply, 333, da.get(), dx.get(), 3);
        std::vector<T> want = x;
        for (int k = 0; k < 333; ++k)
            want[3 * k] = multiply ? x[3 * k] * alpha[0] : x[3 * k] / alpha[0];
        expectSame(dx.host(), want);
    }
    Device<T> dx(x);
    const T value = alpha[0];
    zuli::launchTypedMemset<T>(500, value, dx.get() + 1);
    std::vector<T> want = x;
    for (int k = 1; k <= 500; ++k) want[k] = value;
    expectSame(dx.host(), want);
}

TEST(UtilityKernelsReal, RealComplexCopiesConjugationAndLamch) {
    zuliEmuReset();
    const int m = 20, n = 9, ld = 22;
    const std::vector<double> r = randomValues<double>(size_t(ld) * n, 10);
    const std::vector<Complex<double>> c = randomValues<Complex<double>>(size_t(ld) * n, 11);
    {
        Device<double> dr(r);
        Device<Complex<double>> dc(c);
        zuli::launchCopyRealToComplex<double>(m, n, dr.get(), ld, dc.get(), ld);
        std::vector<Complex<double>> want = c;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < m; ++i)
                want[i + size_t(j) * ld] = Complex<double>(r[i + size_t(j) * ld], 0.0);
        expectSame(dc.host(), want);
        zuli::launchConjugateVector<Complex<double>>(50, dc.get(), 2);
        for (int k = 0; k < 50; ++k) want[2 * k] = zuli::conj(want[2 * k]);
        expectSame(dc.host(), want);
        zuli::launchMakeRealSingle<Complex<double>>(dc.get() + 1);
        want[1].im = 0.0;
        expectSame(dc.host(), want);
    }
    {
        Device<double> dr(r);
        Device<Complex<double>> dc(c);
        zuli::launchCopyComplexToReal<double>(m, n, dc.get(), ld, dr.get(), ld);
        std::vector<double> want = r;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < m; ++i) want[i + size_t(j) * ld] = c[i + size_t(j) * ld].re;
        expectSame(dr.host(), want);
        zuli::launchCopyVectorRealToComplex<double>(30, dr.get(), 1, dc.get(), 3);
        std::vector<Complex<double>> cwant = c;
        for (int k = 0; k < 30; ++k) cwant[3 * k] = Complex<double>(want[k], 0.0);
        expectSame(dc.host(), cwant);
    }
    for (char cmach : {'E', 'S', 'B', 'P', 'N', 'R', 'M', 'U', 'L', 'O'}) {
        SCOPED_TRACE(cmach);
        Device<double> d(std::vector<double>(1));
        Device<float> f(std::vector<float>(1));
        zuli::launchLamch<double>(cmach, d.get());
        zuli::launchLamch<float>(cmach, f.get());
        EXPECT_EQ(d.host()[0], LAPACK_dlamch(&cmach));
        EXPECT_EQ(f.host()[0], LAPACK_slamch(&cmach));
    }
    zuliEmuReset();
}

}  // namespace

namespace {

float refLanheOne(char uplo, int n, const float* a, int lda, float* w) {
    char norm = 'O';
    return LAPACK_slansy(&norm, &uplo, &n, a, &lda, w);
}
double refLanheOne(char uplo, int n, const double* a, int lda, double* w) {
    char norm = 'O';
    return LAPACK_dlansy(&norm, &uplo, &n, a, &lda, w);
}
float refLanheOne(char uplo, int n, const Complex<float>* a, int lda, float* w) {
    char norm = 'O';
    return LAPACK_clanhe(&norm, &uplo, &n, a, &lda, w);
}
double refLanheOne(char uplo, int n, const Complex<double>* a, int lda, double* w) {
    char norm = 'O';
    return LAPACK_zlanhe(&norm, &uplo, &n, a, &lda, w);
}

TYPED_TEST(UtilityKernels, HermitianOneNormMatchesLapack) {
    using T = TypeParam;
    using R = zuli::ToRealT<T>;
    for (int n : {1, 7, 300})
        for (char uplo : {'U', 'L'}) {
            SCOPED_TRACE(testing::Message() << uplo << " " << n);
            const int lda = n + 2;
            const std::vector<T> a = randomValues<T>(size_t(lda) * n, 12);
            std::vector<R> w(n);
            const R want = refLanheOne(uplo, n, a.data(), lda, w.data());
            Device<T> d(a);
            Device<R> work{std::vector<R>(n)};
            Device<R> result{std::vector<R>(1)};
            zuli::launchLanheOne<T>(uplo == 'U', n, d.get(), lda, work.get(), result.get());
            EXPECT_NEAR(result.host()[0], want, 64 * std::numeric_limits<R>::epsilon() * want);
        }
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
                Device<T> da(a), db(b);
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
                expectSame(db.host(), want);
            }
    Device<T> dx(a);
    zuli::launchComplementVector<T>(100, dx.get(), 2);
    zuli::launchComplementSingle<T>(dx.get() + 1);
    std::vector<T> want = a;
    for (int k = 0; k < 100; ++k) want[2 * k] = T(1) - a[2 * k];
    want[1] = T(1) - a[1];
    expectSame(dx.host(), want);
}

}  // namespace
