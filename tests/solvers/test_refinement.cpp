// Mixed-precision refinement (dsgesv, zcgesv, dsposv, zcposv): convergence with a unchanged,
// the iter codes of overflow, a singular factor and the double-precision fallback, argument
// tables, and a failure sweep.
#include "solvers/solver_support.h"

#include "runtime/host_call.h"

namespace {

using namespace solver_test;
using blas_test::pub;

// One routine: D the double-precision type, the LU or the Cholesky variant.
template <typename D, bool IsCholesky>
struct Routine {
    using T = D;
    static constexpr bool cholesky = IsCholesky;
};
using Routines = ::testing::Types<Routine<double, false>, Routine<Complex<double>, false>,
                                  Routine<double, true>, Routine<Complex<double>, true>>;

// The single-precision type of D.
template <typename D>
using Single = std::conditional_t<zuli::IsComplexV<D>, Complex<float>, float>;

// What a call left: status, info, *iter and the arrays.
template <typename D>
struct Outcome {
    zuliStatus status = zuliNoError;
    int info = 0, iter = 0;
    Matrix<D> a, x;
    std::vector<int> piv;
};

constexpr int kIterUnset = 1234;

// Runs the routine through `api` on copies of a and b; x starts as `x0` (a sentinel pattern) and
// ipiv as -7s. b must come back unchanged.
template <typename R>
Outcome<typename R::T> solve(Api api, char uplo, const Matrix<typename R::T>& a,
                             const Matrix<typename R::T>& b, const Matrix<typename R::T>& x0) {
    using T = typename R::T;
    Outcome<T> o{zuliNoError, 0, kIterUnset, a, x0, std::vector<int>(size_t(a.n), -7)};
    Matrix<T> bCopy = b;
    {
        DeviceArrays dev(api);
        T* pa = dev(o.a);
        T* pb = dev(bCopy);
        T* px = dev(o.x);
        int* pp = dev(o.piv);
        const int n = a.n, nrhs = b.n;
        if constexpr (R::cholesky) {
            auto* f = api == Api::Host
                          ? pick<T>(nullptr, zuliDsposv, nullptr, zuliZcposv)
                          : pick<T>(nullptr, zuliDeviceDsposv, nullptr, zuliDeviceZcposv);
            o.status = f(uplo, n, nrhs, pub(pa), a.ld, pub(pb), b.ld, pub(px), x0.ld, &o.iter);
        } else {
            auto* f = api == Api::Host
                          ? pick<T>(nullptr, zuliDsgesv, nullptr, zuliZcgesv)
                          : pick<T>(nullptr, zuliDeviceDsgesv, nullptr, zuliDeviceZcgesv);
            o.status = f(n, nrhs, pub(pa), a.ld, pp, pub(pb), b.ld, pub(px), x0.ld, &o.iter);
        }
        o.info = zuliGetErrorInfo();
        dev.download();
    }
    EXPECT_EQ(bCopy.data, b.data) << "b was written";
    return o;
}

// The system of a test: A (general, or Hermitian positive definite with its other triangle
// holding `poison`), B and a starting X.
template <typename D>
struct System {
    Matrix<D> a, b, x0;
};

template <typename R>
class RefinementTyped : public SolverTest {
  protected:
    using T = typename R::T;

    // A well-conditioned matrix of order n with lda = n + 2: for LU one whose pivots no near tie
    // decides (clearPivots, the rows `fixed` in place), for Cholesky a Hermitian one with a
    // shifted diagonal whose unused triangle holds `poison`.
    Matrix<T> wellConditioned(int n, char uplo, double poison = 1e39,
                              const std::vector<int>& fixed = {}) {
        if constexpr (!R::cholesky) return clearPivots<T>(n, n, n + 2, rng, fixed);
        Matrix<T> a(n, n, n + 2, rng);
        a.shiftDiagonal(n);
        for (int j = 0; j < n; ++j) {
            a(j, j) = T(zuli::real(a(j, j)));
            for (int i = j + 1; i < n; ++i) {
                a(j, i) = zuli::conj(a(i, j));
                (uplo == 'U' ? a(i, j) : a(j, i)) = T(poison);
            }
        }
        return a;
    }
    // The full matrix a stands for (the stored triangle mirrored for Cholesky).
    Matrix<T> full(const Matrix<T>& a, char uplo) const {
        Matrix<T> f = a;
        if constexpr (R::cholesky)
            for (int j = 0; j < a.n; ++j)
                for (int i = j + 1; i < a.n; ++i) {
                    if (uplo == 'U')
                        f(i, j) = zuli::conj(a(j, i));
                    else
                        f(j, i) = zuli::conj(a(i, j));
                }
        return f;
    }
    System<T> system(const Matrix<T>& a, int nrhs) {
        System<T> s{a, Matrix<T>(a.n, nrhs, a.n + 1, rng), Matrix<T>(a.n, nrhs, a.n + 3)};
        std::fill(s.x0.data.begin(), s.x0.data.end(), T(-5));
        return s;
    }
    // X diag(sigma) Y for random X and Y with shifted diagonals (well conditioned): a general
    // matrix whose condition is about max(sigma) / min(sigma), lda = n.
    Matrix<T> withSpectrum(const std::vector<double>& sigma) {
        const int n = int(sigma.size());
        Matrix<T> a(n, n, n), x(n, n, rng), y(n, n, rng);
        x.shiftDiagonal(n / 2.0);
        y.shiftDiagonal(n / 2.0);
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i) {
                a(i, j) = T(0);
                for (int k = 0; k < n; ++k) a(i, j) += x(i, k) * T(sigma[size_t(k)]) * y(k, j);
            }
        return a;
    }
    // The single-precision block size of the factorization on the default device.
    static int singleBlock() { return zuli::factorBlockSize<Single<T>>(90); }
};
TYPED_TEST_SUITE(RefinementTyped, Routines);

