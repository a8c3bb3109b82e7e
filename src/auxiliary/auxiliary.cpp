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
#include "runtime/exports.h"
#include "runtime/host_call.h"
#include "runtime/memory.h"
#include "runtime/status.h"

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

// ---- device interface ----------------------------------------------------------------------

template <typename T>
void lacpy(const CallContext&, char uplo, int m, int n, const T* a, int lda, T* b, int ldb) {
    if (!lacpyArguments(uplo, m, n, a, lda, b, ldb)) return;
    launchLacpy(uplo, m, n, a, lda, b, ldb);
}

template <typename T>
void laset(const CallContext&, char uplo, int m, int n, T alpha, T beta, T* a, int lda) {
    if (!lasetArguments(uplo, m, n, a, lda)) return;
    launchLaset(uplo, m, n, alpha, beta, a, lda);
}

template <typename T>
void lascl(const CallContext&, char type, int kl, int ku, ToRealT<T> cfrom, ToRealT<T> cto, int m,
           int n, T* a, int lda) {
    if (!lasclArguments(type, kl, ku, cfrom, cto, m, n, a, lda)) return;
    launchLascl(type, kl, ku, cfrom, cto, m, n, a, lda);
}

template <typename T>
void geNancheck(const CallContext&, int m, int n, const T* a, int lda) {
    if (!nancheckArguments(m, n, a, lda)) return;
    DeviceFlag flag;
    launchNancheck(m, n, a, lda, flag.get());
    flag.raiseIfSet();
}

template <typename T>
void geTranspose(const CallContext&, int m, int n, const T* a, int lda, T* b, int ldb) {
    if (!transposeArguments(m, n, a, lda, b, ldb)) return;
    launchTranspose<T, false>(m, n, a, lda, b, ldb);
}

template <typename T>
void geTransposeConjugate(const CallContext&, int m, int n, const T* a, int lda, T* b, int ldb) {
    if (!transposeArguments(m, n, a, lda, b, ldb)) return;
    launchTranspose<T, true>(m, n, a, lda, b, ldb);
}

template <typename T>
void geTransposeInplace(const CallContext&, int n, T* a, int lda) {
    if (!transposeInplaceArguments(n, a, lda)) return;
    launchTransposeInplace<T, false>(n, a, lda);
}

template <typename T>
void geTransposeConjugateInplace(const CallContext&, int n, T* a, int lda) {
    if (!transposeInplaceArguments(n, a, lda)) return;
    launchTransposeInplace<T, true>(n, a, lda);
}

template <typename T>
void geConjugate(const CallContext&, int m, int n, T* a, int lda) {
    if (!conjugateArguments(m, n, a, lda)) return;
    launchConjugate(m, n, a, lda);
}

// diag 'D' conjugates the diagonal with the triangle; 'N' leaves the diagonal as it is (the
// triangle proper only).
template <typename T>
void trConjugate(const CallContext&, char uplo, char diag, int m, int n, T* a, int lda) {
    if (!trConjugateArguments(uplo, diag, m, n, a, lda)) return;
    launchConjugateTriangular(uplo == 'U', diag == 'D', m, n, a, lda);
}

