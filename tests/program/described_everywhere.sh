#!/bin/sh
# usage: described_everywhere.sh PROGRAM CLI-DIRECTORY
# Every command and every option that the program's help tells stands in the manual page and in both completions, and
# nothing else does.
set -eu
program=$1 directory=$2

commands=$("$program" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\) .*/\1/p')
[ "$(echo "$commands" | wc -l)" -gt 10 ] || { echo "no commands in the help"; exit 1; }
options() { grep -oE -- '--[a-z]+(-[a-z]+)*' | LC_ALL=C sort -u; }
{ "$program" --help; for command in $commands; do "$program" "$command" --help; done; } | options >options_of_help

failed=0
for file in lpa.1 completion/lpa.bash completion/_lpa; do
    sed 's/\\-/-/g' "$directory/$file" >plain
    for command in $commands; do
        grep -qE "(^|[^a-z-])$command([^a-z-]|$)" plain || { echo "$file lacks the command $command"; failed=1; }
    done
    grep -v -e compgen plain | options | diff options_of_help - || { echo "options of $file: '<' is missing, '>' is too much"; failed=1; }
done
rm -f plain options_of_help
exit $failed
