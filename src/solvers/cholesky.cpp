// cholesky.cpp - Cholesky factorization of a symmetric / Hermitian positive definite matrix
// (potrf), the solve with its factor (potrs), the driver that does both (posv) and the inverse
// from the factor (potri).
//
// potrf is hybrid. With nb = 2 x the precision's base block size, a matrix of order nb or less
// is factored on the host as a whole. A larger one is factored a block column at a time on its
// lower triangle:
//
//     diagonal block  A11 -= A10 A10^H        herk on the compute stream (the handle's stream)
//     download A11 to page-locked staging     copy stream
//     panel           A21 -= A20 A10^H        gemm on the panel stream, overlapping ...
//     A11 = L11 L11^H                         ... the host potrf of the block
//     upload L11                              copy stream
//     panel           A21 = A21 L11^-H        trsm on the compute stream
//
// so only the diagonal blocks cross the bus (about n x nb elements each way), and the host
// factors block j while the GPU updates the panel below it. uplo 'U' is served by the same code
// on the conjugate transpose: the matrix is conjugate-transposed in place before and after.
//
// A block that is not positive definite stops the factorization at once: the block as the host
// left it is copied back and zuliDataError reports the global order of the failing minor. The
// matrix is then left as it stands, so for 'U' it stays in conjugate-transposed (lower) storage.
//
// Three streams meet here. Per-call Streams are blocking streams, so the legacy default stream
// (the compute stream) orders against them both ways: work issued to the copy or panel stream
// starts after the compute work issued before it, and compute work waits for both. The host
// waits explicitly where it reads the staging buffer or hands the block to the trsm.
#include "solvers/solvers.h"

#include "blas/cublas.h"
#include "kernels/auxiliary_kernels.h"
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

// A = A^H in place; for real types the plain transpose.
template <typename T>
void conjugateTransposeInPlace(int n, T* a, int lda) {
    launchTransposeInplace<T, IsComplexV<T>>(n, a, lda);
}

// The whole matrix factored on the host. A minor that is not positive definite still returns
// the host's partial factor, as LAPACK leaves it.
template <typename T>
void potrfOnHost(char uplo, int n, T* a, int lda) {
    constexpr size_t sz = sizeof(T);
    std::vector<T> host(size_t(n) * n);
    cudalib::checkCuda(
        cudaMemcpy2D(host.data(), n * sz, a, lda * sz, n * sz, n, cudaMemcpyDeviceToHost));
    const int info = lapack::potrf(uplo, n, host.data(), n);
    if (info < 0) checkHostLapackInfo(info);
    cudalib::checkCuda(
        cudaMemcpy2D(a, lda * sz, host.data(), n * sz, n * sz, n, cudaMemcpyHostToDevice));
    if (info > 0) raiseDataError(info);
}

// The blocked factorization A = L L^H of the lower triangle (n > nb).
template <typename T>
void potrfBlocked(const CallContext& ctx, int n, int nb, T* a, int lda) {
    using R = blas::Real<T>;
    // The diagonal blocks' staging is allocated for the call (page-locked, nb x nb), not drawn
    // from the pool.
    const PanelStaging<T> stage(ctx, int64_t(nb) * nb, StagingSource::Call);
    const cudalib::Stream panels(ctx);
    T* block = stage.get();
    const T one(1), minusOne(-1);
    const R realOne(1), realMinusOne(-1);
    constexpr size_t sz = sizeof(T);

    for (int j = 0; j < n; j += nb) {
        const int jb = std::min(nb, n - j);
        const int r = n - j - jb;  // rows below the diagonal block
        T* diagonal = at(a, lda, j, j);
        T* panel = at(a, lda, j + jb, j);
        // Diagonal block: subtract the contributions of the columns left of it, then send it
        // to the host.
        if (j > 0)
            blas::herk(ctx, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, jb, j, &realMinusOne,
                       at(a, lda, j, 0), lda, &realOne, diagonal, lda);
        stage.download(diagonal, lda, jb, jb, nb);
        // Panel update on its own stream, while the host factors the block.
        if (r > 0 && j > 0) {
            blas::StreamBinding onPanels(ctx.handle, panels.get());
            blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_C, r, jb, j, &minusOne, at(a, lda, j + jb, 0),
                       lda, at(a, lda, j, 0), lda, &one, panel, lda);
            onPanels.release();
        }
        stage.wait();
        const int info = lapack::potrf('L', jb, block, nb);
        if (info < 0) checkHostLapackInfo(info);
        if (info > 0) {
            cudalib::checkCuda(cudaMemcpy2D(diagonal, lda * sz, block, nb * sz, jb * sz, jb,
                                            cudaMemcpyHostToDevice));
            raiseDataError(j + info);
        }
        stage.upload(diagonal, lda, jb, jb, nb);
        panels.synchronize();
        stage.wait();
        // Panel solve with the factored block: L21 = A21 L11^-H.
        if (r > 0)
            blas::trsm(ctx, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_C,
                       CUBLAS_DIAG_NON_UNIT, r, jb, &one, diagonal, lda, panel, lda);
    }
}

