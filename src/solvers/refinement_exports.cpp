// refinement_exports.cpp - the exported mixed-precision solvers dsgesv, zcgesv, dsposv and
// zcposv, host and device interface (the bodies are in refinement.cpp). iter is a host pointer in
// both interfaces and is passed through as it is.
//
// A host routine mirrors a in and out, b in, and ipiv and x in and out: the device routine may
// end (a value beyond single precision) before it writes them, and the caller then gets back what
// was there rather than uninitialised device memory. A data error still copies the results back,
// as the device routine left them; any other failure leaves the caller's arrays untouched.
#include "solvers/solver_exports.h"

#define ZULI_MIXED_GESV_ENTRIES(NAME, D)                                                         \
    extern "C" ZULI_API zuliStatus zuli##NAME(int n, int nrhs, ZULI_P(D) * a, int lda,           \
                                              int* ipiv, const ZULI_P(D) * b, int ldb,           \
                                              ZULI_P(D) * x, int ldx, int* iter) {               \
        return zuli::hostRoutine<D>([&](const CallContext& ctx) -> CallResult {                  \
            if (!zuli::mixedGesvArguments(n, nrhs, a, lda, ipiv, b, ldb, x, ldx, iter))          \
                return {};                                                                       \
            HostArrayMirror<D> A(ctx, n, n, ZULI_IN(D, a), lda, MirrorIn | MirrorOut);           \
            HostArrayMirror<int, D> P(ctx, n, 1, ipiv, n, MirrorIn | MirrorOut);                 \
            HostArrayMirror<D> B(ctx, n, nrhs, ZULI_IN(D, b), ldb, MirrorIn);                    \
            HostArrayMirror<D> X(ctx, n, nrhs, ZULI_IN(D, x), ldx, MirrorIn | MirrorOut);        \
            const CallResult r = zuli::runDeviceRoutine<D>([&](const CallContext& c) {           \
                zuli::mixedGesv<D>(c, n, nrhs, A.device(), A.ld(), P.device(), B.device(),       \
                                   B.ld(), X.device(), X.ld(), iter);                            \
            });                                                                                  \
            return zuli::finishHostCall(r, P, A, X);                                             \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##NAME(int n, int nrhs, ZULI_P(D) * a, int lda,     \
                                                    int* ipiv, const ZULI_P(D) * b, int ldb,     \
                                                    ZULI_P(D) * x, int ldx, int* iter) {         \
        return zuli::deviceRoutine<D>([&](const CallContext& ctx) {                              \
            zuli::mixedGesv<D>(ctx, n, nrhs, ZULI_IN(D, a), lda, ipiv, ZULI_IN(D, b), ldb,       \
                               ZULI_IN(D, x), ldx, iter);                                        \
        });                                                                                      \
    }
ZULI_MIXED_GESV_ENTRIES(Dsgesv, double)
ZULI_MIXED_GESV_ENTRIES(Zcgesv, zuli::Complex<double>)

#define ZULI_MIXED_POSV_ENTRIES(NAME, D)                                                         \
    extern "C" ZULI_API zuliStatus zuli##NAME(char uplo, int n, int nrhs, ZULI_P(D) * a,         \
                                              int lda, const ZULI_P(D) * b, int ldb,             \
                                              ZULI_P(D) * x, int ldx, int* iter) {               \
        return zuli::hostRoutine<D>([&](const CallContext& ctx) -> CallResult {                  \
            if (!zuli::mixedPosvArguments(uplo, n, nrhs, a, lda, b, ldb, x, ldx, iter))          \
                return {};                                                                       \
            HostArrayMirror<D> A(ctx, n, n, ZULI_IN(D, a), lda, MirrorIn | MirrorOut);           \
            HostArrayMirror<D> B(ctx, n, nrhs, ZULI_IN(D, b), ldb, MirrorIn);                    \
            HostArrayMirror<D> X(ctx, n, nrhs, ZULI_IN(D, x), ldx, MirrorIn | MirrorOut);        \
            const CallResult r = zuli::runDeviceRoutine<D>([&](const CallContext& c) {           \
                zuli::mixedPosv<D>(c, uplo, n, nrhs, A.device(), A.ld(), B.device(), B.ld(),     \
                                   X.device(), X.ld(), iter);                                    \
            });                                                                                  \
            return zuli::finishHostCall(r, A, X);                                                \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##NAME(char uplo, int n, int nrhs, ZULI_P(D) * a,   \
                                                    int lda, const ZULI_P(D) * b, int ldb,       \
                                                    ZULI_P(D) * x, int ldx, int* iter) {         \
        return zuli::deviceRoutine<D>([&](const CallContext& ctx) {                              \
            zuli::mixedPosv<D>(ctx, uplo, n, nrhs, ZULI_IN(D, a), lda, ZULI_IN(D, b), ldb,       \
                               ZULI_IN(D, x), ldx, iter);                                        \
        });                                                                                      \
    }
ZULI_MIXED_POSV_ENTRIES(Dsposv, double)
ZULI_MIXED_POSV_ENTRIES(Zcposv, zuli::Complex<double>)
