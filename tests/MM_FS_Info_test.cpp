#include "collect/MM_FS_Info.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <fcntl.h>
#include <linux/fuse.h>
#include <map>
#include <mutex>
#include <sstream>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <thread>
#include <unistd.h>

#include "driver/PrintInfo.h"
#include "lib/FixedText.h"
#include "lib/Owners.h"
#include "lib/StatfsLimit.h"
#include "tests/TestSupport.h"

namespace
{
// Filesystems that the test makes up, by path. One with a block size of 0 does not answer.
struct ST_MADE
{
    std::mutex l_clLock;
    std::condition_variable l_clChanged;
    std::map<std::string, struct statfs64> l_clFigures;
    int l_nAsked = 0; // of those
} g_stMade;
} // namespace

// In place of the C library's, for this program: what is not made up, the kernel answers.
extern "C" int statfs64(const char* path, struct statfs64* figures) noexcept
{
    std::unique_lock lock(g_stMade.l_clLock);
    const auto made = g_stMade.l_clFigures.find(path);
    if (made == g_stMade.l_clFigures.end()) {
        lock.unlock();
        return static_cast<int>(syscall(SYS_statfs, path, figures));
    }
    g_stMade.l_nAsked++;
    g_stMade.l_clChanged.wait(lock, [&] { return made->second.f_bsize != 0; });
    *figures = made->second;
    return 0;
}

namespace
{
using CTexts = std::vector<std::string>;

class FsInfo : public testing::Test
{
protected:
    FsInfo() : m_clHost(m_clTree.fTop()) {}
    ~FsInfo() override { g_stMade.l_clFigures.clear(); }
    // Lines "BSIZE BLOCKS BFREE BAVAIL FILES FFREE PATH".
    void fMake(const std::string& lines) const
    {
        const std::lock_guard lock(g_stMade.l_clLock);
        std::istringstream text(lines);
        struct statfs64 f = {};
        while (text >> f.f_bsize >> f.f_blocks >> f.f_bfree >> f.f_bavail >> f.f_files >> f.f_ffree) {
            std::string path;
            std::getline(text, path);
            g_stMade.l_clFigures[m_clTree.fTop() + path.substr(1)] = f;
        }
        g_stMade.l_clChanged.notify_all();
    }
    // Mounts one more, of 4000000 KB.
    void fMount(const std::string& device, const std::string& path, const std::string& type = "ext4")
    {
        m_strMtab += device + " " + path + " " + type + " rw 0 0\n";
        m_clTree.fWrite("etc/mtab", m_strMtab);
        fMake("4096 1000000 0 0 0 0 " + path);
    }
    // What print_fs_v2 prints.
    std::string fRecords()
    {
        testing::internal::CaptureStdout();
        const int result = print_fs_v2(&m_clFs);
        std::string text = testing::internal::GetCapturedStdout();
        EXPECT_EQ(result, text.empty() ? -1 : 1);
        return text;
    }
    // The table of a pass for text, a row a line.
    std::string fTable()
    {
        const int rows = m_clFs.fGetFileSystem();
        std::string table = fgReadable(m_clFs.fGetFSInfo()) + "\n";
        EXPECT_EQ(rows, std::ranges::count(table, '|') - 1) << "header, rows, end; the header alone is -1";
        std::ranges::replace(table, '|', '\n');
        return table;
    }
    std::string fFirstRow() { return fgSplit(fTable(), "\n")[1]; }

    CTestTree m_clTree;
    CTestHost m_clHost;
    CMM_FS_Info m_clFs;
    std::string m_strMtab;
    const CTestSetting<int> m_clExcluded{g_nExcludeFilesystemCnt, 0};
};
} // namespace

TEST_F(FsInfo, ReportsWhatHoldsData)
{
    const CTestLog log;
    EXPECT_EQ(fRecords() + fTable(), "\n");
    m_clTree.fWrite("etc/mtab", fgFixture("filesystems/mtab"));
    fMake(fgFixture("filesystems/figures"));
    EXPECT_EQ(fRecords(), fgFixture("filesystems/records"));
    delete static_cast<_ST_FS*>(m_clFs.m_pclObjectBuffer->fGetObject(1));
    m_clFs.m_pclObjectBuffer->fObjectRemove("/"); // the others are freed all the same
    const CTestSetting formula(g_nFsFreeUsedFlag, 1);
    EXPECT_EQ(fTable(), fgFixture("filesystems/table"));
    EXPECT_EQ(m_clFs.fMGetFileSysNext(), nullptr) << "rows are no records";
    EXPECT_EQ(log.fLines()[0], "[INFO][MM_FS_Info.cpp]setmntent failed(2)");
    EXPECT_EQ(log.fCount("statfs failed(2)"), 2) << "the damaged line";
    g_nExcludeFilesystemCnt = fgSetExcludeFilesystem("ext,ext4,nfs4");
    EXPECT_NE(fTable().find("\n1~/proc~proc~"), std::string::npos) << "whole names alone count then";
    EXPECT_EQ(m_clFs.fMGetNFileSys(), 2);
    g_nExcludeFilesystemCnt = 1 << 30;
    EXPECT_FALSE(fgSkipsFsType("none")) << "there are no more rows than there are";
}

