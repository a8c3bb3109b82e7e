// blas_test_support.h - what the BLAS tests share: the fixture, random operands, device copies,
// the host BLAS (CBLAS) as reference in four precisions, and element-wise comparison.
#pragma once

#include "blas/cublas.h"
#include "runtime/exports.h"
#include "runtime/runtime_fixture.h"

#include "zuli_emu.h"
#include "zuli_lapack.h"

#include <cblas.h>
#include <cuda_runtime_api.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace blas_test {

using zuli::Complex;
using zuli::blas::detail::pick;

using AllPrecisions = ::testing::Types<float, double, Complex<float>, Complex<double>>;
using ComplexPrecisions = ::testing::Types<Complex<float>, Complex<double>>;

template <typename T>
using Real = zuli::ToRealT<T>;

// The public form of a scalar and of a pointer, for calling the exported functions.
template <typename T>
zuli::PublicType<T> pub(T v) {
    return std::bit_cast<zuli::PublicType<T>>(v);
}
template <typename T>
zuli::PublicType<T>* pub(T* p) {
    return reinterpret_cast<zuli::PublicType<T>*>(p);
}
template <typename T>
const zuli::PublicType<T>* pub(const T* p) {
    return reinterpret_cast<const zuli::PublicType<T>*>(p);
}

// A scalar as CBLAS takes it: by value when real, by address when complex.
template <typename T>
auto byBlas(const T& v) {
    if constexpr (zuli::IsComplexV<T>)
        return static_cast<const void*>(&v);
    else
        return v;
}

template <typename T>
T makeScalar(double re, double im) {
    if constexpr (zuli::IsComplexV<T>)
        return T(Real<T>(re), Real<T>(im));
    else
        return T(re);
}

template <typename T>
double magnitude(const T& v) {
    if constexpr (zuli::IsComplexV<T>)
        return std::hypot(double(v.re), double(v.im));
    else
        return std::fabs(double(v));
}

enum class Api { Host, Device };
constexpr Api kApis[] = {Api::Host, Api::Device};
inline std::string apiName(Api a) {
    return a == Api::Host ? "host " : "device ";
}

// The exported function `name` of precision T for the interface `api`.
#define ENTRY(api, name)                                               \
    ((api) == Api::Host                                                \
         ? pick<T>(zuliS##name, zuliD##name, zuliC##name, zuliZ##name) \
         : pick<T>(zuliDeviceS##name, zuliDeviceD##name, zuliDeviceC##name, zuliDeviceZ##name))
// The same for a member that exists only for complex precisions.
#define ENTRY_COMPLEX(api, name)                                              \
    ((api) == Api::Host ? pick<T>(nullptr, nullptr, zuliC##name, zuliZ##name) \
                        : pick<T>(nullptr, nullptr, zuliDeviceC##name, zuliDeviceZ##name))

// An operand: `rows` x `cols` elements column-major in `data` with leading dimension `ld`
// (a vector with increment inc is stored as (len - 1) * |inc| + 1 rows and one column).
template <typename T>
struct Operand {
    int rows = 0, cols = 0, ld = 1;
    std::vector<T> data;

    Operand(int r, int c, int leading, std::mt19937& rng) : rows(r), cols(c), ld(leading) {
        data.resize(size_t(std::max(1, ld)) * std::max(1, cols));
        std::uniform_real_distribution<double> u(-1.0, 1.0);
        for (T& v : data) v = makeScalar<T>(u(rng), u(rng));
    }
    static Operand vector(int len, int inc, std::mt19937& rng) {
        const int stored = len == 0 ? 0 : (len - 1) * std::abs(inc) + 1;
        return Operand(stored, 1, std::max(1, stored), rng);
    }
    T& at(int i, int j) { return data[size_t(i) + size_t(j) * ld]; }
    T* ptr() { return data.data(); }
    // Adds `shift` to the diagonal of the leading square block: a well-conditioned triangle.
    void strengthenDiagonal(double shift) {
        for (int i = 0; i < std::min(rows, cols); ++i) at(i, i) = at(i, i) + T(Real<T>(shift));
    }
};

// Every element of `got` matches `want` to a tolerance relative to `scale`, the size of the terms
// that were summed (the device result and the reference may round differently).
template <typename T>
void expectNear(const Operand<T>& got, const Operand<T>& want, double scale, const char* what) {
    ASSERT_EQ(got.data.size(), want.data.size());
    const double tol = (std::is_same_v<Real<T>, float> ? 2e-5 : 1e-13) * std::max(1.0, scale);
    size_t bad = 0;
    for (size_t i = 0; i < got.data.size(); ++i) {
        const double err = magnitude(got.data[i] - want.data[i]);
        if (!(err <= tol * (1.0 + magnitude(want.data[i]))) && ++bad <= 3)
            ADD_FAILURE() << what << ": element " << i << " differs by " << err;
    }
    EXPECT_EQ(bad, 0u) << what;
}

// Runs `call(pointers...)` on the operands' host storage (Api::Host) or on device copies of them
// (Api::Device, the copies downloaded again and freed afterwards) and returns its status.
template <typename T, typename Call, typename... Ops>
zuliStatus onOperands(Api api, Call call, Ops&... ops) {
    if (api == Api::Host) return call(ops.ptr()...);
    auto upload = [](Operand<T>& op) {
        T* p = nullptr;
        EXPECT_EQ(cudaMalloc(reinterpret_cast<void**>(&p), op.data.size() * sizeof(T)),
                  cudaSuccess);
        EXPECT_EQ(cudaMemcpy(p, op.ptr(), op.data.size() * sizeof(T), cudaMemcpyHostToDevice),
                  cudaSuccess);
        return p;
    };
    auto download = [](Operand<T>& op, T* p) {
        EXPECT_EQ(cudaMemcpy(op.ptr(), p, op.data.size() * sizeof(T), cudaMemcpyDeviceToHost),
                  cudaSuccess);
        cudaFree(p);
    };
    const std::tuple copies{upload(ops)...};  // braced: uploaded in order
    const zuliStatus s = std::apply(call, copies);
    std::apply([&](auto... p) { (download(ops, p), ...); }, copies);
    return s;
}

// Since the last counter reset: no device memory, no copy, no cuBLAS call (on the emulated GPU,
// which counts them).
inline void expectNoWork() {
    if (!runtime_test::kEmulated) return;
    zuliEmuCounters c{};
    zuliEmuGetCounters(&c);
    EXPECT_EQ(c.deviceAllocs, 0u);
    EXPECT_EQ(c.h2dCopies + c.d2hCopies, 0u);
    EXPECT_EQ(c.blasCalls, 0u);
}

// The fixture: an initialised library on the emulator's default device, counters cleared.
class BlasTest : public runtime_test::RuntimeTest {
  protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        ASSERT_EQ(zuliInitialize(), zuliNoError);
        zuliEmuResetCounters();
    }
    std::mt19937 rng{20261122};
};

template <typename T>
class BlasTyped : public BlasTest {};

// CBLAS enums of the option letters.
struct Cblas {
    static CBLAS_TRANSPOSE trans(char c) {
        return c == 'N' ? CblasNoTrans : (c == 'T' ? CblasTrans : CblasConjTrans);
    }
    static CBLAS_UPLO uplo(char c) { return c == 'U' ? CblasUpper : CblasLower; }
    static CBLAS_SIDE side(char c) { return c == 'L' ? CblasLeft : CblasRight; }
    static CBLAS_DIAG diag(char c) { return c == 'U' ? CblasUnit : CblasNonUnit; }
};

}  // namespace blas_test
