// householder.cpp - the exported Householder and plane-rotation routines: larfg (generate a
// reflector), larfb (apply a block reflector), lasr (apply a sequence of plane rotations to a
// matrix), lar2v, largv and lartv (rotations on vectors), each as a device routine
// (zuliDeviceXname) and a host routine (zuliXname).
//
// All but larfb are one kernel each (kernels/householder.h); larfb is composed of cuBLAS calls.
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
#include "kernels/householder.h"
#include "kernels/utility_kernels.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/matrix.h"
#include "runtime/memory.h"

#include <algorithm>

namespace zuli {

// ---- argument checks -----------------------------------------------------------------------

// x holds n - 1 elements, none for n = 1: x is then never used and may be null, as in LAPACK,
// which never reads it. An increment of 0 is accepted (x then counts as zero, as in the BLAS
// routines LAPACK's larfg calls).
bool larfgArguments(int n, const void* alpha, const void* x, int incx, const void* tau) {
    failIf(n < 0, 1);
    failIf(tau == nullptr, 5);  // before the empty return: tau must be valid even for n = 0
    if (n == 0) return false;
    failIf(alpha == nullptr, 2);
    failIf(x == nullptr && n > 1, 3);
    failIf(incx < 0, 4);
    return true;
}

// When m or n is 0 or 1 the checks after direct are skipped. Only the pivot 'V' has work to
// do: the return value says whether there is a rotation to apply (side 'L' with m = 1 and side
// 'R' with n = 1 have none, and leave even a null A alone).
bool lasrArguments(char& side, char& pivot, char& direct, int m, int n, const void* c,
                   const void* s, const void* a, int lda) {
    side = upperOption(side);
    pivot = upperOption(pivot);
    direct = upperOption(direct);
    failIf(!isOneOf(side, "LR"), 1);
    failIf(!isOneOf(pivot, "VTB"), 2);
    failIf(!isOneOf(direct, "FB"), 3);
    const bool rotates = pivot == 'V' && m > 0 && n > 0 && (side == 'L' ? m : n) > 1;
    if (m == 0 || m == 1 || n == 0 || n == 1) return rotates;
    failIf(m < 0, 4);
    failIf(n < 0, 5);
    failIf(c == nullptr, 6);
    failIf(s == nullptr, 7);
    failIf(a == nullptr, 8);
    failIf(lda < std::max(1, m), 9);
    return rotates;
}

bool lar2vArguments(int n, const void* x, const void* y, const void* z, int incx, const void* c,
                    const void* s, int incc) {
    failIf(n < 0, 1);
    failIf(x == nullptr, 2);  // the pointers are tested for n = 0 too
    failIf(y == nullptr, 3);
    failIf(z == nullptr, 4);
    failIf(incx < 1, 5);
    failIf(c == nullptr, 6);
    failIf(s == nullptr, 7);
    failIf(incc < 1, 8);
    return n > 0;
}

bool largvArguments(int n, const void* x, int incx, const void* y, int incy, const void* c,
                    int incc) {
    failIf(n < 0, 1);
    failIf(x == nullptr, 2);
    failIf(incx < 1, 3);
    failIf(y == nullptr, 4);
    failIf(incy < 1, 5);
    failIf(c == nullptr, 6);
    failIf(incc < 1, 7);
    return n > 0;
}

bool lartvArguments(int n, const void* x, int incx, const void* y, int incy, const void* c,
                    const void* s, int incc) {
    failIf(n < 0, 1);
    failIf(x == nullptr, 2);
    failIf(incx < 1, 3);
    failIf(y == nullptr, 4);
    failIf(incy < 1, 5);
    failIf(c == nullptr, 6);
    failIf(s == nullptr, 7);
    failIf(incc < 1, 8);
    return n > 0;
}

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
void larfg(const CallContext&, int n, T* alpha, T* x, int incx, T* tau) {
    if (!larfgArguments(n, alpha, x, incx, tau)) return;
    launchLarfg(n, alpha, x, incx, tau);
}

template <typename T>
void lasr(const CallContext&, char side, char pivot, char direct, int m, int n, const ToRealT<T>* c,
          const ToRealT<T>* s, T* a, int lda) {
    if (!lasrArguments(side, pivot, direct, m, n, c, s, a, lda)) return;
    launchLasr(side, direct, m, n, c, s, a, lda);
}

template <typename T>
void lar2v(const CallContext&, int n, T* x, T* y, T* z, int incx, const ToRealT<T>* c, const T* s,
           int incc) {
    if (!lar2vArguments(n, x, y, z, incx, c, s, incc)) return;
    launchLar2v(n, x, y, z, incx, c, s, incc);
}

template <typename T>
void largv(const CallContext&, int n, T* x, int incx, T* y, int incy, ToRealT<T>* c, int incc) {
    if (!largvArguments(n, x, incx, y, incy, c, incc)) return;
    launchLargv(n, x, incx, y, incy, c, incc);
}

template <typename T>
void lartv(const CallContext&, int n, T* x, int incx, T* y, int incy, const ToRealT<T>* c,
           const T* s, int incc) {
    if (!lartvArguments(n, x, incx, y, incy, c, s, incc)) return;
    launchLartv(n, x, incx, y, incy, c, s, incc);
}

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

// The host routines mirror each vector into a contiguous device buffer and run the kernel on it
// with increment 1; the checks were made on the caller's arrays, so an array that the call does
// not use (larfg's x for n = 1) is neither mirrored nor checked again.

template <typename T>
CallResult larfg(const CallContext&, int n, T* alpha, T* x, int incx, T* tau) {
    if (!larfgArguments(n, alpha, x, incx, tau)) return {};
    const bool usesX = n > 1 && incx > 0;
    HostVectorMirror<T> Alpha(1, alpha, 1, MirrorIn | MirrorOut);
    HostVectorMirror<T> X(usesX ? n - 1 : 0, x, usesX ? incx : 1, MirrorIn | MirrorOut);
    HostVectorMirror<T> Tau(1, tau, 1, MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext&) {
            launchLarfg(n, Alpha.device(), X.device(), usesX ? 1 : 0, Tau.device());
        },
        Tau, Alpha, X);
}

