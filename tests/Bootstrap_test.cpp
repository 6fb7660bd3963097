#include "tests/TestSupport.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace
{
// A machine of stand-ins: the script finds these commands and no others.
struct ST_MACHINE
{
    const char* l_strWhy;
    const char* l_strPackages; // installed, blanks around each
    const char* l_strCommands; // which stand-ins exist besides id
    const char* l_strUser;     // its number
    const char* l_strBroken;   // the word on which apt-get fails
    const char* l_strGroups;
    int l_nStatus;
    const char* l_strCalls;  // what was asked of sudo and apt-get
    const char* l_strSaying; // in standard error; empty: nothing is said
};

const ST_MACHINE MACHINES[] = {
    {"all is there", " g++ cmake ninja-build libtirpc-dev nlohmann-json3-dev pkgconf ", "dpkg-query apt-get",
     "0", "", "", 0, "", ""},
    {"a tool from elsewhere", " libtirpc-dev nlohmann-json3-dev ", "dpkg-query apt-get c++ ninja pkg-config",
     "0", "", "", 0, "apt-get update\napt-get install cmake\n", "installing cmake"},
    {"several groups", " g++ cmake ninja-build nlohmann-json3-dev pkgconf rpcbind e2fsprogs file ",
     "dpkg-query apt-get", "0", "", "build test bench", 0,
     "apt-get update\napt-get install libtirpc-dev libgtest-dev iproute2 dpkg-dev libbenchmark-dev "
     "libproc2-dev libstatgrab-dev python3-psutil procps sysstat atop\n",
     "installing libtirpc-dev libgtest-dev"},
    {"a user with sudo", " g++ cmake libtirpc-dev nlohmann-json3-dev pkgconf ", "dpkg-query apt-get sudo",
     "1000", "", "", 0, "sudo\napt-get update\nsudo\napt-get install ninja-build\n",
     "installing ninja-build"},
    {"a user without sudo", " cmake libtirpc-dev nlohmann-json3-dev pkgconf ", "dpkg-query apt-get", "1000",
     "", "", 1, "", "packages: g++ ninja-build\n"},
    {"another distribution", "", "c++ pkg-config", "0", "", "", 1, "",
     "packages: cmake ninja-build libtirpc-dev nlohmann-json3-dev\n"},
    {"old lists may do", " g++ cmake libtirpc-dev nlohmann-json3-dev pkgconf ", "dpkg-query apt-get", "0",
     "update", "", 0, "apt-get update\napt-get install ninja-build\n", "lists could not be renewed"},
    {"apt-get fails, in its own words", " g++ cmake libtirpc-dev nlohmann-json3-dev pkgconf ",
     "dpkg-query apt-get", "0", "install", "", 1, "apt-get update\napt-get install ninja-build\n",
     "E: install is broken\nbootstrap: apt-get could not"},
    {"unknown group", " ", "dpkg-query apt-get", "0", "", "build tests", 2, "", "usage: "},
};

// One for all commands, which are links to it.
constexpr char STAND_IN[] = R"(#!/bin/sh
words=
case ${0##*/} in
id) echo $USER_NUMBER ;;
dpkg-query) case $PACKAGES in *" $3 "*) printf installed ;; *) exit 1 ;; esac ;;
sudo) [ "$2" = true ] || echo sudo >>"$CALLS"; shift; "$@" ;;
apt-get) for word; do case $word in -* | *=*) ;; *) words="$words $word" ;; esac; done
    echo "apt-get$words" >>"$CALLS"
    case $words in *" ${BROKEN:-nothing}"*) echo "E: $BROKEN is broken" >&2; exit 100 ;; esac ;;
esac
)";

void fCheck(const ST_MACHINE& machine)
{
    SCOPED_TRACE(machine.l_strWhy);
    const CTestTree tree;
    const std::string bin = tree.fPath("stand-ins/");
    fgWriteFile(bin + "id", STAND_IN);
    fs::permissions(bin + "id", fs::perms::owner_all);
    fs::create_symlink("/usr/bin/env", bin + "env");
    for (const std::string& command : fgSplit(std::string("true ") + machine.l_strCommands, " "))
        if (!command.empty()) fs::create_symlink("id", bin + command);

    const ST_TEST_RUN run =
        fgRunCommand("PATH=" + bin + " PACKAGES='" + machine.l_strPackages + "' CALLS=" + bin +
                     "calls USER_NUMBER=" + machine.l_strUser + " BROKEN=" + machine.l_strBroken +
                     " /bin/sh '" HOSTMETRICS_SCRIPTS "/bootstrap' " + machine.l_strGroups);
    EXPECT_EQ(std::tuple(run.l_nStatus, run.l_strOut, fgReadFile(bin + "calls")),
              std::tuple(machine.l_nStatus, "", machine.l_strCalls));
    EXPECT_NE(run.l_strErr.find(machine.l_strSaying), std::string::npos) << run.l_strErr;
    EXPECT_EQ(run.l_strErr.empty(), machine.l_strSaying[0] == '\0') << run.l_strErr;
}
} // namespace

TEST(Bootstrap, InstallsWhatIsMissingOrNamesIt)
{
    for (const ST_MACHINE& machine : MACHINES)
        fCheck(machine);
}
