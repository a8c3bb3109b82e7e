// frame.cpp - the out-of-line steps of the call frame.
#include "runtime/frame.h"

namespace zuli::detail {

bool capabilityAllows(const FrameSpec& frameKind) {
    Capability cap = deviceCapability(currentDevice());
    return !frameKind.needsDouble || cap.doublePrecision;
}

void postCallCheck() {
    cudaError_t e = cudaDeviceSynchronize();  // its own result matters only as "no GPU"
    if (e == cudaErrorNoDevice || e == cudaErrorInsufficientDriver) {
        // Without a GPU there is nothing to wait for; a routine that needed one has already
        // failed on its own. Clear the answer so that it is not reported.
        cudaGetLastError();
        return;
    }
    cudalib::checkCuda(cudaGetLastError());
}

void clearPendingRuntimeError() noexcept { cudaGetLastError(); }

std::shared_ptr<const CallHooks> callEntryHook(const FrameSpec& frameKind) {
    if (!frameKind.hooks) return nullptr;
    std::shared_ptr<const CallHooks> hooks = currentCallHooks();
    if (!hooks) return nullptr;
    zuliCallHook entry = frameKind.interface == Interface::Host ? hooks->hostEntry : hooks->deviceEntry;
    if (entry) entry(hooks->userData);
    return hooks;
}

void callExitHook(const FrameSpec& frameKind, const std::shared_ptr<const CallHooks>& hooks) noexcept {
    if (!hooks) return;
    zuliCallHook exit = frameKind.interface == Interface::Host ? hooks->hostExit : hooks->deviceExit;
    try {
        if (exit) exit(hooks->userData);
    } catch (...) {
        // A hook that throws cannot change the outcome of the call.
    }
}

}  // namespace zuli::detail
