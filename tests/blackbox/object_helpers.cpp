#include "tests/blackbox/object_helpers.h"

#include <botan/auto_rng.h>
#include <botan/pk_keys.h>
#include <botan/pubkey.h>
#include <botan/x509_ca.h>
#include <botan/x509_key.h>
#include <botan_version/asn1.h>
#include <botan_version/certificates.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <ostream>

namespace blackbox {
namespace {

constexpr uint8_t untouchedByte = 0xEE;

std::vector<scripted::CertifiedKey> KeysWith(const std::vector<uint32_t>& references)
{
    const Bytes certificate = TestCertificate(0, "Several Keys");
    std::vector<scripted::CertifiedKey> keys;
    keys.reserve(references.size());
    for (const uint32_t reference : references) {
        keys.push_back({certificate, TestKeyInfo(0, reference)});
    }
    return keys;
}

} // namespace

Bytes TextBytes(const std::string& text)
{
    return {text.begin(), text.end()};
}

Bytes NumberBytes(uint32_t number)
{
    Bytes bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<uint8_t>(number >> static_cast<unsigned>(shift)));
    }
    return bytes;
}

Bytes Counting(size_t count, uint8_t first)
{
    Bytes bytes(count);
    for (uint8_t& byte : bytes) {
        byte = first++;
    }
    return bytes;
}

std::string UpperHex(const Bytes& bytes)
{
    std::string text;
    for (const uint8_t byte : bytes) {
        std::array<char, 3> digits{};
        static_cast<void>(std::snprintf(digits.data(), digits.size(), "%02X", byte));
        text += digits.data();
    }
    return text;
}

Template& Template::Add(CK_ATTRIBUTE_TYPE type, const Bytes& value)
{
    Bytes& own = values.emplace_back(value);
    if (own.empty()) {
        own.reserve(1); // a place, though nothing is in it
    }
    valueOfRecord.push_back(&own);
    records.push_back({type, own.data(), static_cast<CK_ULONG>(own.size())});
    return *this;
}

Template& Template::Null(CK_ATTRIBUTE_TYPE type, CK_ULONG length)
{
    valueOfRecord.push_back(nullptr);
    records.push_back({type, nullptr, length});
    return *this;
}

Template& Template::Room(CK_ATTRIBUTE_TYPE type, size_t capacity, CK_ULONG length)
{
    Add(type, Bytes(capacity, untouchedByte));
    records.back().ulValueLen = length;
    return *this;
}

Bytes Template::Value(size_t index) const
{
    const Bytes* value = valueOfRecord.at(index);
    return value == nullptr ? Bytes{} : *value;
}

void PrintTo(const Reading& reading, std::ostream* stream)
{
    *stream << "result " << reading.result << ", length " << reading.length << ", value "
            << UpperHex(reading.value);
}

Reading Stored(Bytes value)
{
    const auto length = static_cast<CK_ULONG>(value.size());
    return {CKR_OK, length, std::move(value)};
}

Reading Unavailable()
{
    return {CKR_OK, CK_UNAVAILABLE_INFORMATION, {}};
}

Reading Invalid()
{
    return {CKR_ATTRIBUTE_TYPE_INVALID, 0, {}};
}

Bytes Der(uint8_t tag, const Bytes& content)
{
    Bytes element{tag};
    const size_t length = content.size();
    if (length > 255) {
        element.insert(element.end(), {0x82, static_cast<uint8_t>(length >> 8U)});
    } else if (length > 127) {
        element.push_back(0x81);
    }
    element.push_back(static_cast<uint8_t>(length));
    return element + content;
}

Bytes DigestInfo(const Bytes& hash)
{
    const Bytes sha256{0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00};
    return Der(0x30, Der(0x30, sha256) + Der(0x04, hash));
}

Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Botan::X509_DN NameOf(const std::string& commonName)
{
    Botan::X509_DN name;
    name.add_attribute("X520.Country", "CZ");
    name.add_attribute("X520.CommonName", commonName);
    return name;
}

