// banded.cpp - LU factorization of a general band matrix (gbtrf) and Cholesky factorization of a
// positive definite band matrix (pbtrf), in LAPACK's band storage, with LAPACK's results.
//
// Band storage. Column j of the matrix is column j of ab; its diagonal element sits in a fixed
// row d of ab (gbtrf: d = kl + ku, below kl rows kept for the fill-in of U; pbtrf: d = kd for the
// upper triangle, 0 for the lower one). Element (i, j) is then ab[d + i - j + j * ldab]
//                                                         = ab[d + i + j * (ldab - 1)],
// so the band is also a general matrix with leading dimension ldab - 1 (the "general view"):
// any block that lies inside the band can be handed to cuBLAS as an ordinary matrix. Blocks that
// reach outside it (the triangles past the last stored diagonals) cannot: their addresses belong
// to neighbouring columns. Those go through small work arrays, as in LAPACK.
//
// Two paths each:
//   narrow   kl < nb (gbtrf) or kd < nb (pbtrf): the band is downloaded with one 2-D copy,
//            factored by the host LAPACK and uploaded (with the pivots). The updates of a band
//            this narrow are too small to pay for the trips of a blocked schedule.
//   blocked  the blocked algorithms of LAPACK, nb columns at a time (nb = the precision's base
//            block size, kl or kd >= nb). The panel or diagonal block is factored on the host in
//            page-locked staging: one 2-D copy of its rows of band storage down and back up. The
//            updates of the blocks to its right and below run on the GPU with cuBLAS in the
//            general view; the interchanges with a kernel (kernels/band.h).
// Both give LAPACK's factors, pivots and info (to rounding: the blocked updates sum in another
// order than LAPACK's).
//
// gbtrf, blocked, one panel of jb columns starting at column j (kv = kl + ku):
//   1. The panel rows j ... j + r - 1 (r = min(kl + jb, m - j)) are expanded on the host into a
//      dense r x jb matrix (its elements below the band are zero) and factored there with
//      partial pivoting (host getf2: the same pivots as LAPACK's band panel, whose search is
//      limited to the band, because everything below the band is zero).
//   2. Its L, with all of the panel's interchanges applied, goes to a device work array for the
//      updates. Band storage keeps a column's multipliers as they were when that column was
//      eliminated, so the later interchanges are undone in the columns on their left before
//      the panel goes back into the band (LAPACK does the same).
//   3. The interchanges reach the columns j + jb ... ju, ju being the last column that a pivot row
//      so far extends to; trsm with the unit lower L11 and one gemm update the blocks right of
//      the panel. The part of U that reaches past the ku-th superdiagonal (columns j + kv and
//      on, LAPACK's A13) is a lower triangle in the band: it is copied into a zeroed work array,
//      updated there and copied back.
// The fill-in rows of U are zeroed on the device first, as LAPACK does in passing. A zero pivot
// does not stop the factorization: the first one is reported once factors and pivots are stored.
//
// pbtrf, blocked, one diagonal block of ib columns starting at column i:
//   1. The block is factored on the host with potf2 (LAPACK's own step) on its rows of band
//      storage, which the staging holds in the general view with leading dimension ib.
//   2. Upper: A12 = U11^-H A12 (trsm), A22 -= A12^H A12 (herk); the part of the band past the
//      kd-th superdiagonal (A13, a lower triangle) is copied into a work array whose upper
//      triangle is zero, solved there, A23 -= A12^H A13 (gemm), A33 -= A13^H A13 (herk), and
//      copied back. Lower: the same with L, from the right.
// A minor that is not positive definite ends the factorization at that block, as in LAPACK: the
// block as far as potf2 got is stored, and the data error carries the minor's order.
#include "solvers/solvers.h"

#include "blas/cublas.h"
#include "kernels/auxiliary_kernels.h"
#include "kernels/band.h"
#include "runtime/arguments.h"
#include "runtime/device.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/host_lapack.h"
#include "runtime/memory.h"
#include "runtime/tuning.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace zuli {

