#pragma once

constexpr int USER_SLOTS = 128;
constexpr int USER_NAME_SIZE = 32; // bytes, terminator included

struct ST_HASH_EL
{
    int uid;
    char name[USER_NAME_SIZE]; // empty: the slot is unused
};

// User names by uid, looked up once: a direct-mapped cache whose slot is |uid| modulo 128. Two users of one
// slot evict each other. Entries never expire: a renamed user keeps the old name while the cache lives. For
// one thread only. Names come from the password database of this process, also when another host is observed.
class CSSUser
{
public:
    // Stores a name, cut at 31 bytes, unless the slot already names that uid. Returns the slot's index.
    int fAdd2Hash(int uid, const char* name);
    // Asks the password database (getpwuid) and stores the answer; a uid it does not know is named by its
    // number, cut at 7 characters. Returns the slot's index.
    int fGetUser(int uid);
    // The name of a uid from its slot, looked up when it is not there. Never null; it stays the cache's and
    // holds until the slot is given to another uid.
    char* fUserName(int uid);

    ST_HASH_EL m_stHashTable[USER_SLOTS] = {};
};
