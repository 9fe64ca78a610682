#include "tests/load/load.h"

#include "tests/load/card_box.h"
#include "tests/load/resources.h"
#include "tests/support/module_types.h"
#include "tests/support/script.h"
#include "tests/support/system.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <iostream>
#include <latch>
#include <optional>
#include <set>
#include <stdexcept>
#include <thread>

namespace load {
namespace {

using namespace front;

// Slots of the same reader are the card's two keys.
constexpr CK_ULONG slotsOfReader = 2;
// One thread takes as much of a malloc arena as it likes; a leak of a hundred bytes a signature is far more.
constexpr std::size_t memoryOfThreads = 512UL * 1024;

// What any call may answer when the card, and with it the session, has gone meanwhile.
const std::set<CK_RV>& AnswersOfAGoneCard()
{
    static const std::set<CK_RV> answers{CKR_SESSION_HANDLE_INVALID, CKR_TOKEN_NOT_PRESENT,
                                         CKR_DEVICE_REMOVED,         CKR_USER_NOT_LOGGED_IN,
                                         CKR_KEY_HANDLE_INVALID,     CKR_OBJECT_HANDLE_INVALID};
    return answers;
}

struct Asked
{
    uint64_t number;
    bool answered; // with a signature
};

struct Tally
{
    std::vector<Asked> signatures;
    std::set<std::string> wrong;
    std::size_t calls = 0;
    std::size_t opened = 0;
};

class Round
{
public:
    Round(CK_FUNCTION_LIST* functions, const Size& itsSize, unsigned itsNumber)
        : f(functions), size(itsSize), number(itsNumber), allOpen(itsSize.threads), counted(itsSize.threads)
    {
    }

    // Until the time has come, and at least until all sessions have been open at once.
    std::vector<Tally> Run(CardBox& cards, std::chrono::milliseconds time)
    {
        std::vector<Tally> tallies(size.threads);
        std::vector<std::thread> threads;
        for (unsigned thread = 0; thread < size.threads; ++thread) {
            threads.emplace_back([&, thread] { Work(tallies[thread], thread); });
        }
        // Cards stay where they are until there are as many sessions as there are to be.
        counted.wait();
        std::mt19937 random(size.seed + number);
        const auto end = std::chrono::steady_clock::now() + time;
        while (std::chrono::steady_clock::now() < end) {
            cards.ChangeOneCard(random);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        stop = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        cards.PutAllIn();
        return tallies;
    }

    [[nodiscard]] CK_ULONG MostSessions() const { return mostSessions; }

private:
    void Work(Tally& tally, unsigned thread)
    {
        std::mt19937 random(size.seed + (number * size.threads) + thread);
        std::vector<CK_SESSION_HANDLE> sessions;
        const std::size_t wanted = (size.sessions + size.threads - 1) / size.threads;
        while (sessions.size() < wanted) {
            OpenOne(tally, sessions, random);
        }
        allOpen.arrive_and_wait(); // or one thread closes a session before another one has all of its own
        CountSessions();
        counted.arrive_and_wait();
        while (!stop) {
            Act(tally, sessions, wanted, random, thread);
        }
        for (const CK_SESSION_HANDLE session : sessions) {
            Check(tally, "C_CloseSession", f->C_CloseSession(session));
        }
    }

    void Act(Tally& tally, std::vector<CK_SESSION_HANDLE>& sessions, std::size_t wanted, std::mt19937& random,
             unsigned thread)
    {
        if (sessions.size() < wanted) {
            OpenOne(tally, sessions, random);
        }
        if (sessions.empty()) {
            std::this_thread::yield();
            return;
        }
        const std::size_t place = std::uniform_int_distribution<std::size_t>(0, sessions.size() - 1)(random);
        const CK_SESSION_HANDLE session = sessions[place];
        const auto action = std::uniform_int_distribution<>(0, 99)(random);
        CK_RV answer = CKR_OK;
        if (action < 60) {
            answer = SignOnce(tally, session, NextNumber(tally, thread));
        } else if (action < 80) {
            CK_SESSION_INFO info{};
            answer = Check(tally, "C_GetSessionInfo", f->C_GetSessionInfo(session, &info));
        } else if (action < 98) {
            Check(tally, "C_CloseSession", f->C_CloseSession(session));
            answer = CKR_SESSION_HANDLE_INVALID;
        } else {
            Check(tally, "C_Logout", f->C_Logout(session));
        }
        if (answer == CKR_SESSION_HANDLE_INVALID) {
            sessions[place] = sessions.back();
            sessions.pop_back();
        }
    }

    void OpenOne(Tally& tally, std::vector<CK_SESSION_HANDLE>& sessions, std::mt19937& random)
    {
        const auto slot =
            std::uniform_int_distribution<CK_SLOT_ID>(0, (size.readers * slotsOfReader) - 1)(random);
        CK_SESSION_HANDLE session = 0;
        if (Check(tally, "C_OpenSession",
                  f->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session)) == CKR_OK) {
            sessions.push_back(session);
            ++tally.opened;
        }
    }

