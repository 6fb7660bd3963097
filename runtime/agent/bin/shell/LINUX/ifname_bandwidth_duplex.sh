#!/bin/sh
# ifname_bandwidth_duplex.sh [NAME...]: prints a line VELKSC|NAME|KILOBITS|DUPLEX for every network interface, or for
# those that are named, whose speed the kernel tells: kilobits per second, and 1 for full duplex, 2 for half, 0 for
# unknown. Most virtual interfaces and those that are down tell none.
exec 2>/dev/null
cd "${HOSTMETRICS_HOST_ROOT:-}/sys/class/net" || exit 0
[ $# -gt 0 ] || set -- *
for name in "$@"; do
    case $name in
        '' | */* | *'|'*) continue ;;
    esac
    # Megabits per second; -1, or all ones in 16 or 32 bits, for unknown.
    speed=
    read -r speed <"$name/speed"
    case $speed in
        '' | *[!0-9]* | 0 | 65535 | 4294967295) continue ;;
    esac
    duplex=
    read -r duplex <"$name/duplex"
    case $duplex in
        full) duplex=1 ;;
        half) duplex=2 ;;
        *) duplex=0 ;;
    esac
    printf 'VELKSC|%s|%s000|%s\n' "$name" "$speed" "$duplex"
done
