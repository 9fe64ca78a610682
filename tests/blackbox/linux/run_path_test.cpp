// Where the loader of Linux looks for what the library needs.
#include "tests/support/black_box_test.h"
#include "tests/support/system.h"

#include <sstream>

namespace blackbox {
namespace {

// The values of the run paths in the dynamic section, as in "[$ORIGIN]".
Texts RunPaths()
{
    std::istringstream lines(
        OutputOf("readelf -d " + Quoted(ScriptedFolder() / LibraryFileName("pkcs11_x64"))));
    Texts values;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("(RUNPATH)") != std::string::npos || line.find("(RPATH)") != std::string::npos) {
            values.push_back(line.substr(line.find('[')));
        }
    }
    return values;
}

TEST(ExportsTest, RunPathIsTheLibrarysOwnFolder)
{
    const Texts paths = RunPaths();
    ASSERT_EQ(paths.size(), 1U);
    EXPECT_EQ(paths.front(), "[$ORIGIN]");
}

} // namespace
} // namespace blackbox
