// Every emulated cuBLAS operation in the four precisions, over its transpose, side, triangle,
// diagonal and increment variants: levels 2 and 3 against the host BLAS on the same data, level 1
// against plain loops (the host BLAS's level-1 kernels change with the CPU, and some are wrong).
// Leading dimensions exceed the rows and increments leave gaps, so that writes outside an operand
// are caught: every operand is compared whole, inputs included. Vectors lie flush against the
// inaccessible page before or after their allocation, so that a load outside them crashes.
#include "test_blas_support.h"

#include <functional>
#include <memory>
#include <numeric>

namespace blastest {
namespace {

constexpr cublasOperation_t kOps[] = {CUBLAS_OP_N, CUBLAS_OP_T, CUBLAS_OP_C};
constexpr cublasFillMode_t kUplos[] = {CUBLAS_FILL_MODE_LOWER, CUBLAS_FILL_MODE_UPPER};
constexpr cublasSideMode_t kSides[] = {CUBLAS_SIDE_LEFT, CUBLAS_SIDE_RIGHT};
constexpr cublasDiagType_t kDiags[] = {CUBLAS_DIAG_NON_UNIT, CUBLAS_DIAG_UNIT};
// (incx, incy) pairs: unit, strided, and backwards.
constexpr std::pair<int, int> kIncs[] = {{1, 1}, {2, -1}, {-3, 2}};
constexpr Edge kEdges[] = {Edge::First, Edge::Last};

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

// An operand of a mirrored call, by its position among the test's operands.
struct Operand {
    size_t index;
};
constexpr Operand A{0}, B{1}, C{2}, D{3}, E{4};
// A scalar of a mirrored call: cuBLAS reads it through its address (host pointer mode), CBLAS
// takes its value (complex ones by address).
template <typename S>
struct Value {
    S value;
};

// Host and device copies of a test's operands, on which calls are mirrored: the cuBLAS function
// gets the handle, the device operands and the scalars' addresses; the CBLAS function gets the
// column-major order (not for level 1), the host operands, the scalars' values and its own enums.
// check() compares every operand whole.
template <typename T>
class Mirror {
  public:
    Mirror(cublasHandle_t handle, std::vector<std::vector<T>> operands, Edge edge = Edge::Any)
        : handle_(handle), host_(std::move(operands)) {
        for (const auto& o : host_) device_.push_back(std::make_unique<DeviceArray<T>>(o, edge));
    }
    template <typename F, typename... Args>
    void device(F cublas, const Args&... args) {
        EXPECT_OK(cublas(handle_, onDevice(args)...));
    }
    template <typename F, typename... Args>
    void host(F cblas, const Args&... args) {
        cblas(CblasColMajor, onHost(args)...);
    }
    template <typename F, typename G, typename... Args>
    void both(F cublas, G cblas, const Args&... args) {
        device(cublas, args...);
        host(cblas, args...);
    }
    T* operator[](Operand o) { return host_[o.index].data(); }
    void check(double tol) {
        for (size_t i = 0; i < host_.size(); ++i)
            EXPECT_TRUE(near(host_[i], device_[i]->read(), tol)) << "operand " << i;
    }

  private:
    auto onDevice(Operand o) { return cu(device_[o.index]->get()); }
    template <typename S>
    auto onDevice(const Value<S>& s) {
        return cu(&s.value);
    }
    template <typename X>
    X onDevice(X x) {
        return x;
    }
    T* onHost(Operand o) { return (*this)[o]; }
    template <typename S>
    auto onHost(const Value<S>& s) {
        return blasScalar(s.value);
    }
    template <typename X>
    auto onHost(X x) {
        if constexpr (std::is_enum_v<X> && !std::is_same_v<X, CBLAS_TRANSPOSE>) {
            return toCblas(x);
        } else {
            return x;
        }
    }

