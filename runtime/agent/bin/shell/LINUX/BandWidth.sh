#!/bin/sh
# BandWidth.sh NAME FILE: writes the speed of a network interface into FILE, megabits per second on a line; an empty
# file when the kernel does not tell it. The alias eth0:1 has the speed of eth0.
exec 2>/dev/null
[ -n "${2:-}" ] || exit 0
work=$2.$$
trap 'rm -f "$work"' EXIT
trap 'exit 1' HUP INT TERM
rm -f "$work"
set -C # a link that somebody put there is not written through
"${0%/*}/ifname_bandwidth_duplex.sh" "${1%%:*}" | sed 's/000|[0-9]*$//; s/.*|//' >"$work" && mv -f "$work" "$2"
