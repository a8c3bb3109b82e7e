// Generating and applying Q (orgqr, ormqr and their LQ, QL and RQ kin): results against the host
// LAPACK on the same reflectors on every path, argument checks, failure sweeps, and what crosses
// the bus.
#include "solvers/solver_support.h"

#include "runtime/tuning.h"

#include <cstring>
#include <memory>

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

enum class Form { QR, LQ, QL, RQ };
constexpr Form kForms[] = {Form::QR, Form::LQ, Form::QL, Form::RQ};
const char* formName(Form f) {
    static const char* names[] = {"QR", "LQ", "QL", "RQ"};
    return names[int(f)];
}
bool rowwise(Form f) {
    return f == Form::LQ || f == Form::RQ;
}

// The exported routine org<s> / orm<s> (ung<s> / unm<s> for C and Z) of T for the interface api.
#define Q_ENTRY(api, real, cplx, s)                                                               \
    ((api) == Api::Host ? pick<T>(zuliS##real##s, zuliD##real##s, zuliC##cplx##s, zuliZ##cplx##s) \
                        : pick<T>(zuliDeviceS##real##s, zuliDeviceD##real##s,                     \
                                  zuliDeviceC##cplx##s, zuliDeviceZ##cplx##s))
// Returns CALL(s) for the suffix s of form f (qr, lq, ql, rq).
#define BY_FORM(f, CALL)     \
    switch (f) {             \
        case Form::QR:       \
            return CALL(qr); \
        case Form::LQ:       \
            return CALL(lq); \
        case Form::QL:       \
            return CALL(ql); \
        case Form::RQ:       \
            return CALL(rq); \
    }                        \
    return {}

template <typename T>
zuliStatus generate(Api api, Form f, int m, int n, int k, T* a, int lda, const T* tau) {
#define CALL(s) Q_ENTRY(api, org, ung, s)(m, n, k, pub(a), lda, pub(tau))
    BY_FORM(f, CALL);
#undef CALL
}

template <typename T>
zuliStatus apply(Api api, Form f, char side, char trans, int m, int n, int k, const T* a, int lda,
                 const T* tau, T* c, int ldc) {
#define CALL(s) Q_ENTRY(api, orm, unm, s)(side, trans, m, n, k, pub(a), lda, pub(tau), pub(c), ldc)
    BY_FORM(f, CALL);
#undef CALL
}

// A random m x n matrix (leading dimension ld) factored by the host LAPACK in form f.
template <typename T>
std::pair<Matrix<T>, std::vector<T>> factor(Form f, int m, int n, int ld, std::mt19937& rng) {
    Matrix<T> a(m, n, ld, rng);
    std::vector<T> tau(size_t(std::max(1, std::min(m, n))));
#define CALL(s) lapack::ge##s##f(m, n, a.ptr(), ld, tau.data(), work, lwork)
    EXPECT_EQ(withWork<T>([&](T* work, int lwork) -> int { BY_FORM(f, CALL); }), 0);
#undef CALL
    return {a, tau};
}

template <typename T>
void lapackGenerate(Form f, int m, int n, int k, T* a, int lda, const T* tau) {
#define CALL(s) lapack::org##s(m, n, k, a, lda, tau, work, lwork)
    EXPECT_EQ(withWork<T>([&](T* work, int lwork) -> int { BY_FORM(f, CALL); }), 0);
#undef CALL
}

// The host LAPACK takes 'T' for S and D and 'C' for C and Z.
template <typename T>
void lapackApply(Form f, char side, char trans, int m, int n, int k, const T* a, int lda,
                 const T* tau, T* c, int ldc) {
    const char t = trans == 'N' ? 'N' : (zuli::IsComplexV<T> ? 'C' : 'T');
#define CALL(s) lapack::orm##s(side, t, m, n, k, a, lda, tau, c, ldc, work, lwork)
    EXPECT_EQ(withWork<T>([&](T* work, int lwork) -> int { BY_FORM(f, CALL); }), 0);
#undef CALL
}

// ||I - Q^H Q|| / (max(m, n) eps) for orthonormal columns, ||I - Q Q^H|| for orthonormal rows
// (max norm).
template <typename T>
double orthogonality(const Matrix<T>& q, bool rows) {
    const int order = rows ? q.m : q.n, inner = rows ? q.n : q.m;
    Matrix<T> g(order, order, order);
    for (int i = 0; i < order; ++i) g(i, i) = T(1);
    const T one(1), minusOne(-1);
    pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
        CblasColMajor, rows ? CblasNoTrans : blas_test::Cblas::trans('C'),
        rows ? blas_test::Cblas::trans('C') : CblasNoTrans, order, order, inner,
        blas_test::byBlas(minusOne), q.data.data(), q.ld, q.data.data(), q.ld,
        blas_test::byBlas(one), g.ptr(), g.ld);
    return maxAbs(g) / (std::max(q.m, q.n) * epsilon<T>());
}

// With at most nb reflectors everything runs on the host: no cuBLAS call, no kernel.
void expectHostOnly(bool hostOnly) {
    if (!runtime_test::kEmulated) return;
    zuliEmuCounters c{};
    zuliEmuGetCounters(&c);
    EXPECT_EQ(c.blasCalls + c.launches == 0, hostOnly) << c.blasCalls << " cuBLAS calls";
}

template <typename T>
class QTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(QTyped, AllPrecisions);

// orgqr and kin: Q as the host LAPACK forms it from the same reflectors, with orthonormal
// columns (rows), without reflectors (k = 0: columns of I), on the host-only path (k = nb), with
// one reflector beyond a block (k = nb + 1), and with several blocks, a partial one and columns
// beyond the reflectors, in a padded array; on both device generations and through both
// interfaces.
TYPED_TEST(QTyped, GenerateMatchesLapackOnEveryPath) {
    using T = TypeParam;
    for (int code : this->generations()) {
        this->useCapability(code);
        const int nb = zuli::qrBlockSize<T>(code);
        struct Case {
            int rowsQ, colsQ, k, pad;  // Q's order along the reflectors and its other extent
        } cases[] = {{20, 7, 0, 1},
                     {nb + 20, nb, nb, 0},
                     {nb + 9, nb + 4, nb + 1, 0},
                     {2 * nb + 30, 2 * nb + 11, 2 * nb + 5, 3}};
        for (const Case& s : cases)
            for (Form f : kForms) {
                const bool rows = rowwise(f);
                const int m = rows ? s.colsQ : s.rowsQ, n = rows ? s.rowsQ : s.colsQ;
                const auto [a, tau] = factor<T>(f, m, n, m + s.pad, this->rng);
                // QL and RQ take the reflectors of the last k columns (rows) of the factorization.
                const size_t first = f == Form::QL ? n - s.k : f == Form::RQ ? m - s.k : 0;
                std::vector<T> t(tau.begin() + first, tau.begin() + first + s.k);
                t.resize(size_t(std::max(s.k, 1)));  // without reflectors tau is still passed
                Matrix<T> want = a;
                lapackGenerate(f, m, n, s.k, want.ptr(), want.ld, t.data());
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << "code " << code << ", " << formName(f) << ", " << m << " x "
                                 << n << ", k " << s.k << ", " << blas_test::apiName(api));
                    Matrix<T> q = a;
                    std::vector<T> tt = t;
                    DeviceArrays dev(api);
                    T *pq = dev(q), *pt = dev(tt);
                    zuliEmuResetCounters();
                    ASSERT_EQ(generate(api, f, m, n, s.k, pq, q.ld, pt), zuliNoError);
                    expectHostOnly(s.k <= nb);
                    dev.download();
                    EXPECT_LT(relativeError(q, want), 30);
                    EXPECT_LT(orthogonality(q, rows), 30);
                    for (int j = 0; j < n; ++j)
                        for (int i = m; i < q.ld; ++i)
                            ASSERT_EQ(q(i, j), a(i, j)) << "row beyond m";
                }
            }
    }
}

