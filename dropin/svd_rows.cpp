// svd_rows.cpp - the singular value decomposition in the drop-in library: the bidiagonal reduction
// gebrd, the generation of its Q and P^H (orgbr / ungbr) and the drivers gesvd and gesdd, one row
// per routine (dropin.h).
//
// Their work is Householder blocks, as the QR family's is, so they share its threshold: a reduction
// or driver of an m x n matrix has the size of an m x n x min(m, n) product, generating from k
// reflectors that of an m x n x k one. gebrd and orgbr have no data error; the drivers' (the QR
// iteration did not converge) is reported by the library only, so its info is read from the
// library.
//
// The drivers' workspace minimums depend on the path LAPACK takes inside; a caller that passes at
// least the minimum LAPACK documents for every path is served by the library, and a query is
// answered with that minimum. A smaller lwork goes to the host LAPACK, which decides by the
// minimum of its path whether the call runs or is an argument error. gesdd's jobz "O", which the
// library does not implement, runs in the host LAPACK.
#include "dropin.h"

// lapack.h declares LAPACK's entry points; with the library's complex types as LAPACK's, a row
// whose parameters differ from LAPACK's does not compile.
#define lapack_complex_float zuliComplexFloat
#define lapack_complex_double zuliComplexDouble
#include <lapack.h>

#include <algorithm>
#include <cstdint>
#include <type_traits>

