// The symmetric (Hermitian) eigensolver syev / heev and the two-stage reduction syrdb / herdb:
// eigenvalues against the host LAPACK's, eigenvector residuals and orthonormality, both
// triangles (bit-identical for jobz 'V'), split, clustered and graded spectra, A = Q T Q^H of
// syrdb, argument tables, a failure sweep and what crosses the bus in syrdb's first stage.
#include "solvers/solver_support.h"

#include "runtime/tuning.h"

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

template <typename T>
zuliStatus syev(Api api, char jobz, char uplo, int n, T* a, int lda, Real<T>* w) {
    return (api == Api::Host ? pick<T>(zuliSsyev, zuliDsyev, zuliCheev, zuliZheev)
                             : pick<T>(zuliDeviceSsyev, zuliDeviceDsyev, zuliDeviceCheev,
                                       zuliDeviceZheev))(jobz, uplo, n, pub(a), lda, pub(w));
}
template <typename T>
zuliStatus syrdb(Api api, char jobz, char uplo, int n, int kd, T* a, int lda, Real<T>* d,
                 Real<T>* e, T* tau, T* z, int ldz) {
    return (api == Api::Host
                ? pick<T>(zuliSsyrdb, zuliDsyrdb, zuliCherdb, zuliZherdb)
                : pick<T>(zuliDeviceSsyrdb, zuliDeviceDsyrdb, zuliDeviceCherdb, zuliDeviceZherdb))(
        jobz, uplo, n, kd, pub(a), lda, pub(d), pub(e), pub(tau), pub(z), ldz);
}

enum class Spectrum { Random, Split, Clustered, Graded };

// A Hermitian n x n matrix (leading dimension ld, both triangles stored): random, block diagonal
// with blocks of order n / 3 and the rest (its tridiagonal form splits), or Q diag(lambda) Q^H
// with Q random unitary and lambda in two tight clusters (+-1 within 100 n eps) or graded
// (from 1 down to 1e-6, alternating in sign).
template <typename T>
Matrix<T> hermitian(Spectrum kind, int n, int ld, std::mt19937& rng) {
    using R = Real<T>;
    Matrix<T> a(n, n, ld, rng);
    if (kind == Spectrum::Clustered || kind == Spectrum::Graded) {
        Matrix<T> q(n, n, n, rng);
        std::vector<T> tau(static_cast<size_t>(n));
        EXPECT_EQ(withWork<T>([&](T* w, int l) {
                      return lapack::geqrf(n, n, q.ptr(), n, tau.data(), w, l);
                  }),
                  0);
        EXPECT_EQ(withWork<T>([&](T* w, int l) {
                      return lapack::orgqr(n, n, n, q.ptr(), n, tau.data(), w, l);
                  }),
                  0);
        Matrix<T> ql = q;
        for (int j = 0; j < n; ++j) {
            const double lambda = kind == Spectrum::Clustered
                                      ? (j % 2 ? 1.0 : -1.0) * (1 + 100.0 * j * epsilon<T>())
                                      : (j % 2 ? 1.0 : -1.0) * std::pow(1e-6, double(j) / n);
            for (int i = 0; i < n; ++i) ql(i, j) = ql(i, j) * T(R(lambda));
        }
        const Matrix<T> b = product(CblasNoTrans, ql, CblasConjTrans, q);
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i) a(i, j) = b(i, j);
    }
    for (int j = 0; j < n; ++j) {
        a(j, j) = T(R(zuli::real(a(j, j))));
        for (int i = j + 1; i < n; ++i) {
            if (kind == Spectrum::Split && i / std::max(1, n / 3) != j / std::max(1, n / 3))
                a(i, j) = T(0);
            a(j, i) = zuli::conj(a(i, j));
        }
    }
    return a;
}

// The host LAPACK's eigenvalues of a (sytrd, sterf), ascending.
template <typename T>
std::vector<Real<T>> lapackEigenvalues(Matrix<T> a) {
    const int n = a.n;
    std::vector<Real<T>> d(static_cast<size_t>(std::max(1, n))), e(d);
    std::vector<T> tau(d.size());
    EXPECT_EQ(withWork<T>([&](T* w, int l) {
                  return lapack::sytrd('L', n, a.ptr(), a.ld, d.data(), e.data(), tau.data(), w, l);
              }),
              0);
    EXPECT_EQ(lapack::sterf(n, d.data(), e.data()), 0);
    return d;
}

