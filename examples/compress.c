/* compress.c - compresses a smooth 256 x 256 image-like matrix with a truncated singular value
 * decomposition. zuliDgesvd computes A = U diag(s) V^T; the rank-k approximation A_k keeps the k
 * largest singular values and their vectors, A_k = U_k diag(s_1..s_k) V_k^T, formed with the
 * library's gemm. By the Eckart-Young theorem A_k is the best rank-k approximation in the
 * Frobenius norm, and its error is exactly what the discarded singular values carry:
 *
 *   ||A - A_k||_F / ||A||_F  =  sqrt(s_{k+1}^2 + ... + s_n^2) / ||A||_F
 *
 * The program prints both sides for several k next to the storage A_k needs (k (m + n + 1)
 * numbers instead of m n). A smooth picture has rapidly decaying singular values, so a few dozen
 * of them reproduce it to many digits. Build against the GPU flavor (link zuli_lapack and cudart)
 * or the emulated one (zuli_lapack_emu) and run it with no arguments; it exits with status 1 if a
 * call fails or the two sides disagree beyond rounding. */
#include "zuli_lapack.h"

#include <float.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { M = 256, N = 256 };

/* A smooth picture on [0, 1]^2: a tilted elliptic blob, a soft diagonal ridge, a ring and a
 * shaded background. The tilted and round shapes are what make it more than a few outer products.
 */
static double picture(double x, double y) {
    const double dx = x - 0.3, dy = y - 0.6;
    const double blob = exp(-(dx * dx + dy * dy + 1.4 * dx * dy) / 0.03);
    const double ridge = 0.5 * exp(-(x - y + 0.2) * (x - y + 0.2) / 0.01);
    const double r = sqrt((x - 0.65) * (x - 0.65) + (y - 0.3) * (y - 0.3));
    const double ring = 0.4 * exp(-(r - 0.15) * (r - 0.15) / 0.004);
    return blob + ridge + ring + 0.3 * x * y + 0.1;
}

/* Reports a failed call with the library's description of it. */
static int failedCall(const char* what, zuliStatus status) {
    char text[256];
    zuliGetErrorInfoString(status, zuliGetErrorInfo(), text, sizeof text);
    printf("%s: %s\n", what, text);
    return 1;
}

int main(void) {
    const int ranks[] = {1, 2, 4, 8, 16, 24, 32, 48};
    const size_t count = (size_t)M * N;
    double* a = malloc(count * sizeof(double));
    double* work = malloc(count * sizeof(double));
    double* u = malloc(count * sizeof(double));
    double* vt = malloc(count * sizeof(double));
    double* us = malloc(count * sizeof(double));
    double* ak = malloc(count * sizeof(double));
    double* s = malloc(N * sizeof(double));
    int failed = 1;
    if (!a || !work || !u || !vt || !us || !ak || !s) {
        fprintf(stderr, "out of host memory\n");
        goto done;
    }
    zuliStatus status = zuliInitialize();
    if (status != zuliNoError) {
        printf("zuliInitialize: %s\n", zuliGetStatusString(status));
        goto done;
    }

    double normA = 0.0;
    for (int j = 0; j < N; ++j)
        for (int i = 0; i < M; ++i) {
            const double v = picture((i + 0.5) / M, (j + 0.5) / N);
            a[(size_t)j * M + i] = v;
            normA += v * v;
        }
    normA = sqrt(normA);

    /* gesvd overwrites its input: it gets a copy. */
    memcpy(work, a, count * sizeof(double));
    status = zuliDgesvd('S', 'S', M, N, work, M, s, u, M, vt, N);
    if (status != zuliNoError) {
        failedCall("zuliDgesvd", status);
        goto shutdown;
    }

    printf("rank-k approximations of a smooth %d x %d matrix (s_1 = %.4g, s_%d = %.3g)\n", M, N,
           s[0], N, s[N - 1]);
    printf("%6s %12s %24s %28s\n", "k", "storage", "||A - A_k||_F / ||A||_F",
           "sqrt(sum s_i^2, i > k) / ||A||_F");
    /* Rounding: the entries of A - A_k come from sums of k products of size ||A||, so their error
     * is a small multiple of eps ||A|| per entry; over the whole matrix, relative to ||A||_F,
     * some eps sqrt(m n) at most. The discarded tail is accurate to eps s_1 per value. */
    const double tolerance = 64.0 * DBL_EPSILON * sqrt((double)M * N);
    int disagreements = 0;
    for (size_t r = 0; r < sizeof ranks / sizeof ranks[0]; ++r) {
        const int k = ranks[r];
        /* A_k = (U_k diag(s)) V_k^T */
        for (int j = 0; j < k; ++j)
            for (int i = 0; i < M; ++i) us[(size_t)j * M + i] = u[(size_t)j * M + i] * s[j];
        status = zuliDgemm('N', 'N', M, N, k, 1.0, us, M, vt, N, 0.0, ak, M);
        if (status != zuliNoError) {
            failedCall("zuliDgemm", status);
            goto shutdown;
        }
        double error = 0.0, tail = 0.0;
        for (size_t i = 0; i < count; ++i) error += (a[i] - ak[i]) * (a[i] - ak[i]);
        for (int i = k; i < N; ++i) tail += s[i] * s[i];
        error = sqrt(error) / normA;
        tail = sqrt(tail) / normA;
        const int agree = fabs(error - tail) <= tolerance;
        disagreements += !agree;
        printf("%6d %11.1f%% %24.3e %28.3e%s\n", k, 100.0 * k * (M + N + 1) / (double)count, error,
               tail, agree ? "" : "  (disagree)");
    }
    failed = disagreements > 0;
    printf(failed ? "the errors disagree with the discarded singular values\n"
                  : "every error equals the discarded singular values' share, as it must\n");
shutdown:
    zuliShutdown();
done:
    free(a);
    free(work);
    free(u);
    free(vt);
    free(us);
    free(ak);
    free(s);
    return failed;
}
