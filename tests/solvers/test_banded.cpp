// Band LU (gbtrf) and band Cholesky (pbtrf): factors, pivots and info against the host LAPACK on
// the host and blocked GPU paths and around their boundary, argument checks, and the failure
// sweep of the blocked paths.
#include "solvers/solver_support.h"

#include "runtime/host_call.h"

#include <map>

namespace {

using namespace solver_test;
using blas_test::pub;

template <typename T>
int bandBlock(int capabilityCode = 90) {
    return zuli::baseBlockSize<T>(capabilityCode);
}

// Band storage, ldab x n, every element random in [-1, 1]: the rows LAPACK does not use (the
// fill-in rows on input, positions outside the matrix, rows past the band) hold values that must
// come back exactly as they went in wherever LAPACK leaves them.
template <typename T>
Matrix<T> randomBand(int ldab, int n, std::mt19937& rng) {
    return Matrix<T>(ldab, n, ldab, rng);
}

// A general band matrix for gbtrf (its diagonal in storage row kl + ku) with 2 added to the
// diagonal. Random bands with few superdiagonals are badly conditioned, and their factors then
// differ in more than rounding between summation orders; the shift keeps them well conditioned
// while the updates still make sub-diagonal elements win the pivot search (except for ku = 0).
template <typename T>
Matrix<T> generalBand(int kl, int ku, int pad, int n, std::mt19937& rng) {
    Matrix<T> ab = randomBand<T>(2 * kl + ku + 1 + pad, n, rng);
    for (int j = 0; j < n; ++j) ab(kl + ku, j) = ab(kl + ku, j) + T(Real<T>(2));
    return ab;
}

// A band for gbtrf (as generalBand) whose pivots no near tie decides (dominateColumns). The rows
// are cut into blocks of up to kl + 1 (zero columns each a block of its own); the pivot of a
// block's first column is its last row, which reaches up to kl columns past the ku-th
// superdiagonal, and each further column takes the row above its diagonal. With ku = 0 no row
// may rise: no interchanges.
template <typename T>
Matrix<T> clearBand(int m, int n, int kl, int ku, int pad, std::mt19937& rng,
                    const std::vector<int>& zeros = {}) {
    Matrix<T> ab = randomBand<T>(2 * kl + ku + 1 + pad, n, rng);
    std::vector<int> rows(static_cast<size_t>(m));
    for (int s = 0, e = 0; s < m; s = e + 1) {
        e = std::min(m - 1, s + (ku > 0 ? std::uniform_int_distribution<int>(0, kl)(rng) : 0));
        for (int z : zeros)
            if (s <= z && z <= e) e = std::max(s, z - 1);
        rows[size_t(s)] = e;
        for (int k = s + 1; k <= e; ++k) rows[size_t(k)] = k - 1;
    }
    rows.resize(size_t(std::min(m, n)));
    dominateColumns<T>(m, rows, [&](int i, int j) {
        return i - j >= -ku && i - j <= kl ? &ab(kl + ku + i - j, j) : nullptr;
    });
    return ab;
}

// A random band whose storage row `diagonalRow` (the diagonal) holds 3 kd + 1: Hermitian
// positive definite by diagonal dominance.
template <typename T>
Matrix<T> positiveDefiniteBand(int ldab, int n, int kd, int diagonalRow, std::mt19937& rng) {
    Matrix<T> ab = randomBand<T>(ldab, n, rng);
    for (int j = 0; j < n; ++j) ab(diagonalRow, j) = T(Real<T>(3 * kd + 1));
    return ab;
}

// The outcome of a factorization: status, info, band storage, pivots, and the number of kernel
// launches and cuBLAS calls it made (none on the narrow path, which factors on the host).
template <typename T>
struct Factored {
    zuliStatus status = zuliNoError;
    int info = 0;
    Matrix<T> ab;
    std::vector<int> piv;
    unsigned long long gpuWork = 0;  // kernels and cuBLAS calls (counted on the emulated GPU)
};

inline unsigned long long gpuWorkSinceReset() {
    if (!kEmulated) return 0;
    zuliEmuCounters c{};
    zuliEmuGetCounters(&c);
    return c.launches + c.blasCalls;
}

template <typename T>
Factored<T> runGbtrf(Api api, int m, int n, int kl, int ku, const Matrix<T>& ab) {
    Factored<T> r{zuliNoError, 0, ab, std::vector<int>(size_t(std::min(m, n)), -7)};
    DeviceArrays dev(api);
    T* device = dev(r.ab);
    int* pivots = dev(r.piv);
    zuliEmuResetCounters();
    r.status = ENTRY(api, gbtrf)(m, n, kl, ku, pub(device), ab.ld, pivots);
    r.info = zuliGetErrorInfo();
    r.gpuWork = gpuWorkSinceReset();
    dev.download();
    return r;
}

template <typename T>
Factored<T> lapackGbtrf(int m, int n, int kl, int ku, const Matrix<T>& ab) {
    Factored<T> r{zuliNoError, 0, ab, std::vector<int>(size_t(std::min(m, n)))};
    r.info = zuli::lapack::gbtrf(m, n, kl, ku, r.ab.ptr(), ab.ld, r.piv.data());
    r.status = r.info > 0 ? zuliDataError : zuliNoError;
    return r;
}

template <typename T>
Factored<T> runPbtrf(Api api, char uplo, int n, int kd, const Matrix<T>& ab) {
    Factored<T> r{zuliNoError, 0, ab, {}};
    DeviceArrays dev(api);
    T* device = dev(r.ab);
    zuliEmuResetCounters();
    r.status = ENTRY(api, pbtrf)(uplo, n, kd, pub(device), ab.ld);
    r.info = zuliGetErrorInfo();
    r.gpuWork = gpuWorkSinceReset();
    dev.download();
    return r;
}

template <typename T>
Factored<T> lapackPbtrf(char uplo, int n, int kd, const Matrix<T>& ab) {
    Factored<T> r{zuliNoError, 0, ab, {}};
    r.info = zuli::lapack::pbtrf(uplo, n, kd, r.ab.ptr(), ab.ld);
    r.status = r.info > 0 ? zuliDataError : zuliNoError;
    return r;
}

// Same status and info; band storage equal to rounding. An element that LAPACK leaves alone and
// the routine changed would be off by about its own size, far beyond the tolerance.
template <typename T>
void expectSameFactorization(const Factored<T>& got, const Factored<T>& want) {
    EXPECT_EQ(got.status, want.status);
    EXPECT_EQ(got.info, want.info);
    EXPECT_LT(relativeError(got.ab, want.ab), 40);
}

// How far the factors of gbtrf are from reproducing the m x n matrix held in `original` (band
// storage): P1 L1 P2 L2 ... U against A, in rounding units per order (relativeError). LAPACK's
// band factors keep each column's multipliers as they were at its elimination, so the product is
// built from the last column back: multiply by the elimination, then undo its interchange.
template <typename T>
double reconstructionError(int m, int n, int kl, int ku, const Matrix<T>& original,
                           const Factored<T>& f) {
    const int kv = kl + ku;
    Matrix<T> a(m, n, m), lu(m, n, m);
    for (int j = 0; j < n; ++j) {
        for (int i = std::max(0, j - ku); i <= std::min(m - 1, j + kl); ++i)
            a(i, j) = original(kv + i - j, j);
        for (int i = std::max(0, j - kv); i <= std::min(m - 1, j); ++i)
            lu(i, j) = f.ab(kv + i - j, j);
    }
    for (int j = std::min(m, n) - 1; j >= 0; --j) {
        for (int i = j + 1; i <= std::min(m - 1, j + kl); ++i)
            for (int c = 0; c < n; ++c) lu(i, c) = lu(i, c) + f.ab(kv + i - j, j) * lu(j, c);
        for (int c = 0; c < n; ++c) std::swap(lu(j, c), lu(f.piv[size_t(j)] - 1, c));
    }
    return relativeError(lu, a);
}

// gbtrf's result on the band `ab` against LAPACK's (`want`): the same status and info, factors
// that reproduce the matrix, no multiplier beyond 1, and every element of band storage that
// holds no factor as LAPACK leaves it (as it was, or a zeroed fill-in). Where no near tie can
// decide a pivot (`clear`, see clearBand), LAPACK's pivots and factors themselves.
template <typename T>
void expectGbtrf(const Factored<T>& got, const Factored<T>& want, int m, int n, int kl, int ku,
                 const Matrix<T>& ab, bool clear) {
    EXPECT_EQ(got.status, want.status);
    EXPECT_EQ(got.info, want.info);
    EXPECT_LT(reconstructionError(m, n, kl, ku, ab, got), 30);
    const int kv = kl + ku, mn = std::min(m, n);
    double worst = 0, worstWant = 0;
    int changed = 0;
    for (int j = 0; j < n; ++j)
        for (int r = 0; r < ab.ld; ++r) {
            const int i = r - kv + j;  // the matrix row of storage row r
            const bool inU = r <= kv && i >= 0 && i < m;
            const bool inL = r > kv && r <= kv + kl && i < m && j < mn;
            if (inL && cabs1(got.ab(kv, j)) > 0)
                worst = std::max(worst, pivotRatio(got.ab(kv, j), got.ab(r, j)));
            if (inL && cabs1(want.ab(kv, j)) > 0)
                worstWant = std::max(worstWant, pivotRatio(want.ab(kv, j), want.ab(r, j)));
            if (!inU && !inL) changed += !(got.ab(r, j) == want.ab(r, j));
        }
    EXPECT_LE(worst, pivotRatioBound<T>()) << "a pivot was not the largest candidate";
    EXPECT_EQ(changed, 0) << "elements outside the factors differ from LAPACK's";
    if (clear) {
        ASSERT_LE(worstWant, 0.75) << "the matrix leaves a near tie";
        EXPECT_EQ(got.piv, want.piv);
        EXPECT_LT(relativeError(got.ab, want.ab), 40);
    }
}

template <typename T>
class BandTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(BandTyped, AllPrecisions);

// Narrow (kl = nb - 1, host) and blocked bands, kl at and past nb, ku from 0 to past nb (so that
// pivot rows reach beyond the ku-th superdiagonal), square, tall, wide and m < kl shapes, padded
// ldab, on both device generations and through both interfaces; random bands and bands without
// near ties.
TYPED_TEST(BandTyped, GbtrfMatchesLapack) {
    using T = TypeParam;
    for (int code : this->generations()) {
        this->useCapability(code);
        const int nb = bandBlock<T>(code);
        struct Shape {
            int m, n, kl, ku, pad;
        } shapes[] = {{2 * nb + 5, 2 * nb + 5, nb - 1, 2, 1},
                      {3 * nb + 7, 3 * nb + 7, nb, nb + 1, 0},
                      {3 * nb + 5, 2 * nb + 3, nb + 1, 3, 2},
                      {2 * nb + 3, 3 * nb + 5, nb, 0, 0},
                      {nb / 2, nb + 9, nb + 2, 1, 3}};
        for (const Shape& s : shapes)
            for (bool clear : {false, true}) {
                const Matrix<T> ab = clear ? clearBand<T>(s.m, s.n, s.kl, s.ku, s.pad, this->rng)
                                           : generalBand<T>(s.kl, s.ku, s.pad, s.n, this->rng);
                const Factored<T> want = lapackGbtrf(s.m, s.n, s.kl, s.ku, ab);
                int interchanges = 0;
                for (size_t k = 0; k < want.piv.size(); ++k)
                    interchanges += want.piv[k] != int(k) + 1;
                EXPECT_TRUE(s.ku == 0 || s.m < nb || interchanges > 0) << "needs interchanges";
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << "code " << code << ", " << s.m << " x " << s.n << ", kl "
                                 << s.kl << ", ku " << s.ku << ", ldab " << ab.ld
                                 << (clear ? ", clear, " : ", ") << blas_test::apiName(api));
                    const Factored<T> got = runGbtrf(api, s.m, s.n, s.kl, s.ku, ab);
                    expectGbtrf(got, want, s.m, s.n, s.kl, s.ku, ab, clear);
                    if (kEmulated) {
                        EXPECT_EQ(got.gpuWork > 0, s.kl >= nb) << "path";
                    }
                }
            }
    }
}