namespace {

// The general view: element (i, j) (0-based) of the band matrix whose diagonal is stored in row
// `diagonalRow` of ab.
template <typename T>
T* general(T* ab, int ldab, int diagonalRow, int i, int j) {
    return ab + diagonalRow + i + int64_t(j) * (ldab - 1);
}

// Copies `rows` rows of band storage starting at row `top`, columns j ... j + cols - 1, between
// the device band and a host array with leading dimension hostLd.
template <typename T>
void downloadBandRows(T* host, int hostLd, const T* ab, int ldab, int top, int rows, int j,
                      int cols) {
    cudalib::checkCuda(cudaMemcpy2D(host, size_t(hostLd) * sizeof(T), ab + top + int64_t(j) * ldab,
                                    size_t(ldab) * sizeof(T), size_t(rows) * sizeof(T),
                                    size_t(cols), cudaMemcpyDeviceToHost));
}
template <typename T>
void uploadBandRows(T* ab, int ldab, int top, int rows, int j, int cols, const T* host,
                    int hostLd) {
    cudalib::checkCuda(cudaMemcpy2D(ab + top + int64_t(j) * ldab, size_t(ldab) * sizeof(T), host,
                                    size_t(hostLd) * sizeof(T), size_t(rows) * sizeof(T),
                                    size_t(cols), cudaMemcpyHostToDevice));
}

void uploadPivots(int* ipiv, const std::vector<int>& pivots) {
    cudalib::checkCuda(
        cudaMemcpy(ipiv, pivots.data(), pivots.size() * sizeof(int), cudaMemcpyHostToDevice));
}

// ---- gbtrf ---------------------------------------------------------------------------------

template <typename T>
void gbtrfNarrow(const CallContext& ctx, int m, int n, int kl, int ku, T* ab, int ldab, int* ipiv) {
    const int rows = 2 * kl + ku + 1;
    const PinnedBuffer<T> band = acquirePinnedWorkspace<T>(ctx, int64_t(rows) * n);
    downloadBandRows(band.get(), rows, ab, ldab, 0, rows, 0, n);
    std::vector<int> pivots(size_t(std::min(m, n)));
    const int info = lapack::gbtrf(m, n, kl, ku, band.get(), rows, pivots.data());
    if (info < 0) checkHostLapackInfo(info);
    uploadBandRows(ab, ldab, 0, rows, 0, n, band.get(), rows);
    uploadPivots(ipiv, pivots);
    if (info > 0) raiseDataError(info);
}

// Zeroes the fill-in rows (storage rows 0 ... kl - 1) where they hold elements of the matrix that
// the factorization can reach: in columns ku + 1 ... kv - 1 the rows from matrix row 0 on (an
// upper triangle in the general view), in columns kv ... min(m, n) - 1 + kv all kl of them.
template <typename T>
void zeroFillIn(int m, int n, int kl, int ku, T* ab, int ldab) {
    const int kv = kl + ku;
    const int triangle = std::min(kv, n) - (ku + 1);
    if (triangle > 0)
        launchLaset('U', triangle, triangle, T(0), T(0), general(ab, ldab, kv, 0, ku + 1),
                    ldab - 1);
    const int full = std::min(std::min(m, n) + kv, n) - kv;
    if (full > 0) launchLaset('A', kl, full, T(0), T(0), ab + int64_t(kv) * ldab, ldab);
}

template <typename T>
void gbtrfBlocked(const CallContext& ctx, int m, int n, int kl, int ku, int nb, T* ab, int ldab,
                  int* ipiv) {
    const int kv = kl + ku, mn = std::min(m, n), ldg = ldab - 1;
    auto band = [&](int i, int j) { return general(ab, ldab, kv, i, j); };
    // Host: the panel's rows of band storage (kl + jb of them) and its dense expansion.
    const int ldStage = kl + nb;
    const PinnedBuffer<T> pinned = acquirePinnedWorkspace<T>(ctx, 2 * int64_t(ldStage) * nb);
    T* stage = pinned.get();
    T* panel = stage + int64_t(ldStage) * nb;
    // Device: the panel's L (leading dimension r) and the triangle past the ku-th superdiagonal.
    const DeviceBuffer<T> work = acquireWorkspace<T>(ctx, int64_t(ldStage) * nb + int64_t(nb) * nb);
    T* lower = work.get();
    T* corner = lower + int64_t(ldStage) * nb;
    launchLaset('A', nb, nb, T(0), T(0), corner, nb);  // its upper triangle stays zero
    zeroFillIn(m, n, kl, ku, ab, ldab);

    std::vector<int> pivots(static_cast<size_t>(mn));
    const T one(1), minusOne(-1);
    int info = 0;
    int ju = 0;  // the last column a pivot row reaches
    for (int j = 0; j < mn; j += nb) {
        const int jb = std::min(nb, mn - j);
        const int r = std::min(kl + jb, m - j);
        const int below = r - jb;
        int* piv = pivots.data() + j;

        // Panel, on the host. Stage row jb - 1 + i - k holds element (j + i, j + k).
        const int top = kv - jb + 1;
        downloadBandRows(stage, ldStage, ab, ldab, top, kl + jb, j, jb);
        for (int k = 0; k < jb; ++k)
            for (int i = 0; i < r; ++i)
                panel[i + int64_t(k) * r] =
                    i - k <= kl ? stage[jb - 1 + i - k + int64_t(k) * ldStage] : T(0);
        const int zeroPivot = lapack::getf2(r, jb, panel, r, piv);
        if (zeroPivot < 0) checkHostLapackInfo(zeroPivot);
        if (zeroPivot > 0 && info == 0) info = j + zeroPivot;
        for (int k = 0; k < jb; ++k)
            if (panel[k + int64_t(k) * r] != T(0))
                ju = std::max(ju, std::min(j + piv[k] - 1 + ku, n - 1));
        cudalib::checkCuda(
            cudaMemcpy(lower, panel, size_t(r) * jb * sizeof(T), cudaMemcpyHostToDevice));

        // Back into band storage, each column's multipliers as they were at its elimination.
        for (int k = jb - 1; k > 0; --k) {
            const int p = piv[k] - 1;
            if (p != k)
                for (int c = 0; c < k; ++c)
                    std::swap(panel[k + int64_t(c) * r], panel[p + int64_t(c) * r]);
        }
        for (int k = 0; k < jb; ++k)
            for (int i = 0; i < r && i - k <= kl; ++i)
                stage[jb - 1 + i - k + int64_t(k) * ldStage] = panel[i + int64_t(k) * r];
        uploadBandRows(ab, ldab, top, kl + jb, j, jb, stage, ldStage);

        // The columns the panel's interchanges reach: j + jb ... j + jb + j2 - 1 lie within the
        // ku-th superdiagonal of rows j ..., the j3 after them past it.
        if (j + jb < n) {
            const int j2 = std::max(0, std::min(ju - j + 1, kv) - jb);
            const int j3 = std::max(0, ju - j - kv + 1);
            applyBandRowInterchanges(j2 + j3, band(j, j + jb), ldg, jb, piv, jb - kv);
            if (j2 > 0) {
                blas::trsm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N,
                           CUBLAS_DIAG_UNIT, jb, j2, &one, lower, r, band(j, j + jb), ldg);
                if (below > 0)
                    blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, below, j2, jb, &minusOne, lower + jb,
                               r, band(j, j + jb), ldg, &one, band(j + jb, j + jb), ldg);
            }
            if (j3 > 0) {
                launchLacpy('L', jb, j3, band(j, j + kv), ldg, corner, nb);
                blas::trsm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N,
                           CUBLAS_DIAG_UNIT, jb, j3, &one, lower, r, corner, nb);
                if (below > 0)
                    blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, below, j3, jb, &minusOne, lower + jb,
                               r, corner, nb, &one, band(j + jb, j + kv), ldg);
                launchLacpy('L', jb, j3, corner, nb, band(j, j + kv), ldg);
            }
        }
        for (int k = 0; k < jb; ++k) piv[k] += j;
    }
    uploadPivots(ipiv, pivots);
    if (info != 0) raiseDataError(info);
}

