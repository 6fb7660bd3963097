#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

// What the fuzz targets share. A target puts any bytes through readers of the library that are alike, and
// through what is known of their results. fuzz/Main.cpp makes a libFuzzer program of each one,
// tests/Corpus_test.cpp puts the kept inputs through all of them.

using FUZZ_READER = void (*)(std::string_view text);

// A target, known by its name from the start of the program on. Corpora and programs have its name.
class CFuzzTarget
{
public:
    CFuzzTarget(const char* name, FUZZ_READER take) : m_pstrName(name), m_fnTake(take), m_pclNext(fFirst())
    {
        fFirst() = this;
    }
    CFuzzTarget& operator=(CFuzzTarget&&) = delete;
    void fTake(std::string_view input) const; // from a copy that ends where its memory ends
    const char* fName() const { return m_pstrName; }
    const CFuzzTarget* fNext() const { return m_pclNext; }
    static const CFuzzTarget*& fFirst(); // all that are linked in

private:
    const char* m_pstrName;
    FUZZ_READER m_fnTake;
    const CFuzzTarget* m_pclNext;
};

// The first byte chooses a reader, "a" the first of them; the rest is its text.
template <size_t N> void fgFuzzDispatch(const FUZZ_READER (&readers)[N], std::string_view input)
{
    if (input.empty()) return;
    const unsigned letter = static_cast<unsigned char>(input[0]) - static_cast<unsigned>('a');
    readers[letter % N](input.substr(1));
}

// Takes the part up to the first form feed off the front of input; all of it when there is none.
std::string_view fgFuzzPart(std::string_view& input);

// A terminated copy, writable, whose memory ends with the terminator. What it holds behind a NUL is of no
// matter to who takes texts.
class CFuzzText
{
public:
    explicit CFuzzText(std::string_view text);
    operator char*() const { return m_pstrText.get(); }
    std::string_view fView() const { return m_pstrText.get(); }

private:
    std::unique_ptr<char[]> m_pstrText;
};

// Ends the program, with a word on standard error, when something is not so.
void fgFuzzMust(bool isSo, const char* what);

// Puts a text in the place of a file's.
void fgFuzzWrite(const char* path, std::string_view text);
// The place of a file of the host, such as "/proc/stat", from the working folder.
std::string fgFuzzHost(std::string_view path);
// What every script gives from here on; nothing at first. Programs with this file start none: their system()
// demands of a line for the launcher that it has plain words alone, as a name from outside might be more to a
// shell, and puts this text into the file that the line names last; their popen() reads it.
void fgFuzzScript(std::string_view output);

// A bare runtime tree, and beside it a host. While it lives agent/bin is the working folder and the host root
// points at the host.
class CFuzzTree
{
public:
    CFuzzTree();
    ~CFuzzTree();
    CFuzzTree& operator=(CFuzzTree&&) = delete;

private:
    std::string m_strTop;
    std::string m_strOldFolder;
};
