#!/bin/bash
# usage: nothing_left.sh UNIT_SIM [SEED]
#
# Ends ./demo and the simulator in every way at random moments, and looks for what is left: processes, directories,
# a terminal in another state.
set -u
top=$(readlink -f "$(dirname "$0")/../..")
FWSTATUS_SIMULATOR=$(readlink -f "$1")
export FWSTATUS_SIMULATOR
RANDOM=${2:-$$}
work=$(mktemp -d /dev/shm/left.XXXX)
trap 'rm -rf "$work"' EXIT

# processes_of TRIAL: those that got its name into their environment, but for the ones that look on.
processes_of() { grep -lsxzF "TRIAL=$work/$1" /proc/[0-9]*/environ; }

# The process of a trial that runs this program.
process_of() {
    for process in $(processes_of "$1"); do
        if tr '\0' ' ' <"${process%environ}cmdline" | grep -q -- "$2"; then
            process=${process#/proc/}
            echo "${process%/*}"
            return
        fi
    done
}

gone() { [ -z "$(ls -A "$work/$1/units")" ] && [ -z "$(processes_of "$1")" ]; }

# trial NAME MILLISECONDS HOW COMMAND...
# HOW: "terminal-SIGNAL" or "pipe-SIGNAL", sent to $victim_program; "Ctrl-C" typed; "reader" goes after a line.
# The moment counts from when that program runs.
trial() {
    local name=$1 moment=$2 how=$3 input=
    shift 3
    mkdir -p "$work/$name/units"
    case $how in
    Ctrl-C | terminal-*)
        mkfifo "$work/$name/keys"
        # The shell in between sees the terminal before and after.
        on_terminal="trap : INT; cd '$top'; stty -g >'$work/$name/before'
            env TRIAL='$work/$name' FWSTATUS_UNITS='$work/$name/units' $*
            for ((i = 0; i < 100; ++i)); do [ -n \"\$(ls -A '$work/$name/units')\" ] || break; sleep 0.1; done
            stty -g >'$work/$name/after'"
        SHELL=/bin/bash script -qefc "$on_terminal" "$work/$name/screen" <"$work/$name/keys" >/dev/null &
        exec {input}>"$work/$name/keys"
        ;;
    reader) (cd "$top" && TRIAL=$work/$name FWSTATUS_UNITS=$work/$name/units "$@" 2>/dev/null | head -1 >/dev/null) & ;;
    *) (cd "$top" && TRIAL=$work/$name FWSTATUS_UNITS=$work/$name/units "$@" >/dev/null 2>&1) & ;;
    esac
    for ((i = 0; i < 100; ++i)); do
        [ -z "$(process_of "$name" "$victim_program")" ] || break
        sleep 0.05
    done
    sleep "$(printf '%d.%03d' $((moment / 1000)) $((moment % 1000)))"
    case $how in
    Ctrl-C) printf '\003' >&$input ;;
    *-SIG*)
        victim=$(process_of "$name" "$victim_program")
        [ -z "$victim" ] || kill -"${how##*-SIG}" "$victim"
        ;;
    esac
    for ((i = 0; i < 150; ++i)); do
        ! gone "$name" || break
        sleep 0.1
    done
    verdict "$name" "after $moment ms, $how: $*"
}

# verdict TRIAL TITLE: says what is left, and ends it.
verdict() {
    local left= processes
    [ -z "$(ls -A "$work/$1/units")" ] || left+=" a-directory"
    processes=$(processes_of "$1")
    [ -z "$processes" ] || left+=" processes"
    for process in $processes; do kill -KILL "$(basename "$(dirname "$process")")"; done
    [ -z "$input" ] || exec {input}>&-
    wait
    if [ -e "$work/$1/screen" ]; then
        cmp -s "$work/$1/before" "$work/$1/after" || left+=" settings-of-the-terminal"
        case $(grep -aoE $'\033\\[\\?1049[hl]' "$work/$1/screen" | tail -n1) in *h) left+=" the-other-screen" ;; esac
        case $(grep -aoE $'\033\\[\\?25[hl]' "$work/$1/screen" | tail -n1) in *l) left+=" a-hidden-cursor" ;; esac
    fi
    echo "$2: ${left:-nothing} left" | tee -a "$work/report"
}

moment() { echo $((RANDOM % 4000)); }

victim_program=unit_sim
trial 1 "$(moment)" Ctrl-C ./demo &
trial 2 "$(moment)" Ctrl-C ./demo --all --speed 4 &
trial 3 "$(moment)" Ctrl-C ./demo --scenario quick --speed 4 --keep &
trial 4 "$(moment)" reader ./demo --plain &
trial 5 "$(moment)" terminal-SIGKILL ./demo &
wait
trial 6 "$(moment)" terminal-SIGKILL ./demo --scenario quick --speed 4 --keep --unit page-station &
trial 7 "$(moment)" terminal-SIGSEGV ./demo --unit serial-panel &
trial 8 "$(moment)" terminal-SIGTERM ./demo --keep --scenario quick --speed 4 &
victim_program=demo
trial 9 "$(moment)" terminal-SIGKILL ./demo --all --speed 4 &
trial 10 "$(moment)" pipe-SIGTERM ./demo --all --speed 4 &
wait
trials=10
if [ -x /usr/sbin/lighttpd ] && [ -x "$(dirname "$FWSTATUS_SIMULATOR")/push_show" ]; then
    victim_program=push_show
    trial 11 "$(moment)" Ctrl-C ./demo --push &
    trial 12 "$(moment)" pipe-SIGKILL ./demo --push &
    trial 13 "$(moment)" pipe-SIGTERM ./demo --push &
    victim_program=unit_sim
    trial 14 "$(moment)" terminal-SIGKILL ./demo --web &
    trial 15 "$(moment)" reader ./demo --web --plain &
    wait
    trials=15
fi
[ "$(grep -c ': nothing left$' "$work/report")" -eq $trials ]
