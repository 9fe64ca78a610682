// What a call throws.
#pragma once

#include <stdexcept>
#include <string>
#include <system_error>

// The text of a std::runtime_error.
template <typename Call>
std::string ReasonOf(Call&& call)
{
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing was thrown";
}

// The code of a std::system_error; none when nothing is thrown.
template <typename Call>
std::error_code ErrorOf(Call&& call)
{
    try {
        call();
    } catch (const std::system_error& error) {
        return error.code();
    }
    return {};
}

inline bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}
