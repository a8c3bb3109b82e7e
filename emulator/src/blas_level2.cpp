// blas_level2.cpp - the emulated cuBLAS level-2 operations: gemv, symv, hemv, trmv, trsv, ger,
// geru and gerc. The host BLAS does the arithmetic, except for the complex symmetric
// matrix-vector product, which CBLAS lacks and a plain loop computes.
//
// The host BLAS gets the vectors as contiguous copies: some of OpenBLAS's kernels load elements
// outside a vector (the complex gemv with m = 2 and a non-unit incx, before the first or after the
// last; zhemv on its upper triangle with an odd n, after the last of y), which the guard pages
// around device allocations turn into a crash, while a GPU touches the vector's elements only.
#include "blas_common.h"

namespace emu::blas {
namespace {

// A copy of a strided vector's n elements, contiguous, with room on both sides for the loads of a
// kernel that strays past its ends (up to one 64-byte vector register).
template <typename T>
class Contiguous {
  public:
    Contiguous(const T* lowest, int n, int inc) : buffer_(n + 2 * kRoom), n_(n) {
        const Strided<const T> v(lowest, n, inc);
        for (int64_t i = 0; i < n; ++i) buffer_[kRoom + i] = v[i];
    }
    T* data() { return buffer_.data() + kRoom; }
    // Copies the elements back into the vector they came from.
    void copyTo(T* lowest, int inc) const {
        const Strided<T> v(lowest, n_, inc);
        for (int64_t i = 0; i < n_; ++i) v[i] = buffer_[kRoom + i];
    }

  private:
    static constexpr size_t kRoom = 64 / sizeof(T) + 1;
    std::vector<T> buffer_;
    int n_;
};

// y = alpha * op(A) * x + beta * y, A m x n.
template <typename T>
cublasStatus_t gemv(const char* name, cublasHandle_t handle, cublasOperation_t trans, int m, int n,
                    const T* alpha, const T* A, int lda, const T* x, int incx, const T* beta, T* y,
                    int incy) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!validOp(trans)) return kInvalid;
    if (m < 0 || n < 0) return kInvalid;
    if (lda < std::max(1, m)) return kInvalid;
    if (incx == 0 || incy == 0) return kInvalid;
    if (!alpha || !beta) return kInvalid;

    const Scalar<T> a = call.scalar(alpha), b = call.scalar(beta);
    if (m == 0 || n == 0) return call.quickReturn("gemv");
    const int lenX = trans == CUBLAS_OP_N ? n : m, lenY = trans == CUBLAS_OP_N ? m : n;
    const T* dA = call.matrix(A, m, n, lda);
    const T* dx = call.vector(x, lenX, incx);
    T* dy = call.vector(y, lenY, incy);
    const CBLAS_TRANSPOSE ctrans = cblasOp<T>(trans);
    const double mn = double(m) * n;
    return call.run("gemv", flops<T>(mn, mn), [=] {
        const T av = a.get(), bv = b.get();
        Contiguous<T> cx(dx, lenX, incx), cy(dy, lenY, incy);
        pick<T>(cblas_sgemv, cblas_dgemv, cblas_cgemv, cblas_zgemv)(CblasColMajor, ctrans, m, n,
                                                                    byBlas(av), dA, lda, cx.data(),
                                                                    1, byBlas(bv), cy.data(), 1);
        cy.copyTo(dy, incy);
    });
}

// y = alpha * A * x + beta * y for a complex symmetric (not Hermitian) A stored in its `upper`
// or lower triangle. As BLAS does, beta == 0 sets y without reading it and alpha == 0 leaves A
// and x unread.
template <typename T>
void complexSymv(bool upper, int n, T alpha, const T* A, int lda, const T* x, int incx, T beta,
                 T* y, int incy) {
    std::vector<T> product(n, T(0));
    if (alpha != T(0)) {
        for (int64_t j = 0; j < n; ++j) {
            const T xj = x[vectorIndex(j, n, incx)];
            for (int64_t i = 0; i < n; ++i) {
                const bool stored = upper ? i <= j : i >= j;
                product[i] += (stored ? A[i + j * lda] : A[j + i * lda]) * xj;
            }
        }
    }
    for (int64_t i = 0; i < n; ++i) {
        T& yi = y[vectorIndex(i, n, incy)];
        yi = (beta == T(0) ? T(0) : beta * yi) + alpha * product[i];
    }
}

