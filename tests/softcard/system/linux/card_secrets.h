// The secrets of a card, as they would stand in the memory of a program.
#pragma once

#include "tests/softcard/system/linux/memory.h"

#include "softcard/card/card_store.h"

#include <filesystem>
#include <string>

namespace softcard::test {

// A code that no memory holds by chance.
std::string RandomCode();

struct CardCodes
{
    std::string bok;
    std::string pin;
    std::string puk;
};

// The codes, and what each of them unwraps with.
Secrets SecretsOfCodes(const std::filesystem::path& cardFolder, const CardCodes& codes);

// What unwraps the keys of a family, which the code opens.
SecretBytes SecretOfFamily(const std::filesystem::path& cardFolder, KeyFamily family, const CardCodes& codes);

// The secrets of both families, with the parts of their first keys.
void AddKeys(Secrets& secrets, const Card& card, const std::filesystem::path& cardFolder,
             const CardCodes& codes);

} // namespace softcard::test
