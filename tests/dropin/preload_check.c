/* preload_check.c - an ordinary LAPACK program (linked against the host LAPACK only), run with
 * the drop-in library preloaded (LD_PRELOAD=libzuli_dropin_emu.so):
 *   preload_check recursion  blocked getrf and potrf (both uplo) through the drop-in with every
 *                            size sent to the library: the library's own host panels call dgetrf_
 *                            and dpotrf_, which resolve to the drop-in again, and must reach the
 *                            host LAPACK (otherwise this recurses until the stack overflows);
 *   preload_check threads    several threads solving their own systems through the drop-in at
 *                            once, each initialising the library on first use.
 * Both check the results and that the emulated GPU did work (its counters, found through the
 * preloaded library). Prints "N passed, N failed". */
#include <lapack.h>

#include <dlfcn.h>
#include <math.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int passed, failed;
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;

static void expect(int ok, const char* what, int n) {
    pthread_mutex_lock(&lock);
    ok ? ++passed : ++failed;
    if (!ok) printf("FAILED: %s n=%d\n", what, n);
    pthread_mutex_unlock(&lock);
}

/* The cuBLAS flops of the emulated GPU so far (its counters, through the preloaded library). */
static double deviceFlops(void) {
    typedef struct {
        unsigned long long h2dCopies, h2dBytes, d2hCopies, d2hBytes, d2dCopies, d2dBytes, h2hCopies,
            h2hBytes, memsets, memsetBytes, launches, syncs, blasCalls;
        double blasFlops;
        unsigned long long rest[7];
    } Counters;
    void (*get)(Counters*) = (void (*)(Counters*))dlsym(RTLD_DEFAULT, "zuliEmuGetCounters");
    if (!get) {
        printf("zuliEmuGetCounters not found: is libzuli_dropin_emu.so preloaded?\n");
        exit(2);
    }
    Counters c;
    get(&c);
    return c.blasFlops;
}

static double* randomMatrix(int n, unsigned seed, double diagonal) {
    double* a = malloc(sizeof(double) * n * n);
    for (int i = 0; i < n * n; ++i) a[i] = (double)rand_r(&seed) / RAND_MAX - 0.5;
    for (int i = 0; i < n; ++i) a[i + i * n] += diagonal;
    return a;
}

/* ||A x - b||_1 / (n ||A||_1 ||x||_1 eps) */
static double solveRatio(int n, const double* a, const double* x, const double* b) {
    double r = 0, an = 0, xn = 0;
    for (int i = 0; i < n; ++i) {
        double s = -b[i];
        for (int j = 0; j < n; ++j) s += a[i + j * n] * x[j];
        r += fabs(s), xn += fabs(x[i]);
    }
    for (int j = 0; j < n; ++j) {
        double c = 0;
        for (int i = 0; i < n; ++i) c += fabs(a[i + j * n]);
        an = c > an ? c : an;
    }
    return r / (n * an * xn * 2.2e-16);
}

/* Factor through the drop-in, solve with the factors (getrs / potrs), check the residual. */
static void factorAndSolve(int n, unsigned seed, char uplo) {
    double* a = randomMatrix(n, seed, uplo == 'N' ? 0 : n);
    if (uplo != 'N')
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < j; ++i) a[i + j * n] = a[j + i * n];
    double* f = malloc(sizeof(double) * n * n);
    double* x = malloc(sizeof(double) * n);
    double* rhs = malloc(sizeof(double) * n);
    int* ipiv = malloc(sizeof(int) * n);
    for (int i = 0; i < n; ++i) rhs[i] = x[i] = i % 5 - 2.0;
    memcpy(f, a, sizeof(double) * n * n);
    int info = -1, one = 1;
    if (uplo == 'N') {
        LAPACK_dgetrf(&n, &n, f, &n, ipiv, &info);
        LAPACK_dgetrs("N", &n, &one, f, &n, ipiv, x, &n, &info);
    } else {
        char u[2] = {uplo, 0};
        LAPACK_dpotrf(u, &n, f, &n, &info);
        LAPACK_dpotrs(u, &n, &one, f, &n, x, &n, &info);
    }
    expect(info == 0 && solveRatio(n, a, x, rhs) < 30, uplo == 'N' ? "getrf" : "potrf", n);
    free(a), free(f), free(x), free(ipiv), free(rhs);
}

static void* solver(void* arg) {
    const int id = (int)(size_t)arg;
    for (int k = 0; k < 3; ++k) {
        const int n = 150 + 40 * id + k;
        double* a = randomMatrix(n, 100 * id + k, 0);
        double* f = malloc(sizeof(double) * n * n);
        double* x = malloc(sizeof(double) * n * 2);
        double* b = malloc(sizeof(double) * n * 2);
        int* ipiv = malloc(sizeof(int) * n);
        memcpy(f, a, sizeof(double) * n * n);
        for (int i = 0; i < 2 * n; ++i) b[i] = x[i] = i % 7 - 3;
        int info = -1, two = 2;
        LAPACK_dgesv(&n, &two, f, &n, ipiv, x, &n, &info);
        expect(info == 0 && solveRatio(n, a, x, b) < 30 && solveRatio(n, a, x + n, b + n) < 30,
               "gesv in a thread", n);
        free(a), free(f), free(x), free(b), free(ipiv);
    }
    return NULL;
}

int main(int argc, char** argv) {
    const char* mode = argc > 1 ? argv[1] : "";
    const double before = deviceFlops();
    if (strcmp(mode, "recursion") == 0) {
        factorAndSolve(300, 1, 'N');
        factorAndSolve(300, 2, 'U');
        factorAndSolve(300, 3, 'L');
    } else if (strcmp(mode, "threads") == 0) {
        enum { threads = 4 };
        pthread_t t[threads];
        for (int i = 0; i < threads; ++i) pthread_create(&t[i], NULL, solver, (void*)(size_t)i);
        for (int i = 0; i < threads; ++i) pthread_join(t[i], NULL);
    } else {
        printf("usage: preload_check recursion|threads\n");
        return 2;
    }
    expect(deviceFlops() > before, "the emulated GPU did the updates", 0);
    printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
