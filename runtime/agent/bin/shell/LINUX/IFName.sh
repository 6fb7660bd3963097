#!/bin/sh
# IFName.sh: prints the name of every network interface, one a line, but that of the loopback, which has no speed.
exec 2>/dev/null
cd "${HOSTMETRICS_HOST_ROOT:-}/sys/class/net" || exit 0
for name in *; do
    # A folder each; a plain file, as bonding_masters, is none.
    [ "$name" = lo ] || [ ! -d "$name" ] || printf '%s\n' "$name"
done
