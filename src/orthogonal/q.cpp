// q.cpp - generating and applying the Q of the orthogonal factorizations: orgqr (ungqr for the
// complex types) forms Q explicitly in place of the reflectors, ormqr (unmqr) multiplies a matrix
// by Q or Q^H without forming it; the same for the LQ, QL and RQ forms (orglq, orgql, orgrq,
// ormlq, ormql, ormrq and their complex names).
//
// Both are hybrid and synchronous. The host forms the triangular factor T of each block of nb
// reflectors (host larft) and generates the blocks of Q (the host LAPACK's unblocked path: its
// blocked routine called with a work array of one row or column); the GPU applies the block
// reflectors to the large trailing parts with the device larfb. Only panels of reflectors and T
// cross the bus; C, and the columns of Q beyond the panel, stay on the device. With at most nb
// reflectors ormqr runs wholly on the host (V and C down, C up), and orgqr generates all of Q
// there in one call.
//
// The four forms are one algorithm seen in a frame. The column forms (QR, QL) keep reflector j in
// column j of A, the row forms (LQ, RQ) in row j; the frame is A for the former and A's transpose
// for the latter, so that the reflectors are always the frame's columns. QR and LQ store them
// forward (reflector j starts at element j: the products run H(1) H(2) ..., T is upper
// triangular, larfb direct 'F'), QL and RQ backward (reflector j ends at element nq - k + j,
// direct 'B'). A block of a row form's reflectors is applied with larfb's storev 'R' and, as
// LAPACK does, with the other trans letter ('C' for 'N', 'N' for 'T' or 'C'): the row forms' Q is
// the conjugate transpose of the product of their block reflectors. Applied from the left in the
// frame, such a block is applied from the right in A.
#include "orthogonal/orthogonal.h"

#include "auxiliary/auxiliary.h"
#include "kernels/utility_kernels.h"
#include "runtime/arguments.h"
#include "runtime/device.h"
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

enum class Form { QR, LQ, QL, RQ };

// Reflectors in the rows of A (LQ, RQ), stored backward (QL, RQ).
constexpr bool rowwise(Form f) {
    return f == Form::LQ || f == Form::RQ;
}
constexpr bool backward(Form f) {
    return f == Form::QL || f == Form::RQ;
}

// The letter the host LAPACK takes for a (conjugate) transpose: 'T' for S and D, 'C' for C and Z
// (each rejects the other); 'N' stays.
template <typename T>
char lapackTrans(char trans) {
    return trans == 'N' ? 'N' : (IsComplexV<T> ? 'C' : 'T');
}

// ---- host steps -----------------------------------------------------------------------------

// The host LAPACK's generation of the first n columns (rows for the row forms) of the Q of kr
// reflectors in the m x n host block a. A work array of one row or column of Q makes LAPACK take
// its unblocked path.
template <typename T>
void generateOnHost(Form form, int m, int n, int kr, T* a, int lda, const T* tau) {
    const int lwork = std::max(1, rowwise(form) ? m : n);
    std::vector<T> work(static_cast<size_t>(lwork));
    int info = 0;
    switch (form) {
        case Form::QR:
            info = lapack::orgqr(m, n, kr, a, lda, tau, work.data(), lwork);
            break;
        case Form::LQ:
            info = lapack::orglq(m, n, kr, a, lda, tau, work.data(), lwork);
            break;
        case Form::QL:
            info = lapack::orgql(m, n, kr, a, lda, tau, work.data(), lwork);
            break;
        case Form::RQ:
            info = lapack::orgrq(m, n, kr, a, lda, tau, work.data(), lwork);
            break;
    }
    checkHostLapackInfo(info);
}

// The host LAPACK's application of the Q of k reflectors to the m x n host matrix c, unblocked:
// a work array of exactly nw elements.
template <typename T>
void applyOnHost(Form form, char side, char trans, int m, int n, int k, const T* v, int ldv,
                 const T* tau, T* c, int ldc) {
    const int nw = std::max(1, side == 'L' ? n : m);
    std::vector<T> work(static_cast<size_t>(nw));
    trans = lapackTrans<T>(trans);
    int info = 0;
    switch (form) {
        case Form::QR:
            info = lapack::ormqr(side, trans, m, n, k, v, ldv, tau, c, ldc, work.data(), nw);
            break;
        case Form::LQ:
            info = lapack::ormlq(side, trans, m, n, k, v, ldv, tau, c, ldc, work.data(), nw);
            break;
        case Form::QL:
            info = lapack::ormql(side, trans, m, n, k, v, ldv, tau, c, ldc, work.data(), nw);
            break;
        case Form::RQ:
            info = lapack::ormrq(side, trans, m, n, k, v, ldv, tau, c, ldc, work.data(), nw);
            break;
    }
    checkHostLapackInfo(info);
}

