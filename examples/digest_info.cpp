#include "digest_info.h"

#include "example_program.h"

#include <botan/asn1_obj.h>
#include <botan/hash.h>

#include <array>
#include <fstream>
#include <stdexcept>

namespace {

constexpr uint8_t octetString = 0x04;
constexpr uint8_t sequence = 0x30;

// An element of DER whose content is shorter than 128 bytes.
std::vector<uint8_t> Element(uint8_t tag, const std::vector<uint8_t>& content)
{
    std::vector<uint8_t> element{tag, static_cast<uint8_t>(content.size())};
    element.insert(element.end(), content.begin(), content.end());
    return element;
}

} // namespace

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
    const Botan::AlgorithmIdentifier algorithm(Botan::OID::from_string(function->name()),
                                               Botan::AlgorithmIdentifier::USE_NULL_PARAM);
    std::vector<uint8_t> content = algorithm.BER_encode();
    const auto digest = Element(octetString, function->final_stdvec());
    content.insert(content.end(), digest.begin(), digest.end());
    return Element(sequence, content);
}