// ---- pbtrf ---------------------------------------------------------------------------------

template <typename T>
void pbtrfNarrow(const CallContext& ctx, char uplo, int n, int kd, T* ab, int ldab) {
    const int rows = kd + 1;
    const PinnedBuffer<T> band = acquirePinnedWorkspace<T>(ctx, int64_t(rows) * n);
    downloadBandRows(band.get(), rows, ab, ldab, 0, rows, 0, n);
    const int info = lapack::pbtrf(uplo, n, kd, band.get(), rows);
    if (info < 0) checkHostLapackInfo(info);
    uploadBandRows(ab, ldab, 0, rows, 0, n, band.get(), rows);
    if (info > 0) raiseDataError(info);
}

template <typename T>
void pbtrfBlocked(const CallContext& ctx, char uplo, int n, int kd, int nb, T* ab, int ldab) {
    const bool upper = uplo == 'U';
    const int ldg = ldab - 1;
    auto band = [&](int i, int j) { return general(ab, ldab, upper ? kd : 0, i, j); };
    const PinnedBuffer<T> stage = acquirePinnedWorkspace<T>(ctx, int64_t(nb + 1) * nb);
    const DeviceBuffer<T> work = acquireWorkspace<T>(ctx, int64_t(nb) * nb);
    T* corner = work.get();
    launchLaset('A', nb, nb, T(0), T(0), corner, nb);  // the triangle outside the copies stays zero

    constexpr cublasOperation_t conjugate = IsComplexV<T> ? CUBLAS_OP_C : CUBLAS_OP_T;
    const cublasFillMode_t fill = upper ? CUBLAS_FILL_MODE_UPPER : CUBLAS_FILL_MODE_LOWER;
    const T one(1), minusOne(-1);
    const blas::Real<T> realOne(1), realMinusOne(-1);
    for (int i = 0; i < n; i += nb) {
        const int ib = std::min(nb, n - i);
        // The diagonal block's ib rows of band storage (upper: rows kd - ib + 1 ... kd; lower:
        // rows 0 ... ib - 1) go to the stage with leading dimension ib + 1 (upper: from its row
        // 1), where the block is the general matrix at stage + (upper ? ib : 0), leading
        // dimension ib.
        const int top = upper ? kd - ib + 1 : 0;
        T* rows = stage.get() + (upper ? 1 : 0);
        downloadBandRows(rows, ib + 1, ab, ldab, top, ib, i, ib);
        const int minor = lapack::potf2(uplo, ib, stage.get() + (upper ? ib : 0), ib);
        if (minor < 0) checkHostLapackInfo(minor);
        uploadBandRows(ab, ldab, top, ib, i, ib, rows, ib + 1);
        if (minor > 0) raiseDataError(i + minor);
        if (i + ib >= n) break;

        // i2 rows / columns within the band (A22), i3 past it (A33); A13 / A31 is the triangle
        // of the band between them.
        const int i2 = std::min(kd - ib, n - i - ib);
        const int i3 = std::min(ib, n - i - kd);
        if (upper) {
            if (i2 > 0) {
                blas::trsm(ctx, CUBLAS_SIDE_LEFT, fill, conjugate, CUBLAS_DIAG_NON_UNIT, ib, i2,
                           &one, band(i, i), ldg, band(i, i + ib), ldg);
                blas::herk(ctx, fill, conjugate, i2, ib, &realMinusOne, band(i, i + ib), ldg,
                           &realOne, band(i + ib, i + ib), ldg);
            }
            if (i3 > 0) {
                launchLacpy('L', ib, i3, band(i, i + kd), ldg, corner, nb);
                blas::trsm(ctx, CUBLAS_SIDE_LEFT, fill, conjugate, CUBLAS_DIAG_NON_UNIT, ib, i3,
                           &one, band(i, i), ldg, corner, nb);
                if (i2 > 0)
                    blas::gemm(ctx, conjugate, CUBLAS_OP_N, i2, i3, ib, &minusOne, band(i, i + ib),
                               ldg, corner, nb, &one, band(i + ib, i + kd), ldg);
                blas::herk(ctx, fill, conjugate, i3, ib, &realMinusOne, corner, nb, &realOne,
                           band(i + kd, i + kd), ldg);
                launchLacpy('L', ib, i3, corner, nb, band(i, i + kd), ldg);
            }
        } else {
            if (i2 > 0) {
                blas::trsm(ctx, CUBLAS_SIDE_RIGHT, fill, conjugate, CUBLAS_DIAG_NON_UNIT, i2, ib,
                           &one, band(i, i), ldg, band(i + ib, i), ldg);
                blas::herk(ctx, fill, CUBLAS_OP_N, i2, ib, &realMinusOne, band(i + ib, i), ldg,
                           &realOne, band(i + ib, i + ib), ldg);
            }
            if (i3 > 0) {
                launchLacpy('U', i3, ib, band(i + kd, i), ldg, corner, nb);
                blas::trsm(ctx, CUBLAS_SIDE_RIGHT, fill, conjugate, CUBLAS_DIAG_NON_UNIT, i3, ib,
                           &one, band(i, i), ldg, corner, nb);
                if (i2 > 0)
                    blas::gemm(ctx, CUBLAS_OP_N, conjugate, i3, i2, ib, &minusOne, corner, nb,
                               band(i + ib, i), ldg, &one, band(i + kd, i + ib), ldg);
                blas::herk(ctx, fill, CUBLAS_OP_N, i3, ib, &realMinusOne, corner, nb, &realOne,
                           band(i + kd, i + kd), ldg);
                launchLacpy('U', i3, ib, corner, nb, band(i + kd, i), ldg);
            }
        }
    }
}

}  // namespace

