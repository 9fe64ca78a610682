// Memory for codes and for what is derived from them: wiped when it is given back.
#pragma once

#include <botan/mem_ops.h>
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

// Wipes at the end of the scope what was computed with secrets in it and below: copies on the stack, and in
// the processor's registers, which the system and the loader of libraries put on the stack at times. It
// stands before the other variables, so that its end comes after theirs.
class TraceWiper
{
public:
    TraceWiper() = default;
    ~TraceWiper();
    TraceWiper(const TraceWiper&) = delete;
    TraceWiper& operator=(const TraceWiper&) = delete;
    TraceWiper(TraceWiper&&) = delete;
    TraceWiper& operator=(TraceWiper&&) = delete;
};

} // namespace softcard
