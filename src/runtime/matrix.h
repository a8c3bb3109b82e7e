// matrix.h - addressing column-major matrices, in host and in kernel code.
#pragma once

#include "runtime/complex.h"

#include <cstdint>

namespace zuli {

// The address of element (i, j) (0-based) of the column-major matrix a with leading dimension
// ld. The offset is computed in 64 bits, so that matrices of more than 2^31 elements are
// addressed correctly.
template <typename T>
ZULI_HD constexpr T* at(T* a, int64_t ld, int64_t i, int64_t j) {
    return a + i + j * ld;
}

}  // namespace zuli
