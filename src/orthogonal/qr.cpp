// qr.cpp - the orthogonal factorizations: A = Q R (geqrf), the same with a non-negative diagonal
// of R (geqrfp), A = L Q (gelqf), A = Q L (geqlf) and A = R Q (gerqf). Results are stored as
// LAPACK stores them: R (or L) in its triangle of A, the Householder vectors beside it with their
// implicit unit element, the k = min(m, n) scalar factors in tau.
//
// All five are hybrid: every panel is factored on the host by the host LAPACK's routine of the
// same name, and the update of the rest of the matrix by the panel's block reflector runs on the
// GPU. The block size nb is the QR block size of the precision and device generation.
//
// geqrf and geqrfp look one panel ahead. Panels of exactly nb columns are factored while more than
// nb columns of the k remain; the rest (the last block, all remaining columns, so it is wider than
// nb when n > m) is factored on the host as a whole. For the panel V at column i:
//
//     host        wait for the panel's download; factor it; send it back (geqrf: on the upload
//                 stream; geqrfp: synchronously); T = larft(V) to dT
//     device      save the nb x nb diagonal block (R's triangle) and set it to unit lower form,
//                 so that V can be read as a plain matrix; then, for C1 = the next panel's
//                 columns and C2 = the rest, C -= V T^H V^H C as three gemms:
//                     geqrf:  W = V T;  W2 = W^H C;  C -= V W2
//                     geqrfp: W = T^H V^H;  W2 = W C;  C -= V W2
//                 C1 first, whose download starts at once, so that the host factors the next
//                 panel while the GPU updates C2; last, the diagonal block comes back.
//
// Panels come down on one copy stream of the call and (geqrf) go back up on another; both are
// created only where the device can overlap copies with kernels, otherwise every copy is
// synchronous and the results are bit-identical. The host panel is page-locked so that the copies
// really overlap. The GPU work runs on the legacy default stream; it is ordered after the uploads
// and the downloads after it with events as well as by the legacy stream's own ordering.
//
// geqrfp's T: larft leaves the strictly lower part of the host T untouched, so the host clears it
// (the gemm reads the whole nb x nb block), and once uploaded a device kernel conjugate-transposes
// dT in place, which gives the T^H of its association.
//
// gelqf, geqlf and gerqf run a plain loop without look-ahead, every copy synchronous: panels of
// nb rows (LQ, RQ) or columns (QL) in the order of the form (first to last for LQ, last to first
// for QL and RQ), each factored on the host, sent back, its T formed by host larft and the block
// reflector applied to the rows or columns not yet factored with the device larfb; the last block
// (the whole matrix when nb >= k) is factored on the host. gelqf reads its panel back from the
// device once more before larft and forms T from that second copy.
//
// A positive info of a host step would be raised as zuliDataError, a negative one as
// zuliRuntimeError (neither occurs for valid arguments).
#include "orthogonal/orthogonal.h"

#include "auxiliary/auxiliary.h"
#include "blas/cublas.h"
#include "kernels/auxiliary_kernels.h"
#include "kernels/utility_kernels.h"
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

// The host LAPACK routine that factors a panel (lapack::geqrf<T> and kin).
template <typename T>
using HostFactor = int (*)(int, int, T*, int, T*, T*, int);

// Factors the rows x cols block at `a` (leading dimension lda) on the host: asks the routine for
// its work size, raises it to cols for a wide block, and factors.
template <typename T>
void factorOnHost(HostFactor<T> factor, int rows, int cols, T* a, int lda, T* tau) {
    int lwork = lapack::workSize<T>([&](T* work, int size) {
        checkHostLapackInfo(factor(rows, cols, a, lda, tau, work, size));
    });
    if (rows < cols) lwork = std::max(lwork, cols);
    std::vector<T> work = lapack::workArray<T>(lwork);
    checkHostLapackInfo(factor(rows, cols, a, lda, tau, work.data(), int(work.size())));
}