template <typename T>
CallResult lasr(const CallContext& ctx, char side, char pivot, char direct, int m, int n,
                const ToRealT<T>* c, const ToRealT<T>* s, T* a, int lda) {
    if (!lasrArguments(side, pivot, direct, m, n, c, s, a, lda)) return {};
    const int rotations = (side == 'L' ? m : n) - 1;
    HostVectorMirror<ToRealT<T>> C(rotations, c, 1, MirrorIn);
    HostVectorMirror<ToRealT<T>> S(rotations, s, 1, MirrorIn);
    // The leading dimension of a single column plays no part (and is not checked then).
    HostArrayMirror<T> A(ctx, m, n, a, n == 1 ? m : lda, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext&) {
            launchLasr(side, direct, m, n, C.device(), S.device(), A.device(), A.ld());
        },
        A);
}

template <typename T>
CallResult lar2v(const CallContext&, int n, T* x, T* y, T* z, int incx, const ToRealT<T>* c,
                 const T* s, int incc) {
    if (!lar2vArguments(n, x, y, z, incx, c, s, incc)) return {};
    HostVectorMirror<T> X(n, x, incx, MirrorIn | MirrorOut);
    HostVectorMirror<T> Y(n, y, incx, MirrorIn | MirrorOut);
    HostVectorMirror<T> Z(n, z, incx, MirrorIn | MirrorOut);
    HostVectorMirror<ToRealT<T>> C(n, c, incc, MirrorIn);
    HostVectorMirror<T> S(n, s, incc, MirrorIn);
    return runOnDevice<T>(
        [&](const CallContext&) {
            launchLar2v(n, X.device(), Y.device(), Z.device(), 1, C.device(), S.device(), 1);
        },
        X, Y, Z);
}

template <typename T>
CallResult largv(const CallContext&, int n, T* x, int incx, T* y, int incy, ToRealT<T>* c,
                 int incc) {
    if (!largvArguments(n, x, incx, y, incy, c, incc)) return {};
    HostVectorMirror<T> X(n, x, incx, MirrorIn | MirrorOut);
    HostVectorMirror<T> Y(n, y, incy, MirrorIn | MirrorOut);
    HostVectorMirror<ToRealT<T>> C(n, c, incc, MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext&) { launchLargv(n, X.device(), 1, Y.device(), 1, C.device(), 1); }, X,
        Y, C);
}

