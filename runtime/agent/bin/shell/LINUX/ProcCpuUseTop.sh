#!/bin/sh
# ProcCpuUseTop.sh PID: prints the CPU percentage of that process out of the snapshot that top_info made. Prints
# nothing when there is no snapshot or the process is not in it.
exec 2>/dev/null
case ${1:-} in
    '' | *[!0-9]*) exit 0 ;;
esac
awk -v pid="$1" '$1 == pid { print $2; exit }' ../aproc/shell/top_info.dat
