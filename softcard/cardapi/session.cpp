#include "softcard/cardapi/session.h"

#include "softcard/card/card_channel.h"
#include "softcard/card/card_error.h"

#include <utility>

namespace softcard {

bool Session::Authorize(KeyFamily family, PrivateKeys keys)
{
    const std::string mark = ReadChannelMark(card_.folder);
    const std::lock_guard lock(mutex_);
    if (ended_) {
        return false;
    }
    if (channelMark_ != mark) {
        ordinaryKeys_.reset();
        qualifiedKeys_.reset();
        channelMark_ = mark;
    }
    (family == KeyFamily::qualified ? qualifiedKeys_ : ordinaryKeys_) = std::move(keys);
    return true;
}

void Session::Withdraw(KeyFamily family)
{
    const std::lock_guard lock(mutex_);
    (family == KeyFamily::qualified ? qualifiedKeys_ : ordinaryKeys_).reset();
}

bool Session::HasSecureMessaging() const
{
    const std::string mark = ReadChannelMark(card_.folder);
    const std::lock_guard lock(mutex_);
    return ordinaryKeys_ && channelMark_ == mark;
}

std::optional<PrivateKeys> Session::OrdinaryKeys() const
{
    const std::string mark = ReadChannelMark(card_.folder);
    const std::lock_guard lock(mutex_);
    return channelMark_ == mark ? ordinaryKeys_ : std::nullopt;
}

std::optional<PrivateKeys> Session::TakeQualifiedKeys()
{
    const auto [keys, keysMark] = ExchangeQualifiedKeys();
    return keysMark == ReadChannelMark(card_.folder) ? keys : std::nullopt;
}

void Session::StartTransaction()
{
    // It can take a while, and nobody is to wait for the session meanwhile.
    auto transaction = std::make_unique<CardTransaction>(card_.folder);
    const std::lock_guard lock(mutex_);
    if (ended_) {
        throw CardError(statusInvalidSession, "The session has ended.");
    }
    transaction_ = std::move(transaction);
}

void Session::StopTransaction()
{
    const std::lock_guard lock(mutex_);
    if (!transaction_) {
        throw CardError(statusNotTransacted, "No transaction is active on the session.");
    }
    transaction_.reset();
}

void Session::End()
{
    const std::lock_guard lock(mutex_);
    ended_ = true;
    ordinaryKeys_.reset();
    qualifiedKeys_.reset();
    transaction_.reset();
}

// Also where the mark cannot be read, a signature uses them up.
std::pair<std::optional<PrivateKeys>, std::string> Session::ExchangeQualifiedKeys()
{
    const std::lock_guard lock(mutex_);
    return {std::exchange(qualifiedKeys_, std::nullopt), channelMark_};
}

bool Session::HasEnded() const
{
    const std::lock_guard lock(mutex_);
    return ended_;
}

} // namespace softcard
