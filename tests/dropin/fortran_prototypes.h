// fortran_prototypes.h - what the drop-in library's C++ test programs share: LAPACK's Fortran
// prototypes (lapack.h, complex types as std::complex), the level-3 BLAS, rotation and lat2
// ones that lapack.h lacks, and the choice of one of four functions by precision.
#pragma once

#include <complex>
#define lapack_complex_float std::complex<float>
#define lapack_complex_double std::complex<double>
#include <lapacke.h>

#include <type_traits>

extern "C" {  // by their Fortran names
#define ZULI_BLAS3(p, T)                                                                           \
    void p##gemm_(const char*, const char*, const int*, const int*, const int*, const T*,          \
                  const T*, const int*, const T*, const int*, const T*, T*, const int*, size_t,    \
                  size_t);                                                                         \
    void p##symm_(const char*, const char*, const int*, const int*, const T*, const T*,            \
                  const int*, const T*, const int*, const T*, T*, const int*, size_t, size_t);     \
    void p##syrk_(const char*, const char*, const int*, const int*, const T*, const T*,            \
                  const int*, const T*, T*, const int*, size_t, size_t);                           \
    void p##syr2k_(const char*, const char*, const int*, const int*, const T*, const T*,           \
                   const int*, const T*, const int*, const T*, T*, const int*, size_t, size_t);    \
    void p##trmm_(const char*, const char*, const char*, const char*, const int*, const int*,      \
                  const T*, const T*, const int*, T*, const int*, size_t, size_t, size_t, size_t); \
    void p##trsm_(const char*, const char*, const char*, const char*, const int*, const int*,      \
                  const T*, const T*, const int*, T*, const int*, size_t, size_t, size_t, size_t);
#define ZULI_BLAS3_HERMITIAN(p, T, R)                                                          \
    void p##hemm_(const char*, const char*, const int*, const int*, const T*, const T*,        \
                  const int*, const T*, const int*, const T*, T*, const int*, size_t, size_t); \
    void p##herk_(const char*, const char*, const int*, const int*, const R*, const T*,        \
                  const int*, const R*, T*, const int*, size_t, size_t);                       \
    void p##her2k_(const char*, const char*, const int*, const int*, const T*, const T*,       \
                   const int*, const T*, const int*, const R*, T*, const int*, size_t, size_t);
ZULI_BLAS3(s, float)
ZULI_BLAS3(d, double)
ZULI_BLAS3(c, std::complex<float>)
ZULI_BLAS3(z, std::complex<double>)
ZULI_BLAS3_HERMITIAN(c, std::complex<float>, float)
ZULI_BLAS3_HERMITIAN(z, std::complex<double>, double)
#define ZULI_ROTATIONS(p, T, R)                                                            \
    void p##lasr_(const char*, const char*, const char*, const int*, const int*, const R*, \
                  const R*, T*, const int*, size_t, size_t, size_t);                       \
    void p##lar2v_(const int*, T*, T*, T*, const int*, const R*, const T*, const int*);    \
    void p##largv_(const int*, T*, const int*, T*, const int*, R*, const int*);            \
    void p##lartv_(const int*, T*, const int*, T*, const int*, const R*, const T*, const int*);
ZULI_ROTATIONS(s, float, float)
ZULI_ROTATIONS(d, double, double)
ZULI_ROTATIONS(c, std::complex<float>, float)
ZULI_ROTATIONS(z, std::complex<double>, double)
void dlat2s_(const char*, const int*, const double*, const int*, float*, const int*, int*, size_t);
void zlat2c_(const char*, const int*, const std::complex<double>*, const int*, std::complex<float>*,
             const int*, int*, size_t);
}

// The one of four (functions, names) that belongs to precision T.
template <typename T, typename S, typename D, typename C, typename Z>
auto pick(S s, D d, C c, Z z) {
    if constexpr (std::is_same_v<T, float>)
        return s;
    else if constexpr (std::is_same_v<T, double>)
        return d;
    else if constexpr (std::is_same_v<T, std::complex<float>>)
        return c;
    else
        return z;
}
