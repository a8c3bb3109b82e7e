#!/usr/bin/env bash
# Installs the build tree into a scratch prefix, then builds and runs an outside program against
# it with find_package (both flavors) and with pkg-config (emulated flavor).
set -euo pipefail
build=$1; src=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

cmake -S "$src" -B "$work/app" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/app" >/dev/null
"$work/app/app_emu"
if [ -x "$work/app/app_gpu" ]; then
    echo "app_gpu built against the GPU flavor"
fi

export PKG_CONFIG_PATH=$prefix/lib/pkgconfig:$prefix/lib64/pkgconfig:$(ls -d "$prefix"/lib/*/pkgconfig 2>/dev/null | tr '\n' ':')
cc -o "$work/app_pc" "$src/app.c" $(pkg-config --cflags --libs zuli_lapack_emu)
libdir=$(pkg-config --variable=libdir zuli_lapack_emu)
LD_LIBRARY_PATH=$libdir "$work/app_pc"
if pkg-config --exists zuli_lapack; then
    cc -o "$work/app_pc_gpu" "$src/app.c" $(pkg-config --cflags --libs zuli_lapack) \
        -I/usr/local/cuda/include -L/usr/local/cuda/lib64 -lcudart
    echo "pkg-config zuli_lapack: linked"
fi
echo "package check passed"
