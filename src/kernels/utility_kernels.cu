// utility_kernels.cu - the building-block kernels (fills, copies, scaling, conjugation, norms,
// machine parameters, typed memset) and their launchers.
#include "kernels/utility_kernels.h"

#include "kernels/device_math.cuh"
#include "kernels/launch.cuh"
#include "runtime/precision.h"
#include "kernels/maps/maps.h"
#include "runtime/matrix.h"

#include <cfloat>

namespace zuli {

namespace {

// The larger of two partial maxima, a NaN winning (so that a NaN reaches the result).
template <typename R>
ZULI_MAP_DEVICE R maxOrNaN(R a, R b) {
    return (b > a || isnan(b)) ? b : a;
}

constexpr unsigned kReduceThreads = 256;

// Block-wide reduction of one value per thread (all threads must call it).
template <bool Max, typename R>
ZULI_MAP_DEVICE R reduceBlock(R value, R* shared) {
    const unsigned t = threadIdx.x + threadIdx.y * blockDim.x;
    const unsigned count = blockDim.x * blockDim.y;
    shared[t] = value;
    __syncthreads();
    for (unsigned half = kReduceThreads / 2; half > 0; half /= 2) {
        if (t < half && t + half < count)
            shared[t] = Max ? maxOrNaN(shared[t], shared[t + half]) : shared[t] + shared[t + half];
        __syncthreads();
    }
    return shared[0];
}

}  // namespace

// ---- fills ---------------------------------------------------------------------------------

template <typename Map, int V, typename T>
__global__ void SetMatrix_k(int M, int N, T* A, int LDA) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < uint64_t(M) && j < uint64_t(N)) *at(A, LDA, i, j) = fromInt<T>(V);
}

template <typename Map, int V, typename T>
__global__ void SetVector_k(int n, T* x, int incx) {
    const uint64_t k = Map::index();
    if (k < uint64_t(n)) x[k * uint64_t(incx)] = fromInt<T>(V);
}

template <int V, typename T>
__global__ void SetSingle_k(T* A) {
    *A = fromInt<T>(V);
}

template <typename Map, typename T>
__global__ void SetTriangularMatrix_k(bool upper, bool includeDiagonal, int m, int n, T* A, int lda,
                                      T value) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i >= uint64_t(m) || j >= uint64_t(n)) return;
    if (i == j ? includeDiagonal : (upper ? i < j : i > j)) *at(A, lda, i, j) = value;
}

template <typename T>
void launchSetMatrix(int value, int m, int n, T* a, int lda, cudaStream_t stream) {
    cudalib::Map2D map(m > 0 ? m : 0, n > 0 ? n : 0);
    if (value == 0)
        cudalib::launchOver(map, SetMatrix_k<cudalib::Map2D, 0, T>, stream, m, n, a, lda);
    else
        cudalib::launchOver(map, SetMatrix_k<cudalib::Map2D, 1, T>, stream, m, n, a, lda);
}

template <typename T>
void launchSetVector(int value, int n, T* x, int incx, cudaStream_t stream) {
    cudalib::Map1D map(n > 0 ? n : 0);
    if (value == 0)
        cudalib::launchOver(map, SetVector_k<cudalib::Map1D, 0, T>, stream, n, x, incx);
    else
        cudalib::launchOver(map, SetVector_k<cudalib::Map1D, 1, T>, stream, n, x, incx);
}

template <typename T>
void launchSetSingle(int value, T* a, cudaStream_t stream) {
    if (value == 0)
        cudalib::launch(SetSingle_k<0, T>, dim3(1), dim3(1), stream, a);
    else
        cudalib::launch(SetSingle_k<1, T>, dim3(1), dim3(1), stream, a);
}

template <typename T>
void launchSetTriangularMatrix(bool upper, bool includeDiagonal, int m, int n, T* a, int lda,
                               T value, cudaStream_t stream) {
    using Map = cudalib::TriangularMap2D;
    Map map(m > 0 ? m : 0, n > 0 ? n : 0);
    cudalib::launchOver(map, SetTriangularMatrix_k<Map, T>, stream, upper, includeDiagonal, m, n, a,
                        lda, value);
}

// ---- scaling and copies --------------------------------------------------------------------

