// least_squares.cpp - linear least squares with the orthogonal factorizations: gels (full-rank
// least squares and minimum-norm solutions), geqrs (the least-squares solve with geqrf's factors),
// ggrqf (the generalized RQ factorization of a pair of matrices) and gglse (least squares under
// linear equality constraints).
//
// Everything here is a sequence of the device routines of the QR family (geqrf, gelqf, gerqf and
// the application of their Q), the device triangular solve and cuBLAS: the factorizations and the
// application of Q are hybrid (host panels, GPU updates), the triangular solves and the vector
// steps of gglse run on the GPU, and only panels, their T factors and diagonals cross the bus.
//
// gels, with op(A) = A for trans 'N' and A^H for 'T' or 'C' (both letters mean the conjugate
// transpose in every precision, the plain transpose for S and D):
//     m >= n   A = Q R (geqrf);
//              'N': least squares of A X = B:       B := Q^H B, then R X = B(1:n, :)
//              'T': minimum norm of A^H X = B:      R^H Y = B(1:n, :), B(n+1:m, :) := 0, X = Q B
//     m <  n   A = L Q (gelqf);
//              'N': minimum norm of A X = B:        L Y = B(1:m, :), B(m+1:n, :) := 0, X = Q^H B
//              'T': least squares of A^H X = B:     B := Q B, then L^H X = B(1:m, :)
// Neither A nor B is scaled. The triangular solves go through the device trtrs, which reads the
// triangle's diagonal first and reports an exactly zero element (the matrix is not of full rank)
// as zuliDataError with its 1-based position; B is then left as far as it was transformed.
// Without work (min(m, n, nrhs) = 0) B is set to zero over max(m, n) x nrhs and A is untouched.
//
// gglse follows LAPACK's gglse: with the generalized RQ factorization
//     B Q^H = (0 T12),    Z^H A Q^H = (R11 R12; 0 R22)
// it forms c := Z^H c, solves T12 x2 = d and R11 x1 = c1 - R12 x2, keeps in c(n-p+1 : m) the
// residual whose squares sum to the minimum, and returns x := Q^H (x1; x2). An exactly zero on
// the diagonal of T12 is zuliDataError with info 1 (B does not have full row rank), one on the
// diagonal of R11 info 2 ((A; B) does not have full column rank), as LAPACK reports them.
#include "orthogonal/orthogonal.h"

#include "blas/cublas.h"
#include "kernels/auxiliary_kernels.h"
#include "kernels/utility_kernels.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/matrix.h"
#include "runtime/memory.h"
#include "solvers/solvers.h"

#include <algorithm>

