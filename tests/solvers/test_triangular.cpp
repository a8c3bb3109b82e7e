// Triangular solve and inverse: argument tables, results against the host LAPACK around the
// block size, the zero-diagonal data error, what crosses the bus, and the failure sweep of the
// blocked inverse.
#include "solvers/solver_support.h"

#include "runtime/tuning.h"
#include "solvers/solvers.h"

#include <cstring>
#include <memory>

namespace {

using namespace solver_test;
using blas_test::pub;

bool inTriangle(char uplo, int i, int j) {
    return uplo == 'U' ? i <= j : i >= j;
}

// An n x n triangle in an ld x n array, far from singular: off-diagonal entries in [-1, 1] / n,
// diagonal entries of real part between 1 and 3; with diag 'U' the stored diagonal is zero (it
// must not be read). The other triangle and the padding rows hold random values.
template <typename T>
Matrix<T> triangle(int n, int ld, char uplo, char diag, std::mt19937& rng) {
    Matrix<T> a(n, n, ld, rng);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
            if (i != j && inTriangle(uplo, i, j)) a(i, j) = a(i, j) * Real<T>(1.0 / n);
    for (int i = 0; i < n; ++i) a(i, i) = diag == 'U' ? T(0) : a(i, i) + T(Real<T>(2));
    return a;
}

// Every element of the ld x n array for which keep(i, j) holds has the bits it had before.
template <typename T, typename Keep>
void expectUnchangedWhere(const Matrix<T>& got, const Matrix<T>& before, Keep keep) {
    int changed = 0;
    for (int j = 0; j < before.n; ++j)
        for (int i = 0; i < before.ld; ++i)
            if (keep(i, j) && std::memcmp(&got(i, j), &before(i, j), sizeof(T)) != 0) ++changed;
    EXPECT_EQ(changed, 0) << "elements outside the result changed";
}

template <typename T>
class TriangularTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(TriangularTyped, AllPrecisions);

// ---- argument checks ----------------------------------------------------------------------------

TYPED_TEST(TriangularTyped, ArgumentTables) {
    using T = TypeParam;
    T a[4] = {}, b[4] = {};
    struct Row {
        const char* what;
        std::function<zuliStatus(Api)> call;
        zuliStatus status;
        int info;
    };
    auto trtrs = [&](char u, char t, char d, int n, int nrhs, T* pa, int lda, T* pb, int ldb) {
        return [=](Api api) {
            return ENTRY(api, trtrs)(u, t, d, n, nrhs, pub(pa), lda, pub(pb), ldb);
        };
    };
    auto trtri = [&](char u, char d, int n, T* pa, int lda) {
        return [=](Api api) { return ENTRY(api, trtri)(u, d, n, pub(pa), lda); };
    };
    const Row rows[] = {
        {"trtrs uplo", trtrs('X', 'N', 'N', -1, 1, a, 2, b, 2), zuliArgumentError, -1},
        {"trtrs trans", trtrs('U', 'X', 'N', 2, 1, a, 2, b, 2), zuliArgumentError, -2},
        {"trtrs diag", trtrs('L', 'T', 'X', 2, 1, a, 2, b, 2), zuliArgumentError, -3},
        {"trtrs n", trtrs('U', 'C', 'U', -1, 1, a, 2, b, 2), zuliArgumentError, -4},
        {"trtrs nrhs", trtrs('U', 'N', 'N', 2, -1, a, 2, b, 2), zuliArgumentError, -5},
        {"trtrs lda before a", trtrs('U', 'N', 'N', 2, 1, nullptr, 1, b, 2), zuliArgumentError, -7},
        {"trtrs ldb", trtrs('U', 'N', 'N', 2, 1, a, 2, b, 1), zuliArgumentError, -9},
        {"trtrs lda with n = 0", trtrs('U', 'N', 'N', 0, 1, nullptr, 0, nullptr, 1),
         zuliArgumentError, -7},
        {"trtrs empty", trtrs('u', 'c', 'u', 0, 3, nullptr, 1, nullptr, 1), zuliNoError, 0},
        {"trtrs a", trtrs('U', 'N', 'N', 2, 1, nullptr, 2, b, 2), zuliArgumentError, -6},
        {"trtrs b", trtrs('U', 'N', 'N', 2, 1, a, 2, nullptr, 2), zuliArgumentError, -8},
        {"trtrs b without rhs", trtrs('l', 't', 'n', 2, 0, a, 2, nullptr, 2), zuliArgumentError,
         -8},
        {"trtri uplo", trtri('N', 'N', -1, a, 2), zuliArgumentError, -1},
        {"trtri diag", trtri('l', 'L', 2, a, 2), zuliArgumentError, -2},
        {"trtri n", trtri('U', 'U', -1, a, 2), zuliArgumentError, -3},
        {"trtri lda before a", trtri('U', 'N', 2, nullptr, 1), zuliArgumentError, -5},
        {"trtri lda with n = 0", trtri('U', 'N', 0, nullptr, 0), zuliArgumentError, -5},
        {"trtri empty", trtri('l', 'n', 0, nullptr, 1), zuliNoError, 0},
        {"trtri a", trtri('L', 'N', 2, nullptr, 2), zuliArgumentError, -4},
    };
    for (const Row& r : rows)
        for (Api api : kApis) {
            SCOPED_TRACE(blas_test::apiName(api) + r.what);
            zuliEmuResetCounters();
            EXPECT_EQ(r.call(api), r.status);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            blas_test::expectNoWork();
        }
}

// ---- results ------------------------------------------------------------------------------------

// op(A) X = B for both triangles, the three operations, unit and non-unit diagonal (a unit
// triangle with zeros stored on its diagonal solves normally), padded a and b.
TYPED_TEST(TriangularTyped, TrtrsSolvesWithResidualAtRoundingLevel) {
    using T = TypeParam;
    const int n = 70, nrhs = 3;
    for (char uplo : {'U', 'L'})
        for (char diag : {'N', 'U'}) {
            const Matrix<T> a = triangle<T>(n, n + 3, uplo, diag, this->rng);
            const Matrix<T> b(n, nrhs, n + 1, this->rng);
            for (char trans : {'N', 'T', 'C'})
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << uplo << trans << diag << " " << blas_test::apiName(api));
                    Matrix<T> x = b;
                    {
                        Matrix<T> ac = a;
                        DeviceArrays dev(api);
                        ASSERT_EQ(ENTRY(api, trtrs)(uplo, trans, diag, n, nrhs, pub(dev(ac)), a.ld,
                                                    pub(dev(x)), x.ld),
                                  zuliNoError);
                        dev.download();
                    }
                    expectUnchangedWhere(x, b, [&](int i, int) { return i >= n; });
                    // op(A) X with the host BLAS must give back B.
                    Matrix<T> ax = x;
                    const T one(1);
                    using blas_test::Cblas;
                    pick<T>(cblas_strmm, cblas_dtrmm, cblas_ctrmm, cblas_ztrmm)(
                        CblasColMajor, CblasLeft, Cblas::uplo(uplo), Cblas::trans(trans),
                        Cblas::diag(diag), n, nrhs, blas_test::byBlas(one), a.data.data(), a.ld,
                        ax.ptr(), ax.ld);
                    EXPECT_LT(relativeError(ax, b), 30);
                }
        }
}

