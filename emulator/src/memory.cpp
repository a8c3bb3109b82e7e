// memory.cpp - device and page-locked memory of the emulated GPU.
//
// Device memory is one memfd mapped twice. The "public" mapping provides the addresses that
// cudaMalloc hands out and is PROT_NONE forever, so a host dereference of a device pointer faults
// as it would on a GPU. The "private" mapping is where the emulator reads and writes; an address is
// translated by its offset. In the private mapping only the pages of live allocations are
// accessible, each allocation is preceded by an inaccessible guard page and ends within 256 bytes
// of a page end, so an overrun past its end faults. Pages materialise only when touched and are
// given back on free. Page-locked memory is ordinary host memory tracked in a registry; with
// unified addressing a device reaches blocks from cudaMallocHost / cudaHostAlloc through their
// host address, so work may use them as device memory.
//
// Frees synchronise, as the runtime's do: the pending work that uses the memory runs first. In
// pedantic mode code relying on that synchronisation (or on zero-copy access to page-locked
// memory) is reported instead.
#include "core_state.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/falloc.h>
#include <sys/mman.h>
#include <unistd.h>

namespace emu {

namespace {

constexpr int kMaxDevices = 16;
constexpr size_t kDeviceAlignment = 256;
// Fresh allocations are filled with 0xFF bytes (a NaN in every floating-point type) so that
// reading uninitialised memory shows. Beyond this size only the first and last kPoisonEdge bytes
// are filled, to keep huge allocations cheap.
constexpr size_t kPoisonAll = 64ull << 20;
constexpr size_t kPoisonEdge = 1ull << 20;

size_t roundUp(size_t x, size_t a) {
    return (x + a - 1) / a * a;
}

struct Arena {
    int fd = -1;
    char* pub = nullptr;
    char* priv = nullptr;
    size_t bytes = 0;
    size_t page = 4096;
    size_t cursor = 0;                   // next-fit start: delays the reuse of freed addresses
    std::map<size_t, size_t> freeSpans;  // offset -> length
};

struct DeviceAlloc {
    uint64_t id;
    int device;
    size_t size;        // bytes requested
    size_t slotOffset;  // guard page + data pages, in arena offsets
    size_t slotLength;
    size_t dataOffset;  // first data page
    size_t dataLength;
};

struct PinnedBlock {
    uint64_t id;
    int device;
    size_t size;
    size_t mapLength;
    unsigned flags;
};

Arena g_arena;
bool g_arenaReady = false;
std::map<uintptr_t, DeviceAlloc> g_device;  // public start -> allocation
std::map<uintptr_t, PinnedBlock> g_pinned;  // start -> block
uint64_t g_nextId = 1;
size_t g_liveOn[kMaxDevices] = {};

Arena& arena() {
    if (g_arenaReady) return g_arena;
    g_arena.page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    g_arena.fd = memfd_create("zuli_emu_device_memory", MFD_CLOEXEC);
    if (g_arena.fd < 0) {
        std::fprintf(stderr, "zuli_emu: memfd_create failed: %s\n", std::strerror(errno));
        std::abort();
    }
    // Address space only: try a generous arena first, smaller ones if the system refuses.
    for (size_t bytes : {4ull << 40, 1ull << 40, 256ull << 30, 64ull << 30}) {
        if (ftruncate(g_arena.fd, static_cast<off_t>(bytes)) != 0) continue;
        void* pub = mmap(nullptr, bytes, PROT_NONE, MAP_SHARED | MAP_NORESERVE, g_arena.fd, 0);
        if (pub == MAP_FAILED) continue;
        void* priv = mmap(nullptr, bytes, PROT_NONE, MAP_SHARED | MAP_NORESERVE, g_arena.fd, 0);
        if (priv == MAP_FAILED) {
            munmap(pub, bytes);
            continue;
        }
        g_arena.pub = static_cast<char*>(pub);
        g_arena.priv = static_cast<char*>(priv);
        g_arena.bytes = bytes;
        break;
    }
    if (!g_arena.pub) {
        std::fprintf(stderr, "zuli_emu: cannot reserve the device memory arena\n");
        std::abort();
    }
    // The last page is never handed out, so the highest allocation is followed by a guard too.
    g_arena.freeSpans[0] = g_arena.bytes - g_arena.page;
    g_arenaReady = true;
    return g_arena;
}

// Takes `length` bytes of arena offsets, next-fit from the cursor so that freed addresses are
// reused as late as possible (a stale pointer then points at nothing); false when none is left.
bool takeSpan(size_t length, size_t* offset) {
    Arena& a = arena();
    for (int pass = 0; pass < 2; ++pass) {
        for (auto it = a.freeSpans.begin(); it != a.freeSpans.end(); ++it) {
            size_t spanStart = it->first, spanEnd = it->first + it->second;
            if (pass == 0 && spanEnd <= a.cursor) continue;
            size_t start = pass == 0 ? std::max(spanStart, a.cursor) : spanStart;
            if (spanEnd - start < length) continue;
            a.freeSpans.erase(it);
            if (start > spanStart) a.freeSpans[spanStart] = start - spanStart;
            if (start + length < spanEnd) a.freeSpans[start + length] = spanEnd - start - length;
            a.cursor = start + length;
            *offset = start;
            return true;
        }
    }
    return false;
}

void giveSpan(size_t offset, size_t length) {
    Arena& a = arena();
    auto next = a.freeSpans.lower_bound(offset);
    if (next != a.freeSpans.end() && offset + length == next->first) {
        length += next->second;
        next = a.freeSpans.erase(next);
    }
    if (next != a.freeSpans.begin()) {
        auto prev = std::prev(next);
        if (prev->first + prev->second == offset) {
            prev->second += length;
            return;
        }
    }
    a.freeSpans[offset] = length;
}

bool inArena(const void* p) {
    if (!g_arenaReady) return false;
    auto u = reinterpret_cast<uintptr_t>(p), base = reinterpret_cast<uintptr_t>(g_arena.pub);
    return u >= base && u < base + g_arena.bytes;
}

uintptr_t publicStart(const DeviceAlloc& a) {
    return reinterpret_cast<uintptr_t>(g_arena.pub) + a.dataOffset + a.dataLength -
           roundUp(a.size, kDeviceAlignment);
}

// The live device allocation containing p (one past its end included), or nullptr.
std::pair<uintptr_t, DeviceAlloc*> findDevice(const void* p) {
    if (!inArena(p)) return {0, nullptr};
    auto u = reinterpret_cast<uintptr_t>(p);
    auto it = g_device.upper_bound(u);
    if (it == g_device.begin()) return {0, nullptr};
    --it;
    if (u > it->first + it->second.size) return {0, nullptr};
    return {it->first, &it->second};
}

std::pair<uintptr_t, PinnedBlock*> findPinned(const void* p) {
    auto u = reinterpret_cast<uintptr_t>(p);
    auto it = g_pinned.upper_bound(u);
    if (it == g_pinned.begin()) return {0, nullptr};
    --it;
    if (u > it->first + it->second.size) return {0, nullptr};
    return {it->first, &it->second};
}

void* toPrivate(const void* p) {
    return g_arena.priv + (reinterpret_cast<const char*>(p) - g_arena.pub);
}

void poison(char* priv, size_t size) {
    if (size <= kPoisonAll) {
        std::memset(priv, 0xFF, size);
    } else {
        std::memset(priv, 0xFF, kPoisonEdge);
        std::memset(priv + size - kPoisonEdge, 0xFF, kPoisonEdge);
    }
}

// Allocates `size` bytes of device memory on `device`; nullptr when the device or arena is full.
void* allocateDevice(int device, size_t size) {
    const zuliEmuDeviceConfig& cfg = config().devices[device];
    if (size > cfg.totalMem || g_liveOn[device] + size > cfg.totalMem) return nullptr;
    Arena& a = arena();
    size_t rounded = roundUp(size, kDeviceAlignment);
    size_t dataLength = roundUp(rounded, a.page);
    size_t slotLength = a.page + dataLength;
    size_t slot;
    if (rounded < size || !takeSpan(slotLength, &slot)) return nullptr;
    DeviceAlloc alloc{g_nextId++, device, size, slot, slotLength, slot + a.page, dataLength};
    if (mprotect(a.priv + alloc.dataOffset, dataLength, PROT_READ | PROT_WRITE) != 0) {
        giveSpan(slot, slotLength);
        return nullptr;
    }
    uintptr_t start = publicStart(alloc);
    g_device.emplace(start, alloc);
    g_liveOn[device] += size;
    poison(static_cast<char*>(toPrivate(reinterpret_cast<void*>(start))), size);
    countDeviceAlloc(size);
    return reinterpret_cast<void*>(start);
}

void releaseDevice(std::map<uintptr_t, DeviceAlloc>::iterator it) {
    Arena& a = arena();
    DeviceAlloc alloc = it->second;
    g_device.erase(it);
    mprotect(a.priv + alloc.dataOffset, alloc.dataLength, PROT_NONE);
    if (fallocate(a.fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE,
                  static_cast<off_t>(alloc.dataOffset), static_cast<off_t>(alloc.dataLength)) != 0)
        madvise(a.priv + alloc.dataOffset, alloc.dataLength, MADV_REMOVE);
    giveSpan(alloc.slotOffset, alloc.slotLength);
    g_liveOn[alloc.device] -= alloc.size;
    countDeviceFree(alloc.size);
}

// Page-locked blocks that a device reaches through their host address: those of cudaMallocHost
// and cudaHostAlloc, except write-combined ones. Registered memory (the emulated devices report
// no canUseHostPointerForRegisteredMem) and write-combined blocks have a distinct device address
// (cudaHostGetDevicePointer), which the emulator does not hand out.
bool deviceReachable(const PinnedBlock& block) {
    return block.mapLength != 0 && !(block.flags & cudaHostAllocWriteCombined);
}

std::string describeNonDevice(const void* p) {
    if (inArena(p))
        return "address is not inside a live device allocation (freed or never allocated)";
    if (auto [start, block] = findPinned(p); block) {
        if (!deviceReachable(*block))
            return block->mapLength ? "write-combined page-locked memory used as device memory "
                                      "through its host address"
                                    : "registered host memory used as device memory through "
                                      "its host address";
        return "page-locked host memory used as device memory (zero-copy access, reported in "
               "pedantic mode)";
    }
    return "host pointer used as device memory";
}

// The synchronisation of a free. A free waits for the device first, as the runtime's does (and
// as programs rely on): the pending work of the current device and of every device that uses the
// allocation runs, and an error that work raises is the free's result. That error is sticky: the
// memory then stays allocated, with the rest of the lost context, until cudaDeviceReset.
// Pedantic mode waits for nothing: it reports a free of memory that pending work still uses, so
// that code relying on the implicit synchronisation fails instead of waiting.
cudaError_t waitForUsers(uint64_t id, const char* op, const void* ptr, const char* what) {
    if (config().pedantic) {
        std::string user;
        if (!allocationInUse(id, &user)) return cudaSuccess;
        return violation(op, ptr, std::string(what) + " while pending work uses it (" + user + ")");
    }
    cudaError_t error = cudaSuccess;
    if (runForFree(id, &error)) countSync();
    return error;
}

}  // namespace

// ---- internal interface
// ---------------------------------------------------------------------------

MemKind classify(const void* p) {
    Guard g(lock());
    if (findDevice(p).second) return MemKind::Device;
    if (findPinned(p).second) return MemKind::Pinned;
    return MemKind::Pageable;
}

bool inDeviceArena(const void* p) {
    Guard g(lock());
    return inArena(p);
}

namespace {

// "<extent> of B bytes at offset O overruns the <region> of S bytes by X bytes".
std::string overrun(const char* extent, size_t bytes, size_t offset, const char* region,
                    size_t size) {
    char what[256];
    std::snprintf(what, sizeof what,
                  "%s of %zu bytes at offset %zu overruns the %s of %zu bytes by %zu bytes", extent,
                  bytes, offset, region, size, bytes - (size - offset));
    return what;
}

}  // namespace

MemKind hostRange(const void* p, size_t bytes, const char* op, bool* fits) {
    Guard g(lock());
    *fits = true;
    auto [start, block] = findPinned(p);
    if (!block) return MemKind::Pageable;
    const size_t offset = reinterpret_cast<uintptr_t>(p) - start;
    if (bytes > block->size - offset) {
        // A registered range may be part of a larger host array: a copy that runs past it is a
        // copy of pageable memory (pedantic mode reports it, as it is staged).
        if (block->mapLength == 0 && !config().pedantic) return MemKind::Pageable;
        violation(op, p, overrun("host extent", bytes, offset, "page-locked block", block->size),
                  cudaErrorInvalidValue);
        *fits = false;
    }
    return MemKind::Pinned;
}

void* deviceRange(const void* p, size_t bytes, const char* op, int device) {
    if (!p && bytes == 0) return nullptr;
    Guard g(lock());
    auto [start, alloc] = findDevice(p);
    if (!alloc) {
        auto [hostStart, block] = findPinned(p);
        if (block && deviceReachable(*block) && !config().pedantic) {
            // Page-locked memory is reachable from every device (it is portable).
            const size_t offset = reinterpret_cast<uintptr_t>(p) - hostStart;
            if (bytes <= block->size - offset) return const_cast<void*>(p);
            violation(op, p, overrun("extent", bytes, offset, "page-locked block", block->size));
            return nullptr;
        }
        violation(op, p, p ? describeNonDevice(p) : "null device pointer");
        return nullptr;
    }
    if (device != kAnyDevice && alloc->device != device) {
        violation(op, p,
                  "memory of device " + std::to_string(alloc->device) + " used by work on device " +
                      std::to_string(device) + " (no peer access)");
        return nullptr;
    }
    size_t offset = reinterpret_cast<uintptr_t>(p) - start;
    if (bytes > alloc->size - offset) {
        violation(op, p, overrun("extent", bytes, offset, "device allocation", alloc->size));
        return nullptr;
    }
    return toPrivate(p);
}

void* deviceMatrix(const void* p, size_t rows, size_t cols, size_t ld, size_t esize, const char* op,
                   int device) {
    if (rows == 0 || cols == 0) {
        Guard g(lock());
        return p && inArena(p) ? toPrivate(p) : nullptr;
    }
    // (cols - 1) * ld + rows elements, guarding against overflow of the byte count.
    unsigned __int128 elements = static_cast<unsigned __int128>(cols - 1) * ld + rows;
    unsigned __int128 bytes = elements * esize;
    if (bytes > static_cast<unsigned __int128>(SIZE_MAX / 2)) {
        violation(op, p, "matrix extent does not fit in the address space");
        return nullptr;
    }
    return deviceRange(p, static_cast<size_t>(bytes), op, device);
}

uint64_t allocationOf(const void* p) {
    Guard g(lock());
    if (auto d = findDevice(p); d.second) return d.second->id;
    if (auto h = findPinned(p); h.second) return h.second->id;
    return 0;
}

size_t liveBytesOn(int device) {
    Guard g(lock());
    return device >= 0 && device < kMaxDevices ? g_liveOn[device] : 0;
}

bool hasAllocationsOn(int device) {
    Guard g(lock());
    return std::any_of(g_device.begin(), g_device.end(),
                       [&](const auto& e) { return e.second.device == device; });
}

void freeAllOn(int device) {
    Guard g(lock());
    for (auto it = g_device.begin(); it != g_device.end();) {
        auto next = std::next(it);
        if (it->second.device == device) releaseDevice(it);
        it = next;
    }
}

// The device that owns the allocation containing p (-1 if none) and, for page-locked memory,
// the device current when it was allocated.
int allocationDevice(const void* p) {
    Guard g(lock());
    if (auto d = findDevice(p); d.second) return d.second->device;
    if (auto h = findPinned(p); h.second) return h.second->device;
    return -1;
}

}  // namespace emu

