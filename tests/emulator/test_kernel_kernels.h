// test_kernel_kernels.h - host entry points of the test kernels in test_kernel_kernels.cu.
//
// "launch" functions go through cudalib::launch (configuration check, pointer translation,
// stream); "direct" functions run the execution engine at once on host memory.
#pragma once

#include "runtime/complex.h"

#include <cuda_runtime_api.h>

#include <cstdint>

namespace kernel_tests {

// Built-in variables of every thread: per thread, at its global linear id, the 12 values
// threadIdx.xyz, blockIdx.xyz, blockDim.xyz, gridDim.xyz.
void launchRecordBuiltins(unsigned* out, dim3 grid, dim3 block, cudaStream_t stream);

// out[blockIdx.x] = sum of in[blockIdx.x * blockDim.x + t] for t < blockDim.x (<= 1024, a power
// of two), by a tree reduction in a __shared__ array.
void launchBlockSum(const float* in, float* out, unsigned blocks, unsigned threads,
                    cudaStream_t stream);

// Per block: out[b * n + t] = in[b * n + (n - 1 - t)] through a __shared__ array, with or
// without the __syncthreads between the write and the read.
void directReverse(const int* in, int* out, unsigned blocks, unsigned threads, bool barrier);

// Each block fills its __shared__ array with its own values and each thread reads its
// neighbour's after a barrier: out[b * n + t] = 1000 * b + (t + 1) % n.
void directNeighbourInBlock(int* out, unsigned blocks, unsigned threads);

// Kernels whose threads disagree about __syncthreads. Returns runGridDirect's result.
enum class Divergence { OnlyThreadZeroWaits, AllButThreadZeroWait, UnequalBarrierCounts };
bool directDivergent(Divergence kind, unsigned threads);

// __syncthreads from host code, outside any kernel.
void syncThreadsOutsideKernel();

// Writes 1 to *flag.
void launchSetFlag(int* flag, dim3 grid, dim3 block, cudaStream_t stream);

// Counts executed threads in a __device__ counter (a host global in the emulated build).
void launchCountThreads(unsigned blocks, unsigned threads, cudaStream_t stream);
int countedThreads();
void resetCountedThreads();

// Atomics from every thread of blocks x threads. Layout of the int results (7 values):
// [0] atomicAdd(int, 1) total, [1] atomicMax of global ids, [2] atomicMin of global ids,
// [3] number of threads whose atomicCAS(slot, 0, id + 1) won, [4] slot (winner's id + 1),
// [5] atomicExch final value (some id + 1), [6] unsigned atomicAdd total (as int).
// The float/double results (2 each): sums of 1 and of 0.5 per thread.
void launchAtomics(int* ints, unsigned* exchanged, float* floats, double* doubles, unsigned blocks,
                   unsigned threads, cudaStream_t stream);

// y[i] = a * x[i] + y[i] for i < n; one thread per element, blocks of 256.
void launchAxpy(float a, const float* x, float* y, int n, cudaStream_t stream);

// Complex square roots and moduli, one element per thread, on host memory.
void directComplexMath(const zuli::Complex<double>* z, zuli::Complex<double>* roots,
                       double* moduli, int n);
void directComplexMathFloat(const zuli::Complex<float>* z, zuli::Complex<float>* roots,
                            float* moduli, int n);

}  // namespace kernel_tests
