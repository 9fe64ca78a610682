// What every exported function does before and after its own work: entering line, test that the library is
// initialised, argument tests, lock, leaving line.
#pragma once

#include "src/log/function_lines.h"
#include "src/operations/session_operations.h"
#include "src/pkcs11/library_lock.h"
#include "src/platform/process_end.h"
#include "src/store/internal_cache.h"
#include "tavrik/cryptoki.h"

#include <utility>

class EntryFrame
{
public:
    // Writes the entering line and tests that the library is initialised.
    explicit EntryFrame(const char* name);

    // An argument test that needs no lock; it is ignored when one before it failed.
    EntryFrame& Require(bool argumentGood)
    {
        if (result == CKR_OK && !argumentGood) {
            result = CKR_ARGUMENTS_BAD;
        }
        return *this;
    }

    // Work that comes before the lock, when all tests held.
    template <typename Work>
    EntryFrame& BeforeLock(Work&& work)
    {
        if (result == CKR_OK) {
            std::forward<Work>(work)();
        }
        return *this;
    }

    // Runs the function's work, which returns its result, under the lock, and leaves with that result; or
    // leaves with the first test that failed, without the lock. Throws what the work throws.
    template <typename Work>
    CK_RV Run(Work&& work)
    {
        if (result != CKR_OK) {
            return Leave();
        }
        const LibraryLockGuard guard;
        const WorkBeforeEnd working;
        result = std::forward<Work>(work)();
        return Leave();
    }

    // The same for work on the operations of a session, which is looked up under the lock:
    // CKR_SESSION_HANDLE_INVALID without one.
    template <typename Work>
    CK_RV RunOnSession(CK_SESSION_HANDLE handle, Work&& work)
    {
        return Run([&] {
            const auto session = InternalCache::GetInstance().GetSession(handle);
            return session == nullptr ? CKR_SESSION_HANDLE_INVALID
                                      : std::forward<Work>(work)(OperationsOf(*session));
        });
    }

    // Leaves with a fixed answer, without the lock; or with the first test that failed.
    CK_RV Answer(CK_RV answer)
    {
        if (result == CKR_OK) {
            result = answer;
        }
        return Leave();
    }

    // From now on the function leaves without a leaving line.
    void OmitLeavingLine() { leavingLine = false; }

private:
    [[nodiscard]] CK_RV Leave() const { return leavingLine ? LogLeaving(function, result) : result; }

    const char* function;
    CK_RV result;
    bool leavingLine = true;
};
