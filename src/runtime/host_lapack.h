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

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

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

// Elements to allocate past a host matrix (leading dimension ld) that the host LAPACK's reflector
// routines work on. The host BLAS's complex gemv without transposition (OpenBLAS 0.3.21, every
// kernel family) reads the element one stride past the last of its x vector, and the row-wise
// reflector routines (gelq2, gerq2, ungl2, unml2, ...) pass a row of the matrix as x, with stride
// ld: the read lands up to one column past the matrix, which faults when the allocation ends on a
// page boundary. One spare column and one vector register keep every such read inside.
template <typename T>
constexpr int64_t reflectorSlack(int64_t ld) {
    return ld + 64 / int64_t(sizeof(T));
}
// The allocation for a host matrix of ld x cols elements that the reflector routines work on.
template <typename T>
constexpr int64_t withReflectorSlack(int64_t ld, int64_t cols) {
    return ld * cols + reflectorSlack<T>(ld);
}

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
int workSize(Call&& call);

// A work array of `size` elements (at least 1) for the host LAPACK, whose allocation reaches
// reflectorSlack(size) further: the blocked reductions keep matrices in it (latrd's W, labrd's X
// and Y) and pass their rows to gemv as x.
template <typename T>
std::vector<T> workArray(int size) {
    const size_t n = size_t(std::max(1, size));
    std::vector<T> work;
    work.reserve(n + size_t(reflectorSlack<T>(int64_t(n))));
    work.resize(n);
    return work;
}

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

// ---- least squares ------------------------------------------------------------------------
// trans of gels is 'N', or 'T' for the real types and 'C' for the complex ones.

template <typename T>
int gels(char trans, int m, int n, int nrhs, T* a, int lda, T* b, int ldb, T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK(T, gels, &trans, &m, &n, &nrhs, a, &lda, b, &ldb, work, &lwork, &info);
    return info;
}

template <typename T>
int ggrqf(int m, int p, int n, T* a, int lda, T* taua, T* b, int ldb, T* taub, T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK(T, ggrqf, &m, &p, &n, a, &lda, taua, b, &ldb, taub, work, &lwork, &info);
    return info;
}

template <typename T>
int gglse(int m, int n, int p, T* a, int lda, T* b, int ldb, T* c, T* d, T* x, T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK(T, gglse, &m, &n, &p, a, &lda, b, &ldb, c, d, x, work, &lwork, &info);
    return info;
}

// ---- Hessenberg reduction and the nonsymmetric eigenproblem ------------------------------------

template <typename T>
int gehrd(int n, int ilo, int ihi, T* a, int lda, T* tau, T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK(T, gehrd, &n, &ilo, &ihi, a, &lda, tau, work, &lwork, &info);
    return info;
}

template <typename T>
int orghr(int n, int ilo, int ihi, T* a, int lda, const T* tau, T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK_RC(T, orghr, unghr, &n, &ilo, &ihi, a, &lda, tau, work, &lwork, &info);
    return info;
}

// H C (side 'L') or C H (side 'R') for one reflector H = I - tau v v^H; work holds n ('L') or m
// ('R') elements.
template <typename T>
void larf(char side, int m, int n, const T* v, int incv, T tau, T* c, int ldc, T* work) {
    ZULI_LAPACK(T, larf, &side, &m, &n, v, &incv, &tau, c, &ldc, work);
}

// Balancing: permutations (ilo, ihi) and scaling factors in scale (n reals, for every
// precision).
template <typename T>
int gebal(char job, int n, T* a, int lda, int* ilo, int* ihi, ToRealT<T>* scale) {
    int info = 0;
    ZULI_LAPACK(T, gebal, &job, &n, a, &lda, ilo, ihi, scale, &info);
    return info;
}

// The eigenvalues of a Hessenberg matrix (and its Schur form and vectors): the real routine
// returns them as wr + i wi, the complex one in w.
template <typename T>
int hseqr(char job, char compz, int n, int ilo, int ihi, T* h, int ldh, T* wr, T* wi, T* z, int ldz,
          T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK(T, hseqr, &job, &compz, &n, &ilo, &ihi, h, &ldh, wr, wi, z, &ldz, work, &lwork,
                &info);
    return info;
}
template <typename T>
int hseqr(char job, char compz, int n, int ilo, int ihi, T* h, int ldh, T* w, T* z, int ldz,
          T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK(T, hseqr, &job, &compz, &n, &ilo, &ihi, h, &ldh, w, z, &ldz, work, &lwork, &info);
    return info;
}

