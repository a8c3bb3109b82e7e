/* bench.c - times the factorizations getrf (LU) and potrf (Cholesky) of libzuli_lapack in every
 * precision, through the host interface (matrix in host memory, copied in and out by the call)
 * and the device interface (matrix already on the GPU), and prints the best time of a few runs
 * and the rate in GFLOP/s (LAPACK's operation counts: 2/3 n^3 for getrf, 1/3 n^3 for potrf, four
 * times that in complex arithmetic).
 *
 *   zuli_bench [-n order] [-r runs] [routine ...]     routines: sgetrf ... zpotrf (default: all)
 *
 * Built against the emulated GPU (zuli_bench_emu), the times are those of the host BLAS and mean
 * little; what the emulator counts is printed instead, per call: the bytes that crossed the bus
 * as a multiple of the matrix's size, the share of the operations done by cuBLAS on the device,
 * kernel launches and host waits. Those show whether only panels travel and the updates stay on
 * the device. Exits with status 1 when a call fails. */
#include "zuli_lapack.h"

#include <cuda_runtime_api.h>

#ifdef ZULI_BENCH_EMULATED
#include "zuli_emu.h"
#endif

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

/* One routine in one precision, both interfaces: [0] host, [1] device. */
typedef struct Routine {
    const char* name;
    size_t realSize; /* bytes of one real component */
    int complex;
    int cholesky;
    zuliStatus (*call[2])(int n, void* a, int* ipiv);
} Routine;

#define FACTOR_WRAPPERS(L, T)                                                             \
    static zuliStatus L##getrf(int n, void* a, int* ipiv) {                               \
        return zuli##L##getrf(n, n, (T*)a, n, ipiv);                                      \
    }                                                                                     \
    static zuliStatus L##deviceGetrf(int n, void* a, int* ipiv) {                         \
        return zuliDevice##L##getrf(n, n, (T*)a, n, ipiv);                                \
    }                                                                                     \
    static zuliStatus L##potrf(int n, void* a, int* ipiv) {                               \
        (void)ipiv;                                                                       \
        return zuli##L##potrf('L', n, (T*)a, n);                                          \
    }                                                                                     \
    static zuliStatus L##devicePotrf(int n, void* a, int* ipiv) {                         \
        (void)ipiv;                                                                       \
        return zuliDevice##L##potrf('L', n, (T*)a, n);                                    \
    }
FACTOR_WRAPPERS(S, float)
FACTOR_WRAPPERS(D, double)
FACTOR_WRAPPERS(C, zuliComplexFloat)
FACTOR_WRAPPERS(Z, zuliComplexDouble)

static const Routine routines[] = {
    {"sgetrf", sizeof(float), 0, 0, {Sgetrf, SdeviceGetrf}},
    {"dgetrf", sizeof(double), 0, 0, {Dgetrf, DdeviceGetrf}},
    {"cgetrf", sizeof(float), 1, 0, {Cgetrf, CdeviceGetrf}},
    {"zgetrf", sizeof(double), 1, 0, {Zgetrf, ZdeviceGetrf}},
    {"spotrf", sizeof(float), 0, 1, {Spotrf, SdevicePotrf}},
    {"dpotrf", sizeof(double), 0, 1, {Dpotrf, DdevicePotrf}},
    {"cpotrf", sizeof(float), 1, 1, {Cpotrf, CdevicePotrf}},
    {"zpotrf", sizeof(double), 1, 1, {Zpotrf, ZdevicePotrf}},
};

static double now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + 1e-9 * t.tv_nsec;
}

/* A well-conditioned matrix of order n: random entries in [-1, 1] plus n on the diagonal; for
 * Cholesky made symmetric / Hermitian (real diagonal), which the shift makes positive definite. */
static void fill(const Routine* r, int n, void* a) {
    const int parts = r->complex ? 2 : 1;
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            for (int part = 0; part < parts; ++part) {
                const size_t k = ((size_t)j * n + i) * parts + part;
                double v = 2.0 * rand() / RAND_MAX - 1.0;
                if (r->cholesky && i < j) continue; /* set from the lower triangle below */
                if (i == j) v = part == 0 ? v + n : 0.0;
                if (r->realSize == sizeof(float)) {
                    ((float*)a)[k] = (float)v;
                } else {
                    ((double*)a)[k] = v;
                }
                if (r->cholesky && i > j) { /* a(j, i) = conj(a(i, j)) */
                    const size_t t = ((size_t)i * n + j) * parts + part;
                    const double w = part == 1 ? -v : v;
                    if (r->realSize == sizeof(float)) {
                        ((float*)a)[t] = (float)w;
                    } else {
                        ((double*)a)[t] = w;
                    }
                }
            }
        }
    }
}

