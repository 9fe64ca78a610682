#include "src/card/card_status.h"

#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <set>

namespace {

struct NamedStatus
{
    int32_t number;
    const char* name;
};

void PrintTo(const NamedStatus& row, std::ostream* out)
{
    *out << row.name;
}

constexpr NamedStatus statuses[] = {
    {0, "eStatusOk"},
    {1, "eInvalidParam"},
    {2, "eLibraryNotInitialized"},
    {3, "eInvalidSession"},
    {4, "eFunctionNotImplemented"},
    {5, "eFunctionNotSupported"},
    {6, "eInsuficientBuffer"},
    {7, "eCardCommErr"},
    {8, "eUnknownCardType"},
    {9, "eInvalidDataDecoded"},
    {10, "eInternalError"},
    {11, "eInvalidCardProfile"},
    {12, "eUnknownCardProfile"},
    {13, "eCardProfileError"},
    {14, "eCardProfileNotInitialized"},
    {15, "eIncorrectCode"},
    {16, "eCodesDontMatch"},
    {17, "eInvalidCodeState"},
    {18, "eUserInputError"},
    {19, "eInvalidResponse"},
    {20, "eInvalidOsType"},
    {21, "eUnknownPrivKey"},
    {22, "eStatusInvalidContext"},
    {23, "eStatusNotConnected"},
    {24, "eCertNotLoaded"},
    {25, "eNoCertWasReaded"},
    {26, "eQSCDNotValid"},
    {27, "eSmNotInitialized"},
    {28, "eReaderError"},
    {29, "eOpenSslError"},
    {30, "eOpenPaceError"},
    {64, "eStatusINTERNAL_ERROR"},
    {65, "eStatusCANCELLED"},
    {66, "eStatusINVALID_HANDLE"},
    {67, "eStatusINVALID_PARAMETER"},
    {68, "eStatusINVALID_TARGET"},
    {69, "eStatusNO_MEMORY"},
    {70, "eStatusWAITED_TOO_LONG"},
    {71, "eStatusINSUFFICIENT_BUFFER"},
    {72, "eStatusUNKNOWN_READER"},
    {73, "eStatusTIMEOUT"},
    {74, "eStatusSHARING_VIOLATION"},
    {75, "eStatusNO_SMARTCARD"},
    {76, "eStatusUNKNOWN_CARD"},
    {77, "eStatusCANT_DISPOSE"},
    {78, "eStatusPROTO_MISMATCH"},
    {79, "eStatusNOT_READY"},
    {80, "eStatusINVALID_VALUE"},
    {81, "eStatusSYSTEM_CANCELLED"},
    {82, "eStatusCOMM_ERROR"},
    {83, "eStatusUNKNOWN_ERROR"},
    {84, "eStatusNOT_TRANSACTED"},
    {85, "eStatusREADER_UNAVAILABLE"},
    {86, "eStatusSystemSHUTDOWN"},
    {87, "eStatusPCI_TOO_SMALL"},
    {88, "eStatusREADER_UNSUPPORTED"},
    {89, "eStatusNO_SERVICE"},
    {90, "eStatusSERVICE_STOPPED"},
    {91, "eStatusUNEXPECTED"},
    {92, "eStatusREMOVED_CARD"},
    {93, "eStatusERROR_IO_DEVICE"},
    {94, "eStatusUNRESPONSIVE_CARD"},
    {95, "eStatusUNSPECIFIED_ERROR"},
};
static_assert(std::size(statuses) == 31 + 32);

class CardStatusNames : public testing::TestWithParam<NamedStatus>
{
};

} // namespace

TEST_P(CardStatusNames, AreSpelledAsTheyStand)
{
    EXPECT_STREQ(CardStatusName(GetParam().number), GetParam().name);
}
INSTANTIATE_TEST_SUITE_P(All, CardStatusNames, testing::ValuesIn(statuses),
                         [](const auto& row) { return row.param.name; });

TEST_P(CardStatusNames, AreFoundAgain)
{
    EXPECT_EQ(CardStatusNamed(GetParam().name), GetParam().number);
}

TEST(CardStatusNamed, FindsNothingForTextsThatAreNoNames)
{
    for (const char* text : {"", "eStatus", "estatusok", "eStatusOk ", "0"}) {
        EXPECT_EQ(CardStatusNamed(text), std::nullopt) << text;
    }
}

TEST(CardStatusName, IsEmptyBetweenTheTwoRanges)
{
    for (CardStatus status = 31; status <= 63; ++status) {
        EXPECT_STREQ(CardStatusName(status), "") << status;
    }
}

TEST(CardStatusName, IsEmptyBeyondTheLastName)
{
    EXPECT_STREQ(CardStatusName(96), "");
    EXPECT_STREQ(CardStatusName(1000), "");
    EXPECT_STREQ(CardStatusName(std::numeric_limits<CardStatus>::max()), "");
}

TEST(CardStatusName, IsEmptyForNegativeValues)
{
    EXPECT_STREQ(CardStatusName(-1), "");
    EXPECT_STREQ(CardStatusName(-64), "");
    EXPECT_STREQ(CardStatusName(std::numeric_limits<CardStatus>::min()), "");
}
