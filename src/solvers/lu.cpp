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

#include "auxiliary/auxiliary.h"
#include "blas/cublas.h"
#include "kernels/auxiliary_kernels.h"
#include "kernels/laswp.h"
#include "runtime/arguments.h"
#include "runtime/device.h"
#include "runtime/host_lapack.h"
#include "runtime/memory.h"
#include "runtime/stream.h"
#include "solvers/host_adapter.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace zuli {

namespace {

// Square matrices of this order and above take the transposed path.
constexpr int kTransposedPathOrder = 513;
// Block size of the LU inverse, the same for every precision and device.
constexpr int kGetriBlock = 64;

// The pivots of one call, produced on the host and uploaded to the device vector once the
// factorization is complete.
class HostPivots {
public:
    explicit HostPivots(int n) : pivots_(size_t(n)) {}
    int* data() { return pivots_.data(); }
    // Makes the panel's pivots starting at (0-based) row j global.
    void makeGlobal(int j, int count) {
        for (int i = j; i < j + count; ++i) pivots_[size_t(i)] += j;
    }
    void upload(int* devicePivots) const {
        cudalib::checkCuda(cudaMemcpy(devicePivots, pivots_.data(), pivots_.size() * sizeof(int),
                                      cudaMemcpyHostToDevice));
    }

private:
    std::vector<int> pivots_;
};

// Factors a host panel. A positive info (a zero pivot in this panel) is remembered as the
// global index of the first zero pivot unless an earlier panel already found one.
template <typename T>
void factorPanel(int rows, int cols, T* panel, int ldPanel, int* pivots, int j, int& info) {
    const int k = host::getrf(rows, cols, panel, ldPanel, pivots);
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

// The row path. The staging buffer holds the panel being factored, packed with leading
// dimension equal to its row count.
template <typename T>
void getrfRows(const CallContext& ctx, int m, int n, int nb, T* a, int lda, int* ipiv) {
    const int mn = std::min(m, n);
    const cudalib::Stream compute;  // the handle's stream: the legacy default stream
    const cudalib::Stream copies(ctx);
    PinnedBuffer<T> staging(size_t(nb) * m);
    T* stage = staging.get();
    HostPivots pivots(mn);
    const T one(1), minusOne(-1);
    constexpr size_t sz = sizeof(T);
    int info = 0;

    copies.copy2D(stage, m * sz, a, lda * sz, m * sz, nb, cudaMemcpyDeviceToHost);
    for (int j = 0; j < mn; j += nb) {
        const int jb = std::min(nb, mn - j);
        const int r = m - j;
        copies.synchronize();
        factorPanel(r, jb, stage, r, pivots.data() + j, j, info);
        copies.copy2D(at(a, lda, j, j), lda * sz, stage, r * sz, r * sz, jb,
                      cudaMemcpyHostToDevice);
        pivots.makeGlobal(j, std::min(jb, m - j));
        applyRowInterchanges(j, a, lda, j + 1, j + jb, pivots.data());

        const int c = n - j - jb;   // columns right of the panel
        const int rb = m - j - jb;  // rows below it
        if (c < 1) continue;
        // The look-ahead block: the next panel's columns, updated first and sent to the host.
        const int la = std::min(c, jb);
        applyRowInterchanges(la, at(a, lda, 0, j + jb), lda, j + 1, j + jb, pivots.data());
        copies.synchronize();  // the factored panel is on the device
        blas::trsm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, CUBLAS_DIAG_UNIT, jb,
                   la, &one, at(a, lda, j, j), lda, at(a, lda, j, j + jb), lda);
        if (rb > 0) {
            blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, rb, la, jb, &minusOne, at(a, lda, j + jb, j),
                       lda, at(a, lda, j, j + jb), lda, &one, at(a, lda, j + jb, j + jb), lda);
            copies.waitFor(compute);
            copies.copy2D(stage, rb * sz, at(a, lda, j + jb, j + jb), lda * sz, rb * sz, la,
                          cudaMemcpyDeviceToHost);
        }
        // The rest of the trailing matrix, while the host factors the next panel.
        const int rest = c - la;
        if (rest > 0) {
            T* right = at(a, lda, 0, j + jb + la);
            applyRowInterchanges(rest, right, lda, j + 1, j + jb, pivots.data());
            blas::trsm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N,
                       CUBLAS_DIAG_UNIT, jb, rest, &one, at(a, lda, j, j), lda, right + j, lda);
            if (rb > 0)
                blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, rb, rest, jb, &minusOne,
                           at(a, lda, j + jb, j), lda, right + j, lda, &one, right + j + jb, lda);
        }
    }
    copies.synchronize();
    pivots.upload(ipiv);
    if (info != 0) raiseDataError(info);
}

