#include "collect/MM_IO_Info.h"
#include "tests/TestSupport.h"

namespace
{
// The scripts of the runtime tree in front of a host that the test writes.
class Scripts : public testing::Test
{
protected:
    void fHostFile(const std::string& path, const std::string& text) const
    {
        fgWriteFile(m_clTree.fPath("host") + path, text);
    }
    // One logical CPU; -1 is what the kernel says of a package it does not know.
    void fCpu(int cpu, int package, const std::string& siblings) const
    {
        const std::string folder = "/sys/devices/system/cpu/cpu" + std::to_string(cpu);
        fHostFile(folder + "/topology/physical_package_id", std::to_string(package) + "\n");
        fHostFile(folder + "/topology/thread_siblings_list", siblings + "\n");
    }
    // Output of a line run in the program's folder; nothing but that may be said.
    std::string fRun(const std::string& line) const
    {
        const ST_TEST_RUN run = fgRunCommand("HOSTMETRICS_HOST_ROOT=" + m_clTree.fPath("host") + " " + line);
        EXPECT_EQ(run.l_strErr, "") << line;
        return run.l_strOut;
    }
    // Output of top_info, whose sleep takes no time and runs a line instead.
    std::string fRunTop(const std::string& meanwhile) const
    {
        m_clTree.fReplaceScript("tools/sleep", "#!/bin/sh\n" + meanwhile + "\n");
        return fRun("PATH=" + m_clTree.fPath("tools") + ":$PATH ./shell/LINUX/top_info");
    }

    CTestTree m_clTree;
    const std::string m_strResults = m_clTree.fPath("agent/aproc/shell/");
    const std::string m_strInventory = m_strResults + "CpuINVStrInfo.dat";
};

// Text of /proc/PID/stat with what top_info reads: ticks in user and system mode, and the start.
std::string fStat(const std::string& name, int utime, int stime, int start)
{
    return name + " S 1 1 1 0 -1 64 1 2 3 4 " + std::to_string(utime) + " " + std::to_string(stime) +
           " 5 6 20 0 1 0 " + std::to_string(start) + " 1000 10\n";
}
} // namespace

TEST_F(Scripts, CpuInfoCountsPackagesWithoutANewline)
{
    const auto count = [this] { return fRun("./shell/LINUX/cpu_info"); };
    EXPECT_EQ(count(), "") << "a host that tells nothing";
    fHostFile("/proc/cpuinfo",
              "physical id\t: 0\n\nphysical id\t: 3\n\nphysical id\t: 3\n\nphysical id\t: 12\n");
    fCpu(0, -1, "0");
    EXPECT_EQ(count(), "3") << "the topology does not know";
    for (int cpu = 0; cpu < 24; cpu++)
        fCpu(cpu, cpu % 12, "0");
    EXPECT_EQ(count(), "12");
}

TEST_F(Scripts, PidsAreListedInOrder)
{
    EXPECT_EQ(fRun("./shell/LINUX/PSInfoLIN.sh"), "");
    for (const char* entry : {"1", "20", "3", "self", "9x"})
        fHostFile(std::string("/proc/") + entry + "/stat", "");
    fHostFile("/proc/7", "no folder");
    EXPECT_EQ(fRun("./shell/LINUX/PSInfoLIN.sh"), "1\n3\n20\n");
}

TEST_F(Scripts, TopInfoTakesTheShareBetweenTwoLooks)
{
    EXPECT_EQ(fRunTop(":"), "");
    fHostFile("/proc/uptime", "1000.50 1.00\n");
    fHostFile("/proc/1/stat", fStat("1 (init)", 100, 50, 1));
    fHostFile("/proc/20/stat", fStat("20 (a) R 9 (\nb)", 10, 20, 2));
    fHostFile("/proc/30/stat", fStat("30 (gone)", 10, 20, 3));
    fHostFile("/proc/40/stat", fStat("40 (reused)", 500, 0, 4));
    fHostFile("/proc/50/stat", "50 (damaged) S 1\n");
    EXPECT_EQ(fRunTop(":"), "") << "no time went by";
    fHostFile("/later/uptime", "1002.50 1.00\n"); // two seconds, in ticks of a hundredth
    fHostFile("/later/1/stat", fStat("1 (init)", 225, 75, 1));
    fHostFile("/later/20/stat", fStat("20 (a) R 9 (\nb)", 10, 21, 2));
    fHostFile("/later/40/stat", fStat("40 (new)", 30, 20, 90));
    EXPECT_EQ(fRunTop("cd " + m_clTree.fPath("host") + " && cp -r later/. proc && rm -r proc/30"),
              "PID PERCENT\n1 75.00\n20 0.50\n40 25.00\n");
}

