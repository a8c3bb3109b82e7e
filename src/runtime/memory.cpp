// memory.cpp - the work-space pools, the scalar pool, zuliFreeBuffers and zuliGetOptimalPitch.
#include "runtime/memory.h"

#include "runtime/device.h"
#include "runtime/frame.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <stdexcept>

namespace cudalib {

void releaseDeviceMemory(void* p) noexcept {
    if (!p) return;
    cudaDeviceSynchronize();
    cudaFree(p);
}

void releasePageLockedMemory(void* p) noexcept {
    if (!p) return;
    cudaDeviceSynchronize();
    cudaFreeHost(p);
}

DeviceGuard::DeviceGuard(int device) noexcept {
    if (device < 0) return;
    int current = -1;
    if (cudaGetDevice(&current) != cudaSuccess) {
        cudaGetLastError();
        return;
    }
    if (current == device) return;
    if (cudaSetDevice(device) != cudaSuccess) {
        cudaGetLastError();
        return;
    }
    previous_ = current;
}

DeviceGuard::~DeviceGuard() {
    if (previous_ >= 0) cudaSetDevice(previous_);
}

}  // namespace cudalib

namespace zuli {

namespace {

// One mutex guards every pool (work space and scalar).
std::mutex& poolMutex() {
    static std::mutex* mutex = new std::mutex;
    return *mutex;
}

// The stream a pool block was last handed out for.
struct StreamRecord {
    bool used = false;                        // handed out at least once
    std::weak_ptr<cudalib::StreamOwner> owner;  // expired or empty: see isDefault
    bool isDefault = false;                   // the legacy default stream (handle 0)

    static StreamRecord of(const cudalib::Stream& s) {
        return {true, s.owner(), !s.isAsync()};
    }
};

// Orders the next use of a block on `next` after the work its last stream has been given.
// Device blocks: `next` waits for an event recorded on the old stream. Page-locked blocks (the
// host touches them directly): the host waits for the old stream.
void orderAfterLastUse(const StreamRecord& last, const cudalib::Stream& next, bool hostAccessible) {
    if (!last.used) return;
    std::shared_ptr<cudalib::StreamOwner> previous = last.owner.lock();
    if (!last.isDefault && !previous) return;  // destroyed: its destructor waited for its work
    cudaStream_t old = previous ? previous->handle : nullptr;
    if (hostAccessible) {
        cudalib::checkCuda(cudaStreamSynchronize(old));
        return;
    }
    if (old == next.get()) return;  // same stream: stream order suffices
    cudaEvent_t event = nullptr;
    cudalib::checkCuda(cudaEventCreateWithFlags(&event, cudaEventDisableTiming));
    cudaError_t e = cudaEventRecord(event, old);
    if (e == cudaSuccess) e = cudaStreamWaitEvent(next.get(), event, 0);
    cudaEventDestroy(event);  // the wait keeps its own reference to the recorded work
    cudalib::checkCuda(e);
}

// Allocates through `allocate`; on an allocation failure drops the free blocks of `blocks` and
// tries again for as long as dropping frees something. A recovered failure is cleared from the
// runtime's last error, so that the call does not report it.
template <typename Buffer, typename Entry, typename Allocate>
Buffer allocateWithTrim(std::vector<Entry>& blocks, Allocate allocate) {
    for (;;) {
        try {
            return allocate();
        } catch (const cudalib::CudaMemoryException&) {
            cudaGetLastError();
            auto before = blocks.size();
            std::erase_if(blocks, [](const Entry& e) { return e.block.useCount() == 1; });
            if (blocks.size() == before) throw;
        }
    }
}

template <typename T, typename Allocator>
class WorkspacePool {
public:
    using Buffer = cudalib::ManagedMemory<T, Allocator>;

    Buffer acquire(const CallContext& ctx, int64_t n, const cudalib::Stream& stream) {
        if (n < 0) throw std::runtime_error("Memory Pool: bad request");
        if (n == 0) return Buffer();
        size_t request = std::max(static_cast<size_t>(n), kPoolMinimumBlock);

        std::scoped_lock lock(poolMutex());
        std::vector<Entry>& blocks = byDevice_[ctx.device];
        if (blocks.empty()) warmUp(blocks);

        Entry* best = nullptr;
        for (Entry& e : blocks) {
            if (e.block.useCount() != 1 || e.block.size() < request) continue;
            if (!best || e.block.size() < best->block.size()) best = &e;
        }
        if (!best) {
            Buffer fresh = allocateWithTrim<Buffer>(blocks, [&] { return Buffer(request); });
            blocks.push_back(Entry{std::move(fresh), StreamRecord{}});
            best = &blocks.back();
        }
        // The previous holder released the block on some thread: see its writes before reuse.
        std::atomic_thread_fence(std::memory_order_acquire);
        orderAfterLastUse(best->lastStream, stream, Allocator::hostAccessible);
        best->lastStream = StreamRecord::of(stream);
        return best->block;
    }