// The transposed path for a square matrix. After the in-place transpose, stored row i is column
// i of A: the panel of A's columns j ... j + jb - 1 is the stored rows j ..., interchanges of A's
// rows are swaps of stored columns, and the triangular solve and update of the trailing matrix
// become their transposes (L11^T is unit upper, solved from the right).
template <typename T>
void getrfTransposed(const CallContext& ctx, int n, int nb, T* a, int lda, int* ipiv) {
    const cudalib::Stream compute;
    const cudalib::Stream copies(ctx);
    PinnedBuffer<T> staging(size_t(nb) * n);
    DeviceBuffer<T> workBuffer(size_t(nb) * n);
    T* stage = staging.get();
    T* work = workBuffer.get();
    HostPivots pivots(n);
    const T one(1), minusOne(-1);
    constexpr size_t sz = sizeof(T);
    int info = 0;

    launchTransposeInplace<T, false>(n, a, lda);
    launchTranspose<T, false>(nb, n, a, lda, work, n);
    copies.waitFor(compute);
    copies.copy2D(stage, n * sz, work, n * sz, n * sz, nb, cudaMemcpyDeviceToHost);
    for (int j = 0; j < n; j += nb) {
        const int jb = std::min(nb, n - j);
        const int r = n - j;
        copies.synchronize();
        factorPanel(r, jb, stage, r, pivots.data() + j, j, info);
        copies.copy2D(work, r * sz, stage, r * sz, r * sz, jb, cudaMemcpyHostToDevice);
        pivots.makeGlobal(j, jb);
        applyColumnInterchanges(j, a, lda, j + 1, j + jb, pivots.data());

        const int c = n - j - jb;  // columns of A right of the panel (= rows below it)
        const int rb = c;
        T* diagonal = at(a, lda, j, j);
        if (c < 1) {
            copies.synchronize();
            launchTranspose<T, false>(r, jb, work, r, diagonal, lda);
            continue;
        }
        const int la = std::min(c, jb);
        T* lookAhead = at(a, lda, j + jb, 0);  // stored rows of A's next panel columns
        applyColumnInterchanges(la, lookAhead, lda, j + 1, j + jb, pivots.data());
        copies.synchronize();  // the factored panel is in the work buffer
        launchTranspose<T, false>(r, jb, work, r, diagonal, lda);
        blas::trsm(ctx, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, CUBLAS_DIAG_UNIT, la,
                   jb, &one, diagonal, lda, lookAhead + int64_t(j) * lda, lda);
        if (rb > 0) {
            blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, la, rb, jb, &minusOne,
                       lookAhead + int64_t(j) * lda, lda, at(a, lda, j, j + jb), lda, &one,
                       lookAhead + int64_t(j + jb) * lda, lda);
            launchTranspose<T, false>(la, rb, lookAhead + int64_t(j + jb) * lda, lda, work, rb);
            copies.waitFor(compute);
            copies.copy2D(stage, rb * sz, work, rb * sz, rb * sz, la, cudaMemcpyDeviceToHost);
        }
        const int rest = c - la;
        if (rest > 0) {
            T* right = at(a, lda, j + jb + la, 0);
            applyColumnInterchanges(rest, right, lda, j + 1, j + jb, pivots.data());
            blas::trsm(ctx, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N,
                       CUBLAS_DIAG_UNIT, rest, jb, &one, diagonal, lda,
                       right + int64_t(j) * lda, lda);
            if (rb > 0)
                blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, rest, rb, jb, &minusOne,
                           right + int64_t(j) * lda, lda, at(a, lda, j, j + jb), lda, &one,
                           right + int64_t(j + jb) * lda, lda);
        }
    }
    launchTransposeInplace<T, false>(n, a, lda);
    copies.synchronize();
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

// ---- the routines -------------------------------------------------------------------------------

template <typename T>
void getrf(const CallContext& ctx, int m, int n, T* a, int lda, int* ipiv) {
    if (!getrfArguments(m, n, a, lda, ipiv)) return;
    const int nb = factorBlockSize<T>(deviceCapability(ctx.device).code);
    const bool square = m == n && m >= kTransposedPathOrder;
    if (nb < 2 || nb >= std::min(m, n))
        getrfUnblocked(m, n, a, lda, ipiv);
    else if (square)
        getrfTransposed(ctx, n, nb, a, lda, ipiv);
    else
        getrfRows(ctx, m, n, nb, a, lda, ipiv);
}

// Only the solve with A itself is served. The pivots are only read: nothing is written back to
// the device vector.
template <typename T>
void getrs(const CallContext& ctx, char trans, int n, int nrhs, const T* a, int lda,
           const int* ipiv, T* b, int ldb) {
    if (!getrsArguments(trans, n, nrhs, a, lda, ipiv, b, ldb)) return;
    if (trans != 'N') raiseFeatureNotImplemented();
    std::vector<int> pivots(size_t(n), 0);
    cudalib::checkCuda(
        cudaMemcpy(pivots.data(), ipiv, size_t(n) * sizeof(int), cudaMemcpyDeviceToHost));
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
    std::vector<int> pivots(static_cast<size_t>(n));
    cudalib::checkCuda(
        cudaMemcpy(pivots.data(), ipiv, size_t(n) * sizeof(int), cudaMemcpyDeviceToHost));
    DeviceBuffer<T> workBuffer = acquireWorkspace<T>(ctx, int64_t(kGetriBlock) * n);
    T* work = workBuffer.get();
    const T one(1), minusOne(-1);
    for (int j = (n - 1) / kGetriBlock * kGetriBlock; j >= 0; j -= kGetriBlock) {
        const int jb = std::min(kGetriBlock, n - j);
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
        const int p = pivots[size_t(j)] - 1;
        if (p == j) continue;
        blas::copy(ctx, n, at(a, lda, 0, j), 1, column.get(), 1);
        blas::copy(ctx, n, at(a, lda, 0, p), 1, at(a, lda, 0, j), 1);
        blas::copy(ctx, n, column.get(), 1, at(a, lda, 0, p), 1);
    }
}

#define ZULI_LU_INSTANCES(T)                                                                    \
    template void getrf<T>(const CallContext&, int, int, T*, int, int*);                       \
    template void getrs<T>(const CallContext&, char, int, int, const T*, int, const int*, T*,  \
                           int);                                                               \
    template void gesv<T>(const CallContext&, int, int, T*, int, int*, T*, int);               \
    template void getri<T>(const CallContext&, int, T*, int, const int*);
ZULI_LU_INSTANCES(float)
ZULI_LU_INSTANCES(double)
ZULI_LU_INSTANCES(Complex<float>)
ZULI_LU_INSTANCES(Complex<double>)
#undef ZULI_LU_INSTANCES

}  // namespace zuli
