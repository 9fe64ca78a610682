#include "reader_watch.h"

#include "reader_directory.h"

#include <algorithm>
#include <array>
#include <cstdint>
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

ReaderWatch::ReaderWatch(const Directories& directories)
    : readers_(directories.Readers()), cards_(directories.Cards()),
      notification_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)), wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

// The folder of the readers comes first: a reader that comes while the others are followed is seen then.
void ReaderWatch::Follow()
{
    std::set<int> followed;
    seesEverything_ = notification_.IsOpen() && wakeUp_.IsOpen();
    FollowFolder(readers_, followed);
    FollowFolder(cards_, followed);
    try {
        for (const std::filesystem::path& folder : ReaderFolders(readers_)) {
            FollowFolder(folder, followed);
        }
    } catch (const std::system_error&) {
        seesEverything_ = false;
    }
    for (const int gone : followed_) {
        if (!followed.contains(gone)) {
            inotify_rm_watch(notification_.Get(), gone);
        }
    }
    followed_ = std::move(followed);
}

void ReaderWatch::FollowFolder(const std::filesystem::path& folder, std::set<int>& followed)
{
    const int number = inotify_add_watch(notification_.Get(), folder.c_str(), changes);
    if (number < 0) {
        seesEverything_ = false;
    } else {
        followed.insert(number);
    }
}

void ReaderWatch::Wait(std::chrono::milliseconds time) const
{
    const auto limited = std::min(time, seesEverything_ ? longestWait : longestBlindWait);
    std::array<pollfd, 2> files{pollfd{notification_.Get(), POLLIN, 0}, pollfd{wakeUp_.Get(), POLLIN, 0}};
    poll(files.data(), files.size(), static_cast<int>(limited.count()));
    Drain(notification_);
}

void ReaderWatch::WakeUp() const
{
    const uint64_t one = 1;
    // It fails only when a wake-up is waiting already.
    [[maybe_unused]] const ssize_t written = write(wakeUp_.Get(), &one, sizeof one);
}

} // namespace softcard
