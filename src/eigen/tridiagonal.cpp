// tridiagonal.cpp - reduction of a symmetric (Hermitian) matrix to real symmetric tridiagonal
// form, Q^H A Q = T (sytrd; hetrd for the complex types), the generation of Q from its reflectors
// (orgtr; ungtr) and its application to a matrix (ormtr; unmtr).
//
// sytrd gives LAPACK's sytrd results from the triangle uplo of A: T's diagonal in d and
// off-diagonal in e (both real), the n - 1 reflectors of Q in the rest of the triangle and their
// scalar factors in tau. For uplo 'L', Q = H(1) ... H(n - 1) and reflector i lies below the
// subdiagonal of column i; for 'U', Q = H(n - 1) ... H(1) and reflector i lies above the
// superdiagonal of column i + 1. The other triangle is not touched.
//
// It is hybrid. A matrix of order n <= reductionHostOrder goes to the host LAPACK whole. A larger
// one is reduced in panels of nb columns (the reduction block size) from the first column ('L')
// or the last ('U'): the host holds the panel, all rows of the part not yet reduced, and reduces
// it column by column in the manner of LAPACK's latrd, which leaves the rest of the matrix
// untouched and accumulates the panel's effect in W. Each column needs one product of the part
// not yet reduced with the column's reflector v: the host sends v up, the GPU runs hemv (symv)
// on its triangle, the result comes down, and the host meanwhile computes the small products
// against the panel and W. Once the panel is reduced it goes back up with W, and the GPU updates
// the part not yet reduced with one rank-2nb update, her2k (syr2k):
//
//     A22 -= V W^H + W V^H
//
// (V the panel's reflectors beside A22, whose last one carries its unit element into V and has
// it restored after). The loop stops when at most reductionHostOrder columns remain; the host
// LAPACK reduces that last block. Only the panels (both ways), the vectors of the per-column
// products (both ways), W (up) and the last block (both ways) cross the bus. Copies travel on the
// call's copy stream, hemv and her2k run on the compute stream.
//
// orgtr and ormtr run the device orgql / ormql ('U') or orgqr / ormqr ('L') on the reflectors
// where sytrd left them. orgtr first moves them by one column (left for 'U', right for 'L') on
// the device and makes the freed row and column those of the unit matrix, as LAPACK's orgtr
// does on the host.
#include "eigen/eigen.h"

#include "blas/cublas.h"
#include "kernels/reflector_shift.h"
#include "orthogonal/orthogonal.h"
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

// Elements allocated beyond the end of each piece of host staging: some of the host BLAS's
// complex kernels load a vector register past the last element of a strided vector. The panel
// steps' row vectors read up to one stride past their last element, which lands in the next
// piece of the same staging.
constexpr int64_t kSlack = 16;

template <typename T>
void vectorUp(const std::vector<T>& host, int n, T* device) {
    if (n > 0)
        cudalib::checkCuda(
            cudaMemcpy(device, host.data(), size_t(n) * sizeof(T), cudaMemcpyHostToDevice));
}

// The host LAPACK's sytrd (hetrd) of the order-n block at `a` (device, leading dimension lda):
// down, reduced with the work the host LAPACK asks for, up.
template <typename T>
void sytrdOnHost(char uplo, int n, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e, T* tau) {
    std::vector<T> block(size_t(n) * size_t(n) + lapack::reflectorSlack<T>(n));
    cudalib::checkCuda(cudaMemcpy2D(block.data(), n * sizeof(T), a, int64_t(lda) * sizeof(T),
                                    n * sizeof(T), n, cudaMemcpyDeviceToHost));
    const int lwork = lapack::workSize<T>([&](T* work, int size) {
        checkHostLapackInfo(lapack::sytrd(uplo, n, block.data(), n, d, e, tau, work, size));
    });
    std::vector<T> work = lapack::workArray<T>(lwork);
    checkHostLapackInfo(
        lapack::sytrd(uplo, n, block.data(), n, d, e, tau, work.data(), int(work.size())));
    cudalib::checkCuda(cudaMemcpy2D(a, int64_t(lda) * sizeof(T), block.data(), n * sizeof(T),
                                    n * sizeof(T), n, cudaMemcpyHostToDevice));
}

template <typename T>
class HybridTridiagonal {
    using R = ToRealT<T>;

