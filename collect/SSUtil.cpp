#include "collect/SSUtil.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "lib/FixedText.h"
#include "lib/HostFile.h"
#include "lib/NumberText.h"
#include "lib/PlainNumbers.h"

namespace
{
char m_strNumData[128]; // result of the size formatters

constexpr float SCALE_1024 = 0.0009765625F;

// How many times a size can be halved while it is above 1, less 10: the shift from units of it to kilobytes.
int fKilobyteShift(int size)
{
    int shift = 0;
    for (; size > 1; size >>= 1)
        shift++;
    return shift - 10;
}

unsigned long fShift(unsigned long value, int shift)
{
    return shift >= 1 ? value << shift : value >> -shift;
}

template <class T> char* fSizeText(const char* format, T value)
{
    const CPlainNumbers plain;
    memset(m_strNumData, 0, sizeof(m_strNumData));
    snprintf(m_strNumData, sizeof(m_strNumData), format, value);
    return m_strNumData;
}

// Megabytes as M, G or T by a base of 1024 or 1000; scaled is the value in units of the base.
char* fMbyteText(unsigned long mb, unsigned long base, float scaled, float scaledTwice)
{
    if (mb == 0) return fSizeText("%d M", 0);
    if (mb < base) return fSizeText("%.1f M", static_cast<double>(static_cast<float>(mb)));
    if (scaled >= static_cast<float>(base)) return fSizeText("%.1f T", static_cast<double>(scaledTwice));
    return fSizeText("%.1f G", static_cast<double>(scaled));
}
// Writes seconds as a person reads them, without a terminator.
void fPutDuration(char* to, int seconds)
{
    const auto rest = static_cast<unsigned long>(std::max(seconds, 0));
    if (rest >= 86400) to = fgPutText(fgPutInteger(to, rest / 86400), " days ");
    to = fgPutTwoDigits(to, rest / 3600 % 24);
    *to++ = ':';
    to = fgPutTwoDigits(to, rest / 60 % 60);
    *to++ = ':';
    fgPutTwoDigits(to, rest % 60);
}
} // namespace

CSSUtil::CSSUtil() : m_nPGShift(fKilobyteShift(getpagesize())), m_strHtime{}, m_strStime{}, m_stOldTime{} {}

int CSSUtil::fGetCpuPct(int n, unsigned long long* pct, unsigned long long* cur, unsigned long long* old)
{
    unsigned long long total = 0;
    for (int i = 0; i < n; i++) {
        pct[i] = cur[i] - old[i];
        total += pct[i];
        old[i] = cur[i];
    }
    if (total == 0) total = 1;
    for (int i = 0; i < n; i++)
        pct[i] = (pct[i] * 1000 + total / 2) / total;
    return static_cast<int>(total);
}

int CSSUtil::fGetCpuPct(int n, int* pct, long* cur, long* old, long* diff)
{
    // Sums and products wrap as the hardware's do, so they are formed unsigned.
    unsigned long sum = 0;
    for (int i = 0; i < n; i++) {
        long step =
            static_cast<long>(static_cast<unsigned long>(cur[i]) - static_cast<unsigned long>(old[i]));
        if (step < 0) step = static_cast<int>(step);
        diff[i] = step;
        sum += static_cast<unsigned long>(step);
        old[i] = cur[i];
    }
    long total = static_cast<long>(sum);
    if (total == 0) total = 1;
    for (int i = 0; i < n; i++) {
        const long scaled = static_cast<long>(static_cast<unsigned long>(diff[i]) * 1000 +
                                              static_cast<unsigned long>(total / 2));
        pct[i] = total == -1 ? static_cast<int>(0UL - static_cast<unsigned long>(scaled))
                             : static_cast<int>(scaled / total);
    }
    return static_cast<int>(total);
}

int CSSUtil::fGetAddition(int n, int* diff, long* cur, long* old)
{
    unsigned long sum = 0;
    for (int i = 0; i < n; i++) {
        const unsigned long step = static_cast<unsigned long>(cur[i]) - static_cast<unsigned long>(old[i]);
        diff[i] = static_cast<int>(step);
        sum += step;
        old[i] = cur[i];
    }
    return static_cast<int>(sum);
}

int CSSUtil::fGetAddition(int n, int* diff, long* cur, long* old, long*)
{
    return fGetAddition(n, diff, cur, old);
}

unsigned long CSSUtil::fPage2k(unsigned long pages)
{
    return fShift(pages, m_nPGShift);
}

unsigned long CSSUtil::fBlock2k(unsigned long blocks, int blockSize)
{
    return fShift(blocks, fKilobyteShift(blockSize));
}

