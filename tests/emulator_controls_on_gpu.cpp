// The emulated GPU's controls, for the tests built to run without it (ZULI_TESTS_ON_GPU).
//
// Resetting the emulator or its counters is what every fixture does between tests; on a real GPU
// there is nothing to reset, so those do nothing. Everything else observes or steers the emulator
// and has no meaning on a GPU: a test that reaches one should have skipped first
// (SKIP_ON_A_REAL_GPU), so these abort with the name of the control, which makes a missing skip
// show at once rather than as a wrong count.
//
// Linked into a program that also loads the emulator, these definitions take the place of the
// emulator's own (a program's symbols come before a shared library's): that is how the suite
// checks, on a machine without a GPU, that every test needing the emulator skips.
#include "zuli_emu.h"

#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void needsTheEmulator(const char* control) {
    std::fprintf(stderr,
                 "%s: this test needs the emulated GPU but did not skip on a real one "
                 "(SKIP_ON_A_REAL_GPU)\n",
                 control);
    std::fflush(stderr);
    std::abort();
}

}  // namespace

extern "C" {

void zuliEmuReset(void) {}
void zuliEmuResetCounters(void) {}

int zuliEmuSetComputeCapability(int, int, int) {
    needsTheEmulator("zuliEmuSetComputeCapability");
}
void zuliEmuFailDeviceAlloc(int) {
    needsTheEmulator("zuliEmuFailDeviceAlloc");
}
void zuliEmuFailPinnedAlloc(int) {
    needsTheEmulator("zuliEmuFailPinnedAlloc");
}
void zuliEmuFailBlasCall(const char*, int, int) {
    needsTheEmulator("zuliEmuFailBlasCall");
}
void zuliEmuFailCudaCall(const char*, int, int) {
    needsTheEmulator("zuliEmuFailCudaCall");
}
int zuliEmuArmedFaults(void) {
    needsTheEmulator("zuliEmuArmedFaults");
}
const char* zuliEmuLastFiredFault(void) {
    needsTheEmulator("zuliEmuLastFiredFault");
}
void zuliEmuGetCounters(zuliEmuCounters*) {
    needsTheEmulator("zuliEmuGetCounters");
}
unsigned long long zuliEmuBlasOpCalls(const char*) {
    needsTheEmulator("zuliEmuBlasOpCalls");
}

}  // extern "C"
