// two_stage.cpp - the two-stage reduction of a symmetric (Hermitian) matrix to real symmetric
// tridiagonal form, A = Q T Q^H with Q = Q1 Q2 (syrdb; herdb for the complex types).
//
// Stage 1 takes A to a band of kd subdiagonals, A = Q1 B Q1^H, in the manner of LAPACK's sy2sb /
// he2hb, on the lower triangle. For every block of kd columns from the first, the panel below the
// band, P = A(i + kd : n, i : i + kd), comes down to the host and is QR-factored there (geqrf,
// larft: P = (I - V T V^H) R). Panel and T go back up; R stays in the band, the reflectors V below
// it and their scalars in tau. The GPU then applies the block reflector from both sides to the
// trailing matrix A22 = A(i + kd : n, i + kd : n):
//
//     S = V T,  W = A22 S,  W -= 1/2 V (S^H W),  A22 -= V W^H + W V^H
//
// (a hemm, three small gemms and one her2k; V read with its explicit unit triangle, which the GPU
// writes over R for the update and restores after). Only the panels (both ways) and T (up) cross
// the bus; cuBLAS does the 4/3 n^3 operations.
//
// Stage 2: the band (kd + 1 diagonals, (kd + 1) n elements) comes down and the host LAPACK's
// sbtrd / hbtrd chases the bulges, B = Q2 T Q2^H, leaving d and e. jobz 'V': Q2 (from sbtrd) goes
// up into Z and the GPU applies Q1 from the left (ormqr with the stage 1 reflectors, which lie in
// A exactly as one QR factorization of A(kd : n, 0 : n - kd) would leave them); jobz 'U': Z = Z
// Q1 (ormqr from the right on Z's last n - kd columns), then Z = Z Q2 by one gemm.
//
// The library's choices where LAPACK has no counterpart:
//   - kd is taken as max(1, min(kd, n - 1)): a band of width 0 cannot be reached by similarity
//     transformations, so kd = 0 reduces like kd = 1 (stage 1 is then a full tridiagonal
//     reduction by rank-2 updates); a band at least as wide as the matrix makes stage 1 empty.
//   - uplo 'U' is turned into 'L' first: the whole n x n array is conjugate-transposed in place on
//     the device, after which its lower triangle holds the matrix, and the reduction runs on it.
//     For either uplo the whole array is overwritten (stage 1's reflectors and the band in the
//     lower triangle); the strictly upper triangle holds no result.
//   - tau holds the n - kd scalars of stage 1's reflectors, and zeros up to element n - 2.
#include "eigen/eigen.h"

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
#include "runtime/panel.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace zuli {

