// geev.cpp - eigenvalues and eigenvectors of a general matrix (geev), as LAPACK's driver computes
// them, the O(n^3) work of the reduction and of the eigenvectors on the GPU.
//
//     scaling     max |a(i, j)| on the device (one scalar down); outside [sqrt(safmin) / eps, its
//                 reciprocal] A is scaled on the device (lascl kernel), as LAPACK's geev scales
//     balancing   A down, the host LAPACK's gebal ('B': permutation and scaling), A up: gebal
//                 permutes and scales one row and column at a time, each step depending on the
//                 norms the previous ones left, so the matrix crosses the bus once each way; its
//                 n factors stay on the host
//     gehrd       the hybrid Hessenberg reduction (hessenberg.cpp)
//     QR          H down; the host LAPACK's hseqr (latency-bound: small bulges, many sweeps),
//                 the Schur form T and, with vectors, the Schur vectors Z of the active block
//                 (compz 'I': Z starts as the identity; only its block ilo ... ihi is not)
//     vectors     Q in place of A (device orghr, after H has come down); the host LAPACK's trevc3
//                 (howmny 'A') computes the eigenvectors X of T; up go Z's active block and X;
//                 on the device Q = Q Z on the active block (gemm), V = Q X (gemm), the balancing
//                 undone on V's rows (gebak kernel) and every vector normalised as LAPACK's geev
//                 normalises it (unit 2-norm, largest component real: a kernel)
//     eigenvalues scaled back on the host as LAPACK does (lascl), then up
//
// On the bus: the matrix 2 n^2 (balancing), the panels of gehrd, H n^2, with vectors Z's block
// and X n^2 per side, and vectors of n elements. A convergence failure of hseqr (info > 0) is
// raised as zuliDataError with that info once the eigenvalues are written; no vector is
// computed then. A matrix that gebal cannot balance (a NaN stops it) is reduced unbalanced.
#include "eigen/eigen.h"

#include "blas/cublas.h"
#include "kernels/auxiliary_kernels.h"
#include "kernels/eigen_kernels.h"
#include "kernels/utility_kernels.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/host_lapack.h"
#include "runtime/matrix.h"
#include "runtime/memory.h"

#include <cuda_runtime_api.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace zuli {

