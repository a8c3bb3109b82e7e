// auxiliary_kernels.h - launchers of the element-wise matrix kernels behind the exported
// utility routines (lacpy, laset, lascl, NaN check, transpositions, conjugations, precision
// conversions).
//
// Every launcher takes device pointers and column-major matrices with a leading dimension,
// expects arguments that have already been checked, launches nothing for an empty matrix, and
// queues its kernel on `stream` (the legacy default stream unless given). Element offsets are
// computed in 64 bits. Defined for float, double, zuli::Complex<float>, zuli::Complex<double>
// unless noted. A launch whose configuration the device refuses is not started; the error stays
// in the runtime's last error.
#pragma once

#include "runtime/complex.h"

#include <cuda_runtime_api.h>

namespace zuli {

// B = A on the part chosen by `uplo` (upper-case): 'L' lower triangle with the diagonal, 'U'
// upper triangle with the diagonal, anything else the whole m x n matrix.
template <typename T>
void launchLacpy(char uplo, int m, int n, const T* a, int lda, T* b, int ldb,
                 cudaStream_t stream = 0);

// Off-diagonal elements of the chosen part get alpha, diagonal elements beta: 'U' strictly upper
// part, 'L' strictly lower part, anything else ('A', 'F') the whole m x n matrix.
template <typename T>
void launchLaset(char uplo, int m, int n, T alpha, T beta, T* a, int lda, cudaStream_t stream = 0);

// Multiplies the matrix of storage type `type` ("GLUHBQZ", upper-case, LAPACK's meanings) by
// cto / cfrom in the safe steps LAPACK's lascl takes, so that no intermediate product over- or
// underflows when the final result does not. kl, ku matter for 'B', 'Q', 'Z' only.
template <typename T>
void launchLascl(char type, int kl, int ku, ToRealT<T> cfrom, ToRealT<T> cto, int m, int n, T* a,
                 int lda, cudaStream_t stream = 0);

// LAPACK's lascl2: row i of the m x n matrix multiplied by the real d(i) (d: m device reals).
template <typename T>
void launchLascl2(int m, int n, const ToRealT<T>* d, T* a, int lda, cudaStream_t stream = 0);

// Stores 1 into *flag (a device int) when an element of the m x n matrix is a NaN (for complex
// elements: either part). The flag is not cleared here.
template <typename T>
void launchNancheck(int m, int n, const T* a, int lda, int* flag, cudaStream_t stream = 0);

// B(j, i) = A(i, j) for the m x n matrix A (B is n x m); conjugated when Conjugate is true
// (complex types only).
template <typename T, bool Conjugate>
void launchTranspose(int m, int n, const T* a, int lda, T* b, int ldb, cudaStream_t stream = 0);

// A = A^T (or A^H when Conjugate) for the square n x n matrix A.
template <typename T, bool Conjugate>
void launchTransposeInplace(int n, T* a, int lda, cudaStream_t stream = 0);

// A = conj(A) on the m x n matrix (complex types only).
template <typename T>
void launchConjugate(int m, int n, T* a, int lda, cudaStream_t stream = 0);

// Conjugates the upper (upper = true) or lower triangle of the m x n matrix, the diagonal
// included when includeDiagonal (complex types only).
template <typename T>
void launchConjugateTriangular(bool upper, bool includeDiagonal, int m, int n, T* a, int lda,
                               cudaStream_t stream = 0);

// B = A converted element by element from From to To (double <-> float, Complex<double> <->
// Complex<float>). A narrowing conversion stores 1 into *flag when an element (either part of a
// complex one) lies beyond the single-precision range (an infinity included; a NaN is converted
// and not flagged, as LAPACK's dlag2s does); such an element is still converted (to an
// infinity). A widening conversion never touches the flag (which may then be null).
template <typename From, typename To>
void launchPrecisionConvert(int m, int n, const From* a, int lda, To* b, int ldb, int* flag,
                            cudaStream_t stream = 0);

// The same on one triangle (diagonal included) of the n x n matrix: the upper one when upper.
template <typename From, typename To>
void launchPrecisionConvertTriangular(bool upper, int n, const From* a, int lda, To* b, int ldb,
                                      int* flag, cudaStream_t stream = 0);

}  // namespace zuli
