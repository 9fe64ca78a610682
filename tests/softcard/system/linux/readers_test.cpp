// Readers and cards that a person handles with `mkdir`, `ln -s`, `mv` and `rm` alone.
#include "softcard/card/reader_directory.h"
#include "softcard/system/files.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/reader_events.h"
#include "tests/support/linux/counted_calls.h"

#include <algorithm>
#include <fstream>
#include <string>
#include <thread>

#include <sys/syscall.h>

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

class Readers : public CardTest
{
protected:
    Readers()
    {
        TakeEvents();
        fs::create_directories(ReaderFolder() / "Reader 0");
    }

    [[nodiscard]] fs::path ReaderFolder() const { return State() / "readers"; }
    [[nodiscard]] fs::path Link(const std::string& reader = "Reader 0") const
    {
        return ReaderFolder() / reader / "card";
    }
    void MakeLink(const fs::path& target, const std::string& reader = "Reader 0") const
    {
        fs::create_directories(ReaderFolder() / reader);
        fs::create_symlink(target, Link(reader));
    }

    // In the readers' folder.
    void Shell(const std::string& command) const
    {
        ASSERT_EQ(RunProgram({"sh", "-c", "cd '" + ReaderFolder().string() + "' && " + command}).exitCode, 0);
    }

    static CardStatus TryToOpen(const char16_t* reader = u"Reader 0")
    {
        CardSession session = 0;
        const CardStatus status = Library().openSession(reader, &session);
        EXPECT_EQ(session != 0, status == 0);
        return status;
    }

    static std::string ReaderOf(const std::string& card)
    {
        const std::string list = RunTool({"list"}).output;
        const size_t line = list.find(card + "\t");
        const size_t start = line + card.size() + 1;
        return line == std::string::npos ? "" : list.substr(start, list.find('\t', start) - start);
    }

    // The shell command brings the events.
    void ExpectEventsOf(const std::string& command,
                        const std::vector<std::pair<uint32_t, std::u16string>>& wanted) const
    {
        Shell(command);
        for (const auto& [code, reader] : wanted) {
            const Event event = AwaitEvent();
            EXPECT_EQ(event.code, code) << command;
            EXPECT_EQ(event.reader, reader) << command;
            EXPECT_EQ(event.status, 0) << command;
        }
    }
};

TEST_F(Readers, AreSeenByARunningProgramWhenAPersonHandlesThem)
{
    const Monitor monitor;
    for (int round = 0; round < 3; ++round) {
        ExpectEventsOf("ln -s ../../cards/ref2 'Reader 0/card'", {{cardInsertedEvent, u"Reader 0"}});
        ExpectEventsOf("mkdir New && mv 'Reader 0/card' New/",
                       {{cardRemovedEvent, u"Reader 0"}, {cardInsertedEvent, u"New"}});
        ExpectEventsOf("ln -s ../../cards/ref3 'Reader 0/card'", {{cardInsertedEvent, u"Reader 0"}});
        ExpectEventsOf("mv New Renamed", {{cardRemovedEvent, u"New"}, {cardInsertedEvent, u"Renamed"}});
        ExpectEventsOf("rm 'Reader 0/card'", {{cardRemovedEvent, u"Reader 0"}});
        ExpectEventsOf("rm -r Renamed", {{cardRemovedEvent, u"Renamed"}});
    }
}

TEST_F(Readers, LoseACardWhoseFolderGoes)
{
    const Monitor monitor;
    for (int round = 0; round < 3; ++round) {
        ExpectEventsOf("ln -s ../../cards/ref2 'Reader 0/card'", {{cardInsertedEvent, u"Reader 0"}});
        ExpectEventsOf("mv ../cards/ref2 ../aside", {{cardRemovedEvent, u"Reader 0"}});
        ExpectEventsOf("mv ../aside ../cards/ref2", {{cardInsertedEvent, u"Reader 0"}});
        ExpectEventsOf("rm 'Reader 0/card'", {{cardRemovedEvent, u"Reader 0"}});
    }
}

