#!/bin/bash
# usage: command_line.sh UNITCTL_SIM
#
# One command by itself: what goes to standard error, the exit status, and what people pipe it into.
set -u
unitctl=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# says STATUS OUTPUT ERRORS COMMAND...
says() {
    local status=$1 output=$2 errors=$3 got
    shift 3
    got=$("$unitctl" "$@" 2>"$work/errors")
    local ended=$?
    if [ $ended -ne "$status" ] || [ "$got" != "$output" ] || [ "$(cat "$work/errors")" != "$errors" ]; then
        echo "unitctl $*: status $ended, \"$got\", \"$(cat "$work/errors")\""
        failed=1
    fi
}

hint='Run with --help or --help-all for more information.'
says 2 '' "A subcommand is required"$'\n'"$hint"
says 2 '' 'unitctl: no command "nosuch" here; see --help' nosuch
says 2 '' 'unitctl: what? on, off, frequency, duty; see --help' --unit base-unit alert
says 2 '' "STATE is required"$'\n'"$hint" --unit base-unit led all
says 1 'invalid alert frequency: 1Hz' 'unitctl: refused, or failed' --unit base-unit alert frequency 1
says 1 '' 'unitctl: the region ends before that' --unit base-unit reg read 0x1000000
says 1 '' 'unitctl: cannot open /none' --unit base-unit run /none
says 1 '' "unitctl: cannot read $work" --unit base-unit run "$work"
says 0 '' '' --unit base-unit alert on
says 0 $'000000 cafebabe  unit.fpga_id\n  4 accesses' '' --unit base-unit --count reg read 0
[[ $("$unitctl" --version) == "fwstatus "[0-9]* ]] || { echo "no version"; failed=1; }

# What the drivers say of a unit stays out of what programs read, and a full disk is no success.
[[ $("$unitctl" --unit no-driver info --json 2>/dev/null) == "{"*"}" ]] || { echo "info --json is none"; failed=1; }
"$unitctl" --unit base-unit reg read 0 >/dev/full 2>"$work/errors"
[ "$? $(cat "$work/errors")" = '1 unitctl: cannot write to standard output' ] || { echo "a full disk"; failed=1; }
"$unitctl" --unit base-unit run - <"$work" >/dev/null 2>"$work/errors"
[ "$? $(cat "$work/errors")" = '1 unitctl: cannot read -' ] || { echo "a script that cannot be read"; failed=1; }

# Who ends an update has to wait: a keypad controller half programmed is none.
mkdir "$work/units" "$work/desk"
mkfifo "$work/desk/commands"
FWSTATUS_UNITS=$work/units "$unitctl" --unit page-station run - <"$work/desk/commands" >"$work/said" &
desk=$!
exec 3>"$work/desk/commands"
echo 'station start --full' >&3
for _ in $(seq 200); do
    grep -q 'keypad done' "$work/said" && break
    sleep 0.05
