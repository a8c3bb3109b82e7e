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
using Doubles = std::vector<double>;

class BlasCalls : public BlasTest {
  protected:
    void TearDown() override {
        if (stream_) cudaStreamDestroy(stream_);
        BlasTest::TearDown();
    }
    // Binds the handle to a stream that does not synchronise with the legacy default stream, so
    // that a synchronous cudaMemcpy shows whether work queued on it has run.
    cudaStream_t bindNonBlockingStream() {
        stream_ = newStream(cudaStreamNonBlocking);
        EXPECT_EQ(cublasSetStream_v2(handle, stream_), kOk);
        return stream_;
    }

  private:
    cudaStream_t stream_ = nullptr;
};

// ---- handles ------------------------------------------------------------------------------------

TEST_F(BlasCalls, DestroyedNullOrForeignHandleIsRefusedEverywhere) {
    cublasHandle_t dead = nullptr, fresh = nullptr;
    ASSERT_EQ(cublasCreate_v2(&dead), kOk);
    ASSERT_EQ(cublasDestroy_v2(dead), kOk);
    int foreignObject = 0;
    DeviceArray<double> x(Doubles{1, 2, 3});
    for (cublasHandle_t h :
         {dead, cublasHandle_t(nullptr), reinterpret_cast<cublasHandle_t>(&foreignObject)}) {
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
        EXPECT_EQ(h ? cublasGetVersion_v2(h, &version) : kNotInit, kNotInit);
    }
    EXPECT_EQ(x.read(), (Doubles{1, 2, 3}));
    ASSERT_EQ(cublasCreate_v2(&fresh), kOk);
    EXPECT_NE(fresh, dead) << "a new handle never takes a dead one's identity";
    EXPECT_EQ(cublasDestroy_v2(fresh), kOk);
}

TEST_F(BlasCalls, CreateNeedsAUsableDeviceAndVersionNeedsNoHandle) {
    int version = 0, major = 0, minor = 0, patch = 0;
    EXPECT_EQ(cublasGetVersion_v2(nullptr, &version), kOk);
    EXPECT_EQ(version, CUBLAS_VERSION);
    zuliEmuSetVersions(13000, 13000, 120304);
    EXPECT_EQ(cublasGetVersion_v2(handle, &version), kOk);
    EXPECT_EQ(version, 120304);
    EXPECT_EQ(cublasGetProperty(MAJOR_VERSION, &major), kOk);
    EXPECT_EQ(cublasGetProperty(MINOR_VERSION, &minor), kOk);
    EXPECT_EQ(cublasGetProperty(PATCH_LEVEL, &patch), kOk);
    EXPECT_EQ(major * 10000 + minor * 100 + patch, 120304);
    for (zuliEmuMode mode : {ZULI_EMU_MODE_NO_DEVICE, ZULI_EMU_MODE_NO_DRIVER}) {
        zuliEmuSetMode(mode);
        cublasHandle_t h = nullptr;
        EXPECT_EQ(cublasCreate_v2(&h), kNotInit) << "mode " << mode;
        EXPECT_EQ(h, nullptr);
    }
}

// ---- stream binding and pointer modes -----------------------------------------------------------

