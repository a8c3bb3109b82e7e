// blas_level1.cpp - the emulated cuBLAS level-1 operations: copy, swap, scal, axpy, dot, nrm2,
// asum, iamax and rot. Reductions written to host memory make the call wait for the handle's
// stream, as cuBLAS does in host pointer mode; to device memory they are deferred like any work.
//
// Sizes follow BLAS: n <= 0 does nothing (a reduction then yields 0), and so does incx <= 0 for
// scal and the one-vector reductions (nrm2, asum, iamax). Negative increments elsewhere walk the
// vector backwards from its highest address, as in BLAS.
//
// The arithmetic is plain loops, not the host BLAS: OpenBLAS's level-1 kernels differ with the
// CPU they pick, and some are wrong (the AVX-512 scasum of Cooperlake, for unit-stride lengths
// above 8 that are not multiples of 8; the strided complex dot products load elements outside
// the vectors, which the guard pages around device allocations turn into a crash). A GPU reads
// the n elements only and gives the same answer on every machine; so do these loops. Reductions
// accumulate in double.
#include "blas_common.h"

#include <cmath>

namespace emu::blas {
namespace {

// The accumulator of a reduction over elements of type T.
template <typename T>
using Accumulator = std::conditional_t<isComplex<T>, cdouble, double>;

// |Re x| + |Im x|: the magnitude asum sums and iamax compares.
template <typename T>
Real<T> absSum(T x) {
    if constexpr (isComplex<T>) {
        return std::abs(x.real()) + std::abs(x.imag());
    } else {
        return std::abs(x);
    }
}

// y = x.
template <typename T>
cublasStatus_t copy(const char* name, cublasHandle_t handle, int n, const T* x, int incx, T* y,
                    int incy) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (n <= 0) return call.quickReturn("copy");
    const Strided<const T> dx(call.vector(x, n, incx), n, incx);
    const Strided<T> dy(call.vector(y, n, incy), n, incy);
    return call.run("copy", 0.0, [=] {
        for (int64_t i = 0; i < n; ++i) dy[i] = dx[i];
    });
}

// x <-> y.
template <typename T>
cublasStatus_t swap(const char* name, cublasHandle_t handle, int n, T* x, int incx, T* y,
                    int incy) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (n <= 0) return call.quickReturn("swap");
    const Strided<T> dx(call.vector(x, n, incx), n, incx);
    const Strided<T> dy(call.vector(y, n, incy), n, incy);
    return call.run("swap", 0.0, [=] {
        for (int64_t i = 0; i < n; ++i) std::swap(dx[i], dy[i]);
    });
}

// x = alpha * x; S is T, or the real type for Csscal / Zdscal.
template <typename T, typename S>
cublasStatus_t scal(const char* name, cublasHandle_t handle, int n, const S* alpha, T* x,
                    int incx) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!alpha) return kInvalid;
    const Scalar<S> a = call.scalar(alpha);
    if (n <= 0 || incx <= 0) return call.quickReturn("scal");
    const Strided<T> dx(call.vector(x, n, incx), n, incx);
    // A real factor on complex data is two real multiplications per element.
    const double count = std::is_same_v<S, T> ? flops<T>(n, 0) : 2.0 * n;
    return call.run("scal", count, [=] {
        const S av = a.get();
        for (int64_t i = 0; i < n; ++i) dx[i] *= av;
    });
}

// y = alpha * x + y; alpha == 0 leaves y as it is, unread, as in BLAS.
template <typename T>
cublasStatus_t axpy(const char* name, cublasHandle_t handle, int n, const T* alpha, const T* x,
                    int incx, T* y, int incy) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!alpha) return kInvalid;
    const Scalar<T> a = call.scalar(alpha);
    if (n <= 0) return call.quickReturn("axpy");
    const Strided<const T> dx(call.vector(x, n, incx), n, incx);
    const Strided<T> dy(call.vector(y, n, incy), n, incy);
    return call.run("axpy", flops<T>(n, n), [=] {
        const T av = a.get();
        if (av == T(0)) return;
        for (int64_t i = 0; i < n; ++i) dy[i] += av * dx[i];
    });
}

