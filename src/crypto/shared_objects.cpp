#include "crypto/shared_objects.h"

#include "platform/process_end.h"

#include <botan/asn1_oid.h>
#include <botan/auto_rng.h>
#include <botan/secmem.h>

void PrepareSharedCryptoObjects()
{
    const Botan::secure_vector<uint8_t> fromThePool(1);
    static_cast<void>(Botan::OID::from_string("RSA"));
    static_cast<void>(Botan::AutoSeeded_RNG().next_byte());
    WaitForWorkAtProcessEnd();
}
