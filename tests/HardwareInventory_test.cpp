#include "inventory/Disk_Info.h"

#include <algorithm>

#include "inventory/Memory_Info.h"
#include "inventory/NIC_Info.h"
#include "inventory/Pci_Info.h"
#include "tests/TestSupport.h"

namespace
{
std::string fText(CNIC& card)
{
    return card.ModelName();
}

std::string fText(CPci& device)
{
    return device.ModuleType() + std::string("=") + device.ModuleName();
}

// One a line. The count is that behind the call that gave the items.
template <class TItem> std::string fTexts(TItem* items, const unsigned& count)
{
    std::string texts;
    for (unsigned i = 0; items != nullptr && i < count; i++)
        texts += fText(items[i]) + "\n";
    return texts;
}

class HardwareInventory : public CHostTest
{
protected:
    void fList(const std::string& text) const { m_clTree.fWrite("etc/sysconfig/hwconf", text); }
    void fPci(const std::string& text) const { m_clTree.fWrite("proc/pci", text); }
    std::string fCards() { return fTexts(m_clNic.GetNICInfos(), m_clNic.m_nNICNum); }
    std::string fDevices() { return fTexts(m_clPci.GetPciInfo(), m_clPci.m_nPciNum); }

    CNIC_Info m_clNic;
    CDisk_Info m_clDisk;
    CPci_Info m_clPci;
    CMemory_Info m_clMemory;
};
} // namespace

TEST_F(HardwareInventory, ListsAnOldMachineAndLetsGoOfIt)
{
    m_clHost.fMove("linux-2.4.21/t0");
    EXPECT_EQ(fCards() + fDevices(), fgFixture("linux-2.4.21/hardware")) << "SMBus was counted twice";
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
    for (auto& row : fgCases("hardware/cards")) { // why, the list, the cards; "/" for the end of a line
        for (std::string& text : row)
            std::ranges::replace(text, '/', '\n');
        fList(row.at(1));
        EXPECT_EQ(fCards(), row.at(2)) << row[0];
    }
    const std::string card = "class: NETWORK\n", x(505, 'x');
    fList("class: NETWORK" + x.substr(0, 241) + card);
    EXPECT_EQ(fCards(), "\n\n") << "counts by 255 bytes";
    fList(card + "desc: " + x + "desc: y\n" + card);
    EXPECT_EQ(fCards(), x + "\ny\n\n") << "reads by 511 bytes";
}

TEST_F(HardwareInventory, DevicesWaitForTheirColons)
{
    fPci("Bus\n no colon\n\t type : \tname: x\n a: b\nBus: x\n Bus\n c: d");
    m_clPci.m_nPciNum = 1;
    EXPECT_EQ(fDevices(), "type =name: x\n") << "a count that is there is used";
    m_clPci.m_nPciNum = 1000; // the array remembers its own
    EXPECT_EQ(fDevices(), "type =name: x\nc=d\n=\n");
}

TEST_F(HardwareInventory, TextsAreCutAtTheirFields)
{
    const std::string text(600, 't'), cut(127, 't');
    fList("class: CDROM\ndesc: " + text);
    fPci("Bus\n" + text.substr(0, 300) + ":" + text.substr(0, 200));
    EXPECT_EQ(m_clDisk.GetCdromInfo()->ModelName(), cut);
    EXPECT_EQ(fDevices(), cut + "=" + cut + "\n");
}

TEST_F(HardwareInventory, CountsMemoryThroughTheShell)
{
    const std::string root = m_clTree.fPath("it's $(a) host+");
    fgWriteFile(root + "/proc/iomem", "0-1 : System RAM\n  2-3 : reserved\n4-5 : System RAM (hotplug)\n");
    m_clHost.fMove(root);
    const CTestSetting<int> print(g_nPrint, 1);
    EXPECT_EQ(fgTold([this] { EXPECT_EQ(m_clMemory.GetMemoryNum(), 2U); }),
              "Memory popen command : cat '" + m_clTree.fPath("it'\\''s $(a) host+") +
                  "/proc/iomem' | grep 'System RAM' | wc -l\n");
}
