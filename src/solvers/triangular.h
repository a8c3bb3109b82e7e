// triangular.h - what the triangular routines share with their exported entry points.
#pragma once

#include "solvers/host_adapter.h"

namespace zuli {

// Raises zuliDataError with the 1-based position of the first diagonal element of the n x n
// device matrix a that is exactly zero (-0.0 included; both parts for complex). The n elements
// come to the host in one strided copy; nothing else is read or written.
template <typename T>
void requireNonzeroDiagonal(int n, const T* a, int lda);

// The block size of the blocked triangular inverse on a device: twice the precision's base block
// size. Orders up to it are inverted on the host in one piece.
template <typename T>
constexpr int trtriBlockSize(int capabilityCode) {
    return 2 * baseBlockSize<T>(capabilityCode);
}

}  // namespace zuli