TEST_F(Scripts, OneProcessIsPickedFromTheSnapshot)
{
    EXPECT_EQ(fRun("./shell/LINUX/ProcCpuUseTop.sh 1"), "");
    fgWriteFile(m_strResults + "top_info.dat", "PID PERCENT\n12 1.50\n1 75.00\n");
    for (const auto& [pid, percent] : {std::pair("1", "75.00\n"), {"12", "1.50\n"}, {"3", ""}, {"PID", ""}})
        EXPECT_EQ(fRun(std::string("./shell/LINUX/ProcCpuUseTop.sh ") + pid), percent) << pid;
}

TEST_F(Scripts, CpuInventoryHasARowForEachPackage)
{
    fHostFile("/proc/cpuinfo", "vendor_id\t: Maker\nmodel name\t: M|odel\x03(R)  v2 \ncpu MHz\t\t: 2399.61\n"
                               "cache size\t: 512 KB\n\nmodel name\t: second\n");
    fCpu(0, 1, "0,2");
    fCpu(2, 1, "0,2");
    fCpu(10, 0, "10");
    fCpu(3, 1, "3");
    const std::string cpu = "/sys/devices/system/cpu/cpu";
    fHostFile(cpu + "2/cpufreq/cpuinfo_max_freq", "3500000\n");
    fHostFile(cpu + "0/cpufreq/cpuinfo_max_freq", "3400000\n");
    const char* const caches[][2] = {{"0/level", "1"},     {"0/size", "48K"}, {"1/level", "3"},
                                     {"1/size", "24576K"}, {"2/level", "2"},  {"2/size", "2048K"}};
    for (const auto& [file, text] : caches)
        fHostFile(cpu + "0/cache/index" + file, text);
    fgWriteFile(m_strInventory, "old");
    EXPECT_EQ(fRun("./libinvinfo 1 1"), "");
    EXPECT_EQ(fgReadable(fgReadFile(m_strInventory)),
              "VELKCPU|INDEX~NAME~VENDOR~MODEL~CORES~THREADS~MHZ~CACHEKB~"
              "|1~SOCKET0~MAKER~M ODEL (R)  V2~1~1~2400~512~"
              "|2~SOCKET1~MAKER~M ODEL (R)  V2~2~3~3500~24576~\n");
}

TEST_F(Scripts, InventoryTellsWhatItCannotKnowAndKeepsTheFileWithoutAnything)
{
    fgWriteFile(m_strInventory, "old");
    for (const char* line : {"./libinvinfo 1 1", "./libinvinfo", "./libinvinfo 9 1"})
        EXPECT_EQ(fRun(line), "");
    EXPECT_EQ(fgReadFile(m_strInventory), "old");
    fCpu(0, -1, "0");
    fRun("./libinvinfo 1 1");
    EXPECT_TRUE(fgReadable(fgReadFile(m_strInventory)).ends_with("|1~SOCKET0~-~-~1~1~-~-~\n"));
    EXPECT_EQ(fRun("ls ../aproc/shell"), "CpuINVStrInfo.dat\n") << "nothing else is left";
}

TEST_F(Scripts, InterfacesWithASpeed)
{
    const char* const interfaces[][3] = {{"eth0", "1000\n", "full\n"},    {"eth1", "10", "half"},
                                         {"eth2", "-1\n", "unknown\n"},   {"eth3", "400000\n", "\n"},
                                         {"eth4", "65535\n", "full\n"},   {"a|b", "10\n", "full\n"},
                                         {"$(id);*", "25000\n", "full\n"}};
    for (const auto& [name, speed, duplex] : interfaces) {
        fHostFile(std::string("/sys/class/net/") + name + "/speed", speed);
        fHostFile(std::string("/sys/class/net/") + name + "/duplex", duplex);
    }
    fHostFile("/sys/class/net/lo/mtu", "65536\n");
    fHostFile("/sys/class/net/bonding_masters", "");
    EXPECT_EQ(
        fRun("LC_ALL=C ./shell/LINUX/ifname_bandwidth_duplex.sh"),
        "VELKSC|$(id);*|25000000|1\nVELKSC|eth0|1000000|1\nVELKSC|eth1|10000|2\nVELKSC|eth3|400000000|0\n");
    EXPECT_TRUE(fRun("./shell/LINUX/ifname_bandwidth.sh").ends_with("eth1 10000\neth3 400000000\n"));
    EXPECT_EQ(fRun("LC_ALL=C ./shell/LINUX/IFName.sh"), "$(id);*\na|b\neth0\neth1\neth2\neth3\neth4\n");
}

