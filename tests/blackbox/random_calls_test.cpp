// Random calls of many threads while cards come and go: nothing is lost, and every answer is one that the call may give.
#include "tests/support/black_box_test.h"
#include "tests/support/eventually.h"
#include "tests/support/mutex_callbacks.h"
#include "tests/support/seed.h"
#include "tests/support/test_certificates.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <set>
#include <thread>

namespace blackbox {
namespace {

using RandomCallsTest = BlackBoxTest;

// One of the threads: calls of all kinds in random order, on its own sessions and on everyone's
// slots.
class Worker
{
public:
    Worker(CK_FUNCTION_LIST* functions, unsigned seed) : f(functions), random(seed) {}

    // Counts each of its steps in `allSteps`.
    void RunUntil(const std::atomic<bool>& end, std::atomic<uint64_t>& allSteps)
    {
        while (!end) {
            Step();
            ++steps;
            ++allSteps;
        }
    }

    const std::set<std::string>& Oddities() const { return oddities; }
    uint64_t Steps() const { return steps; }
    uint64_t Signatures() const { return signatures; }

private:
    unsigned Below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(random); }

    void Expect(const char* function, CK_RV answer, std::initializer_list<CK_RV> sane)
    {
        for (const CK_RV one : sane) {
            if (answer == one) {
                return;
            }
        }
        oddities.insert(std::string(function) + " answered " + std::to_string(answer));
    }

    CK_SLOT_ID AnySlot()
    {
        std::array<CK_SLOT_ID, 64> slots{};
        CK_ULONG count = 64;
        Expect("C_GetSlotList", f->C_GetSlotList(CK_TRUE, slots.data(), &count), {CKR_OK});
        return count == 0 ? 0 : slots.at(Below(count));
    }

    CK_SESSION_HANDLE AnySession()
    {
        return sessions.empty() ? 0 : sessions[Below(unsigned(sessions.size()))];
    }

    void Step()
    {
        switch (Below(10)) {
        case 0:
        case 1:
            Open();
            break;
        case 2:
            Close();
            break;
        case 3:
            LogInOrOut();
            break;
        case 4:
        case 5:
            Search();
            break;
        case 6:
            Sign();
            break;
        case 7:
            Create();
            break;
        case 8:
            AskForSlot();
            break;
        default:
            AskForOthers();
        }
    }

    void Open()
    {
        CK_SESSION_HANDLE session = 0;
        const CK_RV answer = f->C_OpenSession(AnySlot(), CKF_SERIAL_SESSION, nullptr, nullptr, &session);
        Expect("C_OpenSession", answer, {CKR_OK, CKR_SLOT_ID_INVALID, CKR_TOKEN_NOT_PRESENT});
        if (session != 0) {
            sessions.push_back(session);
        }
        if (sessions.size() > 8) {
            Close();
        }
    }

    void Close()
    {
        if (Below(20) == 0) {
            Expect("C_CloseAllSessions", f->C_CloseAllSessions(AnySlot()),
                   {CKR_OK, CKR_SESSION_HANDLE_INVALID, CKR_TOKEN_NOT_PRESENT});
        } else if (!sessions.empty()) {
            Expect("C_CloseSession", f->C_CloseSession(sessions.front()),
                   {CKR_OK, CKR_SESSION_HANDLE_INVALID, CKR_TOKEN_NOT_PRESENT});
            sessions.erase(sessions.begin());
        }
    }

    void LogInOrOut()
    {
        std::array<CK_UTF8CHAR, 6> pin{'1', '2', '3', '4', '5', '6'};
        const CK_SESSION_HANDLE session = AnySession();
        const CK_USER_TYPE user = Below(4) == 0 ? CKU_CONTEXT_SPECIFIC : CKU_USER;
        Expect("C_Login", f->C_Login(session, user, pin.data(), 6),
               {CKR_OK, CKR_USER_ALREADY_LOGGED_IN, CKR_SESSION_HANDLE_INVALID, CKR_SLOT_ID_INVALID,
                CKR_TOKEN_NOT_PRESENT});
        if (Below(4) == 0) {
            Expect("C_Logout", f->C_Logout(session),
                   {CKR_OK, CKR_USER_NOT_LOGGED_IN, CKR_SESSION_HANDLE_INVALID, CKR_TOKEN_NOT_PRESENT});
        }
    }

