// orthogonal.h - the device-interface bodies of the orthogonal factorizations, of the generation
// and application of their Q, of the least-squares routines and of the bidiagonal reduction, for
// routines that run one another nested (least squares, the SVD and the eigensolvers). Each
// routine's file also holds its host-interface body (host::name) and its export row; the complex
// members are exported under LAPACK's complex names (ungqr, unmqr, ...) and run the same templates.
//
// Pointers are device pointers; tau holds min(m, n) (factorizations) or k scalars. Every body
// begins with its argument checks and raises every failure as an exception (a positive info of a
// host LAPACK step is zuliDataError with that info).
#pragma once

#include "runtime/complex.h"
#include "runtime/context.h"

namespace zuli {

// ---- factorizations (qr.cpp) --------------------------------------------------------------------

template <typename T>
void geqrf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau);
template <typename T>
void geqrfp(const CallContext& ctx, int m, int n, T* a, int lda, T* tau);
template <typename T>
void gelqf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau);
template <typename T>
void geqlf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau);
template <typename T>
void gerqf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau);

// ---- generating and applying Q (q.cpp) ----------------------------------------------------------

template <typename T>
void orgqr(const CallContext& ctx, int m, int n, int k, T* a, int lda, const T* tau);
template <typename T>
void orglq(const CallContext& ctx, int m, int n, int k, T* a, int lda, const T* tau);
template <typename T>
void orgql(const CallContext& ctx, int m, int n, int k, T* a, int lda, const T* tau);
template <typename T>
void orgrq(const CallContext& ctx, int m, int n, int k, T* a, int lda, const T* tau);

template <typename T>
void ormqr(const CallContext& ctx, char side, char trans, int m, int n, int k, const T* a, int lda,
           const T* tau, T* c, int ldc);
template <typename T>
void ormlq(const CallContext& ctx, char side, char trans, int m, int n, int k, const T* a, int lda,
           const T* tau, T* c, int ldc);
template <typename T>
void ormql(const CallContext& ctx, char side, char trans, int m, int n, int k, const T* a, int lda,
           const T* tau, T* c, int ldc);
template <typename T>
void ormrq(const CallContext& ctx, char side, char trans, int m, int n, int k, const T* a, int lda,
           const T* tau, T* c, int ldc);

// ---- least squares (least_squares.cpp) ----------------------------------------------------------

template <typename T>
void gels(const CallContext& ctx, char trans, int m, int n, int nrhs, T* a, int lda, T* b, int ldb);
template <typename T>
void geqrs(const CallContext& ctx, int m, int n, int nrhs, const T* a, int lda, const T* tau, T* b,
           int ldb);
template <typename T>
void ggrqf(const CallContext& ctx, int m, int p, int n, T* a, int lda, T* taua, T* b, int ldb,
           T* taub);
template <typename T>
void gglse(const CallContext& ctx, int m, int n, int p, T* a, int lda, T* b, int ldb, T* c, T* d,
           T* x);

// ---- bidiagonal reduction (bidiagonal.cpp) ------------------------------------------------------

// d and e are real: min(m, n) and min(m, n) - 1 elements.
template <typename T>
void gebrd(const CallContext& ctx, int m, int n, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e,
           T* tauq, T* taup);
template <typename T>
void orgbr(const CallContext& ctx, char vect, int m, int n, int k, T* a, int lda, const T* tau);

// ---- singular value decomposition (bdsqr.cpp, svd.cpp) ------------------------------------------

// The singular values of the n x n real bidiagonal (d, e) (upper for uplo 'U', lower for 'L')
// into d in descending order; the rotations applied to VT (n x ncvt) from the left and to U
// (nru x n) from the right. d and e are real device arrays. ncc > 0 is not supported (C is only
// checked). A failure to converge is zuliDataError with LAPACK's info.
template <typename T>
void bdsqr(const CallContext& ctx, char uplo, int n, int ncvt, int nru, int ncc, ToRealT<T>* d,
           ToRealT<T>* e, T* vt, int ldvt, T* u, int ldu, T* c, int ldc);
// A = U diag(s) V^H; s real, min(m, n) elements in descending order.
template <typename T>
void gesvd(const CallContext& ctx, char jobu, char jobvt, int m, int n, T* a, int lda,
           ToRealT<T>* s, T* u, int ldu, T* vt, int ldvt);
template <typename T>
void gesdd(const CallContext& ctx, char jobz, int m, int n, T* a, int lda, ToRealT<T>* s, T* u,
           int ldu, T* vt, int ldvt);

}  // namespace zuli