// y = alpha * A * x + beta * y, A n x n symmetric (Hermitian when Hermitian) in its `uplo` part.
template <bool Hermitian, typename T>
cublasStatus_t symv(const char* name, cublasHandle_t handle, cublasFillMode_t uplo, int n,
                    const T* alpha, const T* A, int lda, const T* x, int incx, const T* beta, T* y,
                    int incy) {
    const char* op = Hermitian ? "hemv" : "symv";
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!validFill(uplo)) return kInvalid;
    if (n < 0) return kInvalid;
    if (lda < std::max(1, n)) return kInvalid;
    if (incx == 0 || incy == 0) return kInvalid;
    if (!alpha || !beta) return kInvalid;

    const Scalar<T> a = call.scalar(alpha), b = call.scalar(beta);
    if (n == 0) return call.quickReturn(op);
    const T* dA = call.matrix(A, n, n, lda);
    const T* dx = call.vector(x, n, incx);
    T* dy = call.vector(y, n, incy);
    const CBLAS_UPLO cuplo = cblasFill(uplo);
    const double n2 = double(n) * n;
    return call.run(op, flops<T>(n2, n2), [=] {
        const T av = a.get(), bv = b.get();
        if constexpr (isComplex<T> && !Hermitian) {
            complexSymv(cuplo == CblasUpper, n, av, dA, lda, dx, incx, bv, dy, incy);
        } else {
            Contiguous<T> cx(dx, n, incx), cy(dy, n, incy);
            if constexpr (Hermitian) {
                pickComplex<T>(cblas_chemv, cblas_zhemv)(CblasColMajor, cuplo, n, &av, dA, lda,
                                                         cx.data(), 1, &bv, cy.data(), 1);
            } else {
                pick<T>(cblas_ssymv, cblas_dsymv, nullptr, nullptr)(
                    CblasColMajor, cuplo, n, av, dA, lda, cx.data(), 1, bv, cy.data(), 1);
            }
            cy.copyTo(dy, incy);
        }
    });
}

// x = op(A) * x (Solve false: trmv) or x = op(A)^-1 * x (Solve true: trsv), A n x n triangular.
template <bool Solve, typename T>
cublasStatus_t trmv(const char* name, cublasHandle_t handle, cublasFillMode_t uplo,
                    cublasOperation_t trans, cublasDiagType_t diag, int n, const T* A, int lda,
                    T* x, int incx) {
    const char* op = Solve ? "trsv" : "trmv";
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!validFill(uplo) || !validOp(trans) || !validDiag(diag)) return kInvalid;
    if (n < 0) return kInvalid;
    if (lda < std::max(1, n)) return kInvalid;
    if (incx == 0) return kInvalid;

    if (n == 0) return call.quickReturn(op);
    const T* dA = call.matrix(A, n, n, lda);
    T* dx = call.vector(x, n, incx);
    const CBLAS_UPLO cuplo = cblasFill(uplo);
    const CBLAS_TRANSPOSE ctrans = cblasOp<T>(trans);
    const CBLAS_DIAG cdiag = cblasDiag(diag);
    return call.run(op, flops<T>(0.5 * n * (n + 1.0), 0.5 * n * (n - 1.0)), [=] {
        Contiguous<T> cx(dx, n, incx);
        if constexpr (Solve) {
            pick<T>(cblas_strsv, cblas_dtrsv, cblas_ctrsv, cblas_ztrsv)(
                CblasColMajor, cuplo, ctrans, cdiag, n, dA, lda, cx.data(), 1);
        } else {
            pick<T>(cblas_strmv, cblas_dtrmv, cblas_ctrmv, cblas_ztrmv)(
                CblasColMajor, cuplo, ctrans, cdiag, n, dA, lda, cx.data(), 1);
        }
        cx.copyTo(dx, incx);
    });
}

enum class Rank1 { Real, Unconjugated, Conjugated };

// A = alpha * x * y^T + A (ger, geru) or alpha * x * y^H + A (gerc), A m x n.
template <Rank1 kind, typename T>
cublasStatus_t ger(const char* name, cublasHandle_t handle, int m, int n, const T* alpha,
                   const T* x, int incx, const T* y, int incy, T* A, int lda) {
    const char* op = kind == Rank1::Real ? "ger" : kind == Rank1::Unconjugated ? "geru" : "gerc";
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (m < 0 || n < 0) return kInvalid;
    if (incx == 0 || incy == 0) return kInvalid;
    if (lda < std::max(1, m)) return kInvalid;
    if (!alpha) return kInvalid;

    const Scalar<T> a = call.scalar(alpha);
    if (m == 0 || n == 0) return call.quickReturn(op);
    const T* dx = call.vector(x, m, incx);
    const T* dy = call.vector(y, n, incy);
    T* dA = call.matrix(A, m, n, lda);
    const double mn = double(m) * n;
    return call.run(op, flops<T>(mn, mn), [=] {
        const T av = a.get();
        Contiguous<T> cx(dx, m, incx), cy(dy, n, incy);
        if constexpr (kind == Rank1::Real) {
            pick<T>(cblas_sger, cblas_dger, nullptr, nullptr)(CblasColMajor, m, n, av, cx.data(), 1,
                                                              cy.data(), 1, dA, lda);
        } else if constexpr (kind == Rank1::Unconjugated) {
            pickComplex<T>(cblas_cgeru, cblas_zgeru)(CblasColMajor, m, n, &av, cx.data(), 1,
                                                     cy.data(), 1, dA, lda);
        } else {
            pickComplex<T>(cblas_cgerc, cblas_zgerc)(CblasColMajor, m, n, &av, cx.data(), 1,
                                                     cy.data(), 1, dA, lda);
        }
    });
}

}  // namespace
}  // namespace emu::blas

