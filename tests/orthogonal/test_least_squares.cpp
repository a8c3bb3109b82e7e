// Least squares (gels, geqrs) and the equality-constrained problem (ggrqf, gglse) against the host
// LAPACK on the same input by LAPACK's kind of ratios, on the QR and LQ paths on both sides of the
// block size; argument tables; data errors; a failure sweep.
#include "solvers/solver_support.h"

#include "runtime/tuning.h"

#include <memory>

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

// The host LAPACK takes 'T' for S and D, 'C' for C and Z.
template <typename T>
char lapackTrans(char trans) {
    return trans == 'N' ? 'N' : (zuli::IsComplexV<T> ? 'C' : 'T');
}

template <typename T>
double norm1(const Matrix<T>& a) {
    return a.m < 1 || a.n < 1 ? 0.0
                              : double(lapack::lange('1', a.m, a.n, a.data.data(), a.ld, nullptr));
}

// The rows r0 ... r0 + count - 1 of a.
template <typename T>
Matrix<T> rows(const Matrix<T>& a, int r0, int count) {
    Matrix<T> r(count, a.n, std::max(1, count));
    for (int j = 0; j < a.n; ++j)
        for (int i = 0; i < count; ++i) r(i, j) = a(r0 + i, j);
    return r;
}

// ||T||_1 ||T^-1||_1 of the k x k triangle `uplo` of f.
template <typename T>
double triangleCondition(char uplo, const Matrix<T>& f, int k) {
    Matrix<T> t(k, k, k);
    for (int j = 0; j < k; ++j)
        for (int i = 0; i < k; ++i) t(i, j) = (uplo == 'U' ? i <= j : i >= j) ? f(i, j) : T(0);
    const double norm = norm1(t);
    EXPECT_EQ(lapack::trtri(uplo, 'N', k, t.ptr(), t.ld), 0);
    return norm * norm1(t);
}

// LAPACK's comparison of two solutions: max over columns of ||x - want|| / ||want|| / (kappa eps).
template <typename T>
double solutionRatio(const Matrix<T>& x, const Matrix<T>& want, double kappa) {
    double worst = 0;
    for (int j = 0; j < want.n; ++j) {
        double diff = 0, size = 0;
        for (int i = 0; i < want.m; ++i) {
            diff = std::max(diff, magnitude(x(i, j) - want(i, j)));
            size = std::max(size, magnitude(want(i, j)));
        }
        worst = std::max(worst, size > 0 ? diff / size : diff);
    }
    return worst / (kappa * epsilon<T>());
}

// ||the part of x outside the column space of a (m >= n) or the row space of a (m < n)||, with
// a's QR or LQ factorization by the host LAPACK: zero for a minimum-norm solution.
template <typename T>
double outsideSpace(const Matrix<T>& a, Matrix<T> x) {
    const int m = a.m, n = a.n, k = std::min(m, n), big = std::max(m, n);
    Matrix<T> f = a;
    std::vector<T> tau(static_cast<size_t>(k));
    EXPECT_EQ(withWork<T>([&](T* w, int l) {
                  return m >= n ? lapack::geqrf(m, n, f.ptr(), f.ld, tau.data(), w, l)
                                : lapack::gelqf(m, n, f.ptr(), f.ld, tau.data(), w, l);
              }),
              0);
    EXPECT_EQ(withWork<T>([&](T* w, int l) {
                  return m >= n ? lapack::ormqr('L', lapackTrans<T>('C'), m, x.n, k, f.ptr(), f.ld,
                                                tau.data(), x.ptr(), x.ld, w, l)
                                : lapack::ormlq('L', 'N', n, x.n, k, f.ptr(), f.ld, tau.data(),
                                                x.ptr(), x.ld, w, l);
              }),
              0);
    return norm1(rows(x, k, big - k));
}

template <typename T>
class LeastSquaresTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(LeastSquaresTyped, AllPrecisions);

