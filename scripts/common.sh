#!/bin/sh
# What the other scripts share. They set "root" to the repository's folder and source this file.

: "${root:?}"
jobs=$(nproc 2>/dev/null || echo 1)

say() { printf '%s: %s\n' "$(basename "$0")" "$*" >&2; }

# Shows the comment at the head of the script, and ends it.
usage()
{
    sed -n '2,/^set /s/^# //p' "$0" >&2
    exit 2
}

# Runs a command whose output matters only when it failed, and then goes to standard error.
quietly() # COMMAND [ARGUMENT...]
{
    output=$("$@" 2>&1) || {
        printf '%s\n' "$output" >&2
        return 1
    }
}

# Is build/PRESET configured, for this place, by the presets as they are now, and with these settings?
is_configured() # PRESET [NAME:TYPE=VALUE...]
{
    folder=$root/build/$1
    shift
    [ -f "$folder/build.ninja" ] && [ -z "$(find "$root/CMakePresets.json" -newer "$folder/build.ninja")" ] ||
        return 1
    for setting in "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$@"; do
        grep -qxF "$setting" "$folder/CMakeCache.txt" || return 1
    done
}

# Configures build/PRESET. A folder that was configured at another path, such as that of a copied or mounted
# repository, is started afresh: cmake refuses it otherwise.
configure() # PRESET [CMAKE-ARGUMENT...]
{
    cache=$root/build/$1/CMakeCache.txt
    if [ -f "$cache" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$cache"; then
        set -- "$@" --fresh
    fi
    quietly cmake -S "$root" --preset "$@"
}

build() # PRESET [TARGET...]
{
    folder=$root/build/$1
    shift
    if [ $# -gt 0 ]; then set -- --target "$@"; fi
    cmake --build "$folder" -j "$jobs" "$@"
}
