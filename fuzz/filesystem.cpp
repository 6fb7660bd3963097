#include <cstdio>
#include <cstring>

#include "collect/MM_FS_Info.h"
#include "collect/MountTable.h"
#include "driver/RunConfig.h"
#include "fuzz/Fuzz.h"
#include "lib/FixedText.h"
#include "lib/TextTable.h"

// The mount table, what decides on a mount, and the lines of datastores.

namespace
{
// Against the C library's own reading.
void fTable(std::string_view text)
{
    if (text.empty() || text.find('\0') != text.npos) return; // a NUL makes getmntent lose lines
    const auto open = [text] { return fmemopen(const_cast<char*>(text.data()), text.size(), "r"); };
    CMountTable table(open());
    FILE* reference = open();
    const auto line = std::make_unique<char[]>(0xC000);
    mntent storage;
    while (const mntent* be = getmntent_r(reference, &storage, line.get(), 0xC000)) {
        const mntent* is = table.fNext();
        fgFuzzMust(is != nullptr, "an entry is taken as getmntent takes it");
        for (char* mntent::*field : {&mntent::mnt_fsname, &mntent::mnt_dir, &mntent::mnt_type})
            fgFuzzMust(strcmp(is->*field, be->*field) == 0, "a field is what getmntent gives");
    }
    fgFuzzMust(table.fNext() == nullptr, "the table ends where getmntent ends it");
    endmntent(reference);
}

// Both forms of a pass. Only what lies below the host is measured, so no server is asked.
void fMounts(std::string_view text)
{
    fTable(text);
    fgFuzzWrite(fgFuzzHost("/etc/mtab").c_str(), text);
    g_nFSTokenCount = 3;
    g_nVAGENT_type = 1;
    CMM_FS_Info collector;
    collector.fSetNFSFlag(1);
    int records = 0;
    if (collector.fMGetFileSys() != nullptr)
        while (const _ST_FS* record = collector.fMGetFileSysNext()) {
            fgFuzzMust(strlen(record->l_strFSname) < FS_NAME_SIZE, "a name is terminated");
            records++;
        }
    fgFuzzMust(records == collector.fMGetNFileSys(), "there is a record of each mount");
    collector.fGetFileSystem();
}

void fDatastores(std::string_view line)
{
    CDatastoreLine datastores(line);
    _ST_FS record;
    for (size_t count = 0; datastores.fNext(record); count++) {
        fgFuzzMust(count <= line.size() / 10, "a datastore takes its fields from the line");
        fgFuzzMust(strlen(record.l_strFSname) < FS_NAME_SIZE, "a name is terminated");
    }
}

void fExcludes(std::string_view input)
{
    const CFuzzText list(fgFuzzPart(input));
    g_nExcludeFilesystemCnt = fgSetExcludeFilesystem(list);
    fgFuzzMust(g_nExcludeFilesystemCnt >= 0 && g_nExcludeFilesystemCnt <= FILESYSTEM_ROWS,
               "the rows suffice");
    fgSkipsFsType(input);
    g_nExcludeFilesystemCnt = 0;
    fgSkipsFsType(input);
    fgSkipsMedia(input, list.fView());
    fgSkipsMountPoint(input);
}

// What the kernel may tell, by its bytes, then the texts of the row.
void fFigures(std::string_view input)
{
    struct statfs64 figures = {};
    const std::string_view bytes = input.substr(0, sizeof(figures));
    memcpy(&figures, bytes.data(), bytes.size());
    const CFuzzText text(input.substr(bytes.size()));
    const auto row = std::make_unique<char[]>(FS_ROW_SIZE);
    const auto expected = std::make_unique<char[]>(FS_ROW_SIZE);
    for (g_nFsFreeUsedFlag = 1; g_nFsFreeUsedFlag >= 0; g_nFsFreeUsedFlag--) {
        _ST_FS r = {};
        fgSetFsFigures(figures, r);
        fgCopyText(r.l_strFSname, text.fView());
        fgCopyText(r.l_strDEVname, text.fView());
        fgCopyText(r.l_strFSType, text.fView());
        const char* f = SEPARATOR_FIELD;
        const int length = snprintf(
            expected.get(), FS_ROW_SIZE,
            "%s%d%s%s%s%s%s%llu%s%llu%s%llu%s%.2lf%s%llu%s%llu%s%llu%s%llu%s%.2lf%s%llu%s%s%s", SEPARATOR_ROW,
            3, f, r.l_strFSname, f, r.l_strDEVname, f, r.l_ulTotDskSize, f, r.l_ulUsdDskSize, f,
            r.l_ulFreDskSize, f, r.l_dDskUsage, f, r.l_ulAvaDskSize, f, r.l_ulTotIndSize, f, r.l_ulUsdIndSize,
            f, r.l_ulFreIndSize, f, r.l_dIndUsage, f, r.l_ulAvaIndSize, f, r.l_strFSType, f);
        const char* end = fgPutFsRow(row.get(), 3, r);
        fgFuzzMust(std::string_view(row.get(), static_cast<size_t>(end - row.get())) ==
                       std::string_view(expected.get(), static_cast<size_t>(length)),
                   "a row is what its format prints");
    }
    g_nFsFreeUsedFlag = 0;
}

constexpr FUZZ_READER READERS[] = {fMounts, fDatastores, fExcludes, fFigures};
const CFuzzTarget TARGET("filesystem", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
