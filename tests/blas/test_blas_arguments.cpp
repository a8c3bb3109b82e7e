// The host BLAS routines' argument checks (one table per member, run in every precision), what
// an empty problem does, and the device routines' lenient option mapping.
#include "blas_test_support.h"

#include <functional>

namespace {

using namespace blas_test;

// Every argument of any member, valid by default for the member's table. Options are in the
// order of the signature (o1 is the first option argument).
struct Args {
    char o1 = 'N', o2 = 'N', o3 = 'N', o4 = 'N';
    int m = 4, n = 3, k = 2;
    int lda = 4, ldb = 4, ldc = 4;
    int incx = 1, incy = 1;
    bool nullA = false, nullB = false, nullC = false;
};

struct Row {
    const char* what;
    std::function<void(Args&)> change;
    zuliInfo info;  // 0: accepted
};

// Runs each row through `call` and checks the status, the info and, for a rejected call, that
// nothing was allocated, copied or computed.
template <typename Call>
void runTable(const Args& defaults, const std::vector<Row>& rows, Call call) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        Args args = defaults;
        if (row.change) row.change(args);
        zuliEmuResetCounters();
        const zuliStatus s = call(args);
        if (row.info == 0) {
            EXPECT_EQ(s, zuliNoError) << "info " << zuliGetErrorInfo();
            continue;
        }
        EXPECT_EQ(s, zuliArgumentError);
        EXPECT_EQ(zuliGetErrorInfo(), row.info);
        zuliEmuCounters c{};
        zuliEmuGetCounters(&c);
        EXPECT_EQ(c.deviceAllocs, 0u);
        EXPECT_EQ(c.h2dCopies + c.d2hCopies, 0u);
        EXPECT_EQ(c.blasCalls, 0u);
    }
}

template <typename T>
class Arguments : public BlasTest {
  protected:
    // Operand storage large enough for every row.
    std::vector<T> a = std::vector<T>(256, T(1)), b = std::vector<T>(256, T(1)),
                   c = std::vector<T>(256, T(1));
    const zuli::PublicType<T>* A(const Args& g) { return g.nullA ? nullptr : pub(a.data()); }
    const zuli::PublicType<T>* B(const Args& g) { return g.nullB ? nullptr : pub(b.data()); }
    zuli::PublicType<T>* C(const Args& g) { return g.nullC ? nullptr : pub(c.data()); }
    const T one = T(1);
};
TYPED_TEST_SUITE(Arguments, AllPrecisions);
template <typename T>
using ComplexArguments = Arguments<T>;
TYPED_TEST_SUITE(ComplexArguments, ComplexPrecisions);
template <typename T>
using RealArguments = Arguments<T>;
TYPED_TEST_SUITE(RealArguments, RealPrecisions);

TYPED_TEST(Arguments, Gemm) {
    using T = TypeParam;
    Args d;  // N N, m 4, n 3, k 2, lda 4, ldb 2, ldc 4
    d.ldb = 2;
    auto tenByFour = [](Args& g) { g.o1 = 'T', g.m = 10, g.k = 4, g.ldb = 4, g.ldc = 10; };
    runTable(
        d,
        {
            {"valid", nullptr, 0},
            {"lower case n t", [](Args& g) { g.o1 = 'n', g.o2 = 't', g.ldb = 3; }, 0},
            {"conjugate c", [](Args& g) { g.o1 = 'c', g.lda = 2; }, 0},
            {"transa X", [](Args& g) { g.o1 = 'X'; }, -1},
            {"transa X wins over m < 0", [](Args& g) { g.o1 = 'X', g.m = -1; }, -1},
            {"transb X", [](Args& g) { g.o2 = 'X'; }, -2},
            {"transb NUL", [](Args& g) { g.o2 = '\0'; }, -2},
            {"m < 0", [](Args& g) { g.m = -1; }, -3},
            {"n < 0", [](Args& g) { g.n = -1; }, -4},
            {"k < 0", [](Args& g) { g.k = -1; }, -5},
            {"lda < m", [](Args& g) { g.lda = 3; }, -8},
            {"T, m 10, k 4: lda 4", [&](Args& g) { tenByFour(g), g.lda = 4; }, 0},
            {"T, m 10, k 4: lda 3", [&](Args& g) { tenByFour(g), g.lda = 3; }, -8},
            {"ldb < k", [](Args& g) { g.ldb = 1; }, -10},
            {"transb T: ldb < n", [](Args& g) { g.o2 = 'T', g.ldb = 2; }, -10},
            {"ldc < m", [](Args& g) { g.ldc = 3; }, -13},
            {"a null", [](Args& g) { g.nullA = true; }, -7},
            {"b null", [](Args& g) { g.nullB = true; }, -9},
            {"c null", [](Args& g) { g.nullC = true; }, -12},
            {"lda checked before a", [](Args& g) { g.lda = 1, g.nullA = true; }, -8},
            {"m 0, a null, lda 0",
             [](Args& g) { g.m = 0, g.lda = 0, g.ldc = 0, g.nullA = g.nullC = true; }, 0},
            {"n 0, all null", [](Args& g) { g.n = 0, g.nullA = g.nullB = g.nullC = true; }, 0},
            {"k 0, a and b null", [](Args& g) { g.k = 0, g.ldb = 0, g.nullA = g.nullB = true; }, 0},
        },
        [&](const Args& g) {
            return pick<T>(zuliSgemm, zuliDgemm, zuliCgemm, zuliZgemm)(
                g.o1, g.o2, g.m, g.n, g.k, pub(this->one), this->A(g), g.lda, this->B(g), g.ldb,
                pub(this->one), this->C(g), g.ldc);
        });
}

