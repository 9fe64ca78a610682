// A status of the card-access library as an exception.
#pragma once

#include "src/card/card_status.h"

#include <stdexcept>
#include <string>

namespace softcard {

class CardError : public std::runtime_error
{
public:
    CardError(CardStatus cardStatus, const std::string& what) : std::runtime_error(what), status(cardStatus)
    {
    }

    [[nodiscard]] CardStatus Status() const { return status; }

private:
    CardStatus status;
};

} // namespace softcard
