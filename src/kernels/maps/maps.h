// maps.h - index maps: how the threads of a kernel launch are laid over a vector or a matrix.
//
// A map is a small host object that knows the extent of the data and the block shape; it
// produces the grid and block dimensions of a launch. The kernel receives the same map type as
// a template argument and calls its static device functions to turn the built-in thread and
// block indices into element indices (64-bit, so that offsets i + j * ld never overflow).
// Maps are never passed to kernels as objects: they are polymorphic, and kernel arguments
// must be trivially copyable.
//
//   MapBase                      polymorphic root: block() (first virtual slot), grid()
//   DynamicMapBase : MapBase     a 32-bit block-size hint, 0 by default
//   StaticMapBase : MapBase      block shape fixed by template arguments
//   Map1DBase, Map2DBase         plain holders of the extent (n; rows, columns)
//   Map1D : DynamicMapBase, Map1DBase             folded one-dimensional grid
//   Map2D : DynamicMapBase, Map2DBase             one thread per element, 16 x 16 by default
//   TriangularMap2D : Map2D                       the Map2D grid; kernels test the triangle
//   StaticMap1D<B> : StaticMapBase, Map1DBase     Map1D's grid rule with blocks of B threads
//   StaticMap2D<BR, BC> : StaticMapBase, Map2DBase
//   StaticColumnWiseMap<B> : StaticMapBase, Map2DBase   one block of B threads per column
//   StaticRowWiseMap<B> : StaticMapBase, Map2DBase      one block of B threads per row
//   StaticOneBlockMap1D<B> : StaticMapBase, Map1DBase   a single block of B threads
#pragma once

#include <cuda_runtime_api.h>

#include <cstdint>

#if defined(__CUDACC__)
#define ZULI_MAP_DEVICE __device__ __forceinline__
#else
#define ZULI_MAP_DEVICE inline
#endif

// The element-index functions use the built-in indices, which exist only in kernel code (nvcc,
// or a .cu file compiled for the emulated GPU with the kernel dialect forced in).
#if defined(__CUDACC__) || defined(ZULI_EMU_KERNEL_H)
#define ZULI_MAP_KERNEL_CODE 1
#endif

namespace cudalib {

// The largest grid extent in x of the calling thread's current device (the limit Map1D folds
// against). Read from the runtime on every call, so that it follows the device in use.
inline unsigned maxGridDimX() {
    int device = 0;
    int limit = 0;
    if (cudaGetDevice(&device) != cudaSuccess ||
        cudaDeviceGetAttribute(&limit, cudaDevAttrMaxGridDimX, device) != cudaSuccess ||
        limit <= 0) {
        cudaGetLastError();
        return 65535;  // every device accepts this much
    }
    return static_cast<unsigned>(limit);
}

// ceil(a / b), written as "quotient plus one if there is a remainder".
constexpr uint64_t ceilDiv(uint64_t a, uint64_t b) {
    return a / b + (a % b >= 1 ? 1 : 0);
}

// The one-dimensional grid over n elements with blocks of `block` threads, folded so that no
// extent exceeds `limit`: gx = ceil(n / b) halved until <= limit; gy = ceil(n / (b gx)) halved
// until <= limit; gz = ceil(n / (b gx gy)). The same x limit bounds x and y on purpose.
inline dim3 foldedGrid1D(uint64_t n, unsigned block, unsigned limit) {
    if (n == 0 || block == 0) return dim3(0, 1, 1);
    uint64_t gx = ceilDiv(n, block);
    while (gx > limit) gx >>= 1;
    uint64_t gy = ceilDiv(n, uint64_t(block) * gx);
    while (gy > limit) gy >>= 1;
    const uint64_t gz = ceilDiv(n, uint64_t(block) * gx * gy);
    return dim3(unsigned(gx), unsigned(gy), unsigned(gz));
}

class MapBase {
  public:
    // Block dimensions of the launch. The first virtual slot: grid() calls it through the
    // virtual table, so a derived map that changes the block shape changes the grid with it.
    virtual dim3 block() const = 0;
    virtual dim3 grid() const = 0;
    virtual ~MapBase() = default;
};

class DynamicMapBase : public MapBase {
  public:
    DynamicMapBase() = default;
    uint32_t hint() const { return hint_; }
    void setHint(uint32_t hint) { hint_ = hint; }