// Synchronous copies of a rows x cols block between the device (leading dimension ld) and the
// host (hostLd).
template <typename T>
void downloadBlock(const T* device, int64_t ld, int rows, int cols, T* host, int64_t hostLd) {
    if (rows < 1 || cols < 1) return;
    cudalib::checkCuda(cudaMemcpy2D(host, hostLd * sizeof(T), device, ld * sizeof(T),
                                    rows * sizeof(T), cols, cudaMemcpyDeviceToHost));
}
template <typename T>
void uploadBlock(const T* host, int64_t hostLd, int rows, int cols, T* device, int64_t ld) {
    if (rows < 1 || cols < 1) return;
    cudalib::checkCuda(cudaMemcpy2D(device, ld * sizeof(T), host, hostLd * sizeof(T),
                                    rows * sizeof(T), cols, cudaMemcpyHostToDevice));
}

// The k scalar factors between the host mirror and the caller's device vector.
template <typename T>
void readTau(const T* tau, std::vector<T>& mirror) {
    cudalib::checkCuda(
        cudaMemcpy(mirror.data(), tau, mirror.size() * sizeof(T), cudaMemcpyDeviceToHost));
}
template <typename T>
void writeTau(const std::vector<T>& mirror, T* tau) {
    cudalib::checkCuda(
        cudaMemcpy(tau, mirror.data(), mirror.size() * sizeof(T), cudaMemcpyHostToDevice));
}

// geqrf (NonNegative false) and geqrfp (true): the look-ahead schedule described above.
template <typename T, bool NonNegative>
void qrLookAhead(const CallContext& ctx, int m, int n, int nb, T* a, int lda, T* tau) {
    const HostFactor<T> factor = NonNegative ? lapack::geqrfp<T> : lapack::geqrf<T>;
    const int k = std::min(m, n);
    const int ldp = std::max(m, n);  // the host panel's leading dimension
    const PanelStaging<T> stage(ctx, int64_t(ldp) * nb + lapack::reflectorSlack<T>(ldp),
                                StagingSource::Call, CopyStreams::Two);
    T* panel = stage.get();
    std::vector<T> hostT(size_t(nb) * nb);
    std::vector<T> hostTau(static_cast<size_t>(k));
    const DeviceBuffer<T> dT = acquireWorkspace<T>(ctx, int64_t(nb) * nb);
    const DeviceBuffer<T> dSave = acquireWorkspace<T>(ctx, int64_t(nb) * nb);
    const DeviceBuffer<T> dW = acquireWorkspace<T>(ctx, int64_t(m) * nb);
    const DeviceBuffer<T> dW2 = acquireWorkspace<T>(ctx, int64_t(n) * nb);
    readTau(tau, hostTau);

    const T one(1), zero(0), minusOne(-1);
    int i = 0;
    for (; i < k - nb; i += nb) {
        const int rows = m - i;
        T* v = at(a, lda, i, i);
        // Panel, on the host.
        if (i == 0) stage.download(v, lda, rows, nb, ldp);
        stage.wait();
        factorOnHost(factor, rows, nb, panel, ldp, hostTau.data() + i);
        if constexpr (NonNegative)
            uploadBlock(panel, ldp, rows, nb, v, lda);
        else
            stage.upload(v, lda, rows, nb, ldp);
        // The next panel's columns: at least 1, since i + nb < k <= n.
        const int jb = std::min(nb, n - i - nb);
        // Its triangular factor, to the device.
        lapack::larft('F', 'C', rows, nb, panel, ldp, hostTau.data() + i, hostT.data(), nb);
        if constexpr (NonNegative)
            for (int c = 0; c < nb; ++c)
                for (int r = c + 1; r < nb; ++r) hostT[size_t(r) + size_t(c) * nb] = zero;
        uploadBlock(hostT.data(), nb, nb, nb, dT.get(), nb);
        if constexpr (NonNegative) launchTransposeInplace<T, IsComplexV<T>>(nb, dT.get(), nb);
        // V with an explicit unit diagonal and zeros above, R's triangle saved.
        stage.computeAfterCopies();
        launchCopyMatrix(nb, nb, v, lda, dSave.get(), nb);
        stage.waitUploads();
        launchLaset('U', nb, nb, zero, one, v, lda);
        // C -= V T^H V^H C for the `cols` columns from column j.
        auto update = [&](int j, int cols) {
            T* c = at(a, lda, i, j);
            if constexpr (NonNegative) {
                blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, nb, cols, rows, &one, dW.get(), nb, c,
                           lda, &zero, dW2.get(), nb);
            } else {
                blas::gemm(ctx, CUBLAS_OP_C, CUBLAS_OP_N, nb, cols, rows, &one, dW.get(), m, c, lda,
                           &zero, dW2.get(), nb);
            }
            blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, rows, cols, nb, &minusOne, v, lda, dW2.get(),
                       nb, &one, c, lda);
        };
        if constexpr (NonNegative)
            blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_C, nb, rows, nb, &one, dT.get(), nb, v, lda,
                       &zero, dW.get(), nb);
        else
            blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, rows, nb, nb, &one, v, lda, dT.get(), nb,
                       &zero, dW.get(), m);
        // Look-ahead: the next panel's columns, updated first and sent to the host.
        update(i + nb, jb);
        if (i + nb < k - nb) {
            stage.afterCompute();
            stage.download(at(a, lda, i + nb, i + nb), lda, m - i - nb, nb, ldp);
        }
        // The rest, while the host factors the next panel.
        if (const int w = n - (i + nb + jb); w > 0) update(i + nb + jb, w);
        launchCopyMatrix(nb, nb, dSave.get(), nb, v, lda);
    }
    // The last block, all remaining columns, on the host.
    if (m - i >= 1 && n - i >= 1) {
        stage.wait();
        downloadBlock(at(a, lda, i, i), lda, m - i, n - i, panel, m - i);
        factorOnHost(factor, m - i, n - i, panel, m - i, hostTau.data() + i);
        uploadBlock(panel, m - i, m - i, n - i, at(a, lda, i, i), lda);
    }
    writeTau(hostTau, tau);
}

