#include "front/abi/records.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>

namespace front {
namespace {

// The natural form, with an `unsigned long` of 64 bits, and the packed one of Windows.
constexpr bool natural = sizeof(CK_ULONG) == 8;
static_assert(natural || sizeof(CK_ULONG) == 4);
static_assert(sizeof(CK_INFO) == (natural ? 88 : 72));
static_assert(sizeof(CK_SLOT_INFO) == (natural ? 112 : 104));
static_assert(sizeof(CK_TOKEN_INFO) == (natural ? 208 : 160));
static_assert(sizeof(CK_SESSION_INFO) == (natural ? 32 : 16));
static_assert(sizeof(CK_ATTRIBUTE) == (natural ? 24 : 16));
static_assert(sizeof(CK_MECHANISM) == (natural ? 24 : 16));
static_assert(sizeof(CK_MECHANISM_INFO) == (natural ? 24 : 12));
static_assert(sizeof(CK_C_INITIALIZE_ARGS) == (natural ? 48 : 44));
static_assert(sizeof(CK_FUNCTION_LIST) == (natural ? 8 + 68 * sizeof(void*) : 2 + 68 * sizeof(void*)));
static_assert(offsetof(CK_FUNCTION_LIST, C_Initialize) == (natural ? 8 : 2));
static_assert(sizeof(CK_INTERFACE) == (natural ? 24 : 20));
static_assert(offsetof(CK_INTERFACE, flags) == 16);
static_assert(sizeof(CK_FUNCTION_LIST_3_0) == (natural ? 8 + 92 * sizeof(void*) : 2 + 92 * sizeof(void*)));
static_assert(offsetof(CK_FUNCTION_LIST_3_0, C_GetInterfaceList) == sizeof(CK_FUNCTION_LIST));
static_assert(offsetof(CK_INFO, flags) == (natural ? 40 : 34));

TEST(RecordsTest, EveryFieldOfTheTokenInfoArrives)
{
    packed::CK_TOKEN_INFO info{};
    auto* bytes = reinterpret_cast<uint8_t*>(&info);
    for (std::size_t i = 0; i < sizeof(info); ++i) {
        bytes[i] = static_cast<uint8_t>(i);
    }
    const CK_TOKEN_INFO wide = Widen(info);
    EXPECT_TRUE(std::equal(std::begin(wide.label), std::end(wide.label), info.label));
    EXPECT_TRUE(
        std::equal(std::begin(wide.manufacturerID), std::end(wide.manufacturerID), info.manufacturerID));
    EXPECT_TRUE(std::equal(std::begin(wide.model), std::end(wide.model), info.model));
    EXPECT_TRUE(std::equal(std::begin(wide.serialNumber), std::end(wide.serialNumber), info.serialNumber));
    EXPECT_EQ(wide.flags, 0x63626160U);
    EXPECT_EQ(wide.ulMaxSessionCount, 0x67666564U);
    EXPECT_EQ(wide.ulSessionCount, 0x6B6A6968U);
    EXPECT_EQ(wide.ulMaxRwSessionCount, 0x6F6E6D6CU);
    EXPECT_EQ(wide.ulRwSessionCount, 0x73727170U);
    EXPECT_EQ(wide.ulMaxPinLen, 0x77767574U);
    EXPECT_EQ(wide.ulMinPinLen, 0x7B7A7978U);
    EXPECT_EQ(wide.ulTotalPublicMemory, 0x7F7E7D7CU);
    EXPECT_EQ(wide.ulFreePublicMemory, 0x83828180U);
    EXPECT_EQ(wide.ulTotalPrivateMemory, 0x87868584U);
    EXPECT_EQ(wide.ulFreePrivateMemory, 0x8B8A8988U);
    EXPECT_EQ(wide.hardwareVersion.minor, 0x8D);
    EXPECT_EQ(wide.firmwareVersion.major, 0x8E);
    EXPECT_TRUE(std::equal(std::begin(wide.utcTime), std::end(wide.utcTime), info.utcTime));
}

TEST(RecordsTest, EveryFieldOfTheSlotInfoArrives)
{
    packed::CK_SLOT_INFO info{};
    info.slotDescription[63] = 'd';
    info.manufacturerID[31] = 'm';
    info.flags = 7;
    info.hardwareVersion = {1, 2};
    info.firmwareVersion = {3, 4};
    const CK_SLOT_INFO wide = Widen(info);
    EXPECT_EQ(wide.slotDescription[63], 'd');
    EXPECT_EQ(wide.manufacturerID[31], 'm');
    EXPECT_EQ(wide.flags, 7U);
    EXPECT_EQ(wide.hardwareVersion.minor, 2);
    EXPECT_EQ(wide.firmwareVersion.major, 3);
}

TEST(RecordsTest, UnavailableNumberIsUnavailableInItsNewWidth)
{
    EXPECT_EQ(Widen(packed::CK_ULONG{0xFFFFFFFF}), CK_UNAVAILABLE_INFORMATION);
    EXPECT_EQ(Widen(packed::CK_ULONG{0xFFFFFFFE}), 0xFFFFFFFEUL);
}

} // namespace
} // namespace front
