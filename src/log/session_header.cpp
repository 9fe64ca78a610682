#include "src/log/session_header.h"

#include "src/log/logger.h"
#include "src/platform/platform.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <numeric>
#include <string>
#include <vector>

namespace {

using Send = std::function<void(const char* text)>;

constexpr char versionText[] = "v4.8_RC2";
constexpr std::size_t pieceSize = 1024;
constexpr std::size_t longestPath = 255;        // bytes of the executable's path
constexpr std::size_t longestShortListing = 32; // a listing of so many bytes says nothing
constexpr int oldestListedSystem = 6;           // major version
constexpr char columnTitles[] =
    "\r\nLog Level; Time; Module; Description; Thread; VERB: Function; Verbose Description\r\n";
constexpr char dashes[] = "-----------------------------------------------------------------------";
static_assert(sizeof(dashes) - 1 == 71);

void SendHost(const Send& send)
{
    char piece[pieceSize] = {};
    FormatInto(piece, sizeof(piece) - 1, "CardAPI, version: %s\r\n", versionText);
    send(piece);
    const std::string path = Platform::PrintablePath(Platform::ExecutablePath(), longestPath);
    FormatInto(piece, sizeof(piece) - 1, "Process name: %s\r\n", path.c_str());
    send(piece);
    send("Process Architecture: ");
    send("x64\r\n");
}

// Without a line end: what follows stands on the same line.
std::string FallbackText(const OsVersion& version)
{
    char text[128] = {};
    FormatInto(text, sizeof(text) - 1, "%s %i.%i.%i %s", "x64 \r\n", version.majorNumber, version.minorNumber,
               version.buildNumber, version.servicePack.c_str());
    return text;
}

std::vector<std::string> LinesWithoutReturns(std::string listing)
{
    std::erase(listing, '\r');
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < listing.size();) {
        const auto end = std::min(listing.find('\n', begin), listing.size());
        lines.push_back(listing.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

// The values of the listing's "name=value" lines, each with a blank behind it.
std::string ListingText(const std::string& listing)
{
    const auto lines = LinesWithoutReturns(listing);
    // As long as the lines with a byte for each line's end, the last of which is the terminator's.
    const auto size = std::accumulate(lines.begin(), lines.end(), std::size_t{0},
                                      [](auto sum, const auto& line) { return sum + line.size() + 1; });
    std::string text;
    for (const auto& line : lines) {
        const auto sign = line.find('=');
        text.append(sign == std::string::npos ? line : line.substr(sign + 1)).append(" ");
    }
    text.append("\r\n");
    text.resize(std::min(text.size(), size == 0 ? 0 : size - 1));
    return text;
}

std::string OsText(const LogSystem& system)
{
    const OsVersion version = system.osVersion();
    if (version.majorNumber < oldestListedSystem) {
        return FallbackText(version);
    }
    std::string listing;
    system.runCommand(Platform::OsListingCommand(), listing);
    return listing.size() <= longestShortListing ? FallbackText(version) : ListingText(listing);
}

void SendDateAndTitles(const Send& send, const LogSystem& system)
{
    char dateTime[32] = {};
    const std::tm now = Platform::LocalTime(system.calendarTime());
    static_cast<void>(std::strftime(dateTime, sizeof(dateTime), "%Y-%m-%d %H:%M:%S", &now));
    char piece[pieceSize] = {};
    FormatInto(piece, sizeof(piece), "DateTime: %s%s%s\r\n\r\n", dateTime, columnTitles, dashes);
    send(piece);
}

} // namespace

void WriteSessionHeader(const LogSystem& system, const Send& send)
{
    SendHost(send);
    send("Operating system: ");
    static_cast<void>(std::fflush(stdout)); // before a child process gets hold of it
    send(OsText(system).c_str());
    SendDateAndTitles(send, system);
}