// Synchronous copies of a rows x cols block between the device and the host.
template <typename T>
void copyToHost(const T* device, int ld, int rows, int cols, T* host, int hostLd) {
    if (rows <= 0 || cols <= 0) return;
    cudalib::checkCuda(cudaMemcpy2D(host, size_t(hostLd) * sizeof(T), device,
                                    size_t(ld) * sizeof(T), size_t(rows) * sizeof(T), size_t(cols),
                                    cudaMemcpyDeviceToHost));
}
template <typename T>
void copyToDevice(const T* host, int hostLd, int rows, int cols, T* device, int ld) {
    if (rows <= 0 || cols <= 0) return;
    cudalib::checkCuda(cudaMemcpy2D(device, size_t(ld) * sizeof(T), host,
                                    size_t(hostLd) * sizeof(T), size_t(rows) * sizeof(T),
                                    size_t(cols), cudaMemcpyHostToDevice));
}

// The k device tau values, read once.
template <typename T>
std::vector<T> downloadTau(const T* tau, int k) {
    std::vector<T> host(size_t(std::max(k, 0)));
    if (k > 0)
        cudalib::checkCuda(
            cudaMemcpy(host.data(), tau, size_t(k) * sizeof(T), cudaMemcpyDeviceToHost));
    return host;
}

// ---- the frame --------------------------------------------------------------------------------

// A as its form's reflectors see it: element (i, j) of the frame is A(i, j) for the column forms
// and A(j, i) for the row forms, and the frame's r x c block from (i, j) is stored as an r x c or
// a c x r block of A.
template <typename T>
struct Frame {
    T* a;
    int lda;
    bool rows;

    T* at(int i, int j) const { return rows ? zuli::at(a, lda, j, i) : zuli::at(a, lda, i, j); }
    int storedRows(int r, int c) const { return rows ? c : r; }
    int storedCols(int r, int c) const { return rows ? r : c; }

    // The block to host memory, packed (leading dimension storedRows), and back.
    void download(int i, int j, int r, int c, T* host) const {
        copyToHost(at(i, j), lda, storedRows(r, c), storedCols(r, c), host, storedRows(r, c));
    }
    void upload(int i, int j, int r, int c, const T* host) const {
        copyToDevice(host, storedRows(r, c), storedRows(r, c), storedCols(r, c), at(i, j), lda);
    }
    void zero(int i, int j, int r, int c) const {
        launchSetMatrix(0, storedRows(r, c), storedCols(r, c), at(i, j), lda);
    }
    // Generates the block's Q on the host from kr reflectors (download, host LAPACK, upload),
    // through `host`, which holds the block.
    void generate(Form form, int i, int j, int r, int c, int kr, const T* tau, T* host) const {
        download(i, j, r, c, host);
        const int sr = storedRows(r, c), sc = storedCols(r, c);
        generateOnHost(form, sr, sc, kr, host, sr, tau);
        upload(i, j, r, c, host);
    }
    // The frame's r x c block at (i, j) becomes H times it, H the block reflector of the ib frame
    // columns from (vi, vj) with triangular factor dT (ld ldt), as the form's Q is built: in A,
    // H from the left (column forms) or H^H from the right (row forms).
    void applyFromLeft(const CallContext& ctx, char direct, int i, int j, int r, int c, int vi,
                       int vj, int ib, const T* dT, int ldt) const {
        if (rows)
            larfb(ctx, 'R', 'C', direct, 'R', c, r, ib, at(vi, vj), lda, dT, ldt, at(i, j), lda);
        else
            larfb(ctx, 'L', 'N', direct, 'C', r, c, ib, at(vi, vj), lda, dT, ldt, at(i, j), lda);
    }
};

// ---- argument checks --------------------------------------------------------------------------

