#!/bin/sh
# MemCntInfoLIN.sh: writes the size of each memory module that is plugged in, megabytes, one per line, into
# ../aproc/shell/MemCntInfo.dat. The first source that tells anything counts; without one the file is empty. It is
# written beside the file and renamed, so a reader never sees half of it.
exec 2>/dev/null
root=${HOSTMETRICS_HOST_ROOT:-}
PATH=$PATH:/usr/sbin:/sbin

# Lines "Size: 16 GB" of dmidecode, which wants root and knows no other host than this; an empty slot has a text
# in place of the number.
from_dmidecode() {
    [ -z "$root" ] || return 1
    dmidecode -q -t 17 | LC_ALL=C awk '
        BEGIN { megabytes["kB"] = 1 / 1024; megabytes["MB"] = 1; megabytes["GB"] = 1024; megabytes["TB"] = 1048576 }
        $1 == "Size:" && $2 ~ /^[0-9]+$/ && $3 in megabytes { print int($2 * megabytes[$3]) }'
}

# What udev read from the firmware when the machine came up, bytes: "E:MEMORY_DEVICE_0_SIZE=17179869184".
from_udev() {
    LC_ALL=C awk -F= '/^E:MEMORY_DEVICE_[0-9]+_SIZE=[0-9]+$/ { print int($2 / 1048576) }' \
        "$root/run/udev/data/+dmi:id"
}

# The memory controllers' own view, megabytes; an empty slot has 0 (drivers/edac/edac_mc_sysfs.c). Drivers that know
# ranks alone give none.
from_edac() {
    cat "$root"/sys/devices/system/edac/mc/mc*/dimm*/size
}

sizes() {
    LC_ALL=C grep -x '[1-9][0-9]*'
}

work=../aproc/shell/.MemCntInfo.dat.$$
trap 'rm -f "$work"' EXIT
trap 'exit 1' HUP INT TERM
rm -f "$work"
set -C # a link that somebody put there is not written through
{
    from_dmidecode | sizes || from_udev | sizes || from_edac | sizes
    :
} >"$work" && mv -f "$work" ../aproc/shell/MemCntInfo.dat
