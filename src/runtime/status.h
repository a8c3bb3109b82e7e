// status.h - how failures travel inside the library: the exception classes, the raise functions
// that algorithm code uses, the CUDA and cuBLAS error checks, and the two process-wide cells
// (last status, last info) that zuliGetErrorInfo reads.
//
// Algorithm code never produces a zuliStatus itself: it throws one of the exceptions below (or
// lets a check throw it), and only the call frame (frame.h) turns it into a status and an info.
#pragma once

#include "zuli_lapack.h"

#include <cublas_api.h>
#include <cuda_runtime_api.h>

#include <atomic>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>

namespace zuli {

// ---- library exceptions (no standard base on purpose: the frame matches them by type) --------

// An argument error (status 7, info = -position) or a LAPACK-style data condition (status 8,
// info > 0). The frame returns `status` and stores `info`; it does not mark the thread failed,
// so results computed up to a data error still reach the caller. A negative info from an
// internal host LAPACK call travels as status 10 (see raiseInternalLapackError).
class InfoException {
public:
    InfoException(int32_t info, int32_t status) : info_(info), status_(status) {}
    int32_t info() const { return info_; }
    int32_t status() const { return status_; }

private:
    int32_t info_;
    int32_t status_;
};

// A requested combination (precision, option, storage) is not implemented: status 6.
class FeatNotImplException {};

// The device lacks a capability. The frame has no row for it (status 13, info -1): the capability
// test of the frame itself produces status 4 without an exception.
class InsufficientComputeCapabilityException {};

// A reference handle passed in is not valid. No row of its own either (status 13, info -1).
class InvalidReferenceHandleException {};

// The three ways of raising an InfoException. Use these, never `throw InfoException` directly.
[[noreturn]] void raiseArgumentError(int32_t info);   // status 7; pass -position
[[noreturn]] void raiseDataError(int32_t info);       // status 8; pass the positive info
[[noreturn]] void raiseFromLapackInfo(int32_t info);  // status 7 when info < 1, else 8

// A negative info returned by a host LAPACK call the library made itself can only be an
// internal fault: it is reported as zuliRuntimeError with that info (never as an argument
// error of the caller, and never by terminating the process). A positive info is a data error.
// Does nothing for info == 0.
void checkHostLapackInfo(int32_t info);

[[noreturn]] void raiseFeatureNotImplemented();

}  // namespace zuli

namespace cudalib {

// A CUDA runtime call failed: status 10, info = the error code.
class CudaRuntimeException : public std::runtime_error {
public:
    CudaRuntimeException(cudaError_t code, const std::string& message)
        : std::runtime_error(message), code_(static_cast<int32_t>(code)) {}
    int32_t code() const { return code_; }

private:
    int32_t code_;
};

// A device or page-locked allocation failed: status 5. Derives from std::bad_alloc so that
// generic code that catches allocation failures sees it as one.
class CudaMemoryException : public std::bad_alloc {
public:
    CudaMemoryException() = default;
    explicit CudaMemoryException(const char* message) : message_(message) {}
    const char* what() const noexcept override { return message_; }

private:
    const char* message_ = "CUDA memory allocation failure";
};

// A cuBLAS call returned a status other than success: status 9, info = that status.
class CublasException : public std::runtime_error {
public:
    CublasException(cublasStatus_t status, const std::string& message)
        : std::runtime_error(message), status_(static_cast<int32_t>(status)) {}
    int32_t status() const { return status_; }

private:
    int32_t status_;
};

// A cuSPARSE call failed: status 10, info = the cuSPARSE status. (Nothing uses cuSPARSE yet; the
// class exists so that the frame's order of handlers is complete.)
class CusparseException : public std::runtime_error {
public:
    CusparseException(int32_t status, const std::string& message)
        : std::runtime_error(message), status_(status) {}
    int32_t status() const { return status_; }

private:
    int32_t status_;
};

// The CUDA error check: nothing for cudaSuccess, CudaMemoryException for the out-of-memory codes
// (cudaErrorMemoryAllocation, cudaErrorMemoryValueTooLarge), CudaRuntimeException otherwise.
void checkCuda(cudaError_t code);

// The cuBLAS status check: nothing for success, CudaMemoryException("CUBLAS Allocation Failure")
// for CUBLAS_STATUS_ALLOC_FAILED (so the caller sees status 5, not 9), CublasException otherwise.
void checkCublas(cublasStatus_t status);

}  // namespace cudalib

namespace zuli {

// The process-wide last-status and last-info cells. They are shared by all threads and written
// without a lock (the most recent failing call of any thread wins); relaxed atomics keep
// concurrent writes from being undefined behaviour without ordering anything.
struct ErrorCells {
    std::atomic<int32_t> lastStatus{0};
    std::atomic<int32_t> lastInfo{0};
};
ErrorCells& errorCells();

inline void setLastStatus(int32_t s) { errorCells().lastStatus.store(s, std::memory_order_relaxed); }
inline void setLastInfo(int32_t i) { errorCells().lastInfo.store(i, std::memory_order_relaxed); }
inline int32_t lastStatus() { return errorCells().lastStatus.load(std::memory_order_relaxed); }
inline int32_t lastInfo() { return errorCells().lastInfo.load(std::memory_order_relaxed); }

// The enumerator's own name ("zuliNoError", ...), "Invalid zuliStatus" out of range.
// For diagnostics only; not exported.
const char* statusName(int32_t status);

}  // namespace zuli
