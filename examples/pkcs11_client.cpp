#include "pkcs11_client.h"

#include "system/module.h"

#include <algorithm>
#include <utility>

namespace {

std::string Explain(CK_RV code)
{
    switch (code) {
    case CKR_PIN_INCORRECT:
        return "The code is wrong.";
    case CKR_PIN_LOCKED:
        return "The code is locked after too many wrong tries.";
    case CKR_USER_PIN_NOT_INITIALIZED:
        return "The card's code has not been set yet.";
    case CKR_FUNCTION_CANCELED:
        return "The entry of the code was cancelled.";
    case CKR_TOKEN_NOT_PRESENT:
    case CKR_SLOT_ID_INVALID:
    case CKR_SESSION_HANDLE_INVALID:
        return "The card was taken out.";
    default:
        return "The card or its software refused (code " + std::to_string(code) + ").";
    }
}

void Check(const std::string& step, CK_RV result)
{
    if (result != CKR_OK) {
        throw Pkcs11Error(step + ": " + Explain(result));
    }
}

void* Load(const std::filesystem::path& library)
{
    try {
        return LoadModule(library);
    } catch (const std::runtime_error& error) {
        throw Pkcs11Error("The library cannot be loaded: " + std::string(error.what()));
    }
}

// A text field of a record, which is padded with blanks.
template <std::size_t width>
std::string FieldText(const CK_UTF8CHAR (&field)[width])
{
    std::string text(reinterpret_cast<const char*>(field), width);
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

} // namespace

Pkcs11Client::Pkcs11Client(const std::filesystem::path& library)
{
    void* module = Load(library);
    const auto getFunctionList =
        reinterpret_cast<CK_RV (*)(CK_FUNCTION_LIST_PTR_PTR)>(FunctionOf(module, "C_GetFunctionList"));
    if (getFunctionList == nullptr) {
        throw Pkcs11Error("The library is no PKCS#11 library.");
    }
    Check("Loading the library", getFunctionList(&functions));
    Check("Starting the library", functions->C_Initialize(nullptr));
}

Pkcs11Client::~Pkcs11Client()
{
    functions->C_Finalize(nullptr);
}

std::vector<SlotDescription> Pkcs11Client::Slots() const
{
    CK_ULONG count = 0;
    Check("Listing the slots", functions->C_GetSlotList(CK_TRUE, nullptr, &count));
    std::vector<CK_SLOT_ID> ids(count);
    Check("Listing the slots", functions->C_GetSlotList(CK_TRUE, ids.data(), &count));
    ids.resize(count);

    std::vector<SlotDescription> slots;
    for (const CK_SLOT_ID id : ids) {
        CK_SLOT_INFO slot{};
        CK_TOKEN_INFO token{};
        const CK_RV result = functions->C_GetSlotInfo(id, &slot);
        if (result == CKR_SLOT_ID_INVALID) { // its card went a moment ago
            continue;
        }
        Check("Reading a slot", result);
        Check("Reading a token", functions->C_GetTokenInfo(id, &token));
        slots.push_back({id, FieldText(slot.slotDescription), FieldText(token.label),
                         FieldText(token.manufacturerID), FieldText(token.model)});
    }
    return slots;
}

CK_SESSION_HANDLE Pkcs11Client::OpenSession(CK_SLOT_ID slot) const
{
    CK_SESSION_HANDLE session = 0;
    Check("Opening a session",
          functions->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session));
    return session;
}

void Pkcs11Client::CloseSessions(CK_SLOT_ID slot) const
{
    const CK_RV result = functions->C_CloseAllSessions(slot);
    if (result != CKR_SLOT_ID_INVALID && result != CKR_TOKEN_NOT_PRESENT) {
        Check("Closing the sessions", result);
    }
}

void Pkcs11Client::Login(CK_SESSION_HANDLE session, const std::optional<std::string>& code) const
{
    std::string copy = code.value_or("");
    auto* text = reinterpret_cast<CK_UTF8CHAR_PTR>(copy.data());
    const CK_RV result =
        functions->C_Login(session, CKU_USER, code ? text : nullptr, static_cast<CK_ULONG>(copy.size()));
    if (result != CKR_USER_ALREADY_LOGGED_IN) { // on the card's other slot, which is as good
        Check("Logging in", result);
    }
}

SigningKey Pkcs11Client::FindSigningKey(CK_SESSION_HANDLE session) const
{
    CK_ULONG keyClass = CKO_PRIVATE_KEY;
    CK_BBOOL yes = CK_TRUE;
    const auto keys =
        Find(session, {{CKA_CLASS, &keyClass, sizeof(keyClass)}, {CKA_SIGN, &yes, sizeof(yes)}});
    if (keys.empty()) {
        throw Pkcs11Error("Looking for a key: The card has none that signs.");
    }
    Bytes id = Attribute(session, keys[0], CKA_ID);
    CK_ULONG certificateClass = CKO_CERTIFICATE;
    const auto certificates = Find(session, {{CKA_CLASS, &certificateClass, sizeof(certificateClass)},
                                             {CKA_ID, id.data(), static_cast<CK_ULONG>(id.size())}});
    if (certificates.empty()) {
        throw Pkcs11Error("Looking for a certificate: The card has none for its key.");
    }
    const Bytes from = Attribute(session, certificates[0], CKA_START_DATE);
    const Bytes to = Attribute(session, certificates[0], CKA_END_DATE);
    return {keys[0],
            Attribute(session, certificates[0], CKA_VALUE),
            {from.begin(), from.end()},
            {to.begin(), to.end()}};
}

