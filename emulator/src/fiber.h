// fiber.h - the execution engine of emulated kernels: runs a grid block after block on the
// calling host thread, the threads of a block as cooperative fibers.
//
// A block starts with thread 0 on a fiber. If it finishes without reaching __syncthreads, the
// kernel has no barrier on this path and the other threads run as plain calls (host-loop speed);
// one of them reaching __syncthreads then is a divergent barrier. If thread 0 stops at a barrier,
// every thread gets a fiber and the block advances phase by phase: each thread runs to its next
// barrier or to its end; a phase that ends with some threads at a barrier and others finished is
// a divergent barrier.
#pragma once

#include <cuda_runtime_api.h>

#include <cstddef>

namespace emu {

// Runs every thread of every block: runThread(closure) once per thread, with the built-in
// variables set. Returns false when a divergent __syncthreads was found; it is reported once
// per grid (emu::violation with cudaErrorLaunchFailure, naming op) and the grid still runs to
// its end.
bool runGrid(const char* op, dim3 grid, dim3 block, void (*runThread)(void*), void* closure);

// Fiber stacks: usable bytes per fiber (a guard page below each is extra).
std::size_t fiberStackBytes();

// Fibers the calling host thread holds in its pool (they are reused from grid to grid).
std::size_t fiberPoolSize();

}  // namespace emu
