// The operations on a card, each as a call with arguments that are right.
#pragma once

#include "tests/softcard/card_library.h"

#include <functional>
#include <map>
#include <string>

namespace softcard::test {

// By the names that faults are ordered under; all but WaitForReaderEvent. The session is one on the card in
// "Reader 0" and outlives the call. A failure to list the readers is given as a positive number.
const std::map<std::string, std::function<CardStatus(CardSession)>>& Operations();

} // namespace softcard::test
