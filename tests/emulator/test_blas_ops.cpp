// Every emulated cuBLAS operation against the host BLAS on the same data, in the four precisions,
// over its transpose, side, triangle, diagonal and increment variants. Leading dimensions exceed
// the rows and increments leave gaps, so that writes outside an operand are caught: every operand
// is compared whole, inputs included.
#include "test_blas_support.h"

#include <functional>
#include <memory>

namespace blastest {
namespace {

constexpr cublasOperation_t kOps[] = {CUBLAS_OP_N, CUBLAS_OP_T, CUBLAS_OP_C};
constexpr cublasFillMode_t kUplos[] = {CUBLAS_FILL_MODE_LOWER, CUBLAS_FILL_MODE_UPPER};
constexpr cublasSideMode_t kSides[] = {CUBLAS_SIDE_LEFT, CUBLAS_SIDE_RIGHT};
constexpr cublasDiagType_t kDiags[] = {CUBLAS_DIAG_NON_UNIT, CUBLAS_DIAG_UNIT};
// (incx, incy) pairs: unit, strided, and backwards.
constexpr std::pair<int, int> kIncs[] = {{1, 1}, {2, -1}, {-3, 2}};

template <typename T>
const T kAlpha = scalar<T>(1.5, -0.5);
template <typename T>
const T kBeta = scalar<T>(-0.75, 0.25);

#define EXPECT_OK(call) EXPECT_EQ((call), CUBLAS_STATUS_SUCCESS)

// Every combination of one value of each list, as tuples.
template <typename List>
auto every(const List& list) {
    std::vector<std::tuple<std::decay_t<decltype(*std::begin(list))>>> out;
    for (const auto& x : list) out.emplace_back(x);
    return out;
}
template <typename List, typename... Rest>
auto every(const List& list, const Rest&... rest) {
    std::vector<decltype(std::tuple_cat(every(list)[0], every(rest...)[0]))> out;
    for (const auto& x : every(list))
        for (const auto& r : every(rest...)) out.push_back(std::tuple_cat(x, r));
    return out;
}

template <typename T>
class BlasOps : public BlasTest {};
TYPED_TEST_SUITE(BlasOps, Precisions);

// Runs `device` on device copies of the operands (as the toolkit's pointers) and `host` on the
// operands themselves, then compares every operand whole.
template <typename T, typename Device, typename Host>
void expectLikeHost(std::vector<std::vector<T>> operands, double tol, Device device, Host host) {
    std::vector<std::unique_ptr<DeviceArray<T>>> arrays;
    std::vector<typename Info<T>::Cuda*> d;
    std::vector<T*> h;
    for (auto& op : operands) {
        arrays.push_back(std::make_unique<DeviceArray<T>>(op));
        d.push_back(cu(arrays.back()->get()));
        h.push_back(op.data());
    }
    device(d);
    host(h);
    for (size_t i = 0; i < operands.size(); ++i)
        EXPECT_TRUE(near(operands[i], arrays[i]->read(), tol)) << "operand " << i;
}

// An output operand: random, or all NaN when beta == 0 (then it must not be read). The host
// reference, which may read it, gets zeros in the `rows` x `cols` part it writes instead.
template <typename T>
std::vector<T> output(size_t n, unsigned seed, T beta) {
    if (beta != T(0)) return randomVector<T>(n, seed);
    return std::vector<T>(n, T(std::numeric_limits<Real<T>>::quiet_NaN()));
}
template <typename T>
void clearIfUnread(T beta, T* c, int rows, int cols, int ld, int inc = 1) {
    for (int j = 0; beta == T(0) && j < cols; ++j)
        for (int i = 0; i < rows; ++i) c[at(i, rows, inc) + size_t(j) * ld] = T(0);
}

// A column-major n x n matrix of random entries with a dominant diagonal (well conditioned as a
// triangular matrix), leading dimension ld.
template <typename T>
std::vector<T> dominantMatrix(int n, int ld, unsigned seed) {
    std::vector<T> a = randomVector<T>(size_t(ld) * n, seed);
    for (int i = 0; i < n; ++i) a[i + size_t(i) * ld] += T(Real<T>(n + 2));
    return a;
}

// ---- level 3 ------------------------------------------------------------------------------------

// Every transpose pair, beta zero or not, and an empty inner dimension (C scaled by beta).
TYPED_TEST(BlasOps, Gemm) {
    using T = TypeParam;
    const int m = 7, n = 5, ldc = m + 3;
    for (const auto& c : every(std::vector{6, 0}, kOps, kOps, std::vector{kBeta<T>, T(0)})) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [k, ta, tb, beta] = c;
        const int rowsA = ta == CUBLAS_OP_N ? m : k, rowsB = tb == CUBLAS_OP_N ? k : n;
        const int lda = rowsA + 2, ldb = rowsB + 1;
        expectLikeHost<T>(
            {randomVector<T>(size_t(lda) * (m + k - rowsA), 1),
             randomVector<T>(size_t(ldb) * (k + n - rowsB), 2),
             output<T>(size_t(ldc) * n, 3, beta)},
            tolerance<T>(k + 1),
            [&](auto d) {
                EXPECT_OK(CUBLAS(T, gemm)(this->handle, ta, tb, m, n, k, cu(&kAlpha<T>), d[0], lda,
                                          d[1], ldb, cu(&beta), d[2], ldc));
            },
            [&](auto p) {
                clearIfUnread(beta, p[2], m, n, ldc);
                std::invoke(CBLAS(T, gemm), CblasColMajor, toCblas(ta), toCblas(tb), m, n, k,
                            blasScalar(kAlpha<T>), p[0], lda, p[1], ldb, blasScalar(beta), p[2],
                            ldc);
            });
    }
}

// symm for every precision, hemm for the complex ones: both sides, both triangles.
TYPED_TEST(BlasOps, SymmAndHemm) {
    using T = TypeParam;
    const int m = 6, n = 4, ldb = m + 2, ldc = m + 1;
    const auto hermitian = isComplex<T> ? std::vector{false, true} : std::vector{false};
    for (const auto& c : every(hermitian, kSides, kUplos)) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [herm, side, uplo] = c;
        const int ka = side == CUBLAS_SIDE_LEFT ? m : n, lda = ka + 1;
        const auto op =
            herm ? choose<T>(cublasSsymm_v2, cublasDsymm_v2, cublasChemm_v2, cublasZhemm_v2)
                 : CUBLAS(T, symm);
        const auto ref =
            herm ? choose<T>(cblas_ssymm, cblas_dsymm, cblas_chemm, cblas_zhemm) : CBLAS(T, symm);
        expectLikeHost<T>(
            {randomVector<T>(size_t(lda) * ka, 4), randomVector<T>(size_t(ldb) * n, 5),
             randomVector<T>(size_t(ldc) * n, 6)},
            tolerance<T>(ka),
            [&](auto d) {
                EXPECT_OK(op(this->handle, side, uplo, m, n, cu(&kAlpha<T>), d[0], lda, d[1], ldb,
                             cu(&kBeta<T>), d[2], ldc));
            },
            [&](auto p) {
                ref(CblasColMajor, toCblas(side), toCblas(uplo), m, n, blasScalar(kAlpha<T>), p[0],
                    lda, p[1], ldb, blasScalar(kBeta<T>), p[2], ldc);
            });
    }
}

