#!/bin/sh
# PSInfoLIN.sh: prints the id of every process, one a line, in ascending order.
exec 2>/dev/null
cd "${HOSTMETRICS_HOST_ROOT:-}/proc" || exit 0
for pid in [0-9]*; do
    case $pid in
        *[!0-9]*) continue ;;
    esac
    [ ! -d "$pid" ] || printf '%s\n' "$pid"
done | sort -n