  public:
    HybridTridiagonal(const CallContext& ctx, char uplo, int n, T* a, int lda)
        : ctx_(ctx),
          n_(n),
          nb_(reductionBlockSize<T>(deviceCapability(ctx.device).code)),
          upper_(uplo == 'U'),
          a_(a),
          lda_(lda),
          // panel, W, the vector going up, the scratch vector, the unit element's value
          offW_(int64_t(n) * nb_ + kSlack),
          offVec_(offW_ + int64_t(n) * nb_ + kSlack),
          offScratch_(offVec_ + n + kSlack),
          offUnit_(offScratch_ + nb_ + kSlack),
          stage_(ctx, offUnit_ + 1 + kSlack, StagingSource::Pool),
          dVec_(acquireWorkspace<T>(ctx, 2 * int64_t(n))),
          dW_(acquireWorkspace<T>(ctx, int64_t(n) * nb_)),
          d_(size_t(n)),
          e_(size_t(n)),
          tau_(size_t(n)) {}

    void run(R* d, R* e, T* tau) {
        const int hostOrder = reductionHostOrder<T>();
        if (upper_) {
            // Panels from the last column; the leading block last.
            int k = n_;
            for (; k > hostOrder; k -= nb_) panelUpper(k);
            stage_.wait();
            sytrdOnHost('U', k, a_, lda_, d_.data(), e_.data(), tau_.data());
        } else {
            int i0 = 0;
            for (; n_ - i0 > hostOrder; i0 += nb_) panelLower(i0);
            stage_.wait();
            sytrdOnHost('L', n_ - i0, at(a_, lda_, i0, i0), lda_, d_.data() + i0, e_.data() + i0,
                        tau_.data() + i0);
        }
        vectorUp(d_, n_, d);
        vectorUp(e_, n_ - 1, e);
        vectorUp(tau_, n_ - 1, tau);
    }

  private:
    // The panel in host memory: element (i, j) of the frame is A(r0 + i, c0 + j), rows the
    // panel's rows (N of them) and j < nb; W likewise.
    T* A(int i, int j) const { return at(stage_.get(), N_, i, j); }
    T* W(int i, int j) const { return at(stage_.get() + offW_, N_, i, j); }
    T* scratch() const { return stage_.get() + offScratch_; }
    T* dA(int i, int j) const { return at(a_, lda_, i, j); }

    // result = A(f : f + order, f : f + order) v on the GPU (the triangle of uplo), v the panel's
    // column vector `v` (order elements); `meanwhile` runs on the host while it travels.
    template <typename Meanwhile>
    void productOnGpu(int f, int order, const T* v, T* result, Meanwhile&& meanwhile) {
        std::copy(v, v + order, stage_.get() + offVec_);
        const T one(1), zero(0);
        T* dIn = dVec_.get();
        T* dOut = dVec_.get() + n_;
        productOnDevice(
            stage_, offVec_, order, dIn,
            [&] {
                blas::hemv(ctx_, upper_ ? CUBLAS_FILL_MODE_UPPER : CUBLAS_FILL_MODE_LOWER, order,
                           &one, dA(f, f), lda_, dIn, 1, &zero, dOut, 1);
            },
            dOut, order, result - stage_.get(), meanwhile);
    }

    // Panel rows r0 ... r0 + N - 1, columns c0 ... c0 + nb - 1, down once the last update has
    // reached them.
    void download(int r0, int c0, int rows) {
        N_ = rows;
        stage_.afterCompute();
        stage_.download(dA(r0, c0), lda_, rows, nb_, rows, 0);
        stage_.wait();
    }

    // ---- lower: the panel is A(i0 : n, i0 : i0 + nb) ------------------------------------------

    void panelLower(int i0) {
        const int nb = nb_;
        i0_ = i0;
        download(i0, i0, n_ - i0);
        for (int i = 0; i < nb; ++i) stepLower(i);
        for (int j = 0; j < nb; ++j) {
            if (j < nb - 1) *A(j + 1, j) = T(e_[size_t(i0 + j)]);
            d_[size_t(i0 + j)] = real(*A(j, j));
        }
        // The panel and W's rows beside the rest go up; then A22 -= V W^H + W V^H.
        const int order = N_ - nb;
        stage_.upload(dA(i0, i0), lda_, N_, nb, N_, 0);
        stage_.upload(dW_.get(), n_, order, nb, N_, offW_ + nb);
        stage_.computeAfterCopies();
        const T minusOne(-1);
        const R one(1);
        blas::her2k(ctx_, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, order, nb, &minusOne,
                    dA(i0 + nb, i0), lda_, dW_.get(), n_, &one, dA(i0 + nb, i0 + nb), lda_);
        sendUnit(i0 + nb, i0 + nb - 1, e_[size_t(i0 + nb - 1)]);
    }

