// vector_copy.h - synchronous copies of short vectors between the device and the host: the
// tridiagonal or bidiagonal d and e that a host iteration works on, eigenvalues, block indices.
// Nothing is copied for n <= 0 (pointers may then be null).
#pragma once

#include "runtime/status.h"

#include <cuda_runtime_api.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace zuli {

template <typename E>
void download(const E* device, int64_t n, E* host) {
    if (n > 0) cudalib::checkCuda(cudaMemcpy(host, device, n * sizeof(E), cudaMemcpyDeviceToHost));
}

// The same into a new host vector of max(1, n) elements.
template <typename E>
std::vector<E> download(const E* device, int64_t n) {
    std::vector<E> host(size_t(std::max<int64_t>(1, n)));
    download(device, n, host.data());
    return host;
}

template <typename E>
void upload(const E* host, int64_t n, E* device) {
    if (n > 0) cudalib::checkCuda(cudaMemcpy(device, host, n * sizeof(E), cudaMemcpyHostToDevice));
}

}  // namespace zuli
