#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/programs/file_kind.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

using namespace setup;
using nlohmann::json;

namespace {

const std::string module = "/usr/lib/tavrik-pkcs11.so";

TextBlock SshBlock()
{
    return {"ssh", {"Host *", "    PKCS11Provider " + module}, {"    PKCS11Provider " + module}, {}};
}

TextBlock AgentBlock()
{
    return {"gnupg", {"scdaemon-program /new"}, {"scdaemon-program /new"}, {"scdaemon-program"}};
}

// Puts the piece in, and gives what is left of the file when it is taken out again.
std::string AfterBoth(const FileKind& kind, const std::string& content)
{
    const Piece piece = kind.PieceFor(content);
    const std::string with = WithPiece(content, piece);
    EXPECT_TRUE(kind.IsIn(with)) << with;
    return kind.Without(with, piece);
}

} // namespace

TEST(TextBlock, IsTakenOutToTheByte)
{
    const TextBlock block = SshBlock();
    for (const std::string content :
         {"", "\n", "Host a\n  User b\n", "Host a\n  User b", "\r\nHost a\r\n", "# \xff\xfe\n"}) {
        EXPECT_FALSE(block.IsIn(content));
        EXPECT_EQ(AfterBoth(block, content), content);
    }
}

TEST(TextBlock, StandsBehindWhatIsThere)
{
    const Piece piece = SshBlock().PieceFor("Host a");
    EXPECT_EQ(piece.offset, 6U);
    EXPECT_EQ(piece.text.front(), '\n'); // ends the line that had no end
    EXPECT_NE(piece.text.find("\nHost *\n    PKCS11Provider " + module + "\n"), std::string::npos);
}

TEST(TextBlock, LeavesWhatOthersHaveAddedAroundIt)
{
    const TextBlock block = SshBlock();
    const Piece piece = block.PieceFor("Host a");
    const std::string with = "Host zero\n" + WithPiece("Host a", piece) + "Host b\n";
    EXPECT_EQ(block.Without(with, piece), "Host zero\nHost a\nHost b\n");
}

TEST(TextBlock, GoesWithWhatOthersHavePutBetweenItsComments)
{
    const TextBlock block = SshBlock();
    const Piece piece = block.PieceFor("Host a\n");
    std::string with = WithPiece("Host a\n", piece);
    with.insert(with.find("    PKCS11Provider"), "    Port 22\n");
    EXPECT_TRUE(block.IsIn(with));
    EXPECT_EQ(block.Without(with, piece), "Host a\n");
}

TEST(TextBlock, WithoutItsEndIsLeft)
{
    const TextBlock block = SshBlock();
    const Piece piece = block.PieceFor("Host a\n");
    std::string with = WithPiece("Host a\n", piece);
    with.erase(with.find("# End"));
    EXPECT_THROW(static_cast<void>(block.Without(with, piece)), Refusal);
}

TEST(TextBlock, ThatIsGoneNeedsNothing)
{
    const TextBlock block = SshBlock();
    EXPECT_EQ(block.Without("Host a\n", block.PieceFor("Host a\n")), "Host a\n");
}

TEST(TextBlock, CountsAsWantedWhenItsLineStandsSomewhere)
{
    EXPECT_TRUE(SshBlock().IsIn("Host b\n\tPKCS11Provider " + module + "\r\n"));
    EXPECT_FALSE(SshBlock().IsIn("Host b\n#PKCS11Provider " + module + "\n"));
}

TEST(TextBlock, RefusesAFileWithALineThatExcludesIt)
{
    EXPECT_THROW(static_cast<void>(AgentBlock().PieceFor("  scdaemon-program /old\n")), Refusal);
    EXPECT_NO_THROW(static_cast<void>(AgentBlock().PieceFor("# scdaemon-program /old\n")));
}

TEST(TextBlock, RefusesWhatIsNoText)
{
    EXPECT_THROW(static_cast<void>(SshBlock().PieceFor(std::string("Host a\0b\n", 9))), Refusal);
}

TEST(PolicyDevice, MakesAFileThatIsValid)
{
    const PolicyDevice device(module);
    const Piece piece = device.PieceFor(std::nullopt);
    EXPECT_EQ(json::parse(piece.text)["policies"]["SecurityDevices"]["Add"]["Tavrik"], module);
    EXPECT_TRUE(device.IsIn(piece.text));
}

