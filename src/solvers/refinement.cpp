// refinement.cpp - mixed-precision solvers: A X = B in double precision (real or complex) from a
// single-precision factorization of A, refined with double-precision residuals. dsgesv / zcgesv
// work with LU and partial pivoting, dsposv / zcposv with the Cholesky factor of a symmetric or
// Hermitian positive definite A given by one triangle.
//
// The scheme, the same for both factorizations:
//
//     cte = ||A||_inf * eps * sqrt(n)                       (eps the literal below)
//     B_s = single(B), A_s = single(A), factor A_s         (an overflow or a singular factor ends
//     X = double(solve(A_s, B_s))                            the call, no fallback)
//     R = B - A X                                          (double precision, on the GPU)
//     until every column has max |r_ij|^2 <= cte * max |x_ij|^2 * cte, at most 30 times:
//         X += double(solve(A_s, single(R))), R = B - A X
//     no convergence: factor A in double precision in place and X = solve(A, B)
//
// The convergence test runs on the host on squared moduli (re^2 + im^2, not |re| + |im|): X and R
// cross the bus once per test. Only the single-precision factorization is O(n^3) on the fast path.
//
// *iter (a host pointer in both interfaces) receives the number of corrections, or
//     -2   a value of B, A or a residual is beyond single precision (zuliDataError, info 1),
//     -3   the single-precision factor is singular / not positive definite (its zuliDataError),
//    -31   refinement did not converge; the double-precision solution is returned, and a holds
//          the double-precision factors (then ipiv their pivots).
// a is otherwise left as it was (the single-precision factors live in work space); ipiv holds
// the pivots of the factorization that ran last. *iter is untouched by an empty problem.
//
// Work space comes from the device pool: the single-precision copy of A (n x n), single-precision
// right-hand sides and corrections (n x nrhs), the double-precision residual (n x nrhs) and the
// norm's partial results. It returns to the pool on every path.
#include "solvers/solvers.h"

#include "auxiliary/auxiliary.h"
#include "blas/cublas.h"
#include "kernels/utility_kernels.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/memory.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace zuli {

namespace {

// Corrections tried before the double-precision fallback.
constexpr int kMaxCorrections = 30;
// The rounding unit of double precision, as this decimal literal (slightly above 2^-53): the
// convergence test uses exactly this value.
constexpr double kRoundingUnit = 1.110223025e-16;

constexpr int kIterOverflow = -2;
constexpr int kIterSingularFactor = -3;
constexpr int kIterNoConvergence = -31;

// The single-precision type of a double-precision one.
template <typename D>
using SingleOf = std::conditional_t<IsComplexV<D>, Complex<float>, float>;

// Runs `step`; when it ends with zuliDataError, *iter = code before the error goes on.
template <typename Step>
void recordingDataError(int* iter, int code, Step&& step) {
    try {
        step();
    } catch (const InfoException& e) {
        if (e.status() == zuliDataError) *iter = code;
        throw;
    }
}

// The scalar result of a device reduction, and the work space it needs, from the pool.
class DeviceNorm {
  public:
    DeviceNorm(const CallContext& ctx, int64_t workElements)
        : buffer_(acquireWorkspace<double>(ctx, workElements + 1)) {}
    double* work() const { return buffer_.get() + 1; }
    double* result() const { return buffer_.get(); }
    double read() const {
        double value = 0;
        cudalib::checkCuda(cudaMemcpy(&value, result(), sizeof(double), cudaMemcpyDeviceToHost));
        return value;
    }

  private:
    DeviceBuffer<double> buffer_;
};

// The factorization-specific steps of the scheme for a general matrix: LU with partial
// pivoting, pivots into ipiv.
struct LuSteps {
    const CallContext& ctx;
    int* ipiv;

    template <typename D>
    double norm(int n, const D* a, int lda) const {
        const DeviceNorm scratch(ctx, langeWorkspace('I', n, n));
        launchLange('I', n, n, a, lda, scratch.work(), scratch.result());
        return scratch.read();
    }
    template <typename D, typename S>
    void narrow(int n, const D* a, int lda, S* sa, int ldsa) const {
        lag2<D, S>(ctx, n, n, a, lda, sa, ldsa);
    }
    template <typename T>
    void factor(int n, T* a, int lda) const {
        getrf<T>(ctx, n, n, a, lda, ipiv);
    }
    template <typename T>
    void solve(int n, int nrhs, const T* f, int ldf, T* b, int ldb) const {
        getrs<T>(ctx, 'N', n, nrhs, f, ldf, ipiv, b, ldb);
    }
    // R = R - A X.
    template <typename D>
    void subtractProduct(int n, int nrhs, const D* a, int lda, const D* x, int ldx, D* r,
                         int ldr) const {
        const D one(1), minusOne(-1);
        blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, n, nrhs, n, &minusOne, a, lda, x, ldx, &one, r,
                   ldr);
    }
};

