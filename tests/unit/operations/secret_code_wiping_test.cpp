// That a code leaves no trace in the memory it was in.
#include "src/operations/secret_code.h"

#include "tests/unit/operations/block_watch.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace {

std::vector<uint8_t> ContentAfter(const std::vector<uint8_t>& pin)
{
    auto code = std::make_unique<SecretCode>(pin.data(), static_cast<CK_ULONG>(pin.size()));
    const BlockWatch watch(code->Text(), pin.size() + 1);
    EXPECT_EQ(std::memcmp(code->Text(), pin.data(), pin.size()), 0);
    code = nullptr;
    EXPECT_EQ(watch.Deletions(), 1);
    return watch.LastContent();
}

} // namespace

TEST(SecretCodeWiping, LeavesZerosBehind)
{
    EXPECT_EQ(ContentAfter({'1', '2', '3', '4', '5', '6'}), std::vector<uint8_t>(7, 0));
}

TEST(SecretCodeWiping, LeavesZerosBehindALongCode)
{
    EXPECT_EQ(ContentAfter(std::vector<uint8_t>(200, 'x')), std::vector<uint8_t>(201, 0));
}

TEST(SecretCodeWiping, LeavesZerosBehindACodeWithAZeroInIt)
{
    EXPECT_EQ(ContentAfter({'1', 0, '3', '4'}), std::vector<uint8_t>(5, 0));
}

TEST(SecretCodeWiping, WipesWhenAnExceptionEndsItsUse)
{
    const std::vector<uint8_t> pin{'9', '8', '7'};
    std::unique_ptr<BlockWatch> watch;
    EXPECT_THROW(
        {
            const SecretCode code(pin.data(), 3);
            watch = std::make_unique<BlockWatch>(code.Text(), 4);
            throw 1;
        },
        int);
    EXPECT_EQ(watch->Deletions(), 1);
    EXPECT_EQ(watch->LastContent(), std::vector<uint8_t>(4, 0));
}

// The watch itself: it sees what another owner leaves in its block.
TEST(SecretCodeWiping, WouldBeSeenWhenItWereMissing)
{
    auto value = std::make_unique<HexBinary>(std::string("313233"));
    const BlockWatch watch(value->data, 3);
    value = nullptr;
    EXPECT_EQ(watch.Deletions(), 1);
    EXPECT_EQ(watch.LastContent(), (std::vector<uint8_t>{'1', '2', '3'}));
}
