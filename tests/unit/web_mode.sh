#!/bin/bash
# usage: web_mode.sh UNIT_SIM FWPUSH
#
# What unit_sim --web reports of a unit at its end: the fault, from when to when it was on, and a daemon that went.
set -u
unit_sim=$1
fwpush=$2
[ -x /usr/sbin/lighttpd ] || exit 77
work=$(mktemp -d)
failed=0

# run [OPTION ...]: a unit until the function `meanwhile` has returned; what it reports, in $report.
run() {
    rm -f "$work/said"
    "$unit_sim" --web --plain --unit container --flash-rate 2000 "$@" >"$work/said" 2>&1 &
    simulator=$!
    for ((i = 0; i < 200; ++i)); do
        ! grep -qs 'status file' "$work/said" || break
        sleep 0.1
    done
    meanwhile "$(sed -n 's,.*takes firmware at http://,,p' "$work/said")" >"$work/pushed" 2>&1
    kill -TERM "$simulator" 2>/dev/null
    wait "$simulator"
    status=$?
    report=$(sed -n '/^  fault\|^  updates/,$p' "$work/said")
}
trap 'kill "$simulator" 2>/dev/null; wait; rm -rf "$work"' EXIT

# expect STATUS LINE...: patterns of the lines of the report, all of them.
expect() {
    local expected=$1 lines
    shift
    lines=$(printf '%s\n' "$@")
    if [ "$status" -ne "$expected" ] || ! [[ $report =~ ^$lines$ ]]; then
        echo "ended with $status, not $expected, and reports:"
        echo "$report"
        echo "instead of"
        echo "$lines"
        failed=1
    fi
}

# push SECONDS ADDRESS
push() {
    head -c 200000 /dev/urandom >"$work/image"
    timeout "$1" "$fwpush" --await-return "$work/image" "$2"
}

meanwhile() { push 30 "$1"; }
run
expect 0 '  updates           1' '  All as it should be\.'
meanwhile() { push 4 "$1"; }
run --fault update-fails
expect 0 '  fault             update-fails, from [0-9.]+ s to [0-9.]+ s' '  updates           0' '  All as it should be\.'
run --fault power-fails
expect 0 '  fault             power-fails, from [0-9.]+ s to [0-9.]+ s' '  updates           0' '  All as it should be\.'
meanwhile() { :; }
run --fault never-returns
expect 0 '  fault             never-returns, never began' '  updates           0' '  All as it should be\.'
run --fault web-busy
expect 0 '  fault             web-busy, throughout' '  updates           0' '  All as it should be\.'
# The daemon is the simulator's child that runs it.
meanwhile() {
    for child in $(cat /proc/"$simulator"/task/*/children); do
        case $(readlink "/proc/$child/exe") in */fwstatus-sim) kill -KILL "$child" ;; esac
    done
    sleep 0.2
}
run
expect 1 '  updates           0' '  WRONG: the daemon was gone at [0-9.]+ s'
exit $failed
