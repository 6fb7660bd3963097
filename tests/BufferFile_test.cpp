#include "lib/BufferFile.h"

#include <csignal>
#include <fcntl.h>
#include <map>
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
    // Makes the files of a list of "DAY-FAMILY_STEP BYTES TIME", the day in May 2005, the time in
    // nanoseconds.
    static std::map<std::string, uintmax_t> fMakeFiles(const std::string& list)
    {
        const std::vector<std::string> words = fgSplit(list, " ");
        std::map<std::string, uintmax_t> sizes;
        for (size_t i = 0; i + 2 < words.size(); i += 3) {
            const std::string path = FOLDER + "200505" + words[i] + ".buf";
            fgWriteFile(path, "");
            fs::resize_file(path, sizes[path] = std::stoull(words[i + 1]));
            const timespec times[] = {{9, 0}, {9, std::stol(words[i + 2])}};
            utimensat(AT_FDCWD, path.c_str(), times, 0);
        }
        return sizes;
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
    const std::tuple<const char*, int, std::string, std::string, std::string> rows[] = {
        {"a fifth is not more", 5, "20-BUF_1 1048576 9", "20-BUF_1", ""},
        {"more than a fifth", 5, "20-BUF_1 1048577 9", "20-BUF_2", ""},
        {"behind step 99", 5, "20-BUNF_99 1048577 9", "20-BUNF_1", ""},
        {"newest by nanoseconds", 5, "20-BUF_3 10 9 20-BUF_7 10 8", "20-BUF_3", ""},
        {"of one moment the higher step", 5, "20-BUF_9 10 9 20-BUF_10 10 9", "20-BUF_10", ""},
        {"below the limit", 5, "19-BUF_1 4194302 8 20-BUF_1 1048577 9", "20-BUF_2", ""},
        {"at it", 5, "19-BUF_1 4194303 8 19-BUF_2 0 7 20-BUF_1 1048577 9", "20-BUF_2", "19-BUF_2"},
        {"of one moment the lower step", 1, "19-BUF_10 999999 8 19-BUF_9 999999 8", "20-BUF_1", "19-BUF_9"},
        {"only with a new file", 5, "19-BUF_1 9999999 8 20-BUF_1 1048576 9", "20-BUF_1", ""},
        {"a new day's first file", 5, "19-BUNF_1 5242880 8", "20-BUNF_1", "19-BUNF_1"},
        {"64 bits", 4096, "19-BUF_1 4294967296 8 20-BUF_1 858993460 9", "20-BUF_2", "19-BUF_1"},
    };
    for (const auto& [why, limit, files, written, removed] : rows) {
        fs::remove_all(FOLDER);
        g_nDataBufferSaveMaxSize = limit;
        const bool second = written.find("BUNF") != written.npos;
        auto expected = fMakeFiles(files);
        const std::string path = FOLDER + "200505" + removed + ".buf";
        const int lines = static_cast<int>(expected.erase(path));
        uintmax_t& size = expected[FOLDER + "200505" + written + ".buf"];
        size += fRecord("b", "c").size() + (size > 0 ? 1 : 0); // the files made here end in no newline
        EXPECT_EQ(fWrite(second ? BUFFER_BUNF : BUFFER_BUF, "b", "c"), 1) << why;
        std::map<std::string, uintmax_t> found;
        for (const auto& entry : fs::directory_iterator(FOLDER))
            found[entry.path().string()] = entry.file_size();
        EXPECT_EQ(found, expected) << why;
        EXPECT_EQ(m_clLog.fCount((second ? "]unlinkfile BUNF[" : "]unlinkfile [") + path + "]"), lines)
            << why;
    }
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
