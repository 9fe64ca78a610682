#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>

namespace setup {

// Loads the card-access library as the library does, from its folder or else from where the loader finds it, and says
// what it answers:
//   error          the loader's reason when it could not be loaded, or the functions that it lacks
//   file           the file that was loaded
//   configFolder, logFolder
//   readersError   whether it could not list the readers
//   readers        a list of objects:
//     name, status   of opening the card, and with a card:
//     isHeld         whether another program holds the card
//     certificates   a list of objects: label, subject, end (seconds since 1970), or only label and error
// It may crash or take long.
nlohmann::json LookAtCards(const std::filesystem::path& libraryFolder);

} // namespace setup
