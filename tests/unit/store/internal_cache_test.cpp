#include "src/store/internal_cache.h"

#include "src/operations/session_operations.h"
#include "tests/unit/card/stub_card.h"
#include "tests/unit/log/log_capture.h"
#include "tests/unit/store/store_fixture.h"

#include <atomic>
#include <thread>

namespace {

// What the store was like before any test used it.
struct FirstSight
{
    std::vector<LoggedLine> log;
    uint32_t tokenId = 0;
    CK_SLOT_ID slotId = 0;
    CK_SESSION_HANDLE sessionHandle = 0;
    CK_OBJECT_HANDLE certificateHandle = 0;
    CK_OBJECT_HANDLE privateKeyHandle = 0;
    CK_OBJECT_HANDLE publicKeyHandle = 0;
    std::size_t slots = 1;
};
FirstSight firstSight;

class FirstSightOfStore : public testing::Environment
{
public:
    void SetUp() override
    {
        LogCapture log;
        const auto& cache = InternalCache::GetInstance();
        firstSight.log = log.Lines();
        firstSight.tokenId = cache.tokenIdCounter;
        firstSight.slotId = cache.slotIdCounter;
        firstSight.sessionHandle = cache.sessionHandleCounter;
        firstSight.certificateHandle = cache.certificateHandleCounter;
        firstSight.privateKeyHandle = cache.privateKeyHandleCounter;
        firstSight.publicKeyHandle = cache.publicKeyHandleCounter;
        firstSight.slots = cache.GetSlotIds().size();
    }
};

const auto* const firstSightOfStore = testing::AddGlobalTestEnvironment(new FirstSightOfStore);

using Handles = std::vector<CK_ULONG>;

Handles HandlesOf(const std::vector<std::shared_ptr<Session>>& sessions)
{
    Handles handles;
    for (const auto& session : sessions) {
        handles.push_back(session->handle);
    }
    return handles;
}

Handles HandlesOf(const std::vector<std::shared_ptr<PkcsObject>>& objects)
{
    Handles handles;
    for (const auto& object : objects) {
        handles.push_back(object->objectHandle);
    }
    return handles;
}

// Notes the end of records in the order in which they end.
class EndsOfRecords
{
public:
    template <typename Record, typename... Arguments>
    std::shared_ptr<Record> Make(const std::string& name, Arguments&&... arguments)
    {
        return std::shared_ptr<Record>(new Record(std::forward<Arguments>(arguments)...),
                                       [this, name](Record* record) {
                                           ends.push_back(name);
                                           delete record;
                                       });
    }

    std::vector<std::string> ends;
};

class InternalCacheTest : public StoreTest
{
};

} // namespace

TEST_F(InternalCacheTest, IsMadeOnce)
{
    EXPECT_EQ(&InternalCache::GetInstance(), &InternalCache::GetInstance());
}

TEST_F(InternalCacheTest, BeginsEmptyWithItsCountersAtTheirFirstNumbers)
{
    ASSERT_NE(firstSightOfStore, nullptr);
    EXPECT_EQ(firstSight.tokenId, 1U);
    EXPECT_EQ(firstSight.slotId, 1U);
    EXPECT_EQ(firstSight.sessionHandle, 1U);
    EXPECT_EQ(firstSight.certificateHandle, 0x70000001U);
    EXPECT_EQ(firstSight.privateKeyHandle, 0x30000001U);
    EXPECT_EQ(firstSight.publicKeyHandle, 0x40000001U);
    EXPECT_EQ(firstSight.slots, 0U);
}

TEST_F(InternalCacheTest, LogsItsMaking)
{
    EXPECT_EQ(firstSight.log,
              (std::vector<LoggedLine>{
                  {" DBG", "InternalCache will be created", "InternalCache::InternalCache", ""},
                  {" DBG", "InternalCache created", "InternalCache::InternalCache", ""}}));
}

