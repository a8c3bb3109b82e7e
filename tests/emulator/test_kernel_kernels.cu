// test_kernel_kernels.cu - kernels on the emulated GPU and the tests of their execution and launch:
// barriers, __shared__ arrays, built-in variables, divergent barriers, configuration and pointer
// checks, deferred launches, atomics, and the library's fill kernel and complex math.
#include "test_kernel_kernels.h"

#include "emu_test_support.h"
#include "fiber.h"
#include "kernels/device_math.cuh"
#include "emulator/fill.h"
#include "kernels/launch.cuh"
#include "runtime/complex.h"

// The full runtime header after the dialect header, as ordinary kernel files include it.
#include <cuda_runtime.h>

#include <complex>
#include <numeric>
#include <set>
#include <thread>
#include <tuple>
#include <vector>

namespace kernel_tests {
namespace {

constexpr unsigned kMaxThreads = 1024;

__global__ void AXPY_Kernel(float a, const float* x, float* y, int n) {
    const int i = int(blockIdx.x * blockDim.x + threadIdx.x);
    if (i < n) y[i] = a * x[i] + y[i];
}

__global__ void BLOCK_SUM_Kernel(const float* in, float* out) {
    __shared__ float partial[kMaxThreads];
    const unsigned t = threadIdx.x;
    partial[t] = in[blockIdx.x * blockDim.x + t];
    __syncthreads();
    for (unsigned half = blockDim.x / 2; half > 0; half /= 2) {
        if (t < half) partial[t] += partial[t + half];
        __syncthreads();
    }
    if (t == 0) out[blockIdx.x] = partial[0];
}

// Per thread, at its global linear id: threadIdx, blockIdx, blockDim, gridDim (12 values).
__global__ void RECORD_BUILTINS_Kernel(unsigned* out) {
    const unsigned long long block =
        (unsigned long long)(blockIdx.z * gridDim.y + blockIdx.y) * gridDim.x + blockIdx.x;
    const unsigned long long thread =
        (unsigned long long)(threadIdx.z * blockDim.y + threadIdx.y) * blockDim.x + threadIdx.x;
    unsigned* o = out + 12 * (block * blockDim.x * blockDim.y * blockDim.z + thread);
    const unsigned values[12] = {threadIdx.x, threadIdx.y, threadIdx.z, blockIdx.x,
                                 blockIdx.y,  blockIdx.z,  blockDim.x,  blockDim.y,
                                 blockDim.z,  gridDim.x,   gridDim.y,   gridDim.z};
    for (int k = 0; k < 12; ++k) o[k] = values[k];
}

// Per block, reverses its slice of `in` through a __shared__ array.
__global__ void REVERSE_Kernel(const int* in, int* out, bool barrier) {
    __shared__ int staged[kMaxThreads];
    const unsigned n = blockDim.x, t = threadIdx.x;
    staged[t] = in[blockIdx.x * n + t];
    if (barrier) __syncthreads();
    out[blockIdx.x * n + t] = staged[n - 1 - t];
}

// Each thread reads its neighbour's value from the block's __shared__ array.
__global__ void NEIGHBOUR_Kernel(int* out) {
    __shared__ int mine[kMaxThreads];
    const unsigned n = blockDim.x, t = threadIdx.x;
    mine[t] = int(1000 * blockIdx.x + t);
    __syncthreads();
    out[blockIdx.x * n + t] = mine[(t + 1) % n];
}

// Threads that disagree about __syncthreads: 0, only thread 0 waits; 1, all but thread 0 wait;
// 2, odd threads wait twice, even ones once.
__global__ void DIVERGENT_Kernel(int kind) {
    const unsigned t = threadIdx.x;
    if (kind == 0 && t == 0) __syncthreads();
    if (kind == 1 && t != 0) __syncthreads();
    for (unsigned k = 0; kind == 2 && k <= t % 2; ++k) __syncthreads();
}

__global__ void SET_FLAG_Kernel(int* flag) {
    *flag = 1;
}

__device__ int g_countedThreads;
__global__ void COUNT_THREADS_Kernel() {
    atomicAdd(&g_countedThreads, 1);
}

__global__ void ATOMICS_Kernel(int* ints, unsigned* minmax, float* floats, double* doubles) {
    const int id = int(blockIdx.x * blockDim.x + threadIdx.x);
    atomicAdd(&ints[0], 1);
    atomicMax(&ints[1], id);
    atomicMin(&ints[2], id);
    if (atomicCAS(&ints[4], 0, id + 1) == 0) atomicAdd(&ints[3], 1);
    atomicExch(&ints[5], id + 1);
    atomicAdd(reinterpret_cast<unsigned*>(&ints[6]), 1u);
    atomicMax(&minmax[0], unsigned(id));
    atomicMin(&minmax[1], unsigned(id));
    atomicAdd(&floats[0], 1.0f);
    atomicAdd(&floats[1], 0.5f);
    atomicAdd(&doubles[0], 1.0);
    atomicAdd(&doubles[1], 0.5);
}

template <typename T>
__global__ void COMPLEX_MATH_Kernel(const zuli::Complex<T>* z, zuli::Complex<T>* roots, T* moduli) {
    roots[blockIdx.x] = zuli::sqrt(z[blockIdx.x]);
    moduli[blockIdx.x] = zuli::abs(z[blockIdx.x]);
}

}  // namespace

void launchAxpy(float a, const float* x, float* y, int n, cudaStream_t stream) {
    cudalib::launch(AXPY_Kernel, dim3(unsigned((n + 255) / 256)), dim3(256), stream, a, x, y, n);
}

void launchBlockSum(const float* in, float* out, unsigned blocks, unsigned threads,
                    cudaStream_t stream) {
    cudalib::launch(BLOCK_SUM_Kernel, dim3(blocks), dim3(threads), stream, in, out);
}

namespace {

using emutest::counters;
using emutest::deviceAlloc;
using emutest::oneViolation;
using emutest::readDevice;
using KernelExecution = emutest::EmuTest;
using KernelLaunch = emutest::EmuTest;

void setFlag(int* flag, dim3 grid = 1, dim3 block = 1, cudaStream_t stream = nullptr) {
    cudalib::launch(SET_FLAG_Kernel, grid, block, stream, flag);
}

// ---- execution ----------------------------------------------------------------------------------

// Each block has __shared__ arrays of its own; a thread reading another's slot needs the barrier
// (without it thread 0 reads what the previous block left there).
TEST_F(KernelExecution, SharedArraysAndBarriers) {
    for (unsigned threads : {1u, 7u, 64u, 1024u}) {
        const unsigned blocks = 5;
        std::vector<int> out(blocks * threads, -1);
        zuli_emu::runKernelDirect("neighbour", NEIGHBOUR_Kernel, dim3(blocks), dim3(threads),
                                  out.data());
        for (unsigned b = 0; b < blocks; ++b)
            for (unsigned t = 0; t < threads; ++t)
                ASSERT_EQ(out[b * threads + t], int(1000 * b + (t + 1) % threads))
                    << "threads " << threads << " block " << b << " thread " << t;
    }
    EXPECT_GE(emu::fiberPoolSize(), 1024u);  // one fiber per thread of the largest block

    const unsigned blocks = 3, threads = 128;
    std::vector<int> in(blocks * threads), out(blocks * threads, -1);
    auto misplaced = [&](bool barrier) {
        std::iota(in.begin(), in.end(), barrier ? 0 : 100000);
        zuli_emu::runKernelDirect("reverse", REVERSE_Kernel, dim3(blocks), dim3(threads), in.data(),
                                  out.data(), barrier);
        int wrong = 0;
        for (unsigned i = 0; i < blocks * threads; ++i)
            wrong += out[i] != in[i - i % threads + threads - 1 - i % threads];
        return wrong;
    };
    EXPECT_EQ(misplaced(true), 0);
    EXPECT_GT(misplaced(false), 0);
}

// Every (thread, block) pair of the configuration appears exactly once with the right
// dimensions, and the launch path passes the configuration through unchanged.
TEST_F(KernelExecution, BuiltinVariablesCoverEveryThreadOnce) {
    const std::pair<dim3, dim3> configurations[] = {
        {dim3(1), dim3(1)},
        {dim3(3), dim3(5)},
        {dim3(2, 3), dim3(4, 2)},
        {dim3(2, 2, 3), dim3(3, 2, 4)},
        {dim3(1, 1, 2), dim3(1, 1, 64)},
        {dim3(4), dim3(1024)},
    };
    for (const auto& [grid, block] : configurations) {
        const size_t threads = size_t(grid.x) * grid.y * grid.z * block.x * block.y * block.z;
        unsigned* device = deviceAlloc<unsigned>(threads * 12);
        cudalib::launch(RECORD_BUILTINS_Kernel, grid, block, nullptr, device);
        ASSERT_EQ(cudaGetLastError(), cudaSuccess);
        std::vector<unsigned> out(threads * 12);
        ASSERT_EQ(cudaMemcpy(out.data(), device, out.size() * 4, cudaMemcpyDeviceToHost), 0);
        cudaFree(device);
        std::set<std::tuple<unsigned, unsigned, unsigned, unsigned, unsigned, unsigned>> seen;
        const unsigned dims[6] = {block.x, block.y, block.z, grid.x, grid.y, grid.z};
        for (size_t id = 0; id < threads; ++id) {
            const unsigned* v = &out[12 * id];
            for (int k = 0; k < 6; ++k) {
                ASSERT_LT(v[k], dims[k]) << "index " << k << " of thread " << id;
                ASSERT_EQ(v[6 + k], dims[k]) << "dimension " << k << " of thread " << id;
            }
            seen.insert({v[0], v[1], v[2], v[3], v[4], v[5]});
        }
        EXPECT_EQ(seen.size(), threads) << "grid " << grid.x << "x" << grid.y << "x" << grid.z
                                        << " block " << block.x << "x" << block.y << "x" << block.z;
    }
}

TEST_F(KernelExecution, BlockReductionThroughTheLaunchPath) {
    for (unsigned threads : {1u, 2u, 32u, 256u, 1024u}) {
        const unsigned blocks = 6;
        std::vector<float> in(blocks * threads), out(blocks);
        // Small integers: every order of summation is exact.
        for (size_t i = 0; i < in.size(); ++i) in[i] = float(i % 17) - 3.0f;
        float *dIn = deviceAlloc(in.size()), *dOut = deviceAlloc(blocks);
        ASSERT_EQ(cudaMemcpy(dIn, in.data(), in.size() * 4, cudaMemcpyHostToDevice), 0);
        launchBlockSum(dIn, dOut, blocks, threads, nullptr);
        ASSERT_EQ(cudaMemcpy(out.data(), dOut, blocks * 4, cudaMemcpyDeviceToHost), 0);
        for (unsigned b = 0; b < blocks; ++b)
            EXPECT_EQ(out[b], std::accumulate(&in[b * threads], &in[(b + 1) * threads], 0.0f))
                << "threads " << threads << " block " << b;
        cudaFree(dIn), cudaFree(dOut);
    }
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
}

// A thread's thread-local destructors may still run kernels when the thread ends (a library that
// destroys its handles then waits for the device's work): the grids run on that thread after the
// thread_local objects constructed after this one are gone, whatever the emulator keeps per thread.
TEST_F(KernelExecution, KernelsRunFromThreadExitDestructors) {
    constexpr unsigned kBlocks = 3, kThreads = 64;
    const std::vector<float> in(kBlocks * kThreads, 1.0f);
    std::vector<float> out(kBlocks, 0.0f);
    float *dIn = deviceAlloc(in.size()), *dOut = deviceAlloc(kBlocks);
    ASSERT_EQ(cudaMemcpy(dIn, in.data(), in.size() * 4, cudaMemcpyHostToDevice), 0);
    struct AtExit {
        float *in = nullptr, *out = nullptr;
        ~AtExit() {
            launchBlockSum(in, out, kBlocks, kThreads, nullptr);
            cudaDeviceSynchronize();
        }
    };
    std::thread([&] {
        thread_local AtExit atExit;  // constructed before the thread's first kernel runs
        atExit.in = dIn, atExit.out = dOut;
        launchBlockSum(dIn, dOut, kBlocks, kThreads, nullptr);  // barriers: threads on fibers
        cudaDeviceSynchronize();
        cudaMemset(dOut, 0, kBlocks * 4);  // left pending for the destructor's synchronisation
    }).join();
    ASSERT_EQ(cudaMemcpy(out.data(), dOut, kBlocks * 4, cudaMemcpyDeviceToHost), 0);
    EXPECT_EQ(out, std::vector<float>(kBlocks, float(kThreads)));
    cudaFree(dIn), cudaFree(dOut);
}

// In reporting mode a divergent barrier is one violation per grid (of two blocks) and the sticky
// launch failure; a barrier outside any kernel is a violation too. In strict mode it aborts.
TEST_F(KernelExecution, DivergentBarriersAreReported) {
    const std::pair<int, unsigned> kindsAndThreads[] = {{0, 1024}, {1, 4}, {2, 8}};
    for (auto [kind, threads] : kindsAndThreads) {
        reporting();
        EXPECT_FALSE(
            zuli_emu::runKernelDirect("divergent", DIVERGENT_Kernel, dim3(2), dim3(threads), kind));
        EXPECT_TRUE(oneViolation("divergent __syncthreads")) << "kind " << kind;
        EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure) << "kind " << kind;
        EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorLaunchFailure) << "kind " << kind;
    }
    reporting();
    __syncthreads();
    EXPECT_EQ(zuliEmuViolationCount(), 1u);
    EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure);
    reset();
    EXPECT_DEATH(zuli_emu::runKernelDirect("divergent", DIVERGENT_Kernel, dim3(2), dim3(32), 1),
                 "divergent __syncthreads");
}

