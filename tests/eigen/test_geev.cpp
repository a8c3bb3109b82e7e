// The nonsymmetric eigensolver geev against the host LAPACK's: eigenvalues as sets, LAPACK's
// residual ratios for the right and left vectors, their normalisation, on general (with complex
// pairs in the real types), graded, badly scaled, triangular and defective matrices, below and
// above the hybrid reduction's crossover, for every jobvl / jobvr; argument checks, a
// convergence failure and a failure sweep.
#include "solvers/solver_support.h"

#include "runtime/tuning.h"

#include <complex>
#include <cstring>

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;
using cd = std::complex<double>;

template <typename T>
cd toCd(const T& v) {
    if constexpr (zuli::IsComplexV<T>)
        return {double(v.re), double(v.im)};
    else
        return {double(v), 0};
}

// The eigenvalues wr + i wi (wi empty: zero).
template <typename T>
std::vector<cd> joinValues(const std::vector<T>& wr, const std::vector<T>& wi) {
    std::vector<cd> v;
    for (size_t j = 0; j < wr.size(); ++j) v.push_back(toCd(wr[j]) + cd(0, 1) * toCd(wi[j]));
    return v;
}

// One geev call through api: eigenvalues (and vectors) as complex values, LAPACK's storage of
// real pairs unpacked (column j +- i column j + 1).
struct Solution {
    zuliStatus status = zuliNoError;
    int info = 0;
    std::vector<cd> values, left, right;  // n, n x n, n x n
};

template <typename T>
std::vector<cd> unpackVectors(const Matrix<T>& v, const std::vector<T>& wi, int n) {
    std::vector<cd> out(size_t(n) * n);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            cd x = toCd(v(i, j));
            if constexpr (!zuli::IsComplexV<T>) {
                if (wi[size_t(j)] > 0) x += cd(0, 1) * double(v(i, j + 1));
                if (j > 0 && wi[size_t(j)] < 0) x = cd(v(i, j - 1), -double(v(i, j)));
            }
            out[size_t(i) + size_t(j) * n] = x;
        }
    return out;
}

template <typename T>
Solution solve(Api api, char jobvl, char jobvr, const Matrix<T>& a0, int ldv) {
    const int n = a0.n;
    Matrix<T> a = a0, vl(n, n, ldv), vr(n, n, ldv);
    std::vector<T> wr(static_cast<size_t>(n)), wi(static_cast<size_t>(n));
    Solution s;
    {
        DeviceArrays dev(api);
        if constexpr (zuli::IsComplexV<T>)
            s.status = ENTRY(api, geev)(jobvl, jobvr, n, pub(dev(a)), a.ld, pub(dev(wr)),
                                        pub(dev(vl)), ldv, pub(dev(vr)), ldv);
        else
            s.status = ENTRY(api, geev)(jobvl, jobvr, n, dev(a), a.ld, dev(wr), dev(wi), dev(vl),
                                        ldv, dev(vr), ldv);
        s.info = zuliGetErrorInfo();
        dev.download();
    }
    if (api == Api::Host) {
        EXPECT_EQ(std::memcmp(a.ptr(), a0.data.data(), a.data.size() * sizeof(T)), 0)
            << "the host array changed";
    }
    s.values = joinValues(wr, wi);
    if (jobvl == 'V') s.left = unpackVectors(vl, wi, n);
    if (jobvr == 'V') s.right = unpackVectors(vr, wi, n);
    return s;
}

// The host LAPACK's eigenvalues of a.
template <typename T>
std::vector<cd> lapackValues(const Matrix<T>& a0, int* info) {
    const int n = a0.n;
    Matrix<T> a = a0;
    std::vector<T> wr(static_cast<size_t>(n)), wi(static_cast<size_t>(n));
    std::vector<Real<T>> rwork(size_t(2 * n));
    T none(0);
    std::vector<T> work;
    auto call = [&](T* w, int l) {
        if constexpr (zuli::IsComplexV<T>)
            return lapack::geev('N', 'N', n, a.ptr(), a.ld, wr.data(), &none, 1, &none, 1, w, l,
                                rwork.data());
        else
            return lapack::geev('N', 'N', n, a.ptr(), a.ld, wr.data(), wi.data(), &none, 1, &none,
                                1, w, l);
    };
    work = lapack::workArray<T>(lapack::workSize<T>(call));
    *info = call(work.data(), int(work.size()));
    return joinValues(wr, wi);
}

