// bdsqr.cpp - the singular values of a real n x n bidiagonal matrix B (upper or lower), and the
// rotations of its QR iteration applied to the singular vectors: B = Q S P^T with VT := P^T VT
// (n x ncvt) and U := U Q (nru x n). The results are LAPACK's bdsqr's with ncc = 0.
//
// The iteration is O(n) work per sweep on 2 n - 1 reals; the vectors take O(n x columns) per
// sweep. So the host runs the iteration, formula for formula LAPACK's (its tolerance, the
// zero-shift QR of Demmel and Kahan, the convergence tests in both directions, the choice of the
// chase direction by the ends of the current block, the iteration limit), on a downloaded copy
// of d and e, and hands each sweep's rotations to a RotationBatch, which carries them to the GPU
// in large pieces and applies them there with one lasr launch per matrix and sweep (the complex
// types get the same real rotations). The 2 x 2 blocks' rotations go the same way. At the end
// the host knows the signs and the order of the values: the sign change of the rows of VT is one
// row scaling, the sort one sweep of row (VT) and column (U) interchanges, both on the device;
// then d and e go back up.
//
// Without vectors (ncvt = nru = 0) no rotation is needed and LAPACK takes its dqds path: the
// host LAPACK's bdsqr runs on the downloaded d and e, O(n^2) on n-vectors. A lower bidiagonal
// with vectors is first rotated to upper from the left, those rotations applied to U, as LAPACK
// does.
//
// A failure to converge (more than 6 n^2 inner steps) raises zuliDataError with LAPACK's info,
// the number of non-zero elements left in e; d, e and the vectors are left as they stand.
#include "orthogonal/orthogonal.h"

#include "auxiliary/rotations.h"
#include "kernels/laswp.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/host_lapack.h"
#include "runtime/matrix.h"
#include "runtime/memory.h"
#include "runtime/status.h"
#include "runtime/vector_copy.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace zuli {