template <typename From, typename To>
void lag2(const CallContext&, int m, int n, const From* a, int lda, To* b, int ldb) {
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
void lat2(const CallContext&, char uplo, int n, const From* a, int lda, To* b, int ldb) {
    if (!lat2Arguments(uplo, n, a, lda, b, ldb)) return;
    if constexpr (!isNarrowing<From, To>) {
        launchPrecisionConvertTriangular(uplo == 'U', n, a, lda, b, ldb,
                                         static_cast<int*>(nullptr));
    } else {
        DeviceFlag flag;
        launchPrecisionConvertTriangular(uplo == 'U', n, a, lda, b, ldb, flag.get());
        flag.raiseIfSet();
    }
}

// ---- host interface ------------------------------------------------------------------------

namespace host {

namespace {

// The transpositions on the host (no device involved): B(j, i) = A(i, j), conjugating by
// flipping the sign bit of the imaginary part when Conjugate.
template <typename T, bool Conjugate>
void transposeOnHost(int m, int n, const T* a, int lda, T* b, int ldb) {
    for (int64_t j = 0; j < n; ++j)
        for (int64_t i = 0; i < m; ++i)
            b[j + i * ldb] = hostConjugate<T, Conjugate>(a[i + j * lda]);
}

template <typename T, bool Conjugate>
void transposeInplaceOnHost(int n, T* a, int lda) {
    for (int64_t k = 0; k < n; ++k) {
        for (int64_t i = 0; i < k; ++i) {
            const T upperElement = a[i + k * lda];
            a[i + k * lda] = hostConjugate<T, Conjugate>(a[k + i * lda]);
            a[k + i * lda] = hostConjugate<T, Conjugate>(upperElement);
        }
        a[k + k * lda] = hostConjugate<T, Conjugate>(a[k + k * lda]);  // the diagonal, once
    }
}

}  // namespace

template <typename T>
CallResult lacpy(const CallContext& ctx, char uplo, int m, int n, const T* a, int lda, T* b,
                 int ldb) {
    if (!lacpyArguments(uplo, m, n, a, lda, b, ldb)) return {};
    HostArrayMirror<T> A(ctx, m, n, a, lda, MirrorIn);
    // Only one triangle may be written: B's other part must come back unchanged.
    HostArrayMirror<T> B(ctx, m, n, b, ldb, MirrorIn | MirrorOut);
    return runOnDevice<T>(
        [&](const CallContext& c) {
            zuli::lacpy<T>(c, uplo, m, n, A.device(), A.ld(), B.device(), B.ld());
        },
        B);
}

template <typename T>
CallResult laset(const CallContext& ctx, char uplo, int m, int n, T alpha, T beta, T* a, int lda) {
    if (!lasetArguments(uplo, m, n, a, lda)) return {};
    return runOnMirroredMatrix(ctx, m, n, a, lda, [&](const CallContext& c, T* d, int ld) {
        zuli::laset<T>(c, uplo, m, n, alpha, beta, d, ld);
    });
}

template <typename T>
CallResult lascl(const CallContext& ctx, char type, int kl, int ku, ToRealT<T> cfrom,
                 ToRealT<T> cto, int m, int n, T* a, int lda) {
    if (!lasclArguments(type, kl, ku, cfrom, cto, m, n, a, lda)) return {};
    const int rows = lasclStorageRows(type, kl, ku, m);
    return runOnMirroredMatrix(ctx, rows, n, a, lda, [&](const CallContext& c, T* d, int ld) {
        zuli::lascl<T>(c, type, kl, ku, cfrom, cto, m, n, d, ld);
    });
}

// The matrix goes to a device buffer of leading dimension max(1, lda); the device routine checks
// it there.
template <typename T>
CallResult geNancheck(const CallContext&, int m, int n, const T* a, int lda) {
    if (!nancheckArguments(m, n, a, lda)) return {};
    const int ld = std::max(1, lda);
    cudalib::ManagedMemory<T> copy(size_t(ld) * size_t(n));
    cudalib::checkCuda(cudaMemcpy2D(copy.get(), size_t(ld) * sizeof(T), a, size_t(lda) * sizeof(T),
                                    size_t(m) * sizeof(T), size_t(n), cudaMemcpyHostToDevice));
    return runOnDevice<T>(
        [&](const CallContext& c) { zuli::geNancheck<T>(c, m, n, copy.get(), ld); });
}

template <typename T>
void geTranspose(const CallContext&, int m, int n, const T* a, int lda, T* b, int ldb) {
    if (transposeArguments(m, n, a, lda, b, ldb)) transposeOnHost<T, false>(m, n, a, lda, b, ldb);
}

template <typename T>
void geTransposeConjugate(const CallContext&, int m, int n, const T* a, int lda, T* b, int ldb) {
    if (transposeArguments(m, n, a, lda, b, ldb)) transposeOnHost<T, true>(m, n, a, lda, b, ldb);
}

template <typename T>
void geTransposeInplace(const CallContext&, int n, T* a, int lda) {
    if (transposeInplaceArguments(n, a, lda)) transposeInplaceOnHost<T, false>(n, a, lda);
}

template <typename T>
void geTransposeConjugateInplace(const CallContext&, int n, T* a, int lda) {
    if (transposeInplaceArguments(n, a, lda)) transposeInplaceOnHost<T, true>(n, a, lda);
}

template <typename T>
CallResult geConjugate(const CallContext& ctx, int m, int n, T* a, int lda) {
    if (!conjugateArguments(m, n, a, lda)) return {};
    return runOnMirroredMatrix(ctx, m, n, a, lda, [&](const CallContext& c, T* d, int ld) {
        zuli::geConjugate<T>(c, m, n, d, ld);
    });
}

template <typename T>
CallResult trConjugate(const CallContext& ctx, char uplo, char diag, int m, int n, T* a, int lda) {
    if (!trConjugateArguments(uplo, diag, m, n, a, lda)) return {};
    return runOnMirroredMatrix(ctx, m, n, a, lda, [&](const CallContext& c, T* d, int ld) {
        zuli::trConjugate<T>(c, uplo, diag, m, n, d, ld);
    });
}

template <typename From, typename To>
CallResult lag2(const CallContext& ctx, int m, int n, const From* a, int lda, To* b, int ldb) {
    if (!lag2Arguments(m, n, a, lda, b, ldb)) return {};
    HostArrayMirror<From> A(ctx, m, n, a, lda, MirrorIn);
    HostArrayMirror<To> B(ctx, m, n, b, ldb, MirrorOut);
    return runOnDevice<From>(
        [&](const CallContext& c) {
            zuli::lag2<From, To>(c, m, n, A.device(), A.ld(), B.device(), B.ld());
        },
        B);
}

template <typename From, typename To>
CallResult lat2(const CallContext& ctx, char uplo, int n, const From* a, int lda, To* b, int ldb) {
    if (!lat2Arguments(uplo, n, a, lda, b, ldb)) return {};
    HostArrayMirror<From> A(ctx, n, n, a, lda, MirrorIn);
    // One triangle is written: the other must come back unchanged.
    HostArrayMirror<To> B(ctx, n, n, b, ldb, MirrorIn | MirrorOut);
    return runOnDevice<From>(
        [&](const CallContext& c) {
            zuli::lat2<From, To>(c, uplo, n, A.device(), A.ld(), B.device(), B.ld());
        },
        B);
}

}  // namespace host

// ---- instantiations, for nested use by other routines ----------------------------------------

#define ZULI_AUX_INSTANCES(T) \
    template void lacpy<T>(const CallContext&, char, int, int, const T*, int, T*, int);
ZULI_INSTANTIATE(ZULI_AUX_INSTANCES)
#undef ZULI_AUX_INSTANCES

template void lag2<double, float>(const CallContext&, int, int, const double*, int, float*, int);
template void lag2<float, double>(const CallContext&, int, int, const float*, int, double*, int);
template void lag2<Complex<double>, Complex<float>>(const CallContext&, int, int,
                                                    const Complex<double>*, int, Complex<float>*,
                                                    int);
template void lag2<Complex<float>, Complex<double>>(const CallContext&, int, int,
                                                    const Complex<float>*, int, Complex<double>*,
                                                    int);
template void lat2<double, float>(const CallContext&, char, int, const double*, int, float*, int);
template void lat2<Complex<double>, Complex<float>>(const CallContext&, char, int,
                                                    const Complex<double>*, int, Complex<float>*,
                                                    int);

}  // namespace zuli

