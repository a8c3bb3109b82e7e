// lapacke_check.cpp - every routine of the drop-in library in every precision, called as a LAPACKE
// program calls it (the level-3 BLAS and lat2s directly by their Fortran names), checked against
// the host LAPACK (OpenBLAS, opened privately) on the same input:
//   - results by LAPACK's test ratios (residuals, reconstructions), or equal where the operation
//     is exact (copies, conversions);
//   - info values equal to the host LAPACK's, also for singular and indefinite matrices;
//   - the emulated GPU's counters: the library did the work from the threshold on, nothing
//     below it (ctest sets ZULI_DROPIN_MIN_ORDER=32; sizes 8 go to the host LAPACK, 40 and the
//     blocked sizes to the library).
// Prints "N passed, N failed" and exits non-zero on a failure.
#include "fortran_prototypes.h"

#include "zuli_emu.h"

#include <dlfcn.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace {

using W = std::complex<double>;
int passed = 0, failed = 0;

void expect(bool ok, const std::string& what) {
    ok ? ++passed : ++failed;
    if (!ok) std::printf("FAILED: %s\n", what.c_str());
}

// ---- the host LAPACK, bypassing the drop-in --------------------------------------------------

void* hostSymbol(const char* name) {
    static void* h = dlopen("libopenblas.so.0", RTLD_NOW | RTLD_LOCAL);
    void* f = h ? dlsym(h, name) : nullptr;
    if (!f) std::printf("no host symbol %s\n", name), std::exit(2);
    return f;
}
template <typename F>
F* host(const char* name) {
    return reinterpret_cast<F*>(hostSymbol(name));
}