TEST_F(Scripts, InterfaceInventoryHasARowForEachName)
{
    const std::string file = m_strResults + "InterfaceINVStrInfo.dat", net = "/sys/class/net/";
    fgWriteFile(file, "old");
    fRun("./libinvinfo 3 1");
    EXPECT_EQ(fgReadFile(file), "old") << "no interface";
    for (const auto& [path, text] : {std::pair("eth0/type", "1\n"),
                                     {"eth0/address", "02:fc:00:00:00:01\n"},
                                     {"eth0/mtu", "1500\n"},
                                     {"eth0/speed", "1000\n"},
                                     {"eth0/duplex", "half\n"},
                                     {"a|$(id)/mtu", "9\3"},
                                     {"-x\3\37~/mtu", "9"},
                                     {"lo/mtu", "9"},
                                     {"bonding_masters", "bond0"},
                                     {"bond0/speed", "-1\n"}})
        fHostFile(net + path, text);
    fRun("mkdir " + m_clTree.fPath("host") + net + "eth0/device && ln -s ../../../bus/drivers/e1000 " +
         m_clTree.fPath("host") + net + "eth0/device/driver");
    EXPECT_EQ(fRun("./libinvinfo 3 1"), "");
    EXPECT_EQ(fgReadable(fgReadFile(file)), "VELKInterface|INDEX~NAME~TYPE~MAC~MTU~KILOBITS~DUPLEX~DRIVER~"
                                            "|1~a|$(id)~-~-~9~-~-~-~|2~bond0~-~-~-~-~-~-~"
                                            "|3~eth0~1~02:fc:00:00:00:01~1500~1000000~HALF~e1000~\n");
}

TEST_F(Scripts, OneInterfaceIntoAFile)
{
    fHostFile("/sys/class/net/eth0/speed", "1000\n");
    fHostFile("/sys/class/net/eth0/duplex", "half\n");
    fHostFile("/secret/speed", "10\n");
    fHostFile("/secret/duplex", "full\n");
    const std::string file = m_strResults + "result";
    const std::tuple<const char*, const char*, const char*> names[] = {
        {"eth0:1", "1000\n", "half\n"}, {"eth9", "", ""}, {"../../../secret", "", ""}, {"$(id)", "", ""}};
    for (const auto& [name, speed, duplex] : names)
        for (const auto& [script, work, expected] :
             {std::tuple("BandWidth.sh", "", speed),
              {"NICDuplexInfoLinux.sh", "../aproc/shell/work ", duplex}})
        {
            fgWriteFile(file, "old");
            EXPECT_EQ(fRun(std::string("./shell/LINUX/") + script + " '" + name + "' " + work + file), "");
            EXPECT_EQ(fgReadFile(file), expected) << name;
        }
    EXPECT_EQ(fRun("ls " + m_strResults), "result\n") << "nothing else is left";
}

