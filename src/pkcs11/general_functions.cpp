// The functions that start, end and describe the library. The first, the second and the last have a frame of
// their own: they are the only ones that let no exception out.
#include "src/log/logger.h"
#include "src/objects/copy_blank_padded.h"
#include "src/pkcs11/entry_frame.h"
#include "src/pkcs11/function_list.h"
#include "src/pkcs11/lifecycle.h"
#include "src/pkcs11/product.h"

namespace {

bool AllOrNoCallbacks(const CK_C_INITIALIZE_ARGS& arguments)
{
    const int given = (arguments.CreateMutex != nullptr ? 1 : 0) +
                      (arguments.DestroyMutex != nullptr ? 1 : 0) + (arguments.LockMutex != nullptr ? 1 : 0) +
                      (arguments.UnlockMutex != nullptr ? 1 : 0);
    return given == 0 || given == 4;
}

} // namespace

CK_RV C_Initialize(CK_VOID_PTR pInitArgs)
{
    constexpr char function[] = "C_Initialize";
    try {
        Logger::Instance().SetConsole(false);
        LogEntering(function);
        if (IsInitialised()) {
            return LogLeaving(function, CKR_CRYPTOKI_ALREADY_INITIALIZED);
        }
        if (const auto* arguments = static_cast<const CK_C_INITIALIZE_ARGS*>(pInitArgs);
            arguments != nullptr) {
            if (arguments->pReserved != nullptr || !AllOrNoCallbacks(*arguments)) {
                return LogLeaving(function, CKR_ARGUMENTS_BAD);
            }
            ApplicationMutex::Instance().Create(*arguments);
        }
        const LibraryLockGuard guard;
        return LogLeaving(function, InitializePKCS11());
    } catch (...) {
        return LogLeaving(function, CKR_FUNCTION_FAILED);
    }
}

CK_RV C_Finalize(CK_VOID_PTR pReserved)
{
    constexpr char function[] = "C_Finalize";
    try {
        {
            const LibraryLockGuard guard;
            LogEntering(function);
            if (!IsInitialised()) {
                return LogLeaving(function, CKR_CRYPTOKI_NOT_INITIALIZED);
            }
            if (pReserved != nullptr) {
                return LogLeaving(function, CKR_ARGUMENTS_BAD);
            }
            FinalizeLibrary(false);
        }
        ApplicationMutex::Instance().Destroy();
        return LogLeaving(function, CKR_OK);
    } catch (...) {
        return LogLeaving(function, CKR_FUNCTION_FAILED);
    }
}

CK_RV C_GetInfo(CK_INFO_PTR pInfo)
{
    return EntryFrame("C_GetInfo").Require(pInfo != nullptr).Run([&] {
        *pInfo = {};
        pInfo->cryptokiVersion = {2, 20};
        CopyBlankPadded(pInfo->manufacturerID, sizeof(pInfo->manufacturerID), TAVRIK_MAKER);
        CopyBlankPadded(pInfo->libraryDescription, sizeof(pInfo->libraryDescription), TAVRIK_DESCRIPTION);
        pInfo->libraryVersion = {TAVRIK_VERSION_MAJOR, TAVRIK_VERSION_MINOR};
        return CKR_OK;
    });
}

CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR ppFunctionList)
{
    constexpr char function[] = "C_GetFunctionList";
    const LibraryLockGuard guard; // not inside the catch clause: what it throws goes to the host
    try {
        Logger::Instance().SetConsole(false);
        LogEntering(function);
        if (ppFunctionList == nullptr) {
            return LogLeaving(function, CKR_ARGUMENTS_BAD);
        }
        *ppFunctionList = &FunctionList();
        return LogLeaving(function, CKR_OK);
    } catch (...) {
        return LogLeaving(function, CKR_FUNCTION_FAILED);
    }
}