// The same for a symmetric / Hermitian positive definite matrix given by its uplo triangle: only
// that triangle is read, converted and factored.
struct CholeskySteps {
    const CallContext& ctx;
    char uplo;

    template <typename D>
    double norm(int n, const D* a, int lda) const {
        const DeviceNorm scratch(ctx, n);
        launchLanheOne(uplo == 'U', n, a, lda, scratch.work(), scratch.result());
        return scratch.read();
    }
    template <typename D, typename S>
    void narrow(int n, const D* a, int lda, S* sa, int ldsa) const {
        lat2<D, S>(ctx, uplo, n, a, lda, sa, ldsa);
    }
    template <typename T>
    void factor(int n, T* a, int lda) const {
        potrf<T>(ctx, uplo, n, a, lda);
    }
    template <typename T>
    void solve(int n, int nrhs, const T* f, int ldf, T* b, int ldb) const {
        potrs<T>(ctx, uplo, n, nrhs, f, ldf, b, ldb);
    }
    template <typename D>
    void subtractProduct(int n, int nrhs, const D* a, int lda, const D* x, int ldx, D* r,
                         int ldr) const {
        const D one(1), minusOne(-1);
        blas::hemm(ctx, CUBLAS_SIDE_LEFT, blas::toFillMode(uplo), n, nrhs, &minusOne, a, lda, x,
                   ldx, &one, r, ldr);
    }
};

// The convergence test on the host: passes when no column j has
// max_i |r_ij|^2 > cte * max_i |x_ij|^2 * cte.
template <typename D>
class ConvergenceTest {
  public:
    ConvergenceTest(int n, int nrhs, double cte)
        : n_(n), nrhs_(nrhs), cte_(cte), x_(size_t(n) * nrhs), r_(size_t(n) * nrhs) {}

    bool operator()(const D* x, int ldx, const D* r, int ldr) {
        download(x, ldx, x_);
        download(r, ldr, r_);
        for (int j = 0; j < nrhs_; ++j) {
            const double xmax = largestSquaredModulus(x_, j);
            const double rmax = largestSquaredModulus(r_, j);
            if (rmax > cte_ * xmax * cte_) return false;
        }
        return true;
    }

  private:
    void download(const D* device, int ld, std::vector<D>& host) const {
        cudalib::checkCuda(cudaMemcpy2D(host.data(), size_t(n_) * sizeof(D), device,
                                        size_t(ld) * sizeof(D), size_t(n_) * sizeof(D), nrhs_,
                                        cudaMemcpyDeviceToHost));
    }
    double largestSquaredModulus(const std::vector<D>& m, int j) const {
        double largest = 0;
        const D* column = m.data() + size_t(j) * n_;
        for (int i = 0; i < n_; ++i) largest = std::max(largest, double(norm(column[i])));
        return largest;
    }

    int n_, nrhs_;
    double cte_;
    std::vector<D> x_, r_;
};

