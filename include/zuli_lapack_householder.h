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

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_HOUSEHOLDER_H */
