// What becomes of calls to functions that the card-access library lacks.
#include "src/card/card_api.h"
#include "src/card/card_hash.h"
#include "src/platform/platform.h"
#include "tests/support/thrown.h"
#include "tests/unit/card/incomplete_card.h"
#include "tests/unit/log/log_capture.h"

#include <gtest/gtest.h>

TEST(IncompleteCardLibrary, FunctionsThatItHasCanBeCalled)
{
    void* library = Platform::LoadSharedLibrary("libCardAPI.so");
    const auto finalized = reinterpret_cast<decltype(&IncompleteCard_Finalized)>(
        Platform::FindSymbol(library, "IncompleteCard_Finalized"));
    const int before = finalized();
    CardAPI_Finalize();
    EXPECT_EQ(finalized(), before + 1);
}

TEST(IncompleteCardLibrary, MakesACallThrowWithLibraryAndFunctionNamed)
{
    LogCapture log;
    const auto reason = ReasonOf([] { CardAPI_StopTransaction(1); });
    EXPECT_TRUE(Contains(reason, "libCardAPI.so")) << reason;
    EXPECT_TRUE(Contains(reason, "CardAPI_StopTransaction")) << reason;
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, " ERR");
    EXPECT_EQ(lines[0].function, "CardAPI");
    EXPECT_EQ(lines[0].message, reason);
}

TEST(IncompleteCardLibrary, EachCallSearchesItAgain)
{
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(Contains(ReasonOf([] { CardAPI_CloseSession(1); }), "CardAPI_CloseSession"));
    }
    CardAPI_Finalize();
}

TEST(IncompleteCardLibrary, MakesAHashFail)
{
    const auto reason = ReasonOf([] { Zelmo::Crypto::MakeHash(Zelmo::Crypto::sha1ConstructorSymbol); });
    EXPECT_TRUE(Contains(reason, Zelmo::Crypto::sha1ConstructorSymbol)) << reason;
}
