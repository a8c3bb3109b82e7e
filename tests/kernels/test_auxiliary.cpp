// The exported utility routines against the host LAPACK (or the definition, where LAPACK has no
// such routine), in every precision and through both interfaces; their argument tables; the
// device flag of the NaN check and of the conversions.
#include "blas/blas_test_support.h"
#include "argument_tables.h"
#include "kernel_test_support.h"
#include "runtime/host_lapack.h"

#include <cctype>
#include <memory>
#include <sstream>

namespace {

using namespace kernel_tests;
using namespace blas_test;

#define ZULI_REF_LASCL(l) [](auto... args) { LAPACK_##l##lascl(args...); }
template <typename T>
int refLascl(char type, int kl, int ku, Real<T> cfrom, Real<T> cto, int m, int n, T* a, int lda) {
    int info = 0;
    pick<T>(ZULI_REF_LASCL(s), ZULI_REF_LASCL(d), ZULI_REF_LASCL(c), ZULI_REF_LASCL(z))(
        &type, &kl, &ku, &cfrom, &cto, &m, &n, a, &lda, &info);
    return info;
}
#undef ZULI_REF_LASCL

// Narrowing (double to single) and widening routines of one real/complex pair, indexed by Api.
#define ZULI_PAIR(name, fn) \
    static constexpr decltype(&zuli##fn) name[2] = {zuli##fn, zuliDevice##fn};
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
std::vector<T> randomMatrix(int ld, int n, unsigned seed) {
    return randomValues<T>(size_t(std::max(ld, 1)) * std::max(n, 1), seed);
}

// Runs call(pointers...) on host arrays in place: directly for the host interface, on device
// copies (downloaded back afterwards) for the device interface.
template <typename Call, typename... Arrays>
zuliStatus runOn(Api via, Call call, std::vector<Arrays>&... arrays) {
    if (via == Api::Host) return call(arrays.data()...);
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

// The BLAS fixture, and no device memory left behind by any test.
class Auxiliary : public BlasTest {
  protected:
    void TearDown() override {
        EXPECT_EQ(counters().liveDeviceBytes, 0u) << "device memory leaked";
        BlasTest::TearDown();
    }
};
template <typename T>
class AuxiliaryTyped : public Auxiliary {};
TYPED_TEST_SUITE(AuxiliaryTyped, AllPrecisions);
template <typename T>
class AuxiliaryComplex : public Auxiliary {};
TYPED_TEST_SUITE(AuxiliaryComplex, ComplexPrecisions);
template <typename P>
class Conversions : public Auxiliary {};
using ConversionPairs = ::testing::Types<DoubleToSingle, ComplexDoubleToSingle>;
TYPED_TEST_SUITE(Conversions, ConversionPairs);

// ---- results against LAPACK --------------------------------------------------------------------

// lacpy rows copy A into B, laset rows (ldb = 0) set A to alpha off and beta on the diagonal.
TYPED_TEST(AuxiliaryTyped, LacpyAndLasetMatchLapackForEveryPart) {
    using T = TypeParam;
    const T alpha = randomValues<T>(1, 5)[0], beta = T(3);
    struct Case {
        char uplo;
        int m, n, lda, ldb;
    } cases[] = {{'A', 7, 5, 9, 8},     {'a', 20, 33, 20, 21}, {'F', 1, 1, 1, 1},
                 {'L', 7, 5, 7, 10},    {'l', 5, 9, 6, 5},     {'U', 7, 5, 8, 7},
                 {'u', 40, 17, 41, 40}, {'f', 5, 7, 5, 0},     {'L', 9, 4, 9, 0},
                 {'l', 4, 9, 5, 0},     {'U', 9, 4, 10, 0},    {'u', 30, 40, 31, 0}};
    for (const Case& c : cases)
        for (Api via : kApis) {
            SCOPED_TRACE(testing::Message() << c.uplo << " " << c.m << "x" << c.n << " " << c.ldb
                                            << " " << apiName(via));
            const std::vector<T> a = randomMatrix<T>(c.lda, c.n, 1);
            std::vector<T> aIn = a, b = randomMatrix<T>(c.ldb, c.n, 2), want = c.ldb ? b : a;
            zuliStatus s;
            if (c.ldb) {
                zuli::lapack::lacpy(c.uplo, c.m, c.n, a.data(), c.lda, want.data(), c.ldb);
                s = runOn(
                    via,
                    [&](T* pa, T* pb) {
                        return ENTRY(via, lacpy)(c.uplo, c.m, c.n, pub(pa), c.lda, pub(pb), c.ldb);
                    },
                    aIn, b);
                EXPECT_TRUE(identical(aIn, a)) << "the source changed";
            } else {
                zuli::lapack::laset(c.uplo, c.m, c.n, alpha, beta, want.data(), c.lda);
                s = runOn(
                    via,
                    [&](T* pa) {
                        return ENTRY(via, laset)(c.uplo, c.m, c.n, pub(alpha), pub(beta), pub(pa),
                                                 c.lda);
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
    using R = Real<T>;
    const R big = std::numeric_limits<R>::max(), tiny = std::numeric_limits<R>::min();
    const R factors[][2] = {{R(2), R(3)},
                            {R(1), R(1)},
                            {tiny, big / 4},
                            {big / 2, tiny * 8},
                            {R(1e-3), big},
                            {-R(7), R(0)},
                            {R(3), std::numeric_limits<R>::infinity()},
                            {tiny / 64, R(1)},
                            {big, R(1)}};
    struct Case {
        char type;
        int kl, ku, m, n, lda;
    } cases[] = {{'G', 0, 0, 9, 7, 11}, {'g', 0, 0, 20, 20, 20}, {'L', 0, 0, 9, 7, 9},
                 {'U', 0, 0, 7, 9, 8},  {'H', 0, 0, 8, 8, 9},    {'b', 2, 2, 8, 8, 3},
                 {'Q', 3, 3, 9, 9, 5},  {'Z', 2, 1, 9, 7, 6},    {'Z', 0, 3, 4, 9, 4},
                 {'Z', 3, 0, 9, 4, 7}};
    for (const auto& f : factors)
        for (const Case& c : cases)
            for (Api via : kApis) {
                SCOPED_TRACE(testing::Message() << c.type << " " << c.m << "x" << c.n << " from "
                                                << f[0] << " to " << f[1] << " " << apiName(via));
                std::vector<T> a = randomMatrix<T>(c.lda, c.n, 7), want = a;
                ASSERT_EQ(refLascl<T>(c.type, c.kl, c.ku, f[0], f[1], c.m, c.n, want.data(), c.lda),
                          0);
                ASSERT_EQ(runOn(
                              via,
                              [&](T* pa) {
                                  return ENTRY(via, lascl)(c.type, c.kl, c.ku, f[0], f[1], c.m, c.n,
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
    const int m = 19, n = 37, lda = 21, ldb = 40, order = 35, ld = 36;
    for (bool conjugate : {false, true})
        for (Api via : kApis) {
            if (conjugate && !zuli::IsComplexV<T>) continue;
            SCOPED_TRACE(testing::Message() << apiName(via) << (conjugate ? " conjugate" : ""));
            auto outOfPlace = ENTRY(via, geTranspose);
            auto inPlace = ENTRY(via, geTransposeInplace);
            std::vector<T> a = randomMatrix<T>(lda, n, 11), b = randomMatrix<T>(ldb, m, 12);
            if constexpr (zuli::IsComplexV<T>) {
                a[0].im = 0;  // conjugated to -0
                if (conjugate) {
                    outOfPlace = ENTRY_COMPLEX(via, geTransposeConjugate);
                    inPlace = ENTRY_COMPLEX(via, geTransposeConjugateInplace);
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
    using R = Real<T>;
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
    for (Api via : kApis) {
        SCOPED_TRACE(apiName(via));
        auto check = [&](std::vector<T> x) {
            return runOn(
                via, [&](T* p) { return ENTRY(via, geNancheck)(m, n, pub(p), lda); }, x);
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
    ASSERT_EQ(
        ENTRY_COMPLEX(Api::Host, geTransposeConjugate)(2, 1, pub(a.data()), 2, pub(b.data()), 1),
        zuliNoError);
    EXPECT_TRUE(std::signbit(b[0].im));
    EXPECT_EQ(std::bit_cast<Bits>(b[1].im), payload ^ (Bits(1) << (8 * sizeof(R) - 1)));
}

TYPED_TEST(AuxiliaryComplex, ConjugateWholeAndTriangles) {
    using T = TypeParam;
    struct Case {
        char uplo, diag;  // 0: the whole matrix (geConjugate)
        int m, n, lda;
    } cases[] = {{0, 0, 9, 7, 10},
                 {'U', 'D', 9, 7, 9},
                 {'u', 'n', 7, 9, 8},
                 {'L', 'd', 30, 20, 31},
                 {'l', 'N', 6, 6, 6}};
    for (const Case& c : cases)
        for (Api via : kApis) {
            SCOPED_TRACE(testing::Message() << (c.uplo ? c.uplo : '-') << (c.diag ? c.diag : '-')
                                            << " " << apiName(via));
            std::vector<T> a = randomMatrix<T>(c.lda, c.n, 31), want = a;
            const char u = char(std::toupper(c.uplo)), d = char(std::toupper(c.diag));
            for (int j = 0; j < c.n; ++j)
                for (int i = 0; i < c.m; ++i)
                    if (c.uplo == 0 || (i == j ? d == 'D' : (u == 'U') == (i < j)))
                        want[i + size_t(j) * c.lda] = zuli::conj(want[i + size_t(j) * c.lda]);
            ASSERT_EQ(runOn(
                          via,
                          [&](T* p) {
                              return c.uplo == 0
                                         ? ENTRY_COMPLEX(via, geConjugate)(c.m, c.n, pub(p), c.lda)
                                         : ENTRY_COMPLEX(via, trConjugate)(c.uplo, c.diag, c.m, c.n,
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
    for (Api via : kApis)
        for (char uplo : {'G', 'U', 'l'}) {  // G: the whole matrix
            SCOPED_TRACE(testing::Message() << apiName(via) << " " << uplo);
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
                              return whole ? P::lag2[int(via)](m, n, pub(pa), lda, pub(ps), ldsa)
                                           : P::lat2[int(via)](uplo, order, pub(pa), lda, pub(ps),
                                                               ldsa);
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
                              return whole ? P::widen[int(via)](m, n, pub(ps), ldsa, pub(pa), lda)
                                           : P::widenTr[int(via)](uplo, order, pub(ps), ldsa,
                                                                  pub(pa), lda);
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
        for (Api via : kApis) {
            if (bad.imaginary && !zuli::IsComplexV<W>) continue;
            SCOPED_TRACE(testing::Message() << bad.value << " " << apiName(via));
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
                    via,
                    [&](W* pa, N* ps) { return P::lag2[int(via)](m, n, pub(pa), m, pub(ps), m); },
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
                EXPECT_EQ(runOn(
                              via,
                              [&](W* pa, N* ps) {
                                  return P::lat2[int(via)](uplo, 5, pub(pa), 5, pub(ps), 5);
                              },
                              sq, out),
                          uplo == 'U' ? zuliDataError : zuliNoError);
        }
}

// ---- argument tables -----------------------------------------------------------------------

TYPED_TEST(AuxiliaryTyped, ArgumentTables) {
    using T = TypeParam;
    // lacpy (uplo m n a lda b ldb); the option is checked first.
    expectInfos([](Api v) { return ENTRY(v, lacpy); },
                "X 2 2 p 2 p 2 : -1; A -1 2 p 2 p 2 : -2; A 2 -1 p 2 p 2 : -3; "
                "A 0 2 0 0 0 0 : 0; U 3 0 0 0 0 0 : 0; L 2 2 0 2 p 2 : -4; A 3 2 p 2 p 3 : -5; "
                "A 2 2 p 2 0 2 : -6; A 3 2 p 3 p 2 : -7; N -1 -1 0 0 0 0 : -1");
    // laset (uplo m n alpha beta a lda)
    expectInfos([](Api v) { return ENTRY(v, laset); },
                "Q 2 2 1 1 p 2 : -1; U -1 2 1 1 p 2 : -2; L 2 -1 1 1 p 2 : -3; "
                "F 0 5 1 1 0 0 : 0; A 2 2 1 1 0 2 : -6; A 2 2 1 1 p 1 : -7");
    // nancheck (m n a lda): lda before a
    expectInfos([](Api v) { return ENTRY(v, geNancheck); },
                "-1 2 p 2 : -1; 2 -1 p 2 : -2; 5 3 0 4 : -4; 5 3 0 5 : -3; 0 3 0 0 : 0; "
                "4 0 0 4 : 0");
    // transpose (m n a lda b ldb): the leading dimensions before the pointers, which an empty
    // matrix with columns still needs
    expectInfos([](Api v) { return ENTRY(v, geTranspose); },
                "-1 2 p 2 p 2 : -1; 2 -1 p 2 p 2 : -2; 3 2 0 2 0 2 : -4; 2 3 0 2 0 2 : -6; "
                "0 0 0 0 0 0 : 0; 0 2 0 0 p 2 : -3; 0 2 p 0 0 2 : -5; 2 2 0 2 p 2 : -3; "
                "2 2 p 2 0 2 : -5");
    expectInfos([](Api v) { return ENTRY(v, geTransposeInplace); },
                "-1 p 2 : -1; 3 0 2 : -3; 3 0 3 : -2; 0 0 0 : 0");
    // lascl (type kl ku cfrom cto m n a lda): kl and ku count for the band types only
    expectInfos([](Api v) { return ENTRY(v, lascl); },
                "X 0 0 1 1 2 2 p 2 : -1; B -1 0 1 1 2 2 p 2 : -2; Z 2 0 1 1 2 2 p 9 : -2; "
                "Z 0 2 1 1 2 2 p 9 : -3; b 1 0 1 1 2 2 p 9 : -3; Q 0 1 1 1 2 2 p 9 : -3; "
                "G -5 -5 0 1 2 2 p 2 : -4; G 0 0 1 nan 2 2 p 2 : -5; G 0 0 1 1 -1 2 p 2 : -6; "
                "G 0 0 1 1 2 -1 p 2 : -7; Q 0 0 1 1 2 3 p 2 : -7; U 0 0 1 1 2 2 0 2 : -8; "
                "H 0 0 1 1 3 2 p 2 : -9; B 2 2 1 1 4 4 p 2 : -9; Q 2 2 1 1 4 4 p 2 : -9; "
                "Z 1 2 1 1 4 4 p 4 : -9; G 0 0 1 2 0 3 0 0 : 0");
    if constexpr (zuli::IsComplexV<T>) {
        // trConjugate (uplo diag m n a lda)
        expectInfos([](Api v) { return ENTRY_COMPLEX(v, trConjugate); },
                    "A N 2 2 p 2 : -1; U U 2 2 p 2 : -2; l d -1 2 p 2 : -3; L N 2 -1 p 2 : -4; "
                    "U N 3 2 0 2 : -6; U N 2 2 0 2 : -5; U D 0 2 0 0 : 0");
        expectInfos([](Api v) { return ENTRY_COMPLEX(v, geConjugate); },
                    "-1 2 p 2 : -1; 2 -1 p 2 : -2; 3 2 0 2 : -4; 2 2 0 2 : -3; 0 2 0 0 : 0");
        expectInfos([](Api v) { return ENTRY_COMPLEX(v, geTransposeConjugate); },
                    "0 2 0 0 p 2 : -3");
        expectInfos([](Api v) { return ENTRY_COMPLEX(v, geTransposeConjugateInplace); },
                    "2 0 2 : -2");
    }
}

// The destination is arguments 3 and 4, the source 5 and 6, whatever their positions, in both
// directions: the same rows for narrowing and widening.
TYPED_TEST(Conversions, ArgumentTablesWithReversedNumbering) {
    using P = TypeParam;
    const std::string whole =
        "-1 0 0 0 0 0 : 0; -1 1 p 1 p 1 : -1; 2 -1 p 2 p 2 : -2; "
        "2 2 p 2 0 2 : -3; 2 2 0 2 p 1 : -4; 2 2 0 2 p 2 : -5; "
        "2 2 p 1 p 2 : -6";
    const std::string triangle =
        "X 0 0 0 0 0 : 0; X 2 p 2 p 2 : -1; U -1 p 2 p 2 : -2; "
        "l 2 0 2 0 2 : -3; U 3 p 3 p 2 : -4; L 2 0 2 p 2 : -5; "
        "U 2 p 1 p 2 : -6";
    expectInfos([](Api v) { return P::lag2[int(v)]; }, whole);
    expectInfos([](Api v) { return P::widen[int(v)]; }, whole);
    expectInfos([](Api v) { return P::lat2[int(v)]; }, triangle);
    expectInfos([](Api v) { return P::widenTr[int(v)]; }, triangle);
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
