// rotations.cpp - RotationBatch: a host iteration's plane rotations, uploaded in large pieces and
// applied to device matrices by LASR_k (see rotations.h).
#include "auxiliary/rotations.h"

#include "kernels/auxiliary_kernels.h"
#include "kernels/householder.h"
#include "runtime/precision.h"
#include "runtime/status.h"

#include <cuda_runtime_api.h>

namespace zuli {

namespace {

// The staging area holds this many reals (the pool's smallest block: 2 MiB of doubles), or two
// of the longest operations if that is more: a flush then carries many sweeps of a large
// problem, and all of a small one.
constexpr int64_t kStagedReals = 1 << 18;

}  // namespace

template <typename T>
RotationBatch<T>::RotationBatch(const CallContext& ctx, int longest)
    : capacity_(std::max<int64_t>(kStagedReals, 4 * int64_t(std::max(longest, 1)))) {
    device_ = acquireWorkspace<R>(ctx, capacity_);
    staged_.reserve(size_t(capacity_));
}

template <typename T>
void RotationBatch<T>::lasr(char side, char direct, int m, int n, const R* c, const R* s, T* a,
                            int lda) {
    const int rotations = (side == 'L' ? m : n) - 1;
    if (m <= 0 || n <= 0 || rotations < 1) return;
    if (int64_t(staged_.size()) + 2 * rotations > capacity_) flush();
    const int64_t offset = int64_t(staged_.size());
    staged_.insert(staged_.end(), c, c + rotations);
    staged_.insert(staged_.end(), s, s + rotations);
    queued_.push_back({side, direct, m, n, offset, a, lda});
}

template <typename T>
void RotationBatch<T>::scaleRows(int m, int n, const R* factors, T* a, int lda) {
    if (m <= 0 || n <= 0) return;
    if (int64_t(staged_.size()) + m > capacity_) flush();
    const int64_t offset = int64_t(staged_.size());
    staged_.insert(staged_.end(), factors, factors + m);
    queued_.push_back({'S', 'F', m, n, offset, a, lda});
}

template <typename T>
void RotationBatch<T>::flush() {
    if (queued_.empty()) return;
    R* rotations = device_.get();
    cudalib::checkCuda(cudaMemcpyAsync(rotations, staged_.data(), staged_.size() * sizeof(R),
                                       cudaMemcpyHostToDevice, cudaStream_t(0)));
    for (const Operation& op : queued_) {
        if (op.side == 'S') {
            launchLascl2(op.m, op.n, rotations + op.offset, op.a, op.lda);
        } else {
            const int count = (op.side == 'L' ? op.m : op.n) - 1;
            launchLasr(op.side, op.direct, op.m, op.n, rotations + op.offset,
                       rotations + op.offset + count, op.a, op.lda);
        }
        ++launches_;
    }
    cudalib::checkCuda(cudaGetLastError());
    staged_.clear();
    queued_.clear();
}

#define ZULI_ROTATION_BATCH_INSTANCES(T) template class RotationBatch<T>;
ZULI_INSTANTIATE(ZULI_ROTATION_BATCH_INSTANCES)
#undef ZULI_ROTATION_BATCH_INSTANCES

}  // namespace zuli