// ---- CUDA runtime: allocation
// -----------------------------------------------------------------------

using emu::Guard;
using emu::lock;
using emu::setError;

extern "C" {

cudaError_t cudaMalloc(void** devPtr, size_t size) {
    EMU_DEVICE_ENTRY("cudaMalloc");
    if (!devPtr) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    *devPtr = nullptr;
    if (emu::deviceAllocFault()) return setError(cudaErrorMemoryAllocation);
    if (size == 0) return cudaSuccess;
    void* p = emu::allocateDevice(emu::currentDevice(), size);
    if (!p) return setError(cudaErrorMemoryAllocation);
    *devPtr = p;
    return cudaSuccess;
}

cudaError_t cudaMallocPitch(void** devPtr, size_t* pitch, size_t width, size_t height) {
    EMU_DEVICE_ENTRY("cudaMallocPitch");
    if (!devPtr || !pitch) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    *devPtr = nullptr;
    const zuliEmuDeviceConfig& cfg = emu::config().devices[emu::currentDevice()];
    if (width > cfg.memPitch) return setError(cudaErrorInvalidValue);
    size_t align = std::max<size_t>(cfg.texturePitchAlignment, 1);
    size_t rowPitch = emu::roundUp(width, align);
    if (emu::deviceAllocFault()) return setError(cudaErrorMemoryAllocation);
    *pitch = rowPitch;
    if (width == 0 || height == 0) return cudaSuccess;
    if (height > SIZE_MAX / rowPitch) return setError(cudaErrorMemoryAllocation);
    void* p = emu::allocateDevice(emu::currentDevice(), rowPitch * height);
    if (!p) return setError(cudaErrorMemoryAllocation);
    *devPtr = p;
    return cudaSuccess;
}

cudaError_t cudaFree(void* devPtr) {
    EMU_DEVICE_ENTRY("cudaFree");
    if (!devPtr) return cudaSuccess;
    Guard g(lock());
    auto it = emu::g_device.find(reinterpret_cast<uintptr_t>(devPtr));
    if (it == emu::g_device.end()) return setError(cudaErrorInvalidValue);
    cudaError_t err = emu::waitForUsers(it->second.id, "cudaFree", devPtr, "device memory freed");
    if (err != cudaSuccess) return err;
    emu::releaseDevice(it);
    return cudaSuccess;
}

static cudaError_t allocatePinned(const char* name, void** ptr, size_t size, unsigned flags) {
    EMU_DEVICE_ENTRY(name);
    if (!ptr) return setError(cudaErrorInvalidValue);
    *ptr = nullptr;
    if (flags & ~unsigned(cudaHostAllocPortable | cudaHostAllocMapped | cudaHostAllocWriteCombined))
        return setError(cudaErrorInvalidValue);
    Guard g(lock());
    if (emu::pinnedAllocFault()) return setError(cudaErrorMemoryAllocation);
    if (size == 0) return cudaSuccess;
    size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    size_t length = emu::roundUp(size, page);
    void* p = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) return setError(cudaErrorMemoryAllocation);
    emu::poison(static_cast<char*>(p), size);
    emu::g_pinned.emplace(
        reinterpret_cast<uintptr_t>(p),
        emu::PinnedBlock{emu::g_nextId++, emu::currentDevice(), size, length, flags});
    emu::countPinnedAlloc(size);
    *ptr = p;
    return cudaSuccess;
}

