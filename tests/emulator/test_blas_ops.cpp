// Every emulated cuBLAS operation against the host BLAS on the same data, in the four precisions,
// over its transpose, side, triangle, diagonal and increment variants. Leading dimensions exceed
// the rows so that writes outside the operand (into the padding) are caught: whole buffers are
// compared.
#include "test_blas_support.h"

namespace blastest {
namespace {

constexpr cublasOperation_t kOps[] = {CUBLAS_OP_N, CUBLAS_OP_T, CUBLAS_OP_C};
constexpr cublasFillMode_t kUplos[] = {CUBLAS_FILL_MODE_LOWER, CUBLAS_FILL_MODE_UPPER};
constexpr cublasSideMode_t kSides[] = {CUBLAS_SIDE_LEFT, CUBLAS_SIDE_RIGHT};
constexpr cublasDiagType_t kDiags[] = {CUBLAS_DIAG_NON_UNIT, CUBLAS_DIAG_UNIT};
// (incx, incy) pairs: unit, strided, and backwards.
constexpr std::pair<int, int> kIncs[] = {{1, 1}, {2, -1}, {-3, 2}};

template <typename T>
class BlasOps : public BlasTest {};
TYPED_TEST_SUITE(BlasOps, Precisions);

template <typename T>
class BlasComplexOps : public BlasTest {};
using ComplexPrecisions = ::testing::Types<cfloat, cdouble>;
TYPED_TEST_SUITE(BlasComplexOps, ComplexPrecisions);

#define EXPECT_OK(call) EXPECT_EQ((call), CUBLAS_STATUS_SUCCESS)

// ---- level 3 ------------------------------------------------------------------------------------

TYPED_TEST(BlasOps, GemmEveryTransposePair) {
    using T = TypeParam;
    const int m = 7, n = 5, k = 6;
    const T alpha = scalar<T>(1.5, -0.5), beta = scalar<T>(-0.75, 0.25);
    for (auto ta : kOps) {
        for (auto tb : kOps) {
            SCOPED_TRACE(testing::Message() << "transa " << ta << " transb " << tb);
            const int rowsA = ta == CUBLAS_OP_N ? m : k, colsA = ta == CUBLAS_OP_N ? k : m;
            const int rowsB = tb == CUBLAS_OP_N ? k : n, colsB = tb == CUBLAS_OP_N ? n : k;
            const int lda = rowsA + 2, ldb = rowsB + 1, ldc = m + 3;
            auto A = randomVector<T>(size_t(lda) * colsA, 1);
            auto B = randomVector<T>(size_t(ldb) * colsB, 2);
            auto C = randomVector<T>(size_t(ldc) * n, 3);
            DeviceArray<T> dA(A), dB(B), dC(C);
            EXPECT_OK(choose<T>(cublasSgemm_v2, cublasDgemm_v2, cublasCgemm_v2, cublasZgemm_v2)(
                this->handle, ta, tb, m, n, k, cu(&alpha), cu(dA.get()), lda, cu(dB.get()), ldb,
                cu(&beta), cu(dC.get()), ldc));
            choose<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
                CblasColMajor, cblasTrans(ta), cblasTrans(tb), m, n, k, blasScalar(alpha), A.data(),
                lda, B.data(), ldb, blasScalar(beta), C.data(), ldc);
            EXPECT_TRUE(near(C, dC.read(), tolerance<T>(k)));
        }
    }
}

// symm for every precision, hemm for the complex ones: both sides, both triangles.
template <typename T>
void checkSymm(cublasHandle_t handle, bool hermitian) {
    const int m = 6, n = 4;
    const T alpha = scalar<T>(0.5, 1.0), beta = scalar<T>(2.0, -1.0);
    for (auto side : kSides) {
        for (auto uplo : kUplos) {
            SCOPED_TRACE(testing::Message() << "side " << side << " uplo " << uplo);
            const int ka = side == CUBLAS_SIDE_LEFT ? m : n, lda = ka + 1, ldb = m + 2, ldc = m + 1;
            auto A = randomVector<T>(size_t(lda) * ka, 4);
            auto B = randomVector<T>(size_t(ldb) * n, 5);
            auto C = randomVector<T>(size_t(ldc) * n, 6);
            DeviceArray<T> dA(A), dB(B), dC(C);
            const auto cs = cblasSideOf(side);
            const auto cu_ = cblasUplo(uplo);
            if constexpr (Info<T>::complex) {
                if (hermitian) {
                    EXPECT_OK(chooseComplex<T>(cublasChemm_v2, cublasZhemm_v2)(
                        handle, side, uplo, m, n, cu(&alpha), cu(dA.get()), lda, cu(dB.get()), ldb,
                        cu(&beta), cu(dC.get()), ldc));
                    chooseComplex<T>(cblas_chemm, cblas_zhemm)(CblasColMajor, cs, cu_, m, n, &alpha,
                                                               A.data(), lda, B.data(), ldb, &beta,
                                                               C.data(), ldc);
                    EXPECT_TRUE(near(C, dC.read(), tolerance<T>(ka)));
                    continue;
                }
            }
            EXPECT_OK(choose<T>(cublasSsymm_v2, cublasDsymm_v2, cublasCsymm_v2, cublasZsymm_v2)(
                handle, side, uplo, m, n, cu(&alpha), cu(dA.get()), lda, cu(dB.get()), ldb,
                cu(&beta), cu(dC.get()), ldc));
            choose<T>(cblas_ssymm, cblas_dsymm, cblas_csymm, cblas_zsymm)(
                CblasColMajor, cs, cu_, m, n, blasScalar(alpha), A.data(), lda, B.data(), ldb,
                blasScalar(beta), C.data(), ldc);
            EXPECT_TRUE(near(C, dC.read(), tolerance<T>(ka)));
        }
    }
}

TYPED_TEST(BlasOps, SymmBothSidesAndTriangles) {
    checkSymm<TypeParam>(this->handle, false);
}
TYPED_TEST(BlasComplexOps, HemmBothSidesAndTriangles) {
    checkSymm<TypeParam>(this->handle, true);
}

// The transposes a rank-k update takes: N, T, C for real data; N, T for complex symmetric ones.
template <typename T>
std::vector<cublasOperation_t> symmetricRankKOps() {
    if (Info<T>::complex) return {CUBLAS_OP_N, CUBLAS_OP_T};
    return {CUBLAS_OP_N, CUBLAS_OP_T, CUBLAS_OP_C};
}

TYPED_TEST(BlasOps, SyrkAndSyr2kEveryTriangleAndTranspose) {
    using T = TypeParam;
    const int n = 5, k = 3, ldc = n + 2;
    const T alpha = scalar<T>(1.25, 0.5), beta = scalar<T>(-0.5, 0.75);
    for (auto uplo : kUplos) {
        for (auto trans : symmetricRankKOps<T>()) {
            SCOPED_TRACE(testing::Message() << "uplo " << uplo << " trans " << trans);
            const int rows = trans == CUBLAS_OP_N ? n : k, cols = trans == CUBLAS_OP_N ? k : n;
            const int lda = rows + 1, ldb = rows + 3;
            auto A = randomVector<T>(size_t(lda) * cols, 7);
            auto B = randomVector<T>(size_t(ldb) * cols, 8);
            auto C = randomVector<T>(size_t(ldc) * n, 9);
            auto C2 = C;
            DeviceArray<T> dA(A), dB(B), dC(C), dC2(C2);
            EXPECT_OK(choose<T>(cublasSsyrk_v2, cublasDsyrk_v2, cublasCsyrk_v2, cublasZsyrk_v2)(
                this->handle, uplo, trans, n, k, cu(&alpha), cu(dA.get()), lda, cu(&beta),
                cu(dC.get()), ldc));
            EXPECT_OK(choose<T>(cublasSsyr2k_v2, cublasDsyr2k_v2, cublasCsyr2k_v2, cublasZsyr2k_v2)(
                this->handle, uplo, trans, n, k, cu(&alpha), cu(dA.get()), lda, cu(dB.get()), ldb,
                cu(&beta), cu(dC2.get()), ldc));
            choose<T>(cblas_ssyrk, cblas_dsyrk, cblas_csyrk, cblas_zsyrk)(
                CblasColMajor, cblasUplo(uplo), cblasTrans(trans), n, k, blasScalar(alpha),
                A.data(), lda, blasScalar(beta), C.data(), ldc);
            choose<T>(cblas_ssyr2k, cblas_dsyr2k, cblas_csyr2k, cblas_zsyr2k)(
                CblasColMajor, cblasUplo(uplo), cblasTrans(trans), n, k, blasScalar(alpha),
                A.data(), lda, B.data(), ldb, blasScalar(beta), C2.data(), ldc);
            EXPECT_TRUE(near(C, dC.read(), tolerance<T>(k)));
            EXPECT_TRUE(near(C2, dC2.read(), tolerance<T>(k)));
        }
    }
}

TYPED_TEST(BlasComplexOps, HerkAndHer2kEveryTriangleAndTranspose) {
    using T = TypeParam;
    using R = Real<T>;
    const int n = 5, k = 4, ldc = n + 1;
    const R ralpha = 0.75, rbeta = -1.5;
    const T alpha = scalar<T>(0.5, -1.25);
    for (auto uplo : kUplos) {
        for (auto trans : {CUBLAS_OP_N, CUBLAS_OP_C}) {
            SCOPED_TRACE(testing::Message() << "uplo " << uplo << " trans " << trans);
            const int rows = trans == CUBLAS_OP_N ? n : k, cols = trans == CUBLAS_OP_N ? k : n;
            const int lda = rows + 2, ldb = rows + 1;
            auto A = randomVector<T>(size_t(lda) * cols, 10);
            auto B = randomVector<T>(size_t(ldb) * cols, 11);
            auto C = randomVector<T>(size_t(ldc) * n, 12);
            auto C2 = C;
            DeviceArray<T> dA(A), dB(B), dC(C), dC2(C2);
            EXPECT_OK(chooseComplex<T>(cublasCherk_v2, cublasZherk_v2)(
                this->handle, uplo, trans, n, k, &ralpha, cu(dA.get()), lda, &rbeta, cu(dC.get()),
                ldc));
            EXPECT_OK(chooseComplex<T>(cublasCher2k_v2, cublasZher2k_v2)(
                this->handle, uplo, trans, n, k, cu(&alpha), cu(dA.get()), lda, cu(dB.get()), ldb,
                &rbeta, cu(dC2.get()), ldc));
            chooseComplex<T>(cblas_cherk, cblas_zherk)(CblasColMajor, cblasUplo(uplo),
                                                       cblasTrans(trans), n, k, ralpha, A.data(),
                                                       lda, rbeta, C.data(), ldc);
            chooseComplex<T>(cblas_cher2k, cblas_zher2k)(CblasColMajor, cblasUplo(uplo),
                                                         cblasTrans(trans), n, k, &alpha, A.data(),
                                                         lda, B.data(), ldb, rbeta, C2.data(), ldc);
            EXPECT_TRUE(near(C, dC.read(), tolerance<T>(k)));
            EXPECT_TRUE(near(C2, dC2.read(), tolerance<T>(k)));
        }
    }
}

// Calls `body(side, uplo, trans, diag)` for every combination of a triangular operation.
template <typename F>
void forEachTriangularVariant(F body) {
    for (auto side : kSides)
        for (auto uplo : kUplos)
            for (auto trans : kOps)
                for (auto diag : kDiags) {
                    SCOPED_TRACE(testing::Message() << "side " << side << " uplo " << uplo
                                                    << " trans " << trans << " diag " << diag);
                    body(side, uplo, trans, diag);
                }
}

TYPED_TEST(BlasOps, TrsmEveryVariant) {
    using T = TypeParam;
    const int m = 5, n = 4, ldb = m + 2;
    const T alpha = scalar<T>(-1.5, 0.5);
    forEachTriangularVariant([&](auto side, auto uplo, auto trans, auto diag) {
        const int ka = side == CUBLAS_SIDE_LEFT ? m : n, lda = ka + 1;
        auto A = dominantMatrix<T>(ka, lda, 13);
        auto B = randomVector<T>(size_t(ldb) * n, 14);
        DeviceArray<T> dA(A), dB(B);
        EXPECT_OK(choose<T>(cublasStrsm_v2, cublasDtrsm_v2, cublasCtrsm_v2, cublasZtrsm_v2)(
            this->handle, side, uplo, trans, diag, m, n, cu(&alpha), cu(dA.get()), lda,
            cu(dB.get()), ldb));
        choose<T>(cblas_strsm, cblas_dtrsm, cblas_ctrsm, cblas_ztrsm)(
            CblasColMajor, cblasSideOf(side), cblasUplo(uplo), cblasTrans(trans), cblasDiagOf(diag),
            m, n, blasScalar(alpha), A.data(), lda, B.data(), ldb);
        EXPECT_TRUE(near(B, dB.read(), tolerance<T>(ka)));
    });
}

// Out of place: C = alpha * op(A) * B with B left as it was and C's padding untouched.
TYPED_TEST(BlasOps, TrmmOutOfPlaceEveryVariantLeavesBUnchanged) {
    using T = TypeParam;
    const int m = 5, n = 6, ldb = m + 1, ldc = m + 3;
    const T alpha = scalar<T>(0.75, -2.0);
    forEachTriangularVariant([&](auto side, auto uplo, auto trans, auto diag) {
        const int ka = side == CUBLAS_SIDE_LEFT ? m : n, lda = ka + 2;
        auto A = randomVector<T>(size_t(lda) * ka, 15);
        auto B = randomVector<T>(size_t(ldb) * n, 16);
        auto C = randomVector<T>(size_t(ldc) * n, 17);
        DeviceArray<T> dA(A), dB(B), dC(C);
        EXPECT_OK(choose<T>(cublasStrmm_v2, cublasDtrmm_v2, cublasCtrmm_v2, cublasZtrmm_v2)(
            this->handle, side, uplo, trans, diag, m, n, cu(&alpha), cu(dA.get()), lda,
            cu(dB.get()), ldb, cu(dC.get()), ldc));
        // Expected: B's m x n values placed in C, then multiplied in place by the host BLAS.
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < m; ++i) C[i + size_t(j) * ldc] = B[i + size_t(j) * ldb];
        choose<T>(cblas_strmm, cblas_dtrmm, cblas_ctrmm, cblas_ztrmm)(
            CblasColMajor, cblasSideOf(side), cblasUplo(uplo), cblasTrans(trans), cblasDiagOf(diag),
            m, n, blasScalar(alpha), A.data(), lda, C.data(), ldc);
        EXPECT_EQ(B, dB.read());
        EXPECT_TRUE(near(C, dC.read(), tolerance<T>(ka)));
    });
}

