// bidiagonal.cpp - reduction of a general m x n matrix to bidiagonal form, Q^H A P = B (gebrd),
// and the generation of Q and P^H from its reflectors (orgbr; ungbr for the complex types).
//
// gebrd gives LAPACK's gebrd results: B upper bidiagonal for m >= n, lower for m < n, its
// diagonal in d and off-diagonal in e (real for every precision), the reflectors of Q = H(1) ...
// H(k) below the diagonal (m >= n; below the subdiagonal for m < n) and those of P = G(1) ...
// G(k) right of the superdiagonal (m >= n; right of the diagonal for m < n), their scalar
// factors in tauq and taup, as LAPACK stores them.
//
// It is hybrid. A matrix of order min(m, n) <= reductionHostOrder goes to the host LAPACK whole.
// A larger one is reduced in panels of nb (the reduction block size): for the panel at i0 the
// host holds the column panel A(i0 : m, i0 : i0 + nb) and the row panel A(i0 : i0 + nb, i0 : n)
// and reduces them column by column in the manner of LAPACK's labrd, which leaves the trailing
// matrix untouched and accumulates the panel's effect on it in X and Y. Each column needs two
// products with the trailing matrix (A^H v for Y, A u for X): the host sends the column (row)
// vector up, the GPU runs the gemv, the result comes down, and the host meanwhile computes the
// small products against the panel that do not depend on it. Once the panel is reduced, it goes
// back up with X and Y, and the GPU updates the trailing matrix with two gemms:
//
//     A(i0 + nb : m, i0 + nb : n) -= V Y^H + X U
//
// (V the panel's column reflectors below it, U its row reflectors right of it, as LAPACK's gebrd
// stores them, with the unit element that one of them carries in the trailing rows or columns
// set to 1 for the gemms and restored after). The loop stops when at most reductionHostOrder
// columns (rows) remain; the host LAPACK reduces that last block. Only the panels (both ways),
// the vectors of the per-column products (both ways), X and Y (up) and the last block (both ways)
// cross the bus. The copies travel on the call's copy stream, the gemvs and gemms run on the
// compute stream; a device that cannot overlap copies gets synchronous copies and the same bits.
//
// orgbr generates Q (vect 'Q', m x n from k reflectors) or P^H (vect 'P', m x n) in place of
// gebrd's reflectors with the device orgqr / orglq. Where gebrd left its reflectors one column
// (row) off the diagonal (Q with m < k, P with k >= n), they are first moved into the places of
// a QR (LQ) factorization on the device, as LAPACK's orgbr does on the host, and the first row
// and column become those of the unit matrix.
#include "orthogonal/orthogonal.h"

#include "blas/cublas.h"
#include "kernels/reflector_shift.h"
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
// steps' row vectors (stride M or nb) read up to one stride past their last element; that lands
// in the next piece of the same staging, which is allocated. The blocks the host LAPACK reduces
// whole get one spare column (lapack::reflectorSlack), for the row reflectors of its gebrd.
constexpr int64_t kSlack = 16;

template <typename T>
void copyDown(const T* device, int64_t ld, int rows, int cols, T* host, int64_t hostLd) {
    if (rows < 1 || cols < 1) return;
    cudalib::checkCuda(cudaMemcpy2D(host, hostLd * sizeof(T), device, ld * sizeof(T),
                                    rows * sizeof(T), cols, cudaMemcpyDeviceToHost));
}
template <typename T>
void copyUp(const T* host, int64_t hostLd, int rows, int cols, T* device, int64_t ld) {
    if (rows < 1 || cols < 1) return;
    cudalib::checkCuda(cudaMemcpy2D(device, ld * sizeof(T), host, hostLd * sizeof(T),
                                    rows * sizeof(T), cols, cudaMemcpyHostToDevice));
}
template <typename T>
void vectorUp(const std::vector<T>& host, int n, T* device) {
    if (n > 0)
        cudalib::checkCuda(
            cudaMemcpy(device, host.data(), size_t(n) * sizeof(T), cudaMemcpyHostToDevice));
}