// Work waits for the handle's stream and reads a host scalar at the call, a device scalar (both
// parts of a complex one) when it runs; destroying the handle synchronises the device.
TEST_F(BlasCalls, WorkRunsOnTheHandlesStreamAndReadsScalarsPerPointerMode) {
    cudaStream_t s = bindNonBlockingStream();
    DeviceArray<double> x(Doubles{1, 2, 3});
    double alpha = 2;
    ASSERT_EQ(cublasDscal_v2(handle, 3, &alpha, x.get(), 1), kOk);
    alpha = 10;
    EXPECT_EQ(x.read(), (Doubles{1, 2, 3})) << "ran before its stream was synchronised";
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(x.read(), (Doubles{2, 4, 6}));

    ASSERT_EQ(cublasSetPointerMode_v2(handle, CUBLAS_POINTER_MODE_DEVICE), kOk);
    using Z = std::vector<cdouble>;
    DeviceArray<cdouble> a(Z{{1, 0}}), b(Z{{0, 0}}), A(Z{{2, 0}}), B(Z{{3, 0}}), C(Z{{5, 5}});
    ASSERT_EQ(cublasZgemm_v2(handle, CUBLAS_OP_N, CUBLAS_OP_N, 1, 1, 1, cu(a.get()), cu(A.get()), 1,
                             cu(B.get()), 1, cu(b.get()), cu(C.get()), 1),
              kOk);
    a.write({{0, 1}});
    b.write({{1, 0}});
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(C.read(), (Z{{5, 11}}));  // i * 6 + 1 * (5 + 5i)

    ASSERT_EQ(cublasSetPointerMode_v2(handle, CUBLAS_POINTER_MODE_HOST), kOk);
    ASSERT_EQ(cublasDscal_v2(handle, 3, &alpha, x.get(), 1), kOk);
    ASSERT_EQ(cublasDestroy_v2(handle), kOk);
    handle = nullptr;
    EXPECT_EQ(x.read(), (Doubles{20, 40, 60}));
}

// A result into host memory waits for the stream (earlier work included); into device memory it
// is deferred like any work.
TEST_F(BlasCalls, ResultsToHostMemoryWaitToDeviceMemoryAreDeferred) {
    cudaStream_t s = bindNonBlockingStream();
    DeviceArray<double> x(Doubles{1, 2, 3});
    const double two = 2;
    ASSERT_EQ(cublasDscal_v2(handle, 3, &two, x.get(), 1), kOk);
    auto syncs = counters().syncs;
    double dot = -1;
    ASSERT_EQ(cublasDdot_v2(handle, 3, x.get(), 1, x.get(), 1, &dot), kOk);
    EXPECT_EQ(dot, 56.0);  // the scaled vector: 4 + 16 + 36
    EXPECT_GT(counters().syncs, syncs);

    ASSERT_EQ(cublasSetPointerMode_v2(handle, CUBLAS_POINTER_MODE_DEVICE), kOk);
    DeviceArray<cfloat> z(std::vector<cfloat>{{1, 1}, {2, -3}}), zdot(std::vector<cfloat>{{9, 9}});
    DeviceArray<float> sum(std::vector<float>{-1});
    DeviceArray<int> index(std::vector<int>{-1});
    syncs = counters().syncs;
    ASSERT_EQ(cublasCdotc_v2(handle, 2, cu(z.get()), 1, cu(z.get()), 1, cu(zdot.get())), kOk);
    ASSERT_EQ(cublasScasum_v2(handle, 2, cu(z.get()), 1, sum.get()), kOk);
    ASSERT_EQ(cublasIcamax_v2(handle, 2, cu(z.get()), 1, index.get()), kOk);
    EXPECT_EQ(counters().syncs, syncs);
    EXPECT_EQ(zdot.read(), (std::vector<cfloat>{{9, 9}}));
    EXPECT_EQ(index.read(), (std::vector<int>{-1}));
    ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
    EXPECT_EQ(zdot.read(), (std::vector<cfloat>{{15, 0}}));
    EXPECT_EQ(sum.read(), (std::vector<float>{7}));
    EXPECT_EQ(index.read(), (std::vector<int>{2}));
}

// ---- argument checks ----------------------------------------------------------------------------

