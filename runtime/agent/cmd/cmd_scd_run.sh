#!/bin/sh
# The runner of a home folder, started by cmd_scd_start.sh: cmd_scd_run.sh HOME
#
# Runs every file HOME/shcmd_*.cmd once, one at a time, as a shell command line, and removes it when it is done.
# A file whose command could not be started stays.
# A command that is not done after CMD_SCD_LIMIT seconds is ended. A command that was cut short, by the limit, by
# a stop or with the runner, is done as well: it is not run again.
# Runs until it gets SIGTERM, which ends the command too, or until the folder is gone.
#
# Command lines name their scripts from the program's folder: HOME/../bin, when HOME is in its place in the tree,
# else the folder of whoever called cmd_scd_start.sh.

home=${1:?}
limit=${CMD_SCD_LIMIT:-3600}
pause=${CMD_SCD_POLL:-2} # seconds between two looks into the folder
running=$home/.cmd_scd.running
stop=
child=

# Runs a program, to its end or to the stop. It does not get the lock that says that this runner lives.
attend() {
    "$@" 9>&- &
    child=$!
    [ -z "$stop" ] || kill -s TERM "$child"
    while
        wait "$child"
        [ $? -gt 128 ] && kill -s 0 "$child"
    do :; done
    child=
}

# The inner shell notes the file's name down before it runs it. Without the note nothing was run, and the file
# waits for the next look. A file that cannot be removed would be run again: rather stop.
# The "wait" is for what the command line puts into the background.
run_file() {
    # shellcheck disable=SC2016 # expanded by the inner shell
    attend "$home/../../utils/ETC/ShCmd" "$limit" \
        sh -c '[ -r "$1" ] && echo "${1##*/}" >"$2" || exit; . "$1"; wait' sh "$1" "$running"
    [ -s "$running" ] || return 0
    rm -f -- "$1" "$running" || stop=1
}

# What a runner that was killed had begun to run.
drop_begun() {
    [ -f "$running" ] || return 0
    read -r name <"$running"
    case $name in
        */*) ;;
        shcmd_*.cmd) rm -f -- "$home/$name" ;;
    esac
    rm -f -- "$running"
}

trap 'stop=1; [ -z "$child" ] || kill -s TERM "$child"' HUP INT TERM
if [ -d "$home/../bin/shell" ]; then cd -- "$home/../bin" || exit 1; fi
drop_begun
while [ -z "$stop" ] && [ -d "$home" ]; do
    for file in "$home"/shcmd_*.cmd; do
        [ -z "$stop" ] || break
        if [ -f "$file" ] && [ ! -L "$file" ]; then run_file "$file"; fi
    done
    [ -n "$stop" ] || attend sleep "$pause"
done
true >"$home/.cmd_scd.pid"
