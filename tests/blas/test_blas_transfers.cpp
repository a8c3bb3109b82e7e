// What a host BLAS call moves and allocates (each operand mirrored once, only its block copied,
// at most once per direction, the output not read when beta is 0), and what a failure leaves
// behind (the right status, the host output untouched, no device memory held), in every precision.
#include "blas_test_support.h"

#include <cublas_v2.h>

namespace {

using namespace blas_test;

// Every test here counts copies and allocations or injects faults.
template <typename T>
class Transfers : public BlasTyped<T> {
protected:
    void SetUp() override {
        SKIP_ON_A_REAL_GPU();
        BlasTyped<T>::SetUp();
    }
};
TYPED_TEST_SUITE(Transfers, AllPrecisions);

template <typename T>
zuliStatus hostGemm(int m, int n, int k, T alpha, Operand<T>& A, Operand<T>& B, T beta,
                    Operand<T>& C) {
    return ENTRY(Api::Host, gemm)('N', 'N', m, n, k, pub(alpha), pub(A.ptr()), A.ld, pub(B.ptr()),
                                  B.ld, pub(beta), pub(C.ptr()), C.ld);
}

// Every host member on 4 x 4 blocks of 6-row operands (vectors of 4 elements at increments other
// than 1): one allocation per operand, the operands read uploaded once each (the written one only
// when read), only the written one downloaded, only the blocks' elements moved, one cuBLAS call,
// nothing held after.
TYPED_TEST(Transfers, EveryMemberMirrorsEachOperandOnceAndCopiesOnlyTheBlocks) {
    using T = TypeParam;
    const int n = 4, ld = 6;
    Operand<T> A(n, n, ld, this->rng), B(n, n, ld, this->rng), C(n, n, ld, this->rng);
    A.strengthenDiagonal(n);
    const auto a = pub(A.ptr()), b = pub(B.ptr());
    const auto c = pub(C.ptr());
    const auto one = pub(T(1)), zero = pub(T(0));
    struct Case {
        const char* what;
        unsigned long long allocs, uploads, uploadedElements, downloadedElements;
        std::function<zuliStatus()> call;
    };
    const auto gemm = ENTRY(Api::Host, gemm), symm = ENTRY(Api::Host, symm);
    const auto syrk = ENTRY(Api::Host, syrk), syr2k = ENTRY(Api::Host, syr2k);
    const auto trsm = ENTRY(Api::Host, trsm), gemv = ENTRY(Api::Host, gemv);
    const auto symv = pick<T>(zuliSsymv, zuliDsymv, zuliChemv, zuliZhemv);
    const Case cases[] = {
        {"gemm", 3, 3, 48, 16,
         [&] { return gemm('T', 'N', n, n, n, one, a, ld, b, ld, one, c, ld); }},
        {"symm, beta 0", 3, 2, 32, 16,
         [&] { return symm('R', 'L', n, n, one, a, ld, b, ld, zero, c, ld); }},
        {"syrk, beta 0 (C keeps its other triangle)", 2, 2, 32, 16,
         [&] { return syrk('U', 'T', n, n, one, a, ld, zero, c, ld); }},
        {"syr2k", 3, 3, 48, 16,
         [&] { return syr2k('L', 'N', n, n, one, a, ld, b, ld, one, c, ld); }},
        {"trsm", 2, 2, 32, 16, [&] { return trsm('R', 'L', 'C', 'N', n, n, one, a, ld, c, ld); }},
        {"gemv, beta 0", 3, 2, 20, 4,
         [&] { return gemv('C', n, n, one, a, ld, b, 1, zero, c, 2); }},
        {"symv or hemv, beta 0", 3, 2, 20, 4,
         [&] { return symv('U', n, one, a, ld, b, -1, zero, c, 3); }},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        zuliEmuResetCounters();
        ASSERT_EQ(k.call(), zuliNoError);
        const auto got = this->counters();
        EXPECT_EQ(got.deviceAllocs, k.allocs);
        EXPECT_EQ(got.deviceFrees, k.allocs);
        EXPECT_EQ(got.h2dCopies, k.uploads);
        EXPECT_EQ(got.h2dBytes, k.uploadedElements * sizeof(T));
        EXPECT_EQ(got.d2hCopies, 1u);
        EXPECT_EQ(got.d2hBytes, k.downloadedElements * sizeof(T));
        EXPECT_EQ(got.blasCalls, 1u);
        EXPECT_EQ(got.liveDeviceBytes, 0u);
    }
}

// With beta 0 a NaN in C does not reach the result; a NaN beta is not 0, so C is read.
TYPED_TEST(Transfers, ZeroBetaNeverReadsCAndNanBetaDoes) {
    using T = TypeParam;
    const int m = 6, n = 4, k = 3;
    Operand<T> A(m, k, m, this->rng), B(k, n, k, this->rng), C(m, n, m, this->rng);
    const Real<T> nan = std::numeric_limits<Real<T>>::quiet_NaN();
    for (T& v : C.data) v = T(nan);
    const T alpha = makeScalar<T>(-1.0, 0.5), zero = T(0);
    Operand<T> want = C;
    pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
        CblasColMajor, CblasNoTrans, CblasNoTrans, m, n, k, byBlas(alpha), A.ptr(), A.ld, B.ptr(),
        B.ld, byBlas(zero), want.ptr(), want.ld);
    ASSERT_EQ(hostGemm(m, n, k, alpha, A, B, zero, C), zuliNoError);
    expectNear(C, want, k, "C from NaN with beta 0");
    EXPECT_EQ(this->counters().h2dCopies, 2u);

