/* bench.c - times the routines of libzuli_lapack in every precision, through the host interface
 * (matrix in host memory, copied in and out by the call) and the device interface (matrix already
 * on the GPU), and checks each result. One line per case:
 *
 *   routine  interface  n  seconds  GFLOP/s  error ratio  ok | failed
 *
 * The time is the best of a few runs, the rate uses LAPACK's operation counts (getrf 2/3 n^3,
 * potrf 1/3 n^3, geqrf and gelqf 4/3 n^3, orgqr 4/3 n^3, ormqr 2 n^3, gehrd 10/3 n^3; geev,
 * which computes the eigenvalues and right eigenvectors, counts the 26/3 n^3 of its steps on the
 * GPU: gehrd, orghr and two products with Q; gels solves a 2n x n least-squares problem,
 * 10/3 n^3; gebrd 8/3 n^3; gesvd, run with jobu 'O' and jobvt 'S' (both factors of the square
 * matrix), counts 21 n^3, Golub and Van Loan's count for the bidiagonalisation, the generation of
 * both factors and the QR iteration applying its rotations to them; syev / heev 4/3 n^3 for the
 * eigenvalues only (the reduction to tridiagonal form) and 26/3 n^3 with the vectors (reduction
 * 4/3, Q 4/3 and about 6 n^3 for the rotations of the QL iteration applied to them); sygv / hegv
 * adds the Cholesky factorization of B (1/3 n^3), the reduction to standard form (n^3) and with
 * vectors their back-transformation (n^3), 8/3 n^3 and 11 n^3 in all; four times that in complex
 * arithmetic). The error ratio of a factorization is the
 * backward error of a solve with the computed factors, ||b - A x|| / (n ||A|| ||x|| eps) in the
 * infinity norm (the solve runs in the host LAPACK, the residual in double precision); orgqr,
 * ormqr and gels are checked as described at benchQ and benchGels, gehrd and geev at gehrdRatio
 * and geevRatio, gebrd and gesvd at gebrdRatio and gesvdRatio, the symmetric eigensolvers at
 * symmetricRatio. "ok" means below 60.
 *
 *   zuli_bench [-n n1,n2,...] [-r runs] [routine ...]
 *   routines: sgetrf ... zpotrf, sgeqrf ... zgelqf, sorgqr ... zungqr, sormqr ... zunmqr,
 *   sgels ... zgels, sgehrd ... zgehrd, sgeev ... zgeev, sgebrd ... zgebrd, sgesvd ... zgesvd,
 *   ssyev_n ... zheev_v, ssygv_n ... zhegv_v
 *   (_n: eigenvalues only, _v: with the eigenvectors; default: all)
 *
 * -n may be given several times; the sizes run in the order given. Built against the emulated GPU
 * (zuli_bench_emu), the times are those of the host BLAS and mean little; what the emulator counts
 * is printed instead, per call: the bytes that crossed the bus as a multiple of the matrix's size,
 * the share of the operations done by cuBLAS on the device, kernel launches and host waits. Those
 * show whether only panels travel and the updates stay on the device. Exits with status 1 when a
 * call fails or a result is wrong. */
#include "zuli_lapack.h"

#include <cuda_runtime_api.h>
#include <lapack.h>

#ifdef ZULI_BENCH_EMULATED
#include "zuli_emu.h"
#endif

#include <float.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

/* A result whose error ratio is at least this is reported as failed. */
#define ERROR_RATIO_LIMIT 60.0
#define MAX_SIZES 32

/* What a routine computes: the matrix it gets and its operation count follow from it. */
enum {
    KIND_LU,
    KIND_CHOLESKY,
    KIND_QR,
    KIND_HESSENBERG,
    KIND_EIGEN,
    KIND_BIDIAGONAL,
    KIND_SVD,
    KIND_SYMMETRIC
};

struct QOps;
struct LsOps;

/* One routine in one precision. call[0] is the host interface, call[1] the device interface;
 * solve(n, factors, ipiv, b) overwrites b (one column) with the solution through the factors.
 * ipiv is an array of n elements of int (pivots) or, for KIND_QR and KIND_HESSENBERG, of the
 * routine's type (tau); for KIND_EIGEN, KIND_BIDIAGONAL and KIND_SVD n^2 + 2n elements of the
 * routine's type: the right eigenvectors, then the eigenvalues (wr and wi, or w); d, e, tauq and
 * taup (gebrd); VT, then s (gesvd); for KIND_SYMMETRIC n^2 + n elements: the matrix B of the
 * generalized problem, then the eigenvalues (reals). orgqr and ormqr rows have q instead, gels
 * rows ls (and no call or solve); gehrd, geev, gebrd and gesvd rows have check instead of solve:
 * the error ratio of the result from the matrix a, the result in place of a and ipiv. */
typedef struct Routine {
    const char* name;
    size_t realSize; /* bytes of one real component */
    int isComplex;
    int kind;
    zuliStatus (*call[2])(int n, void* a, int* ipiv);
    int (*solve)(int n, const void* factors, const int* ipiv, void* b);
    const struct QOps* q;
    const struct LsOps* ls;
    double (*check)(const struct Routine* r, int n, const void* a, const void* result,
                    const void* aux);
} Routine;

#define ROUTINES(L, l, T)                                                 \
    static zuliStatus L##getrf(int n, void* a, int* ipiv) {               \
        return zuli##L##getrf(n, n, (T*)a, n, ipiv);                      \
    }                                                                     \
    static zuliStatus L##deviceGetrf(int n, void* a, int* ipiv) {         \
        return zuliDevice##L##getrf(n, n, (T*)a, n, ipiv);                \
    }                                                                     \
    static zuliStatus L##potrf(int n, void* a, int* ipiv) {               \
        (void)ipiv;                                                       \
        return zuli##L##potrf('L', n, (T*)a, n);                          \
    }                                                                     \
    static zuliStatus L##devicePotrf(int n, void* a, int* ipiv) {         \
        (void)ipiv;                                                       \
        return zuliDevice##L##potrf('L', n, (T*)a, n);                    \
    }                                                                     \
    static int L##getrs(int n, const void* f, const int* ipiv, void* b) { \
        int one = 1, info = 0;                                            \
        LAPACK_##l##getrs("N", &n, &one, f, &n, ipiv, b, &n, &info);      \
        return info;                                                      \
    }                                                                     \
    static int L##potrs(int n, const void* f, const int* ipiv, void* b) { \
        int one = 1, info = 0;                                            \
        (void)ipiv;                                                       \
        LAPACK_##l##potrs("L", &n, &one, f, &n, b, &n, &info);            \
        return info;                                                      \
    }
ROUTINES(S, s, float)
ROUTINES(D, d, double)
ROUTINES(C, c, zuliComplexFloat)
ROUTINES(Z, z, zuliComplexDouble)

/* ---- QR and LQ: factored through the library, solved through the host LAPACK with the factors
 * and tau. A x = b is R x = Q^H b for A = Q R, and x = Q^H L^-1 b for A = L Q. orm names the
 * LAPACK routines that apply Q (orm or unm), ct the letter of its conjugate transpose. */
#define QR_WORK 8192 /* elements of the host work array: more than ormqr wants for one column */
#define QR_ROUTINES(L, l, T, orm, ct)                                                           \
    static zuliStatus L##geqrf(int n, void* a, int* tau) {                                      \
        return zuli##L##geqrf(n, n, (T*)a, n, (T*)tau);                                         \
    }                                                                                           \
    static zuliStatus L##deviceGeqrf(int n, void* a, int* tau) {                                \
        return zuliDevice##L##geqrf(n, n, (T*)a, n, (T*)tau);                                   \
    }                                                                                           \
    static zuliStatus L##gelqf(int n, void* a, int* tau) {                                      \
        return zuli##L##gelqf(n, n, (T*)a, n, (T*)tau);                                         \
    }                                                                                           \
    static zuliStatus L##deviceGelqf(int n, void* a, int* tau) {                                \
        return zuliDevice##L##gelqf(n, n, (T*)a, n, (T*)tau);                                   \
    }                                                                                           \
    static int L##geqrs(int n, const void* f, const int* tau, void* b) {                        \
        int one = 1, lwork = QR_WORK, info = 0;                                                 \
        T* work = malloc(QR_WORK * sizeof(T));                                                  \
        if (!work) return -1;                                                                   \
        LAPACK_##l##orm##qr("L", ct, &n, &one, &n, f, &n, (const void*)tau, b, &n, (void*)work, \
                            &lwork, &info);                                                     \
        free(work);                                                                             \
        if (info == 0) LAPACK_##l##trtrs("U", "N", "N", &n, &one, f, &n, b, &n, &info);         \
        return info;                                                                            \
    }                                                                                           \
    static int L##gelqs(int n, const void* f, const int* tau, void* b) {                        \
        int one = 1, lwork = QR_WORK, info = 0;                                                 \
        LAPACK_##l##trtrs("L", "N", "N", &n, &one, f, &n, b, &n, &info);                        \
        T* work = malloc(QR_WORK * sizeof(T));                                                  \
        if (info != 0 || !work) {                                                               \
            free(work);                                                                         \
            return info != 0 ? info : -1;                                                       \
        }                                                                                       \
        LAPACK_##l##orm##lq("L", ct, &n, &one, &n, f, &n, (const void*)tau, b, &n, (void*)work, \
                            &lwork, &info);                                                     \
        free(work);                                                                             \
        return info;                                                                            \
    }
QR_ROUTINES(S, s, float, orm, "T")
QR_ROUTINES(D, d, double, orm, "T")
QR_ROUTINES(C, c, zuliComplexFloat, unm, "C")
QR_ROUTINES(Z, z, zuliComplexDouble, unm, "C")

