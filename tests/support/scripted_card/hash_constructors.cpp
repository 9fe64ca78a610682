// The constructors of the card-access library's hash classes, for any stand-in. An object is its name and
// nothing else.
#include "tavrik/hash_functions.h"

namespace Zelmo::Crypto {

namespace {

// It does not throw, so that a constructor needs no destructor: that one is not the card-access library's.
void Name(HashFunction& function, const char* name) noexcept
{
    function.name = name;
}

} // namespace

SHA1::SHA1()
{
    Name(*this, "SHA-1");
}

SHA224::SHA224()
{
    Name(*this, "SHA-224");
}

SHA256::SHA256()
{
    Name(*this, "SHA-256");
}

SHA384::SHA384()
{
    Name(*this, "SHA-384");
}

SHA512::SHA512()
{
    Name(*this, "SHA-512");
}

} // namespace Zelmo::Crypto
