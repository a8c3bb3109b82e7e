// The emulated cuBLAS as an API: handles and their binding to a device and a stream, pointer
// modes (when scalars and results are read and written), argument checks, operand checks,
// fault injection, counters and use from several threads.
#include "test_blas_support.h"

#include <functional>
#include <string>
#include <thread>

namespace blastest {
namespace {

constexpr cublasStatus_t kOk = CUBLAS_STATUS_SUCCESS;
constexpr cublasStatus_t kInvalid = CUBLAS_STATUS_INVALID_VALUE;
constexpr cublasStatus_t kNotInit = CUBLAS_STATUS_NOT_INITIALIZED;
constexpr double kOne = 1.0;

class BlasCalls : public BlasTest {
  protected:
    // A stream that does not synchronise with the legacy default stream, so that a synchronous
    // cudaMemcpy shows whether work queued on it has run.
    cudaStream_t nonBlockingStream() {
        cudaStream_t s = nullptr;
        EXPECT_EQ(cudaStreamCreateWithFlags(&s, cudaStreamNonBlocking), cudaSuccess);
        streams_.push_back(s);
        return s;
    }
    // The tests that show when work runs need it deferred, whatever the environment asks for.
    void SetUp() override {
        BlasTest::SetUp();
        zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_ADVERSARIAL, 12345);
    }
    void TearDown() override {
        for (cudaStream_t s : streams_) cudaStreamDestroy(s);
        BlasTest::TearDown();
    }
    static unsigned long long syncs() {
        zuliEmuCounters c;
        zuliEmuGetCounters(&c);
        return c.syncs;
    }

