/* Exits with status 0 when the CUDA runtime finds at least one GPU, 1 otherwise. */
#include <cuda_runtime_api.h>

int main(void)
{
    int count = 0;
    return (cudaGetDeviceCount(&count) == cudaSuccess && count > 0) ? 0 : 1;
}