struct ArgumentCase {
    const char* call;
    std::function<cublasStatus_t()> run;
    cublasStatus_t expected;
};
#define ROW(expected, call)                   \
    {                                         \
#call, [&] { return call; }, expected \
    }

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
    const auto full = CUBLAS_FILL_MODE_FULL;
    const auto Left = CUBLAS_SIDE_LEFT, Right = CUBLAS_SIDE_RIGHT;
    const auto badSide = cublasSideMode_t(2);
    const auto NU = CUBLAS_DIAG_NON_UNIT;
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
        ROW(kInvalid, cublasCreate_v2(nullptr)),
        ROW(kInvalid, cublasSetPointerMode_v2(h, cublasPointerMode_t(2))),
        ROW(kInvalid, cublasGetStream_v2(h, nullptr)),
        ROW(kInvalid, cublasGetPointerMode_v2(h, nullptr)),
        ROW(kInvalid, cublasGetVersion_v2(h, nullptr)),
        ROW(kInvalid, gemm(badOp, N, 2, 2, 2, 2, 2, 2)),
        ROW(kInvalid, gemm(N, badOp, 2, 2, 2, 2, 2, 2)),
        ROW(kInvalid, gemm(N, N, -1, 2, 2, 2, 2, 2)),
        ROW(kInvalid, gemm(N, N, 2, -1, 2, 2, 2, 2)),
        ROW(kInvalid, gemm(N, N, 2, 2, -1, 2, 2, 2)),
        ROW(kInvalid, gemm(N, N, 4, 2, 2, 3, 2, 4)),  // lda < m
        ROW(kInvalid, gemm(T, N, 2, 2, 5, 4, 5, 2)),  // lda < k, A transposed
        ROW(kInvalid, gemm(N, N, 0, 2, 2, 0, 2, 1)),  // lda 0 with A empty
        ROW(kInvalid, gemm(N, N, 2, 2, 3, 2, 2, 2)),  // ldb < k
        ROW(kInvalid, gemm(N, C, 2, 3, 2, 2, 2, 2)),  // ldb < n, B transposed
        ROW(kInvalid, gemm(N, N, 3, 2, 2, 3, 2, 2)),  // ldc < m
        ROW(kInvalid, gemm(N, N, 2, 2, 2, 2, 2, 2, nullptr)),
        ROW(kInvalid, gemm(N, N, 2, 2, 2, 2, 2, 2, &one, nullptr)),
        ROW(kNotInit, cublasDgemm_v2(nullptr, N, N, 2, 2, 2, &one, d, 2, d, 2, &one, d, 2)),
        ROW(kOk, cublasDgemm_v2(h, N, N, 0, 2, 2, &one, nullptr, 1, nullptr, 2, &one, nullptr, 1)),
        ROW(kInvalid, symm(badSide, L, 2, 2, 2, 2, 2)),
        ROW(kInvalid, symm(Left, full, 2, 2, 2, 2, 2)),
        ROW(kInvalid, symm(Left, L, 3, 2, 2, 3, 3)),   // lda < m, left
        ROW(kInvalid, symm(Right, L, 2, 3, 2, 2, 2)),  // lda < n, right
        ROW(kInvalid, symm(Left, U, 3, 2, 3, 2, 3)),   // ldb < m
        ROW(kInvalid, symm(Left, U, 3, 2, 3, 3, 2)),   // ldc < m
        ROW(kInvalid, syrk(badOp, 2, 2, 2, 2)),
        ROW(kInvalid, syrk(N, -1, 2, 2, 2)),
        ROW(kInvalid, syrk(N, 2, -1, 2, 2)),
        ROW(kInvalid, syrk(N, 3, 2, 2, 3)),  // lda < n
        ROW(kInvalid, syrk(T, 2, 3, 2, 2)),  // lda < k, A transposed
        ROW(kInvalid, syrk(N, 3, 2, 3, 2)),  // ldc < n
        ROW(kInvalid, cublasZsyrk_v2(h, L, C, 2, 2, &zone, z, 2, &zone, z, 2)),
        ROW(kInvalid, cublasZherk_v2(h, L, T, 2, 2, &one, z, 2, &one, z, 2)),
        ROW(kInvalid, cublasDsyr2k_v2(h, L, N, 3, 2, &one, d, 3, d, 2, &one, d, 3)),
        ROW(kInvalid, cublasZher2k_v2(h, L, T, 2, 2, &zone, z, 2, z, 2, &one, z, 2)),
        ROW(kInvalid, trsm(badSide, NU, 2, 2, 2, 2)),
        ROW(kInvalid, trsm(Left, badDiag, 2, 2, 2, 2)),
        ROW(kInvalid, trsm(Right, NU, 2, 3, 2, 2)),  // lda < n, right
        ROW(kInvalid, trsm(Left, NU, 3, 2, 3, 2)),   // ldb < m
        ROW(kInvalid, trsm(Left, NU, 2, 2, 2, 2, nullptr)),
        ROW(kInvalid, cublasDtrmm_v2(h, Left, L, badOp, NU, 2, 2, &one, d, 2, d, 2, d, 2)),
        ROW(kInvalid, cublasDtrmm_v2(h, Left, L, N, NU, 3, 2, &one, d, 3, d, 3, d, 2)),
        ROW(kInvalid, gemv(badOp, 2, 2, 2, 1, 1)),
        ROW(kInvalid, gemv(T, 3, 2, 2, 1, 1)),  // lda < m
        ROW(kInvalid, gemv(N, 2, 2, 2, 0, 1)),
        ROW(kInvalid, gemv(N, 2, 2, 2, 1, 0)),
        ROW(kInvalid, cublasZsymv_v2(h, full, 2, &zone, z, 2, z, 1, &zone, z, 1)),
        ROW(kInvalid, cublasZhemv_v2(h, L, 3, &zone, z, 2, z, 1, &zone, z, 1)),
        ROW(kInvalid, cublasDtrmv_v2(h, L, N, NU, 2, d, 2, d, 0)),
        ROW(kInvalid, cublasDtrsv_v2(h, U, T, NU, 3, d, 2, d, 1)),
        ROW(kInvalid, cublasDtrsv_v2(h, U, T, NU, -1, d, 2, d, 1)),
        ROW(kInvalid, cublasDger_v2(h, 3, 2, &one, d, 1, d, 1, d, 2)),
        ROW(kInvalid, cublasZgerc_v2(h, 2, 2, &zone, z, 1, z, 0, z, 2)),
        ROW(kInvalid, cublasDscal_v2(h, 2, nullptr, d, 1)),
        ROW(kInvalid, cublasDaxpy_v2(h, 2, nullptr, d, 1, d, 1)),
        ROW(kInvalid, cublasDdot_v2(h, 2, d, 1, d, 1, nullptr)),
        ROW(kInvalid, cublasDnrm2_v2(h, 2, d, 1, nullptr)),
        ROW(kInvalid, cublasIdamax_v2(h, 2, d, 1, nullptr)),
        ROW(kInvalid, cublasDrot_v2(h, 2, d, 1, d, 1, nullptr, &one)),
        ROW(kOk, cublasDdot_v2(h, -3, d, 1, d, 1, &result)),
        ROW(kOk, cublasIdamax_v2(h, 2, d, -1, &index)),
        ROW(kOk, cublasDcopy_v2(h, 0, nullptr, 1, nullptr, 1)),
    };
    for (const ArgumentCase& c : cases) EXPECT_EQ(c.run(), c.expected) << c.call;
    EXPECT_EQ(zuliEmuViolationCount(), 0u);
}