// orgqr and kin. The column forms generate n <= m columns, the row forms m <= n rows; an empty Q
// returns before the pointers are checked.
bool generateArguments(Form form, int m, int n, int k, const void* a, int lda, const void* tau) {
    const bool rows = rowwise(form);
    failIf(m < 0, 1);
    failIf(rows ? n < m : (n < 0 || n > m), 2);
    failIf(k < 0 || k > (rows ? m : n), 3);
    failIf(lda < std::max(1, m), 5);
    if ((rows ? m : n) < 1) return false;
    failIf(a == nullptr, 4);
    failIf(tau == nullptr, 6);
    return true;
}

// ormqr and kin. A holds the reflectors in nq x k (column forms) or k x nq (row forms).
bool applyArguments(Form form, char& side, char& trans, int m, int n, int k, const void* a, int lda,
                    const void* tau, const void* c, int ldc) {
    side = upperOption(side);
    trans = upperOption(trans);
    failIf(!isOneOf(side, "LR"), 1);
    failIf(!isOneOf(trans, "NTC"), 2);
    failIf(m < 0, 3);
    failIf(n < 0, 4);
    const int nq = side == 'L' ? m : n;
    failIf(k < 0 || k > nq, 5);
    failIf(lda < std::max(1, rowwise(form) ? k : nq), 7);
    failIf(ldc < std::max(1, m), 10);
    if (m == 0 || n == 0 || k == 0) return false;
    failIf(a == nullptr, 6);
    failIf(tau == nullptr, 8);
    failIf(c == nullptr, 9);
    return true;
}

// ---- the algorithms (arguments checked, problem not empty) ----------------------------------

// orgqr and kin. In the frame: Q has M rows (the reflectors' order) and N columns, generated from
// k reflectors. The reflectors beyond the last full block of nb (QR, LQ: the last k - kk; QL, RQ:
// the first) are turned into their part of Q on the host in one call; then, block by block
// towards the other end, the block's reflector is applied to the part of Q already formed (device
// larfb) and the block's own columns of Q are generated on the host, the rest of its columns
// cleared.
template <typename T>
void generateQ(const CallContext& ctx, Form form, int m, int n, int k, T* a, int lda,
               const T* tau) {
    const Frame<T> q{a, lda, rowwise(form)};
    const bool back = backward(form);
    const char direct = back ? 'B' : 'F', storev = rowwise(form) ? 'R' : 'C';
    const int rowsQ = q.rows ? n : m, colsQ = q.rows ? m : n;
    const int nb = qrBlockSize<T>(deviceCapability(ctx.device).code);
    const std::vector<T> tauHost = downloadTau(tau, k);

    // ki: the start of the last full block; kk: the reflectors the blocked part handles.
    int ki = 0, kk = 0;
    if (nb < k) {
        ki = (k - nb - 1) / nb * nb;
        kk = std::min(k, ki + nb);
        // Q's rows that the block reflectors will not reach start out zero.
        if (back)
            q.zero(rowsQ - kk, 0, kk, colsQ - kk);
        else
            q.zero(0, kk, kk, colsQ - kk);
    }
    if (kk < colsQ) {
        const int r = rowsQ - kk, c = colsQ - kk, from = back ? 0 : kk;
        std::vector<T> block(size_t(r) * size_t(c) + lapack::reflectorSlack<T>(std::max(r, c)));
        q.generate(form, from, from, r, c, k - kk, tauHost.data() + from, block.data());
    }
    if (kk == 0) return;

    // The panel (at most rowsQ x nb, either way round), the block reflector's T after it.
    const int64_t panelSize =
        int64_t(std::max(rowsQ, nb)) * nb + lapack::reflectorSlack<T>(std::max(rowsQ, nb));
    PinnedBuffer<T> staging = acquirePinnedWorkspace<T>(ctx, panelSize + nb * nb);
    T* panel = staging.get();
    T* hostT = panel + panelSize;
    const DeviceBuffer<T> dT = acquireWorkspace<T>(ctx, nb * nb);
    for (int step = 0; step < kk / nb; ++step) {
        // Forward forms from block ki back to block 0; backward forms from block k - kk on.
        const int i = back ? k - kk + step * nb : ki - step * nb;
        const int ib = std::min(nb, k - i);
        // The block's reflectors: frame columns j0 ... j0 + ib - 1, rows r0 ... r0 + len - 1.
        const int j0 = back ? colsQ - k + i : i;
        const int r0 = back ? 0 : i;
        const int len = back ? rowsQ - k + i + ib : rowsQ - i;
        // Columns of Q beyond the block (forward: right of it; backward: left of it).
        const int c0 = back ? 0 : j0 + ib, others = back ? j0 : colsQ - j0 - ib;
        const int ldp = q.storedRows(len, ib);
        if (others > 0) {
            q.download(r0, j0, len, ib, panel);
            lapack::larft(direct, storev, len, ib, panel, ldp, tauHost.data() + i, hostT, ib);
            copyToDevice(hostT, ib, ib, ib, dT.get(), ib);
            q.applyFromLeft(ctx, direct, r0, c0, len, others, r0, j0, ib, dT.get(), ib);
        }
        q.generate(form, r0, j0, len, ib, ib, tauHost.data() + i, panel);
        // The rest of the block's columns of Q.
        if (back)
            q.zero(len, j0, rowsQ - len, ib);
        else
            q.zero(0, j0, i, ib);
    }
}

