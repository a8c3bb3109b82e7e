// syev.cpp - all eigenvalues and optionally the eigenvectors of a symmetric (Hermitian) matrix
// (syev; heev for the complex types).
//
// Two pipelines, chosen by jobz, each with d, e and tau drawn from the work-space pool first:
//
//   'N'  the two-stage reduction syrdb (band width min(n, 32)) on the caller's triangle, then
//        bisection (stebz, all eigenvalues, ordered over the whole matrix, default tolerance)
//        straight into w. A is left holding the reduction's intermediate data.
//   'V'  uplo 'U' is first turned into 'L' in place: the conjugate transposition of the whole
//        array puts the conjugates of the upper elements into the lower triangle, where they are
//        exactly the elements of the caller's matrix below the diagonal; conjugating the upper
//        triangle with the diagonal gives the diagonal its caller's bits back. The lower
//        triangle then holds bit for bit what a caller passing the same matrix as 'L' would have
//        passed, so both triangles give bit-identical results and the eigenvectors need no
//        fix-up afterwards: they already are those of the caller's matrix. Then the one-stage
//        reduction sytrd 'L', its Q formed in A by orgtr 'L', the QL/QR iteration steqr 'V'
//        accumulating into A, and a cuBLAS copy of the eigenvalues from d to w.
//
// The matrix is not scaled by its norm before the reduction. A failure of steqr or stebz to
// converge reaches the caller as zuliDataError with their info.
#include "eigen/eigen.h"

#include "blas/cublas.h"
#include "kernels/auxiliary_kernels.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/memory.h"

#include <algorithm>

namespace zuli {

namespace {

// The band width of the eigenvalue-only pipeline's first stage.
constexpr int kEigenvalueBand = 32;

bool syevArguments(char& jobz, char& uplo, int n, const void* a, int lda, const void* w) {
    jobz = upperOption(jobz);
    uplo = upperOption(uplo);
    failIf(!isOneOf(jobz, "VN"), 1);
    failIf(!isOneOf(uplo, "UL"), 2);
    failIf(n < 0, 3);
    failIf(a == nullptr && n > 0, 4);
    failIf(lda < std::max(1, n), 5);
    failIf(w == nullptr && n > 0, 6);
    return n > 0;
}

// The driver on checked arguments of a non-empty problem.
template <typename T>
void solve(const CallContext& ctx, char jobz, char uplo, int n, T* a, int lda, ToRealT<T>* w) {
    using R = ToRealT<T>;
    const int64_t off = std::max(1, n - 1);
    const DeviceBuffer<R> d = acquireWorkspace<R>(ctx, n);
    const DeviceBuffer<R> e = acquireWorkspace<R>(ctx, off);
    const DeviceBuffer<T> tau = acquireWorkspace<T>(ctx, off);

    if (jobz == 'N') {
        syrdb<T>(ctx, 'N', uplo, n, std::min(n, kEigenvalueBand), a, lda, d.get(), e.get(),
                 tau.get(), nullptr, n);
        const DeviceBuffer<int> iblock = acquireWorkspace<int>(ctx, n);
        const DeviceBuffer<int> isplit = acquireWorkspace<int>(ctx, n);
        int m = 0, nsplit = 0;
        stebz<R>(ctx, 'A', 'E', n, R(0), R(0), 0, 0, R(0), d.get(), e.get(), &m, &nsplit, w,
                 iblock.get(), isplit.get());
        return;
    }

    if (uplo == 'U') {
        launchTransposeInplace<T, IsComplexV<T>>(n, a, lda);
        if constexpr (IsComplexV<T>) launchConjugateTriangular<T>(true, true, n, n, a, lda);
    }
    sytrd<T>(ctx, 'L', n, a, lda, d.get(), e.get(), tau.get());
    orgtr<T>(ctx, 'L', n, a, lda, tau.get());
    steqr<T>(ctx, 'V', n, d.get(), e.get(), a, lda);
    blas::copy(ctx, n, d.get(), 1, w, 1);
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void syev(const CallContext& ctx, char jobz, char uplo, int n, T* a, int lda, ToRealT<T>* w) {
    if (!syevArguments(jobz, uplo, n, a, lda, w)) return;
    solve(ctx, jobz, uplo, n, a, lda, w);
}

// ---- host interface -----------------------------------------------------------------------------
// A goes both ways (the whole n x n array), w comes out, w before A.

namespace host {

template <typename T>
CallResult syev(const CallContext& ctx, char jobz, char uplo, int n, T* a, int lda, ToRealT<T>* w) {
    if (!syevArguments(jobz, uplo, n, a, lda, w)) return {};
    using R = ToRealT<T>;
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<R, T> W(ctx, n, 1, w, n, MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) { solve<T>(c, jobz, uplo, n, A.device(), A.ld(), W.device()); },
        W, A);
}

}  // namespace host

#define ZULI_SYEV_INSTANCES(T) \
    template void syev<T>(const CallContext&, char, char, int, T*, int, ToRealT<T>*);
ZULI_INSTANTIATE(ZULI_SYEV_INSTANCES)
#undef ZULI_SYEV_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

#define ZULI_SYEV_PARAMS (char jobz, char uplo, int n, P* a, int lda, R* w)
#define ZULI_SYEV_ARGS (jobz, uplo, n, a, lda, w)

// zuliSsyev zuliDsyev zuliDeviceSsyev zuliDeviceDsyev
ZULI_EXPORT(REAL, syev, ZULI_SYEV_PARAMS, ZULI_SYEV_ARGS)
// zuliCheev zuliZheev zuliDeviceCheev zuliDeviceZheev
ZULI_EXPORT_NAMED(COMPLEX, heev, syev, ZULI_SYEV_PARAMS, ZULI_SYEV_ARGS)