TEST_F(InternalCacheTest, AddCardTokenLogsTheReader)
{
    LogCapture log;
    Cache().AddCardToken(std::make_shared<CardToken>(Cache().tokenIdCounter++, 1, "Reader A"));
    EXPECT_EQ(log.Lines(), (std::vector<LoggedLine>{{" DBG", "New card token added in reader: Reader A",
                                                     "InternalCache::AddCardToken", ""}}));
}

TEST_F(InternalCacheTest, AddCardTokenIgnoresNullWithoutALine)
{
    LogCapture log;
    Cache().AddCardToken(nullptr);
    EXPECT_EQ(log.Text(), "");
}

TEST_F(InternalCacheTest, AddSlotLogsAndIgnoresNull)
{
    LogCapture log;
    Cache().AddSlot(nullptr);
    EXPECT_EQ(log.Lines(),
              (std::vector<LoggedLine>{{" DBG", "New slot added", "InternalCache::AddSlot", ""}}));
    EXPECT_TRUE(Cache().GetSlotIds().empty());
}

TEST_F(InternalCacheTest, AddSessionLogsAndIgnoresNull)
{
    LogCapture log;
    Cache().AddSession(nullptr);
    EXPECT_EQ(log.Lines(),
              (std::vector<LoggedLine>{{" DBG", "New session added", "InternalCache::AddSession", ""}}));
}

TEST_F(InternalCacheTest, LookupsFindWhatWasAdded)
{
    const auto card = AddCard("Reader", 5);
    const auto session = AddSession(card.qualifiedSlot);
    const auto object = AddPublicKey(card.ordinarySlot);
    EXPECT_EQ(Cache().GetCardToken(card.tokenId)->card.session, 5U);
    EXPECT_EQ(Cache().GetSlot(card.qualifiedSlot)->label, "Sig_ZEP");
    EXPECT_EQ(Cache().GetSlot(card.ordinarySlot)->label, "Sig_EP");
    EXPECT_EQ(Cache().GetSession(session)->slotId, card.qualifiedSlot);
    EXPECT_EQ(Cache().GetObject(object)->slotId, card.ordinarySlot);
    EXPECT_EQ(Cache().GetCardTokenOfSession(session)->tokenId, card.tokenId);
}

TEST_F(InternalCacheTest, LookupsOfUnknownIdsGiveNull)
{
    AddCard("Reader", 5);
    for (const uint32_t id : {0U, 0xFFFFFFFFU}) {
        EXPECT_EQ(Cache().GetCardToken(id), nullptr);
        EXPECT_EQ(Cache().GetSlot(id), nullptr);
        EXPECT_EQ(Cache().GetSession(id), nullptr);
        EXPECT_EQ(Cache().GetObject(id), nullptr);
        EXPECT_EQ(Cache().GetCardTokenOfSession(id), nullptr);
    }
}

TEST_F(InternalCacheTest, TokenOfASessionWithoutSlotOrTokenIsNull)
{
    EXPECT_EQ(Cache().GetCardTokenOfSession(AddSession(0xFFFF)), nullptr);
    EXPECT_EQ(Cache().GetCardTokenOfSession(AddSession(AddSlot(0xFFFF, "Sig_EP"))), nullptr);
}

TEST_F(InternalCacheTest, ListsAreInTheOrderOfTheStore)
{
    const auto first = AddCard("Reader A", 1);
    const auto second = AddCard("Reader B", 2);
    const auto a = AddSession(first.ordinarySlot);
    const auto b = AddSession(first.qualifiedSlot);
    const auto c = AddSession(second.qualifiedSlot);
    const auto d = AddSession(first.ordinarySlot);
    EXPECT_EQ(Cache().GetSessionsOfSlot(first.ordinarySlot), (Handles{a, d}));
    // By slot first, then by session.
    EXPECT_EQ(HandlesOf(Cache().GetSessionsOfToken(first.tokenId)), (Handles{b, a, d}));
    EXPECT_EQ(HandlesOf(Cache().GetSessionsOfToken(second.tokenId)), Handles{c});

    const auto slots = SlotsInStore();
    std::vector<CK_SLOT_ID> slotIds;
    slotIds.reserve(slots.size());
    for (const auto& slot : slots) {
        slotIds.push_back(slot->slotId);
    }
    EXPECT_EQ(slotIds,
              (Handles{first.qualifiedSlot, first.ordinarySlot, second.qualifiedSlot, second.ordinarySlot}));
}