// syrk then syr2k on one C, and for complex data herk then her2k: complex symmetric updates take
// no conjugate transpose, Hermitian ones no plain transpose, real ones read C as T.
TYPED_TEST(BlasOps, RankKUpdates) {
    using T = TypeParam;
    const int n = 5, k = 3, ldc = n + 2;
    const Real<T> ralpha = 0.75, rbeta = -1.5;
    const auto a = cu(&kAlpha<T>), b = cu(&kBeta<T>);
    const auto ha = blasScalar(kAlpha<T>), hb = blasScalar(kBeta<T>);
    for (const auto& c : every(kUplos, kOps)) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [uplo, trans] = c;
        const int rows = trans == CUBLAS_OP_N ? n : k, lda = rows + 1, ldb = rows + 3;
        const bool symmetric = !isComplex<T> || trans != CUBLAS_OP_C;
        const bool hermitian = isComplex<T> && trans != CUBLAS_OP_T;
        const auto cuplo = toCblas(uplo);
        const auto ctrans = toCblas(trans);
        expectLikeHost<T>(
            {randomVector<T>(size_t(lda) * (n + k - rows), 7),
             randomVector<T>(size_t(ldb) * (n + k - rows), 8), randomVector<T>(size_t(ldc) * n, 9)},
            tolerance<T>(4 * k),
            [&](auto d) {
                const auto h = this->handle;
                if (symmetric) {
                    EXPECT_OK(CUBLAS(T, syrk)(h, uplo, trans, n, k, a, d[0], lda, b, d[2], ldc));
                    EXPECT_OK(CUBLAS(T, syr2k)(h, uplo, trans, n, k, a, d[0], lda, d[1], ldb, b,
                                               d[2], ldc));
                }
                if constexpr (isComplex<T>) {
                    if (!hermitian) return;
                    EXPECT_OK(choose<T>(0, 0, cublasCherk_v2, cublasZherk_v2)(
                        h, uplo, trans, n, k, &ralpha, d[0], lda, &rbeta, d[2], ldc));
                    EXPECT_OK(choose<T>(0, 0, cublasCher2k_v2, cublasZher2k_v2)(
                        h, uplo, trans, n, k, a, d[0], lda, d[1], ldb, &rbeta, d[2], ldc));
                }
            },
            [&](auto p) {
                if (symmetric) {
                    std::invoke(CBLAS(T, syrk), CblasColMajor, cuplo, ctrans, n, k, ha, p[0], lda,
                                hb, p[2], ldc);
                    std::invoke(CBLAS(T, syr2k), CblasColMajor, cuplo, ctrans, n, k, ha, p[0], lda,
                                p[1], ldb, hb, p[2], ldc);
                }
                if constexpr (isComplex<T>) {
                    if (!hermitian) return;
                    choose<T>(0, 0, cblas_cherk, cblas_zherk)(CblasColMajor, cuplo, ctrans, n, k,
                                                              ralpha, p[0], lda, rbeta, p[2], ldc);
                    choose<T>(0, 0, cblas_cher2k, cblas_zher2k)(CblasColMajor, cuplo, ctrans, n, k,
                                                                ha, p[0], lda, p[1], ldb, rbeta,
                                                                p[2], ldc);
                }
            });
    }
}

