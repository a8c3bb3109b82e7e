// context.cpp - lifecycle (zuliInitialize, zuliShutdown), per-thread state, cuBLAS handles and
// the call hooks.
#include "runtime/context.h"

#include "runtime/device.h"
#include "runtime/frame.h"
#include "runtime/memory.h"
#include "runtime/status.h"

#include <cublas_api.h>
#include <cuda_runtime_api.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace zuli {

namespace {

// ---- process-wide state ----------------------------------------------------------------------

struct Lifecycle {
    std::atomic<uint8_t> initialized{0};  // read without the lock by every framed call
    std::mutex mutex;
    std::set<int32_t> registeredThreads;  // kernel thread ids; touched only under the mutex
    uint32_t registeredCount = 0;         // kept beside the set
    std::atomic<std::shared_ptr<const CallHooks>> hooks;
};

// Never destroyed: threads may still leave framed calls while the process exits.
Lifecycle& lifecycle() {
    static Lifecycle* state = new Lifecycle;
    return *state;
}

// Set once static destruction of the library has begun. Thread-exit cleanup that runs later
// (threads that outlive main) leaves the cuBLAS handles alone: the runtime may be gone already.
std::atomic<bool> g_processExiting{false};
struct ProcessExitMarker {
    ~ProcessExitMarker() { g_processExiting.store(true); }
} g_processExitMarker;

// ---- per-thread state ----------------------------------------------------------------------

struct Ctx {
    std::array<cublasHandle_t, kMaxDevices> handles{};
};

// Destroys each handle on its own device, then the table. The caller's current device is
// restored afterwards, and errors are cleared from the runtime's last error (a handle whose
// device has disappeared cannot make a later call fail).
struct CtxDeleter {
    void operator()(Ctx* ctx) const noexcept {
        if (!g_processExiting.load()) {
            int previous = -1;
            bool havePrevious = cudaGetDevice(&previous) == cudaSuccess;
            for (int i = 0; i < kMaxDevices; ++i) {
                if (ctx->handles[i] == nullptr) continue;
                cudaSetDevice(i);
                cublasDestroy_v2(ctx->handles[i]);
                ctx->handles[i] = nullptr;
            }
            if (havePrevious) cudaSetDevice(previous);
            cudaGetLastError();
        }
        delete ctx;
    }
};

thread_local std::unique_ptr<ThreadState> t_threadState;
thread_local std::unique_ptr<Ctx, CtxDeleter> t_ctx;

}  // namespace

bool isInitialized() { return lifecycle().initialized.load(std::memory_order_acquire) != 0; }

std::mutex& globalMutex() { return lifecycle().mutex; }

LifecycleSnapshot lifecycleSnapshot() {
    std::scoped_lock lock(globalMutex());
    return {isInitialized(), lifecycle().registeredCount};
}

int32_t kernelThreadId() {
    long tid = syscall(SYS_gettid);
    if (tid == -1) throw std::runtime_error("Failed to get thread id");
    return static_cast<int32_t>(tid);
}

std::shared_ptr<const CallHooks> currentCallHooks() { return lifecycle().hooks.load(); }

void setCallHooks(std::shared_ptr<const CallHooks> hooks) { lifecycle().hooks.store(std::move(hooks)); }

// ---- per-thread scope --------------------------------------------------------------------------

void enterScope() {
    if (!t_threadState) t_threadState = std::make_unique<ThreadState>();
    ThreadState& state = *t_threadState;
    ++state.depth;
    int device = -1;
    cudaError_t e = cudaGetDevice(&device);
    if (e == cudaErrorNoDevice || e == cudaErrorInsufficientDriver) {
        // No GPU at all: nothing to record; the answer must not linger as the last error.
        cudaGetLastError();
        device = -1;
    } else if (e != cudaSuccess) {
        --state.depth;
        if (state.depth == 0) t_threadState.reset();
        cudalib::checkCuda(e);
    }
    state.device = device;
}

