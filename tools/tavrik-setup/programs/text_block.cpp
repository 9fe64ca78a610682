#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/files/text_line.h"
#include "tools/tavrik-setup/programs/file_kind.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace setup {
namespace {

std::string_view FirstWord(std::string_view line)
{
    line = Trimmed(line);
    return line.substr(0, line.find_first_of(" \t="));
}

// At the beginning of a line, and all of it.
size_t FindLine(const std::string& content, const std::string& line, size_t from)
{
    size_t at = content.find(line, from);
    while (at != std::string::npos) {
        const size_t behind = at + line.size();
        if ((at == 0 || content[at - 1] == '\n') && (behind == content.size() || content[behind] == '\n')) {
            return at;
        }
        at = content.find(line, at + 1);
    }
    return at;
}

} // namespace

TextBlock::TextBlock(const std::string& itsProgram, std::vector<std::string> itsLines,
                     std::vector<std::string> itsTelling, std::vector<std::string> itsExclusive)
    : begin("# Begin of what tavrik-setup has put here. \"tavrik-setup --undo " + itsProgram +
            "\" takes it away."),
      end("# End of what tavrik-setup has put here."), lines(std::move(itsLines)),
      telling(std::move(itsTelling)), exclusive(std::move(itsExclusive))
{
}

bool TextBlock::IsIn(const std::string& content) const
{
    return std::all_of(telling.begin(), telling.end(),
                       [&content](const std::string& line) { return HasLine(content, line); });
}

Piece TextBlock::PieceFor(const std::optional<std::string>& content) const
{
    if (!content) {
        return {0, Text()};
    }
    if (content->find('\0') != std::string::npos) {
        throw Refusal("It is no text.");
    }
    std::istringstream stream(*content);
    for (std::string line; std::getline(stream, line);) {
        if (std::find(exclusive.begin(), exclusive.end(), FirstWord(line)) != exclusive.end()) {
            throw Refusal("It has a line \"" + std::string(Trimmed(line)) + "\" already.");
        }
    }
    const bool endsInLine = !content->empty() && content->back() != '\n';
    return {content->size(), (endsInLine ? "\n" : "") + Text()};
}

// The end of the line before was put in with the block, and stays when lines have come behind the block.
std::string TextBlock::Without(const std::string& content, const Piece& piece) const
{
    const auto span = Find(content);
    if (!span) {
        if (content.find(begin) != std::string::npos) {
            throw Refusal("The comment that ends the block of tavrik-setup is gone.");
        }
        return content;
    }
    const bool isLast = span->end == content.size();
    const bool endedLine = piece.text.front() == '\n' && span->begin > 0;
    const size_t first = span->begin - (isLast && endedLine ? 1 : 0);
    return content.substr(0, first) + content.substr(span->end);
}

std::string TextBlock::ByHand() const
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

std::optional<TextBlock::Span> TextBlock::Find(const std::string& content) const
{
    const size_t first = FindLine(content, begin, 0);
    const size_t last = first == std::string::npos ? first : FindLine(content, end, first);
    if (last == std::string::npos) {
        return std::nullopt;
    }
    return Span{first, std::min(last + end.size() + 1, content.size())};
}

std::string TextBlock::Text() const
{
    return begin + "\n" + ByHand() + end + "\n";
}

} // namespace setup
