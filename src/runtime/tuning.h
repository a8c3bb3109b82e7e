// tuning.h - block sizes: how many columns a blocked algorithm hands to the host at a time.
//
// Everything is derived from one base block size per precision and device generation; each
// blocked routine uses a fixed multiple of it, named here so that the choices are in one place.
#pragma once

#include "runtime/complex.h"

#include <type_traits>

namespace zuli {

// True for the first generation of double-capable devices (capability codes 10 to 13), which
// get their own block sizes.
constexpr bool isFirstGeneration(int capabilityCode) {
    return capabilityCode >= 10 && capabilityCode <= 13;
}

// The base block size of a precision on a device. Z is smaller on newer devices than on the
// first generation, on purpose: its blocks are the most expensive to factor on the host.
template <typename T>
constexpr int baseBlockSize(int capabilityCode) {
    const bool first = isFirstGeneration(capabilityCode);
    if constexpr (std::is_same_v<T, float>)
        return first ? 32 : 96;
    else if constexpr (std::is_same_v<T, double>)
        return first ? 48 : 64;
    else if constexpr (std::is_same_v<T, Complex<float>>)
        return first ? 32 : 64;
    else {
        static_assert(std::is_same_v<T, Complex<double>>, "no block size for this type");
        return first ? 48 : 32;
    }
}

// The blocked factorizations and inversions (getrf, potrf, potri, trtri): twice the base block
// size.
template <typename T>
constexpr int factorBlockSize(int capabilityCode) {
    return 2 * baseBlockSize<T>(capabilityCode);
}

// The band factorizations (gbtrf, pbtrf): the base block size; narrower bands are factored on
// the host as a whole.
template <typename T>
constexpr int bandBlockSize(int capabilityCode) {
    return baseBlockSize<T>(capabilityCode);
}

// The orthogonal factorizations and the generation and application of their Q (geqrf, gelqf,
// geqlf, gerqf, geqrfp, orgqr, ormqr and kin): the base block size.
template <typename T>
constexpr int qrBlockSize(int capabilityCode) {
    return baseBlockSize<T>(capabilityCode);
}

// The two-sided reductions (gebrd, sytrd / hetrd): panels of the base block size. Their cost per
// column is fixed by the matrix-vector products against the trailing matrix, which the GPU runs
// whatever nb is; nb only decides how much of the work the trailing update's gemm (her2k) does
// and how much host work the panel takes (O(n^2 nb)), and the base block size balances the two
// as it does for the QR panels.
template <typename T>
constexpr int reductionBlockSize(int capabilityCode) {
    return baseBlockSize<T>(capabilityCode);
}

// The order (min(m, n) for gebrd) up to which a two-sided reduction runs on the host LAPACK
// whole; beyond it the blocked hybrid leaves its last block of at most this order to the host.
// Every column of the hybrid costs one (sytrd) or two (gebrd) round trips to the GPU, some 30
// microseconds each on a PCIe device whatever the size, while the host reduces a matrix of this
// order in about the time those round trips take.
template <typename T>
constexpr int reductionHostOrder() {
    return IsComplexV<T> ? 192 : 256;
}

// The Hessenberg reduction (gehrd) reduces panels of this many columns, whatever the precision
// and device: its panels are latency-bound (one matrix-vector product on the GPU per column), so
// a wider panel gains little on the GPU and costs host work. Panels are taken while more than
// kHessenbergHostColumns columns of the active block follow them; the remaining columns (a whole
// active block of at most kHessenbergHostColumns + 1) are reduced on the host in one piece: the
// same split as LAPACK's gehrd, whose blocked steps the hybrid replaces.
inline constexpr int kHessenbergBlockSize = 32;
inline constexpr int kHessenbergHostColumns = 128;

// The reduction of the generalized symmetric-definite eigenproblem to standard form (sygst):
// blocks of 64 on the first generation and 128 on later devices, for every precision. Its host
// step (sygs2 on a diagonal block) is cheap next to the rank-2k update of the rest, so the block is
// wide and the same for all four types rather than scaled by each one's base block size.
constexpr int generalizedBlockSize(int capabilityCode) {
    return isFirstGeneration(capabilityCode) ? 64 : 128;
}

// The LU inverse works on block columns of this width, whatever the precision and device.
inline constexpr int kInverseBlockSize = 64;

// Tridiagonal matrices of this order and above have their eigenvalues bisected on the GPU (stebz),
// smaller ones by the host LAPACK (see eigen/stebz.cpp for the measurement behind it).
inline constexpr int kBisectionHostOrder = 64;

// Square LU factorizations of this order and above take the transposed path.
inline constexpr int kTransposedLuOrder = 513;

}  // namespace zuli
