// test_blas_support.h - helpers of the emulated cuBLAS tests: precision dispatch, device arrays,
// random data, comparison, and a fixture with a fresh emulator and a handle.
#pragma once

#include "emu_test_support.h"

#include <cblas.h>
#include <cublas_api.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <tuple>
#include <type_traits>
#include <vector>

#include <unistd.h>

namespace blastest {

using namespace emutest;
using cfloat = std::complex<float>;
using cdouble = std::complex<double>;
using Precisions = ::testing::Types<float, double, cfloat, cdouble>;

// Per precision: the real type, the toolkit's element type and the position among (S, D, C, Z).
template <typename T>
struct Info {
    using Real = T;
    using Cuda = T;
    static constexpr int index = std::is_same_v<T, float> ? 0 : 1;
};
template <typename R>
struct Info<std::complex<R>> {
    using Real = R;
    using Cuda = std::conditional_t<std::is_same_v<R, float>, cuComplex, cuDoubleComplex>;
    static constexpr int index = std::is_same_v<R, float> ? 2 : 3;
};
template <typename T>
using Real = typename Info<T>::Real;
template <typename T>
constexpr bool isComplex = Info<T>::index >= 2;

// The function of precision T among (S, D, C, Z); CUBLAS and CBLAS pick a regularly named one.
template <typename T, typename... F>
auto choose(F... f) {
    return std::get<Info<T>::index>(std::tuple<F...>(f...));
}
#define CUBLAS(T, name) \
    choose<T>(cublasS##name##_v2, cublasD##name##_v2, cublasC##name##_v2, cublasZ##name##_v2)
#define CBLAS(T, name) choose<T>(cblas_s##name, cblas_d##name, cblas_c##name, cblas_z##name)

// Our element pointers as the toolkit's types.
template <typename T>
auto cu(T* p) {
    using C = typename Info<std::remove_const_t<T>>::Cuda;
    return reinterpret_cast<std::conditional_t<std::is_const_v<T>, const C*, C*>>(p);
}

// A scalar as CBLAS takes it: real ones by value, complex ones by address.
template <typename T>
auto blasScalar(const T& x) {
    if constexpr (isComplex<T>) {
        return static_cast<const void*>(&x);
    } else {
        return x;
    }
}

// A value with a nonzero imaginary part for complex T.
template <typename T>
T scalar(double re, double im) {
    if constexpr (isComplex<T>) {
        return T(Real<T>(re), Real<T>(im));
    } else {
        return T(re);
    }
}

inline CBLAS_TRANSPOSE toCblas(cublasOperation_t op) {
    return op == CUBLAS_OP_N ? CblasNoTrans : op == CUBLAS_OP_T ? CblasTrans : CblasConjTrans;
}
inline CBLAS_UPLO toCblas(cublasFillMode_t uplo) {
    return uplo == CUBLAS_FILL_MODE_LOWER ? CblasLower : CblasUpper;
}
inline CBLAS_SIDE toCblas(cublasSideMode_t side) {
    return side == CUBLAS_SIDE_LEFT ? CblasLeft : CblasRight;
}
inline CBLAS_DIAG toCblas(cublasDiagType_t diag) {
    return diag == CUBLAS_DIAG_UNIT ? CblasUnit : CblasNonUnit;
}

// Elements a strided vector of n elements spans, and where its element i lies (BLAS's layout:
// a negative increment starts at the highest address).
inline size_t span(int n, int inc) {
    return n <= 0 ? 0 : size_t(n - 1) * std::abs(inc) + 1;
}
inline size_t at(int i, int n, int inc) {
    return inc >= 0 ? size_t(i) * inc : size_t(n - 1 - i) * size_t(-inc);
}

template <typename T>
std::vector<T> randomVector(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> dist(-1.0, 1.0);
    std::vector<T> v(n);
    for (auto& x : v) x = scalar<T>(dist(gen), dist(gen));
    return v;
}

// Tolerance for results of O(size) operations on O(1) data.
template <typename T>
double tolerance(double size) {
    return 64.0 * size * std::numeric_limits<Real<T>>::epsilon();
}

// Element-wise comparison relative to the largest magnitude of the expected values; a NaN in the
// result matches only a NaN expected there.
template <typename T>
::testing::AssertionResult near(const std::vector<T>& expected, const std::vector<T>& actual,
                                double tol) {
    if (expected.size() != actual.size()) return ::testing::AssertionFailure() << "size differs";
    double scale = 1.0;
    for (const T& x : expected)
        if (!std::isnan(std::abs(x))) scale = std::max(scale, double(std::abs(x)));
    for (size_t i = 0; i < expected.size(); ++i) {
        if (std::isnan(std::abs(expected[i])) && std::isnan(std::abs(actual[i]))) continue;
        if (!(std::abs(expected[i] - actual[i]) <= tol * scale))
            return ::testing::AssertionFailure()
                   << "element " << i << ": expected " << expected[i] << ", got " << actual[i];
    }
    return ::testing::AssertionSuccess();
}

// Where a device array lies: wherever the allocator puts it, or in whole pages flush against the
// inaccessible page before or after them, so that a load outside its elements faults.
enum class Edge { Any, First, Last };

// A device allocation holding a copy of a host vector.
template <typename T>
class DeviceArray {
  public:
    explicit DeviceArray(const std::vector<T>& host, Edge edge = Edge::Any) : size_(host.size()) {
        const size_t page = size_t(sysconf(_SC_PAGESIZE)) / sizeof(T);
        const size_t count = edge == Edge::Any ? size_ : (size_ + page - 1) / page * page;
        base_ = deviceAlloc<T>(count);
        ptr_ = edge == Edge::Last ? base_ + (count - size_) : base_;
        write(host);
    }
    explicit DeviceArray(size_t n) : DeviceArray(std::vector<T>(n)) {}
    DeviceArray(const DeviceArray&) = delete;
    DeviceArray& operator=(const DeviceArray&) = delete;
    // Pending work (an unsynchronised call) must finish before the free.
    ~DeviceArray() {
        cudaDeviceSynchronize();
        cudaFree(base_);
    }
    T* get() const { return ptr_; }

    // A synchronous copy back, ordered after the legacy default stream's work.
    std::vector<T> read() const {
        std::vector<T> host(size_);
        EXPECT_EQ(cudaMemcpy(host.data(), ptr_, size_ * sizeof(T), cudaMemcpyDeviceToHost), 0);
        return host;
    }
    // Through the legacy default stream, waited for: in place on return, other streams' work
    // left pending.
    void write(const std::vector<T>& host) {
        EXPECT_EQ(cudaMemcpy(ptr_, host.data(), size_ * sizeof(T), cudaMemcpyHostToDevice), 0);
        EXPECT_EQ(cudaStreamSynchronize(cudaStreamLegacy), cudaSuccess);
    }

  private:
    size_t size_;
    T* base_;
    T* ptr_;
};

// A fresh emulator and a handle on device 0.
class BlasTest : public EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        ASSERT_EQ(cublasCreate_v2(&handle), CUBLAS_STATUS_SUCCESS);
    }
    void TearDown() override {
        cublasDestroy_v2(handle);
        EmuTest::TearDown();
    }
    cublasHandle_t handle = nullptr;
};

}  // namespace blastest
