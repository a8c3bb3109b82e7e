// blas_rows.cpp - the level-3 BLAS of the drop-in library: one row per operation (dropin.h).
//
// BLAS checks its arguments more strictly than the library's host BLAS (every leading dimension
// at least 1, the complex syrk/syr2k without 'C' and herk/her2k without 'T'), so each row runs
// BLAS's own checks first; the library then refuses only what BLAS never looks at (a null pointer),
// and such a call goes to the host BLAS. Problems below the blas3 threshold (a size of the cube
// root of the operation count's m n k) go to the host BLAS as well.
#include "dropin.h"

// OpenBLAS's prototypes of the Fortran BLAS, read as the types of pointers named <symbol>declared
// (declaring the functions themselves would clash with the entry points defined here).
#include <openblas_config.h>
#undef BLASFUNC
#define BLASFUNC(FUNC) (*FUNC##_declared)
namespace zuli::dropin::openblas {
#include <f77blas.h>
}
#undef BLASFUNC

#include <algorithm>
#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

namespace zuli::dropin {

// f77blas.h declares the BLAS without const, without the hidden lengths of the
// character arguments, and with complex arrays as arrays of their real type. An entry point is
// compatible with such a declaration when each of its parameters points to the same type (up to
// const, a complex type standing for its real type) and the rest are one size_t per character.
template <typename Theirs, typename Mine>
struct SameParameter : std::false_type {};
template <typename X, typename Y>
struct SameParameter<X*, Y*> {
    using M = std::remove_const_t<Y>;
    static constexpr bool value =
        std::is_same_v<X, M> || (std::is_same_v<M, zuliComplexFloat> && std::is_same_v<X, float>) ||
        (std::is_same_v<M, zuliComplexDouble> && std::is_same_v<X, double>);
};

template <typename Theirs, typename Mine>
struct Compatible : std::false_type {};
template <typename... T, typename... M>
struct Compatible<void (*)(T...), void (*)(M...)> {
    static constexpr bool check() {
        if constexpr (sizeof...(M) < sizeof...(T)) {
            return false;
        } else {
            return []<size_t... I>(std::index_sequence<I...>) {
                using Mine = std::tuple<M...>;
                constexpr size_t chars = ((std::is_same_v<T, char*> ? 1 : 0) + ... + 0);
                constexpr bool lengths = []<size_t... J>(std::index_sequence<J...>) {
                    return (std::is_same_v<std::tuple_element_t<sizeof...(T) + J, Mine>, size_t> &&
                            ...);
                }
                (std::make_index_sequence<sizeof...(M) - sizeof...(T)>{});
                return sizeof...(M) - sizeof...(T) == chars && lengths &&
                       (SameParameter<T, std::tuple_element_t<I, Mine>>::value && ...);
            }
            (std::index_sequence_for<T...>{});
        }
    }
    static constexpr bool value = check();
};

}  // namespace zuli::dropin

