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
for command in buttons 'panel start' 'station start' 'station revision' 'serial 5' 'port settings' 'port send 0x95' \
    'reg spi front_panel.spi 16' 'lcd draw reset' 'lcd start' 'keypad check' 'led walk' 'slot 0 0 1'; do
    # shellcheck disable=SC2086
    expect 1 '^unitctl: fwstatus is running .* and holds the display' $command
done
daemon=$("$unitctl" buttons 2>&1 | sed -n 's/.*(process \([0-9]*\)).*/\1/p')
[[ $(readlink "/proc/$daemon/exe") == */fwstatus-sim ]] || { echo "process $daemon is no daemon"; failed=1; }
expect 0 'status off' inputs
expect 0 'Daemon runs +yes' info
expect 0 'held by the daemon' info
expect 0 '0c0000 0000007f' reg read front_panel.control
# In a script --force counts for its own line.
printf '%s\n' 'lcd backlight x' '--cold --force lcd screen' 'buttons' 'inputs' >"$work/script"
expect 2 '^refused: fwstatus is running' run "$work/script"
# Nothing keeps two processes apart on the bus to the panel, and an idle daemon draws, too: it has to stand still.
kill -STOP "$daemon"
expect 0 'revision' --force lcd backlight 5

# What one process leaves, another one finds.
expect 0 '0c0000 00000005' reg read front_panel.control
expect 0 '' press button 0 2
expect 0 'button 0 down, button 1 up, button 2 down' --force buttons
expect 0 '' --force led one 20 3
expect 0 'LEDs: 20 second colour, the others dark' show indicators

# follow TEXT COMMAND... starts what goes on until it is ended, and waits for what it prints.
follow() {
    local text=$1
    shift
    : >"$work/followed"
    "$unitctl" --force "$@" >"$work/followed" 2>&1 &
    followed=$!
    eventually grep -q "$text" "$work/followed"
}

# ended SIGNAL: whoever ends it, it ends well.
ended() {
    kill -"$1" "$followed"
    wait "$followed"
    local status=$?
    [ $status -eq 0 ] || { echo "$1: status $status, $(tail -3 "$work/followed")"; failed=1; }
}

for signal in INT TERM HUP; do
    follow 'LED 0 both' led --walk
    expect 0 'LEDs: 0 ' show indicators
    ended $signal
    expect 0 'LEDs: all dark' show indicators
done

follow 'button 2 down' buttons --watch
expect 0 '' press button 1
eventually grep -q 'button 0 down, button 1 down, button 2 down' "$work/followed"
expect 0 '' release button 0 1 2
eventually grep -q 'button 0 up, button 1 up, button 2 up' "$work/followed"
ended INT
[ "$(grep -c button "$work/followed")" -le 5 ] || { echo "buttons --watch repeats itself"; failed=1; }

# Behind a command that can be interrupted, a signal ends the script as it ends any program.
mkfifo "$work/commands"
: >"$work/followed"
"$unitctl" run - <"$work/commands" >"$work/followed" 2>&1 &
followed=$!
exec 3>"$work/commands"
echo '--force led walk --for 0.01' >&3
echo 'show indicators' >&3
eventually grep -q 'all dark' "$work/followed"
kill "$followed"
wait "$followed"
status=$?
exec 3>&-
[ $status -eq 143 ] || { echo "a script that waits, ended by SIGTERM: status $status"; failed=1; }

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
