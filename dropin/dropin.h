// dropin.h - how one Fortran LAPACK or BLAS entry point of the drop-in library decides where a
// call runs, and the macro that stamps out such entry points from one row.
//
// Every entry point (dgetrf_, zgemm_, ...) has LAPACK 3.11's Fortran interface and does, in
// order:
//   1. while the calling thread is inside the library (whoever called it) or inside the host
//      LAPACK on the drop-in's behalf (the library's own host panels, the host LAPACK's internal
//      BLAS calls, the emulated GPU's arithmetic), it calls the host LAPACK/BLAS straight away:
//      the drop-in never calls back into the library from inside it;
//   2. the checks that LAPACK makes and the library does not (lwork minimums, BLAS's
//      leading-dimension bounds, ...); a workspace query is answered with LAPACK's minimal size
//      (the library needs no workspace);
//   3. calls the library does not serve (options it reports as not implemented, empty problems,
//      problems below the threshold of the routine's family, a thread on which the library does
//      not initialise) go to the host LAPACK;
//   4. the library's host interface runs the call. Its outcome becomes LAPACK's:
//        no error         INFO = 0;
//        argument error   the library's position of the bad argument becomes LAPACK's (a table
//                         per routine); xerbla_ gets LAPACK's name and that position and INFO is
//                         its negative. A position LAPACK does not check (a null pointer LAPACK
//                         never looks at) sends the call to the host LAPACK;
//        data error       INFO = the positive info, outputs as the library leaves them;
//        anything else    (no device, out of memory, not implemented: the library has left the
//                         caller's arrays untouched) the host LAPACK runs the call.
//
// The library's last-info cell is shared by all threads: another thread's call may overwrite it
// before it is read. So a data error's info is read from the outputs, where LAPACK defines it (the
// first zero on U's diagonal, the first diagonal element of a Cholesky factor that is not
// positive); only a row without such a rule reads the cell. An argument error's position is read
// from the cell right after the call; a value another thread's call left there (0, or a position
// the routine's table does not map) sends the call to the host LAPACK, which reports the error
// itself.
#pragma once

#include "zuli_lapack.h"

#include "runtime/complex.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <type_traits>
#include <utility>

namespace zuli::dropin {

// Each family has its own size threshold (dropin.cpp) below which the host LAPACK runs the call.
enum class Family { Lu, Cholesky, Mixed, Triangular, Band, Utility, Qr, Blas3, Count };

// The threshold of a family: calls whose size is below it go to the host LAPACK. The environment
// variable ZULI_DROPIN_MIN_ORDER overrides the defaults (see the README).
int minOrder(Family family);

// True while the calling thread runs inside the library (called by the drop-in or by the program
// itself, zuliIsInCall) or inside the host LAPACK on the drop-in's behalf: every entry point then
// forwards straight to the host LAPACK/BLAS.
bool insideLibrary();

// Marks the calling thread as inside for its lifetime.
class InsideScope {
  public:
    InsideScope();
    ~InsideScope();
    InsideScope(const InsideScope&) = delete;
    InsideScope& operator=(const InsideScope&) = delete;
};

// The library is initialised on the calling thread (zuliInitialize on first use; zuliShutdown
// when the thread ends). False when it cannot run here (no device, runtime too old): the host
// LAPACK then does everything on this thread.
bool libraryReady();

// The address of `symbol` in the host LAPACK/BLAS (OpenBLAS, opened privately, so that the
// drop-in's own definitions are never found). Ends the process if it is missing.
void* hostSymbol(const char* symbol);

// Calls xerbla_ (the program's, or the host LAPACK's) with `name` and the 1-based `position`.
void reportArgument(const char* name, int position);

// The capability code (10 x major + minor) of the calling thread's current device.
int currentCapabilityCode();

// ---- what a data error's info is, read from the outputs ------------------------------------

inline bool isZero(float v) {
    return v == 0;
}
inline bool isZero(double v) {
    return v == 0;
}
inline bool isZero(const zuliComplexFloat& v) {
    return v.re == 0 && v.im == 0;
}
inline bool isZero(const zuliComplexDouble& v) {
    return v.re == 0 && v.im == 0;
}
// The element of type P whose value is the real number v (LAPACK's workspace-size answers).
template <typename P>
P fromReal(double v) {
    if constexpr (std::is_floating_point_v<P>)
        return P(v);
    else
        return P{decltype(P::re)(v), 0};
}

inline float realPart(float v) {
    return v;
}
inline double realPart(double v) {
    return v;
}
inline float realPart(const zuliComplexFloat& v) {
    return v.re;
}
inline double realPart(const zuliComplexDouble& v) {
    return v.re;
}

// The 1-based index of the first of n elements (element i at p[i * stride]) that is exactly
// zero, or 0. The diagonal of a column-major matrix has stride lda + 1, a row of band storage
// stride ldab.
template <typename P>
int firstZero(int64_t n, const P* p, int64_t stride) {
    for (int64_t i = 0; i < n; ++i)
        if (isZero(p[i * stride])) return int(i + 1);
    return 0;
}

// The same for the first element whose real part is not positive (or is a NaN): where a
// Cholesky factorization stops, it leaves the failed pivot in place.
template <typename P>
int firstNotPositive(int64_t n, const P* p, int64_t stride) {
    for (int64_t i = 0; i < n; ++i)
        if (!(realPart(p[i * stride]) > 0)) return int(i + 1);
    return 0;
}

// ---- one call ---------------------------------------------------------------------------------

// A non-owning reference to a callable R(), for the lambdas of one row, which live until the
// end of the row's full expression.
template <typename R>
class Ref {
  public:
    Ref() = default;
    template <typename F>
    Ref(const F& f) : object_(&f), call_([](const void* o) -> R { return (*(const F*)o)(); }) {}
    explicit operator bool() const { return call_ != nullptr; }
    R operator()() const { return call_(object_); }

