// generalized.cpp - the generalized symmetric-definite eigenproblem (sygv; hegv for the complex
// types) and its reduction to standard form (sygst, internal):
//
//     itype 1   A x = lambda B x
//     itype 2   A B x = lambda x
//     itype 3   B A x = lambda x
//
// with A Hermitian and B Hermitian positive definite, both given by their triangle uplo.
//
// sygv chains four steps on the GPU: the Cholesky factorization of B (potrf, B = U^H U or L L^H
// in place), the reduction of A to the standard form C (sygst: C = U^-H A U^-1 or L^-1 A L^-H for
// itype 1, U A U^H or L^H A L for 2 and 3), the standard eigensolver on C (syev; heev), and for
// jobz 'V' the back-transformation of C's eigenvectors y into those of the pencil: x = U^-1 y or
// L^-H y (itype 1, 2), x = U^H y or L y (itype 3), one triangular solve or multiply with B's
// factor. The eigenvectors come out B-orthonormal (X^H B X = I for itype 1, 2; X^H B^-1 X = I
// for 3), as LAPACK's sygv gives them.
//
// sygst is LAPACK's blocked sygst with the diagonal blocks on the host: in blocks of
// generalizedBlockSize (64 or 128) columns, each diagonal block of A and B goes down, the host
// LAPACK reduces it, and the block of A comes back up; the off-diagonal blocks are updated on the
// GPU by trsm, hemm (symm), her2k (syr2k) and trmm, before the diagonal block (itype 2, 3) or
// after it (itype 1). B is only read on the host, so it does not travel back. A problem of at most
// one block is reduced on the host whole. The host step is the host LAPACK's unblocked sygs2
// (hegs2) on the whole block.
//
// Failures. A B that is not positive definite (potrf reports the order i of the leading minor that
// is not) fails with zuliDataError and info n + i, before A is touched. A failure of the
// eigensolver to converge (its zuliDataError with info i in 1 ... n) still back-transforms the
// i - 1 leading eigenvectors, then fails with that info, as LAPACK's sygv does. The host reduction
// reports no positive info (it would be raised as zuliDataError); a negative one (an argument the
// checks here rule out) is raised as zuliRuntimeError with that info, like every internal
// argument error of the host LAPACK.
#include "eigen/eigen.h"

#include "blas/cublas.h"
#include "runtime/arguments.h"
#include "runtime/device.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/host_lapack.h"
#include "runtime/matrix.h"
#include "runtime/memory.h"
#include "runtime/tuning.h"
#include "solvers/solvers.h"

#include <cuda_runtime_api.h>

#include <algorithm>
#include <cstdint>

namespace zuli {

namespace {

// ---- argument checks ----------------------------------------------------------------------------

// sygv checks every argument, pointers included, before it returns for n = 0.
void sygvArguments(int itype, char& jobz, char& uplo, int n, const void* a, int lda, const void* b,
                   int ldb, const void* w) {
    jobz = upperOption(jobz);
    uplo = upperOption(uplo);
    failIf(itype < 1 || itype > 3, 1);
    failIf(!isOneOf(jobz, "NV"), 2);
    failIf(!isOneOf(uplo, "UL"), 3);
    failIf(n < 0, 4);
    failIf(a == nullptr, 5);
    failIf(lda < std::max(1, n), 6);
    failIf(b == nullptr, 7);
    failIf(ldb < std::max(1, n), 8);
    failIf(w == nullptr, 9);
}

// sygst in LAPACK's order; an empty problem returns before the pointers are looked at.
bool sygstArguments(int itype, char& uplo, int n, const void* a, int lda, const void* b, int ldb) {
    uplo = upperOption(uplo);
    failIf(itype < 1 || itype > 3, 1);
    failIf(!isOneOf(uplo, "UL"), 2);
    failIf(n < 0, 3);
    failIf(lda < std::max(1, n), 5);
    failIf(ldb < std::max(1, n), 7);
    if (n == 0) return false;
    failIf(a == nullptr, 4);
    failIf(b == nullptr, 6);
    return true;
}

// ---- the reduction to standard form -------------------------------------------------------------

template <typename T>
void toHost(const T* device, int ld, int order, T* host, int hostLd) {
    cudalib::checkCuda(cudaMemcpy2D(host, int64_t(hostLd) * sizeof(T), device,
                                    int64_t(ld) * sizeof(T), order * sizeof(T), order,
                                    cudaMemcpyDeviceToHost));
}

// The blocked reduction; a, b device matrices of order n, B holding its Cholesky factor.
template <typename T>
class StandardForm {
  public:
    StandardForm(const CallContext& ctx, int itype, char uplo, int n, T* a, int lda, const T* b,
                 int ldb)
        : ctx_(ctx),
          itype_(itype),
          uplo_(uplo),
          n_(n),
          a_(a),
          lda_(lda),
          b_(b),
          ldb_(ldb),
          nb_(generalizedBlockSize(deviceCapability(ctx.device).code)),
          // One nb x nb host block for each of A and B (page-locked, from the pool), and a
          // column beyond them: the host's strided vectors may read one column past a block.
          staging_(acquirePinnedWorkspace<T>(
              ctx, 2 * int64_t(nb_) * nb_ + lapack::reflectorSlack<T>(nb_))),
          hostA_(staging_.get()),
          hostB_(staging_.get() + int64_t(nb_) * nb_) {}

