/* vibration.c - the vibration modes of a chain of masses and springs with libzuli_lapack's
 * symmetric eigensolvers: syev for the standard problem and sygv for the generalized one.
 *
 * N = 1,000 masses m_i sit on a line between two fixed walls, joined to their neighbours (and the
 * first and last to the walls) by N + 1 springs of stiffness k_i. For displacements x(t) the
 * equations of motion are M x'' + K x = 0 with the mass matrix M = diag(m_i) and the stiffness
 * matrix K, tridiagonal: K(i, i) = k_i + k_(i+1), K(i, i+1) = K(i+1, i) = -k_(i+1). A mode
 * x(t) = x cos(omega t) solves the generalized eigenproblem K x = omega^2 M x (sygv, itype 1);
 * for unit masses it is the standard problem K x = omega^2 x (syev). Both matrices are passed
 * dense, as a general symmetric problem would be: the solvers do not know that they are sparse.
 *
 * For equal masses m and springs k the modes are known in closed form:
 *     omega_j = 2 sqrt(k / m) sin(j pi / (2 (N + 1))),   x_j(i) = sin(i j pi / (N + 1)).
 * The program solves three chains and prints the lowest frequencies beside the closed form:
 *   1. unit masses and springs, syev through the host interface (eigenvalues only);
 *   2. masses of 0.25 kg and springs of 400 N/m, sygv through the device interface (eigenvalues
 *      only);
 *   3. the same chain through the host interface with the modes: the fundamental mode's shape is
 *      compared with the sine above (normalised as sygv normalises it, x^T M x = 1).
 * Eigenvalues are computed with an absolute error of a few eps ||K|| / m, so the lowest
 * frequencies, whose squares are some 10^5 times smaller than ||K|| / m, keep about ten digits.
 * The program exits with status 1 if a call fails or a frequency or the mode shape is off by more
 * than 1e-7 (relative). */
#include "zuli_lapack.h"

#include <cuda_runtime_api.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { N = 1000, SHOWN = 6 };
static const double pi = 3.14159265358979323846, tolerance = 1e-7;

/* K of the uniform chain (springs k) and M = m I, dense, column-major N x N. */
static void chain(double k, double m, double* stiffness, double* mass) {
    for (size_t i = 0; i < (size_t)N * N; ++i) stiffness[i] = mass[i] = 0.0;
    for (int i = 0; i < N; ++i) {
        stiffness[i + (size_t)i * N] = 2.0 * k;
        if (i + 1 < N) stiffness[i + 1 + (size_t)i * N] = stiffness[i + (size_t)(i + 1) * N] = -k;
        mass[i + (size_t)i * N] = m;
    }
}

static double closedForm(double k, double m, int j) {
    return 2.0 * sqrt(k / m) * sin(j * pi / (2.0 * (N + 1)));
}

/* Prints the lowest SHOWN frequencies sqrt(w[j]) beside the closed form; returns 1 if one is off.
 */
static int report(const char* title, double k, double m, const double* w) {
    int off = 0;
    printf("%s\n     j        omega_j (computed)   omega_j (closed form)   relative error\n",
           title);
    for (int j = 1; j <= SHOWN; ++j) {
        const double got = sqrt(w[j - 1]), want = closedForm(k, m, j);
        const double error = fabs(got - want) / want;
        const int bad = !(error <= tolerance);
        off |= bad;
        printf("  %4d  %22.12f  %22.12f  %14.2e%s\n", j, got, want, error, bad ? "  !" : "");
    }
    return off;
}

static int failed(const char* what, zuliStatus status) {
    if (status == zuliNoError) return 0;
    char text[256];
    zuliGetErrorInfoString(status, zuliGetErrorInfo(), text, sizeof text);
    printf("%s failed: %s\n", what, text);
    return 1;
}

int main(void) {
    if (failed("zuliInitialize", zuliInitialize())) return 1;
    const size_t bytes = sizeof(double) * N * N;
    double *k = malloc(bytes), *m = malloc(bytes), *w = malloc(sizeof(double) * N);
    double *dk = NULL, *dm = NULL, *dw = NULL;
    int off = 0;
    if (!k || !m || !w) {
        printf("out of host memory\n");
        return 1;
    }
    printf("A chain of %d masses between fixed walls: the lowest vibration frequencies (rad/s)\n\n",
           N);

    /* 1. Unit masses: the standard problem K x = omega^2 x. */
    chain(1.0, 1.0, k, m);
    if (failed("zuliDsyev", zuliDsyev('N', 'L', N, k, N, w))) return 1;
    off |= report("unit masses and springs (syev)", 1.0, 1.0, w);

    /* 2. Masses of 0.25 kg, springs of 400 N/m: K x = omega^2 M x, the matrices on the GPU. */
    const double spring = 400.0, body = 0.25;
    chain(spring, body, k, m);
    if (cudaMalloc((void**)&dk, bytes) != cudaSuccess ||
        cudaMalloc((void**)&dm, bytes) != cudaSuccess ||
        cudaMalloc((void**)&dw, sizeof(double) * N) != cudaSuccess ||
        cudaMemcpy(dk, k, bytes, cudaMemcpyHostToDevice) != cudaSuccess ||
        cudaMemcpy(dm, m, bytes, cudaMemcpyHostToDevice) != cudaSuccess) {
        printf("could not set up the device arrays\n");
        return 1;
    }
    if (failed("zuliDeviceDsygv", zuliDeviceDsygv(1, 'N', 'U', N, dk, N, dm, N, dw))) return 1;
    if (cudaMemcpy(w, dw, sizeof(double) * N, cudaMemcpyDeviceToHost) != cudaSuccess) return 1;
    off |= report("\n0.25 kg masses, 400 N/m springs (device sygv)", spring, body, w);

    /* 3. The same chain with its modes. The fundamental, scaled so that x^T M x = 1 and of
     * either sign, is sqrt(2 / (m (N + 1))) sin(i pi / (N + 1)). */
    chain(spring, body, k, m);
    if (failed("zuliDsygv", zuliDsygv(1, 'V', 'L', N, k, N, m, N, w))) return 1;
    off |= report("\nthe same chain with its modes (host sygv)", spring, body, w);
    const double scale = sqrt(2.0 / (body * (N + 1))), sign = k[N / 2] < 0 ? -1.0 : 1.0;
    double shape = 0.0;
    for (int i = 0; i < N; ++i)
        shape = fmax(shape, fabs(sign * k[i] - scale * sin((i + 1) * pi / (N + 1))) / scale);
    const int badShape = !(shape <= tolerance);
    off |= badShape;
    printf("  fundamental mode against sin(i pi / (N + 1)): largest deviation %.2e%s\n", shape,
           badShape ? "  !" : "");

    cudaFree(dk);
    cudaFree(dm);
    cudaFree(dw);
    free(k);
    free(m);
    free(w);
    zuliShutdown();
    printf(off ? "\nsome results are off by more than %g (marked !)\n"
               : "\nevery frequency within %g of the closed form\n",
           tolerance);
    return off ? 1 : 0;
}
