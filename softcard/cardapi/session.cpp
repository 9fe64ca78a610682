#include "softcard/cardapi/session.h"

#include "softcard/card/card_channel.h"
#include "softcard/card/card_error.h"

#include <utility>

namespace softcard {

bool Session::Authorize(KeyFamily family, OpenedKeys keys)
{
    const std::string mark = ReadChannelMark(card.folder);
    const MutexLock lock(mutex);
    if (ended) {
        return false;
    }
    if (channelMark != mark) {
        ordinaryKeys.reset();
        qualifiedKeys.reset();
        channelMark = mark;
    }
    (family == KeyFamily::qualified ? qualifiedKeys : ordinaryKeys) = std::move(keys);
    return true;
}

void Session::Withdraw(KeyFamily family)
{
    const MutexLock lock(mutex);
    (family == KeyFamily::qualified ? qualifiedKeys : ordinaryKeys).reset();
}

bool Session::HasSecureMessaging() const
{
    const std::string mark = ReadChannelMark(card.folder);
    const MutexLock lock(mutex);
    return ordinaryKeys && channelMark == mark;
}

std::optional<OpenedKeys> Session::OrdinaryKeys() const
{
    const std::string mark = ReadChannelMark(card.folder);
    const MutexLock lock(mutex);
    return channelMark == mark ? ordinaryKeys : std::nullopt;
}

std::optional<OpenedKeys> Session::TakeQualifiedKeys()
{
    const auto [keys, keysMark] = ExchangeQualifiedKeys();
    return keysMark == ReadChannelMark(card.folder) ? keys : std::nullopt;
}

void Session::StartTransaction()
{
    // It can take half a second, in which the session must not be locked.
    auto started = std::make_unique<CardTransaction>(card.folder);
    const MutexLock lock(mutex);
    if (ended) {
        throw CardError(eInvalidSession, "The session has ended.");
    }
    transaction = std::move(started);
}

void Session::StopTransaction()
{
    const MutexLock lock(mutex);
    if (!transaction) {
        throw CardError(eStatusNOT_TRANSACTED, "No transaction is active on the session.");
    }
    transaction.reset();
}

void Session::End()
{
    const MutexLock lock(mutex);
    ended = true;
    ordinaryKeys.reset();
    qualifiedKeys.reset();
    transaction.reset();
}

// Also where the mark cannot be read, a signature uses them up.
std::pair<std::optional<OpenedKeys>, std::string> Session::ExchangeQualifiedKeys()
{
    const MutexLock lock(mutex);
    return {std::exchange(qualifiedKeys, std::nullopt), channelMark};
}

bool Session::HasEnded() const
{
    const MutexLock lock(mutex);
    return ended;
}

} // namespace softcard