TEST_F(InternalCacheTest, ObjectsOfASlotAreInTheOrderOfTheirMaking)
{
    const auto card = AddCard("Reader", 1);
    const auto a = AddPublicKey(card.qualifiedSlot);
    const auto b = AddCertificate(card.qualifiedSlot);
    const auto other = AddPublicKey(card.ordinarySlot);
    const auto c = AddPrivateKey(card.qualifiedSlot, 1);
    EXPECT_EQ(HandlesOf(Cache().GetObjectsOfSlot(card.qualifiedSlot)), (Handles{a, b, c}));
    EXPECT_EQ(HandlesOf(Cache().GetObjectsOfSlot(card.ordinarySlot)), Handles{other});
    const auto records = Cache().GetObjectsOfSlot(card.qualifiedSlot);
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[1]->objectHandle, b);
}

TEST_F(InternalCacheTest, ListsAreEmptyWhenNothingMatches)
{
    const auto card = AddCard("Reader", 1);
    EXPECT_TRUE(Cache().GetSessionsOfToken(card.tokenId).empty());
    EXPECT_TRUE(Cache().GetSessionsOfToken(0xFFFF).empty());
    EXPECT_TRUE(Cache().GetSessionsOfSlot(card.qualifiedSlot).empty());
    EXPECT_TRUE(Cache().GetObjectsOfSlot(card.qualifiedSlot).empty());
    EXPECT_FALSE(Cache().HasSessionsOfToken(card.tokenId));
}

TEST_F(InternalCacheTest, HasSessionsOfTokenAgreesWithTheList)
{
    const auto first = AddCard("Reader A", 1);
    const auto second = AddCard("Reader B", 2);
    const auto session = AddSession(first.ordinarySlot);
    EXPECT_TRUE(Cache().HasSessionsOfToken(first.tokenId));
    EXPECT_FALSE(Cache().HasSessionsOfToken(second.tokenId));
    Cache().RemoveSession(session);
    EXPECT_FALSE(Cache().HasSessionsOfToken(first.tokenId));
}

TEST_F(InternalCacheTest, HasObjectsOfSlotAgreesWithTheList)
{
    const auto card = AddCard("Reader", 1);
    EXPECT_FALSE(Cache().HasObjectsOfSlot(card.ordinarySlot));
    AddPublicKey(card.ordinarySlot);
    EXPECT_TRUE(Cache().HasObjectsOfSlot(card.ordinarySlot));
    EXPECT_FALSE(Cache().HasObjectsOfSlot(card.qualifiedSlot));
}

TEST_F(InternalCacheTest, ObjectOfARemovedSlotIsNotAdded)
{
    const auto card = AddCard("Reader", 1);
    const auto handle = AddPublicKey(card.qualifiedSlot);
    const auto object = Cache().GetObject(handle);
    Cache().RemoveCardToken("Reader");
    Cache().AddObject(object);
    EXPECT_EQ(Cache().GetObject(handle), nullptr);
    EXPECT_FALSE(Cache().HasObjectsOfSlot(card.qualifiedSlot));
}

TEST_F(InternalCacheTest, RemovedTokensAreLeftToTheCaller)
{
    AddCard("Reader A", 1);
    AddCard("Reader B", 2);
    auto tokens = Cache().RemoveCardToken("Reader A");
    ASSERT_EQ(tokens.size(), 1U);
    EXPECT_EQ(tokens[0].use_count(), 1);
    auto others = Cache().Clear();
    ASSERT_EQ(others.size(), 1U);
    EXPECT_TRUE(StubCard().calls.empty());
}

TEST_F(InternalCacheTest, RemoveSessionTakesOneOutAndCallsNoCard)
{
    const auto card = AddCard("Reader", 1);
    const auto gone = AddSession(card.qualifiedSlot);
    const auto kept = AddSession(card.qualifiedSlot);
    OperationsOf(*Cache().GetSession(gone)).signManager.active = true;
    EXPECT_TRUE(Cache().RemoveSession(gone));
    EXPECT_EQ(Cache().GetSession(gone), nullptr);
    EXPECT_NE(Cache().GetSession(kept), nullptr);
    EXPECT_FALSE(Cache().RemoveSession(gone));
    EXPECT_TRUE(StubCard().calls.empty());
}

