#include "softcard/cardapi/runtime.h"

#include "softcard/card/card_error.h"
#include "softcard/card/fault.h"
#include "softcard/cardapi/system/process_end.h"
#include "softcard/system/files.h"

#include "src/crypto/shared_objects.h"

#include <algorithm>
#include <new>

namespace softcard {
namespace {

constexpr int mostAttempts = 5; // to open a card before it is swapped for another

bool IsStillIn(const std::vector<Reader>& readers, const std::string& name, const std::string& insertion)
{
    return std::any_of(readers.begin(), readers.end(), [&](const Reader& reader) {
        return reader.name == name && !reader.card.empty() && reader.insertion == insertion;
    });
}

// What the first of the operations that is ordered to fail answers; `unknown` when the orders cannot be read,
// since a change that was found must be told of all the same.
std::optional<CardStatus> MeetFailure(const Directories& directories, const std::string& card,
                                      const std::vector<std::string>& operations,
                                      std::optional<CardStatus> unknown)
{
    try {
        for (const std::string& operation : operations) {
            MeetFault(directories, card, operation);
        }
        return std::nullopt;
    } catch (const CardError& error) {
        return error.Status();
    } catch (const std::exception&) {
        return unknown;
    }
}

// Throws CardError when there is no such reader or no card in it.
Reader RequireCardIn(const Directories& directories, const std::string& reader)
{
    auto found = ReaderDirectory(directories).Find(reader);
    if (!found) {
        throw CardError(eStatusUNKNOWN_READER, "There is no such reader.");
    }
    if (found->card.empty()) {
        throw CardError(eStatusNO_SMARTCARD, "There is no card in the reader.");
    }
    return std::move(*found);
}

// Throws CardError for a card that cannot be read.
std::shared_ptr<Session> LoadSession(const Directories& directories, const Reader& reader)
{
    try {
        return std::make_shared<Session>(CardStore(directories).Load(reader.card), reader);
    } catch (const std::exception& error) {
        throw CardError(eUnknownCardType, error.what());
    }
}

} // namespace

Runtime& Runtime::Instance()
{
    return *Current();
}

Runtime*& Runtime::Current()
{
    static auto* instance = [] {
        CallInForkedChildren(BeginInChild);
        return new Runtime();
    }();
    return instance;
}

// A thread that the child has not may have held the locks: for long the one for looking at the readers, which guards
// no data, and for moments the other, behind which nothing is to be relied on then. Waits of the parent's threads are
// not woken, whose files both processes share.
void Runtime::BeginInChild()
{
    Runtime& runtime = Instance();
    if (!runtime.mutex.TryLock()) {
        Current() = new Runtime();
        return;
    }
    new (&runtime.looking) Mutex;
    runtime.watches.clear();
    runtime.mutex.Unlock();
}

void Runtime::Initialize()
{
    Directories found = FindDirectories();
    EnsurePrivateFolder(found.Readers());
    EnsurePrivateFolder(found.Cards());
    const MutexLock lock(mutex);
    PrepareSharedCryptoObjects(); // on one thread, so that no two meet over it later
    directories = std::move(found);
    initialized = true;
}

void Runtime::Finalize()
{
    const MutexLock lock(mutex);
    initialized = false;
    ++run;
    knownCards.clear();
    for (const auto& [number, session] : sessions) {
        session->End();
    }
    for (const auto& watch : watches) {
        watch->WakeUp();
    }
    watches.clear();
}

Directories Runtime::RequireDirectories() const
{
    const MutexLock lock(mutex);
    RequireInitialized();
    return directories;
}

std::optional<Directories> Runtime::CurrentDirectories() const
{
    const MutexLock lock(mutex);
    return initialized ? std::optional(directories) : std::nullopt;
}

CardSession Runtime::Open(const std::string& reader)
{
    const Run current = CurrentRun();
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        const Reader found = RequireCardIn(current.directories, reader);
        auto loaded = LoadSession(current.directories, found);
        const MutexLock oneAtATime(looking);
        if (RequireCardIn(current.directories, reader).insertion == found.insertion) {
            const MutexLock lock(mutex);
            RequireSameRun(current);
            const CardSession session = Register(std::move(loaded));
            knownCards[reader] = {found.card, found.insertion, session};
            return session;
        }
    }
    throw CardError(eStatusREMOVED_CARD, "The card in the reader is another one each time.");
}

std::shared_ptr<Session> Runtime::RequireSession(CardSession session) const
{
    const Run current = CurrentRun();
    auto found = RequireOpenSession(session);
    if (found->HasEnded()) {
        throw CardError(eInvalidSession, "There is no such session.");
    }
    const Reader& inserted = found->InsertedIn();
    const auto reader = ReaderDirectory(current.directories).Find(inserted.name);
    if (!reader || reader->card.empty() || reader->insertion != inserted.insertion) {
        throw CardError(eStatusREMOVED_CARD, "The card was removed.");
    }
    return found;
}

