// host_lapack.h - the library's one door to the host LAPACK and BLAS.
//
// Every host-side step of the hybrid algorithms (panel factorizations, diagonal blocks, small
// problems) calls the host LAPACK through the templates in zuli::lapack, so that an algorithm
// written once for T in {float, double, Complex<float>, Complex<double>} reaches sgetrf, dgetrf,
// cgetrf or zgetrf from one call, lapack::getrf(m, n, a, lda, ipiv), and so that the binding
// (today OpenBLAS with the Fortran prototypes of lapack.h) can change in one place.
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

#include <type_traits>

// Calls LAPACK_<p>name(args...) with p the precision prefix (s, d, c, z) of T.
#define ZULI_LAPACK(T, name, ...)                                     \
    [&] {                                                             \
        if constexpr (std::is_same_v<T, float>)                       \
            return LAPACK_s##name(__VA_ARGS__);                       \
        else if constexpr (std::is_same_v<T, double>)                 \
            return LAPACK_d##name(__VA_ARGS__);                       \
        else if constexpr (std::is_same_v<T, ::zuli::Complex<float>>) \
            return LAPACK_c##name(__VA_ARGS__);                       \
        else                                                          \
            return LAPACK_z##name(__VA_ARGS__);                       \
    }()

// The same for routines whose real and complex names differ (orgqr / ungqr): LAPACK_<p>rname for
// s and d, LAPACK_<p>cname for c and z.
#define ZULI_LAPACK_RC(T, rname, cname, ...)                          \
    [&] {                                                             \
        if constexpr (std::is_same_v<T, float>)                       \
            return LAPACK_s##rname(__VA_ARGS__);                      \
        else if constexpr (std::is_same_v<T, double>)                 \
            return LAPACK_d##rname(__VA_ARGS__);                      \
        else if constexpr (std::is_same_v<T, ::zuli::Complex<float>>) \
            return LAPACK_c##cname(__VA_ARGS__);                      \
        else                                                          \
            return LAPACK_z##cname(__VA_ARGS__);                      \
    }()

namespace zuli::lapack {

// ---- factorizations and solves ------------------------------------------------------------

template <typename T>
int getrf(int m, int n, T* a, int lda, int* ipiv) {
    int info = 0;
    ZULI_LAPACK(T, getrf, &m, &n, a, &lda, ipiv, &info);
    return info;
}

template <typename T>
int getrs(char trans, int n, int nrhs, const T* a, int lda, const int* ipiv, T* b, int ldb) {
    int info = 0;
    ZULI_LAPACK(T, getrs, &trans, &n, &nrhs, a, &lda, ipiv, b, &ldb, &info);
    return info;
}

template <typename T>
int getri(int n, T* a, int lda, const int* ipiv, T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK(T, getri, &n, a, &lda, ipiv, work, &lwork, &info);
    return info;
}

template <typename T>
int potrf(char uplo, int n, T* a, int lda) {
    int info = 0;
    ZULI_LAPACK(T, potrf, &uplo, &n, a, &lda, &info);
    return info;
}

template <typename T>
int potrs(char uplo, int n, int nrhs, const T* a, int lda, T* b, int ldb) {
    int info = 0;
    ZULI_LAPACK(T, potrs, &uplo, &n, &nrhs, a, &lda, b, &ldb, &info);
    return info;
}

template <typename T>
int potri(char uplo, int n, T* a, int lda) {
    int info = 0;
    ZULI_LAPACK(T, potri, &uplo, &n, a, &lda, &info);
    return info;
}

template <typename T>
int trtri(char uplo, char diag, int n, T* a, int lda) {
    int info = 0;
    ZULI_LAPACK(T, trtri, &uplo, &diag, &n, a, &lda, &info);
    return info;
}

template <typename T>
int trtrs(char uplo, char trans, char diag, int n, int nrhs, const T* a, int lda, T* b, int ldb) {
    int info = 0;
    ZULI_LAPACK(T, trtrs, &uplo, &trans, &diag, &n, &nrhs, a, &lda, b, &ldb, &info);
    return info;
}

template <typename T>
int lauum(char uplo, int n, T* a, int lda) {
    int info = 0;
    ZULI_LAPACK(T, lauum, &uplo, &n, a, &lda, &info);
    return info;
}

// ---- orthogonal factorizations and their Q ------------------------------------------------
// The factorizations take their work array from the caller; workSize() asks the routine for the
// size it wants (lwork = -1).

#define ZULI_FACTOR_QR_LIKE(name)                                        \
    template <typename T>                                                \
    int name(int m, int n, T* a, int lda, T* tau, T* work, int lwork) {  \
        int info = 0;                                                    \
        ZULI_LAPACK(T, name, &m, &n, a, &lda, tau, work, &lwork, &info); \
        return info;                                                     \
    }
ZULI_FACTOR_QR_LIKE(geqrf)
ZULI_FACTOR_QR_LIKE(geqrfp)
ZULI_FACTOR_QR_LIKE(gelqf)
ZULI_FACTOR_QR_LIKE(gerqf)
ZULI_FACTOR_QR_LIKE(geqlf)
#undef ZULI_FACTOR_QR_LIKE

// Q of a QR-like factorization: orgqr / ungqr and kin (name the real one's suffix).
#define ZULI_GENERATE_Q(suffix)                                                             \
    template <typename T>                                                                   \
    int org##suffix(int m, int n, int k, T* a, int lda, const T* tau, T* work, int lwork) { \
        int info = 0;                                                                       \
        ZULI_LAPACK_RC(T, org##suffix, ung##suffix, &m, &n, &k, a, &lda, tau, work, &lwork, \
                       &info);                                                              \
        return info;                                                                        \
    }
