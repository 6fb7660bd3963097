#include "collect/MM_INIT_Info.h"

#include <cstdlib>
#include <initializer_list>
#include <sys/utsname.h>

#include "driver/RunConfig.h"
#include "lib/HostFile.h"

int CMM_INIT_Info::m_nNObjs = 0;
ST_OS_VERSION* CMM_INIT_Info::m_pstOsVersion = nullptr;

namespace
{
// Another root may be that of a machine with another kernel. uname gives the same text for this host
// (kernel/utsname_sysctl.c) and needs no /proc.
bool fReadRelease(utsname& names)
{
    constexpr char RELEASE[] = "/proc/sys/kernel/osrelease";
    if (g_strHostRoot[0] != '\0' && fgReadHostFile(RELEASE, names.release, sizeof(names.release)) > 0)
        return true;
    return uname(&names) == 0;
}
} // namespace

CMM_INIT_Info::CMM_INIT_Info()
{
    if (++m_nNObjs == 1) fMInit();
}

CMM_INIT_Info::~CMM_INIT_Info()
{
    if (--m_nNObjs > 0) return;
    free(m_pstOsVersion);
    m_pstOsVersion = nullptr;
}

int CMM_INIT_Info::fMInit()
{
    return fMGetVersion() != 0 ? 1 : 0;
}

int CMM_INIT_Info::fMGetVersion()
{
    free(m_pstOsVersion);
    m_pstOsVersion = static_cast<ST_OS_VERSION*>(calloc(1, sizeof(ST_OS_VERSION)));
    utsname names = {};
    if (m_pstOsVersion == nullptr || !fReadRelease(names)) return 0;
    fgParseRelease(names.release, *m_pstOsVersion);
    return 1;
}

int CMM_INIT_Info::fMLinux_Major()
{
    return m_pstOsVersion->l_nMajorNum;
}

int CMM_INIT_Info::fMLinux_Minor()
{
    return m_pstOsVersion->l_nMinorNum;
}

void fgParseRelease(const char* release, ST_OS_VERSION& version)
{
    constexpr int MOST_DIGITS = 7;
    for (int* number : {&version.l_nMajorNum, &version.l_nMinorNum, &version.l_nExtraNum}) {
        *number = 0;
        for (int digits = 0; *release >= '0' && *release <= '9'; release++, digits++)
            if (digits < MOST_DIGITS) *number = *number * 10 + (*release - '0');
        if (*release != '\0') release++;
    }
}
