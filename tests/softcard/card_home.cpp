#include "tests/softcard/card_home.h"

#include "softcard/system/files.h"
#include "tests/softcard/environment.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace softcard::test {
namespace {

namespace fs = std::filesystem;

void MakeTemplateCards(const fs::path& folder)
{
    fs::remove_all(folder);
    SetVariable("TAVRIK_HOME", folder);
    const std::vector<std::vector<std::string>> cards = {
        {"new", "ref1", "--qes-reference", "1", "--es-reference", "1"},
        {"new", "ref2", "--es-reference", "2", "--subject", "Žofia Kľačanská"},
        {"new", "ref3", "--qes-reference", "3", "--es-reference", "3"},
        {"new", "ref4", "--qes-reference", "4", "--es-reference", "4", "--bits", "3072"},
        {"new", "blank", "--no-bok", "--no-pin"}};
    for (std::vector<std::string> card : cards) {
        card.insert(card.end(), {"--puk", templatePuk});
        const Finished made = RunTool(card);
        if (made.exitCode != 0) {
            throw std::runtime_error("no template card: " + made.errors);
        }
    }
}

// Keys take their time, so the cards are made once and copied, until the tool or the tests change. The tests
// of several processes make them only once too.
fs::path TemplateCards()
{
    const fs::path base = TEMPLATE_STORE;
    fs::create_directories(base);
    const FileLock lock(base / "lock", std::chrono::minutes(10)); // one makes them, the others wait
    const fs::path stamp = base / "made";
    const auto changed = std::max(fs::last_write_time(CARD_TOOL), fs::last_write_time(OwnProgram()));
    if (!fs::exists(stamp) || fs::last_write_time(stamp) < changed) {
        MakeTemplateCards(base / "home");
        WriteText(stamp, "made\n");
    }
    return base / "home";
}

} // namespace

TemporaryHome::TemporaryHome()
{
    folder = MakeUniqueFolder(fs::temp_directory_path() / "softcard-test-");
    SetVariable("TAVRIK_HOME", folder);
    SetVariable("TAVRIK_PINENTRY", "/nowhere/pinentry");
}

TemporaryHome::~TemporaryHome()
{
    fs::remove_all(folder);
    UnsetVariable("TAVRIK_HOME");
}

Finished StartTool(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), CARD_TOOL);
    return RunProgram(arguments);
}

CardTest::CardTest()
{
    const fs::path cards = TemplateCards();
    SetVariable("TAVRIK_HOME", Home());
    fs::copy(cards, Home(), fs::copy_options::recursive);
    Library().initialize(nullptr);
}

CardTest::~CardTest()
{
    Library().finalize();
}

void CardTest::Insert(const std::string& card, const std::string& reader)
{
    const Finished inserted = RunTool({"insert", card, reader});
    ASSERT_EQ(inserted.exitCode, 0) << inserted.errors;
}

void CardTest::Remove(const std::string& card)
{
    const Finished removed = RunTool({"remove", card});
    ASSERT_EQ(removed.exitCode, 0) << removed.errors;
}

void CardTest::Order(const std::string& card, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {"fault", card});
    const Finished ordered = RunTool(arguments);
    ASSERT_EQ(ordered.exitCode, 0) << ordered.errors;
}

CardSession CardTest::Open(const char16_t* reader)
{
    CardSession session = 0;
    EXPECT_EQ(Library().openSession(reader, &session), 0);
    EXPECT_NE(session, 0U);
    return session;
}

CardSession CardTest::InsertAndOpen(const std::string& card)
{
    Insert(card);
    return Open();
}

void WriteText(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::vector<uint8_t> ReadBytes(const std::filesystem::path& path)
{
    const std::string content = ReadFile(path);
    return {content.begin(), content.end()};
}

void WriteBytes(const std::filesystem::path& path, const std::vector<uint8_t>& bytes)
{
    WriteText(path, std::string(bytes.begin(), bytes.end()));
}

std::string FromEnvironment(const char* variable)
{
    const char* value = std::getenv(variable);
    return value == nullptr ? std::string() : std::string(value);
}

uint32_t FlagsOf(CardSession session)
{
    uint32_t flags = 0xFFFFFFFF;
    EXPECT_EQ(Library().getSessionFlags(session, &flags), 0);
    return flags;
}

} // namespace softcard::test