// ormqr and kin: op(Q) C and C op(Q) as the host LAPACK's on the same reflectors, for every side
// and trans letter ("T" means the conjugate transpose for C and Z), on the host-only path
// (k = nb), with k = nb + 1 and with several blocks and a partial one in padded arrays; A comes
// back unchanged.
TYPED_TEST(QTyped, ApplyMatchesLapackForEverySideAndTrans) {
    using T = TypeParam;
    for (int code : this->generations()) {
        this->useCapability(code);
        const int nb = zuli::qrBlockSize<T>(code);
        struct Case {
            int nq, k, other, pad;  // C is nq x other (side L) or other x nq (side R)
        } cases[] = {{nb + 10, nb, 5, 0}, {nb + 9, nb + 1, 4, 0}, {2 * nb + 20, 2 * nb + 5, 3, 2}};
        for (const Case& s : cases)
            for (Form f : kForms) {
                const bool rows = rowwise(f);
                const int vm = rows ? s.k : s.nq, vn = rows ? s.nq : s.k;
                const auto [v, tau] = factor<T>(f, vm, vn, vm + s.pad, this->rng);
                for (char side : {'L', 'R'}) {
                    const int m = side == 'L' ? s.nq : s.other, n = side == 'L' ? s.other : s.nq;
                    const Matrix<T> c(m, n, m + s.pad, this->rng);
                    for (char trans : {'N', 'T', 'C'}) {
                        Matrix<T> want = c;
                        lapackApply(f, side, trans, m, n, s.k, v.data.data(), v.ld, tau.data(),
                                    want.ptr(), want.ld);
                        for (Api api : kApis) {
                            SCOPED_TRACE(::testing::Message()
                                         << "code " << code << ", " << formName(f) << " " << side
                                         << trans << ", nq " << s.nq << ", k " << s.k << ", "
                                         << blas_test::apiName(api));
                            Matrix<T> got = c, vv = v;
                            std::vector<T> tt = tau;
                            DeviceArrays dev(api);
                            T *pv = dev(vv), *pt = dev(tt), *pc = dev(got);
                            zuliEmuResetCounters();
                            ASSERT_EQ(
                                apply(api, f, side, trans, m, n, s.k, pv, v.ld, pt, pc, got.ld),
                                zuliNoError);
                            expectHostOnly(s.k <= nb);
                            dev.download();
                            EXPECT_LT(relativeError(got, want), 30);
                            EXPECT_EQ(vv.data, v.data) << "A changed";
                        }
                    }
                }
            }
    }
}

