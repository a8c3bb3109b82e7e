/* zuli_lapack_orthogonal.h - part of zuli_lapack.h; include that header instead.
 *
 * The orthogonal factorizations (QR, LQ, QL, RQ) and the generation and application of their Q.
 * Each exists as a host routine zuliXname (arrays in host memory) and a device routine
 * zuliDeviceXname (arrays in device memory, which stay there), with LAPACK's arguments minus the
 * work arrays, LAPACK's results and info values; the complex precisions use LAPACK's complex names
 * (ungqr, unmqr, ...). Both interfaces check their arguments in the order given and return
 * zuliArgumentError with info -k for the first bad argument k (counted without the precision
 * letter). Letters are accepted in either case. */
#ifndef ZULI_LAPACK_ORTHOGONAL_H
#define ZULI_LAPACK_ORTHOGONAL_H
#ifndef ZULI_LAPACK_H
#error "include zuli_lapack.h"
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* =============================================================================================
 * Factorizations: geqrf, geqrfp, gelqf, geqlf, gerqf
 * ============================================================================================= */

/* ---- geqrf: QR factorization A = Q R of the m x n matrix A, k = min(m, n). On return R (k x n,
 * upper trapezoidal) is in and above the diagonal of A and the Householder vectors below it, as
 * LAPACK's geqrf stores them: Q = H(1) ... H(k), H(i) = I - tau(i) v(i) v(i)^H, v(i) with zeros
 * above row i, 1 in row i (not stored) and A(i+1 : m, i) below; tau receives the k scalars.
 * Argument errors: m < 0 -1, n < 0 -2, lda < max(1, m) -4; min(m, n) = 0 returns at once (null
 * pointers accepted); a null -3, tau null -5. For a 1 x 1 matrix (m < 2 and n < 2) the two pointer
 * checks are skipped and the call proceeds with the pointers given. */
ZULI_API zuliStatus zuliSgeqrf(int m, int n, float* a, int lda, float* tau);
ZULI_API zuliStatus zuliDeviceSgeqrf(int m, int n, zuliDeviceFloat* a, int lda,
                                     zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDgeqrf(int m, int n, double* a, int lda, double* tau);
ZULI_API zuliStatus zuliDeviceDgeqrf(int m, int n, zuliDeviceDouble* a, int lda,
                                     zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCgeqrf(int m, int n, zuliComplexFloat* a, int lda, zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCgeqrf(int m, int n, zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZgeqrf(int m, int n, zuliComplexDouble* a, int lda, zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZgeqrf(int m, int n, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceComplexDouble* tau);

/* ---- geqrfp: geqrf with the diagonal of R real and non-negative (LAPACK's geqrfp); the same
 * storage, arguments and argument checks, the 1 x 1 exception included. */
ZULI_API zuliStatus zuliSgeqrfp(int m, int n, float* a, int lda, float* tau);
ZULI_API zuliStatus zuliDeviceSgeqrfp(int m, int n, zuliDeviceFloat* a, int lda,
                                      zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDgeqrfp(int m, int n, double* a, int lda, double* tau);
ZULI_API zuliStatus zuliDeviceDgeqrfp(int m, int n, zuliDeviceDouble* a, int lda,
                                      zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCgeqrfp(int m, int n, zuliComplexFloat* a, int lda, zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCgeqrfp(int m, int n, zuliDeviceComplexFloat* a, int lda,
                                      zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZgeqrfp(int m, int n, zuliComplexDouble* a, int lda,
                                zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZgeqrfp(int m, int n, zuliDeviceComplexDouble* a, int lda,
                                      zuliDeviceComplexDouble* tau);

/* ---- gelqf: LQ factorization A = L Q of the m x n matrix A, k = min(m, n). On return L (m x k,
 * lower trapezoidal) is in and below the diagonal of A and the Householder vectors to the right
 * of it, row by row, as LAPACK's gelqf stores them; tau receives the k scalars. Argument errors:
 * m < 0 -1, n < 0 -2, lda < max(1, m) -4; min(m, n) = 0 returns at once (null pointers
 * accepted); a null -3, tau null -5 (also for a 1 x 1 matrix). */
ZULI_API zuliStatus zuliSgelqf(int m, int n, float* a, int lda, float* tau);
ZULI_API zuliStatus zuliDeviceSgelqf(int m, int n, zuliDeviceFloat* a, int lda,
                                     zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDgelqf(int m, int n, double* a, int lda, double* tau);
ZULI_API zuliStatus zuliDeviceDgelqf(int m, int n, zuliDeviceDouble* a, int lda,
                                     zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCgelqf(int m, int n, zuliComplexFloat* a, int lda, zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCgelqf(int m, int n, zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZgelqf(int m, int n, zuliComplexDouble* a, int lda, zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZgelqf(int m, int n, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceComplexDouble* tau);

/* ---- geqlf: QL factorization A = Q L of the m x n matrix A, k = min(m, n). On return L is in
 * the last k rows (m >= n) or the last k columns (m < n) of A, on and below the diagonal that
 * ends at A(m, n), and the Householder vectors above it, column by column, as LAPACK's geqlf
 * stores them; tau receives the k scalars. Argument errors as gelqf's. */
ZULI_API zuliStatus zuliSgeqlf(int m, int n, float* a, int lda, float* tau);
ZULI_API zuliStatus zuliDeviceSgeqlf(int m, int n, zuliDeviceFloat* a, int lda,
                                     zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDgeqlf(int m, int n, double* a, int lda, double* tau);
ZULI_API zuliStatus zuliDeviceDgeqlf(int m, int n, zuliDeviceDouble* a, int lda,
                                     zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCgeqlf(int m, int n, zuliComplexFloat* a, int lda, zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCgeqlf(int m, int n, zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZgeqlf(int m, int n, zuliComplexDouble* a, int lda, zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZgeqlf(int m, int n, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceComplexDouble* tau);

/* ---- gerqf: RQ factorization A = R Q of the m x n matrix A, k = min(m, n). On return R is in
 * the last k columns (m <= n) or the last k rows (m > n) of A, on and above the diagonal that
 * ends at A(m, n), and the Householder vectors to the left of it, row by row, as LAPACK's gerqf
 * stores them; tau receives the k scalars. Argument errors as gelqf's. */
ZULI_API zuliStatus zuliSgerqf(int m, int n, float* a, int lda, float* tau);
ZULI_API zuliStatus zuliDeviceSgerqf(int m, int n, zuliDeviceFloat* a, int lda,
                                     zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDgerqf(int m, int n, double* a, int lda, double* tau);
ZULI_API zuliStatus zuliDeviceDgerqf(int m, int n, zuliDeviceDouble* a, int lda,
                                     zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCgerqf(int m, int n, zuliComplexFloat* a, int lda, zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCgerqf(int m, int n, zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZgerqf(int m, int n, zuliComplexDouble* a, int lda, zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZgerqf(int m, int n, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceComplexDouble* tau);


/* =============================================================================================
 * Generating and applying Q: orgqr / ungqr, ormqr / unmqr and their LQ, QL and RQ kin
 * ============================================================================================= */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_ORTHOGONAL_H */
