#!/usr/bin/env bash
# Installs the build tree into a scratch prefix, then builds and runs an outside program against
# it with find_package (both flavors), with pkg-config (emulated flavor), and linked with the
# emulated flavor's library alone.
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
# Linked with the library alone and a run path to the prefix only: the library must find the
# emulated GPU beside itself.
cc -o "$work/app_alone" -DZULI_APP_LIBRARY_ONLY "$src/app.c" -I"$prefix/include" \
    -L"$libdir" -lzuli_lapack_emu -Wl,-rpath,"$libdir"
env -u LD_LIBRARY_PATH "$work/app_alone"
# A LAPACK program linked against the installed drop-in library before the host LAPACK.
cc -o "$work/dropin_app" "$src/dropin_app.c" -L"$libdir" -lzuli_dropin_emu -lopenblas \
    -Wl,-rpath,"$libdir"
env -u LD_LIBRARY_PATH ZULI_DROPIN_MIN_ORDER=1 "$work/dropin_app"
if pkg-config --exists zuli_lapack; then
    cc -o "$work/app_pc_gpu" "$src/app.c" $(pkg-config --cflags --libs zuli_lapack) \
        -I/usr/local/cuda/include -L/usr/local/cuda/lib64 -lcudart
    echo "pkg-config zuli_lapack: linked"
fi
echo "package check passed"