template <typename Map, typename T, bool Multiply>
__global__ void Scale_k(int n, const T* alpha, T* x, int incx) {
    const uint64_t k = Map::index();
    if (k >= uint64_t(n)) return;
    T& e = x[k * uint64_t(incx)];
    e = Multiply ? e * *alpha : e / *alpha;
}

template <typename Map, typename T>
__global__ void CopyMatrix_k(int m, int n, const T* A, int lda, T* B, int ldb) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < uint64_t(m) && j < uint64_t(n)) *at(B, ldb, i, j) = *at(A, lda, i, j);
}

template <typename Map, typename T>
__global__ void CopyVector_k(int n, const T* x, int incx, T* y, int incy) {
    const uint64_t k = Map::index();
    if (k < uint64_t(n)) y[k * uint64_t(incy)] = x[k * uint64_t(incx)];
}

template <typename T>
__global__ void CopySingle_k(const T* a, T* b) {
    *b = *a;
}

template <typename Map, typename R>
__global__ void CopyRealToComplex_k(int m, int n, const R* A, int lda, Complex<R>* B, int ldb) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < uint64_t(m) && j < uint64_t(n)) *at(B, ldb, i, j) = Complex<R>(*at(A, lda, i, j), R(0));
}

template <typename Map, typename R>
__global__ void CopyVectorRealToComplex_k(int n, const R* x, int incx, Complex<R>* y, int incy) {
    const uint64_t k = Map::index();
    if (k < uint64_t(n)) y[k * uint64_t(incy)] = Complex<R>(x[k * uint64_t(incx)], R(0));
}

template <typename Map, typename R>
__global__ void CopyComplexToReal_k(int m, int n, const Complex<R>* A, int lda, R* B, int ldb) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i < uint64_t(m) && j < uint64_t(n)) *at(B, ldb, i, j) = at(A, lda, i, j)->re;
}

template <typename T>
__global__ void MakeRealSingle_k(T* A) {
    A->im = 0;
}

template <typename Map, typename T>
__global__ void ConjugateVector_k(int n, T* x, int incx) {
    const uint64_t k = Map::index();
    if (k < uint64_t(n)) x[k * uint64_t(incx)] = conj(x[k * uint64_t(incx)]);
}

template <typename Map, typename T>
__global__ void TypedMemset_k(uint64_t n, T value, T* x) {
    const uint64_t k = Map::index();
    if (k < n) x[k] = value;
}

template <typename T>
void launchScale(bool multiply, int n, const T* alpha, T* x, int incx, cudaStream_t stream) {
    cudalib::Map1D map(n > 0 ? n : 0);
    if (multiply)
        cudalib::launchOver(map, Scale_k<cudalib::Map1D, T, true>, stream, n, alpha, x, incx);
    else
        cudalib::launchOver(map, Scale_k<cudalib::Map1D, T, false>, stream, n, alpha, x, incx);
}

template <typename T>
void launchCopyMatrix(int m, int n, const T* a, int lda, T* b, int ldb, cudaStream_t stream) {
    cudalib::Map2D map(m > 0 ? m : 0, n > 0 ? n : 0);
    cudalib::launchOver(map, CopyMatrix_k<cudalib::Map2D, T>, stream, m, n, a, lda, b, ldb);
}

template <typename T>
void launchCopyVector(int n, const T* x, int incx, T* y, int incy, cudaStream_t stream) {
    cudalib::Map1D map(n > 0 ? n : 0);
    cudalib::launchOver(map, CopyVector_k<cudalib::Map1D, T>, stream, n, x, incx, y, incy);
}

template <typename T>
void launchCopySingle(const T* a, T* b, cudaStream_t stream) {
    cudalib::launch(CopySingle_k<T>, dim3(1), dim3(1), stream, a, b);
}

template <typename R>
void launchCopyRealToComplex(int m, int n, const R* a, int lda, Complex<R>* b, int ldb,
                             cudaStream_t stream) {
    cudalib::Map2D map(m > 0 ? m : 0, n > 0 ? n : 0);
    cudalib::launchOver(map, CopyRealToComplex_k<cudalib::Map2D, R>, stream, m, n, a, lda, b, ldb);
}

template <typename R>
void launchCopyVectorRealToComplex(int n, const R* x, int incx, Complex<R>* y, int incy,
                                   cudaStream_t stream) {
    cudalib::Map1D map(n > 0 ? n : 0);
    cudalib::launchOver(map, CopyVectorRealToComplex_k<cudalib::Map1D, R>, stream, n, x, incx, y,
                        incy);
}