// ormqr and kin: C = op(Q) C or C op(Q), nq the order of Q.
template <typename T>
void applyQ(const CallContext& ctx, Form form, char side, char trans, int m, int n, int k,
            const T* a, int lda, const T* tau, T* c, int ldc) {
    const bool left = side == 'L', notran = trans == 'N';
    const int nq = left ? m : n;
    const int nb = qrBlockSize<T>(deviceCapability(ctx.device).code);
    // A is only read, but every panel goes back to its place after the host has used it.
    const Frame<T> v{const_cast<T*>(a), lda, rowwise(form)};
    const std::vector<T> tauHost = downloadTau(tau, k);

    if (k <= nb) {
        // Everything on the host: V and C down, C up.
        const int ldv = v.storedRows(nq, k);
        const int cols = v.storedCols(nq, k);
        std::vector<T> hostV(size_t(ldv) * size_t(cols) + lapack::reflectorSlack<T>(ldv));
        std::vector<T> hostC(size_t(m) * size_t(n) + lapack::reflectorSlack<T>(m));
        v.download(0, 0, nq, k, hostV.data());
        copyToHost(c, ldc, m, n, hostC.data(), m);
        applyOnHost(form, side, trans, m, n, k, hostV.data(), ldv, tauHost.data(), hostC.data(), m);
        copyToDevice(hostC.data(), m, m, n, c, ldc);
        return;
    }

    const bool back = backward(form);
    const char direct = back ? 'B' : 'F', storev = v.rows ? 'R' : 'C';
    // LAPACK's block order. With Q = H(1) ... H(k) (QR, RQ; conjugate transposes aside), Q C and
    // C Q^H start with the last block, Q^H C and C Q with the first; with Q = H(k) ... H(1) (LQ,
    // QL) the other way round.
    const bool lastFirst = (left == notran) == (form == Form::QR || form == Form::RQ);
    // A row form's blocks are applied as the conjugate transpose of their stored form.
    const char blockTrans = v.rows ? (notran ? 'C' : 'N') : trans;
    const int64_t panelSize =
        int64_t(std::max(nq, nb)) * nb + lapack::reflectorSlack<T>(std::max(nq, nb));
    PinnedBuffer<T> staging = acquirePinnedWorkspace<T>(ctx, panelSize + nb * nb);
    T* panel = staging.get();
    T* hostT = panel + panelSize;
    const DeviceBuffer<T> dT = acquireWorkspace<T>(ctx, nb * nb);
    const int blocks = (k - 1) / nb + 1;
    for (int step = 0; step < blocks; ++step) {
        const int i = (lastFirst ? blocks - 1 - step : step) * nb;
        const int ib = std::min(nb, k - i);
        // The block's reflectors touch elements first ... first + len - 1 of Q's order.
        const int first = back ? 0 : i;
        const int len = back ? nq - k + i + ib : nq - i;
        v.download(first, i, len, ib, panel);
        lapack::larft(direct, storev, len, ib, panel, v.storedRows(len, ib), tauHost.data() + i,
                      hostT, nb);
        copyToDevice(hostT, nb, nb, nb, dT.get(), nb);
        v.upload(first, i, len, ib, panel);
        T* target = left ? at(c, ldc, first, 0) : at(c, ldc, 0, first);
        larfb(ctx, side, blockTrans, direct, storev, left ? len : m, left ? n : len, ib,
              v.at(first, i), lda, dT.get(), nb, target, ldc);
    }
}

// ---- the routines of one form -----------------------------------------------------------------