// Narrow (kd = nb - 1) and blocked bands: kd = nb (nothing between the diagonal block and the
// triangle past the band), nb + 1, 2 nb and kd > n, both triangles, padded ldab, both device
// generations and both interfaces.
TYPED_TEST(BandTyped, PbtrfMatchesLapack) {
    using T = TypeParam;
    for (int code : this->generations()) {
        this->useCapability(code);
        const int nb = bandBlock<T>(code);
        struct Shape {
            int n, kd, pad;
        } shapes[] = {{2 * nb + 5, nb - 1, 0},
                      {3 * nb + 7, nb, 1},
                      {3 * nb + 7, nb + 1, 0},
                      {3 * nb + 1, 2 * nb, 2},
                      {2 * nb + 3, 2 * nb + 9, 0}};
        for (const Shape& s : shapes) {
            for (char uplo : {'U', 'L'}) {
                const Matrix<T> ab = positiveDefiniteBand<T>(s.kd + 1 + s.pad, s.n, s.kd,
                                                             uplo == 'U' ? s.kd : 0, this->rng);
                const Factored<T> want = lapackPbtrf(uplo, s.n, s.kd, ab);
                ASSERT_EQ(want.info, 0);
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << "code " << code << ", n " << s.n << ", kd " << s.kd << ", "
                                 << uplo << ", ldab " << ab.ld << ", " << blas_test::apiName(api));
                    const Factored<T> got = runPbtrf(api, uplo, s.n, s.kd, ab);
                    expectSameFactorization(got, want);
                    if (kEmulated) {
                        EXPECT_EQ(got.gpuWork > 0, s.kd >= nb) << "path";
                    }
                }
            }
        }
    }
}