using emu::blas::native;
using emu::blas::Rank1;

// ---- exported symbols, one macro invocation per precision ---------------------------------------

extern "C" {

#define EMU_BLAS_GEMV(P, T)                                                                     \
    cublasStatus_t cublas##P##gemv_v2(cublasHandle_t handle, cublasOperation_t trans, int m,    \
                                      int n, const T* alpha, const T* A, int lda, const T* x,   \
                                      int incx, const T* beta, T* y, int incy) {                \
        return emu::blas::gemv("cublas" #P "gemv_v2", handle, trans, m, n, native(alpha),       \
                               native(A), lda, native(x), incx, native(beta), native(y), incy); \
    }
EMU_BLAS_GEMV(S, float)
EMU_BLAS_GEMV(D, double)
EMU_BLAS_GEMV(C, cuComplex)
EMU_BLAS_GEMV(Z, cuDoubleComplex)

#define EMU_BLAS_SYMV(P, T, OP, HERMITIAN)                                                       \
    cublasStatus_t cublas##P##OP##_v2(cublasHandle_t handle, cublasFillMode_t uplo, int n,       \
                                      const T* alpha, const T* A, int lda, const T* x, int incx, \
                                      const T* beta, T* y, int incy) {                           \
        return emu::blas::symv<HERMITIAN>("cublas" #P #OP "_v2", handle, uplo, n, native(alpha), \
                                          native(A), lda, native(x), incx, native(beta),         \
                                          native(y), incy);                                      \
    }
EMU_BLAS_SYMV(S, float, symv, false)
EMU_BLAS_SYMV(D, double, symv, false)
EMU_BLAS_SYMV(C, cuComplex, symv, false)
EMU_BLAS_SYMV(Z, cuDoubleComplex, symv, false)
EMU_BLAS_SYMV(C, cuComplex, hemv, true)
EMU_BLAS_SYMV(Z, cuDoubleComplex, hemv, true)

#define EMU_BLAS_TRMV(P, T, OP, SOLVE)                                                       \
    cublasStatus_t cublas##P##OP##_v2(cublasHandle_t handle, cublasFillMode_t uplo,          \
                                      cublasOperation_t trans, cublasDiagType_t diag, int n, \
                                      const T* A, int lda, T* x, int incx) {                 \
        return emu::blas::trmv<SOLVE>("cublas" #P #OP "_v2", handle, uplo, trans, diag, n,   \
                                      native(A), lda, native(x), incx);                      \
    }
EMU_BLAS_TRMV(S, float, trmv, false)
EMU_BLAS_TRMV(D, double, trmv, false)
EMU_BLAS_TRMV(C, cuComplex, trmv, false)
EMU_BLAS_TRMV(Z, cuDoubleComplex, trmv, false)
EMU_BLAS_TRMV(S, float, trsv, true)
EMU_BLAS_TRMV(D, double, trsv, true)
EMU_BLAS_TRMV(C, cuComplex, trsv, true)
EMU_BLAS_TRMV(Z, cuDoubleComplex, trsv, true)

#define EMU_BLAS_GER(P, T, OP, KIND)                                                               \
    cublasStatus_t cublas##P##OP##_v2(cublasHandle_t handle, int m, int n, const T* alpha,         \
                                      const T* x, int incx, const T* y, int incy, T* A, int lda) { \
        return emu::blas::ger<KIND>("cublas" #P #OP "_v2", handle, m, n, native(alpha), native(x), \
                                    incx, native(y), incy, native(A), lda);                        \
    }
EMU_BLAS_GER(S, float, ger, Rank1::Real)
EMU_BLAS_GER(D, double, ger, Rank1::Real)
EMU_BLAS_GER(C, cuComplex, geru, Rank1::Unconjugated)
EMU_BLAS_GER(Z, cuDoubleComplex, geru, Rank1::Unconjugated)
EMU_BLAS_GER(C, cuComplex, gerc, Rank1::Conjugated)
EMU_BLAS_GER(Z, cuDoubleComplex, gerc, Rank1::Conjugated)

}  // extern "C"