// trtri against the host LAPACK: one block less, exactly one, one more, and three blocks with a
// short last one (the first handled for a lower triangle), padded; outside the triangle (and on
// a unit diagonal) nothing changes.
TYPED_TEST(TriangularTyped, TrtriMatchesLapackAroundTheBlockSize) {
    using T = TypeParam;
    const int nb = zuli::factorBlockSize<T>(90);
    for (int n : {nb - 1, nb, nb + 1, 2 * nb + 9})
        for (char uplo : {'U', 'L'})
            for (char diag : {'N', 'U'}) {
                const Matrix<T> a = triangle<T>(n, n + 2, uplo, diag, this->rng);
                Matrix<T> want = a;
                ASSERT_EQ(zuli::lapack::trtri(uplo, diag, n, want.ptr(), want.ld), 0);
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message() << "n " << n << " " << uplo << diag << " "
                                                      << blas_test::apiName(api));
                    Matrix<T> got = a;
                    {
                        DeviceArrays dev(api);
                        ASSERT_EQ(ENTRY(api, trtri)(uplo, diag, n, pub(dev(got)), got.ld),
                                  zuliNoError);
                        dev.download();
                    }
                    EXPECT_LT(relativeError(got, want), 40);
                    expectUnchangedWhere(got, a, [&](int i, int j) {
                        return i >= n || !inTriangle(uplo, i, j) || (i == j && diag == 'U');
                    });
                }
            }
}

// ---- the zero-diagonal data error ---------------------------------------------------------------

