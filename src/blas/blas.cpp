// blas.cpp - the exported BLAS routines, once for every precision.
//
// Each operation has
//   - a device body (gemm<T>, ...): maps the option characters (toOperation and friends) and
//     calls cuBLAS once on the thread's handle, scalars by the address of host copies. It checks
//     no argument and deliberately does not examine the cuBLAS status: only the frame's post-call
//     check (synchronise, then the CUDA error check) can turn a failure into a status;
//   - a host body (host::gemm<T>, ...): upper-cases the option characters, checks the arguments in
//     the order of its table below, mirrors the host arrays, runs the operation nested in a
//     device frame through the checked wrapper (a cuBLAS failure is status 9 and nothing is
//     copied back), and copies the written array back.
//
// Host argument checks, in order (the first failure wins; the info is minus the position of the
// argument in the exported signature). Leading dimensions are compared with the row counts only
// (no lower bound of 1, so lda = 0 is accepted for a matrix without rows); increments must not be
// 0; pointers are checked only when the problem is not empty. "ka" is the row count of A as
// stored ("rows of op(A)" for the transposing forms).
//
//   gemm  (transa1 transb2 m3 n4 k5 alpha6 a7 lda8 b9 ldb10 beta11 c12 ldc13)
//         transa !NTC -1, transb !NTC -2, m<0 -3, n<0 -4, k<0 -5, lda<(N? m:k) -8,
//         ldb<(N? k:n) -10, ldc<m -13; m,n or k = 0 skips the pointer checks; a -7, b -9, c -12
//   symm/hemm (side1 uplo2 m3 n4 alpha5 a6 lda7 b8 ldb9 beta10 c11 ldc12)
//         side !LR -1, uplo !UL -2, m<0 -3, n<0 -4, lda<(L? m:n) -7, ldb<m -9, ldc<m -12;
//         empty when m or n = 0; a -6, b -8, c -11
//   syrk/herk (uplo1 trans2 n3 k4 alpha5 a6 lda7 beta8 c9 ldc10)
//         uplo -1, trans -2 (syrk: real NTC, complex NT; herk: NC), n<0 -3, k<0 -4,
//         lda<(N? n:k) -7, ldc<n -10; n or k = 0 skips the pointer checks; a -6, c -9
//   syr2k/her2k (uplo1 trans2 n3 k4 alpha5 a6 lda7 b8 ldb9 beta10 c11 ldc12)
//         uplo -1, trans -2 (as syrk/herk), n<0 -3, k<0 -4, lda<(N? n:k) -7,
//         ldb<(N? n:k) -9, ldc<n -12; n or k = 0 skips the pointer checks; a -6, b -8, c -11
//   trsm/trmm (side1 uplo2 transa3 diag4 m5 n6 alpha7 a8 lda9 b10 ldb11)
//         side -1, uplo -2, transa !NTC -3, diag !UN -4, m<0 -5, n<0 -6, lda<(L? m:n) -9,
//         ldb<m -11; empty when m or n = 0; a -8, b -10
//   gemv  (trans1 m2 n3 alpha4 a5 lda6 x7 incx8 beta9 y10 incy11)
//         trans !NTC -1, m<0 -2, n<0 -3, lda<m -6, incx=0 -8, incy=0 -11; empty when m or n = 0;
//         a -5, x -7, y -10
//   symv/hemv (uplo1 n2 alpha3 a4 lda5 x6 incx7 beta8 y9 incy10)
//         uplo -1, n<0 -2, lda<n -5, incx=0 -7, incy=0 -10; empty when n = 0; a -4, x -6, y -9
//
// Transfers: read-only arrays are copied in; the written array is copied out only when beta
// compares equal to 0 (a NaN beta uploads) for gemm, symm/hemm and the vectors of gemv/symv/hemv;
// the triangle-updating syrk/herk/syr2k/her2k always copy C in and out (the other triangle must
// come back unchanged); trsm/trmm copy B in and out. A gemm/syrk/syr2k with k = 0 still computes
// C = beta * C (no copy of A or B); when its C is null there is nothing to do.
#include "blas/cublas.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"

#include <algorithm>