    cublasHandle_t handle_;
    std::vector<std::vector<T>> host_;
    std::vector<std::unique_ptr<DeviceArray<T>>> device_;
};

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
        Mirror<T> mirror(this->handle, {randomVector<T>(size_t(lda) * (m + k - rowsA), 1),
                                        randomVector<T>(size_t(ldb) * (k + n - rowsB), 2),
                                        output<T>(size_t(ldc) * n, 3, beta)});
        clearIfUnread(beta, mirror[C], m, n, ldc);
        mirror.both(CUBLAS(T, gemm), CBLAS(T, gemm), ta, tb, m, n, k, Value{kAlpha<T>}, A, lda, B,
                    ldb, Value{beta}, C, ldc);
        mirror.check(tolerance<T>(k + 1));
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
        Mirror<T> mirror(this->handle,
                         {randomVector<T>(size_t(lda) * ka, 4), randomVector<T>(size_t(ldb) * n, 5),
                          randomVector<T>(size_t(ldc) * n, 6)});
        mirror.both(
            herm ? choose<T>(cublasSsymm_v2, cublasDsymm_v2, cublasChemm_v2, cublasZhemm_v2)
                 : CUBLAS(T, symm),
            herm ? choose<T>(cblas_ssymm, cblas_dsymm, cblas_chemm, cblas_zhemm) : CBLAS(T, symm),
            side, uplo, m, n, Value{kAlpha<T>}, A, lda, B, ldb, Value{kBeta<T>}, C, ldc);
        mirror.check(tolerance<T>(ka));
    }
}

// syrk then syr2k on one C, and for complex data herk then her2k: complex symmetric updates take
// no conjugate transpose, Hermitian ones no plain transpose, real ones read C as T.
TYPED_TEST(BlasOps, RankKUpdates) {
    using T = TypeParam;
    const int n = 5, k = 3, ldc = n + 2;
    const Value<T> alpha{kAlpha<T>}, beta{kBeta<T>};
    const Value<Real<T>> ralpha{0.75}, rbeta{-1.5};
    for (const auto& c : every(kUplos, kOps)) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [uplo, trans] = c;
        const int rows = trans == CUBLAS_OP_N ? n : k, lda = rows + 1, ldb = rows + 3;
        Mirror<T> mirror(this->handle, {randomVector<T>(size_t(lda) * (n + k - rows), 7),
                                        randomVector<T>(size_t(ldb) * (n + k - rows), 8),
                                        randomVector<T>(size_t(ldc) * n, 9)});
        if (!isComplex<T> || trans != CUBLAS_OP_C) {
            mirror.both(CUBLAS(T, syrk), CBLAS(T, syrk), uplo, trans, n, k, alpha, A, lda, beta, C,
                        ldc);
            mirror.both(CUBLAS(T, syr2k), CBLAS(T, syr2k), uplo, trans, n, k, alpha, A, lda, B, ldb,
                        beta, C, ldc);
        }
        if constexpr (isComplex<T>) {
            if (trans != CUBLAS_OP_T) {
                mirror.both(choose<T>(0, 0, cublasCherk_v2, cublasZherk_v2),
                            choose<T>(0, 0, cblas_cherk, cblas_zherk), uplo, trans, n, k, ralpha, A,
                            lda, rbeta, C, ldc);
                mirror.both(choose<T>(0, 0, cublasCher2k_v2, cublasZher2k_v2),
                            choose<T>(0, 0, cblas_cher2k, cblas_zher2k), uplo, trans, n, k, alpha,
                            A, lda, B, ldb, rbeta, C, ldc);
            }
        }
        mirror.check(tolerance<T>(4 * k));
    }
}

// Per variant, each on its own operands (so that the results of one cannot undo another's):
// trsm solves in B; trmm multiplies D into C out of place (D must stay as it was) and E in place.
TYPED_TEST(BlasOps, TrsmAndTrmm) {
    using T = TypeParam;
    const int m = 5, n = 4, ldb = m + 2, ldc = m + 3;
    const Value<T> alpha{kAlpha<T>};
    for (const auto& c : every(kSides, kUplos, kOps, kDiags)) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [side, uplo, trans, diag] = c;
        const int ka = side == CUBLAS_SIDE_LEFT ? m : n, lda = ka + 1;
        Mirror<T> mirror(
            this->handle,
            {dominantMatrix<T>(ka, lda, 13), randomVector<T>(size_t(ldb) * n, 14),
             randomVector<T>(size_t(ldc) * n, 15), randomVector<T>(size_t(ldb) * n, 16),
             randomVector<T>(size_t(ldb) * n, 17)});
        mirror.both(CUBLAS(T, trsm), CBLAS(T, trsm), side, uplo, trans, diag, m, n, alpha, A, lda,
                    B, ldb);
        mirror.device(CUBLAS(T, trmm), side, uplo, trans, diag, m, n, alpha, A, lda, D, ldb, C,
                      ldc);
        mirror.device(CUBLAS(T, trmm), side, uplo, trans, diag, m, n, alpha, A, lda, E, ldb, E,
                      ldb);
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < m; ++i) mirror[C][i + j * ldc] = mirror[D][i + j * ldb];
        mirror.host(CBLAS(T, trmm), side, uplo, trans, diag, m, n, alpha, A, lda, C, ldc);
        mirror.host(CBLAS(T, trmm), side, uplo, trans, diag, m, n, alpha, A, lda, E, ldb);
        mirror.check(tolerance<T>(4 * ka));
    }
}

