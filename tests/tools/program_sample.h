// A log for the tests of the program.
#pragma once

#include "tests/tools/test_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

class ProgramTest : public testing::Test
{
protected:
    std::string Folder() const { return log.Folder().string(); }
    std::string FileInLog(const std::string& name) const { return (log.Folder() / name).string(); }

    // A retired file and a current one, with a session each.
    void WriteSample() const
    {
        log.Append("Pkcs11_1.log",
                   Header("2026-11-11 09:00:00") +
                       ExtensiveLine(" DBG", "Wed Nov 11 09:00:01 2026 00000100", entering, "a", "C_Login") +
                       ExtensiveLine(" ERR", "Wed Nov 11 09:00:02 2026 00001100",
                                     "PKCS11_FUNCTION_LEAVING, result a0 CKR_PIN_INCORRECT", "a", "C_Login"));
        log.Append("Pkcs11.log", Header("2026-11-12 12:00:00") +
                                     ExtensiveLine(" DBG", testTime + " 00000100", entering, "b", "C_Sign") +
                                     ExtensiveLine("INFO", testTime + " 00000105", "Session opened", "b",
                                                   "C_OpenSession", "slotID 1") +
                                     ExtensiveLine(" DBG", testTime + " 00000117", leaving, "b", "C_Sign"));
    }

    const TestLog log;
};

inline std::size_t LineCount(const std::string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}
