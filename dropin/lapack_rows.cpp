// lapack_rows.cpp - the LAPACK routines of the drop-in library: one row per routine (dropin.h).
//
// Each row gives LAPACK 3.11's Fortran parameters, the library routine that runs the call and
// the arguments it gets, then the route: the family and size compared with the thresholds, the
// checks LAPACK makes that the library does not, what the library does not serve, the position
// in LAPACK's call of each of the library's arguments (0 where LAPACK checks nothing: such an
// error sends the call to the host LAPACK), and how a data error's info is read.
#include "dropin.h"

#include "runtime/tuning.h"

// lapack.h declares LAPACK's entry points; with the library's complex types as LAPACK's, a row
// whose parameters differ from LAPACK's does not compile.
#define lapack_complex_float zuliComplexFloat
#define lapack_complex_double zuliComplexDouble
#include <lapack.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

// lapack.h lacks the triangular conversions of the mixed-precision Cholesky drivers: their
// prototypes as LAPACK 3.11 documents them.
extern "C" {
void dlat2s_(const char* uplo, const int* n, const double* a, const int* lda, float* sa,
             const int* ldsa, int* info, size_t uploLength);
void zlat2c_(const char* uplo, const int* n, const zuliComplexDouble* a, const int* lda,
             zuliComplexFloat* sa, const int* ldsa, int* info, size_t uploLength);
}

// Nor the plane rotations: lasr, lar2v, largv and lartv as LAPACK 3.11 documents them.
#define ZULI_DROPIN_ROTATIONS(p, P, R)                                                           \
    void p##lasr_(const char* side, const char* pivot, const char* direct, const int* m,         \
                  const int* n, const R* c, const R* s, P* a, const int* lda, size_t sideLength, \
                  size_t pivotLength, size_t directLength);                                      \
    void p##lar2v_(const int* n, P* x, P* y, P* z, const int* incx, const R* c, const P* s,      \
                   const int* incc);                                                             \
    void p##largv_(const int* n, P* x, const int* incx, P* y, const int* incy, R* c,             \
                   const int* incc);                                                             \
    void p##lartv_(const int* n, P* x, const int* incx, P* y, const int* incy, const R* c,       \
                   const P* s, const int* incc);
extern "C" {
ZULI_DROPIN_ROTATIONS(s, float, float)
ZULI_DROPIN_ROTATIONS(d, double, double)
ZULI_DROPIN_ROTATIONS(c, zuliComplexFloat, float)
ZULI_DROPIN_ROTATIONS(z, zuliComplexDouble, double)
}

