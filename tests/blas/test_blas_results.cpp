// The exported BLAS routines compute what the host BLAS computes on the same data: every member,
// every precision it exists in, both interfaces, every option combination. Each test walks its
// combinations with one counter i; the options are in lower case on every other call, since both
// interfaces accept either case.
#include "blas_test_support.h"

namespace {

using namespace blas_test;

char caseOf(char c, int i) {
    return i % 2 ? char(std::tolower(c)) : c;
}

template <typename T>
using AllTyped = BlasTyped<T>;
TYPED_TEST_SUITE(AllTyped, AllPrecisions);
template <typename T>
using ComplexTyped = BlasTyped<T>;
TYPED_TEST_SUITE(ComplexTyped, ComplexPrecisions);

TYPED_TEST(AllTyped, GemmEveryTransposePairAndBeta) {
    using T = TypeParam;
    const int m = 7, n = 5, k = 4;
    for (int i = 0; i < 36; ++i) {
        const Api api = kApis[i / 18];
        const char ta = "NTC"[i % 3], tb = "NTC"[i / 3 % 3];
        const T alpha = makeScalar<T>(1.5, -0.5), beta = makeScalar<T>(i / 9 % 2 * 0.5, 0.25);
        SCOPED_TRACE(apiName(api) + ta + tb + (i / 9 % 2 ? "" : " beta 0"));
        const int ra = ta == 'N' ? m : k, rb = tb == 'N' ? k : n;
        Operand<T> A(ra, m + k - ra, ra + 2, this->rng), B(rb, n + k - rb, rb + 1, this->rng);
        Operand<T> C(m, n, m + 3, this->rng), want = C;
        pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
            CblasColMajor, Cblas::trans(ta), Cblas::trans(tb), m, n, k, byBlas(alpha), A.ptr(),
            A.ld, B.ptr(), B.ld, byBlas(beta), want.ptr(), want.ld);
        auto call = [&](T* a, T* b, T* c) {
            return ENTRY(api, gemm)(caseOf(ta, i), caseOf(tb, i + 1), m, n, k, pub(alpha), pub(a),
                                    A.ld, pub(b), B.ld, pub(beta), pub(c), C.ld);
        };
        ASSERT_EQ(onOperands<T>(api, call, A, B, C), zuliNoError);
        expectNear(C, want, k, "C");
    }
}

// symm (all precisions) or hemm (complex): the reference and the host and device entries.
template <typename T, typename Ref, typename Fn>
void checkSymm(std::mt19937& rng, Ref ref, Fn host, Fn device) {
    const int m = 6, n = 4;
    for (int i = 0; i < 16; ++i) {
        const Api api = kApis[i / 8];
        const char side = "LR"[i % 2], uplo = "UL"[i / 2 % 2];
        const T alpha = makeScalar<T>(0.75, 0.5), beta = makeScalar<T>(i / 4 % 2 * -1.25, 0.5);
        SCOPED_TRACE(apiName(api) + side + uplo);
        const int order = side == 'L' ? m : n;
        Operand<T> A(order, order, order + 1, rng), B(m, n, m + 2, rng), C(m, n, m, rng);
        Operand<T> want = C;
        ref(CblasColMajor, Cblas::side(side), Cblas::uplo(uplo), m, n, byBlas(alpha), A.ptr(), A.ld,
            B.ptr(), B.ld, byBlas(beta), want.ptr(), want.ld);
        auto call = [&](T* a, T* b, T* c) {
            return (api == Api::Host ? host : device)(caseOf(side, i), caseOf(uplo, i / 2), m, n,
                                                      pub(alpha), pub(a), A.ld, pub(b), B.ld,
                                                      pub(beta), pub(c), C.ld);
        };
        ASSERT_EQ(onOperands<T>(api, call, A, B, C), zuliNoError);
        expectNear(C, want, order, "C");
    }
}

TYPED_TEST(AllTyped, SymmEverySideAndTriangle) {
    using T = TypeParam;
    checkSymm<T>(this->rng, pick<T>(cblas_ssymm, cblas_dsymm, cblas_csymm, cblas_zsymm),
                 ENTRY(Api::Host, symm), ENTRY(Api::Device, symm));
}
TYPED_TEST(ComplexTyped, HemmEverySideAndTriangle) {
    using T = TypeParam;
    checkSymm<T>(this->rng, pick<T>(nullptr, nullptr, cblas_chemm, cblas_zhemm),
                 ENTRY_COMPLEX(Api::Host, hemm), ENTRY_COMPLEX(Api::Device, hemm));
}

