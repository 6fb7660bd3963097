#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"

// The kept inputs of the fuzzers, among them every one that has found a fault, through the same readers. A
// program of its own: the targets change settings as they like.

namespace
{
namespace fs = std::filesystem;

std::vector<const CFuzzTarget*> fTargets()
{
    std::vector<const CFuzzTarget*> targets;
    for (const CFuzzTarget* target = CFuzzTarget::fFirst(); target != nullptr; target = target->fNext())
        targets.push_back(target);
    return targets;
}

class Corpus : public testing::TestWithParam<const CFuzzTarget*>
{};

// A fault ends the program: the last name printed is that of its input.
TEST_P(Corpus, IsTakenWithoutAFault)
{
    const CFuzzTree tree;
    int inputs = 0;
    for (const fs::directory_entry& entry :
         fs::directory_iterator(fs::path(HOSTMETRICS_CORPUS) / GetParam()->fName()))
    {
        printf("%s\n", entry.path().c_str());
        std::ifstream file(entry.path(), std::ios::binary);
        GetParam()->fTake(std::string(std::istreambuf_iterator<char>(file), {}));
        inputs++;
    }
    EXPECT_GT(inputs, 0);
}

INSTANTIATE_TEST_SUITE_P(, Corpus, testing::ValuesIn(fTargets()),
                         [](const auto& target) { return std::string(target.param->fName()); });
} // namespace
