// device_math.cuh - the math functions and atomics the library's kernels may use.
//
// The same names work in both flavors (nvcc for the GPU, host C++ for the emulated GPU) and
// for every precision: zuli::sqrt, zuli::fabs, zuli::isnan, ... take float, double and, where
// it has a meaning, zuli::Complex<T>. Kernels use these, not <cmath> and not the CUDA
// intrinsics directly, so that both builds compute the same thing.
//
// Atomics keep CUDA's names and signatures (atomicAdd, atomicMax, atomicMin, atomicCAS,
// atomicExch) for the types listed below. On the GPU they are the hardware's; in the emulated
// build they are real atomic operations (grids of different host threads may run at once), and
// an atomic on any other type does not compile.
#pragma once

#include "runtime/complex.h"

#include <cfloat>
#include <cmath>

#if !defined(__CUDACC__) && !defined(ZULI_EMULATED)
#error "device_math.cuh is for .cu files (compiled by nvcc, or for the emulated GPU)"
#endif

namespace zuli {

// ---- real functions -------------------------------------------------------------------------------

ZULI_HD inline float sqrt(float x) { return ::sqrtf(x); }
ZULI_HD inline double sqrt(double x) { return ::sqrt(x); }
ZULI_HD inline float fabs(float x) { return ::fabsf(x); }
ZULI_HD inline double fabs(double x) { return ::fabs(x); }
ZULI_HD inline float abs(float x) { return ::fabsf(x); }
ZULI_HD inline double abs(double x) { return ::fabs(x); }
// fmax/fmin return the other argument when one is NaN, as C's do.
ZULI_HD inline float fmax(float a, float b) { return ::fmaxf(a, b); }
ZULI_HD inline double fmax(double a, double b) { return ::fmax(a, b); }
ZULI_HD inline float fmin(float a, float b) { return ::fminf(a, b); }
ZULI_HD inline double fmin(double a, double b) { return ::fmin(a, b); }
ZULI_HD inline float copysign(float magnitude, float sign) { return ::copysignf(magnitude, sign); }
ZULI_HD inline double copysign(double magnitude, double sign) { return ::copysign(magnitude, sign); }
ZULI_HD inline float hypot(float a, float b) { return ::hypotf(a, b); }
ZULI_HD inline double hypot(double a, double b) { return ::hypot(a, b); }
// Fused a * b + c, one rounding.
ZULI_HD inline float fma(float a, float b, float c) { return ::fmaf(a, b, c); }
ZULI_HD inline double fma(double a, double b, double c) { return ::fma(a, b, c); }
ZULI_HD inline float exp(float x) { return ::expf(x); }
ZULI_HD inline double exp(double x) { return ::exp(x); }
ZULI_HD inline float log(float x) { return ::logf(x); }
ZULI_HD inline double log(double x) { return ::log(x); }
ZULI_HD inline float pow(float x, float y) { return ::powf(x, y); }
ZULI_HD inline double pow(double x, double y) { return ::pow(x, y); }

// Classification by comparison, identical in both flavors.
ZULI_HD inline bool isnan(float x) { return x != x; }
ZULI_HD inline bool isnan(double x) { return x != x; }
ZULI_HD inline bool isinf(float x) { return x > FLT_MAX || x < -FLT_MAX; }
ZULI_HD inline bool isinf(double x) { return x > DBL_MAX || x < -DBL_MAX; }
ZULI_HD inline bool isfinite(float x) { return x <= FLT_MAX && x >= -FLT_MAX; }
ZULI_HD inline bool isfinite(double x) { return x <= DBL_MAX && x >= -DBL_MAX; }

// ---- complex functions ----------------------------------------------------------------------------
// abs, norm, conj, real and imag are in runtime/complex.h.

// The element of type T (real or complex) with the integer value v.
template <typename T>
ZULI_HD inline T fromInt(int v) {
    return T(ToRealT<T>(v));
}

// x times the real number factor. A complex element is multiplied by the complex number
// (factor, 0), as the host LAPACK's complex routines multiply: the same values, signed zeros and
// NaNs included.
template <typename T>
ZULI_HD inline T scaleBy(const T& x, ToRealT<T> factor) {
    using R = ToRealT<T>;
    if constexpr (IsComplexV<T>) {
        return T(x.re * factor - x.im * R(0), x.re * R(0) + x.im * factor);
    } else {
        return x * factor;
    }
}

template <typename T>
ZULI_HD inline bool isnan(const Complex<T>& z) {
    return isnan(z.re) || isnan(z.im);
}
template <typename T>
ZULI_HD inline bool isinf(const Complex<T>& z) {
    return isinf(z.re) || isinf(z.im);
}
template <typename T>
ZULI_HD inline bool isfinite(const Complex<T>& z) {
    return isfinite(z.re) && isfinite(z.im);
}

// Principal square root (non-negative real part; the imaginary part takes the sign of z's),
// computed from |z| without cancellation: for re >= 0, t = sqrt((|z| + re) / 2) and
// sqrt(z) = (t, im / (2t)); for re < 0 the roles swap. Very large and very small arguments are
// scaled by an even power of two first, so that |z| neither overflows nor loses digits.
template <typename T>
ZULI_HD inline Complex<T> sqrt(const Complex<T>& z) {
    constexpr bool single = sizeof(T) == sizeof(float);
    constexpr T huge = single ? T(FLT_MAX / 4) : T(DBL_MAX / 4);
    constexpr T tiny = single ? T(FLT_MIN) : T(DBL_MIN);
    constexpr T upScale = single ? T(0x1p52) : T(0x1p108);   // 4^26, 4^54
    constexpr T upRoot = single ? T(0x1p-26) : T(0x1p-54);   // undoes upScale in the root
    T a = z.re;
    T b = z.im;
    if (a == T(0) && b == T(0)) {
        return {T(0), b};
    }
    if (isinf(b)) {
        return {fabs(b), b};  // sqrt(x +- i inf) = inf +- i inf, even for NaN x
    }
    T rootScale = T(1);
    if (fabs(a) > huge || fabs(b) > huge) {
        a *= T(0.25);
        b *= T(0.25);
        rootScale = T(2);
    } else if (fabs(a) < tiny && fabs(b) < tiny) {
        a *= upScale;
        b *= upScale;
        rootScale = upRoot;
    }
    const T modulus = abs(Complex<T>(a, b));
    if (a >= T(0)) {
        const T t = sqrt((modulus + a) * T(0.5));
        return {t * rootScale, b / (T(2) * t) * rootScale};
    }
    const T t = sqrt((modulus - a) * T(0.5));
    return {fabs(b) / (T(2) * t) * rootScale, copysign(t, b) * rootScale};
}

}  // namespace zuli

