/* A LAPACK program that knows nothing of the library, linked against the installed drop-in
 * library before the host LAPACK: dgesv_ runs in the library (ZULI_DROPIN_MIN_ORDER=1), which the
 * drop-in finds next to itself. */
#include <stdio.h>

void dgesv_(const int* n, const int* nrhs, double* a, const int* lda, int* ipiv, double* b,
            const int* ldb, int* info);

int main(void) {
    /* 2x + y = 4, x + 3y = 7 (column-major): x = 1, y = 2. */
    double a[4] = {2, 1, 1, 3}, b[2] = {4, 7};
    int n = 2, one = 1, ipiv[2], info = -1;
    dgesv_(&n, &one, a, &n, ipiv, b, &n, &info);
    const double error = (b[0] - 1) * (b[0] - 1) + (b[1] - 2) * (b[1] - 2);
    printf("dgesv_ through the drop-in: info %d, x = %g, y = %g\n", info, b[0], b[1]);
    return info == 0 && error < 1e-24 ? 0 : 1;
}