// Passing B as C is the in-place product.
TYPED_TEST(BlasOps, TrmmInPlaceWhenCIsB) {
    using T = TypeParam;
    const int m = 6, n = 3, ldb = m + 1;
    const T alpha = scalar<T>(1.0, 1.0);
    for (auto side : kSides) {
        const int ka = side == CUBLAS_SIDE_LEFT ? m : n, lda = ka;
        auto A = randomVector<T>(size_t(lda) * ka, 18);
        auto B = randomVector<T>(size_t(ldb) * n, 19);
        DeviceArray<T> dA(A), dB(B);
        EXPECT_OK(choose<T>(cublasStrmm_v2, cublasDtrmm_v2, cublasCtrmm_v2, cublasZtrmm_v2)(
            this->handle, side, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_T, CUBLAS_DIAG_NON_UNIT, m, n,
            cu(&alpha), cu(dA.get()), lda, cu(dB.get()), ldb, cu(dB.get()), ldb));
        choose<T>(cblas_strmm, cblas_dtrmm, cblas_ctrmm, cblas_ztrmm)(
            CblasColMajor, cblasSideOf(side), CblasUpper, CblasTrans, CblasNonUnit, m, n,
            blasScalar(alpha), A.data(), lda, B.data(), ldb);
        EXPECT_TRUE(near(B, dB.read(), tolerance<T>(ka)));
    }
}

