// tavrik-scripted-pinentry: a pinentry whose user is a file, for tests and demonstrations.
//
// TAVRIK_PINENTRY_ANSWERS names a file; each GETPIN takes its first line away and answers with it. The line
// CANCEL, a file without a line and a missing file answer as a user who cancels. TAVRIK_PINENTRY_LOG names a
// file that the texts are appended to.
#include "softcard/cardapi/system/assuan_server.h"
#include "softcard/system/environment.h"
#include "softcard/system/files.h"

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>

namespace {

void LogText(const std::string& command, const std::string& text)
{
    const std::filesystem::path path = softcard::PathFromEnvironment("TAVRIK_PINENTRY_LOG");
    if (!path.empty()) {
        std::ofstream(path, std::ios::app | std::ios::binary) << command << ' ' << text << '\n';
    }
}

// The first line of the file, which loses it. Answers of several processes are handed out one by one.
std::string TakeAnswer(const std::filesystem::path& path)
{
    std::filesystem::path lockFile = path;
    lockFile += ".lock";
    const softcard::FileLock lock(lockFile);
    const std::string content = softcard::ReadFile(path, softcard::Links::followed);
    const size_t end = content.find('\n');
    const std::string rest = end == std::string::npos ? std::string() : content.substr(end + 1);
    softcard::WriteFileAtomically(path, rest);
    return content.substr(0, end);
}

std::optional<std::string> Answer()
{
    const std::filesystem::path path = softcard::PathFromEnvironment("TAVRIK_PINENTRY_ANSWERS");
    if (path.empty()) {
        return std::nullopt;
    }
    try {
        std::string answer = TakeAnswer(std::filesystem::absolute(path));
        return answer.empty() || answer == "CANCEL" ? std::nullopt : std::optional(std::move(answer));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace

int main()
{
    if (!softcard::ServeAsPinentry({LogText, Answer})) {
        std::cerr << "tavrik-scripted-pinentry: the protocol cannot be started.\n";
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
