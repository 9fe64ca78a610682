#include "tools/tavrik-setup/files/template_text.h"

namespace setup {

std::string Filled(std::string text, const std::map<std::string, std::string>& values)
{
    for (const auto& [name, value] : values) {
        const std::string mark = "@" + name + "@";
        for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + value.size())) {
            text.replace(at, mark.size(), value);
        }
    }
    return text;
}

} // namespace setup
