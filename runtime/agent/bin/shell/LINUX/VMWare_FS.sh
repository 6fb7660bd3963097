#!/bin/sh
# VMWare_FS.sh FILE: writes the VMFS datastores of a virtualisation host into FILE, one a line, in six fields: device,
# KB in all, used and available, percent used, name. An empty file on any other host. It is written beside FILE and
# renamed, so a reader never sees half of it.
exec 2>/dev/null
[ -n "${1:-}" ] || exit 0

# The console of older hosts: df that knows the datastores, in KB.
# "/vmfs/volumes/4a5b-77 142344192 635904 141708288 1% /vmfs/volumes/store"; a long device has a line of its own.
from_vdf() {
    vdf | LC_ALL=C awk '
        NF == 1 { device = $1; next }
        { $0 = device " " $0; device = "" }
        $1 ~ /vmfs/ && $2 $3 $4 ~ /^[0-9]+$/ && $5 ~ /^[0-9]+%$/ && NF >= 6 {
            name = $6
            for (i = 7; i <= NF; i++) name = name "_" $i
            sub(/%/, "", $5)
            print $1, $2, $3, $4, $5, name
        }'
}

# Current hosts, bytes: "Free,MountPoint,Mounted,Size,Type,UUID,VolumeName," is the first line, in any order.
from_esxcli() {
    esxcli --formatter=csv storage filesystem list | LC_ALL=C awk -F, '
        NR == 1 { for (i = 1; i <= NF; i++) column[$i] = i; next }
        {
            device = $column["MountPoint"]; size = $column["Size"]; free = $column["Free"]
            name = $column["VolumeName"]
        }
        $column["Type"] ~ /^VMFS/ && device ~ /vmfs/ && size + 0 > 0 && size free ~ /^[0-9]+$/ && size - free >= 0 {
            if (name == "") name = $column["UUID"]
            gsub(/[ \t]/, "_", device); gsub(/[ \t]/, "_", name)
            printf "%s %.0f %.0f %.0f %.2f %s\n", device, int(size / 1024), int(size / 1024) - int(free / 1024),
                int(free / 1024), (size - free) / size * 100, name
        }'
}

# Both know this host alone.
datastores() {
    [ -z "${HOSTMETRICS_HOST_ROOT:-}" ] || return 0
    if command -v vdf >&2; then from_vdf; else from_esxcli; fi
}

work=$1.$$
trap 'rm -f "$work"' EXIT
trap 'exit 1' HUP INT TERM
rm -f "$work"
set -C # a link that somebody put there is not written through
datastores >"$work" && mv -f "$work" "$1"
