#!/bin/sh
# Every C symbol the library exports is named somewhere in src/ (the comment above its export row,
# or the function that defines it), so that a search for a symbol leads to its definition.
#   check_exports_named.sh <library.so> <src directory> [symbol pattern, default ^zuli]
set -eu
lib=$1
src=$2
pattern=${3:-^zuli}
missing=0
for sym in $(nm -D --defined-only "$lib" | awk -v p="$pattern" '$2 == "T" && $3 ~ p { print $3 }'); do
    if ! grep -rqw -- "$sym" "$src"; then
        echo "not named in $src: $sym"
        missing=$((missing + 1))
    fi
done
[ "$missing" -eq 0 ] || { echo "$missing exported symbols are not named in $src"; exit 1; }
echo "every exported symbol of $(basename "$lib") is named in $src"
