#pragma once

#include <windows.h>

namespace softcard::test {

inline bool RunsUnderWine()
{
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

} // namespace softcard::test
