#include "tests/front/front_test.h"
#include "tests/support/linux/refused_calls.h"

#include <array>
#include <cerrno>

#include <sys/syscall.h>

namespace front_test {
namespace {

class SystemsRandomTest : public FrontTest
{
};

TEST_F(SystemsRandomTest, RandomNumbersAreRefusedWithoutTheSystemsGenerator)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    std::array<CK_BYTE, 32> random{};
    blackbox::DoWithRefusedCalls({SYS_getrandom}, ENOSYS, [&] {
        EXPECT_EQ(f->C_GenerateRandom(session, random.data(), random.size()), CKR_DEVICE_ERROR);
    });
    EXPECT_EQ(f->C_GenerateRandom(session, random.data(), random.size()), CKR_OK);
}

} // namespace
} // namespace front_test