// ---- exported entry points -----------------------------------------------------------------

// zuliSlacpy zuliDlacpy zuliClacpy zuliZlacpy
// zuliDeviceSlacpy zuliDeviceDlacpy zuliDeviceClacpy zuliDeviceZlacpy
ZULI_EXPORT(ALL, lacpy, (char uplo, int m, int n, const P* a, int lda, P* b, int ldb),
            (uplo, m, n, a, lda, b, ldb))
// zuliSlaset zuliDlaset zuliClaset zuliZlaset
// zuliDeviceSlaset zuliDeviceDlaset zuliDeviceClaset zuliDeviceZlaset
ZULI_EXPORT(ALL, laset, (char uplo, int m, int n, P alpha, P beta, P* a, int lda),
            (uplo, m, n, alpha, beta, a, lda))
// zuliSlascl zuliDlascl zuliClascl zuliZlascl
// zuliDeviceSlascl zuliDeviceDlascl zuliDeviceClascl zuliDeviceZlascl
ZULI_EXPORT(ALL, lascl, (char type, int kl, int ku, R cfrom, R cto, int m, int n, P* a, int lda),
            (type, kl, ku, cfrom, cto, m, n, a, lda))
// zuliSgeNancheck zuliDgeNancheck zuliCgeNancheck zuliZgeNancheck
// zuliDeviceSgeNancheck zuliDeviceDgeNancheck zuliDeviceCgeNancheck zuliDeviceZgeNancheck
ZULI_EXPORT(ALL, geNancheck, (int m, int n, const P* a, int lda), (m, n, a, lda))
// zuliSgeTranspose zuliDgeTranspose zuliCgeTranspose zuliZgeTranspose
// zuliDeviceSgeTranspose zuliDeviceDgeTranspose zuliDeviceCgeTranspose zuliDeviceZgeTranspose
ZULI_EXPORT(ALL, geTranspose, (int m, int n, const P* a, int lda, P* b, int ldb),
            (m, n, a, lda, b, ldb))
