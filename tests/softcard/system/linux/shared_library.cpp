#include "tests/softcard/shared_library.h"

#include "tests/support/program.h"

#include <sstream>
#include <stdexcept>

#include <dlfcn.h>

namespace softcard::test {

void* FindInLibrary(const std::filesystem::path& library, const char* symbol)
{
    void* const opened = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    return opened == nullptr ? nullptr : dlsym(opened, symbol);
}

std::vector<std::string> ExportsOf(const std::filesystem::path& library)
{
    const Finished listed =
        RunProgram({"nm", "-D", "--defined-only", "--format=just-symbols", library.string()});
    if (listed.exitCode != 0) {
        throw std::runtime_error(listed.errors);
    }
    std::istringstream lines(listed.output);
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        names.push_back(line);
    }
    return names;
}

} // namespace softcard::test
