// The singular value decomposition (gesvd, gesdd): singular values against the host LAPACK's,
// the factors' residual and orthonormality for every pair of jobs on both sides of the
// pre-reduction threshold, graded, clustered, scaled and zero spectra, the argument tables and a
// failure sweep.
#include "solvers/solver_support.h"

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

constexpr char kJobs[] = "ASON";

template <typename T>
zuliStatus gesvd(Api api, char jobu, char jobvt, int m, int n, T* a, int lda, Real<T>* s, T* u,
                 int ldu, T* vt, int ldvt) {
    return ENTRY(api, gesvd)(jobu, jobvt, m, n, pub(a), lda, pub(s), pub(u), ldu, pub(vt), ldvt);
}
template <typename T>
zuliStatus gesdd(Api api, char jobz, int m, int n, T* a, int lda, Real<T>* s, T* u, int ldu, T* vt,
                 int ldvt) {
    return ENTRY(api, gesdd)(jobz, m, n, pub(a), lda, pub(s), pub(u), ldu, pub(vt), ldvt);
}

// The host LAPACK's singular values of a.
template <typename T>
std::vector<Real<T>> lapackSingularValues(Matrix<T> a) {
    int m = a.m, n = a.n, one = 1;
    const int k = std::min(m, n);
    std::vector<Real<T>> s(static_cast<size_t>(k)), rwork(static_cast<size_t>(5 * k + 1));
    char job = 'N';
    T* none = nullptr;
    const int info = withWork<T>([&](T* w, int l) {
        int i = 0;
        if constexpr (zuli::IsComplexV<T>)
            ZULI_LAPACK(T, gesvd, &job, &job, &m, &n, a.ptr(), &a.ld, s.data(), none, &one, none,
                        &one, w, &l, rwork.data(), &i);
        else
            ZULI_LAPACK(T, gesvd, &job, &job, &m, &n, a.ptr(), &a.ld, s.data(), none, &one, none,
                        &one, w, &l, &i);
        return i;
    });
    EXPECT_EQ(info, 0);
    return s;
}

// m x k with orthonormal columns (Q of a random matrix).
template <typename T>
Matrix<T> randomOrthonormal(int m, int k, std::mt19937& rng) {
    Matrix<T> q(m, k, rng);
    std::vector<T> tau(static_cast<size_t>(k));
    EXPECT_EQ(
        withWork<T>([&](T* w, int l) { return lapack::geqrf(m, k, q.ptr(), m, tau.data(), w, l); }),
        0);
    EXPECT_EQ(withWork<T>([&](T* w, int l) {
                  return lapack::orgqr(m, k, k, q.ptr(), m, tau.data(), w, l);
              }),
              0);
    return q;
}

enum class Spectrum { Random, Graded, Clustered, Zero, Tiny, Huge };
const char* spectrumName(Spectrum s) {
    const char* names[] = {"random", "graded", "clustered", "zero", "tiny", "huge"};
    return names[int(s)];
}

// An m x n matrix (leading dimension ld) of the given kind: random entries; U diag(sigma) V^H
// with sigma graded over 10^(-digits) or in clusters of equal values; zero; random entries
// scaled below (above) the range inside which the drivers compute unscaled.
template <typename T>
Matrix<T> testMatrix(Spectrum kind, int m, int n, int ld, std::mt19937& rng) {
    using R = Real<T>;
    Matrix<T> a(m, n, ld, rng);
    const int k = std::min(m, n);
    const R smlnum = std::sqrt(lapack::lamch<R>('S')) / lapack::lamch<R>('P');
    auto scale = [&](double f) {
        for (T& v : a.data) v = v * T(R(f));
    };
    if (kind == Spectrum::Zero) scale(0);
    if (kind == Spectrum::Tiny) scale(smlnum * 1e-3);
    if (kind == Spectrum::Huge) scale(1e3 / smlnum);
    if (kind != Spectrum::Graded && kind != Spectrum::Clustered) return a;
    const double digits = std::is_same_v<R, float> ? 5 : 12;
    Matrix<T> us = randomOrthonormal<T>(m, k, rng), v = randomOrthonormal<T>(n, k, rng);
    for (int j = 0; j < k; ++j) {
        const double sigma = kind == Spectrum::Graded
                                 ? std::pow(10.0, -digits * j / std::max(1, k - 1))
                                 : std::pow(10.0, -3.0 * (3 * j / k));  // three clusters
        for (int i = 0; i < m; ++i) us(i, j) = us(i, j) * T(R(sigma));
    }
    const Matrix<T> p = product(CblasNoTrans, us, CblasConjTrans, v);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) a(i, j) = p(i, j);
    return a;
}