// Queues a reduction whose value `compute` returns when the work runs and stores it in *result
// (host or device per pointer mode); waits for the stream when the result is host memory.
template <typename R, typename Compute>
cublasStatus_t reduce(Call& call, const char* op, double count, R* result, Compute compute) {
    R* out = call.result(result);
    const cublasStatus_t st = call.run(op, count, [=] { *out = compute(); });
    if (st != kSuccess || !call.hostPointerMode()) return st;
    return call.waitForHostResult();
}

enum class Dot { Real, Unconjugated, Conjugated };

// result = x^T y (dot, dotu) or x^H y (dotc).
template <Dot kind, typename T>
cublasStatus_t dot(const char* name, cublasHandle_t handle, int n, const T* x, int incx, const T* y,
                   int incy, T* result) {
    const char* op = kind == Dot::Real ? "dot" : kind == Dot::Unconjugated ? "dotu" : "dotc";
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!result) return kInvalid;
    if (n <= 0) return reduce(call, op, 0.0, result, [] { return T(0); });
    const Strided<const T> dx(call.vector(x, n, incx), n, incx);
    const Strided<const T> dy(call.vector(y, n, incy), n, incy);
    return reduce(call, op, flops<T>(n, n), result, [=] {
        using A = Accumulator<T>;
        A sum(0);
        for (int64_t i = 0; i < n; ++i) {
            A xi(dx[i]);
            if constexpr (kind == Dot::Conjugated) xi = std::conj(xi);
            sum += xi * A(dy[i]);
        }
        return T(sum);
    });
}

// result = ||x||_2, as a scaled sum of squares (scale^2 * ssq, every |component| <= scale): no
// intermediate overflows or underflows, whatever the magnitude of the elements.
template <typename T>
cublasStatus_t nrm2(const char* name, cublasHandle_t handle, int n, const T* x, int incx,
                    Real<T>* result) {
    using R = Real<T>;
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!result) return kInvalid;
    if (n <= 0 || incx <= 0) return reduce(call, "nrm2", 0.0, result, [] { return R(0); });
    const Strided<const T> dx(call.vector(x, n, incx), n, incx);
    // One real multiply-add per real component.
    const double count = (isComplex<T> ? 4.0 : 2.0) * n;
    return reduce(call, "nrm2", count, result, [=] {
        double scale = 0, ssq = 1;
        const auto add = [&](double v) {
            if (v == 0) return;
            const double a = std::abs(v);
            if (scale < a) {
                ssq = 1 + ssq * (scale / a) * (scale / a);
                scale = a;
            } else {
                ssq += (a / scale) * (a / scale);
            }
        };
        for (int64_t i = 0; i < n; ++i) {
            add(std::real(dx[i]));
            if constexpr (isComplex<T>) add(dx[i].imag());
        }
        return R(scale * std::sqrt(ssq));
    });
}

// result = sum of |Re x_i| + |Im x_i|.
template <typename T>
cublasStatus_t asum(const char* name, cublasHandle_t handle, int n, const T* x, int incx,
                    Real<T>* result) {
    using R = Real<T>;
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!result) return kInvalid;
    if (n <= 0 || incx <= 0) return reduce(call, "asum", 0.0, result, [] { return R(0); });
    const Strided<const T> dx(call.vector(x, n, incx), n, incx);
    const double count = (isComplex<T> ? 2.0 : 1.0) * n;
    return reduce(call, "asum", count, result, [=] {
        double sum = 0;
        for (int64_t i = 0; i < n; ++i) sum += absSum(dx[i]);
        return R(sum);
    });
}

// result = the 1-based index of the first element of largest |Re x_i| + |Im x_i|; 0 when empty.
template <typename T>
cublasStatus_t iamax(const char* name, cublasHandle_t handle, int n, const T* x, int incx,
                     int* result) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!result) return kInvalid;
    if (n <= 0 || incx <= 0) return reduce(call, "iamax", 0.0, result, [] { return 0; });
    const Strided<const T> dx(call.vector(x, n, incx), n, incx);
    return reduce(call, "iamax", 0.0, result, [=] {
        int best = 0;
        Real<T> largest = absSum(dx[0]);
        for (int i = 1; i < n; ++i) {
            if (absSum(dx[i]) > largest) {
                best = i;
                largest = absSum(dx[i]);
            }
        }
        return best + 1;
    });
}