// The product U U^H (uplo 'U') or L^H L ('L') of a triangular factor, in place, blocked as
// LAPACK's lauum: per block column, the part beside the diagonal block is multiplied by the block
// (trmm) while the block goes to the host for its own product, then the rest of the block row
// or column is added in (gemm, herk). The block must reach the host before trmm reads it and
// come back only after: both copies run on the copy stream, ordered against the compute stream.
template <typename T>
void lauumBlocked(const CallContext& ctx, char uplo, int n, int nb, T* a, int lda) {
    using R = blas::Real<T>;
    const PanelStaging<T> stage(ctx, int64_t(nb) * nb, StagingSource::Pool);
    T* block = stage.get();
    const T one(1);
    const R realOne(1);
    const bool upper = uplo == 'U';

    for (int i = 0; i < n; i += nb) {
        const int ib = std::min(nb, n - i);
        const int rest = n - i - ib;  // order of the trailing part
        T* diagonal = at(a, lda, i, i);
        stage.download(diagonal, lda, ib, ib, nb);
        if (i > 0) {
            // The block row (upper) or column (lower) beside the diagonal block, times it.
            T* beside = upper ? at(a, lda, 0, i) : at(a, lda, i, 0);
            if (upper)
                blas::trmm(ctx, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_C,
                           CUBLAS_DIAG_NON_UNIT, i, ib, &one, diagonal, lda, beside, lda, beside,
                           lda);
            else
                blas::trmm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_C,
                           CUBLAS_DIAG_NON_UNIT, ib, i, &one, diagonal, lda, beside, lda, beside,
                           lda);
        }
        stage.wait();
        checkHostLapackInfo(lapack::lauum(uplo, ib, block, nb));
        stage.upload(diagonal, lda, ib, ib, nb);
        if (rest == 0) continue;
        // Add the products with the trailing part of the block row (upper) or column (lower).
        if (upper) {
            T* right = at(a, lda, i, i + ib);
            if (i > 0)
                blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_C, i, ib, rest, &one, at(a, lda, 0, i + ib),
                           lda, right, lda, &one, at(a, lda, 0, i), lda);
            blas::herk(ctx, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, ib, rest, &realOne, right, lda,
                       &realOne, diagonal, lda);
        } else {
            T* below = at(a, lda, i + ib, i);
            if (i > 0)
                blas::gemm(ctx, CUBLAS_OP_C, CUBLAS_OP_N, ib, i, rest, &one, below, lda,
                           at(a, lda, i + ib, 0), lda, &one, at(a, lda, i, 0), lda);
            blas::herk(ctx, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_C, ib, rest, &realOne, below, lda,
                       &realOne, diagonal, lda);
        }
    }
    stage.wait();
}

}  // namespace

// The checks potrs, posv, dsposv and zcposv share, up to the leading dimension of b.
void choleskySolveArguments(char& uplo, int n, int nrhs, int lda, int ldb) {
    uplo = upperOption(uplo);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(n < 0, 2);
    failIf(nrhs < 0, 3);
    failIf(lda < std::max(1, n), 5);
    failIf(ldb < std::max(1, n), 7);
}