    void releaseUnused() {
        std::scoped_lock lock(poolMutex());
        for (auto& [device, blocks] : byDevice_)
            std::erase_if(blocks, [](const Entry& e) { return e.block.useCount() == 1; });
    }

    std::vector<PoolBlockInfo> blocks(int device) {
        std::scoped_lock lock(poolMutex());
        std::vector<PoolBlockInfo> out;
        auto it = byDevice_.find(device);
        if (it == byDevice_.end()) return out;
        for (const Entry& e : it->second) out.push_back({e.block.size(), e.block.useCount() > 1});
        return out;
    }

private:
    struct Entry {
        Buffer block;
        StreamRecord lastStream;
    };

    // The first use on a device preallocates the blocks most routines need. A device too small
    // for them keeps what fits; the request itself is then served (or trimmed for) as usual.
    static void warmUp(std::vector<Entry>& blocks) {
        const size_t sizes[] = {kPoolWarmupLargeBlock, kPoolWarmupSmallBlock, kPoolWarmupSmallBlock,
                                kPoolWarmupSmallBlock, kPoolWarmupSmallBlock};
        static_assert(std::size(sizes) == 1 + kPoolWarmupSmallBlocks);
        for (size_t size : sizes) {
            try {
                blocks.push_back(Entry{Buffer(size), StreamRecord{}});
            } catch (const cudalib::CudaMemoryException&) {
                cudaGetLastError();
                return;
            }
        }
    }

    std::map<int, std::vector<Entry>> byDevice_;
};

template <typename T>
WorkspacePool<T, cudalib::CudaAllocator<T>>& devicePool() {
    static auto* pool = new WorkspacePool<T, cudalib::CudaAllocator<T>>;  // outlives static exit
    return *pool;
}

template <typename T>
WorkspacePool<T, cudalib::PageLockedAllocator<T>>& pinnedPool() {
    static auto* pool = new WorkspacePool<T, cudalib::PageLockedAllocator<T>>;
    return *pool;
}

// The scalar pool: per device one preallocated array of kScalarPoolCapacity unsigned ints and the
// one-element views handed out so far (view k at byte offset 4k).
class ScalarPool {
public:
    DeviceBuffer<unsigned int> acquire(const CallContext& ctx, const cudalib::Stream& stream) {
        std::scoped_lock lock(poolMutex());
        Registry& reg = byDevice_[ctx.device];
        if (reg.array.empty()) reg.array = DeviceBuffer<unsigned int>(kScalarPoolCapacity);

        Entry* chosen = nullptr;
        for (Entry& e : reg.entries)
            if (e.view.useCount() == 1) {
                chosen = &e;
                break;
            }
        if (!chosen) {
            if (reg.entries.size() >= kScalarPoolCapacity)
                throw std::runtime_error("MemoryPool: empty");
            size_t k = reg.entries.size();
            reg.entries.push_back(
                Entry{DeviceBuffer<unsigned int>::view(reg.array.get() + k, 1, reg.array.keepAlive()),
                      StreamRecord{}});
            chosen = &reg.entries.back();
        }
        std::atomic_thread_fence(std::memory_order_acquire);
        orderAfterLastUse(chosen->lastStream, stream, false);
        chosen->lastStream = StreamRecord::of(stream);
        return chosen->view;
    }

    // Drops the registry of `device`; views still held keep the array alive.
    void release(int device) {
        std::scoped_lock lock(poolMutex());
        byDevice_.erase(device);
    }

