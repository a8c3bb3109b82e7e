/* zuli_lapack_eigen.h - part of zuli_lapack.h; include that header instead.
 *
 * The building blocks of the symmetric and Hermitian eigenproblems: the reduction to real
 * symmetric tridiagonal form (sytrd for S and D, hetrd for C and Z), the generation of its Q
 * (orgtr / ungtr) and its application to a matrix (ormtr / unmtr). Each exists as a host routine
 * zuliXname (arrays in host memory) and a device routine zuliDeviceXname (arrays in device memory,
 * which stay there), with LAPACK's arguments minus the work arrays, LAPACK's results and info
 * values. Both interfaces check their arguments in the order given and return zuliArgumentError
 * with info -k for the first bad argument k (counted without the precision letter). Letters are
 * accepted in either case. */
#ifndef ZULI_LAPACK_EIGEN_H
#define ZULI_LAPACK_EIGEN_H
#ifndef ZULI_LAPACK_H
#error "include zuli_lapack.h"
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- sytrd / hetrd: reduces the symmetric (Hermitian) n x n matrix A, given by its triangle
 * uplo, to real symmetric tridiagonal form T = Q^H A Q (LAPACK's sytrd / hetrd). T's diagonal goes
 * to d (n real elements) and its off-diagonal to e (n - 1 real elements); the triangle uplo of A
 * receives T's elements and the reflectors, tau their n - 1 scalars, as LAPACK stores them:
 * uplo 'U': Q = H(n-1) ... H(1), H(i) = I - tau(i) v v^H with v(i+1 : n) = (1, 0, ...) and
 * v(1 : i-1) above the superdiagonal in column i+1; uplo 'L': Q = H(1) ... H(n-1), v(1 : i) = (0,
 * ..., 0, 1) and v(i+2 : n) below the subdiagonal in column i. The other triangle is not
 * referenced (the host interface gives it back as it was). Matrices of order a few hundred or
 * less are reduced by the host LAPACK; larger ones by the host (panel by panel) and the GPU (the
 * products with the rest of the matrix and its rank-2k update) together, within rounding of the
 * same.
 * Argument errors: uplo not 'U' or 'L' -1, n < 0 -2, lda < max(1, n) -4; n = 0 returns at once
 * (null pointers accepted); a null -3, d null -5, e null -6 and tau null -7 (both accepted when
 * n = 1). */
ZULI_API zuliStatus zuliSsytrd(char uplo, int n, float* a, int lda, float* d, float* e, float* tau);
ZULI_API zuliStatus zuliDeviceSsytrd(char uplo, int n, zuliDeviceFloat* a, int lda,
                                     zuliDeviceFloat* d, zuliDeviceFloat* e, zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDsytrd(char uplo, int n, double* a, int lda, double* d, double* e,
                               double* tau);
ZULI_API zuliStatus zuliDeviceDsytrd(char uplo, int n, zuliDeviceDouble* a, int lda,
                                     zuliDeviceDouble* d, zuliDeviceDouble* e,
                                     zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliChetrd(char uplo, int n, zuliComplexFloat* a, int lda, float* d, float* e,
                               zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceChetrd(char uplo, int n, zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceFloat* d, zuliDeviceFloat* e,
                                     zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZhetrd(char uplo, int n, zuliComplexDouble* a, int lda, double* d,
                               double* e, zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZhetrd(char uplo, int n, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceDouble* d, zuliDeviceDouble* e,
                                     zuliDeviceComplexDouble* tau);

/* ---- orgtr / ungtr: Q (n x n) of sytrd / hetrd (LAPACK's orgtr) in place of the reflectors that
 * sytrd left in A with the same uplo; tau is sytrd's (n - 1 scalars).
 * Argument errors: uplo -1, n < 0 -2, lda < max(1, n) -4; n = 0 returns at once; a null -3, tau
 * null -5. */
ZULI_API zuliStatus zuliSorgtr(char uplo, int n, float* a, int lda, const float* tau);
ZULI_API zuliStatus zuliDeviceSorgtr(char uplo, int n, zuliDeviceFloat* a, int lda,
                                     const zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDorgtr(char uplo, int n, double* a, int lda, const double* tau);
ZULI_API zuliStatus zuliDeviceDorgtr(char uplo, int n, zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCungtr(char uplo, int n, zuliComplexFloat* a, int lda,
                               const zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCungtr(char uplo, int n, zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZungtr(char uplo, int n, zuliComplexDouble* a, int lda,
                               const zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZungtr(char uplo, int n, zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau);

/* ---- ormtr / unmtr: multiplies the m x n matrix C by the Q of sytrd / hetrd without forming it
 * (LAPACK's ormtr): side 'L': C = op(Q) C, 'R': C = C op(Q), with op(Q) = Q for trans 'N' and Q^H
 * for 'T' or 'C' (all three letters are accepted in every precision; 'T' means the conjugate
 * transpose for C and Z). Q has order nq = m (side 'L') or n ('R'); A (nq x nq) holds sytrd's
 * reflectors for the triangle uplo and tau its nq - 1 scalars.
 * Argument errors: side -1, uplo -2, trans -3, m < 0 -4, n < 0 -5, lda < max(1, nq) -7, ldc <
 * max(1, m) -10; m = 0, n = 0 or nq = 1 returns at once; a null -6, tau null -8, c null -9. */
ZULI_API zuliStatus zuliSormtr(char side, char uplo, char trans, int m, int n, const float* a,
                               int lda, const float* tau, float* c, int ldc);
ZULI_API zuliStatus zuliDeviceSormtr(char side, char uplo, char trans, int m, int n,
                                     const zuliDeviceFloat* a, int lda, const zuliDeviceFloat* tau,
                                     zuliDeviceFloat* c, int ldc);
ZULI_API zuliStatus zuliDormtr(char side, char uplo, char trans, int m, int n, const double* a,
                               int lda, const double* tau, double* c, int ldc);
ZULI_API zuliStatus zuliDeviceDormtr(char side, char uplo, char trans, int m, int n,
                                     const zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau, zuliDeviceDouble* c, int ldc);
ZULI_API zuliStatus zuliCunmtr(char side, char uplo, char trans, int m, int n,
                               const zuliComplexFloat* a, int lda, const zuliComplexFloat* tau,
                               zuliComplexFloat* c, int ldc);
ZULI_API zuliStatus zuliDeviceCunmtr(char side, char uplo, char trans, int m, int n,
                                     const zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau, zuliDeviceComplexFloat* c,
                                     int ldc);
ZULI_API zuliStatus zuliZunmtr(char side, char uplo, char trans, int m, int n,
                               const zuliComplexDouble* a, int lda, const zuliComplexDouble* tau,
                               zuliComplexDouble* c, int ldc);
ZULI_API zuliStatus zuliDeviceZunmtr(char side, char uplo, char trans, int m, int n,
                                     const zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau, zuliDeviceComplexDouble* c,
                                     int ldc);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_EIGEN_H */
