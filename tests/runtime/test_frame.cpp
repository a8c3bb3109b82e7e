// The call frame: the initialisation and capability checks, the order of the exception handlers,
// the failure flag, nested calls, the post-call check, the call context and the hooks.
#include "runtime_fixture.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <vector>

namespace runtime_test {
namespace {

// Test-only framed routines of element type T (the capability test follows from T).
template <typename T>
zuliStatus deviceCall(std::function<void(const zuli::CallContext&)> body) {
    return zuli::deviceRoutine<T>(body);
}
template <typename T>
zuliStatus hostCall(std::function<void(const zuli::CallContext&)> body) {
    return zuli::hostRoutine<T>(body);
}

class Frame : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        ASSERT_EQ(zuliInitialize(), zuliNoError);
    }
};

// ---- the handler ladder ---------------------------------------------------------------------------

struct LadderRow {
    const char* what;
    std::function<void()> raise;
    zuliStatus status;
    zuliInfo info;
    bool marksFailed;
};

TEST_F(Frame, EachExceptionMapsToItsStatusInfoAndFailureFlag) {
    const LadderRow rows[] = {
        {"device memory", [] { throw cudalib::CudaMemoryException(); }, zuliInsufficientMemory, 0,
         true},
        {"bad_alloc", [] { throw std::bad_alloc(); }, zuliInsufficientMemory, 0, true},
        {"value too large", [] { cudalib::checkCuda(cudaErrorMemoryValueTooLarge); },
         zuliInsufficientMemory, 0, true},
        {"CUDA runtime", [] { cudalib::checkCuda(cudaErrorLaunchFailure); }, zuliRuntimeError,
         cudaErrorLaunchFailure, true},
        {"cuBLAS", [] { cudalib::checkCublas(CUBLAS_STATUS_EXECUTION_FAILED); }, zuliBlasError,
         CUBLAS_STATUS_EXECUTION_FAILED, true},
        {"cuBLAS not supported", [] { cudalib::checkCublas(CUBLAS_STATUS_NOT_SUPPORTED); },
         zuliBlasError, CUBLAS_STATUS_NOT_SUPPORTED, true},
        {"cuBLAS allocation", [] { cudalib::checkCublas(CUBLAS_STATUS_ALLOC_FAILED); },
         zuliInsufficientMemory, 0, true},
        {"cuSPARSE", [] { throw cudalib::CusparseException(4, "x"); }, zuliRuntimeError, 4, true},
        {"argument", [] { zuli::raiseArgumentError(-2); }, zuliArgumentError, -2, false},
        {"data", [] { zuli::raiseDataError(5); }, zuliDataError, 5, false},
        {"internal LAPACK", [] { zuli::checkHostLapackInfo(-3); }, zuliRuntimeError, -3, false},
        {"not implemented", [] { zuli::raiseFeatureNotImplemented(); }, zuliFeatureNotImplemented,
         0, true},
        {"std::exception", [] { throw std::logic_error("x"); }, zuliRuntimeError, -1, true},
        {"non-standard", [] { throw 42; }, zuliUnspecifiedError, -1, true},
        {"capability", [] { throw zuli::InsufficientComputeCapabilityException(); },
         zuliUnspecifiedError, -1, true},
        {"reference handle", [] { throw zuli::InvalidReferenceHandleException(); },
         zuliUnspecifiedError, -1, true},
    };
    for (const LadderRow& row : rows) {
        SCOPED_TRACE(row.what);
        zuli::setLastInfo(99);  // "unchanged" means the 0 the frame stores on entry
        bool failedAfterInner = false;
        zuli::CallResult inner;
        // Run the failing routine nested, so that the outer body can read the failure flag.
        zuliStatus outer = hostCall<float>([&](const zuli::CallContext&) {
            inner = zuli::runDeviceRoutine<float>([&](const zuli::CallContext&) { row.raise(); });
            failedAfterInner = zuli::threadFailed();
        });
        EXPECT_EQ(inner.status, row.status);
        EXPECT_EQ(inner.info, row.info);
        EXPECT_EQ(failedAfterInner, row.marksFailed);
        EXPECT_EQ(outer, zuliNoError) << "the outer body ignored the inner failure";
        EXPECT_EQ(zuli::currentThreadState(), nullptr) << "the outermost return ends the scope";

        // The same exception ending a call on its own records status and info in the cells.
        EXPECT_EQ(deviceCall<float>([&](const zuli::CallContext&) { row.raise(); }), row.status);
        EXPECT_EQ(zuli::lastStatus(), row.status);
        EXPECT_EQ(zuliGetErrorInfo(), row.info);
    }
}

