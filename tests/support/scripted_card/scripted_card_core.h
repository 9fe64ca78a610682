// The one implementation of ScriptedCard, as the exported functions of the card-access library see it.
#pragma once

#include "tests/support/scripted_card/scripted_card.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

namespace scripted {

class Core : public ScriptedCard
{
public:
    // Made at first use and never destroyed.
    static Core& Instance();

    // Around a fork, on the forking thread: no other thread is inside the script then.
    void HoldForFork();
    void ReleaseAfterFork();
    void ReleaseInChild();

    void AddReader(const std::u16string& name, std::optional<Card> card) override;
    void PutCard(const std::u16string& reader, Card card) override;
    void TakeCard(const std::u16string& reader) override;
    void ChangeCard(const std::u16string& reader, const std::function<void(Card&)>& change) override;
    void ForceReaderList(std::u16string content, int32_t result) override;
    CardSession InsertCard(const std::u16string& reader, Card card) override;
    void RemoveCard(const std::u16string& reader) override;
    void PushEvent(uint32_t event, const std::u16string& reader, CardSession session,
                   CardStatus status) override;
    CardSession MakeSession(const std::u16string& reader) override;
    bool WaitUntilEventsProcessed(std::chrono::milliseconds limit) override;
    void SetLongestWait(std::chrono::milliseconds longest) override;
    void DeliverOnOwnThread(bool enabled) override;
    void Next(const std::string& function, Answer answer) override;
    void Always(const std::string& function, Answer answer) override;
    void ForgetAnswers() override;
    void SignWith(std::function<Bytes(const std::string&, const Bytes&)> sign) override;
    void SetDirectories(std::u16string appData, std::u16string userData) override;
    void SetLogSwitches(std::optional<LogSwitches> switches) override;
    void ApplyLogSwitches(const LogSwitches& switches) override;
    std::vector<std::string> Calls() const override;
    std::vector<CardCall> AllCalls() const override;
    std::vector<CardCall> CallsOf(const std::string& function) const override;
    void ForgetCalls() override;
    void Note(const std::string& text) override;
    void SetRecording(bool enabled) override;
    std::vector<LedgerEntry> Ledger() const override;
    void ForgetLedger() override;
    void ForgetClosedSessions() override;
    std::vector<std::string> Violations() const override;
    int CallsInside() const override;
    int MostCallsInside() const override;
    void ForgetAnswersAndEvents() override;
    void ForgetReaders() override;
    void Reset() override;
    void OnPassage(void (*passed)(int change)) override;

    // A thread is inside the card layer as long as this lives; with the change -1, outside again.
    class Passage
    {
    public:
        explicit Passage(int entered = 1) : change(entered) { Tell(change); }
        ~Passage() { Tell(-change); }
        Passage(const Passage&) = delete;
        Passage& operator=(const Passage&) = delete;

    private:
        static void Tell(int change);
        int change;
    };

    // The card functions below share this beginning: record the call, take its answer, wait and run the hook.
    Answer Enter(CardCall call);

    void WriteDirectory(const char* function, char16_t* buffer, uint32_t capacity);
    void InitializeLogger(const void* logger);
    int32_t ReaderList(char16_t* buffer, uint32_t capacity);
    CardStatus Open(const char16_t* readerName, CardSession* session);
    CardStatus OnSession(const char* function, CardSession session);
    CardStatus TokenInfo(CardSession session, CardTokenInfo* info, const char* text,
                         const uint32_t* capacity);
    CardStatus SessionFlags(CardSession session, uint32_t* flags);
    CardStatus Wait(uint32_t milliseconds, ReaderCallback callback);
    CardStatus Certificates(bool qes, CardSession session, CardCertificate* certificates, uint32_t* count,
                            CardKeyInfo* keys);
    CardStatus KeyInfo(bool qes, CardSession session, uint32_t zero, CardKeyInfo* key, bool yes);
    CardStatus Sign(const char* function, CardSession session, const uint8_t* data, uint32_t length,
                    uint8_t* output, uint32_t* outputLength, uint32_t last);
    CardStatus Verify(const char* function, CardSession session, const char* code, VerifyResult* result,
                      const void* null, std::vector<uint32_t> constants);
    Bytes Hash(const std::string& name, Bytes data);

private:
    struct Reader
    {
        std::u16string name;
        std::shared_ptr<Card> card; // none: the reader is empty
        CardSession lastSession = 0;
    };
    struct Event
    {
        uint32_t event;
        std::u16string reader;
        CardSession session;
        CardStatus status;
    };
    struct OpenCard
    {
        LedgerEntry entry;
        std::shared_ptr<Card> card;
    };

    // The bytes that a call gives back when its answer has none.
    Bytes ResultOf(const std::string& function, const Bytes& data, uint32_t capacity) const;

    // Counts a call out again, also when its hook throws.
    class Departure
    {
    public:
        explicit Departure(Core& left) : core(left) {}
        ~Departure();
        Departure(const Departure&) = delete;
        Departure& operator=(const Departure&) = delete;

    private:
        Core& core;
    };

    Answer TakeAnswer(const std::string& function);
    Reader& ReaderNamed(const std::u16string& name);
    CardSession OpenOn(Reader& reader, bool byEvent);
    std::shared_ptr<Card> CardOf(CardSession session) const;
    void KeepLedger(const CardCall& call);
    void Push(Event event);
    void Deliver(const Event& event, ReaderCallback callback);

    std::atomic<void (*)(int change)> passageTold{nullptr};
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<Reader> readers;
    std::optional<std::pair<std::u16string, int32_t>> forcedReaderList;
    std::map<CardSession, OpenCard> sessions;
    CardSession nextSession = firstCardSession;
    std::vector<Event> events;
    uint64_t eventsPushed = 0;
    uint64_t eventsProcessed = 0;
    std::chrono::milliseconds longestWait{10};
    bool ownThread = false;
    std::map<std::string, std::deque<Answer>> queued;
    std::map<std::string, Answer> standing;
    std::function<Bytes(const std::string&, const Bytes&)> signing;
    std::u16string appDataDirectory = u"/nowhere/"; // no configuration, and no log file
    std::u16string userDataDirectory = u"/nowhere/";
    std::optional<LogSwitches> logSwitches;
    const void* loggerAddress = nullptr;
    std::vector<CardCall> calls;
    std::vector<std::string> violations;
    bool recording = true;
    int inside = 0;
    int mostInside = 0;
};

} // namespace scripted