// ---- level 2 ------------------------------------------------------------------------------------

// The n x n matrix a symmetric (Hermitian: conjugate mirror, real diagonal) operation sees in the
// `uplo` triangle of a.
template <typename T>
std::vector<T> completed(const T* a0, int n, int lda, cublasFillMode_t uplo, bool herm) {
    std::vector<T> a(a0, a0 + size_t(lda) * n);
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

// gemv with every transpose and increment; symv (every precision) and hemv (complex) in both
// triangles against gemv on the completed matrix. beta == 0 leaves y unread. Two rows and an odd
// order are where host kernels have loaded outside a vector (complex gemv, zhemv).
TYPED_TEST(BlasOps, GemvSymvHemv) {
    using T = TypeParam;
    const Value<T> alpha{kAlpha<T>};
    const auto kinds = isComplex<T> ? std::vector{0, 1, 2} : std::vector{0, 1};  // ge, sy, he
    const auto shapes = std::vector{std::pair(6, 5), std::pair(2, 3)};
    for (const auto& c :
         every(shapes, kinds, kOps, kUplos, kIncs, std::vector{kBeta<T>, T(0)}, kEdges)) {
        const auto [shape, kind, trans, uplo, incs, beta, edge] = c;
        const auto [m, n] = shape;
        const auto [incx, incy] = incs;
        const int lda = m + 2;
        // The general matrix has no triangle; the symmetric ones have no transpose.
        if (kind == 0 ? uplo != CUBLAS_FILL_MODE_LOWER : trans != CUBLAS_OP_N) continue;
        SCOPED_TRACE(testing::PrintToString(c));
        const int rows = kind == 0 ? m : n;
        const int lenX = trans == CUBLAS_OP_N ? n : rows, lenY = rows + n - lenX;
        Mirror<T> mirror(
            this->handle,
            {randomVector<T>(size_t(lda) * n, 20), randomVector<T>(span(lenX, incx), 21),
             output<T>(span(lenY, incy), 22, beta)},
            edge);
        const auto full = kind == 0 ? std::vector<T>(mirror[A], mirror[A] + size_t(lda) * n)
                                    : completed(mirror[A], n, lda, uplo, kind == 2);
        if (kind == 0) {
            mirror.device(CUBLAS(T, gemv), trans, m, n, alpha, A, lda, B, incx, Value{beta}, C,
                          incy);
        } else {
            mirror.device(kind == 2 ? choose<T>(cublasSsymv_v2, cublasDsymv_v2, cublasChemv_v2,
                                                cublasZhemv_v2)
                                    : CUBLAS(T, symv),
                          uplo, n, alpha, A, lda, B, incx, Value{beta}, C, incy);
        }
        clearIfUnread(beta, mirror[C], lenY, 1, 0, incy);
        mirror.host(CBLAS(T, gemv), trans, rows, n, alpha, full.data(), lda, B, incx, Value{beta},
                    C, incy);
        mirror.check(tolerance<T>(m));
    }
}

// trmv on x and trsv on x2 for every variant.
TYPED_TEST(BlasOps, TrmvAndTrsv) {
    using T = TypeParam;
    const int n = 6, lda = n + 2;
    for (const auto& c : every(kUplos, kOps, kDiags, std::vector{1, -2}, kEdges)) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [uplo, trans, diag, incx, edge] = c;
        Mirror<T> mirror(this->handle,
                         {dominantMatrix<T>(n, lda, 28), randomVector<T>(span(n, incx), 29),
                          randomVector<T>(span(n, incx), 30)},
                         edge);
        mirror.both(CUBLAS(T, trmv), CBLAS(T, trmv), uplo, trans, diag, n, A, lda, B, incx);
        mirror.both(CUBLAS(T, trsv), CBLAS(T, trsv), uplo, trans, diag, n, A, lda, C, incx);
        mirror.check(tolerance<T>(n));
    }
}

