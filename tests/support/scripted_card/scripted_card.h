// A card-access library for tests: it answers as a test scripts it and records every call in order.
//
//     ScriptedCard* script = ...; // from ScriptedCard_Instance(), see support/black_box_test.h
//     script->AddReader(u"Reader A", Card{}); // what C_Initialize will find
//     script->Next("Passwords_VerifyBOK", {.status = 15}); // the next such call answers 15
//     script->Next("QES_VerifyPin", {.hook = [&] { script->RemoveCard(u"Reader A"); }}); // runs inside the call
//     EXPECT_EQ(script->Calls(), (std::vector<std::string>{"StartTransaction(101)"}));
//
// Functions are named without their prefix "CardAPI_". Card sessions are 101, 102 and on, in the order of
// their opening. Without any scripting a code is accepted and opens the secure-messaging channel of its card,
// a signature is as many bytes 0x5A as the caller has room for, and a decryption gives back the bytes it was
// given.
//
// The instance lives inside the card-access library, which is why every operation here is virtual: a test
// program reaches it without linking to it. All operations may be called from any thread, also from a hook.
#pragma once

#include "src/card/card_api.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace scripted {

using Bytes = std::vector<uint8_t>;

inline constexpr CardSession firstCardSession = 101;

// One call as it came in. Fields that a function does not have keep their initial values.
struct CardCall
{
    std::string function;    // without "CardAPI_"; "Hash" for the hash classes; a note's own text
    CardSession session = 0; // the session given, or the value of the session variable given to OpenSession
    std::u16string reader;   // OpenSession
    std::optional<std::string> code; // the two verifications; none for a null pointer
    Bytes data;                      // what was to be signed, decrypted or hashed
    uint32_t capacity = 0;           // of the buffer given, in the unit of the function
    std::vector<uint32_t> constants; // the integers given, in order: waits, indexes, constants
    const void* pointer = nullptr;   // Initialize: the logger; the verifications: the fourth argument
    bool flag = false;               // the last argument of the two GetKeyInfo
    bool outputsClear = false;       // the records and buffers to be filled were all zero on the way in
    VerifyResult verifyResult{};     // as it came in
    std::thread::id thread;

    // The call with its arguments on one line, as in `Passwords_VerifyBOK(101, "1234", null, 0, 0, 0)`.
    std::string text;
};

// Whether a call stores its outputs: by its status, against it, or not at all.
enum class Outputs
{
    OnSuccess,
    Always,
    Never
};

struct Answer
{
    CardStatus status = 0;
    std::chrono::milliseconds delay{0};
    std::function<void()> hook{};         // runs inside the call, after the delay and before the outputs
    std::optional<VerifyResult> verify{}; // the verifications: stored whatever the status is
    std::optional<Bytes> output{};        // sign, decrypt, hash: the bytes that come back
    std::optional<uint32_t> count{};      // the two GetCertificates: the count that is reported
    std::optional<uint32_t> length{};     // sign, decrypt: the length that is reported, with what was written
    Outputs outputs = Outputs::OnSuccess;
};

struct CertifiedKey
{
    Bytes certificate; // at most 4096 bytes, copied as they are
    CardKeyInfo key{};
    std::optional<uint32_t> reportedLength{}; // of the certificate, where it is not that of the bytes
};

struct Card
{
    std::string manufacturer = "Scripted Manufacturer";
    std::string model = "Scripted Model";
    uint8_t versions[4] = {1, 2, 3, 4};
    uint32_t flags = cardPresentFlag;
    bool verifyActivatesMessaging = true; // an accepted BOK sets secureMessagingFlag in `flags`
    std::vector<CertifiedKey> qes;
    std::vector<CertifiedKey> es;
    CardKeyInfo qesKeyInfo{}; // what QES_GetKeyInfo fills in
    CardKeyInfo esKeyInfo{};
};

// What Initialize writes into the settings at the head of the logger it is given.
struct LogSwitches
{
    bool toConsole = true;
    bool toDebugger = false;
    bool toFile = false;
    uint8_t fromLevel = 3;
    bool extensive = true;
    uint8_t timeFormat = 1;
};

struct LedgerEntry
{
    CardSession session = 0;
    std::u16string reader;
    bool byEvent = false; // handed over with an event, not by OpenSession
    int closes = 0;
    int transactionStarts = 0;
    int transactionStops = 0;
};

} // namespace scripted

class ScriptedCard
{
public:
    using Bytes = scripted::Bytes;
    using Answer = scripted::Answer;
    using Card = scripted::Card;

    ScriptedCard() = default;
    virtual ~ScriptedCard() = default;
    ScriptedCard(const ScriptedCard&) = delete;
    ScriptedCard& operator=(const ScriptedCard&) = delete;

