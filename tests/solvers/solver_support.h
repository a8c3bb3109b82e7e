// solver_support.h - what the solver tests share: device copies of host arrays, the host LAPACK
// as reference, error measures, and the failure sweep that injects every kind of fault at every
// point a routine reaches.
#pragma once

#include "blas/blas_test_support.h"
#include "runtime/host_lapack.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace solver_test {

using runtime_test::kEmulated;

using blas_test::AllPrecisions;
using blas_test::Api;
using blas_test::kApis;
using blas_test::magnitude;
using blas_test::makeScalar;
using blas_test::Real;
using zuli::Complex;
using zuli::blas::detail::pick;

template <typename T>
constexpr double epsilon() {
    return std::numeric_limits<Real<T>>::epsilon();
}

// A column-major m x n host matrix with leading dimension ld, random entries in [-1, 1] (both
// parts for complex). `data` holds exactly ld x n elements (device copies are made from it, and
// the emulator catches a routine that strays past them), but its allocation, copies included,
// reaches one column further: the host LAPACK's row reflectors read up to there when the matrix
// is a reference computation's operand (zuli::lapack::reflectorSlack).
template <typename T>
struct Matrix {
    int m = 0, n = 0, ld = 1;
    std::vector<T> data;

    Matrix(int rows, int cols, int leading, std::mt19937& rng) : Matrix(rows, cols, leading) {
        std::uniform_real_distribution<double> u(-1.0, 1.0);
        for (T& v : data) v = makeScalar<T>(u(rng), u(rng));
    }
    Matrix(int rows, int cols, int leading) : m(rows), n(cols), ld(leading) {
        const size_t size = size_t(std::max(1, leading)) * std::max(1, cols);
        reserveSlack(size);
        data.resize(size);
    }
    Matrix(int rows, int cols, std::mt19937& rng) : Matrix(rows, cols, std::max(1, rows), rng) {}
    Matrix(const Matrix& other) : m(other.m), n(other.n), ld(other.ld) {
        reserveSlack(other.data.size());
        data = other.data;
    }
    Matrix(Matrix&&) noexcept = default;
    Matrix& operator=(const Matrix& other) {
        if (this != &other) *this = Matrix(other);
        return *this;
    }
    Matrix& operator=(Matrix&&) noexcept = default;

    T& operator()(int i, int j) { return data[size_t(i) + size_t(j) * ld]; }
    const T& operator()(int i, int j) const { return data[size_t(i) + size_t(j) * ld]; }
    T* ptr() { return data.data(); }

  private:
    size_t slack() const { return size_t(zuli::lapack::reflectorSlack<T>(std::max(1, ld))); }
    void reserveSlack(size_t elements) { data.reserve(elements + slack()); }

  public:
    // Adds `shift` to the diagonal: diagonally dominant, well conditioned.
    Matrix& shiftDiagonal(double shift) {
        for (int i = 0; i < std::min(m, n); ++i) (*this)(i, i) = (*this)(i, i) + T(Real<T>(shift));
        return *this;
    }
};

// The largest |a(i, j)| of the m x n block.
template <typename T>
double maxAbs(const Matrix<T>& a) {
    double r = 0;
    for (int j = 0; j < a.n; ++j)
        for (int i = 0; i < a.m; ++i) r = std::max(r, magnitude(a(i, j)));
    return r;
}

// max |got - want| / (max |want| * max(m, n) * eps): how many rounding units per order the two
// m x n blocks differ by. Below 10 or so for results of the same algorithm family.
template <typename T>
double relativeError(const Matrix<T>& got, const Matrix<T>& want) {
    double diff = 0;
    for (int j = 0; j < want.n; ++j)
        for (int i = 0; i < want.m; ++i) diff = std::max(diff, magnitude(got(i, j) - want(i, j)));
    const double scale =
        std::max(maxAbs(want), 1e-300) * std::max({want.m, want.n, 1}) * epsilon<T>();
    return diff / scale;
}

// ||A X - B|| / (||A|| ||X|| n eps), column by column, the largest.
template <typename T>
double solveResidual(const Matrix<T>& a, const Matrix<T>& x, const Matrix<T>& b) {
    double worst = 0;
    const double anorm = maxAbs(a) * a.n;
    for (int j = 0; j < x.n; ++j) {
        double r = 0, xn = 0;
        for (int i = 0; i < a.m; ++i) {
            T s = b(i, j);
            for (int k = 0; k < a.n; ++k) s = s - a(i, k) * x(k, j);
            r = std::max(r, magnitude(s));
            xn = std::max(xn, magnitude(x(i, j)));
        }
        worst = std::max(worst, r / (anorm * xn * a.n * epsilon<T>()));
    }
    return worst;
}

