// The lists of the exported functions, by the versions of Cryptoki.
#pragma once

#include "front/abi/cryptoki.h"

namespace front {

// Of C_GetFunctionList and of the exported C_GetInfo, for hosts that know no interfaces.
inline constexpr CK_VERSION version220{2, 20};

// Made at compile time, so that no fork finds them half made. The caller gets their addresses.
extern CK_FUNCTION_LIST functionsOfVersion220;
// These two have a C_GetInfo of their own: what it tells says which list the caller has.
extern CK_FUNCTION_LIST functionsOfVersion240;
extern CK_FUNCTION_LIST_3_0 functionsOfVersion300;

// C_GetInfo, for a caller that has the list of this version.
CK_RV TellInfo(CK_INFO_PTR info, CK_VERSION version);

} // namespace front
