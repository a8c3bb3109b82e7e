// The orthogonal factorizations (geqrf, geqrfp, gelqf, geqlf, gerqf): factors and tau against the
// host LAPACK's on every path and block boundary, the factorization and orthogonality ratios, the
// argument checks, overlap on and off, failures, and what crosses the bus.
#include "solvers/solver_support.h"

#include "runtime/tuning.h"

#include <cstring>
#include <memory>

namespace {

using namespace solver_test;
using blas_test::pub;

enum class Form { QR, QRP, LQ, QL, RQ };
constexpr Form kForms[] = {Form::QR, Form::QRP, Form::LQ, Form::QL, Form::RQ};
const char* formName(Form f) {
    return (const char*[]){"geqrf", "geqrfp", "gelqf", "geqlf", "gerqf"}[int(f)];
}
// Q's reflectors are the columns of the factored matrix (QR, QL) or its rows (LQ, RQ).
bool columnForm(Form f) {
    return f != Form::LQ && f != Form::RQ;
}

template <typename T>
using Entry = zuliStatus (*)(int, int, zuli::PublicType<T>*, int, zuli::PublicType<T>*);
template <typename T>
Entry<T> entry(Form f, Api api) {
    return std::array{ENTRY(api, geqrf), ENTRY(api, geqrfp), ENTRY(api, gelqf), ENTRY(api, geqlf),
                      ENTRY(api, gerqf)}[size_t(f)];
}

template <typename T>
struct Factored {
    zuliStatus status = zuliNoError;
    Matrix<T> f;
    std::vector<T> tau;
};

// The factorization through `api` on a copy of a, tau preset to -7.
template <typename T>
Factored<T> run(Form form, Api api, const Matrix<T>& a) {
    Factored<T> r{zuliNoError, a, std::vector<T>(size_t(std::min(a.m, a.n)), T(-7))};
    DeviceArrays dev(api);
    T* pa = dev(r.f);
    T* pt = dev(r.tau);
    r.status = entry<T>(form, api)(a.m, a.n, pub(pa), a.ld, pub(pt));
    dev.download();
    return r;
}

// The host LAPACK's factorization of a.
template <typename T>
Factored<T> reference(Form form, const Matrix<T>& a) {
    namespace L = zuli::lapack;
    Factored<T> r{zuliNoError, a, std::vector<T>(size_t(std::min(a.m, a.n)))};
    auto routine =
        std::array{L::geqrf<T>, L::geqrfp<T>, L::gelqf<T>, L::geqlf<T>, L::gerqf<T>}[size_t(form)];
    EXPECT_EQ(withWork<T>([&](T* w, int l) {
                  return routine(a.m, a.n, r.f.ptr(), a.ld, r.tau.data(), w, l);
              }),
              0);
    return r;
}

// ||A - Q R|| / (max(m, n) ||A|| eps) and ||I - Q^H Q|| / (max(m, n) eps) (Q Q^H for the row
// forms), max norms, with Q's k columns (rows) formed by the host LAPACK from the factors.
template <typename T>
std::pair<double, double> ratios(Form form, const Matrix<T>& a, const Factored<T>& r) {
    namespace L = zuli::lapack;
    const int m = a.m, n = a.n, k = std::min(m, n), dr = m - k, dc = n - k;
    const bool cols = columnForm(form);
    Matrix<T> q = cols ? Matrix<T>(m, k, m) : Matrix<T>(k, n, k);
    Matrix<T> t = cols ? Matrix<T>(k, n, k) : Matrix<T>(m, k, m);
    // Q's reflectors where the form keeps them; the triangle, as the form bounds it.
    const bool ql = form == Form::QL, rq = form == Form::RQ;
    for (int j = 0; j < q.n; ++j)
        for (int i = 0; i < q.m; ++i) q(i, j) = r.f(i + (rq ? dr : 0), j + (ql ? dc : 0));
    for (int j = 0; j < t.n; ++j)
        for (int i = 0; i < t.m; ++i) {
            const int gi = i + (ql ? dr : 0), gj = j + (rq ? dc : 0);  // in A
            const bool keep = form == Form::LQ ? gj <= gi
                              : ql             ? gj - gi <= n - m
                              : rq             ? gj - gi >= n - m
                                               : gj >= gi;
            t(i, j) = keep ? r.f(gi, gj) : T(0);
        }
    auto generate =
        std::array{L::orgqr<T>, L::orgqr<T>, L::orglq<T>, L::orgql<T>, L::orgrq<T>}[size_t(form)];
    EXPECT_EQ(withWork<T>([&](T* w, int l) {
                  return generate(q.m, q.n, k, q.ptr(), q.ld, r.tau.data(), w, l);
              }),
              0);
    Matrix<T> qr = cols ? product(CblasNoTrans, q, CblasNoTrans, t)
                        : product(CblasNoTrans, t, CblasNoTrans, q);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) qr(i, j) = qr(i, j) - a(i, j);
    Matrix<T> g = cols ? product(CblasConjTrans, q, CblasNoTrans, q)
                       : product(CblasNoTrans, q, CblasConjTrans, q);
    for (int i = 0; i < k; ++i) g(i, i) = g(i, i) - T(1);
    const double scale = std::max(m, n) * epsilon<T>();
    return {maxAbs(qr) / (scale * maxAbs(a)), maxAbs(g) / scale};
}

