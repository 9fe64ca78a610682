// The date as a session header has it.
#pragma once

#include <array>
#include <ctime>
#include <string>

inline std::string LocalTimeText(std::time_t time)
{
    std::tm local{};
    localtime_r(&time, &local);
    std::array<char, 32> text{};
    static_cast<void>(std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local));
    return text.data();
}
