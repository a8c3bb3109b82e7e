// steqr: eigenvalues and vectors of random, graded and split symmetric tridiagonals against the
// host LAPACK's, for compz 'N', 'I' and 'V', through both interfaces; the argument table.
#include "solvers/solver_support.h"

namespace {

using namespace solver_test;
using blas_test::pub;
namespace lapack = zuli::lapack;

template <typename T>
zuliStatus steqr(Api api, char compz, int n, Real<T>* d, Real<T>* e, T* z, int ldz) {
    return ENTRY(api, steqr)(compz, n, pub(d), pub(e), pub(z), ldz);
}

// max |T z_j - w_j z_j| / (||T|| n eps) over the columns of Z, T = tridiag(e, d, e).
template <typename T>
double eigenResidual(const std::vector<Real<T>>& d, const std::vector<Real<T>>& e,
                     const std::vector<Real<T>>& w, const Matrix<T>& z) {
    const int n = int(d.size());
    double norm = 0, worst = 0;
    for (int i = 0; i < n; ++i)
        norm = std::max(norm, std::fabs(double(d[size_t(i)])) +
                                  (i > 0 ? std::fabs(double(e[size_t(i - 1)])) : 0) +
                                  (i + 1 < n ? std::fabs(double(e[size_t(i)])) : 0));
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            T tz = z(i, j) * T(d[size_t(i)]) - z(i, j) * T(w[size_t(j)]);
            if (i > 0) tz = tz + z(i - 1, j) * T(e[size_t(i - 1)]);
            if (i + 1 < n) tz = tz + z(i + 1, j) * T(e[size_t(i)]);
            worst = std::max(worst, magnitude(tz));
        }
    return worst / (std::max(norm, 1e-300) * std::max(n, 1) * epsilon<T>());
}

template <typename T>
class SteqrTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(SteqrTyped, AllPrecisions);

// Random, graded (QL from the top and QR from the bottom are both chosen) and split tridiagonals
// (a zero off-diagonal between blocks whose values interleave: the values must still come out
// ascending overall). Values against LAPACK's to a few ulps of ||T||; 'I': T Z = Z W and Z
// orthonormal; 'V': Z0 times the vectors equals LAPACK's on the same Z0.
TYPED_TEST(SteqrTyped, ValuesAndVectorsMatchLapack) {
    using T = TypeParam;
    using R = Real<T>;
    struct Case {
        int n;
        double grade;  // 0 random; else d(i) = grade^i, negative: rising towards the end
        int split;     // > 0: e(split - 1) = 0
    } cases[] = {{1, 0, 0},    {2, 0, 0},     {5, 0, 0},   {9, 0, 4},
                 {30, 0.7, 0}, {30, -0.7, 0}, {40, 0, 17}, {100, 0, 0}};
    std::uniform_real_distribution<double> uni(-1, 1);
    for (const Case& c : cases)
        for (char compz : {'N', 'i', 'V'})
            for (Api api : kApis) {
                const int n = c.n;
                SCOPED_TRACE(::testing::Message()
                             << compz << " n " << n << " grade " << c.grade << " split " << c.split
                             << " " << blas_test::apiName(api));
                std::vector<R> d(static_cast<size_t>(n)), e(size_t(std::max(n - 1, 1)), R(0));
                for (int i = 0; i < n; ++i) {
                    const double scale =
                        c.grade == 0 ? 1
                                     : std::pow(std::fabs(c.grade), c.grade > 0 ? i : n - 1 - i);
                    d[size_t(i)] = R(uni(this->rng) * scale);
                    if (i + 1 < n) e[size_t(i)] = R(uni(this->rng) * scale);
                }
                if (c.split > 0) e[size_t(c.split - 1)] = 0;
                const int ldz = n + 3;
                Matrix<T> z0(n, n, ldz, this->rng);
                std::vector<R> wd = d, we = e, gd = d, ge = e;
                Matrix<T> wz = z0, gz = z0;
                std::vector<R> work(size_t(2 * n + 1));
                const char big = compz == 'i' ? 'I' : compz;
                ASSERT_EQ(
                    lapack::steqr<T>(big, n, wd.data(), we.data(), wz.ptr(), ldz, work.data()), 0);
                {
                    DeviceArrays dev(api);
                    ASSERT_EQ(steqr<T>(api, compz, n, dev(gd), dev(ge), dev(gz), ldz), zuliNoError);
                    dev.download();
                }
                double norm = 0;
                for (int i = 0; i < n; ++i) norm = std::max(norm, std::fabs(double(wd[size_t(i)])));
                for (int i = 0; i < n; ++i) {
                    EXPECT_LE(std::fabs(gd[size_t(i)] - wd[size_t(i)]), 8 * n * epsilon<T>() * norm)
                        << "w" << i;
                    if (i > 0) {
                        EXPECT_LE(gd[size_t(i - 1)], gd[size_t(i)]);
                    }
                }
                if (big == 'I') {
                    EXPECT_LT(eigenResidual<T>(d, e, gd, gz), 30);
                    EXPECT_LT(departureFromOrthonormal(gz), 30);
                } else if (big == 'V') {
                    EXPECT_LT(relativeError(gz, wz), 30);
                } else {
                    EXPECT_EQ(relativeError(gz, z0), 0);  // Z not referenced
                }
            }
}