template <typename R>
void launchCopyComplexToReal(int m, int n, const Complex<R>* a, int lda, R* b, int ldb,
                             cudaStream_t stream) {
    cudalib::Map2D map(m > 0 ? m : 0, n > 0 ? n : 0);
    cudalib::launchOver(map, CopyComplexToReal_k<cudalib::Map2D, R>, stream, m, n, a, lda, b, ldb);
}

template <typename T>
void launchMakeRealSingle(T* a, cudaStream_t stream) {
    cudalib::launch(MakeRealSingle_k<T>, dim3(1), dim3(1), stream, a);
}

template <typename T>
void launchConjugateVector(int n, T* x, int incx, cudaStream_t stream) {
    cudalib::Map1D map(n > 0 ? n : 0);
    cudalib::launchOver(map, ConjugateVector_k<cudalib::Map1D, T>, stream, n, x, incx);
}

template <typename T>
void launchTypedMemset(int64_t n, T value, T* x, cudaStream_t stream) {
    // The map's extent is 32-bit: larger arrays go in slices.
    constexpr int64_t slice = int64_t(1) << 30;
    for (int64_t done = 0; done < n; done += slice) {
        const int64_t count = n - done < slice ? n - done : slice;
        cudalib::StaticMap1D<128> map{static_cast<uint32_t>(count)};
        cudalib::launchOver(map, TypedMemset_k<cudalib::StaticMap1D<128>, T>, stream,
                            uint64_t(count), value, x + done);
    }
}

// ---- norms ---------------------------------------------------------------------------------

// Per 16 x 16 block: the largest |a(i, j)| (M) or the sum of |a(i, j)|^2 (F).
template <typename Map, typename T, typename R>
__global__ void LANGE_M_k(int m, int n, const T* A, int lda, R* blockAbsSum) {
    __shared__ R partial[kReduceThreads];
    const uint64_t i = Map::row(), j = Map::column();
    const R v = (i < uint64_t(m) && j < uint64_t(n)) ? abs(*at(A, lda, i, j)) : R(0);
    const R best = reduceBlock<true>(v, partial);
    if (threadIdx.x == 0 && threadIdx.y == 0)
        blockAbsSum[blockIdx.x + blockIdx.y * gridDim.x] = best;
}

template <typename Map, typename T, typename R>
__global__ void LANGE_F_k(int m, int n, const T* A, int lda, R* blockAbsSum) {
    __shared__ R partial[kReduceThreads];
    const uint64_t i = Map::row(), j = Map::column();
    R v = R(0);
    if (i < uint64_t(m) && j < uint64_t(n)) v = norm(*at(A, lda, i, j));
    const R sum = reduceBlock<false>(v, partial);
    if (threadIdx.x == 0 && threadIdx.y == 0)
        blockAbsSum[blockIdx.x + blockIdx.y * gridDim.x] = sum;
}

// One block per column (column-wise map: the one-norm) or per row (row-wise map: the
// infinity norm): the sum of |a| along the line.
template <typename Map, typename T, typename R>
__global__ void LANGE_OI_k(int m, int n, const T* A, int lda, R* blockAbsSum) {
    __shared__ R partial[kReduceThreads];
    constexpr bool columns = std::is_same_v<Map, cudalib::StaticColumnWiseMap<256>>;
    const uint64_t line = Map::line();
    const uint64_t length = columns ? uint64_t(m) : uint64_t(n);
    R sum = R(0);
    for (uint64_t k = Map::first(); k < length; k += Map::stride()) {
        const uint64_t i = columns ? k : line, j = columns ? line : k;
        sum += abs(*at(A, lda, i, j));
    }
    const R total = reduceBlock<false>(sum, partial);
    if (threadIdx.x == 0) blockAbsSum[line] = total;
}

// One block of 256 threads reduces n partial results to *result (the square root of the sum
// when takeRoot).
template <typename R>
__global__ void findMaxValue_k(int n, const R* values, R* result) {
    __shared__ R partial[kReduceThreads];
    R best = R(0);
    for (uint64_t k = threadIdx.x; k < uint64_t(n); k += blockDim.x)
        best = maxOrNaN(best, values[k]);
    const R total = reduceBlock<true>(best, partial);
    if (threadIdx.x == 0) *result = total;
}

