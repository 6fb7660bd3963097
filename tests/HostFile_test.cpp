#include "lib/HostFile.h"

#include <fcntl.h>
#include <sys/prctl.h>

#include "tests/TestSupport.h"

TEST(HostFile, IsReadAfreshThroughADescriptorOfItsOwn)
{
    const int number = open("/dev/null", O_RDONLY | O_CLOEXEC); // the next descriptor is this one again
    close(number);
    char text[64];
    {
        CHostFile file("/proc/thread-self/comm");
        const auto read = [&](const char* name) {
            prctl(PR_SET_NAME, name);
            return file.fRead(text, sizeof(text)) < 0 ? "" : std::string(text);
        };
        EXPECT_EQ(read("first"), "first\n");
        EXPECT_EQ(fcntl(number, F_GETFD), FD_CLOEXEC) << "stays open";
        EXPECT_EQ(read("second"), "second\n");
        // Somebody closes all descriptors, and opens a file, once the very same one.
        close(number);
        ASSERT_EQ(open("/dev/zero", O_RDONLY | O_CLOEXEC), number);
        EXPECT_EQ(read("third"), "third\n");
        close(number + 1);
        ASSERT_EQ(open("/proc/thread-self/comm", O_RDONLY | O_CLOEXEC), number + 1);
        EXPECT_EQ(read("fourth"), "fourth\n");
    }
    EXPECT_EQ(close(number) + close(number + 1), 0) << "what is not ours stays open";

    const CTestTree tree;
    const CTestHost host(tree.fTop());
    CHostFile plain("/proc/stat");
    for (const char* is : {"old", "new"}) {
        fgWriteFile(tree.fPath("proc/stat.new"), is);
        rename(tree.fPath("proc/stat.new").c_str(), tree.fPath("proc/stat").c_str());
        EXPECT_EQ(plain.fRead(text, sizeof(text)), 3);
        EXPECT_STREQ(text, is);
    }
}
