#pragma once

#include <csignal>
#include <deque>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

// Sleeping children of this process, which are ended by their ids.
class CPopulation
{
public:
    CPopulation() = default;
    CPopulation(const CPopulation&) = delete;
    CPopulation& operator=(const CPopulation&) = delete;
    ~CPopulation() { fEndOldest(m_nPids.size()); }

    // Forks until there are that many, or no more can be had.
    void fGrowTo(size_t count)
    {
        while (m_nPids.size() < count) {
            const pid_t parent = getpid();
            const pid_t pid = fork();
            if (pid < 0) break;
            if (pid > 0) {
                m_nPids.push_back(pid);
                continue;
            }
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            while (getppid() == parent)
                pause();
            _exit(0);
        }
    }

    // All that there are when they are fewer.
    void fEndOldest(size_t count)
    {
        if (count > m_nPids.size()) count = m_nPids.size();
        for (size_t i = 0; i < count; i++)
            kill(m_nPids[i], SIGKILL);
        for (; count > 0; count--) {
            waitpid(m_nPids.front(), nullptr, 0);
            m_nPids.pop_front();
        }
    }

private:
    std::deque<pid_t> m_nPids;
};
