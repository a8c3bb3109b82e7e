/* solve.c - solves random linear systems A X = B with libzuli_lapack in every precision, through
 * the host interface (matrices in host memory) and the device interface (matrices copied to the
 * GPU first), and prints the scaled residual ||A X - B|| / (||A|| ||X|| n eps) of each solution:
 * a value of order 1 means the solution is as accurate as the precision allows.
 *
 * Three solvers: gesv (LU with partial pivoting) on a general matrix, posv (Cholesky) on a
 * symmetric / Hermitian positive definite one, and in double precision the mixed-precision
 * dsgesv / zcgesv, which factor in single precision and refine the solution to double precision
 * (their iteration count is printed too).
 *
 * Build against the GPU flavor (link zuli_lapack and cudart) or the emulated one (zuli_lapack_emu),
 * then run it with no arguments; it exits with status 1 if a call fails or a residual is large. */
#include "zuli_lapack.h"

#include <cuda_runtime_api.h>

#include <float.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { N = 600, NRHS = 2 };

/* The solvers, in one form for every precision: [0] the host interface, [1] the device one. */
typedef zuliStatus (*Gesv)(int n, int nrhs, void* a, int lda, int* ipiv, void* b, int ldb);
typedef zuliStatus (*Posv)(char uplo, int n, int nrhs, void* a, int lda, void* b, int ldb);
typedef zuliStatus (*MixedGesv)(int n, int nrhs, void* a, int lda, int* ipiv, const void* b,
                                int ldb, void* x, int ldx, int* iter);

/* One precision: its element size, how to read and write an element as a pair of doubles, and
 * its solvers in both interfaces (the mixed-precision one only for double precision). */
typedef struct Precision {
    const char* name;
    size_t size;
    int complex;
    double eps;
    Gesv gesv[2];
    Posv posv[2];
    const char* mixedName;
    MixedGesv mixed[2];
} Precision;

#define SOLVER_WRAPPERS(L, T)                                                                   \
    static zuliStatus L##gesv(int n, int nrhs, void* a, int lda, int* ipiv, void* b, int ldb) { \
        return zuli##L##gesv(n, nrhs, (T*)a, lda, ipiv, (T*)b, ldb);                            \
    }                                                                                           \
    static zuliStatus L##deviceGesv(int n, int nrhs, void* a, int lda, int* ipiv, void* b,      \
                                    int ldb) {                                                  \
        return zuliDevice##L##gesv(n, nrhs, (T*)a, lda, ipiv, (T*)b, ldb);                      \
    }                                                                                           \
    static zuliStatus L##posv(char uplo, int n, int nrhs, void* a, int lda, void* b, int ldb) { \
        return zuli##L##posv(uplo, n, nrhs, (T*)a, lda, (T*)b, ldb);                            \
    }                                                                                           \
    static zuliStatus L##devicePosv(char uplo, int n, int nrhs, void* a, int lda, void* b,      \
                                    int ldb) {                                                  \
        return zuliDevice##L##posv(uplo, n, nrhs, (T*)a, lda, (T*)b, ldb);                      \
    }
SOLVER_WRAPPERS(S, float)
SOLVER_WRAPPERS(D, double)
SOLVER_WRAPPERS(C, zuliComplexFloat)
SOLVER_WRAPPERS(Z, zuliComplexDouble)

#define MIXED_WRAPPERS(NAME, T)                                                                  \
    static zuliStatus NAME(int n, int nrhs, void* a, int lda, int* ipiv, const void* b, int ldb, \
                           void* x, int ldx, int* iter) {                                        \
        return zuli##NAME(n, nrhs, (T*)a, lda, ipiv, (const T*)b, ldb, (T*)x, ldx, iter);        \
    }                                                                                            \
    static zuliStatus device##NAME(int n, int nrhs, void* a, int lda, int* ipiv, const void* b,  \
                                   int ldb, void* x, int ldx, int* iter) {                       \
        return zuliDevice##NAME(n, nrhs, (T*)a, lda, ipiv, (const T*)b, ldb, (T*)x, ldx, iter);  \
    }
MIXED_WRAPPERS(Dsgesv, double)
MIXED_WRAPPERS(Zcgesv, zuliComplexDouble)

