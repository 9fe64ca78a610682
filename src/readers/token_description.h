// What the record of a slot and that of a token say of the card in the same way.
#pragma once

#include "src/card/card_api.h"
#include "src/objects/copy_blank_padded.h"

#include <cstddef>
#include <string>

// Copies a text field of a card's record, which ends without a zero when the text fills it, into one of a Cryptoki
// record, which is filled up with blanks.
template <std::size_t fieldWidth, std::size_t width>
void CopyCardText(const char (&field)[fieldWidth], unsigned char (&destination)[width])
{
    const std::string text(field, fieldWidth);
    CopyBlankPadded(destination, static_cast<int32_t>(width), text.c_str());
}

// `Info` is CK_SLOT_INFO or CK_TOKEN_INFO.
template <typename Info>
void DescribeCard(const CardTokenInfo& tokenInfo, Info& info)
{
    CopyCardText(tokenInfo.manufacturer, info.manufacturerID);
    info.hardwareVersion = {tokenInfo.versions[0], tokenInfo.versions[1]};
    info.firmwareVersion = {tokenInfo.versions[2], tokenInfo.versions[3]};
}
