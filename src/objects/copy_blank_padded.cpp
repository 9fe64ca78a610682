#include "src/objects/copy_blank_padded.h"

#include <algorithm>
#include <cstring>

void CopyBlankPadded(unsigned char* destination, int32_t width, const char* source)
{
    const auto room = static_cast<std::size_t>(std::max(width, 0));
    const auto* end = static_cast<const char*>(std::memchr(source, '\0', room));
    const std::size_t used = end == nullptr ? room : static_cast<std::size_t>(end - source);
    std::memcpy(destination, source, used);
    std::memset(destination + used, ' ', room - used);
}
