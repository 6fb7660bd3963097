#include "lib/BufferFile.h"

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/TestSupport.h"

namespace
{
const std::string FOLDER = "../buffer/";
const std::string FIRST = FOLDER + "20050520-BUF_1.buf";

class BufferFile : public testing::Test
{
protected:
    // Noon of 20 May 2005, local time.
    static time_t fNoon()
    {
        tm parts = {0, 0, 12, 20, 4, 105, 0, 0, -1, 0, nullptr};
        return mktime(&parts);
    }
    static std::string fRecord(const std::string& first, const std::string& second)
    {
        return std::to_string(fNoon()) + "\x03\x1F^" + first + "\x03\x1F^" + second + "\x03\x1F^\x03\x1F]\n";
    }
    static int fWrite(const ST_BUFFER_FAMILY& family, const char* first, const char* second)
    {
        return fgWriteBufferRecord(family, fNoon(), first, second);
    }
    // Makes the files of a list of "NAME BYTES TIME", the name from the day in May 2005 on, the time in
    // nanoseconds.
    static void fMakeFiles(const std::string& list)
    {
        const std::vector<std::string> words = fgSplit(list, " ");
        for (size_t i = 0; i + 2 < words.size(); i += 3) {
            const std::string path = FOLDER + "200505" + words[i];
            fgWriteFile(path, "");
            fs::resize_file(path, std::stoull(words[i + 1]));
            const timespec times[] = {{9, 0}, {9, std::stol(words[i + 2])}};
            utimensat(AT_FDCWD, path.c_str(), times, 0);
        }
    }
    // What this process has written so far, in calls; 0 when the kernel does not count them.
    static int fWrites()
    {
        const auto io = fgSplit(fgReadFile("/proc/self/io"), "syscw: ");
        return io.size() < 2 ? 0 : std::stoi(io[1]);
    }

    CTestTree m_clTree;
    CTestLog m_clLog;
    CTestSetting<int> m_clLimit{g_nDataBufferSaveMaxSize, 5};
};
} // namespace

TEST_F(BufferFile, WritesRecordsByteForByte)
{
    EXPECT_EQ(fWrite(BUFFER_BUF, "4.3.24.0", "A~1~") + fWrite(BUFFER_BUF, nullptr, ""), 2);
    EXPECT_EQ(fgReadFile(FIRST), fRecord("4.3.24.0", "A~1~") + fRecord("", ""));
    EXPECT_EQ(fgBufFileWrite(nullptr, "b", "c") + fgNBufFileWrite(nullptr, "b", "c"), 2) << "today";
    EXPECT_EQ(m_clLog.fLines(), std::vector<std::string>(3, "[INFO][NGFunctions.cpp]stat failed2"));
    fs::remove_all(FOLDER);
    EXPECT_EQ(fgNBufFileWrite(nullptr, "b", "c"), 0);
    EXPECT_EQ(m_clLog.fCount("]buffer dir open fail"), 1);

    fgWriteFile("./victim", "v\n");
    fs::create_directory(FOLDER);
    fs::create_symlink("../bin/victim", FIRST);
    mkfifo((FOLDER + "20050520-BUNF_1.buf").c_str(), 0600);
    EXPECT_EQ(fWrite(BUFFER_BUF, "b", "c") + fWrite(BUFFER_BUNF, "b", "c"), -2);
    EXPECT_EQ(fgReadFile("victim"), "v\n");
    EXPECT_EQ(m_clLog.fCount("]buf file open fail [../buffer/20050520-BU"), 2);
}

TEST_F(BufferFile, ChoosesTheFileAndKeepsTheLimit)
{
    for (const auto& row : fgCases("buffer/files")) { // why, family, limit, files with times, files behind it
        fs::remove_all(FOLDER);
        fMakeFiles(row.at(3));
        g_nDataBufferSaveMaxSize = atoi(row.at(2).c_str());
        EXPECT_EQ(fWrite(row.at(1) == "BUF" ? BUFFER_BUF : BUFFER_BUNF, "b", "c"), 1) << row[0];
        std::string files;
        for (const std::string& name : fgNames(FOLDER))
            files += " " + name.substr(6) + " " + std::to_string(fs::file_size(FOLDER + name));
        EXPECT_EQ(files, " " + row.at(4)) << row[0];
    }
    EXPECT_EQ(m_clLog.fCount("]unlinkfile [../buffer/20050519-BUF_"), 3);
    EXPECT_EQ(m_clLog.fCount("]unlinkfile BUNF[../buffer/20050519-BUNF_1.buf]"), 1);
}

// A limit on the size of files stands for the full disk. A record is one write, so that those of several
// processes do not mix.
TEST_F(BufferFile, BeginsANewLineBehindATornOne)
{
    const std::string before = std::string(4090, '#') + "\n", text(1000000, 'a');
    fgWriteFile(FIRST, before);
    rlimit old;
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit full = {before.size() + 5, old.rlim_max};
    auto* handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_EQ(fWrite(BUFFER_BUF, "b", "c"), -1) << "5 bytes fit";
    EXPECT_EQ(fWrite(BUFFER_BUF, "b", "c"), -1) << "nothing fits";
    setrlimit(RLIMIT_FSIZE, &old);
    signal(SIGXFSZ, handler);
    const int writes = fWrites();
    EXPECT_EQ(fWrite(BUFFER_BUF, "x", text.c_str()), 1);
    EXPECT_EQ(fWrites() - writes, writes == 0 ? 0 : 1);
    EXPECT_EQ(fgReadFile(FIRST), before + fRecord("b", "c").substr(0, 5) + "\n" + fRecord("x", text));
    EXPECT_EQ(m_clLog.fCount("]buf file write fail [" + FIRST + "] : "), 2);
}
