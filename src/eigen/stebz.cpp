// stebz.cpp - selected eigenvalues of a real symmetric tridiagonal matrix by bisection (stebz,
// real types only), with LAPACK's stebz results: the eigenvalues in w, the index of the split-off
// block each belongs to in iblock, the ends of the blocks in isplit, their counts in m and
// nsplit, and LAPACK's info (1: some eigenvalues did not converge, 2: range 'A' or 'I' found
// fewer than it should, 3: both, 4: range 'I' could not find the wanted interval).
//
// The work is O(n) per eigenvalue and independent across eigenvalues. The host LAPACK's stebz
// runs on the downloaded d and e (only vectors cross the bus: d and e down, w, iblock and isplit
// up).
#include "eigen/eigen.h"

#include "eigen/host_prefix.h"
#include "runtime/arguments.h"
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/host_lapack.h"

#include <algorithm>
#include <cstdint>
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

template <typename E>
void download(const E* device, int count, std::vector<E>& host) {
    host.resize(size_t(std::max(1, count)));
    if (count > 0)
        cudalib::checkCuda(
            cudaMemcpy(host.data(), device, size_t(count) * sizeof(E), cudaMemcpyDeviceToHost));
}

template <typename E>
void upload(const std::vector<E>& host, int count, E* device) {
    if (count > 0)
        cudalib::checkCuda(
            cudaMemcpy(device, host.data(), size_t(count) * sizeof(E), cudaMemcpyHostToDevice));
}

// The host LAPACK's stebz on the downloaded tridiagonal; its results go up before a positive
// info is raised, so that they reach the caller with it.
template <typename R>
void bisectOnHost(char range, char order, int n, R vl, R vu, int il, int iu, R abstol, const R* d,
                  const R* e, int* m, int* nsplit, R* w, int* iblock, int* isplit) {
    const auto size = static_cast<size_t>(n);
    std::vector<R> hd, he, hw(size), work(4 * size);
    std::vector<int> hb(size), hs(size), iwork(3 * size);
    download(d, n, hd);
    download(e, n - 1, he);
    const int info =
        lapack::stebz(range, order, n, vl, vu, il, iu, abstol, hd.data(), he.data(), m, nsplit,
                      hw.data(), hb.data(), hs.data(), work.data(), iwork.data());
    if (info < 0) checkHostLapackInfo(info);
    upload(hw, *m, w);
    upload(hb, *m, iblock);
    upload(hs, *nsplit, isplit);
    if (info > 0) raiseDataError(info);
}

// stebz's algorithm on checked arguments of a non-empty problem.
template <typename R>
void bisect(const CallContext&, char range, char order, int n, R vl, R vu, int il, int iu, R abstol,
            const R* d, const R* e, int* m, int* nsplit, R* w, int* iblock, int* isplit) {
    bisectOnHost(range, order, n, vl, vu, il, iu, abstol, d, e, m, nsplit, w, iblock, isplit);
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
