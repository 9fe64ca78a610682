// A PKCS#11 module as the operating system loads it, and what else the examples ask the system for.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// Throws std::runtime_error, with what the system says, when the module can't be loaded. Windows looks for what it needs in
// its folder, then among the system's own libraries, and nowhere else.
void* LoadModule(const std::filesystem::path& file);

// Null when the module has no such function.
void* FunctionOf(void* module, const char* name);

// The library as it stands after a build, from the folder of the running program. The system is asked for that, since a
// program that was found by its name alone has no folder in its first word.
std::filesystem::path LibraryBesideProgram();

// The words of the command line behind the program's name, in UTF-8. From then on terminals take what is written for UTF-8.
std::vector<std::string> WordsOf(int count, char** words);
