// bdsqr: singular values and vectors of random and graded bidiagonals (upper and lower) against
// the host LAPACK's on the same input, with and without vectors, through both interfaces; the
// argument table.
#include "solvers/solver_support.h"

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

template <typename T>
zuliStatus bdsqr(Api api, char uplo, int n, int ncvt, int nru, int ncc, Real<T>* d, Real<T>* e,
                 T* vt, int ldvt, T* u, int ldu, T* c, int ldc) {
    return ENTRY(api, bdsqr)(uplo, n, ncvt, nru, ncc, pub(d), pub(e), pub(vt), ldvt, pub(u), ldu,
                             pub(c), ldc);
}

// U diag(s) VT, of nru x n U and n x ncvt VT.
template <typename T>
Matrix<T> reconstruct(const Matrix<T>& u, const std::vector<Real<T>>& s, const Matrix<T>& vt) {
    Matrix<T> us = u;
    for (int j = 0; j < u.n; ++j)
        for (int i = 0; i < u.m; ++i) us(i, j) = us(i, j) * T(s[size_t(j)]);
    return product(CblasNoTrans, us, CblasNoTrans, vt);
}

template <typename T>
class BdsqrTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(BdsqrTyped, AllPrecisions);

// Random bidiagonals and graded ones (diagonal and off-diagonal falling by `grade` per step, the
// case LAPACK's relative accuracy and chase direction are about: graded downwards the chase
// runs from the top, upwards from the bottom), upper and lower, with U and VT random (the
// rotations applied to a general matrix, not only to the identity), and without vectors. The
// values must equal LAPACK's to a few ulps each; U diag(s) VT must equal LAPACK's (a
// reconstruction does not depend on the signs of vector pairs).
TYPED_TEST(BdsqrTyped, ValuesAndVectorsMatchLapack) {
    using T = TypeParam;
    using R = Real<T>;
    struct Case {
        int n, ncvt, nru;
        double grade;  // 0: random; else d(i) = grade^i (negative: rising towards the end)
    } cases[] = {{1, 1, 1, 0},      {1, 0, 0, 0},       {2, 2, 3, 0},       {2, 0, 0, 0},
                 {7, 7, 7, 0},      {9, 3, 0, 0},       {9, 0, 11, 0},      {12, 0, 0, 0},
                 {30, 30, 30, 0.7}, {30, 30, 30, -0.7}, {25, 25, 25, 1e-3}, {100, 100, 100, 0},
                 {100, 0, 0, 0.9}};
    std::uniform_real_distribution<double> uni(-1, 1);
    for (const Case& c : cases)
        for (char uplo : {'U', 'l'})
            for (Api api : kApis) {
                const int n = c.n;
                SCOPED_TRACE(::testing::Message()
                             << uplo << " n " << n << " ncvt " << c.ncvt << " nru " << c.nru
                             << " grade " << c.grade << " " << blas_test::apiName(api));
                std::vector<R> d(static_cast<size_t>(n)), e(size_t(std::max(n - 1, 1)), R(0));
                for (int i = 0; i < n; ++i) {
                    const double scale =
                        c.grade == 0 ? 1
                                     : std::pow(std::fabs(c.grade), c.grade > 0 ? i : n - 1 - i);
                    d[size_t(i)] = R(uni(this->rng) * scale);
                    if (i + 1 < n) e[size_t(i)] = R(uni(this->rng) * scale);
                }
                const int ldvt = std::max(1, n) + 1, ldu = std::max(1, c.nru) + 2;
                Matrix<T> vt0(n, c.ncvt, ldvt, this->rng), u0(c.nru, n, ldu, this->rng);
                std::vector<R> wd = d, we = e, gd = d, ge = e;
                Matrix<T> wvt = vt0, wu = u0, gvt = vt0, gu = u0;
                std::vector<R> work(size_t(4 * n + 1));
                ASSERT_EQ(lapack::bdsqr<T>(uplo == 'U' ? 'U' : 'L', n, c.ncvt, c.nru, 0, wd.data(),
                                           we.data(), wvt.ptr(), ldvt, wu.ptr(), ldu, nullptr, 1,
                                           work.data()),
                          0);
                {
                    DeviceArrays dev(api);
                    ASSERT_EQ(bdsqr<T>(api, uplo, n, c.ncvt, c.nru, 0, dev(gd), dev(ge), dev(gvt),
                                       ldvt, dev(gu), ldu, nullptr, 1),
                              zuliNoError);
                    dev.download();
                }
                for (int i = 0; i < n; ++i) {
                    const double w = wd[size_t(i)];
                    EXPECT_LE(std::fabs(gd[size_t(i)] - w), 8 * epsilon<T>() * w) << "s" << i;
                    if (i > 0) {
                        EXPECT_GE(gd[size_t(i - 1)], gd[size_t(i)]);
                    }
                }
                if (c.ncvt > 0 && c.nru > 0) {
                    EXPECT_LT(relativeError(reconstruct(gu, gd, gvt), reconstruct(wu, wd, wvt)),
                              30);
                } else if (c.ncvt > 0 || c.nru > 0) {
                    // one side only: the same rotations as LAPACK's, the matrix itself compares
                    EXPECT_LT(c.ncvt > 0 ? relativeError(gvt, wvt) : relativeError(gu, wu), 30);
                }
            }
}

