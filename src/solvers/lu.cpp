// lu.cpp - LU factorization with partial pivoting (getrf), the solve with its factors (getrs),
// the driver that does both (gesv) and the inverse from the factors (getri).
//
// getrf is hybrid. Each panel of nb columns (nb = 2 x the precision's base block size) is
// factored on the host by the host LAPACK in a page-locked staging buffer while the GPU applies
// the panel's interchanges to the rest of the matrix and updates it with trsm and gemm. The next
// panel is updated first (a look-ahead of one panel) and sent to the host on the call's copy
// stream before the rest of the trailing matrix is updated, so that the host factors panel j + 1
// while the GPU updates the remainder. Only panels cross the bus: about m x n elements each way
// in all.
//
// Three paths:
//   unblocked   min(m, n) <= nb: the whole matrix is factored on the host (download, host
//               getrf, upload);
//   row         the schedule above on the matrix as stored; interchanges swap rows, which are
//               strided in column-major storage;
//   transposed  m = n >= 513: the matrix is transposed in place first, so that every interchange
//               swaps two contiguous columns and panels are rows; the same schedule with the
//               transposed operations, and a transpose back at the end.
// Both blocked paths run one schedule (getrfBlocked) with the operations of their layout
// (RowLayout, TransposedLayout), which address the matrix A as the caller sees it.
//
// Interchanges are applied with the kernels of kernels/laswp.h, which leave a range of a single
// interchange unapplied. So when min(m, n) is one more than a multiple of nb and m > n, the last
// panel's single pivot is recorded in ipiv but its rows are not swapped in the columns left of
// it. Both blocked paths behave this way, on purpose.
//
// A zero pivot does not stop the factorization: the first one (global, 1-based) is reported as
// zuliDataError once the factors and the pivots are in place. A negative info from the host
// LAPACK (an internal argument error, which the checks here rule out) is raised as
// zuliRuntimeError with that info rather than ending the process.
#include "solvers/solvers.h"

#include "blas/cublas.h"
#include "kernels/auxiliary_kernels.h"
#include "kernels/laswp.h"
#include "runtime/arguments.h"
#include "runtime/device.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/host_lapack.h"
#include "runtime/matrix.h"
#include "runtime/memory.h"
#include "runtime/panel.h"
#include "runtime/tuning.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace zuli {

namespace {

// Factors a host panel. A positive info (a zero pivot in this panel) is remembered as the
// global index of the first zero pivot unless an earlier panel already found one.
template <typename T>
void factorPanel(int rows, int cols, T* panel, int ldPanel, int* pivots, int j, int& info) {
    const int k = lapack::getrf(rows, cols, panel, ldPanel, pivots);
    if (k < 0) checkHostLapackInfo(k);
    if (k > 0 && info == 0) info = j + k;
}

template <typename T>
void getrfUnblocked(int m, int n, T* a, int lda, int* ipiv) {
    std::vector<T> host(size_t(m) * n);
    cudalib::checkCuda(cudaMemcpy2D(host.data(), m * sizeof(T), a, lda * sizeof(T), m * sizeof(T),
                                    n, cudaMemcpyDeviceToHost));
    HostPivots pivots(std::min(m, n));
    int info = 0;
    factorPanel(m, n, host.data(), m, pivots.data(), 0, info);
    cudalib::checkCuda(cudaMemcpy2D(a, lda * sizeof(T), host.data(), m * sizeof(T), m * sizeof(T),
                                    n, cudaMemcpyHostToDevice));
    pivots.upload(ipiv);
    if (info != 0) raiseDataError(info);
}

// What both layouts work with: the device matrix and the call's panel staging.
template <typename T>
struct LayoutBase {
    const CallContext& ctx;
    const PanelStaging<T>& stage;
    T* a;
    int lda;
};

// The operations of the blocked schedule on the matrix as stored. The staging holds the panel
// being factored, packed with leading dimension equal to its row count.
template <typename T>
struct RowLayout : LayoutBase<T> {
    using LayoutBase<T>::ctx, LayoutBase<T>::stage, LayoutBase<T>::a, LayoutBase<T>::lda;

