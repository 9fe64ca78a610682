// The answer of a call that goes no further. Thrown inside, and turned into the call's result at the
// boundary.
#pragma once

#include "front/abi/cryptoki.h"

namespace front {

struct Refusal
{
    CK_RV answer;
};

// Throws the answer unless the condition holds.
inline void Require(bool condition, CK_RV answer)
{
    if (!condition) {
        throw Refusal{answer};
    }
}

} // namespace front