namespace zuli {

// ---- argument checks ----------------------------------------------------------------------------

namespace {

// gels, in this order:
//   trans not N / T / C        -1
//   m < 0                      -2
//   n < 0                      -3
//   nrhs < 0                   -4
//   lda < max(1, m)            -6
//   ldb < max(1, m, n)         -8
//   min(m, n, nrhs) = 0        no pointer checks; returns false (B is still zeroed)
//   a null                     -5
//   b null                     -7
bool gelsArguments(char& trans, int m, int n, int nrhs, const void* a, int lda, const void* b,
                   int ldb) {
    trans = upperOption(trans);
    failIf(!isOneOf(trans, "NTC"), 1);
    failIf(m < 0, 2);
    failIf(n < 0, 3);
    failIf(nrhs < 0, 4);
    failIf(lda < std::max(1, m), 6);
    failIf(ldb < std::max({1, m, n}), 8);
    if (std::min({m, n, nrhs}) == 0) return false;
    failIf(a == nullptr, 5);
    failIf(b == nullptr, 7);
    return true;
}

// geqrs, in this order:
//   m < 0                      -1
//   n < 0 or n > m             -2
//   nrhs < 0                   -3
//   lda < max(1, m)            -5
//   ldb < max(1, m)            -8
//   m, n or nrhs = 0           empty: return at once, success
//   a null -4, tau null -6, b null -7
bool geqrsArguments(int m, int n, int nrhs, const void* a, int lda, const void* tau, const void* b,
                    int ldb) {
    failIf(m < 0, 1);
    failIf(n < 0 || n > m, 2);
    failIf(nrhs < 0, 3);
    failIf(lda < std::max(1, m), 5);
    failIf(ldb < std::max(1, m), 8);
    if (std::min({m, n, nrhs}) == 0) return false;
    failIf(a == nullptr, 4);
    failIf(tau == nullptr, 6);
    failIf(b == nullptr, 7);
    return true;
}

// ggrqf, LAPACK's checks in LAPACK's order (A is m x n, B is p x n):
//   m < 0 -1, p < 0 -2, n < 0 -3, lda < max(1, m) -5, ldb < max(1, p) -8
//   n = 0, or m = p = 0        empty: return at once, success
// then each pointer where its array has elements: a and taua (min(m, n) > 0) -4 and -6, b and
// taub (min(p, n) > 0) -7 and -9.
bool ggrqfArguments(int m, int p, int n, const void* a, int lda, const void* taua, const void* b,
                    int ldb, const void* taub) {
    failIf(m < 0, 1);
    failIf(p < 0, 2);
    failIf(n < 0, 3);
    failIf(lda < std::max(1, m), 5);
    failIf(ldb < std::max(1, p), 8);
    if (n == 0 || std::max(m, p) == 0) return false;
    const bool hasA = m > 0, hasB = p > 0;
    failIf(hasA && a == nullptr, 4);
    failIf(hasA && taua == nullptr, 6);
    failIf(hasB && b == nullptr, 7);
    failIf(hasB && taub == nullptr, 9);
    return true;
}

// gglse, LAPACK's checks in LAPACK's order (A is m x n, B is p x n, c has m elements, d p, x n):
//   m < 0 -1, n < 0 -2, p < 0 or p > n or p < n - m -3, lda < max(1, m) -5, ldb < max(1, p) -7
//   n = 0                      empty: return at once, success
// then each pointer where its array has elements: a -4 and c -8 (m > 0), b -6 and d -9 (p > 0),
// x -10.
bool gglseArguments(int m, int n, int p, const void* a, int lda, const void* b, int ldb,
                    const void* c, const void* d, const void* x) {
    failIf(m < 0, 1);
    failIf(n < 0, 2);
    failIf(p < 0 || p > n || p < n - m, 3);
    failIf(lda < std::max(1, m), 5);
    failIf(ldb < std::max(1, p), 7);
    if (n == 0) return false;
    failIf(m > 0 && a == nullptr, 4);
    failIf(p > 0 && b == nullptr, 6);
    failIf(m > 0 && c == nullptr, 8);
    failIf(p > 0 && d == nullptr, 9);
    failIf(x == nullptr, 10);
    return true;
}

// ---- the algorithms (arguments checked) ---------------------------------------------------------

// gels as described at the top; `work` is false for min(m, n, nrhs) = 0. Without work a null b
// has nothing to be zeroed and is left alone.
template <typename T>
void solveLeastSquares(const CallContext& ctx, char trans, int m, int n, int nrhs, T* a, int lda,
                       T* b, int ldb, bool work) {
    const DeviceBuffer<T> tau = acquireWorkspace<T>(ctx, std::min(m, n));
    if (!work) {
        if (b != nullptr) launchLaset('F', std::max(m, n), nrhs, T(0), T(0), b, ldb);
        return;
    }
    const bool plain = trans == 'N';
    if (m >= n) {
        geqrf(ctx, m, n, a, lda, tau.get());
        if (plain) {
            ormqr(ctx, 'L', 'C', m, nrhs, n, a, lda, tau.get(), b, ldb);
            trtrs(ctx, 'U', 'N', 'N', n, nrhs, a, lda, b, ldb);
        } else {
            trtrs(ctx, 'U', 'C', 'N', n, nrhs, a, lda, b, ldb);
            launchSetMatrix(0, m - n, nrhs, at(b, ldb, n, 0), ldb);
            ormqr(ctx, 'L', 'N', m, nrhs, n, a, lda, tau.get(), b, ldb);
        }
    } else {
        gelqf(ctx, m, n, a, lda, tau.get());
        if (plain) {
            trtrs(ctx, 'L', 'N', 'N', m, nrhs, a, lda, b, ldb);
            launchSetMatrix(0, n - m, nrhs, at(b, ldb, m, 0), ldb);
            ormlq(ctx, 'L', 'C', n, nrhs, m, a, lda, tau.get(), b, ldb);
        } else {
            ormlq(ctx, 'L', 'N', n, nrhs, m, a, lda, tau.get(), b, ldb);
            trtrs(ctx, 'L', 'C', 'N', m, nrhs, a, lda, b, ldb);
        }
    }
}

// The device trtrs of one right-hand side (upper, no transpose), with an exactly zero diagonal
// element reported as zuliDataError with `info` instead of its position.
template <typename T>
void solveUpperOrRaise(const CallContext& ctx, int n, const T* a, int lda, T* x, int info) {
    try {
        trtrs(ctx, 'U', 'N', 'N', n, 1, a, lda, x, n);
    } catch (const InfoException& e) {
        if (e.status() == zuliDataError) raiseDataError(info);
        throw;
    }
}

// gglse as described at the top (LAPACK's steps); n > 0.
template <typename T>
void constrainedLeastSquares(const CallContext& ctx, int m, int n, int p, T* a, int lda, T* b,
                             int ldb, T* c, T* d, T* x) {
    const int mn = std::min(m, n), n1 = n - p;  // x = (x1; x2), x1 of n1 elements
    const DeviceBuffer<T> tauB = acquireWorkspace<T>(ctx, p);
    const DeviceBuffer<T> tauA = acquireWorkspace<T>(ctx, mn);
    const T one(1), minusOne(-1);
    // B Q^H = (0 T12) and Z^H (A Q^H) = R.
    ggrqf(ctx, p, m, n, b, ldb, tauB.get(), a, lda, tauA.get());
    // c := Z^H c.
    ormqr(ctx, 'L', 'C', m, 1, mn, a, lda, tauA.get(), c, std::max(1, m));
    if (p > 0) {
        // T12 x2 = d; x2 goes to x(n-p+1 : n), and c1 := c1 - R12 x2.
        solveUpperOrRaise(ctx, p, at(b, ldb, 0, n1), ldb, d, 1);
        blas::copy(ctx, p, d, 1, x + n1, 1);
        if (n1 > 0)
            blas::gemv(ctx, CUBLAS_OP_N, n1, p, &minusOne, at(a, lda, 0, n1), lda, d, 1, &one, c,
                       1);
    }
    if (n1 > 0) {
        // R11 x1 = c1.
        solveUpperOrRaise(ctx, n1, a, lda, c, 2);
        blas::copy(ctx, n1, c, 1, x, 1);
    }
    // The residual c(n-p+1 : m) := c2 - R22 x2, R22 of nr rows: upper trapezoidal when m < n.
    int nr = p;
    if (m < n) {
        nr = m + p - n;
        if (nr > 0)
            blas::gemv(ctx, CUBLAS_OP_N, nr, n - m, &minusOne, at(a, lda, n1, m), lda, d + nr, 1,
                       &one, c + n1, 1);
    }
    if (nr > 0) {
        blas::trmv(ctx, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, CUBLAS_DIAG_NON_UNIT, nr,
                   at(a, lda, n1, n1), lda, d, 1);
        blas::axpy(ctx, nr, &minusOne, d, 1, c + n1, 1);
    }
    // x := Q^H x.
    ormrq(ctx, 'L', 'C', n, 1, p, b, ldb, tauB.get(), x, n);
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void gels(const CallContext& ctx, char trans, int m, int n, int nrhs, T* a, int lda, T* b,
          int ldb) {
    const bool work = gelsArguments(trans, m, n, nrhs, a, lda, b, ldb);
    solveLeastSquares(ctx, trans, m, n, nrhs, a, lda, b, ldb, work);
}

// B := Q^H B, then R X = B(1:n, :) with cuBLAS; a zero on R's diagonal is not looked for (the
// solve then gives non-finite values).
template <typename T>
void geqrs(const CallContext& ctx, int m, int n, int nrhs, const T* a, int lda, const T* tau, T* b,
           int ldb) {
    if (!geqrsArguments(m, n, nrhs, a, lda, tau, b, ldb)) return;
    ormqr(ctx, 'L', 'C', m, nrhs, n, a, lda, tau, b, ldb);
    const T one(1);
    blas::trsm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, CUBLAS_DIAG_NON_UNIT, n,
               nrhs, &one, a, lda, b, ldb);
}

// LAPACK's ggrqf: A = R Q (gerqf), B := B Q^H (ormrq with the min(m, n) reflectors, which lie in
// A's last rows), B = Z T (geqrf).
template <typename T>
void ggrqf(const CallContext& ctx, int m, int p, int n, T* a, int lda, T* taua, T* b, int ldb,
           T* taub) {
    if (!ggrqfArguments(m, p, n, a, lda, taua, b, ldb, taub)) return;
    const int k = std::min(m, n);
    gerqf(ctx, m, n, a, lda, taua);
    if (k > 0) ormrq(ctx, 'R', 'C', p, n, k, at(a, lda, m - k, 0), lda, taua, b, ldb);
    geqrf(ctx, p, n, b, ldb, taub);
}

template <typename T>
void gglse(const CallContext& ctx, int m, int n, int p, T* a, int lda, T* b, int ldb, T* c, T* d,
           T* x) {
    if (!gglseArguments(m, n, p, a, lda, b, ldb, c, d, x)) return;
    constrainedLeastSquares(ctx, m, n, p, a, lda, b, ldb, c, d, x);
}

// ---- host interface -----------------------------------------------------------------------------
// gels mirrors A both ways and B, as max(m, n) x nrhs, both ways, also for an empty problem (which
// zeroes B; A is then not mirrored). geqrs mirrors A and tau in and B both ways; ggrqf mirrors A
// and B both ways and the tau vectors out; gglse mirrors every array both ways (x too, so that
// what a data error leaves unwritten keeps the caller's values). Arrays come back after a data
// error as the device left them; any other failure leaves them untouched.

namespace host {

template <typename T>
CallResult gels(const CallContext& ctx, char trans, int m, int n, int nrhs, T* a, int lda, T* b,
                int ldb) {
    const bool work = gelsArguments(trans, m, n, nrhs, a, lda, b, ldb);
    HostArrayMirror<T> A(ctx, work ? m : 0, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> B(ctx, b ? std::max(m, n) : 0, nrhs, b, ldb, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            solveLeastSquares(c, trans, m, n, nrhs, A.device(), A.ld(), B.device(), B.ld(), work);
        },
        B, A);
}

template <typename T>
CallResult geqrs(const CallContext& ctx, int m, int n, int nrhs, const T* a, int lda, const T* tau,
                 T* b, int ldb) {
    if (!geqrsArguments(m, n, nrhs, a, lda, tau, b, ldb)) return {};
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn);
    HostArrayMirror<T> Tau(ctx, n, 1, tau, n, MirrorIn);
    HostArrayMirror<T> B(ctx, m, nrhs, b, ldb, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            zuli::geqrs<T>(c, m, n, nrhs, A.device(), A.ld(), Tau.device(), B.device(), B.ld());
        },
        B);
}

template <typename T>
CallResult ggrqf(const CallContext& ctx, int m, int p, int n, T* a, int lda, T* taua, T* b, int ldb,
                 T* taub) {
    if (!ggrqfArguments(m, p, n, a, lda, taua, b, ldb, taub)) return {};
    const int ka = std::min(m, n), kb = std::min(p, n);
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> TauA(ctx, ka, 1, taua, ka, MirrorOut);
    HostArrayMirror<T> B(ctx, p, n, b, ldb, MirrorIn | MirrorOut);
    HostArrayMirror<T> TauB(ctx, kb, 1, taub, kb, MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            zuli::ggrqf<T>(c, m, p, n, A.device(), A.ld(), TauA.device(), B.device(), B.ld(),
                           TauB.device());
        },
        TauA, A, TauB, B);
}

