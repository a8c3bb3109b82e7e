// hessenberg.cpp - the reduction of a general matrix to upper Hessenberg form, A = Q H Q^H
// (gehrd), and the generation of its Q (orghr; unghr for the complex types).
//
// gehrd is hybrid, with LAPACK's gehrd split: panels of nb = kHessenbergBlockSize columns from
// column ilo while more than nx = kHessenbergHostColumns columns of the active block follow the
// panel, the rest on the host. For the panel at column p (0-based) of ib columns, the m = ihi - p
// - 1 rows below row p:
//
//     host    download the panel; reduce it column by column as LAPACK's lahr2 does, except that
//             the product of each new reflector v_j with the trailing matrix, y_j = A v_j, is a
//             GPU gemv: v_j goes up into the device block V (explicit unit and zeros), y_j comes
//             down; T, the triangular factor, and the corrected columns of Y stay on the host
//     device  T up; Y = [A(0:p, p+1:ihi-1) V ; A V] T, the top by gemm, then trmm (A V are the
//             gemv results, already there: the block Y = A V T that lahr2 builds column by
//             column); the panel up; A(0:ihi-1, p+ib:ihi-1) -= Y V^H (gemm, the right update);
//             A(0:p, p+1:p+ib-1) -= Y V1^H (gemm on V's leading block); the block reflector
//             H^H = I - V T^H V^H applied from the left to A(p+1:ihi-1, p+ib:n-1) (device
//             larfb)
//
// Only the panel (down and up), the reflectors and the gemv results (one vector each way per
// column) and T cross the bus. The last columns, the whole problem when it has at most nx + 1
// columns, go to the host as rows 0 ... ihi - 1 of columns p ... ihi - 1: reduced by LAPACK's
// gehd2 steps (larfg, larf from the right on those rows, from the left on those columns), sent
// back; the columns beyond ihi then get the left transformations through the device larfb. The
// results are LAPACK's within rounding: the same reflectors, the products in another order.
//
// orghr shifts the reflectors one column to the right and sets the rows and columns outside
// ilo + 1 ... ihi to those of the identity, on the device (as LAPACK's orghr does on the host),
// and runs the device orgqr on the ihi - ilo square block.
#include "eigen/eigen.h"

#include "auxiliary/auxiliary.h"
#include "blas/cublas.h"
#include "kernels/auxiliary_kernels.h"
#include "kernels/utility_kernels.h"
#include "orthogonal/orthogonal.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/host_lapack.h"
#include "runtime/matrix.h"
#include "runtime/memory.h"
#include "runtime/tuning.h"

#include <cuda_runtime_api.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace zuli {

namespace {

// Elements allocated beyond the end of a host block: some complex kernels of the host BLAS load
// a vector register past the last element of a strided vector.
constexpr int64_t kHostSlack = 16;

// Synchronous copies of a rows x cols block between the device and the host.
template <typename T>
void copyToHost(const T* device, int64_t ld, int rows, int cols, T* host, int64_t hostLd) {
    if (rows <= 0 || cols <= 0) return;
    cudalib::checkCuda(cudaMemcpy2D(host, hostLd * sizeof(T), device, ld * sizeof(T),
                                    rows * sizeof(T), cols, cudaMemcpyDeviceToHost));
}
template <typename T>
void copyToDevice(const T* host, int64_t hostLd, int rows, int cols, T* device, int64_t ld) {
    if (rows <= 0 || cols <= 0) return;
    cudalib::checkCuda(cudaMemcpy2D(device, ld * sizeof(T), host, hostLd * sizeof(T),
                                    rows * sizeof(T), cols, cudaMemcpyHostToDevice));
}

// gehrd and orghr: LAPACK's checks, then the pointers (tau holds n - 1 scalars).
bool hessenbergArguments(int n, int ilo, int ihi, const void* a, int lda, const void* tau) {
    failIf(n < 0, 1);
    failIf(ilo < 1 || ilo > std::max(1, n), 2);
    failIf(ihi < std::min(ilo, n) || ihi > n, 3);
    failIf(lda < std::max(1, n), 5);
    if (n == 0) return false;
    failIf(a == nullptr, 4);
    failIf(n > 1 && tau == nullptr, 6);
    return true;
}

// ---- gehrd --------------------------------------------------------------------------------------

// The device and host blocks of the panels.
template <typename T>
struct PanelBlocks {
    DeviceBuffer<T> v, y, t;  // V (m x nb, ld m), Y (ihi x nb, ld ihi), T (nb x nb, ld nb)
    PinnedBuffer<T> host;     // the panel H, Y (m x nb each, ld m), T (nb x nb), one vector
    T *hp, *hy, *ht, *w;

