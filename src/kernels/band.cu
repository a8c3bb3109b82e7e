// band.cu - GBTRF_SWAP_k, the interchanges of a band LU panel applied to the columns on its right.
#include "kernels/band.h"

#include "kernels/launch.cuh"
#include "runtime/precision.h"
#include "kernels/laswp.h"
#include "kernels/maps/maps.h"
#include "runtime/complex.h"

namespace zuli {

// Up to 16 interchanges by value: interchange i of the group swaps row first + i with pivots[i]
// (both 0-based).
struct BandSwaps {
    int pivots[kSwapsPerLaunch];
};

// One thread per column k < N; the group's interchanges are applied in increasing order, each
// only where its first row lies in the band of the column (row >= k + skew).
template <typename Map, typename T>
__global__ void GBTRF_SWAP_k(int N, T* A, int lda, int NSwaps, int first, int skew, BandSwaps s) {
    const uint64_t k = Map::index();
    if (k >= uint64_t(N)) return;
    T* column = A + k * uint64_t(lda);
    for (int i = 0; i < NSwaps; ++i) {
        const int row = first + i;
        const int pivot = s.pivots[i];
        if (pivot == row || int64_t(row) < int64_t(k) + skew) continue;
        const T t = column[row];
        column[row] = column[pivot];
        column[pivot] = t;
    }
}

template <typename T>
void applyBandRowInterchanges(int n, T* a, int lda, int count, const int* ipiv, int skew,
                              cudaStream_t stream) {
    if (n <= 0 || count <= 0) return;
    cudalib::Map1D map{uint32_t(n)};
    for (int first = 0; first < count; first += kSwapsPerLaunch) {
        const int group = count - first < kSwapsPerLaunch ? count - first : kSwapsPerLaunch;
        BandSwaps s{};
        for (int i = 0; i < group; ++i) s.pivots[i] = ipiv[first + i] - 1;
        cudalib::launchOver(map, GBTRF_SWAP_k<cudalib::Map1D, T>, stream, n, a, lda, group, first,
                            skew, s);
    }
}

#define ZULI_BAND_INSTANCES(T) \
    template void applyBandRowInterchanges<T>(int, T*, int, int, const int*, int, cudaStream_t);
ZULI_INSTANTIATE(ZULI_BAND_INSTANCES)
#undef ZULI_BAND_INSTANCES

}  // namespace zuli
