#include "tests/softcard/card_home.h"

#include <utility>

namespace softcard::test {

Finished RunTool(std::vector<std::string> arguments)
{
    return StartTool(std::move(arguments));
}

} // namespace softcard::test