TEST(PolicyDevice, IsMergedAndTakenOutToTheByte)
{
    const PolicyDevice device(module);
    for (const std::string content :
         {"{}", " { } ", R"({"policies":{}})", R"({"policies": {"DisableTelemetry": true}})",
          R"({
  "policies": {
    "Homepage": {"URL": "a \" } ] {b"},
    "X": [1, {"y": []}]
  }
}
)",
          "{\n\t\"policies\" : {\n\t\t\"SecurityDevices\" : {\n\t\t}\n\t}\n}",
          R"({"policies": {"SecurityDevices": {"Add": {"Other": "/o.so"}, "Delete": ["x"]}}})",
          R"({"policies": {"SecurityDevices": {"Delete": ["x"]}}, "after": 1.5e3})",
          R"({"policies": {"SecurityDevices": {"Other": "/o.so"}}})"}) {
        json expected = json::parse(content);
        json& devices = expected["policies"]["SecurityDevices"];
        (devices.contains("Other") ? devices : devices["Add"])["Tavrik"] = module;
        EXPECT_EQ(json::parse(WithPiece(content, device.PieceFor(content))), expected) << content;
        EXPECT_EQ(AfterBoth(device, content), content);
    }
}

TEST(PolicyDevice, LeavesWhatOthersHaveAdded)
{
    const PolicyDevice device(module);
    const Piece piece = device.PieceFor(std::nullopt);
    json changed = json::parse(piece.text);
    changed["policies"]["DisableTelemetry"] = true;
    EXPECT_EQ(json::parse(device.Without(changed.dump(), piece)),
              json::parse(R"({"policies":{"DisableTelemetry":true}})"));
    changed["policies"]["SecurityDevices"]["Add"]["Other"] = "/o.so";
    const json left = json::parse(device.Without(changed.dump(4), piece));
    EXPECT_EQ(left["policies"]["SecurityDevices"], json::parse(R"({"Add":{"Other":"/o.so"}})"));
}

TEST(PolicyDevice, LeavesAnEmptyObjectThatWasThereBefore)
{
    const PolicyDevice device(module);
    const std::string content = R"({"policies": {"SecurityDevices": {}}})";
    const Piece piece = device.PieceFor(content);
    const json changed = json::parse(WithPiece(content, piece));
    EXPECT_EQ(json::parse(device.Without(changed.dump(2), piece)), json::parse(content));
}

TEST(PolicyDevice, RefusesAFileThatItDoesNotUnderstand)
{
    const PolicyDevice device(module);
    for (const std::string content :
         {"", "{", "[]", "7", "{} {}", R"({"policies": {},})", R"({"policies": 3})",
          R"({"policies": {"SecurityDevices": []}})", R"({"policies": {}, "policies": {}})",
          R"({"policies": {"SecurityDevices": {}, "SecurityDevices": {}}})",
          R"({"policies": {"SecurityDevices": {"Add": {"Tavrik": "/other.so"}}}})", "// comment\n{}"}) {
        EXPECT_THROW(static_cast<void>(device.PieceFor(content)), Refusal) << content;
        EXPECT_FALSE(device.IsIn(content));
    }
}

TEST(PolicyDevice, RefusesToTakeOutAnotherModule)
{
    const PolicyDevice device(module);
    const Piece piece = device.PieceFor("{}");
    EXPECT_THROW(static_cast<void>(device.Without(
                     R"({"policies":{"SecurityDevices":{"Add":{"Tavrik":"/mine.so"}}}})", piece)),
                 Refusal);
}

TEST(OwnFile, IsMadeAndGoes)
{
    const OwnFile file("a = b\n");
    const Piece piece = file.PieceFor(std::nullopt);
    EXPECT_EQ(piece.text, "a = b\n");
    EXPECT_TRUE(file.IsIn("a = b\n"));
    EXPECT_EQ(file.Without("a = b\n", piece), "");
}

TEST(OwnFile, ThatAPersonGoesOnWithIsKnownByItsTellingLine)
{
    const OwnFile file("begin\n  module = m;\nend\n", "module = m;", "  module = m;\n");
    EXPECT_TRUE(file.IsIn("begin\n  module = m;\nend\n"));
    EXPECT_TRUE(file.IsIn("other\n\tmodule = m; \n"));
    EXPECT_FALSE(file.IsIn("# module = m;\n"));
    EXPECT_FALSE(file.IsIn("module = n;\n"));
    EXPECT_EQ(file.ByHand(), "  module = m;\n");
    EXPECT_THROW(
        static_cast<void>(file.Without("begin\n  module = m;\nmine\nend\n", file.PieceFor(std::nullopt))),
        Refusal);
}

TEST(OwnFile, IsLeftWhenItHoldsSomethingElse)
{
    const OwnFile file("a = b\n");
    EXPECT_THROW(static_cast<void>(file.PieceFor("c\n")), Refusal);
    EXPECT_THROW(static_cast<void>(file.Without("a = b\nc\n", {0, "a = b\n"})), Refusal);
}