namespace zuli {

namespace {

// Transfer mode of an array written with a beta factor: not read when beta is exactly 0.
template <typename S>
unsigned outputFlags(const S& beta) {
    return beta == S(0) ? MirrorOut : (MirrorIn | MirrorOut);
}

// The leading dimension to pass for a mirrored matrix of `rows` rows: the mirror's own, or for an
// empty mirror (no columns) the smallest one cuBLAS accepts.
template <typename M>
int deviceLd(const M& mirror, int rows) {
    return std::max({mirror.ld(), rows, 1});
}

// The transpose letters a symmetric/Hermitian rank-k update accepts in the host interface.
template <typename T>
const char* rankUpdateLetters(bool hermitian) {
    if constexpr (!IsComplexV<T>)
        return "NTC";
    else
        return hermitian ? "NC" : "NT";
}

}  // namespace

// ---- device interface
// ------------------------------------------------------------------------------

template <typename T>
void gemm(const CallContext& ctx, char transa, char transb, int m, int n, int k, T alpha,
          const T* a, int lda, const T* b, int ldb, T beta, T* c, int ldc) {
    (void)blas::unchecked::gemm(ctx.handle, blas::toOperation(transa), blas::toOperation(transb), m,
                                n, k, &alpha, a, lda, b, ldb, &beta, c, ldc);
}

template <typename T, bool Hermitian>
void symmetricMultiply(const CallContext& ctx, char side, char uplo, int m, int n, T alpha,
                       const T* a, int lda, const T* b, int ldb, T beta, T* c, int ldc) {
    auto op = Hermitian ? blas::unchecked::hemm<T> : blas::unchecked::symm<T>;
    (void)op(ctx.handle, blas::toSideMode(side), blas::toFillMode(uplo), m, n, &alpha, a, lda, b,
             ldb, &beta, c, ldc);
}

template <typename T>
void syrk(const CallContext& ctx, char uplo, char trans, int n, int k, T alpha, const T* a, int lda,
          T beta, T* c, int ldc) {
    (void)blas::unchecked::syrk(ctx.handle, blas::toFillMode(uplo), blas::toOperation(trans), n, k,
                                &alpha, a, lda, &beta, c, ldc);
}

template <typename T>
void herk(const CallContext& ctx, char uplo, char trans, int n, int k, blas::Real<T> alpha,
          const T* a, int lda, blas::Real<T> beta, T* c, int ldc) {
    (void)blas::unchecked::herk(ctx.handle, blas::toFillMode(uplo), blas::toOperation(trans), n, k,
                                &alpha, a, lda, &beta, c, ldc);
}

template <typename T>
void syr2k(const CallContext& ctx, char uplo, char trans, int n, int k, T alpha, const T* a,
           int lda, const T* b, int ldb, T beta, T* c, int ldc) {
    (void)blas::unchecked::syr2k(ctx.handle, blas::toFillMode(uplo), blas::toOperation(trans), n, k,
                                 &alpha, a, lda, b, ldb, &beta, c, ldc);
}

template <typename T>
void her2k(const CallContext& ctx, char uplo, char trans, int n, int k, T alpha, const T* a,
           int lda, const T* b, int ldb, blas::Real<T> beta, T* c, int ldc) {
    (void)blas::unchecked::her2k(ctx.handle, blas::toFillMode(uplo), blas::toOperation(trans), n, k,
                                 &alpha, a, lda, b, ldb, &beta, c, ldc);
}

template <typename T>
void trsm(const CallContext& ctx, char side, char uplo, char transa, char diag, int m, int n,
          T alpha, const T* a, int lda, T* b, int ldb) {
    (void)blas::unchecked::trsm(ctx.handle, blas::toSideMode(side), blas::toFillMode(uplo),
                                blas::toOperation(transa), blas::toDiagType(diag), m, n, &alpha, a,
                                lda, b, ldb);
}

// B = alpha * op(A) * B in place: the out-of-place cuBLAS form with C = B.
template <typename T>
void trmm(const CallContext& ctx, char side, char uplo, char transa, char diag, int m, int n,
          T alpha, const T* a, int lda, T* b, int ldb) {
    (void)blas::unchecked::trmm(ctx.handle, blas::toSideMode(side), blas::toFillMode(uplo),
                                blas::toOperation(transa), blas::toDiagType(diag), m, n, &alpha, a,
                                lda, b, ldb, b, ldb);
}

template <typename T>
void gemv(const CallContext& ctx, char trans, int m, int n, T alpha, const T* a, int lda,
          const T* x, int incx, T beta, T* y, int incy) {
    (void)blas::unchecked::gemv(ctx.handle, blas::toOperation(trans), m, n, &alpha, a, lda, x, incx,
                                &beta, y, incy);
}

template <typename T, bool Hermitian>
void symmetricVector(const CallContext& ctx, char uplo, int n, T alpha, const T* a, int lda,
                     const T* x, int incx, T beta, T* y, int incy) {
    auto op = Hermitian ? blas::unchecked::hemv<T> : blas::unchecked::symv<T>;
    (void)op(ctx.handle, blas::toFillMode(uplo), n, &alpha, a, lda, x, incx, &beta, y, incy);
}

template <typename T>
void symm(const CallContext& ctx, char side, char uplo, int m, int n, T alpha, const T* a, int lda,
          const T* b, int ldb, T beta, T* c, int ldc) {
    symmetricMultiply<T, false>(ctx, side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc);
}
template <typename T>
void hemm(const CallContext& ctx, char side, char uplo, int m, int n, T alpha, const T* a, int lda,
          const T* b, int ldb, T beta, T* c, int ldc) {
    symmetricMultiply<T, true>(ctx, side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc);
}
template <typename T>
void symv(const CallContext& ctx, char uplo, int n, T alpha, const T* a, int lda, const T* x,
          int incx, T beta, T* y, int incy) {
    symmetricVector<T, false>(ctx, uplo, n, alpha, a, lda, x, incx, beta, y, incy);
}
template <typename T>
void hemv(const CallContext& ctx, char uplo, int n, T alpha, const T* a, int lda, const T* x,
          int incx, T beta, T* y, int incy) {
    symmetricVector<T, true>(ctx, uplo, n, alpha, a, lda, x, incx, beta, y, incy);
}

namespace host {

// ---- host interface
// --------------------------------------------------------------------------------

template <typename T>
CallResult gemm(const CallContext& ctx, char transa, char transb, int m, int n, int k, T alpha,
                const T* a, int lda, const T* b, int ldb, T beta, T* c, int ldc) {
    transa = upperOption(transa);
    transb = upperOption(transb);
    failIf(!isOneOf(transa, "NTC"), 1);
    failIf(!isOneOf(transb, "NTC"), 2);
    failIf(m < 0, 3);
    failIf(n < 0, 4);
    failIf(k < 0, 5);
    const int rowsA = transa == 'N' ? m : k, colsA = transa == 'N' ? k : m;
    const int rowsB = transb == 'N' ? k : n, colsB = transb == 'N' ? n : k;
    failIf(lda < rowsA, 8);
    failIf(ldb < rowsB, 10);
    failIf(ldc < m, 13);
    if (m == 0 || n == 0) return {};
    if (k == 0 && c == nullptr) return {};
    if (k != 0) {
        failIf(a == nullptr, 7);
        failIf(b == nullptr, 9);
        failIf(c == nullptr, 12);
    }
    HostArrayMirror<T> A(ctx, rowsA, colsA, a, lda, MirrorIn);
    HostArrayMirror<T> B(ctx, rowsB, colsB, b, ldb, MirrorIn);
    HostArrayMirror<T> C(ctx, m, n, c, ldc, outputFlags(beta));
    return runOnDevice<T>(
        [&](const CallContext& d) {
            blas::gemm(d, blas::toOperation(transa), blas::toOperation(transb), m, n, k, &alpha,
                       A.device(), deviceLd(A, rowsA), B.device(), deviceLd(B, rowsB), &beta,
                       C.device(), C.ld());
        },
        C);
}

template <typename T, bool Hermitian>
CallResult symmetricMultiply(const CallContext& ctx, char side, char uplo, int m, int n, T alpha,
                             const T* a, int lda, const T* b, int ldb, T beta, T* c, int ldc) {
    side = upperOption(side);
    uplo = upperOption(uplo);
    failIf(!isOneOf(side, "LR"), 1);
    failIf(!isOneOf(uplo, "UL"), 2);
    failIf(m < 0, 3);
    failIf(n < 0, 4);
    const int orderA = side == 'L' ? m : n;
    failIf(lda < orderA, 7);
    failIf(ldb < m, 9);
    failIf(ldc < m, 12);
    if (m == 0 || n == 0) return {};
    failIf(a == nullptr, 6);
    failIf(b == nullptr, 8);
    failIf(c == nullptr, 11);
    HostArrayMirror<T> A(ctx, orderA, orderA, a, lda, MirrorIn);
    HostArrayMirror<T> B(ctx, m, n, b, ldb, MirrorIn);
    HostArrayMirror<T> C(ctx, m, n, c, ldc, outputFlags(beta));
    return runOnDevice<T>(
        [&](const CallContext& d) {
            auto op = [&](auto&&... args) {
                if constexpr (Hermitian)
                    blas::hemm(d, args...);
                else
                    blas::symm(d, args...);
            };
            op(blas::toSideMode(side), blas::toFillMode(uplo), m, n, &alpha, A.device(), A.ld(),
               B.device(), B.ld(), &beta, C.device(), C.ld());
        },
        C);
}

// The rank-k and rank-2k updates of the `uplo` triangle of C: syrk / herk (b null, TwoOperands
// false) C = alpha op(A) op(A)^T|H + beta C, and syr2k / her2k C = alpha op(A) op(B)^T|H +
// conj(alpha) op(B) op(A)^T|H + beta C. S is T, or its real type for the Hermitian forms (both
// scalars of herk, beta of her2k; A is the type of alpha). The positions of b and ldb exist in
// the 2k forms only, and shift those after them by two.
template <typename T, bool Hermitian, bool TwoOperands, typename A, typename S>
CallResult rankUpdate(const CallContext& ctx, char uplo, char trans, int n, int k, A alpha,
                      const T* a, int lda, const T* b, int ldb, S beta, T* c, int ldc) {
    constexpr int shift = TwoOperands ? 2 : 0;
    uplo = upperOption(uplo);
    trans = upperOption(trans);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(!isOneOf(trans, rankUpdateLetters<T>(Hermitian)), 2);
    failIf(n < 0, 3);
    failIf(k < 0, 4);
    const int rows = trans == 'N' ? n : k, cols = trans == 'N' ? k : n;
    failIf(lda < rows, 7);
    if (TwoOperands) failIf(ldb < rows, 9);
    failIf(ldc < n, 10 + shift);
    if (n == 0) return {};
    if (k == 0 && c == nullptr) return {};
    if (k != 0) {
        failIf(a == nullptr, 6);
        if (TwoOperands) failIf(b == nullptr, 8);
        failIf(c == nullptr, 9 + shift);
    }
    // A real 'C' means transpose; cuBLAS gets the letter its real routines document.
    const cublasOperation_t op = trans == 'N'                      ? CUBLAS_OP_N
                                 : (IsComplexV<T> && trans == 'C') ? CUBLAS_OP_C
                                                                   : CUBLAS_OP_T;
    HostArrayMirror<T> MA(ctx, rows, cols, a, lda, MirrorIn);
    HostArrayMirror<T> MB(ctx, TwoOperands ? rows : 0, cols, b, ldb, MirrorIn);
    HostArrayMirror<T> MC(ctx, n, n, c, ldc, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& d) {
            const auto fill = blas::toFillMode(uplo);
            const int ldA = deviceLd(MA, rows);
            if constexpr (TwoOperands && Hermitian)
                blas::her2k(d, fill, op, n, k, &alpha, MA.device(), ldA, MB.device(),
                            deviceLd(MB, rows), &beta, MC.device(), MC.ld());
            else if constexpr (TwoOperands)
                blas::syr2k(d, fill, op, n, k, &alpha, MA.device(), ldA, MB.device(),
                            deviceLd(MB, rows), &beta, MC.device(), MC.ld());
            else if constexpr (Hermitian)
                blas::herk(d, fill, op, n, k, &alpha, MA.device(), ldA, &beta, MC.device(),
                           MC.ld());
            else
                blas::syrk(d, fill, op, n, k, &alpha, MA.device(), ldA, &beta, MC.device(),
                           MC.ld());
        },
        MC);
}

// trsm (Solve true) and trmm: B = alpha * op(A)^-1|1 * B (left) or B * op(A)^-1|1 (right).
template <typename T, bool Solve>
CallResult triangular(const CallContext& ctx, char side, char uplo, char transa, char diag, int m,
                      int n, T alpha, const T* a, int lda, T* b, int ldb) {
    side = upperOption(side);
    uplo = upperOption(uplo);
    transa = upperOption(transa);
    diag = upperOption(diag);
    failIf(!isOneOf(side, "LR"), 1);
    failIf(!isOneOf(uplo, "UL"), 2);
    failIf(!isOneOf(transa, "NTC"), 3);
    failIf(!isOneOf(diag, "UN"), 4);
    failIf(m < 0, 5);
    failIf(n < 0, 6);
    const int orderA = side == 'L' ? m : n;
    failIf(lda < orderA, 9);
    failIf(ldb < m, 11);
    if (m == 0 || n == 0) return {};
    failIf(a == nullptr, 8);
    failIf(b == nullptr, 10);
    HostArrayMirror<T> A(ctx, orderA, orderA, a, lda, MirrorIn);
    HostArrayMirror<T> B(ctx, m, n, b, ldb, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& d) {
            const auto s = blas::toSideMode(side);
            const auto u = blas::toFillMode(uplo);
            const auto t = blas::toOperation(transa);
            const auto g = blas::toDiagType(diag);
            if constexpr (Solve)
                blas::trsm(d, s, u, t, g, m, n, &alpha, A.device(), A.ld(), B.device(), B.ld());
            else
                blas::trmm(d, s, u, t, g, m, n, &alpha, A.device(), A.ld(), B.device(), B.ld(),
                           B.device(), B.ld());
        },
        B);
}

