#include "src/objects/certificate_objects.h"

#include "src/crypto/certificate_accessor.h"
#include "src/objects/attribute_template.h"

#include <algorithm>

namespace {

std::unique_ptr<HexBinary> DateValue(const std::string& text)
{
    auto value = std::make_unique<HexBinary>(ckDateLength);
    char date[ckDateLength] = {};
    ToCkDate(text, date);
    std::copy_n(date, ckDateLength, value->data);
    return value;
}

std::shared_ptr<PkcsObject> MakeObject(uint32_t kind, CK_OBJECT_HANDLE handle, const ObjectPlace& place,
                                       const AttributeTemplate& attributes, uint32_t keyReference = 0)
{
    auto object = std::make_shared<PkcsObject>(kind, handle, place.slotId);
    object->SetAttributes(attributes.Records(), attributes.Count());
    object->keyReference = keyReference;
    return object;
}

} // namespace

std::shared_ptr<PkcsObject> MakeCertificateObject(CK_OBJECT_HANDLE handle, const ObjectPlace& place,
                                                  const Botan::X509_Certificate& certificate)
{
    const CertificateAccessor accessor(certificate);
    const auto subject = accessor.GetSubject();
    const auto encoded = accessor.GetEncoded();
    const auto serialNumber = accessor.GetSerialNumber();
    const auto issuer = accessor.GetIssuer();
    const auto startDate = DateValue(accessor.GetNotBeforeText());
    const auto endDate = DateValue(accessor.GetNotAfterText());

    AttributeTemplate attributes;
    attributes.AddNumber(CKA_CLASS, CKO_CERTIFICATE)
        .AddText(CKA_LABEL, "Signing Certificate")
        .AddText(CKA_ID, place.id)
        .AddNumber(CKA_CERTIFICATE_TYPE, CKC_X_509)
        .AddBoolean(CKA_TOKEN, true)
        .AddBoolean(CKA_TRUSTED, false)
        .AddBoolean(CKA_PRIVATE, true)
        .AddBytes(CKA_SUBJECT, *subject)
        .AddBytes(CKA_VALUE, *encoded)
        .AddBytes(CKA_SERIAL_NUMBER, *serialNumber)
        .AddBytes(CKA_ISSUER, *issuer)
        .AddBytes(CKA_START_DATE, *startDate)
        .AddBytes(CKA_END_DATE, *endDate);
    return MakeObject(certificateKind, handle, place, attributes);
}

std::shared_ptr<PkcsObject> MakePrivateKeyObject(CK_OBJECT_HANDLE handle, const ObjectPlace& place,
                                                 const KeyDescription& key,
                                                 const std::vector<uint8_t>& subject)
{
    AttributeTemplate attributes;
    attributes.AddNumber(CKA_CLASS, CKO_PRIVATE_KEY)
        .AddText(CKA_ID, place.id)
        .AddText(CKA_LABEL, "Signing Key")
        .AddNumber(CKA_KEY_TYPE, CKK_RSA)
        .AddBytes(CKA_SUBJECT, subject)
        .AddBoolean(CKA_TOKEN, true)
        .AddBoolean(CKA_EXTRACTABLE, false)
        .AddBoolean(CKA_SENSITIVE, true)
        .AddBoolean(CKA_PRIVATE, true)
        .AddBytes(CKA_PUBLIC_EXPONENT, key.publicExponent)
        .AddBytes(CKA_MODULUS, key.modulus)
        .AddNumber(CKA_MODULUS_BITS, key.modulusBits)
        .AddBoolean(CKA_SIGN, true)
        .AddBoolean(CKA_ALWAYS_AUTHENTICATE, !place.ordinary)
        .AddBoolean(CKA_ENCRYPT, place.ordinary)
        .AddBoolean(CKA_DECRYPT, place.ordinary)
        .AddBoolean(CKA_NEVER_EXTRACTABLE, true);
    return MakeObject(privateKeyKind, handle, place, attributes, key.keyReference);
}

std::shared_ptr<PkcsObject> MakePublicKeyObject(CK_OBJECT_HANDLE handle, const ObjectPlace& place,
                                                const KeyDescription& key, CK_BBOOL verify)
{
    AttributeTemplate attributes;
    attributes.AddNumber(CKA_CLASS, CKO_PUBLIC_KEY)
        .AddText(CKA_ID, place.id)
        .AddText(CKA_LABEL, "Public Key")
        .AddNumber(CKA_KEY_TYPE, CKK_RSA)
        .AddBoolean(CKA_TOKEN, false)
        .AddBoolean(CKA_EXTRACTABLE, false)
        .AddBoolean(CKA_SENSITIVE, false)
        .AddBoolean(CKA_PRIVATE, false)
        .AddBytes(CKA_PUBLIC_EXPONENT, key.publicExponent)
        .AddBytes(CKA_MODULUS, key.modulus)
        .AddNumber(CKA_MODULUS_BITS, key.modulusBits)
        .AddBoolean(CKA_SIGN, false)
        .AddBoolean(CKA_ALWAYS_AUTHENTICATE, false)
        .AddBoolean(CKA_ENCRYPT, place.ordinary)
        .AddBoolean(CKA_DECRYPT, place.ordinary)
        .AddBoolean(CKA_NEVER_EXTRACTABLE, false)
        .AddBytes(CKA_VERIFY, &verify, sizeof(verify));
    return MakeObject(publicKeyKind, handle, place, attributes, key.keyReference);
}
