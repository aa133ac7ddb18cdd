#!/bin/bash
# usage: completion.sh UNITCTL_SIM COMPLETION_FILE
#
# What bash completes behind unitctl: every command that its help lists, further words, options and files.
set -u
program=$1
# shellcheck source=/dev/null
source "$2"
failed=0

# completes "WORDS..." LINE...: what stands behind the line is completed to exactly these words, in any order.
completes() {
    local wanted=$1 got
    shift
    COMP_WORDS=("$program" "$@")
    COMP_CWORD=$#
    _unitctl
    got=$(printf '%s\n' "${COMPREPLY[@]}" | sort | tr '\n' ' ')
    wanted=$(tr ' ' '\n' <<<"$wanted" | sort | tr '\n' ' ')
    if [ "$got" != "$wanted" ]; then
        echo "unitctl $*: completed to \"$got\", not to \"$wanted\""
        failed=1
    fi
}

complete -p unitctl unitctl-sim >/dev/null || failed=1
listed=$("$program" --help | awk '/^Subcommands:/ {on = 1; next} /^$/ {on = 0} on {print $1}')
[ "$(wc -l <<<"$listed")" -gt 25 ] || { echo "the help lists few commands: $listed"; failed=1; }
completes "$(tr '\n' ' ' <<<"$listed" | sed 's/ $//')" ""
for command in $listed; do
    "$program" "$command" --help >/dev/null || { echo "no help for $command"; failed=1; }
done

completes "temperature" te
completes "ink paper" lcd fill ""
completes "line" --unit card-frame lcd draw li
completes "--font --force" lcd draw line 0 0 9 9 --viewport 0 0 9 9 --fo
completes "title" lcd draw text "led" --font ti
completes "" led one 3 ""
completes "" nosuch lcd draw pixel 1 ""
cd "$(dirname "$2")" || exit 1
completes "unitctl" run unit
completes "unitctl" lcd start --picture unit
completes "unitctl" keypad check uni
completes "unitctl" keypad records uni
completes "unitctl" keypad step compare 0 uni
completes "front_panel.control" reg read front_panel.c
completes "unit.pulse" --unit card-frame reg write unit.p
completes "front_panel.spi page_station.spi controller.spi" reg spi ""
completes "on off" level output ""
completes "off" led a 3 of
exit $failed
