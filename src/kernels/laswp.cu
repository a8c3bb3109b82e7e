// laswp.cu - the interchange kernels LASWP_k, LASWP_inv_k, LASWPCOL_k, LASWPCOL_inv_k and their
// launchers, and the block-column split of the LU inverse.
#include "kernels/laswp.h"

#include "kernels/launch.cuh"
#include "runtime/precision.h"
#include "kernels/maps/maps.h"
#include "runtime/matrix.h"
#include "runtime/complex.h"

namespace zuli {

// Up to 16 interchanges, passed by value: interchange i of the group swaps index offset + i with
// index pivots[i] (both 0-based).
struct swstruct {
    int pivots[kSwapsPerLaunch];
};

namespace {

template <typename T>
ZULI_MAP_DEVICE void swapElements(T* a, uint64_t p, uint64_t q) {
    const T t = a[p];
    a[p] = a[q];
    a[q] = t;
}

// One thread per column batchOffset + k (k < N): rows offset + i and pivots[i] of that column
// are swapped, i in increasing (Reverse false) or decreasing order.
template <typename Map, typename T, bool Reverse>
ZULI_MAP_DEVICE void laswpRows(int N, int offset, T* A, int lda, int NSwaps, int batchOffset,
                               swstruct s) {
    const uint64_t k = Map::index();
    if (k >= uint64_t(N)) return;
    const uint64_t column = (uint64_t(batchOffset) + k) * uint64_t(lda);
    for (int step = 0; step < NSwaps; ++step) {
        const int i = Reverse ? NSwaps - 1 - step : step;
        const int row = offset + i;
        if (s.pivots[i] != row) swapElements(A, column + row, column + uint64_t(s.pivots[i]));
    }
}

// One thread per row batchOffset + k (k < N): columns offset + i and pivots[i] of that row are
// swapped. Consecutive threads touch consecutive elements of a column.
template <typename Map, typename T, bool Reverse>
ZULI_MAP_DEVICE void laswpColumns(int N, int offset, T* A, int lda, int NSwaps, int batchOffset,
                                  swstruct s) {
    const uint64_t k = Map::index();
    if (k >= uint64_t(N)) return;
    const uint64_t row = uint64_t(batchOffset) + k;
    for (int step = 0; step < NSwaps; ++step) {
        const int i = Reverse ? NSwaps - 1 - step : step;
        const int column = offset + i;
        if (s.pivots[i] != column)
            swapElements(A, row + uint64_t(column) * lda, row + uint64_t(s.pivots[i]) * lda);
    }
}

}  // namespace

template <typename Map, typename T>
__global__ void LASWP_k(int N, int offset, T* A, int lda, int NSwaps, int batchOffset, swstruct s) {
    laswpRows<Map, T, false>(N, offset, A, lda, NSwaps, batchOffset, s);
}
template <typename Map, typename T>
__global__ void LASWP_inv_k(int N, int offset, T* A, int lda, int NSwaps, int batchOffset,
                            swstruct s) {
    laswpRows<Map, T, true>(N, offset, A, lda, NSwaps, batchOffset, s);
}
template <typename Map, typename T>
__global__ void LASWPCOL_k(int N, int offset, T* A, int lda, int NSwaps, int batchOffset,
                           swstruct s) {
    laswpColumns<Map, T, false>(N, offset, A, lda, NSwaps, batchOffset, s);
}
template <typename Map, typename T>
__global__ void LASWPCOL_inv_k(int N, int offset, T* A, int lda, int NSwaps, int batchOffset,
                               swstruct s) {
    laswpColumns<Map, T, true>(N, offset, A, lda, NSwaps, batchOffset, s);
}

namespace {

// Walks interchanges k1..k2 (1-based) in groups of 16, in increasing or decreasing order, and
// launches `kernel` for each group over the n swept columns (rows) in slices of 10240.
template <typename T>
void applyInterchanges(void (*kernel)(int, int, T*, int, int, int, swstruct), bool reverse, int n,
                       T* a, int lda, int k1, int k2, const int* ipiv, cudaStream_t stream) {
    if (n <= 0 || k1 >= k2) return;
    const int total = k2 - k1 + 1;
    for (int done = 0; done < total; done += kSwapsPerLaunch) {
        const int count = total - done < kSwapsPerLaunch ? total - done : kSwapsPerLaunch;
        // The group's first interchange (0-based) in the order of application.
        const int first = reverse ? k2 - done - count : k1 - 1 + done;
        swstruct s{};
        for (int i = 0; i < count; ++i) s.pivots[i] = ipiv[first + i] - 1;
        for (int start = 0; start < n; start += kSwapSliceWidth) {
            const int width = n - start < kSwapSliceWidth ? n - start : kSwapSliceWidth;
            cudalib::Map1D map{uint32_t(width)};
            cudalib::launchOver(map, kernel, stream, width, first, a, lda, count, start, s);
        }
    }
}

}  // namespace

template <typename T>
void applyRowInterchanges(int n, T* a, int lda, int k1, int k2, const int* ipiv,
                          cudaStream_t stream) {
    applyInterchanges<T>(LASWP_k<cudalib::Map1D, T>, false, n, a, lda, k1, k2, ipiv, stream);
}
template <typename T>
void applyRowInterchangesReverse(int n, T* a, int lda, int k1, int k2, const int* ipiv,
                                 cudaStream_t stream) {
    applyInterchanges<T>(LASWP_inv_k<cudalib::Map1D, T>, true, n, a, lda, k1, k2, ipiv, stream);
}
template <typename T>
void applyColumnInterchanges(int n, T* a, int lda, int k1, int k2, const int* ipiv,
                             cudaStream_t stream) {
    applyInterchanges<T>(LASWPCOL_k<cudalib::Map1D, T>, false, n, a, lda, k1, k2, ipiv, stream);
}
template <typename T>
void applyColumnInterchangesReverse(int n, T* a, int lda, int k1, int k2, const int* ipiv,
                                    cudaStream_t stream) {
    applyInterchanges<T>(LASWPCOL_inv_k<cudalib::Map1D, T>, true, n, a, lda, k1, k2, ipiv, stream);
}

// One thread per element of the (n - j0) x jb block: the elements below the diagonal move to
// work, the rest of the work block is left alone.
template <typename Map, typename T>
__global__ void GETRI_SPLIT_k(int rows, int jb, T* A, int lda, T* W, int ldw) {
    const uint64_t i = Map::row();
    const uint64_t jj = Map::column();
    if (i >= uint64_t(rows) || jj >= uint64_t(jb) || i <= jj) return;
    T& element = *at(A, lda, i, jj);
    *at(W, ldw, i, jj) = element;
    element = T(0);
}

template <typename T>
void launchGetriSplitLower(int n, int j0, int jb, T* a, int lda, T* work, int ldw,
                           cudaStream_t stream) {
    const int rows = n - j0;
    if (rows <= 0 || jb <= 0) return;
    cudalib::Map2D map{uint32_t(rows), uint32_t(jb)};
    cudalib::launchOver(map, GETRI_SPLIT_k<cudalib::Map2D, T>, stream, rows, jb, at(a, lda, j0, j0),
                        lda, work + j0, ldw);
}

#define ZULI_LASWP_INSTANCES(T)                                                                 \
    template void applyRowInterchanges<T>(int, T*, int, int, int, const int*, cudaStream_t);    \
    template void applyRowInterchangesReverse<T>(int, T*, int, int, int, const int*,            \
                                                 cudaStream_t);                                 \
    template void applyColumnInterchanges<T>(int, T*, int, int, int, const int*, cudaStream_t); \
    template void applyColumnInterchangesReverse<T>(int, T*, int, int, int, const int*,         \
                                                    cudaStream_t);                              \
    template void launchGetriSplitLower<T>(int, int, int, T*, int, T*, int, cudaStream_t);
ZULI_INSTANTIATE(ZULI_LASWP_INSTANCES)
#undef ZULI_LASWP_INSTANCES

}  // namespace zuli