// One decomposition's outputs.
template <typename T>
struct Outputs {
    std::vector<Real<T>> s;
    Matrix<T> a, u, vt;
};

// Runs gesvd (or gesdd with jobz = jobu when viaGesdd) on a copy of a through `api`; U and VT get
// the extents the jobs give them plus two rows of padding, filled with a marker.
template <typename T>
Outputs<T> decompose(Api api, bool viaGesdd, char jobu, char jobvt, const Matrix<T>& a) {
    const int m = a.m, n = a.n, k = std::min(m, n);
    const int ucols = jobu == 'A' ? m : (jobu == 'S' ? k : 1);
    const int vtrows = jobvt == 'A' ? n : (jobvt == 'S' ? k : 1);
    Outputs<T> o{std::vector<Real<T>>(size_t(k), Real<T>(-1)), a, Matrix<T>(m, ucols, m + 2),
                 Matrix<T>(vtrows, n, vtrows + 2)};
    std::fill(o.u.data.begin(), o.u.data.end(), T(9));
    std::fill(o.vt.data.begin(), o.vt.data.end(), T(9));
    DeviceArrays dev(api);
    T *pu = dev(o.u), *pvt = dev(o.vt);
    const zuliStatus st =
        viaGesdd
            ? gesdd(api, jobu, m, n, dev(o.a), a.ld, dev(o.s), pu, o.u.ld, pvt, o.vt.ld)
            : gesvd(api, jobu, jobvt, m, n, dev(o.a), a.ld, dev(o.s), pu, o.u.ld, pvt, o.vt.ld);
    EXPECT_EQ(st, zuliNoError);
    dev.download();
    return o;
}

// Checks a decomposition of a the way LAPACK's tests do, against the singular values `want`:
// per value |s - want| / (max(m, n) ||A|| eps); the factors where the jobs put them (U, VT or A's
// first k columns / rows) orthonormal, ||I - X^H X|| / (n eps), the whole square factor for job
// "A"; ||A - U S V^H|| / (max(m, n) ||A|| eps) when both factors are there, with one factor only
// ||U^H A A^H U - S^2|| (resp. with V) over ||A||^2 max(m, n) eps.
template <typename T>
void expectDecomposition(char jobu, char jobvt, const Matrix<T>& a, const Outputs<T>& o,
                         const std::vector<Real<T>>& want) {
    const int m = a.m, n = a.n, k = std::min(m, n), big = std::max(m, n);
    const double norm = std::max(double(want[0]), 1e-300), eps = epsilon<T>();
    double sv = 0;
    for (int i = 0; i < k; ++i) {
        sv = std::max(sv, std::fabs(double(o.s[size_t(i)] - want[size_t(i)])));
        if (i > 0) {
            EXPECT_GE(o.s[size_t(i - 1)], o.s[size_t(i)]) << "order at " << i;
        }
    }
    EXPECT_LT(sv / (big * norm * eps), 30) << "singular values";
    EXPECT_GE(o.s[size_t(k - 1)], 0);

    // U's first k columns, VT's first k rows.
    const bool left = jobu != 'N', right = jobvt != 'N';
    Matrix<T> u(m, k, m), vt(k, n, k);
    for (int j = 0; j < k; ++j)
        for (int i = 0; i < m && left; ++i) u(i, j) = jobu == 'O' ? o.a(i, j) : o.u(i, j);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < k && right; ++i) vt(i, j) = jobvt == 'O' ? o.a(i, j) : o.vt(i, j);
    if (left) {
        EXPECT_LT(departureFromOrthonormal(jobu == 'A' ? o.u : u), 30) << "U";
    }
    if (right) {
        const int rows = jobvt == 'A' ? n : k;
        Matrix<T> v(n, rows, n);
        for (int j = 0; j < rows; ++j)
            for (int i = 0; i < n; ++i) v(i, j) = zuli::conj(jobvt == 'O' ? o.a(j, i) : o.vt(j, i));
        EXPECT_LT(departureFromOrthonormal(v), 30) << "V";
    }
    if (left && right) {
        Matrix<T> us = u;
        for (int j = 0; j < k; ++j)
            for (int i = 0; i < m; ++i) us(i, j) = us(i, j) * T(o.s[size_t(j)]);
        const Matrix<T> back = product(CblasNoTrans, us, CblasNoTrans, vt);
        double r = 0;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < m; ++i) r = std::max(r, magnitude(back(i, j) - a(i, j)));
        EXPECT_LT(r / (big * norm * eps), 30) << "A - U S V^H";
    } else if (left || right) {
        // B = U^H A (k x n) has rows s_i v_i^H; A V (m x k) has columns s_i u_i.
        const Matrix<T> b = left ? product(CblasConjTrans, u, CblasNoTrans, a)
                                 : product(CblasNoTrans, a, CblasConjTrans, vt);
        const Matrix<T> g = left ? product(CblasNoTrans, b, CblasConjTrans, b)
                                 : product(CblasConjTrans, b, CblasNoTrans, b);
        double r = 0;
        for (int j = 0; j < k; ++j)
            for (int i = 0; i < k; ++i) {
                const double s2 = i == j ? double(o.s[size_t(i)]) * o.s[size_t(i)] : 0;
                r = std::max(r, magnitude(g(i, j) - T(Real<T>(s2))));
            }
        EXPECT_LT(r / (big * norm * norm * eps), 30) << "one factor";
    }
}