// The host LAPACK's gebrd of the rows x cols host block, with the work it asks for.
template <typename T>
void gebrdOnHost(int rows, int cols, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e, T* tauq,
                 T* taup) {
    const int lwork = lapack::workSize<T>([&](T* work, int size) {
        checkHostLapackInfo(lapack::gebrd(rows, cols, a, lda, d, e, tauq, taup, work, size));
    });
    std::vector<T> work = lapack::workArray<T>(std::max({lwork, rows, cols}));
    checkHostLapackInfo(
        lapack::gebrd(rows, cols, a, lda, d, e, tauq, taup, work.data(), int(work.size())));
}

// The blocked hybrid reduction (m, n with min(m, n) > the host order).
template <typename T>
class HybridBidiagonal {
    using R = ToRealT<T>;

  public:
    HybridBidiagonal(const CallContext& ctx, int m, int n, T* a, int lda)
        : ctx_(ctx),
          m_(m),
          n_(n),
          k_(std::min(m, n)),
          nb_(reductionBlockSize<T>(deviceCapability(ctx.device).code)),
          upper_(m >= n),
          a_(a),
          lda_(lda),
          // column panel, row panel, X, Y, the vector going up, the scratch vector, the unit
          // element's value
          offRow_(int64_t(m) * nb_ + kSlack),
          offX_(offRow_ + int64_t(nb_) * n + kSlack),
          offY_(offX_ + int64_t(m) * nb_ + kSlack),
          offVec_(offY_ + int64_t(n) * nb_ + kSlack),
          offScratch_(offVec_ + std::max(m, n) + kSlack),
          offUnit_(offScratch_ + nb_ + kSlack),
          stage_(ctx, offUnit_ + 1 + kSlack, StagingSource::Pool),
          dVec_(acquireWorkspace<T>(ctx, 2 * int64_t(std::max(m, n)))),
          dX_(acquireWorkspace<T>(ctx, int64_t(m) * nb_)),
          dY_(acquireWorkspace<T>(ctx, int64_t(n) * nb_)),
          d_(size_t(k_)),
          e_(size_t(k_)),
          tauq_(size_t(k_)),
          taup_(size_t(k_)) {}

    void run(R* d, R* e, T* tauq, T* taup) {
        const int hostOrder = reductionHostOrder<T>();
        int i0 = 0;
        for (; k_ - i0 > hostOrder; i0 += nb_) panel(i0);
        // The last block, on the host.
        stage_.wait();
        const int rows = m_ - i0, cols = n_ - i0;
        std::vector<T> last(size_t(rows) * size_t(cols) + lapack::reflectorSlack<T>(rows));
        copyDown(dA(i0, 0, 0), lda_, rows, cols, last.data(), rows);
        gebrdOnHost(rows, cols, last.data(), rows, d_.data() + i0, e_.data() + i0,
                    tauq_.data() + i0, taup_.data() + i0);
        copyUp(last.data(), rows, rows, cols, dA(i0, 0, 0), lda_);
        vectorUp(d_, k_, d);
        vectorUp(e_, k_ - 1, e);
        vectorUp(tauq_, k_, tauq);
        vectorUp(taup_, k_, taup);
    }

  private:
    // ---- the panel's frame: element (i, j) is A(i0 + i, i0 + j) ------------------------------

    // The host holds the column panel (M x nb, leading dimension M) and the row panel (nb x N,
    // leading dimension nb). Where they meet, element (i, j) is read and written in the row
    // panel if i < j (upper bidiagonal; i <= j for lower), in the column panel otherwise, which is
    // where labrd's steps reach it: every operand of a step lies wholly in one of the two.
    bool inRowPanel(int i, int j) const { return upper_ ? i < j : i <= j; }
    T* col() const { return stage_.get(); }
    T* row() const { return stage_.get() + offRow_; }
    T* A(int i, int j) const {
        return i < nb_ && inRowPanel(i, j) ? at(row(), nb_, i, j) : at(col(), M_, i, j);
    }
    int ldA(int i, int j) const { return i < nb_ && inRowPanel(i, j) ? nb_ : M_; }
    T* X(int i, int j) const { return at(stage_.get() + offX_, M_, i, j); }
    T* Y(int i, int j) const { return at(stage_.get() + offY_, N_, i, j); }
    T* scratch() const { return stage_.get() + offScratch_; }
    T* dA(int i0, int i, int j) const { return at(a_, lda_, i0 + i, i0 + j); }