  private:
    std::vector<cudaStream_t> streams_;
};

// ---- handles ------------------------------------------------------------------------------------

TEST_F(BlasCalls, DestroyedNullOrForeignHandleIsRefusedEverywhere) {
    cublasHandle_t dead = nullptr;
    ASSERT_EQ(cublasCreate_v2(&dead), kOk);
    ASSERT_EQ(cublasDestroy_v2(dead), kOk);
    int foreignObject = 0;
    auto foreign = reinterpret_cast<cublasHandle_t>(&foreignObject);
    DeviceArray<double> x(std::vector<double>{1, 2, 3});
    for (cublasHandle_t h : {dead, cublasHandle_t(nullptr), foreign}) {
        SCOPED_TRACE(testing::Message() << "handle " << h);
        cudaStream_t s;
        cublasPointerMode_t mode;
        int version;
        double alpha = 2, result = -1;
        EXPECT_EQ(cublasDestroy_v2(h), kNotInit);
        EXPECT_EQ(cublasSetStream_v2(h, nullptr), kNotInit);
        EXPECT_EQ(cublasGetStream_v2(h, &s), kNotInit);
        EXPECT_EQ(cublasSetPointerMode_v2(h, CUBLAS_POINTER_MODE_HOST), kNotInit);
        EXPECT_EQ(cublasGetPointerMode_v2(h, &mode), kNotInit);
        EXPECT_EQ(cublasDscal_v2(h, 3, &alpha, x.get(), 1), kNotInit);
        EXPECT_EQ(cublasDnrm2_v2(h, 3, x.get(), 1, &result), kNotInit);
        EXPECT_EQ(result, -1);
        if (h) {
            EXPECT_EQ(cublasGetVersion_v2(h, &version), kNotInit);
        }
    }
    EXPECT_EQ(x.read(), (std::vector<double>{1, 2, 3}));
    // A new handle is usable and never takes the dead one's identity.
    cublasHandle_t fresh = nullptr;
    ASSERT_EQ(cublasCreate_v2(&fresh), kOk);
    EXPECT_NE(fresh, dead);
    EXPECT_EQ(cublasDestroy_v2(fresh), kOk);
}

TEST_F(BlasCalls, DestroySynchronisesTheDevice) {
    cublasHandle_t h = nullptr;
    ASSERT_EQ(cublasCreate_v2(&h), kOk);
    cudaStream_t s = nonBlockingStream();
    ASSERT_EQ(cublasSetStream_v2(h, s), kOk);
    DeviceArray<double> x(std::vector<double>{1, 2, 3});
    const double alpha = 2;
    ASSERT_EQ(cublasDscal_v2(h, 3, &alpha, x.get(), 1), kOk);
    ASSERT_EQ(cublasDestroy_v2(h), kOk);
    EXPECT_EQ(x.read(), (std::vector<double>{2, 4, 6}));
}

TEST_F(BlasCalls, CreateNeedsAUsableDevice) {
    EXPECT_EQ(cublasCreate_v2(nullptr), kInvalid);
    for (zuliEmuMode mode : {ZULI_EMU_MODE_NO_DEVICE, ZULI_EMU_MODE_NO_DRIVER}) {
        zuliEmuSetMode(mode);
        cublasHandle_t h = nullptr;
        EXPECT_EQ(cublasCreate_v2(&h), kNotInit) << "mode " << mode;
        EXPECT_EQ(h, nullptr);
    }
}

TEST_F(BlasCalls, VersionIsTheConfiguredOneWithOrWithoutHandle) {
    int version = 0;
    EXPECT_EQ(cublasGetVersion_v2(nullptr, &version), kOk);
    EXPECT_EQ(version, 130000);
    zuliEmuSetVersions(13000, 13000, 120304);
    EXPECT_EQ(cublasGetVersion_v2(handle, &version), kOk);
    EXPECT_EQ(version, 120304);
    EXPECT_EQ(cublasGetVersion_v2(handle, nullptr), kInvalid);
    int major = 0, minor = 0, patch = 0;
    EXPECT_EQ(cublasGetProperty(MAJOR_VERSION, &major), kOk);
    EXPECT_EQ(cublasGetProperty(MINOR_VERSION, &minor), kOk);
    EXPECT_EQ(cublasGetProperty(PATCH_LEVEL, &patch), kOk);
    EXPECT_EQ(major * 10000 + minor * 100 + patch, 120304);
}

TEST_F(BlasCalls, StreamAndPointerModeAccessors) {
    cudaStream_t s = reinterpret_cast<cudaStream_t>(1);
    cublasPointerMode_t mode = CUBLAS_POINTER_MODE_DEVICE;
    EXPECT_EQ(cublasGetStream_v2(handle, &s), kOk);
    EXPECT_EQ(s, nullptr);
    EXPECT_EQ(cublasGetPointerMode_v2(handle, &mode), kOk);
    EXPECT_EQ(mode, CUBLAS_POINTER_MODE_HOST);

    cudaStream_t mine = nonBlockingStream();
    EXPECT_EQ(cublasSetStream_v2(handle, mine), kOk);
    EXPECT_EQ(cublasGetStream_v2(handle, &s), kOk);
    EXPECT_EQ(s, mine);
    EXPECT_EQ(cublasSetPointerMode_v2(handle, CUBLAS_POINTER_MODE_DEVICE), kOk);
    EXPECT_EQ(cublasGetPointerMode_v2(handle, &mode), kOk);
    EXPECT_EQ(mode, CUBLAS_POINTER_MODE_DEVICE);

    EXPECT_EQ(cublasSetPointerMode_v2(handle, cublasPointerMode_t(2)), kInvalid);
    EXPECT_EQ(cublasGetStream_v2(handle, nullptr), kInvalid);
    EXPECT_EQ(cublasGetPointerMode_v2(handle, nullptr), kInvalid);
}

// ---- stream binding and pointer modes -----------------------------------------------------------

TEST_F(BlasCalls, WorkRunsOnTheHandlesStreamWhenThatStreamIsSynchronised) {
    cudaStream_t s = nonBlockingStream();
    ASSERT_EQ(cublasSetStream_v2(handle, s), kOk);
    DeviceArray<double> x(std::vector<double>{1, 2, 3});
    const double alpha = 2;
    ASSERT_EQ(cublasDscal_v2(handle, 3, &alpha, x.get(), 1), kOk);
    EXPECT_EQ(x.read(), (std::vector<double>{1, 2, 3})) << "ran before its stream was synchronised";
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(x.read(), (std::vector<double>{2, 4, 6}));
}

TEST_F(BlasCalls, DeviceScalarIsReadWhenTheWorkRuns) {
    cudaStream_t s = nonBlockingStream();
    ASSERT_EQ(cublasSetStream_v2(handle, s), kOk);
    ASSERT_EQ(cublasSetPointerMode_v2(handle, CUBLAS_POINTER_MODE_DEVICE), kOk);
    DeviceArray<double> alpha(std::vector<double>{2.0});
    DeviceArray<double> x(std::vector<double>{1, 2, 3});
    ASSERT_EQ(cublasDscal_v2(handle, 3, alpha.get(), x.get(), 1), kOk);
    alpha.write({10.0});
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(x.read(), (std::vector<double>{10, 20, 30}));

    // The same for a level-3 call with device alpha and beta (complex, so both parts are read).
    DeviceArray<cdouble> za(std::vector<cdouble>{{1, 0}}), zb(std::vector<cdouble>{{0, 0}});
    DeviceArray<cdouble> A(std::vector<cdouble>{{2, 0}}), B(std::vector<cdouble>{{3, 0}});
    DeviceArray<cdouble> C(std::vector<cdouble>{{5, 5}});
    ASSERT_EQ(cublasZgemm_v2(handle, CUBLAS_OP_N, CUBLAS_OP_N, 1, 1, 1, cu(za.get()), cu(A.get()),
                             1, cu(B.get()), 1, cu(zb.get()), cu(C.get()), 1),
              kOk);
    za.write({{0, 1}});
    zb.write({{1, 0}});
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(C.read(), (std::vector<cdouble>{{5, 11}}));  // i * 6 + 1 * (5 + 5i)
}

TEST_F(BlasCalls, HostScalarIsReadAtCallTime) {
    cudaStream_t s = nonBlockingStream();
    ASSERT_EQ(cublasSetStream_v2(handle, s), kOk);
    DeviceArray<double> x(std::vector<double>{1, 2, 3});
    double alpha = 2;
    ASSERT_EQ(cublasDscal_v2(handle, 3, &alpha, x.get(), 1), kOk);
    alpha = 10;
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(x.read(), (std::vector<double>{2, 4, 6}));
}

TEST_F(BlasCalls, ResultToHostMemoryWaitsForTheStream) {
    cudaStream_t s = nonBlockingStream();
    ASSERT_EQ(cublasSetStream_v2(handle, s), kOk);
    DeviceArray<double> x(std::vector<double>{1, 2, 3});
    const double two = 2;
    ASSERT_EQ(cublasDscal_v2(handle, 3, &two, x.get(), 1), kOk);
    const auto before = syncs();
    double dot = -1;
    int index = -1;
    ASSERT_EQ(cublasDdot_v2(handle, 3, x.get(), 1, x.get(), 1, &dot), kOk);
    EXPECT_EQ(dot, 56.0);  // the scaled vector: 4 + 16 + 36
    EXPECT_GT(syncs(), before);
    ASSERT_EQ(cublasIdamax_v2(handle, 3, x.get(), 1, &index), kOk);
    EXPECT_EQ(index, 3);
    EXPECT_EQ(x.read(), (std::vector<double>{2, 4, 6})) << "the stream's earlier work has run";
}

TEST_F(BlasCalls, ResultToDeviceMemoryIsDeferred) {
    cudaStream_t s = nonBlockingStream();
    ASSERT_EQ(cublasSetStream_v2(handle, s), kOk);
    ASSERT_EQ(cublasSetPointerMode_v2(handle, CUBLAS_POINTER_MODE_DEVICE), kOk);
    DeviceArray<cfloat> x(std::vector<cfloat>{{1, 1}, {2, -3}});
    DeviceArray<cfloat> dot(std::vector<cfloat>{{99, 99}});
    DeviceArray<float> nrm(std::vector<float>{-1});
    DeviceArray<int> index(std::vector<int>{-1});
    const auto before = syncs();
    ASSERT_EQ(cublasCdotc_v2(handle, 2, cu(x.get()), 1, cu(x.get()), 1, cu(dot.get())), kOk);
    ASSERT_EQ(cublasScasum_v2(handle, 2, cu(x.get()), 1, nrm.get()), kOk);
    ASSERT_EQ(cublasIcamax_v2(handle, 2, cu(x.get()), 1, index.get()), kOk);
    EXPECT_EQ(syncs(), before);
    EXPECT_EQ(dot.read(), (std::vector<cfloat>{{99, 99}}));
    EXPECT_EQ(index.read(), (std::vector<int>{-1}));
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(dot.read(), (std::vector<cfloat>{{15, 0}}));
    EXPECT_EQ(nrm.read(), (std::vector<float>{7}));
    EXPECT_EQ(index.read(), (std::vector<int>{2}));
}

// ---- argument checks ----------------------------------------------------------------------------

struct ArgumentCase {
    const char* what;
    std::function<cublasStatus_t()> call;
    cublasStatus_t expected;
};

TEST_F(BlasCalls, ArgumentChecks) {
    // Not strict: an argument the checks let through must show up as a wrong status, not abort.
    zuliEmuSetStrict(0);
    DeviceArray<double> dbuf(4096);
    DeviceArray<cdouble> zbuf(4096);
    double* d = dbuf.get();
    cuDoubleComplex* z = cu(zbuf.get());
    const double one = 1;
    const cuDoubleComplex zone = {1, 0};
    double result;
    int index;
    const cublasHandle_t h = handle;
    const auto N = CUBLAS_OP_N, T = CUBLAS_OP_T, C = CUBLAS_OP_C;
    const auto badOp = cublasOperation_t(CUBLAS_OP_CONJG);
    const auto L = CUBLAS_FILL_MODE_LOWER, U = CUBLAS_FILL_MODE_UPPER;
    const auto badFill = CUBLAS_FILL_MODE_FULL;
    const auto Left = CUBLAS_SIDE_LEFT, Right = CUBLAS_SIDE_RIGHT;
    const auto badSide = cublasSideMode_t(2);
    const auto NonUnit = CUBLAS_DIAG_NON_UNIT;
    const auto badDiag = cublasDiagType_t(2);
    // The calls most rows vary, with valid operands for everything not under test.
    auto gemm = [&](cublasOperation_t ta, cublasOperation_t tb, int m, int n, int k, int lda,
                    int ldb, int ldc, const double* alpha = &kOne, const double* beta = &kOne) {
        return cublasDgemm_v2(h, ta, tb, m, n, k, alpha, d, lda, d, ldb, beta, d, ldc);
    };
    auto symm = [&](cublasSideMode_t side, cublasFillMode_t uplo, int m, int n, int lda, int ldb,
                    int ldc) {
        return cublasDsymm_v2(h, side, uplo, m, n, &one, d, lda, d, ldb, &one, d, ldc);
    };
    auto syrk = [&](cublasOperation_t trans, int n, int k, int lda, int ldc) {
        return cublasDsyrk_v2(h, L, trans, n, k, &one, d, lda, &one, d, ldc);
    };
    auto trsm = [&](cublasSideMode_t side, cublasDiagType_t diag, int m, int n, int lda, int ldb,
                    const double* alpha = &kOne) {
        return cublasDtrsm_v2(h, side, U, N, diag, m, n, alpha, d, lda, d, ldb);
    };
    auto gemv = [&](cublasOperation_t trans, int m, int n, int lda, int incx, int incy) {
        return cublasDgemv_v2(h, trans, m, n, &one, d, lda, d, incx, &one, d, incy);
    };

    const ArgumentCase cases[] = {
        {"gemm transa", [&] { return gemm(badOp, N, 2, 2, 2, 2, 2, 2); }, kInvalid},
        {"gemm transb", [&] { return gemm(N, badOp, 2, 2, 2, 2, 2, 2); }, kInvalid},
        {"gemm m < 0", [&] { return gemm(N, N, -1, 2, 2, 2, 2, 2); }, kInvalid},
        {"gemm n < 0", [&] { return gemm(N, N, 2, -1, 2, 2, 2, 2); }, kInvalid},
        {"gemm k < 0", [&] { return gemm(N, N, 2, 2, -1, 2, 2, 2); }, kInvalid},
        {"gemm lda < m", [&] { return gemm(N, N, 4, 2, 2, 3, 2, 4); }, kInvalid},
        {"gemm lda < k, A transposed", [&] { return gemm(T, N, 2, 2, 5, 4, 5, 2); }, kInvalid},
        {"gemm lda 0, A empty", [&] { return gemm(N, N, 0, 2, 2, 0, 2, 1); }, kInvalid},
        {"gemm ldb < k", [&] { return gemm(N, N, 2, 2, 3, 2, 2, 2); }, kInvalid},
        {"gemm ldb < n, B transposed", [&] { return gemm(N, C, 2, 3, 2, 2, 2, 2); }, kInvalid},
        {"gemm ldc < m", [&] { return gemm(N, N, 3, 2, 2, 3, 2, 2); }, kInvalid},
        {"gemm alpha null", [&] { return gemm(N, N, 2, 2, 2, 2, 2, 2, nullptr); }, kInvalid},
        {"gemm beta null", [&] { return gemm(N, N, 2, 2, 2, 2, 2, 2, &one, nullptr); }, kInvalid},
        {"gemm null handle",
         [&] { return cublasDgemm_v2(nullptr, N, N, 2, 2, 2, &one, d, 2, d, 2, &one, d, 2); },
         kNotInit},
        {"gemm m = 0 touches nothing",
         [&] {
             return cublasDgemm_v2(h, N, N, 0, 2, 2, &one, nullptr, 1, nullptr, 2, &one, nullptr,
                                   1);
         },
         kOk},
        {"symm side", [&] { return symm(badSide, L, 2, 2, 2, 2, 2); }, kInvalid},
        {"symm uplo full", [&] { return symm(Left, badFill, 2, 2, 2, 2, 2); }, kInvalid},
        {"symm lda < m, left", [&] { return symm(Left, L, 3, 2, 2, 3, 3); }, kInvalid},
        {"symm lda < n, right", [&] { return symm(Right, L, 2, 3, 2, 2, 2); }, kInvalid},
        {"symm ldb < m", [&] { return symm(Left, U, 3, 2, 3, 2, 3); }, kInvalid},
        {"symm ldc < m", [&] { return symm(Left, U, 3, 2, 3, 3, 2); }, kInvalid},
        {"hemm ldc < m",
         [&] { return cublasZhemm_v2(h, Left, U, 3, 2, &zone, z, 3, z, 3, &zone, z, 2); },
         kInvalid},
        {"syrk trans", [&] { return syrk(badOp, 2, 2, 2, 2); }, kInvalid},
        {"syrk n < 0", [&] { return syrk(N, -1, 2, 2, 2); }, kInvalid},
        {"syrk k < 0", [&] { return syrk(N, 2, -1, 2, 2); }, kInvalid},
        {"syrk lda < n", [&] { return syrk(N, 3, 2, 2, 3); }, kInvalid},
        {"syrk lda < k, A transposed", [&] { return syrk(T, 2, 3, 2, 2); }, kInvalid},
        {"syrk ldc < n", [&] { return syrk(N, 3, 2, 3, 2); }, kInvalid},
        {"complex syrk takes no conjugate transpose",
         [&] { return cublasZsyrk_v2(h, L, C, 2, 2, &zone, z, 2, &zone, z, 2); }, kInvalid},
        {"herk takes no plain transpose",
         [&] { return cublasZherk_v2(h, L, T, 2, 2, &one, z, 2, &one, z, 2); }, kInvalid},
        {"syr2k ldb < n",
         [&] { return cublasDsyr2k_v2(h, L, N, 3, 2, &one, d, 3, d, 2, &one, d, 3); }, kInvalid},
        {"her2k takes no plain transpose",
         [&] { return cublasZher2k_v2(h, L, T, 2, 2, &zone, z, 2, z, 2, &one, z, 2); }, kInvalid},
        {"trsm side", [&] { return trsm(badSide, NonUnit, 2, 2, 2, 2); }, kInvalid},
        {"trsm diag", [&] { return trsm(Left, badDiag, 2, 2, 2, 2); }, kInvalid},
        {"trsm lda < n, right", [&] { return trsm(Right, NonUnit, 2, 3, 2, 2); }, kInvalid},
        {"trsm ldb < m", [&] { return trsm(Left, NonUnit, 3, 2, 3, 2); }, kInvalid},
        {"trsm alpha null", [&] { return trsm(Left, NonUnit, 2, 2, 2, 2, nullptr); }, kInvalid},
        {"trmm trans",
         [&] { return cublasDtrmm_v2(h, Left, L, badOp, NonUnit, 2, 2, &one, d, 2, d, 2, d, 2); },
         kInvalid},
        {"trmm ldc < m",
         [&] { return cublasDtrmm_v2(h, Left, L, N, NonUnit, 3, 2, &one, d, 3, d, 3, d, 2); },
         kInvalid},
        {"gemv trans", [&] { return gemv(badOp, 2, 2, 2, 1, 1); }, kInvalid},
        {"gemv lda < m", [&] { return gemv(T, 3, 2, 2, 1, 1); }, kInvalid},
        {"gemv incx 0", [&] { return gemv(N, 2, 2, 2, 0, 1); }, kInvalid},
        {"gemv incy 0", [&] { return gemv(N, 2, 2, 2, 1, 0); }, kInvalid},
        {"symv uplo", [&] { return cublasZsymv_v2(h, badFill, 2, &zone, z, 2, z, 1, &zone, z, 1); },
         kInvalid},
        {"hemv lda < n", [&] { return cublasZhemv_v2(h, L, 3, &zone, z, 2, z, 1, &zone, z, 1); },
         kInvalid},
        {"trmv incx 0", [&] { return cublasDtrmv_v2(h, L, N, NonUnit, 2, d, 2, d, 0); }, kInvalid},
        {"trsv lda < n", [&] { return cublasDtrsv_v2(h, U, T, NonUnit, 3, d, 2, d, 1); }, kInvalid},
        {"trsv n < 0", [&] { return cublasDtrsv_v2(h, U, T, NonUnit, -1, d, 2, d, 1); }, kInvalid},
        {"ger lda < m", [&] { return cublasDger_v2(h, 3, 2, &one, d, 1, d, 1, d, 2); }, kInvalid},
        {"gerc incy 0", [&] { return cublasZgerc_v2(h, 2, 2, &zone, z, 1, z, 0, z, 2); }, kInvalid},
        {"scal alpha null", [&] { return cublasDscal_v2(h, 2, nullptr, d, 1); }, kInvalid},
        {"axpy alpha null", [&] { return cublasDaxpy_v2(h, 2, nullptr, d, 1, d, 1); }, kInvalid},
        {"dot result null", [&] { return cublasDdot_v2(h, 2, d, 1, d, 1, nullptr); }, kInvalid},
        {"nrm2 result null", [&] { return cublasDnrm2_v2(h, 2, d, 1, nullptr); }, kInvalid},
        {"iamax result null", [&] { return cublasIdamax_v2(h, 2, d, 1, nullptr); }, kInvalid},
        {"rot c null", [&] { return cublasDrot_v2(h, 2, d, 1, d, 1, nullptr, &one); }, kInvalid},
        {"dot n < 0 is 0", [&] { return cublasDdot_v2(h, -3, d, 1, d, 1, &result); }, kOk},
        {"iamax incx < 0 is 0", [&] { return cublasIdamax_v2(h, 2, d, -1, &index); }, kOk},
        {"copy n = 0 touches nothing", [&] { return cublasDcopy_v2(h, 0, nullptr, 1, nullptr, 1); },
         kOk},
    };
    for (const ArgumentCase& c : cases) EXPECT_EQ(c.call(), c.expected) << c.what;
    EXPECT_EQ(zuliEmuViolationCount(), 0u);
}

TEST_F(BlasCalls, GemmWithEmptyInnerDimensionScalesC) {
    DeviceArray<float> C(std::vector<float>{1, 2, 3, 4});
    const float alpha = 5, beta = -2;
    ASSERT_EQ(cublasSgemm_v2(handle, CUBLAS_OP_N, CUBLAS_OP_T, 2, 2, 0, &alpha, nullptr, 2, nullptr,
                             2, &beta, C.get(), 2),
              kOk);
    EXPECT_EQ(C.read(), (std::vector<float>{-2, -4, -6, -8}));
}

// ---- operand checks -----------------------------------------------------------------------------

using BlasCallsDeathTest = BlasCalls;

TEST_F(BlasCallsDeathTest, BadOperandsAbortInStrictMode) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    DeviceArray<double> A(6), B(6), C(6), scalar(std::vector<double>{1});
    std::vector<double> host(64);
    const double one = 1;
    double result;
    const auto N = CUBLAS_OP_N;
    // A host array as an operand.
    EXPECT_DEATH(
        cublasDgemm_v2(handle, N, N, 2, 3, 2, &one, host.data(), 2, B.get(), 2, &one, C.get(), 2),
        "cublasDgemm_v2");
    // An extent past the allocation: 2 x 3 with lda 3 spans 8 elements of 6.
    EXPECT_DEATH(
        cublasDgemm_v2(handle, N, N, 2, 3, 2, &one, A.get(), 2, B.get(), 2, &one, C.get(), 3),
        "cublasDgemm_v2");
    // A strided vector past the allocation: 3 elements with increment 3 span 7.
    EXPECT_DEATH(cublasDnrm2_v2(handle, 3, A.get(), 3, &result), "cublasDnrm2_v2");
    // A device result in host pointer mode, a host scalar in device pointer mode.
    EXPECT_DEATH(cublasDdot_v2(handle, 2, A.get(), 1, B.get(), 1, scalar.get()), "cublasDdot_v2");
    EXPECT_DEATH(cublasDscal_v2(handle, 2, scalar.get(), A.get(), 1), "cublasDscal_v2");
    ASSERT_EQ(cublasSetPointerMode_v2(handle, CUBLAS_POINTER_MODE_DEVICE), kOk);
    EXPECT_DEATH(cublasDaxpy_v2(handle, 2, &one, A.get(), 1, B.get(), 1), "cublasDaxpy_v2");
}

