// Runs tavrik-log among the shell's pipes and on a terminal.
#pragma once

#include "tests/tools/run_tool.h"

#include <string>

// With the arguments as they would be typed; `before` stands in front of the program, `behind` after the arguments.
ToolRun RunToolInShell(const std::string& arguments, const std::string& before = "",
                       const std::string& behind = "");

// With a terminal of so many columns; "\r\n" is given as "\n".
ToolRun RunToolOnTerminal(const std::string& arguments, unsigned short columns,
                          const std::string& before = "");