// The argument checks of the four forms, in LAPACK's order and with LAPACK's conditions for each
// (column forms: QR, QL; row forms: LQ, RQ), through both interfaces; empty problems return
// before the pointers are checked and do nothing.
TYPED_TEST(QTyped, ArgumentTables) {
    using T = TypeParam;
    std::vector<T> a(64), tau(8), c(64);
    T *pa = a.data(), *pt = tau.data(), *pc = c.data();
    struct GenerateRow {
        int m, n, k, lda;
        T *a, *tau;
        int columnsInfo, rowsInfo;  // 0: zuliNoError
    } generateRows[] = {
        {-1, 2, 1, 5, pa, pt, -1, -1},
        {3, 4, 1, 3, nullptr, pt, -2, -4},  // n > m: the column forms only
        {4, 3, 1, 4, nullptr, pt, -4, -2},  // n < m: the row forms only
        {4, -1, 0, 4, pa, pt, -2, -2},
        {5, 3, 4, 5, pa, pt, -3, -2},  // k > n
        {3, 5, 4, 3, pa, pt, -2, -3},  // k > m
        {4, 4, -1, 4, pa, pt, -3, -3},
        {4, 4, 2, 3, nullptr, nullptr, -5, -5},
        {3, 0, 0, 3, nullptr, nullptr, 0, -2},  // no columns of Q: nothing to do
        {0, 3, 0, 1, nullptr, nullptr, -2, 0},  // no rows of Q
        {0, 0, 0, 1, nullptr, nullptr, 0, 0},
        {4, 4, 2, 4, nullptr, pt, -4, -4},
        {4, 4, 0, 4, pa, nullptr, -6, -6},  // tau is checked even without reflectors
    };
    for (const GenerateRow& r : generateRows)
        for (Form f : kForms)
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message()
                             << "generate " << formName(f) << " " << r.m << " " << r.n << " " << r.k
                             << " " << r.lda << " " << blas_test::apiName(api));
                const int info = rowwise(f) ? r.rowsInfo : r.columnsInfo;
                zuliEmuResetCounters();
                EXPECT_EQ(generate(api, f, r.m, r.n, r.k, r.a, r.lda, r.tau),
                          info == 0 ? zuliNoError : zuliArgumentError);
                EXPECT_EQ(zuliGetErrorInfo(), info);
                blas_test::expectNoWork();
            }
    struct ApplyRow {
        char side, trans;
        int m, n, k, lda;
        T *a, *tau, *c;
        int ldc, columnsInfo, rowsInfo;
    } applyRows[] = {
        {'X', 'N', 4, 4, 1, 4, pa, pt, pc, 4, -1, -1},
        {'L', 'X', 4, 4, 1, 4, pa, pt, pc, 4, -2, -2},
        {'L', 'N', -1, 4, 1, 4, pa, pt, pc, 4, -3, -3},
        {'L', 'N', 4, -1, 1, 4, pa, pt, pc, 4, -4, -4},
        {'L', 'N', 4, 6, 5, 6, pa, pt, pc, 4, -5, -5},  // k > nq = m
        {'R', 'T', 6, 4, 5, 6, pa, pt, pc, 6, -5, -5},  // k > nq = n
        {'L', 'N', 4, 4, -1, 4, pa, pt, pc, 4, -5, -5},
        {'R', 'N', 6, 4, 2, 3, nullptr, pt, pc, 6, -7, -6},  // side R: lda against n (or k)
        {'L', 'N', 6, 4, 2, 5, nullptr, pt, pc, 6, -7, -6},  // side L: lda against m (or k)
        {'L', 'N', 6, 4, 2, 1, nullptr, pt, pc, 6, -7, -7},
        {'R', 'C', 6, 4, 2, 6, nullptr, pt, pc, 5, -10, -10},
        {'l', 't', 0, 4, 0, 1, nullptr, nullptr, nullptr, 1, 0, 0},
        {'r', 'c', 4, 0, 0, 1, nullptr, nullptr, nullptr, 4, 0, 0},
        {'L', 'T', 4, 4, 0, 4, nullptr, nullptr, nullptr, 4, 0, 0},
        {'L', 'N', 4, 4, 2, 4, nullptr, pt, pc, 4, -6, -6},
        {'L', 'N', 4, 4, 2, 4, pa, nullptr, pc, 4, -8, -8},
        {'L', 'T', 4, 4, 2, 4, pa, pt, nullptr, 4, -9, -9},
    };
    for (const ApplyRow& r : applyRows)
        for (Form f : kForms)
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message()
                             << "apply " << formName(f) << " " << r.side << r.trans << " " << r.m
                             << " " << r.n << " " << r.k << " " << r.lda << " " << r.ldc << " "
                             << blas_test::apiName(api));
                const int info = rowwise(f) ? r.rowsInfo : r.columnsInfo;
                zuliEmuResetCounters();
                EXPECT_EQ(
                    apply(api, f, r.side, r.trans, r.m, r.n, r.k, r.a, r.lda, r.tau, r.c, r.ldc),
                    info == 0 ? zuliNoError : zuliArgumentError);
                EXPECT_EQ(zuliGetErrorInfo(), info);
                blas_test::expectNoWork();
            }
}

