/* host_blas.c - zuli_host_blas: which host BLAS the library runs on and which kernel family it
 * picked.
 *
 * OpenBLAS built with DYNAMIC_ARCH (as Debian's is) picks its kernels by CPU when it loads, or
 * takes the family named in OPENBLAS_CORETYPE. Some families compute wrong results in some
 * releases, so scripts/test and scripts/demo print the family they run on. scripts/test also
 * learns here whether this machine runs a family: set OPENBLAS_CORETYPE and read the name back
 * (OpenBLAS falls back to the CPU's own family for a name it does not know); the small products
 * below run the family's kernels, so one the CPU cannot execute fails here, not in a test.
 *
 *   zuli_host_blas          the library file, the kernel family and OpenBLAS's build configuration
 *   zuli_host_blas --core   the kernel family alone
 *
 * Exits with status 1 when the products are wrong. */
#define _GNU_SOURCE
#include <cblas.h>
#include <dlfcn.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { N = 48 };

int main(int argc, char** argv) {
    /* All ones: every element of the product is exactly N in either precision. */
    static float sa[N * N], sc[N * N];
    static double da[N * N], dc[N * N];
    for (int i = 0; i < N * N; ++i) sa[i] = 1.0f, da[i] = 1.0;
    cblas_sgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, N, N, N, 1.0f, sa, N, sa, N, 0.0f, sc,
                N);
    cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, N, N, N, 1.0, da, N, da, N, 0.0, dc, N);
    for (int i = 0; i < N * N; ++i) {
        if (sc[i] != N || dc[i] != N) {
            fprintf(stderr, "zuli_host_blas: the %s kernels computed a wrong product\n",
                    openblas_get_corename());
            return 1;
        }
    }

    if (argc > 1 && strcmp(argv[1], "--core") == 0) {
        printf("%s\n", openblas_get_corename());
        return 0;
    }
    /* The file behind the loader's name: Debian switches between OpenBLAS builds by symlink. */
    Dl_info where;
    char file[PATH_MAX] = "(unknown file)";
    if (dladdr((void*)openblas_get_config, &where) && where.dli_fname &&
        !realpath(where.dli_fname, file)) {
        snprintf(file, sizeof file, "%s", where.dli_fname);
    }
    printf("host BLAS %s: kernels %s (%s)\n", file, openblas_get_corename(), openblas_get_config());
    return 0;
}
