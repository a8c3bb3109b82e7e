/* zuli_lapack_auxiliary.h - part of zuli_lapack.h; include that header instead.
 *
 * The matrix utility routines. Each exists as a host routine zuliXname (matrices in host memory)
 * and a device routine zuliDeviceXname (matrices in device memory, which stay there); both take
 * the same arguments, check them in the order given below, and return zuliArgumentError with
 * info -k for the first bad argument k (counted without the precision letter). Letters are
 * accepted in either case. Matrices are column-major with a leading dimension. */
#ifndef ZULI_LAPACK_AUXILIARY_H
#define ZULI_LAPACK_AUXILIARY_H
#ifndef ZULI_LAPACK_H
#error "include zuli_lapack.h"
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- lacpy: B = A on a part of the matrix -------------------------------------------------
 * uplo 'U' copies the upper triangle with the diagonal, 'L' the lower triangle with the
 * diagonal, 'A' or 'F' the whole m x n matrix (lower case accepted); the rest of B is left as it
 * is. Returns at once when m or n is 0. Argument errors (info): uplo -1, m < 0 -2, n < 0 -3,
 * A null -4, lda < max(1, m) -5, B null -6, ldb < max(1, m) -7. */

ZULI_API zuliStatus zuliSlacpy(char uplo, int m, int n, const float* A, int lda, float* B, int ldb);
ZULI_API zuliStatus zuliDeviceSlacpy(char uplo, int m, int n, const float* A, int lda, float* B,
                                     int ldb);
ZULI_API zuliStatus zuliDlacpy(char uplo, int m, int n, const double* A, int lda, double* B,
                               int ldb);
ZULI_API zuliStatus zuliDeviceDlacpy(char uplo, int m, int n, const double* A, int lda, double* B,
                                     int ldb);
ZULI_API zuliStatus zuliClacpy(char uplo, int m, int n, const zuliComplexFloat* A, int lda,
                               zuliComplexFloat* B, int ldb);
ZULI_API zuliStatus zuliDeviceClacpy(char uplo, int m, int n, const zuliComplexFloat* A, int lda,
                                     zuliComplexFloat* B, int ldb);
ZULI_API zuliStatus zuliZlacpy(char uplo, int m, int n, const zuliComplexDouble* A, int lda,
                               zuliComplexDouble* B, int ldb);
ZULI_API zuliStatus zuliDeviceZlacpy(char uplo, int m, int n, const zuliComplexDouble* A, int lda,
                                     zuliComplexDouble* B, int ldb);

/* ---- laset: off-diagonal elements of a part get alpha, the diagonal beta -------------------
 * uplo 'U' sets the strictly upper part, 'L' the strictly lower part, 'A' or 'F' all
 * off-diagonal elements to alpha; the min(m, n) diagonal elements get beta in every case.
 * Errors: uplo -1, m < 0 -2, n < 0 -3 (then m or n 0 returns), A null -6, lda < max(1, m) -7. */

ZULI_API zuliStatus zuliSlaset(char uplo, int m, int n, float alpha, float beta, float* A, int lda);
ZULI_API zuliStatus zuliDeviceSlaset(char uplo, int m, int n, float alpha, float beta, float* A,
                                     int lda);
ZULI_API zuliStatus zuliDlaset(char uplo, int m, int n, double alpha, double beta, double* A,
                               int lda);
ZULI_API zuliStatus zuliDeviceDlaset(char uplo, int m, int n, double alpha, double beta, double* A,
                                     int lda);
