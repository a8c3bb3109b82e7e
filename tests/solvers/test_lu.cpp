// LU factorization, solve, driver and inverse: results against the host LAPACK on every path and
// block boundary, the info of singular matrices, argument checks, and what crosses the bus.
#include "solvers/solver_support.h"

#include "runtime/host_call.h"

namespace {

using namespace solver_test;
using blas_test::pub;
using zuli::PublicType;

// The double-precision member of a routine for the interface `api`.
#define ENTRY_D(api, name) ((api) == Api::Host ? zuliD##name : zuliDeviceD##name)

// The outcome of a factorization: status, info, factors and pivots.
template <typename T>
struct Lu {
    zuliStatus status = zuliNoError;
    int info = 0;
    Matrix<T> f;
    std::vector<int> piv;
};

// getrf through `api` on a copy of a.
template <typename T>
Lu<T> runGetrf(Api api, const Matrix<T>& a) {
    Lu<T> r{zuliNoError, 0, a, std::vector<int>(size_t(std::min(a.m, a.n)), -7)};
    DeviceArrays dev(api);
    T* pa = dev(r.f);
    int* pp = dev(r.piv);
    r.status = ENTRY(api, getrf)(a.m, a.n, pub(pa), a.ld, pp);
    r.info = zuliGetErrorInfo();
    dev.download();
    return r;
}

// A last panel of a single column (min(m, n) one more than a multiple of nb, blocked paths only)
// leaves its interchange unapplied to the columns on its left. Swapping those rows turns
// LAPACK's factors into what getrf returns, and getrf's back into LAPACK's form.
template <typename T>
void swapLastInterchange(Lu<T>& r, int nb) {
    const int mn = std::min(r.f.m, r.f.n);
    if (nb >= mn || (mn - 1) % nb != 0) return;
    const int last = mn - 1, p = r.piv[size_t(last)] - 1;
    for (int j = 0; j < last; ++j) std::swap(r.f(last, j), r.f(p, j));
}

// What getrf must return: the host LAPACK's factors and pivots, but for the unapplied last
// interchange.
template <typename T>
Lu<T> expectedGetrf(const Matrix<T>& a, int nb) {
    Lu<T> r{zuliNoError, 0, a, std::vector<int>(size_t(std::min(a.m, a.n)))};
    r.info = zuli::lapack::getrf(a.m, a.n, r.f.ptr(), a.ld, r.piv.data());
    r.status = r.info > 0 ? zuliDataError : zuliNoError;
    swapLastInterchange(r, nb);
    return r;
}

// The largest pivotRatio of getrf's factors f (zero pivots have no multipliers).
template <typename T>
double largestPivotRatio(const Matrix<T>& f) {
    double worst = 0;
    for (int j = 0; j < std::min(f.m, f.n); ++j)
        for (int i = j + 1; i < f.m && cabs1(f(j, j)) > 0; ++i)
            worst = std::max(worst, pivotRatio(f(j, j), f(i, j)));
    return worst;
}

// getrf's result on a against `want` (expectedGetrf): the same status and info, factors that
// reproduce a, no multiplier beyond 1, rows beyond m as they were. Where no near tie can decide
// a pivot (`clear`, see dominateColumns), LAPACK's pivots and factors themselves.
template <typename T>
void expectGetrf(const Lu<T>& got, const Lu<T>& want, const Matrix<T>& a, int nb, bool clear) {
    EXPECT_EQ(got.status, want.status);
    EXPECT_EQ(got.info, want.info);
    Lu<T> plain = got;
    swapLastInterchange(plain, nb);
    EXPECT_LT(luResidual(a, plain.f, plain.piv), 30);
    EXPECT_LE(largestPivotRatio(plain.f), pivotRatioBound<T>());
    for (int j = 0; j < a.n; ++j)
        for (int i = a.m; i < a.ld; ++i) ASSERT_EQ(got.f(i, j), a(i, j)) << "row beyond m";
    if (clear) {
        ASSERT_LE(largestPivotRatio(want.f), 0.75) << "the matrix leaves a near tie";
        EXPECT_EQ(got.piv, want.piv);
        EXPECT_LT(relativeError(got.f, want.f), 40);
    }
}

// A random matrix, or (clear) one whose pivots no near tie decides, rows `fixed` kept in place.
template <typename T>
Matrix<T> luInput(bool clear, int m, int n, int ld, std::mt19937& rng,
                  const std::vector<int>& fixed = {}) {
    return clear ? clearPivots<T>(m, n, ld, rng, fixed) : Matrix<T>(m, n, ld, rng);
}

template <typename T>
class LuTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(LuTyped, AllPrecisions);

// Unblocked (min(m, n) = nb), row path with a last panel of one column, several panels, tall,
// wide and padded shapes, on both device generations and through both interfaces; random
// matrices and matrices without near ties.
TYPED_TEST(LuTyped, GetrfMatchesLapackOnEveryPathAndBoundary) {
    using T = TypeParam;
    for (int code : this->generations()) {
        this->useCapability(code);
        const int nb = zuli::factorBlockSize<T>(code);
        struct Shape {
            int m, n, pad;
        } shapes[] = {{nb, nb, 0},          {nb + 1, nb + 1, 0},     {2 * nb + 9, nb + 1, 0},
                      {nb + 7, 2 * nb + 3, 2}, {2 * nb + 5, 2 * nb - 3, 3}, {nb - 5, 3 * nb, 0}};
        for (const Shape& s : shapes)
            for (bool clear : {false, true}) {
                const Matrix<T> a = luInput<T>(clear, s.m, s.n, s.m + s.pad, this->rng);
                const Lu<T> want = expectedGetrf(a, nb);
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << "code " << code << ", " << s.m << " x " << s.n << ", lda "
                                 << a.ld << (clear ? ", clear, " : ", ")
                                 << blas_test::apiName(api));
                    expectGetrf(runGetrf(api, a), want, a, nb, clear);
                }
            }
    }
}