// ---- argument checks ----------------------------------------------------------------------------

bool potrfArguments(char& uplo, int n, const void* a, int lda) {
    uplo = upperOption(uplo);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(n < 0, 2);
    failIf(lda < std::max(1, n), 4);
    if (n == 0) return false;
    failIf(a == nullptr, 3);
    return true;
}

// The same table as potrf's.
bool potriArguments(char& uplo, int n, const void* a, int lda) {
    return potrfArguments(uplo, n, a, lda);
}

bool potrsArguments(char& uplo, int n, int nrhs, const void* a, int lda, const void* b, int ldb) {
    choleskySolveArguments(uplo, n, nrhs, lda, ldb);
    if (n == 0 || nrhs == 0) return false;
    failIf(a == nullptr, 4);
    failIf(b == nullptr, 6);
    return true;
}

// Unlike potrs, posv returns early for n = 0 only: a non-empty matrix is factored (and so must
// be given) even without right-hand sides, and b is needed only when there are some.
bool posvArguments(char& uplo, int n, int nrhs, const void* a, int lda, const void* b, int ldb) {
    choleskySolveArguments(uplo, n, nrhs, lda, ldb);
    if (n < 1) return false;
    failIf(a == nullptr, 4);
    failIf(nrhs >= 1 && b == nullptr, 6);
    return true;
}

// ---- the routines -------------------------------------------------------------------------------

template <typename T>
void potrf(const CallContext& ctx, char uplo, int n, T* a, int lda) {
    if (!potrfArguments(uplo, n, a, lda)) return;
    const int nb = factorBlockSize<T>(deviceCapability(ctx.device).code);
    if (n <= nb) return potrfOnHost(uplo, n, a, lda);
    const bool upper = uplo == 'U';
    if (upper) conjugateTransposeInPlace(n, a, lda);  // U^H U of A is L L^H of A^H
    potrfBlocked(ctx, n, nb, a, lda);
    if (upper) conjugateTransposeInPlace(n, a, lda);
}

// Both triangular solves on the GPU: L L^H X = B or U^H U X = B.
template <typename T>
void potrs(const CallContext& ctx, char uplo, int n, int nrhs, const T* a, int lda, T* b, int ldb) {
    if (!potrsArguments(uplo, n, nrhs, a, lda, b, ldb)) return;
    const T one(1);
    const cublasFillMode_t fill = blas::toFillMode(uplo);
    const bool upper = uplo == 'U';
    blas::trsm(ctx, CUBLAS_SIDE_LEFT, fill, upper ? CUBLAS_OP_C : CUBLAS_OP_N, CUBLAS_DIAG_NON_UNIT,
               n, nrhs, &one, a, lda, b, ldb);
    blas::trsm(ctx, CUBLAS_SIDE_LEFT, fill, upper ? CUBLAS_OP_N : CUBLAS_OP_C, CUBLAS_DIAG_NON_UNIT,
               n, nrhs, &one, a, lda, b, ldb);
}

// A matrix that is not positive definite ends the call with potrf's data error before b is
// touched.
template <typename T>
void posv(const CallContext& ctx, char uplo, int n, int nrhs, T* a, int lda, T* b, int ldb) {
    if (!posvArguments(uplo, n, nrhs, a, lda, b, ldb)) return;
    potrf(ctx, uplo, n, a, lda);
    potrs(ctx, uplo, n, nrhs, a, lda, b, ldb);
}

// A^-1 = (U^H U)^-1 = U^-1 U^-H (or L^-H L^-1): the factor inverted in place, then multiplied by
// its conjugate transpose. A zero on the factor's diagonal ends the call with trtri's data error.
template <typename T>
void potri(const CallContext& ctx, char uplo, int n, T* a, int lda) {
    if (!potriArguments(uplo, n, a, lda)) return;
    trtri(ctx, uplo, 'N', n, a, lda);
    lauumBlocked(ctx, uplo, n, factorBlockSize<T>(deviceCapability(ctx.device).code), a, lda);
}

