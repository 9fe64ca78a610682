// JSON files of the store. Anybody may have written them, so that nothing in them is believed.
#pragma once

#include "softcard/card/file_trouble.h"
#include "softcard/system/files.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <exception>
#include <filesystem>
#include <limits>
#include <string>
#include <system_error>

namespace softcard {

// A whole number in an object. Throws std::out_of_range, or what the library for JSON throws, for anything
// else.
uint32_t NumberIn(const nlohmann::json& json, const char* name, uint32_t least,
                  uint32_t most = std::numeric_limits<uint32_t>::max());

// What `read` makes of the file's content, which it gets as nlohmann::json: to read the ordered kind takes a time that
// grows with the square of the number of keys. Throws FileTrouble when the content is no JSON, or `read` throws
// because it is other JSON than wanted; and std::system_error when a file cannot be read.
template <typename Read>
auto ReadJsonFile(const std::filesystem::path& path, const char* whatToDo, const Read& read)
{
    const std::string content = ReadFile(path);
    try {
        return read(nlohmann::json::parse(content));
    } catch (const std::system_error&) {
        throw; // of another file, which it names
    } catch (const FileTrouble&) {
        throw;
    } catch (const std::exception&) {
        throw FileTrouble(path, "is damaged", whatToDo);
    }
}

} // namespace softcard
