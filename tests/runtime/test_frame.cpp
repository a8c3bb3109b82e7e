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

using Body = std::function<void(const zuli::CallContext&)>;
template <typename T>
zuliStatus deviceCall(Body body) {
    return zuli::deviceRoutine<T>(body);
}
template <typename T>
zuliStatus hostCall(Body body) {
    return zuli::hostRoutine<T>(body);
}

class Frame : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        ASSERT_EQ(zuliInitialize(), zuliNoError);
    }
};

TEST_F(Frame, EachExceptionMapsToItsStatusInfoAndFailureFlag) {
    struct Row {
        const char* what;
        std::function<void()> raise;
        zuliStatus status;
        zuliInfo info;
        bool marksFailed;
    };
    const Row rows[] = {
        {"success", [] {}, zuliNoError, 0, false},
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
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        zuli::setLastInfo(99);  // "unchanged" means the 0 the frame stores on entry
        zuli::setLastStatus(zuliDataError);
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

TEST_F(Frame, RealFaultsTravelThroughTheLadderOnce) {
    // The body ignores the result of its memset: the post-call check must find the error.
    const Body body = [](const zuli::CallContext&) {
        zuli::DeviceBuffer<float> b(64);
        (void)cudaMemset(b.get(), 0, 64 * sizeof(float));
    };
    zuliEmuFailDeviceAlloc(1);
    EXPECT_EQ(deviceCall<float>(body), zuliInsufficientMemory);
    EXPECT_EQ(zuliGetErrorInfo(), 0);
    zuliEmuFailCudaCall("cudaMemset", 1, cudaErrorInvalidValue);
    EXPECT_EQ(deviceCall<float>(body), zuliRuntimeError);
    EXPECT_EQ(zuliGetErrorInfo(), cudaErrorInvalidValue);
    EXPECT_EQ(deviceCall<float>(body), zuliNoError) << "a fault is reported once";
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
        int ran = 0;
        auto call = [&] { return deviceCall<float>([&](const zuli::CallContext&) { ++ran; }); };
        zuliEmuFailBlasCall(row.function, 1, row.status);
        EXPECT_EQ(worker.run(call), row.expected);
        EXPECT_EQ(zuliGetErrorInfo(), row.info);
        EXPECT_EQ(ran, 0);
        EXPECT_FALSE(worker.run([] { return zuli::threadHasCublasHandle(0); }))
            << "a handle that failed its set-up is not kept";
        EXPECT_EQ(worker.run(call), zuliNoError) << "the next call creates the handle";
        EXPECT_EQ(ran, 1);
        worker.run([] { zuli::releaseThreadContext(); });
    }
}

TEST_F(RuntimeTest, UninitialisedAndCapabilityRefusalsLeaveInfoAndSkipTheBody) {
    int ran = 0;
    auto body = [&](const zuli::CallContext&) { ++ran; };
    zuli::setLastInfo(-5);
    EXPECT_EQ(hostCall<float>(body), zuliNotInitialized);
    EXPECT_EQ(deviceCall<double>(body), zuliNotInitialized);
    EXPECT_EQ(ran, 0);
    EXPECT_EQ(zuliGetErrorInfo(), -5);
    EXPECT_EQ(zuli::lastStatus(), zuliNotInitialized);
    EXPECT_EQ(zuli::currentThreadState(), nullptr);
    struct Row {
        int major, minor;
        bool doubleAllowed;
    };
    // Capability 1.2 and below cannot run double-precision routines.
    const Row rows[] = {{1, 2, false}, {1, 0, false}, {1, 3, true}, {9, 0, true}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.major << "." << row.minor);
        ASSERT_EQ(zuliEmuSetComputeCapability(0, row.major, row.minor), 0);
        ASSERT_EQ(zuliInitialize(), zuliNoError);
        const zuliStatus refused =
            row.doubleAllowed ? zuliNoError : zuliInsufficientComputeCapability;
        ran = 0;
        zuli::setLastInfo(-9);
        EXPECT_EQ(deviceCall<double>(body), refused);
        EXPECT_EQ(hostCall<zuli::Complex<double>>(body), refused);
        EXPECT_EQ(zuliGetErrorInfo(), row.doubleAllowed ? 0 : -9);
        EXPECT_EQ(zuli::lastStatus(), refused);
        EXPECT_EQ(deviceCall<float>(body), zuliNoError);
        EXPECT_EQ(hostCall<zuli::Complex<float>>(body), zuliNoError);
        EXPECT_EQ(ran, row.doubleAllowed ? 4 : 2);
        zuliShutdown();
    }
}

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

    // The failure flag of an inner call survives a later successful inner call until the
    // outermost call returns, and a new outermost call starts without it.
    bool stillFailed = false, failedAtStart = true;
    hostCall<float>([&](const zuli::CallContext&) {
        zuli::runDeviceRoutine<float>([](const zuli::CallContext&) { throw std::bad_alloc(); });
        zuli::runDeviceRoutine<float>([](const zuli::CallContext&) {});
        stillFailed = zuli::threadFailed();
    });
    hostCall<float>([&](const zuli::CallContext&) { failedAtStart = zuli::threadFailed(); });
    EXPECT_TRUE(stillFailed);
    EXPECT_FALSE(failedAtStart);
}

