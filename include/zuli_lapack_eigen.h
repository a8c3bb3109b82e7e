/* zuli_lapack_eigen.h - part of zuli_lapack.h; include that header instead.
 *
 * The eigenvalue problems and their building blocks. Each routine exists as a host routine
 * zuliXname (arrays in host memory) and a device routine zuliDeviceXname (arrays in device memory,
 * which stay there), with LAPACK's arguments minus the work arrays, LAPACK's results and info
 * values; the complex precisions use LAPACK's complex names (unghr, ...). Both interfaces check
 * their arguments in the order given and return zuliArgumentError with info -k for the first bad
 * argument k (counted without the precision letter). Letters are accepted in either case. */
#ifndef ZULI_LAPACK_EIGEN_H
#define ZULI_LAPACK_EIGEN_H
#ifndef ZULI_LAPACK_H
#error "include zuli_lapack.h"
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* =============================================================================================
 * BEGIN nonsymmetric eigenproblems: gehrd, orghr / unghr, geev
 * ============================================================================================= */

/* ---- gehrd: reduction of the n x n matrix A to upper Hessenberg form H = Q^H A Q. ilo and ihi
 * (1-based) say that A is already upper triangular in rows and columns 1 ... ilo - 1 and
 * ihi + 1 ... n, as a balancing (LAPACK's gebal) leaves it; without one, ilo = 1 and ihi = n.
 * On return H is in and above the first subdiagonal of A and Q = H(ilo) ... H(ihi - 1) is stored
 * as LAPACK's gehrd stores it: H(i) = I - tau(i) v v^H, v with zeros in rows 1 ... i, 1 in row
 * i + 1 (not stored) and its rows i + 2 ... ihi in A(i + 2 : ihi, i). tau receives the n - 1
 * scalars, zero outside ilo ... ihi - 1.
 * Argument errors: n < 0 -1, ilo < 1 or ilo > max(1, n) -2, ihi < min(ilo, n) or ihi > n -3,
 * lda < max(1, n) -5; n = 0 returns at once (null pointers accepted); a null -4, tau null (for
 * n > 1) -6.
 * The reduction runs on the GPU and the host together: each panel of 32 columns is reduced on the
 * host, its products with the rest of the matrix and the updates of the rest on the GPU, while
 * more than 128 columns of the active block follow the panel; the remaining columns (at most 128),
 * and a whole active block of at most 129 columns, are reduced on the host. */
