// blas_level3.cpp - the emulated cuBLAS level-3 operations: gemm, symm, hemm, syrk, herk, syr2k,
// her2k, trsm and the out-of-place trmm, in the four precisions. The arithmetic is the host
// BLAS's, run on the translated operands when the handle's stream executes the work.
#include "blas_common.h"

#include <cstring>

namespace emu::blas {
namespace {

// Rows of op(X) for an operand stored rows x cols: op == N keeps them, a transpose swaps.
inline int opRows(cublasOperation_t op, int rows, int cols) {
    return op == CUBLAS_OP_N ? rows : cols;
}

// C = alpha * op(A) * op(B) + beta * C, C m x n, op(A) m x k, op(B) k x n.
template <typename T>
cublasStatus_t gemm(const char* name, cublasHandle_t handle, cublasOperation_t transa,
                    cublasOperation_t transb, int m, int n, int k, const T* alpha, const T* A,
                    int lda, const T* B, int ldb, const T* beta, T* C, int ldc) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    const int rowsA = opRows(transa, m, k), colsA = opRows(transa, k, m);
    const int rowsB = opRows(transb, k, n), colsB = opRows(transb, n, k);
    if (!validOp(transa) || !validOp(transb)) return kInvalid;
    if (m < 0 || n < 0 || k < 0) return kInvalid;
    if (lda < std::max(1, rowsA)) return kInvalid;
    if (ldb < std::max(1, rowsB)) return kInvalid;
    if (ldc < std::max(1, m)) return kInvalid;
    if (!alpha || !beta) return kInvalid;

    const Scalar<T> a = call.scalar(alpha), b = call.scalar(beta);
    if (m == 0 || n == 0) return call.quickReturn("gemm");
    const T* dA = call.matrix(A, rowsA, colsA, lda);
    const T* dB = call.matrix(B, rowsB, colsB, ldb);
    T* dC = call.matrix(C, m, n, ldc);
    const CBLAS_TRANSPOSE opA = cblasOp<T>(transa), opB = cblasOp<T>(transb);
    const double mnk = double(m) * n * k;
    return call.run("gemm", flops<T>(mnk, mnk), [=] {
        const T av = a.get(), bv = b.get();
        pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
            CblasColMajor, opA, opB, m, n, k, byBlas(av), dA, lda, dB, ldb, byBlas(bv), dC, ldc);
    });
}

// C = alpha * A * B + beta * C (left) or alpha * B * A + beta * C (right), A symmetric
// (Hermitian when Hermitian) and referenced in its `uplo` triangle, B and C m x n.
template <bool Hermitian, typename T>
cublasStatus_t symm(const char* name, cublasHandle_t handle, cublasSideMode_t side,
                    cublasFillMode_t uplo, int m, int n, const T* alpha, const T* A, int lda,
                    const T* B, int ldb, const T* beta, T* C, int ldc) {
    const char* op = Hermitian ? "hemm" : "symm";
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    const int orderA = side == CUBLAS_SIDE_LEFT ? m : n;
    if (!validSide(side) || !validFill(uplo)) return kInvalid;
    if (m < 0 || n < 0) return kInvalid;
    if (lda < std::max(1, orderA)) return kInvalid;
    if (ldb < std::max(1, m)) return kInvalid;
    if (ldc < std::max(1, m)) return kInvalid;
    if (!alpha || !beta) return kInvalid;

    const Scalar<T> a = call.scalar(alpha), b = call.scalar(beta);
    if (m == 0 || n == 0) return call.quickReturn(op);
    const T* dA = call.matrix(A, orderA, orderA, lda);
    const T* dB = call.matrix(B, m, n, ldb);
    T* dC = call.matrix(C, m, n, ldc);
    const CBLAS_SIDE cside = cblasSide(side);
    const CBLAS_UPLO cuplo = cblasFill(uplo);
    const double work = double(m) * n * orderA;
    return call.run(op, flops<T>(work, work), [=] {
        const T av = a.get(), bv = b.get();
        if constexpr (Hermitian) {
            pickComplex<T>(cblas_chemm, cblas_zhemm)(CblasColMajor, cside, cuplo, m, n, &av, dA,
                                                     lda, dB, ldb, &bv, dC, ldc);
        } else {
            pick<T>(cblas_ssymm, cblas_dsymm, cblas_csymm, cblas_zsymm)(
                CblasColMajor, cside, cuplo, m, n, byBlas(av), dA, lda, dB, ldb, byBlas(bv), dC,
                ldc);
        }
    });
}

