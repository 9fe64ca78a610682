// What each kind of object answers when it is asked for a type of attribute.
#pragma once

#include "tavrik/cryptoki.h"

enum class AttributeAnswer
{
    unavailable, // of the kind, but never shown
    stored,      // shown when the object has it
    invalid      // not of the kind
};

AttributeAnswer AnswerOfCertificate(CK_ATTRIBUTE_TYPE type);

// Private and public keys answer alike.
AttributeAnswer AnswerOfKey(CK_ATTRIBUTE_TYPE type);
