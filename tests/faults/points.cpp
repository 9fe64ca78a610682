#include "tests/faults/points.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <stdexcept>
#include <thread>

namespace faults {
namespace {

constexpr auto longestSilence = std::chrono::seconds(20);

std::vector<std::size_t> Chosen(const Points& points, const Choice& choice, std::size_t count)
{
    std::vector<std::size_t> chosen = Spread(count, choice.most, choice.seed);
    std::erase_if(chosen, [&](std::size_t index) {
        return !choice.only.empty() &&
               (points.name + ": " + points.text(index)).find(choice.only) == std::string::npos;
    });
    return chosen;
}

// In a child: from the given one of the chosen points on. Does not return.
[[noreturn]] void TryFrom(const Points& points, const Choice& choice, std::size_t first)
{
    Progress& progress = Progress::Shared();
    const auto chosen = Chosen(points, choice, points.begin());
    std::size_t next = first;
    for (; next < chosen.size() && next < first + points.inOneProcess; ++next) {
        progress.BeginPoint(next, points.name + ": " + points.text(chosen[next]));
        const PointResult result = points.attempt(chosen[next]);
        ++(result == PointResult::missed ? progress.missed : progress.tried);
        if (result == PointResult::last) {
            progress.point = next + 1;
            std::cout << std::flush;
            _exit(0);
        }
    }
    progress.point = next;
    progress.finished = next >= chosen.size();
    std::exit(
        0); // NOLINT(concurrency-mt-unsafe): with all that a process does at its end, a search for leaks too
}

// The status that the child ended with.
int Await(pid_t child)
{
    const Progress& progress = Progress::Shared();
    uint64_t lastSign = progress.seconds;
    auto since = std::chrono::steady_clock::now();
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (progress.seconds != lastSign) {
            lastSign = progress.seconds;
            since = std::chrono::steady_clock::now();
        } else if (std::chrono::steady_clock::now() - since > longestSilence) {
            std::cout << "no sign of life, ended: ";
            kill(child, SIGABRT);
            since = std::chrono::steady_clock::now();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return status;
}

void TellEnd(const std::string& how)
{
    ++Progress::Shared().findings;
    std::cout << "FINDING " << Progress::Shared().text << ": " << how << std::endl;
}

} // namespace

Progress& Progress::Shared()
{
    static Progress* const shared = [] {
        void* const memory =
            mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::runtime_error("no shared memory");
        }
        return new (memory) Progress{};
    }();
    return *shared;
}

std::vector<std::size_t> Spread(std::size_t count, std::size_t most, unsigned seed)
{
    std::vector<std::size_t> spread;
    const std::size_t stride = most == 0 || count == 0 ? 1 : (count + most - 1) / most;
    for (std::size_t index = seed % stride; index < count; index += stride) {
        spread.push_back(index);
    }
    return spread;
}

void Progress::BeginPoint(std::size_t index, const std::string& what)
{
    point = index;
    ++seconds;
    static_cast<void>(std::snprintf(text, sizeof(text), "%s", what.c_str()));
}

void Progress::Tell(const std::string& what)
{
    ++findings;
    std::cout << "FINDING " << text << ": " << what << std::endl;
}

Tally TryPoints(const Points& points, const Choice& choice)
{
    Progress& progress = Progress::Shared();
    progress.point = 0;
    progress.tried = 0;
    progress.missed = 0;
    progress.findings = 0;
    progress.finished = false;
    while (!progress.finished) {
        const std::size_t first = progress.point;
        static_cast<void>(std::snprintf(progress.text, sizeof(progress.text), "%s: before the first point",
                                        points.name.c_str()));
        std::cout << std::flush;
        const pid_t child = fork();
        if (child == 0) {
            TryFrom(points, choice, first);
        }
        const int status = Await(child);
        if (WIFSIGNALED(status)) {
            TellEnd("signal " + std::to_string(WTERMSIG(status)));
        } else if (WEXITSTATUS(status) != 0) {
            TellEnd("the process ended with " + std::to_string(WEXITSTATUS(status)) + " (points " +
                    std::to_string(first) + " to " + std::to_string(progress.point) + ")");
        }
        if (status != 0 && !progress.finished && progress.point < first + points.inOneProcess) {
            if (std::strstr(progress.text, "before the first point") != nullptr) {
                break;
            }
            ++progress.point; // the one that ended the process
            ++progress.tried;
        }
    }
    return {progress.tried, progress.missed, progress.findings};
}

} // namespace faults
