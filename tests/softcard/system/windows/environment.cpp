#include "tests/softcard/environment.h"

#include <windows.h>

namespace softcard::test {

void SetVariable(const std::string& name, const std::filesystem::path& value)
{
    const std::wstring wide(name.begin(), name.end());
    SetEnvironmentVariableW(wide.c_str(), value.c_str());
}

void UnsetVariable(const std::string& name)
{
    const std::wstring wide(name.begin(), name.end());
    SetEnvironmentVariableW(wide.c_str(), nullptr);
}

} // namespace softcard::test