// ---- level 2 ------------------------------------------------------------------------------------

TYPED_TEST(BlasOps, GemvEveryTransposeAndIncrement) {
    using T = TypeParam;
    const int m = 6, n = 5, lda = m + 2;
    const T alpha = scalar<T>(2.0, 0.5), beta = scalar<T>(-1.0, 1.0);
    for (auto trans : kOps) {
        for (auto [incx, incy] : kIncs) {
            SCOPED_TRACE(testing::Message()
                         << "trans " << trans << " incs " << incx << "," << incy);
            const int lenX = trans == CUBLAS_OP_N ? n : m, lenY = trans == CUBLAS_OP_N ? m : n;
            auto A = randomVector<T>(size_t(lda) * n, 20);
            auto x = randomVector<T>(span(lenX, incx), 21);
            auto y = randomVector<T>(span(lenY, incy), 22);
            DeviceArray<T> dA(A), dx(x), dy(y);
            EXPECT_OK(choose<T>(cublasSgemv_v2, cublasDgemv_v2, cublasCgemv_v2, cublasZgemv_v2)(
                this->handle, trans, m, n, cu(&alpha), cu(dA.get()), lda, cu(dx.get()), incx,
                cu(&beta), cu(dy.get()), incy));
            choose<T>(cblas_sgemv, cblas_dgemv, cblas_cgemv, cblas_zgemv)(
                CblasColMajor, cblasTrans(trans), m, n, blasScalar(alpha), A.data(), lda, x.data(),
                incx, blasScalar(beta), y.data(), incy);
            EXPECT_TRUE(near(y, dy.read(), tolerance<T>(std::max(m, n))));
            EXPECT_EQ(x, dx.read());
        }
    }
}

