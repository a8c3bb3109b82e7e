// frame.h - the frame that runs the body of every exported function.
//
// An exported function is one line around its body (runtime/exports.h stamps these out):
//
//     extern "C" ZULI_API zuliStatus zuliDeviceDgetrf(int m, int n, double* a, int lda, int* ipiv)
//     {
//         return zuli::deviceRoutine<double>([&](const zuli::CallContext& ctx) {
//             zuli::getrf<double>(ctx, m, n, a, lda, ipiv);
//         });
//     }
//
// The frame, in order:
//   1. returns zuliNotInitialized (last status 1, last info untouched) when the library is not
//      initialised;
//   2. looks up the capability of the thread's current device in the capability cache; a D or Z
//      routine on a device of capability 1.2 or lower returns zuliInsufficientComputeCapability
//      (last status 4, last info untouched); then clears the last info;
//   3. enters the thread's scope (ThreadState: depth + 1, current device recorded);
//   4. calls the entry hook of the routine's interface (host or device) and builds the
//      CallContext (device, thread id, the thread's cuBLAS handle for the device);
//   5. runs the body;
//   6. on completion waits for the device, checks the runtime's last error, calls the exit hook,
//      leaves the scope and records status 0;
//   7. on an exception maps it, in this fixed order (a CudaMemoryException is also a bad_alloc,
//      and the cudalib exceptions are all std::exceptions, so the order decides):
//        CudaMemoryException, std::bad_alloc    5, info unchanged        marks the thread failed
//        CudaRuntimeException                   10, info = CUDA code     marks
//        CublasException                        9, info = cuBLAS status  marks
//        CusparseException                      10, info = its status    marks
//        InfoException                          its status, its info     does not mark
//        FeatNotImplException                   6, info unchanged        marks
//        std::exception                         10, info = -1            marks
//        anything else                          13, info = -1            marks
//      then calls the exit hook (if the entry hook ran), leaves the scope and records the status.
// Utilities that must work before zuliInitialize (zuliGetDeviceCount, zuliSelectDevice,
// zuliGetDeviceInfo) skip steps 1 and 2 and build no CallContext (their body gets an empty one).
//
// Nested calls. A routine that calls another exported routine's body (a host routine running
// its device twin, a driver running a factorization) calls runFrame() itself, with the inner
// routine's FrameSpec, and gets back a CallResult: the inner status AND info, directly, not
// through the process-wide cells (which another thread may overwrite at any moment). The inner
// frame shares the thread's scope (the depth counts it, and a failure it marks stays visible to
// the outer body through threadFailed() until the outermost call returns). The outer body then
// either
//   - returns that CallResult: the frame makes it the outer call's outcome (status and info),
//     after its own post-call check; a host routine does this after copying its results back, so
//     that it returns exactly its device twin's status and info; or
//   - calls raiseIfFailed(result) to stop at once; the frame reports the same status and info.
// Bodies that have nothing to hand back return void.
#pragma once

#include "runtime/complex.h"
#include "runtime/context.h"
#include "runtime/device.h"
#include "runtime/status.h"

#include <cuda_runtime_api.h>

#include <exception>
#include <new>
#include <type_traits>
#include <utility>

namespace zuli {

// The outcome of a framed call, as its caller sees it.
struct CallResult {
    zuliStatus status = zuliNoError;
    zuliInfo info = 0;
    bool ok() const { return status == zuliNoError; }
};

// Stops the calling body with `result` as its outcome when it is a failure: the frame returns
// result.status and stores result.info (through an InfoException, which does not mark the thread
// failed again: the inner frame already did if it had to).
inline void raiseIfFailed(const CallResult& result) {
    if (!result.ok()) throw InfoException(result.info, result.status);
}

// Which pair of hooks a routine calls.
enum class Interface : uint8_t { Host, Device };

struct FrameSpec {
    Interface interface = Interface::Host;
    bool requiresInit = true;  // steps 1 and 2, and a CallContext for the body
    bool needsDouble = false;  // the routine's data are double precision (D and Z)
    bool hooks = true;         // calls the entry and exit hooks of its interface