    // Step i of the lower panel: column i of the frame (A(i0 + i, i0 + i) on the diagonal) gives
    // reflector i0 + i and W's column i.
    void stepLower(int i) {
        const int g = i0_ + i, N = N_;
        const T one(1), minusOne(-1), zero(0);
        // A(i : N, i) -= A(i : N, 0 : i) W(i, 0 : i)^H + W(i : N, 0 : i) A(i, 0 : i)^H.
        *A(i, i) = T(real(*A(i, i)));
        lapack::lacgv(i, W(i, 0), N);
        lapack::gemv('N', N - i, i, minusOne, A(i, 0), N, W(i, 0), N, one, A(i, i), 1);
        lapack::lacgv(i, W(i, 0), N);
        lapack::lacgv(i, A(i, 0), N);
        lapack::gemv('N', N - i, i, minusOne, W(i, 0), N, A(i, 0), N, one, A(i, i), 1);
        lapack::lacgv(i, A(i, 0), N);
        *A(i, i) = T(real(*A(i, i)));
        // Reflector g.
        T alpha = *A(i + 1, i);
        lapack::larfg(N - i - 1, &alpha, A(std::min(i + 2, N - 1), i), 1, &tau_[size_t(g)]);
        e_[size_t(g)] = real(alpha);
        *A(i + 1, i) = one;
        // W(i + 1 : N, i) = tau (A22 v - A W^H v - W A^H v), then the correction along v.
        T* v = A(i + 1, i);
        productOnGpu(g + 1, N - i - 1, v, W(i + 1, i), [&] {
            lapack::gemv('C', N - i - 1, i, one, W(i + 1, 0), N, v, 1, zero, W(0, i), 1);
            lapack::gemv('C', N - i - 1, i, one, A(i + 1, 0), N, v, 1, zero, scratch(), 1);
        });
        lapack::gemv('N', N - i - 1, i, minusOne, A(i + 1, 0), N, W(0, i), 1, one, W(i + 1, i), 1);
        lapack::gemv('N', N - i - 1, i, minusOne, W(i + 1, 0), N, scratch(), 1, one, W(i + 1, i),
                     1);
        finishW(N - i - 1, tau_[size_t(g)], W(i + 1, i), v);
    }

    // ---- upper: the panel is A(0 : k, k - nb : k) ---------------------------------------------

    void panelUpper(int k) {
        const int nb = nb_, c0 = k - nb;
        download(0, c0, k);
        for (int i = k - 1; i >= c0; --i) stepUpper(i, k);
        for (int j = c0; j < k; ++j) {
            if (j > c0) *A(j - 1, j - c0) = T(e_[size_t(j - 1)]);
            d_[size_t(j)] = real(*A(j, j - c0));
        }
        // The panel and W's rows beside the rest go up; then A11 -= V W^H + W V^H.
        stage_.upload(dA(0, c0), lda_, k, nb, k, 0);
        stage_.upload(dW_.get(), n_, c0, nb, k, offW_);
        stage_.computeAfterCopies();
        const T minusOne(-1);
        const R one(1);
        blas::her2k(ctx_, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, c0, nb, &minusOne, dA(0, c0), lda_,
                    dW_.get(), n_, &one, dA(0, 0), lda_);
        sendUnit(c0 - 1, c0, e_[size_t(c0 - 1)]);
    }

