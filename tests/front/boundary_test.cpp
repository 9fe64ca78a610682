#include "front/door/boundary.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace front {
namespace {

TEST(BoundaryTest, WorkThatReturnsAnswersWhatItReturns)
{
    EXPECT_EQ(Guarded([]() -> CK_RV { return CKR_NO_EVENT; }), CKR_NO_EVENT);
}

TEST(BoundaryTest, RefusalIsTheAnswer)
{
    EXPECT_EQ(Guarded([]() -> CK_RV { throw Refusal{CKR_DATA_LEN_RANGE}; }), CKR_DATA_LEN_RANGE);
}

TEST(BoundaryTest, LackOfMemoryHasItsOwnCode)
{
    EXPECT_EQ(Guarded([]() -> CK_RV { throw std::bad_alloc(); }), CKR_HOST_MEMORY);
}

TEST(BoundaryTest, WhateverElseIsThrownIsAFailure)
{
    EXPECT_EQ(Guarded([]() -> CK_RV { throw std::runtime_error("x"); }), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Guarded([]() -> CK_RV { throw 7; }), CKR_FUNCTION_FAILED);
}

TEST(BoundaryTest, WorkInAFrontThatWasNotStartedIsNotDone)
{
    bool done = false;
    const CK_RV answer = InFront([&done](Front&) -> CK_RV {
        done = true;
        return CKR_OK;
    });
    EXPECT_EQ(answer, CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_FALSE(done);
}

} // namespace
} // namespace front