/* ---- gehrd and geev: how they run ------------------------------------------------------------
 * gehrd leaves H and the reflectors in a and tau in ipiv; geev (jobvl 'N', jobvr 'V') the right
 * eigenvectors and then the eigenvalues in ipiv. ormhr applies the Q of the host interface's
 * gehrd in the host LAPACK, for the check. */
#define EIGEN_ROUTINES(L, l, T, orm, ct)                                                        \
    static zuliStatus L##gehrd(int n, void* a, int* tau) {                                      \
        return zuli##L##gehrd(n, 1, n, (T*)a, n, (T*)tau);                                      \
    }                                                                                           \
    static zuliStatus L##deviceGehrd(int n, void* a, int* tau) {                                \
        return zuliDevice##L##gehrd(n, 1, n, (T*)a, n, (T*)tau);                                \
    }                                                                                           \
    static zuliStatus L##geev(int n, void* a, int* aux) {                                       \
        T* v = (T*)aux;                                                                         \
        T* w = v + (size_t)n * n;                                                               \
        return zuli##L##geev('N', 'V', n, (T*)a, n, EIGEN_VALUES(w, n), NULL, 1, v, n);         \
    }                                                                                           \
    static zuliStatus L##deviceGeev(int n, void* a, int* aux) {                                 \
        T* v = (T*)aux;                                                                         \
        T* w = v + (size_t)n * n;                                                               \
        return zuliDevice##L##geev('N', 'V', n, (T*)a, n, EIGEN_VALUES(w, n), NULL, 1, v, n);   \
    }                                                                                           \
    static int L##ormhr(char trans, int n, const void* f, const void* tau, void* x) {           \
        int one = 1, ilo = 1, lwork = QR_WORK, info = 0;                                        \
        const char t[2] = {trans == 'N' ? 'N' : ct[0], 0};                                      \
        T* work = malloc(QR_WORK * sizeof(T));                                                  \
        if (!work) return -1;                                                                   \
        LAPACK_##l##orm##hr("L", t, &n, &one, &ilo, &n, f, &n, tau, x, &n, (void*)work, &lwork, \
                            &info);                                                             \
        free(work);                                                                             \
        return info;                                                                            \
    }
#define EIGEN_VALUES(w, n) w, w + n /* wr, wi */
EIGEN_ROUTINES(S, s, float, orm, "T")
EIGEN_ROUTINES(D, d, double, orm, "T")
#undef EIGEN_VALUES
#define EIGEN_VALUES(w, n) w /* w */
EIGEN_ROUTINES(C, c, zuliComplexFloat, unm, "C")
EIGEN_ROUTINES(Z, z, zuliComplexDouble, unm, "C")
#undef EIGEN_VALUES

/* ---- gebrd and gesvd: how they run -----------------------------------------------------------
 * gebrd leaves B and the reflectors in a and d, e (n reals each), tauq and taup (n elements each)
 * in aux; gesvd (jobu 'O', jobvt 'S') U in a, VT (n x n) and then s (n reals) in aux. ormbr
 * applies Q or P^H of the host interface's gebrd in the host LAPACK, for the check. */
#define SVD_ROUTINES(L, l, T, R, orm, ct)                                                          \
    static zuliStatus L##gebrd(int n, void* a, int* aux) {                                         \
        R* d = (R*)aux;                                                                            \
        T* tauq = (T*)(d + 2 * (size_t)n);                                                         \
        return zuli##L##gebrd(n, n, (T*)a, n, d, d + n, tauq, tauq + n);                           \
    }                                                                                              \
    static zuliStatus L##deviceGebrd(int n, void* a, int* aux) {                                   \
        R* d = (R*)aux;                                                                            \
        T* tauq = (T*)(d + 2 * (size_t)n);                                                         \
        return zuliDevice##L##gebrd(n, n, (T*)a, n, d, d + n, tauq, tauq + n);                     \
    }                                                                                              \
    static zuliStatus L##gesvd(int n, void* a, int* aux) {                                         \
        T* vt = (T*)aux;                                                                           \
        return zuli##L##gesvd('O', 'S', n, n, (T*)a, n, (R*)(vt + (size_t)n * n), NULL, 1, vt, n); \
    }                                                                                              \
    static zuliStatus L##deviceGesvd(int n, void* a, int* aux) {                                   \
        T* vt = (T*)aux;                                                                           \
        return zuliDevice##L##gesvd('O', 'S', n, n, (T*)a, n, (R*)(vt + (size_t)n * n), NULL, 1,   \
                                    vt, n);                                                        \
    }                                                                                              \
    /* x = Q x (vect 'Q', trans 'N') or P^H x (vect 'P', trans 'C') for gebrd's reflectors f. */   \
    static int L##ormbr(char vect, int n, const void* f, const void* tau, void* x) {               \
        int one = 1, lwork = QR_WORK, info = 0;                                                    \
        const char v[2] = {vect, 0}, t[2] = {vect == 'Q' ? 'N' : ct[0], 0};                        \
        T* work = malloc(QR_WORK * sizeof(T));                                                     \
        if (!work) return -1;                                                                      \
        LAPACK_##l##orm##br(v, "L", t, &n, &one, &n, f, &n, tau, x, &n, (void*)work, &lwork,       \
                            &info);                                                                \
        free(work);                                                                                \
        return info;                                                                               \
    }
SVD_ROUTINES(S, s, float, float, orm, "T")
SVD_ROUTINES(D, d, double, double, orm, "T")
SVD_ROUTINES(C, c, zuliComplexFloat, float, unm, "C")
SVD_ROUTINES(Z, z, zuliComplexDouble, double, unm, "C")
/* ---- syev / heev and sygv / hegv: how they run -------------------------------------------------
 * The matrix is symmetric (Hermitian), its lower triangle passed. aux holds n x n elements, then
 * the n eigenvalues (reals). sygv (itype 1, A x = lambda B x) takes B in the first part, which it
 * overwrites with its factor: each call copies it there first from a host copy made once
 * (generalizedB), which puts an upload of n^2 elements into the device interface's time. Rows
 * named _n compute the eigenvalues only (jobz 'N'), _v also the vectors, in a. syevValues
 * (heevValues) runs the host LAPACK's syev or sygv (heev, hegv) with jobz 'N' on copies, for the
 * check. */
static void set(const struct Routine* r, void* a, size_t k, int part, double v);
static const void* generalizedB(size_t realSize, int isComplex, int n);
#define SYMMETRIC_CALLS(L, T, R, EV, GV, J, j)                                                 \
    static zuliStatus L##EV##j(int n, void* a, int* aux) {                                     \
        return zuli##L##EV(J, 'L', n, (T*)a, n, (R*)((T*)aux + (size_t)n * n));                \
    }                                                                                          \
    static zuliStatus L##EV##j##Device(int n, void* a, int* aux) {                             \
        return zuliDevice##L##EV(J, 'L', n, (T*)a, n, (R*)((T*)aux + (size_t)n * n));          \
    }                                                                                          \
    static zuliStatus L##GV##j(int n, void* a, int* aux) {                                     \
        const void* b = generalizedB(sizeof(R), sizeof(T) != sizeof(R), n);                    \
        if (!b) return zuliRuntimeError;                                                       \
        memcpy(aux, b, (size_t)n* n * sizeof(T));                                              \
        return zuli##L##GV(1, J, 'L', n, (T*)a, n, (T*)aux, n, (R*)((T*)aux + (size_t)n * n)); \
    }                                                                                          \
    static zuliStatus L##GV##j##Device(int n, void* a, int* aux) {                             \
        const void* b = generalizedB(sizeof(R), sizeof(T) != sizeof(R), n);                    \
        if (!b || cudaMemcpy(aux, b, (size_t)n * n * sizeof(T), cudaMemcpyHostToDevice))       \
            return zuliRuntimeError;                                                           \
        return zuliDevice##L##GV(1, J, 'L', n, (T*)a, n, (T*)aux, n,                           \
                                 (R*)((T*)aux + (size_t)n * n));                               \
    }
#define SYMMETRIC_ROUTINES(L, l, T, R, EV, GV, RWORK)                                              \
    SYMMETRIC_CALLS(L, T, R, EV, GV, 'N', N)                                                       \
    SYMMETRIC_CALLS(L, T, R, EV, GV, 'V', V)                                                       \
    static int L##EV##Values(int n, const void* a, int generalized, double* w) {                   \
        const size_t nn = (size_t)n * n;                                                           \
        T* c = malloc(2 * nn * sizeof(T) + sizeof(T));                                             \
        R* values = malloc((size_t)n * sizeof(R) + (size_t)(3 * n) * sizeof(R));                   \
        const void* b = generalized ? generalizedB(sizeof(R), sizeof(T) != sizeof(R), n) : NULL;   \
        int itype = 1, lwork = -1, info = -1;                                                      \
        T* work = NULL;                                                                            \
        if (!c || !values || (generalized && !b)) goto done;                                       \
        memcpy(c, a, nn * sizeof(T));                                                              \
        if (b) memcpy(c + nn, b, nn * sizeof(T));                                                  \
        for (int query = 1; query >= 0; --query) {                                                 \
            T* w = query ? c + 2 * nn : work;                                                      \
            if (generalized)                                                                       \
                LAPACK_##l##GV(&itype, "N", "L", &n, (void*)c, &n, (void*)(c + nn), &n, values,    \
                               (void*)w, &lwork RWORK, &info);                                     \
            else                                                                                   \
                LAPACK_##l##EV("N", "L", &n, (void*)c, &n, values, (void*)w, &lwork RWORK, &info); \
            if (info != 0) goto done;                                                              \
            if (query) {                                                                           \
                lwork = (int)*(R*)(c + 2 * nn) + n;                                                \
                work = malloc((size_t)lwork * sizeof(T) + 64);                                     \
                if (!work) goto done;                                                              \
            }                                                                                      \
        }                                                                                          \
        for (int i = 0; i < n; ++i) w[i] = values[i];                                              \
    done:                                                                                          \
        free(c);                                                                                   \
        free(values);                                                                              \
        free(work);                                                                                \
        return info;                                                                               \
    }
