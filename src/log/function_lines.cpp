#include "src/log/function_lines.h"

#include "src/cryptoki/names.h"
#include "src/log/logger.h"

void LogEntering(const char* function)
{
    LOG_LINE(LogLevel_Debug, function, "PKCS11_FUNCTION_ENTERING");
}

CK_RV LogLeaving(const char* function, CK_RV result)
{
    const LogLevel level = result == CKR_OK ? LogLevel_Debug : LogLevel_Error;
    LOG_LINE(level, function, "PKCS11_FUNCTION_LEAVING, result %lx %s", ForLog(result), ResultName(result));
    return result;
}