  private:
    const void* object_ = nullptr;
    R (*call_)(const void*) = nullptr;
};

// Where one call runs and what it reports; built by a row (ZULI_DROPIN below) and run at once.
class Route {
  public:
    // `symbol` is the Fortran name ("dgetrf_"); `host` calls the host LAPACK with the caller's
    // arguments.
    Route(const char* symbol, Ref<void> host) : symbol_(symbol), host_(host) {}

    // A LAPACK routine: its family, the size compared with the family's threshold, its INFO.
    Route& lapack(Family family, int64_t size, int* info) {
        family_ = family, size_ = size, info_ = info;
        return *this;
    }
    // A routine without INFO (BLAS, lacpy, laset, larfb); BLAS's names are blank-padded to six
    // characters, as BLAS passes them to xerbla_.
    Route& noInfo(Family family, int64_t size) {
        family_ = family, size_ = size;
        return *this;
    }
    Route& blas(int64_t size) {
        padName_ = true;
        return noInfo(Family::Blas3, size);
    }
    // LAPACK's own checks where they are stricter than the library's: returns 0 when the
    // arguments pass, the 1-based position of the first bad one, or -1 when the call is answered
    // (a workspace query).
    Route& check(Ref<int> f) {
        check_ = f;
        return *this;
    }
    // Calls that the library does not serve go to the host LAPACK.
    Route& hostWhen(bool host) {
        hostWhen_ = hostWhen_ || host;
        return *this;
    }
    // The library's host-interface call, and for each of its argument positions (1-based) the
    // position of the same argument in LAPACK's call, or 0 where LAPACK checks nothing.
    Route& library(Ref<zuliStatus> f, std::initializer_list<int> positions = {}) {
        library_ = f, positions_ = positions;
        return *this;
    }
    // A data error's info, read from the outputs (0: read the library's last-info cell).
    Route& dataInfo(Ref<int> f) {
        dataInfo_ = f;
        return *this;
    }
    // A data error after which LAPACK would still compute a result (the mixed-precision
    // fall-backs): the host LAPACK runs the call from its untouched inputs.
    Route& hostOnDataError(Ref<bool> f) {
        hostOnData_ = f;
        return *this;
    }
    // What turns the library's outputs into LAPACK's, after a success or a data error.
    Route& after(Ref<void> f) {
        after_ = f;
        return *this;
    }

    void run();

  private:
    void runHost();
    void argumentError(int position);

    const char* symbol_;
    Ref<void> host_;
    Family family_ = Family::Lu;
    int64_t size_ = 0;
    int* info_ = nullptr;
    bool padName_ = false;
    Ref<int> check_;
    bool hostWhen_ = false;
    Ref<zuliStatus> library_;
    std::initializer_list<int> positions_;
    Ref<int> dataInfo_;
    Ref<bool> hostOnData_;
    Ref<void> after_;
};

// The order of a problem for the threshold: of an m x n matrix sqrt(m n), of an m x n x k
// product the cube root of m n k (so that a square problem of order n has size n).
int64_t order2(int64_t m, int64_t n);
int64_t order3(int64_t m, int64_t n, int64_t k);

// LAPACK's letter tests (LSAME): case-insensitive.
inline char upper(char c) {
    return (c >= 'a' && c <= 'z') ? char(c - 'a' + 'A') : c;
}
inline bool same(const char* c, char letter) {
    return upper(*c) == letter;
}

// The host LAPACK's function `symbol` of type F, looked up once.
template <typename F>
struct HostFunction {
    F* const call;
    explicit HostFunction(const char* symbol) : call(reinterpret_cast<F*>(hostSymbol(symbol))) {}
};

// The types of the entry points of precision L: P the element type (the library's public type,
// the same bytes as LAPACK's), R its real type, T the library's internal element type.
namespace precision {
namespace S {
using P = float;
using R = float;
using T = float;
}  // namespace S
namespace D {
using P = double;
using R = double;
using T = double;
}  // namespace D
namespace C {
using P = zuliComplexFloat;
using R = float;
using T = zuli::Complex<float>;
}  // namespace C
namespace Z {
using P = zuliComplexDouble;
using R = double;
using T = zuli::Complex<double>;
}  // namespace Z
}  // namespace precision

}  // namespace zuli::dropin

