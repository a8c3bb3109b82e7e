// test_householder.cpp - the Householder and rotation routines against the host LAPACK.
#include "solvers/solver_support.h"

#include "runtime/host_lapack.h"

#include <cstring>

namespace {

using namespace solver_test;
using blas_test::pub;

template <typename T>
class HouseholderTyped : public SolverTyped<T> {};
TYPED_TEST_SUITE(HouseholderTyped, AllPrecisions);

// larfb for every (side, trans, direct, storev), against the host LAPACK's larfb on the same V, T
// and C. V and T hold random values everywhere, also in the triangles larfb must not read (a
// result that used them would differ from LAPACK's); V must come back unchanged.
TYPED_TEST(HouseholderTyped, LarfbMatchesLapackForEveryCombination) {
    using T = TypeParam;
    struct Shape {
        int m, n, k, extra;  // extra: ld padding
    };
    for (const Shape& s : {Shape{7, 5, 3, 0}, Shape{70, 45, 16, 3}}) {
        for (char side : {'L', 'R'})
            for (char trans : {'N', 'T', 'C'})
                for (char direct : {'F', 'B'})
                    for (char storev : {'C', 'R'})
                        for (Api api : kApis) {
                            SCOPED_TRACE(std::string(1, side) + trans + direct + storev + " " +
                                         std::to_string(s.m) + "x" + std::to_string(s.n) + " " +
                                         blas_test::apiName(api));
                            const int nq = side == 'L' ? s.m : s.n;
                            const int vr = storev == 'C' ? nq : s.k, vc = storev == 'C' ? s.k : nq;
                            Matrix<T> v(vr, vc, vr + s.extra, this->rng);
                            Matrix<T> t(s.k, s.k, s.k + s.extra, this->rng);
                            Matrix<T> c(s.m, s.n, s.m + s.extra, this->rng);
                            // Reflector-like scales keep the product of moderate size.
                            for (T& x : t.data) x = x * Real<T>(0.5);
                            Matrix<T> want = c, vBefore = v;
                            std::vector<T> work(size_t(std::max(s.m, s.n)) * s.k);
                            const char lapackTrans =
                                trans == 'N' ? 'N' : (zuli::IsComplexV<T> ? 'C' : 'T');
                            zuli::lapack::larfb(side, lapackTrans, direct, storev, s.m, s.n, s.k,
                                                v.ptr(), v.ld, t.ptr(), t.ld, want.ptr(), want.ld,
                                                work.data(), std::max(s.m, s.n));
                            DeviceArrays d(api);
                            auto* pv = d(v);
                            auto* pt = d(t);
                            auto* pc = d(c);
                            ASSERT_EQ(
                                ENTRY(api, larfb)(side, trans, direct, storev, s.m, s.n, s.k,
                                                  pub(pv), v.ld, pub(pt), t.ld, pub(pc), c.ld),
                                zuliNoError);
                            d.download();
                            EXPECT_LT(relativeError(c, want), 30.0);
                            EXPECT_EQ(
                                std::memcmp(v.ptr(), vBefore.ptr(), v.data.size() * sizeof(T)), 0)
                                << "V changed";
                        }
    }
}

}  // namespace
