// What a call throws, as text.
#pragma once

#include <stdexcept>
#include <string>

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

inline bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}
