// triangular.cpp - the triangular solve (trtrs) and the triangular inverse (trtri).
//
// Both begin, when the diagonal is not unit, by looking for an exactly zero diagonal element: the
// first one is reported as zuliDataError with its 1-based position before anything is computed,
// so the caller's b (or a) stays as it was. With a unit diagonal the stored diagonal is never
// read. trtrs is then one cuBLAS trsm.
//
// trtri inverts in place, by blocks of nb = 2 x the precision's base block size (S 192, D 128,
// C 128, Z 64; on first-generation devices S 64, D 96, C 64, Z 96). For the upper triangle the
// block columns go from left to right. With A11 the leading j x j triangle (already inverted),
// A12 the j x jb block above the diagonal block A22 (still as given), step j is
//     A12 := inv(A11) * A12       trmm on the GPU
//     A12 := -A12 * inv(A22)      trsm on the GPU, with A22 as given
//     A22 := inv(A22)             host trtri on a page-locked copy of the block
// The lower triangle is the mirror image: block columns from right to left, the trmm with the
// inverted trailing triangle and the trsm on the block below the diagonal block.
//
// No step changes a diagonal block before its own step, so the copy stream fetches block k + 1
// while step k runs, and the host inverts block k while the GPU runs the trmm and trsm of step k;
// the inverse goes back once that trsm (which reads the block as given) has run, and the next
// trmm waits for it. Orders up to nb are a single block: download, host trtri, upload.
#include "solvers/solvers.h"

#include "blas/cublas.h"
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

// The blocked inverse described at the top; uplo and diag are upper-case, n >= 1, and the
// diagonal is known to hold no zero when it is not unit.
template <typename T>
void invertTriangle(const CallContext& ctx, char uplo, char diag, int n, T* a, int lda) {
    const bool upper = uplo == 'U';
    const int nb = factorBlockSize<T>(deviceCapability(ctx.device).code);
    const int blocks = (n + nb - 1) / nb;
    const int64_t slot = int64_t(std::min(n, nb)) * std::min(n, nb);
    // Two slots: the host inverts one block while the next one arrives in the other.
    const PanelStaging<T> stage(ctx, blocks > 1 ? 2 * slot : slot, StagingSource::Pool);
    const cublasFillMode_t fill = blas::toFillMode(uplo);
    const cublasDiagType_t unit = blas::toDiagType(diag);
    const T one(1), minusOne(-1);

    // Step k handles the diagonal block starting at row and column first(k), of order size(k),
    // staged in slot k % 2.
    auto first = [&](int k) { return (upper ? k : blocks - 1 - k) * nb; };
    auto size = [&](int k) { return std::min(nb, n - first(k)); };
    auto slotOf = [&](int k) { return (k % 2) * slot; };
    auto fetch = [&](int k) {
        const int j = first(k), jb = size(k);
        stage.download(at(a, lda, j, j), lda, jb, jb, jb, slotOf(k));
    };

    fetch(0);
    for (int k = 0; k < blocks; ++k) {
        const int j = first(k), jb = size(k);
        T* block = at(a, lda, j, j);
        if (k + 1 < blocks) fetch(k + 1);

        // The off-diagonal part of the block column, on the GPU.
        const int rows = upper ? j : n - j - jb;
        if (rows > 0) {
            const T* inverted = upper ? a : at(a, lda, j + jb, j + jb);
            T* part = upper ? at(a, lda, 0, j) : at(a, lda, j + jb, j);
            blas::trmm(ctx, CUBLAS_SIDE_LEFT, fill, CUBLAS_OP_N, unit, rows, jb, &one, inverted,
                       lda, part, lda, part, lda);
            blas::trsm(ctx, CUBLAS_SIDE_RIGHT, fill, CUBLAS_OP_N, unit, rows, jb, &minusOne, block,
                       lda, part, lda);
        }

        // The diagonal block, on the host meanwhile.
        stage.wait();
        const int info = lapack::trtri(uplo, diag, jb, stage.get() + slotOf(k), jb);
        if (info < 0) checkHostLapackInfo(info);
        if (info > 0) raiseDataError(j + info);
        stage.afterCompute();  // the trsm has read the block as given
        stage.upload(block, lda, jb, jb, jb, slotOf(k));
        stage.computeAfterCopies();  // the next trmm reads the inverted block
    }
    stage.wait();
}

}  // namespace

template <typename T>
void requireNonzeroDiagonal(int n, const T* a, int lda) {
    if (n <= 0) return;
    std::vector<T> diagonal(static_cast<size_t>(n));
    // A 1 x n block with leading dimension lda + 1: consecutive diagonal elements.
    cudalib::checkCuda(cudaMemcpy2D(diagonal.data(), sizeof(T), a, (int64_t(lda) + 1) * sizeof(T),
                                    sizeof(T), size_t(n), cudaMemcpyDeviceToHost));
    const auto zero = std::find(diagonal.begin(), diagonal.end(), T(0));  // -0.0 == 0 too
    if (zero != diagonal.end()) raiseDataError(int(zero - diagonal.begin()) + 1);
}

// ---- argument checks ----------------------------------------------------------------------------

