#include "softcard/card/file_trouble.h"

#include "softcard/system/files.h"

#include <gtest/gtest.h>

using namespace softcard;

namespace {

TEST(FileTrouble, NamesTheFileOfEitherKindOfError)
{
    const auto missing = std::make_error_code(std::errc::no_such_file_or_directory);
    const std::string told = "\"/a/b\" is not there. Look whether the path is right.";
    EXPECT_EQ(DescribeSystemTrouble(std::system_error(missing, "/a/b")), told);
    EXPECT_EQ(DescribeSystemTrouble(std::filesystem::filesystem_error("cannot", "/a/b", missing)), told);
}

TEST(FileTrouble, OfOurOwnIsToldInItsWords)
{
    EXPECT_EQ(DescribeSystemTrouble(std::system_error(FileFault::tooLarge, "/a")),
              "\"/a\" cannot be used. " + make_error_code(FileFault::tooLarge).message() + ".");
}

TEST(FileTrouble, WithoutWordsIsToldByItsNumber)
{
    for (const std::error_category* category : {&std::generic_category(), &std::system_category()}) {
        EXPECT_EQ(DescribeSystemTrouble("/a", {ECHILD, *category}),
                  "\"/a\" cannot be used; the system's number for the reason is " + std::to_string(ECHILD) +
                      ". See to the disk, and to the rights of the file.");
    }
}

} // namespace
