#include "src/pkcs11/entry_frame.h"

#include "src/pkcs11/lifecycle.h"

EntryFrame::EntryFrame(const char* name) : function(name), result(CKR_OK)
{
    LogEntering(name);
    if (!IsInitialised()) {
        result = CKR_CRYPTOKI_NOT_INITIALIZED;
    }
}
