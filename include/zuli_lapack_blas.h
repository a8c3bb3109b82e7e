/* zuli_lapack_blas.h - part of zuli_lapack.h; include that header instead. */
#ifndef ZULI_LAPACK_BLAS_H
#define ZULI_LAPACK_BLAS_H
#ifndef ZULI_LAPACK_H
#error "include zuli_lapack.h"
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* =============================================================================================
 * Level-2 and level-3 BLAS
 *
 * Each operation comes as zuliXop (matrices and vectors in host memory) and zuliDeviceXop (in GPU
 * memory); both compute with one cuBLAS call on the calling thread's handle.
 *
 * Option characters: trans 'N', 'T', 'C'; uplo 'U', 'L'; side 'L', 'R'; diag 'N', 'U'.
 *
 * Host interface: options are accepted in either case; the arguments are checked in the order
 * given with each routine (an error returns zuliArgumentError and zuliGetErrorInfo() gives minus
 * the position of the argument). Leading dimensions are compared with the row count only, so a
 * leading dimension of 0 is accepted for a matrix without rows, and null pointers are accepted
 * for an empty problem. The arrays are copied to the device, the written one is copied back:
 * on failure (other than an argument error) the host arrays are left unchanged. A cuBLAS failure
 * returns zuliBlasError with the cuBLAS status as info.
 *
 * Device interface: no argument is checked; every option character other than the ones above
 * selects the default ('N', 'L' for uplo, 'L' for side, 'N' for diag) and the arguments go to
 * cuBLAS as they are. The status cuBLAS returns is not examined: only a CUDA error pending after
 * the call is reported (zuliRuntimeError).
 *
 * Vectors with increment inc < 0 are traversed backwards, as in BLAS: the pointer is the lowest
 * address, which holds the last element.
 * ============================================================================================= */

/* ---- gemm --------------------------------------------------------------------------------------
 * C = alpha * op(A) * op(B) + beta * C, C m x n, op(A) m x k, op(B) k x n; op(X) is X ('N'),
 * X^T ('T') or X^H ('C').
 * Argument errors (host): transa -1, transb -2, m -3, n -4, k -5, lda < (transa N ? m : k) -8,
 * ldb < (transb N ? k : n) -10, ldc < m -13; when m, n or k is 0 no pointer is checked; a -7,
 * b -9, c -12. With beta == 0, C is not read (it is not copied to the device). */
ZULI_API zuliStatus zuliSgemm(char transa, char transb, int m, int n, int k, float alpha,
                              const float *a, int lda, const float *b, int ldb, float beta,
                              float *c, int ldc);
ZULI_API zuliStatus zuliDeviceSgemm(char transa, char transb, int m, int n, int k, float alpha,
                                    const zuliDeviceFloat *a, int lda, const zuliDeviceFloat *b,
                                    int ldb, float beta, zuliDeviceFloat *c, int ldc);
ZULI_API zuliStatus zuliDgemm(char transa, char transb, int m, int n, int k, double alpha,
                              const double *a, int lda, const double *b, int ldb, double beta,
                              double *c, int ldc);
ZULI_API zuliStatus zuliDeviceDgemm(char transa, char transb, int m, int n, int k, double alpha,
                                    const zuliDeviceDouble *a, int lda, const zuliDeviceDouble *b,
                                    int ldb, double beta, zuliDeviceDouble *c, int ldc);
