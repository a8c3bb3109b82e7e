// lu_exports.cpp - the exported LU routines, host and device interface, one row per routine
// stamped out for the four precisions (the bodies are in lu.cpp).
//
// A host routine checks its arguments with the device body's own check function, mirrors its
// arrays (inputs copied in, outputs copied out, pivots before the matrix), runs the device body
// nested and returns its status and info. A data error (a zero pivot) still copies the results
// back, as LAPACK leaves them; any other failure leaves the caller's arrays untouched.
#include "solvers/solver_exports.h"

#include <algorithm>

#define ZULI_GETRF_ENTRIES(L, T)                                                                 \
    extern "C" ZULI_API zuliStatus zuli##L##getrf(int m, int n, ZULI_P(T) * a, int lda,          \
                                                  int* ipiv) {                                   \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                  \
            if (!zuli::getrfArguments(m, n, a, lda, ipiv)) return {};                            \
            const int mn = std::min(m, n);                                                       \
            HostArrayMirror<T> A(ctx, m, n, ZULI_IN(T, a), lda, MirrorIn | MirrorOut);           \
            HostArrayMirror<int, T> P(ctx, mn, 1, ipiv, mn, MirrorOut);                          \
            const CallResult r = zuli::runDeviceRoutine<T>([&](const CallContext& c) {           \
                zuli::getrf<T>(c, m, n, A.device(), A.ld(), P.device());                         \
            });                                                                                  \
            return zuli::finishHostCall(r, P, A);                                                \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##L##getrf(int m, int n, ZULI_P(T) * a, int lda,    \
                                                        int* ipiv) {                             \
        return zuli::deviceRoutine<T>(                                                           \
            [&](const CallContext& ctx) { zuli::getrf<T>(ctx, m, n, ZULI_IN(T, a), lda, ipiv); }); \
    }
ZULI_FOR_EACH_PRECISION(ZULI_GETRF_ENTRIES)

#define ZULI_GETRS_ENTRIES(L, T)                                                                 \
    extern "C" ZULI_API zuliStatus zuli##L##getrs(char trans, int n, int nrhs,                   \
                                                  const ZULI_P(T) * a, int lda, const int* ipiv, \
                                                  ZULI_P(T) * b, int ldb) {                      \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                  \
            if (!zuli::getrsArguments(trans, n, nrhs, a, lda, ipiv, b, ldb)) return {};          \
            HostArrayMirror<T> A(ctx, n, n, ZULI_IN(T, a), lda, MirrorIn);                       \
            HostArrayMirror<int, T> P(ctx, n, 1, ipiv, n, MirrorIn);                             \
            HostArrayMirror<T> B(ctx, n, nrhs, ZULI_IN(T, b), ldb, MirrorIn | MirrorOut);        \
            const CallResult r = zuli::runDeviceRoutine<T>([&](const CallContext& c) {           \
                zuli::getrs<T>(c, trans, n, nrhs, A.device(), A.ld(), P.device(), B.device(),    \
                               B.ld());                                                          \
            });                                                                                  \
            return zuli::finishHostCall(r, B);                                                   \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##L##getrs(char trans, int n, int nrhs,             \
                                                        const ZULI_P(T) * a, int lda,            \
                                                        const int* ipiv, ZULI_P(T) * b,          \
                                                        int ldb) {                               \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                              \
            zuli::getrs<T>(ctx, trans, n, nrhs, ZULI_IN(T, a), lda, ipiv, ZULI_IN(T, b), ldb);   \
        });                                                                                      \
    }
ZULI_FOR_EACH_PRECISION(ZULI_GETRS_ENTRIES)

#define ZULI_GESV_ENTRIES(L, T)                                                                  \
    extern "C" ZULI_API zuliStatus zuli##L##gesv(int n, int nrhs, ZULI_P(T) * a, int lda,        \
                                                 int* ipiv, ZULI_P(T) * b, int ldb) {            \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                  \
            if (!zuli::gesvArguments(n, nrhs, a, lda, ipiv, b, ldb)) return {};                  \
            HostArrayMirror<T> A(ctx, n, n, ZULI_IN(T, a), lda, MirrorIn | MirrorOut);           \
            HostArrayMirror<int, T> P(ctx, n, 1, ipiv, n, MirrorOut);                            \
            HostArrayMirror<T> B(ctx, n, nrhs, ZULI_IN(T, b), ldb, MirrorIn | MirrorOut);        \
            /* Without right-hand sides B has no device copy: gesv is then getrf alone. */       \
            const CallResult r = zuli::runDeviceRoutine<T>([&](const CallContext& c) {           \
                if (nrhs == 0) return zuli::getrf<T>(c, n, n, A.device(), A.ld(), P.device());   \
                zuli::gesv<T>(c, n, nrhs, A.device(), A.ld(), P.device(), B.device(), B.ld());   \
            });                                                                                  \
            return zuli::finishHostCall(r, P, A, B);                                             \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##L##gesv(int n, int nrhs, ZULI_P(T) * a, int lda,  \
                                                       int* ipiv, ZULI_P(T) * b, int ldb) {      \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                              \
            zuli::gesv<T>(ctx, n, nrhs, ZULI_IN(T, a), lda, ipiv, ZULI_IN(T, b), ldb);           \
        });                                                                                      \
    }
ZULI_FOR_EACH_PRECISION(ZULI_GESV_ENTRIES)

#define ZULI_GETRI_ENTRIES(L, T)                                                                 \
    extern "C" ZULI_API zuliStatus zuli##L##getri(int n, ZULI_P(T) * a, int lda,                 \
                                                  const int* ipiv) {                             \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                  \
            if (!zuli::getriArguments(n, a, lda, ipiv)) return {};                               \
            HostArrayMirror<T> A(ctx, n, n, ZULI_IN(T, a), lda, MirrorIn | MirrorOut);           \
            HostArrayMirror<int, T> P(ctx, n, 1, ipiv, n, MirrorIn);                             \
            const CallResult r = zuli::runDeviceRoutine<T>([&](const CallContext& c) {           \
                zuli::getri<T>(c, n, A.device(), A.ld(), P.device());                            \
            });                                                                                  \
            return zuli::finishHostCall(r, A);                                                   \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##L##getri(int n, ZULI_P(T) * a, int lda,           \
                                                        const int* ipiv) {                       \
        return zuli::deviceRoutine<T>(                                                           \
            [&](const CallContext& ctx) { zuli::getri<T>(ctx, n, ZULI_IN(T, a), lda, ipiv); });  \
    }
ZULI_FOR_EACH_PRECISION(ZULI_GETRI_ENTRIES)