// ||A Z - Z diag(w)|| / (n ||A|| eps), max norm.
template <typename T>
double eigenResidual(const Matrix<T>& a, const Matrix<T>& z, const std::vector<Real<T>>& w) {
    Matrix<T> az = product(CblasNoTrans, a, CblasNoTrans, z);
    double r = 0;
    for (int j = 0; j < a.n; ++j)
        for (int i = 0; i < a.n; ++i)
            r = std::max(r, magnitude(az(i, j) - z(i, j) * T(w[size_t(j)])));
    return r / (std::max(1, a.n) * maxAbs(a) * epsilon<T>());
}

template <typename T>
class SyevTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(SyevTyped, AllPrecisions);

// syev with jobz 'N' and 'V' on both triangles and through both interfaces: sizes around the
// band width 32 of the eigenvalue path, several of its panels, and on both sides of sytrd's
// host/GPU boundary, every kind of spectrum. The eigenvalues ascend and match the host LAPACK's;
// the eigenvectors satisfy A Z = Z W and are orthonormal; for 'V' the upper triangle gives
// bit for bit what the lower one gives.
TYPED_TEST(SyevTyped, EigenpairsMatchLapackOnEveryPath) {
    using T = TypeParam;
    using R = Real<T>;
    const int host = zuli::reductionHostOrder<T>();
    const int nb = zuli::reductionBlockSize<T>(90);
    struct Case {
        int n, pad;
        Spectrum kind;
    } cases[] = {{1, 0, Spectrum::Random},     {2, 1, Spectrum::Random},
                 {31, 0, Spectrum::Clustered}, {32, 2, Spectrum::Random},
                 {33, 0, Spectrum::Graded},    {97, 3, Spectrum::Split},
                 {host, 0, Spectrum::Random},  {host + nb + 5, 1, Spectrum::Split}};
    for (const Case& c : cases) {
        const int n = c.n, ld = n + c.pad;
        const Matrix<T> a = hermitian<T>(c.kind, n, ld, this->rng);
        const std::vector<R> want = lapackEigenvalues(a);
        for (Api api : kApis)
            for (char jobz : {'N', 'V'}) {
                Matrix<T> lower(n, n, ld);
                for (char uplo : {'L', 'U'}) {
                    SCOPED_TRACE(::testing::Message()
                                 << "n " << n << " kind " << int(c.kind) << " " << jobz << uplo
                                 << " " << blas_test::apiName(api));
                    Matrix<T> got = a;
                    std::vector<R> w(static_cast<size_t>(n), R(7));
                    {
                        DeviceArrays dev(api);
                        ASSERT_EQ(syev(api, jobz, uplo, n, dev(got), ld, dev(w)), zuliNoError);
                        dev.download();
                    }
                    EXPECT_TRUE(std::is_sorted(w.begin(), w.end()));
                    EXPECT_LT(vectorError(w, want, n, a), 30);
                    if (jobz == 'N') continue;
                    Matrix<T> z(n, n, n);
                    for (int j = 0; j < n; ++j)
                        for (int i = 0; i < n; ++i) z(i, j) = got(i, j);
                    EXPECT_LT(eigenResidual(a, z, w), 30);
                    EXPECT_LT(departureFromOrthonormal(z), 30);
                    if (uplo == 'L')
                        lower = got;
                    else
                        EXPECT_TRUE(got.data == lower.data) << "U and L differ";
                }
            }
    }
}

