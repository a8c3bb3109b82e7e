/* zuli_lapack_solvers.h - part of zuli_lapack.h; include that header instead.
 *
 * The dense linear solvers: LU and Cholesky factorizations with their solves, drivers and
 * inverses, triangular and banded routines, and mixed-precision iterative refinement. Each exists
 * as a host routine zuliXname (arrays in host memory) and a device routine zuliDeviceXname
 * (arrays in device memory, which stay there), with LAPACK's arguments, results and info values.
 * Option letters are passed by value and accepted in either case. A bad argument gives
 * zuliArgumentError with info -k for the first bad argument k (counted without the precision
 * letter), checked in the order each routine lists. */
#ifndef ZULI_LAPACK_SOLVERS_H
#define ZULI_LAPACK_SOLVERS_H
#ifndef ZULI_LAPACK_H
#error "include zuli_lapack.h"
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- getrf: LU factorization with partial pivoting, A = P L U (m x n). ipiv receives min(m, n)
 * 1-based pivot rows. Argument errors (info): m < 0 -1, n < 0 -2, lda < max(1, m) -4; m = 0 or n =
 * 0 returns at once; a null -3, ipiv null -5. A zero pivot gives zuliDataError with info = its
 * 1-based index; the factors and pivots are still returned.
 * The factors are LAPACK's with one exception. The matrix is factored in panels of nb columns
 * (nb = 2 x the block size of the precision: S 192, D 128, C 128, Z 64; on devices of capability
 * 1.0 to 1.3, S 64, D 96, C 64, Z 96). When m > n and n is one more than a multiple of nb (n >= nb
 * + 1), the last pivot's interchange is recorded in ipiv[n - 1] but not applied to the rows of
 * columns 1 ... n - 1 of L: those two rows of L stay as they were before that interchange. P L U
 * then differs from A in those two rows; apply the interchange to L (swap rows n and ipiv[n - 1]
 * in its first n - 1 columns) to obtain LAPACK's L. */
ZULI_API zuliStatus zuliSgetrf(int m, int n, float* a, int lda, int* ipiv);
ZULI_API zuliStatus zuliDeviceSgetrf(int m, int n, zuliDeviceFloat* a, int lda,
                                     zuliDeviceInt* ipiv);
ZULI_API zuliStatus zuliDgetrf(int m, int n, double* a, int lda, int* ipiv);
ZULI_API zuliStatus zuliDeviceDgetrf(int m, int n, zuliDeviceDouble* a, int lda,
                                     zuliDeviceInt* ipiv);
ZULI_API zuliStatus zuliCgetrf(int m, int n, zuliComplexFloat* a, int lda, int* ipiv);
ZULI_API zuliStatus zuliDeviceCgetrf(int m, int n, zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceInt* ipiv);
ZULI_API zuliStatus zuliZgetrf(int m, int n, zuliComplexDouble* a, int lda, int* ipiv);
ZULI_API zuliStatus zuliDeviceZgetrf(int m, int n, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceInt* ipiv);

/* ---- getrs: Solves A X = B with the factors of getrf (trans 'N'; 'T' and 'C' are accepted by the
 * checks and then answered with zuliFeatureNotImplemented). Argument errors: trans -1, n < 0 -2,
 * nrhs < 0 -3, lda < max(1, n) -5, ldb < max(1, n) -8; n = 0 or nrhs = 0 returns; a null -4,
 * ipiv null -6, b null -7. */
ZULI_API zuliStatus zuliSgetrs(char trans, int n, int nrhs, const float* a, int lda,
                               const int* ipiv, float* b, int ldb);
ZULI_API zuliStatus zuliDeviceSgetrs(char trans, int n, int nrhs, const zuliDeviceFloat* a, int lda,
                                     const zuliDeviceInt* ipiv, zuliDeviceFloat* b, int ldb);
ZULI_API zuliStatus zuliDgetrs(char trans, int n, int nrhs, const double* a, int lda,
                               const int* ipiv, double* b, int ldb);
