/*
 * zuli_lapack.h - public interface of libzuli_lapack.
 *
 * Dense linear algebra with LAPACK and BLAS semantics, computed on NVIDIA GPUs.
 *
 * Usage in brief: call zuliInitialize() on every host thread that uses the library, call the
 * routines, read each routine's zuliStatus (and, on failure, zuliGetErrorInfo() and
 * zuliGetErrorInfoString()), and call zuliShutdown() on each of those threads at the end.
 *
 * Conventions shared by every routine:
 *   - Routines come in up to four precisions, marked by the letter after the prefix:
 *     S (float), D (double), C (zuliComplexFloat), Z (zuliComplexDouble).
 *   - Matrices are column-major with a leading dimension; pivots and info values are 1-based as
 *     in LAPACK.
 *   - The host interface zuliXyyy takes matrices in host memory; the device interface
 *     zuliDeviceXyyy takes matrices that already live in GPU memory (the zuliDevice* pointer
 *     types below mark those arguments).
 *   - Every routine returns a zuliStatus and never lets an exception escape. A bad argument
 *     gives zuliArgumentError with zuliGetErrorInfo() = minus its 1-based position.
 *   - Which arguments are checked: every host routine checks all of its arguments before it
 *     touches anything, and so does every device routine of LAPACK's kind (factorizations,
 *     solvers, utilities), with the same table and order as its host twin. The device BLAS
 *     routines (zuliDeviceXgemm, ...) are the exception: they check no argument and pass
 *     everything to cuBLAS as it is (see zuli_lapack_blas.h).
 *   - D and Z routines need a device of compute capability 1.3 or higher.
 *
 * The header is C99 and C++ and needs no CUDA header.
 */
#ifndef ZULI_LAPACK_H
#define ZULI_LAPACK_H

#include <stddef.h>
#include <stdint.h>

/* Every exported function carries ZULI_API: the library is built with hidden visibility. */
#if defined(_WIN32)
#define ZULI_API
#elif defined(__GNUC__) || defined(__clang__)
#define ZULI_API __attribute__((visibility("default")))
#else
#define ZULI_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* =============================================================================================
 * Statuses and error information
 * =========================================================================================== */

/* The outcome of every routine. The numbering is part of the binary interface. */
typedef enum zuliStatus {
    zuliNoError = 0,                       /* "No errors" */
    zuliNotInitialized = 1,                /* zuliInitialize has not been called */
    zuliNoHardware = 2,                    /* no usable GPU */
    zuliInsufficientRuntime = 3,           /* CUDA runtime, driver or cuBLAS too old */
    zuliInsufficientComputeCapability = 4, /* the device cannot run this precision */
    zuliInsufficientMemory = 5,            /* a device or page-locked allocation failed */
    zuliFeatureNotImplemented = 6,
    zuliArgumentError = 7,                 /* info = minus the position of the bad argument */
    zuliDataError = 8,                     /* info = the LAPACK info (e.g. the zero pivot) */
    zuliBlasError = 9,                     /* info = the cuBLAS status */
    zuliRuntimeError = 10,                 /* info = the CUDA error code, or -1 */
    zuliBadStorageFormat = 11,
    zuliInvalidReferenceHandle = 12,
    zuliUnspecifiedError = 13              /* info = -1 */
} zuliStatus;

/* Qualifies the status of the most recent failing call (see zuliGetErrorInfo). */
typedef int32_t zuliInfo;

/* The fixed text of a status; "Invalid zuliStatus" for any value outside 0..13. Never NULL. */
ZULI_API const char* zuliGetStatusString(zuliStatus e);

/* The info value of the most recent framed call of any thread in the process. The cell is
 * process-wide and unlocked: when two threads fail at once, one overwrites the other. */
ZULI_API zuliInfo zuliGetErrorInfo(void);

/* Formats a detailed message for a (status, info) pair into buf (bufsize bytes, always
 * terminated, truncated as snprintf does). Statuses without details give an empty string.
 * Returns zuliArgumentError (info -1, -3 or -4) for e > 13, a NULL buf or bufsize < 1.
 * Needs no initialisation. */
ZULI_API zuliStatus zuliGetErrorInfoString(zuliStatus e, zuliInfo info, char* buf, int bufsize);

/* =============================================================================================
 * Element types
 * =========================================================================================== */

/* Complex numbers, real part first. Layout-compatible with cuComplex / cuDoubleComplex,
 * std::complex<float> / std::complex<double> and C99 float _Complex / double _Complex: a pointer
 * to any of them may be passed where a zuliComplexFloat* / zuliComplexDouble* is expected. */
typedef struct zuliComplexFloat {
    float re, im;
} zuliComplexFloat;

typedef struct zuliComplexDouble {
    double re, im;
} zuliComplexDouble;

/* Element types of arrays that live in GPU memory. They are the host types under another name:
 * a zuliDeviceFloat* argument must point into device memory (from cudaMalloc or equivalent),
 * never into host memory. */
typedef float zuliDeviceFloat;
typedef double zuliDeviceDouble;
typedef zuliComplexFloat zuliDeviceComplexFloat;
typedef zuliComplexDouble zuliDeviceComplexDouble;
typedef int zuliDeviceInt;

/* =============================================================================================
 * Lifecycle
 * =========================================================================================== */

/* Registers the calling thread and, on the first call in the process, checks that the CUDA
 * runtime and driver (6000 or newer, driver not older than runtime) and cuBLAS are recent
 * enough and that a usable GPU exists. Creates the thread's cuBLAS handle for its current
 * device. Returns zuliNoHardware when there is no usable GPU, zuliInsufficientRuntime when a
 * version check fails. A second call while the process is initialised only registers the thread
 * (a thread is registered once however often it calls). Sets the environment variable
 * KMP_DUPLICATE_LIB_OK to TRUE. */