// Per variant: trsm solves in B; trmm multiplies B into C out of place (B must stay as it was);
// trmm given B as C multiplies in place.
TYPED_TEST(BlasOps, TrsmAndTrmm) {
    using T = TypeParam;
    const int m = 5, n = 4, ldb = m + 2, ldc = m + 3;
    for (const auto& c : every(kSides, kUplos, kOps, kDiags)) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [side, uplo, trans, diag] = c;
        const int ka = side == CUBLAS_SIDE_LEFT ? m : n, lda = ka + 1;
        const auto a = cu(&kAlpha<T>);
        const auto args = std::tuple(CblasColMajor, toCblas(side), toCblas(uplo), toCblas(trans),
                                     toCblas(diag), m, n, blasScalar(kAlpha<T>));
        expectLikeHost<T>(
            {dominantMatrix<T>(ka, lda, 13), randomVector<T>(size_t(ldb) * n, 14),
             randomVector<T>(size_t(ldc) * n, 15)},
            tolerance<T>(4 * ka),
            [&](auto d) {
                const auto h = this->handle;
                EXPECT_OK(
                    CUBLAS(T, trsm)(h, side, uplo, trans, diag, m, n, a, d[0], lda, d[1], ldb));
                EXPECT_OK(CUBLAS(T, trmm)(h, side, uplo, trans, diag, m, n, a, d[0], lda, d[1], ldb,
                                          d[2], ldc));
                EXPECT_OK(CUBLAS(T, trmm)(h, side, uplo, trans, diag, m, n, a, d[0], lda, d[1], ldb,
                                          d[1], ldb));
            },
            [&](auto p) {
                const auto on = [&](T* x, int ld) { return std::tuple(p[0], lda, x, ld); };
                std::apply(CBLAS(T, trsm), std::tuple_cat(args, on(p[1], ldb)));
                for (int j = 0; j < n; ++j)
                    for (int i = 0; i < m; ++i) p[2][i + j * ldc] = p[1][i + j * ldb];
                std::apply(CBLAS(T, trmm), std::tuple_cat(args, on(p[2], ldc)));
                std::apply(CBLAS(T, trmm), std::tuple_cat(args, on(p[1], ldb)));
            });
    }
}

// ---- level 2 ------------------------------------------------------------------------------------

