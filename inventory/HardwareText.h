#pragma once

#include <cstddef>
#include <cstdio>
#include <new>
#include <string_view>

#include "lib/HostFile.h"

// What the hardware readers share: line readers of the files of the host, the parsers of their lines, and the
// arrays that they own. Parsers cut a line in place; what they hand out is terminated and lives in the line.

constexpr char FILE_HARDWARE[] = "/etc/sysconfig/hwconf"; // kudzu's list, until about 2010
constexpr char FILE_PCI[] = "/proc/pci";                  // drivers/pci/proc.c of 2.2, 2.4 and early 2.6
constexpr size_t COUNT_LINE_SIZE = 256;                   // bytes a line when counting, terminator included
constexpr size_t ITEM_LINE_SIZE = 512; // and when reading; a longer line is taken in pieces

// Hands each line of a file of the host, newline included, to visit(char*). false when it cannot be opened.
template <size_t SIZE, class TVisitor> bool fgVisitLines(const char* path, TVisitor visit)
{
    const COwnedStream file = fgOpenHostStream(path);
    if (file == nullptr) return false;
    char line[SIZE];
    while (fgets(line, SIZE, file.get()) != nullptr)
        visit(line);
    return true;
}

// Lines of a file of the host that hold the marker anywhere; 0 when it cannot be opened.
unsigned fgCountLines(const char* path, const char* marker);

// Releases the items of the call before and makes new, blank ones: as many as count says, which is asked for
// by countAgain() when it is 0, and always when there were items. Returns them, null for none or without
// memory.
template <class TItem, class TCounter>
TItem* fgRenewItems(TItem*& items, unsigned& count, TCounter countAgain)
{
    if (items != nullptr) {
        delete[] items;
        items = nullptr;
        count = 0;
    }
    if (count == 0) count = countAgain();
    if (count > 0) items = new (std::nothrow) TItem[count];
    return items;
}

// Finds the descriptions of one class in the hardware list, whose devices look like this:
//   -
//   class: NETWORK
//   device: eth0
//   desc: "Intel Corporation|82557 [Ethernet Pro 100]"
class CHardwareScan
{
public:
    explicit CHardwareScan(std::string_view deviceClass) : m_strClass(deviceClass) {}
    // Takes the next line. Returns the description of a device of the class; null for any other line.
    char* fTake(char* line);

private:
    std::string_view m_strClass;
    bool m_bWanted = false; // inside a device of the class
};

// Renews the items as fgRenewItems does and names them by the descriptions of a class, in their order:
// surplus ones are dropped, missing ones stay blank. Returns the items; null for none, without memory, or
// when the list cannot be opened: the blank items stay then, to be renewed by the next call.
template <class TItem, class TCounter>
TItem* fgListDevices(std::string_view deviceClass, TItem*& items, unsigned& count, TCounter countAgain)
{
    if (fgRenewItems(items, count, countAgain) == nullptr) return nullptr;
    CHardwareScan scan(deviceClass);
    unsigned used = 0;
    const bool opened = fgVisitLines<ITEM_LINE_SIZE>(FILE_HARDWARE, [&](char* line) {
        const char* description = scan.fTake(line);
        if (description != nullptr && used < count) items[used++].ModelName(description);
    });
    return opened ? items : nullptr;
}

// Finds the devices of /proc/pci:
//     Bus  0, device   3, function  0:
//       Ethernet controller: Intel Corp. 82557 (rev 8).
//         IRQ 11.
class CPciScan
{
public:
    // Takes the next line; true when it describes a device.
    bool fTake(char* line);
    const char* fType() const { return m_pstrType; } // of the device taken last, as long as its line lives
    const char* fName() const { return m_pstrName; }

private:
    bool m_bPending = false; // behind a line "Bus": the next with a colon describes the device
    const char* m_pstrType = "";
    const char* m_pstrName = "";
};