template <typename T>
class SvdTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(SvdTyped, AllPrecisions);

// Every pair of jobs (15: "O", "O" is not allowed) on tall, wide and square matrices on both
// sides of mnthr = int(1.6 min(m, n)): 5 x 3 and 4 x 3 (and 3 x 5, 3 x 4) are pre-reduced by
// geqrf (gelqf), 3 x 3 and 5 x 4 are not; 1 x 1 and 6 x 1 at the edges. Both interfaces, A
// padded. gesdd with "A", "S", "N" gives what gesvd gives with that job on both sides.
TYPED_TEST(SvdTyped, EveryJobPairOnBothSidesOfThePreReduction) {
    using T = TypeParam;
    const int shapes[][2] = {{5, 3}, {4, 3}, {3, 3}, {5, 4}, {3, 5},
                             {3, 4}, {4, 5}, {1, 1}, {6, 1}, {1, 6}};
    for (const auto& shape : shapes) {
        const int m = shape[0], n = shape[1];
        const Matrix<T> a(m, n, m + 1, this->rng);
        const auto want = lapackSingularValues(a);
        for (Api api : kApis)
            for (char jobu : std::string(kJobs))
                for (char jobvt : std::string(kJobs)) {
                    if (jobu == 'O' && jobvt == 'O') continue;
                    SCOPED_TRACE(::testing::Message() << m << " x " << n << " " << jobu << jobvt
                                                      << " " << blas_test::apiName(api));
                    const Outputs<T> o = decompose(api, false, jobu, jobvt, a);
                    expectDecomposition(jobu, jobvt, a, o, want);
                    if (jobu == jobvt && jobu != 'O') {
                        const Outputs<T> d = decompose(api, true, jobu, jobvt, a);
                        EXPECT_LT(vectorError(d.s, o.s, std::min(m, n), a), 1) << "gesdd";
                        if (jobu != 'N') {
                            EXPECT_LT(relativeError(d.u, o.u), 1) << "gesdd U";
                            EXPECT_LT(relativeError(d.vt, o.vt), 1) << "gesdd VT";
                        }
                    }
                }
    }
}

// Graded, clustered, zero and scaled (entries below and above the unscaled range) spectra and
// sizes past the block sizes, so that the blocked geqrf / gelqf, orgqr / orglq and gemm paths
// run: 200 x 80 and 80 x 200 pre-reduced, 130 x 110 and 110 x 130 bidiagonalised directly; the
// job pairs that exercise each place a factor can be held in.
TYPED_TEST(SvdTyped, SpectraAndLargeSizes) {
    using T = TypeParam;
    struct Case {
        Spectrum kind;
        int m, n;
        const char* jobs;  // pairs jobu jobvt
    } cases[] = {
        {Spectrum::Graded, 12, 7, "AASOOSNN"}, {Spectrum::Graded, 7, 12, "AASOOSNN"},
        {Spectrum::Clustered, 9, 7, "AASOOS"}, {Spectrum::Clustered, 7, 12, "SSOA"},
        {Spectrum::Zero, 9, 4, "AAOSNN"},      {Spectrum::Zero, 4, 6, "AASO"},
        {Spectrum::Tiny, 10, 4, "SSNN"},       {Spectrum::Huge, 4, 10, "SSON"},
        {Spectrum::Random, 200, 80, "SSAOOA"}, {Spectrum::Graded, 80, 200, "SSOAAO"},
        {Spectrum::Random, 130, 110, "AOSS"},  {Spectrum::Clustered, 110, 130, "OAAN"},
    };
    for (const Case& c : cases) {
        const Matrix<T> a = testMatrix<T>(c.kind, c.m, c.n, c.m, this->rng);
        const auto want = lapackSingularValues(a);
        for (size_t p = 0; c.jobs[p] != 0; p += 2) {
            const char jobu = c.jobs[p], jobvt = c.jobs[p + 1];
            const Api api = (p / 2) % 2 ? Api::Device : Api::Host;
            SCOPED_TRACE(::testing::Message()
                         << spectrumName(c.kind) << " " << c.m << " x " << c.n << " " << jobu
                         << jobvt << " " << blas_test::apiName(api));
            expectDecomposition(jobu, jobvt, a, decompose(api, false, jobu, jobvt, a), want);
        }
    }
}

