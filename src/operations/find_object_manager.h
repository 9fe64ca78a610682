// The search for objects that a session runs.
#pragma once

#include "src/objects/pkcs_attribute.h"
#include "tavrik/cryptoki.h"

#include <vector>

struct FindObjectManager
{
    // Forgets the search and its results.
    void Reset();

    // Appends a copy of each record to the filter, duplicates too. Does nothing without a template or a
    // count.
    void SetFilter(const CK_ATTRIBUTE* attributeTemplate, CK_ULONG count);

    // Appends the handles of the slot's objects that match the filter, in the order in which they were made.
    void Search(CK_SLOT_ID slotId);

    PkcsAttributes filter;
    bool active = false; // between C_FindObjectsInit and C_FindObjectsFinal
    uint32_t cursor = 0; // index in `results` of the next handle to hand out
    std::vector<CK_OBJECT_HANDLE> results;
};
