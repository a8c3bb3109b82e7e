// blas_level1.cpp - the emulated cuBLAS level-1 operations: copy, swap, scal, axpy, dot, nrm2,
// asum, iamax and rot. Reductions written to host memory make the call wait for the handle's
// stream, as cuBLAS does in host pointer mode; to device memory they are deferred like any work.
//
// Sizes follow BLAS: n <= 0 does nothing (a reduction then yields 0), and so does incx <= 0 for
// scal and the one-vector reductions (nrm2, asum, iamax). Negative increments elsewhere walk the
// vector backwards from its highest address, as in BLAS.
#include "blas_common.h"

namespace emu::blas {
namespace {

// y = x.
template <typename T>
cublasStatus_t copy(const char* name, cublasHandle_t handle, int n, const T* x, int incx, T* y,
                    int incy) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (n <= 0) return call.quickReturn("copy");
    const T* dx = call.vector(x, n, incx);
    T* dy = call.vector(y, n, incy);
    return call.run("copy", 0.0, [=] {
        pick<T>(cblas_scopy, cblas_dcopy, cblas_ccopy, cblas_zcopy)(n, dx, incx, dy, incy);
    });
}

// x <-> y.
template <typename T>
cublasStatus_t swap(const char* name, cublasHandle_t handle, int n, T* x, int incx, T* y,
                    int incy) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (n <= 0) return call.quickReturn("swap");
    T* dx = call.vector(x, n, incx);
    T* dy = call.vector(y, n, incy);
    return call.run("swap", 0.0, [=] {
        pick<T>(cblas_sswap, cblas_dswap, cblas_cswap, cblas_zswap)(n, dx, incx, dy, incy);
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
    T* dx = call.vector(x, n, incx);
    // A real factor on complex data is two real multiplications per element.
    const double count = std::is_same_v<S, T> ? flops<T>(n, 0) : 2.0 * n;
    return call.run("scal", count, [=] {
        const S av = a.get();
        if constexpr (std::is_same_v<S, T>) {
            pick<T>(cblas_sscal, cblas_dscal, cblas_cscal, cblas_zscal)(n, byBlas(av), dx, incx);
        } else {
            pickComplex<T>(cblas_csscal, cblas_zdscal)(n, av, dx, incx);
        }
    });
}

// y = alpha * x + y.
template <typename T>
cublasStatus_t axpy(const char* name, cublasHandle_t handle, int n, const T* alpha, const T* x,
                    int incx, T* y, int incy) {
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!alpha) return kInvalid;
    const Scalar<T> a = call.scalar(alpha);
    if (n <= 0) return call.quickReturn("axpy");
    const T* dx = call.vector(x, n, incx);
    T* dy = call.vector(y, n, incy);
    return call.run("axpy", flops<T>(n, n), [=] {
        const T av = a.get();
        pick<T>(cblas_saxpy, cblas_daxpy, cblas_caxpy, cblas_zaxpy)(n, byBlas(av), dx, incx, dy,
                                                                    incy);
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
    const T* dx = call.vector(x, n, incx);
    const T* dy = call.vector(y, n, incy);
    return reduce(call, op, flops<T>(n, n), result, [=] {
        if constexpr (kind == Dot::Real) {
            return pick<T>(cblas_sdot, cblas_ddot, nullptr, nullptr)(n, dx, incx, dy, incy);
        } else if (incx != 1 || incy != 1) {
            // The host BLAS's strided complex dot kernels may load one element past the
            // vector's last, which the guard page after a device allocation turns into a crash
            // (seen with zdotu and zdotc). A GPU reads the n elements only, and so does this.
            T value(0);
            for (int i = 0; i < n; ++i) {
                const T xi = dx[vectorIndex(i, n, incx)];
                value +=
                    (kind == Dot::Conjugated ? std::conj(xi) : xi) * dy[vectorIndex(i, n, incy)];
            }
            return value;
        } else {
            T value;
            if constexpr (kind == Dot::Unconjugated) {
                pickComplex<T>(cblas_cdotu_sub, cblas_zdotu_sub)(n, dx, incx, dy, incy, &value);
            } else {
                pickComplex<T>(cblas_cdotc_sub, cblas_zdotc_sub)(n, dx, incx, dy, incy, &value);
            }
            return value;
        }
    });
}

// result = ||x||_2.
template <typename T>
cublasStatus_t nrm2(const char* name, cublasHandle_t handle, int n, const T* x, int incx,
                    Real<T>* result) {
    using R = Real<T>;
    Call call(name, handle);
    if (cublasStatus_t st = call.enter(); st != kSuccess) return st;
    if (!result) return kInvalid;
    if (n <= 0 || incx <= 0) return reduce(call, "nrm2", 0.0, result, [] { return R(0); });
    const T* dx = call.vector(x, n, incx);
    // One real multiply-add per real component.
    const double count = (isComplex<T> ? 4.0 : 2.0) * n;
    return reduce(call, "nrm2", count, result, [=] {
        return pick<T>(cblas_snrm2, cblas_dnrm2, cblas_scnrm2, cblas_dznrm2)(n, dx, incx);
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
    const T* dx = call.vector(x, n, incx);
    const double count = (isComplex<T> ? 2.0 : 1.0) * n;
    return reduce(call, "asum", count, result, [=] {
        return pick<T>(cblas_sasum, cblas_dasum, cblas_scasum, cblas_dzasum)(n, dx, incx);
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
    const T* dx = call.vector(x, n, incx);
    return reduce(call, "iamax", 0.0, result, [=] {
        const size_t index =
            pick<T>(cblas_isamax, cblas_idamax, cblas_icamax, cblas_izamax)(n, dx, incx);
        return int(index) + 1;
    });
}

// (x, y) = (c x + s y, c y - conj(s) x) for a complex s with complex vectors; CBLAS has no
// such rotation.
template <typename T>
void complexRot(int n, T* x, int incx, T* y, int incy, Real<T> c, T s) {
    for (int64_t i = 0; i < n; ++i) {
        T& xi = x[vectorIndex(i, n, incx)];
        T& yi = y[vectorIndex(i, n, incy)];
        const T xv = xi, yv = yi;
        xi = c * xv + s * yv;
        yi = c * yv - std::conj(s) * xv;
    }
}

// Applies the plane rotation (c, s) to the pairs (x_i, y_i); S is T, or the real type (srot,
// drot, csrot, zdrot).
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
    T* dx = call.vector(x, n, incx);
    T* dy = call.vector(y, n, incy);
    // Per pair: real data 4 multiplications and 2 additions; complex data with a real s, 8 and 4;
    // with a complex s, 2 real-by-complex and 2 complex multiplications and 2 complex additions.
    const double count = !isComplex<T> ? 6.0 * n : isComplex<S> ? 20.0 * n : 12.0 * n;
    return call.run("rot", count, [=] {
        const R cv = cs.get();
        const S sv = ss.get();
        if constexpr (isComplex<S>) {
            complexRot(n, dx, incx, dy, incy, cv, sv);
        } else {
            pick<T>(cblas_srot, cblas_drot, cblas_csrot, cblas_zdrot)(n, dx, incx, dy, incy, cv,
                                                                      sv);
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