ZULI_API zuliStatus zuliInitialize(void);

/* Unregisters the calling thread and destroys its cuBLAS handles. When the last registered
 * thread leaves, the work-space pools are released, the call hooks cleared and the process
 * becomes uninitialised. Does nothing when the process is not initialised. */
ZULI_API void zuliShutdown(void);

/* A hook called around every framed routine, with the user data given to zuliSetCallHooks. */
typedef void (*zuliCallHook)(void* userData);

/* Installs the four call hooks (any of them may be NULL): hostEntry/hostExit run around every
 * host-interface routine, deviceEntry/deviceExit around every device-interface routine. The
 * entry hook runs after the initialisation and capability checks, the exit hook just before the
 * routine returns, whatever its status. Hooks must not call the library. They stay installed
 * until replaced or until the last zuliShutdown. Returns zuliNoError; needs no initialisation. */
ZULI_API zuliStatus zuliSetCallHooks(zuliCallHook hostEntry, zuliCallHook hostExit,
                                     zuliCallHook deviceEntry, zuliCallHook deviceExit,
                                     void* userData);

/* Nonzero while the calling thread is inside a routine of the library, between its entry and its
 * return (its hooks and its host steps included), 0 otherwise; other threads' calls do not count.
 * For layers that route calls into the library (a LAPACK interface in front of it, say) and must
 * not call it again from inside it: the library's host steps call the host LAPACK by its usual
 * names, which such a layer may have taken over. Needs no initialisation, touches neither error
 * cell and allocates nothing. */
ZULI_API int zuliIsInCall(void);

/* =============================================================================================
 * Devices and versions
 * =========================================================================================== */

/* Stores the number of usable GPUs in *dev (0 on a machine without driver or device, with
 * status zuliNoError). Needs no initialisation. NULL dev: zuliArgumentError, info -1. */
ZULI_API zuliStatus zuliGetDeviceCount(int* dev);

/* Makes device dev (0 <= dev < zuliGetDeviceCount) current for the calling thread. Needs no
 * initialisation. A bad index: zuliArgumentError, info -1. */
ZULI_API zuliStatus zuliSelectDevice(int dev);

/* Stores the calling thread's current device in *dev. Requires initialisation. */
ZULI_API zuliStatus zuliGetExecutingDevice(int* dev);

/* Writes "<name> (<memory>)" for device dev into buf (at most bufsize bytes, terminated).
 * Needs no initialisation. Bad dev, NULL buf, bufsize < 1: info -1, -2, -3. */
ZULI_API zuliStatus zuliGetDeviceInfo(int dev, char* buf, int bufsize);

/* Versions in the CUDA encoding (1000 * major + 10 * minor). None needs initialisation and none
 * touches the error cells. */
ZULI_API int zuliGetVersion(void);              /* this library */
ZULI_API int zuliGetCudaMinimumVersion(void);   /* oldest CUDA runtime/driver accepted */
ZULI_API int zuliGetCudaRuntimeVersion(void);   /* the runtime found, 0 if it cannot say */
ZULI_API int zuliGetCudaDriverVersion(void);    /* the driver found, 0 if it cannot say */
ZULI_API int zuliGetCublasMinimumVersion(void); /* oldest cuBLAS accepted */
ZULI_API int zuliGetCublasRuntimeVersion(void); /* the cuBLAS found */

/* =============================================================================================
 * Device memory
 * =========================================================================================== */

/* Stores in *pitch the leading dimension (in elements) recommended for a device matrix of
 * `rows` rows whose elements are elesize bytes (4, 8 or 16). cols is checked only. Requires
 * initialisation. NULL pitch, rows < 0, cols < 0, bad elesize: info -1, -2, -3, -4. */
ZULI_API zuliStatus zuliGetOptimalPitch(int* pitch, int rows, int cols, int elesize);

/* Returns the unused blocks of the library's device work-space pools to the device. Blocks in
 * use by a running routine stay allocated. Does nothing when the library is not initialised. */
ZULI_API void zuliFreeBuffers(void);

#ifdef __cplusplus
} /* extern "C" */

#include <complex>
#include <cstddef>

static_assert(sizeof(zuliComplexFloat) == 2 * sizeof(float), "zuliComplexFloat must be two floats");
static_assert(alignof(zuliComplexFloat) == alignof(float), "zuliComplexFloat must align as float");
static_assert(offsetof(zuliComplexFloat, im) == sizeof(float), "imaginary part follows the real");
static_assert(sizeof(zuliComplexDouble) == 2 * sizeof(double), "zuliComplexDouble: two doubles");
static_assert(alignof(zuliComplexDouble) == alignof(double), "zuliComplexDouble: align as double");
static_assert(offsetof(zuliComplexDouble, im) == sizeof(double), "imaginary part follows the real");
static_assert(sizeof(zuliComplexFloat) == sizeof(std::complex<float>) &&
                  alignof(zuliComplexFloat) == alignof(std::complex<float>),
              "zuliComplexFloat must be layout-compatible with std::complex<float>");
static_assert(sizeof(zuliComplexDouble) == sizeof(std::complex<double>) &&
                  alignof(zuliComplexDouble) == alignof(std::complex<double>),
              "zuliComplexDouble must be layout-compatible with std::complex<double>");
#endif

/* The routines, by area: each header declares one family's exported functions (every
 * precision, host and device interface) and is included only through this one. */
#include "zuli_lapack_blas.h"
#include "zuli_lapack_auxiliary.h"
#include "zuli_lapack_householder.h"
#include "zuli_lapack_solvers.h"
#include "zuli_lapack_orthogonal.h"
#include "zuli_lapack_eigen.h"

#endif /* ZULI_LAPACK_H */