// ---- argument checks ----------------------------------------------------------------------------
//
// gbtrf, in order:                         pbtrf, in order (uplo upper-cased first):
//   m < 0                         -1         uplo not 'U' / 'L'             -1
//   n < 0                         -2         n < 0                          -2
//   kl < 0                        -3         kd < 0                         -3
//   ku < 0                        -4         ldab < kd + 1                  -5
//   ldab < 2 kl + ku + 1          -6         n = 0: success, nothing else
//   m = 0 or n = 0: success, nothing else    ab null                        -4
//   ab null                       -5
//   ipiv null                     -7

bool gbtrfArguments(int m, int n, int kl, int ku, const void* ab, int ldab, const void* ipiv) {
    failIf(m < 0, 1);
    failIf(n < 0, 2);
    failIf(kl < 0, 3);
    failIf(ku < 0, 4);
    failIf(ldab < 2 * int64_t(kl) + ku + 1, 6);
    if (m == 0 || n == 0) return false;
    failIf(ab == nullptr, 5);
    failIf(ipiv == nullptr, 7);
    return true;
}

bool pbtrfArguments(char& uplo, int n, int kd, const void* ab, int ldab) {
    uplo = upperOption(uplo);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(n < 0, 2);
    failIf(kd < 0, 3);
    failIf(ldab < int64_t(kd) + 1, 5);
    if (n == 0) return false;
    failIf(ab == nullptr, 4);
    return true;
}