// zuliIsInCall: set on the calling thread from a routine's entry to its return, nested calls and
// failures included, never on another thread; asking creates no thread state.
TEST_F(Frame, IsInCallHoldsOnTheCallingThreadFromEntryToReturn) {
    std::vector<int> seen;
    Worker other;
    hostCall<float>([&](const zuli::CallContext&) {
        seen.push_back(zuliIsInCall());
        zuli::runDeviceRoutine<float>([&](const zuli::CallContext&) {
            seen.push_back(zuliIsInCall());
            zuli::raiseDataError(1);
        });
        seen.push_back(zuliIsInCall());
        seen.push_back(other.run([] { return zuliIsInCall(); }));
    });
    deviceCall<float>([&](const zuli::CallContext&) {
        seen.push_back(zuliIsInCall());
        throw std::bad_alloc();
    });
    EXPECT_EQ(seen, (std::vector<int>{1, 1, 1, 0, 1}));
    EXPECT_EQ(zuliIsInCall(), 0);
    EXPECT_EQ(zuli::currentThreadState(), nullptr) << "the query must not create a thread state";
}

TEST_F(Frame, ContextNamesTheThreadItsDeviceAndAHandlePerThreadAndDevice) {
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    zuli::CallContext first, second, onDevice1;
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

    ASSERT_EQ(zuliSelectDevice(1), zuliNoError);
    hostCall<float>([&](const zuli::CallContext& ctx) { onDevice1 = ctx; });
    EXPECT_EQ(onDevice1.device, 1);
    EXPECT_NE(onDevice1.handle, first.handle);
    EXPECT_TRUE(zuli::threadHasCublasHandle(0) && zuli::threadHasCublasHandle(1));
    ASSERT_EQ(zuliSelectDevice(0), zuliNoError);
    zuliShutdown();
    EXPECT_FALSE(zuli::threadHasCublasHandle(0) || zuli::threadHasCublasHandle(1));
    int device = -1;
    ASSERT_EQ(cudaGetDevice(&device), cudaSuccess);
    EXPECT_EQ(device, 0) << "destroying the handles leaves the current device as it was";
}

template <int Event>
void logEvent(void* log) {
    static const char* const names[] = {"host entry", "host exit", "device entry", "device exit"};
    static_cast<std::vector<std::string>*>(log)->push_back(names[Event]);
}

TEST_F(Frame, HooksSurroundEveryCallOfTheirInterface) {
    std::vector<std::string> log;
    ASSERT_EQ(zuliSetCallHooks(logEvent<0>, logEvent<1>, logEvent<2>, logEvent<3>, &log),
              zuliNoError);
    hostCall<float>([&](const zuli::CallContext&) {
        log.push_back("host body");
        zuli::runDeviceRoutine<float>([&](const zuli::CallContext&) {
            log.push_back("device body");
            zuli::raiseDataError(1);
        });
    });
    // A failing call still calls its exit hook.
    deviceCall<float>([](const zuli::CallContext&) { throw 1; });
    const std::vector<std::string> expected = {
        "host entry",  "host body",   "device entry", "device body",
        "device exit", "host exit",   "device entry", "device exit"};
    EXPECT_EQ(log, expected);
    // A refused call calls none, and the last shutdown cleared the hooks.
    log.clear();
    zuliShutdown();
    EXPECT_EQ(hostCall<float>([](const zuli::CallContext&) {}), zuliNotInitialized);
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    hostCall<float>([](const zuli::CallContext&) {});
    EXPECT_TRUE(log.empty());
}

}  // namespace
}  // namespace runtime_test