    static constexpr bool transposed = false;
    T* block(int i, int j) const { return at(a, lda, i, j); }

    // Before the loop: the first panel (all m rows, nb columns) to the host.
    void begin(int m, int nb) const { stage.download(a, lda, m, nb); }
    // The factored r x jb panel back into columns j ...
    void uploadPanel(int j, int r, int jb) const { stage.upload(block(j, j), lda, r, jb); }
    // The uploaded panel is in place once the copies are done.
    void placePanel(int, int, int) const {}
    void finishLastPanel(int, int, int) const {}
    // The panel's interchanges (rows j + 1 ... j + jb, 1-based) on `count` columns from `first`.
    void swap(int first, int count, int j, int jb, const int* pivots) const {
        applyRowInterchanges(count, block(0, first), lda, j + 1, j + jb, pivots);
    }
    // A(j : j + jb, cols) = L11^-1 A(j : j + jb, cols) for the `count` columns from `first`.
    void solve(int j, int jb, int first, int count) const {
        const T one(1);
        blas::trsm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, CUBLAS_DIAG_UNIT, jb,
                   count, &one, block(j, j), lda, block(j, first), lda);
    }
    // A(j + jb :, cols) -= A(j + jb :, j : j + jb) A(j : j + jb, cols), rb rows below the panel.
    void update(int j, int jb, int first, int count, int rb) const {
        const T one(1), minusOne(-1);
        blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, rb, count, jb, &minusOne, block(j + jb, j), lda,
                   block(j, first), lda, &one, block(j + jb, first), lda);
    }
    // The next panel (rb rows, la columns from row and column k) to the host once it is updated.
    void downloadNext(int k, int rb, int la) const {
        stage.afterCompute();
        stage.download(block(k, k), lda, rb, la);
    }
    void end(int) const {}
};

// The same operations on the transposed matrix (stored row i is A's column i): panels are stored
// rows, interchanges of A's rows are swaps of stored columns, and the triangular solve and the
// update become their transposes (L11^T is unit upper, solved from the right). Panels travel
// through a device work buffer, where they are transposed to and from the host's column layout.
template <typename T>
struct TransposedLayout : LayoutBase<T> {
    using LayoutBase<T>::ctx, LayoutBase<T>::stage, LayoutBase<T>::a, LayoutBase<T>::lda;
    T* work;

    static constexpr bool transposed = true;
    // A(i, j) is stored at (j, i).
    T* block(int i, int j) const { return at(a, lda, j, i); }

    void begin(int n, int nb) const {
        launchTransposeInplace<T, false>(n, a, lda);
        launchTranspose<T, false>(nb, n, a, lda, work, n);
        stage.afterCompute();
        stage.download(work, n, n, nb);
    }
    void uploadPanel(int, int r, int jb) const { stage.upload(work, r, r, jb); }
    void placePanel(int j, int r, int jb) const {
        launchTranspose<T, false>(r, jb, work, r, block(j, j), lda);
    }
    void finishLastPanel(int j, int r, int jb) const {
        stage.wait();
        placePanel(j, r, jb);
    }
    void swap(int first, int count, int j, int jb, const int* pivots) const {
        applyColumnInterchanges(count, block(0, first), lda, j + 1, j + jb, pivots);
    }
    void solve(int j, int jb, int first, int count) const {
        const T one(1);
        blas::trsm(ctx, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, CUBLAS_DIAG_UNIT,
                   count, jb, &one, block(j, j), lda, block(j, first), lda);
    }
    void update(int j, int jb, int first, int count, int rb) const {
        const T one(1), minusOne(-1);
        blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, count, rb, jb, &minusOne, block(j, first), lda,
                   block(j + jb, j), lda, &one, block(j + jb, first), lda);
    }
    void downloadNext(int k, int rb, int la) const {
        launchTranspose<T, false>(la, rb, block(k, k), lda, work, rb);
        stage.afterCompute();
        stage.download(work, rb, rb, la);
    }
    void end(int n) const { launchTransposeInplace<T, false>(n, a, lda); }
};

