// Bisection on a tridiagonal matrix (stebz) and the selected-eigenvalue driver (syevx / heevx)
// against the host LAPACK's: for stebz the counts (m, nsplit, isplit, iblock, info) exactly and the
// eigenvalues within tolerance, every range and order, split, graded and clustered matrices; for
// syevx the eigenvalues, m and ifail, the residual and orthonormality of the vectors. Argument
// tables of both.
#include "solvers/solver_support.h"

#include <cmath>
#include <limits>

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

template <typename R>
zuliStatus stebz(Api api, char range, char order, int n, R vl, R vu, int il, int iu, R abstol,
                 const R* d, const R* e, int* m, int* nsplit, R* w, int* iblock, int* isplit) {
    return (api == Api::Host ? pick<R>(zuliSstebz, zuliDstebz, nullptr, nullptr)
                             : pick<R>(zuliDeviceSstebz, zuliDeviceDstebz, nullptr, nullptr))(
        range, order, n, vl, vu, il, iu, abstol, d, e, m, nsplit, w, iblock, isplit);
}

// The tridiagonal matrices of the tables.
enum class Kind {
    Random,      // d, e in [-1, 1]
    Split,       // random, e zero in three places and negligible in one
    Singletons,  // blocks of order 1 between random ones
    Wilkinson,   // d = |i - (n - 1) / 2|, e = 1: pairs of eigenvalues closer than any tolerance
    Graded,      // d and e falling by 10^(-12 / n) per row
    NotANumber,  // a NaN on the diagonal
};

template <typename R>
void tridiagonal(Kind kind, int n, std::mt19937& rng, std::vector<R>& d, std::vector<R>& e) {
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    d.assign(size_t(n), R(0));
    e.assign(size_t(std::max(1, n - 1)), R(0));
    for (int i = 0; i < n; ++i) {
        d[size_t(i)] = R(u(rng));
        if (i + 1 < n) e[size_t(i)] = R(u(rng));
    }
    auto cut = [&](int i, R v) {
        if (i >= 0 && i + 1 < n) e[size_t(i)] = v;
    };
    switch (kind) {
        case Kind::Random:
            break;
        case Kind::Split:
            cut(n / 5, 0), cut(n / 2, R(1e-20)), cut(n / 2 + 3, 0), cut(n - 2, 0);
            break;
        case Kind::Singletons:
            for (int i = 1; i < n - 1; i += 3) cut(i, 0), cut(i + 1, 0);
            break;
        case Kind::Wilkinson:
            for (int i = 0; i < n; ++i) d[size_t(i)] = R(std::fabs(i - (n - 1) / 2.0));
            for (int i = 0; i + 1 < n; ++i) e[size_t(i)] = R(1);
            break;
        case Kind::Graded:
            for (int i = 0; i < n; ++i) {
                const double g = std::pow(10.0, -12.0 * i / n);
                d[size_t(i)] = R(d[size_t(i)] * g);
                if (i + 1 < n) e[size_t(i)] = R(e[size_t(i)] * g);
            }
            break;
        case Kind::NotANumber:
            d[size_t(n / 2)] = std::numeric_limits<R>::quiet_NaN();
            break;
    }
}

// A point between the k-th and (k+1)-th of the ascending eigenvalues ev (0-based k; k = -1 below
// all), moved up to the next gap of at least 1e-3 of the spread, so that no rounding decides
// which side an eigenvalue lies on.
template <typename R>
R between(const std::vector<R>& ev, int k) {
    const int n = int(ev.size());
    const double spread = double(ev.back() - ev.front()) + 1;
    if (k < 0) return R(ev.front() - spread);
    for (; k + 1 < n; ++k)
        if (double(ev[size_t(k + 1)] - ev[size_t(k)]) > 1e-3 * spread)
            return R((ev[size_t(k)] + ev[size_t(k + 1)]) / 2);
    return R(ev.back() + spread);
}

template <typename R>
class StebzTyped : public SolverTyped<R> {};
using RealPrecisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(StebzTyped, RealPrecisions);

