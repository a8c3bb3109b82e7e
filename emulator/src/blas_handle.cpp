// blas_handle.cpp - cuBLAS handles (creation, destruction, stream and pointer mode), the version
// query, status texts, and the per-call helper every emulated operation goes through.
#include "blas_common.h"

#include <library_types.h>

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

// The opaque handle type of the toolkit's header. A destroyed handle stays allocated (marked dead)
// so that its address is never handed out again and a second destroy is recognised.
struct cublasContext {
    emu::blas::HandleState state;
    bool live = true;
};

namespace emu::blas {
namespace {

struct Registry {
    std::mutex mutex;
    std::unordered_map<const cublasContext*, std::unique_ptr<cublasContext>> handles;
};

// Never destroyed: handles may be released from other static destructors at exit.
Registry& registry() {
    static Registry* r = new Registry;
    return *r;
}

// The live context behind handle, or nullptr. The caller holds the registry's lock.
cublasContext* liveContext(Registry& r, cublasHandle_t handle) {
    auto it = r.handles.find(handle);
    if (it == r.handles.end() || !it->second->live) return nullptr;
    return it->second.get();
}

}  // namespace

bool lookupHandle(cublasHandle_t handle, HandleState* state) {
    Registry& r = registry();
    std::scoped_lock lock(r.mutex);
    cublasContext* ctx = liveContext(r, handle);
    if (!ctx) return false;
    *state = ctx->state;
    return true;
}

// ---- Call ---------------------------------------------------------------------------------------

cublasStatus_t Call::enter() {
    cublasStatus_t injected;
    if (emu::blasFault(name_, &injected)) return injected;
    if (!lookupHandle(handle_, &state_)) return CUBLAS_STATUS_NOT_INITIALIZED;

    // A handle belongs to the device that was current when it was created; its work runs there.
    const int current = emu::currentDevice();
    if (current != state_.device) {
        emu::violation(name_, handle_,
                       "cuBLAS handle of device " + std::to_string(state_.device) +
                           " used while device " + std::to_string(current) + " is current");
        failed_ = true;
    }
    const int streamDevice = emu::streamDevice(state_.stream);
    if (streamDevice >= 0 && streamDevice != state_.device) {
        emu::violation(name_, state_.stream,
                       "cuBLAS handle of device " + std::to_string(state_.device) +
                           " bound to a stream of device " + std::to_string(streamDevice));
        failed_ = true;
    }
    return CUBLAS_STATUS_SUCCESS;
}

bool Call::hostReadable(const void* p) {
    if (emu::classify(p) != emu::MemKind::Device) return true;
    emu::violation(name_, p, "device pointer passed where the host pointer mode needs host memory");
    failed_ = true;
    return false;
}

void* Call::operand(const void* p, size_t bytes) {
    void* translated = emu::deviceRange(p, bytes, name_, state_.device);
    if (!translated && (p || bytes)) {
        failed_ = true;
        return nullptr;
    }
    if (p) uses_.push_back(p);
    return translated;
}

void* Call::matrixOperand(const void* p, int64_t rows, int64_t cols, int64_t ld, size_t esize) {
    if (rows <= 0 || cols <= 0) return nullptr;
    void* translated =
        emu::deviceMatrix(p, size_t(rows), size_t(cols), size_t(ld), esize, name_, state_.device);
    if (!translated) {
        failed_ = true;
        return nullptr;
    }
    uses_.push_back(p);
    return translated;
}

cublasStatus_t Call::run(const char* op, double flops, std::function<void()> work) {
    if (failed_) return CUBLAS_STATUS_EXECUTION_FAILED;
    if (emu::submit(state_.stream, name_, std::move(work), uses_) != cudaSuccess) {
        return CUBLAS_STATUS_EXECUTION_FAILED;
    }
    emu::countBlas(op, flops);
    return CUBLAS_STATUS_SUCCESS;
}

cublasStatus_t Call::quickReturn(const char* op) {
    if (failed_) return CUBLAS_STATUS_EXECUTION_FAILED;
    emu::countBlas(op, 0.0);
    return CUBLAS_STATUS_SUCCESS;
}

cublasStatus_t Call::waitForHostResult() {
    if (emu::waitStream(state_.stream) != cudaSuccess) return CUBLAS_STATUS_EXECUTION_FAILED;
    return CUBLAS_STATUS_SUCCESS;
}

}  // namespace emu::blas

