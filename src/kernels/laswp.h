// laswp.h - row and column interchanges of a device matrix, applied by the GPU.
//
// The interchanges come from a pivot vector in host memory, 1-based as LAPACK's: interchange k
// swaps row (or column) k with row ipiv[k - 1], indices relative to the matrix pointer passed.
// The launchers walk interchanges k1 ... k2 in groups of at most 16, copy each group by value
// into the kernel's parameters (no kernel reads a pivot array from device memory), and launch
// each group over the swept extent in slices of at most 10240 columns (rows for the column
// forms). Nothing is launched when the swept extent is 0 or when k1 is not less than k2: a range
// that holds a single interchange is left unapplied, which the factorizations rely on.
//
//   applyRowInterchanges         rows of the n columns of a, interchanges in increasing order
//   applyRowInterchangesReverse  the same in decreasing order (undoes the former)
//   applyColumnInterchanges      columns of the n rows of a (a transposed matrix), increasing
//   applyColumnInterchangesReverse   decreasing
//
// Defined for float, double, zuli::Complex<float> and zuli::Complex<double>; queued on `stream`.
#pragma once

#include <cuda_runtime_api.h>

#include <cstdint>

namespace zuli {

// Interchanges per launch and the widest slice one launch sweeps.
inline constexpr int kSwapsPerLaunch = 16;
inline constexpr int kSwapSliceWidth = 10240;

template <typename T>
void applyRowInterchanges(int n, T* a, int lda, int k1, int k2, const int* ipiv,
                          cudaStream_t stream = 0);
template <typename T>
void applyRowInterchangesReverse(int n, T* a, int lda, int k1, int k2, const int* ipiv,
                                 cudaStream_t stream = 0);
template <typename T>
void applyColumnInterchanges(int n, T* a, int lda, int k1, int k2, const int* ipiv,
                             cudaStream_t stream = 0);
template <typename T>
void applyColumnInterchangesReverse(int n, T* a, int lda, int k1, int k2, const int* ipiv,
                                    cudaStream_t stream = 0);

// For the LU inverse: moves the strictly lower triangle of the n - j0 rows of block column
// j0 ... j0 + jb - 1 of a into columns 0 ... jb - 1 of work (same rows, leading dimension ldw)
// and sets it to zero in a (0-based j0).
template <typename T>
void launchGetriSplitLower(int n, int j0, int jb, T* a, int lda, T* work, int ldw,
                           cudaStream_t stream = 0);

}  // namespace zuli
