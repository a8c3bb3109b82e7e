/* An outside program against the installed library. Built as it is, it calls the CUDA runtime
 * directly too, as a GPU application would; built with ZULI_APP_LIBRARY_ONLY it calls the library
 * alone, and links with -lzuli_lapack_emu and nothing else: the library finds the emulated GPU
 * next to itself. */
#include <stdio.h>
#include <string.h>
#include <zuli_lapack.h>
#ifndef ZULI_APP_LIBRARY_ONLY
#include <cuda_runtime_api.h>
#endif

int main(void) {
#ifndef ZULI_APP_LIBRARY_ONLY
    int count = -1;
    cudaError_t e = cudaGetDeviceCount(&count);
    printf("cudaGetDeviceCount: %s, %d\n", cudaGetErrorName(e), count);
#endif
    const char* text = zuliGetStatusString(zuliArgumentError);
    printf("status 7: %s\n", text);

    /* 2x + y = 4, x + 3y = 7 (column-major): x = 1, y = 2. */
    double a[4] = {2, 1, 1, 3}, b[2] = {4, 7};
    int ipiv[2];
    zuliStatus status = zuliInitialize();
    if (status == zuliNoError) {
        status = zuliDgesv(2, 1, a, 2, ipiv, b, 2);
        zuliShutdown();
    }
    const double error = (b[0] - 1) * (b[0] - 1) + (b[1] - 2) * (b[1] - 2);
    printf("zuliDgesv: %s, x = %g, y = %g\n", zuliGetStatusString(status), b[0], b[1]);
    int ok = strstr(text, "Argument error") && status == zuliNoError && error < 1e-24;
#ifndef ZULI_APP_LIBRARY_ONLY
    /* One byte from pageable memory into 8 GiB, then freed: cudaFree waits for the copy. */
    void* big = NULL;
    const char byte = 42;
    e = cudaMalloc(&big, (size_t)8 << 30);
    if (e == cudaSuccess) e = cudaMemcpy(big, &byte, 1, cudaMemcpyHostToDevice);
    if (e == cudaSuccess) e = cudaFree(big);
    printf("8 GiB allocated, written and freed: %s\n", cudaGetErrorName(e));
    ok = ok && e == cudaSuccess;
#endif
    return ok ? 0 : 1;
}