// symm and hemm: (side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc).
template <typename Fixture, typename Call>
void symmTable(Call call) {
    Args d;
    d.o1 = 'L', d.o2 = 'U';  // m 4, n 3, lda 4, ldb 4, ldc 4
    runTable(d,
             {
                 {"valid", nullptr, 0},
                 {"lower case r l", [](Args& g) { g.o1 = 'r', g.o2 = 'l', g.lda = 3; }, 0},
                 {"side X", [](Args& g) { g.o1 = 'X'; }, -1},
                 {"side N", [](Args& g) { g.o1 = 'N'; }, -1},
                 {"uplo X", [](Args& g) { g.o2 = 'X'; }, -2},
                 {"m < 0", [](Args& g) { g.m = -1; }, -3},
                 {"n < 0", [](Args& g) { g.n = -1; }, -4},
                 {"left: lda < m", [](Args& g) { g.lda = 3; }, -7},
                 {"right: lda < n", [](Args& g) { g.o1 = 'R', g.lda = 2; }, -7},
                 {"ldb < m", [](Args& g) { g.ldb = 3; }, -9},
                 {"ldc < m", [](Args& g) { g.ldc = 3; }, -12},
                 {"a null", [](Args& g) { g.nullA = true; }, -6},
                 {"b null", [](Args& g) { g.nullB = true; }, -8},
                 {"c null", [](Args& g) { g.nullC = true; }, -11},
                 {"m 0, all null, ld 0",
                  [](Args& g) {
                      g.m = 0, g.lda = g.ldb = g.ldc = 0, g.nullA = g.nullB = g.nullC = true;
                  },
                  0},
             },
             call);
}

TYPED_TEST(Arguments, Symm) {
    using T = TypeParam;
    symmTable<TestFixture>([&](const Args& g) {
        return pick<T>(zuliSsymm, zuliDsymm, zuliCsymm, zuliZsymm)(
            g.o1, g.o2, g.m, g.n, pub(this->one), this->A(g), g.lda, this->B(g), g.ldb,
            pub(this->one), this->C(g), g.ldc);
    });
}
TYPED_TEST(ComplexArguments, Hemm) {
    using T = TypeParam;
    symmTable<TestFixture>([&](const Args& g) {
        return pick<T>(nullptr, nullptr, zuliChemm, zuliZhemm)(g.o1, g.o2, g.m, g.n, pub(this->one),
                                                               this->A(g), g.lda, this->B(g), g.ldb,
                                                               pub(this->one), this->C(g), g.ldc);
    });
}