// Which transposes a rank-k update accepts: N and C for the Hermitian ones, N and T for complex
// symmetric ones, N, T and C (C meaning T) for real ones.
template <bool Hermitian, typename T>
bool validRankKTrans(cublasOperation_t trans) {
    if (trans == CUBLAS_OP_N) return true;
    if (Hermitian) return trans == CUBLAS_OP_C;
    if (isComplex<T>) return trans == CUBLAS_OP_T;
    return trans == CUBLAS_OP_T || trans == CUBLAS_OP_C;
}

// C = alpha * op(A) * op(A)' + beta * C on the `uplo` triangle of the n x n C, op(A) n x k.
// The transpose is conjugated and alpha, beta are real when Hermitian (herk).
template <bool Hermitian, typename T, typename S>
cublasStatus_t syrk(const char* name, cublasHandle_t handle, cublasFillMode_t uplo,
                    cublasOperation_t trans, int n, int k, const S* alpha, const T* A, int lda,
                    const S* beta, T* C, int ldc) {
    const char* op = Hermitian ? "herk" : "syrk";
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    const int rowsA = opRows(trans, n, k), colsA = opRows(trans, k, n);
    if (!validFill(uplo) || !validRankKTrans<Hermitian, T>(trans)) return kInvalid;
    if (n < 0 || k < 0) return kInvalid;
    if (lda < std::max(1, rowsA)) return kInvalid;
    if (ldc < std::max(1, n)) return kInvalid;
    if (!alpha || !beta) return kInvalid;

    const Scalar<S> a = call.scalar(alpha), b = call.scalar(beta);
    if (n == 0) return call.quickReturn(op);
    const T* dA = call.matrix(A, rowsA, colsA, lda);
    T* dC = call.matrix(C, n, n, ldc);
    const CBLAS_UPLO cuplo = cblasFill(uplo);
    const CBLAS_TRANSPOSE ctrans = cblasOp<T>(trans);
    const double work = 0.5 * k * n * (n + 1.0);
    return call.run(op, flops<T>(work, work), [=] {
        const S av = a.get(), bv = b.get();
        if constexpr (Hermitian) {
            pickComplex<T>(cblas_cherk, cblas_zherk)(CblasColMajor, cuplo, ctrans, n, k, av, dA,
                                                     lda, bv, dC, ldc);
        } else {
            pick<T>(cblas_ssyrk, cblas_dsyrk, cblas_csyrk, cblas_zsyrk)(
                CblasColMajor, cuplo, ctrans, n, k, byBlas(av), dA, lda, byBlas(bv), dC, ldc);
        }
    });
}

