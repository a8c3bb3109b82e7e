// map_test_kernels.cu - kernels that record which elements the threads of a map reach.
#include "map_test_kernels.h"

#include "kernels/device_math.cuh"
#include "kernels/launch.cuh"
#include "kernels/maps/maps.h"

namespace map_tests {

template <typename Map>
__global__ void MARK_1D_k(uint64_t n, int* hits) {
    const uint64_t k = Map::index();
    if (k < n) atomicAdd(hits + k, 1);
}

template <typename Map>
__global__ void MARK_2D_k(uint64_t rows, uint64_t cols, int* hits) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < rows && j < cols) atomicAdd(hits + i + j * rows, 1);
}

template <typename Map>
__global__ void MARK_LINES_k(uint64_t rows, uint64_t cols, bool alongColumns, int* hits) {
    const uint64_t line = Map::line();
    const uint64_t length = alongColumns ? rows : cols;
    for (uint64_t k = Map::first(); k < length; k += Map::stride()) {
        const uint64_t i = alongColumns ? k : line, j = alongColumns ? line : k;
        atomicAdd(hits + i + j * rows, 1);
    }
}

void markMap1D(uint32_t n, uint32_t blockSize, int* hits) {
    cudalib::Map1D map(n);
    map.setBlockSize(blockSize);
    cudalib::launch(MARK_1D_k<cudalib::Map1D>, map.grid(), map.block(), 0, uint64_t(n), hits);
}

void markStaticMap1D64(uint32_t n, int* hits) {
    using Map = cudalib::StaticMap1D<64>;
    Map map(n);
    cudalib::launch(MARK_1D_k<Map>, map.grid(), map.block(), 0, uint64_t(n), hits);
}

void markMap2D(uint32_t rows, uint32_t cols, int* hits) {
    cudalib::Map2D map(rows, cols);
    cudalib::launch(MARK_2D_k<cudalib::Map2D>, map.grid(), map.block(), 0, uint64_t(rows),
                    uint64_t(cols), hits);
}

void markColumnWise(uint32_t rows, uint32_t cols, int* hits) {
    using Map = cudalib::StaticColumnWiseMap<256>;
    Map map(rows, cols);
    cudalib::launch(MARK_LINES_k<Map>, map.grid(), map.block(), 0, uint64_t(rows), uint64_t(cols),
                    true, hits);
}

void markRowWise(uint32_t rows, uint32_t cols, int* hits) {
    using Map = cudalib::StaticRowWiseMap<256>;
    Map map(rows, cols);
    cudalib::launch(MARK_LINES_k<Map>, map.grid(), map.block(), 0, uint64_t(rows), uint64_t(cols),
                    false, hits);
}

}  // namespace map_tests