ZULI_API zuliStatus zuliDeviceDgetrs(char trans, int n, int nrhs, const zuliDeviceDouble* a,
                                     int lda, const zuliDeviceInt* ipiv, zuliDeviceDouble* b,
                                     int ldb);
ZULI_API zuliStatus zuliCgetrs(char trans, int n, int nrhs, const zuliComplexFloat* a, int lda,
                               const int* ipiv, zuliComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliDeviceCgetrs(char trans, int n, int nrhs, const zuliDeviceComplexFloat* a,
                                     int lda, const zuliDeviceInt* ipiv, zuliDeviceComplexFloat* b,
                                     int ldb);
ZULI_API zuliStatus zuliZgetrs(char trans, int n, int nrhs, const zuliComplexDouble* a, int lda,
                               const int* ipiv, zuliComplexDouble* b, int ldb);
ZULI_API zuliStatus zuliDeviceZgetrs(char trans, int n, int nrhs, const zuliDeviceComplexDouble* a,
                                     int lda, const zuliDeviceInt* ipiv, zuliDeviceComplexDouble* b,
                                     int ldb);

/* ---- gesv: Factors A with getrf and solves A X = B. Argument errors: n < 0 -1, nrhs < 0 -2,
 * lda < max(1, n) -4, ldb < max(1, n) -7; n = 0 returns; a null -3, ipiv null -5, b null -6
 * (also when nrhs = 0). A singular A gives getrf's zuliDataError and leaves b unchanged. */
ZULI_API zuliStatus zuliSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb);
ZULI_API zuliStatus zuliDeviceSgesv(int n, int nrhs, zuliDeviceFloat* a, int lda,
                                    zuliDeviceInt* ipiv, zuliDeviceFloat* b, int ldb);
ZULI_API zuliStatus zuliDgesv(int n, int nrhs, double* a, int lda, int* ipiv, double* b, int ldb);
ZULI_API zuliStatus zuliDeviceDgesv(int n, int nrhs, zuliDeviceDouble* a, int lda,
                                    zuliDeviceInt* ipiv, zuliDeviceDouble* b, int ldb);