// The factorization of a through `api` against the host LAPACK's (`want`): the same factors and
// tau within rounding, A reproduced, Q orthogonal, rows beyond m untouched, and for geqrfp a
// real non-negative diagonal.
template <typename T>
void expectFactorization(Form form, const Factored<T>& got, const Factored<T>& want,
                         const Matrix<T>& a) {
    ASSERT_EQ(got.status, zuliNoError);
    EXPECT_LT(relativeError(got.f, want.f), 30);
    const double scale = std::max(a.m, a.n) * epsilon<T>();  // |tau| <= 2
    for (size_t i = 0; i < got.tau.size(); ++i)
        EXPECT_LT(magnitude(got.tau[i] - want.tau[i]), 60 * scale) << "tau " << i;
    const auto [residual, orthogonality] = ratios(form, a, got);
    EXPECT_LT(residual, 30);
    EXPECT_LT(orthogonality, 30);
    for (int j = 0; j < a.n; ++j)
        for (int i = a.m; i < a.ld; ++i) ASSERT_EQ(got.f(i, j), a(i, j)) << "row beyond m";
    for (int i = 0; form == Form::QRP && i < std::min(a.m, a.n); ++i)
        EXPECT_EQ(got.f(i, i), T(Real<T>(magnitude(got.f(i, i))))) << "diagonal " << i;
}

template <typename T>
class QrTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(QrTyped, AllPrecisions);

// Every form on both device generations and through both interfaces: the host-only path
// (k <= nb, 1 x 1 included), k = nb + 1, several look-ahead panels on tall and square matrices,
// wide ones whose last block is much wider than nb, and padded leading dimensions.
TYPED_TEST(QrTyped, FactorsMatchLapackOnEveryPathAndBoundary) {
    using T = TypeParam;
    for (int code : this->generations()) {
        this->useCapability(code);
        const int nb = zuli::qrBlockSize<T>(code);
        struct Shape {
            int m, n, pad;
        } shapes[] = {{1, 1, 0},           {nb + 9, nb, 1},
                      {nb + 1, nb + 1, 0}, {3 * nb + 7, 2 * nb + 5, 3},
                      {nb + 5, 4 * nb, 0}, {2 * nb + 3, 3 * nb + 1, 2}};
        for (const Shape& s : shapes) {
            const Matrix<T> a(s.m, s.n, s.m + s.pad, this->rng);
            for (Form form : kForms) {
                const Factored<T> want = reference(form, a);
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << formName(form) << " code " << code << ", " << s.m << " x "
                                 << s.n << ", lda " << a.ld << ", " << blas_test::apiName(api));
                    expectFactorization(form, run(form, api, a), want, a);
                }
            }
        }
    }
}

