// auxiliary_kernels.cu - the element-wise kernels behind the exported utility routines, and
// their launchers. Every kernel takes its index map as the first template argument and one
// thread per element; threads outside the matrix (the last partial blocks) do nothing.
#include "kernels/auxiliary_kernels.h"

#include "kernels/device_math.cuh"
#include "kernels/launch.cuh"
#include "runtime/precision.h"
#include "kernels/maps/maps.h"
#include "runtime/matrix.h"

#include <cfloat>
#include <cstdint>

namespace zuli {

// ---- lacpy ---------------------------------------------------------------------------------

template <typename Map, typename T>
__global__ void LACPY_G_Kernel(int m, int n, const T* A, int lda, T* B, int ldb) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < uint64_t(m) && j < uint64_t(n)) *at(B, ldb, i, j) = *at(A, lda, i, j);
}

template <typename Map, typename T>
__global__ void LACPY_L_Kernel(int m, int n, const T* A, int lda, T* B, int ldb) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < uint64_t(m) && j < uint64_t(n) && i >= j) *at(B, ldb, i, j) = *at(A, lda, i, j);
}

template <typename Map, typename T>
__global__ void LACPY_U_Kernel(int m, int n, const T* A, int lda, T* B, int ldb) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < uint64_t(m) && j < uint64_t(n) && i <= j) *at(B, ldb, i, j) = *at(A, lda, i, j);
}

template <typename T>
void launchLacpy(char uplo, int m, int n, const T* a, int lda, T* b, int ldb, cudaStream_t stream) {
    if (m <= 0 || n <= 0) return;
    cudalib::Map2D map(m, n);
    if (uplo == 'L') {
        cudalib::launchOver(map, LACPY_L_Kernel<cudalib::Map2D, T>, stream, m, n, a, lda, b, ldb);
    } else if (uplo == 'U') {
        cudalib::launchOver(map, LACPY_U_Kernel<cudalib::Map2D, T>, stream, m, n, a, lda, b, ldb);
    } else {
        cudalib::launchOver(map, LACPY_G_Kernel<cudalib::Map2D, T>, stream, m, n, a, lda, b, ldb);
    }
}

// ---- laset ---------------------------------------------------------------------------------

template <typename T>
__global__ void LASET_k(char uplo, int m, int n, T alpha, T beta, T* A, int lda) {
    using Map = cudalib::Map2D;
    const uint64_t i = Map::row(), j = Map::column();
    if (i >= uint64_t(m) || j >= uint64_t(n)) return;
    if (i == j) {
        *at(A, lda, i, j) = beta;
    } else if ((uplo == 'U' && i < j) || (uplo == 'L' && i > j) || (uplo != 'U' && uplo != 'L')) {
        *at(A, lda, i, j) = alpha;
    }
}

template <typename T>
void launchLaset(char uplo, int m, int n, T alpha, T beta, T* a, int lda, cudaStream_t stream) {
    if (m <= 0 || n <= 0) return;
    cudalib::Map2D map(m, n);
    cudalib::launchOver(map, LASET_k<T>, stream, uplo, m, n, alpha, beta, a, lda);
}

// ---- lascl2 --------------------------------------------------------------------------------

template <typename Map, typename T>
__global__ void LASCL2_Kernel(int m, int n, const ToRealT<T>* D, T* A, int lda) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < uint64_t(m) && j < uint64_t(n)) *at(A, lda, i, j) = scaleBy(*at(A, lda, i, j), D[i]);
}

template <typename T>
void launchLascl2(int m, int n, const ToRealT<T>* d, T* a, int lda, cudaStream_t stream) {
    if (m <= 0 || n <= 0) return;
    cudalib::Map2D map(m, n);
    cudalib::launchOver(map, LASCL2_Kernel<cudalib::Map2D, T>, stream, m, n, d, a, lda);
}

// ---- lascl ---------------------------------------------------------------------------------

