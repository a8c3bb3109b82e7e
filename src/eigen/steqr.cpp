// steqr.cpp - the eigenvalues of a real symmetric tridiagonal matrix T (diagonal d, off-diagonal
// e) by the implicit QL / QR iteration, ascending in d, and for compz 'V' / 'I' the eigenvectors
// through Z: 'I' Z = the eigenvectors of T, 'V' Z := Z times them (Z holding the Q of a reduction
// to tridiagonal form on entry). The results are LAPACK's steqr's.
//
// The iteration works on 2 n - 1 reals, O(n) per sweep; each sweep's rotations cost O(n^2) on Z.
// So the host runs the iteration, formula for formula LAPACK's (the splitting test, the scaling
// of a block near the over- or underflow limits, QL or QR by the ends of the block, Wilkinson's
// shift, the 30 n sweep limit), on a downloaded copy of d and e, and hands every sweep's
// rotations, and those of the 2 x 2 blocks, to a RotationBatch, which applies them to the
// columns of Z on the GPU (one lasr launch per sweep, the rotations uploaded in large pieces;
// the complex types get the same real rotations). 'I' first sets Z to the unit matrix on the
// device. At the end LAPACK's selection sort orders the values on the host and the columns of Z
// on the device in one sweep of interchanges; then d and e go back up.
//
// Without vectors (compz 'N') the host LAPACK's steqr runs on the downloaded d and e: O(n^2) on
// n-vectors.
//
// A failure to converge raises zuliDataError with LAPACK's info (the number of non-zero elements
// left in e); d, e and Z are left as they stand, the values unsorted.
#include "eigen/eigen.h"

#include "auxiliary/rotations.h"
#include "kernels/auxiliary_kernels.h"
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

// LAPACK's order.
bool steqrArguments(char& compz, int n, const void* d, const void* e, const void* z, int ldz) {
    compz = upperOption(compz);
    failIf(!isOneOf(compz, "NVI"), 1);
    failIf(n < 0, 2);
    failIf(ldz < 1 || (compz != 'N' && ldz < std::max(1, n)), 6);
    if (n == 0) return false;
    failIf(d == nullptr, 3);
    failIf(e == nullptr && n > 1, 4);
    failIf(z == nullptr && compz != 'N', 5);
    return true;
}

// sqrt(x^2 + y^2) without needless overflow, as LAPACK's lapy2 (a NaN argument is returned).
template <typename R>
R lapy2(R x, R y) {
    if (std::isnan(x)) return x;
    if (std::isnan(y)) return y;
    const R xa = std::fabs(x), ya = std::fabs(y);
    const R w = std::max(xa, ya), z = std::min(xa, ya);
    if (z == 0 || w > std::numeric_limits<R>::max()) return w;
    return w * std::sqrt(1 + (z / w) * (z / w));
}

// The largest |element| of the tridiagonal (d, e) of order n, NaN if one is (LAPACK's lanst 'M').
template <typename R>
R largestElement(int n, const R* d, const R* e) {
    R anorm = 0;
    for (int i = 0; i < n; ++i) {
        const R v = std::fabs(d[i]);
        if (anorm < v || std::isnan(v)) anorm = v;
    }
    for (int i = 0; i + 1 < n; ++i) {
        const R v = std::fabs(e[i]);
        if (anorm < v || std::isnan(v)) anorm = v;
    }
    return anorm;
}

