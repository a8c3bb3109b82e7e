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

// Eigenvalues of the real symmetric tridiagonal (d, e) into d in ascending order by the implicit
// QL/QR iteration; compz 'N' none, 'I' Z = the eigenvectors of T, 'V' Z (n x n, holding the Q of
// a reduction on entry) = Z times them. d and e are real device arrays; a failure to converge
// is zuliDataError with LAPACK's info.
template <typename T>
void steqr(const CallContext& ctx, char compz, int n, ToRealT<T>* d, ToRealT<T>* e, T* z, int ldz);

// Bisection (real types only): selected eigenvalues of the tridiagonal (d, e) into w, with the
// block index and split points as LAPACK's stebz gives them. d, e, w, iblock and isplit are device
// arrays; m and nsplit are host pointers in both interfaces (scalar results).
template <typename R>
void stebz(const CallContext& ctx, char range, char order, int n, R vl, R vu, int il, int iu,
           R abstol, const R* d, const R* e, int* m, int* nsplit, R* w, int* iblock, int* isplit);

// Two-stage reduction A = Q T Q^H: A to a band of width kd on the GPU, the band to tridiagonal
// form (d, e real); tau holds the scalar factors of the first stage's reflectors (at least
// max(1, n - 1) elements). jobz 'N' the tridiagonal only, 'V' also Q into Z, 'U' Z = Z Q; Z and ldz
// are looked at only for 'V' and 'U'.
template <typename T>
void syrdb(const CallContext& ctx, char jobz, char uplo, int n, int kd, T* a, int lda,
           ToRealT<T>* d, ToRealT<T>* e, T* tau, T* z, int ldz);

// All eigenvalues into w (ascending) and for jobz 'V' the eigenvectors into A (syev / heev).
template <typename T>
void syev(const CallContext& ctx, char jobz, char uplo, int n, T* a, int lda, ToRealT<T>* w);

// Selected eigenvalues (range 'A', 'V', 'I') and for jobz 'V' their eigenvectors into Z's first
// *m columns; ifail (n device ints) as LAPACK's syevx / heevx; m is a host pointer.
template <typename T>
void syevx(const CallContext& ctx, char jobz, char range, char uplo, int n, T* a, int lda,
           ToRealT<T> vl, ToRealT<T> vu, int il, int iu, ToRealT<T> abstol, int* m, ToRealT<T>* w,
           T* z, int ldz, int* ifail);

// The generalized problem itype 1, 2, 3 (sygv / hegv): B is factored in place, A reduced to
// standard form and, for jobz 'V', overwritten by the B-orthonormal eigenvectors.
template <typename T>
void sygv(const CallContext& ctx, int itype, char jobz, char uplo, int n, T* a, int lda, T* b,
          int ldb, ToRealT<T>* w);
// The reduction of the generalized problem to standard form with B's Cholesky factor (internal).
template <typename T>
void sygst(const CallContext& ctx, int itype, char uplo, int n, T* a, int lda, const T* b, int ldb);

// ---- END symmetric and Hermitian eigenproblems --------------------------------------------------

}  // namespace zuli
