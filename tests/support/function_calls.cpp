#include "tests/support/function_calls.h"

#include "tests/support/call_with.h"

#include <stdexcept>

namespace blackbox {

const std::vector<FunctionCall>& FunctionCalls()
{
    static const std::vector<FunctionCall> functions{
#define CRYPTOKI_WORKS(function, parameters)                                                                 \
    {#function, [](CK_FUNCTION_LIST* list, uintptr_t value) { return CallWith(list->function, value); }},
#define CRYPTOKI_REFUSES(function, parameters, answer) CRYPTOKI_WORKS(function, parameters)
#include "tavrik/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
    };
    return functions;
}

const FunctionCall& FunctionCallNamed(const std::string& name)
{
    for (const FunctionCall& function : FunctionCalls()) {
        if (function.name == name) {
            return function;
        }
    }
    throw std::logic_error("no function " + name);
}

} // namespace blackbox
