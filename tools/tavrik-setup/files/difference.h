#pragma once

#include <string>
#include <string_view>

namespace setup {

// The lines that go, behind "-", and those that come, behind "+", with up to three lines around them. The two texts differ in
// one place. Empty when they are the same.
std::string Difference(std::string_view before, std::string_view after);

} // namespace setup
