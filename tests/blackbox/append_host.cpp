// A process that appends to a file that others append to at the same time, as the library does to its log.
//
//     append_host FILE NAME LINES
//
// appends so many lines, each with the name, its number from 0 on and an end mark: "NAME 17 end\r\n".
#include "src/platform/regular_file.h"

#include <iostream>
#include <stdexcept>
#include <string>

int main(int count, char** arguments)
{
    try {
        if (count != 4) {
            throw std::runtime_error("usage: append_host FILE NAME LINES");
        }
        const std::string name = arguments[2];
        const int lines = std::stoi(arguments[3]);
        AppendedFile file;
        file.Open(arguments[1]);
        for (int line = 0; line < lines; ++line) {
            file.Write(name + " " + std::to_string(line) + " end\r\n");
        }
        return 0;
    } catch (const std::exception& exception) {
        std::cerr << "append_host: " << exception.what() << '\n';
        return 1;
    }
}
