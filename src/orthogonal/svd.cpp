// svd.cpp - the singular value decomposition A = U diag(s) V^H of a general m x n matrix: gesvd
// (separate choices for U and V^H) and gesdd (one choice for both).
//
// gesvd follows the case structure of LAPACK's gesvd, on the device bodies of the library:
//
//   scaling         max |a(i, j)| on the device; outside [sqrt(safmin) / eps, its reciprocal] A
//                   is scaled into that range (lascl kernel) and s scaled back at the end, as
//                   LAPACK scales
//   pre-reduction   when max(m, n) >= mnthr = int(1.6 min(m, n)) the matrix is first reduced to
//                   a k x k triangle (k = min(m, n)): R of geqrf (m >= n) or L of gelqf (m < n)
//                   with the part below (above) it set to zero. Where the jobs ask for the
//                   factor on the long side, the orthogonal factor of this step is generated
//                   (orgqr / orglq: in place of A, or the whole m x m Q in U for jobu "A", the
//                   whole n x n Q in VT for jobvt "A"), the triangle is bidiagonalised in a
//                   k x k work block W, and the long factor is formed at the end by one gemm
//                   with the short one of W (U = Q W, VT = W Q). Where the jobs want no factor
//                   on the long side, the triangle is bidiagonalised in place of A.
//   direct          otherwise gebrd on A itself (upper bidiagonal for m >= n, lower for m < n)
//   factors         gebrd's reflectors are copied into U and VT (lacpy with "L" or "U") or left
//                   in A (job "O"), and generated there with orgbr ("Q" for U, "P" for VT)
//   bdsqr           the singular values of the bidiagonal into s, its rotations applied to the
//                   generated factors
//   "O"             the factor that overwrites A lands in A's first k columns (jobu) or rows
//                   (jobvt), LAPACK's place for it
//
// LAPACK's gesvd picks between several variants of a path by the size of the work array it is
// given; this library has all the workspace it needs (device work space from the pool) and
// always takes the variant LAPACK takes with ample workspace. The results are LAPACK's within
// rounding: the same singular values, U and VT spanning the same singular subspaces.
//
// A failure of bdsqr to converge is raised as zuliDataError with bdsqr's info (the number of
// superdiagonal elements that did not converge to zero), LAPACK's info of gesvd; s then holds
// what bdsqr left there, scaled back.
//
// gesdd has no algorithm of its own: after its argument checks (jobz "O" is not implemented, and
// that is reported before anything else) it runs gesvd's with jobu = jobvt = jobz, so its
// results equal those of gesvd with the same choice for both factors.
#include "orthogonal/orthogonal.h"

#include "blas/cublas.h"
#include "kernels/auxiliary_kernels.h"
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

namespace zuli {

namespace {

bool wantsFactor(char job) {
    return job == 'A' || job == 'S';
}

// ---- argument checks ----------------------------------------------------------------------------

bool gesvdArguments(char& jobu, char& jobvt, int m, int n, const void* a, int lda, const void* s,
                    const void* u, int ldu, const void* vt, int ldvt) {
    jobu = upperOption(jobu);
    jobvt = upperOption(jobvt);
    failIf(!isOneOf(jobu, "ASON"), 1);
    failIf(!isOneOf(jobvt, "ASON") || (jobu == 'O' && jobvt == 'O'), 2);
    failIf(m < 0, 3);
    failIf(n < 0, 4);
    failIf(lda < std::max(1, m), 6);
    failIf(ldu < 1 || (wantsFactor(jobu) && ldu < m), 9);
    failIf(ldvt < 1 || (jobvt == 'A' && ldvt < n) || (jobvt == 'S' && ldvt < std::min(m, n)), 11);
    if (m == 0 || n == 0) return false;
    failIf(a == nullptr, 5);
    failIf(s == nullptr, 7);
    failIf(wantsFactor(jobu) && u == nullptr, 8);
    failIf(wantsFactor(jobvt) && vt == nullptr, 10);
    return true;
}

// gesdd: jobz "O" is not implemented, whatever the other arguments.
bool gesddArguments(char& jobz, int m, int n, const void* a, int lda, const void* s, const void* u,
                    int ldu, const void* vt, int ldvt) {
    jobz = upperOption(jobz);
    if (jobz == 'O') raiseFeatureNotImplemented();
    failIf(!isOneOf(jobz, "ASN"), 1);
    failIf(m < 0, 2);
    failIf(n < 0, 3);
    failIf(lda < std::max(1, m), 5);
    const bool want = wantsFactor(jobz);
    failIf(ldu < 1 || (want && ldu < m), 8);
    failIf(ldvt < 1 || (jobz == 'A' && ldvt < n) || (jobz == 'S' && ldvt < std::min(m, n)), 10);
    if (m == 0 || n == 0) return false;
    failIf(a == nullptr, 4);
    failIf(s == nullptr, 6);
    failIf(want && u == nullptr, 7);
    failIf(want && vt == nullptr, 9);
    return true;
}

// The rows of U (jobu) resp. columns of VT (jobvt) that the host interface mirrors: none for "N"
// and "O", else m resp. n; and the other extent: m / n for "A", min(m, n) for "S".
int factorColumns(char job, int full, int k) {
    return job == 'A' ? full : (job == 'S' ? k : 0);
}

// ---- the algorithm ------------------------------------------------------------------------------

// One gesvd on checked, non-empty arguments (letters upper-case). Its work space: e, the scalar
// factors of the reductions, the k x k block W of the pre-reduction paths and, where a factor
// overwrites A, a second k x k block and an m x n product.
template <typename T>
class Svd {
    using R = ToRealT<T>;

