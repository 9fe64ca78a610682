// Cryptoki numbers as text, for the log.
#pragma once

#include "tavrik/cryptoki.h"

// The CKR_ name of a result, or "[%08Xh] Unknown CKR result" for a number without a name.
// A text for an unnamed number is good until the thread's next such call to either function.
const char* ResultName(CK_RV result);

// The CKA_ name of an attribute type, or "[%08Xh] UNKNOWN ATTRIBUTE" for a number without a name.
const char* AttributeName(CK_ATTRIBUTE_TYPE type);

// The number as the formats of the log take it, %lu and %lx; a CK_ULONG is narrower on some systems.
inline unsigned long ForLog(CK_ULONG number)
{
    return number;
}
