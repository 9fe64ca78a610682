// The one-line text of a recorded call.
#pragma once

#include "tests/support/scripted_card/scripted_card.h"

namespace scripted {

std::string NarrowText(const std::u16string& text); // characters above 126 as \uXXXX
std::string DescribeCall(const CardCall& call);

} // namespace scripted
