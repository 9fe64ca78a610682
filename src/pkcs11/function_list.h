// The table that C_GetFunctionList hands out.
#pragma once

#include "tavrik/cryptoki.h"

// Version 2.20 and the exported functions in their standard order.
CK_FUNCTION_LIST& FunctionList();
