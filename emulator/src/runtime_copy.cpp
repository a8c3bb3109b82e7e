// runtime_copy.cpp - CUDA runtime: memory copies and memsets.
//
// When each copy runs follows the runtime's documented host synchronisation, and no more (code
// that relies on a synchronisation the runtime does not promise must fail here, not on a GPU):
//   synchronous cudaMemcpy*  on the legacy default stream. Pageable H2D: waits for the legacy
//                            stream, stages the host data and returns before the device write
//                            (deferred legacy work, which work on non-blocking streams does not
//                            wait for); page-locked H2D, D2H and H2H: complete before returning;
//                            D2D: deferred legacy work, no host synchronisation.
//   cudaMemcpy*Async         page-locked host memory: truly deferred (the host buffer is read or
//                            written when the copy runs); pageable H2D: the host data is staged at
//                            call time, the device write is deferred; D2H to pageable memory and
//                            H2H complete before returning; D2D: deferred.
//   cudaMemset*              deferred work (asynchronous with respect to the host for device
//                            memory); the synchronous forms on the legacy stream.
// Every device side is checked against a live allocation with the extent the copy touches.
#include "core_state.h"

#include <cstring>
#include <memory>

namespace emu {
namespace {

const char* kindName(cudaMemcpyKind kind) {
    switch (kind) {
        case cudaMemcpyHostToHost:
            return "cudaMemcpyHostToHost";
        case cudaMemcpyHostToDevice:
            return "cudaMemcpyHostToDevice";
        case cudaMemcpyDeviceToHost:
            return "cudaMemcpyDeviceToHost";
        case cudaMemcpyDeviceToDevice:
            return "cudaMemcpyDeviceToDevice";
        default:
            return "cudaMemcpyDefault";
    }
}

// The shape of a copy: depth slices of height rows of width bytes.
struct Shape {
    size_t width, height, depth;
    size_t dpitch, spitch;  // bytes between rows
    size_t dslice, sslice;  // bytes between slices
};

size_t extentBytes(const Shape& s, bool dst) {
    size_t pitch = dst ? s.dpitch : s.spitch, slice = dst ? s.dslice : s.sslice;
    return (s.depth - 1) * slice + (s.height - 1) * pitch + s.width;
}

void copyRows(char* dst, const char* src, const Shape& s) {
    for (size_t z = 0; z < s.depth; ++z)
        for (size_t y = 0; y < s.height; ++y)
            std::memmove(dst + z * s.dslice + y * s.dpitch, src + z * s.sslice + y * s.spitch,
                         s.width);
}

cudaError_t copy(const char* op, void* dst, const void* src, const Shape& shape,
                 cudaMemcpyKind kind, cudaStream_t stream, bool async, bool pitched) {
    if (kind < cudaMemcpyHostToHost || kind > cudaMemcpyDefault)
        return setError(cudaErrorInvalidMemcpyDirection);
    if (pitched && (shape.width > shape.dpitch || shape.width > shape.spitch))
        return setError(cudaErrorInvalidPitchValue);
    if (shape.width == 0 || shape.height == 0 || shape.depth == 0) return cudaSuccess;
    if (!dst || !src) return setError(cudaErrorInvalidValue);

    Guard g(lock());
    // A freed device address is still device memory as far as the copy is concerned: using it is
    // reported by the extent check, never dereferenced on the host.
    bool dstDevice = inDeviceArena(dst), srcDevice = inDeviceArena(src);
    if (kind != cudaMemcpyDefault) {
        bool wantDst = kind == cudaMemcpyHostToDevice || kind == cudaMemcpyDeviceToDevice;
        bool wantSrc = kind == cudaMemcpyDeviceToHost || kind == cudaMemcpyDeviceToDevice;
        if (wantDst != dstDevice)
            return violation(
                op, dst,
                std::string(kindName(kind)) + ": destination is " +
                    (dstDevice ? "device memory" : "host memory, used as device memory"),
                cudaErrorInvalidMemcpyDirection);
        if (wantSrc != srcDevice)
            return violation(
                op, src,
                std::string(kindName(kind)) + ": source is " +
                    (srcDevice ? "device memory" : "host memory, used as device memory"),
                cudaErrorInvalidMemcpyDirection);
    }
    int dev = dstDevice   ? allocationDevice(dst)
              : srcDevice ? allocationDevice(src)
                          : currentDevice();
    size_t pitchLimit = limits(dev < 0 ? currentDevice() : dev).memPitch;
    if (pitched &&
        ((dstDevice && shape.dpitch > pitchLimit) || (srcDevice && shape.spitch > pitchLimit)))
        return setError(cudaErrorInvalidPitchValue);

    char* d = static_cast<char*>(dst);
    const char* s = static_cast<const char*>(src);
    if (dstDevice && !(d = static_cast<char*>(deviceRange(dst, extentBytes(shape, true), op))))
        return cudaErrorIllegalAddress;
    if (srcDevice &&
        !(s = static_cast<const char*>(deviceRange(src, extentBytes(shape, false), op))))
        return cudaErrorIllegalAddress;

    size_t bytes = shape.width * shape.height * shape.depth;
    std::vector<const void*> uses{dst, src};
    cudaStream_t target = async ? stream : cudaStreamLegacy;
    if (streamDevice(target) < 0) return setError(cudaErrorInvalidResourceHandle);
    auto run = [d, s, shape] { copyRows(d, s, shape); };

    if (dstDevice && srcDevice) {
        countCopy(CopyDir::D2D, bytes);
        return submit(target, op, run, uses);
    }
    bool fits = true;
    const MemKind host = dstDevice == srcDevice ? MemKind::Pageable
                         : dstDevice ? hostRange(src, extentBytes(shape, false), op, &fits)
                                     : hostRange(dst, extentBytes(shape, true), op, &fits);
    if (!fits) return cudaErrorInvalidValue;
    if (dstDevice) {  // host to device
        countCopy(CopyDir::H2D, bytes);
        if (host == MemKind::Pinned)
            return async ? submit(target, op, run, uses) : submitAndWait(target, op, run, uses);
        if (!async) {
            cudaError_t err = waitStream(target, true);
            if (err != cudaSuccess) return err;
        }
        // Pageable source: the data is staged now, the device write happens when the work runs.
        auto staged = std::make_shared<std::vector<char>>(extentBytes(shape, false));
        copyRows(staged->data(), s,
                 {shape.width, shape.height, shape.depth, shape.spitch, shape.spitch, shape.sslice,
                  shape.sslice});
        return submit(
            target, op, [d, staged, shape] { copyRows(d, staged->data(), shape); }, uses);
    }
    if (srcDevice) {  // device to host
        countCopy(CopyDir::D2H, bytes);
        if (async && host == MemKind::Pinned) return submit(target, op, run, uses);
        return submitAndWait(target, op, run, uses);
    }
    countCopy(CopyDir::H2H, bytes);
    return submitAndWait(target, op, run, uses);
}

cudaError_t memset2D(const char* op, void* p, size_t pitch, int value, size_t width, size_t height,
                     cudaStream_t stream) {
    if (width == 0 || height == 0) return cudaSuccess;
    if (height > 1 && width > pitch) return setError(cudaErrorInvalidValue);
    if (!p) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    size_t extent = (height - 1) * pitch + width;
    auto* d = static_cast<char*>(deviceRange(p, extent, op));
    if (!d) return cudaErrorIllegalAddress;
    if (streamDevice(stream) < 0) return setError(cudaErrorInvalidResourceHandle);
    countMemset(width * height);
    auto byte = static_cast<unsigned char>(value);
    auto run = [d, pitch, byte, width, height] {
        for (size_t y = 0; y < height; ++y) std::memset(d + y * pitch, byte, width);
    };
    return submit(stream, op, run, {p});
}

// One 3-D copy of linear memory (arrays are not emulated).
cudaError_t copy3D(const char* op, const cudaMemcpy3DParms* p, cudaStream_t stream, bool async) {
    if (!p || p->srcArray || p->dstArray) return setError(cudaErrorInvalidValue);
    const cudaExtent& e = p->extent;
    Shape shape{e.width,
                e.height,
                e.depth,
                p->dstPtr.pitch,
                p->srcPtr.pitch,
                p->dstPtr.pitch * p->dstPtr.ysize,
                p->srcPtr.pitch * p->srcPtr.ysize};
    if (e.height > p->dstPtr.ysize || e.height > p->srcPtr.ysize) {
        if (e.depth > 1) return setError(cudaErrorInvalidValue);
    }
    auto offset = [](const cudaPitchedPtr& ptr, const cudaPos& pos) {
        return static_cast<char*>(ptr.ptr) + pos.z * ptr.pitch * ptr.ysize + pos.y * ptr.pitch +
               pos.x;
    };
    return copy(op, offset(p->dstPtr, p->dstPos), offset(p->srcPtr, p->srcPos), shape, p->kind,
                stream, async, true);
}

}  // namespace
}  // namespace emu