/* Runs routine r on interface `device` `runs` times on fresh copies of a; prints one line.
 * Returns 0, or 1 when a call fails. */
static int bench(const Routine* r, int device, int n, int runs, const void* a) {
    const size_t bytes = (size_t)n * n * r->realSize * (r->complex ? 2 : 1);
    void* work = malloc(bytes);
    int* ipiv = malloc((size_t)n * sizeof(int));
    void* da = NULL;
    int* dpiv = NULL;
    if (!work || !ipiv) return 1;
    if (device && (cudaMalloc(&da, bytes) != cudaSuccess ||
                   cudaMalloc((void**)&dpiv, (size_t)n * sizeof(int)) != cudaSuccess)) {
        fprintf(stderr, "%s: cudaMalloc of %zu bytes failed\n", r->name, bytes);
        return 1;
    }
    double best = 1e300;
#ifdef ZULI_BENCH_EMULATED
    zuliEmuCounters counted;
    memset(&counted, 0, sizeof counted);
#endif
    for (int run = 0; run < runs; ++run) {
        memcpy(work, a, bytes);
        if (device) cudaMemcpy(da, work, bytes, cudaMemcpyHostToDevice);
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
            return 1;
        }
        if (seconds < best) best = seconds;
    }
    const double flops = (r->cholesky ? 1.0 / 3.0 : 2.0 / 3.0) * n * (double)n * n *
                         (r->complex ? 4.0 : 1.0);
    printf("%s  %-6s  n %5d  %9.4f s  %8.2f GFLOP/s", r->name, device ? "device" : "host", n,
           best, flops / best * 1e-9);
#ifdef ZULI_BENCH_EMULATED
    printf("   bus %5.2f x matrix  device flops %5.1f %%  launches %5llu  waits %5llu",
           (double)(counted.h2dBytes + counted.d2hBytes) / bytes,
           100.0 * counted.blasFlops / flops, counted.launches, counted.syncs);
#endif
    printf("\n");
    free(work);
    free(ipiv);
    cudaFree(da);
    cudaFree(dpiv);
    return 0;
}

int main(int argc, char** argv) {
#ifdef ZULI_BENCH_EMULATED
    int n = 1024;
#else
    int n = 8192;
#endif
    int runs = 3, chosen = 0, failed = 0;
    const Routine* selected[sizeof routines / sizeof routines[0]];
    for (int i = 1; i < argc; ++i) {
        if (!strcmp(argv[i], "-n") && i + 1 < argc) {
            n = atoi(argv[++i]);
        } else if (!strcmp(argv[i], "-r") && i + 1 < argc) {
            runs = atoi(argv[++i]);
        } else {
            size_t k = 0;
            while (k < sizeof routines / sizeof routines[0] && strcmp(routines[k].name, argv[i]))
                ++k;
            if (k == sizeof routines / sizeof routines[0] ||
                chosen == (int)(sizeof routines / sizeof routines[0])) {
                fprintf(stderr, "usage: %s [-n order] [-r runs] [sgetrf ... zpotrf]\n", argv[0]);
                return 2;
            }
            selected[chosen++] = &routines[k];
        }
    }
    if (n < 1 || runs < 1) {
        fprintf(stderr, "the order and the number of runs must be positive\n");
        return 2;
    }
    if (chosen == 0) {
        for (size_t k = 0; k < sizeof routines / sizeof routines[0]; ++k)
            selected[chosen++] = &routines[k];
    }
    const zuliStatus init = zuliInitialize();
    if (init != zuliNoError) {
        fprintf(stderr, "zuliInitialize failed: %s\n", zuliGetStatusString(init));
        return 1;
    }
    for (int k = 0; k < chosen && !failed; ++k) {
        const Routine* r = selected[k];
        void* a = malloc((size_t)n * n * r->realSize * (r->complex ? 2 : 1));
        if (!a) return 1;
        srand(20261122);
        fill(r, n, a);
        failed = bench(r, 0, n, runs, a) || bench(r, 1, n, runs, a);
        free(a);
    }
    zuliShutdown();
    return failed;
}
