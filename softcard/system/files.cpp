// What is the same for the files of every system.
#include "softcard/system/files.h"

#include "softcard/system/file_steps.h"

#include <utility>

namespace softcard {
namespace {

class FaultTexts : public std::error_category
{
public:
    [[nodiscard]] const char* name() const noexcept override { return "file"; }
    [[nodiscard]] std::string message(int fault) const override
    {
        switch (static_cast<FileFault>(fault)) {
        case FileFault::notRegular:
            return "It is no regular file";
        case FileFault::tooLarge:
            return "It is too large";
        case FileFault::lockHeld:
            return "Another program has locked it for too long";
        }
        return "It cannot be used";
    }
};

} // namespace

// Never destroyed: a thread of the host can outlast its static objects.
std::error_code make_error_code(FileFault fault)
{
    static const auto* const texts = new FaultTexts();
    return {static_cast<int>(fault), *texts};
}

void EnsurePrivateFolder(const std::filesystem::path& folder)
{
    if (std::filesystem::is_directory(folder)) {
        return;
    }
    if (folder.has_relative_path()) {
        EnsurePrivateFolder(folder.parent_path());
    }
    MakePrivateFolder(folder);
}

std::filesystem::path WithDot(const std::filesystem::path& path, const std::string& ending)
{
    std::filesystem::path name = ".";
    name += path.filename();
    name += ending;
    return path.parent_path() / name;
}

std::filesystem::path TemporaryName(const std::filesystem::path& path)
{
    return WithDot(path, ".new");
}

} // namespace softcard
