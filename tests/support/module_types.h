// The two forms of Cryptoki that tests call in one program: that of the library and that of the front. The records and
// numbers of each have the names without their "CK_".
#pragma once

#include "front/abi/cryptoki.h"
#include "tests/support/system.h"

#include <stdexcept>
#include <string>

namespace blackbox {

// Writes its results without a look at the size that the caller tells, and reads through the pointers that it is given.
struct LibraryTypes
{
    using Ulong = packed::CK_ULONG;
    using FunctionList = packed::CK_FUNCTION_LIST;
    using GetFunctionList = packed::CK_RV(FunctionList**);
    using Attribute = packed::CK_ATTRIBUTE;
    using Mechanism = packed::CK_MECHANISM;
    using Info = packed::CK_INFO;
    using SlotInfo = packed::CK_SLOT_INFO;
    using TokenInfo = packed::CK_TOKEN_INFO;
    using SessionInfo = packed::CK_SESSION_INFO;
    using MechanismInfo = packed::CK_MECHANISM_INFO;
    using InitializeArguments = packed::CK_C_INITIALIZE_ARGS;

    static constexpr bool isFront = false;
    static constexpr char name[] = "library";
    static constexpr char fileName[] = "libpkcs11_x64.so";
};

struct FrontTypes
{
    using Ulong = front::CK_ULONG;
    using FunctionList = front::CK_FUNCTION_LIST;
    using GetFunctionList = front::CK_RV(FunctionList**);
    using Attribute = front::CK_ATTRIBUTE;
    using Mechanism = front::CK_MECHANISM;
    using Info = front::CK_INFO;
    using SlotInfo = front::CK_SLOT_INFO;
    using TokenInfo = front::CK_TOKEN_INFO;
    using SessionInfo = front::CK_SESSION_INFO;
    using MechanismInfo = front::CK_MECHANISM_INFO;
    using InitializeArguments = front::CK_C_INITIALIZE_ARGS;

    static constexpr bool isFront = true;
    static constexpr char name[] = "front";
    static constexpr char fileName[] = "tavrik-pkcs11.so";
};

// Of a loaded library or front. Throws std::runtime_error when it has none.
template <typename Types>
typename Types::FunctionList* FunctionListOf(void* loaded)
{
    auto* const getList =
        reinterpret_cast<typename Types::GetFunctionList*>(SymbolOf(loaded, "C_GetFunctionList"));
    typename Types::FunctionList* functions = nullptr;
    if (getList(&functions) != CKR_OK) {
        throw std::runtime_error(std::string("no function list of the ") + Types::name);
    }
    return functions;
}

} // namespace blackbox
