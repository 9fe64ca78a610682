#include "softcard/cardapi/system/process_end.h"

namespace softcard {

bool ThreadsAreGone()
{
    return false;
}

} // namespace softcard