// zuliSgeTransposeInplace zuliDgeTransposeInplace zuliCgeTransposeInplace zuliZgeTransposeInplace
// zuliDeviceSgeTransposeInplace zuliDeviceDgeTransposeInplace zuliDeviceCgeTransposeInplace
// zuliDeviceZgeTransposeInplace
ZULI_EXPORT(ALL, geTransposeInplace, (int n, P* a, int lda), (n, a, lda))
// zuliCgeTransposeConjugate zuliZgeTransposeConjugate
// zuliDeviceCgeTransposeConjugate zuliDeviceZgeTransposeConjugate
ZULI_EXPORT(COMPLEX, geTransposeConjugate, (int m, int n, const P* a, int lda, P* b, int ldb),
            (m, n, a, lda, b, ldb))
// zuliCgeTransposeConjugateInplace zuliZgeTransposeConjugateInplace
// zuliDeviceCgeTransposeConjugateInplace zuliDeviceZgeTransposeConjugateInplace
ZULI_EXPORT(COMPLEX, geTransposeConjugateInplace, (int n, P* a, int lda), (n, a, lda))
// zuliCgeConjugate zuliZgeConjugate zuliDeviceCgeConjugate zuliDeviceZgeConjugate
ZULI_EXPORT(COMPLEX, geConjugate, (int m, int n, P* a, int lda), (m, n, a, lda))
// zuliCtrConjugate zuliZtrConjugate zuliDeviceCtrConjugate zuliDeviceZtrConjugate
ZULI_EXPORT(COMPLEX, trConjugate, (char uplo, char diag, int m, int n, P* a, int lda),
            (uplo, diag, m, n, a, lda))

// The precision conversions, named after the source precision: lag2s / lat2s take D to S, lag2d
// / lat2d S to D, lag2c / lat2c Z to C, lag2z / lat2z C to Z.
#define ZULI_CONVERSION_ROWS(L, GE, TR, TO)                                                        \
    ZULI_EXPORT_AS(L, L##GE, lag2, (T, TO::T),                                                     \
                   (int m, int n, const P* a, int lda, TO::P* b, int ldb), (m, n, a, lda, b, ldb)) \
    ZULI_EXPORT_AS(L, L##TR, lat2, (T, TO::T),                                                     \
                   (char uplo, int n, const P* a, int lda, TO::P* b, int ldb),                     \
                   (uplo, n, a, lda, b, ldb))
// zuliDlag2s zuliDlat2s zuliDeviceDlag2s zuliDeviceDlat2s
ZULI_CONVERSION_ROWS(D, lag2s, lat2s, S)
// zuliSlag2d zuliSlat2d zuliDeviceSlag2d zuliDeviceSlat2d
ZULI_CONVERSION_ROWS(S, lag2d, lat2d, D)
// zuliZlag2c zuliZlat2c zuliDeviceZlag2c zuliDeviceZlat2c
ZULI_CONVERSION_ROWS(Z, lag2c, lat2c, C)
// zuliClag2z zuliClat2z zuliDeviceClag2z zuliDeviceClat2z
ZULI_CONVERSION_ROWS(C, lag2z, lat2z, Z)
