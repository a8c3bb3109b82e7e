// reflector_shift.cu - the kernels ShiftReflectorsRight_k, ShiftReflectorsLeft_k,
// ShiftReflectorsDown_k and their launcher (see reflector_shift.h).
#include "kernels/reflector_shift.h"

#include "kernels/launch.cuh"
#include "kernels/maps/maps.h"
#include "runtime/complex.h"
#include "runtime/matrix.h"
#include "runtime/precision.h"

namespace zuli {

namespace {

// Thread i walks row i from the right.
template <typename Map, typename T>
__global__ void ShiftReflectorsRight_k(int n, T* A, int lda) {
    const uint64_t i = Map::index();
    if (i >= uint64_t(n)) return;
    if (i == 0) {
        *at(A, lda, 0, 0) = T(1);
        for (uint64_t j = 1; j < uint64_t(n); ++j) *at(A, lda, 0, j) = T(0);
        return;
    }
    for (uint64_t j = i - 1; j >= 1; --j) *at(A, lda, i, j) = *at(A, lda, i, j - 1);
    *at(A, lda, i, 0) = T(0);
}

// Thread i walks row i from the left.
template <typename Map, typename T>
__global__ void ShiftReflectorsLeft_k(int n, T* A, int lda) {
    const uint64_t i = Map::index(), last = uint64_t(n) - 1;
    if (i >= uint64_t(n)) return;
    if (i == last) {
        for (uint64_t j = 0; j < last; ++j) *at(A, lda, last, j) = T(0);
        *at(A, lda, last, last) = T(1);
        return;
    }
    for (uint64_t j = i + 1; j < last; ++j) *at(A, lda, i, j) = *at(A, lda, i, j + 1);
    *at(A, lda, i, last) = T(0);
}

// Thread j walks column j from the bottom of its strictly upper part.
template <typename Map, typename T>
__global__ void ShiftReflectorsDown_k(int n, T* A, int lda) {
    const uint64_t j = Map::index();
    if (j >= uint64_t(n)) return;
    if (j == 0) {
        *at(A, lda, 0, 0) = T(1);
        for (uint64_t i = 1; i < uint64_t(n); ++i) *at(A, lda, i, 0) = T(0);
        return;
    }
    for (uint64_t i = j - 1; i >= 1; --i) *at(A, lda, i, j) = *at(A, lda, i - 1, j);
    *at(A, lda, 0, j) = T(0);
}

}  // namespace

template <typename T>
void launchShiftReflectors(ReflectorShift shift, int n, T* a, int lda, cudaStream_t stream) {
    if (n < 1) return;
    cudalib::Map1D map{static_cast<uint32_t>(n)};
    using M = cudalib::Map1D;
    switch (shift) {
        case ReflectorShift::Right:
            cudalib::launchOver(map, ShiftReflectorsRight_k<M, T>, stream, n, a, lda);
            break;
        case ReflectorShift::Left:
            cudalib::launchOver(map, ShiftReflectorsLeft_k<M, T>, stream, n, a, lda);
            break;
        case ReflectorShift::Down:
            cudalib::launchOver(map, ShiftReflectorsDown_k<M, T>, stream, n, a, lda);
            break;
    }
}

#define ZULI_SHIFT_INSTANCES(T) \
    template void launchShiftReflectors<T>(ReflectorShift, int, T*, int, cudaStream_t);
ZULI_INSTANTIATE(ZULI_SHIFT_INSTANCES)
#undef ZULI_SHIFT_INSTANCES

}  // namespace zuli
