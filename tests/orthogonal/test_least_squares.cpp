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
// within the triangle's condition number (||x - x_lapack|| / (||x_lapack|| max(m, n) eps kappa)),
// and LAPACK's ratios: ||op(A)^H (b - op(A) x)|| / (max(m, n, nrhs) ||A|| ||b|| eps) for an
// overdetermined op(A); for an underdetermined one ||b - op(A) x|| / (max(m, n, nrhs) ||A|| ||x||
// eps) and x in op(A)'s row space. geqrs on LAPACK's QR factors.
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
                // geqrs, where it applies, on LAPACK's QR factors of A.
                const bool withGeqrs = plain && m >= n && nrhs > 0;
                Matrix<T> qr = a;
                std::vector<T> tau(static_cast<size_t>(n));
                ASSERT_EQ(withWork<T>([&](T* w, int l) {
                              return lapack::geqrf(m, n, qr.ptr(), qr.ld, tau.data(), w, l);
                          }),
                          0);
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << m << " x " << n << ", nrhs " << nrhs << ", " << trans << ", "
                                 << blas_test::apiName(api));
                    Matrix<T> f = a, got = b, fq = qr, gq = b;
                    DeviceArrays dev(api);
                    ASSERT_EQ(ENTRY(api, gels)(trans, m, n, nrhs, pub(dev(f)), f.ld, pub(dev(got)),
                                               got.ld),
                              zuliNoError);
                    if (withGeqrs) {
                        ASSERT_EQ(ENTRY(api, geqrs)(m, n, nrhs, pub(dev(fq)), fq.ld, pub(dev(tau)),
                                                    pub(dev(gq)), gq.ld),
                                  zuliNoError);
                    }
                    dev.download();
                    if (nrhs == 0) {
                        EXPECT_EQ(f.data, a.data) << "A factored without right-hand sides";
                        continue;
                    }
                    EXPECT_LT(relativeError(f, fa), 30) << "A is not LAPACK's factorization";
                    const Matrix<T> x = rows(got, 0, rowsX);
                    EXPECT_LT(relativeError(x, want) / kappa, 30);
                    if (withGeqrs) {
                        EXPECT_EQ(fq.data, qr.data) << "geqrs changed A";
                        EXPECT_LT(relativeError(rows(gq, 0, n), want) / kappa, 30) << "geqrs";
                    }
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
            }
    }
}

