#!/bin/bash
# usage: command_line.sh UNIT_SIM ...
#
# What unit_sim makes of wrong usage, and of a scenario as another system writes it; which version it and what it
# starts are.
set -u
unit_sim=("$@")
scenario=$(mktemp)
trap 'rm -f "$scenario"' EXIT
failed=0

# expect STATUS TEXT ARGUMENT...
expect() {
    local status=$1 text=$2 output
    shift 2
    output=$("${unit_sim[@]}" "$@" 2>&1)
    if [ $? -ne "$status" ] || ! grep -qF -- "$text" <<<"$output"; then
        echo "unit_sim $*: not status $status with \"$text\" but"
        echo "$output"
        failed=1
    fi
}

expect 2 'no scenario "nosuch"' --scenario nosuch
expect 2 'no unit "nosuch"' --unit nosuch
expect 2 'a serial-panel cannot have the fault "panel-absent"' --fault panel-absent --unit serial-panel
expect 2 'not in range' --speed 0
# What would do nothing is refused.
expect 2 '--fault does nothing with --serve' --serve --fault engine-dies
expect 2 '--log does nothing with --press' --press 1 --log
expect 2 '--release does nothing with --press' --press 1 --release 1
expect 1 'FWSTATUS_UNIT_ROOT does not say which unit' --press 1
printf '# As an editor elsewhere leaves it.\r\n0 state fw_write\r\n0 progress 42\r\n0.5 end\r\n' >"$scenario"
expect 0 'set progress  42' --plain --unit container --scenario "$scenario"
expect 0 'status file       idle, fw_write' --plain --unit container --scenario "$scenario"
printf '0 detail Nothing\n0.5 end\n' >"$scenario"
expect 0 'status file       idle' --plain --unit container --scenario "$scenario"
printf '0 press one\n0.5 end\n' >"$scenario"
expect 2 ':1: "one" is no button' --scenario "$scenario"
expect 0 'fault             engine-floods, from 0.' --plain --scenario quick --speed 2 --fault engine-floods
FWSTATUS_UNITS=/proc expect 1 '/proc is full' --plain

expect 0 'fwstatus ' --version
build=$(dirname "${unit_sim[-1]}")/../..
for program in "${unit_sim[-1]}" "$build/sim/programs/soak" "$build/sim/unit/fwstatus-sim"; do
    if ! grep -aqF '@(#)fwstatus ' "$program"; then
        echo "$program does not carry its version"
        failed=1
    fi
done
exit $failed