    // The answer of the call that did not succeed, or CKR_OK.
    CK_RV SignOnce(Tally& tally, CK_SESSION_HANDLE session, uint64_t numberToSign)
    {
        std::array<CK_UTF8CHAR, 6> code{'1', '2', '3', '4', '5', '6'};
        const CK_RV login = Check(tally, "C_Login", f->C_Login(session, CKU_USER, code.data(), code.size()),
                                  CKR_USER_ALREADY_LOGGED_IN);
        if (login != CKR_OK && login != CKR_USER_ALREADY_LOGGED_IN) {
            return login;
        }
        CK_OBJECT_HANDLE key = 0;
        const CK_RV found = FindKey(tally, session, key);
        if (found != CKR_OK || key == 0) {
            return found;
        }
        CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
        const CK_RV begun = Check(tally, "C_SignInit", f->C_SignInit(session, &mechanism, key));
        if (begun != CKR_OK) {
            return begun;
        }
        Bytes data = DigestInfo(numberToSign);
        Bytes signature(256);
        CK_ULONG length = signature.size();
        const CK_RV made =
            Check(tally, "C_Sign", f->C_Sign(session, data.data(), data.size(), signature.data(), &length),
                  CKR_OPERATION_NOT_INITIALIZED);
        tally.signatures.push_back({numberToSign, made == CKR_OK});
        if (made == CKR_OK) {
            signature.resize(length);
            if (!IsSignatureOf(numberToSign, signature)) {
                tally.wrong.insert("a signature does not verify");
            }
        }
        return made;
    }

    CK_RV FindKey(Tally& tally, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE& key)
    {
        CK_OBJECT_CLASS wanted = CKO_PRIVATE_KEY;
        CK_ATTRIBUTE record{CKA_CLASS, &wanted, sizeof wanted};
        const CK_RV begun = Check(tally, "C_FindObjectsInit", f->C_FindObjectsInit(session, &record, 1));
        if (begun != CKR_OK) {
            return begun;
        }
        CK_ULONG count = 0;
        const CK_RV found = Check(tally, "C_FindObjects", f->C_FindObjects(session, &key, 1, &count));
        Check(tally, "C_FindObjectsFinal", f->C_FindObjectsFinal(session));
        return found;
    }

    CK_RV Check(Tally& tally, const char* function, CK_RV answer, CK_RV alsoRight = CKR_OK)
    {
        ++tally.calls;
        if (answer != CKR_OK && answer != alsoRight && !AnswersOfAGoneCard().contains(answer)) {
            tally.wrong.insert(std::string(function) + " answered " + std::to_string(answer));
        }
        return answer;
    }

    // Each thread has numbers of its own in each round.
    [[nodiscard]] uint64_t NextNumber(const Tally& tally, unsigned thread) const
    {
        return (uint64_t{number} << 48U) | (uint64_t{thread} << 32U) | tally.calls;
    }

    // The most sessions that the slots of all present cards have told of.
    void CountSessions()
    {
        CK_ULONG open = 0;
        for (CK_SLOT_ID slot = 0; slot < size.readers * slotsOfReader; ++slot) {
            CK_TOKEN_INFO info{};
            if (f->C_GetTokenInfo(slot, &info) == CKR_OK) {
                open += info.ulSessionCount;
            }
        }
        CK_ULONG most = mostSessions;
        while (most < open && !mostSessions.compare_exchange_weak(most, open)) {
        }
    }