// Zero columns give zero pivots: the first is reported, the factorization goes on to the end and
// its factors and pivots are returned, on the narrow and the blocked path.
TYPED_TEST(BandTyped, GbtrfReportsTheFirstZeroPivotAndFactorsOn) {
    using T = TypeParam;
    const int nb = bandBlock<T>();
    struct Case {
        int n, kl, ku, zeroA, zeroB;
    } cases[] = {{nb + 20, 3, 2, 5, 9}, {3 * nb, nb, 4, nb + 3, 2 * nb + 1}};
    for (const Case& c : cases)
        for (bool clear : {false, true}) {
            SCOPED_TRACE(::testing::Message()
                         << "n " << c.n << ", kl " << c.kl << (clear ? ", clear" : ""));
            const int kv = c.kl + c.ku;
            Matrix<T> ab =
                clear ? clearBand<T>(c.n, c.n, c.kl, c.ku, 0, this->rng, {c.zeroA, c.zeroB})
                      : generalBand<T>(c.kl, c.ku, 0, c.n, this->rng);
            for (int zero : {c.zeroA, c.zeroB})
                for (int i = 0; i <= kv + c.kl; ++i) ab(i, zero) = T(-0.0);  // -0.0 is zero too
            const Factored<T> want = lapackGbtrf(c.n, c.n, c.kl, c.ku, ab);
            ASSERT_EQ(want.info, c.zeroA + 1);
            for (Api api : kApis)
                expectGbtrf(runGbtrf(api, c.n, c.n, c.kl, c.ku, ab), want, c.n, c.n, c.kl, c.ku, ab,
                            clear);
        }
}

