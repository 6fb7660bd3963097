#include "lib/OmniLog.h"

#include <climits>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <regex>
#include <sys/stat.h>
#include <thread>

#include "lib/FixedText.h"
#include "tests/TestSupport.h"

namespace
{
std::string fWithoutTime(const std::string& text)
{
    return std::regex_replace(text, std::regex("(^|\n)\\[[0-2][0-9][0-5][0-9][0-6][0-9]\\]"), "$1");
}

const std::string LOGS = "$(touch x) ;\n'/"; // one word all the same wherever it comes to a shell
using FILES = std::map<std::string, std::string>;

// Works in agent/bin of a throw-away tree, with the log files in a folder below it and a launcher that only
// notes how many words it was given, and which.
class CLogTest : public testing::Test
{
protected:
    CLogTest()
    {
        fs::create_directory(LOGS);
        m_stTree.fReplaceScript("utils/ETC/ShCmd", "#!/bin/sh\necho \"$# $*\" >>launched\n");
        fPrepare(m_stLog);
        char day[LOG_TIME_SIZE];
        m_stLog.fGetThreadDayTime(0, day, 1);
        m_strDay = day;
    }
    static void fPrepare(COmniLog& log)
    {
        log.fSetLogPath(LOGS.c_str());
        log.m_nCompressChk = 1;
        fgCopyText(log.m_strCompressPath, "/bin/packer");
    }
    // The log files by what follows the day in their name, without the times in the lines.
    static FILES fFiles()
    {
        FILES files;
        for (const std::string& name : fgNames(LOGS))
            files[name.substr(8)] = fWithoutTime(fgReadFile(LOGS + name));
        return files;
    }
    static bool fLaunches(const std::string& file)
    {
        return fgAwait([&] {
            return fgReadFile("launched").find("3 60 /bin/packer " + file + "\n") != std::string::npos;
        });
    }
    int fWrite(const char* text) { return m_stLog.fWrite(LOG_ERROR, "m.cpp", text); }