namespace {

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

// LAPACK's order; the complex form has one eigenvalue array (w at 6), so that vl, ldvl, vr and
// ldvr come one position earlier.
bool geevArguments(bool complexForm, char& jobvl, char& jobvr, int n, const void* a, int lda,
                   const void* wr, const void* wi, const void* vl, int ldvl, const void* vr,
                   int ldvr) {
    jobvl = upperOption(jobvl);
    jobvr = upperOption(jobvr);
    const int shift = complexForm ? 1 : 0;
    failIf(!isOneOf(jobvl, "NV"), 1);
    failIf(!isOneOf(jobvr, "NV"), 2);
    failIf(n < 0, 3);
    failIf(lda < std::max(1, n), 5);
    failIf(ldvl < 1 || (jobvl == 'V' && ldvl < n), 9 - shift);
    failIf(ldvr < 1 || (jobvr == 'V' && ldvr < n), 11 - shift);
    if (n == 0) return false;
    failIf(a == nullptr, 4);
    failIf(wr == nullptr, 6);
    failIf(!complexForm && wi == nullptr, 7);
    failIf(jobvl == 'V' && vl == nullptr, 8 - shift);
    failIf(jobvr == 'V' && vr == nullptr, 10 - shift);
    return true;
}

// The driver. The eigenvalues come back in host memory (wr, and wi for the real types; w in wr
// for the complex ones), the vectors in vl and vr; returns hseqr's info.
template <typename T>
int solveEigenproblem(const CallContext& ctx, bool wantvl, bool wantvr, int n, T* a, int lda,
                      std::vector<T>& wr, std::vector<T>& wi, T* vl, int ldvl, T* vr, int ldvr) {
    using R = ToRealT<T>;
    constexpr bool complex = IsComplexV<T>;
    const bool wantv = wantvl || wantvr;

    // Scale A when its largest element is outside [smlnum, bignum].
    const R eps = lapack::lamch<R>('P');
    const R smlnum = std::sqrt(lapack::lamch<R>('S')) / eps, bignum = R(1) / smlnum;
    R anrm = 0;
    {
        const DeviceBuffer<R> norms = acquireWorkspace<R>(ctx, langeWorkspace('M', n, n) + 1);
        launchLange('M', n, n, a, lda, norms.get() + 1, norms.get());
        cudalib::checkCuda(cudaMemcpy(&anrm, norms.get(), sizeof(R), cudaMemcpyDeviceToHost));
    }
    R cscale = 0;
    if (anrm > 0 && anrm < smlnum)
        cscale = smlnum;
    else if (anrm > bignum)
        cscale = bignum;
    const bool scaled = cscale != 0;
    if (scaled) launchLascl<T>('G', 0, 0, anrm, cscale, n, n, a, lda);

    // Balance on the host.
    const PinnedBuffer<T> staging(size_t(n) * n + 16);
    T* h = staging.get();
    copyToHost(a, lda, n, n, h, n);
    int ilo = 1, ihi = n;
    std::vector<R> scale(static_cast<size_t>(n), R(1));
    // A NaN (which the max norm shows) makes gebal give up midway with an argument error: such a
    // matrix is reduced unbalanced.
    if (!std::isnan(anrm) && lapack::gebal('B', n, h, n, &ilo, &ihi, scale.data()) == 0) {
        copyToDevice(h, n, n, n, a, lda);
    } else {
        ilo = 1;
        ihi = n;
        std::fill(scale.begin(), scale.end(), R(1));
    }

    // Hessenberg form on the device, then down.
    const DeviceBuffer<T> tau = acquireWorkspace<T>(ctx, std::max(n - 1, 1));
    gehrd(ctx, n, ilo, ihi, a, lda, tau.get());
    copyToHost(a, lda, n, n, h, n);
    if (wantv) orghr(ctx, n, ilo, ihi, a, lda, tau.get());

    // The QR algorithm on the host.
    const char job = wantv ? 'S' : 'E', compz = wantv ? 'I' : 'N';
    std::vector<T> z(wantv ? size_t(n) * n : 1);
    const int ldz = wantv ? n : 1;
    auto hseqr = [&](T* work, int lwork) {
        if constexpr (complex)
            return lapack::hseqr(job, compz, n, ilo, ihi, h, n, wr.data(), z.data(), ldz, work,
                                 lwork);
        else
            return lapack::hseqr(job, compz, n, ilo, ihi, h, n, wr.data(), wi.data(), z.data(), ldz,
                                 work, lwork);
    };
    std::vector<T> work(size_t(
        std::max(1, lapack::workSize<T>([&](T* w, int l) { checkHostLapackInfo(hseqr(w, l)); }))));
    const int info = hseqr(work.data(), int(work.size()));
    checkHostLapackInfo(info);

    if (info == 0 && wantv) {
        // The eigenvectors of T, on the host.
        const char side = wantvl && wantvr ? 'B' : (wantvl ? 'L' : 'R');
        std::vector<T> xl(wantvl ? size_t(n) * n : 1), xr(wantvr ? size_t(n) * n : 1);
        std::vector<R> rwork(static_cast<size_t>(n));
        int m = 0;
        auto trevc3 = [&](T* w, int lwork) {
            return lapack::trevc3(side, 'A', nullptr, n, h, n, xl.data(), n, xr.data(), n, n, &m, w,
                                  lwork, rwork.data(), n);
        };
        work.resize(size_t(std::max(
            1, lapack::workSize<T>([&](T* w, int l) { checkHostLapackInfo(trevc3(w, l)); }))));
        checkHostLapackInfo(trevc3(work.data(), int(work.size())));

        // Q = Q Z on the active block (Q and Z are the identity elsewhere).
        const T one(1), zero(0);
        const int nz = ihi - ilo + 1;
        if (nz > 1) {
            const DeviceBuffer<T> dz = acquireWorkspace<T>(ctx, 2 * int64_t(nz) * nz);
            T* qz = dz.get() + int64_t(nz) * nz;
            copyToDevice(at(z.data(), n, ilo - 1, ilo - 1), n, nz, nz, dz.get(), nz);
            T* block = at(a, lda, ilo - 1, ilo - 1);
            blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, nz, nz, nz, &one, block, lda, dz.get(), nz,
                       &zero, qz, nz);
            launchCopyMatrix(nz, nz, static_cast<const T*>(qz), nz, block, lda);
        }
        // V = Q X, balancing undone, normalised.
        const DeviceBuffer<R> vectors = acquireWorkspace<R>(ctx, 2 * int64_t(n));
        R* dScale = vectors.get();
        R* dWi = dScale + n;
        cudalib::checkCuda(
            cudaMemcpy(dScale, scale.data(), size_t(n) * sizeof(R), cudaMemcpyHostToDevice));
        if constexpr (!complex)
            cudalib::checkCuda(
                cudaMemcpy(dWi, wi.data(), size_t(n) * sizeof(R), cudaMemcpyHostToDevice));
        const DeviceBuffer<T> dx = acquireWorkspace<T>(ctx, int64_t(n) * n);
        auto backTransform = [&](bool left, const std::vector<T>& x, T* v, int ldv) {
            copyToDevice(x.data(), n, n, n, dx.get(), n);
            blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, n, n, n, &one, a, lda, dx.get(), n, &zero, v,
                       ldv);
            launchGebak<T>(left, n, n, ilo, ihi, dScale, v, ldv);
            launchNormalizeEigenvectors<T>(n, n, dWi, v, ldv);
        };
        if (wantvl) backTransform(true, xl, vl, ldvl);
        if (wantvr) backTransform(false, xr, vr, ldvr);
    }

    // Undo the scaling of the eigenvalues that converged.
    if (scaled) {
        const int done = n - info;
        auto unscale = [&](std::vector<T>& values) {
            checkHostLapackInfo(lapack::lascl<T>('G', 0, 0, cscale, anrm, done, 1,
                                                 values.data() + info, std::max(done, 1)));
            if (info > 0)
                checkHostLapackInfo(
                    lapack::lascl<T>('G', 0, 0, cscale, anrm, ilo - 1, 1, values.data(), n));
        };
        unscale(wr);
        if constexpr (!complex) unscale(wi);
    }
    return info;
}

