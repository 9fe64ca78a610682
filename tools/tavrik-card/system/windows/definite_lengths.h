#pragma once

#include "softcard/base/secret.h"

namespace softcard {

// The same ASN.1 with the length of each value in front of it. NSS, and so Firefox, writes a mark behind some values instead,
// and pieces within them. Throws Botan::Exception for what is no ASN.1; what stands behind the first value is left out.
SecretBytes WithDefiniteLengths(const SecretBytes& encoded);

} // namespace softcard
