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

void mark(MapKind kind, uint32_t rows, uint32_t cols, int* hits) {
    switch (kind) {
        case MapKind::Map1D: {
            cudalib::Map1D map(rows * cols);
            map.setBlockSize(32);
            cudalib::launch(MARK_1D_k<cudalib::Map1D>, map.grid(), map.block(), 0,
                            uint64_t(rows) * cols, hits);
            break;
        }
        case MapKind::Static1D64: {
            cudalib::StaticMap1D<64> map(rows * cols);
            cudalib::launch(MARK_1D_k<decltype(map)>, map.grid(), map.block(), 0,
                            uint64_t(rows) * cols, hits);
            break;
        }
        case MapKind::Map2D: {
            cudalib::Map2D map(rows, cols);
            cudalib::launch(MARK_2D_k<cudalib::Map2D>, map.grid(), map.block(), 0, uint64_t(rows),
                            uint64_t(cols), hits);
            break;
        }
        case MapKind::ColumnWise: {
            cudalib::StaticColumnWiseMap<256> map(rows, cols);
            cudalib::launch(MARK_LINES_k<decltype(map)>, map.grid(), map.block(), 0, uint64_t(rows),
                            uint64_t(cols), true, hits);
            break;
        }
        case MapKind::RowWise: {
            cudalib::StaticRowWiseMap<256> map(rows, cols);
            cudalib::launch(MARK_LINES_k<decltype(map)>, map.grid(), map.block(), 0, uint64_t(rows),
                            uint64_t(cols), false, hits);
            break;
        }
    }
}

}  // namespace map_tests