// The pivots of the host LAPACK's single-precision LU of a.
template <typename T>
std::vector<int> singlePivots(const Matrix<T>& a) {
    Matrix<Single<T>> s(a.n, a.n, a.n);
    for (int j = 0; j < a.n; ++j)
        for (int i = 0; i < a.n; ++i) s(i, j) = Single<T>(a(i, j));
    std::vector<int> piv(size_t(a.n));
    zuli::lapack::getrf(a.n, a.n, s.ptr(), s.ld, piv.data());
    return piv;
}

TYPED_TEST(RefinementTyped, WellConditionedSystemsConvergeAndLeaveAUnchanged) {
    using T = typename TypeParam::T;
    const std::vector<char> uplos =
        TypeParam::cholesky ? std::vector<char>{'L', 'U'} : std::vector<char>{'N'};
    for (int n : {9, this->singleBlock() + 8}) {
        for (char uplo : uplos) {
            const System<T> s = this->system(this->wellConditioned(n, uplo), 3);
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message()
                             << "n " << n << " uplo " << uplo << " " << blas_test::apiName(api));
                const Outcome<T> o = solve<TypeParam>(api, uplo, s.a, s.b, s.x0);
                ASSERT_EQ(o.status, zuliNoError);
                EXPECT_GE(o.iter, 0);
                EXPECT_LE(o.iter, 2);
                EXPECT_EQ(o.a.data, s.a.data);
                EXPECT_LT(solveResidual(this->full(s.a, uplo), o.x, s.b), 30);
                if (!TypeParam::cholesky) {
                    EXPECT_EQ(o.piv, singlePivots(s.a));
                }
            }
        }
    }
}

// Failures before any refinement: a value beyond single precision in B or in (the stored
// triangle of) A (iter -2, info 1), and a single-precision factor that is singular (LU, a zero
// column: info 5) or not positive definite (Cholesky, a negative third diagonal element: info 3)
// (iter -3). Nothing is solved; only the pivots of the failed factorization are written.
TYPED_TEST(RefinementTyped, FailuresBeforeRefinementEndTheCall) {
    using T = typename TypeParam::T;
    constexpr bool cholesky = TypeParam::cholesky;
    enum Kind { HugeB, HugeA, Singular };
    for (Kind kind : {HugeB, HugeA, Singular}) {
        for (char uplo : {'L', 'U'}) {
            System<T> s = this->system(this->wellConditioned(12, uplo, 0.5, {4}), 2);
            if (kind == HugeB) s.b(3, 1) = T(-1e39);
            if (kind == HugeA) (uplo == 'U' ? s.a(2, 5) : s.a(5, 2)) = T(1e39);
            if (kind == Singular && cholesky) s.a(2, 2) = T(-1);
            if (kind == Singular && !cholesky)
                for (int i = 0; i < 12; ++i) s.a(i, 4) = T(0);
            const bool overflow = kind != Singular;
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message()
                             << kind << " " << uplo << " " << blas_test::apiName(api));
                const Outcome<T> o = solve<TypeParam>(api, uplo, s.a, s.b, s.x0);
                EXPECT_EQ(o.status, zuliDataError);
                EXPECT_EQ(o.info, overflow ? 1 : cholesky ? 3 : 5);
                EXPECT_EQ(o.iter, overflow ? -2 : -3);
                EXPECT_EQ(o.a.data, s.a.data);
                EXPECT_EQ(o.x.data, s.x0.data);
                EXPECT_EQ(o.piv,
                          overflow || cholesky ? std::vector<int>(12, -7) : singlePivots(s.a));
            }
            if (!cholesky) break;
        }
    }
}

