#include "tests/tools/run_tool.h"

#include "tests/support/program.h"

ToolRun RunTool(const std::vector<std::string>& arguments)
{
    std::vector<std::string> words = {LOG_TOOL};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const softcard::test::Finished finished = softcard::test::RunProgram(words);
    return {finished.exitCode, finished.output + finished.errors};
}
