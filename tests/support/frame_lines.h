// The two lines that frame every exported function, as LogLine::Text gives them.
#pragma once

#include <string>

namespace blackbox {

inline std::string EnteringLine(const std::string& function)
{
    return "DBG " + function + ": PKCS11_FUNCTION_ENTERING";
}

// `result` is the number in hexadecimal and the name, as in "7 CKR_ARGUMENTS_BAD".
inline std::string LeavingLine(const std::string& function, const std::string& result)
{
    const std::string level = result == "0 CKR_OK" ? "DBG " : "ERR ";
    return level + function + ": PKCS11_FUNCTION_LEAVING, result " + result;
}

} // namespace blackbox
