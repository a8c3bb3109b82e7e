// eigen.h - the device-interface bodies of the symmetric and Hermitian eigenproblem's building
// blocks, for routines that run one another nested (the drivers). Each routine's file also holds
// its host-interface body (host::name) and its export row; the complex members are exported under
// LAPACK's complex names (hetrd, ungtr, unmtr) and run the same templates.
//
// Pointers are device pointers. Every body begins with its argument checks and raises every
// failure as an exception (a positive info of a host LAPACK step is zuliDataError with that info).
#pragma once

#include "runtime/complex.h"
#include "runtime/context.h"

namespace zuli {

// ---- tridiagonal reduction (tridiagonal.cpp) ----------------------------------------------------

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

}  // namespace zuli