    // Result(count) = op(A(i0 + r0 :, i0 + c0 :)) x on the GPU (rows x cols, op 'N' or 'C'), x
    // taken with increment incx from the host; `meanwhile` runs on the host while it travels.
    template <typename Meanwhile>
    void productOnGpu(cublasOperation_t op, int r0, int c0, int rows, int cols, const T* x,
                      int incx, T* result, Meanwhile&& meanwhile) {
        const int in = op == CUBLAS_OP_N ? cols : rows, out = op == CUBLAS_OP_N ? rows : cols;
        T* vec = stage_.get() + offVec_;
        for (int i = 0; i < in; ++i) vec[i] = x[int64_t(i) * incx];
        const T one(1), zero(0);
        T* dIn = dVec_.get();
        T* dOut = dVec_.get() + std::max(m_, n_);
        productOnDevice(
            stage_, offVec_, in, dIn,
            [&] {
                blas::gemv(ctx_, op, rows, cols, &one, dA(i0_, r0, c0), lda_, dIn, 1, &zero, dOut,
                           1);
            },
            dOut, out, result - stage_.get(), meanwhile);
    }

    void panel(int i0) {
        i0_ = i0;
        M_ = m_ - i0;
        N_ = n_ - i0;
        const int nb = nb_;
        // The panels, once the previous update has reached them.
        stage_.afterCompute();
        stage_.download(dA(i0, 0, 0), lda_, M_, nb, M_, 0);
        stage_.download(dA(i0, 0, nb), lda_, nb, N_ - nb, nb, offRow_ + int64_t(nb) * nb);
        stage_.wait();
        for (int j = 0; j < nb; ++j)
            for (int i = 0; i < nb; ++i) *at(row(), nb, i, j) = *at(col(), M_, i, j);

        for (int i = 0; i < nb; ++i) upper_ ? stepUpper(i) : stepLower(i);

        // B's elements back in place but the unit element in the trailing rows (columns), and
        // the meeting block whole in the column panel.
        for (int j = 0; j < nb; ++j) {
            *A(j, j) = T(d_[size_t(i0 + j)]);
            if (j < nb - 1) *(upper_ ? A(j, j + 1) : A(j + 1, j)) = T(e_[size_t(i0 + j)]);
        }
        for (int j = 0; j < nb; ++j)
            for (int i = 0; i < nb; ++i)
                if (inRowPanel(i, j)) *at(col(), M_, i, j) = *at(row(), nb, i, j);
        const int mr = M_ - nb, nr = N_ - nb;
        stage_.upload(dA(i0, 0, 0), lda_, M_, nb, M_, 0);
        stage_.upload(dA(i0, 0, nb), lda_, nb, nr, nb, offRow_ + int64_t(nb) * nb);
        stage_.upload(dX_.get(), m_, mr, nb, M_, offX_ + nb);
        stage_.upload(dY_.get(), n_, nr, nb, N_, offY_ + nb);
        stage_.computeAfterCopies();
        // The trailing matrix: A22 -= V Y^H + X U.
        const T one(1), minusOne(-1);
        blas::gemm(ctx_, CUBLAS_OP_N, CUBLAS_OP_C, mr, nr, nb, &minusOne, dA(i0, nb, 0), lda_,
                   dY_.get(), n_, &one, dA(i0, nb, nb), lda_);
        blas::gemm(ctx_, CUBLAS_OP_N, CUBLAS_OP_N, mr, nr, nb, &minusOne, dX_.get(), m_,
                   dA(i0, 0, nb), lda_, &one, dA(i0, nb, nb), lda_);
        // The unit element gets B's off-diagonal element back.
        T* unit = stage_.get() + offUnit_;
        *unit = T(e_[size_t(i0 + nb - 1)]);
        stage_.afterCompute();
        if (upper_)
            stage_.upload(dA(i0, nb - 1, nb), lda_, 1, 1, 1, offUnit_);
        else
            stage_.upload(dA(i0, nb, nb - 1), lda_, 1, 1, 1, offUnit_);
    }

