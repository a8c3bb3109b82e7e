// eigen.h - the device-interface bodies of the eigensolvers and their building blocks, for
// routines that run one another nested. Each routine's file also holds its host-interface body
// (host::name) and its export row.
//
// Pointers are device pointers. Every body begins with its argument checks and raises every
// failure as an exception (a convergence failure is zuliDataError with LAPACK's info).
#pragma once

#include "runtime/complex.h"
#include "runtime/context.h"

namespace zuli {

// ---- BEGIN nonsymmetric eigenproblems (hessenberg.cpp, geev.cpp) -------------------------------

// A = Q H Q^H: the upper Hessenberg H in and above the first subdiagonal of A, the reflectors of
// Q below it and their n - 1 scalar factors in tau, as LAPACK's gehrd leaves them (ilo, ihi
// 1-based, from a balancing; 1 and n otherwise).
template <typename T>
void gehrd(const CallContext& ctx, int n, int ilo, int ihi, T* a, int lda, T* tau);

// The Q of gehrd, formed in place of the reflectors (orghr / unghr).
template <typename T>
void orghr(const CallContext& ctx, int n, int ilo, int ihi, T* a, int lda, const T* tau);

// Eigenvalues and, for jobvl / jobvr 'V', left and right eigenvectors of the general n x n
// matrix A (destroyed): the real types return the eigenvalues as wr + i wi, the complex ones in w.
template <typename T>
void geev(const CallContext& ctx, char jobvl, char jobvr, int n, T* a, int lda, T* wr, T* wi, T* vl,
          int ldvl, T* vr, int ldvr);
template <typename T>
void geev(const CallContext& ctx, char jobvl, char jobvr, int n, T* a, int lda, T* w, T* vl,
          int ldvl, T* vr, int ldvr);

// ---- END nonsymmetric eigenproblems ------------------------------------------------------------

// ---- BEGIN symmetric and Hermitian eigenproblems (tridiagonal.cpp) ----------------------------

// A = Q T Q^H with T real symmetric tridiagonal: d (n elements) and e (n - 1) are real, tau holds
// the n - 1 scalar factors of Q's reflectors, which stay in A as LAPACK's sytrd / hetrd leave them.
template <typename T>
void sytrd(const CallContext& ctx, char uplo, int n, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e,
           T* tau);
// Q (n x n) in place of sytrd's reflectors.
template <typename T>
void orgtr(const CallContext& ctx, char uplo, int n, T* a, int lda, const T* tau);
// C = op(Q) C or C op(Q) with Q given by sytrd's reflectors in A.
template <typename T>
void ormtr(const CallContext& ctx, char side, char uplo, char trans, int m, int n, const T* a,
           int lda, const T* tau, T* c, int ldc);

// ---- END symmetric and Hermitian eigenproblems --------------------------------------------------

}  // namespace zuli
