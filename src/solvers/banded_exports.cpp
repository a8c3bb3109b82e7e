// banded_exports.cpp - the exported band factorizations gbtrf and pbtrf, host and device
// interface, one row per routine stamped out for the four precisions (the bodies are in
// banded.cpp).
//
// A host routine mirrors only the rows of band storage the routine uses (gbtrf: 2 kl + ku + 1,
// pbtrf: kd + 1; rows beyond them in a larger ldab are left alone, as LAPACK leaves them), the
// pivots before the band on the way back. A data error still copies the results back.
#include "solvers/solver_exports.h"

#include <algorithm>

#define ZULI_GBTRF_ENTRIES(L, T)                                                                \
    extern "C" ZULI_API zuliStatus zuli##L##gbtrf(int m, int n, int kl, int ku, ZULI_P(T) * ab, \
                                                  int ldab, int* ipiv) {                        \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                 \
            if (!zuli::gbtrfArguments(m, n, kl, ku, ab, ldab, ipiv)) return {};                 \
            const int mn = std::min(m, n);                                                      \
            HostArrayMirror<T> AB(ctx, 2 * kl + ku + 1, n, ZULI_IN(T, ab), ldab,                \
                                  MirrorIn | MirrorOut);                                        \
            HostArrayMirror<int, T> P(ctx, mn, 1, ipiv, mn, MirrorOut);                         \
            const CallResult r = zuli::runDeviceRoutine<T>([&](const CallContext& c) {          \
                zuli::gbtrf<T>(c, m, n, kl, ku, AB.device(), AB.ld(), P.device());              \
            });                                                                                 \
            return zuli::finishHostCall(r, P, AB);                                              \
        });                                                                                     \
    }                                                                                           \
    extern "C" ZULI_API zuliStatus zuliDevice##L##gbtrf(int m, int n, int kl, int ku,           \
                                                        ZULI_P(T) * ab, int ldab, int* ipiv) {  \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                             \
            zuli::gbtrf<T>(ctx, m, n, kl, ku, ZULI_IN(T, ab), ldab, ipiv);                      \
        });                                                                                     \
    }
ZULI_FOR_EACH_PRECISION(ZULI_GBTRF_ENTRIES)

#define ZULI_PBTRF_ENTRIES(L, T)                                                                  \
    extern "C" ZULI_API zuliStatus zuli##L##pbtrf(char uplo, int n, int kd, ZULI_P(T) * ab,       \
                                                  int ldab) {                                     \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                   \
            if (!zuli::pbtrfArguments(uplo, n, kd, ab, ldab)) return {};                          \
            HostArrayMirror<T> AB(ctx, kd + 1, n, ZULI_IN(T, ab), ldab, MirrorIn | MirrorOut);    \
            const CallResult r = zuli::runDeviceRoutine<T>([&](const CallContext& c) {            \
                zuli::pbtrf<T>(c, uplo, n, kd, AB.device(), AB.ld());                             \
            });                                                                                   \
            return zuli::finishHostCall(r, AB);                                                   \
        });                                                                                       \
    }                                                                                             \
    extern "C" ZULI_API zuliStatus zuliDevice##L##pbtrf(char uplo, int n, int kd, ZULI_P(T) * ab, \
                                                        int ldab) {                               \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                               \
            zuli::pbtrf<T>(ctx, uplo, n, kd, ZULI_IN(T, ab), ldab);                               \
        });                                                                                       \
    }
ZULI_FOR_EACH_PRECISION(ZULI_PBTRF_ENTRIES)
