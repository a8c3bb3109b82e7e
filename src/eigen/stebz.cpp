// stebz.cpp - selected eigenvalues of a real symmetric tridiagonal matrix by bisection (stebz,
// real types only), with LAPACK's stebz results: the eigenvalues in w, the index of the split-off
// block each belongs to in iblock, the ends of the blocks in isplit, their counts in m and
// nsplit, and LAPACK's info (1: some eigenvalues did not converge, 2: range 'A' or 'I' found
// fewer than it should, 3: both, 4: range 'I' could not find the wanted interval).
//
// The work is O(n) per eigenvalue (a Sturm count per bisection step, some 50 steps) and
// independent across eigenvalues. Two paths:
//
// - n < kBisectionHostOrder: the host LAPACK's stebz on the downloaded d and e.
// - Otherwise the GPU, one thread per wanted eigenvalue (STEBZ_k, kernels/bisection.h). The host
//   does the O(n) part as LAPACK's stebz does it, on the downloaded d and e: the split points and
//   pivmin, for range 'I' the bisection of the whole matrix for the il-th and iu-th eigenvalue
//   (two searches), per block the Gerschgorin interval clipped to the range and the Sturm counts
//   at its ends, which give m, the positions in w and the block numbers. The kernel bisects each
//   eigenvalue from its block's interval with stebz's counts and tests of convergence. The host
//   then finishes as stebz does where it must: for range 'I' it discards the eigenvalues found
//   beyond il and iu (w and iblock come down and go up again), for order 'E' with more than one
//   block it sorts w (ties between blocks keep block order).
//   So m, nsplit, isplit, iblock and info are LAPACK's whenever the counts decide them; each
//   eigenvalue is within the bisection's tolerance of LAPACK's. Only vectors cross the bus: d and
//   e down, the block tables and isplit up, and w and iblock once each way for the sort or the
//   discarding.
//
// The threshold: the host LAPACK's stebz takes about 200 n^2 ns for all n eigenvalues on this
// class of machine (0.16 ms at n = 32, 0.73 ms at 64, 13 ms at 256, 240 ms at 1024). On the GPU
// the threads run side by side and each is a chain of some 50 n dependent Sturm steps (a division
// each, some 60 ns on a GPU), about 3 n microseconds, plus some 100 microseconds of launch and
// copies: 0.3 ms at n = 64, 3 ms at 1024. The two meet near n = 64.
#include "eigen/eigen.h"

#include "eigen/host_prefix.h"
#include "kernels/bisection.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/host_lapack.h"
#include "runtime/memory.h"
#include "runtime/tuning.h"
#include "runtime/vector_copy.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

namespace zuli {

namespace {

// LAPACK's checks in its order (range 'V' needs vl < vu; range 'I' needs 1 <= il <= max(1, n)
// and min(n, il) <= iu <= n), then the pointers as the arguments count: m and nsplit always (m is
// set also for n = 0), the arrays only for n > 0 (e only for n > 1). n = 0 sets m and nsplit to 0
// and returns false.
template <typename R>
bool stebzArguments(char& range, char& order, int n, R vl, R vu, int il, int iu, const R* d,
                    const R* e, int* m, int* nsplit, const R* w, const int* iblock,
                    const int* isplit) {
    range = upperOption(range);
    order = upperOption(order);
    failIf(!isOneOf(range, "AVI"), 1);
    failIf(!isOneOf(order, "BE"), 2);
    failIf(n < 0, 3);
    if (range == 'V') {
        failIf(vl >= vu, 5);
    } else if (range == 'I') {
        failIf(il < 1 || il > std::max(1, n), 6);
        failIf(iu < std::min(n, il) || iu > n, 7);
    }
    failIf(d == nullptr && n > 0, 9);
    failIf(e == nullptr && n > 1, 10);
    failIf(m == nullptr, 11);
    failIf(nsplit == nullptr, 12);
    failIf(w == nullptr && n > 0, 13);
    failIf(iblock == nullptr && n > 0, 14);
    failIf(isplit == nullptr && n > 0, 15);
    *m = 0;
    *nsplit = 0;
    return n > 0;
}

// The host LAPACK's stebz on the downloaded tridiagonal; its results go up before a positive
// info is raised, so that they reach the caller with it.
template <typename R>
void bisectOnHost(char range, char order, int n, R vl, R vu, int il, int iu, R abstol, const R* d,
                  const R* e, int* m, int* nsplit, R* w, int* iblock, int* isplit) {
    const auto size = static_cast<size_t>(n);
    std::vector<R> hw(size), work(4 * size);
    std::vector<int> hb(size), hs(size), iwork(3 * size);
    const std::vector<R> hd = download(d, n), he = download(e, n - 1);
    const int info =
        lapack::stebz(range, order, n, vl, vu, il, iu, abstol, hd.data(), he.data(), m, nsplit,
                      hw.data(), hb.data(), hs.data(), work.data(), iwork.data());
    if (info < 0) checkHostLapackInfo(info);
    upload(hw.data(), *m, w);
    upload(hb.data(), *m, iblock);
    upload(hs.data(), *nsplit, isplit);
    if (info > 0) raiseDataError(info);
}

// The GPU path: the host's O(n) part as LAPACK's stebz does it, the bisection of each eigenvalue
// by STEBZ_k, the host's finish.
template <typename R>
class GpuBisection {
  public:
    GpuBisection(const CallContext& ctx, char range, char order, int n, R vl, R vu, int il, int iu,
                 R abstol, const R* d, const R* e)
        : ctx_(ctx),
          range_(range == 'A'   ? All
                 : range == 'V' ? Values
                                : Indices),
          order_(order),
          n_(n),
          il_(il),
          iu_(iu),
          abstol_(abstol),
          d_(d),
          e_(e) {
        hd_ = download(d, n);
        he_ = download(e, n - 1);
        if (range_ == Indices && il == 1 && iu == n) range_ = All;
        wl_ = range_ == Values ? vl : R(0);
        wu_ = range_ == Values ? vu : R(0);
    }