// The scheme of the file comment, with the factorization's steps.
template <typename D, typename Steps>
void refine(const CallContext& ctx, const Steps& steps, int n, int nrhs, D* a, int lda, const D* b,
            int ldb, D* x, int ldx, int* iter) {
    using S = SingleOf<D>;
    const DeviceBuffer<S> singleA = acquireWorkspace<S>(ctx, int64_t(n) * n);
    const DeviceBuffer<S> singleX = acquireWorkspace<S>(ctx, int64_t(n) * nrhs);
    const DeviceBuffer<D> residual = acquireWorkspace<D>(ctx, int64_t(n) * nrhs);
    S* sa = singleA.get();
    S* sx = singleX.get();
    D* r = residual.get();

    const double cte = steps.norm(n, a, lda) * kRoundingUnit * std::sqrt(double(n));
    ConvergenceTest<D> converged(n, nrhs, cte);
    // R = B - A X, then the test.
    auto residualConverged = [&] {
        lacpy<D>(ctx, 'A', n, nrhs, b, ldb, r, n);
        steps.subtractProduct(n, nrhs, a, lda, x, ldx, r, n);
        return converged(x, ldx, r, n);
    };

    // The single-precision solution.
    recordingDataError(iter, kIterOverflow, [&] { lag2<D, S>(ctx, n, nrhs, b, ldb, sx, n); });
    recordingDataError(iter, kIterOverflow, [&] { steps.narrow(n, a, lda, sa, n); });
    recordingDataError(iter, kIterSingularFactor, [&] { steps.factor(n, sa, n); });
    steps.solve(n, nrhs, sa, n, sx, n);
    lag2<S, D>(ctx, n, nrhs, sx, n, x, ldx);
    if (residualConverged()) {
        *iter = 0;
        return;
    }

    // Corrections: X += solve(A_s, single(R)), the double-precision correction staged in R.
    for (int it = 1; it <= kMaxCorrections; ++it) {
        recordingDataError(iter, kIterOverflow, [&] { lag2<D, S>(ctx, n, nrhs, r, n, sx, n); });
        steps.solve(n, nrhs, sa, n, sx, n);
        lag2<S, D>(ctx, n, nrhs, sx, n, r, n);
        launchAddMatrix('N', 'N', n, nrhs, r, n, x, ldx);
        if (residualConverged()) {
            *iter = it;
            return;
        }
    }

    // Single precision cannot refine this system: solve it in double precision.
    *iter = kIterNoConvergence;
    steps.factor(n, a, lda);
    lacpy<D>(ctx, 'A', n, nrhs, b, ldb, x, ldx);
    steps.solve(n, nrhs, a, lda, x, ldx);
}

}  // namespace

// ---- argument checks ----------------------------------------------------------------------------

// dsgesv / zcgesv (n, nrhs, a, lda, ipiv, b, ldb, x, ldx, iter):
//   n < 0 -1, nrhs < 0 -2, lda < max(1, n) -4, ldb < max(1, n) -7, ldx < max(1, n) -9;
//   n = 0 or nrhs = 0: empty; a null -3, ipiv null -5, b null -6, x null -8, iter null -10.
bool mixedGesvArguments(int n, int nrhs, const void* a, int lda, const void* ipiv, const void* b,
                        int ldb, const void* x, int ldx, const int* iter) {
    failIf(n < 0, 1);
    failIf(nrhs < 0, 2);
    failIf(lda < std::max(1, n), 4);
    failIf(ldb < std::max(1, n), 7);
    failIf(ldx < std::max(1, n), 9);
    if (n == 0 || nrhs == 0) return false;
    failIf(a == nullptr, 3);
    failIf(ipiv == nullptr, 5);
    failIf(b == nullptr, 6);
    failIf(x == nullptr, 8);
    failIf(iter == nullptr, 10);
    return true;
}

// dsposv / zcposv (uplo, n, nrhs, a, lda, b, ldb, x, ldx, iter):
//   uplo not 'U' / 'L' -1, n < 0 -2, nrhs < 0 -3, lda < max(1, n) -5, ldb < max(1, n) -7,
//   ldx < max(1, n) -9; n = 0 or nrhs = 0: empty; a null -4, b null -6, x null -8,
//   iter null -10.
bool mixedPosvArguments(char& uplo, int n, int nrhs, const void* a, int lda, const void* b, int ldb,
                        const void* x, int ldx, const int* iter) {
    choleskySolveArguments(uplo, n, nrhs, lda, ldb);
    failIf(ldx < std::max(1, n), 9);
    if (n == 0 || nrhs == 0) return false;
    failIf(a == nullptr, 4);
    failIf(b == nullptr, 6);
    failIf(x == nullptr, 8);
    failIf(iter == nullptr, 10);
    return true;
}

// ---- the routines -------------------------------------------------------------------------------

template <typename D>
void mixedGesv(const CallContext& ctx, int n, int nrhs, D* a, int lda, int* ipiv, const D* b,
               int ldb, D* x, int ldx, int* iter) {
    if (!mixedGesvArguments(n, nrhs, a, lda, ipiv, b, ldb, x, ldx, iter)) return;
    refine(ctx, LuSteps{ctx, ipiv}, n, nrhs, a, lda, b, ldb, x, ldx, iter);
}

template <typename D>
void mixedPosv(const CallContext& ctx, char uplo, int n, int nrhs, D* a, int lda, const D* b,
               int ldb, D* x, int ldx, int* iter) {
    if (!mixedPosvArguments(uplo, n, nrhs, a, lda, b, ldb, x, ldx, iter)) return;
    refine(ctx, CholeskySteps{ctx, uplo}, n, nrhs, a, lda, b, ldb, x, ldx, iter);
}

