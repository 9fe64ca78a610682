// The hashing of the card-access library.
#include "tests/support/scripted_card/scripted_card_core.h"

#include "tavrik/hash_functions.h"

namespace Zelmo::Crypto {

// Not const, because the name that it is bound by is that of a non-const member.
// NOLINTNEXTLINE(readability-make-member-function-const)
std::vector<unsigned char> HashFunction::Hash(const unsigned char* data, uint64_t length)
{
    const scripted::Core::Passage inside;
    return scripted::Core::Instance().Hash(name, scripted::Bytes(data, data + length));
}

} // namespace Zelmo::Crypto
