// host_prefix.h - host-interface outputs of which the routine computes only a leading part.
//
// The selected-eigenvalue routines (stebz, syevx) compute m of at most n eigenvalues and vectors,
// m known only after the device routine has run. Their host interfaces give back the leading m
// elements (or columns) and leave the rest of the caller's array as it was, as LAPACK does.
#pragma once

#include "runtime/host_call.h"

#include <algorithm>
#include <cstdint>

namespace zuli {

// A device buffer for a rows x cols host array (leading dimension hostLd), nothing copied in;
// copyOut copies back the first *count rows (Rows) or columns (Columns), *count read then.
template <typename E, typename P = E>
class HostPrefixMirror {
  public:
    enum Counts { Rows, Columns };

    HostPrefixMirror(const CallContext& ctx, int64_t rows, int64_t cols, E* host, int64_t hostLd,
                     const int* count, Counts counts)
        : mirror_(ctx, rows, cols, host, hostLd, MirrorNone),
          host_(host),
          rows_(rows),
          cols_(cols),
          hostLd_(hostLd),
          count_(count),
          counts_(counts) {}

    E* device() const { return mirror_.device(); }
    int ld() const { return mirror_.ld(); }

    void copyOut() const {
        if (mirror_.device() == nullptr) return;
        const int64_t k = std::max<int64_t>(0, *count_);
        const int64_t rows = counts_ == Rows ? std::min(rows_, k) : rows_;
        const int64_t cols = counts_ == Columns ? std::min(cols_, k) : cols_;
        if (rows == 0 || cols == 0) return;
        cudalib::checkCuda(cudaMemcpy2D(host_, hostLd_ * sizeof(E), mirror_.device(),
                                        int64_t(mirror_.ld()) * sizeof(E), rows * sizeof(E), cols,
                                        cudaMemcpyDeviceToHost));
    }

  private:
    HostArrayMirror<E, P> mirror_;
    E* host_;
    int64_t rows_, cols_, hostLd_;
    const int* count_;
    Counts counts_;
};

}  // namespace zuli
