// Loads the library that is named and prints what it takes its host for.
#include "tests/support/system.h"

#include <iostream>

int main(int count, char** arguments)
{
    if (count != 2) {
        return 2;
    }
    void* probe = blackbox::Load(arguments[1]);
    std::cout << reinterpret_cast<int (*)()>(blackbox::SymbolOf(probe, "LoadFactsProbe_JavaLauncherHost"))();
    return 0;
}
