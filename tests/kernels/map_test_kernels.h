// map_test_kernels.h - kernels that record which elements the threads of a map reach.
#pragma once

#include <cuda_runtime_api.h>

#include <cstdint>

namespace map_tests {

// Adds 1 to hits[k] for every element index k < n that a thread of a Map1D (block size
// `blockSize`, grid from the current device's limit) reaches. hits: n device ints.
void markMap1D(uint32_t n, uint32_t blockSize, int* hits);
// The same for StaticMap1D<64>.
void markStaticMap1D64(uint32_t n, int* hits);
// Adds 1 to hits[i + j * rows] for every element (i, j) a Map2D thread reaches.
void markMap2D(uint32_t rows, uint32_t cols, int* hits);
// Adds 1 to hits[i + j * rows] for every element a StaticColumnWiseMap<256> (resp.
// StaticRowWiseMap<256>) block reaches by striding along its column (row).
void markColumnWise(uint32_t rows, uint32_t cols, int* hits);
void markRowWise(uint32_t rows, uint32_t cols, int* hits);

}  // namespace map_tests