// Eigenvectors of a (quasi-)triangular Schur form. rwork (lrwork reals) is used by the complex
// routine only.
template <typename T>
int trevc3(char side, char howmny, int* select, int n, const T* t, int ldt, T* vl, int ldvl, T* vr,
           int ldvr, int mm, int* m, T* work, int lwork, ToRealT<T>* rwork, int lrwork) {
    int info = 0;
    if constexpr (IsComplexV<T>)
        ZULI_LAPACK(T, trevc3, &side, &howmny, select, &n, const_cast<T*>(t), &ldt, vl, &ldvl, vr,
                    &ldvr, &mm, m, work, &lwork, rwork, &lrwork, &info);
    else
        ZULI_LAPACK(T, trevc3, &side, &howmny, select, &n, t, &ldt, vl, &ldvl, vr, &ldvr, &mm, m,
                    work, &lwork, &info);
    return info;
}

// The eigenvalue drivers themselves (the reference of the tests).
template <typename T>
int geev(char jobvl, char jobvr, int n, T* a, int lda, T* wr, T* wi, T* vl, int ldvl, T* vr,
         int ldvr, T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK(T, geev, &jobvl, &jobvr, &n, a, &lda, wr, wi, vl, &ldvl, vr, &ldvr, work, &lwork,
                &info);
    return info;
}
template <typename T>
int geev(char jobvl, char jobvr, int n, T* a, int lda, T* w, T* vl, int ldvl, T* vr, int ldvr,
         T* work, int lwork, ToRealT<T>* rwork) {
    int info = 0;
    ZULI_LAPACK(T, geev, &jobvl, &jobvr, &n, a, &lda, w, vl, &ldvl, vr, &ldvr, work, &lwork, rwork,
                &info);
    return info;
}

// LAPACK's safe scaling of an m x n matrix (type 'G') by cto / cfrom.
template <typename T>
int lascl(char type, int kl, int ku, ToRealT<T> cfrom, ToRealT<T> cto, int m, int n, T* a,
          int lda) {
    int info = 0;
    ZULI_LAPACK(T, lascl, &type, &kl, &ku, &cfrom, &cto, &m, &n, a, &lda, &info);
    return info;
}

// ---- two-sided reductions and their Q ------------------------------------------------------
// Bidiagonal (gebrd) and tridiagonal (sytrd / hetrd) reduction, the generation of their Q and P^H
// (orgbr / ungbr, orgtr / ungtr) and the application of the tridiagonal Q (ormtr / unmtr). d and
// e are real for every precision.

template <typename T>
int gebrd(int m, int n, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e, T* tauq, T* taup, T* work,
          int lwork) {
    int info = 0;
    ZULI_LAPACK(T, gebrd, &m, &n, a, &lda, d, e, tauq, taup, work, &lwork, &info);
    return info;
}

template <typename T>
int sytrd(char uplo, int n, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e, T* tau, T* work,
          int lwork) {
    int info = 0;
    ZULI_LAPACK_RC(T, sytrd, hetrd, &uplo, &n, a, &lda, d, e, tau, work, &lwork, &info);
    return info;
}

// The band matrix of kd sub- (uplo 'L') or super-diagonals in LAPACK's band storage (ab, ldab >=
// kd + 1) reduced to tridiagonal form (sbtrd / hbtrd): vect 'N' no Q, 'V' Q into q, 'U' q = q Q.
// work holds n elements.
template <typename T>
int sbtrd(char vect, char uplo, int n, int kd, T* ab, int ldab, ToRealT<T>* d, ToRealT<T>* e, T* q,
          int ldq, T* work) {
    int info = 0;
    ZULI_LAPACK_RC(T, sbtrd, hbtrd, &vect, &uplo, &n, &kd, ab, &ldab, d, e, q, &ldq, work, &info);
    return info;
}

template <typename T>
int orgbr(char vect, int m, int n, int k, T* a, int lda, const T* tau, T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK_RC(T, orgbr, ungbr, &vect, &m, &n, &k, a, &lda, tau, work, &lwork, &info);
    return info;
}

