/* zuli_lapack_orthogonal.h - part of zuli_lapack.h; include that header instead.
 *
 * The orthogonal factorizations (QR, LQ, QL, RQ), the generation and application of their Q, and
 * the least-squares routines built on them, and the reduction to bidiagonal form with the
 * generation of its Q and P^H. Each exists as a host routine zuliXname (arrays in host memory)
 * and a device routine zuliDeviceXname (arrays in device memory, which stay there), with
 * LAPACK's arguments minus the work arrays, LAPACK's results and info values; the complex
 * precisions use LAPACK's complex names (ungqr, unmqr, ungbr, ...). Both interfaces check their
 * arguments in the order given and return zuliArgumentError with info -k for the first bad
 * argument k (counted without the precision letter). Letters are accepted in either case. */
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

/* ---- orgqr / ungqr: Q of a QR factorization. The first n columns of Q = H(1) H(2) ... H(k)
 * (m x m) replace A (m x n), from the k reflectors geqrf left in A's first k columns (below the
 * diagonal, unit diagonal implied) and tau (k scalars).
 * Argument errors: m < 0 -1, n < 0 or n > m -2, k < 0 or k > n -3, lda < max(1, m) -5; n = 0
 * returns at once; a null -4, tau null -6 (also when k = 0, which gives the first n columns of
 * the identity). */