// C = alpha * op(A) * op(B)' + alpha' * op(B) * op(A)' + beta * C on the `uplo` triangle of C.
// Hermitian (her2k): conjugate transposes, conj(alpha) in the second term and a real beta.
template <bool Hermitian, typename T, typename S>
cublasStatus_t syr2k(const char* name, cublasHandle_t handle, cublasFillMode_t uplo,
                     cublasOperation_t trans, int n, int k, const T* alpha, const T* A, int lda,
                     const T* B, int ldb, const S* beta, T* C, int ldc) {
    const char* op = Hermitian ? "her2k" : "syr2k";
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    const int rows = opRows(trans, n, k), cols = opRows(trans, k, n);
    if (!validFill(uplo) || !validRankKTrans<Hermitian, T>(trans)) return kInvalid;
    if (n < 0 || k < 0) return kInvalid;
    if (lda < std::max(1, rows)) return kInvalid;
    if (ldb < std::max(1, rows)) return kInvalid;
    if (ldc < std::max(1, n)) return kInvalid;
    if (!alpha || !beta) return kInvalid;

    const Scalar<T> a = call.scalar(alpha);
    const Scalar<S> b = call.scalar(beta);
    if (n == 0) return call.quickReturn(op);
    const T* dA = call.matrix(A, rows, cols, lda);
    const T* dB = call.matrix(B, rows, cols, ldb);
    T* dC = call.matrix(C, n, n, ldc);
    const CBLAS_UPLO cuplo = cblasFill(uplo);
    const CBLAS_TRANSPOSE ctrans = cblasOp<T>(trans);
    const double kn2 = double(k) * n * n;
    return call.run(op, flops<T>(kn2, kn2 + n), [=] {
        const T av = a.get();
        const S bv = b.get();
        if constexpr (Hermitian) {
            pickComplex<T>(cblas_cher2k, cblas_zher2k)(CblasColMajor, cuplo, ctrans, n, k, &av, dA,
                                                       lda, dB, ldb, bv, dC, ldc);
        } else {
            pick<T>(cblas_ssyr2k, cblas_dsyr2k, cblas_csyr2k, cblas_zsyr2k)(
                CblasColMajor, cuplo, ctrans, n, k, byBlas(av), dA, lda, dB, ldb, byBlas(bv), dC,
                ldc);
        }
    });
}

// Operation count of a triangular multiply or solve with an m x n right-hand side.
template <typename T>
double triangularFlops(cublasSideMode_t side, int m, int n) {
    const double order = side == CUBLAS_SIDE_LEFT ? m : n;
    const double other = side == CUBLAS_SIDE_LEFT ? n : m;
    return flops<T>(0.5 * other * order * (order + 1), 0.5 * other * order * (order - 1));
}

// The checks trsm and trmm share: the enums, the sizes, A's leading dimension, B's and alpha.
inline bool validTriangular(cublasSideMode_t side, cublasFillMode_t uplo, cublasOperation_t trans,
                            cublasDiagType_t diag, int m, int n, int lda, int ldb,
                            const void* alpha) {
    const int orderA = side == CUBLAS_SIDE_LEFT ? m : n;
    if (!validSide(side) || !validFill(uplo) || !validOp(trans) || !validDiag(diag)) return false;
    if (m < 0 || n < 0) return false;
    if (lda < std::max(1, orderA)) return false;
    if (ldb < std::max(1, m)) return false;
    return alpha != nullptr;
}

// Solves op(A) * X = alpha * B (left) or X * op(A) = alpha * B (right); X overwrites B.
template <typename T>
cublasStatus_t trsm(const char* name, cublasHandle_t handle, cublasSideMode_t side,
                    cublasFillMode_t uplo, cublasOperation_t trans, cublasDiagType_t diag, int m,
                    int n, const T* alpha, const T* A, int lda, T* B, int ldb) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!validTriangular(side, uplo, trans, diag, m, n, lda, ldb, alpha)) return kInvalid;

    const Scalar<T> a = call.scalar(alpha);
    if (m == 0 || n == 0) return call.quickReturn("trsm");
    const int orderA = side == CUBLAS_SIDE_LEFT ? m : n;
    const T* dA = call.matrix(A, orderA, orderA, lda);
    T* dB = call.matrix(B, m, n, ldb);
    const CBLAS_SIDE cside = cblasSide(side);
    const CBLAS_UPLO cuplo = cblasFill(uplo);
    const CBLAS_TRANSPOSE ctrans = cblasOp<T>(trans);
    const CBLAS_DIAG cdiag = cblasDiag(diag);
    return call.run("trsm", triangularFlops<T>(side, m, n), [=] {
        const T av = a.get();
        pick<T>(cblas_strsm, cblas_dtrsm, cblas_ctrsm, cblas_ztrsm)(
            CblasColMajor, cside, cuplo, ctrans, cdiag, m, n, byBlas(av), dA, lda, dB, ldb);
    });
}

