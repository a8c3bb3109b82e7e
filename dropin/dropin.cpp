// dropin.cpp - where a call of the drop-in library runs: the host LAPACK handle, the per-thread
// state (inside the library or not, the library initialised on this thread), the size thresholds
// and the route of one call (dropin.h).
#include "dropin.h"

#include <cuda_runtime_api.h>

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" void xerbla_(const char* name, const int* info, size_t nameLength);

namespace zuli::dropin {

namespace {

// The host LAPACK/BLAS: the OpenBLAS library that the library itself links (it is loaded
// already; opening it again only hands back its handle). RTLD_LOCAL and dlsym on its handle find
// OpenBLAS's own definitions even when the drop-in comes first in the global scope (linked before
// OpenBLAS, preloaded, or installed as the system's liblapack.so.3).
void* hostLibrary() {
    static void* const handle = [] {
        void* h = dlopen(ZULI_DROPIN_HOST_LAPACK, RTLD_NOW | RTLD_LOCAL);
        if (!h) {
            std::fprintf(stderr, "zuli drop-in: cannot open the host LAPACK %s: %s\n",
                         ZULI_DROPIN_HOST_LAPACK, dlerror());
            std::abort();
        }
        return h;
    }();
    return handle;
}

// Depth of the calling thread inside the library or the host LAPACK on the drop-in's behalf.
thread_local int t_inside = 0;

// The library on this thread: initialised on first use, shut down when the thread ends (for the
// main thread: at process exit, before the libraries' own static objects go).
struct ThreadLibrary {
    bool ready;
    ThreadLibrary() {
        InsideScope inside;
        ready = zuliInitialize() == zuliNoError;
    }
    ~ThreadLibrary() {
        if (!ready) return;
        InsideScope inside;
        zuliShutdown();
    }
};

// ---- thresholds ---------------------------------------------------------------------------------

constexpr int kFamilies = int(Family::Count);
constexpr std::array<const char*, kFamilies> kFamilyNames = {
    "lu", "cholesky", "mixed", "triangular", "band", "utility", "qr", "blas3"};

// The orders from which the library is estimated to beat the host LAPACK (bench/
// dropin_crossover: host LAPACK times measured on a 2-core machine, the library's bus traffic,
// device operations, launches and waits counted by the emulated GPU, its time on a GPU estimated
// from them; README, "Thresholds"). Band factorizations and the utilities never won there: their
// work is too small for the bus traffic it costs, and only an explicit setting sends them to the
// library.
constexpr int kNever = 1 << 30;
constexpr std::array<int, kFamilies> kDefaultMinOrder = {
    /* lu */ 384,      /* cholesky */ 512,   /* mixed */ 1536, /* triangular */ 768,
    /* band */ kNever, /* utility */ kNever, /* qr */ 256,     /* blas3 */ 256};

// ZULI_DROPIN_MIN_ORDER: a number (every family), or a comma-separated list of family=number, or
// both ("512,blas3=2048"). A family's calls of smaller size go to the host LAPACK; 0 or 1 sends
// every non-empty call to the library.
std::array<int, kFamilies> readMinOrders() {
    std::array<int, kFamilies> orders = kDefaultMinOrder;
    const char* setting = std::getenv("ZULI_DROPIN_MIN_ORDER");
    if (!setting) return orders;
    std::string rest = setting;
    while (!rest.empty()) {
        const size_t comma = rest.find(',');
        const std::string item = rest.substr(0, comma);
        rest = comma == std::string::npos ? "" : rest.substr(comma + 1);
        const size_t eq = item.find('=');
        const std::string value = eq == std::string::npos ? item : item.substr(eq + 1);
        char* end = nullptr;
        const long n = std::strtol(value.c_str(), &end, 10);
        bool ok = !value.empty() && *end == '\0' && n >= 0 && n <= (1L << 30);
        int family = -1;  // all
        if (ok && eq != std::string::npos) {
            const std::string name = item.substr(0, eq);
            for (int f = 0; f < kFamilies; ++f)
                if (name == kFamilyNames[f]) family = f;
            ok = family >= 0;
        }
        if (!ok) {
            std::fprintf(stderr, "zuli drop-in: ZULI_DROPIN_MIN_ORDER: ignoring '%s'\n",
                         item.c_str());
            continue;
        }
        for (int f = 0; f < kFamilies; ++f)
            if (family < 0 || family == f) orders[f] = int(n);
    }
    return orders;
}

}  // namespace

int minOrder(Family family) {
    static const std::array<int, kFamilies> orders = readMinOrders();
    return orders[int(family)];
}

// Inside on the drop-in's behalf, or inside a call of the library that the program made itself
// (its host steps then reach the drop-in's entry points too).
bool insideLibrary() {
    return t_inside > 0 || zuliIsInCall();
}
InsideScope::InsideScope() {
    ++t_inside;
}
InsideScope::~InsideScope() {
    --t_inside;
}

bool libraryReady() {
    thread_local ThreadLibrary library;
    return library.ready;
}

void* hostSymbol(const char* symbol) {
    void* f = dlsym(hostLibrary(), symbol);
    if (!f) {
        std::fprintf(stderr, "zuli drop-in: the host LAPACK %s has no %s\n",
                     ZULI_DROPIN_HOST_LAPACK, symbol);
        std::abort();
    }
    return f;
}

void reportArgument(const char* name, int position) {
    xerbla_(name, &position, std::strlen(name));
}

int currentCapabilityCode() {
    int device = 0, major = 0, minor = 0;
    InsideScope inside;
    cudaGetDevice(&device);
    cudaDeviceGetAttribute(&major, cudaDevAttrComputeCapabilityMajor, device);
    cudaDeviceGetAttribute(&minor, cudaDevAttrComputeCapabilityMinor, device);
    return 10 * major + minor;
}

int64_t order2(int64_t m, int64_t n) {
    if (m <= 0 || n <= 0) return 0;
    return std::max<int64_t>(1, std::llround(std::sqrt(double(m) * double(n))));
}

int64_t order3(int64_t m, int64_t n, int64_t k) {
    if (m <= 0 || n <= 0 || k <= 0) return 0;
    return std::max<int64_t>(1, std::llround(std::cbrt(double(m) * double(n) * double(k))));
}

// ---- one call -----------------------------------------------------------------------------------

void Route::runHost() {
    InsideScope inside;
    host_();
}

// LAPACK's name as its routines pass it to xerbla_: the Fortran name in upper case ("DGETRF"),
// blank-padded to six characters for BLAS ("DGEMM ").
void Route::argumentError(int position) {
    char name[16] = {};
    size_t n = 0;
    for (const char* s = symbol_; *s && *s != '_' && n + 1 < sizeof name; ++s)
        name[n++] = upper(*s);
    while (padName_ && n < 6) name[n++] = ' ';
    if (info_) *info_ = -position;
    reportArgument(name, position);
}

void Route::run() {
    if (check_) {
        const int position = check_();
        if (position > 0) return argumentError(position);
        if (position < 0) {  // a workspace query, answered
            if (info_) *info_ = 0;
            return;
        }
    }
    // Empty problems never reach the library: what LAPACK does with them (nothing, or setting an
    // output) is exactly what the host LAPACK does.
    if (hostWhen_ || size_ < std::max(1, minOrder(family_)) || !libraryReady()) return runHost();

    zuliStatus status;
    {
        InsideScope inside;
        status = library_();
    }
    switch (status) {
        case zuliNoError:
            if (info_) *info_ = 0;
            if (after_) after_();
            return;
        case zuliArgumentError: {
            const int libraryPosition = -zuliGetErrorInfo();
            int position = 0;
            if (libraryPosition >= 1 && size_t(libraryPosition) <= positions_.size())
                position = positions_.begin()[libraryPosition - 1];
            if (position > 0) return argumentError(position);
            return runHost();  // an argument LAPACK accepts (a pointer it never reads)
        }
        case zuliDataError: {
            if (hostOnData_ && hostOnData_()) return runHost();
            int info = dataInfo_ ? dataInfo_() : 0;
            if (info <= 0) info = zuliGetErrorInfo();
            if (info_) *info_ = info;
            if (after_) after_();
            return;
        }
        default:
            // Not implemented, no device, out of memory, a runtime failure: the library left the
            // caller's arrays as they were.
            return runHost();
    }
}

}  // namespace zuli::dropin
