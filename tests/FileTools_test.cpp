#include "lib/FileTools.h"

#include <sys/stat.h>

#include "tests/TestSupport.h"

TEST(FileTools, FindsANameByPattern)
{
    const CTestTree tree;
    for (const char* name : {"found/.b1.dat", "found/b.txt", "found/a1.dat"})
        fgWriteFile(name, "");
    fs::current_path("found");
    char name[12] = "###########";
    EXPECT_EQ(fgFindFileName("*.none", name) + fgFindFileName("..", name), 0);
    EXPECT_EQ(fgFindFileName("*[0-9].dat", name), 1) << "names with a leading dot are not looked at";
    EXPECT_EQ(std::string(name, sizeof(name)), std::string("a1.dat\0####", 12)) << "nothing behind it";
    EXPECT_EQ(fgFindFileName("a*", name, 3), 1);
    EXPECT_STREQ(name, "a1");
}

TEST(FileTools, MovesFilesOfEverySizeOrLeavesBoth)
{
    const CTestTree tree;
    for (const size_t size : {0U, 1023U, 1024U, 2047U, 5000U, 3U}) {
        std::string text(size, '\0');
        for (size_t i = 0; i < size; i++)
            text[i] = static_cast<char>(i * 7 + i / 1023);
        fgWriteFile("./from", text);
        fs::permissions("from", fs::perms(0600));
        EXPECT_EQ(fgFileMove("from", "to"), 1) << size;
        EXPECT_TRUE(fgReadFile("to") == text && !fs::exists("from")) << size;
    }
    EXPECT_EQ(fs::status("to").permissions(), fs::perms(0600)) << "no more open than the source";

    fgWriteFile("./from", "text");
    fs::create_symlink("to", "link");
    fs::create_hard_link("from", "same");
    mkfifo("pipe", 0600);
    for (const char* to : {"./from", "same", "link", ".", "none/to", "pipe"})
        EXPECT_EQ(fgFileMove("from", to), 0) << to;
    for (const char* from : {"pipe", ".", "none"})
        EXPECT_EQ(fgFileMove(from, "to"), 0) << from;
    EXPECT_EQ(std::pair(fgReadFile("from"), fgReadFile("to").size()),
              std::pair(std::string("text"), size_t{3}));
}

TEST(FileTools, TouchesByMakingAnew)
{
    const CTestTree tree;
    const CTestLog log;
    fgWriteFile("./victim", "v");
    fs::create_symlink("victim", "link");
    EXPECT_EQ(fgTouchFile("link") + fgTouchFile("none/file"), 2);
    EXPECT_EQ(fgReadFile("victim") + fgReadFile("link"), "v");
    EXPECT_EQ(fs::symlink_status("link").permissions(), fs::perms(0444));
    EXPECT_EQ(log.fCount("[NGFunctions.cpp]touch fail [none/file] : No such file or directory"), 1);
}

TEST(FileTools, MakesFoldersWithTheirParents)
{
    const CTestTree tree;
    const mode_t old = umask(0);
    for (const char* path : {"../aproc/a/bb/ccc/", "x", "y/z", "y//zz//"})
        EXPECT_TRUE(fgMakeDirectory(path) == 1 && fs::is_directory(path)) << path;
    umask(old);
    EXPECT_EQ(fs::status("../aproc/a/bb").permissions(), fs::perms(0770));
    fgWriteFile("./file", "");
    fs::create_symlink("nowhere", "dangling");
    EXPECT_EQ(fgTold([] {
                  for (const char* path : {"file", "file/below", "", "dangling"})
                      EXPECT_EQ(fgMakeDirectory(path), -1) << path;
              }),
              "mkdir fail[][No such file or directory]mkdir fail[dangling][File exists]");
}