// Two systems single precision cannot refine: right-hand sides below its normal range (its
// corrections lose all their digits), and for LU a matrix of condition 1e9 (for Cholesky such a
// matrix is rarely positive definite in single precision). The result is the double-precision
// solution, and a holds a double-precision factorization of the same matrix: the host LAPACK's,
// where no near tie can decide a pivot (the matrix of condition 1e9 is not built to avoid them).
TYPED_TEST(RefinementTyped, SystemsSinglePrecisionCannotRefineFallBackToDoublePrecision) {
    using T = typename TypeParam::T;
    const int n = 24;
    for (int kind = 0; kind < (TypeParam::cholesky ? 1 : 2); ++kind) {
        for (char uplo : {'L', 'U'}) {
            std::vector<double> sigma(size_t(n), 1.0);
            for (int i = 1; i < n; i += 6) sigma[size_t(i)] = 1e-9;
            System<T> s = this->system(
                kind == 0 ? this->wellConditioned(n, uplo, 7) : this->withSpectrum(sigma), 2);
            if (kind == 0)
                for (T& v : s.b.data) v = v * T(1e-41);
            Matrix<T> factors = s.a;
            std::vector<int> pivots(size_t(n), -7);
            if constexpr (TypeParam::cholesky)
                ASSERT_EQ(zuli::lapack::potrf(uplo, n, factors.ptr(), factors.ld), 0);
            else
                ASSERT_EQ(zuli::lapack::getrf(n, n, factors.ptr(), factors.ld, pivots.data()), 0);
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message() << (kind ? "ill-conditioned " : "tiny b ") << uplo
                                                  << " " << blas_test::apiName(api));
                const Outcome<T> o = solve<TypeParam>(api, uplo, s.a, s.b, s.x0);
                ASSERT_EQ(o.status, zuliNoError);
                EXPECT_EQ(o.iter, -31);
                EXPECT_LT(solveResidual(this->full(s.a, uplo), o.x, s.b), 30);
                if (!TypeParam::cholesky) {
                    EXPECT_LT(luResidual(s.a, o.a, o.piv), 30);
                }
                if (kind == 0) {
                    EXPECT_LT(relativeError(o.a, factors), 40);
                    EXPECT_EQ(o.piv, pivots);
                }
            }
            if (!TypeParam::cholesky) break;
        }
    }
}

// One table for both routines (the checks are shared by the precisions), through both
// interfaces: the info of the first bad argument, nothing done, *iter untouched also for an
// empty problem.
TEST_F(SolverTest, MixedPrecisionArgumentTables) {
    double a[4] = {4, 1, 1, 3}, b[2] = {1, 2}, x[2] = {};
    int ipiv[2] = {};
    struct Row {
        const char* what;
        int n, nrhs, lda, ldb, ldx;
        char uplo;
        bool nullA, nullB, nullX, nullIter, nullPiv;
        int gesvInfo, posvInfo;  // 1 for an empty problem (success)
    } rows[] = {
        {"n", -1, -1, 0, 0, 0, 'L', false, false, false, false, false, -1, -2},
        {"nrhs", 2, -1, 2, 2, 2, 'L', false, false, false, false, false, -2, -3},
        {"lda", 2, 1, 1, 2, 2, 'L', true, false, false, false, false, -4, -5},
        {"ldb", 2, 1, 2, 1, 2, 'L', true, true, false, false, false, -7, -7},
        {"ldx", 2, 1, 2, 2, 1, 'L', true, true, true, false, false, -9, -9},
        {"nrhs 0", 2, 0, 2, 2, 2, 'u', true, true, true, true, true, 1, 1},
        {"n 0", 0, 3, 1, 1, 1, 'l', true, true, true, true, true, 1, 1},
        {"a", 2, 1, 2, 2, 2, 'L', true, false, false, false, false, -3, -4},
        {"ipiv", 2, 1, 2, 2, 2, 'L', false, false, false, false, true, -5, 1},
        {"b", 2, 1, 2, 2, 2, 'L', false, true, false, false, false, -6, -6},
        {"x", 2, 1, 2, 2, 2, 'L', false, false, true, false, false, -8, -8},
        {"iter", 2, 1, 2, 2, 2, 'L', false, false, false, true, false, -10, -10},
        {"uplo", 2, 1, 2, 2, 2, 'x', false, false, false, false, false, 1, -1},
    };
    for (const Row& r : rows) {
        for (Api api : kApis) {
            for (bool cholesky : {false, true}) {
                const int info = cholesky ? r.posvInfo : r.gesvInfo;
                // A row that is fine for the routine would solve: not what this table is for.
                if (info == 1 && r.n > 0 && r.nrhs > 0) continue;
                SCOPED_TRACE(::testing::Message() << r.what << (cholesky ? " posv " : " gesv ")
                                                  << blas_test::apiName(api));
                int iter = kIterUnset;
                double* pa = r.nullA ? nullptr : a;
                const double* pb = r.nullB ? nullptr : b;
                double* px = r.nullX ? nullptr : x;
                int* pi = r.nullIter ? nullptr : &iter;
                zuliEmuResetCounters();
                const zuliStatus status =
                    cholesky ? (api == Api::Host ? zuliDsposv : zuliDeviceDsposv)(
                                   r.uplo, r.n, r.nrhs, pa, r.lda, pb, r.ldb, px, r.ldx, pi)
                             : (api == Api::Host ? zuliDsgesv : zuliDeviceDsgesv)(
                                   r.n, r.nrhs, pa, r.lda, r.nullPiv ? nullptr : ipiv, pb, r.ldb,
                                   px, r.ldx, pi);
                EXPECT_EQ(status, info == 1 ? zuliNoError : zuliArgumentError);
                EXPECT_EQ(zuliGetErrorInfo(), info == 1 ? 0 : info);
                EXPECT_EQ(iter, kIterUnset);
                blas_test::expectNoWork();
            }
        }
    }
}

