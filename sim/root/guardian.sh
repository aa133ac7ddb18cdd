#!/bin/sh
# usage: guardian.sh PATTERN <>SOCKET >TERMINAL
#
# Makes a directory for a simulated unit and says its name on the socket, or why there is none. Once the socket
# ends, and that is when its owner has, however it ended, nothing of the unit is left: no process that carries the
# unit's mark in its environment, no directory, and the terminal is as it was found. What the owner says meanwhile:
#
#     screen other   it paints on the terminal's other screen (screen first: no longer)
#     file PATH      one more file to remove
trap '' HUP INT QUIT TERM PIPE
directory=$(mktemp -d "$1" 2>&1)
echo "$directory" >&0
[ -d "$directory" ] || exit 1
exec 3>&1 # the terminal, for where standard output is something else
settings=$(stty -g <&3 2>/dev/null)

screen=first
while read -r subject rest; do
    case $subject in
    screen) screen=$rest ;;
    file) set -- "$@" "$rest" ;;
    esac
done

# A process that starts another one while it is looked for is found the next time round.
while marked=$(grep -lsxzF "FWSTATUS_UNIT_MARK=$directory" /proc/[0-9]*/environ); [ -n "$marked" ]; do
    for environment in $marked; do
        process=${environment#/proc/}
        kill -KILL "${process%/*}" 2>/dev/null
    done
    sleep 0.01
done
if [ $screen = other ]; then
    printf '\033[?1049l\033[?25h'
    stty "$settings" <&3
fi
shift
rm -rf -- "$directory" "$@"
