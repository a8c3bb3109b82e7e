// test_kernel_kernels.cu - kernels that exercise the emulated GPU's execution of kernels.
#include "test_kernel_kernels.h"

#include "kernels/device_math.cuh"
#include "kernels/launch.cuh"

// The full runtime header after the dialect header, as ordinary kernel files include it.
#include <cuda_runtime.h>

namespace kernel_tests {

namespace {

constexpr unsigned kMaxThreads = 1024;

__global__ void RECORD_BUILTINS_Kernel(unsigned* out) {
    const unsigned long long block =
        (unsigned long long)(blockIdx.z * gridDim.y + blockIdx.y) * gridDim.x + blockIdx.x;
    const unsigned long long thread =
        (unsigned long long)(threadIdx.z * blockDim.y + threadIdx.y) * blockDim.x + threadIdx.x;
    const unsigned long long id = block * blockDim.x * blockDim.y * blockDim.z + thread;
    unsigned* o = out + 12 * id;
    const unsigned values[12] = {threadIdx.x, threadIdx.y, threadIdx.z, blockIdx.x,
                                 blockIdx.y,  blockIdx.z,  blockDim.x,  blockDim.y,
                                 blockDim.z,  gridDim.x,   gridDim.y,   gridDim.z};
    for (int k = 0; k < 12; ++k) {
        o[k] = values[k];
    }
}

__global__ void BLOCK_SUM_Kernel(const float* in, float* out) {
    __shared__ float partial[kMaxThreads];
    const unsigned t = threadIdx.x;
    partial[t] = in[blockIdx.x * blockDim.x + t];
    __syncthreads();
    for (unsigned half = blockDim.x / 2; half > 0; half /= 2) {
        if (t < half) {
            partial[t] += partial[t + half];
        }
        __syncthreads();
    }
    if (t == 0) {
        out[blockIdx.x] = partial[0];
    }
}

__global__ void REVERSE_Kernel(const int* in, int* out, bool barrier) {
    __shared__ int staged[kMaxThreads];
    const unsigned n = blockDim.x;
    const unsigned t = threadIdx.x;
    staged[t] = in[blockIdx.x * n + t];
    if (barrier) {
        __syncthreads();
    }
    out[blockIdx.x * n + t] = staged[n - 1 - t];
}

__global__ void NEIGHBOUR_Kernel(int* out) {
    __shared__ int mine[kMaxThreads];
    const unsigned n = blockDim.x;
    const unsigned t = threadIdx.x;
    mine[t] = int(1000 * blockIdx.x + t);
    __syncthreads();
    out[blockIdx.x * n + t] = mine[(t + 1) % n];
}

__global__ void ONLY_ZERO_WAITS_Kernel() {
    if (threadIdx.x == 0) {
        __syncthreads();
    }
}

__global__ void ALL_BUT_ZERO_WAIT_Kernel() {
    if (threadIdx.x != 0) {
        __syncthreads();
    }
}

__global__ void UNEQUAL_BARRIERS_Kernel() {
    for (unsigned k = 0; k <= threadIdx.x % 2; ++k) {
        __syncthreads();
    }
}

__global__ void SET_FLAG_Kernel(int* flag) { *flag = 1; }

__device__ int g_countedThreads;

__global__ void COUNT_THREADS_Kernel() { atomicAdd(&g_countedThreads, 1); }

__global__ void ATOMICS_Kernel(int* ints, unsigned* exchanged, float* floats, double* doubles) {
    const int id = int(blockIdx.x * blockDim.x + threadIdx.x);
    atomicAdd(&ints[0], 1);
    atomicMax(&ints[1], id);
    atomicMin(&ints[2], id);
    if (atomicCAS(&ints[4], 0, id + 1) == 0) {
        atomicAdd(&ints[3], 1);
    }
    atomicExch(&ints[5], id + 1);
    atomicAdd(reinterpret_cast<unsigned*>(&ints[6]), 1u);
    atomicMax(&exchanged[0], unsigned(id));
    atomicMin(&exchanged[1], unsigned(id));
    atomicAdd(&floats[0], 1.0f);
    atomicAdd(&floats[1], 0.5f);
    atomicAdd(&doubles[0], 1.0);
    atomicAdd(&doubles[1], 0.5);
}

__global__ void AXPY_Kernel(float a, const float* x, float* y, int n) {
    const int i = int(blockIdx.x * blockDim.x + threadIdx.x);
    if (i < n) {
        y[i] = a * x[i] + y[i];
    }
}

template <typename T>
__global__ void COMPLEX_MATH_Kernel(const zuli::Complex<T>* z, zuli::Complex<T>* roots,
                                    T* moduli, int n) {
    const int i = int(blockIdx.x * blockDim.x + threadIdx.x);
    if (i < n) {
        roots[i] = zuli::sqrt(z[i]);
        moduli[i] = zuli::abs(z[i]);
    }
}

}  // namespace

void launchRecordBuiltins(unsigned* out, dim3 grid, dim3 block, cudaStream_t stream) {
    cudalib::launch(RECORD_BUILTINS_Kernel, grid, block, stream, out);
}

void launchBlockSum(const float* in, float* out, unsigned blocks, unsigned threads,
                    cudaStream_t stream) {
    cudalib::launch(BLOCK_SUM_Kernel, dim3(blocks), dim3(threads), stream, in, out);
}

void directReverse(const int* in, int* out, unsigned blocks, unsigned threads, bool barrier) {
    zuli_emu::runKernelDirect("reverse", REVERSE_Kernel, dim3(blocks), dim3(threads), in, out,
                              barrier);
}

void directNeighbourInBlock(int* out, unsigned blocks, unsigned threads) {
    zuli_emu::runKernelDirect("neighbour", NEIGHBOUR_Kernel, dim3(blocks), dim3(threads), out);
}

bool directDivergent(Divergence kind, unsigned threads) {
    switch (kind) {
    case Divergence::OnlyThreadZeroWaits:
        return zuli_emu::runKernelDirect("only-zero-waits", ONLY_ZERO_WAITS_Kernel, dim3(2),
                                         dim3(threads));
    case Divergence::AllButThreadZeroWait:
        return zuli_emu::runKernelDirect("all-but-zero-wait", ALL_BUT_ZERO_WAIT_Kernel, dim3(2),
                                         dim3(threads));
    case Divergence::UnequalBarrierCounts:
        return zuli_emu::runKernelDirect("unequal-barriers", UNEQUAL_BARRIERS_Kernel, dim3(2),
                                         dim3(threads));
    }
    return true;
}

void syncThreadsOutsideKernel() { __syncthreads(); }

void launchSetFlag(int* flag, dim3 grid, dim3 block, cudaStream_t stream) {
    cudalib::launch(SET_FLAG_Kernel, grid, block, stream, flag);
}

void launchCountThreads(unsigned blocks, unsigned threads, cudaStream_t stream) {
    cudalib::launch(COUNT_THREADS_Kernel, dim3(blocks), dim3(threads), stream);
}

int countedThreads() { return g_countedThreads; }

void resetCountedThreads() { g_countedThreads = 0; }

void launchAtomics(int* ints, unsigned* exchanged, float* floats, double* doubles, unsigned blocks,
                   unsigned threads, cudaStream_t stream) {
    cudalib::launch(ATOMICS_Kernel, dim3(blocks), dim3(threads), stream, ints, exchanged, floats,
                    doubles);
}

void launchAxpy(float a, const float* x, float* y, int n, cudaStream_t stream) {
    const unsigned threads = 256;
    const unsigned blocks = unsigned((n + threads - 1) / threads);
    cudalib::launch(AXPY_Kernel, dim3(blocks), dim3(threads), stream, a, x, y, n);
}

void directComplexMath(const zuli::Complex<double>* z, zuli::Complex<double>* roots,
                       double* moduli, int n) {
    zuli_emu::runKernelDirect("complex-math", COMPLEX_MATH_Kernel<double>, dim3(unsigned(n)),
                              dim3(1), z, roots, moduli, n);
}

void directComplexMathFloat(const zuli::Complex<float>* z, zuli::Complex<float>* roots,
                            float* moduli, int n) {
    zuli_emu::runKernelDirect("complex-math", COMPLEX_MATH_Kernel<float>, dim3(unsigned(n)),
                              dim3(1), z, roots, moduli, n);
}

}  // namespace kernel_tests
