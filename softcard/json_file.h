// JSON files of a card. Anybody may have written them, so that nothing in them is believed.
#pragma once

#include "system/files.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>

namespace softcard {

// A file that can be read and does not hold what it should.
class DamagedFile : public std::runtime_error
{
public:
    explicit DamagedFile(const std::filesystem::path& path);
};

// A whole number in an object. Throws std::out_of_range, or what the library for JSON throws, for anything
// else.
uint32_t NumberIn(const nlohmann::ordered_json& json, const char* name, uint32_t least,
                  uint32_t most = std::numeric_limits<uint32_t>::max());

// What `take` makes of the file's content. Throws DamagedFile when the content is no JSON or `take` throws
// std::exception, and std::system_error when there is no file that can be read.
template <typename Take>
auto TakeFromFile(const std::filesystem::path& path, const Take& take)
{
    const std::string text = ReadFile(path);
    try {
        return take(nlohmann::ordered_json::parse(text));
    } catch (const std::system_error&) {
        throw; // another file, which the sentence names
    } catch (const std::exception&) {
        throw DamagedFile(path);
    }
}

} // namespace softcard