// The kernels' complex square root and modulus against the standard library: the branch cut and
// signed zeros, both ends of the exponent range (subnormal results allow one unit of spacing).
TEST_F(KernelExecution, ComplexSquareRootAndModulus) {
    const double big = 1e300, tiny = 1e-310;
    const std::vector<zuli::Complex<double>> z = {
        {4, 0},    {-4, 0},    {0, 2},      {0, -2},         {3, 4},       {-3, 4},
        {-3, -4},  {-4, -0.0}, {big, big},  {-big, big},     {tiny, tiny}, {-tiny, 0},
        {1e-5, 1}, {-1, 1e-9}, {2.5, -1e3}, {1e-200, 1e200},
    };
    const std::vector<zuli::Complex<float>> zf = {
        {4, 0}, {-4, 0}, {2e38f, 2e38f}, {1e-40f, 1e-40f}, {-1, 1e-7f}};
    std::vector<zuli::Complex<double>> roots(z.size());
    std::vector<zuli::Complex<float>> rootsF(zf.size());
    std::vector<double> moduli(z.size());
    std::vector<float> moduliF(zf.size());
    zuli_emu::runKernelDirect("complex", COMPLEX_MATH_Kernel<double>, dim3(unsigned(z.size())),
                              dim3(1), z.data(), roots.data(), moduli.data());
    zuli_emu::runKernelDirect("complex", COMPLEX_MATH_Kernel<float>, dim3(unsigned(zf.size())),
                              dim3(1), zf.data(), rootsF.data(), moduliF.data());
    for (size_t i = 0; i < z.size(); ++i) {
        const std::complex<double> s(z[i].re, z[i].im), expected = std::sqrt(s);
        EXPECT_NEAR(roots[i].re, expected.real(), 4e-16 * std::abs(expected)) << i;
        EXPECT_NEAR(roots[i].im, expected.imag(), 4e-16 * std::abs(expected)) << i;
        EXPECT_EQ(std::signbit(roots[i].im), std::signbit(expected.imag())) << i;
        EXPECT_NEAR(moduli[i], std::abs(s), 4e-16 * std::abs(s)) << i;
    }
    for (size_t i = 0; i < zf.size(); ++i) {
        const std::complex<double> s(zf[i].re, zf[i].im), expected = std::sqrt(s);
        EXPECT_NEAR(rootsF[i].re, expected.real(), 3e-7 * std::abs(expected)) << i;
        EXPECT_NEAR(rootsF[i].im, expected.imag(), 3e-7 * std::abs(expected)) << i;
        EXPECT_NEAR(moduliF[i], std::abs(s), std::max(3e-7 * std::abs(s), 1.5e-45)) << i;
    }
}

