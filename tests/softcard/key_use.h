// What the keys and the certificates of a card are used for.
#pragma once

#include "tests/softcard/card_library.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace softcard::test {

using KeyFunction = decltype(&CardAPI_QES_SignData); // ES_SignData and ES_DecryptData too
using CertificateFunction = decltype(&CardAPI_QES_GetCertificates);

struct Output
{
    CardStatus status;
    std::vector<uint8_t> bytes;
};

// `last` is the last argument of the function, `capacity` the room for what it gives.
Output UseKey(KeyFunction function, CardSession session, const std::vector<uint8_t>& data, uint32_t last = 0,
              size_t capacity = 512);

// By the key of the certificate that the index tells.
Output Decrypt(CardSession session, const std::vector<uint8_t>& data, uint32_t index = 0,
               size_t capacity = 512);

// The certificates and keys of a family, as many as count.
struct Records
{
    std::vector<CardCertificate> certificates = std::vector<CardCertificate>(maxCertificates);
    std::vector<CardKeyInfo> keys = std::vector<CardKeyInfo>(maxCertificates);
    uint32_t count = 0;
};

// Fails the test unless the card gives them.
std::unique_ptr<Records> GetRecords(CertificateFunction function, CardSession session);

} // namespace softcard::test
