// What every function of the boundary has around it.
#pragma once

#include "softcard/cardapi/runtime.h"

#include "src/card/card_api.h"

#include <functional>
#include <memory>
#include <string>

namespace softcard {

// Runs the body and turns what it throws into a status: nothing may be thrown across the boundary.
CardStatus Guarded(const std::function<void()>& body) noexcept;

// The session for one operation on its card, named as in CardAPI_* without that prefix. A fault that was
// ordered for the operation happens here. Throws CardError.
std::shared_ptr<Session> UseCard(CardSession session, const std::string& operation);

// The session for an operation that ends something, whatever became of its card and of the library; with the
// fault that was ordered for it, as long as the library runs. Throws CardError.
std::shared_ptr<Session> LeaveCard(CardSession session, const std::string& operation);

// Throws CardError for a null pointer.
void RequirePointer(const void* pointer);

} // namespace softcard