template <typename T>
int orgtr(char uplo, int n, T* a, int lda, const T* tau, T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK_RC(T, orgtr, ungtr, &uplo, &n, a, &lda, tau, work, &lwork, &info);
    return info;
}

// trans as for ormqr: 'N', or 'T' for the real types and 'C' for the complex ones.
template <typename T>
int ormtr(char side, char uplo, char trans, int m, int n, const T* a, int lda, const T* tau, T* c,
          int ldc, T* work, int lwork) {
    int info = 0;
    ZULI_LAPACK_RC(T, ormtr, unmtr, &side, &uplo, &trans, &m, &n, a, &lda, tau, c, &ldc, work,
                   &lwork, &info);
    return info;
}

// ---- the generalized symmetric-definite eigenproblem --------------------------------------------

// The unblocked reduction to standard form (sygs2 / hegs2) with B's Cholesky factor in the
// triangle uplo of B: itype 1 A = U^-H A U^-1 or L^-1 A L^-H, itype 2 and 3 A = U A U^H or L^H A L.
// lapack.h leaves these LAPACK routines undeclared; the host LAPACK exports them with the
// interface below (Fortran calling convention, the length of uplo passed last).
extern "C" {
void ssygs2_(const int* itype, const char* uplo, const int* n, float* a, const int* lda,
             const float* b, const int* ldb, int* info, size_t uploLength);
void dsygs2_(const int* itype, const char* uplo, const int* n, double* a, const int* lda,
             const double* b, const int* ldb, int* info, size_t uploLength);
void chegs2_(const int* itype, const char* uplo, const int* n, zuli::Complex<float>* a,
             const int* lda, const zuli::Complex<float>* b, const int* ldb, int* info,
             size_t uploLength);
void zhegs2_(const int* itype, const char* uplo, const int* n, zuli::Complex<double>* a,
             const int* lda, const zuli::Complex<double>* b, const int* ldb, int* info,
             size_t uploLength);
}

template <typename T>
int sygs2(int itype, char uplo, int n, T* a, int lda, const T* b, int ldb) {
    int info = 0;
    if constexpr (std::is_same_v<T, float>)
        ssygs2_(&itype, &uplo, &n, a, &lda, b, &ldb, &info, 1);
    else if constexpr (std::is_same_v<T, double>)
        dsygs2_(&itype, &uplo, &n, a, &lda, b, &ldb, &info, 1);
    else if constexpr (std::is_same_v<T, ::zuli::Complex<float>>)
        chegs2_(&itype, &uplo, &n, a, &lda, b, &ldb, &info, 1);
    else
        zhegs2_(&itype, &uplo, &n, a, &lda, b, &ldb, &info, 1);
    return info;
}

// The driver sygv / hegv (the reference of the tests). rwork (3 n - 2 reals) is used by the
// complex routines only.
template <typename T>
int sygv(int itype, char jobz, char uplo, int n, T* a, int lda, T* b, int ldb, ToRealT<T>* w,
         T* work, int lwork, ToRealT<T>* rwork) {
    int info = 0;
    if constexpr (IsComplexV<T>)
        ZULI_LAPACK(T, hegv, &itype, &jobz, &uplo, &n, a, &lda, b, &ldb, w, work, &lwork, rwork,
                    &info);
    else
        ZULI_LAPACK(T, sygv, &itype, &jobz, &uplo, &n, a, &lda, b, &ldb, w, work, &lwork, &info);
    return info;
}

// The eigenvalues of the real symmetric tridiagonal matrix (d, e), ascending in d; e is destroyed.
template <typename R>
int sterf(int n, R* d, R* e) {
    int info = 0;
    if constexpr (std::is_same_v<R, float>)
        LAPACK_ssterf(&n, d, e, &info);
    else
        LAPACK_dsterf(&n, d, e, &info);
    return info;
}

// ---- bisection, inverse iteration and the selected-eigenvalue driver (stebz, stein, syevx) ---