// ---- the routines -------------------------------------------------------------------------------

template <typename T>
void gbtrf(const CallContext& ctx, int m, int n, int kl, int ku, T* ab, int ldab, int* ipiv) {
    if (!gbtrfArguments(m, n, kl, ku, ab, ldab, ipiv)) return;
    const int nb = bandBlockSize<T>(deviceCapability(ctx.device).code);
    if (kl < nb)
        gbtrfNarrow(ctx, m, n, kl, ku, ab, ldab, ipiv);
    else
        gbtrfBlocked(ctx, m, n, kl, ku, nb, ab, ldab, ipiv);
}

template <typename T>
void pbtrf(const CallContext& ctx, char uplo, int n, int kd, T* ab, int ldab) {
    if (!pbtrfArguments(uplo, n, kd, ab, ldab)) return;
    const int nb = bandBlockSize<T>(deviceCapability(ctx.device).code);
    if (kd < nb)
        pbtrfNarrow(ctx, uplo, n, kd, ab, ldab);
    else
        pbtrfBlocked(ctx, uplo, n, kd, nb, ab, ldab);
}

// ---- host interface -----------------------------------------------------------------------------
// Only the rows of band storage the routine uses are mirrored (gbtrf: 2 kl + ku + 1, pbtrf:
// kd + 1; rows beyond them in a larger ldab are left alone, as LAPACK leaves them), the pivots
// before the band on the way back. A data error still copies the results back.

namespace host {

template <typename T>
CallResult gbtrf(const CallContext& ctx, int m, int n, int kl, int ku, T* ab, int ldab, int* ipiv) {
    if (!gbtrfArguments(m, n, kl, ku, ab, ldab, ipiv)) return {};
    const int mn = std::min(m, n);
    HostArrayMirror<T> AB(ctx, 2 * kl + ku + 1, n, ab, ldab, MirrorIn | MirrorOut);
    HostArrayMirror<int, T> P(ctx, mn, 1, ipiv, mn, MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            zuli::gbtrf<T>(c, m, n, kl, ku, AB.device(), AB.ld(), P.device());
        },
        P, AB);
}

template <typename T>
CallResult pbtrf(const CallContext& ctx, char uplo, int n, int kd, T* ab, int ldab) {
    if (!pbtrfArguments(uplo, n, kd, ab, ldab)) return {};
    return runOnMirroredMatrix(ctx, kd + 1, n, ab, ldab, [&](const CallContext& c, T* d, int ld) {
        zuli::pbtrf<T>(c, uplo, n, kd, d, ld);
    });
}

}  // namespace host

#define ZULI_BANDED_INSTANCES(T)                                                   \
    template void gbtrf<T>(const CallContext&, int, int, int, int, T*, int, int*); \
    template void pbtrf<T>(const CallContext&, char, int, int, T*, int);
ZULI_INSTANTIATE(ZULI_BANDED_INSTANCES)
#undef ZULI_BANDED_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSgbtrf zuliDgbtrf zuliCgbtrf zuliZgbtrf
// zuliDeviceSgbtrf zuliDeviceDgbtrf zuliDeviceCgbtrf zuliDeviceZgbtrf
ZULI_EXPORT(ALL, gbtrf, (int m, int n, int kl, int ku, P* ab, int ldab, int* ipiv),
            (m, n, kl, ku, ab, ldab, ipiv))
// zuliSpbtrf zuliDpbtrf zuliCpbtrf zuliZpbtrf
// zuliDeviceSpbtrf zuliDeviceDpbtrf zuliDeviceCpbtrf zuliDeviceZpbtrf
ZULI_EXPORT(ALL, pbtrf, (char uplo, int n, int kd, P* ab, int ldab), (uplo, n, kd, ab, ldab))
