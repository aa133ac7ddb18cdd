#!/bin/bash
# usage: beside_a_daemon.sh UNIT_SIM UNITCTL_SIM PROPCTL_SIM
#
# A unit on which the daemon runs: it holds the display, and every process sees the same board.
set -u
unit_sim=$1
unitctl=$2
propctl=$3
work=$(mktemp -d)
failed=0

finish() {
    kill "$simulator" 2>/dev/null
    wait "$simulator" 2>/dev/null
    rm -rf "$work"
}

# expect STATUS TEXT COMMAND...
expect() {
    local status=$1 text=$2 output got
    shift 2
    output=$("$unitctl" "$@" 2>&1)
    got=$?
    if [ "$got" -ne "$status" ] || ! grep -qE -- "$text" <<<"$output"; then
        echo "unitctl $*: status $got, not $status with \"$text\":"
        echo "$output" | head -20
        failed=1
    fi
}

# waits until a command succeeds
eventually() {
    for _ in $(seq 200); do
        "$@" && return
        sleep 0.1
    done
    echo "never: $*"
    failed=1
}

printf '0 state idle\n0.2 end\n' >"$work/scenario"
"$unit_sim" --plain --keep --unit base-unit --scenario "$work/scenario" >"$work/said" 2>&1 </dev/null &
simulator=$!
trap finish EXIT
eventually grep -q FWSTATUS_UNIT_ROOT= "$work/said"
FWSTATUS_UNIT_ROOT=$(sed -n 's/.*FWSTATUS_UNIT_ROOT=\([^ ]*\) .*/\1/p' "$work/said" | head -1)
export FWSTATUS_UNIT_ROOT

# The daemon holds the display, and nothing else.
expect 1 'fwstatus is running \(process [0-9]+\) and holds the display; --force' lcd backlight 5
expect 1 'holds the display' buttons
daemon=$("$unitctl" buttons 2>&1 | sed -n 's/.*(process \([0-9]*\)).*/\1/p')
[[ $(readlink "/proc/$daemon/exe") == */fwstatus-sim ]] || { echo "process $daemon is no daemon"; failed=1; }
expect 0 'fan 0:' fan
expect 0 'Daemon runs +yes' info
expect 0 'held by the daemon' info
expect 0 '0c0000 0000007f' reg read front_panel.control
# Nothing keeps two processes apart on the bus to the panel, and an idle daemon draws, too: it has to stand still.
kill -STOP "$daemon"
expect 0 'revision' --force lcd backlight 5

# What one process leaves, another one finds.
expect 0 '0c0000 00000005' reg read front_panel.control
expect 0 '' press button 0 2
expect 0 'button 0 down, button 1 up, button 2 down' --force buttons
expect 0 '' --force led one 20 3
expect 0 'LEDs: 20 second colour, the others dark' show indicators

# Ctrl-C ends the walk, and leaves the LEDs dark.
walk=$(timeout --preserve-status -s INT 1.5 "$unitctl" --force led --walk)
status=$?
if [ $status -ne 0 ] || ! grep -q 'LED 0 second' <<<"$walk"; then
    echo "led --walk, interrupted: status $status, $walk"
    failed=1
fi
expect 0 'LEDs: all dark' show indicators

# The daemon sees the same: its next picture is on the glass that unitctl shows, and a bus that hangs hangs for it.
before=$("$unitctl" show display)
kill -CONT "$daemon"
"$propctl" set /sys/fw_status/state fw_write >/dev/null
"$propctl" set /sys/fw_status/progress 42 >/dev/null
differs() { [ "$("$unitctl" show display)" != "$before" ]; }
eventually differs
expect 0 '' board spi panel stuck
"$propctl" set /sys/fw_status/progress 43 >/dev/null
eventually grep -q 'SPI transfer timed out' "$FWSTATUS_UNIT_ROOT/sim/console"
exit $failed