TEST_F(Readers, TakeALinkFromAnywhereToACard)
{
    for (const fs::path& target :
         {State() / "cards/ref2", fs::path("../../cards/ref2/"), fs::path("../../cards/ref3/../ref2")}) {
        MakeLink(target);
        EXPECT_EQ(ReaderOf("ref2"), "Reader 0") << target;
        EXPECT_EQ(TryToOpen(), 0) << target;
        fs::remove(Link());
    }
    fs::create_symlink(State() / "cards/ref2", Scratch("alias"));
    MakeLink(Scratch("alias"));
    EXPECT_EQ(ReaderOf("ref2"), "Reader 0");
}

TEST_F(Readers, WithADanglingLinkAreEmpty)
{
    MakeLink("../../cards/nobody");
    EXPECT_EQ(TryToOpen(), eStatusNO_SMARTCARD);
    EXPECT_TRUE(EventsNow().empty());
    ASSERT_EQ(RunTool({"insert", "ref2"}).exitCode, 0) << "a link to nothing makes room";
    EXPECT_EQ(TryToOpen(), 0);
}

TEST_F(Readers, WithALinkToNoCardAreEmpty)
{
    fs::copy(State() / "cards/ref2", Scratch("elsewhere"), fs::copy_options::recursive);
    fs::copy(State() / "cards/ref2", State() / "cards/.hidden", fs::copy_options::recursive);
    fs::create_directories(State() / "cards/bare");
    for (const fs::path& target :
         {fs::path("/"), Scratch("elsewhere"), State() / "cards", State() / "cards/.hidden",
          State() / "cards/bare", State() / "cards/ref2/card.json", fs::path("card")}) {
        MakeLink(target);
        EXPECT_EQ(TryToOpen(), eStatusNO_SMARTCARD) << target;
        EXPECT_TRUE(EventsNow().empty()) << target;
        fs::remove(Link());
    }
}

TEST_F(Readers, AreSeenBesideACardThatCannotBeLookedAt)
{
    MakeLink("../../cards/ref2");
    fs::create_directories(State() / "cards/broken");
    fs::create_symlink("card.json", State() / "cards/broken/card.json"); // leads to itself
    MakeLink("../../cards/broken", "Reader 1");
    EXPECT_EQ(TryToOpen(), 0);
    EXPECT_EQ(TryToOpen(u"Reader 1"), eStatusNO_SMARTCARD);
    EXPECT_EQ(ReaderOf("ref2"), "Reader 0");
}

TEST_F(Readers, WithAFileOrAFolderInThePlaceOfTheLinkAreEmpty)
{
    WriteText(Link(), "ref2");
    EXPECT_EQ(TryToOpen(), eStatusNO_SMARTCARD);
    const Finished file = RunTool({"insert", "ref2"});
    EXPECT_EQ(file.exitCode, exitReaderOccupied);
    EXPECT_EQ(file.errors, "tavrik-card: Something that is no card is in the reader \"Reader 0\".\n");
    EXPECT_EQ(softcard::ReadFile(Link()), "ref2") << "nobody's file is lost";
    fs::remove(Link());
    fs::copy(State() / "cards/ref2", Link(), fs::copy_options::recursive);
    EXPECT_EQ(TryToOpen(), eStatusNO_SMARTCARD);
    EXPECT_EQ(RunTool({"insert", "ref2"}).exitCode, exitReaderOccupied);
    EXPECT_TRUE(EventsNow().empty());
}

TEST_F(Readers, HaveRoomForOneLinkOnly)
{
    fs::create_symlink("../../cards/ref2", ReaderFolder() / "Reader 0/ref2");
    EXPECT_EQ(TryToOpen(), eStatusNO_SMARTCARD) << "the link has another name";
    MakeLink("../../cards/ref3");
    EXPECT_EQ(ReaderOf("ref3"), "Reader 0");
    EXPECT_EQ(ReaderOf("ref2"), "-");
}

