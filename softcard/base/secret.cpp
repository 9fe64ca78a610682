#include "softcard/base/secret.h"

#include <botan/block_cipher.h>
#include <botan/mem_ops.h>

#include <array>
#include <cstring>
#include <exception>

namespace softcard {
namespace {

constexpr size_t depth = 32768; // of the stack that is wiped: more than the computations use
constexpr size_t longestCopy = 256;

// What a key leaves in registers, another key takes the place of. There is no other way that is the same on
// all processors.
[[gnu::noinline]] void UseKnownKey()
{
    try {
        const auto cipher = Botan::BlockCipher::create_or_throw("AES-256");
        std::array<uint8_t, 32> zeros{};
        cipher->set_key(zeros.data(), zeros.size());
        cipher->encrypt(zeros.data());
        cipher->decrypt(zeros.data());
    } catch (const std::exception&) {
        return; // without memory nothing was computed either
    }
}

// The same for the registers that copies pass through, which depend on their length.
[[gnu::noinline]] void CopyZeros()
{
    std::array<char, longestCopy> from{};
    std::array<char, longestCopy> to{};
    const volatile size_t longest = to.size(); // so that the copies are made, and not known beforehand
    for (size_t length = longest; length > 0; length /= 2) {
        std::memmove(to.data(), from.data(), length);
    }
    Botan::secure_scrub_memory(to.data(), to.size());
}

[[gnu::noinline]] void WipeStackBelow()
{
    std::array<char, depth> below; // NOLINT(cppcoreguidelines-pro-type-member-init): it is what was there
    Botan::secure_scrub_memory(below.data(), below.size());
}

} // namespace

TraceWiper::~TraceWiper()
{
    UseKnownKey();
    CopyZeros();
    WipeStackBelow();
}

} // namespace softcard
