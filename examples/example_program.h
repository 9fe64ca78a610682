// What the example programs have around their own work.
#pragma once

#include <exception>
#include <filesystem>
#include <iostream>

// The library as it stands after a build: in lib/, beside the program's bin/.
inline std::filesystem::path LibraryBesideProgram(const char* program)
{
    return std::filesystem::absolute(program).parent_path() / "../lib/libpkcs11_x64.so";
}

// Reads the command line, with a reader that gives an optional, and does the work with what it gave. Returns
// the exit status: 2, with the usage, for a command line that makes no sense, and 1, with one sentence, for
// work that failed.
template <typename Reader, typename Work>
int RunProgram(const char* name, const char* usage, Reader&& readOptions, Work&& work)
{
    try {
        const auto options = readOptions();
        if (!options) {
            std::cerr << usage;
            return 2;
        }
        work(*options);
        return 0;
    } catch (const std::exception& error) {
        std::cout << std::flush;
        std::cerr << name << ": " << error.what() << "\n";
        return 1;
    }
}
