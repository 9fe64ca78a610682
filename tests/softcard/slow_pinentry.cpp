// softcard_slow_pinentry: a pinentry that makes the file SLOW_PINENTRY_ASKED, and when somebody has made the
// file SLOW_PINENTRY_GO_ON, answers with the first line of the file TAVRIK_PINENTRY_ANSWERS.
#include "softcard/cardapi/system/assuan_server.h"
#include "softcard/system/environment.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

int main()
{
    using softcard::PathFromEnvironment;
    std::ofstream(PathFromEnvironment("SLOW_PINENTRY_ASKED")) << "asked\n";
    while (!std::filesystem::exists(PathFromEnvironment("SLOW_PINENTRY_GO_ON"))) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::string answer;
    std::getline(std::ifstream(PathFromEnvironment("TAVRIK_PINENTRY_ANSWERS")), answer);
    const softcard::PinentryBehaviour user{[](const std::string&, const std::string&) {},
                                           [&answer] { return std::optional(answer); }};
    return softcard::ServeAsPinentry(user) ? EXIT_SUCCESS : EXIT_FAILURE;
}
