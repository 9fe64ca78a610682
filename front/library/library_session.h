// A session of the library that is closed at the end of its scope.
#pragma once

#include "front/library/library.h"

namespace front {

class LibrarySession
{
public:
    // Refuses with CKR_DEVICE_REMOVED when the card has gone.
    LibrarySession(const Library& itsLibrary, packed::CK_SLOT_ID slot)
        : library(itsLibrary), handle(library.OpenSession(slot))
    {
    }
    ~LibrarySession() { library.CloseSession(handle); }
    LibrarySession(const LibrarySession&) = delete;
    LibrarySession& operator=(const LibrarySession&) = delete;

    [[nodiscard]] packed::CK_SESSION_HANDLE Handle() const { return handle; }

private:
    const Library& library;
    packed::CK_SESSION_HANDLE handle;
};

} // namespace front
