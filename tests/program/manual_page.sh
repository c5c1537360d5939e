#!/bin/sh
# usage: manual_page.sh FILE
# The manual page is set without a warning and holds its sections.
set -eu
groff -man -Tascii -P-cbou -ww "$1" >page 2>warnings || { cat warnings; exit 1; }
[ ! -s warnings ] || { cat warnings; exit 1; }
for section in NAME SYNOPSIS COMMANDS OPTIONS 'EXIT STATUS' EXAMPLES; do
    grep -q "$section" page || { echo "no section $section"; exit 1; }
done
rm -f page warnings