// op(a) op(b) with the host BLAS (op: CblasNoTrans, CblasTrans or CblasConjTrans).
template <typename T>
Matrix<T> product(CBLAS_TRANSPOSE ta, const Matrix<T>& a, CBLAS_TRANSPOSE tb, const Matrix<T>& b) {
    const int m = ta == CblasNoTrans ? a.m : a.n, k = ta == CblasNoTrans ? a.n : a.m;
    Matrix<T> c(m, tb == CblasNoTrans ? b.n : b.m, std::max(1, m));
    const T one(1), zero(0);
    pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
        CblasColMajor, ta, tb, c.m, c.n, k, blas_test::byBlas(one), a.data.data(), a.ld,
        b.data.data(), b.ld, blas_test::byBlas(zero), c.ptr(), c.ld);
    return c;
}

// Calls a host LAPACK routine that takes a work array (work, lwork last) after a size query.
template <typename T, typename Call>
int withWork(Call call) {
    std::vector<T> work = zuli::lapack::workArray<T>(zuli::lapack::workSize<T>(call));
    return call(work.data(), int(work.size()));
}

// max |got - want| / (max(m, n) ||A|| eps) over the first k elements of two vectors computed from
// the m x n matrix a, ||A|| its largest element.
template <typename E, typename T>
double vectorError(const std::vector<E>& got, const std::vector<E>& want, int k,
                   const Matrix<T>& a) {
    double diff = 0;
    for (size_t i = 0; i < size_t(std::max(0, k)); ++i)
        diff = std::max(diff, magnitude(got[i] - want[i]));
    return diff / (std::max({1, a.m, a.n}) * maxAbs(a) * epsilon<T>());
}

// ||I - X^H X|| / (n eps) with the max norm, for X with n orthonormal columns.
template <typename T>
double departureFromOrthonormal(const Matrix<T>& x) {
    const Matrix<T> xx = product(CblasConjTrans, x, CblasNoTrans, x);
    double o = 0;
    for (int j = 0; j < x.n; ++j)
        for (int i = 0; i < x.n; ++i) o = std::max(o, magnitude(xx(i, j) - T(i == j ? 1 : 0)));
    return o / (std::max(1, x.n) * epsilon<T>());
}

// ||P A - L U|| / (max(m, n) ||A|| eps) with the max norm, from getrf's factors f and pivots piv
// of the m x n matrix a: LAPACK's kind of test ratio, of order 1 for a backward-stable
// factorization.
template <typename T>
double luResidual(const Matrix<T>& a, const Matrix<T>& f, const std::vector<int>& piv) {
    const int m = a.m, n = a.n, k = std::min(m, n);
    Matrix<T> pa = a, l(m, k, m), u(k, n, k);
    for (int i = 0; i < k; ++i)
        for (int j = 0; j < n; ++j) std::swap(pa(i, j), pa(piv[size_t(i)] - 1, j));
    for (int j = 0; j < k; ++j)
        for (int i = 0; i < m; ++i) l(i, j) = i == j ? T(1) : (i > j ? f(i, j) : T(0));
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < k; ++i) u(i, j) = i <= j ? f(i, j) : T(0);
    const T one(1), minusOne(-1);
    pick<T>(cblas_sgemm, cblas_dgemm, cblas_cgemm, cblas_zgemm)(
        CblasColMajor, CblasNoTrans, CblasNoTrans, m, n, k, blas_test::byBlas(minusOne), l.ptr(),
        l.ld, u.ptr(), u.ld, blas_test::byBlas(one), pa.ptr(), pa.ld);
    return maxAbs(pa) / (std::max(m, n) * maxAbs(a) * epsilon<T>());
}

// ---- pivots ------------------------------------------------------------------------------------
//
// Partial pivoting takes the candidate of largest |re| + |im|. Where two candidates lie within
// rounding of each other, another summation order (another host BLAS, a GPU's cuBLAS) may take the
// other one, and every step after it differs. So pivots are compared with LAPACK's only on
// matrices built without near ties (dominateColumns); any other factorization is judged by how
// well its factors reproduce the matrix and by its multipliers, which the largest candidate
// keeps at magnitude 1 at most.

