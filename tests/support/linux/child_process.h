// Child processes of a test, each waited for within a limit.
#pragma once

#include <chrono>
#include <functional>

namespace blackbox {

// Forks a child that runs `body` and then calls exit(0), with all that a process does at its end. Returns its
// exit status; -1 when it ended by a signal, and -2 when it did not end within the limit and was killed.
int ExitOfChild(const std::function<void()>& body,
                std::chrono::milliseconds limit = std::chrono::seconds(10));

} // namespace blackbox