TEST_F(InternalCacheTest, RemoveCardTokenTakesEverythingOfTheCard)
{
    const auto card = AddCard("Reader", 9);
    const auto session = AddSession(card.ordinarySlot);
    const auto object = AddPublicKey(card.qualifiedSlot);
    Cache().RemoveCardToken("Reader");
    EXPECT_EQ(Cache().GetCardToken(card.tokenId), nullptr);
    EXPECT_EQ(Cache().GetSlot(card.qualifiedSlot), nullptr);
    EXPECT_EQ(Cache().GetSlot(card.ordinarySlot), nullptr);
    EXPECT_EQ(Cache().GetSession(session), nullptr);
    EXPECT_EQ(Cache().GetObject(object), nullptr);
    EXPECT_EQ(StubCard().calls, std::vector<std::string>{"CloseSession 9"});
}

TEST_F(InternalCacheTest, RemoveCardTokenLeavesOtherReadersUntouched)
{
    const auto gone = AddCard("Reader A", 1);
    const auto kept = AddCard("Reader B", 2);
    AddSession(gone.qualifiedSlot);
    const auto session = AddSession(kept.qualifiedSlot);
    const auto object = AddPublicKey(kept.ordinarySlot);
    Cache().RemoveCardToken("Reader A");
    EXPECT_NE(Cache().GetCardToken(kept.tokenId), nullptr);
    EXPECT_EQ(Cache().GetSlotIds().size(), 2U);
    EXPECT_EQ(HandlesOf(Cache().GetSessionsOfToken(kept.tokenId)), Handles{session});
    EXPECT_EQ(HandlesOf(Cache().GetObjectsOfSlot(kept.ordinarySlot)), Handles{object});
    EXPECT_EQ(CallsOf("CloseSession 2"), 0);
}

TEST_F(InternalCacheTest, RemoveCardTokenTakesAllTokensOfTheReader)
{
    const auto first = AddCard("Reader", 1);
    const auto between = AddCard("Other", 2);
    const auto second = AddCard("Reader", 3);
    const auto third = AddCard("Reader", 4);
    Cache().RemoveCardToken("Reader");
    EXPECT_EQ(Cache().GetCardToken(first.tokenId), nullptr);
    EXPECT_EQ(Cache().GetCardToken(second.tokenId), nullptr);
    EXPECT_EQ(Cache().GetCardToken(third.tokenId), nullptr);
    EXPECT_NE(Cache().GetCardToken(between.tokenId), nullptr);
    EXPECT_EQ(StubCard().calls,
              (std::vector<std::string>{"CloseSession 1", "CloseSession 3", "CloseSession 4"}));
}

TEST_F(InternalCacheTest, SlotsAreListedInTheOrderOfTheirInsertion)
{
    const auto first = AddCard("A", 1);
    const auto second = AddCard("B", 2);
    const auto third = AddCard("C", 3);
    Cache().RemoveCardToken("B");
    const auto fourth = AddCard("B", 4);
    using Ids = std::vector<CK_SLOT_ID>;
    EXPECT_EQ(Cache().GetSlotIds(), (Ids{first.qualifiedSlot, first.ordinarySlot, third.qualifiedSlot,
                                         third.ordinarySlot, fourth.qualifiedSlot, fourth.ordinarySlot}));
    EXPECT_EQ(Cache().GetSlot(second.qualifiedSlot), nullptr);

    const auto shown = std::make_shared<Slot>(*Cache().GetSlot(first.qualifiedSlot));
    Cache().Clear();
    Cache().AddSlot(shown); // whose id is less than the others'
    EXPECT_EQ(Cache().GetSlotIds(), Ids{first.qualifiedSlot});
}