namespace {

// LAPACK's order; ncc > 0 is refused after all argument checks on the sizes.
bool bdsqrArguments(char& uplo, int n, int ncvt, int nru, int ncc, const void* d, const void* e,
                    const void* vt, int ldvt, const void* u, int ldu, int ldc) {
    uplo = upperOption(uplo);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(n < 0, 2);
    failIf(ncvt < 0, 3);
    failIf(nru < 0, 4);
    failIf(ncc < 0, 5);
    failIf(ldvt < 1 || (ncvt >= 1 && ldvt < std::max(1, n)), 9);
    failIf(ldu < std::max(1, nru), 11);
    failIf(ldc < 1 || (ncc > 0 && ldc < std::max(1, n)), 13);
    if (ncc > 0) raiseFeatureNotImplemented();
    if (n == 0) return false;
    failIf(d == nullptr, 6);
    failIf(e == nullptr && n != 1, 7);
    failIf(vt == nullptr && ncvt >= 1, 8);
    failIf(u == nullptr && nru > 0, 10);
    return true;
}

// LAPACK's bdsqr iteration with ncc = 0 on the host copy (d, e) of an n x n bidiagonal, n >= 1,
// with at least one vector matrix; the rotations go to `batch`, the sign change and sort are
// queued after a flush. Returns LAPACK's info (0 or the count of non-zero e left).
template <typename T>
int bidiagonalQr(RotationBatch<T>& batch, bool lower, int n, int ncvt, int nru,
                 std::vector<ToRealT<T>>& dv, std::vector<ToRealT<T>>& ev, T* vt, int ldvt, T* u,
                 int ldu) {
    using R = ToRealT<T>;
    using namespace rotations;
    R* d = dv.data() - 1;  // 1-based, as the iteration is written
    R* e = ev.data() - 1;
    const int nm1 = n - 1;
    // work(1 ... 4 n): cosines and sines of the two rotation chains of a sweep
    std::vector<R> workv(size_t(4) * n + 1);
    R* work = workv.data() - 1;
    const int nm12 = nm1 + nm1, nm13 = nm12 + nm1;
    const R eps = lamchEps<R>(), unfl = std::numeric_limits<R>::min();
    const int maxitr = 6;
    int info = 0;

    // The rows of VT from ll, the columns of U from ll (1-based).
    auto rowsOfVt = [&](int ll) { return at(vt, ldvt, ll - 1, 0); };
    auto columnsOfU = [&](int ll) { return at(u, ldu, 0, ll - 1); };

    if (n > 1) {
        if (lower) {
            for (int i = 1; i <= n - 1; ++i) {
                R cs, sn, r;
                lartg(d[i], e[i], cs, sn, r);
                d[i] = r;
                e[i] = sn * d[i + 1];
                d[i + 1] = cs * d[i + 1];
                work[i] = cs;
                work[nm1 + i] = sn;
            }
            if (nru > 0) batch.lasr('R', 'F', nru, n, &work[1], &work[n], u, ldu);
        }

        const R tolmul = std::max(R(10), std::min(R(100), std::pow(eps, R(-0.125))));
        const R tol = tolmul * eps;
        R smax = 0;
        for (int i = 1; i <= n; ++i) smax = std::max(smax, std::fabs(d[i]));
        for (int i = 1; i <= n - 1; ++i) smax = std::max(smax, std::fabs(e[i]));
        // relative accuracy: tol >= 0 always here
        R sminoa = std::fabs(d[1]);
        if (sminoa != 0) {
            R mu = sminoa;
            for (int i = 2; i <= n; ++i) {
                mu = std::fabs(d[i]) * (mu / (mu + std::fabs(e[i - 1])));
                sminoa = std::min(sminoa, mu);
                if (sminoa == 0) break;
            }
        }
        sminoa = sminoa / std::sqrt(R(n));
        const R thresh = std::max(tol * sminoa, R(maxitr) * (R(n) * (R(n) * unfl)));

        const int maxitdivn = maxitr * n;
        int iterdivn = 0, iter = -1, oldll = -1, oldm = -1, idir = 0;
        int m = n;
        R sminl = 0;
        bool failed = false;
        while (m > 1) {
            if (iter >= n) {
                iter -= n;
                ++iterdivn;
                if (iterdivn >= maxitdivn) {
                    failed = true;
                    break;
                }
            }
            // the diagonal block to work on: ll ... m
            smax = std::fabs(d[m]);
            int ll = 0;
            for (int lll = 1; lll <= m - 1; ++lll) {
                const int l = m - lll;
                const R abss = std::fabs(d[l]), abse = std::fabs(e[l]);
                if (abse <= thresh) {
                    ll = l;
                    break;
                }
                smax = std::max(smax, std::max(abss, abse));
            }
            if (ll > 0) {
                e[ll] = 0;
                if (ll == m - 1) {
                    // the bottom value has converged
                    m -= 1;
                    continue;
                }
            }
            ++ll;
            // e(ll) ... e(m - 1) are non-zero, e(ll - 1) is zero
            if (ll == m - 1) {
                R sigmn, sigmx, sinr, cosr, sinl, cosl;
                lasv2(d[m - 1], e[m - 1], d[m], sigmn, sigmx, sinr, cosr, sinl, cosl);
                d[m - 1] = sigmx;
                e[m - 1] = 0;
                d[m] = sigmn;
                if (ncvt > 0) batch.lasr('L', 'F', 2, ncvt, &cosr, &sinr, rowsOfVt(m - 1), ldvt);
                if (nru > 0) batch.lasr('R', 'F', nru, 2, &cosl, &sinl, columnsOfU(m - 1), ldu);
                m -= 2;
                continue;
            }
            // a new block: chase the bulge from the larger end towards the smaller
            if (ll > oldm || m < oldll) idir = std::fabs(d[ll]) >= std::fabs(d[m]) ? 1 : 2;

            // convergence tests
            bool split = false;
            if (idir == 1) {
                if (std::fabs(e[m - 1]) <= std::fabs(tol) * std::fabs(d[m])) {
                    e[m - 1] = 0;
                    continue;
                }
                R mu = std::fabs(d[ll]);
                sminl = mu;
                for (int lll = ll; lll <= m - 1; ++lll) {
                    if (std::fabs(e[lll]) <= tol * mu) {
                        e[lll] = 0;
                        split = true;
                        break;
                    }
                    mu = std::fabs(d[lll + 1]) * (mu / (mu + std::fabs(e[lll])));
                    sminl = std::min(sminl, mu);
                }
            } else {
                if (std::fabs(e[ll]) <= std::fabs(tol) * std::fabs(d[ll])) {
                    e[ll] = 0;
                    continue;
                }
                R mu = std::fabs(d[m]);
                sminl = mu;
                for (int lll = m - 1; lll >= ll; --lll) {
                    if (std::fabs(e[lll]) <= tol * mu) {
                        e[lll] = 0;
                        split = true;
                        break;
                    }
                    mu = std::fabs(d[lll]) * (mu / (mu + std::fabs(e[lll])));
                    sminl = std::min(sminl, mu);
                }
            }
            if (split) continue;
            oldll = ll;
            oldm = m;

            // the shift; zero where a shift would spoil the relative accuracy
            R shift;
            if (R(n) * tol * (sminl / smax) <= std::max(eps, R(0.01) * tol)) {
                shift = 0;
            } else {
                R sll, r;
                if (idir == 1) {
                    sll = std::fabs(d[ll]);
                    las2(d[m - 1], e[m - 1], d[m], shift, r);
                } else {
                    sll = std::fabs(d[m]);
                    las2(d[ll], e[ll], d[ll + 1], shift, r);
                }
                if (sll > 0 && (shift / sll) * (shift / sll) < eps) shift = 0;
            }
            iter += m - ll;
            const int len = m - ll + 1;

            if (shift == 0) {
                if (idir == 1) {
                    R cs = 1, oldcs = 1, sn = 0, oldsn = 0, r;
                    for (int i = ll; i <= m - 1; ++i) {
                        lartg(d[i] * cs, e[i], cs, sn, r);
                        if (i > ll) e[i - 1] = oldsn * r;
                        lartg(oldcs * r, d[i + 1] * sn, oldcs, oldsn, d[i]);
                        work[i - ll + 1] = cs;
                        work[i - ll + 1 + nm1] = sn;
                        work[i - ll + 1 + nm12] = oldcs;
                        work[i - ll + 1 + nm13] = oldsn;
                    }
                    const R h = d[m] * cs;
                    d[m] = h * oldcs;
                    e[m - 1] = h * oldsn;
                    if (ncvt > 0)
                        batch.lasr('L', 'F', len, ncvt, &work[1], &work[n], rowsOfVt(ll), ldvt);
                    if (nru > 0)
                        batch.lasr('R', 'F', nru, len, &work[nm12 + 1], &work[nm13 + 1],
                                   columnsOfU(ll), ldu);
                    if (std::fabs(e[m - 1]) <= thresh) e[m - 1] = 0;
                } else {
                    R cs = 1, oldcs = 1, sn = 0, oldsn = 0, r;
                    for (int i = m; i >= ll + 1; --i) {
                        lartg(d[i] * cs, e[i - 1], cs, sn, r);
                        if (i < m) e[i] = oldsn * r;
                        lartg(oldcs * r, d[i - 1] * sn, oldcs, oldsn, d[i]);
                        work[i - ll] = cs;
                        work[i - ll + nm1] = -sn;
                        work[i - ll + nm12] = oldcs;
                        work[i - ll + nm13] = -oldsn;
                    }
                    const R h = d[ll] * cs;
                    d[ll] = h * oldcs;
                    e[ll] = h * oldsn;
                    if (ncvt > 0)
                        batch.lasr('L', 'B', len, ncvt, &work[nm12 + 1], &work[nm13 + 1],
                                   rowsOfVt(ll), ldvt);
                    if (nru > 0)
                        batch.lasr('R', 'B', nru, len, &work[1], &work[n], columnsOfU(ll), ldu);
                    if (std::fabs(e[ll]) <= thresh) e[ll] = 0;
                }
            } else {
                if (idir == 1) {
                    R f = (std::fabs(d[ll]) - shift) * (std::copysign(R(1), d[ll]) + shift / d[ll]);
                    R g = e[ll];
                    for (int i = ll; i <= m - 1; ++i) {
                        R cosr, sinr, cosl, sinl, r;
                        lartg(f, g, cosr, sinr, r);
                        if (i > ll) e[i - 1] = r;
                        f = cosr * d[i] + sinr * e[i];
                        e[i] = cosr * e[i] - sinr * d[i];
                        g = sinr * d[i + 1];
                        d[i + 1] = cosr * d[i + 1];
                        lartg(f, g, cosl, sinl, r);
                        d[i] = r;
                        f = cosl * e[i] + sinl * d[i + 1];
                        d[i + 1] = cosl * d[i + 1] - sinl * e[i];
                        if (i < m - 1) {
                            g = sinl * e[i + 1];
                            e[i + 1] = cosl * e[i + 1];
                        }
                        work[i - ll + 1] = cosr;
                        work[i - ll + 1 + nm1] = sinr;
                        work[i - ll + 1 + nm12] = cosl;
                        work[i - ll + 1 + nm13] = sinl;
                    }
                    e[m - 1] = f;
                    if (ncvt > 0)
                        batch.lasr('L', 'F', len, ncvt, &work[1], &work[n], rowsOfVt(ll), ldvt);
                    if (nru > 0)
                        batch.lasr('R', 'F', nru, len, &work[nm12 + 1], &work[nm13 + 1],
                                   columnsOfU(ll), ldu);
                    if (std::fabs(e[m - 1]) <= thresh) e[m - 1] = 0;
                } else {
                    R f = (std::fabs(d[m]) - shift) * (std::copysign(R(1), d[m]) + shift / d[m]);
                    R g = e[m - 1];
                    for (int i = m; i >= ll + 1; --i) {
                        R cosr, sinr, cosl, sinl, r;
                        lartg(f, g, cosr, sinr, r);
                        if (i < m) e[i] = r;
                        f = cosr * d[i] + sinr * e[i - 1];
                        e[i - 1] = cosr * e[i - 1] - sinr * d[i];
                        g = sinr * d[i - 1];
                        d[i - 1] = cosr * d[i - 1];
                        lartg(f, g, cosl, sinl, r);
                        d[i] = r;
                        f = cosl * e[i - 1] + sinl * d[i - 1];
                        d[i - 1] = cosl * d[i - 1] - sinl * e[i - 1];
                        if (i > ll + 1) {
                            g = sinl * e[i - 2];
                            e[i - 2] = cosl * e[i - 2];
                        }
                        work[i - ll] = cosr;
                        work[i - ll + nm1] = -sinr;
                        work[i - ll + nm12] = cosl;
                        work[i - ll + nm13] = -sinl;
                    }
                    e[ll] = f;
                    if (std::fabs(e[ll]) <= thresh) e[ll] = 0;
                    if (ncvt > 0)
                        batch.lasr('L', 'B', len, ncvt, &work[nm12 + 1], &work[nm13 + 1],
                                   rowsOfVt(ll), ldvt);
                    if (nru > 0)
                        batch.lasr('R', 'B', nru, len, &work[1], &work[n], columnsOfU(ll), ldu);
                }
            }
        }
        if (failed) {
            for (int i = 1; i <= n - 1; ++i)
                if (e[i] != 0) ++info;
            batch.flush();
            return info;
        }
    }

    // all values converged: make them positive (the rows of VT change sign with them) ...
    std::vector<R> signs(size_t(n), R(1));
    bool negative = false;
    for (int i = 1; i <= n; ++i) {
        if (d[i] < 0) {
            d[i] = -d[i];
            signs[size_t(i - 1)] = -1;
            negative = true;
        }
    }
    if (negative && ncvt > 0) batch.scaleRows(n, ncvt, signs.data(), vt, ldvt);
    batch.flush();
    // ... and sort them into decreasing order with LAPACK's selection sort (one interchange per
    // position, n, n - 1, ..., 2), applied to the vectors as one sweep of interchanges.
    std::vector<int> ipiv(static_cast<size_t>(n));
    bool swapped = false;
    for (int k = 1; k <= n; ++k) ipiv[size_t(k - 1)] = k;
    for (int i = 1; i <= n - 1; ++i) {
        int isub = 1;
        R smin = d[1];
        for (int j = 2; j <= n + 1 - i; ++j) {
            if (d[j] <= smin) {
                isub = j;
                smin = d[j];
            }
        }
        if (isub != n + 1 - i) {
            d[isub] = d[n + 1 - i];
            d[n + 1 - i] = smin;
            ipiv[size_t(n - i)] = isub;
            swapped = true;
        }
    }
    if (swapped && n > 1) {
        if (ncvt > 0) applyRowInterchangesReverse(ncvt, vt, ldvt, 1, n, ipiv.data());
        if (nru > 0) applyColumnInterchangesReverse(nru, u, ldu, 1, n, ipiv.data());
    }
    return 0;
}

// bdsqr's algorithm on checked arguments, n >= 1.
template <typename T>
void bidiagonalSvd(const CallContext& ctx, bool lower, int n, int ncvt, int nru, ToRealT<T>* d,
                   ToRealT<T>* e, T* vt, int ldvt, T* u, int ldu) {
    using R = ToRealT<T>;
    std::vector<R> dh(static_cast<size_t>(n)), eh(size_t(std::max(n - 1, 1)), R(0));
    download(d, n, dh.data());
    download(e, n - 1, eh.data());
    int info;
    if (ncvt == 0 && nru == 0) {
        // no vectors: the host LAPACK's dqds path
        std::vector<R> work(size_t(4) * n);
        info = lapack::bdsqr<R>(lower ? 'L' : 'U', n, 0, 0, 0, dh.data(), eh.data(), nullptr, 1,
                                nullptr, 1, nullptr, 1, work.data());
        checkHostLapackInfo(info);
    } else {
        RotationBatch<T> batch(ctx, n);
        info = bidiagonalQr<T>(batch, lower, n, ncvt, nru, dh, eh, vt, ldvt, u, ldu);
    }
    upload(dh.data(), n, d);
    upload(eh.data(), n - 1, e);
    if (info > 0) raiseDataError(info);
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void bdsqr(const CallContext& ctx, char uplo, int n, int ncvt, int nru, int ncc, ToRealT<T>* d,
           ToRealT<T>* e, T* vt, int ldvt, T* u, int ldu, T* c, int ldc) {
    if (!bdsqrArguments(uplo, n, ncvt, nru, ncc, d, e, vt, ldvt, u, ldu, ldc)) return;
    (void)c;
    bidiagonalSvd<T>(ctx, uplo == 'L', n, ncvt, nru, d, e, vt, ldvt, u, ldu);
}

// ---- host interface -----------------------------------------------------------------------------
// d, e, VT and U are mirrored both ways; after a failure to converge they come back as they stand.

namespace host {

template <typename T>
CallResult bdsqr(const CallContext& ctx, char uplo, int n, int ncvt, int nru, int ncc,
                 ToRealT<T>* d, ToRealT<T>* e, T* vt, int ldvt, T* u, int ldu, T* c, int ldc) {
    if (!bdsqrArguments(uplo, n, ncvt, nru, ncc, d, e, vt, ldvt, u, ldu, ldc)) return {};
    (void)c;
    using R = ToRealT<T>;
    HostArrayMirror<R, T> D(ctx, n, 1, d, n, MirrorIn | MirrorOut);
    HostArrayMirror<R, T> E(ctx, n - 1, 1, e, std::max(n - 1, 1), MirrorIn | MirrorOut);
    HostArrayMirror<T> VT(ctx, n, ncvt, vt, ldvt, MirrorIn | MirrorOut);
    HostArrayMirror<T> U(ctx, nru, n, u, ldu, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& cc) {
            bidiagonalSvd<T>(cc, uplo == 'L', n, ncvt, nru, D.device(), E.device(), VT.device(),
                             VT.ld(), U.device(), U.ld());
        },
        D, E, VT, U);
}

}  // namespace host

#define ZULI_BDSQR_INSTANCES(T)                                                                    \
    template void bdsqr<T>(const CallContext&, char, int, int, int, int, ToRealT<T>*, ToRealT<T>*, \
                           T*, int, T*, int, T*, int);
ZULI_INSTANTIATE(ZULI_BDSQR_INSTANCES)
#undef ZULI_BDSQR_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSbdsqr zuliDbdsqr zuliCbdsqr zuliZbdsqr
// zuliDeviceSbdsqr zuliDeviceDbdsqr zuliDeviceCbdsqr zuliDeviceZbdsqr
ZULI_EXPORT(ALL, bdsqr,
            (char uplo, int n, int ncvt, int nru, int ncc, R* d, R* e, P* vt, int ldvt, P* u,
             int ldu, P* c, int ldc),
            (uplo, n, ncvt, nru, ncc, d, e, vt, ldvt, u, ldu, c, ldc))
