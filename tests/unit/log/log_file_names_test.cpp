#include "src/log/log_file_names.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr int32_t largest = std::numeric_limits<int32_t>::max();

} // namespace

TEST(FileNameStem, EndsBeforeTheFirstPoint)
{
    EXPECT_EQ(FileNameStem(u"Pkcs11.log"), u"Pkcs11");
    EXPECT_EQ(FileNameStem(u"Pkcs11.a.log"), u"Pkcs11");
    EXPECT_EQ(FileNameStem(u".log"), u"");
}

TEST(FileNameStem, IsEmptyWithoutAPoint)
{
    EXPECT_EQ(FileNameStem(u"Pkcs11"), u"");
    EXPECT_EQ(FileNameStem(u""), u"");
}

TEST(HasNumberSuffix, HoldsForDigitsBehindAnUnderscoreAndForTheUnderscoreAlone)
{
    EXPECT_TRUE(HasNumberSuffix(u"Pkcs11_12"));
    EXPECT_TRUE(HasNumberSuffix(u"Pkcs11_"));
    EXPECT_TRUE(HasNumberSuffix(u"_1"));
    EXPECT_TRUE(HasNumberSuffix(u"_"));
    EXPECT_TRUE(HasNumberSuffix(u"Pkcs11_old_3"));
}

TEST(HasNumberSuffix, DoesNotHoldOtherwise)
{
    EXPECT_FALSE(HasNumberSuffix(u"Pkcs11"));
    EXPECT_FALSE(HasNumberSuffix(u"2024"));
    EXPECT_FALSE(HasNumberSuffix(u""));
    EXPECT_FALSE(HasNumberSuffix(u"Pkcs11_old"));
    EXPECT_FALSE(HasNumberSuffix(u"Pkcs11_-1"));
    EXPECT_FALSE(HasNumberSuffix(u"Pkcs11_1a"));
}

TEST(LogFileNumber, IsTheNumberBehindTheLastUnderscore)
{
    EXPECT_EQ(LogFileNumber(u"Pkcs11_12"), 12);
    EXPECT_EQ(LogFileNumber(u"Pkcs11_3_04"), 4);
    EXPECT_EQ(LogFileNumber(u"Pkcs11_"), 0);
}

TEST(LogFileNumber, IsZeroWithoutANumber)
{
    EXPECT_EQ(LogFileNumber(u"Pkcs11"), 0);
    EXPECT_EQ(LogFileNumber(u"Pkcs11_old"), 0);
    EXPECT_EQ(LogFileNumber(u""), 0);
}

TEST(LogFileNumber, StopsAtTheLargestOf32Bits)
{
    EXPECT_EQ(LogFileNumber(u"a_2147483647"), largest);
    EXPECT_EQ(LogFileNumber(u"a_2147483648"), largest);
    EXPECT_EQ(LogFileNumber(u"a_99999999999999999999999999"), largest);
}

TEST(CompareLogFileNames, OrdersByNumberAndNotByText)
{
    const CompareLogFileNames less;
    EXPECT_TRUE(less(u"Pkcs11_9.log", u"Pkcs11_10.log"));
    EXPECT_FALSE(less(u"Pkcs11_10.log", u"Pkcs11_9.log"));
    EXPECT_TRUE(less(u"Pkcs11.log", u"Pkcs11_1.log"));
}

TEST(CompareLogFileNames, TakesNamesWithOneNumberForEqual)
{
    const CompareLogFileNames less;
    for (const auto* other : {u"Pkcs11_old.txt", u"Pkcs11.a.log", u"Pkcs11", u"Pkcs11_0.log"}) {
        EXPECT_FALSE(less(u"Pkcs11.log", other));
        EXPECT_FALSE(less(other, u"Pkcs11.log"));
    }
}

TEST(NextRetiredName, HasANumberThatIsOneHigher)
{
    EXPECT_EQ(NextRetiredName(u"Pkcs11.log").name, u"Pkcs11_1.log");
    EXPECT_EQ(NextRetiredName(u"Pkcs11_1.log").name, u"Pkcs11_2.log");
    EXPECT_EQ(NextRetiredName(u"Pkcs11_9.log").name, u"Pkcs11_10.log");
    EXPECT_EQ(NextRetiredName(u"Pkcs11_9.log").number, 10);
    EXPECT_EQ(NextRetiredName(u"Pkcs11_.log").name, u"Pkcs11_1.log");
}

TEST(NextRetiredName, LosesItsExtension)
{
    EXPECT_EQ(NextRetiredName(u"Pkcs11_old.txt").name, u"Pkcs11_old_1.log");
    EXPECT_EQ(NextRetiredName(u"Pkcs11_3.txt").name, u"Pkcs11_4.log");
}

TEST(NextRetiredName, KeepsAllButTheLastOfSeveralPoints)
{
    EXPECT_EQ(NextRetiredName(u"Pkcs11.a.log").name, u"Pkcs11.a_1.log");
    EXPECT_EQ(NextRetiredName(u"Pkcs11.a_7.log").name, u"Pkcs11.a_8.log");
}

TEST(NextRetiredName, PassesEveryLimitBehindTheLargestNumber)
{
    EXPECT_EQ(NextRetiredName(u"Pkcs11_2147483647.log").number, int64_t{largest} + 1);
    EXPECT_EQ(NextRetiredName(u"Pkcs11_99999999999.log").number, int64_t{largest} + 1);
}
