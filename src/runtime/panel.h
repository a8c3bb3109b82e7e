// panel.h - the host side of a hybrid blocked algorithm: panels staged in page-locked memory and
// moved on the call's copy stream while the GPU works on the compute stream.
//
// A hybrid factorization sends a panel (or a diagonal block) to the host, factors it there with
// the host LAPACK, and sends it back, while the GPU updates the rest of the matrix. PanelStaging
// holds the streams of such a call and its page-locked staging area:
//
//     compute()    the legacy default stream, which the thread's cuBLAS handle and the kernel
//                  launchers use;
//     copies()     a stream created for the call (a blocking stream, so the legacy default
//                  stream orders against it both ways), on which panels travel; on a device
//                  that cannot overlap copies with kernels it is the default stream, and every
//                  copy is synchronous;
//     uploads()    with CopyStreams::Two, a second such stream that carries the uploads, so that
//                  panels go down on copies() and come back up on uploads() (the QR look-ahead);
//                  with CopyStreams::One it is copies() itself.
//
// The protocol: download() / upload() queue copies on their stream; afterCompute() makes the
// copies queued after it wait for the compute work issued so far (a panel the GPU has just
// updated); computeAfterCopies() makes the compute work issued after it wait for the copies
// queued so far (a panel just uploaded); wait() blocks the host until the queued downloads are
// done (before it reads the staging), waitUploads() until the queued uploads are (before the host
// overwrites the staging they read, or before the GPU may use an uploaded panel through the
// compute stream).
//
// HostPivots are the pivots of one factorization, produced on the host panel by panel and
// uploaded to the caller's device vector at the end.
#pragma once

#include "runtime/context.h"
#include "runtime/memory.h"
#include "runtime/status.h"
#include "runtime/stream.h"

#include <cuda_runtime_api.h>

#include <cstdint>
#include <vector>

namespace zuli {

// Where a PanelStaging's page-locked area comes from.
enum class StagingSource {
    Call,  // allocated for the call (an allocation failure reaches the caller)
    Pool,  // drawn from the page-locked work-space pool, ordered after the block's last stream
};

// How many copy streams a PanelStaging creates.
enum class CopyStreams {
    One,  // downloads and uploads share one stream
    Two,  // uploads travel on a stream of their own
};

template <typename T>
class PanelStaging {
  public:
    PanelStaging(const CallContext& ctx, int64_t elements, StagingSource source,
                 CopyStreams streams = CopyStreams::One)
        : copies_(ctx),
          separateUploads_(streams == CopyStreams::Two),
          uploads_(separateUploads_ ? cudalib::Stream(ctx) : cudalib::Stream()),
          staging_(source == StagingSource::Pool ? acquirePinnedWorkspace<T>(ctx, elements, copies_)
                                                 : PinnedBuffer<T>(static_cast<size_t>(elements))) {
    }

    // The staging area (host memory).
    T* get() const { return staging_.get(); }
    const cudalib::Stream& compute() const { return compute_; }
    const cudalib::Stream& copies() const { return copies_; }
    const cudalib::Stream& uploads() const { return separateUploads_ ? uploads_ : copies_; }

    // Queues the rows x cols block at `device` (leading dimension ld) into the staging area at
    // `offset` elements, with leading dimension hostLd (rows when 0: packed).
    void download(const T* device, int64_t ld, int rows, int cols, int64_t hostLd = 0,
                  int64_t offset = 0) const {
        const int64_t hld = hostLd > 0 ? hostLd : rows;
        copies_.copy2D(get() + offset, hld * sizeof(T), device, ld * sizeof(T), rows * sizeof(T),
                       cols, cudaMemcpyDeviceToHost);
    }
    // Queues the staged rows x cols block back to `device`.
    void upload(T* device, int64_t ld, int rows, int cols, int64_t hostLd = 0,
                int64_t offset = 0) const {
        const int64_t hld = hostLd > 0 ? hostLd : rows;
        uploads().copy2D(device, ld * sizeof(T), get() + offset, hld * sizeof(T), rows * sizeof(T),
                         cols, cudaMemcpyHostToDevice);
    }

    // Copies queued from now on wait for the compute work issued so far.
    void afterCompute() const {
        copies_.waitFor(compute_);
        if (separateUploads_) uploads_.waitFor(compute_);
    }
    // Compute work issued from now on waits for the copies queued so far.
    void computeAfterCopies() const {
        compute_.waitFor(copies_);
        if (separateUploads_) compute_.waitFor(uploads_);
    }
    // The host waits until the queued downloads (with CopyStreams::One: all copies) are done.
    void wait() const { copies_.synchronize(); }
    // The host waits until the queued uploads are done.
    void waitUploads() const { uploads().synchronize(); }

  private:
    const cudalib::Stream compute_;
    const cudalib::Stream copies_;
    const bool separateUploads_;
    const cudalib::Stream uploads_;
    PinnedBuffer<T> staging_;
};

// One matrix-vector product of a host panel step on the GPU, as the two-sided reductions run it
// for every column: the n elements staged at offset `in` go up to dIn on the copy stream,
// `product()` queues the product on the compute stream, writing `count` elements to dOut, which
// come down to the staging at offset `out`. The host runs `meanwhile()` while they travel and
// returns once the result is in the staging. The staging at `in` may be reused at once.
template <typename T, typename Product, typename Meanwhile>
void productOnDevice(const PanelStaging<T>& stage, int64_t in, int n, T* dIn, Product&& product,
                     const T* dOut, int count, int64_t out, Meanwhile&& meanwhile) {
    stage.upload(dIn, n, n, 1, n, in);
    stage.computeAfterCopies();
    product();
    stage.afterCompute();
    stage.download(dOut, count, count, 1, count, out);
    meanwhile();
    stage.wait();
}

// The pivots of one factorization, produced on the host and uploaded to the device vector once
// the factorization is complete.
class HostPivots {
  public:
    explicit HostPivots(int n) : pivots_(size_t(n)) {}
    int* data() { return pivots_.data(); }
    const int* data() const { return pivots_.data(); }
    // Makes the `count` panel pivots starting at (0-based) row j global.
    void makeGlobal(int j, int count) {
        for (int i = j; i < j + count; ++i) pivots_[size_t(i)] += j;
    }
    void upload(int* devicePivots) const {
        cudalib::checkCuda(cudaMemcpy(devicePivots, pivots_.data(), pivots_.size() * sizeof(int),
                                      cudaMemcpyHostToDevice));
    }
    // Reads n device pivots (to apply them on the host side of a launcher).
    static HostPivots download(const int* devicePivots, int n) {
        HostPivots p(n);
        cudalib::checkCuda(
            cudaMemcpy(p.data(), devicePivots, size_t(n) * sizeof(int), cudaMemcpyDeviceToHost));
        return p;
    }

  private:
    std::vector<int> pivots_;
};

}  // namespace zuli