TYPED_TEST(BlasOps, Gemv) {
    using T = TypeParam;
    const int m = 6, n = 5, lda = m + 2;
    for (const auto& c : every(kOps, kIncs, std::vector{kBeta<T>, T(0)})) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [trans, incs, beta] = c;
        const auto [incx, incy] = incs;
        const int lenX = trans == CUBLAS_OP_N ? n : m, lenY = m + n - lenX;
        expectLikeHost<T>(
            {randomVector<T>(size_t(lda) * n, 20), randomVector<T>(span(lenX, incx), 21),
             output<T>(span(lenY, incy), 22, beta)},
            tolerance<T>(m),
            [&](auto d) {
                EXPECT_OK(CUBLAS(T, gemv)(this->handle, trans, m, n, cu(&kAlpha<T>), d[0], lda,
                                          d[1], incx, cu(&beta), d[2], incy));
            },
            [&](auto p) {
                clearIfUnread(beta, p[2], lenY, 1, 0, incy);
                std::invoke(CBLAS(T, gemv), CblasColMajor, toCblas(trans), m, n,
                            blasScalar(kAlpha<T>), p[0], lda, p[1], incx, blasScalar(beta), p[2],
                            incy);
            });
    }
}

// The n x n matrix a symmetric (Hermitian: conjugate mirror, real diagonal) operation sees in the
// `uplo` triangle of a.
template <typename T>
std::vector<T> completed(std::vector<T> a, int n, int lda, cublasFillMode_t uplo, bool herm) {
    for (int j = 0; j < n; ++j)
        for (int i = 0; i <= j; ++i) {
            T& upper = a[i + size_t(j) * lda];
            T& lower = a[j + size_t(i) * lda];
            const T stored = uplo == CUBLAS_FILL_MODE_UPPER ? upper : lower;
            T& mirror = uplo == CUBLAS_FILL_MODE_UPPER ? lower : upper;
            mirror = stored;
            if constexpr (isComplex<T>) {
                if (herm) mirror = i == j ? T(std::real(stored)) : std::conj(stored);
            }
        }
    return a;
}

// symv for every precision, hemv for the complex ones, against gemv on the completed matrix.
TYPED_TEST(BlasOps, SymvAndHemv) {
    using T = TypeParam;
    const int n = 6, lda = n + 1;
    const auto hermitian = isComplex<T> ? std::vector{false, true} : std::vector{false};
    for (const auto& c : every(hermitian, kUplos, kIncs, std::vector{kBeta<T>, T(0)})) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [herm, uplo, incs, beta] = c;
        const auto [incx, incy] = incs;
        const auto A = randomVector<T>(size_t(lda) * n, 23);
        const auto full = completed(A, n, lda, uplo, herm);
        const auto op =
            herm ? choose<T>(cublasSsymv_v2, cublasDsymv_v2, cublasChemv_v2, cublasZhemv_v2)
                 : CUBLAS(T, symv);
        expectLikeHost<T>(
            {A, randomVector<T>(span(n, incx), 24), output<T>(span(n, incy), 25, beta)},
            tolerance<T>(n),
            [&](auto d) {
                EXPECT_OK(op(this->handle, uplo, n, cu(&kAlpha<T>), d[0], lda, d[1], incx,
                             cu(&beta), d[2], incy));
            },
            [&](auto p) {
                clearIfUnread(beta, p[2], n, 1, 0, incy);
                std::invoke(CBLAS(T, gemv), CblasColMajor, CblasNoTrans, n, n,
                            blasScalar(kAlpha<T>), full.data(), lda, p[1], incx, blasScalar(beta),
                            p[2], incy);
            });
    }
}

// trmv on x and trsv on x2 for every variant.
TYPED_TEST(BlasOps, TrmvAndTrsv) {
    using T = TypeParam;
    const int n = 6, lda = n + 2;
    for (const auto& c : every(kUplos, kOps, kDiags, std::vector{1, -2})) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [uplo, trans, diag, incx] = c;
        const auto args =
            std::tuple(CblasColMajor, toCblas(uplo), toCblas(trans), toCblas(diag), n);
        expectLikeHost<T>(
            {dominantMatrix<T>(n, lda, 28), randomVector<T>(span(n, incx), 29),
             randomVector<T>(span(n, incx), 30)},
            tolerance<T>(n),
            [&](auto d) {
                const auto h = this->handle;
                EXPECT_OK(CUBLAS(T, trmv)(h, uplo, trans, diag, n, d[0], lda, d[1], incx));
                EXPECT_OK(CUBLAS(T, trsv)(h, uplo, trans, diag, n, d[0], lda, d[2], incx));
            },
            [&](auto p) {
                std::apply(CBLAS(T, trmv), std::tuple_cat(args, std::tuple(p[0], lda, p[1], incx)));
                std::apply(CBLAS(T, trsv), std::tuple_cat(args, std::tuple(p[0], lda, p[2], incx)));
            });
    }
}

