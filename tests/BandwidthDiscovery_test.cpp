#include "collect/BandwidthDiscovery.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "driver/RunConfig.h"
#include "lib/NCmdScheduler.h"
#include "tests/TestSupport.h"

namespace
{
// The tree's scripts in front of a host that the test writes, and a log.
class Bandwidth : public testing::Test
{
protected:
    Bandwidth() : m_clHost(m_clTree.fPath("host"))
    {
        setenv("HOSTMETRICS_HOST_ROOT", m_clTree.fPath("host").c_str(), 1);
    }
    ~Bandwidth() override { unsetenv("HOSTMETRICS_HOST_ROOT"); }

    void fInterface(const std::string& name, const char* speed, const char* duplex) const
    {
        fHostFile("/sys/class/net/" + name + "/speed", speed);
        fHostFile("/sys/class/net/" + name + "/duplex", duplex);
    }
    void fHostFile(const std::string& path, const std::string& text) const
    {
        fgWriteFile(m_clTree.fPath("host") + path, text);
    }
    void fScript(const std::string& name, const std::string& text) const
    {
        m_clTree.fReplaceScript("agent/bin/shell/LINUX/" + name, "#!/bin/sh\n" + text);
    }
    // What was found, as "eth0=1000000/1 ".
    std::string fFound() const
    {
        std::string text;
        for (const auto* node = m_clList.fGetHeadNode(); node != nullptr; node = node->m_pstNext)
            text += std::string(node->m_strIFName) + "=" + std::to_string(node->m_lBandwidth) + "/" +
                    std::to_string(node->m_nDuplex) + " ";
        return text;
    }

    const CTestTree m_clTree;
    const CTestHost m_clHost;
    const CTestLog m_clLog;
    CBandwidthList m_clList;
    char m_strScratch[LOG_SCRATCH_SIZE];
};
} // namespace

TEST_F(Bandwidth, LinesOfTheDuplexScript)
{
    fScript("ifname_bandwidth_duplex.sh",
            "printf '%s\\n' 'VELKSC|eth0|1000000|2' 'VELKSC|eth0|5|1' 'VELKSC|eth1|5|1|x' 'VELKSC|eth2|5' "
            "'velksc|eth3|5|1' '' 'VELKSC|eth4|800000000|0'");
    fgDiscoverBandwidthDuplex(m_clList, m_strScratch);
    EXPECT_EQ(fFound(), "eth0=1000000/2 eth4=800000000/0 ");
    std::string lines;
    for (const std::string& line : m_clLog.fLines())
        lines += line.substr(strlen("[INFO][MM_NWT_Info.cpp]Bandwidth Duplex")) + ",";
    EXPECT_EQ(lines,
              " START,-add-set[eth0][1000000][2],-add-set[eth0][5][1],-add-set[eth4][800000000][0], END,");
}

TEST_F(Bandwidth, LinesWithoutDuplex)
{
    fScript("ifname_bandwidth.sh", "printf 'eth0 1000000\\nno_blank\\neth1  10000 \\n'");
    fgDiscoverBandwidth(m_clList, m_strScratch);
    EXPECT_EQ(fFound(), "eth0=1000000/1 eth1=10000/1 ");
    std::filesystem::remove_all(m_clTree.fPath("agent/aproc/shell"));
    fgDiscoverBandwidthDuplex(m_clList, m_strScratch);
    fgDiscoverBandwidth(m_clList, m_strScratch);
    fgDiscoverBandwidthEach(m_clList, m_strScratch);
    EXPECT_EQ(m_clLog.fCount("Bandwidth GTR failed(../aproc/shell/IFName_bandwidth.dat not found)"), 2);
    EXPECT_EQ(m_clLog.fCount("Bandwidth GTR failed(../aproc/shell/IFName.dat not found)"), 1);
    EXPECT_EQ(m_clLog.fCount("Bandwidth GTR END") * 10 + m_clLog.fCount("Bandwidth Duplex END"), 21);
    EXPECT_EQ(fFound(), "eth0=1000000/1 eth1=10000/1 ") << "what was found stays";
}

