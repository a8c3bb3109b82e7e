/* zuli_lapack_auxiliary.h - part of zuli_lapack.h; include that header instead. */
#ifndef ZULI_LAPACK_AUXILIARY_H
#define ZULI_LAPACK_AUXILIARY_H
#ifndef ZULI_LAPACK_H
#error "include zuli_lapack.h"
#endif

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_AUXILIARY_H */