// The largest distance between the two sets of values once each of `got` is matched to the
// nearest unmatched one of `want` (greedy, in order of want).
double setDistance(const std::vector<cd>& got, std::vector<cd> want) {
    std::vector<bool> used(got.size());
    double worst = 0;
    for (const cd& w : want) {
        size_t best = got.size();
        for (size_t i = 0; i < got.size(); ++i)
            if (!used[i] && (best == got.size() || std::abs(got[i] - w) < std::abs(got[best] - w)))
                best = i;
        if (best == got.size()) return INFINITY;
        used[best] = true;
        worst = std::max(worst, std::abs(got[best] - w));
    }
    return worst;
}

// ||A V - V W||_1 / (n ||A|| eps) for the right vectors; for the left ones (left true)
// ||A^H U - U conj(W)||_1 / (n ||A|| eps) (LAPACK's ratios), ||A|| = n max |a(i, j)|.
template <typename T>
double vectorResidual(const Matrix<T>& a, const std::vector<cd>& v, const std::vector<cd>& w,
                      bool left) {
    const int n = a.n;
    double worst = 0;
    for (int j = 0; j < n; ++j) {
        double r = 0;
        for (int i = 0; i < n; ++i) {
            cd s = -v[size_t(i) + size_t(j) * n] * (left ? std::conj(w[size_t(j)]) : w[size_t(j)]);
            for (int k = 0; k < n; ++k)
                s += (left ? std::conj(toCd(a(k, i))) : toCd(a(i, k))) *
                     v[size_t(k) + size_t(j) * n];
            r += std::abs(s);
        }
        worst = std::max(worst, r);
    }
    return worst / (double(n) * n * std::max(maxAbs(a), 1e-300) * epsilon<T>());
}

// Every vector has unit 2-norm (within n eps) and a component of the largest magnitude that is
// real; returns the worst |1 - ||v||| / (n eps) and counts the vectors without such a component.
template <typename T>
std::pair<double, int> normalisation(const std::vector<cd>& v, int n) {
    double worst = 0;
    int unreal = 0;
    for (int j = 0; j < n; ++j) {
        double sum = 0, largest = 0;
        for (int i = 0; i < n; ++i) {
            sum += std::norm(v[size_t(i) + size_t(j) * n]);
            largest = std::max(largest, std::abs(v[size_t(i) + size_t(j) * n]));
        }
        worst = std::max(worst, std::abs(1 - std::sqrt(sum)) / (n * epsilon<T>()));
        bool found = false;
        for (int i = 0; i < n; ++i) {
            const cd x = v[size_t(i) + size_t(j) * n];
            found |= x.imag() == 0 && std::abs(x) >= largest * (1 - 100 * epsilon<T>());
        }
        unreal += !found;
    }
    return {worst, unreal};
}

enum class Kind { General, Graded, Huge, Triangular, Defective };

// A test matrix of order n (leading dimension ld) of the given kind. Defective: Jordan blocks of
// order 2 (one double eigenvalue each) turned dense by a reflector, so that the eigenvalues are
// only determined to about sqrt(eps).
template <typename T>
Matrix<T> testMatrix(Kind kind, int n, int ld, std::mt19937& rng) {
    Matrix<T> a(n, n, ld, rng);
    using R = Real<T>;
    switch (kind) {
        case Kind::General:
            break;
        case Kind::Graded:  // D A D^-1 with D = diag(8^(i mod 6)): the balancing scales it back
            for (int j = 0; j < n; ++j)
                for (int i = 0; i < n; ++i)
                    a(i, j) = a(i, j) * T(R(std::ldexp(1.0, 3 * (i % 6) - 3 * (j % 6))));
            break;
        case Kind::Huge: {  // beyond the scaling threshold of geev
            const R big = R(4) / (std::sqrt(std::numeric_limits<R>::min()) / epsilon<T>());
            for (T& x : a.data) x = x * T(big);
            break;
        }
        case Kind::Triangular:
            for (int j = 0; j < n; ++j)
                for (int i = j + 1; i < n; ++i) a(i, j) = T(0);
            break;
        case Kind::Defective: {  // H J H, J of Jordan blocks, H = I - 2 u u^T / u^T u
            std::vector<T> u(static_cast<size_t>(n));
            double uu = 0;
            for (T& x : u)
                uu +=
                    std::pow(magnitude(x = T(R(std::uniform_real_distribution<>(-1, 1)(rng)))), 2);
            for (int j = 0; j < n; ++j)
                for (int i = 0; i < n; ++i)
                    a(i, j) = T(R(i == j ? 1 + i / 2 : j == i + 1 && i % 2 == 0));
            for (int byRows = 0; byRows < 2; ++byRows)  // H a, then a H
                for (int k = 0; k < n; ++k) {
                    auto e = [&](int l) -> T& { return byRows ? a(k, l) : a(l, k); };
                    T s(0);
                    for (int l = 0; l < n; ++l) s = s + u[size_t(l)] * e(l);
                    for (int l = 0; l < n; ++l) e(l) = e(l) - s * T(R(2 / uu)) * u[size_t(l)];
                }
            break;
        }
    }
    return a;
}