    PanelBlocks(const CallContext& ctx, int rows, int ihi, int nb)
        : v(acquireWorkspace<T>(ctx, int64_t(rows) * nb)),
          y(acquireWorkspace<T>(ctx, int64_t(ihi) * nb)),
          t(acquireWorkspace<T>(ctx, int64_t(nb) * nb)),
          host(acquirePinnedWorkspace<T>(ctx, 2 * int64_t(rows) * nb + nb * nb + nb + kHostSlack)) {
        hp = host.get();
        hy = hp + int64_t(rows) * nb;
        ht = hy + int64_t(rows) * nb;
        w = ht + nb * nb;
    }
};

// Reduces the ib columns from column p (the m = ihi - p - 1 rows below row p, in b.hp) on the
// host as LAPACK's lahr2 does, each y_j = A v_j computed on the GPU into the rows p + 1 ... of
// column j of b.y. On return b.hp holds the reduced panel, b.ht T, tau the ib scalars, b.v the
// explicit V, b.y's lower rows A V.
template <typename T>
void reducePanel(const CallContext& ctx, int ihi, int p, int ib, const T* a, int lda,
                 PanelBlocks<T>& b, T* tau) {
    const int m = ihi - 1 - p;
    const T one(1), zero(0), minusOne(-1);
    T* v = b.v.get();
    T* y = b.y.get();
    T *hp = b.hp, *hy = b.hy, *ht = b.ht, *w = b.w;
    T ei(0);
    for (int j = 0; j < ib; ++j) {
        T* h = hp + int64_t(j) * m;  // the panel's column j
        if (j > 0) {
            // h -= Y conj(row j - 1 of the panel)^T
            for (int c = 0; c < j; ++c) w[c] = conj(hp[(j - 1) + int64_t(c) * m]);
            lapack::gemv('N', m, j, minusOne, hy, m, w, 1, one, h, 1);
            // h = (I - V T V^H)^H h, with w = T^H V^H h
            std::copy(h, h + j, w);
            lapack::trmv('L', 'C', 'U', j, hp, m, w, 1);
            lapack::gemv('C', m - j, j, one, hp + j, m, h + j, 1, one, w, 1);
            lapack::trmv('U', 'C', 'N', j, ht, ib, w, 1);
            lapack::gemv('N', m - j, j, minusOne, hp + j, m, w, 1, one, h + j, 1);
            lapack::trmv('L', 'N', 'U', j, hp, m, w, 1);
            for (int r = 0; r < j; ++r) h[r] -= w[r];
            hp[(j - 1) + int64_t(j - 1) * m] = ei;
        }
        // The reflector that annihilates h(j + 1 : m - 1).
        lapack::larfg(m - j, h + j, h + std::min(j + 1, m - 1), 1, tau + j);
        ei = h[j];
        h[j] = one;
        // y_j = A(p+1 : ihi-1, p+1+j : ihi-1) v_j on the GPU, then down.
        copyToDevice(h + j, m, m - j, 1, at(v, m, j, j), m);
        blas::gemv(ctx, CUBLAS_OP_N, m, m - j, &one, at(a, lda, p + 1, p + 1 + j), lda,
                   at(v, m, j, j), 1, &zero, at(y, ihi, p + 1, j), 1);
        T* yj = hy + int64_t(j) * m;
        copyToHost(at(y, ihi, p + 1, j), ihi, m, 1, yj, m);
        // t = V^H v_j; y_j = tau (y_j - Y t); T(0:j-1, j) = -tau T t, T(j, j) = tau.
        T* t = ht + int64_t(j) * ib;
        if (j > 0) {
            lapack::gemv('C', m - j, j, one, hp + j, m, h + j, 1, zero, t, 1);
            lapack::gemv('N', m, j, minusOne, hy, m, t, 1, one, yj, 1);
        }
        for (int r = 0; r < m; ++r) yj[r] *= tau[j];
        if (j > 0) {
            for (int r = 0; r < j; ++r) t[r] *= -tau[j];
            lapack::trmv('U', 'N', 'N', j, ht, ib, t, 1);
        }
        t[j] = tau[j];
    }
    hp[(ib - 1) + int64_t(ib - 1) * m] = ei;
}

// The last columns p ... ihi - 2 on the host (LAPACK's gehd2 steps on rows 0 ... ihi - 1), the
// columns beyond ihi by the device larfb.
template <typename T>
void reduceTail(const CallContext& ctx, int n, int ihi, int p, T* a, int lda, T* tau) {
    const int cols = ihi - p;
    PinnedBuffer<T> staging = acquirePinnedWorkspace<T>(
        ctx, int64_t(ihi) * cols + int64_t(cols) * cols + ihi + kHostSlack);
    T* block = staging.get();  // rows 0 ... ihi - 1 of columns p ... ihi - 1
    T* hostT = block + int64_t(ihi) * cols;
    T* work = hostT + int64_t(cols) * cols;
    copyToHost(at(a, lda, 0, p), lda, ihi, cols, block, ihi);
    const T one(1);
    for (int c = p; c < ihi - 1; ++c) {
        T* col = at(block, ihi, 0, c - p);
        T alpha = col[c + 1];
        lapack::larfg(ihi - c - 1, &alpha, col + std::min(c + 2, ihi - 1), 1, tau + c);
        col[c + 1] = one;
        lapack::larf('R', ihi, ihi - c - 1, col + c + 1, 1, tau[c], at(block, ihi, 0, c - p + 1),
                     ihi, work);
        lapack::larf('L', ihi - c - 1, ihi - c - 1, col + c + 1, 1, conj(tau[c]),
                     at(block, ihi, c + 1, c - p + 1), ihi, work);
        col[c + 1] = alpha;
    }
    copyToDevice(block, ihi, ihi, cols, at(a, lda, 0, p), lda);
    const int k = ihi - 1 - p;  // reflectors, each of order k
    if (n > ihi && k > 0) {
        lapack::larft('F', 'C', k, k, at(block, ihi, p + 1, 0), ihi, tau + p, hostT, k);
        const DeviceBuffer<T> dT = acquireWorkspace<T>(ctx, int64_t(k) * k);
        copyToDevice(hostT, k, k, k, dT.get(), k);
        larfb(ctx, 'L', 'C', 'F', 'C', k, n - ihi, k, at(a, lda, p + 1, p), lda, dT.get(), k,
              at(a, lda, p + 1, ihi), lda);
    }
}

template <typename T>
void reduceToHessenberg(const CallContext& ctx, int n, int ilo, int ihi, T* a, int lda, T* tau) {
    // tau(0 : ilo-2) and tau(ihi-1 : n-2) are zero, as LAPACK sets them.
    std::vector<T> hostTau(size_t(std::max(n - 1, 0)), T(0));
    const int nh = ihi - ilo + 1, nb = kHessenbergBlockSize, nx = kHessenbergHostColumns;
    int p = ilo - 1;
    if (nh > 1) {
        if (nb < nh && nx < nh && p < ihi - 1 - nx) {
            const T one(1), minusOne(-1), zero(0);
            PanelBlocks<T> b(ctx, ihi - ilo, ihi, nb);
            T *dV = b.v.get(), *dY = b.y.get(), *dT = b.t.get();
            for (; p < ihi - 1 - nx; p += nb) {
                const int ib = std::min(nb, ihi - 1 - p), m = ihi - 1 - p;
                copyToHost(at(a, lda, p + 1, p), lda, m, ib, b.hp, m);
                launchSetTriangularMatrix(true, false, m, ib, dV, m, zero);
                reducePanel(ctx, ihi, p, ib, a, lda, b, hostTau.data() + p);
                copyToDevice(b.ht, ib, ib, ib, dT, ib);
                // Y = [A(0:p, p+1:ihi-1) V ; A V] T
                blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, p + 1, ib, m, &one, at(a, lda, 0, p + 1),
                           lda, dV, m, &zero, dY, ihi);
                blas::trmm(ctx, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N,
                           CUBLAS_DIAG_NON_UNIT, ihi, ib, &one, dT, ib, dY, ihi, dY, ihi);
                copyToDevice(b.hp, m, m, ib, at(a, lda, p + 1, p), lda);
                // A = A - Y V^H on the columns right of the panel, and on the panel's rows
                // above it.
                blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_C, ihi, ihi - p - ib, ib, &minusOne, dY, ihi,
                           at(dV, m, ib - 1, 0), m, &one, at(a, lda, 0, p + ib), lda);
                if (ib > 1)
                    blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_C, p + 1, ib - 1, ib - 1, &minusOne, dY,
                               ihi, dV, m, &one, at(a, lda, 0, p + 1), lda);
                // A = H^H A on the rows below the panel.
                larfb(ctx, 'L', 'C', 'F', 'C', m, n - p - ib, ib, dV, m, dT, ib,
                      at(a, lda, p + 1, p + ib), lda);
            }
        }
        reduceTail(ctx, n, ihi, p, a, lda, hostTau.data());
    }
    if (n > 1)
        cudalib::checkCuda(
            cudaMemcpy(tau, hostTau.data(), hostTau.size() * sizeof(T), cudaMemcpyHostToDevice));
}

