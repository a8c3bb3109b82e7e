"""NumPy, unchanged, on the GPU: run with the drop-in LAPACK preloaded,

    LD_PRELOAD=/path/to/libzuli_dropin_emu.so python3 dropin_numpy.py   (emulated GPU)
    LD_PRELOAD=/path/to/libzuli_dropin.so python3 dropin_numpy.py       (a real GPU)

solves a 2000 x 2000 system with numpy.linalg.solve, prints the residual and, on the emulated GPU,
how much of the work ran on the device (its counters, zuli_emu.h, reached through the preloaded
library). Exits 1 when the residual is too large."""
import ctypes
import sys
import time

import numpy as np

n = 2000
rng = np.random.default_rng(2024)
a = rng.standard_normal((n, n))
b = rng.standard_normal(n)

process = ctypes.CDLL(None)
emulated = hasattr(process, "zuliEmuGetCounters")
if emulated:
    process.zuliEmuResetCounters()
start = time.perf_counter()
x = np.linalg.solve(a, b)
seconds = time.perf_counter() - start

residual = np.linalg.norm(a @ x - b, np.inf) / (
    np.linalg.norm(a, np.inf) * np.linalg.norm(x, np.inf) * n * np.finfo(float).eps)
print(f"numpy.linalg.solve, n = {n}: {seconds:.2f} s, residual ||Ax - b|| / (||A|| ||x|| n eps) = "
      f"{residual:.3f}")

if emulated:
    class Counters(ctypes.Structure):
        _fields_ = [(name, ctypes.c_ulonglong) for name in
                    "h2dCopies h2dBytes d2hCopies d2hBytes d2dCopies d2dBytes h2hCopies h2hBytes "
                    "memsets memsetBytes launches syncs blasCalls".split()] + \
                   [("blasFlops", ctypes.c_double)] + \
                   [(name, ctypes.c_ulonglong) for name in
                    "deviceAllocs deviceFrees pinnedAllocs pinnedFrees liveDeviceBytes "
                    "peakDeviceBytes livePinnedBytes".split()]
    c = Counters()
    process.zuliEmuGetCounters(ctypes.byref(c))
    total = 2 / 3 * n ** 3 + 2 * n ** 2  # LU and the two triangular solves
    print(f"on the emulated GPU: {c.blasFlops / 1e9:.2f} of {total / 1e9:.2f} GFLOP "
          f"({100 * c.blasFlops / total:.1f} %) in {c.blasCalls} cuBLAS calls and {c.launches} "
          f"kernels; {(c.h2dBytes + c.d2hBytes) / 1e6:.0f} MB over the bus "
          f"({(c.h2dBytes + c.d2hBytes) / (8 * n * n):.1f} x the matrix)")
    if c.blasFlops == 0:
        print("the drop-in did not send the solve to the library")
        sys.exit(1)
sys.exit(0 if residual < 60 else 1)
