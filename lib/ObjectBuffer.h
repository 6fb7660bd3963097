#pragma once

#include "lib/ObjectList.h"

// A store of the caller's objects by name. A name is joined to its object by an index, 1 or more, that the
// buffer hands out. Names are compared byte by byte, letter case included, and are copied; the objects stay
// the caller's. Lookups walk the list of names with its cursor, so they disturb who iterates over it. Nothing
// here locks; one thread.
class CObjectBuffer
{
public:
    CObjectBuffer();
    ~CObjectBuffer();
    CObjectBuffer(const CObjectBuffer&) = delete;
    CObjectBuffer& operator=(const CObjectBuffer&) = delete;

    // Stores an object under a new index and returns that; 0 for a null name. A name that is there is not
    // looked for: it gets a second entry, and lookups by name find the first put.
    int fObjectPut(const char* name, void* object);

    // The index of the next put, whatever the name: the lowest that no name uses.
    int fGetPutIndex(const char* name) const;

    // Takes out the first entry of that name, not its object. Returns 1; 0 when there is none.
    int fObjectRemove(const char* name);

    // Put another object in place of that of the first entry of a name, or of an index; the old one is not
    // freed. Return the object; null when there is no such entry.
    void* fSetObject(const char* name, void* object);
    void* fSetObject(int index, void* object);

    // The object of the first entry of a name, or of an index; null when there is none.
    void* fGetObject(const char* name);
    void* fGetObject(int index) const;

    // The name of an index, or null. It is the buffer's, and valid until the entry is removed.
    char* fGetObjectKey(int index) const;

    // How many names there are.
    int fGetSize() const;

    // Takes out all entries, not their objects; the buffer can be used on. Returns 1.
    int fFreeObjects();

    CObjectList* m_pcllData;     // index, object; of the buffer
    CObjectList* m_pcllKeyTable; // index, name; of the buffer, as the names are

private:
    ST_OBJECTLIST_LNKLST* fFindName(const char* name);
};
