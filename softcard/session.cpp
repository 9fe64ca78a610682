#include "session.h"

#include "card_channel.h"
#include "card_error.h"

#include <utility>

namespace softcard {

bool Session::Authorize(KeyFamily family, PrivateKeys keys)
{
    const std::lock_guard lock(mutex_);
    if (ended_) {
        return false;
    }
    if (!ChannelStands()) {
        ordinaryKeys_.reset();
        qualifiedKeys_.reset();
        channelMark_ = ReadChannelMark(card_.folder);
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
    const std::lock_guard lock(mutex_);
    return ordinaryKeys_ && ChannelStands();
}

std::optional<PrivateKeys> Session::OrdinaryKeys() const
{
    const std::lock_guard lock(mutex_);
    return ChannelStands() ? ordinaryKeys_ : std::nullopt;
}

std::optional<PrivateKeys> Session::TakeQualifiedKeys()
{
    const std::lock_guard lock(mutex_);
    auto keys = std::exchange(qualifiedKeys_, std::nullopt);
    return ChannelStands() ? std::move(keys) : std::nullopt;
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

bool Session::ChannelStands() const
{
    return channelMark_ == ReadChannelMark(card_.folder);
}

bool Session::HasEnded() const
{
    const std::lock_guard lock(mutex_);
    return ended_;
}

} // namespace softcard
