// The tridiagonal reduction (sytrd / hetrd), its Q (orgtr / ungtr) and the application of Q
// (ormtr / unmtr): results against the host LAPACK on the host-only and the hybrid paths, both
// triangles, A = Q T Q^H, argument tables and what crosses the bus.
#include "solvers/solver_support.h"

#include "runtime/tuning.h"

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

template <typename T>
zuliStatus sytrd(Api api, char uplo, int n, T* a, int lda, Real<T>* d, Real<T>* e, T* tau) {
    return (api == Api::Host
                ? pick<T>(zuliSsytrd, zuliDsytrd, zuliChetrd, zuliZhetrd)
                : pick<T>(zuliDeviceSsytrd, zuliDeviceDsytrd, zuliDeviceChetrd, zuliDeviceZhetrd))(
        uplo, n, pub(a), lda, pub(d), pub(e), pub(tau));
}
template <typename T>
zuliStatus orgtr(Api api, char uplo, int n, T* a, int lda, const T* tau) {
    return (api == Api::Host ? pick<T>(zuliSorgtr, zuliDorgtr, zuliCungtr, zuliZungtr)
                             : pick<T>(zuliDeviceSorgtr, zuliDeviceDorgtr, zuliDeviceCungtr,
                                       zuliDeviceZungtr))(uplo, n, pub(a), lda, pub(tau));
}
template <typename T>
zuliStatus ormtr(Api api, char side, char uplo, char trans, int m, int n, const T* a, int lda,
                 const T* tau, T* c, int ldc) {
    return (api == Api::Host
                ? pick<T>(zuliSormtr, zuliDormtr, zuliCunmtr, zuliZunmtr)
                : pick<T>(zuliDeviceSormtr, zuliDeviceDormtr, zuliDeviceCunmtr, zuliDeviceZunmtr))(
        side, uplo, trans, m, n, pub(a), lda, pub(tau), pub(c), ldc);
}

// A random Hermitian n x n matrix (leading dimension ld) with a real diagonal.
template <typename T>
Matrix<T> hermitian(int n, int ld, std::mt19937& rng) {
    Matrix<T> a(n, n, ld, rng);
    for (int j = 0; j < n; ++j) {
        a(j, j) = T(Real<T>(zuli::real(a(j, j))));
        for (int i = j + 1; i < n; ++i) a(j, i) = zuli::conj(a(i, j));
    }
    return a;
}

// ||A - Q T Q^H|| / (n ||A|| eps), max norm.
template <typename T>
double tridiagonalResidual(const Matrix<T>& a, const std::vector<Real<T>>& d,
                           const std::vector<Real<T>>& e, const Matrix<T>& q) {
    const int n = a.n;
    Matrix<T> t(n, n, n);
    for (int i = 0; i < n; ++i) {
        t(i, i) = T(d[size_t(i)]);
        if (i + 1 < n) t(i + 1, i) = t(i, i + 1) = T(e[size_t(i)]);
    }
    const Matrix<T> back =
        product(CblasNoTrans, product(CblasNoTrans, q, CblasNoTrans, t), CblasConjTrans, q);
    double r = 0;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) r = std::max(r, magnitude(back(i, j) - a(i, j)));
    return r / (n * maxAbs(a) * epsilon<T>());
}

template <typename T>
class TridiagonalTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(TridiagonalTyped, AllPrecisions);

