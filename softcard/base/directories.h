// The folders of the configuration and of the state.
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

} // namespace softcard