template <typename T>
void uploadValues(const std::vector<T>& values, T* device) {
    cudalib::checkCuda(
        cudaMemcpy(device, values.data(), values.size() * sizeof(T), cudaMemcpyHostToDevice));
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void geev(const CallContext& ctx, char jobvl, char jobvr, int n, T* a, int lda, T* wr, T* wi, T* vl,
          int ldvl, T* vr, int ldvr) {
    if (!geevArguments(false, jobvl, jobvr, n, a, lda, wr, wi, vl, ldvl, vr, ldvr)) return;
    std::vector<T> hwr(static_cast<size_t>(n)), hwi(static_cast<size_t>(n));
    const int info =
        solveEigenproblem(ctx, jobvl == 'V', jobvr == 'V', n, a, lda, hwr, hwi, vl, ldvl, vr, ldvr);
    uploadValues(hwr, wr);
    uploadValues(hwi, wi);
    if (info > 0) raiseDataError(info);
}

template <typename T>
void geev(const CallContext& ctx, char jobvl, char jobvr, int n, T* a, int lda, T* w, T* vl,
          int ldvl, T* vr, int ldvr) {
    if (!geevArguments(true, jobvl, jobvr, n, a, lda, w, nullptr, vl, ldvl, vr, ldvr)) return;
    std::vector<T> hw(static_cast<size_t>(n)), unused;
    const int info = solveEigenproblem(ctx, jobvl == 'V', jobvr == 'V', n, a, lda, hw, unused, vl,
                                       ldvl, vr, ldvr);
    uploadValues(hw, w);
    if (info > 0) raiseDataError(info);
}

// ---- host interface -----------------------------------------------------------------------------
// A is mirrored in only (the caller's array is left as it was); the eigenvalues and, when
// computed, the vectors come back. After a convergence failure only the eigenvalues do.

namespace host {

namespace {

template <typename T, typename Body, typename... Values>
CallResult runGeev(const CallContext& ctx, int n, bool wantvl, bool wantvr, T* vl, int ldvl, T* vr,
                   int ldvr, Body&& body, const Values&... values) {
    HostArrayMirror<T> VL(ctx, wantvl ? n : 0, n, vl, ldvl, MirrorOut);
    HostArrayMirror<T> VR(ctx, wantvr ? n : 0, n, vr, ldvr, MirrorOut);
    const CallResult r = runDeviceRoutine<T>([&](const CallContext& d) { body(d, VL, VR); });
    if (r.status == zuliDataError) return finishHostCall(r, values...);
    return finishHostCall(r, values..., VL, VR);
}

}  // namespace

template <typename T>
CallResult geev(const CallContext& ctx, char jobvl, char jobvr, int n, T* a, int lda, T* wr, T* wi,
                T* vl, int ldvl, T* vr, int ldvr) {
    if (!geevArguments(false, jobvl, jobvr, n, a, lda, wr, wi, vl, ldvl, vr, ldvr)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn);
    HostArrayMirror<T> WR(ctx, n, 1, wr, n, MirrorOut), WI(ctx, n, 1, wi, n, MirrorOut);
    return runGeev<T>(
        ctx, n, jobvl == 'V', jobvr == 'V', vl, ldvl, vr, ldvr,
        [&](const CallContext& d, const HostArrayMirror<T>& VL, const HostArrayMirror<T>& VR) {
            zuli::geev<T>(d, jobvl, jobvr, n, A.device(), A.ld(), WR.device(), WI.device(),
                          VL.device(), VL.ld(), VR.device(), VR.ld());
        },
        WR, WI);
}

template <typename T>
CallResult geev(const CallContext& ctx, char jobvl, char jobvr, int n, T* a, int lda, T* w, T* vl,
                int ldvl, T* vr, int ldvr) {
    if (!geevArguments(true, jobvl, jobvr, n, a, lda, w, nullptr, vl, ldvl, vr, ldvr)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn);
    HostArrayMirror<T> W(ctx, n, 1, w, n, MirrorOut);
    return runGeev<T>(
        ctx, n, jobvl == 'V', jobvr == 'V', vl, ldvl, vr, ldvr,
        [&](const CallContext& d, const HostArrayMirror<T>& VL, const HostArrayMirror<T>& VR) {
            zuli::geev<T>(d, jobvl, jobvr, n, A.device(), A.ld(), W.device(), VL.device(), VL.ld(),
                          VR.device(), VR.ld());
        },
        W);
}

}  // namespace host

#define ZULI_GEEV_REAL_INSTANCES(T) \
    template void geev<T>(const CallContext&, char, char, int, T*, int, T*, T*, T*, int, T*, int);
#define ZULI_GEEV_COMPLEX_INSTANCES(T) \
    template void geev<T>(const CallContext&, char, char, int, T*, int, T*, T*, int, T*, int);
ZULI_INSTANTIATE_REAL(ZULI_GEEV_REAL_INSTANCES)
ZULI_INSTANTIATE_COMPLEX(ZULI_GEEV_COMPLEX_INSTANCES)
#undef ZULI_GEEV_REAL_INSTANCES
#undef ZULI_GEEV_COMPLEX_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSgeev zuliDgeev zuliDeviceSgeev zuliDeviceDgeev
ZULI_EXPORT(REAL, geev,
            (char jobvl, char jobvr, int n, P* a, int lda, P* wr, P* wi, P* vl, int ldvl, P* vr,
             int ldvr),
            (jobvl, jobvr, n, a, lda, wr, wi, vl, ldvl, vr, ldvr))
// zuliCgeev zuliZgeev zuliDeviceCgeev zuliDeviceZgeev
ZULI_EXPORT(COMPLEX, geev,
            (char jobvl, char jobvr, int n, P* a, int lda, P* w, P* vl, int ldvl, P* vr, int ldvr),
            (jobvl, jobvr, n, a, lda, w, vl, ldvl, vr, ldvr))