template <typename T>
double cabs1(const T& v) {
    if constexpr (zuli::IsComplexV<T>)
        return std::fabs(double(v.re)) + std::fabs(double(v.im));
    else
        return std::fabs(double(v));
}

// The candidate of a multiplier l over its pivot u, as the pivot search measured them.
template <typename T>
double pivotRatio(const T& u, const T& l) {
    return cabs1(l * u) / cabs1(u);
}

// Beyond this pivotRatio the pivot was not the largest candidate: 1 and far more than the
// rounding of l = a / u and of l u.
template <typename T>
double pivotRatioBound() {
    return 1 + std::sqrt(epsilon<T>());
}

// Makes the pivot of step j row rows[j] by a wide margin, whatever the rounding: in each column
// j < rows.size() the element of that row becomes 2 s + 1 in its own direction, s the sum of the
// magnitudes of the column's other elements (element(i, j): its address, null outside the
// stored matrix of m rows). Elimination keeps columns dominated this way dominated by the same
// factor, so each step's pivot is at least twice any other candidate (sqrt(2) times in
// |re| + |im|).
template <typename T, typename Element>
void dominateColumns(int m, const std::vector<int>& rows, Element element) {
    for (int j = 0; j < int(rows.size()); ++j) {
        double others = 0;
        for (int i = 0; i < m; ++i)
            if (const T* e = element(i, j); e && i != rows[size_t(j)]) others += magnitude(*e);
        T& d = *element(rows[size_t(j)], j);
        const double size = magnitude(d);
        const T direction = size > 0 ? d * T(Real<T>(1 / size)) : T(Real<T>(1));
        d = direction * T(Real<T>(2 * others + 1));
    }
}

// A random m x n matrix (leading dimension ld) whose pivots no near tie decides: the pivot rows
// are a random permutation in which the rows `fixed` keep their place. A column that is to be
// zero must keep its row: it is the row a zero pivot leaves in place, and any other row left
// there would be missing among the later steps' candidates.
template <typename T>
Matrix<T> clearPivots(int m, int n, int ld, std::mt19937& rng, const std::vector<int>& fixed = {}) {
    Matrix<T> a(m, n, ld, rng);
    std::vector<int> rows(static_cast<size_t>(m));
    for (int i = 0; i < m; ++i) rows[size_t(i)] = i;
    std::shuffle(rows.begin(), rows.end(), rng);
    for (int f : fixed) std::swap(rows[size_t(f)], *std::find(rows.begin(), rows.end(), f));
    rows.resize(size_t(std::min(m, n)));
    dominateColumns<T>(m, rows, [&](int i, int j) { return &a(i, j); });
    return a;
}

// Device copies of host arrays for the device interface, downloaded again and freed when the
// call is done. For Api::Host the pointers are the host arrays themselves.
class DeviceArrays {
  public:
    explicit DeviceArrays(Api api) : api_(api) {}
    // A device-interface call may return with its last copies and kernels still queued (as
    // cuBLAS does); a test that checks only the status frees the arrays right after it, so wait
    // for the device first rather than lean on cudaFree's implicit synchronisation.
    ~DeviceArrays() {
        if (!entries_.empty()) cudaDeviceSynchronize();
        for (auto& e : entries_) cudaFree(e.device);
    }
    DeviceArrays(const DeviceArrays&) = delete;
    DeviceArrays& operator=(const DeviceArrays&) = delete;

    // The pointer to pass for `host` (bytes long; null stays null).
    template <typename E>
    E* operator()(E* host, size_t count) {
        if (api_ == Api::Host || host == nullptr) return host;
        void* d = nullptr;
        EXPECT_EQ(cudaMalloc(&d, count * sizeof(E)), cudaSuccess);
        EXPECT_EQ(cudaMemcpy(d, host, count * sizeof(E), cudaMemcpyHostToDevice), cudaSuccess);
        entries_.push_back({host, d, count * sizeof(E)});
        return static_cast<E*>(d);
    }
    template <typename T>
    T* operator()(Matrix<T>& a) {
        return (*this)(a.ptr(), a.data.size());
    }
    template <typename E>
    E* operator()(std::vector<E>& v) {
        return (*this)(v.data(), v.size());
    }
    // Copies every device array back to its host array.
    void download() {
        for (auto& e : entries_)
            EXPECT_EQ(cudaMemcpy(e.host, e.device, e.bytes, cudaMemcpyDeviceToHost), cudaSuccess);
    }

  private:
    struct Entry {
        void* host;
        void* device;
        size_t bytes;
    };
    Api api_;
    std::vector<Entry> entries_;
};

