// complex.h - zuli::Complex<T>, the library's complex number for host and device code.
//
// Two T, real part first, nothing else: the same bytes as cuComplex / cuDoubleComplex,
// std::complex<T>, C99 T _Complex and the public zuliComplexFloat / zuliComplexDouble.
// Its alignment is that of T (like std::complex and the public types), so that any caller's
// array of complex numbers may be viewed as an array of Complex<T>. The CUDA vector types are
// aligned to their full size; viewing a Complex<T>* as a cuComplex* (asCuda) is therefore only
// valid for naturally aligned addresses, which every device allocation and element offset is.
//
// Arithmetic is constexpr and usable from kernels (ZULI_HD expands to __host__ __device__
// under nvcc and to nothing in plain C++).
#pragma once

#include <cuComplex.h>

#include <cfloat>
#include <cmath>
#include <complex>
#include <cstddef>
#include <type_traits>

#if defined(__CUDACC__)
#define ZULI_HD __host__ __device__
#else
#define ZULI_HD
#endif

namespace zuli {

template <typename T>
struct Complex {
    static_assert(std::is_same_v<T, float> || std::is_same_v<T, double>,
                  "Complex<T> is defined for float and double");
    using value_type = T;

    T re;
    T im;

    // Trivial default constructor: a Complex may live in __shared__ memory, which has no
    // initializers on a GPU. Complex<T>{} gives zero.
    Complex() = default;
    ZULI_HD constexpr Complex(T realPart) : re(realPart), im(0) {}
    ZULI_HD constexpr Complex(T realPart, T imagPart) : re(realPart), im(imagPart) {}
    // Precision conversions are explicit, like the real ones LAPACK names (lag2 and friends).
    template <typename U>
    ZULI_HD explicit constexpr Complex(const Complex<U>& z)
        : re(static_cast<T>(z.re)), im(static_cast<T>(z.im)) {}

    // Host-only interoperation with the standard library type.
    explicit Complex(const std::complex<T>& z) : re(z.real()), im(z.imag()) {}
    explicit operator std::complex<T>() const { return {re, im}; }

    ZULI_HD constexpr T real() const { return re; }
    ZULI_HD constexpr T imag() const { return im; }
    ZULI_HD constexpr void real(T v) { re = v; }
    ZULI_HD constexpr void imag(T v) { im = v; }

