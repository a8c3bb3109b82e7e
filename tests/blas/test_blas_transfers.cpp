// What a host BLAS call moves and allocates (each matrix mirrored once, copied at most once per
// direction, C not read when beta is 0), and what a failure leaves behind (the right status, the
// host output untouched, no device memory held), in every precision.
#include "blas_test_support.h"

#include <cublas_v2.h>

namespace {

using namespace blas_test;

template <typename T>
using Transfers = BlasTyped<T>;
TYPED_TEST_SUITE(Transfers, AllPrecisions);

// The precision letter of T as cuBLAS spells it.
template <typename T>
std::string cublasName(const char* op) {
    return std::string("cublas") + pick<T>('S', 'D', 'C', 'Z') + op + "_v2";
}

template <typename T>
zuliStatus hostGemm(int m, int n, int k, T alpha, Operand<T>& A, Operand<T>& B, T beta,
                    Operand<T>& C) {
    return pick<T>(zuliSgemm, zuliDgemm, zuliCgemm, zuliZgemm)('N', 'N', m, n, k, pub(alpha),
                                                               pub(A.ptr()), A.ld, pub(B.ptr()),
                                                               B.ld, pub(beta), pub(C.ptr()), C.ld);
}

TYPED_TEST(Transfers, GemmMirrorsEachMatrixOnceAndCopiesOnlyTheBlocks) {
    using T = TypeParam;
    const int m = 9, n = 5, k = 6;
    Operand<T> A(m, k, m + 4, this->rng), B(k, n, k + 1, this->rng), C(m, n, m + 2, this->rng);
    const T alpha = makeScalar<T>(1.0, 1.0), beta = makeScalar<T>(0.5, 0.0);
    ASSERT_EQ(hostGemm(m, n, k, alpha, A, B, beta, C), zuliNoError);
    const auto c = this->counters();
    EXPECT_EQ(c.deviceAllocs, 3u);
    EXPECT_EQ(c.deviceFrees, 3u);
    EXPECT_EQ(c.liveDeviceBytes, 0u);
    EXPECT_EQ(c.h2dCopies, 3u);
    EXPECT_EQ(c.h2dBytes, (m * k + k * n + m * n) * sizeof(T));
    EXPECT_EQ(c.d2hCopies, 1u);
    EXPECT_EQ(c.d2hBytes, m * n * sizeof(T));
    EXPECT_EQ(zuliEmuBlasOpCalls("gemm"), 1u);
    EXPECT_EQ(c.blasCalls, 1u);
    // Each allocation holds one matrix: at least its block, far less than the whole problem twice.
    std::vector<unsigned long long> sizes(8);
    ASSERT_EQ(zuliEmuDeviceAllocationLog(sizes.data(), sizes.size()), 3u);
    for (int i = 0; i < 3; ++i) EXPECT_GE(sizes[i], 5 * sizeof(T) * 9);
}

TYPED_TEST(Transfers, ZeroBetaNeverReadsCAndNanBetaDoes) {
    using T = TypeParam;
    const int m = 6, n = 4, k = 3;
    Operand<T> A(m, k, m, this->rng), B(k, n, k, this->rng);
    Operand<T> C(m, n, m, this->rng);
    const Real<T> nan = std::numeric_limits<Real<T>>::quiet_NaN();
    for (T& v : C.data) v = T(nan);
    const T alpha = makeScalar<T>(-1.0, 0.5);
    Operand<T> want = C;
    for (T& v : want.data) v = T(0);
    const T zero = T(0);
    pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
        CblasColMajor, CblasNoTrans, CblasNoTrans, m, n, k, byBlas(alpha), A.ptr(), A.ld, B.ptr(),
        B.ld, byBlas(zero), want.ptr(), want.ld);

    ASSERT_EQ(hostGemm(m, n, k, alpha, A, B, zero, C), zuliNoError);
    expectNear(C, want, k, "C from NaN with beta 0");
    auto c = this->counters();
    EXPECT_EQ(c.h2dCopies, 2u);  // A and B only
    EXPECT_EQ(c.h2dBytes, (m * k + k * n) * sizeof(T));
    EXPECT_EQ(c.d2hCopies, 1u);

    // A NaN beta is not 0: C is uploaded (and the NaN propagates).
    zuliEmuResetCounters();
    ASSERT_EQ(hostGemm(m, n, k, alpha, A, B, T(nan), C), zuliNoError);
    c = this->counters();
    EXPECT_EQ(c.h2dCopies, 3u);
    EXPECT_EQ(c.h2dBytes, (m * k + k * n + m * n) * sizeof(T));
    EXPECT_TRUE(std::isnan(double(zuli::real(C.data[0]))));
}

