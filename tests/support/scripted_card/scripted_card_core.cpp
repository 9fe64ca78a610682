// Scripting, record and ledger; the card functions themselves stand in card_functions.cpp.
#include "tests/support/scripted_card/scripted_card_core.h"

#include "tests/support/scripted_card/call_text.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <stdexcept>

namespace scripted {
namespace {

constexpr uint32_t monitoringWait = 500;

bool IsMonitoringWait(const CardCall& call)
{
    return call.function == "WaitForReaderEvent" && call.constants == std::vector<uint32_t>{monitoringWait};
}

void StoreByte(const void* base, size_t offset, uint8_t value)
{
    // The logger belongs to the library, whose threads read these bytes as they log.
    auto* byte = static_cast<uint8_t*>(const_cast<void*>(base)) + offset;
    std::atomic_ref<uint8_t>(*byte).store(value);
}

void StoreSwitches(const void* logger, const LogSwitches& switches)
{
    constexpr size_t consoleOffset = 0;
    constexpr size_t debuggerOffset = 1;
    constexpr size_t fileOffset = 2;
    constexpr size_t levelOffset = 3;
    constexpr size_t extensiveOffset = 4;
    constexpr size_t timeFormatOffset = 6;
    StoreByte(logger, levelOffset, switches.fromLevel);
    StoreByte(logger, extensiveOffset, switches.extensive ? 1 : 0);
    StoreByte(logger, timeFormatOffset, switches.timeFormat);
    StoreByte(logger, consoleOffset, switches.toConsole ? 1 : 0);
    StoreByte(logger, debuggerOffset, switches.toDebugger ? 1 : 0);
    StoreByte(logger, fileOffset, switches.toFile ? 1 : 0);
}

} // namespace

Core& Core::Instance()
{
    static auto* const instance = new Core;
    return *instance;
}

void Core::AddReader(const std::u16string& name, std::optional<Card> card)
{
    const std::lock_guard lock(mutex);
    readers.push_back({name, card ? std::make_shared<Card>(std::move(*card)) : nullptr, 0});
}

void Core::PutCard(const std::u16string& reader, Card card)
{
    const std::lock_guard lock(mutex);
    ReaderNamed(reader).card = std::make_shared<Card>(std::move(card));
}

void Core::TakeCard(const std::u16string& reader)
{
    const std::lock_guard lock(mutex);
    ReaderNamed(reader).card.reset();
}

void Core::ChangeCard(const std::u16string& reader, const std::function<void(Card&)>& change)
{
    const std::lock_guard lock(mutex);
    const std::shared_ptr<Card> card = ReaderNamed(reader).card;
    if (!card) {
        throw std::logic_error("the reader has no card");
    }
    change(*card);
}

void Core::ForceReaderList(std::u16string content, int32_t result)
{
    const std::lock_guard lock(mutex);
    forcedReaderList = {std::move(content), result};
}

CardSession Core::InsertCard(const std::u16string& reader, Card card)
{
    const std::lock_guard lock(mutex);
    const bool known =
        std::any_of(readers.begin(), readers.end(), [&](const Reader& r) { return r.name == reader; });
    if (!known) {
        readers.push_back({reader, nullptr, 0});
    }
    Reader& place = ReaderNamed(reader);
    place.card = std::make_shared<Card>(std::move(card));
    const CardSession session = OpenOn(place, true);
    Push({cardInsertedEvent, reader, session, 0});
    return session;
}

void Core::RemoveCard(const std::u16string& reader)
{
    const std::lock_guard lock(mutex);
    Reader& place = ReaderNamed(reader);
    place.card.reset();
    Push({cardRemovedEvent, reader, place.lastSession, 0});
}

void Core::PushEvent(uint32_t event, const std::u16string& reader, CardSession session, CardStatus status)
{
    const std::lock_guard lock(mutex);
    Push({event, reader, session, status});
}

CardSession Core::MakeSession(const std::u16string& reader)
{
    const std::lock_guard lock(mutex);
    return OpenOn(ReaderNamed(reader), true);
}

bool Core::WaitUntilEventsProcessed(std::chrono::milliseconds limit)
{
    std::unique_lock lock(mutex);
    const uint64_t goal = eventsPushed;
    const auto deadline = std::chrono::system_clock::now() + limit;
    return changed.wait_until(lock, deadline, [&] { return eventsProcessed >= goal; });
}

void Core::SetLongestWait(std::chrono::milliseconds longest)
{
    const std::lock_guard lock(mutex);
    longestWait = longest;
}

void Core::DeliverOnOwnThread(bool enabled)
{
    const std::lock_guard lock(mutex);
    ownThread = enabled;
}

void Core::Next(const std::string& function, Answer answer)
{
    const std::lock_guard lock(mutex);
    queued[function].push_back(std::move(answer));
}

void Core::Always(const std::string& function, Answer answer)
{
    const std::lock_guard lock(mutex);
    standing[function] = std::move(answer);
}

void Core::ForgetAnswers()
{
    const std::lock_guard lock(mutex);
    queued.clear();
    standing.clear();
}

void Core::SignWith(std::function<Bytes(const std::string&, const Bytes&)> sign)
{
    const std::lock_guard lock(mutex);
    signing = std::move(sign);
}

void Core::SetDirectories(std::u16string appData, std::u16string userData)
{
    const std::lock_guard lock(mutex);
    appDataDirectory = std::move(appData);
    userDataDirectory = std::move(userData);
}

void Core::SetLogSwitches(std::optional<LogSwitches> switches)
{
    const std::lock_guard lock(mutex);
    logSwitches = switches;
}

void Core::ApplyLogSwitches(const LogSwitches& switches)
{
    const std::lock_guard lock(mutex);
    if (loggerAddress == nullptr) {
        throw std::logic_error("no logger was handed over yet");
    }
    StoreSwitches(loggerAddress, switches);
}

std::vector<std::string> Core::Calls() const
{
    const std::lock_guard lock(mutex);
    std::vector<std::string> texts;
    for (const CardCall& call : calls) {
        if (!IsMonitoringWait(call)) {
            texts.push_back(call.text);
        }
    }
    return texts;
}

std::vector<CardCall> Core::AllCalls() const
{
    const std::lock_guard lock(mutex);
    return calls;
}

std::vector<CardCall> Core::CallsOf(const std::string& function) const
{
    const std::lock_guard lock(mutex);
    std::vector<CardCall> found;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(found),
                 [&](const CardCall& call) { return call.function == function; });
    return found;
}

