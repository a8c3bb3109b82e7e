// errors_check.cpp - argument errors through the drop-in library, as LAPACK's own error-exit
// tests see them: for each routine and each argument LAPACK (or BLAS) checks, one call with that
// argument bad reaches this program's xerbla_ with LAPACK's routine name and the argument's
// position, and INFO is minus the position. Every precision. ctest sets ZULI_DROPIN_MIN_ORDER=1,
// so that the valid sizes of these calls go to the library and its argument errors are the ones
// translated. Prints "N passed, N failed".
#include "fortran_prototypes.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

extern "C" {
// What the last xerbla_ call said (exported: the drop-in and the host LAPACK call it).
std::string seenName;
int seenPosition = 0;
__attribute__((visibility("default"))) void xerbla_(const char* name, const int* position,
                                                    size_t length) {
    seenName.assign(name, length);
    while (!seenName.empty() && (seenName.back() == ' ' || seenName.back() == '\0'))
        seenName.pop_back();
    seenPosition = *position;
}
}

namespace {

int passed = 0, failed = 0;

#define F(name) pick<T>(s##name##_, d##name##_, c##name##_, z##name##_)

template <typename T>
void errors() {
    using R = decltype(std::abs(T{}));
    const std::string p = pick<T>("S", "D", "C", "Z");
    std::vector<T> a(256, T(1)), b(256, T(1)), w(256);
    for (int i = 0; i < 16; ++i) a[i * 17] = T(8);  // a comfortably nonsingular 16 x 16
    std::vector<int> ipiv(16, 1);
    const T one = T(1);
    const R rone = 1;
    int info = 0;
    // One bad argument: xerbla_ gets LAPACK's name and `position`; INFO (if any) is -position.
    auto arg = [&](const char* routine, int position, bool hasInfo, auto&& call) {
        seenName.clear(), seenPosition = 0, info = 0;
        call();
        const std::string name = p + routine;
        const bool ok =
            seenName == name && seenPosition == position && (!hasInfo || info == -position);
        ok ? ++passed : ++failed;
        if (!ok)
            std::printf("FAILED: %s position %d: xerbla got '%s' %d, info %d\n", name.c_str(),
                        position, seenName.c_str(), seenPosition, info);
    };

    auto getrf = [&](int m, int n, int lda) {
        F(getrf)(&m, &n, a.data(), &lda, ipiv.data(), &info);
    };
    arg("GETRF", 1, true, [&] { getrf(-1, 4, 4); });
    arg("GETRF", 2, true, [&] { getrf(4, -1, 4); });
    arg("GETRF", 4, true, [&] { getrf(4, 4, 3); });
    auto getrs = [&](const char* t, int n, int nrhs, int lda, int ldb) {
        F(getrs)(t, &n, &nrhs, a.data(), &lda, ipiv.data(), b.data(), &ldb, &info, 1);
    };
    arg("GETRS", 1, true, [&] { getrs("X", 4, 1, 4, 4); });
    arg("GETRS", 2, true, [&] { getrs("N", -1, 1, 4, 4); });
    arg("GETRS", 3, true, [&] { getrs("N", 4, -1, 4, 4); });
    arg("GETRS", 5, true, [&] { getrs("N", 4, 1, 3, 4); });
    arg("GETRS", 8, true, [&] { getrs("N", 4, 1, 4, 3); });
    auto gesv = [&](int n, int nrhs, int lda, int ldb) {
        F(gesv)(&n, &nrhs, a.data(), &lda, ipiv.data(), b.data(), &ldb, &info);
    };
    arg("GESV", 1, true, [&] { gesv(-1, 1, 4, 4); });
    arg("GESV", 2, true, [&] { gesv(4, -1, 4, 4); });
    arg("GESV", 4, true, [&] { gesv(4, 1, 3, 4); });
    arg("GESV", 7, true, [&] { gesv(4, 1, 4, 3); });
    auto getri = [&](int n, int lda, int lwork) {
        F(getri)(&n, a.data(), &lda, ipiv.data(), w.data(), &lwork, &info);
    };
    arg("GETRI", 1, true, [&] { getri(-1, 4, 4); });
    arg("GETRI", 3, true, [&] { getri(4, 3, 4); });
    arg("GETRI", 6, true, [&] { getri(4, 4, 3); });
    auto potrf = [&](const char* u, int n, int lda) { F(potrf)(u, &n, a.data(), &lda, &info, 1); };
    auto potri = [&](const char* u, int n, int lda) { F(potri)(u, &n, a.data(), &lda, &info, 1); };
    arg("POTRF", 1, true, [&] { potrf("X", 4, 4); });
    arg("POTRF", 2, true, [&] { potrf("U", -1, 4); });
    arg("POTRF", 4, true, [&] { potrf("L", 4, 3); });
    arg("POTRI", 1, true, [&] { potri("X", 4, 4); });
    arg("POTRI", 2, true, [&] { potri("U", -1, 4); });
    arg("POTRI", 4, true, [&] { potri("L", 4, 3); });
    auto potrs = [&](const char* u, int n, int nrhs, int lda, int ldb) {
        F(potrs)(u, &n, &nrhs, a.data(), &lda, b.data(), &ldb, &info, 1);
    };
    auto posv = [&](const char* u, int n, int nrhs, int lda, int ldb) {
        F(posv)(u, &n, &nrhs, a.data(), &lda, b.data(), &ldb, &info, 1);
    };
    for (auto [name, f] : {std::pair{"POTRS", 0}, std::pair{"POSV", 1}}) {
        auto call = [&, f](const char* u, int n, int nrhs, int lda, int ldb) {
            f ? posv(u, n, nrhs, lda, ldb) : potrs(u, n, nrhs, lda, ldb);
        };
        arg(name, 1, true, [&] { call("X", 4, 1, 4, 4); });
        arg(name, 2, true, [&] { call("U", -1, 1, 4, 4); });
        arg(name, 3, true, [&] { call("U", 4, -1, 4, 4); });
        arg(name, 5, true, [&] { call("U", 4, 1, 3, 4); });
        arg(name, 7, true, [&] { call("U", 4, 1, 4, 3); });
    }
    auto trtrs = [&](const char* u, const char* t, const char* d, int n, int nrhs, int lda,
                     int ldb) {
        F(trtrs)(u, t, d, &n, &nrhs, a.data(), &lda, b.data(), &ldb, &info, 1, 1, 1);
    };
    arg("TRTRS", 1, true, [&] { trtrs("X", "N", "N", 4, 1, 4, 4); });
    arg("TRTRS", 2, true, [&] { trtrs("U", "X", "N", 4, 1, 4, 4); });
    arg("TRTRS", 3, true, [&] { trtrs("U", "N", "X", 4, 1, 4, 4); });
    arg("TRTRS", 4, true, [&] { trtrs("U", "N", "N", -1, 1, 4, 4); });
    arg("TRTRS", 5, true, [&] { trtrs("U", "N", "N", 4, -1, 4, 4); });
    arg("TRTRS", 7, true, [&] { trtrs("U", "N", "N", 4, 1, 3, 4); });
    arg("TRTRS", 9, true, [&] { trtrs("U", "N", "N", 4, 1, 4, 3); });
    auto trtri = [&](const char* u, const char* d, int n, int lda) {
        F(trtri)(u, d, &n, a.data(), &lda, &info, 1, 1);
    };
    arg("TRTRI", 1, true, [&] { trtri("X", "N", 4, 4); });
    arg("TRTRI", 2, true, [&] { trtri("U", "X", 4, 4); });
    arg("TRTRI", 3, true, [&] { trtri("U", "N", -1, 4); });
    arg("TRTRI", 5, true, [&] { trtri("U", "N", 4, 3); });
    auto gbtrf = [&](int m, int n, int kl, int ku, int ldab) {
        F(gbtrf)(&m, &n, &kl, &ku, a.data(), &ldab, ipiv.data(), &info);
    };
    arg("GBTRF", 1, true, [&] { gbtrf(-1, 4, 1, 1, 4); });
    arg("GBTRF", 2, true, [&] { gbtrf(4, -1, 1, 1, 4); });
    arg("GBTRF", 3, true, [&] { gbtrf(4, 4, -1, 1, 4); });
    arg("GBTRF", 4, true, [&] { gbtrf(4, 4, 1, -1, 4); });
    arg("GBTRF", 6, true, [&] { gbtrf(4, 4, 1, 1, 3); });
    auto pbtrf = [&](const char* u, int n, int kd, int ldab) {
        F(pbtrf)(u, &n, &kd, a.data(), &ldab, &info, 1);
    };
    arg("PBTRF", 1, true, [&] { pbtrf("X", 4, 1, 2); });
    arg("PBTRF", 2, true, [&] { pbtrf("U", -1, 1, 2); });
    arg("PBTRF", 3, true, [&] { pbtrf("U", 4, -1, 2); });
    arg("PBTRF", 5, true, [&] { pbtrf("U", 4, 1, 1); });
    auto lascl = [&](const char* type, int kl, int ku, R from, R to, int m, int n, int lda) {
        F(lascl)(type, &kl, &ku, &from, &to, &m, &n, a.data(), &lda, &info, 1);
    };
    arg("LASCL", 1, true, [&] { lascl("X", 0, 0, 1, 2, 4, 4, 4); });
    arg("LASCL", 2, true, [&] { lascl("B", 4, 4, 1, 2, 4, 4, 5); });
    arg("LASCL", 3, true, [&] { lascl("B", 1, 2, 1, 2, 4, 4, 5); });
    arg("LASCL", 4, true, [&] { lascl("G", 0, 0, 0, 2, 4, 4, 4); });
    arg("LASCL", 4, true, [&] { lascl("G", 0, 0, NAN, 2, 4, 4, 4); });
    arg("LASCL", 5, true, [&] { lascl("G", 0, 0, 1, NAN, 4, 4, 4); });
    arg("LASCL", 6, true, [&] { lascl("G", 0, 0, 1, 2, -1, 4, 4); });
    arg("LASCL", 7, true, [&] { lascl("Q", 1, 1, 1, 2, 4, 3, 4); });
    arg("LASCL", 9, true, [&] { lascl("G", 0, 0, 1, 2, 0, 0, 0); });

    // The QR family. `fine`: LAPACK accepts the call (no xerbla_, INFO 0), so a workspace minimum
    // or a bound that depends on the wrong dimension shows.
    auto fine = [&](const std::string& what, auto&& call) {
        seenName.clear(), seenPosition = 0, info = -99;
        call();
        const bool ok = seenName.empty() && info == 0;
        ok ? ++passed : ++failed;
        if (!ok)
            std::printf("FAILED: %s%s refused: '%s' %d\n", p.c_str(), what.c_str(),
                        seenName.c_str(), seenPosition);
    };
    const char* factors[] = {"GEQRF", "GEQRFP", "GELQF", "GEQLF", "GERQF"};
    for (int f = 0; f < 5; ++f) {
        const bool rows = f == 2 || f == 4;  // lwork >= max(1, m), else max(1, n)
        auto factor = [&, f](int m, int n, int lda, int lwork) {
            std::vector{F(geqrf), F(geqrfp), F(gelqf), F(geqlf), F(gerqf)}[f](
                &m, &n, a.data(), &lda, b.data(), w.data(), &lwork, &info);
        };
        arg(factors[f], 1, true, [&] { factor(-1, 4, 4, 16); });
        arg(factors[f], 2, true, [&] { factor(4, -1, 4, 16); });
        arg(factors[f], 4, true, [&] { factor(4, 4, 3, 16); });
        arg(factors[f], 4, true, [&] { factor(4, 4, 3, -1); });  // before the query
        arg(factors[f], 7, true, [&] { rows ? factor(4, 2, 4, 3) : factor(2, 4, 4, 3); });
        fine(factors[f], [&] { rows ? factor(3, 5, 3, 3) : factor(5, 3, 5, 3); });
        // No rows: geqrf, gelqf and gerqf need one element of workspace, geqrfp and geqlf n.
        if (f == 1 || f == 3)
            arg(factors[f], 7, true, [&] { factor(0, 4, 1, 1); });
        else
            fine(factors[f], [&] { factor(0, 4, 1, 1); });
    }
#define Q(name) pick<T>(sor##name##_, dor##name##_, cun##name##_, zun##name##_)
    const std::string un = std::is_floating_point_v<T> ? "OR" : "UN";
    const char* kinds[] = {"QR", "LQ", "QL", "RQ"};
    for (int g = 0; g < 4; ++g) {
        const bool rows = g == 1 || g == 3;  // Q's rows: m <= n, k <= m, lwork >= max(1, m)
        const std::string gen = un + "G" + kinds[g], mul = un + "M" + kinds[g];
        auto generate = [&, g](int m, int n, int k, int lda, int lwork) {
            std::vector{Q(gqr), Q(glq), Q(gql), Q(grq)}[g](&m, &n, &k, a.data(), &lda, b.data(),
                                                           w.data(), &lwork, &info);
        };
        auto tr = [rows](int m, int n) { return rows ? std::pair{n, m} : std::pair{m, n}; };
        arg(gen.c_str(), 1, true, [&] { generate(-1, 4, 0, 4, 16); });
        arg(gen.c_str(), 2, true, [&] {
            auto [m, n] = tr(3, 4);
            generate(m, n, 0, 4, 16);
        });
        arg(gen.c_str(), 3, true, [&] {
            auto [m, n] = tr(4, 2);
            generate(m, n, 3, 4, 16);
        });
        arg(gen.c_str(), 3, true, [&] { generate(4, 4, -1, 4, 16); });
        arg(gen.c_str(), 5, true, [&] { generate(4, 4, 2, 3, 16); });
        arg(gen.c_str(), 8, true, [&] {
            auto [m, n] = tr(4, 3);
            generate(m, n, 2, 4, 2);
        });
        fine(gen, [&] {
            auto [m, n] = tr(4, 3);
            generate(m, n, 2, 4, 3);
        });
        auto multiply = [&, g](const char* side, const char* trans, int m, int n, int k, int lda,
                               int ldc, int lwork) {
            std::vector{Q(mqr), Q(mlq), Q(mql), Q(mrq)}[g](side, trans, &m, &n, &k, a.data(), &lda,
                                                           b.data(), w.data(), &ldc, w.data() + 128,
                                                           &lwork, &info, 1, 1);
        };
        const char* wrongTrans = std::is_floating_point_v<T> ? "C" : "T";
        arg(mul.c_str(), 1, true, [&] { multiply("X", "N", 4, 4, 2, 4, 4, 16); });
        arg(mul.c_str(), 2, true, [&] { multiply("L", "X", 4, 4, 2, 4, 4, 16); });
        arg(mul.c_str(), 2, true, [&] { multiply("R", wrongTrans, 4, 4, 2, 4, 4, 16); });
        arg(mul.c_str(), 3, true, [&] { multiply("L", "N", -1, 4, 0, 4, 4, 16); });
        arg(mul.c_str(), 4, true, [&] { multiply("L", "N", 4, -1, 2, 4, 4, 16); });
        arg(mul.c_str(), 5, true, [&] { multiply("L", "N", 4, 4, 5, 5, 4, 16); });
        arg(mul.c_str(), 5, true, [&] { multiply("R", "N", 5, 4, 5, 5, 5, 16); });
        arg(mul.c_str(), 7, true, [&] { multiply("L", "N", 4, 4, 4, 3, 4, 16); });
        arg(mul.c_str(), 10, true, [&] { multiply("L", "N", 4, 4, 2, 4, 3, 16); });
        arg(mul.c_str(), 12, true, [&] { multiply("L", "N", 4, 5, 2, 4, 4, 4); });
        arg(mul.c_str(), 12, true, [&] { multiply("R", "N", 5, 4, 2, 4, 5, 4); });
        // lda >= nq (reflectors in A's columns) or >= k (in its rows); lwork >= n (side 'L').
        fine(mul, [&] { multiply("L", "N", 4, 4, 2, rows ? 2 : 4, 4, 4); });
        fine(mul, [&] { multiply("L", wrongTrans[0] == 'C' ? "T" : "C", 5, 4, 2, 5, 5, 4); });
    }
    // The nonsymmetric eigenproblem. gehrd's lwork >= n, orghr's >= ihi - ilo; geev's >= 4n (real,
    // with vectors), 3n (real, without) or 2n (complex), and its positions after lda are one less
    // in the complex routines (w for wr and wi).
    auto hessenberg = [&](int g, int n, int ilo, int ihi, int lda, int lwork) {
        if (g == 0)
            F(gehrd)(&n, &ilo, &ihi, a.data(), &lda, b.data(), w.data(), &lwork, &info);
        else
            Q(ghr)(&n, &ilo, &ihi, a.data(), &lda, b.data(), w.data(), &lwork, &info);
    };
    for (int g = 0; g < 2; ++g) {
        const std::string name = g ? un + "GHR" : "GEHRD";
        arg(name.c_str(), 1, true, [&] { hessenberg(g, -1, 1, 0, 4, 16); });
        arg(name.c_str(), 2, true, [&] { hessenberg(g, 4, 0, 4, 4, 16); });
        arg(name.c_str(), 2, true, [&] { hessenberg(g, 4, 5, 4, 4, 16); });
        arg(name.c_str(), 3, true, [&] { hessenberg(g, 4, 3, 2, 4, 16); });
        arg(name.c_str(), 3, true, [&] { hessenberg(g, 4, 1, 5, 4, 16); });
        arg(name.c_str(), 5, true, [&] { hessenberg(g, 4, 1, 4, 3, 16); });
        arg(name.c_str(), 5, true, [&] { hessenberg(g, 4, 1, 4, 3, -1); });  // before the query
        arg(name.c_str(), 8, true, [&] { hessenberg(g, 6, 2, 5, 6, g ? 2 : 5); });
        fine(name, [&] { hessenberg(g, 6, 2, 5, 6, g ? 3 : 6); });
        fine(name, [&] { hessenberg(g, 0, 1, 0, 1, 1); });
    }
    std::vector<R> rw(64);
    auto geev = [&](const char* jl, const char* jr, int n, int lda, int ldvl, int ldvr, int lwork) {
        std::vector<T> x = a;
        if constexpr (std::is_floating_point_v<T>) F(geev)
        (jl, jr, &n, x.data(), &lda, b.data(), b.data() + 16, w.data(), &ldvl, w.data() + 64, &ldvr,
         w.data() + 128, &lwork, &info, 1, 1);
        else F(geev)(jl, jr, &n, x.data(), &lda, b.data(), w.data(), &ldvl, w.data() + 64, &ldvr,
                     w.data() + 128, &lwork, rw.data(), &info, 1, 1);
    };
    const int shift = std::is_floating_point_v<T> ? 0 : 1;             // positions after lda
    const int withVectors = shift ? 8 : 16, without = shift ? 8 : 12;  // lwork minimums at n = 4
    arg("GEEV", 1, true, [&] { geev("X", "N", 4, 4, 1, 1, 64); });
    arg("GEEV", 2, true, [&] { geev("N", "X", 4, 4, 1, 1, 64); });
    arg("GEEV", 3, true, [&] { geev("N", "N", -1, 4, 1, 1, 64); });
    arg("GEEV", 5, true, [&] { geev("N", "N", 4, 3, 1, 1, 64); });
    arg("GEEV", 9 - shift, true, [&] { geev("N", "N", 4, 4, 0, 1, 64); });
    arg("GEEV", 9 - shift, true, [&] { geev("V", "N", 4, 4, 3, 1, 64); });
    arg("GEEV", 11 - shift, true, [&] { geev("N", "N", 4, 4, 1, 0, 64); });
    arg("GEEV", 11 - shift, true, [&] { geev("N", "V", 4, 4, 1, 3, -1); });  // before the query
    arg("GEEV", 13 - shift, true, [&] { geev("V", "N", 4, 4, 4, 1, withVectors - 1); });
    arg("GEEV", 13 - shift, true, [&] { geev("N", "V", 4, 4, 1, 4, withVectors - 1); });
    arg("GEEV", 13 - shift, true, [&] { geev("N", "N", 4, 4, 1, 1, without - 1); });
    fine("GEEV", [&] { geev("v", "V", 4, 4, 4, 4, withVectors); });
    fine("GEEV", [&] { geev("N", "n", 4, 4, 1, 1, without); });
    fine("GEEV", [&] { geev("N", "N", 0, 1, 1, 1, 1); });
    // The symmetric eigenproblem. sytrd's lwork >= 1, orgtr's >= n - 1, ormtr's >= n (side 'L');
    // syev's >= 3n - 1 (real) or 2n - 1 (complex). Each call on a fresh copy of the symmetric a.
    const std::string sy = std::is_floating_point_v<T> ? "SY" : "HE";
    std::vector<R> rd(64), re(64);
    auto sytrd = [&](const char* u, int n, int lda, int lwork) {
        std::vector<T> x = a;
        pick<T>(ssytrd_, dsytrd_, chetrd_, zhetrd_)(u, &n, x.data(), &lda, rd.data(), re.data(),
                                                    b.data(), w.data(), &lwork, &info, 1);
    };
    arg((sy + "TRD").c_str(), 1, true, [&] { sytrd("X", 4, 4, 4); });
    arg((sy + "TRD").c_str(), 2, true, [&] { sytrd("U", -1, 4, 4); });
    arg((sy + "TRD").c_str(), 4, true, [&] { sytrd("L", 4, 3, 4); });
    arg((sy + "TRD").c_str(), 9, true, [&] { sytrd("L", 4, 4, 0); });
    fine(sy + "TRD", [&] { sytrd("l", 4, 4, 1); });
    auto orgtr = [&](const char* u, int n, int lda, int lwork) {
        std::vector<T> x = a;
        Q(gtr)(u, &n, x.data(), &lda, b.data(), w.data(), &lwork, &info, 1);
    };
    arg((un + "GTR").c_str(), 1, true, [&] { orgtr("X", 4, 4, 4); });
    arg((un + "GTR").c_str(), 2, true, [&] { orgtr("U", -1, 4, 4); });
    arg((un + "GTR").c_str(), 4, true, [&] { orgtr("L", 4, 3, 4); });
    arg((un + "GTR").c_str(), 7, true, [&] { orgtr("L", 4, 4, 2); });
    fine(un + "GTR", [&] { orgtr("u", 4, 4, 3); });
    auto ormtr = [&](const char* s, const char* u, const char* t, int m, int n, int lda, int ldc,
                     int lwork) {
        std::vector<T> y = a;
        Q(mtr)
        (s, u, t, &m, &n, a.data(), &lda, b.data(), y.data(), &ldc, w.data(), &lwork, &info, 1, 1,
         1);
    };
    const char* badTrans = std::is_floating_point_v<T> ? "C" : "T";
    arg((un + "MTR").c_str(), 1, true, [&] { ormtr("X", "U", "N", 4, 4, 4, 4, 4); });
    arg((un + "MTR").c_str(), 2, true, [&] { ormtr("L", "X", "N", 4, 4, 4, 4, 4); });
    arg((un + "MTR").c_str(), 3, true, [&] { ormtr("L", "U", badTrans, 4, 4, 4, 4, 4); });
    arg((un + "MTR").c_str(), 4, true, [&] { ormtr("L", "U", "N", -1, 4, 4, 4, 4); });
    arg((un + "MTR").c_str(), 5, true, [&] { ormtr("L", "U", "N", 4, -1, 4, 4, 4); });
    arg((un + "MTR").c_str(), 7, true, [&] { ormtr("L", "L", "N", 4, 4, 3, 4, 4); });
    arg((un + "MTR").c_str(), 10, true, [&] { ormtr("R", "L", "N", 4, 4, 4, 3, 4); });
    arg((un + "MTR").c_str(), 12, true, [&] { ormtr("L", "U", "N", 4, 4, 4, 4, 3); });
    fine(un + "MTR", [&] { ormtr("r", "l", badTrans[0] == 'C' ? "T" : "C", 4, 4, 4, 4, 4); });
    auto syev = [&](const char* j, const char* u, int n, int lda, int lwork) {
        std::vector<T> x = a;
        if constexpr (std::is_same_v<T, float>)
            ssyev_(j, u, &n, x.data(), &lda, rd.data(), w.data(), &lwork, &info, 1, 1);
        else if constexpr (std::is_same_v<T, double>)
            dsyev_(j, u, &n, x.data(), &lda, rd.data(), w.data(), &lwork, &info, 1, 1);
        else
            pick<T>(nullptr, nullptr, cheev_, zheev_)(j, u, &n, x.data(), &lda, rd.data(),
                                                      w.data(), &lwork, re.data(), &info, 1, 1);
    };
    const int evMinimum = std::is_floating_point_v<T> ? 11 : 7;  // at n = 4
    arg((sy + "EV").c_str(), 1, true, [&] { syev("X", "U", 4, 4, 16); });
    arg((sy + "EV").c_str(), 2, true, [&] { syev("N", "X", 4, 4, 16); });
    arg((sy + "EV").c_str(), 3, true, [&] { syev("N", "U", -1, 4, 16); });
    arg((sy + "EV").c_str(), 5, true, [&] { syev("V", "L", 4, 3, 16); });
    arg((sy + "EV").c_str(), 8, true, [&] { syev("V", "L", 4, 4, evMinimum - 1); });
    fine(sy + "EV", [&] { syev("v", "u", 4, 4, evMinimum); });
    fine(sy + "EV", [&] { syev("N", "L", 0, 1, 1); });
    // The generalized symmetric-definite eigenproblem, on a copy of the diagonally dominant A as
    // both A and B: lwork >= 3n - 1 (real) or 2n - 1 (complex).
    auto sygv = [&](int itype, const char* jobz, const char* uplo, int n, int lda, int ldb,
                    int lwork) {
        std::vector<T> x(a.begin(), a.begin() + 16), y = x;
        std::vector<R> ev(16);
        for (int i = 0; i < 4; ++i) x[i * 5] = y[i * 5] = T(8);
        if constexpr (std::is_floating_point_v<T>)
            pick<T>(ssygv_, dsygv_, chegv_, zhegv_)(&itype, jobz, uplo, &n, x.data(), &lda,
                                                    y.data(), &ldb, ev.data(), w.data(), &lwork,
                                                    &info, 1, 1);
        else
            pick<T>(ssygv_, dsygv_, chegv_, zhegv_)(&itype, jobz, uplo, &n, x.data(), &lda,
                                                    y.data(), &ldb, ev.data(), w.data(), &lwork,
                                                    rw.data(), &info, 1, 1);
    };
    const int sygvWork = std::is_floating_point_v<T> ? 11 : 7;  // the minimum at n = 4
    const std::string gv = std::is_floating_point_v<T> ? "SYGV" : "HEGV";
    arg(gv.c_str(), 1, true, [&] { sygv(4, "X", "U", 4, 4, 4, 64); });
    arg(gv.c_str(), 2, true, [&] { sygv(1, "X", "U", 4, 4, 4, 64); });
    arg(gv.c_str(), 3, true, [&] { sygv(2, "V", "X", 4, 4, 4, 64); });
    arg(gv.c_str(), 4, true, [&] { sygv(3, "N", "L", -1, 4, 4, 64); });
    arg(gv.c_str(), 6, true, [&] { sygv(1, "V", "U", 4, 3, 4, 64); });
    arg(gv.c_str(), 8, true, [&] { sygv(1, "V", "L", 4, 4, 3, -1); });  // before the query
    arg(gv.c_str(), 11, true, [&] { sygv(1, "N", "U", 4, 4, 4, sygvWork - 1); });
    fine(gv, [&] { sygv(2, "v", "l", 4, 4, 4, sygvWork); });
    fine(gv, [&] { sygv(1, "N", "U", 4, 4, 4, -1); });
    fine(gv, [&] { sygv(3, "V", "U", 0, 1, 1, 1); });
#undef Q
    // Least squares, on fresh copies of a nonsingular A and a B of full row rank. gels takes 'N'
    // and 'T' (real) or 'C' (complex); its lwork >= mn + max(mn, nrhs), mn = min(m, n).
    std::vector<T> a0(256, T(1)), b0(256);
    for (int i = 0; i < 256; ++i) b0[i] = T(R(i % 7 + 1)), a0[i] = i % 17 ? T(1) : T(8);
    auto gels = [&](const char* t, int m, int n, int nrhs, int lda, int ldb, int lwork) {
        std::vector<T> x = a0, y = b0;
        F(gels)(t, &m, &n, &nrhs, x.data(), &lda, y.data(), &ldb, w.data(), &lwork, &info, 1);
    };
    const char* wrongTrans = std::is_floating_point_v<T> ? "C" : "T";
    arg("GELS", 1, true, [&] { gels("X", 4, 4, 1, 4, 4, 16); });
    arg("GELS", 1, true, [&] { gels(wrongTrans, 4, 4, 1, 4, 4, 16); });
    arg("GELS", 2, true, [&] { gels("N", -1, 4, 1, 4, 4, 16); });
    arg("GELS", 3, true, [&] { gels("N", 4, -1, 1, 4, 4, 16); });
    arg("GELS", 4, true, [&] { gels("N", 4, 4, -1, 4, 4, 16); });
    arg("GELS", 6, true, [&] { gels("N", 4, 4, 1, 3, 4, 16); });
    arg("GELS", 6, true, [&] { gels("N", 4, 4, 1, 3, 4, -1); });  // before the query
    arg("GELS", 8, true, [&] { gels("N", 2, 4, 1, 2, 3, 16); });
    arg("GELS", 10, true, [&] { gels("N", 4, 2, 5, 4, 4, 6); });
    fine("GELS", [&] { gels("N", 4, 2, 5, 4, 4, 7); });
    fine("GELS", [&] { gels(std::is_floating_point_v<T> ? "T" : "C", 2, 4, 1, 2, 4, 4); });
    auto ggrqf = [&](int m, int q, int n, int lda, int ldb, int lwork) {
        std::vector<T> x = a0, y = b0;
        F(ggrqf)
        (&m, &q, &n, x.data(), &lda, w.data(), y.data(), &ldb, w.data() + 32, w.data() + 64, &lwork,
         &info);
    };
    arg("GGRQF", 1, true, [&] { ggrqf(-1, 4, 4, 4, 4, 16); });
    arg("GGRQF", 2, true, [&] { ggrqf(4, -1, 4, 4, 4, 16); });
    arg("GGRQF", 3, true, [&] { ggrqf(4, 4, -1, 4, 4, 16); });
    arg("GGRQF", 5, true, [&] { ggrqf(4, 2, 3, 3, 2, 16); });
    arg("GGRQF", 8, true, [&] { ggrqf(4, 2, 3, 4, 1, 16); });
    arg("GGRQF", 11, true, [&] { ggrqf(2, 5, 3, 2, 5, 4); });  // lwork >= max(m, p, n)
    fine("GGRQF", [&] { ggrqf(2, 5, 3, 2, 5, 5); });
    auto gglse = [&](int m, int n, int q, int lda, int ldb, int lwork) {
        std::vector<T> x = a0, y = b0, c = b0, d = b0;
        F(gglse)
        (&m, &n, &q, x.data(), &lda, y.data(), &ldb, c.data(), d.data(), w.data(), w.data() + 32,
         &lwork, &info);
    };
    arg("GGLSE", 1, true, [&] { gglse(-1, 4, 2, 4, 2, 16); });
    arg("GGLSE", 2, true, [&] { gglse(4, -1, 2, 4, 2, 16); });
    arg("GGLSE", 3, true, [&] { gglse(4, 4, -1, 4, 2, 16); });
    arg("GGLSE", 3, true, [&] { gglse(4, 3, 4, 4, 4, 16); });  // p > n
    arg("GGLSE", 3, true, [&] { gglse(2, 4, 1, 2, 1, 16); });  // p < n - m
    arg("GGLSE", 5, true, [&] { gglse(4, 4, 2, 3, 2, 16); });
    arg("GGLSE", 7, true, [&] { gglse(4, 4, 2, 4, 1, 16); });
    arg("GGLSE", 12, true, [&] { gglse(4, 4, 2, 4, 2, 9); });  // lwork >= m + n + p
    fine("GGLSE", [&] { gglse(4, 4, 2, 4, 2, 10); });
    fine("GGLSE", [&] { gglse(4, 0, 0, 4, 1, 1); });

    // lasr checks lda even when there is nothing to rotate; it has no INFO.
    std::vector<R> cs(16, R(0.6)), sn(16, R(0.8));
    auto lasr = [&](const char* side, const char* pivot, const char* direct, int m, int n,
                    int lda) {
        F(lasr)(side, pivot, direct, &m, &n, cs.data(), sn.data(), a.data(), &lda, 1, 1, 1);
    };
    arg("LASR", 1, false, [&] { lasr("X", "V", "F", 4, 4, 4); });
    arg("LASR", 2, false, [&] { lasr("L", "X", "F", 4, 4, 4); });
    arg("LASR", 3, false, [&] { lasr("R", "V", "X", 4, 4, 4); });
    arg("LASR", 4, false, [&] { lasr("L", "V", "F", -1, 4, 4); });
    arg("LASR", 5, false, [&] { lasr("L", "V", "F", 4, -1, 4); });
    arg("LASR", 9, false, [&] { lasr("L", "V", "B", 4, 4, 3); });
    arg("LASR", 9, false, [&] { lasr("R", "T", "F", 0, 4, 0); });

    // BLAS: names blank-padded to six characters (compared without the blanks), no INFO.
    auto gemm = [&](const char* ta, const char* tb, int m, int n, int k, int lda, int ldb,
                    int ldc) {
        F(gemm)
        (ta, tb, &m, &n, &k, &one, a.data(), &lda, b.data(), &ldb, &one, w.data(), &ldc, 1, 1);
    };
    arg("GEMM", 1, false, [&] { gemm("X", "N", 4, 4, 4, 4, 4, 4); });
    arg("GEMM", 2, false, [&] { gemm("N", "X", 4, 4, 4, 4, 4, 4); });
    arg("GEMM", 3, false, [&] { gemm("N", "N", -1, 4, 4, 4, 4, 4); });
    arg("GEMM", 4, false, [&] { gemm("N", "N", 4, -1, 4, 4, 4, 4); });
    arg("GEMM", 5, false, [&] { gemm("N", "N", 4, 4, -1, 4, 4, 4); });
    arg("GEMM", 8, false, [&] { gemm("T", "N", 4, 4, 4, 3, 4, 4); });
    arg("GEMM", 8, false, [&] { gemm("N", "N", 0, 4, 4, 0, 4, 1); });  // lda >= 1 even for m = 0
    arg("GEMM", 10, false, [&] { gemm("N", "T", 4, 4, 4, 4, 3, 4); });
    arg("GEMM", 13, false, [&] { gemm("N", "N", 4, 4, 4, 4, 4, 3); });
    auto symm = [&](const char* s, const char* u, int m, int n, int lda, int ldb, int ldc) {
        F(symm)(s, u, &m, &n, &one, a.data(), &lda, b.data(), &ldb, &one, w.data(), &ldc, 1, 1);
    };
    arg("SYMM", 1, false, [&] { symm("X", "U", 4, 4, 4, 4, 4); });
    arg("SYMM", 2, false, [&] { symm("L", "X", 4, 4, 4, 4, 4); });
    arg("SYMM", 3, false, [&] { symm("L", "U", -1, 4, 4, 4, 4); });
    arg("SYMM", 4, false, [&] { symm("L", "U", 4, -1, 4, 4, 4); });
    arg("SYMM", 7, false, [&] { symm("R", "U", 4, 5, 4, 4, 4); });
    arg("SYMM", 9, false, [&] { symm("L", "U", 4, 4, 4, 3, 4); });
    arg("SYMM", 12, false, [&] { symm("L", "U", 4, 4, 4, 4, 3); });
    auto syrk = [&](const char* u, const char* t, int n, int k, int lda, int ldc) {
        F(syrk)(u, t, &n, &k, &one, a.data(), &lda, &one, w.data(), &ldc, 1, 1);
    };
    auto syr2k = [&](const char* u, const char* t, int n, int k, int lda, int ldb, int ldc) {
        F(syr2k)(u, t, &n, &k, &one, a.data(), &lda, b.data(), &ldb, &one, w.data(), &ldc, 1, 1);
    };
    arg("SYRK", 1, false, [&] { syrk("X", "N", 4, 4, 4, 4); });
    arg("SYRK", 2, false, [&] { syrk("U", "X", 4, 4, 4, 4); });
    arg("SYRK", 3, false, [&] { syrk("U", "N", -1, 4, 4, 4); });
    arg("SYRK", 4, false, [&] { syrk("U", "N", 4, -1, 4, 4); });
    arg("SYRK", 7, false, [&] { syrk("U", "T", 4, 5, 4, 4); });
    arg("SYRK", 10, false, [&] { syrk("U", "N", 4, 4, 4, 3); });
    arg("SYR2K", 1, false, [&] { syr2k("X", "N", 4, 4, 4, 4, 4); });
    arg("SYR2K", 2, false, [&] { syr2k("U", "X", 4, 4, 4, 4, 4); });
    arg("SYR2K", 3, false, [&] { syr2k("U", "N", -1, 4, 4, 4, 4); });
    arg("SYR2K", 4, false, [&] { syr2k("U", "N", 4, -1, 4, 4, 4); });
    arg("SYR2K", 7, false, [&] { syr2k("U", "N", 4, 4, 3, 4, 4); });
    arg("SYR2K", 9, false, [&] { syr2k("U", "N", 4, 4, 4, 3, 4); });
    arg("SYR2K", 12, false, [&] { syr2k("U", "N", 4, 4, 4, 4, 3); });
    if constexpr (!std::is_floating_point_v<T>) {  // no 'C' for the complex symmetric updates
        arg("SYRK", 2, false, [&] { syrk("U", "C", 4, 4, 4, 4); });
        arg("SYR2K", 2, false, [&] { syr2k("U", "C", 4, 4, 4, 4, 4); });
        auto herk = [&](const char* u, const char* t, int n, int k, int lda, int ldc) {
            pick<T>(0, 0, cherk_, zherk_)(u, t, &n, &k, &rone, a.data(), &lda, &rone, w.data(),
                                          &ldc, 1, 1);
        };
        arg("HERK", 2, false, [&] { herk("U", "T", 4, 4, 4, 4); });  // no 'T'
        arg("HERK", 7, false, [&] { herk("U", "N", 4, 4, 3, 4); });
        arg("HERK", 10, false, [&] { herk("L", "C", 4, 4, 4, 3); });
    }
    for (auto [name, solve] : {std::pair{"TRMM", false}, std::pair{"TRSM", true}}) {
        auto tr = [&, solve](const char* s, const char* u, const char* t, const char* d, int m,
                             int n, int lda, int ldb) {
            (solve ? F(trsm) : F(trmm))(s, u, t, d, &m, &n, &one, a.data(), &lda, w.data(), &ldb, 1,
                                        1, 1, 1);
        };
        arg(name, 1, false, [&] { tr("X", "U", "N", "N", 4, 4, 4, 4); });
        arg(name, 2, false, [&] { tr("L", "X", "N", "N", 4, 4, 4, 4); });
        arg(name, 3, false, [&] { tr("L", "U", "X", "N", 4, 4, 4, 4); });
        arg(name, 4, false, [&] { tr("L", "U", "N", "X", 4, 4, 4, 4); });
        arg(name, 5, false, [&] { tr("L", "U", "N", "N", -1, 4, 4, 4); });
        arg(name, 6, false, [&] { tr("L", "U", "N", "N", 4, -1, 4, 4); });
        arg(name, 9, false, [&] { tr("R", "U", "N", "N", 4, 5, 4, 4); });
        arg(name, 11, false, [&] { tr("L", "U", "N", "N", 4, 4, 4, 3); });
    }
    // The singular value decomposition. gebrd's lwork >= max(m, n), orgbr's >= min(m, n); a gesvd
    // or gesdd with less than LAPACK's documented minimum goes to the host LAPACK, which judges it
    // by its own path's minimum (here the same).
    constexpr bool real = std::is_floating_point_v<T>;
    std::vector<R> sv(64), rsv(256);
    std::vector<int> iw(64);
    auto gebrd = [&](int m, int n, int lda, int lwork) {
        std::vector<T> x = a;
        F(gebrd)
        (&m, &n, x.data(), &lda, sv.data(), sv.data() + 16, b.data(), b.data() + 16, w.data(),
         &lwork, &info);
    };
    arg("GEBRD", 1, true, [&] { gebrd(-1, 4, 4, 16); });
    arg("GEBRD", 2, true, [&] { gebrd(4, -1, 4, 16); });
    arg("GEBRD", 4, true, [&] { gebrd(4, 4, 3, 16); });
    arg("GEBRD", 10, true, [&] { gebrd(5, 3, 5, 4); });
    fine("GEBRD", [&] { gebrd(3, 5, 3, 5); });
    auto orgbr = [&](const char* v, int m, int n, int k, int lda, int lwork) {
        std::vector<T> x = a;
        pick<T>(sorgbr_, dorgbr_, cungbr_, zungbr_)(v, &m, &n, &k, x.data(), &lda, b.data(),
                                                    w.data(), &lwork, &info, 1);
    };
    const std::string br = real ? "ORGBR" : "UNGBR";
    arg(br.c_str(), 1, true, [&] { orgbr("X", 4, 4, 4, 4, 16); });
    arg(br.c_str(), 2, true, [&] { orgbr("Q", -1, 4, 4, 4, 16); });
    arg(br.c_str(), 3, true, [&] { orgbr("Q", 4, 5, 4, 4, 16); });
    arg(br.c_str(), 3, true, [&] { orgbr("P", 5, 4, 4, 5, 16); });
    arg(br.c_str(), 4, true, [&] { orgbr("Q", 4, 4, -1, 4, 16); });
    arg(br.c_str(), 6, true, [&] { orgbr("Q", 4, 4, 4, 3, 16); });
    arg(br.c_str(), 9, true, [&] { orgbr("Q", 5, 4, 4, 5, 3); });
    fine(br, [&] { orgbr("P", 4, 6, 4, 4, 4); });
    auto gesvd = [&](const char* ju, const char* jv, int m, int n, int lda, int ldu, int ldvt,
                     int lwork) {
        std::vector<T> x = a, u(64), vt(64);
        if constexpr (real)
            F(gesvd)
            (ju, jv, &m, &n, x.data(), &lda, sv.data(), u.data(), &ldu, vt.data(), &ldvt, w.data(),
             &lwork, &info, 1, 1);
        else
            F(gesvd)
            (ju, jv, &m, &n, x.data(), &lda, sv.data(), u.data(), &ldu, vt.data(), &ldvt, w.data(),
             &lwork, rsv.data(), &info, 1, 1);
    };
    // LAPACK's documented minimum for a 4 x 3 and a 3 x 5 matrix.
    const int svd43 = real ? 15 : 10, svd35 = real ? 15 : 11;
    arg("GESVD", 1, true, [&] { gesvd("X", "N", 4, 3, 4, 1, 1, 64); });
    arg("GESVD", 2, true, [&] { gesvd("N", "X", 4, 3, 4, 1, 1, 64); });
    arg("GESVD", 2, true, [&] { gesvd("O", "o", 4, 3, 4, 1, 1, 64); });
    arg("GESVD", 3, true, [&] { gesvd("N", "N", -1, 3, 4, 1, 1, 64); });
    arg("GESVD", 4, true, [&] { gesvd("N", "N", 4, -1, 4, 1, 1, 64); });
    arg("GESVD", 6, true, [&] { gesvd("N", "N", 4, 3, 3, 1, 1, 64); });
    arg("GESVD", 9, true, [&] { gesvd("S", "N", 4, 3, 4, 3, 1, 64); });
    arg("GESVD", 9, true, [&] { gesvd("N", "N", 4, 3, 4, 0, 1, 64); });
    arg("GESVD", 11, true, [&] { gesvd("N", "A", 4, 3, 4, 1, 2, 64); });
    arg("GESVD", 11, true, [&] { gesvd("N", "S", 3, 5, 3, 1, 2, 64); });
    arg("GESVD", 11, true, [&] { gesvd("N", "S", 3, 5, 3, 1, 2, -1); });  // before the query
    arg("GESVD", 13, true, [&] { gesvd("S", "N", 4, 3, 4, 4, 1, svd43 - 1); });
    fine("GESVD", [&] { gesvd("S", "S", 4, 3, 4, 4, 3, svd43); });
    fine("GESVD", [&] { gesvd("A", "O", 3, 5, 3, 3, 1, svd35); });
    fine("GESVD", [&] { gesvd("N", "N", 0, 3, 1, 1, 1, 1); });
    auto gesdd = [&](const char* jz, int m, int n, int lda, int ldu, int ldvt, int lwork) {
        std::vector<T> x = a, u(64), vt(64);
        if constexpr (real)
            F(gesdd)
            (jz, &m, &n, x.data(), &lda, sv.data(), u.data(), &ldu, vt.data(), &ldvt, w.data(),
             &lwork, iw.data(), &info, 1);
        else
            F(gesdd)
            (jz, &m, &n, x.data(), &lda, sv.data(), u.data(), &ldu, vt.data(), &ldvt, w.data(),
             &lwork, rsv.data(), iw.data(), &info, 1);
    };
    // The documented minimum for a 4 x 3 matrix with jobz "N", "S" and "O".
    const int ddN = real ? 30 : 10, ddS = real ? 57 : 18, ddO = real ? 66 : 28;
    arg("GESDD", 1, true, [&] { gesdd("X", 4, 3, 4, 1, 1, 64); });
    arg("GESDD", 2, true, [&] { gesdd("N", -1, 3, 4, 1, 1, 64); });
    arg("GESDD", 2, true, [&] { gesdd("O", -1, 3, 4, 1, 3, 64); });
    arg("GESDD", 3, true, [&] { gesdd("N", 4, -1, 4, 1, 1, 64); });
    arg("GESDD", 5, true, [&] { gesdd("N", 4, 3, 3, 1, 1, 64); });
    arg("GESDD", 8, true, [&] { gesdd("S", 4, 3, 4, 3, 3, 64); });
    arg("GESDD", 10, true, [&] { gesdd("A", 3, 4, 3, 3, 3, 64); });
    arg("GESDD", 10, true, [&] { gesdd("O", 4, 3, 4, 1, 2, 64); });
    arg("GESDD", 12, true, [&] { gesdd("N", 4, 3, 4, 1, 1, ddN - 1); });
    fine("GESDD", [&] { gesdd("S", 4, 3, 4, 4, 3, ddS); });
    fine("GESDD", [&] { gesdd("n", 4, 3, 4, 1, 1, ddN); });
    fine("GESDD", [&] { gesdd("O", 4, 3, 4, 1, 3, ddO); });
}

// The mixed-precision drivers (D and Z).
template <typename T, typename Low>
void mixedErrors() {
    const std::string p = std::is_same_v<T, double> ? "DS" : "ZC";
    std::vector<T> a(64), b(64), x(64), work(64);
    std::vector<Low> swork(128);
    std::vector<double> rwork(64);
    std::vector<int> ipiv(8);
    int info = 0, iter = 5;
    auto arg = [&](const char* routine, int position, auto&& call) {
        seenName.clear(), seenPosition = 0, info = 0, iter = 5;
        call();
        const bool ok =
            seenName == p + routine && seenPosition == position && info == -position && iter == 0;
        ok ? ++passed : ++failed;
        if (!ok) std::printf("FAILED: %s%s position %d\n", p.c_str(), routine, position);
    };
    auto gesv = [&](int n, int nrhs, int lda, int ldb, int ldx) {
        if constexpr (std::is_same_v<T, double>)
            dsgesv_(&n, &nrhs, a.data(), &lda, ipiv.data(), b.data(), &ldb, x.data(), &ldx,
                    work.data(), swork.data(), &iter, &info);
        else
            zcgesv_(&n, &nrhs, a.data(), &lda, ipiv.data(), b.data(), &ldb, x.data(), &ldx,
                    work.data(), swork.data(), rwork.data(), &iter, &info);
    };
    auto posv = [&](const char* u, int n, int nrhs, int lda, int ldb, int ldx) {
        if constexpr (std::is_same_v<T, double>)
            dsposv_(u, &n, &nrhs, a.data(), &lda, b.data(), &ldb, x.data(), &ldx, work.data(),
                    swork.data(), &iter, &info, 1);
        else
            zcposv_(u, &n, &nrhs, a.data(), &lda, b.data(), &ldb, x.data(), &ldx, work.data(),
                    swork.data(), rwork.data(), &iter, &info, 1);
    };
    arg("GESV", 1, [&] { gesv(-1, 1, 4, 4, 4); });
    arg("GESV", 2, [&] { gesv(4, -1, 4, 4, 4); });
    arg("GESV", 4, [&] { gesv(4, 1, 3, 4, 4); });
    arg("GESV", 7, [&] { gesv(4, 1, 4, 3, 4); });
    arg("GESV", 9, [&] { gesv(4, 1, 4, 4, 3); });
    arg("POSV", 1, [&] { posv("X", 4, 1, 4, 4, 4); });
    arg("POSV", 2, [&] { posv("U", -1, 1, 4, 4, 4); });
    arg("POSV", 3, [&] { posv("U", 4, -1, 4, 4, 4); });
    arg("POSV", 5, [&] { posv("U", 4, 1, 3, 4, 4); });
    arg("POSV", 7, [&] { posv("U", 4, 1, 4, 3, 4); });
    arg("POSV", 9, [&] { posv("U", 4, 1, 4, 4, 3); });
}

// Bisection (S, D) and the selected-eigenvalue driver: LAPACK's positions, syevx's lwork >= 8 n
// (real) or 2 n (complex); valid calls on the 4 x 4 matrix a (diagonal 8, ones elsewhere:
// eigenvalues 7, 7, 7, 11) find what they should.
template <typename T>
void selectedErrors() {
    using R = decltype(std::abs(T{}));
    const std::string p = pick<T>("S", "D", "C", "Z");
    std::vector<T> a(16, T(1)), z(16), work(64);
    for (int i = 0; i < 4; ++i) a[i * 5] = T(8);
    std::vector<R> d(4, R(2)), e(4, R(1)), w(4), rwork(64), rwork4(16);
    std::vector<int> iblock(4), isplit(4), iwork(64), ifail(4);
    int info = 0, m = -1, nsplit = -1;
    auto arg = [&](const char* routine, int position, auto&& call) {
        seenName.clear(), seenPosition = 0, info = 0;
        call();
        const bool ok = seenName == p + routine && seenPosition == position && info == -position;
        ok ? ++passed : ++failed;
        if (!ok)
            std::printf("FAILED: %s%s position %d: xerbla got '%s' %d, info %d\n", p.c_str(),
                        routine, position, seenName.c_str(), seenPosition, info);
    };
    auto found = [&](const char* routine, int wantM) {
        const bool ok = seenName.empty() && info == 0 && m == wantM;
        ok ? ++passed : ++failed;
        if (!ok) std::printf("FAILED: %s%s found %d, info %d\n", p.c_str(), routine, m, info);
    };
    if constexpr (std::is_floating_point_v<T>) {
        auto stebz = [&](const char* range, const char* order, int n, R vl, R vu, int il, int iu) {
            const R tol = 0;
            m = -1;
            pick<T>(sstebz_, dstebz_, nullptr, nullptr)(
                range, order, &n, &vl, &vu, &il, &iu, &tol, d.data(), e.data(), &m, &nsplit,
                w.data(), iblock.data(), isplit.data(), rwork.data(), iwork.data(), &info, 1, 1);
        };
        arg("STEBZ", 1, [&] { stebz("X", "B", 4, 0, 0, 1, 1); });
        arg("STEBZ", 2, [&] { stebz("A", "X", 4, 0, 0, 1, 1); });
        arg("STEBZ", 3, [&] { stebz("A", "B", -1, 0, 0, 1, 1); });
        arg("STEBZ", 5, [&] { stebz("V", "B", 4, 1, 1, 1, 1); });
        arg("STEBZ", 6, [&] { stebz("I", "B", 4, 0, 0, 0, 1); });
        arg("STEBZ", 7, [&] { stebz("I", "B", 4, 0, 0, 2, 5); });
        seenName.clear();
        stebz("i", "e", 4, 0, 0, 2, 3);
        found("STEBZ", 2);
    }
    const std::string name = std::is_floating_point_v<T> ? "SYEVX" : "HEEVX";
    auto syevx = [&](const char* jobz, const char* range, const char* uplo, int n, int lda, R vl,
                     R vu, int il, int iu, int ldz, int lwork) {
        std::vector<T> x = a;
        const R tol = 0;
        m = -1;
        if constexpr (std::is_floating_point_v<T>)
            pick<T>(ssyevx_, dsyevx_, nullptr, nullptr)(
                jobz, range, uplo, &n, x.data(), &lda, &vl, &vu, &il, &iu, &tol, &m, w.data(),
                z.data(), &ldz, work.data(), &lwork, iwork.data(), ifail.data(), &info, 1, 1, 1);
        else
            pick<T>(nullptr, nullptr, cheevx_, zheevx_)(jobz, range, uplo, &n, x.data(), &lda, &vl,
                                                        &vu, &il, &iu, &tol, &m, w.data(), z.data(),
                                                        &ldz, work.data(), &lwork, rwork.data(),
                                                        iwork.data(), ifail.data(), &info, 1, 1, 1);
    };
    const int lwork = std::is_floating_point_v<T> ? 32 : 8;
    const char* n_ = name.c_str();
    arg(n_, 1, [&] { syevx("X", "A", "L", 4, 4, 0, 0, 1, 1, 4, lwork); });
    arg(n_, 2, [&] { syevx("V", "X", "L", 4, 4, 0, 0, 1, 1, 4, lwork); });
    arg(n_, 3, [&] { syevx("V", "A", "X", 4, 4, 0, 0, 1, 1, 4, lwork); });
    arg(n_, 4, [&] { syevx("V", "A", "L", -1, 4, 0, 0, 1, 1, 4, lwork); });
    arg(n_, 6, [&] { syevx("V", "A", "L", 4, 3, 0, 0, 1, 1, 4, lwork); });
    arg(n_, 8, [&] { syevx("V", "V", "L", 4, 4, 1, 1, 1, 1, 4, lwork); });
    arg(n_, 9, [&] { syevx("V", "I", "L", 4, 4, 0, 0, 0, 1, 4, lwork); });
    arg(n_, 10, [&] { syevx("V", "I", "L", 4, 4, 0, 0, 2, 5, 4, lwork); });
    arg(n_, 15, [&] { syevx("V", "A", "L", 4, 4, 0, 0, 1, 1, 3, lwork); });
    arg(n_, 17, [&] { syevx("V", "A", "L", 4, 4, 0, 0, 1, 1, 4, lwork - 1); });
    seenName.clear();
    syevx("v", "v", "u", 4, 4, 6.5, 7.5, 1, 1, 4, lwork);
    found(n_, 3);
    seenName.clear();
    syevx("N", "I", "L", 4, 4, 0, 0, 4, 4, 1, lwork);
    found(n_, 1);
    const bool eleven = std::abs(w[0] - R(11)) < R(1e-4);
    eleven ? ++passed : ++failed;
    if (!eleven) std::printf("FAILED: %s the largest eigenvalue is %g\n", n_, double(w[0]));
}

}  // namespace

int main() {
    errors<float>(), errors<double>(), errors<std::complex<float>>(),
        errors<std::complex<double>>();
    mixedErrors<double, float>(), mixedErrors<std::complex<double>, std::complex<float>>();
    selectedErrors<float>(), selectedErrors<double>(), selectedErrors<std::complex<float>>(),
        selectedErrors<std::complex<double>>();
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
