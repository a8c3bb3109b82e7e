// The host BLAS routines' argument checks (one table per member, run in every precision) and what
// an empty problem does.
#include "blas_test_support.h"

#include <sstream>

namespace {

using namespace blas_test;

// Every argument of any member, valid by default for the member's table. Options are in the
// order of the signature (o1 is the first option argument); a null b is x, a null c is y or B.
struct Args {
    char o1 = 'N', o2 = 'N', o3 = 'N', o4 = 'N';
    int m = 4, n = 3, k = 2, lda = 4, ldb = 4, ldc = 4, incx = 1, incy = 1;
    bool nullA = false, nullB = false, nullC = false;

    // Applies changes written as "key=value ...": o1..o4=<letter or NUL>, a|b|c=null, or an
    // integer argument by its name.
    Args with(const std::string& changes) const {
        Args g = *this;
        std::istringstream in(changes);
        for (std::string item; in >> item;) {
            const size_t eq = item.find('=');
            const std::string key = item.substr(0, eq), value = item.substr(eq + 1);
            char* options[] = {&g.o1, &g.o2, &g.o3, &g.o4};
            bool* nulls[] = {&g.nullA, &g.nullB, &g.nullC};
            std::pair<const char*, int*> ints[] = {
                {"m", &g.m},     {"n", &g.n},     {"k", &g.k},       {"lda", &g.lda},
                {"ldb", &g.ldb}, {"ldc", &g.ldc}, {"incx", &g.incx}, {"incy", &g.incy}};
            if (key.size() == 2 && key[0] == 'o')
                *options[key[1] - '1'] = value == "NUL" ? '\0' : value[0];
            else if (value == "null")
                *nulls[key[0] - 'a'] = true;
            for (auto [name, field] : ints)
                if (key == name) *field = std::stoi(value);
        }
        return g;
    }
};

// A table: rows "<changes> : <result>" separated by ';', the result "ok" (accepted), "empty"
// (accepted, returning at once without touching the device) or the argument error's info. Runs
// each row through `call` and checks the status, the info and, for a rejected or empty call,
// that nothing was allocated, copied or computed.
template <typename Call>
void runTable(const Args& defaults, const std::string& table, Call call) {
    std::istringstream rows(table);
    for (std::string row; std::getline(rows, row, ';');) {
        SCOPED_TRACE(row);
        const size_t colon = row.rfind(':');
        const std::string result = row.substr(colon + 2);
        const zuliInfo info = result == "ok" || result == "empty" ? 0 : std::stoi(result);
        zuliEmuResetCounters();
        EXPECT_EQ(call(defaults.with(row.substr(0, colon))),
                  info < 0 ? zuliArgumentError : zuliNoError);
        EXPECT_EQ(zuliGetErrorInfo(), info);
        if (result != "ok") expectNoWork();
    }
}

template <typename T>
class Arguments : public BlasTest {
  protected:
    // Operand storage large enough for every row.
    std::vector<T> a = std::vector<T>(256, T(1)), b = a, c = a;
    const zuli::PublicType<T>* A(const Args& g) { return g.nullA ? nullptr : pub(a.data()); }
    const zuli::PublicType<T>* B(const Args& g) { return g.nullB ? nullptr : pub(b.data()); }
    zuli::PublicType<T>* C(const Args& g) { return g.nullC ? nullptr : pub(c.data()); }
    const zuli::PublicType<T> one = pub(T(1));
};
TYPED_TEST_SUITE(Arguments, AllPrecisions);
template <typename T>
using ComplexArguments = Arguments<T>;
TYPED_TEST_SUITE(ComplexArguments, ComplexPrecisions);

TYPED_TEST(Arguments, Gemm) {
    using T = TypeParam;
    // N N, m 4, n 3, k 2, lda 4, ldb 2, ldc 4; with k 0 and c given, C is still scaled by beta.
    runTable(Args{}.with("ldb=2"),
             ": ok; o1=X : -1; o1=X m=-1 : -1; o2=X : -2; o2=NUL : -2; m=-1 : -3; n=-1 : -4; "
             "k=-1 : -5; lda=3 : -8; o1=T m=10 k=4 ldb=4 ldc=10 lda=4 : ok; "
             "o1=T m=10 k=4 ldb=4 ldc=10 lda=3 : -8; ldb=1 : -10; o2=T ldb=2 : -10; ldc=3 : -13; "
             "a=null : -7; b=null : -9; c=null : -12; lda=1 a=null : -8; "
             "m=0 lda=0 ldc=0 a=null c=null : empty; n=0 a=null b=null c=null : empty; "
             "k=0 ldb=0 a=null b=null c=null : empty; k=0 a=null b=null : ok",
             [&](const Args& g) {
                 return ENTRY(Api::Host, gemm)(g.o1, g.o2, g.m, g.n, g.k, this->one, this->A(g),
                                               g.lda, this->B(g), g.ldb, this->one, this->C(g),
                                               g.ldc);
             });
}

// symm: (side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc); hemm runs the same checks.
TYPED_TEST(Arguments, Symm) {
    using T = TypeParam;
    runTable(Args{}.with("o1=L o2=U"),  // m 4, n 3, lda 4, ldb 4, ldc 4
             ": ok; o1=X : -1; o1=N : -1; o2=X : -2; m=-1 : -3; n=-1 : -4; lda=3 : -7; "
             "o1=R lda=3 : ok; o1=R lda=2 : -7; ldb=3 : -9; ldc=3 : -12; a=null : -6; b=null : -8; "
             "c=null : -11; m=0 lda=0 ldb=0 ldc=0 a=null b=null c=null : empty; "
             "o1=R n=0 lda=0 a=null b=null c=null : empty",
             [&](const Args& g) {
                 return ENTRY(Api::Host, symm)(g.o1, g.o2, g.m, g.n, this->one, this->A(g), g.lda,
                                               this->B(g), g.ldb, this->one, this->C(g), g.ldc);
             });
}

// syrk/herk (uplo, trans, n, k, alpha, a, lda, beta, c, ldc) and syr2k/her2k (uplo, trans, n,
// k, alpha, a, lda, b, ldb, beta, c, ldc): the positions after lda shift by two. `letters` are
// the transposes the member accepts; the others give -2.
template <typename Call>
void rankUpdateTable(bool twoOperands, const std::string& letters, Call call) {
    SCOPED_TRACE(twoOperands ? "rank 2k" : "rank k");
    const int shift = twoOperands ? 2 : 0;
    std::string rows =
        ": ok; o1=X : -1; o2=X : -2; n=-1 : -3; k=-1 : -4; lda=2 : -7; a=null : -6; "
        "n=0 lda=0 ldb=0 ldc=0 a=null b=null c=null : empty";
    rows += "; c=null : " + std::to_string(-9 - shift) + "; ldc=2 : " + std::to_string(-10 - shift);
    for (std::string t : {"T", "C"}) {
        const bool accepted = letters.find(t) != std::string::npos;
        rows += "; o2=" + t + " lda=2 ldb=2 : " + (accepted ? "ok" : "-2");
        rows += "; o2=" + t + " lda=1 ldb=2 : " + (accepted ? "-7" : "-2");
    }
    if (twoOperands) rows += "; ldb=2 : -9; b=null : -8; ldb=2 a=null : -9";
    runTable(Args{}.with("o1=U n=3 lda=3 ldb=3 ldc=3"), rows, call);  // N, k 2
}

TYPED_TEST(Arguments, SyrkAndSyr2k) {
    using T = TypeParam;
    const std::string letters = zuli::IsComplexV<T> ? "NT" : "NTC";
    rankUpdateTable(false, letters, [&](const Args& g) {
        return ENTRY(Api::Host, syrk)(g.o1, g.o2, g.n, g.k, this->one, this->A(g), g.lda, this->one,
                                      this->C(g), g.ldc);
    });
    rankUpdateTable(true, letters, [&](const Args& g) {
        return ENTRY(Api::Host, syr2k)(g.o1, g.o2, g.n, g.k, this->one, this->A(g), g.lda,
                                       this->B(g), g.ldb, this->one, this->C(g), g.ldc);
    });
}

TYPED_TEST(ComplexArguments, HerkAndHer2k) {
    using T = TypeParam;
    const Real<T> one = 1;
    rankUpdateTable(false, "NC", [&](const Args& g) {
        return ENTRY_COMPLEX(Api::Host, herk)(g.o1, g.o2, g.n, g.k, one, this->A(g), g.lda, one,
                                              this->C(g), g.ldc);
    });
    rankUpdateTable(true, "NC", [&](const Args& g) {
        return ENTRY_COMPLEX(Api::Host, her2k)(g.o1, g.o2, g.n, g.k, this->one, this->A(g), g.lda,
                                               this->B(g), g.ldb, one, this->C(g), g.ldc);
    });
}

// trsm and trmm: (side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb); b is `c` here.
TYPED_TEST(Arguments, TrsmAndTrmm) {
    using T = TypeParam;
    const std::string rows =
        ": ok; o1=X : -1; o2=X : -2; o3=X : -3; o4=X : -4; o4=X m=-1 : -4; m=-1 : -5; n=-1 : -6; "
        "lda=3 : -9; o1=R lda=3 : ok; o1=R lda=2 : -9; ldb=3 : -11; a=null : -8; c=null : -10; "
        "o1=R n=0 lda=0 a=null c=null : empty; m=0 lda=0 ldb=0 a=null c=null : empty";
    for (bool solve : {true, false}) {
        SCOPED_TRACE(solve ? "trsm" : "trmm");
        const auto fn = solve ? ENTRY(Api::Host, trsm) : ENTRY(Api::Host, trmm);
        runTable(Args{}.with("o1=L o2=U"), rows, [&](const Args& g) {  // N N, m 4, n 3, lda 4
            return fn(g.o1, g.o2, g.o3, g.o4, g.m, g.n, this->one, this->A(g), g.lda, this->C(g),
                      g.ldb);
        });
    }
}

// gemv: (trans, m, n, alpha, a, lda, x, incx, beta, y, incy).
TYPED_TEST(Arguments, Gemv) {
    using T = TypeParam;
    runTable(Args{},  // N, m 4, n 3, lda 4
             ": ok; o1=t incx=-2 incy=-1 : ok; o1=X : -1; m=-1 : -2; n=-1 : -3; lda=3 : -6; "
             "incx=0 : -8; incy=0 : -11; a=null : -5; b=null : -7; c=null : -10; "
             "incy=0 a=null : -11; m=0 lda=0 a=null b=null c=null : empty; "
             "n=0 a=null b=null c=null : empty",
             [&](const Args& g) {
                 return ENTRY(Api::Host, gemv)(g.o1, g.m, g.n, this->one, this->A(g), g.lda,
                                               this->B(g), g.incx, this->one, this->C(g), g.incy);
             });
}

// symv (real) and hemv (complex): (uplo, n, alpha, a, lda, x, incx, beta, y, incy).
TYPED_TEST(Arguments, SymvOrHemv) {
    using T = TypeParam;
    runTable(Args{}.with("o1=U"),  // n 3, lda 4
             ": ok; o1=X : -1; o1=N : -1; n=-1 : -2; lda=2 : -5; incx=0 : -7; incy=0 : -10; "
             "a=null : -4; b=null : -6; c=null : -9; n=0 lda=0 a=null b=null c=null : empty",
             [&](const Args& g) {
                 return pick<T>(zuliSsymv, zuliDsymv, zuliChemv, zuliZhemv)(
                     g.o1, g.n, this->one, this->A(g), g.lda, this->B(g), g.incx, this->one,
                     this->C(g), g.incy);
             });
}

}  // namespace