void Core::ForgetCalls()
{
    const std::lock_guard lock(mutex);
    calls.clear();
}

void Core::Note(const std::string& text)
{
    const std::lock_guard lock(mutex);
    if (!recording) {
        return;
    }
    CardCall note;
    note.function = text;
    note.text = text;
    note.thread = std::this_thread::get_id();
    calls.push_back(std::move(note));
}

void Core::SetRecording(bool enabled)
{
    const std::lock_guard lock(mutex);
    recording = enabled;
}

std::vector<LedgerEntry> Core::Ledger() const
{
    const std::lock_guard lock(mutex);
    std::vector<LedgerEntry> ledger;
    ledger.reserve(sessions.size());
    for (const auto& [session, open] : sessions) {
        ledger.push_back(open.entry);
    }
    return ledger;
}

void Core::ForgetLedger()
{
    const std::lock_guard lock(mutex);
    sessions.clear();
}

void Core::ForgetClosedSessions()
{
    const std::lock_guard lock(mutex);
    std::erase_if(sessions, [](const auto& session) { return session.second.entry.closes > 0; });
}

std::vector<std::string> Core::Violations() const
{
    const std::lock_guard lock(mutex);
    return violations;
}

int Core::CallsInside() const
{
    const std::lock_guard lock(mutex);
    return inside;
}

int Core::MostCallsInside() const
{
    const std::lock_guard lock(mutex);
    return mostInside;
}

void Core::ForgetAnswersAndEvents()
{
    const std::lock_guard lock(mutex);
    for (const Event& event : events) {
        if (event.event == cardInsertedEvent) {
            sessions.erase(event.session);
        }
    }
    events.clear();
    eventsProcessed = eventsPushed;
    queued.clear();
    standing.clear();
}

void Core::ForgetReaders()
{
    const std::lock_guard lock(mutex);
    readers.clear();
    forcedReaderList.reset();
}

void Core::Reset()
{
    ForgetAnswersAndEvents();
    ForgetReaders();
    ForgetClosedSessions();
    const std::lock_guard lock(mutex);
    signing = nullptr;
    logSwitches.reset();
    calls.clear();
    violations.clear();
    mostInside = 0;
}

void Core::HoldForFork()
{
    mutex.lock();
}

void Core::ReleaseAfterFork()
{
    mutex.unlock();
}

void Core::ReleaseInChild()
{
    new (&changed) std::condition_variable; // whose waiting threads the child does not have
    mutex.unlock();
}

void Core::OnPassage(void (*passed)(int change))
{
    passageTold = passed;
}

void Core::Passage::Tell(int change)
{
    if (void (*const told)(int) = Instance().passageTold; told != nullptr) {
        told(change);
    }
}

Core::Departure::~Departure()
{
    const std::lock_guard lock(core.mutex);
    --core.inside;
}

