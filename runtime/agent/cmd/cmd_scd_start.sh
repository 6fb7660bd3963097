#!/bin/sh
# Starts the runner of a home folder: cmd_scd_start.sh HOME
# Returns as soon as the runner is there. Status 0, also when one runs already; another when it cannot be started.
#
# CMD_SCD_LIMIT: seconds a command may take; CMD_SCD_POLL: seconds between two looks into the folder.

fail() {
    echo "cmd_scd_start.sh: $1" >&2
    exit 1
}

[ -n "${1-}" ] || fail "usage: cmd_scd_start.sh HOME"
home=$(CDPATH='' cd -- "$1" 2>/dev/null && pwd) || fail "no folder $1"
[ -x "$home/cmd_scd_run.sh" ] || fail "no $home/cmd_scd_run.sh"
[ -x "$home/../../utils/ETC/ShCmd" ] || fail "no $home/../../utils/ETC/ShCmd"
case ${CMD_SCD_LIMIT:-1} in
    0* | *[!0-9]* | ??????????*) fail "CMD_SCD_LIMIT is not a number of 1 to 999999999 seconds" ;;
esac
case ${CMD_SCD_POLL:-1} in
    *[!0-9.]* | *.*.* | .* | *. | ??????????*) fail "CMD_SCD_POLL is not a number of seconds such as 2 or 0.5" ;;
    *[1-9]*) ;;
    *) fail "CMD_SCD_POLL is no time" ;;
esac

# The runner outlives its caller: it keeps none of the caller's descriptors open, and takes the signals that
# end it also when the caller ignores them.
exec 3<&- 4<&- 5<&- 6<&- 7<&-
signals='env --default-signal=TERM,HUP,INT'
$signals true 2>/dev/null || signals=

# The lock on the folder keeps starts and stops apart. The lock on the pid file passes to the runner, which has
# it until it ends: it says that a runner lives.
exec 8<"$home" 9>>"$home/.cmd_scd.pid"
flock -w 30 8 || fail "another start or stop does not end"
flock -n 9 || exit 0
true >"$home/.cmd_scd.pid"
# shellcheck disable=SC2086 # words, or nothing
setsid $signals "$home/cmd_scd_run.sh" "$home" 8<&- </dev/null >/dev/null 2>&1 &
echo "$!" >"$home/.cmd_scd.pid"
