// The function lists as applications get them. Only these functions work before C_Initialize.
#include "front/door/boundary.h"
#include "front/door/function_lists.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace front {
namespace {

constexpr std::string_view nameOfTheStandard = "PKCS 11";

CK_VERSION VersionOf(const CK_INTERFACE& interface)
{
    return *static_cast<const CK_VERSION*>(interface.pFunctionList); // with which each list begins
}

constinit std::array<CK_CHAR, nameOfTheStandard.size() + 1> name{'P', 'K', 'C', 'S', ' ', '1', '1', 0};

// The first one is the default. None is CKF_INTERFACE_FORK_SAFE: a forked child has no session of its parent's.
constinit std::array<CK_INTERFACE, 2> interfaces{
    CK_INTERFACE{name.data(), &functionsOfVersion300, 0},
    CK_INTERFACE{name.data(), &functionsOfVersion240, 0},
};

bool IsNamed(const CK_UTF8CHAR* wanted)
{
    return wanted == nullptr || nameOfTheStandard == reinterpret_cast<const char*>(wanted);
}

bool IsOfVersion(const CK_INTERFACE& interface, const CK_VERSION* version)
{
    const CK_VERSION own = VersionOf(interface);
    return version == nullptr || (own.major == version->major && own.minor == version->minor);
}

} // namespace

CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR ppFunctionList)
{
    return Guarded([&]() -> CK_RV {
        Require(ppFunctionList != nullptr, CKR_ARGUMENTS_BAD);
        *ppFunctionList = &functionsOfVersion220;
        return CKR_OK;
    });
}

CK_RV C_GetInterfaceList(CK_INTERFACE_PTR pInterfacesList, CK_ULONG_PTR pulCount)
{
    return Guarded([&]() -> CK_RV {
        Require(pulCount != nullptr, CKR_ARGUMENTS_BAD);
        const CK_ULONG room = std::exchange(*pulCount, ToUlong(interfaces.size()));
        if (pInterfacesList != nullptr) {
            Require(room >= interfaces.size(), CKR_BUFFER_TOO_SMALL);
            std::copy(interfaces.begin(), interfaces.end(), pInterfacesList);
        }
        return CKR_OK;
    });
}

CK_RV C_GetInterface(CK_UTF8CHAR_PTR pInterfaceName, CK_VERSION_PTR pVersion,
                     CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS flags)
{
    return Guarded([&]() -> CK_RV {
        Require(ppInterface != nullptr, CKR_ARGUMENTS_BAD);
        auto* const found =
            std::find_if(interfaces.begin(), interfaces.end(), [&](const CK_INTERFACE& interface) {
                return IsNamed(pInterfaceName) && IsOfVersion(interface, pVersion) &&
                       (interface.flags & flags) == flags;
            });
        Require(found != interfaces.end(), CKR_ARGUMENTS_BAD);
        *ppInterface = found;
        return CKR_OK;
    });
}

} // namespace front
