/* solve.c - solves random linear systems A X = B with libzuli_lapack in every precision, through
 * the host interface (matrices in host memory) and the device interface (matrices copied to the
 * GPU first), and prints the scaled residual ||A X - B|| / (||A|| ||X|| n eps) of each solution:
 * a value of order 1 means the solution is as accurate as the precision allows.
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

/* One precision: its element size, how to read and write an element as a pair of doubles, and
 * its solvers in both interfaces. */
typedef struct Precision {
    const char* name;
    size_t size;
    int complex;
    double eps;
    zuliStatus (*gesv)(int, int, void*, int, int*, void*, int);
    zuliStatus (*deviceGesv)(int, int, void*, int, int*, void*, int);
} Precision;

#define GESV_WRAPPERS(L, T)                                                                    \
    static zuliStatus L##gesv(int n, int nrhs, void* a, int lda, int* ipiv, void* b, int ldb) { \
        return zuli##L##gesv(n, nrhs, (T*)a, lda, ipiv, (T*)b, ldb);                            \
    }                                                                                          \
    static zuliStatus L##deviceGesv(int n, int nrhs, void* a, int lda, int* ipiv, void* b,     \
                                    int ldb) {                                                 \
        return zuliDevice##L##gesv(n, nrhs, (T*)a, lda, ipiv, (T*)b, ldb);                      \
    }
GESV_WRAPPERS(S, float)
GESV_WRAPPERS(D, double)
GESV_WRAPPERS(C, zuliComplexFloat)
GESV_WRAPPERS(Z, zuliComplexDouble)

static const Precision precisions[] = {
    {"single", sizeof(float), 0, FLT_EPSILON, Sgesv, SdeviceGesv},
    {"double", sizeof(double), 0, DBL_EPSILON, Dgesv, DdeviceGesv},
    {"single complex", sizeof(zuliComplexFloat), 1, FLT_EPSILON, Cgesv, CdeviceGesv},
    {"double complex", sizeof(zuliComplexDouble), 1, DBL_EPSILON, Zgesv, ZdeviceGesv},
};

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

/* Solves with the host interface (device == 0) or the device interface (device == 1). */
static int solve(const Precision* p, int device, const void* a, const void* b) {
    const size_t aBytes = (size_t)N * N * p->size, bBytes = (size_t)N * NRHS * p->size;
    void* f = malloc(aBytes);
    void* x = malloc(bBytes);
    int* ipiv = malloc(N * sizeof(int));
    memcpy(f, a, aBytes);
    memcpy(x, b, bBytes);
    zuliStatus status;
    if (!device) {
        status = p->gesv(N, NRHS, f, N, ipiv, x, N);
    } else {
        void *da = NULL, *db = NULL;
        int* dpiv = NULL;
        if (cudaMalloc(&da, aBytes) != cudaSuccess || cudaMalloc(&db, bBytes) != cudaSuccess ||
            cudaMalloc((void**)&dpiv, N * sizeof(int)) != cudaSuccess) {
            fprintf(stderr, "cudaMalloc failed\n");
            return 1;
        }
        cudaMemcpy(da, f, aBytes, cudaMemcpyHostToDevice);
        cudaMemcpy(db, x, bBytes, cudaMemcpyHostToDevice);
        status = p->deviceGesv(N, NRHS, da, N, dpiv, db, N);
        cudaMemcpy(x, db, bBytes, cudaMemcpyDeviceToHost);
        cudaFree(da);
        cudaFree(db);
        cudaFree(dpiv);
    }
    int failed = 1;
    if (status != zuliNoError) {
        char text[256];
        zuliGetErrorInfoString(status, zuliGetErrorInfo(), text, sizeof text);
        printf("  %-15s %-7s gesv: %s\n", p->name, device ? "device" : "host", text);
    } else {
        const double r = residual(p, a, x, b);
        failed = !(r < 100);
        printf("  %-15s %-7s gesv: residual %.3f%s\n", p->name, device ? "device" : "host", r,
               failed ? "  (too large)" : "");
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
        for (size_t i = 0; i < (size_t)N * N; ++i) set(p, a, i, uniform(), uniform());
        for (size_t i = 0; i < (size_t)N * NRHS; ++i) set(p, b, i, uniform(), uniform());
        failures += solve(p, 0, a, b);
        failures += solve(p, 1, a, b);
        free(a);
        free(b);
    }
    zuliShutdown();
    printf(failures ? "%d solves failed\n" : "all solves succeeded\n", failures);
    return failures ? 1 : 0;
}