// A device that cannot overlap copies with kernels gets no copy streams: every copy is
// synchronous, and the look-ahead forms give the same bits.
TYPED_TEST(QrTyped, WithoutCopyOverlapTheResultsAreBitIdentical) {
    SKIP_ON_A_REAL_GPU();
    using T = TypeParam;
    zuliEmuDeviceConfig config{};
    ASSERT_EQ(zuliEmuGetDeviceConfig(0, &config), 0);
    ASSERT_GT(config.asyncEngineCount, 0);
    auto copyEngines = [](int count) {
        zuliShutdown();
        zuli::clearDeviceCaches();
        ASSERT_EQ(zuliEmuSetAsyncEngineCount(0, count), 0);
        ASSERT_EQ(zuliInitialize(), zuliNoError);
    };
    const int nb = zuli::qrBlockSize<T>(90);
    const Matrix<T> a(3 * nb + 2, 2 * nb + 7, 3 * nb + 5, this->rng);
    for (Form form : {Form::QR, Form::QRP}) {
        const Factored<T> overlapped = run(form, Api::Device, a);
        copyEngines(0);
        for (Api api : kApis) {
            const Factored<T> serial = run(form, api, a);
            ASSERT_EQ(serial.status, zuliNoError);
            const size_t bytes = a.data.size() * sizeof(T);
            EXPECT_EQ(std::memcmp(serial.f.data.data(), overlapped.f.data.data(), bytes), 0);
            EXPECT_EQ(std::memcmp(serial.tau.data(), overlapped.tau.data(),
                                  serial.tau.size() * sizeof(T)),
                      0);
        }
        copyEngines(config.asyncEngineCount);
    }
}

// The checks in their order for all five forms; geqrf and geqrfp skip the pointer checks of a
// 1 x 1 matrix, the others do not.
TEST_F(SolverTest, ArgumentChecksInOrderWithTheOneByOneAsymmetry) {
    double a[4] = {}, tau[2] = {};
    struct Row {
        int m, n, lda;
        double *a, *tau;
        int info;  // 1: passes the checks in geqrf and geqrfp, -3 or -5 in the others
    } rows[] = {
        {-1, -1, 0, a, tau, -1},        {2, -1, 2, a, tau, -2},
        {2, 2, 1, nullptr, tau, -4},    {0, 0, 0, nullptr, nullptr, -4},  // lda = max(1, m) - 1
        {0, 3, 1, nullptr, nullptr, 0}, {3, 0, 3, nullptr, nullptr, 0},
        {2, 2, 2, nullptr, tau, -3},    {2, 2, 2, a, nullptr, -5},
        {1, 2, 1, nullptr, tau, -3},    {1, 1, 1, nullptr, tau, 1},
        {1, 1, 1, a, nullptr, 1},
    };
    using T = double;
    for (const Row& r : rows)
        for (Form form : kForms)
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message()
                             << formName(form) << " " << r.m << " x " << r.n << " lda " << r.lda
                             << " " << (r.a != nullptr) << (r.tau != nullptr) << " "
                             << blas_test::apiName(api));
                DeviceArrays dev(api);
                double *pa = dev(r.a, 4), *pt = dev(r.tau, 2);
                zuliEmuResetCounters();
                const zuliStatus s = entry<T>(form, api)(r.m, r.n, pa, r.lda, pt);
                const int info = zuliGetErrorInfo();
                if (r.info < 1) {
                    EXPECT_EQ(s, r.info == 0 ? zuliNoError : zuliArgumentError);
                    EXPECT_EQ(info, r.info);
                    blas_test::expectNoWork();
                } else if (form == Form::QR || form == Form::QRP) {
                    // The checks pass; the null pointers then fail at the first copy.
                    EXPECT_NE(s, zuliArgumentError);
                    EXPECT_NE(s, zuliNoError);
                } else {
                    EXPECT_EQ(s, zuliArgumentError);
                    EXPECT_EQ(info, r.a == nullptr ? -3 : -5);
                }
                dev.download();
            }
}

