// status.cpp - status texts, the error cells, the raise functions and the CUDA/cuBLAS checks.
#include "runtime/status.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zuli {

namespace {

constexpr int32_t kStatusCount = 14;

const char* const kStatusText[kStatusCount] = {
    "No errors",
    "ZULI is not initialized",
    "No hardware is present to run ZULI",
    "CUDA runtime or driver is not supported",
    "Hardware does not have the required compute capability for this problem",
    "Insufficient memory to complete this operation",
    "A required feature is not yet implemented",
    "Argument error; see zuliGetErrorInfo for error code",
    "Data error; see zuliGetErrorInfo for error code",
    "Blas error; see zuliGetErrorInfo for error code",
    "Runtime error; see zuliGetErrorInfo for error code",
    "Invalid storage format; this operation cannot continue",
    "Invalid reference handle",
    "Unspecified error; contact the ZULI team",
};

const char* const kStatusName[kStatusCount] = {
    "zuliNoError",
    "zuliNotInitialized",
    "zuliNoHardware",
    "zuliInsufficientRuntime",
    "zuliInsufficientComputeCapability",
    "zuliInsufficientMemory",
    "zuliFeatureNotImplemented",
    "zuliArgumentError",
    "zuliDataError",
    "zuliBlasError",
    "zuliRuntimeError",
    "zuliBadStorageFormat",
    "zuliInvalidReferenceHandle",
    "zuliUnspecifiedError",
};

constexpr const char* kInvalidStatus = "Invalid zuliStatus";

// Texts of the cuBLAS statuses in the detailed BLAS error message. CUBLAS_STATUS_NOT_SUPPORTED
// is deliberately absent and reads "unknown".
const char* cublasStatusText(uint32_t status) {
    switch (status) {
    case 0: return "call zuliGetErrorInfo() to determine this error with specificity";
    case 1: return "not initialized";
    case 3: return "allocation failure";
    case 7: return "Invalid argument value";
    case 8: return "architecture mismatch";
    case 11: return "mapping error";
    case 13: return "execution failed";
    case 14: return "internal error";
    default: return "unknown";
    }
}

}  // namespace

ErrorCells& errorCells() {
    // Never destroyed: framed calls on other threads may still run during process exit.
    static ErrorCells* cells = new ErrorCells;
    return *cells;
}

const char* statusName(int32_t status) {
    auto index = static_cast<uint32_t>(status);
    return index < kStatusCount ? kStatusName[index] : kInvalidStatus;
}

void raiseArgumentError(int32_t info) { throw InfoException(info, zuliArgumentError); }

// A data error is only as good as the device work that led to it: when a launch or other
// asynchronous work of the call has failed (a runtime error is pending), that failure is raised
// instead, so that a zero pivot found in data that never arrived is not reported as a property of
// the caller's matrix (and its results are not copied back).
void raiseDataError(int32_t info) {
    cudalib::checkCuda(cudaGetLastError());
    throw InfoException(info, zuliDataError);
}

void raiseFromLapackInfo(int32_t info) {
    throw InfoException(info, info < 1 ? zuliArgumentError : zuliDataError);
}

void checkHostLapackInfo(int32_t info) {
    if (info < 0) throw InfoException(info, zuliRuntimeError);
    if (info > 0) raiseDataError(info);
}

void raiseFeatureNotImplemented() { throw FeatNotImplException(); }

}  // namespace zuli

namespace cudalib {

void checkCuda(cudaError_t code) {
    if (code == cudaSuccess) return;
    if (code == cudaErrorMemoryAllocation || code == cudaErrorMemoryValueTooLarge)
        throw CudaMemoryException();
    throw CudaRuntimeException(code, std::string("CUDA error: ") + cudaGetErrorString(code));
}

void checkCublas(cublasStatus_t status) {
    if (status == CUBLAS_STATUS_SUCCESS) return;
    if (status == CUBLAS_STATUS_ALLOC_FAILED)
        throw CudaMemoryException("CUBLAS Allocation Failure");
    throw CublasException(status, "cuBLAS error " + std::to_string(static_cast<int>(status)));
}

}  // namespace cudalib

using zuli::kStatusCount;

extern "C" {

ZULI_API const char* zuliGetStatusString(zuliStatus e) {
    auto index = static_cast<uint32_t>(e);
    return index < static_cast<uint32_t>(kStatusCount) ? zuli::kStatusText[index]
                                                        : zuli::kInvalidStatus;
}

ZULI_API zuliInfo zuliGetErrorInfo(void) { return zuli::lastInfo(); }

ZULI_API zuliStatus zuliGetErrorInfoString(zuliStatus e, zuliInfo info, char* buf, int bufsize) {
    // Argument errors are raised and caught here; this function never writes the status cell.
    try {
        if (static_cast<uint32_t>(e) > 13u) zuli::raiseArgumentError(-1);
        if (buf == nullptr) zuli::raiseArgumentError(-3);
        if (bufsize < 1) zuli::raiseArgumentError(-4);

        // |INT_MIN| does not fit: keep the magnitude in 64 bits for the formats.
        long long magnitude = std::llabs(static_cast<long long>(info));
        auto size = static_cast<size_t>(bufsize);
        std::memset(buf, 0, size);
        switch (e) {
        case zuliArgumentError:
            std::snprintf(buf, size,
                          "Argument %lld is invalid (see the Reference Manual for more information)",
                          magnitude);
            break;
        case zuliDataError:
            std::snprintf(buf, size,
                          "This status can mean one of the following:\n"
                          "    ZULI Dense: Data error at pos %lld "
                          "(see the Reference Manual for guidance)",
                          magnitude);
            break;
        case zuliBlasError:
            std::snprintf(buf, size, "CUBLAS error: %s",
                          zuli::cublasStatusText(static_cast<uint32_t>(magnitude)));
            break;
        case zuliRuntimeError:
            std::snprintf(buf, size, "CUDA Error:  %s (see Programmer's Guide)",
                          cudaGetErrorString(static_cast<cudaError_t>(magnitude)));
            break;
        default:
            break;  // no details for the other statuses: the empty string
        }
        buf[size - 1] = '\0';
        return zuliNoError;
    } catch (const zuli::InfoException& ex) {
        zuli::setLastInfo(ex.info());
        return static_cast<zuliStatus>(ex.status());
    } catch (...) {
        return zuliUnspecifiedError;
    }
}

}  // extern "C"
