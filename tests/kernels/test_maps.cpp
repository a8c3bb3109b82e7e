// Index maps: block and grid rules as tables, the grid folding against the device's limit, and
// that the threads of each map reach every element exactly once.
#include "kernels/maps/maps.h"
#include "map_test_kernels.h"
#include "runtime/runtime_fixture.h"

#include <vector>

namespace {

using cudalib::Map1D;
using cudalib::Map2D;

void expectDim(const dim3& got, unsigned x, unsigned y, unsigned z) {
    EXPECT_EQ(got.x, x);
    EXPECT_EQ(got.y, y);
    EXPECT_EQ(got.z, z);
}

TEST(Maps, Map2DBlockAndGrid) {
    struct Row {
        uint32_t rows, cols, blockRows, blockCols, hint;
        unsigned bx, by, gx, gy;
    } table[] = {
        {1, 1, 0, 0, 0, 16, 16, 1, 1},    {16, 16, 0, 0, 0, 16, 16, 1, 1},
        {17, 16, 0, 0, 0, 16, 16, 2, 1},   // a remainder of 1 adds a block
        {100, 33, 0, 0, 3, 16, 16, 7, 3},  // the hint does not change a Map2D
        {100, 33, 32, 8, 0, 32, 8, 4, 5},  // the caller's shape
        {64, 64, 64, 4, 0, 64, 4, 1, 16}, {0, 5, 0, 0, 0, 16, 16, 0, 1},  // empty: no blocks in x
    };
    for (const Row& r : table) {
        SCOPED_TRACE(testing::Message()
                     << r.rows << "x" << r.cols << " shape " << r.blockRows << "x" << r.blockCols);
        Map2D map(r.rows, r.cols);
        map.setHint(r.hint);
        if (r.blockRows) map.setBlockShape(r.blockRows, r.blockCols);
        expectDim(map.block(), r.bx, r.by, 1);
        expectDim(map.grid(), r.gx, r.gy, 1);
    }
}

TEST(Maps, Map1DBlockByHintOrCallerSize) {
    struct Row {
        uint32_t hint, blockSize;
        unsigned expected;
    } table[] = {{0, 0, 256}, {1, 0, 256},   {2, 0, 64},   {3, 0, 32},
                 {4, 0, 256}, {2, 128, 128}, {0, 512, 512}};
    for (const Row& r : table) {
        SCOPED_TRACE(testing::Message() << "hint " << r.hint << " size " << r.blockSize);
        Map1D map(1000);
        map.setHint(r.hint);
        if (r.blockSize) map.setBlockSize(r.blockSize);
        expectDim(map.block(), r.expected, 1, 1);
    }
}

TEST(Maps, OneDimensionalGridFoldsAgainstTheLimit) {
    struct Row {
        uint32_t n, block;
        unsigned limit, gx, gy, gz;
    } table[] = {
        {1000, 256, 65535, 4, 1, 1}, {1024, 256, 65535, 4, 1, 1}, {1025, 256, 65535, 5, 1, 1},
        {2560, 256, 4, 2, 2, 3},  // 10 -> 5 -> 2; ceil(2560/512) = 5 -> 2; ceil(2560/1024) = 3
        {2560, 256, 10, 10, 1, 1},   {0, 256, 65535, 0, 1, 1},
    };
    for (const Row& r : table) {
        SCOPED_TRACE(testing::Message() << r.n << " by " << r.block << " limit " << r.limit);
        expectDim(cudalib::foldedGrid1D(r.n, r.block, r.limit), r.gx, r.gy, r.gz);
    }
    // gx: 100 halved to 6; gy: ceil(100 / 6) = 17 halved to 4; gz: ceil(100 / 24) = 5.
    expectDim(cudalib::foldedGrid1D(100, 1, 7), 6, 4, 5);
    // Whatever the limit, the folded grid covers every element and respects the limit.
    for (unsigned limit : {1u, 2u, 3u, 5u, 64u})
        for (uint32_t n : {1u, 7u, 255u, 256u, 257u, 100000u}) {
            const dim3 g = cudalib::foldedGrid1D(n, 32, limit);
            EXPECT_LE(g.x, limit);
            EXPECT_LE(g.y, limit);
            EXPECT_GE(uint64_t(g.x) * g.y * g.z * 32, n) << n << " limit " << limit;
        }
}

// Maps of a fixed shape, and a derived map whose overridden block the grid follows (virtual
// dispatch).
TEST(Maps, FixedAndOverriddenShapes) {
    struct WideBlocks : Map2D {
        using Map2D::Map2D;
        dim3 block() const override { return dim3(4, 2, 1); }
    };
    const cudalib::MapBase& wide = WideBlocks(10, 10);
    const struct Row {
        const char* what;
        dim3 got, want;
    } table[] = {
        {"StaticMap1D<64> block", cudalib::StaticMap1D<64>(1000).block(), {64}},
        {"StaticMap1D<64> grid", cudalib::StaticMap1D<64>(1000).gridFor(65535), {16}},
        {"StaticMap1D<128> block", cudalib::StaticMap1D<128>(1000).block(), {128}},
        {"StaticMap1D<128> grid", cudalib::StaticMap1D<128>(1000).gridFor(65535), {8}},
        {"StaticMap2D block", cudalib::StaticMap2D<16, 16>(33, 16).block(), {16, 16}},
        {"StaticMap2D grid", cudalib::StaticMap2D<16, 16>(33, 16).grid(), {3}},
        {"column-wise block", cudalib::StaticColumnWiseMap<256>(1000, 7).block(), {256}},
        {"column-wise grid", cudalib::StaticColumnWiseMap<256>(1000, 7).grid(), {7}},
        {"row-wise block", cudalib::StaticRowWiseMap<256>(1000, 7).block(), {256}},
        {"row-wise grid", cudalib::StaticRowWiseMap<256>(1000, 7).grid(), {1000}},
        {"one block", cudalib::StaticOneBlockMap1D<32>(100000).block(), {32}},
        {"one block grid", cudalib::StaticOneBlockMap1D<32>(100000).grid(), {1}},
        {"overridden block", wide.grid(), {3, 5}},
        {"triangular", cudalib::TriangularMap2D(40, 20).grid(), {3, 2}},
    };
    for (const Row& r : table) {
        SCOPED_TRACE(r.what);
        expectDim(r.got, r.want.x, r.want.y, r.want.z);
    }
}

// Runs the marking kernel of `kind` on a zeroed rows x cols array: every element reached once.
class MapKernels : public runtime_test::RuntimeTest {
  protected:
    static void expectEachOnce(map_tests::MapKind kind, uint32_t rows, uint32_t cols) {
        const size_t count = size_t(rows) * cols;
        int* d = nullptr;
        ASSERT_EQ(cudaMalloc(reinterpret_cast<void**>(&d), count * sizeof(int)), cudaSuccess);
        EXPECT_EQ(cudaMemset(d, 0, count * sizeof(int)), cudaSuccess);
        map_tests::mark(kind, rows, cols, d);
        EXPECT_EQ(cudaGetLastError(), cudaSuccess);
        std::vector<int> h(count);
        EXPECT_EQ(cudaMemcpy(h.data(), d, count * sizeof(int), cudaMemcpyDeviceToHost),
                  cudaSuccess);
        cudaFree(d);
        for (size_t k = 0; k < h.size(); ++k) ASSERT_EQ(h[k], 1) << "element " << k;
    }
};

TEST_F(MapKernels, FoldedOneDimensionalGridReachesEveryElementOnce) {
    ASSERT_EQ(zuliEmuSetMaxGridSize(0, 3, 65535, 65535), 0);
    for (uint32_t n : {1u, 31u, 32u, 33u, 100u, 1000u, 5000u}) {
        SCOPED_TRACE(n);
        Map1D probe(n);
        probe.setBlockSize(32);
        const dim3 g = probe.grid();  // follows the device's limit
        EXPECT_LE(g.x, 3u);
        EXPECT_LE(g.y, 3u);
        expectEachOnce(map_tests::MapKind::Map1D, n, 1);
        expectEachOnce(map_tests::MapKind::Static1D64, n, 1);
    }
}

TEST_F(MapKernels, TwoDimensionalMapsReachEveryElementOnce) {
    using enum map_tests::MapKind;
    for (auto [rows, cols] : {std::pair{1u, 1u}, {16u, 16u}, {17u, 33u}, {300u, 5u}, {3u, 600u}})
        for (map_tests::MapKind kind : {Map2D, ColumnWise, RowWise}) {
            SCOPED_TRACE(testing::Message() << rows << "x" << cols << " kind " << int(kind));
            expectEachOnce(kind, rows, cols);
        }
}

}  // namespace
