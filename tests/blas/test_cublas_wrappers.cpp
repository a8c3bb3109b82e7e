// The internal cuBLAS wrappers: the option-letter mapping, and the operations the exported routines
// do not reach (level 1, trsv/trmv, the rank-1 updates, the real-for-complex reductions) against
// the host BLAS in four precisions, on device data inside a framed call.
#include "blas_test_support.h"

namespace {

using namespace blas_test;
namespace zb = zuli::blas;

TEST(CublasOptions, LettersMapToTheirOperationOthersToTheDefault) {
    constexpr auto N = CUBLAS_OP_N, T = CUBLAS_OP_T, C = CUBLAS_OP_C;
    constexpr auto Lo = CUBLAS_FILL_MODE_LOWER, Up = CUBLAS_FILL_MODE_UPPER;
    constexpr auto Left = CUBLAS_SIDE_LEFT, Right = CUBLAS_SIDE_RIGHT;
    constexpr auto NonUnit = CUBLAS_DIAG_NON_UNIT, Unit = CUBLAS_DIAG_UNIT;
    struct Row {
        char letter;
        cublasOperation_t op;
        cublasFillMode_t fill;
        cublasSideMode_t side;
        cublasDiagType_t diag;
    } rows[] = {
        // the upper-case letters run through every exported routine
        {'t', T, Lo, Left, NonUnit},  {'c', C, Lo, Left, NonUnit}, {'u', N, Up, Left, Unit},
        {'r', N, Lo, Right, NonUnit}, {'x', N, Lo, Left, NonUnit}, {'\0', N, Lo, Left, NonUnit},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(int(r.letter));
        EXPECT_EQ(zb::toOperation(r.letter), r.op);
        EXPECT_EQ(zb::toFillMode(r.letter), r.fill);
        EXPECT_EQ(zb::toSideMode(r.letter), r.side);
        EXPECT_EQ(zb::toDiagType(r.letter), r.diag);
    }
}

template <typename T>
using Wrappers = BlasTyped<T>;
TYPED_TEST_SUITE(Wrappers, AllPrecisions);

// Runs body(ctx, device pointers...) in a framed device call on device copies of the operands.
template <typename T, typename Body, typename... Ops>
void onDevice(Body body, Ops&... ops) {
    zuliStatus s = onOperands<T>(
        Api::Device,
        [&](auto*... p) {
            return zuli::deviceRoutine<T>([&](const zuli::CallContext& ctx) { body(ctx, p...); });
        },
        ops...);
    ASSERT_EQ(s, zuliNoError);
}

// axpy, swap, scal, copy, and the real-scalar forms on complex data (csscal, zdscal; csrot,
// zdrot) as well as the real rotation.
TYPED_TEST(Wrappers, LevelOneVectorOperations) {
    using T = TypeParam;
    const int n = 9;
    const T alpha = makeScalar<T>(0.5, -1.5);
    const Real<T> s = Real<T>(0.6), c = Real<T>(0.8), scale = Real<T>(-2.5);
    for (int inc : {1, 2, -3}) {
        SCOPED_TRACE(inc);
        auto x = Operand<T>::vector(n, inc, this->rng), y = Operand<T>::vector(n, 1, this->rng);
        auto z = Operand<T>::vector(n, 1, this->rng);
        auto wx = x, wy = y, wz = z;
        pick<T>(cblas_saxpy, cblas_daxpy, cblas_caxpy, cblas_zaxpy)(n, byBlas(alpha), wx.ptr(), inc,
                                                                    wy.ptr(), 1);
        pick<T>(cblas_sswap, cblas_dswap, cblas_cswap, cblas_zswap)(n, wx.ptr(), inc, wy.ptr(), 1);
        pick<T>(cblas_sscal, cblas_dscal, cblas_cscal, cblas_zscal)(n, byBlas(alpha), wx.ptr(),
                                                                    inc);
        pick<T>(cblas_scopy, cblas_dcopy, cblas_ccopy, cblas_zcopy)(n, wx.ptr(), inc, wz.ptr(), 1);
        pick<T>(cblas_srot, cblas_drot, cblas_csrot, cblas_zdrot)(n, wx.ptr(), inc, wy.ptr(), 1, c,
                                                                  s);
        pick<T>(cblas_sscal, cblas_dscal, cblas_csscal, cblas_zdscal)(n, scale, wy.ptr(), 1);
        onDevice<T>(
            [&](const zuli::CallContext& ctx, T* dx, T* dy, T* dz) {
                zb::axpy(ctx, n, &alpha, dx, inc, dy, 1);
                zb::swap(ctx, n, dx, inc, dy, 1);
                zb::scal(ctx, n, &alpha, dx, inc);
                zb::copy(ctx.handle, n, dx, inc, dz, 1);
                zb::rot(ctx, n, dx, inc, dy, 1, &c, &s);
                zb::scal(ctx, n, &scale, dy, 1);
            },
            x, y, z);
        expectNear(x, wx, 4, "x");
        expectNear(y, wy, 4, "y");
        expectNear(z, wz, 4, "z");
    }
}

TYPED_TEST(Wrappers, LevelOneReductions) {
    using T = TypeParam;
    const int n = 11;
    auto x = Operand<T>::vector(n, 2, this->rng), y = Operand<T>::vector(n, -1, this->rng);
    x.data[4 * 2] = makeScalar<T>(3.0, -2.0);  // the element of largest |re| + |im|: index 5
    T dotu{}, dotc{};
    Real<T> nrm = 0, asum = 0;
    int imax = 0;
    onDevice<T>(
        [&](const zuli::CallContext& ctx, T* dx, T* dy) {
            zb::dot(ctx, n, dx, 2, dy, -1, &dotu);
            zb::dotc(ctx, n, dx, 2, dy, -1, &dotc);
            zb::nrm2(ctx, n, dx, 2, &nrm);
            zb::asum(ctx, n, dx, 2, &asum);
            zb::iamax(ctx, n, dx, 2, &imax);
        },
        x, y);
    EXPECT_EQ(imax, 5);
    Operand<T> got(1, 4, 1, this->rng), want = got;
    got.data = {dotu, dotc, T(nrm), T(asum)};
    want.data = {T(), T(),
                 T(pick<T>(cblas_snrm2, cblas_dnrm2, cblas_scnrm2, cblas_dznrm2)(n, x.ptr(), 2)),
                 T(pick<T>(cblas_sasum, cblas_dasum, cblas_scasum, cblas_dzasum)(n, x.ptr(), 2))};
    if constexpr (zuli::IsComplexV<T>) {
        pick<T>(0, 0, cblas_cdotu_sub, cblas_zdotu_sub)(n, x.ptr(), 2, y.ptr(), -1, &want.data[0]);
        pick<T>(0, 0, cblas_cdotc_sub, cblas_zdotc_sub)(n, x.ptr(), 2, y.ptr(), -1, &want.data[1]);
    } else {
        want.data[0] = want.data[1] =
            pick<T>(cblas_sdot, cblas_ddot, 0, 0)(n, x.ptr(), 2, y.ptr(), -1);
    }
    expectNear(got, want, n, "dotu dotc nrm2 asum");
}

// trmv, trsv, the rank-1 update (gerc, ger on real data), the out-of-place trmm (writes C, leaves
// B alone) and herk (syrk on real data).
TYPED_TEST(Wrappers, MatrixOperationsTheExportsDoNotReach) {
    using T = TypeParam;
    const int n = 6, m = 5;
    Operand<T> A(n, n, n + 1, this->rng), G(m, n, m, this->rng);
    Operand<T> B(n, m, n, this->rng), C(n, m, n, this->rng), H(n, n, n, this->rng);
    A.strengthenDiagonal(n);
    auto x = Operand<T>::vector(n, 2, this->rng), v = Operand<T>::vector(n, -1, this->rng);
    auto u = Operand<T>::vector(m, 1, this->rng);
    auto wx = x, wv = v, wG = G, wB = B, wC = B, wH = H;
    const T alpha = makeScalar<T>(1.0, -0.5);
    const Real<T> one = 1;
    pick<T>(cblas_strmv, cblas_dtrmv, cblas_ctrmv, cblas_ztrmv)(
        CblasColMajor, CblasUpper, CblasConjTrans, CblasNonUnit, n, A.ptr(), A.ld, wx.ptr(), 2);
    pick<T>(cblas_strsv, cblas_dtrsv, cblas_ctrsv, cblas_ztrsv)(
        CblasColMajor, CblasLower, CblasNoTrans, CblasUnit, n, A.ptr(), A.ld, wv.ptr(), -1);
    pick<T>(cblas_strmm, cblas_dtrmm, cblas_ctrmm, cblas_ztrmm)(
        CblasColMajor, CblasLeft, CblasUpper, CblasTrans, CblasNonUnit, n, m, byBlas(alpha),
        A.ptr(), A.ld, wC.ptr(), wC.ld);
    if constexpr (zuli::IsComplexV<T>) {
        pick<T>(nullptr, nullptr, cblas_cgerc, cblas_zgerc)(CblasColMajor, m, n, &alpha, u.ptr(), 1,
                                                            x.ptr(), 2, wG.ptr(), wG.ld);
        pick<T>(nullptr, nullptr, cblas_cherk, cblas_zherk)(CblasColMajor, CblasLower, CblasNoTrans,
                                                            n, m, one, B.ptr(), B.ld, one, wH.ptr(),
                                                            wH.ld);
    } else {
        pick<T>(cblas_sger, cblas_dger, nullptr, nullptr)(CblasColMajor, m, n, alpha, u.ptr(), 1,
                                                          x.ptr(), 2, wG.ptr(), wG.ld);
        pick<T>(cblas_ssyrk, cblas_dsyrk, nullptr, nullptr)(CblasColMajor, CblasLower, CblasNoTrans,
                                                            n, m, one, B.ptr(), B.ld, one, wH.ptr(),
                                                            wH.ld);
    }
    onDevice<T>(
        [&](const zuli::CallContext& ctx, T* dA, T* dG, T* dx, T* dv, T* du, T* dB, T* dC, T* dH) {
            // The rank-1 update reads x before trmv overwrites it.
            zb::gerc(ctx, m, n, &alpha, du, 1, dx, 2, dG, m);
            zb::trmv(ctx, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_C, CUBLAS_DIAG_NON_UNIT, n, dA, n + 1,
                     dx, 2);
            zb::trsv(ctx, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, CUBLAS_DIAG_UNIT, n, dA, n + 1, dv,
                     -1);
            zb::trmm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_T,
                     CUBLAS_DIAG_NON_UNIT, n, m, &alpha, dA, n + 1, dB, n, dC, n);
            zb::herk(ctx, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, n, m, &one, dB, n, &one, dH, n);
        },
        A, G, x, v, u, B, C, H);
    expectNear(x, wx, n, "trmv");
    expectNear(v, wv, n, "trsv");
    expectNear(G, wG, 1, "gerc");
    expectNear(B, wB, 0, "trmm: B unchanged");
    expectNear(C, wC, n, "trmm: C");
    expectNear(H, wH, m, "herk");
}

}  // namespace