#define REAL_WORK
#define COMPLEX_WORK , values + n
SYMMETRIC_ROUTINES(S, s, float, float, syev, sygv, REAL_WORK)
SYMMETRIC_ROUTINES(D, d, double, double, syev, sygv, REAL_WORK)
SYMMETRIC_ROUTINES(C, c, zuliComplexFloat, float, heev, hegv, COMPLEX_WORK)
SYMMETRIC_ROUTINES(Z, z, zuliComplexDouble, double, heev, hegv, COMPLEX_WORK)
#undef REAL_WORK
#undef COMPLEX_WORK
/* ---- orgqr and ormqr: how they run ------------------------------------------------------------
 * Both start from the reflectors and tau of a host LAPACK geqrf of the matrix. call[device](n, x,
 * v, tau) overwrites x: orgqr forms Q (n x n, from n reflectors) in place of the reflectors in x;
 * ormqr computes Q x (side 'L', trans 'N') with the reflectors in v. */
typedef struct QOps {
    int apply; /* 0: orgqr, 1: ormqr */
    zuliStatus (*call[2])(int n, void* x, const void* v, const void* tau);
    int (*geqrf)(int n, void* a, void* tau); /* the host LAPACK's, on an n x n matrix */
} QOps;

#define Q_ROUTINES(L, l, T, ORG, ORM)                                                          \
    static zuliStatus L##ORG##Host(int n, void* x, const void* v, const void* tau) {           \
        (void)v;                                                                               \
        return zuli##L##ORG(n, n, n, (T*)x, n, (const T*)tau);                                 \
    }                                                                                          \
    static zuliStatus L##ORG##Device(int n, void* x, const void* v, const void* tau) {         \
        (void)v;                                                                               \
        return zuliDevice##L##ORG(n, n, n, (T*)x, n, (const T*)tau);                           \
    }                                                                                          \
    static zuliStatus L##ORM##Host(int n, void* x, const void* v, const void* tau) {           \
        return zuli##L##ORM('L', 'N', n, n, n, (const T*)v, n, (const T*)tau, (T*)x, n);       \
    }                                                                                          \
    static zuliStatus L##ORM##Device(int n, void* x, const void* v, const void* tau) {         \
        return zuliDevice##L##ORM('L', 'N', n, n, n, (const T*)v, n, (const T*)tau, (T*)x, n); \
    }                                                                                          \
    static int L##hostGeqrf(int n, void* a, void* tau) {                                       \
        int lwork = 64 * n, info = -1;                                                         \
        void* work = malloc((size_t)lwork * sizeof(T));                                        \
        if (work) LAPACK_##l##geqrf(&n, &n, a, &n, tau, work, &lwork, &info);                  \
        free(work);                                                                            \
        return info;                                                                           \
    }                                                                                          \
    static const QOps L##ORG##Ops = {0, {L##ORG##Host, L##ORG##Device}, L##hostGeqrf};         \
    static const QOps L##ORM##Ops = {1, {L##ORM##Host, L##ORM##Device}, L##hostGeqrf};
Q_ROUTINES(S, s, float, orgqr, ormqr)
Q_ROUTINES(D, d, double, orgqr, ormqr)
Q_ROUTINES(C, c, zuliComplexFloat, ungqr, unmqr)
Q_ROUTINES(Z, z, zuliComplexDouble, ungqr, unmqr)

/* ---- gels: how it runs -------------------------------------------------------------------------
 * call[device](m, n, a, b) solves the least-squares problem min ||b - A x|| for the m x n matrix
 * A (m >= n, leading dimension m) and one right-hand side; x overwrites b's first n elements. */
typedef struct LsOps {
    zuliStatus (*call[2])(int m, int n, void* a, void* b);
} LsOps;

#define GELS_ROUTINES(L, T)                                           \
    static zuliStatus L##gelsHost(int m, int n, void* a, void* b) {   \
        return zuli##L##gels('N', m, n, 1, (T*)a, m, (T*)b, m);       \
    }                                                                 \
    static zuliStatus L##gelsDevice(int m, int n, void* a, void* b) { \
        return zuliDevice##L##gels('N', m, n, 1, (T*)a, m, (T*)b, m); \
    }                                                                 \
    static const LsOps L##gelsOps = {{L##gelsHost, L##gelsDevice}};
GELS_ROUTINES(S, float)
GELS_ROUTINES(D, double)
GELS_ROUTINES(C, zuliComplexFloat)
GELS_ROUTINES(Z, zuliComplexDouble)

static double gehrdRatio(const Routine* r, int n, const void* a, const void* f, const void* tau);
static double geevRatio(const Routine* r, int n, const void* a, const void* unused,
                        const void* aux);
static double gebrdRatio(const Routine* r, int n, const void* a, const void* f, const void* aux);
static double gesvdRatio(const Routine* r, int n, const void* a, const void* u, const void* aux);
static double symmetricRatio(const Routine* r, int n, const void* a, const void* result,
                             const void* aux);
/* A syev / sygv row: name, real type, complex or not, and the host call (F##Device the device's).
 */
