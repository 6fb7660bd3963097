#include "collect/MM_IO_Info.h"
#include "tests/TestSupport.h"

// The scripts of the runtime tree, and those of this repository, in front of hosts of their fixtures.
class Scripts : public testing::TestWithParam<const char*>
{};

TEST_P(Scripts, SayAndDoWhatTheirCallersExpect)
{
    const CTestTree tree;
    const std::string subject = std::string("scripts/") + GetParam(), folder = tree.fPath(GetParam());
    fs::copy(HOSTMETRICS_FIXTURES "/" + subject, folder, fs::copy_options::recursive);
    setenv("PATH", (folder + ":" HOSTMETRICS_FIXTURES "/scripts:" + getenv("PATH")).c_str(), 1);
    setenv("HOSTS", folder.c_str(), 1);
    setenv("BOOTSTRAP", HOSTMETRICS_SCRIPTS "/bootstrap", 1);
    setenv("HOSTMETRICS_HOST_ROOT", (folder + "/host").c_str(), 1);
    fgCheckTranscript(subject + "/transcript");
    EXPECT_EQ(CMM_IO_Info().fGetDiskINV(), subject.ends_with("disks") ? 1 : -1)
        << "its reader takes a record";
    unsetenv("HOSTMETRICS_HOST_ROOT");
}

INSTANTIATE_TEST_SUITE_P(, Scripts,
                         testing::Values("bootstrap", "datastores", "disks", "interfaces", "launcher", "log",
                                         "memory", "processes", "processors", "runner"),
                         [](const auto& subject) { return std::string(subject.param); });
