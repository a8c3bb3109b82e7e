// The exported utility routines against the host LAPACK (or the definition, where LAPACK has no
// such routine), in every precision and through both interfaces; their argument tables; the
// device flag of the NaN check and of the conversions.
#include "kernel_test_support.h"
#include "runtime/host_lapack.h"

#include <bit>
#include <cctype>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <tuple>

namespace {

using zuli::Complex;
using namespace kernel_tests;

// ---- the routines of one precision: [0] the host interface, [1] the device interface -----------

#define ZULI_PAIR(name, fn) \
    static constexpr decltype(&zuli##fn) name[2] = {zuli##fn, zuliDevice##fn};

template <typename T>
struct Api;
#define ZULI_TEST_API(L, l, T, P, R)                                                        \
    template <>                                                                             \
    struct Api<T> {                                                                         \
        using Pub = P;                                                                      \
        using Real = R;                                                                     \
        ZULI_PAIR(lacpy, L##lacpy)                                                          \
        ZULI_PAIR(laset, L##laset)                                                          \
        ZULI_PAIR(lascl, L##lascl)                                                          \
        ZULI_PAIR(nancheck, L##geNancheck)                                                  \
        ZULI_PAIR(transpose, L##geTranspose)                                                \
        ZULI_PAIR(transposeInplace, L##geTransposeInplace)                                  \
        static void refLacpy(char uplo, int m, int n, const T* a, int lda, T* b, int ldb) { \
            LAPACK_##l##lacpy(&uplo, &m, &n, a, &lda, b, &ldb);                             \
        }                                                                                   \
        static void refLaset(char uplo, int m, int n, T alpha, T beta, T* a, int lda) {     \
            LAPACK_##l##laset(&uplo, &m, &n, &alpha, &beta, a, &lda);                       \
        }                                                                                   \
        static int refLascl(char type, int kl, int ku, R cfrom, R cto, int m, int n, T* a,  \
                            int lda) {                                                      \
            int info = 0;                                                                   \
            LAPACK_##l##lascl(&type, &kl, &ku, &cfrom, &cto, &m, &n, a, &lda, &info);       \
            return info;                                                                    \
        }                                                                                   \
    };
ZULI_TEST_API(S, s, float, float, float)
ZULI_TEST_API(D, d, double, double, double)
ZULI_TEST_API(C, c, Complex<float>, zuliComplexFloat, float)
ZULI_TEST_API(Z, z, Complex<double>, zuliComplexDouble, double)
#undef ZULI_TEST_API

template <typename T>
struct ComplexApi;
#define ZULI_TEST_COMPLEX_API(L, T)                                     \
    template <>                                                         \
    struct ComplexApi<T> {                                              \
        ZULI_PAIR(transposeConj, L##geTransposeConjugate)               \
        ZULI_PAIR(transposeConjInplace, L##geTransposeConjugateInplace) \
        ZULI_PAIR(conjugate, L##geConjugate)                            \
        ZULI_PAIR(trConjugate, L##trConjugate)                          \
    };
ZULI_TEST_COMPLEX_API(C, Complex<float>)
ZULI_TEST_COMPLEX_API(Z, Complex<double>)
#undef ZULI_TEST_COMPLEX_API

// Narrowing (double to single) and widening routines of one real/complex pair.
#define ZULI_TEST_CONVERSION(Name, W, N, D, S, d, s)                           \
    struct Name {                                                              \
        using Wide = W;                                                        \
        using Narrow = N;                                                      \
        ZULI_PAIR(lag2, D##lag2##s)                                            \
        ZULI_PAIR(lat2, D##lat2##s)                                            \
        ZULI_PAIR(widen, S##lag2##d)                                           \
        ZULI_PAIR(widenTr, S##lat2##d)                                         \
        static int refLag2(int m, int n, const W* a, int lda, N* b, int ldb) { \
            int info = 0;                                                      \
            LAPACK_##d##lag2##s(&m, &n, a, &lda, b, &ldb, &info);              \
            return info;                                                       \
        }                                                                      \
    };
ZULI_TEST_CONVERSION(DoubleToSingle, double, float, D, S, d, s)
ZULI_TEST_CONVERSION(ComplexDoubleToSingle, Complex<double>, Complex<float>, Z, C, z, c)
#undef ZULI_TEST_CONVERSION

template <typename T>
auto* pub(T* p) {
    return reinterpret_cast<typename Api<std::remove_const_t<T>>::Pub*>(p);
}
template <typename T>
typename Api<T>::Pub pubValue(T v) {
    typename Api<T>::Pub p;
    std::memcpy(&p, &v, sizeof(p));
    return p;
}

template <typename T>
std::vector<T> randomMatrix(int ld, int n, unsigned seed) {
    return randomValues<T>(size_t(std::max(ld, 1)) * std::max(n, 1), seed);
}

const int kVias[] = {0, 1};  // index into the routine pairs: host, device
const char* name(int via) {
    return via ? "device" : "host";
}

// Runs call(pointers...) on host arrays in place: directly for the host interface, on device
// copies (downloaded back afterwards) for the device interface.
template <typename Call, typename... Arrays>
zuliStatus runOn(int via, Call call, std::vector<Arrays>&... arrays) {
    if (via == 0) return call(arrays.data()...);
    auto copies = std::make_tuple(std::make_unique<DeviceArray<Arrays>>(arrays)...);
    const zuliStatus s = std::apply([&](auto&... c) { return call(c->get()...); }, copies);
    std::apply([&](auto&... c) { ((arrays = c->download()), ...); }, copies);
    return s;
}

// b with its leading m x n block replaced by the (conjugate) transpose of a's n x m block.
template <typename T>
std::vector<T> transposed(const std::vector<T>& a, int lda, std::vector<T> b, int ldb, int m, int n,
                          bool conjugate) {
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) {
            T x = a[j + size_t(i) * lda];
            if constexpr (zuli::IsComplexV<T>)
                if (conjugate) x = zuli::conj(x);
            b[i + size_t(j) * ldb] = x;
        }
    return b;
}

class Auxiliary : public runtime_test::RuntimeTest {
  protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        ASSERT_EQ(zuliInitialize(), zuliNoError);
    }
    void TearDown() override {
        EXPECT_EQ(counters().liveDeviceBytes, 0u) << "device memory leaked";
        RuntimeTest::TearDown();
    }
};

template <typename T>
class AuxiliaryTyped : public Auxiliary {};
using AllTypes = ::testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(AuxiliaryTyped, AllTypes);

template <typename T>
class AuxiliaryComplex : public Auxiliary {};
using ComplexTypes = ::testing::Types<Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(AuxiliaryComplex, ComplexTypes);

template <typename P>
class Conversions : public Auxiliary {};
using ConversionPairs = ::testing::Types<DoubleToSingle, ComplexDoubleToSingle>;
TYPED_TEST_SUITE(Conversions, ConversionPairs);

// ---- results against LAPACK --------------------------------------------------------------------

// lacpy rows copy A into B, laset rows (ldb = 0) set A to alpha off and beta on the diagonal.
TYPED_TEST(AuxiliaryTyped, LacpyAndLasetMatchLapackForEveryPart) {
    using T = TypeParam;
    using A = Api<T>;
    const T alpha = randomValues<T>(1, 5)[0], beta = T(3);
    struct Case {
        char uplo;
        int m, n, lda, ldb;
    } cases[] = {{'A', 7, 5, 9, 8},     {'a', 20, 33, 20, 21}, {'F', 1, 1, 1, 1},
                 {'L', 7, 5, 7, 10},    {'l', 5, 9, 6, 5},     {'U', 7, 5, 8, 7},
                 {'u', 40, 17, 41, 40}, {'f', 5, 7, 5, 0},     {'L', 9, 4, 9, 0},
                 {'l', 4, 9, 5, 0},     {'U', 9, 4, 10, 0},    {'u', 30, 40, 31, 0}};
    for (const Case& c : cases)
        for (int via : kVias) {
            SCOPED_TRACE(testing::Message()
                         << c.uplo << " " << c.m << "x" << c.n << " " << c.ldb << " " << name(via));
            const std::vector<T> a = randomMatrix<T>(c.lda, c.n, 1);
            std::vector<T> aIn = a, b = randomMatrix<T>(c.ldb, c.n, 2), want = c.ldb ? b : a;
            zuliStatus s;
            if (c.ldb) {
                A::refLacpy(c.uplo, c.m, c.n, a.data(), c.lda, want.data(), c.ldb);
                s = runOn(
                    via,
                    [&](T* pa, T* pb) {
                        return A::lacpy[via](c.uplo, c.m, c.n, pub(pa), c.lda, pub(pb), c.ldb);
                    },
                    aIn, b);
                EXPECT_TRUE(identical(aIn, a)) << "the source changed";
            } else {
                A::refLaset(c.uplo, c.m, c.n, alpha, beta, want.data(), c.lda);
                s = runOn(
                    via,
                    [&](T* pa) {
                        return A::laset[via](c.uplo, c.m, c.n, pubValue(alpha), pubValue(beta),
                                             pub(pa), c.lda);
                    },
                    b = aIn);
            }
            ASSERT_EQ(s, zuliNoError);
            EXPECT_TRUE(identical(b, want));
        }
}

// Every storage type, and factors whose quotient over- or underflows unless it is taken in
// steps: the result must be LAPACK's, bit for bit.
TYPED_TEST(AuxiliaryTyped, LasclMatchesLapackForEveryTypeAndExtremeFactors) {
    using T = TypeParam;
    using A = Api<T>;
    using R = typename A::Real;
    const R big = std::numeric_limits<R>::max(), tiny = std::numeric_limits<R>::min();
    const R factors[][2] = {{R(2), R(3)},
                            {R(1), R(1)},
                            {tiny, big / 4},
                            {big / 2, tiny * 8},
                            {R(1e-3), big},
                            {-R(7), R(0)},
                            {R(3), std::numeric_limits<R>::infinity()},
                            {tiny / 64, R(1)}, {big, R(1)}};
    struct Case {
        char type;
        int kl, ku, m, n, lda;
    } cases[] = {{'G', 0, 0, 9, 7, 11}, {'g', 0, 0, 20, 20, 20}, {'L', 0, 0, 9, 7, 9},
                 {'U', 0, 0, 7, 9, 8},  {'H', 0, 0, 8, 8, 9},    {'b', 2, 2, 8, 8, 3},
                 {'Q', 3, 3, 9, 9, 5},  {'Z', 2, 1, 9, 7, 6},    {'Z', 0, 3, 4, 9, 4},
                 {'Z', 3, 0, 9, 4, 7}};
    for (const auto& f : factors)
        for (const Case& c : cases)
            for (int via : kVias) {
                SCOPED_TRACE(testing::Message() << c.type << " " << c.m << "x" << c.n << " from "
                                                << f[0] << " to " << f[1] << " " << name(via));
                std::vector<T> a = randomMatrix<T>(c.lda, c.n, 7), want = a;
                ASSERT_EQ(A::refLascl(c.type, c.kl, c.ku, f[0], f[1], c.m, c.n, want.data(), c.lda),
                          0);
                ASSERT_EQ(runOn(
                              via,
                              [&](T* pa) {
                                  return A::lascl[via](c.type, c.kl, c.ku, f[0], f[1], c.m, c.n,
                                                       pub(pa), c.lda);
                              },
                              a),
                          zuliNoError);
                EXPECT_TRUE(identical(a, want));
            }
}

// Out of place and in place; for complex types also conjugating, where a zero imaginary part
// becomes -0.
TYPED_TEST(AuxiliaryTyped, TransposesOutOfPlaceAndInPlace) {
    using T = TypeParam;
    using A = Api<T>;
    const int m = 19, n = 37, lda = 21, ldb = 40, order = 35, ld = 36;
    for (bool conjugate : {false, true})
        for (int via : kVias) {
            if (conjugate && !zuli::IsComplexV<T>) continue;
            SCOPED_TRACE(testing::Message() << name(via) << (conjugate ? " conjugate" : ""));
            auto outOfPlace = A::transpose[via];
            auto inPlace = A::transposeInplace[via];
            std::vector<T> a = randomMatrix<T>(lda, n, 11), b = randomMatrix<T>(ldb, m, 12);
            if constexpr (zuli::IsComplexV<T>) {
                a[0].im = 0;  // conjugated to -0
                if (conjugate) {
                    outOfPlace = ComplexApi<T>::transposeConj[via];
                    inPlace = ComplexApi<T>::transposeConjInplace[via];
                }
            }
            const std::vector<T> want = transposed(a, lda, b, ldb, n, m, conjugate);
            std::vector<T> square = randomMatrix<T>(ld, order, 13);
            const std::vector<T> squareWant =
                transposed(square, ld, square, ld, order, order, conjugate);
            const auto run = [&](T* pa, T* pb) {
                return outOfPlace(m, n, pub(pa), lda, pub(pb), ldb);
            };
            ASSERT_EQ(runOn(via, run, a, b), zuliNoError);
            ASSERT_EQ(runOn(
                          via, [&](T* p) { return inPlace(order, pub(p), ld); }, square),
                      zuliNoError);
            EXPECT_TRUE(identical(b, want));
            EXPECT_TRUE(identical(square, squareWant));
            if constexpr (zuli::IsComplexV<T>) {
                EXPECT_EQ(std::signbit(b[0].im), conjugate);
            }
        }
}

TYPED_TEST(AuxiliaryTyped, NancheckFindsANaNAnywhereInTheMatrixOnly) {
    using T = TypeParam;
    using R = typename Api<T>::Real;
    const int m = 23, n = 18, lda = 25;
    const R nan = std::numeric_limits<R>::quiet_NaN();
    std::vector<T> a = randomMatrix<T>(lda, n, 17);
    a[m + 3 * lda] = T(nan);  // below row m: not part of the matrix
    a[m + 1 + 7 * lda] = T(std::numeric_limits<R>::infinity());
    std::vector<std::vector<T>> bad(3, a);
    bad[0][0] = bad[1][m - 1 + 17 * lda] = bad[2][5 + 9 * lda] = T(nan);
    if constexpr (zuli::IsComplexV<T>) {
        bad.push_back(a);
        bad.back()[4 + 4 * lda].im = nan;  // a NaN imaginary part counts
    }
    for (int via : kVias) {
        SCOPED_TRACE(name(via));
        auto check = [&](std::vector<T> x) {
            return runOn(
                via, [&](T* p) { return Api<T>::nancheck[via](m, n, pub(p), lda); }, x);
        };
        EXPECT_EQ(check(a), zuliNoError);
        for (size_t k = 0; k < bad.size(); ++k) {
            EXPECT_EQ(check(bad[k]), zuliDataError) << k;
            EXPECT_EQ(zuliGetErrorInfo(), 1);
        }
    }
}

// ---- complex-only routines -----------------------------------------------------------------

TYPED_TEST(AuxiliaryComplex, HostConjugationFlipsTheSignBitAndKeepsNaNPayloads) {
    using T = TypeParam;
    using R = typename T::value_type;
    using Bits = std::conditional_t<sizeof(R) == 4, uint32_t, uint64_t>;
    const Bits payload = std::bit_cast<Bits>(std::numeric_limits<R>::quiet_NaN()) | 5;
    std::vector<T> a = {T(R(1), R(0)), T(R(2), std::bit_cast<R>(payload))}, b(2);
    ASSERT_EQ(ComplexApi<T>::transposeConj[0](2, 1, pub(a.data()), 2, pub(b.data()), 1),
              zuliNoError);
    EXPECT_TRUE(std::signbit(b[0].im));
    EXPECT_EQ(std::bit_cast<Bits>(b[1].im), payload ^ (Bits(1) << (8 * sizeof(R) - 1)));
}

TYPED_TEST(AuxiliaryComplex, ConjugateWholeAndTriangles) {
    using T = TypeParam;
    using C = ComplexApi<T>;
    struct Case {
        char uplo, diag;  // 0: the whole matrix (geConjugate)
        int m, n, lda;
    } cases[] = {{0, 0, 9, 7, 10},
                 {'U', 'D', 9, 7, 9},
                 {'u', 'n', 7, 9, 8},
                 {'L', 'd', 30, 20, 31},
                 {'l', 'N', 6, 6, 6}};
    for (const Case& c : cases)
        for (int via : kVias) {
            SCOPED_TRACE(testing::Message()
                         << (c.uplo ? c.uplo : '-') << (c.diag ? c.diag : '-') << " " << name(via));
            std::vector<T> a = randomMatrix<T>(c.lda, c.n, 31), want = a;
            const char u = char(std::toupper(c.uplo)), d = char(std::toupper(c.diag));
            for (int j = 0; j < c.n; ++j)
                for (int i = 0; i < c.m; ++i)
                    if (c.uplo == 0 || (i == j ? d == 'D' : (u == 'U') == (i < j)))
                        want[i + size_t(j) * c.lda] = zuli::conj(want[i + size_t(j) * c.lda]);
            ASSERT_EQ(runOn(
                          via,
                          [&](T* p) {
                              return c.uplo == 0 ? C::conjugate[via](c.m, c.n, pub(p), c.lda)
                                                 : C::trConjugate[via](c.uplo, c.diag, c.m, c.n,
                                                                       pub(p), c.lda);
                          },
                          a),
                      zuliNoError);
            EXPECT_TRUE(identical(a, want));
        }
}

// ---- precision conversions -----------------------------------------------------------------

// Whole matrices and one triangle of a square one (the other triangle stays), each way.
TYPED_TEST(Conversions, BothDirectionsWholeAndTriangular) {
    using P = TypeParam;
    using W = typename P::Wide;
    using N = typename P::Narrow;
    const int m = 21, n = 13, lda = 22, ldsa = 24, order = 17;
    for (int via : kVias)
        for (char uplo : {'G', 'U', 'l'}) {  // G: the whole matrix
            SCOPED_TRACE(testing::Message() << name(via) << " " << uplo);
            const bool whole = uplo == 'G';
            const int rows = whole ? m : order, cols = whole ? n : order;
            auto inside = [&](int i, int j) { return whole || (uplo == 'U' ? i <= j : i >= j); };
            std::vector<W> a = randomMatrix<W>(lda, cols, 41), back(size_t(lda) * cols, W(5.0));
            std::vector<N> sa(size_t(ldsa) * cols, N(7.0f)), want = sa;
            if (whole) {
                ASSERT_EQ(P::refLag2(m, n, a.data(), lda, want.data(), ldsa), 0);
            } else {
                for (int j = 0; j < cols; ++j)
                    for (int i = 0; i < rows; ++i)
                        if (inside(i, j)) want[i + size_t(j) * ldsa] = N(a[i + size_t(j) * lda]);
            }
            ASSERT_EQ(runOn(
                          via,
                          [&](W* pa, N* ps) {
                              return whole ? P::lag2[via](m, n, pub(pa), lda, pub(ps), ldsa)
                                           : P::lat2[via](uplo, order, pub(pa), lda, pub(ps), ldsa);
                          },
                          a, sa),
                      zuliNoError);
            EXPECT_TRUE(identical(sa, want));
            // Back to double: exactly the single values. Expected from the downloaded single
            // values: GCC 12 at -O2 folds a double -> float -> double round trip of a pair
            // written and read back in one function into a copy.
            std::vector<W> backWant = back;
            for (int j = 0; j < cols; ++j)
                for (int i = 0; i < rows; ++i)
                    if (inside(i, j)) backWant[i + size_t(j) * lda] = W(sa[i + size_t(j) * ldsa]);
            ASSERT_EQ(runOn(
                          via,
                          [&](N* ps, W* pa) {
                              return whole ? P::widen[via](m, n, pub(ps), ldsa, pub(pa), lda)
                                           : P::widenTr[via](uplo, order, pub(ps), ldsa, pub(pa),
                                                             lda);
                          },
                          sa, back),
                      zuliNoError);
            EXPECT_TRUE(identical(back, backWant));
        }
}

TYPED_TEST(Conversions, ValuesBeyondSingleRangeAreFlagged) {
    using P = TypeParam;
    using W = typename P::Wide;
    using N = typename P::Narrow;
    const int m = 6, n = 5;
    struct Bad {
        double value;
        bool imaginary;
    } bads[] = {{1e39, false},
                {-1e300, false},
                {std::numeric_limits<double>::infinity(), false},
                {3.5e38, true}};
    for (const Bad& bad : bads)
        for (int via : kVias) {
            if (bad.imaginary && !zuli::IsComplexV<W>) continue;
            SCOPED_TRACE(testing::Message() << bad.value << " " << name(via));
            std::vector<W> a = randomMatrix<W>(m, n, 51);
            W& x = a[4 + 3 * m];
            if constexpr (zuli::IsComplexV<W>) {
                (bad.imaginary ? x.im : x.re) = bad.value;
            } else {
                x = bad.value;
            }
            std::vector<N> sa(size_t(m) * n, N(0.0f)), ref(sa.size());
            EXPECT_EQ(
                runOn(
                    via, [&](W* pa, N* ps) { return P::lag2[via](m, n, pub(pa), m, pub(ps), m); },
                    a, sa),
                zuliDataError);
            EXPECT_EQ(zuliGetErrorInfo(), 1);
            // The rest is converted all the same (LAPACK's own dlag2s agrees that it is bad).
            EXPECT_TRUE(same(sa[0], N(a[0])));
            EXPECT_EQ(P::refLag2(m, n, a.data(), m, ref.data(), m), 1);

            // The triangular conversion flags it when it lies in the chosen triangle only.
            std::vector<W> sq = randomMatrix<W>(5, 5, 52);
            sq[1 + 3 * 5] = W(bad.value);  // row 1, column 3: upper triangle
            std::vector<N> out(25);
            for (char uplo : {'U', 'L'})
                EXPECT_EQ(
                    runOn(
                        via,
                        [&](W* pa, N* ps) { return P::lat2[via](uplo, 5, pub(pa), 5, pub(ps), 5); },
                        sq, out),
                    uplo == 'U' ? zuliDataError : zuliNoError);
        }
}

// ---- argument tables -----------------------------------------------------------------------

// Each row fails (or returns at once, info 0) before any array is touched, so a host buffer
// stands in for a valid pointer on both interfaces.
struct ArgRow {
    const char* what;
    int info;
    std::function<zuliStatus(int via)> call;
};

#define ARG_ROW(what, info, call)               \
    ArgRow {                                    \
        what, info, [&](int v) { return call; } \
    }

void expectInfo(const ArgRow& row) {
    for (int via : kVias) {
        SCOPED_TRACE(testing::Message() << row.what << " " << name(via));
        const zuliStatus s = row.call(via);
        if (row.info == 0) {
            EXPECT_EQ(s, zuliNoError);
        } else {
            EXPECT_EQ(s, zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), row.info);
        }
    }
}

TYPED_TEST(AuxiliaryTyped, ArgumentTables) {
    using T = TypeParam;
    using A = Api<T>;
    using R = typename A::Real;
    std::vector<T> buffer(64);
    auto* p = pub(buffer.data());
    const auto one = pubValue(T(1));
    const R nan = std::numeric_limits<R>::quiet_NaN();
    std::vector<ArgRow> rows = {
        ARG_ROW("lacpy uplo", -1, A::lacpy[v]('X', 2, 2, p, 2, p, 2)),
        ARG_ROW("lacpy m", -2, A::lacpy[v]('A', -1, 2, p, 2, p, 2)),
        ARG_ROW("lacpy n", -3, A::lacpy[v]('A', 2, -1, p, 2, p, 2)),
        ARG_ROW("lacpy m = 0", 0, A::lacpy[v]('A', 0, 2, nullptr, 0, nullptr, 0)),
        ARG_ROW("lacpy n = 0", 0, A::lacpy[v]('U', 3, 0, nullptr, 0, nullptr, 0)),
        ARG_ROW("lacpy A null", -4, A::lacpy[v]('L', 2, 2, nullptr, 2, p, 2)),
        ARG_ROW("lacpy lda", -5, A::lacpy[v]('A', 3, 2, p, 2, p, 3)),
        ARG_ROW("lacpy B null", -6, A::lacpy[v]('A', 2, 2, p, 2, nullptr, 2)),
        ARG_ROW("lacpy ldb", -7, A::lacpy[v]('A', 3, 2, p, 3, p, 2)),
        ARG_ROW("lacpy uplo first", -1, A::lacpy[v]('N', -1, -1, nullptr, 0, nullptr, 0)),
        ARG_ROW("laset uplo", -1, A::laset[v]('Q', 2, 2, one, one, p, 2)),
        ARG_ROW("laset m", -2, A::laset[v]('U', -1, 2, one, one, p, 2)),
        ARG_ROW("laset n", -3, A::laset[v]('L', 2, -1, one, one, p, 2)),
        ARG_ROW("laset empty", 0, A::laset[v]('F', 0, 5, one, one, nullptr, 0)),
        ARG_ROW("laset A null", -6, A::laset[v]('A', 2, 2, one, one, nullptr, 2)),
        ARG_ROW("laset lda", -7, A::laset[v]('A', 2, 2, one, one, p, 1)),
        ARG_ROW("nancheck m", -1, A::nancheck[v](-1, 2, p, 2)),
        ARG_ROW("nancheck n", -2, A::nancheck[v](2, -1, p, 2)),
        ARG_ROW("nancheck lda < m before A", -4, A::nancheck[v](5, 3, nullptr, 4)),
        ARG_ROW("nancheck A null", -3, A::nancheck[v](5, 3, nullptr, 5)),
        ARG_ROW("nancheck m = 0", 0, A::nancheck[v](0, 3, nullptr, 0)),
        ARG_ROW("nancheck n = 0", 0, A::nancheck[v](4, 0, nullptr, 4)),
        ARG_ROW("transpose m", -1, A::transpose[v](-1, 2, p, 2, p, 2)),
        ARG_ROW("transpose n", -2, A::transpose[v](2, -1, p, 2, p, 2)),
        ARG_ROW("transpose lda", -4, A::transpose[v](3, 2, nullptr, 2, nullptr, 2)),
        ARG_ROW("transpose ldb", -6, A::transpose[v](2, 3, nullptr, 2, nullptr, 2)),
        ARG_ROW("transpose 0 x 0", 0, A::transpose[v](0, 0, nullptr, 0, nullptr, 0)),
        ARG_ROW("transpose 0 x 2, A null", -3, A::transpose[v](0, 2, nullptr, 0, p, 2)),
        ARG_ROW("transpose 0 x 2, B null", -5, A::transpose[v](0, 2, p, 0, nullptr, 2)),
        ARG_ROW("transpose A null", -3, A::transpose[v](2, 2, nullptr, 2, p, 2)),
        ARG_ROW("transpose B null", -5, A::transpose[v](2, 2, p, 2, nullptr, 2)),
        ARG_ROW("in place n", -1, A::transposeInplace[v](-1, p, 2)),
        ARG_ROW("in place lda", -3, A::transposeInplace[v](3, nullptr, 2)),
        ARG_ROW("in place A null", -2, A::transposeInplace[v](3, nullptr, 3)),
        ARG_ROW("in place empty", 0, A::transposeInplace[v](0, nullptr, 0)),
        ARG_ROW("lascl type", -1, A::lascl[v]('X', 0, 0, 1, 1, 2, 2, p, 2)),
        ARG_ROW("lascl kl < 0", -2, A::lascl[v]('B', -1, 0, 1, 1, 2, 2, p, 2)),
        ARG_ROW("lascl kl > m-1", -2, A::lascl[v]('Z', 2, 0, 1, 1, 2, 2, p, 9)),
        ARG_ROW("lascl ku > n-1", -3, A::lascl[v]('Z', 0, 2, 1, 1, 2, 2, p, 9)),
        ARG_ROW("lascl kl != ku for B", -3, A::lascl[v]('b', 1, 0, 1, 1, 2, 2, p, 9)),
        ARG_ROW("lascl kl != ku for Q", -3, A::lascl[v]('Q', 0, 1, 1, 1, 2, 2, p, 9)),
        ARG_ROW("lascl kl ignored for G", -4, A::lascl[v]('G', -5, -5, 0, 1, 2, 2, p, 2)),
        ARG_ROW("lascl cto NaN", -5, A::lascl[v]('G', 0, 0, 1, nan, 2, 2, p, 2)),
        ARG_ROW("lascl m < 0", -6, A::lascl[v]('G', 0, 0, 1, 1, -1, 2, p, 2)),
        ARG_ROW("lascl n < 0", -7, A::lascl[v]('G', 0, 0, 1, 1, 2, -1, p, 2)),
        ARG_ROW("lascl n != m for Q", -7, A::lascl[v]('Q', 0, 0, 1, 1, 2, 3, p, 2)),
        ARG_ROW("lascl A null", -8, A::lascl[v]('U', 0, 0, 1, 1, 2, 2, nullptr, 2)),
        ARG_ROW("lascl lda < m", -9, A::lascl[v]('H', 0, 0, 1, 1, 3, 2, p, 2)),
        ARG_ROW("lascl lda < kl+1 for B", -9, A::lascl[v]('B', 2, 2, 1, 1, 4, 4, p, 2)),
        ARG_ROW("lascl lda < ku+1 for Q", -9, A::lascl[v]('Q', 2, 2, 1, 1, 4, 4, p, 2)),
        ARG_ROW("lascl lda < 2kl+ku+1 for Z", -9, A::lascl[v]('Z', 1, 2, 1, 1, 4, 4, p, 4)),
        ARG_ROW("lascl empty", 0, A::lascl[v]('G', 0, 0, 1, 2, 0, 3, nullptr, 0)),
    };
    if constexpr (zuli::IsComplexV<T>) {
        using C = ComplexApi<T>;
        const ArgRow complexRows[] = {
            ARG_ROW("tr uplo", -1, C::trConjugate[v]('A', 'N', 2, 2, p, 2)),
            ARG_ROW("tr diag", -2, C::trConjugate[v]('U', 'U', 2, 2, p, 2)),
            ARG_ROW("tr m", -3, C::trConjugate[v]('l', 'd', -1, 2, p, 2)),
            ARG_ROW("tr n", -4, C::trConjugate[v]('L', 'N', 2, -1, p, 2)),
            ARG_ROW("tr lda", -6, C::trConjugate[v]('U', 'N', 3, 2, nullptr, 2)),
            ARG_ROW("tr A null", -5, C::trConjugate[v]('U', 'N', 2, 2, nullptr, 2)),
            ARG_ROW("tr empty", 0, C::trConjugate[v]('U', 'D', 0, 2, nullptr, 0)),
            ARG_ROW("conj m", -1, C::conjugate[v](-1, 2, p, 2)),
            ARG_ROW("conj n", -2, C::conjugate[v](2, -1, p, 2)),
            ARG_ROW("conj lda", -4, C::conjugate[v](3, 2, nullptr, 2)),
            ARG_ROW("conj A null", -3, C::conjugate[v](2, 2, nullptr, 2)),
            ARG_ROW("conj empty", 0, C::conjugate[v](0, 2, nullptr, 0)),
            ARG_ROW("conj transpose 0 x 2, no A", -3, C::transposeConj[v](0, 2, nullptr, 0, p, 2)),
            ARG_ROW("conj in place A null", -2, C::transposeConjInplace[v](2, nullptr, 2)),
        };
        rows.insert(rows.end(), std::begin(complexRows), std::end(complexRows));
    }
    for (const ArgRow& row : rows) expectInfo(row);
}

// The destination is arguments 3 and 4, the source 5 and 6, whatever their positions, in both
// directions (w: the wide array, n: the narrow one).
TYPED_TEST(Conversions, ArgumentTablesWithReversedNumbering) {
    using P = TypeParam;
    std::vector<typename P::Wide> wideBuffer(64);
    std::vector<typename P::Narrow> narrowBuffer(64);
    auto* w = pub(wideBuffer.data());
    auto* n = pub(narrowBuffer.data());
    const ArgRow rows[] = {
        ARG_ROW("m = -1, n = 0", 0, P::lag2[v](-1, 0, nullptr, 0, nullptr, 0)),
        ARG_ROW("m = -1, n = 0 widening", 0, P::widen[v](-1, 0, nullptr, 0, nullptr, 0)),
        ARG_ROW("m = -1, n = 1", -1, P::lag2[v](-1, 1, w, 1, n, 1)),
        ARG_ROW("m = -1, n = 1 widening", -1, P::widen[v](-1, 1, n, 1, w, 1)),
        ARG_ROW("n < 0", -2, P::lag2[v](2, -1, w, 2, n, 2)),
        ARG_ROW("n < 0 widening", -2, P::widen[v](2, -1, n, 2, w, 2)),
        ARG_ROW("destination null", -3, P::lag2[v](2, 2, w, 2, nullptr, 2)),
        ARG_ROW("destination null widening", -3, P::widen[v](2, 2, n, 2, nullptr, 2)),
        ARG_ROW("destination ld", -4, P::lag2[v](2, 2, nullptr, 2, n, 1)),
        ARG_ROW("destination ld widening", -4, P::widen[v](2, 2, nullptr, 2, w, 1)),
        ARG_ROW("source null", -5, P::lag2[v](2, 2, nullptr, 2, n, 2)),
        ARG_ROW("source null widening", -5, P::widen[v](2, 2, nullptr, 2, w, 2)),
        ARG_ROW("source ld", -6, P::lag2[v](2, 2, w, 1, n, 2)),
        ARG_ROW("source ld widening", -6, P::widen[v](2, 2, n, 1, w, 2)),
        ARG_ROW("tr n = 0, bad uplo", 0, P::lat2[v]('X', 0, nullptr, 0, nullptr, 0)),
        ARG_ROW("tr n = 0, bad uplo widening", 0, P::widenTr[v]('X', 0, nullptr, 0, nullptr, 0)),
        ARG_ROW("tr uplo", -1, P::lat2[v]('X', 2, w, 2, n, 2)),
        ARG_ROW("tr uplo widening", -1, P::widenTr[v]('X', 2, n, 2, w, 2)),
        ARG_ROW("tr n < 0", -2, P::lat2[v]('U', -1, w, 2, n, 2)),
        ARG_ROW("tr n < 0 widening", -2, P::widenTr[v]('U', -1, n, 2, w, 2)),
        ARG_ROW("tr destination null", -3, P::lat2[v]('l', 2, nullptr, 2, nullptr, 2)),
        ARG_ROW("tr destination null widening", -3, P::widenTr[v]('l', 2, nullptr, 2, nullptr, 2)),
        ARG_ROW("tr destination ld", -4, P::lat2[v]('U', 3, w, 3, n, 2)),
        ARG_ROW("tr destination ld widening", -4, P::widenTr[v]('U', 3, n, 3, w, 2)),
        ARG_ROW("tr source null", -5, P::lat2[v]('L', 2, nullptr, 2, n, 2)),
        ARG_ROW("tr source null widening", -5, P::widenTr[v]('L', 2, nullptr, 2, w, 2)),
        ARG_ROW("tr source ld", -6, P::lat2[v]('U', 2, w, 1, n, 2)),
        ARG_ROW("tr source ld widening", -6, P::widenTr[v]('U', 2, n, 1, w, 2)),
    };
    for (const ArgRow& row : rows) expectInfo(row);
}

// ---- the device flag and failed allocations --------------------------------------------------

TEST_F(Auxiliary, DeviceFlagIsReleasedOnEveryPathAndEmptyChecksTouchNothing) {
    std::vector<double> a(15, 1.0);
    a[7] = std::nan("");
    DeviceArray<double> d(a);
    zuliEmuResetCounters();
    EXPECT_EQ(zuliDeviceDgeNancheck(5, 3, d.get(), 5), zuliDataError);
    zuliEmuCounters c = counters();
    EXPECT_EQ(c.deviceAllocs, 1u);  // the flag
    EXPECT_EQ(c.deviceFrees, 1u);
    EXPECT_EQ(c.launches, 1u);

    zuliEmuResetCounters();
    EXPECT_EQ(zuliDeviceDgeNancheck(0, 3, nullptr, 0), zuliNoError);
    EXPECT_EQ(zuliDgeNancheck(4, 0, nullptr, 4), zuliNoError);
    c = counters();
    EXPECT_EQ(c.deviceAllocs + c.launches + c.h2dCopies + c.d2hCopies, 0u);

    // The flag's allocation fails: an out-of-memory status, nothing launched, nothing leaked.
    zuliEmuResetCounters();
    zuliEmuFailDeviceAlloc(1);
    EXPECT_EQ(zuliDeviceDgeNancheck(5, 3, d.get(), 5), zuliInsufficientMemory);
    EXPECT_EQ(counters().launches, 0u);
}

// A failed allocation at each point a host routine reaches (the source mirror, the destination
// mirror, the conversion's flag): out of memory, the caller's arrays untouched, nothing leaked.
TEST_F(Auxiliary, HostRoutinesLeaveArraysUntouchedWhenAnAllocationFails) {
    const int m = 6, n = 4;
    const std::vector<double> a = randomMatrix<double>(m, n, 61);
    const std::vector<double> b0 = randomMatrix<double>(m, n, 62);
    const std::vector<float> s0(size_t(m) * n, 1.0f);
    for (int k = 1; k <= 3; ++k) {
        SCOPED_TRACE(k);
        std::vector<double> b = b0;
        std::vector<float> s = s0;
        if (k < 3) {
            zuliEmuFailDeviceAlloc(k);
            EXPECT_EQ(zuliDlacpy('A', m, n, a.data(), m, b.data(), m), zuliInsufficientMemory);
            EXPECT_TRUE(identical(b, b0));
        }
        zuliEmuFailDeviceAlloc(k);
        EXPECT_EQ(zuliDlag2s(m, n, a.data(), m, s.data(), m), zuliInsufficientMemory);
        EXPECT_TRUE(identical(s, s0));
        EXPECT_EQ(counters().liveDeviceBytes, 0u);
    }
}

}  // namespace
