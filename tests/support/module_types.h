// The library and the front for tests that call both in one program.
#pragma once

#include "front/abi/forms.h"
#include "tests/support/system.h"

#include <stdexcept>
#include <string>

namespace blackbox {

// Writes its results without a look at the size that the caller tells, and reads through the pointers that it is given.
struct LibraryTypes : front::PackedForm
{
    static constexpr bool isFront = false;
    static constexpr char name[] = "library";
    static constexpr char fileName[] = "libpkcs11_x64.so";
};

struct FrontTypes : front::NaturalForm
{
    static constexpr bool isFront = true;
    static constexpr char name[] = "front";
    static constexpr char fileName[] = "tavrik-pkcs11.so";
};

// The list of version 3.0 of a loaded front. Throws std::runtime_error when it has none.
inline front::CK_FUNCTION_LIST_3_0* LaterFunctionsOf(void* loaded)
{
    auto* const getInterface =
        reinterpret_cast<decltype(&front::C_GetInterface)>(SymbolOf(loaded, "C_GetInterface"));
    front::CK_VERSION version{3, 0};
    front::CK_INTERFACE* found = nullptr;
    if (getInterface(nullptr, &version, &found, 0) != CKR_OK) {
        throw std::runtime_error("no interface of version 3.0");
    }
    return static_cast<front::CK_FUNCTION_LIST_3_0*>(found->pFunctionList);
}

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
