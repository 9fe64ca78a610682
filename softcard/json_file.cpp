#include "json_file.h"

#include "text.h"

namespace softcard {

DamagedFile::DamagedFile(const std::filesystem::path& path)
    : std::runtime_error("\"" + Utf8Of(path) + "\" does not hold what tavrik-card writes there.")
{
}

uint32_t NumberIn(const nlohmann::ordered_json& json, const char* name, uint32_t least, uint32_t most)
{
    const nlohmann::ordered_json& number = json.at(name);
    if (!number.is_number_unsigned() || number.get<uint64_t>() < least || number.get<uint64_t>() > most) {
        throw std::out_of_range(name);
    }
    return number.get<uint32_t>();
}

} // namespace softcard
