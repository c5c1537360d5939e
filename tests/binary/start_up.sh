#!/bin/sh
# usage: start_up.sh LIBRARY OBJECT...: nothing of the library runs when it is loaded; what is relocated is told.
set -eu
library=$1; shift
[ $# -gt 0 ] || { echo "no objects"; exit 1; }
if readelf -SW "$@" | grep -E ' \.(preinit_array|init_array|fini_array|ctors|dtors)'; then
    echo "a static constructor or destructor in one of the objects"
    exit 1
fi
# One of each is the compiler's own start-up file's.
for array in init_array fini_array; do
    size=$(readelf -SW "$library" | awk -v name=".$array" '{ for (i = 1; i < NF; ++i) if ($i == name) print $(i + 4) }')
    address=$(readelf -h "$library" | awk '/Class:/ { print substr($2, 4) / 8 }')
    [ "$((0x${size:-0} / address))" -le 1 ] || { echo ".$array has 0x$size bytes"; exit 1; }
done
readelf -rW "$library" | grep -c ' R_' | sed 's/$/ relocations/'
