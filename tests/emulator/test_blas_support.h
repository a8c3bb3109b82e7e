// test_blas_support.h - helpers of the emulated cuBLAS tests: precision dispatch, device arrays,
// random data, comparison, and a fixture with a fresh emulator and a handle.
#pragma once

#include <cblas.h>
#include <cublas_api.h>
#include <cuda_runtime_api.h>
#include <gtest/gtest.h>

#include "zuli_emu.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <tuple>
#include <type_traits>
#include <vector>

namespace blastest {

using cfloat = std::complex<float>;
using cdouble = std::complex<double>;
using Precisions = ::testing::Types<float, double, cfloat, cdouble>;

template <typename T>
struct Info {
    using Real = T;
    using Cuda = T;
    static constexpr int index = std::is_same_v<T, float> ? 0 : 1;
    static constexpr bool complex = false;
};
template <>
struct Info<cfloat> {
    using Real = float;
    using Cuda = cuComplex;
    static constexpr int index = 2;
    static constexpr bool complex = true;
};
template <>
struct Info<cdouble> {
    using Real = double;
    using Cuda = cuDoubleComplex;
    static constexpr int index = 3;
    static constexpr bool complex = true;
};
template <typename T>
using Real = typename Info<T>::Real;

// The function of precision T among (S, D, C, Z).
template <typename T, typename... F>
auto choose(F... f) {
    return std::get<Info<T>::index>(std::tuple<F...>(f...));
}
// The same among (C, Z) for complex-only routines.
template <typename T, typename C, typename Z>
auto chooseComplex(C c, Z z) {
    return std::get<Info<T>::index - 2>(std::tuple<C, Z>(c, z));
}

// Our element pointers as the toolkit's types.
template <typename T>
auto cu(T* p) {
    return reinterpret_cast<typename Info<T>::Cuda*>(p);
}
template <typename T>
auto cu(const T* p) {
    return reinterpret_cast<const typename Info<T>::Cuda*>(p);
}

// A scalar as CBLAS takes it.
template <typename T>
auto blasScalar(const T& x) {
    if constexpr (Info<T>::complex) {
        return static_cast<const void*>(&x);
    } else {
        return x;
    }
}

// A value with a nonzero imaginary part for complex T.
template <typename T>
T scalar(double re, double im) {
    if constexpr (Info<T>::complex) {
        return T(Real<T>(re), Real<T>(im));
    } else {
        return T(re);
    }
}

// CBLAS's transpose for a cuBLAS operation.
inline CBLAS_TRANSPOSE cblasTrans(cublasOperation_t op) {
    return op == CUBLAS_OP_N ? CblasNoTrans : op == CUBLAS_OP_T ? CblasTrans : CblasConjTrans;
}
inline CBLAS_UPLO cblasUplo(cublasFillMode_t uplo) {
    return uplo == CUBLAS_FILL_MODE_LOWER ? CblasLower : CblasUpper;
}
inline CBLAS_SIDE cblasSideOf(cublasSideMode_t side) {
    return side == CUBLAS_SIDE_LEFT ? CblasLeft : CblasRight;
}
inline CBLAS_DIAG cblasDiagOf(cublasDiagType_t diag) {
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
std::vector<T> gather(const std::vector<T>& v, int n, int inc) {
    std::vector<T> out(n);
    for (int i = 0; i < n; ++i) out[i] = v[at(i, n, inc)];
    return out;
}
template <typename T>
void scatter(const std::vector<T>& packed, std::vector<T>& v, int n, int inc) {
    for (int i = 0; i < n; ++i) v[at(i, n, inc)] = packed[i];
}

template <typename T>
std::vector<T> randomVector(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> dist(-1.0, 1.0);
    std::vector<T> v(n);
    for (auto& x : v) x = scalar<T>(dist(gen), dist(gen));
    return v;
}

// A column-major n x n matrix of random entries with a dominant diagonal (well conditioned as a
// triangular or symmetric matrix), leading dimension ld.
template <typename T>
std::vector<T> dominantMatrix(int n, int ld, unsigned seed) {
    std::vector<T> a = randomVector<T>(size_t(ld) * n, seed);
    for (int i = 0; i < n; ++i) a[i + size_t(i) * ld] += T(Real<T>(n + 2));
    return a;
}

// Tolerance for results of O(size) operations on O(1) data.
template <typename T>
double tolerance(double size) {
    return 64.0 * size * std::numeric_limits<Real<T>>::epsilon();
}

// Element-wise comparison relative to the largest magnitude of the expected values.
template <typename T>
::testing::AssertionResult near(const std::vector<T>& expected, const std::vector<T>& actual,
                                double tol) {
    if (expected.size() != actual.size()) return ::testing::AssertionFailure() << "size differs";
    double scale = 1.0;
    for (const T& x : expected) scale = std::max(scale, double(std::abs(x)));
    for (size_t i = 0; i < expected.size(); ++i) {
        const double diff = std::abs(expected[i] - actual[i]);
        if (!(diff <= tol * scale)) {
            return ::testing::AssertionFailure()
                   << "element " << i << ": expected " << expected[i] << ", got " << actual[i];
        }
    }
    return ::testing::AssertionSuccess();
}

// A device allocation holding a copy of a host vector.
template <typename T>
class DeviceArray {
  public:
    explicit DeviceArray(const std::vector<T>& host) : size_(host.size()) {
        EXPECT_EQ(cudaMalloc(reinterpret_cast<void**>(&ptr_), bytes()), cudaSuccess);
        write(host);
    }
    explicit DeviceArray(size_t n) : DeviceArray(std::vector<T>(n)) {}
    DeviceArray(const DeviceArray&) = delete;
    DeviceArray& operator=(const DeviceArray&) = delete;
    // Pending work (a deferred upload, an unsynchronised call) must finish before the free.
    ~DeviceArray() {
        cudaDeviceSynchronize();
        cudaFree(ptr_);
    }

    T* get() const { return ptr_; }
    size_t bytes() const { return size_ * sizeof(T); }

    // Synchronous copy back (ordered after the legacy default stream's work).
    std::vector<T> read() const {
        std::vector<T> host(size_);
        EXPECT_EQ(cudaMemcpy(host.data(), ptr_, bytes(), cudaMemcpyDeviceToHost), cudaSuccess);
        return host;
    }
    // Uploads through the legacy default stream and waits for it: the data is in place on
    // return, work pending on other streams is left alone.
    void write(const std::vector<T>& host) {
        EXPECT_EQ(cudaMemcpy(ptr_, host.data(), bytes(), cudaMemcpyHostToDevice), cudaSuccess);
        EXPECT_EQ(cudaStreamSynchronize(cudaStreamLegacy), cudaSuccess);
    }

  private:
    T* ptr_ = nullptr;
    size_t size_;
};

// A fresh emulator (default, lazy adversarial schedule, strict) and a handle on device 0.
class BlasTest : public ::testing::Test {
  protected:
    void SetUp() override {
        zuliEmuReset();
        ASSERT_EQ(cublasCreate_v2(&handle), CUBLAS_STATUS_SUCCESS);
    }
    void TearDown() override {
        cublasDestroy_v2(handle);
        zuliEmuReset();
    }

    cublasHandle_t handle = nullptr;
};

}  // namespace blastest
