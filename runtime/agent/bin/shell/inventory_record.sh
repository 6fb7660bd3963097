#!/bin/sh
# Sourced, from the program's folder, by the scripts that write inventory records. A record is one line, "KEY|" and
# a table: the header, then the rows, each opened by the row separator; every column name and every value is
# followed by the field separator. Standard error is the caller's to close.

# publish FILE COMMAND: what the command prints becomes the file below ../aproc/shell, unless it prints nothing. The
# file is there as a whole or not at all.
publish() {
    work=../aproc/shell/.$1.$$
    trap 'rm -f "$work"' EXIT
    trap 'exit 1' HUP INT TERM
    rm -f "$work"
    set -C # a link that somebody put there is not written through
    "$2" >"$work" && [ -s "$work" ] && mv -f "$work" "../aproc/shell/$1"
}

# What every record is made with, for awk.
# shellcheck disable=SC2034 # for who sources this
record_tools='
    function first_line(file,    line) {
        line = ""
        if ((getline line < file) < 1) line = ""
        close(file)
        return line
    }
    # A value without what would break a table; "-" for none.
    function clean(text) {
        gsub(/[\001-\037\177|]/, " ", text)
        gsub(/^ +| +$/, "", text)
        return text == "" ? "-" : text
    }
    # Prints texts that stand in a list with newlines, each followed by the field separator.
    function print_cells(list,    i, count, cells) {
        count = split(list, cells, "\n")
        for (i = 1; i <= count; i++) printf "%s\003\037~", cells[i]
    }
'
