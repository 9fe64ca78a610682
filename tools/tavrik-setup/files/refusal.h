#pragma once

#include <stdexcept>

namespace setup {

// What is not done, as a sentence for the user that names the file or the program.
class Refusal : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace setup
