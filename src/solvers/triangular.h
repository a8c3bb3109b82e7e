// triangular.h - what the triangular routines share with their exported entry points.
#pragma once

#include "solvers/host_adapter.h"

namespace zuli {

// Raises zuliDataError with the 1-based position of the first diagonal element of the n x n
// device matrix a that is exactly zero (-0.0 included; both parts for complex). The n elements
// come to the host in one strided copy; nothing else is read or written.
template <typename T>
void requireNonzeroDiagonal(int n, const T* a, int lda);

}  // namespace zuli