#define LAPACKE(T, name) pick<T>(LAPACKE_s##name, LAPACKE_d##name, LAPACKE_c##name, LAPACKE_z##name)
#define FORTRAN(T, name) pick<T>(s##name##_, d##name##_, c##name##_, z##name##_)
#define HOST(T, name)                                                                             \
    pick<T>(host<decltype(s##name##_)>("s" #name "_"), host<decltype(d##name##_)>("d" #name "_"), \
            host<decltype(c##name##_)>("c" #name "_"), host<decltype(z##name##_)>("z" #name "_"))

// ---- counters: did the library run the call? --------------------------------------------------

bool deviceWorked() {
    zuliEmuCounters c;
    zuliEmuGetCounters(&c);
    zuliEmuResetCounters();
    return c.h2dBytes + c.launches + c.blasCalls > 0;
}
const int threshold = [] {
    const char* s = std::getenv("ZULI_DROPIN_MIN_ORDER");
    return s ? std::atoi(s) : 1 << 30;
}();
// The drop-in's sizes: m x n x k problems count as the cube root of m n k.
int order3(double m, double n, double k) {
    return int(std::llround(std::cbrt(m * n * k)));
}
int order2(double m, double n) {
    return int(std::llround(std::sqrt(m * n)));
}
void expectWhere(int size, const std::string& what) {
    expect(deviceWorked() == (size >= threshold),
           what + (size >= threshold ? ": the library did not run it" : ": the library ran it"));
}

// ---- matrices
// -------------------------------------------------------------------------------------

template <typename T>
using Real = decltype(std::abs(T{}));
template <typename T>
double eps() {
    return std::numeric_limits<Real<T>>::epsilon();
}
template <typename T>
T conjugate(T x) {
    if constexpr (std::is_floating_point_v<T>)
        return x;
    else
        return std::conj(x);
}
std::mt19937 rng(7);
template <typename T>
std::vector<T> random(int64_t n) {
    std::uniform_real_distribution<double> u(-1, 1);
    std::vector<T> v(std::max<int64_t>(n, 1));
    for (T& x : v)
        if constexpr (std::is_floating_point_v<T>)
            x = T(u(rng));
        else
            x = T(Real<T>(u(rng)), Real<T>(u(rng)));
    return v;
}
// A Hermitian positive definite n x n matrix (diagonally dominant).
template <typename T>
std::vector<T> hpd(int n) {
    std::vector<T> a = random<T>(int64_t(n) * n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i) a[i + j * n] = conjugate(a[j + i * n]);
        a[j + j * n] = T(Real<T>(n + 1));
    }
    return a;
}
template <typename T>
W at(const std::vector<T>& a, int ld, int i, int j) {
    return W(a[i + int64_t(j) * ld]);
}
template <typename T>
double norm1(const std::vector<T>& a, int m, int n, int ld) {
    double best = 0;
    for (int j = 0; j < n; ++j) {
        double s = 0;
        for (int i = 0; i < m; ++i) s += std::abs(at(a, ld, i, j));
        best = std::max(best, s);
    }
    return best;
}
// ||op(A) X - B||_1 / (n ||A||_1 ||X||_1 eps), op 'N', 'T' or 'C'.
template <typename T>
double solveRatio(char op, int n, int nrhs, const std::vector<T>& a, int lda,
                  const std::vector<T>& x, const std::vector<T>& b) {
    double r = 0;
    for (int k = 0; k < nrhs; ++k) {
        double s = 0;
        for (int i = 0; i < n; ++i) {
            W v = -at(b, n, i, k);
            for (int j = 0; j < n; ++j) {
                W aij = op == 'N' ? at(a, lda, i, j) : at(a, lda, j, i);
                v += (op == 'C' ? std::conj(aij) : aij) * at(x, n, j, k);
            }
            s += std::abs(v);
        }
        r = std::max(r, s);
    }
    return r / (n * norm1(a, n, n, lda) * std::max(norm1(x, n, nrhs, n), 1e-300) * eps<T>());
}
// ||A X - I||_1 / (n ||A||_1 ||X||_1 eps)
template <typename T>
double inverseRatio(int n, const std::vector<T>& a, const std::vector<T>& x) {
    std::vector<T> id(int64_t(n) * n, T(0));
    for (int i = 0; i < n; ++i) id[i + int64_t(i) * n] = T(1);
    return solveRatio('N', n, n, a, n, x, id);
}
// ||X - Y||_max / (scale eps)
template <typename T>
double diffRatio(const std::vector<T>& x, const std::vector<T>& y, double scale) {
    double d = 0;
    for (size_t i = 0; i < x.size(); ++i) d = std::max(d, std::abs(W(x[i]) - W(y[i])));
    return d / (scale * eps<T>());
}
template <typename T>
std::string label(const char* what, int n) {
    const char* p = pick<T>("s", "d", "c", "z");
    return std::string(p) + what + " n=" + std::to_string(n);
}

// ---- LU ---------------------------------------------------------------------------------------

// ||P L U - A|| / (n ||A|| eps) from the factors in lu (m x n, ld m).
template <typename T>
double luRatio(int m, int n, const std::vector<T>& a, const std::vector<T>& lu,
               const std::vector<int>& ipiv) {
    std::vector<W> pa(int64_t(m) * n);
    for (int64_t i = 0; i < int64_t(m) * n; ++i) pa[i] = W(a[i]);
    for (int k = 0; k < std::min(m, n); ++k)
        if (ipiv[k] - 1 != k)
            for (int j = 0; j < n; ++j)
                std::swap(pa[k + int64_t(j) * m], pa[ipiv[k] - 1 + int64_t(j) * m]);
    double r = 0;
    for (int j = 0; j < n; ++j) {
        double s = 0;
        for (int i = 0; i < m; ++i) {
            W v = -pa[i + int64_t(j) * m];
            for (int k = 0; k <= std::min({i, j, std::min(m, n) - 1}); ++k)
                v += (k == i ? W(1) : at(lu, m, i, k)) * at(lu, m, k, j);
            s += std::abs(v);
        }
        r = std::max(r, s);
    }
    return r / (std::max(m, n) * norm1(a, m, n, m) * eps<T>());
}

template <typename T>
void checkLu(int m, int n) {
    const int mn = std::min(m, n);
    std::vector<T> a = random<T>(int64_t(m) * n), lu = a, hostLu = a;
    std::vector<int> ipiv(std::max(mn, 1)), hostIpiv = ipiv;
    zuliEmuResetCounters();
    int info = LAPACKE(T, getrf)(LAPACK_COL_MAJOR, m, n, lu.data(), m, ipiv.data());
    expectWhere(mn, label<T>("getrf", m) + "x" + std::to_string(n));
    expect(info == 0 && luRatio(m, n, a, lu, ipiv) < 30, label<T>("getrf P L U = A", n));
    if (m != n) return;
    // getrs with each op (A^T and A^H go to the host LAPACK), gesv, getri.
    for (char op : {'N', 'T', 'C'}) {
        std::vector<T> b = random<T>(int64_t(n) * 3), x = b;
        info =
            LAPACKE(T, getrs)(LAPACK_COL_MAJOR, op, n, 3, lu.data(), n, ipiv.data(), x.data(), n);
        expect(info == 0 && solveRatio(op, n, 3, a, n, x, b) < 30, label<T>("getrs", n) + op);
    }
    zuliEmuResetCounters();
    std::vector<T> b = random<T>(int64_t(n) * 2), x = b, f = a;
    info = LAPACKE(T, gesv)(LAPACK_COL_MAJOR, n, 2, f.data(), n, ipiv.data(), x.data(), n);
    expectWhere(n, label<T>("gesv", n));
    expect(info == 0 && solveRatio('N', n, 2, a, n, x, b) < 30, label<T>("gesv solves", n));
    info = LAPACKE(T, getri)(LAPACK_COL_MAJOR, n, f.data(), n, ipiv.data());
    expect(info == 0 && inverseRatio(n, a, f) < 30, label<T>("getri inverts", n));
    // A zero column k: the same info as the host LAPACK's, and the factors with it.
    const int k = std::min(n, 3);
    for (int i = 0; i < n; ++i) a[i + int64_t(k - 1) * n] = T(0);
    lu = a, hostLu = a;
    info = LAPACKE(T, getrf)(LAPACK_COL_MAJOR, n, n, lu.data(), n, ipiv.data());
    int hostInfo = 0;
    HOST(T, getrf)(&n, &n, hostLu.data(), &n, hostIpiv.data(), &hostInfo);
    expect(info == hostInfo && info == k, label<T>("getrf singular info", n));
    f = a, b = random<T>(n), x = b;
    info = LAPACKE(T, gesv)(LAPACK_COL_MAJOR, n, 1, f.data(), n, ipiv.data(), x.data(), n);
    expect(info == k, label<T>("gesv singular info", n));
    int lwork = -1;
    T query{};
    FORTRAN(T, getri)(&n, lu.data(), &n, ipiv.data(), &query, &lwork, &info);
    expect(info == 0 && std::real(query) == n, label<T>("getri workspace query", n));
}

// ---- Cholesky
// -------------------------------------------------------------------------------------

template <typename T>
void checkCholesky(int n) {
    for (char uplo : {'U', 'L'}) {
        const std::vector<T> a = hpd<T>(n);
        std::vector<T> f = a;
        zuliEmuResetCounters();
        int info = LAPACKE(T, potrf)(LAPACK_COL_MAJOR, uplo, n, f.data(), n);
        expectWhere(n, label<T>("potrf", n));
        // A X = B through the factor, the driver, and the inverse.
        std::vector<T> b = random<T>(int64_t(n) * 2), x = b, y = b, g = a;
        info |= LAPACKE(T, potrs)(LAPACK_COL_MAJOR, uplo, n, 2, f.data(), n, x.data(), n);
        info |= LAPACKE(T, posv)(LAPACK_COL_MAJOR, uplo, n, 2, g.data(), n, y.data(), n);
        info |= LAPACKE(T, potri)(LAPACK_COL_MAJOR, uplo, n, f.data(), n);
        for (int j = 0; j < n; ++j)  // the inverse's other triangle
            for (int i = 0; i < j; ++i)
                uplo == 'U' ? f[j + i * n] = conjugate(f[i + j * n])
                            : f[i + j * n] = conjugate(f[j + i * n]);
        expect(info == 0 && solveRatio('N', n, 2, a, n, x, b) < 30 &&
                   solveRatio('N', n, 2, a, n, y, b) < 30 && inverseRatio(n, a, f) < 30,
               label<T>("potrf potrs posv potri", n) + uplo);
        // Not positive definite from order 3 on: LAPACK's info.
        std::vector<T> bad = a;
        bad[2 + 2 * n] = T(-1);
        g = bad;
        info = LAPACKE(T, potrf)(LAPACK_COL_MAJOR, uplo, n, bad.data(), n);
        int hostInfo = 0;
        std::vector<T> hostBad = g;
        HOST(T, potrf)(&uplo, &n, hostBad.data(), &n, &hostInfo, 1);
        x = b;
        const int posvInfo =
            LAPACKE(T, posv)(LAPACK_COL_MAJOR, uplo, n, 1, g.data(), n, x.data(), n);
        expect(info == hostInfo && info == 3 && posvInfo == 3,
               label<T>("potrf indefinite info", n));
    }
}

// ---- triangular and banded
// ------------------------------------------------------------------------

template <typename T>
void checkTriangular(int n) {
    for (char uplo : {'U', 'L'})
        for (char diag : {'N', 'U'}) {
            std::vector<T> a = random<T>(int64_t(n) * n);
            for (int i = 0; i < n; ++i) a[i + int64_t(i) * n] += T(Real<T>(n));
            for (int j = 0; j < n; ++j)  // the triangle alone, unit diagonal when diag 'U'
                for (int i = 0; i < n; ++i)
                    if ((uplo == 'U' ? i > j : i < j))
                        a[i + int64_t(j) * n] = T(0);
                    else if (i == j && diag == 'U')
                        a[i + int64_t(j) * n] = T(1);
            for (char op : {'N', 'T', 'C'}) {
                std::vector<T> b = random<T>(int64_t(n) * 2), x = b;
                zuliEmuResetCounters();
                int info = LAPACKE(T, trtrs)(LAPACK_COL_MAJOR, uplo, op, diag, n, 2, a.data(), n,
                                             x.data(), n);
                expectWhere(order3(n, n, 2), label<T>("trtrs", n));
                expect(info == 0 && solveRatio(op, n, 2, a, n, x, b) < 30,
                       label<T>("trtrs", n) + uplo + op + diag);
            }
            std::vector<T> inv = a;
            int info = LAPACKE(T, trtri)(LAPACK_COL_MAJOR, uplo, diag, n, inv.data(), n);
            expect(info == 0 && inverseRatio(n, a, inv) < 30, label<T>("trtri", n) + uplo + diag);
            if (diag == 'N') {  // a zero on the diagonal: LAPACK's info, nothing overwritten
                a[2 + 2 * n] = T(0);
                inv = a;
                std::vector<T> b = random<T>(n), x = b;
                const int i1 = LAPACKE(T, trtri)(LAPACK_COL_MAJOR, uplo, diag, n, inv.data(), n);
                const int i2 = LAPACKE(T, trtrs)(LAPACK_COL_MAJOR, uplo, 'N', diag, n, 1, a.data(),
                                                 n, x.data(), n);
                expect(i1 == 3 && i2 == 3 && inv == a && x == b, label<T>("trtri trtrs info", n));
            }
        }
}

template <typename T>
void checkBand(int n) {
    const int kl = 5, ku = 3, ldab = 2 * kl + ku + 1;
    std::vector<T> ab = random<T>(int64_t(ldab) * n), dense(int64_t(n) * n, T(0));
    for (int j = 0; j < n; ++j)
        for (int i = std::max(0, j - ku); i <= std::min(n - 1, j + kl); ++i)
            dense[i + int64_t(j) * n] = ab[kl + ku + i - j + int64_t(j) * ldab];
    std::vector<int> ipiv(n);
    zuliEmuResetCounters();
    int info = LAPACKE(T, gbtrf)(LAPACK_COL_MAJOR, n, n, kl, ku, ab.data(), ldab, ipiv.data());
    expectWhere(n, label<T>("gbtrf", n));
    std::vector<T> b = random<T>(n), x = b;
    info |= LAPACKE(T, gbtrs)(LAPACK_COL_MAJOR, 'N', n, kl, ku, 1, ab.data(), ldab, ipiv.data(),
                              x.data(), n);
    expect(info == 0 && solveRatio('N', n, 1, dense, n, x, b) < 30, label<T>("gbtrf solves", n));
    for (char uplo : {'U', 'L'}) {
        const int kd = 4;
        const std::vector<T> a = hpd<T>(n);
        std::vector<T> band(int64_t(kd + 1) * n, T(0));
        for (int j = 0; j < n; ++j)
            for (int i = std::max(0, j - kd); i <= std::min(n - 1, j + kd); ++i)
                if (uplo == 'U' ? i <= j : i >= j)
                    band[(uplo == 'U' ? kd + i - j : i - j) + int64_t(j) * (kd + 1)] = a[i + j * n];
        std::vector<T> banded(int64_t(n) * n, T(0));
        for (int j = 0; j < n; ++j)
            for (int i = std::max(0, j - kd); i <= std::min(n - 1, j + kd); ++i)
                banded[i + j * n] = a[i + j * n];
        info = LAPACKE(T, pbtrf)(LAPACK_COL_MAJOR, uplo, n, kd, band.data(), kd + 1);
        x = b;
        info |=
            LAPACKE(T, pbtrs)(LAPACK_COL_MAJOR, uplo, n, kd, 1, band.data(), kd + 1, x.data(), n);
        expect(info == 0 && solveRatio('N', n, 1, banded, n, x, b) < 30,
               label<T>("pbtrf solves", n) + uplo);
    }
}

// ---- utilities and the block reflector ---------------------------------------------------------

template <typename T>
void checkUtilities(int m, int n) {
    const std::vector<T> a = random<T>(int64_t(m) * n);
    for (char uplo : {'U', 'L', 'A', 'x'}) {  // any other letter: the whole matrix
        std::vector<T> b = random<T>(int64_t(m) * n), h = b;
        zuliEmuResetCounters();
        LAPACKE(T, lacpy)(LAPACK_COL_MAJOR, uplo, m, n, a.data(), m, b.data(), m);
        expectWhere(order2(m, n), label<T>("lacpy", m));
        HOST(T, lacpy)(&uplo, &m, &n, a.data(), &m, h.data(), &m, 1);
        std::vector<T> s = a, hs = a;
        const T alpha = T(2), beta = T(-3);
        LAPACKE(T, laset)(LAPACK_COL_MAJOR, uplo, m, n, alpha, beta, s.data(), m);
        HOST(T, laset)(&uplo, &m, &n, &alpha, &beta, hs.data(), &m, 1);
        expect(b == h && s == hs, label<T>("lacpy laset", m) + uplo);
    }
    for (char type : {'G', 'L', 'U', 'H'}) {
        std::vector<T> s = a, hs = a;
        const Real<T> from = 3, to = Real<T>(-1e-3);
        int info = LAPACKE(T, lascl)(LAPACK_COL_MAJOR, type, 0, 0, from, to, m, n, s.data(), m);
        int hostInfo = 0, zero = 0;
        HOST(T, lascl)(&type, &zero, &zero, &from, &to, &m, &n, hs.data(), &m, &hostInfo, 1);
        expect(info == hostInfo && diffRatio(s, hs, 1e-3) < 2, label<T>("lascl", m) + type);
    }
    // The block reflector of a QR factorization of the host LAPACK, applied from each side.
    const int k = std::min({m, n, 24});
    std::vector<T> v = a, tau(k), t(int64_t(k) * k);
    LAPACKE(T, geqrf)(LAPACK_COL_MAJOR, m, k, v.data(), m, tau.data());
    LAPACKE(T, larft)(LAPACK_COL_MAJOR, 'F', 'C', m, k, v.data(), m, tau.data(), t.data(), k);
    for (char side : {'L', 'R'})
        for (char trans : {'N', 'C'}) {
            const int rows = side == 'L' ? m : n, cols = side == 'L' ? n : m;
            const char direct = 'F', storev = 'C';
            std::vector<T> c = random<T>(int64_t(rows) * cols), hc = c, work(int64_t(m) * k * 4);
            int ldw = side == 'L' ? cols : rows;
            zuliEmuResetCounters();
            FORTRAN(T, larfb)
            (&side, &trans, &direct, &storev, &rows, &cols, &k, v.data(), &m, t.data(), &k,
             c.data(), &rows, work.data(), &ldw, 1, 1, 1, 1);
            expectWhere(order3(rows, cols, k), label<T>("larfb", m));
            HOST(T, larfb)
            (&side, &trans, &direct, &storev, &rows, &cols, &k, v.data(), &m, t.data(), &k,
             hc.data(), &rows, work.data(), &ldw, 1, 1, 1, 1);
            expect(diffRatio(c, hc, 4.0 * m) < 30, label<T>("larfb", m) + side + trans);
        }
}

// ---- the QR family ------------------------------------------------------------------------------

#define ORTHO(T, name) \
    pick<T>(LAPACKE_sor##name, LAPACKE_dor##name, LAPACKE_cun##name, LAPACKE_zun##name)
#define HOST_ORTHO(T, name)                                \
    pick<T>(host<decltype(sor##name##_)>("sor" #name "_"), \
            host<decltype(dor##name##_)>("dor" #name "_"), \
            host<decltype(cun##name##_)>("cun" #name "_"), \
            host<decltype(zun##name##_)>("zun" #name "_"))

// One factorization (geqrf, geqrfp, gelqf, geqlf, gerqf) of an m x n matrix with the routines
// that form and apply its Q, all through the drop-in:
//   A = Q F (F the triangular factor where LAPACK keeps it, Q applied by the multiply routine with
//   'N'), Q's columns or rows orthonormal (the generate routine), the multiply routine from the
//   other side with Q^H as the host LAPACK's, and the workspace query answered with LAPACK's
//   minimum.
template <typename T>
void checkQr(int kind, int m, int n) {
    const char* names[] = {"geqrf", "geqrfp", "gelqf", "geqlf", "gerqf"};
    const auto factor = std::vector{LAPACKE(T, geqrf), LAPACKE(T, geqrfp), LAPACKE(T, gelqf),
                                    LAPACKE(T, geqlf), LAPACKE(T, gerqf)}[kind];
    const auto generate = std::vector{ORTHO(T, gqr), ORTHO(T, gqr), ORTHO(T, glq), ORTHO(T, gql),
                                      ORTHO(T, grq)}[kind];
    const auto multiply = std::vector{ORTHO(T, mqr), ORTHO(T, mqr), ORTHO(T, mlq), ORTHO(T, mql),
                                      ORTHO(T, mrq)}[kind];
    const auto hostMultiply =
        std::vector{HOST_ORTHO(T, mqr), HOST_ORTHO(T, mqr), HOST_ORTHO(T, mlq), HOST_ORTHO(T, mql),
                    HOST_ORTHO(T, mrq)}[kind];
    const auto query = std::vector{FORTRAN(T, geqrf), FORTRAN(T, geqrfp), FORTRAN(T, gelqf),
                                   FORTRAN(T, geqlf), FORTRAN(T, gerqf)}[kind];
    const std::string what = label<T>(names[kind], m) + "x" + std::to_string(n);
    const bool rows = kind == 2 || kind == 4;  // reflectors in A's rows: Q applied from the right
    const int k = std::min(m, n);
    const std::vector<T> a = random<T>(int64_t(m) * n);
    std::vector<T> f = a, tau(k);
    zuliEmuResetCounters();
    int info = factor(LAPACK_COL_MAJOR, m, n, f.data(), m, tau.data());
    expectWhere(order3(m, n, k), what);
    // F: R on and above the diagonal (QR), L on and below it (LQ), or the diagonal that ends at
    // A(m, n) (QL: on and below it, RQ: on and above it).
    std::vector<T> tri(int64_t(m) * n, T(0));
    bool diagonalReal = true;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) {
            const int d = j - i;
            if (kind <= 1 ? d >= 0 : kind == 2 ? d <= 0 : kind == 3 ? d <= n - m : d >= n - m)
                tri[i + int64_t(j) * m] = f[i + int64_t(j) * m];
            if (kind == 1 && d == 0)
                diagonalReal &= std::imag(W(f[i + int64_t(j) * m])) == 0 &&
                                std::real(W(f[i + int64_t(j) * m])) >= 0;
        }
    const T* v = f.data() + (kind == 3 ? int64_t(n - k) * m : kind == 4 ? m - k : 0);
    std::vector<T> qf = tri;
    info |=
        multiply(LAPACK_COL_MAJOR, rows ? 'R' : 'L', 'N', m, n, k, v, m, tau.data(), qf.data(), m);
    expect(info == 0 && diagonalReal && diffRatio(qf, a, std::max(m, n) * norm1(a, m, n, m)) < 30,
           what + " A = Q F");
    // Q's k columns (QR, QL: m x k) or rows (LQ, RQ: k x n), formed in place: orthonormal, and
    // A = Q F with F's k rows (QR, QL) or columns (LQ, RQ) that meet them.
    std::vector<T> g = f;
    const int64_t offset = v - f.data();
    const int qm = rows ? k : m, qn = rows ? n : k;
    zuliEmuResetCounters();
    info = generate(LAPACK_COL_MAJOR, qm, qn, k, g.data() + offset, m, tau.data());
    expectWhere(order3(qm, qn, k), what + " generate");
    auto qAt = [&](int s, int l) {  // the l-th element of Q's s-th column or row
        return rows ? at(g, m, int(offset) + s, l) : at(g, m, l, int(offset / m) + s);
    };
    double gram = 0, residual = 0;
    for (int s = 0; s < k; ++s)
        for (int t = 0; t < k; ++t) {
            W sum = s == t ? W(-1) : W(0);
            for (int l = 0; l < (rows ? n : m); ++l) sum += std::conj(qAt(s, l)) * qAt(t, l);
            gram = std::max(gram, std::abs(sum));
        }
    const int first = rows ? (kind == 4 ? n - k : 0) : (kind == 3 ? m - k : 0);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) {
            W sum = -at(a, m, i, j);
            for (int s = 0; s < k; ++s)
                sum += rows ? at(tri, m, i, first + s) * qAt(s, j)
                            : qAt(s, i) * at(tri, m, first + s, j);
            residual = std::max(residual, std::abs(sum));
        }
    expect(info == 0 && gram / (std::max(m, n) * eps<T>()) < 30 &&
               residual / (std::max(m, n) * norm1(a, m, n, m) * eps<T>()) < 30,
           what + " Q formed");
    // From the other side with Q^H ('T' for the real routines): the host LAPACK's result.
    const char side = rows ? 'L' : 'R', trans = std::is_floating_point_v<T> ? 'T' : 'C';
    const int nq = rows ? n : m, cm = rows ? nq : 7, cn = rows ? 7 : nq;
    std::vector<T> c = random<T>(int64_t(cm) * cn), hc = c, work(64 * int64_t(nq + 7));
    int lwork = int(work.size()), hostInfo = -1;
    info = multiply(LAPACK_COL_MAJOR, side, trans, cm, cn, k, v, m, tau.data(), c.data(), cm);
    hostMultiply(&side, &trans, &cm, &cn, &k, v, &m, tau.data(), hc.data(), &cm, work.data(),
                 &lwork, &hostInfo, 1, 1);
    expect(info == 0 && hostInfo == 0 && diffRatio(c, hc, 2.0 * nq) < 30,
           what + " Q^H from the " + side);
    // A workspace query gets LAPACK's minimum: n for geqrf, geqrfp and geqlf, m for gelqf and
    // gerqf.
    T answer{};
    lwork = -1, info = -1;
    query(&m, &n, g.data(), &m, tau.data(), &answer, &lwork, &info);
    expect(info == 0 && std::real(W(answer)) == std::max(1, rows ? m : n),
           what + " workspace query");
}

// ---- least squares ------------------------------------------------------------------------------

// max |X(i, j)| over the first m rows of a matrix with leading dimension ld.
template <typename T>
double maxAbs(const std::vector<T>& x, int m, int n, int ld) {
    double r = 0;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) r = std::max(r, std::abs(at(x, ld, i, j)));
    return r;
}

// gels on an m x n matrix with each trans LAPACK takes, against the host LAPACK on the same data:
// least squares (op(A) has more rows than columns): op(A)^H (B - op(A) X) = 0, as LAPACK's test
// ratio ||op(A)^H R|| / (max(m, n) ||A|| ||B|| eps), and B's rows below X hold the residual's
// norm; minimum norm: op(A) X = B. In both, X is the host's within the problem's conditioning.
// Then a zero column (QR) or row (LQ) is the host's positive INFO, and a zero A, which LAPACK
// answers without factoring, goes to the host LAPACK.
template <typename T>
void checkGels(int m, int n) {
    const int nrhs = 3, ldb = std::max(m, n);
    const std::string what = label<T>("gels", m) + "x" + std::to_string(n);
    const std::vector<T> a = random<T>(int64_t(m) * n), b = random<T>(int64_t(ldb) * nrhs);
    std::vector<T> work(64 * int64_t(m + n + nrhs));
    const int lwork = int(work.size());
    auto both = [&](char trans, std::vector<T>& f, std::vector<T>& x, std::vector<T>& hf,
                    std::vector<T>& hx, int& hostInfo) {
        int info =
            LAPACKE(T, gels)(LAPACK_COL_MAJOR, trans, m, n, nrhs, f.data(), m, x.data(), ldb);
        HOST(T, gels)
        (&trans, &m, &n, &nrhs, hf.data(), &m, hx.data(), &ldb, work.data(), &lwork, &hostInfo, 1);
        return info;
    };
    for (char trans : {'N', std::is_floating_point_v<T> ? 'T' : 'C'}) {
        const bool notrans = trans == 'N';
        const int rows = notrans ? m : n, cols = notrans ? n : m;  // op(A)
        auto op = [&](int i, int j) {
            return notrans ? at(a, m, i, j) : std::conj(at(a, m, j, i));
        };
        std::vector<T> f = a, x = b, hf = a, hx = b;
        int hostInfo = -1;
        zuliEmuResetCounters();
        const int info = both(trans, f, x, hf, hx, hostInfo);
        expectWhere(order3(m, n, std::min(m, n) + nrhs), what + trans);
        // r = B - op(A) X over op(A)'s rows; the least-squares ratio or the residual ratio.
        double worst = 0, tailWorst = 0;
        for (int k = 0; k < nrhs; ++k) {
            std::vector<W> r(rows);
            for (int i = 0; i < rows; ++i) {
                r[i] = at(b, ldb, i, k);
                for (int j = 0; j < cols; ++j) r[i] -= op(i, j) * at(x, ldb, j, k);
            }
            if (rows >= cols) {
                // LAPACK leaves the residual in rows cols + 1 ... rows: its 2-norm is ||r||'s.
                double rr = 0, tail = 0;
                for (int i = 0; i < rows; ++i) rr += std::norm(r[i]);
                for (int i = cols; i < rows; ++i) tail += std::norm(at(x, ldb, i, k));
                tailWorst = std::max(tailWorst, std::abs(std::sqrt(rr) - std::sqrt(tail)));
                for (int j = 0; j < cols; ++j) {
                    W s = 0;
                    for (int i = 0; i < rows; ++i) s += std::conj(op(i, j)) * r[i];
                    worst = std::max(worst, std::abs(s) / norm1(b, rows, nrhs, ldb));
                }
            } else
                for (int i = 0; i < rows; ++i)
                    worst = std::max(worst, std::abs(r[i]) / maxAbs(x, cols, nrhs, ldb));
        }
        worst /= std::max(m, n) * norm1(a, m, n, m) * eps<T>();
        std::vector<T> sol(x.begin(), x.end()), hsol(hx.begin(), hx.end());
        for (int k = 0; k < nrhs; ++k)
            for (int i = cols; i < ldb; ++i) sol[i + int64_t(k) * ldb] = hsol[i + int64_t(k) * ldb];
        tailWorst /= std::max(m, n) *
                     (norm1(a, m, n, m) * maxAbs(x, cols, nrhs, ldb) + norm1(b, rows, nrhs, ldb)) *
                     eps<T>();
        expect(info == 0 && hostInfo == 0 && worst < 30 && tailWorst < 30 &&
                   diffRatio(sol, hsol, std::max(m, n) * maxAbs(hx, cols, nrhs, ldb)) < 30,
               what + trans);
        // A zero column of A (m >= n) or row (m < n): the triangle's fourth diagonal element.
        f = a, x = b;
        for (int l = 0; l < (m >= n ? m : n); ++l)
            f[m >= n ? l + 3 * int64_t(m) : 3 + int64_t(l) * m] = T(0);
        hf = f, hx = b, hostInfo = -1;
        expect(both(trans, f, x, hf, hx, hostInfo) == 4 && hostInfo == 4, what + trans + " rank");
    }
    // A zero A: X = 0, INFO 0, from the host LAPACK.
    std::vector<T> f(int64_t(m) * n, T(0)), x = b, hf = f, hx = b;
    int hostInfo = -1;
    zuliEmuResetCounters();
    const int info = both('N', f, x, hf, hx, hostInfo);
    expectWhere(0, what + " zero A");
    expect(info == 0 && hostInfo == 0 && x == hx && maxAbs(x, n, nrhs, ldb) == 0, what + " zero A");
}

// ggrqf of A (m x n) and B (p x n): A = R Q and B = Z T Q, with Q and Z applied by the drop-in's
// ormrq and ormqr (unmrq, unmqr) to R and T where LAPACK keeps them.
template <typename T>
void checkGgrqf(int m, int p, int n) {
    const std::string what = pick<T>("s", "d", "c", "z") + std::string("ggrqf m=") +
                             std::to_string(m) + " p=" + std::to_string(p) +
                             " n=" + std::to_string(n);
    const std::vector<T> a = random<T>(int64_t(m) * n), b = random<T>(int64_t(p) * n);
    const int ka = std::min(m, n), kb = std::min(p, n);
    std::vector<T> f = a, g = b, taua(std::max(ka, 1)), taub(std::max(kb, 1));
    zuliEmuResetCounters();
    int info = LAPACKE(T, ggrqf)(LAPACK_COL_MAJOR, m, p, n, f.data(), m, taua.data(), g.data(), p,
                                 taub.data());
    expectWhere(order3(n, 1, (m + p) * ka + p * kb), what);
    std::vector<T> r(int64_t(m) * n, T(0)), t(int64_t(p) * n, T(0));
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < m; ++i)
            if (j - i >= n - m) r[i + int64_t(j) * m] = f[i + int64_t(j) * m];
        for (int i = 0; i < std::min(p, j + 1); ++i) t[i + int64_t(j) * p] = g[i + int64_t(j) * p];
    }
    const T* v = f.data() + (m - ka);  // Q's reflectors: A's last ka rows
    info |= ORTHO(T, mrq)(LAPACK_COL_MAJOR, 'R', 'N', m, n, ka, v, m, taua.data(), r.data(), m);
    info |=
        ORTHO(T, mqr)(LAPACK_COL_MAJOR, 'L', 'N', p, n, kb, g.data(), p, taub.data(), t.data(), p);
    info |= ORTHO(T, mrq)(LAPACK_COL_MAJOR, 'R', 'N', p, n, ka, v, m, taua.data(), t.data(), p);
    const int most = std::max({m, p, n});
    expect(info == 0 && diffRatio(r, a, most * norm1(a, m, n, m)) < 30 &&
               diffRatio(t, b, most * norm1(b, p, n, p)) < 30,
           what + " A = R Q, B = Z T Q");
}

// gglse (A m x n, B p x n): B x = d, and x the host's; a zero last row of B is INFO 1, a zero first
// column of A and B INFO 2, as the host's.
template <typename T>
void checkGglse(int m, int n, int p) {
    const std::string what = pick<T>("s", "d", "c", "z") + std::string("gglse m=") +
                             std::to_string(m) + " n=" + std::to_string(n) +
                             " p=" + std::to_string(p);
    const std::vector<T> a = random<T>(int64_t(m) * n), b = random<T>(int64_t(p) * n),
                         c = random<T>(m), d = random<T>(p);
    std::vector<T> work(64 * int64_t(m + n + p));
    const int lwork = int(work.size());
    auto both = [&](const std::vector<T>& a0, const std::vector<T>& b0, std::vector<T>& x,
                    std::vector<T>& hx, int& hostInfo) {
        std::vector<T> f = a0, g = b0, cc = c, dd = d, hf = a0, hg = b0, hc = c, hd = d;
        const int info = LAPACKE(T, gglse)(LAPACK_COL_MAJOR, m, n, p, f.data(), m, g.data(), p,
                                           cc.data(), dd.data(), x.data());
        HOST(T, gglse)
        (&m, &n, &p, hf.data(), &m, hg.data(), &p, hc.data(), hd.data(), hx.data(), work.data(),
         &lwork, &hostInfo);
        return info;
    };
    std::vector<T> x(n), hx(n);
    int hostInfo = -1;
    zuliEmuResetCounters();
    int info = both(a, b, x, hx, hostInfo);
    expectWhere(order3(n, 1, (p + m) * std::min(p, n) + m * std::min(m, n)), what);
    double constraint = 0;
    for (int i = 0; i < p; ++i) {
        W s = -W(d[i]);
        for (int j = 0; j < n; ++j) s += at(b, p, i, j) * W(x[j]);
        constraint = std::max(constraint, std::abs(s));
    }
    constraint /= n * norm1(b, p, n, p) * maxAbs(x, n, 1, n) * eps<T>();
    expect(info == 0 && hostInfo == 0 && constraint < 30 &&
               diffRatio(x, hx, n * maxAbs(hx, n, 1, n)) < 30,
           what);
    std::vector<T> g = b, f = a;
    for (int j = 0; j < n; ++j) g[p - 1 + int64_t(j) * p] = T(0);
    hostInfo = -1;
    expect(both(a, g, x, hx, hostInfo) == 1 && hostInfo == 1, what + " B rank");
    g = b;
    for (int i = 0; i < std::max(m, p); ++i) {
        if (i < m) f[i] = T(0);
        if (i < p) g[i] = T(0);
    }
    hostInfo = -1;
    expect(both(f, g, x, hx, hostInfo) == 2 && hostInfo == 2, what + " (A; B) rank");
}

// ---- the nonsymmetric eigenproblem --------------------------------------------------------------

// gehrd of an n x n matrix that is triangular outside rows and columns ilo ... ihi (as balancing
// leaves it), then orghr/unghr: Q orthonormal and Q H Q^H = A (H upper Hessenberg), tau zero
// outside ilo ... ihi - 1 as the host's; a workspace query gets LAPACK's minimum, n.
template <typename T>
void checkHessenberg(int n, int ilo, int ihi) {
    const std::string what =
        label<T>("gehrd", n) + " ilo=" + std::to_string(ilo) + " ihi=" + std::to_string(ihi);
    std::vector<T> a = random<T>(int64_t(n) * n);
    for (int j = 0; j < n; ++j)
        for (int i = j + 1; i < n; ++i)
            if (j < ilo - 1 || i > ihi - 1) a[i + int64_t(j) * n] = T(0);
    std::vector<T> f = a, tau(n), hf = a, htau(n), work(64 * int64_t(n));
    int lwork = int(work.size()), hostInfo = -1;
    zuliEmuResetCounters();
    int info = LAPACKE(T, gehrd)(LAPACK_COL_MAJOR, n, ilo, ihi, f.data(), n, tau.data());
    const int nh = ihi - ilo + 1;
    expectWhere(order3(n, nh, nh), what);
    HOST(T, gehrd)(&n, &ilo, &ihi, hf.data(), &n, htau.data(), work.data(), &lwork, &hostInfo);
    bool tauZero = true;
    for (int i = 0; i < n - 1; ++i)
        if (i < ilo - 1 || i >= ihi - 1) tauZero &= tau[i] == T(0) && htau[i] == T(0);
    std::vector<T> q = f;
    zuliEmuResetCounters();
    info |= ORTHO(T, ghr)(LAPACK_COL_MAJOR, n, ilo, ihi, q.data(), n, tau.data());
    expectWhere(nh - 1, what + " orghr");
    // Q H Q^H - A and Q^H Q - I.
    std::vector<W> qh(int64_t(n) * n, W(0));
    for (int j = 0; j < n; ++j)
        for (int l = 0; l <= std::min(j + 1, n - 1); ++l)
            for (int i = 0; i < n; ++i) qh[i + int64_t(j) * n] += at(q, n, i, l) * at(f, n, l, j);
    double residual = 0, gram = 0;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            W r = -at(a, n, i, j), g = i == j ? W(-1) : W(0);
            for (int l = 0; l < n; ++l) {
                r += qh[i + int64_t(l) * n] * std::conj(at(q, n, j, l));
                g += std::conj(at(q, n, l, i)) * at(q, n, l, j);
            }
            residual = std::max(residual, std::abs(r)), gram = std::max(gram, std::abs(g));
        }
    expect(info == 0 && hostInfo == 0 && tauZero &&
               residual / (n * norm1(a, n, n, n) * eps<T>()) < 30 && gram / (n * eps<T>()) < 30,
           what + " Q H Q^H = A");
    T answer{};
    lwork = -1, info = -1;
    FORTRAN(T, gehrd)(&n, &ilo, &ihi, q.data(), &n, tau.data(), &answer, &lwork, &info);
    expect(info == 0 && std::real(W(answer)) == n, what + " workspace query");
}

// geev on a random n x n matrix with each choice of vectors, against the host LAPACK: the
// eigenvalues the host's as a set (each matched to a distinct host eigenvalue within 100 n ||A||
// eps), and LAPACK's residual ratios ||A v - lambda v|| / (n ||A|| eps) for the right vectors and
// ||u^H A - lambda u^H|| / (n ||A|| eps) for the left ones, of norm 1.
template <typename T>
void checkGeev(int n) {
    const std::string what = label<T>("geev", n);
    const std::vector<T> a = random<T>(int64_t(n) * n);
    const double anorm = norm1(a, n, n, n);
    constexpr bool real = std::is_floating_point_v<T>;
    // Eigenvalues and vectors as complex ones: a real pair j, j + 1 is column j +- i column j + 1.
    auto values = [&](const std::vector<T>& w, const std::vector<T>& wi) {
        std::vector<W> l(n);
        for (int j = 0; j < n; ++j)
            l[j] = real ? W(std::real(W(w[j])), std::real(W(wi[j]))) : W(w[j]);
        return l;
    };
    auto vector = [&](const std::vector<T>& v, const std::vector<W>& l, int j, int i) {
        if (!real || l[j].imag() == 0) return at(v, n, i, j);
        const bool first = l[j].imag() > 0;
        const int c = first ? j : j - 1;
        const W z(std::real(at(v, n, i, c)), std::real(at(v, n, i, c + 1)));
        return first ? z : std::conj(z);
    };
    auto run = [&](auto geev, char jobvl, char jobvr, std::vector<T>& w, std::vector<T>& wi,
                   std::vector<T>& vl, std::vector<T>& vr) {
        std::vector<T> f = a;
        if constexpr (real)
            return geev(LAPACK_COL_MAJOR, jobvl, jobvr, n, f.data(), n, w.data(), wi.data(),
                        vl.data(), n, vr.data(), n);
        else
            return geev(LAPACK_COL_MAJOR, jobvl, jobvr, n, f.data(), n, w.data(), vl.data(), n,
                        vr.data(), n);
    };
    // A Fortran geev (the drop-in's or the host's) on a copy of A, jobvl = jobvr = job.
    auto fortran = [&](auto geev, char job, T* w, T* wi, T* vl, T* vr, T* work, int lwork) {
        std::vector<T> f = a;
        std::vector<Real<T>> rwork(2 * n);
        int info = -1;
        if constexpr (real)
            geev(&job, &job, &n, f.data(), &n, w, wi, vl, &n, vr, &n, work, &lwork, &info, 1, 1);
        else
            geev(&job, &job, &n, f.data(), &n, w, vl, &n, vr, &n, work, &lwork, rwork.data(), &info,
                 1, 1);
        return info;
    };
    std::vector<T> hw(n), hwi(n), hvl(int64_t(n) * n), hvr(int64_t(n) * n), work(64 * int64_t(n));
    expect(fortran(HOST(T, geev), 'N', hw.data(), hwi.data(), hvl.data(), hvr.data(), work.data(),
                   int(work.size())) == 0,
           what + " host");
    const std::vector<W> hl = values(hw, hwi);
    for (auto [jobvl, jobvr] :
         {std::pair{'V', 'V'}, std::pair{'N', 'V'}, std::pair{'V', 'N'}, std::pair{'N', 'N'}}) {
        const std::string job = what + " " + jobvl + jobvr;
        std::vector<T> w(n), wi(n), vl(int64_t(n) * n), vr(int64_t(n) * n);
        zuliEmuResetCounters();
        const int info = run(LAPACKE(T, geev), jobvl, jobvr, w, wi, vl, vr);
        expectWhere(n, job);
        const std::vector<W> l = values(w, wi);
        std::vector<bool> used(n);
        bool matched = true;
        for (int j = 0; j < n; ++j) {
            int best = -1;
            for (int k = 0; k < n; ++k)
                if (!used[k] && (best < 0 || std::abs(l[j] - hl[k]) < std::abs(l[j] - hl[best])))
                    best = k;
            used[best] = true;
            matched &= std::abs(l[j] - hl[best]) < 100 * n * anorm * eps<T>();
        }
        double worst = 0, unit = 0;
        for (int side = 0; side < 2; ++side) {
            if ((side ? jobvr : jobvl) != 'V') continue;
            const std::vector<T>& v = side ? vr : vl;
            for (int j = 0; j < n; ++j) {
                double r = 0, norm = 0;
                for (int i = 0; i < n; ++i) {
                    // right: (A v)_i - lambda v_i; left: (A^H u)_i - conj(lambda) u_i.
                    W s = -(side ? l[j] : std::conj(l[j])) * vector(v, l, j, i);
                    for (int k = 0; k < n; ++k)
                        s += (side ? at(a, n, i, k) : std::conj(at(a, n, k, i))) *
                             vector(v, l, j, k);
                    r += std::abs(s), norm += std::norm(vector(v, l, j, i));
                }
                worst = std::max(worst, r), unit = std::max(unit, std::abs(std::sqrt(norm) - 1));
            }
        }
        expect(info == 0 && matched && worst / (n * anorm * eps<T>()) < 30 &&
                   unit / (n * eps<T>()) < 30,
               job);
    }
    // A workspace query with vectors gets LAPACK's minimum: 4n in S and D, 2n in C and Z.
    T answer{};
    const int query = fortran(FORTRAN(T, geev), 'V', hw.data(), hwi.data(), hvl.data(), hvr.data(),
                              &answer, -1);
    expect(query == 0 && std::real(W(answer)) == (std::is_floating_point_v<T> ? 4 : 2) * n,
           what + " workspace query");
}

// The reflector and the rotations against the host LAPACK on the same data: x of n^2 elements
// (size n, as an n x n utility), lasr on an n x n matrix for every side, pivot and direction.
template <typename T>
void checkRotations(int n) {
    using R = Real<T>;
    const int len = n * n, one = 1, two = 2;
    const std::string what = label<T>("", n);
    auto same = [&](const auto& x, const auto& y, double scale) {
        return diffRatio(x, y, scale) < 30;
    };
    // larfg on the whole vector, with the stride 2 on its first half.
    for (int inc : {1, 2}) {
        const int m = inc == 1 ? len : len / 2;
        std::vector<T> x = random<T>(len), hx = x, tau(2);
        zuliEmuResetCounters();
        FORTRAN(T, larfg)(&m, &x[0], &x[1], &inc, &tau[0]);
        expectWhere(order2(m, 1), what + "larfg");
        HOST(T, larfg)(&m, &hx[0], &hx[1], &inc, &tau[1]);
        expect(same(x, hx, n) && same(std::vector{tau[0]}, std::vector{tau[1]}, 2),
               what + "larfg inc=" + std::to_string(inc));
    }
    // Rotations from largv (x, y become r and s), applied by lartv and lar2v.
    std::vector<T> x = random<T>(len), y = random<T>(2 * len), hx = x, hy = y;
    std::vector<R> c(len), hc(len);
    zuliEmuResetCounters();
    FORTRAN(T, largv)(&len, x.data(), &one, y.data(), &two, c.data(), &one);
    expectWhere(order2(len, 1), what + "largv");
    HOST(T, largv)(&len, hx.data(), &one, hy.data(), &two, hc.data(), &one);
    expect(same(x, hx, 4) && same(y, hy, 4) && same(c, hc, 4), what + "largv");
    std::vector<T> s(len);
    for (int i = 0; i < len; ++i) s[i] = y[2 * i];
    std::vector<T> u = random<T>(len), w = random<T>(2 * len), hu = u, hw = w;
    FORTRAN(T, lartv)(&len, u.data(), &one, w.data(), &two, c.data(), s.data(), &one);
    HOST(T, lartv)(&len, hu.data(), &one, hw.data(), &two, c.data(), s.data(), &one);
    expect(same(u, hu, 4) && same(w, hw, 4), what + "lartv");
    std::vector<T> d1 = random<T>(len), d2 = random<T>(len), z = random<T>(len);
    for (int i = 0; i < len; ++i) d1[i] = T(std::real(W(d1[i]))), d2[i] = T(std::real(W(d2[i])));
    std::vector<T> hd1 = d1, hd2 = d2, hz = z;
    FORTRAN(T, lar2v)(&len, d1.data(), d2.data(), z.data(), &one, c.data(), s.data(), &one);
    HOST(T, lar2v)(&len, hd1.data(), hd2.data(), hz.data(), &one, c.data(), s.data(), &one);
    expect(same(d1, hd1, 8) && same(d2, hd2, 8) && same(z, hz, 8), what + "lar2v");
    // lasr: pivots 'T' and 'B' go to the host LAPACK, 'V' to the library from the threshold on.
    std::vector<R> cs(n), sn(n);
    for (int i = 0; i < n; ++i) {
        const double t = 0.3 + i;
        cs[i] = R(std::cos(t)), sn[i] = R(std::sin(t));
    }
    for (const char* side : {"L", "R"})
        for (const char* pivot : {"V", "T", "B"})
            for (const char* direct : {"F", "B"}) {
                std::vector<T> a = random<T>(len), ha = a;
                zuliEmuResetCounters();
                FORTRAN(T, lasr)
                (side, pivot, direct, &n, &n, cs.data(), sn.data(), a.data(), &n, 1, 1, 1);
                expectWhere(*pivot == 'V' ? n : 0, what + "lasr");
                HOST(T, lasr)
                (side, pivot, direct, &n, &n, cs.data(), sn.data(), ha.data(), &n, 1, 1, 1);
                expect(same(a, ha, 2.0 * n), what + "lasr " + side + pivot + direct);
            }
}

// ---- BLAS
// ---------------------------------------------------------------------------------------------

// Each operation in the drop-in and in the host BLAS on the same data: the same C within the
// rounding of a k-term sum.
template <typename T>
void checkBlas(int n) {
    const int k = n / 2 + 1;
    const std::vector<T> a = random<T>(int64_t(n) * n), b = random<T>(int64_t(n) * n);
    const std::vector<T> c0 = random<T>(int64_t(n) * n);
    const T alpha = T(Real<T>(0.5)), beta = T(Real<T>(-2));
    const Real<T> ralpha = 0.5, rbeta = -2;
    auto compare = [&](const std::string& what, int size, auto&& run) {
        std::vector<T> c = c0, hc = c0;
        zuliEmuResetCounters();
        run(c, false);
        expectWhere(size, label<T>(what.c_str(), n));
        run(hc, true);
        expect(diffRatio(c, hc, 8.0 * n) < 10, label<T>(what.c_str(), n));
    };
    for (const char* t : {"N", "T", "C"})
        compare(std::string("gemm ") + t, order3(n, n, k), [&](std::vector<T>& c, bool h) {
            (h ? HOST(T, gemm) : FORTRAN(T, gemm))(t, "N", &n, &n, &k, &alpha, a.data(), &n,
                                                   b.data(), &n, &beta, c.data(), &n, 1, 1);
        });
    for (const char* side : {"L", "R"}) {
        compare(std::string("symm ") + side, n, [&](std::vector<T>& c, bool h) {
            (h ? HOST(T, symm) : FORTRAN(T, symm))(side, "U", &n, &n, &alpha, a.data(), &n,
                                                   b.data(), &n, &beta, c.data(), &n, 1, 1);
        });
        std::vector<T> tri = a;
        for (int i = 0; i < n; ++i) tri[i + int64_t(i) * n] += T(Real<T>(n));
        for (const char* op : {"N", "C"}) {
            compare(std::string("trmm ") + side + op, n, [&](std::vector<T>& c, bool h) {
                (h ? HOST(T, trmm) : FORTRAN(T, trmm))(side, "L", op, "N", &n, &n, &alpha,
                                                       tri.data(), &n, c.data(), &n, 1, 1, 1, 1);
            });
            compare(std::string("trsm ") + side + op, n, [&](std::vector<T>& c, bool h) {
                (h ? HOST(T, trsm) : FORTRAN(T, trsm))(side, "U", op, "U", &n, &n, &alpha,
                                                       tri.data(), &n, c.data(), &n, 1, 1, 1, 1);
            });
        }
    }
    for (const char* t : {"N", "T"}) {
        compare(std::string("syrk ") + t, order3(n, n, k), [&](std::vector<T>& c, bool h) {
            (h ? HOST(T, syrk) : FORTRAN(T, syrk))("L", t, &n, &k, &alpha, a.data(), &n, &beta,
                                                   c.data(), &n, 1, 1);
        });
        compare(std::string("syr2k ") + t, order3(n, n, k), [&](std::vector<T>& c, bool h) {
            (h ? HOST(T, syr2k) : FORTRAN(T, syr2k))("U", t, &n, &k, &alpha, a.data(), &n, b.data(),
                                                     &n, &beta, c.data(), &n, 1, 1);
        });
    }
    if constexpr (!std::is_floating_point_v<T>) {
        const char* p = pick<T>("", "", "c", "z");
        auto hostFn = [&](const char* name, auto* f) {
            return host<std::remove_pointer_t<decltype(f)>>((std::string(p) + name).c_str());
        };
        const auto hemm = pick<T>(0, 0, chemm_, zhemm_);
        const auto herk = pick<T>(0, 0, cherk_, zherk_);
        const auto her2k = pick<T>(0, 0, cher2k_, zher2k_);
        compare("hemm", n, [&](std::vector<T>& c, bool h) {
            auto f = hemm;
            (h ? hostFn("hemm_", f) : f)("R", "L", &n, &n, &alpha, a.data(), &n, b.data(), &n,
                                         &beta, c.data(), &n, 1, 1);
        });
        for (const char* t : {"N", "C"}) {
            compare(std::string("herk ") + t, order3(n, n, k), [&](std::vector<T>& c, bool h) {
                auto f = herk;
                (h ? hostFn("herk_", f) : f)("U", t, &n, &k, &ralpha, a.data(), &n, &rbeta,
                                             c.data(), &n, 1, 1);
            });
            compare(std::string("her2k ") + t, order3(n, n, k), [&](std::vector<T>& c, bool h) {
                auto f = her2k;
                (h ? hostFn("her2k_", f) : f)("L", t, &n, &k, &alpha, a.data(), &n, b.data(), &n,
                                              &rbeta, c.data(), &n, 1, 1);
            });
        }
    }
}

// ---- mixed precision and conversions ------------------------------------------------------------

template <typename T, typename Low>
void checkMixed(int n) {
    const std::vector<T> a = random<T>(int64_t(n) * n), b = random<T>(int64_t(n) * 2),
                         spd = hpd<T>(n);
    std::vector<T> f = a, x(int64_t(n) * 2), g = spd, y(int64_t(n) * 2);
    std::vector<int> ipiv(n);
    int iter = -99, iter2 = -99;
    zuliEmuResetCounters();
    int info = pick<T>(0, LAPACKE_dsgesv, 0, LAPACKE_zcgesv)(
        LAPACK_COL_MAJOR, n, 2, f.data(), n, ipiv.data(), (T*)b.data(), n, x.data(), n, &iter);
    expectWhere(n, label<T>("mixed gesv", n));
    info |= pick<T>(0, LAPACKE_dsposv, 0, LAPACKE_zcposv)(LAPACK_COL_MAJOR, 'L', n, 2, g.data(), n,
                                                          (T*)b.data(), n, y.data(), n, &iter2);
    expect(info == 0 && iter >= 0 && iter2 >= 0 && solveRatio('N', n, 2, a, n, x, b) < 30 &&
               solveRatio('N', n, 2, spd, n, y, b) < 30,
           label<T>("mixed gesv posv", n));
    // Beyond single precision: LAPACK falls back to double precision (ITER -2).
    f = a;
    f[0] = T(1e300);
    info = pick<T>(0, LAPACKE_dsgesv, 0, LAPACKE_zcgesv)(
        LAPACK_COL_MAJOR, n, 2, f.data(), n, ipiv.data(), (T*)b.data(), n, x.data(), n, &iter);
    expect(info == 0 && iter == -2, label<T>("mixed gesv overflow falls back", n));
    // Conversions: exactly the host LAPACK's, and info 1 beyond single precision.
    const int64_t nn = int64_t(n) * n;
    std::vector<Low> s(nn), hs(nn);
    std::vector<T> d(nn), hd(nn), big = a;
    int hostInfo = 0;
    zuliEmuResetCounters();
    info = pick<T>(0, LAPACKE_dlag2s, 0, LAPACKE_zlag2c)(LAPACK_COL_MAJOR, n, n, a.data(), n,
                                                         s.data(), n);
    expectWhere(n, label<T>("lag2", n));
    pick<T>(0, host<decltype(dlag2s_)>("dlag2s_"), 0, host<decltype(zlag2c_)>("zlag2c_"))(
        &n, &n, a.data(), &n, hs.data(), &n, &hostInfo);
    info |= pick<T>(0, LAPACKE_slag2d, 0, LAPACKE_clag2z)(LAPACK_COL_MAJOR, n, n, s.data(), n,
                                                          d.data(), n);
    pick<T>(0, host<decltype(slag2d_)>("slag2d_"), 0, host<decltype(clag2z_)>("clag2z_"))(
        &n, &n, hs.data(), &n, hd.data(), &n, &hostInfo);
    expect(info == 0 && hostInfo == 0 && s == hs && d == hd, label<T>("lag2 both ways", n));
    for (const char* uplo : {"U", "L", "x"}) {
        std::vector<Low> t(nn, Low(7)), ht = t;
        int i1 = -1, i2 = -1;
        pick<T>(0, dlat2s_, 0, zlat2c_)(uplo, &n, a.data(), &n, t.data(), &n, &i1, 1);
        pick<T>(0, host<decltype(dlat2s_)>("dlat2s_"), 0, host<decltype(zlat2c_)>("zlat2c_"))(
            uplo, &n, a.data(), &n, ht.data(), &n, &i2, 1);
        expect(i1 == i2 && t == ht, label<T>("lat2", n) + uplo);  // INFO untouched
    }
    big[n + 1] = T(1e300);
    info = pick<T>(0, LAPACKE_dlag2s, 0, LAPACKE_zlag2c)(LAPACK_COL_MAJOR, n, n, big.data(), n,
                                                         s.data(), n);
    int i3 = -1;
    pick<T>(0, dlat2s_, 0, zlat2c_)("L", &n, big.data(), &n, s.data(), &n, &i3, 1);
    expect(info == 1 && i3 == 1, label<T>("lag2 lat2 overflow info", n));
}

// sygv / hegv of a random Hermitian A and a positive definite B, each itype, against the host
// LAPACK: eigenvalues within 100 n eps max |w| of the host's; then a B that is not positive
// definite from order 3 on: LAPACK's info n + 3 from both, A untouched.
template <typename T>
void checkSygv(int n) {
    constexpr bool real = std::is_floating_point_v<T>;
    const auto lapacke = pick<T>(LAPACKE_ssygv, LAPACKE_dsygv, LAPACKE_chegv, LAPACKE_zhegv);
    const auto hostSygv =
        pick<T>(host<decltype(ssygv_)>("ssygv_"), host<decltype(dsygv_)>("dsygv_"),
                host<decltype(chegv_)>("chegv_"), host<decltype(zhegv_)>("zhegv_"));
    std::vector<T> a = hpd<T>(n);
    for (int i = 0; i < n; ++i) a[i + int64_t(i) * n] = T(Real<T>(0.5));  // indefinite
    const std::vector<T> b = hpd<T>(n);
    auto onHost = [&](int itype, std::vector<T>& f, std::vector<T>& g, std::vector<Real<T>>& w) {
        std::vector<T> work(64 * int64_t(n));
        std::vector<Real<T>> rwork(3 * n);
        int lwork = int(work.size()), info = -1;
        if constexpr (real)
            hostSygv(&itype, "V", "U", &n, f.data(), &n, g.data(), &n, w.data(), work.data(),
                     &lwork, &info, 1, 1);
        else
            hostSygv(&itype, "V", "U", &n, f.data(), &n, g.data(), &n, w.data(), work.data(),
                     &lwork, rwork.data(), &info, 1, 1);
        return info;
    };
    for (int itype : {1, 2, 3}) {
        const std::string what =
            label<T>(real ? "sygv" : "hegv", n) + " itype " + std::to_string(itype);
        std::vector<T> f = a, g = b, hf = a, hg = b;
        std::vector<Real<T>> w(n), hw(n);
        zuliEmuResetCounters();
        const int info =
            lapacke(LAPACK_COL_MAJOR, itype, 'V', 'U', n, f.data(), n, g.data(), n, w.data());
        expectWhere(n, what);
        const int hostInfo = onHost(itype, hf, hg, hw);
        double diff = 0, top = 0;
        for (int i = 0; i < n; ++i)
            diff = std::max(diff, double(std::abs(w[i] - hw[i]))),
            top = std::max(top, double(std::abs(hw[i])));
        expect(info == 0 && hostInfo == 0 && diff <= 100 * n * eps<T>() * top, what);
    }
    std::vector<T> bad = b, f = a, hbad = b, hf = a;
    bad[2 + 2 * int64_t(n)] = hbad[2 + 2 * int64_t(n)] = T(-1);
    std::vector<Real<T>> w(n), hw(n);
    const int info =
        lapacke(LAPACK_COL_MAJOR, 1, 'V', 'U', n, f.data(), n, bad.data(), n, w.data());
    const int hostInfo = onHost(1, hf, hbad, hw);
    expect(info == n + 3 && hostInfo == n + 3 && f == a,
           label<T>(real ? "sygv" : "hegv", n) + " indefinite B info");
}

}  // namespace

// ---- the singular value decomposition ----------------------------------------------------------

// gebrd, orgbr / ungbr, gesvd and gesdd on a random m x n matrix against the host LAPACK's
// singular values: those of every driver and job within 30 max(m, n) ||A|| eps, and the factors
// reproducing A to LAPACK's ratio ||A - U S V^H||_1 / (max(m, n) ||A||_1 eps) below 30 (Q B P^H
// for gebrd's B and orgbr's Q and P^H); the library ran each call from the threshold on, gesdd's
// jobz "O" (which the library does not implement) nowhere.
template <typename T>
void checkSvd(int m, int n) {
    const std::string what = label<T>("svd", n) + " m=" + std::to_string(m);
    const int k = std::min(m, n), size = order3(m, n, k);
    const std::vector<T> a = random<T>(int64_t(m) * n);
    const double anorm = norm1(a, m, n, m), scale = std::max(m, n) * eps<T>();
    std::vector<Real<T>> want(k);
    {
        std::vector<T> f = a, work(64 * int64_t(m + n));
        std::vector<Real<T>> rwork(5 * k + 1);
        int lwork = int(work.size()), info = -1, one = 1;
        T none{};
        if constexpr (std::is_floating_point_v<T>)
            HOST(T, gesvd)
            ("N", "N", &m, &n, f.data(), &m, want.data(), &none, &one, &none, &one, work.data(),
             &lwork, &info, 1, 1);
        else
            HOST(T, gesvd)
            ("N", "N", &m, &n, f.data(), &m, want.data(), &none, &one, &none, &one, work.data(),
             &lwork, rwork.data(), &info, 1, 1);
        expect(info == 0, what + " host gesvd");
    }
    auto valuesMatch = [&](const std::vector<Real<T>>& s) {
        double d = 0;
        for (int i = 0; i < k; ++i) d = std::max(d, double(std::abs(s[i] - want[i])));
        return d / (double(want[0]) * scale) < 30;
    };
    // ||A - U diag(s) VT||_1 / (max(m, n) ||A||_1 eps), U m x k (ld ldu), VT k x n (ld ldvt); s
    // null: B (k x k, ld k) in place of diag(s).
    auto reproduces = [&](const std::vector<T>& u, int ldu, const std::vector<Real<T>>* s,
                          const std::vector<T>& b, const std::vector<T>& vt, int ldvt) {
        double r = 0;
        for (int j = 0; j < n; ++j) {
            double col = 0;
            for (int i = 0; i < m; ++i) {
                W v = -at(a, m, i, j);
                for (int p = 0; p < k; ++p)
                    for (int q = s ? p : 0; q < (s ? p + 1 : k); ++q)
                        v += at(u, ldu, i, p) * (s ? W((*s)[p]) : at(b, k, p, q)) *
                             at(vt, ldvt, q, j);
                col += std::abs(v);
            }
            r = std::max(r, col);
        }
        return r / (anorm * scale) < 30;
    };
    // gesvd with each kind of factor, gesdd with "S" and "O".
    for (auto [jobu, jobvt] : {std::pair{'S', 'S'}, std::pair{'A', 'A'}, std::pair{'O', 'N'}}) {
        const std::string job = what + " gesvd " + jobu + jobvt;
        std::vector<T> f = a, u(int64_t(m) * m), vt(int64_t(n) * n);
        std::vector<Real<T>> s(k), superb(k);
        const int ldvt = jobvt == 'A' ? n : k;
        zuliEmuResetCounters();
        const int info = LAPACKE(T, gesvd)(LAPACK_COL_MAJOR, jobu, jobvt, m, n, f.data(), m,
                                           s.data(), u.data(), m, vt.data(), ldvt, superb.data());
        expectWhere(size, job);
        expect(info == 0 && valuesMatch(s), job + " singular values");
        if (jobu != 'O') expect(reproduces(u, m, &s, {}, vt, ldvt), job + " factors");
    }
    for (char jobz : {'S', 'O'}) {
        // jobz "O" runs in the host LAPACK, whose complex gesdd of a wide matrix runs gelqf on
        // its own work array: OpenBLAS's complex gemv then reads one column past that array,
        // which faults where the allocation ends at a page (under AddressSanitizer's allocator).
        // Checked on the tall and square shapes only.
        if (jobz == 'O' && m < n && !std::is_floating_point_v<T>) continue;
        const std::string job = what + " gesdd " + jobz;
        std::vector<T> f = a, u(int64_t(m) * m), vt(int64_t(n) * n);
        std::vector<Real<T>> s(k);
        zuliEmuResetCounters();
        const int info = LAPACKE(T, gesdd)(LAPACK_COL_MAJOR, jobz, m, n, f.data(), m, s.data(),
                                           u.data(), m, vt.data(), jobz == 'S' ? k : n);
        if (jobz == 'S')
            expectWhere(size, job);
        else
            expect(!deviceWorked(), job + ": the library ran it");
        expect(info == 0 && valuesMatch(s), job + " singular values");
        if (jobz == 'S') expect(reproduces(u, m, &s, {}, vt, k), job + " factors");
    }
    // gebrd, then Q (m x k) and P^H (k x n) by orgbr from its reflectors.
    const std::string job = what + " gebrd";
    std::vector<T> f = a, tauq(k), taup(k);
    std::vector<Real<T>> d(k), e(k);
    zuliEmuResetCounters();
    int info = LAPACKE(T, gebrd)(LAPACK_COL_MAJOR, m, n, f.data(), m, d.data(), e.data(),
                                 tauq.data(), taup.data());
    expectWhere(size, job);
    std::vector<T> q(int64_t(m) * k), ph(int64_t(k) * n), b(int64_t(k) * k, T(0));
    for (int j = 0; j < k; ++j)
        for (int i = 0; i < m; ++i) q[i + int64_t(j) * m] = f[i + int64_t(j) * m];
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < k; ++i) ph[i + int64_t(j) * k] = f[i + int64_t(j) * m];
    const auto orgbr = pick<T>(LAPACKE_sorgbr, LAPACKE_dorgbr, LAPACKE_cungbr, LAPACKE_zungbr);
    zuliEmuResetCounters();
    info |= orgbr(LAPACK_COL_MAJOR, 'Q', m, k, n, q.data(), m, tauq.data());
    expectWhere(order3(m, k, k), job + " orgbr Q");
    info |= orgbr(LAPACK_COL_MAJOR, 'P', k, n, m, ph.data(), k, taup.data());
    for (int i = 0; i < k; ++i) {
        b[i + int64_t(i) * k] = T(d[i]);
        if (i + 1 < k) b[m >= n ? i + int64_t(i + 1) * k : i + 1 + int64_t(i) * k] = T(e[i]);
    }
    expect(info == 0 && reproduces(q, m, nullptr, b, ph, k), job + " A = Q B P^H");
}