ZULI_GENERATE_Q(qr)
ZULI_GENERATE_Q(lq)
ZULI_GENERATE_Q(ql)
ZULI_GENERATE_Q(rq)
#undef ZULI_GENERATE_Q

// op(Q) C or C op(Q): ormqr / unmqr and kin. trans is 'N', or 'T' for the real types and 'C' for
// the complex ones (LAPACK rejects the other letter).
#define ZULI_APPLY_Q(suffix)                                                                       \
    template <typename T>                                                                          \
    int orm##suffix(char side, char trans, int m, int n, int k, const T* a, int lda, const T* tau, \
                    T* c, int ldc, T* work, int lwork) {                                           \
        int info = 0;                                                                              \
        ZULI_LAPACK_RC(T, orm##suffix, unm##suffix, &side, &trans, &m, &n, &k, a, &lda, tau, c,    \
                       &ldc, work, &lwork, &info);                                                 \
        return info;                                                                               \
    }
ZULI_APPLY_Q(qr)
ZULI_APPLY_Q(lq)
ZULI_APPLY_Q(ql)
ZULI_APPLY_Q(rq)
#undef ZULI_APPLY_Q

template <typename T>
void larfb(char side, char trans, char direct, char storev, int m, int n, int k, const T* v,
           int ldv, const T* t, int ldt, T* c, int ldc, T* work, int ldwork) {
    ZULI_LAPACK(T, larfb, &side, &trans, &direct, &storev, &m, &n, &k, v, &ldv, t, &ldt, c, &ldc,
                work, &ldwork);
}

// The work size a routine asks for: call(work, -1) with a one-element work array, which the
// routine answers in its first element.
template <typename T, typename Call>
int workSize(Call&& call) {
    T size{};
    call(&size, -1);
    if constexpr (IsComplexV<T>)
        return int(size.re);
    else
        return int(size);
}

template <typename T>
void larft(char direct, char storev, int n, int k, const T* v, int ldv, const T* tau, T* t,
           int ldt) {
    ZULI_LAPACK(T, larft, &direct, &storev, &n, &k, v, &ldv, tau, t, &ldt);
}

template <typename T>
void larfg(int n, T* alpha, T* x, int incx, T* tau) {
    ZULI_LAPACK(T, larfg, &n, alpha, x, &incx, tau);
}

// ---- bidiagonal and tridiagonal iterations ---------------------------------------------------
// d and e are real in every precision; work holds 4 n reals for bdsqr, 2 n - 2 for steqr.

template <typename T>
int bdsqr(char uplo, int n, int ncvt, int nru, int ncc, ToRealT<T>* d, ToRealT<T>* e, T* vt,
          int ldvt, T* u, int ldu, T* c, int ldc, ToRealT<T>* work) {
    int info = 0;
    ZULI_LAPACK(T, bdsqr, &uplo, &n, &ncvt, &nru, &ncc, d, e, vt, &ldvt, u, &ldu, c, &ldc, work,
                &info);
    return info;
}