// LAPACK's steqr iteration with eigenvectors on the host copy (d, e), n >= 2; the rotations go
// to `batch` for the n x n device matrix z; the sort is queued after a flush. Returns LAPACK's
// info.
template <typename T>
int tridiagonalQl(RotationBatch<T>& batch, int n, std::vector<ToRealT<T>>& dv,
                  std::vector<ToRealT<T>>& ev, T* z, int ldz) {
    using R = ToRealT<T>;
    using namespace rotations;
    R* d = dv.data() - 1;  // 1-based, as the iteration is written
    R* e = ev.data() - 1;
    std::vector<R> workv(size_t(2) * n);
    R* work = workv.data() - 1;  // work(1 ... n - 1) cosines, work(n ... 2 n - 2) sines
    const int maxit = 30;
    const R eps = lamchEps<R>(), eps2 = eps * eps;
    const R safmin = std::numeric_limits<R>::min(), safmax = 1 / safmin;
    const R ssfmax = std::sqrt(safmax) / 3, ssfmin = std::sqrt(safmin) / eps2;
    auto columnsOfZ = [&](int l) { return at(z, ldz, 0, l - 1); };
    // LAPACK's lascl 'G' on a piece of d or e (a column of `rows` reals).
    auto scale = [&](R cfrom, R cto, int rows, R* x) {
        checkHostLapackInfo(lapack::lascl<R>('G', 0, 0, cfrom, cto, rows, 1, x, n));
    };

    const int nmaxit = n * maxit;
    int jtot = 0;
    int l1 = 1;
    const int nm1 = n - 1;
    while (l1 <= n) {
        if (l1 > 1) e[l1 - 1] = 0;
        // the end m of the unreduced block from l1
        int m = n;
        for (int mm = l1; mm <= nm1; ++mm) {
            const R tst = std::fabs(e[mm]);
            if (tst == 0) {
                m = mm;
                break;
            }
            if (tst <= (std::sqrt(std::fabs(d[mm])) * std::sqrt(std::fabs(d[mm + 1]))) * eps) {
                e[mm] = 0;
                m = mm;
                break;
            }
        }
        int l = l1;
        const int lsv = l;
        int lend = m;
        const int lendsv = lend;
        l1 = m + 1;
        if (lend == l) continue;

        // scale the block l ... lend
        const R anorm = largestElement(lend - l + 1, &d[l], &e[l]);
        int iscale = 0;
        if (anorm == 0) continue;
        if (anorm > ssfmax) {
            iscale = 1;
            scale(anorm, ssfmax, lend - l + 1, &d[l]);
            scale(anorm, ssfmax, lend - l, &e[l]);
        } else if (anorm < ssfmin) {
            iscale = 2;
            scale(anorm, ssfmin, lend - l + 1, &d[l]);
            scale(anorm, ssfmin, lend - l, &e[l]);
        }
        // QL or QR: from the end with the smaller diagonal element
        if (std::fabs(d[lend]) < std::fabs(d[l])) {
            lend = lsv;
            l = lendsv;
        }

        if (lend > l) {
            // QL iteration
            while (true) {
                int mm = lend;
                if (l != lend) {
                    for (int k = l; k <= lend - 1; ++k) {
                        const R tst = std::fabs(e[k]) * std::fabs(e[k]);
                        if (tst <= (eps2 * std::fabs(d[k])) * std::fabs(d[k + 1]) + safmin) {
                            mm = k;
                            break;
                        }
                    }
                }
                m = mm;
                if (m < lend) e[m] = 0;
                R p = d[l];
                if (m == l) {
                    // an eigenvalue
                    d[l] = p;
                    ++l;
                    if (l <= lend) continue;
                    break;
                }
                if (m == l + 1) {
                    R rt1, rt2, c, s;
                    laev2(d[l], e[l], d[l + 1], rt1, rt2, c, s);
                    batch.lasr('R', 'B', n, 2, &c, &s, columnsOfZ(l), ldz);
                    d[l] = rt1;
                    d[l + 1] = rt2;
                    e[l] = 0;
                    l += 2;
                    if (l <= lend) continue;
                    break;
                }
                if (jtot == nmaxit) break;
                ++jtot;
                // the shift
                R g = (d[l + 1] - p) / (2 * e[l]);
                R r = lapy2(g, R(1));
                g = d[m] - p + (e[l] / (g + std::copysign(r, g)));
                R s = 1, c = 1;
                p = 0;
                for (int i = m - 1; i >= l; --i) {
                    const R f = s * e[i], b = c * e[i];
                    lartg(g, f, c, s, r);
                    if (i != m - 1) e[i + 1] = r;
                    g = d[i + 1] - p;
                    r = (d[i] - g) * s + 2 * c * b;
                    p = s * r;
                    d[i + 1] = g + p;
                    g = c * r - b;
                    work[i] = c;
                    work[n - 1 + i] = -s;
                }
                batch.lasr('R', 'B', n, m - l + 1, &work[l], &work[n - 1 + l], columnsOfZ(l), ldz);
                d[l] = d[l] - p;
                e[l] = g;
            }
        } else {
            // QR iteration
            while (true) {
                int mm = lend;
                if (l != lend) {
                    for (int k = l; k >= lend + 1; --k) {
                        const R tst = std::fabs(e[k - 1]) * std::fabs(e[k - 1]);
                        if (tst <= (eps2 * std::fabs(d[k])) * std::fabs(d[k - 1]) + safmin) {
                            mm = k;
                            break;
                        }
                    }
                }
                m = mm;
                if (m > lend) e[m - 1] = 0;
                R p = d[l];
                if (m == l) {
                    d[l] = p;
                    --l;
                    if (l >= lend) continue;
                    break;
                }
                if (m == l - 1) {
                    R rt1, rt2, c, s;
                    laev2(d[l - 1], e[l - 1], d[l], rt1, rt2, c, s);
                    batch.lasr('R', 'F', n, 2, &c, &s, columnsOfZ(l - 1), ldz);
                    d[l - 1] = rt1;
                    d[l] = rt2;
                    e[l - 1] = 0;
                    l -= 2;
                    if (l >= lend) continue;
                    break;
                }
                if (jtot == nmaxit) break;
                ++jtot;
                R g = (d[l - 1] - p) / (2 * e[l - 1]);
                R r = lapy2(g, R(1));
                g = d[m] - p + (e[l - 1] / (g + std::copysign(r, g)));
                R s = 1, c = 1;
                p = 0;
                for (int i = m; i <= l - 1; ++i) {
                    const R f = s * e[i], b = c * e[i];
                    lartg(g, f, c, s, r);
                    if (i != m) e[i - 1] = r;
                    g = d[i] - p;
                    r = (d[i + 1] - g) * s + 2 * c * b;
                    p = s * r;
                    d[i] = g + p;
                    g = c * r - b;
                    work[i] = c;
                    work[n - 1 + i] = s;
                }
                batch.lasr('R', 'F', n, l - m + 1, &work[m], &work[n - 1 + m], columnsOfZ(m), ldz);
                d[l] = d[l] - p;
                e[l - 1] = g;
            }
        }
        // undo the scaling
        if (iscale == 1) {
            scale(ssfmax, anorm, lendsv - lsv + 1, &d[lsv]);
            scale(ssfmax, anorm, lendsv - lsv, &e[lsv]);
        } else if (iscale == 2) {
            scale(ssfmin, anorm, lendsv - lsv + 1, &d[lsv]);
            scale(ssfmin, anorm, lendsv - lsv, &e[lsv]);
        }
        if (jtot >= nmaxit) {
            // no convergence within 30 n sweeps: LAPACK counts the non-zero e and stops
            int info = 0;
            for (int i = 1; i <= n - 1; ++i)
                if (e[i] != 0) ++info;
            batch.flush();
            return info;
        }
    }
    batch.flush();

    // selection sort into ascending order, one interchange per position, 1 ... n - 1, applied to
    // the columns of Z as one sweep of interchanges
    std::vector<int> ipiv(static_cast<size_t>(n));
    bool swapped = false;
    for (int k = 1; k <= n; ++k) ipiv[size_t(k - 1)] = k;
    for (int ii = 2; ii <= n; ++ii) {
        const int i = ii - 1;
        int k = i;
        R p = d[i];
        for (int j = ii; j <= n; ++j) {
            if (d[j] < p) {
                k = j;
                p = d[j];
            }
        }
        if (k != i) {
            d[k] = d[i];
            d[i] = p;
            ipiv[size_t(i - 1)] = k;
            swapped = true;
        }
    }
    if (swapped) applyColumnInterchanges(n, z, ldz, 1, n, ipiv.data());
    return 0;
}

