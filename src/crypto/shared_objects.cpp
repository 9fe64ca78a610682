#include "src/crypto/shared_objects.h"

#include "src/platform/closed_streams.h"
#include "src/platform/process_end.h"

#include <botan/asn1_obj.h>
#include <botan/auto_rng.h>
#include <botan/exceptn.h>
#include <botan/secmem.h>

namespace {

// Botan keeps the device of its generator open, and refuses one that has got the descriptor 0, as it would in a
// host that has closed its standard input. What keeps the generator from being made, the operation that needs it
// reports; the start of the library does not need it.
void PrepareGenerator()
{
    const ClosedStreamsFilled filled;
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