template <typename R>
__global__ void findSum_k(int n, const R* values, R* result, bool takeRoot) {
    __shared__ R partial[kReduceThreads];
    R sum = R(0);
    for (uint64_t k = threadIdx.x; k < uint64_t(n); k += blockDim.x) sum += values[k];
    const R total = reduceBlock<false>(sum, partial);
    if (threadIdx.x == 0) *result = takeRoot ? sqrt(total) : total;
}

int64_t langeWorkspace(char norm, int m, int n) {
    if (m <= 0 || n <= 0) return 0;
    switch (norm) {
        case '1':
        case 'O':
            return n;
        case 'I':
            return m;
        default: {
            const cudalib::StaticMap2D<16, 16> map(m, n);
            const dim3 g = map.grid();
            return int64_t(g.x) * g.y;
        }
    }
}

template <typename T>
void launchLange(char norm, int m, int n, const T* a, int lda, ToRealT<T>* work, ToRealT<T>* result,
                 cudaStream_t stream) {
    using R = ToRealT<T>;
    const dim3 one(1), reduce(kReduceThreads);
    if (m <= 0 || n <= 0) {
        cudalib::launch(SetSingle_k<0, R>, one, one, stream, result);
        return;
    }
    const int parts = int(langeWorkspace(norm, m, n));
    if (norm == '1' || norm == 'O') {
        using Map = cudalib::StaticColumnWiseMap<256>;
        cudalib::launchOver(Map(m, n), LANGE_OI_k<Map, T, R>, stream, m, n, a, lda, work);
        cudalib::launch(findMaxValue_k<R>, one, reduce, stream, parts, static_cast<const R*>(work),
                        result);
    } else if (norm == 'I') {
        using Map = cudalib::StaticRowWiseMap<256>;
        cudalib::launchOver(Map(m, n), LANGE_OI_k<Map, T, R>, stream, m, n, a, lda, work);
        cudalib::launch(findMaxValue_k<R>, one, reduce, stream, parts, static_cast<const R*>(work),
                        result);
    } else if (norm == 'F' || norm == 'E') {
        using Map = cudalib::StaticMap2D<16, 16>;
        cudalib::launchOver(Map(m, n), LANGE_F_k<Map, T, R>, stream, m, n, a, lda, work);
        cudalib::launch(findSum_k<R>, one, reduce, stream, parts, static_cast<const R*>(work),
                        result, true);
    } else {
        using Map = cudalib::StaticMap2D<16, 16>;
        cudalib::launchOver(Map(m, n), LANGE_M_k<Map, T, R>, stream, m, n, a, lda, work);
        cudalib::launch(findMaxValue_k<R>, one, reduce, stream, parts, static_cast<const R*>(work),
                        result);
    }
}

// ---- sums, differences, complements ----------------------------------------------------

// Thread (i, j) owns element (i, j) of op_B(B), stored at B(i, j) or B(j, i).
template <typename Map, typename T, bool TransA, bool TransB, bool Subtract>
ZULI_MAP_DEVICE void combineElement(int m, int n, const T* A, int lda, T* B, int ldb) {
    const uint64_t i = Map::row(), j = Map::column();
    if (i >= uint64_t(m) || j >= uint64_t(n)) return;
    const T a = TransA ? *at(A, lda, j, i) : *at(A, lda, i, j);
    T& b = TransB ? *at(B, ldb, j, i) : *at(B, ldb, i, j);
    b = Subtract ? a - b : a + b;
}

#define ZULI_COMBINE_KERNEL(NAME, TA, TB, SUB)                               \
    template <typename Map, typename T>                                      \
    __global__ void NAME(int m, int n, const T* A, int lda, T* B, int ldb) { \
        combineElement<Map, T, TA, TB, SUB>(m, n, A, lda, B, ldb);           \
    }
ZULI_COMBINE_KERNEL(SubtractMatrix_NN_k, false, false, true)
ZULI_COMBINE_KERNEL(SubtractMatrix_NT_k, false, true, true)
ZULI_COMBINE_KERNEL(SubtractMatrix_TN_k, true, false, true)
ZULI_COMBINE_KERNEL(SubtractMatrix_TT_k, true, true, true)
ZULI_COMBINE_KERNEL(MADD_NN_k, false, false, false)
ZULI_COMBINE_KERNEL(MADD_NT_k, false, true, false)
ZULI_COMBINE_KERNEL(MADD_TN_k, true, false, false)
ZULI_COMBINE_KERNEL(MADD_TT_k, true, true, false)
#undef ZULI_COMBINE_KERNEL

