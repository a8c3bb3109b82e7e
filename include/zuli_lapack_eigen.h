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
 * host, its products with the rest of the matrix and the updates of the rest on the GPU; the last
 * 128 columns of the active block, and a whole block of at most 129, are reduced on the host. */
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

/* =============================================================================================
 * END nonsymmetric eigenproblems
 * ============================================================================================= */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_EIGEN_H */