namespace {

// x * (cto / cfrom) in LAPACK's safe steps: while cto / cfrom cannot be formed without over- or
// underflow, multiply by the safe minimum or its reciprocal and move cfrom or cto toward the
// other. Each element repeats the same (cheap, bounded) sequence of multipliers that LAPACK
// applies to the whole matrix, so the result equals LAPACK's element by element.
template <typename T, typename R>
ZULI_MAP_DEVICE T safeScale(T x, R cfrom, R cto) {
    constexpr R smallNum = sizeof(R) == sizeof(float) ? R(FLT_MIN) : R(DBL_MIN);
    constexpr R bigNum = R(1) / smallNum;
    R cfromc = cfrom;
    R ctoc = cto;
    for (;;) {
        const R cfrom1 = cfromc * smallNum;
        R mul;
        bool done;
        if (cfrom1 == cfromc) {  // cfromc is an infinity: one multiplication, NaN if cto is one
            mul = ctoc / cfromc;
            done = true;
        } else {
            const R cto1 = ctoc / bigNum;
            if (cto1 == ctoc) {  // ctoc is 0 or an infinity: multiply by it alone
                mul = ctoc;
                done = true;
                cfromc = R(1);
            } else if (fabs(cfrom1) > fabs(ctoc) && ctoc != R(0)) {
                mul = smallNum;
                done = false;
                cfromc = cfrom1;
            } else if (fabs(cto1) > fabs(cfromc)) {
                mul = bigNum;
                done = false;
                ctoc = cto1;
            } else {
                mul = ctoc / cfromc;
                done = true;
                if (mul == R(1)) return x;
            }
        }
        x = scaleBy(x, mul);
        if (done) return x;
    }
}

}  // namespace

// Each kernel walks the m x n matrix (row i, column j) and scales the elements that its storage
// type holds; the band types find them at their packed storage rows.

template <typename Map, typename T, typename R>
__global__ void LASCL_G_Kernel(R cfrom, R cto, uint64_t m, uint64_t n, T* A, int lda) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < m && j < n) *at(A, lda, i, j) = safeScale(*at(A, lda, i, j), cfrom, cto);
}

template <typename Map, typename T, typename R>
__global__ void LASCL_L_Kernel(R cfrom, R cto, uint64_t m, uint64_t n, T* A, int lda) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < m && j < n && i >= j) *at(A, lda, i, j) = safeScale(*at(A, lda, i, j), cfrom, cto);
}

template <typename Map, typename T, typename R>
__global__ void LASCL_U_Kernel(R cfrom, R cto, uint64_t m, uint64_t n, T* A, int lda) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < m && j < n && i <= j) *at(A, lda, i, j) = safeScale(*at(A, lda, i, j), cfrom, cto);
}

// Upper Hessenberg: the upper triangle and the first subdiagonal.
template <typename Map, typename T, typename R>
__global__ void LASCL_H_Kernel(R cfrom, R cto, uint64_t m, uint64_t n, T* A, int lda) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < m && j < n && i <= j + 1) *at(A, lda, i, j) = safeScale(*at(A, lda, i, j), cfrom, cto);
}

// Lower half of a symmetric band matrix: element (i, j), j <= i <= j + kl, at storage row i - j.
template <typename Map, typename T, typename R>
__global__ void LASCL_B_Kernel(uint64_t kl, uint64_t ku, R cfrom, R cto, uint64_t m, uint64_t n,
                               T* A, int lda) {
    (void)ku;
    const uint64_t i = Map::row(), j = Map::column();
    if (i < m && j < n && i >= j && i <= j + kl)
        *at(A, lda, i - j, j) = safeScale(*at(A, lda, i - j, j), cfrom, cto);
}

// Upper half of a symmetric band matrix: element (i, j), j - ku <= i <= j, at storage row
// ku + i - j.
template <typename Map, typename T, typename R>
__global__ void LASCL_Q_Kernel(uint64_t kl, uint64_t ku, R cfrom, R cto, uint64_t m, uint64_t n,
                               T* A, int lda) {
    (void)kl;
    const uint64_t i = Map::row(), j = Map::column();
    if (i < m && j < n && i <= j && i + ku >= j)
        *at(A, lda, ku + i - j, j) = safeScale(*at(A, lda, ku + i - j, j), cfrom, cto);
}

