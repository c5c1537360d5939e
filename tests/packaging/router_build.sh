#!/bin/sh
# usage: router_build.sh SOURCE-DIRECTORY SCRATCH-DIRECTORY COMPILE-COMMANDS
# Builds library and program for a router whose libraries are trivial ones made here. COMPILE-COMMANDS are those of the
# desk build. The build directory is kept: a second run compiles what changed.
set -eu
source=$1 scratch=$2 desk_commands=$3
stand_ins=$source/tests/packaging/router
fail() { echo "$*"; exit 1; }

system=$scratch/system vendor="$scratch/vendor's" build=$scratch/build
rm -rf "$system" "$vendor"
mkdir -p "$system/lib" "$system/include" "$vendor/lib"
cp -r "$stand_ins/libubus.h" "$stand_ins/libubox" "$system/include"
stand_in() { # SOURCE LIBRARY LINK-OPTION...
    stand_in_source=$stand_ins/$1 library=$2; shift 2
    "${CC:-cc}" -shared -fPIC -I"$source" -I"$system/include" "$stand_in_source" -o "$library" "$@"
}
# The bus's libraries lie under their link names only: linking the program has to do without what the library needs, as
# a cross linker does.
stand_in ubox.c "$system/lib/libubox.so" -Wl,-soname,libubox.so.20230523
stand_in ubus.c "$system/lib/libubus.so" -Wl,-soname,libubus.so.20230605
stand_in lgsm.c "$vendor/lib/liblgsm.so" -Wl,-soname,liblgsm.so
stand_in lmnfinfo.c "$vendor/lib/liblmnfinfo.so" # many vendors' libraries have no SONAME

echo "== without the vendor's libraries nothing is configured"
if cmake -G Ninja -S "$source" -B "$scratch/incomplete" -DLPA_PLATFORM=router -DCMAKE_PREFIX_PATH="$system" \
    >"$scratch/incomplete.log" 2>&1; then fail "it is"; fi
grep -q LGSM_LIBRARY "$scratch/incomplete.log" || fail "the message does not tell what is missing"

echo "== the library alone needs no other headers"
cmake -G Ninja -S "$source" -B "$scratch/library" -DLPA_TESTS=OFF -DLPA_SIMULATOR=OFF -DLPA_PROGRAM=OFF \
    -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON -DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON \
    -DLPA_PLATFORM=router -DCMAKE_PREFIX_PATH="$system;$vendor" >"$scratch/library.log" 2>&1 ||
    fail "$(cat "$scratch/library.log")"

echo "== build"
cmake -G Ninja -S "$source" -B "$build" -DCMAKE_BUILD_TYPE=MinSizeRel -DLPA_TESTS=OFF -DLPA_SIMULATOR=OFF \
    -DLPA_PLATFORM=router -DCMAKE_PREFIX_PATH="$system" -DCMAKE_SHARED_LINKER_FLAGS=-Wl,--no-as-needed \
    -DLGSM_LIBRARY="$vendor/lib/liblgsm.so" -DLMNFINFO_LIBRARY="$vendor/lib/liblmnfinfo.so" >"$scratch/configure.log" ||
    fail "$(cat "$scratch/configure.log")"
cmake --build "$build" -j 2 -- --quiet

echo "== needed libraries" # all that are linked; many compilers leave out what no symbol is taken from, not all do
needed() { readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | LC_ALL=C sort; }
needed "$build/liblpa.so.1" | sed -E 's/^libcurl(-gnutls)?\.so\.4$/libcurl/; s/^ld-linux.*//; /^$/d' >"$scratch/needed"
printf '%s\n' libc.so.6 libcurl liblgsm.so liblmnfinfo.so libubox.so.20230523 libubus.so.20230605 |
    diff - "$scratch/needed" || fail "'<' is missing, '>' is too much"
size "$build/liblpa.so.1"

echo "== nothing of ours stands in for them, installed or built"
DESTDIR="$scratch/root" cmake --install "$build" --prefix /usr >/dev/null
if find "$build" "$scratch/root" -name '*lpa_bus*' -o -name '*lpa_modem*' -o -name '*lpa_factory*' | grep .; then exit 1; fi
if readelf -d "$scratch/root/usr/lib/liblpa.so.1" | grep -E 'RPATH|RUNPATH'; then fail "a path of the build machine"; fi

echo "== the same sources, knowing nothing of it"
definitions() { grep '"command".*lpa_objects\.dir' "$1" | grep -oE -- '-[DU][^ ]+' | LC_ALL=C sort -u; }
definitions "$desk_commands" >"$scratch/desk"
definitions "$build/compile_commands.json" | diff "$scratch/desk" - || fail "definitions of the two builds differ"

echo "== the program finds them"
ln -s libubox.so "$system/lib/libubox.so.20230523"
ln -s libubus.so "$system/lib/libubus.so.20230605"
LD_LIBRARY_PATH="$scratch/root/usr/lib:$system/lib:$vendor/lib" "$scratch/root/usr/bin/lpa" --version

echo "== packages without the desk's libraries"
rm -rf "$scratch/packages"
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$scratch/packages" >"$scratch/cpack.log" 2>&1 || fail "$(cat "$scratch/cpack.log")"
[ "$(find "$scratch/packages" -maxdepth 1 -name '*.deb' | wc -l)" = 3 ] || fail "not three packages"
dpkg-deb -f "$scratch/packages"/liblpa1_*.deb Depends | grep -v lpa-desk
