#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
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

// Numbers to text and back against stdio, where chance finds faults that no change of a byte does: at halves
// of the last decimal, and in texts made of parts of this one.
TEST(GeneratedNumbers, AreThoseOfStdio)
{
    constexpr std::string_view PARTS = "18446744073709551615 -0x7fA 0X+42,9223372036854775808\t.2147483648-+";
    const auto targets = fTargets();
    const auto numbers = std::ranges::find(targets, std::string_view("numbers"), &CFuzzTarget::fName);
    std::mt19937_64 random(1);
    for (int i = 0; i < 50000; i++) {
        const double near = static_cast<double>(random() % 2000001) / 200 - 5000;
        for (const double value : {near, double{static_cast<float>(near)}, std::bit_cast<double>(random())})
            (*numbers)->fTake("a" + std::string(reinterpret_cast<const char*>(&value), sizeof(value)));
        std::string text = "b";
        for (auto n = random() % 5; n > 0; n--)
            text += PARTS.substr(random() % PARTS.size(), random() % 22);
        (*numbers)->fTake(text);
    }
}

INSTANTIATE_TEST_SUITE_P(, Corpus, testing::ValuesIn(fTargets()),
                         [](const auto& target) { return std::string(target.param->fName()); });
} // namespace
