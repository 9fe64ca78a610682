#include "tools/tavrik-log/line_filter.h"

#include <algorithm>
#include <string_view>

namespace logtool {
namespace {

// Whether a text is as the pattern says, in which * stands for any text and ? for any character.
bool Matches(std::string_view pattern, std::string_view text)
{
    size_t place = 0;
    size_t star = std::string_view::npos; // the last one that was met, which can stand for more
    size_t behindStar = 0;                // what it stands for ends there in the text
    size_t at = 0;
    while (at < text.size()) {
        if (place < pattern.size() && pattern[place] == '*') {
            star = place++;
            behindStar = at;
        } else if (place < pattern.size() && (pattern[place] == '?' || pattern[place] == text[at])) {
            ++place;
            ++at;
        } else if (star != std::string_view::npos) {
            place = star + 1;
            at = ++behindStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', place) == std::string_view::npos;
}

} // namespace

bool LineFilter::ShowsTime(int file, const LogLine& line)
{
    if (!line.framed) {
        if (const auto begin = ParseHeaderTime(line.text)) {
            sessionBegin[file] = *begin;
        }
        return !choice.since && !choice.until;
    }
    if (!choice.since && !choice.until) {
        return true;
    }
    if (line.time.date) {
        return (!choice.since || *line.time.date >= *choice.since) &&
               (!choice.until || *line.time.date <= *choice.until);
    }
    sawUndated = true;
    const auto begin = sessionBegin.find(file);
    return !choice.until || begin == sessionBegin.end() || begin->second <= *choice.until;
}

bool LineFilter::ShowsFunction(const std::string& function) const
{
    return choice.functions.empty() ||
           std::any_of(choice.functions.begin(), choice.functions.end(),
                       [&](const std::string& pattern) { return Matches(pattern, function); });
}

bool LineFilter::Shows(int file, const LogLine& line)
{
    const bool timeShown = ShowsTime(file, line);
    if (!line.framed) {
        return timeShown && !choice.level && choice.functions.empty();
    }
    if (!choice.functions.empty() && line.function.empty()) {
        sawWithoutFunction = true;
    }
    return timeShown && (!choice.level || line.level <= *choice.level) && ShowsFunction(line.function);
}

std::vector<std::string> LineFilter::Notes() const
{
    std::vector<std::string> notes;
    if (sawUndated) {
        notes.emplace_back(
            "Some lines have no date. Only those of sessions that began after --until are left "
            "out; --since leaves none of them out.");
    }
    if (sawWithoutFunction) {
        notes.emplace_back("Some lines name no function and are left out. \"extensive\" in config.json makes "
                           "the library write it.");
    }
    return notes;
}

} // namespace logtool
