#include "src/log/session_header.h"

#include "tests/unit/log/local_time_text.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

const std::string dashes(71, '-');

constexpr std::time_t headerTime = 1794485402;

// The header that is written on a system of the test's own.
class SessionHeaderTest : public testing::Test
{
protected:
    SessionHeaderTest()
    {
        SetVersion({6, 1, 7601, "Service Pack 1"});
        system.calendarTime = [] { return headerTime; };
        system.runCommand = [this](const char* commandLine, std::string& output) {
            commands.emplace_back(commandLine);
            output = listing;
        };
    }

    void SetVersion(const OsVersion& version)
    {
        system.osVersion = [version] { return version; };
    }
    std::vector<std::string> Pieces() const
    {
        std::vector<std::string> pieces;
        WriteSessionHeader(system, [&pieces](const char* text) { pieces.emplace_back(text); });
        return pieces;
    }
    // The text of the operating system.
    std::string OsPiece(const std::string& output)
    {
        listing = output;
        return Pieces().at(5);
    }

    LogSystem system;
    const std::string fallback = "x64 \r\n 6.1.7601 Service Pack 1";
    std::string listing;
    std::vector<std::string> commands;
};

} // namespace

TEST_F(SessionHeaderTest, IsSevenPiecesInTheirOrder)
{
    listing = "Caption=Debian GNU/Linux 12 (bookworm)\n";
    const auto pieces = Pieces();
    ASSERT_EQ(pieces.size(), 7U);
    EXPECT_EQ(pieces[0], "CardAPI, version: v4.8_RC2\r\n");
    EXPECT_EQ(pieces[1],
              "Process name: " + std::filesystem::read_symlink("/proc/self/exe").string() + "\r\n");
    EXPECT_EQ(pieces[2], "Process Architecture: ");
    EXPECT_EQ(pieces[3], "x64\r\n");
    EXPECT_EQ(pieces[4], "Operating system: ");
    EXPECT_EQ(pieces[5], "Debian GNU/Linux 12 (bookworm) \r\n");
    const std::string rest =
        "\r\nLog Level; Time; Module; Description; Thread; VERB: Function; Verbose Description\r\n" + dashes +
        "\r\n\r\n";
    EXPECT_EQ(pieces[6], "DateTime: " + LocalTimeText(headerTime) + rest);
}

TEST_F(SessionHeaderTest, AsksForTheFivePropertiesOnce)
{
    Pieces();
    EXPECT_EQ(commands, std::vector<std::string>{Platform::OsListingCommand()});
}

TEST_F(SessionHeaderTest, ListingOf32CharactersGivesTheFallbackText)
{
    EXPECT_EQ(OsPiece("Caption=" + std::string(24, 'x')), fallback);
    EXPECT_EQ(OsPiece(""), fallback);
    EXPECT_EQ(OsPiece("error: 11"), fallback);
}

TEST_F(SessionHeaderTest, ListingOf33CharactersIsTaken)
{
    EXPECT_EQ(OsPiece("Caption=" + std::string(25, 'x')), std::string(25, 'x') + " \r\n");
}

TEST_F(SessionHeaderTest, VersionBelowSixGivesTheFallbackTextWithoutACommand)
{
    SetVersion({5, 10, 209, "28-amd64"});
    EXPECT_EQ(OsPiece(std::string(100, 'x')), "x64 \r\n 5.10.209 28-amd64");
    EXPECT_TRUE(commands.empty());
}

TEST_F(SessionHeaderTest, FallbackTextIsCutAt126Characters)
{
    SetVersion({6, 1, 7601, std::string(200, 's')});
    EXPECT_EQ(OsPiece(""), "x64 \r\n 6.1.7601 " + std::string(110, 's'));
}

TEST_F(SessionHeaderTest, ListingShowsTheValuesAlone)
{
    EXPECT_EQ(OsPiece("\r\r\n\r\r\nCaption=System Seven\r\r\nCSDVersion=\r\r\nVersion=6.1.7601\r\r\n\r\r\n"),
              "  System Seven  6.1.7601  \r\n");
}

TEST_F(SessionHeaderTest, LineWithoutASignIsKeptWhole)
{
    EXPECT_EQ(OsPiece("Caption=System Seven\nno sign in this line\nVersion=6"),
              "System Seven no sign in this line 6 \r\n");
}

TEST_F(SessionHeaderTest, ValueKeepsTheSignsBehindTheFirst)
{
    EXPECT_EQ(OsPiece("Caption=System=Seven=\nVersion=a=b=c of this system"),
              "System=Seven= a=b=c of this system \r\n");
}

TEST_F(SessionHeaderTest, ListingWithoutAnySignHasNoRoomForItsEnd)
{
    // Room is made for the lines with a byte for each end; nothing was left out of these.
    EXPECT_EQ(OsPiece("the first line without a sign\nthe second line\n"),
              "the first line without a sign the second line");
    EXPECT_EQ(OsPiece("the first line with=one sign only\n"), "one sign only \r\n");
    EXPECT_EQ(OsPiece(std::string(40, 'x') + "\na=b"), std::string(40, 'x') + " b \r");
}

TEST_F(SessionHeaderTest, ListingOfLineEndsAloneIsEmptyText)
{
    EXPECT_EQ(OsPiece(std::string(40, '\r')), "");
    EXPECT_EQ(OsPiece(std::string(40, '\n')), std::string(39, ' '));
}

TEST_F(SessionHeaderTest, StandardOutputIsFlushedBeforeTheCommandRuns)
{
    std::string seen;
    std::array<char, 32> name{"/tmp/tavrik_output_XXXXXX"};
    const int file = mkstemp(name.data());
    ASSERT_GE(file, 0);
    unlink(name.data());
    static_cast<void>(std::fflush(stdout));
    const int saved = dup(STDOUT_FILENO);
    dup2(file, STDOUT_FILENO);
    system.runCommand = [&](const char*, std::string&) {
        std::array<char, 64> text{};
        EXPECT_GE(pread(file, text.data(), text.size() - 1, 0), 0);
        seen = text.data();
    };
    WriteSessionHeader(system, [](const char* text) { std::printf("%s", text); });
    static_cast<void>(std::fflush(stdout));
    dup2(saved, STDOUT_FILENO);
    close(saved);
    close(file);
    EXPECT_TRUE(seen.starts_with("CardAPI, version: v4.8_RC2\r\nProcess name: ")) << seen;
}
