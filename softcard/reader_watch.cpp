#include "reader_watch.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace softcard {
namespace {

constexpr std::chrono::milliseconds longestWait{60000};
constexpr std::chrono::milliseconds longestBlindWait{50};

FileDescriptor Watch(const std::filesystem::path& folder)
{
    FileDescriptor notification(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    const bool watching = notification.IsOpen() &&
                          inotify_add_watch(notification.Get(), folder.c_str(),
                                            IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CLOSE_WRITE) >= 0;
    return watching ? std::move(notification) : FileDescriptor();
}

void Drain(const FileDescriptor& file)
{
    std::array<char, 4096> buffer{};
    while (file.IsOpen() && read(file.Get(), buffer.data(), buffer.size()) > 0) {
    }
}

} // namespace

ReaderWatch::ReaderWatch(const std::filesystem::path& folder)
    : notification_(Watch(folder)), wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

void ReaderWatch::Wait(std::chrono::milliseconds time) const
{
    const bool blind = !notification_.IsOpen() || !wakeUp_.IsOpen();
    const auto limited = std::min(time, blind ? longestBlindWait : longestWait);
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