    std::vector<CK_OBJECT_HANDLE> Search()
    {
        const CK_SESSION_HANDLE session = AnySession();
        CK_OBJECT_CLASS kind = CKO_PRIVATE_KEY;
        CK_ATTRIBUTE filter{CKA_CLASS, &kind, sizeof kind};
        Expect("C_FindObjectsInit", f->C_FindObjectsInit(session, &filter, 1),
               {CKR_OK, CKR_OPERATION_ACTIVE, CKR_SESSION_HANDLE_INVALID});
        std::vector<CK_OBJECT_HANDLE> objects(16);
        CK_ULONG count = 0;
        Expect("C_FindObjects", f->C_FindObjects(session, objects.data(), 16, &count),
               {CKR_OK, CKR_SESSION_HANDLE_INVALID});
        Expect("C_FindObjectsFinal", f->C_FindObjectsFinal(session), {CKR_OK, CKR_SESSION_HANDLE_INVALID});
        objects.resize(count);
        for (const CK_OBJECT_HANDLE object : objects) {
            Read(session, object);
        }
        return objects;
    }

    void Read(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object)
    {
        std::array<CK_BYTE, 512> modulus{};
        std::array<CK_BYTE, 64> label{};
        std::array<CK_ATTRIBUTE, 2> attributes{
            {{CKA_MODULUS, modulus.data(), 512}, {CKA_LABEL, label.data(), 64}}};
        Expect("C_GetAttributeValue", f->C_GetAttributeValue(session, object, attributes.data(), 2),
               {CKR_OK, CKR_SESSION_HANDLE_INVALID, CKR_SLOT_ID_INVALID, CKR_OBJECT_HANDLE_INVALID});
    }

    void Sign()
    {
        const std::vector<CK_OBJECT_HANDLE> keys = Search();
        if (keys.empty()) {
            return;
        }
        const CK_SESSION_HANDLE session = AnySession();
        CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
        Expect("C_SignInit", f->C_SignInit(session, &mechanism, keys.front()),
               {CKR_OK, CKR_OPERATION_ACTIVE, CKR_KEY_HANDLE_INVALID, CKR_SESSION_HANDLE_INVALID});
        Bytes data(32, 0x11);
        Bytes signature(512);
        CK_ULONG length = 512;
        const CK_RV answer = f->C_Sign(session, data.data(), 32, signature.data(), &length);
        Expect("C_Sign", answer,
               {CKR_OK, CKR_FUNCTION_FAILED, CKR_OPERATION_NOT_INITIALIZED, CKR_SESSION_HANDLE_INVALID,
                CKR_SLOT_ID_INVALID, CKR_TOKEN_NOT_PRESENT});
        signatures += answer == CKR_OK ? 1 : 0;
    }

    void Create()
    {
        Bytes modulus(128, 0x81);
        Bytes exponent{1, 0, 1};
        CK_BBOOL verify = CK_TRUE;
        std::array<CK_ATTRIBUTE, 3> attributes{{{CKA_MODULUS, modulus.data(), 128},
                                                {CKA_PUBLIC_EXPONENT, exponent.data(), 3},
                                                {CKA_VERIFY, &verify, 1}}};
        CK_OBJECT_HANDLE object = 0;
        const CK_SESSION_HANDLE session = AnySession();
        Expect("C_CreateObject", f->C_CreateObject(session, attributes.data(), 3, &object),
               {CKR_OK, CKR_SESSION_HANDLE_INVALID, CKR_SLOT_ID_INVALID});
        CK_ULONG size = 0;
        Expect("C_GetObjectSize", f->C_GetObjectSize(session, object, &size), {CKR_SESSION_HANDLE_INVALID});
    }