    void run(int* m, int* nsplit, R* w, int* iblock, int* isplit) {
        split();
        *nsplit = int(isplit_.size());
        upload(isplit_.data(), *nsplit, isplit);
        *m = 0;
        if (range_ == Indices && !bracketIndices()) raiseDataError(4);
        plan();
        *m = m_;
        bool unconverged = false;
        if (m_ > 0) {
            const auto blocks = acquireWorkspace<int>(ctx_, int64_t(ints_.size()));
            const auto bounds = acquireWorkspace<R>(ctx_, int64_t(reals_.size()));
            upload(ints_.data(), int64_t(ints_.size()), blocks.get());
            upload(reals_.data(), int64_t(reals_.size()), bounds.get());
            const int nblocks = int(reals_.size()) / kBisectionRealFields;
            int* flag = blocks.get() + int64_t(nblocks) * kBisectionIntFields;
            launchBisection(m_, nblocks, d_, e_, blocks.get(), bounds.get(), pivmin_, rtol_, w,
                            iblock, flag);
            int failed = 0;
            cudalib::checkCuda(cudaMemcpy(&failed, flag, sizeof(int), cudaMemcpyDeviceToHost));
            unconverged = failed != 0;
        }
        // Range 'I': the counts at wl and wu against il - 1 and iu; too many means candidates to
        // discard, too few LAPACK's info 2.
        const int low = range_ == Indices ? il_ - 1 - nwl_ : 0;
        const int high = range_ == Indices ? nwu_ - iu_ : 0;
        const bool tooFew = low < 0 || high<0, discard = low> 0 || high > 0;
        const bool sort = order_ == 'E' && *nsplit > 1 && m_ > 1;
        if (discard || sort) {
            std::vector<R> hw = download(w, m_);
            std::vector<int> hb = download(iblock, m_);
            if (discard) discardOutside(hw, hb);
            if (sort) sortAscending(hw, hb);
            upload(hw.data(), m_, w);
            upload(hb.data(), m_, iblock);
            *m = m_;
        }
        const int info = (unconverged ? 1 : 0) + (tooFew ? 2 : 0);
        if (info > 0) raiseDataError(info);
    }

  private:
    enum Range { All, Values, Indices };

    // The split points: row j + 1 starts a new block when e(j)^2 is negligible against
    // |d(j) d(j + 1)|; e2_ holds e^2 with 0 at the splits, pivmin_ the smallest pivot magnitude.
    void split() {
        e2_.assign(size_t(n_), R(0));
        R pivmin = 1;
        for (int j = 1; j < n_; ++j) {
            const R t = he_[size_t(j - 1)] * he_[size_t(j - 1)];
            if (std::abs(hd_[size_t(j)] * hd_[size_t(j - 1)]) * (ulp_ * ulp_) + safmin_ > t) {
                isplit_.push_back(j);
            } else {
                e2_[size_t(j - 1)] = t;
                pivmin = std::max(pivmin, t);
            }
        }
        isplit_.push_back(n_);
        pivmin_ = pivmin * safmin_;
    }

