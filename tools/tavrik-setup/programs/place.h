// Where things are on this machine.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace setup {

struct Place
{
    std::filesystem::path root;   // of the system whose files are meant, usually "/"
    std::filesystem::path home;   // of the user; empty when there is none
    std::filesystem::path config; // folder of our own for the user
    std::filesystem::path state;  // the same for what is kept about the past
    std::filesystem::path module; // the front, by the path that programs are given
    std::string sshHosts;         // which hosts ssh uses the card for; empty when nothing was said

    // The path of a file of the system, which is given as from its root.
    [[nodiscard]] std::filesystem::path System(std::string_view path) const;

    // The path of a program in the folders of the system, whatever PATH says; empty when it is not there.
    [[nodiscard]] std::filesystem::path Command(std::string_view name) const;
};

// For the user whose rights this program has. An empty `module` is the front that is installed with this program. Throws
// Refusal when there is none.
Place FindPlace(const std::filesystem::path& root, const std::filesystem::path& module);

} // namespace setup
