// auxiliary.cpp - the exported utility routines: lacpy, laset, lascl, geNancheck, the
// transpositions and conjugations, and the precision conversions lag2* / lat2*, each as a
// device routine (zuliDeviceXname) and a host routine (zuliXname).
//
// A device routine checks its arguments and launches its kernel. A host routine checks the same
// arguments, mirrors its arrays into device buffers, runs the device routine nested and copies
// the outputs back. The host transpositions are the exception: they never touch the device.
#include "auxiliary/auxiliary.h"

#include "kernels/auxiliary_kernels.h"
#include "runtime/arguments.h"
#include "runtime/frame.h"
#include "runtime/memory.h"
#include "runtime/status.h"
#include "solvers/host_adapter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

namespace zuli {

namespace {

// The device flag: one int of device memory, cleared before the kernel and read after it.
// Released when the object goes, on every path.
class DeviceFlag {
  public:
    DeviceFlag() : buffer_(1) { cudalib::checkCuda(cudaMemset(buffer_.get(), 0, sizeof(int))); }
    int* get() const { return buffer_.get(); }
    // Raises zuliDataError with info 1 when the kernel stored 1.
    void raiseIfSet() const {
        int value = 0;
        cudalib::checkCuda(cudaMemcpy(&value, buffer_.get(), sizeof(int), cudaMemcpyDeviceToHost));
        if (value == 1) raiseDataError(1);
    }