TEST_F(FsInfo, TextPassesChooseByMountPointAndDepthAndAddUp)
{
    fMount("a", "/");
    fMount("b", "/home");
    fMount("c", "/home/user");
    fMount("d", "/d", "xfs");
    fMake("1024 3000000 2000000 1000000 70 30 /home");
    const CTestSetting depth(g_nFSTokenCount, 1);
    const CTestSetting totals(g_nVAGENT_type, 1);
    const CTestSetting without(g_nTotExcludeFilesystemCnt, 1);
    fgCopyText(g_strTotExcludeFilesystem[0], "xfs");
    EXPECT_EQ(m_clFs.fGetFileSystem(), 3);
    EXPECT_EQ((std::array{m_clFs.fGetFSTotalSize(), m_clFs.fGetFSUsedSize(), m_clFs.fGetFSFreeSize(),
                          m_clFs.fGetFSAvailSize(), m_clFs.fGetINTotalSize(), m_clFs.fGetINUsedSize(),
                          m_clFs.fGetINFreeSize(), m_clFs.fGetINAvailSize()}),
              (std::array{7000000ULL, 5000000ULL, 2000000ULL, 1000000ULL, 70ULL, 40ULL, 30ULL, 30ULL}));
    m_clFs.fMGetFileSys();
    EXPECT_EQ(m_clFs.fMGetNFileSys(), 4) << "records are not chosen by depth";
    g_nFSTokenCount = 0;
    const CTestSetting included(g_nIncludeFilesystemCnt, 1);
    fgCopyText(g_strIncludeFilesystem[0], "/home/user");
    EXPECT_TRUE(fFirstRow().starts_with("1~/home/user~c~"));
    g_nIncludeFilesystemCnt = 0;
    const std::string far(1100, 'x'), cut(1024, 'x');
    m_strMtab.clear();
    fMount(far, "/" + far, far);
    EXPECT_EQ(fFirstRow(),
              "1~/" + cut.substr(1) + "~" + cut + "~4000000~4000000~0~100.00~0~0~0~0~0.00~0~" + cut + "~");
}

TEST_F(FsInfo, NfsMountsAreListedAndAskedFirst)
{
    const CTestLog log;
    fMount("127.0.0.1:/a", "/mnt/nas", "nfs");
    const std::string list = m_clTree.fPath("agent/aproc/shell/NFSList.dat");
    EXPECT_EQ(m_clFs.fGetFileSystem(), -1);
    EXPECT_EQ(fgReadFile(list), "/mnt/nas|127.0.0.1:/a\n");
    m_clFs.fSetNFSFlag(1);
    const CTestSetting check(g_nNfsStatusCheckFlag, 1);
    EXPECT_EQ(m_clFs.fGetFileSystem(), -1) << "nothing serves NFS version 2 here";
    EXPECT_EQ(log.fLines(), CTexts{"[INFO][MM_FS_Info.cpp]NFS Server connect failed(127.0.0.1:/a)"});
    g_nNfsStatusCheckFlag = 0;
    fgRunCommand("rm " + list + "; ln -s /dev/full " + list); // no link is written through
    EXPECT_EQ(m_clFs.fGetFileSystem(), 1);
    EXPECT_EQ(log.fCount("]fopen failed(../aproc/shell/NFSList.dat)"), 1);
}

TEST_F(FsInfo, DatastoresComeInGroupsOfSix)
{
    const CTestLog log;
    const CTestSetting totals(g_nVAGENT_type, 1);
    m_clTree.fWrite("etc/mtab", "");
    m_clTree.fScript("VMWare_FS.sh", "echo once >>../runs");
    m_clFs.fSetVMFlag(1, 0);
    EXPECT_EQ(fRecords(), "");
    m_clFs.fSetVMFlag(1, 1);
    EXPECT_EQ(fRecords(), "");
    EXPECT_EQ(m_clFs.fGetFileSystem(), -1);
    const std::string spare = "../aproc/shell/vmware_fs_inv.dat_";
    EXPECT_EQ(log.fLines(), (CTexts{"[INFO][MM_FS_Info.cpp](FS) VMWare FS Gtr " + spare + " file not found",
                                    "[INFO][MM_FS_Info.cpp]VMWare file not found(" + spare + ")"}));
    fgWriteFile(spare, fgFixture("filesystems/datastores"));
    EXPECT_EQ(fTable(), fgFixture("filesystems/datastores-table"));
    EXPECT_EQ(m_clFs.fGetFSUsedSize(), 93U);
    fgWriteFile("../aproc/shell/vmware_fs_inv.dat", "");
    EXPECT_EQ(fgSplit(fTable(), "\n").size(), 2U) << "the file itself counts first: a header alone";
    EXPECT_EQ(fgReadFile("../runs"), "once\n");
}