// symv for every precision (the complex symmetric one included, which CBLAS lacks: the expected
// value comes from symm on the gathered vectors), hemv for the complex ones.
template <typename T>
void checkSymv(cublasHandle_t handle, bool hermitian) {
    const int n = 6, lda = n + 1;
    const T alpha = scalar<T>(-0.5, 1.5), beta = scalar<T>(0.25, -0.5);
    for (auto uplo : kUplos) {
        for (auto [incx, incy] : kIncs) {
            SCOPED_TRACE(testing::Message() << "uplo " << uplo << " incs " << incx << "," << incy);
            auto A = randomVector<T>(size_t(lda) * n, 23);
            auto x = randomVector<T>(span(n, incx), 24);
            auto y = randomVector<T>(span(n, incy), 25);
            DeviceArray<T> dA(A), dx(x), dy(y);
            auto xs = gather(x, n, incx), ys = gather(y, n, incy);
            if constexpr (Info<T>::complex) {
                if (hermitian) {
                    EXPECT_OK(chooseComplex<T>(cublasChemv_v2, cublasZhemv_v2)(
                        handle, uplo, n, cu(&alpha), cu(dA.get()), lda, cu(dx.get()), incx,
                        cu(&beta), cu(dy.get()), incy));
                    chooseComplex<T>(cblas_chemm, cblas_zhemm)(
                        CblasColMajor, CblasLeft, cblasUplo(uplo), n, 1, &alpha, A.data(), lda,
                        xs.data(), n, &beta, ys.data(), n);
                    scatter(ys, y, n, incy);
                    EXPECT_TRUE(near(y, dy.read(), tolerance<T>(n)));
                    continue;
                }
            }
            EXPECT_OK(choose<T>(cublasSsymv_v2, cublasDsymv_v2, cublasCsymv_v2, cublasZsymv_v2)(
                handle, uplo, n, cu(&alpha), cu(dA.get()), lda, cu(dx.get()), incx, cu(&beta),
                cu(dy.get()), incy));
            choose<T>(cblas_ssymm, cblas_dsymm, cblas_csymm, cblas_zsymm)(
                CblasColMajor, CblasLeft, cblasUplo(uplo), n, 1, blasScalar(alpha), A.data(), lda,
                xs.data(), n, blasScalar(beta), ys.data(), n);
            scatter(ys, y, n, incy);
            EXPECT_TRUE(near(y, dy.read(), tolerance<T>(n)));
        }
    }
}

