#include "tools/tavrik-setup/programs/system/quoting.h"

#include "softcard/base/text.h"

namespace setup {
namespace {

constexpr char quotationMark = '"';

std::string Marked(const std::string& text)
{
    return quotationMark + text + quotationMark;
}

// A backslash begins an escape in these files; Windows takes slashes too.
std::string WithSlashes(const std::filesystem::path& path)
{
    return softcard::Utf8Of(path.generic_wstring());
}

} // namespace

std::string InProviderFile(const std::filesystem::path& path)
{
    return Marked(WithSlashes(path));
}

// The path goes to LoadLibrary, which wants backslashes.
std::string InOpenVpn(const std::filesystem::path& path)
{
    std::string escaped;
    for (const char character : softcard::Utf8Of(path)) {
        escaped.append(character == '\\' ? 2 : 1, character);
    }
    return Marked(escaped);
}

std::string InOpenSsl(const std::filesystem::path& path)
{
    return WithSlashes(path);
}

std::string InCommandLine(const std::filesystem::path& path)
{
    return Marked(softcard::Utf8Of(path));
}

} // namespace setup
