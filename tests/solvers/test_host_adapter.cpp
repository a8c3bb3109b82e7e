// The host-interface adapter: block sizes, the mirrors' pitch, what crosses the bus, and which
// outcome reaches host memory (results after a data error, nothing after a failure).
#include "runtime/runtime_fixture.h"
#include "runtime/host_call.h"

#include <cublas_v2.h>

#include <vector>

namespace {

using runtime_test::RuntimeTest;
using zuli::CallContext;
using zuli::CallResult;
using zuli::Complex;
using zuli::HostArrayMirror;

TEST(HostAdapterBlocks, BaseBlockSizePerPrecisionAndGeneration) {
    struct Row {
        int code, s, d, c, z;
    } rows[] = {{10, 32, 48, 32, 48}, {13, 32, 48, 32, 48}, {14, 96, 64, 64, 32},
                {35, 96, 64, 64, 32}, {90, 96, 64, 64, 32}, {9, 96, 64, 64, 32}};
    for (const Row& r : rows) {
        SCOPED_TRACE(r.code);
        EXPECT_EQ(zuli::baseBlockSize<float>(r.code), r.s);
        EXPECT_EQ(zuli::baseBlockSize<double>(r.code), r.d);
        EXPECT_EQ(zuli::baseBlockSize<Complex<float>>(r.code), r.c);
        EXPECT_EQ(zuli::baseBlockSize<Complex<double>>(r.code), r.z);
    }
}

TEST(HostAdapterBlocks, MirrorLeadingDimensionAvoidsPartitionMultiples) {
    struct Row {
        int64_t rows;
        int g, code;
        int64_t ld;
    } table[] = {
        {100, 64, 90, 128},  // rounded up to the block
        {256, 64, 90, 320},  // a multiple of 256 gets one block more
        {250, 64, 90, 320},  // rounds to 256, then one block more
        {192, 64, 90, 192},  // 192 is avoided only below capability 1.4
        {192, 48, 13, 240},  // ... where it is
        {384, 96, 13, 480},
        {1, 32, 90, 32},
        {512, 32, 90, 544},
    };
    for (const auto& r : table) {
        SCOPED_TRACE(r.rows);
        EXPECT_EQ(zuli::mirrorLeadingDimension(r.rows, r.g, r.code), r.ld);
    }
}

class HostAdapter : public RuntimeTest {
protected:
    // Every test here counts copies and allocations or injects faults.
    void SetUp() override {
        SKIP_ON_A_REAL_GPU();
        RuntimeTest::SetUp();
        ASSERT_EQ(zuliInitialize(), zuliNoError);
        zuliEmuResetCounters();
        // Memory that an earlier test in this process lost to an injected free failure stays
        // live for good: what this test leaves is measured from here.
        liveAtStart_ = counters().liveDeviceBytes;
    }

    // A host routine in the adapter's pattern: mirrors an m x n matrix (in and out) and runs
    // `device` on the device copy, nested in a device frame.
    template <typename Device>
    zuliStatus hostScale(int m, int n, double* a, int lda, Device device) {
        return zuli::hostRoutine<double>([&](const CallContext& ctx) -> CallResult {
            HostArrayMirror<double> A(ctx, m, n, a, lda, zuli::MirrorIn | zuli::MirrorOut);
            CallResult r = zuli::runDeviceRoutine<double>(
                [&](const CallContext& c) { device(c, A.device(), A.ld()); });
            return zuli::finishHostCall(r, A);
        });
    }

    // Doubles the m x n device matrix a with cuBLAS, column by column.
    static void scaleByTwo(const CallContext& c, int m, int n, double* a, int ld) {
        const double two = 2.0;
        for (int j = 0; j < n; ++j)
            cudalib::checkCublas(cublasDscal(c.handle, m, &two, a + int64_t(j) * ld, 1));
    }

    unsigned long long liveAtStart_ = 0;
};

TEST_F(HostAdapter, CopiesInAndOutOnceAndLeavesRowsBeyondMAlone) {
    const int m = 5, n = 3, lda = 8;
    std::vector<double> a(lda * n);
    for (size_t i = 0; i < a.size(); ++i) a[i] = double(i);
    const std::vector<double> before = a;

    zuliStatus s = hostScale(m, n, a.data(), lda, [&](const CallContext& c, double* d, int ld) {
        EXPECT_EQ(ld, 64);  // D on capability 9.0: rows rounded up to 64
        scaleByTwo(c, m, n, d, ld);
    });
    ASSERT_EQ(s, zuliNoError);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < lda; ++i)
            EXPECT_EQ(a[i + j * lda], i < m ? 2 * before[i + j * lda] : before[i + j * lda])
                << i << "," << j;

