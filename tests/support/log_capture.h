// The log lines of the library, caught at the process's standard output.
//
//     LogCapture log(script);                 // before C_Initialize: switches the console sink on inside it
//     Initialize();
//     log.Forget();
//     f->C_GetInfo(nullptr);
//     EXPECT_EQ(log.Take(), (Texts{"DBG C_GetInfo: PKCS11_FUNCTION_ENTERING",
//                                  "ERR C_GetInfo: PKCS11_FUNCTION_LEAVING, result 7 CKR_ARGUMENTS_BAD"}));
//
// C_Initialize and C_GetFunctionList switch the console off as they begin, and so lose their own lines; what
// C_Initialize does after the card layer has been initialised is caught.
#pragma once

#include "tests/support/log_line.h"
#include "tests/support/scripted_card/scripted_card.h"
#include "tests/support/system.h"

#include <string>
#include <vector>

namespace blackbox {

class LogCapture
{
public:
    // Sets the switches that each Initialize of the card layer applies from now on, and redirects standard
    // output.
    explicit LogCapture(ScriptedCard* script, const scripted::LogSwitches& switches = {});
    // Restores standard output, and lets through to it what was no log line, such as failure messages of the
    // test.
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> Lines() const; // all since the last Forget or Take
    std::vector<std::string> Take();    // their texts, which are then forgotten
    // The texts of one function name's lines; they are forgotten with all the others.
    std::vector<std::string> TakeOf(const std::string& function);
    std::string Raw() const; // every byte since the last Forget or Take
    void Forget();

private:
    ScriptedCard* script;
    std::optional<OutputRedirection> output;
    size_t position = 0;
    std::string foreign;
};

} // namespace blackbox
