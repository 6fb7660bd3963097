#include "lib/TrackedMemory.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "driver/RunConfig.h"
#include "lib/LogGate.h"
#include "lib/Owners.h"

namespace
{
constexpr int NO_SLOT = -1;

template <class T> std::unique_ptr<T[], CFreeDeleter> fGrown(const T* old, int used, int slots)
{
    std::unique_ptr<T[], CFreeDeleter> grown(static_cast<T*>(calloc(static_cast<size_t>(slots), sizeof(T))));
    if (grown != nullptr) std::copy_n(old, used, grown.get());
    return grown;
}

template <class T> void fReplace(T*& old, std::unique_ptr<T[], CFreeDeleter>& grown)
{
    free(old);
    old = grown.release();
}

// All three arrays or none.
bool fGrowTable()
{
    ST_MEM_USE_ST& table = g_stMemUse;
    if (table.m_nMemSize > INT_MAX - ALLOC_SLOTS) return false;
    const int slots = table.m_nMemSize + ALLOC_SLOTS;
    auto blocks = fGrown(table.m_ppvdMEM, table.m_nMemSize, slots);
    auto numbers = fGrown(table.m_pnDebugNum, table.m_nMemSize, slots);
    auto sizes = fGrown(table.m_pnMEMSize, table.m_nMemSize, slots);
    if (blocks == nullptr || numbers == nullptr || sizes == nullptr) return false;
    fReplace(table.m_ppvdMEM, blocks);
    fReplace(table.m_pnDebugNum, numbers);
    fReplace(table.m_pnMEMSize, sizes);
    table.m_nMemSize = slots;
    return true;
}

struct ST_REQUEST
{
    bool l_bZeroed; // fgNcalloc's
    int l_nCount;
    int l_nSize;
    int l_nDebugNum;
};

void fWarnOfReturn(int slot, const ST_REQUEST& request)
{
    if (g_nPrint != 1) return;
    const int number = g_stMemUse.m_pnDebugNum[slot];
    const int size = g_stMemUse.m_pnMEMSize[slot];
    if (request.l_bZeroed)
        fprintf(stderr,
                "re calloc[%d] DEBUG NO[%d] --> %d count, %d Byte : request[memcnt %d, size %d]"
                "[DebugNum %d]\n",
                slot, number, 1, size, request.l_nCount, request.l_nSize, request.l_nDebugNum);
    else
        fprintf(stderr, "re malloc[%d] DEBUG NO[%d] --> %d count, %d Byte : request[size %d][DebugNum %d]\n",
                slot, number, 1, size, request.l_nSize, request.l_nDebugNum);
}

// The slot that holds the address already, else the last free one; NO_SLOT in a full table.
int fFindSlot(const void* block, const ST_REQUEST& request)
{
    int free = NO_SLOT;
    for (int slot = 0; slot < g_stMemUse.m_nMemSize; slot++) {
        if (g_stMemUse.m_ppvdMEM[slot] == block) {
            fWarnOfReturn(slot, request);
            return slot;
        }
        if (g_stMemUse.m_ppvdMEM[slot] == nullptr) free = slot;
    }
    return free;
}

int fFindOrMakeSlot(const void* block, const ST_REQUEST& request)
{
    const int slot = fFindSlot(block, request);
    if (slot != NO_SLOT) return slot;
    const int firstNew = g_stMemUse.m_nMemSize;
    return fGrowTable() ? firstNew : NO_SLOT;
}

void fSetSlot(int slot, void* block, int number, int size)
{
    g_stMemUse.m_ppvdMEM[slot] = block;
    g_stMemUse.m_pnDebugNum[slot] = number;
    g_stMemUse.m_pnMEMSize[slot] = size;
}

void* fAllocate(const ST_REQUEST& request)
{
    if (request.l_nCount < 0 || request.l_nSize < 0) return nullptr;
    if (g_stMemUse.m_nMemSize == 0) fgInitAlloc(); // when this fails the search for a slot tries once more
    const auto count = static_cast<size_t>(request.l_nCount);
    const auto size = static_cast<size_t>(request.l_nSize);
    std::unique_ptr<void, CFreeDeleter> block(request.l_bZeroed ? calloc(count, size) : malloc(size));
    if (block == nullptr) return nullptr;
    const int slot = fFindOrMakeSlot(block.get(), request);
    if (slot == NO_SLOT) return nullptr;
    fSetSlot(slot, block.get(), request.l_nDebugNum, request.l_nSize);
    return block.release();
}

struct ST_GROUP
{
    int l_nDebugNum;
    int l_nBlocks;
    long long l_llBytes;
};

std::vector<ST_GROUP> fGroupBlocks()
{
    std::vector<ST_GROUP> groups;
    for (int slot = 0; slot < g_stMemUse.m_nMemSize; slot++) {
        const int number = g_stMemUse.m_pnDebugNum[slot];
        if (g_stMemUse.m_ppvdMEM[slot] == nullptr || number == 0) continue; // kept: 0 is no call site's
        auto group = std::ranges::find(groups, number, &ST_GROUP::l_nDebugNum);
        if (group == groups.end()) group = groups.insert(group, {number, 0, 0});
        group->l_nBlocks++;
        group->l_llBytes += g_stMemUse.m_pnMEMSize[slot];
    }
    return groups;
}

[[gnu::format(printf, 1, 2)]] void fReport(const char* format, ...)
{
    char line[LOG_SCRATCH_SIZE];
    char scratch[LOG_SCRATCH_SIZE];
    va_list values;
    va_start(values, format);
    vsnprintf(line, sizeof(line), format, values);
    va_end(values);
    fgLog(LOG_ALLOCATOR, LOG_DETAIL, scratch, "%s", line);
    if (g_nPrint == 1) fprintf(stderr, "%s\n", line);
}
} // namespace

int fgInitAlloc()
{
    return g_stMemUse.m_nMemSize > 0 || fGrowTable() ? 1 : 0;
}

void* fgNmalloc(int size, int debugNo)
{
    return fAllocate({false, 1, size, debugNo});
}

void* fgNcalloc(int count, int size, int debugNo)
{
    return fAllocate({true, count, size, debugNo});
}

int fgNfree(void* p, int debugNo)
{
    void** const end = g_stMemUse.m_ppvdMEM + g_stMemUse.m_nMemSize;
    void** const found = p != nullptr ? std::find(g_stMemUse.m_ppvdMEM, end, p) : end;
    if (found != end)
        fSetSlot(static_cast<int>(found - g_stMemUse.m_ppvdMEM), nullptr, 0, 0);
    else if (g_nPrint == 1)
        fprintf(stderr, "not found free address [%p][%d]\n", p, debugNo);
    free(p);
    return found != end ? 1 : 0;
}

int fgNPrintAlloc()
{
    if (g_nPrint != 1 && fgLogGate(LOG_ALLOCATOR, LOG_DETAIL) == nullptr) return 1;
    const std::vector<ST_GROUP> groups = fGroupBlocks();
    long long total = 0;
    for (size_t i = 0; i < groups.size(); i++) {
        fReport("Total MEM alloc[%zu] DEBUG NO[%d] --> %d count, %lld Byte", i, groups[i].l_nDebugNum,
                groups[i].l_nBlocks, groups[i].l_llBytes);
        total += groups[i].l_llBytes;
    }
    fReport("Total memory alloc size = %lld Byte", total);
    return 1;
}
