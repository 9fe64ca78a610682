// The functions that only ever refuse. Most are made from the list of functions; three test one argument
// first.
#include "src/pkcs11/entry_frame.h"

#define CRYPTOKI_WORKS(name, parameters)
#define CRYPTOKI_REFUSES(name, parameters, answer)                                                           \
    CK_RV name parameters                                                                                    \
    {                                                                                                        \
        return EntryFrame(#name).Answer(answer);                                                             \
    }
#include "tavrik/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS

CK_RV C_SeedRandom(CK_SESSION_HANDLE /*hSession*/, CK_BYTE_PTR pSeed, CK_ULONG /*ulSeedLen*/)
{
    return EntryFrame("C_SeedRandom").Require(pSeed != nullptr).Answer(CKR_RANDOM_NO_RNG);
}

CK_RV C_GenerateRandom(CK_SESSION_HANDLE /*hSession*/, CK_BYTE_PTR randomData, CK_ULONG /*ulRandomLen*/)
{
    return EntryFrame("C_GenerateRandom").Require(randomData != nullptr).Answer(CKR_RANDOM_NO_RNG);
}

CK_RV C_GetObjectSize(CK_SESSION_HANDLE /*hSession*/, CK_OBJECT_HANDLE /*hObject*/, CK_ULONG_PTR pulSize)
{
    return EntryFrame("C_GetObjectSize").Require(pulSize != nullptr).Answer(CKR_SESSION_HANDLE_INVALID);
}
