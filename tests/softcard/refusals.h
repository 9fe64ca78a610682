// What the store refuses.
#pragma once

#include "softcard/base/store_error.h"

#include <functional>
#include <optional>

namespace softcard::test {

// The kind of the StoreError that the work throws; nothing when it throws none.
inline std::optional<StoreFailure> FailureOf(const std::function<void()>& work)
{
    try {
        work();
    } catch (const StoreError& error) {
        return error.Failure();
    }
    return std::nullopt;
}

} // namespace softcard::test