// syrk/herk (uplo, trans, n, k, alpha, a, lda, beta, c, ldc) and syr2k/her2k (uplo, trans, n,
// k, alpha, a, lda, b, ldb, beta, c, ldc): the positions after lda shift by two. `letters` are
// the transposes the member accepts; the others give -2.
std::vector<Row> rankUpdateRows(bool twoOperands, const std::string& letters) {
    const int shift = twoOperands ? 2 : 0;
    std::vector<Row> rows = {
        {"valid", nullptr, 0},
        {"lower case l", [](Args& g) { g.o1 = 'l'; }, 0},
        {"uplo X", [](Args& g) { g.o1 = 'X'; }, -1},
        {"trans X", [](Args& g) { g.o2 = 'X'; }, -2},
        {"n < 0", [](Args& g) { g.n = -1; }, -3},
        {"k < 0", [](Args& g) { g.k = -1; }, -4},
        {"N: lda < n", [](Args& g) { g.lda = 2; }, -7},
        {"ldc < n", [](Args& g) { g.ldc = 2; }, -(10 + shift)},
        {"a null", [](Args& g) { g.nullA = true; }, -6},
        {"c null", [](Args& g) { g.nullC = true; }, -(9 + shift)},
        {"n 0, all null, ld 0",
         [](Args& g) { g.n = 0, g.lda = g.ldb = g.ldc = 0, g.nullA = g.nullB = g.nullC = true; },
         0},
    };
    for (char t : {'T', 'C'}) {
        const bool accepted = letters.find(t) != std::string::npos;
        rows.push_back({accepted ? "transposed accepted" : "transpose letter refused",
                        [t](Args& g) { g.o2 = t, g.lda = 2, g.ldb = 2; }, accepted ? 0 : -2});
        rows.push_back({"transposed: lda < k", [t](Args& g) { g.o2 = t, g.lda = 1, g.ldb = 2; },
                        accepted ? -7 : -2});
    }
    if (twoOperands) {
        rows.push_back({"N: ldb < n", [](Args& g) { g.ldb = 2; }, -9});
        rows.push_back({"b null", [](Args& g) { g.nullB = true; }, -8});
        rows.push_back({"ldb before a null", [](Args& g) { g.ldb = 2, g.nullA = true; }, -9});
    }
    return rows;
}

Args rankUpdateDefaults() {
    Args d;
    d.o1 = 'U', d.o2 = 'N', d.n = 3, d.k = 2, d.lda = 3, d.ldb = 3, d.ldc = 3;
    return d;
}

TYPED_TEST(Arguments, SyrkAndSyr2k) {
    using T = TypeParam;
    const std::string letters = zuli::IsComplexV<T> ? "NT" : "NTC";
    {
        SCOPED_TRACE("syrk");
        runTable(rankUpdateDefaults(), rankUpdateRows(false, letters), [&](const Args& g) {
            return pick<T>(zuliSsyrk, zuliDsyrk, zuliCsyrk, zuliZsyrk)(
                g.o1, g.o2, g.n, g.k, pub(this->one), this->A(g), g.lda, pub(this->one), this->C(g),
                g.ldc);
        });
    }
    {
        SCOPED_TRACE("syr2k");
        runTable(rankUpdateDefaults(), rankUpdateRows(true, letters), [&](const Args& g) {
            return pick<T>(zuliSsyr2k, zuliDsyr2k, zuliCsyr2k, zuliZsyr2k)(
                g.o1, g.o2, g.n, g.k, pub(this->one), this->A(g), g.lda, this->B(g), g.ldb,
                pub(this->one), this->C(g), g.ldc);
        });
    }
}

TYPED_TEST(ComplexArguments, HerkAndHer2k) {
    using T = TypeParam;
    const Real<T> one = 1;
    {
        SCOPED_TRACE("herk");
        runTable(rankUpdateDefaults(), rankUpdateRows(false, "NC"), [&](const Args& g) {
            return pick<T>(nullptr, nullptr, zuliCherk, zuliZherk)(
                g.o1, g.o2, g.n, g.k, one, this->A(g), g.lda, one, this->C(g), g.ldc);
        });
    }
    {
        SCOPED_TRACE("her2k");
        runTable(rankUpdateDefaults(), rankUpdateRows(true, "NC"), [&](const Args& g) {
            return pick<T>(nullptr, nullptr, zuliCher2k, zuliZher2k)(
                g.o1, g.o2, g.n, g.k, pub(this->one), this->A(g), g.lda, this->B(g), g.ldb, one,
                this->C(g), g.ldc);
        });
    }
}

