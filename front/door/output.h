// Handing results to the caller by the rules of the standard.
#pragma once

#include "front/abi/attributes.h"
#include "front/abi/refusal.h"
#include "front/model/operations.h"

#include <algorithm>

namespace front {

// Bytes that a caller gave. Refuses a null pointer with a length.
inline Input InputOf(const CK_BYTE* data, CK_ULONG length)
{
    Require(data != nullptr || length == 0, CKR_ARGUMENTS_BAD);
    return {data, length};
}

// An answer that leaves the operation as it is: the caller has asked for the length, or has too little room.
// None when there is room for `needed` bytes. `length` is told in both cases.
inline std::optional<CK_RV> AnswerAboutLength(std::size_t needed, const CK_BYTE* output, CK_ULONG* length)
{
    const CK_ULONG room = std::exchange(*length, ToUlong(needed));
    if (output == nullptr) {
        return CKR_OK;
    }
    return room < needed ? std::optional<CK_RV>(CKR_BUFFER_TOO_SMALL) : std::nullopt;
}

template <typename Result>
void HandOut(const Result& result, CK_BYTE* output, CK_ULONG* length)
{
    std::copy(result.begin(), result.end(), output);
    *length = ToUlong(result.size());
}

// An operation that ends with the call, whatever its outcome, unless the call says that it goes on.
template <typename Operation>
class Ending
{
public:
    explicit Ending(Active<Operation>& ended) : operation(&ended) {}
    ~Ending()
    {
        if (operation != nullptr) {
            operation->reset();
        }
    }
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;

    // The operation goes on after a call with this answer, which is returned.
    CK_RV GoOnWith(CK_RV answer)
    {
        operation = nullptr;
        return answer;
    }

protected:
    [[nodiscard]] bool Ends() const { return operation != nullptr; }

private:
    Active<Operation>* operation;
};

} // namespace front