    void run() {
        if (n_ <= nb_) return diagonalBlock(0, n_);
        for (int k = 0; k < n_; k += nb_) {
            const int kb = std::min(nb_, n_ - k);
            if (itype_ == 1) {
                diagonalBlock(k, kb);
                if (k + kb < n_) (uplo_ == 'U' ? inverseUpper(k, kb) : inverseLower(k, kb));
            } else {
                if (k > 0) (uplo_ == 'U' ? productUpper(k, kb) : productLower(k, kb));
                diagonalBlock(k, kb);
            }
        }
    }

  private:
    T* A(int i, int j) const { return at(a_, lda_, i, j); }
    const T* B(int i, int j) const { return at(b_, ldb_, i, j); }

    // The kb x kb diagonal blocks at (k, k) down, reduced on the host, A's block up.
    void diagonalBlock(int k, int kb) {
        toHost(A(k, k), lda_, kb, hostA_, nb_);
        toHost(B(k, k), ldb_, kb, hostB_, nb_);
        checkHostLapackInfo(lapack::sygs2(itype_, uplo_, kb, hostA_, nb_, hostB_, nb_));
        cudalib::checkCuda(cudaMemcpy2D(A(k, k), int64_t(lda_) * sizeof(T), hostA_,
                                        int64_t(nb_) * sizeof(T), kb * sizeof(T), kb,
                                        cudaMemcpyHostToDevice));
    }

    // itype 1, 'U': the block row right of the diagonal block becomes that of U^-H A U^-1, and
    // the trailing matrix takes its rank-2kb update.
    void inverseUpper(int k, int kb) {
        const int r = n_ - k - kb, e = k + kb;
        blas::trsm(ctx_, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_C,
                   CUBLAS_DIAG_NON_UNIT, kb, r, &one_, B(k, k), ldb_, A(k, e), lda_);
        blas::hemm(ctx_, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, kb, r, &minusHalf_, A(k, k),
                   lda_, B(k, e), ldb_, &one_, A(k, e), lda_);
        blas::her2k(ctx_, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_C, r, kb, &minusOne_, A(k, e), lda_,
                    B(k, e), ldb_, &realOne_, A(e, e), lda_);
        blas::hemm(ctx_, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, kb, r, &minusHalf_, A(k, k),
                   lda_, B(k, e), ldb_, &one_, A(k, e), lda_);
        blas::trsm(ctx_, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N,
                   CUBLAS_DIAG_NON_UNIT, kb, r, &one_, B(e, e), ldb_, A(k, e), lda_);
    }

