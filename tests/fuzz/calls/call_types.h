// The two forms of Cryptoki that the fuzzers call: that of the library and that of the front.
#pragma once

#include "front/abi/cryptoki.h"

namespace fuzz {

struct LibraryTypes
{
    using Ulong = packed::CK_ULONG;
    using FunctionList = packed::CK_FUNCTION_LIST;
    using Attribute = packed::CK_ATTRIBUTE;
    using Mechanism = packed::CK_MECHANISM;
    using Info = packed::CK_INFO;
    using SlotInfo = packed::CK_SLOT_INFO;
    using TokenInfo = packed::CK_TOKEN_INFO;
    using SessionInfo = packed::CK_SESSION_INFO;
    using MechanismInfo = packed::CK_MECHANISM_INFO;
    using InitializeArguments = packed::CK_C_INITIALIZE_ARGS;

    // The library writes its results without a look at the size that the caller tells, and reads through the pointers
    // that it is given. So it is given none that are null where it does not test, and room enough.
    static constexpr bool isStrict = false;
};

struct FrontTypes
{
    using Ulong = front::CK_ULONG;
    using FunctionList = front::CK_FUNCTION_LIST;
    using Attribute = front::CK_ATTRIBUTE;
    using Mechanism = front::CK_MECHANISM;
    using Info = front::CK_INFO;
    using SlotInfo = front::CK_SLOT_INFO;
    using TokenInfo = front::CK_TOKEN_INFO;
    using SessionInfo = front::CK_SESSION_INFO;
    using MechanismInfo = front::CK_MECHANISM_INFO;
    using InitializeArguments = front::CK_C_INITIALIZE_ARGS;

    static constexpr bool isStrict = true;
};

} // namespace fuzz