    // Step i of the panel for an upper bidiagonal B (m >= n): column i gives Q's reflector, row
    // i P's, with their columns of Y and X.
    void stepUpper(int i) {
        const int g = i0_ + i, M = M_, N = N_, nb = nb_;
        const T one(1), minusOne(-1), zero(0);
        // A(i : M, i) -= A(i : M, 0 : i) Y(i, 0 : i)^H + X(i : M, 0 : i) A(0 : i, i).
        lapack::lacgv(i, Y(i, 0), N);
        lapack::gemv('N', M - i, i, minusOne, A(i, 0), M, Y(i, 0), N, one, A(i, i), 1);
        lapack::lacgv(i, Y(i, 0), N);
        lapack::gemv('N', M - i, i, minusOne, X(i, 0), M, A(0, i), 1, one, A(i, i), 1);
        // Q's reflector i.
        T alpha = *A(i, i);
        lapack::larfg(M - i, &alpha, A(std::min(i + 1, M - 1), i), 1, &tauq_[size_t(g)]);
        d_[size_t(g)] = real(alpha);
        *A(i, i) = one;
        // Y(i + 1 : N, i) = tauq (A(i : M, i + 1 : N)^H v - Y A^H v - A^H X^H v).
        T* v = A(i, i);
        productOnGpu(CUBLAS_OP_C, i, i + 1, M - i, N - i - 1, v, 1, Y(i + 1, i), [&] {
            lapack::gemv('C', M - i, i, one, A(i, 0), M, v, 1, zero, scratch(), 1);
            lapack::gemv('C', M - i, i, one, X(i, 0), M, v, 1, zero, Y(0, i), 1);
        });
        lapack::gemv('N', N - i - 1, i, minusOne, Y(i + 1, 0), N, scratch(), 1, one, Y(i + 1, i),
                     1);
        lapack::gemv('C', i, N - i - 1, minusOne, A(0, i + 1), nb, Y(0, i), 1, one, Y(i + 1, i), 1);
        lapack::scal(N - i - 1, tauq_[size_t(g)], Y(i + 1, i), 1);
        // A(i, i + 1 : N), conjugated for P's reflector: -= Y A(i, 0 : i + 1)^H + A X(i, :)^H.
        lapack::lacgv(N - i - 1, A(i, i + 1), nb);
        lapack::lacgv(i + 1, A(i, 0), M);
        lapack::gemv('N', N - i - 1, i + 1, minusOne, Y(i + 1, 0), N, A(i, 0), M, one, A(i, i + 1),
                     nb);
        lapack::lacgv(i + 1, A(i, 0), M);
        lapack::lacgv(i, X(i, 0), M);
        lapack::gemv('C', i, N - i - 1, minusOne, A(0, i + 1), nb, X(i, 0), M, one, A(i, i + 1),
                     nb);
        lapack::lacgv(i, X(i, 0), M);
        // P's reflector i.
        alpha = *A(i, i + 1);
        lapack::larfg(N - i - 1, &alpha, A(i, std::min(i + 2, N - 1)), nb, &taup_[size_t(g)]);
        e_[size_t(g)] = real(alpha);
        *A(i, i + 1) = one;
        // X(i + 1 : M, i) = taup (A(i + 1 : M, i + 1 : N) u - A Y^H u - X A u).
        T* u = A(i, i + 1);
        productOnGpu(CUBLAS_OP_N, i + 1, i + 1, M - i - 1, N - i - 1, u, nb, X(i + 1, i), [&] {
            lapack::gemv('C', N - i - 1, i + 1, one, Y(i + 1, 0), N, u, nb, zero, X(0, i), 1);
            lapack::gemv('N', i, N - i - 1, one, A(0, i + 1), nb, u, nb, zero, scratch(), 1);
        });
        lapack::gemv('N', M - i - 1, i + 1, minusOne, A(i + 1, 0), M, X(0, i), 1, one, X(i + 1, i),
                     1);
        lapack::gemv('N', M - i - 1, i, minusOne, X(i + 1, 0), M, scratch(), 1, one, X(i + 1, i),
                     1);
        lapack::scal(M - i - 1, taup_[size_t(g)], X(i + 1, i), 1);
        lapack::lacgv(N - i - 1, A(i, i + 1), nb);
    }

