// band.h - row interchanges inside a band matrix stored as LAPACK's gbtrf stores it.
//
// The band LU applies the interchanges of a panel to the columns on its right through the
// general view of the band storage (element (i, j) of the matrix at ab + kv + i + j (ldab - 1)).
// In that view a column holds only the rows within kv = kl + ku of its diagonal; an element above
// that is not stored (its address belongs to another column), so an interchange of such a row is
// skipped in that column. The rows outside the band are zero there, as are the rows they would be
// swapped with, so skipping loses nothing.
#pragma once

#include <cuda_runtime_api.h>

namespace zuli {

// Applies the `count` interchanges in ipiv (host memory, 1-based, relative to a: interchange k
// swaps rows k and ipiv[k - 1]) in increasing order to the n columns of a (leading dimension lda,
// the general view). Column c applies interchange k only when row k - 1 lies in the band of that
// column, that is when k - 1 >= c + skew (skew = columns between the rows' top and a's first
// column minus kv). The pivots reach the kernel by value, 16 at a time. Defined for float,
// double, Complex<float> and Complex<double>; queued on `stream`.
template <typename T>
void applyBandRowInterchanges(int n, T* a, int lda, int count, const int* ipiv, int skew,
                              cudaStream_t stream = 0);

}  // namespace zuli
