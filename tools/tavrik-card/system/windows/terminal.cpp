#include "tools/tavrik-card/system/terminal.h"

#include "softcard/system/windows/console.h"

#include <iostream>

namespace softcard {
namespace {

// Byte by byte, past the stream library, whose buffers are not wiped.
std::optional<SecretText> ReadLine(HANDLE input)
{
    SecretText line;
    while (true) {
        char byte = 0;
        DWORD length = 0;
        if (::ReadFile(input, &byte, 1, &length, nullptr) == FALSE || length == 0) {
            return line.empty() ? std::nullopt : std::optional(std::move(line));
        }
        if (byte == '\n') {
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
            }
            return line;
        }
        line.push_back(byte);
    }
}

} // namespace

bool InputIsTerminal()
{
    return IsConsole(GetStdHandle(STD_INPUT_HANDLE));
}

bool ErrorsAreTerminal()
{
    HANDLE console = GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) != FALSE &&
           SetConsoleMode(console, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING) !=
               FALSE;
}

std::optional<SecretText> ReadSecretInput()
{
    HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    if (!InputIsTerminal()) {
        return ReadLine(input);
    }
    auto line = ReadSilently(input);
    std::cerr << '\n';
    return line;
}

std::optional<size_t> WriteUnbuffered(std::span<const char> bytes)
{
    DWORD length = 0;
    const BOOL isWritten = ::WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), bytes.data(),
                                       static_cast<DWORD>(bytes.size()), &length, nullptr);
    return isWritten == FALSE ? std::nullopt : std::optional<size_t>(length);
}

} // namespace softcard