TEST_F(Readers, AreFoldersAndNothingElse)
{
    WriteText(ReaderFolder() / "File", "");
    fs::create_directories(Scratch("folder"));
    fs::create_symlink(State() / "cards/ref2", Scratch("folder/card"));
    fs::create_directory_symlink(Scratch("folder"), ReaderFolder() / "Linked");
    fs::create_directories(ReaderFolder() / ".hidden");
    for (const char16_t* name : {u"File", u"Linked", u".hidden"}) {
        EXPECT_EQ(TryToOpen(name), eStatusUNKNOWN_READER);
    }
    std::u16string buffer(1024, u'\1');
    EXPECT_EQ(Library().getReaderList(buffer.data(), 1023), 9) << "only \"Reader 0\"";
    EXPECT_EQ(softcard::ReaderFolders(ReaderFolder()).size(), 1U);
    EXPECT_EQ(softcard::ReaderDirectory({Home() / "config", State()}).List().size(), 1U);
    EXPECT_TRUE(EventsNow().empty());
    for (const char* name : {"File", "Linked"}) {
        EXPECT_EQ(RunTool({"plug", name}).exitCode, exitReaderOccupied) << name;
        EXPECT_EQ(RunTool({"insert", "ref2", name}).exitCode, exitReaderOccupied) << name;
        EXPECT_EQ(RunTool({"unplug", name}).exitCode, 11) << name;
    }
}

TEST_F(Readers, HaveACardOnlyWhereItWasFirst)
{
    MakeLink("../../cards/ref2", "Z first");
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // longer than the clock of the files ticks
    MakeLink("../../cards/ref2", "A second");
    EXPECT_EQ(TryToOpen(u"A second"), eStatusNO_SMARTCARD);
    const auto inserted = EventsNow();
    ASSERT_EQ(inserted.size(), 1U);
    EXPECT_EQ(inserted[0].reader, u"Z first");
    EXPECT_EQ(ReaderOf("ref2"), "Z first");
    EXPECT_EQ(RunTool({"insert", "ref2", "Third"}).exitCode, 5);

    ASSERT_EQ(RunTool({"insert", "ref3", "A second"}).exitCode, 0)
        << "a reader that counts as empty takes a card";
    EXPECT_EQ(EventsNow().size(), 1U);
    fs::remove(Link("A second"));
    MakeLink("../../cards/ref2", "A second");
    EXPECT_EQ(EventsNow().size(), 1U) << "ref3 went";

    fs::remove(Link("Z first"));
    const auto moved = EventsNow();
    ASSERT_EQ(moved.size(), 2U) << "the second link is the first now";
    EXPECT_EQ(moved[0].code, cardRemovedEvent);
    EXPECT_EQ(moved[0].reader, u"Z first");
    EXPECT_EQ(moved[1].code, cardInsertedEvent);
    EXPECT_EQ(moved[1].reader, u"A second");
}

TEST_F(Readers, LoseEveryLinkToACardThatTheToolRemoves)
{
    MakeLink("../../cards/ref2", "A");
    MakeLink("../../cards/ref2", "B");
    EXPECT_EQ(EventsNow().size(), 1U);
    Remove("ref2");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardRemovedEvent);
    EXPECT_FALSE(fs::is_symlink(Link("A")) || fs::is_symlink(Link("B")));
}

TEST_F(Readers, ReportACardThatWasRemovedAndInsertedByHand)
{
    for (const char* command :
         {"rm 'Reader 0/card'; ln -s ../../cards/ref2 'Reader 0/card'",
          "ln -sfn ../../cards/ref2 'Reader 0/card'", "mv 'Reader 0/card' x && mv x 'Reader 0/card'",
          "mv 'Reader 0' x && mkdir 'Reader 0' && mv x/card 'Reader 0' && rmdir x"}) {
        fs::remove(Link());
        MakeLink("../../cards/ref2");
        EventsNow();
        const CardSession session = Open();
        std::this_thread::sleep_for(
            std::chrono::milliseconds(20)); // longer than the clock of the files ticks
        Shell(command);
        uint32_t flags = 0;
        EXPECT_EQ(Library().getSessionFlags(session, &flags), eStatusREMOVED_CARD) << command;
        const auto events = EventsNow();
        ASSERT_EQ(events.size(), 2U) << command;
        EXPECT_EQ(events[0].code, cardRemovedEvent);
        EXPECT_EQ(events[1].code, cardInsertedEvent);
        EXPECT_EQ(FlagsOf(events[1].session), cardPresentFlag) << command;
    }
}