    size_t entries(int device) {
        std::scoped_lock lock(poolMutex());
        auto it = byDevice_.find(device);
        return it == byDevice_.end() ? 0 : it->second.entries.size();
    }

private:
    struct Entry {
        DeviceBuffer<unsigned int> view;
        StreamRecord lastStream;
    };
    struct Registry {
        DeviceBuffer<unsigned int> array;
        std::vector<Entry> entries;
    };
    std::map<int, Registry> byDevice_;
};

ScalarPool& scalarPool() {
    static auto* pool = new ScalarPool;
    return *pool;
}

}  // namespace

template <typename T>
DeviceBuffer<T> acquireWorkspace(const CallContext& ctx, int64_t n, const cudalib::Stream& stream) {
    return devicePool<T>().acquire(ctx, n, stream);
}

template <typename T>
PinnedBuffer<T> acquirePinnedWorkspace(const CallContext& ctx, int64_t n,
                                       const cudalib::Stream& stream) {
    return pinnedPool<T>().acquire(ctx, n, stream);
}

DeviceBuffer<unsigned int> acquireScalar(const CallContext& ctx, const cudalib::Stream& stream) {
    return scalarPool().acquire(ctx, stream);
}

template <typename T>
std::vector<PoolBlockInfo> workspacePoolBlocks(int device) {
    return devicePool<T>().blocks(device);
}

template <typename T>
std::vector<PoolBlockInfo> pinnedPoolBlocks(int device) {
    return pinnedPool<T>().blocks(device);
}

size_t scalarPoolEntries(int device) { return scalarPool().entries(device); }

void releaseAllPools(int device) {
    devicePool<float>().releaseUnused();
    devicePool<double>().releaseUnused();
    devicePool<Complex<float>>().releaseUnused();
    devicePool<Complex<double>>().releaseUnused();
    devicePool<int>().releaseUnused();
    devicePool<unsigned int>().releaseUnused();
    pinnedPool<float>().releaseUnused();
    pinnedPool<double>().releaseUnused();
    pinnedPool<Complex<float>>().releaseUnused();
    pinnedPool<Complex<double>>().releaseUnused();
    pinnedPool<int>().releaseUnused();
    scalarPool().release(device);
}

// The eleven pools' element types, and nothing else, are instantiated.
#define ZULI_DEVICE_POOL(T)                                                                     \
    template DeviceBuffer<T> acquireWorkspace<T>(const CallContext&, int64_t,                   \
                                                 const cudalib::Stream&);                       \
    template std::vector<PoolBlockInfo> workspacePoolBlocks<T>(int);
#define ZULI_PINNED_POOL(T)                                                                     \
    template PinnedBuffer<T> acquirePinnedWorkspace<T>(const CallContext&, int64_t,             \
                                                       const cudalib::Stream&);                 \
    template std::vector<PoolBlockInfo> pinnedPoolBlocks<T>(int);
ZULI_DEVICE_POOL(float)
ZULI_DEVICE_POOL(double)
ZULI_DEVICE_POOL(Complex<float>)
ZULI_DEVICE_POOL(Complex<double>)
ZULI_DEVICE_POOL(int)
ZULI_DEVICE_POOL(unsigned int)
ZULI_PINNED_POOL(float)
ZULI_PINNED_POOL(double)
ZULI_PINNED_POOL(Complex<float>)
ZULI_PINNED_POOL(Complex<double>)
ZULI_PINNED_POOL(int)
#undef ZULI_DEVICE_POOL
#undef ZULI_PINNED_POOL

}  // namespace zuli

extern "C" {

ZULI_API zuliStatus zuliGetOptimalPitch(int* pitch, int rows, int cols, int elesize) {
    return zuli::utilityRoutine([&](const zuli::CallContext& ctx) {
        if (pitch == nullptr) zuli::raiseArgumentError(-1);
        if (rows < 0) zuli::raiseArgumentError(-2);
        if (cols < 0) zuli::raiseArgumentError(-3);
        if (elesize != 4 && elesize != 8 && elesize != 16) zuli::raiseArgumentError(-4);

        int code = zuli::deviceCapability(ctx.device).code;
        bool firstGeneration = code >= 10 && code <= 13;
        unsigned alignment = 0, stride = 0;
        switch (elesize) {
        case 4:
            alignment = firstGeneration ? 32 : 96;
            stride = code < 14 ? 384 : 512;
            break;
        case 8:
            alignment = firstGeneration ? 48 : 64;
            stride = code < 14 ? 192 : 256;
            break;
        default:
            alignment = firstGeneration ? 48 : 32;
            stride = code < 14 ? 96 : 128;
            break;
        }
        unsigned p = (static_cast<unsigned>(rows) + alignment - 1) / alignment * alignment;
        if (p % stride == 0) p += alignment;  // a pitch that is a multiple of the stride is avoided
        *pitch = static_cast<int>(p);
    });
}

}  // extern "C"
