// host_adapter.h - how a host-interface routine runs its device twin.
//
// Every routine exists twice: zuliDeviceXyyy works on matrices in GPU memory and is the real
// implementation; zuliXyyy takes host matrices and is written once, for every precision, as
//
//     check the arguments (the same check function the device routine runs),
//     mirror each array into a pitched device buffer (HostArrayMirror),
//     run the device routine's body nested, in its own frame (runDeviceRoutine),
//     finishHostCall(result, mirrors...): synchronise, check, copy the outputs back,
//     return the device routine's status and info.
//
// For getrf:
//
//     return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {
//         if (getrfArguments(m, n, a, lda, ipiv) == Arguments::Empty) return {};
//         HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn | MirrorOut);
//         HostArrayMirror<int, T> P(ctx, std::min(m, n), 1, ipiv, std::min(m, n), MirrorOut);
//         CallResult r = runDeviceRoutine<T>([&](const CallContext& c) {
//             getrf<T>(c, m, n, A.device(), A.ld(), P.device());
//         });
//         return finishHostCall(r, P, A);   // pivots first, then the matrix
//     });
//
// Outputs are copied back whatever status the device routine returned (a singular matrix still
// returns its factors, as LAPACK does), except when the thread's failure flag is set: any failure
// other than a data or argument error, in this call or a nested one, leaves the caller's host
// arrays as they were.
#pragma once

#include "runtime/complex.h"
#include "runtime/context.h"
#include "runtime/device.h"
#include "runtime/frame.h"
#include "runtime/memory.h"
#include "runtime/status.h"

#include <cuda_runtime_api.h>

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace zuli {

// ---- block sizes ---------------------------------------------------------------------------

// True for the first generation of double-capable devices (capability codes 10 to 13), which
// get their own block sizes.
constexpr bool isFirstGeneration(int capabilityCode) {
    return capabilityCode >= 10 && capabilityCode <= 13;
}

// The base block size of a precision on a device: the blocked routines use a fixed multiple of
// it (getrf and potrf twice it). Z is smaller on newer devices than on the first generation, on
// purpose: its blocks are the most expensive to factor on the host.
template <typename T>
constexpr int baseBlockSize(int capabilityCode) {
    const bool first = isFirstGeneration(capabilityCode);
    if constexpr (std::is_same_v<T, float>)
        return first ? 32 : 96;
    else if constexpr (std::is_same_v<T, double>)
        return first ? 48 : 64;
    else if constexpr (std::is_same_v<T, Complex<float>>)
        return first ? 32 : 64;
    else {
        static_assert(std::is_same_v<T, Complex<double>>, "no block size for this type");
        return first ? 48 : 32;
    }
}

// The block size of the blocked factorizations and inversions (getrf, potrf, potri, trtri):
// twice the base block size.
template <typename T>
constexpr int factorBlockSize(int capabilityCode) {
    return 2 * baseBlockSize<T>(capabilityCode);
}

// The leading dimension (in elements) of a device copy of a matrix with `rows` rows: rows rounded
// up to a multiple of the block size g, one more g when that is a multiple of 192 (capability
// below 1.4) or 256, so that columns do not all start on the same memory partition.
constexpr int64_t mirrorLeadingDimension(int64_t rows, int g, int capabilityCode) {
    const int64_t avoid = capabilityCode < 14 ? 192 : 256;
    int64_t ld = (rows + g - 1) / g * g;
    if (ld % avoid == 0) ld += g;
    return ld;
}

// ---- host-array mirrors ----------------------------------------------------------------------

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
        const int g = baseBlockSize<P>(deviceCapability(ctx.device).code);
        ld_ = mirrorLeadingDimension(rows, g, deviceCapability(ctx.device).code);
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

// Ends a host-interface call after its device routine returned `result`: waits for the device,
// turns a pending runtime error into an exception, copies the outputs back in the order given
// (unless the thread's failure flag is set) and returns the device routine's outcome, which the
// host routine's frame then reports as its own.
template <typename... Mirrors>
CallResult finishHostCall(const CallResult& result, const Mirrors&... mirrors) {
    cudaDeviceSynchronize();
    cudalib::checkCuda(cudaGetLastError());
    if (!threadFailed()) (mirrors.copyOut(), ...);
    return result;
}

}  // namespace zuli
