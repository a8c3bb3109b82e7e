// The internal cuBLAS wrappers: the option-letter mapping, and the operations the exported routines
// do not reach (level 1, trsv/trmv, the rank-1 updates, the real-for-complex reductions) against
// the host BLAS in four precisions, on device data inside a framed call.
#include "blas_test_support.h"

namespace {

using namespace blas_test;
namespace zb = zuli::blas;

TEST(CublasOptions, LettersMapToTheirOperationOthersToTheDefault) {
    struct Row {
        char letter;
        cublasOperation_t op;
        cublasFillMode_t fill;
        cublasSideMode_t side;
        cublasDiagType_t diag;
    } rows[] = {
        {'N', CUBLAS_OP_N, CUBLAS_FILL_MODE_LOWER, CUBLAS_SIDE_LEFT, CUBLAS_DIAG_NON_UNIT},
        {'T', CUBLAS_OP_T, CUBLAS_FILL_MODE_LOWER, CUBLAS_SIDE_LEFT, CUBLAS_DIAG_NON_UNIT},
        {'t', CUBLAS_OP_T, CUBLAS_FILL_MODE_LOWER, CUBLAS_SIDE_LEFT, CUBLAS_DIAG_NON_UNIT},
        {'C', CUBLAS_OP_C, CUBLAS_FILL_MODE_LOWER, CUBLAS_SIDE_LEFT, CUBLAS_DIAG_NON_UNIT},
        {'c', CUBLAS_OP_C, CUBLAS_FILL_MODE_LOWER, CUBLAS_SIDE_LEFT, CUBLAS_DIAG_NON_UNIT},
        {'U', CUBLAS_OP_N, CUBLAS_FILL_MODE_UPPER, CUBLAS_SIDE_LEFT, CUBLAS_DIAG_UNIT},
        {'u', CUBLAS_OP_N, CUBLAS_FILL_MODE_UPPER, CUBLAS_SIDE_LEFT, CUBLAS_DIAG_UNIT},
        {'L', CUBLAS_OP_N, CUBLAS_FILL_MODE_LOWER, CUBLAS_SIDE_LEFT, CUBLAS_DIAG_NON_UNIT},
        {'R', CUBLAS_OP_N, CUBLAS_FILL_MODE_LOWER, CUBLAS_SIDE_RIGHT, CUBLAS_DIAG_NON_UNIT},
        {'r', CUBLAS_OP_N, CUBLAS_FILL_MODE_LOWER, CUBLAS_SIDE_RIGHT, CUBLAS_DIAG_NON_UNIT},
        {'x', CUBLAS_OP_N, CUBLAS_FILL_MODE_LOWER, CUBLAS_SIDE_LEFT, CUBLAS_DIAG_NON_UNIT},
        {'\0', CUBLAS_OP_N, CUBLAS_FILL_MODE_LOWER, CUBLAS_SIDE_LEFT, CUBLAS_DIAG_NON_UNIT},
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

TYPED_TEST(Wrappers, LevelOneVectorOperations) {
    using T = TypeParam;
    const int n = 9;
    const T alpha = makeScalar<T>(0.5, -1.5);
    for (int inc : {1, 2, -3}) {
        SCOPED_TRACE(inc);
        auto x = Operand<T>::vector(n, inc, this->rng), y = Operand<T>::vector(n, 1, this->rng);
        auto wx = x, wy = y;
        // y = alpha x + y; swap; scale x by alpha; copy x into y.
        pick<T>(cblas_saxpy, cblas_daxpy, cblas_caxpy, cblas_zaxpy)(n, byBlas(alpha), wx.ptr(), inc,
                                                                    wy.ptr(), 1);
        pick<T>(cblas_sswap, cblas_dswap, cblas_cswap, cblas_zswap)(n, wx.ptr(), inc, wy.ptr(), 1);
        pick<T>(cblas_sscal, cblas_dscal, cblas_cscal, cblas_zscal)(n, byBlas(alpha), wx.ptr(),
                                                                    inc);
        auto wz = Operand<T>::vector(n, 1, this->rng), z = wz;
        pick<T>(cblas_scopy, cblas_dcopy, cblas_ccopy, cblas_zcopy)(n, wx.ptr(), inc, wz.ptr(), 1);
        onDevice<T>(
            [&](const zuli::CallContext& ctx, T* dx, T* dy, T* dz) {
                zb::axpy(ctx, n, &alpha, dx, inc, dy, 1);
                zb::swap(ctx, n, dx, inc, dy, 1);
                zb::scal(ctx, n, &alpha, dx, inc);
                zb::copy(ctx.handle, n, dx, inc, dz, 1);
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
    if constexpr (zuli::IsComplexV<T>) {
        T ru{}, rc{};
        pick<T>(nullptr, nullptr, cblas_cdotu_sub, cblas_zdotu_sub)(n, x.ptr(), 2, y.ptr(), -1,
                                                                    &ru);
        pick<T>(nullptr, nullptr, cblas_cdotc_sub, cblas_zdotc_sub)(n, x.ptr(), 2, y.ptr(), -1,
                                                                    &rc);
        want.data = {ru, rc,
                     T(pick<T>(nullptr, nullptr, cblas_scnrm2, cblas_dznrm2)(n, x.ptr(), 2)),
                     T(pick<T>(nullptr, nullptr, cblas_scasum, cblas_dzasum)(n, x.ptr(), 2))};
    } else {
        const T d = pick<T>(cblas_sdot, cblas_ddot, nullptr, nullptr)(n, x.ptr(), 2, y.ptr(), -1);
        want.data = {d, d, pick<T>(cblas_snrm2, cblas_dnrm2, nullptr, nullptr)(n, x.ptr(), 2),
                     pick<T>(cblas_sasum, cblas_dasum, nullptr, nullptr)(n, x.ptr(), 2)};
    }
    expectNear(got, want, n, "dotu dotc nrm2 asum");
}

// Real scalars on complex data (csscal, zdscal; csrot, zdrot) and the real rotation.
TYPED_TEST(Wrappers, RealScaleAndRotation) {
    using T = TypeParam;
    const int n = 7;
    auto x = Operand<T>::vector(n, 1, this->rng), y = Operand<T>::vector(n, 3, this->rng);
    auto wx = x, wy = y;
    const Real<T> s = Real<T>(0.6), c = Real<T>(0.8), scale = Real<T>(-2.5);
    // Reference by hand: x' = c x + s y, y' = c y - s x, then x' *= scale.
    for (int i = 0; i < n; ++i) {
        const T xi = wx.data[i], yi = wy.data[3 * i];
        wx.data[i] = (T(c) * xi + T(s) * yi) * T(scale);
        wy.data[3 * i] = T(c) * yi - T(s) * xi;
    }
    onDevice<T>(
        [&](const zuli::CallContext& ctx, T* dx, T* dy) {
            zb::rot(ctx, n, dx, 1, dy, 3, &c, &s);
            zb::scal(ctx, n, &scale, dx, 1);
        },
        x, y);
    expectNear(x, wx, 2, "x");
    expectNear(y, wy, 2, "y");
}

TYPED_TEST(Wrappers, TriangularVectorAndRankOneOperations) {
    using T = TypeParam;
    const int n = 6, m = 5;
    Operand<T> A(n, n, n + 1, this->rng), G(m, n, m, this->rng);
    for (int i = 0; i < n; ++i) A.at(i, i) = A.at(i, i) + T(Real<T>(n));
    auto x = Operand<T>::vector(n, 2, this->rng), v = Operand<T>::vector(n, -1, this->rng);
    auto u = Operand<T>::vector(m, 1, this->rng);
    auto wx = x, wv = v, wG = G;
    const T alpha = makeScalar<T>(1.0, -0.5);
    pick<T>(cblas_strmv, cblas_dtrmv, cblas_ctrmv, cblas_ztrmv)(
        CblasColMajor, CblasUpper, CblasConjTrans, CblasNonUnit, n, A.ptr(), A.ld, wx.ptr(), 2);
    pick<T>(cblas_strsv, cblas_dtrsv, cblas_ctrsv, cblas_ztrsv)(
        CblasColMajor, CblasLower, CblasNoTrans, CblasUnit, n, A.ptr(), A.ld, wv.ptr(), -1);
    if constexpr (zuli::IsComplexV<T>)
        pick<T>(nullptr, nullptr, cblas_cgerc, cblas_zgerc)(CblasColMajor, m, n, &alpha, u.ptr(), 1,
                                                            x.ptr(), 2, wG.ptr(), wG.ld);
    else
        pick<T>(cblas_sger, cblas_dger, nullptr, nullptr)(CblasColMajor, m, n, alpha, u.ptr(), 1,
                                                          x.ptr(), 2, wG.ptr(), wG.ld);
    onDevice<T>(
        [&](const zuli::CallContext& ctx, T* dA, T* dG, T* dx, T* dv, T* du) {
            // The rank-1 update reads x before trmv overwrites it.
            zb::gerc(ctx, m, n, &alpha, du, 1, dx, 2, dG, m);
            zb::trmv(ctx, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_C, CUBLAS_DIAG_NON_UNIT, n, dA, n + 1,
                     dx, 2);
            zb::trsv(ctx, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, CUBLAS_DIAG_UNIT, n, dA, n + 1, dv,
                     -1);
        },
        A, G, x, v, u);
    expectNear(x, wx, n, "trmv");
    expectNear(v, wv, n, "trsv");
    expectNear(G, wG, 1, "gerc");
}

// The out-of-place trmm form writes C and leaves B alone; the Hermitian names reduce to the
// symmetric ones on real data.
TYPED_TEST(Wrappers, OutOfPlaceTrmmAndHermitianNamesOnAnyPrecision) {
    using T = TypeParam;
    const int m = 4, n = 3;
    Operand<T> A(m, m, m, this->rng), B(m, n, m, this->rng), C(m, n, m, this->rng);
    Operand<T> H(m, m, m, this->rng), K(m, n, m, this->rng);
    const Operand<T> wB = B;
    Operand<T> wC = B, wH = H;
    const T alpha = makeScalar<T>(2.0, 1.0);
    const Real<T> one = 1;
    pick<T>(cblas_strmm, cblas_dtrmm, cblas_ctrmm, cblas_ztrmm)(
        CblasColMajor, CblasLeft, CblasUpper, CblasTrans, CblasNonUnit, m, n, byBlas(alpha),
        A.ptr(), A.ld, wC.ptr(), wC.ld);
    if constexpr (zuli::IsComplexV<T>)
        pick<T>(nullptr, nullptr, cblas_cherk, cblas_zherk)(CblasColMajor, CblasLower, CblasNoTrans,
                                                            m, n, one, K.ptr(), K.ld, one, wH.ptr(),
                                                            wH.ld);
    else
        pick<T>(cblas_ssyrk, cblas_dsyrk, nullptr, nullptr)(CblasColMajor, CblasLower, CblasNoTrans,
                                                            m, n, one, K.ptr(), K.ld, one, wH.ptr(),
                                                            wH.ld);
    onDevice<T>(
        [&](const zuli::CallContext& ctx, T* dA, T* dB, T* dC, T* dH, T* dK) {
            zb::trmm(ctx, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_T,
                     CUBLAS_DIAG_NON_UNIT, m, n, &alpha, dA, m, dB, m, dC, m);
            zb::herk(ctx, CUBLAS_FILL_MODE_LOWER, CUBLAS_OP_N, m, n, &one, dK, m, &one, dH, m);
        },
        A, B, C, H, K);
    expectNear(B, wB, 0, "B unchanged");
    expectNear(C, wC, m, "C");
    expectNear(H, wH, n, "herk");
}

}  // namespace
