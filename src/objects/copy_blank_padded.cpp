#include "src/objects/copy_blank_padded.h"

#include <algorithm>

void CopyBlankPadded(unsigned char* destination, int32_t width, const char* source)
{
    int32_t used = 0;
    while (used < width && source[used] != '\0') {
        destination[used] = static_cast<unsigned char>(source[used]);
        ++used;
    }
    std::fill(destination + used, destination + std::max(width, used), static_cast<unsigned char>(' '));
}