TYPED_TEST(BlasOps, SymvBothTrianglesAndIncrements) {
    checkSymv<TypeParam>(this->handle, false);
}
TYPED_TEST(BlasComplexOps, HemvBothTrianglesAndIncrements) {
    checkSymv<TypeParam>(this->handle, true);
}

// beta == 0 means the output is not read: NaN there must not leak into the result.
TYPED_TEST(BlasOps, ZeroBetaIgnoresNaNInTheOutput) {
    using T = TypeParam;
    const int n = 3;
    const T alpha = scalar<T>(1.0, 0.0), beta = T(0);
    auto A = randomVector<T>(n * n, 26), x = randomVector<T>(n, 27);
    std::vector<T> nan(n * n, T(std::numeric_limits<Real<T>>::quiet_NaN()));
    DeviceArray<T> dA(A), dx(x), dy(nan), dC(nan);
    EXPECT_OK(choose<T>(cublasSsymv_v2, cublasDsymv_v2, cublasCsymv_v2, cublasZsymv_v2)(
        this->handle, CUBLAS_FILL_MODE_LOWER, n, cu(&alpha), cu(dA.get()), n, cu(dx.get()), 1,
        cu(&beta), cu(dy.get()), 1));
    EXPECT_OK(choose<T>(cublasSgemm_v2, cublasDgemm_v2, cublasCgemm_v2, cublasZgemm_v2)(
        this->handle, CUBLAS_OP_N, CUBLAS_OP_N, n, n, n, cu(&alpha), cu(dA.get()), n, cu(dA.get()),
        n, cu(&beta), cu(dC.get()), n));
    const auto y = dy.read(), C = dC.read();
    for (int i = 0; i < n; ++i) EXPECT_FALSE(std::isnan(std::abs(y[i]))) << "y " << i;
    for (const T& v : C) EXPECT_FALSE(std::isnan(std::abs(v))) << "C";
}

TYPED_TEST(BlasOps, TrmvAndTrsvEveryVariant) {
    using T = TypeParam;
    const int n = 6, lda = n + 2;
    for (auto uplo : kUplos)
        for (auto trans : kOps)
            for (auto diag : kDiags)
                for (int incx : {1, -2}) {
                    SCOPED_TRACE(testing::Message() << "uplo " << uplo << " trans " << trans
                                                    << " diag " << diag << " incx " << incx);
                    auto A = dominantMatrix<T>(n, lda, 28);
                    auto x = randomVector<T>(span(n, incx), 29);
                    auto x2 = x;
                    DeviceArray<T> dA(A), dx(x), dx2(x2);
                    EXPECT_OK(choose<T>(cublasStrmv_v2, cublasDtrmv_v2, cublasCtrmv_v2,
                                        cublasZtrmv_v2)(this->handle, uplo, trans, diag, n,
                                                        cu(dA.get()), lda, cu(dx.get()), incx));
                    EXPECT_OK(choose<T>(cublasStrsv_v2, cublasDtrsv_v2, cublasCtrsv_v2,
                                        cublasZtrsv_v2)(this->handle, uplo, trans, diag, n,
                                                        cu(dA.get()), lda, cu(dx2.get()), incx));
                    const auto cu_ = cblasUplo(uplo);
                    const auto ct = cblasTrans(trans);
                    const auto cd = cblasDiagOf(diag);
                    choose<T>(cblas_strmv, cblas_dtrmv, cblas_ctrmv, cblas_ztrmv)(
                        CblasColMajor, cu_, ct, cd, n, A.data(), lda, x.data(), incx);
                    choose<T>(cblas_strsv, cblas_dtrsv, cblas_ctrsv, cblas_ztrsv)(
                        CblasColMajor, cu_, ct, cd, n, A.data(), lda, x2.data(), incx);
                    EXPECT_TRUE(near(x, dx.read(), tolerance<T>(n)));
                    EXPECT_TRUE(near(x2, dx2.read(), tolerance<T>(n)));
                }
}

