#include "softcard/cardapi/system/reader_watch.h"

#include "softcard/system/windows/handle.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace softcard {
namespace {

// Windows tells of some changes of a file only when its writer closes it, and of a folder that was moved away
// not at all.
constexpr std::chrono::milliseconds longestWait{1000};
constexpr std::chrono::milliseconds longestBlindWait{50};

constexpr DWORD changesInReaders = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                                   FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;
constexpr DWORD changesInCards = FILE_NOTIFY_CHANGE_DIR_NAME;

struct EndNotification
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { FindCloseChangeNotification(handle); }
};
using Notification = std::unique_ptr<HANDLE, EndNotification>;

Notification Notify(const std::filesystem::path& folder, bool withAllBelow, DWORD changes)
{
    HANDLE handle = FindFirstChangeNotificationW(folder.c_str(), withAllBelow ? TRUE : FALSE, changes);
    return Notification(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

} // namespace

struct ReaderWatch::State
{
    std::filesystem::path readers;
    std::filesystem::path cards;
    Handle wakeUp; // signalled once and for all
    Notification inReaders;
    Notification inCards;
};

ReaderWatch::ReaderWatch(const Directories& directories)
    : state(new State{directories.Readers(), directories.Cards(),
                      Own(CreateEventW(nullptr, TRUE, FALSE, nullptr)), nullptr, nullptr})
{
}

ReaderWatch::~ReaderWatch() = default;

// Anew each time, since the folders may be others than before. One notification serves all readers: a handle
// on each of them would keep people from renaming it.
void ReaderWatch::Follow()
{
    state->inReaders = Notify(state->readers, true, changesInReaders);
    state->inCards = Notify(state->cards, false, changesInCards);
}

void ReaderWatch::Wait(std::chrono::milliseconds time) const
{
    std::array<HANDLE, 3> handles{};
    size_t count = 0;
    for (HANDLE handle : {state->wakeUp.get(), state->inReaders.get(), state->inCards.get()}) {
        if (handle != nullptr) {
            handles[count++] = handle;
        }
    }
    const auto limited = std::min(time, count == handles.size() ? longestWait : longestBlindWait);
    const auto milliseconds = static_cast<DWORD>(limited.count());
    if (count == 0) {
        Sleep(milliseconds);
    } else {
        WaitForMultipleObjects(static_cast<DWORD>(count), handles.data(), FALSE, milliseconds);
    }
}

void ReaderWatch::WakeUp() const
{
    if (state->wakeUp) {
        SetEvent(state->wakeUp.get());
    }
}

} // namespace softcard