// A NaN keeps the iteration from converging: zuliDataError with LAPACK's info, for 'N' (the
// host LAPACK's path) and 'I' (ours).
TYPED_TEST(SteqrTyped, FailureReportsLapacksInfo) {
    using T = TypeParam;
    using R = Real<T>;
    for (char compz : {'N', 'I'})
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << compz << " " << blas_test::apiName(api));
            const int n = 6;
            std::vector<R> d(size_t(n), R(1)), e(size_t(n), R(0.5)), work(size_t(2 * n));
            d[2] = std::numeric_limits<R>::quiet_NaN();
            Matrix<T> z(n, n, this->rng), wz = z;
            std::vector<R> wd = d, we = e;
            const int info =
                lapack::steqr<T>(compz, n, wd.data(), we.data(), wz.ptr(), n, work.data());
            ASSERT_GT(info, 0);
            DeviceArrays dev(api);
            EXPECT_EQ(steqr<T>(api, compz, n, dev(d), dev(e), dev(z), n), zuliDataError);
            EXPECT_EQ(zuliGetErrorInfo(), info);
        }
}

// The argument checks in LAPACK's order through both interfaces; n = 0 accepts null pointers.
TYPED_TEST(SteqrTyped, ArgumentTable) {
    using T = TypeParam;
    using R = Real<T>;
    std::vector<T> z(64);
    std::vector<R> dv(8), ev(8);
    T* pz = z.data();
    R *d = dv.data(), *e = ev.data();
    struct Row {
        char compz;
        int n;
        R *d, *e;
        T* z;
        int ldz, info;
    } rows[] = {
        {'X', 4, d, e, pz, 4, -1},
        {'N', -1, d, e, pz, 4, -2},
        {'N', 4, d, e, pz, 0, -6},
        {'V', 4, d, e, pz, 3, -6},
        {'i', 4, d, e, pz, 3, -6},
        {'N', 4, d, e, nullptr, 1, 0},
        {'I', 0, nullptr, nullptr, nullptr, 1, 0},
        {'I', 4, nullptr, e, pz, 4, -3},
        {'V', 4, d, nullptr, pz, 4, -4},
        {'I', 1, d, nullptr, pz, 1, 0},
        {'V', 4, d, e, nullptr, 4, -5},
    };
    for (const Row& r : rows)
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << r.compz << " n " << r.n << " expected " << r.info
                                              << " " << blas_test::apiName(api));
            DeviceArrays dev(api);
            EXPECT_EQ(steqr<T>(api, r.compz, r.n, dev(r.d, dv.size()), dev(r.e, ev.size()),
                               dev(r.z, z.size()), r.ldz),
                      r.info == 0 ? zuliNoError : zuliArgumentError);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
        }
}

}  // namespace
