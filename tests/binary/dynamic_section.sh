#!/bin/sh
# usage: dynamic_section.sh LIBRARY MAJOR: versioned SONAME, no C++ run-time library among the needed ones.
set -eu
section=$(readelf -d "$1")
printf '%s\n' "$section" | grep -E 'NEEDED|SONAME'
printf '%s\n' "$section" | grep -q "SONAME.*\[liblpa\.so\.$2\]" || { echo "SONAME is not liblpa.so.$2"; exit 1; }
if printf '%s\n' "$section" | grep -qE 'NEEDED.*\[(libstdc\+\+|libgcc_s)'; then
    echo "the library needs the C++ run-time library"
    exit 1
fi
