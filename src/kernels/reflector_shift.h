// reflector_shift.h - moving the reflectors of a two-sided reduction by one place, on the GPU.
//
// The reductions to bidiagonal and tridiagonal form store their reflectors one column (or row)
// off the diagonal: reflector j of a lower-stored tridiagonal reduction lies below the
// subdiagonal of column j. Generating Q with the QR-family routines needs them where a QR
// factorization would leave them, so orgbr and orgtr first move them by one place and make the
// freed row and column those of the unit matrix, in place, as LAPACK's do:
//
//   Right  column j of the strictly lower part takes column j - 1's (a(i, j) = a(i, j - 1) for
//          i > j >= 1); row 0 and column 0 become e_0;
//   Left   column j of the strictly upper part takes column j + 1's (a(i, j) = a(i, j + 1) for
//          i < j <= n - 2); row n - 1 and column n - 1 become e_(n-1);
//   Down   row i of the strictly upper part takes row i - 1's (a(i, j) = a(i - 1, j) for
//          1 <= i < j); row 0 and column 0 become e_0.
//
// Elements not named keep their values. One thread walks one row (Right, Left: the threads of a
// warp touch consecutive elements of a column) or one column (Down), so the shift is in place
// without races. Defined for float, double, zuli::Complex<float> and zuli::Complex<double> on the
// square n x n matrix a; queued on `stream`, nothing launched for n < 1.
#pragma once

#include <cuda_runtime_api.h>

namespace zuli {

enum class ReflectorShift { Right, Left, Down };

template <typename T>
void launchShiftReflectors(ReflectorShift shift, int n, T* a, int lda, cudaStream_t stream = 0);

}  // namespace zuli
