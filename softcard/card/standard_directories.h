// Where everything lies.
#pragma once

#include <filesystem>

namespace softcard {

struct Directories
{
    std::filesystem::path config;
    std::filesystem::path state;

    [[nodiscard]] std::filesystem::path Cards() const { return state / "cards"; }
    [[nodiscard]] std::filesystem::path Readers() const { return state / "readers"; }
    [[nodiscard]] std::filesystem::path Authority() const { return state / "authority"; }
};

// TAVRIK_HOME decides when it is set, and else the user's own configuration and state folders do. Both are
// absolute; nothing is made. Throws std::runtime_error, with a sentence for the user, when the user has no
// home folder that can be used.
Directories LocateDirectories();

} // namespace softcard
