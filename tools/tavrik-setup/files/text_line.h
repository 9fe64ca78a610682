// Lines of texts in which blanks at both ends mean nothing.
#pragma once

#include <string>
#include <string_view>

namespace setup {

// The line without the blanks at its ends.
std::string_view Trimmed(std::string_view line);

// Whether the text has this line, whatever blanks are at its ends.
bool HasLine(const std::string& text, std::string_view wanted);

} // namespace setup
