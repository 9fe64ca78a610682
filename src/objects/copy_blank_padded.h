// Fixed text fields of Cryptoki records.
#pragma once

#include <cstdint>

// Copies `source` up to its terminating zero, but at most `width` bytes, and fills the rest of the field with
// blanks. Writes no terminator.
void CopyBlankPadded(unsigned char* destination, int32_t width, const char* source);
