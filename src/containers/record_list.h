// Shared-owned records in the order of their insertion, each with an id and a group, found by either without going
// through the others. A list has no lock of its own.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

template <typename Record, typename Id = uint32_t, typename Group = uint32_t>
class RecordList
{
public:
    using Pointer = std::shared_ptr<Record>;

    // Puts a record at the end. Ids are never used twice. When memory is short, nothing has changed.
    void Append(Id id, Group group, Pointer record)
    {
        const uint64_t position = nextPosition++;
        records.emplace(id, Entry{position, group, std::move(record)});
        try {
            groups[group].emplace(position, id);
        } catch (...) {
            records.erase(id);
            ForgetMember(group, position);
            throw;
        }
    }

    // The record with this id, or null.
    [[nodiscard]] Pointer Find(Id id) const
    {
        const auto found = records.find(id);
        return found == records.end() ? nullptr : found->second.record;
    }

    // Takes the record with this id out of the list; null when there is none. The caller releases
    // it when it holds no lock, since the end of a record may call the card.
    Pointer Take(Id id)
    {
        const auto found = records.find(id);
        if (found == records.end()) {
            return nullptr;
        }
        Pointer taken = std::move(found->second.record);
        ForgetMember(found->second.group, found->second.position);
        records.erase(found);
        return taken;
    }

    // Takes all records of a group out of the list, in order.
    std::vector<Pointer> TakeGroup(Group group)
    {
        std::vector<Pointer> taken;
        const auto found = groups.find(group);
        if (found != groups.end()) {
            taken.reserve(found->second.size()); // nothing may fail once the first is out
            for (const auto& member : found->second) {
                const auto entry = records.find(member.second);
                taken.push_back(std::move(entry->second.record));
                records.erase(entry);
            }
            groups.erase(found);
        }
        return taken;
    }

    // Takes everything out of the list, in order.
    std::vector<Pointer> TakeAll()
    {
        std::vector<Pointer> taken = All();
        records = decltype(records)(); // without the buckets that clear() keeps
        groups.clear();
        return taken;
    }

    // All records, or those of a group, in order.
    [[nodiscard]] std::vector<Pointer> All() const
    {
        std::vector<const Entry*> entries;
        entries.reserve(records.size());
        for (const auto& one : records) {
            entries.push_back(&one.second);
        }
        std::sort(entries.begin(), entries.end(),
                  [](const Entry* one, const Entry* other) { return one->position < other->position; });
        std::vector<Pointer> values;
        values.reserve(entries.size());
        std::transform(entries.begin(), entries.end(), std::back_inserter(values),
                       [](const Entry* one) { return one->record; });
        return values;
    }

    [[nodiscard]] std::vector<Pointer> OfGroup(Group group) const
    {
        return EachOfGroup<Pointer>(group, [this](Id id) { return records.at(id).record; });
    }

    // The ids of a group, in order.
    [[nodiscard]] std::vector<Id> IdsOfGroup(Group group) const
    {
        return EachOfGroup<Id>(group, [](Id id) { return id; });
    }

    [[nodiscard]] bool HasGroup(Group group) const { return groups.find(group) != groups.end(); }

private:
    struct Entry
    {
        uint64_t position;
        Group group;
        Pointer record;
    };

    // What a function makes of the id of each member, in order.
    template <typename Value, typename Make>
    [[nodiscard]] std::vector<Value> EachOfGroup(Group group, Make make) const
    {
        std::vector<Value> values;
        const auto found = groups.find(group);
        if (found != groups.end()) {
            values.reserve(found->second.size());
            for (const auto& member : found->second) {
                values.push_back(make(member.second));
            }
        }
        return values;
    }

    // The member may not be there, nor the group.
    void ForgetMember(Group group, uint64_t position)
    {
        const auto found = groups.find(group);
        if (found == groups.end()) {
            return;
        }
        found->second.erase(position);
        if (found->second.empty()) {
            groups.erase(found);
        }
    }

    uint64_t nextPosition = 0;
    std::unordered_map<Id, Entry> records;
    std::map<Group, std::map<uint64_t, Id>> groups; // the members by position, so in order of insertion
};