#define ZULI_DROPIN_SIGNATURE_CHECK(SYMBOL, NS)                               \
    static_assert(std::is_same_v<decltype(&::SYMBOL), decltype(&NS::SYMBOL)>, \
                  #SYMBOL " has parameters other than LAPACK's");

namespace zuli::dropin {

namespace {

// The letter a LAPACK routine that reads only `letters` (LSAME) makes of `c`: `c` itself when it
// is one of them, else `otherwise` (lacpy and laset copy or set the whole matrix for any other
// letter, lat2s converts the lower triangle, larfb takes the other choice).
char letterOr(const char* c, const char* letters, char otherwise) {
    for (const char* l = letters; *l; ++l)
        if (same(c, *l)) return *l;
    return otherwise;
}

// The library's getrf leaves, when m > n and n is one more than a multiple of its block size, the
// last pivot's interchange unapplied to the first n - 1 columns of L (zuli_lapack_solvers.h);
// LAPACK's L has it.
template <typename T, typename P>
void applyLastInterchange(int m, int n, P* a, int lda, const int* ipiv) {
    if (m <= n || n < 2) return;
    const int nb = factorBlockSize<T>(currentCapabilityCode());
    if (n <= nb || (n - 1) % nb != 0) return;
    const int64_t r = n - 1, p = ipiv[n - 1] - 1;
    if (p == r) return;
    for (int64_t j = 0; j < n - 1; ++j) std::swap(a[r + j * lda], a[p + j * lda]);
}

// getrs: LAPACK's checks, made here for every path, since the host LAPACK's getrs (OpenBLAS's own)
// reports a bad argument to xerbla_ without setting INFO.
int getrsCheck(const char* trans, int n, int nrhs, int lda, int ldb) {
    if (!same(trans, 'N') && !same(trans, 'T') && !same(trans, 'C')) return 1;
    if (n < 0) return 2;
    if (nrhs < 0) return 3;
    if (lda < std::max(1, n)) return 5;
    if (ldb < std::max(1, n)) return 8;
    return 0;
}

// getri: LAPACK's checks with its workspace (lwork >= max(1, n)); a query (lwork = -1) is
// answered with that minimum, as the library needs no workspace.
template <typename P>
int getriCheck(int n, int lda, P* work, int lwork) {
    if (work) work[0] = fromReal<P>(std::max(1, n));
    if (n < 0) return 1;
    if (lda < std::max(1, n)) return 3;
    if (lwork == -1) return -1;
    if (lwork < std::max(1, n)) return 6;
    return 0;
}

// The mixed-precision drivers set ITER to 0 first, then check their arguments; with no
// right-hand side they still factor A (the library returns at once), so that case goes to the
// host LAPACK.
int mixedCheck(int* iter, int n, int nrhs, int lda, int ldb, int ldx, int shift) {
    *iter = 0;
    if (n < 0) return 1 + shift;
    if (nrhs < 0) return 2 + shift;
    if (lda < std::max(1, n)) return 4 + shift;
    if (ldb < std::max(1, n)) return 7;
    if (ldx < std::max(1, n)) return 9;
    return 0;
}

// lascl checks in its own order, rejects a NaN cfrom, and bounds lda even for an empty matrix.
template <typename R>
int lasclCheck(const char* type, int kl, int ku, R cfrom, R cto, int m, int n, int lda) {
    const char* types = "GLUHBQZ";
    int t = -1;
    for (int i = 0; types[i]; ++i)
        if (same(type, types[i])) t = i;
    if (t < 0) return 1;
    if (cfrom == 0 || std::isnan(cfrom)) return 4;
    if (std::isnan(cto)) return 5;
    if (m < 0) return 6;
    if (n < 0 || ((t == 4 || t == 5) && n != m)) return 7;
    if (t <= 3 && lda < std::max(1, m)) return 9;
    if (t >= 4) {
        if (kl < 0 || kl > std::max(m - 1, 0)) return 2;
        if (ku < 0 || ku > std::max(n - 1, 0) || ((t == 4 || t == 5) && kl != ku)) return 3;
        if ((t == 4 && lda < kl + 1) || (t == 5 && lda < ku + 1) ||
            (t == 6 && lda < 2 * kl + ku + 1))
            return 9;
    }
    return 0;
}

// ---- the QR family: LAPACK's checks, with its workspace minimums. A workspace query (lwork = -1)
// with valid arguments is answered with that minimum, as for getri: the library needs no
// workspace. (A call below the threshold runs in the host LAPACK with the workspace the caller
// gives; with the minimum that is its unblocked code, which at those sizes costs little.)

// `position` (0 or the first bad argument's) of a routine with a workspace: a query with valid
// arguments returns -1 with the minimum in work[0].
template <typename P>
int answerQuery(int position, P* work, int lwork, int minimum) {
    if (position != 0 || lwork != -1) return position;
    if (work) work[0] = fromReal<P>(minimum);
    return -1;
}

// The factorizations, with the workspace minimum of each (the rows below).
int factorCheck(int m, int n, int lda, int lwork, int minimum) {
    if (m < 0) return 1;
    if (n < 0) return 2;
    if (lda < std::max(1, m)) return 4;
    if (lwork != -1 && lwork < minimum) return 7;
    return 0;
}

// orgqr, orgql (Q's columns: n <= m, k <= n, lwork >= max(1, n)) and orglq, orgrq (Q's rows:
// m <= n, k <= m, lwork >= max(1, m)).
int generateCheck(int m, int n, int k, int lda, int lwork, bool rows) {
    if (m < 0) return 1;
    if (rows ? n < m : (n < 0 || n > m)) return 2;
    if (k < 0 || k > (rows ? m : n)) return 3;
    if (lda < std::max(1, m)) return 5;
    if (lwork != -1 && lwork < std::max(1, rows ? m : n)) return 8;
    return 0;
}

// ormqr, ormql (reflectors in A's columns, A nq x k) and ormlq, ormrq (in its rows, A k x nq).
// LAPACK's real routines take trans 'N' or 'T', its complex ones 'N' or 'C' (the library takes
// all three in every precision).
int multiplyCheck(const char* side, const char* trans, int m, int n, int k, int lda, int ldc,
                  int lwork, bool rows, bool complex) {
    const bool left = same(side, 'L');
    const int nq = left ? m : n;
    if (!left && !same(side, 'R')) return 1;
    if (!same(trans, 'N') && !same(trans, complex ? 'C' : 'T')) return 2;
    if (m < 0) return 3;
    if (n < 0) return 4;
    if (k < 0 || k > nq) return 5;
    if (lda < std::max(1, rows ? k : nq)) return 7;
    if (ldc < std::max(1, m)) return 10;
    if (lwork != -1 && lwork < std::max(1, left ? n : m)) return 12;
    return 0;
}

// ---- least squares: LAPACK's checks with its workspace minimums; a query is answered with the
// minimum, as in the QR family.

// gels: LAPACK's real routines take trans 'N' or 'T', its complex ones 'N' or 'C' (the library
// takes all three in every precision); lwork >= max(1, mn + max(mn, nrhs)), mn = min(m, n).
int gelsCheck(const char* trans, int m, int n, int nrhs, int lda, int ldb, int lwork,
              bool complex) {
    const int mn = std::min(m, n);
    if (!same(trans, 'N') && !same(trans, complex ? 'C' : 'T')) return 1;
    if (m < 0) return 2;
    if (n < 0) return 3;
    if (nrhs < 0) return 4;
    if (lda < std::max(1, m)) return 6;
    if (ldb < std::max({1, m, n})) return 8;
    if (lwork != -1 && lwork < std::max(1, mn + std::max(mn, nrhs))) return 10;
    return 0;
}

// The largest |Re| or |Im| of an m x n matrix is within [small, big]: LAPACK's gels scales A (B)
// when its largest magnitude is below SMLNUM = safe minimum / precision or above 1 / SMLNUM, and
// sets X to zero without factoring when A is zero. The library scales neither, so a call near those
// bounds (a magnitude is at most sqrt(2) times the larger part: big is 1 / (2 SMLNUM)), with a zero
// A, or with a NaN goes to the host LAPACK. One pass over the data, against gels' m n min(m, n).
template <typename P>
bool withinScale(int m, int n, const P* a, int lda, bool zeroIsIn) {
    using R = decltype(realPart(P{}));
    const R small = std::numeric_limits<R>::min() / std::numeric_limits<R>::epsilon();
    const R big = 1 / (2 * small);
    R largest = 0;
    for (int64_t j = 0; j < n; ++j)
        for (int64_t i = 0; i < m; ++i) {
            const P& v = a[i + j * lda];
            R x;
            if constexpr (std::is_floating_point_v<P>)
                x = std::abs(v);
            else
                x = std::max(std::abs(v.re), std::abs(v.im));
            if (!(x <= big)) return false;
            largest = std::max(largest, x);
        }
    return largest >= small || (zeroIsIn && largest == 0);
}

// gels calls that the library does not serve: invalid ones (checked before, and not to be read),
// empty ones, and those that LAPACK scales.
template <typename P>
bool gelsOnHost(const char* trans, int m, int n, int nrhs, const P* a, int lda, const P* b, int ldb,
                int lwork) {
    if (gelsCheck(trans, m, n, nrhs, lda, ldb, lwork, !std::is_floating_point_v<P>) != 0 ||
        std::min({m, n, nrhs}) == 0)
        return true;
    return !withinScale(m, n, a, lda, false) ||
           !withinScale(same(trans, 'N') ? m : n, nrhs, b, ldb, true);
}

// ggrqf (A m x n, B p x n) and gglse (A m x n, B p x n, c and d of m and p elements).
int ggrqfCheck(int m, int p, int n, int lda, int ldb, int lwork) {
    if (m < 0) return 1;
    if (p < 0) return 2;
    if (n < 0) return 3;
    if (lda < std::max(1, m)) return 5;
    if (ldb < std::max(1, p)) return 8;
    if (lwork != -1 && lwork < std::max({1, m, p, n})) return 11;
    return 0;
}
int gglseCheck(int m, int n, int p, int lda, int ldb, int lwork) {
    if (m < 0) return 1;
    if (n < 0) return 2;
    if (p < 0 || p > n || p < n - m) return 3;
    if (lda < std::max(1, m)) return 5;
    if (ldb < std::max(1, p)) return 7;
    if (lwork != -1 && lwork < (n == 0 ? 1 : m + n + p)) return 12;
    return 0;
}

// ggrqf's work: gerqf of A (m x n), its Q applied to B (p x n), geqrf of B, the cube root of
// n ((m + p) min(m, n) + p min(p, n)). gglse is ggrqf of B and A.
int64_t ggrqfSize(int64_t m, int64_t p, int64_t n) {
    return order3(n, 1, (m + p) * std::min(m, n) + p * std::min(p, n));
}

// ---- the nonsymmetric eigenproblem: LAPACK's checks with its workspace minimums; a query is
// answered with the minimum, as in the QR family.

// gehrd and orghr/unghr: n, the range ilo ... ihi, lda, and lwork >= max(1, minimum) (gehrd n,
// orghr the ihi - ilo reflectors).
int hessenbergCheck(int n, int ilo, int ihi, int lda, int lwork, int minimum) {
    if (n < 0) return 1;
    if (ilo < 1 || ilo > std::max(1, n)) return 2;
    if (ihi < std::min(ilo, n) || ihi > n) return 3;
    if (lda < std::max(1, n)) return 5;
    if (lwork != -1 && lwork < std::max(1, minimum)) return 8;
    return 0;
}

// geev: jobvl and jobvr 'N' or 'V'; ldvl, ldvr >= 1 and >= n where the vectors are wanted. The real
// routines need lwork >= 4n with vectors, 3n without (positions 9, 11, 13), the complex ones 2n
// (positions 8, 10, 12); 1 for n = 0.
int geevMinimum(const char* jobvl, const char* jobvr, int n, bool complex) {
    const bool vectors = same(jobvl, 'V') || same(jobvr, 'V');
    return n == 0 ? 1 : complex ? 2 * n : vectors ? 4 * n : 3 * n;
}
int geevCheck(const char* jobvl, const char* jobvr, int n, int lda, int ldvl, int ldvr, int lwork,
              bool complex) {
    const bool vl = same(jobvl, 'V'), vr = same(jobvr, 'V');
    const int shift = complex ? 1 : 0;
    if (!vl && !same(jobvl, 'N')) return 1;
    if (!vr && !same(jobvr, 'N')) return 2;
    if (n < 0) return 3;
    if (lda < std::max(1, n)) return 5;
    if (ldvl < 1 || (vl && ldvl < n)) return 9 - shift;
    if (ldvr < 1 || (vr && ldvr < n)) return 11 - shift;
    if (lwork != -1 && lwork < geevMinimum(jobvl, jobvr, n, complex)) return 13 - shift;
    return 0;
}

// geev calls that the library does not serve: invalid ones (checked before, and not to be read) and
// a matrix with a NaN or an infinity, which LAPACK's balancing reports to
// xerbla_ (the library reduces it unbalanced instead); one pass over A, against geev's n^3.
template <typename P>
bool geevOnHost(const char* jobvl, const char* jobvr, int n, const P* a, int lda, int ldvl,
                int ldvr, int lwork) {
    if (geevCheck(jobvl, jobvr, n, lda, ldvl, ldvr, lwork, !std::is_floating_point_v<P>) != 0)
        return true;
    for (int64_t j = 0; j < n; ++j)
        for (int64_t i = 0; i < n; ++i) {
            const P& v = a[i + j * lda];
            if constexpr (std::is_floating_point_v<P>) {
                if (!std::isfinite(v)) return true;
            } else if (!std::isfinite(v.re) || !std::isfinite(v.im))
                return true;
        }
    return false;
}

int lasrCheck(const char* side, const char* pivot, const char* direct, int m, int n, int lda) {
    if (!same(side, 'L') && !same(side, 'R')) return 1;
    if (!same(pivot, 'V') && !same(pivot, 'T') && !same(pivot, 'B')) return 2;
    if (!same(direct, 'F') && !same(direct, 'B')) return 3;
    if (m < 0) return 4;
    if (n < 0) return 5;
    if (lda < std::max(1, m)) return 9;
    return 0;
}

}  // namespace

}  // namespace zuli::dropin

// ---- LU ---------------------------------------------------------------------------------------

// sgetrf_ dgetrf_ cgetrf_ zgetrf_
ZULI_DROPIN(ALL, getrf, (const int* m, const int* n, P* a, const int* lda, int* ipiv, int* info),
            (m, n, a, lda, ipiv, info), getrf, (*m, *n, a, *lda, ipiv),
            .lapack(Family::Lu, std::min(*m, *n), info)
                .library(library, {1, 2, 0, 4, 0})
                .dataInfo([&] { return firstZero(std::min(*m, *n), a, *lda + 1); })
                .after([&] { applyLastInterchange<T>(*m, *n, a, *lda, ipiv); }))

// sgetrs_ dgetrs_ cgetrs_ zgetrs_: the library solves with A only; A^T and A^H go to the host.
ZULI_DROPIN(ALL, getrs,
            (const char* trans, const int* n, const int* nrhs, const P* a, const int* lda,
             const int* ipiv, P* b, const int* ldb, int* info, size_t transLength),
            (trans, n, nrhs, a, lda, ipiv, b, ldb, info, transLength), getrs,
            (*trans, *n, *nrhs, a, *lda, ipiv, b, *ldb),
            .lapack(Family::Lu, order3(*n, *n, *nrhs), info)
                .check([&] { return getrsCheck(trans, *n, *nrhs, *lda, *ldb); })
                .hostWhen(!same(trans, 'N'))
                .library(library, {1, 2, 3, 0, 5, 0, 0, 8}))

// sgesv_ dgesv_ cgesv_ zgesv_
ZULI_DROPIN(ALL, gesv,
            (const int* n, const int* nrhs, P* a, const int* lda, int* ipiv, P* b, const int* ldb,
             int* info),
            (n, nrhs, a, lda, ipiv, b, ldb, info), gesv, (*n, *nrhs, a, *lda, ipiv, b, *ldb),
            .lapack(Family::Lu, *n, info).library(library, {1, 2, 0, 4, 0, 0, 7}).dataInfo([&] {
                return firstZero(*n, a, *lda + 1);
            }))

// sgetri_ dgetri_ cgetri_ zgetri_
ZULI_DROPIN(ALL, getri,
            (const int* n, P* a, const int* lda, const int* ipiv, P* work, const int* lwork,
             int* info),
            (n, a, lda, ipiv, work, lwork, info), getri, (*n, a, *lda, ipiv),
            .lapack(Family::Lu, *n, info)
                .check([&] { return getriCheck(*n, *lda, work, *lwork); })
                .library(library, {1, 0, 3, 0})
                .dataInfo([&] { return firstZero(*n, a, *lda + 1); }))

// ---- Cholesky ---------------------------------------------------------------------------------

// spotrf_ dpotrf_ cpotrf_ zpotrf_
ZULI_DROPIN(ALL, potrf,
            (const char* uplo, const int* n, P* a, const int* lda, int* info, size_t uploLength),
            (uplo, n, a, lda, info, uploLength), potrf, (*uplo, *n, a, *lda),
            .lapack(Family::Cholesky, *n, info).library(library, {1, 2, 0, 4}).dataInfo([&] {
                return firstNotPositive(*n, a, *lda + 1);
            }))

// spotrs_ dpotrs_ cpotrs_ zpotrs_
ZULI_DROPIN(
    ALL, potrs,
    (const char* uplo, const int* n, const int* nrhs, const P* a, const int* lda, P* b,
     const int* ldb, int* info, size_t uploLength),
    (uplo, n, nrhs, a, lda, b, ldb, info, uploLength), potrs, (*uplo, *n, *nrhs, a, *lda, b, *ldb),
    .lapack(Family::Cholesky, order3(*n, *n, *nrhs), info).library(library, {1, 2, 3, 0, 5, 0, 7}))

// sposv_ dposv_ cposv_ zposv_
ZULI_DROPIN(
    ALL, posv,
    (const char* uplo, const int* n, const int* nrhs, P* a, const int* lda, P* b, const int* ldb,
     int* info, size_t uploLength),
    (uplo, n, nrhs, a, lda, b, ldb, info, uploLength), posv, (*uplo, *n, *nrhs, a, *lda, b, *ldb),
    .lapack(Family::Cholesky, *n, info).library(library, {1, 2, 3, 0, 5, 0, 7}).dataInfo([&] {
        return firstNotPositive(*n, a, *lda + 1);
    }))

// spotri_ dpotri_ cpotri_ zpotri_
ZULI_DROPIN(ALL, potri,
            (const char* uplo, const int* n, P* a, const int* lda, int* info, size_t uploLength),
            (uplo, n, a, lda, info, uploLength), potri, (*uplo, *n, a, *lda),
            .lapack(Family::Cholesky, *n, info).library(library, {1, 2, 0, 4}).dataInfo([&] {
                return firstZero(*n, a, *lda + 1);
            }))

// ---- mixed precision ----------------------------------------------------------------------------
// LAPACK falls back to double precision when a value overflows single precision (ITER -2) or the
// single-precision factor is singular (-3); the library fails there, leaving A and B untouched,
// and the host LAPACK then runs the call.

// dsgesv_
ZULI_DROPIN(D, sgesv,
            (const int* n, const int* nrhs, P* a, const int* lda, int* ipiv, const P* b,
             const int* ldb, P* x, const int* ldx, P* work, float* swork, int* iter, int* info),
            (n, nrhs, a, lda, ipiv, b, ldb, x, ldx, work, swork, iter, info), sgesv,
            (*n, *nrhs, a, *lda, ipiv, b, *ldb, x, *ldx, iter),
            .lapack(Family::Mixed, *n, info)
                .check([&] { return mixedCheck(iter, *n, *nrhs, *lda, *ldb, *ldx, 0); })
                .hostWhen(*nrhs == 0)
                .library(library, {1, 2, 0, 4, 0, 0, 7, 0, 9, 0})
                .hostOnDataError([&] { return *iter == -2 || *iter == -3; })
                .dataInfo([&] { return firstZero(*n, a, *lda + 1); }))

// zcgesv_
ZULI_DROPIN(Z, cgesv,
            (const int* n, const int* nrhs, P* a, const int* lda, int* ipiv, const P* b,
             const int* ldb, P* x, const int* ldx, P* work, zuliComplexFloat* swork, double* rwork,
             int* iter, int* info),
            (n, nrhs, a, lda, ipiv, b, ldb, x, ldx, work, swork, rwork, iter, info), cgesv,
            (*n, *nrhs, a, *lda, ipiv, b, *ldb, x, *ldx, iter),
            .lapack(Family::Mixed, *n, info)
                .check([&] { return mixedCheck(iter, *n, *nrhs, *lda, *ldb, *ldx, 0); })
                .hostWhen(*nrhs == 0)
                .library(library, {1, 2, 0, 4, 0, 0, 7, 0, 9, 0})
                .hostOnDataError([&] { return *iter == -2 || *iter == -3; })
                .dataInfo([&] { return firstZero(*n, a, *lda + 1); }))

// dsposv_
ZULI_DROPIN(D, sposv,
            (const char* uplo, const int* n, const int* nrhs, P* a, const int* lda, const P* b,
             const int* ldb, P* x, const int* ldx, P* work, float* swork, int* iter, int* info,
             size_t uploLength),
            (uplo, n, nrhs, a, lda, b, ldb, x, ldx, work, swork, iter, info, uploLength), sposv,
            (*uplo, *n, *nrhs, a, *lda, b, *ldb, x, *ldx, iter),
            .lapack(Family::Mixed, *n, info)
                .check([&] {
                    if (!same(uplo, 'U') && !same(uplo, 'L')) return (*iter = 0), 1;
                    return mixedCheck(iter, *n, *nrhs, *lda, *ldb, *ldx, 1);
                })
                .hostWhen(*nrhs == 0)
                .library(library, {1, 2, 3, 0, 5, 0, 7, 0, 9, 0})
                .hostOnDataError([&] { return *iter == -2 || *iter == -3; })
                .dataInfo([&] { return firstNotPositive(*n, a, *lda + 1); }))

// zcposv_
ZULI_DROPIN(Z, cposv,
            (const char* uplo, const int* n, const int* nrhs, P* a, const int* lda, const P* b,
             const int* ldb, P* x, const int* ldx, P* work, zuliComplexFloat* swork, double* rwork,
             int* iter, int* info, size_t uploLength),
            (uplo, n, nrhs, a, lda, b, ldb, x, ldx, work, swork, rwork, iter, info, uploLength),
            cposv, (*uplo, *n, *nrhs, a, *lda, b, *ldb, x, *ldx, iter),
            .lapack(Family::Mixed, *n, info)
                .check([&] {
                    if (!same(uplo, 'U') && !same(uplo, 'L')) return (*iter = 0), 1;
                    return mixedCheck(iter, *n, *nrhs, *lda, *ldb, *ldx, 1);
                })
                .hostWhen(*nrhs == 0)
                .library(library, {1, 2, 3, 0, 5, 0, 7, 0, 9, 0})
                .hostOnDataError([&] { return *iter == -2 || *iter == -3; })
                .dataInfo([&] { return firstNotPositive(*n, a, *lda + 1); }))

// ---- triangular and banded ----------------------------------------------------------------------

// strtrs_ dtrtrs_ ctrtrs_ ztrtrs_
ZULI_DROPIN(ALL, trtrs,
            (const char* uplo, const char* trans, const char* diag, const int* n, const int* nrhs,
             const P* a, const int* lda, P* b, const int* ldb, int* info, size_t uploLength,
             size_t transLength, size_t diagLength),
            (uplo, trans, diag, n, nrhs, a, lda, b, ldb, info, uploLength, transLength, diagLength),
            trtrs, (*uplo, *trans, *diag, *n, *nrhs, a, *lda, b, *ldb),
            .lapack(Family::Triangular, order3(*n, *n, *nrhs), info)
                .library(library, {1, 2, 3, 4, 5, 0, 7, 0, 9})
                .dataInfo([&] { return firstZero(*n, a, *lda + 1); }))

// strtri_ dtrtri_ ctrtri_ ztrtri_
ZULI_DROPIN(ALL, trtri,
            (const char* uplo, const char* diag, const int* n, P* a, const int* lda, int* info,
             size_t uploLength, size_t diagLength),
            (uplo, diag, n, a, lda, info, uploLength, diagLength), trtri,
            (*uplo, *diag, *n, a, *lda),
            .lapack(Family::Triangular, *n, info).library(library, {1, 2, 3, 0, 5}).dataInfo([&] {
                return firstZero(*n, a, *lda + 1);
            }))

// sgbtrf_ dgbtrf_ cgbtrf_ zgbtrf_: U's diagonal is row kl + ku of the band storage.
ZULI_DROPIN(ALL, gbtrf,
            (const int* m, const int* n, const int* kl, const int* ku, P* ab, const int* ldab,
             int* ipiv, int* info),
            (m, n, kl, ku, ab, ldab, ipiv, info), gbtrf, (*m, *n, *kl, *ku, ab, *ldab, ipiv),
            .lapack(Family::Band, std::min(*m, *n), info)
                .library(library, {1, 2, 3, 4, 0, 6, 0})
                .dataInfo([&] { return firstZero(std::min(*m, *n), ab + *kl + *ku, *ldab); }))

// spbtrf_ dpbtrf_ cpbtrf_ zpbtrf_: the diagonal is row kd (upper) or 0 (lower) of the band.
ZULI_DROPIN(ALL, pbtrf,
            (const char* uplo, const int* n, const int* kd, P* ab, const int* ldab, int* info,
             size_t uploLength),
            (uplo, n, kd, ab, ldab, info, uploLength), pbtrf, (*uplo, *n, *kd, ab, *ldab),
            .lapack(Family::Band, *n, info).library(library, {1, 2, 3, 0, 5}).dataInfo([&] {
                return firstNotPositive(*n, ab + (same(uplo, 'U') ? *kd : 0), *ldab);
            }))

// ---- utilities ----------------------------------------------------------------------------------
// lacpy, laset, larfb, lag2 and lat2 check nothing in LAPACK: whatever the library refuses goes to
// the host LAPACK, which does what LAPACK does with it.

// slacpy_ dlacpy_ clacpy_ zlacpy_
ZULI_DROPIN(ALL, lacpy,
            (const char* uplo, const int* m, const int* n, const P* a, const int* lda, P* b,
             const int* ldb, size_t uploLength),
            (uplo, m, n, a, lda, b, ldb, uploLength), lacpy,
            (letterOr(uplo, "UL", 'A'), *m, *n, a, *lda, b, *ldb),
            .noInfo(Family::Utility, order2(*m, *n)).library(library))

// slaset_ dlaset_ claset_ zlaset_
ZULI_DROPIN(ALL, laset,
            (const char* uplo, const int* m, const int* n, const P* alpha, const P* beta, P* a,
             const int* lda, size_t uploLength),
            (uplo, m, n, alpha, beta, a, lda, uploLength), laset,
            (letterOr(uplo, "UL", 'A'), *m, *n, *alpha, *beta, a, *lda),
            .noInfo(Family::Utility, order2(*m, *n)).library(library))

// slascl_ dlascl_ clascl_ zlascl_
ZULI_DROPIN(ALL, lascl,
            (const char* type, const int* kl, const int* ku, const R* cfrom, const R* cto,
             const int* m, const int* n, P* a, const int* lda, int* info, size_t typeLength),
            (type, kl, ku, cfrom, cto, m, n, a, lda, info, typeLength), lascl,
            (*type, *kl, *ku, *cfrom, *cto, *m, *n, a, *lda),
            .lapack(Family::Utility, order2(*m, *n), info)
                .check([&] { return lasclCheck(type, *kl, *ku, *cfrom, *cto, *m, *n, *lda); })
                .library(library))

// dlag2s_ zlag2c_: a value beyond single precision is info 1.
ZULI_DROPIN(
    D, lag2s,
    (const int* m, const int* n, const P* a, const int* lda, float* sa, const int* ldsa, int* info),
    (m, n, a, lda, sa, ldsa, info), lag2s, (*m, *n, a, *lda, sa, *ldsa),
    .lapack(Family::Utility, order2(*m, *n), info).library(library).dataInfo([] { return 1; }))
ZULI_DROPIN(Z, lag2c,
            (const int* m, const int* n, const P* a, const int* lda, zuliComplexFloat* sa,
             const int* ldsa, int* info),
            (m, n, a, lda, sa, ldsa, info), lag2c, (*m, *n, a, *lda, sa, *ldsa),
            .lapack(Family::Utility, order2(*m, *n), info).library(library).dataInfo([] {
                return 1;
            }))

// slag2d_ clag2z_
ZULI_DROPIN(S, lag2d,
            (const int* m, const int* n, const P* sa, const int* ldsa, double* a, const int* lda,
             int* info),
            (m, n, sa, ldsa, a, lda, info), lag2d, (*m, *n, sa, *ldsa, a, *lda),
            .lapack(Family::Utility, order2(*m, *n), info).library(library))
ZULI_DROPIN(C, lag2z,
            (const int* m, const int* n, const P* sa, const int* ldsa, zuliComplexDouble* a,
             const int* lda, int* info),
            (m, n, sa, ldsa, a, lda, info), lag2z, (*m, *n, sa, *ldsa, a, *lda),
            .lapack(Family::Utility, order2(*m, *n), info).library(library))

// dlat2s_ zlat2c_ (not in lapack.h; LAPACK 3.11's interface): uplo other than 'U' is the lower
// triangle. LAPACK's lat2s sets INFO only when a value overflows, and leaves it alone otherwise.
ZULI_DROPIN(D, lat2s,
            (const char* uplo, const int* n, const P* a, const int* lda, float* sa, const int* ldsa,
             int* info, size_t uploLength),
            (uplo, n, a, lda, sa, ldsa, info, uploLength), lat2s,
            (letterOr(uplo, "U", 'L'), *n, a, *lda, sa, *ldsa),
            .noInfo(Family::Utility, *n).library(library).dataInfo([&] { return *info = 1; }))
ZULI_DROPIN(Z, lat2c,
            (const char* uplo, const int* n, const P* a, const int* lda, zuliComplexFloat* sa,
             const int* ldsa, int* info, size_t uploLength),
            (uplo, n, a, lda, sa, ldsa, info, uploLength), lat2c,
            (letterOr(uplo, "U", 'L'), *n, a, *lda, sa, *ldsa),
            .noInfo(Family::Utility, *n).library(library).dataInfo([&] { return *info = 1; }))

// slarfb_ dlarfb_ clarfb_ zlarfb_: each letter LAPACK does not name is the other choice (trans:
// any letter but 'N' applies H^T, or H^H in C and Z); the work array is not needed.
ZULI_DROPIN(ALL, larfb,
            (const char* side, const char* trans, const char* direct, const char* storev,
             const int* m, const int* n, const int* k, const P* v, const int* ldv, const P* t,
             const int* ldt, P* c, const int* ldc, P* work, const int* ldwork, size_t sideLength,
             size_t transLength, size_t directLength, size_t storevLength),
            (side, trans, direct, storev, m, n, k, v, ldv, t, ldt, c, ldc, work, ldwork, sideLength,
             transLength, directLength, storevLength),
            larfb,
            (letterOr(side, "L", 'R'), letterOr(trans, "N", 'C'), letterOr(direct, "F", 'B'),
             letterOr(storev, "C", 'R'), *m, *n, *k, v, *ldv, t, *ldt, c, *ldc),
            .noInfo(Family::Qr, order3(*m, *n, *k)).library(library))

// ---- the QR family ------------------------------------------------------------------------------
// A factorization of an m x n matrix has the size of an m x n x min(m, n) product; generating or
// applying Q from k reflectors that of an m x n x k product. No routine of the family has a data
// error.

// The factorizations with LAPACK's workspace minimum MINIMUM (an expression in m and n).
#define ZULI_DROPIN_QR_FACTOR(NAME, MINIMUM)                                                 \
    ZULI_DROPIN(ALL, NAME,                                                                   \
                (const int* m, const int* n, P* a, const int* lda, P* tau, P* work,          \
                 const int* lwork, int* info),                                               \
                (m, n, a, lda, tau, work, lwork, info), NAME, (*m, *n, a, *lda, tau),        \
                .lapack(Family::Qr, order3(*m, *n, std::min(*m, *n)), info)                  \
                    .check([&] {                                                             \
                        return answerQuery(factorCheck(*m, *n, *lda, *lwork, MINIMUM), work, \
                                           *lwork, MINIMUM);                                 \
                    })                                                                       \
                    .library(library, {1, 2, 0, 4, 0}))

// sgeqrf_ dgeqrf_ cgeqrf_ zgeqrf_: LAPACK's geqrf asks for max(1, n) only when m > 0.
ZULI_DROPIN_QR_FACTOR(geqrf, *m > 0 ? std::max(1, *n) : 1)
// sgeqrfp_ dgeqrfp_ cgeqrfp_ zgeqrfp_
ZULI_DROPIN_QR_FACTOR(geqrfp, std::max(1, *n))
// sgelqf_ dgelqf_ cgelqf_ zgelqf_
ZULI_DROPIN_QR_FACTOR(gelqf, std::max(1, *m))
// sgeqlf_ dgeqlf_ cgeqlf_ zgeqlf_
ZULI_DROPIN_QR_FACTOR(geqlf, std::max(1, *n))
// sgerqf_ dgerqf_ cgerqf_ zgerqf_
ZULI_DROPIN_QR_FACTOR(gerqf, std::max(1, *m))

// Q formed from k reflectors: the real routine or*, the complex un* (LIST REAL or COMPLEX).
#define ZULI_DROPIN_QR_GENERATE(LIST, NAME, ROWS)                                               \
    ZULI_DROPIN(LIST, NAME,                                                                     \
                (const int* m, const int* n, const int* k, P* a, const int* lda, const P* tau,  \
                 P* work, const int* lwork, int* info),                                         \
                (m, n, k, a, lda, tau, work, lwork, info), NAME, (*m, *n, *k, a, *lda, tau),    \
                .lapack(Family::Qr, order3(*m, *n, *k), info)                                   \
                    .check([&] {                                                                \
                        return answerQuery(generateCheck(*m, *n, *k, *lda, *lwork, ROWS), work, \
                                           *lwork, std::max(1, ROWS ? *m : *n));                \
                    })                                                                          \
                    .library(library, {1, 2, 3, 0, 5, 0}))

// sorgqr_ dorgqr_ cungqr_ zungqr_
ZULI_DROPIN_QR_GENERATE(REAL, orgqr, false)
ZULI_DROPIN_QR_GENERATE(COMPLEX, ungqr, false)
// sorglq_ dorglq_ cunglq_ zunglq_
ZULI_DROPIN_QR_GENERATE(REAL, orglq, true)
ZULI_DROPIN_QR_GENERATE(COMPLEX, unglq, true)
// sorgql_ dorgql_ cungql_ zungql_
ZULI_DROPIN_QR_GENERATE(REAL, orgql, false)
ZULI_DROPIN_QR_GENERATE(COMPLEX, ungql, false)
// sorgrq_ dorgrq_ cungrq_ zungrq_
ZULI_DROPIN_QR_GENERATE(REAL, orgrq, true)
ZULI_DROPIN_QR_GENERATE(COMPLEX, ungrq, true)

// C multiplied by Q or Q^H from k reflectors, without forming Q.
#define ZULI_DROPIN_QR_MULTIPLY(LIST, NAME, ROWS)                                                \
    ZULI_DROPIN(                                                                                 \
        LIST, NAME,                                                                              \
        (const char* side, const char* trans, const int* m, const int* n, const int* k,          \
         const P* a, const int* lda, const P* tau, P* c, const int* ldc, P* work,                \
         const int* lwork, int* info, size_t sideLength, size_t transLength),                    \
        (side, trans, m, n, k, a, lda, tau, c, ldc, work, lwork, info, sideLength, transLength), \
        NAME, (*side, *trans, *m, *n, *k, a, *lda, tau, c, *ldc),                                \
        .lapack(Family::Qr, order3(*m, *n, *k), info)                                            \
            .check([&] {                                                                         \
                return answerQuery(multiplyCheck(side, trans, *m, *n, *k, *lda, *ldc, *lwork,    \
                                                 ROWS, !std::is_floating_point_v<P>),            \
                                   work, *lwork, std::max(1, same(side, 'L') ? *n : *m));        \
            })                                                                                   \
            .library(library, {1, 2, 3, 4, 5, 0, 7, 0, 0, 10}))

// sormqr_ dormqr_ cunmqr_ zunmqr_
ZULI_DROPIN_QR_MULTIPLY(REAL, ormqr, false)
ZULI_DROPIN_QR_MULTIPLY(COMPLEX, unmqr, false)
// sormlq_ dormlq_ cunmlq_ zunmlq_
ZULI_DROPIN_QR_MULTIPLY(REAL, ormlq, true)
ZULI_DROPIN_QR_MULTIPLY(COMPLEX, unmlq, true)
// sormql_ dormql_ cunmql_ zunmql_
ZULI_DROPIN_QR_MULTIPLY(REAL, ormql, false)
ZULI_DROPIN_QR_MULTIPLY(COMPLEX, unmql, false)
// sormrq_ dormrq_ cunmrq_ zunmrq_
ZULI_DROPIN_QR_MULTIPLY(REAL, ormrq, true)
ZULI_DROPIN_QR_MULTIPLY(COMPLEX, unmrq, true)

// ---- least squares -----------------------------------------------------------------------------
// gels solves with a QR (m >= n) or LQ factorization: the size of an m x n x (min(m, n) + nrhs)
// product. Its data error is the first zero on the triangle's diagonal; gglse's is info 1 for a
// zero on T12's diagonal (the last p columns of B's factorization), else 2.

// sgels_ dgels_ cgels_ zgels_
ZULI_DROPIN(ALL, gels,
            (const char* trans, const int* m, const int* n, const int* nrhs, P* a, const int* lda,
             P* b, const int* ldb, P* work, const int* lwork, int* info, size_t transLength),
            (trans, m, n, nrhs, a, lda, b, ldb, work, lwork, info, transLength), gels,
            (*trans, *m, *n, *nrhs, a, *lda, b, *ldb),
            .lapack(Family::Qr, order3(*m, *n, std::min(*m, *n) + *nrhs), info)
                .check([&] {
                    const int mn = std::min(*m, *n);
                    return answerQuery(gelsCheck(trans, *m, *n, *nrhs, *lda, *ldb, *lwork,
                                                 !std::is_floating_point_v<P>),
                                       work, *lwork, std::max(1, mn + std::max(mn, *nrhs)));
                })
                .hostWhen(gelsOnHost(trans, *m, *n, *nrhs, a, *lda, b, *ldb, *lwork))
                .library(library, {1, 2, 3, 4, 0, 6, 0, 8})
                .dataInfo([&] { return firstZero(std::min(*m, *n), a, *lda + 1); }))

// sggrqf_ dggrqf_ cggrqf_ zggrqf_
ZULI_DROPIN(ALL, ggrqf,
            (const int* m, const int* p, const int* n, P* a, const int* lda, P* taua, P* b,
             const int* ldb, P* taub, P* work, const int* lwork, int* info),
            (m, p, n, a, lda, taua, b, ldb, taub, work, lwork, info), ggrqf,
            (*m, *p, *n, a, *lda, taua, b, *ldb, taub),
            .lapack(Family::Qr, ggrqfSize(*m, *p, *n), info)
                .check([&] {
                    return answerQuery(ggrqfCheck(*m, *p, *n, *lda, *ldb, *lwork), work, *lwork,
                                       std::max({1, *m, *p, *n}));
                })
                .library(library, {1, 2, 3, 0, 5, 0, 0, 8, 0}))

// sgglse_ dgglse_ cgglse_ zgglse_
ZULI_DROPIN(ALL, gglse,
            (const int* m, const int* n, const int* p, P* a, const int* lda, P* b, const int* ldb,
             P* c, P* d, P* x, P* work, const int* lwork, int* info),
            (m, n, p, a, lda, b, ldb, c, d, x, work, lwork, info), gglse,
            (*m, *n, *p, a, *lda, b, *ldb, c, d, x),
            .lapack(Family::Qr, ggrqfSize(*p, *m, *n), info)
                .check([&] {
                    return answerQuery(gglseCheck(*m, *n, *p, *lda, *ldb, *lwork), work, *lwork,
                                       *n == 0 ? 1 : *m + *n + *p);
                })
                .library(library, {1, 2, 3, 0, 5, 0, 7, 0, 0, 0})
                .dataInfo([&] {
                    const bool t12 = *p > 0 && firstZero(*p, b + int64_t(*n - *p) * *ldb, *ldb + 1);
                    return t12 ? 1 : 2;
                }))

// ---- the nonsymmetric eigenproblem ------------------------------------------------------------
// gehrd reduces the block ilo ... ihi of an n x n matrix and updates the rows above it and the
// columns to its right: the size of an n x nh x nh product, nh = ihi - ilo + 1; orghr/unghr forms
// Q from its nh - 1 reflectors, as orgqr does. Both share the QR family's threshold (their work is
// Householder blocks, as the QR family's is) and have no data error.
//
// geev shares it too: what the library does on the GPU (gehrd, the Q of it and the eigenvectors'
// back-transformation) is that work; the QR algorithm runs on the host wherever the call goes, so
// the threshold where the GPU part wins is where the library does. Its size is n; its data error
// (the QR algorithm did not converge) is reported by the library only, so its info is read from the
// library. The host interface leaves A as it was, where LAPACK overwrites it (its contents on
// return are not defined).

// sgehrd_ dgehrd_ cgehrd_ zgehrd_
ZULI_DROPIN(ALL, gehrd,
            (const int* n, const int* ilo, const int* ihi, P* a, const int* lda, P* tau, P* work,
             const int* lwork, int* info),
            (n, ilo, ihi, a, lda, tau, work, lwork, info), gehrd, (*n, *ilo, *ihi, a, *lda, tau),
            .lapack(Family::Qr, order3(*n, *ihi - *ilo + 1, *ihi - *ilo + 1), info)
                .check([&] {
                    return answerQuery(hessenbergCheck(*n, *ilo, *ihi, *lda, *lwork, *n), work,
                                       *lwork, std::max(1, *n));
                })
                .library(library, {1, 2, 3, 0, 5, 0}))

// The Q of gehrd: the real routine orghr, the complex unghr (LIST REAL or COMPLEX).
#define ZULI_DROPIN_HESSENBERG_Q(LIST, NAME)                                                   \
    ZULI_DROPIN(                                                                               \
        LIST, NAME,                                                                            \
        (const int* n, const int* ilo, const int* ihi, P* a, const int* lda, const P* tau,     \
         P* work, const int* lwork, int* info),                                                \
        (n, ilo, ihi, a, lda, tau, work, lwork, info), NAME, (*n, *ilo, *ihi, a, *lda, tau),   \
        .lapack(Family::Qr, *ihi - *ilo, info)                                                 \
            .check([&] {                                                                       \
                return answerQuery(hessenbergCheck(*n, *ilo, *ihi, *lda, *lwork, *ihi - *ilo), \
                                   work, *lwork, std::max(1, *ihi - *ilo));                    \
            })                                                                                 \
            .library(library, {1, 2, 3, 0, 5, 0}))
// sorghr_ dorghr_ cunghr_ zunghr_
ZULI_DROPIN_HESSENBERG_Q(REAL, orghr)
ZULI_DROPIN_HESSENBERG_Q(COMPLEX, unghr)

// sgeev_ dgeev_: the eigenvalues as real and imaginary parts wr, wi.
ZULI_DROPIN(REAL, geev,
            (const char* jobvl, const char* jobvr, const int* n, P* a, const int* lda, P* wr, P* wi,
             P* vl, const int* ldvl, P* vr, const int* ldvr, P* work, const int* lwork, int* info,
             size_t jobvlLength, size_t jobvrLength),
            (jobvl, jobvr, n, a, lda, wr, wi, vl, ldvl, vr, ldvr, work, lwork, info, jobvlLength,
             jobvrLength),
            geev, (*jobvl, *jobvr, *n, a, *lda, wr, wi, vl, *ldvl, vr, *ldvr),
            .lapack(Family::Qr, *n, info)
                .check([&] {
                    return answerQuery(
                        geevCheck(jobvl, jobvr, *n, *lda, *ldvl, *ldvr, *lwork, false), work,
                        *lwork, geevMinimum(jobvl, jobvr, *n, false));
                })
                .hostWhen(geevOnHost(jobvl, jobvr, *n, a, *lda, *ldvl, *ldvr, *lwork))
                .library(library, {1, 2, 3, 0, 5, 0, 0, 0, 9, 0, 11}))

// cgeev_ zgeev_: the eigenvalues w; rwork (2n reals) is not needed.
ZULI_DROPIN(COMPLEX, geev,
            (const char* jobvl, const char* jobvr, const int* n, P* a, const int* lda, P* w, P* vl,
             const int* ldvl, P* vr, const int* ldvr, P* work, const int* lwork, R* rwork,
             int* info, size_t jobvlLength, size_t jobvrLength),
            (jobvl, jobvr, n, a, lda, w, vl, ldvl, vr, ldvr, work, lwork, rwork, info, jobvlLength,
             jobvrLength),
            geev, (*jobvl, *jobvr, *n, a, *lda, w, vl, *ldvl, vr, *ldvr),
            .lapack(Family::Qr, *n, info)
                .check([&] {
                    return answerQuery(
                        geevCheck(jobvl, jobvr, *n, *lda, *ldvl, *ldvr, *lwork, true), work, *lwork,
                        geevMinimum(jobvl, jobvr, *n, true));
                })
                .hostWhen(geevOnHost(jobvl, jobvr, *n, a, *lda, *ldvl, *ldvr, *lwork))
                .library(library, {1, 2, 3, 0, 5, 0, 0, 8, 0, 10}))

// ---- reflectors and rotations -------------------------------------------------------------------
// Their work is linear in their data, so they belong to the utility family (a vector of n elements
// has the size sqrt(n) of an n x 1 utility). Apart from lasr LAPACK checks nothing: whatever the
// library refuses (a negative n or stride, a null pointer) goes to the host LAPACK.

// slarfg_ dlarfg_ clarfg_ zlarfg_: a stride of 0 or below (the host BLAS's norm and scaling give
// it their own meaning) goes to the host LAPACK.
ZULI_DROPIN(ALL, larfg, (const int* n, P* alpha, P* x, const int* incx, P* tau),
            (n, alpha, x, incx, tau), larfg, (*n, alpha, x, *incx, tau),
            .noInfo(Family::Utility, order2(*n, 1)).hostWhen(*incx <= 0).library(library))

// slasr_ dlasr_ clasr_ zlasr_: the library leaves pivots 'T' and 'B' to the host LAPACK.
ZULI_DROPIN(ALL, lasr,
            (const char* side, const char* pivot, const char* direct, const int* m, const int* n,
             const R* c, const R* s, P* a, const int* lda, size_t sideLength, size_t pivotLength,
             size_t directLength),
            (side, pivot, direct, m, n, c, s, a, lda, sideLength, pivotLength, directLength), lasr,
            (*side, *pivot, *direct, *m, *n, c, s, a, *lda),
            .noInfo(Family::Utility, order2(*m, *n))
                .check([&] { return lasrCheck(side, pivot, direct, *m, *n, *lda); })
                .hostWhen(!same(pivot, 'V'))
                .library(library))

// slar2v_ dlar2v_ clar2v_ zlar2v_
ZULI_DROPIN(ALL, lar2v,
            (const int* n, P* x, P* y, P* z, const int* incx, const R* c, const P* s,
             const int* incc),
            (n, x, y, z, incx, c, s, incc), lar2v, (*n, x, y, z, *incx, c, s, *incc),
            .noInfo(Family::Utility, order2(*n, 1)).library(library))

// slargv_ dlargv_ clargv_ zlargv_
ZULI_DROPIN(ALL, largv,
            (const int* n, P* x, const int* incx, P* y, const int* incy, R* c, const int* incc),
            (n, x, incx, y, incy, c, incc), largv, (*n, x, *incx, y, *incy, c, *incc),
            .noInfo(Family::Utility, order2(*n, 1)).library(library))

// slartv_ dlartv_ clartv_ zlartv_
ZULI_DROPIN(ALL, lartv,
            (const int* n, P* x, const int* incx, P* y, const int* incy, const R* c, const P* s,
             const int* incc),
            (n, x, incx, y, incy, c, s, incc), lartv, (*n, x, *incx, y, *incy, c, s, *incc),
            .noInfo(Family::Utility, order2(*n, 1)).library(library))