template <typename T>
void generateRoutine(const CallContext& ctx, Form form, int m, int n, int k, T* a, int lda,
                     const T* tau) {
    if (!generateArguments(form, m, n, k, a, lda, tau)) return;
    generateQ(ctx, form, m, n, k, a, lda, tau);
}

template <typename T>
void applyRoutine(const CallContext& ctx, Form form, char side, char trans, int m, int n, int k,
                  const T* a, int lda, const T* tau, T* c, int ldc) {
    if (!applyArguments(form, side, trans, m, n, k, a, lda, tau, c, ldc)) return;
    applyQ(ctx, form, side, trans, m, n, k, a, lda, tau, c, ldc);
}

// The host interface. A and C are mirrored both ways (orgqr's A) or C only is copied back
// (ormqr). The device algorithm runs without a second argument check: orgqr with k = 0 has no
// tau to mirror.
template <typename T>
CallResult hostGenerate(const CallContext& ctx, Form form, int m, int n, int k, T* a, int lda,
                        const T* tau) {
    if (!generateArguments(form, m, n, k, a, lda, tau)) return {};
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> Tau(ctx, k, 1, tau, k, MirrorIn);
    return runOnDevice<T>(
        [&](const CallContext& d) {
            generateQ<T>(d, form, m, n, k, A.device(), A.ld(), Tau.device());
        },
        A);
}

template <typename T>
CallResult hostApply(const CallContext& ctx, Form form, char side, char trans, int m, int n, int k,
                     const T* a, int lda, const T* tau, T* c, int ldc) {
    if (!applyArguments(form, side, trans, m, n, k, a, lda, tau, c, ldc)) return {};
    const int nq = side == 'L' ? m : n;
    const bool rows = rowwise(form);
    HostArrayMirror<T> A(ctx, rows ? k : nq, rows ? nq : k, a, lda, MirrorIn);
    HostArrayMirror<T> Tau(ctx, k, 1, tau, k, MirrorIn);
    HostArrayMirror<T> C(ctx, m, n, c, ldc, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& d) {
            applyQ<T>(d, form, side, trans, m, n, k, A.device(), A.ld(), Tau.device(), C.device(),
                      C.ld());
        },
        C);
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

#define ZULI_Q_FORM(suffix, FORM)                                                                \
    template <typename T>                                                                        \
    void org##suffix(const CallContext& ctx, int m, int n, int k, T* a, int lda, const T* tau) { \
        generateRoutine(ctx, FORM, m, n, k, a, lda, tau);                                        \
    }                                                                                            \
    template <typename T>                                                                        \
    void orm##suffix(const CallContext& ctx, char side, char trans, int m, int n, int k,         \
                     const T* a, int lda, const T* tau, T* c, int ldc) {                         \
        applyRoutine(ctx, FORM, side, trans, m, n, k, a, lda, tau, c, ldc);                      \
    }                                                                                            \
    namespace host {                                                                             \
    template <typename T>                                                                        \
    CallResult org##suffix(const CallContext& ctx, int m, int n, int k, T* a, int lda,           \
                           const T* tau) {                                                       \
        return hostGenerate(ctx, FORM, m, n, k, a, lda, tau);                                    \
    }                                                                                            \
    template <typename T>                                                                        \
    CallResult orm##suffix(const CallContext& ctx, char side, char trans, int m, int n, int k,   \
                           const T* a, int lda, const T* tau, T* c, int ldc) {                   \
        return hostApply(ctx, FORM, side, trans, m, n, k, a, lda, tau, c, ldc);                  \
    }                                                                                            \
    }
ZULI_Q_FORM(qr, Form::QR)
ZULI_Q_FORM(lq, Form::LQ)
ZULI_Q_FORM(ql, Form::QL)
ZULI_Q_FORM(rq, Form::RQ)
#undef ZULI_Q_FORM

#define ZULI_Q_INSTANCES(T, suffix)                                                            \
    template void org##suffix<T>(const CallContext&, int, int, int, T*, int, const T*);        \
    template void orm##suffix<T>(const CallContext&, char, char, int, int, int, const T*, int, \
                                 const T*, T*, int);
#define ZULI_Q_ALL_FORMS(T) \
    ZULI_Q_INSTANCES(T, qr) ZULI_Q_INSTANCES(T, lq) ZULI_Q_INSTANCES(T, ql) ZULI_Q_INSTANCES(T, rq)
ZULI_INSTANTIATE(ZULI_Q_ALL_FORMS)
#undef ZULI_Q_ALL_FORMS
#undef ZULI_Q_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