// The bytes on the bus of a device orgqr and ormqr in D of 1024 x 512 with k = 512: the k tau
// values once, and per block its panel (down and up; orgqr's blocks that update columns on their
// right read it twice) and its T; orgqr's trailing block once each way. Nothing else moves.
TEST_F(SolverTest, DeviceOrgqrAndOrmqrMoveOnlyPanelsAndT) {
    SKIP_ON_A_REAL_GPU();
    const int m = 1024, n = 512, k = 512, nb = zuli::qrBlockSize<double>(90);
    const double e = sizeof(double);
    auto [a, tau] = factor<double>(Form::QR, m, n, m, rng);
    Matrix<double> c(m, n, m, rng);
    DeviceArrays dev(Api::Device);
    double *da = dev(a), *dt = dev(tau), *dc = dev(c);

    zuliEmuResetCounters();
    ASSERT_EQ(zuliDeviceDormqr('L', 'N', m, n, k, da, m, dt, dc, m), zuliNoError);
    double want = k * e;
    for (int i = 0; i < k; i += nb) want += (2.0 * (m - i) * std::min(nb, k - i) + nb * nb) * e;
    auto cnt = counters();
    double bus = double(cnt.h2dBytes + cnt.d2hBytes);
    EXPECT_LT(std::abs(bus - want), 0.1 * want) << "ormqr: " << bus << " bytes on the bus";
    EXPECT_EQ(cnt.d2dBytes, 0u);

    zuliEmuResetCounters();
    ASSERT_EQ(zuliDeviceDorgqr(m, n, k, da, m, dt), zuliNoError);
    const int ki = (k - nb - 1) / nb * nb, kk = std::min(k, ki + nb);
    want = k * e + 2.0 * (m - kk) * (n - kk) * e;
    for (int i = ki; i >= 0; i -= nb) {
        const int ib = std::min(nb, k - i);
        if (i + ib < n) want += (double(m - i) * ib + ib * ib) * e;
        want += 2.0 * (m - i) * ib * e;
    }
    cnt = counters();
    bus = double(cnt.h2dBytes + cnt.d2hBytes);
    EXPECT_LT(std::abs(bus - want), 0.1 * want) << "orgqr: " << bus << " bytes on the bus";
    EXPECT_EQ(cnt.d2dBytes, 0u);
}

