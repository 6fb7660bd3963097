#!/bin/sh
# Stops the runner of a home folder, and the command it is running: cmd_scd_stop.sh HOME
# Returns when it has ended. Status 0, also when none runs; another when it had to be killed or cannot be found.

fail() {
    echo "cmd_scd_stop.sh: $1" >&2
    exit 1
}

[ -n "${1-}" ] || fail "usage: cmd_scd_stop.sh HOME"
home=$(CDPATH='' cd -- "$1" 2>/dev/null && pwd) || fail "no folder $1"
[ -e "$home/.cmd_scd.pid" ] || exit 0

exec 8<"$home" 9>>"$home/.cmd_scd.pid"
flock -w 30 8 || fail "another start or stop does not end"
flock -n 9 && exit 0
# Somebody has the lock, so that the number is a live runner's.
read -r runner <"$home/.cmd_scd.pid" || fail "the runner's number is not in $home/.cmd_scd.pid"
kill -s TERM "$runner"
flock -w 10 9 && exit 0
# The group is the runner and the launcher, which ends the command.
kill -s TERM -- "-$runner"
kill -s KILL "$runner"
fail "the runner $runner did not end and was killed"
