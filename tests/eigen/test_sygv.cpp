// The generalized symmetric-definite eigenproblem (sygv / hegv): the residual of each problem
// form and the B-orthonormality of the vectors, eigenvalues against the host LAPACK on the host
// reduction and the blocked one, a B that is not positive definite, the argument table and a
// failure sweep.
#include "solvers/solver_support.h"

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

template <typename T>
zuliStatus sygv(Api api, int itype, char jobz, char uplo, int n, T* a, int lda, T* b, int ldb,
                Real<T>* w) {
    return (api == Api::Host
                ? pick<T>(zuliSsygv, zuliDsygv, zuliChegv, zuliZhegv)
                : pick<T>(zuliDeviceSsygv, zuliDeviceDsygv, zuliDeviceChegv, zuliDeviceZhegv))(
        itype, jobz, uplo, n, pub(a), lda, pub(b), ldb, pub(w));
}

// A random Hermitian matrix (both triangles stored) of order n; with `definite`, scaled to a unit
// diagonal after adding 3 sqrt(n) to it: positive definite, ||B|| of order 1 and well conditioned.
template <typename T>
Matrix<T> hermitian(int n, int ld, std::mt19937& rng, bool definite = false) {
    Matrix<T> a(n, n, ld, rng);
    const double shift = definite ? 3 * std::sqrt(double(n)) : 0;
    for (int j = 0; j < n; ++j) {
        a(j, j) = T(Real<T>(zuli::real(a(j, j)) + shift));
        for (int i = j + 1; i < n; ++i) a(j, i) = zuli::conj(a(i, j));
    }
    if (definite)
        for (T& v : a.data) v = v * T(Real<T>(1 / (shift + 1)));
    return a;
}

// The 1-norm (largest column sum).
template <typename T>
double norm1(const Matrix<T>& a) {
    double r = 0;
    for (int j = 0; j < a.n; ++j) {
        double s = 0;
        for (int i = 0; i < a.m; ++i) s += magnitude(a(i, j));
        r = std::max(r, s);
    }
    return r;
}

// ||lhs - rhs|| / (n ||A|| ||B|| ||Z|| eps) in the 1-norm, lhs and rhs the two sides of the
// problem form: A Z = B Z W (itype 1), A B Z = Z W (2), B A Z = Z W (3).
template <typename T>
double formResidual(int itype, const Matrix<T>& a, const Matrix<T>& b, const Matrix<T>& z,
                    const std::vector<Real<T>>& w) {
    Matrix<T> zw = z;
    for (int j = 0; j < z.n; ++j)
        for (int i = 0; i < z.n; ++i) zw(i, j) = z(i, j) * T(w[size_t(j)]);
    const auto N = CblasNoTrans;
    Matrix<T> r = itype == 1   ? product(N, a, N, z)
                  : itype == 2 ? product(N, a, N, product(N, b, N, z))
                               : product(N, b, N, product(N, a, N, z));
    const Matrix<T> rhs = itype == 1 ? product(N, b, N, zw) : zw;
    for (int j = 0; j < z.n; ++j)
        for (int i = 0; i < z.n; ++i) r(i, j) = r(i, j) - rhs(i, j);
    return norm1(r) / (z.n * norm1(a) * norm1(b) * norm1(z) * epsilon<T>());
}

// ||Z^H M Z - I|| / (n eps), M = B (itype 1, 2) or B^-1 (itype 3), max norm.
template <typename T>
double bDeparture(int itype, const Matrix<T>& b, const Matrix<T>& z) {
    Matrix<T> mz = z;
    if (itype < 3) {
        mz = product(CblasNoTrans, b, CblasNoTrans, z);
    } else {
        Matrix<T> f = b;
        EXPECT_EQ(lapack::potrf('L', b.n, f.ptr(), f.ld), 0);
        EXPECT_EQ(lapack::potrs('L', b.n, z.n, f.ptr(), f.ld, mz.ptr(), mz.ld), 0);
    }
    const Matrix<T> g = product(CblasConjTrans, z, CblasNoTrans, mz);
    double o = 0;
    for (int j = 0; j < z.n; ++j)
        for (int i = 0; i < z.n; ++i) o = std::max(o, magnitude(g(i, j) - T(i == j ? 1 : 0)));
    return o / (z.n * epsilon<T>());
}

