#include "lib/ScriptOutput.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "lib/Owners.h"

namespace
{
constexpr size_t COMMAND_SIZE = 1024;
constexpr char QUIET_SHELL[] = "exec 2>/dev/null; ";
} // namespace

void fgRunShellLine(const char* line)
{
    [[maybe_unused]] const int status = system(line);
}

void fgRunShell(const char* format, ...)
{
    char line[COMMAND_SIZE];
    va_list values;
    va_start(values, format);
    const int length = vsnprintf(line, sizeof(line), format, values);
    va_end(values);
    if (length < 0 || static_cast<size_t>(length) >= sizeof(line)) return;
    const bool quiet = strstr(line, " 2>") != nullptr;
    fgRunShellLine((std::string(quiet ? QUIET_SHELL : "") + line).c_str());
}

size_t fgReadFirstLine(const char* path, char* line, size_t size)
{
    line[0] = '\0';
    const COwnedStream file(fopen(path, "re"));
    if (file == nullptr || fgets(line, static_cast<int>(size), file.get()) == nullptr) return 0;
    return strlen(line);
}
