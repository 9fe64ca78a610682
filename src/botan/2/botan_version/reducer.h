// Computing modulo a secret number.
#pragma once

#include <botan/reducer.h>

// The modulus does not show in the time that computations with the result take.
inline Botan::Modular_Reducer MakeReducer(const Botan::BigInt& secretModulus)
{
    return Botan::Modular_Reducer(secretModulus);
}
