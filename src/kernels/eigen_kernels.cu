// eigen_kernels.cu - GEBAK_k and NormalizeEigenvectors_k and their launchers.
#include "kernels/eigen_kernels.h"

#include "kernels/device_math.cuh"
#include "kernels/launch.cuh"
#include "kernels/maps/maps.h"
#include "runtime/matrix.h"
#include "runtime/precision.h"

namespace zuli {

namespace {

constexpr unsigned kNormalizeThreads = 256;

// Block-wide sum and maximum of one value per thread (all threads call them and get the result).
template <typename R>
ZULI_MAP_DEVICE R blockSum(R value, R* shared) {
    const unsigned t = threadIdx.x;
    shared[t] = value;
    __syncthreads();
    for (unsigned half = kNormalizeThreads / 2; half > 0; half /= 2) {
        if (t < half) shared[t] += shared[t + half];
        __syncthreads();
    }
    const R result = shared[0];
    __syncthreads();
    return result;
}

template <typename R>
ZULI_MAP_DEVICE R blockMax(R value, R* shared) {
    const unsigned t = threadIdx.x;
    shared[t] = value;
    __syncthreads();
    for (unsigned half = kNormalizeThreads / 2; half > 0; half /= 2) {
        if (t < half && shared[t + half] > shared[t]) shared[t] = shared[t + half];
        __syncthreads();
    }
    const R result = shared[0];
    __syncthreads();
    return result;
}

// The Euclidean norm of the n-element column x, without overflow: max |x_i| times the norm of
// x / max |x_i|.
template <typename T, typename R>
ZULI_MAP_DEVICE R columnNorm(int n, const T* x, R* shared) {
    R largest = R(0);
    for (uint64_t i = threadIdx.x; i < uint64_t(n); i += kNormalizeThreads)
        largest = fmax(largest, abs(x[i]));
    largest = blockMax(largest, shared);
    if (!(largest > R(0))) return largest;
    R sum = R(0);
    for (uint64_t i = threadIdx.x; i < uint64_t(n); i += kNormalizeThreads) {
        const R a = abs(x[i]) / largest;
        sum += a * a;
    }
    return largest * sqrt(blockSum(sum, shared));
}

// The first index of the largest value over the block (value -1 for threads without one).
template <typename R>
ZULI_MAP_DEVICE int blockArgMax(R value, int index, R* shared, int* where) {
    const unsigned t = threadIdx.x;
    shared[t] = value;
    where[t] = index;
    __syncthreads();
    for (unsigned half = kNormalizeThreads / 2; half > 0; half /= 2) {
        if (t < half) {
            const R v = shared[t + half];
            const int w = where[t + half];
            if (v > shared[t] || (v == shared[t] && w >= 0 && w < where[t])) {
                shared[t] = v;
                where[t] = w;
            }
        }
        __syncthreads();
    }
    const int result = where[0];
    __syncthreads();
    return result;
}

}  // namespace

template <typename Map, typename T, typename R>
__global__ void GEBAK_k(bool left, int n, int m, int ilo, int ihi, const R* scale, T* V, int ldv) {
    const uint64_t j = Map::index();
    if (j >= uint64_t(m)) return;
    T* v = at(V, ldv, 0, j);
    if (ilo != ihi)
        for (int i = ilo - 1; i < ihi; ++i) v[i] = scaleBy(v[i], left ? R(1) / scale[i] : scale[i]);
    for (int ii = 1; ii <= n; ++ii) {
        if (ii >= ilo && ii <= ihi) continue;
        const int i = ii < ilo ? ilo - ii : ii;
        const int k = int(scale[i - 1]);
        if (k == i) continue;
        const T t = v[i - 1];
        v[i - 1] = v[k - 1];
        v[k - 1] = t;
    }
}

template <typename Map, typename T, typename R>
__global__ void NormalizeEigenvectors_k(int n, int m, const R* wi, T* V, int ldv) {
    __shared__ R shared[kNormalizeThreads];
    __shared__ int where[kNormalizeThreads];
    const uint64_t j = Map::line();
    T* x = at(V, ldv, 0, j);
    if constexpr (IsComplexV<T>) {
        // x / ||x||, then times conj(x_k) / |x_k| for the first k of largest |x_k|.
        const R scl = R(1) / columnNorm(n, x, shared);
        R best = R(-1);
        int k = -1;
        for (uint64_t i = threadIdx.x; i < uint64_t(n); i += kNormalizeThreads) {
            x[i] = scaleBy(x[i], scl);
            const R size = norm(x[i]);
            if (size > best) {
                best = size;
                k = int(i);
            }
        }
        k = blockArgMax(best, k, shared, where);
        if (k < 0) return;
        const T xk = x[k];
        __syncthreads();
        const T rotation = conj(xk) / sqrt(norm(xk));
        for (uint64_t i = threadIdx.x; i < uint64_t(n); i += kNormalizeThreads)
            x[i] = x[i] * rotation;
        __syncthreads();
        if (threadIdx.x == 0) x[k] = T(real(x[k]), R(0));
    } else {
        const R w = wi[j];
        const bool pair = w > R(0) && j + 1 < uint64_t(m);
        if (!(w == R(0)) && !pair) return;  // a pair's second column, or a NaN
        if (!pair) {
            const R scl = R(1) / columnNorm(n, x, shared);
            for (uint64_t i = threadIdx.x; i < uint64_t(n); i += kNormalizeThreads) x[i] *= scl;
            return;
        }
        T* y = x + ldv;
        const R nx = columnNorm(n, x, shared);
        const R ny = columnNorm(n, y, shared);
        const R scl = R(1) / hypot(nx, ny);
        R best = R(-1);
        int k = -1;
        for (uint64_t i = threadIdx.x; i < uint64_t(n); i += kNormalizeThreads) {
            x[i] *= scl;
            y[i] *= scl;
            const R size = x[i] * x[i] + y[i] * y[i];
            if (size > best) {
                best = size;
                k = int(i);
            }
        }
        k = blockArgMax(best, k, shared, where);
        if (k < 0) return;
        // The rotation of LAPACK's lartg that takes (x_k, y_k) to (r, 0), r with the sign of x_k.
        const R f = x[k], g = y[k];
        __syncthreads();
        const R d = hypot(f, g);
        if (!(d > R(0))) return;
        const R c = fabs(f) / d;
        const R r = copysign(d, f);
        const R s = g / r;
        for (uint64_t i = threadIdx.x; i < uint64_t(n); i += kNormalizeThreads) {
            const R a = x[i], b = y[i];
            x[i] = c * a + s * b;
            y[i] = c * b - s * a;
        }
        __syncthreads();
        if (threadIdx.x == 0) y[k] = R(0);
    }
}

template <typename T>
void launchGebak(bool left, int n, int m, int ilo, int ihi, const ToRealT<T>* scale, T* v, int ldv,
                 cudaStream_t stream) {
    if (n <= 0 || m <= 0) return;
    cudalib::Map1D map{static_cast<uint32_t>(m)};
    cudalib::launchOver(map, GEBAK_k<cudalib::Map1D, T, ToRealT<T>>, stream, left, n, m, ilo, ihi,
                        scale, v, ldv);
}

template <typename T>
void launchNormalizeEigenvectors(int n, int m, const ToRealT<T>* wi, T* v, int ldv,
                                 cudaStream_t stream) {
    if (n <= 0 || m <= 0) return;
    using Map = cudalib::StaticColumnWiseMap<kNormalizeThreads>;
    cudalib::launchOver(Map(uint32_t(n), uint32_t(m)), NormalizeEigenvectors_k<Map, T, ToRealT<T>>,
                        stream, n, m, wi, v, ldv);
}

#define ZULI_EIGEN_KERNEL_INSTANCES(T)                                                 \
    template void launchGebak<T>(bool, int, int, int, int, const ToRealT<T>*, T*, int, \
                                 cudaStream_t);                                        \
    template void launchNormalizeEigenvectors<T>(int, int, const ToRealT<T>*, T*, int, \
                                                 cudaStream_t);
ZULI_INSTANTIATE(ZULI_EIGEN_KERNEL_INSTANCES)
#undef ZULI_EIGEN_KERNEL_INSTANCES

}  // namespace zuli
