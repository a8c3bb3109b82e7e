// blas_common.h - what the emulated cuBLAS routines share: handle look-up, the per-call helper
// that checks and translates operands, scalars read per pointer mode, element types and the
// host BLAS enum mappings.
//
// Every operation follows the same path, in this order:
//   1. fault injection (a fired fault returns its status and does nothing),
//   2. handle look-up (a null, unknown or destroyed handle is CUBLAS_STATUS_NOT_INITIALIZED),
//   3. argument checks in argument order (CUBLAS_STATUS_INVALID_VALUE),
//   4. scalars and operands checked and translated with the extent the call touches,
//   5. the work queued on the handle's stream, computed by the host BLAS when it runs.
#pragma once

#include "emu.h"

#include <cblas.h>
#include <cuComplex.h>
#include <cublas_api.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <vector>

namespace emu::blas {

// ---- element types ------------------------------------------------------------------------------

// The routines compute on std::complex; cuComplex / cuDoubleComplex have the same layout
// (real part first, two values of the real type).
using cfloat = std::complex<float>;
using cdouble = std::complex<double>;
static_assert(sizeof(cfloat) == sizeof(cuComplex) && sizeof(cdouble) == sizeof(cuDoubleComplex));

template <typename T>
struct RealOf {
    using type = T;
};
template <typename R>
struct RealOf<std::complex<R>> {
    using type = R;
};
template <typename T>
using Real = typename RealOf<T>::type;

template <typename T>
inline constexpr bool isComplex = !std::is_same_v<T, Real<T>>;

// The toolkit's element pointer as the type we compute with.
inline float* native(float* p) {
    return p;
}
inline const float* native(const float* p) {
    return p;
}
inline double* native(double* p) {
    return p;
}
inline const double* native(const double* p) {
    return p;
}
inline cfloat* native(cuComplex* p) {
    return reinterpret_cast<cfloat*>(p);
}
inline const cfloat* native(const cuComplex* p) {
    return reinterpret_cast<const cfloat*>(p);
}
inline cdouble* native(cuDoubleComplex* p) {
    return reinterpret_cast<cdouble*>(p);
}
inline const cdouble* native(const cuDoubleComplex* p) {
    return reinterpret_cast<const cdouble*>(p);
}

// Picks the host BLAS function of precision T among the four (S, D, C, Z).
template <typename T, typename S, typename D, typename C, typename Z>
constexpr auto pick(S s, D d, C c, Z z) {
    if constexpr (std::is_same_v<T, float>) {
        return s;
    } else if constexpr (std::is_same_v<T, double>) {
        return d;
    } else if constexpr (std::is_same_v<T, cfloat>) {
        return c;
    } else {
        static_assert(std::is_same_v<T, cdouble>);
        return z;
    }
}
// The same for routines that exist only in complex precisions.
template <typename T, typename C, typename Z>
constexpr auto pickComplex(C c, Z z) {
    if constexpr (std::is_same_v<T, cfloat>) {
        return c;
    } else {
        static_assert(std::is_same_v<T, cdouble>);
        return z;
    }
}

// A scalar as CBLAS takes it: real scalars by value, complex ones by address.
template <typename T>
auto byBlas(const T& x) {
    if constexpr (isComplex<T>) {
        return static_cast<const void*>(&x);
    } else {
        return x;
    }
}

// Real floating-point operations of an operation counted as multiplications and additions:
// one complex multiplication is 6 real flops, one complex addition 2.
template <typename T>
double flops(double mults, double adds) {
    return isComplex<T> ? 6.0 * mults + 2.0 * adds : mults + adds;
}

// ---- enums --------------------------------------------------------------------------------------

inline bool validOp(cublasOperation_t op) {
    return op == CUBLAS_OP_N || op == CUBLAS_OP_T || op == CUBLAS_OP_C;
}
inline bool validFill(cublasFillMode_t uplo) {
    return uplo == CUBLAS_FILL_MODE_LOWER || uplo == CUBLAS_FILL_MODE_UPPER;
}
inline bool validSide(cublasSideMode_t side) {
    return side == CUBLAS_SIDE_LEFT || side == CUBLAS_SIDE_RIGHT;
}
inline bool validDiag(cublasDiagType_t diag) {
    return diag == CUBLAS_DIAG_NON_UNIT || diag == CUBLAS_DIAG_UNIT;
}

// CBLAS's transpose for T; a conjugate transpose of a real matrix is its transpose.
template <typename T>
CBLAS_TRANSPOSE cblasOp(cublasOperation_t op) {
    if (op == CUBLAS_OP_N) return CblasNoTrans;
    if (op == CUBLAS_OP_T || !isComplex<T>) return CblasTrans;
    return CblasConjTrans;
}
inline CBLAS_UPLO cblasFill(cublasFillMode_t uplo) {
    return uplo == CUBLAS_FILL_MODE_UPPER ? CblasUpper : CblasLower;
}
inline CBLAS_SIDE cblasSide(cublasSideMode_t side) {
    return side == CUBLAS_SIDE_LEFT ? CblasLeft : CblasRight;
}
inline CBLAS_DIAG cblasDiag(cublasDiagType_t diag) {
    return diag == CUBLAS_DIAG_UNIT ? CblasUnit : CblasNonUnit;
}

// ---- handles ------------------------------------------------------------------------------------

// What a live handle is bound to. Copied out under the registry's lock at the start of a call.
struct HandleState {
    int device = 0;
    cudaStream_t stream = nullptr;
    cublasPointerMode_t pointerMode = CUBLAS_POINTER_MODE_HOST;
};

// Copies the state of a live handle into *state; false for a null, unknown or destroyed handle.
bool lookupHandle(cublasHandle_t handle, HandleState* state);

// ---- strided vectors ----------------------------------------------------------------------------

// Elements a vector of n elements with increment inc spans: (n - 1) * |inc| + 1, 0 when n <= 0.
inline int64_t vectorExtent(int n, int inc) {
    if (n <= 0) return 0;
    return int64_t(n - 1) * (inc < 0 ? -int64_t(inc) : int64_t(inc)) + 1;
}
// Offset of element i (0-based) from the lowest address, BLAS's convention for negative inc.
inline int64_t vectorIndex(int64_t i, int n, int inc) {
    return inc >= 0 ? i * inc : (i - (n - 1)) * int64_t(inc);
}

// A vector of n elements with increment inc seen from its lowest address: v[i] is element i,
// the highest address first when inc < 0.
template <typename T>
class Strided {
  public:
    Strided(T* lowest, int n, int inc)
        : first_(lowest + (inc < 0 ? int64_t(n - 1) * -int64_t(inc) : 0)), inc_(inc) {}
    T& operator[](int64_t i) const { return first_[i * inc_]; }

