/* qr.c - QR factorization of a tall random matrix with libzuli_lapack in every precision, through
 * the host interface (matrices in host memory) and the device interface (matrices copied to the
 * GPU first): geqrf factors A = Q R, orgqr forms the m x n Q from the reflectors geqrf leaves
 * below R, and the program prints two scaled errors, each of order 1 when the results are as
 * accurate as the precision allows:
 *
 *   ||A - Q R|| / (m ||A|| eps)   how well the factors reproduce A
 *   ||I - Q^H Q|| / (m eps)       how orthonormal the columns of Q are
 *
 * (max norms, computed in double precision). Build against the GPU flavor (link zuli_lapack and
 * cudart) or the emulated one (zuli_lapack_emu), then run it with no arguments; it exits with
 * status 1 if a call fails or an error is large. */
#include "zuli_lapack.h"

#include <cuda_runtime_api.h>

#include <float.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { M = 500, N = 180 };

/* The two routines, in one form for every precision: [0] the host interface, [1] the device one. */
typedef zuliStatus (*Geqrf)(int m, int n, void* a, int lda, void* tau);
typedef zuliStatus (*Orgqr)(int m, int n, int k, void* a, int lda, const void* tau);

typedef struct Precision {
    const char* name;
    size_t size;
    int complex;
    double eps;
    Geqrf geqrf[2];
    Orgqr orgqr[2];
} Precision;

#define QR_WRAPPERS(L, T, ORGQR)                                                               \
    static zuliStatus L##geqrf(int m, int n, void* a, int lda, void* tau) {                    \
        return zuli##L##geqrf(m, n, (T*)a, lda, (T*)tau);                                      \
    }                                                                                          \
    static zuliStatus L##deviceGeqrf(int m, int n, void* a, int lda, void* tau) {              \
        return zuliDevice##L##geqrf(m, n, (T*)a, lda, (T*)tau);                                \
    }                                                                                          \
    static zuliStatus L##orgqr(int m, int n, int k, void* a, int lda, const void* tau) {       \
        return zuli##L##ORGQR(m, n, k, (T*)a, lda, (const T*)tau);                             \
    }                                                                                          \
    static zuliStatus L##deviceOrgqr(int m, int n, int k, void* a, int lda, const void* tau) { \
        return zuliDevice##L##ORGQR(m, n, k, (T*)a, lda, (const T*)tau);                       \
    }
QR_WRAPPERS(S, float, orgqr)
QR_WRAPPERS(D, double, orgqr)
QR_WRAPPERS(C, zuliComplexFloat, ungqr)
QR_WRAPPERS(Z, zuliComplexDouble, ungqr)