    zuliEmuResetCounters();
    ASSERT_EQ(hostGemm(m, n, k, alpha, A, B, T(nan), C), zuliNoError);
    EXPECT_EQ(this->counters().h2dCopies, 3u);
    EXPECT_TRUE(std::isnan(double(zuli::real(C.data[0]))));
}

// Every failure a host gemm can meet: the status and info it reports, C as it was, nothing held,
// and the library usable again afterwards.
TYPED_TEST(Transfers, GemmFailuresLeaveCUntouched) {
    using T = TypeParam;
    const std::string gemmName = std::string("cublas") + pick<T>('S', 'D', 'C', 'Z') + "gemm_v2";
    // arm(zeroBeta) injects the fault; with beta 0, C is not uploaded, so its download is the
    // third copy instead of the fourth.
    struct Case {
        std::string what;
        std::function<void(bool)> arm;
        zuliStatus status;
        zuliInfo info;
    };
    const auto failCopy = [](int k) {
        zuliEmuFailCudaCall("cudaMemcpy2D", k, cudaErrorInvalidValue);
    };
    const auto failBlas = [&](cublasStatus_t s) { zuliEmuFailBlasCall(gemmName.c_str(), 1, s); };
    const std::vector<Case> cases = {
        {"allocation of A", [](bool) { zuliEmuFailDeviceAlloc(1); }, zuliInsufficientMemory, 0},
        {"allocation of B", [](bool) { zuliEmuFailDeviceAlloc(2); }, zuliInsufficientMemory, 0},
        {"allocation of C", [](bool) { zuliEmuFailDeviceAlloc(3); }, zuliInsufficientMemory, 0},
        {"upload of A", [&](bool) { failCopy(1); }, zuliRuntimeError, cudaErrorInvalidValue},
        {"upload of B", [&](bool) { failCopy(2); }, zuliRuntimeError, cudaErrorInvalidValue},
        {"download of C", [&](bool zeroBeta) { failCopy(zeroBeta ? 3 : 4); }, zuliRuntimeError,
         cudaErrorInvalidValue},
        {"cuBLAS execution failure", [&](bool) { failBlas(CUBLAS_STATUS_EXECUTION_FAILED); },
         zuliBlasError, CUBLAS_STATUS_EXECUTION_FAILED},
        {"cuBLAS allocation failure", [&](bool) { failBlas(CUBLAS_STATUS_ALLOC_FAILED); },
         zuliInsufficientMemory, 0},
    };
    const int m = 4, n = 3, k = 2;
    for (const Case& fault : cases)
        for (double betaRe : {0.0, 1.0}) {
            SCOPED_TRACE(fault.what + (betaRe ? "" : ", beta 0"));
            Operand<T> A(m, k, m, this->rng), B(k, n, k, this->rng), C(m, n, m, this->rng);
            const Operand<T> before = C;
            fault.arm(betaRe == 0.0);
            EXPECT_EQ(hostGemm(m, n, k, T(1), A, B, makeScalar<T>(betaRe, 0), C), fault.status);
            EXPECT_EQ(zuliGetErrorInfo(), fault.info);
            expectNear(C, before, 0, "C untouched");
            EXPECT_EQ(this->counters().liveDeviceBytes, 0u);
            zuliEmuReset();
            ASSERT_EQ(hostGemm(m, n, k, T(1), A, B, T(0), C), zuliNoError);
        }
}

