#include "tests/support/function_calls.h"

#include <stdexcept>
#include <type_traits>

namespace blackbox {
namespace {

template <typename Argument>
Argument ArgumentOf(uintptr_t value)
{
    if constexpr (std::is_pointer_v<Argument>) {
        return reinterpret_cast<Argument>(value);
    } else {
        return static_cast<Argument>(value);
    }
}

template <typename... Arguments>
CK_RV CallWith(CK_RV (*function)(Arguments...), uintptr_t value)
{
    return function(ArgumentOf<Arguments>(value)...);
}

} // namespace

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