template <typename T>
CallResult gglse(const CallContext& ctx, int m, int n, int p, T* a, int lda, T* b, int ldb, T* c,
                 T* d, T* x) {
    if (!gglseArguments(m, n, p, a, lda, b, ldb, c, d, x)) return {};
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> B(ctx, p, n, b, ldb, MirrorIn | MirrorOut);
    HostArrayMirror<T> C(ctx, m, 1, c, std::max(1, m), MirrorIn | MirrorOut);
    HostArrayMirror<T> D(ctx, p, 1, d, std::max(1, p), MirrorIn | MirrorOut);
    HostArrayMirror<T> X(ctx, n, 1, x, n, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& k) {
            constrainedLeastSquares(k, m, n, p, A.device(), A.ld(), B.device(), B.ld(), C.device(),
                                    D.device(), X.device());
        },
        X, C, D, A, B);
}

}  // namespace host

#define ZULI_LEAST_SQUARES_INSTANCES(T)                                                          \
    template void gels<T>(const CallContext&, char, int, int, int, T*, int, T*, int);            \
    template void geqrs<T>(const CallContext&, int, int, int, const T*, int, const T*, T*, int); \
    template void ggrqf<T>(const CallContext&, int, int, int, T*, int, T*, T*, int, T*);         \
    template void gglse<T>(const CallContext&, int, int, int, T*, int, T*, int, T*, T*, T*);