namespace {

// The band width the reduction uses for the caller's kd (see above).
int bandWidth(int n, int kd) {
    return std::min(std::max(kd, 1), n - 1);
}

// LAPACK's order; Z and ldz only for jobz 'V' and 'U'. e and tau may be null where they have no
// element (n = 1).
bool syrdbArguments(char& jobz, char& uplo, int n, int kd, const void* a, int lda, const void* d,
                    const void* e, const void* tau, const void* z, int ldz) {
    jobz = upperOption(jobz);
    uplo = upperOption(uplo);
    failIf(!isOneOf(jobz, "NVU"), 1);
    failIf(!isOneOf(uplo, "UL"), 2);
    failIf(n < 0, 3);
    failIf(kd < 0, 4);
    failIf(a == nullptr && n > 0, 5);
    failIf(lda < std::max(1, n), 6);
    failIf(d == nullptr && n > 0, 7);
    failIf(e == nullptr && n > 1, 8);
    failIf(tau == nullptr && n > 1, 9);
    if (jobz != 'N') {
        failIf(z == nullptr && n > 0, 10);
        failIf(ldz < std::max(1, n), 11);
    }
    return n > 0;
}

// Stage 1 on the lower triangle: A to a band of kd subdiagonals, the scalars of the n - kd
// reflectors into tau (host).
template <typename T>
void reduceToBand(const CallContext& ctx, int n, int kd, T* a, int lda, T* tau) {
    using R = ToRealT<T>;
    const int rows = n - kd;  // the longest panel
    const int64_t offT = int64_t(rows) * kd + lapack::reflectorSlack<T>(rows);
    const PanelStaging<T> stage(ctx, offT + int64_t(kd) * kd, StagingSource::Pool);
    T* panel = stage.get();
    std::vector<T> hostT(size_t(kd) * size_t(kd));  // larft writes the upper triangle only
    const DeviceBuffer<T> dT = acquireWorkspace<T>(ctx, int64_t(kd) * kd);
    const DeviceBuffer<T> dS1 = acquireWorkspace<T>(ctx, int64_t(kd) * kd);
    const DeviceBuffer<T> dSave = acquireWorkspace<T>(ctx, int64_t(kd) * kd);
    const DeviceBuffer<T> dS = acquireWorkspace<T>(ctx, int64_t(rows) * kd);
    const DeviceBuffer<T> dW = acquireWorkspace<T>(ctx, int64_t(rows) * kd);
    const T one(1), zero(0), minusOne(-1), minusHalf(R(-0.5));
    const R realOne(1);

    for (int i = 0; i < n - kd; i += kd) {
        const int pn = n - i - kd, pk = std::min(pn, kd);
        T* v = at(a, lda, i + kd, i);
        T* a22 = at(a, lda, i + kd, i + kd);
        // The panel, once the last update has reached it, factored on the host. It is kd columns
        // wide also when fewer rows remain (pk = pn < kd reflectors): the columns beyond the
        // reflectors lie in the band, in the rows that Q^H changes, and the wide factorization
        // leaves them multiplied by Q^H.
        stage.afterCompute();
        stage.download(v, lda, pn, kd, pn);
        stage.wait();
        const int lwork = lapack::workSize<T>([&](T* work, int size) {
            checkHostLapackInfo(lapack::geqrf(pn, kd, panel, pn, tau + i, work, size));
        });
        std::vector<T> work = lapack::workArray<T>(lwork);
        checkHostLapackInfo(lapack::geqrf(pn, kd, panel, pn, tau + i, work.data(), lwork));
        lapack::larft('F', 'C', pn, pk, panel, pn, tau + i, hostT.data(), kd);
        std::copy(hostT.begin(), hostT.begin() + int64_t(kd) * pk, panel + offT);
        stage.upload(v, lda, pn, kd, pn);
        stage.upload(dT.get(), kd, pk, pk, kd, offT);
        stage.computeAfterCopies();
        // V with its explicit unit triangle over R's.
        launchCopyMatrix(pk, pk, v, lda, dSave.get(), kd);
        launchLaset('U', pk, pk, zero, one, v, lda);
        // A22 = (I - V T V^H)^H A22 (I - V T V^H).
        blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, pn, pk, pk, &one, v, lda, dT.get(), kd, &zero,
                   dS.get(), pn);
        blas::hemm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, pn, pk, &one, a22, lda, dS.get(),
                   pn, &zero, dW.get(), pn);
        blas::gemm(ctx, CUBLAS_OP_C, CUBLAS_OP_N, pk, pk, pn, &one, dS.get(), pn, dW.get(), pn,
                   &zero, dS1.get(), kd);
        blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, pn, pk, pk, &minusHalf, v, lda, dS1.get(), kd,
                   &one, dW.get(), pn);
        blas::her2k(ctx, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, pn, pk, &minusOne, v, lda, dW.get(),
                    pn, &realOne, a22, lda);
        launchCopyMatrix(pk, pk, dSave.get(), kd, v, lda);
    }
    // The next copies (the band) run on the legacy stream, after the last update.
    stage.waitUploads();
}

// The kd + 1 diagonals of the lower band of A in LAPACK's band storage: column j of ab (leading
// dimension kd + 1) holds A(j : min(n, j + kd + 1), j), which is contiguous in A's column.
template <typename T>
std::vector<T> downloadBand(int n, int kd, const T* a, int lda) {
    const int ldab = kd + 1;
    std::vector<T> ab(size_t(ldab) * size_t(n));
    const int full = n - kd;  // columns with all kd + 1 elements
    const int64_t diagonal = int64_t(lda) + 1;
    if (full > 0)
        cudalib::checkCuda(cudaMemcpy2D(ab.data(), ldab * sizeof(T), a, diagonal * sizeof(T),
                                        ldab * sizeof(T), full, cudaMemcpyDeviceToHost));
    for (int j = std::max(full, 0); j < n; ++j)
        cudalib::checkCuda(cudaMemcpy(ab.data() + int64_t(j) * ldab, at(a, lda, j, j),
                                      size_t(n - j) * sizeof(T), cudaMemcpyDeviceToHost));
    return ab;
}

template <typename T>
void upload(const T* host, size_t count, T* device) {
    if (count > 0)
        cudalib::checkCuda(cudaMemcpy(device, host, count * sizeof(T), cudaMemcpyHostToDevice));
}