    const auto c = counters();
    EXPECT_EQ(c.h2dCopies, 1u);
    EXPECT_EQ(c.d2hCopies, 1u);
    EXPECT_EQ(c.h2dBytes, m * n * sizeof(double));
    EXPECT_EQ(c.d2hBytes, m * n * sizeof(double));
    EXPECT_EQ(c.deviceAllocs, 1u);  // the mirror, nothing else
    EXPECT_EQ(c.liveDeviceBytes, liveAtStart_);
}

TEST_F(HostAdapter, DataErrorStillReturnsTheResults) {
    const int m = 4, n = 2;
    std::vector<double> a(m * n, 1.0);
    zuliStatus s = hostScale(m, n, a.data(), m, [&](const CallContext& c, double* d, int ld) {
        scaleByTwo(c, m, n, d, ld);
        zuli::raiseDataError(3);
    });
    EXPECT_EQ(s, zuliDataError);
    EXPECT_EQ(zuliGetErrorInfo(), 3);
    for (double v : a) EXPECT_EQ(v, 2.0);
}

TEST_F(HostAdapter, FailuresCopyNothingBack) {
    struct Case {
        const char* name;
        zuliStatus status;
        zuliInfo info;
        void (*arm)();
    } cases[] = {
        {"cuBLAS failure", zuliBlasError, CUBLAS_STATUS_EXECUTION_FAILED,
         [] { zuliEmuFailBlasCall("cublasDscal_v2", 2, CUBLAS_STATUS_EXECUTION_FAILED); }},
        {"runtime error", zuliRuntimeError, cudaErrorLaunchOutOfResources,
         [] { zuliEmuFailCudaCall("cudaMemcpy2D", 1, cudaErrorLaunchOutOfResources); }},
        {"allocation failure", zuliInsufficientMemory, 0, [] { zuliEmuFailDeviceAlloc(1); }},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        const int m = 3, n = 3;
        std::vector<double> a(m * n, 1.0);
        k.arm();
        zuliStatus s = hostScale(m, n, a.data(), m, [&](const CallContext& c, double* d, int ld) {
            scaleByTwo(c, m, n, d, ld);
        });
        EXPECT_EQ(s, k.status);
        EXPECT_EQ(zuliGetErrorInfo(), k.info);
        for (double v : a) EXPECT_EQ(v, 1.0);
        EXPECT_EQ(counters().d2hCopies, 0u);
        EXPECT_EQ(counters().liveDeviceBytes, liveAtStart_);
        zuliEmuReset();
        zuliEmuResetCounters();
    }
}

TEST_F(HostAdapter, EmptyArraysAllocateAndCopyNothing) {
    zuliStatus s = zuli::hostRoutine<float>([&](const CallContext& ctx) {
        HostArrayMirror<float> A(ctx, 0, 5, nullptr, 1, zuli::MirrorIn | zuli::MirrorOut);
        HostArrayMirror<int, float> P(ctx, 7, 0, nullptr, 7, zuli::MirrorOut);
        EXPECT_EQ(A.device(), nullptr);
        EXPECT_EQ(A.flags(), 0u);
        EXPECT_EQ(P.ld(), 1);
        zuli::finishHostCall(CallResult{}, A, P);
    });
    EXPECT_EQ(s, zuliNoError);
    EXPECT_EQ(counters().deviceAllocs, 0u);
    EXPECT_EQ(counters().h2dCopies + counters().d2hCopies, 0u);
}

TEST_F(HostAdapter, PivotMirrorUsesTheRoutinesBlockSize) {
    zuliStatus s = zuli::hostRoutine<Complex<double>>([&](const CallContext& ctx) {
        std::vector<int> ipiv(10);
        HostArrayMirror<int, Complex<double>> P(ctx, 10, 1, ipiv.data(), 10, zuli::MirrorOut);
        EXPECT_EQ(P.ld(), 32);  // Z's block on capability 9.0
    });
    EXPECT_EQ(s, zuliNoError);
}

}  // namespace
