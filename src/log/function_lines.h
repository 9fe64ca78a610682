// The two lines that frame a function in the log.
#pragma once

#include "tavrik/cryptoki.h"

// The entering line, at level Debug.
void LogEntering(const char* function);

// The leaving line with the result: at level Debug for CKR_OK, at level Error for anything else, so that a
// failure reaches every sink that is on. Returns the result, so that it can be returned in one go.
CK_RV LogLeaving(const char* function, CK_RV result);