// ggrqf and gglse as the host LAPACK's on the same input, m, n and p on both sides of each other
// (p <= n <= m + p), across the block size, both interfaces: ggrqf's factors and tau; gglse's x,
// its residual c(n-p+1 : m) and the constraint residual ||B x - d|| / (max(n, p) ||B|| ||x|| eps).
TYPED_TEST(LeastSquaresTyped, GglseAndGgrqfMatchLapack) {
    using T = TypeParam;
    const int nb = zuli::qrBlockSize<T>(90);
    // clang-format off
    const std::array<int, 3> cases[] = {{9, 5, 2}, {5, 9, 6}, {4, 9, 7}, {7, 9, 3}, {6, 6, 6}, {8, 5, 0},
                                        {0, 3, 3}, {2 * nb + 5, nb + 9, 7}, {20, nb + 12, nb + 5}};
    // clang-format on
    for (auto [m, n, p] : cases) {
        const Matrix<T> a(m, n, m + 2, this->rng), b(p, n, p + 1, this->rng);
        const Matrix<T> c(m, 1, std::max(1, m), this->rng), d(p, 1, std::max(1, p), this->rng);
        Matrix<T> fa = a, fb = b, la = a, lb = b, lc = c, ld = d, lx(n, 1, n);
        const int ka = std::min(m, n), kb = std::min(p, n);
        Matrix<T> ta(ka, 1, std::max(1, ka)), tb(kb, 1, std::max(1, kb));
        ASSERT_EQ(withWork<T>([&](T* w, int l) {
                      return lapack::ggrqf(m, p, n, fa.ptr(), fa.ld, ta.ptr(), fb.ptr(), fb.ld,
                                           tb.ptr(), w, l);
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
            Matrix<T> gta = ta, gtb = tb;
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
            EXPECT_LT(relativeError(gta, ta), 30) << "ggrqf: taua";
            EXPECT_LT(relativeError(gtb, tb), 30) << "ggrqf: taub";
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

// Empty problems, exactly singular triangles reported as LAPACK reports them, and geqrs on a
// singular R.
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
        // geqrs does not look at R's diagonal: with Q = I (tau = 0) and a zero there the solution
        // is not finite.
        Matrix<T> r(4, 4, this->rng), b(4, 1, this->rng);
        std::vector<T> tau(4, T(0));
        r(1, 1) = T(0);
        DeviceArrays dev(api);
        EXPECT_EQ(ENTRY(api, geqrs)(4, 4, 1, pub(dev(r)), 4, pub(dev(tau)), pub(dev(b)), 4),
                  zuliNoError);
        dev.download();
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

// A row of the argument tables: the routine ('l' gels, 'q' geqrs, 'r' ggrqf, 'e' gglse), its
// integer arguments in their order (gels: trans as a letter first), the pointer arguments that are
// null (bit k: the k-th) and the info expected.
struct ArgRow {
    char routine;
    int v[6];
    unsigned nulls;
    int info;
};
// clang-format off
const ArgRow kArgRows[] = {
    // gels: trans, m, n, nrhs, lda, ldb; a, b
    {'l', {'X', 1, 1, 1, 1, 1}, 0, -1}, {'l', {'n', -1, 1, 1, 1, 1}, 0, -2},
    {'l', {'t', 1, -1, 1, 1, 1}, 0, -3}, {'l', {'c', 1, 1, -1, 1, 1}, 0, -4},
    {'l', {'N', 2, 1, 1, 1, 2}, 0, -6}, {'l', {'N', 1, 2, 1, 1, 1}, 0, -8}, // ldb = max(m, n) - 1
    {'l', {'N', 3, 2, 1, 3, 2}, 0, -8}, {'l', {'T', 2, 3, 1, 2, 2}, 0, -8},
    {'l', {'N', 0, 0, 0, 0, 1}, 0, -6}, {'l', {'N', 0, 0, 0, 1, 0}, 0, -8},
    {'l', {'N', 1, 1, 1, 1, 1}, 1, -5}, {'l', {'N', 1, 1, 1, 1, 1}, 2, -7},
    {'l', {'T', 1, 1, 0, 1, 1}, 3, 0},
    // geqrs: m, n, nrhs, lda, ldb; a, tau, b
    {'q', {-1, 0, 1, 1, 1}, 0, -1}, {'q', {1, -1, 1, 1, 1}, 0, -2}, {'q', {1, 2, 1, 1, 1}, 0, -2},
    {'q', {1, 1, -1, 1, 1}, 0, -3}, {'q', {2, 1, 1, 1, 2}, 0, -5}, {'q', {2, 1, 1, 2, 1}, 0, -8},
    {'q', {1, 1, 0, 1, 1}, 7, 0},   {'q', {1, 1, 1, 1, 1}, 1, -4}, {'q', {1, 1, 1, 1, 1}, 2, -6},
    {'q', {1, 1, 1, 1, 1}, 4, -7},
    // ggrqf: m, p, n, lda, ldb; a, taua, b, taub
    {'r', {-1, 1, 1, 1, 1}, 0, -1}, {'r', {1, -1, 1, 1, 1}, 0, -2},  {'r', {1, 1, -1, 1, 1}, 0, -3},
    {'r', {2, 1, 1, 1, 1}, 0, -5},  {'r', {0, 0, 1, 0, 1}, 0, -5},   {'r', {1, 2, 1, 1, 1}, 0, -8},
    {'r', {1, 1, 0, 1, 1}, 15, 0},  {'r', {0, 1, 1, 1, 1}, 11, -9},  {'r', {1, 0, 1, 1, 1}, 14, -6},
    {'r', {1, 1, 1, 1, 1}, 1, -4},  {'r', {1, 1, 1, 1, 1}, 4, -7},
    // gglse: m, n, p, lda, ldb; a, b, c, d, x (p > n and p < n - m are both -3; an empty A and c
    // are not looked at)
    {'e', {-1, 1, 1, 1, 1}, 0, -1}, {'e', {1, -1, 0, 1, 1}, 0, -2}, {'e', {1, 1, -1, 1, 1}, 0, -3},
    {'e', {2, 1, 2, 2, 2}, 0, -3},  {'e', {2, 5, 2, 2, 2}, 0, -3},  {'e', {3, 3, 1, 2, 1}, 0, -5},
    {'e', {3, 3, 2, 3, 1}, 0, -7},  {'e', {0, 0, 0, 0, 1}, 0, -5},  {'e', {2, 0, 0, 2, 1}, 31, 0},
    {'e', {0, 2, 2, 1, 2}, 5, 0},   {'e', {2, 2, 1, 2, 1}, 1, -4},  {'e', {2, 2, 1, 2, 1}, 2, -6},
    {'e', {2, 2, 1, 2, 1}, 4, -8},  {'e', {2, 2, 1, 2, 1}, 8, -9},  {'e', {2, 2, 1, 2, 1}, 16, -10}};
// clang-format on

// The argument checks of the four routines in their order, both interfaces: a bad argument is
// reported before anything is allocated or copied; empty problems succeed with null pointers.
TYPED_TEST(LeastSquaresTyped, ArgumentTables) {
    using T = TypeParam;
    for (Api api : kApis) {
        // Sixteen elements behind each pointer, nonsingular wherever a square block is read.
        std::vector<std::vector<T>> storage(5, std::vector<T>(16));
        DeviceArrays dev(api);
        T* p[5];
        for (int k = 0; k < 5; ++k) {
            for (size_t i = 0; i < 16; ++i) storage[size_t(k)][i] = T(Real<T>(i + 1));
            p[k] = dev(storage[size_t(k)]);
        }
        for (const ArgRow& r : kArgRows) {
            SCOPED_TRACE(::testing::Message()
                         << blas_test::apiName(api) << ", row " << (&r - kArgRows));
            auto P = [&](int k) { return pub((r.nulls >> k & 1) ? nullptr : p[k]); };
            const int* v = r.v;
            zuliEmuResetCounters();
            const zuliStatus s =
                r.routine == 'l'
                    ? ENTRY(api, gels)(char(v[0]), v[1], v[2], v[3], P(0), v[4], P(1), v[5])
                : r.routine == 'q'
                    ? ENTRY(api, geqrs)(v[0], v[1], v[2], P(0), v[3], P(1), P(2), v[4])
                : r.routine == 'r'
                    ? ENTRY(api, ggrqf)(v[0], v[1], v[2], P(0), v[3], P(1), P(2), v[4], P(3))
                    : ENTRY(api, gglse)(v[0], v[1], v[2], P(0), v[3], P(1), v[4], P(2), P(3), P(4));
            EXPECT_EQ(s, r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            if (r.info != 0) blas_test::expectNoWork();
        }
    }
}

// Every allocation, cuBLAS call and CUDA call that gels reaches, failing in turn: tall (QR, 'N')
// beyond the block size (nb = 64) through the host interface, small and wide (LQ, 'T') through
// the device one. The fault's status, no device memory left behind, and the host arrays either as
// they were or the complete result.
TEST_F(SolverTest, GelsFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    for (Api api : kApis) {
        const bool host = api == Api::Host;
        const int m = host ? 90 : 20, n = host ? 70 : 30, nrhs = 3;
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
