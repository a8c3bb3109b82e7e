// The build's compiler settings: narrowing conversions of value pairs must survive optimisation
// (mixed-precision solvers rely on rounding to single precision really happening).
#include "runtime/complex.h"

#include <gtest/gtest.h>

namespace {

template <typename Pair>
__attribute__((noinline)) void roundTripThroughSingle(const Pair* in, Pair* out) {
    zuli::Complex<float> narrow{static_cast<float>(in->re), static_cast<float>(in->im)};
    *out = Pair{static_cast<double>(narrow.re), static_cast<double>(narrow.im)};
}

TEST(Toolchain, PairsRoundedToSinglePrecisionStayRounded) {
    const zuli::Complex<double> in{0.1, 0.2};
    zuli::Complex<double> out{};
    roundTripThroughSingle(&in, &out);
    EXPECT_EQ(out.re, static_cast<double>(0.1f));
    EXPECT_EQ(out.im, static_cast<double>(0.2f));
    EXPECT_NE(out.re, 0.1);
}

}  // namespace