#define SYMMETRIC_ROW(name, R, isComplex, F) \
    { name, sizeof(R), isComplex, KIND_SYMMETRIC, {F, F##Device}, NULL, NULL, NULL, symmetricRatio }

static const Routine routines[] = {
    {"sgetrf", sizeof(float), 0, 0, {Sgetrf, SdeviceGetrf}, Sgetrs, NULL, NULL, NULL},
    {"dgetrf", sizeof(double), 0, 0, {Dgetrf, DdeviceGetrf}, Dgetrs, NULL, NULL, NULL},
    {"cgetrf", sizeof(float), 1, 0, {Cgetrf, CdeviceGetrf}, Cgetrs, NULL, NULL, NULL},
    {"zgetrf", sizeof(double), 1, 0, {Zgetrf, ZdeviceGetrf}, Zgetrs, NULL, NULL, NULL},
    {"spotrf", sizeof(float), 0, 1, {Spotrf, SdevicePotrf}, Spotrs, NULL, NULL, NULL},
    {"dpotrf", sizeof(double), 0, 1, {Dpotrf, DdevicePotrf}, Dpotrs, NULL, NULL, NULL},
    {"cpotrf", sizeof(float), 1, 1, {Cpotrf, CdevicePotrf}, Cpotrs, NULL, NULL, NULL},
    {"zpotrf", sizeof(double), 1, 1, {Zpotrf, ZdevicePotrf}, Zpotrs, NULL, NULL, NULL},
    {"sgeqrf", sizeof(float), 0, KIND_QR, {Sgeqrf, SdeviceGeqrf}, Sgeqrs, NULL, NULL, NULL},
    {"dgeqrf", sizeof(double), 0, KIND_QR, {Dgeqrf, DdeviceGeqrf}, Dgeqrs, NULL, NULL, NULL},
    {"cgeqrf", sizeof(float), 1, KIND_QR, {Cgeqrf, CdeviceGeqrf}, Cgeqrs, NULL, NULL, NULL},
    {"zgeqrf", sizeof(double), 1, KIND_QR, {Zgeqrf, ZdeviceGeqrf}, Zgeqrs, NULL, NULL, NULL},
    {"sgelqf", sizeof(float), 0, KIND_QR, {Sgelqf, SdeviceGelqf}, Sgelqs, NULL, NULL, NULL},
    {"dgelqf", sizeof(double), 0, KIND_QR, {Dgelqf, DdeviceGelqf}, Dgelqs, NULL, NULL, NULL},
    {"cgelqf", sizeof(float), 1, KIND_QR, {Cgelqf, CdeviceGelqf}, Cgelqs, NULL, NULL, NULL},
    {"zgelqf", sizeof(double), 1, KIND_QR, {Zgelqf, ZdeviceGelqf}, Zgelqs, NULL, NULL, NULL},
    {"sorgqr", sizeof(float), 0, 0, {NULL, NULL}, NULL, &SorgqrOps, NULL, NULL},
    {"dorgqr", sizeof(double), 0, 0, {NULL, NULL}, NULL, &DorgqrOps, NULL, NULL},
    {"cungqr", sizeof(float), 1, 0, {NULL, NULL}, NULL, &CungqrOps, NULL, NULL},
    {"zungqr", sizeof(double), 1, 0, {NULL, NULL}, NULL, &ZungqrOps, NULL, NULL},
    {"sormqr", sizeof(float), 0, 0, {NULL, NULL}, NULL, &SormqrOps, NULL, NULL},
    {"dormqr", sizeof(double), 0, 0, {NULL, NULL}, NULL, &DormqrOps, NULL, NULL},
    {"cunmqr", sizeof(float), 1, 0, {NULL, NULL}, NULL, &CunmqrOps, NULL, NULL},
    {"zunmqr", sizeof(double), 1, 0, {NULL, NULL}, NULL, &ZunmqrOps, NULL, NULL},
    {"sgels", sizeof(float), 0, 0, {NULL, NULL}, NULL, NULL, &SgelsOps, NULL},
    {"dgels", sizeof(double), 0, 0, {NULL, NULL}, NULL, NULL, &DgelsOps, NULL},
    {"cgels", sizeof(float), 1, 0, {NULL, NULL}, NULL, NULL, &CgelsOps, NULL},
    {"zgels", sizeof(double), 1, 0, {NULL, NULL}, NULL, NULL, &ZgelsOps, NULL},
    {"sgehrd",
     sizeof(float),
     0,
     KIND_HESSENBERG,
     {Sgehrd, SdeviceGehrd},
     NULL,
     NULL,
     NULL,
     gehrdRatio},
    {"dgehrd",
     sizeof(double),
     0,
     KIND_HESSENBERG,
     {Dgehrd, DdeviceGehrd},
     NULL,
     NULL,
     NULL,
     gehrdRatio},
    {"cgehrd",
     sizeof(float),
     1,
     KIND_HESSENBERG,
     {Cgehrd, CdeviceGehrd},
     NULL,
     NULL,
     NULL,
     gehrdRatio},
    {"zgehrd",
     sizeof(double),
     1,
     KIND_HESSENBERG,
     {Zgehrd, ZdeviceGehrd},
     NULL,
     NULL,
     NULL,
     gehrdRatio},
    {"sgeev", sizeof(float), 0, KIND_EIGEN, {Sgeev, SdeviceGeev}, NULL, NULL, NULL, geevRatio},
    {"dgeev", sizeof(double), 0, KIND_EIGEN, {Dgeev, DdeviceGeev}, NULL, NULL, NULL, geevRatio},
    {"cgeev", sizeof(float), 1, KIND_EIGEN, {Cgeev, CdeviceGeev}, NULL, NULL, NULL, geevRatio},
    {"zgeev", sizeof(double), 1, KIND_EIGEN, {Zgeev, ZdeviceGeev}, NULL, NULL, NULL, geevRatio},
    {"sgebrd",
     sizeof(float),
     0,
     KIND_BIDIAGONAL,
     {Sgebrd, SdeviceGebrd},
     NULL,
     NULL,
     NULL,
     gebrdRatio},
    {"dgebrd",
     sizeof(double),
     0,
     KIND_BIDIAGONAL,
     {Dgebrd, DdeviceGebrd},
     NULL,
     NULL,
     NULL,
     gebrdRatio},
    {"cgebrd",
     sizeof(float),
     1,
     KIND_BIDIAGONAL,
     {Cgebrd, CdeviceGebrd},
     NULL,
     NULL,
     NULL,
     gebrdRatio},
    {"zgebrd",
     sizeof(double),
     1,
     KIND_BIDIAGONAL,
     {Zgebrd, ZdeviceGebrd},
     NULL,
     NULL,
     NULL,
     gebrdRatio},
    {"sgesvd", sizeof(float), 0, KIND_SVD, {Sgesvd, SdeviceGesvd}, NULL, NULL, NULL, gesvdRatio},
    {"dgesvd", sizeof(double), 0, KIND_SVD, {Dgesvd, DdeviceGesvd}, NULL, NULL, NULL, gesvdRatio},
    {"cgesvd", sizeof(float), 1, KIND_SVD, {Cgesvd, CdeviceGesvd}, NULL, NULL, NULL, gesvdRatio},
    {"zgesvd", sizeof(double), 1, KIND_SVD, {Zgesvd, ZdeviceGesvd}, NULL, NULL, NULL, gesvdRatio},
    SYMMETRIC_ROW("ssyev_n", float, 0, SsyevN),
    SYMMETRIC_ROW("ssyev_v", float, 0, SsyevV),
    SYMMETRIC_ROW("ssygv_n", float, 0, SsygvN),
    SYMMETRIC_ROW("ssygv_v", float, 0, SsygvV),
    SYMMETRIC_ROW("dsyev_n", double, 0, DsyevN),
    SYMMETRIC_ROW("dsyev_v", double, 0, DsyevV),
    SYMMETRIC_ROW("dsygv_n", double, 0, DsygvN),
    SYMMETRIC_ROW("dsygv_v", double, 0, DsygvV),
    SYMMETRIC_ROW("cheev_n", float, 1, CheevN),
    SYMMETRIC_ROW("cheev_v", float, 1, CheevV),
    SYMMETRIC_ROW("chegv_n", float, 1, ChegvN),
    SYMMETRIC_ROW("chegv_v", float, 1, ChegvV),
    SYMMETRIC_ROW("zheev_n", double, 1, ZheevN),
    SYMMETRIC_ROW("zheev_v", double, 1, ZheevV),
    SYMMETRIC_ROW("zhegv_n", double, 1, ZhegvN),
    SYMMETRIC_ROW("zhegv_v", double, 1, ZhegvV),
};
#define ROUTINE_COUNT (sizeof routines / sizeof routines[0])

static double now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + 1e-9 * t.tv_nsec;
}

static size_t elementSize(const Routine* r) {
    return r->realSize * (r->isComplex ? 2 : 1);
}

/* Real component `part` of element k of the array a, as a double, and the reverse. */
static double get(const Routine* r, const void* a, size_t k, int part) {
    const size_t c = k * (r->isComplex ? 2 : 1) + part;
    return r->realSize == sizeof(float) ? ((const float*)a)[c] : ((const double*)a)[c];
}
static void set(const Routine* r, void* a, size_t k, int part, double v) {
    const size_t c = k * (r->isComplex ? 2 : 1) + part;
    if (r->realSize == sizeof(float))
        ((float*)a)[c] = (float)v;
    else
        ((double*)a)[c] = v;
}

/* A well-conditioned matrix of order n: random entries in [-1, 1] plus n on the diagonal; for
 * Cholesky made symmetric / Hermitian (real diagonal), which the shift makes positive definite. */
static void fill(const Routine* r, int n, void* a) {
    const int parts = r->isComplex ? 2 : 1;
    const int cholesky = r->kind == KIND_CHOLESKY || r->kind == KIND_SYMMETRIC;
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            for (int part = 0; part < parts; ++part) {
                double v = 2.0 * rand() / RAND_MAX - 1.0;
                if (cholesky && i < j) continue; /* set from the lower triangle below */
                if (i == j) v = part == 0 ? v + n : 0.0;
                set(r, a, (size_t)j * n + i, part, v);
                if (cholesky && i > j) /* a(j, i) = conj(a(i, j)) */
                    set(r, a, (size_t)i * n + j, part, part == 1 ? -v : v);
            }
        }
    }
}

/* The backward error of a solve through the factors: b = A x0 for a random x0, x from the
 * factors, ratio ||b - A x||_inf / (n ||A||_inf ||x||_inf eps). Negative when memory runs out or
 * the solve fails. */
static double errorRatio(const Routine* r, int n, const void* a, const void* factors,
                         const int* ipiv) {
    const int parts = r->isComplex ? 2 : 1;
    double* x0 = malloc((size_t)n * 2 * sizeof(double));
    double* b = malloc((size_t)n * 2 * sizeof(double));
    void* x = malloc((size_t)n * elementSize(r));
    double ratio = -1.0;
    if (!x0 || !b || !x) goto done;
    for (size_t k = 0; k < 2 * (size_t)n; ++k) x0[k] = 2.0 * rand() / RAND_MAX - 1.0;
    /* b = A x0 (complex arithmetic throughout, imaginary parts 0 for real data) */
    double normA = 0.0;
    for (int i = 0; i < n; ++i) {
        double re = 0.0, im = 0.0, row = 0.0;
        for (int j = 0; j < n; ++j) {
            const double ar = get(r, a, (size_t)j * n + i, 0);
            const double ai = parts == 2 ? get(r, a, (size_t)j * n + i, 1) : 0.0;
            const double xr = x0[2 * j], xi = parts == 2 ? x0[2 * j + 1] : 0.0;
            re += ar * xr - ai * xi;
            im += ar * xi + ai * xr;
            row += fabs(ar) + fabs(ai);
        }
        b[2 * i] = re;
        b[2 * i + 1] = im;
        if (row > normA) normA = row;
    }
    for (int i = 0; i < n; ++i)
        for (int part = 0; part < parts; ++part) set(r, x, (size_t)i, part, b[2 * i + part]);
    if (r->solve(n, factors, ipiv, x) != 0) goto done;
    /* b - A x, in double precision */
    double normR = 0.0, normX = 0.0;
    for (int i = 0; i < n; ++i) {
        double re = b[2 * i], im = b[2 * i + 1];
        for (int j = 0; j < n; ++j) {
            const double ar = get(r, a, (size_t)j * n + i, 0);
            const double ai = parts == 2 ? get(r, a, (size_t)j * n + i, 1) : 0.0;
            const double xr = get(r, x, (size_t)j, 0),
                         xi = parts == 2 ? get(r, x, (size_t)j, 1) : 0.0;
            re -= ar * xr - ai * xi;
            im -= ar * xi + ai * xr;
        }
        const double ri = fabs(re) + fabs(im);
        const double xi =
            fabs(get(r, x, (size_t)i, 0)) + (parts == 2 ? fabs(get(r, x, (size_t)i, 1)) : 0.0);
        if (ri > normR) normR = ri;
        if (xi > normX) normX = xi;
    }
    const double eps = r->realSize == sizeof(float) ? FLT_EPSILON / 2 : DBL_EPSILON / 2;
    ratio = normA > 0 && normX > 0 ? normR / (n * normA * normX * eps) : 0.0;
done:
    free(x0);
    free(b);
    free(x);
    return ratio;
}

static double qEpsilonOf(const Routine* r) {
    return r->realSize == sizeof(float) ? FLT_EPSILON / 2 : DBL_EPSILON / 2;
}

