#include "tools/tavrik-setup/files/program_run.h"

#include "tools/tavrik-setup/files/system/windows/piped_run.h"

namespace setup {
namespace {

constexpr size_t longestOutput = 65536;

} // namespace

ProgramResult RunProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                         std::chrono::seconds longest, const std::string& input)
{
    const PipedRun run =
        RunPiped(program, arguments, {longest, longestOutput, Excess::dropped}, input, Errors::kept);
    return {run.inTime ? static_cast<int>(run.exitCode) : -1, run.output, run.inTime};
}

} // namespace setup