Bytes Pkcs11Client::Sign(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, Bytes digestInfo) const
{
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    Check("Beginning to sign", functions->C_SignInit(session, &mechanism, key));

    return Finish("Signing", functions->C_Sign, session, std::move(digestInfo));
}

CK_OBJECT_HANDLE Pkcs11Client::CreatePublicKey(CK_SESSION_HANDLE session, PublicKey key) const
{
    CK_BBOOL yes = CK_TRUE;
    CK_ATTRIBUTE records[] = {
        {CKA_MODULUS, key.modulus.data(), static_cast<CK_ULONG>(key.modulus.size())},
        {CKA_PUBLIC_EXPONENT, key.exponent.data(), static_cast<CK_ULONG>(key.exponent.size())},
        {CKA_VERIFY, &yes, sizeof(yes)}};
    CK_OBJECT_HANDLE object = 0;
    Check("Making a public key", functions->C_CreateObject(session, records, std::size(records), &object));
    return object;
}

bool Pkcs11Client::Verify(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, Bytes digestInfo,
                          Bytes signature) const
{
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    Check("Beginning to verify", functions->C_VerifyInit(session, &mechanism, key));
    return VerifyAgain(session, std::move(digestInfo), std::move(signature));
}

bool Pkcs11Client::VerifyAgain(CK_SESSION_HANDLE session, Bytes digestInfo, Bytes signature) const
{
    // The library takes no signature that begins with a zero; without it, the number is the same.
    signature.erase(signature.begin(),
                    std::find_if(signature.begin(), signature.end(), [](uint8_t byte) { return byte != 0; }));
    const CK_RV result =
        functions->C_Verify(session, digestInfo.data(), static_cast<CK_ULONG>(digestInfo.size()),
                            signature.data(), static_cast<CK_ULONG>(signature.size()));
    if (result != CKR_FUNCTION_FAILED) {
        Check("Verifying", result);
    }
    return result == CKR_OK;
}

Bytes Pkcs11Client::Encrypt(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, Bytes data) const
{
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    Check("Beginning to encrypt", functions->C_EncryptInit(session, &mechanism, key));
    return Finish("Encrypting", functions->C_Encrypt, session, std::move(data));
}

Bytes Pkcs11Client::Decrypt(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, Bytes encrypted) const
{
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    Check("Beginning to decrypt", functions->C_DecryptInit(session, &mechanism, key));
    return Finish("Decrypting", functions->C_Decrypt, session, std::move(encrypted));
}

Bytes Pkcs11Client::Digest(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type, Bytes data) const
{
    CK_MECHANISM mechanism{type, nullptr, 0};
    Check("Beginning a digest", functions->C_DigestInit(session, &mechanism));
    return Finish("Digesting", functions->C_Digest, session, std::move(data));
}

Bytes Pkcs11Client::Finish(const std::string& step, OneStep function, CK_SESSION_HANDLE session, Bytes data)
{
    const auto length = static_cast<CK_ULONG>(data.size());
    CK_ULONG resultLength = 0;
    Check(step, function(session, data.data(), length, nullptr, &resultLength));
    Bytes result(resultLength);
    Check(step, function(session, data.data(), length, result.data(), &resultLength));
    result.resize(resultLength);
    return result;
}

std::vector<CK_OBJECT_HANDLE> Pkcs11Client::Find(CK_SESSION_HANDLE session,
                                                 std::vector<CK_ATTRIBUTE> filter) const
{
    Check("Searching",
          functions->C_FindObjectsInit(session, filter.data(), static_cast<CK_ULONG>(filter.size())));
    std::vector<CK_OBJECT_HANDLE> found;
    CK_OBJECT_HANDLE next[16];
    CK_ULONG count = 0;
    do {
        Check("Searching", functions->C_FindObjects(session, next, std::size(next), &count));
        found.insert(found.end(), next, next + count);
    } while (count > 0);
    Check("Searching", functions->C_FindObjectsFinal(session));
    return found;
}

Bytes Pkcs11Client::Attribute(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                              CK_ATTRIBUTE_TYPE type) const
{
    CK_ATTRIBUTE attribute{type, nullptr, 0};
    Check("Reading an attribute", functions->C_GetAttributeValue(session, object, &attribute, 1));
    if (attribute.ulValueLen == CK_UNAVAILABLE_INFORMATION) {
        return {};
    }
    Bytes value(attribute.ulValueLen);
    attribute.pValue = value.data();
    Check("Reading an attribute", functions->C_GetAttributeValue(session, object, &attribute, 1));
    return value;
}
