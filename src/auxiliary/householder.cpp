// householder.cpp - the exported Householder and plane-rotation routines: larfb (apply a block
// reflector), each as a device routine (zuliDeviceXname) and a host routine (zuliXname).
//
// larfb applies op(H) = I - V op(T) V^H (storev 'C') or I - V^H op(T) V (storev 'R') to C from
// the left or the right, op(T) being T for trans 'N' and T^H for 'T' or 'C' (for the complex
// types both letters mean the conjugate transpose). V is read in place: the k x k block V1 that
// holds its unit triangle (first rows or columns for direct 'F', last for 'B') is used through
// triangular multiplies with a unit diagonal, so the other triangle of that block (where a
// factorization keeps R or L) is neither read nor written. With C1 the k rows (side 'L') or
// columns ('R') of C that meet V1 and C2 the rest, side 'L' and storev 'C' runs
//
//     W  = V1^H C1                 trmm, out of place into the work buffer W (k x n)
//     W += V2^H C2                 gemm
//     W  = op(T) W                 trmm
//     C2 -= V2 W                   gemm
//     W  = -V1 W                   trmm
//     C1 += W                      element-wise kernel
//
// and the other combinations are the same six steps with the products mirrored. W comes from the
// device work-space pool.
#include "auxiliary/auxiliary.h"

#include "blas/cublas.h"
#include "kernels/utility_kernels.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/matrix.h"
#include "runtime/memory.h"

#include <algorithm>