    // Step i for a lower bidiagonal B (m < n): row i gives P's reflector, column i Q's.
    void stepLower(int i) {
        const int g = i0_ + i, M = M_, N = N_, nb = nb_;
        const T one(1), minusOne(-1), zero(0);
        // A(i, i : N), conjugated for P's reflector: -= Y A(i, 0 : i)^H + A X(i, :)^H.
        lapack::lacgv(N - i, A(i, i), nb);
        lapack::lacgv(i, A(i, 0), M);
        lapack::gemv('N', N - i, i, minusOne, Y(i, 0), N, A(i, 0), M, one, A(i, i), nb);
        lapack::lacgv(i, A(i, 0), M);
        lapack::lacgv(i, X(i, 0), M);
        lapack::gemv('C', i, N - i, minusOne, A(0, i), nb, X(i, 0), M, one, A(i, i), nb);
        lapack::lacgv(i, X(i, 0), M);
        // P's reflector i.
        T alpha = *A(i, i);
        lapack::larfg(N - i, &alpha, A(i, std::min(i + 1, N - 1)), nb, &taup_[size_t(g)]);
        d_[size_t(g)] = real(alpha);
        *A(i, i) = one;
        // X(i + 1 : M, i) = taup (A(i + 1 : M, i : N) u - A Y^H u - X A u).
        T* u = A(i, i);
        productOnGpu(CUBLAS_OP_N, i + 1, i, M - i - 1, N - i, u, nb, X(i + 1, i), [&] {
            lapack::gemv('C', N - i, i, one, Y(i, 0), N, u, nb, zero, X(0, i), 1);
            lapack::gemv('N', i, N - i, one, A(0, i), nb, u, nb, zero, scratch(), 1);
        });
        lapack::gemv('N', M - i - 1, i, minusOne, A(i + 1, 0), M, X(0, i), 1, one, X(i + 1, i), 1);
        lapack::gemv('N', M - i - 1, i, minusOne, X(i + 1, 0), M, scratch(), 1, one, X(i + 1, i),
                     1);
        lapack::scal(M - i - 1, taup_[size_t(g)], X(i + 1, i), 1);
        lapack::lacgv(N - i, A(i, i), nb);
        // A(i + 1 : M, i) -= A Y(i, 0 : i)^H + X A(0 : i + 1, i).
        lapack::lacgv(i, Y(i, 0), N);
        lapack::gemv('N', M - i - 1, i, minusOne, A(i + 1, 0), M, Y(i, 0), N, one, A(i + 1, i), 1);
        lapack::lacgv(i, Y(i, 0), N);
        lapack::gemv('N', M - i - 1, i + 1, minusOne, X(i + 1, 0), M, A(0, i), 1, one, A(i + 1, i),
                     1);
        // Q's reflector i.
        alpha = *A(i + 1, i);
        lapack::larfg(M - i - 1, &alpha, A(std::min(i + 2, M - 1), i), 1, &tauq_[size_t(g)]);
        e_[size_t(g)] = real(alpha);
        *A(i + 1, i) = one;
        // Y(i + 1 : N, i) = tauq (A(i + 1 : M, i + 1 : N)^H v - Y A^H v - A^H X^H v).
        T* v = A(i + 1, i);
        productOnGpu(CUBLAS_OP_C, i + 1, i + 1, M - i - 1, N - i - 1, v, 1, Y(i + 1, i), [&] {
            lapack::gemv('C', M - i - 1, i, one, A(i + 1, 0), M, v, 1, zero, scratch(), 1);
            lapack::gemv('C', M - i - 1, i + 1, one, X(i + 1, 0), M, v, 1, zero, Y(0, i), 1);
        });
        lapack::gemv('N', N - i - 1, i, minusOne, Y(i + 1, 0), N, scratch(), 1, one, Y(i + 1, i),
                     1);
        lapack::gemv('C', i + 1, N - i - 1, minusOne, A(0, i + 1), nb, Y(0, i), 1, one, Y(i + 1, i),
                     1);
        lapack::scal(N - i - 1, tauq_[size_t(g)], Y(i + 1, i), 1);
    }

