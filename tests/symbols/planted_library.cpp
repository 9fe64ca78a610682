// What somebody has left in a folder under the name of a library that is looked for. Ends the process that
// loads it.
#include <unistd.h>

namespace {

constexpr int planted = 66;

[[gnu::constructor]] void Loaded()
{
    _exit(planted);
}

} // namespace