template <typename T>
int steqr(char compz, int n, ToRealT<T>* d, ToRealT<T>* e, T* z, int ldz, ToRealT<T>* work) {
    int info = 0;
    ZULI_LAPACK(T, steqr, &compz, &n, d, e, z, &ldz, work, &info);
    return info;
}

// Real only (R float or double); work 4 n reals, iwork 3 n integers.
template <typename R>
int stebz(char range, char order, int n, R vl, R vu, int il, int iu, R abstol, const R* d,
          const R* e, int* m, int* nsplit, R* w, int* iblock, int* isplit, R* work, int* iwork) {
    int info = 0;
    ZULI_LAPACK(R, stebz, &range, &order, &n, &vl, &vu, &il, &iu, &abstol, d, e, m, nsplit, w,
                iblock, isplit, work, iwork, &info);
    return info;
}

// The largest |element| ('M') and the other norms of the symmetric tridiagonal (d, e) (R real).
template <typename R>
R lanst(char norm, int n, const R* d, const R* e) {
    return ZULI_LAPACK(R, lanst, &norm, &n, d, e);
}

// sqrt(x^2 + y^2) without unnecessary overflow (R real).
template <typename R>
R lapy2(R x, R y) {
    return ZULI_LAPACK(R, lapy2, &x, &y);
}

// The m x n real matrix a multiplied by cto / cfrom in safe steps (lascl with type 'G').
template <typename R>
int lascl(int m, int n, R cfrom, R cto, R* a, int lda) {
    char type = 'G';
    int kl = 0, ku = 0, info = 0;
    ZULI_LAPACK(R, lascl, &type, &kl, &ku, &cfrom, &cto, &m, &n, a, &lda, &info);
    return info;
}

// ---- band factorizations and the unblocked steps of the blocked forms -----------------------

template <typename T>
int gbtrf(int m, int n, int kl, int ku, T* ab, int ldab, int* ipiv) {
    int info = 0;
    ZULI_LAPACK(T, gbtrf, &m, &n, &kl, &ku, ab, &ldab, ipiv, &info);
    return info;
}

template <typename T>
int pbtrf(char uplo, int n, int kd, T* ab, int ldab) {
    int info = 0;
    ZULI_LAPACK(T, pbtrf, &uplo, &n, &kd, ab, &ldab, &info);
    return info;
}

template <typename T>
int getf2(int m, int n, T* a, int lda, int* ipiv) {
    int info = 0;
    ZULI_LAPACK(T, getf2, &m, &n, a, &lda, ipiv, &info);
    return info;
}

template <typename T>
int potf2(char uplo, int n, T* a, int lda) {
    int info = 0;
    ZULI_LAPACK(T, potf2, &uplo, &n, a, &lda, &info);
    return info;
}

// ---- auxiliaries --------------------------------------------------------------------------

template <typename T>
void laswp(int n, T* a, int lda, int k1, int k2, const int* ipiv, int incx) {
    ZULI_LAPACK(T, laswp, &n, a, &lda, &k1, &k2, ipiv, &incx);
}

template <typename T>
void lacpy(char uplo, int m, int n, const T* a, int lda, T* b, int ldb) {
    ZULI_LAPACK(T, lacpy, &uplo, &m, &n, a, &lda, b, &ldb);
}

template <typename T>
void laset(char uplo, int m, int n, T alpha, T beta, T* a, int lda) {
    ZULI_LAPACK(T, laset, &uplo, &m, &n, &alpha, &beta, a, &lda);
}

template <typename T>
ToRealT<T> lange(char norm, int m, int n, const T* a, int lda, ToRealT<T>* work) {
    return ZULI_LAPACK(T, lange, &norm, &m, &n, a, &lda, work);
}

// Machine parameters ('E' eps, 'S' safe minimum, 'O' overflow, ...) of the real type R.
template <typename R>
R lamch(char cmach) {
    if constexpr (std::is_same_v<R, float>)
        return LAPACK_slamch(&cmach);
    else
        return LAPACK_dlamch(&cmach);
}

}  // namespace zuli::lapack
