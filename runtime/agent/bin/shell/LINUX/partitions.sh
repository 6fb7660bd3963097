#!/bin/sh
# partitions.sh: prints the kernel's partition table as it stands in /proc/partitions.
exec 2>/dev/null
cat "${HOSTMETRICS_HOST_ROOT:-}/proc/partitions"
