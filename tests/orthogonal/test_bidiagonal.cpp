// The bidiagonal reduction (gebrd) and the generation of its Q and P^H (orgbr / ungbr): results
// against the host LAPACK on the host-only and the hybrid paths, tall and wide, A = Q B P^H,
// argument tables and what crosses the bus.
#include "solvers/solver_support.h"

#include "runtime/tuning.h"

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

template <typename T>
zuliStatus gebrd(Api api, int m, int n, T* a, int lda, Real<T>* d, Real<T>* e, T* tauq, T* taup) {
    return ENTRY(api, gebrd)(m, n, pub(a), lda, pub(d), pub(e), pub(tauq), pub(taup));
}
template <typename T>
zuliStatus orgbr(Api api, char vect, int m, int n, int k, T* a, int lda, const T* tau) {
    return (api == Api::Host ? pick<T>(zuliSorgbr, zuliDorgbr, zuliCungbr, zuliZungbr)
                             : pick<T>(zuliDeviceSorgbr, zuliDeviceDorgbr, zuliDeviceCungbr,
                                       zuliDeviceZungbr))(vect, m, n, k, pub(a), lda, pub(tau));
}

// The singular values of the bidiagonal (d, e), descending.
template <typename R>
std::vector<R> singularValues(bool upper, std::vector<R> d, std::vector<R> e) {
    const int k = int(d.size());
    std::vector<R> work(4 * d.size() + 1);
    R* none = nullptr;
    EXPECT_EQ(lapack::bdsqr<R>(upper ? 'U' : 'L', k, 0, 0, 0, d.data(), e.data(), none, 1, none, 1,
                               none, 1, work.data()),
              0);
    return d;
}

template <typename T>
class BidiagonalTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(BidiagonalTyped, AllPrecisions);

