#include "src/card/card_status.h"

const char* CardStatusName(CardStatus status)
{
    switch (status) {
#define CARD_STATUS(name, number)                                                                            \
    case name:                                                                                               \
        return #name;
#include "src/card/statuses.inc"
    default:
        return "";
    }
}

std::optional<CardStatus> CardStatusNamed(std::string_view name)
{
#define CARD_STATUS(status, number)                                                                          \
    if (name == #status) {                                                                                   \
        return status;                                                                                       \
    }
#include "src/card/statuses.inc"
    return std::nullopt;
}
