#include "lib/NGFunctions.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/select.h>
#include <sys/time.h>
#include <unistd.h>

#include "lib/LogGate.h"
#include "lib/Owners.h"

namespace
{
bool fWriteAll(int file, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written <= 0) return false;
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}
} // namespace

int fgUSleep(int us)
{
    constexpr int MICROSECONDS = 1000000;
    if (us < 1) us = 1000;
    timeval wait = {us / MICROSECONDS, us % MICROSECONDS};
    select(0, nullptr, nullptr, nullptr, &wait);
    return 1;
}

double fGetCurTarnTime()
{
    timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) * 1e-6;
}

int fGetPushCurTarnTime()
{
    return static_cast<int>(time(nullptr));
}

unsigned int ELFHash(const char* s)
{
    unsigned int hash = 0;
    // Signed also where char is not: bytes above 0x7F subtract, and keys stay the same on every machine.
    for (; s != nullptr && *s != '\0'; s++)
        hash = hash * 131 + static_cast<unsigned int>(static_cast<signed char>(*s));
    return hash & 0x7FFFFFFF;
}

int fStrOidWrite(const char* name, const char* text)
{
    char scratch[LOG_SCRATCH_SIZE];
    if (name == nullptr) name = "";
    const std::string path = std::string("../aproc/inv/") + name + ".inv";
    const CDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file)
        fgLog(LOG_FILES, LOG_ERROR, scratch, "[%s] oid file open failed : %s", path.c_str(), strerror(errno));
    else if (!fWriteAll(file.fGet(), text != nullptr ? text : ""))
        fgLog(LOG_FILES, LOG_ERROR, scratch, "[%s] oid file fput failed : %s", path.c_str(), strerror(errno));
    else // an error line too: it is meant to show wherever errors do
        fgLog(LOG_FILES, LOG_ERROR, scratch, "[%s]oid write success", name);
    return 1;
}