// The caller holds the lock.
Answer Core::TakeAnswer(const std::string& function)
{
    const auto queue = queued.find(function);
    if (queue != queued.end() && !queue->second.empty()) {
        Answer answer = std::move(queue->second.front());
        queue->second.pop_front();
        return answer;
    }
    const auto always = standing.find(function);
    return always == standing.end() ? Answer{} : always->second;
}

Answer Core::Enter(CardCall call)
{
    Answer answer;
    {
        const std::lock_guard lock(mutex);
        answer = TakeAnswer(call.function);
        KeepLedger(call);
        if (recording) {
            call.text = DescribeCall(call);
            call.thread = std::this_thread::get_id();
            calls.push_back(std::move(call));
        }
        mostInside = std::max(mostInside, ++inside);
    }
    const Departure departure(*this);
    if (answer.delay.count() > 0) {
        std::this_thread::sleep_for(answer.delay);
    }
    if (answer.hook) {
        answer.hook(); // may throw, for the tests of what becomes of an exception
    }
    return answer;
}

Core::Reader& Core::ReaderNamed(const std::u16string& name)
{
    const auto found = std::find_if(readers.begin(), readers.end(),
                                    [&](const Reader& reader) { return reader.name == name; });
    if (found == readers.end()) {
        throw std::logic_error("no such reader: " + NarrowText(name));
    }
    return *found;
}

CardSession Core::OpenOn(Reader& reader, bool byEvent)
{
    const CardSession session = nextSession++;
    reader.lastSession = session;
    OpenCard& open = sessions[session];
    open.card = reader.card;
    open.entry.session = session;
    open.entry.reader = reader.name;
    open.entry.byEvent = byEvent;
    return session;
}

std::shared_ptr<Card> Core::CardOf(CardSession session) const
{
    const auto found = sessions.find(session);
    return found == sessions.end() ? nullptr : found->second.card;
}

void Core::KeepLedger(const CardCall& call)
{
    if (call.session == 0 || call.function == "OpenSession") {
        return;
    }
    const auto found = sessions.find(call.session);
    if (found == sessions.end()) {
        violations.push_back("unknown session: " + DescribeCall(call));
        return;
    }
    LedgerEntry& entry = found->second.entry;
    if (entry.closes > 0) {
        violations.push_back("closed session: " + DescribeCall(call));
    }
    entry.closes += call.function == "CloseSession" ? 1 : 0;
    entry.transactionStarts += call.function == "StartTransaction" ? 1 : 0;
    entry.transactionStops += call.function == "StopTransaction" ? 1 : 0;
}

void Core::Push(Event event)
{
    events.push_back(std::move(event));
    ++eventsPushed;
    changed.notify_all();
}

void Core::Deliver(const Event& event, ReaderCallback callback)
{
    const CardStatus status = event.status;
    {
        const Passage outside(-1);
        callback(event.event, event.reader.c_str(), event.session, &status);
    }
    const std::lock_guard lock(mutex);
    ++eventsProcessed;
    changed.notify_all();
}

CardStatus Core::Wait(uint32_t milliseconds, ReaderCallback callback)
{
    Answer answer;
    {
        const std::lock_guard lock(mutex);
        answer = TakeAnswer("WaitForReaderEvent");
    }
    if (answer.hook) {
        answer.hook();
    }
    std::vector<Event> due; // which has nothing allocated while there is no event
    bool elsewhere = false;
    {
        std::unique_lock lock(mutex);
        if (recording) {
            CardCall call;
            call.function = "WaitForReaderEvent";
            call.constants = {milliseconds};
            call.text = DescribeCall(call);
            call.thread = std::this_thread::get_id();
            calls.push_back(std::move(call));
        }
        const auto limit = std::min(std::chrono::milliseconds(milliseconds), longestWait);
        changed.wait_until(lock, std::chrono::system_clock::now() + limit, [&] { return !events.empty(); });
        due.swap(events);
        elsewhere = ownThread;
    }
    for (const Event& event : due) {
        if (elsewhere) {
            std::thread([&] { Deliver(event, callback); }).join();
        } else {
            Deliver(event, callback);
        }
    }
    return answer.status;
}

void Core::InitializeLogger(const void* logger)
{
    CardCall call;
    call.function = "Initialize";
    call.pointer = logger;
    {
        const std::lock_guard lock(mutex);
        loggerAddress = logger;
        if (logSwitches) {
            StoreSwitches(logger, *logSwitches);
        }
    }
    static_cast<void>(Enter(std::move(call)));
}

} // namespace scripted

extern "C" ScriptedCard* ScriptedCard_Instance()
{
    return &scripted::Core::Instance();
}