    // itype 1, 'L': the same on the block column below the diagonal block (L^-1 A L^-H).
    void inverseLower(int k, int kb) {
        const int r = n_ - k - kb, e = k + kb;
        blas::trsm(ctx_, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_C,
                   CUBLAS_DIAG_NON_UNIT, r, kb, &one_, B(k, k), ldb_, A(e, k), lda_);
        blas::hemm(ctx_, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_LOWER, r, kb, &minusHalf_, A(k, k),
                   lda_, B(e, k), ldb_, &one_, A(e, k), lda_);
        blas::her2k(ctx_, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, r, kb, &minusOne_, A(e, k), lda_,
                    B(e, k), ldb_, &realOne_, A(e, e), lda_);
        blas::hemm(ctx_, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_LOWER, r, kb, &minusHalf_, A(k, k),
                   lda_, B(e, k), ldb_, &one_, A(e, k), lda_);
        blas::trsm(ctx_, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N,
                   CUBLAS_DIAG_NON_UNIT, r, kb, &one_, B(e, e), ldb_, A(e, k), lda_);
    }

    // itype 2, 3, 'U': the block column above the diagonal block becomes that of U A U^H, and
    // the leading k x k matrix, already reduced, takes its rank-2kb update.
    void productUpper(int k, int kb) {
        blas::trmm(ctx_, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N,
                   CUBLAS_DIAG_NON_UNIT, k, kb, &one_, B(0, 0), ldb_, A(0, k), lda_, A(0, k), lda_);
        blas::hemm(ctx_, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_UPPER, k, kb, &half_, A(k, k), lda_,
                   B(0, k), ldb_, &one_, A(0, k), lda_);
        blas::her2k(ctx_, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, k, kb, &one_, A(0, k), lda_, B(0, k),
                    ldb_, &realOne_, A(0, 0), lda_);
        blas::hemm(ctx_, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_UPPER, k, kb, &half_, A(k, k), lda_,
                   B(0, k), ldb_, &one_, A(0, k), lda_);
        blas::trmm(ctx_, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_C,
                   CUBLAS_DIAG_NON_UNIT, k, kb, &one_, B(k, k), ldb_, A(0, k), lda_, A(0, k), lda_);
    }

    // itype 2, 3, 'L': the same on the block row left of the diagonal block (L^H A L).
    void productLower(int k, int kb) {
        blas::trmm(ctx_, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N,
                   CUBLAS_DIAG_NON_UNIT, kb, k, &one_, B(0, 0), ldb_, A(k, 0), lda_, A(k, 0), lda_);
        blas::hemm(ctx_, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, kb, k, &half_, A(k, k), lda_,
                   B(k, 0), ldb_, &one_, A(k, 0), lda_);
        blas::her2k(ctx_, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_C, k, kb, &one_, A(k, 0), lda_, B(k, 0),
                    ldb_, &realOne_, A(0, 0), lda_);
        blas::hemm(ctx_, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, kb, k, &half_, A(k, k), lda_,
                   B(k, 0), ldb_, &one_, A(k, 0), lda_);
        blas::trmm(ctx_, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_C,
                   CUBLAS_DIAG_NON_UNIT, kb, k, &one_, B(k, k), ldb_, A(k, 0), lda_, A(k, 0), lda_);
    }

