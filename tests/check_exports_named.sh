#!/bin/sh
# Every C symbol the library exports is named somewhere in src/ (the comment above its export row,
# or the function that defines it), so that a search for a symbol leads to its definition.
#   check_exports_named.sh <library.so> <src directory>
set -eu
lib=$1
src=$2
missing=0
for sym in $(nm -D --defined-only "$lib" | awk '$2 == "T" && $3 ~ /^zuli/ { print $3 }'); do
    if ! grep -rqw -- "$sym" "$src"; then
        echo "not named in $src: $sym"
        missing=$((missing + 1))
    fi
done
[ "$missing" -eq 0 ] || { echo "$missing exported symbols are not named in $src"; exit 1; }
echo "every exported symbol of $(basename "$lib") is named in $src"
