// utility_kernels.h - launchers of the small building-block kernels the algorithms use: fills,
// copies (also between real and complex arrays), scaling by a device scalar, conjugation of a
// vector, the general matrix norms, machine parameters and a typed memset.
//
// Pointers are device pointers; vectors have an increment (> 0), matrices are column-major with
// a leading dimension. Every launcher queues its kernels on `stream` and launches nothing for an
// empty extent. Element offsets are 64-bit. T is float, double, zuli::Complex<float> or
// zuli::Complex<double> unless noted; R is its real type.
#pragma once

#include "runtime/complex.h"

#include <cuda_runtime_api.h>

#include <cstdint>

namespace zuli {

// A(i, j) = value (0 or 1) for the whole m x n matrix; x(i) = value for n elements; *a = value.
template <typename T>
void launchSetMatrix(int value, int m, int n, T* a, int lda, cudaStream_t stream = 0);
template <typename T>
void launchSetVector(int value, int n, T* x, int incx, cudaStream_t stream = 0);
template <typename T>
void launchSetSingle(int value, T* a, cudaStream_t stream = 0);

// Sets one triangle of the m x n matrix to `value`: the upper (i < j) or lower (i > j) one, the
// diagonal too when includeDiagonal.
template <typename T>
void launchSetTriangularMatrix(bool upper, bool includeDiagonal, int m, int n, T* a, int lda,
                               T value, cudaStream_t stream = 0);

// x(i) = x(i) * (*alpha) when multiply, x(i) = x(i) / (*alpha) otherwise; alpha is a device
// pointer read by the kernel (so it may be the result of earlier device work).
template <typename T>
void launchScale(bool multiply, int n, const T* alpha, T* x, int incx, cudaStream_t stream = 0);

// B = A (m x n); y = x (n elements); *b = *a.
template <typename T>
void launchCopyMatrix(int m, int n, const T* a, int lda, T* b, int ldb, cudaStream_t stream = 0);
template <typename T>
void launchCopyVector(int n, const T* x, int incx, T* y, int incy, cudaStream_t stream = 0);
template <typename T>
void launchCopySingle(const T* a, T* b, cudaStream_t stream = 0);

// Complex B = real A (imaginary parts 0); complex y = real x; real B = the real parts of A.
// R is float or double.
template <typename R>
void launchCopyRealToComplex(int m, int n, const R* a, int lda, Complex<R>* b, int ldb,
                             cudaStream_t stream = 0);
template <typename R>
void launchCopyVectorRealToComplex(int n, const R* x, int incx, Complex<R>* y, int incy,
                                   cudaStream_t stream = 0);
template <typename R>
void launchCopyComplexToReal(int m, int n, const Complex<R>* a, int lda, R* b, int ldb,
                             cudaStream_t stream = 0);

// The imaginary part of the one element *a set to 0 (complex types only).
template <typename T>
void launchMakeRealSingle(T* a, cudaStream_t stream = 0);

// x = conj(x) for n elements (complex types only).
template <typename T>
void launchConjugateVector(int n, T* x, int incx, cudaStream_t stream = 0);

// x(i) = value for n contiguous elements (a memset for any element type, also int).
template <typename T>
void launchTypedMemset(int64_t n, T value, T* x, cudaStream_t stream = 0);

// Element-wise difference / sum of two m x n operands, each read as is ('N') or transposed
// ('T') as opA, opB say: op_B(B) becomes op_A(A) - op_B(B) (resp. op_A(A) + op_B(B)). The result
// goes to B's storage in B's own layout, so every element is read and written by one thread
// (race-free even when B is read transposed). A is n x m when opA is 'T', likewise B.
template <typename T>
void launchSubtractMatrix(char opA, char opB, int m, int n, const T* a, int lda, T* b, int ldb,
                          cudaStream_t stream = 0);
template <typename T>
void launchAddMatrix(char opA, char opB, int m, int n, const T* a, int lda, T* b, int ldb,
                     cudaStream_t stream = 0);

// The complement 1 - x of n elements of a vector, or of one element.
template <typename T>
void launchComplementVector(int n, T* x, int incx, cudaStream_t stream = 0);
template <typename T>
void launchComplementSingle(T* a, cudaStream_t stream = 0);

// The one-norm (equal to the infinity norm) of the n x n Hermitian (for real T: symmetric)
// matrix given by its upper or lower triangle, as LAPACK's lanhe / lansy with norm 'O'; the
// imaginary parts of the diagonal are taken as 0. work: n elements of R; *result on the device.
template <typename T>
void launchLanheOne(bool upper, int n, const T* a, int lda, ToRealT<T>* work, ToRealT<T>* result,
                    cudaStream_t stream = 0);

// The general matrix norms of LAPACK's lange: norm 'M' max |a(i,j)|, '1' or 'O' the largest
// column sum of |a(i,j)|, 'I' the largest row sum, 'F' or 'E' the Frobenius norm (sum of squares
// without scaling: it overflows where |a|^2 does). A NaN element gives a NaN result, as LAPACK's.
// The result is written to the device scalar *result; `work` (device, at least
// langeWorkspace(norm, m, n) elements of R) holds the per-block partial results. For an empty
// matrix the result is 0.
int64_t langeWorkspace(char norm, int m, int n);
template <typename T>
void launchLange(char norm, int m, int n, const T* a, int lda, ToRealT<T>* work, ToRealT<T>* result,
                 cudaStream_t stream = 0);

// *result = LAPACK's lamch(cmach) for R (float or double), computed on the device: 'E' eps,
// 'S' safe minimum, 'B' base, 'P' eps * base, 'N' mantissa digits, 'R' rounding (1), 'M' minimum
// exponent, 'U' underflow threshold, 'L' maximum exponent, 'O' overflow threshold; 0 otherwise.
template <typename R>
void launchLamch(char cmach, R* result, cudaStream_t stream = 0);

}  // namespace zuli
