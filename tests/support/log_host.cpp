#include "tests/support/log_host.h"

#include "tests/support/black_box_test.h"
#include "tests/support/system.h"

#include <fstream>
#include <iterator>
#include <thread>

namespace blackbox {

std::filesystem::path ProgramBeside(const std::string& name)
{
    return RunningProgram().replace_filename(name).replace_extension(RunningProgram().extension());
}

std::string LogHostCommand(const std::filesystem::path& directory, int calls, const std::string& option,
                           const std::filesystem::path& program)
{
    return Quoted(program.empty() ? ProgramBeside("log_host") : program) + " " + Quoted(ScriptedFolder()) +
           " " + Quoted(directory) + " " + std::to_string(calls) + " " + option;
}

void RunLogHosts(const std::filesystem::path& directory, unsigned hosts, int calls)
{
    RunTogether(std::vector(hosts, LogHostCommand(directory, calls)));
}

void RunTogether(const std::vector<std::string>& commands)
{
    std::vector<std::thread> running;
    running.reserve(commands.size());
    for (const std::string& command : commands) {
        running.emplace_back([&command] { EXPECT_NO_THROW(OutputOf(command)); });
    }
    for (std::thread& one : running) {
        one.join();
    }
}

std::filesystem::path CopyOfProgram(const std::string& program, const std::filesystem::path& directory,
                                    const std::string& name)
{
    auto copy = directory / name;
    std::filesystem::remove(copy); // what has the name in other letters, where that counts for nothing
    std::filesystem::copy_file(ProgramBeside(program), copy);
    return copy;
}

std::filesystem::path CopyOfLogHost(const std::filesystem::path& directory, const std::string& name)
{
    return CopyOfProgram("log_host", directory, name);
}

std::string ReadFile(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void WriteFile(const std::filesystem::path& file, const std::string& text)
{
    std::ofstream(file, std::ios::binary) << text;
}

void ConfigureSinks(const std::filesystem::path& directory, const std::string& sinks)
{
    WriteFile(directory / "config.json", "{\"log\": {" + sinks + R"(, "logFromLevel": "LogLevel_Debug"}})");
}

std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    size_t begin = 0;
    for (size_t end = text.find("\r\n"); end != std::string::npos; end = text.find("\r\n", begin)) {
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 2;
    }
    return lines;
}

size_t CountOf(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t found = text.find(part); found != std::string::npos;
         found = text.find(part, found + part.size())) {
        ++count;
    }
    return count;
}

} // namespace blackbox