// ---- operand checks -----------------------------------------------------------------------------

using BlasCallsDeathTest = BlasCalls;

// Operands that are not device memory of the extent the call touches or belong to another
// device, scalars and results in the wrong memory for the pointer mode, a handle used on another
// device or bound to another device's stream.
TEST_F(BlasCallsDeathTest, BadOperandsAbortInStrictMode) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    DeviceArray<double> A(6), B(6), C(6), scalar(Doubles{1});
    Doubles host(64);
    const double one = 1;
    double result;
    const auto N = CUBLAS_OP_N;
    const auto h = handle;
    // A host array; 2 x 3 with ldc 3 spans 8 elements of 6; 3 elements with increment 3 span 7.
    EXPECT_DEATH(
        cublasDgemm_v2(h, N, N, 2, 3, 2, &one, host.data(), 2, B.get(), 2, &one, C.get(), 2),
        "cublasDgemm_v2: host pointer used as device memory");
    EXPECT_DEATH(cublasDgemm_v2(h, N, N, 2, 3, 2, &one, A.get(), 2, B.get(), 2, &one, C.get(), 3),
                 "cublasDgemm_v2: extent of 64 bytes at offset 0 overruns");
    EXPECT_DEATH(cublasDnrm2_v2(h, 3, A.get(), 3, &result), "cublasDnrm2_v2: extent of 56");
    EXPECT_DEATH(cublasDdot_v2(h, 2, A.get(), 1, B.get(), 1, scalar.get()), "cublasDdot_v2");
    EXPECT_DEATH(cublasDscal_v2(h, 2, scalar.get(), A.get(), 1), "cublasDscal_v2");
    ASSERT_EQ(cublasSetPointerMode_v2(h, CUBLAS_POINTER_MODE_DEVICE), kOk);
    EXPECT_DEATH(cublasDaxpy_v2(h, 2, &one, A.get(), 1, B.get(), 1), "cublasDaxpy_v2");
    ASSERT_EQ(cublasSetPointerMode_v2(h, CUBLAS_POINTER_MODE_HOST), kOk);

    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    EXPECT_DEATH(cublasDscal_v2(h, 4, &one, A.get(), 1), "cublasDscal_v2.*device 1 is current");
    DeviceArray<double> onDevice1(6);
    ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
    EXPECT_DEATH(cublasDaxpy_v2(h, 2, &one, A.get(), 1, onDevice1.get(), 1),
                 "cublasDaxpy_v2: memory of device 1 used by work on device 0");
    EXPECT_DEATH(
        cublasDgemm_v2(h, N, N, 2, 3, 2, &one, A.get(), 2, onDevice1.get(), 2, &one, C.get(), 2),
        "cublasDgemm_v2: memory of device 1 used by work on device 0");
    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    cudaStream_t other = newStream(cudaStreamDefault);
    ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
    ASSERT_EQ(cublasSetStream_v2(h, other), kOk);
    EXPECT_DEATH(cublasDscal_v2(h, 4, &one, A.get(), 1), "cublasDscal_v2.*stream of device 1");
    ASSERT_EQ(cublasSetStream_v2(h, nullptr), kOk);
    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    EXPECT_EQ(cudaStreamDestroy(other), cudaSuccess);
    ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
}

