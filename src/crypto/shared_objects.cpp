#include "src/crypto/shared_objects.h"

#include "src/platform/process_end.h"

#include <botan/asn1_oid.h>
#include <botan/auto_rng.h>
#include <botan/exceptn.h>
#include <botan/secmem.h>

namespace {

// Botan refuses a generator whose device has got the descriptor 0, as in a host that has closed its standard
// input. An operation that needs the generator reports that; the start of the library does not need it.
void PrepareGenerator()
{
    try {
        static_cast<void>(Botan::AutoSeeded_RNG().next_byte());
    } catch (const Botan::Exception&) {
        return;
    }
}

} // namespace

void PrepareSharedCryptoObjects()
{
    const Botan::secure_vector<uint8_t> fromThePool(1);
    static_cast<void>(Botan::OID::from_string("RSA"));
    PrepareGenerator();
    WaitForWorkAtProcessEnd();
}
