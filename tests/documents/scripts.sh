#!/bin/sh
# usage: scripts.sh SOURCE_DIR
# Every script tells its usage when it is asked for it, wherever one is; scripts/desk runs its command where one is.
set -eu
source=$1
failed=0
fail() { echo "$1"; failed=1; }

cd "$source/scripts"
for script in *; do
    told=$("./$script" --help 2>&1) || fail "$script --help: status $?"
    case $told in [A-Z]*) ;; *) fail "$script --help begins with: $(echo "$told" | head -1)" ;; esac
    echo "$told" | grep -q "^usage: scripts/$script" || fail "$script --help tells no usage"
done

directory=$(mktemp -d)
cd "$directory"
[ "$("$source/scripts/desk" pwd)" = "$directory" ] || fail "desk: a command runs elsewhere"
rm -r "$directory"
exit $failed