// Every allocation, cuBLAS call and CUDA call that ormqr and orgqr reach, failing in turn, on the
// host-only and the blocked paths: the status of the fault, no device memory left behind, and host
// arrays either as they were or the complete result. The device interface runs the same body as
// the host one after its mirrors, so its blocked path is swept through the host interface only.
TEST_F(SolverTest, OrmqrAndOrgqrFailureSweeps) {
    SKIP_ON_A_REAL_GPU();
    const int nb = zuli::qrBlockSize<double>(90);
    for (int k : {nb / 2, nb + 1}) {
        const int m = k + 9, n = 6;
        auto [v, tau] = factor<double>(Form::QR, m, k, m, rng);
        // ormqr on C (n x m, side R) and orgqr on a copy of the reflectors (k columns).
        struct Routine {
            const char* name;
            Matrix<double> original;
            std::function<zuliStatus(Api, double*, double*, double*)> call;
        } routines[] = {
            {"ormqr", Matrix<double>(n, m, n, rng),
             [&](Api api, double* pv, double* pt, double* pc) {
                 return (api == Api::Host ? zuliDormqr : zuliDeviceDormqr)('R', 'T', n, m, k, pv, m,
                                                                           pt, pc, n);
             }},
            {"orgqr", v,
             [&](Api api, double*, double* pt, double* pq) {
                 return (api == Api::Host ? zuliDorgqr : zuliDeviceDorgqr)(m, k, k, pq, m, pt);
             }},
        };
        for (Routine& r : routines)
            for (Api api : kApis) {
                if (api == Api::Device && k > nb) continue;
                SCOPED_TRACE(::testing::Message()
                             << r.name << ", k " << k << ", " << blas_test::apiName(api));
                Matrix<double> result = r.original, vv = v;
                std::vector<double> tt = tau;
                {
                    DeviceArrays dev(api);
                    ASSERT_EQ(r.call(api, dev(vv), dev(tt), dev(result)), zuliNoError);
                    dev.download();
                }
                Matrix<double> x = r.original;
                std::unique_ptr<DeviceArrays> dev;
                double *pv = nullptr, *pt = nullptr, *px = nullptr;
                const int failures = sweepFailures(
                    [&] {
                        x = r.original;
                        vv = v;
                        tt = tau;
                        dev = std::make_unique<DeviceArrays>(api);
                        pv = (*dev)(vv);
                        pt = (*dev)(tt);
                        px = (*dev)(x);
                    },
                    [&] { return r.call(api, pv, pt, px); },
                    [&](const Fault&) {
                        if (api != Api::Host) return;
                        EXPECT_TRUE(x.data == r.original.data || x.data == result.data);
                    });
                dev.reset();
                EXPECT_GT(failures, 3);
            }
    }
}

}  // namespace