  protected:
    uint32_t hint_ = 0;  // block-size hint
};

class StaticMapBase : public MapBase {};

class Map1DBase {
  public:
    explicit Map1DBase(uint32_t n) : n_(n) {}
    uint32_t size() const { return n_; }

  protected:
    uint32_t n_;
};

class Map2DBase {
  public:
    Map2DBase(uint32_t rows, uint32_t cols) : rows_(rows), cols_(cols) {}
    uint32_t rows() const { return rows_; }
    uint32_t cols() const { return cols_; }

  protected:
    uint32_t rows_;
    uint32_t cols_;
};

// ---- one-dimensional maps -------------------------------------------------------------------

// The element index of the calling thread in a folded one-dimensional grid.
struct Linear1DIndex {
#ifdef ZULI_MAP_KERNEL_CODE
    static ZULI_MAP_DEVICE uint64_t index() {
        const uint64_t blockNumber =
            (uint64_t(blockIdx.z) * gridDim.y + blockIdx.y) * gridDim.x + blockIdx.x;
        return blockNumber * blockDim.x + threadIdx.x;
    }
#endif
};

class Map1D : public DynamicMapBase, public Map1DBase, public Linear1DIndex {
  public:
    explicit Map1D(uint32_t n) : Map1DBase(n) {}
    void setBlockSize(uint32_t blockSize) { blockSize_ = blockSize; }
    uint32_t blockSize() const { return blockSize_; }

    // The caller's block size if set; else by the hint: 1 -> 256, 2 -> 64, 3 -> 32, else 256.
    dim3 block() const override {
        if (blockSize_ != 0) return dim3(blockSize_, 1, 1);
        switch (hint_) {
            case 2:
                return dim3(64, 1, 1);
            case 3:
                return dim3(32, 1, 1);
            default:
                return dim3(256, 1, 1);
        }
    }
    dim3 grid() const override { return gridFor(maxGridDimX()); }
    // The grid against an explicit limit (what grid() does with the device's limit).
    dim3 gridFor(unsigned limit) const { return foldedGrid1D(n_, block().x, limit); }

  protected:
    uint32_t blockSize_ = 0;  // 0: not set
};

template <unsigned BlockSize>
class StaticMap1D : public StaticMapBase, public Map1DBase, public Linear1DIndex {
  public:
    static constexpr unsigned kBlockSize = BlockSize;
    explicit StaticMap1D(uint32_t n) : Map1DBase(n) {}
    dim3 block() const override { return dim3(BlockSize, 1, 1); }
    dim3 grid() const override { return gridFor(maxGridDimX()); }
    dim3 gridFor(unsigned limit) const { return foldedGrid1D(n_, block().x, limit); }
};

// A single block of BlockSize threads, whatever the extent: the kernel strides over it.
template <unsigned BlockSize>
class StaticOneBlockMap1D : public StaticMapBase, public Map1DBase {
  public:
    static constexpr unsigned kBlockSize = BlockSize;
    explicit StaticOneBlockMap1D(uint32_t n) : Map1DBase(n) {}
    dim3 block() const override { return dim3(BlockSize, 1, 1); }
    dim3 grid() const override { return dim3(1, 1, 1); }
#ifdef ZULI_MAP_KERNEL_CODE
    static ZULI_MAP_DEVICE uint64_t index() {
        return threadIdx.x;
    }
    static ZULI_MAP_DEVICE uint64_t stride() {
        return BlockSize;
    }
#endif
};

// ---- two-dimensional maps -------------------------------------------------------------------

// One thread per element: x runs over rows, y over columns.
struct ElementWise2DIndex {
#ifdef ZULI_MAP_KERNEL_CODE
    static ZULI_MAP_DEVICE uint64_t row() {
        return uint64_t(blockIdx.x) * blockDim.x + threadIdx.x;
    }
    static ZULI_MAP_DEVICE uint64_t column() {
        return uint64_t(blockIdx.y) * blockDim.y + threadIdx.y;
    }
#endif
};

class Map2D : public DynamicMapBase, public Map2DBase, public ElementWise2DIndex {
  public:
    Map2D(uint32_t rows, uint32_t cols) : Map2DBase(rows, cols) {}
    void setBlockShape(uint32_t blockRows, uint32_t blockCols) {
        blockRows_ = blockRows;
        blockCols_ = blockCols;
    }
    uint32_t blockRows() const { return blockRows_; }
    uint32_t blockCols() const { return blockCols_; }