// The blocked schedule of both paths; `layout` does the work on A.
template <typename T, typename Layout>
void getrfBlocked(int m, int n, int nb, const PanelStaging<T>& stage, const Layout& layout,
                  int* ipiv) {
    const int mn = std::min(m, n);
    T* panel = stage.get();
    HostPivots pivots(mn);
    int info = 0;

    layout.begin(m, nb);
    for (int j = 0; j < mn; j += nb) {
        const int jb = std::min(nb, mn - j);
        const int r = m - j;
        // Panel, on the host.
        stage.wait();
        factorPanel(r, jb, panel, r, pivots.data() + j, j, info);
        layout.uploadPanel(j, r, jb);
        pivots.makeGlobal(j, jb);
        // Its interchanges in the columns on its left.
        layout.swap(0, j, j, jb, pivots.data());

        const int c = n - j - jb;   // columns right of the panel
        const int rb = m - j - jb;  // rows below it
        if (c < 1) {
            layout.finishLastPanel(j, r, jb);
            continue;
        }
        // Look-ahead: the next panel's columns, updated first and sent to the host.
        const int la = std::min(c, jb);
        layout.swap(j + jb, la, j, jb, pivots.data());
        stage.wait();  // the factored panel is on the device
        layout.placePanel(j, r, jb);
        layout.solve(j, jb, j + jb, la);
        if (rb > 0) {
            layout.update(j, jb, j + jb, la, rb);
            layout.downloadNext(j + jb, rb, la);
        }
        // The rest of the trailing matrix, while the host factors the next panel.
        const int rest = c - la;
        if (rest > 0) {
            layout.swap(j + jb + la, rest, j, jb, pivots.data());
            layout.solve(j, jb, j + jb + la, rest);
            if (rb > 0) layout.update(j, jb, j + jb + la, rest, rb);
        }
    }
    layout.end(n);
    stage.wait();
    pivots.upload(ipiv);
    if (info != 0) raiseDataError(info);
}

}  // namespace

// ---- argument checks ----------------------------------------------------------------------------

bool getrfArguments(int m, int n, const void* a, int lda, const void* ipiv) {
    failIf(m < 0, 1);
    failIf(n < 0, 2);
    failIf(lda < std::max(1, m), 4);
    if (m == 0 || n == 0) return false;
    failIf(a == nullptr, 3);
    failIf(ipiv == nullptr, 5);
    return true;
}

bool getrsArguments(char& trans, int n, int nrhs, const void* a, int lda, const void* ipiv,
                    const void* b, int ldb) {
    trans = upperOption(trans);
    failIf(!isOneOf(trans, "NTC"), 1);
    failIf(n < 0, 2);
    failIf(nrhs < 0, 3);
    failIf(lda < std::max(1, n), 5);
    failIf(ldb < std::max(1, n), 8);
    if (n == 0 || nrhs == 0) return false;
    failIf(a == nullptr, 4);
    failIf(ipiv == nullptr, 6);
    failIf(b == nullptr, 7);
    return true;
}

// The empty return depends on n only: a non-empty system needs b even without right-hand sides.
bool gesvArguments(int n, int nrhs, const void* a, int lda, const void* ipiv, const void* b,
                   int ldb) {
    failIf(n < 0, 1);
    failIf(nrhs < 0, 2);
    failIf(lda < std::max(1, n), 4);
    failIf(ldb < std::max(1, n), 7);
    if (n == 0) return false;
    failIf(a == nullptr, 3);
    failIf(ipiv == nullptr, 5);
    failIf(b == nullptr, 6);
    return true;
}

bool getriArguments(int n, const void* a, int lda, const void* ipiv) {
    failIf(n < 0, 1);
    failIf(lda < std::max(1, n), 3);
    if (n == 0) return false;
    failIf(a == nullptr, 2);
    failIf(ipiv == nullptr, 4);
    return true;
}

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void getrf(const CallContext& ctx, int m, int n, T* a, int lda, int* ipiv) {
    if (!getrfArguments(m, n, a, lda, ipiv)) return;
    const int nb = factorBlockSize<T>(deviceCapability(ctx.device).code);
    if (nb < 2 || nb >= std::min(m, n)) return getrfUnblocked(m, n, a, lda, ipiv);
    if (m == n && m >= kTransposedLuOrder) {
        const PanelStaging<T> stage(ctx, int64_t(nb) * n, StagingSource::Call);
        const DeviceBuffer<T> work(size_t(nb) * n);
        getrfBlocked(n, n, nb, stage, TransposedLayout<T>{{ctx, stage, a, lda}, work.get()}, ipiv);
    } else {
        const PanelStaging<T> stage(ctx, int64_t(nb) * m, StagingSource::Call);
        getrfBlocked(m, n, nb, stage, RowLayout<T>{{ctx, stage, a, lda}}, ipiv);
    }
}

