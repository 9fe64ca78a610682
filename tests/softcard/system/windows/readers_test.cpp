// Readers and cards that are handled with files and folders alone.
#include "softcard/system/files.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/reader_events.h"

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds tick{20}; // longer than the clock of the files ticks
constexpr std::chrono::seconds longestAttempts{30};

// Does what the system refuses while somebody, such as the library, looks at the file or the folder at that moment.
template <typename Deed>
void DoWhenAllowed(Deed deed)
{
    const auto end = std::chrono::steady_clock::now() + longestAttempts;
    while (true) {
        try {
            deed();
            return;
        } catch (const fs::filesystem_error&) {
            if (std::chrono::steady_clock::now() >= end) {
                throw;
            }
        }
        std::this_thread::sleep_for(tick);
    }
}

void Rename(const fs::path& from, const fs::path& to)
{
    DoWhenAllowed([&] { fs::rename(from, to); });
}

void RemoveAll(const fs::path& path)
{
    DoWhenAllowed([&] { fs::remove_all(path); });
}

class WindowsReaders : public CardTest
{
protected:
    WindowsReaders()
    {
        TakeEvents();
        fs::create_directories(Link().parent_path());
    }

    [[nodiscard]] fs::path Link(const std::string& reader = "Reader 0") const
    {
        return State() / "readers" / reader / "card";
    }
    void MakeLink(const std::string& text, const std::string& reader = "Reader 0") const
    {
        fs::create_directories(Link(reader).parent_path());
        WriteText(Link(reader), text);
    }

    static CardStatus TryToOpen(const char16_t* reader = u"Reader 0")
    {
        CardSession session = 0;
        return Library().openSession(reader, &session);
    }

    static void ExpectEvent(uint32_t code, const std::u16string& reader, const std::string& deed)
    {
        const Event event = AwaitEvent();
        EXPECT_EQ(event.code, code) << deed;
        EXPECT_EQ(event.reader, reader) << deed;
    }
};

TEST_F(WindowsReaders, AreSeenByARunningProgramWhenFilesAndFoldersChange)
{
    const Monitor monitor;
    for (int round = 0; round < 3; ++round) {
        MakeLink("..\\..\\cards\\ref2\r\n");
        ExpectEvent(cardInsertedEvent, u"Reader 0", "writing the file");
        fs::create_directories(Link("New").parent_path());
        Rename(Link(), Link("New"));
        ExpectEvent(cardRemovedEvent, u"Reader 0", "moving the file away");
        ExpectEvent(cardInsertedEvent, u"New", "moving the file into another reader");
        Rename(State() / "readers/New", State() / "readers/Renamed");
        ExpectEvent(cardRemovedEvent, u"New", "renaming the reader");
        ExpectEvent(cardInsertedEvent, u"Renamed", "renaming the reader");
        RemoveAll(State() / "readers/Renamed");
        ExpectEvent(cardRemovedEvent, u"Renamed", "removing the reader");
    }
}

TEST_F(WindowsReaders, LoseACardWhoseFolderGoes)
{
    const Monitor monitor;
    MakeLink("..\\..\\cards\\ref2");
    ExpectEvent(cardInsertedEvent, u"Reader 0", "writing the file");
    Rename(State() / "cards/ref2", State() / "aside");
    ExpectEvent(cardRemovedEvent, u"Reader 0", "moving the card's folder away");
    Rename(State() / "aside", State() / "cards/ref2");
    ExpectEvent(cardInsertedEvent, u"Reader 0", "moving it back");
}

TEST_F(WindowsReaders, TakeTheFileInAnyCommonForm)
{
    const std::string absolute = (State() / "cards" / "ref2").string();
    const std::u16string wide = u"\uFEFF..\\..\\cards\\ref2\r\n";
    for (const std::string& text :
         {std::string("..\\..\\cards\\ref2"), std::string("../../cards/ref2/\n"),
          std::string("..\\..\\cards\\ref3\\..\\ref2 \r\nanother line"), std::string("..\\..\\CARDS\\Ref2"),
          std::string("\xEF\xBB\xBF..\\..\\cards\\ref2\r\n"), absolute,
          std::string(reinterpret_cast<const char*>(wide.data()), wide.size() * 2)}) {
        MakeLink(text);
        EXPECT_EQ(TryToOpen(), 0) << text;
        EXPECT_NE(RunTool({"list"}).output.find("ref2\tReader 0\t"), std::string::npos) << text;
        RemoveAll(Link());
    }
}

