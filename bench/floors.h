// What a work takes where nothing but its operation is done: bare Botan, OpenSSL, the card layer, a hash map.
#pragma once

#include <cstdint>
#include <string>

namespace bench {

// Those of the work with this name, if it has any: for so many records, or 0 for a work that is not beside others.
void RegisterFloors(const std::string& work, int64_t size);

} // namespace bench
