// syevx.cpp - selected eigenvalues and eigenvectors of a symmetric (Hermitian) matrix (syevx;
// heevx for the complex types), with LAPACK's syevx results: m, w, Z's first m columns, ifail and
// info.
//
// The steps are LAPACK's:
//   1. A = Q T Q^H by the hybrid one-stage reduction sytrd (d, e and tau from the pool).
//   2. All eigenvalues (range 'A', or 'I' with il = 1 and iu = n) with abstol <= 0 take the fast
//      path: the host LAPACK's sterf on the downloaded d and e for jobz 'N'; for jobz 'V' Z = Q
//      by orgtr and steqr with compz 'V' (the QL/QR iteration on the host, its rotations applied
//      to Z on the GPU). A failure to converge there falls through to step 3, as in LAPACK.
//   3. Otherwise stebz (order 'B' when vectors are wanted, 'E' otherwise; the GPU bisection from
//      order 64) and, for jobz 'V', the host LAPACK's stein on the downloaded tridiagonal for the
//      m vectors of T (O(n m), uploaded), then Z = Q Z by ormtr on the GPU.
//   4. For jobz 'V' LAPACK's final selection sort of w with the columns of Z (and ifail after a
//      failure), done on the host before the vectors go up, since it commutes with Q.
// As in LAPACK, with jobz 'V' stein's info replaces stebz's; with jobz 'N' stebz's info is the
// routine's.
//
// Unlike LAPACK's syevx, A is not scaled when its largest element is near the underflow or
// overflow threshold (nor is syev): a matrix whose elements lie within sqrt of the range's ends
// gives LAPACK's results; outside that the reduction may lose accuracy or overflow.
#include "eigen/eigen.h"

#include "auxiliary/auxiliary.h"
#include "eigen/host_prefix.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/host_lapack.h"
#include "runtime/matrix.h"
#include "runtime/memory.h"
#include "runtime/vector_copy.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace zuli {

namespace {

// LAPACK's checks in its order (range 'V' with n > 0 needs vl < vu; range 'I' needs
// 1 <= il <= max(1, n) and min(n, il) <= iu <= n; ldz >= 1, and >= n for jobz 'V'), then the
// pointers as the arguments count: m always (it is set for n = 0), a and w for n > 0, z and ifail
// for jobz 'V' and n > 0. n = 0 sets m to 0 and returns false.
template <typename R>
bool syevxArguments(char& jobz, char& range, char& uplo, int n, const void* a, int lda, R vl, R vu,
                    int il, int iu, int* m, const R* w, const void* z, int ldz, const int* ifail) {
    jobz = upperOption(jobz);
    range = upperOption(range);
    uplo = upperOption(uplo);
    failIf(!isOneOf(jobz, "VN"), 1);
    failIf(!isOneOf(range, "AVI"), 2);
    failIf(!isOneOf(uplo, "UL"), 3);
    failIf(n < 0, 4);
    failIf(lda < std::max(1, n), 6);
    if (range == 'V') {
        failIf(n > 0 && vu <= vl, 8);
    } else if (range == 'I') {
        failIf(il < 1 || il > std::max(1, n), 9);
        failIf(iu < std::min(n, il) || iu > n, 10);
    }
    const bool vectors = jobz == 'V';
    failIf(ldz < 1 || (vectors && ldz < n), 15);
    failIf(a == nullptr && n > 0, 5);
    failIf(m == nullptr, 12);
    failIf(w == nullptr && n > 0, 13);
    failIf(z == nullptr && vectors && n > 0, 14);
    failIf(ifail == nullptr && vectors && n > 0, 16);
    *m = 0;
    return n > 0;
}

// The n x k host matrix s (leading dimension n) into the device's Z.
template <typename T>
void uploadColumns(const std::vector<T>& s, int n, int k, T* z, int ldz) {
    if (n > 0 && k > 0)
        cudalib::checkCuda(cudaMemcpy2D(z, int64_t(ldz) * sizeof(T), s.data(), n * sizeof(T),
                                        n * sizeof(T), k, cudaMemcpyHostToDevice));
}

template <typename T>
class SelectedEigen {
    using R = ToRealT<T>;

  public:
    SelectedEigen(const CallContext& ctx, char jobz, char range, char uplo, int n, T* a, int lda,
                  T* z, int ldz)
        : ctx_(ctx),
          vectors_(jobz == 'V'),
          range_(range),
          uplo_(uplo),
          n_(n),
          a_(a),
          lda_(lda),
          z_(z),
          ldz_(ldz) {}