// Applies the plane rotation (c, s) to the pairs (x_i, y_i): (x, y) = (c x + s y, c y - conj(s) x).
// S is T, or the real type (srot, drot, csrot, zdrot).
template <typename T, typename S>
cublasStatus_t rot(const char* name, cublasHandle_t handle, int n, T* x, int incx, T* y, int incy,
                   const Real<T>* c, const S* s) {
    using R = Real<T>;
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!c || !s) return kInvalid;
    const Scalar<R> cs = call.scalar(c);
    const Scalar<S> ss = call.scalar(s);
    if (n <= 0) return call.quickReturn("rot");
    const Strided<T> dx(call.vector(x, n, incx), n, incx);
    const Strided<T> dy(call.vector(y, n, incy), n, incy);
    // Per pair: real data 4 multiplications and 2 additions; complex data with a real s, 8 and 4;
    // with a complex s, 2 real-by-complex and 2 complex multiplications and 2 complex additions.
    const double count = !isComplex<T> ? 6.0 * n : isComplex<S> ? 20.0 * n : 12.0 * n;
    return call.run("rot", count, [=] {
        const R cv = cs.get();
        const S sv = ss.get();
        for (int64_t i = 0; i < n; ++i) {
            const T xv = dx[i], yv = dy[i];
            dx[i] = cv * xv + sv * yv;
            if constexpr (isComplex<S>) {
                dy[i] = cv * yv - std::conj(sv) * xv;
            } else {
                dy[i] = cv * yv - sv * xv;
            }
        }
    });
}

}  // namespace
}  // namespace emu::blas

using emu::blas::Dot;
using emu::blas::native;

// ---- exported symbols, one macro invocation per precision ---------------------------------------

extern "C" {

#define EMU_BLAS_COPY(P, T)                                                                     \
    cublasStatus_t cublas##P##copy_v2(cublasHandle_t handle, int n, const T* x, int incx, T* y, \
                                      int incy) {                                               \
        return emu::blas::copy("cublas" #P "copy_v2", handle, n, native(x), incx, native(y),    \
                               incy);                                                           \
    }
EMU_BLAS_COPY(S, float)
EMU_BLAS_COPY(D, double)
EMU_BLAS_COPY(C, cuComplex)
EMU_BLAS_COPY(Z, cuDoubleComplex)

#define EMU_BLAS_SWAP(P, T)                                                                  \
    cublasStatus_t cublas##P##swap_v2(cublasHandle_t handle, int n, T* x, int incx, T* y,    \
                                      int incy) {                                            \
        return emu::blas::swap("cublas" #P "swap_v2", handle, n, native(x), incx, native(y), \
                               incy);                                                        \
    }
EMU_BLAS_SWAP(S, float)
EMU_BLAS_SWAP(D, double)
EMU_BLAS_SWAP(C, cuComplex)
EMU_BLAS_SWAP(Z, cuDoubleComplex)

#define EMU_BLAS_SCAL(NAME, T, S)                                                       \
    cublasStatus_t NAME(cublasHandle_t handle, int n, const S* alpha, T* x, int incx) { \
        return emu::blas::scal(#NAME, handle, n, native(alpha), native(x), incx);       \
    }
EMU_BLAS_SCAL(cublasSscal_v2, float, float)
EMU_BLAS_SCAL(cublasDscal_v2, double, double)
EMU_BLAS_SCAL(cublasCscal_v2, cuComplex, cuComplex)
EMU_BLAS_SCAL(cublasZscal_v2, cuDoubleComplex, cuDoubleComplex)
EMU_BLAS_SCAL(cublasCsscal_v2, cuComplex, float)
EMU_BLAS_SCAL(cublasZdscal_v2, cuDoubleComplex, double)

#define EMU_BLAS_AXPY(P, T)                                                                      \
    cublasStatus_t cublas##P##axpy_v2(cublasHandle_t handle, int n, const T* alpha, const T* x,  \
                                      int incx, T* y, int incy) {                                \
        return emu::blas::axpy("cublas" #P "axpy_v2", handle, n, native(alpha), native(x), incx, \
                               native(y), incy);                                                 \
    }