// ---- launch -------------------------------------------------------------------------------------

// An invalid configuration is a non-sticky error, runs nothing and is not counted; the limits
// themselves are valid.
TEST_F(KernelLaunch, InvalidConfigurationsRunNothing) {
    ASSERT_EQ(zuliEmuSetMaxGridSize(0, 100, 10, 5), 0);
    const std::pair<dim3, dim3> invalid[] = {
        {dim3(1), dim3(0)},        {dim3(1), dim3(4, 0)},   {dim3(1), dim3(4, 1, 0)},
        {dim3(0), dim3(32)},       {dim3(1, 0), dim3(32)},  {dim3(1, 1, 0), dim3(32)},
        {dim3(1), dim3(1025)},     {dim3(1), dim3(32, 33)}, {dim3(1), dim3(1, 1, 65)},
        {dim3(1), dim3(1, 1025)},  {dim3(101), dim3(32)},   {dim3(1, 11), dim3(32)},
        {dim3(1, 1, 6), dim3(32)},
    };
    int* flag = deviceAlloc<int>(1);
    ASSERT_EQ(cudaMemset(flag, 0, sizeof(int)), cudaSuccess);
    for (const auto& [grid, block] : invalid) {
        SCOPED_TRACE(testing::Message()
                     << "grid " << grid.x << "x" << grid.y << "x" << grid.z << " block " << block.x
                     << "x" << block.y << "x" << block.z);
        setFlag(flag, grid, block);
        EXPECT_EQ(cudaPeekAtLastError(), cudaErrorInvalidConfiguration);
        EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidConfiguration);
        EXPECT_EQ(cudaGetLastError(), cudaSuccess) << "the error is not sticky";
        EXPECT_EQ(counters().launches, 0u);
        EXPECT_EQ(readDevice(flag), 0) << "the kernel ran";
    }
    setFlag(flag, dim3(100, 10, 5), dim3(1024));
    setFlag(flag, dim3(1), dim3(1, 1, 64));
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(readDevice(flag), 1);
    EXPECT_EQ(counters().launches, 2u);
    cudaFree(flag);
}

