// cublas.h - the library's precision-overloaded view of cuBLAS.
//
// Algorithm code is written once for float, double, Complex<float> and Complex<double> and calls
// these wrappers; each forwards to cublas<S|D|C|Z><op>_v2 on the handle it is given (pointer
// mode host: scalars and results live in host memory). Two layers:
//
//   zuli::blas::unchecked::op(...)  returns the cuBLAS status untouched (for the exported device
//                                   BLAS routines, which by contract do not examine it);
//   zuli::blas::op(...)             the same call, its status passed through cudalib::checkCublas,
//                                   so a failure becomes an exception (status 9, or 5 for an
//                                   allocation failure). Everything else uses this layer.
//
// Where an operation has a complex-only name the real precisions get the operation it reduces
// to, so that templates need no special cases: hemv/hemm/herk/her2k on real data are
// symv/symm/syrk/syr2k, gerc/geru are ger, dotc/dotu are dot.
//
// Option characters, as every exported routine maps them (see toOperation and friends): the one
// letter that selects the non-default case, in either case, selects it; every other character
// gives the default (no transpose, lower, left, non-unit).
#pragma once

#include "runtime/complex.h"
#include "runtime/context.h"
#include "runtime/status.h"

#include <cublas_api.h>

#include <cstddef>
#include <type_traits>
#include <utility>

