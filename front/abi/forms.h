// The two forms of Cryptoki for code that speaks both: the records and numbers of each under names without their "CK_".
#pragma once

#include "front/abi/cryptoki.h"

namespace front {

#define CRYPTOKI_TYPES(form)                                                                                 \
    using Ulong = form::CK_ULONG;                                                                            \
    using FunctionList = form::CK_FUNCTION_LIST;                                                             \
    using GetFunctionList = form::CK_RV(FunctionList**);                                                     \
    using Attribute = form::CK_ATTRIBUTE;                                                                    \
    using Mechanism = form::CK_MECHANISM;                                                                    \
    using Info = form::CK_INFO;                                                                              \
    using SlotInfo = form::CK_SLOT_INFO;                                                                     \
    using TokenInfo = form::CK_TOKEN_INFO;                                                                   \
    using SessionInfo = form::CK_SESSION_INFO;                                                               \
    using MechanismInfo = form::CK_MECHANISM_INFO;                                                           \
    using InitializeArguments = form::CK_C_INITIALIZE_ARGS

// That of the library: packed to one byte, a CK_ULONG of 32 bits.
struct PackedForm
{
    CRYPTOKI_TYPES(packed);
};

// That of the front and of every other module on Linux.
struct NaturalForm
{
    CRYPTOKI_TYPES(front);
};

#undef CRYPTOKI_TYPES

} // namespace front
