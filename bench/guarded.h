// What the main function of each program here returns.
#pragma once

#include <exception>
#include <iostream>

namespace bench {

// 0, or 1 with what was wrong on the standard error.
template <typename Work>
int Guarded(Work work)
{
    try {
        work();
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}

} // namespace bench