// ---- rank-one updates and level 1 ---------------------------------------------------------------

// ger for real data, geru (into A) and gerc (into A2) for complex data; then axpy into y, swap x
// and y, copy y into z (laid out like x), scal z by T and (complex data) by a real factor, and
// rotate x and y with a real sine and (complex data) a complex one s: x' = c x + s y,
// y' = c y - conj(s) x.
TYPED_TEST(BlasOps, RankOneUpdatesAndVectorOperations) {
    using T = TypeParam;
    using R = Real<T>;
    const int m = 5, n = 4, lda = m + 1;
    const R real = -3.0, c = 0.6, realSine = 0.8;
    const T s = scalar<T>(0.48, -0.64);
    for (auto [incx, incy] : kIncs) {
        SCOPED_TRACE(testing::Message() << "incs " << incx << "," << incy);
        const int inc = std::abs(incx);
        expectLikeHost<T>(
            {randomVector<T>(span(m, incx), 30), randomVector<T>(span(m, incy), 31),
             randomVector<T>(size_t(lda) * n, 32), randomVector<T>(size_t(lda) * n, 33),
             randomVector<T>(span(m, incx), 35)},
            tolerance<T>(1),
            [&](auto d) {
                const auto h = this->handle;
                const auto a = cu(&kAlpha<T>);
                EXPECT_OK(choose<T>(cublasSger_v2, cublasDger_v2, cublasCgeru_v2, cublasZgeru_v2)(
                    h, m, n, a, d[0], incx, d[1], incy, d[2], lda));
                EXPECT_OK(CUBLAS(T, axpy)(h, m, a, d[0], incx, d[1], incy));
                EXPECT_OK(CUBLAS(T, swap)(h, m, d[0], incx, d[1], incy));
                EXPECT_OK(CUBLAS(T, copy)(h, m, d[1], incy, d[4], incx));
                EXPECT_OK(CUBLAS(T, scal)(h, m, a, d[4], inc));
                EXPECT_OK(choose<T>(cublasSrot_v2, cublasDrot_v2, cublasCsrot_v2, cublasZdrot_v2)(
                    h, m, d[0], incx, d[1], incy, &c, &realSine));
                if constexpr (isComplex<T>) {
                    EXPECT_OK(choose<T>(0, 0, cublasCgerc_v2, cublasZgerc_v2)(
                        h, m, n, a, d[0], incx, d[1], incy, d[3], lda));
                    EXPECT_OK(
                        choose<T>(0, 0, cublasCsscal_v2, cublasZdscal_v2)(h, m, &real, d[4], inc));
                    EXPECT_OK(choose<T>(0, 0, cublasCrot_v2, cublasZrot_v2)(h, m, d[0], incx, d[1],
                                                                            incy, &c, cu(&s)));
                }
            },
            [&](auto p) {
                const auto a = blasScalar(kAlpha<T>);
                const auto rotate = [&](T sine, T conjSine) {
                    for (int i = 0; i < m; ++i) {
                        T& x = p[0][at(i, m, incx)];
                        T& y = p[1][at(i, m, incy)];
                        const T x0 = x;
                        x = c * x0 + sine * y;
                        y = c * y - conjSine * x0;
                    }
                };
                choose<T>(cblas_sger, cblas_dger, cblas_cgeru, cblas_zgeru)(
                    CblasColMajor, m, n, a, p[0], incx, p[1], incy, p[2], lda);
                std::invoke(CBLAS(T, axpy), m, a, p[0], incx, p[1], incy);
                std::invoke(CBLAS(T, swap), m, p[0], incx, p[1], incy);
                std::invoke(CBLAS(T, copy), m, p[1], incy, p[4], incx);
                for (int i = 0; i < m; ++i)
                    p[4][at(i, m, inc)] *= kAlpha<T> * (isComplex<T> ? real : R(1));
                rotate(T(realSine), T(realSine));
                if constexpr (isComplex<T>) {
                    choose<T>(0, 0, cblas_cgerc, cblas_zgerc)(CblasColMajor, m, n, a, p[0], incx,
                                                              p[1], incy, p[3], lda);
                    rotate(s, std::conj(s));
                }
            });
    }
}

