// launch.cpp - the emulated kernel launch: configuration check, pointer translation, queuing.
//
// The template half lives in zuli_emu_kernel.h (it is instantiated for each kernel signature in
// the library); the functions here are what it calls. A launch never returns an error itself,
// as kernel<<<...>>> does not: errors become the runtime's last error.

// The dialect header comes before any CUDA header (it defines the CUDA keywords).
#include "zuli_emu_kernel.h"

#include "core_state.h"
#include "emu.h"
#include "fiber.h"

#include <string>
#include <utility>

namespace zuli_emu {

namespace {

bool configurationValid(const emu::DeviceLimits& limits, dim3 grid, dim3 block) {
    const unsigned blockDims[3] = {block.x, block.y, block.z};
    const unsigned gridDims[3] = {grid.x, grid.y, grid.z};
    for (int d = 0; d < 3; ++d) {
        if (blockDims[d] == 0 || gridDims[d] == 0) {
            return false;
        }
        if (blockDims[d] > unsigned(limits.maxThreadsDim[d]) ||
            gridDims[d] > unsigned(limits.maxGridSize[d])) {
            return false;
        }
    }
    const unsigned long long threads = static_cast<unsigned long long>(block.x) * block.y * block.z;
    return threads <= static_cast<unsigned long long>(limits.maxThreadsPerBlock);
}

}  // namespace

bool beginLaunch(const char* op, dim3 grid, dim3 block) {
    (void)op;
    // Fault injection, the no-device / no-driver modes and a sticky error come first, as for
    // every runtime call that uses the device.
    if (emu::deviceEntry("cudaLaunchKernel") != cudaSuccess) {
        return false;
    }
    if (!configurationValid(emu::limits(emu::currentDevice()), grid, block)) {
        emu::setError(cudaErrorInvalidConfiguration);
        return false;
    }
    return true;
}

void* translateKernelArg(const void* p, const char* op, std::size_t index) {
    const std::string what =
        std::string(op ? op : "kernel launch") + ": kernel argument " + std::to_string(index + 1);
    return emu::deviceRange(p, 0, what.c_str(), emu::currentDevice());
}

void submitGrid(const char* op, dim3 grid, dim3 block, cudaStream_t stream, GridBody body,
                std::vector<const void*> uses) {
    auto run = [op, grid, block, body = std::move(body)] {
        emu::runGrid(op, grid, block, body.runThread, body.closure.get());
    };
    if (emu::submit(stream, op, std::move(run), uses) == cudaSuccess) {
        emu::countLaunch();
    }
}

}  // namespace zuli_emu