// ger for real data, geru and gerc for complex data.
TYPED_TEST(BlasOps, RankOneUpdates) {
    using T = TypeParam;
    const int m = 5, n = 4, lda = m + 1;
    const T alpha = scalar<T>(1.5, -0.5);
    for (auto [incx, incy] : kIncs) {
        SCOPED_TRACE(testing::Message() << "incs " << incx << "," << incy);
        auto x = randomVector<T>(span(m, incx), 30), y = randomVector<T>(span(n, incy), 31);
        auto A = randomVector<T>(size_t(lda) * n, 32);
        auto A2 = A;
        DeviceArray<T> dx(x), dy(y), dA(A), dA2(A2);
        EXPECT_OK(choose<T>(cublasSger_v2, cublasDger_v2, cublasCgeru_v2, cublasZgeru_v2)(
            this->handle, m, n, cu(&alpha), cu(dx.get()), incx, cu(dy.get()), incy, cu(dA.get()),
            lda));
        choose<T>(cblas_sger, cblas_dger, cblas_cgeru, cblas_zgeru)(
            CblasColMajor, m, n, blasScalar(alpha), x.data(), incx, y.data(), incy, A.data(), lda);
        EXPECT_TRUE(near(A, dA.read(), tolerance<T>(1)));
        if constexpr (Info<T>::complex) {
            EXPECT_OK(chooseComplex<T>(cublasCgerc_v2, cublasZgerc_v2)(
                this->handle, m, n, cu(&alpha), cu(dx.get()), incx, cu(dy.get()), incy,
                cu(dA2.get()), lda));
            chooseComplex<T>(cblas_cgerc, cblas_zgerc)(CblasColMajor, m, n, &alpha, x.data(), incx,
                                                       y.data(), incy, A2.data(), lda);
            EXPECT_TRUE(near(A2, dA2.read(), tolerance<T>(1)));
        }
    }
}

// ---- level 1 ------------------------------------------------------------------------------------

TYPED_TEST(BlasOps, CopySwapAxpyWithEveryIncrement) {
    using T = TypeParam;
    const int n = 7;
    const T alpha = scalar<T>(-2.0, 0.5);
    for (auto [incx, incy] : kIncs) {
        SCOPED_TRACE(testing::Message() << "incs " << incx << "," << incy);
        auto x = randomVector<T>(span(n, incx), 33), y = randomVector<T>(span(n, incy), 34);
        {
            DeviceArray<T> dx(x), dy(y);
            EXPECT_OK(choose<T>(cublasScopy_v2, cublasDcopy_v2, cublasCcopy_v2, cublasZcopy_v2)(
                this->handle, n, cu(dx.get()), incx, cu(dy.get()), incy));
            auto expected = y;
            scatter(gather(x, n, incx), expected, n, incy);
            EXPECT_EQ(expected, dy.read());
        }
        {
            DeviceArray<T> dx(x), dy(y);
            EXPECT_OK(choose<T>(cublasSswap_v2, cublasDswap_v2, cublasCswap_v2, cublasZswap_v2)(
                this->handle, n, cu(dx.get()), incx, cu(dy.get()), incy));
            auto ex = x, ey = y;
            scatter(gather(y, n, incy), ex, n, incx);
            scatter(gather(x, n, incx), ey, n, incy);
            EXPECT_EQ(ex, dx.read());
            EXPECT_EQ(ey, dy.read());
        }
        {
            DeviceArray<T> dx(x), dy(y);
            EXPECT_OK(choose<T>(cublasSaxpy_v2, cublasDaxpy_v2, cublasCaxpy_v2, cublasZaxpy_v2)(
                this->handle, n, cu(&alpha), cu(dx.get()), incx, cu(dy.get()), incy));
            auto expected = y;
            choose<T>(cblas_saxpy, cblas_daxpy, cblas_caxpy, cblas_zaxpy)(
                n, blasScalar(alpha), x.data(), incx, expected.data(), incy);
            EXPECT_TRUE(near(expected, dy.read(), tolerance<T>(1)));
        }
    }
}