// trsm and trmm: (side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb).
TYPED_TEST(Arguments, TrsmAndTrmm) {
    using T = TypeParam;
    Args d;
    d.o1 = 'L', d.o2 = 'U', d.o3 = 'N', d.o4 = 'N';  // m 4, n 3, lda 4, ldb 4
    const std::vector<Row> rows = {
        {"valid", nullptr, 0},
        {"lower case r l c u", [](Args& g) { g.o1 = 'r', g.o2 = 'l', g.o3 = 'c', g.o4 = 'u'; }, 0},
        {"side X", [](Args& g) { g.o1 = 'X'; }, -1},
        {"uplo X", [](Args& g) { g.o2 = 'X'; }, -2},
        {"transa X", [](Args& g) { g.o3 = 'X'; }, -3},
        {"diag X", [](Args& g) { g.o4 = 'X'; }, -4},
        {"diag X wins over m < 0", [](Args& g) { g.o4 = 'X', g.m = -1; }, -4},
        {"m < 0", [](Args& g) { g.m = -1; }, -5},
        {"n < 0", [](Args& g) { g.n = -1; }, -6},
        {"left: lda < m", [](Args& g) { g.lda = 3; }, -9},
        {"right: lda 3 = n", [](Args& g) { g.o1 = 'R', g.lda = 3; }, 0},
        {"right: lda < n", [](Args& g) { g.o1 = 'R', g.lda = 2; }, -9},
        {"ldb < m", [](Args& g) { g.ldb = 3; }, -11},
        {"a null", [](Args& g) { g.nullA = true; }, -8},
        {"b null", [](Args& g) { g.nullC = true; }, -10},
        {"n 0, all null, lda 0",
         [](Args& g) { g.n = 0, g.o1 = 'R', g.lda = 0, g.nullA = g.nullC = true; }, 0},
    };
    for (bool solve : {true, false}) {
        SCOPED_TRACE(solve ? "trsm" : "trmm");
        runTable(d, rows, [&](const Args& g) {
            auto fn = solve ? pick<T>(zuliStrsm, zuliDtrsm, zuliCtrsm, zuliZtrsm)
                            : pick<T>(zuliStrmm, zuliDtrmm, zuliCtrmm, zuliZtrmm);
            return fn(g.o1, g.o2, g.o3, g.o4, g.m, g.n, pub(this->one), this->A(g), g.lda,
                      this->C(g), g.ldb);
        });
    }
}

// gemv: (trans, m, n, alpha, a, lda, x, incx, beta, y, incy); x is `b`, y is `c`.
TYPED_TEST(Arguments, Gemv) {
    using T = TypeParam;
    Args d;  // N, m 4, n 3, lda 4
    runTable(d,
             {
                 {"valid", nullptr, 0},
                 {"lower case t, negative increments",
                  [](Args& g) { g.o1 = 't', g.incx = -2, g.incy = -1; }, 0},
                 {"trans X", [](Args& g) { g.o1 = 'X'; }, -1},
                 {"m < 0", [](Args& g) { g.m = -1; }, -2},
                 {"n < 0", [](Args& g) { g.n = -1; }, -3},
                 {"lda < m", [](Args& g) { g.lda = 3; }, -6},
                 {"incx 0", [](Args& g) { g.incx = 0; }, -8},
                 {"incy 0", [](Args& g) { g.incy = 0; }, -11},
                 {"a null", [](Args& g) { g.nullA = true; }, -5},
                 {"x null", [](Args& g) { g.nullB = true; }, -7},
                 {"y null", [](Args& g) { g.nullC = true; }, -10},
                 {"incy before a null", [](Args& g) { g.incy = 0, g.nullA = true; }, -11},
                 {"m 0, all null, lda 0",
                  [](Args& g) { g.m = 0, g.lda = 0, g.nullA = g.nullB = g.nullC = true; }, 0},
             },
             [&](const Args& g) {
                 return pick<T>(zuliSgemv, zuliDgemv, zuliCgemv, zuliZgemv)(
                     g.o1, g.m, g.n, pub(this->one), this->A(g), g.lda, this->B(g), g.incx,
                     pub(this->one), this->C(g), g.incy);
             });
}

