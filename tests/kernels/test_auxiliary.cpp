// The exported utility routines against the host LAPACK (or the definition, where LAPACK has no
// such routine), in every precision and through both interfaces; their argument tables; the
// device flag of the NaN check and of the conversions.
#include "runtime/host_lapack.h"
#include "runtime/runtime_fixture.h"

#include <bit>
#include <cctype>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

namespace {

using zuli::Complex;

// ---- the routines of one precision -------------------------------------------------------------

template <typename T>
struct Api;

#define ZULI_TEST_API(L, l, T, P, R)                                                        \
    template <>                                                                             \
    struct Api<T> {                                                                         \
        using Pub = P;                                                                      \
        using Real = R;                                                                     \
        static constexpr auto lacpy = zuli##L##lacpy;                                       \
        static constexpr auto deviceLacpy = zuliDevice##L##lacpy;                           \
        static constexpr auto laset = zuli##L##laset;                                       \
        static constexpr auto deviceLaset = zuliDevice##L##laset;                           \
        static constexpr auto lascl = zuli##L##lascl;                                       \
        static constexpr auto deviceLascl = zuliDevice##L##lascl;                           \
        static constexpr auto nancheck = zuli##L##geNancheck;                               \
        static constexpr auto deviceNancheck = zuliDevice##L##geNancheck;                   \
        static constexpr auto transpose = zuli##L##geTranspose;                             \
        static constexpr auto deviceTranspose = zuliDevice##L##geTranspose;                 \
        static constexpr auto transposeInplace = zuli##L##geTransposeInplace;               \
        static constexpr auto deviceTransposeInplace = zuliDevice##L##geTransposeInplace;   \
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
#define ZULI_TEST_COMPLEX_API(L, T)                                                        \
    template <>                                                                            \
    struct ComplexApi<T> {                                                                 \
        static constexpr auto transposeConj = zuli##L##geTransposeConjugate;               \
        static constexpr auto deviceTransposeConj = zuliDevice##L##geTransposeConjugate;   \
        static constexpr auto transposeConjInplace = zuli##L##geTransposeConjugateInplace; \
        static constexpr auto deviceTransposeConjInplace =                                 \
            zuliDevice##L##geTransposeConjugateInplace;                                    \
        static constexpr auto conjugate = zuli##L##geConjugate;                            \
        static constexpr auto deviceConjugate = zuliDevice##L##geConjugate;                \
        static constexpr auto trConjugate = zuli##L##trConjugate;                          \
        static constexpr auto deviceTrConjugate = zuliDevice##L##trConjugate;              \
    };
ZULI_TEST_COMPLEX_API(C, Complex<float>)
ZULI_TEST_COMPLEX_API(Z, Complex<double>)
#undef ZULI_TEST_COMPLEX_API

template <typename T>
auto* pub(T* p) {
    return reinterpret_cast<typename Api<std::remove_const_t<T>>::Pub*>(p);
}
template <typename T>
auto* pub(const T* p) {
    return reinterpret_cast<const typename Api<T>::Pub*>(p);
}
template <typename T>
typename Api<T>::Pub pubValue(T v) {
    typename Api<T>::Pub p;
    std::memcpy(&p, &v, sizeof(p));
    return p;
}

// ---- data ------------------------------------------------------------------------------------

template <typename T>
T randomValue(std::mt19937& rng) {
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    if constexpr (zuli::IsComplexV<T>) {
        using R = typename T::value_type;
        return T(R(u(rng)), R(u(rng)));
    } else {
        return T(u(rng));
    }
}

template <typename T>
std::vector<T> randomMatrix(int ld, int n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<T> a(size_t(std::max(ld, 1)) * std::max(n, 1));
    for (T& x : a) x = randomValue<T>(rng);
    return a;
}

template <typename T>
bool same(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Bitwise equality of two arrays, reporting the first difference.
template <typename T>
::testing::AssertionResult identical(const std::vector<T>& got, const std::vector<T>& want) {
    if (got.size() != want.size()) return ::testing::AssertionFailure() << "sizes differ";
    for (size_t k = 0; k < got.size(); ++k)
        if (!same(got[k], want[k])) return ::testing::AssertionFailure() << "element " << k;
    return ::testing::AssertionSuccess();
}

// A device copy of a host array (same element count), freed at the end of its scope.
template <typename T>
class DeviceArray {
  public:
    explicit DeviceArray(const std::vector<T>& host) : count_(host.size()) {
        EXPECT_EQ(cudaMalloc(reinterpret_cast<void**>(&ptr_), count_ * sizeof(T)), cudaSuccess);
        EXPECT_EQ(cudaMemcpy(ptr_, host.data(), count_ * sizeof(T), cudaMemcpyHostToDevice),
                  cudaSuccess);
    }
    ~DeviceArray() { cudaFree(ptr_); }
    T* get() const { return ptr_; }
    std::vector<T> download() const {
        std::vector<T> h(count_);
        EXPECT_EQ(cudaMemcpy(h.data(), ptr_, count_ * sizeof(T), cudaMemcpyDeviceToHost),
                  cudaSuccess);
        return h;
    }

  private:
    size_t count_;
    T* ptr_ = nullptr;
};

enum class Via { Host, Device };
const Via kBoth[] = {Via::Host, Via::Device};
const char* name(Via v) {
    return v == Via::Host ? "host" : "device";
}

// Runs call(pointers...) on host arrays in place: directly for the host interface, on device
// copies (downloaded back afterwards) for the device interface.
template <typename Call, typename... Arrays>
zuliStatus runOn(Via via, Call call, std::vector<Arrays>&... arrays) {
    if (via == Via::Host) return call(arrays.data()...);
    auto copies = std::make_tuple(std::make_unique<DeviceArray<Arrays>>(arrays)...);
    const zuliStatus s = std::apply([&](auto&... c) { return call(c->get()...); }, copies);
    std::apply([&](auto&... c) { ((arrays = c->download()), ...); }, copies);
    return s;
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

// ---- results against LAPACK --------------------------------------------------------------------

TYPED_TEST(AuxiliaryTyped, LacpyMatchesLapackForEveryPart) {
    using T = TypeParam;
    using A = Api<T>;
    struct Case {
        char uplo;
        int m, n, lda, ldb;
    } cases[] = {{'A', 7, 5, 9, 8}, {'a', 20, 33, 20, 21}, {'F', 1, 1, 1, 1},    {'L', 7, 5, 7, 10},
                 {'l', 5, 9, 6, 5}, {'U', 7, 5, 8, 7},     {'u', 40, 17, 41, 40}};
    for (const Case& c : cases)
        for (Via via : kBoth) {
            SCOPED_TRACE(testing::Message()
                         << c.uplo << " " << c.m << "x" << c.n << " " << name(via));
            const std::vector<T> a = randomMatrix<T>(c.lda, c.n, 1);
            std::vector<T> b = randomMatrix<T>(c.ldb, c.n, 2);
            std::vector<T> want = b;
            std::vector<T> aIn = a;
            A::refLacpy(c.uplo, c.m, c.n, a.data(), c.lda, want.data(), c.ldb);
            const zuliStatus s = runOn(
                via,
                [&](T* pa, T* pb) {
                    return via == Via::Host
                               ? A::lacpy(c.uplo, c.m, c.n, pub(pa), c.lda, pub(pb), c.ldb)
                               : A::deviceLacpy(c.uplo, c.m, c.n, pub(pa), c.lda, pub(pb), c.ldb);
                },
                aIn, b);
            ASSERT_EQ(s, zuliNoError);
            EXPECT_TRUE(identical(b, want));
            EXPECT_TRUE(identical(aIn, a)) << "the source changed";
        }
}

TYPED_TEST(AuxiliaryTyped, LasetMatchesLapackForEveryPart) {
    using T = TypeParam;
    using A = Api<T>;
    std::mt19937 rng(5);
    const T alpha = randomValue<T>(rng);
    const T beta = T(3);
    struct Case {
        char uplo;
        int m, n, lda;
    } cases[] = {{'A', 7, 5, 9},  {'f', 5, 7, 5},    {'L', 9, 4, 9}, {'l', 4, 9, 5},
                 {'U', 9, 4, 10}, {'u', 30, 40, 31}, {'U', 1, 1, 1}};
    for (const Case& c : cases)
        for (Via via : kBoth) {
            SCOPED_TRACE(testing::Message()
                         << c.uplo << " " << c.m << "x" << c.n << " " << name(via));
            std::vector<T> a = randomMatrix<T>(c.lda, c.n, 3);
            std::vector<T> want = a;
            A::refLaset(c.uplo, c.m, c.n, alpha, beta, want.data(), c.lda);
            const zuliStatus s = runOn(
                via,
                [&](T* pa) {
                    return via == Via::Host ? A::laset(c.uplo, c.m, c.n, pubValue(alpha),
                                                       pubValue(beta), pub(pa), c.lda)
                                            : A::deviceLaset(c.uplo, c.m, c.n, pubValue(alpha),
                                                             pubValue(beta), pub(pa), c.lda);
                },
                a);
            ASSERT_EQ(s, zuliNoError);
            EXPECT_TRUE(identical(a, want));
        }
}

// Every storage type, and factors whose quotient over- or underflows unless it is taken in
// steps: the result must be LAPACK's, bit for bit.
TYPED_TEST(AuxiliaryTyped, LasclMatchesLapackForEveryTypeAndExtremeFactors) {
    using T = TypeParam;
    using A = Api<T>;
    using R = typename A::Real;
    const R big = std::numeric_limits<R>::max();
    const R tiny = std::numeric_limits<R>::min();
    struct Factors {
        R cfrom, cto;
    } factors[] = {{R(2), R(3)},
                   {R(1), R(1)},
                   {tiny, big / 4},
                   {big / 2, tiny * 8},
                   {R(1e-3), big},
                   {-R(7), R(0)},
                   {R(3), std::numeric_limits<R>::infinity()},
                   {tiny / 64, R(1)}};
    struct Case {
        char type;
        int kl, ku, m, n, lda;
    } cases[] = {{'G', 0, 0, 9, 7, 11}, {'g', 0, 0, 20, 20, 20}, {'L', 0, 0, 9, 7, 9},
                 {'U', 0, 0, 7, 9, 8},  {'H', 0, 0, 8, 8, 9},    {'b', 2, 2, 8, 8, 3},
                 {'Q', 3, 3, 9, 9, 5},  {'Z', 2, 1, 9, 7, 6},    {'Z', 0, 3, 4, 9, 4},
                 {'Z', 3, 0, 9, 4, 7}};
    for (const Factors& f : factors)
        for (const Case& c : cases)
            for (Via via : kBoth) {
                SCOPED_TRACE(testing::Message() << c.type << " " << c.m << "x" << c.n << " from "
                                                << f.cfrom << " to " << f.cto << " " << name(via));
                std::vector<T> a = randomMatrix<T>(c.lda, c.n, 7);
                std::vector<T> want = a;
                ASSERT_EQ(
                    A::refLascl(c.type, c.kl, c.ku, f.cfrom, f.cto, c.m, c.n, want.data(), c.lda),
                    0);
                const zuliStatus s = runOn(
                    via,
                    [&](T* pa) {
                        return via == Via::Host ? A::lascl(c.type, c.kl, c.ku, f.cfrom, f.cto, c.m,
                                                           c.n, pub(pa), c.lda)
                                                : A::deviceLascl(c.type, c.kl, c.ku, f.cfrom, f.cto,
                                                                 c.m, c.n, pub(pa), c.lda);
                    },
                    a);
                ASSERT_EQ(s, zuliNoError);
                EXPECT_TRUE(identical(a, want));
            }
}

TYPED_TEST(AuxiliaryTyped, TransposesOutOfPlaceAndInPlace) {
    using T = TypeParam;
    using A = Api<T>;
    for (Via via : kBoth) {
        SCOPED_TRACE(name(via));
        const int m = 19, n = 37, lda = 21, ldb = 40;
        const std::vector<T> a = randomMatrix<T>(lda, n, 11);
        std::vector<T> aIn = a;
        std::vector<T> b = randomMatrix<T>(ldb, m, 12);
        std::vector<T> want = b;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < m; ++i) want[j + size_t(i) * ldb] = a[i + size_t(j) * lda];
        zuliStatus s = runOn(
            via,
            [&](T* pa, T* pb) {
                return via == Via::Host ? A::transpose(m, n, pub(pa), lda, pub(pb), ldb)
                                        : A::deviceTranspose(m, n, pub(pa), lda, pub(pb), ldb);
            },
            aIn, b);
        ASSERT_EQ(s, zuliNoError);
        EXPECT_TRUE(identical(b, want));

        const int order = 35, ld = 36;
        std::vector<T> square = randomMatrix<T>(ld, order, 13);
        std::vector<T> squareWant = square;
        for (int j = 0; j < order; ++j)
            for (int i = 0; i < order; ++i)
                squareWant[i + size_t(j) * ld] = square[j + size_t(i) * ld];
        s = runOn(
            via,
            [&](T* p) {
                return via == Via::Host ? A::transposeInplace(order, pub(p), ld)
                                        : A::deviceTransposeInplace(order, pub(p), ld);
            },
            square);
        ASSERT_EQ(s, zuliNoError);
        EXPECT_TRUE(identical(square, squareWant));
    }
}

TYPED_TEST(AuxiliaryTyped, NancheckFindsANaNAnywhereInTheMatrixOnly) {
    using T = TypeParam;
    using A = Api<T>;
    using R = typename A::Real;
    const int m = 23, n = 18, lda = 25;
    const R nan = std::numeric_limits<R>::quiet_NaN();
    for (Via via : kBoth) {
        SCOPED_TRACE(name(via));
        auto check = [&](std::vector<T>& a) {
            return runOn(
                via,
                [&](T* p) {
                    return via == Via::Host ? A::nancheck(m, n, pub(p), lda)
                                            : A::deviceNancheck(m, n, pub(p), lda);
                },
                a);
        };
        std::vector<T> a = randomMatrix<T>(lda, n, 17);
        a[m + 3 * lda] = T(nan);  // below row m: not part of the matrix
        a[m + 1 + 7 * lda] = T(std::numeric_limits<R>::infinity());
        EXPECT_EQ(check(a), zuliNoError);
        for (size_t at : {size_t(0), size_t(m - 1 + 17 * lda), size_t(5 + 9 * lda)}) {
            std::vector<T> bad = a;
            bad[at] = T(nan);
            EXPECT_EQ(check(bad), zuliDataError) << at;
            EXPECT_EQ(zuliGetErrorInfo(), 1);
        }
        if constexpr (zuli::IsComplexV<T>) {
            std::vector<T> bad = a;
            bad[4 + 4 * lda].im = nan;  // a NaN imaginary part counts
            EXPECT_EQ(check(bad), zuliDataError);
        }
    }
}

// ---- complex-only routines -----------------------------------------------------------------

TYPED_TEST(AuxiliaryComplex, ConjugatingTranspositions) {
    using T = TypeParam;
    using C = ComplexApi<T>;
    using R = typename T::value_type;
    for (Via via : kBoth) {
        SCOPED_TRACE(name(via));
        const int m = 17, n = 20, lda = 18, ldb = 21;
        std::vector<T> a = randomMatrix<T>(lda, n, 21);
        a[0].im = R(0);  // conjugated to -0 on the host, and by negation on the device
        std::vector<T> b(size_t(ldb) * m, T(R(9)));
        std::vector<T> want = b;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < m; ++i)
                want[j + size_t(i) * ldb] = zuli::conj(a[i + size_t(j) * lda]);
        zuliStatus s = runOn(
            via,
            [&](T* pa, T* pb) {
                return via == Via::Host ? C::transposeConj(m, n, pub(pa), lda, pub(pb), ldb)
                                        : C::deviceTransposeConj(m, n, pub(pa), lda, pub(pb), ldb);
            },
            a, b);
        ASSERT_EQ(s, zuliNoError);
        EXPECT_TRUE(identical(b, want));
        EXPECT_TRUE(std::signbit(b[0].im));

        const int order = 18, ld = 19;
        std::vector<T> sq = randomMatrix<T>(ld, order, 22);
        std::vector<T> sqWant = sq;
        for (int j = 0; j < order; ++j)
            for (int i = 0; i < order; ++i)
                sqWant[i + size_t(j) * ld] = zuli::conj(sq[j + size_t(i) * ld]);
        s = runOn(
            via,
            [&](T* p) {
                return via == Via::Host ? C::transposeConjInplace(order, pub(p), ld)
                                        : C::deviceTransposeConjInplace(order, pub(p), ld);
            },
            sq);
        ASSERT_EQ(s, zuliNoError);
        EXPECT_TRUE(identical(sq, sqWant));
    }
}

TYPED_TEST(AuxiliaryComplex, HostConjugationFlipsTheSignBitAndKeepsNaNPayloads) {
    using T = TypeParam;
    using C = ComplexApi<T>;
    using R = typename T::value_type;
    using Bits = std::conditional_t<sizeof(R) == 4, uint32_t, uint64_t>;
    const R payloadNaN =
        std::bit_cast<R>(std::bit_cast<Bits>(std::numeric_limits<R>::quiet_NaN()) | 5);
    std::vector<T> a = {T(R(1), R(0)), T(R(2), payloadNaN)};
    std::vector<T> b(2);
    ASSERT_EQ(C::transposeConj(2, 1, pub(a.data()), 2, pub(b.data()), 1), zuliNoError);
    EXPECT_TRUE(std::signbit(b[0].im));
    EXPECT_EQ(std::bit_cast<Bits>(b[1].im),
              std::bit_cast<Bits>(payloadNaN) ^ (Bits(1) << (8 * sizeof(R) - 1)));
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
        for (Via via : kBoth) {
            SCOPED_TRACE(testing::Message()
                         << (c.uplo ? c.uplo : '-') << (c.diag ? c.diag : '-') << " " << name(via));
            std::vector<T> a = randomMatrix<T>(c.lda, c.n, 31);
            std::vector<T> want = a;
            const char u = char(std::toupper(c.uplo)), d = char(std::toupper(c.diag));
            for (int j = 0; j < c.n; ++j)
                for (int i = 0; i < c.m; ++i) {
                    const bool inside = c.uplo == 0 || (i == j ? d == 'D' : (u == 'U') == (i < j));
                    if (inside)
                        want[i + size_t(j) * c.lda] = zuli::conj(want[i + size_t(j) * c.lda]);
                }
            const zuliStatus s = runOn(
                via,
                [&](T* p) {
                    if (c.uplo == 0)
                        return via == Via::Host ? C::conjugate(c.m, c.n, pub(p), c.lda)
                                                : C::deviceConjugate(c.m, c.n, pub(p), c.lda);
                    return via == Via::Host
                               ? C::trConjugate(c.uplo, c.diag, c.m, c.n, pub(p), c.lda)
                               : C::deviceTrConjugate(c.uplo, c.diag, c.m, c.n, pub(p), c.lda);
                },
                a);
            ASSERT_EQ(s, zuliNoError);
            EXPECT_TRUE(identical(a, want));
        }
}

// ---- precision conversions -----------------------------------------------------------------

struct DoubleToSingle {
    using Wide = double;
    using Narrow = float;
    static constexpr auto lag2 = zuliDlag2s;
    static constexpr auto deviceLag2 = zuliDeviceDlag2s;
    static constexpr auto lat2 = zuliDlat2s;
    static constexpr auto deviceLat2 = zuliDeviceDlat2s;
    static constexpr auto widen = zuliSlag2d;
    static constexpr auto deviceWiden = zuliDeviceSlag2d;
    static constexpr auto widenTr = zuliSlat2d;
    static constexpr auto deviceWidenTr = zuliDeviceSlat2d;
    static int refLag2(int m, int n, const Wide* a, int lda, Narrow* b, int ldb) {
        int info = 0;
        LAPACK_dlag2s(&m, &n, a, &lda, b, &ldb, &info);
        return info;
    }
};
struct ComplexDoubleToSingle {
    using Wide = Complex<double>;
    using Narrow = Complex<float>;
    static constexpr auto lag2 = zuliZlag2c;
    static constexpr auto deviceLag2 = zuliDeviceZlag2c;
    static constexpr auto lat2 = zuliZlat2c;
    static constexpr auto deviceLat2 = zuliDeviceZlat2c;
    static constexpr auto widen = zuliClag2z;
    static constexpr auto deviceWiden = zuliDeviceClag2z;
    static constexpr auto widenTr = zuliClat2z;
    static constexpr auto deviceWidenTr = zuliDeviceClat2z;
    static int refLag2(int m, int n, const Wide* a, int lda, Narrow* b, int ldb) {
        int info = 0;
        LAPACK_zlag2c(&m, &n, a, &lda, b, &ldb, &info);
        return info;
    }
};

template <typename P>
class Conversions : public Auxiliary {};
using ConversionPairs = ::testing::Types<DoubleToSingle, ComplexDoubleToSingle>;
TYPED_TEST_SUITE(Conversions, ConversionPairs);

TYPED_TEST(Conversions, BothDirectionsWholeAndTriangular) {
    using P = TypeParam;
    using W = typename P::Wide;
    using N = typename P::Narrow;
    const int m = 21, n = 13, lda = 22, ldsa = 24;
    for (Via via : kBoth) {
        SCOPED_TRACE(name(via));
        std::vector<W> a = randomMatrix<W>(lda, n, 41);
        std::vector<N> sa(size_t(ldsa) * n, N(7.0f));
        std::vector<N> want = sa;
        ASSERT_EQ(P::refLag2(m, n, a.data(), lda, want.data(), ldsa), 0);
        zuliStatus s = runOn(
            via,
            [&](W* pa, N* ps) {
                return via == Via::Host ? P::lag2(m, n, pub(pa), lda, pub(ps), ldsa)
                                        : P::deviceLag2(m, n, pub(pa), lda, pub(ps), ldsa);
            },
            a, sa);
        ASSERT_EQ(s, zuliNoError);
        EXPECT_TRUE(identical(sa, want));

        // Back to double: exactly the single values.
        std::vector<W> back(size_t(lda) * n, W(5.0));
        std::vector<W> backWant = back;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < m; ++i) backWant[i + size_t(j) * lda] = W(sa[i + size_t(j) * ldsa]);
        s = runOn(
            via,
            [&](N* ps, W* pa) {
                return via == Via::Host ? P::widen(m, n, pub(ps), ldsa, pub(pa), lda)
                                        : P::deviceWiden(m, n, pub(ps), ldsa, pub(pa), lda);
            },
            sa, back);
        ASSERT_EQ(s, zuliNoError);
        EXPECT_TRUE(identical(back, backWant));

        // One triangle of a square matrix, each way; the other triangle stays.
        for (char uplo : {'U', 'l'}) {
            const int order = 17;
            std::vector<W> sq = randomMatrix<W>(lda, order, 43);
            std::vector<N> out(size_t(ldsa) * order, N(-2.0f));
            std::vector<N> outWant = out;
            std::vector<W> wide(size_t(lda) * order, W(-3.0));
            std::vector<W> wideWant = wide;
            for (int j = 0; j < order; ++j)
                for (int i = 0; i < order; ++i)
                    if (uplo == 'U' ? i <= j : i >= j) {
                        outWant[i + size_t(j) * ldsa] = N(sq[i + size_t(j) * lda]);
                    }
            s = runOn(
                via,
                [&](W* pa, N* ps) {
                    return via == Via::Host
                               ? P::lat2(uplo, order, pub(pa), lda, pub(ps), ldsa)
                               : P::deviceLat2(uplo, order, pub(pa), lda, pub(ps), ldsa);
                },
                sq, out);
            ASSERT_EQ(s, zuliNoError);
            EXPECT_TRUE(identical(out, outWant)) << uplo;
            // Expected from the downloaded single values: GCC 12 at -O2 folds a double -> float ->
            // double round trip of a pair written and read back in one function into a copy.
            for (int j = 0; j < order; ++j)
                for (int i = 0; i < order; ++i)
                    if (uplo == 'U' ? i <= j : i >= j)
                        wideWant[i + size_t(j) * lda] = W(out[i + size_t(j) * ldsa]);
            s = runOn(
                via,
                [&](N* ps, W* pa) {
                    return via == Via::Host
                               ? P::widenTr(uplo, order, pub(ps), ldsa, pub(pa), lda)
                               : P::deviceWidenTr(uplo, order, pub(ps), ldsa, pub(pa), lda);
                },
                out, wide);
            ASSERT_EQ(s, zuliNoError);
            EXPECT_TRUE(identical(wide, wideWant)) << uplo;
        }
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
        for (Via via : kBoth) {
            if (bad.imaginary && !zuli::IsComplexV<W>) continue;
            SCOPED_TRACE(testing::Message() << bad.value << " " << name(via));
            std::vector<W> a = randomMatrix<W>(m, n, 51);
            W& x = a[4 + 3 * m];
            if constexpr (zuli::IsComplexV<W>) {
                (bad.imaginary ? x.im : x.re) = bad.value;
            } else {
                x = bad.value;
            }
            std::vector<N> sa(size_t(m) * n, N(0.0f));
            const zuliStatus s = runOn(
                via,
                [&](W* pa, N* ps) {
                    return via == Via::Host ? P::lag2(m, n, pub(pa), m, pub(ps), m)
                                            : P::deviceLag2(m, n, pub(pa), m, pub(ps), m);
                },
                a, sa);
            EXPECT_EQ(s, zuliDataError);
            EXPECT_EQ(zuliGetErrorInfo(), 1);
            // The rest is converted all the same (LAPACK's own dlag2s agrees that it is bad).
            EXPECT_TRUE(same(sa[0], N(a[0])));
            std::vector<N> ref(sa.size());
            EXPECT_EQ(P::refLag2(m, n, a.data(), m, ref.data(), m), 1);

            // The triangular conversion flags it when it lies in the chosen triangle only.
            std::vector<W> sq = randomMatrix<W>(5, 5, 52);
            sq[1 + 3 * 5] = W(bad.value);  // row 1, column 3: upper triangle
            std::vector<N> out(25);
            auto tri = [&](char uplo) {
                return runOn(
                    via,
                    [&](W* pa, N* ps) {
                        return via == Via::Host ? P::lat2(uplo, 5, pub(pa), 5, pub(ps), 5)
                                                : P::deviceLat2(uplo, 5, pub(pa), 5, pub(ps), 5);
                    },
                    sq, out);
            };
            EXPECT_EQ(tri('U'), zuliDataError);
            EXPECT_EQ(tri('L'), zuliNoError);
        }
}

// ---- argument tables -----------------------------------------------------------------------

// Each row fails (or returns at once) before any array is touched, so a host buffer stands in
// for a valid pointer on both interfaces.
struct ArgRow {
    const char* what;
    int info;  // expected info; 0: success without work
};

template <typename Call>
void expectInfo(const ArgRow& row, Call call) {
    SCOPED_TRACE(row.what);
    const zuliStatus s = call();
    if (row.info == 0) {
        EXPECT_EQ(s, zuliNoError);
    } else {
        EXPECT_EQ(s, zuliArgumentError);
        EXPECT_EQ(zuliGetErrorInfo(), row.info);
    }
}

TYPED_TEST(AuxiliaryTyped, ArgumentTables) {
    using T = TypeParam;
    using A = Api<T>;
    using Pub = typename A::Pub;
    std::vector<T> buffer(64);
    Pub* p = pub(buffer.data());
    Pub* null = nullptr;
    const Pub one = pubValue(T(1));
    for (Via via : kBoth) {
        SCOPED_TRACE(name(via));
        const bool host = via == Via::Host;
        struct LacpyRow {
            ArgRow row;
            char uplo;
            int m, n;
            Pub *a, *b;
            int lda, ldb;
        } lacpy[] = {
            {{"bad uplo", -1}, 'X', 2, 2, p, p, 2, 2},
            {{"m < 0", -2}, 'A', -1, 2, p, p, 2, 2},
            {{"n < 0", -3}, 'A', 2, -1, p, p, 2, 2},
            {{"m = 0", 0}, 'A', 0, 2, null, null, 0, 0},
            {{"n = 0", 0}, 'U', 3, 0, null, null, 0, 0},
            {{"A null", -4}, 'L', 2, 2, null, p, 2, 2},
            {{"lda", -5}, 'A', 3, 2, p, p, 2, 3},
            {{"B null", -6}, 'A', 2, 2, p, null, 2, 2},
            {{"ldb", -7}, 'A', 3, 2, p, p, 3, 2},
            {{"bad uplo first", -1}, 'N', -1, -1, null, null, 0, 0},
        };
        for (const auto& r : lacpy)
            expectInfo(r.row, [&] {
                return host ? A::lacpy(r.uplo, r.m, r.n, r.a, r.lda, r.b, r.ldb)
                            : A::deviceLacpy(r.uplo, r.m, r.n, r.a, r.lda, r.b, r.ldb);
            });

        struct LasetRow {
            ArgRow row;
            char uplo;
            int m, n;
            Pub* a;
            int lda;
        } laset[] = {{{"bad uplo", -1}, 'Q', 2, 2, p, 2},  {{"m < 0", -2}, 'U', -1, 2, p, 2},
                     {{"n < 0", -3}, 'L', 2, -1, p, 2},    {{"empty", 0}, 'F', 0, 5, null, 0},
                     {{"A null", -6}, 'A', 2, 2, null, 2}, {{"lda", -7}, 'A', 2, 2, p, 1}};
        for (const auto& r : laset)
            expectInfo(r.row, [&] {
                return host ? A::laset(r.uplo, r.m, r.n, one, one, r.a, r.lda)
                            : A::deviceLaset(r.uplo, r.m, r.n, one, one, r.a, r.lda);
            });

        using R = typename A::Real;
        const R nan = std::numeric_limits<R>::quiet_NaN();
        struct LasclRow {
            ArgRow row;
            char type;
            int kl, ku;
            R cfrom, cto;
            int m, n;
            Pub* a;
            int lda;
        } lascl[] = {
            {{"bad type", -1}, 'X', 0, 0, 1, 1, 2, 2, p, 2},
            {{"kl < 0", -2}, 'B', -1, 0, 1, 1, 2, 2, p, 2},
            {{"kl > m-1", -2}, 'Z', 2, 0, 1, 1, 2, 2, p, 9},
            {{"ku > n-1", -3}, 'Z', 0, 2, 1, 1, 2, 2, p, 9},
            {{"kl != ku for B", -3}, 'b', 1, 0, 1, 1, 2, 2, p, 9},
            {{"kl != ku for Q", -3}, 'Q', 0, 1, 1, 1, 2, 2, p, 9},
            {{"kl ignored for G", -4}, 'G', -5, -5, 0, 1, 2, 2, p, 2},
            {{"cfrom = 0", -4}, 'G', 0, 0, 0, 1, 2, 2, p, 2},
            {{"cto NaN", -5}, 'G', 0, 0, 1, nan, 2, 2, p, 2},
            {{"m < 0", -6}, 'G', 0, 0, 1, 1, -1, 2, p, 2},
            {{"n < 0", -7}, 'G', 0, 0, 1, 1, 2, -1, p, 2},
            {{"n != m for Q", -7}, 'Q', 0, 0, 1, 1, 2, 3, p, 2},
            {{"A null", -8}, 'U', 0, 0, 1, 1, 2, 2, null, 2},
            {{"lda < m", -9}, 'H', 0, 0, 1, 1, 3, 2, p, 2},
            {{"lda < kl+1 for B", -9}, 'B', 2, 2, 1, 1, 4, 4, p, 2},
            {{"lda < ku+1 for Q", -9}, 'Q', 2, 2, 1, 1, 4, 4, p, 2},
            {{"lda < 2kl+ku+1 for Z", -9}, 'Z', 1, 2, 1, 1, 4, 4, p, 4},
            {{"empty", 0}, 'G', 0, 0, 1, 2, 0, 3, null, 0},
        };
        for (const auto& r : lascl)
            expectInfo(r.row, [&] {
                return host ? A::lascl(r.type, r.kl, r.ku, r.cfrom, r.cto, r.m, r.n, r.a, r.lda)
                            : A::deviceLascl(r.type, r.kl, r.ku, r.cfrom, r.cto, r.m, r.n, r.a,
                                             r.lda);
            });

        struct NanRow {
            ArgRow row;
            int m, n;
            Pub* a;
            int lda;
        } nancheck[] = {{{"m < 0", -1}, -1, 2, p, 2},
                        {{"n < 0", -2}, 2, -1, p, 2},
                        {{"lda < m before A", -4}, 5, 3, null, 4},
                        {{"A null", -3}, 5, 3, null, 5},
                        {{"empty, null A", 0}, 0, 3, null, 0},
                        {{"n = 0, null A", 0}, 4, 0, null, 4}};
        for (const auto& r : nancheck)
            expectInfo(r.row, [&] {
                return host ? A::nancheck(r.m, r.n, r.a, r.lda)
                            : A::deviceNancheck(r.m, r.n, r.a, r.lda);
            });

        struct TransposeRow {
            ArgRow row;
            int m, n;
            Pub* a;
            int lda;
            Pub* b;
            int ldb;
        } transpose[] = {{{"m < 0", -1}, -1, 2, p, 2, p, 2},
                         {{"n < 0", -2}, 2, -1, p, 2, p, 2},
                         {{"lda < m", -4}, 3, 2, null, 2, null, 2},
                         {{"ldb < n", -6}, 2, 3, null, 2, null, 2},
                         {{"0 x 0, null", 0}, 0, 0, null, 0, null, 0},
                         {{"0 x 2, null A", -3}, 0, 2, null, 0, p, 2},
                         {{"0 x 2, null B", -5}, 0, 2, p, 0, null, 2},
                         {{"A null", -3}, 2, 2, null, 2, p, 2},
                         {{"B null", -5}, 2, 2, p, 2, null, 2}};
        for (const auto& r : transpose)
            expectInfo(r.row, [&] {
                return host ? A::transpose(r.m, r.n, r.a, r.lda, r.b, r.ldb)
                            : A::deviceTranspose(r.m, r.n, r.a, r.lda, r.b, r.ldb);
            });

        struct InplaceRow {
            ArgRow row;
            int n;
            Pub* a;
            int lda;
        } inplace[] = {{{"n < 0", -1}, -1, p, 2},
                       {{"lda < n", -3}, 3, null, 2},
                       {{"A null", -2}, 3, null, 3},
                       {{"empty", 0}, 0, null, 0}};
        for (const auto& r : inplace)
            expectInfo(r.row, [&] {
                return host ? A::transposeInplace(r.n, r.a, r.lda)
                            : A::deviceTransposeInplace(r.n, r.a, r.lda);
            });
    }
}

TYPED_TEST(AuxiliaryComplex, ArgumentTables) {
    using T = TypeParam;
    using C = ComplexApi<T>;
    using Pub = typename Api<T>::Pub;
    std::vector<T> buffer(64);
    Pub* p = pub(buffer.data());
    Pub* null = nullptr;
    for (Via via : kBoth) {
        SCOPED_TRACE(name(via));
        const bool host = via == Via::Host;
        struct TrRow {
            ArgRow row;
            char uplo, diag;
            int m, n;
            Pub* a;
            int lda;
        } tr[] = {
            {{"bad uplo", -1}, 'A', 'N', 2, 2, p, 2},   {{"bad diag", -2}, 'U', 'U', 2, 2, p, 2},
            {{"m < 0", -3}, 'l', 'd', -1, 2, p, 2},     {{"n < 0", -4}, 'L', 'N', 2, -1, p, 2},
            {{"lda < m", -6}, 'U', 'N', 3, 2, null, 2}, {{"A null", -5}, 'U', 'N', 2, 2, null, 2},
            {{"empty", 0}, 'U', 'D', 0, 2, null, 0}};
        for (const auto& r : tr)
            expectInfo(r.row, [&] {
                return host ? C::trConjugate(r.uplo, r.diag, r.m, r.n, r.a, r.lda)
                            : C::deviceTrConjugate(r.uplo, r.diag, r.m, r.n, r.a, r.lda);
            });
        struct ConjRow {
            ArgRow row;
            int m, n;
            Pub* a;
            int lda;
        } conj[] = {{{"m < 0", -1}, -1, 2, p, 2},
                    {{"n < 0", -2}, 2, -1, p, 2},
                    {{"lda < m", -4}, 3, 2, null, 2},
                    {{"A null", -3}, 2, 2, null, 2},
                    {{"empty", 0}, 0, 2, null, 0}};
        for (const auto& r : conj)
            expectInfo(r.row, [&] {
                return host ? C::conjugate(r.m, r.n, r.a, r.lda)
                            : C::deviceConjugate(r.m, r.n, r.a, r.lda);
            });
        expectInfo({"conjugate transpose 0 x 2, null A", -3}, [&] {
            return host ? C::transposeConj(0, 2, null, 0, p, 2)
                        : C::deviceTransposeConj(0, 2, null, 0, p, 2);
        });
        expectInfo({"conjugate in place, A null", -2}, [&] {
            return host ? C::transposeConjInplace(2, null, 2)
                        : C::deviceTransposeConjInplace(2, null, 2);
        });
    }
}

// The destination is arguments 3 and 4, the source 5 and 6, whatever their positions.
TYPED_TEST(Conversions, ArgumentTablesWithReversedNumbering) {
    using P = TypeParam;
    using W = typename Api<typename P::Wide>::Pub;
    using N = typename Api<typename P::Narrow>::Pub;
    std::vector<typename P::Wide> wideBuffer(64);
    std::vector<typename P::Narrow> narrowBuffer(64);
    W* wide = pub(wideBuffer.data());
    N* narrow = pub(narrowBuffer.data());
    for (Via via : kBoth) {
        SCOPED_TRACE(name(via));
        const bool host = via == Via::Host;
        struct Row {
            ArgRow row;
            int m, n;
            bool sourceNull;
            int ldSource;
            bool destinationNull;
            int ldDestination;
        } rows[] = {{{"m = -1, n = 0", 0}, -1, 0, true, 0, true, 0},
                    {{"m = -1, n = 1", -1}, -1, 1, false, 1, false, 1},
                    {{"n < 0", -2}, 2, -1, false, 2, false, 2},
                    {{"destination null", -3}, 2, 2, false, 2, true, 2},
                    {{"destination ld", -4}, 2, 2, true, 2, false, 1},
                    {{"source null", -5}, 2, 2, true, 2, false, 2},
                    {{"source ld", -6}, 2, 2, false, 1, false, 2}};
        for (const auto& r : rows) {
            W* w = r.sourceNull ? nullptr : wide;  // narrowing: the wide array is the source
            N* s = r.destinationNull ? nullptr : narrow;
            expectInfo(r.row, [&] {
                return host ? P::lag2(r.m, r.n, w, r.ldSource, s, r.ldDestination)
                            : P::deviceLag2(r.m, r.n, w, r.ldSource, s, r.ldDestination);
            });
            // Widening: the narrow array is the source.
            N* s2 = r.sourceNull ? nullptr : narrow;
            W* w2 = r.destinationNull ? nullptr : wide;
            expectInfo(r.row, [&] {
                return host ? P::widen(r.m, r.n, s2, r.ldSource, w2, r.ldDestination)
                            : P::deviceWiden(r.m, r.n, s2, r.ldSource, w2, r.ldDestination);
            });
        }
        struct TriRow {
            ArgRow row;
            char uplo;
            int n;
            bool sourceNull;
            int ldSource;
            bool destinationNull;
            int ldDestination;
        } tri[] = {{{"n = 0, bad uplo", 0}, 'X', 0, true, 0, true, 0},
                   {{"bad uplo", -1}, 'X', 2, false, 2, false, 2},
                   {{"n < 0", -2}, 'U', -1, false, 2, false, 2},
                   {{"destination null", -3}, 'l', 2, true, 2, true, 2},
                   {{"destination ld", -4}, 'U', 3, false, 3, false, 2},
                   {{"source null", -5}, 'L', 2, true, 2, false, 2},
                   {{"source ld", -6}, 'U', 2, false, 1, false, 2}};
        for (const auto& r : tri) {
            W* w = r.sourceNull ? nullptr : wide;
            N* s = r.destinationNull ? nullptr : narrow;
            expectInfo(r.row, [&] {
                return host ? P::lat2(r.uplo, r.n, w, r.ldSource, s, r.ldDestination)
                            : P::deviceLat2(r.uplo, r.n, w, r.ldSource, s, r.ldDestination);
            });
            N* s2 = r.sourceNull ? nullptr : narrow;
            W* w2 = r.destinationNull ? nullptr : wide;
            expectInfo(r.row, [&] {
                return host ? P::widenTr(r.uplo, r.n, s2, r.ldSource, w2, r.ldDestination)
                            : P::deviceWidenTr(r.uplo, r.n, s2, r.ldSource, w2, r.ldDestination);
            });
        }
    }
}

// ---- the device flag -------------------------------------------------------------------------

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
    EXPECT_EQ(c.deviceAllocs, 0u);
    EXPECT_EQ(c.launches, 0u);
    EXPECT_EQ(c.h2dCopies + c.d2hCopies, 0u);