/* ---- gehrd and geev: how they are checked ------------------------------------------------------
 * gehrd: A = Q H Q^H applied to a random x, ||A x - Q (H (Q^H x))||_inf / (n ||A||_inf ||x||_inf
 * eps), Q^H and Q applied by the host LAPACK's ormhr from the reflectors (O(n^2)). geev: LAPACK's
 * ratio ||A v - lambda v||_1 / (n ||A||_1 eps) for four of the unit right eigenvectors v (a
 * real type's complex pair assembled from its two columns). Arithmetic in double precision. */

static int hostOrmhr(const Routine* r, char trans, int n, const void* f, const void* tau, void* x) {
    switch (r->name[0]) {
        case 's':
            return Sormhr(trans, n, f, tau, x);
        case 'd':
            return Dormhr(trans, n, f, tau, x);
        case 'c':
            return Cormhr(trans, n, f, tau, x);
        default:
            return Zormhr(trans, n, f, tau, x);
    }
}

static double gehrdRatio(const Routine* r, int n, const void* a, const void* f, const void* tau) {
    const int parts = r->isComplex ? 2 : 1;
    double* x = malloc((size_t)n * 2 * sizeof(double));
    double* z = malloc((size_t)n * 2 * sizeof(double));
    void* y = malloc((size_t)n * elementSize(r));
    double ratio = -1.0;
    if (!x || !z || !y) goto done;
    for (int i = 0; i < n; ++i) {
        x[2 * i + 1] = 0.0;
        for (int part = 0; part < parts; ++part) {
            x[2 * i + part] = 2.0 * rand() / RAND_MAX - 1.0;
            set(r, y, (size_t)i, part, x[2 * i + part]);
        }
    }
    if (hostOrmhr(r, 'C', n, f, tau, y) != 0) goto done;
    for (int i = 0; i < n; ++i) { /* z = H y */
        double re = 0.0, im = 0.0;
        for (int j = i > 0 ? i - 1 : 0; j < n; ++j) {
            const double hr = get(r, f, (size_t)j * n + i, 0),
                         hi = parts == 2 ? get(r, f, (size_t)j * n + i, 1) : 0.0;
            const double yr = get(r, y, (size_t)j, 0),
                         yi = parts == 2 ? get(r, y, (size_t)j, 1) : 0.0;
            re += hr * yr - hi * yi;
            im += hr * yi + hi * yr;
        }
        z[2 * i] = re;
        z[2 * i + 1] = im;
    }
    for (int i = 0; i < n; ++i)
        for (int part = 0; part < parts; ++part) set(r, y, (size_t)i, part, z[2 * i + part]);
    if (hostOrmhr(r, 'N', n, f, tau, y) != 0) goto done;
    double normA = 0.0, normR = 0.0, normX = 0.0;
    for (int i = 0; i < n; ++i) {
        double re = -get(r, y, (size_t)i, 0), im = parts == 2 ? -get(r, y, (size_t)i, 1) : 0.0;
        double row = 0.0;
        for (int j = 0; j < n; ++j) {
            const double ar = get(r, a, (size_t)j * n + i, 0),
                         ai = parts == 2 ? get(r, a, (size_t)j * n + i, 1) : 0.0;
            re += ar * x[2 * j] - ai * x[2 * j + 1];
            im += ar * x[2 * j + 1] + ai * x[2 * j];
            row += fabs(ar) + fabs(ai);
        }
        if (row > normA) normA = row;
        if (fabs(re) + fabs(im) > normR) normR = fabs(re) + fabs(im);
        if (fabs(x[2 * i]) + fabs(x[2 * i + 1]) > normX)
            normX = fabs(x[2 * i]) + fabs(x[2 * i + 1]);
    }
    ratio = normA > 0 ? normR / (n * normA * normX * qEpsilonOf(r)) : 0.0;
done:
    free(x);
    free(z);
    free(y);
    return ratio;
}

static double geevRatio(const Routine* r, int n, const void* a, const void* unused,
                        const void* aux) {
    (void)unused;
    const int parts = r->isComplex ? 2 : 1;
    const size_t values = (size_t)n * n;
    double normA = 0.0, worst = 0.0;
    for (int j = 0; j < n; ++j) {
        double col = 0.0;
        for (int i = 0; i < n; ++i)
            col += hypot(get(r, a, (size_t)j * n + i, 0),
                         parts == 2 ? get(r, a, (size_t)j * n + i, 1) : 0.0);
        if (col > normA) normA = col;
    }
    double* v = malloc((size_t)n * 2 * sizeof(double));
    if (!v) return -1.0;
    const int sample[4] = {0, n / 3, 2 * n / 3, n - 1};
    for (int s = 0; s < 4; ++s) {
        const int j = sample[s];
        double lr, li;
        if (parts == 2) {
            lr = get(r, aux, values + j, 0);
            li = get(r, aux, values + j, 1);
        } else {
            lr = get(r, aux, values + j, 0);
            li = get(r, aux, values + n + j, 0);
        }
        /* v = column j, or the pair's columns re +- i im */
        const int first = parts == 1 && li < 0 ? j - 1 : j;
        const double sign = parts == 1 && li < 0 ? -1.0 : 1.0;
        for (int i = 0; i < n; ++i) {
            v[2 * i] = get(r, aux, (size_t)first * n + i, 0);
            v[2 * i + 1] = parts == 2  ? get(r, aux, (size_t)j * n + i, 1)
                           : li != 0.0 ? sign * get(r, aux, (size_t)(first + 1) * n + i, 0)
                                       : 0.0;
        }
        double res = 0.0;
        for (int i = 0; i < n; ++i) {
            double re = -(lr * v[2 * i] - li * v[2 * i + 1]),
                   im = -(lr * v[2 * i + 1] + li * v[2 * i]);
            for (int k = 0; k < n; ++k) {
                const double ar = get(r, a, (size_t)k * n + i, 0),
                             ai = parts == 2 ? get(r, a, (size_t)k * n + i, 1) : 0.0;
                re += ar * v[2 * k] - ai * v[2 * k + 1];
                im += ar * v[2 * k + 1] + ai * v[2 * k];
            }
            res += hypot(re, im);
        }
        if (res > worst) worst = res;
    }
    free(v);
    return normA > 0 ? worst / (n * normA * qEpsilonOf(r)) : 0.0;
}

/* ---- syev / heev and sygv / hegv: their matrix B, operation counts and checks ------------------
 * B(i, j) = 2 n delta_ij + cos(i + j) + i sin(i - j) (the imaginary part for the complex types):
 * Hermitian, and its diagonal dominates every row, so it is positive definite. jobz 'N': the
 * eigenvalues against the host LAPACK's, max |w - w_lapack| / (n max |w_lapack| eps). jobz 'V':
 * for four of the vectors x, ||A x - lambda B x||_1 / (n (||A||_1 + |lambda| ||B||_1) ||x||_1
 * eps) (B = I for syev), in double precision in O(n^2) operations. */
static const void* generalizedB(size_t realSize, int isComplex, int n) {
    static void* cached = NULL;
    static size_t cachedReal = 0;
    static int cachedComplex = -1, cachedN = -1;
    if (cached && cachedReal == realSize && cachedComplex == isComplex && cachedN == n)
        return cached;
    free(cached);
    const size_t element = realSize * (isComplex ? 2 : 1);
    cached = malloc((size_t)n * n * element);
    if (!cached) return NULL;
    Routine shape;
    memset(&shape, 0, sizeof shape);
    shape.realSize = realSize;
    shape.isComplex = isComplex;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            set(&shape, cached, (size_t)j * n + i, 0, (i == j ? 2.0 * n : 0.0) + cos(i + j));
            if (isComplex) set(&shape, cached, (size_t)j * n + i, 1, sin(i - j));
        }
    cachedReal = realSize;
    cachedComplex = isComplex;
    cachedN = n;
    return cached;
}

static int isGeneralized(const Routine* r) {
    return strstr(r->name, "gv") != NULL;
}
static int wantsVectors(const Routine* r) {
    return r->name[strlen(r->name) - 1] == 'v';
}

static double symmetricFlopsPerCube(const Routine* r) {
    const double standard = wantsVectors(r) ? 26.0 / 3.0 : 4.0 / 3.0;
    return isGeneralized(r) ? standard + 4.0 / 3.0 + (wantsVectors(r) ? 1.0 : 0.0) : standard;
}

static int hostEigenvalues(const Routine* r, int n, const void* a, double* w) {
    const int g = isGeneralized(r);
    switch (r->name[0]) {
        case 's':
            return SsyevValues(n, a, g, w);
        case 'd':
            return DsyevValues(n, a, g, w);
        case 'c':
            return CheevValues(n, a, g, w);
        default:
            return ZheevValues(n, a, g, w);
    }
}

/* Element k of a as a complex number in double precision. */
static void element(const Routine* r, const void* a, size_t k, double* re, double* im) {
    *re = get(r, a, k, 0);
    *im = r->isComplex ? get(r, a, k, 1) : 0.0;
}

static double norm1(const Routine* r, int n, const void* a) {
    double norm = 0.0;
    for (int j = 0; j < n; ++j) {
        double column = 0.0, re, im;
        for (int i = 0; i < n; ++i) {
            element(r, a, (size_t)j * n + i, &re, &im);
            column += hypot(re, im);
        }
        if (column > norm) norm = column;
    }
    return norm;
}