    CTestTree m_stTree;
    COmniLog m_stLog{2, "T", 2};
    std::string m_strDay;
};

TEST_F(CLogTest, DetailIsHiddenAndTheRestIsEchoed)
{
    const CTestSetting<int> echo(g_nPrint, 1);
    const std::string told = fgTold([this] {
        for (const int level : {LOG_DETAIL, LOG_NORMAL, LOG_ERROR, LOG_ERROR + 1})
            EXPECT_EQ(1, m_stLog.fWrite(level, "m.cpp", "text")) << "a hidden line counts as written";
    });
    const std::string shown = "[INFO][m.cpp]text\n[INFO][m.cpp]text\n";
    EXPECT_EQ((FILES{{"_T.log", shown}}), fFiles());
    EXPECT_EQ(shown, fWithoutTime(told));
}

TEST_F(CLogTest, FileIsCreatedAnewAndFollowsNoLink)
{
    const mode_t mask = umask(0);
    EXPECT_EQ(1, fWrite("one"));
    umask(mask);
    EXPECT_EQ(fs::perms(0644), fs::status(m_stLog.m_pstrLogFile).permissions());
    EXPECT_EQ(FD_CLOEXEC, fcntl(m_stLog.m_nFileFd, F_GETFD));
    fs::remove(m_stLog.m_pstrLogFile);
    EXPECT_EQ(0, fWrite("lost"));
    EXPECT_EQ(1, fWrite("three"));
    EXPECT_EQ((FILES{{"_T.log", "[INFO][m.cpp]three\n"}}), fFiles());

    fs::remove(m_stLog.m_pstrLogFile);
    COmniLog other(2, "T", 2); // as of another process
    fPrepare(other);
    EXPECT_EQ(1, other.fWrite(LOG_ERROR, "m.cpp", "four"));
    EXPECT_EQ(1, fWrite("five"));
    EXPECT_EQ((FILES{{"_T.log", "[INFO][m.cpp]four\n[INFO][m.cpp]five\n"}}), fFiles());

    COmniLog log(2, "L", 2);
    fPrepare(log);
    fgWriteFile("other", "kept");
    const std::string name = LOGS + m_strDay + "_L.log";
    fs::create_symlink("../other", name);
    EXPECT_EQ(name + " log file open failed : Too many levels of symbolic links\n", fgTold([&] {
                  for (int lost = 0; lost < 2; ++lost)
                      EXPECT_EQ(0, log.fWrite(LOG_ERROR, "m.cpp", "lost"));
              }));
    EXPECT_EQ("kept", fgReadFile("other"));
}

TEST_F(CLogTest, SizeRotationDropsTheLineAndCompressesUnasked)
{
    const std::string text(1001, 'x'); // one line is a byte less than the limit
    m_stLog.fSetLogSize(1, 2);
    for (const int written : {1, 1, 0, 1, 1})
        EXPECT_EQ(written, fWrite(text.c_str()));
    m_stLog.fSetLogSize(7, 3); // no such unit: limit 0, and even an empty file is full
    for (int lost = 0; lost < 2; ++lost)
        EXPECT_EQ(0, fWrite("lost"));
    const std::string full = "[INFO][m.cpp]" + text + "\n[INFO][m.cpp]" + text + "\n";
    EXPECT_EQ((FILES{{"_T.log", full}, {"_T_1.log", full}, {"_T_2.log", ""}, {"_T_3.log", ""}}), fFiles());
    for (const char* name : {"_T.log", "_T_1.log", "_T_2.log"})
        EXPECT_TRUE(fLaunches(LOGS + m_strDay + name));
    EXPECT_FALSE(fs::exists("x"));
}

TEST_F(CLogTest, DayChangeCompressesWhenAskedAndBeginsAnew)
{
    m_stLog.fSetLogCompress(1);
    fWrite("one");
    fs::rename(m_stLog.m_pstrLogFile, LOGS + "20000101_T_3.log");
    fgCopyText(m_stLog.m_strCurrentDate, "20000101");
    memcpy(strrchr(m_stLog.m_pstrLogFile, '/') + 1, "20000101", 8);
    m_stLog.m_nLogCnt = 3;
    EXPECT_EQ(1, fWrite("two"));
    EXPECT_EQ((FILES{{"_T.log", "[INFO][m.cpp]two\n"}}), fFiles()); // the old one went with the change
    EXPECT_EQ(0, m_stLog.m_nLogCnt);
    EXPECT_TRUE(fLaunches(LOGS + "20000101_T.log"));
}

TEST_F(CLogTest, OldFiles)
{
    const std::vector<std::string> kept = {"20050101_D.log", "200505.log", "20050517_X.log.bz2",
                                           "20050518_X.log.gz", "readme_first.log"};
    for (const std::string& name : kept)
        fgWriteFile(LOGS + name + (name == "20050101_D.log" ? "/sub" : ""), "");
    for (const char* old : {"20050517_X.log", "20050517_X.log.gz", "20050517_X.log.Z"})
        fgWriteFile(LOGS + old, "");
    fs::create_symlink("20050518_X.log.gz", LOGS + "20050101_L.log"); // does not take what it leads to along
    tm noon{0, 0, 12, 20, 4, 105, 0, 0, -1, 0, nullptr};              // 20 May 2005
    const int now = static_cast<int>(mktime(&noon));
    for (const auto& [days, removed] : {std::pair(INT_MAX, 0), {2, 4}}) { // before 1970: nothing is that old
        m_stLog.fSetValidDay(days);
        EXPECT_EQ(removed, m_stLog.fOldLogFileCheck(now));
    }
    EXPECT_EQ(kept, fgNames(LOGS));
}

TEST_F(CLogTest, AgentLogResumes)
{
    m_stTree.fReplaceScript("utils/INSTALL/recentlogfile.sh",
                            "#!/bin/sh\necho \"$*\" >>asked\n"
                            "printf \"$(sed s/DAY/$1/ answer)\" >../aproc/shell/recentlogfile.dat\n");
    for (const auto& row : fgCases("log/resumed")) { // why, log, answer, name of the file behind the day
        fgWriteFile("answer", row.at(2));
        fs::remove("asked");
        COmniLog log(2, row.at(1).c_str(), 2);
        fPrepare(log);
        EXPECT_EQ(1, log.fWrite(LOG_ERROR, "m.cpp", "text"));
        EXPECT_EQ(LOGS + m_strDay + row.at(3), log.m_pstrLogFile) << row[0];
        log.fLogNameChange(0); // once the day has begun nothing is resumed
        EXPECT_EQ(row[1] == "T" ? "" : m_strDay + "\n", fgReadFile("asked"));
    }
    EXPECT_EQ(-1, m_stLog.fGetRecentLogFile("1;touch x"));
    EXPECT_FALSE(fs::exists("x"));
}

// A log in thread mode whose thread does not run, so that the queue can be looked at.
TEST_F(CLogTest, QueueHoldsAtMost501CutMessages)
{
    Queue<MessageQWriteLog*> queue;
    m_stLog.m_pcQueue = &queue;
    m_stLog.m_nThreadMode = 1;
    EXPECT_EQ(0, m_stLog.fLogWrite(1, 77, std::string(100, 'm').c_str(), std::string(3000, 'x').c_str()));
    for (int sent = 1; sent <= 501; ++sent)
        EXPECT_EQ(0, m_stLog.fLogWrite(LOG_ERROR, "m.cpp", "short"));
    EXPECT_EQ(501, queue.getCount());
    for (const auto& [text, module, line] :
         {std::tuple(std::string(2048, 'x'), std::string(63, 'm'), 77), {"short", "src", 0}})
    {
        const std::unique_ptr<MessageQWriteLog> message(queue.pop());
        EXPECT_EQ(std::tuple(text, module, line),
                  std::tuple(message->fGetCollectWriteData(), message->m_strFileName, message->m_nLine));
    }
    while (queue.getCount() > 0)
        delete queue.pop();
    EXPECT_TRUE(fFiles().empty());
}

// Four callers write the same line at once, so many times each, and the log holds each of them whole.
void fExpectAllOfFour(COmniLog& log, const std::string& line, int times, FILES (*files)())
{
    std::string all;
    for (int count = 0; count < 4 * times; ++count)
        all += line;
    const auto write = [&] {
        for (int count = 0; count < times; ++count)
            log.fLogWrite(LOG_DETAIL, 42, "m.cpp", "text");
    };
    {
        const std::jthread callers[] = {std::jthread(write), std::jthread(write), std::jthread(write),
                                        std::jthread(write)};
    }
    EXPECT_TRUE(fgAwait([&] { return files() == FILES{{"_T.log", all}}; }));
}

TEST_F(CLogTest, ManyThreadsWrite)
{
    m_stLog.fSetLogMode(1);
    m_stLog.fSetLogSize(1, 1);
    EXPECT_EQ(1, m_stLog.fSetThreadChk(1));
    fExpectAllOfFour(m_stLog, "[DEBUG][m.cpp][42]text\n", 500, fFiles);

    fs::remove(m_stLog.m_pstrLogFile);
    static COmniLog* queued; // lives on, as its thread does
    queued = new COmniLog(2, "T", 2, 1);
    queued->fSetLogPath(LOGS.c_str());
    EXPECT_EQ("l_pclMsgQData===NULL", fgTold([] {
                  queued->fGetMessageQueue()->push(nullptr); // reported and passed over
                  fExpectAllOfFour(*queued, "[INFO][m.cpp][42]text\n", 20, fFiles);
              }));
}
} // namespace
