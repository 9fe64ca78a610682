#include "src/operations/secret_code.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <type_traits>

namespace {

// A block whose end is the end of the memory that may be read.
class BlockAtTheEnd
{
public:
    explicit BlockAtTheEnd(const std::string& content)
    {
        pages = mmap(nullptr, 2 * pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED || mprotect(static_cast<char*>(pages) + pageSize, pageSize, PROT_NONE) != 0) {
            throw std::runtime_error("no memory with a guard behind it");
        }
        block = static_cast<CK_UTF8CHAR*>(pages) + pageSize - content.size();
        std::memcpy(block, content.data(), content.size());
    }
    ~BlockAtTheEnd() { munmap(pages, 2 * pageSize); }
    BlockAtTheEnd(const BlockAtTheEnd&) = delete;
    BlockAtTheEnd& operator=(const BlockAtTheEnd&) = delete;

    const CK_UTF8CHAR* Get() const { return block; }

private:
    const std::size_t pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* pages = nullptr;
    CK_UTF8CHAR* block = nullptr;
};

const CK_UTF8CHAR* Pin(const char* text)
{
    return reinterpret_cast<const CK_UTF8CHAR*>(text);
}

} // namespace

TEST(SecretCode, IsNotCopyable)
{
    EXPECT_FALSE(std::is_copy_constructible_v<SecretCode>);
    EXPECT_FALSE(std::is_copy_assignable_v<SecretCode>);
}

TEST(SecretCode, IsAZeroTerminatedCopy)
{
    char pin[] = "123456";
    const SecretCode code(Pin(pin), 6);
    pin[0] = '#';
    EXPECT_STREQ(code.Text(), "123456");
}

TEST(SecretCode, TakesTheGivenLengthOnly)
{
    EXPECT_STREQ(SecretCode(Pin("123456"), 4).Text(), "1234");
    EXPECT_STREQ(SecretCode(Pin("123456"), 1).Text(), "1");
}

TEST(SecretCode, IsNullWithoutACode)
{
    EXPECT_EQ(SecretCode(nullptr, 0).Text(), nullptr);
    EXPECT_EQ(SecretCode(nullptr, 6).Text(), nullptr);
}

TEST(SecretCode, IsNullForALengthOfZero)
{
    EXPECT_EQ(SecretCode(Pin("1234"), 0).Text(), nullptr);
    EXPECT_EQ(SecretCode(Pin(""), 0).Text(), nullptr);
}

TEST(SecretCode, ReadsNothingBehindTheCode)
{
    const BlockAtTheEnd pin("98765");
    EXPECT_STREQ(SecretCode(pin.Get(), 5).Text(), "98765");
}

TEST(SecretCode, KeepsAZeroInside)
{
    const CK_UTF8CHAR pin[] = {'1', 0, '3'};
    const SecretCode code(pin, 3);
    EXPECT_EQ(std::memcmp(code.Text(), "1\0003", 4), 0);
}

TEST(SecretCode, TakesBytesBeyondAscii)
{
    EXPECT_STREQ(SecretCode(Pin("\xC5\x99\xFF"), 3).Text(), "\xC5\x99\xFF");
}