void leaveScope() noexcept {
    if (!t_threadState) return;
    if (t_threadState->depth > 0) --t_threadState->depth;
    if (t_threadState->depth == 0) t_threadState.reset();
}

void markThreadFailed() noexcept {
    if (t_threadState) t_threadState->failed = 1;
}

bool threadFailed() noexcept { return t_threadState && t_threadState->failed != 0; }

const ThreadState* currentThreadState() noexcept { return t_threadState.get(); }

cublasHandle_t threadCublasHandle() {
    // A thread_local owner cannot fail to install; a failed allocation of the table is a
    // std::bad_alloc (status 5).
    if (!t_ctx) t_ctx.reset(new Ctx);
    if (!t_threadState) t_threadState = std::make_unique<ThreadState>();
    int device = t_threadState->device;
    if (device < 0 || device >= kMaxDevices)
        throw cudalib::CudaRuntimeException(cudaErrorInvalidDevice,
                                            "device index outside the library's handle table");
    cublasHandle_t& slot = t_ctx->handles[device];
    if (slot != nullptr) return slot;

    // Through the cuBLAS check: an allocation failure is an out-of-memory condition (status 5),
    // any other failure a cuBLAS error carrying its status (status 9).
    cublasHandle_t handle = nullptr;
    cudalib::checkCublas(cublasCreate_v2(&handle));
    cublasStatus_t st = cublasSetPointerMode_v2(handle, CUBLAS_POINTER_MODE_HOST);
    if (st != CUBLAS_STATUS_SUCCESS) {
        cublasDestroy_v2(handle);
        cudalib::checkCublas(st);
    }
    slot = handle;
    return slot;
}

void releaseThreadContext() noexcept { t_ctx.reset(); }

bool threadHasCublasHandle(int device) noexcept {
    return t_ctx && device >= 0 && device < kMaxDevices && t_ctx->handles[device] != nullptr;
}

CallContext CallContext::build() {
    CallContext ctx;
    ctx.handle = threadCublasHandle();  // validates the recorded device
    ctx.device = t_threadState->device;
    ctx.threadId = kernelThreadId();
    ctx.filled = true;
    return ctx;
}

namespace {

// Holds the thread's scope for the lifecycle functions that build a CallContext outside a frame.
class ThreadScope {
public:
    ThreadScope() { enterScope(); }
    ~ThreadScope() { leaveScope(); }
    ThreadScope(const ThreadScope&) = delete;
    ThreadScope& operator=(const ThreadScope&) = delete;
};

constexpr int kMinimumCudaVersion = 6000;
constexpr int kMinimumCublasVersion = 6000;

// The version checks of the first initialisation, in their order.
bool versionsSupported() {
    int runtime = 0, driver = 0;
    if (cudaRuntimeGetVersion(&runtime) != cudaSuccess) {
        cudaGetLastError();
        runtime = 0;
    }
    if (runtime < kMinimumCudaVersion) return false;
    if (cudaDriverGetVersion(&driver) != cudaSuccess) {
        cudaGetLastError();
        driver = 0;
    }
    if (driver < kMinimumCudaVersion) return false;
    if (driver < runtime) return false;
    return zuliGetCublasRuntimeVersion() > kMinimumCublasVersion - 1;
}

// Registers the calling thread for one initialisation and takes the registration back unless the
// initialisation succeeds: a thread whose zuliInitialize failed will not call zuliShutdown, and
// left registered it would keep the process initialised for ever. (Held under the global mutex.)
class ThreadRegistration {
public:
    explicit ThreadRegistration(Lifecycle& life) : life_(life), id_(kernelThreadId()) {
        added_ = life_.registeredThreads.insert(id_).second;
        if (added_) ++life_.registeredCount;
    }
    ~ThreadRegistration() {
        if (!added_ || kept_) return;
        life_.registeredThreads.erase(id_);
        --life_.registeredCount;
    }
    void keep() { kept_ = true; }

private:
    Lifecycle& life_;
    int32_t id_;
    bool added_ = false;
    bool kept_ = false;
};

zuli::CallResult initializeBody() {
    Lifecycle& life = lifecycle();
    std::scoped_lock lock(life.mutex);
    ThreadRegistration registration(life);

    if (usableDeviceCount() == 0) return {zuliNoHardware, 0};

    // The frame has recorded the thread's current device: its handle is created here.
    CallContext ctx = CallContext::build();
    zuliStatus status = zuliNoError;
    if (isInitialized()) {
        refreshDeviceCapability(ctx.device);
    } else if (!versionsSupported()) {
        status = zuliInsufficientRuntime;
    } else {
        refreshDeviceCapability(ctx.device);
        refreshDeviceProperties(ctx.device);
        setenv("KMP_DUPLICATE_LIB_OK", "TRUE", 1);
        life.initialized.store(1, std::memory_order_release);
    }
    cudalib::checkCuda(cudaDeviceSynchronize());
    if (status == zuliNoError) registration.keep();
    return {status, 0};
}

}  // namespace

}  // namespace zuli