template <typename T>
class GeevTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(GeevTyped, AllPrecisions);

// Every kind of matrix, below and above the crossover of the hybrid reduction, through both
// interfaces and for every jobvl / jobvr: the eigenvalues are the host LAPACK's as a set (within
// n eps ||A||, sqrt of it for the defective matrices), the vectors' residuals are of order 1 and
// the vectors normalised as LAPACK normalises them.
TYPED_TEST(GeevTyped, EigenvaluesAndVectorsOnEveryPath) {
    using T = TypeParam;
    const int big = zuli::kHessenbergHostColumns + 22;
    struct Case {
        Kind kind;
        int n, pad;
    } cases[] = {{Kind::General, 1, 0},     {Kind::General, 2, 1},    {Kind::General, 13, 2},
                 {Kind::General, big, 0},   {Kind::Graded, 24, 0},    {Kind::Huge, 17, 0},
                 {Kind::Triangular, 15, 1}, {Kind::Defective, 16, 0}, {Kind::Defective, big, 1}};
    const char jobs[][2] = {{'N', 'N'}, {'V', 'N'}, {'n', 'v'}, {'V', 'V'}};
    int pairs = 0;
    for (const Case& c : cases) {
        const Matrix<T> a = testMatrix<T>(c.kind, c.n, c.n + c.pad, this->rng);
        int refInfo = -1;
        const std::vector<cd> want = lapackValues(a, &refInfo);
        ASSERT_EQ(refInfo, 0);
        double anorm = 0;
        for (const cd& w : want) anorm = std::max(anorm, std::abs(w));
        anorm = std::max(anorm, maxAbs(a));
        const double tol = c.kind == Kind::Defective ? 30 * anorm * std::sqrt(c.n * epsilon<T>())
                                                     : 30 * c.n * anorm * epsilon<T>();
        for (Api api : kApis)
            for (const auto& job : jobs) {
                if (c.n == big && api == Api::Device && job[0] != job[1]) continue;
                SCOPED_TRACE(::testing::Message()
                             << "kind " << int(c.kind) << " n " << c.n << " " << job[0] << job[1]
                             << " " << blas_test::apiName(api));
                const Solution s = solve(api, job[0], job[1], a, c.n + 1);
                ASSERT_EQ(s.status, zuliNoError);
                EXPECT_LE(setDistance(s.values, want), tol);
                for (const cd& w : s.values) pairs += w.imag() > 0;
                for (bool left : {false, true}) {
                    const std::vector<cd>& v = left ? s.left : s.right;
                    if (v.empty()) continue;
                    EXPECT_LT(vectorResidual(a, v, s.values, left), 60)
                        << (left ? "left" : "right");
                    const auto [norm, unreal] = normalisation<T>(v, c.n);
                    EXPECT_LT(norm, 30);
                    EXPECT_EQ(unreal, 0);
                }
            }
    }
    if (!zuli::IsComplexV<T>) {
        EXPECT_GT(pairs, 0) << "no complex pair was tested";
    }
}

