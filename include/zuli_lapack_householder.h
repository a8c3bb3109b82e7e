/* zuli_lapack_householder.h - part of zuli_lapack.h; include that header instead.
 *
 * Householder reflectors and plane rotations, as LAPACK's routines of the same names define them.
 * Each exists as a host routine zuliXname (arrays in host memory) and a device routine
 * zuliDeviceXname (arrays in device memory, which stay there); both check their arguments in the
 * order given and return zuliArgumentError with info -k for the first bad argument k (counted
 * without the precision letter). Letters are accepted in either case. */
#ifndef ZULI_LAPACK_HOUSEHOLDER_H
#define ZULI_LAPACK_HOUSEHOLDER_H
#ifndef ZULI_LAPACK_H
#error "include zuli_lapack.h"
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- larfg: generates an elementary reflector ---------------------------------------------
 * H = I - tau v v^H of order n with H^H (alpha; x) = (beta; 0), v = (1; x'), as LAPACK's larfg:
 * beta is real, alpha becomes beta, x (the n - 1 elements x[k incx], k < n - 1) becomes x' and
 * tau is written; all three stay where they are (device memory for zuliDevice*larfg). tau = 0
 * (H = I) when x is zero and alpha is real; in particular n = 1 gives tau = 0 for a real alpha,
 * while a complex alpha with a non-zero imaginary part still gets the reflector that makes beta
 * real, as in LAPACK. x holds no element for n = 1: it is then not used and may be null.
 * incx = 0 is accepted and leaves x out, as the BLAS norm and scaling that LAPACK's larfg calls
 * do: x then counts as zero and is neither read nor written. A tiny beta is computed on
 * rescaled data as LAPACK does, so that v and tau stay accurate.
 * Argument errors, in this order: n < 0 -1, tau null -5 (also for n = 0); n = 0 returns at
 * once without writing anything, tau included; alpha null -2, x null while n > 1 -3,
 * incx < 0 -4. */
ZULI_API zuliStatus zuliSlarfg(int n, float* alpha, float* x, int incx, float* tau);
ZULI_API zuliStatus zuliDeviceSlarfg(int n, zuliDeviceFloat* alpha, zuliDeviceFloat* x, int incx,
                                     zuliDeviceFloat* tau);
ZULI_API zuliStatus zuliDlarfg(int n, double* alpha, double* x, int incx, double* tau);
ZULI_API zuliStatus zuliDeviceDlarfg(int n, zuliDeviceDouble* alpha, zuliDeviceDouble* x, int incx,
                                     zuliDeviceDouble* tau);
ZULI_API zuliStatus zuliClarfg(int n, zuliComplexFloat* alpha, zuliComplexFloat* x, int incx,
                               zuliComplexFloat* tau);
ZULI_API zuliStatus zuliDeviceClarfg(int n, zuliDeviceComplexFloat* alpha,
                                     zuliDeviceComplexFloat* x, int incx,
                                     zuliDeviceComplexFloat* tau);
ZULI_API zuliStatus zuliZlarfg(int n, zuliComplexDouble* alpha, zuliComplexDouble* x, int incx,
                               zuliComplexDouble* tau);
ZULI_API zuliStatus zuliDeviceZlarfg(int n, zuliDeviceComplexDouble* alpha,
                                     zuliDeviceComplexDouble* x, int incx,
                                     zuliDeviceComplexDouble* tau);

/* ---- larfb: applies a block reflector ------------------------------------------------------
 * C = op(H) C (side 'L') or C op(H) (side 'R') for H = I - V T V^H (storev 'C': the k reflectors
 * are the columns of V) or H = I - V^H T V (storev 'R': the rows of V); op(H) is H for trans 'N'
 * and H^H for 'T' or 'C' (both letters mean the conjugate transpose, also for C and Z). direct
 * 'F': H = H(1) ... H(k), T upper triangular; 'B': H = H(k) ... H(1), T lower triangular. V is
 * read in place as LAPACK stores it: its k x k block that meets the first (direct 'F') or last
 * ('B') k rows of C (side 'L') or columns ('R') is unit triangular, and its other triangle (where
 * a factorization keeps R or L) is neither read nor written. V is nq x k (storev 'C') or k x nq
 * ('R'), nq = m for side 'L' and n for 'R'; T is k x k; C is m x n.
 * Argument errors: side not L/R -1, trans not N/T/C -2, direct not F/B -3, storev not C/R -4,
 * m < 0 -5, n < 0 -6, k < 0 or k > nq -7; m, n or k = 0 returns at once; V null -8, ldv < the
 * rows of V (nq for storev 'C', k for 'R'; at least 1) -9, T null -10, ldt < k -11, C null -12,
 * ldc < max(1, m) -13. */
ZULI_API zuliStatus zuliSlarfb(char side, char trans, char direct, char storev, int m, int n, int k,
                               const float* v, int ldv, const float* t, int ldt, float* c, int ldc);
ZULI_API zuliStatus zuliDeviceSlarfb(char side, char trans, char direct, char storev, int m, int n,
                                     int k, const zuliDeviceFloat* v, int ldv,
                                     const zuliDeviceFloat* t, int ldt, zuliDeviceFloat* c,
                                     int ldc);
ZULI_API zuliStatus zuliDlarfb(char side, char trans, char direct, char storev, int m, int n, int k,
                               const double* v, int ldv, const double* t, int ldt, double* c,
                               int ldc);
ZULI_API zuliStatus zuliDeviceDlarfb(char side, char trans, char direct, char storev, int m, int n,
                                     int k, const zuliDeviceDouble* v, int ldv,
                                     const zuliDeviceDouble* t, int ldt, zuliDeviceDouble* c,
                                     int ldc);
ZULI_API zuliStatus zuliClarfb(char side, char trans, char direct, char storev, int m, int n, int k,
                               const zuliComplexFloat* v, int ldv, const zuliComplexFloat* t,
                               int ldt, zuliComplexFloat* c, int ldc);
ZULI_API zuliStatus zuliDeviceClarfb(char side, char trans, char direct, char storev, int m, int n,
                                     int k, const zuliDeviceComplexFloat* v, int ldv,
                                     const zuliDeviceComplexFloat* t, int ldt,
                                     zuliDeviceComplexFloat* c, int ldc);
ZULI_API zuliStatus zuliZlarfb(char side, char trans, char direct, char storev, int m, int n, int k,
                               const zuliComplexDouble* v, int ldv, const zuliComplexDouble* t,
                               int ldt, zuliComplexDouble* c, int ldc);
ZULI_API zuliStatus zuliDeviceZlarfb(char side, char trans, char direct, char storev, int m, int n,
                                     int k, const zuliDeviceComplexDouble* v, int ldv,
                                     const zuliDeviceComplexDouble* t, int ldt,
                                     zuliDeviceComplexDouble* c, int ldc);

/* ---- lasr: applies a sequence of plane rotations to a matrix -------------------------------
 * A = P A (side 'L') or A P^T (side 'R') for the m x n matrix A, P = P(z-1) ... P(1) (direct
 * 'F') or P(1) ... P(z-1) ('B'), z = m for side 'L' and n for 'R', as LAPACK's lasr. With pivot
 * 'V' rotation k, (c(k), s(k); -s(k), c(k)), acts on rows (side 'L') or columns ('R') k and
 * k + 1; rotations with c = 1 and s = 0 are skipped. Pivots 'T' and 'B' are accepted and change
 * nothing. c and s (z - 1 elements each) are real, also for C and Z.
 * Argument errors, in this order: side not L/R -1, pivot not V/T/B -2, direct not F/B -3; when
 * m or n is 0 or 1 nothing more is checked, and the rotations are still applied when there are
 * any (side 'L' with n = 1 and m > 1, side 'R' with m = 1 and n > 1; the single column's lda
 * plays no part), while side 'L' with m = 1 and side 'R' with n = 1 leave even a null A alone;
 * m < 0 -4, n < 0 -5, c null -6, s null -7, A null -8, lda < max(1, m) -9. */
ZULI_API zuliStatus zuliSlasr(char side, char pivot, char direct, int m, int n, const float* c,
                              const float* s, float* a, int lda);
ZULI_API zuliStatus zuliDeviceSlasr(char side, char pivot, char direct, int m, int n,
                                    const zuliDeviceFloat* c, const zuliDeviceFloat* s,
                                    zuliDeviceFloat* a, int lda);
ZULI_API zuliStatus zuliDlasr(char side, char pivot, char direct, int m, int n, const double* c,
                              const double* s, double* a, int lda);
ZULI_API zuliStatus zuliDeviceDlasr(char side, char pivot, char direct, int m, int n,
                                    const zuliDeviceDouble* c, const zuliDeviceDouble* s,
                                    zuliDeviceDouble* a, int lda);
ZULI_API zuliStatus zuliClasr(char side, char pivot, char direct, int m, int n, const float* c,
                              const float* s, zuliComplexFloat* a, int lda);
ZULI_API zuliStatus zuliDeviceClasr(char side, char pivot, char direct, int m, int n,
                                    const zuliDeviceFloat* c, const zuliDeviceFloat* s,
                                    zuliDeviceComplexFloat* a, int lda);
ZULI_API zuliStatus zuliZlasr(char side, char pivot, char direct, int m, int n, const double* c,
                              const double* s, zuliComplexDouble* a, int lda);
ZULI_API zuliStatus zuliDeviceZlasr(char side, char pivot, char direct, int m, int n,
                                    const zuliDeviceDouble* c, const zuliDeviceDouble* s,
                                    zuliDeviceComplexDouble* a, int lda);

/* ---- lar2v: applies rotations to 2 x 2 symmetric or Hermitian matrices ---------------------
 * For i = 0 ... n - 1, with x = x(i incx), y, z likewise and c = c(i incc), s = s(i incc):
 * (x, z; conj(z), y) = (c, conj(s); -s, c) (x, z; conj(z), y) (c, -conj(s); s, c), as LAPACK's
 * lar2v. c is real; for C and Z, s and z are complex and x and y hold real values (their
 * imaginary parts are not read and are set to zero).
 * Argument errors, in this order (the pointer tests apply for n = 0 too): n < 0 -1, x null -2,
 * y null -3, z null -4, incx < 1 -5, c null -6, s null -7, incc < 1 -8. */
ZULI_API zuliStatus zuliSlar2v(int n, float* x, float* y, float* z, int incx, const float* c,
                               const float* s, int incc);
ZULI_API zuliStatus zuliDeviceSlar2v(int n, zuliDeviceFloat* x, zuliDeviceFloat* y,
                                     zuliDeviceFloat* z, int incx, const zuliDeviceFloat* c,
                                     const zuliDeviceFloat* s, int incc);
ZULI_API zuliStatus zuliDlar2v(int n, double* x, double* y, double* z, int incx, const double* c,
                               const double* s, int incc);
ZULI_API zuliStatus zuliDeviceDlar2v(int n, zuliDeviceDouble* x, zuliDeviceDouble* y,
                                     zuliDeviceDouble* z, int incx, const zuliDeviceDouble* c,
                                     const zuliDeviceDouble* s, int incc);
ZULI_API zuliStatus zuliClar2v(int n, zuliComplexFloat* x, zuliComplexFloat* y, zuliComplexFloat* z,
                               int incx, const float* c, const zuliComplexFloat* s, int incc);
ZULI_API zuliStatus zuliDeviceClar2v(int n, zuliDeviceComplexFloat* x, zuliDeviceComplexFloat* y,
                                     zuliDeviceComplexFloat* z, int incx, const zuliDeviceFloat* c,
                                     const zuliDeviceComplexFloat* s, int incc);
ZULI_API zuliStatus zuliZlar2v(int n, zuliComplexDouble* x, zuliComplexDouble* y,
                               zuliComplexDouble* z, int incx, const double* c,
                               const zuliComplexDouble* s, int incc);
ZULI_API zuliStatus zuliDeviceZlar2v(int n, zuliDeviceComplexDouble* x, zuliDeviceComplexDouble* y,
                                     zuliDeviceComplexDouble* z, int incx,
                                     const zuliDeviceDouble* c, const zuliDeviceComplexDouble* s,
                                     int incc);

/* ---- largv: generates plane rotations -------------------------------------------------------
 * For i = 0 ... n - 1, with f = x(i incx), g = y(i incy): the rotation (c, s; -conj(s), c) with
 * (c, s; -conj(s), c) (f; g) = (r; 0), as LAPACK's largv; x(i incx) becomes r, y(i incy) the
 * sine s and c(i incc) the (real) cosine. Real types: r takes the sign of whichever of f and g is
 * larger in magnitude (r = f for g = 0, r = g for f = 0). Complex types: c >= 0 and r has the
 * phase of f (for f = 0: c = 0, r = |g|), f and g being scaled internally so that no
 * intermediate result over- or underflows needlessly.
 * Argument errors, in this order (also for n = 0): n < 0 -1, x null -2, incx < 1 -3, y null -4,
 * incy < 1 -5, c null -6, incc < 1 -7. */
ZULI_API zuliStatus zuliSlargv(int n, float* x, int incx, float* y, int incy, float* c, int incc);
ZULI_API zuliStatus zuliDeviceSlargv(int n, zuliDeviceFloat* x, int incx, zuliDeviceFloat* y,
                                     int incy, zuliDeviceFloat* c, int incc);
ZULI_API zuliStatus zuliDlargv(int n, double* x, int incx, double* y, int incy, double* c,
                               int incc);
ZULI_API zuliStatus zuliDeviceDlargv(int n, zuliDeviceDouble* x, int incx, zuliDeviceDouble* y,
                                     int incy, zuliDeviceDouble* c, int incc);
ZULI_API zuliStatus zuliClargv(int n, zuliComplexFloat* x, int incx, zuliComplexFloat* y, int incy,
                               float* c, int incc);
ZULI_API zuliStatus zuliDeviceClargv(int n, zuliDeviceComplexFloat* x, int incx,
                                     zuliDeviceComplexFloat* y, int incy, zuliDeviceFloat* c,
                                     int incc);
ZULI_API zuliStatus zuliZlargv(int n, zuliComplexDouble* x, int incx, zuliComplexDouble* y,
                               int incy, double* c, int incc);
ZULI_API zuliStatus zuliDeviceZlargv(int n, zuliDeviceComplexDouble* x, int incx,
                                     zuliDeviceComplexDouble* y, int incy, zuliDeviceDouble* c,
                                     int incc);

/* ---- lartv: applies plane rotations to pairs of vectors -------------------------------------
 * For i = 0 ... n - 1, with x = x(i incx), y = y(i incy), c = c(i incc) (real) and s = s(i incc):
 * (x; y) = (c x + s y; c y - conj(s) x), as LAPACK's lartv.
 * Argument errors, in this order (also for n = 0): n < 0 -1, x null -2, incx < 1 -3, y null -4,
 * incy < 1 -5, c null -6, s null -7, incc < 1 -8. */
ZULI_API zuliStatus zuliSlartv(int n, float* x, int incx, float* y, int incy, const float* c,
                               const float* s, int incc);
ZULI_API zuliStatus zuliDeviceSlartv(int n, zuliDeviceFloat* x, int incx, zuliDeviceFloat* y,
                                     int incy, const zuliDeviceFloat* c, const zuliDeviceFloat* s,
                                     int incc);
ZULI_API zuliStatus zuliDlartv(int n, double* x, int incx, double* y, int incy, const double* c,
                               const double* s, int incc);
ZULI_API zuliStatus zuliDeviceDlartv(int n, zuliDeviceDouble* x, int incx, zuliDeviceDouble* y,
                                     int incy, const zuliDeviceDouble* c, const zuliDeviceDouble* s,
                                     int incc);
ZULI_API zuliStatus zuliClartv(int n, zuliComplexFloat* x, int incx, zuliComplexFloat* y, int incy,
                               const float* c, const zuliComplexFloat* s, int incc);
ZULI_API zuliStatus zuliDeviceClartv(int n, zuliDeviceComplexFloat* x, int incx,
                                     zuliDeviceComplexFloat* y, int incy, const zuliDeviceFloat* c,
                                     const zuliDeviceComplexFloat* s, int incc);
ZULI_API zuliStatus zuliZlartv(int n, zuliComplexDouble* x, int incx, zuliComplexDouble* y,
                               int incy, const double* c, const zuliComplexDouble* s, int incc);
ZULI_API zuliStatus zuliDeviceZlartv(int n, zuliDeviceComplexDouble* x, int incx,
                                     zuliDeviceComplexDouble* y, int incy,
                                     const zuliDeviceDouble* c, const zuliDeviceComplexDouble* s,
                                     int incc);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_HOUSEHOLDER_H */
