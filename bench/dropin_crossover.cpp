// dropin_crossover.cpp - where the library starts to beat the host LAPACK, per family of the
// drop-in library: the data behind its default thresholds (dropin/dropin.cpp, README).
//
// For each family's representative routine (double precision) and order n it prints
//   host   the host LAPACK's time, measured here (OpenBLAS, all its threads);
//   bus, device flops, launches, waits   what the library's host-interface call does, counted
//          by the emulated GPU (exact: the same code runs on a GPU);
//   model  the library's time on a GPU estimated from those counts:
//            bus bytes / B + device flops / F + (kernel launches + cuBLAS calls) x 10 us
//            + host waits x 10 us
//            + the flops left to the host (panels) at the host LAPACK's measured rate,
//          with B = 12 GB/s (pageable copies over PCIe 4.0 x16) and F = 10 TFLOP/s (FP64 of a
//          current data-centre GPU without tensor cores), both options;
// and the smallest n at which the model beats the host. There is no GPU where this project is
// built: the model is an estimate, not a measurement of a GPU.
//
//   zuli_dropin_crossover [-B bytes/s] [-F flop/s] [-f family] [n1 n2 ...]
#include "zuli_lapack.h"
#include "zuli_emu.h"

#include <lapack.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

extern "C" void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*,
                       const double*, const int*, const double*, const int*, const double*, double*,
                       const int*, size_t, size_t);

namespace {

double busRate = 12e9, deviceRate = 10e12;
constexpr double kLaunch = 10e-6, kWait = 10e-6;

std::vector<double> randomMatrix(size_t n, double diagonal, int ld) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> u(-1, 1);
    std::vector<double> a(n);
    for (double& x : a) x = u(rng);
    for (int i = 0; i < ld && size_t(i) * ld + i < n; ++i) a[size_t(i) * ld + i] += diagonal;
    return a;
}

double timed(const std::function<void()>& f) {
    const auto t0 = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// The best of three runs, after one that wakes the host LAPACK's threads.
double seconds(const std::function<double()>& f) {
    double best = (f(), 1e30);
    for (int r = 0; r < 3; ++r) best = std::min(best, f());
    return best;
}

struct Family {
    const char* name;
    const char* routine;
    double (*flops)(double n);
    // Runs the host LAPACK (host = true) or the library on a fresh problem of order n; returns
    // the seconds of the call alone.
    std::function<double(int n, bool host)> run;
};

}  // namespace