// steqr's algorithm on checked arguments, n >= 1.
template <typename T>
void tridiagonalEigen(const CallContext& ctx, char compz, int n, ToRealT<T>* d, ToRealT<T>* e, T* z,
                      int ldz) {
    using R = ToRealT<T>;
    if (compz == 'I') launchLaset<T>('A', n, n, T(0), T(1), z, ldz);
    if (n == 1) return;
    std::vector<R> dh(static_cast<size_t>(n)), eh(size_t(n - 1));
    download(d, n, dh.data());
    download(e, n - 1, eh.data());
    int info;
    if (compz == 'N') {
        // no vectors: the host LAPACK's iteration on the values alone
        std::vector<R> work(size_t(2) * n);
        info = lapack::steqr<R>('N', n, dh.data(), eh.data(), nullptr, 1, work.data());
        checkHostLapackInfo(info);
    } else {
        RotationBatch<T> batch(ctx, n);
        info = tridiagonalQl<T>(batch, n, dh, eh, z, ldz);
    }
    upload(dh.data(), n, d);
    upload(eh.data(), n - 1, e);
    if (info > 0) raiseDataError(info);
}

}  // namespace

// ---- device interface ---------------------------------------------------------------------------

template <typename T>
void steqr(const CallContext& ctx, char compz, int n, ToRealT<T>* d, ToRealT<T>* e, T* z, int ldz) {
    if (!steqrArguments(compz, n, d, e, z, ldz)) return;
    tridiagonalEigen<T>(ctx, compz, n, d, e, z, ldz);
}

