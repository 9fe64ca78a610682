// A card-access library with one function and no more.
#include "tests/unit/card/incomplete_card.h"

namespace {

int finalized = 0;

} // namespace

void CardAPI_Finalize()
{
    ++finalized;
}

int IncompleteCard_Finalized()
{
    return finalized;
}
