// A program that does what its first argument says, for the tests of programs that are run and asked.
#include "softcard/base/text.h"
#include "tools/command_line/system/program_start.h"
#include "tools/tavrik-setup/doctor/system/windows/asked_program.h"

#include <cstdlib>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include <windows.h>

using nlohmann::json;

namespace {

constexpr size_t longAnswer = 300000; // bytes, more than a pipe holds
constexpr size_t tooMuch = 9000000;   // bytes, more than an answer may have
constexpr int exitCode = 3;

json Answer(const std::string& what)
{
    std::cout << "noise" << std::endl;
    std::cerr << "noise" << std::endl;
    if (what == "crash") {
        RaiseException(EXCEPTION_ACCESS_VIOLATION, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    }
    if (what == "abort") {
        std::abort();
    }
    if (what == "end") {
        TerminateProcess(GetCurrentProcess(), 0);
    }
    if (what == "throw") {
        throw std::runtime_error("x");
    }
    return json{{"long", std::string(what == "much" ? tooMuch : longAnswer, 'x')}};
}

int Run(const std::vector<std::string>& arguments)
{
    const std::string& what = arguments.at(0);
    if (what == "arguments") {
        std::cout << json(arguments).dump();
        return 0;
    }
    if (what == "echo") {
        std::cout << std::string(std::istreambuf_iterator<char>(std::cin), {}) << std::flush;
        std::cerr << "wrong\n";
        return exitCode;
    }
    if (what == "talk") {
        std::cout << std::string(longAnswer, 'x');
        return 0;
    }
    if (what == "hang") {
        Sleep(INFINITE);
    }
    setup::AnswerAndEnd([&what] { return Answer(what); });
}

} // namespace

int main(int count, char** values)
{
    return Run(command_line::StartProgram(count, values));
}
