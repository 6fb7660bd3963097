#!/bin/sh
# usage: install.sh example|package BUILD CXX GENERATOR
# Installs the build folder BUILD, by "cmake --install" or as a Debian package, into a folder of its own, and uses
# what is there. Status 77 and a line say what this machine lacks for that.
set -eu

build=$2 CXX=$3 generator=$4
source=$(dirname "$(dirname "$(readlink -f "$0")")")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

fail() { echo "FAILED: $*" && exit 1; }

# A stand-in for a script of a runtime tree, by which to tell which tree the program works in.
mark() # TREE NUMBER
{
    printf '#!/bin/sh\necho %s >../aproc/shell/MemCntInfo.dat\n' "$2" >"$1/agent/bin/shell/LINUX/MemCntInfoLIN.sh"
}

# Started inside a tree the program stays there, elsewhere it goes to the installed one.
check_program() # PREFIX
{
    program=$1/bin/hostmetrics
    "$program" --print proc 1 - 2 | grep -F "$program" || fail 'the program does not list itself'
    cp -RL "$1/share/hostmetrics/runtime" own
    mark own 22
    mark "$1/share/hostmetrics/runtime" 11
    out=$("$program" --print memcnt 0 - 1)
    [ "$out" = 'index[0] memsize [11]' ] || fail "from outside a tree: $out"
    out=$(cd own/agent/bin && "$program" --print memcnt 0 - 1)
    [ "$out" = 'index[0] memsize [22]' ] || fail "inside a tree: $out"
}

# The scripts that it starts in the background would go on after it.
check_agent() # PROGRAM TREE
{
    for script in libinvinfo shell/libinvdiskexe.sh; do echo '#!/bin/sh' >"$2/agent/bin/$script"; done
    (cd "$2/agent/bin" && "$1" 1 2) | grep -a '^processes INDEX' || fail "$1"
}

# The example is taken from the installed documents, and so has nothing of the source tree around it.
check_example()
{
    prefix=$scratch/moved
    cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
    mv prefix moved # nothing may remember where it was put
    ! grep -rIl -e "$scratch/prefix" -e "$source/" -e "$build" moved || fail 'these files name folders of the build'

    cp -R moved/share/doc/hostmetrics/examples/agent example
    cmake -S example -B by-cmake -G "$generator" -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
    grep "^hostmetrics_DIR:PATH=$prefix/" by-cmake/CMakeCache.txt || fail 'another hostmetrics was found'
    cmake --build by-cmake
    check_agent "$scratch/by-cmake/agent" by-cmake/tree

    PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name hostmetrics.pc)")
    export PKG_CONFIG_PATH CXX
    mkdir by-pkg-config
    example/build.sh by-pkg-config
    check_agent "$scratch/by-pkg-config/agent" by-pkg-config/tree

    # Every header is complete with those that are installed, and all agree with each other and with macros of
    # the system that an agent may have included before.
    printf '#include <%s>\n' linux/ethtool.h syslog.h >headers.cpp
    (cd moved/include/hostmetrics && find . -name '*.h') | sed 's/^..\(.*\)/#include "\1"/' >>headers.cpp
    # shellcheck disable=SC2046 # a list of words
    "$CXX" -std=c++20 -Wall -Wextra -Werror -fsyntax-only $(pkg-config --cflags hostmetrics) headers.cpp

    check_program "$prefix"
    for option in $("$prefix/bin/hostmetrics" --help | grep -o -e '--[a-z-]*'); do
        sed 's/\\-/-/g' moved/share/man/man1/hostmetrics.1 | grep -q -e "^\.B[IR]* $option" ||
            fail "the manual page has no $option"
    done
}

# dpkg on a root folder of the test's own, with the host's shell for the package's scripts.
dpkg_there()
{
    PATH=$PATH:/usr/sbin:/sbin dpkg --root="$scratch/root" --log="$scratch/dpkg.log" --force-not-root \
        --force-depends --force-script-chrootless "$@"
}

files_there() { (cd root && find . -path ./var/lib/dpkg -prune -o ! -type d -print); }

check_package()
{
    for tool in dpkg dpkg-shlibdeps file; do
        command -v $tool >/dev/null || { echo "SKIPPED: there is no $tool" && exit 77; }
    done
    cpack --config "$build/CPackConfig.cmake" -G DEB -B packed
    package=$(ls packed/*.deb)
    dpkg-deb -f "$package" Depends | grep libtirpc | grep libstdc++ || fail 'dependencies are missing'
    mkdir -p root/var/lib/dpkg/info root/var/lib/dpkg/updates root/var/lib/dpkg/triggers
    touch root/var/lib/dpkg/status root/var/lib/dpkg/available

    dpkg_there -i "$package"
    check_program "$scratch/root/usr"
    [ -s root/var/lib/hostmetrics/aproc/shell/MemCntInfo.dat ] || fail 'results are not in /var/lib'
    touch root/var/lib/hostmetrics/buffer/waiting
    dpkg_there -r hostmetrics 2>&1 | tee removal
    ! grep -v 'buffer\|lib/hostmetrics. not empty' removal | grep 'not empty' || fail 'removing is not clean'
    [ "$(files_there)" = ./var/lib/hostmetrics/buffer/waiting ] || fail "left after removing: $(files_there)"
    dpkg_there -P hostmetrics
    [ -z "$(find root -name 'hostmetrics*')" ] || fail "left after purging: $(files_there)"
}

"check_$1"
