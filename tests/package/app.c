/* Uses the library and the CUDA runtime directly, as a GPU application would. */
#include <cuda_runtime_api.h>
#include <stdio.h>
#include <string.h>
#include <zuli_lapack.h>

int main(void)
{
    int count = -1;
    cudaError_t e = cudaGetDeviceCount(&count);
    printf("cudaGetDeviceCount: %s, %d\n", cudaGetErrorName(e), count);
    const char* text = zuliGetStatusString(zuliArgumentError);
    printf("status 7: %s\n", text);

    /* One byte from pageable memory into 8 GiB, then freed: cudaFree waits for the copy. */
    void* big = NULL;
    const char byte = 42;
    e = cudaMalloc(&big, (size_t)8 << 30);
    if (e == cudaSuccess) e = cudaMemcpy(big, &byte, 1, cudaMemcpyHostToDevice);
    if (e == cudaSuccess) e = cudaFree(big);
    printf("8 GiB allocated, written and freed: %s\n", cudaGetErrorName(e));
    return strstr(text, "Argument error") && e == cudaSuccess ? 0 : 1;
}
