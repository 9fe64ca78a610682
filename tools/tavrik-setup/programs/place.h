// Where things are on this machine.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace setup {

// Whose settings are changed.
enum class Level
{
    user,
    system
};

// What the user says of it.
struct PlaceWishes
{
    std::filesystem::path root;   // of the system that is set up; empty for this one
    std::filesystem::path module; // the front; empty for the one that is installed with this program
    std::string sshHosts;         // which hosts ssh uses the card for; empty when nothing was said
    bool forAllUsers = false;     // where a program can be set up for one user and for all
};

struct Place
{
    std::filesystem::path
        root; // of the system whose files are meant: "/", or on Windows the folder of the programs
    std::filesystem::path home;       // of the user; empty when there is none
    std::filesystem::path config;     // folder of our own: of the user, or for all users where they are meant
    std::filesystem::path module;     // the front, by the path that programs are given
    std::filesystem::path userRecord; // what was changed for the user; empty when there is none
    std::filesystem::path systemRecord;
    std::string sshHosts;      // as wished
    Level level = Level::user; // of settings that can be those of the user or of the system

    // The path of a file of the system, which is given as from its root. On Windows a full path stays what it is.
    [[nodiscard]] std::filesystem::path System(std::string_view path) const;

    // The path of an installed program: on Linux in the folders of the system, whatever PATH says. Empty when it is not
    // there.
    [[nodiscard]] std::filesystem::path Command(std::string_view name) const;
};

// For the user whose rights this program has. Throws Refusal when there is no front.
Place FindPlace(const PlaceWishes& wishes);

} // namespace setup
