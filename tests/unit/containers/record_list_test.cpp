#include "src/containers/record_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

namespace {

using List = RecordList<int>;

std::vector<int> ValuesOf(const std::vector<std::shared_ptr<int>>& records)
{
    std::vector<int> values;
    values.reserve(records.size());
    for (const auto& record : records) {
        values.push_back(*record);
    }
    return values;
}

void Append(List& list, uint32_t id, uint32_t group)
{
    list.Append(id, group, std::make_shared<int>(static_cast<int>(id)));
}

// Ids 5, 3 and 9 in group 1, and 7 and 2 in group 2, added in turn.
List FiveRecords()
{
    List list;
    Append(list, 5, 1);
    Append(list, 7, 2);
    Append(list, 3, 1);
    Append(list, 2, 2);
    Append(list, 9, 1);
    return list;
}

} // namespace

TEST(RecordList, BeginsEmpty)
{
    const List list;
    EXPECT_TRUE(list.All().empty());
    EXPECT_EQ(list.Find(1), nullptr);
    EXPECT_TRUE(list.OfGroup(1).empty());
    EXPECT_TRUE(list.IdsOfGroup(1).empty());
    EXPECT_FALSE(list.HasGroup(1));
}

TEST(RecordList, KeepsTheOrderOfInsertionWhateverTheIds)
{
    EXPECT_EQ(ValuesOf(FiveRecords().All()), (std::vector<int>{5, 7, 3, 2, 9}));
}

TEST(RecordList, FindsByIdAndNothingElse)
{
    const auto list = FiveRecords();
    ASSERT_NE(list.Find(3), nullptr);
    EXPECT_EQ(*list.Find(3), 3);
    EXPECT_EQ(list.Find(1), nullptr);
    EXPECT_EQ(list.Find(0), nullptr);
}

TEST(RecordList, ListsAGroupInOrder)
{
    const auto list = FiveRecords();
    EXPECT_EQ(ValuesOf(list.OfGroup(1)), (std::vector<int>{5, 3, 9}));
    EXPECT_EQ(list.IdsOfGroup(1), (std::vector<uint32_t>{5, 3, 9}));
    EXPECT_EQ(list.IdsOfGroup(2), (std::vector<uint32_t>{7, 2}));
    EXPECT_TRUE(list.HasGroup(2));
    EXPECT_FALSE(list.HasGroup(3));
}

TEST(RecordList, TakesOneRecordOut)
{
    auto list = FiveRecords();
    const auto taken = list.Take(3);
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(*taken, 3);
    EXPECT_EQ(taken.use_count(), 1);
    EXPECT_EQ(list.Find(3), nullptr);
    EXPECT_EQ(ValuesOf(list.All()), (std::vector<int>{5, 7, 2, 9}));
    EXPECT_EQ(list.IdsOfGroup(1), (std::vector<uint32_t>{5, 9}));
}

TEST(RecordList, TakesNothingForAnUnknownId)
{
    auto list = FiveRecords();
    EXPECT_EQ(list.Take(4), nullptr);
    EXPECT_EQ(list.All().size(), 5U);
}

TEST(RecordList, TakesAGroupOutInOrder)
{
    auto list = FiveRecords();
    EXPECT_EQ(ValuesOf(list.TakeGroup(1)), (std::vector<int>{5, 3, 9}));
    EXPECT_FALSE(list.HasGroup(1));
    EXPECT_EQ(ValuesOf(list.All()), (std::vector<int>{7, 2}));
    EXPECT_TRUE(list.TakeGroup(1).empty());
}

TEST(RecordList, LosesAGroupWithItsLastRecord)
{
    auto list = FiveRecords();
    list.Take(7);
    EXPECT_TRUE(list.HasGroup(2));
    list.Take(2);
    EXPECT_FALSE(list.HasGroup(2));
}

TEST(RecordList, TakesAllOutInOrderAndCanBeFilledAgain)
{
    auto list = FiveRecords();
    EXPECT_EQ(ValuesOf(list.TakeAll()), (std::vector<int>{5, 7, 3, 2, 9}));
    EXPECT_TRUE(list.All().empty());
    EXPECT_FALSE(list.HasGroup(1));
    EXPECT_EQ(list.Find(5), nullptr);
    Append(list, 10, 1);
    EXPECT_EQ(ValuesOf(list.OfGroup(1)), std::vector<int>{10});
}