extern "C" {

ZULI_API zuliStatus zuliInitialize(void) {
    zuli::FrameSpec frameKind = zuli::FrameSpec::uninitialized();
    frameKind.hooks = false;
    return zuli::runFrame(frameKind, [](const zuli::CallContext&) { return zuli::initializeBody(); })
        .status;
}

ZULI_API void zuliShutdown(void) {
    using namespace zuli;
    Lifecycle& life = lifecycle();
    std::scoped_lock lock(life.mutex);
    if (!isInitialized()) return;

    try {
        size_t removed = life.registeredThreads.erase(kernelThreadId());
        life.registeredCount -= static_cast<uint32_t>(removed);
        if (life.registeredThreads.empty()) life.registeredCount = 0;
    } catch (...) {
        // gettid failed: this thread cannot be identified, so it stays registered.
    }
    if (life.registeredCount > 0) {
        releaseThreadContext();
        return;
    }

    // The last registered thread: pools first, then hooks, then handles, then the flag.
    try {
        ThreadScope scope;
        CallContext ctx = CallContext::build();
        releaseAllPools(ctx.device);
    } catch (...) {
        // Shutdown reports nothing; whatever could not be released stays allocated.
    }
    cudaGetLastError();  // failures swallowed above must not surface in a later call
    setCallHooks(nullptr);
    releaseThreadContext();
    clearDeviceCaches();
    life.initialized.store(0, std::memory_order_release);
}

ZULI_API zuliStatus zuliSetCallHooks(zuliCallHook hostEntry, zuliCallHook hostExit,
                                     zuliCallHook deviceEntry, zuliCallHook deviceExit,
                                     void* userData) {
    if (!hostEntry && !hostExit && !deviceEntry && !deviceExit) {
        zuli::setCallHooks(nullptr);
    } else {
        auto hooks = std::make_shared<zuli::CallHooks>();
        *hooks = {hostEntry, hostExit, deviceEntry, deviceExit, userData};
        zuli::setCallHooks(std::move(hooks));
    }
    return zuliNoError;
}

// Reads the thread's state without creating it (a thread outside every call usually has none).
ZULI_API int zuliIsInCall(void) {
    const zuli::ThreadState* state = zuli::currentThreadState();
    return state != nullptr && state->depth > 0;
}

ZULI_API void zuliFreeBuffers(void) {
    using namespace zuli;
    std::scoped_lock lock(globalMutex());
    if (!isInitialized()) return;
    try {
        ThreadScope scope;
        CallContext ctx = CallContext::build();
        releaseAllPools(ctx.device);
    } catch (...) {
        // Blocks that could not be released stay allocated; nothing is reported.
    }
    cudaGetLastError();
}

}  // extern "C"
