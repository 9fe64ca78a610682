#include "tests/softcard/system/linux/memory.h"

#include "softcard/system/files.h"
#include "softcard/system/linux/file_descriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <unordered_map>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace softcard::test {
namespace {

// A sanitizer's own tables are larger than this, and no memory of the program's.
constexpr uint64_t largestMapping = uint64_t{512} << 20;
constexpr size_t pieceSize = size_t{1} << 20;

// Finds every part of the secrets in one pass: each part is known by its first eight bytes.
class Searcher
{
public:
    explicit Searcher(const Secrets& secrets)
    {
        for (const auto& [name, bytes] : secrets) {
            const size_t length = std::min(shortestPart, bytes.size());
            if (length < sizeof(uint64_t)) {
                throw std::invalid_argument(name + " is too short to be told from chance");
            }
            for (size_t start = 0; start + length <= bytes.size(); ++start) {
                const std::string_view part = std::string_view(bytes).substr(start, length);
                const uint64_t beginning = BeginningOf(part.data());
                parts.emplace(beginning, Part{name, std::string(part)});
                filter[FilterPlace(beginning)] = true;
            }
        }
    }

    void Search(std::string_view memory)
    {
        for (size_t i = 0; i + sizeof(uint64_t) <= memory.size(); ++i) {
            const uint64_t beginning = BeginningOf(memory.data() + i);
            if (!filter[FilterPlace(beginning)]) {
                continue;
            }
            const auto [first, last] = parts.equal_range(beginning);
            for (auto part = first; part != last; ++part) {
                if (memory.substr(i).starts_with(part->second.bytes)) {
                    found.insert(part->second.name);
                }
            }
        }
    }

    [[nodiscard]] std::vector<std::string> Found() const { return {found.begin(), found.end()}; }

private:
    struct Part
    {
        std::string name;
        std::string bytes;
    };

    static constexpr size_t filterBits = 1 << 20;

    static uint64_t BeginningOf(const char* bytes)
    {
        uint64_t beginning = 0;
        std::memcpy(&beginning, bytes, sizeof beginning);
        return beginning;
    }

    static size_t FilterPlace(uint64_t beginning)
    {
        return static_cast<size_t>((beginning * 0x9E3779B97F4A7C15U) >> 44U) % filterBits;
    }

    std::unordered_multimap<uint64_t, Part> parts;
    std::vector<bool> filter = std::vector<bool>(filterBits);
    std::set<std::string> found;
};

struct Mapping
{
    uint64_t begin;
    uint64_t end;
};

std::vector<Mapping> WritableMappings(pid_t process)
{
    std::ifstream list("/proc/" + std::to_string(process) + "/maps");
    std::vector<Mapping> mappings;
    std::string line;
    while (std::getline(list, line)) {
        std::istringstream fields(line);
        Mapping mapping{};
        char dash = 0;
        std::string rights;
        fields >> std::hex >> mapping.begin >> dash >> mapping.end >> rights;
        if (rights.starts_with("rw") && mapping.end - mapping.begin <= largestMapping) {
            mappings.push_back(mapping);
        }
    }
    return mappings;
}

// Piece by piece; what stands across the border of two pieces is in the second one too.
size_t SearchMapping(const FileDescriptor& memory, const Mapping& mapping, Searcher& searcher)
{
    size_t searched = 0;
    std::string piece(pieceSize, '\0');
    for (uint64_t place = mapping.begin; place < mapping.end; place += pieceSize - shortestPart) {
        const size_t wanted = std::min<uint64_t>(pieceSize, mapping.end - place);
        const ssize_t length = pread(memory.Get(), piece.data(), wanted, static_cast<off_t>(place));
        if (length > 0) {
            searcher.Search(std::string_view(piece).substr(0, static_cast<size_t>(length)));
            searched += static_cast<size_t>(length);
        }
    }
    return searched;
}

size_t SearchMemory(pid_t process, Searcher& searcher)
{
    const FileDescriptor memory(
        open(("/proc/" + std::to_string(process) + "/mem").c_str(), O_RDONLY | O_CLOEXEC));
    if (!memory.IsOpen()) {
        throw std::system_error(errno, std::generic_category(), "the memory of the program");
    }
    size_t searched = 0;
    for (const Mapping& mapping : WritableMappings(process)) {
        searched += SearchMapping(memory, mapping, searcher);
    }
    return searched;
}

pid_t StartTraced(const std::filesystem::path& input, const std::vector<std::string>& arguments, int output)
{
    std::vector<char*> values;
    values.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        values.push_back(const_cast<char*>(argument.c_str()));
    }
    values.push_back(nullptr);
    const pid_t process = fork();
    if (process == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        const int source = open(input.c_str(), O_RDONLY);
        dup2(source, STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        execv(values[0], values.data());
        _exit(127);
    }
    return process;
}

int Await(pid_t process)
{
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
    }
    return status;
}

bool StopsAtItsEnd(int status)
{
    return WIFSTOPPED(status) && status >> 8 == (SIGTRAP | (PTRACE_EVENT_EXIT << 8));
}

} // namespace

TracedEnd RunTraced(const std::filesystem::path& input, const std::vector<std::string>& arguments,
                    const Secrets& secrets)
{
    return RunTraced(input, arguments, [&secrets](const std::string& /*output*/) { return secrets; });
}

TracedEnd RunTraced(const std::filesystem::path& input, const std::vector<std::string>& arguments,
                    const SecretsInOutput& secrets)
{
    std::string name = (std::filesystem::temp_directory_path() / "softcard-output-XXXXXX").string();
    const FileDescriptor output(mkostemp(name.data(), O_CLOEXEC));
    TracedEnd end{};
    const pid_t process = StartTraced(input, arguments, output.Get());
    int status = Await(process);
    if (!WIFSTOPPED(status) ||
        ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL) != 0) {
        throw std::runtime_error("The program cannot be traced.");
    }
    int signal = 0; // the first stop is that of the start
    while (WIFSTOPPED(status)) {
        if (StopsAtItsEnd(status)) {
            Searcher searcher(secrets(ReadFile(name)));
            end.bytesSearched = SearchMemory(process, searcher);
            end.found = searcher.Found();
        }
        ptrace(PTRACE_CONT, process, nullptr, signal);
        status = Await(process);
        signal = WIFSTOPPED(status) && !StopsAtItsEnd(status) ? WSTOPSIG(status) : 0;
    }
    end.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    end.output = ReadFile(name);
    std::filesystem::remove(name);
    return end;
}

} // namespace softcard::test
