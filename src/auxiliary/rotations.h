// rotations.h - what the host-driven rotation iterations (bdsqr, steqr) share: LAPACK's scalar
// 2 x 2 routines on the host, and RotationBatch, which carries the rotations of the host
// iteration to the GPU and applies them there to the device matrices of singular or eigen
// vectors.
//
// The QR iterations on a bidiagonal or tridiagonal matrix do O(n) work on the host per sweep and
// produce a sweep's plane rotations, which LAPACK then applies to the vectors with one lasr per
// matrix: O(n x columns) work per sweep, O(n^2 x columns) in all. Here the host runs the
// iteration exactly as LAPACK does and hands each sweep's lasr to a RotationBatch: it copies the
// cosines and sines into a host staging area and records the operation. flush() (called when the
// staging area is full, before other work on the same matrices and at the end) uploads the
// staged rotations with one asynchronous copy and launches one LASR_k per recorded operation, in
// order, on the legacy default stream. A sweep therefore costs one launch per matrix, the bus
// carries the rotations in large pieces, and the host never waits for the GPU: the device buffer
// is reused by the next upload only after the launches that read it (same stream), and the copy
// is issued from pageable memory, which the runtime stages at once.
#pragma once

#include "runtime/complex.h"
#include "runtime/context.h"
#include "runtime/memory.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace zuli {