// General band matrix in the storage of LAPACK's gbtrf (kl extra rows on top): element (i, j),
// j - ku <= i <= j + kl, at storage row kl + ku + i - j.
template <typename Map, typename T, typename R>
__global__ void LASCL_Z_Kernel(uint64_t kl, uint64_t ku, R cfrom, R cto, uint64_t m, uint64_t n,
                               T* A, int lda) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < m && j < n && i + ku >= j && i <= j + kl) {
        const uint64_t s = kl + ku + i - j;
        *at(A, lda, s, j) = safeScale(*at(A, lda, s, j), cfrom, cto);
    }
}

template <typename T>
void launchLascl(char type, int kl, int ku, ToRealT<T> cfrom, ToRealT<T> cto, int m, int n, T* a,
                 int lda, cudaStream_t stream) {
    using R = ToRealT<T>;
    using Map = cudalib::Map2D;
    if (m <= 0 || n <= 0) return;
    Map map(m, n);
    map.setBlockShape(16, 16);
    const uint64_t um = uint64_t(m), un = uint64_t(n);
    const uint64_t ukl = uint64_t(kl), uku = uint64_t(ku);
    switch (type) {
        case 'G':
            cudalib::launchOver(map, LASCL_G_Kernel<Map, T, R>, stream, cfrom, cto, um, un, a, lda);
            break;
        case 'L':
            cudalib::launchOver(map, LASCL_L_Kernel<Map, T, R>, stream, cfrom, cto, um, un, a, lda);
            break;
        case 'U':
            cudalib::launchOver(map, LASCL_U_Kernel<Map, T, R>, stream, cfrom, cto, um, un, a, lda);
            break;
        case 'H':
            cudalib::launchOver(map, LASCL_H_Kernel<Map, T, R>, stream, cfrom, cto, um, un, a, lda);
            break;
        case 'B':
            cudalib::launchOver(map, LASCL_B_Kernel<Map, T, R>, stream, ukl, uku, cfrom, cto, um,
                                un, a, lda);
            break;
        case 'Q':
            cudalib::launchOver(map, LASCL_Q_Kernel<Map, T, R>, stream, ukl, uku, cfrom, cto, um,
                                un, a, lda);
            break;
        case 'Z':
            cudalib::launchOver(map, LASCL_Z_Kernel<Map, T, R>, stream, ukl, uku, cfrom, cto, um,
                                un, a, lda);
            break;
        default:
            break;  // rejected by the argument checks
    }
}

// ---- NaN check -----------------------------------------------------------------------------

template <typename Map, typename T>
__global__ void Nancheck_k(int M, int N, const T* A, int LDA, int* flag) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < uint64_t(M) && j < uint64_t(N) && isnan(*at(A, LDA, i, j))) *flag = 1;
}

template <typename T>
void launchNancheck(int m, int n, const T* a, int lda, int* flag, cudaStream_t stream) {
    if (m <= 0 || n <= 0) return;
    cudalib::Map2D map(m, n);
    cudalib::launchOver(map, Nancheck_k<cudalib::Map2D, T>, stream, m, n, a, lda, flag);
}

// ---- transposition and conjugation ---------------------------------------------------------

template <typename T, bool Conjugate>
__global__ void Transpose_k(T* out, int ldout, const T* in, int ldin, int m, int n) {
    using Map = cudalib::Map2D;
    const uint64_t i = Map::row(), j = Map::column();
    if (i >= uint64_t(m) || j >= uint64_t(n)) return;
    const T x = *at(in, ldin, i, j);
    *at(out, ldout, j, i) = Conjugate ? conj(x) : x;
}

// The thread of (i, j) with i < j swaps the pair; the diagonal threads only conjugate. Each pair
// has exactly one owner, so no two threads touch the same element.
template <typename T, bool Conjugate>
__global__ void TransposeInplace_k(T* A, int lda, int n) {
    using Map = cudalib::Map2D;
    const uint64_t i = Map::row(), j = Map::column();
    if (i >= uint64_t(n) || j >= uint64_t(n) || i > j) return;
    if (i == j) {
        if (Conjugate) *at(A, lda, i, i) = conj(*at(A, lda, i, i));
        return;
    }
    const T upper = *at(A, lda, i, j);
    const T lower = *at(A, lda, j, i);
    *at(A, lda, i, j) = Conjugate ? conj(lower) : lower;
    *at(A, lda, j, i) = Conjugate ? conj(upper) : upper;
}

