#!/usr/bin/env bash
# The GPU flavor must carry device code for every architecture it was built for.
set -euo pipefail
cuobjdump=$1; lib=$2; shift 2
listing=$("$cuobjdump" --list-elf "$lib")
echo "$listing"
for arch in "$@"; do
    case "$arch" in *-virtual) continue ;; esac
    arch=${arch%-real}
    grep -q "sm_${arch}\.cubin" <<<"$listing" || { echo "no sm_${arch} code in $lib"; exit 1; }
done
echo "device code present for: $*"