int main() {
    for (int n : {8, 40}) {
        checkLu<float>(n, n), checkLu<double>(n, n);
        checkLu<std::complex<float>>(n, n), checkLu<std::complex<double>>(n, n);
    }
    // Blocked in the library (nb = 192, 128, 128, 64), with a last panel of one column.
    checkLu<float>(400, 193), checkLu<double>(300, 129);
    checkLu<std::complex<float>>(300, 129), checkLu<std::complex<double>>(200, 65);
    checkLu<float>(200, 200), checkLu<std::complex<double>>(130, 130);
    for (int n : {8, 40, 140}) {
        checkCholesky<float>(n), checkCholesky<double>(n);
        checkCholesky<std::complex<float>>(n), checkCholesky<std::complex<double>>(n);
    }
    for (int n : {8, 40, 140}) {
        checkTriangular<float>(n), checkTriangular<double>(n);
        checkTriangular<std::complex<float>>(n), checkTriangular<std::complex<double>>(n);
        checkBand<float>(n), checkBand<double>(n);
        checkBand<std::complex<float>>(n), checkBand<std::complex<double>>(n);
        checkUtilities<float>(n, n / 2 + 3), checkUtilities<double>(n, n / 2 + 3);
        checkUtilities<std::complex<float>>(n, n / 2 + 3);
        checkUtilities<std::complex<double>>(n, n / 2 + 3);
        checkBlas<float>(n), checkBlas<double>(n);
        checkBlas<std::complex<float>>(n), checkBlas<std::complex<double>>(n);
        checkMixed<double, float>(n), checkMixed<std::complex<double>, std::complex<float>>(n);
        checkRotations<float>(n), checkRotations<double>(n);
        checkRotations<std::complex<float>>(n), checkRotations<std::complex<double>>(n);
    }
    // Every factorization of a tall and a wide matrix: the host LAPACK's at 8, the library's at
    // 140 (blocked in the library, with a last block narrower than the others).
    for (int n : {8, 140})
        for (int kind = 0; kind < 5; ++kind)
            for (auto [m, cols] : {std::pair{n, n / 2 + 3}, std::pair{n / 2 + 3, n}}) {
                checkQr<float>(kind, m, cols), checkQr<double>(kind, m, cols);
                checkQr<std::complex<float>>(kind, m, cols);
                checkQr<std::complex<double>>(kind, m, cols);
            }
    // Least squares: tall and wide, the host LAPACK's at 8, the library's at 60.
    for (int n : {8, 60})
        for (auto [m, cols] : {std::pair{n, n / 2 + 3}, std::pair{n / 2 + 3, n}}) {
            checkGels<float>(m, cols), checkGels<double>(m, cols);
            checkGels<std::complex<float>>(m, cols), checkGels<std::complex<double>>(m, cols);
            checkGgrqf<float>(m, cols, n), checkGgrqf<double>(m, cols, n);
            checkGgrqf<std::complex<float>>(m, cols, n);
            checkGgrqf<std::complex<double>>(m, cols, n);
        }
    for (auto [m, n, p] : {std::tuple{10, 8, 3}, std::tuple{60, 50, 20}}) {
        checkGglse<float>(m, n, p), checkGglse<double>(m, n, p);
        checkGglse<std::complex<float>>(m, n, p), checkGglse<std::complex<double>>(m, n, p);
    }
    // The nonsymmetric eigenproblem: the host LAPACK's at 8, the library's at 60 (ilo ... ihi a
    // part of the matrix, as balancing leaves it, at 60 only).
    for (auto [n, ilo, ihi] : {std::tuple{8, 1, 8}, std::tuple{60, 1, 60}, std::tuple{60, 5, 52}}) {
        checkHessenberg<float>(n, ilo, ihi), checkHessenberg<double>(n, ilo, ihi);
        checkHessenberg<std::complex<float>>(n, ilo, ihi);
        checkHessenberg<std::complex<double>>(n, ilo, ihi);
    }
    for (int n : {8, 60}) {
        checkGeev<float>(n), checkGeev<double>(n);
        checkGeev<std::complex<float>>(n), checkGeev<std::complex<double>>(n);
    }
    // The singular value decomposition: the host LAPACK's at 8 x 6, the library's from 60 x 40 on,
    // bidiagonalised directly (60 x 40) and after a QR (100 x 40) or LQ (40 x 100) factorization.
    for (auto [m, n] :
         {std::pair{8, 6}, std::pair{60, 40}, std::pair{100, 40}, std::pair{40, 100}}) {
        checkSvd<float>(m, n), checkSvd<double>(m, n);
        checkSvd<std::complex<float>>(m, n), checkSvd<std::complex<double>>(m, n);
    }
    // The generalized symmetric-definite eigenproblem: the host LAPACK's at 8, the library's at 60.
    for (int n : {8, 60}) {
        checkSygv<float>(n), checkSygv<double>(n);
        checkSygv<std::complex<float>>(n), checkSygv<std::complex<double>>(n);
    }
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
