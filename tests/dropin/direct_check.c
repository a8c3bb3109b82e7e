/* direct_check.c - a program that calls the library itself, run with the drop-in library preloaded
 * and every size sent to the library (ZULI_DROPIN_MIN_ORDER=1). The library's host panels call
 * dgetrf_, which then resolves to the drop-in: those calls must reach the host LAPACK, not the
 * library again from inside it. The library's host-entry hook counts the host-interface calls
 * that enter it: one per zuliDgetrf or zuliDgeqrf of the program, one per dgetrf_ that the program
 * sends through the drop-in, none from the panels (which call dgetrf_ and dgeqrf_). Prints "N
 * passed, N failed". */
#define _GNU_SOURCE
#include "zuli_lapack.h"

#include <dlfcn.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int passed, failed;

static void expect(int ok, const char* what) {
    ok ? ++passed : ++failed;
    if (!ok) printf("FAILED: %s\n", what);
}

static void countEntry(void* entries) {
    ++*(int*)entries;
}

/* max |(P L U - A)(i, j)| / (n ||A||_max eps) for getrf's factors lu of the n x n matrix a. */
static double luRatio(int n, const double* a, const double* lu, const int* ipiv) {
    double* pa = malloc(sizeof(double) * n * n);
    double worst = 0, amax = 0;
    memcpy(pa, a, sizeof(double) * n * n);
    for (int k = 0; k < n; ++k)
        for (int j = 0; j < n && ipiv[k] - 1 != k; ++j) {
            const double t = pa[k + j * n];
            pa[k + j * n] = pa[ipiv[k] - 1 + j * n], pa[ipiv[k] - 1 + j * n] = t;
        }
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            double v = -pa[i + j * n];
            for (int k = 0; k <= (i < j ? i : j); ++k)
                v += (k == i ? 1 : lu[i + k * n]) * lu[k + j * n];
            worst = fmax(worst, fabs(v)), amax = fmax(amax, fabs(a[i + j * n]));
        }
    free(pa);
    return worst / (n * amax * 2.2e-16);
}

int main(void) {
    typedef void Getrf(const int*, const int*, double*, const int*, int*, int*);
    Getrf* getrf = (Getrf*)dlsym(RTLD_DEFAULT, "dgetrf_");
    Dl_info where;
    if (!getrf || !dladdr((void*)getrf, &where) || !strstr(where.dli_fname, "zuli_dropin")) {
        printf("dgetrf_ is not the drop-in's: is libzuli_dropin_emu.so preloaded?\n");
        return 2;
    }
    if (zuliInitialize() != zuliNoError) return printf("no device\n"), 2;
    int entries = 0;
    zuliSetCallHooks(countEntry, NULL, NULL, NULL, &entries);

    enum { n = 300 }; /* several panels for every block size of the library */
    double* a = malloc(sizeof(double) * n * n);
    double* lu = malloc(sizeof(double) * n * n);
    int ipiv[n], info = -1, order = n;
    unsigned seed = 5;
    for (int i = 0; i < n * n; ++i) a[i] = (double)rand_r(&seed) / RAND_MAX - 0.5;

    memcpy(lu, a, sizeof(double) * n * n);
    expect(zuliDgetrf(n, n, lu, n, ipiv) == zuliNoError && luRatio(n, a, lu, ipiv) < 30,
           "zuliDgetrf factors A");
    expect(entries == 1, "zuliDgetrf: its panels did not enter the library through the drop-in");
    memcpy(lu, a, sizeof(double) * n * n);
    getrf(&order, &order, lu, &order, ipiv, &info);
    expect(info == 0 && luRatio(n, a, lu, ipiv) < 30, "dgetrf_ through the drop-in factors A");
    expect(entries == 2, "dgetrf_: the drop-in entered the library once, its panels never");

    /* The QR factorization's panels call dgeqrf_: R's columns keep A's column norms. */
    double* tau = malloc(sizeof(double) * n);
    double worst = 0;
    memcpy(lu, a, sizeof(double) * n * n);
    expect(zuliDgeqrf(n, n, lu, n, tau) == zuliNoError, "zuliDgeqrf");
    for (int j = 0; j < n; ++j) {
        double r = 0, s = 0;
        for (int i = 0; i < n; ++i) s += a[i + j * n] * a[i + j * n];
        for (int i = 0; i <= j; ++i) r += lu[i + j * n] * lu[i + j * n];
        worst = fmax(worst, fabs(sqrt(r) - sqrt(s)) / (sqrt(s) * n * 2.2e-16));
    }
    expect(worst < 30, "zuliDgeqrf: |R e_j| = |A e_j|");
    expect(entries == 3, "zuliDgeqrf: its panels did not enter the library through the drop-in");
    free(tau);

    zuliSetCallHooks(NULL, NULL, NULL, NULL, NULL);
    zuliShutdown();
    free(a), free(lu);
    printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
