#include "src/log/function_lines.h"

#include "src/cryptoki/names.h"
#include "src/log/logger.h"

#include <new>

void LogEntering(const char* function)
{
    LOG_LINE(LogLevel_Debug, function, "PKCS11_FUNCTION_ENTERING");
}

CK_RV LogLeaving(const char* function, CK_RV result)
{
    const LogLevel level = result == CKR_OK ? LogLevel_Debug : LogLevel_Error;
    try {
        LOG_LINE(level, function, "PKCS11_FUNCTION_LEAVING, result %lx %s", ForLog(result),
                 ResultName(result));
    } catch (const std::
                 bad_alloc&) { // NOLINT(bugprone-empty-catch): what was done is done, with or without a line
    }
    return result;
}