// syrdb for band widths 0 (taken as 1), small, 32, n - 1 and beyond n, both triangles, both
// interfaces: T has A's eigenvalues, jobz 'V' gives a unitary Z with A = Z T Z^H, and jobz 'U'
// turns a given Z0 into Z0 Z.
TYPED_TEST(SyevTyped, TwoStageReductionGivesQAndT) {
    using T = TypeParam;
    using R = Real<T>;
    struct Case {
        int n, kd;
    } cases[] = {{1, 0}, {2, 1}, {10, 0}, {10, 3}, {45, 8}, {45, 44}, {45, 60}, {70, 32}};
    for (const Case& c : cases) {
        const int n = c.n, ld = n + 2;
        const Matrix<T> a = hermitian<T>(Spectrum::Random, n, ld, this->rng);
        const Matrix<T> z0(n, n, n, this->rng);
        const std::vector<R> want = lapackEigenvalues(a);
        for (char uplo : {'L', 'U'})
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message() << "n " << n << " kd " << c.kd << " " << uplo
                                                  << " " << blas_test::apiName(api));
                const size_t k = size_t(std::max(1, n - 1)), nn = static_cast<size_t>(n);
                Matrix<T> av = a, au = a, z(n, n, n), zu = z0;
                std::vector<R> d(nn), e(k), du(nn), eu(k);
                std::vector<T> tau(k), tauu(k);
                {
                    DeviceArrays dev(api);
                    ASSERT_EQ(syrdb(api, 'V', uplo, n, c.kd, dev(av), ld, dev(d), dev(e), dev(tau),
                                    dev(z), n),
                              zuliNoError);
                    ASSERT_EQ(syrdb(api, 'u', uplo, n, c.kd, dev(au), ld, dev(du), dev(eu),
                                    dev(tauu), dev(zu), n),
                              zuliNoError);
                    dev.download();
                }
                // T = Z^H A Z, tridiagonal with d and e.
                const Matrix<T> t = product(CblasConjTrans, z, CblasNoTrans,
                                            product(CblasNoTrans, a, CblasNoTrans, z));
                double off = 0;
                for (int j = 0; j < n; ++j)
                    for (int i = 0; i < n; ++i) {
                        T want_ij(0);
                        if (i == j) want_ij = T(d[size_t(i)]);
                        if (i == j + 1 || j == i + 1) want_ij = T(e[size_t(std::min(i, j))]);
                        off = std::max(off, magnitude(t(i, j) - want_ij));
                    }
                EXPECT_LT(off / (n * maxAbs(a) * epsilon<T>()), 30);
                EXPECT_LT(departureFromOrthonormal(z), 30);
                std::vector<R> w = d, s = e;
                ASSERT_EQ(lapack::sterf(n, w.data(), s.data()), 0);
                EXPECT_LT(vectorError(w, want, n, a), 30);
                EXPECT_EQ(du, d);
                EXPECT_LT(relativeError(zu, product(CblasNoTrans, z0, CblasNoTrans, z)), 30);
            }
    }
}

// The argument checks of syev and syrdb in order through both interfaces, lower-case letters
// accepted; n = 0 returns before the pointers are needed and does no work, but lda = 0 is still
// rejected; syrdb's Z is looked at only for jobz 'V' and 'U'.
TYPED_TEST(SyevTyped, ArgumentTables) {
    using T = TypeParam;
    using R = Real<T>;
    std::vector<T> a(64), tau(8), z(64);
    std::vector<R> w(8), e(8);
    T *pa = a.data(), *pt = tau.data(), *pz = z.data();
    R *pw = w.data(), *pe = e.data();
    struct Driver {
        char jobz, uplo;
        int n, lda;
        T* a;
        R* w;
        int info;
    } driver[] = {
        {'X', 'L', 4, 4, pa, pw, -1},          {'V', 'X', 4, 4, pa, pw, -2},
        {'N', 'U', -1, 4, pa, pw, -3},         {'V', 'L', 4, 4, nullptr, pw, -4},
        {'n', 'l', 4, 3, pa, pw, -5},          {'V', 'U', 4, 4, pa, nullptr, -6},
        {'v', 'u', 0, 1, nullptr, nullptr, 0}, {'N', 'L', 0, 0, nullptr, nullptr, -5},
    };
    for (const Driver& r : driver)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message()
                         << "syev " << r.jobz << r.uplo << r.n << " " << blas_test::apiName(api));
            DeviceArrays dev(api);
            T* da = dev(r.a, a.size());
            R* dw = dev(r.w, w.size());
            zuliEmuResetCounters();
            EXPECT_EQ(syev(api, r.jobz, r.uplo, r.n, da, r.lda, dw),
                      r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            if (r.info == 0) blas_test::expectNoWork();
        }
    struct Reduce {
        char jobz, uplo;
        int n, kd, lda;
        T* a;
        R *d, *e;
        T *tau, *z;
        int ldz, info;
    } reduce[] = {
        {'X', 'L', 4, 2, 4, pa, pw, pe, pt, pz, 4, -1},
        {'N', 'X', 4, 2, 4, pa, pw, pe, pt, pz, 4, -2},
        {'N', 'L', -1, 2, 4, pa, pw, pe, pt, pz, 4, -3},
        {'N', 'L', 4, -1, 4, pa, pw, pe, pt, pz, 4, -4},
        {'N', 'L', 4, 2, 4, nullptr, pw, pe, pt, pz, 4, -5},
        {'N', 'L', 4, 2, 3, pa, pw, pe, pt, pz, 4, -6},
        {'N', 'L', 4, 2, 4, pa, nullptr, pe, pt, pz, 4, -7},
        {'N', 'L', 4, 2, 4, pa, pw, nullptr, pt, pz, 4, -8},
        {'N', 'L', 4, 2, 4, pa, pw, pe, nullptr, pz, 4, -9},
        {'v', 'l', 4, 2, 4, pa, pw, pe, pt, nullptr, 4, -10},
        {'U', 'U', 4, 2, 4, pa, pw, pe, pt, pz, 3, -11},
        {'N', 'L', 0, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, 0, -6},
        {'N', 'U', 0, 32, 1, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 0},
        {'V', 'L', 0, 0, 1, nullptr, nullptr, nullptr, nullptr, nullptr, 1, 0},
        {'V', 'L', 1, 0, 1, pa, pw, nullptr, nullptr, pz, 1, 0},
    };
    for (const Reduce& r : reduce)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << "syrdb " << r.jobz << r.uplo << r.n << " " << r.kd
                                              << " " << blas_test::apiName(api));
            DeviceArrays dev(api);
            T *da = dev(r.a, a.size()), *dt = dev(r.tau, tau.size()), *dz = dev(r.z, z.size());
            R *dd = dev(r.d, w.size()), *de = dev(r.e, e.size());
            zuliEmuResetCounters();
            EXPECT_EQ(syrdb(api, r.jobz, r.uplo, r.n, r.kd, da, r.lda, dd, de, dt, dz, r.ldz),
                      r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            if (r.info == 0 && r.n == 0) blas_test::expectNoWork();
        }
}