// An injected launch failure (once) and a destroyed stream run nothing and are not counted; a
// pointer to the last element of an allocation is a valid argument.
TEST_F(KernelLaunch, FailedLaunchesRunNothingEdgePointersRun) {
    int* block = deviceAlloc<int>(4);
    ASSERT_EQ(cudaMemset(block, 0, 4 * sizeof(int)), cudaSuccess);
    zuliEmuFailCudaCall("cudaLaunchKernel", 1, cudaErrorLaunchOutOfResources);
    setFlag(block + 3);
    EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchOutOfResources);
    EXPECT_EQ(readDevice(block + 3), 0);
    setFlag(block + 3);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(readDevice(block + 3), 1);
    EXPECT_EQ(zuliEmuViolationCount(), 0u);
    cudaFree(block);

    g_countedThreads = 0;
    cudaStream_t stream = emutest::newStream(cudaStreamDefault);
    ASSERT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    cudalib::launch(COUNT_THREADS_Kernel, dim3(1), dim3(1), stream);
    EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidResourceHandle);
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(g_countedThreads, 0);
    EXPECT_EQ(counters().launches, 1u);
}

// A pointer argument that is not live device memory of the launching device aborts in strict
// mode; in reporting mode it is one violation and the sticky illegal address, and the kernel
// neither runs nor counts. Page-locked memory of cudaMallocHost is reachable from the device.
TEST_F(KernelLaunch, NonDevicePointerArgumentsAreViolations) {
    int* freed = deviceAlloc<int>(1);
    ASSERT_EQ(cudaFree(freed), cudaSuccess);
    int* pinned = emutest::pinnedAlloc(1, 0);
    int onStack = 0;
    std::vector<int> onHeap(1, 0);
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    int* otherDevice = deviceAlloc<int>(1);
    ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
    EXPECT_DEATH(setFlag(&onStack), "setFlag.*kernel argument 1");
    EXPECT_DEATH(setFlag(otherDevice),
                 "setFlag.*kernel argument 1: memory of device 1 used by work on device 0");
    setFlag(pinned);
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(*pinned, 1);
    for (int* pointer : {&onStack, onHeap.data(), freed, otherDevice}) {
        reporting();
        setFlag(pointer);
        EXPECT_TRUE(oneViolation("kernel argument 1"));
        EXPECT_EQ(cudaGetLastError(), cudaErrorIllegalAddress);
        EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorIllegalAddress) << "sticky";
        EXPECT_EQ(counters().launches, 0u);
    }
    EXPECT_EQ(onStack + onHeap[0], 0) << "the kernel ran";
    reset();
    cudaFreeHost(pinned);
    cudaFree(otherDevice);
}

