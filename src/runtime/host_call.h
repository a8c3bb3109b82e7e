// host_call.h - how a host-interface routine runs its device twin.
//
// Every routine exists twice: zuliDeviceXyyy works on arrays in GPU memory and is the real
// implementation (the template `name<T>`); zuliXyyy takes host arrays and is the template
// `host::name<T>` beside it, written with the pieces of this header:
//
//     check the arguments (the same check function the device routine runs),
//     mirror each array into a device buffer (HostArrayMirror, HostVectorMirror),
//     runOnDevice: run the device routine nested, in its own frame, then wait for the device,
//     check it, and copy the outputs back in the order given.
//
// For getrf (solvers/lu.cpp):
//
//     template <typename T>
//     CallResult getrf(const CallContext& ctx, int m, int n, T* a, int lda, int* ipiv) {
//         if (!getrfArguments(m, n, a, lda, ipiv)) return {};
//         const int mn = std::min(m, n);
//         HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn | MirrorOut);
//         HostArrayMirror<int, T> P(ctx, mn, 1, ipiv, mn, MirrorOut);
//         return runOnDevice<T>([&](const CallContext& c) {
//             zuli::getrf<T>(c, m, n, A.device(), A.ld(), P.device());
//         }, P, A);   // pivots first, then the matrix
//     }
//
// Outputs are copied back whatever status the device routine returned (a singular matrix still
// returns its factors, as LAPACK does), except when the thread's failure flag is set: any failure
// other than a data or argument error, in this call or a nested one, leaves the caller's host
// arrays as they were.
#pragma once

#include "runtime/context.h"
#include "runtime/device.h"
#include "runtime/frame.h"
#include "runtime/memory.h"
#include "runtime/status.h"
#include "runtime/tuning.h"

#include <cuda_runtime_api.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace zuli {

// The leading dimension (in elements) of a device copy of a matrix with `rows` rows: rows rounded
// up to a multiple of the block size g, one more g when that is a multiple of 192 (capability
// below 1.4) or 256, so that columns do not all start on the same memory partition.
constexpr int64_t mirrorLeadingDimension(int64_t rows, int g, int capabilityCode) {
    const int64_t avoid = capabilityCode < 14 ? 192 : 256;
    int64_t ld = (rows + g - 1) / g * g;
    if (ld % avoid == 0) ld += g;
    return ld;
}

// Transfer flags of a mirror: copy in at construction, copy out after the device routine.
enum MirrorFlags : unsigned {
    MirrorNone = 0,
    MirrorIn = 2,
    MirrorOut = 4,
};

// The device copy of one host array argument (rows x cols elements of E, column-major with
// leading dimension hostLd), for the duration of one host-interface call. P is the precision of
// the routine, whose block size gives the copy its pitch (pivot vectors of a Z routine are
// mirrored with Z's block size). An empty array gets no buffer and transfers nothing.
template <typename E, typename P = E>
class HostArrayMirror {
  public:
    HostArrayMirror(const CallContext& ctx, int64_t rows, int64_t cols, const E* host,
                    int64_t hostLd, unsigned flags)
        : host_(const_cast<E*>(host)), rows_(rows), cols_(cols), hostLd_(hostLd) {
        if (rows <= 0 || cols <= 0) return;  // empty: flags 0, no allocation
        flags_ = flags;
        const int code = deviceCapability(ctx.device).code;
        ld_ = mirrorLeadingDimension(rows, baseBlockSize<P>(code), code);
        buffer_ = cudalib::ManagedMemory<E>(static_cast<size_t>(ld_), static_cast<size_t>(cols), 1);
        if (flags_ & MirrorIn)
            cudalib::checkCuda(cudaMemcpy2D(buffer_.get(), ld_ * sizeof(E), host_,
                                            hostLd_ * sizeof(E), rows_ * sizeof(E), cols_,
                                            cudaMemcpyHostToDevice));
    }

    HostArrayMirror(const HostArrayMirror&) = delete;
    HostArrayMirror& operator=(const HostArrayMirror&) = delete;

    // The device copy (null for an empty array) and its leading dimension (at least 1).
    E* device() const { return buffer_.get(); }
    int ld() const { return static_cast<int>(std::max<int64_t>(1, ld_)); }
    unsigned flags() const { return flags_; }