    ZULI_HD constexpr Complex& operator+=(const Complex& b) {
        re += b.re;
        im += b.im;
        return *this;
    }
    ZULI_HD constexpr Complex& operator-=(const Complex& b) {
        re -= b.re;
        im -= b.im;
        return *this;
    }
    ZULI_HD constexpr Complex& operator*=(const Complex& b) {
        const T r = re * b.re - im * b.im;
        im = re * b.im + im * b.re;
        re = r;
        return *this;
    }
    ZULI_HD constexpr Complex& operator/=(const Complex& b);
    ZULI_HD constexpr Complex& operator+=(T b) {
        re += b;
        return *this;
    }
    ZULI_HD constexpr Complex& operator-=(T b) {
        re -= b;
        return *this;
    }
    ZULI_HD constexpr Complex& operator*=(T b) {
        re *= b;
        im *= b;
        return *this;
    }
    ZULI_HD constexpr Complex& operator/=(T b) {
        re /= b;
        im /= b;
        return *this;
    }
};

static_assert(std::is_trivial_v<Complex<float>> && std::is_trivial_v<Complex<double>>);
static_assert(std::is_standard_layout_v<Complex<float>> && std::is_standard_layout_v<Complex<double>>);
static_assert(offsetof(Complex<float>, re) == 0 && offsetof(Complex<float>, im) == sizeof(float));
static_assert(offsetof(Complex<double>, re) == 0 && offsetof(Complex<double>, im) == sizeof(double));
static_assert(sizeof(Complex<float>) == sizeof(std::complex<float>) &&
              alignof(Complex<float>) == alignof(std::complex<float>));
static_assert(sizeof(Complex<double>) == sizeof(std::complex<double>) &&
              alignof(Complex<double>) == alignof(std::complex<double>));
// Viewing a cuComplex as a Complex is always valid; the other way needs natural alignment.
static_assert(sizeof(Complex<float>) == sizeof(cuComplex) &&
              alignof(Complex<float>) <= alignof(cuComplex));
static_assert(sizeof(Complex<double>) == sizeof(cuDoubleComplex) &&
              alignof(Complex<double>) <= alignof(cuDoubleComplex));

// ---- type traits ----------------------------------------------------------------------------

template <typename T>
struct ToReal {
    using type = T;
};
template <typename T>
struct ToReal<Complex<T>> {
    using type = T;
};
template <typename T>
using ToRealT = typename ToReal<T>::type;

template <typename T>
struct IsComplex : std::false_type {};
template <typename T>
struct IsComplex<Complex<T>> : std::true_type {};
template <typename T>
inline constexpr bool IsComplexV = IsComplex<T>::value;

// ---- arithmetic -----------------------------------------------------------------------------

namespace detail {
template <typename T>
ZULI_HD constexpr T absReal(T x) {
    return x < T(0) ? -x : x;
}
}  // namespace detail

template <typename T>
ZULI_HD constexpr Complex<T> operator+(const Complex<T>& a) {
    return a;
}
template <typename T>
ZULI_HD constexpr Complex<T> operator-(const Complex<T>& a) {
    return {-a.re, -a.im};
}

template <typename T>
ZULI_HD constexpr Complex<T> operator+(Complex<T> a, const Complex<T>& b) {
    return a += b;
}
template <typename T>
ZULI_HD constexpr Complex<T> operator-(Complex<T> a, const Complex<T>& b) {
    return a -= b;
}
template <typename T>
ZULI_HD constexpr Complex<T> operator*(Complex<T> a, const Complex<T>& b) {
    return a *= b;
}
template <typename T>
ZULI_HD constexpr Complex<T> operator/(Complex<T> a, const Complex<T>& b) {
    return a /= b;
}

// Mixed with a real scalar. The scalar is a non-deduced T so that literals such as 2.0 convert.
template <typename T>
ZULI_HD constexpr Complex<T> operator+(Complex<T> a, std::type_identity_t<T> b) {
    return a += b;
}
template <typename T>
ZULI_HD constexpr Complex<T> operator+(std::type_identity_t<T> a, Complex<T> b) {
    return b += a;
}
template <typename T>
ZULI_HD constexpr Complex<T> operator-(Complex<T> a, std::type_identity_t<T> b) {
    return a -= b;
}
template <typename T>
ZULI_HD constexpr Complex<T> operator-(std::type_identity_t<T> a, const Complex<T>& b) {
    return {a - b.re, -b.im};
}
template <typename T>
ZULI_HD constexpr Complex<T> operator*(Complex<T> a, std::type_identity_t<T> b) {
    return a *= b;
}
template <typename T>
ZULI_HD constexpr Complex<T> operator*(std::type_identity_t<T> a, Complex<T> b) {
    return b *= a;
}
template <typename T>
ZULI_HD constexpr Complex<T> operator/(Complex<T> a, std::type_identity_t<T> b) {
    return a /= b;
}
template <typename T>
ZULI_HD constexpr Complex<T> operator/(std::type_identity_t<T> a, const Complex<T>& b) {
    return Complex<T>(a) / b;
}

template <typename T>
ZULI_HD constexpr bool operator==(const Complex<T>& a, const Complex<T>& b) {
    return a.re == b.re && a.im == b.im;
}
template <typename T>
ZULI_HD constexpr bool operator==(const Complex<T>& a, std::type_identity_t<T> b) {
    return a.re == b && a.im == T(0);
}

// Smith's division: scales by the larger component of the divisor so that |b|^2 is never
// formed, which would overflow or underflow long before the quotient does.
template <typename T>
ZULI_HD constexpr Complex<T>& Complex<T>::operator/=(const Complex<T>& b) {
    const T a_re = re;
    const T a_im = im;
    if (detail::absReal(b.im) <= detail::absReal(b.re)) {
        const T ratio = b.im / b.re;
        const T denom = b.re + b.im * ratio;
        re = (a_re + a_im * ratio) / denom;
        im = (a_im - a_re * ratio) / denom;
    } else {
        const T ratio = b.re / b.im;
        const T denom = b.im + b.re * ratio;
        re = (a_re * ratio + a_im) / denom;
        im = (a_im * ratio - a_re) / denom;
    }
    return *this;
}

template <typename T>
ZULI_HD constexpr T real(const Complex<T>& z) {
    return z.re;
}
template <typename T>
ZULI_HD constexpr T imag(const Complex<T>& z) {
    return z.im;
}
template <typename T>
ZULI_HD constexpr Complex<T> conj(const Complex<T>& z) {
    return {z.re, -z.im};
}
// Squared modulus, as std::norm.
template <typename T>
ZULI_HD constexpr T norm(const Complex<T>& z) {
    return z.re * z.re + z.im * z.im;
}

// The real overloads let templates over all four precisions write real(x), conj(x), norm(x).
ZULI_HD constexpr float real(float x) { return x; }
ZULI_HD constexpr double real(double x) { return x; }
ZULI_HD constexpr float imag(float) { return 0.0f; }
ZULI_HD constexpr double imag(double) { return 0.0; }
ZULI_HD constexpr float conj(float x) { return x; }
ZULI_HD constexpr double conj(double x) { return x; }
ZULI_HD constexpr float norm(float x) { return x * x; }
ZULI_HD constexpr double norm(double x) { return x * x; }

// Modulus without overflow or underflow in the intermediate square: |z| = m * sqrt(1 + (s/m)^2)
// with m the larger and s the smaller component. An infinite part gives +inf even if the other
// part is NaN (as hypot does); otherwise a NaN part gives NaN.
template <typename T>
ZULI_HD inline T abs(const Complex<T>& z) {
    const T a = detail::absReal(z.re);
    const T b = detail::absReal(z.im);
    constexpr T largest = std::is_same_v<T, float> ? T(FLT_MAX) : T(DBL_MAX);
    if (a > largest || b > largest) {
        return a > largest ? a : b;  // +inf
    }
    if (a != a || b != b) {
        return a + b;  // NaN
    }
    const T big = a < b ? b : a;
    const T small = a < b ? a : b;
    if (big == T(0)) {
        return T(0);
    }
    const T ratio = small / big;
    if constexpr (std::is_same_v<T, float>) {
        return big * ::sqrtf(1.0f + ratio * ratio);
    } else {
        return big * ::sqrt(1.0 + ratio * ratio);
    }
}

// ---- interoperation with the CUDA complex types ------------------------------------------------

ZULI_HD inline cuComplex toCuda(const Complex<float>& z) { return make_cuComplex(z.re, z.im); }
ZULI_HD inline cuDoubleComplex toCuda(const Complex<double>& z) {
    return make_cuDoubleComplex(z.re, z.im);
}
ZULI_HD constexpr Complex<float> fromCuda(const cuComplex& z) { return {z.x, z.y}; }
ZULI_HD constexpr Complex<double> fromCuda(const cuDoubleComplex& z) { return {z.x, z.y}; }

// The type of another interface that has the layout of T: T itself for the real types, CF for
// Complex<float> and CD for Complex<double> (cuComplex and cuDoubleComplex for cuBLAS;
// zuliComplexFloat and zuliComplexDouble for the public header).
template <typename T, typename CF, typename CD>
struct SameLayout {
    using type = T;
};
template <typename CF, typename CD>
struct SameLayout<Complex<float>, CF, CD> {
    using type = CF;
};
template <typename CF, typename CD>
struct SameLayout<Complex<double>, CF, CD> {
    using type = CD;
};

// The cuBLAS element type of each library element type.
template <typename T>
using CudaType = typename SameLayout<T, cuComplex, cuDoubleComplex>::type;

// Views of arrays, for passing library arrays to cuBLAS and back. The Complex -> CUDA direction
// assumes natural alignment (8 bytes for float, 16 for double), as device memory always has.
template <typename T>
CudaType<T>* asCuda(T* p) {
    return reinterpret_cast<CudaType<T>*>(p);
}
template <typename T>
const CudaType<T>* asCuda(const T* p) {
    return reinterpret_cast<const CudaType<T>*>(p);
}
inline Complex<float>* fromCuda(cuComplex* p) { return reinterpret_cast<Complex<float>*>(p); }
inline const Complex<float>* fromCuda(const cuComplex* p) {
    return reinterpret_cast<const Complex<float>*>(p);
}
inline Complex<double>* fromCuda(cuDoubleComplex* p) {
    return reinterpret_cast<Complex<double>*>(p);
}
inline const Complex<double>* fromCuda(const cuDoubleComplex* p) {
    return reinterpret_cast<const Complex<double>*>(p);
}

}  // namespace zuli
