// Memory for codes and for what is derived from them: wiped when it is given back.
#pragma once

#include <botan/secmem.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace softcard {

using SecretText = Botan::secure_vector<char>; // without a terminator
using SecretBytes = Botan::secure_vector<uint8_t>;

inline SecretText MakeSecretText(std::string_view text)
{
    return {text.begin(), text.end()};
}

// A secret where a std::string is asked for. The text is wiped at the end of the scope.
class SecretString
{
public:
    explicit SecretString(std::string value) : text(std::move(value)) {}
    ~SecretString() { Botan::secure_scrub_memory(text.data(), text.size()); }
    SecretString(const SecretString&) = delete;
    SecretString& operator=(const SecretString&) = delete;
    SecretString(SecretString&&) = delete;
    SecretString& operator=(SecretString&&) = delete;

    std::string text;
};

} // namespace softcard