// ---- the rows ----------------------------------------------------------------------------------
//
// ZULI_DROPIN(LIST, NAME, (Fortran parameters), (their names), LIBNAME, (library arguments), ...)
// defines, for each precision letter L of LIST (ALL, REAL, COMPLEX, or one letter S, D, C, Z), the
// entry point l##NAME##_ (l the lower-case letter) with LAPACK's Fortran parameters (written with P
// for the element type and R for the real type; hidden character lengths as trailing size_t). The
// library's call zuli##L##LIBNAME(library arguments) is the lambda `library`; the rest of the row
// (starting with '.') configures the Route that runs the call:
//
//     // sgetrs_ dgetrs_ cgetrs_ zgetrs_
//     ZULI_DROPIN(ALL, getrs,
//                 (const char* trans, const int* n, const int* nrhs, const P* a, const int* lda,
//                  const int* ipiv, P* b, const int* ldb, int* info, size_t transLength),
//                 (trans, n, nrhs, a, lda, ipiv, b, ldb, info, transLength),
//                 getrs, (*trans, *n, *nrhs, a, *lda, ipiv, b, *ldb),
//                 .lapack(Family::Lu, order3(*n, *n, *nrhs), info)
//                 .hostWhen(!same(trans, 'N'))
//                 .library(library, {1, 2, 3, 0, 5, 0, 0, 8}))
//
// The comment above a row names the symbols it defines (a test checks that every exported symbol
// is named in dropin/).
//
// Where the rows expand, ZULI_DROPIN_SIGNATURE_CHECK(symbol, namespace) compares each entry point
// with the prototype of the symbol there (LAPACK 3.11's lapack.h for the LAPACK rows): an entry
// point whose parameters differ from it does not compile.
#define ZULI_DROPIN_LOWER_S s
#define ZULI_DROPIN_LOWER_D d
#define ZULI_DROPIN_LOWER_C c
#define ZULI_DROPIN_LOWER_Z z
#define ZULI_DROPIN_PASTE3(a, b, c) a##b##c
#define ZULI_DROPIN_XPASTE3(a, b, c) ZULI_DROPIN_PASTE3(a, b, c)
#define ZULI_DROPIN_SYMBOL(L, NAME) ZULI_DROPIN_XPASTE3(ZULI_DROPIN_LOWER_##L, NAME, _)
#define ZULI_DROPIN_STRING(x) ZULI_DROPIN_STRING2(x)
#define ZULI_DROPIN_STRING2(x) #x
#define ZULI_DROPIN_CHECK(SYMBOL, NS) ZULI_DROPIN_SIGNATURE_CHECK(SYMBOL, NS)

#define ZULI_DROPIN_ONE(L, NAME, PARAMS, ARGS, LIBNAME, LIBARGS, ...)                \
    namespace zuli::dropin::precision::L {                                           \
    extern "C" ZULI_API void ZULI_DROPIN_SYMBOL(L, NAME) PARAMS {                    \
        static const ::zuli::dropin::HostFunction<void PARAMS> hostCall(             \
            ZULI_DROPIN_STRING(ZULI_DROPIN_SYMBOL(L, NAME)));                        \
        const auto host = [&] { hostCall.call ARGS; };                               \
        if (::zuli::dropin::insideLibrary()) return host();                          \
        const auto library = [&] { return zuli##L##LIBNAME LIBARGS; };               \
        (void)library;                                                               \
        ::zuli::dropin::Route(ZULI_DROPIN_STRING(ZULI_DROPIN_SYMBOL(L, NAME)), host) \
            __VA_ARGS__.run();                                                       \
    }                                                                                \
    }                                                                                \
    ZULI_DROPIN_CHECK(ZULI_DROPIN_SYMBOL(L, NAME), zuli::dropin::precision::L)

#define ZULI_DROPIN(LIST, NAME, PARAMS, ARGS, LIBNAME, LIBARGS, ...) \
    ZULI_DROPIN_LIST_##LIST(ZULI_DROPIN_ONE, NAME, PARAMS, ARGS, LIBNAME, LIBARGS, __VA_ARGS__)

#define ZULI_DROPIN_LIST_ALL(M, ...) \
    M(S, __VA_ARGS__) M(D, __VA_ARGS__) M(C, __VA_ARGS__) M(Z, __VA_ARGS__)
#define ZULI_DROPIN_LIST_REAL(M, ...) M(S, __VA_ARGS__) M(D, __VA_ARGS__)
#define ZULI_DROPIN_LIST_COMPLEX(M, ...) M(C, __VA_ARGS__) M(Z, __VA_ARGS__)
#define ZULI_DROPIN_LIST_S(M, ...) M(S, __VA_ARGS__)
#define ZULI_DROPIN_LIST_D(M, ...) M(D, __VA_ARGS__)
#define ZULI_DROPIN_LIST_C(M, ...) M(C, __VA_ARGS__)
#define ZULI_DROPIN_LIST_Z(M, ...) M(Z, __VA_ARGS__)
