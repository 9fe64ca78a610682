#include "src/log/function_lines.h"

#include "src/log/logger.h"
#include "tests/unit/log/log_capture.h"

#include <gtest/gtest.h>

TEST(LogEntering, WritesOneDebugLine)
{
    LogCapture log;
    LogEntering("C_Sample");
    EXPECT_EQ(log.Lines(), (std::vector<LoggedLine>{{" DBG", "PKCS11_FUNCTION_ENTERING", "C_Sample", ""}}));
}

TEST(LogLeaving, WritesSuccessAtLevelDebug)
{
    LogCapture log;
    EXPECT_EQ(LogLeaving("C_Sample", 0), 0U);
    EXPECT_EQ(log.Lines(), (std::vector<LoggedLine>{
                               {" DBG", "PKCS11_FUNCTION_LEAVING, result 0 CKR_OK", "C_Sample", ""}}));
}

TEST(LogLeaving, WritesFailureAtLevelErrorWithTheResultInHexadecimal)
{
    LogCapture log;
    EXPECT_EQ(LogLeaving("C_Sample", 400), 400U);
    EXPECT_EQ(log.Lines(), (std::vector<LoggedLine>{{" ERR",
                                                     "PKCS11_FUNCTION_LEAVING, result 190 "
                                                     "CKR_CRYPTOKI_NOT_INITIALIZED",
                                                     "C_Sample", ""}}));
}

TEST(LogLeaving, WritesAResultWithoutNameByItsNumber)
{
    LogCapture log;
    LogLeaving("C_Sample", 0x80000001U);
    EXPECT_EQ(log.Lines().at(0).message,
              "PKCS11_FUNCTION_LEAVING, result 80000001 [80000001h] Unknown CKR result");
}

TEST(LogLeaving, WritesOnlyFailuresWhenTheLevelIsError)
{
    LogCapture log;
    Logger::Instance().Settings().logFromLevel = LogLevel_Error;
    LogEntering("C_Sample");
    LogLeaving("C_Sample", 0);
    LogLeaving("C_Sample", 6);
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].message, "PKCS11_FUNCTION_LEAVING, result 6 CKR_FUNCTION_FAILED");
}
