// memory.h - device memory as reference-counted buffers, and the work-space pools.
//
// cudalib::ManagedMemory<T, Allocator> owns one allocation (or views memory owned elsewhere) and
// shares it between copies of the handle; the allocation is returned through the same allocator
// when the last handle goes, including on exception paths. Algorithms never hold raw owning
// pointers to device memory.
//
// Allocators (all over element type T, all with allocate(n) / release(p)):
//   CudaAllocator        linear device memory (cudaMalloc)
//   CudaPitchAllocator   pitched 2-D device memory (cudaMallocPitch)
//   PageLockedAllocator  page-locked host memory (cudaMallocHost), for truly asynchronous copies
//   BlasAllocator        device memory for cuBLAS operands (cudaMalloc: cuBLAS v2 takes ordinary
//                        device pointers; the legacy cuBLAS allocator cannot be used with v2)
// A failed allocation raises cudalib::CudaMemoryException (status 5 at the frame).
//
// Work-space pools: per element type and device, a vector of blocks that outlive calls. A
// request for n elements is rounded up to 262,144; the first request on a device warms the pool
// up with one block of 2,097,152 and four of 1,048,576 elements; a request is served by the free
// block of smallest sufficient capacity (the earlier on a tie), else by a new block; when a new
// block cannot be allocated the free blocks of the device are dropped and the allocation is
// retried. A block is free when the pool holds the only handle to it.
//
// The eleven pools, in the order zuliFreeBuffers releases them:
//   device memory (CudaAllocator):           float, double, Complex<float>, Complex<double>,
//                                            int, unsigned int
//   page-locked host memory (PageLocked...): float, double, Complex<float>, Complex<double>, int
// Device blocks are for work space on the GPU (matrices, vectors, pivots, flags); page-locked
// blocks are staging areas for host steps of the hybrid algorithms (panels, pivot vectors), whose
// copies can then overlap GPU work.
//
// Streams: a pool records, per block, the stream it was last handed out for. When a device block
// goes to a different stream, the new stream is made to wait (an event) for the work already
// issued to the old one; a page-locked block, which the host touches directly, is handed out only
// after the old stream's work is complete. A Stream that has been destroyed has completed its work
// (its destructor waits), so it needs no ordering.
#pragma once

#include "runtime/complex.h"
#include "runtime/context.h"
#include "runtime/status.h"
#include "runtime/stream.h"

#include <cuda_runtime_api.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace cudalib {

// ---- allocators ------------------------------------------------------------------------------

// Frees device / page-locked memory once the work queued on the current device is complete (a
// buffer is released when its last holder drops it, which may be before work using it has run;
// a GPU's own free waits for the device in the same way). Errors stay in the runtime's last error.
void releaseDeviceMemory(void* p) noexcept;
void releasePageLockedMemory(void* p) noexcept;

// Makes `device` current for its lifetime when it is not already (no-op for -1).
class DeviceGuard {
public:
    explicit DeviceGuard(int device) noexcept;
    ~DeviceGuard();
    DeviceGuard(const DeviceGuard&) = delete;
    DeviceGuard& operator=(const DeviceGuard&) = delete;

private:
    int previous_ = -1;
};

template <typename T>
class ManagedMemoryAllocatorInterface {
public:
    virtual ~ManagedMemoryAllocatorInterface() = default;
    virtual T* allocate(size_t n) = 0;           // n elements; raises CudaMemoryException
    virtual void release(T* p) noexcept = 0;     // p from allocate (or null)
};

template <typename T>
class CudaAllocator : public ManagedMemoryAllocatorInterface<T> {
public:
    static constexpr bool hostAccessible = false;
    T* allocate(size_t n) override {
        void* p = nullptr;
        checkCuda(cudaMalloc(&p, n * sizeof(T)));
        return static_cast<T*>(p);
    }
    void release(T* p) noexcept override { releaseDeviceMemory(p); }
};