// syrk/herk (TwoOperands false) and syr2k/her2k; S is the type of beta (and of alpha in the
// rank-k forms). Both triangles of C are compared: only the `uplo` one may change.
template <typename T, typename S, bool TwoOperands, typename Ref, typename Fn>
void checkRankUpdate(std::mt19937& rng, const std::string& transposes, Ref ref, Fn host,
                     Fn device) {
    const int n = 6, k = 3, count = 8 * int(transposes.size());
    using Alpha = std::conditional_t<TwoOperands, T, S>;
    for (int i = 0; i < count; ++i) {
        const Api api = kApis[i * 2 / count];
        const char uplo = "UL"[i % 2], trans = transposes[i / 2 % transposes.size()];
        const Alpha alpha = makeScalar<Alpha>(1.25, -0.5);
        const S beta = makeScalar<S>(i / 2 / transposes.size() % 2 * 0.5, 0.0);
        SCOPED_TRACE(apiName(api) + uplo + trans);
        const int ra = trans == 'N' ? n : k;
        Operand<T> A(ra, n + k - ra, ra + 1, rng), B(ra, n + k - ra, ra + 3, rng);
        Operand<T> C(n, n, n + 2, rng), want = C;
        // A real 'C' is a transpose; CBLAS is given 'T' for it.
        const auto op = Cblas::trans(!zuli::IsComplexV<T> && trans == 'C' ? 'T' : trans);
        const char cu = caseOf(uplo, i / 2), ct = caseOf(trans, i);
        // The rank-2k forms take B (and its leading dimension) after A, the rank-k forms do not.
        auto withB = [&](auto call, auto* b, int ldb) {
            if constexpr (TwoOperands)
                return call(b, ldb);
            else
                return call();
        };
        withB(
            [&](auto... b) {
                ref(CblasColMajor, Cblas::uplo(uplo), op, n, k, byBlas(alpha), A.ptr(), A.ld, b...,
                    byBlas(beta), want.ptr(), want.ld);
            },
            B.ptr(), B.ld);
        auto call = [&](T* a, T* b, T* c) {
            return withB(
                [&](auto... bArgs) {
                    return (api == Api::Host ? host : device)(
                        cu, ct, n, k, pub(alpha), pub(a), A.ld, bArgs..., pub(beta), pub(c), C.ld);
                },
                pub(b), B.ld);
        };
        ASSERT_EQ(onOperands<T>(api, call, A, B, C), zuliNoError);
        expectNear(C, want, 2 * k, "C");
    }
}

// The device interface passes a real 'C' on as conjugate transpose, which the real cuBLAS
// routines treat as a transpose too.
TYPED_TEST(AllTyped, SymmetricRankUpdatesEveryTriangleAndTranspose) {
    using T = TypeParam;
    const std::string transposes = zuli::IsComplexV<T> ? "NT" : "NTC";
    checkRankUpdate<T, T, false>(this->rng, transposes,
                                 pick<T>(cblas_ssyrk, cblas_dsyrk, cblas_csyrk, cblas_zsyrk),
                                 ENTRY(Api::Host, syrk), ENTRY(Api::Device, syrk));
    checkRankUpdate<T, T, true>(this->rng, transposes,
                                pick<T>(cblas_ssyr2k, cblas_dsyr2k, cblas_csyr2k, cblas_zsyr2k),
                                ENTRY(Api::Host, syr2k), ENTRY(Api::Device, syr2k));
}
TYPED_TEST(ComplexTyped, HermitianRankUpdatesEveryTriangleAndTranspose) {
    using T = TypeParam;
    checkRankUpdate<T, Real<T>, false>(
        this->rng, "NC", pick<T>(nullptr, nullptr, cblas_cherk, cblas_zherk),
        ENTRY_COMPLEX(Api::Host, herk), ENTRY_COMPLEX(Api::Device, herk));
    checkRankUpdate<T, Real<T>, true>(
        this->rng, "NC", pick<T>(nullptr, nullptr, cblas_cher2k, cblas_zher2k),
        ENTRY_COMPLEX(Api::Host, her2k), ENTRY_COMPLEX(Api::Device, her2k));
}

// trsm and trmm over side x uplo x transa x diag; A well conditioned (dominant diagonal, small
// off-diagonal entries), so that the solve is as accurate as the product.
TYPED_TEST(AllTyped, TrsmAndTrmmEveryOptionCombination) {
    using T = TypeParam;
    const int m = 6, n = 5;
    for (int i = 0; i < 96; ++i) {
        const bool solve = i < 48;
        const Api api = kApis[i / 24 % 2];
        const char side = "LR"[i % 2], uplo = "UL"[i / 2 % 2], ta = "NTC"[i / 4 % 3],
                   diag = "NU"[i / 12 % 2];
        SCOPED_TRACE(apiName(api) + (solve ? "trsm " : "trmm ") + side + uplo + ta + diag);
        const int order = side == 'L' ? m : n;
        Operand<T> A(order, order, order + 2, this->rng), B(m, n, m + 1, this->rng), want = B;
        for (T& v : A.data) v = v * T(Real<T>(1.0 / order));
        A.strengthenDiagonal(order);
        const T alpha = makeScalar<T>(2.0, -1.0);
        (solve ? pick<T>(cblas_strsm, cblas_dtrsm, cblas_ctrsm, cblas_ztrsm)
               : pick<T>(cblas_strmm, cblas_dtrmm, cblas_ctrmm, cblas_ztrmm))(
            CblasColMajor, Cblas::side(side), Cblas::uplo(uplo), Cblas::trans(ta),
            Cblas::diag(diag), m, n, byBlas(alpha), A.ptr(), A.ld, want.ptr(), want.ld);
        auto call = [&](T* a, T* b) {
            return (solve ? ENTRY(api, trsm) : ENTRY(api, trmm))(
                caseOf(side, i / 2), caseOf(uplo, i), caseOf(ta, i / 4), caseOf(diag, i / 2), m, n,
                pub(alpha), pub(a), A.ld, pub(b), B.ld);
        };
        ASSERT_EQ(onOperands<T>(api, call, A, B), zuliNoError);
        expectNear(B, want, 2 * order, "B");
    }
}