// symv and hemv: (uplo, n, alpha, a, lda, x, incx, beta, y, incy).
template <typename Call>
void symvTable(Call call) {
    Args d;
    d.o1 = 'U';  // n 3, lda 4
    runTable(d,
             {
                 {"valid", nullptr, 0},
                 {"lower case l", [](Args& g) { g.o1 = 'l'; }, 0},
                 {"uplo X", [](Args& g) { g.o1 = 'X'; }, -1},
                 {"uplo N", [](Args& g) { g.o1 = 'N'; }, -1},
                 {"n < 0", [](Args& g) { g.n = -1; }, -2},
                 {"lda < n", [](Args& g) { g.lda = 2; }, -5},
                 {"incx 0", [](Args& g) { g.incx = 0; }, -7},
                 {"incy 0", [](Args& g) { g.incy = 0; }, -10},
                 {"a null", [](Args& g) { g.nullA = true; }, -4},
                 {"x null", [](Args& g) { g.nullB = true; }, -6},
                 {"y null", [](Args& g) { g.nullC = true; }, -9},
                 {"n 0, all null, lda 0",
                  [](Args& g) { g.n = 0, g.lda = 0, g.nullA = g.nullB = g.nullC = true; }, 0},
             },
             call);
}

TYPED_TEST(RealArguments, Symv) {
    using T = TypeParam;
    symvTable([&](const Args& g) {
        return pick<T>(zuliSsymv, zuliDsymv, nullptr, nullptr)(
            g.o1, g.n, pub(this->one), this->A(g), g.lda, this->B(g), g.incx, pub(this->one),
            this->C(g), g.incy);
    });
}
TYPED_TEST(ComplexArguments, Hemv) {
    using T = TypeParam;
    symvTable([&](const Args& g) {
        return pick<T>(nullptr, nullptr, zuliChemv, zuliZhemv)(
            g.o1, g.n, pub(this->one), this->A(g), g.lda, this->B(g), g.incx, pub(this->one),
            this->C(g), g.incy);
    });
}

// An empty problem with null pointers and zero leading dimensions returns at once: no device
// memory, no copy, no cuBLAS call, in every host member.
TYPED_TEST(Arguments, EmptyProblemsDoNoWork) {
    using T = TypeParam;
    const auto one = pub(T(1));
    const Real<T> r1 = 1;
    struct Case {
        const char* what;
        std::function<zuliStatus()> call;
    };
    std::vector<Case> cases = {
        {"gemm m 0",
         [&] {
             return pick<T>(zuliSgemm, zuliDgemm, zuliCgemm, zuliZgemm)(
                 'N', 'N', 0, 3, 2, one, nullptr, 0, nullptr, 2, one, nullptr, 0);
         }},
        {"symm n 0",
         [&] {
             return pick<T>(zuliSsymm, zuliDsymm, zuliCsymm, zuliZsymm)(
                 'R', 'U', 3, 0, one, nullptr, 0, nullptr, 3, one, nullptr, 3);
         }},
        {"syrk n 0",
         [&] {
             return pick<T>(zuliSsyrk, zuliDsyrk, zuliCsyrk, zuliZsyrk)(
                 'U', 'N', 0, 2, one, nullptr, 0, one, nullptr, 0);
         }},
        {"syr2k n 0",
         [&] {
             return pick<T>(zuliSsyr2k, zuliDsyr2k, zuliCsyr2k, zuliZsyr2k)(
                 'L', 'T', 0, 2, one, nullptr, 2, nullptr, 2, one, nullptr, 0);
         }},
        {"trsm m 0",
         [&] {
             return pick<T>(zuliStrsm, zuliDtrsm, zuliCtrsm, zuliZtrsm)(
                 'L', 'U', 'N', 'N', 0, 3, one, nullptr, 0, nullptr, 0);
         }},
        {"trmm n 0",
         [&] {
             return pick<T>(zuliStrmm, zuliDtrmm, zuliCtrmm, zuliZtrmm)(
                 'R', 'U', 'N', 'N', 3, 0, one, nullptr, 0, nullptr, 3);
         }},
        {"gemv n 0",
         [&] {
             return pick<T>(zuliSgemv, zuliDgemv, zuliCgemv, zuliZgemv)(
                 'N', 3, 0, one, nullptr, 3, nullptr, 1, one, nullptr, 1);
         }},
        {"gemm k 0, c null",
         [&] {
             return pick<T>(zuliSgemm, zuliDgemm, zuliCgemm, zuliZgemm)(
                 'N', 'N', 3, 3, 0, one, nullptr, 3, nullptr, 0, one, nullptr, 3);
         }},
    };
    if constexpr (zuli::IsComplexV<T>) {
        cases.push_back({"herk n 0", [&] {
                             return pick<T>(nullptr, nullptr, zuliCherk, zuliZherk)(
                                 'U', 'C', 0, 2, r1, nullptr, 2, r1, nullptr, 0);
                         }});
        cases.push_back({"hemv n 0", [&] {
                             return pick<T>(nullptr, nullptr, zuliChemv, zuliZhemv)(
                                 'U', 0, one, nullptr, 0, nullptr, 1, one, nullptr, 1);
                         }});
    } else {
        cases.push_back({"symv n 0", [&] {
                             return pick<T>(zuliSsymv, zuliDsymv, nullptr, nullptr)(
                                 'U', 0, one, nullptr, 0, nullptr, 1, one, nullptr, 1);
                         }});
    }
    (void)r1;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        zuliEmuResetCounters();
        EXPECT_EQ(c.call(), zuliNoError);
        zuliEmuCounters k{};
        zuliEmuGetCounters(&k);
        EXPECT_EQ(k.deviceAllocs, 0u);
        EXPECT_EQ(k.h2dCopies + k.d2hCopies, 0u);
        EXPECT_EQ(k.blasCalls, 0u);
    }
}