  public:
    Svd(const CallContext& ctx, char jobu, char jobvt, int m, int n, T* a, int lda, R* s, T* u,
        int ldu, T* vt, int ldvt)
        : ctx_(ctx),
          jobu_(jobu),
          jobvt_(jobvt),
          m_(m),
          n_(n),
          k_(std::min(m, n)),
          a_(a),
          lda_(lda),
          s_(s),
          u_(u),
          ldu_(ldu),
          vt_(vt),
          ldvt_(ldvt),
          e_(acquireWorkspace<R>(ctx, k_)),
          taus_(acquireWorkspace<T>(ctx, 3 * int64_t(k_))) {}

    void run() {
        const R cfrom = scaleIntoRange();
        try {
            const int mnthr = int(1.6 * double(k_));
            if (m_ >= n_ && m_ >= mnthr)
                tallPreReduced();
            else if (m_ < n_ && n_ >= mnthr)
                widePreReduced();
            else
                direct();
        } catch (const InfoException&) {
            scaleBack(cfrom);  // bdsqr did not converge: s as far as it got
            throw;
        }
        scaleBack(cfrom);
    }

  private:
    T* tau() const { return taus_.get(); }
    T* tauq() const { return taus_.get() + k_; }
    T* taup() const { return taus_.get() + 2 * int64_t(k_); }

    // ---- scaling: LAPACK's range for the largest element -----------------------------------

    // Scales A into [smlnum, bignum] when its largest element lies outside; returns the value A
    // was scaled to (0: not scaled).
    R scaleIntoRange() {
        const R eps = lapack::lamch<R>('P');
        const R smlnum = std::sqrt(lapack::lamch<R>('S')) / eps, bignum = R(1) / smlnum;
        {
            const DeviceBuffer<R> norms =
                acquireWorkspace<R>(ctx_, langeWorkspace('M', m_, n_) + 1);
            launchLange('M', m_, n_, a_, lda_, norms.get() + 1, norms.get());
            cudalib::checkCuda(cudaMemcpy(&anrm_, norms.get(), sizeof(R), cudaMemcpyDeviceToHost));
        }
        R cto = 0;
        if (anrm_ > 0 && anrm_ < smlnum)
            cto = smlnum;
        else if (anrm_ > bignum)
            cto = bignum;
        if (cto != 0) launchLascl<T>('G', 0, 0, anrm_, cto, m_, n_, a_, lda_);
        return cto;
    }
    void scaleBack(R scaledTo) {
        if (scaledTo != 0) launchLascl<R>('G', 0, 0, scaledTo, anrm_, k_, 1, s_, k_);
    }

    // ---- steps -----------------------------------------------------------------------------