    // Readers. None of these is told to the library: it sees them by GetReaderList and OpenSession only.
    virtual void AddReader(const std::u16string& name, std::optional<Card> card = std::nullopt) = 0;
    virtual void PutCard(const std::u16string& reader, Card card) = 0;
    virtual void TakeCard(const std::u16string& reader) = 0;
    // Changes the card in the reader, also for the sessions already open on it.
    virtual void ChangeCard(const std::u16string& reader, const std::function<void(Card&)>& change) = 0;
    // GetReaderList writes `content` as it stands and returns `result`, whatever readers there are.
    virtual void ForceReaderList(std::u16string content, int32_t result) = 0;

    // Reader events, delivered by the next or the running WaitForReaderEvent.
    // Puts the card in, opens a session on it and pushes its insertion; returns the session. Adds a missing
    // reader.
    virtual CardSession InsertCard(const std::u16string& reader, Card card) = 0;
    // Takes the card out and pushes its removal with the last session that was opened in this reader.
    virtual void RemoveCard(const std::u16string& reader) = 0;
    virtual void PushEvent(uint32_t event, const std::u16string& reader, CardSession session,
                           CardStatus status = 0) = 0;
    // Opens a session on the reader's card without any call or event, for use with PushEvent.
    virtual CardSession MakeSession(const std::u16string& reader) = 0;
    // True once every event pushed so far has come back from the library's callback.
    virtual bool WaitUntilEventsProcessed(std::chrono::milliseconds limit = std::chrono::seconds(10)) = 0;
    // The longest that WaitForReaderEvent waits, whatever it is asked for; 10 ms at first.
    virtual void SetLongestWait(std::chrono::milliseconds longest) = 0;
    // Events are called back on a thread of their own, and not on the one that waits.
    virtual void DeliverOnOwnThread(bool enabled) = 0;

    // Answers. `Next` queues one answer for one call; `Always` holds whenever the queue is empty. Of an
    // answer to WaitForReaderEvent the hook, which runs before the wait begins, and the status count. With a
    // status other than 0, GetReaderList writes no name and returns -1.
    virtual void Next(const std::string& function, Answer answer) = 0;
    virtual void Always(const std::string& function, Answer answer) = 0;
    // Neither holds any more.
    virtual void ForgetAnswers() = 0;
    // Makes the signatures that no answer has an output for, out of the function's name and the data given.
    virtual void SignWith(std::function<Bytes(const std::string&, const Bytes&)> sign) = 0;
    virtual void SetDirectories(std::u16string appData, std::u16string userData) = 0;

    // The log switches: set at each Initialize from now on, and none for leaving the settings alone.
    virtual void SetLogSwitches(std::optional<scripted::LogSwitches> switches) = 0;
    // The same at once; only after an Initialize, and only while no other thread of the process logs.
    virtual void ApplyLogSwitches(const scripted::LogSwitches& switches) = 0;

    // The record. Waits for 500 ms, which are the monitoring thread's, stand only in AllCalls.
    virtual std::vector<std::string> Calls() const = 0;
    virtual std::vector<scripted::CardCall> AllCalls() const = 0;
    // The calls of one function, its waits for 500 ms too.
    virtual std::vector<scripted::CardCall> CallsOf(const std::string& function) const = 0;
    virtual void ForgetCalls() = 0;
    // Puts a text of the test's own into the record, so that its order among the calls is seen.
    virtual void Note(const std::string& text) = 0;
    virtual void SetRecording(bool enabled) = 0;

    // The ledger of card sessions, in the order of their opening.
    virtual std::vector<scripted::LedgerEntry> Ledger() const = 0;
    // A call on a session that is forgotten is a violation.
    virtual void ForgetLedger() = 0;
    // Calls that no card session allows: on an unknown one, on one already closed.
    virtual std::vector<std::string> Violations() const = 0;
    // How many calls, waits left out, are inside the card layer now, and the most there have been at once.
    virtual int CallsInside() const = 0;
    virtual int MostCallsInside() const = 0;

    // The sessions that were closed are forgotten; their numbers are not used again.
    virtual void ForgetClosedSessions() = 0;

    // Takes back the answers and the events that were not delivered, with the sessions that only these events
    // would have handed over.
    virtual void ForgetAnswersAndEvents() = 0;
    // The readers go, without an event.
    virtual void ForgetReaders() = 0;
    // All of that, and the records of calls and of closed card sessions. The numbers of card sessions go on.
    virtual void Reset() = 0;
    // Is called with 1 as a thread enters the card layer and with -1 as it leaves it, and the other way around
    // for what an event calls back; none for null. On the entering thread, and without a lock.
    virtual void OnPassage(void (*passed)(int change)) = 0;
};

extern "C" ScriptedCard* ScriptedCard_Instance();