TEST_F(Frame, SuccessClearsInfoAndRecordsStatusZero) {
    zuli::setLastInfo(77);
    zuli::setLastStatus(zuliDataError);
    EXPECT_EQ(hostCall<double>([](const zuli::CallContext&) {}), zuliNoError);
    EXPECT_EQ(zuliGetErrorInfo(), 0);
    EXPECT_EQ(zuli::lastStatus(), zuliNoError);
}

TEST_F(Frame, RealFaultsTravelThroughTheLadder) {
    // An injected device allocation failure.
    zuliEmuFailDeviceAlloc(1);
    EXPECT_EQ(deviceCall<float>([](const zuli::CallContext&) { zuli::DeviceBuffer<float> b(64); }),
              zuliInsufficientMemory);
    EXPECT_EQ(zuliGetErrorInfo(), 0);
    // The failure was reported once; the next call does not see it again.
    EXPECT_EQ(deviceCall<float>([](const zuli::CallContext&) { zuli::DeviceBuffer<float> b(64); }),
              zuliNoError);

    // An injected CUDA error, checked by the body.
    zuliEmuFailCudaCall("cudaMemset", 1, cudaErrorInvalidValue);
    EXPECT_EQ(deviceCall<float>([](const zuli::CallContext&) {
                  zuli::DeviceBuffer<float> b(64);
                  cudalib::checkCuda(cudaMemset(b.get(), 0, 64 * sizeof(float)));
              }),
              zuliRuntimeError);
    EXPECT_EQ(zuliGetErrorInfo(), cudaErrorInvalidValue);

    // An error the body ignored is found by the post-call check.
    zuliEmuFailCudaCall("cudaMemset", 1, cudaErrorInvalidValue);
    EXPECT_EQ(deviceCall<float>([](const zuli::CallContext&) {
                  zuli::DeviceBuffer<float> b(64);
                  (void)cudaMemset(b.get(), 0, 64 * sizeof(float));
              }),
              zuliRuntimeError);
    EXPECT_EQ(zuliGetErrorInfo(), cudaErrorInvalidValue);
    EXPECT_EQ(hostCall<float>([](const zuli::CallContext&) {}), zuliNoError);
}

// The handle is created by the first framed call of a thread: a new thread sees creation faults.
TEST_F(Frame, CublasFailuresInHandleCreation) {
    struct Row {
        const char* function;
        int status;
        zuliStatus expected;
        zuliInfo info;
    };
    const Row rows[] = {
        {"cublasCreate_v2", CUBLAS_STATUS_NOT_INITIALIZED, zuliBlasError,
         CUBLAS_STATUS_NOT_INITIALIZED},
        {"cublasCreate_v2", CUBLAS_STATUS_ALLOC_FAILED, zuliInsufficientMemory, 0},
        {"cublasSetPointerMode_v2", CUBLAS_STATUS_INTERNAL_ERROR, zuliBlasError,
         CUBLAS_STATUS_INTERNAL_ERROR},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.function);
        Worker worker;
        bool bodyRan = false;
        zuliEmuFailBlasCall(row.function, 1, row.status);
        EXPECT_EQ(worker.run([&] {
                      return deviceCall<float>([&](const zuli::CallContext&) { bodyRan = true; });
                  }),
                  row.expected);
        EXPECT_EQ(zuliGetErrorInfo(), row.info);
        EXPECT_FALSE(bodyRan);
        EXPECT_FALSE(worker.run([] { return zuli::threadHasCublasHandle(0); }))
            << "a handle that failed its set-up is not kept";
        // The fault fired once: the next call creates the handle and runs.
        EXPECT_EQ(worker.run([&] {
                      return deviceCall<float>([&](const zuli::CallContext&) { bodyRan = true; });
                  }),
                  zuliNoError);
        EXPECT_TRUE(bodyRan);
        worker.run([] { zuli::releaseThreadContext(); });
    }
}

// ---- initialisation and capability checks -------------------------------------------------------

