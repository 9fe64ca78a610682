// The function list, and the functions that only refuse.
#include "front/door/boundary.h"

namespace front {
namespace {

// The legacy functions and those that the card can't do refuse whatever they are given, but only once
// started.
CK_RV Refuse(CK_RV answer)
{
    return InFront([answer](Front&) { return answer; });
}

} // namespace

#define CRYPTOKI_WORKS(name, parameters)
#define CRYPTOKI_FRONT_WORKS(name, parameters, answer)
#define CRYPTOKI_REFUSES(name, parameters, answer)                                                           \
    CK_RV name parameters                                                                                    \
    {                                                                                                        \
        return Refuse(answer);                                                                               \
    }
#include "tavrik/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS

CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR ppFunctionList)
{
    static CK_FUNCTION_LIST list = {
        {2, 20},
#define CRYPTOKI_WORKS(name, parameters) name,
#define CRYPTOKI_REFUSES(name, parameters, answer) name,
#include "tavrik/functions.inc" // NOLINT(readability-duplicate-include): once for each use of the list
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
    };
    if (ppFunctionList == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    *ppFunctionList = &list;
    return CKR_OK;
}

} // namespace front
