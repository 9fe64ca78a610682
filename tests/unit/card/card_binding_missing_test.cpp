// What becomes of calls to the card when there is no card-access library.
#include "src/card/card_api.h"
#include "src/card/card_hash.h"
#include "src/log/logger.h"
#include "tests/support/thrown.h"
#include "tests/unit/log/log_capture.h"

#include <gtest/gtest.h>

TEST(MissingCardLibrary, IsNotNeededUntilTheFirstCall)
{
    LogCapture log;
    EXPECT_EQ(log.Text(), "");
}

TEST(MissingCardLibrary, MakesACallThrowWithLibraryAndFunctionNamed)
{
    const auto reason = ReasonOf([] { CardAPI_Finalize(); });
    EXPECT_TRUE(Contains(reason, "libCardAPI.so")) << reason;
    EXPECT_TRUE(Contains(reason, "CardAPI_Finalize")) << reason;
}

TEST(MissingCardLibrary, IsTriedAgainByEachCall)
{
    for (int i = 0; i < 3; ++i) {
        const auto reason = ReasonOf([] { CardAPI_StartTransaction(1); });
        EXPECT_TRUE(Contains(reason, "CardAPI_StartTransaction")) << reason;
    }
}

TEST(MissingCardLibrary, IsLoggedAsAnError)
{
    LogCapture log;
    Logger::Instance().Settings().logFromLevel = LogLevel_Error;
    const auto reason = ReasonOf([] { CardAPI_Initialize(nullptr); });
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, " ERR");
    EXPECT_EQ(lines[0].function, "CardAPI");
    EXPECT_EQ(lines[0].message, reason);
    EXPECT_TRUE(Contains(lines[0].message, "libCardAPI.so"));
    EXPECT_TRUE(Contains(lines[0].message, "CardAPI_Initialize"));
}

TEST(MissingCardLibrary, MakesAHashFailToo)
{
    const auto reason = ReasonOf([] { Zelmo::Crypto::MakeHash(Zelmo::Crypto::sha256ConstructorSymbol); });
    EXPECT_TRUE(Contains(reason, Zelmo::Crypto::sha256ConstructorSymbol)) << reason;
    EXPECT_TRUE(Contains(reason, "libCardAPI.so")) << reason;
}