TEST_F(InternalCacheTest, IdsOfSlotsAreCopiedWhereThereIsRoomForAll)
{
    std::array<CK_SLOT_ID, 3> room{91, 92, 93};
    EXPECT_EQ(Cache().CopySlotIds({}), 0U);
    const auto card = AddCard("Reader", 1);
    EXPECT_EQ(Cache().CopySlotIds({}), 2U);
    EXPECT_EQ(Cache().CopySlotIds(std::span(room).first(1)), 2U);
    EXPECT_EQ(room, (std::array<CK_SLOT_ID, 3>{91, 92, 93}));
    EXPECT_EQ(Cache().CopySlotIds(room), 2U);
    EXPECT_EQ(room, (std::array<CK_SLOT_ID, 3>{card.qualifiedSlot, card.ordinarySlot, 93}));
}

TEST_F(InternalCacheTest, RemoveCardTokenMatchesTheNameToTheByte)
{
    const auto card = AddCard("Reader", 1);
    for (const char* name : {"", "reader", "READER", "Reader ", "Reade", " Reader"}) {
        Cache().RemoveCardToken(name);
        EXPECT_NE(Cache().GetCardToken(card.tokenId), nullptr) << name;
    }
    Cache().RemoveCardToken(std::string("Reader\0", 7));
    EXPECT_NE(Cache().GetCardToken(card.tokenId), nullptr);
    EXPECT_EQ(Cache().GetSlotIds().size(), 2U);
    EXPECT_TRUE(StubCard().calls.empty());
}

TEST_F(InternalCacheTest, RemoveCardTokenEndsSessionsBeforeSlotsAndTheTokenLast)
{
    EndsOfRecords records;
    const auto tokenId = Cache().tokenIdCounter++;
    const CK_SLOT_ID slotId = Cache().slotIdCounter++;
    const CK_SESSION_HANDLE handle = Cache().sessionHandleCounter++;
    Cache().AddCardToken(records.Make<CardToken>("token", tokenId, CardSession{3}, "Reader"));
    Cache().AddSlot(records.Make<Slot>("slot", slotId, tokenId, "Sig_ZEP"));
    Cache().AddSession(records.Make<Session>("session", handle, slotId, nullptr));
    const std::weak_ptr<PkcsObject> object = Cache().GetObject(AddPublicKey(slotId));
    Cache().GetCardToken(tokenId)->card.StartTransaction();

    bool objectAtClose = true;
    bool slotAtClose = true;
    StubCard().onCloseSession = [&](CardSession) {
        objectAtClose = !object.expired();
        slotAtClose = Cache().GetSlot(slotId) != nullptr;
    };
    Cache().RemoveCardToken("Reader");
    EXPECT_EQ(records.ends, (std::vector<std::string>{"session", "slot", "token"}));
    EXPECT_FALSE(objectAtClose);
    EXPECT_FALSE(slotAtClose);
    EXPECT_EQ(StubCard().calls,
              (std::vector<std::string>{"StartTransaction 3", "StopTransaction 3", "CloseSession 3"}));
}

TEST_F(InternalCacheTest, RemoveCardTokenEndsObjectsBeforeSessions)
{
    const auto card = AddCard("Reader", 1);
    const std::weak_ptr<PkcsObject> object = Cache().GetObject(AddPublicKey(card.ordinarySlot));
    bool objectAtEnd = true;
    const auto handle = Cache().sessionHandleCounter++;
    Cache().AddSession(
        std::shared_ptr<Session>(new Session(handle, card.qualifiedSlot, nullptr), [&](Session* session) {
            objectAtEnd = !object.expired();
            delete session;
        }));
    Cache().RemoveCardToken("Reader");
    EXPECT_FALSE(objectAtEnd);
}

TEST_F(InternalCacheTest, CardThatIsPutBackGetsNewIds)
{
    const auto before = AddCard("Reader", 1);
    Cache().RemoveCardToken("Reader");
    const auto after = AddCard("Reader", 2);
    EXPECT_GT(after.tokenId, before.tokenId);
    EXPECT_GT(after.qualifiedSlot, before.ordinarySlot);
    EXPECT_EQ(Cache().GetSlot(before.qualifiedSlot), nullptr);
}

