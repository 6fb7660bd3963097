#include "lib/LogMasks.h"

#include <cstdio>
#include <iterator>
#include <span>
#include <string_view>

#include "driver/RunConfig.h"
#include "lib/LogGate.h"

namespace
{
// By level: debug, normal, error.
const ST_LOG_MASKS LEVEL_MASKS[] = {
    {&g_nLogModDEBUG, &g_nLoggingDEBUG1, &g_nLoggingDEBUG2},
    {&g_nLogModNORMAL, &g_nLoggingNORMAL1, &g_nLoggingNORMAL2},
    {&g_nLogModERROR, &g_nLoggingERROR1, &g_nLoggingERROR2},
};

// A mode turns its lowest level and every level above it on, and the others off.
struct ST_LOG_MODE
{
    std::string_view l_strName;
    int l_nLowest;
};
constexpr int NO_LEVEL = LOG_ERROR + 1;
constexpr ST_LOG_MODE MODES[] = {
    {"NOLOG", NO_LEVEL}, {"ERROR", LOG_ERROR}, {"NORMAL", LOG_NORMAL}, {"DEBUG", LOG_DETAIL}};

struct ST_LOG_MODULE
{
    std::string_view l_strName;
    int l_nBits; // in the module masks
};
constexpr ST_LOG_MODULE UNI_MODULES[] = {{"ALL", 0x3}, {"UNI", 0x1}, {"LIB", 0x2}};
constexpr ST_LOG_MODULE TCP_MODULES[] = {{"ALL", 0x4400000}, {"UNI", 0x400000}, {"LIB", 0x4000000}};
constexpr ST_LOG_MODULE EVU_MODULES[] = {{"ALL", 0x1000000}, {"UNI", 0x1000000}};
// Modules 10, 11, 13, 15 and 17 have no bit.
constexpr ST_LOG_MODULE LAB_MODULES[] = {
    {"ALL", 0x23FFFFC}, {"UNI", 0x2000000}, {"1", 0x4},      {"2", 0x8},      {"3", 0x10},
    {"4", 0x20},        {"5", 0x40},        {"6", 0x80},     {"7", 0x100},    {"8", 0x200},
    {"9", 0x400},       {"12", 0x800},      {"14", 0x1000},  {"16", 0x2000},  {"18", 0x4000},
    {"19", 0x8000},     {"20", 0x10000},    {"21", 0x20000}, {"22", 0x40000}, {"23", 0x80000},
    {"24", 0x100000},   {"25", 0x200000},
};

struct ST_LOG_GROUP
{
    std::string_view l_strName;
    int l_nBit; // in the group masks
    std::span<const ST_LOG_MODULE> l_stModules;
};
constexpr ST_LOG_GROUP GROUPS[] = {{"UNI", 0x10, UNI_MODULES},
                                   {"TCP", 0x20, TCP_MODULES},
                                   {"EVU", 0x40, EVU_MODULES},
                                   {"LAB", 0x80, LAB_MODULES}};

// The row of that name in an array or a span; null when there is none.
template <class TRows> auto fFind(const TRows& rows, std::string_view name) -> decltype(std::data(rows))
{
    for (const auto& row : rows)
        if (row.l_strName == name) return &row;
    return nullptr;
}

// Takes the text up to the separator off the front of rest, the separator with it.
std::string_view fTakeField(std::string_view& rest, char separator)
{
    const size_t end = rest.find(separator);
    const std::string_view field = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return field;
}

int fModuleBits(const ST_LOG_GROUP& group, std::string_view names)
{
    int bits = 0;
    while (!names.empty())
        if (const ST_LOG_MODULE* module = fFind(group.l_stModules, fTakeField(names, ',')))
            bits |= module->l_nBits;
    return bits;
}

void fAssignAll(const ST_LOG_MODE& mode)
{
    for (int level = LOG_DETAIL; level <= LOG_ERROR; ++level) {
        const ST_LOG_MASKS& masks = fgLogMasks(level);
        *masks.l_pnGroups = *masks.l_pnFirst = *masks.l_pnModules = level >= mode.l_nLowest ? -1 : 0;
    }
}

void fApplyGroup(const ST_LOG_MODE& mode, std::string_view name, std::string_view modules)
{
    if (name == "ALL") return fAssignAll(mode);
    const ST_LOG_GROUP* group = fFind(GROUPS, name);
    if (group == nullptr) return;
    const int bits = fModuleBits(*group, modules);
    for (int level = LOG_DETAIL; level <= LOG_ERROR; ++level) {
        const ST_LOG_MASKS& masks = fgLogMasks(level);
        const bool on = level >= mode.l_nLowest;
        // A level that a mode turns off keeps its group bit unless the mode turns off all: only the module
        // bits are exclusive, so that other modules of the group stay open.
        if (on)
            *masks.l_pnGroups |= group->l_nBit;
        else if (mode.l_nLowest == NO_LEVEL)
            *masks.l_pnGroups &= ~group->l_nBit;
        *masks.l_pnModules = on ? *masks.l_pnModules | bits : *masks.l_pnModules & ~bits;
    }
}

// Applies MODE:GROUPS:MODULES. False when the rest of the text is not to be read.
bool fApplyEntry(std::string_view entry)
{
    const std::string_view modeName = fTakeField(entry, ':');
    const bool hasGroups = !entry.empty();
    std::string_view groups = fTakeField(entry, ':');
    const std::string_view modules = entry; // a further ":" is part of a name
    if (!hasGroups || modules.empty()) {
        fprintf(stderr, "UNKNOWN LOG MODULE %d : NULL\n", hasGroups ? 2 : 1);
        return false;
    }
    const ST_LOG_MODE* mode = fFind(MODES, modeName);
    if (mode == nullptr)
        fprintf(stderr, "UNKNOWN LOG MODE : %.*s\n", static_cast<int>(modeName.size()), modeName.data());
    while (mode != nullptr && !groups.empty())
        fApplyGroup(*mode, fTakeField(groups, ','), modules);
    return true;
}
} // namespace

const ST_LOG_MASKS& fgLogMasks(int level)
{
    return LEVEL_MASKS[level - LOG_DETAIL];
}

int fgSetLogMasks(const char* text)
{
    fAssignAll(MODES[0]);
    if (text == nullptr) return -1;
    std::string_view rest(text);
    if (rest.find(':') == std::string_view::npos) {
        if (const ST_LOG_MODE* mode = fFind(MODES, rest)) fAssignAll(*mode);
        return 1;
    }
    while (!rest.empty()) {
        const std::string_view entry = fTakeField(rest, '|');
        if (!entry.empty() && !fApplyEntry(entry)) break;
    }
    return 1;
}
