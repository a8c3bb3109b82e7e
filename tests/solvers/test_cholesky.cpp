// Cholesky factorization, solve, driver and inverse: results against the host LAPACK around the
// block size on both device generations, the state a matrix that is not positive definite is
// left in, argument checks, injected failures, and what crosses the bus.
#include "solvers/solver_support.h"

#include "runtime/host_call.h"

#include <cctype>
#include <memory>

namespace {

using namespace solver_test;
using blas_test::pub;

// A random n x n matrix (leading dimension ld) with a real diagonal of 3 sqrt(n) + 1: either
// triangle, reflected, is Hermitian positive definite (the off-diagonal part of a random
// Hermitian matrix has a spectral radius of about 1.6 sqrt(n)) and conditioned well, yet not so
// dominated by its diagonal that the off-diagonal terms of a factor or inverse vanish in its
// rounding. The two triangles are unrelated, so that a routine that reads or writes the triangle
// it was not given shows.
template <typename T>
Matrix<T> positiveDefinite(int n, int ld, std::mt19937& rng) {
    Matrix<T> a(n, n, ld, rng);
    for (int i = 0; i < n; ++i) a(i, i) = T(Real<T>(3 * std::sqrt(double(n)) + 1));
    return a;
}

// The Hermitian matrix that the `uplo` triangle of a stands for, in full.
template <typename T>
Matrix<T> hermitianFrom(Matrix<T> a, char uplo) {
    for (int j = 0; j < a.n; ++j)
        for (int i = 0; i < j; ++i) {
            if (uplo == 'U')
                a(j, i) = zuli::conj(a(i, j));
            else
                a(i, j) = zuli::conj(a(j, i));
        }
    return a;
}

// A^H, same leading dimension (rows beyond n as they were).
template <typename T>
Matrix<T> conjugateTranspose(const Matrix<T>& a) {
    Matrix<T> t = a;
    for (int j = 0; j < a.n; ++j)
        for (int i = 0; i < a.n; ++i) t(i, j) = zuli::conj(a(j, i));
    return t;
}

// What a call on a matrix returned, and the matrix as it left it.
template <typename T>
struct Outcome {
    zuliStatus status = zuliNoError;
    int info = 0;
    Matrix<T> a;
};

// potrf or potri (`routine` of interface `api`, both (uplo, n, a, lda)) on a copy of a.
template <typename T, typename Routine>
Outcome<T> runOnMatrix(Api api, Routine routine, char uplo, const Matrix<T>& a) {
    Outcome<T> r{zuliNoError, 0, a};
    DeviceArrays dev(api);
    r.status = routine(uplo, a.n, pub(dev(r.a)), a.ld);
    r.info = zuliGetErrorInfo();
    dev.download();
    return r;
}

// The host LAPACK routine `lapack` ((uplo, n, a, lda) -> info) on a copy of a.
template <typename T, typename Lapack>
Outcome<T> lapackOnMatrix(Lapack lapack, char uplo, const Matrix<T>& a) {
    Outcome<T> r{zuliNoError, 0, a};
    r.info = lapack(uplo, a.n, r.a.ptr(), a.ld);
    r.status = r.info > 0 ? zuliDataError : zuliNoError;
    return r;
}

template <typename T>
Outcome<T> runPotrf(Api api, char uplo, const Matrix<T>& a) {
    return runOnMatrix(api, ENTRY(api, potrf), uplo, a);
}
template <typename T>
Outcome<T> lapackPotrf(char uplo, const Matrix<T>& a) {
    return lapackOnMatrix(
        [](char u, int n, T* p, int ld) { return zuli::lapack::potrf(u, n, p, ld); }, uplo, a);
}

// Same status, info and matrix (to `tolerance` rounding units per order); rows beyond n are the
// caller's and stay exactly as they were.
template <typename T>
void expectSameOutcome(const Outcome<T>& got, const Outcome<T>& want, double tolerance) {
    EXPECT_EQ(got.status, want.status);
    EXPECT_EQ(got.info, want.info);
    EXPECT_LT(relativeError(got.a, want.a), tolerance);
    for (int j = 0; j < want.a.n; ++j)
        for (int i = want.a.n; i < want.a.ld; ++i) ASSERT_EQ(got.a(i, j), want.a(i, j));
}

// The letter as the device interface is given it in these tests: in lower case.
char letterFor(Api api, char uplo) {
    return api == Api::Host ? uplo : char(std::tolower(uplo));
}

template <typename T>
class CholeskyTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(CholeskyTyped, AllPrecisions);

// n = nb (host path), nb + 1 (a last block of one) and a couple of blocks, both triangles, both
// device generations and both interfaces; potri on LAPACK's factor against LAPACK's potri.
TYPED_TEST(CholeskyTyped, PotrfAndPotriMatchLapackAroundTheBlockSize) {
    using T = TypeParam;
    for (int code : this->generations()) {
        this->useCapability(code);
        const int nb = zuli::factorBlockSize<T>(code);
        for (int n : {nb, nb + 1, 2 * nb + nb / 2}) {
            const Matrix<T> a = positiveDefinite<T>(n, n + 2, this->rng);
            for (char uplo : {'L', 'U'}) {
                const Outcome<T> want = lapackPotrf(uplo, a);
                ASSERT_EQ(want.info, 0);
                const Outcome<T> inverse = lapackOnMatrix(
                    [](char u, int m, T* p, int ld) { return zuli::lapack::potri(u, m, p, ld); },
                    uplo, want.a);
                for (Api api : kApis) {
                    SCOPED_TRACE(::testing::Message()
                                 << "code " << code << ", n " << n << ", " << letterFor(api, uplo)
                                 << ", " << blas_test::apiName(api));
                    expectSameOutcome(runPotrf(api, letterFor(api, uplo), a), want, 40);
                    expectSameOutcome(
                        runOnMatrix(api, ENTRY(api, potri), letterFor(api, uplo), want.a), inverse,
                        40);
                }
            }
        }
    }
}

// A diagonal element of -1 makes the leading minor of its order the first that is not positive
// definite. On the host path the matrix comes back as LAPACK leaves it. On the blocked path the
// first block fails at once: it comes back as the host factored it, the rest untouched, for 'U'
// in conjugate-transposed (lower) storage. A later block reports its global order.
TYPED_TEST(CholeskyTyped, AMinorThatIsNotPositiveDefiniteStopsTheFactorization) {
    using T = TypeParam;
    const int nb = zuli::factorBlockSize<T>(90);
    struct Case {
        char uplo;
        int n, info;
    } cases[] = {
        {'L', 20, 3}, {'U', 20, 3}, {'L', nb + 5, 3}, {'U', nb + 5, 3}, {'U', 2 * nb + 3, nb + 3}};
    for (const Case& c : cases) {
        Matrix<T> a = positiveDefinite<T>(c.n, c.n, this->rng);
        a(c.info - 1, c.info - 1) = T(-1);
        Outcome<T> want{zuliDataError, c.info, c.uplo == 'U' ? conjugateTranspose(a) : a};
        if (c.n <= nb)
            want = lapackPotrf(c.uplo, a);
        else
            zuli::lapack::potrf('L', nb, want.a.ptr(), want.a.ld);
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message()
                         << c.uplo << " " << c.n << " " << blas_test::apiName(api));
            const Outcome<T> got = runPotrf(api, c.uplo, a);
            if (c.info <= nb) {
                expectSameOutcome(got, want, 1);
            } else {
                EXPECT_EQ(got.status, zuliDataError);
                EXPECT_EQ(got.info, c.info);
            }
        }
    }
}

