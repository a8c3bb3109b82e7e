// precision.h - the four precisions, and the one way code is stamped out for each of them.
//
// A precision is named by its letter: S (float), D (double), C (Complex<float>), Z
// (Complex<double>). For each letter L, namespace zuli::precision::L holds
//     T   the internal element type              float, double, Complex<float>, Complex<double>
//     P   the element type of the public header  float, double, zuliComplexFloat, ...
//     R   the real type                          float, double, float, double
// and ZULI_T(L) names its T from anywhere.
//
// ZULI_FOR_EACH_PRECISION(M, args...) expands M(L, args...) for S, D, C and Z (the REAL and
// COMPLEX forms for S, D and for C, Z). Everything that exists once per precision is written with
// it: the export rows of the C entry points (runtime/exports.h) and, through ZULI_INSTANTIATE,
// which hands M the type, the explicit instantiations of templates, e.g.
//
//     #define ZULI_LU_INSTANCES(T) template void getrf<T>(const CallContext&, int, ...);
//     ZULI_INSTANTIATE(ZULI_LU_INSTANCES)
#pragma once

#include "runtime/complex.h"

#include "zuli_lapack.h"

#define ZULI_FOR_EACH_PRECISION(M, ...)                        \
    ZULI_FOR_EACH_REAL_PRECISION(M __VA_OPT__(, ) __VA_ARGS__) \
    ZULI_FOR_EACH_COMPLEX_PRECISION(M __VA_OPT__(, ) __VA_ARGS__)
#define ZULI_FOR_EACH_REAL_PRECISION(M, ...) \
    M(S __VA_OPT__(, ) __VA_ARGS__) M(D __VA_OPT__(, ) __VA_ARGS__)
#define ZULI_FOR_EACH_COMPLEX_PRECISION(M, ...) \
    M(C __VA_OPT__(, ) __VA_ARGS__) M(Z __VA_OPT__(, ) __VA_ARGS__)

// The internal element type of precision L.
#define ZULI_T(L) zuli::precision::L::T

// M(T) for the element type T of each precision (REAL: float, double; COMPLEX: the complex ones).
#define ZULI_INSTANTIATE(M) ZULI_FOR_EACH_PRECISION(ZULI_INSTANTIATE_ONE, M)
#define ZULI_INSTANTIATE_REAL(M) ZULI_FOR_EACH_REAL_PRECISION(ZULI_INSTANTIATE_ONE, M)
#define ZULI_INSTANTIATE_COMPLEX(M) ZULI_FOR_EACH_COMPLEX_PRECISION(ZULI_INSTANTIATE_ONE, M)
#define ZULI_INSTANTIATE_ONE(L, M) M(ZULI_T(L))

namespace zuli::precision {

namespace S {
using T = float;
using P = float;
using R = float;
}  // namespace S
namespace D {
using T = double;
using P = double;
using R = double;
}  // namespace D
namespace C {
using T = Complex<float>;
using P = zuliComplexFloat;
using R = float;
}  // namespace C
namespace Z {
using T = Complex<double>;
using P = zuliComplexDouble;
using R = double;
}  // namespace Z

}  // namespace zuli::precision
