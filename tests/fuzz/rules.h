// What the fuzzers share: the rules that they hold their targets to, and where their files lie.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace fuzz {

// Ends the process, which keeps the input, when the rule does not hold.
inline void Require(bool holds, std::string_view rule)
{
    if (!holds) {
        static_cast<void>(
            std::fprintf(stderr, "Broken rule: %.*s\n", static_cast<int>(rule.size()), rule.data()));
        std::abort();
    }
}

// An empty folder, in memory where the system has such a place, which goes with the object.
class Folder
{
public:
    Folder() : path(Place() / "tavrik-fuzz-XXXXXX")
    {
        std::string name = path.string();
        Require(mkdtemp(name.data()) != nullptr, "There is a folder to work in.");
        path = name;
    }
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const { return path; }

    void Clear() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            std::filesystem::remove_all(entry.path());
        }
    }

private:
    static std::filesystem::path Place()
    {
        const std::filesystem::path memory = "/dev/shm";
        return std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
    }

    std::filesystem::path path;
};

} // namespace fuzz