// A sibling form for the plain loop: its host routines and where its blocks lie.
template <typename T>
struct PlainForm {
    HostFactor<T> factor;
    bool forward;      // first to last reflectors (LQ) or last to first (QL, RQ)
    bool rows;         // reflectors in rows (LQ, RQ) or columns (QL)
    char side, trans;  // the device larfb's side and trans (direct and storev follow)
    bool rereadPanel;  // read the panel back from the device before larft (LQ)
};

// gelqf, geqlf and gerqf: the plain loop described above. With d the reflectors done, the panel
// holds the nb next ones (nb rows or columns of the (m - d) x (n - d) part still to factor), the
// trailing block the rows or columns of that part beyond the panel.
template <typename T>
void plainLoop(const CallContext& ctx, const PlainForm<T>& form, int m, int n, int nb, T* a,
               int lda, T* tau) {
    const int k = std::min(m, n);
    const char direct = form.forward ? 'F' : 'B', storev = form.rows ? 'R' : 'C';
    // Row panels have leading dimension nb, column panels at most max(m, n).
    const int64_t longest = std::max({m, n, nb});
    const PinnedBuffer<T> hostPanel(size_t(longest * nb + lapack::reflectorSlack<T>(longest)));
    T* panel = hostPanel.get();
    std::vector<T> hostT(size_t(nb) * nb);
    std::vector<T> hostTau(static_cast<size_t>(k));
    const DeviceBuffer<T> dT = acquireWorkspace<T>(ctx, int64_t(nb) * nb);

    int d = 0;
    for (; d < k - nb; d += nb) {
        // The panel: rows (or columns) of the part m - d x n - d still to factor, at its top
        // (left) for a forward form, its bottom (right) for a backward one.
        const int pr = form.rows ? nb : m - d, pc = form.rows ? n - d : nb;
        const int top = form.forward ? d : (form.rows ? m - d - nb : 0);
        const int left = form.forward ? d : (form.rows ? 0 : n - d - nb);
        const int t = form.forward ? d : k - d - nb;  // its first scalar factor
        T* v = at(a, lda, top, left);
        downloadBlock(v, lda, pr, pc, panel, pr);
        factorOnHost(form.factor, pr, pc, panel, pr, hostTau.data() + t);
        uploadBlock(panel, pr, pr, pc, v, lda);
        // The trailing rows (columns): after the panel for a forward form, before it otherwise.
        const int cr = form.rows ? m - d - nb : m - d, cc = form.rows ? n - d : n - d - nb;
        if (cr < 1 || cc < 1) continue;
        T* c = form.forward ? (form.rows ? at(a, lda, d + nb, d) : at(a, lda, d, d + nb)) : a;
        if (form.rereadPanel) downloadBlock(v, lda, pr, pc, panel, pr);
        lapack::larft(direct, storev, form.rows ? pc : pr, nb, panel, pr, hostTau.data() + t,
                      hostT.data(), nb);
        uploadBlock(hostT.data(), nb, nb, nb, dT.get(), nb);
        larfb(ctx, form.side, form.trans, direct, storev, cr, cc, nb, v, lda, dT.get(), nb, c, lda);
    }
    // The last block: the whole remaining part, on the host.
    T* last = form.forward ? at(a, lda, d, d) : a;
    downloadBlock(last, lda, m - d, n - d, panel, m - d);
    factorOnHost(form.factor, m - d, n - d, panel, m - d, hostTau.data() + (form.forward ? d : 0));
    uploadBlock(panel, m - d, m - d, n - d, last, lda);
    writeTau(hostTau, tau);
}

