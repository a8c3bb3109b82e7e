"""NumPy as Debian ships it (it calls the system LAPACK), with the drop-in library in place of the
system LAPACK: solve, inv, cholesky, det, qr and eig in every precision give what NumPy gives without it,
and the emulated GPU's counters show that the library did the work.

    numpy_check.py <libzuli_dropin_emu.so> [--alternative]

computes the results without the drop-in, then runs itself with the library preloaded
(LD_PRELOAD), or with --alternative as the system's liblapack.so.3 would be after
update-alternatives: a private directory whose liblapack.so.3 is the drop-in, found first through
LD_LIBRARY_PATH (the machine's configuration is not touched). ZULI_DROPIN_MIN_ORDER=64. Exits 77
(skipped) without NumPy."""
import ctypes
import os
import subprocess
import sys
import tempfile

try:
    import numpy as np
except ImportError:
    print("NumPy is not installed: skipped")
    sys.exit(77)

N = 160
DTYPES = [np.float32, np.float64, np.complex64, np.complex128]


def matrices(dtype):
    rng = np.random.default_rng(11)
    a = rng.standard_normal((N, N)) + N * np.eye(N)
    b = rng.standard_normal((N, 3))
    if np.issubdtype(dtype, np.complexfloating):
        a = a + 1j * rng.standard_normal((N, N))
        b = b + 1j * rng.standard_normal((N, 3))
    spd = a @ a.conj().T
    return a.astype(dtype), b.astype(dtype), spd.astype(dtype)


OPERATIONS = {
    "solve": lambda a, b, spd: np.linalg.solve(a, b),
    "inv": lambda a, b, spd: np.linalg.inv(a),
    "cholesky": lambda a, b, spd: np.linalg.cholesky(spd),
    "det": lambda a, b, spd: np.array(np.linalg.det(a / N)),  # of order 1
    # Q R and Q^H Q: A and I whoever factors (Q and R themselves depend on rounding).
    "qr": lambda a, b, spd: (lambda q, r: np.concatenate([q @ r, q.conj().T @ q]))(*np.linalg.qr(a)),
    # V diag(w) V^-1: A whoever solves (the order of w and the scaling of V depend on rounding).
    "eig": lambda a, b, spd: (lambda w, v: v @ np.diag(w) @ np.linalg.inv(v))(*np.linalg.eig(a)),
}


def results():
    return {f"{op}_{np.dtype(t).name}": f(*matrices(t)) for t in DTYPES for op, f in OPERATIONS.items()}


class Counters(ctypes.Structure):
    _fields_ = [(name, ctypes.c_ulonglong) for name in
                "h2dCopies h2dBytes d2hCopies d2hBytes d2dCopies d2dBytes h2hCopies h2hBytes "
                "memsets memsetBytes launches syncs blasCalls".split()] + \
               [("blasFlops", ctypes.c_double)] + \
               [(name, ctypes.c_ulonglong) for name in
                "deviceAllocs deviceFrees pinnedAllocs pinnedFrees liveDeviceBytes peakDeviceBytes "
                "livePinnedBytes".split()]


def check(reference_file):
    emu = ctypes.CDLL("libzuli_emu.so.0")  # loaded already: the drop-in brings the emulated GPU
    reference = np.load(reference_file)
    passed = failed = 0
    for t in DTYPES:
        eps = np.finfo(t).eps
        for op, f in OPERATIONS.items():
            key = f"{op}_{np.dtype(t).name}"
            emu.zuliEmuResetCounters()
            got = f(*matrices(t))
            counters = Counters()
            emu.zuliEmuGetCounters(ctypes.byref(counters))
            want = reference[key]
            error = np.linalg.norm(got - want) / max(np.linalg.norm(want), np.finfo(t).tiny)
            ok = error < 50 * N * eps and counters.blasFlops > 0
            passed, failed = passed + ok, failed + (not ok)
            if not ok:
                print(f"FAILED: {key}: relative difference {error:.3g}, "
                      f"device flops {counters.blasFlops:.3g}")
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    if len(sys.argv) == 3 and sys.argv[1] == "--check":
        sys.exit(check(sys.argv[2]))
    library = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as work:
        reference = os.path.join(work, "reference.npz")
        np.savez(reference, **results())
        env = dict(os.environ, ZULI_DROPIN_MIN_ORDER="64")
        if "--alternative" in sys.argv:
            os.symlink(library, os.path.join(work, "liblapack.so.3"))
            env["LD_LIBRARY_PATH"] = work + os.pathsep + env.get("LD_LIBRARY_PATH", "")
        else:
            env["LD_PRELOAD"] = library
        sys.exit(subprocess.run([sys.executable, __file__, "--check", reference], env=env).returncode)