// Every range and order against the host LAPACK's stebz on the same tridiagonal, through both
// interfaces: info, m, nsplit, isplit and iblock exactly (the counts decide them: the range ends
// lie in gaps of the spectrum), the eigenvalues within a few rounding units of |T|, and the
// caller's w and iblock past m untouched.
TYPED_TEST(StebzTyped, MatchesLapackForEveryRangeAndOrder) {
    using R = TypeParam;
    struct Case {
        Kind kind;
        int n;
    } cases[] = {{Kind::Random, 1},  {Kind::Random, 2},      {Kind::Random, 40},
                 {Kind::Split, 33},  {Kind::Singletons, 20}, {Kind::Wilkinson, 21},
                 {Kind::Graded, 30}, {Kind::NotANumber, 9},  {Kind::Random, 300}};
    int dataErrors = 0;
    for (const Case& c : cases) {
        const int n = c.n;
        std::vector<R> d, e;
        tridiagonal(c.kind, n, this->rng, d, e);
        // All eigenvalues ascending, to place the range ends.
        std::vector<R> ev = d, scratch = e;
        if (c.kind != Kind::NotANumber) {
            ASSERT_EQ(lapack::sterf(n, ev.data(), scratch.data()), 0);
        }
        double norm = 0;
        for (int i = 0; i < n; ++i)
            norm = std::max(norm, std::fabs(double(d[size_t(i)])) +
                                      (i > 0 ? std::fabs(double(e[size_t(i - 1)])) : 0) +
                                      (i + 1 < n ? std::fabs(double(e[size_t(i)])) : 0));
        struct Range {
            char range;
            R vl, vu;
            int il, iu;
        };
        std::vector<Range> ranges = {{'A', 0, 0, 0, 0}, {'I', 0, 0, 1, n}, {'I', 0, 0, n, n}};
        if (n > 2) {
            ranges.push_back({'I', 0, 0, n / 4 + 1, 3 * n / 4});
            if (c.kind != Kind::NotANumber) {
                // (Graded spectra have few wide gaps: both ends may fall in the same one.)
                for (int lo : {n / 3 - 1, -1}) {
                    const R vl = between(ev, lo), vu = between(ev, lo + n / 2);
                    if (vl < vu) ranges.push_back({'V', vl, vu, 0, 0});
                }
            }
        }
        for (const Range& r : ranges)
            for (char order : {'B', 'E'})
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << "kind " << int(c.kind) << " n " << n << " range " << r.range
                                 << " [" << r.vl << ", " << r.vu << "] [" << r.il << ", " << r.iu
                                 << "] order " << order << " " << blas_test::apiName(api));
                    const size_t size = size_t(n);
                    std::vector<R> ww(size), work(4 * size), gw(size, R(7));
                    std::vector<int> wb(size), ws(size), iwork(3 * size), gb(size, -7),
                        gs(size, -7);
                    int wm = -1, wn = -1, gm = -1, gn = -1;
                    const int info = lapack::stebz(r.range, order, n, r.vl, r.vu, r.il, r.iu, R(0),
                                                   d.data(), e.data(), &wm, &wn, ww.data(),
                                                   wb.data(), ws.data(), work.data(), iwork.data());
                    ASSERT_GE(info, 0);
                    dataErrors += info > 0;
                    {
                        DeviceArrays dev(api);
                        const zuliStatus s =
                            stebz(api, r.range, order, n, r.vl, r.vu, r.il, r.iu, R(0), dev(d),
                                  dev(e), &gm, &gn, dev(gw), dev(gb), dev(gs));
                        EXPECT_EQ(s, info == 0 ? zuliNoError : zuliDataError);
                        EXPECT_EQ(zuliGetErrorInfo(), info);
                        dev.download();
                    }
                    ASSERT_EQ(gm, wm);
                    ASSERT_EQ(gn, wn);
                    for (int i = 0; i < wn; ++i) EXPECT_EQ(gs[size_t(i)], ws[size_t(i)]) << i;
                    for (int i = 0; i < wm; ++i) {
                        EXPECT_EQ(gb[size_t(i)], wb[size_t(i)]) << i;
                        if (c.kind != Kind::NotANumber) {
                            EXPECT_LE(std::fabs(double(gw[size_t(i)] - ww[size_t(i)])),
                                      8 * norm * epsilon<R>())
                                << i;
                        }
                    }
                    for (int i = wm; i < n; ++i) {
                        EXPECT_EQ(gw[size_t(i)], R(7));
                        EXPECT_EQ(gb[size_t(i)], -7);
                    }
                    for (int i = wn; i < n; ++i) EXPECT_EQ(gs[size_t(i)], -7);
                }
    }
    EXPECT_GT(dataErrors, 0) << "the NaN should have given LAPACK's info 4 for range 'I'";
}

