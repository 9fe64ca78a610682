// --seconds=N: threads, sessions and changing cards, for that long. --cycles=N: so many starts of the library and of the
// front. With --seed=N the threads and cards do something else; --rounds=N divides the seconds.
#include "tests/load/cycles.h"
#include "tests/load/load.h"

#include <charconv>
#include <exception>
#include <iostream>
#include <optional>
#include <string_view>

namespace {

std::optional<unsigned> Value(std::string_view argument, std::string_view option)
{
    unsigned number = 0;
    if (!argument.starts_with(option)) {
        return std::nullopt;
    }
    argument.remove_prefix(option.size());
    const auto read = std::from_chars(argument.data(), argument.data() + argument.size(), number);
    return read.ec == std::errc{} && read.ptr == argument.data() + argument.size() ? std::optional(number)
                                                                                   : std::nullopt;
}

int Run(int count, char** arguments)
{
    load::Size size;
    std::optional<unsigned> seconds;
    std::optional<unsigned> cycles;
    for (int place = 1; place < count; ++place) {
        const std::string_view argument = arguments[place];
        if (const auto time = Value(argument, "--seconds=")) {
            seconds = time;
        } else if (const auto starts = Value(argument, "--cycles=")) {
            cycles = starts;
        } else if (const auto seed = Value(argument, "--seed=")) {
            size.seed = *seed;
        } else if (const auto rounds = Value(argument, "--rounds="); rounds && *rounds > 0) {
            size.rounds = *rounds;
        } else {
            std::cerr << "Usage: load_test [--seconds=N] [--cycles=N] [--seed=N] [--rounds=N]\n";
            return 2;
        }
    }
    bool right = seconds.has_value() || cycles.has_value();
    if (cycles) {
        right = load::RunCycles(*cycles) && right;
    }
    if (seconds) {
        size.time = std::chrono::seconds(*seconds);
        right = load::RunLoad(size) && right;
    }
    return right ? 0 : 1;
}

} // namespace

int main(int count, char** arguments)
{
    try {
        return Run(count, arguments);
    } catch (const std::exception& error) {
        std::cerr << "load_test: " << error.what() << '\n';
        return 1;
    }
}