    void AskForSlot()
    {
        const CK_SLOT_ID slot = AnySlot();
        CK_SLOT_INFO slotInfo{};
        CK_TOKEN_INFO tokenInfo{};
        Expect("C_GetSlotInfo", f->C_GetSlotInfo(slot, &slotInfo), {CKR_OK, CKR_SLOT_ID_INVALID});
        Expect("C_GetTokenInfo", f->C_GetTokenInfo(slot, &tokenInfo),
               {CKR_OK, CKR_SLOT_ID_INVALID, CKR_TOKEN_NOT_PRESENT});
        std::array<CK_MECHANISM_TYPE, 16> mechanisms{};
        CK_ULONG count = 16;
        Expect("C_GetMechanismList", f->C_GetMechanismList(slot, mechanisms.data(), &count),
               {CKR_OK, CKR_SLOT_ID_INVALID, CKR_TOKEN_NOT_PRESENT});
        CK_MECHANISM_INFO info{};
        Expect("C_GetMechanismInfo", f->C_GetMechanismInfo(slot, CKM_RSA_PKCS, &info),
               {CKR_OK, CKR_SLOT_ID_INVALID});
    }

    void AskForOthers()
    {
        CK_SESSION_INFO session{};
        CK_INFO info{};
        CK_BYTE byte = 0;
        Expect("C_GetSessionInfo", f->C_GetSessionInfo(AnySession(), &session),
               {CKR_OK, CKR_SESSION_HANDLE_INVALID});
        Expect("C_GetInfo", f->C_GetInfo(&info), {CKR_OK});
        Expect("C_GenerateRandom", f->C_GenerateRandom(1, &byte, 1), {CKR_RANDOM_NO_RNG});
        Expect("C_WaitForSlotEvent", f->C_WaitForSlotEvent(0, nullptr, nullptr),
               {CKR_FUNCTION_NOT_SUPPORTED});
    }

    CK_FUNCTION_LIST* f;
    std::mt19937 random;
    std::vector<CK_SESSION_HANDLE> sessions;
    std::set<std::string> oddities;
    uint64_t steps = 0;
    uint64_t signatures = 0;
};

// How many steps the threads take between two events of the readers. The environment may choose another length.
uint64_t StepsPerEvent()
{
    const char* chosen =
        std::getenv("TAVRIK_STRESS_STEPS"); // NOLINT(concurrency-mt-unsafe): nobody changes it
    return chosen == nullptr ? 100 : std::stoul(chosen);
}

TEST_F(RandomCallsTest, EightThreadsWorkWhileFiveHundredCardsComeAndGo)
{
    constexpr int comingsAndGoings = 500;
    constexpr unsigned workerCount = 8;
    const std::array<const char16_t*, 3> readers{u"Coming 0", u"Coming 1", u"Coming 2"};
    Card card = CertifiedCard();
    card.qes.front().key.keyReference = 1; // signs what it is given
    script->Always("Passwords_VerifyBOK", {.delay = std::chrono::milliseconds(1)});
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(card, &arguments);
    script->SetRecording(false);

    std::atomic<bool> end{false};
    std::atomic<uint64_t> steps{0};
    std::vector<Worker> workers;
    std::vector<std::thread> threads;
    const unsigned seed = TestSeed();
    for (unsigned number = 0; number < workerCount; ++number) {
        workers.emplace_back(f, seed + number);
    }
    threads.reserve(workerCount);
    for (Worker& worker : workers) {
        threads.emplace_back([&worker, &end, &steps] { worker.RunUntil(end, steps); });
    }
    const uint64_t stepsPerEvent = StepsPerEvent();
    for (int event = 0; event < comingsAndGoings; ++event) {
        const char16_t* reader = readers.at(static_cast<size_t>(event / 2) % readers.size());
        if (event % 2 == 0) {
            script->InsertCard(reader, card);
        } else {
            script->RemoveCard(reader);
        }
        const uint64_t next = steps + stepsPerEvent;
        EXPECT_TRUE(Eventually([&] { return steps >= next; }));
    }
    end = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    ProcessEvents();
    uint64_t signatures = 0;
    for (const Worker& worker : workers) {
        EXPECT_EQ(worker.Oddities(), std::set<std::string>{});
        EXPECT_GT(worker.Steps(), 0U);
        signatures += worker.Signatures();
    }
    EXPECT_GT(signatures, 0U);
    EXPECT_EQ(script->Ledger().size(), size_t{1} + (comingsAndGoings / 2));
    // The end of the fixture closes what is left and reads the ledger.
}

} // namespace
} // namespace blackbox
