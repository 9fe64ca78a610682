#include "src/containers/made_once.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(MadeOnceTest, ValueIsMadeAtTheFirstCallAndKept)
{
    MadeOnce<int> number;
    int made = 0;
    const auto make = [&made] { return std::make_unique<int>(++made); };
    const auto first = number.Get(make);
    EXPECT_EQ(*first, 1);
    EXPECT_EQ(number.Get(make), first);
    EXPECT_EQ(made, 1);
}

TEST(MadeOnceTest, WhatIsThrownIsNotKept)
{
    MadeOnce<int> number;
    const auto refuse = []() -> std::shared_ptr<int> { throw std::runtime_error("no value"); };
    EXPECT_THROW(number.Get(refuse), std::runtime_error);
    EXPECT_THROW(number.Get(refuse), std::runtime_error);
    EXPECT_EQ(*number.Get([] { return std::make_shared<int>(2); }), 2);
}

TEST(MadeOnceTest, NullIsHandedOutAndNotKept)
{
    MadeOnce<int> number;
    EXPECT_EQ(number.Get([] { return std::shared_ptr<int>(); }), nullptr);
    EXPECT_EQ(*number.Get([] { return std::make_shared<int>(3); }), 3);
}

// Another caller is first while this one is still at it.
TEST(MadeOnceTest, ValueThatIsKeptFirstIsTheValueOfAll)
{
    MadeOnce<int> number;
    const auto slower = number.Get([&number] {
        number.Get([] { return std::make_shared<int>(4); });
        return std::make_shared<int>(5);
    });
    EXPECT_EQ(*slower, 4);
    EXPECT_EQ(*number.Get([] { return std::make_shared<int>(6); }), 4);
}

} // namespace
