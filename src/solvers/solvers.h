// solvers.h - the device-interface bodies of the dense solvers, for routines that run one another
// nested (gesv runs getrf and getrs, getri and potri run trtri, the mixed-precision drivers run
// the factorizations in both precisions). Each routine's file also holds its host-interface body
// (host::name) and its export row.
//
// Each body is the device routine: it takes device pointers (pivots in device memory too),
// begins with the routine's argument checks (which raise the argument error of the first bad
// argument and return at once for an empty problem), and raises every failure as an exception
// that the frame turns into a status: a zero pivot or a minor that is not positive definite is
// zuliDataError with LAPACK's info. T is float, double, Complex<float> or Complex<double>.
//
// The argument checks are separate functions as well, so that the host routines run the same
// checks before they mirror anything; each returns false when the problem is empty (the routine
// then returns success at once) and upper-cases its option letters in place.
#pragma once

#include "runtime/complex.h"
#include "runtime/context.h"

namespace zuli {

// ---- LU: getrf, getrs, gesv, getri ----------------------------------------------------------

bool getrfArguments(int m, int n, const void* a, int lda, const void* ipiv);
bool getrsArguments(char& trans, int n, int nrhs, const void* a, int lda, const void* ipiv,
                    const void* b, int ldb);
bool gesvArguments(int n, int nrhs, const void* a, int lda, const void* ipiv, const void* b,
                   int ldb);
bool getriArguments(int n, const void* a, int lda, const void* ipiv);

template <typename T>
void getrf(const CallContext& ctx, int m, int n, T* a, int lda, int* ipiv);
template <typename T>
void getrs(const CallContext& ctx, char trans, int n, int nrhs, const T* a, int lda,
           const int* ipiv, T* b, int ldb);
template <typename T>
void gesv(const CallContext& ctx, int n, int nrhs, T* a, int lda, int* ipiv, T* b, int ldb);
template <typename T>
void getri(const CallContext& ctx, int n, T* a, int lda, const int* ipiv);

// ---- triangular and banded: trtrs, trtri, gbtrf, pbtrf ---------------------------------------

bool trtrsArguments(char& uplo, char& trans, char& diag, int n, int nrhs, const void* a, int lda,
                    const void* b, int ldb);
bool trtriArguments(char& uplo, char& diag, int n, const void* a, int lda);
bool gbtrfArguments(int m, int n, int kl, int ku, const void* ab, int ldab, const void* ipiv);
bool pbtrfArguments(char& uplo, int n, int kd, const void* ab, int ldab);

template <typename T>
void trtrs(const CallContext& ctx, char uplo, char trans, char diag, int n, int nrhs, const T* a,
           int lda, T* b, int ldb);
template <typename T>
void trtri(const CallContext& ctx, char uplo, char diag, int n, T* a, int lda);
template <typename T>
void gbtrf(const CallContext& ctx, int m, int n, int kl, int ku, T* ab, int ldab, int* ipiv);
template <typename T>
void pbtrf(const CallContext& ctx, char uplo, int n, int kd, T* ab, int ldab);

// Raises zuliDataError with the 1-based position of the first diagonal element of the n x n
// device matrix a that is exactly zero (-0.0 included; both parts for complex). The n elements
// come to the host in one strided copy; nothing else is read or written.
template <typename T>
void requireNonzeroDiagonal(int n, const T* a, int lda);

// ---- Cholesky: potrf, potrs, posv, potri ------------------------------------------------------

bool potrfArguments(char& uplo, int n, const void* a, int lda);
// The leading checks of the positive definite solves (uplo, n, nrhs, lda, ldb; numbered as in
// potrs), before each routine's own empty return and pointer checks.
void choleskySolveArguments(char& uplo, int n, int nrhs, int lda, int ldb);
bool potrsArguments(char& uplo, int n, int nrhs, const void* a, int lda, const void* b, int ldb);
bool posvArguments(char& uplo, int n, int nrhs, const void* a, int lda, const void* b, int ldb);
bool potriArguments(char& uplo, int n, const void* a, int lda);

template <typename T>
void potrf(const CallContext& ctx, char uplo, int n, T* a, int lda);
template <typename T>
void potrs(const CallContext& ctx, char uplo, int n, int nrhs, const T* a, int lda, T* b, int ldb);
template <typename T>
void posv(const CallContext& ctx, char uplo, int n, int nrhs, T* a, int lda, T* b, int ldb);
template <typename T>
void potri(const CallContext& ctx, char uplo, int n, T* a, int lda);

// ---- mixed-precision refinement: dsgesv, zcgesv, dsposv, zcposv ------------------------------
// D is double or Complex<double>; iter is a host pointer.

bool mixedGesvArguments(int n, int nrhs, const void* a, int lda, const void* ipiv, const void* b,
                        int ldb, const void* x, int ldx, const int* iter);
bool mixedPosvArguments(char& uplo, int n, int nrhs, const void* a, int lda, const void* b, int ldb,
                        const void* x, int ldx, const int* iter);

template <typename D>
void mixedGesv(const CallContext& ctx, int n, int nrhs, D* a, int lda, int* ipiv, const D* b,
               int ldb, D* x, int ldx, int* iter);
template <typename D>
void mixedPosv(const CallContext& ctx, char uplo, int n, int nrhs, D* a, int lda, const D* b,
               int ldb, D* x, int ldx, int* iter);

}  // namespace zuli