template <typename T>
CallResult gemv(const CallContext& ctx, char trans, int m, int n, T alpha, const T* a, int lda,
                const T* x, int incx, T beta, T* y, int incy) {
    trans = upperOption(trans);
    failIf(!isOneOf(trans, "NTC"), 1);
    failIf(m < 0, 2);
    failIf(n < 0, 3);
    failIf(lda < m, 6);
    failIf(incx == 0, 8);
    failIf(incy == 0, 11);
    if (m == 0 || n == 0) return {};
    failIf(a == nullptr, 5);
    failIf(x == nullptr, 7);
    failIf(y == nullptr, 10);
    const int lenX = trans == 'N' ? n : m, lenY = trans == 'N' ? m : n;
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn);
    HostVectorMirror<T> X(lenX, x, incx, MirrorIn);
    HostVectorMirror<T> Y(lenY, y, incy, outputFlags(beta));
    return runOnDevice<T>(
        [&](const CallContext& d) {
            blas::gemv(d, blas::toOperation(trans), m, n, &alpha, A.device(), A.ld(), X.device(),
                       X.inc(), &beta, Y.device(), Y.inc());
        },
        Y);
}

template <typename T, bool Hermitian>
CallResult symmetricVector(const CallContext& ctx, char uplo, int n, T alpha, const T* a, int lda,
                           const T* x, int incx, T beta, T* y, int incy) {
    uplo = upperOption(uplo);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(n < 0, 2);
    failIf(lda < n, 5);
    failIf(incx == 0, 7);
    failIf(incy == 0, 10);
    if (n == 0) return {};
    failIf(a == nullptr, 4);
    failIf(x == nullptr, 6);
    failIf(y == nullptr, 9);
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn);
    HostVectorMirror<T> X(n, x, incx, MirrorIn);
    HostVectorMirror<T> Y(n, y, incy, outputFlags(beta));
    return runOnDevice<T>(
        [&](const CallContext& d) {
            if constexpr (Hermitian)
                blas::hemv(d, blas::toFillMode(uplo), n, &alpha, A.device(), A.ld(), X.device(),
                           X.inc(), &beta, Y.device(), Y.inc());
            else
                blas::symv(d, blas::toFillMode(uplo), n, &alpha, A.device(), A.ld(), X.device(),
                           X.inc(), &beta, Y.device(), Y.inc());
        },
        Y);
}