// ---- host interface -----------------------------------------------------------------------------
// d and e are mirrored both ways, Z both ways for 'V', out for 'I', not at all for 'N'. After a
// failure to converge they come back as they stand.

namespace host {

template <typename T>
CallResult steqr(const CallContext& ctx, char compz, int n, ToRealT<T>* d, ToRealT<T>* e, T* z,
                 int ldz) {
    if (!steqrArguments(compz, n, d, e, z, ldz)) return {};
    using R = ToRealT<T>;
    const int zn = compz == 'N' ? 0 : n;
    HostArrayMirror<R, T> D(ctx, n, 1, d, n, MirrorIn | MirrorOut);
    HostArrayMirror<R, T> E(ctx, n - 1, 1, e, std::max(n - 1, 1), MirrorIn | MirrorOut);
    HostArrayMirror<T> Z(ctx, zn, zn, z, ldz, compz == 'V' ? MirrorIn | MirrorOut : MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            tridiagonalEigen<T>(c, compz, n, D.device(), E.device(), Z.device(), Z.ld());
        },
        D, E, Z);
}

}  // namespace host

#define ZULI_STEQR_INSTANCES(T) \
    template void steqr<T>(const CallContext&, char, int, ToRealT<T>*, ToRealT<T>*, T*, int);
ZULI_INSTANTIATE(ZULI_STEQR_INSTANCES)
#undef ZULI_STEQR_INSTANCES

}  // namespace zuli

// ---- exported entry points ----------------------------------------------------------------------

// zuliSsteqr zuliDsteqr zuliCsteqr zuliZsteqr
// zuliDeviceSsteqr zuliDeviceDsteqr zuliDeviceCsteqr zuliDeviceZsteqr
ZULI_EXPORT(ALL, steqr, (char compz, int n, R* d, R* e, P* z, int ldz), (compz, n, d, e, z, ldz))