    // Sturm count of rows [first, first + order) at x: |pivot| < pivmin counts as -pivmin (the
    // count at an interval's ends).
    int countAtEnd(int first, int order, R x) const {
        R t = hd_[size_t(first)] - x;
        if (std::abs(t) < pivmin_) t = -pivmin_;
        int c = t <= 0 ? 1 : 0;
        for (int j = first + 1; j < first + order; ++j) {
            t = hd_[size_t(j)] - e2_[size_t(j - 1)] / t - x;
            if (std::abs(t) < pivmin_) t = -pivmin_;
            if (t <= 0) ++c;
        }
        return c;
    }

    // The count of the bisection steps: a pivot at most pivmin counts and becomes -pivmin.
    int countInside(R x) const {
        R t = hd_[0] - x;
        int c = 0;
        if (t <= pivmin_) ++c, t = std::min(t, -pivmin_);
        for (int j = 1; j < n_; ++j) {
            t = hd_[size_t(j)] - e2_[size_t(j - 1)] / t - x;
            if (t <= pivmin_) ++c, t = std::min(t, -pivmin_);
        }
        return c;
    }

    static int steps(R width, R pivmin) {
        return int((std::log(width + pivmin) - std::log(pivmin)) / std::log(R(2))) + 2;
    }

    bool converged(R lo, R hi, R atol) const {
        const R scale = std::max(std::abs(lo), std::abs(hi));
        return std::abs(hi - lo) < std::max({atol, pivmin_, rtol_ * scale});
    }

    // Range 'I': bisection of the whole matrix for the points below the il-th and at the iu-th
    // eigenvalue (wl, wu) with the counts there (nwl, nwu) and the other ends of the final
    // intervals (wlu, wul). False when they are out of reach (LAPACK's info 4).
    bool bracketIndices() {
        R gl = hd_[0], gu = hd_[0], t1 = 0;
        for (int j = 0; j + 1 < n_; ++j) {
            const R t2 = std::sqrt(e2_[size_t(j)]);
            gu = std::max(gu, hd_[size_t(j)] + t1 + t2);
            gl = std::min(gl, hd_[size_t(j)] - t1 - t2);
            t1 = t2;
        }
        gu = std::max(gu, hd_[size_t(n_ - 1)] + t1);
        gl = std::min(gl, hd_[size_t(n_ - 1)] - t1);
        const R tnorm = std::max(std::abs(gl), std::abs(gu));
        gl = gl - kFudge * tnorm * ulp_ * R(n_) - kFudge * 2 * pivmin_;
        gu = gu + kFudge * tnorm * ulp_ * R(n_) + kFudge * pivmin_;
        const int itmax = steps(tnorm, pivmin_);
        const R atol = abstol_ <= 0 ? ulp_ * tnorm : abstol_;
        struct Search {
            R lo, hi, c;
            int nlo, nhi, target;
            bool done;
        } s[2] = {{gl, gu, gl, -1, n_ + 1, il_ - 1, false}, {gl, gu, gu, -1, n_ + 1, iu_, false}};
        for (int it = 0; it < itmax && !(s[0].done && s[1].done); ++it)
            for (Search& x : s) {
                if (x.done) continue;
                const int c = countInside(x.c);
                if (c <= x.target) x.lo = x.c, x.nlo = c;
                if (c >= x.target) x.hi = x.c, x.nhi = c;
                x.done = converged(x.lo, x.hi, atol) || x.nlo >= x.nhi;
                x.c = R(0.5) * (x.lo + x.hi);
            }
        wl_ = s[0].lo, wlu_ = s[0].hi, nwl_ = s[0].nlo;
        wu_ = s[1].hi, wul_ = s[1].lo, nwu_ = s[1].nhi;
        return !(nwl_ < 0 || nwl_ >= n_ || nwu_ < 1 || nwu_ > n_);
    }