static double symmetricRatio(const Routine* r, int n, const void* a, const void* result,
                             const void* aux) {
    const void* b = isGeneralized(r) ? generalizedB(r->realSize, r->isComplex, n) : NULL;
    const void* w = (const char*)aux + (size_t)n * n * elementSize(r);
    const double eps = qEpsilonOf(r);
    double worst = 0.0;
    if (isGeneralized(r) && !b) return -1.0;
    if (!wantsVectors(r)) {
        double* want = malloc((size_t)n * sizeof(double));
        if (!want || hostEigenvalues(r, n, a, want) != 0) {
            free(want);
            return -1.0;
        }
        double top = 0.0, diff = 0.0;
        for (int i = 0; i < n; ++i) {
            /* w holds reals: read them as the elements of a real routine */
            const double got =
                r->realSize == sizeof(float) ? ((const float*)w)[i] : ((const double*)w)[i];
            if (fabs(want[i]) > top) top = fabs(want[i]);
            if (fabs(got - want[i]) > diff) diff = fabs(got - want[i]);
        }
        free(want);
        return top > 0 ? diff / (n * top * eps) : 0.0;
    }
    const double normA = norm1(r, n, a), normB = b ? norm1(r, n, b) : 1.0;
    const int sample[4] = {0, n / 3, 2 * n / 3, n - 1};
    for (int s = 0; s < 4; ++s) {
        const int j = sample[s];
        const double lambda =
            r->realSize == sizeof(float) ? ((const float*)w)[j] : ((const double*)w)[j];
        double residual = 0.0, normX = 0.0, xr, xi;
        for (int i = 0; i < n; ++i) {
            double re = 0.0, im = 0.0, ar, ai; /* (A x - lambda B x)_i */
            for (int k = 0; k < n; ++k) {
                element(r, result, (size_t)j * n + k, &xr, &xi);
                element(r, a, (size_t)k * n + i, &ar, &ai);
                re += ar * xr - ai * xi;
                im += ar * xi + ai * xr;
                if (b)
                    element(r, b, (size_t)k * n + i, &ar, &ai);
                else
                    ar = k == i ? 1.0 : 0.0, ai = 0.0;
                re -= lambda * (ar * xr - ai * xi);
                im -= lambda * (ar * xi + ai * xr);
            }
            residual += hypot(re, im);
            element(r, result, (size_t)j * n + i, &xr, &xi);
            normX += hypot(xr, xi);
        }
        const double ratio = residual / (n * (normA + fabs(lambda) * normB) * normX * eps);
        if (ratio > worst) worst = ratio;
    }
    return worst;
}

/* ---- orgqr and ormqr: how they are timed and checked -------------------------------------------
 * orgqr's Q must have orthonormal columns: max |q_i^H q_j - delta_ij| / (n eps) over all i and a
 * sample of four columns j. ormqr applies Q to R of the same factorization, which must give back
 * the matrix: max |Q R - A| / (n max |A| eps). Both take O(n^2) operations. */

static double qEpsilon(const Routine* r) {
    return r->realSize == sizeof(float) ? FLT_EPSILON / 2 : DBL_EPSILON / 2;
}

static double orthogonalityRatio(const Routine* r, int n, const void* q) {
    const int parts = r->isComplex ? 2 : 1;
    const int sample[4] = {0, n / 3, 2 * n / 3, n - 1};
    double worst = 0.0;
    for (int s = 0; s < 4; ++s) {
        const int j = sample[s];
        for (int i = 0; i < n; ++i) {
            double re = i == j ? -1.0 : 0.0, im = 0.0; /* q_i^H q_j - delta_ij */
            for (int l = 0; l < n; ++l) {
                const size_t li = (size_t)i * n + l, lj = (size_t)j * n + l;
                const double ar = get(r, q, li, 0), ai = parts == 2 ? get(r, q, li, 1) : 0.0;
                const double br = get(r, q, lj, 0), bi = parts == 2 ? get(r, q, lj, 1) : 0.0;
                re += ar * br + ai * bi;
                im += ar * bi - ai * br;
            }
            if (hypot(re, im) > worst) worst = hypot(re, im);
        }
    }
    return worst / (n * qEpsilon(r));
}

static double reproductionRatio(const Routine* r, int n, const void* a, const void* qr) {
    const int parts = r->isComplex ? 2 : 1;
    double diff = 0.0, size = 0.0;
    for (size_t k = 0; k < (size_t)n * n; ++k) {
        const double ar = get(r, a, k, 0), ai = parts == 2 ? get(r, a, k, 1) : 0.0;
        const double d = hypot(get(r, qr, k, 0) - ar, (parts == 2 ? get(r, qr, k, 1) : 0.0) - ai);
        if (d > diff) diff = d;
        if (hypot(ar, ai) > size) size = hypot(ar, ai);
    }
    return size > 0 ? diff / (n * size * qEpsilon(r)) : 0.0;
}

/* bench() for an orgqr or ormqr row: the same runs and the same line. */
static int benchQ(const Routine* r, int device, int n, int runs, const void* a) {
    const QOps* q = r->q;
    const size_t bytes = (size_t)n * n * elementSize(r), tauBytes = (size_t)n * elementSize(r);
    void* v = malloc(bytes); /* the factors: reflectors below R */
    void* tau = malloc(tauBytes);
    void* start = malloc(bytes); /* what a call overwrites: the factors (orgqr) or R (ormqr) */
    void* x = malloc(bytes);
    void *dx = NULL, *dv = NULL, *dtau = NULL;
    int failed = 1;
    if (!v || !tau || !start || !x) {
        fprintf(stderr, "%s: out of host memory\n", r->name);
        goto done;
    }
    memcpy(v, a, bytes);
    if (q->geqrf(n, v, tau) != 0) {
        fprintf(stderr, "%s: the host geqrf failed\n", r->name);
        goto done;
    }
    memcpy(start, v, bytes);
    if (q->apply) /* R: the factors' upper triangle */
        for (int j = 0; j < n; ++j)
            for (int i = j + 1; i < n; ++i)
                for (int part = 0; part < (r->isComplex ? 2 : 1); ++part)
                    set(r, start, (size_t)j * n + i, part, 0.0);
    if (device && (cudaMalloc(&dx, bytes) != cudaSuccess || cudaMalloc(&dv, bytes) != cudaSuccess ||
                   cudaMalloc(&dtau, tauBytes) != cudaSuccess)) {
        fprintf(stderr, "%s: cudaMalloc of %zu bytes failed\n", r->name, bytes);
        goto done;
    }
    if (device && (cudaMemcpy(dv, v, bytes, cudaMemcpyHostToDevice) != cudaSuccess ||
                   cudaMemcpy(dtau, tau, tauBytes, cudaMemcpyHostToDevice) != cudaSuccess))
        goto done;
    double best = 1e300;
#ifdef ZULI_BENCH_EMULATED
    zuliEmuCounters counted;
    memset(&counted, 0, sizeof counted);
#endif
    for (int run = 0; run < runs; ++run) {
        memcpy(x, start, bytes);
        if (device && cudaMemcpy(dx, x, bytes, cudaMemcpyHostToDevice) != cudaSuccess) goto done;
        cudaDeviceSynchronize();
#ifdef ZULI_BENCH_EMULATED
        zuliEmuResetCounters();
#endif
        const double t0 = now();
        const zuliStatus s =
            q->call[device](n, device ? dx : x, device ? dv : v, device ? dtau : tau);
        cudaDeviceSynchronize();
        const double seconds = now() - t0;
#ifdef ZULI_BENCH_EMULATED
        zuliEmuGetCounters(&counted);
#endif
        if (s != zuliNoError) {
            fprintf(stderr, "%s (%s): %s, info %d\n", r->name, device ? "device" : "host",
                    zuliGetStatusString(s), (int)zuliGetErrorInfo());
            goto done;
        }
        if (seconds < best) best = seconds;
    }
    if (device && cudaMemcpy(x, dx, bytes, cudaMemcpyDeviceToHost) != cudaSuccess) goto done;
    const double ratio = q->apply ? reproductionRatio(r, n, a, x) : orthogonalityRatio(r, n, x);
    const int ok = ratio < ERROR_RATIO_LIMIT;
    const double flops =
        (q->apply ? 2.0 : 4.0 / 3.0) * n * (double)n * n * (r->isComplex ? 4.0 : 1.0);
    printf("%-7s %-6s %6d %10.4f s %9.2f GFLOP/s   error %9.3g  %-6s", r->name,
           device ? "device" : "host", n, best, flops / best * 1e-9, ratio, ok ? "ok" : "failed");
#ifdef ZULI_BENCH_EMULATED
    printf("  bus %5.2f x matrix  device flops %5.1f %%  launches %5llu  waits %5llu",
           (double)(counted.h2dBytes + counted.d2hBytes) / bytes, 100.0 * counted.blasFlops / flops,
           counted.launches, counted.syncs);
#endif
    printf("\n");
    failed = !ok;
done:
    free(v);
    free(tau);
    free(start);
    free(x);
    cudaFree(dx);
    cudaFree(dv);
    cudaFree(dtau);
    return failed;
}

/* ---- gels: how it is timed and checked ---------------------------------------------------------
 * The problem is 2n x n: the n x n matrix of the other routines on top of n random rows, and a
 * random right-hand side b. The least-squares residual r = b - A x must be orthogonal to A's
 * columns: ||A^H r||_1 / (max(m, n) ||A||_1 ||b||_1 eps), computed in double precision in O(mn)
 * operations. */