#define ZULI_DROPIN_SIGNATURE_CHECK(SYMBOL, NS)                                                    \
    static_assert(::zuli::dropin::Compatible<decltype(::zuli::dropin::openblas::SYMBOL##declared), \
                                             decltype(&NS::SYMBOL)>::value,                        \
                  #SYMBOL " has parameters other than BLAS's");

namespace zuli::dropin {

namespace {

bool oneOf(const char* c, const char* letters) {
    for (const char* l = letters; *l; ++l)
        if (same(c, *l)) return true;
    return false;
}

// The letters trans may take: N, T, C for real matrices; the complex symmetric updates take N and
// T, the Hermitian ones N and C.
constexpr const char* kAnyTrans = "NTC";

int gemmCheck(const char* ta, const char* tb, int m, int n, int k, int lda, int ldb, int ldc) {
    if (!oneOf(ta, kAnyTrans)) return 1;
    if (!oneOf(tb, kAnyTrans)) return 2;
    if (m < 0) return 3;
    if (n < 0) return 4;
    if (k < 0) return 5;
    if (lda < std::max(1, same(ta, 'N') ? m : k)) return 8;
    if (ldb < std::max(1, same(tb, 'N') ? k : n)) return 10;
    if (ldc < std::max(1, m)) return 13;
    return 0;
}

int symmCheck(const char* side, const char* uplo, int m, int n, int lda, int ldb, int ldc) {
    if (!oneOf(side, "LR")) return 1;
    if (!oneOf(uplo, "UL")) return 2;
    if (m < 0) return 3;
    if (n < 0) return 4;
    if (lda < std::max(1, same(side, 'L') ? m : n)) return 7;
    if (ldb < std::max(1, m)) return 9;
    if (ldc < std::max(1, m)) return 12;
    return 0;
}

// syrk and herk (ldb < 0: no B), syr2k and her2k.
int rankCheck(const char* uplo, const char* trans, const char* letters, int n, int k, int lda,
              int ldb, int ldc) {
    const int rows = same(trans, 'N') ? n : k;
    if (!oneOf(uplo, "UL")) return 1;
    if (!oneOf(trans, letters)) return 2;
    if (n < 0) return 3;
    if (k < 0) return 4;
    if (lda < std::max(1, rows)) return 7;
    if (ldb < 0) return ldc < std::max(1, n) ? 10 : 0;
    if (ldb < std::max(1, rows)) return 9;
    if (ldc < std::max(1, n)) return 12;
    return 0;
}

int triangularCheck(const char* side, const char* uplo, const char* trans, const char* diag, int m,
                    int n, int lda, int ldb) {
    if (!oneOf(side, "LR")) return 1;
    if (!oneOf(uplo, "UL")) return 2;
    if (!oneOf(trans, kAnyTrans)) return 3;
    if (!oneOf(diag, "UN")) return 4;
    if (m < 0) return 5;
    if (n < 0) return 6;
    if (lda < std::max(1, same(side, 'L') ? m : n)) return 9;
    if (ldb < std::max(1, m)) return 11;
    return 0;
}

// The letters of the symmetric rank updates for element type P.
template <typename P>
constexpr const char* symmetricTrans() {
    return std::is_floating_point_v<P> ? "NTC" : "NT";
}

}  // namespace

}  // namespace zuli::dropin

// sgemm_ dgemm_ cgemm_ zgemm_
ZULI_DROPIN(ALL, gemm,
            (const char* transa, const char* transb, const int* m, const int* n, const int* k,
             const P* alpha, const P* a, const int* lda, const P* b, const int* ldb, const P* beta,
             P* c, const int* ldc, size_t transaLength, size_t transbLength),
            (transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, transaLength,
             transbLength),
            gemm, (*transa, *transb, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc),
            .blas(order3(*m, *n, *k))
                .check([&] { return gemmCheck(transa, transb, *m, *n, *k, *lda, *ldb, *ldc); })
                .library(library))

// ssymm_ dsymm_ csymm_ zsymm_
ZULI_DROPIN(ALL, symm,
            (const char* side, const char* uplo, const int* m, const int* n, const P* alpha,
             const P* a, const int* lda, const P* b, const int* ldb, const P* beta, P* c,
             const int* ldc, size_t sideLength, size_t uploLength),
            (side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc, sideLength, uploLength), symm,
            (*side, *uplo, *m, *n, *alpha, a, *lda, b, *ldb, *beta, c, *ldc),
            .blas(order3(*m, *n, same(side, 'L') ? *m : *n))
                .check([&] { return symmCheck(side, uplo, *m, *n, *lda, *ldb, *ldc); })
                .library(library))

// chemm_ zhemm_
ZULI_DROPIN(COMPLEX, hemm,
            (const char* side, const char* uplo, const int* m, const int* n, const P* alpha,
             const P* a, const int* lda, const P* b, const int* ldb, const P* beta, P* c,
             const int* ldc, size_t sideLength, size_t uploLength),
            (side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc, sideLength, uploLength), hemm,
            (*side, *uplo, *m, *n, *alpha, a, *lda, b, *ldb, *beta, c, *ldc),
            .blas(order3(*m, *n, same(side, 'L') ? *m : *n))
                .check([&] { return symmCheck(side, uplo, *m, *n, *lda, *ldb, *ldc); })
                .library(library))

// ssyrk_ dsyrk_ csyrk_ zsyrk_
ZULI_DROPIN(
    ALL, syrk,
    (const char* uplo, const char* trans, const int* n, const int* k, const P* alpha, const P* a,
     const int* lda, const P* beta, P* c, const int* ldc, size_t uploLength, size_t transLength),
    (uplo, trans, n, k, alpha, a, lda, beta, c, ldc, uploLength, transLength), syrk,
    (*uplo, *trans, *n, *k, *alpha, a, *lda, *beta, c, *ldc),
    .blas(order3(*n, *n, *k))
        .check([&] { return rankCheck(uplo, trans, symmetricTrans<P>(), *n, *k, *lda, -1, *ldc); })
        .library(library))

// cherk_ zherk_
ZULI_DROPIN(COMPLEX, herk,
            (const char* uplo, const char* trans, const int* n, const int* k, const R* alpha,
             const P* a, const int* lda, const R* beta, P* c, const int* ldc, size_t uploLength,
             size_t transLength),
            (uplo, trans, n, k, alpha, a, lda, beta, c, ldc, uploLength, transLength), herk,
            (*uplo, *trans, *n, *k, *alpha, a, *lda, *beta, c, *ldc),
            .blas(order3(*n, *n, *k))
                .check([&] { return rankCheck(uplo, trans, "NC", *n, *k, *lda, -1, *ldc); })
                .library(library))

// ssyr2k_ dsyr2k_ csyr2k_ zsyr2k_
ZULI_DROPIN(ALL, syr2k,
            (const char* uplo, const char* trans, const int* n, const int* k, const P* alpha,
             const P* a, const int* lda, const P* b, const int* ldb, const P* beta, P* c,
             const int* ldc, size_t uploLength, size_t transLength),
            (uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc, uploLength, transLength),
            syr2k, (*uplo, *trans, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc),
            .blas(order3(*n, *n, *k))
                .check([&] {
                    return rankCheck(uplo, trans, symmetricTrans<P>(), *n, *k, *lda, *ldb, *ldc);
                })
                .library(library))

// cher2k_ zher2k_
ZULI_DROPIN(COMPLEX, her2k,
            (const char* uplo, const char* trans, const int* n, const int* k, const P* alpha,
             const P* a, const int* lda, const P* b, const int* ldb, const R* beta, P* c,
             const int* ldc, size_t uploLength, size_t transLength),
            (uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc, uploLength, transLength),
            her2k, (*uplo, *trans, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc),
            .blas(order3(*n, *n, *k))
                .check([&] { return rankCheck(uplo, trans, "NC", *n, *k, *lda, *ldb, *ldc); })
                .library(library))

// strmm_ dtrmm_ ctrmm_ ztrmm_
ZULI_DROPIN(ALL, trmm,
            (const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
             const int* n, const P* alpha, const P* a, const int* lda, P* b, const int* ldb,
             size_t sideLength, size_t uploLength, size_t transaLength, size_t diagLength),
            (side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, sideLength, uploLength,
             transaLength, diagLength),
            trmm, (*side, *uplo, *transa, *diag, *m, *n, *alpha, a, *lda, b, *ldb),
            .blas(order3(*m, *n, same(side, 'L') ? *m : *n))
                .check([&] {
                    return triangularCheck(side, uplo, transa, diag, *m, *n, *lda, *ldb);
                })
                .library(library))

// strsm_ dtrsm_ ctrsm_ ztrsm_
ZULI_DROPIN(ALL, trsm,
            (const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
             const int* n, const P* alpha, const P* a, const int* lda, P* b, const int* ldb,
             size_t sideLength, size_t uploLength, size_t transaLength, size_t diagLength),
            (side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, sideLength, uploLength,
             transaLength, diagLength),
            trsm, (*side, *uplo, *transa, *diag, *m, *n, *alpha, a, *lda, b, *ldb),
            .blas(order3(*m, *n, same(side, 'L') ? *m : *n))
                .check([&] {
                    return triangularCheck(side, uplo, transa, diag, *m, *n, *lda, *ldb);
                })
                .library(library))
