// What every exported function has around its own work. No exception gets past it.
#pragma once

#include "front/abi/refusal.h"
#include "front/door/process.h"

#include <new>
#include <utility>

namespace front {

// Runs the work and answers what it returns, or the code of what it throws.
template <typename Work>
CK_RV Guarded(Work&& work) noexcept
{
    try {
        return std::forward<Work>(work)();
    } catch (const Refusal& refusal) {
        return refusal.answer;
    } catch (const std::bad_alloc&) {
        return CKR_HOST_MEMORY;
    } catch (...) {
        return CKR_FUNCTION_FAILED;
    }
}

// The same for work that needs a started front, which it is given.
template <typename Work>
CK_RV InFront(Work&& work) noexcept
{
    return Guarded([&work] {
        Require(!ProcessIsEnding(), CKR_CRYPTOKI_NOT_INITIALIZED);
        const Call call;
        return std::forward<Work>(work)(call.Of());
    });
}

} // namespace front