static double residualOrthogonality(const Routine* r, int m, int n, const void* a, const void* b,
                                    const void* x) {
    const int parts = r->isComplex ? 2 : 1;
    double* res = malloc((size_t)m * 2 * sizeof(double));
    if (!res) return -1.0;
    double normB = 0.0;
    for (int i = 0; i < m; ++i) {
        double re = get(r, b, (size_t)i, 0), im = parts == 2 ? get(r, b, (size_t)i, 1) : 0.0;
        normB += hypot(re, im);
        for (int j = 0; j < n; ++j) {
            const double ar = get(r, a, (size_t)j * m + i, 0);
            const double ai = parts == 2 ? get(r, a, (size_t)j * m + i, 1) : 0.0;
            const double xr = get(r, x, (size_t)j, 0),
                         xi = parts == 2 ? get(r, x, (size_t)j, 1) : 0.0;
            re -= ar * xr - ai * xi;
            im -= ar * xi + ai * xr;
        }
        res[2 * i] = re;
        res[2 * i + 1] = im;
    }
    double normA = 0.0, normG = 0.0;
    for (int j = 0; j < n; ++j) {
        double re = 0.0, im = 0.0, column = 0.0; /* a_j^H r */
        for (int i = 0; i < m; ++i) {
            const double ar = get(r, a, (size_t)j * m + i, 0);
            const double ai = parts == 2 ? get(r, a, (size_t)j * m + i, 1) : 0.0;
            re += ar * res[2 * i] + ai * res[2 * i + 1];
            im += ar * res[2 * i + 1] - ai * res[2 * i];
            column += hypot(ar, ai);
        }
        normG += hypot(re, im);
        if (column > normA) normA = column;
    }
    free(res);
    return normA > 0 && normB > 0 ? normG / (m * normA * normB * qEpsilon(r)) : 0.0;
}

/* bench() for a gels row: the same runs and the same line, the bus traffic as a multiple of A. */
static int benchGels(const Routine* r, int device, int n, int runs, const void* square) {
    const int m = 2 * n, parts = r->isComplex ? 2 : 1;
    const size_t bytes = (size_t)m * n * elementSize(r), bBytes = (size_t)m * elementSize(r);
    void* a = malloc(bytes);
    void* b = malloc(bBytes);
    void* work = malloc(bytes);
    void* x = malloc(bBytes);
    void *da = NULL, *db = NULL;
    int failed = 1;
    if (!a || !b || !work || !x) {
        fprintf(stderr, "%s: out of host memory\n", r->name);
        goto done;
    }
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i)
            for (int part = 0; part < parts; ++part)
                set(r, a, (size_t)j * m + i, part,
                    i < n ? get(r, square, (size_t)j * n + i, part)
                          : 2.0 * rand() / RAND_MAX - 1.0);
    for (int i = 0; i < m; ++i)
        for (int part = 0; part < parts; ++part)
            set(r, b, (size_t)i, part, 2.0 * rand() / RAND_MAX - 1.0);
    if (device &&
        (cudaMalloc(&da, bytes) != cudaSuccess || cudaMalloc(&db, bBytes) != cudaSuccess)) {
        fprintf(stderr, "%s: cudaMalloc of %zu bytes failed\n", r->name, bytes);
        goto done;
    }
    double best = 1e300;
#ifdef ZULI_BENCH_EMULATED
    zuliEmuCounters counted;
    memset(&counted, 0, sizeof counted);
#endif
    for (int run = 0; run < runs; ++run) {
        memcpy(work, a, bytes);
        memcpy(x, b, bBytes);
        if (device && (cudaMemcpy(da, work, bytes, cudaMemcpyHostToDevice) != cudaSuccess ||
                       cudaMemcpy(db, x, bBytes, cudaMemcpyHostToDevice) != cudaSuccess))
            goto done;
        cudaDeviceSynchronize();
#ifdef ZULI_BENCH_EMULATED
        zuliEmuResetCounters();
#endif
        const double start = now();
        const zuliStatus s = r->ls->call[device](m, n, device ? da : work, device ? db : x);
        cudaDeviceSynchronize();
        const double seconds = now() - start;
#ifdef ZULI_BENCH_EMULATED
        zuliEmuGetCounters(&counted);
#endif
        if (s != zuliNoError) {
            fprintf(stderr, "%s (%s): %s, info %d\n", r->name, device ? "device" : "host",
                    zuliGetStatusString(s), (int)zuliGetErrorInfo());
            goto done;
        }
        if (seconds < best) best = seconds;
    }
    if (device && cudaMemcpy(x, db, bBytes, cudaMemcpyDeviceToHost) != cudaSuccess) goto done;
    const double ratio = residualOrthogonality(r, m, n, a, b, x);
    const int ok = ratio >= 0 && ratio < ERROR_RATIO_LIMIT;
    const double flops =
        (2.0 * m * n * (double)n - 2.0 / 3.0 * n * (double)n * n) * (r->isComplex ? 4.0 : 1.0);
    printf("%-7s %-6s %6d %10.4f s %9.2f GFLOP/s   error %9.3g  %-6s", r->name,
           device ? "device" : "host", n, best, flops / best * 1e-9, ratio, ok ? "ok" : "failed");
#ifdef ZULI_BENCH_EMULATED
    printf("  bus %5.2f x matrix  device flops %5.1f %%  launches %5llu  waits %5llu",
           (double)(counted.h2dBytes + counted.d2hBytes) / bytes, 100.0 * counted.blasFlops / flops,
           counted.launches, counted.syncs);
#endif
    printf("\n");
    failed = !ok;
done:
    free(a);
    free(b);
    free(work);
    free(x);
    cudaFree(da);
    cudaFree(db);
    return failed;
}

/* ---- gebrd and gesvd: how they are checked ----------------------------------------------------
 * Both against A applied to a random x, in O(n^2) operations and double precision. gebrd: A =
 * Q B P^H, ||A x - Q (B (P^H x))||_inf / (n ||A||_inf ||x||_inf eps), Q and P^H applied by the
 * host LAPACK's ormbr from the reflectors. gesvd: the same ratio for A = U diag(s) V^H, and the
 * orthonormality of U and of VT (whose columns are orthonormal too, VT being square) on a sample
 * of columns as orgqr's; the largest of the three. */

/* max |y_i - (A x)_i| / (n ||A||_inf ||x||_inf eps) for y (n elements of the routine's type) and
 * x (n pairs of doubles). */
static double applicationRatio(const Routine* r, int n, const void* a, const double* x,
                               const void* y) {
    const int parts = r->isComplex ? 2 : 1;
    double normA = 0.0, normR = 0.0, normX = 0.0;
    for (int i = 0; i < n; ++i) {
        double re = -get(r, y, (size_t)i, 0), im = parts == 2 ? -get(r, y, (size_t)i, 1) : 0.0;
        double row = 0.0;
        for (int j = 0; j < n; ++j) {
            const double ar = get(r, a, (size_t)j * n + i, 0),
                         ai = parts == 2 ? get(r, a, (size_t)j * n + i, 1) : 0.0;
            re += ar * x[2 * j] - ai * x[2 * j + 1];
            im += ar * x[2 * j + 1] + ai * x[2 * j];
            row += fabs(ar) + fabs(ai);
        }
        if (row > normA) normA = row;
        if (fabs(re) + fabs(im) > normR) normR = fabs(re) + fabs(im);
        if (fabs(x[2 * i]) + fabs(x[2 * i + 1]) > normX)
            normX = fabs(x[2 * i]) + fabs(x[2 * i + 1]);
    }
    return normA > 0 ? normR / (n * normA * normX * qEpsilonOf(r)) : 0.0;
}

/* A random x (n pairs of doubles, imaginary parts 0 for the real types), also into y in the
 * routine's type. */
static void randomVector(const Routine* r, int n, double* x, void* y) {
    for (int i = 0; i < n; ++i) {
        x[2 * i + 1] = 0.0;
        for (int part = 0; part < (r->isComplex ? 2 : 1); ++part) {
            x[2 * i + part] = 2.0 * rand() / RAND_MAX - 1.0;
            set(r, y, (size_t)i, part, x[2 * i + part]);
        }
    }
}

static int hostOrmbr(const Routine* r, char vect, int n, const void* f, const void* tau, void* x) {
    switch (r->name[0]) {
        case 's':
            return Sormbr(vect, n, f, tau, x);
        case 'd':
            return Dormbr(vect, n, f, tau, x);
        case 'c':
            return Cormbr(vect, n, f, tau, x);
        default:
            return Zormbr(vect, n, f, tau, x);
    }
}

static double gebrdRatio(const Routine* r, int n, const void* a, const void* f, const void* aux) {
    const int parts = r->isComplex ? 2 : 1;
    const size_t real = r->realSize;
    const char* d = aux;
    const char* tauq = d + 2 * (size_t)n * real;
    const char* taup = tauq + (size_t)n * elementSize(r);
    double* x = malloc((size_t)n * 2 * sizeof(double));
    void* y = malloc((size_t)n * elementSize(r));
    double ratio = -1.0;
    if (!x || !y) goto done;
    randomVector(r, n, x, y);
    if (hostOrmbr(r, 'P', n, f, taup, y) != 0) goto done;
    for (int i = 0; i < n; ++i) /* y = B y, B upper bidiagonal with real d and e */
        for (int part = 0; part < parts; ++part) {
            const double di = real == sizeof(float) ? ((const float*)d)[i] : ((const double*)d)[i];
            const double ei = i + 1 < n ? (real == sizeof(float) ? ((const float*)d)[n + i]
                                                                 : ((const double*)d)[n + i])
                                        : 0.0;
            const double next = i + 1 < n ? get(r, y, (size_t)i + 1, part) : 0.0;
            set(r, y, (size_t)i, part, di * get(r, y, (size_t)i, part) + ei * next);
        }
    if (hostOrmbr(r, 'Q', n, f, tauq, y) != 0) goto done;
    ratio = applicationRatio(r, n, a, x, y);
done:
    free(x);
    free(y);
    return ratio;
}

