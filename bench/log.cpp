// A call whose lines go into the log file, beside the bare system calls of its lines.
#include "bench/folder.h"
#include "bench/guarded.h"
#include "bench/registration.h"
#include "bench/works.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace bench {
namespace {

// Few enough that the file is not retired meanwhile, at 2 MiB: that is another cost, of one line in thousands.
constexpr int64_t calls = 5000;

std::filesystem::path LogFile()
{
    return Folder() / "homes/info/state/Pkcs11.log";
}

std::size_t LinesOf(const Bytes& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// What one call adds to the log.
Bytes LinesOfOneCall(Token<Packed>& token)
{
    const auto before = std::filesystem::file_size(LogFile());
    Works<Packed>::SessionInfo(token);
    Bytes lines(std::filesystem::file_size(LogFile()) - before);
    const int file = open(LogFile().c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t got = pread(file, lines.data(), lines.size(), static_cast<off_t>(before));
    close(file);
    if (got != static_cast<ssize_t>(lines.size()) || LinesOf(lines) == 0) {
        throw std::runtime_error("the call writes no line");
    }
    return lines;
}

void CallWithLog(benchmark::State& state, Token<Packed>& token)
{
    std::filesystem::resize_file(LogFile(), 0);
    for ([[maybe_unused]] auto ignored : state) {
        Works<Packed>::SessionInfo(token);
    }
}

// The same bytes in as many pieces as there are lines, and the size of the file of that name after each: another process may
// have put another file there.
void BareCalls(benchmark::State& state, const Bytes& lines)
{
    const std::filesystem::path path = LogFile().replace_filename("bare.log");
    const int file =
        open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    const std::size_t pieces = std::max<std::size_t>(LinesOf(lines), 1);
    const std::size_t length = lines.size() / pieces;
    struct stat facts
    {
    };
    for ([[maybe_unused]] auto ignored : state) {
        for (std::size_t i = 0; i < pieces; ++i) {
            benchmark::DoNotOptimize(write(file, lines.data() + (i * length), length));
            benchmark::DoNotOptimize(stat(path.c_str(), &facts));
        }
    }
    close(file);
    std::filesystem::remove(path);
}

void Run()
{
    UseHome("info");
    Token<Packed> token(LibraryFile());
    const Bytes lines = LinesOfOneCall(token);
    AddMeasurement("session info, logged/library", [&](auto& state) {
        CallWithLog(state, token);
    })->Iterations(calls);
    AddMeasurement("session info, logged/write and size", [&](auto& state) {
        BareCalls(state, lines);
        state.counters["lines"] = static_cast<double>(LinesOf(lines));
    })->Iterations(calls);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

} // namespace
} // namespace bench

int main(int count, char** arguments)
{
    benchmark::Initialize(&count, arguments);
    return bench::Guarded(bench::Run);
}