ZULI_INSTANTIATE(ZULI_LEAST_SQUARES_INSTANCES)
#undef ZULI_LEAST_SQUARES_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSgels zuliDgels zuliCgels zuliZgels
// zuliDeviceSgels zuliDeviceDgels zuliDeviceCgels zuliDeviceZgels
ZULI_EXPORT(ALL, gels, (char trans, int m, int n, int nrhs, P* a, int lda, P* b, int ldb),
            (trans, m, n, nrhs, a, lda, b, ldb))
// zuliSgeqrs zuliDgeqrs zuliCgeqrs zuliZgeqrs
// zuliDeviceSgeqrs zuliDeviceDgeqrs zuliDeviceCgeqrs zuliDeviceZgeqrs
ZULI_EXPORT(ALL, geqrs, (int m, int n, int nrhs, const P* a, int lda, const P* tau, P* b, int ldb),
            (m, n, nrhs, a, lda, tau, b, ldb))
// zuliSggrqf zuliDggrqf zuliCggrqf zuliZggrqf
// zuliDeviceSggrqf zuliDeviceDggrqf zuliDeviceCggrqf zuliDeviceZggrqf
ZULI_EXPORT(ALL, ggrqf, (int m, int p, int n, P* a, int lda, P* taua, P* b, int ldb, P* taub),
            (m, p, n, a, lda, taua, b, ldb, taub))
// zuliSgglse zuliDgglse zuliCgglse zuliZgglse
// zuliDeviceSgglse zuliDeviceDgglse zuliDeviceCgglse zuliDeviceZgglse
ZULI_EXPORT(ALL, gglse, (int m, int n, int p, P* a, int lda, P* b, int ldb, P* c, P* d, P* x),
            (m, n, p, a, lda, b, ldb, c, d, x))
