#!/bin/bash
# usage: on_a_bench.sh UNIT_SIM UNITCTL_SIM
#
# Units without a daemon: the commands that unit_sim prints to begin with all work, and one command finds what
# another has left.
set -u
unit_sim=$1
unitctl=$2
work=$(mktemp -d)
simulator=
failed=0

finish() {
    kill "$simulator" 2>/dev/null
    wait "$simulator" 2>/dev/null
}
trap 'finish; rm -rf "$work"' EXIT

# expect STATUS TEXT COMMAND...
expect() {
    local status=$1 text=$2 output got
    shift 2
    output=$("$@" 2>&1)
    got=$?
    if [ "$got" -ne "$status" ] || ! grep -qE -- "$text" <<<"$output"; then
        echo "$kind: $*: status $got, not $status with \"$text\":"
        echo "$output" | head -20
        failed=1
    fi
}

# try TEXT COMMAND...: one of those printed
try() {
    local text=$1 line
    shift
    line=$(grep -F -- " $*" "$work/said" | head -1)
    [[ $line == *--watch ]] && line+=" --for 0.3"
    expect 0 "$text" bash -c "${line:-false}"
}

# put_up KIND
put_up() {
    kind=$1
    : >"$work/said"  # not what the last one said
    "$unit_sim" --board --unit "$kind" >"$work/said" 2>&1 </dev/null &
    simulator=$!
    for _ in $(seq 200); do
        grep -q -- ' --help$' "$work/said" && break
        sleep 0.05
    done
    FWSTATUS_UNIT_ROOT=$(sed -n 's/.*FWSTATUS_UNIT_ROOT=\([^ ]*\) .*/\1/p' "$work/said" | head -1)
    export FWSTATUS_UNIT_ROOT
    try 'Daemon runs +no' info
    try 'Subcommands:' --help
}

put_up card-frame
try '' lcd text 1
try '' press button 1
try 'button 0 up, button 1 down, button 2 up' buttons --watch
expect 0 'button 0 up, button 1 down' "$unitctl" buttons
expect 0 '^2$' "$unitctl" counter presses 1
expect 0 '' "$unitctl" board fan 0 0
expect 0 'Fan 0 +0 rpm' "$unitctl" info
# What devices did not understand is told once, and apart from the results.
expect 0 'no register to read at 0x000004' "$unitctl" reg read 0xc0004
[[ $("$unitctl" info --json 2>"$work/errors") == *'}' ]] || { echo "info --json is none"; failed=1; }
if grep register "$work/errors"; then
    echo "told again"
    failed=1
fi
[[ $("$unitctl" reg read 0xc0004 2>/dev/null) == '0c0004 00000000' ]] || { echo "not apart"; failed=1; }
finish

put_up page-station
try '' lcd text 1
try '' press key 5
expect 1 'no keypad controller answers' "$unitctl" keypad check
expect 0 'keypad done' "$unitctl" station start --full
expect 0 'up to date' "$unitctl" keypad check
try '' press key 5
try 'key 5 down' keys --watch
finish

put_up serial-panel
try ' ' serial 42
finish

put_up mixer
if grep -qE 'lcd|press|serial 42' "$work/said"; then
    echo "a mixer has no display and no keys"
    failed=1
fi
exit $failed