// ger for real data, geru (into A) and gerc (into A2) for complex data.
TYPED_TEST(BlasOps, RankOneUpdates) {
    using T = TypeParam;
    const int m = 5, n = 4, lda = m + 1;
    const Value<T> alpha{kAlpha<T>};
    for (const auto& c : every(kIncs, kEdges)) {
        SCOPED_TRACE(testing::PrintToString(c));
        const auto [incs, edge] = c;
        const auto [incx, incy] = incs;
        Mirror<T> mirror(
            this->handle,
            {randomVector<T>(span(m, incx), 30), randomVector<T>(span(n, incy), 31),
             randomVector<T>(size_t(lda) * n, 32), randomVector<T>(size_t(lda) * n, 33)},
            edge);
        mirror.both(choose<T>(cublasSger_v2, cublasDger_v2, cublasCgeru_v2, cublasZgeru_v2),
                    choose<T>(cblas_sger, cblas_dger, cblas_cgeru, cblas_zgeru), m, n, alpha, A,
                    incx, B, incy, C, lda);
        if constexpr (isComplex<T>) {
            mirror.both(choose<T>(0, 0, cublasCgerc_v2, cublasZgerc_v2),
                        choose<T>(0, 0, cblas_cgerc, cblas_zgerc), m, n, alpha, A, incx, B, incy, D,
                        lda);
        }
        mirror.check(tolerance<T>(1));
    }
}

// ---- level 1 ------------------------------------------------------------------------------------

// Lengths on both sides of the host kernels' unrolling, up to a few hundred; each increment as
// incx and as incy (the one-vector operations take |incx|).
constexpr int kLengths[] = {1, 8, 9, 17, 33, 100, 257};
constexpr std::pair<int, int> kLevel1Incs[] = {{1, 1}, {2, -1}, {-1, -3}, {-3, 2}};

template <typename T>
long double absSum(T x) {
    return std::abs(std::real(x)) + std::abs(std::imag(x));
}