TEST(RecordList, AppendsBehindWhatRemainedAfterARemoval)
{
    auto list = FiveRecords();
    list.Take(9);
    Append(list, 1, 1);
    EXPECT_EQ(ValuesOf(list.All()), (std::vector<int>{5, 7, 3, 2, 1}));
}

namespace {

struct NaiveEntry
{
    uint32_t id;
    uint32_t group;
};

// The same list as a plain vector that is searched from the front.
class NaiveList
{
public:
    std::vector<uint32_t> Take(const std::function<bool(const NaiveEntry&)>& matches)
    {
        std::vector<uint32_t> taken;
        for (auto entry = entries.begin(); entry != entries.end();) {
            if (matches(*entry)) {
                taken.push_back(entry->id);
                entry = entries.erase(entry);
            } else {
                ++entry;
            }
        }
        return taken;
    }

    std::vector<uint32_t> IdsOfGroup(uint32_t group) const
    {
        std::vector<uint32_t> ids;
        for (const auto& entry : entries) {
            if (entry.group == group) {
                ids.push_back(entry.id);
            }
        }
        return ids;
    }

    std::vector<NaiveEntry> entries;
};

std::vector<uint32_t> IdsOf(const std::vector<std::shared_ptr<int>>& records)
{
    std::vector<uint32_t> ids;
    ids.reserve(records.size());
    for (const auto& record : records) {
        ids.push_back(static_cast<uint32_t>(*record));
    }
    return ids;
}

constexpr uint32_t groupCount = 5;

void ExpectSame(const List& list, const NaiveList& naive, uint32_t nextId)
{
    std::vector<uint32_t> all;
    all.reserve(naive.entries.size());
    for (const auto& entry : naive.entries) {
        all.push_back(entry.id);
    }
    ASSERT_EQ(IdsOf(list.All()), all);
    for (uint32_t group = 0; group < groupCount; ++group) {
        const auto ids = naive.IdsOfGroup(group);
        ASSERT_EQ(list.IdsOfGroup(group), ids);
        ASSERT_EQ(IdsOf(list.OfGroup(group)), ids);
        ASSERT_EQ(list.HasGroup(group), !ids.empty());
    }
    for (uint32_t id = 0; id <= nextId; ++id) {
        const bool present = std::find(all.begin(), all.end(), id) != all.end();
        ASSERT_EQ(list.Find(id) != nullptr, present) << id;
    }
}

class RecordListSequences : public testing::TestWithParam<unsigned>
{
};

} // namespace

TEST_P(RecordListSequences, DoWhatAPlainVectorDoes)
{
    std::mt19937 random(GetParam());
    List list;
    NaiveList naive;
    uint32_t nextId = 1;
    for (int step = 0; step < 300; ++step) {
        const auto group = static_cast<uint32_t>(random() % groupCount);
        const auto choice = random() % 20;
        if (choice < 12) {
            Append(list, nextId, group);
            naive.entries.push_back({nextId, group});
            ++nextId;
        } else if (choice < 17) {
            const auto id = static_cast<uint32_t>(random() % (nextId + 1));
            const auto expected = naive.Take([id](const NaiveEntry& entry) { return entry.id == id; });
            const auto taken = list.Take(id);
            ASSERT_EQ(taken != nullptr, !expected.empty());
        } else if (choice < 19) {
            ASSERT_EQ(IdsOf(list.TakeGroup(group)),
                      naive.Take([group](const NaiveEntry& entry) { return entry.group == group; }));
        } else if (random() % 4 == 0) {
            ASSERT_EQ(IdsOf(list.TakeAll()), naive.Take([](const NaiveEntry&) { return true; }));
        }
        ExpectSame(list, naive, nextId);
        if (HasFatalFailure()) {
            return;
        }
    }
}
INSTANTIATE_TEST_SUITE_P(Seeds, RecordListSequences, testing::Range(1U, 9U));