// The device interface checks nothing and maps every unknown letter to the default: 'x', 'y'
// run as N, N (and 'n', 't' as N, T).
TYPED_TEST(Arguments, DeviceGemmMapsUnknownLettersToNoTranspose) {
    using T = TypeParam;
    const int m = 5, n = 4, k = 3;
    Operand<T> A(m, k, m, this->rng), B(k, n, k, this->rng), C(m, n, m, this->rng);
    Operand<T> Bt(n, k, n, this->rng);
    const T alpha = makeScalar<T>(1.0, 0.5), beta = makeScalar<T>(0.5, 0.0);
    Operand<T> wantNN = C, wantNT = C;
    pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
        CblasColMajor, CblasNoTrans, CblasNoTrans, m, n, k, byBlas(alpha), A.ptr(), A.ld, B.ptr(),
        B.ld, byBlas(beta), wantNN.ptr(), wantNN.ld);
    pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
        CblasColMajor, CblasNoTrans, CblasTrans, m, n, k, byBlas(alpha), A.ptr(), A.ld, Bt.ptr(),
        Bt.ld, byBlas(beta), wantNT.ptr(), wantNT.ld);
    auto gemm = pick<T>(zuliDeviceSgemm, zuliDeviceDgemm, zuliDeviceCgemm, zuliDeviceZgemm);
    Operand<T> gotNN = C, gotNT = C;
    ASSERT_EQ(onOperands<T>(
                  Api::Device,
                  [&](T* a, T* b, T* c) {
                      return gemm('x', 'y', m, n, k, pub(alpha), pub(a), A.ld, pub(b), B.ld,
                                  pub(beta), pub(c), C.ld);
                  },
                  A, B, gotNN),
              zuliNoError);
    ASSERT_EQ(onOperands<T>(
                  Api::Device,
                  [&](T* a, T* b, T* c) {
                      return gemm('n', 't', m, n, k, pub(alpha), pub(a), A.ld, pub(b), Bt.ld,
                                  pub(beta), pub(c), C.ld);
                  },
                  A, Bt, gotNT),
              zuliNoError);
    expectNear(gotNN, wantNN, k, "x y as N N");
    expectNear(gotNT, wantNT, k, "n t as N T");
}

// The device interface reports no argument error: invalid sizes reach cuBLAS, whose refusal is
// not examined, so the call succeeds and changes nothing.
TYPED_TEST(Arguments, DeviceRoutinesCheckNoArgument) {
    using T = TypeParam;
    Operand<T> C(4, 4, 4, this->rng);
    const Operand<T> before = C;
    const T one = T(1);
    zuliStatus s = onOperands<T>(
        Api::Device,
        [&](T* c) {
            zuliStatus r =
                pick<T>(zuliDeviceSgemm, zuliDeviceDgemm, zuliDeviceCgemm, zuliDeviceZgemm)(
                    'N', 'N', -1, 4, 4, pub(one), pub(c), 4, pub(c), 4, pub(one), pub(c), 4);
            EXPECT_EQ(r, zuliNoError);
            return pick<T>(zuliDeviceStrsm, zuliDeviceDtrsm, zuliDeviceCtrsm, zuliDeviceZtrsm)(
                'L', 'U', 'N', 'N', 4, 4, pub(one), pub(c), 1, pub(c), 4);  // lda 1 < m
        },
        C);
    EXPECT_EQ(s, zuliNoError);
    EXPECT_EQ(zuliGetErrorInfo(), 0);
    expectNear(C, before, 0, "C unchanged");
}

}  // namespace
