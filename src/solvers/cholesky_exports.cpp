// cholesky_exports.cpp - the exported Cholesky routines, host and device interface, one row per
// routine stamped out for the four precisions (the bodies are in cholesky.cpp).
//
// A host routine checks its arguments with the device body's own check function, mirrors its
// arrays (the matrix in and out, or in only for potrs; right-hand sides in and out), runs the
// device body nested and returns its status and info. A data error (a minor that is not positive
// definite) still copies the matrix back as the device routine left it; any other failure leaves
// the caller's arrays untouched.
#include "solvers/solver_exports.h"

// potrf and potri: (uplo, n, a, lda), the matrix updated in place.
#define ZULI_UPLO_MATRIX_ENTRIES(L, T, name)                                                     \
    extern "C" ZULI_API zuliStatus zuli##L##name(char uplo, int n, ZULI_P(T) * a, int lda) {     \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                  \
            if (!zuli::name##Arguments(uplo, n, a, lda)) return {};                              \
            HostArrayMirror<T> A(ctx, n, n, ZULI_IN(T, a), lda, MirrorIn | MirrorOut);           \
            const CallResult r = zuli::runDeviceRoutine<T>(                                      \
                [&](const CallContext& c) { zuli::name<T>(c, uplo, n, A.device(), A.ld()); });   \
            return zuli::finishHostCall(r, A);                                                   \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##L##name(char uplo, int n, ZULI_P(T) * a,          \
                                                       int lda) {                                \
        return zuli::deviceRoutine<T>(                                                           \
            [&](const CallContext& ctx) { zuli::name<T>(ctx, uplo, n, ZULI_IN(T, a), lda); });   \
    }
#define ZULI_POTRF_ENTRIES(L, T) ZULI_UPLO_MATRIX_ENTRIES(L, T, potrf)
ZULI_FOR_EACH_PRECISION(ZULI_POTRF_ENTRIES)

#define ZULI_POTRS_ENTRIES(L, T)                                                                 \
    extern "C" ZULI_API zuliStatus zuli##L##potrs(char uplo, int n, int nrhs,                    \
                                                  const ZULI_P(T) * a, int lda, ZULI_P(T) * b,   \
                                                  int ldb) {                                     \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                  \
            if (!zuli::potrsArguments(uplo, n, nrhs, a, lda, b, ldb)) return {};                 \
            HostArrayMirror<T> A(ctx, n, n, ZULI_IN(T, a), lda, MirrorIn);                       \
            HostArrayMirror<T> B(ctx, n, nrhs, ZULI_IN(T, b), ldb, MirrorIn | MirrorOut);        \
            const CallResult r = zuli::runDeviceRoutine<T>([&](const CallContext& c) {           \
                zuli::potrs<T>(c, uplo, n, nrhs, A.device(), A.ld(), B.device(), B.ld());        \
            });                                                                                  \
            return zuli::finishHostCall(r, B);                                                   \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##L##potrs(char uplo, int n, int nrhs,              \
                                                        const ZULI_P(T) * a, int lda,            \
                                                        ZULI_P(T) * b, int ldb) {                \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                              \
            zuli::potrs<T>(ctx, uplo, n, nrhs, ZULI_IN(T, a), lda, ZULI_IN(T, b), ldb);          \
        });                                                                                      \
    }
ZULI_FOR_EACH_PRECISION(ZULI_POTRS_ENTRIES)

#define ZULI_POSV_ENTRIES(L, T)                                                                  \
    extern "C" ZULI_API zuliStatus zuli##L##posv(char uplo, int n, int nrhs, ZULI_P(T) * a,      \
                                                 int lda, ZULI_P(T) * b, int ldb) {              \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                  \
            if (!zuli::posvArguments(uplo, n, nrhs, a, lda, b, ldb)) return {};                  \
            HostArrayMirror<T> A(ctx, n, n, ZULI_IN(T, a), lda, MirrorIn | MirrorOut);           \
            HostArrayMirror<T> B(ctx, n, nrhs, ZULI_IN(T, b), ldb, MirrorIn | MirrorOut);        \
            /* Without right-hand sides B has no device copy: posv is then potrf alone. */       \
            const CallResult r = zuli::runDeviceRoutine<T>([&](const CallContext& c) {           \
                if (nrhs == 0) return zuli::potrf<T>(c, uplo, n, A.device(), A.ld());            \
                zuli::posv<T>(c, uplo, n, nrhs, A.device(), A.ld(), B.device(), B.ld());         \
            });                                                                                  \
            return zuli::finishHostCall(r, A, B);                                                \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##L##posv(char uplo, int n, int nrhs,               \
                                                       ZULI_P(T) * a, int lda, ZULI_P(T) * b,    \
                                                       int ldb) {                                \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                              \
            zuli::posv<T>(ctx, uplo, n, nrhs, ZULI_IN(T, a), lda, ZULI_IN(T, b), ldb);           \
        });                                                                                      \
    }
ZULI_FOR_EACH_PRECISION(ZULI_POSV_ENTRIES)

#define ZULI_POTRI_ENTRIES(L, T) ZULI_UPLO_MATRIX_ENTRIES(L, T, potri)
ZULI_FOR_EACH_PRECISION(ZULI_POTRI_ENTRIES)
