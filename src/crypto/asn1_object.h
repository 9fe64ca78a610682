// A generic tree over a BER-encoded value: each node holds one element, constructed ones own their children.
#pragma once

#include "tavrik/hex_binary.h"

#include <botan/ber_dec.h>
#include <botan/secmem.h>

#include <cstdint>
#include <memory>
#include <vector>

class ASN1Object
{
public:
    using Children = std::vector<std::unique_ptr<ASN1Object>>;

    ASN1Object() = default;
    virtual ~ASN1Object() = default;
    ASN1Object(const ASN1Object&) = delete;
    ASN1Object& operator=(const ASN1Object&) = delete;

    // Takes the first element out of the bytes and builds the tree below it; bytes behind it are ignored. On
    // a node that holds an element already, that one is replaced and new children are appended to those that
    // are there. Throws what Botan's decoder throws on malformed input; the tree may then be built in part.
    void Parse(const HexBinary* bytes);
    void ParseBytes(const Botan::secure_vector<uint8_t>& bytes);

    // The first direct child whose type tag and class tag add up, modulo 256, to `tag`; SEQUENCE and SET may
    // be named by 16 and 17. Null when there is none, or when this node's element is primitive. The tree
    // keeps the child.
    [[nodiscard]] const ASN1Object* FindChild(uint8_t tag) const;

    // A copy of the element's content octets.
    [[nodiscard]] std::unique_ptr<HexBinary> GetValue() const;

    // Frees the element and the tree below this node.
    void Destroy();

    std::unique_ptr<Botan::BER_Object> berObject; // this node's element
    std::unique_ptr<Children> children;           // null for a primitive element
    ASN1Object* parent = nullptr;                 // null for the root

private:
    void ParseChildren();
};

// What kind of element a node wraps is all that its class tells.
class ASN1Sequence : public ASN1Object
{
};
class ASN1Set : public ASN1Object
{
};
class ASN1ObjectIdentifier : public ASN1Object
{
};
class ASN1Integer : public ASN1Object
{
};
class ASN1Null : public ASN1Object
{
};
class ASN1Boolean : public ASN1Object
{
};
class ASN1OctetString : public ASN1Object
{
};
class ASN1BitString : public ASN1Object
{
public:
    uint64_t unused = 0;
};
class ASN1UTCTime : public ASN1Object // GeneralizedTime too
{
};
class ASN1String : public ASN1Object
{
};
class ASN1NumericString : public ASN1String
{
};
class ASN1PrintableString : public ASN1String
{
};
class ASN1IA5String : public ASN1String
{
};
class ASN1T61String : public ASN1String
{
};
class ASN1VisibleString : public ASN1String
{
};
class ASN1UTF8String : public ASN1String
{
};