    void copy(char uplo, int rows, int cols, const T* from, int ldf, T* to, int ldt) {
        launchLacpy(uplo, rows, cols, from, ldf, to, ldt);
    }
    // The strictly lower (uplo 'L') or upper ('U') part of the order x order block at x zeroed:
    // LAPACK's laset of the (order - 1)-square block one row below (right of) the diagonal.
    void zeroTriangle(char uplo, int order, T* x, int ldx) {
        if (order < 2) return;
        T* corner = uplo == 'L' ? at(x, ldx, 1, 0) : at(x, ldx, 0, 1);
        launchLaset(uplo, order - 1, order - 1, T(0), T(0), corner, ldx);
    }
    void bidiagonalize(int rows, int cols, T* x, int ldx) {
        gebrd<T>(ctx_, rows, cols, x, ldx, s_, e_.get(), tauq(), taup());
    }
    void generateQ(int rows, int cols, int k, T* x, int ldx) {
        orgbr<T>(ctx_, 'Q', rows, cols, k, x, ldx, tauq());
    }
    void generateP(int rows, int cols, int k, T* x, int ldx) {
        orgbr<T>(ctx_, 'P', rows, cols, k, x, ldx, taup());
    }
    // The singular values of the k x k bidiagonal, the rotations applied to vt (k x ncvt; null
    // for none) and u (nru x k; null for none).
    void singularValues(char uplo, int ncvt, T* vt, int ldvt, int nru, T* u, int ldu) {
        bdsqr<T>(ctx_, uplo, k_, vt ? ncvt : 0, u ? nru : 0, 0, s_, e_.get(), vt, vt ? ldvt : 1, u,
                 u ? ldu : 1, nullptr, 1);
    }
    // C = A B on the device (rows x cols, inner dimension k).
    void multiply(int rows, int cols, int inner, const T* a, int lda, const T* b, int ldb, T* c,
                  int ldc) {
        const T one(1), zero(0);
        blas::gemm(ctx_, CUBLAS_OP_N, CUBLAS_OP_N, rows, cols, inner, &one, a, lda, b, ldb, &zero,
                   c, ldc);
    }
    DeviceBuffer<T> square() const { return acquireWorkspace<T>(ctx_, int64_t(k_) * k_); }

    // ---- m >= mnthr: R of geqrf --------------------------------------------------------------

    void tallPreReduced() {
        const int m = m_, n = n_;
        geqrf<T>(ctx_, m, n, a_, lda_, tau());
        if (jobu_ == 'N') {
            // No left factor: R is bidiagonalised in place, P^H generated there if wanted.
            zeroTriangle('L', n, a_, lda_);
            bidiagonalize(n, n, a_, lda_);
            const bool right = jobvt_ != 'N';
            if (right) generateP(n, n, n, a_, lda_);
            singularValues('U', n, right ? a_ : nullptr, lda_, 0, nullptr, 1);
            if (wantsFactor(jobvt_)) copy('F', n, n, a_, lda_, vt_, ldvt_);
            return;
        }
        // U = Q W with Q from geqrf (in A, or all m columns of it in U for jobu "A") and W the
        // left factor of R's bidiagonalisation.
        const DeviceBuffer<T> w = square();
        copy('U', n, n, a_, lda_, w.get(), n);
        zeroTriangle('L', n, w.get(), n);
        T* q = a_;
        int ldq = lda_;
        if (jobu_ == 'A') {
            copy('L', m, n, a_, lda_, u_, ldu_);
            orgqr<T>(ctx_, m, m, n, u_, ldu_, tau());
            q = u_;
            ldq = ldu_;
        } else {
            orgqr<T>(ctx_, m, n, n, a_, lda_, tau());
        }
        bidiagonalize(n, n, w.get(), n);
        // P^H into VT, or into a second block for jobvt "O".
        DeviceBuffer<T> p;
        T* right = nullptr;
        int ldr = 1;
        if (wantsFactor(jobvt_)) {
            right = vt_;
            ldr = ldvt_;
        } else if (jobvt_ == 'O') {
            p = square();
            right = p.get();
            ldr = n;
        }
        if (right) {
            copy('U', n, n, w.get(), n, right, ldr);
            generateP(n, n, n, right, ldr);
        }
        generateQ(n, n, n, w.get(), n);
        singularValues('U', n, right, ldr, n, w.get(), n);
        if (jobu_ == 'S') {
            multiply(m, n, n, q, ldq, w.get(), n, u_, ldu_);
        } else if (jobu_ == 'O') {
            const DeviceBuffer<T> product = acquireWorkspace<T>(ctx_, int64_t(m) * n);
            multiply(m, n, n, q, ldq, w.get(), n, product.get(), m);
            copy('F', m, n, product.get(), m, a_, lda_);
        } else {  // 'A': A serves as the product's space; U keeps Q's trailing columns
            multiply(m, n, n, q, ldq, w.get(), n, a_, lda_);
            copy('F', m, n, a_, lda_, u_, ldu_);
        }
        if (jobvt_ == 'O') copy('F', n, n, p.get(), n, a_, lda_);
    }

