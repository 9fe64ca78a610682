#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>

namespace setup {

// Loads the front and starts it as an application does, and says what came of it:
//   error        the loader's reason when it could not be loaded, or is no PKCS#11 module
//   result       what C_Initialize answered
//   version      of the front
//   library, cardLayer   the files that it has loaded for its work; missing when none
//   slots        a list of objects: description, label
// It may crash or take long.
nlohmann::json LookAtFront(const std::filesystem::path& module);

} // namespace setup