#define ZULI_DROPIN_SIGNATURE_CHECK(SYMBOL, NS)                               \
    static_assert(std::is_same_v<decltype(&::SYMBOL), decltype(&NS::SYMBOL)>, \
                  #SYMBOL " has parameters other than LAPACK's");

namespace zuli::dropin {

namespace {

// `position` (0 or the first bad argument's) of a routine with a workspace: a query with valid
// arguments returns -1 with the minimum in work[0].
template <typename P>
int answerQuery(int position, P* work, int lwork, int minimum) {
    if (position != 0 || lwork != -1) return position;
    if (work) work[0] = fromReal<P>(minimum);
    return -1;
}

// gebrd: lwork >= max(1, m, n).
int gebrdCheck(int m, int n, int lda, int lwork) {
    if (m < 0) return 1;
    if (n < 0) return 2;
    if (lda < std::max(1, m)) return 4;
    if (lwork != -1 && lwork < std::max({1, m, n})) return 10;
    return 0;
}

// orgbr / ungbr: Q (vect 'Q') m x n with n <= m and n >= min(m, k); P^H ('P') m x n with m <= n
// and m >= min(n, k); lwork >= max(1, min(m, n)).
int orgbrCheck(const char* vect, int m, int n, int k, int lda, int lwork) {
    const bool q = same(vect, 'Q');
    if (!q && !same(vect, 'P')) return 1;
    if (m < 0) return 2;
    if (n < 0 || (q && (n > m || n < std::min(m, k))) || (!q && (m > n || m < std::min(n, k))))
        return 3;
    if (k < 0) return 4;
    if (lda < std::max(1, m)) return 6;
    if (lwork != -1 && lwork < std::max(1, std::min(m, n))) return 9;
    return 0;
}

// gesvd's arguments as LAPACK checks them (the library's order and positions).
int gesvdCheck(const char* jobu, const char* jobvt, int m, int n, int lda, int ldu, int ldvt) {
    const int k = std::min(m, n);
    const bool wantu = same(jobu, 'A') || same(jobu, 'S');
    if (!wantu && !same(jobu, 'O') && !same(jobu, 'N')) return 1;
    if ((!same(jobvt, 'A') && !same(jobvt, 'S') && !same(jobvt, 'O') && !same(jobvt, 'N')) ||
        (same(jobu, 'O') && same(jobvt, 'O')))
        return 2;
    if (m < 0) return 3;
    if (n < 0) return 4;
    if (lda < std::max(1, m)) return 6;
    if (ldu < 1 || (wantu && ldu < m)) return 9;
    if (ldvt < 1 || (same(jobvt, 'A') && ldvt < n) || (same(jobvt, 'S') && ldvt < k)) return 11;
    return 0;
}

// The workspace LAPACK's gesvd documents as enough for every path: max(1, 3 min(m, n) + max(m,
// n), 5 min(m, n)) for the real routines, max(1, 2 min(m, n) + max(m, n)) for the complex ones.
int gesvdWork(int m, int n, bool complex) {
    const int k = std::min(m, n), big = std::max(m, n);
    if (k == 0) return 1;
    return complex ? std::max(1, 2 * k + big) : std::max({1, 3 * k + big, 5 * k});
}

// gesdd's arguments as LAPACK checks them; jobz "O" also asks for U (m < n) or VT (m >= n).
int gesddCheck(const char* jobz, int m, int n, int lda, int ldu, int ldvt) {
    const int k = std::min(m, n);
    const bool a = same(jobz, 'A'), s = same(jobz, 'S'), o = same(jobz, 'O');
    if (!a && !s && !o && !same(jobz, 'N')) return 1;
    if (m < 0) return 2;
    if (n < 0) return 3;
    if (lda < std::max(1, m)) return 5;
    if (ldu < 1 || ((a || s || (o && m < n)) && ldu < m)) return 8;
    if (ldvt < 1 || (a && ldvt < n) || (s && ldvt < k) || (o && m >= n && ldvt < n)) return 10;
    return 0;
}

// The workspace LAPACK's gesdd documents as enough for every path (mn = min(m, n), mx =
// max(m, n)). Real: "N" 3 mn + max(mx, 7 mn), "O" 3 mn + max(mx, 5 mn^2 + 4 mn), "S" 4 mn^2 +
// 7 mn, "A" 4 mn^2 + 6 mn + mx. Complex: "N" 2 mn + mx, "O" 2 mn^2 + 2 mn + mx, "S" mn^2 + 3 mn,
// "A" mn^2 + 2 mn + mx.
int gesddWork(const char* jobz, int m, int n, bool complex) {
    const int64_t k = std::min(m, n), big = std::max(m, n);
    if (k == 0) return 1;
    int64_t w;
    if (same(jobz, 'N'))
        w = complex ? 2 * k + big : 3 * k + std::max(big, 7 * k);
    else if (same(jobz, 'O'))
        w = complex ? 2 * k * k + 2 * k + big : 3 * k + std::max(big, 5 * k * k + 4 * k);
    else if (same(jobz, 'S'))
        w = complex ? k * k + 3 * k : 4 * k * k + 7 * k;
    else
        w = complex ? k * k + 2 * k + big : 4 * k * k + 6 * k + big;
    return int(std::min<int64_t>(w, INT32_MAX));
}

}  // namespace

}  // namespace zuli::dropin

// sgebrd_ dgebrd_ cgebrd_ zgebrd_
ZULI_DROPIN(ALL, gebrd,
            (const int* m, const int* n, P* a, const int* lda, R* d, R* e, P* tauq, P* taup,
             P* work, const int* lwork, int* info),
            (m, n, a, lda, d, e, tauq, taup, work, lwork, info), gebrd,
            (*m, *n, a, *lda, d, e, tauq, taup),
            .lapack(Family::Qr, order3(*m, *n, std::min(*m, *n)), info)
                .check([&] {
                    return answerQuery(gebrdCheck(*m, *n, *lda, *lwork), work, *lwork,
                                       std::max({1, *m, *n}));
                })
                .library(library, {1, 2, 0, 4, 0, 0, 0, 0}))

// The Q or P^H of gebrd: the real routine orgbr, the complex ungbr (LIST REAL or COMPLEX).
#define ZULI_DROPIN_BIDIAGONAL_Q(LIST, NAME)                                                       \
    ZULI_DROPIN(LIST, NAME,                                                                        \
                (const char* vect, const int* m, const int* n, const int* k, P* a, const int* lda, \
                 const P* tau, P* work, const int* lwork, int* info, size_t vectLength),           \
                (vect, m, n, k, a, lda, tau, work, lwork, info, vectLength), NAME,                 \
                (*vect, *m, *n, *k, a, *lda, tau),                                                 \
                .lapack(Family::Qr, order3(*m, *n, *k), info)                                      \
                    .check([&] {                                                                   \
                        return answerQuery(orgbrCheck(vect, *m, *n, *k, *lda, *lwork), work,       \
                                           *lwork, std::max(1, std::min(*m, *n)));                 \
                    })                                                                             \
                    .library(library, {1, 2, 3, 4, 0, 6, 0}))
// sorgbr_ dorgbr_
ZULI_DROPIN_BIDIAGONAL_Q(REAL, orgbr)
// cungbr_ zungbr_
ZULI_DROPIN_BIDIAGONAL_Q(COMPLEX, ungbr)

// sgesvd_ dgesvd_
ZULI_DROPIN(REAL, gesvd,
            (const char* jobu, const char* jobvt, const int* m, const int* n, P* a, const int* lda,
             P* s, P* u, const int* ldu, P* vt, const int* ldvt, P* work, const int* lwork,
             int* info, size_t jobuLength, size_t jobvtLength),
            (jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt, work, lwork, info, jobuLength,
             jobvtLength),
            gesvd, (*jobu, *jobvt, *m, *n, a, *lda, s, u, *ldu, vt, *ldvt),
            .lapack(Family::Qr, order3(*m, *n, std::min(*m, *n)), info)
                .check([&] {
                    return answerQuery(gesvdCheck(jobu, jobvt, *m, *n, *lda, *ldu, *ldvt), work,
                                       *lwork, gesvdWork(*m, *n, false));
                })
                .hostWhen(*lwork < gesvdWork(*m, *n, false))
                .library(library, {1, 2, 3, 4, 0, 6, 0, 0, 9, 0, 11}))

// cgesvd_ zgesvd_: rwork (5 min(m, n) reals) is not needed.
ZULI_DROPIN(COMPLEX, gesvd,
            (const char* jobu, const char* jobvt, const int* m, const int* n, P* a, const int* lda,
             R* s, P* u, const int* ldu, P* vt, const int* ldvt, P* work, const int* lwork,
             R* rwork, int* info, size_t jobuLength, size_t jobvtLength),
            (jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt, work, lwork, rwork, info, jobuLength,
             jobvtLength),
            gesvd, (*jobu, *jobvt, *m, *n, a, *lda, s, u, *ldu, vt, *ldvt),
            .lapack(Family::Qr, order3(*m, *n, std::min(*m, *n)), info)
                .check([&] {
                    return answerQuery(gesvdCheck(jobu, jobvt, *m, *n, *lda, *ldu, *ldvt), work,
                                       *lwork, gesvdWork(*m, *n, true));
                })
                .hostWhen(*lwork < gesvdWork(*m, *n, true))
                .library(library, {1, 2, 3, 4, 0, 6, 0, 0, 9, 0, 11}))

// sgesdd_ dgesdd_: iwork (8 min(m, n) integers) is not needed.
ZULI_DROPIN(REAL, gesdd,
            (const char* jobz, const int* m, const int* n, P* a, const int* lda, P* s, P* u,
             const int* ldu, P* vt, const int* ldvt, P* work, const int* lwork, int* iwork,
             int* info, size_t jobzLength),
            (jobz, m, n, a, lda, s, u, ldu, vt, ldvt, work, lwork, iwork, info, jobzLength), gesdd,
            (*jobz, *m, *n, a, *lda, s, u, *ldu, vt, *ldvt),
            .lapack(Family::Qr, order3(*m, *n, std::min(*m, *n)), info)
                .check([&] {
                    return answerQuery(gesddCheck(jobz, *m, *n, *lda, *ldu, *ldvt), work, *lwork,
                                       gesddWork(jobz, *m, *n, false));
                })
                .hostWhen(same(jobz, 'O') || *lwork < gesddWork(jobz, *m, *n, false))
                .library(library, {1, 2, 3, 0, 5, 0, 0, 8, 0, 10}))

// cgesdd_ zgesdd_: rwork and iwork are not needed.
ZULI_DROPIN(COMPLEX, gesdd,
            (const char* jobz, const int* m, const int* n, P* a, const int* lda, R* s, P* u,
             const int* ldu, P* vt, const int* ldvt, P* work, const int* lwork, R* rwork,
             int* iwork, int* info, size_t jobzLength),
            (jobz, m, n, a, lda, s, u, ldu, vt, ldvt, work, lwork, rwork, iwork, info, jobzLength),
            gesdd, (*jobz, *m, *n, a, *lda, s, u, *ldu, vt, *ldvt),
            .lapack(Family::Qr, order3(*m, *n, std::min(*m, *n)), info)
                .check([&] {
                    return answerQuery(gesddCheck(jobz, *m, *n, *lda, *ldu, *ldvt), work, *lwork,
                                       gesddWork(jobz, *m, *n, true));
                })
                .hostWhen(same(jobz, 'O') || *lwork < gesddWork(jobz, *m, *n, true))
                .library(library, {1, 2, 3, 0, 5, 0, 0, 8, 0, 10}))
