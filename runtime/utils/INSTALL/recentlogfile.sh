#!/bin/sh
# recentlogfile.sh YYYYMMDD
#
# Writes the name of the newest log file of that day of the agent's own log into ../aproc/shell/recentlogfile.dat,
# one line; the file is empty when there is none. The log asks for it once after a start, from agent/bin, and goes
# on writing to that file.
#
# The agent's own log is the one with AGENT or agent in its name. Newest is the one written to last: the numbers
# behind the names begin anew after a restart. Links, folders and compressed files do not count.

folder=.        # the log's default folder; name the other one here when the log is told to use one
result=../aproc/shell/recentlogfile.dat

case $1 in
    [0-9][0-9][0-9][0-9][0-9][0-9][0-9][0-9]) day=$1 ;;
    *) day=none ;;
esac

# Written beside the result and renamed: a link that somebody put there is not written through.
work=$result.$$
trap 'rm -f "$work"' EXIT
trap 'exit 0' HUP INT TERM
rm -f "$work"
set -C

# -F marks whatever is not a plain file behind its name, so that the name no longer ends in .log.
# shellcheck disable=SC2012 # the names are our own, and only ls sorts by time
{
    ls -tF "$folder" | sed -n "/^${day}_.*\\.log\$/p" | grep -e AGENT -e agent | head -n 1 >"$work" &&
        mv -fT "$work" "$result"
} 2>/dev/null
exit 0