// 512 takes the row path, 513 the transposed one; both give LAPACK's factors.
TYPED_TEST(LuTyped, SquarePathsAroundOrder513) {
    using T = TypeParam;
    const int nb = zuli::factorBlockSize<T>(90);
    for (int n : {512, 513})
        for (bool clear : {false, true}) {
            SCOPED_TRACE(::testing::Message() << n << (clear ? " clear" : ""));
            const Matrix<T> a = luInput<T>(clear, n, n, n + 1, this->rng);
            expectGetrf(runGetrf(Api::Device, a), expectedGetrf(a, nb), a, nb, clear);
        }
}

// Zero columns: the first zero pivot is reported (global index), and the factors and pivots of
// the whole matrix are still returned, on the unblocked and both blocked paths.
TYPED_TEST(LuTyped, ZeroColumnsReportTheFirstZeroPivotWithTheWholeFactorization) {
    using T = TypeParam;
    const int nb = zuli::factorBlockSize<T>(90);
    struct Case {
        int m, n, zeroA, zeroB, info;
    } cases[] = {
        {20, 20, 2, -1, 3},                      // unblocked
        {nb + 20, nb + 20, 2, nb + 4, 3},        // two zero pivots on the row path: the first
        {nb + 20, nb + 40, nb + 4, -1, nb + 5},  // the second panel finds it
        {520, 520, 2, 300, 3},                   // transposed path
    };
    for (const Case& c : cases)
        for (bool clear : {false, true}) {
            SCOPED_TRACE(::testing::Message()
                         << c.m << " x " << c.n << ", info " << c.info << (clear ? ", clear" : ""));
            const std::vector<int> zeros =
                c.zeroB < 0 ? std::vector{c.zeroA} : std::vector{c.zeroA, c.zeroB};
            Matrix<T> a = luInput<T>(clear, c.m, c.n, c.m, this->rng, zeros);
            for (int i = 0; i < c.m; ++i) {
                a(i, c.zeroA) = T(0);
                if (c.zeroB >= 0) a(i, c.zeroB) = T(-0.0);  // -0.0 is a zero pivot too
            }
            const Lu<T> want = expectedGetrf(a, nb);
            ASSERT_EQ(want.info, c.info);
            for (Api api : kApis) expectGetrf(runGetrf(api, a), want, a, nb, clear);
        }
}