ZULI_API zuliStatus zuliSorgqr(int m, int n, int k, float* a, int lda, const float* tau);
ZULI_API zuliStatus zuliDeviceSorgqr(int m, int n, int k, zuliDeviceFloat* a, int lda,
                                     const zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDorgqr(int m, int n, int k, double* a, int lda, const double* tau);
ZULI_API zuliStatus zuliDeviceDorgqr(int m, int n, int k, zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCungqr(int m, int n, int k, zuliComplexFloat* a, int lda,
                               const zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCungqr(int m, int n, int k, zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZungqr(int m, int n, int k, zuliComplexDouble* a, int lda,
                               const zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZungqr(int m, int n, int k, zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau);

/* ---- orglq / unglq: Q of an LQ factorization. The first m rows of Q = H(k)^H ... H(1)^H
 * (n x n; H(k) ... H(1) for S, D) replace A (m x n), from the k reflectors gelqf left in A's
 * first k rows (right of the diagonal, unit diagonal implied) and tau.
 * Argument errors: m < 0 -1, n < m -2, k < 0 or k > m -3, lda < max(1, m) -5; m = 0 returns at
 * once; a null -4, tau null -6. */
ZULI_API zuliStatus zuliSorglq(int m, int n, int k, float* a, int lda, const float* tau);
ZULI_API zuliStatus zuliDeviceSorglq(int m, int n, int k, zuliDeviceFloat* a, int lda,
                                     const zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDorglq(int m, int n, int k, double* a, int lda, const double* tau);
ZULI_API zuliStatus zuliDeviceDorglq(int m, int n, int k, zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCunglq(int m, int n, int k, zuliComplexFloat* a, int lda,
                               const zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCunglq(int m, int n, int k, zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZunglq(int m, int n, int k, zuliComplexDouble* a, int lda,
                               const zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZunglq(int m, int n, int k, zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau);

/* ---- orgql / ungql: Q of a QL factorization. The last n columns of Q = H(k) ... H(2) H(1)
 * (m x m) replace A (m x n), from the k reflectors geqlf left in A's last k columns (above the
 * diagonal of the trailing block, unit diagonal implied) and tau.
 * Argument errors: m < 0 -1, n < 0 or n > m -2, k < 0 or k > n -3, lda < max(1, m) -5; n = 0
 * returns at once; a null -4, tau null -6. */
ZULI_API zuliStatus zuliSorgql(int m, int n, int k, float* a, int lda, const float* tau);
ZULI_API zuliStatus zuliDeviceSorgql(int m, int n, int k, zuliDeviceFloat* a, int lda,
                                     const zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDorgql(int m, int n, int k, double* a, int lda, const double* tau);
ZULI_API zuliStatus zuliDeviceDorgql(int m, int n, int k, zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCungql(int m, int n, int k, zuliComplexFloat* a, int lda,
                               const zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCungql(int m, int n, int k, zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZungql(int m, int n, int k, zuliComplexDouble* a, int lda,
                               const zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZungql(int m, int n, int k, zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau);

/* ---- orgrq / ungrq: Q of an RQ factorization. The last m rows of Q = H(1)^H ... H(k)^H
 * (n x n; H(1) ... H(k) for S, D) replace A (m x n), from the k reflectors gerqf left in A's last
 * k rows and tau.
 * Argument errors: m < 0 -1, n < m -2, k < 0 or k > m -3, lda < max(1, m) -5; m = 0 returns at
 * once; a null -4, tau null -6. */
ZULI_API zuliStatus zuliSorgrq(int m, int n, int k, float* a, int lda, const float* tau);
ZULI_API zuliStatus zuliDeviceSorgrq(int m, int n, int k, zuliDeviceFloat* a, int lda,
                                     const zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDorgrq(int m, int n, int k, double* a, int lda, const double* tau);
ZULI_API zuliStatus zuliDeviceDorgrq(int m, int n, int k, zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCungrq(int m, int n, int k, zuliComplexFloat* a, int lda,
                               const zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCungrq(int m, int n, int k, zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZungrq(int m, int n, int k, zuliComplexDouble* a, int lda,
                               const zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZungrq(int m, int n, int k, zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau);

/* ---- ormqr / unmqr: multiplies by the Q = H(1) ... H(k) of a QR factorization (geqrf's k
 * reflectors in the columns of A, nq x k, and tau) without forming it.
 * side 'L': C = op(Q) C, 'R': C = C op(Q), C m x n; op(Q) is Q for trans 'N' and Q^H for 'T' or
 * 'C' (all three letters are accepted in every precision; 'T' means the conjugate transpose for C
 * and Z). nq = m for side 'L', n for 'R'.
 * Argument errors: side -1, trans -2, m < 0 -3, n < 0 -4, k < 0 or k > nq -5, lda < max(1, nq)
 * -7, ldc < max(1, m) -10; m, n or k = 0 returns at once; a null -6, tau null -8, c null -9.
 * The device interface writes each panel of A it reads back in place, with the same values. */
ZULI_API zuliStatus zuliSormqr(char side, char trans, int m, int n, int k, const float* a, int lda,
                               const float* tau, float* c, int ldc);
ZULI_API zuliStatus zuliDeviceSormqr(char side, char trans, int m, int n, int k,
                                     const zuliDeviceFloat* a, int lda, const zuliDeviceFloat* tau,
                                     zuliDeviceFloat* c, int ldc);
ZULI_API zuliStatus zuliDormqr(char side, char trans, int m, int n, int k, const double* a, int lda,
                               const double* tau, double* c, int ldc);
ZULI_API zuliStatus zuliDeviceDormqr(char side, char trans, int m, int n, int k,
                                     const zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau, zuliDeviceDouble* c, int ldc);
ZULI_API zuliStatus zuliCunmqr(char side, char trans, int m, int n, int k,
                               const zuliComplexFloat* a, int lda, const zuliComplexFloat* tau,
                               zuliComplexFloat* c, int ldc);
ZULI_API zuliStatus zuliDeviceCunmqr(char side, char trans, int m, int n, int k,
                                     const zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau, zuliDeviceComplexFloat* c,
                                     int ldc);
ZULI_API zuliStatus zuliZunmqr(char side, char trans, int m, int n, int k,
                               const zuliComplexDouble* a, int lda, const zuliComplexDouble* tau,
                               zuliComplexDouble* c, int ldc);
ZULI_API zuliStatus zuliDeviceZunmqr(char side, char trans, int m, int n, int k,
                                     const zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau, zuliDeviceComplexDouble* c,
                                     int ldc);

/* ---- ormlq / unmlq: the same with the Q = H(k)^H ... H(1)^H of an LQ factorization (gelqf's k
 * reflectors in the rows of A, k x nq).
 * side 'L': C = op(Q) C, 'R': C = C op(Q), C m x n; op(Q) is Q for trans 'N' and Q^H for 'T' or
 * 'C' (all three letters are accepted in every precision; 'T' means the conjugate transpose for C
 * and Z). nq = m for side 'L', n for 'R'.
 * Argument errors: side -1, trans -2, m < 0 -3, n < 0 -4, k < 0 or k > nq -5, lda < max(1, k) -7,
 * ldc < max(1, m) -10; m, n or k = 0 returns at once; a null -6, tau null -8, c null -9. A as for
 * ormqr. */
ZULI_API zuliStatus zuliSormlq(char side, char trans, int m, int n, int k, const float* a, int lda,
                               const float* tau, float* c, int ldc);
ZULI_API zuliStatus zuliDeviceSormlq(char side, char trans, int m, int n, int k,
                                     const zuliDeviceFloat* a, int lda, const zuliDeviceFloat* tau,
                                     zuliDeviceFloat* c, int ldc);
ZULI_API zuliStatus zuliDormlq(char side, char trans, int m, int n, int k, const double* a, int lda,
                               const double* tau, double* c, int ldc);
ZULI_API zuliStatus zuliDeviceDormlq(char side, char trans, int m, int n, int k,
                                     const zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau, zuliDeviceDouble* c, int ldc);
ZULI_API zuliStatus zuliCunmlq(char side, char trans, int m, int n, int k,
                               const zuliComplexFloat* a, int lda, const zuliComplexFloat* tau,
                               zuliComplexFloat* c, int ldc);
ZULI_API zuliStatus zuliDeviceCunmlq(char side, char trans, int m, int n, int k,
                                     const zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau, zuliDeviceComplexFloat* c,
                                     int ldc);
ZULI_API zuliStatus zuliZunmlq(char side, char trans, int m, int n, int k,
                               const zuliComplexDouble* a, int lda, const zuliComplexDouble* tau,
                               zuliComplexDouble* c, int ldc);
ZULI_API zuliStatus zuliDeviceZunmlq(char side, char trans, int m, int n, int k,
                                     const zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau, zuliDeviceComplexDouble* c,
                                     int ldc);

/* ---- ormql / unmql: the same with the Q = H(k) ... H(2) H(1) of a QL factorization (geqlf's k
 * reflectors in the columns of A, nq x k).
 * side 'L': C = op(Q) C, 'R': C = C op(Q), C m x n; op(Q) is Q for trans 'N' and Q^H for 'T' or
 * 'C' (all three letters are accepted in every precision; 'T' means the conjugate transpose for C
 * and Z). nq = m for side 'L', n for 'R'.
 * Argument errors: side -1, trans -2, m < 0 -3, n < 0 -4, k < 0 or k > nq -5, lda < max(1, nq)
 * -7, ldc < max(1, m) -10; m, n or k = 0 returns at once; a null -6, tau null -8, c null -9. A as
 * for ormqr. */
ZULI_API zuliStatus zuliSormql(char side, char trans, int m, int n, int k, const float* a, int lda,
                               const float* tau, float* c, int ldc);
ZULI_API zuliStatus zuliDeviceSormql(char side, char trans, int m, int n, int k,
                                     const zuliDeviceFloat* a, int lda, const zuliDeviceFloat* tau,
                                     zuliDeviceFloat* c, int ldc);
ZULI_API zuliStatus zuliDormql(char side, char trans, int m, int n, int k, const double* a, int lda,
                               const double* tau, double* c, int ldc);
ZULI_API zuliStatus zuliDeviceDormql(char side, char trans, int m, int n, int k,
                                     const zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau, zuliDeviceDouble* c, int ldc);
ZULI_API zuliStatus zuliCunmql(char side, char trans, int m, int n, int k,
                               const zuliComplexFloat* a, int lda, const zuliComplexFloat* tau,
                               zuliComplexFloat* c, int ldc);
ZULI_API zuliStatus zuliDeviceCunmql(char side, char trans, int m, int n, int k,
                                     const zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau, zuliDeviceComplexFloat* c,
                                     int ldc);
ZULI_API zuliStatus zuliZunmql(char side, char trans, int m, int n, int k,
                               const zuliComplexDouble* a, int lda, const zuliComplexDouble* tau,
                               zuliComplexDouble* c, int ldc);
ZULI_API zuliStatus zuliDeviceZunmql(char side, char trans, int m, int n, int k,
                                     const zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau, zuliDeviceComplexDouble* c,
                                     int ldc);

/* ---- ormrq / unmrq: the same with the Q = H(1)^H ... H(k)^H of an RQ factorization (gerqf's k
 * reflectors in the rows of A, k x nq).
 * side 'L': C = op(Q) C, 'R': C = C op(Q), C m x n; op(Q) is Q for trans 'N' and Q^H for 'T' or
 * 'C' (all three letters are accepted in every precision; 'T' means the conjugate transpose for C
 * and Z). nq = m for side 'L', n for 'R'.
 * Argument errors: side -1, trans -2, m < 0 -3, n < 0 -4, k < 0 or k > nq -5, lda < max(1, k) -7,
 * ldc < max(1, m) -10; m, n or k = 0 returns at once; a null -6, tau null -8, c null -9. A as for
 * ormqr. */
ZULI_API zuliStatus zuliSormrq(char side, char trans, int m, int n, int k, const float* a, int lda,
                               const float* tau, float* c, int ldc);
ZULI_API zuliStatus zuliDeviceSormrq(char side, char trans, int m, int n, int k,
                                     const zuliDeviceFloat* a, int lda, const zuliDeviceFloat* tau,
                                     zuliDeviceFloat* c, int ldc);
ZULI_API zuliStatus zuliDormrq(char side, char trans, int m, int n, int k, const double* a, int lda,
                               const double* tau, double* c, int ldc);
ZULI_API zuliStatus zuliDeviceDormrq(char side, char trans, int m, int n, int k,
                                     const zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau, zuliDeviceDouble* c, int ldc);
ZULI_API zuliStatus zuliCunmrq(char side, char trans, int m, int n, int k,
                               const zuliComplexFloat* a, int lda, const zuliComplexFloat* tau,
                               zuliComplexFloat* c, int ldc);
ZULI_API zuliStatus zuliDeviceCunmrq(char side, char trans, int m, int n, int k,
                                     const zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau, zuliDeviceComplexFloat* c,
                                     int ldc);
ZULI_API zuliStatus zuliZunmrq(char side, char trans, int m, int n, int k,
                               const zuliComplexDouble* a, int lda, const zuliComplexDouble* tau,
                               zuliComplexDouble* c, int ldc);
ZULI_API zuliStatus zuliDeviceZunmrq(char side, char trans, int m, int n, int k,
                                     const zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau, zuliDeviceComplexDouble* c,
                                     int ldc);

/* =============================================================================================
 * Least squares: gels, geqrs, ggrqf, gglse
 * ============================================================================================= */

/* ---- gels: solves a least-squares or minimum-norm problem with the m x n matrix A of full rank
 * (A^H below is the conjugate transpose, the plain transpose for S and D):
 *   trans 'N', m >= n: X minimizes ||B - A X|| (least squares);
 *   trans 'N', m <  n: X is the solution of A X = B of minimum norm;
 *   trans 'T' or 'C', m >= n: X is the solution of A^H X = B of minimum norm;
 *   trans 'T' or 'C', m <  n: X minimizes ||B - A^H X||.
 * 'T' and 'C' are accepted in every precision and mean the same. B (ldb x nrhs) holds the nrhs
 * right-hand sides in its first m rows ('N') or n rows ('T', 'C') and receives the solutions in
 * its first n ('N') or m rows; for a least-squares problem the rows below them are overwritten
 * with what the factorization leaves there. On return A holds its QR factorization (m >= n) or
 * its LQ factorization (m < n) as geqrf and gelqf leave them. Neither A nor B is scaled.
 * When min(m, n, nrhs) = 0, B is set to zero over max(m, n) rows and nrhs columns (nothing
 * when b is null) and A is untouched.
 * Argument errors, in this order: trans not 'N', 'T', 'C' -1, m < 0 -2, n < 0 -3, nrhs < 0 -4,
 * lda < max(1, m) -6, ldb < max(1, m, n) -8; when min(m, n, nrhs) = 0 the pointers are not
 * checked; a null -5, b null -7.
 * zuliDataError with info i: the i-th diagonal element of R (m >= n) or L (m < n) is exactly
 * zero, A is not of full rank; A holds the factorization and B is partly transformed. */
ZULI_API zuliStatus zuliSgels(char trans, int m, int n, int nrhs, float* a, int lda, float* b,
                              int ldb);
ZULI_API zuliStatus zuliDeviceSgels(char trans, int m, int n, int nrhs, zuliDeviceFloat* a, int lda,
                                    zuliDeviceFloat* b, int ldb);
ZULI_API zuliStatus zuliDgels(char trans, int m, int n, int nrhs, double* a, int lda, double* b,
                              int ldb);
ZULI_API zuliStatus zuliDeviceDgels(char trans, int m, int n, int nrhs, zuliDeviceDouble* a,
                                    int lda, zuliDeviceDouble* b, int ldb);
ZULI_API zuliStatus zuliCgels(char trans, int m, int n, int nrhs, zuliComplexFloat* a, int lda,
                              zuliComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliDeviceCgels(char trans, int m, int n, int nrhs, zuliDeviceComplexFloat* a,
                                    int lda, zuliDeviceComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliZgels(char trans, int m, int n, int nrhs, zuliComplexDouble* a, int lda,
                              zuliComplexDouble* b, int ldb);
ZULI_API zuliStatus zuliDeviceZgels(char trans, int m, int n, int nrhs, zuliDeviceComplexDouble* a,
                                    int lda, zuliDeviceComplexDouble* b, int ldb);

/* ---- geqrs: the least-squares solution of A X = B from geqrf's factorization of the m x n
 * matrix A (m >= n): A and tau (n scalars) as geqrf left them, B (m x nrhs) is overwritten by
 * Q^H B with the solution in its first n rows. No test for a zero on R's diagonal is made (the
 * solution then holds non-finite values).
 * Argument errors, in this order: m < 0 -1, n < 0 or n > m -2, nrhs < 0 -3, lda < max(1, m) -5,
 * ldb < max(1, m) -8; m, n or nrhs = 0 returns at once (null pointers accepted); a null -4, tau
 * null -6, b null -7. */
ZULI_API zuliStatus zuliSgeqrs(int m, int n, int nrhs, const float* a, int lda, const float* tau,
                               float* b, int ldb);
ZULI_API zuliStatus zuliDeviceSgeqrs(int m, int n, int nrhs, const zuliDeviceFloat* a, int lda,
                                     const zuliDeviceFloat* tau, zuliDeviceFloat* b, int ldb);
ZULI_API zuliStatus zuliDgeqrs(int m, int n, int nrhs, const double* a, int lda, const double* tau,
                               double* b, int ldb);
ZULI_API zuliStatus zuliDeviceDgeqrs(int m, int n, int nrhs, const zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau, zuliDeviceDouble* b, int ldb);
ZULI_API zuliStatus zuliCgeqrs(int m, int n, int nrhs, const zuliComplexFloat* a, int lda,
                               const zuliComplexFloat* tau, zuliComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliDeviceCgeqrs(int m, int n, int nrhs, const zuliDeviceComplexFloat* a,
                                     int lda, const zuliDeviceComplexFloat* tau,
                                     zuliDeviceComplexFloat* b, int ldb);
ZULI_API zuliStatus zuliZgeqrs(int m, int n, int nrhs, const zuliComplexDouble* a, int lda,
                               const zuliComplexDouble* tau, zuliComplexDouble* b, int ldb);
ZULI_API zuliStatus zuliDeviceZgeqrs(int m, int n, int nrhs, const zuliDeviceComplexDouble* a,
                                     int lda, const zuliDeviceComplexDouble* tau,
                                     zuliDeviceComplexDouble* b, int ldb);

/* ---- ggrqf: generalized RQ factorization of the m x n matrix A and the p x n matrix B, as
 * LAPACK's ggrqf computes it: A = R Q and B = Z T Q with Q (n x n) and Z (p x p) unitary
 * (orthogonal for S, D). On return A holds R and the reflectors of Q as gerqf leaves them
 * (taua: min(m, n) scalars), B holds T and the reflectors of Z as geqrf leaves them (taub:
 * min(p, n) scalars).
 * Argument errors, in this order: m < 0 -1, p < 0 -2, n < 0 -3, lda < max(1, m) -5,
 * ldb < max(1, p) -8; n = 0 or m = p = 0 returns at once; then, where the matrix has elements,
 * a null -4 and taua null -6 (m > 0), b null -7 and taub null -9 (p > 0). */
ZULI_API zuliStatus zuliSggrqf(int m, int p, int n, float* a, int lda, float* taua, float* b,
                               int ldb, float* taub);
ZULI_API zuliStatus zuliDeviceSggrqf(int m, int p, int n, zuliDeviceFloat* a, int lda,
                                     zuliDeviceFloat* taua, zuliDeviceFloat* b, int ldb,
                                     zuliDeviceFloat* taub);
ZULI_API zuliStatus zuliDggrqf(int m, int p, int n, double* a, int lda, double* taua, double* b,
                               int ldb, double* taub);
ZULI_API zuliStatus zuliDeviceDggrqf(int m, int p, int n, zuliDeviceDouble* a, int lda,
                                     zuliDeviceDouble* taua, zuliDeviceDouble* b, int ldb,
                                     zuliDeviceDouble* taub);
ZULI_API zuliStatus zuliCggrqf(int m, int p, int n, zuliComplexFloat* a, int lda,
                               zuliComplexFloat* taua, zuliComplexFloat* b, int ldb,
                               zuliComplexFloat* taub);
ZULI_API zuliStatus zuliDeviceCggrqf(int m, int p, int n, zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceComplexFloat* taua, zuliDeviceComplexFloat* b,
                                     int ldb, zuliDeviceComplexFloat* taub);
ZULI_API zuliStatus zuliZggrqf(int m, int p, int n, zuliComplexDouble* a, int lda,
                               zuliComplexDouble* taua, zuliComplexDouble* b, int ldb,
                               zuliComplexDouble* taub);
ZULI_API zuliStatus zuliDeviceZggrqf(int m, int p, int n, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceComplexDouble* taua, zuliDeviceComplexDouble* b,
                                     int ldb, zuliDeviceComplexDouble* taub);

/* ---- gglse: the linear equality-constrained least-squares problem, as LAPACK's gglse solves it:
 * x (n elements) minimizes ||c - A x|| subject to B x = d, A m x n, B p x n, c m elements, d p
 * elements, p <= n <= m + p. On return x holds the solution, the elements n - p + 1 ... m of c
 * the residual whose squares sum to the minimum (the rest of c as LAPACK leaves it), and A, B and
 * d are overwritten (A and B with ggrqf's factorization of B and A).
 * Argument errors, in this order: m < 0 -1, n < 0 -2, p < 0 or p > n or p < n - m -3,
 * lda < max(1, m) -5, ldb < max(1, p) -7; n = 0 returns at once; then, where the array has
 * elements, a null -4 (m > 0), b null -6 (p > 0), c null -8 (m > 0), d null -9 (p > 0), x null
 * -10.
 * zuliDataError with info 1: the triangle T12 of B's factorization has an exactly zero diagonal
 * element (B does not have full row rank); info 2: the triangle R11 of A's has one ((A; B) does
 * not have full column rank). */
ZULI_API zuliStatus zuliSgglse(int m, int n, int p, float* a, int lda, float* b, int ldb, float* c,
                               float* d, float* x);
ZULI_API zuliStatus zuliDeviceSgglse(int m, int n, int p, zuliDeviceFloat* a, int lda,
                                     zuliDeviceFloat* b, int ldb, zuliDeviceFloat* c,
                                     zuliDeviceFloat* d, zuliDeviceFloat* x);
ZULI_API zuliStatus zuliDgglse(int m, int n, int p, double* a, int lda, double* b, int ldb,
                               double* c, double* d, double* x);
ZULI_API zuliStatus zuliDeviceDgglse(int m, int n, int p, zuliDeviceDouble* a, int lda,
                                     zuliDeviceDouble* b, int ldb, zuliDeviceDouble* c,
                                     zuliDeviceDouble* d, zuliDeviceDouble* x);
ZULI_API zuliStatus zuliCgglse(int m, int n, int p, zuliComplexFloat* a, int lda,
                               zuliComplexFloat* b, int ldb, zuliComplexFloat* c,
                               zuliComplexFloat* d, zuliComplexFloat* x);
ZULI_API zuliStatus zuliDeviceCgglse(int m, int n, int p, zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceComplexFloat* b, int ldb, zuliDeviceComplexFloat* c,
                                     zuliDeviceComplexFloat* d, zuliDeviceComplexFloat* x);
ZULI_API zuliStatus zuliZgglse(int m, int n, int p, zuliComplexDouble* a, int lda,
                               zuliComplexDouble* b, int ldb, zuliComplexDouble* c,
                               zuliComplexDouble* d, zuliComplexDouble* x);
ZULI_API zuliStatus zuliDeviceZgglse(int m, int n, int p, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceComplexDouble* b, int ldb,
                                     zuliDeviceComplexDouble* c, zuliDeviceComplexDouble* d,
                                     zuliDeviceComplexDouble* x);

/* =============================================================================================
 * Bidiagonal reduction: gebrd, orgbr / ungbr
 * ============================================================================================= */

/* ---- gebrd: reduces the m x n matrix A to bidiagonal form B = Q^H A P (LAPACK's gebrd), k =
 * min(m, n). B is upper bidiagonal for m >= n, lower for m < n; its diagonal goes to d (k real
 * elements) and its off-diagonal to e (k - 1 real elements), and A receives B's elements and the
 * reflectors as LAPACK stores them: Q = H(1) ... H(k) with H(i) = I - tauq(i) v v^H, v(i) = 1 and
 * v below the diagonal (m >= n) or the subdiagonal (m < n) of column i; P = G(1) ... G(k) with
 * G(i) = I - taup(i) u u^H, u right of the superdiagonal (m >= n) or the diagonal (m < n) of row
 * i, stored conjugated. tauq and taup receive k scalars each. Matrices with k <= 256 (S, D) or
 * k <= 192 (C, Z) are reduced by the host LAPACK; larger ones by the host (panels of the base
 * block size) and the GPU (the products with the trailing matrix and its two gemm updates)
 * together, the last block of at most that order by the host LAPACK. B is then that of a matrix
 * within rounding of A (A = Q B P^H to rounding), not LAPACK's elements bit for bit.
 * Argument errors: m < 0 -1, n < 0 -2, lda < max(1, m) -4; k = 0 returns at once (null pointers
 * accepted); a null -3, d null -5, e null -6 (accepted when k = 1), tauq null -7, taup null
 * -8. */
ZULI_API zuliStatus zuliSgebrd(int m, int n, float* a, int lda, float* d, float* e, float* tauq,
                               float* taup);
ZULI_API zuliStatus zuliDeviceSgebrd(int m, int n, zuliDeviceFloat* a, int lda, zuliDeviceFloat* d,
                                     zuliDeviceFloat* e, zuliDeviceFloat* tauq,
                                     zuliDeviceFloat* taup);
ZULI_API zuliStatus zuliDgebrd(int m, int n, double* a, int lda, double* d, double* e, double* tauq,
                               double* taup);
ZULI_API zuliStatus zuliDeviceDgebrd(int m, int n, zuliDeviceDouble* a, int lda,
                                     zuliDeviceDouble* d, zuliDeviceDouble* e,
                                     zuliDeviceDouble* tauq, zuliDeviceDouble* taup);
ZULI_API zuliStatus zuliCgebrd(int m, int n, zuliComplexFloat* a, int lda, float* d, float* e,
                               zuliComplexFloat* tauq, zuliComplexFloat* taup);
ZULI_API zuliStatus zuliDeviceCgebrd(int m, int n, zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceFloat* d, zuliDeviceFloat* e,
                                     zuliDeviceComplexFloat* tauq, zuliDeviceComplexFloat* taup);
ZULI_API zuliStatus zuliZgebrd(int m, int n, zuliComplexDouble* a, int lda, double* d, double* e,
                               zuliComplexDouble* tauq, zuliComplexDouble* taup);
ZULI_API zuliStatus zuliDeviceZgebrd(int m, int n, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceDouble* d, zuliDeviceDouble* e,
                                     zuliDeviceComplexDouble* tauq, zuliDeviceComplexDouble* taup);

/* ---- orgbr / ungbr: generates Q or P^H of gebrd (LAPACK's orgbr) in place of its reflectors.
 * vect 'Q': A (m x n) becomes the first n columns of Q from the reflectors gebrd left in the
 * columns of A when it reduced an m x k matrix; tau is its tauq (min(m, k) scalars); n <= m and
 * n >= min(m, k) (for m >= k, Q's first n columns; for m < k, Q is m x m).
 * vect 'P': A (m x n) becomes the first m rows of P^H from the reflectors gebrd left in the rows
 * of A when it reduced a k x n matrix; tau is its taup (min(n, k) scalars); m <= n and
 * m >= min(n, k).
 * Argument errors: vect not 'Q' or 'P' -1, m < 0 -2, n < 0 or n out of the range above -3, k < 0
 * -4, lda < max(1, m) -6; m = 0 or n = 0 returns at once; a null -5, tau null -7 (also when k =
 * 0, which gives rows or columns of the identity). */
ZULI_API zuliStatus zuliSorgbr(char vect, int m, int n, int k, float* a, int lda, const float* tau);
ZULI_API zuliStatus zuliDeviceSorgbr(char vect, int m, int n, int k, zuliDeviceFloat* a, int lda,
                                     const zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDorgbr(char vect, int m, int n, int k, double* a, int lda,
                               const double* tau);
ZULI_API zuliStatus zuliDeviceDorgbr(char vect, int m, int n, int k, zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCungbr(char vect, int m, int n, int k, zuliComplexFloat* a, int lda,
                               const zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCungbr(char vect, int m, int n, int k, zuliDeviceComplexFloat* a,
                                     int lda, const zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZungbr(char vect, int m, int n, int k, zuliComplexDouble* a, int lda,
                               const zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZungbr(char vect, int m, int n, int k, zuliDeviceComplexDouble* a,
                                     int lda, const zuliDeviceComplexDouble* tau);

/* =============================================================================================
 * Bidiagonal singular values: bdsqr
 * ============================================================================================= */

/* ---- bdsqr: the singular values of the real n x n bidiagonal matrix B (diagonal d, off-diagonal
 * e; upper for uplo 'U', lower for 'L') by LAPACK's implicit zero-shift QR iteration, into d in
 * decreasing order, with B = Q S P^T: VT (n x ncvt) becomes P^T VT and U (nru x n) becomes U Q.
 * The values and vectors are those of LAPACK's bdsqr with ncc = 0. d and e are real (device
 * arrays in the device interface); e is overwritten. The iteration runs on the host, the
 * rotations are applied to VT and U on the GPU; without vectors the host LAPACK's dqds gives the
 * values. ncc > 0 (a matrix C) is not supported.
 * Argument errors: uplo not 'U'/'L' -1, n < 0 -2, ncvt < 0 -3, nru < 0 -4, ncc < 0 -5, ldvt < 1
 * or (ncvt >= 1 and ldvt < max(1, n)) -9, ldu < max(1, nru) -11, ldc < 1 or (ncc > 0 and ldc <
 * max(1, n)) -13; then ncc > 0 is zuliFeatureNotImplemented; n = 0 returns at once (null
 * pointers accepted); d null -6, e null -7 (accepted when n = 1), vt null -8 (ncvt >= 1), u null
 * -10 (nru > 0).
 * zuliDataError with info i > 0: the iteration did not converge; i elements of e are not zero,
 * d and e hold a bidiagonal orthogonally equivalent to B, and VT and U the rotations so far. */
ZULI_API zuliStatus zuliSbdsqr(char uplo, int n, int ncvt, int nru, int ncc, float* d, float* e,
                               float* vt, int ldvt, float* u, int ldu, float* c, int ldc);
ZULI_API zuliStatus zuliDeviceSbdsqr(char uplo, int n, int ncvt, int nru, int ncc,
                                     zuliDeviceFloat* d, zuliDeviceFloat* e, zuliDeviceFloat* vt,
                                     int ldvt, zuliDeviceFloat* u, int ldu, zuliDeviceFloat* c,
                                     int ldc);
ZULI_API zuliStatus zuliDbdsqr(char uplo, int n, int ncvt, int nru, int ncc, double* d, double* e,
                               double* vt, int ldvt, double* u, int ldu, double* c, int ldc);
ZULI_API zuliStatus zuliDeviceDbdsqr(char uplo, int n, int ncvt, int nru, int ncc,
                                     zuliDeviceDouble* d, zuliDeviceDouble* e, zuliDeviceDouble* vt,
                                     int ldvt, zuliDeviceDouble* u, int ldu, zuliDeviceDouble* c,
                                     int ldc);
ZULI_API zuliStatus zuliCbdsqr(char uplo, int n, int ncvt, int nru, int ncc, float* d, float* e,
                               zuliComplexFloat* vt, int ldvt, zuliComplexFloat* u, int ldu,
                               zuliComplexFloat* c, int ldc);
ZULI_API zuliStatus zuliDeviceCbdsqr(char uplo, int n, int ncvt, int nru, int ncc,
                                     zuliDeviceFloat* d, zuliDeviceFloat* e,
                                     zuliDeviceComplexFloat* vt, int ldvt,
                                     zuliDeviceComplexFloat* u, int ldu, zuliDeviceComplexFloat* c,
                                     int ldc);
ZULI_API zuliStatus zuliZbdsqr(char uplo, int n, int ncvt, int nru, int ncc, double* d, double* e,
                               zuliComplexDouble* vt, int ldvt, zuliComplexDouble* u, int ldu,
                               zuliComplexDouble* c, int ldc);
ZULI_API zuliStatus zuliDeviceZbdsqr(char uplo, int n, int ncvt, int nru, int ncc,
                                     zuliDeviceDouble* d, zuliDeviceDouble* e,
                                     zuliDeviceComplexDouble* vt, int ldvt,
                                     zuliDeviceComplexDouble* u, int ldu,
                                     zuliDeviceComplexDouble* c, int ldc);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_ORTHOGONAL_H */