    // Per block: the eigenvalues wanted, where they go in w, and the kernel's table row.
    void plan() {
        int end = 0;
        nwl_ = nwu_ = 0;
        for (int jb = 1; jb <= int(isplit_.size()); ++jb) {
            const int begin = end;
            end = isplit_[size_t(jb - 1)];
            const int order = end - begin;
            if (order == 1) {
                const R v = hd_[size_t(begin)] - pivmin_;
                if (range_ == All || wl_ >= v) ++nwl_;
                if (range_ == All || wu_ >= v) ++nwu_;
                if (range_ == All || (wl_ < v && wu_ >= v))
                    addBlock(begin, 1, 0, 1, jb, 0, 0, 0, 0);
                continue;
            }
            R gu = hd_[size_t(begin)], gl = gu, t1 = 0;
            for (int j = begin; j < end - 1; ++j) {
                const R t2 = std::abs(he_[size_t(j)]);
                gu = std::max(gu, hd_[size_t(j)] + t1 + t2);
                gl = std::min(gl, hd_[size_t(j)] - t1 - t2);
                t1 = t2;
            }
            gu = std::max(gu, hd_[size_t(end - 1)] + t1);
            gl = std::min(gl, hd_[size_t(end - 1)] - t1);
            const R bnorm = std::max(std::abs(gl), std::abs(gu));
            gl = gl - kFudge * bnorm * ulp_ * R(order) - kFudge * pivmin_;
            gu = gu + kFudge * bnorm * ulp_ * R(order) + kFudge * pivmin_;
            const R atol = abstol_ <= 0 ? ulp_ * std::max(std::abs(gl), std::abs(gu)) : abstol_;
            if (range_ != All) {
                if (gu < wl_) {
                    nwl_ += order;
                    nwu_ += order;
                    continue;
                }
                gl = std::max(gl, wl_);
                gu = std::min(gu, wu_);
                if (gl >= gu) continue;
            }
            const int below = countAtEnd(begin, order, gl), upTo = countAtEnd(begin, order, gu);
            nwl_ += below;
            nwu_ += upTo;
            if (upTo > below)
                addBlock(begin, order, below, upTo - below, jb, steps(gu - gl, pivmin_), gl, gu,
                         atol);
        }
    }

    void addBlock(int first, int order, int below, int count, int number, int steps, R gl, R gu,
                  R atol) {
        if (!ints_.empty()) ints_.pop_back();  // the flag moves behind the new row
        ints_.insert(ints_.end(), {first, order, below, m_, number, steps, 0});
        reals_.insert(reals_.end(), {gl, gu, atol});
        m_ += count;
    }

    // Range 'I': drops the eigenvalues found below the il-th (at most wlu) and above the iu-th
    // (at least wul), as many as the counts say; when rounding left some outside those intervals,
    // the smallest and largest instead.
    void discardOutside(std::vector<R>& w, std::vector<int>& b) {
        int low = il_ - 1 - nwl_, high = nwu_ - iu_;
        int kept = 0;
        for (int j = 0; j < m_; ++j) {
            if (w[size_t(j)] <= wlu_ && low > 0) {
                --low;
            } else if (w[size_t(j)] >= wul_ && high > 0) {
                --high;
            } else {
                w[size_t(kept)] = w[size_t(j)];
                b[size_t(kept)] = b[size_t(j)];
                ++kept;
            }
        }
        m_ = kept;
        if (low <= 0 && high <= 0) return;
        for (int k = 0; k < low; ++k) dropExtreme(w, b, true);
        for (int k = 0; k < high; ++k) dropExtreme(w, b, false);
        kept = 0;
        for (int j = 0; j < m_; ++j)
            if (b[size_t(j)] != 0) {
                w[size_t(kept)] = w[size_t(j)];
                b[size_t(kept)] = b[size_t(j)];
                ++kept;
            }
        m_ = kept;
    }

    // Marks (iblock 0) the smallest (lowest) or largest remaining eigenvalue.
    void dropExtreme(std::vector<R>& w, std::vector<int>& b, bool lowest) const {
        int at = -1;
        R kill = lowest ? wu_ : wl_;
        for (int j = 0; j < m_; ++j)
            if (b[size_t(j)] != 0 &&
                (at < 0 || (lowest ? w[size_t(j)] < kill : w[size_t(j)] > kill))) {
                at = j;
                kill = w[size_t(j)];
            }
        if (at >= 0) b[size_t(at)] = 0;
    }

    // Order 'E': ascending over the whole matrix, blocks in order among equal values.
    void sortAscending(std::vector<R>& w, std::vector<int>& b) const {
        std::vector<int> p(static_cast<size_t>(m_));
        std::iota(p.begin(), p.end(), 0);
        std::stable_sort(p.begin(), p.end(),
                         [&](int x, int y) { return w[size_t(x)] < w[size_t(y)]; });
        std::vector<R> sw(static_cast<size_t>(m_));
        std::vector<int> sb(static_cast<size_t>(m_));
        for (int j = 0; j < m_; ++j)
            sw[size_t(j)] = w[size_t(p[size_t(j)])], sb[size_t(j)] = b[size_t(p[size_t(j)])];
        std::copy(sw.begin(), sw.end(), w.begin());
        std::copy(sb.begin(), sb.end(), b.begin());
    }

