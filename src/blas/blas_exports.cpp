// blas_exports.cpp - the exported level-2 and level-3 BLAS routines, host and device interface,
// one row per routine stamped out for its precisions (the bodies are in blas_routines.h).
#include "blas/blas_routines.h"

#include "zuli_lapack.h"

namespace {

using zuli::CallContext;
using zuli::CallResult;
using zuli::fromPublic;
using zuli::PublicType;
using zuli::blas::Real;
using zuli::blas::scalarOf;

}  // namespace

#define ZULI_P(T) zuli::PublicType<T>
#define ZULI_IN(T, p) fromPublic<T>(p)

// ---- gemm ---------------------------------------------------------------------------------------

#define ZULI_GEMM_ENTRIES(L, T)                                                                    \
    extern "C" ZULI_API zuliStatus zuli##L##gemm(                                                  \
        char transa, char transb, int m, int n, int k, ZULI_P(T) alpha, const ZULI_P(T) * a,       \
        int lda, const ZULI_P(T) * b, int ldb, ZULI_P(T) beta, ZULI_P(T) * c, int ldc) {           \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                    \
            return zuli::blas::hostGemm<T>(ctx, transa, transb, m, n, k, scalarOf(alpha),          \
                                           ZULI_IN(T, a), lda, ZULI_IN(T, b), ldb, scalarOf(beta), \
                                           ZULI_IN(T, c), ldc);                                    \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##gemm(                                            \
        char transa, char transb, int m, int n, int k, ZULI_P(T) alpha, const ZULI_P(T) * a,       \
        int lda, const ZULI_P(T) * b, int ldb, ZULI_P(T) beta, ZULI_P(T) * c, int ldc) {           \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                                \
            zuli::blas::deviceGemm<T>(ctx, transa, transb, m, n, k, scalarOf(alpha),               \
                                      ZULI_IN(T, a), lda, ZULI_IN(T, b), ldb, scalarOf(beta),      \
                                      ZULI_IN(T, c), ldc);                                         \
        });                                                                                        \
    }
ZULI_FOR_EACH_PRECISION(ZULI_GEMM_ENTRIES)

// ---- symm, hemm ---------------------------------------------------------------------------------

#define ZULI_SYMM_ENTRIES_AS(L, T, NAME, HERMITIAN)                                           \
    extern "C" ZULI_API zuliStatus zuli##L##NAME(                                             \
        char side, char uplo, int m, int n, ZULI_P(T) alpha, const ZULI_P(T) * a, int lda,    \
        const ZULI_P(T) * b, int ldb, ZULI_P(T) beta, ZULI_P(T) * c, int ldc) {               \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {               \
            return zuli::blas::hostSymm<T, HERMITIAN>(ctx, side, uplo, m, n, scalarOf(alpha), \
                                                      ZULI_IN(T, a), lda, ZULI_IN(T, b), ldb, \
                                                      scalarOf(beta), ZULI_IN(T, c), ldc);    \
        });                                                                                   \
    }                                                                                         \
    extern "C" ZULI_API zuliStatus zuliDevice##L##NAME(                                       \
        char side, char uplo, int m, int n, ZULI_P(T) alpha, const ZULI_P(T) * a, int lda,    \
        const ZULI_P(T) * b, int ldb, ZULI_P(T) beta, ZULI_P(T) * c, int ldc) {               \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                           \
            zuli::blas::deviceSymm<T, HERMITIAN>(ctx, side, uplo, m, n, scalarOf(alpha),      \
                                                 ZULI_IN(T, a), lda, ZULI_IN(T, b), ldb,      \
                                                 scalarOf(beta), ZULI_IN(T, c), ldc);         \
        });                                                                                   \
    }
#define ZULI_SYMM_ENTRIES(L, T) ZULI_SYMM_ENTRIES_AS(L, T, symm, false)
#define ZULI_HEMM_ENTRIES(L, T) ZULI_SYMM_ENTRIES_AS(L, T, hemm, true)
ZULI_FOR_EACH_PRECISION(ZULI_SYMM_ENTRIES)
ZULI_FOR_EACH_COMPLEX_PRECISION(ZULI_HEMM_ENTRIES)

// ---- syrk, herk ---------------------------------------------------------------------------------

