#include "collect/MM_FS_Info.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>

#include "collect/MountTable.h"
#include "driver/RunConfig.h"
#include "lib/CheckNfs.h"
#include "lib/FixedText.h"
#include "lib/HostFile.h"
#include "lib/Owners.h"
#include "lib/ScriptOutput.h"
#include "lib/StatfsLimit.h"
#include "lib/TextTable.h"

namespace
{
constexpr char FILE_MOUNTS[] = "/etc/mtab";
constexpr char FILE_NFS[] = "../aproc/shell/NFSList.dat";
constexpr char COMMAND_DATASTORES[] = "../../utils/ETC/ShCmd 5 ./shell/LINUX/VMWare_FS.sh %s 2> /dev/null";
constexpr char FILE_DATASTORES[] = "../aproc/shell/vmware_fs_inv.dat";
constexpr char FILE_DATASTORES_SPARE[] = "../aproc/shell/vmware_fs_inv.dat_";
} // namespace

struct CMM_FS_Info::ST_PASS
{
    bool l_bRows;
    int l_nCount = 0;
    // Empty when it cannot be opened, which is said at each mount that should be in it.
    CDescriptor l_clNfsList{open(FILE_NFS, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644)};
    std::optional<CTextTable> l_clTable = {}; // of a pass for text
};

CMM_FS_Info::CMM_FS_Info()
    : m_pclObjectBuffer(new CObjectBuffer), m_nNFs(0), m_nCurIndex(0), m_nNFSFlag(0),
      m_pstrResultData(fgNewTableBuffer()), m_nResultDataSize(TABLE_START_SIZE), m_nVMFlag(0), m_nIsVMWare(0),
      m_nFirstFlag(0), m_strLogMsg{}, m_bRows(false)
{
    fgCopyText(m_strSplit[0], SEPARATOR_ROW);
    fgCopyText(m_strSplit[1], SEPARATOR_FIELD);
    fClearTotals();
}

CMM_FS_Info::~CMM_FS_Info()
{
    fFreeFSObject();
    delete m_pclObjectBuffer;
    free(m_pstrResultData);
}

CObjectBuffer* CMM_FS_Info::fMGetFileSys()
{
    return fGather(false) > 0 ? m_pclObjectBuffer : nullptr;
}

_ST_FS* CMM_FS_Info::fMGetFileSysNext()
{
    if (m_bRows || m_nCurIndex < 1 || m_nCurIndex > m_nNFs) return nullptr;
    return static_cast<_ST_FS*>(m_pclObjectBuffer->fGetObject(m_nCurIndex++));
}

int CMM_FS_Info::fGetFileSystem()
{
    const int rows = fGather(true);
    return rows > 0 ? rows : -1;
}

void CMM_FS_Info::fSetVMFlag(int vmFlag, int isVMWare)
{
    m_nVMFlag = vmFlag;
    m_nIsVMWare = isVMWare;
}

// All that the buffer holds, whatever m_nNFs is: a pass for text counts its rows there. And whatever the
// indices are: who took a name out of the buffer left a hole.
void CMM_FS_Info::fFreeFSObject()
{
    const ST_OBJECTLIST_LNKLST* node = m_pclObjectBuffer->m_pcllData->fGetHeadNode();
    for (; node != nullptr; node = node->m_pstNext)
        delete static_cast<_ST_FS*>(node->m_pvdData);
    m_pclObjectBuffer->fFreeObjects();
    m_nCurIndex = 0;
    m_nNFs = 0;
}

int CMM_FS_Info::fGetFSTokCount(const char* path)
{
    return path == nullptr ? 0 : fgPathDepth(path);
}

// One pass in either form. Returns how many filesystems it delivered; -1 without a mount table.
int CMM_FS_Info::fGather(bool rows)
{
    CMountTable mounts(FILE_MOUNTS);
    if (!mounts) {
        fgLog(LOG_FS, LOG_ERROR, m_strLogMsg, "setmntent failed(%d)", errno);
        return -1;
    }
    ST_PASS pass{rows};
    fBegin(pass);
    while (const mntent* mount = mounts.fNext())
        fTakeMount(pass, *mount);
    mounts.fClose();
    fTakeDatastores(pass);
    fEnd(pass);
    return m_nNFs;
}

void CMM_FS_Info::fBegin(ST_PASS& pass)
{
    if (!pass.l_bRows) {
        fFreeFSObject();
        return;
    }
    fClearTotals();
    fgAppendHeader(pass.l_clTable.emplace(m_pstrResultData, m_nResultDataSize), HEADER_FS);
}

void CMM_FS_Info::fEnd(ST_PASS& pass)
{
    m_nNFs = pass.l_nCount;
    m_nCurIndex = 1;
    m_bRows = pass.l_bRows;
    if (pass.l_bRows && pass.l_nCount > 0) pass.l_clTable->fAppend("%s%s", m_strSplit[0], FS_TABLE_END);
}