int main(int argc, char** argv) {
    std::vector<int> orders;
    const char* only = nullptr;  // -f: one family
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "-B") && i + 1 < argc)
            busRate = std::atof(argv[++i]);
        else if (!std::strcmp(argv[i], "-F") && i + 1 < argc)
            deviceRate = std::atof(argv[++i]);
        else if (!std::strcmp(argv[i], "-f") && i + 1 < argc)
            only = argv[++i];
        else
            orders.push_back(std::atoi(argv[i]));
    }
    if (orders.empty()) orders = {128, 256, 384, 512, 768, 1024, 1536, 2048};
    if (zuliInitialize() != zuliNoError) return std::puts("no device"), 1;

    const int kBand = 64, kReflectors = 64;
    std::vector<Family> families = {
        {"lu", "dgetrf", [](double n) { return 2 * n * n * n / 3; },
         [](int n, bool host) -> double {
             auto a = randomMatrix(size_t(n) * n, 0, n);
             std::vector<int> ipiv(n);
             int info;
             return timed([&] {
                 if (host)
                     LAPACK_dgetrf(&n, &n, a.data(), &n, ipiv.data(), &info);
                 else
                     zuliDgetrf(n, n, a.data(), n, ipiv.data());
             });
         }},
        {"cholesky", "dpotrf", [](double n) { return n * n * n / 3; },
         [](int n, bool host) -> double {
             auto a = randomMatrix(size_t(n) * n, 2 * n, n);
             int info;
             return timed([&] {
                 if (host)
                     LAPACK_dpotrf("L", &n, a.data(), &n, &info);
                 else
                     zuliDpotrf('L', n, a.data(), n);
             });
         }},
        {"mixed", "dsgesv", [](double n) { return 2 * n * n * n / 3; },
         [](int n, bool host) -> double {
             auto a = randomMatrix(size_t(n) * n, n, n), b = randomMatrix(n, 0, 1), x = b;
             std::vector<int> ipiv(n);
             std::vector<double> work(n);
             std::vector<float> swork(size_t(n) * (n + 1));
             int iter, info, one = 1;
             return timed([&] {
                 if (host)
                     LAPACK_dsgesv(&n, &one, a.data(), &n, ipiv.data(), b.data(), &n, x.data(), &n,
                                   work.data(), swork.data(), &iter, &info);
                 else
                     zuliDsgesv(n, 1, a.data(), n, ipiv.data(), b.data(), n, x.data(), n, &iter);
             });
         }},
        {"triangular", "dtrtri", [](double n) { return n * n * n / 3; },
         [](int n, bool host) -> double {
             auto a = randomMatrix(size_t(n) * n, n, n);
             int info;
             return timed([&] {
                 if (host)
                     LAPACK_dtrtri("U", "N", &n, a.data(), &n, &info);
                 else
                     zuliDtrtri('U', 'N', n, a.data(), n);
             });
         }},
        {"band", "dgbtrf kl=ku=64", [](double n) { return 2 * n * kBand * (2.0 * kBand); },
         [](int n, bool host) -> double {
             int kl = kBand, ku = kBand, ld = 2 * kl + ku + 1, info;
             auto a = randomMatrix(size_t(ld) * n, 0, 1);
             std::vector<int> ipiv(n);
             return timed([&] {
                 if (host)
                     LAPACK_dgbtrf(&n, &n, &kl, &ku, a.data(), &ld, ipiv.data(), &info);
                 else
                     zuliDgbtrf(n, n, kl, ku, a.data(), ld, ipiv.data());
             });
         }},
        // The library's copy is a kernel on the device: nothing is left to the host.
        {"utility", "dlacpy", [](double) { return 0.0; },
         [](int n, bool host) -> double {
             auto a = randomMatrix(size_t(n) * n, 0, n), b = a;
             return timed([&] {
                 if (host)
                     LAPACK_dlacpy("A", &n, &n, a.data(), &n, b.data(), &n);
                 else
                     zuliDlacpy('A', n, n, a.data(), n, b.data(), n);
             });
         }},
        {"qr", "dlarfb k=64", [](double n) { return 4.0 * n * n * kReflectors; },
         [](int n, bool host) -> double {
             int k = kReflectors;
             auto v = randomMatrix(size_t(n) * k, 1, n), t = randomMatrix(size_t(k) * k, 1, k),
                  c = randomMatrix(size_t(n) * n, 0, n);
             std::vector<double> work(size_t(n) * k);
             return timed([&] {
                 if (host)
                     LAPACK_dlarfb("L", "T", "F", "C", &n, &n, &k, v.data(), &n, t.data(), &k,
                                   c.data(), &n, work.data(), &n);
                 else
                     zuliDlarfb('L', 'T', 'F', 'C', n, n, k, v.data(), n, t.data(), k, c.data(), n);
             });
         }},
        // The factorization, whose panels run on the host.
        {"qr", "dgeqrf", [](double n) { return 4 * n * n * n / 3; },
         [](int n, bool host) -> double {
             auto a = randomMatrix(size_t(n) * n, 0, n);
             std::vector<double> tau(n), work(size_t(n) * 64);
             int lwork = int(work.size()), info;
             return timed([&] {
                 if (host)
                     LAPACK_dgeqrf(&n, &n, a.data(), &n, tau.data(), work.data(), &lwork, &info);
                 else
                     zuliDgeqrf(n, n, a.data(), n, tau.data());
             });
         }},
        {"blas3", "dgemm", [](double n) { return 2 * n * n * n; },
         [](int n, bool host) -> double {
             auto a = randomMatrix(size_t(n) * n, 0, n), b = a, c = a;
             double one = 1;
             return timed([&] {
                 if (host) {
                     dgemm_("N", "N", &n, &n, &n, &one, a.data(), &n, b.data(), &n, &one, c.data(),
                            &n, 1, 1);
                 } else {
                     zuliDgemm('N', 'N', n, n, n, 1, a.data(), n, b.data(), n, 1, c.data(), n);
                 }
             });
         }},
    };

    std::printf("bus %.3g B/s, device %.3g flop/s, launch %.0f us, wait %.0f us\n", busRate,
                deviceRate, kLaunch * 1e6, kWait * 1e6);
    std::printf("%-10s %-16s %6s %10s %10s %10s %8s %8s %10s\n", "family", "routine", "n", "host s",
                "bus MB", "dev GFLOP", "launches", "waits", "model s");
    for (const Family& f : families) {
        if (only && std::strcmp(only, f.name)) continue;
        int crossover = 0;
        for (int n : orders) {
            const double host = seconds([&] { return f.run(n, true); });
            zuliEmuResetCounters();
            f.run(n, false);
            zuliEmuCounters c;
            zuliEmuGetCounters(&c);
            const double bus = double(c.h2dBytes + c.d2hBytes);
            // The operations the device does not do run on the host at its measured rate.
            const double hostShare =
                f.flops(n) > 0 ? std::max(0.0, f.flops(n) - c.blasFlops) / f.flops(n) : 0.0;
            const double model = bus / busRate + c.blasFlops / deviceRate +
                                 double(c.launches + c.blasCalls) * kLaunch + c.syncs * kWait +
                                 hostShare * host;
            // From the first order at which the library wins at this and every larger order.
            if (model >= host)
                crossover = 0;
            else if (!crossover)
                crossover = n;
            std::printf("%-10s %-16s %6d %10.4f %10.1f %10.2f %8llu %8llu %10.4f\n", f.name,
                        f.routine, n, host, bus / 1e6, c.blasFlops / 1e9, c.launches, c.syncs,
                        model);
        }
        if (crossover)
            std::printf("%-10s the library is estimated to win from n = %d\n", f.name, crossover);
        else
            std::printf("%-10s the library is not estimated to win up to n = %d\n", f.name,
                        orders.back());
    }
    zuliShutdown();
    return 0;
}