    // Step for column i of A (frame column i - (k - nb)): reflector i - 1, above the
    // superdiagonal, and W's column.
    void stepUpper(int i, int k) {
        const int c0 = k - nb_, iw = i - c0;
        const T one(1), minusOne(-1), zero(0);
        // Frame column of A's column j.
        auto a = [&](int r, int j) { return A(r, j - c0); };
        if (i < k - 1) {
            // A(0 : i + 1, i) -= A(0 : i + 1, i + 1 : k) W(i, iw + 1 :)^H + W A(i, i + 1 : k)^H.
            *a(i, i) = T(real(*a(i, i)));
            lapack::lacgv(k - i - 1, W(i, iw + 1), k);
            lapack::gemv('N', i + 1, k - i - 1, minusOne, a(0, i + 1), k, W(i, iw + 1), k, one,
                         a(0, i), 1);
            lapack::lacgv(k - i - 1, W(i, iw + 1), k);
            lapack::lacgv(k - i - 1, a(i, i + 1), k);
            lapack::gemv('N', i + 1, k - i - 1, minusOne, W(0, iw + 1), k, a(i, i + 1), k, one,
                         a(0, i), 1);
            lapack::lacgv(k - i - 1, a(i, i + 1), k);
            *a(i, i) = T(real(*a(i, i)));
        }
        // Reflector i - 1 (i >= k - nb >= 1 in a blocked panel).
        T alpha = *a(i - 1, i);
        lapack::larfg(i, &alpha, a(0, i), 1, &tau_[size_t(i - 1)]);
        e_[size_t(i - 1)] = real(alpha);
        *a(i - 1, i) = one;
        // W(0 : i, iw) = tau (A(0 : i, 0 : i) v - A W^H v - W A^H v), then the correction.
        T* v = a(0, i);
        const int right = k - i - 1;
        productOnGpu(0, i, v, W(0, iw), [&] {
            lapack::gemv('C', i, right, one, W(0, iw + 1), k, v, 1, zero, W(i + 1, iw), 1);
            lapack::gemv('C', i, right, one, a(0, i + 1), k, v, 1, zero, scratch(), 1);
        });
        lapack::gemv('N', i, right, minusOne, a(0, i + 1), k, W(i + 1, iw), 1, one, W(0, iw), 1);
        lapack::gemv('N', i, right, minusOne, W(0, iw + 1), k, scratch(), 1, one, W(0, iw), 1);
        finishW(i, tau_[size_t(i - 1)], W(0, iw), v);
    }

    // w = tau w, then w += alpha v with alpha = -tau (w^H v) / 2.
    static void finishW(int len, T tau, T* w, const T* v) {
        lapack::scal(len, tau, w, 1);
        const T alpha = T(R(-0.5)) * tau * lapack::dotc(len, w, 1, v, 1);
        lapack::axpy(len, alpha, v, 1, w, 1);
    }

    // The unit element of V at (r, c) gets T's off-diagonal element back once her2k has read it.
    void sendUnit(int r, int c, R offDiagonal) {
        T* unit = stage_.get() + offUnit_;
        *unit = T(offDiagonal);
        stage_.afterCompute();
        stage_.upload(dA(r, c), lda_, 1, 1, 1, offUnit_);
    }

    const CallContext& ctx_;
    const int n_, nb_;
    const bool upper_;
    T* const a_;
    const int lda_;
    const int64_t offW_, offVec_, offScratch_, offUnit_;
    const PanelStaging<T> stage_;
    const DeviceBuffer<T> dVec_, dW_;
    std::vector<R> d_, e_;
    std::vector<T> tau_;
    // The lower panel's first row and column; the rows of the panel in host memory.
    int i0_ = 0, N_ = 0;
};

// The whole reduction on the host.
template <typename T>
void sytrdWholeOnHost(char uplo, int n, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e, T* tau) {
    const auto size = static_cast<size_t>(n);
    std::vector<ToRealT<T>> hd(size), he(size);
    std::vector<T> ht(size);
    sytrdOnHost(uplo, n, a, lda, hd.data(), he.data(), ht.data());
    vectorUp(hd, n, d);
    vectorUp(he, n - 1, e);
    vectorUp(ht, n - 1, tau);
}

// ---- argument checks ----------------------------------------------------------------------------

// sytrd: e and tau may be null where they have no element (n = 1).
bool sytrdArguments(char& uplo, int n, const void* a, int lda, const void* d, const void* e,
                    const void* tau) {
    uplo = upperOption(uplo);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(n < 0, 2);
    failIf(lda < std::max(1, n), 4);
    if (n == 0) return false;
    failIf(a == nullptr, 3);
    failIf(d == nullptr, 5);
    failIf(e == nullptr && n > 1, 6);
    failIf(tau == nullptr && n > 1, 7);
    return true;
}

// orgtr: tau is required as for orgqr.
bool orgtrArguments(char& uplo, int n, const void* a, int lda, const void* tau) {
    uplo = upperOption(uplo);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(n < 0, 2);
    failIf(lda < std::max(1, n), 4);
    if (n == 0) return false;
    failIf(a == nullptr, 3);
    failIf(tau == nullptr, 5);
    return true;
}