// posv solves on the host and the blocked path; potrs with the factor it left gives the same X.
TYPED_TEST(CholeskyTyped, PosvAndPotrsSolve) {
    using T = TypeParam;
    const int nb = zuli::factorBlockSize<T>(90);
    for (int n : {7, nb + 1, 2 * nb + 3}) {
        const Matrix<T> b(n, 3, n + 2, this->rng);
        for (char uplo : {'L', 'U'}) {
            const Matrix<T> a = hermitianFrom(positiveDefinite<T>(n, n + 1, this->rng), uplo);
            for (Api api : kApis) {
                SCOPED_TRACE(::testing::Message()
                             << n << " " << uplo << " " << blas_test::apiName(api));
                const char letter = letterFor(api, uplo);
                Matrix<T> f = a, x = b, y = b;
                {
                    DeviceArrays dev(api);
                    ASSERT_EQ(ENTRY(api, posv)(letter, n, 3, pub(dev(f)), f.ld, pub(dev(x)), x.ld),
                              zuliNoError);
                    dev.download();
                }
                EXPECT_LT(solveResidual(a, x, b), 30);
                {
                    DeviceArrays dev(api);
                    ASSERT_EQ(ENTRY(api, potrs)(letter, n, 3, pub(dev(f)), f.ld, pub(dev(y)), y.ld),
                              zuliNoError);
                    dev.download();
                }
                EXPECT_EQ(relativeError(y, x), 0);
            }
        }
    }
}

