#!/bin/sh
# usage: exported_names.sh LIBRARY LIST: exactly the names of LIST are exported, none of them mangled.
set -eu
exported=$(nm -D --defined-only "$1" | awk '{ sub(/@.*/, "", $3); print $3 }' | LC_ALL=C sort)
if [ "${UPDATE:-}" ]; then
    printf '%s\n' "$exported" >"$2"
fi
printf '%s\n' "$exported" | diff "$2" - || { echo "'<' is missing, '>' is exported and not listed"; exit 1; }
