// Helpers shared by the kernel and utility routine tests: random data, bitwise comparison and
// device copies of host arrays.
#pragma once

#include "runtime/complex.h"
#include "runtime/runtime_fixture.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

namespace kernel_tests {

template <typename T>
std::vector<T> randomValues(size_t count, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(-2.0, 2.0);
    std::vector<T> v(std::max<size_t>(count, 1));
    for (T& x : v) {
        if constexpr (zuli::IsComplexV<T>) {
            using R = typename T::value_type;
            x = T(R(u(rng)), R(u(rng)));
        } else {
            x = T(u(rng));
        }
    }
    return v;
}

template <typename T>
bool same(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Bitwise equality of two arrays, reporting the first difference.
template <typename T>
::testing::AssertionResult identical(const std::vector<T>& got, const std::vector<T>& want) {
    if (got.size() != want.size()) return ::testing::AssertionFailure() << "sizes differ";
    for (size_t k = 0; k < got.size(); ++k)
        if (!same(got[k], want[k])) return ::testing::AssertionFailure() << "element " << k;
    return ::testing::AssertionSuccess();
}

// A device copy of a host array, freed at the end of its scope.
template <typename T>
class DeviceArray {
  public:
    explicit DeviceArray(const std::vector<T>& host) : count_(host.size()) {
        EXPECT_EQ(cudaMalloc(reinterpret_cast<void**>(&ptr_), count_ * sizeof(T)), cudaSuccess);
        EXPECT_EQ(cudaMemcpy(ptr_, host.data(), count_ * sizeof(T), cudaMemcpyHostToDevice),
                  cudaSuccess);
    }
    ~DeviceArray() { cudaFree(ptr_); }
    T* get() const { return ptr_; }
    std::vector<T> download() const {
        std::vector<T> h(count_);
        EXPECT_EQ(cudaMemcpy(h.data(), ptr_, count_ * sizeof(T), cudaMemcpyDeviceToHost),
                  cudaSuccess);
        return h;
    }

  private:
    size_t count_;
    T* ptr_ = nullptr;
};

}  // namespace kernel_tests
