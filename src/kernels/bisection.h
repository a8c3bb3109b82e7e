// bisection.h - the bisection kernel of stebz: selected eigenvalues of the diagonal blocks of a
// real symmetric tridiagonal matrix, one thread per eigenvalue.
//
// The host has split the matrix into blocks and chosen, per block, a starting interval [gl, gu]
// and the run of eigenvalues wanted from it; the launcher takes that plan as two tables with one
// row per block (device arrays):
//
//   blocks  kBisectionIntFields ints per block: the block's first row (0-based), its order, the
//           number of its eigenvalues below gl (the count at gl), the position in w of the first
//           eigenvalue it gives, the block's 1-based number (stebz's iblock) and the largest number
//           of bisection steps; the rows are in ascending order of position, the first at 0. The
//           element after the last row is the failure flag: set to 1 (never cleared) when an
//           eigenvalue did not converge.
//   bounds  kBisectionRealFields reals per block: gl, gu and the absolute tolerance.
//
// Thread t (t < m) finds its block, the eigenvalue k = count(gl) + 1 + (t - position) of the
// block, and bisects [gl, gu] with Sturm counts of the block (the LDL^T pivots d(j) - e(j-1)^2 /
// pivot(j-1) - x, a pivot at most pivmin counting as negative and replaced by -pivmin), halving
// until the interval is narrower than max(tolerance, pivmin, rtol max(|lo|, |hi|)). w[t] is the
// interval's midpoint and iblock[t] the block's number, negated when the steps ran out first. A
// block of order 1 gives its diagonal element. The tests of convergence and the counts are those
// of LAPACK's stebz, so the eigenvalues agree with it to within the tolerance.
#pragma once

#include <cuda_runtime_api.h>

namespace zuli {

enum BisectionIntField {
    kBisectionFirstRow,
    kBisectionOrder,
    kBisectionCountBelow,
    kBisectionPosition,
    kBisectionNumber,
    kBisectionSteps,
    kBisectionIntFields
};
enum BisectionRealField {
    kBisectionLower,
    kBisectionUpper,
    kBisectionTolerance,
    kBisectionRealFields
};

// R is float or double; d (n) and e (n - 1) the tridiagonal, w and iblock m elements.
template <typename R>
void launchBisection(int m, int nblocks, const R* d, const R* e, const int* blocks, const R* bounds,
                     R pivmin, R rtol, R* w, int* iblock, int* flag, cudaStream_t stream = 0);

}  // namespace zuli