// ormtr, in LAPACK's order; Q has order nq = m (side 'L') or n ('R'), and a problem with nq = 1
// (Q = I) returns before the pointers are checked.
bool ormtrArguments(char& side, char& uplo, char& trans, int m, int n, const void* a, int lda,
                    const void* tau, const void* c, int ldc) {
    side = upperOption(side);
    uplo = upperOption(uplo);
    trans = upperOption(trans);
    failIf(!isOneOf(side, "LR"), 1);
    failIf(!isOneOf(uplo, "UL"), 2);
    failIf(!isOneOf(trans, "NTC"), 3);
    failIf(m < 0, 4);
    failIf(n < 0, 5);
    const int nq = side == 'L' ? m : n;
    failIf(lda < std::max(1, nq), 7);
    failIf(ldc < std::max(1, m), 10);
    if (m == 0 || n == 0 || nq == 1) return false;
    failIf(a == nullptr, 6);
    failIf(tau == nullptr, 8);
    failIf(c == nullptr, 9);
    return true;
}

// orgtr's algorithm on checked arguments (tau unread for n = 1).
template <typename T>
void generateTridiagonalQ(const CallContext& ctx, char uplo, int n, T* a, int lda, const T* tau) {
    if (uplo == 'U') {
        launchShiftReflectors(ReflectorShift::Left, n, a, lda);
        if (n > 1) orgql<T>(ctx, n - 1, n - 1, n - 1, a, lda, tau);
    } else {
        launchShiftReflectors(ReflectorShift::Right, n, a, lda);
        if (n > 1) orgqr<T>(ctx, n - 1, n - 1, n - 1, at(a, lda, 1, 1), lda, tau);
    }
}

// ormtr's algorithm on checked arguments of a non-empty problem with nq > 1.
template <typename T>
void applyTridiagonalQ(const CallContext& ctx, char side, char uplo, char trans, int m, int n,
                       const T* a, int lda, const T* tau, T* c, int ldc) {
    const bool left = side == 'L';
    const int nq = left ? m : n, mi = left ? m - 1 : m, ni = left ? n : n - 1;
    if (uplo == 'U')
        ormql<T>(ctx, side, trans, mi, ni, nq - 1, at(a, lda, 0, 1), lda, tau, c, ldc);
    else
        ormqr<T>(ctx, side, trans, mi, ni, nq - 1, at(a, lda, 1, 0), lda, tau,
                 left ? at(c, ldc, 1, 0) : at(c, ldc, 0, 1), ldc);
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void sytrd(const CallContext& ctx, char uplo, int n, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e,
           T* tau) {
    if (!sytrdArguments(uplo, n, a, lda, d, e, tau)) return;
    if (n <= reductionHostOrder<T>())
        sytrdWholeOnHost(uplo, n, a, lda, d, e, tau);
    else
        HybridTridiagonal<T>(ctx, uplo, n, a, lda).run(d, e, tau);
}

template <typename T>
void orgtr(const CallContext& ctx, char uplo, int n, T* a, int lda, const T* tau) {
    if (!orgtrArguments(uplo, n, a, lda, tau)) return;
    generateTridiagonalQ(ctx, uplo, n, a, lda, tau);
}

template <typename T>
void ormtr(const CallContext& ctx, char side, char uplo, char trans, int m, int n, const T* a,
           int lda, const T* tau, T* c, int ldc) {
    if (!ormtrArguments(side, uplo, trans, m, n, a, lda, tau, c, ldc)) return;
    applyTridiagonalQ(ctx, side, uplo, trans, m, n, a, lda, tau, c, ldc);
}

// ---- host interface -----------------------------------------------------------------------------
// sytrd mirrors A both ways (the whole n x n array; the other triangle comes back as it was) and
// d, e, tau out, the vectors before the matrix; orgtr mirrors A both ways and tau in; ormtr
// mirrors A and tau in and C both ways. A failure leaves the caller's arrays untouched.

namespace host {

template <typename T>
CallResult sytrd(const CallContext& ctx, char uplo, int n, T* a, int lda, ToRealT<T>* d,
                 ToRealT<T>* e, T* tau) {
    if (!sytrdArguments(uplo, n, a, lda, d, e, tau)) return {};
    using R = ToRealT<T>;
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<R, T> D(ctx, n, 1, d, n, MirrorOut);
    HostArrayMirror<R, T> E(ctx, n - 1, 1, e, n - 1, MirrorOut);
    HostArrayMirror<T> Tau(ctx, n - 1, 1, tau, n - 1, MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            zuli::sytrd<T>(c, uplo, n, A.device(), A.ld(), D.device(), E.device(), Tau.device());
        },
        D, E, Tau, A);
}

template <typename T>
CallResult orgtr(const CallContext& ctx, char uplo, int n, T* a, int lda, const T* tau) {
    if (!orgtrArguments(uplo, n, a, lda, tau)) return {};
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> Tau(ctx, n - 1, 1, tau, n - 1, MirrorIn);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            generateTridiagonalQ<T>(c, uplo, n, A.device(), A.ld(), Tau.device());
        },
        A);
}

