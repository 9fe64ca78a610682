#include "cache/attribute_answers.h"

namespace {

AttributeAnswer AnswerOfAnyObject(CK_ATTRIBUTE_TYPE type)
{
    switch (type) {
    case CKA_PRIVATE:
    case CKA_LABEL:
    case CKA_MODIFIABLE:
    case CKA_SECONDARY_AUTH:
    case CKA_ALWAYS_AUTHENTICATE:
        return AttributeAnswer::stored;
    default:
        return AttributeAnswer::invalid;
    }
}

} // namespace

AttributeAnswer AnswerOfCertificate(CK_ATTRIBUTE_TYPE type)
{
    switch (type) {
    case CKA_CERTIFICATE_CATEGORY:
    case CKA_JAVA_MIDP_SECURITY_DOMAIN:
    case CKA_URL:
    case CKA_HASH_OF_SUBJECT_PUBLIC_KEY:
    case CKA_HASH_OF_ISSUER_PUBLIC_KEY:
    case CKA_CHECK_VALUE:
        return AttributeAnswer::unavailable;
    case CKA_CLASS:
    case CKA_TOKEN:
    case CKA_VALUE:
    case CKA_CERTIFICATE_TYPE:
    case CKA_ISSUER:
    case CKA_SERIAL_NUMBER:
    case CKA_TRUSTED:
    case CKA_SUBJECT:
    case CKA_ID:
    case CKA_START_DATE:
    case CKA_END_DATE:
        return AttributeAnswer::stored;
    default:
        return AnswerOfAnyObject(type);
    }
}

AttributeAnswer AnswerOfKey(CK_ATTRIBUTE_TYPE type)
{
    switch (type) {
    case CKA_SUBJECT:
    case CKA_PRIVATE_EXPONENT:
    case CKA_PRIME_1:
    case CKA_PRIME_2:
    case CKA_EXPONENT_1:
    case CKA_EXPONENT_2:
    case CKA_COEFFICIENT:
    case CKA_KEY_GEN_MECHANISM:
    case CKA_EC_PARAMS:
    case CKA_EC_POINT:
    case CKA_WRAP_WITH_TRUSTED:
    case CKA_UNWRAP_TEMPLATE: // its twin CKA_WRAP_TEMPLATE is invalid, and is meant to be
        return AttributeAnswer::unavailable;
    case CKA_CLASS:
    case CKA_TOKEN:
    case CKA_TRUSTED:
    case CKA_KEY_TYPE:
    case CKA_MODULUS:
    case CKA_MODULUS_BITS:
    case CKA_PUBLIC_EXPONENT:
    case CKA_ID:
    case CKA_SENSITIVE:
    case CKA_ENCRYPT:
    case CKA_DECRYPT:
    case CKA_WRAP:
    case CKA_UNWRAP:
    case CKA_SIGN:
    case CKA_SIGN_RECOVER:
    case CKA_VERIFY:
    case CKA_VERIFY_RECOVER:
    case CKA_DERIVE:
    case CKA_START_DATE:
    case CKA_END_DATE:
    case CKA_EXTRACTABLE:
    case CKA_LOCAL:
    case CKA_NEVER_EXTRACTABLE:
    case CKA_ALWAYS_SENSITIVE:
    case CKA_ALLOWED_MECHANISMS:
        return AttributeAnswer::stored;
    default:
        return AnswerOfAnyObject(type);
    }
}