// C = alpha * op(A) * B (left) or alpha * B * op(A) (right), out of place: B is only read,
// unless C is B with the same leading dimension, which is the in-place product.
template <typename T>
cublasStatus_t trmm(const char* name, cublasHandle_t handle, cublasSideMode_t side,
                    cublasFillMode_t uplo, cublasOperation_t trans, cublasDiagType_t diag, int m,
                    int n, const T* alpha, const T* A, int lda, const T* B, int ldb, T* C,
                    int ldc) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!validTriangular(side, uplo, trans, diag, m, n, lda, ldb, alpha)) return kInvalid;
    if (ldc < std::max(1, m)) return kInvalid;

    const Scalar<T> a = call.scalar(alpha);
    if (m == 0 || n == 0) return call.quickReturn("trmm");
    const int orderA = side == CUBLAS_SIDE_LEFT ? m : n;
    const T* dA = call.matrix(A, orderA, orderA, lda);
    const T* dB = call.matrix(B, m, n, ldb);
    T* dC = call.matrix(C, m, n, ldc);
    const CBLAS_SIDE cside = cblasSide(side);
    const CBLAS_UPLO cuplo = cblasFill(uplo);
    const CBLAS_TRANSPOSE ctrans = cblasOp<T>(trans);
    const CBLAS_DIAG cdiag = cblasDiag(diag);
    return call.run("trmm", triangularFlops<T>(side, m, n), [=] {
        if (dC != dB || ldb != ldc) {
            // Through a packed copy, so that a C overlapping B still receives B's values.
            std::vector<T> packed(size_t(m) * n);
            for (int64_t j = 0; j < n; ++j) {
                std::memcpy(&packed[j * m], dB + j * ldb, sizeof(T) * m);
            }
            for (int64_t j = 0; j < n; ++j) {
                std::memcpy(dC + j * ldc, &packed[j * m], sizeof(T) * m);
            }
        }
        const T av = a.get();
        pick<T>(cblas_strmm, cblas_dtrmm, cblas_ctrmm, cblas_ztrmm)(
            CblasColMajor, cside, cuplo, ctrans, cdiag, m, n, byBlas(av), dA, lda, dC, ldc);
    });
}

}  // namespace
}  // namespace emu::blas

using emu::blas::native;

// ---- exported symbols, one macro invocation per precision ---------------------------------------

extern "C" {

#define EMU_BLAS_GEMM(P, T)                                                                     \
    cublasStatus_t cublas##P##gemm_v2(cublasHandle_t handle, cublasOperation_t transa,          \
                                      cublasOperation_t transb, int m, int n, int k,            \
                                      const T* alpha, const T* A, int lda, const T* B, int ldb, \
                                      const T* beta, T* C, int ldc) {                           \
        return emu::blas::gemm("cublas" #P "gemm_v2", handle, transa, transb, m, n, k,          \
                               native(alpha), native(A), lda, native(B), ldb, native(beta),     \
                               native(C), ldc);                                                 \
    }
EMU_BLAS_GEMM(S, float)
EMU_BLAS_GEMM(D, double)
EMU_BLAS_GEMM(C, cuComplex)
EMU_BLAS_GEMM(Z, cuDoubleComplex)

#define EMU_BLAS_SYMM(P, T, OP, HERMITIAN)                                                        \
    cublasStatus_t cublas##P##OP##_v2(                                                            \
        cublasHandle_t handle, cublasSideMode_t side, cublasFillMode_t uplo, int m, int n,        \
        const T* alpha, const T* A, int lda, const T* B, int ldb, const T* beta, T* C, int ldc) { \
        return emu::blas::symm<HERMITIAN>("cublas" #P #OP "_v2", handle, side, uplo, m, n,        \
                                          native(alpha), native(A), lda, native(B), ldb,          \
                                          native(beta), native(C), ldc);                          \
    }
EMU_BLAS_SYMM(S, float, symm, false)
EMU_BLAS_SYMM(D, double, symm, false)
EMU_BLAS_SYMM(C, cuComplex, symm, false)
EMU_BLAS_SYMM(Z, cuDoubleComplex, symm, false)
EMU_BLAS_SYMM(C, cuComplex, hemm, true)
EMU_BLAS_SYMM(Z, cuDoubleComplex, hemm, true)