TEST_F(BlasCalls, BadOperandIsAnExecutionFailureWhenNotStrict) {
    zuliEmuSetStrict(0);
    DeviceArray<double> B(4);
    Doubles host(4, 1.0);
    EXPECT_EQ(cublasDaxpy_v2(handle, 4, &kOne, host.data(), 1, B.get(), 1),
              CUBLAS_STATUS_EXECUTION_FAILED);
    EXPECT_TRUE(oneViolation("cublasDaxpy_v2"));
    EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorIllegalAddress);
    zuliEmuReset();  // clears the sticky error so that B can be freed
}

// ---- fault injection and counters ---------------------------------------------------------------

// A fault fires at the k-th call of its function (other functions do not count), once, does
// nothing and is not counted; without a name it fires at any call, handle management included.
TEST_F(BlasCalls, InjectedFaultReturnsItsStatusAndDoesNothing) {
    DeviceArray<double> x(Doubles{1, 2});
    const double two = 2;
    double nrm = -1;
    zuliEmuFailBlasCall("cublasDscal_v2", 2, CUBLAS_STATUS_INTERNAL_ERROR);
    EXPECT_EQ(cublasDscal_v2(handle, 2, &two, x.get(), 1), kOk);
    EXPECT_EQ(cublasDnrm2_v2(handle, 2, x.get(), 1, &nrm), kOk);
    EXPECT_EQ(cublasDscal_v2(handle, 2, &two, x.get(), 1), CUBLAS_STATUS_INTERNAL_ERROR);
    EXPECT_EQ(cublasDscal_v2(handle, 2, &two, x.get(), 1), kOk);
    EXPECT_EQ(x.read(), (Doubles{4, 8}));
    EXPECT_EQ(zuliEmuBlasOpCalls("scal"), 2u);
    zuliEmuFailBlasCall(nullptr, 1, CUBLAS_STATUS_ALLOC_FAILED);
    cublasHandle_t h = nullptr;
    EXPECT_EQ(cublasCreate_v2(&h), CUBLAS_STATUS_ALLOC_FAILED);
    EXPECT_EQ(h, nullptr);
    zuliEmuFailBlasCall("cublasSetStream_v2", 1, CUBLAS_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(cublasSetStream_v2(handle, nullptr), CUBLAS_STATUS_NOT_SUPPORTED);
    zuliEmuFailBlasCall("cublasDnrm2_v2", 1, CUBLAS_STATUS_EXECUTION_FAILED);
    nrm = -1;
    EXPECT_EQ(cublasDnrm2_v2(handle, 2, x.get(), 1, &nrm), CUBLAS_STATUS_EXECUTION_FAILED);
    EXPECT_EQ(nrm, -1);
}

TEST_F(BlasCalls, CountsCallsAndFlopsPerOperation) {
    DeviceArray<double> d(64);
    DeviceArray<cdouble> z(64);
    const cuDoubleComplex zone = {1, 0};
    const auto N = CUBLAS_OP_N;
    zuliEmuResetCounters();
    // gemm 3 x 4 x 5: 2 * 60 real flops, 8 * 60 complex.
    ASSERT_EQ(
        cublasDgemm_v2(handle, N, N, 3, 4, 5, &kOne, d.get(), 3, d.get(), 5, &kOne, d.get(), 3),
        kOk);
    ASSERT_EQ(cublasZgemm_v2(handle, N, N, 3, 4, 5, &zone, cu(z.get()), 3, cu(z.get()), 5, &zone,
                             cu(z.get()), 3),
              kOk);
    // trsm, left, m = 4, n = 3: 3 * 4 * 5 / 2 multiplications and 3 * 4 * 3 / 2 additions.
    ASSERT_EQ(cublasDtrsm_v2(handle, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_LOWER, N,
                             CUBLAS_DIAG_NON_UNIT, 4, 3, &kOne, d.get(), 4, d.get(), 4),
              kOk);
    // syrk n = 4, k = 3: 3 * 4 * 5 / 2 multiplications and as many additions.
    ASSERT_EQ(cublasDsyrk_v2(handle, CUBLAS_FILL_MODE_UPPER, N, 4, 3, &kOne, d.get(), 4, &kOne,
                             d.get(), 4),
              kOk);
    cudaStream_t s;
    ASSERT_EQ(cublasGetStream_v2(handle, &s), kOk);  // not an operation: not counted
    EXPECT_EQ(zuliEmuBlasOpCalls("gemm") + zuliEmuBlasOpCalls("trsm"), 3u);
    EXPECT_EQ(zuliEmuBlasOpCalls("trmm"), 0u);
    EXPECT_DOUBLE_EQ(zuliEmuBlasOpFlops("gemm"), 120.0 + 480.0);
    EXPECT_DOUBLE_EQ(zuliEmuBlasOpFlops("trsm"), 30.0 + 18.0);
    EXPECT_DOUBLE_EQ(zuliEmuBlasOpFlops("syrk"), 60.0);
    EXPECT_EQ(counters().blasCalls, 4u);
    EXPECT_DOUBLE_EQ(counters().blasFlops, 600.0 + 48.0 + 60.0);
}

// Each thread accumulates kCalls products A * A^T into C through its own handle and stream.
TEST_F(BlasCalls, HandlesOnSeveralThreadsAtOnce) {
    constexpr int kThreads = 3, kCalls = 20, n = 16;
    std::vector<Doubles> results(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &results] {
            cublasHandle_t h = nullptr;
            cudaStream_t s = newStream(cudaStreamDefault);
            ASSERT_EQ(cublasCreate_v2(&h), kOk);
            ASSERT_EQ(cublasSetStream_v2(h, s), kOk);
            DeviceArray<double> A(randomVector<double>(n * n, 50 + t)), C(Doubles(n * n, 0.0));
            for (int i = 0; i < kCalls; ++i)
                ASSERT_EQ(cublasDgemm_v2(h, CUBLAS_OP_N, CUBLAS_OP_T, n, n, n, &kOne, A.get(), n,
                                         A.get(), n, &kOne, C.get(), n),
                          kOk);
            ASSERT_EQ(cudaStreamSynchronize(s), cudaSuccess);
            results[t] = C.read();
            cudaStreamDestroy(s), cublasDestroy_v2(h);
        });
    }
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) {
        auto A = randomVector<double>(n * n, 50 + t);
        Doubles expected(n * n, 0.0);
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