// Every allocation, cuBLAS call and CUDA call that geqrf reaches, failing in turn, through both
// interfaces, on a matrix with two look-ahead panels and a last block (nb = 64).
TEST_F(SolverTest, GeqrfFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    const int m = 150, n = 140;
    const Matrix<double> original(m, n, m + 1, rng);
    for (Api api : kApis) {
        SCOPED_TRACE(blas_test::apiName(api));
        const Factored<double> full = run(Form::QR, api, original);
        ASSERT_EQ(full.status, zuliNoError);
        Matrix<double> a = original;
        std::vector<double> tau;
        std::unique_ptr<DeviceArrays> dev;
        double *pa = nullptr, *pt = nullptr;
        const int failures = sweepFailures(
            [&] {
                a = original;
                tau.assign(size_t(n), -7);
                dev = std::make_unique<DeviceArrays>(api);
                pa = (*dev)(a);
                pt = (*dev)(tau);
            },
            [&] { return entry<double>(Form::QR, api)(m, n, pa, a.ld, pt); },
            [&](const Fault&) {
                if (api != Api::Host) return;
                // Nothing copied back but, after the last copy, the complete result.
                EXPECT_TRUE(a.data == original.data || a.data == full.f.data);
                EXPECT_TRUE(tau == std::vector<double>(size_t(n), -7) || tau == full.tau);
            });
        dev.reset();
        EXPECT_GT(failures, 3);
    }
}

// QR flops of an m x n block (LAPACK's leading terms).
double qrFlops(double m, double n) {
    return m >= n ? 2 * m * n * n - 2 * n * n * n / 3 : 2 * n * m * m - 2 * m * m * m / 3;
}

// A device geqrf in D of 2048 x 2048 and 4096 x 1024: the bus carries one download and one upload
// of each panel (the last block included) and each T factor, within 10 %, and cuBLAS does at
// least all the flops but those of the panels.
TEST_F(SolverTest, DeviceGeqrfMovesOnlyPanelsAndLeavesTheUpdatesToCublas) {
    SKIP_ON_A_REAL_GPU();
    const int nb = zuli::qrBlockSize<double>(90);
    for (const auto& [m, n] : {std::pair{2048, 2048}, {4096, 1024}}) {
        SCOPED_TRACE(::testing::Message() << m << " x " << n);
        Matrix<double> a(m, n, rng);
        std::vector<double> tau(static_cast<size_t>(n));
        DeviceArrays dev(Api::Device);
        double* da = dev(a);
        double* dt = dev(tau);
        zuliEmuResetCounters();
        ASSERT_EQ(zuliDeviceDgeqrf(m, n, da, m, dt), zuliNoError);
        const auto c = counters();

        const int k = std::min(m, n);
        double bytes = 0, panelFlops = 0;
        int i = 0;
        for (; i < k - nb; i += nb) {
            bytes += (2.0 * (m - i) * nb + double(nb) * nb) * sizeof(double);
            panelFlops += qrFlops(m - i, nb);
        }
        bytes += 2.0 * (m - i) * (n - i) * sizeof(double);
        panelFlops += qrFlops(m - i, n - i);
        const double bus = double(c.h2dBytes + c.d2hBytes);
        EXPECT_LT(std::abs(bus - bytes), 0.1 * bytes) << bus << " bytes on the bus";
        EXPECT_GE(c.blasFlops, qrFlops(m, n) - panelFlops);
        EXPECT_EQ(c.d2dBytes, 0u);
    }
}

}  // namespace