    const CallContext& ctx_;
    const int m_, n_, k_, nb_;
    const bool upper_;
    T* const a_;
    const int lda_;
    const int64_t offRow_, offX_, offY_, offVec_, offScratch_, offUnit_;
    const PanelStaging<T> stage_;
    const DeviceBuffer<T> dVec_, dX_, dY_;
    std::vector<R> d_, e_;
    std::vector<T> tauq_, taup_;
    // The panel being reduced: its first row and column and the trailing matrix's extents.
    int i0_ = 0, M_ = 0, N_ = 0;
};

// The whole reduction on the host: A down, the host LAPACK, A and the vectors up.
template <typename T>
void gebrdWholeOnHost(int m, int n, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e, T* tauq, T* taup) {
    const int k = std::min(m, n);
    const auto size = static_cast<size_t>(k);
    std::vector<T> block(size_t(m) * size_t(n) + lapack::reflectorSlack<T>(m)), hq(size), hp(size);
    std::vector<ToRealT<T>> hd(size), he(size);
    copyDown(a, lda, m, n, block.data(), m);
    gebrdOnHost(m, n, block.data(), m, hd.data(), he.data(), hq.data(), hp.data());
    copyUp(block.data(), m, m, n, a, lda);
    vectorUp(hd, k, d);
    vectorUp(he, k - 1, e);
    vectorUp(hq, k, tauq);
    vectorUp(hp, k, taup);
}

// ---- argument checks ----------------------------------------------------------------------------

// gebrd: e may be null where it has no element (min(m, n) = 1).
bool gebrdArguments(int m, int n, const void* a, int lda, const void* d, const void* e,
                    const void* tauq, const void* taup) {
    failIf(m < 0, 1);
    failIf(n < 0, 2);
    failIf(lda < std::max(1, m), 4);
    const int k = std::min(m, n);
    if (k == 0) return false;
    failIf(a == nullptr, 3);
    failIf(d == nullptr, 5);
    failIf(e == nullptr && k > 1, 6);
    failIf(tauq == nullptr, 7);
    failIf(taup == nullptr, 8);
    return true;
}

// orgbr, in LAPACK's order: Q (vect 'Q') is m x n with n <= m and n >= min(m, k); P^H ('P') is
// m x n with m <= n and m >= min(n, k).
bool orgbrArguments(char& vect, int m, int n, int k, const void* a, int lda, const void* tau) {
    vect = upperOption(vect);
    const bool wantQ = vect == 'Q';
    failIf(!isOneOf(vect, "QP"), 1);
    failIf(m < 0, 2);
    failIf(n < 0 || (wantQ && (n > m || n < std::min(m, k))) ||
               (!wantQ && (m > n || m < std::min(n, k))),
           3);
    failIf(k < 0, 4);
    failIf(lda < std::max(1, m), 6);
    if (m == 0 || n == 0) return false;
    failIf(a == nullptr, 5);
    failIf(tau == nullptr, 7);
    return true;
}

// The scalar factors orgbr reads: min(m, k) (Q) or min(n, k) (P).
int orgbrReflectors(char vect, int m, int n, int k) {
    return std::min(vect == 'Q' ? m : n, k);
}

