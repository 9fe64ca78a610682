// The fixture of the front's tests: the front, loaded from the folder of the scripted card-access library and
// reached through its function list only. Every test runs in a process of its own.
#pragma once

#include "front/abi/cryptoki.h"
#include "src/card/card_status.h"
#include "tests/support/scripted_card/scripted_card.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace front_test {

using namespace front;
using Bytes = std::vector<uint8_t>;
using Handles = std::vector<CK_OBJECT_HANDLE>;

inline constexpr const char16_t* readerA = u"Reader A";
inline constexpr const char16_t* readerB = u"Reader B";
inline constexpr CK_SLOT_ID qualified = 0; // the slots of the first card
inline constexpr CK_SLOT_ID ordinary = 1;

// What stands in a variable before a call. No call has it as a result.
inline constexpr CK_ULONG untouched = 77;

// Added to a number, it leaves the lower half of a CK_ULONG of 64 bits as it is, which is all that the library takes.
inline constexpr CK_ULONG highestBit = CK_UNAVAILABLE_INFORMATION / 2 + 1;

template <typename Container>
CK_ULONG Length(const Container& container)
{
    return ToUlong(container.size());
}

std::filesystem::path LibraryFolder(); // of the build
// The front in a folder.
std::filesystem::path FrontIn(const std::filesystem::path& folder);
// The library in the folder of the scripted card-access library.
std::filesystem::path ScriptedLibrary();
CK_FUNCTION_LIST* LoadFront(const std::filesystem::path& folder, void** handle = nullptr);

// As an attribute's value.
Bytes NumberValue(CK_ULONG number);

// A template that owns its values.
class Records
{
public:
    Records& Add(CK_ATTRIBUTE_TYPE type, const Bytes& value);
    Records& Number(CK_ATTRIBUTE_TYPE type, CK_ULONG number);
    Records& Flag(CK_ATTRIBUTE_TYPE type, CK_BBOOL flag);
    CK_ATTRIBUTE* Data();
    CK_ULONG Count() const { return static_cast<CK_ULONG>(values.size()); }

private:
    std::vector<std::pair<CK_ATTRIBUTE_TYPE, Bytes>> values;
    std::vector<CK_ATTRIBUTE> records;
};

// What every client does, with any front.
class Client : public ::testing::Test
{
protected:
    CK_SESSION_HANDLE Open(CK_SLOT_ID slot, CK_FLAGS flags = CKF_SERIAL_SESSION);
    CK_RV Login(CK_SESSION_HANDLE session, CK_USER_TYPE user = CKU_USER, const std::string& code = "123456");
    CK_STATE State(CK_SESSION_HANDLE session);
    std::vector<CK_SLOT_ID> Slots(bool withCardOnly = true);
    Handles Find(CK_SESSION_HANDLE session, Records wanted = {});
    // The certificate and the public key, which the slot has one of each.
    Handles PublicObjects(CK_SESSION_HANDLE session);
    CK_OBJECT_HANDLE FindOne(CK_SESSION_HANDLE session, CK_ULONG objectClass);
    Bytes Read(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
    CK_RV SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key);
    CK_RV VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key);
    // With the only private key of the session's slot.
    CK_RV SignInit(CK_SESSION_HANDLE session);
    CK_RV DecryptInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key);
    CK_RV EncryptInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key);
    CK_RV Sign(CK_SESSION_HANDLE session, Bytes data, Bytes& signature);
    CK_RV Verify(CK_SESSION_HANDLE session, Bytes data, Bytes signature);
    CK_RV Digest(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type, Bytes data, Bytes& digest);

    CK_FUNCTION_LIST* f = nullptr;
};

class FrontTest : public Client
{
public:
    FrontTest(const FrontTest&) = delete;
    FrontTest& operator=(const FrontTest&) = delete;

protected:
    FrontTest();
    ~FrontTest() override;

    void Start(); // with what readers there are
    void StartWithCard();
    void StartWithTwoCards(); // the second one's slots are 2 and 3
    // A session that is logged in, in the slot of a card.
    CK_SESSION_HANDLE StartLoggedIn(CK_SLOT_ID slot, CK_FLAGS flags = CKF_SERIAL_SESSION);
    void InsertCard(const char16_t* reader);
    void RemoveCard(const char16_t* reader);
    void ProcessEvents();

    ScriptedCard* script;
    void* loadedFront = nullptr;
    CK_FUNCTION_LIST_3_0* f3 = nullptr;

private:
    TemporaryFolder directory{"tavrik_front_"};
};

Bytes Text(const std::string& text);

// The card's keys sign: the qualified one, which has reference 2, with key 0, the ordinary one with key 1.
Bytes SignatureOfCard(const std::string& function, const Bytes& data);

// By the ordinary key, with SHA-256.
Bytes SignatureOfMessage(const Bytes& message);

// A hash by SHA-256 in the form that a block of PKCS#1 v1.5 has.
Bytes DigestInfo(const Bytes& hash);

} // namespace front_test