ZULI_API zuliStatus zuliCgesv(int n, int nrhs, zuliComplexFloat* a, int lda, int* ipiv,
                              zuliComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliDeviceCgesv(int n, int nrhs, zuliDeviceComplexFloat* a, int lda,
                                    zuliDeviceInt* ipiv, zuliDeviceComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliZgesv(int n, int nrhs, zuliComplexDouble* a, int lda, int* ipiv,
                              zuliComplexDouble* b, int ldb);
ZULI_API zuliStatus zuliDeviceZgesv(int n, int nrhs, zuliDeviceComplexDouble* a, int lda,
                                    zuliDeviceInt* ipiv, zuliDeviceComplexDouble* b, int ldb);

/* ---- getri: Inverse of A from the factors and pivots of getrf, in place. Argument errors: n < 0
 * -1, lda < max(1, n) -3; n = 0 returns; a null -2, ipiv null -4. An exactly zero diagonal element
 * of U gives zuliDataError with its position. */
ZULI_API zuliStatus zuliSgetri(int n, float* a, int lda, const int* ipiv);
ZULI_API zuliStatus zuliDeviceSgetri(int n, zuliDeviceFloat* a, int lda, const zuliDeviceInt* ipiv);
ZULI_API zuliStatus zuliDgetri(int n, double* a, int lda, const int* ipiv);
ZULI_API zuliStatus zuliDeviceDgetri(int n, zuliDeviceDouble* a, int lda,
                                     const zuliDeviceInt* ipiv);
ZULI_API zuliStatus zuliCgetri(int n, zuliComplexFloat* a, int lda, const int* ipiv);
ZULI_API zuliStatus zuliDeviceCgetri(int n, zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceInt* ipiv);
ZULI_API zuliStatus zuliZgetri(int n, zuliComplexDouble* a, int lda, const int* ipiv);
ZULI_API zuliStatus zuliDeviceZgetri(int n, zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceInt* ipiv);

/* ---- trtrs: Solves op(A) X = B, A triangular (uplo 'U'/'L', trans 'N'/'T'/'C', diag 'N'/'U').
 * Argument errors: uplo -1, trans -2, diag -3, n < 0 -4, nrhs < 0 -5, lda < max(1, n) -7,
 * ldb < max(1, n) -9; n = 0 returns; a null -6, b null -8 (also when nrhs = 0). With diag 'N'
 * an exactly zero diagonal element (-0.0 included) gives zuliDataError with its position and
 * leaves b unchanged. */
ZULI_API zuliStatus zuliStrtrs(char uplo, char trans, char diag, int n, int nrhs, const float* a,
                               int lda, float* b, int ldb);
ZULI_API zuliStatus zuliDeviceStrtrs(char uplo, char trans, char diag, int n, int nrhs,
                                     const zuliDeviceFloat* a, int lda, zuliDeviceFloat* b,
                                     int ldb);
ZULI_API zuliStatus zuliDtrtrs(char uplo, char trans, char diag, int n, int nrhs, const double* a,
                               int lda, double* b, int ldb);
ZULI_API zuliStatus zuliDeviceDtrtrs(char uplo, char trans, char diag, int n, int nrhs,
                                     const zuliDeviceDouble* a, int lda, zuliDeviceDouble* b,
                                     int ldb);
ZULI_API zuliStatus zuliCtrtrs(char uplo, char trans, char diag, int n, int nrhs,
                               const zuliComplexFloat* a, int lda, zuliComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliDeviceCtrtrs(char uplo, char trans, char diag, int n, int nrhs,
                                     const zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliZtrtrs(char uplo, char trans, char diag, int n, int nrhs,
                               const zuliComplexDouble* a, int lda, zuliComplexDouble* b, int ldb);
ZULI_API zuliStatus zuliDeviceZtrtrs(char uplo, char trans, char diag, int n, int nrhs,
                                     const zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceComplexDouble* b, int ldb);

/* ---- trtri: Inverse of the triangular matrix A in place, as LAPACK's trtri. Argument errors: uplo
 * -1, diag -2, n < 0 -3, lda < max(1, n) -5; n = 0 returns; a null -4. With diag 'N' an exactly
 * zero diagonal element gives zuliDataError with its position and leaves a unchanged. */
ZULI_API zuliStatus zuliStrtri(char uplo, char diag, int n, float* a, int lda);
ZULI_API zuliStatus zuliDeviceStrtri(char uplo, char diag, int n, zuliDeviceFloat* a, int lda);
ZULI_API zuliStatus zuliDtrtri(char uplo, char diag, int n, double* a, int lda);
ZULI_API zuliStatus zuliDeviceDtrtri(char uplo, char diag, int n, zuliDeviceDouble* a, int lda);
ZULI_API zuliStatus zuliCtrtri(char uplo, char diag, int n, zuliComplexFloat* a, int lda);
ZULI_API zuliStatus zuliDeviceCtrtri(char uplo, char diag, int n, zuliDeviceComplexFloat* a,
                                     int lda);
ZULI_API zuliStatus zuliZtrtri(char uplo, char diag, int n, zuliComplexDouble* a, int lda);
ZULI_API zuliStatus zuliDeviceZtrtri(char uplo, char diag, int n, zuliDeviceComplexDouble* a,
                                     int lda);

/* ---- gbtrf: LU factorization of an m x n band matrix with kl sub- and ku super-diagonals in
 * LAPACK's band storage (ldab >= 2 kl + ku + 1 rows, the factors need kl extra rows), with partial
 * pivoting; results, pivots and info as LAPACK's gbtrf. Argument errors: m < 0 -1, n < 0 -2,
 * kl < 0 -3, ku < 0 -4, ldab < 2 kl + ku + 1 -6; m = 0 or n = 0 returns; ab null -5,
 * ipiv null -7. */
ZULI_API zuliStatus zuliSgbtrf(int m, int n, int kl, int ku, float* ab, int ldab, int* ipiv);
ZULI_API zuliStatus zuliDeviceSgbtrf(int m, int n, int kl, int ku, zuliDeviceFloat* ab, int ldab,
                                     zuliDeviceInt* ipiv);
ZULI_API zuliStatus zuliDgbtrf(int m, int n, int kl, int ku, double* ab, int ldab, int* ipiv);
ZULI_API zuliStatus zuliDeviceDgbtrf(int m, int n, int kl, int ku, zuliDeviceDouble* ab, int ldab,
                                     zuliDeviceInt* ipiv);
ZULI_API zuliStatus zuliCgbtrf(int m, int n, int kl, int ku, zuliComplexFloat* ab, int ldab,
                               int* ipiv);
ZULI_API zuliStatus zuliDeviceCgbtrf(int m, int n, int kl, int ku, zuliDeviceComplexFloat* ab,
                                     int ldab, zuliDeviceInt* ipiv);
ZULI_API zuliStatus zuliZgbtrf(int m, int n, int kl, int ku, zuliComplexDouble* ab, int ldab,
                               int* ipiv);
ZULI_API zuliStatus zuliDeviceZgbtrf(int m, int n, int kl, int ku, zuliDeviceComplexDouble* ab,
                                     int ldab, zuliDeviceInt* ipiv);

/* ---- pbtrf: Cholesky factorization of a positive definite band matrix with kd off-diagonals in
 * LAPACK's band storage; results and info as LAPACK's pbtrf. Argument errors: uplo -1, n < 0 -2,
 * kd < 0 -3, ldab < kd + 1 -5; n = 0 returns; ab null -4. */
ZULI_API zuliStatus zuliSpbtrf(char uplo, int n, int kd, float* ab, int ldab);
ZULI_API zuliStatus zuliDeviceSpbtrf(char uplo, int n, int kd, zuliDeviceFloat* ab, int ldab);
ZULI_API zuliStatus zuliDpbtrf(char uplo, int n, int kd, double* ab, int ldab);
ZULI_API zuliStatus zuliDeviceDpbtrf(char uplo, int n, int kd, zuliDeviceDouble* ab, int ldab);
ZULI_API zuliStatus zuliCpbtrf(char uplo, int n, int kd, zuliComplexFloat* ab, int ldab);
ZULI_API zuliStatus zuliDeviceCpbtrf(char uplo, int n, int kd, zuliDeviceComplexFloat* ab,
                                     int ldab);
ZULI_API zuliStatus zuliZpbtrf(char uplo, int n, int kd, zuliComplexDouble* ab, int ldab);
ZULI_API zuliStatus zuliDeviceZpbtrf(char uplo, int n, int kd, zuliDeviceComplexDouble* ab,
                                     int ldab);

/* ---- potrf: Cholesky factorization A = L L^H (uplo 'L') or U^H U ('U') of a symmetric / Hermitian
 * positive definite matrix. Argument errors: uplo -1, n < 0 -2, lda < max(1, n) -4, a null
 * (n > 0) -3. A leading minor of order k that is not positive definite gives zuliDataError with
 * info k (for uplo 'U' and n above the block size the matrix is then left in transposed,
 * lower-triangle storage). */
ZULI_API zuliStatus zuliSpotrf(char uplo, int n, float* a, int lda);
ZULI_API zuliStatus zuliDeviceSpotrf(char uplo, int n, zuliDeviceFloat* a, int lda);
ZULI_API zuliStatus zuliDpotrf(char uplo, int n, double* a, int lda);
ZULI_API zuliStatus zuliDeviceDpotrf(char uplo, int n, zuliDeviceDouble* a, int lda);
ZULI_API zuliStatus zuliCpotrf(char uplo, int n, zuliComplexFloat* a, int lda);
ZULI_API zuliStatus zuliDeviceCpotrf(char uplo, int n, zuliDeviceComplexFloat* a, int lda);
ZULI_API zuliStatus zuliZpotrf(char uplo, int n, zuliComplexDouble* a, int lda);
ZULI_API zuliStatus zuliDeviceZpotrf(char uplo, int n, zuliDeviceComplexDouble* a, int lda);

/* ---- potrs: Solves A X = B with the Cholesky factor of potrf. Argument errors: uplo -1, n < 0 -2,
 * nrhs < 0 -3, lda < max(1, n) -5, ldb < max(1, n) -7; n = 0 or nrhs = 0 returns; a null -4,
 * b null -6. */
ZULI_API zuliStatus zuliSpotrs(char uplo, int n, int nrhs, const float* a, int lda, float* b,
                               int ldb);
ZULI_API zuliStatus zuliDeviceSpotrs(char uplo, int n, int nrhs, const zuliDeviceFloat* a, int lda,
                                     zuliDeviceFloat* b, int ldb);
ZULI_API zuliStatus zuliDpotrs(char uplo, int n, int nrhs, const double* a, int lda, double* b,
                               int ldb);
ZULI_API zuliStatus zuliDeviceDpotrs(char uplo, int n, int nrhs, const zuliDeviceDouble* a, int lda,
                                     zuliDeviceDouble* b, int ldb);
ZULI_API zuliStatus zuliCpotrs(char uplo, int n, int nrhs, const zuliComplexFloat* a, int lda,
                               zuliComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliDeviceCpotrs(char uplo, int n, int nrhs, const zuliDeviceComplexFloat* a,
                                     int lda, zuliDeviceComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliZpotrs(char uplo, int n, int nrhs, const zuliComplexDouble* a, int lda,
                               zuliComplexDouble* b, int ldb);
ZULI_API zuliStatus zuliDeviceZpotrs(char uplo, int n, int nrhs, const zuliDeviceComplexDouble* a,
                                     int lda, zuliDeviceComplexDouble* b, int ldb);

/* ---- posv: Factors A with potrf and solves A X = B. Argument errors as potrs, except that the
 * return comes at n = 0 only: a null is -4 even when nrhs = 0, b null is -6 when nrhs >= 1. */
ZULI_API zuliStatus zuliSposv(char uplo, int n, int nrhs, float* a, int lda, float* b, int ldb);
ZULI_API zuliStatus zuliDeviceSposv(char uplo, int n, int nrhs, zuliDeviceFloat* a, int lda,
                                    zuliDeviceFloat* b, int ldb);
ZULI_API zuliStatus zuliDposv(char uplo, int n, int nrhs, double* a, int lda, double* b, int ldb);
ZULI_API zuliStatus zuliDeviceDposv(char uplo, int n, int nrhs, zuliDeviceDouble* a, int lda,
                                    zuliDeviceDouble* b, int ldb);
ZULI_API zuliStatus zuliCposv(char uplo, int n, int nrhs, zuliComplexFloat* a, int lda,
                              zuliComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliDeviceCposv(char uplo, int n, int nrhs, zuliDeviceComplexFloat* a, int lda,
                                    zuliDeviceComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliZposv(char uplo, int n, int nrhs, zuliComplexDouble* a, int lda,
                              zuliComplexDouble* b, int ldb);
ZULI_API zuliStatus zuliDeviceZposv(char uplo, int n, int nrhs, zuliDeviceComplexDouble* a, int lda,
                                    zuliDeviceComplexDouble* b, int ldb);

/* ---- potri: Inverse of A from its Cholesky factor, in place (the uplo triangle). Argument errors:
 * uplo -1, n < 0 -2, lda < max(1, n) -4; n = 0 returns; a null -3. An exactly zero diagonal
 * element of the factor gives zuliDataError with its position. */
ZULI_API zuliStatus zuliSpotri(char uplo, int n, float* a, int lda);
ZULI_API zuliStatus zuliDeviceSpotri(char uplo, int n, zuliDeviceFloat* a, int lda);
ZULI_API zuliStatus zuliDpotri(char uplo, int n, double* a, int lda);
ZULI_API zuliStatus zuliDeviceDpotri(char uplo, int n, zuliDeviceDouble* a, int lda);
ZULI_API zuliStatus zuliCpotri(char uplo, int n, zuliComplexFloat* a, int lda);
ZULI_API zuliStatus zuliDeviceCpotri(char uplo, int n, zuliDeviceComplexFloat* a, int lda);
ZULI_API zuliStatus zuliZpotri(char uplo, int n, zuliComplexDouble* a, int lda);
ZULI_API zuliStatus zuliDeviceZpotri(char uplo, int n, zuliDeviceComplexDouble* a, int lda);

/* ---- dsgesv, zcgesv: Solves A X = B in double precision (real: dsgesv, complex: zcgesv) by
 * factoring a single-precision copy of A and refining the solution with double-precision residuals;
 * falls back to a double-precision factorization when 30 refinement steps do not converge. a is
 * left unchanged except on that fallback (it then holds the double-precision factors); ipiv holds
 * the pivots of the factorization used last. *iter (a host pointer in both interfaces) receives the
 * number of refinement steps, or -2 (a value beyond single precision: the call fails with
 * zuliDataError, info 1), -3 (the single-precision factor is singular: zuliDataError) or -31 (no
 * convergence; the double-precision solution is returned). Argument errors: n < 0 -1,
 * nrhs < 0 -2, lda < max(1, n) -4, ldb < max(1, n) -7, ldx < max(1, n) -9; n = 0 or nrhs = 0
 * returns with *iter untouched; a null -3, ipiv null -5, b null -6, x null -8, iter null -10. */
ZULI_API zuliStatus zuliDsgesv(int n, int nrhs, double* a, int lda, int* ipiv, const double* b,
                               int ldb, double* x, int ldx, int* iter);
ZULI_API zuliStatus zuliDeviceDsgesv(int n, int nrhs, zuliDeviceDouble* a, int lda,
                                     zuliDeviceInt* ipiv, const zuliDeviceDouble* b, int ldb,
                                     zuliDeviceDouble* x, int ldx, int* iter);
ZULI_API zuliStatus zuliZcgesv(int n, int nrhs, zuliComplexDouble* a, int lda, int* ipiv,
                               const zuliComplexDouble* b, int ldb, zuliComplexDouble* x, int ldx,
                               int* iter);
ZULI_API zuliStatus zuliDeviceZcgesv(int n, int nrhs, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceInt* ipiv, const zuliDeviceComplexDouble* b, int ldb,
                                     zuliDeviceComplexDouble* x, int ldx, int* iter);

/* ---- dsposv, zcposv: The same refinement for a symmetric / Hermitian positive definite A with
 * potrf and potrs in place of getrf and getrs: a is left unchanged except on the double-precision
 * fallback, where it receives the double-precision Cholesky factor. *iter (host pointer) as for
 * dsgesv; -3 means the single-precision factorization found a leading minor that is not
 * positive definite (zuliDataError with its order). Argument errors: uplo -1, n < 0 -2,
 * nrhs < 0 -3, lda < max(1, n) -5, ldb < max(1, n) -7, ldx < max(1, n) -9; n = 0 or
 * nrhs = 0 returns with *iter untouched; a null -4, b null -6, x null -8, iter null -10. */
ZULI_API zuliStatus zuliDsposv(char uplo, int n, int nrhs, double* a, int lda, const double* b,
                               int ldb, double* x, int ldx, int* iter);
ZULI_API zuliStatus zuliDeviceDsposv(char uplo, int n, int nrhs, zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* b, int ldb, zuliDeviceDouble* x,
                                     int ldx, int* iter);
ZULI_API zuliStatus zuliZcposv(char uplo, int n, int nrhs, zuliComplexDouble* a, int lda,
                               const zuliComplexDouble* b, int ldb, zuliComplexDouble* x, int ldx,
                               int* iter);
ZULI_API zuliStatus zuliDeviceZcposv(char uplo, int n, int nrhs, zuliDeviceComplexDouble* a,
                                     int lda, const zuliDeviceComplexDouble* b, int ldb,
                                     zuliDeviceComplexDouble* x, int ldx, int* iter);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_SOLVERS_H */
