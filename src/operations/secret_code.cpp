#include "src/operations/secret_code.h"

#include <botan/mem_ops.h>

#include <algorithm>

namespace {

std::size_t BlockSize(const CK_UTF8CHAR* pin, CK_ULONG length)
{
    return pin == nullptr || length == 0 ? 0 : std::size_t{length} + 1;
}

uint8_t* CopyWithTerminator(const CK_UTF8CHAR* pin, CK_ULONG length)
{
    if (BlockSize(pin, length) == 0) {
        return nullptr;
    }
    auto* copy = new uint8_t[BlockSize(pin, length)];
    std::copy_n(pin, length, copy);
    copy[length] = 0;
    return copy;
}

} // namespace

SecretCode::SecretCode(const CK_UTF8CHAR* pin, CK_ULONG length)
    : code(CopyWithTerminator(pin, length), static_cast<int32_t>(BlockSize(pin, length)), false)
{
}

SecretCode::~SecretCode()
{
    if (code.data != nullptr) {
        Botan::secure_scrub_memory(code.data, static_cast<uint32_t>(code.length));
    }
}

const char* SecretCode::Text() const
{
    return reinterpret_cast<const char*>(code.data);
}
