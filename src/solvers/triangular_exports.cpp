// triangular_exports.cpp - the exported triangular routines trtrs and trtri, host and device
// interface, stamped out for the four precisions (the bodies are in triangular.cpp).
//
// The host routines mirror a as an input (trtrs) or both ways (trtri) and b both ways. A zero on
// the diagonal is found before anything is computed, so the arrays copied back after that data
// error hold what the caller passed; any other failure leaves them untouched.
#include "solvers/host_adapter.h"
#include "solvers/solvers.h"
#include "solvers/triangular.h"

#include "zuli_lapack.h"

using zuli::CallContext;
using zuli::CallResult;

#define ZULI_P(T) zuli::PublicType<T>
#define ZULI_IN(T, p) zuli::fromPublic<T>(p)

#define ZULI_TRTRS_ENTRIES(L, T)                                                                 \
    extern "C" ZULI_API zuliStatus zuli##L##trtrs(char uplo, char trans, char diag, int n,       \
                                                  int nrhs, const ZULI_P(T) * a, int lda,        \
                                                  ZULI_P(T) * b, int ldb) {                      \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                  \
            if (!zuli::trtrsArguments(uplo, trans, diag, n, nrhs, a, lda, b, ldb)) return {};    \
            zuli::HostArrayMirror<T> A(ctx, n, n, ZULI_IN(T, a), lda, zuli::MirrorIn);           \
            zuli::HostArrayMirror<T> B(ctx, n, nrhs, ZULI_IN(T, b), ldb,                         \
                                       zuli::MirrorIn | zuli::MirrorOut);                        \
            /* Without right-hand sides B has no device copy: only the diagonal is tested. */    \
            const CallResult r = zuli::runDeviceRoutine<T>([&](const CallContext& c) {           \
                if (nrhs > 0)                                                                    \
                    return zuli::trtrs<T>(c, uplo, trans, diag, n, nrhs, A.device(), A.ld(),     \
                                          B.device(), B.ld());                                   \
                if (diag == 'N') zuli::requireNonzeroDiagonal(n, A.device(), A.ld());            \
            });                                                                                  \
            return zuli::finishHostCall(r, B);                                                   \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##L##trtrs(char uplo, char trans, char diag, int n, \
                                                        int nrhs, const ZULI_P(T) * a, int lda,  \
                                                        ZULI_P(T) * b, int ldb) {                \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                              \
            zuli::trtrs<T>(ctx, uplo, trans, diag, n, nrhs, ZULI_IN(T, a), lda, ZULI_IN(T, b),   \
                           ldb);                                                                 \
        });                                                                                      \
    }
ZULI_FOR_EACH_PRECISION(ZULI_TRTRS_ENTRIES)

#define ZULI_TRTRI_ENTRIES(L, T)                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##trtri(char uplo, char diag, int n, ZULI_P(T) * a, \
                                                  int lda) {                                  \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {               \
            if (!zuli::trtriArguments(uplo, diag, n, a, lda)) return {};                      \
            zuli::HostArrayMirror<T> A(ctx, n, n, ZULI_IN(T, a), lda,                         \
                                       zuli::MirrorIn | zuli::MirrorOut);                     \
            const CallResult r = zuli::runDeviceRoutine<T>([&](const CallContext& c) {        \
                zuli::trtri<T>(c, uplo, diag, n, A.device(), A.ld());                         \
            });                                                                               \
            return zuli::finishHostCall(r, A);                                                \
        });                                                                                   \
    }                                                                                         \
    extern "C" ZULI_API zuliStatus zuliDevice##L##trtri(char uplo, char diag, int n,          \
                                                        ZULI_P(T) * a, int lda) {             \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                           \
            zuli::trtri<T>(ctx, uplo, diag, n, ZULI_IN(T, a), lda);                           \
        });                                                                                   \
    }
ZULI_FOR_EACH_PRECISION(ZULI_TRTRI_ENTRIES)
