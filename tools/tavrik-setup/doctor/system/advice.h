// What to do, where it depends on the system.
#pragma once

namespace setup {

struct Advice
{
    const char* installFront;
    const char* installCardLayer;
    const char* readers;   // when they cannot be listed
    const char* logFolder; // when it cannot be written to
};

const Advice& SystemAdvice();

} // namespace setup
