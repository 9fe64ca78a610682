#include "softcard/card/card_access.h"

#include "softcard/card/card_error.h"
#include "softcard/system/lock_holder.h"
#include "src/platform/mutex.h"

#include <chrono>
#include <set>
#include <thread>

namespace softcard {
namespace {

constexpr std::chrono::milliseconds longestWait{500};
constexpr std::chrono::milliseconds pause{5};

// The cards that this process has a transaction on. Never destroyed: see Runtime::Instance.
class OwnTransactions
{
public:
    static OwnTransactions& Instance()
    {
        static auto* const instance = new OwnTransactions();
        return *instance;
    }

    bool Contains(const std::filesystem::path& card)
    {
        const MutexLock lock(mutex);
        return cards.contains(card);
    }

    void Add(const std::filesystem::path& card)
    {
        const MutexLock lock(mutex);
        cards.insert(card);
    }

    void Remove(const std::filesystem::path& card)
    {
        const MutexLock lock(mutex);
        cards.erase(card);
    }

private:
    Mutex mutex;
    std::set<std::filesystem::path> cards GUARDED_BY(mutex);
};

// Tries until `attempt` returns true. Throws CardError when it does not in time.
template <typename Attempt>
void TryForAWhile(const Attempt& attempt)
{
    const auto deadline = std::chrono::steady_clock::now() + longestWait;
    while (!attempt()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            throw CardError(eStatusSHARING_VIOLATION, "Another transaction is active on the card.");
        }
        std::this_thread::sleep_for(pause);
    }
}

std::filesystem::path LockFile(const std::filesystem::path& cardFolder)
{
    return LockFileOf(cardFolder, "transaction");
}

} // namespace

CardTransaction::CardTransaction(std::filesystem::path folder) : cardFolder(std::move(folder))
{
    TryForAWhile([this] {
        if (OwnTransactions::Instance().Contains(cardFolder)) {
            throw CardError(eStatusSHARING_VIOLATION, "Another transaction is active on the card.");
        }
        lock = FileLock::Try(LockFile(cardFolder));
        return lock.has_value();
    });
    OwnTransactions::Instance().Add(cardFolder);
}

CardTransaction::~CardTransaction()
{
    OwnTransactions::Instance().Remove(cardFolder);
}

std::optional<FileLock> EnterCard(const std::filesystem::path& cardFolder)
{
    std::optional<FileLock> entry;
    TryForAWhile([&] {
        entry = FileLock::TryShared(LockFile(cardFolder));
        return entry.has_value() || OwnTransactions::Instance().Contains(cardFolder);
    });
    return entry;
}

std::optional<std::string> ProgramInTransaction(const std::filesystem::path& cardFolder)
{
    return LockHolder(LockFile(cardFolder));
}

} // namespace softcard
