#!/bin/sh
# usage: install.sh BUILD-DIRECTORY SCRATCH-DIRECTORY EXPORTED-NAMES VERSION
# Installs into a staging directory and builds programs against that, where it lies: with pkg-config and with CMake.
set -eu
build=$1 scratch=$2 names=$3 version=$4
here=$(cd "$(dirname "$0")" && pwd)
fail() { echo "$*"; exit 1; }

rm -rf "$scratch"
mkdir -p "$scratch"
DESTDIR="$scratch/root" cmake --install "$build" --prefix /opt/lpa >"$scratch/install.log" || { cat "$scratch/install.log"; exit 1; }
prefix="$scratch/root/opt/lpa"
[ "$(cd "$scratch/root" && find . -type f ! -path './opt/lpa/*')" = "" ] || fail "files outside the prefix"
if grep -rlF "$build" "$prefix"; then fail "the build directory's path is in these files"; fi
LD_LIBRARY_PATH=$(dirname "$(find "$prefix" -name liblpa.so.1)")
export LD_LIBRARY_PATH

echo "== headers"
headers=$(cd "$prefix/include/liblpa" && find . -name '*.h' | sed 's,^\./,,' | LC_ALL=C sort)
for header in $headers; do echo "#include <$header>"; done >"$scratch/all_headers.h"
for language in c c++; do
    "${CC:-cc}" -x "$language" -fsyntax-only -Wall -Wextra -Werror -I"$prefix/include/liblpa" "$scratch/all_headers.h"
done
while read -r name; do
    grep -rqw "$name" "$prefix/include" || fail "$name is exported, but no installed header declares it"
done <"$names"

echo "== pkg-config"
PKG_CONFIG_PATH="$LD_LIBRARY_PATH/pkgconfig"
export PKG_CONFIG_PATH
[ "$(pkg-config --modversion liblpa)" = "$version" ] || fail "pkg-config gives version $(pkg-config --modversion liblpa)"
eval "${CC:-cc} -std=c11 -Wall -Werror \"$here/outside/program.c\" -o \"$scratch/program_c\" $(pkg-config --cflags --libs liblpa)"
eval "${CXX:-c++} -std=c++20 -Wall -Werror \"$here/outside/program.cpp\" -o \"$scratch/program_cpp\" $(pkg-config --cflags --libs liblpa)"
"$scratch/program_c"
"$scratch/program_cpp"

echo "== find_package"
cmake -G Ninja -S "$here/outside" -B "$scratch/outside" -DCMAKE_PREFIX_PATH="$prefix" -DWANTED_VERSION="$version" >/dev/null
cmake --build "$scratch/outside" -- --quiet
"$scratch/outside/program_c"
"$scratch/outside/program_cpp"

echo "== lpa"
[ "$("$prefix/bin/lpa" --version)" = "lpa $version" ] || fail "lpa --version"
for file in man/man1/lpa.1 bash-completion/completions/lpa zsh/site-functions/_lpa zsh/vendor-completions/_lpa; do
    [ -f "$prefix/share/$file" ] || fail "no share/$file"
done