// Complex single, nb = 128: a 300 x 129 matrix ends with a panel of one column whose pivot is
// recorded but not applied to the rows of the 128 columns before it: only with those rows
// swapped back do the factors reproduce the matrix.
TEST_F(SolverTest, TallMatrixWithALastPanelOfOneColumnLeavesItsInterchangeUnapplied) {
    using T = Complex<float>;
    ASSERT_EQ(zuli::factorBlockSize<T>(90), 128);
    const Matrix<T> a(300, 129, rng);
    const Lu<T> got = runGetrf(Api::Host, a);
    ASSERT_NE(got.piv[128], 129) << "the test needs a real interchange in the last column";
    expectGetrf(got, expectedGetrf(a, 128), a, 128, false);
}

TEST_F(SolverTest, GetrfArgumentChecksRunInLapackOrder) {
    double a[4] = {};
    int ipiv[2];
    struct Row {
        int m, n, lda;
        double* a;
        int* ipiv;
        zuliStatus status;
        int info;
    } rows[] = {
        {-1, -1, 1, a, ipiv, zuliArgumentError, -1}, {2, -1, 2, a, ipiv, zuliArgumentError, -2},
        {2, 2, 1, nullptr, ipiv, zuliArgumentError, -4},  // lda before a
        {0, 2, 1, nullptr, nullptr, zuliNoError, 0},     {2, 0, 2, nullptr, nullptr, zuliNoError, 0},
        {0, 0, 0, nullptr, nullptr, zuliArgumentError, -4},
        {2, 2, 2, nullptr, ipiv, zuliArgumentError, -3}, {2, 2, 2, a, nullptr, zuliArgumentError, -5},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(::testing::Message() << r.m << " " << r.n << " " << r.lda);
        for (auto* f : {zuliDgetrf, zuliDeviceDgetrf}) {
            EXPECT_EQ(f(r.m, r.n, r.a, r.lda, r.ipiv), r.status);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
        }
    }
    blas_test::expectNoWork();
}

// ---- getrs and gesv ----------------------------------------------------------------------------

TYPED_TEST(LuTyped, GesvAndGetrsSolveOnEveryPath) {
    using T = TypeParam;
    const int nb = zuli::factorBlockSize<T>(90);
    for (int n : {7, nb + 1, 2 * nb + 3}) {
        const Matrix<T> a(n, n, n + 2, this->rng);
        const Matrix<T> b(n, 3, n + 1, this->rng);
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << n << " " << blas_test::apiName(api));
            Matrix<T> f = a, x = b;
            std::vector<int> piv(static_cast<size_t>(n));
            {
                DeviceArrays dev(api);
                ASSERT_EQ(ENTRY(api, gesv)(n, 3, pub(dev(f)), f.ld, dev(piv), pub(dev(x)), x.ld),
                          zuliNoError);
                dev.download();
            }
            EXPECT_LT(solveResidual(a, x, b), 30);
            // getrs with the factors gesv left gives the same solution.
            Matrix<T> y = b;
            {
                DeviceArrays dev(api);
                ASSERT_EQ(ENTRY(api, getrs)('n', n, 3, pub(dev(f)), f.ld, dev(piv), pub(dev(y)),
                                            y.ld),
                          zuliNoError);
                dev.download();
            }
            EXPECT_EQ(relativeError(y, x), 0);
        }
    }
}

TEST_F(SolverTest, SingularGesvLeavesBUnchangedAndReturnsTheFactors) {
    const int n = 150;
    Matrix<double> a = clearPivots<double>(n, n, n, rng, {4});
    for (int i = 0; i < n; ++i) a(i, 4) = 0;
    const Matrix<double> b(n, 2, rng);
    for (Api api : kApis) {
        Matrix<double> f = a, x = b;
        std::vector<int> piv(static_cast<size_t>(n));
        DeviceArrays dev(api);
        EXPECT_EQ(ENTRY_D(api, gesv)(n, 2, dev(f), n, dev(piv), dev(x), n), zuliDataError);
        EXPECT_EQ(zuliGetErrorInfo(), 5);
        dev.download();
        EXPECT_EQ(x.data, b.data);
        const Lu<double> want = expectedGetrf(a, zuli::factorBlockSize<double>(90));
        EXPECT_EQ(piv, want.piv);
        EXPECT_LT(relativeError(f, want.f), 40);
    }
}