ZULI_API zuliStatus zuliCgemm(char transa, char transb, int m, int n, int k, zuliComplexFloat alpha,
                              const zuliComplexFloat *a, int lda, const zuliComplexFloat *b,
                              int ldb, zuliComplexFloat beta, zuliComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliDeviceCgemm(char transa, char transb, int m, int n, int k,
                                    zuliComplexFloat alpha, const zuliDeviceComplexFloat *a,
                                    int lda, const zuliDeviceComplexFloat *b, int ldb,
                                    zuliComplexFloat beta, zuliDeviceComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliZgemm(char transa, char transb, int m, int n, int k,
                              zuliComplexDouble alpha, const zuliComplexDouble *a, int lda,
                              const zuliComplexDouble *b, int ldb, zuliComplexDouble beta,
                              zuliComplexDouble *c, int ldc);
ZULI_API zuliStatus zuliDeviceZgemm(char transa, char transb, int m, int n, int k,
                                    zuliComplexDouble alpha, const zuliDeviceComplexDouble *a,
                                    int lda, const zuliDeviceComplexDouble *b, int ldb,
                                    zuliComplexDouble beta, zuliDeviceComplexDouble *c, int ldc);

/* ---- gemv --------------------------------------------------------------------------------------
 * y = alpha * op(A) * x + beta * y, A m x n; x and y have increments incx and incy (negative:
 * traversed backwards, as in BLAS).
 * Argument errors (host): trans -1, m -2, n -3, lda < m -6, incx 0 -8, incy 0 -11; when m or n is 0
 * nothing else is checked; a -5, x -7, y -10. With beta == 0, y is not read. */
ZULI_API zuliStatus zuliSgemv(char trans, int m, int n, float alpha, const float *a, int lda,
                              const float *x, int incx, float beta, float *y, int incy);
ZULI_API zuliStatus zuliDeviceSgemv(char trans, int m, int n, float alpha, const zuliDeviceFloat *a,
                                    int lda, const zuliDeviceFloat *x, int incx, float beta,
                                    zuliDeviceFloat *y, int incy);
ZULI_API zuliStatus zuliDgemv(char trans, int m, int n, double alpha, const double *a, int lda,
                              const double *x, int incx, double beta, double *y, int incy);
ZULI_API zuliStatus zuliDeviceDgemv(char trans, int m, int n, double alpha,
                                    const zuliDeviceDouble *a, int lda, const zuliDeviceDouble *x,
                                    int incx, double beta, zuliDeviceDouble *y, int incy);
ZULI_API zuliStatus zuliCgemv(char trans, int m, int n, zuliComplexFloat alpha,
                              const zuliComplexFloat *a, int lda, const zuliComplexFloat *x,
                              int incx, zuliComplexFloat beta, zuliComplexFloat *y, int incy);
ZULI_API zuliStatus zuliDeviceCgemv(char trans, int m, int n, zuliComplexFloat alpha,
                                    const zuliDeviceComplexFloat *a, int lda,
                                    const zuliDeviceComplexFloat *x, int incx,
                                    zuliComplexFloat beta, zuliDeviceComplexFloat *y, int incy);
ZULI_API zuliStatus zuliZgemv(char trans, int m, int n, zuliComplexDouble alpha,
                              const zuliComplexDouble *a, int lda, const zuliComplexDouble *x,
                              int incx, zuliComplexDouble beta, zuliComplexDouble *y, int incy);
ZULI_API zuliStatus zuliDeviceZgemv(char trans, int m, int n, zuliComplexDouble alpha,
                                    const zuliDeviceComplexDouble *a, int lda,
                                    const zuliDeviceComplexDouble *x, int incx,
                                    zuliComplexDouble beta, zuliDeviceComplexDouble *y, int incy);

/* ---- symv --------------------------------------------------------------------------------------
 * y = alpha * A * x + beta * y, A n x n symmetric, referenced in its uplo ('U'/'L') triangle.
 * Argument errors (host): uplo -1, n -2, lda < n -5, incx 0 -7, incy 0 -10; when n is 0 nothing
 * else is checked; a -4, x -6, y -9. With beta == 0, y is not read. */
ZULI_API zuliStatus zuliSsymv(char uplo, int n, float alpha, const float *a, int lda,
                              const float *x, int incx, float beta, float *y, int incy);
ZULI_API zuliStatus zuliDeviceSsymv(char uplo, int n, float alpha, const zuliDeviceFloat *a,
                                    int lda, const zuliDeviceFloat *x, int incx, float beta,
                                    zuliDeviceFloat *y, int incy);
ZULI_API zuliStatus zuliDsymv(char uplo, int n, double alpha, const double *a, int lda,
                              const double *x, int incx, double beta, double *y, int incy);
ZULI_API zuliStatus zuliDeviceDsymv(char uplo, int n, double alpha, const zuliDeviceDouble *a,
                                    int lda, const zuliDeviceDouble *x, int incx, double beta,
                                    zuliDeviceDouble *y, int incy);

/* ---- hemv --------------------------------------------------------------------------------------
 * y = alpha * A * x + beta * y, A n x n Hermitian, referenced in its uplo ('U'/'L') triangle.
 * Argument errors (host): as symv. */
ZULI_API zuliStatus zuliChemv(char uplo, int n, zuliComplexFloat alpha, const zuliComplexFloat *a,
                              int lda, const zuliComplexFloat *x, int incx, zuliComplexFloat beta,
                              zuliComplexFloat *y, int incy);
ZULI_API zuliStatus zuliDeviceChemv(char uplo, int n, zuliComplexFloat alpha,
                                    const zuliDeviceComplexFloat *a, int lda,
                                    const zuliDeviceComplexFloat *x, int incx,
                                    zuliComplexFloat beta, zuliDeviceComplexFloat *y, int incy);
ZULI_API zuliStatus zuliZhemv(char uplo, int n, zuliComplexDouble alpha, const zuliComplexDouble *a,
                              int lda, const zuliComplexDouble *x, int incx, zuliComplexDouble beta,
                              zuliComplexDouble *y, int incy);
ZULI_API zuliStatus zuliDeviceZhemv(char uplo, int n, zuliComplexDouble alpha,
                                    const zuliDeviceComplexDouble *a, int lda,
                                    const zuliDeviceComplexDouble *x, int incx,
                                    zuliComplexDouble beta, zuliDeviceComplexDouble *y, int incy);

/* ---- symm --------------------------------------------------------------------------------------
 * C = alpha * A * B + beta * C (side 'L') or alpha * B * A + beta * C (side 'R'), A symmetric,
 * referenced in its uplo triangle, B and C m x n.
 * Argument errors (host): side -1, uplo -2, m -3, n -4, lda < (side L ? m : n) -7, ldb < m -9,
 * ldc < m -12; when m or n is 0 nothing else is checked; a -6, b -8, c -11. With beta == 0, C is
 * not read. */
ZULI_API zuliStatus zuliSsymm(char side, char uplo, int m, int n, float alpha, const float *a,
                              int lda, const float *b, int ldb, float beta, float *c, int ldc);
ZULI_API zuliStatus zuliDeviceSsymm(char side, char uplo, int m, int n, float alpha,
                                    const zuliDeviceFloat *a, int lda, const zuliDeviceFloat *b,
                                    int ldb, float beta, zuliDeviceFloat *c, int ldc);
ZULI_API zuliStatus zuliDsymm(char side, char uplo, int m, int n, double alpha, const double *a,
                              int lda, const double *b, int ldb, double beta, double *c, int ldc);
ZULI_API zuliStatus zuliDeviceDsymm(char side, char uplo, int m, int n, double alpha,
                                    const zuliDeviceDouble *a, int lda, const zuliDeviceDouble *b,
                                    int ldb, double beta, zuliDeviceDouble *c, int ldc);
ZULI_API zuliStatus zuliCsymm(char side, char uplo, int m, int n, zuliComplexFloat alpha,
                              const zuliComplexFloat *a, int lda, const zuliComplexFloat *b,
                              int ldb, zuliComplexFloat beta, zuliComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliDeviceCsymm(char side, char uplo, int m, int n, zuliComplexFloat alpha,
                                    const zuliDeviceComplexFloat *a, int lda,
                                    const zuliDeviceComplexFloat *b, int ldb, zuliComplexFloat beta,
                                    zuliDeviceComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliZsymm(char side, char uplo, int m, int n, zuliComplexDouble alpha,
                              const zuliComplexDouble *a, int lda, const zuliComplexDouble *b,
                              int ldb, zuliComplexDouble beta, zuliComplexDouble *c, int ldc);
ZULI_API zuliStatus zuliDeviceZsymm(char side, char uplo, int m, int n, zuliComplexDouble alpha,
                                    const zuliDeviceComplexDouble *a, int lda,
                                    const zuliDeviceComplexDouble *b, int ldb,
                                    zuliComplexDouble beta, zuliDeviceComplexDouble *c, int ldc);

/* ---- hemm --------------------------------------------------------------------------------------
 * As symm with A Hermitian.
 * Argument errors (host): as symm. */
ZULI_API zuliStatus zuliChemm(char side, char uplo, int m, int n, zuliComplexFloat alpha,
                              const zuliComplexFloat *a, int lda, const zuliComplexFloat *b,
                              int ldb, zuliComplexFloat beta, zuliComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliDeviceChemm(char side, char uplo, int m, int n, zuliComplexFloat alpha,
                                    const zuliDeviceComplexFloat *a, int lda,
                                    const zuliDeviceComplexFloat *b, int ldb, zuliComplexFloat beta,
                                    zuliDeviceComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliZhemm(char side, char uplo, int m, int n, zuliComplexDouble alpha,
                              const zuliComplexDouble *a, int lda, const zuliComplexDouble *b,
                              int ldb, zuliComplexDouble beta, zuliComplexDouble *c, int ldc);
ZULI_API zuliStatus zuliDeviceZhemm(char side, char uplo, int m, int n, zuliComplexDouble alpha,
                                    const zuliDeviceComplexDouble *a, int lda,
                                    const zuliDeviceComplexDouble *b, int ldb,
                                    zuliComplexDouble beta, zuliDeviceComplexDouble *c, int ldc);

/* ---- syrk --------------------------------------------------------------------------------------
 * C = alpha * A * A^T + beta * C (trans 'N', A n x k) or alpha * A^T * A + beta * C ('T', A k x n;
 * 'C' is accepted as 'T' in S and D), on the uplo triangle of the n x n matrix C.
 * Argument errors (host): uplo -1, trans -2, n -3, k -4, lda < (trans N ? n : k) -7, ldc < n -10;
 * when n or k is 0 no pointer is checked; a -6, c -9. */
ZULI_API zuliStatus zuliSsyrk(char uplo, char trans, int n, int k, float alpha, const float *a,
                              int lda, float beta, float *c, int ldc);
ZULI_API zuliStatus zuliDeviceSsyrk(char uplo, char trans, int n, int k, float alpha,
                                    const zuliDeviceFloat *a, int lda, float beta,
                                    zuliDeviceFloat *c, int ldc);
ZULI_API zuliStatus zuliDsyrk(char uplo, char trans, int n, int k, double alpha, const double *a,
                              int lda, double beta, double *c, int ldc);
ZULI_API zuliStatus zuliDeviceDsyrk(char uplo, char trans, int n, int k, double alpha,
                                    const zuliDeviceDouble *a, int lda, double beta,
                                    zuliDeviceDouble *c, int ldc);
ZULI_API zuliStatus zuliCsyrk(char uplo, char trans, int n, int k, zuliComplexFloat alpha,
                              const zuliComplexFloat *a, int lda, zuliComplexFloat beta,
                              zuliComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliDeviceCsyrk(char uplo, char trans, int n, int k, zuliComplexFloat alpha,
                                    const zuliDeviceComplexFloat *a, int lda, zuliComplexFloat beta,
                                    zuliDeviceComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliZsyrk(char uplo, char trans, int n, int k, zuliComplexDouble alpha,
                              const zuliComplexDouble *a, int lda, zuliComplexDouble beta,
                              zuliComplexDouble *c, int ldc);
ZULI_API zuliStatus zuliDeviceZsyrk(char uplo, char trans, int n, int k, zuliComplexDouble alpha,
                                    const zuliDeviceComplexDouble *a, int lda,
                                    zuliComplexDouble beta, zuliDeviceComplexDouble *c, int ldc);

/* ---- herk --------------------------------------------------------------------------------------
 * C = alpha * A * A^H + beta * C (trans 'N') or alpha * A^H * A + beta * C ('C'), real alpha and
 * beta, on the uplo triangle of the n x n Hermitian matrix C.
 * Argument errors (host): as syrk (trans 'N' or 'C'). */
ZULI_API zuliStatus zuliCherk(char uplo, char trans, int n, int k, float alpha,
                              const zuliComplexFloat *a, int lda, float beta, zuliComplexFloat *c,
                              int ldc);
ZULI_API zuliStatus zuliDeviceCherk(char uplo, char trans, int n, int k, float alpha,
                                    const zuliDeviceComplexFloat *a, int lda, float beta,
                                    zuliDeviceComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliZherk(char uplo, char trans, int n, int k, double alpha,
                              const zuliComplexDouble *a, int lda, double beta,
                              zuliComplexDouble *c, int ldc);
ZULI_API zuliStatus zuliDeviceZherk(char uplo, char trans, int n, int k, double alpha,
                                    const zuliDeviceComplexDouble *a, int lda, double beta,
                                    zuliDeviceComplexDouble *c, int ldc);

/* ---- syr2k -------------------------------------------------------------------------------------
 * C = alpha * (A * B^T + B * A^T) + beta * C (trans 'N', A and B n x k) or alpha * (A^T * B +
 * B^T * A) + beta * C ('T'), on the uplo triangle of the n x n matrix C.
 * Argument errors (host): uplo -1, trans -2, n -3, k -4, lda < (trans N ? n : k) -7, ldb likewise
 * -9, ldc < n -12; when n or k is 0 no pointer is checked; a -6, b -8, c -11. */
ZULI_API zuliStatus zuliSsyr2k(char uplo, char trans, int n, int k, float alpha, const float *a,
                               int lda, const float *b, int ldb, float beta, float *c, int ldc);
ZULI_API zuliStatus zuliDeviceSsyr2k(char uplo, char trans, int n, int k, float alpha,
                                     const zuliDeviceFloat *a, int lda, const zuliDeviceFloat *b,
                                     int ldb, float beta, zuliDeviceFloat *c, int ldc);
ZULI_API zuliStatus zuliDsyr2k(char uplo, char trans, int n, int k, double alpha, const double *a,
                               int lda, const double *b, int ldb, double beta, double *c, int ldc);
ZULI_API zuliStatus zuliDeviceDsyr2k(char uplo, char trans, int n, int k, double alpha,
                                     const zuliDeviceDouble *a, int lda, const zuliDeviceDouble *b,
                                     int ldb, double beta, zuliDeviceDouble *c, int ldc);
ZULI_API zuliStatus zuliCsyr2k(char uplo, char trans, int n, int k, zuliComplexFloat alpha,
                               const zuliComplexFloat *a, int lda, const zuliComplexFloat *b,
                               int ldb, zuliComplexFloat beta, zuliComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliDeviceCsyr2k(char uplo, char trans, int n, int k, zuliComplexFloat alpha,
                                     const zuliDeviceComplexFloat *a, int lda,
                                     const zuliDeviceComplexFloat *b, int ldb,
                                     zuliComplexFloat beta, zuliDeviceComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliZsyr2k(char uplo, char trans, int n, int k, zuliComplexDouble alpha,
                               const zuliComplexDouble *a, int lda, const zuliComplexDouble *b,
                               int ldb, zuliComplexDouble beta, zuliComplexDouble *c, int ldc);
ZULI_API zuliStatus zuliDeviceZsyr2k(char uplo, char trans, int n, int k, zuliComplexDouble alpha,
                                     const zuliDeviceComplexDouble *a, int lda,
                                     const zuliDeviceComplexDouble *b, int ldb,
                                     zuliComplexDouble beta, zuliDeviceComplexDouble *c, int ldc);

/* ---- her2k -------------------------------------------------------------------------------------
 * C = alpha * A * B^H + conj(alpha) * B * A^H + beta * C (trans 'N') or the 'C' form, real beta,
 * on the uplo triangle of the n x n Hermitian matrix C.
 * Argument errors (host): as syr2k (trans 'N' or 'C'). */
ZULI_API zuliStatus zuliCher2k(char uplo, char trans, int n, int k, zuliComplexFloat alpha,
                               const zuliComplexFloat *a, int lda, const zuliComplexFloat *b,
                               int ldb, float beta, zuliComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliDeviceCher2k(char uplo, char trans, int n, int k, zuliComplexFloat alpha,
                                     const zuliDeviceComplexFloat *a, int lda,
                                     const zuliDeviceComplexFloat *b, int ldb, float beta,
                                     zuliDeviceComplexFloat *c, int ldc);
ZULI_API zuliStatus zuliZher2k(char uplo, char trans, int n, int k, zuliComplexDouble alpha,
                               const zuliComplexDouble *a, int lda, const zuliComplexDouble *b,
                               int ldb, double beta, zuliComplexDouble *c, int ldc);
ZULI_API zuliStatus zuliDeviceZher2k(char uplo, char trans, int n, int k, zuliComplexDouble alpha,
                                     const zuliDeviceComplexDouble *a, int lda,
                                     const zuliDeviceComplexDouble *b, int ldb, double beta,
                                     zuliDeviceComplexDouble *c, int ldc);

/* ---- trsm --------------------------------------------------------------------------------------
 * Solves op(A) * X = alpha * B (side 'L') or X * op(A) = alpha * B ('R') for X, which overwrites
 * the m x n matrix B; A triangular (uplo), unit or non-unit diagonal (diag 'U'/'N').
 * Argument errors (host): side -1, uplo -2, transa -3, diag -4, m -5, n -6, lda < (side L ? m : n)
 * -9, ldb < m -11; when m or n is 0 nothing else is checked; a -8, b -10. */
ZULI_API zuliStatus zuliStrsm(char side, char uplo, char transa, char diag, int m, int n,
                              float alpha, const float *a, int lda, float *b, int ldb);
ZULI_API zuliStatus zuliDeviceStrsm(char side, char uplo, char transa, char diag, int m, int n,
                                    float alpha, const zuliDeviceFloat *a, int lda,
                                    zuliDeviceFloat *b, int ldb);
ZULI_API zuliStatus zuliDtrsm(char side, char uplo, char transa, char diag, int m, int n,
                              double alpha, const double *a, int lda, double *b, int ldb);
ZULI_API zuliStatus zuliDeviceDtrsm(char side, char uplo, char transa, char diag, int m, int n,
                                    double alpha, const zuliDeviceDouble *a, int lda,
                                    zuliDeviceDouble *b, int ldb);
ZULI_API zuliStatus zuliCtrsm(char side, char uplo, char transa, char diag, int m, int n,
                              zuliComplexFloat alpha, const zuliComplexFloat *a, int lda,
                              zuliComplexFloat *b, int ldb);
ZULI_API zuliStatus zuliDeviceCtrsm(char side, char uplo, char transa, char diag, int m, int n,
                                    zuliComplexFloat alpha, const zuliDeviceComplexFloat *a,
                                    int lda, zuliDeviceComplexFloat *b, int ldb);
ZULI_API zuliStatus zuliZtrsm(char side, char uplo, char transa, char diag, int m, int n,
                              zuliComplexDouble alpha, const zuliComplexDouble *a, int lda,
                              zuliComplexDouble *b, int ldb);
ZULI_API zuliStatus zuliDeviceZtrsm(char side, char uplo, char transa, char diag, int m, int n,
                                    zuliComplexDouble alpha, const zuliDeviceComplexDouble *a,
                                    int lda, zuliDeviceComplexDouble *b, int ldb);

/* ---- trmm --------------------------------------------------------------------------------------
 * B = alpha * op(A) * B (side 'L') or alpha * B * op(A) ('R'), in place; A triangular.
 * Argument errors (host): as trsm. */
ZULI_API zuliStatus zuliStrmm(char side, char uplo, char transa, char diag, int m, int n,
                              float alpha, const float *a, int lda, float *b, int ldb);
ZULI_API zuliStatus zuliDeviceStrmm(char side, char uplo, char transa, char diag, int m, int n,
                                    float alpha, const zuliDeviceFloat *a, int lda,
                                    zuliDeviceFloat *b, int ldb);
ZULI_API zuliStatus zuliDtrmm(char side, char uplo, char transa, char diag, int m, int n,
                              double alpha, const double *a, int lda, double *b, int ldb);
ZULI_API zuliStatus zuliDeviceDtrmm(char side, char uplo, char transa, char diag, int m, int n,
                                    double alpha, const zuliDeviceDouble *a, int lda,
                                    zuliDeviceDouble *b, int ldb);
ZULI_API zuliStatus zuliCtrmm(char side, char uplo, char transa, char diag, int m, int n,
                              zuliComplexFloat alpha, const zuliComplexFloat *a, int lda,
                              zuliComplexFloat *b, int ldb);
ZULI_API zuliStatus zuliDeviceCtrmm(char side, char uplo, char transa, char diag, int m, int n,
                                    zuliComplexFloat alpha, const zuliDeviceComplexFloat *a,
                                    int lda, zuliDeviceComplexFloat *b, int ldb);
ZULI_API zuliStatus zuliZtrmm(char side, char uplo, char transa, char diag, int m, int n,
                              zuliComplexDouble alpha, const zuliComplexDouble *a, int lda,
                              zuliComplexDouble *b, int ldb);
ZULI_API zuliStatus zuliDeviceZtrmm(char side, char uplo, char transa, char diag, int m, int n,
                                    zuliComplexDouble alpha, const zuliDeviceComplexDouble *a,
                                    int lda, zuliDeviceComplexDouble *b, int ldb);
#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZULI_LAPACK_BLAS_H */