namespace zuli {

// ---- argument checks -----------------------------------------------------------------------

int larfbRowsOfV(char side, char storev, int m, int n, int k) {
    if (storev == 'R') return std::max(1, k);
    return std::max(1, side == 'L' ? m : n);
}

bool larfbArguments(char& side, char& trans, char& direct, char& storev, int m, int n, int k,
                    const void* v, int ldv, const void* t, int ldt, const void* c, int ldc) {
    side = upperOption(side);
    trans = upperOption(trans);
    direct = upperOption(direct);
    storev = upperOption(storev);
    failIf(!isOneOf(side, "LR"), 1);
    failIf(!isOneOf(trans, "TNC"), 2);
    failIf(!isOneOf(direct, "FB"), 3);
    failIf(!isOneOf(storev, "CR"), 4);
    failIf(m < 0, 5);
    failIf(n < 0, 6);
    // The block reflector has k reflectors of order m (side 'L') or n ('R'): more than the order
    // has no meaning and would reach outside V.
    failIf(k < 0 || k > (side == 'L' ? m : n), 7);
    if (m == 0 || n == 0 || k == 0) return false;
    failIf(v == nullptr, 8);
    failIf(ldv < larfbRowsOfV(side, storev, m, n, k), 9);
    failIf(t == nullptr, 10);
    failIf(ldt < k, 11);
    failIf(c == nullptr, 12);
    failIf(ldc < std::max(1, m), 13);
    return true;
}

// ---- device interface ----------------------------------------------------------------------

template <typename T>
void larfb(const CallContext& ctx, char side, char trans, char direct, char storev, int m, int n,
           int k, const T* v, int ldv, const T* t, int ldt, T* c, int ldc) {
    if (!larfbArguments(side, trans, direct, storev, m, n, k, v, ldv, t, ldt, c, ldc)) return;
    const bool left = side == 'L', forward = direct == 'F', columns = storev == 'C';
    const int nq = left ? m : n;  // order of H
    const int rest = nq - k;      // rows (side 'L') or columns of C2
    constexpr cublasOperation_t N = CUBLAS_OP_N, H = CUBLAS_OP_C;
    const cublasOperation_t opT = trans == 'N' ? N : H;
    // T is upper triangular for a forward product, lower for a backward one. V1 is unit lower
    // triangular for (forward, columns) and (backward, rows), unit upper otherwise.
    const cublasFillMode_t fillT = forward ? CUBLAS_FILL_MODE_UPPER : CUBLAS_FILL_MODE_LOWER;
    const cublasFillMode_t fillV1 =
        forward == columns ? CUBLAS_FILL_MODE_LOWER : CUBLAS_FILL_MODE_UPPER;
    // V1, V2 and C1, C2: V1 and C1 are the first k rows / columns for a forward product, the last
    // ones for a backward product.
    const int first1 = forward ? 0 : rest;  // where V1 and C1 start along the order of H
    const int first2 = forward ? k : 0;     // where V2 and C2 start
    const T* v1 = columns ? at(v, ldv, first1, 0) : at(v, ldv, 0, first1);
    const T* v2 = columns ? at(v, ldv, first2, 0) : at(v, ldv, 0, first2);
    T* c1 = left ? at(c, ldc, first1, 0) : at(c, ldc, 0, first1);
    T* c2 = left ? at(c, ldc, first2, 0) : at(c, ldc, 0, first2);
    // V applied as a matrix (op(V) with columns as reflectors): V itself for storev 'C', V^H for
    // 'R'; the products below are written for storev 'C' and flip the operation for 'R'.
    const cublasOperation_t vN = columns ? N : H, vH = columns ? H : N;

    const int wRows = left ? k : m, wCols = left ? n : k;
    const DeviceBuffer<T> work = acquireWorkspace<T>(ctx, int64_t(wRows) * wCols);
    T* w = work.get();
    const int ldw = wRows;
    const T one(1), minusOne(-1);
    if (left) {
        // W = V^H C (k x n)
        blas::trmm(ctx, CUBLAS_SIDE_LEFT, fillV1, vH, CUBLAS_DIAG_UNIT, k, n, &one, v1, ldv, c1,
                   ldc, w, ldw);
        if (rest > 0) blas::gemm(ctx, vH, N, k, n, rest, &one, v2, ldv, c2, ldc, &one, w, ldw);
        blas::trmm(ctx, CUBLAS_SIDE_LEFT, fillT, opT, CUBLAS_DIAG_NON_UNIT, k, n, &one, t, ldt, w,
                   ldw, w, ldw);
        // C = C - V W
        if (rest > 0) blas::gemm(ctx, vN, N, rest, n, k, &minusOne, v2, ldv, w, ldw, &one, c2, ldc);
        blas::trmm(ctx, CUBLAS_SIDE_LEFT, fillV1, vN, CUBLAS_DIAG_UNIT, k, n, &minusOne, v1, ldv, w,
                   ldw, w, ldw);
        launchAddMatrix('N', 'N', k, n, w, ldw, c1, ldc);
    } else {
        // W = C V (m x k)
        blas::trmm(ctx, CUBLAS_SIDE_RIGHT, fillV1, vN, CUBLAS_DIAG_UNIT, m, k, &one, v1, ldv, c1,
                   ldc, w, ldw);
        if (rest > 0) blas::gemm(ctx, N, vN, m, k, rest, &one, c2, ldc, v2, ldv, &one, w, ldw);
        blas::trmm(ctx, CUBLAS_SIDE_RIGHT, fillT, opT, CUBLAS_DIAG_NON_UNIT, m, k, &one, t, ldt, w,
                   ldw, w, ldw);
        // C = C - W V^H
        if (rest > 0) blas::gemm(ctx, N, vH, m, rest, k, &minusOne, w, ldw, v2, ldv, &one, c2, ldc);
        blas::trmm(ctx, CUBLAS_SIDE_RIGHT, fillV1, vH, CUBLAS_DIAG_UNIT, m, k, &minusOne, v1, ldv,
                   w, ldw, w, ldw);
        launchAddMatrix('N', 'N', m, k, w, ldw, c1, ldc);
    }
}

// ---- host interface ------------------------------------------------------------------------

namespace host {

template <typename T>
CallResult larfb(const CallContext& ctx, char side, char trans, char direct, char storev, int m,
                 int n, int k, const T* v, int ldv, const T* t, int ldt, T* c, int ldc) {
    if (!larfbArguments(side, trans, direct, storev, m, n, k, v, ldv, t, ldt, c, ldc)) return {};
    const int nq = side == 'L' ? m : n;
    const bool columns = storev == 'C';
    HostArrayMirror<T> V(ctx, columns ? nq : k, columns ? k : nq, v, ldv, MirrorIn);
    HostArrayMirror<T> TT(ctx, k, k, t, ldt, MirrorIn);
    HostArrayMirror<T> C(ctx, m, n, c, ldc, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& d) {
            zuli::larfb<T>(d, side, trans, direct, storev, m, n, k, V.device(), V.ld(), TT.device(),
                           TT.ld(), C.device(), C.ld());
        },
        C);
}

}  // namespace host

#define ZULI_HOUSEHOLDER_INSTANCES(T)                                                           \
    template void larfb<T>(const CallContext&, char, char, char, char, int, int, int, const T*, \
                           int, const T*, int, T*, int);
ZULI_INSTANTIATE(ZULI_HOUSEHOLDER_INSTANCES)
#undef ZULI_HOUSEHOLDER_INSTANCES

}  // namespace zuli

// ---- exported entry points -----------------------------------------------------------------

// zuliSlarfb zuliDlarfb zuliClarfb zuliZlarfb
// zuliDeviceSlarfb zuliDeviceDlarfb zuliDeviceClarfb zuliDeviceZlarfb
ZULI_EXPORT(ALL, larfb,
            (char side, char trans, char direct, char storev, int m, int n, int k, const P* v,
             int ldv, const P* t, int ldt, P* c, int ldc),
            (side, trans, direct, storev, m, n, k, v, ldv, t, ldt, c, ldc))
