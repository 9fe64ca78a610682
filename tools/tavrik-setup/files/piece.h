// What was put into a text.
#pragma once

#include <cstddef>
#include <string>

namespace setup {

struct Piece
{
    size_t offset = 0;
    std::string text;
};

inline std::string WithPiece(std::string content, const Piece& piece)
{
    return content.insert(piece.offset, piece.text);
}

} // namespace setup