TEST_F(BlasCallsDeathTest, HandleUsedOnAnotherDeviceAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    DeviceArray<double> x(4);
    const double alpha = 2;
    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    EXPECT_DEATH(cublasDscal_v2(handle, 4, &alpha, x.get(), 1), "cublasDscal_v2.*device");
    // Back on the handle's device, but bound to a stream of the other one.
    cudaStream_t other = nullptr;
    ASSERT_EQ(cudaStreamCreate(&other), cudaSuccess);
    ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
    ASSERT_EQ(cublasSetStream_v2(handle, other), kOk);
    EXPECT_DEATH(cublasDscal_v2(handle, 4, &alpha, x.get(), 1), "cublasDscal_v2.*stream");
    ASSERT_EQ(cublasSetStream_v2(handle, nullptr), kOk);
    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    EXPECT_EQ(cudaStreamDestroy(other), cudaSuccess);
    ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
}

TEST_F(BlasCalls, BadOperandIsAnExecutionFailureWhenNotStrict) {
    zuliEmuSetStrict(0);
    {
        DeviceArray<double> A(4), B(4);
        std::vector<double> host(4, 1.0);
        const double one = 1;
        EXPECT_EQ(cublasDaxpy_v2(handle, 4, &one, host.data(), 1, B.get(), 1),
                  CUBLAS_STATUS_EXECUTION_FAILED);
        EXPECT_EQ(zuliEmuViolationCount(), 1u);
        EXPECT_NE(std::string(zuliEmuLastViolation()).find("cublasDaxpy_v2"), std::string::npos);
        EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorIllegalAddress);
        zuliEmuReset();  // clears the sticky error so that the arrays can be freed
    }
}

