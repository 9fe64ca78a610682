#include "front/model/hashes.h"

#include <algorithm>

namespace front {

const Hash* HashOfDigest(CK_MECHANISM_TYPE mechanism)
{
    const auto* found = std::find_if(hashes.begin(), hashes.end(),
                                     [mechanism](const Hash& hash) { return hash.digest == mechanism; });
    return found == hashes.end() ? nullptr : found;
}

const Hash* HashOfSignature(CK_MECHANISM_TYPE mechanism)
{
    const auto* found = std::find_if(hashes.begin(), hashes.end(),
                                     [mechanism](const Hash& hash) { return hash.signature == mechanism; });
    return found == hashes.end() ? nullptr : found;
}

} // namespace front
