#include "tools/tavrik-setup/files/text_line.h"

#include <sstream>

namespace setup {
namespace {

constexpr std::string_view lineBlanks = " \t\r";

} // namespace

std::string_view Trimmed(std::string_view line)
{
    const size_t begin = line.find_first_not_of(lineBlanks);
    return begin == std::string_view::npos
               ? std::string_view()
               : line.substr(begin, line.find_last_not_of(lineBlanks) + 1 - begin);
}

bool HasLine(const std::string& text, std::string_view wanted)
{
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (Trimmed(line) == Trimmed(wanted)) {
            return true;
        }
    }
    return false;
}

} // namespace setup
