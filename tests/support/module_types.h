// The two forms of Cryptoki that tests call in one program: that of the library and that of the front. The records and
// numbers of each have the names without their "CK_".
#pragma once

#include "front/abi/cryptoki.h"
#include "tests/support/system.h"

#include <stdexcept>
#include <string>

namespace blackbox {

// The types that both have.
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

// Writes its results without a look at the size that the caller tells, and reads through the pointers that it is given.
struct LibraryTypes
{
    CRYPTOKI_TYPES(packed);
    static constexpr bool isFront = false;
    static constexpr char name[] = "library";
    static constexpr char fileName[] = "libpkcs11_x64.so";
};

struct FrontTypes
{
    CRYPTOKI_TYPES(front);
    static constexpr bool isFront = true;
    static constexpr char name[] = "front";
    static constexpr char fileName[] = "tavrik-pkcs11.so";
};

#undef CRYPTOKI_TYPES

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
