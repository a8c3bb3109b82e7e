// stream.cpp - the per-call stream.
#include "runtime/stream.h"

#include "runtime/context.h"
#include "runtime/device.h"
#include "runtime/status.h"

namespace cudalib {

StreamOwner::~StreamOwner() {
    // Work still queued must finish before the stream goes: pool blocks it uses may be handed
    // to another stream as soon as the stream is gone. Errors here surface through the runtime's
    // last error at the frame's post-call check.
    cudaStreamSynchronize(handle);
    cudaStreamDestroy(handle);
}

Stream::Stream(const zuli::CallContext& ctx) {
    if (zuli::deviceProperties(ctx.device).asyncEngineCount <= 0) return;  // handle 0
    cudaStream_t handle = nullptr;
    checkCuda(cudaStreamCreateWithFlags(&handle, cudaStreamDefault));
    try {
        owner_ = std::make_shared<StreamOwner>(handle, ctx.device);
    } catch (...) {
        cudaStreamDestroy(handle);
        throw;
    }
}

void Stream::synchronize() const { checkCuda(cudaStreamSynchronize(get())); }

void Stream::copy(void* dst, const void* src, size_t bytes, cudaMemcpyKind kind) const {
    if (bytes == 0) return;
    if (isAsync())
        checkCuda(cudaMemcpyAsync(dst, src, bytes, kind, get()));
    else
        checkCuda(cudaMemcpy(dst, src, bytes, kind));
}

void Stream::copy2D(void* dst, size_t dpitch, const void* src, size_t spitch, size_t widthBytes,
                    size_t height, cudaMemcpyKind kind) const {
    if (widthBytes == 0 || height == 0) return;
    if (isAsync())
        checkCuda(cudaMemcpy2DAsync(dst, dpitch, src, spitch, widthBytes, height, kind, get()));
    else
        checkCuda(cudaMemcpy2D(dst, dpitch, src, spitch, widthBytes, height, kind));
}

void Stream::waitFor(const Stream& other) const {
    if (other.get() == get()) return;
    cudaEvent_t event = nullptr;
    checkCuda(cudaEventCreateWithFlags(&event, cudaEventDisableTiming));
    cudaError_t e = cudaEventRecord(event, other.get());
    if (e == cudaSuccess) e = cudaStreamWaitEvent(get(), event, 0);
    cudaEventDestroy(event);
    checkCuda(e);
}

}  // namespace cudalib