// gebrd and orgbr against the host LAPACK's on the same matrix, tall (upper bidiagonal) and wide
// (lower): the host-only path, one panel and two (against the host's last block) on both device
// generations, a padded array, block-diagonal matrices (B splits: reflectors with tau 0 inside a
// panel); through both interfaces. The host-only path gives LAPACK's d, e,
// tauq, taup and reflectors; the hybrid one blocks differently, and B, which the rounding of
// every step perturbs beyond its own size, has A's singular values. orgbr turns LAPACK's
// reflectors into LAPACK's Q and P^H, and ours into Q, P^H with A = Q B P^H.
TYPED_TEST(BidiagonalTyped, ReductionAndGenerationMatchLapackOnEveryPath) {
    using T = TypeParam;
    using R = Real<T>;
    const int host = zuli::reductionHostOrder<T>();
    for (int code : this->generations()) {
        this->useCapability(code);
        const int nb = zuli::reductionBlockSize<T>(code);
        struct Case {
            int m, n, pad, split;  // split > 0: A block diagonal, its first block split x split
        } cases[] = {{1, 1, 0, 0},
                     {5, 3, 1, 0},
                     {3, 5, 0, 0},
                     {41, 26, 0, 7},
                     {host + nb + 30, host + nb + 6, 2, nb + 3},
                     {host + 2 * nb - 3, host + 2 * nb + 17, 0, nb + 5}};
        for (const Case& c : cases)
            for (Api api : kApis) {
                const int m = c.m, n = c.n, k = std::min(m, n), ld = m + c.pad;
                const bool hybrid = k > host, upper = m >= n;
                if (code != 90 && !hybrid) continue;
                SCOPED_TRACE(::testing::Message() << "cc " << code << " " << m << " x " << n << " "
                                                  << blas_test::apiName(api));
                Matrix<T> a(m, n, ld, this->rng);
                for (int j = 0; j < n; ++j)
                    for (int i = 0; i < m; ++i)
                        if ((i < c.split) != (j < c.split)) a(i, j) = T(0);
                Matrix<T> want = a, got = a;
                const size_t kk = size_t(k);
                std::vector<R> wd(kk), we(kk), gd(kk, R(7)), ge(kk, R(7));
                std::vector<T> wq(kk), wp(kk), gq(kk, T(7)), gp(kk, T(7));
                ASSERT_EQ(withWork<T>([&](T* w, int l) {
                              return lapack::gebrd(m, n, want.ptr(), ld, wd.data(), we.data(),
                                                   wq.data(), wp.data(), w, l);
                          }),
                          0);
                {
                    DeviceArrays dev(api);
                    ASSERT_EQ(gebrd(api, m, n, dev(got), ld, dev(gd), dev(ge), dev(gq), dev(gp)),
                              zuliNoError);
                    dev.download();
                }
                we.resize(kk - 1);
                ge.resize(kk - 1);
                if (!hybrid) {
                    EXPECT_LT(relativeError(got, want), 10);
                    EXPECT_LT(vectorError(gd, wd, k, a), 10);
                    EXPECT_LT(vectorError(ge, we, k - 1, a), 10);
                    EXPECT_LT(vectorError(gq, wq, k, a), 10);
                    EXPECT_LT(vectorError(gp, wp, k, a), 10);
                } else {
                    EXPECT_LT(vectorError(singularValues(upper, gd, ge),
                                          singularValues(upper, wd, we), k, a),
                              30);
                }

                if (c.split > 0) {
                    EXPECT_EQ(ge[size_t(c.split - 1)], R(0));  // the split
                }
                // B's elements in A as LAPACK leaves them.
                for (int i = 0; i < k; ++i) {
                    EXPECT_EQ(got(i, i), T(gd[size_t(i)]));
                    if (i + 1 < k) {
                        EXPECT_EQ(upper ? got(i, i + 1) : got(i + 1, i), T(ge[size_t(i)]));
                    }
                }

                // Q (m x k) and P^H (k x n) from both sets of reflectors.
                auto generate = [&](const Matrix<T>& reduced, std::vector<T>& tq,
                                    std::vector<T>& tp, bool reference) {
                    Matrix<T> q(m, k, m), ph(k, n, k);
                    for (int j = 0; j < k; ++j)
                        for (int i = 0; i < m; ++i) q(i, j) = reduced(i, j);
                    for (int j = 0; j < n; ++j)
                        for (int i = 0; i < k; ++i) ph(i, j) = reduced(i, j);
                    if (reference) {
                        EXPECT_EQ(withWork<T>([&](T* w, int l) {
                                      return lapack::orgbr('Q', m, k, n, q.ptr(), m, tq.data(), w,
                                                           l);
                                  }),
                                  0);
                        EXPECT_EQ(withWork<T>([&](T* w, int l) {
                                      return lapack::orgbr('P', k, n, m, ph.ptr(), k, tp.data(), w,
                                                           l);
                                  }),
                                  0);
                    } else {
                        DeviceArrays dev(api);
                        EXPECT_EQ(orgbr(api, 'q', m, k, n, dev(q), m, dev(tq)), zuliNoError);
                        EXPECT_EQ(orgbr(api, 'P', k, n, m, dev(ph), k, dev(tp)), zuliNoError);
                        dev.download();
                    }
                    return std::pair{q, ph};
                };
                const auto [lq, lp] = generate(want, wq, wp, true);
                const auto [oq, op] = generate(want, wq, wp, false);
                EXPECT_LT(relativeError(oq, lq), 30);
                EXPECT_LT(relativeError(op, lp), 30);
                const auto [q, ph] = generate(got, gq, gp, false);
                Matrix<T> b(k, k, k);
                for (int i = 0; i < k; ++i) {
                    b(i, i) = T(gd[size_t(i)]);
                    if (i + 1 < k) *(upper ? &b(i, i + 1) : &b(i + 1, i)) = T(ge[size_t(i)]);
                }
                const Matrix<T> back = product(
                    CblasNoTrans, product(CblasNoTrans, q, CblasNoTrans, b), CblasNoTrans, ph);
                double r = 0;
                for (int j = 0; j < n; ++j)
                    for (int i = 0; i < m; ++i) r = std::max(r, magnitude(back(i, j) - a(i, j)));
                EXPECT_LT(r / (std::max(m, n) * maxAbs(a) * epsilon<T>()), 30);
                EXPECT_LT(departureFromOrthonormal(q), 30);
                Matrix<T> pht(n, k, n);
                for (int j = 0; j < k; ++j)
                    for (int i = 0; i < n; ++i) pht(i, j) = zuli::conj(ph(j, i));
                EXPECT_LT(departureFromOrthonormal(pht), 30);
            }
    }
}

