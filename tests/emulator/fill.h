// fill.h - a test kernel: set every element of a device submatrix to one value.
#pragma once

#include <cuda_runtime_api.h>

#include <cstdint>

namespace cudalib {

// a[i + j * ld] = value for 0 <= i < rows, 0 <= j < cols: a column-major rows x cols matrix in
// device memory with leading dimension ld >= rows (elements). Offsets are 64-bit. Queued on
// `stream`; nothing is launched when rows or cols is 0. Defined for float, double,
// zuli::Complex<float>, zuli::Complex<double> and int.
template <typename T>
void fill(T* a, int64_t ld, int rows, int cols, T value, cudaStream_t stream);

}  // namespace cudalib