#define ZULI_GENERATE_PARAMS (int m, int n, int k, P* a, int lda, const P* tau)
#define ZULI_GENERATE_ARGS (m, n, k, a, lda, tau)
#define ZULI_APPLY_PARAMS \
    (char side, char trans, int m, int n, int k, const P* a, int lda, const P* tau, P* c, int ldc)
#define ZULI_APPLY_ARGS (side, trans, m, n, k, a, lda, tau, c, ldc)

// zuliSorgqr zuliDorgqr zuliDeviceSorgqr zuliDeviceDorgqr
ZULI_EXPORT(REAL, orgqr, ZULI_GENERATE_PARAMS, ZULI_GENERATE_ARGS)
// zuliCungqr zuliZungqr zuliDeviceCungqr zuliDeviceZungqr
ZULI_EXPORT_NAMED(COMPLEX, ungqr, orgqr, ZULI_GENERATE_PARAMS, ZULI_GENERATE_ARGS)
// zuliSorglq zuliDorglq zuliDeviceSorglq zuliDeviceDorglq
ZULI_EXPORT(REAL, orglq, ZULI_GENERATE_PARAMS, ZULI_GENERATE_ARGS)
// zuliCunglq zuliZunglq zuliDeviceCunglq zuliDeviceZunglq
ZULI_EXPORT_NAMED(COMPLEX, unglq, orglq, ZULI_GENERATE_PARAMS, ZULI_GENERATE_ARGS)
// zuliSorgql zuliDorgql zuliDeviceSorgql zuliDeviceDorgql
ZULI_EXPORT(REAL, orgql, ZULI_GENERATE_PARAMS, ZULI_GENERATE_ARGS)
// zuliCungql zuliZungql zuliDeviceCungql zuliDeviceZungql
ZULI_EXPORT_NAMED(COMPLEX, ungql, orgql, ZULI_GENERATE_PARAMS, ZULI_GENERATE_ARGS)
// zuliSorgrq zuliDorgrq zuliDeviceSorgrq zuliDeviceDorgrq
ZULI_EXPORT(REAL, orgrq, ZULI_GENERATE_PARAMS, ZULI_GENERATE_ARGS)
// zuliCungrq zuliZungrq zuliDeviceCungrq zuliDeviceZungrq
ZULI_EXPORT_NAMED(COMPLEX, ungrq, orgrq, ZULI_GENERATE_PARAMS, ZULI_GENERATE_ARGS)

// zuliSormqr zuliDormqr zuliDeviceSormqr zuliDeviceDormqr
ZULI_EXPORT(REAL, ormqr, ZULI_APPLY_PARAMS, ZULI_APPLY_ARGS)
// zuliCunmqr zuliZunmqr zuliDeviceCunmqr zuliDeviceZunmqr
ZULI_EXPORT_NAMED(COMPLEX, unmqr, ormqr, ZULI_APPLY_PARAMS, ZULI_APPLY_ARGS)
// zuliSormlq zuliDormlq zuliDeviceSormlq zuliDeviceDormlq
ZULI_EXPORT(REAL, ormlq, ZULI_APPLY_PARAMS, ZULI_APPLY_ARGS)
// zuliCunmlq zuliZunmlq zuliDeviceCunmlq zuliDeviceZunmlq
ZULI_EXPORT_NAMED(COMPLEX, unmlq, ormlq, ZULI_APPLY_PARAMS, ZULI_APPLY_ARGS)
// zuliSormql zuliDormql zuliDeviceSormql zuliDeviceDormql
ZULI_EXPORT(REAL, ormql, ZULI_APPLY_PARAMS, ZULI_APPLY_ARGS)
// zuliCunmql zuliZunmql zuliDeviceCunmql zuliDeviceZunmql
ZULI_EXPORT_NAMED(COMPLEX, unmql, ormql, ZULI_APPLY_PARAMS, ZULI_APPLY_ARGS)
// zuliSormrq zuliDormrq zuliDeviceSormrq zuliDeviceDormrq
ZULI_EXPORT(REAL, ormrq, ZULI_APPLY_PARAMS, ZULI_APPLY_ARGS)
// zuliCunmrq zuliZunmrq zuliDeviceCunmrq zuliDeviceZunmrq
ZULI_EXPORT_NAMED(COMPLEX, unmrq, ormrq, ZULI_APPLY_PARAMS, ZULI_APPLY_ARGS)
