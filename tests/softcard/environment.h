// The environment, which programs that are started get a copy of.
#pragma once

#include <filesystem>
#include <string>

namespace softcard::test {

void SetVariable(const std::string& name, const std::filesystem::path& value);
void UnsetVariable(const std::string& name);

} // namespace softcard::test
