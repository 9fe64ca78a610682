#include "softcard/cardapi/hash_classes.h"

#include "src/platform/process_end.h"

#include <botan/hash.h>

namespace Zelmo::Crypto {

// It changes nothing, but a const in its signature would change its symbol.
// NOLINTNEXTLINE(readability-make-member-function-const)
std::vector<unsigned char> HashFunction::Hash(const unsigned char* data, uint64_t length)
{
    const WorkBeforeEnd work;
    const auto hash = Botan::HashFunction::create_or_throw(name);
    hash->update(data, length);
    return hash->final_stdvec();
}

SHA1::SHA1()
{
    name = "SHA-1";
}

SHA224::SHA224()
{
    name = "SHA-224";
}

SHA256::SHA256()
{
    name = "SHA-256";
}

SHA384::SHA384()
{
    name = "SHA-384";
}

SHA512::SHA512()
{
    name = "SHA-512";
}

} // namespace Zelmo::Crypto
