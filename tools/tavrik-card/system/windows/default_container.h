// The user's default key container. Windows keeps an imported key in memory, as it is told to; Wine puts it into that
// container, in the place of the key that was there. At the end of the scope the container is deleted when it has got the
// imported key since the begin.
#pragma once

#include "softcard/base/secret.h"

#include <optional>

#include <windows.h>

#include <wincrypt.h>

namespace softcard {

class DefaultContainer
{
public:
    DefaultContainer();
    ~DefaultContainer();
    DefaultContainer(const DefaultContainer&) = delete;
    DefaultContainer& operator=(const DefaultContainer&) = delete;
    DefaultContainer(DefaultContainer&&) = delete;
    DefaultContainer& operator=(DefaultContainer&&) = delete;

    // The provider has the imported key.
    void Expect(HCRYPTPROV provider, DWORD kind);

private:
    std::optional<SecretBytes> before; // public keys
    std::optional<SecretBytes> imported;
};

} // namespace softcard