// dot (dotu, dotc), nrm2, asum and iamax into host memory; n <= 0 and, for the one-vector
// reductions, incx <= 0 give 0.
TYPED_TEST(BlasOps, Reductions) {
    using T = TypeParam;
    using R = Real<T>;
    const auto h = this->handle;
    const auto nrm2 = choose<T>(cublasSnrm2_v2, cublasDnrm2_v2, cublasScnrm2_v2, cublasDznrm2_v2);
    const auto asum = choose<T>(cublasSasum_v2, cublasDasum_v2, cublasScasum_v2, cublasDzasum_v2);
    const auto amax = choose<T>(cublasIsamax_v2, cublasIdamax_v2, cublasIcamax_v2, cublasIzamax_v2);
    const auto dotu = choose<T>(cublasSdot_v2, cublasDdot_v2, cublasCdotu_v2, cublasZdotu_v2);
    const int n = 9;
    for (auto [incx, incy] : kIncs) {
        SCOPED_TRACE(testing::Message() << "incs " << incx << "," << incy);
        auto x = randomVector<T>(span(n, incx), 36), y = randomVector<T>(span(n, incy), 37);
        // A known largest element (|Re| + |Im| = 9), and a tie after it that must not win.
        const int inc1 = std::abs(incx);
        x[at(4, n, inc1)] = scalar<T>(-5.0, 4.0);
        x[at(6, n, inc1)] = scalar<T>(4.0, -5.0);
        T expectU = T(0), expectC = T(0), dot = T(99);
        double squares = 0, sumAbs = 0;
        for (int i = 0; i < n; ++i) {
            const T xi = x[at(i, n, incx)], yi = y[at(i, n, incy)];
            expectU += xi * yi;
            if constexpr (isComplex<T>) expectC += std::conj(xi) * yi;
            squares += std::norm(xi);
            sumAbs += std::abs(std::real(xi)) + std::abs(std::imag(xi));
        }
        DeviceArray<T> dx(x), dy(y);
        R nrm = -1, sum = -1;
        int index = -1;
        EXPECT_OK(dotu(h, n, cu(dx.get()), incx, cu(dy.get()), incy, cu(&dot)));
        EXPECT_TRUE(near<T>({expectU}, {dot}, tolerance<T>(n)));
        if constexpr (isComplex<T>) {
            EXPECT_OK(choose<T>(0, 0, cublasCdotc_v2, cublasZdotc_v2)(
                h, n, cu(dx.get()), incx, cu(dy.get()), incy, cu(&dot)));
            EXPECT_TRUE(near<T>({expectC}, {dot}, tolerance<T>(n)));
        }
        EXPECT_OK(nrm2(h, n, cu(dx.get()), inc1, &nrm));
        EXPECT_OK(asum(h, n, cu(dx.get()), inc1, &sum));
        EXPECT_OK(amax(h, n, cu(dx.get()), inc1, &index));
        EXPECT_NEAR(nrm, std::sqrt(squares), tolerance<T>(n) * std::sqrt(squares));
        EXPECT_NEAR(sum, sumAbs, tolerance<T>(n) * sumAbs);
        EXPECT_EQ(index, 5);  // 1-based
    }
    DeviceArray<T> dx(randomVector<T>(4, 39));
    for (auto [n, incx] : {std::pair(0, 1), std::pair(-1, 1), std::pair(4, 0), std::pair(4, -1)}) {
        SCOPED_TRACE(testing::Message() << "n " << n << " incx " << incx);
        R nrm = -1, sum = -1;
        int index = -1;
        T dot = T(5);
        EXPECT_OK(nrm2(h, n, cu(dx.get()), incx, &nrm));
        EXPECT_OK(asum(h, n, cu(dx.get()), incx, &sum));
        EXPECT_OK(amax(h, n, cu(dx.get()), incx, &index));
        EXPECT_OK(dotu(h, std::min(n, 0), cu(dx.get()), 1, cu(dx.get()), 1, cu(&dot)));
        EXPECT_EQ(std::tuple(nrm, sum, index, dot), std::tuple(R(0), R(0), 0, T(0)));
    }
}

}  // namespace
}  // namespace blastest