    const CallContext& ctx_;
    const int itype_;
    const char uplo_;
    const int n_;
    T* const a_;
    const int lda_;
    const T* const b_;
    const int ldb_;
    const int nb_;
    const PinnedBuffer<T> staging_;
    T* const hostA_;
    T* const hostB_;
    const T one_{1}, minusOne_{-1}, half_{ToRealT<T>(0.5)}, minusHalf_{ToRealT<T>(-0.5)};
    const ToRealT<T> realOne_{1};
};

// sygv's steps on checked arguments of a non-empty problem.
template <typename T>
void solveGeneralized(const CallContext& ctx, int itype, char jobz, char uplo, int n, T* a, int lda,
                      T* b, int ldb, ToRealT<T>* w) {
    // B = U^H U or L L^H.
    try {
        potrf<T>(ctx, uplo, n, b, ldb);
    } catch (const InfoException& e) {
        if (e.status() == zuliDataError) raiseDataError(n + e.info());
        throw;
    }
    StandardForm<T>(ctx, itype, uplo, n, a, lda, b, ldb).run();

    // The standard problem. A failure to converge (info i > 0) leaves the i - 1 leading vectors
    // to be transformed before it is reported; any other failure ends the call here.
    int failed = 0;
    try {
        syev<T>(ctx, jobz, uplo, n, a, lda, w);
    } catch (const InfoException& e) {
        if (e.status() != zuliDataError || e.info() <= 0) throw;
        failed = e.info();
    }
    const int neig = failed > 0 ? failed - 1 : n;

    // x = U^-1 y, L^-H y (itype 1, 2) or U^H y, L y (itype 3).
    if (jobz == 'V' && neig > 0) {
        const T one(1);
        const cublasFillMode_t fill = uplo == 'U' ? CUBLAS_FILL_MODE_UPPER : CUBLAS_FILL_MODE_LOWER;
        if (itype < 3)
            blas::trsm(ctx, CUBLAS_SIDE_LEFT, fill, uplo == 'U' ? CUBLAS_OP_N : CUBLAS_OP_C,
                       CUBLAS_DIAG_NON_UNIT, n, neig, &one, b, ldb, a, lda);
        else
            blas::trmm(ctx, CUBLAS_SIDE_LEFT, fill, uplo == 'U' ? CUBLAS_OP_C : CUBLAS_OP_N,
                       CUBLAS_DIAG_NON_UNIT, n, neig, &one, b, ldb, a, lda, a, lda);
    }
    if (failed > 0) raiseDataError(failed);
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void sygst(const CallContext& ctx, int itype, char uplo, int n, T* a, int lda, const T* b,
           int ldb) {
    if (!sygstArguments(itype, uplo, n, a, lda, b, ldb)) return;
    StandardForm<T>(ctx, itype, uplo, n, a, lda, b, ldb).run();
}

template <typename T>
void sygv(const CallContext& ctx, int itype, char jobz, char uplo, int n, T* a, int lda, T* b,
          int ldb, ToRealT<T>* w) {
    sygvArguments(itype, jobz, uplo, n, a, lda, b, ldb, w);
    if (n == 0) return;
    solveGeneralized(ctx, itype, jobz, uplo, n, a, lda, b, ldb, w);
}

// ---- host interface -----------------------------------------------------------------------------
// A and B are mirrored both ways, w out. A data error still copies A and B back, as LAPACK leaves
// them (B's partial factor when B is not positive definite, A then untouched); w comes back
// unless B's factorization failed, in which case the caller's w is left as it was. Any other
// failure leaves the caller's arrays untouched.

namespace host {

template <typename T>
CallResult sygv(const CallContext& ctx, int itype, char jobz, char uplo, int n, T* a, int lda, T* b,
                int ldb, ToRealT<T>* w) {
    sygvArguments(itype, jobz, uplo, n, a, lda, b, ldb, w);
    if (n == 0) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> B(ctx, n, n, b, ldb, MirrorIn | MirrorOut);
    HostArrayMirror<ToRealT<T>, T> W(ctx, n, 1, w, n, MirrorOut);
    const CallResult r = runDeviceRoutine<T>([&](const CallContext& d) {
        solveGeneralized<T>(d, itype, jobz, uplo, n, A.device(), A.ld(), B.device(), B.ld(),
                            W.device());
    });
    if (r.status == zuliDataError && r.info > n) return finishHostCall(r, A, B);
    return finishHostCall(r, W, A, B);
}

}  // namespace host

#define ZULI_GENERALIZED_INSTANCES(T)                                                   \
    template void sygst<T>(const CallContext&, int, char, int, T*, int, const T*, int); \
    template void sygv<T>(const CallContext&, int, char, char, int, T*, int, T*, int, ToRealT<T>*);
ZULI_INSTANTIATE(ZULI_GENERALIZED_INSTANCES)
#undef ZULI_GENERALIZED_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

#define ZULI_SYGV_PARAMS \
    (int itype, char jobz, char uplo, int n, P* a, int lda, P* b, int ldb, R* w)
#define ZULI_SYGV_ARGS (itype, jobz, uplo, n, a, lda, b, ldb, w)

// zuliSsygv zuliDsygv zuliDeviceSsygv zuliDeviceDsygv
ZULI_EXPORT(REAL, sygv, ZULI_SYGV_PARAMS, ZULI_SYGV_ARGS)
// zuliChegv zuliZhegv zuliDeviceChegv zuliDeviceZhegv
ZULI_EXPORT_NAMED(COMPLEX, hegv, sygv, ZULI_SYGV_PARAMS, ZULI_SYGV_ARGS)
