#include "softcard/cardapi/system/reader_watch.h"

#include "softcard/card/reader_directory.h"
#include "softcard/system/linux/file_descriptor.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace softcard {
namespace {

constexpr std::chrono::milliseconds longestWait{60000};
constexpr std::chrono::milliseconds longestBlindWait{50};

// Of what lies in a folder, and of the folder itself.
constexpr uint32_t changes =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

void Drain(const FileDescriptor& file)
{
    std::array<char, 4096> buffer{};
    while (file.IsOpen() && read(file.Get(), buffer.data(), buffer.size()) > 0) {
    }
}

} // namespace

struct ReaderWatch::State
{
    explicit State(const Directories& directories)
        : readers(directories.Readers()), cards(directories.Cards()),
          wakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
    }

    void FollowFolder(const std::filesystem::path& folder, std::set<int>& numbers)
    {
        const int number = inotify_add_watch(notification.Get(), folder.c_str(), changes);
        if (number < 0) {
            seesEverything = false;
        } else {
            numbers.insert(number);
        }
    }

    std::filesystem::path readers;
    std::filesystem::path cards;
    FileDescriptor notification; // made when it is needed: giving it back takes the system some milliseconds
    FileDescriptor wakeUp;
    std::set<int> followed; // the numbers that the system knows the folders by
    bool seesEverything = false;
};

ReaderWatch::ReaderWatch(const Directories& directories) : state(std::make_unique<State>(directories)) {}

ReaderWatch::~ReaderWatch() = default;

// The folder of the readers comes first: a reader that comes while the others are followed is seen then.
void ReaderWatch::Follow()
{
    std::set<int> followed;
    if (!state->notification.IsOpen()) {
        state->notification = FileDescriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    }
    state->seesEverything = state->notification.IsOpen() && state->wakeUp.IsOpen();
    state->FollowFolder(state->readers, followed);
    state->FollowFolder(state->cards, followed);
    try {
        for (const std::filesystem::path& folder : ReaderFolders(state->readers)) {
            state->FollowFolder(folder, followed);
        }
    } catch (const std::system_error&) {
        state->seesEverything = false;
    }
    for (const int gone : state->followed) {
        if (!followed.contains(gone)) {
            inotify_rm_watch(state->notification.Get(), gone);
        }
    }
    state->followed = std::move(followed);
}

void ReaderWatch::Wait(std::chrono::milliseconds time) const
{
    const auto limited = std::min(time, state->seesEverything ? longestWait : longestBlindWait);
    std::array<pollfd, 2> files{pollfd{state->notification.Get(), POLLIN, 0},
                                pollfd{state->wakeUp.Get(), POLLIN, 0}};
    poll(files.data(), files.size(), static_cast<int>(limited.count()));
    Drain(state->notification);
}

void ReaderWatch::WakeUp() const
{
    const uint64_t one = 1;
    // It fails only when a wake-up is waiting already.
    [[maybe_unused]] const ssize_t written = write(state->wakeUp.Get(), &one, sizeof one);
}

} // namespace softcard
