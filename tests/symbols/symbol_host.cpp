// A host in which another module has the names of ours in the global scope, and which looks whose functions
// it gets. Ends with 0 when all of them are the module's own and the module works.
//
//     symbol_host [--global FILE]... library|front FILE
//
// The modules behind --global are loaded with RTLD_GLOBAL before the one that is looked at.
#include "front/abi/cryptoki.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <dlfcn.h>

namespace {

constexpr unsigned slotsOfACard = 2;

void Require(bool condition, const std::string& text)
{
    if (!condition) {
        throw std::runtime_error(text);
    }
}

void* Load(const std::string& file, int scope)
{
    void* const module = dlopen(file.c_str(), RTLD_NOW | scope);
    Require(module != nullptr, module == nullptr ? dlerror() : "");
    return module;
}

void* Symbol(void* module, const char* name)
{
    void* const address = dlsym(module, name);
    Require(address != nullptr, std::string("no symbol ") + name);
    return address;
}

void RequireFrom(const std::string& file, const void* address, const std::string& name)
{
    Dl_info info{};
    Require(dladdr(address, &info) != 0 && info.dli_fname != nullptr, name + " is nowhere");
    Require(std::filesystem::equivalent(info.dli_fname, file), name + " is from " + info.dli_fname);
}

// A function list that is filled from one file, and the start and the end of what it belongs to.
template <typename List, typename Number, typename Result>
void TryModule(const std::string& file, void* module)
{
    using GetFunctionList = Result(List**);
    auto* const getFunctionList = reinterpret_cast<GetFunctionList*>(Symbol(module, "C_GetFunctionList"));
    RequireFrom(file, reinterpret_cast<const void*>(getFunctionList), "C_GetFunctionList");
    List* list = nullptr;
    Require(getFunctionList(&list) == CKR_OK && list != nullptr, "no function list");
    RequireFrom(file, list, "the function list");
#define REQUIRE_OWN(name) RequireFrom(file, reinterpret_cast<const void*>(list->name), #name);
#define CRYPTOKI_WORKS(name, parameters) REQUIRE_OWN(name)
#define CRYPTOKI_REFUSES(name, parameters, answer) REQUIRE_OWN(name)
#include "tavrik/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
#undef REQUIRE_OWN

    const auto started = list->C_Initialize(nullptr);
    Require(started == CKR_OK, "C_Initialize answers " + std::to_string(started));
    Number count = 0;
    Require(list->C_GetSlotList(1, nullptr, &count) == CKR_OK && count == slotsOfACard, "no card");
    Require(list->C_Finalize(nullptr) == CKR_OK, "C_Finalize fails");
}

// The functions of version 3.0.
void TryLaterFunctions(const std::string& file, void* module)
{
    using GetInterface =
        front::CK_RV(const char*, front::CK_VERSION*, front::CK_INTERFACE**, front::CK_FLAGS);
    front::CK_INTERFACE* found = nullptr;
    auto* const getInterface = reinterpret_cast<GetInterface*>(Symbol(module, "C_GetInterface"));
    Require(getInterface("PKCS 11", nullptr, &found, 0) == CKR_OK && found != nullptr, "no interface");
    RequireFrom(file, found, "the interface");
    RequireFrom(file, found->pFunctionList, "the list of version 3.0");
    const auto* list = static_cast<const front::CK_FUNCTION_LIST_3_0*>(found->pFunctionList);
#define CRYPTOKI_WORKS(name, parameters) RequireFrom(file, reinterpret_cast<const void*>(list->name), #name);
#define CRYPTOKI_REFUSES(name, parameters, answer) CRYPTOKI_WORKS(name, parameters)
#define CRYPTOKI_3_WORKS CRYPTOKI_WORKS
#define CRYPTOKI_3_REFUSES CRYPTOKI_REFUSES
#include "tavrik/functions.inc" // NOLINT(readability-duplicate-include): once for each use of the list
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
}

// An object of the library's one class with a table of virtual functions, made and ended by its own members.
void TryClasses(const std::string& file, void* module)
{
    alignas(16) std::array<unsigned char, 256> object{}; // more than it takes
    using Constructor = void (*)(void*, int);
    using Destructor = void (*)(void*);
    reinterpret_cast<Constructor>(Symbol(module, "_ZN9HexBinaryC1Ei"))(object.data(), 4);
    const void* const* table = nullptr;
    std::memcpy(&table, object.data(), sizeof table);
    RequireFrom(file, static_cast<const void*>(table), "the table of HexBinary");
    RequireFrom(file, table[0], "HexBinary's destructor");
    RequireFrom(file, table[-1], "HexBinary's type information");
    reinterpret_cast<Destructor>(Symbol(module, "_ZN9HexBinaryD1Ev"))(object.data());
}

void Run(const std::vector<std::string>& arguments)
{
    std::size_t next = 0;
    for (; next + 1 < arguments.size() && arguments[next] == "--global"; next += 2) {
        Load(arguments[next + 1], RTLD_GLOBAL);
    }
    Require(next + 2 == arguments.size(), "usage: symbol_host [--global FILE]... library|front FILE");
    const std::string& file = arguments[next + 1];
    void* const module = Load(file, RTLD_LOCAL);
    if (arguments[next] == "front") {
        TryModule<front::CK_FUNCTION_LIST, front::CK_ULONG, front::CK_RV>(file, module);
        TryLaterFunctions(file, module);
    } else {
        TryModule<packed::CK_FUNCTION_LIST, packed::CK_ULONG, packed::CK_RV>(file, module);
        TryClasses(file, module);
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
#ifdef LINKED_FRONT
        // Names the front so that the linker keeps it.
        front::CK_FUNCTION_LIST_PTR list = nullptr;
        Require(front::C_GetFunctionList(&list) == CKR_OK, "the linked front has no function list");
#endif
        Run({argv + 1, argv + argc});
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