TYPED_TEST(Transfers, ZeroBetaGemvNeverReadsY) {
    using T = TypeParam;
    const int m = 5, n = 3;
    Operand<T> A(m, n, m, this->rng);
    auto x = Operand<T>::vector(n, 2, this->rng);
    auto y = Operand<T>::vector(m, -3, this->rng);
    const Real<T> nan = std::numeric_limits<Real<T>>::quiet_NaN();
    Operand<T> want = y;
    for (int i = 0; i < y.rows; i += 3) y.data[i] = T(nan), want.data[i] = T(0);
    const T alpha = makeScalar<T>(2.0, 0.0), zero = T(0);
    pick<T>(cblas_sgemv, cblas_dgemv, cblas_cgemv, cblas_zgemv)(
        CblasColMajor, CblasNoTrans, m, n, byBlas(alpha), A.ptr(), A.ld, x.ptr(), 2, byBlas(zero),
        want.ptr(), -3);
    ASSERT_EQ(pick<T>(zuliSgemv, zuliDgemv, zuliCgemv, zuliZgemv)('N', m, n, pub(alpha),
                                                                  pub(A.ptr()), A.ld, pub(x.ptr()),
                                                                  2, pub(zero), pub(y.ptr()), -3),
              zuliNoError);
    expectNear(y, want, n, "y");
    const auto c = this->counters();
    EXPECT_EQ(c.h2dCopies, 2u);
    EXPECT_EQ(c.h2dBytes, (m * n + n) * sizeof(T));
    EXPECT_EQ(c.d2hCopies, 1u);
    EXPECT_EQ(c.d2hBytes, m * sizeof(T));  // only the strided elements
}

TYPED_TEST(Transfers, TrsmCopiesBInAndOutAndAOnlyIn) {
    using T = TypeParam;
    const int m = 5, n = 7;
    Operand<T> A(n, n, n, this->rng), B(m, n, m + 1, this->rng);
    for (int i = 0; i < n; ++i) A.at(i, i) = A.at(i, i) + T(Real<T>(4));
    ASSERT_EQ(pick<T>(zuliStrsm, zuliDtrsm, zuliCtrsm, zuliZtrsm)(
                  'R', 'L', 'C', 'N', m, n, pub(T(1)), pub(A.ptr()), A.ld, pub(B.ptr()), B.ld),
              zuliNoError);
    const auto c = this->counters();
    EXPECT_EQ(c.deviceAllocs, 2u);
    EXPECT_EQ(c.h2dCopies, 2u);
    EXPECT_EQ(c.h2dBytes, (n * n + m * n) * sizeof(T));
    EXPECT_EQ(c.d2hCopies, 1u);
    EXPECT_EQ(c.d2hBytes, m * n * sizeof(T));
    EXPECT_EQ(c.liveDeviceBytes, 0u);
}