// The fixture: an initialised library on the emulator's default device (capability 9.0), the
// adversarial schedule, counters cleared.
class SolverTest : public blas_test::BlasTest {
  protected:
    // The device generations a test covers, as capability codes (10 major + minor): 1.3 and 9.0
    // have different block sizes. A real GPU is the one it is, and every device the toolkit
    // supports has the block sizes of 9.0.
    static std::vector<int> generations() {
        return kEmulated ? std::vector{13, 90} : std::vector{90};
    }
    // Re-initialises on a device of capability `code` (on the emulated GPU; a real one stays).
    void useCapability(int code) {
        if (!kEmulated) return;
        zuliShutdown();
        zuli::clearDeviceCaches();
        zuliEmuSetComputeCapability(0, code / 10, code % 10);
        ASSERT_EQ(zuliInitialize(), zuliNoError);
    }
};

template <typename T>
class SolverTyped : public SolverTest {};

// ---- failure sweeps ---------------------------------------------------------------------------

// One kind of injected fault and the status the routine must then return.
struct Fault {
    const char* name;
    zuliStatus status;
    void (*arm)(int k);  // the k-th occurrence fails
};
inline const std::vector<Fault>& allFaults() {
    static const std::vector<Fault> faults = {
        {"device allocation", zuliInsufficientMemory, [](int k) { zuliEmuFailDeviceAlloc(k); }},
        {"page-locked allocation", zuliInsufficientMemory,
         [](int k) { zuliEmuFailPinnedAlloc(k); }},
        {"cuBLAS call", zuliBlasError,
         [](int k) { zuliEmuFailBlasCall(nullptr, k, CUBLAS_STATUS_EXECUTION_FAILED); }},
        {"CUDA call", zuliRuntimeError,
         [](int k) { zuliEmuFailCudaCall(nullptr, k, cudaErrorLaunchOutOfResources); }},
    };
    return faults;
}

// For every kind of fault and k = 1, 2, ...: prepares fresh inputs (`prepare`), arms the k-th
// occurrence, runs `call` and, when the call fails, checks its status, that no device memory is
// left behind (after zuliFreeBuffers) and `afterFailure` (for instance: the host arrays are
// unchanged). A fault the routine absorbs (a call that succeeds although its fault fired) is
// allowed. Stops once the k-th occurrence is beyond the routine (the fault stays armed).
// Returns the number of failing runs, so that a test can insist the sweep reached the routine.
inline int sweepFailures(const std::function<void()>& prepare,
                         const std::function<zuliStatus()>& call,
                         const std::function<void(const Fault&)>& afterFailure, int limit = 2000) {
    int failures = 0;
    for (const Fault& fault : allFaults()) {
        for (int k = 1; k <= limit; ++k) {
            prepare();
            zuliFreeBuffers();
            zuliEmuCounters before{};
            zuliEmuGetCounters(&before);
            fault.arm(k);
            const zuliStatus s = call();
            const bool fired = zuliEmuArmedFaults() == 0;
            zuliEmuFailDeviceAlloc(0);
            zuliEmuFailPinnedAlloc(0);
            zuliEmuFailBlasCall(nullptr, 0, 0);
            zuliEmuFailCudaCall(nullptr, 0, 0);
            if (!fired) {
                EXPECT_EQ(s, zuliNoError) << fault.name << " #" << k << " never fired";
                break;
            }
            if (s == zuliNoError) continue;
            ++failures;
            const int partsBefore = ::testing::UnitTest::GetInstance()
                                        ->current_test_info()
                                        ->result()
                                        ->total_part_count();
            const std::string where = zuliEmuLastFiredFault();
            SCOPED_TRACE(std::string(fault.name) + " #" + std::to_string(k) + " in " + where);
            EXPECT_EQ(s, fault.status);
            cudaDeviceSynchronize();
            cudaGetLastError();
            zuliFreeBuffers();
            zuliEmuCounters after{};
            zuliEmuGetCounters(&after);
            // A free that fails keeps its memory, as on a GPU; anything else must be released.
            if (where != "cudaFree" && where != "cudaFreeHost") {
                EXPECT_EQ(after.liveDeviceBytes, before.liveDeviceBytes) << "device memory leaked";
            }
            afterFailure(fault);
            // One report per kind of fault is enough to go on.
            if (::testing::UnitTest::GetInstance()
                    ->current_test_info()
                    ->result()
                    ->total_part_count() != partsBefore)
                break;
        }
    }
    return failures;
}

}  // namespace solver_test