TEST_F(InternalCacheTest, ClearEmptiesTheStoreAndClosesCardSessions)
{
    const auto first = AddCard("Reader A", 1);
    const auto second = AddCard("Reader B", 2);
    const auto session = AddSession(first.qualifiedSlot);
    const auto object = AddPublicKey(second.ordinarySlot);
    Cache().Clear();
    EXPECT_TRUE(Cache().GetSlotIds().empty());
    EXPECT_EQ(Cache().GetSession(session), nullptr);
    EXPECT_EQ(Cache().GetObject(object), nullptr);
    EXPECT_EQ(Cache().GetCardToken(first.tokenId), nullptr);
    EXPECT_EQ(StubCard().calls, (std::vector<std::string>{"CloseSession 1", "CloseSession 2"}));
}

TEST_F(InternalCacheTest, ClearEndsSessionsThenSlotsThenTokens)
{
    EndsOfRecords records;
    for (int i = 0; i < 2; ++i) {
        const auto tokenId = Cache().tokenIdCounter++;
        const CK_SLOT_ID slotId = Cache().slotIdCounter++;
        Cache().AddCardToken(records.Make<CardToken>("token", tokenId, CardSession{3}, "Reader"));
        Cache().AddSlot(records.Make<Slot>("slot", slotId, tokenId, "Sig_ZEP"));
        Cache().AddSession(records.Make<Session>("session", Cache().sessionHandleCounter++, slotId, nullptr));
    }
    Cache().Clear();
    EXPECT_EQ(records.ends,
              (std::vector<std::string>{"session", "session", "slot", "slot", "token", "token"}));
}

TEST_F(InternalCacheTest, ClearLeavesTheCountersAlone)
{
    const auto card = AddCard("Reader", 1);
    const auto session = AddSession(card.qualifiedSlot);
    const auto publicKey = AddPublicKey(card.qualifiedSlot);
    const auto privateKey = AddPrivateKey(card.qualifiedSlot, 1);
    const auto certificate = AddCertificate(card.qualifiedSlot);
    Cache().Clear();
    Cache().Clear(); // on an empty store
    const auto next = AddCard("Reader", 1);
    EXPECT_EQ(next.tokenId, card.tokenId + 1);
    EXPECT_EQ(next.qualifiedSlot, card.ordinarySlot + 1);
    EXPECT_EQ(next.ordinarySlot, card.ordinarySlot + 2);
    EXPECT_EQ(AddSession(next.qualifiedSlot), session + 1);
    EXPECT_EQ(AddPublicKey(next.qualifiedSlot), publicKey + 1);
    EXPECT_EQ(AddPrivateKey(next.qualifiedSlot, 1), privateKey + 1);
    EXPECT_EQ(AddCertificate(next.qualifiedSlot), certificate + 1);
}

TEST_F(InternalCacheTest, RecordsOutliveTheirRemovalWhileTheyAreHeld)
{
    const auto card = AddCard("Reader", 8);
    const auto token = Cache().GetCardToken(card.tokenId);
    const auto slot = Cache().GetSlot(card.qualifiedSlot);
    const auto session = Cache().GetSession(AddSession(card.qualifiedSlot));
    const auto object = Cache().GetObject(AddPublicKey(card.qualifiedSlot));
    Cache().RemoveCardToken("Reader");
    EXPECT_EQ(token->readerName, "Reader");
    EXPECT_EQ(slot->label, "Sig_ZEP");
    EXPECT_EQ(session->slotId, card.qualifiedSlot);
    EXPECT_EQ(object->slotId, card.qualifiedSlot);
    EXPECT_EQ(Cache().GetObject(object->objectHandle), nullptr);
}

