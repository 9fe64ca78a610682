// Calls of every exported function with one and the same value in all its arguments, for tests that go
// through them all.
#pragma once

#include "tavrik/cryptoki.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace blackbox {

struct FunctionCall
{
    std::string name;
    // Calls the function with `value` as each integer and as the address in each pointer.
    std::function<CK_RV(CK_FUNCTION_LIST* functions, uintptr_t value)> call;
};

// All functions in their standard order.
const std::vector<FunctionCall>& FunctionCalls();
const FunctionCall& FunctionCallNamed(const std::string& name);

} // namespace blackbox