TEST_F(Scripts, MemoryModulesComeFromTheFirstSourceThatTellsAny)
{
    const std::string file = m_strResults + "MemCntInfo.dat";
    const auto sizes = [&](const std::string& before) {
        EXPECT_EQ(fRun(before + "./shell/LINUX/MemCntInfoLIN.sh"), "");
        return fgReadFile(file);
    };
    fgWriteFile(file, "4096\n");
    EXPECT_EQ(sizes(""), "") << "modules of before are not those of now";
    const std::string controller = "/sys/devices/system/edac/mc/mc0/";
    fHostFile(controller + "dimm0/size", "1024\n");
    fHostFile(controller + "dimm1/size", "0\n");
    fHostFile(controller + "dimm2/size", "2048\n");
    fHostFile(controller + "rank0/size", "512\n");
    EXPECT_EQ(sizes(""), "1024\n2048\n");
    fHostFile("/run/udev/data/+dmi:id",
              "I:1\nE:MEMORY_DEVICE_0_SIZE=17179869184\nE:MEMORY_DEVICE_1_PRESENT=0\n"
              "E:MEMORY_DEVICE_10_SIZE=4294967296\nE:MEMORY_DEVICE_2_VOLATILE_SIZE=9\n");
    EXPECT_EQ(sizes(""), "16384\n4096\n");
    m_clTree.fReplaceScript("tools/dmidecode",
                            "#!/bin/sh\n[ \"$*\" = '-q -t 17' ] && cat ../aproc/shell/dmi\n");
    fgWriteFile(
        m_strResults + "dmi",
        "Memory Device\n\tSize: 8 GB\n\tVolatile Size: 3 GB\n\nMemory Device\n\tSize: No Module Installed\n"
        "\nMemory Device\n\tSize: 512 MB\n\tSize: 2048 kB\n\tSize: 1 TB\n\tSize: Unknown\n");
    const std::string path = "PATH=" + m_clTree.fPath("tools") + ":$PATH ";
    EXPECT_EQ(sizes(path), "16384\n4096\n") << "dmidecode knows this host alone";
    EXPECT_EQ(sizes("HOSTMETRICS_HOST_ROOT= " + path), "8192\n512\n2\n1048576\n");
}

TEST_F(Scripts, PartitionsAreTheKernelsOwn)
{
    EXPECT_EQ(fRun("./shell/LINUX/partitions.sh"), "");
    fHostFile("/proc/partitions", "major minor\n\n 8 0 %s \\n sda\n");
    EXPECT_EQ(fRun("./shell/LINUX/partitions.sh"), "major minor\n\n 8 0 %s \\n sda\n");
}

TEST_F(Scripts, DiskInventoryHasARowForEachDisk)
{
    const std::string file = m_strResults + "DiskINVStrInfo.dat";
    fgWriteFile(file, "old");
    EXPECT_EQ(fRun("./shell/libinvdiskexe.sh 2 7"), "");
    EXPECT_EQ(fgReadFile(file), "old") << "no disk";
    const std::string page = std::string("\0\x80\0\x08", 4) + "  S3R|AL ";
    using FILES = std::vector<std::pair<const char*, std::string>>;
    const auto device = [this](const std::string& name, const FILES& files) {
        for (const auto& [path, text] : files)
            fHostFile("/sys/block/" + name + "/" + path, text);
    };
    device("sda", {{"device/model", "Model of A   \n"},
                   {"device/vpd_pg80", page},
                   {"size", "8589934592\n"},
                   {"queue/rotational", "1\n"},
                   {"device/wwid", "naa.1"}});
    device("nvme0n1", {{"device/model", "Fast\x03 one\n"},
                       {"device/serial", "N-1\n"},
                       {"size", "2000000\n"},
                       {"queue/rotational", "0\n"},
                       {"hidden", "0\n"},
                       {"wwid", "eui.2"}});
    device("nvme0c0n1", {{"device/model", "path\n"}, {"size", "2000000\n"}, {"hidden", "1\n"}});
    device("cciss!c0d0", {{"device/wwid", "naa.3\n"}, {"size", "2000001\n"}});
    device("vda", {{"device/vendor", "0x1af4\n"}, {"serial", "root"}, {"size", "1999999\n"}});
    device("sr0", {{"device/model", "DVD\n"}, {"size", "9000000\n"}});
    device("loop0", {{"size", "9000000\n"}});
    EXPECT_EQ(fRun("./shell/libinvdiskexe.sh 2 7"), "");
    EXPECT_EQ(fgReadable(fgReadFile(file)), "VELKDISK|INDEX~DISKNAME~SIZEKB~MODEL~SERIAL~ROTATIONAL~"
                                            "|1~/dev/cciss/c0d0~1000000~-~naa.3~-~"
                                            "|2~/dev/nvme0n1~1000000~Fast  one~N-1~0~"
                                            "|3~/dev/sda~4294967296~Model of A~S3R AL~1~\n");
    EXPECT_EQ(fRun("ls " + m_strResults), "DiskINVStrInfo.dat\n") << "nothing else is left";
    CMM_IO_Info disks;
    EXPECT_EQ(disks.fGetDiskINV(), 1) << "a record that its reader takes";
}
