/*
 * zuli_emu.h - control interface of the emulated GPU.
 *
 * The emulated GPU implements, on the CPU, the part of the CUDA runtime API and of the cuBLAS v2
 * API that libzuli_lapack uses, under the toolkit's own symbols. This header is the side door a
 * test or a program uses to steer it: how many devices there are and what they look like, which
 * versions the runtime reports, how deferred work is scheduled, which faults to inject, and what
 * the counters say. It is plain C (usable from C99 and C++) and includes no CUDA header.
 *
 * Everything here is process-wide and thread-safe.
 */
#ifndef ZULI_EMU_H
#define ZULI_EMU_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------------------
 * Devices
 * ------------------------------------------------------------------------------------------- */

/* What one emulated device reports through cudaGetDeviceProperties / cudaDeviceGetAttribute. */
typedef struct zuliEmuDeviceConfig {
    char name[256];
    int major;                   /* compute capability, default 9.0 */
    int minor;
    unsigned long long totalMem; /* bytes of global memory */
    int multiProcessorCount;
    int clockRateKHz;            /* reported through cudaDevAttrClockRate */
    int memoryClockRateKHz;      /* cudaDevAttrMemoryClockRate */
    int memoryBusWidth;
    int maxThreadsPerBlock;
    int maxThreadsDim[3];
    int maxGridSize[3];
    size_t sharedMemPerBlock;
    int warpSize;
    size_t memPitch;             /* largest pitch accepted by 2-D copies and cudaMallocPitch */
    size_t textureAlignment;
    size_t texturePitchAlignment; /* alignment of the pitch cudaMallocPitch returns */
    int asyncEngineCount;        /* 0: copies cannot overlap kernels */
    int concurrentKernels;
} zuliEmuDeviceConfig;

/* Fills *cfg with the default device (an sm_90 class GPU). */
void zuliEmuDefaultDeviceConfig(zuliEmuDeviceConfig* cfg);

/* Sets the number of emulated devices (0..16); every device gets the default configuration.
 * Returns 0 on success, -1 when n is out of range or device memory is still allocated on a
 * device that would disappear. */
int zuliEmuSetDeviceCount(int n);

/* Replaces the configuration of device dev. Returns 0, or -1 for a bad index. */
int zuliEmuConfigureDevice(int dev, const zuliEmuDeviceConfig* cfg);

/* Reads the configuration of device dev. Returns 0, or -1 for a bad index. */
int zuliEmuGetDeviceConfig(int dev, zuliEmuDeviceConfig* cfg);

/* Convenience setters for the most common changes on one device. Return 0, or -1. */
int zuliEmuSetComputeCapability(int dev, int major, int minor);
int zuliEmuSetTotalMemory(int dev, unsigned long long bytes);
int zuliEmuSetMaxGridSize(int dev, int x, int y, int z);
int zuliEmuSetAsyncEngineCount(int dev, int count);

/* Versions in the CUDA encoding (1000 * major + 10 * minor); by default those of the toolkit the
 * emulator was built with: CUDART_VERSION for the runtime and the driver, CUBLAS_VERSION for cuBLAS
 * (which encodes major * 10000 + minor * 100 + patch). */
void zuliEmuSetVersions(int runtimeVersion, int driverVersion, int cublasVersion);

typedef enum zuliEmuMode {
    ZULI_EMU_MODE_NORMAL = 0,    /* devices present */
    ZULI_EMU_MODE_NO_DEVICE = 1, /* driver present, no device: cudaErrorNoDevice */
    ZULI_EMU_MODE_NO_DRIVER = 2  /* no driver: cudaErrorInsufficientDriver */
} zuliEmuMode;
void zuliEmuSetMode(zuliEmuMode mode);

/* ---------------------------------------------------------------------------------------------
 * Scheduling and strictness
 * ------------------------------------------------------------------------------------------- */

typedef enum zuliEmuSchedule {
    /* Work runs when it is issued, in issue order. */
    ZULI_EMU_SCHEDULE_EAGER = 0,
    /* Work is deferred until CUDA's rules force it (a synchronisation, an event wait, a
     * synchronous call, the legacy default stream's implicit ordering); ready work of
     * independent streams runs in a seeded random order. The default. */
    ZULI_EMU_SCHEDULE_ADVERSARIAL = 1
} zuliEmuSchedule;
void zuliEmuSetSchedule(zuliEmuSchedule schedule, unsigned long long seed);

/* strict != 0 (the default): a violation (a bad device pointer or extent, a host pointer used as
 * device memory, a divergent __syncthreads, and what pedantic mode adds) is printed with the
 * operation's name and the offending pointer, and the process aborts.
 * strict == 0: the violation is recorded (see zuliEmuViolationCount) and reported the way a GPU
 * reports it, as the sticky error cudaErrorIllegalAddress (a divergent barrier as
 * cudaErrorLaunchFailure). */
void zuliEmuSetStrict(int strict);