// Selected eigenvalues of the real symmetric tridiagonal (d, e) by bisection (R real); work holds
// 4 n reals, iwork 3 n integers.
template <typename R>
int stebz(char range, char order, int n, R vl, R vu, int il, int iu, R abstol, const R* d,
          const R* e, int* m, int* nsplit, R* w, int* iblock, int* isplit, R* work, int* iwork) {
    int info = 0;
    ZULI_LAPACK(R, stebz, &range, &order, &n, &vl, &vu, &il, &iu, &abstol, d, e, m, nsplit, w,
                iblock, isplit, work, iwork, &info);
    return info;
}

// The eigenvectors of the tridiagonal (d, e) for the m eigenvalues w (with stebz's iblock and
// isplit, order 'B') by inverse iteration into Z (n x m, of T: complex for C and Z); work holds
// 5 n reals, iwork n integers, ifail m.
template <typename T>
int stein(int n, const ToRealT<T>* d, const ToRealT<T>* e, int m, const ToRealT<T>* w,
          const int* iblock, const int* isplit, T* z, int ldz, ToRealT<T>* work, int* iwork,
          int* ifail) {
    int info = 0;
    ZULI_LAPACK(T, stein, &n, d, e, &m, w, iblock, isplit, z, &ldz, work, iwork, ifail, &info);
    return info;
}

// LAPACK's syevx / heevx (the tests' reference): work of lwork elements, iwork 5 n integers,
// rwork 7 n reals (complex types only).
template <typename T>
int syevx(char jobz, char range, char uplo, int n, T* a, int lda, ToRealT<T> vl, ToRealT<T> vu,
          int il, int iu, ToRealT<T> abstol, int* m, ToRealT<T>* w, T* z, int ldz, T* work,
          int lwork, ToRealT<T>* rwork, int* iwork, int* ifail) {
    int info = 0;
    (void)rwork;  // the real drivers have none
    if constexpr (std::is_same_v<T, float>)
        LAPACK_ssyevx(&jobz, &range, &uplo, &n, a, &lda, &vl, &vu, &il, &iu, &abstol, m, w, z, &ldz,
                      work, &lwork, iwork, ifail, &info);
    else if constexpr (std::is_same_v<T, double>)
        LAPACK_dsyevx(&jobz, &range, &uplo, &n, a, &lda, &vl, &vu, &il, &iu, &abstol, m, w, z, &ldz,
                      work, &lwork, iwork, ifail, &info);
    else if constexpr (std::is_same_v<T, Complex<float>>)
        LAPACK_cheevx(&jobz, &range, &uplo, &n, a, &lda, &vl, &vu, &il, &iu, &abstol, m, w, z, &ldz,
                      work, &lwork, rwork, iwork, ifail, &info);
    else
        LAPACK_zheevx(&jobz, &range, &uplo, &n, a, &lda, &vl, &vu, &il, &iu, &abstol, m, w, z, &ldz,
                      work, &lwork, rwork, iwork, ifail, &info);
    return info;
}

// The singular values of the real n x n bidiagonal matrix (d, e), upper or lower, descending in
// d, with the rotations applied to VT (ncvt columns), U (nru rows) and C (ncc columns); work
// holds 4 n reals (2 n for ncvt = nru = ncc = 0).
template <typename T>
int bdsqr(char uplo, int n, int ncvt, int nru, int ncc, ToRealT<T>* d, ToRealT<T>* e, T* vt,
          int ldvt, T* u, int ldu, T* c, int ldc, ToRealT<T>* work) {
    int info = 0;
    ZULI_LAPACK(T, bdsqr, &uplo, &n, &ncvt, &nru, &ncc, d, e, vt, &ldvt, u, &ldu, c, &ldc, work,
                &info);
    return info;
}

// The eigenvalues of the symmetric tridiagonal (d, e), ascending in d, and for compz 'V' / 'I'
// the eigenvectors through Z (n x n); work holds max(1, 2 n - 2) reals.
template <typename T>
int steqr(char compz, int n, ToRealT<T>* d, ToRealT<T>* e, T* z, int ldz, ToRealT<T>* work) {
    int info = 0;
    ZULI_LAPACK(T, steqr, &compz, &n, d, e, z, &ldz, work, &info);
    return info;
}

// ---- the host BLAS (levels 1 and 2) ----------------------------------------------------------
// trans 'N', 'T' or 'C'; uplo 'U' or 'L'; diag 'U' or 'N'.