std::shared_ptr<Session> Runtime::RequireOpenSession(CardSession session) const
{
    const MutexLock lock(mutex);
    const auto found = sessions.find(session);
    if (found == sessions.end()) {
        throw CardError(eInvalidSession, "There is no such session.");
    }
    return found->second;
}

void Runtime::Close(CardSession session)
{
    const std::shared_ptr<Session> found = RequireOpenSession(session);
    found->End();
    const MutexLock lock(mutex);
    sessions.erase(session);
}

std::vector<ReaderEvent> Runtime::WaitForEvents(std::chrono::milliseconds time)
{
    const auto deadline = std::chrono::steady_clock::now() + time;
    const std::shared_ptr<ReaderWatch> watch = StartWatch();
    const auto forget = [&](const void* /*unused*/) {
        const MutexLock lock(mutex);
        watches.erase(watch);
    };
    const std::unique_ptr<const void, decltype(forget)> guard(watch.get(), forget);
    while (true) {
        if (time.count() > 0) { // only who waits has to be told
            watch->Follow();
        }
        std::vector<ReaderEvent> events = CollectEvents(watch);
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (!events.empty() || left.count() <= 0) {
            return events;
        }
        watch->Wait(left);
    }
}

void Runtime::RequireInitialized() const
{
    if (!initialized) {
        throw CardError(eLibraryNotInitialized, "The library is not initialised.");
    }
}

Runtime::Run Runtime::CurrentRun() const
{
    const MutexLock lock(mutex);
    RequireInitialized();
    return {run, directories};
}

void Runtime::RequireSameRun(const Run& earlier) const
{
    RequireInitialized();
    if (earlier.number != run) {
        throw CardError(eLibraryNotInitialized, "The library has been finalised, and initialised again.");
    }
}

CardSession Runtime::Register(std::shared_ptr<Session> session)
{
    sessions[lastSession + 1] = std::move(session);
    return ++lastSession;
}

std::shared_ptr<ReaderWatch> Runtime::StartWatch()
{
    const MutexLock lock(mutex);
    RequireInitialized();
    return *watches.insert(std::make_shared<ReaderWatch>(directories)).first;
}

std::vector<ReaderEvent> Runtime::CollectEvents(const std::shared_ptr<ReaderWatch>& watch)
{
    const Changes changes = CollectChanges(watch);
    std::vector<ReaderEvent> events;
    for (const auto& [reader, known] : changes.removed) {
        const auto failure =
            MeetFailure(changes.run.directories, known.card, {"WaitForReaderEvent"}, std::nullopt);
        events.push_back({cardRemovedEvent, reader, known.session, failure.value_or(eStatusOk)});
    }
    for (const Reader& reader : changes.inserted) {
        if (auto event = OpenInserted(changes.run, reader)) {
            events.push_back(std::move(*event));
        }
    }
    return events;
}

// Each change is found by one thread only.
Runtime::Changes Runtime::CollectChanges(const std::shared_ptr<ReaderWatch>& watch)
{
    const MutexLock oneAtATime(looking);
    Changes changes{CurrentRun(), {}, {}};
    const std::vector<Reader> readers = ReaderDirectory(changes.run.directories).List();
    const MutexLock lock(mutex);
    RequireSameRun(changes.run);
    if (!watches.contains(watch)) {
        throw CardError(eLibraryNotInitialized, "The library has been finalised, and initialised again.");
    }
    std::erase_if(knownCards, [&](const auto& known) {
        const bool isGone = !IsStillIn(readers, known.first, known.second.insertion);
        if (isGone) {
            changes.removed.insert(known);
        }
        return isGone;
    });
    for (const Reader& reader : readers) {
        if (!reader.card.empty() && !knownCards.contains(reader.name)) {
            knownCards[reader.name] = {reader.card, reader.insertion, 0};
            changes.inserted.push_back(reader);
        }
    }
    return changes;
}

// A fault can be delayed, so no lock is held meanwhile. Nothing when the card was opened, or had gone again,
// before there was a session.
std::optional<ReaderEvent> Runtime::OpenInserted(const Run& current, const Reader& reader)
{
    ReaderEvent event{cardInsertedEvent, reader.name, 0, eStatusOk};
    std::shared_ptr<Session> loaded;
    const auto failure =
        MeetFailure(current.directories, reader.card, {"WaitForReaderEvent", "OpenSession"}, eInternalError);
    try {
        event.status = failure.value_or(eStatusOk);
        loaded = failure ? nullptr : LoadSession(current.directories, reader);
    } catch (const CardError& error) {
        event.status = error.Status();
    }
    const MutexLock lock(mutex);
    RequireSameRun(current);
    const auto known = knownCards.find(reader.name);
    if (known == knownCards.end() || known->second.insertion != reader.insertion ||
        known->second.session != 0) {
        return std::nullopt;
    }
    if (loaded) {
        event.session = Register(std::move(loaded));
        known->second.session = event.session;
    }
    return event;
}

} // namespace softcard