// A row's call: the D routine `name` with the given arguments, through the host or the device
// interface.
template <typename F, typename... Args>
std::function<zuliStatus(bool)> withArguments(F host, F device, Args... args) {
    return [=](bool onDevice) { return (onDevice ? device : host)(args...); };
}
#define D_CALL(name, ...) withArguments(zuliD##name, zuliDeviceD##name, __VA_ARGS__)

// One row per (routine, arguments): the status and info of both interfaces. Rows that do work
// run on the host interface only (their arrays are host arrays).
TEST_F(SolverTest, CholeskyArgumentTables) {
    double a[4] = {4, 1, 1, 3}, b[2] = {1, 2}, zero[4] = {1, 1, 1, 0};
    struct Row {
        const char* what;
        std::function<zuliStatus(bool device)> call;
        zuliStatus status;
        int info;
        bool hostOnly = false;
    } rows[] = {
        {"potrf uplo", D_CALL(potrf, 'X', -1, a, 0), zuliArgumentError, -1},
        {"potrf n", D_CALL(potrf, 'L', -1, nullptr, 0), zuliArgumentError, -2},
        {"potrf lda before a", D_CALL(potrf, 'U', 2, nullptr, 1), zuliArgumentError, -4},
        {"potrf empty", D_CALL(potrf, 'L', 0, nullptr, 1), zuliNoError, 0},
        {"potrf empty lda", D_CALL(potrf, 'L', 0, nullptr, 0), zuliArgumentError, -4},
        {"potrf a", D_CALL(potrf, 'l', 2, nullptr, 2), zuliArgumentError, -3},
        {"potrs uplo", D_CALL(potrs, 'T', 2, 1, a, 2, b, 2), zuliArgumentError, -1},
        {"potrs n", D_CALL(potrs, 'L', -1, -1, a, 0, b, 0), zuliArgumentError, -2},
        {"potrs nrhs", D_CALL(potrs, 'L', 2, -1, a, 2, b, 2), zuliArgumentError, -3},
        {"potrs lda", D_CALL(potrs, 'L', 2, 1, a, 1, b, 1), zuliArgumentError, -5},
        {"potrs ldb", D_CALL(potrs, 'L', 2, 1, a, 2, b, 1), zuliArgumentError, -7},
        {"potrs no rhs, null a", D_CALL(potrs, 'L', 2, 0, nullptr, 2, nullptr, 2), zuliNoError, 0},
        {"potrs a", D_CALL(potrs, 'L', 2, 1, nullptr, 2, b, 2), zuliArgumentError, -4},
        {"potrs b", D_CALL(potrs, 'u', 2, 1, a, 2, nullptr, 2), zuliArgumentError, -6},
        {"posv uplo", D_CALL(posv, 'N', 2, 1, a, 2, b, 2), zuliArgumentError, -1},
        {"posv n", D_CALL(posv, 'L', -1, 1, a, 1, b, 1), zuliArgumentError, -2},
        {"posv nrhs", D_CALL(posv, 'L', 2, -1, a, 2, b, 2), zuliArgumentError, -3},
        {"posv lda", D_CALL(posv, 'L', 2, 1, a, 1, b, 2), zuliArgumentError, -5},
        {"posv ldb", D_CALL(posv, 'L', 2, 0, a, 2, b, 1), zuliArgumentError, -7},
        {"posv empty", D_CALL(posv, 'L', 0, 1, nullptr, 1, nullptr, 1), zuliNoError, 0},
        {"posv no rhs, null a", D_CALL(posv, 'L', 2, 0, nullptr, 2, nullptr, 2), zuliArgumentError,
         -4},
        {"posv b", D_CALL(posv, 'U', 2, 1, a, 2, nullptr, 2), zuliArgumentError, -6},
        {"potri uplo", D_CALL(potri, 'A', 2, a, 2), zuliArgumentError, -1},
        {"potri n", D_CALL(potri, 'U', -1, nullptr, 0), zuliArgumentError, -2},
        {"potri lda before a", D_CALL(potri, 'U', 2, nullptr, 1), zuliArgumentError, -4},
        {"potri empty", D_CALL(potri, 'u', 0, nullptr, 1), zuliNoError, 0},
        {"potri a", D_CALL(potri, 'L', 2, nullptr, 2), zuliArgumentError, -3},
        {"potri zero on the factor's diagonal", D_CALL(potri, 'L', 2, zero, 2), zuliDataError, 2,
         true},
        {"posv no rhs, null b: factors", D_CALL(posv, 'l', 2, 0, a, 2, nullptr, 2), zuliNoError, 0,
         true},
    };
    for (const Row& r : rows) {
        for (bool device : {false, true}) {
            if (device && r.hostOnly) continue;
            SCOPED_TRACE(::testing::Message() << r.what << (device ? " (device)" : ""));
            zuliEmuResetCounters();
            EXPECT_EQ(r.call(device), r.status);
            EXPECT_EQ(zuliGetErrorInfo(), r.info);
            if (!r.hostOnly) blas_test::expectNoWork();
        }
    }
    EXPECT_EQ(a[0], 2);  // the last row factored a: sqrt(4)
}

