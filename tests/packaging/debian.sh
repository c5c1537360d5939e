#!/bin/sh
# usage: debian.sh BUILD-DIRECTORY SCRATCH-DIRECTORY VERSION
# Makes the Debian packages, unpacks them beside what they depend on and nothing else, and runs the program there.
set -eu
build=$1 scratch=$2 version=$3
packages="$scratch/packages" root="$scratch/root"
fail() { echo "$*"; exit 1; }

rm -rf "$scratch"
mkdir -p "$root"
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$packages" >"$scratch/cpack.log" 2>&1 || fail "$(cat "$scratch/cpack.log")"
architecture=$(dpkg --print-architecture)
field() { dpkg-deb -f "$packages/${1}_${version}_$architecture.deb" "$2"; }

echo "== fields"
expect() { # PACKAGE FIELD PATTERN
    value=$(field "$1" "$2")
    echo "$1 $2: $value"
    printf '%s\n' "$value" | grep -qE "$3" || fail "expected: $3"
}
expect liblpa1 Section '^libs$'
expect liblpa1 Depends "(^|, )lpa-desk \(= $version\)"
expect liblpa1 Depends 'libcurl4[a-z0-9]* \(>='
expect liblpa1 Depends 'libc6 \(>='
case $(field liblpa1 Depends) in *stdc++*) fail "the library needs the C++ library" ;; esac
expect lpa-desk Depends 'libstdc\+\+6'
expect liblpa-dev Section '^libdevel$'
expect liblpa-dev Depends "^liblpa1 \(= $version\)"
expect lpa Section '^net$'
expect lpa Depends "^liblpa1 \(= $version\)"
for package in liblpa1 lpa-desk liblpa-dev lpa; do
    expect $package Version "^$version\$"
    expect $package Description '^eSIM Local Profile Assistant'
    expect $package Maintainer '<.*@.*>'
    dpkg-deb -x "$packages/${package}_${version}_$architecture.deb" "$root"
done
dpkg-deb --ctrl-tarfile "$packages/liblpa1_${version}_$architecture.deb" | tar -xO ./shlibs |
    grep -qx "liblpa 1 liblpa1 (= $version)" || fail "programs that are packaged later do not find liblpa1"
dpkg-deb -c "$packages/liblpa-dev_${version}_$architecture.deb" | grep -q ' ./usr/lib/liblpa.so -> liblpa.so.1$' ||
    fail "liblpa-dev does not hold the link that linkers look for"

for file in usr/share/man/man1/lpa.1 usr/share/bash-completion/completions/lpa; do
    [ -f "$root/$file" ] || fail "the program's package holds no $file"
done

echo "== a root of nothing but these and their dependencies"
names() { tr ',' '\n' | sed -E 's/^ *([^ :|]+).*/\1/' | grep -v -e '^lpa' -e '^liblpa' -e '^$' | LC_ALL=C sort -u; }
{ field liblpa1 Depends; field lpa-desk Depends; field lpa Depends; } | names >"$scratch/closure"
while
    xargs dpkg-query -W -f '${Pre-Depends},${Depends},' <"$scratch/closure" | names | LC_ALL=C sort -u - "$scratch/closure" >"$scratch/larger"
    ! cmp -s "$scratch/larger" "$scratch/closure"
do mv "$scratch/larger" "$scratch/closure"; done
xargs dpkg -L <"$scratch/closure" | grep -E '\.so(\.|$)' | tar -cf - -T - 2>/dev/null | tar -xf - -C "$root"
[ "$(id -u)" = 0 ] || user_namespace=--map-root-user
# /proc tells a program where it lies, from where it finds lib/lpa-desk.
mkdir "$root/proc"
# shellcheck disable=SC2086,SC2016 # one word or none; the inner shell's argument
said=$(unshare ${user_namespace:-} --mount sh -c 'mount --rbind /proc "$1/proc" && chroot "$1" /usr/bin/lpa --version' sh "$root")
[ "$said" = "lpa $version" ] || fail "lpa does not run"
echo "lpa runs beside $(wc -l <"$scratch/closure") packages"