template <typename T, bool Conjugate>
void launchTranspose(int m, int n, const T* a, int lda, T* b, int ldb, cudaStream_t stream) {
    if (m <= 0 || n <= 0) return;
    cudalib::Map2D map(m, n);
    map.setBlockShape(16, 16);
    cudalib::launchOver(map, Transpose_k<T, Conjugate>, stream, b, ldb, a, lda, m, n);
}

template <typename T, bool Conjugate>
void launchTransposeInplace(int n, T* a, int lda, cudaStream_t stream) {
    if (n <= 0) return;
    cudalib::Map2D map(n, n);
    map.setBlockShape(16, 16);
    cudalib::launchOver(map, TransposeInplace_k<T, Conjugate>, stream, a, lda, n);
}

template <typename Map, typename T>
__global__ void ConjugateMatrix_k(int m, int n, T* A, int lda) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < uint64_t(m) && j < uint64_t(n)) *at(A, lda, i, j) = conj(*at(A, lda, i, j));
}

template <typename Map, typename T, bool Upper, bool Diagonal>
__global__ void ConjugateMatrixTriangular_k(int m, int n, T* A, int lda) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i >= uint64_t(m) || j >= uint64_t(n)) return;
    const bool inside = i == j ? Diagonal : (Upper ? i < j : i > j);
    if (inside) *at(A, lda, i, j) = conj(*at(A, lda, i, j));
}

template <typename T>
void launchConjugate(int m, int n, T* a, int lda, cudaStream_t stream) {
    if (m <= 0 || n <= 0) return;
    cudalib::Map2D map(m, n);
    cudalib::launchOver(map, ConjugateMatrix_k<cudalib::Map2D, T>, stream, m, n, a, lda);
}

template <typename T>
void launchConjugateTriangular(bool upper, bool includeDiagonal, int m, int n, T* a, int lda,
                               cudaStream_t stream) {
    using Map = cudalib::TriangularMap2D;
    if (m <= 0 || n <= 0) return;
    Map map(m, n);
    if (upper && includeDiagonal)
        cudalib::launchOver(map, ConjugateMatrixTriangular_k<Map, T, true, true>, stream, m, n, a,
                            lda);
    else if (upper)
        cudalib::launchOver(map, ConjugateMatrixTriangular_k<Map, T, true, false>, stream, m, n, a,
                            lda);
    else if (includeDiagonal)
        cudalib::launchOver(map, ConjugateMatrixTriangular_k<Map, T, false, true>, stream, m, n, a,
                            lda);
    else
        cudalib::launchOver(map, ConjugateMatrixTriangular_k<Map, T, false, false>, stream, m, n, a,
                            lda);
}

// ---- precision conversion ------------------------------------------------------------------

namespace {

// True when narrowing x to To would leave the finite range of To (an infinity included).
template <typename To, typename From>
ZULI_MAP_DEVICE bool beyondRange(const From& x) {
    using RTo = ToRealT<To>;
    using RFrom = ToRealT<From>;
    if constexpr (sizeof(RTo) >= sizeof(RFrom)) {
        (void)x;
        return false;  // widening: every value is representable
    } else {
        constexpr RFrom largest = RFrom(sizeof(RTo) == sizeof(float) ? FLT_MAX : DBL_MAX);
        const auto outside = [](RFrom v) { return v > largest || v < -largest; };
        if constexpr (IsComplexV<From>) {
            return outside(x.re) || outside(x.im);
        } else {
            return outside(x);
        }
    }
}

template <typename To, typename From>
ZULI_MAP_DEVICE To convertElement(const From& x) {
    if constexpr (IsComplexV<From>) {
        return To(x);  // Complex's explicit precision conversion
    } else {
        return static_cast<To>(x);
    }
}

}  // namespace