static const Precision precisions[] = {
    {"single", sizeof(float), 0, FLT_EPSILON, {Sgesv, SdeviceGesv}, {Sposv, SdevicePosv}, NULL,
     {NULL, NULL}},
    {"double", sizeof(double), 0, DBL_EPSILON, {Dgesv, DdeviceGesv}, {Dposv, DdevicePosv},
     "dsgesv", {Dsgesv, deviceDsgesv}},
    {"single complex", sizeof(zuliComplexFloat), 1, FLT_EPSILON, {Cgesv, CdeviceGesv},
     {Cposv, CdevicePosv}, NULL, {NULL, NULL}},
    {"double complex", sizeof(zuliComplexDouble), 1, DBL_EPSILON, {Zgesv, ZdeviceGesv},
     {Zposv, ZdevicePosv}, "zcgesv", {Zcgesv, deviceZcgesv}},
};

/* The three ways of solving. */
typedef enum Solver { GESV, POSV, MIXED } Solver;

/* Element i of an array of the precision, as (re, im) doubles, and back. */
static void get(const Precision* p, const void* a, size_t i, double* re, double* im) {
    *im = 0;
    if (p->size == sizeof(float) && !p->complex) {
        *re = ((const float*)a)[i];
    } else if (p->size == sizeof(double) && !p->complex) {
        *re = ((const double*)a)[i];
    } else if (p->size == sizeof(zuliComplexFloat)) {
        *re = ((const zuliComplexFloat*)a)[i].re;
        *im = ((const zuliComplexFloat*)a)[i].im;
    } else {
        *re = ((const zuliComplexDouble*)a)[i].re;
        *im = ((const zuliComplexDouble*)a)[i].im;
    }
}

static void set(const Precision* p, void* a, size_t i, double re, double im) {
    if (p->size == sizeof(float) && !p->complex) {
        ((float*)a)[i] = (float)re;
    } else if (p->size == sizeof(double) && !p->complex) {
        ((double*)a)[i] = re;
    } else if (p->size == sizeof(zuliComplexFloat)) {
        ((zuliComplexFloat*)a)[i].re = (float)re;
        ((zuliComplexFloat*)a)[i].im = (float)im;
    } else {
        ((zuliComplexDouble*)a)[i].re = re;
        ((zuliComplexDouble*)a)[i].im = im;
    }
}

static double uniform(void) {
    return 2.0 * rand() / RAND_MAX - 1.0;
}

/* H = (A + A^H) / 2 + N I: symmetric / Hermitian, and positive definite since the shift exceeds
 * the largest eigenvalue of the random part in modulus. */
static void hermitianPositiveDefinite(const Precision* p, const void* a, void* h) {
    for (int j = 0; j < N; ++j) {
        for (int i = 0; i < N; ++i) {
            double re, im, tre, tim;
            get(p, a, (size_t)j * N + i, &re, &im);
            get(p, a, (size_t)i * N + j, &tre, &tim);
            set(p, h, (size_t)j * N + i, (re + tre) / 2 + (i == j ? N : 0), (im - tim) / 2);
        }
    }
}

/* ||A X - B||_max / (||A||_max ||X||_max n eps), computed in double precision. */
static double residual(const Precision* p, const void* a, const void* x, const void* b) {
    double anorm = 0, xnorm = 0, rnorm = 0;
    for (size_t k = 0; k < (size_t)N * N; ++k) {
        double re, im;
        get(p, a, k, &re, &im);
        anorm = fmax(anorm, hypot(re, im));
    }
    for (int j = 0; j < NRHS; ++j) {
        for (int i = 0; i < N; ++i) {
            double sre, sim, xre, xim;
            get(p, b, (size_t)j * N + i, &sre, &sim);
            for (int k = 0; k < N; ++k) {
                double are, aim;
                get(p, a, (size_t)k * N + i, &are, &aim);
                get(p, x, (size_t)j * N + k, &xre, &xim);
                sre -= are * xre - aim * xim;
                sim -= are * xim + aim * xre;
            }
            get(p, x, (size_t)j * N + i, &xre, &xim);
            xnorm = fmax(xnorm, hypot(xre, xim));
            rnorm = fmax(rnorm, hypot(sre, sim));
        }
    }
    return rnorm / (anorm * xnorm * N * p->eps);
}

