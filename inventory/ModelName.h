#pragma once

#include <cstddef>

#include "lib/FixedText.h"

// Clears a text of an item and copies a text in, cut to what the field holds; null counts as empty.
template <size_t SIZE> void fgSetItemText(char (&field)[SIZE], const char* text)
{
    fgCopyText(field, text != nullptr ? text : "");
}

// An item that is known by the name of its model: SIZE bytes with the terminator, empty at first. Setting and
// reading it are the same for all of them.
template <size_t SIZE> class CModelName
{
public:
    char* ModelName() { return m_cpModelName; } // the item's own
    void ModelName(const char* text) { fgSetItemText(m_cpModelName, text); }

    char m_cpModelName[SIZE] = {};
};
