#include "softcard/system/windows/console.h"

#include <atomic>

namespace softcard {
namespace {

// The console that shows nothing at the moment and its mode before, for a process that is ended meanwhile.
std::atomic<HANDLE> silenced{nullptr};
std::atomic<DWORD> modeBefore{0};

// Ctrl+C, Ctrl+Break and the closing of the window end the process unless its own handlers say otherwise, on a thread of the
// system's: they come after this one.
BOOL WINAPI GiveBackEcho(DWORD /*event*/)
{
    HANDLE console = silenced.exchange(nullptr);
    if (console != nullptr) {
        SetConsoleMode(console, modeBefore);
    }
    return FALSE;
}

class SilentConsole
{
public:
    explicit SilentConsole(HANDLE shown) : console(shown)
    {
        GetConsoleMode(console, &before);
        modeBefore = before;
        silenced = console;
        SetConsoleCtrlHandler(GiveBackEcho, TRUE); // in front of all others
        SetConsoleMode(console, ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT);
        if (silenced == nullptr) { // the interruption was quicker
            SetConsoleMode(console, before);
        }
    }

    ~SilentConsole()
    {
        SetConsoleMode(console, before);
        silenced = nullptr;
        SetConsoleCtrlHandler(GiveBackEcho, FALSE);
    }

    SilentConsole(const SilentConsole&) = delete;
    SilentConsole& operator=(const SilentConsole&) = delete;
    SilentConsole(SilentConsole&&) = delete;
    SilentConsole& operator=(SilentConsole&&) = delete;

private:
    HANDLE console;
    DWORD before = 0;
};

using WideSecret = Botan::secure_vector<wchar_t>;

SecretText ToUtf8(const WideSecret& wide)
{
    const auto length = static_cast<int>(wide.size());
    const int needed = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    SecretText text(static_cast<size_t>(needed));
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, text.data(), needed, nullptr, nullptr);
    return text;
}

} // namespace

bool IsConsole(HANDLE handle)
{
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != FALSE;
}

std::optional<SecretText> ReadSilently(HANDLE console)
{
    const SilentConsole silence(console);
    WideSecret line;
    while (true) {
        wchar_t character = 0;
        DWORD length = 0;
        if (ReadConsoleW(console, &character, 1, &length, nullptr) == FALSE || length == 0) {
            return std::nullopt;
        }
        if (character == L'\n') {
            return ToUtf8(line);
        }
        if (character != L'\r') {
            line.push_back(character);
        }
    }
}

} // namespace softcard
