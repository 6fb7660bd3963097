#include "lib/KeyText.h"

#include <cstdlib>
#include <cstring>

bool fgFindNumbers(const char* text, const char* key, unsigned long* values, size_t count, int base)
{
    const char* at = strstr(text, key);
    if (at == nullptr) return false;
    at += strcspn(at, " \t\n");
    for (size_t i = 0; i < count; i++) {
        char* end = nullptr;
        values[i] = strtoul(at, &end, base);
        at = end;
    }
    return true;
}
