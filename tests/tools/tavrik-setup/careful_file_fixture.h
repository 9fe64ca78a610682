// A folder with the name of a file that a test changes.
#pragma once

#include "tests/support/temporary_folder.h"
#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class CarefulFile : public testing::Test
{
protected:
    static void Write(const std::filesystem::path& path, const std::string& content)
    {
        std::ofstream(path, std::ios::binary) << content;
    }

    // Nothing lies beside the files that the test has made.
    [[nodiscard]] size_t Count() const
    {
        const std::filesystem::directory_iterator entries(folder.Path());
        return static_cast<size_t>(std::distance(begin(entries), end(entries)));
    }

    TemporaryFolder folder{"careful-file-"};
    std::filesystem::path file = folder.Path() / u"con\u0161fig";
};