    static constexpr FrameSpec host(bool doublePrecision = false) {
        return {Interface::Host, true, doublePrecision, true};
    }
    static constexpr FrameSpec device(bool doublePrecision = false) {
        return {Interface::Device, true, doublePrecision, true};
    }
    // For the utilities that work before zuliInitialize.
    static constexpr FrameSpec uninitialized() { return {Interface::Host, false, false, true}; }
};

// True for the element types of double-precision routines (double, Complex<double>).
template <typename T>
inline constexpr bool isDoublePrecision =
    std::is_same_v<typename ToReal<std::remove_cv_t<T>>::type, double>;

namespace detail {

// Steps 2 and 6 and the hook calls, out of line so that the template stays small.
// The capability test of step 2: false when the routine must be refused with status 4.
bool capabilityAllows(const FrameSpec& frameKind);
// Waits for the device and turns a pending runtime error into an exception. On a machine without
// driver or device there is nothing to wait for: that answer is cleared, not reported.
void postCallCheck();
// Reads (and so clears) the runtime's last error of the calling thread.
void clearPendingRuntimeError() noexcept;
// Calls the entry hook of frameKind's interface; returns the hook snapshot to use at exit.
std::shared_ptr<const CallHooks> callEntryHook(const FrameSpec& frameKind);
void callExitHook(const FrameSpec& frameKind,
                  const std::shared_ptr<const CallHooks>& hooks) noexcept;

// Runs body(ctx) and normalises its result to a CallResult.
template <typename Body>
CallResult invokeBody(Body& body, const CallContext& ctx) {
    using R = std::invoke_result_t<Body&, const CallContext&>;
    if constexpr (std::is_same_v<R, CallResult>) {
        return body(ctx);
    } else {
        static_assert(std::is_void_v<R>, "a frame body returns void or zuli::CallResult");
        body(ctx);
        return CallResult{};
    }
}

}  // namespace detail

// Runs `body` (callable as body(const CallContext&), returning void or CallResult) inside the
// frame described at the top of this file. Records the outcome in the last-status and last-info
// cells and returns it. Never throws.
template <typename Body>
CallResult runFrame(const FrameSpec& frameKind, Body&& body) noexcept {
    if (frameKind.requiresInit && !isInitialized()) {
        setLastStatus(zuliNotInitialized);
        return {zuliNotInitialized, lastInfo()};
    }

    bool infoCleared = false;
    bool inScope = false;
    std::shared_ptr<const CallHooks> hooks;
    bool hooksEntered = false;
    CallResult result;
    // Ends the call with `status`; `info` is stored unless the handler leaves it unchanged.
    auto finish = [&](zuliStatus status, const zuliInfo* info, bool markFailed) {
        if (markFailed) markThreadFailed();
        // A failure is reported once: a runtime error it left pending must not resurface in the
        // post-call check of the thread's next call (sticky errors stay sticky regardless).
        if (status != zuliNoError) detail::clearPendingRuntimeError();
        if (info) setLastInfo(*info);
        if (hooksEntered) detail::callExitHook(frameKind, hooks);
        if (inScope) leaveScope();
        setLastStatus(status);
        // The info this call stands for, without re-reading the shared cell where possible.
        zuliInfo reported = info ? *info : (infoCleared ? 0 : lastInfo());
        return CallResult{status, reported};
    };

    try {
        if (frameKind.requiresInit && !detail::capabilityAllows(frameKind)) {
            setLastStatus(zuliInsufficientComputeCapability);
            return {zuliInsufficientComputeCapability, lastInfo()};
        }
        setLastInfo(0);
        infoCleared = true;
        enterScope();
        inScope = true;
        hooks = detail::callEntryHook(frameKind);
        hooksEntered = true;
        CallContext ctx = frameKind.requiresInit ? CallContext::build() : CallContext::empty();
        result = detail::invokeBody(body, ctx);
        detail::postCallCheck();
    } catch (const cudalib::CudaMemoryException&) {
        return finish(zuliInsufficientMemory, nullptr, true);
    } catch (const std::bad_alloc&) {
        return finish(zuliInsufficientMemory, nullptr, true);
    } catch (const cudalib::CudaRuntimeException& e) {
        zuliInfo info = e.code();
        return finish(zuliRuntimeError, &info, true);
    } catch (const cudalib::CublasException& e) {
        zuliInfo info = e.status();
        return finish(zuliBlasError, &info, true);
    } catch (const cudalib::CusparseException& e) {
        zuliInfo info = e.status();
        return finish(zuliRuntimeError, &info, true);
    } catch (const InfoException& e) {
        zuliInfo info = e.info();
        return finish(static_cast<zuliStatus>(e.status()), &info, false);
    } catch (const FeatNotImplException&) {
        return finish(zuliFeatureNotImplemented, nullptr, true);
    } catch (const std::exception&) {
        zuliInfo info = -1;
        return finish(zuliRuntimeError, &info, true);
    } catch (...) {
        zuliInfo info = -1;
        return finish(zuliUnspecifiedError, &info, true);
    }
    // A body that handed back a nested call's failure makes it this call's outcome.
    if (result.ok()) {
        zuliInfo info = 0;
        return finish(zuliNoError, &info, false);
    }
    return finish(result.status, &result.info, false);
}

// The exported entry points of the computational routines: a host-interface or device-interface
// routine whose data are of element type T (the capability test follows from T).
template <typename T, typename Body>
zuliStatus hostRoutine(Body&& body) noexcept {
    return runFrame(FrameSpec::host(isDoublePrecision<T>), std::forward<Body>(body)).status;
}
template <typename T, typename Body>
zuliStatus deviceRoutine(Body&& body) noexcept {
    return runFrame(FrameSpec::device(isDoublePrecision<T>), std::forward<Body>(body)).status;
}

// The same, returning status and info, for a routine that runs another routine's body nested.
template <typename T, typename Body>
CallResult runHostRoutine(Body&& body) noexcept {
    return runFrame(FrameSpec::host(isDoublePrecision<T>), std::forward<Body>(body));
}
template <typename T, typename Body>
CallResult runDeviceRoutine(Body&& body) noexcept {
    return runFrame(FrameSpec::device(isDoublePrecision<T>), std::forward<Body>(body));
}

// Framed utilities that need no particular precision (zuliGetExecutingDevice, ...).
template <typename Body>
zuliStatus utilityRoutine(Body&& body) noexcept {
    return runFrame(FrameSpec::host(false), std::forward<Body>(body)).status;
}
// Framed utilities that work before zuliInitialize.
template <typename Body>
zuliStatus uninitializedRoutine(Body&& body) noexcept {
    return runFrame(FrameSpec::uninitialized(), std::forward<Body>(body)).status;
}

}  // namespace zuli