template <typename T>
int blockSize(const CallContext& ctx) {
    return qrBlockSize<T>(deviceCapability(ctx.device).code);
}

}  // namespace

// ---- argument checks ----------------------------------------------------------------------------

namespace {

// The same order for all five forms. geqrf and geqrfp also take null pointers for a 1 x 1 problem
// (nullsFor1x1): their checks pass and the call goes on as for any matrix.
bool qrFactorArguments(int m, int n, const void* a, int lda, const void* tau, bool nullsFor1x1) {
    failIf(m < 0, 1);
    failIf(n < 0, 2);
    failIf(lda < std::max(1, m), 4);
    if (std::min(m, n) == 0) return false;
    if (nullsFor1x1 && m < 2 && n < 2) return true;
    failIf(a == nullptr, 3);
    failIf(tau == nullptr, 5);
    return true;
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void geqrf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau) {
    if (!qrFactorArguments(m, n, a, lda, tau, true)) return;
    qrLookAhead<T, false>(ctx, m, n, blockSize<T>(ctx), a, lda, tau);
}

template <typename T>
void geqrfp(const CallContext& ctx, int m, int n, T* a, int lda, T* tau) {
    if (!qrFactorArguments(m, n, a, lda, tau, true)) return;
    qrLookAhead<T, true>(ctx, m, n, blockSize<T>(ctx), a, lda, tau);
}

template <typename T>
void gelqf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau) {
    if (!qrFactorArguments(m, n, a, lda, tau, false)) return;
    const PlainForm<T> form{lapack::gelqf<T>, true, true, 'R', 'N', true};
    plainLoop(ctx, form, m, n, blockSize<T>(ctx), a, lda, tau);
}

// larfb reads 'T' as the conjugate transpose for the complex types.
template <typename T>
void geqlf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau) {
    if (!qrFactorArguments(m, n, a, lda, tau, false)) return;
    const PlainForm<T> form{lapack::geqlf<T>, false, false, 'L', 'T', false};
    plainLoop(ctx, form, m, n, blockSize<T>(ctx), a, lda, tau);
}

template <typename T>
void gerqf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau) {
    if (!qrFactorArguments(m, n, a, lda, tau, false)) return;
    const PlainForm<T> form{lapack::gerqf<T>, false, true, 'R', 'N', false};
    plainLoop(ctx, form, m, n, blockSize<T>(ctx), a, lda, tau);
}

// ---- host interface -----------------------------------------------------------------------------
// A is mirrored both ways, tau out; tau comes back before the matrix. A failure leaves the
// caller's arrays untouched.