// gels on tall, wide and square matrices, on the host-only path and across the block size, every
// trans letter, nrhs 0, 1 and several, both interfaces: A as LAPACK factors it, x as LAPACK's to
// within the condition number, and LAPACK's ratios: ||op(A)^H (b - op(A) x)|| / (max(m, n, nrhs)
// ||A|| ||b|| eps) for an overdetermined op(A); for an underdetermined one ||b - op(A) x|| /
// (max(m, n, nrhs) ||A|| ||x|| eps) and x in op(A)'s row space. geqrs on LAPACK's QR factors.
TYPED_TEST(LeastSquaresTyped, GelsAndGeqrsMatchLapack) {
    using T = TypeParam;
    const int nb = zuli::qrBlockSize<T>(90);
    for (auto [m, n] :
         {std::pair{7, 4}, {4, 7}, {2 * nb + 9, nb + 5}, {nb + 5, 2 * nb + 9}, {nb + 3, nb + 3}}) {
        const int big = std::max(m, n), k = std::min(m, n);
        const Matrix<T> a(m, n, m + 1, this->rng);
        for (int nrhs : {0, 1, 5})
            for (char trans : {'N', 'T', 'C'}) {
                const bool plain = trans == 'N';
                const int rowsB = plain ? m : n, rowsX = plain ? n : m;
                const Matrix<T> b(big, nrhs, big + 2, this->rng), rhs = rows(b, 0, rowsB);
                Matrix<T> fa = a, lx = b;
                ASSERT_EQ(withWork<T>([&](T* w, int l) {
                              return lapack::gels(lapackTrans<T>(trans), m, n, nrhs, fa.ptr(),
                                                  fa.ld, lx.ptr(), lx.ld, w, l);
                          }),
                          0);
                const Matrix<T> want = rows(lx, 0, rowsX);
                const double kappa = triangleCondition(m >= n ? 'U' : 'L', fa, k);
                const double scale = std::max({m, n, nrhs}) * norm1(a) * epsilon<T>();
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << m << " x " << n << ", nrhs " << nrhs << ", " << trans << ", "
                                 << blas_test::apiName(api));
                    Matrix<T> f = a, got = b;
                    DeviceArrays dev(api);
                    ASSERT_EQ(ENTRY(api, gels)(trans, m, n, nrhs, pub(dev(f)), f.ld, pub(dev(got)),
                                               got.ld),
                              zuliNoError);
                    dev.download();
                    if (nrhs == 0) {
                        EXPECT_EQ(f.data, a.data) << "A factored without right-hand sides";
                        continue;
                    }
                    EXPECT_LT(relativeError(f, fa), 30) << "A is not LAPACK's factorization";
                    const Matrix<T> x = rows(got, 0, rowsX);
                    EXPECT_LT(solutionRatio(x, want, kappa), 30);
                    Matrix<T> r = rhs;
                    const Matrix<T> ax =
                        product(plain ? CblasNoTrans : CblasConjTrans, a, CblasNoTrans, x);
                    for (int j = 0; j < nrhs; ++j)
                        for (int i = 0; i < rowsB; ++i) r(i, j) = r(i, j) - ax(i, j);
                    if (rowsB >= rowsX) {
                        const Matrix<T> ar =
                            product(plain ? CblasConjTrans : CblasNoTrans, a, CblasNoTrans, r);
                        EXPECT_LT(norm1(ar) / (scale * norm1(rhs)), 30)
                            << "residual not orthogonal";
                    } else {
                        EXPECT_LT(norm1(r) / (scale * norm1(x)), 30);
                        EXPECT_LT(outsideSpace(a, x) / (big * norm1(x) * epsilon<T>()), 30)
                            << "x is not of minimum norm";
                    }
                }
                if (!plain || m < n || nrhs == 0) continue;
                Matrix<T> qr = a;
                std::vector<T> tau(static_cast<size_t>(n));
                ASSERT_EQ(withWork<T>([&](T* w, int l) {
                              return lapack::geqrf(m, n, qr.ptr(), qr.ld, tau.data(), w, l);
                          }),
                          0);
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message() << "geqrs " << m << " x " << n << ", nrhs "
                                                      << nrhs << ", " << blas_test::apiName(api));
                    Matrix<T> f = qr, got = b;
                    DeviceArrays dev(api);
                    ASSERT_EQ(ENTRY(api, geqrs)(m, n, nrhs, pub(dev(f)), f.ld, pub(dev(tau)),
                                                pub(dev(got)), got.ld),
                              zuliNoError);
                    dev.download();
                    EXPECT_EQ(f.data, qr.data) << "geqrs changed A";
                    EXPECT_LT(solutionRatio(rows(got, 0, n), want, kappa), 30);
                }
            }
    }
}

