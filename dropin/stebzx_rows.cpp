// stebzx_rows.cpp - the drop-in rows of bisection on a tridiagonal matrix (stebz) and the
// selected-eigenvalue driver (syevx / heevx) (dropin.h tells how a row routes a call).
//
// They share the QR family's threshold, as the reduction they build on does; the size is the
// order of the matrix. A data error's info (stebz's, or the vectors that did not converge) has no
// rule in the outputs and is read from the library's last-info cell. The driver's workspace
// minimum is checked and a query is answered with it, since the library needs no workspace.
#include "dropin.h"

#define lapack_complex_float zuliComplexFloat
#define lapack_complex_double zuliComplexDouble
#include <lapack.h>

#include <algorithm>
#include <type_traits>

// Each entry point is compared with LAPACK 3.11's prototype in lapack.h.
#define ZULI_DROPIN_SIGNATURE_CHECK(SYMBOL, NS)                               \
    static_assert(std::is_same_v<decltype(&::SYMBOL), decltype(&NS::SYMBOL)>, \
                  #SYMBOL " has parameters other than LAPACK's");

namespace zuli::dropin {

namespace {

// syevx / heevx: the library checks everything LAPACK does but lwork (argument 17): at least 1,
// and for n > 1 8 n (real) or 2 n (complex). A query of valid arguments is answered with it.
int syevxCheck(int n, int lwork, bool complex) {
    const int minimum = n <= 1 ? 1 : (complex ? 2 : 8) * n;
    if (lwork != -1 && lwork < minimum) return 17;
    return 0;
}

template <typename P, typename R>
int syevxQuery(const char* jobz, const char* range, const char* uplo, int n, int lda, R vl, R vu,
               int il, int iu, int ldz, P* work, int lwork, bool complex) {
    // Arguments LAPACK rejects before lwork go to the library, which reports them.
    const bool vectors = same(jobz, 'V');
    if (!vectors && !same(jobz, 'N')) return 0;
    if (!same(range, 'A') && !same(range, 'V') && !same(range, 'I')) return 0;
    if (!same(uplo, 'U') && !same(uplo, 'L')) return 0;
    if (n < 0 || lda < std::max(1, n) || ldz < 1 || (vectors && ldz < n)) return 0;
    if (same(range, 'V') && n > 0 && vu <= vl) return 0;
    if (same(range, 'I') && (il < 1 || il > std::max(1, n) || iu < std::min(n, il) || iu > n))
        return 0;
    const int position = syevxCheck(n, lwork, complex);
    if (position != 0 || lwork != -1) return position;
    if (work) work[0] = fromReal<P>(n <= 1 ? 1 : (complex ? 2 : 8) * n);
    return -1;
}

}  // namespace

}  // namespace zuli::dropin

// ---- bisection ----------------------------------------------------------------------------------

// sstebz_ dstebz_
ZULI_DROPIN(
    REAL, stebz,
    (const char* range, const char* order, const int* n, const R* vl, const R* vu, const int* il,
     const int* iu, const R* abstol, const R* d, const R* e, int* m, int* nsplit, R* w, int* iblock,
     int* isplit, R* work, int* iwork, int* info, size_t rangeLength, size_t orderLength),
    (range, order, n, vl, vu, il, iu, abstol, d, e, m, nsplit, w, iblock, isplit, work, iwork, info,
     rangeLength, orderLength),
    stebz, (*range, *order, *n, *vl, *vu, *il, *iu, *abstol, d, e, m, nsplit, w, iblock, isplit),
    .lapack(Family::Qr, *n, info).library(library, {1, 2, 3, 0, 5, 6, 7, 0, 0, 0, 0, 0, 0, 0, 0}))

// ---- the selected-eigenvalue driver -------------------------------------------------------------

// The library's positions 1 to 16 are LAPACK's but for the pointers, which LAPACK does not check.
#define ZULI_DROPIN_SYEVX_POSITIONS \
    { 1, 2, 3, 4, 0, 6, 0, 8, 9, 10, 0, 0, 0, 0, 15, 0 }

// ssyevx_ dsyevx_
ZULI_DROPIN(REAL, syevx,
            (const char* jobz, const char* range, const char* uplo, const int* n, P* a,
             const int* lda, const R* vl, const R* vu, const int* il, const int* iu,
             const R* abstol, int* m, R* w, P* z, const int* ldz, P* work, const int* lwork,
             int* iwork, int* ifail, int* info, size_t jobzLength, size_t rangeLength,
             size_t uploLength),
            (jobz, range, uplo, n, a, lda, vl, vu, il, iu, abstol, m, w, z, ldz, work, lwork, iwork,
             ifail, info, jobzLength, rangeLength, uploLength),
            syevx,
            (*jobz, *range, *uplo, *n, a, *lda, *vl, *vu, *il, *iu, *abstol, m, w, z, *ldz, ifail),
            .lapack(Family::Qr, *n, info)
                .check([&] {
                    return syevxQuery(jobz, range, uplo, *n, *lda, *vl, *vu, *il, *iu, *ldz, work,
                                      *lwork, false);
                })
                .library(library, ZULI_DROPIN_SYEVX_POSITIONS))

// cheevx_ zheevx_
ZULI_DROPIN(COMPLEX, heevx,
            (const char* jobz, const char* range, const char* uplo, const int* n, P* a,
             const int* lda, const R* vl, const R* vu, const int* il, const int* iu,
             const R* abstol, int* m, R* w, P* z, const int* ldz, P* work, const int* lwork,
             R* rwork, int* iwork, int* ifail, int* info, size_t jobzLength, size_t rangeLength,
             size_t uploLength),
            (jobz, range, uplo, n, a, lda, vl, vu, il, iu, abstol, m, w, z, ldz, work, lwork, rwork,
             iwork, ifail, info, jobzLength, rangeLength, uploLength),
            heevx,
            (*jobz, *range, *uplo, *n, a, *lda, *vl, *vu, *il, *iu, *abstol, m, w, z, *ldz, ifail),
            .lapack(Family::Qr, *n, info)
                .check([&] {
                    return syevxQuery(jobz, range, uplo, *n, *lda, *vl, *vu, *il, *iu, *ldz, work,
                                      *lwork, true);
                })
                .library(library, ZULI_DROPIN_SYEVX_POSITIONS))
