#include "src/objects/attribute_answers.h"

// What the list does not have is invalid.

AttributeAnswer AnswerOfCertificate(CK_ATTRIBUTE_TYPE type)
{
    switch (type) {
#define ATTRIBUTE(name, value, certificate, ...)                                                             \
    case name:                                                                                               \
        return AttributeAnswer::certificate;
#include "src/cryptoki/attributes.inc"
    default:
        return AttributeAnswer::invalid;
    }
}

AttributeAnswer AnswerOfKey(CK_ATTRIBUTE_TYPE type)
{
    switch (type) {
#define ATTRIBUTE(name, value, certificate, key, ...)                                                        \
    case name:                                                                                               \
        return AttributeAnswer::key;
#define SECRET(name)                                                                                         \
    case name:                                                                                               \
        return AttributeAnswer::unavailable;
#include "src/cryptoki/attributes.inc"
    default:
        return AttributeAnswer::invalid;
    }
}