// Every allocation, cuBLAS call and CUDA call dsgesv reaches on a system that converges,
// failing in turn, and the last cuBLAS call of one that falls back to double precision, through
// both interfaces: the status of the fault, no device memory left behind (the work space
// included), and host arrays that hold either what they held or the complete result.
TEST_F(SolverTest, DsgesvFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    using R = Routine<double, false>;
    const int n = 40;
    Matrix<double> a0(n, n, n + 1, rng);
    a0.shiftDiagonal(n);
    const Matrix<double> b(n, 2, n, rng), x0(n, 2, n);
    Matrix<double> tinyB = b;
    for (double& v : tinyB.data) v *= 1e-41;
    for (Api api : kApis) {
        SCOPED_TRACE(blas_test::apiName(api));
        Matrix<double> a = a0, x = x0, rhs = b;
        std::vector<int> piv;
        int iter = kIterUnset;
        std::unique_ptr<DeviceArrays> dev;
        double *pa = nullptr, *pb = nullptr, *px = nullptr;
        int* pp = nullptr;
        Outcome<double> want = solve<R>(api, 'N', a0, b, x0);
        ASSERT_EQ(want.status, zuliNoError);
        auto prepare = [&] {
            a = a0;
            x = x0;
            piv.assign(size_t(n), -7);
            dev = std::make_unique<DeviceArrays>(api);
            pa = (*dev)(a);
            pb = (*dev)(rhs);
            px = (*dev)(x);
            pp = (*dev)(piv);
        };
        auto call = [&] {
            return (api == Api::Host ? zuliDsgesv : zuliDeviceDsgesv)(n, 2, pa, a.ld, pp, pb,
                                                                      rhs.ld, px, x.ld, &iter);
        };
        auto check = [&] {
            if (api != Api::Host) return;
            EXPECT_TRUE(a.data == a0.data || a.data == want.a.data);
            EXPECT_TRUE(x.data == x0.data || x.data == want.x.data);
            EXPECT_TRUE(piv == std::vector<int>(size_t(n), -7) || piv == want.piv);
        };
        EXPECT_GT(sweepFailures(prepare, call, [&](const Fault&) { check(); }), 3);

        rhs = tinyB;
        want = solve<R>(api, 'N', a0, rhs, x0);
        ASSERT_EQ(want.iter, -31);
        prepare();
        zuliEmuResetCounters();
        ASSERT_EQ(call(), zuliNoError);
        const auto blasCalls = counters().blasCalls;
        prepare();
        zuliFreeBuffers();
        const auto live = counters().liveDeviceBytes;
        zuliEmuFailBlasCall(nullptr, int(blasCalls), CUBLAS_STATUS_EXECUTION_FAILED);
        EXPECT_EQ(call(), zuliBlasError);
        EXPECT_EQ(iter, -31);
        zuliFreeBuffers();
        EXPECT_EQ(counters().liveDeviceBytes, live);
        check();
        dev.reset();
    }
}

}  // namespace
