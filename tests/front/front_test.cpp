#include "tests/front/front_test.h"

#include "tests/support/module_types.h"
#include "tests/support/script.h"
#include "tests/support/system.h"
#include "tests/support/test_certificates.h"

#include <botan/hash.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace front_test {

using blackbox::Load;
using blackbox::SymbolOf;

std::filesystem::path LibraryFolder()
{
    return TAVRIK_FRONT_FOLDER;
}

std::filesystem::path FrontIn(const std::filesystem::path& folder)
{
    return folder / std::filesystem::path("tavrik-pkcs11").replace_extension(ScriptedLibrary().extension());
}

std::filesystem::path ScriptedLibrary()
{
    return blackbox::ScriptedFolder() / blackbox::LibraryFileName("pkcs11_x64");
}

CK_FUNCTION_LIST* LoadFront(const std::filesystem::path& folder, void** handle)
{
    void* front = Load(FrontIn(folder));
    if (handle != nullptr) {
        *handle = front;
    }
    using GetFunctionList = CK_RV(CK_FUNCTION_LIST_PTR_PTR);
    CK_FUNCTION_LIST* list = nullptr;
    if (reinterpret_cast<GetFunctionList*>(SymbolOf(front, "C_GetFunctionList"))(&list) != CKR_OK) {
        throw std::runtime_error("no function list");
    }
    return list;
}

Bytes NumberValue(CK_ULONG number)
{
    Bytes value(sizeof(number));
    std::memcpy(value.data(), &number, sizeof(number));
    return value;
}

Records& Records::Add(CK_ATTRIBUTE_TYPE type, const Bytes& value)
{
    values.emplace_back(type, value);
    return *this;
}

Records& Records::Number(CK_ATTRIBUTE_TYPE type, CK_ULONG number)
{
    return Add(type, NumberValue(number));
}

Records& Records::Flag(CK_ATTRIBUTE_TYPE type, CK_BBOOL flag)
{
    return Add(type, {flag});
}

CK_ATTRIBUTE* Records::Data()
{
    records.clear();
    for (auto& [type, value] : values) {
        records.push_back({type, value.data(), Length(value)});
    }
    return records.data();
}

CK_SESSION_HANDLE Client::Open(CK_SLOT_ID slot, CK_FLAGS flags)
{
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(f->C_OpenSession(slot, flags, nullptr, nullptr, &session), CKR_OK);
    return session;
}

CK_RV Client::Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, const std::string& code)
{
    std::vector<CK_UTF8CHAR> exact(code.begin(), code.end());
    exact.shrink_to_fit(); // so that a sanitizer sees a read past it
    return f->C_Login(session, user, exact.data(), Length(exact));
}

CK_STATE Client::State(CK_SESSION_HANDLE session)
{
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(session, &info), CKR_OK);
    return info.state;
}

std::vector<CK_SLOT_ID> Client::Slots(bool withCardOnly)
{
    const auto present = static_cast<CK_BBOOL>(withCardOnly ? CK_TRUE : CK_FALSE);
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_GetSlotList(present, nullptr, &count), CKR_OK);
    std::vector<CK_SLOT_ID> slots(count + 1);
    count = Length(slots);
    EXPECT_EQ(f->C_GetSlotList(present, slots.data(), &count), CKR_OK);
    slots.resize(count);
    return slots;
}

Handles Client::Find(CK_SESSION_HANDLE session, Records wanted)
{
    EXPECT_EQ(f->C_FindObjectsInit(session, wanted.Data(), wanted.Count()), CKR_OK);
    Handles found(64);
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_FindObjects(session, found.data(), Length(found), &count), CKR_OK);
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OK);
    found.resize(count);
    return found;
}

Handles Client::PublicObjects(CK_SESSION_HANDLE session)
{
    Handles objects{FindOne(session, CKO_CERTIFICATE), FindOne(session, CKO_PUBLIC_KEY)};
    std::sort(objects.begin(), objects.end());
    return objects;
}

CK_OBJECT_HANDLE Client::FindOne(CK_SESSION_HANDLE session, CK_ULONG objectClass)
{
    const Handles found = Find(session, Records().Number(CKA_CLASS, objectClass));
    EXPECT_EQ(found.size(), 1U);
    return found.empty() ? 0 : found.front();
}

