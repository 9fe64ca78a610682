#include "softcard/system/windows/command_line.h"

#include "softcard/base/text.h"

namespace softcard {
namespace {

// So that the program finds it as one argument again: backslashes count only before a quotation mark.
std::wstring Quote(const std::string& argument)
{
    const std::filesystem::path wide = PathOf(argument);
    std::wstring quoted = L"\"";
    size_t backslashes = 0;
    for (const wchar_t character : wide.native()) {
        if (character == L'"') {
            quoted.append(backslashes + 1, L'\\');
        }
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        quoted.push_back(character);
    }
    return quoted.append(backslashes, L'\\') + L"\"";
}

} // namespace

std::wstring CommandLineOf(const std::filesystem::path& program, const std::vector<std::string>& arguments)
{
    std::wstring line = L"\"" + program.native() + L"\"";
    for (const std::string& argument : arguments) {
        line += L" " + Quote(argument);
    }
    return line;
}

} // namespace softcard