TYPED_TEST(BlasOps, ScalByOwnTypeAndByReal) {
    using T = TypeParam;
    using R = Real<T>;
    const int n = 6;
    for (int incx : {1, 3}) {
        auto x = randomVector<T>(span(n, incx), 35);
        const T alpha = scalar<T>(0.5, -1.5);
        DeviceArray<T> dx(x);
        EXPECT_OK(choose<T>(cublasSscal_v2, cublasDscal_v2, cublasCscal_v2, cublasZscal_v2)(
            this->handle, n, cu(&alpha), cu(dx.get()), incx));
        auto expected = x;
        for (int i = 0; i < n; ++i) expected[at(i, n, incx)] *= alpha;
        EXPECT_TRUE(near(expected, dx.read(), tolerance<T>(1)));
        if constexpr (Info<T>::complex) {
            const R ralpha = -3.0;
            EXPECT_OK(chooseComplex<T>(cublasCsscal_v2, cublasZdscal_v2)(this->handle, n, &ralpha,
                                                                         cu(dx.get()), incx));
            for (int i = 0; i < n; ++i) expected[at(i, n, incx)] *= ralpha;
            EXPECT_TRUE(near(expected, dx.read(), tolerance<T>(1)));
        }
    }
}

TYPED_TEST(BlasOps, DotProductsToHostMemory) {
    using T = TypeParam;
    const int n = 9;
    for (auto [incx, incy] : kIncs) {
        SCOPED_TRACE(testing::Message() << "incs " << incx << "," << incy);
        auto x = randomVector<T>(span(n, incx), 36), y = randomVector<T>(span(n, incy), 37);
        DeviceArray<T> dx(x), dy(y);
        T expectedU = T(0), expectedC = T(0);
        for (int i = 0; i < n; ++i) {
            expectedU += x[at(i, n, incx)] * y[at(i, n, incy)];
            if constexpr (Info<T>::complex) {
                expectedC += std::conj(x[at(i, n, incx)]) * y[at(i, n, incy)];
            }
        }
        T result = T(99);
        EXPECT_OK(choose<T>(cublasSdot_v2, cublasDdot_v2, cublasCdotu_v2, cublasZdotu_v2)(
            this->handle, n, cu(dx.get()), incx, cu(dy.get()), incy, cu(&result)));
        EXPECT_TRUE(near(std::vector<T>{expectedU}, {result}, tolerance<T>(n)));
        if constexpr (Info<T>::complex) {
            EXPECT_OK(chooseComplex<T>(cublasCdotc_v2, cublasZdotc_v2)(
                this->handle, n, cu(dx.get()), incx, cu(dy.get()), incy, cu(&result)));
            EXPECT_TRUE(near(std::vector<T>{expectedC}, {result}, tolerance<T>(n)));
        }
    }
}

TYPED_TEST(BlasOps, Nrm2AsumIamax) {
    using T = TypeParam;
    using R = Real<T>;
    const int n = 8, incx = 2;
    auto x = randomVector<T>(span(n, incx), 38);
    // A known largest element (|Re| + |Im| = 9), and a tie after it that must not win.
    x[at(4, n, incx)] = scalar<T>(-5.0, 4.0);
    x[at(6, n, incx)] = scalar<T>(4.0, -5.0);
    DeviceArray<T> dx(x);
    double sumSquares = 0, sumAbs = 0;
    for (int i = 0; i < n; ++i) {
        const T v = x[at(i, n, incx)];
        sumSquares += std::norm(std::complex<double>(std::real(v), std::imag(v)));
        sumAbs += std::abs(double(std::real(v))) + std::abs(double(std::imag(v)));
    }
    R nrm = -1, sum = -1;
    int index = -1;
    EXPECT_OK(choose<T>(cublasSnrm2_v2, cublasDnrm2_v2, cublasScnrm2_v2, cublasDznrm2_v2)(
        this->handle, n, cu(dx.get()), incx, &nrm));
    EXPECT_OK(choose<T>(cublasSasum_v2, cublasDasum_v2, cublasScasum_v2, cublasDzasum_v2)(
        this->handle, n, cu(dx.get()), incx, &sum));
    EXPECT_OK(choose<T>(cublasIsamax_v2, cublasIdamax_v2, cublasIcamax_v2, cublasIzamax_v2)(
        this->handle, n, cu(dx.get()), incx, &index));
    EXPECT_NEAR(nrm, std::sqrt(sumSquares), tolerance<T>(n) * std::sqrt(sumSquares));
    EXPECT_NEAR(sum, sumAbs, tolerance<T>(n) * sumAbs);
    EXPECT_EQ(index, 5);  // 1-based
}