cudaError_t cudaMallocHost(void** ptr, size_t size) {
    return allocatePinned("cudaMallocHost", ptr, size, 0);
}

cudaError_t cudaHostAlloc(void** pHost, size_t size, unsigned int flags) {
    return allocatePinned("cudaHostAlloc", pHost, size, flags);
}

cudaError_t cudaFreeHost(void* ptr) {
    EMU_DEVICE_ENTRY("cudaFreeHost");
    if (!ptr) return cudaSuccess;
    Guard g(lock());
    auto it = emu::g_pinned.find(reinterpret_cast<uintptr_t>(ptr));
    if (it == emu::g_pinned.end() || it->second.mapLength == 0)
        return setError(cudaErrorInvalidValue);
    cudaError_t err =
        emu::waitForUsers(it->second.id, "cudaFreeHost", ptr, "page-locked memory freed");
    if (err != cudaSuccess) return err;
    munmap(ptr, it->second.mapLength);
    emu::countPinnedFree(it->second.size);
    emu::g_pinned.erase(it);
    return cudaSuccess;
}

// Registered host memory counts as page-locked memory (copies and pointer attributes know it);
// it is not the emulator's to unmap.
cudaError_t cudaHostRegister(void* ptr, size_t size, unsigned int flags) {
    EMU_DEVICE_ENTRY("cudaHostRegister");
    unsigned known = cudaHostRegisterPortable | cudaHostRegisterMapped | cudaHostRegisterIoMemory |
                     cudaHostRegisterReadOnly;
    if (!ptr || size == 0 || (flags & ~known)) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    if (emu::inArena(ptr)) return setError(cudaErrorInvalidValue);
    auto start = reinterpret_cast<uintptr_t>(ptr);
    auto next = emu::g_pinned.lower_bound(start);
    bool overlaps = (next != emu::g_pinned.end() && next->first < start + size) ||
                    (next != emu::g_pinned.begin() &&
                     std::prev(next)->first + std::prev(next)->second.size > start);
    if (overlaps) return setError(cudaErrorHostMemoryAlreadyRegistered);
    emu::g_pinned.emplace(start,
                          emu::PinnedBlock{emu::g_nextId++, emu::currentDevice(), size, 0, flags});
    return cudaSuccess;
}