Bytes MakeCertificate(const CertificateContent& content)
{
    Botan::AutoSeeded_RNG random;
    const Botan::AlgorithmIdentifier sha256WithRsa(Botan::OID("1.2.840.113549.1.1.11"),
                                                   Botan::AlgorithmIdentifier::USE_NULL_PARAM);
    Botan::PK_Signer signer(TestKey(0), random, "EMSA3(SHA-256)");
    const Botan::X509_Time notBefore(content.notBefore, generalizedTimeAsn1);
    const Botan::X509_Time notAfter(content.notAfter, generalizedTimeAsn1);
    return SignCertificate(signer, random, content.serialNumber, sha256WithRsa,
                           Botan::X509::BER_encode(TestKey(0)), notBefore, notAfter, content.issuer,
                           content.subject, Botan::Extensions())
        .BER_encode();
}

Card CardWithQualifiedKeys(const std::vector<uint32_t>& references)
{
    Card card;
    card.qes = KeysWith(references);
    return card;
}

Card CardWithOrdinaryKeys(const std::vector<uint32_t>& references)
{
    Card card;
    card.es = KeysWith(references);
    return card;
}

CK_SESSION_HANDLE ObjectsTest::StartLoggedIn(Card card, CK_SLOT_ID slot)
{
    InitializeWithCard(std::move(card));
    const CK_SESSION_HANDLE session = OpenSession(slot);
    LoginUser(session);
    script->ForgetCalls();
    return session;
}

Reading ObjectsTest::Read(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type)
{
    Template query;
    query.Null(type, untouchedLength);
    Reading reading;
    reading.result = Get(session, object, query);
    reading.length = query.Length(0);
    const bool hasValue = reading.length != CK_UNAVAILABLE_INFORMATION && reading.length != untouchedLength;
    if (reading.result == CKR_OK && hasValue && reading.length > 0) {
        Template fetch;
        fetch.Room(type, reading.length, 0);
        EXPECT_EQ(Get(session, object, fetch), CKR_OK);
        EXPECT_EQ(fetch.Length(0), reading.length);
        reading.value = fetch.Value(0);
    }
    return reading;
}

CK_RV ObjectsTest::Get(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, Template& records)
{
    return f->C_GetAttributeValue(session, object, records.Records(), records.Count());
}

CK_RV ObjectsTest::Create(CK_SESSION_HANDLE session, Template& records, CK_OBJECT_HANDLE* object)
{
    return f->C_CreateObject(session, records.Records(), records.Count(), object);
}

CK_OBJECT_HANDLE ObjectsTest::CreatePublicKey(CK_SESSION_HANDLE session, size_t modulusLength)
{
    Template records;
    records.Add(CKA_MODULUS, Counting(modulusLength)).Add(CKA_PUBLIC_EXPONENT, {1, 0, 1});
    records.Flag(CKA_VERIFY, CK_TRUE);
    CK_OBJECT_HANDLE object = 0;
    EXPECT_EQ(Create(session, records, &object), CKR_OK);
    return object;
}

Handles ObjectsTest::Find(CK_SESSION_HANDLE session, Template& filter)
{
    EXPECT_EQ(f->C_FindObjectsInit(session, filter.Records(), filter.Count()), CKR_OK);
    Handles found = FindNext(session);
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OK);
    return found;
}

Handles ObjectsTest::FindNext(CK_SESSION_HANDLE session, CK_ULONG most)
{
    constexpr CK_OBJECT_HANDLE notWritten = 0xEEEEEEEE;
    Handles places(most + size_t{1}, notWritten);
    CK_ULONG count = untouchedLength;
    EXPECT_EQ(f->C_FindObjects(session, places.data(), most, &count), CKR_OK);
    if (count > most) {
        ADD_FAILURE() << "a count of " << count;
        return {};
    }
    const auto end = places.begin() + static_cast<std::ptrdiff_t>(count);
    EXPECT_TRUE(std::all_of(end, places.end(), [](CK_OBJECT_HANDLE handle) { return handle == notWritten; }));
    return {places.begin(), end};
}

} // namespace blackbox