// syrdb's algorithm on checked arguments of a non-empty problem.
template <typename T>
void twoStage(const CallContext& ctx, char jobz, char uplo, int n, int kd, T* a, int lda,
              ToRealT<T>* d, ToRealT<T>* e, T* tau, T* z, int ldz) {
    using R = ToRealT<T>;
    kd = bandWidth(n, kd);
    const int reflectors = kd > 0 ? n - kd : 0;  // none for n = 1
    if (uplo == 'U') launchTransposeInplace<T, IsComplexV<T>>(n, a, lda);

    std::vector<T> hostTau(size_t(std::max(1, n - 1)), T(0));
    if (reflectors > 0) reduceToBand(ctx, n, kd, a, lda, hostTau.data());

    std::vector<T> ab = downloadBand(n, kd, a, lda);
    const auto size = static_cast<size_t>(n);
    std::vector<R> hd(size), he(size);
    std::vector<T> q(jobz == 'N' ? 1 : size * size), work(size);
    checkHostLapackInfo(lapack::sbtrd(jobz == 'N' ? 'N' : 'V', 'L', n, kd, ab.data(), kd + 1,
                                      hd.data(), he.data(), q.data(), n, work.data()));
    upload(hd.data(), size_t(n), d);
    upload(he.data(), size_t(n - 1), e);
    upload(hostTau.data(), size_t(n - 1), tau);
    if (jobz == 'N') return;

    const T* v = at(a, lda, kd, 0);
    if (jobz == 'V') {
        cudalib::checkCuda(cudaMemcpy2D(z, int64_t(ldz) * sizeof(T), q.data(), n * sizeof(T),
                                        n * sizeof(T), n, cudaMemcpyHostToDevice));
        if (reflectors > 0)
            ormqr<T>(ctx, 'L', 'N', reflectors, n, reflectors, v, lda, tau, at(z, ldz, kd, 0), ldz);
        return;
    }
    if (reflectors > 0)
        ormqr<T>(ctx, 'R', 'N', n, reflectors, reflectors, v, lda, tau, at(z, ldz, 0, kd), ldz);
    const DeviceBuffer<T> dQ = acquireWorkspace<T>(ctx, int64_t(n) * n);
    const DeviceBuffer<T> dZQ = acquireWorkspace<T>(ctx, int64_t(n) * n);
    upload(q.data(), size_t(n) * size_t(n), dQ.get());
    const T one(1), zero(0);
    blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, n, n, n, &one, z, ldz, dQ.get(), n, &zero, dZQ.get(),
               n);
    launchCopyMatrix(n, n, dZQ.get(), n, z, ldz);
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void syrdb(const CallContext& ctx, char jobz, char uplo, int n, int kd, T* a, int lda,
           ToRealT<T>* d, ToRealT<T>* e, T* tau, T* z, int ldz) {
    if (!syrdbArguments(jobz, uplo, n, kd, a, lda, d, e, tau, z, ldz)) return;
    twoStage(ctx, jobz, uplo, n, kd, a, lda, d, e, tau, z, ldz);
}

// ---- host interface -----------------------------------------------------------------------------
// A goes both ways (the whole n x n array), d, e and tau come out, Z comes out for jobz 'V' and
// goes both ways for 'U'. A failure other than a data error leaves the caller's arrays untouched.

namespace host {

template <typename T>
CallResult syrdb(const CallContext& ctx, char jobz, char uplo, int n, int kd, T* a, int lda,
                 ToRealT<T>* d, ToRealT<T>* e, T* tau, T* z, int ldz) {
    if (!syrdbArguments(jobz, uplo, n, kd, a, lda, d, e, tau, z, ldz)) return {};
    using R = ToRealT<T>;
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<R, T> D(ctx, n, 1, d, n, MirrorOut);
    HostArrayMirror<R, T> E(ctx, n - 1, 1, e, n - 1, MirrorOut);
    HostArrayMirror<T> Tau(ctx, n - 1, 1, tau, n - 1, MirrorOut);
    const int zCols = jobz == 'N' ? 0 : n;
    HostArrayMirror<T> Z(ctx, n, zCols, z, ldz, jobz == 'U' ? MirrorIn | MirrorOut : MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            twoStage<T>(c, jobz, uplo, n, kd, A.device(), A.ld(), D.device(), E.device(),
                        Tau.device(), Z.device(), Z.ld());
        },
        D, E, Tau, Z, A);
}

}  // namespace host

#define ZULI_TWO_STAGE_INSTANCES(T)                                                        \
    template void syrdb<T>(const CallContext&, char, char, int, int, T*, int, ToRealT<T>*, \
                           ToRealT<T>*, T*, T*, int);
ZULI_INSTANTIATE(ZULI_TWO_STAGE_INSTANCES)
#undef ZULI_TWO_STAGE_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

#define ZULI_SYRDB_PARAMS \
    (char jobz, char uplo, int n, int kd, P* a, int lda, R* d, R* e, P* tau, P* z, int ldz)
#define ZULI_SYRDB_ARGS (jobz, uplo, n, kd, a, lda, d, e, tau, z, ldz)

// zuliSsyrdb zuliDsyrdb zuliDeviceSsyrdb zuliDeviceDsyrdb
ZULI_EXPORT(REAL, syrdb, ZULI_SYRDB_PARAMS, ZULI_SYRDB_ARGS)
// zuliCherdb zuliZherdb zuliDeviceCherdb zuliDeviceZherdb
ZULI_EXPORT_NAMED(COMPLEX, herdb, syrdb, ZULI_SYRDB_PARAMS, ZULI_SYRDB_ARGS)