using emu::blas::registry;

// ---- the handle API -----------------------------------------------------------------------------

extern "C" {

cublasStatus_t cublasCreate_v2(cublasHandle_t* handle) {
    cublasStatus_t injected;
    if (emu::blasFault("cublasCreate_v2", &injected)) return injected;
    if (!handle) return CUBLAS_STATUS_INVALID_VALUE;
    // cuBLAS needs a working device: none in the no-device and no-driver modes, and a device
    // with a sticky error cannot allocate the handle's resources.
    if (emu::modeError() != cudaSuccess || emu::stickyError() != cudaSuccess) {
        return CUBLAS_STATUS_NOT_INITIALIZED;
    }
    auto ctx = std::make_unique<cublasContext>();
    ctx->state.device = emu::currentDevice();
    auto& r = registry();
    std::scoped_lock lock(r.mutex);
    *handle = ctx.get();
    r.handles.emplace(ctx.get(), std::move(ctx));
    return CUBLAS_STATUS_SUCCESS;
}

// Releasing a handle synchronises its device, as cuBLAS documents: work queued through the
// handle has completed when this returns.
cublasStatus_t cublasDestroy_v2(cublasHandle_t handle) {
    cublasStatus_t injected;
    if (emu::blasFault("cublasDestroy_v2", &injected)) return injected;
    int device;
    {
        auto& r = registry();
        std::scoped_lock lock(r.mutex);
        cublasContext* ctx = emu::blas::liveContext(r, handle);
        if (!ctx) return CUBLAS_STATUS_NOT_INITIALIZED;
        ctx->live = false;
        device = ctx->state.device;
    }
    emu::runAll(device);
    return CUBLAS_STATUS_SUCCESS;
}

cublasStatus_t cublasSetStream_v2(cublasHandle_t handle, cudaStream_t streamId) {
    cublasStatus_t injected;
    if (emu::blasFault("cublasSetStream_v2", &injected)) return injected;
    auto& r = registry();
    std::scoped_lock lock(r.mutex);
    cublasContext* ctx = emu::blas::liveContext(r, handle);
    if (!ctx) return CUBLAS_STATUS_NOT_INITIALIZED;
    ctx->state.stream = streamId;
    return CUBLAS_STATUS_SUCCESS;
}

cublasStatus_t cublasGetStream_v2(cublasHandle_t handle, cudaStream_t* streamId) {
    cublasStatus_t injected;
    if (emu::blasFault("cublasGetStream_v2", &injected)) return injected;
    emu::blas::HandleState state;
    if (!emu::blas::lookupHandle(handle, &state)) return CUBLAS_STATUS_NOT_INITIALIZED;
    if (!streamId) return CUBLAS_STATUS_INVALID_VALUE;
    *streamId = state.stream;
    return CUBLAS_STATUS_SUCCESS;
}

cublasStatus_t cublasSetPointerMode_v2(cublasHandle_t handle, cublasPointerMode_t mode) {
    cublasStatus_t injected;
    if (emu::blasFault("cublasSetPointerMode_v2", &injected)) return injected;
    auto& r = registry();
    std::scoped_lock lock(r.mutex);
    cublasContext* ctx = emu::blas::liveContext(r, handle);
    if (!ctx) return CUBLAS_STATUS_NOT_INITIALIZED;
    if (mode != CUBLAS_POINTER_MODE_HOST && mode != CUBLAS_POINTER_MODE_DEVICE) {
        return CUBLAS_STATUS_INVALID_VALUE;
    }
    ctx->state.pointerMode = mode;
    return CUBLAS_STATUS_SUCCESS;
}

cublasStatus_t cublasGetPointerMode_v2(cublasHandle_t handle, cublasPointerMode_t* mode) {
    cublasStatus_t injected;
    if (emu::blasFault("cublasGetPointerMode_v2", &injected)) return injected;
    emu::blas::HandleState state;
    if (!emu::blas::lookupHandle(handle, &state)) return CUBLAS_STATUS_NOT_INITIALIZED;
    if (!mode) return CUBLAS_STATUS_INVALID_VALUE;
    *mode = state.pointerMode;
    return CUBLAS_STATUS_SUCCESS;
}

// The version needs no handle; a handle that is given must be live.
cublasStatus_t cublasGetVersion_v2(cublasHandle_t handle, int* version) {
    cublasStatus_t injected;
    if (emu::blasFault("cublasGetVersion_v2", &injected)) return injected;
    emu::blas::HandleState state;
    if (handle && !emu::blas::lookupHandle(handle, &state)) return CUBLAS_STATUS_NOT_INITIALIZED;
    if (!version) return CUBLAS_STATUS_INVALID_VALUE;
    *version = emu::cublasVersion();
    return CUBLAS_STATUS_SUCCESS;
}

// Major, minor and patch of the configured version (major * 10000 + minor * 100 + patch).
cublasStatus_t cublasGetProperty(libraryPropertyType type, int* value) {
    cublasStatus_t injected;
    if (emu::blasFault("cublasGetProperty", &injected)) return injected;
    if (!value) return CUBLAS_STATUS_INVALID_VALUE;
    const int version = emu::cublasVersion();
    switch (type) {
        case MAJOR_VERSION:
            *value = version / 10000;
            break;
        case MINOR_VERSION:
            *value = version / 100 % 100;
            break;
        case PATCH_LEVEL:
            *value = version % 100;
            break;
        default:
            return CUBLAS_STATUS_INVALID_VALUE;
    }
    return CUBLAS_STATUS_SUCCESS;
}

const char* cublasGetStatusName(cublasStatus_t status) {
    switch (status) {
        case CUBLAS_STATUS_SUCCESS:
            return "CUBLAS_STATUS_SUCCESS";
        case CUBLAS_STATUS_NOT_INITIALIZED:
            return "CUBLAS_STATUS_NOT_INITIALIZED";
        case CUBLAS_STATUS_ALLOC_FAILED:
            return "CUBLAS_STATUS_ALLOC_FAILED";
        case CUBLAS_STATUS_INVALID_VALUE:
            return "CUBLAS_STATUS_INVALID_VALUE";
        case CUBLAS_STATUS_ARCH_MISMATCH:
            return "CUBLAS_STATUS_ARCH_MISMATCH";
        case CUBLAS_STATUS_MAPPING_ERROR:
            return "CUBLAS_STATUS_MAPPING_ERROR";
        case CUBLAS_STATUS_EXECUTION_FAILED:
            return "CUBLAS_STATUS_EXECUTION_FAILED";
        case CUBLAS_STATUS_INTERNAL_ERROR:
            return "CUBLAS_STATUS_INTERNAL_ERROR";
        case CUBLAS_STATUS_NOT_SUPPORTED:
            return "CUBLAS_STATUS_NOT_SUPPORTED";
        case CUBLAS_STATUS_LICENSE_ERROR:
            return "CUBLAS_STATUS_LICENSE_ERROR";
    }
    return "unrecognized status";
}

const char* cublasGetStatusString(cublasStatus_t status) {
    switch (status) {
        case CUBLAS_STATUS_SUCCESS:
            return "success";
        case CUBLAS_STATUS_NOT_INITIALIZED:
            return "the library was not initialized";
        case CUBLAS_STATUS_ALLOC_FAILED:
            return "the resource allocation failed";
        case CUBLAS_STATUS_INVALID_VALUE:
            return "an unsupported value or parameter was passed to the function";
        case CUBLAS_STATUS_ARCH_MISMATCH:
            return "the function requires an architectural feature absent from the device";
        case CUBLAS_STATUS_MAPPING_ERROR:
            return "an access to GPU memory space failed";
        case CUBLAS_STATUS_EXECUTION_FAILED:
            return "the function failed to launch on the GPU";
        case CUBLAS_STATUS_INTERNAL_ERROR:
            return "an internal operation failed";
        case CUBLAS_STATUS_NOT_SUPPORTED:
            return "the requested functionality is not supported";
        case CUBLAS_STATUS_LICENSE_ERROR:
            return "the license check failed";
    }
    return "unrecognized status";
}

}  // extern "C"
