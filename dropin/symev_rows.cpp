// symev_rows.cpp - the drop-in rows of the symmetric (Hermitian) eigenproblem: the tridiagonal
// reduction sytrd / hetrd and its Q (orgtr / ungtr, ormtr / unmtr) (dropin.h tells how a row
// routes a call).
//
// They share the QR family's threshold (their work is Householder blocks, as the QR family's is);
// the size is the order of the matrix (for ormtr the order of the m x n x nq product). LAPACK's
// workspace minimums are checked and a query is answered with them, since the library needs no
// workspace. None has a data error.
#include "dropin.h"

#define lapack_complex_float zuliComplexFloat
#define lapack_complex_double zuliComplexDouble
#include <lapack.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

// Each entry point is compared with LAPACK 3.11's prototype in lapack.h.
#define ZULI_DROPIN_SIGNATURE_CHECK(SYMBOL, NS)                               \
    static_assert(std::is_same_v<decltype(&::SYMBOL), decltype(&NS::SYMBOL)>, \
                  #SYMBOL " has parameters other than LAPACK's");

namespace zuli::dropin {

namespace {

// A query (lwork = -1) of valid arguments is answered with `minimum` in work[0].
template <typename P>
int answerQuery(int position, P* work, int lwork, int minimum) {
    if (position != 0 || lwork != -1) return position;
    if (work) work[0] = fromReal<P>(minimum);
    return -1;
}

// sytrd / hetrd: uplo, n, lda, lwork >= 1.
int sytrdCheck(const char* uplo, int n, int lda, int lwork) {
    if (!same(uplo, 'U') && !same(uplo, 'L')) return 1;
    if (n < 0) return 2;
    if (lda < std::max(1, n)) return 4;
    if (lwork != -1 && lwork < 1) return 9;
    return 0;
}

// orgtr / ungtr: uplo, n, lda, lwork >= max(1, n - 1).
int orgtrCheck(const char* uplo, int n, int lda, int lwork) {
    if (!same(uplo, 'U') && !same(uplo, 'L')) return 1;
    if (n < 0) return 2;
    if (lda < std::max(1, n)) return 4;
    if (lwork != -1 && lwork < std::max(1, n - 1)) return 7;
    return 0;
}

// ormtr / unmtr: LAPACK's real routine takes trans 'N' or 'T', its complex one 'N' or 'C' (the
// library takes all three in every precision); lwork >= max(1, n) (side 'L') or max(1, m).
int ormtrCheck(const char* side, const char* uplo, const char* trans, int m, int n, int lda,
               int ldc, int lwork, bool complex) {
    const bool left = same(side, 'L');
    if (!left && !same(side, 'R')) return 1;
    if (!same(uplo, 'U') && !same(uplo, 'L')) return 2;
    if (!same(trans, 'N') && !same(trans, complex ? 'C' : 'T')) return 3;
    if (m < 0) return 4;
    if (n < 0) return 5;
    if (lda < std::max(1, left ? m : n)) return 7;
    if (ldc < std::max(1, m)) return 10;
    if (lwork != -1 && lwork < std::max(1, left ? n : m)) return 12;
    return 0;
}

}  // namespace

}  // namespace zuli::dropin

// ---- the tridiagonal reduction and its Q ------------------------------------------------------

// The reduction: the real routine sytrd, the complex hetrd (LIST REAL or COMPLEX).
#define ZULI_DROPIN_SYMEV_REDUCE(LIST, NAME)                                                     \
    ZULI_DROPIN(LIST, NAME,                                                                      \
                (const char* uplo, const int* n, P* a, const int* lda, R* d, R* e, P* tau,       \
                 P* work, const int* lwork, int* info, size_t uploLength),                       \
                (uplo, n, a, lda, d, e, tau, work, lwork, info, uploLength), NAME,               \
                (*uplo, *n, a, *lda, d, e, tau),                                                 \
                .lapack(Family::Qr, *n, info)                                                    \
                    .check([&] {                                                                 \
                        return answerQuery(sytrdCheck(uplo, *n, *lda, *lwork), work, *lwork, 1); \
                    })                                                                           \
                    .library(library, {1, 2, 0, 4, 0, 0, 0}))
// ssytrd_ dsytrd_ chetrd_ zhetrd_
ZULI_DROPIN_SYMEV_REDUCE(REAL, sytrd)
ZULI_DROPIN_SYMEV_REDUCE(COMPLEX, hetrd)

// The Q of the reduction: orgtr, ungtr.
#define ZULI_DROPIN_SYMEV_Q(LIST, NAME)                                                       \
    ZULI_DROPIN(LIST, NAME,                                                                   \
                (const char* uplo, const int* n, P* a, const int* lda, const P* tau, P* work, \
                 const int* lwork, int* info, size_t uploLength),                             \
                (uplo, n, a, lda, tau, work, lwork, info, uploLength), NAME,                  \
                (*uplo, *n, a, *lda, tau),                                                    \
                .lapack(Family::Qr, *n, info)                                                 \
                    .check([&] {                                                              \
                        return answerQuery(orgtrCheck(uplo, *n, *lda, *lwork), work, *lwork,  \
                                           std::max(1, *n - 1));                              \
                    })                                                                        \
                    .library(library, {1, 2, 0, 4, 0}))
// sorgtr_ dorgtr_ cungtr_ zungtr_
ZULI_DROPIN_SYMEV_Q(REAL, orgtr)
ZULI_DROPIN_SYMEV_Q(COMPLEX, ungtr)

// Q applied: ormtr, unmtr.
#define ZULI_DROPIN_SYMEV_MULTIPLY(LIST, NAME, COMPLEX)                                           \
    ZULI_DROPIN(                                                                                  \
        LIST, NAME,                                                                               \
        (const char* side, const char* uplo, const char* trans, const int* m, const int* n,       \
         const P* a, const int* lda, const P* tau, P* c, const int* ldc, P* work,                 \
         const int* lwork, int* info, size_t sideLength, size_t uploLength, size_t transLength),  \
        (side, uplo, trans, m, n, a, lda, tau, c, ldc, work, lwork, info, sideLength, uploLength, \
         transLength),                                                                            \
        NAME, (*side, *uplo, *trans, *m, *n, a, *lda, tau, c, *ldc),                              \
        .lapack(Family::Qr, order3(*m, *n, same(side, 'L') ? *m : *n), info)                      \
            .check([&] {                                                                          \
                return answerQuery(                                                               \
                    ormtrCheck(side, uplo, trans, *m, *n, *lda, *ldc, *lwork, COMPLEX), work,     \
                    *lwork, std::max(1, same(side, 'L') ? *n : *m));                              \
            })                                                                                    \
            .library(library, {1, 2, 3, 4, 5, 0, 7, 0, 0, 10}))
// sormtr_ dormtr_ cunmtr_ zunmtr_
ZULI_DROPIN_SYMEV_MULTIPLY(REAL, ormtr, false)
ZULI_DROPIN_SYMEV_MULTIPLY(COMPLEX, unmtr, true)
