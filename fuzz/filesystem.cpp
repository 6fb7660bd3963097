#include <cstring>

#include "collect/MM_FS_Info.h"
#include "driver/RunConfig.h"
#include "fuzz/Fuzz.h"

// The mount table, what decides on a mount, and the lines of datastores.

namespace
{
// Both forms of a pass. Only what lies below the host is measured, so no server is asked.
void fMounts(std::string_view text)
{
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

// What the kernel may tell, by its bytes.
void fFigures(std::string_view input)
{
    struct statfs64 figures = {};
    const std::string_view bytes = input.substr(0, sizeof(figures));
    memcpy(&figures, bytes.data(), bytes.size());
    for (g_nFsFreeUsedFlag = 1; g_nFsFreeUsedFlag >= 0; g_nFsFreeUsedFlag--) {
        _ST_FS record = {};
        fgSetFsFigures(figures, record);
    }
    g_nFsFreeUsedFlag = 0;
}

constexpr FUZZ_READER READERS[] = {fMounts, fDatastores, fExcludes, fFigures};
const CFuzzTarget TARGET("filesystem", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