  private:
    cudalib::ManagedMemory<int> buffer_;
};

// A conversion to a narrower type can overflow and needs the device flag; a widening one
// cannot (the kernel then never touches the flag, so none is allocated or read back).
template <typename From, typename To>
constexpr bool isNarrowing = sizeof(ToRealT<To>) < sizeof(ToRealT<From>);

// Flips the sign bit of a floating-point value: -0 from 0, a NaN keeps its payload.
template <typename R>
R flipSign(R x) {
    using Bits = std::conditional_t<sizeof(R) == 4, uint32_t, uint64_t>;
    return std::bit_cast<R>(std::bit_cast<Bits>(x) ^ (Bits(1) << (8 * sizeof(R) - 1)));
}

template <typename T, bool Conjugate>
T hostConjugate(const T& x) {
    if constexpr (Conjugate && IsComplexV<T>) {
        return T(x.re, flipSign(x.im));
    } else {
        return x;
    }
}

}  // namespace

// ---- argument checks -----------------------------------------------------------------------

bool lacpyArguments(char& uplo, int m, int n, const void* a, int lda, const void* b, int ldb) {
    uplo = upperOption(uplo);
    failIf(!isOneOf(uplo, "ULAF"), 1);
    failIf(m < 0, 2);
    failIf(n < 0, 3);
    if (m == 0 || n == 0) return false;
    failIf(a == nullptr, 4);
    failIf(lda < std::max(1, m), 5);
    failIf(b == nullptr, 6);
    failIf(ldb < std::max(1, m), 7);
    return true;
}

bool lasetArguments(char& uplo, int m, int n, const void* a, int lda) {
    uplo = upperOption(uplo);
    failIf(!isOneOf(uplo, "ULAF"), 1);
    failIf(m < 0, 2);
    failIf(n < 0, 3);
    if (m == 0 || n == 0) return false;
    failIf(a == nullptr, 6);
    failIf(lda < std::max(1, m), 7);
    return true;
}

int lasclStorageRows(char type, int kl, int ku, int m) {
    switch (type) {
        case 'B':
            return kl + 1;
        case 'Q':
            return ku + 1;
        case 'Z':
            return 2 * kl + ku + 1;
        default:
            return m;
    }
}

bool lasclArguments(char& type, int kl, int ku, double cfrom, double cto, int m, int n,
                    const void* a, int lda) {
    type = upperOption(type);
    failIf(!isOneOf(type, "GLUHBQZ"), 1);
    const bool band = type == 'B' || type == 'Q' || type == 'Z';
    const bool symmetricBand = type == 'B' || type == 'Q';
    if (band) {
        failIf(kl < 0 || kl > std::max(m - 1, 0), 2);
        failIf(ku < 0 || ku > std::max(n - 1, 0) || (symmetricBand && kl != ku), 3);
    }
    failIf(cfrom == 0.0, 4);  // a NaN cfrom passes (and yields NaNs), as documented
    failIf(std::isnan(cto), 5);
    failIf(m < 0, 6);
    failIf(n < 0 || (symmetricBand && n != m), 7);
    if (m == 0 || n == 0) return false;
    failIf(a == nullptr, 8);
    const int64_t rows = band ? int64_t(lasclStorageRows(type, kl, ku, m)) : std::max(1, m);
    failIf(lda < rows, 9);
    return true;
}

bool nancheckArguments(int m, int n, const void* a, int lda) {
    failIf(m < 0, 1);
    failIf(n < 0, 2);
    failIf(lda < m, 4);  // m itself, not max(1, m)
    failIf(a == nullptr && m != 0 && n != 0, 3);
    return m != 0 && n != 0;
}

bool conjugateArguments(int m, int n, const void* a, int lda) {
    failIf(m < 0, 1);
    failIf(n < 0, 2);
    failIf(lda < m, 4);
    failIf(a == nullptr && m != 0 && n != 0, 3);
    return m >= 1 && n >= 1 && lda >= 1;
}

bool transposeArguments(int m, int n, const void* a, int lda, const void* b, int ldb) {
    failIf(m < 0, 1);
    failIf(n < 0, 2);
    failIf(lda < m, 4);
    failIf(ldb < n, 6);
    if (m == 0 && n == 0) return false;
    // m = 0 with n > 0 (or the reverse) still demands both pointers.
    failIf(a == nullptr, 3);
    failIf(b == nullptr, 5);
    return m != 0 && n != 0;
}

bool transposeInplaceArguments(int n, const void* a, int lda) {
    failIf(n < 0, 1);
    failIf(lda < n, 3);
    failIf(n != 0 && a == nullptr, 2);
    return n != 0;
}

bool trConjugateArguments(char& uplo, char& diag, int m, int n, const void* a, int lda) {
    uplo = upperOption(uplo);
    diag = upperOption(diag);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(!isOneOf(diag, "ND"), 2);
    failIf(m < 0, 3);
    failIf(n < 0, 4);
    failIf(lda < m, 6);
    failIf(a == nullptr && m != 0 && n != 0, 5);
    return m != 0 && n != 0;
}

bool lag2Arguments(int m, int n, const void* source, int ldSource, const void* destination,
                   int ldDestination) {
    if (m == 0 || n == 0) return false;  // before anything else: m = -1, n = 0 succeeds
    failIf(m < 0, 1);
    failIf(n < 0, 2);
    failIf(destination == nullptr, 3);
    failIf(ldDestination < std::max(1, m), 4);
    failIf(source == nullptr, 5);
    failIf(ldSource < std::max(1, m), 6);
    return true;
}

bool lat2Arguments(char& uplo, int n, const void* source, int ldSource, const void* destination,
                   int ldDestination) {
    if (n == 0) return false;  // before uplo is looked at
    uplo = upperOption(uplo);
    failIf(!isOneOf(uplo, "UL"), 1);
    failIf(n < 0, 2);
    failIf(destination == nullptr, 3);
    failIf(ldDestination < std::max(1, n), 4);
    failIf(source == nullptr, 5);
    failIf(ldSource < std::max(1, n), 6);
    return true;
}

// ---- device implementations ----------------------------------------------------------------

template <typename T>
void lacpy(char uplo, int m, int n, const T* a, int lda, T* b, int ldb) {
    if (!lacpyArguments(uplo, m, n, a, lda, b, ldb)) return;
    launchLacpy(uplo, m, n, a, lda, b, ldb);
}

template <typename T>
void laset(char uplo, int m, int n, T alpha, T beta, T* a, int lda) {
    if (!lasetArguments(uplo, m, n, a, lda)) return;
    launchLaset(uplo, m, n, alpha, beta, a, lda);
}

template <typename T>
void lascl(char type, int kl, int ku, ToRealT<T> cfrom, ToRealT<T> cto, int m, int n, T* a,
           int lda) {
    if (!lasclArguments(type, kl, ku, cfrom, cto, m, n, a, lda)) return;
    launchLascl(type, kl, ku, cfrom, cto, m, n, a, lda);
}

template <typename T>
void geNancheck(int m, int n, const T* a, int lda) {
    if (!nancheckArguments(m, n, a, lda)) return;
    DeviceFlag flag;
    launchNancheck(m, n, a, lda, flag.get());
    flag.raiseIfSet();
}

template <typename T, bool Conjugate>
void geTranspose(int m, int n, const T* a, int lda, T* b, int ldb) {
    if (!transposeArguments(m, n, a, lda, b, ldb)) return;
    launchTranspose<T, Conjugate>(m, n, a, lda, b, ldb);
}

template <typename T, bool Conjugate>
void geTransposeInplace(int n, T* a, int lda) {
    if (!transposeInplaceArguments(n, a, lda)) return;
    launchTransposeInplace<T, Conjugate>(n, a, lda);
}

template <typename T>
void geConjugate(int m, int n, T* a, int lda) {
    if (!conjugateArguments(m, n, a, lda)) return;
    launchConjugate(m, n, a, lda);
}

// diag 'D' conjugates the diagonal with the triangle; 'N' leaves the diagonal as it is (the
// triangle proper only).
template <typename T>
void trConjugate(char uplo, char diag, int m, int n, T* a, int lda) {
    if (!trConjugateArguments(uplo, diag, m, n, a, lda)) return;
    launchConjugateTriangular(uplo == 'U', diag == 'D', m, n, a, lda);
}

template <typename From, typename To>
void lag2(int m, int n, const From* a, int lda, To* b, int ldb) {
    if (!lag2Arguments(m, n, a, lda, b, ldb)) return;
    if constexpr (!isNarrowing<From, To>) {
        launchPrecisionConvert(m, n, a, lda, b, ldb, static_cast<int*>(nullptr));
    } else {
        DeviceFlag flag;
        launchPrecisionConvert(m, n, a, lda, b, ldb, flag.get());
        flag.raiseIfSet();
    }
}

template <typename From, typename To>
void lat2(char uplo, int n, const From* a, int lda, To* b, int ldb) {
    if (!lat2Arguments(uplo, n, a, lda, b, ldb)) return;
    if constexpr (!isNarrowing<From, To>) {
        launchPrecisionConvertTriangular(uplo == 'U', n, a, lda, b, ldb, static_cast<int*>(nullptr));
    } else {
        DeviceFlag flag;
        launchPrecisionConvertTriangular(uplo == 'U', n, a, lda, b, ldb, flag.get());
        flag.raiseIfSet();
    }
}

// ---- host transpositions -------------------------------------------------------------------

template <typename T, bool Conjugate>
void hostTranspose(int m, int n, const T* a, int lda, T* b, int ldb) {
    for (int64_t j = 0; j < n; ++j)
        for (int64_t i = 0; i < m; ++i)
            b[j + i * ldb] = hostConjugate<T, Conjugate>(a[i + j * lda]);
}

template <typename T, bool Conjugate>
void hostTransposeInplace(int n, T* a, int lda) {
    for (int64_t k = 0; k < n; ++k) {
        for (int64_t i = 0; i < k; ++i) {
            const T upperElement = a[i + k * lda];
            a[i + k * lda] = hostConjugate<T, Conjugate>(a[k + i * lda]);
            a[k + i * lda] = hostConjugate<T, Conjugate>(upperElement);
        }
        a[k + k * lda] = hostConjugate<T, Conjugate>(a[k + k * lda]);  // the diagonal, once
    }
}

// ---- host routines -------------------------------------------------------------------------

namespace {

// A host routine whose one matrix A (rows x n, leading dimension lda) is read and written on the
// device by `device(A, ldA)`.
template <typename T, typename Device>
CallResult onMirroredMatrix(const CallContext& ctx, int64_t rows, int64_t n, T* a, int lda,
                            Device device) {
    HostArrayMirror<T> A(ctx, rows, n, a, lda, MirrorIn | MirrorOut);
    CallResult r = runDeviceRoutine<T>([&](const CallContext&) { device(A.device(), A.ld()); });
    return finishHostCall(r, A);
}

template <typename T>
CallResult hostLacpy(const CallContext& ctx, char uplo, int m, int n, const T* a, int lda, T* b,
                     int ldb) {
    if (!lacpyArguments(uplo, m, n, a, lda, b, ldb)) return {};
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn);
    // Only one triangle may be written: B's other part must come back unchanged.
    HostArrayMirror<T> B(ctx, m, n, b, ldb, MirrorIn | MirrorOut);
    CallResult r = runDeviceRoutine<T>(
        [&](const CallContext&) { lacpy<T>(uplo, m, n, A.device(), A.ld(), B.device(), B.ld()); });
    return finishHostCall(r, B);
}

template <typename T>
CallResult hostLaset(const CallContext& ctx, char uplo, int m, int n, T alpha, T beta, T* a,
                     int lda) {
    if (!lasetArguments(uplo, m, n, a, lda)) return {};
    return onMirroredMatrix<T>(ctx, m, n, a, lda,
                               [&](T* d, int ld) { laset<T>(uplo, m, n, alpha, beta, d, ld); });
}

template <typename T>
CallResult hostLascl(const CallContext& ctx, char type, int kl, int ku, ToRealT<T> cfrom,
                     ToRealT<T> cto, int m, int n, T* a, int lda) {
    if (!lasclArguments(type, kl, ku, cfrom, cto, m, n, a, lda)) return {};
    const int rows = lasclStorageRows(type, kl, ku, m);
    return onMirroredMatrix<T>(ctx, rows, n, a, lda, [&](T* d, int ld) {
        lascl<T>(type, kl, ku, cfrom, cto, m, n, d, ld);
    });
}

// The matrix goes to a device buffer of leading dimension max(1, lda); the device routine checks
// it there.
template <typename T>
CallResult hostNancheck(int m, int n, const T* a, int lda) {
    if (!nancheckArguments(m, n, a, lda)) return {};
    const int ld = std::max(1, lda);
    cudalib::ManagedMemory<T> copy(size_t(ld) * size_t(n));
    cudalib::checkCuda(cudaMemcpy2D(copy.get(), size_t(ld) * sizeof(T), a, size_t(lda) * sizeof(T),
                                    size_t(m) * sizeof(T), size_t(n), cudaMemcpyHostToDevice));
    CallResult r =
        runDeviceRoutine<T>([&](const CallContext&) { geNancheck<T>(m, n, copy.get(), ld); });
    return finishHostCall(r);
}

template <typename T>
CallResult hostConjugateMatrix(const CallContext& ctx, int m, int n, T* a, int lda) {
    if (!conjugateArguments(m, n, a, lda)) return {};
    return onMirroredMatrix<T>(ctx, m, n, a, lda,
                               [&](T* d, int ld) { geConjugate<T>(m, n, d, ld); });
}

template <typename T>
CallResult hostTrConjugate(const CallContext& ctx, char uplo, char diag, int m, int n, T* a,
                           int lda) {
    if (!trConjugateArguments(uplo, diag, m, n, a, lda)) return {};
    return onMirroredMatrix<T>(ctx, m, n, a, lda,
                               [&](T* d, int ld) { trConjugate<T>(uplo, diag, m, n, d, ld); });
}

template <typename From, typename To>
CallResult hostLag2(const CallContext& ctx, int m, int n, const From* a, int lda, To* b, int ldb) {
    if (!lag2Arguments(m, n, a, lda, b, ldb)) return {};
    HostArrayMirror<From> A(ctx, m, n, a, lda, MirrorIn);
    HostArrayMirror<To> B(ctx, m, n, b, ldb, MirrorOut);
    CallResult r = runDeviceRoutine<From>(
        [&](const CallContext&) { lag2<From, To>(m, n, A.device(), A.ld(), B.device(), B.ld()); });
    return finishHostCall(r, B);
}

template <typename From, typename To>
CallResult hostLat2(const CallContext& ctx, char uplo, int n, const From* a, int lda, To* b,
                    int ldb) {
    if (!lat2Arguments(uplo, n, a, lda, b, ldb)) return {};
    HostArrayMirror<From> A(ctx, n, n, a, lda, MirrorIn);
    // One triangle is written: the other must come back unchanged.
    HostArrayMirror<To> B(ctx, n, n, b, ldb, MirrorIn | MirrorOut);
    CallResult r = runDeviceRoutine<From>([&](const CallContext&) {
        lat2<From, To>(uplo, n, A.device(), A.ld(), B.device(), B.ld());
    });
    return finishHostCall(r, B);
}

}  // namespace

}  // namespace zuli