namespace host {

namespace {

template <typename T>
CallResult factorMirrored(const CallContext& ctx, int m, int n, T* a, int lda, T* tau,
                          void (*body)(const CallContext&, int, int, T*, int, T*)) {
    const int k = std::min(m, n);
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> Tau(ctx, k, 1, tau, k, MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) { body(c, m, n, A.device(), A.ld(), Tau.device()); }, Tau, A);
}

}  // namespace

template <typename T>
CallResult geqrf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau) {
    if (!qrFactorArguments(m, n, a, lda, tau, true)) return {};
    return factorMirrored<T>(ctx, m, n, a, lda, tau, zuli::geqrf<T>);
}

template <typename T>
CallResult geqrfp(const CallContext& ctx, int m, int n, T* a, int lda, T* tau) {
    if (!qrFactorArguments(m, n, a, lda, tau, true)) return {};
    return factorMirrored<T>(ctx, m, n, a, lda, tau, zuli::geqrfp<T>);
}

template <typename T>
CallResult gelqf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau) {
    if (!qrFactorArguments(m, n, a, lda, tau, false)) return {};
    return factorMirrored<T>(ctx, m, n, a, lda, tau, zuli::gelqf<T>);
}

template <typename T>
CallResult geqlf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau) {
    if (!qrFactorArguments(m, n, a, lda, tau, false)) return {};
    return factorMirrored<T>(ctx, m, n, a, lda, tau, zuli::geqlf<T>);
}

template <typename T>
CallResult gerqf(const CallContext& ctx, int m, int n, T* a, int lda, T* tau) {
    if (!qrFactorArguments(m, n, a, lda, tau, false)) return {};
    return factorMirrored<T>(ctx, m, n, a, lda, tau, zuli::gerqf<T>);
}

}  // namespace host

#define ZULI_QR_INSTANCES(T)                                            \
    template void geqrf<T>(const CallContext&, int, int, T*, int, T*);  \
    template void geqrfp<T>(const CallContext&, int, int, T*, int, T*); \
    template void gelqf<T>(const CallContext&, int, int, T*, int, T*);  \
    template void geqlf<T>(const CallContext&, int, int, T*, int, T*);  \
    template void gerqf<T>(const CallContext&, int, int, T*, int, T*);
ZULI_INSTANTIATE(ZULI_QR_INSTANCES)
#undef ZULI_QR_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSgeqrf zuliDgeqrf zuliCgeqrf zuliZgeqrf
// zuliDeviceSgeqrf zuliDeviceDgeqrf zuliDeviceCgeqrf zuliDeviceZgeqrf
ZULI_EXPORT(ALL, geqrf, (int m, int n, P* a, int lda, P* tau), (m, n, a, lda, tau))
// zuliSgeqrfp zuliDgeqrfp zuliCgeqrfp zuliZgeqrfp
// zuliDeviceSgeqrfp zuliDeviceDgeqrfp zuliDeviceCgeqrfp zuliDeviceZgeqrfp
ZULI_EXPORT(ALL, geqrfp, (int m, int n, P* a, int lda, P* tau), (m, n, a, lda, tau))
// zuliSgelqf zuliDgelqf zuliCgelqf zuliZgelqf
// zuliDeviceSgelqf zuliDeviceDgelqf zuliDeviceCgelqf zuliDeviceZgelqf
ZULI_EXPORT(ALL, gelqf, (int m, int n, P* a, int lda, P* tau), (m, n, a, lda, tau))
// zuliSgeqlf zuliDgeqlf zuliCgeqlf zuliZgeqlf
// zuliDeviceSgeqlf zuliDeviceDgeqlf zuliDeviceCgeqlf zuliDeviceZgeqlf
ZULI_EXPORT(ALL, geqlf, (int m, int n, P* a, int lda, P* tau), (m, n, a, lda, tau))
// zuliSgerqf zuliDgerqf zuliCgerqf zuliZgerqf
// zuliDeviceSgerqf zuliDeviceDgerqf zuliDeviceCgerqf zuliDeviceZgerqf
ZULI_EXPORT(ALL, gerqf, (int m, int n, P* a, int lda, P* tau), (m, n, a, lda, tau))