    // LAPACK's stebz widens the Gerschgorin intervals by this many rounding units (and pivmins).
    static constexpr R kFudge = R(2.1);

    const CallContext& ctx_;
    Range range_;
    const char order_;
    const int n_, il_, iu_;
    const R abstol_;
    const R *const d_, *const e_;
    const R safmin_ = lapack::lamch<R>('S'), ulp_ = lapack::lamch<R>('P'), rtol_ = 2 * ulp_;
    std::vector<R> hd_, he_, e2_, reals_;
    std::vector<int> isplit_, ints_;
    R pivmin_ = 0, wl_ = 0, wu_ = 0, wlu_ = 0, wul_ = 0;
    int nwl_ = 0, nwu_ = 0, m_ = 0;
};

// stebz's algorithm on checked arguments of a non-empty problem.
template <typename R>
void bisect(const CallContext& ctx, char range, char order, int n, R vl, R vu, int il, int iu,
            R abstol, const R* d, const R* e, int* m, int* nsplit, R* w, int* iblock, int* isplit) {
    if (n < kBisectionHostOrder)
        bisectOnHost(range, order, n, vl, vu, il, iu, abstol, d, e, m, nsplit, w, iblock, isplit);
    else
        GpuBisection<R>(ctx, range, order, n, vl, vu, il, iu, abstol, d, e)
            .run(m, nsplit, w, iblock, isplit);
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename R>
void stebz(const CallContext& ctx, char range, char order, int n, R vl, R vu, int il, int iu,
           R abstol, const R* d, const R* e, int* m, int* nsplit, R* w, int* iblock, int* isplit) {
    if (!stebzArguments(range, order, n, vl, vu, il, iu, d, e, m, nsplit, w, iblock, isplit))
        return;
    bisect(ctx, range, order, n, vl, vu, il, iu, abstol, d, e, m, nsplit, w, iblock, isplit);
}

// ---- host interface -----------------------------------------------------------------------------
// d and e go in; the first m elements of w and iblock and the first nsplit of isplit come back,
// the rest of the caller's arrays stay as they were.

namespace host {

template <typename R>
CallResult stebz(const CallContext& ctx, char range, char order, int n, R vl, R vu, int il, int iu,
                 R abstol, const R* d, const R* e, int* m, int* nsplit, R* w, int* iblock,
                 int* isplit) {
    if (!stebzArguments(range, order, n, vl, vu, il, iu, d, e, m, nsplit, w, iblock, isplit))
        return {};
    HostArrayMirror<R> D(ctx, n, 1, d, n, MirrorIn);
    HostArrayMirror<R> E(ctx, n - 1, 1, e, n - 1, MirrorIn);
    using Prefix = HostPrefixMirror<R>;
    using IntPrefix = HostPrefixMirror<int, R>;
    Prefix W(ctx, n, 1, w, n, m, Prefix::Rows);
    IntPrefix B(ctx, n, 1, iblock, n, m, IntPrefix::Rows);
    IntPrefix S(ctx, n, 1, isplit, n, nsplit, IntPrefix::Rows);
    return runOnDevice<R>(
        [&](const CallContext& c) {
            bisect<R>(c, range, order, n, vl, vu, il, iu, abstol, D.device(), E.device(), m, nsplit,
                      W.device(), B.device(), S.device());
        },
        W, B, S);
}

}  // namespace host

#define ZULI_STEBZ_INSTANCES(R)                                                              \
    template void stebz<R>(const CallContext&, char, char, int, R, R, int, int, R, const R*, \
                           const R*, int*, int*, R*, int*, int*);
ZULI_INSTANTIATE_REAL(ZULI_STEBZ_INSTANCES)
#undef ZULI_STEBZ_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSstebz zuliDstebz zuliDeviceSstebz zuliDeviceDstebz
ZULI_EXPORT(REAL, stebz,
            (char range, char order, int n, R vl, R vu, int il, int iu, R abstol, const R* d,
             const R* e, int* m, int* nsplit, R* w, int* iblock, int* isplit),
            (range, order, n, vl, vu, il, iu, abstol, d, e, m, nsplit, w, iblock, isplit))
