// Calls a function with one and the same value in all its arguments.
#pragma once

#include <cstdint>
#include <type_traits>

namespace blackbox {

template <typename Argument>
Argument ArgumentOf(uintptr_t value)
{
    if constexpr (std::is_pointer_v<Argument>) {
        return reinterpret_cast<Argument>(value);
    } else {
        return static_cast<Argument>(value);
    }
}

// `value` is each integer, and the address in each pointer.
template <typename Result, typename... Arguments>
Result CallWith(Result (*function)(Arguments...), uintptr_t value)
{
    return function(ArgumentOf<Arguments>(value)...);
}

} // namespace blackbox
