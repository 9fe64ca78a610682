// Start, end, and random numbers.
#include "front/door/boundary.h"
#include "front/door/function_lists.h"
#include "front/model/rsa_public.h"

namespace front {
namespace {

// The front locks with the system's mutexes, whatever callbacks there are.
void CheckArguments(const CK_C_INITIALIZE_ARGS& arguments)
{
    Require(arguments.pReserved == nullptr, CKR_ARGUMENTS_BAD);
    const bool any = arguments.CreateMutex != nullptr || arguments.DestroyMutex != nullptr ||
                     arguments.LockMutex != nullptr || arguments.UnlockMutex != nullptr;
    const bool all = arguments.CreateMutex != nullptr && arguments.DestroyMutex != nullptr &&
                     arguments.LockMutex != nullptr && arguments.UnlockMutex != nullptr;
    Require(any == all, CKR_ARGUMENTS_BAD);
}

} // namespace

CK_RV C_Initialize(CK_VOID_PTR pInitArgs)
{
    return Guarded([&] {
        if (pInitArgs != nullptr) {
            CheckArguments(*static_cast<const CK_C_INITIALIZE_ARGS*>(pInitArgs));
        }
        return StartFront();
    });
}

CK_RV C_Finalize(CK_VOID_PTR pReserved)
{
    return Guarded([&] {
        Require(pReserved == nullptr, CKR_ARGUMENTS_BAD);
        return EndFront();
    });
}

CK_RV TellInfo(CK_INFO_PTR info, CK_VERSION version)
{
    return InFront([&](Front& front) -> CK_RV {
        Require(info != nullptr, CKR_ARGUMENTS_BAD);
        *info = front.Info();
        info->cryptokiVersion = version;
        return CKR_OK;
    });
}

CK_RV C_GetInfo(CK_INFO_PTR pInfo)
{
    return TellInfo(pInfo, version220);
}

CK_RV C_SeedRandom(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSeed, CK_ULONG ulSeedLen)
{
    return InFront([&](Front& front) -> CK_RV {
        static_cast<void>(front.InfoOf(hSession));
        Require(pSeed != nullptr || ulSeedLen == 0, CKR_ARGUMENTS_BAD);
        return CKR_RANDOM_SEED_NOT_SUPPORTED;
    });
}

CK_RV C_GenerateRandom(CK_SESSION_HANDLE hSession, CK_BYTE_PTR randomData, CK_ULONG ulRandomLen)
{
    return InFront([&](Front& front) -> CK_RV {
        static_cast<void>(front.InfoOf(hSession));
        Require(randomData != nullptr || ulRandomLen == 0, CKR_ARGUMENTS_BAD);
        FillRandom({randomData, ulRandomLen});
        return CKR_OK;
    });
}

} // namespace front