// sytrd and orgtr against the host LAPACK's on the same matrix, both triangles: the host-only
// path (n up to reductionHostOrder), one panel and two (the second against the host's last
// block) on both device generations (their block sizes differ), a padded array, a block-diagonal
// A (T splits: a reflector with tau 0 inside a panel); through both interfaces. The host-only path
// gives LAPACK's d, e, tau and reflectors, the hybrid one T with A's eigenvalues; the triangle not
// named comes back untouched, A = Q T Q^H with Q unitary, and orgtr turns LAPACK's reflectors into
// LAPACK's Q.
TYPED_TEST(TridiagonalTyped, ReductionAndQMatchLapackOnEveryPath) {
    using T = TypeParam;
    using R = Real<T>;
    const int host = zuli::reductionHostOrder<T>();
    for (int code : this->generations()) {
        this->useCapability(code);
        const int nb = zuli::reductionBlockSize<T>(code);
        struct Case {
            int n, pad, split;  // split > 0: A block diagonal, its first block of that order
        } cases[] = {{1, 0, 0},
                     {2, 1, 0},
                     {13, 0, 5},
                     {host + nb + 5, 2, nb + 3},
                     {host + 2 * nb - 3, 0, 0}};
        for (const Case& c : cases)
            for (char uplo : {'L', 'U'})
                for (Api api : kApis) {
                    if (code != 90 && c.n <= host) continue;
                    SCOPED_TRACE(::testing::Message() << "cc " << code << " n " << c.n << " uplo "
                                                      << uplo << " " << blas_test::apiName(api));
                    const int n = c.n, ld = n + c.pad;
                    Matrix<T> a = hermitian<T>(n, ld, this->rng);
                    for (int j = 0; j < n; ++j)
                        for (int i = 0; i < n; ++i)
                            if ((i < c.split) != (j < c.split)) a(i, j) = T(0);
                    Matrix<T> want = a, got = a;
                    const size_t k = size_t(std::max(1, n - 1));
                    const size_t nn = static_cast<size_t>(n);
                    std::vector<R> wd(nn), we(k), gd(nn, R(7)), ge(k, R(7));
                    std::vector<T> wt(k), gt(k, T(7));
                    ASSERT_EQ(withWork<T>([&](T* w, int l) {
                                  return lapack::sytrd(uplo, n, want.ptr(), ld, wd.data(),
                                                       we.data(), wt.data(), w, l);
                              }),
                              0);
                    {
                        DeviceArrays dev(api);
                        ASSERT_EQ(sytrd(api, uplo, n, dev(got), ld, dev(gd), dev(ge), dev(gt)),
                                  zuliNoError);
                        dev.download();
                    }
                    // The host-only path is the host LAPACK's computation; the hybrid one
                    // blocks differently, and T, which the rounding of every step perturbs
                    // beyond its own size, is checked by its eigenvalues.
                    if (n <= host) {
                        EXPECT_LT(relativeError(got, want), 10);
                        EXPECT_LT(vectorError(gd, wd, n, a), 10);
                        EXPECT_LT(vectorError(ge, we, n - 1, a), 10);
                        EXPECT_LT(vectorError(gt, wt, n - 1, a), 10);
                    } else {
                        std::vector<R> gw = gd, ww = wd, gs = ge, ws = we;
                        ASSERT_EQ(lapack::sterf(n, gw.data(), gs.data()), 0);
                        ASSERT_EQ(lapack::sterf(n, ww.data(), ws.data()), 0);
                        EXPECT_LT(vectorError(gw, ww, n, a), 30);
                    }
                    if (c.split > 0) {
                        EXPECT_EQ(ge[size_t(c.split - 1)], R(0));  // the split
                    }
                    // T's elements in A as LAPACK leaves them; the other triangle untouched.
                    for (int i = 0; i < n; ++i) {
                        EXPECT_EQ(got(i, i), T(gd[size_t(i)]));
                        if (i + 1 < n) {
                            EXPECT_EQ(uplo == 'L' ? got(i + 1, i) : got(i, i + 1),
                                      T(ge[size_t(i)]));
                        }
                    }
                    for (int j = 0; j < n; ++j)
                        for (int i = 0; i < n; ++i)
                            if (uplo == 'L' ? i < j : i > j) {
                                ASSERT_EQ(got(i, j), a(i, j));
                            }

                    // orgtr on the host LAPACK's reflectors gives its orgtr's Q; on ours a Q
                    // with A = Q T Q^H.
                    Matrix<T> q = got, lq = want;
                    ASSERT_EQ(withWork<T>([&](T* w, int l) {
                                  return lapack::orgtr(uplo, n, want.ptr(), ld, wt.data(), w, l);
                              }),
                              0);
                    {
                        DeviceArrays dev(api);
                        ASSERT_EQ(orgtr(api, uplo, n, dev(q), ld, dev(gt)), zuliNoError);
                        ASSERT_EQ(orgtr(api, uplo, n, dev(lq), ld, dev(wt)), zuliNoError);
                        dev.download();
                    }
                    EXPECT_LT(relativeError(lq, want), 30);
                    EXPECT_LT(tridiagonalResidual(a, gd, ge, q), 30);
                    EXPECT_LT(departureFromOrthonormal(q), 30);
                }
    }
}