bool trtrsArguments(char& uplo, char& trans, char& diag, int n, int nrhs, const void* a, int lda,
                    const void* b, int ldb) {
    uplo = upperOption(uplo);
    trans = upperOption(trans);
    diag = upperOption(diag);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(!isOneOf(trans, "NTC"), 2);
    failIf(!isOneOf(diag, "UN"), 3);
    failIf(n < 0, 4);
    failIf(nrhs < 0, 5);
    failIf(lda < std::max(1, n), 7);
    failIf(ldb < std::max(1, n), 9);
    if (n == 0) return false;
    failIf(a == nullptr, 6);
    failIf(b == nullptr, 8);  // also without right-hand sides
    return true;
}

// trtri, in this order:
//   uplo not U / L       -1
//   diag not U / N       -2
//   n < 0                -3
//   lda < max(1, n)      -5
//   n = 0                empty: return at once, success
//   a null               -4
bool trtriArguments(char& uplo, char& diag, int n, const void* a, int lda) {
    uplo = upperOption(uplo);
    diag = upperOption(diag);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(!isOneOf(diag, "UN"), 2);
    failIf(n < 0, 3);
    failIf(lda < std::max(1, n), 5);
    if (n == 0) return false;
    failIf(a == nullptr, 4);
    return true;
}

// ---- the routines -------------------------------------------------------------------------------

// Solves op(A) X = B in place in b (n x nrhs), A upper or lower triangular, unit or not.
// zuliDataError with info i: A(i, i) is exactly zero (diag 'N'); b is then unchanged.
template <typename T>
void trtrs(const CallContext& ctx, char uplo, char trans, char diag, int n, int nrhs, const T* a,
           int lda, T* b, int ldb) {
    if (!trtrsArguments(uplo, trans, diag, n, nrhs, a, lda, b, ldb)) return;
    if (diag == 'N') requireNonzeroDiagonal(n, a, lda);
    const T one(1);
    blas::trsm(ctx, CUBLAS_SIDE_LEFT, blas::toFillMode(uplo), blas::toOperation(trans),
               blas::toDiagType(diag), n, nrhs, &one, a, lda, b, ldb);
}

// Replaces the upper or lower triangle of a (n x n) by the same triangle of its inverse; the
// other triangle and, with diag 'U', the diagonal are not touched.
// zuliDataError with info i: A(i, i) is exactly zero (diag 'N'); a is then unchanged.
template <typename T>
void trtri(const CallContext& ctx, char uplo, char diag, int n, T* a, int lda) {
    if (!trtriArguments(uplo, diag, n, a, lda)) return;
    if (diag == 'N') requireNonzeroDiagonal(n, a, lda);
    invertTriangle(ctx, uplo, diag, n, a, lda);
}

// ---- host interface -----------------------------------------------------------------------------
// trtrs mirrors a in and b in and out, trtri a both ways. A zero on the diagonal is found before
// anything is computed, so the arrays copied back after that data error hold what the caller
// passed; any other failure leaves them untouched.

namespace host {

template <typename T>
CallResult trtrs(const CallContext& ctx, char uplo, char trans, char diag, int n, int nrhs,
                 const T* a, int lda, T* b, int ldb) {
    if (!trtrsArguments(uplo, trans, diag, n, nrhs, a, lda, b, ldb)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn);
    HostArrayMirror<T> B(ctx, n, nrhs, b, ldb, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            // Without right-hand sides B has no device copy: only the diagonal is tested.
            if (nrhs > 0)
                return zuli::trtrs<T>(c, uplo, trans, diag, n, nrhs, A.device(), A.ld(), B.device(),
                                      B.ld());
            if (diag == 'N') requireNonzeroDiagonal(n, A.device(), A.ld());
        },
        B);
}

template <typename T>
CallResult trtri(const CallContext& ctx, char uplo, char diag, int n, T* a, int lda) {
    if (!trtriArguments(uplo, diag, n, a, lda)) return {};
    return runOnMirroredMatrix(ctx, n, n, a, lda, [&](const CallContext& c, T* d, int ld) {
        zuli::trtri<T>(c, uplo, diag, n, d, ld);
    });
}

}  // namespace host

#define ZULI_TRIANGULAR_INSTANCES(T)                                                          \
    template void requireNonzeroDiagonal<T>(int, const T*, int);                              \
    template void trtrs<T>(const CallContext&, char, char, char, int, int, const T*, int, T*, \
                           int);                                                              \
    template void trtri<T>(const CallContext&, char, char, int, T*, int);
ZULI_INSTANTIATE(ZULI_TRIANGULAR_INSTANCES)
#undef ZULI_TRIANGULAR_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliStrtrs zuliDtrtrs zuliCtrtrs zuliZtrtrs
// zuliDeviceStrtrs zuliDeviceDtrtrs zuliDeviceCtrtrs zuliDeviceZtrtrs
ZULI_EXPORT(ALL, trtrs,
            (char uplo, char trans, char diag, int n, int nrhs, const P* a, int lda, P* b, int ldb),
            (uplo, trans, diag, n, nrhs, a, lda, b, ldb))
// zuliStrtri zuliDtrtri zuliCtrtri zuliZtrtri
// zuliDeviceStrtri zuliDeviceDtrtri zuliDeviceCtrtri zuliDeviceZtrtri
ZULI_EXPORT(ALL, trtri, (char uplo, char diag, int n, P* a, int lda), (uplo, diag, n, a, lda))