template <typename T>
class SygvTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(SygvTyped, AllPrecisions);

// Every problem form and triangle, with and without vectors, against the host LAPACK's sygv: the
// host reduction (n = 50 and 1) and the blocked one (n = 150: a block of 128 and the rest, or two
// of 64 and the rest on a device of the first generation), a padded A; both interfaces.
TYPED_TEST(SygvTyped, SolvesEveryProblemFormOnEveryPath) {
    using T = TypeParam;
    using R = Real<T>;
    for (int code : this->generations()) {
        this->useCapability(code);
        for (int n : {1, 50, 150}) {
            if (code != 90 && n < 150) continue;
            const Matrix<T> a = hermitian<T>(n, n + 3, this->rng),
                            b = hermitian<T>(n, n, this->rng, true);
            for (int itype : {1, 2, 3})
                for (char uplo : {'U', 'L'})
                    for (char jobz : {'V', 'N'})
                        for (Api api : kApis) {
                            SCOPED_TRACE(::testing::Message()
                                         << "cc " << code << " n " << n << " itype " << itype
                                         << uplo << jobz << " " << blas_test::apiName(api));
                            Matrix<T> wa = a, wb = b, ga = a, gb = b;
                            std::vector<R> want(static_cast<size_t>(n)), got(want.size(), R(7)),
                                rwork(3 * size_t(n));
                            ASSERT_EQ(withWork<T>([&](T* work, int l) {
                                          return lapack::sygv(itype, jobz, uplo, n, wa.ptr(), wa.ld,
                                                              wb.ptr(), wb.ld, want.data(), work, l,
                                                              rwork.data());
                                      }),
                                      0);
                            {
                                DeviceArrays dev(api);
                                ASSERT_EQ(sygv(api, itype, jobz, uplo, n, dev(ga), ga.ld, dev(gb),
                                               gb.ld, dev(got)),
                                          zuliNoError);
                                dev.download();
                            }
                            double diff = 0, top = 0;
                            for (size_t i = 0; i < want.size(); ++i) {
                                diff = std::max(diff, double(std::abs(got[i] - want[i])));
                                top = std::max(top, double(std::abs(want[i])));
                            }
                            EXPECT_LT(diff / (n * epsilon<T>() * top), 30);
                            // B's Cholesky factor comes back in its triangle uplo.
                            EXPECT_LT(relativeError(gb, wb), 30);
                            if (jobz == 'N') continue;
                            Matrix<T> z(n, n, n);
                            for (int j = 0; j < n; ++j)
                                for (int i = 0; i < n; ++i) z(i, j) = ga(i, j);
                            EXPECT_LT(formResidual(itype, a, b, z, got), 30);
                            EXPECT_LT(bDeparture(itype, b, z), 30);
                        }
        }
    }
}

// Data errors. A B whose leading minor of order 3 is not positive definite fails with info
// n + 3 before A is touched (the partial factor comes back; the host interface leaves w alone).
// A NaN in A makes the eigensolver fail to converge: its info, at most n, is the driver's.
TYPED_TEST(SygvTyped, DataErrorsReportTheirInfo) {
    using T = TypeParam;
    using R = Real<T>;
    const int n = 10;
    const Matrix<T> a = hermitian<T>(n, n, this->rng), b = hermitian<T>(n, n, this->rng, true);
    for (bool indefinite : {true, false})
        for (char uplo : {'U', 'L'})
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message() << (indefinite ? "indefinite B " : "NaN in A ")
                                                  << uplo << " " << blas_test::apiName(api));
                Matrix<T> ga = a, gb = b;
                (indefinite ? gb : ga)(2, 2) = T(R(indefinite ? -1 : NAN));
                const Matrix<T> a0 = ga;
                std::vector<R> w(static_cast<size_t>(n), R(7));
                DeviceArrays dev(api);
                EXPECT_EQ(sygv(api, 1, 'V', uplo, n, dev(ga), n, dev(gb), n, dev(w)),
                          zuliDataError);
                const int info = zuliGetErrorInfo();
                dev.download();
                if (!indefinite) {
                    EXPECT_TRUE(info >= 1 && info <= n) << info;
                    continue;
                }
                EXPECT_EQ(info, n + 3);
                EXPECT_EQ(ga.data, a0.data);
                if (api == Api::Host) {
                    EXPECT_EQ(w, std::vector<R>(w.size(), R(7)));
                }
                EXPECT_EQ(gb(0, 0), T(R(std::sqrt(double(zuli::real(b(0, 0)))))));
            }
}