template <typename T>
class CudaPitchAllocator : public ManagedMemoryAllocatorInterface<T> {
public:
    static constexpr bool hostAccessible = false;
    // One row of n elements.
    T* allocate(size_t n) override {
        size_t pitch = 0;
        return allocatePitched(n, 1, &pitch);
    }
    // `height` rows of `widthElements` elements each; *pitchBytes receives the row pitch.
    T* allocatePitched(size_t widthElements, size_t height, size_t* pitchBytes) {
        void* p = nullptr;
        checkCuda(cudaMallocPitch(&p, pitchBytes, widthElements * sizeof(T), height));
        return static_cast<T*>(p);
    }
    void release(T* p) noexcept override { releaseDeviceMemory(p); }
};

template <typename T>
class PageLockedAllocator : public ManagedMemoryAllocatorInterface<T> {
public:
    static constexpr bool hostAccessible = true;
    T* allocate(size_t n) override {
        void* p = nullptr;
        checkCuda(cudaMallocHost(&p, n * sizeof(T)));
        return static_cast<T*>(p);
    }
    void release(T* p) noexcept override { releasePageLockedMemory(p); }
};

}  // namespace cudalib

namespace zuli {

template <typename T>
class BlasAllocator : public cudalib::ManagedMemoryAllocatorInterface<T> {
public:
    static constexpr bool hostAccessible = false;
    T* allocate(size_t n) override {
        void* p = nullptr;
        cudalib::checkCuda(cudaMalloc(&p, n * sizeof(T)));
        return static_cast<T*>(p);
    }
    void release(T* p) noexcept override { cudalib::releaseDeviceMemory(p); }
};

}  // namespace zuli

namespace cudalib {

// ---- reference-counted buffers -----------------------------------------------------------------

template <typename T, typename Allocator = CudaAllocator<T>>
class ManagedMemory {
public:
    // An empty handle (no memory).
    ManagedMemory() = default;

    // An owning buffer of n elements (extents n x 1 x 1).
    explicit ManagedMemory(size_t n) : ManagedMemory(n, 1, 1) {}

    // An owning buffer of rows x cols x batch elements. With CudaPitchAllocator each of the
    // cols * batch columns is a pitched row of the allocation: pitchBytes() tells its stride.
    ManagedMemory(size_t rows, size_t cols, size_t batch) {
        checkExtent(rows);
        checkExtent(cols);
        checkExtent(batch);
        size_t count = rows * cols * batch;
        if (count == 0) return;
        Allocator allocator;
        size_t pitch = rows * sizeof(T);
        T* p;
        if constexpr (requires { allocator.allocatePitched(rows, cols, &pitch); })
            p = allocator.allocatePitched(rows, cols * batch, &pitch);
        else
            p = allocator.allocate(count);
        try {
            impl_ = std::make_shared<Impl>();
        } catch (...) {
            allocator.release(p);
            throw;
        }
        impl_->ptr = p;
        impl_->extents[0] = static_cast<uint32_t>(rows);
        impl_->extents[1] = static_cast<uint32_t>(cols);
        impl_->extents[2] = static_cast<uint32_t>(batch);
        impl_->pitchBytes = pitch;
        impl_->owning = true;
        if (cudaGetDevice(&impl_->device) != cudaSuccess) {
            cudaGetLastError();
            impl_->device = -1;
        }
    }

    // A non-owning view of n elements at p. `keepAlive` (if any) is held as long as the view,
    // so that the memory it points into outlives it.
    static ManagedMemory view(T* p, size_t n, std::shared_ptr<const void> keepAlive = {}) {
        checkExtent(n);
        ManagedMemory m;
        m.impl_ = std::make_shared<Impl>();
        m.impl_->ptr = p;
        m.impl_->extents[0] = static_cast<uint32_t>(n);
        m.impl_->pitchBytes = n * sizeof(T);
        m.impl_->parent = std::move(keepAlive);
        return m;
    }

