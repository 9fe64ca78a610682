// A login code or PIN on its way to the card.
#pragma once

#include "tavrik/cryptoki.h"
#include "tavrik/hex_binary.h"

// Holds a zero-terminated copy of the code and wipes it at its end.
class SecretCode
{
public:
    // Without a code, or with a length of 0, there is none: the card side then asks the user itself.
    SecretCode(const CK_UTF8CHAR* pin, CK_ULONG length);
    ~SecretCode();
    SecretCode(const SecretCode&) = delete;
    SecretCode& operator=(const SecretCode&) = delete;

    // The code as a text, or null when there is none.
    [[nodiscard]] const char* Text() const;

private:
    HexBinary code;
};