  private:
    T* first_;
    int64_t inc_;
};

// ---- scalars ------------------------------------------------------------------------------------

// alpha, beta, c, s: in host pointer mode the value read at call time, in device pointer mode the
// translated device address, read when the work runs.
template <typename S>
class Scalar {
  public:
    Scalar() = default;
    static Scalar host(S value) {
        Scalar s;
        s.value_ = value;
        return s;
    }
    static Scalar device(const S* translated) {
        Scalar s;
        s.device_ = translated;
        return s;
    }
    S get() const { return device_ ? *device_ : value_; }

  private:
    S value_{};
    const S* device_ = nullptr;
};

// ---- the call -----------------------------------------------------------------------------------

// One call of a cuBLAS operation: enter() runs fault injection and the handle look-up, the
// operand helpers check and translate pointers (a failure is reported as a violation and marks
// the call failed), run() counts the operation and queues the work on the handle's stream.
class Call {
  public:
    explicit Call(const char* name, cublasHandle_t handle) : name_(name), handle_(handle) {}

    // Fault injection, then the handle. Returns CUBLAS_STATUS_SUCCESS when the call may proceed.
    cublasStatus_t enter();

    bool hostPointerMode() const { return state_.pointerMode == CUBLAS_POINTER_MODE_HOST; }

    // A scalar argument (not null: the caller has checked) per the handle's pointer mode.
    template <typename S>
    Scalar<S> scalar(const S* p) {
        if (hostPointerMode()) {
            if (!hostReadable(p)) return {};
            return Scalar<S>::host(*p);
        }
        return Scalar<S>::device(static_cast<const S*>(operand(p, sizeof(S))));
    }

    // A column-major rows x cols matrix with leading dimension ld.
    template <typename T>
    T* matrix(const T* p, int64_t rows, int64_t cols, int64_t ld) {
        return static_cast<T*>(matrixOperand(p, rows, cols, ld, sizeof(T)));
    }

    // A vector of n elements with increment inc; the address of its lowest element.
    template <typename T>
    T* vector(const T* p, int n, int inc) {
        return static_cast<T*>(operand(p, size_t(vectorExtent(n, inc)) * sizeof(T)));
    }

    // Where a result (dot, nrm2, asum, iamax) goes: the host address itself in host pointer mode,
    // the translated device address in device pointer mode.
    template <typename R>
    R* result(R* p) {
        if (hostPointerMode()) return hostReadable(p) ? p : nullptr;
        return static_cast<R*>(operand(p, sizeof(R)));
    }

    // Counts the operation and queues `work` on the handle's stream; a failed operand check or a
    // refused submission is CUBLAS_STATUS_EXECUTION_FAILED.
    cublasStatus_t run(const char* op, double flops, std::function<void()> work);

    // An empty problem: counts the call, queues nothing.
    cublasStatus_t quickReturn(const char* op);

    // Waits for the handle's stream (a result written to host memory).
    cublasStatus_t waitForHostResult();

  private:
    bool hostReadable(const void* p);
    void* operand(const void* p, size_t bytes);
    void* matrixOperand(const void* p, int64_t rows, int64_t cols, int64_t ld, size_t esize);

    const char* name_;
    cublasHandle_t handle_;
    HandleState state_;
    std::vector<const void*> uses_;
    bool failed_ = false;
};

constexpr cublasStatus_t kInvalid = CUBLAS_STATUS_INVALID_VALUE;
constexpr cublasStatus_t kSuccess = CUBLAS_STATUS_SUCCESS;

}  // namespace emu::blas