// ---- orghr --------------------------------------------------------------------------------------

template <typename T>
void generateHessenbergQ(const CallContext& ctx, int n, int ilo, int ihi, T* a, int lda,
                         const T* tau) {
    const int nh = ihi - ilo;
    DeviceBuffer<T> w;
    // The reflectors, rows ilo ... ihi - 1 of columns ilo - 1 ... ihi - 2 (0-based), aside.
    if (nh > 0) {
        w = acquireWorkspace<T>(ctx, int64_t(nh) * nh);
        launchCopyMatrix(nh, nh, at(a, lda, ilo, ilo - 1), lda, w.get(), nh);
    }
    launchLaset('A', n, n, T(0), T(1), a, lda);
    if (nh == 0) return;
    // ... and back one column to the right, below the diagonal of the block from (ilo, ilo).
    launchLacpy('L', nh - 1, nh - 1, w.get() + 1, nh, at(a, lda, ilo + 1, ilo), lda);
    orgqr(ctx, nh, nh, nh, at(a, lda, ilo, ilo), lda, tau + (ilo - 1));
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void gehrd(const CallContext& ctx, int n, int ilo, int ihi, T* a, int lda, T* tau) {
    if (!hessenbergArguments(n, ilo, ihi, a, lda, tau)) return;
    reduceToHessenberg(ctx, n, ilo, ihi, a, lda, tau);
}

template <typename T>
void orghr(const CallContext& ctx, int n, int ilo, int ihi, T* a, int lda, const T* tau) {
    if (!hessenbergArguments(n, ilo, ihi, a, lda, tau)) return;
    generateHessenbergQ(ctx, n, ilo, ihi, a, lda, tau);
}

// ---- host interface -----------------------------------------------------------------------------
// gehrd: A both ways, tau out (tau first); orghr: A both ways, tau in.

namespace host {

template <typename T>
CallResult gehrd(const CallContext& ctx, int n, int ilo, int ihi, T* a, int lda, T* tau) {
    if (!hessenbergArguments(n, ilo, ihi, a, lda, tau)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> Tau(ctx, n - 1, 1, tau, n - 1, MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& d) {
            reduceToHessenberg<T>(d, n, ilo, ihi, A.device(), A.ld(), Tau.device());
        },
        Tau, A);
}

template <typename T>
CallResult orghr(const CallContext& ctx, int n, int ilo, int ihi, T* a, int lda, const T* tau) {
    if (!hessenbergArguments(n, ilo, ihi, a, lda, tau)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> Tau(ctx, n - 1, 1, tau, n - 1, MirrorIn);
    return runOnDevice<T>(
        [&](const CallContext& d) {
            generateHessenbergQ<T>(d, n, ilo, ihi, A.device(), A.ld(), Tau.device());
        },
        A);
}

}  // namespace host

#define ZULI_HESSENBERG_INSTANCES(T)                                        \
    template void gehrd<T>(const CallContext&, int, int, int, T*, int, T*); \
    template void orghr<T>(const CallContext&, int, int, int, T*, int, const T*);
ZULI_INSTANTIATE(ZULI_HESSENBERG_INSTANCES)
#undef ZULI_HESSENBERG_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSgehrd zuliDgehrd zuliCgehrd zuliZgehrd
// zuliDeviceSgehrd zuliDeviceDgehrd zuliDeviceCgehrd zuliDeviceZgehrd
ZULI_EXPORT(ALL, gehrd, (int n, int ilo, int ihi, P* a, int lda, P* tau),
            (n, ilo, ihi, a, lda, tau))
// zuliSorghr zuliDorghr zuliDeviceSorghr zuliDeviceDorghr
ZULI_EXPORT(REAL, orghr, (int n, int ilo, int ihi, P* a, int lda, const P* tau),
            (n, ilo, ihi, a, lda, tau))
// zuliCunghr zuliZunghr zuliDeviceCunghr zuliDeviceZunghr
ZULI_EXPORT_NAMED(COMPLEX, unghr, orghr, (int n, int ilo, int ihi, P* a, int lda, const P* tau),
                  (n, ilo, ihi, a, lda, tau))
