// host_vector.h - the device copy of a strided host vector, for the host-interface level-2 BLAS
// routines (the counterpart of HostArrayMirror for vectors).
//
// A BLAS vector of n elements with increment inc occupies (n - 1) * |inc| + 1 host elements
// starting at the lowest address; with inc < 0 it is traversed backwards (its first element is
// the last one in memory). The mirror copies the n elements, in memory order, into a contiguous
// device buffer with one strided copy, and the device operation is called with increment 1, or
// -1 for a negative inc, so that the device vector is traversed in the same direction as the host
// one. The elements between the strides are neither read nor written.
#pragma once

#include "runtime/memory.h"
#include "runtime/status.h"
#include "solvers/host_adapter.h"

#include <cuda_runtime_api.h>

#include <cstdint>
#include <cstdlib>

namespace zuli::blas {

template <typename T>
class HostVectorMirror {
  public:
    // n elements of host vector `host` with increment inc (not 0), transferred as `flags` says
    // (MirrorIn, MirrorOut or both). An empty vector gets no buffer and transfers nothing.
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
    // The increment to pass with device(): 1, or -1 for a vector traversed backwards.
    int inc() const { return backwards_ ? -1 : 1; }
    unsigned flags() const { return flags_; }

    // Copies the device vector back into the host vector's elements if it is an output.
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

}  // namespace zuli::blas