template <typename T>
CallResult ormtr(const CallContext& ctx, char side, char uplo, char trans, int m, int n, const T* a,
                 int lda, const T* tau, T* c, int ldc) {
    if (!ormtrArguments(side, uplo, trans, m, n, a, lda, tau, c, ldc)) return {};
    const int nq = side == 'L' ? m : n;
    HostArrayMirror<T> A(ctx, nq, nq, a, lda, MirrorIn);
    HostArrayMirror<T> Tau(ctx, nq - 1, 1, tau, nq - 1, MirrorIn);
    HostArrayMirror<T> C(ctx, m, n, c, ldc, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& d) {
            applyTridiagonalQ<T>(d, side, uplo, trans, m, n, A.device(), A.ld(), Tau.device(),
                                 C.device(), C.ld());
        },
        C);
}

}  // namespace host

#define ZULI_TRIDIAGONAL_INSTANCES(T)                                                             \
    template void sytrd<T>(const CallContext&, char, int, T*, int, ToRealT<T>*, ToRealT<T>*, T*); \
    template void orgtr<T>(const CallContext&, char, int, T*, int, const T*);                     \
    template void ormtr<T>(const CallContext&, char, char, char, int, int, const T*, int,         \
                           const T*, T*, int);
ZULI_INSTANTIATE(ZULI_TRIDIAGONAL_INSTANCES)
#undef ZULI_TRIDIAGONAL_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

#define ZULI_SYTRD_PARAMS (char uplo, int n, P* a, int lda, R* d, R* e, P* tau)
#define ZULI_SYTRD_ARGS (uplo, n, a, lda, d, e, tau)
#define ZULI_ORGTR_PARAMS (char uplo, int n, P* a, int lda, const P* tau)
#define ZULI_ORGTR_ARGS (uplo, n, a, lda, tau)
#define ZULI_ORMTR_PARAMS                                                                     \
    (char side, char uplo, char trans, int m, int n, const P* a, int lda, const P* tau, P* c, \
     int ldc)
#define ZULI_ORMTR_ARGS (side, uplo, trans, m, n, a, lda, tau, c, ldc)

// zuliSsytrd zuliDsytrd zuliDeviceSsytrd zuliDeviceDsytrd
ZULI_EXPORT(REAL, sytrd, ZULI_SYTRD_PARAMS, ZULI_SYTRD_ARGS)
// zuliChetrd zuliZhetrd zuliDeviceChetrd zuliDeviceZhetrd
ZULI_EXPORT_NAMED(COMPLEX, hetrd, sytrd, ZULI_SYTRD_PARAMS, ZULI_SYTRD_ARGS)
// zuliSorgtr zuliDorgtr zuliDeviceSorgtr zuliDeviceDorgtr
ZULI_EXPORT(REAL, orgtr, ZULI_ORGTR_PARAMS, ZULI_ORGTR_ARGS)
// zuliCungtr zuliZungtr zuliDeviceCungtr zuliDeviceZungtr
ZULI_EXPORT_NAMED(COMPLEX, ungtr, orgtr, ZULI_ORGTR_PARAMS, ZULI_ORGTR_ARGS)
// zuliSormtr zuliDormtr zuliDeviceSormtr zuliDeviceDormtr
ZULI_EXPORT(REAL, ormtr, ZULI_ORMTR_PARAMS, ZULI_ORMTR_ARGS)
// zuliCunmtr zuliZunmtr zuliDeviceCunmtr zuliDeviceZunmtr
ZULI_EXPORT_NAMED(COMPLEX, unmtr, ormtr, ZULI_ORMTR_PARAMS, ZULI_ORMTR_ARGS)
