// A folder of a test's own.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

// Made empty under the system's folder for temporary files, with a name that begins as given; goes with all
// that is in it when this does. Throws std::system_error when it can't be made.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const std::string& beginning)
    {
        std::string name = (std::filesystem::temp_directory_path() / (beginning + "XXXXXX")).string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        path = name;
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
