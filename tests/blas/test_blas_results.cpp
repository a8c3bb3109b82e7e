// The exported BLAS routines compute what the host BLAS computes on the same data: every member,
// every precision it exists in, both interfaces, every option combination.
#include "blas_test_support.h"

namespace {

using namespace blas_test;

// The exported function `name` of precision T for the interface `api`.
#define ENTRY(api, name)                                               \
    ((api) == Api::Host                                                \
         ? pick<T>(zuliS##name, zuliD##name, zuliC##name, zuliZ##name) \
         : pick<T>(zuliDeviceS##name, zuliDeviceD##name, zuliDeviceC##name, zuliDeviceZ##name))
#define ENTRY_REAL(api, name)                                                 \
    ((api) == Api::Host ? pick<T>(zuliS##name, zuliD##name, nullptr, nullptr) \
                        : pick<T>(zuliDeviceS##name, zuliDeviceD##name, nullptr, nullptr))
#define ENTRY_COMPLEX(api, name)                                              \
    ((api) == Api::Host ? pick<T>(nullptr, nullptr, zuliC##name, zuliZ##name) \
                        : pick<T>(nullptr, nullptr, zuliDeviceC##name, zuliDeviceZ##name))

constexpr Api kApis[] = {Api::Host, Api::Device};

// Lower case on every other call: both interfaces accept either case.
char alternateCase(char c, int i) {
    return i % 2 ? char(std::tolower(c)) : c;
}

template <typename T>
using AllTyped = BlasTyped<T>;
TYPED_TEST_SUITE(AllTyped, AllPrecisions);
template <typename T>
using ComplexTyped = BlasTyped<T>;
TYPED_TEST_SUITE(ComplexTyped, ComplexPrecisions);
template <typename T>
using RealTyped = BlasTyped<T>;
TYPED_TEST_SUITE(RealTyped, RealPrecisions);

TYPED_TEST(AllTyped, GemmEveryTransposePairAndBeta) {
    using T = TypeParam;
    const int m = 7, n = 5, k = 4;
    int call = 0;
    for (Api api : kApis)
        for (char ta : {'N', 'T', 'C'})
            for (char tb : {'N', 'T', 'C'})
                for (double betaRe : {0.0, 0.5}) {
                    SCOPED_TRACE(std::string(apiName(api)) + " " + ta + tb + " beta " +
                                 std::to_string(betaRe));
                    const int ra = ta == 'N' ? m : k, ca = ta == 'N' ? k : m;
                    const int rb = tb == 'N' ? k : n, cb = tb == 'N' ? n : k;
                    Operand<T> A(ra, ca, ra + 2, this->rng), B(rb, cb, rb + 1, this->rng);
                    Operand<T> C(m, n, m + 3, this->rng);
                    const T alpha = makeScalar<T>(1.5, -0.5);
                    const T beta = makeScalar<T>(betaRe, betaRe ? 0.25 : 0.0);
                    Operand<T> wantC = C;
                    const Operand<T> wantA = A, wantB = B;
                    pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
                        CblasColMajor, cblasTrans(ta), cblasTrans(tb), m, n, k, byBlas(alpha),
                        A.ptr(), A.ld, B.ptr(), B.ld, byBlas(beta), wantC.ptr(), wantC.ld);
                    const char cta = alternateCase(ta, call), ctb = alternateCase(tb, call + 1);
                    ++call;
                    zuliStatus s = onOperands<T>(
                        api,
                        [&](T* a, T* b, T* c) {
                            return ENTRY(api, gemm)(cta, ctb, m, n, k, pub(alpha), pub(a), A.ld,
                                                    pub(b), B.ld, pub(beta), pub(c), C.ld);
                        },
                        A, B, C);
                    ASSERT_EQ(s, zuliNoError);
                    expectNear(C, wantC, k, "C");
                    expectNear(A, wantA, 0, "A unchanged");
                    expectNear(B, wantB, 0, "B unchanged");
                }
}

// symm for all precisions, hemm for the complex ones.
template <typename T>
void checkSymm(std::mt19937& rng, bool hermitian) {
    const int m = 6, n = 4;
    int call = 0;
    for (Api api : kApis)
        for (char side : {'L', 'R'})
            for (char uplo : {'U', 'L'})
                for (double betaRe : {0.0, -1.25}) {
                    SCOPED_TRACE(std::string(apiName(api)) + " " + side + uplo);
                    const int order = side == 'L' ? m : n;
                    Operand<T> A(order, order, order + 1, rng), B(m, n, m + 2, rng),
                        C(m, n, m, rng);
                    const T alpha = makeScalar<T>(0.75, 0.5), beta = makeScalar<T>(betaRe, 0.5);
                    Operand<T> want = C;
                    if (hermitian) {
                        if constexpr (zuli::IsComplexV<T>)
                            pick<T>(nullptr, nullptr, cblas_chemm, cblas_zhemm)(
                                CblasColMajor, cblasSide(side), cblasUplo(uplo), m, n,
                                byBlas(alpha), A.ptr(), A.ld, B.ptr(), B.ld, byBlas(beta),
                                want.ptr(), want.ld);
                    } else {
                        pick<T>(cblas_ssymm, cblas_dsymm, cblas_csymm, cblas_zsymm)(
                            CblasColMajor, cblasSide(side), cblasUplo(uplo), m, n, byBlas(alpha),
                            A.ptr(), A.ld, B.ptr(), B.ld, byBlas(beta), want.ptr(), want.ld);
                    }
                    const char cs = alternateCase(side, call), cu = alternateCase(uplo, call++);
                    zuliStatus s = onOperands<T>(
                        api,
                        [&](T* a, T* b, T* c) {
                            if (hermitian) {
                                if constexpr (zuli::IsComplexV<T>)
                                    return ENTRY_COMPLEX(api, hemm)(cs, cu, m, n, pub(alpha),
                                                                    pub(a), A.ld, pub(b), B.ld,
                                                                    pub(beta), pub(c), C.ld);
                            }
                            return ENTRY(api, symm)(cs, cu, m, n, pub(alpha), pub(a), A.ld, pub(b),
                                                    B.ld, pub(beta), pub(c), C.ld);
                        },
                        A, B, C);
                    ASSERT_EQ(s, zuliNoError);
                    expectNear(C, want, order, "C");
                }
}

TYPED_TEST(AllTyped, SymmEverySideAndTriangle) {
    checkSymm<TypeParam>(this->rng, false);
}
TYPED_TEST(ComplexTyped, HemmEverySideAndTriangle) {
    checkSymm<TypeParam>(this->rng, true);
}

// syrk (all) and herk (complex): only the `uplo` triangle of C changes.
template <typename T>
void checkRankK(std::mt19937& rng, bool hermitian) {
    const int n = 6, k = 3;
    const std::vector<char> transposes = hermitian             ? std::vector<char>{'N', 'C'}
                                         : zuli::IsComplexV<T> ? std::vector<char>{'N', 'T'}
                                                               : std::vector<char>{'N', 'T', 'C'};
    int call = 0;
    for (Api api : kApis)
        for (char uplo : {'U', 'L'})
            for (char trans : transposes)
                for (double betaRe : {0.0, 0.5}) {
                    SCOPED_TRACE(std::string(apiName(api)) + " " + uplo + trans);
                    const int ra = trans == 'N' ? n : k, ca = trans == 'N' ? k : n;
                    Operand<T> A(ra, ca, ra + 1, rng), C(n, n, n + 2, rng);
                    Operand<T> want = C;
                    const char cu = alternateCase(uplo, call), ct = alternateCase(trans, call++);
                    zuliStatus s = zuliUnspecifiedError;
                    if (hermitian) {
                        if constexpr (zuli::IsComplexV<T>) {
                            const Real<T> alpha = 1.25, beta = Real<T>(betaRe);
                            pick<T>(nullptr, nullptr, cblas_cherk, cblas_zherk)(
                                CblasColMajor, cblasUplo(uplo), cblasTrans(trans), n, k, alpha,
                                A.ptr(), A.ld, beta, want.ptr(), want.ld);
                            s = onOperands<T>(
                                api,
                                [&](T* a, T* c) {
                                    return ENTRY_COMPLEX(api, herk)(cu, ct, n, k, alpha, pub(a),
                                                                    A.ld, beta, pub(c), C.ld);
                                },
                                A, C);
                        }
                    } else {
                        const T alpha = makeScalar<T>(1.25, -0.5), beta = makeScalar<T>(betaRe, 0);
                        // A real 'C' is a transpose; CBLAS is given 'T' for it.
                        const char refTrans =
                            zuli::IsComplexV<T> ? trans : (trans == 'C' ? 'T' : trans);
                        pick<T>(cblas_ssyrk, cblas_dsyrk, cblas_csyrk, cblas_zsyrk)(
                            CblasColMajor, cblasUplo(uplo), cblasTrans(refTrans), n, k,
                            byBlas(alpha), A.ptr(), A.ld, byBlas(beta), want.ptr(), want.ld);
                        // The device interface passes 'C' on as conjugate transpose, which the
                        // real cuBLAS routines treat as a transpose too.
                        s = onOperands<T>(
                            api,
                            [&](T* a, T* c) {
                                return ENTRY(api, syrk)(cu, ct, n, k, pub(alpha), pub(a), A.ld,
                                                        pub(beta), pub(c), C.ld);
                            },
                            A, C);
                    }
                    ASSERT_EQ(s, zuliNoError);
                    expectNear(C, want, k, "C (both triangles)");
                }
}

TYPED_TEST(AllTyped, SyrkEveryTriangleAndTranspose) {
    checkRankK<TypeParam>(this->rng, false);
}
TYPED_TEST(ComplexTyped, HerkEveryTriangleAndTranspose) {
    checkRankK<TypeParam>(this->rng, true);
}

// syr2k (all) and her2k (complex).
template <typename T>
void checkRank2K(std::mt19937& rng, bool hermitian) {
    const int n = 5, k = 4;
    const std::vector<char> transposes = hermitian             ? std::vector<char>{'N', 'C'}
                                         : zuli::IsComplexV<T> ? std::vector<char>{'N', 'T'}
                                                               : std::vector<char>{'N', 'T'};
    for (Api api : kApis)
        for (char uplo : {'U', 'L'})
            for (char trans : transposes)
                for (double betaRe : {0.0, 2.0}) {
                    SCOPED_TRACE(std::string(apiName(api)) + " " + uplo + trans);
                    const int r = trans == 'N' ? n : k, c = trans == 'N' ? k : n;
                    Operand<T> A(r, c, r, rng), B(r, c, r + 3, rng), C(n, n, n + 1, rng);
                    Operand<T> want = C;
                    const T alpha = makeScalar<T>(-0.5, 1.0);
                    zuliStatus s = zuliUnspecifiedError;
                    if (hermitian) {
                        if constexpr (zuli::IsComplexV<T>) {
                            const Real<T> beta = Real<T>(betaRe);
                            pick<T>(nullptr, nullptr, cblas_cher2k, cblas_zher2k)(
                                CblasColMajor, cblasUplo(uplo), cblasTrans(trans), n, k,
                                byBlas(alpha), A.ptr(), A.ld, B.ptr(), B.ld, beta, want.ptr(),
                                want.ld);
                            s = onOperands<T>(
                                api,
                                [&](T* a, T* b, T* cc) {
                                    return ENTRY_COMPLEX(api, her2k)(uplo, trans, n, k, pub(alpha),
                                                                     pub(a), A.ld, pub(b), B.ld,
                                                                     beta, pub(cc), C.ld);
                                },
                                A, B, C);
                        }
                    } else {
                        const T beta = makeScalar<T>(betaRe, 0.0);
                        pick<T>(cblas_ssyr2k, cblas_dsyr2k, cblas_csyr2k, cblas_zsyr2k)(
                            CblasColMajor, cblasUplo(uplo), cblasTrans(trans), n, k, byBlas(alpha),
                            A.ptr(), A.ld, B.ptr(), B.ld, byBlas(beta), want.ptr(), want.ld);
                        s = onOperands<T>(
                            api,
                            [&](T* a, T* b, T* cc) {
                                return ENTRY(api, syr2k)(uplo, trans, n, k, pub(alpha), pub(a),
                                                         A.ld, pub(b), B.ld, pub(beta), pub(cc),
                                                         C.ld);
                            },
                            A, B, C);
                    }
                    ASSERT_EQ(s, zuliNoError);
                    expectNear(C, want, 2 * k, "C (both triangles)");
                }
}

TYPED_TEST(AllTyped, Syr2kEveryTriangleAndTranspose) {
    checkRank2K<TypeParam>(this->rng, false);
}
TYPED_TEST(ComplexTyped, Her2kEveryTriangleAndTranspose) {
    checkRank2K<TypeParam>(this->rng, true);
}

// trsm and trmm over side x uplo x transa x diag; A well conditioned (dominant diagonal, small
// off-diagonal entries), so that the solve is as accurate as the product.
template <typename T>
void checkTriangular(std::mt19937& rng, bool solve) {
    const int m = 6, n = 5;
    int call = 0;
    for (Api api : kApis)
        for (char side : {'L', 'R'})
            for (char uplo : {'U', 'L'})
                for (char ta : {'N', 'T', 'C'})
                    for (char diag : {'N', 'U'}) {
                        SCOPED_TRACE(std::string(apiName(api)) + " " + side + uplo + ta + diag);
                        const int order = side == 'L' ? m : n;
                        Operand<T> A(order, order, order + 2, rng), B(m, n, m + 1, rng);
                        for (int j = 0; j < order; ++j)
                            for (int i = 0; i < order; ++i)
                                A.at(i, j) = i == j ? A.at(i, j) + T(Real<T>(order))
                                                    : A.at(i, j) * T(Real<T>(1.0 / order));
                        const T alpha = makeScalar<T>(2.0, -1.0);
                        Operand<T> want = B;
                        if (solve)
                            pick<T>(cblas_strsm, cblas_dtrsm, cblas_ctrsm, cblas_ztrsm)(
                                CblasColMajor, cblasSide(side), cblasUplo(uplo), cblasTrans(ta),
                                cblasDiag(diag), m, n, byBlas(alpha), A.ptr(), A.ld, want.ptr(),
                                want.ld);
                        else
                            pick<T>(cblas_strmm, cblas_dtrmm, cblas_ctrmm, cblas_ztrmm)(
                                CblasColMajor, cblasSide(side), cblasUplo(uplo), cblasTrans(ta),
                                cblasDiag(diag), m, n, byBlas(alpha), A.ptr(), A.ld, want.ptr(),
                                want.ld);
                        const char cs = alternateCase(side, call), cu = alternateCase(uplo, call),
                                   ct = alternateCase(ta, call), cd = alternateCase(diag, call);
                        ++call;
                        zuliStatus s = onOperands<T>(
                            api,
                            [&](T* a, T* b) {
                                auto fn = solve ? ENTRY(api, trsm) : ENTRY(api, trmm);
                                return fn(cs, cu, ct, cd, m, n, pub(alpha), pub(a), A.ld, pub(b),
                                          B.ld);
                            },
                            A, B);
                        ASSERT_EQ(s, zuliNoError);
                        expectNear(B, want, 2 * order, "B");
                    }
}

TYPED_TEST(AllTyped, TrsmEveryOptionCombination) {
    checkTriangular<TypeParam>(this->rng, true);
}
TYPED_TEST(AllTyped, TrmmEveryOptionCombination) {
    checkTriangular<TypeParam>(this->rng, false);
}

// gemv with positive and negative increments, both interfaces.
TYPED_TEST(AllTyped, GemvEveryTransposeAndIncrement) {
    using T = TypeParam;
    const int m = 7, n = 4;
    struct Incs {
        int x, y;
    } incs[] = {{1, 1}, {2, 3}, {-1, 1}, {3, -2}, {-2, -1}};
    for (Api api : kApis)
        for (char trans : {'N', 'T', 'C'})
            for (Incs inc : incs)
                for (double betaRe : {0.0, 0.5}) {
                    SCOPED_TRACE(std::string(apiName(api)) + " " + trans + " incx " +
                                 std::to_string(inc.x) + " incy " + std::to_string(inc.y));
                    const int lenX = trans == 'N' ? n : m, lenY = trans == 'N' ? m : n;
                    Operand<T> A(m, n, m + 1, this->rng);
                    auto X = Operand<T>::vector(lenX, inc.x, this->rng);
                    auto Y = Operand<T>::vector(lenY, inc.y, this->rng);
                    const T alpha = makeScalar<T>(0.5, 2.0), beta = makeScalar<T>(betaRe, -0.5);
                    Operand<T> want = Y;
                    pick<T>(cblas_sgemv, cblas_dgemv, cblas_cgemv, cblas_zgemv)(
                        CblasColMajor, cblasTrans(trans), m, n, byBlas(alpha), A.ptr(), A.ld,
                        X.ptr(), inc.x, byBlas(beta), want.ptr(), inc.y);
                    zuliStatus s = onOperands<T>(
                        api,
                        [&](T* a, T* x, T* y) {
                            return ENTRY(api, gemv)(trans, m, n, pub(alpha), pub(a), A.ld, pub(x),
                                                    inc.x, pub(beta), pub(y), inc.y);
                        },
                        A, X, Y);
                    ASSERT_EQ(s, zuliNoError);
                    // Also the elements between the strides of y: untouched.
                    expectNear(Y, want, m, "y");
                }
}

// symv (real) and hemv (complex) share one check.
template <typename T>
void checkSymv(std::mt19937& rng) {
    const int n = 6;
    struct Incs {
        int x, y;
    } incs[] = {{1, 1}, {2, -3}, {-1, 2}};
    for (Api api : kApis)
        for (char uplo : {'U', 'L', 'u'})
            for (Incs inc : incs)
                for (double betaRe : {0.0, 1.0}) {
                    SCOPED_TRACE(std::string(apiName(api)) + " " + uplo);
                    Operand<T> A(n, n, n + 3, rng);
                    auto X = Operand<T>::vector(n, inc.x, rng);
                    auto Y = Operand<T>::vector(n, inc.y, rng);
                    const T alpha = makeScalar<T>(-1.0, 0.5), beta = makeScalar<T>(betaRe, 0.25);
                    Operand<T> want = Y;
                    const char refUplo = char(std::toupper(uplo));
                    pick<T>(cblas_ssymv, cblas_dsymv, cblas_chemv, cblas_zhemv)(
                        CblasColMajor, cblasUplo(refUplo), n, byBlas(alpha), A.ptr(), A.ld, X.ptr(),
                        inc.x, byBlas(beta), want.ptr(), inc.y);
                    zuliStatus s = onOperands<T>(
                        api,
                        [&](T* a, T* x, T* y) {
                            if constexpr (zuli::IsComplexV<T>)
                                return ENTRY_COMPLEX(api, hemv)(uplo, n, pub(alpha), pub(a), A.ld,
                                                                pub(x), inc.x, pub(beta), pub(y),
                                                                inc.y);
                            else
                                return ENTRY_REAL(api, symv)(uplo, n, pub(alpha), pub(a), A.ld,
                                                             pub(x), inc.x, pub(beta), pub(y),
                                                             inc.y);
                        },
                        A, X, Y);
                    ASSERT_EQ(s, zuliNoError);
                    expectNear(Y, want, n, "y");
                }
}

TYPED_TEST(RealTyped, SymvEveryTriangleAndIncrement) {
    checkSymv<TypeParam>(this->rng);
}
TYPED_TEST(ComplexTyped, HemvEveryTriangleAndIncrement) {
    checkSymv<TypeParam>(this->rng);
}

// k = 0 still scales C by beta (gemm, syrk), with nothing of A or B copied.
TYPED_TEST(AllTyped, EmptyInnerDimensionScalesC) {
    using T = TypeParam;
    const int m = 4, n = 3;
    for (Api api : kApis) {
        SCOPED_TRACE(apiName(api));
        Operand<T> C(m, n, m, this->rng), S(n, n, n, this->rng);
        Operand<T> wantC = C, wantS = S;
        const T alpha = makeScalar<T>(1.0, 0.0), beta = makeScalar<T>(-2.0, 0.0);
        for (T& v : wantC.data) v = v * beta;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i <= j; ++i) wantS.at(i, j) = wantS.at(i, j) * beta;
        zuliEmuResetCounters();
        zuliStatus s = onOperands<T>(
            api,
            [&](T* c, T* sc) {
                zuliStatus r = ENTRY(api, gemm)('N', 'N', m, n, 0, pub(alpha), nullptr, m, nullptr,
                                                1, pub(beta), pub(c), m);
                if (r != zuliNoError) return r;
                return ENTRY(api, syrk)('U', 'N', n, 0, pub(alpha), nullptr, n, pub(beta), pub(sc),
                                        n);
            },
            C, S);
        ASSERT_EQ(s, zuliNoError);
        expectNear(C, wantC, 1, "gemm C");
        expectNear(S, wantS, 1, "syrk C");
    }
}

}  // namespace
