#include "softcard/system/user_directories.h"
#include "tests/tools/test_log.h"
#include "tools/tavrik-log/log_folder.h"

#include <gtest/gtest.h>

namespace {

std::string Names(const std::filesystem::path& path)
{
    std::string names;
    for (const auto& file : logtool::ListLogFiles(path, "Pkcs11")) {
        names += file.filename().string() + " ";
    }
    return names;
}

} // namespace

TEST(LogFolder, NumbersAreOrderedAsNumbersOldestFirst)
{
    const TestLog log;
    for (const char* name : {"Pkcs11.log", "Pkcs11_9.log", "Pkcs11_10.log", "Pkcs11_1.log"}) {
        log.Append(name, "x");
    }
    EXPECT_EQ(Names(log.Folder()), "Pkcs11_10.log Pkcs11_9.log Pkcs11_1.log Pkcs11.log ");
}

TEST(LogFolder, OtherNamesAreLeftOut)
{
    const TestLog log;
    for (const char* name :
         {"Pkcs11_old.log", "Pkcs11_.log", "Pkcs11.txt", "Pkcs11x.log", "Other.log", "Pkcs11_1x.log"}) {
        log.Append(name, "x");
    }
    EXPECT_EQ(Names(log.Folder()), "");
}

TEST(LogFolder, MissingFolderHasNoFiles)
{
    EXPECT_EQ(Names("/nonexistent/folder"), "");
}

TEST(LogFolder, DefaultIsTheStateFolderOfTheSoftwareCard)
{
    EXPECT_EQ(logtool::DefaultFolder(), softcard::LocateDirectories().state);
}