    CK_FUNCTION_LIST* f;
    const Size& size;
    unsigned number;
    std::atomic<bool> stop{false};
    std::latch allOpen;
    std::latch counted;
    std::atomic<CK_ULONG> mostSessions{0};
};

struct Sum
{
    std::size_t calls = 0;
    std::size_t opened = 0;
    std::size_t signatures = 0;
    std::size_t refused = 0;
    std::size_t madeAndRefused = 0;
    std::set<std::string> wrong;
};

// What the threads got against what the cards have made.
Sum Compare(const std::vector<Tally>& tallies, std::map<uint64_t, unsigned> made)
{
    Sum sum;
    for (const Tally& tally : tallies) {
        sum.calls += tally.calls;
        sum.opened += tally.opened;
        sum.wrong.insert(tally.wrong.begin(), tally.wrong.end());
        for (const Asked& asked : tally.signatures) {
            const auto of = made.find(asked.number);
            const unsigned times = of == made.end() ? 0 : of->second;
            made.erase(asked.number);
            sum.signatures += asked.answered ? 1 : 0;
            sum.refused += asked.answered ? 0 : 1;
            sum.madeAndRefused += !asked.answered && times > 0 ? 1 : 0;
            if (times > 1) {
                sum.wrong.insert("a signature was made twice");
            }
            if (asked.answered && times == 0) {
                sum.wrong.insert("a signature came from no card");
            }
        }
    }
    if (!made.empty()) {
        sum.wrong.insert("a card has signed what nobody asked for");
    }
    if (sum.signatures == 0) {
        sum.wrong.insert("nothing was signed");
    }
    return sum;
}

void CloseAll(CK_FUNCTION_LIST* f, unsigned readers)
{
    for (CK_SLOT_ID slot = 0; slot < readers * slotsOfReader; ++slot) {
        f->C_CloseAllSessions(slot);
    }
}

// Every card session was closed once, but for that of each card that is there, and no transaction goes on. What is over
// is forgotten.
void CheckLedger(ScriptedCard& script, std::size_t cards, std::set<std::string>& wrong)
{
    std::size_t open = 0;
    for (const scripted::LedgerEntry& entry : script.Ledger()) {
        open += entry.closes == 0 ? 1 : 0;
        if (entry.closes > 1) {
            wrong.insert("a card session was closed twice");
        }
        if (entry.transactionStarts != entry.transactionStops) {
            wrong.insert("a transaction goes on");
        }
    }
    if (open != cards) {
        wrong.insert(std::to_string(open) + " card sessions are open");
    }
    script.ForgetClosedSessions();
}

} // namespace

bool RunLoad(const Size& size)
{
    ScriptedCard& script = *blackbox::Script();
    CardBox cards(script, size.readers);
    CK_FUNCTION_LIST* const f = blackbox::FunctionListOf<blackbox::FrontTypes>(
        blackbox::Load(blackbox::ScriptedFolder() / blackbox::FrontTypes::fileName));
    CK_C_INITIALIZE_ARGS arguments{};
    arguments.flags = CKF_OS_LOCKING_OK;
    if (f->C_Initialize(&arguments) != CKR_OK) {
        throw std::runtime_error("the front does not start");
    }
    const auto timeOfRound = std::chrono::milliseconds(size.time) / size.rounds;
    Sum all;
    std::optional<Resources> atFirst;
    for (unsigned number = 0; number < size.rounds; ++number) {
        Round round(f, size, number);
        const std::vector<Tally> tallies = round.Run(cards, timeOfRound);
        CloseAll(f, size.readers);
        Sum sum = Compare(tallies, cards.TakeSignatures());
        CheckLedger(script, size.readers, sum.wrong);
        if (round.MostSessions() < size.sessions) {
            sum.wrong.insert("no more than " + std::to_string(round.MostSessions()) + " sessions were open");
        }
        const Resources held = ResourcesInUse();
        // What is made at the first use, such as a thread's arena, is there after two rounds.
        if (number == 1) {
            atFirst = held;
        } else if (atFirst && !HasNotGrown(*atFirst, held, memoryOfThreads)) {
            sum.wrong.insert("after two rounds there were " + Text(*atFirst));
        }
        std::cout << "round " << number + 1 << ": " << sum.signatures << " signatures, " << sum.calls
                  << " calls, " << Text(held) << '\n';
        for (const std::string& wrong : sum.wrong) {
            std::cout << "  WRONG: " << wrong << '\n';
        }
        all.calls += sum.calls;
        all.opened += sum.opened;
        all.signatures += sum.signatures;
        all.refused += sum.refused;
        all.madeAndRefused += sum.madeAndRefused;
        all.wrong.merge(sum.wrong);
    }
    if (f->C_Finalize(nullptr) != CKR_OK) {
        all.wrong.insert("C_Finalize failed");
    }
    for (const std::string& violation : script.Violations()) {
        std::cout << "  WRONG: " << violation << '\n';
        all.wrong.insert(violation);
    }
    std::cout << "load: " << size.threads << " threads, " << size.sessions << " sessions at once, "
              << size.readers << " readers, " << cards.Changes() << " cards put in or taken out, "
              << all.opened << " sessions opened, " << all.calls << " calls, " << all.signatures
              << " signatures verified, " << all.refused << " refused without a card (" << all.madeAndRefused
              << " of them made by a card that was taken out), " << all.wrong.size() << " findings\n";
    return all.wrong.empty();
}

} // namespace load