ZULI_API zuliStatus zuliSgehrd(int n, int ilo, int ihi, float* a, int lda, float* tau);
ZULI_API zuliStatus zuliDeviceSgehrd(int n, int ilo, int ihi, zuliDeviceFloat* a, int lda,
                                     zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDgehrd(int n, int ilo, int ihi, double* a, int lda, double* tau);
ZULI_API zuliStatus zuliDeviceDgehrd(int n, int ilo, int ihi, zuliDeviceDouble* a, int lda,
                                     zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCgehrd(int n, int ilo, int ihi, zuliComplexFloat* a, int lda,
                               zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCgehrd(int n, int ilo, int ihi, zuliDeviceComplexFloat* a, int lda,
                                     zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZgehrd(int n, int ilo, int ihi, zuliComplexDouble* a, int lda,
                               zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZgehrd(int n, int ilo, int ihi, zuliDeviceComplexDouble* a, int lda,
                                     zuliDeviceComplexDouble* tau);

/* ---- orghr / unghr: the Q of gehrd (n x n), formed in place of the reflectors in A from the
 * same n, ilo, ihi and tau (n - 1 scalars). Q is the identity outside rows and columns
 * ilo + 1 ... ihi. Argument errors as gehrd's (tau read). */
ZULI_API zuliStatus zuliSorghr(int n, int ilo, int ihi, float* a, int lda, const float* tau);
ZULI_API zuliStatus zuliDeviceSorghr(int n, int ilo, int ihi, zuliDeviceFloat* a, int lda,
                                     const zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDorghr(int n, int ilo, int ihi, double* a, int lda, const double* tau);
ZULI_API zuliStatus zuliDeviceDorghr(int n, int ilo, int ihi, zuliDeviceDouble* a, int lda,
                                     const zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliCunghr(int n, int ilo, int ihi, zuliComplexFloat* a, int lda,
                               const zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceCunghr(int n, int ilo, int ihi, zuliDeviceComplexFloat* a, int lda,
                                     const zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZunghr(int n, int ilo, int ihi, zuliComplexDouble* a, int lda,
                               const zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZunghr(int n, int ilo, int ihi, zuliDeviceComplexDouble* a, int lda,
                                     const zuliDeviceComplexDouble* tau);

/* ---- geev: eigenvalues and, optionally, left and right eigenvectors of the general n x n
 * matrix A, as LAPACK's geev computes them: A is scaled when its largest element lies outside
 * [sqrt(safe minimum) / eps, its reciprocal], balanced (permutation and scaling, LAPACK's gebal
 * 'B'), reduced to Hessenberg form (gehrd) and to Schur form T by the QR algorithm; the
 * eigenvectors of T are back-transformed to those of A.
 *   jobvl, jobvr  'N': the left (right) eigenvectors are not computed; 'V': they are.
 *   A (lda)       destroyed: the device interface leaves intermediate results in it (the
 *                 Hessenberg form, or the Schur vectors when vectors are computed); the host
 *                 interface leaves the caller's array as it was.
 *   wr, wi        (real types) the real and imaginary parts of the n eigenvalues; a complex
 *                 conjugate pair is stored consecutively, the one with positive imaginary part
 *                 first.
 *   w             (complex types) the n eigenvalues.
 *   vl (ldvl)     jobvl 'V': the left eigenvectors u(j) (u(j)^H A = lambda(j) u(j)^H) in the
 *                 columns, in the order of the eigenvalues; not referenced for 'N'.
 *   vr (ldvr)     jobvr 'V': the right eigenvectors v(j) (A v(j) = lambda(j) v(j)); not
 *                 referenced for 'N'.
 * For the real types the vectors of a pair j, j + 1 are column j +- i times column j + 1. Every
 * eigenvector has Euclidean norm 1 and its component of largest magnitude real.
 * Argument errors: jobvl not 'N' or 'V' -1, jobvr -2, n < 0 -3, lda < max(1, n) -5; real types:
 * ldvl < 1 or (jobvl 'V' and ldvl < n) -9, ldvr likewise -11; complex types: ldvl -8, ldvr -10;
 * n = 0 returns at once (null pointers accepted); then a null -4, wr null -6, wi null -7, vl null
 * with jobvl 'V' -8, vr null with jobvr 'V' -10 (complex: w null -6, vl -7, vr -9).
 * zuliDataError with info = i > 0: the QR algorithm failed to compute all the eigenvalues; no
 * eigenvector is computed, and wr, wi (w) hold in elements i + 1 ... n (and 1 ... ilo - 1 of the
 * balancing) the eigenvalues that converged, as LAPACK returns them. A matrix with a NaN cannot be
 * balanced: it is reduced unbalanced, and its eigenvalues are what the QR algorithm then gives.
 * Hessenberg reduction, the Q of it and the back-transformation of the eigenvectors (gemm) run on
 * the GPU; balancing (one copy of A down and up), the QR algorithm and the eigenvectors of T run
 * on the host. */
ZULI_API zuliStatus zuliSgeev(char jobvl, char jobvr, int n, float* a, int lda, float* wr,
                              float* wi, float* vl, int ldvl, float* vr, int ldvr);
ZULI_API zuliStatus zuliDeviceSgeev(char jobvl, char jobvr, int n, zuliDeviceFloat* a, int lda,
                                    zuliDeviceFloat* wr, zuliDeviceFloat* wi, zuliDeviceFloat* vl,
                                    int ldvl, zuliDeviceFloat* vr, int ldvr);
ZULI_API zuliStatus zuliDgeev(char jobvl, char jobvr, int n, double* a, int lda, double* wr,
                              double* wi, double* vl, int ldvl, double* vr, int ldvr);
ZULI_API zuliStatus zuliDeviceDgeev(char jobvl, char jobvr, int n, zuliDeviceDouble* a, int lda,
                                    zuliDeviceDouble* wr, zuliDeviceDouble* wi,
                                    zuliDeviceDouble* vl, int ldvl, zuliDeviceDouble* vr, int ldvr);
ZULI_API zuliStatus zuliCgeev(char jobvl, char jobvr, int n, zuliComplexFloat* a, int lda,
                              zuliComplexFloat* w, zuliComplexFloat* vl, int ldvl,
                              zuliComplexFloat* vr, int ldvr);
ZULI_API zuliStatus zuliDeviceCgeev(char jobvl, char jobvr, int n, zuliDeviceComplexFloat* a,
                                    int lda, zuliDeviceComplexFloat* w, zuliDeviceComplexFloat* vl,
                                    int ldvl, zuliDeviceComplexFloat* vr, int ldvr);
ZULI_API zuliStatus zuliZgeev(char jobvl, char jobvr, int n, zuliComplexDouble* a, int lda,
                              zuliComplexDouble* w, zuliComplexDouble* vl, int ldvl,
                              zuliComplexDouble* vr, int ldvr);
ZULI_API zuliStatus zuliDeviceZgeev(char jobvl, char jobvr, int n, zuliDeviceComplexDouble* a,
                                    int lda, zuliDeviceComplexDouble* w,
                                    zuliDeviceComplexDouble* vl, int ldvl,
                                    zuliDeviceComplexDouble* vr, int ldvr);

/* =============================================================================================
 * END nonsymmetric eigenproblems
 * ============================================================================================= */

/* =============================================================================================
 * BEGIN symmetric and Hermitian eigenproblems: sytrd / hetrd, orgtr / ungtr, ormtr / unmtr
 * ============================================================================================= */

/* ---- sytrd / hetrd: reduces the symmetric (Hermitian) n x n matrix A, given by its triangle
 * uplo, to real symmetric tridiagonal form T = Q^H A Q (LAPACK's sytrd / hetrd). T's diagonal goes
 * to d (n real elements) and its off-diagonal to e (n - 1 real elements); the triangle uplo of A
 * receives T's elements and the reflectors, tau their n - 1 scalars, as LAPACK stores them:
 * uplo 'U': Q = H(n-1) ... H(1), H(i) = I - tau(i) v v^H with v(i+1 : n) = (1, 0, ...) and
 * v(1 : i-1) above the superdiagonal in column i+1; uplo 'L': Q = H(1) ... H(n-1), v(1 : i) = (0,
 * ..., 0, 1) and v(i+2 : n) below the subdiagonal in column i. The other triangle is not
 * referenced (the host interface gives it back as it was). Matrices of order n <= 256 (S, D) or
 * n <= 192 (C, Z) are reduced by the host LAPACK; larger ones by the host (panels of the base block
 * size, from the first column for 'L' and the last for 'U') and the GPU (the products with the
 * rest of the matrix and its rank-2k update) together, the last block of at most that order by
 * the host LAPACK. T is then that of a matrix within rounding of A (A = Q T Q^H to rounding),
 * not LAPACK's elements bit for bit.
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

/* ---- syrdb / herdb: two-stage reduction of the symmetric (Hermitian) n x n matrix A, given by
 * its triangle uplo, to real symmetric tridiagonal form T = Q^H A Q, Q = Q1 Q2. Stage 1 takes A to
 * a band of kd subdiagonals (Q1: the panels below the band are QR-factored on the host, the
 * two-sided updates of the rest run on the GPU); stage 2 reduces the band to T with the host
 * LAPACK's band reduction (sbtrd / hbtrd, Q2).
 *   jobz     'N': T only; 'V': also Q into Z; 'U': Z (n x n) is replaced by Z Q.
 *   uplo     'U' or 'L': the triangle of A that holds the matrix.
 *   kd       the band width of stage 1 (>= 0); the reduction uses max(1, min(kd, n - 1)), so kd = 0
 *            reduces as kd = 1 and kd >= n - 1 leaves stage 1 nothing to do.
 *   A (lda)  the whole n x n array is overwritten: for uplo 'U' the matrix is first moved to the
 *            lower triangle (conjugate transposition in place); the lower triangle then holds the
 *            band and, below it, the n - kd reflectors of Q1 (reflector j in column j, its unit
 *            element in row j + kd, 0-based).
 *   d, e     T's diagonal (n reals) and off-diagonal (n - 1 reals).
 *   tau      the n - kd scalars of Q1's reflectors, then zeros (max(1, n - 1) elements).
 *   Z (ldz)  referenced for jobz 'V' and 'U' only.
 * T is not unique (nor equal to sytrd's): Q^H A Q = T holds to rounding and T has A's
 * eigenvalues.
 * Argument errors: jobz not 'N', 'V' or 'U' -1, uplo -2, n < 0 -3, kd < 0 -4, a null (n > 0) -5,
 * lda < max(1, n) -6, d null (n > 0) -7, e null (n > 1) -8, tau null (n > 1) -9; for jobz 'V' and
 * 'U' only: z null (n > 0) -10, ldz < max(1, n) -11. n = 0 then returns at once. */
ZULI_API zuliStatus zuliSsyrdb(char jobz, char uplo, int n, int kd, float* a, int lda, float* d,
                               float* e, float* tau, float* z, int ldz);
ZULI_API zuliStatus zuliDeviceSsyrdb(char jobz, char uplo, int n, int kd, zuliDeviceFloat* a,
                                     int lda, zuliDeviceFloat* d, zuliDeviceFloat* e,
                                     zuliDeviceFloat* tau, zuliDeviceFloat* z, int ldz);
ZULI_API zuliStatus zuliDsyrdb(char jobz, char uplo, int n, int kd, double* a, int lda, double* d,
                               double* e, double* tau, double* z, int ldz);
ZULI_API zuliStatus zuliDeviceDsyrdb(char jobz, char uplo, int n, int kd, zuliDeviceDouble* a,
                                     int lda, zuliDeviceDouble* d, zuliDeviceDouble* e,
                                     zuliDeviceDouble* tau, zuliDeviceDouble* z, int ldz);
ZULI_API zuliStatus zuliCherdb(char jobz, char uplo, int n, int kd, zuliComplexFloat* a, int lda,
                               float* d, float* e, zuliComplexFloat* tau, zuliComplexFloat* z,
                               int ldz);
ZULI_API zuliStatus zuliDeviceCherdb(char jobz, char uplo, int n, int kd, zuliDeviceComplexFloat* a,
                                     int lda, zuliDeviceFloat* d, zuliDeviceFloat* e,
                                     zuliDeviceComplexFloat* tau, zuliDeviceComplexFloat* z,
                                     int ldz);
ZULI_API zuliStatus zuliZherdb(char jobz, char uplo, int n, int kd, zuliComplexDouble* a, int lda,
                               double* d, double* e, zuliComplexDouble* tau, zuliComplexDouble* z,
                               int ldz);
ZULI_API zuliStatus zuliDeviceZherdb(char jobz, char uplo, int n, int kd,
                                     zuliDeviceComplexDouble* a, int lda, zuliDeviceDouble* d,
                                     zuliDeviceDouble* e, zuliDeviceComplexDouble* tau,
                                     zuliDeviceComplexDouble* z, int ldz);

/* ---- stebz (S, D): selected eigenvalues of the real symmetric tridiagonal matrix T with diagonal
 * d (n elements) and off-diagonal e (n - 1 elements) by bisection, with LAPACK's stebz results.
 *   range   'A': all eigenvalues; 'V': those in the half-open interval (vl, vu]; 'I': the il-th
 *           to the iu-th in ascending order (1 <= il <= iu <= n).
 *   order   'B': grouped by the blocks T splits into (block 1's ascending, then block 2's, ...);
 *           'E': ascending over the whole matrix.
 *   abstol  the absolute width to which each eigenvalue is bracketed; <= 0 means ulp |T|.
 *   m       (host pointer in both interfaces) the number of eigenvalues found.
 *   nsplit  (host pointer in both interfaces) the number of diagonal blocks T splits into (where
 *           e(j)^2 is negligible against |d(j) d(j+1)|).
 *   w       the m eigenvalues (n elements of room; for range 'I' the device interface may leave
 *           discarded candidates past m, as LAPACK does).
 *   iblock  iblock[i] = the block (1-based) of w[i]; negative for an eigenvalue that did not
 *           converge.
 *   isplit  isplit[j] = the last row (1-based) of block j + 1, for the nsplit blocks.
 * Argument errors: range not 'A', 'V' or 'I' -1, order not 'B' or 'E' -2, n < 0 -3, range 'V'
 * with vl >= vu -5, range 'I' with il < 1 or il > max(1, n) -6, range 'I' with iu < min(n, il)
 * or iu > n -7; then d null (n > 0) -9, e null (n > 1) -10, m null -11, nsplit null -12, w null
 * (n > 0) -13, iblock null (n > 0) -14, isplit null (n > 0) -15. n = 0 sets m and nsplit to 0.
 * zuliDataError with info (the results are returned as well): 1 some eigenvalues did not converge
 * (their iblock is negative), 2 range 'I' found fewer eigenvalues than asked for, 3 both, 4 range
 * 'I' could not bracket the il-th to iu-th eigenvalues (m = 0). The host interface gives back the
 * first m elements of w and iblock and the first nsplit of isplit.
 * Matrices of order n < 64 go to the host LAPACK; larger ones are bisected on the GPU, one thread
 * per eigenvalue, with LAPACK's splitting, counts and tolerances: m, nsplit, isplit, iblock and
 * info are LAPACK's wherever the Sturm counts decide them (not where rounding decides between
 * eigenvalues closer than the tolerance), each eigenvalue is within the bisection's tolerance of
 * LAPACK's, and equal eigenvalues of different blocks come in block order for order 'E'. */
ZULI_API zuliStatus zuliSstebz(char range, char order, int n, float vl, float vu, int il, int iu,
                               float abstol, const float* d, const float* e, int* m, int* nsplit,
                               float* w, int* iblock, int* isplit);
ZULI_API zuliStatus zuliDeviceSstebz(char range, char order, int n, float vl, float vu, int il,
                                     int iu, float abstol, const zuliDeviceFloat* d,
                                     const zuliDeviceFloat* e, int* m, int* nsplit,
                                     zuliDeviceFloat* w, zuliDeviceInt* iblock,
                                     zuliDeviceInt* isplit);
ZULI_API zuliStatus zuliDstebz(char range, char order, int n, double vl, double vu, int il, int iu,
                               double abstol, const double* d, const double* e, int* m, int* nsplit,
                               double* w, int* iblock, int* isplit);
ZULI_API zuliStatus zuliDeviceDstebz(char range, char order, int n, double vl, double vu, int il,
                                     int iu, double abstol, const zuliDeviceDouble* d,
                                     const zuliDeviceDouble* e, int* m, int* nsplit,
                                     zuliDeviceDouble* w, zuliDeviceInt* iblock,
                                     zuliDeviceInt* isplit);

/* ---- syev / heev: all eigenvalues and, optionally, the eigenvectors of the symmetric
 * (Hermitian) n x n matrix A, given by its triangle uplo.
 *   jobz     'N': eigenvalues only, through syrdb (band width min(n, 32)) and bisection (stebz);
 *            A is destroyed. 'V': also the eigenvectors, through sytrd, orgtr and steqr; A then
 *            holds the orthonormal eigenvectors, column j belonging to w[j]. For 'V', uplo 'U'
 *            and 'L' give bit-identical results for the same matrix.
 *   w        the n eigenvalues in ascending order (real).
 * The matrix is not scaled by its norm before the reduction.
 * Argument errors: jobz not 'V' or 'N' -1, uplo not 'U' or 'L' -2, n < 0 -3, a null (n > 0) -4,
 * lda < max(1, n) -5 (also for n = 0), w null (n > 0) -6; n = 0 then returns at once.
 * zuliDataError with info > 0: the QL/QR iteration (jobz 'V') or bisection (jobz 'N') failed to
 * converge, with that routine's info. */
ZULI_API zuliStatus zuliSsyev(char jobz, char uplo, int n, float* a, int lda, float* w);
ZULI_API zuliStatus zuliDeviceSsyev(char jobz, char uplo, int n, zuliDeviceFloat* a, int lda,
                                    zuliDeviceFloat* w);
ZULI_API zuliStatus zuliDsyev(char jobz, char uplo, int n, double* a, int lda, double* w);
ZULI_API zuliStatus zuliDeviceDsyev(char jobz, char uplo, int n, zuliDeviceDouble* a, int lda,
                                    zuliDeviceDouble* w);
ZULI_API zuliStatus zuliCheev(char jobz, char uplo, int n, zuliComplexFloat* a, int lda, float* w);
ZULI_API zuliStatus zuliDeviceCheev(char jobz, char uplo, int n, zuliDeviceComplexFloat* a, int lda,
                                    zuliDeviceFloat* w);
ZULI_API zuliStatus zuliZheev(char jobz, char uplo, int n, zuliComplexDouble* a, int lda,
                              double* w);
ZULI_API zuliStatus zuliDeviceZheev(char jobz, char uplo, int n, zuliDeviceComplexDouble* a,
                                    int lda, zuliDeviceDouble* w);
/* ---- syevx / heevx: selected eigenvalues and, optionally, eigenvectors of the symmetric
 * (Hermitian) n x n matrix A given by its triangle uplo, as LAPACK's syevx / heevx computes them:
 * A = Q T Q^H by sytrd / hetrd, all eigenvalues (range 'A', or 'I' with il = 1 and iu = n, and
 * abstol <= 0) by the QL/QR iteration, the others by bisection (stebz) and their vectors by
 * inverse iteration on T, transformed by Q on the GPU.
 *   jobz     'N': eigenvalues only; 'V': also the eigenvectors.
 *   range    'A': all; 'V': those in (vl, vu]; 'I': the il-th to the iu-th (ascending).
 *   A (lda)  the triangle uplo is destroyed (it holds the reduction); the other is not touched.
 *   abstol   the absolute tolerance of the bisection (<= 0: ulp |T|).
 *   m        (host pointer in both interfaces) the number of eigenvalues found.
 *   w        the m eigenvalues in ascending order (n reals of room).
 *   Z (ldz)  jobz 'V': the m orthonormal eigenvectors, column j belonging to w[j] (room for m
 *            columns: n for range 'V', iu - il + 1 for 'I'); not referenced for jobz 'N'.
 *   ifail    jobz 'V': 0 in the first m elements, or the indices of the vectors that failed to
 *            converge (info > 0); not referenced for jobz 'N'.
 * Argument errors: jobz -1, range -2, uplo -3, n < 0 -4, lda < max(1, n) -6, range 'V' with n > 0
 * and vu <= vl -8, range 'I' with il < 1 or il > max(1, n) -9, range 'I' with iu < min(n, il) or
 * iu > n -10, ldz < 1 or (jobz 'V' and ldz < n) -15; then a null (n > 0) -5, m null -12, w null
 * (n > 0) -13, and for jobz 'V' with n > 0: z null -14, ifail null -16. n = 0 sets m to 0.
 * zuliDataError with info (m, w, Z and ifail are returned as well): jobz 'V': the number of
 * eigenvectors that failed to converge (ifail names them); jobz 'N': the bisection's info (see
 * stebz). The host interface gives back the first m elements of w and ifail and columns of Z.
 * A is not scaled when its elements are near the underflow or overflow threshold (LAPACK's
 * syevx scales it). */
ZULI_API zuliStatus zuliSsyevx(char jobz, char range, char uplo, int n, float* a, int lda, float vl,
                               float vu, int il, int iu, float abstol, int* m, float* w, float* z,
                               int ldz, int* ifail);
ZULI_API zuliStatus zuliDeviceSsyevx(char jobz, char range, char uplo, int n, zuliDeviceFloat* a,
                                     int lda, float vl, float vu, int il, int iu, float abstol,
                                     int* m, zuliDeviceFloat* w, zuliDeviceFloat* z, int ldz,
                                     zuliDeviceInt* ifail);
ZULI_API zuliStatus zuliDsyevx(char jobz, char range, char uplo, int n, double* a, int lda,
                               double vl, double vu, int il, int iu, double abstol, int* m,
                               double* w, double* z, int ldz, int* ifail);
ZULI_API zuliStatus zuliDeviceDsyevx(char jobz, char range, char uplo, int n, zuliDeviceDouble* a,
                                     int lda, double vl, double vu, int il, int iu, double abstol,
                                     int* m, zuliDeviceDouble* w, zuliDeviceDouble* z, int ldz,
                                     zuliDeviceInt* ifail);
ZULI_API zuliStatus zuliCheevx(char jobz, char range, char uplo, int n, zuliComplexFloat* a,
                               int lda, float vl, float vu, int il, int iu, float abstol, int* m,
                               float* w, zuliComplexFloat* z, int ldz, int* ifail);
ZULI_API zuliStatus zuliDeviceCheevx(char jobz, char range, char uplo, int n,
                                     zuliDeviceComplexFloat* a, int lda, float vl, float vu, int il,
                                     int iu, float abstol, int* m, zuliDeviceFloat* w,
                                     zuliDeviceComplexFloat* z, int ldz, zuliDeviceInt* ifail);
ZULI_API zuliStatus zuliZheevx(char jobz, char range, char uplo, int n, zuliComplexDouble* a,
                               int lda, double vl, double vu, int il, int iu, double abstol, int* m,
                               double* w, zuliComplexDouble* z, int ldz, int* ifail);
ZULI_API zuliStatus zuliDeviceZheevx(char jobz, char range, char uplo, int n,
                                     zuliDeviceComplexDouble* a, int lda, double vl, double vu,
                                     int il, int iu, double abstol, int* m, zuliDeviceDouble* w,
                                     zuliDeviceComplexDouble* z, int ldz, zuliDeviceInt* ifail);

/* =============================================================================================
 * END symmetric and Hermitian eigenproblems
 * ============================================================================================= */

/* =============================================================================================
 * BEGIN the tridiagonal QL / QR iteration: steqr
 * ============================================================================================= */

/* ---- steqr: the eigenvalues of the real symmetric n x n tridiagonal matrix T (diagonal d,
 * off-diagonal e) by LAPACK's implicit QL / QR iteration, into d in ascending order; compz 'N'
 * values only, 'I' Z (n x n) receives the eigenvectors of T, 'V' Z, holding on entry the Q of a
 * reduction A = Q T Q^H (orgtr / ungtr), is multiplied by them and receives those of A. The
 * values and vectors are those of LAPACK's steqr. d and e are real (device arrays in the device
 * interface); e is overwritten. The iteration runs on the host, its rotations are applied to Z
 * on the GPU; for compz 'N' the host LAPACK computes the values.
 * Argument errors: compz not 'N'/'V'/'I' -1, n < 0 -2, ldz < 1 or (compz not 'N' and ldz <
 * max(1, n)) -6; n = 0 returns at once (null pointers accepted); d null -3, e null -4 (accepted
 * when n = 1), z null -5 (compz 'V' or 'I').
 * zuliDataError with info i > 0: no convergence after 30 n sweeps; i elements of e are not zero,
 * d and e hold a tridiagonal orthogonally similar to T (values unsorted), Z the rotations so far. */
ZULI_API zuliStatus zuliSsteqr(char compz, int n, float* d, float* e, float* z, int ldz);
ZULI_API zuliStatus zuliDeviceSsteqr(char compz, int n, zuliDeviceFloat* d, zuliDeviceFloat* e,
                                     zuliDeviceFloat* z, int ldz);
ZULI_API zuliStatus zuliDsteqr(char compz, int n, double* d, double* e, double* z, int ldz);
ZULI_API zuliStatus zuliDeviceDsteqr(char compz, int n, zuliDeviceDouble* d, zuliDeviceDouble* e,
                                     zuliDeviceDouble* z, int ldz);
ZULI_API zuliStatus zuliCsteqr(char compz, int n, float* d, float* e, zuliComplexFloat* z, int ldz);
ZULI_API zuliStatus zuliDeviceCsteqr(char compz, int n, zuliDeviceFloat* d, zuliDeviceFloat* e,
                                     zuliDeviceComplexFloat* z, int ldz);
ZULI_API zuliStatus zuliZsteqr(char compz, int n, double* d, double* e, zuliComplexDouble* z,
                               int ldz);
ZULI_API zuliStatus zuliDeviceZsteqr(char compz, int n, zuliDeviceDouble* d, zuliDeviceDouble* e,
                                     zuliDeviceComplexDouble* z, int ldz);

/* =============================================================================================
 * END the tridiagonal QL / QR iteration
 * ============================================================================================= */

/* =============================================================================================
 * BEGIN generalized symmetric-definite eigenproblem: sygv / hegv
 * ============================================================================================= */

/* ---- sygv / hegv: all eigenvalues and, optionally, the eigenvectors of the generalized problem
 *   itype 1   A x = lambda B x,   itype 2   A B x = lambda x,   itype 3   B A x = lambda x
 * with A (n x n) symmetric (Hermitian) and B (n x n) symmetric (Hermitian) positive definite, as
 * LAPACK's sygv / hegv computes them: B is factored (Cholesky: B = U^H U or L L^H), the problem is
 * reduced to the standard one C y = lambda y (C = U^-H A U^-1, L^-1 A L^-H for itype 1;
 * U A U^H, L^H A L for 2 and 3), C's eigenvalues and vectors are computed as syev / heev
 * computes them, and the vectors are transformed back (x = U^-1 y or L^-H y for itype 1 and 2,
 * x = U^H y or L y for 3).
 *   itype   1, 2 or 3: the problem form above.
 *   jobz    'N': eigenvalues only; 'V': eigenvalues and eigenvectors.
 *   uplo    'U': the upper triangles of A and B are given (and referenced); 'L': the lower ones.
 *   A (lda) jobz 'V': the eigenvectors X, column j belonging to w[j], normalised as LAPACK does:
 *           X^H B X = I for itype 1 and 2, X^H B^-1 X = I for itype 3. jobz 'N': A is
 *           destroyed.
 *   B (ldb) the Cholesky factor U or L in the triangle uplo.
 *   w       the n eigenvalues in ascending order (real for every precision).
 * Argument errors (all checked before n = 0 returns, so null pointers are rejected even then):
 * itype not 1, 2 or 3 -1, jobz not 'N' or 'V' -2, uplo not 'U' or 'L' -3, n < 0 -4, a null -5,
 * lda < max(1, n) -6, b null -7, ldb < max(1, n) -8, w null -9.
 * zuliDataError with info:
 *   n + i   (i = 1 ... n) the leading minor of order i of B is not positive definite; B holds the
 *           partial factor, A and w are not touched;
 *   i <= n  the eigensolver failed to converge (its info); for jobz 'V' the first i - 1 columns of
 *           A hold back-transformed vectors.
 * Everything of order n^3 runs on the GPU: the factorization of B, the reduction (blocks of 64
 * columns on devices of compute capability 1.0 to 1.3, 128 on later ones; each diagonal block is
 * reduced on the host, a problem of at most one block entirely there), the eigensolver and the
 * back-transformation. */
ZULI_API zuliStatus zuliSsygv(int itype, char jobz, char uplo, int n, float* a, int lda, float* b,
                              int ldb, float* w);
ZULI_API zuliStatus zuliDeviceSsygv(int itype, char jobz, char uplo, int n, zuliDeviceFloat* a,
                                    int lda, zuliDeviceFloat* b, int ldb, zuliDeviceFloat* w);
ZULI_API zuliStatus zuliDsygv(int itype, char jobz, char uplo, int n, double* a, int lda, double* b,
                              int ldb, double* w);
ZULI_API zuliStatus zuliDeviceDsygv(int itype, char jobz, char uplo, int n, zuliDeviceDouble* a,
                                    int lda, zuliDeviceDouble* b, int ldb, zuliDeviceDouble* w);
ZULI_API zuliStatus zuliChegv(int itype, char jobz, char uplo, int n, zuliComplexFloat* a, int lda,
                              zuliComplexFloat* b, int ldb, float* w);
ZULI_API zuliStatus zuliDeviceChegv(int itype, char jobz, char uplo, int n,
                                    zuliDeviceComplexFloat* a, int lda, zuliDeviceComplexFloat* b,
                                    int ldb, zuliDeviceFloat* w);
ZULI_API zuliStatus zuliZhegv(int itype, char jobz, char uplo, int n, zuliComplexDouble* a, int lda,
                              zuliComplexDouble* b, int ldb, double* w);
ZULI_API zuliStatus zuliDeviceZhegv(int itype, char jobz, char uplo, int n,
                                    zuliDeviceComplexDouble* a, int lda, zuliDeviceComplexDouble* b,
                                    int ldb, zuliDeviceDouble* w);

/* =============================================================================================
 * END generalized symmetric-definite eigenproblem
 * ============================================================================================= */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_EIGEN_H */
