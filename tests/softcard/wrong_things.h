// What people and programs can leave in a card's folder that should not be there, as far as the system says what that is.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace softcard::test {

// What can lie in the place of a file.
struct WrongThing
{
    std::string what;
    std::function<void(const std::filesystem::path&)> make;
};

// What only this system has.
std::vector<WrongThing> WrongThingsOfTheSystem();

// Paths that only this system has, of one file that lies outside the card's folder. Makes what it takes for them in the
// card's folder.
std::vector<std::string> WaysOut(const std::filesystem::path& card, const std::filesystem::path& outside);

} // namespace softcard::test
