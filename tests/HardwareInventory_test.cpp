#include "inventory/Disk_Info.h"
#include "inventory/Memory_Info.h"
#include "inventory/NIC_Info.h"
#include "inventory/Pci_Info.h"
#include "tests/TestSupport.h"

namespace
{
using CNames = std::vector<std::string>;

CNames fNames(CNIC_Info& cards)
{
    CNames names;
    CNIC* items = cards.GetNICInfos();
    for (unsigned i = 0; items != nullptr && i < cards.NICNum(); i++)
        names.emplace_back(items[i].ModelName());
    return names;
}

CNames fNames(CPci_Info& pci)
{
    CNames names;
    CPci* items = pci.GetPciInfo();
    for (unsigned i = 0; items != nullptr && i < pci.PciNum(); i++)
        names.push_back(items[i].ModuleType() + std::string("=") + items[i].ModuleName());
    return names;
}

// A host of the test's own, at first with nothing that the readers look for.
class HardwareInventory : public testing::Test
{
protected:
    void fList(const std::string& text) const { m_clTree.fWrite("etc/sysconfig/hwconf", text); }
    void fPci(const std::string& text) const { m_clTree.fWrite("proc/pci", text); }

    CTestTree m_clTree;
    CTestHost m_clHost{m_clTree.fTop()};
    CNIC_Info m_clNic;
    CDisk_Info m_clDisk;
    CPci_Info m_clPci;
    CMemory_Info m_clMemory;
};
} // namespace

TEST_F(HardwareInventory, ListsAnOldMachineAndLetsGoOfIt)
{
    m_clHost.fMove("linux-2.4.21/t0");
    std::string all;
    for (const CNames& names : {fNames(m_clNic), fNames(m_clPci)})
        for (const std::string& name : names)
            all += name + "\n";
    EXPECT_EQ(all, fgFixture("linux-2.4.21/hardware")) << "SMBus was counted twice";
    ASSERT_NE(m_clDisk.GetCdromInfo(), nullptr);
    EXPECT_STREQ(m_clDisk.m_pclCCdrom[0].ModelName(), "LG CD-ROM CRD-8522B");
    EXPECT_STREQ(m_clDisk.m_pclCCdrom[1].ModelName(), "Plextor CD-R PX-W1210S\n");
    EXPECT_EQ(m_clMemory.GetMemoryNum(), 2U);

    m_clHost.fMove(m_clTree.fTop());
    EXPECT_TRUE(m_clNic.GetNICInfos() == nullptr && m_clNic.m_pclCNIC == nullptr && m_clNic.NICNum() == 0);
    EXPECT_TRUE(m_clDisk.GetCdromInfo() == nullptr && m_clDisk.m_pclCCdrom == nullptr);
    EXPECT_TRUE(m_clPci.GetPciInfo() == nullptr && m_clPci.m_pclCPci == nullptr && m_clPci.PciNum() == 0);
    EXPECT_EQ(m_clMemory.GetMemoryNum() + m_clMemory.MemoryNum(), 0U);
    m_clDisk.m_pclCDisk = new CDisk[1]; // what an agent puts there goes with the reader
    m_clDisk.m_pclCDat = new CDisk[2];
}

TEST_F(HardwareInventory, NamesCardsByTheirDescriptions)
{
    const std::string card = "class: NETWORK\n", x(505, 'x');
    const std::tuple<const char*, std::string, CNames> rows[] = {
        {"surplus ones are dropped", card + "desc: \"a b\" c\ndesc: \"b\"\n", {"a b"}},
        {"missing ones stay blank", card + card + "desc: \"b\"\n", {"b", ""}},
        {"the first character goes", card + card + "desc: xy\"z\"\ndesc:\"\n", {"y", "\n"}},
        {"beginnings decide", card + "class: X\nclasses: NETWORKS\nxdesc: a\n desc: b\ndesc: c", {"c"}},
        {"another class ends", card + "class: NET\ndesc: a\nclass: \"NETWORK\"\ndesc: b", {"b"}},
        {"counts by 255 bytes", "class: NETWORK" + x.substr(0, 241) + card, {"", ""}},
        {"reads by 511 bytes", card + "desc: " + x + "desc: y\n" + card, {x, "y\n"}},
    };
    for (const auto& [why, list, models] : rows) {
        fList(list);
        EXPECT_EQ(fNames(m_clNic), models) << why;
    }
}

TEST_F(HardwareInventory, DevicesWaitForTheirColons)
{
    fPci("Bus\n no colon\n\t type : \tname: x\n a: b\nBus: x\n Bus\n c: d");
    m_clPci.m_nPciNum = 1;
    EXPECT_EQ(fNames(m_clPci), CNames{"type =name: x"}) << "a count that is there is used";
    m_clPci.m_nPciNum = 1000; // the array remembers its own
    EXPECT_EQ(fNames(m_clPci), (CNames{"type =name: x", "c=d", "="}));
}

TEST_F(HardwareInventory, TextsAreCutAtTheirFields)
{
    const std::string text(600, 't'), cut(127, 't');
    fList("class: CDROM\ndesc: " + text);
    fPci("Bus\n" + text.substr(0, 300) + ":" + text.substr(0, 200));
    EXPECT_EQ(m_clDisk.GetCdromInfo()->ModelName(), cut);
    EXPECT_EQ(fNames(m_clPci), CNames{cut + "=" + cut});
}

TEST_F(HardwareInventory, CountsMemoryThroughTheShell)
{
    const std::string root = m_clTree.fPath("it's $(a) host+");
    fgWriteFile(root + "/proc/iomem", "0-1 : System RAM\n  2-3 : reserved\n4-5 : System RAM (hotplug)\n");
    m_clHost.fMove(root);
    const CTestSetting<int> print(g_nPrint, 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(m_clMemory.GetMemoryNum(), 2U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Memory popen command : cat '" +
                                                          m_clTree.fPath("it'\\''s $(a) host+") +
                                                          "/proc/iomem' | grep 'System RAM' | wc -l\n");
}
