// Windows' own function leaves a key where it can't be taken out of in clear, and takes newer encryption on newer Windows only.
// What the file is made of is ASN.1 (RFC 7292), which Botan reads.
#include "tools/tavrik-card/system/windows/key_bundle.h"

#include "softcard/base/store_error.h"
#include "tools/tavrik-card/system/windows/definite_lengths.h"
#include "tools/tavrik-card/system/windows/password_encryption.h"

#include <botan/alg_id.h>
#include <botan/asn1_oid.h>
#include <botan/ber_dec.h>
#include <botan/exceptn.h>

#include <optional>

namespace softcard {
namespace {

constexpr size_t version = 3;
constexpr int mostNested = 4; // bags within bags
constexpr char data[] = "1.2.840.113549.1.7.1";
constexpr char encryptedData[] = "1.2.840.113549.1.7.6";
constexpr char keyBag[] = "1.2.840.113549.1.12.10.1.1";
constexpr char encryptedKeyBag[] = "1.2.840.113549.1.12.10.1.2";
constexpr char certificateBag[] = "1.2.840.113549.1.12.10.1.3";
constexpr char nestedBags[] = "1.2.840.113549.1.12.10.1.6";
constexpr char x509Certificate[] = "1.2.840.113549.1.9.22.1";

constexpr auto contextOfContent = static_cast<Botan::ASN1_Tag>(Botan::CONTEXT_SPECIFIC | Botan::CONSTRUCTED);

struct Password
{
    const SecretText& text;
    NoPassword ifEmpty;
};

SecretBytes BytesOf(const Botan::BER_Object& object)
{
    return {object.bits(), object.bits() + object.length()};
}

Botan::BER_Decoder Within(const Botan::BER_Object& object)
{
    return {object.bits(), object.length()};
}

// The bytes of an OCTET STRING, or of what takes its place. Some programs write it in pieces.
SecretBytes OctetsOf(const Botan::BER_Object& object)
{
    if ((object.get_class() & Botan::CONSTRUCTED) == 0) {
        return BytesOf(object);
    }
    SecretBytes whole;
    Botan::BER_Decoder pieces = Within(object);
    while (pieces.more_items()) {
        const Botan::BER_Object piece = pieces.get_next_object();
        piece.assert_is_a(Botan::OCTET_STRING, Botan::UNIVERSAL);
        whole += BytesOf(piece);
    }
    return whole;
}

std::vector<uint8_t> Plain(const SecretBytes& bytes)
{
    return {bytes.begin(), bytes.end()};
}

// An object identifier, and what it says of the rest: [0].
struct Named
{
    std::string oid;
    Botan::BER_Object content;
};

Named ReadNamed(const Botan::BER_Object& object)
{
    object.assert_is_a(Botan::SEQUENCE, Botan::CONSTRUCTED);
    Botan::OID oid;
    Named named;
    Within(object).decode(oid).get_next(named.content);
    named.content.assert_is_a(static_cast<Botan::ASN1_Tag>(0), contextOfContent);
    named.oid = oid.to_string();
    return named;
}

SecretBytes DecryptData(Botan::BER_Decoder& parent, const Password& password)
{
    size_t number = 0;
    Botan::OID type;
    Botan::AlgorithmIdentifier algorithm;
    Botan::BER_Object encrypted;
    Botan::BER_Decoder members = parent.start_cons(Botan::SEQUENCE);
    members.decode(number).start_cons(Botan::SEQUENCE).decode(type).decode(algorithm).get_next(encrypted);
    if (encrypted.type() != static_cast<Botan::ASN1_Tag>(0)) {
        throw Botan::Decoding_Error("there is nothing encrypted");
    }
    return Decrypt(algorithm, Plain(OctetsOf(encrypted)), password.text, password.ifEmpty);
}

SecretBytes DecryptKey(Botan::BER_Decoder& parent, const Password& password)
{
    Botan::AlgorithmIdentifier algorithm;
    Botan::BER_Object encrypted;
    parent.start_cons(Botan::SEQUENCE).decode(algorithm).get_next(encrypted);
    return Decrypt(algorithm, Plain(OctetsOf(encrypted)), password.text, password.ifEmpty);
}

void TakeCertificate(Botan::BER_Decoder& parent, KeyBundle& bundle)
{
    const Named certificate = ReadNamed(parent.get_next_object());
    if (certificate.oid == x509Certificate) {
        bundle.certificates.push_back(OctetsOf(Within(certificate.content).get_next_object()));
    }
}

void TakeBags(const SecretBytes& content, const Password& password, KeyBundle& bundle, int nested = 0)
{
    if (nested > mostNested) {
        throw Botan::Decoding_Error("bags within bags");
    }
    const SecretBytes definite = WithDefiniteLengths(content);
    Botan::BER_Decoder reading(definite);
    Botan::BER_Decoder bags = reading.start_cons(Botan::SEQUENCE);
    while (bags.more_items()) {
        const Named bag = ReadNamed(bags.get_next_object());
        Botan::BER_Decoder value = Within(bag.content);
        if (bag.oid == keyBag) {
            bundle.keys.push_back(BytesOf(bag.content));
        } else if (bag.oid == encryptedKeyBag) {
            bundle.keys.push_back(DecryptKey(value, password));
        } else if (bag.oid == certificateBag) {
            TakeCertificate(value, bundle);
        } else if (bag.oid == nestedBags) {
            TakeBags(BytesOf(bag.content), password, bundle, nested + 1);
        }
    }
}

struct Frame
{
    SecretBytes content; // the safe
    std::optional<BundleMac> mac;
};

Frame ReadFrame(const std::string& content)
{
    const SecretBytes definite = WithDefiniteLengths({content.begin(), content.end()});
    Botan::BER_Decoder reading(definite);
    Botan::BER_Decoder members = reading.start_cons(Botan::SEQUENCE);
    size_t number = 0;
    members.decode(number);
    const Named safe = ReadNamed(members.get_next_object());
    if (number != version || safe.oid != data) {
        throw Botan::Decoding_Error("a file that is signed, or of another version");
    }
    Frame frame;
    frame.content =
        OctetsOf(Botan::BER_Decoder(safe.content.bits(), safe.content.length()).get_next_object());
    if (members.more_items()) {
        BundleMac mac;
        Botan::BER_Decoder parts = members.start_cons(Botan::SEQUENCE);
        parts.start_cons(Botan::SEQUENCE).decode(mac.hash).decode(mac.value, Botan::OCTET_STRING).end_cons();
        parts.decode(mac.salt, Botan::OCTET_STRING);
        if (parts.more_items()) {
            parts.decode(mac.iterations);
        }
        frame.mac = std::move(mac);
    }
    return frame;
}

KeyBundle TakeSafe(const SecretBytes& content, const Password& password)
{
    KeyBundle bundle;
    const SecretBytes definite = WithDefiniteLengths(content);
    Botan::BER_Decoder reading(definite);
    Botan::BER_Decoder safe = reading.start_cons(Botan::SEQUENCE);
    while (safe.more_items()) {
        const Named part = ReadNamed(safe.get_next_object());
        Botan::BER_Decoder value = Within(part.content);
        if (part.oid == data) {
            TakeBags(OctetsOf(value.get_next_object()), password, bundle);
        } else if (part.oid == encryptedData) {
            TakeBags(DecryptData(value, password), password, bundle);
        }
    }
    return bundle;
}

[[noreturn]] void Refuse()
{
    throw StoreError(StoreFailure::notImportable, "The PKCS#12 file cannot be opened with this password.");
}

// Nothing for a file that is damaged, or of another kind.
std::optional<Frame> FrameOf(const std::string& content)
{
    try {
        return ReadFrame(content);
    } catch (const Botan::Exception&) {
        return std::nullopt;
    }
}

// Nothing when the file wants a password.
std::optional<NoPassword> FormOfNone(const Frame& frame)
{
    for (const NoPassword form : {NoPassword::isNothing, NoPassword::isEmpty}) {
        if (frame.mac && HasMac(*frame.mac, frame.content, {}, form)) {
            return form;
        }
    }
    return std::nullopt;
}

} // namespace

bool IsKeyBundle(const std::string& content)
{
    return FrameOf(content).has_value();
}

KeyBundle OpenKeyBundle(const std::string& content, const AskPassword& askPassword)
{
    try {
        const Frame frame = ReadFrame(content);
        if (const auto form = FormOfNone(frame)) {
            const SecretText none;
            return TakeSafe(frame.content, {none, *form});
        }
        const SecretText password = askPassword();
        if (frame.mac && !HasMac(*frame.mac, frame.content, password, NoPassword::isEmpty)) {
            Refuse();
        }
        return TakeSafe(frame.content, {password, NoPassword::isEmpty});
    } catch (const Botan::Exception&) {
        Refuse();
    }
}

} // namespace softcard