TEST_F(RuntimeTest, CallsBeforeInitialisationReturnOneAndLeaveInfo) {
    zuli::setLastInfo(-5);
    bool ran = false;
    EXPECT_EQ(hostCall<float>([&](const zuli::CallContext&) { ran = true; }), zuliNotInitialized);
    EXPECT_EQ(deviceCall<double>([&](const zuli::CallContext&) { ran = true; }),
              zuliNotInitialized);
    EXPECT_FALSE(ran);
    EXPECT_EQ(zuliGetErrorInfo(), -5);
    EXPECT_EQ(zuli::lastStatus(), zuliNotInitialized);
    EXPECT_EQ(zuli::currentThreadState(), nullptr);
}

TEST_F(RuntimeTest, CapabilityOneTwoRefusesDoublePrecisionRoutines) {
    struct Row {
        int major, minor;
        bool doubleAllowed;
    };
    const Row rows[] = {{1, 2, false}, {1, 0, false}, {1, 3, true}, {3, 5, true}, {9, 0, true}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.major << "." << row.minor);
        ASSERT_EQ(zuliEmuSetComputeCapability(0, row.major, row.minor), 0);
        ASSERT_EQ(zuliInitialize(), zuliNoError);
        const zuliStatus refused =
            row.doubleAllowed ? zuliNoError : zuliInsufficientComputeCapability;
        int ran = 0;
        auto body = [&](const zuli::CallContext&) { ++ran; };
        zuli::setLastInfo(-9);
        EXPECT_EQ(deviceCall<double>(body), refused);
        EXPECT_EQ(hostCall<zuli::Complex<double>>(body), refused);
        if (!row.doubleAllowed) {
            EXPECT_EQ(zuliGetErrorInfo(), -9) << "a refusal leaves the info cell alone";
            EXPECT_EQ(zuli::lastStatus(), zuliInsufficientComputeCapability);
        }
        EXPECT_EQ(deviceCall<float>(body), zuliNoError);
        EXPECT_EQ(hostCall<zuli::Complex<float>>(body), zuliNoError);
        EXPECT_EQ(ran, row.doubleAllowed ? 4 : 2);
        zuliShutdown();
    }
}

// ---- nested calls -----------------------------------------------------------------------------------

TEST_F(Frame, NestedCallsShareTheScopeAndHandBackStatusAndInfo) {
    uint32_t innerDepth = 0;
    // A host routine returning its device twin's outcome after its own work.
    bool outerContinued = false;
    zuliStatus st = zuli::hostRoutine<float>([&](const zuli::CallContext&) {
        zuli::CallResult r = zuli::runDeviceRoutine<float>([&](const zuli::CallContext&) {
            innerDepth = zuli::currentThreadState()->depth;
            zuli::raiseDataError(7);
        });
        outerContinued = true;  // results are still copied back after a data error
        EXPECT_FALSE(zuli::threadFailed());
        return r;
    });
    EXPECT_EQ(innerDepth, 2u);
    EXPECT_TRUE(outerContinued);
    EXPECT_EQ(st, zuliDataError);
    EXPECT_EQ(zuliGetErrorInfo(), 7);

    // raiseIfFailed stops the outer body with the inner outcome.
    bool afterRaise = false;
    st = zuli::hostRoutine<float>([&](const zuli::CallContext&) {
        zuli::raiseIfFailed(zuli::runDeviceRoutine<float>(
            [](const zuli::CallContext&) { cudalib::checkCublas(CUBLAS_STATUS_MAPPING_ERROR); }));
        afterRaise = true;
    });
    EXPECT_FALSE(afterRaise);
    EXPECT_EQ(st, zuliBlasError);
    EXPECT_EQ(zuliGetErrorInfo(), CUBLAS_STATUS_MAPPING_ERROR);
    EXPECT_EQ(zuli::currentThreadState(), nullptr);

    // The failure flag of an inner call stays set until the outermost call returns, and a new
    // outermost call starts without it.
    st = zuli::hostRoutine<float>([&](const zuli::CallContext&) {
        zuli::runDeviceRoutine<float>([](const zuli::CallContext&) { throw std::bad_alloc(); });
        zuli::runDeviceRoutine<float>([](const zuli::CallContext&) {});
        EXPECT_TRUE(zuli::threadFailed());
    });
    EXPECT_EQ(st, zuliNoError);
    EXPECT_EQ(hostCall<float>([](const zuli::CallContext&) { EXPECT_FALSE(zuli::threadFailed()); }),
              zuliNoError);
}

// ---- the call context -------------------------------------------------------------------------------

