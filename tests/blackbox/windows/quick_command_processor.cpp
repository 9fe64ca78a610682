// Stands for the command processor in the folder that the tests run in, where Windows looks for it first, and
// prints a listing of the system at once: Wine's own takes half a second for it, at each start of the
// library.
#include <cstdio>
#include <cstring>

int main(int count, char** arguments)
{
    if (count < 5 || std::strcmp(arguments[1], "/c") != 0 || std::strcmp(arguments[2], "wmic") != 0) {
        return 1;
    }
    std::puts("\n\nCaption=Quick Windows\nCSDVersion=\nMUILanguages={\"cs-CZ\"}\n"
              "OSArchitecture=64-bit\nVersion=10.0.1\n");
    return 0;
}