Bytes Client::Read(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type)
{
    CK_ATTRIBUTE record{type, nullptr, 0};
    EXPECT_EQ(f->C_GetAttributeValue(session, object, &record, 1), CKR_OK) << std::hex << type;
    Bytes value(record.ulValueLen);
    record.pValue = value.data();
    EXPECT_EQ(f->C_GetAttributeValue(session, object, &record, 1), CKR_OK);
    return value;
}

CK_RV Client::SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key)
{
    CK_MECHANISM mechanism{type, nullptr, 0};
    return f->C_SignInit(session, &mechanism, key);
}

CK_RV Client::SignInit(CK_SESSION_HANDLE session)
{
    return SignInit(session, CKM_SHA256_RSA_PKCS, FindOne(session, CKO_PRIVATE_KEY));
}

CK_RV Client::DecryptInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key)
{
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    return f->C_DecryptInit(session, &mechanism, key);
}

CK_RV Client::EncryptInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key)
{
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    return f->C_EncryptInit(session, &mechanism, key);
}

CK_RV Client::VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key)
{
    CK_MECHANISM mechanism{type, nullptr, 0};
    return f->C_VerifyInit(session, &mechanism, key);
}

CK_RV Client::Sign(CK_SESSION_HANDLE session, Bytes data, Bytes& signature)
{
    signature.resize(1024);
    CK_ULONG length = Length(signature);
    const CK_RV result = f->C_Sign(session, data.data(), Length(data), signature.data(), &length);
    signature.resize(result == CKR_OK ? length : 0);
    return result;
}

CK_RV Client::Verify(CK_SESSION_HANDLE session, Bytes data, Bytes signature)
{
    return f->C_Verify(session, data.data(), Length(data), signature.data(), Length(signature));
}

CK_RV Client::Digest(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type, Bytes data, Bytes& digest)
{
    CK_MECHANISM mechanism{type, nullptr, 0};
    const CK_RV begun = f->C_DigestInit(session, &mechanism);
    if (begun != CKR_OK) {
        return begun;
    }
    digest.resize(64);
    CK_ULONG length = Length(digest);
    const CK_RV result = f->C_Digest(session, data.data(), Length(data), digest.data(), &length);
    digest.resize(result == CKR_OK ? length : 0);
    return result;
}

FrontTest::FrontTest() : script(blackbox::Script())
{
    const std::u16string writable = directory.Path().u16string() + u"/";
    script->SetDirectories(writable, writable);
    script->SignWith(SignatureOfCard);
    f = LoadFront(blackbox::ScriptedFolder(), &loadedFront);
    f3 = blackbox::LaterFunctionsOf(loadedFront);
}

FrontTest::~FrontTest()
{
    static_cast<void>(f->C_Finalize(nullptr));
}

void FrontTest::Start()
{
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
}

void FrontTest::StartWithCard()
{
    script->AddReader(readerA, blackbox::CertifiedCard());
    Start();
}

void FrontTest::StartWithTwoCards()
{
    script->AddReader(readerA, blackbox::CertifiedCard());
    script->AddReader(readerB, blackbox::CertifiedCard());
    Start();
}

CK_SESSION_HANDLE FrontTest::StartLoggedIn(CK_SLOT_ID slot, CK_FLAGS flags)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(slot, flags);
    EXPECT_EQ(Login(session), CKR_OK);
    return session;
}

void FrontTest::InsertCard(const char16_t* reader)
{
    script->InsertCard(reader, blackbox::CertifiedCard());
    ProcessEvents();
}

void FrontTest::RemoveCard(const char16_t* reader)
{
    script->RemoveCard(reader);
    ProcessEvents();
}

void FrontTest::ProcessEvents()
{
    ASSERT_TRUE(script->WaitUntilEventsProcessed());
}

Bytes Text(const std::string& text)
{
    return {text.begin(), text.end()};
}

Bytes SignatureOfCard(const std::string& function, const Bytes& data)
{
    return function == "QES_SignData" ? blackbox::TestSignature(0, DigestInfo(data))
                                      : blackbox::TestSignature(1, data);
}

Bytes SignatureOfMessage(const Bytes& message)
{
    const auto hash = Botan::HashFunction::create_or_throw("SHA-256")->process(message);
    return blackbox::TestSignature(1, DigestInfo({hash.begin(), hash.end()}));
}

Bytes DigestInfo(const Bytes& hash)
{
    return blackbox::Sha256DigestInfo(hash);
}

} // namespace front_test