namespace {
bool transposed(char op) {
    return op == 'T' || op == 't' || op == 'C' || op == 'c';
}
}  // namespace

template <typename T>
void launchSubtractMatrix(char opA, char opB, int m, int n, const T* a, int lda, T* b, int ldb,
                          cudaStream_t stream) {
    using Map = cudalib::Map2D;
    const Map map(m > 0 ? m : 0, n > 0 ? n : 0);
    const bool ta = transposed(opA), tb = transposed(opB);
    auto* kernel = ta ? (tb ? SubtractMatrix_TT_k<Map, T> : SubtractMatrix_TN_k<Map, T>)
                      : (tb ? SubtractMatrix_NT_k<Map, T> : SubtractMatrix_NN_k<Map, T>);
    cudalib::launchOver(map, kernel, stream, m, n, a, lda, b, ldb);
}

template <typename T>
void launchAddMatrix(char opA, char opB, int m, int n, const T* a, int lda, T* b, int ldb,
                     cudaStream_t stream) {
    using Map = cudalib::Map2D;
    const Map map(m > 0 ? m : 0, n > 0 ? n : 0);
    const bool ta = transposed(opA), tb = transposed(opB);
    auto* kernel = ta ? (tb ? MADD_TT_k<Map, T> : MADD_TN_k<Map, T>)
                      : (tb ? MADD_NT_k<Map, T> : MADD_NN_k<Map, T>);
    cudalib::launchOver(map, kernel, stream, m, n, a, lda, b, ldb);
}

template <typename Map, typename T>
__global__ void ComplementVector_k(int n, T* x, int incx) {
    const uint64_t k = Map::index();
    if (k < uint64_t(n)) x[k * uint64_t(incx)] = fromInt<T>(1) - x[k * uint64_t(incx)];
}

template <typename T>
__global__ void ComplementSingle_k(T* a) {
    *a = fromInt<T>(1) - *a;
}

template <typename T>
void launchComplementVector(int n, T* x, int incx, cudaStream_t stream) {
    cudalib::Map1D map(n > 0 ? n : 0);
    cudalib::launchOver(map, ComplementVector_k<cudalib::Map1D, T>, stream, n, x, incx);
}

template <typename T>
void launchComplementSingle(T* a, cudaStream_t stream) {
    cudalib::launch(ComplementSingle_k<T>, dim3(1), dim3(1), stream, a);
}

// ---- Hermitian one-norm --------------------------------------------------------------------

// One block per column j: the sum of |a(i, j)| over the whole column of the Hermitian matrix,
// the half outside the stored triangle read from row j of that triangle.
template <typename Map, typename T, typename R>
__global__ void LANHE_O_k(bool upper, int n, const T* A, int lda, R* blockAbsSum) {
    __shared__ R partial[kReduceThreads];
    const uint64_t j = Map::line();
    R sum = R(0);
    for (uint64_t i = Map::first(); i < uint64_t(n); i += Map::stride()) {
        if (i == j) {
            sum += fabs(real(*at(A, lda, j, j)));
        } else {
            const bool stored = upper ? i < j : i > j;
            sum += abs(stored ? *at(A, lda, i, j) : *at(A, lda, j, i));
        }
    }
    const R total = reduceBlock<false>(sum, partial);
    if (threadIdx.x == 0) blockAbsSum[j] = total;
}

template <typename T>
void launchLanheOne(bool upper, int n, const T* a, int lda, ToRealT<T>* work, ToRealT<T>* result,
                    cudaStream_t stream) {
    using R = ToRealT<T>;
    using Map = cudalib::StaticColumnWiseMap<256>;
    if (n <= 0) {
        cudalib::launch(SetSingle_k<0, R>, dim3(1), dim3(1), stream, result);
        return;
    }
    cudalib::launchOver(Map(n, n), LANHE_O_k<Map, T, R>, stream, upper, n, a, lda, work);
    cudalib::launch(findMaxValue_k<R>, dim3(1), dim3(kReduceThreads), stream, n,
                    static_cast<const R*>(work), result);
}

// ---- machine parameters --------------------------------------------------------------------

