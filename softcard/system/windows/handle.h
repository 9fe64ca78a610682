#pragma once

#include <memory>

#include <windows.h>

namespace softcard {

struct CloseSystemHandle
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};

// A handle that is closed at the end of its scope. Windows has two values for none; here it is the null one.
using Handle = std::unique_ptr<HANDLE, CloseSystemHandle>;

inline Handle Own(HANDLE handle)
{
    return Handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

} // namespace softcard