// A leading minor that is not positive definite (order k, in the second block of the blocked
// path): zuliDataError with info k, and the factor of the leading minor of order k - 1 stored.
TYPED_TEST(BandTyped, PbtrfReportsTheFirstMinorNotPositiveDefinite) {
    using T = TypeParam;
    const int nb = bandBlock<T>();
    struct Case {
        int n, kd, k;
    } cases[] = {{nb + 20, 4, 11}, {3 * nb, nb + 2, nb + 7}};
    for (const Case& c : cases) {
        for (char uplo : {'U', 'L'}) {
            SCOPED_TRACE(::testing::Message() << "kd " << c.kd << ", " << uplo);
            const int d = uplo == 'U' ? c.kd : 0;
            Matrix<T> ab = positiveDefiniteBand<T>(c.kd + 1, c.n, c.kd, d, this->rng);
            ab(d, c.k - 1) = T(Real<T>(-1));
            const Factored<T> want = lapackPbtrf(uplo, c.n, c.kd, ab);
            ASSERT_EQ(want.info, c.k);
            for (Api api : kApis) {
                const Factored<T> got = runPbtrf(api, uplo, c.n, c.kd, ab);
                EXPECT_EQ(got.status, zuliDataError);
                EXPECT_EQ(got.info, c.k);
                // The stored elements of the factor's leading k - 1 rows and columns: storage
                // row s of column j holds row j + s - kd (upper) or j + s (lower).
                Matrix<T> lead(c.kd + 1, c.k - 1, c.kd + 1), leadWant = lead;
                for (int j = 0; j < c.k - 1; ++j)
                    for (int s = 0; s <= c.kd; ++s) {
                        const int i = uplo == 'U' ? j + s - c.kd : j + s;
                        if (i < 0 || i >= c.k - 1) continue;
                        lead(s, j) = got.ab(s, j);
                        leadWant(s, j) = want.ab(s, j);
                    }
                EXPECT_LT(relativeError(lead, leadWant), 40) << blas_test::apiName(api);
            }
        }
    }
}

