// The LU inverse: getri against the host LAPACK's, around its block of 64, with a singular U
// and its argument checks.
#include "solvers/solver_support.h"

namespace {

using namespace solver_test;
using blas_test::pub;

template <typename T>
class GetriTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(GetriTyped, AllPrecisions);

// inv(A) from the host LAPACK's factors, as the host LAPACK forms it.
template <typename T>
Matrix<T> lapackInverse(Matrix<T> f, const std::vector<int>& piv) {
    std::vector<T> work(size_t(64) * f.n + 1);
    EXPECT_EQ(zuli::lapack::getri(f.n, f.ptr(), f.ld, piv.data(), work.data(), int(work.size())), 0);
    return f;
}

TYPED_TEST(GetriTyped, MatchesLapackAroundTheBlockOf64) {
    using T = TypeParam;
    for (int n : {1, 2, 63, 64, 65, 129, 200}) {
        Matrix<T> f(n, n, n + (n % 3), this->rng);
        f.shiftDiagonal(2.0);
        std::vector<int> piv(static_cast<size_t>(n));
        ASSERT_EQ(zuli::lapack::getrf(n, n, f.ptr(), f.ld, piv.data()), 0);
        const Matrix<T> want = lapackInverse(f, piv);
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << n << " " << blas_test::apiName(api));
            Matrix<T> got = f;
            std::vector<int> p = piv;
            DeviceArrays dev(api);
            ASSERT_EQ(ENTRY(api, getri)(n, pub(dev(got)), got.ld, dev(p)), zuliNoError);
            dev.download();
            EXPECT_LT(relativeError(got, want), 40);
            EXPECT_EQ(p, piv);
        }
    }
}

// A zero on U's diagonal (-0.0 counts) is reported at its position and nothing is inverted.
TEST_F(SolverTest, GetriWithASingularUReportsTheZeroAndLeavesA) {
    const int n = 70;
    Matrix<double> f(n, n, rng);
    f.shiftDiagonal(3.0);
    f(2, 2) = -0.0;
    std::vector<int> piv(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) piv[size_t(i)] = i + 1;
    for (Api api : kApis) {
        Matrix<double> got = f;
        DeviceArrays dev(api);
        EXPECT_EQ((api == Api::Host ? zuliDgetri : zuliDeviceDgetri)(n, dev(got), n, dev(piv)),
                  zuliDataError);
        EXPECT_EQ(zuliGetErrorInfo(), 3);
        dev.download();
        EXPECT_EQ(got.data, f.data);
    }
}

TEST_F(SolverTest, GetriArgumentTable) {
    double a[4] = {1, 0, 0, 1};
    int ipiv[2] = {1, 2};
    struct Row {
        int n, lda;
        double* a;
        int* ipiv;
        zuliStatus status;
        int info;
    } rows[] = {
        {-1, 0, nullptr, nullptr, zuliArgumentError, -1}, {2, 1, a, ipiv, zuliArgumentError, -3},
        {0, 1, nullptr, nullptr, zuliNoError, 0},         {0, 0, nullptr, nullptr, zuliArgumentError, -3},
        {2, 2, nullptr, ipiv, zuliArgumentError, -2},     {2, 2, a, nullptr, zuliArgumentError, -4},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(::testing::Message() << r.n << " " << r.lda);
        for (auto* f : {zuliDgetri, zuliDeviceDgetri}) {
            EXPECT_EQ(f(r.n, r.a, r.lda, r.ipiv), r.status);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
        }
    }
    blas_test::expectNoWork();
}

}  // namespace
