#include <filesystem>

#include "collect/MM_IO_Info.h"
#include "tests/TestSupport.h"

// The scripts that the disk collector calls, in front of a host that the test writes.

namespace
{
class DiskScripts : public testing::Test
{
protected:
    // A block device: files by their path below its folder.
    void fDevice(const std::string& name, const std::vector<std::pair<const char*, std::string>>& files) const
    {
        for (const auto& [path, text] : files)
            fgWriteFile(m_clTree.fPath("host/sys/block/" + name + "/" + path), text);
    }
    std::string fRun(const std::string& line) const
    {
        const ST_TEST_RUN run = fgRunCommand("HOSTMETRICS_HOST_ROOT=" + m_clTree.fPath("host") + " " + line);
        EXPECT_EQ(run.l_strErr, "") << line;
        return run.l_strOut;
    }
    std::string fRecord() const
    {
        EXPECT_EQ(fRun("./shell/libinvdiskexe.sh 2 7"), "");
        return fgReadable(fgReadFile(m_clTree.fPath("agent/aproc/shell/DiskINVStrInfo.dat")));
    }
    CTestTree m_clTree;
};
} // namespace

TEST_F(DiskScripts, PartitionsAreTheKernelsOwn)
{
    EXPECT_EQ(fRun("./shell/LINUX/partitions.sh"), "");
    fgWriteFile(m_clTree.fPath("host/proc/partitions"), "major minor\n\n 8 0 %s \\n sda\n");
    EXPECT_EQ(fRun("./shell/LINUX/partitions.sh"), "major minor\n\n 8 0 %s \\n sda\n");
}

TEST_F(DiskScripts, InventoryHasARowForEachDisk)
{
    const std::string page = std::string("\0\x80\0\x08", 4) + "  S3R|AL ";
    fDevice("sda", {{"device/model", "Model of A   \n"},
                    {"device/vpd_pg80", page},
                    {"size", "8589934592\n"},
                    {"queue/rotational", "1\n"},
                    {"device/wwid", "naa.1"}});
    fDevice("nvme0n1", {{"device/model", "Fast\x03 one\n"},
                        {"device/serial", "N-1\n"},
                        {"size", "2000000\n"},
                        {"queue/rotational", "0\n"},
                        {"hidden", "0\n"},
                        {"wwid", "eui.2"}});
    fDevice("nvme0c0n1", {{"device/model", "path\n"}, {"size", "2000000\n"}, {"hidden", "1\n"}});
    fDevice("cciss!c0d0", {{"device/wwid", "naa.3\n"}, {"size", "2000001\n"}});
    fDevice("vda", {{"device/vendor", "0x1af4\n"}, {"serial", "root"}, {"size", "1999999\n"}});
    fDevice("sr0", {{"device/model", "DVD\n"}, {"size", "9000000\n"}});
    fDevice("loop0", {{"size", "9000000\n"}});
    EXPECT_EQ(fRecord(), "VELKDISK|INDEX~DISKNAME~SIZEKB~MODEL~SERIAL~ROTATIONAL~"
                         "|1~/dev/cciss/c0d0~1000000~-~naa.3~-~"
                         "|2~/dev/nvme0n1~1000000~Fast  one~N-1~0~"
                         "|3~/dev/sda~4294967296~Model of A~S3R AL~1~\n");
    const std::filesystem::directory_iterator files(m_clTree.fPath("agent/aproc/shell"));
    EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "nothing else is left";
    CMM_IO_Info disks;
    EXPECT_EQ(disks.fGetDiskINV(), 1) << "a record that its reader takes";
    EXPECT_EQ(fgReadable(disks.m_pStrDiskINV).substr(0, 15), "INDEX~DISKNAME~");
}

TEST_F(DiskScripts, InventoryKeepsTheFileOfBefore)
{
    fgWriteFile(m_clTree.fPath("agent/aproc/shell/DiskINVStrInfo.dat"), "old");
    EXPECT_EQ(fRecord(), "old") << "no disk";
}