// Every level-1 operation on the same x and y. First the reductions into host memory against sums
// in long double: dot (dotu, dotc), asum, iamax and nrm2, the latter also at scales where the
// squares overflow or underflow. The elements of x have distinct |Re| + |Im| (a shuffle of 1 .. n,
// over n + 1), so that iamax has one answer whatever the rounding, but for an exact copy of the
// largest (parts swapped, or negated) placed last, which must not win. Then axpy into y, swap x
// and y, copy y into z (laid out like x), scal z by T and (complex data) by a real factor, and
// rotate x and y with a real sine and (complex data) a complex one s: x' = c x + s y,
// y' = c y - conj(s) x; the same steps as plain loops give the expected vectors. Last, n <= 0
// and, for the one-vector reductions, incx <= 0 give 0.
TYPED_TEST(BlasOps, Level1) {
    using T = TypeParam;
    using R = Real<T>;
    using E = std::complex<long double>;  // the reference sums
    using Limits = std::numeric_limits<R>;
    const auto h = this->handle;
    const auto nrm2 = choose<T>(cublasSnrm2_v2, cublasDnrm2_v2, cublasScnrm2_v2, cublasDznrm2_v2);
    const auto asum = choose<T>(cublasSasum_v2, cublasDasum_v2, cublasScasum_v2, cublasDzasum_v2);
    const auto amax = choose<T>(cublasIsamax_v2, cublasIdamax_v2, cublasIcamax_v2, cublasIzamax_v2);
    const auto dotu = choose<T>(cublasSdot_v2, cublasDdot_v2, cublasCdotu_v2, cublasZdotu_v2);
    const auto dotc = choose<T>(cublasSdot_v2, cublasDdot_v2, cublasCdotc_v2, cublasZdotc_v2);
    const T alpha = kAlpha<T>, s = scalar<T>(0.48, -0.64);
    const R real = -3.0, c = 0.6, realSine = 0.8;
    for (const auto& [n, incs, edge] : every(kLengths, kLevel1Incs, kEdges)) {
        const auto [incx, incy] = incs;
        const int inc1 = std::abs(incx);
        SCOPED_TRACE(testing::Message()
                     << "n " << n << " incs " << incx << "," << incy << " edge " << int(edge));
        auto x = randomVector<T>(span(n, incx), 36), y = randomVector<T>(span(n, incy), 37),
             z = randomVector<T>(span(n, incx), 38);
        const auto X = [&](int i) -> T& { return x[at(i, n, incx)]; };
        const auto Y = [&](int i) -> T& { return y[at(i, n, incy)]; };
        const auto Z = [&](int i) -> T& { return z[at(i, n, incx)]; };
        std::vector<int> rank(n);
        std::iota(rank.begin(), rank.end(), 1);
        std::shuffle(rank.begin(), rank.end(), std::mt19937(n));
        for (int i = 0; i < n; ++i) {
            T& xi = x[at(i, n, inc1)];
            xi *= R(rank[i] / (n + 1.0) / absSum(xi));
        }
        const int largest = int(std::max_element(rank.begin(), rank.end()) - rank.begin());
        if (largest < n - 1) {
            const T top = x[at(largest, n, inc1)];
            x[at(n - 1, n, inc1)] = isComplex<T> ? scalar<T>(std::imag(top), std::real(top)) : -top;
        }
        E expectU = 0, expectC = 0;
        long double products = 0, squares = 0, sumAbs = 0;
        for (int i = 0; i < n; ++i) {
            expectU += E(X(i)) * E(Y(i));
            expectC += std::conj(E(X(i))) * E(Y(i));
            products += absSum(X(i)) * absSum(Y(i));
            squares += std::norm(E(X(i)));
            sumAbs += absSum(X(i));
        }
        const double tol = tolerance<T>(n);
        DeviceArray<T> dx(x, edge), dy(y, edge), dz(z, edge);
        T dot = T(99);
        EXPECT_OK(dotu(h, n, cu(dx.get()), incx, cu(dy.get()), incy, cu(&dot)));
        EXPECT_LE(std::abs(E(dot) - expectU), tol * products) << "dotu " << dot;
        EXPECT_OK(dotc(h, n, cu(dx.get()), incx, cu(dy.get()), incy, cu(&dot)));
        EXPECT_LE(std::abs(E(dot) - expectC), tol * products) << "dotc " << dot;
        R sum = -1;
        int index = -1;
        EXPECT_OK(asum(h, n, cu(dx.get()), inc1, &sum));
        EXPECT_NEAR(sum, sumAbs, tol * sumAbs);
        EXPECT_OK(amax(h, n, cu(dx.get()), inc1, &index));
        EXPECT_EQ(index, largest + 1);  // 1-based
        for (R scale : {R(1), std::ldexp(R(1), Limits::max_exponent - 10),
                        std::ldexp(R(1), Limits::min_exponent + Limits::digits)}) {
            std::vector<T> scaled(x);
            for (T& v : scaled) v *= scale;
            DeviceArray<T> ds(scaled, edge);
            R nrm = -1;
            EXPECT_OK(nrm2(h, n, cu(ds.get()), inc1, &nrm));
            EXPECT_NEAR(nrm, scale * std::sqrt(squares), tol * scale * std::sqrt(squares))
                << "scale " << scale;
        }

        EXPECT_OK(CUBLAS(T, axpy)(h, n, cu(&alpha), cu(dx.get()), incx, cu(dy.get()), incy));
        EXPECT_OK(CUBLAS(T, swap)(h, n, cu(dx.get()), incx, cu(dy.get()), incy));
        EXPECT_OK(CUBLAS(T, copy)(h, n, cu(dy.get()), incy, cu(dz.get()), incx));
        EXPECT_OK(CUBLAS(T, scal)(h, n, cu(&alpha), cu(dz.get()), inc1));
        EXPECT_OK(choose<T>(cublasSrot_v2, cublasDrot_v2, cublasCsrot_v2, cublasZdrot_v2)(
            h, n, cu(dx.get()), incx, cu(dy.get()), incy, &c, &realSine));
        const auto rotate = [&](T sine, T conjSine) {
            for (int i = 0; i < n; ++i) {
                const T x0 = X(i);
                X(i) = c * x0 + sine * Y(i);
                Y(i) = c * Y(i) - conjSine * x0;
            }
        };
        for (int i = 0; i < n; ++i) {
            Y(i) += alpha * X(i);
            std::swap(X(i), Y(i));
            Z(i) = alpha * Y(i);
        }
        rotate(T(realSine), T(realSine));
        if constexpr (isComplex<T>) {
            EXPECT_OK(
                choose<T>(0, 0, cublasCsscal_v2, cublasZdscal_v2)(h, n, &real, cu(dz.get()), inc1));
            EXPECT_OK(choose<T>(0, 0, cublasCrot_v2, cublasZrot_v2)(
                h, n, cu(dx.get()), incx, cu(dy.get()), incy, &c, cu(&s)));
            for (int i = 0; i < n; ++i) Z(i) *= real;
            rotate(s, std::conj(s));
        }
        EXPECT_TRUE(near(x, dx.read(), tolerance<T>(1))) << "x";
        EXPECT_TRUE(near(y, dy.read(), tolerance<T>(1))) << "y";
        EXPECT_TRUE(near(z, dz.read(), tolerance<T>(1))) << "z";
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