    T* get() const { return impl_ ? impl_->ptr : nullptr; }
    // Capacity in elements: the product of the three extents (for a pitched buffer, of the
    // logical rows x cols x batch, not counting the padding).
    size_t size() const {
        if (!impl_) return 0;
        return size_t(impl_->extents[0]) * impl_->extents[1] * impl_->extents[2];
    }
    uint32_t extent(int i) const { return impl_ ? impl_->extents[i] : 0; }
    size_t pitchBytes() const { return impl_ ? impl_->pitchBytes : 0; }
    // Leading dimension in elements (the pitch for a pitched buffer), at least 1.
    size_t ld() const {
        size_t ld = pitchBytes() / sizeof(T);
        return ld > 0 ? ld : 1;
    }
    bool owning() const { return impl_ && impl_->owning; }
    bool empty() const { return get() == nullptr; }
    explicit operator bool() const { return !empty(); }
    // Number of handles sharing the buffer (0 for an empty handle).
    long useCount() const { return impl_.use_count(); }
    // A reference that keeps the buffer alive (for views into it).
    std::shared_ptr<const void> keepAlive() const { return impl_; }
    void reset() { impl_.reset(); }

private:
    struct Impl {
        T* ptr = nullptr;
        uint32_t extents[3] = {0, 1, 1};
        size_t pitchBytes = 0;
        bool owning = false;
        int device = -1;  // the device current at allocation: memory is released there
        std::shared_ptr<const void> parent;
        ~Impl() {
            if (!owning || !ptr) return;
            DeviceGuard onDevice(device);
            Allocator().release(ptr);
        }
    };

    static void checkExtent(size_t n) {
        if (n > std::numeric_limits<uint32_t>::max())
            throw std::length_error("ManagedMemory: extent exceeds 32 bits");
    }

    std::shared_ptr<Impl> impl_;
};

}  // namespace cudalib

namespace zuli {

// Elements of the smallest block the pools hand out, and of the warm-up blocks.
inline constexpr size_t kPoolMinimumBlock = 262144;
inline constexpr size_t kPoolWarmupLargeBlock = 2097152;
inline constexpr size_t kPoolWarmupSmallBlock = 1048576;
inline constexpr int kPoolWarmupSmallBlocks = 4;
// One-element device results (info words, flags) per device in the scalar pool.
inline constexpr size_t kScalarPoolCapacity = 4096;

template <typename T>
using DeviceBuffer = cudalib::ManagedMemory<T, cudalib::CudaAllocator<T>>;
template <typename T>
using PinnedBuffer = cudalib::ManagedMemory<T, cudalib::PageLockedAllocator<T>>;

// Work space of at least n elements of T in device memory of the call's device, for use on
// `stream` (the legacy default stream when omitted). n < 0 raises std::runtime_error("Memory
// Pool: bad request"); n == 0 gives an empty handle. The element types are float, double,
// Complex<float>, Complex<double>, int and unsigned int.
template <typename T>
DeviceBuffer<T> acquireWorkspace(const CallContext& ctx, int64_t n,
                                 const cudalib::Stream& stream = cudalib::Stream());

// The same in page-locked host memory (float, double, Complex<float>, Complex<double>, int).
// The block is handed out only once the work of its previous stream is complete.
template <typename T>
PinnedBuffer<T> acquirePinnedWorkspace(const CallContext& ctx, int64_t n,
                                       const cudalib::Stream& stream = cudalib::Stream());

// A one-element device view from the call's device's scalar pool, for use on `stream`. Raises
// std::runtime_error("MemoryPool: empty") when all kScalarPoolCapacity entries are in use.
DeviceBuffer<unsigned int> acquireScalar(const CallContext& ctx,
                                         const cudalib::Stream& stream = cudalib::Stream());

// Drops every free block of the eleven pools (all devices), then the scalar pool of `device`.
void releaseAllPools(int device);

// What a pool holds on one device, in pool order (for diagnostics and tests).
struct PoolBlockInfo {
    size_t capacity;  // elements
    bool inUse;
};
template <typename T>
std::vector<PoolBlockInfo> workspacePoolBlocks(int device);
template <typename T>
std::vector<PoolBlockInfo> pinnedPoolBlocks(int device);
size_t scalarPoolEntries(int device);

}  // namespace zuli
