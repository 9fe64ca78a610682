#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/files/text_line.h"
#include "tools/tavrik-setup/programs/file_kind.h"

namespace setup {

bool OwnFile::IsIn(const std::string& content) const
{
    return content == text || (!telling.empty() && HasLine(content, telling));
}

Piece OwnFile::PieceFor(const std::optional<std::string>& content) const
{
    if (content && !content->empty()) {
        throw Refusal("It is there already and holds something else.");
    }
    return {0, text};
}

std::string OwnFile::Without(const std::string& content, const Piece& piece) const
{
    if (content.empty() || content == piece.text) {
        return {};
    }
    throw Refusal("It was changed since.");
}

std::string OwnFile::ByHand() const
{
    return toAdd.empty() ? text : toAdd;
}

} // namespace setup
