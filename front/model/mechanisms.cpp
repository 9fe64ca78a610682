#include "front/model/mechanisms.h"

#include "front/abi/refusal.h"

#include <algorithm>

namespace front {
namespace {

const Mechanism* Find(CK_MECHANISM_TYPE type)
{
    const auto* found = std::find_if(mechanisms.begin(), mechanisms.end(),
                                     [type](const Mechanism& mechanism) { return mechanism.type == type; });
    return found == mechanisms.end() ? nullptr : found;
}

bool IsListed(const Mechanism& mechanism, const SlotFacts& slot)
{
    return slot.rsa || !mechanism.usesRsaKey;
}

} // namespace

std::vector<CK_MECHANISM_TYPE> ListedMechanisms(const SlotFacts& slot)
{
    std::vector<CK_MECHANISM_TYPE> listed;
    for (const Mechanism& mechanism : mechanisms) {
        if (IsListed(mechanism, slot)) {
            listed.push_back(mechanism.type);
        }
    }
    return listed;
}

CK_MECHANISM_INFO MechanismInfo(CK_MECHANISM_TYPE type, const SlotFacts& slot, const KeySizes& sizes)
{
    const Mechanism* mechanism = Find(type);
    Require(mechanism != nullptr && IsListed(*mechanism, slot), CKR_MECHANISM_INVALID);
    CK_MECHANISM_INFO info{0, 0, mechanism->operations};
    if (!slot.decrypts) {
        info.flags &= ~CK_FLAGS{CKF_ENCRYPT | CKF_DECRYPT};
    }
    if (mechanism->usesRsaKey) {
        info.ulMinKeySize = sizes.smallest;
        info.ulMaxKeySize = sizes.largest;
        info.flags |= CKF_HW; // the card's keys
    }
    return info;
}

const Mechanism& MechanismFor(CK_FLAGS operation, const CK_MECHANISM* given)
{
    Require(given != nullptr, CKR_ARGUMENTS_BAD);
    const Mechanism* mechanism = Find(given->mechanism);
    Require(mechanism != nullptr && (mechanism->operations & operation) != 0, CKR_MECHANISM_INVALID);
    return *mechanism;
}

void CheckParameter(const Mechanism& mechanism, const CK_MECHANISM& given)
{
    Require(given.ulParameterLen == mechanism.parameterLength, CKR_MECHANISM_PARAM_INVALID);
}

} // namespace front
