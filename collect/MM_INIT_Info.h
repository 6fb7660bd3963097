#pragma once

// The kernel's version: the first three numbers of its release, 2, 6, 18 in "2.6.18-8.el5". uname gives it,
// or /proc/sys/kernel/osrelease below g_strHostRoot where that is set and has the file.
struct ST_OS_VERSION
{
    int l_nMajorNum;
    int l_nMinorNum; // the CPU and process collectors branch on this one alone
    int l_nExtraNum;
};

// Base of the collectors: one version record that all living collectors share. Collectors are built and
// destroyed from one thread at a time.
class CMM_INIT_Info
{
public:
    CMM_INIT_Info();  // the first living object reads the version
    ~CMM_INIT_Info(); // the last one frees it
    CMM_INIT_Info(const CMM_INIT_Info&) = delete;
    CMM_INIT_Info& operator=(const CMM_INIT_Info&) = delete;

    int fMInit();        // 1 when the version was read, else 0
    int fMGetVersion();  // allocates and fills the record; 1, or 0 when there is no memory or uname fails
    int fMLinux_Major(); // of the shared record, which must exist
    int fMLinux_Minor();

    static int m_nNObjs;                  // living collectors
    static ST_OS_VERSION* m_pstOsVersion; // from malloc; freed with the last collector
};

// Reads the three numbers of a release text. A missing number is 0, and only the first 7 digits of a number
// count.
void fgParseRelease(const char* release, ST_OS_VERSION& version);
