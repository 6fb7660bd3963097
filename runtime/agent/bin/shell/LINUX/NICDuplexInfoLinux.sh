#!/bin/sh
# NICDuplexInfoLinux.sh NAME WORK FILE: writes the duplex of a network interface into FILE, "full" or "half" on a
# line, through the file WORK; an empty file when the kernel does not tell it. The alias eth0:1 has the duplex of eth0.
exec 2>/dev/null
[ -n "${3:-}" ] || exit 0
name=${1%%:*}
duplex=
case $name in
    '' | */*) ;;
    *) read -r duplex <"${HOSTMETRICS_HOST_ROOT:-}/sys/class/net/$name/duplex" ;;
esac
rm -f "$2"
set -C # a link that somebody put there is not written through
case $duplex in
    full | half) printf '%s\n' "$duplex" >"$2" ;;
    *) : >"$2" ;;
esac && mv -f "$2" "$3"