// The argument checks in LAPACK's order (the complex form has one eigenvalue array less, so its
// later positions are one lower) through both interfaces; n = 0 does nothing.
TYPED_TEST(GeevTyped, ArgumentTables) {
    using T = TypeParam;
    constexpr int c = zuli::IsComplexV<T> ? 1 : 0;
    std::vector<T> a(64), w(8), wi(8), vl(64), vr(64);
    T *pa = a.data(), *pw = w.data(), *pvl = vl.data(), *pvr = vr.data();
    T* pwi = c ? nullptr : wi.data();
    struct Row {
        char jobvl, jobvr;
        int n, lda;
        T *a, *w, *wi, *vl;
        int ldvl;
        T* vr;
        int ldvr, info;
    } rows[] = {
        {'X', 'N', 4, 4, pa, pw, pwi, pvl, 4, pvr, 4, -1},
        {'N', 'U', 4, 4, pa, pw, pwi, pvl, 4, pvr, 4, -2},
        {'N', 'N', -1, 4, pa, pw, pwi, pvl, 4, pvr, 4, -3},
        {'N', 'N', 4, 3, nullptr, pw, pwi, pvl, 4, pvr, 4, -5},
        {'V', 'N', 4, 4, nullptr, pw, pwi, pvl, 3, pvr, 4, -9 + c},
        {'N', 'N', 4, 4, nullptr, pw, pwi, pvl, 0, pvr, 4, -9 + c},
        {'N', 'V', 4, 4, nullptr, pw, pwi, pvl, 1, pvr, 3, -11 + c},
        {'n', 'v', 0, 1, nullptr, nullptr, nullptr, nullptr, 1, nullptr, 1, 0},
        {'N', 'N', 4, 4, nullptr, pw, pwi, pvl, 1, pvr, 1, -4},
        {'N', 'N', 4, 4, pa, nullptr, pwi, pvl, 1, pvr, 1, -6},
        {'V', 'N', 4, 4, pa, pw, pwi, nullptr, 4, pvr, 1, -8 + c},
        {'N', 'V', 4, 4, pa, pw, pwi, pvl, 1, nullptr, 4, -10 + c},
        {'V', 'N', 4, 4, pa, pw, nullptr, nullptr, 4, pvr, 1, -7},  // wi (real), vl (complex)
    };
    for (const Row& r : rows)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message()
                         << r.jobvl << r.jobvr << " " << r.n << " " << r.lda << " " << r.ldvl << " "
                         << r.ldvr << " " << blas_test::apiName(api));
            zuliEmuResetCounters();
            zuliStatus s;
            if constexpr (zuli::IsComplexV<T>)
                s = ENTRY(api, geev)(r.jobvl, r.jobvr, r.n, pub(r.a), r.lda, pub(r.w), pub(r.vl),
                                     r.ldvl, pub(r.vr), r.ldvr);
            else
                s = ENTRY(api, geev)(r.jobvl, r.jobvr, r.n, r.a, r.lda, r.w, r.wi, r.vl, r.ldvl,
                                     r.vr, r.ldvr);
            EXPECT_EQ(s, r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            blas_test::expectNoWork();
        }
}

// A NaN stops the QR algorithm: zuliDataError with the info of a convergence failure (the
// eigenvalues i + 1 ... n converged), through both interfaces. (The host LAPACK's geev returns
// an argument error of its hseqr instead: its balancing gives up on the NaN midway.)
TEST_F(SolverTest, GeevReportsAConvergenceFailure) {
    const int n = 6;
    Matrix<double> a = testMatrix<double>(Kind::General, n, n, rng);
    a(3, 2) = NAN;
    for (Api api : kApis) {
        SCOPED_TRACE(blas_test::apiName(api));
        const Solution s = solve(api, 'V', 'V', a, n);
        EXPECT_EQ(s.status, zuliDataError);
        EXPECT_GT(s.info, 0);
        EXPECT_LE(s.info, n);
    }
}

// Every allocation, cuBLAS call and CUDA call that geev reaches with both kinds of vectors,
// failing in turn, below and above the crossover of the hybrid reduction: the status of the
// fault, no device memory left behind, and the caller's matrix unchanged.
TEST_F(SolverTest, GeevFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    for (int n : {12}) {
        SCOPED_TRACE(n);
        const Matrix<double> original = testMatrix<double>(Kind::General, n, n, rng);
        Matrix<double> a = original, vl(n, n, n), vr(n, n, n);
        std::vector<double> wr(static_cast<size_t>(n)), wi(static_cast<size_t>(n));
        const int failures =
            sweepFailures([&] { a = original; },
                          [&] {
                              return zuliDgeev('V', 'V', n, a.ptr(), n, wr.data(), wi.data(),
                                               vl.ptr(), n, vr.ptr(), n);
                          },
                          [&](const Fault&) { EXPECT_EQ(a.data, original.data); });
        EXPECT_GT(failures, 8);
    }
}

}  // namespace