// A NaN keeps the iteration from converging: zuliDataError with LAPACK's info, and d as
// LAPACK leaves it. In D, an order whose rotations overflow the staging area (a flush in the
// middle of the iteration) still gives LAPACK's U diag(s) VT, and only d, e and the rotations
// cross the bus.
TYPED_TEST(BdsqrTyped, FailureInfoAndLongRuns) {
    using T = TypeParam;
    using R = Real<T>;
    for (int n : {5, 40})
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << "n " << n << " " << blas_test::apiName(api));
            std::vector<R> d(static_cast<size_t>(n)), e(static_cast<size_t>(n), R(0.5));
            for (int i = 0; i < n; ++i) d[size_t(i)] = R(1 + 0.1 * i);
            d[2] = std::numeric_limits<R>::quiet_NaN();
            Matrix<T> vt(n, n, this->rng), u(n, n, this->rng);
            std::vector<R> wd = d, we = e, work(size_t(4 * n));
            Matrix<T> wvt = vt, wu = u;
            const int info = lapack::bdsqr<T>('U', n, n, n, 0, wd.data(), we.data(), wvt.ptr(), n,
                                              wu.ptr(), n, nullptr, 1, work.data());
            ASSERT_GT(info, 0);
            DeviceArrays dev(api);
            EXPECT_EQ(
                bdsqr<T>(api, 'U', n, n, n, 0, dev(d), dev(e), dev(vt), n, dev(u), n, nullptr, 1),
                zuliDataError);
            EXPECT_EQ(zuliGetErrorInfo(), info);
            dev.download();
            for (int i = 0; i < n; ++i)
                EXPECT_EQ(std::isnan(d[size_t(i)]), std::isnan(wd[size_t(i)])) << i;
        }
    if constexpr (std::is_same_v<T, double>) {
        const int n = 300;
        std::uniform_real_distribution<double> uni(-1, 1);
        std::vector<R> d(static_cast<size_t>(n)), e(static_cast<size_t>(n));
        for (R& v : d) v = R(uni(this->rng));
        for (R& v : e) v = R(uni(this->rng));
        Matrix<T> vt(n, n, this->rng), u(n, n, this->rng);
        std::vector<R> wd = d, we = e, work(size_t(4 * n));
        Matrix<T> wvt = vt, wu = u;
        ASSERT_EQ(lapack::bdsqr<T>('L', n, n, n, 0, wd.data(), we.data(), wvt.ptr(), n, wu.ptr(), n,
                                   nullptr, 1, work.data()),
                  0);
        DeviceArrays dev(Api::Device);
        R *dd = dev(d), *de = dev(e);
        T *dvt = dev(vt), *du = dev(u);
        zuliEmuResetCounters();
        ASSERT_EQ(bdsqr<T>(Api::Device, 'L', n, n, n, 0, dd, de, dvt, n, du, n, nullptr, 1),
                  zuliNoError);
        if (kEmulated) {
            // the vectors never cross the bus: d and e down and up, the staged rotations up in
            // two pieces (the staging area filled once)
            zuliEmuCounters c;
            zuliEmuGetCounters(&c);
            EXPECT_EQ(c.d2hCopies, 2u);
            EXPECT_EQ(c.h2dCopies, 4u);
            EXPECT_EQ(c.d2dCopies, 0u);
        }
        dev.download();
        EXPECT_LT(relativeError(reconstruct(u, d, vt), reconstruct(wu, wd, wvt)), 30);
    }
}

