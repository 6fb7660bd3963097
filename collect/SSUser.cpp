#include "collect/SSUser.h"

#include <cstdio>
#include <cstdlib>
#include <pwd.h>

#include "lib/FixedText.h"

namespace
{
// In 64 bits, so that the smallest int has an absolute value.
int fSlot(int uid)
{
    return static_cast<int>(std::llabs(uid) % USER_SLOTS);
}

bool fNames(const ST_HASH_EL& slot, int uid)
{
    return slot.name[0] != '\0' && slot.uid == uid;
}
} // namespace

int CSSUser::fAdd2Hash(int uid, const char* name)
{
    const int index = fSlot(uid);
    ST_HASH_EL& slot = m_stHashTable[index];
    if (fNames(slot, uid)) return index;
    slot.uid = uid;
    fgCopyText(slot.name, name);
    return index;
}

int CSSUser::fGetUser(int uid)
{
    const passwd* entry = getpwuid(static_cast<uid_t>(uid));
    if (entry != nullptr) return fAdd2Hash(static_cast<int>(entry->pw_uid), entry->pw_name);
    char number[8]; // seven characters, as wide as the column that shows it
    snprintf(number, sizeof(number), "%d", uid);
    return fAdd2Hash(uid, number);
}

char* CSSUser::fUserName(int uid)
{
    ST_HASH_EL& slot = m_stHashTable[fSlot(uid)];
    return fNames(slot, uid) ? slot.name : m_stHashTable[fGetUser(uid)].name;
}
