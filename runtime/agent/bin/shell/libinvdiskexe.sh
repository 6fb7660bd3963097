#!/bin/sh
# libinvdiskexe.sh KIND NUMBER: writes the disk inventory record of this host into
# ../aproc/shell/DiskINVStrInfo.dat. KIND is 2; any other does nothing. NUMBER is the caller's own and is not used.
# Without a disk the file of before stays.
exec 2>/dev/null
root=${HOSTMETRICS_HOST_ROOT:-}

# shellcheck source-path=SCRIPTDIR source=inventory_record.sh
. ./shell/inventory_record.sh

# A line "FOLDER<tab>SERIAL" for every block device that has hardware, or a hypervisor, behind it; loop devices,
# memory disks, device mapper and RAID have none. The serial is that of a SCSI disk, behind the four bytes of
# header of its page 80, and empty for others.
list_devices() {
    for folder in "$root"/sys/block/*; do
        [ -e "$folder/device" ] || continue
        serial=
        page=$folder/device/vpd_pg80
        [ -r "$page" ] && serial=$(tail -c +5 "$page" | tr -cd '[:print:]')
        printf '%s\t%s\n' "$folder" "$serial"
    done
}

# One row for each disk: optical drives, hidden paths of NVMe disks and what has fewer than 1,000,000 blocks of 1 KB
# are none. DISKNAME holds lower-case letters: the reader of this record skips lines without one.
disk_record() {
    export LC_ALL=C
    list_devices | awk -F '\t' "$record_tools"'
        # The first of the files of the folder that tells something.
        function tell(files,    i, count, names, text) {
            count = split(files, names, " ")
            for (i = 1; i <= count; i++)
                if ((text = clean(first_line($1 "/" names[i]))) != "-") return text
            return "-"
        }
        {
            name = $1
            sub(/.*\//, "", name)
            gsub(/!/, "/", name) # stands for it where a file name cannot
            sectors = first_line($1 "/size") + 0 # of 512 bytes whatever the disk says (block/genhd.c)
            if (sectors < 2000000 || first_line($1 "/hidden") + 0 || name ~ /^sr[0-9]/) next
            if (!rows++) {
                printf "VELKDISK|"
                print_cells("INDEX\nDISKNAME\nSIZEKB\nMODEL\nSERIAL\nROTATIONAL")
            }
            serial = clean($2)
            if (serial == "-") serial = tell("serial device/serial wwid device/wwid")
            printf "\003\037|"
            print_cells(rows "\n/dev/" clean(name) "\n" sprintf("%.0f", int(sectors / 2)) "\n" \
                tell("device/model device/name") "\n" serial "\n" tell("queue/rotational"))
        }
        END { if (rows) print "" }'
}

case ${1:-} in
    2) publish DiskINVStrInfo.dat disk_record ;;
esac