static const Precision precisions[] = {
    {"single", sizeof(float), 0, FLT_EPSILON, {Sgeqrf, SdeviceGeqrf}, {Sorgqr, SdeviceOrgqr}},
    {"double", sizeof(double), 0, DBL_EPSILON, {Dgeqrf, DdeviceGeqrf}, {Dorgqr, DdeviceOrgqr}},
    {"single complex",
     sizeof(zuliComplexFloat),
     1,
     FLT_EPSILON,
     {Cgeqrf, CdeviceGeqrf},
     {Corgqr, CdeviceOrgqr}},
    {"double complex",
     sizeof(zuliComplexDouble),
     1,
     DBL_EPSILON,
     {Zgeqrf, ZdeviceGeqrf},
     {Zorgqr, ZdeviceOrgqr}},
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

/* ||A - Q R||_max / (M ||A||_max eps), R the upper triangle of the factors f. */
static double factorError(const Precision* p, const void* a, const void* f, const void* q) {
    double anorm = 0, rnorm = 0;
    for (int j = 0; j < N; ++j) {
        for (int i = 0; i < M; ++i) {
            double sre, sim, qre, qim, rre, rim;
            get(p, a, (size_t)j * M + i, &sre, &sim);
            anorm = fmax(anorm, hypot(sre, sim));
            for (int k = 0; k <= j; ++k) {
                get(p, q, (size_t)k * M + i, &qre, &qim);
                get(p, f, (size_t)j * M + k, &rre, &rim);
                sre -= qre * rre - qim * rim;
                sim -= qre * rim + qim * rre;
            }
            rnorm = fmax(rnorm, hypot(sre, sim));
        }
    }
    return rnorm / (M * anorm * p->eps);
}

/* ||I - Q^H Q||_max / (M eps). */
static double orthogonalityError(const Precision* p, const void* q) {
    double worst = 0;
    for (int j = 0; j < N; ++j) {
        for (int i = 0; i <= j; ++i) {
            double sre = i == j ? -1.0 : 0.0, sim = 0, are, aim, bre, bim;
            for (int k = 0; k < M; ++k) {
                get(p, q, (size_t)i * M + k, &are, &aim);
                get(p, q, (size_t)j * M + k, &bre, &bim);
                sre += are * bre + aim * bim;
                sim += are * bim - aim * bre;
            }
            worst = fmax(worst, hypot(sre, sim));
        }
    }
    return worst / (M * p->eps);
}

/* Factors A and forms Q through the host interface (device == 0) or the device interface
 * (device == 1); prints both errors. Returns 1 when a call fails or an error is large. */
static int factor(const Precision* p, int device, const void* a) {
    const size_t aBytes = (size_t)M * N * p->size, tauBytes = (size_t)N * p->size;
    void* f = malloc(aBytes);
    void* q = malloc(aBytes);
    void* tau = malloc(tauBytes);
    void *pa = NULL, *ptau = NULL;
    const char* step = "";
    zuliStatus status = zuliNoError;
    int failed = 1;
    if (!f || !q || !tau) {
        fprintf(stderr, "out of host memory\n");
        goto done;
    }
    memcpy(f, a, aBytes);
    if (device) {
        /* The factors stay on the device for orgqr; f receives a copy of them for R. */
        if (cudaMalloc(&pa, aBytes) != cudaSuccess || cudaMalloc(&ptau, tauBytes) != cudaSuccess ||
            cudaMemcpy(pa, a, aBytes, cudaMemcpyHostToDevice) != cudaSuccess) {
            fprintf(stderr, "could not set up the device arrays\n");
            goto done;
        }
        step = "geqrf";
        status = p->geqrf[1](M, N, pa, M, ptau);
        if (status == zuliNoError) {
            cudaMemcpy(f, pa, aBytes, cudaMemcpyDeviceToHost);
            step = "orgqr";
            status = p->orgqr[1](M, N, N, pa, M, ptau);
            cudaMemcpy(q, pa, aBytes, cudaMemcpyDeviceToHost);
        }
    } else {
        step = "geqrf";
        status = p->geqrf[0](M, N, f, M, tau);
        if (status == zuliNoError) {
            memcpy(q, f, aBytes);
            step = "orgqr";
            status = p->orgqr[0](M, N, N, q, M, tau);
        }
    }
    if (status != zuliNoError) {
        char text[256];
        zuliGetErrorInfoString(status, zuliGetErrorInfo(), text, sizeof text);
        printf("  %-15s %-7s %s: %s\n", p->name, device ? "device" : "host", step, text);
        goto done;
    }
    const double e1 = factorError(p, a, f, q), e2 = orthogonalityError(p, q);
    failed = !(e1 < 100 && e2 < 100);
    printf("  %-15s %-7s ||A - QR|| / (m ||A|| eps) = %.3f   ||I - Q^H Q|| / (m eps) = %.3f%s\n",
           p->name, device ? "device" : "host", e1, e2, failed ? "  (too large)" : "");
done:
    free(f);
    free(q);
    free(tau);
    cudaFree(pa);
    cudaFree(ptau);
    return failed;
}

int main(void) {
    zuliStatus status = zuliInitialize();
    if (status != zuliNoError) {
        printf("zuliInitialize: %s\n", zuliGetStatusString(status));
        return 1;
    }
    printf("QR factorization of random %d x %d matrices, Q formed explicitly\n", M, N);
    int failures = 0;
    srand(2026);
    for (size_t k = 0; k < sizeof precisions / sizeof precisions[0]; ++k) {
        const Precision* p = &precisions[k];
        void* a = malloc((size_t)M * N * p->size);
        if (!a) {
            fprintf(stderr, "out of host memory\n");
            return 1;
        }
        for (size_t i = 0; i < (size_t)M * N; ++i) set(p, a, i, uniform(), uniform());
        for (int device = 0; device < 2; ++device) failures += factor(p, device, a);
        free(a);
    }
    zuliShutdown();
    printf(failures ? "%d factorizations failed\n" : "all factorizations succeeded\n", failures);
    return failures ? 1 : 0;
}
