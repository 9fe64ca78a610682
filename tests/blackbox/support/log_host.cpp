#include "log_host.h"

#include "black_box_test.h"

#include <fstream>
#include <iterator>

namespace BlackBox {
namespace {

std::filesystem::path LogHost()
{
    return std::filesystem::canonical("/proc/self/exe").parent_path() / "log_host";
}

std::string Quoted(const std::filesystem::path& path)
{
    return "'" + path.string() + "'";
}

} // namespace

std::string LogHostCommand(const std::filesystem::path& directory, int calls, const std::string& option,
                           const std::filesystem::path& program)
{
    return Quoted(program.empty() ? LogHost() : program) + " " + Quoted(ScriptedFolder()) + " " +
           Quoted(directory) + " " + std::to_string(calls) + " " + option;
}

std::filesystem::path CopyOfLogHost(const std::filesystem::path& directory, const std::string& name)
{
    auto copy = directory / name;
    std::filesystem::copy_file(LogHost(), copy);
    return copy;
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

} // namespace BlackBox