// The argument checks in LAPACK's order, then the pointers; n = 0 returns m = nsplit = 0 with
// null arrays, doing no work.
TYPED_TEST(StebzTyped, ArgumentTable) {
    using R = TypeParam;
    std::vector<R> d(4, R(1)), e(4, R(0.5)), w(4);
    std::vector<int> b(4), s(4);
    int m = 0, ns = 0;
    R *pd = d.data(), *pe = e.data(), *pw = w.data();
    int *pb = b.data(), *ps = s.data();
    struct Row {
        char range, order;
        int n;
        R vl, vu;
        int il, iu;
        R *d, *e;
        int *m, *ns;
        R* w;
        int *b, *s;
        int info;
    } rows[] = {
        {'X', 'B', 4, 0, 1, 1, 1, pd, pe, &m, &ns, pw, pb, ps, -1},
        {'A', 'X', 4, 0, 1, 1, 1, pd, pe, &m, &ns, pw, pb, ps, -2},
        {'a', 'e', -1, 0, 1, 1, 1, pd, pe, &m, &ns, pw, pb, ps, -3},
        {'V', 'B', 4, 1, 1, 1, 1, pd, pe, &m, &ns, pw, pb, ps, -5},
        {'v', 'B', 4, 0, 1, 0, 9, pd, pe, &m, &ns, pw, pb, ps, 0},  // il, iu unread for 'V'
        {'I', 'B', 4, 0, 0, 0, 1, pd, pe, &m, &ns, pw, pb, ps, -6},
        {'I', 'B', 4, 0, 0, 5, 5, pd, pe, &m, &ns, pw, pb, ps, -6},
        {'I', 'B', 0, 0, 0, 1, 0, nullptr, nullptr, &m, &ns, nullptr, nullptr, nullptr, 0},
        {'i', 'B', 0, 0, 0, 2, 0, pd, pe, &m, &ns, pw, pb, ps, -6},
        {'I', 'B', 4, 0, 0, 3, 2, pd, pe, &m, &ns, pw, pb, ps, -7},
        {'I', 'B', 4, 0, 0, 3, 5, pd, pe, &m, &ns, pw, pb, ps, -7},
        {'A', 'B', 4, 0, 0, 0, 0, nullptr, pe, &m, &ns, pw, pb, ps, -9},
        {'A', 'B', 4, 0, 0, 0, 0, pd, nullptr, &m, &ns, pw, pb, ps, -10},
        {'A', 'B', 1, 0, 0, 0, 0, pd, nullptr, &m, &ns, pw, pb, ps, 0},
        {'A', 'B', 0, 0, 0, 0, 0, pd, pe, nullptr, &ns, pw, pb, ps, -11},
        {'A', 'B', 4, 0, 0, 0, 0, pd, pe, &m, nullptr, pw, pb, ps, -12},
        {'A', 'B', 4, 0, 0, 0, 0, pd, pe, &m, &ns, nullptr, pb, ps, -13},
        {'A', 'B', 4, 0, 0, 0, 0, pd, pe, &m, &ns, pw, nullptr, ps, -14},
        {'A', 'B', 4, 0, 0, 0, 0, pd, pe, &m, &ns, pw, pb, nullptr, -15},
    };
    for (const Row& r : rows)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << r.range << r.order << " n " << r.n << " info "
                                              << r.info << " " << blas_test::apiName(api));
            DeviceArrays dev(api);
            R *dd = dev(r.d, 4), *de = dev(r.e, 4), *dw = dev(r.w, 4);
            int *db = dev(r.b, 4), *ds = dev(r.s, 4);
            m = ns = -1;
            zuliEmuResetCounters();
            EXPECT_EQ(stebz(api, r.range, r.order, r.n, r.vl, r.vu, r.il, r.iu, R(0), dd, de, r.m,
                            r.ns, dw, db, ds),
                      r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            if (r.info == 0 && r.n == 0) {
                EXPECT_EQ(m, 0);
                EXPECT_EQ(ns, 0);
                blas_test::expectNoWork();
            }
            if (r.info == 0 && r.n > 0) {
                EXPECT_GT(m, 0);
            }
        }
}

}  // namespace
