// test_householder.cpp - the reflector and rotation routines: larfg and larfb against the host
// LAPACK, lasr against the host BLAS's rot applied rotation by rotation (LAPACK's lasr computes
// exactly those products), lar2v, largv and lartv against their defining formulas evaluated in
// long double (the host LAPACK has them, but lapack.h declares no prototype for them); their
// argument tables and edge cases, in every precision through both interfaces.
#include "solvers/solver_support.h"

#include "argument_tables.h"
#include "runtime/host_lapack.h"

#include <complex>
#include <cstring>

namespace {

using namespace solver_test;
using blas_test::pub;
using kernel_tests::expectInfos;
using Wide = std::complex<long double>;

template <typename T>
class HouseholderTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(HouseholderTyped, AllPrecisions);

template <typename T>
Wide wide(const T& v) {
    if constexpr (zuli::IsComplexV<T>)
        return {v.re, v.im};
    else
        return {v, 0};
}

// |got - want| in units of eps * scale (scale: the size of the values the result came from; at
// least the smallest normal number, the precision of a subnormal result).
template <typename T>
double ulps(const T& got, const Wide& want, double scale) {
    const double floor = std::numeric_limits<Real<T>>::min();
    return double(std::abs(wide(got) - want)) / (std::max(scale, floor) * epsilon<T>());
}

// n elements with increment inc in a buffer of random values; the elements between the strides
// must come back as they were.
template <typename E>
struct Strided {
    int n, inc;
    std::vector<E> data, before;
    Strided(int count, int increment, std::mt19937& rng)
        : n(count), inc(increment), data(size_t(std::max(1, (count - 1) * increment + 1))) {
        std::uniform_real_distribution<double> u(-1.0, 1.0);
        for (E& v : data) v = blas_test::makeScalar<E>(u(rng), u(rng));
    }
    E& operator[](int i) { return data[size_t(i) * inc]; }
    void keep() { before = data; }
    void expectGapsKept() const {
        for (size_t k = 0; k < data.size(); ++k)
            if (inc == 0 || k % size_t(inc) != 0 || k / size_t(inc) >= size_t(n)) {
                EXPECT_EQ(std::memcmp(&data[k], &before[k], sizeof(E)), 0) << "element " << k;
            }
    }
};

// ---- larfg ---------------------------------------------------------------------------------

// beta, tau and v against LAPACK's larfg on the same alpha and x, for increments 1, 2 and 0
// (which leaves x out, as the BLAS calls in LAPACK's larfg do), n = 1 (x not used: valid or
// null), a zero x, many elements per thread, and scales whose norm overflows when squared or
// whose beta is below the safe minimum (LAPACK's rescaling loop). n = 0 touches nothing, not
// even tau (which LAPACK sets to 0), and launches nothing.
TYPED_TEST(HouseholderTyped, LarfgMatchesLapack) {
    using T = TypeParam;
    constexpr bool single = std::is_same_v<Real<T>, float>;
    // tiny: x and alpha are subnormal, and so is beta, which larfg then computes on rescaled data
    const double tiny = single ? 1e-41 : 1e-314, huge = single ? 1e36 : 1e300;
    struct Case {
        int n, incx;
        double scale;
        bool zeroX, nullX;
    } cases[] = {{0, 1, 1, false, false},    {2, 1, 1, false, false},   {5, 2, 1, false, false},
                 {7, 0, 1, false, false},    {1, 1, 1, false, false},   {1, 3, 1, false, true},
                 {6, 1, 1, true, false},     {300, 1, 1, false, false}, {70, 2, tiny, false, false},
                 {40, 1, huge, false, false}};
    for (const Case& c : cases)
        for (Api api : kApis) {
            SCOPED_TRACE(testing::Message() << "n " << c.n << " incx " << c.incx << " scale "
                                            << c.scale << " " << blas_test::apiName(api));
            Strided<T> x(std::max(c.n - 1, 1), std::max(c.incx, 1), this->rng);
            for (T& v : x.data) v = v * Real<T>(c.zeroX ? 0 : c.scale);
            x.keep();
            std::vector<T> alpha{blas_test::makeScalar<T>(0.7 * c.scale, -0.4 * c.scale)};
            std::vector<T> tau{T(Real<T>(7))};
            std::vector<T> wantX = x.data, wantAlpha = alpha, wantTau = tau;
            if (c.n > 0)
                zuli::lapack::larfg(c.n, wantAlpha.data(), wantX.data(), c.incx, wantTau.data());

            DeviceArrays d(api);
            T* px = c.nullX ? nullptr : d(x.data);
            T* palpha = d(alpha);
            T* ptau = d(tau);
            zuliEmuResetCounters();
            ASSERT_EQ(ENTRY(api, larfg)(c.n, pub(palpha), pub(px), c.incx, pub(ptau)), zuliNoError);
            if (kEmulated) {
                EXPECT_EQ(this->counters().launches, c.n > 0 ? 1u : 0u);
            }
            d.download();
            // (ulps counts a subnormal beta in units of the smallest normal number)
            EXPECT_LT(ulps(alpha[0], wide(wantAlpha[0]), magnitude(wantAlpha[0])), 30);
            EXPECT_LT(ulps(tau[0], wide(wantTau[0]), 1), 30);
            EXPECT_EQ(magnitude(wantTau[0]) == 0, magnitude(tau[0]) == 0);
            double vmax = 0;
            for (int i = 0; i < c.n - 1; ++i)
                vmax = std::max(vmax, magnitude(wantX[size_t(i) * c.incx]));
            for (int i = 0; c.incx > 0 && i < c.n - 1; ++i)
                EXPECT_LT(ulps(x[i], wide(wantX[size_t(i) * c.incx]), vmax), 30 + c.n) << i;
            if (c.incx == 0 || c.n <= 1) x.n = 0;  // nothing of x may change
            x.expectGapsKept();
        }
}

// ---- lasr ----------------------------------------------------------------------------------

// The four kernels of pivot 'V' against the host BLAS's rot applied to rows (side 'L') or
// columns ('R') k and k + 1 in the order of direct, one rotation being the identity (which
// lasr skips); a single column (side 'L', whose lda plays no part) and a single row (side 'R')
// are still rotated. Pivots 'T' and 'B' leave A bit for bit as it was and launch nothing.
TYPED_TEST(HouseholderTyped, LasrMatchesRotationsOfTheHostBlas) {
    using T = TypeParam;
    using R = Real<T>;
    struct Case {
        int m, n, lda;
    } cases[] = {{7, 5, 9}, {150, 130, 150}, {5, 1, 0}, {1, 6, 1}};
    const auto rot = pick<T>(cblas_srot, cblas_drot, cblas_csrot, cblas_zdrot);
    std::uniform_real_distribution<double> angle(-3.2, 3.2);
    for (const Case& c : cases)
        for (char side : {'L', 'R'})
            for (char direct : {'F', 'B'})
                for (Api api : kApis) {
                    const int z = side == 'L' ? c.m : c.n;
                    if (z < 2) continue;
                    SCOPED_TRACE(testing::Message() << side << direct << " " << c.m << "x" << c.n
                                                    << " " << blas_test::apiName(api));
                    std::vector<R> cs(size_t(z - 1)), sn(size_t(z - 1));
                    for (size_t k = 0; k < cs.size(); ++k) {
                        const double t = angle(this->rng);
                        cs[k] = R(std::cos(t));
                        sn[k] = R(std::sin(t));
                    }
                    cs[cs.size() / 2] = 1;
                    sn[sn.size() / 2] = 0;
                    Matrix<T> a(c.m, c.n, std::max(c.lda, c.m), this->rng);
                    Matrix<T> want = a;
                    for (int step = 0; step < z - 1; ++step) {
                        const int k = direct == 'F' ? step : z - 2 - step;
                        if (side == 'L')
                            rot(c.n, &want(k, 0), want.ld, &want(k + 1, 0), want.ld, cs[k], sn[k]);
                        else
                            rot(c.m, &want(0, k), 1, &want(0, k + 1), 1, cs[k], sn[k]);
                    }
                    const Matrix<T> before = a;
                    auto run = [&](char pivot, char order) {
                        DeviceArrays d(api);
                        const R* pc = d(cs);
                        const R* ps = d(sn);
                        T* pa = d(a);
                        EXPECT_EQ(
                            ENTRY(api, lasr)(side, pivot, order, c.m, c.n, pc, ps, pub(pa), c.lda),
                            zuliNoError);
                        d.download();
                    };
                    zuliEmuResetCounters();
                    run('T', direct);
                    run('b', direct == 'F' ? 'b' : 'f');
                    if (kEmulated) {
                        EXPECT_EQ(this->counters().launches, 0u);
                    }
                    EXPECT_EQ(std::memcmp(a.ptr(), before.data.data(), a.data.size() * sizeof(T)),
                              0)
                        << "pivot T or B changed A";
                    run('V', direct);
                    EXPECT_LT(relativeError(a, want), 30.0);
                    // Rows past m (the padding up to lda) are not touched.
                    for (int j = 0; j < c.n; ++j)
                        for (int i = c.m; i < a.ld; ++i)
                            EXPECT_EQ(std::memcmp(&a(i, j), &before(i, j), sizeof(T)), 0);
                }
}

// ---- lar2v, largv, lartv -------------------------------------------------------------------

// lar2v: G (x, z; conj(z), y) G^H with G = (c, conj(s); -s, c), x and y real (for the complex
// types their imaginary parts are ignored and come back as zero); lartv: (c x + s y,
// c y - conj(s) x). n = 300 spans two blocks of the map; increments 1 and 2.
TYPED_TEST(HouseholderTyped, Lar2vAndLartvMatchTheirDefinitions) {
    using T = TypeParam;
    using R = Real<T>;
    constexpr bool complex = zuli::IsComplexV<T>;
    std::uniform_real_distribution<double> angle(-3.2, 3.2);
    for (int n : {1, 300})
        for (int inc : {1, 2})
            for (Api api : kApis) {
                SCOPED_TRACE(testing::Message()
                             << "n " << n << " inc " << inc << " " << blas_test::apiName(api));
                const int incx = inc, incy = 3 - inc, incc = inc;
                Strided<T> x(n, incx, this->rng), y(n, incy, this->rng), z(n, incx, this->rng);
                Strided<T> x2(n, incx, this->rng), y2(n, incx, this->rng), s(n, incc, this->rng);
                Strided<R> c(n, incc, this->rng);
                for (int i = 0; i < n; ++i) {
                    const double t = angle(this->rng), phase = complex ? angle(this->rng) : 0;
                    c[i] = R(std::cos(t));
                    s[i] = blas_test::makeScalar<T>(std::sin(t) * std::cos(phase),
                                                    std::sin(t) * std::sin(phase));
                }
                for (auto* v : {&x, &y, &z, &x2, &y2}) v->keep();
                DeviceArrays d(api);
                T *px = d(x.data), *py = d(y.data), *pz = d(z.data), *px2 = d(x2.data),
                  *py2 = d(y2.data);
                const R* pc = d(c.data);
                const T* ps = d(s.data);
                ASSERT_EQ(ENTRY(api, lartv)(n, pub(px), incx, pub(py), incy, pc, pub(ps), incc),
                          zuliNoError);
                ASSERT_EQ(
                    ENTRY(api, lar2v)(n, pub(px2), pub(py2), pub(pz), incx, pc, pub(ps), incc),
                    zuliNoError);
                d.download();
                for (auto* v : {&x, &y, &z, &x2, &y2}) v->expectGapsKept();
                for (int i = 0; i < n; ++i) {
                    SCOPED_TRACE(i);
                    const long double ci = c[i];
                    const Wide si = wide(s[i]);
                    const Wide xi = wide(x.before[size_t(i) * incx]),
                               yi = wide(y.before[size_t(i) * incy]);
                    const double size = double(std::abs(xi) + std::abs(yi));
                    EXPECT_LT(ulps(x[i], ci * xi + si * yi, size), 30);
                    EXPECT_LT(ulps(y[i], ci * yi - std::conj(si) * xi, size), 30);

                    const Wide a = wide(x2.before[size_t(i) * incx]).real(),
                               b = wide(y2.before[size_t(i) * incx]).real(),
                               w = wide(z.before[size_t(i) * incx]);
                    // (G M)(0, :) and (G M)(1, :), then times G^H = (c, -conj(s); s, c)
                    const Wide g00 = ci * a + std::conj(si) * std::conj(w),
                               g01 = ci * w + std::conj(si) * b;
                    const Wide g10 = -si * a + ci * std::conj(w), g11 = -si * w + ci * b;
                    const double scale = double(std::abs(a) + std::abs(b) + std::abs(w));
                    EXPECT_LT(ulps(x2[i], (g00 * ci + g01 * si).real(), scale), 30);
                    EXPECT_LT(ulps(y2[i], (-g10 * std::conj(si) + g11 * ci).real(), scale), 30);
                    EXPECT_LT(ulps(z[i], -g00 * std::conj(si) + g01 * ci, scale), 30);
                }
            }
}

// largv: (c, s; -conj(s), c) (f; g) = (r; 0) with LAPACK's conventions (real: r takes the sign
// of the larger of f and g; complex: c >= 0 and r has the phase of f), on zeros, on a tiny f
// (the complex rotation's special branch), and on values so large or small that the complex
// rotation scales them first. The reference is evaluated in long double, which neither
// overflows nor underflows on these values.
TYPED_TEST(HouseholderTyped, LargvMatchesLapacksConventions) {
    using T = TypeParam;
    using R = Real<T>;
    constexpr bool single = std::is_same_v<R, float>;
    const double big = single ? 1e30 : 1e200, small = single ? 1e-30 : 1e-200;
    const double specials[][2] = {{1, 0},         {0, 1},   {0, 0},   {small, 1}, {big, big},
                                  {small, small}, {big, 1}, {1, big}, {-3, 4}};
    for (int incx : {1, 2})
        for (Api api : kApis) {
            SCOPED_TRACE(testing::Message() << "inc " << incx << " " << blas_test::apiName(api));
            const int n = 300, incy = 3 - incx, incc = incx;
            Strided<T> x(n, incx, this->rng), y(n, incy, this->rng);
            Strided<R> c(n, incc, this->rng);
            for (int i = 0; i < int(std::size(specials)); ++i) {
                x[i] = x[i] * R(specials[i][0]);
                y[i] = y[i] * R(specials[i][1]);
            }
            x.keep();
            y.keep();
            c.keep();
            DeviceArrays d(api);
            T *px = d(x.data), *py = d(y.data);
            R* pc = d(c.data);
            ASSERT_EQ(ENTRY(api, largv)(n, pub(px), incx, pub(py), incy, pc, incc), zuliNoError);
            d.download();
            x.expectGapsKept();
            y.expectGapsKept();
            c.expectGapsKept();
            for (int i = 0; i < n; ++i) {
                SCOPED_TRACE(i);
                const Wide f = wide(x.before[size_t(i) * incx]),
                           g = wide(y.before[size_t(i) * incy]);
                const long double af = std::abs(f), ag = std::abs(g),
                                  dd = std::sqrt(af * af + ag * ag);
                long double wc = 1;
                Wide ws = 0, wr = f;
                if constexpr (zuli::IsComplexV<T>) {
                    if (af == 0 && ag != 0) {
                        wc = 0, ws = std::conj(g) / ag, wr = ag;
                    } else if (ag != 0) {
                        wc = af / dd, ws = (f / af) * std::conj(g) / dd, wr = (f / af) * dd;
                    }
                } else if (ag != 0) {
                    wr = ((af > ag ? f.real() : g.real()) < 0 ? -dd : dd);
                    wc = f.real() / wr.real(), ws = g / wr;
                }
                EXPECT_LT(ulps(c[i], wc, 1), 30);
                EXPECT_LT(ulps(y[i], ws, 1), 30);
                EXPECT_LT(ulps(x[i], wr, double(dd)), 30);
            }
        }
}

// ---- argument tables -----------------------------------------------------------------------

TYPED_TEST(HouseholderTyped, ArgumentTables) {
    using T = TypeParam;
    // larfg (n alpha x incx tau): tau before the return for n = 0; x unused (may be null) for
    // n = 1; incx = 0 accepted
    expectInfos([](Api v) { return ENTRY(v, larfg); },
                "-1 p p 1 0 : -1; 0 p p 1 0 : -5; 0 0 0 -1 p : 0; 2 0 p 1 p : -2; "
                "2 p 0 1 p : -3; 2 p p -1 p : -4; 1 p 0 -1 p : -4; 1 0 0 1 p : -2");
    // larfb (side trans direct storev m n k v ldv t ldt c ldc): k beyond the order of H is -7;
    // the rows of V are m, n (storev 'C', side 'L', 'R') or k (storev 'R')
    expectInfos([](Api v) { return ENTRY(v, larfb); },
                "X N F C 4 3 2 p 4 p 2 p 4 : -1; L X F C 4 3 2 p 4 p 2 p 4 : -2; "
                "L N X C 4 3 2 p 4 p 2 p 4 : -3; L N F X 4 3 2 p 4 p 2 p 4 : -4; "
                "L N F C -1 3 2 p 4 p 2 p 4 : -5; L N F C 4 -1 2 p 4 p 2 p 4 : -6; "
                "L N F C 4 3 -1 p 4 p 2 p 4 : -7; L N F C 4 3 5 p 4 p 5 p 4 : -7; "
                "R T B R 4 3 4 p 4 p 4 p 4 : -7; R N F C 0 3 2 0 0 0 0 0 0 : 0; "
                "r c b r 4 3 0 0 0 0 0 0 0 : 0; L N F C 4 3 2 0 4 p 2 p 4 : -8; "
                "L N F C 4 3 2 p 3 p 2 p 4 : -9; R N F C 4 3 2 p 2 p 2 p 4 : -9; "
                "L N F R 4 3 2 p 1 p 2 p 4 : -9; L N F C 4 3 2 p 4 0 2 p 4 : -10; "
                "L N F C 4 3 2 p 4 p 1 p 4 : -11; L N F C 4 3 2 p 4 p 2 0 4 : -12; "
                "L N F C 4 3 2 p 4 p 2 p 3 : -13");
    // lasr (side pivot direct m n c s a lda): nothing after direct is checked when m or n is 0
    // or 1 (side 'L' with m = 1 has nothing to rotate, even with a null A); pivots 'T' and 'B'
    // are checked but change nothing
    expectInfos([](Api v) { return ENTRY(v, lasr); },
                "X V F 2 2 p p p 2 : -1; L X F 2 2 p p p 2 : -2; L V X 2 2 p p p 2 : -3; "
                "L V F -1 2 p p p 2 : -4; L T F 2 -1 p p p 2 : -5; R B B 3 3 0 p p 3 : -6; "
                "L V F 3 3 p 0 p 3 : -7; L V F 3 3 p p 0 3 : -8; L V F 3 3 p p p 2 : -9; "
                "L V F 1 4 0 0 0 0 : 0; R V B 4 1 0 0 0 0 : 0; L V F -2 1 0 0 0 0 : 0; "
                "R V F 0 -3 0 0 0 0 : 0; l t f 3 3 p p p 3 : 0; L B F 3 3 p p p 3 : 0");
    // lar2v (n x y z incx c s incc): the pointers are tested for n = 0 too
    expectInfos([](Api v) { return ENTRY(v, lar2v); },
                "-1 p p p 1 p p 1 : -1; 0 0 p p 1 p p 1 : -2; 2 p 0 p 1 p p 1 : -3; "
                "2 p p 0 1 p p 1 : -4; 2 p p p 0 p p 1 : -5; 2 p p p 1 0 p 1 : -6; "
                "2 p p p 1 p 0 1 : -7; 2 p p p 1 p p 0 : -8; 0 p p p 1 p p 1 : 0");
    // largv (n x incx y incy c incc)
    expectInfos([](Api v) { return ENTRY(v, largv); },
                "-1 p 1 p 1 p 1 : -1; 0 0 1 p 1 p 1 : -2; 2 p 0 p 1 p 1 : -3; "
                "2 p 1 0 1 p 1 : -4; 2 p 1 p 0 p 1 : -5; 2 p 1 p 1 0 1 : -6; "
                "2 p 1 p 1 p 0 : -7; 0 p 1 p 1 p 1 : 0");
    // lartv (n x incx y incy c s incc)
    expectInfos([](Api v) { return ENTRY(v, lartv); },
                "-1 p 1 p 1 p p 1 : -1; 0 0 1 p 1 p p 1 : -2; 2 p 0 p 1 p p 1 : -3; "
                "2 p 1 0 1 p p 1 : -4; 2 p 1 p -1 p p 1 : -5; 2 p 1 p 1 0 p 1 : -6; "
                "2 p 1 p 1 p 0 1 : -7; 2 p 1 p 1 p p 0 : -8; 0 p 1 p 1 p p 1 : 0");
}

// ---- larfb ---------------------------------------------------------------------------------

// Every (side, trans, direct, storev) against the host LAPACK's larfb on the same V, T and C.
// V and T hold random values everywhere, also in the triangles larfb must not read (a result
// that used them would differ from LAPACK's); V must come back unchanged.
TYPED_TEST(HouseholderTyped, LarfbMatchesLapackForEveryCombination) {
    using T = TypeParam;
    struct Shape {
        int m, n, k, extra;  // extra: ld padding
    };
    for (const Shape& s : {Shape{7, 5, 3, 0}, Shape{70, 45, 16, 3}})
        for (int combination = 0; combination < 24; ++combination)
            for (Api api : kApis) {
                const char side = "LR"[combination % 2], trans = "NTC"[combination / 2 % 3],
                           direct = "FB"[combination / 6 % 2], storev = "CR"[combination / 12];
                const char letters[] = {side, trans, direct, storev, '\0'};
                SCOPED_TRACE(testing::Message() << letters << " " << s.m << "x" << s.n << " "
                                                << blas_test::apiName(api));
                const int nq = side == 'L' ? s.m : s.n;
                const int vr = storev == 'C' ? nq : s.k, vc = storev == 'C' ? s.k : nq;
                Matrix<T> v(vr, vc, vr + s.extra, this->rng);
                Matrix<T> t(s.k, s.k, s.k + s.extra, this->rng);
                Matrix<T> c(s.m, s.n, s.m + s.extra, this->rng);
                for (T& x : t.data) x = x * Real<T>(0.5);  // keeps the product of moderate size
                Matrix<T> want = c, vBefore = v;
                std::vector<T> work(size_t(std::max(s.m, s.n)) * s.k);
                const char lapackTrans = trans == 'N' ? 'N' : (zuli::IsComplexV<T> ? 'C' : 'T');
                zuli::lapack::larfb(side, lapackTrans, direct, storev, s.m, s.n, s.k, v.ptr(), v.ld,
                                    t.ptr(), t.ld, want.ptr(), want.ld, work.data(),
                                    std::max(s.m, s.n));
                DeviceArrays d(api);
                auto* pv = d(v);
                auto* pt = d(t);
                auto* pc = d(c);
                ASSERT_EQ(ENTRY(api, larfb)(side, trans, direct, storev, s.m, s.n, s.k, pub(pv),
                                            v.ld, pub(pt), t.ld, pub(pc), c.ld),
                          zuliNoError);
                d.download();
                EXPECT_LT(relativeError(c, want), 30.0);
                EXPECT_EQ(std::memcmp(v.ptr(), vBefore.ptr(), v.data.size() * sizeof(T)), 0)
                    << "V changed";
            }
}

}  // namespace
