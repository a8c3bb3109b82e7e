# Shared by scripts/test and scripts/demo: installs what is missing and configures/builds.
set -euo pipefail
ZULI_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
ZULI_JOBS=${ZULI_JOBS:-$(nproc)}
# One architecture keeps the GPU flavor's build short; an install build uses the full list.
ZULI_ARCH=${ZULI_ARCH:-90}

zuli_say() { printf '== %s\n' "$*"; }

# Debian packages the build and the tests need. Installed only when missing, so a second run is quick.
zuli_install_deps() {
    local pkgs=(cmake ninja-build g++ gfortran pkg-config ccache libopenblas-dev liblapacke-dev libgtest-dev
                python3-numpy)
    local missing=()
    for p in "${pkgs[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    if ((${#missing[@]})); then
        zuli_say "installing ${missing[*]}"
        local sudo=""
        [ "$(id -u)" -eq 0 ] || sudo="sudo"
        $sudo apt-get update -qq
        DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
    fi
    if [ -d /usr/local/cuda/bin ]; then
        export PATH="/usr/local/cuda/bin:$PATH"
    fi
    if ! command -v nvcc >/dev/null 2>&1; then
        zuli_say "nvcc not found: the GPU flavor is not built (the CUDA toolkit is expected in /usr/local/cuda)"
    fi
    # cuobjdump lists the device code inside the GPU flavor; the toolkit here ships without it,
    # PyPI has it. A test checks the library carries code for the architectures it was built for.
    local tools="$ZULI_ROOT/build/tools"
    if ! command -v cuobjdump >/dev/null 2>&1 && [ ! -x "$tools/nvidia/cu13/bin/cuobjdump" ]; then
        zuli_say "installing cuobjdump into $tools"
        python3 -m pip install --quiet --disable-pip-version-check --no-deps --target "$tools" \
            nvidia-cuda-cuobjdump==13.2.51 >/dev/null || zuli_say "could not install cuobjdump"
    fi
    if [ -x "$tools/nvidia/cu13/bin/cuobjdump" ]; then
        export PATH="$PATH:$tools/nvidia/cu13/bin"
    fi
}

# zuli_build <build dir> [cmake options...]
zuli_build() {
    local dir=$1; shift
    cmake -S "$ZULI_ROOT" -B "$dir" -G Ninja -DZULI_CUDA_ARCHITECTURES="$ZULI_ARCH" "$@" >/dev/null
    cmake --build "$dir" -j "$ZULI_JOBS"
}
