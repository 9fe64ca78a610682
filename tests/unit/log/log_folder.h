// A folder for the log files of a test.
#pragma once

#include "tests/support/temporary_folder.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

// Made empty under the system's folder for temporary files; goes with its end.
class LogFolder
{
public:
    LogFolder() : folder("tavrik_log_") {}

    std::filesystem::path Path(const std::string& name) const { return folder.Path() / name; }
    std::u16string Directory() const { return folder.Path().u16string() + u"/"; } // as the settings want it

    void Write(const std::string& name, const std::string& text) const;
    void Append(const std::string& name, const std::string& text) const;
    std::string Read(const std::string& name) const; // fails the test when there is no such file
    bool Contains(const std::string& name) const;
    std::vector<std::string> Names() const; // sorted

private:
    TemporaryFolder folder;
};
