#include "tests/softcard/key_use.h"

#include <gtest/gtest.h>

namespace softcard::test {

Output UseKey(KeyFunction function, CardSession session, const std::vector<uint8_t>& data, uint32_t last,
              size_t capacity)
{
    std::vector<uint8_t> output(capacity);
    auto length = static_cast<uint32_t>(capacity);
    const CardStatus status =
        function(session, data.data(), static_cast<uint32_t>(data.size()), output.data(), &length, last);
    output.resize(length);
    return {status, output};
}

Output Decrypt(CardSession session, const std::vector<uint8_t>& data, uint32_t index, size_t capacity)
{
    return UseKey(Library().esDecryptData, session, data, index, capacity);
}

std::unique_ptr<Records> GetRecords(CertificateFunction function, CardSession session)
{
    auto records = std::make_unique<Records>();
    EXPECT_EQ(function(session, records->certificates.data(), &records->count, records->keys.data()), 0);
    return records;
}

} // namespace softcard::test
