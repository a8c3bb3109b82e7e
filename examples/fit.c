/* fit.c - fitting a polynomial to noisy samples with libzuli_lapack's least-squares solver gels,
 * in single and double precision, through the host interface (arrays in host memory) and the
 * device interface (arrays copied to the GPU first).
 *
 * The samples are y_i = p(t_i) + e_i for 10,000 points t_i evenly spread over [-1, 1], p a known
 * polynomial of degree 5 and e_i noise of standard deviation 0.001. The fit is the least-squares
 * solution of the overdetermined system A c = y with A(i, k) = t_i^k (k = 0 ... 5): gels factors
 * A = Q R and solves R c = (Q^T y)(1:6). On [-1, 1] the powers of t are far from linearly
 * dependent (A's condition number is below 100), so single precision recovers the coefficients
 * as well as double; on an interval such as [0, 100] the same basis would be hopeless in single
 * precision (shift and scale the samples to [-1, 1] first).
 *
 * The program prints the true coefficients beside the recovered ones and the root mean square of
 * the residual, which estimates the noise level. It exits with status 1 if a call fails or a
 * coefficient is off by more than 0.005 (over ten standard deviations of the estimate). */
#include "zuli_lapack.h"

#include <cuda_runtime_api.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { SAMPLES = 10000, TERMS = 6 };
static const double truth[TERMS] = {0.5, -1.25, 2.0, 0.75, -1.5, 1.0};
static const double noiseLevel = 0.001, tolerance = 0.005;

/* A normally distributed number of mean 0 and standard deviation 1 (Box-Muller). */
static double gaussian(void) {
    const double u = (rand() + 1.0) / (RAND_MAX + 2.0), v = (rand() + 1.0) / (RAND_MAX + 2.0);
    return sqrt(-2.0 * log(u)) * cos(6.283185307179586 * v);
}

/* Fits the samples (t, y) in precision T through the host interface (device == 0) or the device
 * interface (device == 1): coef receives the TERMS coefficients and *rms the root mean square of
 * the residual. Returns the status of gels (or zuliRuntimeError when memory is short). */
#define FIT(L, T)                                                                                 \
    static zuliStatus fit##L(int device, const double* t, const double* y, double* coef,          \
                             double* rms) {                                                       \
        T* a = malloc(sizeof(T) * SAMPLES * TERMS);                                               \
        T* b = malloc(sizeof(T) * SAMPLES);                                                       \
        T *da = NULL, *db = NULL;                                                                 \
        zuliStatus status = zuliRuntimeError;                                                     \
        if (!a || !b) goto done;                                                                  \
        for (int i = 0; i < SAMPLES; ++i) {                                                       \
            double power = 1.0;                                                                   \
            for (int k = 0; k < TERMS; ++k, power *= t[i]) a[(size_t)k * SAMPLES + i] = (T)power; \
            b[i] = (T)y[i];                                                                       \
        }                                                                                         \
        if (device) {                                                                             \
            if (cudaMalloc((void**)&da, sizeof(T) * SAMPLES * TERMS) != cudaSuccess ||            \
                cudaMalloc((void**)&db, sizeof(T) * SAMPLES) != cudaSuccess ||                    \
                cudaMemcpy(da, a, sizeof(T) * SAMPLES * TERMS, cudaMemcpyHostToDevice) !=         \
                    cudaSuccess ||                                                                \
                cudaMemcpy(db, b, sizeof(T) * SAMPLES, cudaMemcpyHostToDevice) != cudaSuccess)    \
                goto done;                                                                        \
            status = zuliDevice##L##gels('N', SAMPLES, TERMS, 1, da, SAMPLES, db, SAMPLES);       \
            if (cudaMemcpy(b, db, sizeof(T) * SAMPLES, cudaMemcpyDeviceToHost) != cudaSuccess)    \
                status = zuliRuntimeError;                                                        \
        } else {                                                                                  \
            status = zuli##L##gels('N', SAMPLES, TERMS, 1, a, SAMPLES, b, SAMPLES);               \
        }                                                                                         \
        if (status != zuliNoError) goto done;                                                     \
        /* The solution in the first TERMS rows; below it the residual in Q's coordinates. */     \
        double sum = 0.0;                                                                         \
        for (int k = 0; k < TERMS; ++k) coef[k] = b[k];                                           \
        for (int i = TERMS; i < SAMPLES; ++i) sum += (double)b[i] * b[i];                         \
        *rms = sqrt(sum / (SAMPLES - TERMS));                                                     \
    done:                                                                                         \
        free(a);                                                                                  \
        free(b);                                                                                  \
        cudaFree(da);                                                                             \
        cudaFree(db);                                                                             \
        return status;                                                                            \
    }
FIT(S, float)
FIT(D, double)

typedef zuliStatus (*Fit)(int device, const double* t, const double* y, double* coef, double* rms);

int main(void) {
    zuliStatus status = zuliInitialize();
    if (status != zuliNoError) {
        printf("zuliInitialize: %s\n", zuliGetStatusString(status));
        return 1;
    }
    double* t = malloc(sizeof(double) * SAMPLES);
    double* y = malloc(sizeof(double) * SAMPLES);
    if (!t || !y) {
        fprintf(stderr, "out of host memory\n");
        return 1;
    }
    srand(2026);
    for (int i = 0; i < SAMPLES; ++i) {
        t[i] = -1.0 + 2.0 * i / (SAMPLES - 1);
        double p = 0.0;
        for (int k = TERMS - 1; k >= 0; --k) p = p * t[i] + truth[k];
        y[i] = p + noiseLevel * gaussian();
    }

    const char* names[4] = {"S host", "S device", "D host", "D device"};
    const Fit fits[2] = {fitS, fitD};
    double coef[4][TERMS], rms[4];
    int failed = 0;
    for (int f = 0; f < 4; ++f) {
        status = fits[f / 2](f % 2, t, y, coef[f], &rms[f]);
        if (status != zuliNoError) {
            char text[256];
            zuliGetErrorInfoString(status, zuliGetErrorInfo(), text, sizeof text);
            printf("%s: gels failed: %s\n", names[f], text);
            return 1;
        }
    }
    printf("Least-squares fit of a degree-%d polynomial to %d samples on [-1, 1], noise %.3g\n",
           TERMS - 1, SAMPLES, noiseLevel);
    printf("  power      true  %10s  %10s  %10s  %10s\n", names[0], names[1], names[2], names[3]);
    for (int k = 0; k < TERMS; ++k) {
        printf("  t^%d   %8.4f", k, truth[k]);
        for (int f = 0; f < 4; ++f) {
            const int off = !(fabs(coef[f][k] - truth[k]) < tolerance);
            failed |= off;
            printf("  %9.5f%s", coef[f][k], off ? "!" : " ");
        }
        printf("\n");
    }
    printf("  rms residual    ");
    for (int f = 0; f < 4; ++f) printf("  %9.2e ", rms[f]);
    printf("\n");
    free(t);
    free(y);
    zuliShutdown();
    printf(failed ? "some coefficients are off by more than %g (marked !)\n"
                  : "every coefficient within %g of the truth\n",
           tolerance);
    return failed ? 1 : 0;
}