cudaError_t cudaHostUnregister(void* ptr) {
    EMU_DEVICE_ENTRY("cudaHostUnregister");
    Guard g(lock());
    auto it = emu::g_pinned.find(reinterpret_cast<uintptr_t>(ptr));
    if (!ptr || it == emu::g_pinned.end() || it->second.mapLength != 0)
        return setError(cudaErrorHostMemoryNotRegistered);
    cudaError_t err =
        emu::waitForUsers(it->second.id, "cudaHostUnregister", ptr, "host memory unregistered");
    if (err != cudaSuccess) return err;
    emu::g_pinned.erase(it);
    return cudaSuccess;
}

cudaError_t cudaMemGetInfo(size_t* free, size_t* total) {
    EMU_DEVICE_ENTRY("cudaMemGetInfo");
    if (!free || !total) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    int dev = emu::currentDevice();
    size_t capacity = emu::config().devices[dev].totalMem;
    *total = capacity;
    *free = capacity - std::min(capacity, emu::g_liveOn[dev]);
    return cudaSuccess;
}

cudaError_t cudaPointerGetAttributes(cudaPointerAttributes* attributes, const void* ptr) {
    EMU_DEVICE_ENTRY("cudaPointerGetAttributes");
    if (!attributes) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    *attributes = {};
    if (auto d = emu::findDevice(ptr); d.second) {
        attributes->type = cudaMemoryTypeDevice;
        attributes->device = d.second->device;
        attributes->devicePointer = const_cast<void*>(ptr);
        attributes->hostPointer = nullptr;
    } else if (auto h = emu::findPinned(ptr); h.second) {
        attributes->type = cudaMemoryTypeHost;
        attributes->device = h.second->device;
        attributes->devicePointer = const_cast<void*>(ptr);
        attributes->hostPointer = const_cast<void*>(ptr);
    } else {
        attributes->type = cudaMemoryTypeUnregistered;
        attributes->device = -2;
        attributes->devicePointer = nullptr;
        attributes->hostPointer = const_cast<void*>(ptr);
    }
    return cudaSuccess;
}

}  // extern "C"
