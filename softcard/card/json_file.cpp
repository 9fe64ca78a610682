#include "softcard/card/json_file.h"

#include <stdexcept>

namespace softcard {

uint32_t NumberIn(const nlohmann::json& json, const char* name, uint32_t least, uint32_t most)
{
    const nlohmann::json& number = json.at(name);
    if (!number.is_number_unsigned() || number.get<uint64_t>() < least || number.get<uint64_t>() > most) {
        throw std::out_of_range(name);
    }
    return number.get<uint32_t>();
}

} // namespace softcard
