// test_kernel_kernels.h - launchers of test kernels (test_kernel_kernels.cu) for host-side tests.
#pragma once

#include <cuda_runtime_api.h>

namespace kernel_tests {

// y[i] = a * x[i] + y[i] for i < n; one thread per element, blocks of 256.
void launchAxpy(float a, const float* x, float* y, int n, cudaStream_t stream);

// out[b] = sum of in[b * threads + t] for t < threads (<= 1024, a power of two), by a tree
// reduction in a __shared__ array: log2(threads) + 1 barriers per thread.
void launchBlockSum(const float* in, float* out, unsigned blocks, unsigned threads,
                    cudaStream_t stream);

}  // namespace kernel_tests