// gemv, and symv (real) or hemv (complex) for the options U and L, with positive and negative
// increments; the elements of y between its strides stay as they were.
TYPED_TEST(AllTyped, GemvAndSymvEveryOptionAndIncrement) {
    using T = TypeParam;
    const int m = 7, n = 4;
    const std::pair<int, int> incs[] = {{1, 1}, {2, 3}, {-1, 1}, {3, -2}, {-2, -1}};
    for (int i = 0; i < 100; ++i) {
        const Api api = kApis[i / 50];
        const char opt = "NTCUL"[i % 5];
        const auto [incx, incy] = incs[i / 5 % 5];
        const T alpha = makeScalar<T>(0.5, 2.0), beta = makeScalar<T>(i / 25 % 2 * 0.5, -0.5);
        SCOPED_TRACE(apiName(api) + opt + " incx " + std::to_string(incx) + " incy " +
                     std::to_string(incy));
        const bool symmetric = opt == 'U' || opt == 'L';
        const int rows = symmetric ? n : m;
        const int lenX = opt == 'N' || symmetric ? n : m, lenY = opt == 'N' ? m : n;
        Operand<T> A(rows, n, rows + 1, this->rng);
        auto X = Operand<T>::vector(lenX, incx, this->rng);
        auto Y = Operand<T>::vector(lenY, incy, this->rng), want = Y;
        if (symmetric)
            pick<T>(cblas_ssymv, cblas_dsymv, cblas_chemv, cblas_zhemv)(
                CblasColMajor, Cblas::uplo(opt), n, byBlas(alpha), A.ptr(), A.ld, X.ptr(), incx,
                byBlas(beta), want.ptr(), incy);
        else
            pick<T>(cblas_sgemv, cblas_dgemv, cblas_cgemv, cblas_zgemv)(
                CblasColMajor, Cblas::trans(opt), m, n, byBlas(alpha), A.ptr(), A.ld, X.ptr(), incx,
                byBlas(beta), want.ptr(), incy);
        const auto symv = api == Api::Host ? pick<T>(zuliSsymv, zuliDsymv, zuliChemv, zuliZhemv)
                                           : pick<T>(zuliDeviceSsymv, zuliDeviceDsymv,
                                                     zuliDeviceChemv, zuliDeviceZhemv);
        auto call = [&](T* a, T* x, T* y) {
            if (symmetric)
                return symv(caseOf(opt, i / 5), n, pub(alpha), pub(a), A.ld, pub(x), incx,
                            pub(beta), pub(y), incy);
            return ENTRY(api, gemv)(caseOf(opt, i / 5), m, n, pub(alpha), pub(a), A.ld, pub(x),
                                    incx, pub(beta), pub(y), incy);
        };
        ASSERT_EQ(onOperands<T>(api, call, A, X, Y), zuliNoError);
        expectNear(Y, want, m, "y");
    }
}

// k = 0 still scales C by beta (gemm, syrk, only its `uplo` triangle).
TYPED_TEST(AllTyped, EmptyInnerDimensionScalesC) {
    using T = TypeParam;
    const int m = 4, n = 3;
    for (Api api : kApis) {
        SCOPED_TRACE(apiName(api));
        Operand<T> C(m, n, m, this->rng), S(n, n, n, this->rng), wantC = C, wantS = S;
        const T alpha = T(1), beta = makeScalar<T>(-2.0, 0.0);
        for (T& v : wantC.data) v = v * beta;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i <= j; ++i) wantS.at(i, j) = wantS.at(i, j) * beta;
        auto call = [&](T* c, T* s) {
            const zuliStatus r = ENTRY(api, gemm)('N', 'N', m, n, 0, pub(alpha), nullptr, m,
                                                  nullptr, 1, pub(beta), pub(c), m);
            return r != zuliNoError ? r
                                    : ENTRY(api, syrk)('U', 'N', n, 0, pub(alpha), nullptr, n,
                                                       pub(beta), pub(s), n);
        };
        ASSERT_EQ(onOperands<T>(api, call, C, S), zuliNoError);
        expectNear(C, wantC, 1, "gemm C");
        expectNear(S, wantS, 1, "syrk C");
    }
}

}  // namespace