TEST_F(KernelLaunch, LaunchIsDeferredUntilTheStreamIsSynchronised) {
    cudaStream_t stream = emutest::newStream(cudaStreamNonBlocking);
    g_countedThreads = 0;
    cudalib::launch(COUNT_THREADS_Kernel, dim3(3), dim3(64), stream);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(counters().launches, 1u) << "counted when queued";
    EXPECT_EQ(g_countedThreads, 0) << "ran before any synchronisation";
    ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
    EXPECT_EQ(g_countedThreads, 3 * 64);
    // Under the eager schedule it has run when the launch returns.
    zuliEmuSetSchedule(ZULI_EMU_SCHEDULE_EAGER, 0);
    cudalib::launch(COUNT_THREADS_Kernel, dim3(2), dim3(5), stream);
    EXPECT_EQ(g_countedThreads, 3 * 64 + 10);
    cudaStreamDestroy(stream);
}

// Every atomic from 64 blocks x 128 threads, from two host threads at once.
TEST_F(KernelLaunch, AtomicsFromManyThreads) {
    const unsigned blocks = 64, threads = 128;
    const int total = int(blocks * threads), rounds = 2, sum = rounds * total;
    int* ints = deviceAlloc<int>(7);
    unsigned* minmax = deviceAlloc<unsigned>(2);
    float* floats = deviceAlloc<float>(2);
    double* doubles = deviceAlloc<double>(2);
    const int intsInit[7] = {0, -1, 1 << 30, 0, 0, 0, 0};
    const unsigned minmaxInit[2] = {0, 0xffffffffu};
    ASSERT_EQ(cudaMemcpy(ints, intsInit, sizeof intsInit, cudaMemcpyHostToDevice), 0);
    ASSERT_EQ(cudaMemcpy(minmax, minmaxInit, sizeof minmaxInit, cudaMemcpyHostToDevice), 0);
    ASSERT_EQ(cudaMemset(floats, 0, 2 * sizeof(float)), cudaSuccess);
    ASSERT_EQ(cudaMemset(doubles, 0, 2 * sizeof(double)), cudaSuccess);
    // Legacy-stream work that the non-blocking streams below do not wait for.
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    std::vector<std::thread> hostThreads;
    for (int r = 0; r < rounds; ++r)
        hostThreads.emplace_back([&] {
            cudaStream_t stream = emutest::newStream(cudaStreamNonBlocking);
            cudalib::launch(ATOMICS_Kernel, dim3(blocks), dim3(threads), stream, ints, minmax,
                            floats, doubles);
            EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
            cudaStreamDestroy(stream);
        });
    for (auto& t : hostThreads) t.join();
    int i[7];
    unsigned u[2];
    float f[2];
    double d[2];
    ASSERT_EQ(cudaMemcpy(i, ints, sizeof i, cudaMemcpyDeviceToHost), 0);
    ASSERT_EQ(cudaMemcpy(u, minmax, sizeof u, cudaMemcpyDeviceToHost), 0);
    ASSERT_EQ(cudaMemcpy(f, floats, sizeof f, cudaMemcpyDeviceToHost), 0);
    ASSERT_EQ(cudaMemcpy(d, doubles, sizeof d, cudaMemcpyDeviceToHost), 0);
    EXPECT_EQ(std::vector<int>({i[0], i[1], i[2], i[3], i[6]}),
              std::vector<int>({sum, total - 1, 0, 1, sum}))
        << "add, max, min, one winning CAS, unsigned add";
    EXPECT_TRUE(i[4] >= 1 && i[4] <= total && i[5] >= 1 && i[5] <= total) << i[4] << " " << i[5];
    EXPECT_TRUE(u[0] == unsigned(total - 1) && u[1] == 0u) << u[0] << " " << u[1];
    // Exact: integers below 2^24.
    EXPECT_TRUE(f[0] == float(sum) && f[1] == 0.5f * float(sum)) << f[0] << " " << f[1];
    EXPECT_TRUE(d[0] == double(sum) && d[1] == 0.5 * double(sum)) << d[0] << " " << d[1];
    EXPECT_EQ(counters().launches, unsigned(rounds));
    cudaFree(ints), cudaFree(minmax), cudaFree(floats), cudaFree(doubles);
}

