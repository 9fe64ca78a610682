// The program softcard_account_host, and what it tells.
#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace softcard::test {

// What it said, by the first word of each line.
std::map<std::string, std::string> RunAccountHost(const std::filesystem::path& program,
                                                  const std::filesystem::path& homeOfAccount,
                                                  const std::filesystem::path& unwritableFolder = {});

} // namespace softcard::test
