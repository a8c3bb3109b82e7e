// eigen_kernels.h - launchers of the kernels of the eigensolvers: the back-transformation of a
// balancing (LAPACK's gebak) and the normalisation of eigenvectors as LAPACK's geev leaves them.
//
// Pointers are device pointers, matrices column-major with a leading dimension; every launcher
// queues its kernel on `stream` and launches nothing for an empty extent. T is float, double,
// zuli::Complex<float> or zuli::Complex<double>; R its real type.
#pragma once

#include "runtime/complex.h"

#include <cuda_runtime_api.h>

namespace zuli {

// V = D V (right eigenvectors) or D^-1 V (left; `left` true) for the balancing scale factors D of
// rows ilo ... ihi (1-based; none when ilo = ihi), then the rows interchanged as the balancing's
// permutation says (rows ilo - 1 down to 1, then ihi + 1 up to n), for the m columns of the
// n-row V. scale: the n values LAPACK's gebal returns (factors, and 1-based row indices outside
// ilo ... ihi). One thread per column.
template <typename T>
void launchGebak(bool left, int n, int m, int ilo, int ihi, const ToRealT<T>* scale, T* v, int ldv,
                 cudaStream_t stream = 0);

// Each of the m eigenvectors (columns of the n-row V) scaled to Euclidean norm 1 and its
// component of largest magnitude made real, as LAPACK's geev does it. For the real types wi holds
// the imaginary parts of the eigenvalues: a column j with wi[j] = 0 is a real vector; wi[j] > 0
// starts a complex pair (columns j and j + 1 are its real and imaginary parts), which is scaled
// as one vector and rotated so that the imaginary part of its largest component is 0; the
// columns of other values (the pair's second, a NaN) are left as they are. For the complex types
// wi is not read (may be null). One block of 256 threads per column.
template <typename T>
void launchNormalizeEigenvectors(int n, int m, const ToRealT<T>* wi, T* v, int ldv,
                                 cudaStream_t stream = 0);

}  // namespace zuli