// The first exactly zero diagonal element (-0.0 too; for complex both parts zero, a purely
// imaginary element is not zero) ends the call with its position before anything is computed:
// one strided copy of the diagonal, no cuBLAS call, b or a unchanged. Lower-case letters count.
TYPED_TEST(TriangularTyped, ZeroOnTheDiagonalIsReportedBeforeAnyWork) {
    using T = TypeParam;
    const int nb = zuli::factorBlockSize<T>(90);
    struct Case {
        int n, zero;
        T value;
        int info;
    };
    std::vector<Case> cases = {
        {6, 2, T(0), 3}, {6, 2, T(-0.0), 3}, {nb + 5, nb + 1, T(-0.0), nb + 2}};
    if constexpr (zuli::IsComplexV<T>) {
        cases.push_back({6, 2, T(Real<T>(-0.0), Real<T>(-0.0)), 3});
        cases.push_back({6, 2, T(Real<T>(0), Real<T>(1)), 6});  // the last one
    }
    for (const Case& c : cases)
        for (char uplo : {'u', 'l'})
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message() << "n " << c.n << " info " << c.info << " "
                                                  << uplo << " " << blas_test::apiName(api));
                Matrix<T> a = triangle<T>(c.n, c.n + 1, uplo == 'u' ? 'U' : 'L', 'N', this->rng);
                a(c.zero, c.zero) = c.value;
                a(c.n - 1, c.n - 1) = T(0);  // a later zero is not the one reported
                const Matrix<T> b(c.n, 2, c.n, this->rng), ac = a;
                Matrix<T> x = b, inv = a;
                DeviceArrays dev(api);
                T* pa = dev(a);
                T* px = dev(x);
                T* pi = dev(inv);
                zuliEmuResetCounters();
                EXPECT_EQ(ENTRY(api, trtrs)(uplo, 'c', 'n', c.n, 2, pub(pa), a.ld, pub(px), x.ld),
                          zuliDataError);
                EXPECT_EQ(zuliGetErrorInfo(), c.info);
                if (api == Api::Device && kEmulated) {
                    const auto k = this->counters();
                    EXPECT_EQ(k.d2hCopies, 1u);
                    EXPECT_EQ(k.d2hBytes, c.n * sizeof(T));
                    EXPECT_EQ(k.h2dCopies + k.blasCalls, 0u);
                }
                EXPECT_EQ(ENTRY(api, trtri)(uplo, 'n', c.n, pub(pi), inv.ld), zuliDataError);
                EXPECT_EQ(zuliGetErrorInfo(), c.info);
                dev.download();
                expectUnchangedWhere(x, b, [](int, int) { return true; });
                expectUnchangedWhere(inv, ac, [](int, int) { return true; });
                EXPECT_EQ(ENTRY(api, trtrs)(uplo, 'n', 'n', c.n, 0, pub(pa), a.ld, pub(px), x.ld),
                          zuliDataError);
                EXPECT_EQ(zuliGetErrorInfo(), c.info);
            }
}

// ---- what the blocked inverse moves, and its failures -------------------------------------------

// Only the diagonal blocks cross the bus (and the diagonal, once), each way once; the rest is
// one trmm and one trsm per block column.
TEST_F(SolverTest, DeviceTrtriMovesOnlyDiagonalBlocks) {
    SKIP_ON_A_REAL_GPU();
    using T = double;
    const int nb = zuli::factorBlockSize<T>(90), n = 3 * nb + 11;
    for (char uplo : {'U', 'L'}) {
        Matrix<T> a = triangle<T>(n, n, uplo, 'N', rng);
        DeviceArrays dev(Api::Device);
        T* pa = dev(a);
        zuliEmuResetCounters();
        ASSERT_EQ(zuliDeviceDtrtri(uplo, 'N', n, pa, n), zuliNoError);
        const auto c = counters();
        uint64_t blockBytes = 0;
        for (int j = 0; j < n; j += nb)
            blockBytes += uint64_t(std::min(nb, n - j)) * std::min(nb, n - j) * sizeof(T);
        EXPECT_EQ(c.h2dBytes, blockBytes);
        EXPECT_EQ(c.d2hBytes, blockBytes + n * sizeof(T));
        EXPECT_EQ(zuliEmuBlasOpCalls("trmm"), 3u);
        EXPECT_EQ(zuliEmuBlasOpCalls("trsm"), 3u);
    }
}

// Every allocation, cuBLAS call and CUDA call the blocked inverse reaches, failing in turn, for
// both triangles and both interfaces: the status of the fault, no device memory left behind, and
// the host array either as it was or, if the fault came after the copy back, the inverse.
TEST_F(SolverTest, TrtriFailureSweepOnTheBlockedPath) {
    SKIP_ON_A_REAL_GPU();
    using T = float;
    const int n = 2 * zuli::factorBlockSize<T>(90) + 9;
    for (char uplo : {'U', 'L'})
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << uplo << " " << blas_test::apiName(api));
            const Matrix<T> original = triangle<T>(n, n + 1, uplo, 'N', rng);
            Matrix<T> inverse = original;
            ASSERT_EQ(zuli::lapack::trtri(uplo, 'N', n, inverse.ptr(), inverse.ld), 0);
            Matrix<T> a = original;
            std::unique_ptr<DeviceArrays> dev;
            T* pa = nullptr;
            const int failures = sweepFailures(
                [&] {
                    a = original;
                    dev = std::make_unique<DeviceArrays>(api);
                    pa = (*dev)(a);
                },
                [&] { return ENTRY(api, trtri)(uplo, 'N', n, pa, a.ld); },
                [&](const Fault&) {
                    if (api == Api::Host && a.data != original.data) {
                        EXPECT_LT(relativeError(a, inverse), 40);
                    }
                });
            dev.reset();
            EXPECT_GT(failures, 10);
        }
}

}  // namespace
