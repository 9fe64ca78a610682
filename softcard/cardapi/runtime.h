// The state of the library in this process.
#pragma once

#include "softcard/card/card_store.h"
#include "softcard/card/directories.h"
#include "softcard/card/reader_directory.h"
#include "softcard/cardapi/session.h"
#include "softcard/cardapi/system/reader_watch.h"

#include "src/card/card_api.h"
#include "src/platform/mutex.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace softcard {

struct ReaderEvent
{
    uint32_t code = 0; // cardInsertedEvent or cardRemovedEvent
    std::string reader;
    CardSession session = 0;
    CardStatus status = 0;
};

// All members can be called on several threads at once.
class Runtime
{
public:
    // Made on first use and never destroyed: a thread of the host can outlast its static objects. A forked child goes
    // on with what its parent has, but for the waits of threads that it has not.
    static Runtime& Instance();

    void Initialize();

    // Ends all sessions, which can still be closed, and wakes every waiting thread.
    void Finalize();

    // Throws CardError before Initialize and after Finalize; the other gives nothing then.
    [[nodiscard]] Directories RequireDirectories() const;
    [[nodiscard]] std::optional<Directories> CurrentDirectories() const;

    // Throws CardError when there is no such reader or no card in it.
    [[nodiscard]] CardSession Open(const std::string& reader);

    // The session, its card still being where it was. Throws CardError when it is not.
    [[nodiscard]] std::shared_ptr<Session> RequireSession(CardSession session) const;

    // The session whatever became of its card and of the library. Throws CardError for one that was closed.
    [[nodiscard]] std::shared_ptr<Session> RequireOpenSession(CardSession session) const;
    void Close(CardSession session);

    // Waits until there are events or the time is over. Throws CardError when the library is, or gets,
    // finalized.
    [[nodiscard]] std::vector<ReaderEvent> WaitForEvents(std::chrono::milliseconds time);

private:
    // What the process has been told of a reader, or has found out by itself.
    struct KnownCard
    {
        std::string card;
        std::string insertion;
        CardSession session = 0; // 0 when none was opened, or not yet
    };

    // From one start of the library to its end.
    struct Run
    {
        uint64_t number = 0;
        Directories directories;
    };

    // What CollectEvents finds with the locks held, and reports after it released them.
    struct Changes
    {
        Run run;
        std::map<std::string, KnownCard> removed; // by reader
        std::vector<Reader> inserted;
    };

    Runtime() = default;
    static Runtime*& Current();
    static void BeginInChild();
    void RequireInitialized() const REQUIRES(mutex);
    void RequireSameRun(const Run& earlier) const REQUIRES(mutex);
    [[nodiscard]] Run CurrentRun() const;
    CardSession Register(std::shared_ptr<Session> session) REQUIRES(mutex);
    std::shared_ptr<ReaderWatch> StartWatch();
    std::vector<ReaderEvent> CollectEvents(const std::shared_ptr<ReaderWatch>& watch);
    Changes CollectChanges(const std::shared_ptr<ReaderWatch>& watch) EXCLUDES(looking, mutex);
    std::optional<ReaderEvent> OpenInserted(const Run& current, const Reader& reader);

    // Held while a thread reads the readers and notes what it found, so that no older view replaces a newer one.
    // No operation on an open session takes it.
    Mutex looking ACQUIRED_BEFORE(mutex);

    mutable Mutex mutex; // held for moments: no file is read meanwhile
    bool initialized GUARDED_BY(mutex) = false;
    uint64_t run GUARDED_BY(mutex) = 0; // the number of ends so far
    Directories directories GUARDED_BY(mutex);
    CardSession lastSession GUARDED_BY(mutex) = 0;
    std::map<CardSession, std::shared_ptr<Session>> sessions GUARDED_BY(mutex);
    std::map<std::string, KnownCard> knownCards GUARDED_BY(mutex); // by reader
    // Of the threads that wait in this run of the library.
    std::set<std::shared_ptr<ReaderWatch>> watches GUARDED_BY(mutex);
};

} // namespace softcard