TYPED_TEST(BandTyped, ArgumentChecksRunInLapackOrder) {
    using T = TypeParam;
    std::vector<T> ab(64);
    int ipiv[4];
    T* a = ab.data();
    struct Gb {
        int m, n, kl, ku;
        T* ab;
        int ldab;
        int* ipiv;
        int info;  // 0: success
    } gb[] = {
        {-1, -1, -1, -1, a, 0, ipiv, -1},      {2, -1, 1, 1, a, 4, ipiv, -2},
        {2, 2, -1, 1, a, 4, ipiv, -3},         {2, 2, 1, -1, a, 4, ipiv, -4},
        {2, 2, 1, 1, nullptr, 3, ipiv, -6},  // ldab before ab
        {0, 2, 1, 1, nullptr, 4, nullptr, 0},  {2, 0, 1, 1, nullptr, 4, nullptr, 0},
        {0, 0, 1, 1, nullptr, 3, nullptr, -6}, {2, 2, 1, 1, nullptr, 4, ipiv, -5},
        {2, 2, 1, 1, a, 4, nullptr, -7},
    };
    struct Pb {
        char uplo;
        int n, kd;
        T* ab;
        int ldab, info;
    } pb[] = {
        {'X', -1, -1, a, 0, -1},     {'u', -1, 1, a, 2, -2},      {'l', 2, -1, a, 2, -3},
        {'U', 2, 1, nullptr, 1, -5},  // ldab before ab
        {'L', 0, 1, nullptr, 2, 0},  {'U', 0, 3, nullptr, 3, -5}, {'U', 2, 1, nullptr, 2, -4},
    };
    for (Api api : kApis) {
        SCOPED_TRACE(blas_test::apiName(api));
        for (const Gb& r : gb) {
            SCOPED_TRACE(::testing::Message() << "gbtrf " << r.m << " " << r.n << " " << r.kl << " "
                                              << r.ku << " " << r.ldab);
            EXPECT_EQ(ENTRY(api, gbtrf)(r.m, r.n, r.kl, r.ku, pub(r.ab), r.ldab, r.ipiv),
                      r.info ? zuliArgumentError : zuliNoError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
        }
        for (const Pb& r : pb) {
            SCOPED_TRACE(::testing::Message()
                         << "pbtrf " << r.uplo << " " << r.n << " " << r.kd << " " << r.ldab);
            EXPECT_EQ(ENTRY(api, pbtrf)(r.uplo, r.n, r.kd, pub(r.ab), r.ldab),
                      r.info ? zuliArgumentError : zuliNoError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
        }
    }
    blas_test::expectNoWork();
}

// Every allocation, cuBLAS call and CUDA call the blocked paths reach, failing in turn, through
// the host interface (which runs the device routine's body, so it reaches every point the device
// interface does, and its mirrors besides): the fault's status, no device memory left behind,
// and host arrays that hold either what they held or (a failure after the copy-out) the result.
TEST_F(SolverTest, BlockedBandFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    const int nb = bandBlock<double>();
    const int n = nb + 5, kl = nb, ku = 3, kd = nb + 1;
    const Matrix<double> general = generalBand<double>(kl, ku, 0, n, rng);
    const Matrix<double> definite = positiveDefiniteBand<double>(kd + 1, n, kd, 0, rng);
    struct Routine {
        const char* name;
        const Matrix<double>& original;
        std::function<zuliStatus(double*, int, int*)> call;
        Factored<double> want;
    } routines[] = {
        {"gbtrf", general,
         [&](double* ab, int ldab, int* ipiv) { return zuliDgbtrf(n, n, kl, ku, ab, ldab, ipiv); },
         runGbtrf(Api::Host, n, n, kl, ku, general)},
        {"pbtrf", definite,
         [&](double* ab, int ldab, int*) { return zuliDpbtrf('L', n, kd, ab, ldab); },
         runPbtrf(Api::Host, 'L', n, kd, definite)},
    };
    for (const Routine& routine : routines) {
        SCOPED_TRACE(routine.name);
        Matrix<double> ab = routine.original;
        std::vector<int> piv;
        std::map<std::string, int> seen;
        const int failures = sweepFailures(
            [&] {
                ab = routine.original;
                piv.assign(size_t(n), -7);
            },
            [&] { return routine.call(ab.ptr(), ab.ld, piv.data()); },
            [&](const Fault& fault) {
                ++seen[fault.name];
                EXPECT_TRUE(ab.data == routine.original.data || ab.data == routine.want.ab.data);
                if (!routine.want.piv.empty()) {
                    EXPECT_TRUE(piv == std::vector<int>(size_t(n), -7) || piv == routine.want.piv);
                }
            });
        EXPECT_GT(failures, 3);
        // Each kind of fault reaches the caller, except failed page-locked allocations: staging
        // comes from the pool, which absorbs a failure while it warms up and then serves it.
        EXPECT_GT(seen["device allocation"], 0);
        EXPECT_GT(seen["cuBLAS call"], 0);
        EXPECT_GT(seen["CUDA call"], 0);
    }
}

}  // namespace