// orgbr's algorithm on checked arguments. tau may be null when it has no element (the host
// interface of a call with k = 0); the generation then reads none.
template <typename T>
void generateBidiagonalQ(const CallContext& ctx, char vect, int m, int n, int k, T* a, int lda,
                         const T* tau) {
    const T* factors = tau != nullptr ? tau : a;
    if (vect == 'Q') {
        if (m >= k) return orgqr<T>(ctx, m, n, k, a, lda, factors);
        // gebrd of an m x k matrix with m < k: the reflectors lie below the subdiagonal.
        launchShiftReflectors(ReflectorShift::Right, m, a, lda);
        if (m > 1) orgqr<T>(ctx, m - 1, m - 1, m - 1, at(a, lda, 1, 1), lda, factors);
    } else {
        if (k < n) return orglq<T>(ctx, m, n, k, a, lda, factors);
        // gebrd of a k x n matrix with k >= n: the reflectors lie right of the superdiagonal.
        launchShiftReflectors(ReflectorShift::Down, n, a, lda);
        if (n > 1) orglq<T>(ctx, n - 1, n - 1, n - 1, at(a, lda, 1, 1), lda, factors);
    }
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void gebrd(const CallContext& ctx, int m, int n, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e,
           T* tauq, T* taup) {
    if (!gebrdArguments(m, n, a, lda, d, e, tauq, taup)) return;
    if (std::min(m, n) <= reductionHostOrder<T>())
        gebrdWholeOnHost(m, n, a, lda, d, e, tauq, taup);
    else
        HybridBidiagonal<T>(ctx, m, n, a, lda).run(d, e, tauq, taup);
}

template <typename T>
void orgbr(const CallContext& ctx, char vect, int m, int n, int k, T* a, int lda, const T* tau) {
    if (!orgbrArguments(vect, m, n, k, a, lda, tau)) return;
    generateBidiagonalQ(ctx, vect, m, n, k, a, lda, tau);
}

// ---- host interface -----------------------------------------------------------------------------
// gebrd mirrors A both ways and d, e, tauq, taup out (the vectors come back before the matrix);
// orgbr mirrors A both ways and tau in. A failure leaves the caller's arrays untouched.

namespace host {

template <typename T>
CallResult gebrd(const CallContext& ctx, int m, int n, T* a, int lda, ToRealT<T>* d, ToRealT<T>* e,
                 T* tauq, T* taup) {
    if (!gebrdArguments(m, n, a, lda, d, e, tauq, taup)) return {};
    using R = ToRealT<T>;
    const int k = std::min(m, n);
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<R, T> D(ctx, k, 1, d, k, MirrorOut);
    HostArrayMirror<R, T> E(ctx, k - 1, 1, e, k - 1, MirrorOut);
    HostArrayMirror<T> Q(ctx, k, 1, tauq, k, MirrorOut);
    HostArrayMirror<T> P(ctx, k, 1, taup, k, MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            zuli::gebrd<T>(c, m, n, A.device(), A.ld(), D.device(), E.device(), Q.device(),
                           P.device());
        },
        D, E, Q, P, A);
}

template <typename T>
CallResult orgbr(const CallContext& ctx, char vect, int m, int n, int k, T* a, int lda,
                 const T* tau) {
    if (!orgbrArguments(vect, m, n, k, a, lda, tau)) return {};
    const int r = orgbrReflectors(vect, m, n, k);
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<T> Tau(ctx, r, 1, tau, r, MirrorIn);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            generateBidiagonalQ<T>(c, vect, m, n, k, A.device(), A.ld(), Tau.device());
        },
        A);
}

}  // namespace host

#define ZULI_BIDIAGONAL_INSTANCES(T)                                                            \
    template void gebrd<T>(const CallContext&, int, int, T*, int, ToRealT<T>*, ToRealT<T>*, T*, \
                           T*);                                                                 \
    template void orgbr<T>(const CallContext&, char, int, int, int, T*, int, const T*);
ZULI_INSTANTIATE(ZULI_BIDIAGONAL_INSTANCES)
#undef ZULI_BIDIAGONAL_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSgebrd zuliDgebrd zuliCgebrd zuliZgebrd
// zuliDeviceSgebrd zuliDeviceDgebrd zuliDeviceCgebrd zuliDeviceZgebrd
ZULI_EXPORT(ALL, gebrd, (int m, int n, P* a, int lda, R* d, R* e, P* tauq, P* taup),
            (m, n, a, lda, d, e, tauq, taup))
// zuliSorgbr zuliDorgbr zuliDeviceSorgbr zuliDeviceDorgbr
ZULI_EXPORT(REAL, orgbr, (char vect, int m, int n, int k, P* a, int lda, const P* tau),
            (vect, m, n, k, a, lda, tau))
// zuliCungbr zuliZungbr zuliDeviceCungbr zuliDeviceZungbr
ZULI_EXPORT_NAMED(COMPLEX, ungbr, orgbr,
                  (char vect, int m, int n, int k, P* a, int lda, const P* tau),
                  (vect, m, n, k, a, lda, tau))
