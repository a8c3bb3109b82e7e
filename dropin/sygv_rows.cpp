// sygv_rows.cpp - the generalized symmetric-definite eigenproblem of the drop-in library:
// ssygv_, dsygv_ (real) and chegv_, zhegv_ (complex), rows as in lapack_rows.cpp (dropin.h).
//
// They share the QR family's threshold, as geev does: the work the library takes to the GPU is
// that of its Householder reductions (the reduction to tridiagonal form and, with vectors, its Q),
// plus the Cholesky factorization of B and the reduction to standard form, smaller still. The size
// is n. LAPACK checks itype, jobz, uplo, n, lda, ldb and lwork (at least 3n - 1 for the real
// routines, 2n - 1 for the complex ones, and 1); a workspace query is answered with that minimum,
// as for the QR family: the library needs no workspace, nor the complex routines' rwork.
//
// A data error's info: a B that is not positive definite leaves its failed pivot on the diagonal
// of the partial factor (n + the order of that minor, as LAPACK reports it); otherwise the
// eigensolver failed to converge, and its info is the library's.
#include "dropin.h"

#define lapack_complex_float zuliComplexFloat
#define lapack_complex_double zuliComplexDouble
#include <lapack.h>

#include <algorithm>
#include <type_traits>

#define ZULI_DROPIN_SIGNATURE_CHECK(SYMBOL, NS)                               \
    static_assert(std::is_same_v<decltype(&::SYMBOL), decltype(&NS::SYMBOL)>, \
                  #SYMBOL " has parameters other than LAPACK's");

namespace zuli::dropin {

namespace {

int sygvMinimum(int n, bool complex) {
    return std::max(1, complex ? 2 * n - 1 : 3 * n - 1);
}

// LAPACK's checks in its order; a valid query returns -1 with the minimum in work[0].
template <typename P>
int sygvCheck(int itype, const char* jobz, const char* uplo, int n, int lda, int ldb, P* work,
              int lwork) {
    const bool complex = !std::is_floating_point_v<P>;
    int position = 0;
    if (itype < 1 || itype > 3)
        position = 1;
    else if (!same(jobz, 'V') && !same(jobz, 'N'))
        position = 2;
    else if (!same(uplo, 'U') && !same(uplo, 'L'))
        position = 3;
    else if (n < 0)
        position = 4;
    else if (lda < std::max(1, n))
        position = 6;
    else if (ldb < std::max(1, n))
        position = 8;
    else if (lwork != -1 && lwork < sygvMinimum(n, complex))
        position = 11;
    if (position != 0 || lwork != -1) return position;
    if (work) work[0] = fromReal<P>(sygvMinimum(n, complex));
    return -1;
}

// n + the order of the leading minor of B that is not positive definite, or 0 (then the info is
// the eigensolver's, read from the library).
template <typename P>
int sygvDataInfo(int n, const P* b, int ldb) {
    const int i = firstNotPositive(n, b, int64_t(ldb) + 1);
    return i > 0 ? n + i : 0;
}

}  // namespace

}  // namespace zuli::dropin

// ssygv_ dsygv_
ZULI_DROPIN(REAL, sygv,
            (const int* itype, const char* jobz, const char* uplo, const int* n, P* a,
             const int* lda, P* b, const int* ldb, P* w, P* work, const int* lwork, int* info,
             size_t jobzLength, size_t uploLength),
            (itype, jobz, uplo, n, a, lda, b, ldb, w, work, lwork, info, jobzLength, uploLength),
            sygv, (*itype, *jobz, *uplo, *n, a, *lda, b, *ldb, w),
            .lapack(Family::Qr, *n, info)
                .check([&] { return sygvCheck(*itype, jobz, uplo, *n, *lda, *ldb, work, *lwork); })
                .library(library, {1, 2, 3, 4, 0, 6, 0, 8, 0})
                .dataInfo([&] { return sygvDataInfo(*n, b, *ldb); }))

// chegv_ zhegv_: rwork (3n - 2 reals) is not needed.
ZULI_DROPIN(COMPLEX, hegv,
            (const int* itype, const char* jobz, const char* uplo, const int* n, P* a,
             const int* lda, P* b, const int* ldb, R* w, P* work, const int* lwork, R* rwork,
             int* info, size_t jobzLength, size_t uploLength),
            (itype, jobz, uplo, n, a, lda, b, ldb, w, work, lwork, rwork, info, jobzLength,
             uploLength),
            hegv, (*itype, *jobz, *uplo, *n, a, *lda, b, *ldb, w),
            .lapack(Family::Qr, *n, info)
                .check([&] { return sygvCheck(*itype, jobz, uplo, *n, *lda, *ldb, work, *lwork); })
                .library(library, {1, 2, 3, 4, 0, 6, 0, 8, 0})
                .dataInfo([&] { return sygvDataInfo(*n, b, *ldb); }))
