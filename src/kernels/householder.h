// householder.h - launchers of the reflector and plane-rotation kernels: LARFG_k (generate an
// elementary reflector), LASR_k (apply a sequence of plane rotations to a matrix), LAR2V_k,
// LARGV_k and LARTV_k (rotations on vectors, one thread per index).
//
// Every launcher takes device pointers and arguments that have already been checked, launches
// nothing when there is nothing to do, and queues its kernel on `stream` (the legacy default
// stream unless given), so that a routine that keeps its rotations or reflectors on the device
// can apply them on its own stream. Each computes what LAPACK's routine of the same name
// computes, with the same formulas in the same order. Element offsets are 64-bit. T is float,
// double, zuli::Complex<float> or zuli::Complex<double>; R its real type. A launch whose
// configuration the device refuses is not started; the error stays in the runtime's last error.
#pragma once

#include "runtime/complex.h"

#include <cuda_runtime_api.h>

namespace zuli {

// LAPACK's larfg for n >= 1: generates H with H^H (alpha, x) = (beta, 0), beta real, from the
// scalar *alpha and the n - 1 elements of x (increment incx >= 0), in one block of 32 threads.
// *alpha becomes beta, x is overwritten with v (the reflector's vector below its unit first
// element) and *tau is written. An increment of 0 leaves x out, as the BLAS norm and scaling
// that LAPACK's larfg calls do: x then counts as zero and is neither read nor written (so x may
// be null). A beta below the safe minimum is computed with x and alpha rescaled, as LAPACK's
// loop does, so that v and tau are accurate. All three outputs stay on the device.
template <typename T>
void launchLarfg(int n, T* alpha, T* x, int incx, T* tau, cudaStream_t stream = 0);

// LAPACK's lasr with pivot 'V' (rotation k acts on rows, or columns, k and k + 1): applies the
// rotations (c[k], s[k]) to the m x n matrix A from the left (side 'L', m - 1 rotations, one
// thread per column) or from the right ('R', n - 1 rotations, one thread per row), in forward
// (direct 'F') or backward ('B') order. Letters upper-case. Launches nothing for an empty
// matrix or when there is no rotation (side 'L' with m = 1, side 'R' with n = 1).
template <typename T>
void launchLasr(char side, char direct, int m, int n, const ToRealT<T>* c, const ToRealT<T>* s,
                T* a, int lda, cudaStream_t stream = 0);

// LAPACK's lar2v: for each i < n, the 2 x 2 symmetric (Hermitian) matrix (x(i), z(i); z(i)^H,
// y(i)) becomes G (x, z; z^H, y) G^H, G = (c(i), conj(s(i)); -s(i), c(i)). x and y are real (for
// the complex types their real parts are read and their imaginary parts set to zero).
template <typename T>
void launchLar2v(int n, T* x, T* y, T* z, int incx, const ToRealT<T>* c, const T* s, int incc,
                 cudaStream_t stream = 0);

// LAPACK's largv: for each i < n generates the rotation (c(i), s(i)) with
// (c, s; -conj(s), c) (x(i), y(i)) = (r, 0); x(i) becomes r, y(i) becomes s.
template <typename T>
void launchLargv(int n, T* x, int incx, T* y, int incy, ToRealT<T>* c, int incc,
                 cudaStream_t stream = 0);

// LAPACK's lartv: for each i < n, (x(i), y(i)) becomes (c x + s y, c y - conj(s) x).
template <typename T>
void launchLartv(int n, T* x, int incx, T* y, int incy, const ToRealT<T>* c, const T* s, int incc,
                 cudaStream_t stream = 0);

}  // namespace zuli