// Every check in order, all before the empty return: itype before jobz, null pointers with n = 0,
// lda and ldb against max(1, n); lower-case letters are accepted. An empty problem with valid
// pointers does nothing.
TYPED_TEST(SygvTyped, ArgumentTable) {
    using T = TypeParam;
    using R = Real<T>;
    std::vector<T> a(16), b(16);
    std::vector<R> w(4);
    T *pa = a.data(), *pb = b.data();
    R* pw = w.data();
    struct Row {
        int itype;
        char jobz, uplo;
        int n, lda, ldb;
        T *a, *b;
        R* w;
        int info;
    } rows[] = {
        {4, 'X', 'U', 3, 3, 3, pa, pb, pw, -1},      {0, 'V', 'U', 3, 3, 3, pa, pb, pw, -1},
        {1, 'X', 'U', 3, 3, 3, pa, pb, pw, -2},      {2, 'v', 'X', 3, 3, 3, pa, pb, pw, -3},
        {3, 'n', 'l', -1, 3, 3, pa, pb, pw, -4},     {1, 'V', 'U', 0, 1, 1, nullptr, pb, pw, -5},
        {1, 'V', 'U', 3, 2, 3, pa, pb, pw, -6},      {1, 'N', 'L', 0, 0, 1, pa, pb, pw, -6},
        {2, 'V', 'L', 0, 1, 1, pa, nullptr, pw, -7}, {3, 'V', 'u', 3, 3, 2, pa, pb, pw, -8},
        {1, 'V', 'U', 0, 1, 1, pa, pb, nullptr, -9}, {1, 'N', 'U', 3, 3, 3, pa, pb, nullptr, -9},
        {1, 'v', 'u', 0, 1, 1, pa, pb, pw, 0},
    };
    for (const Row& r : rows)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << "row info " << r.info << " n " << r.n << " "
                                              << blas_test::apiName(api));
            DeviceArrays dev(api);
            T *da = dev(r.a, a.size()), *db = dev(r.b, b.size());
            R* dw = dev(r.w, w.size());
            zuliEmuResetCounters();
            EXPECT_EQ(sygv(api, r.itype, r.jobz, r.uplo, r.n, da, r.lda, db, r.ldb, dw),
                      r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            blas_test::expectNoWork();
        }
}

// Injected faults at every point a blocked sygv reaches (D, jobz 'N', n = 70 on a first-generation
// device: blocks of 64 and 6), through the host interface, whose points include the device
// interface's: the fault's status, no device memory left behind, and each of the caller's arrays
// either as it was or (a fault among the copies back) holding its result.
TEST_F(SolverTest, SygvFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    useCapability(13);
    const int n = 70;
    const Matrix<double> a0 = hermitian<double>(n, n, rng), b0 = hermitian<double>(n, n, rng, true);
    const std::vector<double> w0(static_cast<size_t>(n), 7.0);
    Matrix<double> a1 = a0, b1 = b0, a = a0, b = b0;
    std::vector<double> w1 = w0, w = w0;
    ASSERT_EQ(zuliDsygv(1, 'N', 'L', n, a1.ptr(), n, b1.ptr(), n, w1.data()), zuliNoError);
    const int failures = sweepFailures(
        [&] {
            a = a0;
            b = b0;
            w = w0;
        },
        [&] { return zuliDsygv(1, 'N', 'L', n, a.ptr(), n, b.ptr(), n, w.data()); },
        [&](const Fault&) {
            EXPECT_TRUE(a.data == a0.data || a.data == a1.data);
            EXPECT_TRUE(b.data == b0.data || b.data == b1.data);
            EXPECT_TRUE(w == w0 || w == w1);
        });
    EXPECT_GT(failures, 4);
}

}  // namespace
