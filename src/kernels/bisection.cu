// bisection.cu - STEBZ_k and its launcher (see bisection.h).
#include "kernels/bisection.h"

#include "kernels/launch.cuh"
#include "kernels/maps/maps.h"

#include <cstdint>

namespace zuli {

namespace {

// The number of eigenvalues of the block (rows d[0 .. order), off-diagonal e) that are <= x, as
// stebz counts them.
template <typename R>
__device__ int sturmCount(int order, const R* d, const R* e, R x, R pivmin) {
    R pivot = d[0] - x;
    int count = 0;
    if (pivot <= pivmin) {
        ++count;
        pivot = pivot < -pivmin ? pivot : -pivmin;
    }
    for (int j = 1; j < order; ++j) {
        pivot = d[j] - (e[j - 1] * e[j - 1]) / pivot - x;
        if (pivot <= pivmin) {
            ++count;
            pivot = pivot < -pivmin ? pivot : -pivmin;
        }
    }
    return count;
}

template <typename Map, typename R>
__global__ void STEBZ_k(int m, int nblocks, const R* d, const R* e, const int* blocks,
                        const R* bounds, R pivmin, R rtol, R* w, int* iblock, int* flag) {
    const uint64_t t = Map::index();
    if (t >= uint64_t(m)) return;
    // The last block whose first position is <= t.
    int lo = 0, hi = nblocks - 1;
    while (lo < hi) {
        const int mid = (lo + hi + 1) / 2;
        if (uint64_t(blocks[mid * kBisectionIntFields + kBisectionPosition]) <= t)
            lo = mid;
        else
            hi = mid - 1;
    }
    const int* b = blocks + lo * kBisectionIntFields;
    const R* bound = bounds + lo * kBisectionRealFields;
    const int first = b[kBisectionFirstRow], order = b[kBisectionOrder];
    if (order == 1) {
        w[t] = d[first];
        iblock[t] = b[kBisectionNumber];
        return;
    }
    const int k = b[kBisectionCountBelow] + 1 + int(t - uint64_t(b[kBisectionPosition]));
    R left = bound[kBisectionLower], right = bound[kBisectionUpper];
    const R tolerance = bound[kBisectionTolerance] > pivmin ? bound[kBisectionTolerance] : pivmin;
    bool converged = false;
    for (int step = 0; step < b[kBisectionSteps] && !converged; ++step) {
        const R x = R(0.5) * (left + right);
        if (sturmCount(order, d + first, e + first, x, pivmin) >= k)
            right = x;
        else
            left = x;
        const R width = right - left < 0 ? left - right : right - left;
        const R al = left < 0 ? -left : left, ar = right < 0 ? -right : right;
        const R relative = rtol * (al > ar ? al : ar);
        converged = width < (tolerance > relative ? tolerance : relative);
    }
    w[t] = R(0.5) * (left + right);
    iblock[t] = converged ? b[kBisectionNumber] : -b[kBisectionNumber];
    if (!converged) *flag = 1;
}

}  // namespace

template <typename R>
void launchBisection(int m, int nblocks, const R* d, const R* e, const int* blocks, const R* bounds,
                     R pivmin, R rtol, R* w, int* iblock, int* flag, cudaStream_t stream) {
    if (m < 1 || nblocks < 1) return;
    cudalib::Map1D map{static_cast<uint32_t>(m)};
    cudalib::launchOver(map, STEBZ_k<cudalib::Map1D, R>, stream, m, nblocks, d, e, blocks, bounds,
                        pivmin, rtol, w, iblock, flag);
}

template void launchBisection<float>(int, int, const float*, const float*, const int*, const float*,
                                     float, float, float*, int*, int*, cudaStream_t);
template void launchBisection<double>(int, int, const double*, const double*, const int*,
                                      const double*, double, double, double*, int*, int*,
                                      cudaStream_t);

}  // namespace zuli