// The argument checks of both drivers in their order, through both interfaces: a failed check
// and an empty problem do no work.
TYPED_TEST(SvdTyped, ArgumentTables) {
    using T = TypeParam;
    using R = Real<T>;
    std::vector<T> a(64), u(64), vt(64);
    std::vector<R> s(8);
    T *pa = a.data(), *pu = u.data(), *pv = vt.data();
    R* ps = s.data();
    struct Gesvd {
        char jobu, jobvt;
        int m, n, lda;
        T* a;
        R* s;
        T* u;
        int ldu;
        T* vt;
        int ldvt, info;
    } rows[] = {
        {'X', 'N', 4, 3, 4, pa, ps, pu, 4, pv, 3, -1},
        {'N', 'X', 4, 3, 4, pa, ps, pu, 4, pv, 3, -2},
        {'O', 'o', 4, 3, 4, pa, ps, pu, 4, pv, 3, -2},
        {'N', 'N', -1, 3, 4, pa, ps, pu, 4, pv, 3, -3},
        {'N', 'N', 4, -1, 4, pa, ps, pu, 4, pv, 3, -4},
        {'N', 'N', 4, 3, 3, pa, ps, pu, 4, pv, 3, -6},
        {'N', 'N', 4, 3, 4, pa, ps, pu, 0, pv, 3, -9},
        {'s', 'N', 4, 3, 4, pa, ps, pu, 3, pv, 3, -9},
        {'A', 'N', 4, 3, 4, pa, ps, pu, 3, pv, 3, -9},
        {'N', 'N', 4, 3, 4, pa, ps, pu, 4, pv, 0, -11},
        {'N', 'a', 4, 3, 4, pa, ps, pu, 4, pv, 2, -11},
        {'N', 'S', 3, 4, 3, pa, ps, pu, 3, pv, 2, -11},
        {'A', 'A', 0, 3, 1, nullptr, nullptr, nullptr, 1, nullptr, 3, 0},
        {'S', 'S', 4, 0, 4, nullptr, nullptr, nullptr, 4, nullptr, 1, 0},
        {'N', 'N', 4, 3, 4, nullptr, ps, pu, 4, pv, 3, -5},
        {'N', 'N', 4, 3, 4, pa, nullptr, pu, 4, pv, 3, -7},
        {'S', 'N', 4, 3, 4, pa, ps, nullptr, 4, pv, 3, -8},
        {'N', 'A', 4, 3, 4, pa, ps, pu, 4, nullptr, 3, -10},
        {'O', 'N', 4, 3, 4, pa, ps, nullptr, 1, nullptr, 1, 0},  // "O" and "N" need no U, VT
    };
    for (const Gesvd& r : rows)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << "gesvd " << r.jobu << r.jobvt << " " << r.m << " "
                                              << r.n << " " << blas_test::apiName(api));
            DeviceArrays dev(api);
            T *da = dev(r.a, a.size()), *du = dev(r.u, u.size()), *dv = dev(r.vt, vt.size());
            R* ds = dev(r.s, s.size());
            zuliEmuResetCounters();
            EXPECT_EQ(gesvd(api, r.jobu, r.jobvt, r.m, r.n, da, r.lda, ds, du, r.ldu, dv, r.ldvt),
                      r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            if (r.info != 0 || r.m == 0 || r.n == 0) blas_test::expectNoWork();
        }
    struct Gesdd {
        char jobz;
        int m, n, lda;
        T* a;
        R* s;
        T* u;
        int ldu;
        T* vt;
        int ldvt;
        zuliStatus status;
        int info;
    } dd[] = {
        {'O', 4, 3, 4, pa, ps, pu, 4, pv, 3, zuliFeatureNotImplemented, 0},
        {'o', -1, 3, 0, nullptr, nullptr, nullptr, 0, nullptr, 0, zuliFeatureNotImplemented, 0},
        {'X', 4, 3, 4, pa, ps, pu, 4, pv, 3, zuliArgumentError, -1},
        {'N', -1, 3, 4, pa, ps, pu, 4, pv, 3, zuliArgumentError, -2},
        {'N', 4, -1, 4, pa, ps, pu, 4, pv, 3, zuliArgumentError, -3},
        {'N', 4, 3, 3, pa, ps, pu, 4, pv, 3, zuliArgumentError, -5},
        {'s', 4, 3, 4, pa, ps, pu, 3, pv, 3, zuliArgumentError, -8},
        {'N', 4, 3, 4, pa, ps, pu, 4, pv, 0, zuliArgumentError, -10},
        {'A', 3, 4, 3, pa, ps, pu, 3, pv, 3, zuliArgumentError, -10},
        {'S', 3, 4, 3, pa, ps, pu, 3, pv, 2, zuliArgumentError, -10},
        {'A', 0, 4, 1, nullptr, nullptr, nullptr, 1, nullptr, 4, zuliNoError, 0},
        {'N', 4, 3, 4, nullptr, ps, pu, 4, pv, 3, zuliArgumentError, -4},
        {'N', 4, 3, 4, pa, nullptr, pu, 4, pv, 3, zuliArgumentError, -6},
        {'S', 4, 3, 4, pa, ps, nullptr, 4, pv, 3, zuliArgumentError, -7},
        {'A', 4, 3, 4, pa, ps, pu, 4, nullptr, 3, zuliArgumentError, -9},
        {'N', 4, 3, 4, pa, ps, nullptr, 1, nullptr, 1, zuliNoError, 0},
    };
    for (const Gesdd& r : dd)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << "gesdd " << r.jobz << " " << r.m << " " << r.n
                                              << " " << blas_test::apiName(api));
            DeviceArrays dev(api);
            T *da = dev(r.a, a.size()), *du = dev(r.u, u.size()), *dv = dev(r.vt, vt.size());
            R* ds = dev(r.s, s.size());
            zuliEmuResetCounters();
            EXPECT_EQ(gesdd(api, r.jobz, r.m, r.n, da, r.lda, ds, du, r.ldu, dv, r.ldvt), r.status);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            if (r.status != zuliNoError || r.m == 0) blas_test::expectNoWork();
        }
}