TEST_F(Frame, ContextNamesTheThreadItsDeviceAndItsOwnHandle) {
    zuli::CallContext first, second;
    hostCall<float>([&](const zuli::CallContext& ctx) { first = ctx; });
    hostCall<float>([&](const zuli::CallContext& ctx) { second = ctx; });
    EXPECT_TRUE(first.filled);
    EXPECT_EQ(first.device, 0);
    EXPECT_EQ(first.threadId, static_cast<int32_t>(syscall(SYS_gettid)));
    ASSERT_NE(first.handle, nullptr);
    EXPECT_EQ(first.handle, second.handle) << "a thread keeps its handle between calls";

    Worker worker;
    zuli::CallContext other = worker.run([] {
        zuli::CallContext c;
        hostCall<float>([&](const zuli::CallContext& ctx) { c = ctx; });
        return c;
    });
    EXPECT_NE(other.handle, first.handle) << "handles are never shared between threads";
    EXPECT_NE(other.threadId, first.threadId);
    worker.run([] { zuli::releaseThreadContext(); });
}

TEST_F(RuntimeTest, EachDeviceGetsItsOwnHandleOnTheSelectedDevice) {
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    ASSERT_EQ(zuliSelectDevice(1), zuliNoError);
    zuli::CallContext ctx1;
    EXPECT_EQ(hostCall<float>([&](const zuli::CallContext& ctx) { ctx1 = ctx; }), zuliNoError);
    EXPECT_EQ(ctx1.device, 1);
    EXPECT_TRUE(zuli::threadHasCublasHandle(0));
    EXPECT_TRUE(zuli::threadHasCublasHandle(1));
    ASSERT_EQ(zuliSelectDevice(0), zuliNoError);
    zuli::CallContext ctx0;
    hostCall<float>([&](const zuli::CallContext& ctx) { ctx0 = ctx; });
    EXPECT_NE(ctx0.handle, ctx1.handle);
    zuliShutdown();
    EXPECT_FALSE(zuli::threadHasCublasHandle(0));
    EXPECT_FALSE(zuli::threadHasCublasHandle(1));
    int device = -1;
    ASSERT_EQ(cudaGetDevice(&device), cudaSuccess);
    EXPECT_EQ(device, 0) << "destroying the handles leaves the current device as it was";
}

TEST(DeviceTable, IndicesOfSixteenOrMoreAreRefused) {
    for (int device : {-1, 16, 17}) {
        try {
            zuli::deviceCapability(device);
            ADD_FAILURE() << device << " accepted";
        } catch (const cudalib::CudaRuntimeException& e) {
            EXPECT_EQ(e.code(), cudaErrorInvalidDevice);
        }
    }
}

// ---- hooks --------------------------------------------------------------------------------------------

struct HookLog {
    std::vector<std::string> events;
};
void logHostEntry(void* p) { static_cast<HookLog*>(p)->events.push_back("host entry"); }
void logHostExit(void* p) { static_cast<HookLog*>(p)->events.push_back("host exit"); }
void logDeviceEntry(void* p) { static_cast<HookLog*>(p)->events.push_back("device entry"); }
void logDeviceExit(void* p) { static_cast<HookLog*>(p)->events.push_back("device exit"); }

TEST_F(Frame, HooksSurroundEveryCallOfTheirInterface) {
    HookLog log;
    ASSERT_EQ(zuliSetCallHooks(logHostEntry, logHostExit, logDeviceEntry, logDeviceExit, &log),
              zuliNoError);
    hostCall<float>([&](const zuli::CallContext&) {
        log.events.push_back("host body");
        zuli::runDeviceRoutine<float>([&](const zuli::CallContext&) {
            log.events.push_back("device body");
            zuli::raiseDataError(1);
        });
    });
    const std::vector<std::string> expected = {"host entry", "host body",   "device entry",
                                               "device body", "device exit", "host exit"};
    EXPECT_EQ(log.events, expected);

    // A failing call still calls its exit hook; a refused call calls none.
    log.events.clear();
    deviceCall<float>([](const zuli::CallContext&) { throw 1; });
    EXPECT_EQ(log.events, (std::vector<std::string>{"device entry", "device exit"}));
    log.events.clear();
    zuliShutdown();
    EXPECT_EQ(hostCall<float>([](const zuli::CallContext&) {}), zuliNotInitialized);
    EXPECT_TRUE(log.events.empty());

    // The last shutdown cleared the hooks.
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    hostCall<float>([](const zuli::CallContext&) {});
    EXPECT_TRUE(log.events.empty());
}

}  // namespace
}  // namespace runtime_test