// ggrqf and gglse as the host LAPACK's on the same input, m, n and p on both sides of each other
// (p <= n <= m + p), across the block size, both interfaces: ggrqf's factors and tau; gglse's x,
// its residual c(n-p+1 : m) and the constraint residual ||B x - d|| / (max(n, p) ||B|| ||x|| eps).
TYPED_TEST(LeastSquaresTyped, GglseAndGgrqfMatchLapack) {
    using T = TypeParam;
    const int nb = zuli::qrBlockSize<T>(90);
    const std::array<int, 3> cases[] = {{9, 5, 2},
                                        {5, 9, 6},
                                        {4, 9, 7},
                                        {7, 9, 3},
                                        {6, 6, 6},
                                        {8, 5, 0},
                                        {0, 3, 3},
                                        {2 * nb + 5, nb + 9, 7},
                                        {20, nb + 12, nb + 5}};
    for (auto [m, n, p] : cases) {
        const Matrix<T> a(m, n, m + 2, this->rng), b(p, n, p + 1, this->rng);
        const Matrix<T> c(m, 1, std::max(1, m), this->rng), d(p, 1, std::max(1, p), this->rng);
        Matrix<T> fa = a, fb = b, la = a, lb = b, lc = c, ld = d, lx(n, 1, n);
        std::vector<T> ta(size_t(std::max(1, std::min(m, n)))),
            tb(size_t(std::max(1, std::min(p, n))));
        ASSERT_EQ(withWork<T>([&](T* w, int l) {
                      return lapack::ggrqf(m, p, n, fa.ptr(), fa.ld, ta.data(), fb.ptr(), fb.ld,
                                           tb.data(), w, l);
                  }),
                  0);
        ASSERT_EQ(withWork<T>([&](T* w, int l) {
                      return lapack::gglse(m, n, p, la.ptr(), la.ld, lb.ptr(), lb.ld, lc.ptr(),
                                           ld.ptr(), lx.ptr(), w, l);
                  }),
                  0);
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << "m " << m << ", n " << n << ", p " << p << ", "
                                              << blas_test::apiName(api));
            Matrix<T> ga = a, gb = b, xa = a, xb = b, xc = c, xd = d, x(n, 1, n);
            std::vector<T> gta(ta.size(), T(-7)), gtb(tb.size(), T(-7));
            DeviceArrays dev(api);
            ASSERT_EQ(ENTRY(api, ggrqf)(m, p, n, pub(dev(ga)), ga.ld, pub(dev(gta)), pub(dev(gb)),
                                        gb.ld, pub(dev(gtb))),
                      zuliNoError);
            ASSERT_EQ(ENTRY(api, gglse)(m, n, p, pub(dev(xa)), xa.ld, pub(dev(xb)), xb.ld,
                                        pub(dev(xc)), pub(dev(xd)), pub(dev(x))),
                      zuliNoError);
            dev.download();
            EXPECT_LT(relativeError(ga, fa), 30) << "ggrqf: A";
            EXPECT_LT(relativeError(gb, fb), 30) << "ggrqf: B";
            for (size_t i = 0; i < size_t(std::min(m, n)); ++i)
                EXPECT_LT(magnitude(gta[i] - ta[i]), 60 * std::max(m, n) * epsilon<T>())
                    << "taua " << i;
            for (size_t i = 0; i < size_t(std::min(p, n)); ++i)
                EXPECT_LT(magnitude(gtb[i] - tb[i]), 60 * std::max(p, n) * epsilon<T>())
                    << "taub " << i;
            EXPECT_LT(relativeError(x, lx), 30) << "x";
            // The residual is a difference of terms of size |c| and |A| |x|: its error is relative
            // to them.
            const Matrix<T> r = rows(xc, n - p, m + p - n), lr = rows(lc, n - p, m + p - n);
            double diff = 0;
            for (int i = 0; i < r.m; ++i) diff = std::max(diff, magnitude(r(i, 0) - lr(i, 0)));
            const double size = maxAbs(c) + n * maxAbs(a) * maxAbs(lx);
            EXPECT_LE(diff, 30 * size * std::max(m, n) * epsilon<T>()) << "the residual";
            Matrix<T> bx = product(CblasNoTrans, b, CblasNoTrans, x);
            for (int i = 0; i < p; ++i) bx(i, 0) = bx(i, 0) - d(i, 0);
            EXPECT_LE(norm1(bx), 30 * std::max(n, p) * norm1(b) * norm1(x) * epsilon<T>())
                << "B x - d";
        }
    }
}

