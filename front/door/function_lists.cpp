// The function lists, and the functions that only refuse.
#include "front/door/function_lists.h"

#include "front/door/boundary.h"

namespace front {
namespace {

// The legacy functions and those that the card can't do refuse whatever they are given, but only once
// started.
CK_RV Refuse(CK_RV answer)
{
    return InFront([answer](Front&) { return answer; });
}

constexpr CK_VERSION version240{2, 40};
constexpr CK_VERSION version300{3, 0};

template <const CK_VERSION& version>
CK_RV GetInfoOfVersion(CK_INFO_PTR info)
{
    return TellInfo(info, version);
}

using GetInfo = CK_RV(CK_INFO_PTR);

constexpr CK_FUNCTION_LIST ListOfVersion2(CK_VERSION version, GetInfo* getInfo)
{
    CK_FUNCTION_LIST list = {
        version,
#define CRYPTOKI_WORKS(name, parameters) name,
#define CRYPTOKI_REFUSES(name, parameters, answer) name,
#include "tavrik/functions.inc"
    };
    list.C_GetInfo = getInfo;
    return list;
}

constexpr CK_FUNCTION_LIST_3_0 ListOfVersion3(CK_VERSION version, GetInfo* getInfo)
{
    CK_FUNCTION_LIST_3_0 list = {
        version,
#define CRYPTOKI_3_WORKS CRYPTOKI_WORKS
#define CRYPTOKI_3_REFUSES CRYPTOKI_REFUSES
#include "tavrik/functions.inc" // NOLINT(readability-duplicate-include): once for each use of the list
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
    };
    list.C_GetInfo = getInfo;
    return list;
}

} // namespace

#define CRYPTOKI_WORKS(name, parameters)
#define CRYPTOKI_FRONT_WORKS(name, parameters, answer)
#define CRYPTOKI_REFUSES(name, parameters, answer)                                                           \
    CK_RV name parameters                                                                                    \
    {                                                                                                        \
        return Refuse(answer);                                                                               \
    }
#define CRYPTOKI_3_REFUSES CRYPTOKI_REFUSES
#include "tavrik/functions.inc" // NOLINT(readability-duplicate-include): once for each use of the list
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS

constinit CK_FUNCTION_LIST functionsOfVersion220 = ListOfVersion2(version220, C_GetInfo);
constinit CK_FUNCTION_LIST functionsOfVersion240 = ListOfVersion2(version240, GetInfoOfVersion<version240>);
constinit CK_FUNCTION_LIST_3_0 functionsOfVersion300 =
    ListOfVersion3(version300, GetInfoOfVersion<version300>);

} // namespace front