// ---- fault injection ----------------------------------------------------------------------------

TEST_F(BlasCalls, InjectedFaultReturnsItsStatusAndDoesNothing) {
    DeviceArray<double> x(std::vector<double>{1, 2});
    const double two = 2;
    zuliEmuFailBlasCall("cublasDscal_v2", 2, CUBLAS_STATUS_INTERNAL_ERROR);
    EXPECT_EQ(cublasDscal_v2(handle, 2, &two, x.get(), 1), kOk);
    EXPECT_EQ(cublasDscal_v2(handle, 2, &two, x.get(), 1), CUBLAS_STATUS_INTERNAL_ERROR);
    EXPECT_EQ(cublasDscal_v2(handle, 2, &two, x.get(), 1), kOk);
    EXPECT_EQ(x.read(), (std::vector<double>{4, 8}));
    EXPECT_EQ(zuliEmuBlasOpCalls("scal"), 2u);

    // Any call, handle management included.
    zuliEmuFailBlasCall(nullptr, 1, CUBLAS_STATUS_ALLOC_FAILED);
    cublasHandle_t h = nullptr;
    EXPECT_EQ(cublasCreate_v2(&h), CUBLAS_STATUS_ALLOC_FAILED);
    EXPECT_EQ(h, nullptr);
    zuliEmuFailBlasCall("cublasSetStream_v2", 1, CUBLAS_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(cublasSetStream_v2(handle, nullptr), CUBLAS_STATUS_NOT_SUPPORTED);
    double nrm = -1;
    zuliEmuFailBlasCall("cublasDnrm2_v2", 1, CUBLAS_STATUS_EXECUTION_FAILED);
    EXPECT_EQ(cublasDnrm2_v2(handle, 2, x.get(), 1, &nrm), CUBLAS_STATUS_EXECUTION_FAILED);
    EXPECT_EQ(nrm, -1);
}

// ---- counters -----------------------------------------------------------------------------------

TEST_F(BlasCalls, CountsCallsAndFlopsPerOperation) {
    DeviceArray<double> d(64);
    DeviceArray<cdouble> z(64);
    const double one = 1;
    const cuDoubleComplex zone = {1, 0};
    const auto N = CUBLAS_OP_N;
    zuliEmuResetCounters();
    // gemm 3 x 4 x 5: 2 * 60 real flops, 8 * 60 complex.
    ASSERT_EQ(cublasDgemm_v2(handle, N, N, 3, 4, 5, &one, d.get(), 3, d.get(), 5, &one, d.get(), 3),
              kOk);
    ASSERT_EQ(cublasZgemm_v2(handle, N, N, 3, 4, 5, &zone, cu(z.get()), 3, cu(z.get()), 5, &zone,
                             cu(z.get()), 3),
              kOk);
    // trsm, left, m = 4, n = 3: 3 * 4 * 5 / 2 multiplications and 3 * 4 * 3 / 2 additions.
    ASSERT_EQ(cublasDtrsm_v2(handle, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, N,
                             CUBLAS_DIAG_NON_UNIT, 4, 3, &one, d.get(), 4, d.get(), 4),
              kOk);
    // syrk n = 4, k = 3: 3 * 4 * 5 / 2 multiplications and as many additions.
    ASSERT_EQ(
        cublasDsyrk_v2(handle, CUBLAS_FILL_MODE_UPPER, N, 4, 3, &one, d.get(), 4, &one, d.get(), 4),
        kOk);
    cudaStream_t s;
    ASSERT_EQ(cublasGetStream_v2(handle, &s), kOk);  // not an operation: not counted

    EXPECT_EQ(zuliEmuBlasOpCalls("gemm"), 2u);
    EXPECT_DOUBLE_EQ(zuliEmuBlasOpFlops("gemm"), 120.0 + 480.0);
    EXPECT_EQ(zuliEmuBlasOpCalls("trsm"), 1u);
    EXPECT_DOUBLE_EQ(zuliEmuBlasOpFlops("trsm"), 30.0 + 18.0);
    EXPECT_DOUBLE_EQ(zuliEmuBlasOpFlops("syrk"), 60.0);
    EXPECT_EQ(zuliEmuBlasOpCalls("trmm"), 0u);
    zuliEmuCounters c;
    zuliEmuGetCounters(&c);
    EXPECT_EQ(c.blasCalls, 4u);
    EXPECT_DOUBLE_EQ(c.blasFlops, 600.0 + 48.0 + 60.0);
}

// ---- threads ------------------------------------------------------------------------------------

TEST_F(BlasCalls, HandlesOnSeveralThreadsAtOnce) {
    constexpr int kThreads = 3, kCalls = 20, n = 16;
    std::vector<std::vector<double>> results(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &results] {
            cublasHandle_t h = nullptr;
            cudaStream_t s = nullptr;
            ASSERT_EQ(cublasCreate_v2(&h), kOk);
            ASSERT_EQ(cudaStreamCreate(&s), cudaSuccess);
            ASSERT_EQ(cublasSetStream_v2(h, s), kOk);
            DeviceArray<double> A(randomVector<double>(n * n, 50 + t));
            DeviceArray<double> C(std::vector<double>(n * n, 0.0));
            const double alpha = 1, beta = 1;
            for (int i = 0; i < kCalls; ++i) {
                ASSERT_EQ(cublasDgemm_v2(h, CUBLAS_OP_N, CUBLAS_OP_T, n, n, n, &alpha, A.get(), n,
                                         A.get(), n, &beta, C.get(), n),
                          kOk);
            }
            ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
            results[t] = C.read();
            cudaStreamDestroy(s);
            cublasDestroy_v2(h);
        });
    }
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) {
        auto A = randomVector<double>(n * n, 50 + t);
        std::vector<double> expected(n * n, 0.0);
        cblas_dsyrk(CblasColMajor, CblasUpper, CblasNoTrans, n, n, kCalls, A.data(), n, 0.0,
                    expected.data(), n);
        for (int j = 0; j < n; ++j)
            for (int i = 0; i <= j; ++i)
                EXPECT_NEAR(results[t][i + j * n], expected[i + j * n], 1e-10 * n * kCalls)
                    << "thread " << t << " (" << i << "," << j << ")";
    }
}

}  // namespace
}  // namespace blastest
