#include "inventory/Disk_Info.h"
#include "inventory/Memory_Info.h"
#include "inventory/NIC_Info.h"
#include "inventory/Pci_Info.h"
#include "tests/TestSupport.h"

namespace
{
using CNames = std::vector<std::string>;

template <class TItem> CNames fModels(TItem* items, unsigned count)
{
    CNames names;
    for (unsigned i = 0; items != nullptr && i < count; i++)
        names.emplace_back(items[i].ModelName());
    return names;
}

CNames fDevices(CPci_Info& pci)
{
    CNames names;
    CPci* devices = pci.GetPciInfo();
    for (unsigned i = 0; devices != nullptr && i < pci.PciNum(); i++)
        names.push_back(devices[i].ModuleType() + std::string("=") + devices[i].ModuleName());
    return names;
}

// A host of the test's own, at first with nothing that the readers look for.
class HardwareInventory : public testing::Test
{
protected:
    void fList(const std::string& text) const { fgWriteFile(m_clTree.fPath("etc/sysconfig/hwconf"), text); }
    void fPci(const std::string& text) const { fgWriteFile(m_clTree.fPath("proc/pci"), text); }

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
    const CNames cards{"Intel Corporation|82557/8/9 [Ethernet Pro 100]",
                       "3Com Corporation|3c905C-TX/TX-M [Tornado]"};
    const CNames drives{"LG CD-ROM CRD-8522B", "Plextor CD-R PX-W1210S\n"};
    const CNames devices{"Host bridge=Intel Corp. 440BX/ZX/DX - 82443BX/ZX/DX Host bridge (rev 3).",
                         "Bridge=Intel Corp. 82371AB/EB/MB PIIX4 SMBus (rev 2).", // counted twice
                         "Ethernet controller=Intel Corp. 82557/8/9 [Ethernet Pro 100] (rev 8).",
                         "Class ff00=PCI device 1002:4742 (rev 92).", "="};
    EXPECT_EQ(fModels(m_clNic.GetNICInfos(), 2), cards);
    EXPECT_EQ(fModels(m_clDisk.GetCdromInfo(), 2), drives);
    EXPECT_EQ(fDevices(m_clPci), devices);
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
    const std::string card = "class: NETWORK\n";
    const std::string x(505, 'x');
    const std::tuple<const char*, std::string, CNames> rows[] = {
        {"no card", "class: CDROM\ndesc: a\n", {}},
        {"surplus ones are dropped", card + "desc: \"a b\" c\ndesc: \"b\"\n", {"a b"}},
        {"missing ones stay blank", card + card + "desc: \"b\"\n", {"b", ""}},
        {"the first character goes", card + card + "desc: xy\"z\"\ndesc:\"\n", {"y", "\n"}},
        {"beginnings decide",
         card + "class: X\nclasses: NETWORKS\nxdesc: a\n desc: b\ndescription: c",
         {"c"}},
        {"another class ends", card + "class: NET\ndesc: a\nclass: \"NETWORK\"\ndesc: b", {"b"}},
        {"counts by 255 bytes", "class: NETWORK" + x.substr(0, 241) + card, {"", ""}},
        {"reads by 511 bytes", card + "desc: " + x + "desc: y\n" + card, {x, "y\n"}},
    };
    for (const auto& [why, list, models] : rows) {
        fList(list);
        CNIC* cards = m_clNic.GetNICInfos();
        EXPECT_EQ(fModels(cards, m_clNic.NICNum()), models) << why;
    }
}

TEST_F(HardwareInventory, UsesAStaleCountOnce)
{
    fList("class: NETWORK\ndesc: a\nclass: NETWORK\ndesc: b\n");
    m_clNic.m_nNICNum = 1;
    EXPECT_EQ(fModels(m_clNic.GetNICInfos(), 1), CNames{"a\n"}) << "a count that is there is used";
    m_clNic.m_nNICNum = 1000; // the array remembers its own
    EXPECT_EQ(fModels(m_clNic.GetNICInfos(), 2), (CNames{"a\n", "b\n"}));

    fPci("Bus\n no colon\n\t type : \tname: x\n a: b\nBus: x\n Bus\n c: d");
    EXPECT_EQ(fDevices(m_clPci), (CNames{"type =name: x", "c=d", "="})) << "a device waits for its colon";
    CPci_Info stalePci;
    stalePci.m_nPciNum = 1;
    EXPECT_EQ(fDevices(stalePci), (CNames{"type =name: x"}));
}

TEST_F(HardwareInventory, TextsAreCutAtTheirFields)
{
    const std::string text(600, 't');
    fList("class: CDROM\ndesc: " + text);
    fPci("Bus\n" + std::string(300, 't') + ":" + std::string(200, 't'));
    const std::string cut = text.substr(0, 127);
    EXPECT_EQ(fModels(m_clDisk.GetCdromInfo(), 1), CNames{cut});
    EXPECT_EQ(fDevices(m_clPci), CNames{cut + "=" + cut});
    CNIC card;
    card.ModelName(text.c_str());
    EXPECT_EQ(card.ModelName(), text.substr(0, 511));
    m_clNic.fSetCurrentPath(text.c_str());
    EXPECT_EQ(m_clNic.m_strCurrentPath, text.substr(0, 511));
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
