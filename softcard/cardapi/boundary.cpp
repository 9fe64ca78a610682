#include "softcard/cardapi/boundary.h"

#include "softcard/base/store_error.h"
#include "softcard/card/card_error.h"
#include "softcard/card/fault.h"
#include "softcard/cardapi/system/process_end.h"

#include "src/platform/process_end.h"

#include <exception>

namespace softcard {

CardStatus Guarded(const std::function<void()>& body) noexcept
{
    if (ThreadsAreGone() || ProcessIsEnding()) {
        return eLibraryNotInitialized;
    }
    try {
        body();
        return eStatusOk;
    } catch (const CardError& error) {
        return error.Status();
    } catch (const StoreError& error) {
        return error.Failure() == StoreFailure::cardBusy ? eStatusSHARING_VIOLATION : eInternalError;
    } catch (const std::exception&) {
        return eInternalError;
    }
}

std::shared_ptr<Session> UseCard(CardSession session, const std::string& operation)
{
    Runtime& runtime = Runtime::Instance();
    auto found = runtime.RequireSession(session);
    const bool delayed = MeetFault(runtime.RequireDirectories(), found->InsertedCard().name, operation);
    return delayed ? runtime.RequireSession(session) : found;
}

std::shared_ptr<Session> LeaveCard(CardSession session, const std::string& operation)
{
    Runtime& runtime = Runtime::Instance();
    auto found = runtime.RequireOpenSession(session);
    if (const auto directories = runtime.CurrentDirectories()) {
        MeetOrderedFault(*directories, found->InsertedCard().name, operation);
    }
    return found;
}

void RequirePointer(const void* pointer)
{
    if (pointer == nullptr) {
        throw CardError(eInvalidParam, "A pointer is missing.");
    }
}

} // namespace softcard