// Empty problems, the -8 of an ldb that would do for the solution but not for max(m, n), exactly
// singular triangles reported as LAPACK reports them, and geqrs on a singular R.
TYPED_TEST(LeastSquaresTyped, EdgeCasesAndSingularFactors) {
    using T = TypeParam;
    const int nb = zuli::qrBlockSize<T>(90);
    for (Api api : kApis) {
        SCOPED_TRACE(blas_test::apiName(api));
        // min(m, n, nrhs) = 0: B zeroed over max(m, n) x nrhs and no further, a null A accepted.
        for (auto [m, n] : {std::pair{0, 4}, {5, 0}}) {
            Matrix<T> b(7, 3, 7, this->rng);
            const Matrix<T> before = b;
            DeviceArrays dev(api);
            ASSERT_EQ(ENTRY(api, gels)('N', m, n, 3, nullptr, std::max(1, m), pub(dev(b)), b.ld),
                      zuliNoError);
            dev.download();
            for (int j = 0; j < 3; ++j)
                for (int i = 0; i < 7; ++i)
                    EXPECT_EQ(b(i, j), i < std::max(m, n) ? T(0) : before(i, j));
        }
        // ldb = max(m, n) - 1 fails even where ldb >= m would hold the right-hand sides.
        for (auto [m, n] : {std::pair{6, 4}, {4, 6}}) {
            std::vector<T> a(64), b(64);
            EXPECT_EQ(
                ENTRY(api, gels)('N', m, n, 1, pub(a.data()), m, pub(b.data()), std::max(m, n) - 1),
                zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), -8);
        }
        // Zero columns (rows for the LQ path) make R's (L's) diagonal exactly zero there: the first
        // such position, as LAPACK's gels finds it, on the host-only path and beyond the first
        // block.
        for (auto [m, n] : {std::pair{12, 12}, {nb + 5, nb + 5}, {8, 13}})
            for (char trans : {'N', 'C'}) {
                Matrix<T> a(m, n, this->rng);
                const int k = std::min(m, n);
                for (int z : k > nb ? std::vector{k - 2} : std::vector{k - 2, 2})
                    for (int i = 0; i < std::max(m, n); ++i) (m >= n ? a(i, z) : a(z, i)) = T(0);
                const Matrix<T> b(std::max(m, n), 2, this->rng);
                Matrix<T> la = a, lb = b, got = b;
                const int info = withWork<T>([&](T* w, int l) {
                    return lapack::gels(lapackTrans<T>(trans), m, n, 2, la.ptr(), la.ld, lb.ptr(),
                                        lb.ld, w, l);
                });
                ASSERT_GT(info, 0);
                DeviceArrays dev(api);
                EXPECT_EQ(
                    ENTRY(api, gels)(trans, m, n, 2, pub(dev(a)), a.ld, pub(dev(got)), got.ld),
                    zuliDataError)
                    << m << " x " << n << " " << trans;
                EXPECT_EQ(zuliGetErrorInfo(), info);
                dev.download();
                EXPECT_LT(relativeError(a, la), 30) << "A comes back factored";
            }
        // geqrs does not look at R's diagonal: a zero there gives non-finite values.
        Matrix<T> a(6, 4, this->rng), b(6, 1, this->rng);
        for (int i = 0; i < 6; ++i) a(i, 1) = T(0);
        std::vector<T> tau(4);
        ASSERT_EQ(withWork<T>([&](T* w, int l) {
                      return lapack::geqrf(6, 4, a.ptr(), 6, tau.data(), w, l);
                  }),
                  0);
        {
            DeviceArrays dev(api);
            EXPECT_EQ(ENTRY(api, geqrs)(6, 4, 1, pub(dev(a)), 6, pub(dev(tau)), pub(dev(b)), 6),
                      zuliNoError);
            dev.download();
        }
        EXPECT_FALSE(std::isfinite(magnitude(b(0, 0))));
        // gglse: a zero last row of B makes T12 singular (info 1); A = 0 makes R11 singular (2).
        for (int expected : {1, 2}) {
            const int m = 7, n = 5, p = 2;
            Matrix<T> a(m, n, this->rng), b(p, n, this->rng), c(m, 1, this->rng),
                d(p, 1, this->rng), x(n, 1, n);
            for (int j = 0; j < n; ++j) {
                if (expected == 1) b(p - 1, j) = T(0);
                for (int i = 0; expected == 2 && i < m; ++i) a(i, j) = T(0);
            }
            Matrix<T> la = a, lb = b, lc = c, ld = d, lx(n, 1, n);
            ASSERT_EQ(withWork<T>([&](T* w, int l) {
                          return lapack::gglse(m, n, p, la.ptr(), m, lb.ptr(), p, lc.ptr(),
                                               ld.ptr(), lx.ptr(), w, l);
                      }),
                      expected);
            DeviceArrays dev(api);
            EXPECT_EQ(ENTRY(api, gglse)(m, n, p, pub(dev(a)), m, pub(dev(b)), p, pub(dev(c)),
                                        pub(dev(d)), pub(dev(x))),
                      zuliDataError);
            EXPECT_EQ(zuliGetErrorInfo(), expected);
        }
    }
}

