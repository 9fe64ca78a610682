#include "tests/softcard/wrong_things.h"

#include <gtest/gtest.h>

#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

namespace softcard::test {
namespace {

namespace fs = std::filesystem;

constexpr off_t hugeSize = off_t{20} << 30;

} // namespace

std::vector<WrongThing> WrongThingsOfTheSystem()
{
    return {{"a pipe", [](const fs::path& path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); }},
            {"a link to a device", [](const fs::path& path) { fs::create_symlink("/dev/zero", path); }},
            {"20 GiB", [](const fs::path& path) {
                 std::ofstream(path) << "{";
                 ASSERT_EQ(truncate(path.c_str(), hugeSize), 0);
             }}};
}

std::vector<std::string> WaysOut(const fs::path& card, const fs::path& outside)
{
    fs::create_symlink(outside, card / "link");
    return {"link"};
}

} // namespace softcard::test
