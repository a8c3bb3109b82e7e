// auxiliary.h - the typed implementations of the exported utility routines, and their argument
// checks, for code that calls them nested (the exported entry points are in auxiliary.cpp).
//
// Every check function raises the argument error of the first bad argument (info = -position,
// counted without the precision letter), upper-cases its letters in place, and returns false
// when the problem is empty and the routine must return at once without touching anything.
// The device functions take device pointers, run their checks, and launch on the legacy default
// stream.
#pragma once

#include "runtime/complex.h"

namespace zuli {

bool lacpyArguments(char& uplo, int m, int n, const void* a, int lda, const void* b, int ldb);
bool lasetArguments(char& uplo, int m, int n, const void* a, int lda);
bool lasclArguments(char& type, int kl, int ku, double cfrom, double cto, int m, int n,
                    const void* a, int lda);
bool nancheckArguments(int m, int n, const void* a, int lda);
bool transposeArguments(int m, int n, const void* a, int lda, const void* b, int ldb);
bool transposeInplaceArguments(int n, const void* a, int lda);
bool conjugateArguments(int m, int n, const void* a, int lda);
bool trConjugateArguments(char& uplo, char& diag, int m, int n, const void* a, int lda);
// Conversions: the destination is checked (and numbered 3, 4) before the source (5, 6).
bool lag2Arguments(int m, int n, const void* source, int ldSource, const void* destination,
                   int ldDestination);
bool lat2Arguments(char& uplo, int n, const void* source, int ldSource, const void* destination,
                   int ldDestination);

// The rows of the array that lascl's storage type reads: m for 'G', 'L', 'U', 'H'; kl + 1 for
// 'B'; ku + 1 for 'Q'; 2 kl + ku + 1 for 'Z' (type upper-case).
int lasclStorageRows(char type, int kl, int ku, int m);

template <typename T>
void lacpy(char uplo, int m, int n, const T* a, int lda, T* b, int ldb);
template <typename T>
void laset(char uplo, int m, int n, T alpha, T beta, T* a, int lda);
template <typename T>
void lascl(char type, int kl, int ku, ToRealT<T> cfrom, ToRealT<T> cto, int m, int n, T* a,
           int lda);
// Raises zuliDataError with info 1 when the m x n matrix holds a NaN.
template <typename T>
void geNancheck(int m, int n, const T* a, int lda);
template <typename T, bool Conjugate>
void geTranspose(int m, int n, const T* a, int lda, T* b, int ldb);
template <typename T, bool Conjugate>
void geTransposeInplace(int n, T* a, int lda);
template <typename T>
void geConjugate(int m, int n, T* a, int lda);
template <typename T>
void trConjugate(char uplo, char diag, int m, int n, T* a, int lda);
// B = A in the other precision; a narrowing conversion that meets a value beyond the target's
// range raises zuliDataError with info 1 (B is left as converted).
template <typename From, typename To>
void lag2(int m, int n, const From* a, int lda, To* b, int ldb);
template <typename From, typename To>
void lat2(char uplo, int n, const From* a, int lda, To* b, int ldb);

// The host-side transpositions (no device involved): B(j, i) = A(i, j), conjugating by flipping
// the sign bit of the imaginary part when Conjugate.
template <typename T, bool Conjugate>
void hostTranspose(int m, int n, const T* a, int lda, T* b, int ldb);
template <typename T, bool Conjugate>
void hostTransposeInplace(int n, T* a, int lda);

}  // namespace zuli