TEST_F(WindowsReaders, WithAFileThatLeadsToNoCardAreEmpty)
{
    fs::create_directories(State() / "cards/bare");
    fs::copy(State() / "cards/ref2", Scratch("elsewhere"), fs::copy_options::recursive);
    for (const std::string& text :
         {std::string(), std::string("\r\n"), std::string("..\\..\\cards\\nobody"),
          std::string("..\\..\\cards"), std::string("..\\..\\cards\\bare"),
          std::string("..\\..\\cards\\ref2\\card.json"), Scratch("elsewhere").string(),
          std::string("..\\..\\cards\\ref2\xFF"), std::string(70000, 'x'), std::string("..\\..\\cards\\*")}) {
        MakeLink(text);
        EXPECT_EQ(TryToOpen(), eStatusNO_SMARTCARD) << text.substr(0, 50);
        EXPECT_TRUE(EventsNow().empty()) << text.substr(0, 50);
    }
    ASSERT_EQ(RunTool({"insert", "ref2"}).exitCode, 0) << "such a file makes room";
    EXPECT_EQ(TryToOpen(), 0);
}

TEST_F(WindowsReaders, WithAFolderInThePlaceOfTheFileAreEmpty)
{
    fs::copy(State() / "cards/ref2", Link(), fs::copy_options::recursive);
    EXPECT_EQ(TryToOpen(), eStatusNO_SMARTCARD);
    EXPECT_EQ(RunTool({"insert", "ref2"}).exitCode, 6);
}

TEST_F(WindowsReaders, GetAFileThatWorksElsewhereToo)
{
    Insert("ref2");
    EXPECT_EQ(softcard::ReadFile(Link()), "..\\..\\cards\\ref2\r\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(Link().parent_path()), {}), 1) << "no litter";
}

TEST_F(WindowsReaders, HaveACardOnlyWhereItWasFirst)
{
    MakeLink("..\\..\\cards\\ref2", "Z first");
    std::this_thread::sleep_for(tick);
    MakeLink("..\\..\\cards\\ref2", "A second");
    EXPECT_EQ(TryToOpen(u"A second"), eStatusNO_SMARTCARD);
    EXPECT_EQ(TryToOpen(u"Z first"), 0);
    RemoveAll(Link("Z first"));
    EXPECT_EQ(TryToOpen(u"A second"), 0) << "the second file is the first now";
}

TEST_F(WindowsReaders, ReportACardThatWasRemovedAndInsertedByHand)
{
    const std::vector<std::pair<std::string, std::function<void()>>> deeds = {
        {"removed and written anew",
         [this] {
             RemoveAll(Link());
             MakeLink("..\\..\\cards\\ref2");
         }},
        {"written again", [this] { MakeLink("..\\..\\cards\\ref2"); }},
        {"moved away and back",
         [this] {
             Rename(Link(), Scratch("card"));
             Rename(Scratch("card"), Link());
         }},
        {"the card replaced by another of its name", [this] {
             Rename(State() / "cards/ref2", State() / "cards/before");
             Rename(State() / "cards/ref3", State() / "cards/ref2");
         }}};
    for (const auto& [name, deed] : deeds) {
        RemoveAll(Link());
        MakeLink("..\\..\\cards\\ref2");
        EventsNow();
        const CardSession session = Open();
        std::this_thread::sleep_for(tick);
        deed();
        uint32_t flags = 0;
        EXPECT_EQ(Library().getSessionFlags(session, &flags), eStatusREMOVED_CARD) << name;
        EXPECT_EQ(EventsNow().size(), 2U) << name;
    }
}

} // namespace

void softcard::test::AwaitFollowing()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // the system does not tell
}
