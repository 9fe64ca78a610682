// A folder of a test's own.
#pragma once

#include <array>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

// Made empty under the system's folder for temporary files, its owner's alone, with a name that begins as given; goes with
// all that is in it when this does. Throws std::system_error when it can't be made.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const std::string& beginning)
    {
        std::random_device random;
        do {
            std::array<char, 9> ending{};
            static_cast<void>(std::snprintf(ending.data(), ending.size(), "%08x", random()));
            path = std::filesystem::temp_directory_path() / (beginning + ending.data());
        } while (!std::filesystem::create_directory(path)); // that name is taken
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return path; }

private:
    std::filesystem::path path;
};
