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

/* =============================================================================================
 * Generating and applying Q: orgqr / ungqr, ormqr / unmqr and their LQ, QL and RQ kin
 * ============================================================================================= */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_ORTHOGONAL_H */