TEST_F(SolverTest, GetrsAndGesvArgumentTables) {
    double a[4] = {1, 0, 0, 1}, b[2] = {1, 2};
    int ipiv[2] = {1, 2};
    struct Row {
        const char* what;
        std::function<zuliStatus()> call;
        zuliStatus status;
        int info;
    } rows[] = {
        {"getrs trans", [&] { return zuliDgetrs('X', 2, 1, a, 2, ipiv, b, 2); }, zuliArgumentError, -1},
        {"getrs n", [&] { return zuliDgetrs('N', -1, 1, a, 2, ipiv, b, 2); }, zuliArgumentError, -2},
        {"getrs nrhs", [&] { return zuliDgetrs('N', 2, -1, a, 2, ipiv, b, 2); }, zuliArgumentError, -3},
        {"getrs lda", [&] { return zuliDgetrs('N', 2, 1, a, 1, ipiv, b, 2); }, zuliArgumentError, -5},
        {"getrs ldb", [&] { return zuliDgetrs('N', 2, 1, a, 2, ipiv, b, 1); }, zuliArgumentError, -8},
        {"getrs empty", [&] { return zuliDgetrs('N', 2, 0, nullptr, 2, nullptr, nullptr, 2); },
         zuliNoError, 0},
        {"getrs a", [&] { return zuliDgetrs('N', 2, 1, nullptr, 2, ipiv, b, 2); }, zuliArgumentError, -4},
        {"getrs ipiv", [&] { return zuliDgetrs('N', 2, 1, a, 2, nullptr, b, 2); }, zuliArgumentError, -6},
        {"getrs b", [&] { return zuliDgetrs('N', 2, 1, a, 2, ipiv, nullptr, 2); }, zuliArgumentError, -7},
        {"getrs t", [&] { return zuliDgetrs('t', 2, 1, a, 2, ipiv, b, 2); }, zuliFeatureNotImplemented, 0},
        {"getrs device c", [&] { return zuliDeviceDgetrs('C', 0, 1, a, 1, ipiv, b, 1); }, zuliNoError, 0},
        {"gesv n", [&] { return zuliDgesv(-1, -1, a, 0, ipiv, b, 0); }, zuliArgumentError, -1},
        {"gesv nrhs", [&] { return zuliDgesv(2, -1, a, 2, ipiv, b, 2); }, zuliArgumentError, -2},
        {"gesv lda", [&] { return zuliDgesv(2, 1, a, 1, ipiv, b, 2); }, zuliArgumentError, -4},
        {"gesv ldb", [&] { return zuliDgesv(2, 1, a, 2, ipiv, b, 1); }, zuliArgumentError, -7},
        {"gesv empty", [&] { return zuliDgesv(0, 1, nullptr, 1, nullptr, nullptr, 1); }, zuliNoError, 0},
        {"gesv a", [&] { return zuliDgesv(2, 1, nullptr, 2, ipiv, b, 2); }, zuliArgumentError, -3},
        {"gesv ipiv", [&] { return zuliDgesv(2, 1, a, 2, nullptr, b, 2); }, zuliArgumentError, -5},
        {"gesv b without rhs", [&] { return zuliDgesv(2, 0, a, 2, ipiv, nullptr, 2); },
         zuliArgumentError, -6},
        {"device gesv b without rhs", [&] { return zuliDeviceDgesv(2, 0, a, 2, ipiv, nullptr, 2); },
         zuliArgumentError, -6},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.what);
        zuliEmuResetCounters();
        EXPECT_EQ(r.call(), r.status);
        if (r.status == zuliArgumentError) {
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            blas_test::expectNoWork();
        }
    }
}

// gesv without right-hand sides still factors.
TEST_F(SolverTest, GesvWithoutRightHandSidesFactors) {
    const Matrix<double> a = clearPivots<double>(30, 30, 30, rng);
    for (Api api : kApis) {
        Matrix<double> f = a;
        std::vector<int> piv(30);
        double b = 0;
        DeviceArrays dev(api);
        ASSERT_EQ(ENTRY_D(api, gesv)(30, 0, dev(f), 30, dev(piv), dev(&b, 1), 30), zuliNoError);
        dev.download();
        const Lu<double> want = expectedGetrf(a, zuli::factorBlockSize<double>(90));
        EXPECT_EQ(piv, want.piv);
    }
}

}  // namespace