// S is the scalar type of alpha and beta: T for syrk, its real type for herk.
#define ZULI_RANKK_ENTRIES_AS(L, T, S, NAME, HERMITIAN, DEVICE_BODY)                               \
    extern "C" ZULI_API zuliStatus zuli##L##NAME(char uplo, char trans, int n, int k,              \
                                                 ZULI_P(S) alpha, const ZULI_P(T) * a, int lda,    \
                                                 ZULI_P(S) beta, ZULI_P(T) * c, int ldc) {         \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                    \
            return zuli::blas::hostRankK<T, HERMITIAN, S>(ctx, uplo, trans, n, k, scalarOf(alpha), \
                                                          ZULI_IN(T, a), lda, scalarOf(beta),      \
                                                          ZULI_IN(T, c), ldc);                     \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##NAME(                                            \
        char uplo, char trans, int n, int k, ZULI_P(S) alpha, const ZULI_P(T) * a, int lda,        \
        ZULI_P(S) beta, ZULI_P(T) * c, int ldc) {                                                  \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                                \
            zuli::blas::DEVICE_BODY<T>(ctx, uplo, trans, n, k, scalarOf(alpha), ZULI_IN(T, a),     \
                                       lda, scalarOf(beta), ZULI_IN(T, c), ldc);                   \
        });                                                                                        \
    }
#define ZULI_SYRK_ENTRIES(L, T) ZULI_RANKK_ENTRIES_AS(L, T, T, syrk, false, deviceSyrk)
#define ZULI_HERK_ENTRIES(L, T) ZULI_RANKK_ENTRIES_AS(L, T, Real<T>, herk, true, deviceHerk)
ZULI_FOR_EACH_PRECISION(ZULI_SYRK_ENTRIES)
ZULI_FOR_EACH_COMPLEX_PRECISION(ZULI_HERK_ENTRIES)

// ---- syr2k, her2k -------------------------------------------------------------------------------

// S is the scalar type of beta: T for syr2k, its real type for her2k.
#define ZULI_RANK2K_ENTRIES_AS(L, T, S, NAME, HERMITIAN, DEVICE_BODY)                            \
    extern "C" ZULI_API zuliStatus zuli##L##NAME(                                                \
        char uplo, char trans, int n, int k, ZULI_P(T) alpha, const ZULI_P(T) * a, int lda,      \
        const ZULI_P(T) * b, int ldb, ZULI_P(S) beta, ZULI_P(T) * c, int ldc) {                  \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                  \
            return zuli::blas::hostRank2K<T, HERMITIAN, S>(                                      \
                ctx, uplo, trans, n, k, scalarOf(alpha), ZULI_IN(T, a), lda, ZULI_IN(T, b), ldb, \
                scalarOf(beta), ZULI_IN(T, c), ldc);                                             \
        });                                                                                      \
    }                                                                                            \
    extern "C" ZULI_API zuliStatus zuliDevice##L##NAME(                                          \
        char uplo, char trans, int n, int k, ZULI_P(T) alpha, const ZULI_P(T) * a, int lda,      \
        const ZULI_P(T) * b, int ldb, ZULI_P(S) beta, ZULI_P(T) * c, int ldc) {                  \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                              \
            zuli::blas::DEVICE_BODY<T>(ctx, uplo, trans, n, k, scalarOf(alpha), ZULI_IN(T, a),   \
                                       lda, ZULI_IN(T, b), ldb, scalarOf(beta), ZULI_IN(T, c),   \
                                       ldc);                                                     \
        });                                                                                      \
    }
#define ZULI_SYR2K_ENTRIES(L, T) ZULI_RANK2K_ENTRIES_AS(L, T, T, syr2k, false, deviceSyr2k)
#define ZULI_HER2K_ENTRIES(L, T) ZULI_RANK2K_ENTRIES_AS(L, T, Real<T>, her2k, true, deviceHer2k)
ZULI_FOR_EACH_PRECISION(ZULI_SYR2K_ENTRIES)
ZULI_FOR_EACH_COMPLEX_PRECISION(ZULI_HER2K_ENTRIES)

// ---- trsm, trmm ---------------------------------------------------------------------------------

#define ZULI_TRIANGULAR_ENTRIES_AS(L, T, NAME, SOLVE, DEVICE_BODY)                           \
    extern "C" ZULI_API zuliStatus zuli##L##NAME(                                            \
        char side, char uplo, char transa, char diag, int m, int n, ZULI_P(T) alpha,         \
        const ZULI_P(T) * a, int lda, ZULI_P(T) * b, int ldb) {                              \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {              \
            return zuli::blas::hostTriangular<T, SOLVE>(ctx, side, uplo, transa, diag, m, n, \
                                                        scalarOf(alpha), ZULI_IN(T, a), lda, \
                                                        ZULI_IN(T, b), ldb);                 \
        });                                                                                  \
    }                                                                                        \
    extern "C" ZULI_API zuliStatus zuliDevice##L##NAME(                                      \
        char side, char uplo, char transa, char diag, int m, int n, ZULI_P(T) alpha,         \
        const ZULI_P(T) * a, int lda, ZULI_P(T) * b, int ldb) {                              \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                          \
            zuli::blas::DEVICE_BODY<T>(ctx, side, uplo, transa, diag, m, n, scalarOf(alpha), \
                                       ZULI_IN(T, a), lda, ZULI_IN(T, b), ldb);              \
        });                                                                                  \
    }