#define EMU_BLAS_SYRK(P, T, S, OP, HERMITIAN)                                                     \
    cublasStatus_t cublas##P##OP##_v2(cublasHandle_t handle, cublasFillMode_t uplo,               \
                                      cublasOperation_t trans, int n, int k, const S* alpha,      \
                                      const T* A, int lda, const S* beta, T* C, int ldc) {        \
        return emu::blas::syrk<HERMITIAN>("cublas" #P #OP "_v2", handle, uplo, trans, n, k,       \
                                          native(alpha), native(A), lda, native(beta), native(C), \
                                          ldc);                                                   \
    }
EMU_BLAS_SYRK(S, float, float, syrk, false)
EMU_BLAS_SYRK(D, double, double, syrk, false)
EMU_BLAS_SYRK(C, cuComplex, cuComplex, syrk, false)
EMU_BLAS_SYRK(Z, cuDoubleComplex, cuDoubleComplex, syrk, false)
EMU_BLAS_SYRK(C, cuComplex, float, herk, true)
EMU_BLAS_SYRK(Z, cuDoubleComplex, double, herk, true)

#define EMU_BLAS_SYR2K(P, T, S, OP, HERMITIAN)                                                    \
    cublasStatus_t cublas##P##OP##_v2(                                                            \
        cublasHandle_t handle, cublasFillMode_t uplo, cublasOperation_t trans, int n, int k,      \
        const T* alpha, const T* A, int lda, const T* B, int ldb, const S* beta, T* C, int ldc) { \
        return emu::blas::syr2k<HERMITIAN>("cublas" #P #OP "_v2", handle, uplo, trans, n, k,      \
                                           native(alpha), native(A), lda, native(B), ldb,         \
                                           native(beta), native(C), ldc);                         \
    }
EMU_BLAS_SYR2K(S, float, float, syr2k, false)
EMU_BLAS_SYR2K(D, double, double, syr2k, false)
EMU_BLAS_SYR2K(C, cuComplex, cuComplex, syr2k, false)
EMU_BLAS_SYR2K(Z, cuDoubleComplex, cuDoubleComplex, syr2k, false)
EMU_BLAS_SYR2K(C, cuComplex, float, her2k, true)
EMU_BLAS_SYR2K(Z, cuDoubleComplex, double, her2k, true)

#define EMU_BLAS_TRSM(P, T)                                                                  \
    cublasStatus_t cublas##P##trsm_v2(cublasHandle_t handle, cublasSideMode_t side,          \
                                      cublasFillMode_t uplo, cublasOperation_t trans,        \
                                      cublasDiagType_t diag, int m, int n, const T* alpha,   \
                                      const T* A, int lda, T* B, int ldb) {                  \
        return emu::blas::trsm("cublas" #P "trsm_v2", handle, side, uplo, trans, diag, m, n, \
                               native(alpha), native(A), lda, native(B), ldb);               \
    }
EMU_BLAS_TRSM(S, float)
EMU_BLAS_TRSM(D, double)
EMU_BLAS_TRSM(C, cuComplex)
EMU_BLAS_TRSM(Z, cuDoubleComplex)

#define EMU_BLAS_TRMM(P, T)                                                                      \
    cublasStatus_t cublas##P##trmm_v2(cublasHandle_t handle, cublasSideMode_t side,              \
                                      cublasFillMode_t uplo, cublasOperation_t trans,            \
                                      cublasDiagType_t diag, int m, int n, const T* alpha,       \
                                      const T* A, int lda, const T* B, int ldb, T* C, int ldc) { \
        return emu::blas::trmm("cublas" #P "trmm_v2", handle, side, uplo, trans, diag, m, n,     \
                               native(alpha), native(A), lda, native(B), ldb, native(C), ldc);   \
    }
EMU_BLAS_TRMM(S, float)
EMU_BLAS_TRMM(D, double)
EMU_BLAS_TRMM(C, cuComplex)
EMU_BLAS_TRMM(Z, cuDoubleComplex)

}  // extern "C"