// orgbr's other shapes against the host LAPACK's on LAPACK's reflectors: the whole m x m Q of a
// tall reduction, Q of a wide one (reflectors below the subdiagonal), the whole n x n P^H of a
// wide reduction and P^H of a tall one (right of the superdiagonal); through both interfaces.
TYPED_TEST(BidiagonalTyped, GenerationOfEveryShapeMatchesLapack) {
    using T = TypeParam;
    using R = Real<T>;
    struct Case {
        char vect;
        int rows, cols;  // the reduced matrix
        int m, n, k;     // orgbr's
    } cases[] = {{'Q', 30, 12, 30, 30, 12}, {'Q', 12, 30, 12, 12, 30}, {'Q', 20, 20, 20, 20, 20},
                 {'P', 12, 30, 30, 30, 12}, {'P', 30, 12, 12, 12, 30}, {'P', 17, 17, 17, 17, 17}};
    for (const Case& c : cases) {
        const int kk = std::min(c.rows, c.cols);
        const Matrix<T> a(c.rows, c.cols, this->rng);
        Matrix<T> reduced = a;
        std::vector<R> d(static_cast<size_t>(kk)), e(d);
        std::vector<T> tq(d.size()), tp(tq);
        ASSERT_EQ(withWork<T>([&](T* w, int l) {
                      return lapack::gebrd(c.rows, c.cols, reduced.ptr(), c.rows, d.data(),
                                           e.data(), tq.data(), tp.data(), w, l);
                  }),
                  0);
        std::vector<T>& tau = c.vect == 'Q' ? tq : tp;
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << c.vect << " " << c.rows << " x " << c.cols << " "
                                              << blas_test::apiName(api));
            const int ld = c.m + 2;
            Matrix<T> want(c.m, c.n, ld);
            for (int j = 0; j < c.n; ++j)
                for (int i = 0; i < c.m; ++i)
                    want(i, j) = i < c.rows && j < c.cols ? reduced(i, j) : T(5);
            Matrix<T> got = want;
            ASSERT_EQ(withWork<T>([&](T* w, int l) {
                          return lapack::orgbr(c.vect, c.m, c.n, c.k, want.ptr(), ld, tau.data(), w,
                                               l);
                      }),
                      0);
            DeviceArrays dev(api);
            ASSERT_EQ(orgbr(api, c.vect, c.m, c.n, c.k, dev(got), ld, dev(tau)), zuliNoError);
            dev.download();
            EXPECT_LT(relativeError(got, want), 30);
        }
    }
}

// The argument checks of both routines in LAPACK's order through both interfaces; empty problems
// return before the pointers are checked and do nothing.
TYPED_TEST(BidiagonalTyped, ArgumentTables) {
    using T = TypeParam;
    using R = Real<T>;
    std::vector<T> a(64), tq(8), tp(8);
    std::vector<R> d(8), e(8);
    T *pa = a.data(), *pq = tq.data(), *pp = tp.data();
    R *pd = d.data(), *pe = e.data();
    struct Reduce {
        int m, n, lda;
        T* a;
        R *d, *e;
        T *tauq, *taup;
        int info;
    } reduce[] = {
        {-1, 4, 4, pa, pd, pe, pq, pp, -1},
        {4, -1, 4, pa, pd, pe, pq, pp, -2},
        {4, 3, 3, pa, pd, pe, pq, pp, -4},
        {0, 3, 1, nullptr, nullptr, nullptr, nullptr, nullptr, 0},
        {4, 0, 4, nullptr, nullptr, nullptr, nullptr, nullptr, 0},
        {4, 3, 4, nullptr, pd, pe, pq, pp, -3},
        {3, 4, 3, pa, nullptr, pe, pq, pp, -5},
        {4, 3, 4, pa, pd, nullptr, pq, pp, -6},
        {4, 3, 4, pa, pd, pe, nullptr, pp, -7},
        {4, 3, 4, pa, pd, pe, pq, nullptr, -8},
        {4, 1, 4, pa, pd, nullptr, pq, pp, 0},
    };
    for (const Reduce& r : reduce)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message()
                         << "gebrd " << r.m << " " << r.n << " " << blas_test::apiName(api));
            DeviceArrays dev(api);
            T *da = dev(r.a, a.size()), *dq = dev(r.tauq, tq.size()), *dp = dev(r.taup, tp.size());
            R *dd = dev(r.d, d.size()), *de = dev(r.e, e.size());
            zuliEmuResetCounters();
            EXPECT_EQ(gebrd(api, r.m, r.n, da, r.lda, dd, de, dq, dp),
                      r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            dev.download();
            if (std::min(r.m, r.n) == 0) blas_test::expectNoWork();
        }
    struct Generate {
        char vect;
        int m, n, k, lda;
        T *a, *tau;
        int info;
    } generate[] = {
        {'X', 4, 4, 4, 4, pa, pq, -1},          {'Q', -1, 4, 4, 4, pa, pq, -2},
        {'Q', 4, 5, 4, 4, pa, pq, -3},          {'q', 6, 3, 4, 6, pa, pq, -3},
        {'P', 5, 4, 4, 5, pa, pq, -3},          {'p', 3, 6, 4, 3, pa, pq, -3},
        {'Q', 4, 4, -1, 4, pa, pq, -4},         {'P', 4, 4, 4, 3, pa, pq, -6},
        {'Q', 0, 0, 3, 1, nullptr, nullptr, 0}, {'Q', 4, 4, 4, 4, nullptr, pq, -5},
        {'P', 4, 4, 4, 4, pa, nullptr, -7},     {'Q', 6, 3, 2, 6, pa, nullptr, -7},
    };
    for (const Generate& r : generate)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << "orgbr " << r.vect << " " << r.m << " " << r.n
                                              << " " << r.k << " " << blas_test::apiName(api));
            zuliEmuResetCounters();
            EXPECT_EQ(orgbr(api, r.vect, r.m, r.n, r.k, r.a, r.lda, r.tau),
                      r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            if (r.info == 0) blas_test::expectNoWork();
        }
}