template <typename T>
CallResult lartv(const CallContext&, int n, T* x, int incx, T* y, int incy, const ToRealT<T>* c,
                 const T* s, int incc) {
    if (!lartvArguments(n, x, incx, y, incy, c, s, incc)) return {};
    HostVectorMirror<T> X(n, x, incx, MirrorIn | MirrorOut);
    HostVectorMirror<T> Y(n, y, incy, MirrorIn | MirrorOut);
    HostVectorMirror<ToRealT<T>> C(n, c, incc, MirrorIn);
    HostVectorMirror<T> S(n, s, incc, MirrorIn);
    return runOnDevice<T>(
        [&](const CallContext&) {
            launchLartv(n, X.device(), 1, Y.device(), 1, C.device(), S.device(), 1);
        },
        X, Y);
}

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

#define ZULI_HOUSEHOLDER_INSTANCES(T)                                                              \
    template void larfg<T>(const CallContext&, int, T*, T*, int, T*);                              \
    template void larfb<T>(const CallContext&, char, char, char, char, int, int, int, const T*,    \
                           int, const T*, int, T*, int);                                           \
    template void lasr<T>(const CallContext&, char, char, char, int, int, const ToRealT<T>*,       \
                          const ToRealT<T>*, T*, int);                                             \
    template void lar2v<T>(const CallContext&, int, T*, T*, T*, int, const ToRealT<T>*, const T*,  \
                           int);                                                                   \
    template void largv<T>(const CallContext&, int, T*, int, T*, int, ToRealT<T>*, int);           \
    template void lartv<T>(const CallContext&, int, T*, int, T*, int, const ToRealT<T>*, const T*, \
                           int);
ZULI_INSTANTIATE(ZULI_HOUSEHOLDER_INSTANCES)
#undef ZULI_HOUSEHOLDER_INSTANCES

}  // namespace zuli

// ---- exported entry points -----------------------------------------------------------------

// zuliSlarfg zuliDlarfg zuliClarfg zuliZlarfg
// zuliDeviceSlarfg zuliDeviceDlarfg zuliDeviceClarfg zuliDeviceZlarfg
ZULI_EXPORT(ALL, larfg, (int n, P* alpha, P* x, int incx, P* tau), (n, alpha, x, incx, tau))
// zuliSlarfb zuliDlarfb zuliClarfb zuliZlarfb
// zuliDeviceSlarfb zuliDeviceDlarfb zuliDeviceClarfb zuliDeviceZlarfb
ZULI_EXPORT(ALL, larfb,
            (char side, char trans, char direct, char storev, int m, int n, int k, const P* v,
             int ldv, const P* t, int ldt, P* c, int ldc),
            (side, trans, direct, storev, m, n, k, v, ldv, t, ldt, c, ldc))
// zuliSlasr zuliDlasr zuliClasr zuliZlasr
// zuliDeviceSlasr zuliDeviceDlasr zuliDeviceClasr zuliDeviceZlasr
ZULI_EXPORT(ALL, lasr,
            (char side, char pivot, char direct, int m, int n, const R* c, const R* s, P* a,
             int lda),
            (side, pivot, direct, m, n, c, s, a, lda))
// zuliSlar2v zuliDlar2v zuliClar2v zuliZlar2v
// zuliDeviceSlar2v zuliDeviceDlar2v zuliDeviceClar2v zuliDeviceZlar2v
ZULI_EXPORT(ALL, lar2v, (int n, P* x, P* y, P* z, int incx, const R* c, const P* s, int incc),
            (n, x, y, z, incx, c, s, incc))
// zuliSlargv zuliDlargv zuliClargv zuliZlargv
// zuliDeviceSlargv zuliDeviceDlargv zuliDeviceClargv zuliDeviceZlargv
ZULI_EXPORT(ALL, largv, (int n, P* x, int incx, P* y, int incy, R* c, int incc),
            (n, x, incx, y, incy, c, incc))
// zuliSlartv zuliDlartv zuliClartv zuliZlartv
// zuliDeviceSlartv zuliDeviceDlartv zuliDeviceClartv zuliDeviceZlartv
ZULI_EXPORT(ALL, lartv, (int n, P* x, int incx, P* y, int incy, const R* c, const P* s, int incc),
            (n, x, incx, y, incy, c, s, incc))
