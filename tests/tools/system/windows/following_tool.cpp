#include "softcard/system/windows/command_line.h"
#include "softcard/system/windows/handle.h"
#include "tests/tools/run_tool.h"

#include <array>
#include <chrono>
#include <stdexcept>
#include <thread>

struct FollowingTool::Running
{
    // -1 when it was awaited before, or does not end.
    int Await()
    {
        constexpr DWORD longest = 30000;
        DWORD exitCode = 0;
        if (!process || WaitForSingleObject(process.get(), longest) != WAIT_OBJECT_0 ||
            GetExitCodeProcess(process.get(), &exitCode) == FALSE) {
            return -1;
        }
        process.reset();
        return static_cast<int>(exitCode);
    }

    softcard::Handle process;
    softcard::Handle reading;
};

FollowingTool::FollowingTool(std::vector<std::string> arguments) : running(std::make_unique<Running>())
{
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE reading = nullptr;
    HANDLE writing = nullptr;
    constexpr DWORD room = 1U << 20U; // for all that a test lets it write before it reads
    if (CreatePipe(&reading, &writing, &inherited, room) == FALSE) {
        throw std::runtime_error("no pipe");
    }
    running->reading.reset(reading);
    const softcard::Handle end(writing);
    SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdOutput = writing;
    start.hStdError = writing;
    PROCESS_INFORMATION made{};
    arguments.insert(arguments.begin(), "--follow");
    const std::filesystem::path program = std::filesystem::absolute(LOG_TOOL).make_preferred();
    std::wstring line = softcard::CommandLineOf(program, arguments);
    if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                       &made) == FALSE) {
        throw std::runtime_error("cannot be started: " LOG_TOOL);
    }
    CloseHandle(made.hThread);
    running->process.reset(made.hProcess);
}

FollowingTool::~FollowingTool()
{
    CloseReader();
}

std::string FollowingTool::ReadUntil(const std::string& text)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (output.find(text) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        DWORD ready = 0;
        if (PeekNamedPipe(running->reading.get(), nullptr, 0, nullptr, &ready, nullptr) == FALSE) {
            break;
        }
        if (ready == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        std::array<char, 4096> block{};
        DWORD got = 0;
        if (ReadFile(running->reading.get(), block.data(), static_cast<DWORD>(block.size()), &got, nullptr) ==
            FALSE) {
            break;
        }
        output.append(block.data(), got);
    }
    return output;
}

int FollowingTool::CloseReader()
{
    running->reading.reset();
    return running->Await();
}