// ---- host interface -----------------------------------------------------------------------------
// The matrix is mirrored in and out (in only for potrs), right-hand sides in and out. A data
// error (a minor that is not positive definite) still copies the matrix back as the device
// routine left it; any other failure leaves the caller's arrays untouched.

namespace host {

template <typename T>
CallResult potrf(const CallContext& ctx, char uplo, int n, T* a, int lda) {
    if (!potrfArguments(uplo, n, a, lda)) return {};
    return runOnMirroredMatrix(ctx, n, n, a, lda, [&](const CallContext& c, T* d, int ld) {
        zuli::potrf<T>(c, uplo, n, d, ld);
    });
}

template <typename T>
CallResult potri(const CallContext& ctx, char uplo, int n, T* a, int lda) {
    if (!potriArguments(uplo, n, a, lda)) return {};
    return runOnMirroredMatrix(ctx, n, n, a, lda, [&](const CallContext& c, T* d, int ld) {
        zuli::potri<T>(c, uplo, n, d, ld);
    });
}

template <typename T>
CallResult potrs(const CallContext& ctx, char uplo, int n, int nrhs, const T* a, int lda, T* b,
                 int ldb) {
    if (!potrsArguments(uplo, n, nrhs, a, lda, b, ldb)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn);
    HostArrayMirror<T> B(ctx, n, nrhs, b, ldb, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            zuli::potrs<T>(c, uplo, n, nrhs, A.device(), A.ld(), B.device(), B.ld());
        },
        B);
}

template <typename T>
CallResult posv(const CallContext& ctx, char uplo, int n, int nrhs, T* a, int lda, T* b, int ldb) {
    if (!posvArguments(uplo, n, nrhs, a, lda, b, ldb)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> B(ctx, n, nrhs, b, ldb, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            // Without right-hand sides B has no device copy: posv is then potrf alone.
            if (nrhs == 0) return zuli::potrf<T>(c, uplo, n, A.device(), A.ld());
            zuli::posv<T>(c, uplo, n, nrhs, A.device(), A.ld(), B.device(), B.ld());
        },
        A, B);
}

}  // namespace host

#define ZULI_CHOLESKY_INSTANCES(T)                                                      \
    template void potrf<T>(const CallContext&, char, int, T*, int);                     \
    template void potrs<T>(const CallContext&, char, int, int, const T*, int, T*, int); \
    template void posv<T>(const CallContext&, char, int, int, T*, int, T*, int);        \
    template void potri<T>(const CallContext&, char, int, T*, int);
ZULI_INSTANTIATE(ZULI_CHOLESKY_INSTANCES)
#undef ZULI_CHOLESKY_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSpotrf zuliDpotrf zuliCpotrf zuliZpotrf
// zuliDeviceSpotrf zuliDeviceDpotrf zuliDeviceCpotrf zuliDeviceZpotrf
ZULI_EXPORT(ALL, potrf, (char uplo, int n, P* a, int lda), (uplo, n, a, lda))
// zuliSpotrs zuliDpotrs zuliCpotrs zuliZpotrs
// zuliDeviceSpotrs zuliDeviceDpotrs zuliDeviceCpotrs zuliDeviceZpotrs
ZULI_EXPORT(ALL, potrs, (char uplo, int n, int nrhs, const P* a, int lda, P* b, int ldb),
            (uplo, n, nrhs, a, lda, b, ldb))
// zuliSposv zuliDposv zuliCposv zuliZposv
// zuliDeviceSposv zuliDeviceDposv zuliDeviceCposv zuliDeviceZposv
ZULI_EXPORT(ALL, posv, (char uplo, int n, int nrhs, P* a, int lda, P* b, int ldb),
            (uplo, n, nrhs, a, lda, b, ldb))
// zuliSpotri zuliDpotri zuliCpotri zuliZpotri
// zuliDeviceSpotri zuliDeviceDpotri zuliDeviceCpotri zuliDeviceZpotri
ZULI_EXPORT(ALL, potri, (char uplo, int n, P* a, int lda), (uplo, n, a, lda))
