#pragma once

#include "tests/support/program.h"

namespace softcard::test {

// Like StartProgram, its output into the given descriptor.
Process StartProgram(const std::vector<std::string>& arguments, int output);

} // namespace softcard::test
