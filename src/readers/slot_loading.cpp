#include "src/readers/slot_loading.h"

#include "src/card/card_status.h"
#include "src/log/logger.h"
#include "src/objects/copy_blank_padded.h"
#include "src/readers/token_description.h"
#include "src/store/internal_cache.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

namespace {

constexpr uint32_t readerListCapacity = 1023;

void DescribeToken(const CardConnection& card, CK_SLOT_INFO& info)
{
    CardTokenInfo tokenInfo;
    if (card.GetTokenInfo(tokenInfo) == eStatusOk) {
        DescribeCard(tokenInfo, info);
    }
}

CK_FLAGS SlotFlags(CardSession cardSession)
{
    uint32_t sessionFlags = 0;
    if (CardAPI_GetSessionFlags(cardSession, &sessionFlags) != eStatusOk) {
        return 0;
    }
    const CK_FLAGS present = (sessionFlags & cardPresentFlag) != 0 ? CKF_TOKEN_PRESENT : 0;
    return present | CKF_REMOVABLE_DEVICE | CKF_HW_SLOT;
}

std::shared_ptr<Slot> MakeSlot(CK_SLOT_ID slotId, uint32_t tokenId, std::string_view label)
{
    auto slot = std::make_shared<Slot>(slotId, tokenId, label);
    const auto token = InternalCache::GetInstance().GetCardToken(tokenId);
    if (token == nullptr || token->card.session == 0) {
        return slot;
    }
    const std::string description = token->readerName + "; " + slot->label;
    CopyBlankPadded(slot->info.slotDescription, sizeof(slot->info.slotDescription), description.c_str());
    DescribeToken(token->card, slot->info);
    slot->info.flags = SlotFlags(token->card.session);
    return slot;
}

// For what follows a failure that the caller is told of.
template <typename Step>
void Try(Step&& step) noexcept
{
    try {
        std::forward<Step>(step)();
    } catch (...) { // NOLINT(bugprone-empty-catch): the first failure counts
    }
}

// Reads the card that is being added in a transaction. It is not one of CardConnection: the token counts as holding
// none.
template <typename Read>
void InTransaction(CardSession cardSession, Read&& read)
{
    CardAPI_StartTransaction(cardSession);
    try {
        std::forward<Read>(read)();
    } catch (...) {
        Try([cardSession] { CardAPI_StopTransaction(cardSession); });
        throw;
    }
    CardAPI_StopTransaction(cardSession);
}

// The card session becomes the token's.
void AddCard(CardSession cardSession, const std::string& readerName)
{
    auto& cache = InternalCache::GetInstance();
    UnownedCardSession unowned(cardSession);
    std::shared_ptr<CardToken> token; // ends behind the transaction, when the store does not take it
    InTransaction(cardSession, [&] {
        token = std::make_shared<CardToken>(cache.tokenIdCounter++, cardSession, readerName);
        unowned.Release();
        cache.AddCardToken(token);
        cache.AddSlot(MakeSlot(cache.slotIdCounter++, token->tokenId, qualifiedLabel));
        cache.AddSlot(MakeSlot(cache.slotIdCounter++, token->tokenId, ordinaryLabel));
    });
}

void AddCardInReader(const char16_t* readerName)
{
    const std::string narrowName =
        NarrowReaderName(readerName); // nothing may fail between the two calls below
    CardSession cardSession = 0;
    CardAPI_OpenSession(readerName, &cardSession);
    if (cardSession != 0) {
        AddCard(cardSession, narrowName);
    }
}

// Goes through the readers that the card side lists. The first name is taken in any case, even from a list of no
// characters.
void AddCardsInAllReaders()
{
    // Filled with characters that are not zero, so that only what the card side writes ends a name.
    std::array<char16_t, readerListCapacity + 1> names{};
    std::fill_n(reinterpret_cast<unsigned char*>(names.data()), sizeof(names), static_cast<unsigned char>(1));
    names.back() = u'\0'; // the loop must end inside the buffer, whatever the card side wrote

    const int32_t count = CardAPI_GetReaderList(names.data(), readerListCapacity);
    if (count < 0) {
        return;
    }
    const auto end = static_cast<std::size_t>(count);
    std::size_t position = 0;
    while (position < names.size()) {
        const char16_t* readerName = names.data() + position;
        AddCardInReader(readerName);
        position += std::char_traits<char16_t>::length(readerName) + 1;
        if (position + 1 >= end) {
            return;
        }
    }
}

} // namespace

UnownedCardSession::UnownedCardSession(CardSession open) : session(open) {}

UnownedCardSession::~UnownedCardSession()
{
    if (session != 0) {
        Try([this] { CardAPI_CloseSession(session); });
    }
}

CardSession UnownedCardSession::Release()
{
    return std::exchange(session, 0);
}

void LoadSlotList(CardSession cardSession, const std::string& readerName)
{
    constexpr char logFunction[] = "LoadSlotList";
    LOG_LINE(LogLevel_Debug, logFunction, "LoadSlotList call start");
    if (cardSession != 0) {
        LOG_LINE(LogLevel_Debug, logFunction, "CardAPI session is not null, going to start transaction");
        AddCard(cardSession, readerName);
    } else {
        LOG_LINE(LogLevel_Debug, logFunction, "CardAPI session is null");
        AddCardsInAllReaders();
    }
    LOG_LINE(LogLevel_Debug, logFunction, "LoadSlotList call end");
}

void EndCardSessions(std::vector<std::shared_ptr<CardToken>> tokens)
{
    std::exception_ptr failure;
    for (auto& token : tokens) {
        try {
            if (token.use_count() == 1) {
                token->card.End();
            }
        } catch (...) {
            failure = failure == nullptr ? std::current_exception() : failure;
        }
        token = nullptr;
    }
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
}

std::string NarrowReaderName(const char16_t* readerName)
{
    std::string narrow;
    for (; *readerName != u'\0'; ++readerName) {
        narrow += static_cast<char>(*readerName & 0xFFU);
    }
    return narrow;
}