// Only the solve with A itself is served. The pivots are only read: nothing is written back to
// the device vector.
template <typename T>
void getrs(const CallContext& ctx, char trans, int n, int nrhs, const T* a, int lda,
           const int* ipiv, T* b, int ldb) {
    if (!getrsArguments(trans, n, nrhs, a, lda, ipiv, b, ldb)) return;
    if (trans != 'N') raiseFeatureNotImplemented();
    const HostPivots pivots = HostPivots::download(ipiv, n);
    applyRowInterchanges(nrhs, b, ldb, 1, n, pivots.data());
    const T one(1);
    blas::trsm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, CUBLAS_DIAG_UNIT, n,
               nrhs, &one, a, lda, b, ldb);
    blas::trsm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, CUBLAS_DIAG_NON_UNIT, n,
               nrhs, &one, a, lda, b, ldb);
}

// A singular factor ends the call with getrf's data error before b is touched.
template <typename T>
void gesv(const CallContext& ctx, int n, int nrhs, T* a, int lda, int* ipiv, T* b, int ldb) {
    if (!gesvArguments(n, nrhs, a, lda, ipiv, b, ldb)) return;
    getrf(ctx, n, n, a, lda, ipiv);
    getrs(ctx, 'N', n, nrhs, a, lda, ipiv, b, ldb);
}

// inv(A) = inv(U) inv(L) P: U is inverted in place, then inv(A) is formed block column by block
// column from the right by solving X L = inv(U) with L's multipliers moved aside, and the column
// interchanges of P are undone last.
template <typename T>
void getri(const CallContext& ctx, int n, T* a, int lda, const int* ipiv) {
    if (!getriArguments(n, a, lda, ipiv)) return;
    trtri(ctx, 'U', 'N', n, a, lda);
    const HostPivots pivots = HostPivots::download(ipiv, n);
    constexpr int nb = kInverseBlockSize;
    DeviceBuffer<T> workBuffer = acquireWorkspace<T>(ctx, int64_t(nb) * n);
    T* work = workBuffer.get();
    const T one(1), minusOne(-1);
    for (int j = (n - 1) / nb * nb; j >= 0; j -= nb) {
        const int jb = std::min(nb, n - j);
        launchGetriSplitLower(n, j, jb, a, lda, work, n);
        if (j + jb < n)
            blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, n, jb, n - j - jb, &minusOne,
                       at(a, lda, 0, j + jb), lda, work + j + jb, n, &one, at(a, lda, 0, j), lda);
        blas::trsm(ctx, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, CUBLAS_DIAG_UNIT, n,
                   jb, &one, work + j, n, at(a, lda, 0, j), lda);
    }
    // Column interchanges in reverse order, each swap as three copies through a device column.
    DeviceBuffer<T> column = acquireWorkspace<T>(ctx, n);
    for (int j = n - 2; j >= 0; --j) {
        const int p = pivots.data()[j] - 1;
        if (p == j) continue;
        blas::copy(ctx, n, at(a, lda, 0, j), 1, column.get(), 1);
        blas::copy(ctx, n, at(a, lda, 0, p), 1, at(a, lda, 0, j), 1);
        blas::copy(ctx, n, column.get(), 1, at(a, lda, 0, p), 1);
    }
}

// ---- host interface -----------------------------------------------------------------------------
// The arrays are mirrored as LAPACK reads and writes them; the pivots come back before the
// matrix. A data error (a zero pivot) still copies the results back, as LAPACK leaves them; any
// other failure leaves the caller's arrays untouched.

