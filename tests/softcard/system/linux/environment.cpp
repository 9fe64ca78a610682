#include "tests/softcard/environment.h"

#include <cstdlib>

namespace softcard::test {

void SetVariable(const std::string& name, const std::filesystem::path& value)
{
    setenv(name.c_str(), value.c_str(), 1);
}

void UnsetVariable(const std::string& name)
{
    unsetenv(name.c_str());
}

} // namespace softcard::test
