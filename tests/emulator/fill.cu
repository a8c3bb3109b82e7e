// fill.cu - cudalib::fill, a kernel for the emulator tests: FILL_Kernel and its launcher.
#include "emulator/fill.h"

#include "kernels/launch.cuh"
#include "runtime/complex.h"

namespace cudalib {

// One thread per element of a 2-D grid over the matrix (x: rows, y: columns); grid-stride loops
// in both directions cover matrices larger than the grid.
template <typename T>
__global__ void FILL_Kernel(T* a, int64_t ld, int rows, int cols, T value) {
    const int64_t rowStep = int64_t(gridDim.x) * blockDim.x;
    const int64_t colStep = int64_t(gridDim.y) * blockDim.y;
    for (int64_t j = int64_t(blockIdx.y) * blockDim.y + threadIdx.y; j < cols; j += colStep) {
        for (int64_t i = int64_t(blockIdx.x) * blockDim.x + threadIdx.x; i < rows; i += rowStep) {
            a[i + j * ld] = value;
        }
    }
}

template <typename T>
void fill(T* a, int64_t ld, int rows, int cols, T value, cudaStream_t stream) {
    if (rows <= 0 || cols <= 0) {
        return;
    }
    // 32 x 8 threads; at most 65535 blocks each way, a limit every device accepts.
    constexpr unsigned blockRows = 32;
    constexpr unsigned blockCols = 8;
    constexpr int64_t maxBlocks = 65535;
    const auto blocksFor = [&](int64_t n, unsigned per) {
        const int64_t blocks = (n + per - 1) / per;
        return unsigned(blocks < maxBlocks ? blocks : maxBlocks);
    };
    const dim3 block(blockRows, blockCols);
    const dim3 grid(blocksFor(rows, blockRows), blocksFor(cols, blockCols));
    launch(FILL_Kernel<T>, grid, block, stream, a, ld, rows, cols, value);
}

template void fill<float>(float*, int64_t, int, int, float, cudaStream_t);
template void fill<double>(double*, int64_t, int, int, double, cudaStream_t);
template void fill<zuli::Complex<float>>(zuli::Complex<float>*, int64_t, int, int,
                                         zuli::Complex<float>, cudaStream_t);
template void fill<zuli::Complex<double>>(zuli::Complex<double>*, int64_t, int, int,
                                          zuli::Complex<double>, cudaStream_t);
template void fill<int>(int*, int64_t, int, int, int, cudaStream_t);

}  // namespace cudalib