// ---- LAPACK's 2 x 2 routines, on the host -------------------------------------------------
// Formula for formula LAPACK's lartg, lasv2, las2 and laev2 (R float or double), so that an
// iteration built on them takes the same decisions and computes the same values as the host
// LAPACK's. eps is LAPACK's lamch('E'), half the spacing at 1; the safe minimum the smallest
// normal number.
namespace rotations {

template <typename R>
constexpr R lamchEps() {
    return std::numeric_limits<R>::epsilon() / 2;
}

// The rotation (c, s) with (c, s; -s, c) (f, g) = (r, 0): lartg (c >= 0, r with the sign of f).
template <typename R>
void lartg(R f, R g, R& c, R& s, R& r) {
    const R safmin = std::numeric_limits<R>::min(), safmax = 1 / safmin;
    const R rtmin = std::sqrt(safmin), rtmax = std::sqrt(safmax / 2);
    const R f1 = std::fabs(f), g1 = std::fabs(g);
    if (g == 0) {
        c = 1;
        s = 0;
        r = f;
    } else if (f == 0) {
        c = 0;
        s = std::copysign(R(1), g);
        r = g1;
    } else if (f1 > rtmin && f1 < rtmax && g1 > rtmin && g1 < rtmax) {
        const R d = std::sqrt(f * f + g * g);
        c = f1 / d;
        r = std::copysign(d, f);
        s = g / r;
    } else {
        const R u = std::min(safmax, std::max(safmin, std::max(f1, g1)));
        const R fs = f / u, gs = g / u;
        const R d = std::sqrt(fs * fs + gs * gs);
        c = std::fabs(fs) / d;
        r = std::copysign(d, f);
        s = gs / r;
        r = r * u;
    }
}

// The singular values of the upper triangular (f, g; 0, h) without their signs' loss: las2.
template <typename R>
void las2(R f, R g, R h, R& ssmin, R& ssmax) {
    const R fa = std::fabs(f), ga = std::fabs(g), ha = std::fabs(h);
    const R fhmn = std::min(fa, ha), fhmx = std::max(fa, ha);
    if (fhmn == 0) {
        ssmin = 0;
        if (fhmx == 0) {
            ssmax = ga;
        } else {
            const R q = std::min(fhmx, ga) / std::max(fhmx, ga);
            ssmax = std::max(fhmx, ga) * std::sqrt(1 + q * q);
        }
    } else if (ga < fhmx) {
        const R as = 1 + fhmn / fhmx, at = (fhmx - fhmn) / fhmx;
        const R au = (ga / fhmx) * (ga / fhmx);
        const R c = 2 / (std::sqrt(as * as + au) + std::sqrt(at * at + au));
        ssmin = fhmn * c;
        ssmax = fhmx / c;
    } else {
        const R au = fhmx / ga;
        if (au == 0) {
            // the exponent range may be asymmetric: keep the true ssmin from underflowing
            ssmin = (fhmn * fhmx) / ga;
            ssmax = ga;
        } else {
            const R as = 1 + fhmn / fhmx, at = (fhmx - fhmn) / fhmx;
            const R p = as * au, q = at * au;
            const R c = 1 / (std::sqrt(1 + p * p) + std::sqrt(1 + q * q));
            ssmin = (fhmn * c) * au;
            ssmin = ssmin + ssmin;
            ssmax = ga / (c + c);
        }
    }
}

// The singular value decomposition of the upper triangular (f, g; 0, h): lasv2. ssmax, ssmin
// carry signs; (csl, snl) and (csr, snr) are the left and right rotations.
template <typename R>
void lasv2(R f, R g, R h, R& ssmin, R& ssmax, R& snr, R& csr, R& snl, R& csl) {
    R ft = f, fa = std::fabs(ft), ht = h, ha = std::fabs(h);
    int pmax = 1;  // the largest element: 1 f, 2 g, 3 h
    const bool swap = ha > fa;
    if (swap) {
        pmax = 3;
        std::swap(ft, ht);
        std::swap(fa, ha);
    }
    const R gt = g, ga = std::fabs(gt);
    R clt, crt, slt, srt;
    if (ga == 0) {
        ssmin = ha;
        ssmax = fa;
        clt = 1;
        crt = 1;
        slt = 0;
        srt = 0;
    } else {
        bool gasmal = true;
        if (ga > fa) {
            pmax = 2;
            if (fa / ga < lamchEps<R>()) {
                // a very large g
                gasmal = false;
                ssmax = ga;
                ssmin = ha > 1 ? fa / (ga / ha) : (fa / ga) * ha;
                clt = 1;
                slt = ht / gt;
                srt = 1;
                crt = ft / gt;
            }
        }
        if (gasmal) {
            const R d = fa - ha;
            R l = d == fa ? R(1) : d / fa;  // copes with an infinite f or h
            const R m = gt / ft;
            R t = 2 - l;
            const R mm = m * m, tt = t * t;
            const R s = std::sqrt(tt + mm);
            const R r = l == 0 ? std::fabs(m) : std::sqrt(l * l + mm);
            const R a = R(0.5) * (s + r);
            ssmin = ha / a;
            ssmax = fa * a;
            if (mm == 0) {
                // a tiny m
                if (l == 0)
                    t = std::copysign(R(2), ft) * std::copysign(R(1), gt);
                else
                    t = gt / std::copysign(d, ft) + m / t;
            } else {
                t = (m / (s + t) + m / (r + l)) * (1 + a);
            }
            l = std::sqrt(t * t + 4);
            crt = 2 / l;
            srt = t / l;
            clt = (crt + srt * m) / a;
            slt = (ht / ft) * srt / a;
        }
    }
    if (swap) {
        csl = srt;
        snl = crt;
        csr = slt;
        snr = clt;
    } else {
        csl = clt;
        snl = slt;
        csr = crt;
        snr = srt;
    }
    // the signs of ssmax and ssmin
    R tsign = 1;
    if (pmax == 1)
        tsign = std::copysign(R(1), csr) * std::copysign(R(1), csl) * std::copysign(R(1), f);
    if (pmax == 2)
        tsign = std::copysign(R(1), snr) * std::copysign(R(1), csl) * std::copysign(R(1), g);
    if (pmax == 3)
        tsign = std::copysign(R(1), snr) * std::copysign(R(1), snl) * std::copysign(R(1), h);
    ssmax = std::copysign(ssmax, tsign);
    ssmin = std::copysign(ssmin, tsign * std::copysign(R(1), f) * std::copysign(R(1), h));
}

// The eigen decomposition of the symmetric (a, b; b, c): laev2. rt1 is the eigenvalue of larger
// absolute value, (cs1, sn1) its unit eigenvector.
template <typename R>
void laev2(R a, R b, R c, R& rt1, R& rt2, R& cs1, R& sn1) {
    const R sm = a + c, df = a - c, adf = std::fabs(df), tb = b + b, ab = std::fabs(tb);
    R acmx, acmn;
    if (std::fabs(a) > std::fabs(c)) {
        acmx = a;
        acmn = c;
    } else {
        acmx = c;
        acmn = a;
    }
    R rt;
    if (adf > ab) {
        const R q = ab / adf;
        rt = adf * std::sqrt(1 + q * q);
    } else if (adf < ab) {
        const R q = adf / ab;
        rt = ab * std::sqrt(1 + q * q);
    } else {
        rt = ab * std::sqrt(R(2));  // also ab = adf = 0
    }
    int sgn1;
    if (sm < 0) {
        rt1 = R(0.5) * (sm - rt);
        sgn1 = -1;
        // in this order: the smaller eigenvalue to full accuracy
        rt2 = (acmx / rt1) * acmn - (b / rt1) * b;
    } else if (sm > 0) {
        rt1 = R(0.5) * (sm + rt);
        sgn1 = 1;
        rt2 = (acmx / rt1) * acmn - (b / rt1) * b;
    } else {
        rt1 = R(0.5) * rt;
        rt2 = R(-0.5) * rt;
        sgn1 = 1;
    }
    int sgn2;
    R cs;
    if (df >= 0) {
        cs = df + rt;
        sgn2 = 1;
    } else {
        cs = df - rt;
        sgn2 = -1;
    }
    if (std::fabs(cs) > ab) {
        const R ct = -tb / cs;
        sn1 = 1 / std::sqrt(1 + ct * ct);
        cs1 = ct * sn1;
    } else if (ab == 0) {
        cs1 = 1;
        sn1 = 0;
    } else {
        const R tn = -cs / tb;
        cs1 = 1 / std::sqrt(1 + tn * tn);
        sn1 = tn * cs1;
    }
    if (sgn1 == sgn2) {
        const R tn = cs1;
        cs1 = -sn1;
        sn1 = tn;
    }
}

}  // namespace rotations