/* Pedantic mode, off by default, also reports as violations three things that a GPU runs
 * correctly but that code written for speed avoids (libzuli_lapack's own tests run with it on):
 *   - cudaFree, cudaFreeHost or cudaHostUnregister of memory that pending work uses ("... freed
 *     while pending work uses it (<the work>)"). By default the call first waits for the device,
 *     as the runtime's implicit synchronisation does: the pending work of the current device and
 *     of every device that uses the memory runs (with what it depends on), and the call returns
 *     the error that work raised, if any (a sticky error; the memory then stays allocated until
 *     cudaDeviceReset). In pedantic mode a free waits for nothing, so that code which relies on
 *     this wait for other work also fails;
 *   - page-locked memory of cudaMallocHost / cudaHostAlloc (not write-combined) used directly as
 *     device memory by a kernel, a cuBLAS call or a memset ("page-locked host memory used as
 *     device memory"). By default it is accepted: unified addressing makes it reachable from
 *     every device through its host address;
 *   - a copy whose host side starts in memory registered with cudaHostRegister and runs past the
 *     registered range ("overruns the page-locked block"). By default it is a copy of pageable
 *     memory (the range may be part of a larger host array).
 * pedantic != 0 turns it on, 0 off. zuliEmuReset turns it off, or on when the environment variable
 * ZULI_EMU_PEDANTIC is set to anything but "0" (which also decides at start-up). */
void zuliEmuSetPedantic(int pedantic);

unsigned long long zuliEmuViolationCount(void);
/* Text of the most recent violation ("" if none); valid until the next violation or reset. */
const char* zuliEmuLastViolation(void);

/* ---------------------------------------------------------------------------------------------
 * Fault injection. k counts from the moment of the call, 1 being the next one; k = 0 disarms.
 * A fault fires once.
 * ------------------------------------------------------------------------------------------- */

/* The k-th device allocation (cudaMalloc, cudaMallocPitch) fails with cudaErrorMemoryAllocation. */
void zuliEmuFailDeviceAlloc(int k);
/* The k-th page-locked allocation (cudaMallocHost, cudaHostAlloc) fails likewise. */
void zuliEmuFailPinnedAlloc(int k);
/* The k-th call of the cuBLAS function `name` (its v2 symbol, as "cublasDgemm_v2", or NULL for
 * any cuBLAS call) does nothing and returns `status`. */
void zuliEmuFailBlasCall(const char* name, int k, int status);
/* The k-th call of the CUDA runtime function `name` (as "cudaMemcpy2DAsync", or NULL for any
 * runtime call other than error queries) does nothing and returns `error`, which also becomes
 * the runtime's last error (sticky if that error is sticky on a GPU). */
void zuliEmuFailCudaCall(const char* name, int k, int error);
/* The number of armed faults that have not fired yet (0 once every fault armed has fired or been
 * disarmed): tells a test whether the operation it ran reached the point it aimed at. */
int zuliEmuArmedFaults(void);
/* The function the most recent fault fired in ("cudaFree", "cublasDgemm_v2", "device allocation",
 * "page-locked allocation"; "" if none since the last reset). Valid until the next call on the
 * same thread. */
const char* zuliEmuLastFiredFault(void);

/* ---------------------------------------------------------------------------------------------
 * Counters (since the last zuliEmuResetCounters or zuliEmuReset)
 * ------------------------------------------------------------------------------------------- */

typedef struct zuliEmuCounters {
    unsigned long long h2dCopies, h2dBytes; /* host to device */
    unsigned long long d2hCopies, d2hBytes; /* device to host */
    unsigned long long d2dCopies, d2dBytes; /* device to device */
    unsigned long long h2hCopies, h2hBytes; /* host to host through the runtime */
    unsigned long long memsets, memsetBytes;
    unsigned long long launches;            /* kernel launches that ran or were queued */
    unsigned long long syncs;               /* host waits: stream, event, device, synchronous calls */
    unsigned long long blasCalls;           /* cuBLAS operations (not handle or mode calls) */
    double blasFlops;                       /* their floating-point operations (complex counted as 4/2 real) */
    unsigned long long deviceAllocs, deviceFrees;
    unsigned long long pinnedAllocs, pinnedFrees;
    unsigned long long liveDeviceBytes, peakDeviceBytes;
    unsigned long long livePinnedBytes;
} zuliEmuCounters;

void zuliEmuGetCounters(zuliEmuCounters* out);
void zuliEmuResetCounters(void);

/* cuBLAS operations by name, without precision prefix or suffix ("gemm", "trsm", "dot"):
 * calls and flops since the last reset. */
unsigned long long zuliEmuBlasOpCalls(const char* op);
double zuliEmuBlasOpFlops(const char* op);

/* The sizes in bytes of the device allocations since the last reset, in order. Returns how many
 * there were; copies at most max of them into sizes (which may be NULL when max is 0). */
size_t zuliEmuDeviceAllocationLog(unsigned long long* sizes, size_t max);

/* ---------------------------------------------------------------------------------------------
 * Reset
 * ------------------------------------------------------------------------------------------- */

/* Completes all pending work, then restores the defaults: one device of the default
 * configuration, default versions and mode, the adversarial schedule with its default seed,
 * strict mode, pedantic mode as the environment sets it; disarms all faults; clears counters,
 * violations and the runtime's last error. Live allocations, streams, events and cuBLAS handles
 * stay valid. */
void zuliEmuReset(void);

#ifdef __cplusplus
}
#endif

#endif /* ZULI_EMU_H */
