// iter2_rows.cpp - the drop-in rows of the bidiagonal and tridiagonal QR iterations, bdsqr and
// steqr (dropin.h).
//
// Both run their iteration on the host wherever the call goes; what the library adds is the
// application of the rotations to the vectors on the GPU, O(n^2) per vector column, the work of an
// n x n x columns product. So they share the QR family's threshold with that product's size, and
// calls without vectors (bdsqr with ncvt = nru = 0, steqr with compz 'N'), which the library
// would pass to the host LAPACK anyway, go there directly. bdsqr with a matrix C (ncc > 0) is not
// served. LAPACK checks exactly the arguments the library checks, none of the pointers. A failure
// to converge leaves e with as many non-zero elements as LAPACK's info counts: the info is read
// from e.
#include "dropin.h"

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

// LAPACK's info after a failure to converge: the non-zero elements of e (n - 1 of them).
template <typename R>
int nonZeroOffDiagonal(int n, const R* e) {
    int count = 0;
    for (int i = 0; i + 1 < n; ++i)
        if (e[i] != 0) ++count;
    return count;
}

}  // namespace
}  // namespace zuli::dropin

using zuli::dropin::Family;
using zuli::dropin::nonZeroOffDiagonal;
using zuli::dropin::order3;
using zuli::dropin::same;

// sbdsqr_ dbdsqr_ cbdsqr_ zbdsqr_
ZULI_DROPIN(ALL, bdsqr,
            (const char* uplo, const int* n, const int* ncvt, const int* nru, const int* ncc, R* d,
             R* e, P* vt, const int* ldvt, P* u, const int* ldu, P* c, const int* ldc, R* work,
             int* info, size_t uploLength),
            (uplo, n, ncvt, nru, ncc, d, e, vt, ldvt, u, ldu, c, ldc, work, info, uploLength),
            bdsqr, (*uplo, *n, *ncvt, *nru, *ncc, d, e, vt, *ldvt, u, *ldu, c, *ldc),
            .lapack(Family::Qr, order3(*n, *n, std::max(*ncvt, *nru)), info)
                .hostWhen(*ncc != 0 || (*ncvt == 0 && *nru == 0))
                .library(library, {1, 2, 3, 4, 5, 0, 0, 0, 9, 0, 11, 0, 13})
                .dataInfo([&] { return nonZeroOffDiagonal(*n, e); }))

// ssteqr_ dsteqr_ csteqr_ zsteqr_
ZULI_DROPIN(ALL, steqr,
            (const char* compz, const int* n, R* d, R* e, P* z, const int* ldz, R* work, int* info,
             size_t compzLength),
            (compz, n, d, e, z, ldz, work, info, compzLength), steqr, (*compz, *n, d, e, z, *ldz),
            .lapack(Family::Qr, order3(*n, *n, *n), info)
                .hostWhen(same(compz, 'N'))
                .library(library, {1, 2, 0, 0, 0, 6})
                .dataInfo([&] { return nonZeroOffDiagonal(*n, e); }))