// Empty vectors and non-positive increments give 0 without touching x.
TYPED_TEST(BlasOps, ReductionsOfNothingAreZero) {
    using T = TypeParam;
    using R = Real<T>;
    DeviceArray<T> dx(randomVector<T>(4, 39));
    constexpr std::pair<int, int> kEmpty[] = {{0, 1}, {-1, 1}, {4, 0}, {4, -1}};
    for (auto [n, incx] : kEmpty) {
        SCOPED_TRACE(testing::Message() << "n " << n << " incx " << incx);
        R nrm = -1, sum = -1;
        int index = -1;
        EXPECT_OK(choose<T>(cublasSnrm2_v2, cublasDnrm2_v2, cublasScnrm2_v2, cublasDznrm2_v2)(
            this->handle, n, cu(dx.get()), incx, &nrm));
        EXPECT_OK(choose<T>(cublasSasum_v2, cublasDasum_v2, cublasScasum_v2, cublasDzasum_v2)(
            this->handle, n, cu(dx.get()), incx, &sum));
        EXPECT_OK(choose<T>(cublasIsamax_v2, cublasIdamax_v2, cublasIcamax_v2, cublasIzamax_v2)(
            this->handle, n, cu(dx.get()), incx, &index));
        EXPECT_EQ(nrm, R(0));
        EXPECT_EQ(sum, R(0));
        EXPECT_EQ(index, 0);
    }
    T dot = T(5);
    EXPECT_OK(choose<T>(cublasSdot_v2, cublasDdot_v2, cublasCdotu_v2, cublasZdotu_v2)(
        this->handle, 0, cu(dx.get()), 1, cu(dx.get()), 1, cu(&dot)));
    EXPECT_EQ(dot, T(0));
}

TYPED_TEST(BlasOps, RotWithRealSine) {
    using T = TypeParam;
    using R = Real<T>;
    const int n = 6;
    const R c = 0.6, s = 0.8;
    for (auto [incx, incy] : kIncs) {
        SCOPED_TRACE(testing::Message() << "incs " << incx << "," << incy);
        auto x = randomVector<T>(span(n, incx), 40), y = randomVector<T>(span(n, incy), 41);
        DeviceArray<T> dx(x), dy(y);
        EXPECT_OK(choose<T>(cublasSrot_v2, cublasDrot_v2, cublasCsrot_v2, cublasZdrot_v2)(
            this->handle, n, cu(dx.get()), incx, cu(dy.get()), incy, &c, &s));
        auto ex = x, ey = y;
        for (int i = 0; i < n; ++i) {
            const T xi = x[at(i, n, incx)], yi = y[at(i, n, incy)];
            ex[at(i, n, incx)] = c * xi + s * yi;
            ey[at(i, n, incy)] = c * yi - s * xi;
        }
        EXPECT_TRUE(near(ex, dx.read(), tolerance<T>(1)));
        EXPECT_TRUE(near(ey, dy.read(), tolerance<T>(1)));
    }
}

// The complex sine rotation (crot, zrot): x' = c x + s y, y' = c y - conj(s) x, checked against
// the same rotation built from host scal and axpy calls.
TYPED_TEST(BlasComplexOps, RotWithComplexSine) {
    using T = TypeParam;
    using R = Real<T>;
    const int n = 5;
    const R c = 0.8;
    const T s = T(0.36, -0.48);
    for (auto [incx, incy] : kIncs) {
        SCOPED_TRACE(testing::Message() << "incs " << incx << "," << incy);
        auto x = randomVector<T>(span(n, incx), 42), y = randomVector<T>(span(n, incy), 43);
        DeviceArray<T> dx(x), dy(y);
        EXPECT_OK(chooseComplex<T>(cublasCrot_v2, cublasZrot_v2)(
            this->handle, n, cu(dx.get()), incx, cu(dy.get()), incy, &c, cu(&s)));
        auto xs = gather(x, n, incx), ys = gather(y, n, incy);
        const auto x0 = xs;
        const T minusConjS = -std::conj(s);
        chooseComplex<T>(cblas_csscal, cblas_zdscal)(n, c, xs.data(), 1);
        chooseComplex<T>(cblas_caxpy, cblas_zaxpy)(n, &s, ys.data(), 1, xs.data(), 1);
        chooseComplex<T>(cblas_csscal, cblas_zdscal)(n, c, ys.data(), 1);
        chooseComplex<T>(cblas_caxpy, cblas_zaxpy)(n, &minusConjS, x0.data(), 1, ys.data(), 1);
        auto ex = x, ey = y;
        scatter(xs, ex, n, incx);
        scatter(ys, ey, n, incy);
        EXPECT_TRUE(near(ex, dx.read(), tolerance<T>(1)));
        EXPECT_TRUE(near(ey, dy.read(), tolerance<T>(1)));
    }
}

}  // namespace
}  // namespace blastest