EMU_BLAS_AXPY(S, float)
EMU_BLAS_AXPY(D, double)
EMU_BLAS_AXPY(C, cuComplex)
EMU_BLAS_AXPY(Z, cuDoubleComplex)

#define EMU_BLAS_DOT(NAME, T, KIND)                                                               \
    cublasStatus_t NAME(cublasHandle_t handle, int n, const T* x, int incx, const T* y, int incy, \
                        T* result) {                                                              \
        return emu::blas::dot<KIND>(#NAME, handle, n, native(x), incx, native(y), incy,           \
                                    native(result));                                              \
    }
EMU_BLAS_DOT(cublasSdot_v2, float, Dot::Real)
EMU_BLAS_DOT(cublasDdot_v2, double, Dot::Real)
EMU_BLAS_DOT(cublasCdotu_v2, cuComplex, Dot::Unconjugated)
EMU_BLAS_DOT(cublasZdotu_v2, cuDoubleComplex, Dot::Unconjugated)
EMU_BLAS_DOT(cublasCdotc_v2, cuComplex, Dot::Conjugated)
EMU_BLAS_DOT(cublasZdotc_v2, cuDoubleComplex, Dot::Conjugated)

// nrm2 and asum: a real result of real or complex data.
#define EMU_BLAS_NORM(NAME, OP, T, R)                                                    \
    cublasStatus_t NAME(cublasHandle_t handle, int n, const T* x, int incx, R* result) { \
        return emu::blas::OP(#NAME, handle, n, native(x), incx, result);                 \
    }
EMU_BLAS_NORM(cublasSnrm2_v2, nrm2, float, float)
EMU_BLAS_NORM(cublasDnrm2_v2, nrm2, double, double)
EMU_BLAS_NORM(cublasScnrm2_v2, nrm2, cuComplex, float)
EMU_BLAS_NORM(cublasDznrm2_v2, nrm2, cuDoubleComplex, double)
EMU_BLAS_NORM(cublasSasum_v2, asum, float, float)
EMU_BLAS_NORM(cublasDasum_v2, asum, double, double)
EMU_BLAS_NORM(cublasScasum_v2, asum, cuComplex, float)
EMU_BLAS_NORM(cublasDzasum_v2, asum, cuDoubleComplex, double)

#define EMU_BLAS_IAMAX(P, T)                                                                 \
    cublasStatus_t cublasI##P##amax_v2(cublasHandle_t handle, int n, const T* x, int incx,   \
                                       int* result) {                                        \
        return emu::blas::iamax("cublasI" #P "amax_v2", handle, n, native(x), incx, result); \
    }
EMU_BLAS_IAMAX(s, float)
EMU_BLAS_IAMAX(d, double)
EMU_BLAS_IAMAX(c, cuComplex)
EMU_BLAS_IAMAX(z, cuDoubleComplex)

#define EMU_BLAS_ROT(NAME, T, R, S)                                                               \
    cublasStatus_t NAME(cublasHandle_t handle, int n, T* x, int incx, T* y, int incy, const R* c, \
                        const S* s) {                                                             \
        return emu::blas::rot(#NAME, handle, n, native(x), incx, native(y), incy, c, native(s));  \
    }
EMU_BLAS_ROT(cublasSrot_v2, float, float, float)
EMU_BLAS_ROT(cublasDrot_v2, double, double, double)
EMU_BLAS_ROT(cublasCrot_v2, cuComplex, float, cuComplex)
EMU_BLAS_ROT(cublasCsrot_v2, cuComplex, float, float)
EMU_BLAS_ROT(cublasZrot_v2, cuDoubleComplex, double, cuDoubleComplex)
EMU_BLAS_ROT(cublasZdrot_v2, cuDoubleComplex, double, double)

}  // extern "C"