double CSSUtil::fGetElapsedTime()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    const double elapsed = fgElapsedSeconds(m_stOldTime, now);
    m_stOldTime = now;
    return elapsed;
}

char* CSSUtil::fFormatTime(int seconds)
{
    memset(m_strHtime, 0, sizeof(m_strHtime));
    fPutDuration(m_strHtime, seconds);
    return m_strHtime;
}

char* CSSUtil::fGetLocalTime(long when)
{
    memset(m_strStime, 0, sizeof(m_strStime));
    const time_t seconds = when;
    tm local = {};
    if (localtime_r(&seconds, &local) != nullptr)
        snprintf(m_strStime, sizeof(m_strStime), "%-4d-%.2d-%.2d %.2d:%.2d:%.2d", local.tm_year + 1900,
                 local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return m_strStime;
}

int CSSUtil::fFile2Buff(const char* path, char* buf, int size)
{
    if (size < 1) return 0;
    const CDescriptor file = fgOpenHostFile(path);
    if (!file) return 0;
    memset(buf, 0, static_cast<size_t>(size));
    const ssize_t length = read(file.fGet(), buf, static_cast<size_t>(size) - 1);
    if (length < 0) return 0;
    if (strstr(path, "cmdline") != nullptr) std::replace(buf, buf + length, '\0', ' ');
    return static_cast<int>(length);
}

int CSSUtil::fBuff2Line(char** cursor, char* line, int size)
{
    if (size < 1) return 0;
    memset(line, 0, static_cast<size_t>(size));
    const size_t whole = strcspn(*cursor, "\n");
    if (whole == 0) return 0;
    const size_t length = std::min(whole, static_cast<size_t>(size) - 1);
    memcpy(line, *cursor, length);
    *cursor += length;
    if (length == whole && **cursor == '\n') ++*cursor;
    return static_cast<int>(length) + 1;
}

int CSSUtil::fStr2Str(char* dst, const char* src, int size)
{
    if (size < 1) return 0;
    const auto room = static_cast<size_t>(size);
    memset(dst, 0, room);
    if (*src == '\0') return 0;
    const size_t length = strlen(src);
    const size_t copied = length > room ? room - 1 : length;
    memcpy(dst, src, copied);
    dst[copied] = '\0';
    return static_cast<int>(copied);
}

char* CSSUtil::fSkipWs(const char* p)
{
    while (isspace(static_cast<unsigned char>(*p)))
        p++;
    return const_cast<char*>(p);
}

char* CSSUtil::fSkipToken(const char* p)
{
    p = fSkipWs(p);
    while (*p != '\0' && !isspace(static_cast<unsigned char>(*p)))
        p++;
    return const_cast<char*>(p);
}

char* CSSUtil::fKbyteToForm(unsigned long kb)
{
    if (kb == 0) return fSizeText("%d", 0);
    const float value = static_cast<float>(kb);
    const float mega = value * SCALE_1024;
    const float giga = mega * SCALE_1024;
    if (mega < 1) return fSizeText("%.1f K", static_cast<double>(value));
    if (mega < 1024) return fSizeText("%.1f M", static_cast<double>(mega));
    if (giga < 1024) return fSizeText("%.1f G", static_cast<double>(giga));
    return fSizeText("%.1f T", static_cast<double>(giga * SCALE_1024));
}

char* CSSUtil::fMbyteToForm(unsigned long mb)
{
    const float giga = static_cast<float>(mb) * SCALE_1024;
    return fMbyteText(mb, 1024, giga, giga * SCALE_1024);
}

char* CSSUtil::fMbyteTo1000Form(unsigned long mb)
{
    const float giga = static_cast<float>(mb) / 1000;
    return fMbyteText(mb, 1000, giga, giga / 1000);
}

char* CSSUtil::fMbyteTo1000FormInt(unsigned long mb)
{
    const int narrow = static_cast<int>(mb);
    if (mb < 1000) return fSizeText("%d M", narrow);
    if (narrow / 1000 <= 999) return fSizeText("%d G", narrow / 1000);
    return fSizeText("%d T", narrow / 1000000);
}

void CSSUtil::fSetEachCpuPct(int n, float* src, float* acc)
{
    for (int i = 0; i < n; i++)
        acc[i] += src[i];
}

void CSSUtil::fSetAvgCpuPct(int n, float* sum, float* avg, int count)
{
    for (int i = 0; i < n; i++)
        avg[i] = sum[i] / static_cast<float>(count);
}

double fgElapsedSeconds(const timeval& from, const timeval& to)
{
    const long seconds = to.tv_sec - from.tv_sec;
    const auto micro = static_cast<float>(to.tv_usec - from.tv_usec);
    return static_cast<double>(seconds) + static_cast<double>(micro) * 1e-6;
}
