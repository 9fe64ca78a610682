// A text that grows in a buffer of the caller's and loses its end where it would pass a limit.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

class BoundedText
{
public:
    // An empty text of at most `limit` characters, in a buffer that has room for these and a terminator.
    BoundedText(char* itsBuffer, std::size_t itsLimit) : buffer(itsBuffer), limit(itsLimit)
    {
        buffer[0] = '\0';
    }

    // `more` may not stand in the buffer.
    void Append(std::string_view more)
    {
        const std::size_t fitting = std::min(more.size(), limit - used);
        std::memcpy(buffer + used, more.data(), fitting);
        used += fitting;
        buffer[used] = '\0';
    }

    // From now on the text may be longer.
    void RaiseLimit(std::size_t newLimit) { limit = newLimit; }

    [[nodiscard]] std::string_view Text() const { return {buffer, used}; }

private:
    char* buffer;
    std::size_t used = 0;
    std::size_t limit;
};