    void run(R vl, R vu, int il, int iu, R abstol, int* m, R* w, int* ifail) {
        const int n = n_;
        if (n == 1) {
            single(vl, vu, m, w, ifail);
            return;
        }
        const DeviceBuffer<R> d = acquireWorkspace<R>(ctx_, n), e = acquireWorkspace<R>(ctx_, n);
        const DeviceBuffer<T> tau = acquireWorkspace<T>(ctx_, n);
        sytrd<T>(ctx_, uplo_, n, a_, lda_, d.get(), e.get(), tau.get());
        hd_ = download(d.get(), n);
        he_ = download(e.get(), n - 1);
        const bool all = range_ == 'A' || (range_ == 'I' && il == 1 && iu == n);
        if (all && abstol <= 0 && allByIteration(tau.get(), m, w, ifail)) return;

        // Bisection; with vectors wanted its info gives way to stein's, as in LAPACK.
        const DeviceBuffer<int> iblock = acquireWorkspace<int>(ctx_, n),
                                isplit = acquireWorkspace<int>(ctx_, n);
        int nsplit = 0;
        if (!vectors_) {
            stebz<R>(ctx_, range_, 'E', n, vl, vu, il, iu, abstol, d.get(), e.get(), m, &nsplit, w,
                     iblock.get(), isplit.get());
            return;
        }
        try {
            stebz<R>(ctx_, range_, 'B', n, vl, vu, il, iu, abstol, d.get(), e.get(), m, &nsplit, w,
                     iblock.get(), isplit.get());
        } catch (const InfoException& x) {
            if (x.status() != zuliDataError) throw;
        }
        const int k = *m;
        if (k == 0) return;
        std::vector<R> hw = download(w, k), work(5 * static_cast<size_t>(n));
        std::vector<int> hb = download(iblock.get(), k), hs = download(isplit.get(), nsplit),
                         iwork(static_cast<size_t>(n)), hf(static_cast<size_t>(k));
        std::vector<T> s(size_t(n) * size_t(k));
        const int info =
            lapack::stein<T>(n, hd_.data(), he_.data(), k, hw.data(), hb.data(), hs.data(),
                             s.data(), n, work.data(), iwork.data(), hf.data());
        if (info < 0) checkHostLapackInfo(info);
        sortWithVectors(k, hw, hb, s, info != 0 ? &hf : nullptr);
        uploadColumns(s, n, k, z_, ldz_);
        ormtr<T>(ctx_, 'L', uplo_, 'N', n, k, a_, lda_, tau.get(), z_, ldz_);
        upload(hw.data(), k, w);
        upload(hf.data(), k, ifail);
        if (info > 0) raiseDataError(info);
    }

  private:
    // n = 1: the one eigenvalue if the range takes it; for jobz 'V' Z = 1 in any case and ifail
    // 0 (which LAPACK leaves unset here: the vector is exact).
    void single(R vl, R vu, int* m, R* w, int* ifail) {
        const R v = real(download(a_, 1)[0]);
        if (range_ != 'V' || (vl < v && vu >= v)) {
            *m = 1;
            upload(&v, 1, w);
        }
        if (vectors_) {
            const T one(1);
            const int zero = 0;
            upload(&one, 1, z_);
            upload(&zero, 1, ifail);
        }
    }

    // All eigenvalues by the QL/QR iteration: the host LAPACK's sterf for jobz 'N'; for 'V' Z = Q
    // (A's reflectors copied and formed by orgtr on the GPU) and steqr with compz 'V' (its
    // rotations applied on the GPU) on copies of d and e, which the bisection needs should the
    // iteration fail. False when it did not converge.
    bool allByIteration(const T* tau, int* m, R* w, int* ifail) {
        const int n = n_;
        if (!vectors_) {
            std::vector<R> values = hd_, off = he_;
            if (lapack::sterf(n, values.data(), off.data()) != 0) return false;
            upload(values.data(), n, w);
        } else {
            const DeviceBuffer<R> off = acquireWorkspace<R>(ctx_, n);
            upload(hd_.data(), n, w);
            upload(he_.data(), n - 1, off.get());
            lacpy<T>(ctx_, 'A', n, n, a_, lda_, z_, ldz_);
            orgtr<T>(ctx_, uplo_, n, z_, ldz_, tau);
            try {
                steqr<T>(ctx_, 'V', n, w, off.get(), z_, ldz_);
            } catch (const InfoException& x) {
                if (x.status() != zuliDataError) throw;
                return false;
            }
            const std::vector<int> zeros(size_t(n), 0);
            upload(zeros.data(), n, ifail);
        }
        *m = n;
        return true;
    }

