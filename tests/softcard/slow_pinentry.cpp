// softcard_slow_pinentry: a pinentry that makes the file SLOW_PINENTRY_ASKED, and when somebody has made the
// file SLOW_PINENTRY_GO_ON, answers with the first line of the file TAVRIK_PINENTRY_ANSWERS. It ends when the first of these
// files is taken away, as a test's folder is.
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
    const auto asked = PathFromEnvironment("SLOW_PINENTRY_ASKED");
    std::ofstream(asked) << "asked\n";
    while (!std::filesystem::exists(PathFromEnvironment("SLOW_PINENTRY_GO_ON"))) {
        if (!std::filesystem::exists(asked)) {
            return EXIT_FAILURE;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::string answer;
    std::getline(std::ifstream(PathFromEnvironment("TAVRIK_PINENTRY_ANSWERS")), answer);
    const softcard::PinentryBehaviour user{[](const std::string&, const std::string&) {},
                                           [&answer] { return std::optional(answer); }};
    return softcard::ServeAsPinentry(user) ? EXIT_SUCCESS : EXIT_FAILURE;
}
