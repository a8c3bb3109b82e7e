// map_test_kernels.h - kernels that record which elements the threads of a map reach.
#pragma once

#include <cstdint>

namespace map_tests {

// Map1D with blocks of 32 (grid from the current device's limit), StaticMap1D<64> (both over the
// rows x cols elements as one vector), Map2D, and StaticColumnWiseMap<256> / StaticRowWiseMap<256>
// whose blocks stride along their column / row.
enum class MapKind { Map1D, Static1D64, Map2D, ColumnWise, RowWise };

// Adds 1 to hits[i + j * rows] (device ints) for every element (i, j) a thread of the map reaches.
void mark(MapKind kind, uint32_t rows, uint32_t cols, int* hits);

}  // namespace map_tests