// D and Z routines, host and device, are refused on a device of capability 1.2 before touching
// anything; S and C routines run there.
TYPED_TEST(Transfers, DoublePrecisionNeedsCapabilityAboveOnePointTwo) {
    using T = TypeParam;
    zuliShutdown();
    zuli::clearDeviceCaches();
    ASSERT_EQ(zuliEmuSetComputeCapability(0, 1, 2), 0);
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    const bool refused = zuli::isDoublePrecision<T>;
    const int n = 3;
    Operand<T> A(n, n, n, this->rng), B(n, n, n, this->rng), C(n, n, n, this->rng);
    const T one = T(1);
    for (Api api : kApis) {
        SCOPED_TRACE(apiName(api));
        Operand<T> got = C;
        zuliEmuResetCounters();
        const zuliStatus s = onOperands<T>(
            api,
            [&](T* a, T* b, T* c) {
                return ENTRY(api, gemm)('N', 'N', n, n, n, pub(one), pub(a), n, pub(b), n, pub(one),
                                        pub(c), n);
            },
            A, B, got);
        EXPECT_EQ(s, refused ? zuliInsufficientComputeCapability : zuliNoError);
        EXPECT_EQ(zuliEmuBlasOpCalls("gemm"), refused ? 0u : 1u);
        if (refused) expectNear(got, C, 0, "C untouched");
    }
}

// The device interface checks nothing: unknown letters run as N, and an invalid size (trsm's lda
// 0, m -1) or a failing cuBLAS call leave C as it was while the call succeeds. The library's
// checked wrapper turns the same failure into a BLAS error with the cuBLAS status as info.
TYPED_TEST(Transfers, DeviceRoutinesCheckNothingTheCheckedWrapperReports) {
    using T = TypeParam;
    const int m = 5, n = 4, k = 3;
    Operand<T> A(m, k, m, this->rng), B(k, n, k, this->rng), C(m, n, m, this->rng), product = C;
    const T alpha = makeScalar<T>(1.0, 0.5), beta = makeScalar<T>(0.5, 0.0);
    pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
        CblasColMajor, CblasNoTrans, CblasNoTrans, m, n, k, byBlas(alpha), A.ptr(), A.ld, B.ptr(),
        B.ld, byBlas(beta), product.ptr(), product.ld);
    const std::string gemmName = std::string("cublas") + pick<T>('S', 'D', 'C', 'Z') + "gemm_v2";
    const struct Case {
        const char* what;
        char ta, tb;
        int rows;
        bool fail, checked;
        zuliStatus status;
        zuliInfo info;
        const Operand<T>& want;
    } cases[] = {
        {"x y as N N", 'x', 'y', m, false, false, zuliNoError, 0, product},
        {"m -1", 'N', 'N', -1, false, false, zuliNoError, 0, C},
        {"cuBLAS failure", 'N', 'N', m, true, false, zuliNoError, 0, C},
        {"checked wrapper", 'N', 'N', m, true, true, zuliBlasError, CUBLAS_STATUS_EXECUTION_FAILED,
         C},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        if (c.fail) zuliEmuFailBlasCall(gemmName.c_str(), 1, CUBLAS_STATUS_EXECUTION_FAILED);
        Operand<T> got = C;
        const auto call = [&](T* a, T* b, T* y) {
            if (c.checked)
                return zuli::deviceRoutine<T>([&](const zuli::CallContext& ctx) {
                    zuli::blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, m, n, k, &alpha, a, A.ld, b,
                                     B.ld, &beta, y, C.ld);
                });
            const zuliStatus r =
                ENTRY(Api::Device, gemm)(c.ta, c.tb, c.rows, n, k, pub(alpha), pub(a), A.ld, pub(b),
                                         B.ld, pub(beta), pub(y), C.ld);
            return r != zuliNoError ? r
                                    : ENTRY(Api::Device, trsm)('L', 'U', 'N', 'N', m, n, pub(alpha),
                                                               pub(a), 0, pub(y), C.ld);
        };
        EXPECT_EQ(onOperands<T>(Api::Device, call, A, B, got), c.status);
        EXPECT_EQ(zuliGetErrorInfo(), c.info);
        expectNear(got, c.want, k, "C");
    }
}

}  // namespace