template <typename T>
CallResult symm(const CallContext& ctx, char side, char uplo, int m, int n, T alpha, const T* a,
                int lda, const T* b, int ldb, T beta, T* c, int ldc) {
    return host::symmetricMultiply<T, false>(ctx, side, uplo, m, n, alpha, a, lda, b, ldb, beta, c,
                                             ldc);
}
template <typename T>
CallResult hemm(const CallContext& ctx, char side, char uplo, int m, int n, T alpha, const T* a,
                int lda, const T* b, int ldb, T beta, T* c, int ldc) {
    return host::symmetricMultiply<T, true>(ctx, side, uplo, m, n, alpha, a, lda, b, ldb, beta, c,
                                            ldc);
}
template <typename T>
CallResult syrk(const CallContext& ctx, char uplo, char trans, int n, int k, T alpha, const T* a,
                int lda, T beta, T* c, int ldc) {
    return host::rankUpdate<T, false, false>(ctx, uplo, trans, n, k, alpha, a, lda,
                                             static_cast<const T*>(nullptr), 0, beta, c, ldc);
}
template <typename T>
CallResult herk(const CallContext& ctx, char uplo, char trans, int n, int k, blas::Real<T> alpha,
                const T* a, int lda, blas::Real<T> beta, T* c, int ldc) {
    return host::rankUpdate<T, true, false>(ctx, uplo, trans, n, k, alpha, a, lda,
                                            static_cast<const T*>(nullptr), 0, beta, c, ldc);
}
template <typename T>
CallResult syr2k(const CallContext& ctx, char uplo, char trans, int n, int k, T alpha, const T* a,
                 int lda, const T* b, int ldb, T beta, T* c, int ldc) {
    return host::rankUpdate<T, false, true>(ctx, uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c,
                                            ldc);
}
template <typename T>
CallResult her2k(const CallContext& ctx, char uplo, char trans, int n, int k, T alpha, const T* a,
                 int lda, const T* b, int ldb, blas::Real<T> beta, T* c, int ldc) {
    return host::rankUpdate<T, true, true>(ctx, uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c,
                                           ldc);
}
template <typename T>
CallResult trsm(const CallContext& ctx, char side, char uplo, char transa, char diag, int m, int n,
                T alpha, const T* a, int lda, T* b, int ldb) {
    return host::triangular<T, true>(ctx, side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);
}
template <typename T>
CallResult trmm(const CallContext& ctx, char side, char uplo, char transa, char diag, int m, int n,
                T alpha, const T* a, int lda, T* b, int ldb) {
    return host::triangular<T, false>(ctx, side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);
}
template <typename T>
CallResult symv(const CallContext& ctx, char uplo, int n, T alpha, const T* a, int lda, const T* x,
                int incx, T beta, T* y, int incy) {
    return host::symmetricVector<T, false>(ctx, uplo, n, alpha, a, lda, x, incx, beta, y, incy);
}
template <typename T>
CallResult hemv(const CallContext& ctx, char uplo, int n, T alpha, const T* a, int lda, const T* x,
                int incx, T beta, T* y, int incy) {
    return host::symmetricVector<T, true>(ctx, uplo, n, alpha, a, lda, x, incx, beta, y, incy);
}

}  // namespace host

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSgemm zuliDgemm zuliCgemm zuliZgemm
// zuliDeviceSgemm zuliDeviceDgemm zuliDeviceCgemm zuliDeviceZgemm
ZULI_EXPORT(ALL, gemm,
            (char transa, char transb, int m, int n, int k, P alpha, const P* a, int lda,
             const P* b, int ldb, P beta, P* c, int ldc),
            (transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc))