TEST_F(Readers, ReportAnotherCardOfTheSameName)
{
    MakeLink("../../cards/ref2");
    const CardSession session = Open();
    fs::rename(State() / "cards/ref2", State() / "cards/before");
    fs::rename(State() / "cards/ref3", State() / "cards/ref2");
    uint32_t flags = 0;
    EXPECT_EQ(Library().getSessionFlags(session, &flags), eStatusREMOVED_CARD);
    EXPECT_EQ(EventsNow().size(), 2U);
}

TEST_F(Readers, GetALinkThatWorksElsewhereToo)
{
    Insert("ref2");
    EXPECT_EQ(fs::read_symlink(Link()), "../../cards/ref2");
    EXPECT_EQ(std::distance(fs::directory_iterator(Link().parent_path()), {}), 1) << "no litter";
    fs::create_symlink("../../cards/ref3", Link().parent_path() / ".card.new");
    Remove("ref2");
    Insert("ref2");
    EXPECT_EQ(ReaderOf("ref2"), "Reader 0") << "whoever was killed while inserting does no harm";
}

// What the process follows, as the system tells it.
std::ptrdiff_t FollowedFolders()
{
    std::ptrdiff_t followed = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fdinfo")) {
        std::ifstream lines(entry.path());
        for (std::string line; std::getline(lines, line);) {
            followed += line.starts_with("inotify ") ? 1 : 0;
        }
    }
    return followed;
}

void AwaitFollowedFolders(std::ptrdiff_t wanted)
{
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (FollowedFolders() != wanted && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(FollowedFolders(), wanted);
}

TEST_F(Readers, AreFollowedAsLongAsTheyAreThere)
{
    std::thread waiting([] { Library().waitForReaderEvent(20000, Listen); });
    AwaitFollowedFolders(3); // of the readers, of the cards, and one reader
    Shell("mkdir A B");
    AwaitFollowedFolders(5);
    Shell("mv A ../aside && mv B C");
    AwaitFollowedFolders(4);
    Shell("rmdir C");
    AwaitFollowedFolders(3);
    Insert("ref2");
    waiting.join();
    EXPECT_EQ(TakeEvents().size(), 1U);
    EXPECT_EQ(FollowedFolders(), 0);
}

// A card's folder that is a link itself lies elsewhere, and what leads elsewhere is no card.
TEST_F(Readers, DoNotTakeACardWhoseFolderIsALink)
{
    fs::rename(State() / "cards/ref2", Scratch("elsewhere"));
    fs::create_symlink(Scratch("elsewhere"), State() / "cards/ref2");
    const Finished refused = RunTool({"insert", "ref2"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.errors,
              "tavrik-card: The card \"ref2\" cannot be put into a reader: its folder, or the "
              "readers' folder, is a link to elsewhere.\n");
    EXPECT_FALSE(fs::is_symlink(Link()));
    EXPECT_TRUE(EventsNow().empty());
}

// Giving back what the system follows folders with takes some milliseconds, of each start of the library.
TEST_F(Readers, AreFollowedOnlyForACallerThatWaits)
{
    const auto callsOfWait = [](uint32_t milliseconds) {
        return blackbox::CallsOf([milliseconds] { Library().waitForReaderEvent(milliseconds, Listen); });
    };
    EXPECT_FALSE(callsOfWait(0).contains(SYS_inotify_init1));
    EXPECT_TRUE(callsOfWait(1).contains(SYS_inotify_init1));
}

} // namespace

void softcard::test::AwaitFollowing()
{
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (FollowedFolders() == 0 && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}