// Every allocation, cuBLAS call and CUDA call that the blocked potrf reaches, failing in turn,
// for both triangles and through both interfaces: the status of the fault, no device memory
// left, the caller's host matrix as it was (or the complete result, when the failure came after
// the copy-out), and the thread's cuBLAS handle back on the null stream.
TEST_F(SolverTest, BlockedPotrfFailureSweep) {
    SKIP_ON_A_REAL_GPU();
    const int n = 2 * zuli::factorBlockSize<double>(90) + 3;
    for (char uplo : {'L', 'U'}) {
        for (Api api : kApis) {
            SCOPED_TRACE(::testing::Message() << uplo << " " << blas_test::apiName(api));
            const Matrix<double> original = positiveDefinite<double>(n, n + 1, rng);
            const Outcome<double> want = lapackPotrf(uplo, original);
            Matrix<double> a = original;
            std::unique_ptr<DeviceArrays> dev;
            double* pa = nullptr;
            const int failures = sweepFailures(
                [&] {
                    a = original;
                    dev = std::make_unique<DeviceArrays>(api);
                    pa = (*dev)(a);
                },
                [&] {
                    return (api == Api::Host ? zuliDpotrf : zuliDeviceDpotrf)(uplo, n, pa, a.ld);
                },
                [&](const Fault&) {
                    cudaStream_t bound = reinterpret_cast<cudaStream_t>(1);
                    zuli::runDeviceRoutine<double>([&](const zuli::CallContext& c) {
                        EXPECT_EQ(cublasGetStream_v2(c.handle, &bound), CUBLAS_STATUS_SUCCESS);
                    });
                    EXPECT_EQ(bound, nullptr) << "the handle is left on a stream of the call";
                    if (api == Api::Host && a.data != original.data) {
                        EXPECT_LT(relativeError(a, want.a), 40);
                    }
                });
            dev.reset();
            EXPECT_GT(failures, 3);
        }
    }
}

// A device potrf of order 2048 in D ('U', so the in-place transposes run too): only the diagonal
// blocks cross the bus, once each way (n x nb elements in all, within 10 %), and cuBLAS does at
// least everything but the host's block factorizations.
TEST_F(SolverTest, DevicePotrfMovesOnlyDiagonalBlocks) {
    SKIP_ON_A_REAL_GPU();
    const int n = 2048, nb = zuli::factorBlockSize<double>(90);
    Matrix<double> a = positiveDefinite<double>(n, n, rng);
    DeviceArrays dev(Api::Device);
    double* da = dev(a);
    zuliEmuResetCounters();
    ASSERT_EQ(zuliDeviceDpotrf('U', n, da, n), zuliNoError);
    const auto c = counters();
    const double blocks = double(n) * nb * sizeof(double);
    EXPECT_NEAR(double(c.d2hBytes), blocks, 0.1 * blocks);
    EXPECT_NEAR(double(c.h2dBytes), blocks, 0.1 * blocks);
    EXPECT_EQ(c.d2dBytes, 0u);
    const double all = double(n) * n * n / 3, onHost = double(n / nb) * nb * nb * nb / 3;
    EXPECT_GE(c.blasFlops, 0.99 * (all - onHost)) << c.blasFlops;
}

}  // namespace
