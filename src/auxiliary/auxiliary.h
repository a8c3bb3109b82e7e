// auxiliary.h - the argument checks of the exported utility routines, and the device bodies that
// other routines call nested (the routines and their entry points are in auxiliary.cpp).
//
// Every check function raises the argument error of the first bad argument (info = -position,
// counted without the precision letter), upper-cases its letters in place, and returns false
// when the problem is empty and the routine must return at once without touching anything.
#pragma once

#include "runtime/complex.h"
#include "runtime/context.h"

namespace zuli {

bool lacpyArguments(char& uplo, int m, int n, const void* a, int lda, const void* b, int ldb);
bool lasetArguments(char& uplo, int m, int n, const void* a, int lda);
bool lasclArguments(char& type, int kl, int ku, double cfrom, double cto, int m, int n,
                    const void* a, int lda);
bool nancheckArguments(int m, int n, const void* a, int lda);
bool transposeArguments(int m, int n, const void* a, int lda, const void* b, int ldb);
bool transposeInplaceArguments(int n, const void* a, int lda);
bool conjugateArguments(int m, int n, const void* a, int lda);
bool trConjugateArguments(char& uplo, char& diag, int m, int n, const void* a, int lda);
// Conversions: the destination is checked (and numbered 3, 4) before the source (5, 6).
bool lag2Arguments(int m, int n, const void* source, int ldSource, const void* destination,
                   int ldDestination);
bool lat2Arguments(char& uplo, int n, const void* source, int ldSource, const void* destination,
                   int ldDestination);

// The rows of the array that lascl's storage type reads: m for 'G', 'L', 'U', 'H'; kl + 1 for
// 'B'; ku + 1 for 'Q'; 2 kl + ku + 1 for 'Z' (type upper-case).
int lasclStorageRows(char type, int kl, int ku, int m);

// The device-interface bodies (device pointers) that other routines run nested; the context is
// that of the calling routine. Their kernels run on the legacy default stream.
template <typename T>
void lacpy(const CallContext& ctx, char uplo, int m, int n, const T* a, int lda, T* b, int ldb);
// B = A in the other precision; a narrowing conversion that meets a value beyond the target's
// range raises zuliDataError with info 1 (B is left as converted).
template <typename From, typename To>
void lag2(const CallContext& ctx, int m, int n, const From* a, int lda, To* b, int ldb);
template <typename From, typename To>
void lat2(const CallContext& ctx, char uplo, int n, const From* a, int lda, To* b, int ldb);

// ---- Householder and rotation routines (householder.cpp) -----------------------------------

bool larfgArguments(int n, const void* alpha, const void* x, int incx, const void* tau);
// Returns whether there is a rotation to apply (pivot 'V', and m resp. n above 1).
bool lasrArguments(char& side, char& pivot, char& direct, int m, int n, const void* c,
                   const void* s, const void* a, int lda);
bool lar2vArguments(int n, const void* x, const void* y, const void* z, int incx, const void* c,
                    const void* s, int incc);
bool largvArguments(int n, const void* x, int incx, const void* y, int incy, const void* c,
                    int incc);
bool lartvArguments(int n, const void* x, int incx, const void* y, int incy, const void* c,
                    const void* s, int incc);

// The rows of V that larfb reads (m for storev 'C' with side 'L', n for 'C' with 'R', k for 'R';
// at least 1), which ldv must reach.
int larfbRowsOfV(char side, char storev, int m, int n, int k);
bool larfbArguments(char& side, char& trans, char& direct, char& storev, int m, int n, int k,
                    const void* v, int ldv, const void* t, int ldt, const void* c, int ldc);

// C = op(H) C or C op(H) for the block reflector H of k reflectors stored in V (read in place as
// unit triangular or trapezoidal) with triangular factor T; letters as LAPACK's larfb ("T" and
// "C" both mean the conjugate transpose).
template <typename T>
void larfb(const CallContext& ctx, char side, char trans, char direct, char storev, int m, int n,
           int k, const T* v, int ldv, const T* t, int ldt, T* c, int ldc);

// The device routines of the reflector and rotation kernels, arguments checked as the exported
// ones check them; each launches its kernel on the legacy default stream. Code that keeps its
// rotations on the device and runs on a stream of its own calls the launchers of
// kernels/householder.h directly (launchLasr and kin take device c and s arrays and a stream).
template <typename T>
void larfg(const CallContext& ctx, int n, T* alpha, T* x, int incx, T* tau);
template <typename T>
void lasr(const CallContext& ctx, char side, char pivot, char direct, int m, int n,
          const ToRealT<T>* c, const ToRealT<T>* s, T* a, int lda);
template <typename T>
void lar2v(const CallContext& ctx, int n, T* x, T* y, T* z, int incx, const ToRealT<T>* c,
           const T* s, int incc);
template <typename T>
void largv(const CallContext& ctx, int n, T* x, int incx, T* y, int incy, ToRealT<T>* c, int incc);
template <typename T>
void lartv(const CallContext& ctx, int n, T* x, int incx, T* y, int incy, const ToRealT<T>* c,
           const T* s, int incc);

}  // namespace zuli
