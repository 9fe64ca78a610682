// The calls that work, by what they need, for tests of what they have in common.
#pragma once

#include "front/abi/cryptoki.h"

#include <functional>
#include <string>
#include <vector>

namespace front_test {

struct NamedCall
{
    std::string name;
    std::function<front::CK_RV()> make;
};

// With arguments that are good as far as they don't depend on the slot or the session.
std::vector<NamedCall> EveryCallWithASlot(front::CK_FUNCTION_LIST_3_0* f, front::CK_SLOT_ID slot);
std::vector<NamedCall> EveryCallWithASession(front::CK_FUNCTION_LIST_3_0* f,
                                             front::CK_SESSION_HANDLE session);

} // namespace front_test