namespace zuli::blas {

// ---- option characters ------------------------------------------------------------------------

// 'T'/'t' transpose, 'C'/'c' conjugate transpose, anything else no transpose.
constexpr cublasOperation_t toOperation(char c) {
    if (c == 'T' || c == 't') return CUBLAS_OP_T;
    if (c == 'C' || c == 'c') return CUBLAS_OP_C;
    return CUBLAS_OP_N;
}
// 'U'/'u' upper triangle, anything else lower.
constexpr cublasFillMode_t toFillMode(char c) {
    return (c == 'U' || c == 'u') ? CUBLAS_FILL_MODE_UPPER : CUBLAS_FILL_MODE_LOWER;
}
// 'R'/'r' right, anything else left.
constexpr cublasSideMode_t toSideMode(char c) {
    return (c == 'R' || c == 'r') ? CUBLAS_SIDE_RIGHT : CUBLAS_SIDE_LEFT;
}
// 'U'/'u' unit diagonal, anything else non-unit.
constexpr cublasDiagType_t toDiagType(char c) {
    return (c == 'U' || c == 'u') ? CUBLAS_DIAG_UNIT : CUBLAS_DIAG_NON_UNIT;
}

// ---- element types ----------------------------------------------------------------------------

namespace detail {

// The entry of the precision T among the four given (S, D, C, Z). An entry may be nullptr when
// the operation does not exist in that precision; using it then fails to compile.
template <typename T, typename S, typename D, typename C, typename Z>
constexpr auto pick(S s, D d, C c, Z z) {
    if constexpr (std::is_same_v<T, float>)
        return s;
    else if constexpr (std::is_same_v<T, double>)
        return d;
    else if constexpr (std::is_same_v<T, Complex<float>>)
        return c;
    else {
        static_assert(std::is_same_v<T, Complex<double>>, "not a library element type");
        return z;
    }
}

}  // namespace detail

// Real scalar type of T (alpha and beta of herk, beta of her2k, results of nrm2 and asum).
template <typename T>
using Real = ToRealT<T>;

namespace unchecked {

using detail::pick;

// ---- level 3 ----------------------------------------------------------------------------------

template <typename T>
cublasStatus_t gemm(cublasHandle_t h, cublasOperation_t transa, cublasOperation_t transb, int m,
                    int n, int k, const T* alpha, const T* a, int lda, const T* b, int ldb,
                    const T* beta, T* c, int ldc) {
    return pick<T>(cublasSgemm_v2, cublasDgemm_v2, cublasCgemm_v2, cublasZgemm_v2)(
        h, transa, transb, m, n, k, asCuda(alpha), asCuda(a), lda, asCuda(b), ldb, asCuda(beta),
        asCuda(c), ldc);
}

template <typename T>
cublasStatus_t symm(cublasHandle_t h, cublasSideMode_t side, cublasFillMode_t uplo, int m, int n,
                    const T* alpha, const T* a, int lda, const T* b, int ldb, const T* beta, T* c,
                    int ldc) {
    return pick<T>(cublasSsymm_v2, cublasDsymm_v2, cublasCsymm_v2, cublasZsymm_v2)(
        h, side, uplo, m, n, asCuda(alpha), asCuda(a), lda, asCuda(b), ldb, asCuda(beta), asCuda(c),
        ldc);
}

template <typename T>
cublasStatus_t hemm(cublasHandle_t h, cublasSideMode_t side, cublasFillMode_t uplo, int m, int n,
                    const T* alpha, const T* a, int lda, const T* b, int ldb, const T* beta, T* c,
                    int ldc) {
    return pick<T>(cublasSsymm_v2, cublasDsymm_v2, cublasChemm_v2, cublasZhemm_v2)(
        h, side, uplo, m, n, asCuda(alpha), asCuda(a), lda, asCuda(b), ldb, asCuda(beta), asCuda(c),
        ldc);
}

template <typename T>
cublasStatus_t syrk(cublasHandle_t h, cublasFillMode_t uplo, cublasOperation_t trans, int n, int k,
                    const T* alpha, const T* a, int lda, const T* beta, T* c, int ldc) {
    return pick<T>(cublasSsyrk_v2, cublasDsyrk_v2, cublasCsyrk_v2, cublasZsyrk_v2)(
        h, uplo, trans, n, k, asCuda(alpha), asCuda(a), lda, asCuda(beta), asCuda(c), ldc);
}

// C = alpha * op(A) * op(A)^H + beta * C with real alpha and beta.
template <typename T>
cublasStatus_t herk(cublasHandle_t h, cublasFillMode_t uplo, cublasOperation_t trans, int n, int k,
                    const Real<T>* alpha, const T* a, int lda, const Real<T>* beta, T* c, int ldc) {
    return pick<T>(cublasSsyrk_v2, cublasDsyrk_v2, cublasCherk_v2, cublasZherk_v2)(
        h, uplo, trans, n, k, alpha, asCuda(a), lda, beta, asCuda(c), ldc);
}

template <typename T>
cublasStatus_t syr2k(cublasHandle_t h, cublasFillMode_t uplo, cublasOperation_t trans, int n, int k,
                     const T* alpha, const T* a, int lda, const T* b, int ldb, const T* beta, T* c,
                     int ldc) {
    return pick<T>(cublasSsyr2k_v2, cublasDsyr2k_v2, cublasCsyr2k_v2, cublasZsyr2k_v2)(
        h, uplo, trans, n, k, asCuda(alpha), asCuda(a), lda, asCuda(b), ldb, asCuda(beta),
        asCuda(c), ldc);
}

// C = alpha * op(A) * op(B)^H + conj(alpha) * op(B) * op(A)^H + beta * C with real beta.
template <typename T>
cublasStatus_t her2k(cublasHandle_t h, cublasFillMode_t uplo, cublasOperation_t trans, int n, int k,
                     const T* alpha, const T* a, int lda, const T* b, int ldb, const Real<T>* beta,
                     T* c, int ldc) {
    return pick<T>(cublasSsyr2k_v2, cublasDsyr2k_v2, cublasCher2k_v2, cublasZher2k_v2)(
        h, uplo, trans, n, k, asCuda(alpha), asCuda(a), lda, asCuda(b), ldb, beta, asCuda(c), ldc);
}

template <typename T>
cublasStatus_t trsm(cublasHandle_t h, cublasSideMode_t side, cublasFillMode_t uplo,
                    cublasOperation_t trans, cublasDiagType_t diag, int m, int n, const T* alpha,
                    const T* a, int lda, T* b, int ldb) {
    return pick<T>(cublasStrsm_v2, cublasDtrsm_v2, cublasCtrsm_v2, cublasZtrsm_v2)(
        h, side, uplo, trans, diag, m, n, asCuda(alpha), asCuda(a), lda, asCuda(b), ldb);
}

// The out-of-place form C = alpha * op(A) * B (left) or alpha * B * op(A) (right). Passing
// c == b with ldc == ldb is the in-place product (the only overlap cuBLAS allows).
template <typename T>
cublasStatus_t trmm(cublasHandle_t h, cublasSideMode_t side, cublasFillMode_t uplo,
                    cublasOperation_t trans, cublasDiagType_t diag, int m, int n, const T* alpha,
                    const T* a, int lda, const T* b, int ldb, T* c, int ldc) {
    return pick<T>(cublasStrmm_v2, cublasDtrmm_v2, cublasCtrmm_v2, cublasZtrmm_v2)(
        h, side, uplo, trans, diag, m, n, asCuda(alpha), asCuda(a), lda, asCuda(b), ldb, asCuda(c),
        ldc);
}

// ---- level 2 ----------------------------------------------------------------------------------

template <typename T>
cublasStatus_t gemv(cublasHandle_t h, cublasOperation_t trans, int m, int n, const T* alpha,
                    const T* a, int lda, const T* x, int incx, const T* beta, T* y, int incy) {
    return pick<T>(cublasSgemv_v2, cublasDgemv_v2, cublasCgemv_v2, cublasZgemv_v2)(
        h, trans, m, n, asCuda(alpha), asCuda(a), lda, asCuda(x), incx, asCuda(beta), asCuda(y),
        incy);
}

template <typename T>
cublasStatus_t symv(cublasHandle_t h, cublasFillMode_t uplo, int n, const T* alpha, const T* a,
                    int lda, const T* x, int incx, const T* beta, T* y, int incy) {
    return pick<T>(cublasSsymv_v2, cublasDsymv_v2, cublasCsymv_v2, cublasZsymv_v2)(
        h, uplo, n, asCuda(alpha), asCuda(a), lda, asCuda(x), incx, asCuda(beta), asCuda(y), incy);
}

template <typename T>
cublasStatus_t hemv(cublasHandle_t h, cublasFillMode_t uplo, int n, const T* alpha, const T* a,
                    int lda, const T* x, int incx, const T* beta, T* y, int incy) {
    return pick<T>(cublasSsymv_v2, cublasDsymv_v2, cublasChemv_v2, cublasZhemv_v2)(
        h, uplo, n, asCuda(alpha), asCuda(a), lda, asCuda(x), incx, asCuda(beta), asCuda(y), incy);
}

template <typename T>
cublasStatus_t trsv(cublasHandle_t h, cublasFillMode_t uplo, cublasOperation_t trans,
                    cublasDiagType_t diag, int n, const T* a, int lda, T* x, int incx) {
    return pick<T>(cublasStrsv_v2, cublasDtrsv_v2, cublasCtrsv_v2, cublasZtrsv_v2)(
        h, uplo, trans, diag, n, asCuda(a), lda, asCuda(x), incx);
}

template <typename T>
cublasStatus_t trmv(cublasHandle_t h, cublasFillMode_t uplo, cublasOperation_t trans,
                    cublasDiagType_t diag, int n, const T* a, int lda, T* x, int incx) {
    return pick<T>(cublasStrmv_v2, cublasDtrmv_v2, cublasCtrmv_v2, cublasZtrmv_v2)(
        h, uplo, trans, diag, n, asCuda(a), lda, asCuda(x), incx);
}

// A += alpha * x * y^T (geru) and A += alpha * x * y^H (gerc); ger is geru.
template <typename T>
cublasStatus_t geru(cublasHandle_t h, int m, int n, const T* alpha, const T* x, int incx,
                    const T* y, int incy, T* a, int lda) {
    return pick<T>(cublasSger_v2, cublasDger_v2, cublasCgeru_v2, cublasZgeru_v2)(
        h, m, n, asCuda(alpha), asCuda(x), incx, asCuda(y), incy, asCuda(a), lda);
}
template <typename T>
cublasStatus_t gerc(cublasHandle_t h, int m, int n, const T* alpha, const T* x, int incx,
                    const T* y, int incy, T* a, int lda) {
    return pick<T>(cublasSger_v2, cublasDger_v2, cublasCgerc_v2, cublasZgerc_v2)(
        h, m, n, asCuda(alpha), asCuda(x), incx, asCuda(y), incy, asCuda(a), lda);
}
template <typename T>
cublasStatus_t ger(cublasHandle_t h, int m, int n, const T* alpha, const T* x, int incx, const T* y,
                   int incy, T* a, int lda) {
    return geru(h, m, n, alpha, x, incx, y, incy, a, lda);
}

// ---- level 1 ----------------------------------------------------------------------------------

template <typename T>
cublasStatus_t copy(cublasHandle_t h, int n, const T* x, int incx, T* y, int incy) {
    return pick<T>(cublasScopy_v2, cublasDcopy_v2, cublasCcopy_v2, cublasZcopy_v2)(
        h, n, asCuda(x), incx, asCuda(y), incy);
}

template <typename T>
cublasStatus_t swap(cublasHandle_t h, int n, T* x, int incx, T* y, int incy) {
    return pick<T>(cublasSswap_v2, cublasDswap_v2, cublasCswap_v2, cublasZswap_v2)(
        h, n, asCuda(x), incx, asCuda(y), incy);
}

// x = alpha * x with alpha of the element type ...
template <typename T>
cublasStatus_t scal(cublasHandle_t h, int n, const T* alpha, T* x, int incx) {
    return pick<T>(cublasSscal_v2, cublasDscal_v2, cublasCscal_v2, cublasZscal_v2)(
        h, n, asCuda(alpha), asCuda(x), incx);
}
// ... or a real alpha on complex data (csscal, zdscal).
template <typename T>
requires IsComplexV<T> cublasStatus_t scal(cublasHandle_t h, int n, const Real<T>* alpha, T* x,
                                           int incx) {
    return pick<T>(nullptr, nullptr, cublasCsscal_v2, cublasZdscal_v2)(h, n, alpha, asCuda(x),
                                                                       incx);
}

template <typename T>
cublasStatus_t axpy(cublasHandle_t h, int n, const T* alpha, const T* x, int incx, T* y, int incy) {
    return pick<T>(cublasSaxpy_v2, cublasDaxpy_v2, cublasCaxpy_v2, cublasZaxpy_v2)(
        h, n, asCuda(alpha), asCuda(x), incx, asCuda(y), incy);
}

// x^T y (dotu) and x^H y (dotc); dot is dotu.
template <typename T>
cublasStatus_t dotu(cublasHandle_t h, int n, const T* x, int incx, const T* y, int incy,
                    T* result) {
    return pick<T>(cublasSdot_v2, cublasDdot_v2, cublasCdotu_v2, cublasZdotu_v2)(
        h, n, asCuda(x), incx, asCuda(y), incy, asCuda(result));
}
template <typename T>
cublasStatus_t dotc(cublasHandle_t h, int n, const T* x, int incx, const T* y, int incy,
                    T* result) {
    return pick<T>(cublasSdot_v2, cublasDdot_v2, cublasCdotc_v2, cublasZdotc_v2)(
        h, n, asCuda(x), incx, asCuda(y), incy, asCuda(result));
}
template <typename T>
cublasStatus_t dot(cublasHandle_t h, int n, const T* x, int incx, const T* y, int incy, T* result) {
    return dotu(h, n, x, incx, y, incy, result);
}

template <typename T>
cublasStatus_t nrm2(cublasHandle_t h, int n, const T* x, int incx, Real<T>* result) {
    return pick<T>(cublasSnrm2_v2, cublasDnrm2_v2, cublasScnrm2_v2, cublasDznrm2_v2)(
        h, n, asCuda(x), incx, result);
}

template <typename T>
cublasStatus_t asum(cublasHandle_t h, int n, const T* x, int incx, Real<T>* result) {
    return pick<T>(cublasSasum_v2, cublasDasum_v2, cublasScasum_v2, cublasDzasum_v2)(
        h, n, asCuda(x), incx, result);
}

// The 1-based index of the first element of largest |re| + |im|; 0 when n <= 0.
template <typename T>
cublasStatus_t iamax(cublasHandle_t h, int n, const T* x, int incx, int* result) {
    return pick<T>(cublasIsamax_v2, cublasIdamax_v2, cublasIcamax_v2, cublasIzamax_v2)(
        h, n, asCuda(x), incx, result);
}

// Plane rotation with real c and s (srot, drot, csrot, zdrot) ...
template <typename T>
cublasStatus_t rot(cublasHandle_t h, int n, T* x, int incx, T* y, int incy, const Real<T>* c,
                   const Real<T>* s) {
    return pick<T>(cublasSrot_v2, cublasDrot_v2, cublasCsrot_v2, cublasZdrot_v2)(
        h, n, asCuda(x), incx, asCuda(y), incy, c, s);
}
// ... or with complex s (crot, zrot).
template <typename T>
requires IsComplexV<T> cublasStatus_t rot(cublasHandle_t h, int n, T* x, int incx, T* y, int incy,
                                          const Real<T>* c, const T* s) {
    return pick<T>(nullptr, nullptr, cublasCrot_v2, cublasZrot_v2)(h, n, asCuda(x), incx, asCuda(y),
                                                                   incy, c, asCuda(s));
}

}  // namespace unchecked

// ---- the checked layer: the same operations, a failure raised as an exception ------------------

// One checked overload per unchecked one: op(handle, args...) checks unchecked::op's status.
#define ZULI_CHECKED_BLAS(op)                                                \
    template <typename... Args>                                              \
    void op(cublasHandle_t h, Args&&... args) requires requires {            \
        unchecked::op(h, std::forward<Args>(args)...);                       \
    }                                                                        \
    { cudalib::checkCublas(unchecked::op(h, std::forward<Args>(args)...)); } \
    template <typename... Args>                                              \
    void op(const CallContext& ctx, Args&&... args) requires requires {      \
        unchecked::op(ctx.handle, std::forward<Args>(args)...);              \
    }                                                                        \
    { cudalib::checkCublas(unchecked::op(ctx.handle, std::forward<Args>(args)...)); }

ZULI_CHECKED_BLAS(gemm)
ZULI_CHECKED_BLAS(symm)
ZULI_CHECKED_BLAS(hemm)
ZULI_CHECKED_BLAS(syrk)
ZULI_CHECKED_BLAS(herk)
ZULI_CHECKED_BLAS(syr2k)
ZULI_CHECKED_BLAS(her2k)
ZULI_CHECKED_BLAS(trsm)
ZULI_CHECKED_BLAS(trmm)
ZULI_CHECKED_BLAS(gemv)
ZULI_CHECKED_BLAS(symv)
ZULI_CHECKED_BLAS(hemv)
ZULI_CHECKED_BLAS(trsv)
ZULI_CHECKED_BLAS(trmv)
ZULI_CHECKED_BLAS(ger)
ZULI_CHECKED_BLAS(geru)
ZULI_CHECKED_BLAS(gerc)
ZULI_CHECKED_BLAS(copy)
ZULI_CHECKED_BLAS(swap)
ZULI_CHECKED_BLAS(scal)
ZULI_CHECKED_BLAS(axpy)
ZULI_CHECKED_BLAS(dot)
ZULI_CHECKED_BLAS(dotu)
ZULI_CHECKED_BLAS(dotc)
ZULI_CHECKED_BLAS(nrm2)
ZULI_CHECKED_BLAS(asum)
ZULI_CHECKED_BLAS(iamax)
ZULI_CHECKED_BLAS(rot)

#undef ZULI_CHECKED_BLAS

// ---- stream binding ---------------------------------------------------------------------------

// Lends a cuBLAS handle to `stream` for the guard's lifetime: binds it there and gives it back the
// stream it was bound to before, also when an exception leaves the scope, so that a handle never
// stays bound to a per-call stream that dies with its call. release() gives it back at once and
// raises a failure to do so (the destructor then tries once more, silently).
class StreamBinding {
  public:
    StreamBinding(cublasHandle_t handle, cudaStream_t stream) : handle_(handle) {
        cudalib::checkCublas(cublasGetStream_v2(handle, &previous_));
        cudalib::checkCublas(cublasSetStream_v2(handle, stream));
        bound_ = true;
    }
    ~StreamBinding() {
        if (bound_) cublasSetStream_v2(handle_, previous_);
    }
    StreamBinding(const StreamBinding&) = delete;
    StreamBinding& operator=(const StreamBinding&) = delete;

    void release() {
        cudalib::checkCublas(cublasSetStream_v2(handle_, previous_));
        bound_ = false;
    }

  private:
    cublasHandle_t handle_;
    cudaStream_t previous_ = nullptr;
    bool bound_ = false;
};

}  // namespace zuli::blas
