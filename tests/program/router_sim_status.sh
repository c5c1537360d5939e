#!/bin/sh
# usage: router_sim_status.sh ROUTER-SIM
# What keeps the simulated router from starting is told on standard error, with status 1; help is none of that.
set -eu
program=$1
failed=0

ends() { # STATUS ARGUMENT...: with nothing on standard output unless it is 0
    expected=$1; shift
    status=0
    output=$("$program" "$@" 2>told) || status=$?
    [ "$status" = "$expected" ] || { echo "router-sim $*: status $status instead of $expected"; failed=1; }
    if [ "$expected" != 0 ] && { [ -n "$output" ] || [ ! -s told ]; }; then
        echo "router-sim $*: not told on standard error alone"
        failed=1
    fi
}

ends 0 --help
ends 1
ends 1 --modems
ends 1 --modems 6 state
ends 1 --port none state
ends 1 --unheard state
ends 1 state another
ends 1 --bus bus.sock /proc/state
rm told
exit $failed