    // Copies the device copy back to the host array if it is an output.
    void copyOut() const {
        if (!(flags_ & MirrorOut) || buffer_.empty()) return;
        cudalib::checkCuda(cudaMemcpy2D(host_, hostLd_ * sizeof(E), buffer_.get(), ld_ * sizeof(E),
                                        rows_ * sizeof(E), cols_, cudaMemcpyDeviceToHost));
    }

  private:
    E* host_;
    int64_t rows_, cols_, hostLd_;
    int64_t ld_ = 0;
    unsigned flags_ = MirrorNone;
    cudalib::ManagedMemory<E> buffer_;
};

// The device copy of a strided host vector, for the level-2 BLAS routines. A vector of n
// elements with increment inc occupies (n - 1) |inc| + 1 host elements from its lowest address;
// with inc < 0 it is traversed backwards. The n elements are copied in memory order into a
// contiguous device buffer with one strided copy, and the device operation is called with
// increment inc() (1, or -1 for a negative inc), so that it traverses the device vector in the
// same direction. The elements between the strides are neither read nor written.
template <typename T>
class HostVectorMirror {
  public:
    // n elements of host vector `host` with increment inc (not 0), transferred as `flags` says.
    // An empty vector gets no buffer and transfers nothing.
    HostVectorMirror(int64_t n, const T* host, int inc, unsigned flags)
        : host_(const_cast<T*>(host)), n_(n), stride_(std::llabs(inc)), backwards_(inc < 0) {
        if (n <= 0) return;
        flags_ = flags;
        buffer_ = cudalib::ManagedMemory<T>(static_cast<size_t>(n));
        if (flags_ & MirrorIn)
            cudalib::checkCuda(cudaMemcpy2D(buffer_.get(), sizeof(T), host_, stride_ * sizeof(T),
                                            sizeof(T), n_, cudaMemcpyHostToDevice));
    }

    HostVectorMirror(const HostVectorMirror&) = delete;
    HostVectorMirror& operator=(const HostVectorMirror&) = delete;

    T* device() const { return buffer_.get(); }
    int inc() const { return backwards_ ? -1 : 1; }
    unsigned flags() const { return flags_; }

    void copyOut() const {
        if (!(flags_ & MirrorOut) || buffer_.empty()) return;
        cudalib::checkCuda(cudaMemcpy2D(host_, stride_ * sizeof(T), buffer_.get(), sizeof(T),
                                        sizeof(T), n_, cudaMemcpyDeviceToHost));
    }

  private:
    T* host_;
    int64_t n_;
    int64_t stride_;
    bool backwards_;
    unsigned flags_ = MirrorNone;
    cudalib::ManagedMemory<T> buffer_;
};

// Ends a host-interface call after its device routine returned `result`: waits for the device,
// turns a pending runtime error into an exception, copies the outputs back in the order given
// (unless the thread's failure flag is set) and returns the device routine's outcome, which the
// host routine's frame then reports as its own.
template <typename... Outputs>
CallResult finishHostCall(const CallResult& result, const Outputs&... outputs) {
    cudaDeviceSynchronize();
    cudalib::checkCuda(cudaGetLastError());
    if (!threadFailed()) (outputs.copyOut(), ...);
    return result;
}

// Runs `body` (callable with the nested device frame's context) as the device routine of a
// host-interface call of precision T, then finishes the call with the given output mirrors.
template <typename T, typename Body, typename... Outputs>
CallResult runOnDevice(Body&& body, const Outputs&... outputs) {
    const CallResult r = runDeviceRoutine<T>(std::forward<Body>(body));
    return finishHostCall(r, outputs...);
}

// The host routine of a device routine whose one array argument is a rows x cols matrix read and
// written in place: mirrors it both ways and runs device(ctx, deviceMatrix, deviceLd).
template <typename T, typename Device>
CallResult runOnMirroredMatrix(const CallContext& ctx, int64_t rows, int64_t cols, T* a, int lda,
                               Device&& device) {
    HostArrayMirror<T> A(ctx, rows, cols, a, lda, MirrorIn | MirrorOut);
    return runOnDevice<T>([&](const CallContext& c) { device(c, A.device(), A.ld()); }, A);
}

}  // namespace zuli