    // ---- n >= mnthr > m: L of gelqf ----------------------------------------------------------

    void widePreReduced() {
        const int m = m_, n = n_;
        gelqf<T>(ctx_, m, n, a_, lda_, tau());
        if (jobvt_ == 'N') {
            // No right factor: L is bidiagonalised in place (m x m: upper bidiagonal), Q
            // generated there if wanted.
            zeroTriangle('U', m, a_, lda_);
            bidiagonalize(m, m, a_, lda_);
            const bool left = jobu_ != 'N';
            if (left) generateQ(m, m, m, a_, lda_);
            singularValues('U', 0, nullptr, 1, m, left ? a_ : nullptr, lda_);
            if (wantsFactor(jobu_)) copy('F', m, m, a_, lda_, u_, ldu_);
            return;
        }
        // VT = W Q with Q from gelqf (in A, or all n rows of it in VT for jobvt "A") and W the
        // right factor of L's bidiagonalisation.
        const DeviceBuffer<T> w = square();
        copy('L', m, m, a_, lda_, w.get(), m);
        zeroTriangle('U', m, w.get(), m);
        T* q = a_;
        int ldq = lda_;
        if (jobvt_ == 'A') {
            copy('U', m, n, a_, lda_, vt_, ldvt_);
            orglq<T>(ctx_, n, n, m, vt_, ldvt_, tau());
            q = vt_;
            ldq = ldvt_;
        } else {
            orglq<T>(ctx_, m, n, m, a_, lda_, tau());
        }
        bidiagonalize(m, m, w.get(), m);
        // Q of the bidiagonalisation into U, or into a second block for jobu "O".
        DeviceBuffer<T> l;
        T* left = nullptr;
        int ldl = 1;
        if (wantsFactor(jobu_)) {
            left = u_;
            ldl = ldu_;
        } else if (jobu_ == 'O') {
            l = square();
            left = l.get();
            ldl = m;
        }
        if (left) {
            copy('L', m, m, w.get(), m, left, ldl);
            generateQ(m, m, m, left, ldl);
        }
        generateP(m, m, m, w.get(), m);
        singularValues('U', m, w.get(), m, m, left, ldl);
        if (jobvt_ == 'S') {
            multiply(m, n, m, w.get(), m, q, ldq, vt_, ldvt_);
        } else if (jobvt_ == 'O') {
            const DeviceBuffer<T> product = acquireWorkspace<T>(ctx_, int64_t(m) * n);
            multiply(m, n, m, w.get(), m, q, ldq, product.get(), m);
            copy('F', m, n, product.get(), m, a_, lda_);
        } else {  // 'A': A serves as the product's space; VT keeps Q's trailing rows
            multiply(m, n, m, w.get(), m, q, ldq, a_, lda_);
            copy('F', m, n, a_, lda_, vt_, ldvt_);
        }
        if (jobu_ == 'O') copy('F', m, m, l.get(), m, a_, lda_);
    }

    // ---- no pre-reduction: gebrd of A ----------------------------------------------------------

    void direct() {
        const int m = m_, n = n_, k = k_;
        const bool tall = m >= n;
        bidiagonalize(m, n, a_, lda_);
        if (wantsFactor(jobu_)) {
            // U: m x k ("S") or m x m ("A") from the k reflectors of Q.
            copy('L', m, k, a_, lda_, u_, ldu_);
            generateQ(m, jobu_ == 'A' ? m : k, n, u_, ldu_);
        }
        if (wantsFactor(jobvt_)) {
            // VT: k x n ("S") or n x n ("A") from the k reflectors of P.
            copy('U', k, n, a_, lda_, vt_, ldvt_);
            generateP(jobvt_ == 'A' ? n : k, n, k, vt_, ldvt_);
        }
        if (jobu_ == 'O') generateQ(m, k, n, a_, lda_);
        if (jobvt_ == 'O') generateP(k, n, k, a_, lda_);
        T* left = jobu_ == 'O' ? a_ : (wantsFactor(jobu_) ? u_ : nullptr);
        T* right = jobvt_ == 'O' ? a_ : (wantsFactor(jobvt_) ? vt_ : nullptr);
        singularValues(tall ? 'U' : 'L', n, right, jobvt_ == 'O' ? lda_ : ldvt_, m, left,
                       jobu_ == 'O' ? lda_ : ldu_);
    }

