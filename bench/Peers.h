#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "bench/Contest.h"
#include "lib/Owners.h"

// Other tools that do the same work in processes of their own. Their CPU time is what the kernel tells of
// these; that of starting a process is the tool's, that of reading what it prints is not. The environment is
// one of our own, so that nobody's settings change what they do.

void fgSayMissing(FILE* out, const std::string& peer);

// A command that is started anew for every run.
class CCommandPeer
{
public:
    // A line of its output that begins like that is a row; with an empty text one that begins with blanks and
    // a digit, or with a digit.
    CCommandPeer(std::vector<std::string> words, std::string rowStart)
        : m_strWords(std::move(words)), m_strRowStart(std::move(rowStart))
    {}
    int fRun(); // rows; -1 when it cannot be started or fails
    ST_COST fUsed() const { return m_stUsed; }

private:
    bool fIsRow(std::string_view line) const;

    std::vector<std::string> m_strWords;
    std::string m_strRowStart;
    ST_COST m_stUsed = {};
};

// A Python with psutil that is started once and stays: its start is not measured.
class CPythonPeer
{
public:
    CPythonPeer();
    ~CPythonPeer();
    CPythonPeer(const CPythonPeer&) = delete;
    CPythonPeer& operator=(const CPythonPeer&) = delete;

    bool fIsThere() const { return m_bIsThere; }
    // Evaluates an expression so many times; returns its value when that is a whole number, 1 when it is
    // something else, -1 when it cannot be had.
    int fRun(const std::string& expression, int times);
    ST_COST fUsed() const { return m_stUsed; } // by the expressions alone

private:
    pid_t m_nPid = -1;
    COwnedStream m_clTo;
    COwnedStream m_clFrom;
    bool m_bIsThere = false;
    ST_COST m_stUsed = {};
};