namespace host {

template <typename T>
CallResult getrf(const CallContext& ctx, int m, int n, T* a, int lda, int* ipiv) {
    if (!getrfArguments(m, n, a, lda, ipiv)) return {};
    const int mn = std::min(m, n);
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<int, T> P(ctx, mn, 1, ipiv, mn, MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) { zuli::getrf<T>(c, m, n, A.device(), A.ld(), P.device()); }, P,
        A);
}

template <typename T>
CallResult getrs(const CallContext& ctx, char trans, int n, int nrhs, const T* a, int lda,
                 const int* ipiv, T* b, int ldb) {
    if (!getrsArguments(trans, n, nrhs, a, lda, ipiv, b, ldb)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn);
    HostArrayMirror<int, T> P(ctx, n, 1, ipiv, n, MirrorIn);
    HostArrayMirror<T> B(ctx, n, nrhs, b, ldb, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            zuli::getrs<T>(c, trans, n, nrhs, A.device(), A.ld(), P.device(), B.device(), B.ld());
        },
        B);
}

template <typename T>
CallResult gesv(const CallContext& ctx, int n, int nrhs, T* a, int lda, int* ipiv, T* b, int ldb) {
    if (!gesvArguments(n, nrhs, a, lda, ipiv, b, ldb)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<int, T> P(ctx, n, 1, ipiv, n, MirrorOut);
    HostArrayMirror<T> B(ctx, n, nrhs, b, ldb, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            // Without right-hand sides B has no device copy: gesv is then getrf alone.
            if (nrhs == 0) return zuli::getrf<T>(c, n, n, A.device(), A.ld(), P.device());
            zuli::gesv<T>(c, n, nrhs, A.device(), A.ld(), P.device(), B.device(), B.ld());
        },
        P, A, B);
}

template <typename T>
CallResult getri(const CallContext& ctx, int n, T* a, int lda, const int* ipiv) {
    if (!getriArguments(n, a, lda, ipiv)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<int, T> P(ctx, n, 1, ipiv, n, MirrorIn);
    return runOnDevice<T>(
        [&](const CallContext& c) { zuli::getri<T>(c, n, A.device(), A.ld(), P.device()); }, A);
}

}  // namespace host

#define ZULI_LU_INSTANCES(T)                                                                  \
    template void getrf<T>(const CallContext&, int, int, T*, int, int*);                      \
    template void getrs<T>(const CallContext&, char, int, int, const T*, int, const int*, T*, \
                           int);                                                              \
    template void gesv<T>(const CallContext&, int, int, T*, int, int*, T*, int);              \
    template void getri<T>(const CallContext&, int, T*, int, const int*);
ZULI_INSTANTIATE(ZULI_LU_INSTANCES)
#undef ZULI_LU_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSgetrf zuliDgetrf zuliCgetrf zuliZgetrf
// zuliDeviceSgetrf zuliDeviceDgetrf zuliDeviceCgetrf zuliDeviceZgetrf
ZULI_EXPORT(ALL, getrf, (int m, int n, P* a, int lda, int* ipiv), (m, n, a, lda, ipiv))
// zuliSgetrs zuliDgetrs zuliCgetrs zuliZgetrs
// zuliDeviceSgetrs zuliDeviceDgetrs zuliDeviceCgetrs zuliDeviceZgetrs
ZULI_EXPORT(ALL, getrs,
            (char trans, int n, int nrhs, const P* a, int lda, const int* ipiv, P* b, int ldb),
            (trans, n, nrhs, a, lda, ipiv, b, ldb))
// zuliSgesv zuliDgesv zuliCgesv zuliZgesv
// zuliDeviceSgesv zuliDeviceDgesv zuliDeviceCgesv zuliDeviceZgesv
ZULI_EXPORT(ALL, gesv, (int n, int nrhs, P* a, int lda, int* ipiv, P* b, int ldb),
            (n, nrhs, a, lda, ipiv, b, ldb))
// zuliSgetri zuliDgetri zuliCgetri zuliZgetri
// zuliDeviceSgetri zuliDeviceDgetri zuliDeviceCgetri zuliDeviceZgetri
ZULI_EXPORT(ALL, getri, (int n, P* a, int lda, const int* ipiv), (n, a, lda, ipiv))
