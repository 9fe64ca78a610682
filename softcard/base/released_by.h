// What owns an object of a C library: `std::unique_ptr<BIGNUM, ReleasedBy<BN_free>>`.
#pragma once

namespace softcard {

template <auto release>
struct ReleasedBy
{
    template <typename Object>
    void operator()(Object* object) const
    {
        release(object);
    }
};

} // namespace softcard
