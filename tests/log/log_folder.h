// A folder for the log files of a test.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

// Made empty under the system's folder for temporary files; goes with its end.
class LogFolder
{
public:
    LogFolder();
    ~LogFolder();
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    std::filesystem::path Path(const std::string& name) const { return path / name; }
    std::u16string Directory() const { return path.u16string() + u"/"; } // as the settings want it

    void Write(const std::string& name, const std::string& text) const;
    void Append(const std::string& name, const std::string& text) const;
    std::string Read(const std::string& name) const; // fails the test when there is no such file
    bool Contains(const std::string& name) const;
    std::vector<std::string> Names() const; // sorted

private:
    std::filesystem::path path;
};