// Every host member: one allocation per operand, each operand uploaded at most once (the written
// one only when it is read), only the written one downloaded, one cuBLAS call, nothing held after.
TYPED_TEST(Transfers, EveryMemberMirrorsEachOperandOnce) {
    using T = TypeParam;
    const int n = 4;
    Operand<T> A(n, n, n, this->rng), B(n, n, n, this->rng), C(n, n, n, this->rng);
    for (int i = 0; i < n; ++i) A.at(i, i) = A.at(i, i) + T(Real<T>(n));
    const auto a = pub(A.ptr()), b = pub(B.ptr());
    const auto c = pub(C.ptr());
    const auto one = pub(T(1)), zero = pub(T(0));
    const Real<T> r1 = 1, r0 = 0;
    struct Case {
        const char* what;
        std::function<zuliStatus()> call;
        unsigned long long allocs, uploads;
    };
    std::vector<Case> cases = {
        {"gemm, beta 1",
         [&] {
             return pick<T>(zuliSgemm, zuliDgemm, zuliCgemm, zuliZgemm)('T', 'N', n, n, n, one, a,
                                                                        n, b, n, one, c, n);
         },
         3, 3},
        {"symm, beta 0",
         [&] {
             return pick<T>(zuliSsymm, zuliDsymm, zuliCsymm, zuliZsymm)('R', 'L', n, n, one, a, n,
                                                                        b, n, zero, c, n);
         },
         3, 2},
        {"syrk, beta 0 (C keeps its other triangle)",
         [&] {
             return pick<T>(zuliSsyrk, zuliDsyrk, zuliCsyrk, zuliZsyrk)('U', 'T', n, n, one, a, n,
                                                                        zero, c, n);
         },
         2, 2},
        {"syr2k",
         [&] {
             return pick<T>(zuliSsyr2k, zuliDsyr2k, zuliCsyr2k, zuliZsyr2k)('L', 'N', n, n, one, a,
                                                                            n, b, n, one, c, n);
         },
         3, 3},
        {"trmm",
         [&] {
             return pick<T>(zuliStrmm, zuliDtrmm, zuliCtrmm, zuliZtrmm)('L', 'U', 'N', 'U', n, n,
                                                                        one, a, n, c, n);
         },
         2, 2},
        {"trsm",
         [&] {
             return pick<T>(zuliStrsm, zuliDtrsm, zuliCtrsm, zuliZtrsm)('R', 'L', 'T', 'N', n, n,
                                                                        one, a, n, c, n);
         },
         2, 2},
        {"gemv, beta 0",
         [&] {
             return pick<T>(zuliSgemv, zuliDgemv, zuliCgemv, zuliZgemv)('C', n, n, one, a, n, b, 1,
                                                                        zero, c, 2);
         },
         3, 2},
    };
    if constexpr (zuli::IsComplexV<T>) {
        cases.push_back({"hemm",
                         [&] {
                             return pick<T>(nullptr, nullptr, zuliChemm, zuliZhemm)(
                                 'L', 'U', n, n, one, a, n, b, n, one, c, n);
                         },
                         3, 3});
        cases.push_back({"herk, beta 0",
                         [&] {
                             return pick<T>(nullptr, nullptr, zuliCherk, zuliZherk)(
                                 'L', 'C', n, n, r1, a, n, r0, c, n);
                         },
                         2, 2});
        cases.push_back({"her2k",
                         [&] {
                             return pick<T>(nullptr, nullptr, zuliCher2k, zuliZher2k)(
                                 'U', 'N', n, n, one, a, n, b, n, r1, c, n);
                         },
                         3, 3});
        cases.push_back({"hemv, beta 0",
                         [&] {
                             return pick<T>(nullptr, nullptr, zuliChemv, zuliZhemv)(
                                 'U', n, one, a, n, b, -1, zero, c, 3);
                         },
                         3, 2});
    } else {
        cases.push_back({"symv",
                         [&] {
                             return pick<T>(zuliSsymv, zuliDsymv, nullptr, nullptr)(
                                 'L', n, one, a, n, b, 2, one, c, -1);
                         },
                         3, 3});
    }
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        zuliEmuResetCounters();
        ASSERT_EQ(k.call(), zuliNoError);
        const auto got = this->counters();
        EXPECT_EQ(got.deviceAllocs, k.allocs);
        EXPECT_EQ(got.h2dCopies, k.uploads);
        EXPECT_EQ(got.d2hCopies, 1u);
        EXPECT_EQ(got.blasCalls, 1u);
        EXPECT_EQ(got.liveDeviceBytes, 0u);
    }
}