using emu::Shape;

extern "C" {

cudaError_t cudaMemcpy(void* dst, const void* src, size_t count, cudaMemcpyKind kind) {
    EMU_DEVICE_ENTRY("cudaMemcpy");
    return emu::copy("cudaMemcpy", dst, src, Shape{count, 1, 1, count, count, count, count}, kind,
                     nullptr, false, false);
}

cudaError_t cudaMemcpyAsync(void* dst, const void* src, size_t count, cudaMemcpyKind kind,
                            cudaStream_t stream) {
    EMU_DEVICE_ENTRY("cudaMemcpyAsync");
    return emu::copy("cudaMemcpyAsync", dst, src, Shape{count, 1, 1, count, count, count, count},
                     kind, stream, true, false);
}

cudaError_t cudaMemcpy2D(void* dst, size_t dpitch, const void* src, size_t spitch, size_t width,
                         size_t height, cudaMemcpyKind kind) {
    EMU_DEVICE_ENTRY("cudaMemcpy2D");
    return emu::copy("cudaMemcpy2D", dst, src, Shape{width, height, 1, dpitch, spitch, 0, 0}, kind,
                     nullptr, false, true);
}

cudaError_t cudaMemcpy2DAsync(void* dst, size_t dpitch, const void* src, size_t spitch,
                              size_t width, size_t height, cudaMemcpyKind kind,
                              cudaStream_t stream) {
    EMU_DEVICE_ENTRY("cudaMemcpy2DAsync");
    return emu::copy("cudaMemcpy2DAsync", dst, src, Shape{width, height, 1, dpitch, spitch, 0, 0},
                     kind, stream, true, true);
}

cudaError_t cudaMemcpy3D(const cudaMemcpy3DParms* p) {
    EMU_DEVICE_ENTRY("cudaMemcpy3D");
    return emu::copy3D("cudaMemcpy3D", p, nullptr, false);
}

cudaError_t cudaMemcpy3DAsync(const cudaMemcpy3DParms* p, cudaStream_t stream) {
    EMU_DEVICE_ENTRY("cudaMemcpy3DAsync");
    return emu::copy3D("cudaMemcpy3DAsync", p, stream, true);
}

cudaError_t cudaMemset(void* devPtr, int value, size_t count) {
    EMU_DEVICE_ENTRY("cudaMemset");
    return emu::memset2D("cudaMemset", devPtr, count, value, count, 1, cudaStreamLegacy);
}

cudaError_t cudaMemsetAsync(void* devPtr, int value, size_t count, cudaStream_t stream) {
    EMU_DEVICE_ENTRY("cudaMemsetAsync");
    return emu::memset2D("cudaMemsetAsync", devPtr, count, value, count, 1, stream);
}

cudaError_t cudaMemset2D(void* devPtr, size_t pitch, int value, size_t width, size_t height) {
    EMU_DEVICE_ENTRY("cudaMemset2D");
    return emu::memset2D("cudaMemset2D", devPtr, pitch, value, width, height, cudaStreamLegacy);
}

cudaError_t cudaMemset2DAsync(void* devPtr, size_t pitch, int value, size_t width, size_t height,
                              cudaStream_t stream) {
    EMU_DEVICE_ENTRY("cudaMemset2DAsync");
    return emu::memset2D("cudaMemset2DAsync", devPtr, pitch, value, width, height, stream);
}

}  // extern "C"