/* A device copy of a host array (NULL when the copy fails). */
static void* upload(const void* host, size_t bytes) {
    void* d = NULL;
    if (cudaMalloc(&d, bytes) != cudaSuccess) return NULL;
    cudaMemcpy(d, host, bytes, cudaMemcpyHostToDevice);
    return d;
}

/* Solves A X = B with `solver` through the host interface (device == 0) or the device interface
 * (device == 1). gesv and posv overwrite a copy of B with X; the mixed-precision solver reads B
 * and writes X apart, and reports its iteration count. */
static int solve(const Precision* p, Solver solver, int device, const void* a, const void* b) {
    const size_t aBytes = (size_t)N * N * p->size, bBytes = (size_t)N * NRHS * p->size;
    void* f = malloc(aBytes);
    void* x = malloc(bBytes);
    int* ipiv = malloc(N * sizeof(int));
    int iter = 0;
    memcpy(f, a, aBytes);
    memcpy(x, b, bBytes);
    void *pa = f, *pb = x, *px = x;
    int* ppiv = ipiv;
    if (device) {
        pa = upload(f, aBytes);
        pb = upload(b, bBytes);
        px = solver == MIXED ? upload(x, bBytes) : pb;
        ppiv = upload(ipiv, N * sizeof(int));
        if (!pa || !pb || !px || !ppiv) {
            fprintf(stderr, "cudaMalloc failed\n");
            return 1;
        }
    }
    zuliStatus status;
    const char* name = solver == GESV ? "gesv" : solver == POSV ? "posv" : p->mixedName;
    if (solver == GESV) {
        status = p->gesv[device](N, NRHS, pa, N, ppiv, pb, N);
    } else if (solver == POSV) {
        status = p->posv[device]('L', N, NRHS, pa, N, pb, N);
    } else {
        status = p->mixed[device](N, NRHS, pa, N, ppiv, device ? pb : b, N, px, N, &iter);
    }
    if (device) {
        cudaMemcpy(x, px, bBytes, cudaMemcpyDeviceToHost);
        cudaFree(pa);
        cudaFree(pb);
        if (px != pb) cudaFree(px);
        cudaFree(ppiv);
    }
    int failed = 1;
    if (status != zuliNoError) {
        char text[256];
        zuliGetErrorInfoString(status, zuliGetErrorInfo(), text, sizeof text);
        printf("  %-15s %-7s %-6s: %s\n", p->name, device ? "device" : "host", name, text);
    } else {
        const double r = residual(p, a, x, b);
        failed = !(r < 100);
        printf("  %-15s %-7s %-6s: residual %.3f", p->name, device ? "device" : "host", name, r);
        if (solver == MIXED) printf(", %d refinement steps", iter);
        printf("%s\n", failed ? "  (too large)" : "");
    }
    free(f);
    free(x);
    free(ipiv);
    return failed;
}

int main(void) {
    zuliStatus status = zuliInitialize();
    if (status != zuliNoError) {
        printf("zuliInitialize: %s\n", zuliGetStatusString(status));
        return 1;
    }
    printf("Solving random %d x %d systems with %d right-hand sides\n", N, N, NRHS);
    int failures = 0;
    srand(2026);
    for (size_t k = 0; k < sizeof precisions / sizeof precisions[0]; ++k) {
        const Precision* p = &precisions[k];
        void* a = malloc((size_t)N * N * p->size);
        void* b = malloc((size_t)N * NRHS * p->size);
        void* h = malloc((size_t)N * N * p->size);
        for (size_t i = 0; i < (size_t)N * N; ++i) set(p, a, i, uniform(), uniform());
        for (size_t i = 0; i < (size_t)N * NRHS; ++i) set(p, b, i, uniform(), uniform());
        hermitianPositiveDefinite(p, a, h);
        for (int device = 0; device < 2; ++device) {
            failures += solve(p, GESV, device, a, b);
            failures += solve(p, POSV, device, h, b);
            if (p->mixed[device]) failures += solve(p, MIXED, device, a, b);
        }
        free(a);
        free(b);
        free(h);
    }
    zuliShutdown();
    printf(failures ? "%d solves failed\n" : "all solves succeeded\n", failures);
    return failures ? 1 : 0;
}