// ---- RotationBatch --------------------------------------------------------------------------

// The rotations of a host iteration on their way to device matrices of element type T (real
// rotations; T float, double, Complex<float> or Complex<double>).
template <typename T>
class RotationBatch {
  public:
    using R = ToRealT<T>;

    // `longest`: the most rotations one operation will carry (the order of the matrix). The
    // device buffer comes from the work-space pool.
    RotationBatch(const CallContext& ctx, int longest);
    RotationBatch(const RotationBatch&) = delete;
    RotationBatch& operator=(const RotationBatch&) = delete;

    // Queues LAPACK's lasr(side, 'V', direct, m, n, c, s, a, lda) on the device matrix a: side
    // 'L' applies the m - 1 rotations (c[k], s[k]) to rows k, k + 1 of the m x n matrix, side
    // 'R' the n - 1 rotations to its columns; direct 'F' forward, 'B' backward. c and s are
    // copied now.
    void lasr(char side, char direct, int m, int n, const R* c, const R* s, T* a, int lda);

    // Queues LAPACK's lascl2: row i of the m x n device matrix a times factors[i] (copied now).
    void scaleRows(int m, int n, const R* factors, T* a, int lda);

    // Uploads what is staged and launches the queued operations in order; the work is then on
    // the legacy default stream, before anything issued after it.
    void flush();

    // Launches so far (one per non-empty operation).
    int64_t launches() const { return launches_; }

  private:
    struct Operation {
        char side, direct;  // side 'S' for scaleRows
        int m, n;
        int64_t offset;  // of c (or the factors) in the staging area; s follows c
        T* a;
        int lda;
    };
    std::vector<R> staged_;
    std::vector<Operation> queued_;
    DeviceBuffer<R> device_;
    int64_t capacity_;
    int64_t launches_ = 0;
};

}  // namespace zuli