// Every allocation, cuBLAS call and CUDA call that gesvd reaches, failing in turn, on the two
// pre-reduction paths with a factor overwriting A (tall through the host interface, wide through
// the device one): the fault's status, no device memory left behind, and host arrays that are
// either as they were or the complete result.
TEST_F(SolverTest, GesvdFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    for (Api api : kApis) {
        const bool host = api == Api::Host;
        const int m = host ? 9 : 4, n = host ? 4 : 9, k = 4;
        const char jobu = host ? 'O' : 'A', jobvt = host ? 'S' : 'O';
        SCOPED_TRACE(blas_test::apiName(api));
        const Matrix<double> a0(m, n, m, rng);
        const Matrix<double> u0(m, jobu == 'A' ? m : 1, m), vt0(k, n, k);
        const std::vector<double> s0(size_t(k), -1.0);
        Matrix<double> fullA = a0, fullU = u0, fullVT = vt0;
        std::vector<double> fullS = s0;
        {
            DeviceArrays dev(api);
            ASSERT_EQ(gesvd(api, jobu, jobvt, m, n, dev(fullA), m, dev(fullS), dev(fullU), m,
                            dev(fullVT), k),
                      zuliNoError);
            dev.download();
        }
        Matrix<double> a = a0, u = u0, vt = vt0;
        std::vector<double> s = s0;
        std::unique_ptr<DeviceArrays> dev;
        double *pa = nullptr, *pu = nullptr, *pv = nullptr, *ps = nullptr;
        const int failures = sweepFailures(
            [&] {
                a = a0;
                u = u0;
                vt = vt0;
                s = s0;
                dev = std::make_unique<DeviceArrays>(api);
                pa = (*dev)(a);
                pu = (*dev)(u);
                pv = (*dev)(vt);
                ps = (*dev)(s);
            },
            [&] { return gesvd(api, jobu, jobvt, m, n, pa, m, ps, pu, m, pv, k); },
            [&](const Fault&) {
                if (!host) return;
                EXPECT_TRUE(a.data == a0.data || a.data == fullA.data);
                EXPECT_TRUE(s == s0 || s == fullS);
                EXPECT_TRUE(vt.data == vt0.data || vt.data == fullVT.data);
            });
        dev.reset();
        EXPECT_GT(failures, 3);
    }
}

}  // namespace