template <typename Map, typename From, typename To>
__global__ void PrecisionConvert_k(int m, int n, const From* A, int lda, To* B, int ldb,
                                   int* flag) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i >= uint64_t(m) || j >= uint64_t(n)) return;
    const From x = *at(A, lda, i, j);
    if (beyondRange<To>(x)) *flag = 1;
    *at(B, ldb, i, j) = convertElement<To>(x);
}

template <typename Map, typename From, typename To>
__global__ void PrecisionConvertTriangular_k(bool upper, int n, const From* A, int lda, To* B,
                                             int ldb, int* flag) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i >= uint64_t(n) || j >= uint64_t(n) || (upper ? i > j : i < j)) return;
    const From x = *at(A, lda, i, j);
    if (beyondRange<To>(x)) *flag = 1;
    *at(B, ldb, i, j) = convertElement<To>(x);
}

template <typename From, typename To>
void launchPrecisionConvert(int m, int n, const From* a, int lda, To* b, int ldb, int* flag,
                            cudaStream_t stream) {
    if (m <= 0 || n <= 0) return;
    cudalib::Map2D map(m, n);
    cudalib::launchOver(map, PrecisionConvert_k<cudalib::Map2D, From, To>, stream, m, n, a, lda, b,
                        ldb, flag);
}

template <typename From, typename To>
void launchPrecisionConvertTriangular(bool upper, int n, const From* a, int lda, To* b, int ldb,
                                      int* flag, cudaStream_t stream) {
    using Map = cudalib::TriangularMap2D;
    if (n <= 0) return;
    Map map(n, n);
    cudalib::launchOver(map, PrecisionConvertTriangular_k<Map, From, To>, stream, upper, n, a, lda,
                        b, ldb, flag);
}

// ---- instantiations ------------------------------------------------------------------------

#define ZULI_AUX_ALL(T)                                                                      \
    template void launchLacpy<T>(char, int, int, const T*, int, T*, int, cudaStream_t);      \
    template void launchLaset<T>(char, int, int, T, T, T*, int, cudaStream_t);               \
    template void launchLascl2<T>(int, int, const ToRealT<T>*, T*, int, cudaStream_t);       \
    template void launchLascl<T>(char, int, int, ToRealT<T>, ToRealT<T>, int, int, T*, int,  \
                                 cudaStream_t);                                              \
    template void launchNancheck<T>(int, int, const T*, int, int*, cudaStream_t);            \
    template void launchTranspose<T, false>(int, int, const T*, int, T*, int, cudaStream_t); \
    template void launchTransposeInplace<T, false>(int, T*, int, cudaStream_t);
ZULI_INSTANTIATE(ZULI_AUX_ALL)
#undef ZULI_AUX_ALL

#define ZULI_AUX_COMPLEX(T)                                                                 \
    template void launchTranspose<T, true>(int, int, const T*, int, T*, int, cudaStream_t); \
    template void launchTransposeInplace<T, true>(int, T*, int, cudaStream_t);              \
    template void launchConjugate<T>(int, int, T*, int, cudaStream_t);                      \
    template void launchConjugateTriangular<T>(bool, bool, int, int, T*, int, cudaStream_t);
ZULI_INSTANTIATE_COMPLEX(ZULI_AUX_COMPLEX)
#undef ZULI_AUX_COMPLEX

#define ZULI_AUX_CONVERT(From, To)                                                             \
    template void launchPrecisionConvert<From, To>(int, int, const From*, int, To*, int, int*, \
                                                   cudaStream_t);                              \
    template void launchPrecisionConvertTriangular<From, To>(bool, int, const From*, int, To*, \
                                                             int, int*, cudaStream_t);
ZULI_AUX_CONVERT(double, float)
ZULI_AUX_CONVERT(float, double)
ZULI_AUX_CONVERT(Complex<double>, Complex<float>)
ZULI_AUX_CONVERT(Complex<float>, Complex<double>)
#undef ZULI_AUX_CONVERT

}  // namespace zuli
