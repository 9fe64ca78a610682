#include "runtime.h"

#include "card_error.h"
#include "files.h"
#include "secret.h"

#include <botan/asn1_oid.h>

#include <algorithm>

namespace softcard {
namespace {

bool IsStillIn(const std::vector<Reader>& readers, const std::string& name, const std::string& insertion)
{
    return std::any_of(readers.begin(), readers.end(), [&](const Reader& reader) {
        return reader.name == name && !reader.card.empty() && reader.insertion == insertion;
    });
}

// The cryptographic library makes its memory pool and its table of names on first use. They are made here, on
// the one thread that starts the library, so that no two threads meet over it later.
void PrepareCryptography()
{
    const SecretBytes fromThePool(1);
    (void)Botan::OID::from_string("RSA");
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
    const std::lock_guard lock(mutex_);
    PrepareCryptography();
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
}

Directories Runtime::RequireDirectories() const
{
    const std::lock_guard lock(mutex_);
    RequireInitialized();
    return directories_;
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
    knownCards_[reader] = {found->insertion, session};
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
    const auto watch = std::make_shared<ReaderWatch>(RequireDirectories().Readers());
    {
        const std::lock_guard lock(mutex_);
        watches_.insert(watch);
    }
    const auto forget = [&](const void* /*unused*/) {
        const std::lock_guard lock(mutex_);
        watches_.erase(watch);
    };
    const std::unique_ptr<const void, decltype(forget)> guard(watch.get(), forget);
    while (true) {
        std::vector<ReaderEvent> events = CollectEvents();
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
    auto session = std::make_shared<Session>(CardStore(directories_).Load(reader.card), reader);
    sessions_[++lastSession_] = std::move(session);
    return lastSession_;
}

std::vector<ReaderEvent> Runtime::CollectEvents()
{
    const std::lock_guard lock(mutex_);
    RequireInitialized();
    const std::vector<Reader> readers = ReaderDirectory(directories_).List();
    std::vector<ReaderEvent> events;
    CollectRemovals(readers, events);
    CollectInsertions(readers, events);
    return events;
}

void Runtime::CollectRemovals(const std::vector<Reader>& readers, std::vector<ReaderEvent>& events)
{
    std::erase_if(knownCards_, [&](const auto& known) {
        const auto& [reader, card] = known;
        if (IsStillIn(readers, reader, card.insertion)) {
            return false;
        }
        events.push_back({cardRemovedEvent, reader, card.session, statusOk});
        return true;
    });
}

void Runtime::CollectInsertions(const std::vector<Reader>& readers, std::vector<ReaderEvent>& events)
{
    for (const Reader& reader : readers) {
        if (reader.card.empty() || knownCards_.contains(reader.name)) {
            continue;
        }
        ReaderEvent event{cardInsertedEvent, reader.name, 0, statusOk};
        try {
            event.session = OpenLocked(reader);
        } catch (const std::exception&) {
            event.status = statusUnknownCardType;
        }
        knownCards_[reader.name] = {reader.insertion, event.session};
        events.push_back(std::move(event));
    }
}

} // namespace softcard
