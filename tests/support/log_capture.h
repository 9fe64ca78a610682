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

#include "tests/support/scripted_card/scripted_card.h"
#include "tests/support/system.h"

#include <string>
#include <vector>

namespace blackbox {

struct LogLine
{
    std::string level; // as it stands, four characters
    std::string time;
    std::string module; // as it stands, 15 characters
    std::string description;
    bool extensive = false; // the line has a tail; the three fields below belong to it
    std::string thread;     // as in "0x1f3c"
    std::string function;
    bool hasVerbose = false;
    std::string verbose; // behind the two blanks of the frame's own; keeps the blanks that it begins with

    std::string raw; // the whole line with its end

    // `DBG C_OpenSession: Session opened VERB:slotID 1`, with the function and the verbose text only where
    // they are.
    std::string Text() const;
};

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