    // LAPACK's selection sort of the k eigenvalues w with the columns of S (n rows), the block
    // numbers and, when given, ifail.
    void sortWithVectors(int k, std::vector<R>& w, std::vector<int>& block, std::vector<T>& s,
                         std::vector<int>* ifail) const {
        for (int j = 0; j + 1 < k; ++j) {
            int i = -1;
            R smallest = w[size_t(j)];
            for (int jj = j + 1; jj < k; ++jj)
                if (w[size_t(jj)] < smallest) i = jj, smallest = w[size_t(jj)];
            if (i < 0) continue;
            std::swap(block[size_t(i)], block[size_t(j)]);
            w[size_t(i)] = w[size_t(j)];
            w[size_t(j)] = smallest;
            std::swap_ranges(s.begin() + int64_t(i) * n_, s.begin() + int64_t(i + 1) * n_,
                             s.begin() + int64_t(j) * n_);
            if (ifail) std::swap((*ifail)[size_t(i)], (*ifail)[size_t(j)]);
        }
    }

    const CallContext& ctx_;
    const bool vectors_;
    const char range_, uplo_;
    const int n_;
    T* const a_;
    const int lda_;
    T* const z_;
    const int ldz_;
    std::vector<R> hd_, he_;
};

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void syevx(const CallContext& ctx, char jobz, char range, char uplo, int n, T* a, int lda,
           ToRealT<T> vl, ToRealT<T> vu, int il, int iu, ToRealT<T> abstol, int* m, ToRealT<T>* w,
           T* z, int ldz, int* ifail) {
    if (!syevxArguments(jobz, range, uplo, n, a, lda, vl, vu, il, iu, m, w, z, ldz, ifail)) return;
    SelectedEigen<T>(ctx, jobz, range, uplo, n, a, lda, z, ldz)
        .run(vl, vu, il, iu, abstol, m, w, ifail);
}

// ---- host interface -----------------------------------------------------------------------------
// A goes both ways (its triangle uplo comes back holding the reduction, as LAPACK leaves it); w,
// and for jobz 'V' the first m columns of Z and m elements of ifail come back; the rest of the
// caller's arrays stay as they were. Z's device copy has as many columns as the range can fill
// (iu - il + 1 for range 'I', n otherwise), as the caller's Z must.

namespace host {

template <typename T>
CallResult syevx(const CallContext& ctx, char jobz, char range, char uplo, int n, T* a, int lda,
                 ToRealT<T> vl, ToRealT<T> vu, int il, int iu, ToRealT<T> abstol, int* m,
                 ToRealT<T>* w, T* z, int ldz, int* ifail) {
    if (!syevxArguments(jobz, range, uplo, n, a, lda, vl, vu, il, iu, m, w, z, ldz, ifail))
        return {};
    using R = ToRealT<T>;
    const bool vectors = jobz == 'V';
    const int columns = !vectors ? 0 : range == 'I' ? iu - il + 1 : n;
    HostArrayMirror<T> A(ctx, n, n, a, lda, MirrorIn | MirrorOut);
    HostPrefixMirror<R, T> W(ctx, n, 1, w, n, m, HostPrefixMirror<R, T>::Rows);
    HostPrefixMirror<T> Z(ctx, n, columns, z, ldz, m, HostPrefixMirror<T>::Columns);
    HostPrefixMirror<int, T> F(ctx, vectors ? n : 0, 1, ifail, n, m,
                               HostPrefixMirror<int, T>::Rows);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            SelectedEigen<T>(c, jobz, range, uplo, n, A.device(), A.ld(), Z.device(),
                             vectors ? Z.ld() : 1)
                .run(vl, vu, il, iu, abstol, m, W.device(), F.device());
        },
        W, Z, F, A);
}

}  // namespace host

#define ZULI_SYEVX_INSTANCES(T)                                                            \
    template void syevx<T>(const CallContext&, char, char, char, int, T*, int, ToRealT<T>, \
                           ToRealT<T>, int, int, ToRealT<T>, int*, ToRealT<T>*, T*, int, int*);
ZULI_INSTANTIATE(ZULI_SYEVX_INSTANCES)
#undef ZULI_SYEVX_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

#define ZULI_SYEVX_PARAMS                                                                          \
    (char jobz, char range, char uplo, int n, P* a, int lda, R vl, R vu, int il, int iu, R abstol, \
     int* m, R* w, P* z, int ldz, int* ifail)
#define ZULI_SYEVX_ARGS (jobz, range, uplo, n, a, lda, vl, vu, il, iu, abstol, m, w, z, ldz, ifail)

// zuliSsyevx zuliDsyevx zuliDeviceSsyevx zuliDeviceDsyevx
ZULI_EXPORT(REAL, syevx, ZULI_SYEVX_PARAMS, ZULI_SYEVX_ARGS)
// zuliCheevx zuliZheevx zuliDeviceCheevx zuliDeviceZheevx
ZULI_EXPORT_NAMED(COMPLEX, heevx, syevx, ZULI_SYEVX_PARAMS, ZULI_SYEVX_ARGS)