// The argument checks of the four routines in their order, both interfaces: a bad argument is
// reported before anything is allocated or copied; empty problems succeed with null pointers.
TYPED_TEST(LeastSquaresTyped, ArgumentTables) {
    using T = TypeParam;
    auto expectInfo = [](zuliStatus s, int info, int row) {
        EXPECT_EQ(s, info == 0 ? zuliNoError : zuliArgumentError) << "row " << row;
        EXPECT_EQ(zuliGetErrorInfo(), info) << "row " << row;
        if (info != 0) blas_test::expectNoWork();
    };
    for (Api api : kApis) {
        SCOPED_TRACE(blas_test::apiName(api));
        // Sixteen elements behind each pointer, nonsingular wherever a square block is read.
        std::vector<std::vector<T>> storage(3, std::vector<T>(16));
        for (auto& v : storage)
            for (size_t i = 0; i < v.size(); ++i) v[i] = T(Real<T>(i + 1));
        DeviceArrays dev(api);
        T *a = dev(storage[0]), *b = dev(storage[1]), *x = dev(storage[2]), *n0 = nullptr;
        // gels: trans, m, n, nrhs, lda, ldb, a, b, info.
        struct {
            char trans;
            int m, n, nrhs, lda, ldb;
            T *a, *b;
            int info;
        } gels[] = {{'X', 1, 1, 1, 1, 1, a, a, -1},  {'n', -1, 1, 1, 1, 1, a, a, -2},
                    {'t', 1, -1, 1, 1, 1, a, a, -3}, {'c', 1, 1, -1, 1, 1, a, a, -4},
                    {'N', 2, 1, 1, 1, 2, a, a, -6},  {'N', 1, 2, 1, 1, 1, a, a, -8},
                    {'N', 0, 0, 0, 0, 1, a, a, -6},  {'N', 0, 0, 0, 1, 0, a, a, -8},
                    {'N', 1, 1, 1, 1, 1, n0, a, -5}, {'N', 1, 1, 1, 1, 1, a, n0, -7},
                    {'T', 1, 1, 0, 1, 1, n0, n0, 0}};
        // geqrs: m, n, nrhs, lda, ldb, a, tau, b, info.
        struct {
            int m, n, nrhs, lda, ldb;
            T *a, *tau, *b;
            int info;
        } geqrs[] = {{-1, 0, 1, 1, 1, a, a, a, -1},  {1, -1, 1, 1, 1, a, a, a, -2},
                     {1, 2, 1, 1, 1, a, a, a, -2},   {1, 1, -1, 1, 1, a, a, a, -3},
                     {2, 1, 1, 1, 2, a, a, a, -5},   {2, 1, 1, 2, 1, a, a, a, -8},
                     {1, 1, 0, 1, 1, n0, n0, n0, 0}, {1, 1, 1, 1, 1, n0, a, a, -4},
                     {1, 1, 1, 1, 1, a, n0, a, -6},  {1, 1, 1, 1, 1, a, a, n0, -7}};
        // ggrqf: m, p, n, lda, ldb, a, taua, b, taub, info.
        struct {
            int m, p, n, lda, ldb;
            T *a, *taua, *b, *taub;
            int info;
        } ggrqf[] = {{-1, 1, 1, 1, 1, a, a, a, a, -1},   {1, -1, 1, 1, 1, a, a, a, a, -2},
                     {1, 1, -1, 1, 1, a, a, a, a, -3},   {2, 1, 1, 1, 1, a, a, a, a, -5},
                     {0, 0, 1, 0, 1, a, a, a, a, -5},    {1, 2, 1, 1, 1, a, a, a, a, -8},
                     {1, 1, 0, 1, 1, n0, n0, n0, n0, 0}, {0, 1, 1, 1, 1, n0, n0, a, n0, -9},
                     {1, 0, 1, 1, 1, a, n0, n0, n0, -6}, {1, 1, 1, 1, 1, n0, a, a, a, -4},
                     {1, 1, 1, 1, 1, a, a, n0, a, -7}};
        // gglse: m, n, p, lda, ldb, a, b, c, d, x, info.
        struct {
            int m, n, p, lda, ldb;
            T *a, *b, *c, *d, *x;
            int info;
        } gglse[] = {
            {-1, 1, 1, 1, 1, a, a, a, a, a, -1}, {1, -1, 0, 1, 1, a, a, a, a, a, -2},
            {1, 1, -1, 1, 1, a, a, a, a, a, -3}, {2, 1, 2, 2, 2, a, a, a, a, a, -3},  // p > n
            {2, 5, 2, 2, 2, a, a, a, a, a, -3},                                       // p < n - m
            {3, 3, 1, 2, 1, a, a, a, a, a, -5},  {3, 3, 2, 3, 1, a, a, a, a, a, -7},
            {0, 0, 0, 0, 1, a, a, a, a, a, -5},  {2, 0, 0, 2, 1, n0, n0, n0, n0, n0, 0},
            {0, 2, 2, 1, 2, n0, b, n0, a, x, 0},  // empty A and c are not looked at
            {2, 2, 1, 2, 1, n0, a, a, a, a, -4}, {2, 2, 1, 2, 1, a, n0, a, a, a, -6},
            {2, 2, 1, 2, 1, a, a, n0, a, a, -8}, {2, 2, 1, 2, 1, a, a, a, n0, a, -9},
            {2, 2, 1, 2, 1, a, a, a, a, n0, -10}};
        int row = 0;
        for (const auto& r : gels) {
            zuliEmuResetCounters();
            expectInfo(
                ENTRY(api, gels)(r.trans, r.m, r.n, r.nrhs, pub(r.a), r.lda, pub(r.b), r.ldb),
                r.info, row++);
        }
        for (const auto& r : geqrs) {
            zuliEmuResetCounters();
            expectInfo(
                ENTRY(api, geqrs)(r.m, r.n, r.nrhs, pub(r.a), r.lda, pub(r.tau), pub(r.b), r.ldb),
                r.info, row++);
        }
        for (const auto& r : ggrqf) {
            zuliEmuResetCounters();
            expectInfo(ENTRY(api, ggrqf)(r.m, r.p, r.n, pub(r.a), r.lda, pub(r.taua), pub(r.b),
                                         r.ldb, pub(r.taub)),
                       r.info, row++);
        }
        for (const auto& r : gglse) {
            zuliEmuResetCounters();
            expectInfo(ENTRY(api, gglse)(r.m, r.n, r.p, pub(r.a), r.lda, pub(r.b), r.ldb, pub(r.c),
                                         pub(r.d), pub(r.x)),
                       r.info, row++);
        }
    }
}

