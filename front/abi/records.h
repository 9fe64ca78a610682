// Records of the library in the form that applications read.
#pragma once

#include "front/abi/cryptoki.h"

namespace front {

// A number that is not available keeps that meaning in its new width.
CK_ULONG Widen(packed::CK_ULONG number);

CK_INFO Widen(const packed::CK_INFO& info);
CK_SLOT_INFO Widen(const packed::CK_SLOT_INFO& info);
CK_TOKEN_INFO Widen(const packed::CK_TOKEN_INFO& info);

} // namespace front