// The argument checks in LAPACK's order through both interfaces: a matrix C (ncc > 0) is
// refused as not implemented, but only once its ldc passed; n = 0 accepts null pointers.
TYPED_TEST(BdsqrTyped, ArgumentTable) {
    using T = TypeParam;
    using R = Real<T>;
    std::vector<T> a(64);
    std::vector<R> dv(8), ev(8);
    T* pa = a.data();
    R *d = dv.data(), *e = ev.data();
    struct Row {
        char uplo;
        int n, ncvt, nru, ncc;
        R *d, *e;
        T* vt;
        int ldvt;
        T* u;
        int ldu;
        T* c;
        int ldc;
        zuliStatus status;
        int info;
    } rows[] = {
        {'X', 4, 4, 4, 0, d, e, pa, 4, pa, 4, nullptr, 1, zuliArgumentError, -1},
        {'U', -1, 4, 4, 0, d, e, pa, 4, pa, 4, nullptr, 1, zuliArgumentError, -2},
        {'U', 4, -1, 4, 0, d, e, pa, 4, pa, 4, nullptr, 1, zuliArgumentError, -3},
        {'U', 4, 4, -1, 0, d, e, pa, 4, pa, 4, nullptr, 1, zuliArgumentError, -4},
        {'U', 4, 4, 4, -1, d, e, pa, 4, pa, 4, nullptr, 1, zuliArgumentError, -5},
        {'U', 4, 0, 4, 0, d, e, pa, 0, pa, 4, nullptr, 1, zuliArgumentError, -9},
        {'U', 4, 2, 4, 0, d, e, pa, 3, pa, 4, nullptr, 1, zuliArgumentError, -9},
        {'L', 4, 4, 5, 0, d, e, pa, 4, pa, 4, nullptr, 1, zuliArgumentError, -11},
        {'U', 4, 4, 4, 0, d, e, pa, 4, pa, 4, nullptr, 0, zuliArgumentError, -13},
        {'U', 4, 4, 4, 2, d, e, pa, 4, pa, 4, pa, 3, zuliArgumentError, -13},
        {'U', 4, 4, 4, 2, d, e, pa, 4, pa, 4, pa, 4, zuliFeatureNotImplemented, 0},
        {'U', 0, 0, 0, 0, nullptr, nullptr, nullptr, 1, nullptr, 1, nullptr, 1, zuliNoError, 0},
        {'U', 4, 4, 4, 0, nullptr, e, pa, 4, pa, 4, nullptr, 1, zuliArgumentError, -6},
        {'U', 4, 4, 4, 0, d, nullptr, pa, 4, pa, 4, nullptr, 1, zuliArgumentError, -7},
        {'u', 1, 1, 1, 0, d, nullptr, pa, 1, pa, 1, nullptr, 1, zuliNoError, 0},
        {'U', 4, 4, 4, 0, d, e, nullptr, 4, pa, 4, nullptr, 1, zuliArgumentError, -8},
        {'U', 4, 4, 4, 0, d, e, pa, 4, nullptr, 4, nullptr, 1, zuliArgumentError, -10},
        {'U', 4, 0, 0, 0, d, e, nullptr, 1, nullptr, 1, nullptr, 1, zuliNoError, 0},
    };
    for (const Row& r : rows)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << r.uplo << " n " << r.n << " expected " << r.info
                                              << " " << blas_test::apiName(api));
            DeviceArrays dev(api);
            EXPECT_EQ(bdsqr<T>(api, r.uplo, r.n, r.ncvt, r.nru, r.ncc, dev(r.d, dv.size()),
                               dev(r.e, ev.size()), dev(r.vt, a.size()), r.ldvt, dev(r.u, a.size()),
                               r.ldu, dev(r.c, a.size()), r.ldc),
                      r.status);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
        }
}

}  // namespace
