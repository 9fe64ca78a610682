#include "digest_info.h"

#include "example_program.h"

#include <botan/hash.h>
#include <botan/hash_id.h>

#include <array>
#include <fstream>
#include <stdexcept>

std::vector<uint8_t> DigestInfoOfFile(const std::filesystem::path& file, const std::string& hash)
{
    std::ifstream input(file, std::ios::binary);
    if (!input) {
        throw std::runtime_error("The document " + TextOf(file) + " cannot be read.");
    }
    const auto function = Botan::HashFunction::create_or_throw(hash);
    std::array<char, 65536> buffer{};
    while (input.read(buffer.data(), buffer.size()) || input.gcount() > 0) {
        function->update(reinterpret_cast<const uint8_t*>(buffer.data()),
                         static_cast<std::size_t>(input.gcount()));
    }
    std::vector<uint8_t> digestInfo = Botan::pkcs_hash_id(hash);
    const auto digest = function->final();
    digestInfo.insert(digestInfo.end(), digest.begin(), digest.end());
    return digestInfo;
}