// Every failure a host gemm can meet: the status and info it reports, C as it was, nothing held.
TYPED_TEST(Transfers, GemmFailuresLeaveCUntouched) {
    using T = TypeParam;
    const std::string gemmName = cublasName<T>("gemm");
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
    const std::vector<Case> cases = {
        {"allocation of A", [](bool) { zuliEmuFailDeviceAlloc(1); }, zuliInsufficientMemory, 0},
        {"allocation of B", [](bool) { zuliEmuFailDeviceAlloc(2); }, zuliInsufficientMemory, 0},
        {"allocation of C", [](bool) { zuliEmuFailDeviceAlloc(3); }, zuliInsufficientMemory, 0},
        {"upload of A", [&](bool) { failCopy(1); }, zuliRuntimeError, cudaErrorInvalidValue},
        {"upload of B", [&](bool) { failCopy(2); }, zuliRuntimeError, cudaErrorInvalidValue},
        {"download of C", [&](bool zeroBeta) { failCopy(zeroBeta ? 3 : 4); }, zuliRuntimeError,
         cudaErrorInvalidValue},
        {"cuBLAS execution failure",
         [&](bool) { zuliEmuFailBlasCall(gemmName.c_str(), 1, CUBLAS_STATUS_EXECUTION_FAILED); },
         zuliBlasError, CUBLAS_STATUS_EXECUTION_FAILED},
        {"cuBLAS allocation failure",
         [&](bool) { zuliEmuFailBlasCall(gemmName.c_str(), 1, CUBLAS_STATUS_ALLOC_FAILED); },
         zuliInsufficientMemory, 0},
    };
    const int m = 4, n = 3, k = 2;
    for (const Case& fault : cases) {
        SCOPED_TRACE(fault.what);
        for (double betaRe : {0.0, 1.0}) {
            Operand<T> A(m, k, m, this->rng), B(k, n, k, this->rng), C(m, n, m, this->rng);
            const Operand<T> before = C;
            fault.arm(betaRe == 0.0);
            EXPECT_EQ(hostGemm(m, n, k, T(1), A, B, makeScalar<T>(betaRe, 0), C), fault.status);
            EXPECT_EQ(zuliGetErrorInfo(), fault.info);
            expectNear(C, before, 0, "C untouched");
            EXPECT_EQ(this->counters().liveDeviceBytes, 0u);
            zuliEmuReset();
            zuliEmuResetCounters();
            // The library is usable again afterwards.
            ASSERT_EQ(hostGemm(m, n, k, T(1), A, B, T(0), C), zuliNoError);
        }
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
    const zuliStatus expected =
        zuli::isDoublePrecision<T> ? zuliInsufficientComputeCapability : zuliNoError;
    const int n = 3;
    Operand<T> A(n, n, n, this->rng), B(n, n, n, this->rng), C(n, n, n, this->rng);
    const Operand<T> before = C;
    const T one = T(1);
    for (Api api : {Api::Host, Api::Device}) {
        SCOPED_TRACE(apiName(api));
        Operand<T> got = C;
        zuliEmuResetCounters();
        zuliStatus s = onOperands<T>(
            api,
            [&](T* a, T* b, T* c) {
                auto gemm = api == Api::Host ? pick<T>(zuliSgemm, zuliDgemm, zuliCgemm, zuliZgemm)
                                             : pick<T>(zuliDeviceSgemm, zuliDeviceDgemm,
                                                       zuliDeviceCgemm, zuliDeviceZgemm);
                return gemm('N', 'N', n, n, n, pub(one), pub(a), n, pub(b), n, pub(one), pub(c), n);
            },
            A, B, got);
        EXPECT_EQ(s, expected);
        if (expected != zuliNoError) {
            expectNear(got, before, 0, "C untouched");
            EXPECT_EQ(zuliEmuBlasOpCalls("gemm"), 0u);
        } else {
            EXPECT_EQ(zuliEmuBlasOpCalls("gemm"), 1u);
        }
    }
}

// The device interface does not examine cuBLAS's status; the library's own checked wrapper
// turns the same failure into status 9 with the cuBLAS status as info.
TYPED_TEST(Transfers, DeviceRoutineIgnoresCublasStatusCheckedWrapperReportsIt) {
    using T = TypeParam;
    const int m = 3, n = 3, k = 3;
    Operand<T> A(m, k, m, this->rng), B(k, n, k, this->rng), C(m, n, m, this->rng);
    const Operand<T> before = C;
    const std::string name = cublasName<T>("gemm");
    const T one = T(1);

    zuliEmuFailBlasCall(name.c_str(), 1, CUBLAS_STATUS_EXECUTION_FAILED);
    zuliStatus s = onOperands<T>(
        Api::Device,
        [&](T* a, T* b, T* c) {
            return pick<T>(zuliDeviceSgemm, zuliDeviceDgemm, zuliDeviceCgemm, zuliDeviceZgemm)(
                'N', 'N', m, n, k, pub(one), pub(a), m, pub(b), k, pub(one), pub(c), m);
        },
        A, B, C);
    EXPECT_EQ(s, zuliNoError);
    expectNear(C, before, 0, "C not computed");

    zuliEmuFailBlasCall(name.c_str(), 1, CUBLAS_STATUS_EXECUTION_FAILED);
    s = onOperands<T>(
        Api::Device,
        [&](T* a, T* b, T* c) {
            return zuli::deviceRoutine<T>([&](const zuli::CallContext& ctx) {
                zuli::blas::gemm(ctx, CUBLAS_OP_N, CUBLAS_OP_N, m, n, k, &one, a, m, b, k, &one, c,
                                 m);
            });
        },
        A, B, C);
    EXPECT_EQ(s, zuliBlasError);
    EXPECT_EQ(zuliGetErrorInfo(), CUBLAS_STATUS_EXECUTION_FAILED);
}

}  // namespace