// ---- exported entry points -----------------------------------------------------------------

using zuli::CallContext;
using zuli::CallResult;
using zuli::fromPublic;
using zuli::PublicType;

namespace {
template <typename T>
T fromPublicValue(const PublicType<T>& v) {
    T t;
    static_assert(sizeof(t) == sizeof(v));
    std::memcpy(&t, &v, sizeof(t));
    return t;
}
}  // namespace

#define ZULI_AUX_ENTRIES(L, T)                                                                     \
    extern "C" ZULI_API zuliStatus zuliDevice##L##lacpy(                                           \
        char uplo, int m, int n, const PublicType<T>* a, int lda, PublicType<T>* b, int ldb) {     \
        return zuli::deviceRoutine<T>([&](const CallContext&) {                                    \
            zuli::lacpy<T>(uplo, m, n, fromPublic<T>(a), lda, fromPublic<T>(b), ldb);              \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##lacpy(char uplo, int m, int n, const PublicType<T>* a, \
                                                  int lda, PublicType<T>* b, int ldb) {            \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) {                                  \
            return zuli::hostLacpy<T>(ctx, uplo, m, n, fromPublic<T>(a), lda, fromPublic<T>(b),    \
                                      ldb);                                                        \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##laset(char uplo, int m, int n,                   \
                                                        PublicType<T> alpha, PublicType<T> beta,   \
                                                        PublicType<T>* a, int lda) {               \
        return zuli::deviceRoutine<T>([&](const CallContext&) {                                    \
            zuli::laset<T>(uplo, m, n, fromPublicValue<T>(alpha), fromPublicValue<T>(beta),        \
                           fromPublic<T>(a), lda);                                                 \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##laset(char uplo, int m, int n, PublicType<T> alpha,    \
                                                  PublicType<T> beta, PublicType<T>* a, int lda) { \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) {                                  \
            return zuli::hostLaset<T>(ctx, uplo, m, n, fromPublicValue<T>(alpha),                  \
                                      fromPublicValue<T>(beta), fromPublic<T>(a), lda);            \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##lascl(                                           \
        char type, int kl, int ku, zuli::ToRealT<T> cfrom, zuli::ToRealT<T> cto, int m, int n,     \
        PublicType<T>* a, int lda) {                                                               \
        return zuli::deviceRoutine<T>([&](const CallContext&) {                                    \
            zuli::lascl<T>(type, kl, ku, cfrom, cto, m, n, fromPublic<T>(a), lda);                 \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##lascl(char type, int kl, int ku,                       \
                                                  zuli::ToRealT<T> cfrom, zuli::ToRealT<T> cto,    \
                                                  int m, int n, PublicType<T>* a, int lda) {       \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) {                                  \
            return zuli::hostLascl<T>(ctx, type, kl, ku, cfrom, cto, m, n, fromPublic<T>(a), lda); \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##geNancheck(int m, int n, const PublicType<T>* a, \
                                                             int lda) {                            \
        return zuli::deviceRoutine<T>(                                                             \
            [&](const CallContext&) { zuli::geNancheck<T>(m, n, fromPublic<T>(a), lda); });        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##geNancheck(int m, int n, const PublicType<T>* a,       \
                                                       int lda) {                                  \
        return zuli::hostRoutine<T>([&](const CallContext&) {                                      \
            return zuli::hostNancheck<T>(m, n, fromPublic<T>(a), lda);                             \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##geTranspose(                                     \
        int m, int n, const PublicType<T>* a, int lda, PublicType<T>* b, int ldb) {                \
        return zuli::deviceRoutine<T>([&](const CallContext&) {                                    \
            zuli::geTranspose<T, false>(m, n, fromPublic<T>(a), lda, fromPublic<T>(b), ldb);       \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##geTranspose(int m, int n, const PublicType<T>* a,      \
                                                        int lda, PublicType<T>* b, int ldb) {      \
        return zuli::hostRoutine<T>([&](const CallContext&) {                                      \
            if (zuli::transposeArguments(m, n, a, lda, b, ldb))                                    \
                zuli::hostTranspose<T, false>(m, n, fromPublic<T>(a), lda, fromPublic<T>(b), ldb); \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##geTransposeInplace(int n, PublicType<T>* a,      \
                                                                     int lda) {                    \
        return zuli::deviceRoutine<T>([&](const CallContext&) {                                    \
            zuli::geTransposeInplace<T, false>(n, fromPublic<T>(a), lda);                          \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##geTransposeInplace(int n, PublicType<T>* a, int lda) { \
        return zuli::hostRoutine<T>([&](const CallContext&) {                                      \
            if (zuli::transposeInplaceArguments(n, a, lda))                                        \
                zuli::hostTransposeInplace<T, false>(n, fromPublic<T>(a), lda);                    \
        });                                                                                        \
    }

#define ZULI_AUX_COMPLEX_ENTRIES(L, T)                                                             \
    extern "C" ZULI_API zuliStatus zuliDevice##L##geTransposeConjugate(                            \
        int m, int n, const PublicType<T>* a, int lda, PublicType<T>* b, int ldb) {                \
        return zuli::deviceRoutine<T>([&](const CallContext&) {                                    \
            zuli::geTranspose<T, true>(m, n, fromPublic<T>(a), lda, fromPublic<T>(b), ldb);        \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##geTransposeConjugate(                                  \
        int m, int n, const PublicType<T>* a, int lda, PublicType<T>* b, int ldb) {                \
        return zuli::hostRoutine<T>([&](const CallContext&) {                                      \
            if (zuli::transposeArguments(m, n, a, lda, b, ldb))                                    \
                zuli::hostTranspose<T, true>(m, n, fromPublic<T>(a), lda, fromPublic<T>(b), ldb);  \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##geTransposeConjugateInplace(                     \
        int n, PublicType<T>* a, int lda) {                                                        \
        return zuli::deviceRoutine<T>([&](const CallContext&) {                                    \
            zuli::geTransposeInplace<T, true>(n, fromPublic<T>(a), lda);                           \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##geTransposeConjugateInplace(int n, PublicType<T>* a,   \
                                                                        int lda) {                 \
        return zuli::hostRoutine<T>([&](const CallContext&) {                                      \
            if (zuli::transposeInplaceArguments(n, a, lda))                                        \
                zuli::hostTransposeInplace<T, true>(n, fromPublic<T>(a), lda);                     \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##geConjugate(int m, int n, PublicType<T>* a,      \
                                                              int lda) {                           \
        return zuli::deviceRoutine<T>(                                                             \
            [&](const CallContext&) { zuli::geConjugate<T>(m, n, fromPublic<T>(a), lda); });       \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##geConjugate(int m, int n, PublicType<T>* a, int lda) { \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) {                                  \
            return zuli::hostConjugateMatrix<T>(ctx, m, n, fromPublic<T>(a), lda);                 \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##trConjugate(char uplo, char diag, int m, int n,  \
                                                              PublicType<T>* a, int lda) {         \
        return zuli::deviceRoutine<T>([&](const CallContext&) {                                    \
            zuli::trConjugate<T>(uplo, diag, m, n, fromPublic<T>(a), lda);                         \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##trConjugate(char uplo, char diag, int m, int n,        \
                                                        PublicType<T>* a, int lda) {               \
        return zuli::hostRoutine<T>([&](const CallContext& ctx) {                                  \
            return zuli::hostTrConjugate<T>(ctx, uplo, diag, m, n, fromPublic<T>(a), lda);         \
        });                                                                                        \
    }

// Precision conversions: NAME converts From (the routine's own precision L) to To.
#define ZULI_AUX_CONVERSION_ENTRIES(L, From, To, GE_NAME, TR_NAME)                                 \
    extern "C" ZULI_API zuliStatus zuliDevice##L##GE_NAME(int m, int n, const PublicType<From>* a, \
                                                          int lda, PublicType<To>* b, int ldb) {   \
        return zuli::deviceRoutine<From>([&](const CallContext&) {                                 \
            zuli::lag2<From, To>(m, n, fromPublic<From>(a), lda, fromPublic<To>(b), ldb);          \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##GE_NAME(int m, int n, const PublicType<From>* a,       \
                                                    int lda, PublicType<To>* b, int ldb) {         \
        return zuli::hostRoutine<From>([&](const CallContext& ctx) {                               \
            return zuli::hostLag2<From, To>(ctx, m, n, fromPublic<From>(a), lda,                   \
                                            fromPublic<To>(b), ldb);                               \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuliDevice##L##TR_NAME(                                         \
        char uplo, int n, const PublicType<From>* a, int lda, PublicType<To>* b, int ldb) {        \
        return zuli::deviceRoutine<From>([&](const CallContext&) {                                 \
            zuli::lat2<From, To>(uplo, n, fromPublic<From>(a), lda, fromPublic<To>(b), ldb);       \
        });                                                                                        \
    }                                                                                              \
    extern "C" ZULI_API zuliStatus zuli##L##TR_NAME(char uplo, int n, const PublicType<From>* a,   \
                                                    int lda, PublicType<To>* b, int ldb) {         \
        return zuli::hostRoutine<From>([&](const CallContext& ctx) {                               \
            return zuli::hostLat2<From, To>(ctx, uplo, n, fromPublic<From>(a), lda,                \
                                            fromPublic<To>(b), ldb);                               \
        });                                                                                        \
    }

ZULI_FOR_EACH_PRECISION(ZULI_AUX_ENTRIES)
ZULI_FOR_EACH_COMPLEX_PRECISION(ZULI_AUX_COMPLEX_ENTRIES)
ZULI_AUX_CONVERSION_ENTRIES(D, double, float, lag2s, lat2s)
ZULI_AUX_CONVERSION_ENTRIES(S, float, double, lag2d, lat2d)
ZULI_AUX_CONVERSION_ENTRIES(Z, zuli::Complex<double>, zuli::Complex<float>, lag2c, lat2c)
ZULI_AUX_CONVERSION_ENTRIES(C, zuli::Complex<float>, zuli::Complex<double>, lag2z, lat2z)

// ---- instantiations, for nested use by other routines ----------------------------------------

namespace zuli {

#define ZULI_AUX_INSTANTIATE(L, T)                                                     \
    template void lacpy<T>(char, int, int, const T*, int, T*, int);                    \
    template void laset<T>(char, int, int, T, T, T*, int);                             \
    template void lascl<T>(char, int, int, ToRealT<T>, ToRealT<T>, int, int, T*, int); \
    template void geNancheck<T>(int, int, const T*, int);                              \
    template void geTranspose<T, false>(int, int, const T*, int, T*, int);             \
    template void geTransposeInplace<T, false>(int, T*, int);                          \
    template void hostTranspose<T, false>(int, int, const T*, int, T*, int);           \
    template void hostTransposeInplace<T, false>(int, T*, int);
ZULI_FOR_EACH_PRECISION(ZULI_AUX_INSTANTIATE)
#undef ZULI_AUX_INSTANTIATE

#define ZULI_AUX_INSTANTIATE_COMPLEX(L, T)                                  \
    template void geTranspose<T, true>(int, int, const T*, int, T*, int);   \
    template void geTransposeInplace<T, true>(int, T*, int);                \
    template void hostTranspose<T, true>(int, int, const T*, int, T*, int); \
    template void hostTransposeInplace<T, true>(int, T*, int);              \
    template void geConjugate<T>(int, int, T*, int);                        \
    template void trConjugate<T>(char, char, int, int, T*, int);
ZULI_FOR_EACH_COMPLEX_PRECISION(ZULI_AUX_INSTANTIATE_COMPLEX)
#undef ZULI_AUX_INSTANTIATE_COMPLEX

template void lag2<double, float>(int, int, const double*, int, float*, int);
template void lag2<float, double>(int, int, const float*, int, double*, int);
template void lag2<Complex<double>, Complex<float>>(int, int, const Complex<double>*, int,
                                                    Complex<float>*, int);
template void lag2<Complex<float>, Complex<double>>(int, int, const Complex<float>*, int,
                                                    Complex<double>*, int);
template void lat2<double, float>(char, int, const double*, int, float*, int);
template void lat2<float, double>(char, int, const float*, int, double*, int);
template void lat2<Complex<double>, Complex<float>>(char, int, const Complex<double>*, int,
                                                    Complex<float>*, int);
template void lat2<Complex<float>, Complex<double>>(char, int, const Complex<float>*, int,
                                                    Complex<double>*, int);

}  // namespace zuli