    // The flag's allocation fails: an out-of-memory status, nothing launched, nothing leaked.
    zuliEmuResetCounters();
    zuliEmuFailDeviceAlloc(1);
    EXPECT_EQ(zuliDeviceDgeNancheck(5, 3, d.get(), 5), zuliInsufficientMemory);
    EXPECT_EQ(counters().launches, 0u);
}

}  // namespace

namespace {

// A failed allocation at each point a host routine reaches: out of memory, the caller's arrays
// untouched, nothing leaked.
TEST_F(Auxiliary, HostRoutinesLeaveArraysUntouchedWhenAnAllocationFails) {
    const int m = 6, n = 4;
    const std::vector<double> a = randomMatrix<double>(m, n, 61);
    const std::vector<double> b0 = randomMatrix<double>(m, n, 62);
    for (int k = 1; k <= 2; ++k) {  // the source mirror, then the destination mirror
        SCOPED_TRACE(k);
        std::vector<double> b = b0;
        zuliEmuFailDeviceAlloc(k);
        EXPECT_EQ(zuliDlacpy('A', m, n, a.data(), m, b.data(), m), zuliInsufficientMemory);
        EXPECT_TRUE(identical(b, b0));
        std::vector<float> s(size_t(m) * n, 1.0f);
        const std::vector<float> s0 = s;
        zuliEmuFailDeviceAlloc(k);
        EXPECT_EQ(zuliDlag2s(m, n, a.data(), m, s.data(), m), zuliInsufficientMemory);
        EXPECT_TRUE(identical(s, s0));
        EXPECT_EQ(counters().liveDeviceBytes, 0u);
    }
    zuliEmuFailDeviceAlloc(3);  // the conversion's flag
    std::vector<float> s(size_t(m) * n, 1.0f);
    EXPECT_EQ(zuliDlag2s(m, n, a.data(), m, s.data(), m), zuliInsufficientMemory);
    EXPECT_TRUE(identical(s, std::vector<float>(size_t(m) * n, 1.0f)));
}

}  // namespace