#define ZULI_TRSM_ENTRIES(L, T) ZULI_TRIANGULAR_ENTRIES_AS(L, T, trsm, true, deviceTrsm)
#define ZULI_TRMM_ENTRIES(L, T) ZULI_TRIANGULAR_ENTRIES_AS(L, T, trmm, false, deviceTrmm)
ZULI_FOR_EACH_PRECISION(ZULI_TRSM_ENTRIES)
ZULI_FOR_EACH_PRECISION(ZULI_TRMM_ENTRIES)

// ---- gemv ---------------------------------------------------------------------------------------

#define ZULI_GEMV_ENTRIES(L, T)                                                                   \
    extern "C" ZULI_API zuliStatus zuli##L##gemv(                                                 \
        char trans, int m, int n, ZULI_P(T) alpha, const ZULI_P(T) * a, int lda,                  \
        const ZULI_P(T) * x, int incx, ZULI_P(T) beta, ZULI_P(T) * y, int incy) {                 \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                   \
            return zuli::blas::hostGemv<T>(ctx, trans, m, n, scalarOf(alpha), ZULI_IN(T, a), lda, \
                                           ZULI_IN(T, x), incx, scalarOf(beta), ZULI_IN(T, y),    \
                                           incy);                                                 \
        });                                                                                       \
    }                                                                                             \
    extern "C" ZULI_API zuliStatus zuliDevice##L##gemv(                                           \
        char trans, int m, int n, ZULI_P(T) alpha, const ZULI_P(T) * a, int lda,                  \
        const ZULI_P(T) * x, int incx, ZULI_P(T) beta, ZULI_P(T) * y, int incy) {                 \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                               \
            zuli::blas::deviceGemv<T>(ctx, trans, m, n, scalarOf(alpha), ZULI_IN(T, a), lda,      \
                                      ZULI_IN(T, x), incx, scalarOf(beta), ZULI_IN(T, y), incy);  \
        });                                                                                       \
    }
ZULI_FOR_EACH_PRECISION(ZULI_GEMV_ENTRIES)

// ---- symv, hemv ---------------------------------------------------------------------------------

#define ZULI_SYMV_ENTRIES_AS(L, T, NAME, HERMITIAN)                                            \
    extern "C" ZULI_API zuliStatus zuli##L##NAME(                                              \
        char uplo, int n, ZULI_P(T) alpha, const ZULI_P(T) * a, int lda, const ZULI_P(T) * x,  \
        int incx, ZULI_P(T) beta, ZULI_P(T) * y, int incy) {                                   \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) -> CallResult {                \
            return zuli::blas::hostSymv<T, HERMITIAN>(ctx, uplo, n, scalarOf(alpha),           \
                                                      ZULI_IN(T, a), lda, ZULI_IN(T, x), incx, \
                                                      scalarOf(beta), ZULI_IN(T, y), incy);    \
        });                                                                                    \
    }                                                                                          \
    extern "C" ZULI_API zuliStatus zuliDevice##L##NAME(                                        \
        char uplo, int n, ZULI_P(T) alpha, const ZULI_P(T) * a, int lda, const ZULI_P(T) * x,  \
        int incx, ZULI_P(T) beta, ZULI_P(T) * y, int incy) {                                   \
        return zuli::deviceRoutine<T>([&](const CallContext& ctx) {                            \
            zuli::blas::deviceSymv<T, HERMITIAN>(ctx, uplo, n, scalarOf(alpha), ZULI_IN(T, a), \
                                                 lda, ZULI_IN(T, x), incx, scalarOf(beta),     \
                                                 ZULI_IN(T, y), incy);                         \
        });                                                                                    \
    }
#define ZULI_SYMV_ENTRIES(L, T) ZULI_SYMV_ENTRIES_AS(L, T, symv, false)
#define ZULI_HEMV_ENTRIES(L, T) ZULI_SYMV_ENTRIES_AS(L, T, hemv, true)
ZULI_FOR_EACH_REAL_PRECISION(ZULI_SYMV_ENTRIES)
ZULI_FOR_EACH_COMPLEX_PRECISION(ZULI_HEMV_ENTRIES)
