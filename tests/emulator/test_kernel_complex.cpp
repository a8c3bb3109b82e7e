// zuli::Complex<T>: arithmetic against values worked out by hand and against std::complex,
// robustness of division and modulus at the ends of the exponent range, interoperation.
#include "runtime/complex.h"

#include <cuComplex.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <type_traits>

namespace {

using zuli::Complex;
using C = Complex<double>;
using CF = Complex<float>;

// Compile-time arithmetic (the kernels' constants are built this way).
static_assert(C(1, 2) * C(3, -4) == C(11, 2));
static_assert(C(11, 2) / C(3, -4) == C(1, 2));
static_assert(C(1, 2) + 3.0 == C(4, 2) && 3.0 - C(1, 2) == C(2, -2));
static_assert(2.0 * C(1, -2) == C(2, -4) && C(2, -4) / 2.0 == C(1, -2));
static_assert(-C(1, -2) == C(-1, 2) && zuli::conj(C(1, -2)) == C(1, 2));
static_assert(zuli::norm(C(3, 4)) == 25.0 && zuli::norm(-3.0) == 9.0);
static_assert(zuli::real(C(3, 4)) == 3.0 && zuli::imag(C(3, 4)) == 4.0 && zuli::imag(2.0f) == 0.0f);
static_assert(C(5) == 5.0 && !(C(5, 1) == 5.0));
static_assert(std::is_same_v<zuli::ToReal<CF>::type, float>);
static_assert(zuli::IsComplex<C>::value && !zuli::IsComplex<double>::value);

double relativeError(const C& got, const std::complex<double>& expected) {
    return std::abs(std::complex<double>(got.re, got.im) - expected) / std::abs(expected);
}

// Every operation (compound ones included) on a grid of values, and divisions where the naive
// formula overflows or underflows |b|^2.
TEST(Complex, ArithmeticMatchesStdComplexAndDivisionIsRobust) {
    const C values[] = {{1.5, -2.25}, {-3, 0.125}, {0, 1}, {7, 0}, {-0.5, -0.75}};
    for (const C& a : values)
        for (const C& b : values) {
            const std::complex<double> sa(a.re, a.im), sb(b.re, b.im);
            C acc = a;
            acc *= b, acc -= b, acc /= b;
            EXPECT_LT(relativeError(a + b, sa + sb), 1e-15);
            EXPECT_LT(relativeError(a * b, sa * sb), 1e-15);
            EXPECT_LT(relativeError(a / b, sa / sb), 1e-15);
            EXPECT_LT(relativeError(acc, (sa * sb - sb) / sb), 1e-15);
        }
    const double big = 1e300, small = 1e-300;
    const std::pair<C, C> quotients[] = {
        {{1, 1}, {big, big}},
        {{big, big}, {big, -big}},
        {{1, 2}, {3, 4}},
        {{-7, 0.5}, {0, -2}},
        {{small, small}, {small, 2 * small}},
        {{3, -1}, {1e-8, 1e8}},
        {{1e200, -3e150}, {4e-100, 2e-110}},
    };
    for (const auto& [a, b] : quotients) {
        const auto expected = std::complex<double>(a.re, a.im) / std::complex<double>(b.re, b.im);
        EXPECT_LT(relativeError(a / b, expected), 4 * std::numeric_limits<double>::epsilon())
            << a.re << "," << a.im << " / " << b.re << "," << b.im;
    }
}

TEST(Complex, ModulusAtTheEndsOfTheRange) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(zuli::abs(C(0, 0)), 0.0);
    EXPECT_DOUBLE_EQ(zuli::abs(C(1e300, 1e300)), std::sqrt(2.0) * 1e300);
    EXPECT_DOUBLE_EQ(zuli::abs(C(-3e-300, 4e-300)), 5e-300);
    EXPECT_DOUBLE_EQ(zuli::abs(C(0, -5e-320)), 5e-320);
    EXPECT_EQ(zuli::abs(C(inf, nan)), inf);
    EXPECT_EQ(zuli::abs(C(nan, -inf)), inf);
    EXPECT_TRUE(std::isnan(zuli::abs(C(nan, 1))));
    EXPECT_FLOAT_EQ(zuli::abs(CF(2e38f, 2e38f)), 2.8284271e38f);
    EXPECT_FLOAT_EQ(zuli::abs(CF(3e-38f, -4e-38f)), 5e-38f);
}

// A caller's std::complex array is a Complex array; the CUDA types convert by value and as
// arrays; precision changes are explicit.
TEST(Complex, LayoutInteroperatesWithOtherComplexTypes) {
    std::complex<double> standard[2] = {{1, 2}, {3, 4}};
    EXPECT_EQ(reinterpret_cast<const C*>(standard)[1], C(3, 4));
    EXPECT_EQ(std::complex<double>(C(5, -6)), std::complex<double>(5, -6));
    EXPECT_EQ(C(std::complex<double>(-1, 2)), C(-1, 2));
    const cuDoubleComplex z = zuli::toCuda(C(1.5, -2));
    EXPECT_EQ(std::pair(cuCreal(z), cuCimag(z)), std::pair(1.5, -2.0));
    EXPECT_EQ(zuli::fromCuda(make_cuComplex(0.5f, 4.0f)), CF(0.5f, 4.0f));
    CF array[2] = {{1, 2}, {3, 4}};
    cuComplex* asCuda = zuli::asCuda(array);
    EXPECT_EQ(cuCimagf(asCuda[1]), 4.0f);
    EXPECT_EQ(zuli::fromCuda(asCuda), array);
    EXPECT_EQ(CF(C(0.1, 0.2)), CF(0.1f, 0.2f));
    EXPECT_EQ(C{}, C(0, 0));
}

}  // namespace
