/*
 * device_info: what the CUDA runtime reports about each GPU.
 *
 * Built against the GPU flavor it describes the real devices; built against the emulated flavor
 * (device_info_emu) it describes the emulated GPU, through the same CUDA calls. Then it asks
 * the library the same questions: which devices it can use and which versions it found.
 */
#include <cuda_runtime_api.h>
#include <stdio.h>
#include <zuli_lapack.h>

static int check(cudaError_t e, const char* what)
{
    if (e != cudaSuccess) {
        printf("%s failed: %s (%s)\n", what, cudaGetErrorName(e), cudaGetErrorString(e));
        return 1;
    }
    return 0;
}

int main(void)
{
    int runtime = 0, driver = 0, count = 0;
    if (check(cudaRuntimeGetVersion(&runtime), "cudaRuntimeGetVersion")) return 1;
    cudaDriverGetVersion(&driver);
    printf("CUDA runtime %d.%d, driver %d.%d\n", runtime / 1000, (runtime % 1000) / 10,
           driver / 1000, (driver % 1000) / 10);

    cudaError_t e = cudaGetDeviceCount(&count);
    if (e == cudaErrorNoDevice || e == cudaErrorInsufficientDriver) {
        printf("no usable device: %s\n", cudaGetErrorString(e));
        return 0;
    }
    if (check(e, "cudaGetDeviceCount")) return 1;
    printf("%d device%s\n", count, count == 1 ? "" : "s");

    for (int d = 0; d < count; ++d) {
        struct cudaDeviceProp p;
        int clockKHz = 0;
        if (check(cudaGetDeviceProperties(&p, d), "cudaGetDeviceProperties")) return 1;
        cudaDeviceGetAttribute(&clockKHz, cudaDevAttrClockRate, d);
        printf("device %d: %s\n", d, p.name);
        printf("  compute capability %d.%d, %d multiprocessors at %.2f GHz\n", p.major, p.minor,
               p.multiProcessorCount, clockKHz / 1e6);
        printf("  %.1f GiB global memory, %zu KiB shared memory per block, max pitch %zu\n",
               p.totalGlobalMem / (1024.0 * 1024.0 * 1024.0), p.sharedMemPerBlock / 1024,
               p.memPitch);
        printf("  %d async copy engine%s, up to %d threads per block, grid %d x %d x %d\n",
               p.asyncEngineCount, p.asyncEngineCount == 1 ? "" : "s", p.maxThreadsPerBlock,
               p.maxGridSize[0], p.maxGridSize[1], p.maxGridSize[2]);
    }

    printf("\nzuli_lapack %d (needs CUDA %d and cuBLAS %d; found runtime %d, driver %d, cuBLAS %d)\n",
           zuliGetVersion(), zuliGetCudaMinimumVersion(), zuliGetCublasMinimumVersion(),
           zuliGetCudaRuntimeVersion(), zuliGetCudaDriverVersion(), zuliGetCublasRuntimeVersion());
    zuliStatus s = zuliInitialize();
    if (s != zuliNoError) {
        printf("zuliInitialize: %s\n", zuliGetStatusString(s));
        return s == zuliNoHardware ? 0 : 1;
    }
    int usable = 0, current = -1;
    zuliGetDeviceCount(&usable);
    zuliGetExecutingDevice(&current);
    printf("the library can use %d device%s; this thread runs on device %d\n", usable,
           usable == 1 ? "" : "s", current);
    for (int d = 0; d < usable; ++d) {
        char info[256];
        if (zuliGetDeviceInfo(d, info, (int)sizeof info) == zuliNoError)
            printf("  device %d: %s\n", d, info);
    }
    zuliShutdown();
    return 0;
}
