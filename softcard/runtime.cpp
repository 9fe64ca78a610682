#include "runtime.h"

#include "card_error.h"
#include "fault.h"
#include "system/files.h"

#include "crypto/shared_objects.h"

#include <algorithm>

namespace softcard {
namespace {

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

} // namespace

Runtime& Runtime::Instance()
{
    static auto* const instance = new Runtime();
    return *instance;
}

void Runtime::Initialize()
{
    Directories directories = FindDirectories();
    EnsurePrivateFolder(directories.Readers());
    EnsurePrivateFolder(directories.Cards());
    const std::lock_guard lock(mutex_);
    PrepareSharedCryptoObjects(); // on one thread, so that no two meet over it later
    directories_ = std::move(directories);
    initialized_ = true;
}

void Runtime::Finalize()
{
    const std::lock_guard lock(mutex_);
    initialized_ = false;
    knownCards_.clear();
    for (const auto& [number, session] : sessions_) {
        session->End();
    }
    for (const auto& watch : watches_) {
        watch->WakeUp();
    }
    watches_.clear();
}

Directories Runtime::RequireDirectories() const
{
    const std::lock_guard lock(mutex_);
    RequireInitialized();
    return directories_;
}

std::optional<Directories> Runtime::CurrentDirectories() const
{
    const std::lock_guard lock(mutex_);
    return initialized_ ? std::optional(directories_) : std::nullopt;
}

CardSession Runtime::Open(const std::string& reader)
{
    const std::lock_guard lock(mutex_);
    RequireInitialized();
    const auto found = ReaderDirectory(directories_).Find(reader);
    if (!found) {
        throw CardError(statusUnknownReader, "There is no such reader.");
    }
    if (found->card.empty()) {
        throw CardError(statusNoCard, "There is no card in the reader.");
    }
    const CardSession session = OpenLocked(*found);
    knownCards_[reader] = {found->card, found->insertion, session};
    return session;
}

std::shared_ptr<Session> Runtime::RequireSession(CardSession session) const
{
    const std::lock_guard lock(mutex_);
    RequireInitialized();
    const auto found = sessions_.find(session);
    if (found == sessions_.end() || found->second->HasEnded()) {
        throw CardError(statusInvalidSession, "There is no such session.");
    }
    const Reader& inserted = found->second->InsertedIn();
    const auto reader = ReaderDirectory(directories_).Find(inserted.name);
    if (!reader || reader->card.empty() || reader->insertion != inserted.insertion) {
        throw CardError(statusRemovedCard, "The card was removed.");
    }
    return found->second;
}

std::shared_ptr<Session> Runtime::RequireOpenSession(CardSession session) const
{
    const std::lock_guard lock(mutex_);
    const auto found = sessions_.find(session);
    if (found == sessions_.end()) {
        throw CardError(statusInvalidSession, "There is no such session.");
    }
    return found->second;
}

void Runtime::Close(CardSession session)
{
    const std::shared_ptr<Session> found = RequireOpenSession(session);
    found->End();
    const std::lock_guard lock(mutex_);
    sessions_.erase(session);
}

std::vector<ReaderEvent> Runtime::WaitForEvents(std::chrono::milliseconds time)
{
    const auto deadline = std::chrono::steady_clock::now() + time;
    const std::shared_ptr<ReaderWatch> watch = StartWatch();
    const auto forget = [&](const void* /*unused*/) {
        const std::lock_guard lock(mutex_);
        watches_.erase(watch);
    };
    const std::unique_ptr<const void, decltype(forget)> guard(watch.get(), forget);
    while (true) {
        watch->Follow();
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
    if (!initialized_) {
        throw CardError(statusNotInitialized, "The library is not initialised.");
    }
}

CardSession Runtime::OpenLocked(const Reader& reader)
{
    try {
        sessions_[lastSession_ + 1] =
            std::make_shared<Session>(CardStore(directories_).Load(reader.card), reader);
        return ++lastSession_;
    } catch (const std::exception& error) {
        throw CardError(statusUnknownCardType, error.what());
    }
}

std::shared_ptr<ReaderWatch> Runtime::StartWatch()
{
    const std::lock_guard lock(mutex_);
    RequireInitialized();
    return *watches_.insert(std::make_shared<ReaderWatch>(directories_)).first;
}

std::vector<ReaderEvent> Runtime::CollectEvents(const std::shared_ptr<ReaderWatch>& watch)
{
    const Changes changes = CollectChanges(watch);
    std::vector<ReaderEvent> events;
    for (const auto& [reader, known] : changes.removed) {
        const auto failure =
            MeetFailure(changes.directories, known.card, {"WaitForReaderEvent"}, std::nullopt);
        events.push_back({cardRemovedEvent, reader, known.session, failure.value_or(statusOk)});
    }
    for (const Reader& reader : changes.inserted) {
        if (auto event = OpenInserted(changes.directories, reader)) {
            events.push_back(std::move(*event));
        }
    }
    return events;
}

// Each change is found by one thread only.
Runtime::Changes Runtime::CollectChanges(const std::shared_ptr<ReaderWatch>& watch)
{
    const std::lock_guard lock(mutex_);
    RequireInitialized();
    if (!watches_.contains(watch)) {
        throw CardError(statusNotInitialized, "The library has been finalised, and initialised again.");
    }
    Changes changes{directories_, {}, {}};
    const std::vector<Reader> readers = ReaderDirectory(directories_).List();
    std::erase_if(knownCards_, [&](const auto& known) {
        const bool isGone = !IsStillIn(readers, known.first, known.second.insertion);
        if (isGone) {
            changes.removed.insert(known);
        }
        return isGone;
    });
    for (const Reader& reader : readers) {
        if (!reader.card.empty() && !knownCards_.contains(reader.name)) {
            knownCards_[reader.name] = {reader.card, reader.insertion, 0};
            changes.inserted.push_back(reader);
        }
    }
    return changes;
}

// A fault can take its time, so nobody waits for it. Nothing when the card was opened, or had gone again,
// before there was a session to tell of.
std::optional<ReaderEvent> Runtime::OpenInserted(const Directories& directories, const Reader& reader)
{
    const auto failure =
        MeetFailure(directories, reader.card, {"WaitForReaderEvent", "OpenSession"}, statusInternalError);
    const std::lock_guard lock(mutex_);
    RequireInitialized();
    const auto known = knownCards_.find(reader.name);
    if (known == knownCards_.end() || known->second.insertion != reader.insertion ||
        known->second.session != 0) {
        return std::nullopt;
    }
    ReaderEvent event{cardInsertedEvent, reader.name, 0, failure.value_or(statusOk)};
    if (failure) {
        return event;
    }
    try {
        event.session = OpenLocked(reader);
    } catch (const CardError& error) {
        event.status = error.Status();
    }
    known->second.session = event.session;
    return event;
}

} // namespace softcard