TEST_F(Bandwidth, EachInterfaceByTheScriptsOfTheTree)
{
    const char* const bond = "Bonding Mode: fault-tolerance (active-backup)\nPrimary Slave: None\n"
                             "Currently Active Slave: eth1\nMII Status: up\n";
    fHostFile("/proc/net/bonding/bond0", bond);
    fHostFile("/proc/net/bonding/bond1", "Bonding Mode: load balancing (round-robin)\n");
    fHostFile("/proc/net/bonding/bond2", "Currently Active Slave: a;id\n");
    fHostFile("/sys/class/net/bonding_masters", "bond0 bond1\n");
    fInterface("lo", "", "");
    fInterface("bond0.100", "1", "full");
    fInterface("bond1", "20000\n", "full\n");
    fInterface("bond2", "1", "full");
    fInterface("eth1", "10000\n", "half\n");
    fInterface("eth2", "-1\n", "unknown\n");
    for (const char* hostile : {"a;touch x", "$(touch x)", "`touch x`", "a|touch x", "a&b", "-x y"})
        fInterface(hostile, "1000\n", "full\n");
    fgDiscoverBandwidthEach(m_clList, m_strScratch);
    EXPECT_EQ(fFound(), "bond0.100=10000000/1 bond1=20000000/1 eth1=10000000/1 ");
    EXPECT_FALSE(std::filesystem::exists("x"));
    EXPECT_EQ(fgReadFile("../aproc/shell/BandWidth_bond0.100.dat"), "10000\n")
        << "named after what is listed";
    EXPECT_EQ(m_clLog.fCount("[INFO][MM_NWT_Info.cpp]Bandwidth success[bond0.100][10000000]KB"), 1);
    EXPECT_EQ(m_clLog.fCount("Bandwidth [lo] GTR1") * 10 + m_clLog.fCount("Bandwidth [eth2] GTR1"), 1);
    EXPECT_EQ(m_clLog.fCount("interface name refused["), 7) << "six names and a slave";
    EXPECT_EQ(fgKilobits("2147484"), -2147483296) << "32 bits";
    fScript("BandWidth.sh", "[ \"$1\" != eth1 ] || rm \"$2\"");
    fgDiscoverBandwidthEach(m_clList, m_strScratch);
    EXPECT_EQ(m_clLog.fCount("Bandwidth failed(../aproc/shell/BandWidth_eth1.dat not found)"), 1);
}

TEST_F(Bandwidth, ActiveSlaves)
{
    std::string_view slave;
    EXPECT_TRUE(fgParseActiveSlave("Currently Active Slave:  eth1", slave));
    EXPECT_EQ(slave, " eth1") << "one blank is dropped";
    for (const char* ending : {":", ""}) {
        EXPECT_TRUE(fgParseActiveSlave(std::string("Currently Active Slave") + ending, slave));
        EXPECT_EQ(slave, "");
    }
    EXPECT_FALSE(fgParseActiveSlave(" Currently Active Slave: eth1", slave));
    fHostFile("/proc/net/bonding/bond0", "Currently Active Slave: eth1\nCurrently Active Slave: eth2\n");
    char small[4] = {};
    EXPECT_EQ(fgGetBondInfo("bond0", small, sizeof(small)), 1);
    EXPECT_STREQ(small, "eth");
    EXPECT_EQ(fgGetBondInfo("bond1", small, sizeof(small)), -1);
    EXPECT_EQ(fgGetBondInfo(std::string(5000, 'b').c_str(), small, sizeof(small)), -1);
}

TEST_F(Bandwidth, DuplexIsReadFromAFreshFile)
{
    const std::string path = m_clTree.fPath("agent/aproc/shell/DuplexLinux.dat");
    const auto age = [&path](int seconds) {
        const auto now = std::filesystem::file_time_type::clock::now();
        std::filesystem::last_write_time(path, now - std::chrono::seconds(seconds));
    };
    fInterface("eth0", "1000\n", "half\n");
    char text[DUPLEX_TEXT_SIZE] = "as it was";
    EXPECT_EQ(fGetDuplex("eth1", text), -1);
    EXPECT_EQ(fgReadFile(path), "") << "not known";
    age(310);
    EXPECT_EQ(fGetDuplex("$(id)", text) + fGetDuplex(nullptr, text), -2);
    EXPECT_STREQ(text, "as it was");
    EXPECT_EQ(m_clLog.fCount("interface name refused[$(id)]"), 1);
    EXPECT_EQ(fGetDuplex("eth0", text), 1) << "too old: the script runs";
    EXPECT_STREQ(text, "Half Duplex");
    const std::pair<const char*, const char*> lines[] = {{"Duplex: Full\nHalf", "Full Duplex"},
                                                         {"HALF and full", "Full Duplex"},
                                                         {"HALF", "Half Duplex"},
                                                         {"", nullptr},
                                                         {"\nFull", nullptr},
                                                         {"fULL", nullptr}};
    for (const auto& [line, word] : lines) {
        fgWriteFile(path, line);
        age(290);
        EXPECT_EQ(fGetDuplex("eth0", text), word != nullptr ? 1 : -1) << line;
        if (word != nullptr) {
            EXPECT_STREQ(text, word) << line;
        }
    }
}

TEST_F(Bandwidth, DuplexIsLeftToTheScheduler)
{
    CCmdScheduler scheduler;
    scheduler.fSetCmdSchedulerHomePath(m_clTree.fPath("agent/cmd").c_str());
    const CTestSetting setting(g_pclCCmdScheduler, &scheduler);
    fInterface("eth0", "1000\n", "full\n");
    char text[DUPLEX_TEXT_SIZE];
    EXPECT_EQ(fGetDuplex("eth0", text), -1);
    const std::string file =
        "shcmd_NWT_NICDuplexInfoLinux_eth0____aproc_shell_DuplexLinuxTmp_dat____aproc_shell_"
        "DuplexLinux_dat.cmd";
    EXPECT_EQ(fgReadFile(m_clTree.fPath("agent/cmd/" + file)),
              "../../utils/ETC/ShCmd 5 ./shell/LINUX/NICDuplexInfoLinux.sh eth0 "
              "../aproc/shell/DuplexLinuxTmp.dat ../aproc/shell/DuplexLinux.dat");
}