TEST_F(FsInfo, AMountThatDoesNotAnswerIsLeftAlone)
{
    const CTestLog log;
    const CTestSetting limit(g_nFsStatTimeoutSec, 2);
    fMount("a", "/dead");
    fMount("b", "/alive");
    fMake("0 0 0 0 0 0 /dead");
    g_stMade.l_nAsked = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(CMM_FS_Info().fGetFileSystem(), 1) << "a collector that ends before the call it made";
    for (int pass = 0; pass < 10; pass++)
        EXPECT_EQ(m_clFs.fGetFileSystem(), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << "only the first waits";
    EXPECT_EQ(g_stMade.l_nAsked, 1 + 11) << "once, and the other in each pass";
    EXPECT_EQ(log.fCount("]statfs timeout(/dead)"), 11);
    fMake("4096 1000000 0 0 0 0 /dead");
    EXPECT_TRUE(fgAwait([this] { return m_clFs.fGetFileSystem() == 2; }));
    struct statfs64 figures = {};
    EXPECT_EQ(fgStatfs("/no/such/path", 1, figures), ENOENT);
}

// Mounts of this host, in a mount namespace of the test's own.
TEST_F(FsInfo, FiguresAreThoseOfDf)
{
    if (!fgIsApart("--mount", "true")) return;
    const std::string top = "cd " + m_clTree.fTop();
    const ST_TEST_RUN df = fgRunCommand(top + " && " HOSTMETRICS_FIXTURES "/filesystems/mount");
    std::ostringstream shown;
    m_clFs.fMGetFileSys();
    while (const _ST_FS* fs = m_clFs.fMGetFileSysNext())
        shown << " " << fs->l_ulTotDskSize << " " << fs->l_ulUsdDskSize << " " << fs->l_ulAvaDskSize << " "
              << fs->l_ulTotIndSize << " " << fs->l_ulUsdIndSize << " " << fs->l_ulFreIndSize << " "
              << std::ceil(fs->l_dDskUsage) << "%\n";
    fgRunCommand(top + " && umount mnt/*");
    if (df.l_nStatus != 0) GTEST_SKIP() << "needs tmpfs, mkfs.ext4 and a loop device: " << df.l_strErr;
    EXPECT_EQ(shown.str(), df.l_strOut);
}

// Answers what statfs wants of a FUSE filesystem, until that is unmounted.
void fAnswerFuse(int fuse)
{
    fuse_init_out init = {};
    init.major = FUSE_KERNEL_VERSION;
    init.minor = FUSE_KERNEL_MINOR_VERSION;
    fuse_statfs_out figures = {{1000000, 500000, 250000, 0, 0, 4096, 255, 4096, 0, {}}};
    alignas(fuse_in_header) char request[FUSE_MIN_READ_BUFFER];
    const auto* asked = reinterpret_cast<const fuse_in_header*>(request);
    ssize_t length = 1;
    while (length > 0 && read(fuse, request, sizeof(request)) > 0) {
        const iovec answer =
            asked->opcode == FUSE_INIT ? iovec{&init, sizeof(init)} : iovec{&figures, sizeof(figures)};
        fuse_out_header head = {static_cast<unsigned>(sizeof(head) + answer.iov_len), 0, asked->unique};
        const iovec parts[] = {{&head, sizeof(head)}, answer};
        length = writev(fuse, parts, 2);
    }
}

TEST_F(FsInfo, AFilesystemWithoutAnAnswerHoldsNobodyUp)
{
    if (!fgIsApart("--mount", "true")) return;
    const CDescriptor fuse(open("/dev/fuse", O_RDWR | O_CLOEXEC)); // where nobody answers at first
    const std::string dead = m_clTree.fPath("mnt");
    fgRunCommand("mkdir " + dead);
    const std::string options = "fd=" + std::to_string(fuse.fGet()) + ",rootmode=40000,user_id=0,group_id=0";
    if (mount("test", dead.c_str(), "fuse.test", 0, options.c_str()) != 0) GTEST_SKIP() << "needs /dev/fuse";
    const CTestSetting limit(g_nFsStatTimeoutSec, 2);
    m_clTree.fWrite("etc/mtab", "test /mnt fuse.test rw 0 0\n");
    EXPECT_EQ(m_clFs.fGetFileSystem(), -1) << "and comes back";
    std::thread answers(fAnswerFuse, fuse.fGet());
    EXPECT_TRUE(fgAwait([this] { return m_clFs.fGetFileSystem() == 1; })) << "once it answers";
    umount2(dead.c_str(), MNT_FORCE | MNT_DETACH); // ends the answers too
    answers.join();
}