    // The caller's shape if block rows is set, else 16 x 16 (the hint does not matter here).
    dim3 block() const override {
        if (blockRows_ != 0) return dim3(blockRows_, blockCols_, 1);
        return dim3(16, 16, 1);
    }
    dim3 grid() const override {
        const dim3 b = block();  // virtual: follows a derived map's block shape
        if (b.x == 0 || b.y == 0) return dim3(0, 0, 1);
        return dim3(unsigned(ceilDiv(rows_, b.x)), unsigned(ceilDiv(cols_, b.y)), 1);
    }

  protected:
    uint32_t blockRows_ = 0;  // 0: not set
    uint32_t blockCols_ = 0;
};

// The grid of a Map2D over the whole rows x cols rectangle; the kernel decides per element
// whether it lies in the triangle it works on.
class TriangularMap2D : public Map2D {
  public:
    using Map2D::Map2D;
};

template <unsigned BlockRows, unsigned BlockCols>
class StaticMap2D : public StaticMapBase, public Map2DBase, public ElementWise2DIndex {
  public:
    StaticMap2D(uint32_t rows, uint32_t cols) : Map2DBase(rows, cols) {}
    dim3 block() const override { return dim3(BlockRows, BlockCols, 1); }
    dim3 grid() const override {
        const dim3 b = block();
        return dim3(unsigned(ceilDiv(rows_, b.x)), unsigned(ceilDiv(cols_, b.y)), 1);
    }
};

// One block of BlockSize threads per column; the threads stride down the column.
template <unsigned BlockSize>
class StaticColumnWiseMap : public StaticMapBase, public Map2DBase {
  public:
    static constexpr unsigned kBlockSize = BlockSize;
    StaticColumnWiseMap(uint32_t rows, uint32_t cols) : Map2DBase(rows, cols) {}
    dim3 block() const override { return dim3(BlockSize, 1, 1); }
    dim3 grid() const override { return dim3(cols_, 1, 1); }
#ifdef ZULI_MAP_KERNEL_CODE
    static ZULI_MAP_DEVICE uint64_t line() {
        return blockIdx.x;
    }  // the column
    static ZULI_MAP_DEVICE uint64_t first() {
        return threadIdx.x;
    }
    static ZULI_MAP_DEVICE uint64_t stride() {
        return BlockSize;
    }
#endif
};

// One block of BlockSize threads per row; the threads stride along the row.
template <unsigned BlockSize>
class StaticRowWiseMap : public StaticMapBase, public Map2DBase {
  public:
    static constexpr unsigned kBlockSize = BlockSize;
    StaticRowWiseMap(uint32_t rows, uint32_t cols) : Map2DBase(rows, cols) {}
    dim3 block() const override { return dim3(BlockSize, 1, 1); }
    dim3 grid() const override { return dim3(rows_, 1, 1); }
#ifdef ZULI_MAP_KERNEL_CODE
    static ZULI_MAP_DEVICE uint64_t line() {
        return blockIdx.x;
    }  // the row
    static ZULI_MAP_DEVICE uint64_t first() {
        return threadIdx.x;
    }
    static ZULI_MAP_DEVICE uint64_t stride() {
        return BlockSize;
    }
#endif
};

// True when a map's grid launches no thread at all (an empty extent).
inline bool emptyGrid(const MapBase& map) {
    const dim3 g = map.grid();
    return g.x == 0 || g.y == 0 || g.z == 0;
}

}  // namespace cudalib
