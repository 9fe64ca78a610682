// The fixture of all black-box tests: the library under test, loaded from the folder of the scripted
// card-access library and reached through its function list only.
//
//     TEST_F(SessionTest, FirstSessionStartsTheTransaction)
//     {
//         InitializeWithCard(); // one reader, "Reader A", with a card: slots 1 and 2
//         const CK_SESSION_HANDLE session = OpenSession(1); // fails the test unless it answers CKR_OK
//         EXPECT_EQ(script->Calls(), Texts({"StartTransaction(101)"}));
//         EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
//     }
//
// Every test has a library of its own, which no other has used: in a process of its own, or loaded anew (see
// CMakeLists.txt). So the first card session is 101 and the first slot id, session handle and so on are the
// first that the library issues.
#pragma once

#include "tavrik/cryptoki.h"
#include "tests/support/script.h"
#include "tests/support/scripted_card/scripted_card.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace blackbox {

using scripted::Answer;
using scripted::Bytes;
using scripted::Card;
using Texts = std::vector<std::string>;

inline constexpr const char16_t* readerA = u"Reader A";
inline constexpr const char16_t* readerB = u"Reader B";

// Card statuses that the library tells apart.
inline constexpr CardStatus incorrectCode = 15;
inline constexpr CardStatus invalidCodeState = 17;
inline constexpr CardStatus userInputError = 18;
inline constexpr CardStatus anyOtherStatus = 10;

// The library under test, loaded by the first call. Throws when it is missing.
void* Library();
// Unloads it and the scripted card-access library, whatever state they are in; what they have handed out is
// void then. False when one of them stays in memory.
[[nodiscard]] bool UnloadLibraries();
// An exported function or object of the library, never null.
void* LibrarySymbol(const char* name);

template <typename Function>
Function* LibraryFunction(const char* name)
{
    return reinterpret_cast<Function*>(LibrarySymbol(name));
}

// Of a record's fixed text field: everything in it, blanks and zero bytes too.
template <size_t width>
std::string FieldText(const CK_BYTE (&field)[width])
{
    return {reinterpret_cast<const char*>(field), width};
}

std::string Padded(std::string text, size_t width); // with blanks

class BlackBoxTest : public ::testing::Test
{
public:
    BlackBoxTest(const BlackBoxTest&) = delete;
    BlackBoxTest& operator=(const BlackBoxTest&) = delete;

protected:
    BlackBoxTest();
    ~BlackBoxTest() override;

    // Finalizes the library if need be, then starts it once more and ends it, so that every card session is
    // closed; fails the test when the ledger then shows a lost or a doubled close. Runs after each test.
    void TearDown() override;
    // The start with no card that TearDown does is left out, for tests that leave the library unusable.
    void LeaveLedgerAlone();

    void Initialize(CK_C_INITIALIZE_ARGS* arguments = nullptr); // and forgets the calls of the start
    void InitializeWithCard(Card card = {}, CK_C_INITIALIZE_ARGS* arguments = nullptr);
    void InitializeWithTwoCards(Card inReaderA = {}, Card inReaderB = {});
    void Finalize();

    CK_SESSION_HANDLE OpenSession(CK_SLOT_ID slot);
    CK_RV Login(CK_SESSION_HANDLE session, CK_USER_TYPE user = CKU_USER, const std::string& pin = "123456");
    void LoginUser(CK_SESSION_HANDLE session); // fails the test unless it answers CKR_OK
    CK_STATE StateOf(CK_SESSION_HANDLE session);
    std::vector<CK_SLOT_ID> Slots();
    std::vector<CK_OBJECT_HANDLE> FindAll(CK_SESSION_HANDLE session); // by the three search functions
    void ProcessEvents();                                             // waits for the events pushed so far

    // The calls so far, which are then forgotten.
    Texts TakeCalls();

    // Empty at first; the library has its configuration and its log there.
    const std::filesystem::path& Directory() const { return directory; }

    CK_FUNCTION_LIST* f = nullptr;
    ScriptedCard* script = nullptr;

private:
    std::filesystem::path directory; // where the library may keep its files
    bool checksLedger = true;
};

// The calls of adding one card: by the walk over the readers, all but OpenSession.
Texts AddingACard(CardSession session);
Texts operator+(Texts left, const Texts& right);

} // namespace blackbox
