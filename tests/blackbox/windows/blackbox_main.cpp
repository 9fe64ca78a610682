// Runs the tests as any program of GoogleTest does. When there are several, each begins with the libraries
// loaded anew, as in a process of its own. That can be done some five hundred times: what MinGW-w64's runtime
// has in a library leaves a part behind when it is unloaded.
#include "tests/support/black_box_test.h"

#include <gtest/gtest.h>

namespace {

class AnewForEachTest : public testing::EmptyTestEventListener
{
    // Not at the end of the test before, for the last one may leave what it wants.
    void OnTestStart(const testing::TestInfo& /*test*/) override
    {
        EXPECT_TRUE(blackbox::UnloadLibraries()) << "the test before left a library in memory";
    }
};

} // namespace

int main(int count, char** arguments)
{
    testing::InitGoogleTest(&count, arguments);
    testing::UnitTest::GetInstance()->listeners().Append(new AnewForEachTest); // which GoogleTest deletes
    return RUN_ALL_TESTS();
}
