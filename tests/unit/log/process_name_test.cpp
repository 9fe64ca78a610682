#include "src/log/process_name.h"

#include <gtest/gtest.h>

TEST(GetProcessName, IsTheFileNameOfTheProgram)
{
    EXPECT_EQ(GetProcessName(), u"unit_tests");
}

TEST(GetProcessName, IsReadOnce)
{
    EXPECT_EQ(&GetProcessName(), &GetProcessName());
}
