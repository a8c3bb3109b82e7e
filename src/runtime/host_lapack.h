// host_lapack.h - the library's one door to the host LAPACK and BLAS.
//
// Every host-side step of the hybrid algorithms (panel factorizations, diagonal blocks, small
// problems) calls the host LAPACK through the precision-overloaded wrappers in zuli::host, so
// that an algorithm template written once for T in {float, double, Complex<float>,
// Complex<double>} picks sgetrf, dgetrf, cgetrf or zgetrf by overload resolution, and so that
// the binding (today OpenBLAS with the Fortran prototypes of lapack.h) can change in one place.
//
// The wrappers take sizes and options by value and return LAPACK's info where the routine has
// one; the caller decides what an info means (usually: raise it as a LAPACK info).
#pragma once

#include "runtime/complex.h"

// lapack.h lets the complex element type be chosen; ours has the same layout as Fortran's.
#define lapack_complex_float zuli::Complex<float>
#define lapack_complex_double zuli::Complex<double>
#include <lapack.h>
#include <cblas.h>

namespace zuli::host {

// ZULI_HOST_ALL(DEF) expands DEF(prefix, T) for the four precisions.
#define ZULI_HOST_ALL(DEF) \
    DEF(s, float)          \
    DEF(d, double)         \
    DEF(c, zuli::Complex<float>) DEF(z, zuli::Complex<double>)
#define ZULI_HOST_REAL(DEF) DEF(s, float) DEF(d, double)
#define ZULI_HOST_COMPLEX(DEF) DEF(c, zuli::Complex<float>) DEF(z, zuli::Complex<double>)

// ---- factorizations and solves ------------------------------------------------------------

#define ZULI_DEF(p, T)                                                        \
    inline int getrf(int m, int n, T* a, int lda, int* ipiv) {                \
        int info = 0;                                                         \
        LAPACK_##p##getrf(&m, &n, a, &lda, ipiv, &info);                      \
        return info;                                                          \
    }                                                                         \
    inline int getrs(char trans, int n, int nrhs, const T* a, int lda,        \
                     const int* ipiv, T* b, int ldb) {                        \
        int info = 0;                                                         \
        LAPACK_##p##getrs(&trans, &n, &nrhs, a, &lda, ipiv, b, &ldb, &info);  \
        return info;                                                          \
    }                                                                         \
    inline int getri(int n, T* a, int lda, const int* ipiv, T* work,          \
                     int lwork) {                                             \
        int info = 0;                                                         \
        LAPACK_##p##getri(&n, a, &lda, ipiv, work, &lwork, &info);            \
        return info;                                                          \
    }                                                                         \
    inline int potrf(char uplo, int n, T* a, int lda) {                       \
        int info = 0;                                                         \
        LAPACK_##p##potrf(&uplo, &n, a, &lda, &info);                         \
        return info;                                                          \
    }                                                                         \
    inline int potrs(char uplo, int n, int nrhs, const T* a, int lda, T* b,   \
                     int ldb) {                                               \
        int info = 0;                                                         \
        LAPACK_##p##potrs(&uplo, &n, &nrhs, a, &lda, b, &ldb, &info);         \
        return info;                                                          \
    }                                                                         \
    inline int potri(char uplo, int n, T* a, int lda) {                       \
        int info = 0;                                                         \
        LAPACK_##p##potri(&uplo, &n, a, &lda, &info);                         \
        return info;                                                          \
    }                                                                         \
    inline int trtri(char uplo, char diag, int n, T* a, int lda) {            \
        int info = 0;                                                         \
        LAPACK_##p##trtri(&uplo, &diag, &n, a, &lda, &info);                  \
        return info;                                                          \
    }                                                                         \
    inline int trtrs(char uplo, char trans, char diag, int n, int nrhs,       \
                     const T* a, int lda, T* b, int ldb) {                    \
        int info = 0;                                                         \
        LAPACK_##p##trtrs(&uplo, &trans, &diag, &n, &nrhs, a, &lda, b, &ldb,  \
                          &info);                                             \
        return info;                                                          \
    }                                                                         \
    inline int lauum(char uplo, int n, T* a, int lda) {                       \
        int info = 0;                                                         \
        LAPACK_##p##lauum(&uplo, &n, a, &lda, &info);                         \
        return info;                                                          \
    }                                                                         \
    inline int geqrf(int m, int n, T* a, int lda, T* tau, T* work,            \
                     int lwork) {                                             \
        int info = 0;                                                         \
        LAPACK_##p##geqrf(&m, &n, a, &lda, tau, work, &lwork, &info);         \
        return info;                                                          \
    }                                                                         \
    inline void larft(char direct, char storev, int n, int k, const T* v,     \
                      int ldv, const T* tau, T* t, int ldt) {                 \
        LAPACK_##p##larft(&direct, &storev, &n, &k, v, &ldv, tau, t, &ldt);   \
    }                                                                         \
    inline void larfg(int n, T* alpha, T* x, int incx, T* tau) {              \
        LAPACK_##p##larfg(&n, alpha, x, &incx, tau);                          \
    }                                                                         \
    /* ---- auxiliaries ---- */                                               \
    inline void laswp(int n, T* a, int lda, int k1, int k2, const int* ipiv,  \
                      int incx) {                                             \
        LAPACK_##p##laswp(&n, a, &lda, &k1, &k2, ipiv, &incx);                \
    }                                                                         \
    inline void lacpy(char uplo, int m, int n, const T* a, int lda, T* b,     \
                      int ldb) {                                              \
        LAPACK_##p##lacpy(&uplo, &m, &n, a, &lda, b, &ldb);                   \
    }                                                                         \
    inline void laset(char uplo, int m, int n, T alpha, T beta, T* a,         \
                      int lda) {                                              \
        LAPACK_##p##laset(&uplo, &m, &n, &alpha, &beta, a, &lda);             \
    }                                                                         \
    inline typename ToReal<T>::type lange(char norm, int m, int n,            \
                                          const T* a, int lda,                \
                                          typename ToReal<T>::type* work) {   \
        return LAPACK_##p##lange(&norm, &m, &n, a, &lda, work);               \
    }
ZULI_HOST_ALL(ZULI_DEF)
#undef ZULI_DEF

// Machine parameters ('E' eps, 'S' safe minimum, 'O' overflow, ...) of the real type.
inline float lamch(char cmach, float) { return LAPACK_slamch(&cmach); }
inline double lamch(char cmach, double) { return LAPACK_dlamch(&cmach); }

}  // namespace zuli::host