done
waited=
ms=20
for _ in $(seq 60); do
    [ -z "$waited" ] || break
    ended=$(
        FWSTATUS_UNIT_ROOT=$(echo "$work/units"/*)
        export FWSTATUS_UNIT_ROOT
        "$unitctl" board keypad outdated
        "$unitctl" keypad update >"$work/update" 3>&- &
        sleep "$(printf '0.%03d' $ms)"
        kill -TERM $! 2>/dev/null
        wait $!
        echo "status $?"
        "$unitctl" keypad check 2>&1
    )
    case $ended in
    *"status 143"*"up to date"*) waited=yes ;;
    *"status 143"*"flash 0x3b38"*) ms=$((ms + 5)) ;;  # it had not begun
    *"status 0"*) ms=$((ms > 5 ? ms - 5 : ms)) ;;     # it was over
    *) break ;;
    esac
done
[ -n "$waited" ] || { echo "an update that was told to end: $ended"; failed=1; }
exec 3>&-
wait "$desk"

# A text of two lines: its first, its first word, and the wider one.
for of in line:24 word:24 lines:48; do
    says 0 "front panel revision: 0"$'\n'"${of#*:}" '' --unit base-unit lcd draw width $'iii\nmmmmmm' --font default --of "${of%:*}"
done

# A script's status is the worst of its commands'.
for lines in 'alert on:0' 'alert on;alert frequency 1;alert on:1' 'nosuch;alert frequency 1:2' '"open:2'; do
    tr ';' '\n' <<<"${lines%:*}" >"$work/script"
    "$unitctl" --unit base-unit run - <"$work/script" >/dev/null 2>&1
    status=$?
    [ $status -eq "${lines##*:}" ] || { echo "script $lines: $status"; failed=1; }
done

# Who reads no further ends it, also where somebody has told it to ignore that; every line comes as it is said.
first=$(trap '' PIPE; timeout 20 "$unitctl" --unit base-unit led --walk | sed -n '/LED/{p;q}')
[ "$first" = 'LED 0 first' ] || { echo "led --walk | head: $first"; failed=1; }

# On a terminal an update paints a bar; elsewhere it says what came of it, and no more.
printf '%s\n' 'station start --full' 'board keypad outdated' 'keypad update' >"$work/script"
script -qec "$(printf '%q --unit page-station run %q' "$unitctl" "$work/script")" /dev/null </dev/null |
    tr '\r' '\n' | grep '^\[' >"$work/bar"
diff - <(sed -n '1p;65p;126,$p' "$work/bar") <<'END' || { echo "keypad update on a terminal"; failed=1; }
[........................................]   0 %
[####################....................]  50 %
[#######################################.]  98 %
[#######################################.]  99 %
[########################################] 100 %
END

# A unit on which no daemon runs, of a process that waits for commands.
mkfifo "$work/commands"
FWSTATUS_UNITS=$work/units "$unitctl" --unit base-unit run - <"$work/commands" >"$work/said" &
owner=$!
exec 3>"$work/commands"
trap 'exec 3>&-; wait "$owner"; rm -rf "$work"' EXIT
echo 'panel start' >&3
for _ in $(seq 200); do
    grep -q 'front panel revision' "$work/said" && break
    sleep 0.05
done
FWSTATUS_UNIT_ROOT=$(echo "$work/units"/*)
export FWSTATUS_UNIT_ROOT

# Nobody holds its display. A daemon that was replaced while it runs would; a namesake without the device does not, nor
# does another program with it.
cp "$(command -v sleep)" "$work/fwstatus"
cp "$work/fwstatus" "$work/fwstatus2"
"$work/fwstatus" 100 3>&- &
namesake=$!
"$work/fwstatus2" 100 3<"$FWSTATUS_UNIT_ROOT/dev/io" &
other=$!
"$unitctl" info 2>/dev/null | grep -q 'Daemon runs *no' || { echo "a daemon where none is"; failed=1; }
"$work/fwstatus" 100 3<"$FWSTATUS_UNIT_ROOT/dev/io" &
daemon=$!
"$unitctl" info 2>/dev/null | grep -q 'Daemon runs *yes' || { echo "no daemon where one is"; failed=1; }
rm "$work/fwstatus"
says 1 '' "unitctl: fwstatus is running (process $daemon) and holds the display; --force goes on all the same" led all 0
kill "$namesake" "$other" "$daemon"

# An engine that is not there.
mv "$FWSTATUS_UNIT_ROOT/tmp/.korv_property_ipc" "$work/engine"
says 0 $'unitctl-sim error: property_client_t::wait_for_something failed looking for /sys/config/platform\n000000 cafebabe  unit.fpga_id' \
    'unitctl: the property engine does not tell what this unit is; going by its FPGA alone' reg read 0
"$unitctl" info 2>/dev/null | grep -q 'Engine answers *no' || { echo "an engine where none is"; failed=1; }
exit $failed