namespace detail {
inline CBLAS_TRANSPOSE cblasTrans(char t) {
    return t == 'N' ? CblasNoTrans : (t == 'T' ? CblasTrans : CblasConjTrans);
}
}  // namespace detail

// y = alpha op(A) x + beta y
template <typename T>
void gemv(char trans, int m, int n, T alpha, const T* a, int lda, const T* x, int incx, T beta,
          T* y, int incy) {
    const CBLAS_TRANSPOSE t = detail::cblasTrans(trans);
    if constexpr (std::is_same_v<T, float>)
        cblas_sgemv(CblasColMajor, t, m, n, alpha, a, lda, x, incx, beta, y, incy);
    else if constexpr (std::is_same_v<T, double>)
        cblas_dgemv(CblasColMajor, t, m, n, alpha, a, lda, x, incx, beta, y, incy);
    else if constexpr (std::is_same_v<T, Complex<float>>)
        cblas_cgemv(CblasColMajor, t, m, n, &alpha, a, lda, x, incx, &beta, y, incy);
    else
        cblas_zgemv(CblasColMajor, t, m, n, &alpha, a, lda, x, incx, &beta, y, incy);
}

// x = op(A) x for the triangular n x n matrix A
template <typename T>
void trmv(char uplo, char trans, char diag, int n, const T* a, int lda, T* x, int incx) {
    const CBLAS_UPLO u = uplo == 'U' ? CblasUpper : CblasLower;
    const CBLAS_TRANSPOSE t = detail::cblasTrans(trans);
    const CBLAS_DIAG d = diag == 'U' ? CblasUnit : CblasNonUnit;
    if constexpr (std::is_same_v<T, float>)
        cblas_strmv(CblasColMajor, u, t, d, n, a, lda, x, incx);
    else if constexpr (std::is_same_v<T, double>)
        cblas_dtrmv(CblasColMajor, u, t, d, n, a, lda, x, incx);
    else if constexpr (std::is_same_v<T, Complex<float>>)
        cblas_ctrmv(CblasColMajor, u, t, d, n, a, lda, x, incx);
    else
        cblas_ztrmv(CblasColMajor, u, t, d, n, a, lda, x, incx);
}

// x = alpha x
template <typename T>
void scal(int n, T alpha, T* x, int incx) {
    if constexpr (std::is_same_v<T, float>)
        cblas_sscal(n, alpha, x, incx);
    else if constexpr (std::is_same_v<T, double>)
        cblas_dscal(n, alpha, x, incx);
    else if constexpr (std::is_same_v<T, Complex<float>>)
        cblas_cscal(n, &alpha, x, incx);
    else
        cblas_zscal(n, &alpha, x, incx);
}

// y = alpha x + y
template <typename T>
void axpy(int n, T alpha, const T* x, int incx, T* y, int incy) {
    if constexpr (std::is_same_v<T, float>)
        cblas_saxpy(n, alpha, x, incx, y, incy);
    else if constexpr (std::is_same_v<T, double>)
        cblas_daxpy(n, alpha, x, incx, y, incy);
    else if constexpr (std::is_same_v<T, Complex<float>>)
        cblas_caxpy(n, &alpha, x, incx, y, incy);
    else
        cblas_zaxpy(n, &alpha, x, incx, y, incy);
}

// x^H y (x^T y for the real types).
template <typename T>
T dotc(int n, const T* x, int incx, const T* y, int incy) {
    if constexpr (std::is_same_v<T, float>)
        return cblas_sdot(n, x, incx, y, incy);
    else if constexpr (std::is_same_v<T, double>)
        return cblas_ddot(n, x, incx, y, incy);
    else {
        T r{};
        if constexpr (std::is_same_v<T, Complex<float>>)
            cblas_cdotc_sub(n, x, incx, y, incy, &r);
        else
            cblas_zdotc_sub(n, x, incx, y, incy, &r);
        return r;
    }
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

// x = conj(x) for n elements with increment incx (LAPACK's lacgv; nothing for the real types).
template <typename T>
void lacgv(int n, T* x, int incx) {
    if constexpr (IsComplexV<T>)
        for (int i = 0; i < n; ++i) x[int64_t(i) * incx].im = -x[int64_t(i) * incx].im;
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
