// Which results each function may give.
#pragma once

#include "tests/fuzz/calls/call_record.h"

namespace fuzz {

// Of the front, once it is started and while nothing throws below it.
void CheckFrontResult(const CallRecord& call, bool throwsBelow);
// Of the library, once it is started.
void CheckLibraryResult(const CallRecord& call);

} // namespace fuzz