#define ZULI_SYMM_PARAMS                                                                    \
    (char side, char uplo, int m, int n, P alpha, const P* a, int lda, const P* b, int ldb, \
     P beta, P* c, int ldc)
#define ZULI_SYMM_ARGS (side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc)
// zuliSsymm zuliDsymm zuliCsymm zuliZsymm
// zuliDeviceSsymm zuliDeviceDsymm zuliDeviceCsymm zuliDeviceZsymm
ZULI_EXPORT(ALL, symm, ZULI_SYMM_PARAMS, ZULI_SYMM_ARGS)
// zuliChemm zuliZhemm zuliDeviceChemm zuliDeviceZhemm
ZULI_EXPORT(COMPLEX, hemm, ZULI_SYMM_PARAMS, ZULI_SYMM_ARGS)

// zuliSsyrk zuliDsyrk zuliCsyrk zuliZsyrk
// zuliDeviceSsyrk zuliDeviceDsyrk zuliDeviceCsyrk zuliDeviceZsyrk
ZULI_EXPORT(ALL, syrk,
            (char uplo, char trans, int n, int k, P alpha, const P* a, int lda, P beta, P* c,
             int ldc),
            (uplo, trans, n, k, alpha, a, lda, beta, c, ldc))
// zuliCherk zuliZherk zuliDeviceCherk zuliDeviceZherk
ZULI_EXPORT(COMPLEX, herk,
            (char uplo, char trans, int n, int k, R alpha, const P* a, int lda, R beta, P* c,
             int ldc),
            (uplo, trans, n, k, alpha, a, lda, beta, c, ldc))