ZULI_API zuliStatus zuliClaset(char uplo, int m, int n, zuliComplexFloat alpha,
                               zuliComplexFloat beta, zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliDeviceClaset(char uplo, int m, int n, zuliComplexFloat alpha,
                                     zuliComplexFloat beta, zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliZlaset(char uplo, int m, int n, zuliComplexDouble alpha,
                               zuliComplexDouble beta, zuliComplexDouble* A, int lda);
ZULI_API zuliStatus zuliDeviceZlaset(char uplo, int m, int n, zuliComplexDouble alpha,
                                     zuliComplexDouble beta, zuliComplexDouble* A, int lda);

/* ---- lascl: A = A * (cto / cfrom) without over- or underflow ------------------------------
 * type (lower case accepted): 'G' full, 'L' lower triangular, 'U' upper triangular, 'H' upper
 * Hessenberg, 'B' lower half of a symmetric band matrix (kl sub-diagonals, stored in rows
 * 1..kl+1), 'Q' upper half of a symmetric band matrix (ku super-diagonals, rows 1..ku+1), 'Z'
 * band matrix with kl sub- and ku super-diagonals stored as for gbtrf (rows kl+1..2kl+ku+1).
 * The product is formed in LAPACK's safe steps, so A gets exactly LAPACK's lascl result.
 * Errors: type -1; for 'B', 'Q', 'Z': kl < 0 or kl > max(m-1, 0) -2; ku < 0, ku > max(n-1, 0)
 * or ('B'/'Q') kl != ku -3; cfrom == 0 -4 (a NaN cfrom is accepted); cto NaN -5; m < 0 -6;
 * n < 0 or ('B'/'Q') n != m -7; if m and n are non-zero: A null -8, lda too small -9 (max(1, m);
 * kl+1 for 'B'; ku+1 for 'Q'; 2kl+ku+1 for 'Z'). cfrom and cto are real for every precision. */

ZULI_API zuliStatus zuliSlascl(char type, int kl, int ku, float cfrom, float cto, int m, int n,
                               float* A, int lda);
ZULI_API zuliStatus zuliDeviceSlascl(char type, int kl, int ku, float cfrom, float cto, int m,
                                     int n, float* A, int lda);
ZULI_API zuliStatus zuliDlascl(char type, int kl, int ku, double cfrom, double cto, int m, int n,
                               double* A, int lda);
ZULI_API zuliStatus zuliDeviceDlascl(char type, int kl, int ku, double cfrom, double cto, int m,
                                     int n, double* A, int lda);
ZULI_API zuliStatus zuliClascl(char type, int kl, int ku, float cfrom, float cto, int m, int n,
                               zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliDeviceClascl(char type, int kl, int ku, float cfrom, float cto, int m,
                                     int n, zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliZlascl(char type, int kl, int ku, double cfrom, double cto, int m, int n,
                               zuliComplexDouble* A, int lda);
ZULI_API zuliStatus zuliDeviceZlascl(char type, int kl, int ku, double cfrom, double cto, int m,
                                     int n, zuliComplexDouble* A, int lda);

/* ---- geNancheck: does the m x n matrix hold a NaN? ------------------------------------------
 * zuliDataError with info 1 when an element (of a complex one: either part) is a NaN. Nothing
 * happens for an empty matrix, even with a null A. Errors: m < 0 -1, n < 0 -2, lda < m -4 (m
 * itself, not max(1, m)), A null while m and n are non-zero -3 (tested after lda). */

ZULI_API zuliStatus zuliSgeNancheck(int m, int n, const float* A, int lda);
ZULI_API zuliStatus zuliDeviceSgeNancheck(int m, int n, const float* A, int lda);
ZULI_API zuliStatus zuliDgeNancheck(int m, int n, const double* A, int lda);
ZULI_API zuliStatus zuliDeviceDgeNancheck(int m, int n, const double* A, int lda);
ZULI_API zuliStatus zuliCgeNancheck(int m, int n, const zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliDeviceCgeNancheck(int m, int n, const zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliZgeNancheck(int m, int n, const zuliComplexDouble* A, int lda);
ZULI_API zuliStatus zuliDeviceZgeNancheck(int m, int n, const zuliComplexDouble* A, int lda);

/* ---- geTranspose: B = A^T (B is n x m) -------------------------------------------------------
 * The host routine works on the host alone. Errors: m < 0 -1, n < 0 -2, lda < m -4, ldb < n -6;
 * m = n = 0 returns; then A null -3, B null -5 (so m = 0 with n > 0 still needs both pointers). */

ZULI_API zuliStatus zuliSgeTranspose(int m, int n, const float* A, int lda, float* B, int ldb);
ZULI_API zuliStatus zuliDeviceSgeTranspose(int m, int n, const float* A, int lda, float* B,
                                           int ldb);
ZULI_API zuliStatus zuliDgeTranspose(int m, int n, const double* A, int lda, double* B, int ldb);
ZULI_API zuliStatus zuliDeviceDgeTranspose(int m, int n, const double* A, int lda, double* B,
                                           int ldb);
ZULI_API zuliStatus zuliCgeTranspose(int m, int n, const zuliComplexFloat* A, int lda,
                                     zuliComplexFloat* B, int ldb);
ZULI_API zuliStatus zuliDeviceCgeTranspose(int m, int n, const zuliComplexFloat* A, int lda,
                                           zuliComplexFloat* B, int ldb);
ZULI_API zuliStatus zuliZgeTranspose(int m, int n, const zuliComplexDouble* A, int lda,
                                     zuliComplexDouble* B, int ldb);
ZULI_API zuliStatus zuliDeviceZgeTranspose(int m, int n, const zuliComplexDouble* A, int lda,
                                           zuliComplexDouble* B, int ldb);

/* ---- geTransposeConjugate: B = A^H (complex only); as geTranspose. The host routine
 * conjugates by flipping the sign bit of the imaginary part (0 becomes -0, NaNs keep payloads). */

ZULI_API zuliStatus zuliCgeTransposeConjugate(int m, int n, const zuliComplexFloat* A, int lda,
                                              zuliComplexFloat* B, int ldb);
ZULI_API zuliStatus zuliDeviceCgeTransposeConjugate(int m, int n, const zuliComplexFloat* A,
                                                    int lda, zuliComplexFloat* B, int ldb);
ZULI_API zuliStatus zuliZgeTransposeConjugate(int m, int n, const zuliComplexDouble* A, int lda,
                                              zuliComplexDouble* B, int ldb);
ZULI_API zuliStatus zuliDeviceZgeTransposeConjugate(int m, int n, const zuliComplexDouble* A,
                                                    int lda, zuliComplexDouble* B, int ldb);

/* ---- geTransposeInplace: A = A^T for a square n x n matrix -------------------------------------
 * Errors: n < 0 -1, lda < n -3, A null while n != 0 -2. The host routine works on the host. */

ZULI_API zuliStatus zuliSgeTransposeInplace(int n, float* A, int lda);
ZULI_API zuliStatus zuliDeviceSgeTransposeInplace(int n, float* A, int lda);
ZULI_API zuliStatus zuliDgeTransposeInplace(int n, double* A, int lda);
ZULI_API zuliStatus zuliDeviceDgeTransposeInplace(int n, double* A, int lda);
ZULI_API zuliStatus zuliCgeTransposeInplace(int n, zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliDeviceCgeTransposeInplace(int n, zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliZgeTransposeInplace(int n, zuliComplexDouble* A, int lda);
ZULI_API zuliStatus zuliDeviceZgeTransposeInplace(int n, zuliComplexDouble* A, int lda);

/* ---- geTransposeConjugateInplace: A = A^H (complex only); as geTransposeInplace. */

ZULI_API zuliStatus zuliCgeTransposeConjugateInplace(int n, zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliDeviceCgeTransposeConjugateInplace(int n, zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliZgeTransposeConjugateInplace(int n, zuliComplexDouble* A, int lda);
ZULI_API zuliStatus zuliDeviceZgeTransposeConjugateInplace(int n, zuliComplexDouble* A, int lda);

/* ---- geConjugate: A = conj(A) on the m x n matrix (complex only) ----------------------------
 * Errors: m < 0 -1, n < 0 -2, lda < m -4, A null while m and n are non-zero -3. */

ZULI_API zuliStatus zuliCgeConjugate(int m, int n, zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliDeviceCgeConjugate(int m, int n, zuliComplexFloat* A, int lda);
ZULI_API zuliStatus zuliZgeConjugate(int m, int n, zuliComplexDouble* A, int lda);
ZULI_API zuliStatus zuliDeviceZgeConjugate(int m, int n, zuliComplexDouble* A, int lda);

/* ---- trConjugate: conjugates one triangle of the m x n matrix (complex only) ----------------
 * uplo 'U' the upper, 'L' the lower triangle; diag 'D' includes the diagonal, 'N' leaves the
 * diagonal as it is. Errors: uplo -1, diag -2, m < 0 -3, n < 0 -4, lda < m -6, A null while m
 * and n are non-zero -5. */

ZULI_API zuliStatus zuliCtrConjugate(char uplo, char diag, int m, int n, zuliComplexFloat* A,
                                     int lda);
ZULI_API zuliStatus zuliDeviceCtrConjugate(char uplo, char diag, int m, int n, zuliComplexFloat* A,
                                           int lda);
ZULI_API zuliStatus zuliZtrConjugate(char uplo, char diag, int m, int n, zuliComplexDouble* A,
                                     int lda);
ZULI_API zuliStatus zuliDeviceZtrConjugate(char uplo, char diag, int m, int n, zuliComplexDouble* A,
                                           int lda);

/* ---- lag2s, lag2c: double to single precision; lag2d, lag2z: single to double ---------------
 * Converts the m x n matrix. Returns at once when m or n is 0 (before any other test). Errors:
 * m < 0 -1, n < 0 -2, destination null -3, its leading dimension < max(1, m) -4, source null -5,
 * its leading dimension < max(1, m) -6: the destination is numbered 3 and 4 and the source 5
 * and 6, whatever their positions in the call. A narrowing conversion that meets an element
 * beyond the single-precision range (an infinity included) fails with zuliDataError, info 1;
 * every element is still converted (those beyond the range to infinities). */
ZULI_API zuliStatus zuliDlag2s(int m, int n, const double* A, int lda, float* SA, int ldsa);
ZULI_API zuliStatus zuliDeviceDlag2s(int m, int n, const double* A, int lda, float* SA, int ldsa);
ZULI_API zuliStatus zuliZlag2c(int m, int n, const zuliComplexDouble* A, int lda,
                               zuliComplexFloat* SA, int ldsa);
ZULI_API zuliStatus zuliDeviceZlag2c(int m, int n, const zuliComplexDouble* A, int lda,
                                     zuliComplexFloat* SA, int ldsa);
ZULI_API zuliStatus zuliSlag2d(int m, int n, const float* SA, int ldsa, double* A, int lda);
ZULI_API zuliStatus zuliDeviceSlag2d(int m, int n, const float* SA, int ldsa, double* A, int lda);
ZULI_API zuliStatus zuliClag2z(int m, int n, const zuliComplexFloat* SA, int ldsa,
                               zuliComplexDouble* A, int lda);
ZULI_API zuliStatus zuliDeviceClag2z(int m, int n, const zuliComplexFloat* SA, int ldsa,
                                     zuliComplexDouble* A, int lda);

/* ---- lat2s, lat2c, lat2d, lat2z: the same for one triangle (diagonal included) of an n x n
 * matrix, uplo 'U' or 'L'; the other triangle of the destination is left as it is. n = 0
 * returns at once, before uplo is looked at. Errors: uplo -1, n < 0 -2, then as lag2 with
 * max(1, n): destination -3, -4, source -5, -6. */
ZULI_API zuliStatus zuliDlat2s(char uplo, int n, const double* A, int lda, float* SA, int ldsa);
ZULI_API zuliStatus zuliDeviceDlat2s(char uplo, int n, const double* A, int lda, float* SA,
                                     int ldsa);
ZULI_API zuliStatus zuliZlat2c(char uplo, int n, const zuliComplexDouble* A, int lda,
                               zuliComplexFloat* SA, int ldsa);
ZULI_API zuliStatus zuliDeviceZlat2c(char uplo, int n, const zuliComplexDouble* A, int lda,
                                     zuliComplexFloat* SA, int ldsa);
ZULI_API zuliStatus zuliSlat2d(char uplo, int n, const float* SA, int ldsa, double* A, int lda);
ZULI_API zuliStatus zuliDeviceSlat2d(char uplo, int n, const float* SA, int ldsa, double* A,
                                     int lda);
ZULI_API zuliStatus zuliClat2z(char uplo, int n, const zuliComplexFloat* SA, int ldsa,
                               zuliComplexDouble* A, int lda);
ZULI_API zuliStatus zuliDeviceClat2z(char uplo, int n, const zuliComplexFloat* SA, int ldsa,
                                     zuliComplexDouble* A, int lda);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_AUXILIARY_H */