    const CallContext& ctx_;
    const char jobu_, jobvt_;
    const int m_, n_, k_;
    T* const a_;
    const int lda_;
    R* const s_;
    T* const u_;
    const int ldu_;
    T* const vt_;
    const int ldvt_;
    const DeviceBuffer<R> e_;
    const DeviceBuffer<T> taus_;
    R anrm_ = 0;
};

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void gesvd(const CallContext& ctx, char jobu, char jobvt, int m, int n, T* a, int lda,
           ToRealT<T>* s, T* u, int ldu, T* vt, int ldvt) {
    if (!gesvdArguments(jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt)) return;
    Svd<T>(ctx, jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt).run();
}

template <typename T>
void gesdd(const CallContext& ctx, char jobz, int m, int n, T* a, int lda, ToRealT<T>* s, T* u,
           int ldu, T* vt, int ldvt) {
    if (!gesddArguments(jobz, m, n, a, lda, s, u, ldu, vt, ldvt)) return;
    Svd<T>(ctx, jobz, jobz, m, n, a, lda, s, u, ldu, vt, ldvt).run();
}

// ---- host interface -----------------------------------------------------------------------------
// A is mirrored both ways (it holds a factor for job "O" and is destroyed otherwise), s out, U
// out as m x m ("A") or m x min(m, n) ("S") and not at all otherwise, VT out as n x n or
// min(m, n) x n likewise. s comes back first, A last.

namespace host {

namespace {

template <typename T>
CallResult runSvd(const CallContext& ctx, char jobu, char jobvt, int m, int n, T* a, int lda,
                  ToRealT<T>* s, T* u, int ldu, T* vt, int ldvt) {
    using R = ToRealT<T>;
    const int k = std::min(m, n);
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn | MirrorOut);
    HostArrayMirror<R, T> S(ctx, k, 1, s, k, MirrorOut);
    HostArrayMirror<T> U(ctx, wantsFactor(jobu) ? m : 0, factorColumns(jobu, m, k), u, ldu,
                         MirrorOut);
    HostArrayMirror<T> VT(ctx, factorColumns(jobvt, n, k), wantsFactor(jobvt) ? n : 0, vt, ldvt,
                          MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            Svd<T>(c, jobu, jobvt, m, n, A.device(), A.ld(), S.device(), U.device(), U.ld(),
                   VT.device(), VT.ld())
                .run();
        },
        S, U, VT, A);
}

}  // namespace

template <typename T>
CallResult gesvd(const CallContext& ctx, char jobu, char jobvt, int m, int n, T* a, int lda,
                 ToRealT<T>* s, T* u, int ldu, T* vt, int ldvt) {
    if (!gesvdArguments(jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt)) return {};
    return runSvd(ctx, jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt);
}

template <typename T>
CallResult gesdd(const CallContext& ctx, char jobz, int m, int n, T* a, int lda, ToRealT<T>* s,
                 T* u, int ldu, T* vt, int ldvt) {
    if (!gesddArguments(jobz, m, n, a, lda, s, u, ldu, vt, ldvt)) return {};
    return runSvd(ctx, jobz, jobz, m, n, a, lda, s, u, ldu, vt, ldvt);
}

}  // namespace host

#define ZULI_SVD_INSTANCES(T)                                                                     \
    template void gesvd<T>(const CallContext&, char, char, int, int, T*, int, ToRealT<T>*, T*,    \
                           int, T*, int);                                                         \
    template void gesdd<T>(const CallContext&, char, int, int, T*, int, ToRealT<T>*, T*, int, T*, \
                           int);
ZULI_INSTANTIATE(ZULI_SVD_INSTANCES)
#undef ZULI_SVD_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSgesvd zuliDgesvd zuliCgesvd zuliZgesvd
// zuliDeviceSgesvd zuliDeviceDgesvd zuliDeviceCgesvd zuliDeviceZgesvd
ZULI_EXPORT(ALL, gesvd,
            (char jobu, char jobvt, int m, int n, P* a, int lda, R* s, P* u, int ldu, P* vt,
             int ldvt),
            (jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt))
// zuliSgesdd zuliDgesdd zuliCgesdd zuliZgesdd
// zuliDeviceSgesdd zuliDeviceDgesdd zuliDeviceCgesdd zuliDeviceZgesdd
ZULI_EXPORT(ALL, gesdd,
            (char jobz, int m, int n, P* a, int lda, R* s, P* u, int ldu, P* vt, int ldvt),
            (jobz, m, n, a, lda, s, u, ldu, vt, ldvt))