// ormtr on the reflectors of the host LAPACK's sytrd against the host LAPACK's ormtr: every
// side, triangle and transposition (the letter 'T' is the conjugate transpose in C and Z), C
// with a padded leading dimension, through both interfaces.
TYPED_TEST(TridiagonalTyped, ApplyingQMatchesLapack) {
    using T = TypeParam;
    using R = Real<T>;
    const int nq = 37, other = 11;
    const char conj = zuli::IsComplexV<T> ? 'C' : 'T';
    for (char uplo : {'L', 'U'}) {
        Matrix<T> a = hermitian<T>(nq, nq, this->rng);
        std::vector<R> d(static_cast<size_t>(nq)), e(d);
        std::vector<T> tau(d.size());
        ASSERT_EQ(withWork<T>([&](T* w, int l) {
                      return lapack::sytrd(uplo, nq, a.ptr(), nq, d.data(), e.data(), tau.data(), w,
                                           l);
                  }),
                  0);
        for (char side : {'L', 'R'})
            for (char trans : {'N', 'T', 'C'})
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << uplo << side << trans << " " << blas_test::apiName(api));
                    const int m = side == 'L' ? nq : other, n = side == 'L' ? other : nq;
                    const Matrix<T> c(m, n, m + 3, this->rng);
                    Matrix<T> want = c, got = c;
                    const char lt = trans == 'N' ? 'N' : conj;
                    ASSERT_EQ(withWork<T>([&](T* w, int l) {
                                  return lapack::ormtr(side, uplo, lt, m, n, a.ptr(), nq,
                                                       tau.data(), want.ptr(), want.ld, w, l);
                              }),
                              0);
                    DeviceArrays dev(api);
                    ASSERT_EQ(
                        ormtr(api, side, uplo, trans, m, n, dev(a), nq, dev(tau), dev(got), got.ld),
                        zuliNoError);
                    dev.download();
                    EXPECT_LT(relativeError(got, want), 30);
                }
    }
}

// The argument checks of the three routines in LAPACK's order through both interfaces; empty
// problems (and ormtr with Q of order 1) return before the pointers are checked and do nothing.
TYPED_TEST(TridiagonalTyped, ArgumentTables) {
    using T = TypeParam;
    using R = Real<T>;
    std::vector<T> a(64), tau(8), c(64);
    std::vector<R> d(8), e(8);
    T *pa = a.data(), *pt = tau.data(), *pc = c.data();
    R *pd = d.data(), *pe = e.data();
    struct Reduce {
        char uplo;
        int n, lda;
        T* a;
        R *d, *e;
        T* tau;
        int info;
    } reduce[] = {
        {'X', 4, 4, pa, pd, pe, pt, -1},
        {'L', -1, 1, pa, pd, pe, pt, -2},
        {'u', 4, 3, pa, pd, pe, pt, -4},
        {'L', 0, 1, nullptr, nullptr, nullptr, nullptr, 0},
        {'L', 4, 4, nullptr, pd, pe, pt, -3},
        {'U', 4, 4, pa, nullptr, pe, pt, -5},
        {'L', 4, 4, pa, pd, nullptr, pt, -6},
        {'U', 4, 4, pa, pd, pe, nullptr, -7},
        {'l', 1, 1, pa, pd, nullptr, nullptr, 0},
    };
    for (const Reduce& r : reduce)
        for (bool generate : {false, true})
            for (Api api : kApis) {
                // orgtr has no d and e: its tau is argument 5.
                if (generate && (r.info == -5 || r.info == -6)) continue;
                const int info = generate && r.info == -7 ? -5 : r.info;
                SCOPED_TRACE(::testing::Message() << (generate ? "orgtr " : "sytrd ") << r.uplo
                                                  << r.n << " " << blas_test::apiName(api));
                if (generate && r.n == 1 && r.tau == nullptr) continue;
                DeviceArrays dev(api);
                T *da = dev(r.a, a.size()), *dt = dev(r.tau, tau.size());
                R *dd = dev(r.d, d.size()), *de = dev(r.e, e.size());
                zuliEmuResetCounters();
                EXPECT_EQ(generate ? orgtr(api, r.uplo, r.n, da, r.lda, dt)
                                   : sytrd(api, r.uplo, r.n, da, r.lda, dd, de, dt),
                          info == 0 ? zuliNoError : zuliArgumentError);
                EXPECT_EQ(zuliGetErrorInfo(), info);
                dev.download();
                if (r.n == 0) blas_test::expectNoWork();
            }
    struct Apply {
        char side, uplo, trans;
        int m, n, lda, ldc;
        T *a, *tau, *c;
        int info;
    } apply[] = {
        {'X', 'L', 'N', 4, 3, 4, 4, pa, pt, pc, -1},
        {'L', 'X', 'N', 4, 3, 4, 4, pa, pt, pc, -2},
        {'L', 'U', 'X', 4, 3, 4, 4, pa, pt, pc, -3},
        {'L', 'U', 'N', -1, 3, 4, 4, pa, pt, pc, -4},
        {'r', 'U', 'n', 4, -1, 4, 4, pa, pt, pc, -5},
        {'L', 'L', 'C', 4, 3, 3, 4, pa, pt, pc, -7},
        {'R', 'L', 'T', 4, 5, 4, 4, pa, pt, pc, -7},
        {'R', 'L', 'T', 4, 3, 3, 3, pa, pt, pc, -10},
        {'L', 'U', 'N', 0, 3, 1, 1, nullptr, nullptr, nullptr, 0},
        {'R', 'U', 'N', 4, 1, 1, 4, nullptr, nullptr, nullptr, 0},
        {'L', 'U', 'N', 4, 3, 4, 4, nullptr, pt, pc, -6},
        {'L', 'L', 'N', 4, 3, 4, 4, pa, nullptr, pc, -8},
        {'R', 'L', 'C', 4, 3, 4, 4, pa, pt, nullptr, -9},
    };
    for (const Apply& r : apply)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message()
                         << "ormtr " << r.side << r.uplo << r.trans << " " << r.m << " " << r.n
                         << " " << blas_test::apiName(api));
            zuliEmuResetCounters();
            EXPECT_EQ(ormtr(api, r.side, r.uplo, r.trans, r.m, r.n, r.a, r.lda, r.tau, r.c, r.ldc),
                      r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            if (r.info == 0) blas_test::expectNoWork();
        }
}