// Every allocation, cuBLAS call and CUDA call that gels reaches, failing in turn: tall (QR, 'N')
// through the host interface, wide (LQ, 'T') through the device one, both beyond the block size
// (nb = 64). The fault's status, no device memory left behind, and the host arrays either as they
// were or the complete result.
TEST_F(SolverTest, GelsFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    for (Api api : kApis) {
        const bool host = api == Api::Host;
        const int m = host ? 90 : 70, n = host ? 70 : 90, nrhs = 3;
        const char trans = host ? 'N' : 'T';
        const auto gels = host ? zuliDgels : zuliDeviceDgels;
        SCOPED_TRACE(blas_test::apiName(api));
        const Matrix<double> a0(m, n, m + 1, rng), b0(90, nrhs, 91, rng);
        Matrix<double> fullA = a0, fullB = b0, a = a0, b = b0;
        {
            DeviceArrays dev(api);
            ASSERT_EQ(gels(trans, m, n, nrhs, dev(fullA), fullA.ld, dev(fullB), fullB.ld),
                      zuliNoError);
            dev.download();
        }
        std::unique_ptr<DeviceArrays> dev;
        double *pa = nullptr, *pb = nullptr;
        const int failures = sweepFailures(
            [&] {
                a = a0;
                b = b0;
                dev = std::make_unique<DeviceArrays>(api);
                pa = (*dev)(a);
                pb = (*dev)(b);
            },
            [&] { return gels(trans, m, n, nrhs, pa, a.ld, pb, b.ld); },
            [&](const Fault&) {
                if (!host) return;
                EXPECT_TRUE(a.data == a0.data || a.data == fullA.data);
                EXPECT_TRUE(b.data == b0.data || b.data == fullB.data);
            });
        dev.reset();
        EXPECT_GT(failures, 3);
    }
}

}  // namespace
