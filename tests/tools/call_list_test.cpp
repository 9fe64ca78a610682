#include "tests/tools/test_log.h"
#include "tools/tavrik-log/call_list.h"

#include <gtest/gtest.h>

using namespace logtool;

namespace {

class CallListTest : public testing::Test
{
protected:
    // "FUNCTION DURATION result" of each call that ends with this line.
    std::string Take(const std::string& time, const char* description, const std::string& function,
                     const std::string& thread = "1")
    {
        return Told(calls.Take(true, Parsed(ExtensiveLine(" DBG", time, description, thread, function))));
    }
    static std::string Told(const std::vector<Call>& ended)
    {
        std::string told;
        for (const auto& call : ended) {
            const std::string unit = call.unit == Unit::none ? "-" : call.unit == Unit::seconds ? "s" : "ms";
            told += call.entering.function + " " + std::to_string(call.duration) + unit + " " +
                    (call.result.empty() ? "open" : call.result) + ";";
        }
        return told;
    }

    CallList calls;
};

} // namespace

TEST_F(CallListTest, CallLastsFromItsEnteringToItsLeavingLine)
{
    EXPECT_EQ(Take(testTime + " 00000100", entering, "C_Sign"), "");
    EXPECT_EQ(Take(testTime + " 00001234", leaving, "C_Sign"), "C_Sign 1134ms 0 CKR_OK;");
    EXPECT_EQ(Told(calls.TakeOpen()), "");
}

TEST_F(CallListTest, CounterAloneTimesToo)
{
    Take("00000007", entering, "C_Sign");
    EXPECT_EQ(Take("00000008", leaving, "C_Sign"), "C_Sign 1ms 0 CKR_OK;");
}

TEST_F(CallListTest, DateWithoutACounterTimesInSeconds)
{
    Take(testTime, entering, "C_Sign");
    EXPECT_EQ(Take("Thu Nov 12 12:10:05 2026", leaving, "C_Sign"), "C_Sign 3s 0 CKR_OK;");
}

TEST_F(CallListTest, NoTimeGivesNoDuration)
{
    Take("", entering, "C_Sign");
    EXPECT_EQ(Take("", leaving, "C_Sign"), "C_Sign 0- 0 CKR_OK;");
}

TEST_F(CallListTest, CounterThatWentBackGivesNoDuration)
{
    Take("00000500", entering, "C_Sign"); // of a process that ended, whose thread number came again
    EXPECT_EQ(Take("00000008", leaving, "C_Sign"), "C_Sign 0- 0 CKR_OK;");
}

TEST_F(CallListTest, ThreadsAreKeptApart)
{
    Take("00000001", entering, "C_Sign", "a");
    Take("00000002", entering, "C_GetInfo", "b");
    EXPECT_EQ(Take("00000004", leaving, "C_Sign", "a"), "C_Sign 3ms 0 CKR_OK;");
    EXPECT_EQ(Take("00000005", leaving, "C_GetInfo", "b"), "C_GetInfo 3ms 0 CKR_OK;");
}

TEST_F(CallListTest, LeavingLinesOfInnerFunctionsEndNoCall)
{
    Take("00000001", entering, "C_Sign");
    EXPECT_EQ(Take("00000002", leaving, "SignManager::Sign"), "");
    EXPECT_EQ(Take("00000003", leaving, "C_Sign"), "C_Sign 2ms 0 CKR_OK;");
    EXPECT_EQ(Take("00000004", leaving, "C_Sign"), "");
}

TEST_F(CallListTest, CallWithoutALeavingLineEndsOpenWithTheNextOfItsThread)
{
    Take("00000001", entering, "C_GetAttributeValue");
    EXPECT_EQ(Take("00000002", entering, "C_Sign"), "C_GetAttributeValue 0- open;");
    EXPECT_EQ(Told(calls.TakeOpen()), "C_Sign 0- open;");
}

TEST_F(CallListTest, OpenCallsComeInTheOrderInWhichTheyBegan)
{
    Take("00000001", entering, "C_Second", "b");
    Take("00000002", entering, "C_First", "a");
    EXPECT_EQ(Told(calls.TakeOpen()), "C_Second 0- open;C_First 0- open;");
}

TEST_F(CallListTest, FailureIsTheResult)
{
    Take("00000001", entering, "C_Login");
    EXPECT_EQ(Take("00000002", "PKCS11_FUNCTION_LEAVING, result a0 CKR_PIN_INCORRECT", "C_Login"),
              "C_Login 1ms a0 CKR_PIN_INCORRECT;");
}

TEST_F(CallListTest, LinesThatNameNoFunctionAreNoticed)
{
    EXPECT_FALSE(calls.SawUnnamed());
    calls.Take(true, Parsed(PlainLine(" DBG", "00000001", "Going to initialize logs")));
    EXPECT_FALSE(calls.SawUnnamed());
    calls.Take(true, Parsed(PlainLine(" DBG", "00000001", entering)));
    EXPECT_TRUE(calls.SawUnnamed());
}