// ---- host interface -----------------------------------------------------------------------------
// a is mirrored in and out, b in, and ipiv and x in and out: the device routine may end (a value
// beyond single precision) before it writes them, and the caller then gets back what was there
// rather than uninitialised device memory. A data error still copies the results back, as the
// device routine left them; any other failure leaves the caller's arrays untouched. iter is a
// host pointer in both interfaces and is passed through as it is.

namespace host {

template <typename D>
CallResult mixedGesv(const CallContext& ctx, int n, int nrhs, D* a, int lda, int* ipiv, const D* b,
                     int ldb, D* x, int ldx, int* iter) {
    if (!mixedGesvArguments(n, nrhs, a, lda, ipiv, b, ldb, x, ldx, iter)) return {};
    HostArrayMirror<D> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<int, D> P(ctx, n, 1, ipiv, n, MirrorIn | MirrorOut);
    HostArrayMirror<D> B(ctx, n, nrhs, b, ldb, MirrorIn);
    HostArrayMirror<D> X(ctx, n, nrhs, x, ldx, MirrorIn | MirrorOut);
    return runOnDevice<D>(
        [&](const CallContext& c) {
            zuli::mixedGesv<D>(c, n, nrhs, A.device(), A.ld(), P.device(), B.device(), B.ld(),
                               X.device(), X.ld(), iter);
        },
        P, A, X);
}

template <typename D>
CallResult mixedPosv(const CallContext& ctx, char uplo, int n, int nrhs, D* a, int lda, const D* b,
                     int ldb, D* x, int ldx, int* iter) {
    if (!mixedPosvArguments(uplo, n, nrhs, a, lda, b, ldb, x, ldx, iter)) return {};
    HostArrayMirror<D> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<D> B(ctx, n, nrhs, b, ldb, MirrorIn);
    HostArrayMirror<D> X(ctx, n, nrhs, x, ldx, MirrorIn | MirrorOut);
    return runOnDevice<D>(
        [&](const CallContext& c) {
            zuli::mixedPosv<D>(c, uplo, n, nrhs, A.device(), A.ld(), B.device(), B.ld(), X.device(),
                               X.ld(), iter);
        },
        A, X);
}

}  // namespace host

#define ZULI_REFINEMENT_INSTANCES(T)                                                           \
    template void mixedGesv<T>(const CallContext&, int, int, T*, int, int*, const T*, int, T*, \
                               int, int*);                                                     \
    template void mixedPosv<T>(const CallContext&, char, int, int, T*, int, const T*, int, T*, \
                               int, int*);
ZULI_REFINEMENT_INSTANCES(double)
ZULI_REFINEMENT_INSTANCES(Complex<double>)
#undef ZULI_REFINEMENT_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------
// The double-precision routines of the two mixed pairs: D with S factors, Z with C factors.

#define ZULI_MIXED_GESV_PARAMS \
    (int n, int nrhs, P* a, int lda, int* ipiv, const P* b, int ldb, P* x, int ldx, int* iter)
#define ZULI_MIXED_POSV_PARAMS \
    (char uplo, int n, int nrhs, P* a, int lda, const P* b, int ldb, P* x, int ldx, int* iter)
// zuliDsgesv zuliZcgesv zuliDeviceDsgesv zuliDeviceZcgesv
ZULI_EXPORT_AS(D, Dsgesv, mixedGesv, (T), ZULI_MIXED_GESV_PARAMS,
               (n, nrhs, a, lda, ipiv, b, ldb, x, ldx, iter))
ZULI_EXPORT_AS(Z, Zcgesv, mixedGesv, (T), ZULI_MIXED_GESV_PARAMS,
               (n, nrhs, a, lda, ipiv, b, ldb, x, ldx, iter))
// zuliDsposv zuliZcposv zuliDeviceDsposv zuliDeviceZcposv
ZULI_EXPORT_AS(D, Dsposv, mixedPosv, (T), ZULI_MIXED_POSV_PARAMS,
               (uplo, n, nrhs, a, lda, b, ldb, x, ldx, iter))
ZULI_EXPORT_AS(Z, Zcposv, mixedPosv, (T), ZULI_MIXED_POSV_PARAMS,
               (uplo, n, nrhs, a, lda, b, ldb, x, ldx, iter))
