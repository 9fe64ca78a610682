#include "tools/tavrik-setup/files/difference.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace setup {
namespace {

constexpr size_t linesAround = 3;

// The last may lack its end, and then differs from one that has it.
std::vector<std::string_view> LinesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back(text.substr(0, length));
        text.remove_prefix(length);
    }
    return lines;
}

void Append(std::string& target, char mark, const std::vector<std::string_view>& lines, size_t from,
            size_t to)
{
    for (size_t i = from; i < to; ++i) {
        target += mark;
        target += lines[i];
        if (lines[i].back() != '\n') {
            target += "\n\\ without an end of line\n";
        }
    }
}

} // namespace

std::string Difference(std::string_view before, std::string_view after)
{
    if (before == after) {
        return {};
    }
    const std::vector<std::string_view> old = LinesOf(before);
    const std::vector<std::string_view> young = LinesOf(after);
    const auto first = std::mismatch(old.begin(), old.end(), young.begin(), young.end());
    const auto last = std::mismatch(old.rbegin(), std::make_reverse_iterator(first.first), young.rbegin(),
                                    std::make_reverse_iterator(first.second));
    const auto begin = static_cast<size_t>(first.first - old.begin());
    const auto oldEnd = static_cast<size_t>(last.first.base() - old.begin());
    const auto youngEnd = static_cast<size_t>(last.second.base() - young.begin());
    std::string shown;
    Append(shown, ' ', old, begin - std::min(begin, linesAround), begin);
    Append(shown, '-', old, begin, oldEnd);
    Append(shown, '+', young, begin, youngEnd);
    Append(shown, ' ', old, oldEnd, std::min(oldEnd + linesAround, old.size()));
    return shown;
}

} // namespace setup
