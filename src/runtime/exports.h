// exports.h - the C entry points, one export row per routine.
//
// Each routine is a pair of function templates in the file of its algorithm:
//     name<T>(const CallContext& ctx, args...)          the device interface (device pointers)
//     host::name<T>(const CallContext& ctx, args...)    the host interface (host pointers; it
//                                                      mirrors its arrays and runs name<T>)
// and one row at the end of that file stamps out its C entry points zuliXname and
// zuliDeviceXname for each precision X of its list (ALL, REAL or COMPLEX):
//
//     ZULI_EXPORT(ALL, getrf, (int m, int n, P* a, int lda, int* ipiv), (m, n, a, lda, ipiv))
//
// The parameter list is written once, with P for the element type of the public header, R for
// the real type and T for the internal element type of the precision (zuli::precision::L); the
// argument list names the parameters in order. The exported function converts each argument to
// its internal type (public complex pointers and values to Complex<R>; everything else as it is)
// and runs the body in the frame of its interface (host or device) for element type T. Since the
// public header is included here, a row whose parameters differ from the declaration there does
// not compile.
//
// Every row is preceded by a comment naming the symbols it defines, so that a search for a C
// name finds its row (a test checks that every exported symbol is named in src/).
//
// Rows whose C name is not "precision letter + name" use ZULI_EXPORT_AS(L, CNAME, BODY, TARGS,
// PARAMS, ARGS): the symbols zuli##CNAME and zuliDevice##CNAME in precision L run
// host::BODY<TARGS> and BODY<TARGS>, e.g. the mixed-precision zuliDsgesv, or the conversions
// zuliDlag2s (BODY lag2, TARGS (T, float)).
#pragma once

#include "runtime/frame.h"
#include "runtime/precision.h"

#include "zuli_lapack.h"

#include <bit>
#include <type_traits>

namespace zuli {

// The public element type of each internal element type: PublicType<float> is float,
// PublicType<Complex<float>> is zuliComplexFloat, and so on (the same bytes).
template <typename T>
using PublicType = typename SameLayout<T, zuliComplexFloat, zuliComplexDouble>::type;

static_assert(sizeof(Complex<float>) == sizeof(zuliComplexFloat));
static_assert(sizeof(Complex<double>) == sizeof(zuliComplexDouble));

// The internal form of an exported argument: public complex values and pointers become
// Complex<R> ones; every other argument passes as it is.
template <typename A>
A internal(A a) {
    return a;
}
inline Complex<float> internal(zuliComplexFloat v) {
    return std::bit_cast<Complex<float>>(v);
}
inline Complex<double> internal(zuliComplexDouble v) {
    return std::bit_cast<Complex<double>>(v);
}
inline Complex<float>* internal(zuliComplexFloat* p) {
    return reinterpret_cast<Complex<float>*>(p);
}
inline const Complex<float>* internal(const zuliComplexFloat* p) {
    return reinterpret_cast<const Complex<float>*>(p);
}
inline Complex<double>* internal(zuliComplexDouble* p) {
    return reinterpret_cast<Complex<double>*>(p);
}
inline const Complex<double>* internal(const zuliComplexDouble* p) {
    return reinterpret_cast<const Complex<double>*>(p);
}

// f(internal(args)...).
template <typename F, typename... Args>
decltype(auto) callInternal(F&& f, Args... args) {
    return f(internal(args)...);
}

}  // namespace zuli

#define ZULI_STRIP(...) __VA_ARGS__

#define ZULI_EXPORT_AS(L, CNAME, BODY, TARGS, PARAMS, ARGS)                                     \
    namespace zuli::precision::L {                                                              \
    extern "C" ZULI_API zuliStatus zuli##CNAME PARAMS {                                         \
        return ::zuli::hostRoutine<T>([&](const ::zuli::CallContext& ctx) {                     \
            return ::zuli::callInternal(                                                        \
                [&](auto... a) { return ::zuli::host::BODY<ZULI_STRIP TARGS>(ctx, a...); },     \
                ZULI_STRIP ARGS);                                                               \
        });                                                                                     \
    }                                                                                           \
    extern "C" ZULI_API zuliStatus zuliDevice##CNAME PARAMS {                                   \
        return ::zuli::deviceRoutine<T>([&](const ::zuli::CallContext& ctx) {                   \
            ::zuli::callInternal([&](auto... a) { ::zuli::BODY<ZULI_STRIP TARGS>(ctx, a...); }, \
                                 ZULI_STRIP ARGS);                                              \
        });                                                                                     \
    }                                                                                           \
    }

#define ZULI_EXPORT_ROW(L, NAME, PARAMS, ARGS) ZULI_EXPORT_AS(L, L##NAME, NAME, (T), PARAMS, ARGS)
#define ZULI_EXPORT_NAMED_ROW(L, CNAME, BODY, PARAMS, ARGS) \
    ZULI_EXPORT_AS(L, L##CNAME, BODY, (T), PARAMS, ARGS)

// ZULI_EXPORT(ALL | REAL | COMPLEX, name, (parameters), (arguments))
#define ZULI_EXPORT(LIST, NAME, PARAMS, ARGS) \
    ZULI_EXPORT_LIST_##LIST(ZULI_EXPORT_ROW, NAME, PARAMS, ARGS)
// The same for a C name that differs from the body's: the complex members of a family named
// after the real ones, e.g. ZULI_EXPORT_NAMED(COMPLEX, ungqr, orgqr, ...) defines zuliCungqr,
// zuliZungqr, zuliDeviceCungqr and zuliDeviceZungqr, which run host::orgqr<T> and orgqr<T>.
#define ZULI_EXPORT_NAMED(LIST, CNAME, BODY, PARAMS, ARGS) \
    ZULI_EXPORT_LIST_##LIST(ZULI_EXPORT_NAMED_ROW, CNAME, BODY, PARAMS, ARGS)

#define ZULI_EXPORT_LIST_ALL ZULI_FOR_EACH_PRECISION
#define ZULI_EXPORT_LIST_REAL ZULI_FOR_EACH_REAL_PRECISION
#define ZULI_EXPORT_LIST_COMPLEX ZULI_FOR_EACH_COMPLEX_PRECISION