// The order of the questions is kept: an NFS mount that is not reported is listed all the same, and the
// figures of a mount are asked for before its names are looked at.
void CMM_FS_Info::fTakeMount(ST_PASS& pass, const mntent& mount)
{
    if (fgSkipsFsType(mount.mnt_type)) return;
    if (pass.l_bRows && fgSkipsMountPoint(mount.mnt_dir)) return;
    if (strstr(mount.mnt_type, "nfs") != nullptr && !fTakesNfs(pass, mount)) return;
    struct statfs64 figures = {};
    if (!fMeasure(mount.mnt_dir, figures)) return;
    if (fgSkipsMedia(mount.mnt_dir, mount.mnt_fsname)) return;
    if (fgFsSize(figures) <= FS_SMALL) return;
    _ST_FS record = {};
    fgSetFsFigures(figures, record);
    fgCopyText(record.l_strFSname, mount.mnt_dir);
    fgCopyText(record.l_strDEVname, mount.mnt_fsname);
    fgCopyText(record.l_strFSType, mount.mnt_type);
    fDeliver(pass, record);
}

bool CMM_FS_Info::fTakesNfs(const ST_PASS& pass, const mntent& mount)
{
    fListNfs(pass, mount);
    if (m_nNFSFlag != 1) return false;
    if (g_nNfsStatusCheckFlag != 1 || chknfsmnt(mount.mnt_fsname) >= 1) return true;
    fgLog(LOG_FS, LOG_ERROR, m_strLogMsg, "NFS Server connect failed(%s)", mount.mnt_fsname);
    return false;
}

void CMM_FS_Info::fListNfs(const ST_PASS& pass, const mntent& mount)
{
    if (!pass.l_clNfsList) {
        fgLog(LOG_FS, LOG_ERROR, m_strLogMsg, "fopen failed(%s)", FILE_NFS);
        return;
    }
    const std::string line = std::string(mount.mnt_dir) + "|" + mount.mnt_fsname + "\n";
    if (write(pass.l_clNfsList.fGet(), line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        fgLog(LOG_FS, LOG_ERROR, m_strLogMsg, "fputs failed(%s)", FILE_NFS);
}

bool CMM_FS_Info::fMeasure(const char* mountPoint, struct statfs64& figures)
{
    const int result = fgStatfs(CHostPath(mountPoint).fGet(), g_nFsStatTimeoutSec, figures);
    if (result == STATFS_LATE)
        fgLog(LOG_FS, LOG_ERROR, m_strLogMsg, "statfs timeout(%s)", mountPoint);
    else if (result != 0)
        fgLog(LOG_FS, LOG_ERROR, m_strLogMsg, "statfs failed(%d)", result);
    return result == 0;
}

void CMM_FS_Info::fTakeDatastores(ST_PASS& pass)
{
    if (m_nVMFlag != 1 || m_nIsVMWare != 1) return;
    if (m_nFirstFlag == 0) fgRunShell(COMMAND_DATASTORES, FILE_DATASTORES);
    m_nFirstFlag = 1;
    COwnedStream file(fopen(FILE_DATASTORES, "re"));
    if (file == nullptr) file.reset(fopen(FILE_DATASTORES_SPARE, "re"));
    if (file == nullptr) {
        fgLog(LOG_FS_DATASTORES, LOG_ERROR, m_strLogMsg,
              pass.l_bRows ? "VMWare file not found(%s)" : "(FS) VMWare FS Gtr %s file not found",
              FILE_DATASTORES_SPARE);
        return;
    }
    char text[VMFS_LINE_SIZE];
    while (fgets(text, sizeof(text), file.get()) != nullptr) {
        CDatastoreLine line(text);
        _ST_FS record;
        while (line.fNext(record))
            fDeliver(pass, record);
    }
}

void CMM_FS_Info::fDeliver(ST_PASS& pass, const _ST_FS& record)
{
    if (pass.l_bRows ? fAppendRow(pass, record) : fPutRecord(record)) pass.l_nCount++;
}

bool CMM_FS_Info::fPutRecord(const _ST_FS& record)
{
    auto kept = std::make_unique<_ST_FS>(record);
    if (m_pclObjectBuffer->fObjectPut(kept->l_strFSname, kept.get()) < 1) return false;
    static_cast<void>(kept.release()); // the buffer's, until fFreeFSObject
    return true;
}

bool CMM_FS_Info::fAppendRow(ST_PASS& pass, const _ST_FS& record)
{
    char text[FS_ROW_SIZE];
    const char* end = fgPutFsRow(text, pass.l_nCount + 1, record);
    CTextTable& table = *pass.l_clTable;
    table.fReserve(2 * strlen(record.l_strDEVname) + TABLE_ROOM);
    if (!table.fAppendText({text, static_cast<size_t>(end - text)})) return false;
    if (g_nVAGENT_type >= 1 && fgCountsInTotals(record.l_strFSType)) fAddTotals(record);
    return true;
}

void CMM_FS_Info::fClearTotals()
{
    m_uFSTotalSizeTotal = m_uFSUseTotal = m_uFSFreeTotal = m_uFSAvailTotal = 0;
    m_uINTotalSizeTotal = m_uINUseTotal = m_uINFreeTotal = m_uINAvailTotal = 0;
}

void CMM_FS_Info::fAddTotals(const _ST_FS& record)
{
    m_uFSTotalSizeTotal += record.l_ulTotDskSize;
    m_uFSUseTotal += record.l_ulUsdDskSize;
    m_uFSFreeTotal += record.l_ulFreDskSize;
    m_uFSAvailTotal += record.l_ulAvaDskSize;
    m_uINTotalSizeTotal += record.l_ulTotIndSize;
    m_uINUseTotal += record.l_ulUsdIndSize;
    m_uINFreeTotal += record.l_ulFreIndSize;
    m_uINAvailTotal += record.l_ulAvaIndSize;
}