TEST_F(InternalCacheTest, CardSessionIsClosedOnceWhenTheLastUserReleasesTheToken)
{
    const auto card = AddCard("Reader", 8);
    auto first = Cache().GetCardToken(card.tokenId);
    auto second = first;
    first->card.StartTransaction();
    Cache().RemoveCardToken("Reader");
    EXPECT_EQ(CallsOf("CloseSession 8"), 0);
    first = nullptr;
    EXPECT_EQ(CallsOf("CloseSession 8"), 0);
    EXPECT_EQ(CallsOf("StopTransaction 8"), 0);
    second = nullptr;
    EXPECT_EQ(CallsOf("CloseSession 8"), 1);
    EXPECT_EQ(CallsOf("StopTransaction 8"), 1);
    Cache().Clear();
    EXPECT_EQ(CallsOf("CloseSession 8"), 1);
}

TEST_F(InternalCacheTest, CardSessionIsClosedWithoutTheLockOfTheLists)
{
    AddCard("Reader", 8);
    bool looked = false;
    StubCard().onCloseSession = [&looked](CardSession) {
        looked = Cache().GetSlotIds().empty(); // would wait for ever if the lock were held
    };
    Cache().RemoveCardToken("Reader");
    EXPECT_TRUE(looked);
}

TEST_F(InternalCacheTest, FindKeyInfoGivesTheRecordOfTheSlot)
{
    const auto card = AddCard("Reader", 1);
    EXPECT_EQ(FindKeyInfo(card.qualifiedSlot), nullptr);
    Cache().GetCardToken(card.tokenId)->keyInfoBySlot[card.qualifiedSlot] = MakeKeyInfo(3, 2048);
    ASSERT_NE(FindKeyInfo(card.qualifiedSlot), nullptr);
    EXPECT_EQ(FindKeyInfo(card.qualifiedSlot)->keyReference, 3U);
    EXPECT_EQ(FindKeyInfo(card.ordinarySlot), nullptr);
}

TEST_F(InternalCacheTest, FindKeyInfoGivesNullWhenALinkIsMissing)
{
    EXPECT_EQ(FindKeyInfo(0xFFFF), nullptr);
    EXPECT_EQ(FindKeyInfo(AddSlot(0xFFFF, "Sig_EP")), nullptr);
}

TEST_F(InternalCacheTest, KeyInfoKeepsItsTokenAlive)
{
    const auto card = AddCard("Reader", 6);
    Cache().GetCardToken(card.tokenId)->keyInfoBySlot[card.qualifiedSlot] = MakeKeyInfo(3, 2048);
    auto keyInfo = FindKeyInfo(card.qualifiedSlot);
    Cache().RemoveCardToken("Reader");
    EXPECT_EQ(keyInfo->modulusBits, 2048U);
    EXPECT_EQ(CallsOf("CloseSession 6"), 0);
    keyInfo = nullptr;
    EXPECT_EQ(CallsOf("CloseSession 6"), 1);
}

// Cards come and go on one thread, as reader events do, while the others look things up and make objects.
TEST_F(InternalCacheTest, LookupsCanRunDuringReaderEvents)
{
    constexpr int rounds = 100;
    std::atomic<bool> done{false};
    std::thread events([&done] {
        for (int i = 0; i < rounds; ++i) {
            AddCard("Reader", 100 + static_cast<CardSession>(i));
            Cache().RemoveCardToken("Reader");
        }
        done = true;
    });
    std::vector<std::thread> users;
    users.reserve(2);
    for (int i = 0; i < 2; ++i) {
        users.emplace_back([&done] {
            while (!done) {
                for (const CK_SLOT_ID slotId : Cache().GetSlotIds()) {
                    const auto session = AddSession(slotId);
                    AddPublicKey(slotId);
                    if (const auto token = Cache().GetCardTokenOfSession(session); token != nullptr) {
                        EXPECT_EQ(token->readerName, "Reader");
                    }
                    for (const auto& object : Cache().GetObjectsOfSlot(slotId)) {
                        Cache().GetObject(object->objectHandle);
                    }
                    Cache().RemoveSession(session);
                }
            }
        });
    }
    events.join();
    for (auto& user : users) {
        user.join();
    }
    EXPECT_TRUE(Cache().GetSlotIds().empty());
    for (int i = 0; i < rounds; ++i) {
        EXPECT_EQ(CallsOf("CloseSession " + std::to_string(100 + i)), 1);
    }
}