// ---- the library's fill kernel ------------------------------------------------------------------

// A value with a nonzero imaginary part for complex T.
template <typename T>
T valueFor(double x) {
    if constexpr (zuli::IsComplexV<T>) {
        using R = typename zuli::ToReal<T>::type;
        return T(R(x), R(-2 * x));
    } else {
        return T(x);
    }
}

template <typename T>
class FillTest : public KernelLaunch {};
using FillTypes = ::testing::Types<float, double, zuli::Complex<float>, zuli::Complex<double>, int>;
TYPED_TEST_SUITE(FillTest, FillTypes);

// Fills a submatrix inside a larger one, and checks every element of the allocation: the value
// inside the submatrix, the background everywhere else; an empty submatrix launches nothing.
TYPED_TEST(FillTest, WritesExactlyTheSubmatrix) {
    using T = TypeParam;
    const T background = valueFor<T>(-7), value = valueFor<T>(3.5);
    const struct {
        int n, ld, rowOffset, colOffset, rows, cols;
    } cases[] = {
        {1, 1, 0, 0, 1, 1},   {4, 7, 1, 1, 3, 2},     {3, 40, 0, 0, 40, 3}, {20, 75, 3, 2, 65, 17},
        {1, 33, 32, 0, 1, 1}, {600, 9, 2, 5, 4, 590}, {8, 8, 2, 2, 0, 5},   {8, 8, 2, 2, 5, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.ld << "x" << c.n << " at " << c.rowOffset << ","
                                        << c.colOffset << ": " << c.rows << "x" << c.cols);
        zuliEmuResetCounters();
        const size_t elements = size_t(c.ld) * c.n;
        T* a = deviceAlloc<T>(elements);
        cudalib::fill(a, c.ld, c.ld, c.n, background, nullptr);
        cudalib::fill(a + c.rowOffset + int64_t(c.colOffset) * c.ld, c.ld, c.rows, c.cols, value,
                      nullptr);
        EXPECT_EQ(counters().launches, c.rows > 0 && c.cols > 0 ? 2u : 1u);
        std::vector<T> host(elements);
        ASSERT_EQ(cudaMemcpy(host.data(), a, elements * sizeof(T), cudaMemcpyDeviceToHost), 0);
        for (int j = 0; j < c.n; ++j)
            for (int i = 0; i < c.ld; ++i) {
                const bool inside = i >= c.rowOffset && i < c.rowOffset + c.rows &&
                                    j >= c.colOffset && j < c.colOffset + c.cols;
                ASSERT_TRUE(host[i + size_t(j) * c.ld] == (inside ? value : background))
                    << "element (" << i << "," << j << ")";
            }
        cudaFree(a);
    }
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
}

// Element offsets beyond 2^31: three columns of a matrix whose leading dimension is 2^30 + 7
// (an 8 GiB allocation, of which only the touched pages exist).
TEST_F(KernelLaunch, FillUsesSixtyFourBitOffsets) {
    const int64_t ld = (int64_t(1) << 30) + 7;
    float* a = deviceAlloc(size_t(2 * ld + 3));
    for (int j = 0; j < 3; ++j) ASSERT_EQ(cudaMemset(a + j * ld, 0, 3 * sizeof(float)), 0);
    cudalib::fill(a, ld, 2, 3, 2.5f, nullptr);
    for (int j = 0; j < 3; ++j) {
        float column[3];
        ASSERT_EQ(cudaMemcpy(column, a + j * ld, sizeof column, cudaMemcpyDeviceToHost), 0);
        EXPECT_EQ(std::vector(column, column + 3), (std::vector{2.5f, 2.5f, 0.0f})) << j;
    }
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    cudaFree(a);
}

}  // namespace
}  // namespace kernel_tests