// LAPACK's values for IEEE arithmetic with rounding: eps is half the spacing at 1.
template <typename R>
__global__ void lamch_k(char cmach, R* result) {
    constexpr bool single = sizeof(R) == sizeof(float);
    const R eps = single ? R(FLT_EPSILON / 2) : R(DBL_EPSILON / 2);
    const R tiny = single ? R(FLT_MIN) : R(DBL_MIN);
    R v = R(0);
    switch (cmach) {
        case 'E':
            v = eps;
            break;
        case 'S':
            v = tiny;
            break;  // 1 / huge is smaller than tiny in IEEE arithmetic
        case 'B':
            v = R(2);
            break;
        case 'P':
            v = eps * R(2);
            break;
        case 'N':
            v = single ? R(FLT_MANT_DIG) : R(DBL_MANT_DIG);
            break;
        case 'R':
            v = R(1);
            break;
        case 'M':
            v = single ? R(FLT_MIN_EXP) : R(DBL_MIN_EXP);
            break;
        case 'U':
            v = tiny;
            break;
        case 'L':
            v = single ? R(FLT_MAX_EXP) : R(DBL_MAX_EXP);
            break;
        case 'O':
            v = single ? R(FLT_MAX) : R(DBL_MAX);
            break;
        default:
            break;
    }
    *result = v;
}

template <typename R>
void launchLamch(char cmach, R* result, cudaStream_t stream) {
    cudalib::launch(lamch_k<R>, dim3(1), dim3(1), stream, cmach, result);
}

// ---- instantiations ------------------------------------------------------------------------

#define ZULI_UTIL_ALL(T)                                                                        \
    template void launchSetMatrix<T>(int, int, int, T*, int, cudaStream_t);                     \
    template void launchSetVector<T>(int, int, T*, int, cudaStream_t);                          \
    template void launchSetSingle<T>(int, T*, cudaStream_t);                                    \
    template void launchSetTriangularMatrix<T>(bool, bool, int, int, T*, int, T, cudaStream_t); \
    template void launchScale<T>(bool, int, const T*, T*, int, cudaStream_t);                   \
    template void launchCopyMatrix<T>(int, int, const T*, int, T*, int, cudaStream_t);          \
    template void launchCopyVector<T>(int, const T*, int, T*, int, cudaStream_t);               \
    template void launchCopySingle<T>(const T*, T*, cudaStream_t);                              \
    template void launchTypedMemset<T>(int64_t, T, T*, cudaStream_t);                           \
    template void launchLange<T>(char, int, int, const T*, int, ToRealT<T>*, ToRealT<T>*,       \
                                 cudaStream_t);
ZULI_INSTANTIATE(ZULI_UTIL_ALL)
#undef ZULI_UTIL_ALL

#define ZULI_UTIL_MORE(T)                                                                         \
    template void launchSubtractMatrix<T>(char, char, int, int, const T*, int, T*, int,           \
                                          cudaStream_t);                                          \
    template void launchAddMatrix<T>(char, char, int, int, const T*, int, T*, int, cudaStream_t); \
    template void launchComplementVector<T>(int, T*, int, cudaStream_t);                          \
    template void launchComplementSingle<T>(T*, cudaStream_t);                                    \
    template void launchLanheOne<T>(bool, int, const T*, int, ToRealT<T>*, ToRealT<T>*,           \
                                    cudaStream_t);
ZULI_INSTANTIATE(ZULI_UTIL_MORE)
#undef ZULI_UTIL_MORE

template void launchTypedMemset<int>(int64_t, int, int*, cudaStream_t);

#define ZULI_UTIL_REAL(R)                                                                 \
    template void launchCopyRealToComplex<R>(int, int, const R*, int, Complex<R>*, int,   \
                                             cudaStream_t);                               \
    template void launchCopyVectorRealToComplex<R>(int, const R*, int, Complex<R>*, int,  \
                                                   cudaStream_t);                         \
    template void launchCopyComplexToReal<R>(int, int, const Complex<R>*, int, R*, int,   \
                                             cudaStream_t);                               \
    template void launchMakeRealSingle<Complex<R>>(Complex<R>*, cudaStream_t);            \
    template void launchConjugateVector<Complex<R>>(int, Complex<R>*, int, cudaStream_t); \
    template void launchLamch<R>(char, R*, cudaStream_t);
ZULI_INSTANTIATE_REAL(ZULI_UTIL_REAL)
#undef ZULI_UTIL_REAL

}  // namespace zuli
