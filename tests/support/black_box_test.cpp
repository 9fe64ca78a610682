#include "tests/support/black_box_test.h"

#include "tests/support/mutex_callbacks.h"
#include "tests/support/system.h"

#include <stdexcept>
#include <utility>

namespace blackbox {
namespace {

// Null until it is loaded.
void*& LoadedHandle()
{
    static void* handle = nullptr;
    return handle;
}

std::filesystem::path LibraryFile()
{
    return ScriptedFolder() / LibraryFileName("pkcs11_x64");
}

// A name is used once in a process: where files that are open cannot be removed, the log of a library that was
// unloaded keeps its folder until the process ends.
std::filesystem::path MakeDirectory()
{
    static int made = 0;
    auto path = std::filesystem::temp_directory_path() /
                ("tavrik_blackbox_" + std::to_string(ProcessId()) + "_" + std::to_string(++made));
    // Left by another process of that number.
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
    return path;
}

} // namespace

void* Library()
{
    void*& handle = LoadedHandle();
    if (handle == nullptr) {
        handle = Load(LibraryFile());
    }
    return handle;
}

void* LibrarySymbol(const char* name)
{
    return SymbolOf(Library(), name);
}

bool UnloadLibraries()
{
    if (void* const handle = std::exchange(LoadedHandle(), nullptr); handle != nullptr) {
        Unload(handle);
    }
    const bool scriptIsGone = UnloadScript();
    return scriptIsGone && LoadedFrom(LibraryFile()) == nullptr;
}

std::string Padded(std::string text, size_t width)
{
    text.resize(width, ' ');
    return text;
}

BlackBoxTest::BlackBoxTest() : script(Script()), directory(MakeDirectory())
{
    ForgetMutexes();
    if (LibraryFunction<decltype(C_GetFunctionList)>("C_GetFunctionList")(&f) != CKR_OK) {
        throw std::runtime_error("no function list");
    }
    const std::u16string writable = directory.u16string() + u"/";
    script->SetDirectories(writable, writable);
}

BlackBoxTest::~BlackBoxTest()
{
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

void BlackBoxTest::TearDown()
{
    static_cast<void>(f->C_Finalize(nullptr));
    if (!checksLedger) {
        return;
    }
    script->SetLogSwitches(std::nullopt);
    // There is no log then, whose header takes the start of a program.
    script->SetDirectories(u"/nowhere/", u"/nowhere/");
    script->ForceReaderList(u"", -1);
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    ASSERT_EQ(f->C_Finalize(nullptr), CKR_OK);
    for (const scripted::LedgerEntry& entry : script->Ledger()) {
        EXPECT_EQ(entry.closes, 1) << "card session " << entry.session;
        EXPECT_EQ(entry.transactionStarts, entry.transactionStops) << "card session " << entry.session;
    }
    EXPECT_EQ(script->Violations(), Texts{});
}

void BlackBoxTest::LeaveLedgerAlone()
{
    checksLedger = false;
}

void BlackBoxTest::Initialize(CK_C_INITIALIZE_ARGS* arguments)
{
    ASSERT_EQ(f->C_Initialize(arguments), CKR_OK);
    script->ForgetCalls();
}

void BlackBoxTest::InitializeWithCard(Card card, CK_C_INITIALIZE_ARGS* arguments)
{
    script->AddReader(readerA, std::move(card));
    Initialize(arguments);
}

void BlackBoxTest::InitializeWithTwoCards(Card inReaderA, Card inReaderB)
{
    script->AddReader(readerA, std::move(inReaderA));
    script->AddReader(readerB, std::move(inReaderB));
    Initialize();
}

void BlackBoxTest::Finalize()
{
    ASSERT_EQ(f->C_Finalize(nullptr), CKR_OK);
}

CK_SESSION_HANDLE BlackBoxTest::OpenSession(CK_SLOT_ID slot)
{
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(f->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session), CKR_OK);
    return session;
}

CK_RV BlackBoxTest::Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, const std::string& pin)
{
    // Exactly as long as announced, so that a sanitizer sees a read past it.
    std::vector<CK_UTF8CHAR> exact(pin.begin(), pin.end());
    exact.shrink_to_fit();
    return f->C_Login(session, user, exact.data(), static_cast<CK_ULONG>(exact.size()));
}

void BlackBoxTest::LoginUser(CK_SESSION_HANDLE session)
{
    ASSERT_EQ(Login(session), CKR_OK);
}

CK_STATE BlackBoxTest::StateOf(CK_SESSION_HANDLE session)
{
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(session, &info), CKR_OK);
    return info.state;
}

std::vector<CK_SLOT_ID> BlackBoxTest::Slots()
{
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
    std::vector<CK_SLOT_ID> slots(count);
    if (count > 0) {
        EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots.data(), &count), CKR_OK);
        slots.resize(count);
    }
    return slots;
}

std::vector<CK_OBJECT_HANDLE> BlackBoxTest::FindAll(CK_SESSION_HANDLE session)
{
    EXPECT_EQ(f->C_FindObjectsInit(session, nullptr, 0), CKR_OK);
    std::vector<CK_OBJECT_HANDLE> found(64);
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_FindObjects(session, found.data(), static_cast<CK_ULONG>(found.size()), &count), CKR_OK);
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OK);
    found.resize(count);
    return found;
}

void BlackBoxTest::ProcessEvents()
{
    ASSERT_TRUE(script->WaitUntilEventsProcessed());
}

Texts BlackBoxTest::TakeCalls()
{
    Texts calls = script->Calls();
    script->ForgetCalls();
    return calls;
}

Texts AddingACard(CardSession session)
{
    const std::string number = std::to_string(session);
    const Texts slot{"GetTokenInfo(" + number + ", 127)", "GetSessionFlags(" + number + ")"};
    return Texts{"StartTransaction(" + number + ")"} + slot + slot + Texts{"StopTransaction(" + number + ")"};
}

Texts operator+(Texts left, const Texts& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace blackbox
