#include "collect/BandwidthDiscovery.h"

#include "driver/RunConfig.h"
#include "lib/NCmdScheduler.h"
#include "tests/TestSupport.h"

namespace
{
// The tree's scripts in front of a host that the test writes.
class Bandwidth : public CHostTest
{
protected:
    void fInterface(const std::string& name, const char* speed, const char* duplex) const
    {
        m_clTree.fWrite("sys/class/net/" + name + "/speed", speed);
        m_clTree.fWrite("sys/class/net/" + name + "/duplex", duplex);
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
    // The log lines that hold the text.
    int fLogged(const std::string& text) const { return m_clLog.fCount("[INFO][MM_NWT_Info.cpp]" + text); }

    CBandwidthList m_clList;
    char m_strScratch[LOG_SCRATCH_SIZE];
};
} // namespace

TEST_F(Bandwidth, LinesOfTheScriptsForAllInterfaces)
{
    m_clTree.fScript(
        "ifname_bandwidth_duplex.sh",
        "printf '%s\\n' 'VELKSC|eth0|1000000|2' 'VELKSC|eth0|5|1' 'VELKSC|eth1|5|1|' 'VELKSC|eth2|5' "
        "'velksc|eth3|5|1' '' 'VELKSC|eth4|800000000|0'");
    fgDiscoverBandwidthDuplex(m_clList, m_strScratch);
    EXPECT_EQ(m_clLog.fLines(), fgSplit(fgFixture("interfaces/log"), "\n"));
    m_clTree.fScript("ifname_bandwidth.sh", "printf 'eth0 1\\nno_blank\\neth1  10000 \\n'");
    fgDiscoverBandwidth(m_clList, m_strScratch);
    const std::string found = "eth0=1000000/2 eth4=800000000/0 eth1=10000/1 ";
    EXPECT_EQ(fFound(), found);

    fs::remove_all(m_clTree.fPath("agent/aproc/shell"));
    const auto discover = [this] {
        for (const auto way : {fgDiscoverBandwidthDuplex, fgDiscoverBandwidth, fgDiscoverBandwidthEach})
            way(m_clList, m_strScratch);
    };
    EXPECT_EQ(fgTold(discover), "") << "no complaint of the shell's own";
    EXPECT_EQ(fLogged("Bandwidth GTR failed(../aproc/shell/IFName_bandwidth.dat not found)"), 2);
    EXPECT_EQ(fLogged("Bandwidth GTR failed(../aproc/shell/IFName.dat not found)"), 1);
    EXPECT_EQ(fLogged("Bandwidth GTR END") * 10 + fLogged("Bandwidth Duplex END"), 22);
    EXPECT_EQ(fFound(), found) << "what was found stays";
}

TEST_F(Bandwidth, EachInterfaceByTheScriptsOfTheTree)
{
    fgRunCommand("cp -r " HOSTMETRICS_FIXTURES "/interfaces/[ps]* " + m_clTree.fTop());
    for (const char* hostile : {"a;touch x", "$(touch x)", "`touch x`", "a|touch x", "a&b", "-x y"})
        fInterface(hostile, "1000", "full");
    fgDiscoverBandwidthEach(m_clList, m_strScratch);
    EXPECT_EQ(fFound(), "bond0.100=10000000/1 bond1=20000000/1 eth1=10000000/1 ");
    EXPECT_FALSE(fs::exists("x"));
    EXPECT_TRUE(fs::exists("../aproc/shell/BandWidth_bond0.100.dat")) << "not by the slave";
    EXPECT_EQ(fLogged("Bandwidth success[bond0.100][10000000]KB"), 1);
    EXPECT_EQ(fLogged("Bandwidth [lo] GTR1") * 10 + fLogged("Bandwidth [eth2] GTR1"), 1);
    EXPECT_EQ(fLogged("interface name refused["), 7) << "six names and a slave";
    EXPECT_EQ(fgKilobits("2147484"), -2147483296) << "32 bits";
    m_clTree.fScript("BandWidth.sh", "[ \"$1\" != eth1 ] || rm \"$2\"");
    fgDiscoverBandwidthEach(m_clList, m_strScratch);
    EXPECT_EQ(fLogged("Bandwidth failed(../aproc/shell/BandWidth_eth1.dat not found)"), 1);

    char slave[4] = "";
    EXPECT_EQ(fgGetBondInfo("bond0", slave, sizeof(slave)), 1);
    EXPECT_STREQ(slave, "eth");
    EXPECT_EQ(fgGetBondInfo("bond3", slave, sizeof(slave)), 1);
    EXPECT_STREQ(slave, "") << "the line ends before the name";
}

TEST_F(Bandwidth, DuplexByAFileThatIsFresh)
{
    const std::string path = "../aproc/shell/DuplexLinux.dat";
    const auto age = [&path](int seconds) {
        const auto now = fs::file_time_type::clock::now();
        fs::last_write_time(path, now - std::chrono::seconds(seconds));
    };
    fInterface("eth0", "1000\n", "half\n");
    char text[DUPLEX_TEXT_SIZE] = "as it was";
    EXPECT_EQ(fGetDuplex("eth1", text), -1) << "not known";
    age(310);
    EXPECT_EQ(fGetDuplex("$(id)", text) + fGetDuplex(nullptr, text), -2);
    EXPECT_EQ(fLogged("interface name refused[$(id)]"), 1);
    EXPECT_STREQ(text, "as it was");
    EXPECT_EQ(fGetDuplex("eth0", text), 1) << "too old: the script runs";
    EXPECT_STREQ(text, "Half Duplex");
    for (const auto& [line, word] :
         {std::pair("HALF and full", "Full Duplex"), {"HALF", "Half Duplex"}, {"\nFull", ""}, {"fULL", ""}})
    {
        fgWriteFile(path, line);
        age(290);
        text[0] = '\0';
        EXPECT_EQ(fGetDuplex("eth0", text), *word != '\0' ? 1 : -1) << line;
        EXPECT_STREQ(text, word) << line;
    }
    CCmdScheduler scheduler;
    scheduler.fSetCmdSchedulerHomePath(m_clTree.fPath("agent/cmd").c_str());
    const CTestSetting setting(g_pclCCmdScheduler, &scheduler);
    age(310);
    EXPECT_EQ(fGetDuplex("eth0", text), -1) << "what the file holds so far";
    EXPECT_EQ(fgReadFile(m_clTree.fPath("agent/cmd/shcmd_NWT_NICDuplexInfoLinux_eth0____aproc_shell_"
                                        "DuplexLinuxTmp_dat____aproc_shell_DuplexLinux_dat.cmd")),
              "../../utils/ETC/ShCmd 5 ./shell/LINUX/NICDuplexInfoLinux.sh eth0 "
              "../aproc/shell/DuplexLinuxTmp.dat ../aproc/shell/DuplexLinux.dat");
}