// Every allocation, cuBLAS call and CUDA call that syev jobz 'V' reaches (upper triangle, so
// that the conversion runs too), failing in turn: the status of the fault, no device memory left
// behind, and the caller's matrix either as it was or the complete result.
TEST_F(SolverTest, SyevFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    const int n = 5;
    const Matrix<double> original = hermitian<double>(Spectrum::Random, n, n, rng);
    Matrix<double> a = original, result = original;
    std::vector<double> w(static_cast<size_t>(n));
    ASSERT_EQ(zuliDsyev('V', 'U', n, result.ptr(), n, w.data()), zuliNoError);
    const int failures = sweepFailures(
        [&] { a = original; }, [&] { return zuliDsyev('V', 'U', n, a.ptr(), n, w.data()); },
        [&](const Fault&) { EXPECT_TRUE(a.data == original.data || a.data == result.data); });
    EXPECT_GT(failures, 8);
}

// The hybrid contract of the first stage of a device dsyrdb of n = 2048 (jobz 'N', kd = 32): per
// panel its rows (kd columns) down and up and T up; then the band down and d, e, tau up. Nothing
// else crosses the bus, and cuBLAS does the 4/3 n^3 operations of the two-sided updates.
TEST_F(SolverTest, DeviceSyrdbMovesOnlyPanelsAndLeavesTheUpdatesToCublas) {
    SKIP_ON_A_REAL_GPU();
    const int n = 2048, kd = 32;
    const double e = sizeof(double);
    Matrix<double> a = hermitian<double>(Spectrum::Random, n, n, rng);
    std::vector<double> d(static_cast<size_t>(n)), off(d), tau(d);
    DeviceArrays dev(Api::Device);
    double *da = dev(a), *dd = dev(d), *de = dev(off), *dt = dev(tau);
    zuliEmuResetCounters();
    ASSERT_EQ(zuliDeviceDsyrdb('N', 'L', n, kd, da, n, dd, de, dt, nullptr, n), zuliNoError);
    double want = 0, flops = 0;
    for (int i = 0; i < n - kd; i += kd) {
        const double pn = n - i - kd, pk = std::min(pn, double(kd));
        want += (2 * pn * kd + pk * pk) * e;
        flops += 4 * pn * pn * pk;
    }
    want += ((kd + 1.0) * n - kd * (kd + 1.0) / 2 + 3.0 * n - 2) * e;
    const auto c = counters();
    const double bus = double(c.h2dBytes + c.d2hBytes);
    RecordProperty("busBytes", std::to_string(bus));
    RecordProperty("blasFlopShare", std::to_string(c.blasFlops / (4.0 / 3 * n * n * n)));
    EXPECT_LT(std::abs(bus - want), 0.02 * want) << bus << " bytes on the bus, want " << want;
    EXPECT_EQ(c.d2dBytes, 0u);
    EXPECT_GT(c.blasFlops, 0.97 * flops) << "cuBLAS share " << c.blasFlops / flops;
    EXPECT_LT(c.blasFlops, 1.1 * flops);
}

}  // namespace