// The hybrid contract of a device gebrd in D of 2048 x 2048: per panel the column and row panels
// down and up, per column the two reflectors up and their products with the trailing matrix
// down, X and Y up; the last block of reductionHostOrder down and up once, d, e, tauq and taup
// up. Nothing else crosses the bus, and cuBLAS does the 8/3 n^3 operations but the host's last
// block.
TEST_F(SolverTest, DeviceGebrdMovesOnlyPanelsAndLeavesTheProductsToCublas) {
    SKIP_ON_A_REAL_GPU();
    const int n = 2048, nb = zuli::reductionBlockSize<double>(90);
    const int host = zuli::reductionHostOrder<double>();
    const double e = sizeof(double);
    Matrix<double> a(n, n, n, rng);
    std::vector<double> d(static_cast<size_t>(n)), off(d), tq(d), tp(d);
    DeviceArrays dev(Api::Device);
    double *da = dev(a), *dd = dev(d), *de = dev(off), *dq = dev(tq), *dp = dev(tp);
    zuliEmuResetCounters();
    ASSERT_EQ(zuliDeviceDgebrd(n, n, da, n, dd, de, dq, dp), zuliNoError);
    int i0 = 0;
    double want = 0;
    for (; n - i0 > host; i0 += nb) {
        const double size = n - i0;
        // Both panels both ways, X and Y up, the unit element up; per column A^H v (m - j up,
        // n - j - 1 down) and A u (n - j - 1 up, m - j - 1 down).
        want += (2 * (2 * size * nb - nb * nb) + 2 * (size - nb) * nb + 1) * e;
        for (int j = 0; j < nb; ++j) want += (2 * (size - j) - 1 + 2 * (size - j - 1)) * e;
    }
    want += (2.0 * (n - i0) * (n - i0) + 4.0 * n - 1) * e;
    const auto c = counters();
    const double bus = double(c.h2dBytes + c.d2hBytes);
    RecordProperty("busBytes", std::to_string(bus));
    RecordProperty("blasFlopShare", std::to_string(c.blasFlops / (8.0 / 3 * n * n * n)));
    EXPECT_LT(std::abs(bus - want), 0.02 * want) << bus << " bytes on the bus, want " << want;
    EXPECT_EQ(c.d2dBytes, 0u);
    const double flops = 8.0 / 3 * (double(n) * n * n - double(host) * host * host);
    EXPECT_GT(c.blasFlops, 0.97 * flops) << "cuBLAS share " << c.blasFlops / flops;
    EXPECT_LT(c.blasFlops, 1.1 * flops);
}

}  // namespace
