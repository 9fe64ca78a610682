// Runs the program log_host, and writes and reads files of the library.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace blackbox {

// The shell command that runs log_host, or the copy of it that is given, with the library's files in
// `directory`.
std::string LogHostCommand(const std::filesystem::path& directory, int calls, const std::string& option = "",
                           const std::filesystem::path& program = {});

// Runs so many log_hosts at once, each with so many calls, to their end.
void RunLogHosts(const std::filesystem::path& directory, unsigned hosts, int calls);

// Runs the shell commands at once, each to its end.
void RunTogether(const std::vector<std::string>& commands);

// The file of a program that lies beside the running one.
std::filesystem::path ProgramBeside(const std::string& name);

// A copy, under another name, of a program that lies beside the running one; it goes with the directory.
std::filesystem::path CopyOfProgram(const std::string& program, const std::filesystem::path& directory,
                                    const std::string& name);

// Such a copy of log_host.
std::filesystem::path CopyOfLogHost(const std::filesystem::path& directory, const std::string& name);

std::string ReadFile(const std::filesystem::path& file); // empty when there is none
void WriteFile(const std::filesystem::path& file, const std::string& text);

// Writes a configuration, with these settings of sinks, whose log has everything.
void ConfigureSinks(const std::filesystem::path& directory, const std::string& sinks);

// Of a text with "\r\n" behind each line.
std::vector<std::string> LinesOf(const std::string& text);

// How often the part stands in the text.
size_t CountOf(const std::string& text, const std::string& part);

} // namespace blackbox
