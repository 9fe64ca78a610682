// The boundary: readers, sessions and what a card tells about itself.
#include "softcard/base/text.h"
#include "softcard/card/card_error.h"
#include "softcard/card/fault.h"
#include "softcard/card/reader_directory.h"
#include "softcard/cardapi/boundary.h"

#include <algorithm>
#include <string>

using softcard::Guarded;
using softcard::RequirePointer;
using softcard::Runtime;
using softcard::UseCard;

namespace {

// Each name with its terminator, as many whole names as fit.
std::u16string JoinReaderNames(size_t capacity)
{
    const softcard::Directories directories = Runtime::Instance().RequireDirectories();
    std::u16string names;
    for (const auto& reader : softcard::ReaderDirectory(directories).List()) {
        if (!reader.card.empty()) {
            softcard::MeetOrderedFault(directories, reader.card, "GetReaderList");
        }
        const std::u16string name = softcard::ToUtf16(reader.name);
        if (names.size() + name.size() + 1 <= capacity) {
            names += name;
            names.push_back(u'\0');
        }
    }
    return names;
}

void MeetFaultInReader(const std::string& readerName, const std::string& operation)
{
    const softcard::Directories directories = Runtime::Instance().RequireDirectories();
    const auto reader = softcard::ReaderDirectory(directories).Find(readerName);
    if (reader && !reader->card.empty()) {
        softcard::MeetFault(directories, reader->card, operation);
    }
}

// Terminated only when shorter than the field.
template <size_t width>
void CopyField(const std::string& text, char (&field)[width])
{
    std::copy_n(text.begin(), std::min(text.size(), width), field);
}

// The card's serial number, cut to the capacity, with a terminator behind it.
void CopySerialNumber(const std::string& serialNumber, char* text, uint32_t* capacity)
{
    if (text == nullptr || capacity == nullptr) {
        return;
    }
    *capacity = std::min(*capacity, static_cast<uint32_t>(serialNumber.size()));
    std::copy_n(serialNumber.begin(), *capacity, text);
    text[*capacity] = '\0';
}

} // namespace

int32_t CardAPI_GetReaderList(char16_t* buffer, uint32_t capacity)
{
    if (buffer == nullptr || capacity == 0) {
        return -eInvalidParam;
    }
    buffer[0] = u'\0';
    std::u16string names;
    const CardStatus status = Guarded([&] { names = JoinReaderNames(capacity); });
    std::copy(names.begin(), names.end(), buffer);
    const auto used = std::max<int32_t>(static_cast<int32_t>(names.size()), 1);
    if (status == eStatusOk) {
        return used;
    }
    return status > 0 ? -status : status; // never a length, also when a negative status was ordered
}

CardStatus CardAPI_OpenSession(const char16_t* readerName, CardSession* session)
{
    return Guarded([&] {
        RequirePointer(readerName);
        RequirePointer(session);
        const auto name = softcard::ToUtf8(readerName);
        if (!name) {
            throw softcard::CardError(eStatusUNKNOWN_READER, "The name is not well-formed.");
        }
        MeetFaultInReader(*name, "OpenSession");
        *session = Runtime::Instance().Open(*name);
    });
}

CardStatus CardAPI_CloseSession(CardSession session)
{
    return Guarded([&] {
        (void)softcard::LeaveCard(session, "CloseSession");
        Runtime::Instance().Close(session);
    });
}

CardStatus CardAPI_StartTransaction(CardSession session)
{
    return Guarded([&] { UseCard(session, "StartTransaction")->StartTransaction(); });
}

CardStatus CardAPI_StopTransaction(CardSession session)
{
    return Guarded([&] { softcard::LeaveCard(session, "StopTransaction")->StopTransaction(); });
}

CardStatus CardAPI_GetTokenInfo(CardSession session, CardTokenInfo* info, char* text, uint32_t* capacity)
{
    return Guarded([&] {
        RequirePointer(info);
        const auto found = UseCard(session, "GetTokenInfo");
        const softcard::Card& card = found->InsertedCard();
        *info = {};
        std::copy(card.versions.begin(), card.versions.end(), info->versions);
        CopyField(card.manufacturer, info->manufacturer);
        CopyField(card.model, info->model);
        CopySerialNumber(card.serialNumber, text, capacity);
    });
}

CardStatus CardAPI_GetSessionFlags(CardSession session, uint32_t* flags)
{
    return Guarded([&] {
        RequirePointer(flags);
        *flags = 0;
        const auto found = UseCard(session, "GetSessionFlags");
        *flags = cardPresentFlag | (found->HasSecureMessaging() ? secureMessagingFlag : 0);
    });
}

CardStatus CardAPI_WaitForReaderEvent(uint32_t milliseconds, ReaderCallback callback)
{
    return Guarded([&] {
        if (callback == nullptr) {
            throw softcard::CardError(eInvalidParam, "The callback is missing.");
        }
        for (const auto& event : Runtime::Instance().WaitForEvents(std::chrono::milliseconds(milliseconds))) {
            callback(event.code, softcard::ToUtf16(event.reader).c_str(), event.session, &event.status);
        }
    });
}