#define ZULI_RANK2K_ARGS (uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc)
// zuliSsyr2k zuliDsyr2k zuliCsyr2k zuliZsyr2k
// zuliDeviceSsyr2k zuliDeviceDsyr2k zuliDeviceCsyr2k zuliDeviceZsyr2k
ZULI_EXPORT(ALL, syr2k,
            (char uplo, char trans, int n, int k, P alpha, const P* a, int lda, const P* b, int ldb,
             P beta, P* c, int ldc),
            ZULI_RANK2K_ARGS)
// zuliCher2k zuliZher2k zuliDeviceCher2k zuliDeviceZher2k
ZULI_EXPORT(COMPLEX, her2k,
            (char uplo, char trans, int n, int k, P alpha, const P* a, int lda, const P* b, int ldb,
             R beta, P* c, int ldc),
            ZULI_RANK2K_ARGS)

#define ZULI_TRIANGULAR_PARAMS                                                                 \
    (char side, char uplo, char transa, char diag, int m, int n, P alpha, const P* a, int lda, \
     P* b, int ldb)
#define ZULI_TRIANGULAR_ARGS (side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb)
// zuliStrsm zuliDtrsm zuliCtrsm zuliZtrsm
// zuliDeviceStrsm zuliDeviceDtrsm zuliDeviceCtrsm zuliDeviceZtrsm
ZULI_EXPORT(ALL, trsm, ZULI_TRIANGULAR_PARAMS, ZULI_TRIANGULAR_ARGS)
// zuliStrmm zuliDtrmm zuliCtrmm zuliZtrmm
// zuliDeviceStrmm zuliDeviceDtrmm zuliDeviceCtrmm zuliDeviceZtrmm
ZULI_EXPORT(ALL, trmm, ZULI_TRIANGULAR_PARAMS, ZULI_TRIANGULAR_ARGS)

// zuliSgemv zuliDgemv zuliCgemv zuliZgemv
// zuliDeviceSgemv zuliDeviceDgemv zuliDeviceCgemv zuliDeviceZgemv
ZULI_EXPORT(ALL, gemv,
            (char trans, int m, int n, P alpha, const P* a, int lda, const P* x, int incx, P beta,
             P* y, int incy),
            (trans, m, n, alpha, a, lda, x, incx, beta, y, incy))

#define ZULI_SYMV_PARAMS \
    (char uplo, int n, P alpha, const P* a, int lda, const P* x, int incx, P beta, P* y, int incy)
#define ZULI_SYMV_ARGS (uplo, n, alpha, a, lda, x, incx, beta, y, incy)
// zuliSsymv zuliDsymv zuliDeviceSsymv zuliDeviceDsymv
ZULI_EXPORT(REAL, symv, ZULI_SYMV_PARAMS, ZULI_SYMV_ARGS)
// zuliChemv zuliZhemv zuliDeviceChemv zuliDeviceZhemv
ZULI_EXPORT(COMPLEX, hemv, ZULI_SYMV_PARAMS, ZULI_SYMV_ARGS)
