// householder.cu - the reflector and rotation kernels LARFG_k, LASR_k, LAR2V_k, LARGV_k, LARTV_k
// and their launchers.
//
// Each kernel computes what LAPACK's routine of the same name computes, formula for formula, so
// that the results agree with the host LAPACK's within rounding (a GPU may fuse a multiply and
// an add where the host does not). The machine constants are LAPACK's lamch values: eps is half
// the spacing at 1, the safe minimum the smallest normal number.
#include "kernels/householder.h"

#include "kernels/device_math.cuh"
#include "kernels/launch.cuh"
#include "kernels/maps/maps.h"
#include "runtime/matrix.h"
#include "runtime/precision.h"

#include <cfloat>

namespace zuli {

namespace {

template <typename R>
struct Limits {
    static constexpr bool single = sizeof(R) == sizeof(float);
    static constexpr R huge = single ? R(FLT_MAX) : R(DBL_MAX);
    // larfg's threshold for a tiny beta: lamch('S') / lamch('E') = 2^-102 resp. 2^-969, and its
    // reciprocal (both powers of two, so rescaling by them is exact).
    static constexpr R larfgSafmin = single ? R(0x1p-102f) : R(0x1p-969);
    static constexpr R larfgRsafmn = single ? R(0x1p102f) : R(0x1p969);
    // largv's safe minimum and its scaling bounds 2^int(log2(safmin / eps) / 2).
    static constexpr R safmin = single ? R(FLT_MIN) : R(DBL_MIN);
    static constexpr R safmn2 = single ? R(0x1p-51f) : R(0x1p-484);
    static constexpr R safmx2 = single ? R(0x1p51f) : R(0x1p484);
};

// The larger of two values, a NaN winning (so that a NaN reaches the result).
template <typename R>
ZULI_MAP_DEVICE R maxOrNaN(R a, R b) {
    return (b > a || isnan(b)) ? b : a;
}

// max(|re|, |im|) (LAPACK's abs1 of the complex rotation routines; |x| for a real x).
template <typename T>
ZULI_MAP_DEVICE ToRealT<T> largestPart(const T& x) {
    if constexpr (IsComplexV<T>) {
        return maxOrNaN(fabs(x.re), fabs(x.im));
    } else {
        return fabs(x);
    }
}

// |x / scale|^2 with the division done per part, so that a tiny scale cannot overflow.
template <typename T>
ZULI_MAP_DEVICE ToRealT<T> scaledSquare(const T& x, ToRealT<T> scale) {
    if constexpr (IsComplexV<T>) {
        const ToRealT<T> re = x.re / scale, im = x.im / scale;
        return re * re + im * im;
    } else {
        const T r = x / scale;
        return r * r;
    }
}

// LAPACK's lapy2 and lapy3: sqrt(x^2 + y^2 (+ z^2)) without needless overflow; a NaN argument
// of lapy2 is returned as it is (y's when both are).
template <typename R>
ZULI_MAP_DEVICE R lapy2(R x, R y) {
    if (isnan(y)) return y;
    if (isnan(x)) return x;
    const R xa = fabs(x), ya = fabs(y);
    const R w = xa > ya ? xa : ya, z = xa > ya ? ya : xa;
    if (z == R(0) || w > Limits<R>::huge) return w;
    const R q = z / w;
    return w * sqrt(R(1) + q * q);
}

template <typename R>
ZULI_MAP_DEVICE R lapy3(R x, R y, R z) {
    const R xa = fabs(x), ya = fabs(y), za = fabs(z);
    R w = xa > ya ? xa : ya;
    w = w > za ? w : za;
    if (w == R(0) || w > Limits<R>::huge) return xa + ya + za;
    const R p = xa / w, q = ya / w, r = za / w;
    return w * sqrt(p * p + q * q + r * r);
}

// Reduction of one value per thread over a block of kThreads threads (all must call it); the
// result is returned to every thread.
template <unsigned kThreads, bool Max, typename R>
ZULI_MAP_DEVICE R reduceBlock(R value, R* shared) {
    const unsigned t = threadIdx.x;
    shared[t] = value;
    __syncthreads();
    for (unsigned half = kThreads / 2; half > 0; half /= 2) {
        if (t < half)
            shared[t] = Max ? maxOrNaN(shared[t], shared[t + half]) : shared[t] + shared[t + half];
        __syncthreads();
    }
    const R result = shared[0];
    __syncthreads();  // the buffer may be reused at once
    return result;
}

}  // namespace

// ---- larfg ---------------------------------------------------------------------------------

// One block: the threads share the norm of x (first the largest part, then the sum of squares
// scaled by it, which neither overflows nor underflows), thread 0 computes beta and tau as
// LAPACK's larfg does, and all threads scale x by 1 / (alpha - beta). The rescaling loop for a
// tiny beta multiplies x by powers of two, which is exact: the norm of the rescaled x is the
// scaled norm, and each element is rescaled in registers on its way to the final scaling.
template <typename Map, typename T>
__global__ void LARFG_k(int n, T* alpha, T* x, int incx, T* tau) {
    using R = ToRealT<T>;
    using L = Limits<R>;
    constexpr unsigned kThreads = Map::kBlockSize;
    __shared__ R partial[kThreads];
    __shared__ R factor[2];  // 1 / (alpha - beta), real and imaginary part
    __shared__ int rescalings;
    __shared__ int scaleX;

    const uint64_t count = (n > 1 && incx > 0) ? uint64_t(n - 1) : 0;
    const uint64_t step = uint64_t(incx > 0 ? incx : 0);
    R big = R(0);
    for (uint64_t k = Map::index(); k < count; k += Map::stride())
        big = maxOrNaN(big, largestPart(x[k * step]));
    big = reduceBlock<kThreads, true>(big, partial);
    const bool scalable = big > R(0) && isfinite(big);
    R sum = R(0);
    if (scalable)
        for (uint64_t k = Map::index(); k < count; k += Map::stride())
            sum += scaledSquare(x[k * step], big);
    sum = reduceBlock<kThreads, false>(sum, partial);

    if (threadIdx.x == 0) {
        const R root = sqrt(sum);
        R xnorm = scalable ? big * root : big;  // 0, an infinity or a NaN as they are
        R alphr = real(*alpha), alphi = imag(*alpha);
        scaleX = 0;
        if (xnorm == R(0) && alphi == R(0)) {
            *tau = T(R(0));
        } else {
            auto lapy = [](R a, R b, R c) {
                if constexpr (IsComplexV<T>) {
                    return lapy3(a, b, c);
                } else {
                    return lapy2(a, c);
                }
            };
            R beta = -copysign(lapy(alphr, alphi, xnorm), alphr);
            int knt = 0;
            if (fabs(beta) < L::larfgSafmin) {
                // beta may be inaccurate: scale x and recompute them
                R bigScaled = big;
                do {
                    ++knt;
                    bigScaled *= L::larfgRsafmn;
                    beta *= L::larfgRsafmn;
                    alphi *= L::larfgRsafmn;
                    alphr *= L::larfgRsafmn;
                } while (fabs(beta) < L::larfgSafmin && knt < 20);
                xnorm = scalable ? bigScaled * root : bigScaled;
                beta = -copysign(lapy(alphr, alphi, xnorm), alphr);
            }
            if constexpr (IsComplexV<T>) {
                *tau = T((beta - alphr) / beta, -alphi / beta);
                const T f = T(R(1)) / T(alphr - beta, alphi);
                factor[0] = f.re;
                factor[1] = f.im;
            } else {
                *tau = (beta - alphr) / beta;
                factor[0] = R(1) / (alphr - beta);
                factor[1] = R(0);
            }
            for (int j = 0; j < knt; ++j) beta *= L::larfgSafmin;
            *alpha = T(beta);
            rescalings = knt;
            scaleX = count > 0 ? 1 : 0;
        }
    }
    __syncthreads();
    if (!scaleX) return;
    T f;
    if constexpr (IsComplexV<T>) {
        f = T(factor[0], factor[1]);
    } else {
        f = factor[0];
    }
    const int knt = rescalings;
    for (uint64_t k = Map::index(); k < count; k += Map::stride()) {
        T v = x[k * step];
        for (int j = 0; j < knt; ++j) v = scaleBy(v, L::larfgRsafmn);
        x[k * step] = v * f;
    }
}

template <typename T>
void launchLarfg(int n, T* alpha, T* x, int incx, T* tau, cudaStream_t stream) {
    if (n <= 0) return;
    using Map = cudalib::StaticOneBlockMap1D<32>;
    cudalib::launchOver(Map(uint32_t(n)), LARFG_k<Map, T>, stream, n, alpha, x, incx, tau);
}

// ---- lasr ----------------------------------------------------------------------------------

// One thread per line of A: a column for side 'L' (the rotations mix rows k and k + 1), a row
// for side 'R' (they mix columns). Rotation k is
//     a(k + 1) = c a(k + 1) - s a(k),   a(k) = s a(k + 1) + c a(k)
// on the line's elements, skipped when c = 1 and s = 0, as in LAPACK's lasr. The element that
// the next rotation reads again is carried in a register, so each element is read and written
// once.
template <typename Map, char Side, char Pivot, char Direct, typename T>
__global__ void LASR_k(int m, int n, const ToRealT<T>* c, const ToRealT<T>* s, T* A, int lda) {
    static_assert(Pivot == 'V', "only the variable pivot has a kernel");
    using R = ToRealT<T>;
    constexpr bool left = Side == 'L';
    const uint64_t line = Map::index();
    if (line >= uint64_t(left ? n : m)) return;
    const int length = left ? m : n;
    if (length < 2) return;
    T* p = left ? at(A, lda, 0, int64_t(line)) : at(A, lda, int64_t(line), 0);
    const uint64_t stride = left ? 1 : uint64_t(lda);
    if constexpr (Direct == 'F') {
        T carry = p[0];  // a(k), already rotated by the rotations before k
        for (int k = 0; k + 1 < length; ++k) {
            const R ck = c[k], sk = s[k];
            const T next = p[uint64_t(k + 1) * stride];
            if (ck != R(1) || sk != R(0)) {
                p[uint64_t(k) * stride] = scaleBy(next, sk) + scaleBy(carry, ck);
                carry = scaleBy(next, ck) - scaleBy(carry, sk);
            } else {
                p[uint64_t(k) * stride] = carry;
                carry = next;
            }
        }
        p[uint64_t(length - 1) * stride] = carry;
    } else {
        T carry = p[uint64_t(length - 1) * stride];  // a(k + 1)
        for (int k = length - 2; k >= 0; --k) {
            const R ck = c[k], sk = s[k];
            const T here = p[uint64_t(k) * stride];
            if (ck != R(1) || sk != R(0)) {
                p[uint64_t(k + 1) * stride] = scaleBy(carry, ck) - scaleBy(here, sk);
                carry = scaleBy(carry, sk) + scaleBy(here, ck);
            } else {
                p[uint64_t(k + 1) * stride] = carry;
                carry = here;
            }
        }
        p[0] = carry;
    }
}

template <typename T>
void launchLasr(char side, char direct, int m, int n, const ToRealT<T>* c, const ToRealT<T>* s,
                T* a, int lda, cudaStream_t stream) {
    if (m <= 0 || n <= 0) return;
    if (side == 'L') {
        if (m < 2) return;
        using Map = cudalib::StaticMap1D<128>;
        const Map map{uint32_t(n)};
        if (direct == 'F')
            cudalib::launchOver(map, LASR_k<Map, 'L', 'V', 'F', T>, stream, m, n, c, s, a, lda);
        else
            cudalib::launchOver(map, LASR_k<Map, 'L', 'V', 'B', T>, stream, m, n, c, s, a, lda);
    } else {
        if (n < 2) return;
        using Map = cudalib::StaticMap1D<64>;
        const Map map{uint32_t(m)};
        if (direct == 'F')
            cudalib::launchOver(map, LASR_k<Map, 'R', 'V', 'F', T>, stream, m, n, c, s, a, lda);
        else
            cudalib::launchOver(map, LASR_k<Map, 'R', 'V', 'B', T>, stream, m, n, c, s, a, lda);
    }
}

// ---- lar2v, largv, lartv: one thread per index ---------------------------------------------

template <typename Map, typename T>
__global__ void LAR2V_k(int n, T* x, T* y, T* z, int incx, const ToRealT<T>* c, const T* s,
                        int incc) {
    using R = ToRealT<T>;
    const uint64_t i = Map::index();
    if (i >= uint64_t(n)) return;
    const uint64_t ix = i * uint64_t(incx), ic = i * uint64_t(incc);
    const R ci = c[ic];
    if constexpr (IsComplexV<T>) {
        const R xi = x[ix].re, yi = y[ix].re;
        const T zi = z[ix], si = s[ic];
        const R t1r = si.re * zi.re - si.im * zi.im;
        const R t1i = si.re * zi.im + si.im * zi.re;
        const T t2 = scaleBy(zi, ci);
        const T t3 = t2 - scaleBy(conj(si), xi);
        const T t4 = conj(t2) + scaleBy(si, yi);
        const R t5 = ci * xi + t1r;
        const R t6 = ci * yi - t1r;
        x[ix] = T(ci * t5 + (si.re * t4.re + si.im * t4.im), R(0));
        y[ix] = T(ci * t6 - (si.re * t3.re - si.im * t3.im), R(0));
        z[ix] = scaleBy(t3, ci) + conj(si) * T(t6, t1i);
    } else {
        const R xi = x[ix], yi = y[ix], zi = z[ix], si = s[ic];
        const R t1 = si * zi;
        const R t2 = ci * zi;
        const R t3 = t2 - si * xi;
        const R t4 = t2 + si * yi;
        const R t5 = ci * xi + t1;
        const R t6 = ci * yi - t1;
        x[ix] = ci * t5 + si * t4;
        y[ix] = ci * t6 - si * t3;
        z[ix] = ci * t4 - si * t5;
    }
}

// The real rotation: r takes the sign of the larger of f and g, c >= 0 when |f| > |g| and s >= 0
// otherwise (LAPACK's dlargv, not its lartg).
template <typename R>
ZULI_MAP_DEVICE void generateRealRotation(R f, R g, R& c, R& s, R& r) {
    if (g == R(0)) {
        c = R(1);
        s = g;
        r = f;
    } else if (f == R(0)) {
        c = R(0);
        s = R(1);
        r = g;
    } else if (fabs(f) > fabs(g)) {
        const R t = g / f;
        const R tt = sqrt(R(1) + t * t);
        c = R(1) / tt;
        s = t * c;
        r = f * tt;
    } else {
        const R t = f / g;
        const R tt = sqrt(R(1) + t * t);
        s = R(1) / tt;
        c = t * s;
        r = g * tt;
    }
}

// The complex rotation of LAPACK's clargv (the algorithm of its former clartg): c real and
// non-negative, r with the phase of f; f and g are scaled by powers of two into a range where
// |f|^2 and |g|^2 are safe, and r is scaled back.
template <typename R>
ZULI_MAP_DEVICE void generateComplexRotation(Complex<R> f, Complex<R> g, R& cs, Complex<R>& sn,
                                             Complex<R>& r) {
    using C = Complex<R>;
    using L = Limits<R>;
    R scale = maxOrNaN(largestPart(f), largestPart(g));
    C fs = f, gs = g;
    int count = 0;
    if (scale >= L::safmx2) {
        do {
            ++count;
            fs = scaleBy(fs, L::safmn2);
            gs = scaleBy(gs, L::safmn2);
            scale *= L::safmn2;
        } while (scale >= L::safmx2 && count < 20);
    } else if (scale <= L::safmn2) {
        if (g.re == R(0) && g.im == R(0)) {
            cs = R(1);
            sn = C(R(0), R(0));
            r = f;
            return;
        }
        do {
            --count;
            fs = scaleBy(fs, L::safmx2);
            gs = scaleBy(gs, L::safmx2);
            scale *= L::safmx2;
        } while (scale <= L::safmn2);
    }
    const R f2 = norm(fs), g2 = norm(gs);
    if (f2 <= (g2 > R(1) ? g2 : R(1)) * L::safmin) {
        // f is very small
        if (f.re == R(0) && f.im == R(0)) {
            cs = R(0);
            r = C(lapy2(g.re, g.im), R(0));
            const R d = lapy2(gs.re, gs.im);
            sn = C(gs.re / d, -gs.im / d);
            return;
        }
        const R f2s = lapy2(fs.re, fs.im);
        // g2 and g2s are accurate: g2 is at least safmin, g2s at least safmn2
        const R g2s = sqrt(g2);
        cs = f2s / g2s;
        // make sure |ff| = 1
        C ff;
        if (largestPart(f) > R(1)) {
            const R d = lapy2(f.re, f.im);
            ff = C(f.re / d, f.im / d);
        } else {
            const R dr = L::safmx2 * f.re, di = L::safmx2 * f.im;
            const R d = lapy2(dr, di);
            ff = C(dr / d, di / d);
        }
        sn = ff * C(gs.re / g2s, -gs.im / g2s);
        r = scaleBy(f, cs) + sn * g;
    } else {
        // the usual case
        const R f2s = sqrt(R(1) + g2 / f2);
        r = C(f2s * fs.re, f2s * fs.im);
        cs = R(1) / f2s;
        const R d = f2 + g2;
        sn = C(r.re / d, r.im / d) * conj(gs);
        for (; count > 0; --count) r = scaleBy(r, L::safmx2);
        for (; count < 0; ++count) r = scaleBy(r, L::safmn2);
    }
}

template <typename Map, typename T>
__global__ void LARGV_k(int n, T* x, int incx, T* y, int incy, ToRealT<T>* c, int incc) {
    const uint64_t i = Map::index();
    if (i >= uint64_t(n)) return;
    T& xi = x[i * uint64_t(incx)];
    T& yi = y[i * uint64_t(incy)];
    if constexpr (IsComplexV<T>) {
        generateComplexRotation(xi, yi, c[i * uint64_t(incc)], yi, xi);
    } else {
        generateRealRotation(xi, yi, c[i * uint64_t(incc)], yi, xi);
    }
}

template <typename Map, typename T>
__global__ void LARTV_k(int n, T* x, int incx, T* y, int incy, const ToRealT<T>* c, const T* s,
                        int incc) {
    const uint64_t i = Map::index();
    if (i >= uint64_t(n)) return;
    const uint64_t ic = i * uint64_t(incc);
    T& xi = x[i * uint64_t(incx)];
    T& yi = y[i * uint64_t(incy)];
    const T xv = xi, yv = yi, si = s[ic];
    xi = scaleBy(xv, c[ic]) + si * yv;
    yi = scaleBy(yv, c[ic]) - conj(si) * xv;
}

template <typename T>
void launchLar2v(int n, T* x, T* y, T* z, int incx, const ToRealT<T>* c, const T* s, int incc,
                 cudaStream_t stream) {
    if (n <= 0) return;
    const cudalib::Map1D map{uint32_t(n)};
    cudalib::launchOver(map, LAR2V_k<cudalib::Map1D, T>, stream, n, x, y, z, incx, c, s, incc);
}

template <typename T>
void launchLargv(int n, T* x, int incx, T* y, int incy, ToRealT<T>* c, int incc,
                 cudaStream_t stream) {
    if (n <= 0) return;
    const cudalib::Map1D map{uint32_t(n)};
    cudalib::launchOver(map, LARGV_k<cudalib::Map1D, T>, stream, n, x, incx, y, incy, c, incc);
}

template <typename T>
void launchLartv(int n, T* x, int incx, T* y, int incy, const ToRealT<T>* c, const T* s, int incc,
                 cudaStream_t stream) {
    if (n <= 0) return;
    const cudalib::Map1D map{uint32_t(n)};
    cudalib::launchOver(map, LARTV_k<cudalib::Map1D, T>, stream, n, x, incx, y, incy, c, s, incc);
}

#define ZULI_HOUSEHOLDER_KERNEL_INSTANCES(T)                                                    \
    template void launchLarfg<T>(int, T*, T*, int, T*, cudaStream_t);                           \
    template void launchLasr<T>(char, char, int, int, const ToRealT<T>*, const ToRealT<T>*, T*, \
                                int, cudaStream_t);                                             \
    template void launchLar2v<T>(int, T*, T*, T*, int, const ToRealT<T>*, const T*, int,        \
                                 cudaStream_t);                                                 \
    template void launchLargv<T>(int, T*, int, T*, int, ToRealT<T>*, int, cudaStream_t);        \
    template void launchLartv<T>(int, T*, int, T*, int, const ToRealT<T>*, const T*, int,       \
                                 cudaStream_t);
ZULI_INSTANTIATE(ZULI_HOUSEHOLDER_KERNEL_INSTANCES)
#undef ZULI_HOUSEHOLDER_KERNEL_INSTANCES

}  // namespace zuli
