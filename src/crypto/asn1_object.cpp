#include "src/crypto/asn1_object.h"

#include <utility>

namespace {

constexpr uint32_t constructedBit = 0x20;
constexpr uint32_t universalClass = 0;

// Of the universal class.
namespace asn1_tag {
enum : uint8_t
{
    boolean = 1,
    integer = 2,
    bitString = 3,
    octetString = 4,
    null = 5,
    objectIdentifier = 6,
    utf8String = 12,
    sequence = 16,
    set = 17,
    numericString = 18,
    printableString = 19,
    t61String = 20,
    ia5String = 22,
    utcTime = 23,
    generalizedTime = 24,
    visibleString = 26,
};
} // namespace asn1_tag

uint32_t TypeTag(const Botan::BER_Object& element)
{
    return static_cast<uint32_t>(element.type());
}

uint32_t ClassTag(const Botan::BER_Object& element)
{
    return static_cast<uint32_t>(element.get_class());
}

bool IsConstructed(const Botan::BER_Object& element)
{
    return (ClassTag(element) & constructedBit) != 0;
}

std::unique_ptr<ASN1Object> MakeConstructedNode(uint32_t typeTag)
{
    switch (typeTag) {
    case asn1_tag::sequence:
        return std::make_unique<ASN1Sequence>();
    case asn1_tag::set:
        return std::make_unique<ASN1Set>();
    default:
        return std::make_unique<ASN1Object>();
    }
}

std::unique_ptr<ASN1Object> MakeUniversalNode(uint32_t typeTag)
{
    switch (typeTag) {
    case asn1_tag::objectIdentifier:
        return std::make_unique<ASN1ObjectIdentifier>();
    case asn1_tag::integer:
        return std::make_unique<ASN1Integer>();
    case asn1_tag::null:
        return std::make_unique<ASN1Null>();
    case asn1_tag::boolean:
        return std::make_unique<ASN1Boolean>();
    case asn1_tag::octetString:
        return std::make_unique<ASN1OctetString>();
    case asn1_tag::bitString:
        return std::make_unique<ASN1BitString>();
    case asn1_tag::utcTime:
    case asn1_tag::generalizedTime:
        return std::make_unique<ASN1UTCTime>();
    case asn1_tag::numericString:
        return std::make_unique<ASN1NumericString>();
    case asn1_tag::printableString:
        return std::make_unique<ASN1PrintableString>();
    case asn1_tag::ia5String:
        return std::make_unique<ASN1IA5String>();
    case asn1_tag::t61String:
        return std::make_unique<ASN1T61String>();
    case asn1_tag::visibleString:
        return std::make_unique<ASN1VisibleString>();
    case asn1_tag::utf8String:
        return std::make_unique<ASN1UTF8String>();
    default:
        return std::make_unique<ASN1Object>();
    }
}

std::unique_ptr<ASN1Object> MakeNode(const Botan::BER_Object& element)
{
    if (IsConstructed(element)) {
        return MakeConstructedNode(TypeTag(element));
    }
    if (ClassTag(element) == universalClass) {
        return MakeUniversalNode(TypeTag(element));
    }
    return std::make_unique<ASN1Object>();
}

} // namespace

void ASN1Object::Parse(const HexBinary* bytes)
{
    Botan::secure_vector<uint8_t> copy;
    bytes->ToByteVector(copy);
    ParseBytes(copy);
}

void ASN1Object::ParseBytes(const Botan::secure_vector<uint8_t>& bytes)
{
    Botan::BER_Decoder decoder(bytes);
    berObject = std::make_unique<Botan::BER_Object>(decoder.get_next_object());
    ParseChildren();
}

void ASN1Object::ParseChildren()
{
    if (!IsConstructed(*berObject)) {
        children = nullptr;
        return;
    }
    if (children == nullptr) {
        children = std::make_unique<Children>();
    }
    Botan::BER_Decoder decoder(*berObject);
    while (decoder.more_items()) {
        auto element = std::make_unique<Botan::BER_Object>(decoder.get_next_object());
        auto child = MakeNode(*element);
        child->berObject = std::move(element);
        child->ParseChildren();
        child->parent = this;
        children->push_back(std::move(child));
    }
}

const ASN1Object* ASN1Object::FindChild(uint8_t tag) const
{
    if (children == nullptr) {
        return nullptr;
    }
    if (tag == asn1_tag::sequence || tag == asn1_tag::set) {
        tag = static_cast<uint8_t>(tag + constructedBit);
    }
    for (const auto& child : *children) {
        if (static_cast<uint8_t>(TypeTag(*child->berObject) + ClassTag(*child->berObject)) == tag) {
            return child.get();
        }
    }
    return nullptr;
}

std::unique_ptr<HexBinary> ASN1Object::GetValue() const
{
    return std::make_unique<HexBinary>(berObject->bits(), static_cast<int32_t>(berObject->length()), true);
}

void ASN1Object::Destroy()
{
    berObject = nullptr;
    children = nullptr;
}