static double gesvdRatio(const Routine* r, int n, const void* a, const void* u, const void* aux) {
    const int parts = r->isComplex ? 2 : 1;
    const void* vt = aux;
    const char* s = (const char*)aux + (size_t)n * n * elementSize(r);
    double* x = malloc((size_t)n * 2 * sizeof(double));
    double* z = malloc((size_t)n * 2 * sizeof(double));
    void* y = malloc((size_t)n * elementSize(r));
    double ratio = -1.0;
    if (!x || !z || !y) goto done;
    randomVector(r, n, x, y);
    for (int i = 0; i < n; ++i) { /* z = diag(s) VT x */
        double re = 0.0, im = 0.0;
        for (int j = 0; j < n; ++j) {
            const double vr = get(r, vt, (size_t)j * n + i, 0),
                         vi = parts == 2 ? get(r, vt, (size_t)j * n + i, 1) : 0.0;
            re += vr * x[2 * j] - vi * x[2 * j + 1];
            im += vr * x[2 * j + 1] + vi * x[2 * j];
        }
        const double si =
            r->realSize == sizeof(float) ? ((const float*)s)[i] : ((const double*)s)[i];
        z[2 * i] = si * re;
        z[2 * i + 1] = si * im;
    }
    for (int i = 0; i < n; ++i) { /* y = U z */
        double re = 0.0, im = 0.0;
        for (int j = 0; j < n; ++j) {
            const double ur = get(r, u, (size_t)j * n + i, 0),
                         ui = parts == 2 ? get(r, u, (size_t)j * n + i, 1) : 0.0;
            re += ur * z[2 * j] - ui * z[2 * j + 1];
            im += ur * z[2 * j + 1] + ui * z[2 * j];
        }
        set(r, y, (size_t)i, 0, re);
        if (parts == 2) set(r, y, (size_t)i, 1, im);
    }
    ratio = applicationRatio(r, n, a, x, y);
    const double ou = orthogonalityRatio(r, n, u), ov = orthogonalityRatio(r, n, vt);
    if (ou > ratio) ratio = ou;
    if (ov > ratio) ratio = ov;
done:
    free(x);
    free(z);
    free(y);
    return ratio;
}

/* Runs routine r on interface `device` `runs` times on fresh copies of a; prints one line.
 * Returns 0, or 1 when a call fails or the result is wrong. Everything it allocates is freed on
 * every path. */
static int bench(const Routine* r, int device, int n, int runs, const void* a) {
    if (r->q) return benchQ(r, device, n, runs, a);
    if (r->ls) return benchGels(r, device, n, runs, a);
    const size_t bytes = (size_t)n * n * elementSize(r);
    void* work = malloc(bytes);
    /* pivots, or tau for KIND_QR */
    const size_t ipivBytes =
        r->kind == KIND_EIGEN || r->kind == KIND_BIDIAGONAL || r->kind == KIND_SVD
            ? ((size_t)n * n + 2 * (size_t)n) * elementSize(r)
        : r->kind == KIND_SYMMETRIC
            ? ((size_t)n * n + (size_t)n) * elementSize(r)
            : (size_t)n *
                  (r->kind == KIND_QR || r->kind == KIND_HESSENBERG ? elementSize(r) : sizeof(int));
    int* ipiv = malloc(ipivBytes);
    void* da = NULL;
    int* dpiv = NULL;
    int failed = 1;
    if (!work || !ipiv) {
        fprintf(stderr, "%s: out of host memory\n", r->name);
        goto done;
    }
    if (device && (cudaMalloc(&da, bytes) != cudaSuccess ||
                   cudaMalloc((void**)&dpiv, ipivBytes) != cudaSuccess)) {
        fprintf(stderr, "%s: cudaMalloc of %zu bytes failed\n", r->name, bytes);
        goto done;
    }
    double best = 1e300;
#ifdef ZULI_BENCH_EMULATED
    zuliEmuCounters counted;
    memset(&counted, 0, sizeof counted);
#endif
    for (int run = 0; run < runs; ++run) {
        memcpy(work, a, bytes);
        if (device && cudaMemcpy(da, work, bytes, cudaMemcpyHostToDevice) != cudaSuccess) goto done;
        cudaDeviceSynchronize();
#ifdef ZULI_BENCH_EMULATED
        zuliEmuResetCounters();
#endif
        const double start = now();
        const zuliStatus s = r->call[device](n, device ? da : work, device ? dpiv : ipiv);
        cudaDeviceSynchronize();
        const double seconds = now() - start;
#ifdef ZULI_BENCH_EMULATED
        zuliEmuGetCounters(&counted);
#endif
        if (s != zuliNoError) {
            fprintf(stderr, "%s (%s): %s, info %d\n", r->name, device ? "device" : "host",
                    zuliGetStatusString(s), (int)zuliGetErrorInfo());
            goto done;
        }
        if (seconds < best) best = seconds;
    }
    if (device && (cudaMemcpy(work, da, bytes, cudaMemcpyDeviceToHost) != cudaSuccess ||
                   cudaMemcpy(ipiv, dpiv, ipivBytes, cudaMemcpyDeviceToHost) != cudaSuccess))
        goto done;
    const double ratio = r->check ? r->check(r, n, a, work, ipiv) : errorRatio(r, n, a, work, ipiv);
    const int ok = ratio >= 0 && ratio < ERROR_RATIO_LIMIT;
    const double perCube = r->kind == KIND_QR           ? 4.0 / 3.0
                           : r->kind == KIND_CHOLESKY   ? 1.0 / 3.0
                           : r->kind == KIND_HESSENBERG ? 10.0 / 3.0
                           : r->kind == KIND_EIGEN      ? 26.0 / 3.0
                           : r->kind == KIND_BIDIAGONAL ? 8.0 / 3.0
                           : r->kind == KIND_SVD        ? 21.0
                           : r->kind == KIND_SYMMETRIC  ? symmetricFlopsPerCube(r)
                                                        : 2.0 / 3.0;
    const double flops = perCube * n * (double)n * n * (r->isComplex ? 4.0 : 1.0);
    printf("%-7s %-6s %6d %10.4f s %9.2f GFLOP/s   error %9.3g  %-6s", r->name,
           device ? "device" : "host", n, best, flops / best * 1e-9, ratio, ok ? "ok" : "failed");
#ifdef ZULI_BENCH_EMULATED
    printf("  bus %5.2f x matrix  device flops %5.1f %%  launches %5llu  waits %5llu",
           (double)(counted.h2dBytes + counted.d2hBytes) / bytes, 100.0 * counted.blasFlops / flops,
           counted.launches, counted.syncs);
#endif
    printf("\n");
    failed = !ok;
done:
    free(work);
    free(ipiv);
    cudaFree(da);
    cudaFree(dpiv);
    return failed;
}

/* Adds the comma-separated sizes of `list` to sizes[]; returns 0 on a bad list. */
static int parseSizes(const char* list, int* sizes, int* count) {
    const char* p = list;
    while (*p) {
        char* end = NULL;
        const long v = strtol(p, &end, 10);
        if (end == p || v < 1 || v > 1000000 || *count == MAX_SIZES) return 0;
        sizes[(*count)++] = (int)v;
        p = *end == ',' ? end + 1 : end;
        if (*end && *end != ',') return 0;
    }
    return 1;
}

int main(int argc, char** argv) {
    int sizes[MAX_SIZES], sizeCount = 0;
    int runs = 3, chosen = 0, failed = 0;
    const Routine* selected[ROUTINE_COUNT];
    for (int i = 1; i < argc; ++i) {
        if (!strcmp(argv[i], "-n") && i + 1 < argc) {
            if (!parseSizes(argv[++i], sizes, &sizeCount)) {
                fprintf(stderr, "bad size list: %s\n", argv[i]);
                return 2;
            }
        } else if (!strcmp(argv[i], "-r") && i + 1 < argc) {
            runs = atoi(argv[++i]);
        } else {
            size_t k = 0;
            while (k < ROUTINE_COUNT && strcmp(routines[k].name, argv[i])) ++k;
            if (k == ROUTINE_COUNT || chosen == (int)ROUTINE_COUNT) {
                fprintf(stderr,
                        "usage: %s [-n n1,n2,...] [-r runs] [sgetrf ... zgelqf sorgqr ... zunmqr "
                        "sgels ... zgels sgehrd ... zgeev sgebrd ... zgesvd ssyev_n ... zhegv_v]\n",
                        argv[0]);
                return 2;
            }
            selected[chosen++] = &routines[k];
        }
    }
    if (runs < 1) {
        fprintf(stderr, "the number of runs must be positive\n");
        return 2;
    }
    if (sizeCount == 0) {
#ifdef ZULI_BENCH_EMULATED
        sizes[sizeCount++] = 1024;
#else
        sizes[sizeCount++] = 8192;
#endif
    }
    if (chosen == 0)
        for (size_t k = 0; k < ROUTINE_COUNT; ++k) selected[chosen++] = &routines[k];
    const zuliStatus init = zuliInitialize();
    if (init != zuliNoError) {
        fprintf(stderr, "zuliInitialize failed: %s\n", zuliGetStatusString(init));
        return 1;
    }
    for (int s = 0; s < sizeCount; ++s) {
        const int n = sizes[s];
        for (int k = 0; k < chosen; ++k) {
            const Routine* r = selected[k];
            void* a = malloc((size_t)n * n * elementSize(r));
            if (!a) {
                fprintf(stderr, "%s: out of host memory for n = %d\n", r->name, n);
                failed = 1;
                continue;
            }
            srand(20261122);
            fill(r, n, a);
            failed |= bench(r, 0, n, runs, a);
            failed |= bench(r, 1, n, runs, a);
            free(a);
        }
    }
    zuliShutdown();
    return failed;
}
