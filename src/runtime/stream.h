// stream.h - cudalib::Stream, the per-call stream that algorithms issue copies and work on.
//
// A Stream is a blocking stream (created with cudaStreamDefault), so that the legacy default
// stream orders against it: algorithms that mix work on the default stream (through the cuBLAS
// handle or synchronous copies) and on a Stream rely on that. It is created only when the device
// can overlap copies with kernels (asyncEngineCount > 0); otherwise its handle is 0, copies
// issued through it are synchronous and waiting on it is a default-stream synchronisation.
// It lives for one call: the destructor waits for its work and destroys it (so nothing pending
// on a destroyed stream can still touch a block that the work-space pool hands out again).
#pragma once

#include <cuda_runtime_api.h>

#include <cstddef>
#include <memory>

namespace zuli {
struct CallContext;
}

namespace cudalib {

// The owner of one created stream; work-space pools keep weak references to it to order the
// next user of a block after this stream's work.
struct StreamOwner {
    cudaStream_t handle = nullptr;
    int device = -1;
    StreamOwner(cudaStream_t h, int d) : handle(h), device(d) {}
    ~StreamOwner();
    StreamOwner(const StreamOwner&) = delete;
    StreamOwner& operator=(const StreamOwner&) = delete;
};

class Stream {
public:
    // A stream for the call's device: a new blocking stream when the device can overlap copies
    // with kernels, the legacy default stream (handle 0) otherwise.
    explicit Stream(const zuli::CallContext& ctx);
    // The legacy default stream (handle 0).
    Stream() = default;

    Stream(Stream&&) noexcept = default;
    Stream& operator=(Stream&&) noexcept = default;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    cudaStream_t get() const { return owner_ ? owner_->handle : nullptr; }
    // True when this is a created stream (copies through it are asynchronous).
    bool isAsync() const { return owner_ != nullptr; }

    // Waits until the stream's work is done (for handle 0: a default-stream synchronisation).
    void synchronize() const;

    // Copies through the stream: asynchronous on a created stream, synchronous on handle 0.
    void copy(void* dst, const void* src, size_t bytes, cudaMemcpyKind kind) const;
    void copy2D(void* dst, size_t dpitch, const void* src, size_t spitch, size_t widthBytes,
                size_t height, cudaMemcpyKind kind) const;

    // Makes this stream's later work wait for everything issued to `other` so far.
    void waitFor(const Stream& other) const;

    std::weak_ptr<StreamOwner> owner() const { return owner_; }

private:
    std::shared_ptr<StreamOwner> owner_;  // null: the legacy default stream
};

}  // namespace cudalib
