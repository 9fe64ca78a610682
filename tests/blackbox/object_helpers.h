// What the tests of objects and signatures have in common: templates, reading of attributes, DigestInfo
// values, cards with chosen keys and certificates.
#pragma once

#include "tests/support/black_box_test.h"
#include "tests/support/test_certificates.h"

#include <botan/asn1_obj.h>
#include <botan/bigint.h>
#include <botan/pkix_types.h>

#include <list>
#include <string>
#include <vector>

namespace blackbox {

inline constexpr CK_SLOT_ID qualifiedSlot = 1;
inline constexpr CK_SLOT_ID ordinarySlot = 2;

// The first handles of each kind in a process.
inline constexpr CK_OBJECT_HANDLE firstCertificate = 0x70000001;
inline constexpr CK_OBJECT_HANDLE firstPrivateKey = 0x30000001;
inline constexpr CK_OBJECT_HANDLE firstPublicKey = 0x40000001;

inline constexpr CK_ULONG untouchedLength = 0x7777;

Bytes TextBytes(const std::string& text);
Bytes NumberBytes(uint32_t number); // least significant byte first
Bytes Counting(size_t count, uint8_t first = 1);
std::string UpperHex(const Bytes& bytes);

// An attribute template that owns its values. Each value lies in a block of its exact size.
class Template
{
public:
    Template() = default;
    Template(Template&&) = default;
    Template(const Template&) = delete;
    Template& operator=(const Template&) = delete;

    Template& Add(CK_ATTRIBUTE_TYPE type, const Bytes& value);
    Template& Text(CK_ATTRIBUTE_TYPE type, const std::string& text) { return Add(type, TextBytes(text)); }
    Template& Number(CK_ATTRIBUTE_TYPE type, uint32_t number) { return Add(type, NumberBytes(number)); }
    Template& Flag(CK_ATTRIBUTE_TYPE type, CK_BBOOL flag) { return Add(type, Bytes{flag}); }
    // A record without a place for a value, of any length.
    Template& Null(CK_ATTRIBUTE_TYPE type, CK_ULONG length = 0);
    // A record with room for `capacity` bytes 0xEE and another length than that.
    Template& Room(CK_ATTRIBUTE_TYPE type, size_t capacity, CK_ULONG length);

    CK_ATTRIBUTE* Records() { return records.data(); }
    CK_ULONG Count() const { return static_cast<CK_ULONG>(records.size()); }
    CK_ULONG Length(size_t index) const { return records.at(index).ulValueLen; }
    Bytes Value(size_t index) const; // the whole block

private:
    std::vector<CK_ATTRIBUTE> records;
    std::list<Bytes> values;
    std::vector<const Bytes*> valueOfRecord; // null for a record without a place
};

// One attribute as an object gives it.
struct Reading
{
    CK_RV result = CKR_OK;
    CK_ULONG length = untouchedLength; // stays so when the library does not write it
    Bytes value;

    bool operator==(const Reading&) const = default;
};
void PrintTo(const Reading& reading, std::ostream* stream);

Reading Stored(Bytes value);
Reading Unavailable();
Reading Invalid();

// A DigestInfo in DER around this hash. Its algorithm is SHA-256 whatever the hash is.
Bytes DigestInfo(const Bytes& hash);
// One DER element with a content below 65536 bytes.
Bytes Der(uint8_t tag, const Bytes& content);
Bytes operator+(Bytes left, const Bytes& right);

// A certificate of test key 0 with everything chosen.
struct CertificateContent
{
    Botan::BigInt serialNumber = Botan::BigInt(1);
    Botan::X509_DN subject;
    Botan::X509_DN issuer;
    std::string notBefore = "20200102030405Z"; // as GeneralizedTime
    std::string notAfter = "20300102030405Z";
};
Botan::X509_DN NameOf(const std::string& commonName);
Bytes MakeCertificate(const CertificateContent& content);

// A card whose family has one certificate for each reference, in this order, all of test key 0.
Card CardWithQualifiedKeys(const std::vector<uint32_t>& references);
Card CardWithOrdinaryKeys(const std::vector<uint32_t>& references);

class ObjectsTest : public BlackBoxTest
{
protected:
    // Starts with this card, logs in on a session of the slot, forgets the calls, and returns the session.
    CK_SESSION_HANDLE StartLoggedIn(Card card, CK_SLOT_ID slot = qualifiedSlot);

    Reading Read(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
    CK_RV Get(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, Template& records);

    CK_RV Create(CK_SESSION_HANDLE session, Template& records, CK_OBJECT_HANDLE* object);
    // Fails the test unless it is made. The modulus has `modulusLength` bytes, counting up from 1.
    CK_OBJECT_HANDLE CreatePublicKey(CK_SESSION_HANDLE session, size_t modulusLength = 4);

    std::vector<CK_OBJECT_HANDLE> Find(CK_SESSION_HANDLE session, Template& filter);
    // One C_FindObjects, which must answer CKR_OK and leave the places behind its handles alone.
    std::vector<CK_OBJECT_HANDLE> FindNext(CK_SESSION_HANDLE session, CK_ULONG most = 64);
    CK_RV FindInit(CK_SESSION_HANDLE session) { return f->C_FindObjectsInit(session, nullptr, 0); }
};

using Handles = std::vector<CK_OBJECT_HANDLE>;

} // namespace blackbox