// The hybrid contract of a device sytrd in D of n = 2048 (lower): per panel its rows down and
// up, per column the reflector up and its product with the trailing matrix down, W up; the last
// block of reductionHostOrder down and up once, d, e and tau up. Nothing else crosses the bus,
// and cuBLAS does the 4/3 n^3 operations but the host's last block.
TEST_F(SolverTest, DeviceSytrdMovesOnlyPanelsAndLeavesTheProductsToCublas) {
    SKIP_ON_A_REAL_GPU();
    const int n = 2048, nb = zuli::reductionBlockSize<double>(90);
    const int host = zuli::reductionHostOrder<double>();
    const double e = sizeof(double);
    Matrix<double> a = hermitian<double>(n, n, rng);
    std::vector<double> d(static_cast<size_t>(n)), off(d), tau(d);
    DeviceArrays dev(Api::Device);
    double *da = dev(a), *dd = dev(d), *de = dev(off), *dt = dev(tau);
    zuliEmuResetCounters();
    ASSERT_EQ(zuliDeviceDsytrd('L', n, da, n, dd, de, dt), zuliNoError);
    int i0 = 0;
    double want = 0;
    for (; n - i0 > host; i0 += nb) {
        const double rows = n - i0;
        want += (2 * rows * nb + (rows - nb) * nb + 1) * e;
        for (int j = 0; j < nb; ++j) want += 2 * (rows - j - 1) * e;
    }
    want += (2.0 * (n - i0) * (n - i0) + 3.0 * n - 2) * e;
    const auto c = counters();
    const double bus = double(c.h2dBytes + c.d2hBytes);
    RecordProperty("busBytes", std::to_string(bus));
    RecordProperty("blasFlopShare", std::to_string(c.blasFlops / (4.0 / 3 * n * n * n)));
    EXPECT_LT(std::abs(bus - want), 0.02 * want) << bus << " bytes on the bus, want " << want;
    EXPECT_EQ(c.d2dBytes, 0u);
    const double flops = 4.0 / 3 * (double(n) * n * n - double(host) * host * host);
    EXPECT_GT(c.blasFlops, 0.97 * flops) << "cuBLAS share " << c.blasFlops / flops;
    EXPECT_LT(c.blasFlops, 1.1 * flops);
}

}  // namespace
