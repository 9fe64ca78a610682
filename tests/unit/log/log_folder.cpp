#include "tests/unit/log/log_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

void LogFolder::Write(const std::string& name, const std::string& text) const
{
    std::ofstream(Path(name), std::ios::binary) << text;
}

void LogFolder::Append(const std::string& name, const std::string& text) const
{
    std::ofstream(Path(name), std::ios::binary | std::ios::app) << text;
}

std::string LogFolder::Read(const std::string& name) const
{
    std::ifstream file(Path(name), std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

bool LogFolder::Contains(const std::string& name) const
{
    return std::filesystem::exists(std::filesystem::symlink_status(Path(name)));
}

std::vector<std::string> LogFolder::Names() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}