// ---- atomics -------------------------------------------------------------------------------------

#if !defined(__CUDACC__)

#include <atomic>

// Each returns the old value, as on the GPU.
inline int atomicAdd(int* address, int value) {
    return std::atomic_ref<int>(*address).fetch_add(value);
}
inline unsigned int atomicAdd(unsigned int* address, unsigned int value) {
    return std::atomic_ref<unsigned int>(*address).fetch_add(value);
}
inline float atomicAdd(float* address, float value) {
    return std::atomic_ref<float>(*address).fetch_add(value);
}
inline double atomicAdd(double* address, double value) {
    return std::atomic_ref<double>(*address).fetch_add(value);
}

namespace zuli::detail {
template <typename T, typename Pick>
T atomicUpdate(T* address, T value, Pick pick) {
    std::atomic_ref<T> ref(*address);
    T old = ref.load();
    while (!ref.compare_exchange_weak(old, pick(old, value))) {
    }
    return old;
}
}  // namespace zuli::detail

inline int atomicMax(int* address, int value) {
    return zuli::detail::atomicUpdate(address, value, [](int a, int b) { return a < b ? b : a; });
}
inline unsigned int atomicMax(unsigned int* address, unsigned int value) {
    return zuli::detail::atomicUpdate(address, value,
                                      [](unsigned a, unsigned b) { return a < b ? b : a; });
}
inline int atomicMin(int* address, int value) {
    return zuli::detail::atomicUpdate(address, value, [](int a, int b) { return b < a ? b : a; });
}
inline unsigned int atomicMin(unsigned int* address, unsigned int value) {
    return zuli::detail::atomicUpdate(address, value,
                                      [](unsigned a, unsigned b) { return b < a ? b : a; });
}

// Stores `value` if *address equals `compare`; returns the old value either way.
inline int atomicCAS(int* address, int compare, int value) {
    std::atomic_ref<int>(*address).compare_exchange_strong(compare, value);
    return compare;
}
inline unsigned int atomicCAS(unsigned int* address, unsigned int compare, unsigned int value) {
    std::atomic_ref<unsigned int>(*address).compare_exchange_strong(compare, value);
    return compare;
}
inline unsigned long long atomicCAS(unsigned long long* address, unsigned long long compare,
                                    unsigned long long value) {
    std::atomic_ref<unsigned long long>(*address).compare_exchange_strong(compare, value);
    return compare;
}

inline int atomicExch(int* address, int value) {
    return std::atomic_ref<int>(*address).exchange(value);
}
inline unsigned int atomicExch(unsigned int* address, unsigned int value) {
    return std::atomic_ref<unsigned int>(*address).exchange(value);
}
inline float atomicExch(float* address, float value) {
    return std::atomic_ref<float>(*address).exchange(value);
}

#endif  // !__CUDACC__
