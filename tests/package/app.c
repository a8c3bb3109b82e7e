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
    return strstr(text, "Argument error") ? 0 : 1;
}
